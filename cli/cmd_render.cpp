// glfx render: one frame or a frame range of an effect through the plug-in
// and the reference host, from an image file or a generated test pattern.
#include "cli/commands.h"
#include "cli/effect_host.h"
#include "cli/image_io.h"
#include "cli/param_text.h"
#include "media/Pattern.h"

#include <CLI/CLI.hpp>

#include <cmath>
#include <cstdio>
#include <iostream>
#include <memory>
#include <unistd.h>

namespace glfxcli {

namespace {

constexpr int kMaxSide = 16384;

struct RenderOptions {
    HostOptions host;
    std::string input;
    std::string output;
    std::string size = "1920x1080";
    std::vector<std::string> sets;
    std::vector<std::string> layers;
    int depth = 0; // 0: from the input
    double time = 0.0;
    std::string frames;
    double fps = 30.0;
    bool quiet = false;
};

void parseSize(const std::string& text, int& w, int& h)
{
    const size_t x = text.find_first_of("xX");
    char* end = nullptr;
    bool ok = x != std::string::npos && x > 0;
    if (ok) {
        const long a = std::strtol(text.c_str(), &end, 10);
        ok = end == text.c_str() + x;
        const long b = ok ? std::strtol(text.c_str() + x + 1, &end, 10) : 0;
        ok = ok && *end == '\0' && x + 1 < text.size() && a > 0 && b > 0 && a <= kMaxSide && b <= kMaxSide;
        w = static_cast<int>(a);
        h = static_cast<int>(b);
    }
    if (!ok)
        throw CommandError("--size '" + text + "': expected WIDTHxHEIGHT, each 1.." +
                           std::to_string(kMaxSide));
}

void parseFrames(const std::string& text, long& first, long& last)
{
    char* end = nullptr;
    first = std::strtol(text.c_str(), &end, 10);
    bool ok = end != text.c_str() && first >= 0;
    if (ok && *end == '-') {
        const char* second = end + 1;
        last = std::strtol(second, &end, 10);
        ok = end != second && *end == '\0' && last >= first;
    } else {
        last = first;
        ok = ok && *end == '\0';
    }
    if (!ok)
        throw CommandError("--frames '" + text + "': expected FIRST-LAST with 0 <= FIRST <= LAST");
}

// Position and length of the run of '#' in the file name part of a path.
bool findFramePattern(const std::string& path, size_t& pos, size_t& len)
{
    const size_t slash = path.rfind('/');
    const size_t start = slash == std::string::npos ? 0 : slash + 1;
    pos = path.find('#', start);
    if (pos == std::string::npos)
        return false;
    len = path.find_first_not_of('#', pos);
    len = (len == std::string::npos ? path.size() : len) - pos;
    if (path.find('#', pos + len) != std::string::npos)
        throw CommandError("output '" + path + "': use one run of '#' for the frame number");
    return true;
}

std::string framePath(const std::string& pattern, size_t pos, size_t len, long frame)
{
    std::string digits = std::to_string(frame);
    if (digits.size() < len)
        digits.insert(0, len - digits.size(), '0');
    return pattern.substr(0, pos) + digits + pattern.substr(pos + len);
}

struct LayerImage {
    std::string name;
    std::string file;
    Image image;
};

// A session started, sized and given the user's layers and values, in the
// order a user would: layers chosen, then each --set as one change.
void prepareSession(glfxhost::Session& session, const cglfx& fx, int width, int height, int depth, bool bgra,
                    const std::vector<LayerImage>& layers, const std::vector<Assignment>& sets,
                    std::vector<std::unique_ptr<glfxhost::World>>& worlds, bool tinyLayers)
{
    const PF_Err err = session.start();
    if (err != PF_Err_NONE)
        throw CommandError(commandFailure(session, "setting up the effect", err));
    session.setLayerSize(width, height);
    for (const LayerImage& l : layers) {
        const int hostIndex = findParam(session, fx, l.name);
        if (session.added()[hostIndex - 1].def.param_type != PF_Param_LAYER)
            throw CommandError("--layer " + l.name + ": parameter '" + l.name +
                               "' is not a layer (use --set)");
        std::unique_ptr<glfxhost::World> world;
        if (tinyLayers) {
            world = std::make_unique<glfxhost::World>(8, 8, depth, bgra);
            world->fill(0.5f, 0.5f, 0.5f, 1.0f);
        } else {
            world = std::make_unique<glfxhost::World>(l.image.width, l.image.height, depth, bgra);
            world->fromRGBA(l.image.rgba);
        }
        session.setLayer(hostIndex, world.get());
        worlds.push_back(std::move(world));
    }
    for (const Assignment& a : sets)
        applyValue(session, findParam(session, fx, a.name), a.name, a.value);
}

// The plug-in builds its shaders quietly: a failed build renders nothing
// useful and returns no error. Its Options command rebuilds the programs of
// an instance that has rendered and shows a non-empty build log (which holds
// only failures) as an alert; that is how a failure is told here.
void checkShaderBuild(glfxhost::Session& session)
{
    const size_t before = session.records().alerts.size();
    const PF_Err err = session.doDialog();
    if (err != PF_Err_NONE)
        throw CommandError(commandFailure(session, "rebuilding the effect's shaders", err));
    const auto& alerts = session.records().alerts;
    if (alerts.size() > before) {
        std::string first = alerts[before];
        const size_t nl = first.find_first_of("\r\n");
        if (nl != std::string::npos)
            first = first.substr(0, nl);
        throw CommandError("shader build failed: " + first);
    }
}

class Progress {
public:
    Progress(long total, bool enabled) : total_(total), enabled_(enabled && total > 1 && isatty(2)) {}
    void update(long done, const std::string& file)
    {
        if (!enabled_)
            return;
        const int width = 30;
        const int filled = static_cast<int>(done * width / total_);
        std::fprintf(stderr, "\r[%s%s] %ld/%ld %s\033[K", std::string(filled, '#').c_str(),
                     std::string(width - filled, ' ').c_str(), done, total_, file.c_str());
        if (done == total_)
            std::fputc('\n', stderr);
        std::fflush(stderr);
    }
    void abandon()
    {
        if (enabled_) {
            std::fputc('\n', stderr);
            std::fflush(stderr);
        }
    }

private:
    long total_;
    bool enabled_;
};

void runRender(const RenderOptions& o, bool depthGiven)
{
    const bool premiere = o.host.host == "premiere";
    if (premiere && depthGiven && o.depth != 8)
        throw CommandError("--host premiere renders 8-bit BGRA only; --depth " + std::to_string(o.depth) +
                           " needs --host ae");
    if (o.fps <= 0.0 || !std::isfinite(o.fps) || o.fps > 1000.0)
        throw CommandError("--fps must be above 0 and at most 1000");
    if (!std::isfinite(o.time))
        throw CommandError("--time must be a number of seconds");

    // Which frames, and where each goes.
    size_t hashPos = 0, hashLen = 0;
    const bool pattern = findFramePattern(o.output, hashPos, hashLen);
    long first = 0, last = 0;
    const bool range = !o.frames.empty();
    if (range) {
        parseFrames(o.frames, first, last);
        if (!pattern && last > first)
            throw CommandError("--frames " + o.frames +
                               " needs an output pattern with '#' for the frame number, "
                               "e.g. out.####.png");
    } else {
        first = last = std::lround(o.time * o.fps);
    }
    auto frameFile = [&](long f) { return pattern ? framePath(o.output, hashPos, hashLen, f) : o.output; };
    auto frameTime = [&](long f) { return range ? static_cast<double>(f) / o.fps : o.time; };

    // Inputs first, so that bad files fail before any work.
    Image input;
    if (!o.input.empty()) {
        input = readImage(o.input);
    } else {
        int w = 0, h = 0;
        parseSize(o.size, w, h);
        input.width = w;
        input.height = h;
        input.depth = 8;
    }
    const int depth = premiere ? 8 : depthGiven ? o.depth : input.depth;
    if (o.input.empty())
        input.rgba = media::testPattern(input.width, input.height, depth == 32);
    checkOutput(frameFile(first), depth);

    std::vector<LayerImage> layers;
    for (const std::string& arg : o.layers) {
        const Assignment a = splitAssignment(arg, "--layer");
        layers.push_back({a.name, a.value, readImage(a.value)});
    }
    std::vector<Assignment> sets;
    for (const std::string& arg : o.sets)
        sets.push_back(splitAssignment(arg, "--set"));

    std::unique_ptr<glfxhost::Plugin> plugin = openPlugin(o.host);
    const std::unique_ptr<cglfx> fx = parseDescription(pluginDescriptionText(*plugin));

    if (premiere) {
        // Premiere shows no build log; a small After Effects session with
        // the same values tells whether the shaders build.
        glfxhost::Session probe(*plugin, glfxhost::HostMode::AfterEffects);
        probe.setFrameRate(o.fps);
        std::vector<std::unique_ptr<glfxhost::World>> probeWorlds;
        prepareSession(probe, *fx, 8, 8, 8, false, layers, sets, probeWorlds, true);
        glfxhost::World in(8, 8, 8), out(8, 8, 8);
        in.fill(0.5f, 0.5f, 0.5f, 1.0f);
        const PF_Err err = probe.render(in, out, frameTime(first));
        if (err != PF_Err_NONE)
            throw CommandError(commandFailure(probe, "rendering", err));
        checkShaderBuild(probe);
    }

    glfxhost::Session session(*plugin, hostMode(o.host));
    session.setFrameRate(o.fps);
    std::vector<std::unique_ptr<glfxhost::World>> layerWorlds;
    prepareSession(session, *fx, input.width, input.height, depth, premiere, layers, sets, layerWorlds,
                   false);

    glfxhost::World in(input.width, input.height, depth, premiere);
    in.fromRGBA(input.rgba);
    glfxhost::World out(input.width, input.height, depth, premiere);

    Progress progress(last - first + 1, !o.quiet);
    try {
        for (long f = first; f <= last; ++f) {
            const std::string file = frameFile(f);
            const PF_Err err = session.render(in, out, frameTime(f));
            if (err != PF_Err_NONE)
                throw CommandError(commandFailure(session, "rendering frame " + std::to_string(f), err));
            if (f == first && !premiere)
                checkShaderBuild(session);
            writeImage(file, out.width(), out.height(), out.toRGBA(), depth);
            progress.update(f - first + 1, file);
        }
    } catch (...) {
        progress.abandon();
        throw;
    }
}

} // namespace

void addRenderCommand(CLI::App& app)
{
    auto o = std::make_shared<RenderOptions>();
    CLI::App* cmd = app.add_subcommand(
        "render",
        "Render one frame, or a frame range, of the effect through the plug-in and the reference host");
    cmd->footer(
        "Without INPUT a generated test pattern is rendered: colour bars, a grey ramp, a hue sweep, skin "
        "tones, fine detail and bright highlights.\n"
        "Output depth: an 8-bit render is written as 8-bit; a 16-bit render as 16-bit where the format has "
        "it (PNG, TIFF, PNM, SGI), as float in EXR, else as 8-bit; a 32-bit render as float where the format "
        "has it (EXR, TIFF, HDR, PFM), else as 16-bit (PNG) or 8-bit (JPEG and others), clamped to 0..1. "
        "Formats without alpha get red, green and blue only.\n"
        "Each file is written under a temporary name in its directory and renamed when complete, so a "
        "failure leaves no output. Errors print one line on stderr and exit with a non-zero status.");
    addHostOptions(cmd, o->host);
    CLI::Option* input = cmd->add_option(
        "INPUT", o->input, "Input image (any format OpenImageIO reads); default: the test pattern");
    cmd->add_option("-o,--output", o->output,
                    "Output image; its extension picks the format. For --frames, a run of '#' is replaced "
                    "by the frame number, zero-padded to the run's length (out.####.png)")
        ->required();
    cmd->add_option("--size", o->size, "Size of the test pattern, WIDTHxHEIGHT")
        ->capture_default_str()
        ->excludes(input);
    cmd->add_option("--set", o->sets,
                    "NAME=VALUE: set the parameter whose shader uniform is NAME, as a user's change in the "
                    "effect panel (supervised parameters then get the user-changed command, so presets and "
                    "group switches apply). Repeatable; applied in order. VALUE: a number inside the "
                    "slider's valid range; r,g,b in 0..1 for colours; x,y in layer pixels for points; "
                    "true/false (or 1/0, on/off, yes/no) for checkboxes; the item's text for popups; degrees "
                    "for angles")
        ->take_all();
    cmd->add_option("--layer", o->layers,
                    "NAME=FILE: give the layer parameter whose uniform is NAME this image (repeatable)")
        ->take_all();
    CLI::Option* depth = cmd->add_option(
        "--depth", o->depth,
        "Host world depth: 8, 16 (0..32768 a channel) or 32 (float). Default: from the input file "
        "(8-bit -> 8, 16-bit and other integers -> 16, half and float -> 32); 8 for the test pattern "
        "(whose highlights go above 1.0 at --depth 32); always 8 with --host premiere");
    depth->check(CLI::IsMember({8, 16, 32}));
    CLI::Option* time = cmd->add_option("--time", o->time,
                                        "Time of a single frame, in seconds (a '#' run in the output gets "
                                        "its frame number, time × fps rounded)")
                            ->capture_default_str();
    CLI::Option* frames =
        cmd->add_option("--frames", o->frames,
                        "Frame range FIRST-LAST (or one frame N); frame f is rendered at f / fps seconds");
    frames->excludes(time);
    cmd->add_option("--fps", o->fps, "Frames a second, for --frames and --time")->capture_default_str();
    cmd->add_flag("-q,--quiet", o->quiet,
                  "No progress bar (it is shown for ranges when stderr is a terminal)");
    cmd->callback([o, depth]() { runRender(*o, depth->count() > 0); });
}

} // namespace glfxcli
