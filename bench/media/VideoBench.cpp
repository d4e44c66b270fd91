// glfx render on video. The headline: a 10 s 1080p 8-bit H.264 clip (made
// here from ffmpeg's test source) through a one-pass gain effect back to
// H.264, against GStreamer doing the same work when its tools are installed
// (decodebin, glshader with the same shader, x264enc at the same settings),
// and against the stages alone (decode only, decode and render without an
// encoder, encode only), to compare the pipeline's rate with its slowest
// stage and with the sum of its stages.
// Also: a 1080p TIFF sequence range in and out, and RSS over a 10,000-frame
// run (sampled early and late: it must stay flat).
//
// Frames a second are reported as counters (fps); wall times are real time.
#include "bench/support/GainWorkspace.h"
#include "media/Sink.h"
#include "media/Source.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <signal.h>
#include <sstream>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

// The shader GStreamer's glshader runs: the same gain on the same texture.
const char* kGstGain =
    "#version 100\n#ifdef GL_ES\nprecision mediump float;\n#endif\n"
    "varying vec2 v_texcoord;\nuniform sampler2D tex;\n"
    "void main() { vec4 c = texture2D(tex, v_texcoord); gl_FragColor = vec4(c.rgb * 1.2, c.a); }\n";

// The shared workspace, with the shader GStreamer runs beside it.
struct Workspace : benchsupport::GainWorkspace {
    Workspace() : GainWorkspace("media-bench") { std::ofstream(dir + "/gain.frag") << kGstGain; }
};

Workspace& ws()
{
    static Workspace w;
    return w;
}

double seconds(std::chrono::steady_clock::time_point since)
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - since).count();
}

void report(benchmark::State& state, int64_t frames, double wall)
{
    state.SetIterationTime(wall);
    state.counters["fps"] = double(frames) / wall;
    state.counters["frames"] = double(frames);
}

void BM_DecodeOnly(benchmark::State& state)
{
    ws(); // the clip is made before the clock starts
    for (auto _ : state) {
        const auto t0 = std::chrono::steady_clock::now();
        auto src = media::openSource(ws().clip);
        media::FrameBuffer f(src->info().width, src->info().height, media::kDepth8);
        double t;
        int64_t n = 0;
        while (src->read(&f.view(), t))
            ++n;
        report(state, n, seconds(t0));
    }
}

// The clip's own frames into H.264 at glfx render's settings: 150 frames
// decoded up front (1.2 GB), encoded twice over, so that the encoder works
// on the same moving pictures as in the full run.
void BM_EncodeOnly(benchmark::State& state)
{
    ws();
    constexpr int kHeld = 150;
    auto src = media::openSource(ws().clip);
    std::vector<std::unique_ptr<media::FrameBuffer>> frames;
    double t;
    for (int i = 0; i < kHeld; ++i) {
        frames.push_back(std::make_unique<media::FrameBuffer>(1920, 1080, media::kDepth8));
        if (!src->read(&frames.back()->view(), t)) {
            state.SkipWithError("the clip has fewer frames than expected");
            return;
        }
    }
    for (auto _ : state) {
        const auto t0 = std::chrono::steady_clock::now();
        media::VideoSettings vs;
        vs.fps = 30;
        auto sink = media::openSink(ws().dir + "/encoded.mp4", 1920, 1080, media::kDepth8, vs);
        for (int i = 0; i < 2 * kHeld; ++i)
            sink->write(frames[i % kHeld]->view(), i, i / 30.0);
        sink->finish();
        report(state, 2 * kHeld, seconds(t0));
    }
}

// Decoding and rendering without an encoder: glfx render writing raw
// frames in Matroska to /dev/null.
void BM_DecodeAndRenderOnly(benchmark::State& state)
{
    ws();
    for (auto _ : state) {
        const auto t0 = std::chrono::steady_clock::now();
        const int rc = Workspace::sh("'" + ws().glfx + "' render -q --effect '" + ws().fx + "' '" +
                                     ws().clip + "' --codec rawvideo -o - >/dev/null");
        if (rc != 0)
            state.SkipWithError("glfx render failed");
        report(state, 300, seconds(t0));
    }
}

double glfxRenderH264()
{
    ws(); // the clip is made before the clock starts
    const auto t0 = std::chrono::steady_clock::now();
    const int rc = Workspace::sh("'" + ws().glfx + "' render -q --effect '" + ws().fx + "' '" + ws().clip +
                                 "' -o '" + ws().dir + "/graded.mp4'");
    return rc == 0 ? seconds(t0) : -1.0;
}

// The same work through GStreamer. The shader goes in as one quoted
// property value; GStreamer's GL elements need a display, so a headless
// machine gets a virtual one (GLX on the same software driver that glfx's
// EGL context uses). x264enc's quality mode at 18 is libx264's CRF 18, as
// glfx encodes; x264enc otherwise caps the rate at its 2048 kbit/s default
// bitrate through the VBV, and puts key frames 300 frames apart, where
// libx264's defaults (and glfx) have no cap and 250: both are set to the
// defaults so that both encoders do the same work.
double gstreamerH264()
{
    ws();
    const auto t0 = std::chrono::steady_clock::now();
    const int rc = Workspace::sh(
        "if [ -z \"$DISPLAY\" ]; then run='xvfb-run -a'; else run=; fi; $run gst-launch-1.0 -q filesrc "
        "location='" +
        ws().clip +
        "' ! decodebin ! videoconvert ! glupload ! "
        "glshader \"fragment=\\\"$(cat '" +
        ws().dir +
        "/gain.frag')\\\"\" ! gldownload ! videoconvert ! "
        "x264enc speed-preset=medium pass=qual quantizer=18 vbv-buf-capacity=0 key-int-max=250 ! mp4mux ! "
        "filesink location='" +
        ws().dir + "/gst.mp4' >/dev/null 2>&1");
    return rc == 0 ? seconds(t0) : -1.0;
}

bool haveGStreamer()
{
    return Workspace::sh(
               "command -v gst-launch-1.0 >/dev/null 2>&1 && gst-inspect-1.0 glshader >/dev/null 2>&1 "
               "&& gst-inspect-1.0 x264enc >/dev/null 2>&1") == 0;
}

void BM_GlfxRenderH264(benchmark::State& state)
{
    for (auto _ : state) {
        const double wall = glfxRenderH264();
        if (wall < 0)
            state.SkipWithError("glfx render failed");
        report(state, 300, wall);
    }
}

// glfx render and GStreamer in the order glfx, GStreamer, GStreamer, glfx,
// so that both see the same machine and a drift in its load over the run
// falls on both alike; "ratio" is glfx's total wall time over GStreamer's.
void BM_GlfxAgainstGStreamerH264(benchmark::State& state)
{
    if (!haveGStreamer()) {
        state.SkipWithError(
            "GStreamer's tools with its GL and x264 elements are not installed "
            "(gstreamer1.0-tools, -plugins-base, -good, -ugly, -libav, -gl; xvfb on a headless "
            "machine)");
        return;
    }
    for (auto _ : state) {
        double glfx = 0, gst = 0;
        for (bool glfxTurn : {true, false, false, true}) {
            const double t = glfxTurn ? glfxRenderH264() : gstreamerH264();
            if (t < 0) {
                state.SkipWithError(glfxTurn ? "glfx render failed" : "the GStreamer pipeline failed");
                return;
            }
            (glfxTurn ? glfx : gst) += t / 2;
        }
        state.SetIterationTime(2 * (glfx + gst));
        state.counters["glfx_s"] = glfx;
        state.counters["gstreamer_s"] = gst;
        state.counters["glfx_fps"] = 300 / glfx;
        state.counters["gstreamer_fps"] = 300 / gst;
        state.counters["ratio"] = glfx / gst;
    }
}

// 30 frames of a 1080p 8-bit TIFF sequence in and out.
void BM_TiffSequence(benchmark::State& state)
{
    Workspace::sh("mkdir -p '" + ws().dir + "/tif' && ffmpeg -v error -y -i '" + ws().clip +
                  "' -frames:v 30 -pix_fmt rgb24 '" + ws().dir + "/tif/in.%04d.tif'");
    for (auto _ : state) {
        const auto t0 = std::chrono::steady_clock::now();
        const int rc =
            Workspace::sh("'" + ws().glfx + "' render -q --effect '" + ws().fx + "' '" + ws().dir +
                          "/tif/in.####.tif' --frames 1-30 -o '" + ws().dir + "/tif/out.####.tif'");
        if (rc != 0)
            state.SkipWithError("glfx render failed");
        report(state, 30, seconds(t0));
    }
}

long rssKb(pid_t pid)
{
    std::ifstream in("/proc/" + std::to_string(pid) + "/status");
    std::string key;
    long kb = -1;
    for (std::string line; std::getline(in, line);)
        if (line.rfind("VmRSS:", 0) == 0)
            std::istringstream(line.substr(6)) >> kb;
    return kb;
}

// 10,000 small frames (320x180 at 100 fps) through the gain effect into FFV1;
// RSS sampled every 0.2 s: the largest in the first and in the last tenth of
// the run's samples.
void BM_LongRunRss(benchmark::State& state)
{
    const std::string clip = ws().dir + "/long.mkv";
    Workspace::sh("ffmpeg -v error -y -f lavfi -i testsrc2=s=320x180:r=100:d=100 -c:v ffv1 '" + clip + "'");
    for (auto _ : state) {
        const auto t0 = std::chrono::steady_clock::now();
        const pid_t pid = fork();
        if (pid == 0) {
            execl(ws().glfx.c_str(), "glfx", "render", "-q", "--effect", ws().fx.c_str(), clip.c_str(), "-o",
                  (ws().dir + "/long-out.mkv").c_str(), static_cast<char*>(nullptr));
            _exit(127);
        }
        std::vector<long> samples;
        int status = 0;
        while (waitpid(pid, &status, WNOHANG) == 0) {
            const long kb = rssKb(pid);
            if (kb > 0)
                samples.push_back(kb);
            std::this_thread::sleep_for(std::chrono::milliseconds(200));
        }
        if (!WIFEXITED(status) || WEXITSTATUS(status) != 0 || samples.size() < 10) {
            state.SkipWithError("glfx render failed or ended too soon");
            continue;
        }
        const size_t tenth = samples.size() / 10;
        long early = 0, late = 0;
        for (size_t i = tenth; i < 2 * tenth; ++i) // after start-up
            early = std::max(early, samples[i]);
        for (size_t i = samples.size() - tenth; i < samples.size(); ++i)
            late = std::max(late, samples[i]);
        report(state, 10000, seconds(t0));
        state.counters["rss_early_MiB"] = early / 1024.0;
        state.counters["rss_late_MiB"] = late / 1024.0;
    }
}

BENCHMARK(BM_DecodeOnly)->Unit(benchmark::kSecond)->UseManualTime()->Iterations(1);
BENCHMARK(BM_EncodeOnly)->Unit(benchmark::kSecond)->UseManualTime()->Iterations(1);
BENCHMARK(BM_DecodeAndRenderOnly)->Unit(benchmark::kSecond)->UseManualTime()->Iterations(1);
BENCHMARK(BM_GlfxRenderH264)->Unit(benchmark::kSecond)->UseManualTime()->Iterations(1);
BENCHMARK(BM_GlfxAgainstGStreamerH264)->Unit(benchmark::kSecond)->UseManualTime()->Iterations(1);
BENCHMARK(BM_TiffSequence)->Unit(benchmark::kSecond)->UseManualTime()->Iterations(1);
BENCHMARK(BM_LongRunRss)->Unit(benchmark::kSecond)->UseManualTime()->Iterations(1);

} // namespace
