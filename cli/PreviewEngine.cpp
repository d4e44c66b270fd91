#include "cli/PreviewEngine.h"

#include "cli/BuildFailure.h"
#include "cli/Commands.h"
#include "cli/EffectFile.h"
#include "cli/ParamText.h"
#include "cli/PreviewEffect.h"
#include "cli/RenderPipeline.h"
#include "cli/RenderPlan.h"
#include "media/ImageFile.h"
#include "media/MediaError.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <memory>
#include <poll.h>
#include <sys/inotify.h>
#include <unistd.h>

namespace glfxcli {

namespace {

// A render or rebuild running longer than this is shown as busy.
constexpr std::chrono::milliseconds kBusyAfter{200};

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
    // An ISF effect's vertex shader is part of it too.
    const std::string vertex = vertexFileOf(name);
    const bool isf = isIsfFile(path);
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
            if (ev->len > 0 && (name == ev->name || (isf && vertex == ev->name)))
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
    PreviewEffect e;
    try {
        nlohmann::json diag = setUpPreview(e, opts_);
        std::lock_guard<std::mutex> lock(mutex_);
        diagnostics_ = std::move(diag);
        paramCount_ = static_cast<int>(e.session->added().size());
    } catch (const std::exception& ex) {
        std::lock_guard<std::mutex> lock(mutex_);
        setupError_ = *ex.what() ? ex.what() : "set-up failed";
        ready_ = true;
        wake_.notify_all();
        return;
    }

    bool reload = false;
    double seconds = 0.0;
    std::string buildLog; // the last build's log as the plug-in shows it; empty when it built
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
        std::string lastError;
        if (reload) {
            // As the plug-in's Options command does; the build log arrives
            // as an alert.
            try {
                nlohmann::json diag = reloadPreview(e, opts_, buildLog);
                std::lock_guard<std::mutex> lock(mutex_);
                diagnostics_ = std::move(diag);
                paramCount_ = static_cast<int>(e.session->added().size());
                ++reloads_;
            } catch (const std::exception& ex) {
                lastError = ex.what();
            }
            reload = false;
        }
        for (const auto& [hostIndex, value] : changes) {
            if (hostIndex > static_cast<int>(e.session->added().size()))
                continue; // asked for by a panel from before a reload
            const glfxhost::AddedParam& p = e.session->added()[static_cast<std::size_t>(hostIndex - 1)];
            const std::string& name =
                e.fx->par[std::clamp(p.descIndex, 0, glfxlimits::kMaxParams - 1)].uniform;
            try {
                if (p.def.param_type == PF_Param_LAYER)
                    chooseLayer(*e.session, *e.input, e.layers, hostIndex, value);
                else
                    applyValue(*e.session, hostIndex, name, value);
            } catch (const std::exception& ex) {
                lastError = ex.what();
            }
        }
        if (e.video) {
            // The video's frame at that time, rendered at its own time.
            try {
                seconds = e.video->frameAt(seconds, viewOf(*e.input));
            } catch (const std::exception& ex) {
                lastError = ex.what();
            }
        }
        const auto start = std::chrono::steady_clock::now();
        const PF_Err err = e.session->render(*e.input, *e.output, seconds);
        const double ms =
            std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
        // The plug-in builds quietly when it first renders: a description
        // that was broken from the start is told by rebuilding once.
        if (e.checkBuild && err == PF_Err_NONE) {
            try {
                buildLog = rebuildLog(*e.session);
            } catch (const std::exception& ex) {
                lastError = ex.what();
            }
        }
        e.checkBuild = false;
        std::vector<uint8_t> pixels; // the frame's packed rows
        media::FrameView packed;
        if (!buildLog.empty()) {
            // A failed build renders nothing worth showing: the last good
            // frame stays.
        } else if (err != PF_Err_NONE) {
            lastError = commandFailure(*e.session, "rendering", err);
        } else {
            try {
                // A packed copy of the frame; the HTTP threads encode it.
                const media::FrameView out = viewOf(*e.output);
                const std::size_t rowBytes =
                    static_cast<std::size_t>(out.width) * 4 * static_cast<std::size_t>(out.depth / 8);
                pixels.resize(rowBytes * static_cast<std::size_t>(out.height));
                for (int y = 0; y < out.height; ++y)
                    std::memcpy(&pixels[rowBytes * static_cast<std::size_t>(y)], out.row(y), rowBytes);
                packed = out;
                packed.rowbytes = static_cast<std::ptrdiff_t>(rowBytes);
            } catch (const std::exception& ex) {
                lastError = ex.what();
            }
        }

        nlohmann::json params = panelParams(e);
        nlohmann::json videoJson = nullptr;
        if (e.video) {
            const media::SourceInfo& in = e.video->info();
            // Its length from the frame count when the file tells it, else
            // from the file's duration.
            videoJson = {{"frames", in.frames},
                         {"duration", in.frames > 0 && e.fps > 0.0 ? static_cast<double>(in.frames) / e.fps
                                                                   : in.duration}};
        }
        BuildFailure failure;
        if (!buildLog.empty())
            failure = describeBuildFailure(buildLog, *e.fx, e.defineKeys, opts_.host.effect);
        nlohmann::json layerLabels = {kLayerInput, kLayerNone};
        for (const auto& image : e.layers.images)
            layerLabels.push_back(image.first);
        std::lock_guard<std::mutex> lock(mutex_);
        ++generation_;
        panel_ = {{"generation", generation_},   {"effect", e.fx->settings.name},
                  {"seconds", seconds},          {"fps", e.fps},
                  {"video", videoJson},          {"layer_choices", layerLabels},
                  {"width", e.output->width()},  {"height", e.output->height()},
                  {"depth", e.output->depth()},  {"render_ms", ms},
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
}

} // namespace glfxcli
