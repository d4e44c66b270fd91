// One 1920 x 1080 8-bit frame of the built-in effect (effects/cinematic.glfx:
// four passes, the input and one layer), end to end and split into its parts:
//
//   BM_FrameThroughPlugin   the real plug-in driven by the reference host
//                           (smart pre-render + smart render, parameter
//                           checkouts, transfers, passes, read-back)
//   BM_Transfer8            the 8-bit transfers alone: both layers in, the
//                           output out (no GPU context, so no passes run)
//   BM_ProcessGL            upload of both layers, the four passes and the
//                           read-back
//   BM_UploadReadback       the same uploads and read-back with bare GL calls
//                           and no pass: the GPU passes take ProcessGL minus
//                           this
//
// All are wall-clock medians of steady-state frames (shaders built, buffers
// grown before timing starts).
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "gl/AE_GL_Context.h"
#include "gl/Description.h"
#include "gl/InitContext.h"
#include "gl/GlApi.h"
#include "glfx/Text.h"
#include "host/Host.h"
#include "render/MyDoRender.h"
#include "render/Transfer.h"

namespace {

constexpr int kW = 1920;
constexpr int kH = 1080;
constexpr std::size_t kFloats = static_cast<std::size_t>(kW) * kH * 4;

// A smooth colour field with highlights, so the bloom has something to do.
void paint(glfxhost::World& w, float phase)
{
    std::vector<float> rgba(kFloats);
    for (int y = 0; y < kH; ++y)
        for (int x = 0; x < kW; ++x) {
            float* p = &rgba[(static_cast<std::size_t>(y) * kW + x) * 4];
            p[0] = 0.5f + 0.5f * std::sin(x * 0.01f + phase);
            p[1] = static_cast<float>(y) / kH;
            p[2] = ((x / 64 + y / 64) % 7 == 0) ? 1.0f : 0.3f;
            p[3] = 1.0f;
        }
    w.fromRGBA(rgba);
}

void BM_FrameThroughPlugin(benchmark::State& state)
{
    using namespace glfxhost;
    Plugin plugin(Plugin::defaultPath(GLFX_BINARY_DIR));
    Session session(plugin, HostMode::AfterEffects);
    if (session.start() != PF_Err_NONE) {
        state.SkipWithError("the plug-in did not set up");
        return;
    }
    World input(kW, kH, 8), dirt(kW, kH, 8), output(kW, kH, 8);
    paint(input, 0.f);
    paint(dirt, 2.f);
    for (const AddedParam& p : session.added())
        if (p.def.param_type == PF_Param_LAYER)
            session.setLayer(p.hostIndex, &dirt);
    if (session.render(input, output) != PF_Err_NONE) {
        state.SkipWithError("the first frame failed");
        return;
    }
    double t = 0.0;
    for (auto _ : state) {
        t += 1.0 / 30.0;
        benchmark::DoNotOptimize(session.render(input, output, t));
    }
}

// The built-in effect as the plug-in holds it, and an instance record with
// both layers, their buffers and the output buffer at frame size.
struct Instance {
    std::vector<std::uint8_t> in8, dirt8, out8;
    PF_LayerDef input{}, dirt{}, output{};
    EffectData d{};

    Instance()
    {
        std::string text = loadFile(GLFX_SOURCE_DIR "/effects/cinematic.glfx");
        glfxDescription().parse(text);
        const cglfx& fx = glfxDescription();
        for (int i = 1; i < fx.settings.params; ++i)
            for (int k = 0; k < 3; ++k)
                d.values[i][k] = fx.par[i].def[k];
        layer(input, in8, 1);
        layer(dirt, dirt8, 7);
        layer(output, out8, 0);
        d.layers[0] = &input;
        d.layers[1] = &dirt;
        for (int i = 0; i < 2; ++i) {
            d.layerBuffers[i] = static_cast<float*>(std::calloc(kFloats, sizeof(float)));
            d.layerWidth[i] = d.bufferWidth[i] = kW;
            d.layerHeight[i] = d.bufferHeight[i] = kH;
        }
        d.outputBuffer = static_cast<float*>(std::calloc(kFloats, sizeof(float)));
        d.outputBufferWidth = d.outputWidth = kW;
        d.outputBufferHeight = d.outputHeight = kH;
        d.downsampleX = d.downsampleY = d.pixelRatio = 1.f;
    }
    ~Instance()
    {
        // The buffers are this benchmark's own; the instance's owner holds the rest.
        for (int i = 0; i < 2; ++i)
            std::free(d.layerBuffers[i]);
        std::free(d.outputBuffer);
        releaseInstance(&d, true);
    }
    static void layer(PF_LayerDef& def, std::vector<std::uint8_t>& px, int seed)
    {
        px.resize(static_cast<std::size_t>(kW) * kH * 4);
        for (std::size_t i = 0; i < px.size(); ++i)
            px[i] = static_cast<std::uint8_t>(i * seed);
        def.width = kW;
        def.height = kH;
        def.rowbytes = kW * 4;
        def.data = reinterpret_cast<PF_PixelPtr>(px.data());
    }
};

void BM_Transfer8(benchmark::State& state)
{
    Instance inst;
    Render8(nullptr, &inst.output, &inst.d);
    for (auto _ : state) {
        Render8(nullptr, &inst.output, &inst.d);
        benchmark::DoNotOptimize(inst.out8.data());
    }
}

void BM_ProcessGL(benchmark::State& state)
{
    Instance inst;
    vInitContext(&inst.d);
    AE_GL_Context* gl = inst.d.glContext;
    gl->InitGL("", true);
    if (!gl->ok || !gl->ProcessGL(&inst.d, GL_RGBA, GL_FLOAT)) {
        state.SkipWithError(("the built-in effect does not render: " + gl->log).c_str());
        return;
    }
    for (auto _ : state)
        benchmark::DoNotOptimize(gl->ProcessGL(&inst.d, GL_RGBA, GL_FLOAT));
}

void BM_UploadReadback(benchmark::State& state)
{
    Instance inst;
    GlobalGLContext gl;
    gl.GlobalSetup_GL();
    if (!gl.HaveOpenGL() || !gl.SetPluginContext()) {
        state.SkipWithError("no GL context");
        return;
    }
    GLuint textures[2];
    glGenTextures(2, textures);
    for (auto _ : state) {
        for (int i = 0; i < 2; ++i) {
            glBindTexture(GL_TEXTURE_2D, textures[i]);
            glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA32F, kW, kH, 0, GL_RGBA, GL_FLOAT, inst.d.layerBuffers[i]);
        }
        glGetTexImage(GL_TEXTURE_2D, 0, GL_RGBA, GL_FLOAT, inst.d.outputBuffer);
        glFinish();
        benchmark::DoNotOptimize(inst.d.outputBuffer);
    }
    glDeleteTextures(2, textures);
    gl.SetAEContext();
    gl.GlobalSetdown_GL();
}

} // namespace

BENCHMARK(BM_FrameThroughPlugin)->Unit(benchmark::kMillisecond)->Iterations(15)->UseRealTime();
BENCHMARK(BM_Transfer8)->Unit(benchmark::kMillisecond)->Iterations(15)->UseRealTime();
BENCHMARK(BM_ProcessGL)->Unit(benchmark::kMillisecond)->Iterations(15)->UseRealTime();
BENCHMARK(BM_UploadReadback)->Unit(benchmark::kMillisecond)->Iterations(15)->UseRealTime();
