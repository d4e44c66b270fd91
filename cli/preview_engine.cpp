#include "cli/preview_engine.h"

#include "cli/build_failure.h"
#include "cli/commands.h"
#include "cli/host_params_json.h"
#include "cli/param_text.h"
#include "cli/preview_session.h"
#include "cli/preview_video.h"
#include "cli/render_pipeline.h"
#include "cli/render_plan.h"
#include "glfx/lint.h"
#include "glfx/paramdefines.h"
#include "media/ImageFile.h"
#include "media/MediaError.h"
#include "media/Source.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <memory>
#include <poll.h>
#include <set>
#include <sys/inotify.h>
#include <unistd.h>

namespace glfxcli {

namespace {

// A render or rebuild running longer than this is shown as busy.
constexpr std::chrono::milliseconds kBusyAfter{200};

nlohmann::json lintJson(const std::string& text)
{
    nlohmann::json list = nlohmann::json::array();
    int errors = 0;
    for (const glfxlint::Diagnostic& d : glfxlint::lint(text)) {
        errors += d.severity == glfxlint::Severity::kError;
        list.push_back({{"line", d.line},
                        {"severity", glfxlint::severityName(d.severity)},
                        {"code", d.code},
                        {"message", d.message}});
    }
    return {{"errors", errors}, {"warnings", static_cast<int>(list.size()) - errors}, {"diagnostics", list}};
}

} // namespace

PreviewEngine::PreviewEngine(const PreviewOptions& opts) : opts_(opts)
{
    worker_ = std::thread([this] { loop(); });
    std::unique_lock<std::mutex> lock(mutex_);
    wake_.wait(lock, [this] { return ready_; });
    if (!setupError_.empty()) {
        const std::string what = setupError_;
        lock.unlock();
        worker_.join();
        throw CommandError(what);
    }
    lock.unlock();
    // The watch is in place before the page's address is printed, so that
    // no save after that is missed.
    const std::string& path = opts_.host.effect;
    const std::size_t slash = path.rfind('/');
    const std::string folder = slash == std::string::npos ? "." : path.substr(0, slash + 1);
    if (path.empty() || pipe(stopPipe_) != 0)
        return;
    inotify_ = inotify_init1(IN_CLOEXEC);
    if (inotify_ >= 0 && inotify_add_watch(inotify_, folder.c_str(), IN_CLOSE_WRITE | IN_MOVED_TO) >= 0)
        watcher_ = std::thread([this] { watch(); });
}

void PreviewEngine::watch()
{
    const std::string& path = opts_.host.effect;
    const std::size_t slash = path.rfind('/');
    const std::string name = slash == std::string::npos ? path : path.substr(slash + 1);
    const int fd = inotify_;
    alignas(inotify_event) char buf[16 * 1024];
    while (true) {
        pollfd fds[2] = {{fd, POLLIN, 0}, {stopPipe_[0], POLLIN, 0}};
        if (poll(fds, 2, -1) < 0 && errno != EINTR)
            break;
        if (fds[1].revents)
            break;
        if (!(fds[0].revents & POLLIN))
            continue;
        const ssize_t n = read(fd, buf, sizeof buf);
        bool ours = false;
        for (ssize_t at = 0; n > 0 && at < n;) {
            const auto* ev = reinterpret_cast<const inotify_event*>(buf + at);
            if (ev->len > 0 && name == ev->name)
                ours = true;
            at += static_cast<ssize_t>(sizeof(inotify_event) + ev->len);
        }
        if (ours) {
            std::lock_guard<std::mutex> lock(mutex_);
            reload_ = true;
            wake_.notify_all();
        }
    }
}

PreviewEngine::~PreviewEngine()
{
    {
        std::lock_guard<std::mutex> lock(mutex_);
        stopping_ = true;
    }
    wake_.notify_all();
    if (stopPipe_[1] >= 0 && write(stopPipe_[1], "x", 1) < 0) {
        // The watcher then ends with the process.
    }
    if (watcher_.joinable())
        watcher_.join();
    if (worker_.joinable())
        worker_.join();
    for (int fd : {stopPipe_[0], stopPipe_[1], inotify_})
        if (fd >= 0)
            close(fd);
}

nlohmann::json PreviewEngine::panel()
{
    std::lock_guard<std::mutex> lock(mutex_);
    return panel_;
}

std::string PreviewEngine::framePng(int maxWidth)
{
    // Copied under the lock, scaled and encoded outside it, on the asking
    // HTTP thread, so that the session thread never waits for encoding.
    std::vector<uint8_t> pixels;
    media::FrameView from;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (frame_.empty())
            return std::string();
        pixels = frame_;
        from = frameView_;
    }
    from.data = pixels.data();
    std::vector<uint8_t> scaled;
    if (maxWidth > 0 && maxWidth < from.width) {
        // Nearest pixel: enough for a view; 1:1 asks for the full frame.
        const int pixelBytes = static_cast<int>(from.rowbytes / from.width);
        media::FrameView to = from;
        to.width = maxWidth;
        to.height =
            std::max(1, static_cast<int>(static_cast<long long>(from.height) * maxWidth / from.width));
        to.rowbytes = static_cast<std::ptrdiff_t>(to.width) * pixelBytes;
        scaled.resize(static_cast<std::size_t>(to.rowbytes) * static_cast<std::size_t>(to.height));
        to.data = scaled.data();
        for (int y = 0; y < to.height; ++y) {
            const uint8_t* src =
                from.row(static_cast<int>(static_cast<long long>(y) * from.height / to.height));
            uint8_t* dst = to.row(y);
            for (int x = 0; x < to.width; ++x)
                std::memcpy(dst + static_cast<std::ptrdiff_t>(x) * pixelBytes,
                            src + static_cast<long long>(x) * from.width / to.width * pixelBytes,
                            static_cast<std::size_t>(pixelBytes));
        }
        from = to;
    }
    // Fast PNG: the frame only crosses the loopback interface, where encoding
    // time counts and size hardly does.
    const std::vector<unsigned char> bytes = media::encodeImage("frame.png", from, media::PngSpeed::kFast);
    return std::string(bytes.begin(), bytes.end());
}

nlohmann::json PreviewEngine::diagnostics()
{
    std::lock_guard<std::mutex> lock(mutex_);
    return diagnostics_;
}

void PreviewEngine::change(int hostIndex, const std::string& value)
{
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (hostIndex < 1 || hostIndex > paramCount_)
            throw glfxpreview::BadRequest("no parameter " + std::to_string(hostIndex));
        // A newer value of the same parameter replaces one not yet applied.
        pending_[hostIndex] = value;
    }
    wake_.notify_all();
}

void PreviewEngine::seek(double seconds)
{
    {
        std::lock_guard<std::mutex> lock(mutex_);
        seconds_ = seconds;
        seek_ = true;
    }
    wake_.notify_all();
}

glfxpreview::Status PreviewEngine::waitStatus(uint64_t seen, std::chrono::milliseconds timeout)
{
    using Clock = std::chrono::steady_clock;
    std::unique_lock<std::mutex> lock(mutex_);
    const Clock::time_point deadline = Clock::now() + timeout;
    while (seq_ == seen && !waitersWoken_) {
        // The session thread cannot say "busy" while it renders; the first
        // waiter to see the work run past the limit says it for it.
        const bool watchWork = working_ && !busy_;
        const Clock::time_point until = watchWork ? std::min(deadline, workStart_ + kBusyAfter) : deadline;
        changed_.wait_until(lock, until);
        const Clock::time_point now = Clock::now();
        if (working_ && !busy_ && now >= workStart_ + kBusyAfter) {
            busy_ = true;
            ++seq_;
            changed_.notify_all();
        } else if (now >= deadline) {
            break;
        }
    }
    glfxpreview::Status s;
    s.seq = seq_;
    s.generation = generation_;
    s.reloads = reloads_;
    s.failed = failed_;
    s.busy = busy_;
    return s;
}

void PreviewEngine::wakeWaiters()
{
    {
        std::lock_guard<std::mutex> lock(mutex_);
        waitersWoken_ = true;
    }
    changed_.notify_all();
}

void PreviewEngine::loop()
{
    // Everything of the effect lives on this thread, from set-up to the end.
    std::unique_ptr<glfxhost::Plugin> plugin;
    std::unique_ptr<cglfx> fx;
    std::unique_ptr<glfxhost::Session> session;
    std::unique_ptr<glfxhost::World> input, output;
    std::string lastError;
    LayerChoices layers;
    int width = 0, height = 0;          // the input's size, which every session's layers have
    std::unique_ptr<VideoFrames> video; // a video input's frames; null for an image or the pattern
    double fps = opts_.fps;             // frames a second: the video's own, else --fps
    auto fail = [this](const std::string& what) {
        std::lock_guard<std::mutex> lock(mutex_);
        setupError_ = what.empty() ? "set-up failed" : what;
        ready_ = true;
        wake_.notify_all();
    };
    try {
        plugin = openPlugin(opts_.host);
        const std::string text = pluginDescriptionText(*plugin);
        fx = parseDescription(text);
        nlohmann::json diag = lintJson(text);
        std::unique_ptr<media::Source> source;
        if (opts_.input.empty()) {
            parseSize(opts_.size, width, height);
            source = media::openPattern(width, height);
        } else {
            source = media::openSource(opts_.input);
        }
        width = source->info().width;
        height = source->info().height;
        // The Premiere host renders 8-bit BGRA worlds only.
        const bool premiere = opts_.host.host == "premiere";
        if (premiere && opts_.depth != media::kDepth8)
            throw CommandError("--host premiere renders 8-bit BGRA only; --depth " +
                               std::to_string(opts_.depth) + " needs --host ae");
        input = std::make_unique<glfxhost::World>(width, height, opts_.depth, premiere);
        output = std::make_unique<glfxhost::World>(width, height, opts_.depth, premiere);
        media::FrameView view = viewOf(*input);
        double seconds = 0.0;
        if (source->info().video) {
            if (source->info().fps > 0.0)
                fps = source->info().fps;
            source.reset();
            video = std::make_unique<VideoFrames>(opts_.input, opts_.depth, premiere);
            video->frameAt(0.0, view);
        } else if (!source->read(&view, seconds)) {
            throw CommandError("'" + opts_.input + "' has no frame");
        }
        session = startPreviewSession(*plugin, opts_.host, fps, width, height);
        for (const std::string& arg : opts_.layers) {
            const Assignment a = splitAssignment(arg, "--layer");
            const int hostIndex = findParam(*session, *fx, a.name);
            if (session->added()[static_cast<std::size_t>(hostIndex - 1)].def.param_type != PF_Param_LAYER)
                throw CommandError("--layer " + a.name + ": parameter '" + a.name + "' is not a layer");
            const media::ImageHeader h = media::readImageHeader(a.value);
            auto world = std::make_unique<glfxhost::World>(h.width, h.height, opts_.depth, premiere);
            media::readImage(a.value, viewOf(*world));
            const std::size_t slash = a.value.rfind('/');
            const std::string label = slash == std::string::npos ? a.value : a.value.substr(slash + 1);
            layers.images.emplace_back(label, std::move(world));
            chooseLayer(*session, *input, layers, hostIndex, label);
        }
        std::lock_guard<std::mutex> lock(mutex_);
        diagnostics_ = std::move(diag);
        paramCount_ = static_cast<int>(session->added().size());
    } catch (const CommandError& e) {
        return fail(e.what());
    } catch (const media::MediaError& e) {
        return fail(e.what());
    } catch (const std::exception& e) {
        return fail(e.what());
    }

    bool reload = false;
    double seconds = 0.0;
    std::string buildLog; // the last build's log as the plug-in shows it; empty when it built
    // The definitions the instance holds: a reload adds those of the new
    // description and drops none, and each is a line of the preamble.
    std::set<std::string> defineKeys = preambleKeys(*fx);
    bool checkBuild = true; // the instance has not been checked since its first render
    for (bool first = true;; first = false) {
        std::map<int, std::string> changes;
        if (!first) {
            std::unique_lock<std::mutex> lock(mutex_);
            wake_.wait(lock, [this] { return stopping_ || reload_ || seek_ || !pending_.empty(); });
            if (stopping_)
                break;
            changes.swap(pending_);
            reload = reload_;
            reload_ = false;
            seek_ = false;
            seconds = seconds_;
        }
        {
            std::lock_guard<std::mutex> lock(mutex_);
            working_ = true;
            workStart_ = std::chrono::steady_clock::now();
        }
        lastError.clear();
        if (reload) {
            // As the plug-in's Options command does: parse the file again and
            // rebuild the programs; the build log arrives as an alert.
            buildLog.clear();
            try {
                const std::string text = readTextFile(opts_.host.effect);
                std::unique_ptr<cglfx> next = parseDescription(text);
                nlohmann::json diag = lintJson(text);
                plugin->setEffectText(text);
                if (paramSignature(*next) != paramSignature(*fx)) {
                    // Parameters added, removed or changed: the host's list
                    // comes from parameter setup, so a new instance takes
                    // over, with the values of the parameters that stayed.
                    const std::map<std::string, KeptValue> kept = keepValues(*session, *fx, layers);
                    session.reset();
                    fx = std::move(next);
                    session = startPreviewSession(*plugin, opts_.host, fps, width, height);
                    restoreValues(*session, *fx, kept, *input, layers);
                    defineKeys = preambleKeys(*fx);
                    checkBuild = true; // the new instance builds on its first render
                } else {
                    fx = std::move(next);
                    const std::set<std::string> keys = preambleKeys(*fx);
                    defineKeys.insert(keys.begin(), keys.end());
                    buildLog = rebuildLog(*session);
                }
                std::lock_guard<std::mutex> lock(mutex_);
                diagnostics_ = std::move(diag);
                paramCount_ = static_cast<int>(session->added().size());
                ++reloads_;
            } catch (const std::exception& e) {
                lastError = e.what();
            }
            reload = false;
        }
        for (const auto& [hostIndex, value] : changes) {
            if (hostIndex > static_cast<int>(session->added().size()))
                continue; // asked for by a panel from before a reload
            const glfxhost::AddedParam& p = session->added()[static_cast<std::size_t>(hostIndex - 1)];
            const std::string& name = fx->par[std::clamp(p.descIndex, 0, glfxlimits::kMaxParams - 1)].uniform;
            try {
                if (p.def.param_type == PF_Param_LAYER)
                    chooseLayer(*session, *input, layers, hostIndex, value);
                else
                    applyValue(*session, hostIndex, name, value);
            } catch (const std::exception& e) {
                lastError = e.what();
            }
        }
        if (video) {
            // The video's frame at that time, rendered at its own time.
            try {
                seconds = video->frameAt(seconds, viewOf(*input));
            } catch (const std::exception& e) {
                lastError = e.what();
            }
        }
        const auto start = std::chrono::steady_clock::now();
        const PF_Err err = session->render(*input, *output, seconds);
        const double ms =
            std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
        // The plug-in builds quietly when it first renders: a description
        // that was broken from the start is told by rebuilding once.
        if (checkBuild && err == PF_Err_NONE) {
            try {
                buildLog = rebuildLog(*session);
            } catch (const std::exception& e) {
                lastError = e.what();
            }
        }
        checkBuild = false;
        std::vector<uint8_t> pixels; // the frame's packed rows
        media::FrameView packed;
        if (!buildLog.empty()) {
            // A failed build renders nothing worth showing: the last good
            // frame stays.
        } else if (err != PF_Err_NONE) {
            lastError = commandFailure(*session, "rendering", err);
        } else {
            try {
                // A packed copy of the frame; the HTTP threads encode it.
                const media::FrameView out = viewOf(*output);
                const std::size_t rowBytes =
                    static_cast<std::size_t>(out.width) * 4 * static_cast<std::size_t>(out.depth / 8);
                pixels.resize(rowBytes * static_cast<std::size_t>(out.height));
                for (int y = 0; y < out.height; ++y)
                    std::memcpy(&pixels[rowBytes * static_cast<std::size_t>(y)], out.row(y), rowBytes);
                packed = out;
                packed.rowbytes = static_cast<std::ptrdiff_t>(rowBytes);
            } catch (const std::exception& e) {
                lastError = e.what();
            }
        }

        std::vector<std::string> warnings;
        nlohmann::json params = hostParamsJson(*session, *fx, warnings);
        const glfxhost::Records& rec = session->records();
        for (std::size_t k = 0; k < params.size(); ++k) {
            const glfxhost::AddedParam& p = session->added()[k];
            nlohmann::json& j = params[k];
            j["host_index"] = p.hostIndex;
            if (p.descIndex >= 0 && p.descIndex < glfxlimits::kMaxParams)
                j["uniform"] = fx->par[p.descIndex].uniform;
            j["current"] = currentValue(*session, p.hostIndex);
            if (p.def.param_type == PF_Param_LAYER) {
                const auto chosen = layers.chosen.find(p.hostIndex);
                j["current"] = chosen != layers.chosen.end() ? chosen->second : std::string(kLayerInput);
            }
            const auto flags = rec.uiFlags.find(p.hostIndex);
            j["current_ui_flags"] = flags == rec.uiFlags.end() ? p.def.ui_flags : flags->second;
            const auto hidden = rec.hidden.find(p.hostIndex);
            j["hidden"] = hidden != rec.hidden.end() && hidden->second;
            const auto stream = rec.streamNames.find(p.hostIndex);
            j["stream_name"] = stream == rec.streamNames.end() ? p.name : stream->second;
        }
        nlohmann::json videoJson = nullptr;
        if (video) {
            const media::SourceInfo& in = video->info();
            // Its length from the frame count when the file tells it, else
            // from the file's duration.
            videoJson = {{"frames", in.frames},
                         {"duration",
                          in.frames > 0 && fps > 0.0 ? static_cast<double>(in.frames) / fps : in.duration}};
        }
        BuildFailure failure;
        if (!buildLog.empty())
            failure = describeBuildFailure(buildLog, *fx, defineKeys, opts_.host.effect);
        nlohmann::json layerLabels = {kLayerInput, kLayerNone};
        for (const auto& image : layers.images)
            layerLabels.push_back(image.first);
        std::lock_guard<std::mutex> lock(mutex_);
        ++generation_;
        panel_ = {{"generation", generation_},   {"effect", fx->settings.name},
                  {"seconds", seconds},          {"fps", fps},
                  {"video", videoJson},          {"layer_choices", layerLabels},
                  {"width", output->width()},    {"height", output->height()},
                  {"depth", output->depth()},    {"render_ms", ms},
                  {"error", lastError},          {"reloads", reloads_},
                  {"build_log", failure.log},    {"build_failure", failure.headline},
                  {"failed_pass", failure.pass}, {"failed_lines", failure.lines},
                  {"params", std::move(params)}};
        if (!pixels.empty()) { // a failed frame keeps the last good one on screen
            frame_ = std::move(pixels);
            frameView_ = packed;
        }
        working_ = false;
        busy_ = false;
        failed_ = !buildLog.empty();
        ++seq_;
        changed_.notify_all();
        if (first) {
            ready_ = true;
            wake_.notify_all();
        }
    }
    session.reset(); // set down on this thread, before the plug-in unloads
}

} // namespace glfxcli
