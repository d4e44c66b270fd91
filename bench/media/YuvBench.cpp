// The Y'CbCr conversions at the two ends of a video render: a decoded 1080p
// 8-bit 4:2:0 picture into an 8-bit world (decode side) and back (encode
// side), against memcpy of the world's bytes. The "vs_memcpy" counter is the
// conversion's median time over the median time of a copy timed beside it.
#include "media/Frame.h"
#include "media/YuvConvert.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <random>
#include <vector>

namespace {

constexpr int kWidth = 1920;
constexpr int kHeight = 1080;

struct Picture420 {
    std::vector<uint8_t> y = std::vector<uint8_t>(size_t(kWidth) * kHeight);
    std::vector<uint8_t> cb = std::vector<uint8_t>(size_t(kWidth / 2) * kHeight / 2);
    std::vector<uint8_t> cr = std::vector<uint8_t>(size_t(kWidth / 2) * kHeight / 2);
    media::PlanarPicture p;
    Picture420()
    {
        std::mt19937 rng(7);
        for (auto* plane : {&y, &cb, &cr})
            for (auto& v : *plane)
                v = uint8_t(16 + rng() % 220);
        p.data[0] = y.data();
        p.data[1] = cb.data();
        p.data[2] = cr.data();
        p.linesize[0] = kWidth;
        p.linesize[1] = p.linesize[2] = kWidth / 2;
        p.width = kWidth;
        p.height = kHeight;
        p.log2ChromaW = p.log2ChromaH = 1;
        p.matrix = media::kBt709;
    }
};

double seconds(std::chrono::steady_clock::time_point t0)
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
}

double median(std::vector<double> v)
{
    std::sort(v.begin(), v.end());
    return v.empty() ? 0.0 : v[v.size() / 2];
}

template <typename Convert>
void runAgainstCopy(benchmark::State& state, media::FrameBuffer& frame, Convert convert)
{
    std::vector<uint8_t> copy(size_t(frame.view().rowbytes) * kHeight);
    std::vector<double> mine, copies;
    for (auto _ : state) {
        auto t0 = std::chrono::steady_clock::now();
        convert();
        const double t = seconds(t0);
        state.SetIterationTime(t);
        mine.push_back(t);
        t0 = std::chrono::steady_clock::now();
        std::memcpy(copy.data(), frame.view().data, copy.size());
        benchmark::DoNotOptimize(copy.data());
        benchmark::ClobberMemory();
        copies.push_back(seconds(t0));
    }
    state.counters["vs_memcpy"] = median(mine) / median(copies);
    state.counters["fps"] = 1.0 / median(mine);
}

void BM_PictureToFrame8(benchmark::State& state)
{
    Picture420 pic;
    media::FrameBuffer frame(kWidth, kHeight, media::kDepth8, state.range(0) != 0);
    runAgainstCopy(state, frame, [&] { media::pictureToFrame(pic.p, frame.view()); });
}

void BM_FrameToPicture8(benchmark::State& state)
{
    Picture420 pic;
    media::FrameBuffer frame(kWidth, kHeight, media::kDepth8, state.range(0) != 0);
    media::pictureToFrame(pic.p, frame.view());
    runAgainstCopy(state, frame, [&] { media::frameToPicture(frame.view(), pic.p); });
}

// Argument: 1 for a BGRA world (Premiere's order), 0 for ARGB.
BENCHMARK(BM_PictureToFrame8)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->UseManualTime();
BENCHMARK(BM_FrameToPicture8)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->UseManualTime();

} // namespace
