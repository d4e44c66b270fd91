// The frei0r module against glfx render on the same work: a 10 s 1080p
// 30 fps 8-bit H.264 clip (made here from ffmpeg's testsrc2) through a
// one-pass gain effect, back to H.264 with libx264 at CRF 18 (glfx render's
// own settings for .mp4, given to ffmpeg by hand). Both run in this one
// program, one after the other; the last entry reports glfx render's frames
// a second over ffmpeg's (the target: between 1/1.2 and 1.2).
//
// A second pair encodes with FFV1 (what glfx render writes to standard
// output: Matroska, FFV1, yuv420p) into /dev/null, a much cheaper encoder,
// so that the effect's own cost is less hidden behind x264's.
//
// Frames a second are reported as counters (fps); wall times are real time.
#include "bench/support/GainWorkspace.h"

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <string>

namespace {

constexpr int kFrames = 300; // 10 s at 30 fps

// The shared workspace, with a module of the gain effect beside it.
struct Workspace : benchsupport::GainWorkspace {
    bool ready = false;
    Workspace() : GainWorkspace("frei0r-bench")
    {
        ready = clipMade && sh("'" + glfx + "' frei0r --effect '" + fx + "' -o '" + dir + "/gain.so'") == 0;
    }
};

Workspace& ws()
{
    static Workspace w;
    return w;
}

// Frames a second of the runs so far, by name, for the ratio.
double gFps[4] = {0, 0, 0, 0};
enum Run { kModuleH264, kGlfxH264, kModuleFfv1, kGlfxFfv1 };

void timed(benchmark::State& state, Run run, const std::string& cmd)
{
    if (!ws().ready) {
        state.SkipWithError("could not make the clip or the module");
        return;
    }
    for (auto _ : state) {
        const auto t0 = std::chrono::steady_clock::now();
        if (Workspace::sh(cmd) != 0) {
            state.SkipWithError("the command failed");
            return;
        }
        const double wall = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
        state.SetIterationTime(wall);
        gFps[run] = kFrames / wall;
        state.counters["fps"] = gFps[run];
    }
}

// The effect's gain is 1.2 in both: the description's default for glfx
// render, and 0.3 of its 0..4 range for the module.
std::string ffmpeg(const std::string& output)
{
    return "FREI0R_PATH='" + ws().dir + "' ffmpeg -v error -y -i '" + ws().clip +
           "' -vf frei0r=filter_name=gain:filter_params=0.3 " + output;
}

void BM_ModuleH264(benchmark::State& state)
{
    timed(state, kModuleH264, ffmpeg("-c:v libx264 -crf 18 -pix_fmt yuv420p '" + ws().dir + "/module.mp4'"));
}

void BM_GlfxRenderH264(benchmark::State& state)
{
    timed(state, kGlfxH264,
          "'" + ws().glfx + "' render -q --effect '" + ws().fx + "' '" + ws().clip + "' -o '" + ws().dir +
              "/glfx.mp4'");
}

void BM_ModuleFfv1(benchmark::State& state)
{
    timed(state, kModuleFfv1, ffmpeg("-c:v ffv1 -pix_fmt yuv420p -f matroska - > /dev/null"));
}

void BM_GlfxRenderFfv1(benchmark::State& state)
{
    timed(state, kGlfxFfv1,
          "'" + ws().glfx + "' render -q --effect '" + ws().fx + "' '" + ws().clip + "' -o - > /dev/null");
}

// glfx render's frames a second over the module's, per pair.
void BM_Ratio(benchmark::State& state)
{
    for (auto _ : state)
        state.SetIterationTime(1e-9);
    if (gFps[kModuleH264] > 0)
        state.counters["h264_glfx_over_module"] = gFps[kGlfxH264] / gFps[kModuleH264];
    if (gFps[kModuleFfv1] > 0)
        state.counters["ffv1_glfx_over_module"] = gFps[kGlfxFfv1] / gFps[kModuleFfv1];
}

BENCHMARK(BM_ModuleH264)->Unit(benchmark::kSecond)->UseManualTime()->Iterations(1);
BENCHMARK(BM_GlfxRenderH264)->Unit(benchmark::kSecond)->UseManualTime()->Iterations(1);
BENCHMARK(BM_ModuleFfv1)->Unit(benchmark::kSecond)->UseManualTime()->Iterations(1);
BENCHMARK(BM_GlfxRenderFfv1)->Unit(benchmark::kSecond)->UseManualTime()->Iterations(1);
BENCHMARK(BM_Ratio)->UseManualTime()->Iterations(1);

} // namespace
