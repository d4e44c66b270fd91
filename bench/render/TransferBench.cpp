// Render8, Render16 and RenderFloat on a 3840 x 2160 frame (one input layer
// in, the output buffer out; no GPU context, so only the transfers run),
// against memcpy of one float RGBA frame (3840 * 2160 * 16 bytes). The
// "vs_memcpy" counter of each transfer is its median time over the median
// time of a memcpy run after each transfer run.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "gl/Description.h"
#include "gl/EffectData.h"
#include "render/MyDoRender.h"
#include "render/Transfer.h"

namespace {

constexpr int kWidth = 3840;
constexpr int kHeight = 2160;
constexpr std::size_t kPixels = static_cast<std::size_t>(kWidth) * kHeight;
constexpr std::size_t kFloatBytes = kPixels * 16;

// A frame copy timed beside each transfer run, so that both see the same
// machine load.
struct CopyFrame {
    std::vector<std::uint8_t> from = std::vector<std::uint8_t>(kFloatBytes, 1);
    std::vector<std::uint8_t> to = std::vector<std::uint8_t>(kFloatBytes, 2);
    double run()
    {
        const auto t0 = std::chrono::steady_clock::now();
        std::memcpy(to.data(), from.data(), kFloatBytes);
        benchmark::DoNotOptimize(to.data());
        benchmark::ClobberMemory();
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
    }
};

double median(std::vector<double> v)
{
    std::sort(v.begin(), v.end());
    return v.empty() ? 0.0 : v[v.size() / 2];
}

void BM_memcpy(benchmark::State& state)
{
    CopyFrame copy;
    copy.run();
    for (auto _ : state)
        copy.run();
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * kFloatBytes);
}

using TransferFn = void (*)(PF_InData*, PF_LayerDef*, EffectData*);

template <typename Channel>
void runTransfer(benchmark::State& state, TransferFn fn)
{
    glfxsettings& s = glfxDescription().settings;
    s.noinput = 0;
    s.layerCount = 1;
    s.fast = false;

    const std::size_t pixelBytes = 4 * sizeof(Channel);
    std::vector<std::uint8_t> in(kPixels * pixelBytes), out(kPixels * pixelBytes);
    for (std::size_t i = 0; i < in.size(); ++i)
        in[i] = static_cast<std::uint8_t>(i * 31);
    if (sizeof(Channel) == 2) {
        // keep 16-bit channels in the host's 0..32768 range
        for (std::size_t i = 1; i < in.size(); i += 2)
            in[i] &= 0x7F;
    }
    PF_LayerDef input{}, output{};
    input.width = output.width = kWidth;
    input.height = output.height = kHeight;
    input.rowbytes = output.rowbytes = static_cast<A_long>(kWidth * pixelBytes);
    input.data = reinterpret_cast<PF_PixelPtr>(in.data());
    output.data = reinterpret_cast<PF_PixelPtr>(out.data());

    EffectData d{};
    d.layers[0] = &input;
    d.layerBuffers[0] = static_cast<float*>(std::malloc(kFloatBytes));
    d.outputBuffer = static_cast<float*>(std::malloc(kFloatBytes));
    std::memset(d.layerBuffers[0], 0, kFloatBytes);
    for (std::size_t i = 0; i < kPixels * 4; ++i)
        d.outputBuffer[i] = static_cast<float>(i % 977) / 977.0f;

    // One untimed run first: the first writes into fresh pages fault them in.
    fn(nullptr, &output, &d);
    CopyFrame copy;
    copy.run();
    std::vector<double> transferTimes, copyTimes;
    for (auto _ : state) {
        const auto t0 = std::chrono::steady_clock::now();
        fn(nullptr, &output, &d);
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
        transferTimes.push_back(std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count());
        state.PauseTiming();
        copyTimes.push_back(copy.run());
        state.ResumeTiming();
    }
    // median transfer time over median copy time
    state.counters["vs_memcpy"] = median(transferTimes) / median(copyTimes);
    std::free(d.layerBuffers[0]);
    std::free(d.outputBuffer);
}

void BM_Render8(benchmark::State& state) { runTransfer<std::uint8_t>(state, Render8); }
void BM_Render16(benchmark::State& state) { runTransfer<std::uint16_t>(state, Render16); }
void BM_Render16_Fast(benchmark::State& state) { runTransfer<std::uint16_t>(state, Render16_Fast); }
void BM_RenderFloat(benchmark::State& state) { runTransfer<float>(state, RenderFloat); }

} // namespace

BENCHMARK(BM_memcpy)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Render8)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Render16)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Render16_Fast)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_RenderFloat)->Unit(benchmark::kMillisecond);
