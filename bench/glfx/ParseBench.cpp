// Parsing speed of a large description: 127 parameters of every kind, 32
// passes with routing, presets and a shared "@@" block.
#include "glfx/Cglfx.h"
#include "glfx/Cipher.h"
#include "glfx/Text.h"

#include <benchmark/benchmark.h>

#include <memory>
#include <string>

namespace {

std::string largeDescription()
{
    static const char* kTypes[] = {"float", "int",   "check",  "popup", "color",
                                   "angle", "point", "float2", "layer"};
    std::string t = "@@common uniform sampler2D in0;\nuniform vec2 resolution;\n@@\n";
    t += "[settings]\nname=Benchmark\ndescription=Large generated description\nshaders=32\n";
    for (int i = 1; i < 128; ++i) {
        const std::string n = std::to_string(i);
        // Two-digit headers stop at 99; bare headers count on from there.
        t += i < 100 ? "[par" + std::string(i < 10 ? "0" : "") + n + "]\n" : std::string("[par]\n");
        t += "name=Parameter " + n + "\nparam=p" + n + "\n";
        t += std::string("type=") + kTypes[i % 9] + "\n";
        t +=
            "popup=one|two|three|four\nmin=0\nmax=10\ndefault=0.25|0.5|0.75\ngroup=" + std::to_string(i % 5) +
            "\nflags=" + std::to_string(i % 3) + "\n";
    }
    for (int n = 0; n < 4; ++n)
        t += "[preset_p3_" + std::to_string(n) + "]\np1=0.5\np4=0.1|0.2|0.3\np10=" + std::to_string(n) + "\n";
    t += "[routing]\n";
    for (int p = 1; p < 32; ++p)
        t += "ps" + std::to_string(p) + "_in0=ps" + std::to_string(p - 1) + "\nps" + std::to_string(p) +
             "_in1=layer" + std::to_string(p % 8) + "\n";
    for (int p = 0; p < 32; ++p) {
        t += "[ps" + std::to_string(p) + "]\n@@common\n// pass " + std::to_string(p) + "\n";
        for (int line = 0; line < 20; ++line)
            t += "    gl_FragColor += texture2D(in0, gl_TexCoord[0].st + vec2(" + std::to_string(line) +
                 ".0) / resolution);\n";
    }
    return t;
}

void BM_ParseLargeDescription(benchmark::State& state)
{
    const std::string text = largeDescription();
    auto fx = std::make_unique<cglfx>();
    for (auto _ : state) {
        std::string copy = text; // parse modifies its text
        fx->parse(copy);
        benchmark::DoNotOptimize(fx->settings.params);
    }
    state.SetLabel(std::to_string(fx->settings.params) + " params, " + std::to_string(fx->settings.shaders) +
                   " passes, " + std::to_string(text.size()) + " bytes");
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(text.size()));
}
BENCHMARK(BM_ParseLargeDescription)->Unit(benchmark::kMicrosecond);

void BM_Decrypt(benchmark::State& state)
{
    const std::string data = "\x12\x14\x18" + largeDescription();
    for (auto _ : state) {
        std::string key = "benchmark-key";
        benchmark::DoNotOptimize(decrypt(data, key));
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(data.size()));
}
BENCHMARK(BM_Decrypt)->Unit(benchmark::kMicrosecond);

} // namespace
