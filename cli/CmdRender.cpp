// glfx render: an effect through the plug-in and the reference host, from a
// video, an image, an image sequence or the generated pattern, into a video,
// an image or an image sequence.
#include "cli/BuildFailure.h"
#include "cli/Commands.h"
#include "cli/EffectHost.h"
#include "cli/ParamText.h"
#include "cli/Progress.h"
#include "cli/RenderPipeline.h"
#include "cli/RenderPlan.h"
#include "cli/StopSignal.h"
#include "glfx/ParamDefines.h"
#include "media/ImageFile.h"
#include "media/MediaError.h"
#include "media/Sink.h"
#include "media/Source.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cmath>
#include <memory>

namespace glfxcli {

namespace {

struct LayerImage {
    std::string name;
    std::string file;
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
            const media::ImageHeader h = media::readImageHeader(l.file);
            world = std::make_unique<glfxhost::World>(h.width, h.height, depth, bgra);
            media::readImage(l.file, viewOf(*world));
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
// only failures) as an alert; that is how a failure is told here. The alert
// the host would print goes under the one failure line instead.
void checkShaderBuild(glfxhost::Session& session, const cglfx& fx, const std::string& effectPath)
{
    const std::string log = rebuildLog(session);
    if (log.empty())
        return;
    const BuildFailure f = describeBuildFailure(log, fx, preambleKeys(fx), effectPath);
    throw CommandError(f.headline, f.log);
}

void runRender(const RenderOptions& o, const Given& given)
{
    const RenderPlan plan = planRender(o, given);
    const bool premiere = o.host.host == "premiere";
    media::Source& source = *plan.source;
    const media::SourceInfo& info = source.info();

    media::VideoSettings vs;
    vs.codec = o.codec;
    vs.crf = o.crf;
    vs.bitrate = o.bitrate;
    vs.fps = o.fps;
    vs.input = info.video ? &info : nullptr;
    vs.wholeInput = plan.selection.first == 0 && plan.selection.last == INT64_MAX;
    std::unique_ptr<media::Sink> sink = media::openSink(o.output, info.width, info.height, plan.depth, vs);

    std::vector<LayerImage> layers;
    for (const std::string& arg : o.layers) {
        const Assignment a = splitAssignment(arg, "--layer");
        media::readImageHeader(a.value); // a bad file fails before any work
        layers.push_back({a.name, a.value});
    }
    std::vector<Assignment> sets;
    for (const std::string& arg : o.sets)
        sets.push_back(splitAssignment(arg, "--set"));

    std::unique_ptr<glfxhost::Plugin> plugin = openPlugin(o.host);
    const std::unique_ptr<cglfx> fx = parseDescription(pluginDescriptionText(*plugin));
    const double fps = info.video && info.fps > 0 ? info.fps : o.fps;

    if (premiere) {
        // Premiere shows no build log; a small After Effects session with
        // the same values tells whether the shaders build.
        glfxhost::Session probe(*plugin, glfxhost::HostMode::AfterEffects);
        probe.setFrameRate(fps);
        std::vector<std::unique_ptr<glfxhost::World>> probeWorlds;
        prepareSession(probe, *fx, 8, 8, 8, false, layers, sets, probeWorlds, true);
        glfxhost::World in(8, 8, 8), out(8, 8, 8);
        in.fill(0.5f, 0.5f, 0.5f, 1.0f);
        const PF_Err err = probe.render(in, out, 0.0);
        if (err != PF_Err_NONE)
            throw CommandError(commandFailure(probe, "rendering", err));
        checkShaderBuild(probe, *fx, o.host.effect);
    }

    glfxhost::Session session(*plugin, hostMode(o.host));
    session.setFrameRate(fps);
    std::vector<std::unique_ptr<glfxhost::World>> layerWorlds;
    prepareSession(session, *fx, info.width, info.height, plan.depth, premiere, layers, sets, layerWorlds,
                   false);

    installStopHandlers();
    Progress progress(plan.total, !o.quiet);
    renderFrames(session, source, *sink, plan.selection, plan.depth, premiere, progress, [&] {
        if (!premiere)
            checkShaderBuild(session, *fx, o.host.effect);
    });
}

} // namespace

void addRenderCommand(CLI::App& app)
{
    auto o = std::make_shared<RenderOptions>();
    CLI::App* cmd = app.add_subcommand(
        "render", "Render the effect through the plug-in and the reference host: a video, an image, an image "
                  "sequence or a test pattern in; a video, an image or an image sequence out");
    cmd->footer(
        "Video: INPUT may be any video FFmpeg's libraries read (MP4, MOV, MKV, WebM, MXF, AVI, ...); every "
        "frame "
        "is rendered at its own time and written to a video OUTPUT with the input's rate, timestamps, colour "
        "tags and audio. Output by extension: .mp4 H.264 (CRF 18, yuv420p), .mov ProRes 422 HQ (10-bit), "
        ".mkv "
        "FFV1 (lossless, 8 or 16-bit), .webm VP9; --codec, --crf and --bitrate change that. -o - writes "
        "Matroska (video input) or PNG to standard output.\n"
        "Without INPUT a generated test pattern is rendered: colour bars, a grey ramp, a hue sweep, skin "
        "tones, fine detail and bright highlights.\n"
        "Image output depth: 8-bit renders as 8-bit; 16-bit as 16-bit where the format has it (PNG, TIFF, "
        "PNM, SGI), as float in EXR, else 8-bit; 32-bit as float where the format has it (EXR, TIFF, HDR, "
        "PFM), else 16-bit (PNG) or 8-bit, clamped to 0..1. Alpha is straight (unassociated) in and out.\n"
        "Outputs are written under a temporary name and renamed when complete, so a failure or Ctrl-C leaves "
        "nothing; a symlink's target is replaced, devices, FIFOs and - are written in place. Errors print "
        "one "
        "line on stderr (details indented under it) and exit non-zero.");
    addHostOptions(cmd, o->host);
    CLI::Option* input = cmd->add_option("INPUT", o->input,
                                         "Input video, image or image sequence (a run of '#' for the frame "
                                         "number, with --frames); default: the test pattern");
    cmd->add_option("-o,--output", o->output,
                    "Output video, image, or image sequence (a run of '#' is replaced by the frame number, "
                    "zero-padded to the run's length: out.####.png); its extension picks the format; - for "
                    "standard output")
        ->required();
    cmd->add_option("--size", o->size, "Size of the test pattern, WIDTHxHEIGHT")
        ->capture_default_str()
        ->excludes(input);
    cmd->add_option(
           "--set", o->sets,
           "NAME=VALUE: set the parameter whose shader uniform is NAME, as a user's change in the "
           "effect panel (supervised parameters then get the user-changed command, so presets and "
           "group switches apply). One value each time; repeat it for more, applied in order. VALUE: "
           "a number inside the slider's valid range; r,g,b (or r,g,b,a) in 0..1 for colours; x,y in layer pixels "
           "for points; true/false (or 1/0, on/off, yes/no) for checkboxes; the item's text for "
           "popups; degrees for angles")
        ->expected(1)
        ->allow_extra_args(false)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    cmd->add_option("--layer", o->layers,
                    "NAME=FILE: give the layer parameter whose uniform is NAME this image (one each time; "
                    "repeatable)")
        ->expected(1)
        ->allow_extra_args(false)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    CLI::Option* depth = cmd->add_option(
        "--depth", o->depth,
        "Host world depth: 8, 16 (0..32768 a channel) or 32 (float). Default: from the input (8-bit -> 8; "
        "10 to 16-bit video and 16-bit images -> 16; half and float -> 32); 8 for the test pattern (whose "
        "highlights go above 1.0 at --depth 32); always 8 with --host premiere");
    depth->check(CLI::IsMember({8, 16, 32}));
    CLI::Option* time = cmd->add_option("--time", o->time,
                                        "Time of a single frame, in seconds (for a video input: the frame "
                                        "shown at that time; a '#' run in the output gets its frame number)")
                            ->capture_default_str();
    CLI::Option* frames = cmd->add_option(
        "--frames", o->frames,
        "Frame range FIRST-LAST (or one frame N): source frames of a video, files of an image sequence, or "
        "frames rendered at f / fps seconds from an image");
    frames->excludes(time);
    CLI::Option* fps =
        cmd->add_option("--fps", o->fps,
                        "Frames a second without a video input (for --frames, --time and video "
                        "output)")
            ->capture_default_str();
    cmd->add_option("--codec", o->codec,
                    "Video encoder by FFmpeg's name (libx264, prores_ks, ffv1, libvpx-vp9, ...)");
    cmd->add_option("--crf", o->crf,
                    "Constant rate factor for H.264 and VP9 (lower is better; default 18 and 31)")
        ->check(CLI::Range(0, 63));
    cmd->add_option("--bitrate", o->bitrate, "Video bit rate, e.g. 8M or 2500k");
    cmd->add_flag("-q,--quiet", o->quiet,
                  "No progress bar (it is shown for ranges when stderr is a terminal)");
    cmd->callback([o, depth, time, frames, fps]() {
        Given g;
        g.depth = depth->count() > 0;
        g.time = time->count() > 0;
        g.frames = frames->count() > 0;
        g.fps = fps->count() > 0;
        runRender(*o, g);
    });
}

} // namespace glfxcli
