// 100,000 frames of the built-in effect at 64 x 64 through the real plug-in
// and the reference host, one instance, After Effects and Premiere modes.
// Reports the resident set size after a warm-up of 1,000 frames, half-way
// and at the end (kB), and the host's record counts at the end: a long run
// (frame ranges, the frei0r module inside another program, the preview)
// must keep both flat.
#include <benchmark/benchmark.h>

#include <fstream>
#include <string>

#include "host/Host.h"

namespace {

constexpr int kSide = 64;
constexpr long kFrames = 100000;
constexpr long kWarmup = 1000;

long residentKb()
{
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);)
        if (line.rfind("VmRSS:", 0) == 0)
            return std::stol(line.substr(6));
    return -1;
}

void soak(benchmark::State& state, glfxhost::HostMode mode)
{
    using namespace glfxhost;
    Plugin plugin(Plugin::defaultPath(GLFX_BINARY_DIR));
    Session session(plugin, mode);
    if (session.start() != PF_Err_NONE) {
        state.SkipWithError("the plug-in did not set up");
        return;
    }
    const bool bgra = mode == HostMode::Premiere;
    World input(kSide, kSide, 8, bgra), output(kSide, kSide, 8, bgra);
    input.fill(0.6f, 0.4f, 0.2f, 1.0f);
    long frame = 0;
    long rssWarm = 0, rssHalf = 0;
    for (auto _ : state) {
        if (session.render(input, output, static_cast<double>(frame) / 30.0) != PF_Err_NONE) {
            state.SkipWithError("a frame failed");
            return;
        }
        ++frame;
        if (frame == kWarmup)
            rssWarm = residentKb();
        if (frame == kFrames / 2)
            rssHalf = residentKb();
    }
    const Records& r = session.records();
    state.counters["rss_warm_kB"] = static_cast<double>(rssWarm);
    state.counters["rss_half_kB"] = static_cast<double>(rssHalf);
    state.counters["rss_end_kB"] = static_cast<double>(residentKb());
    state.counters["command_records"] = static_cast<double>(r.commands.size());
    state.counters["checkout_records"] = static_cast<double>(r.paramCheckouts.size());
    state.counters["frames/s"] = benchmark::Counter(static_cast<double>(frame), benchmark::Counter::kIsRate);
}

void BM_SoakAfterEffects(benchmark::State& state) { soak(state, glfxhost::HostMode::AfterEffects); }
void BM_SoakPremiere(benchmark::State& state) { soak(state, glfxhost::HostMode::Premiere); }

BENCHMARK(BM_SoakAfterEffects)->Iterations(kFrames)->UseRealTime()->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_SoakPremiere)->Iterations(kFrames)->UseRealTime()->Unit(benchmark::kMicrosecond);

} // namespace
