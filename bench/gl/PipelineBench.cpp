// One 1920x1080 float frame through ProcessGL, for a one-pass and a
// four-pass effect, next to the driver's floor for the same work done with
// bare GL calls (one float upload, one draw per pass, one read-back).
// Pipeline overhead = ProcessGL time / floor time - 1.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "gl/AE_GL_Context.h"
#include "gl/Description.h"
#include "gl/InitContext.h"
#include "gl/GlApi.h"

namespace {

constexpr int kW = 1920;
constexpr int kH = 1080;

// Each pass: a few arithmetic operations on the sample of slot 0.
const char* kPassSource = "uniform sampler2D in0;\nuniform vec2 resolution;\nuniform float gain;\n"
                          "void main() {\n vec4 c = texture2D(in0, gl_FragCoord.xy / resolution);\n"
                          " gl_FragColor = vec4(c.rgb * gain + 0.01, c.a);\n}\n";

std::vector<float>& inputFrame()
{
    static std::vector<float> px = [] {
        std::vector<float> v(static_cast<std::size_t>(kW) * kH * 4);
        for (std::size_t i = 0; i < v.size(); ++i)
            v[i] = static_cast<float>(i % 251) / 251.f;
        return v;
    }();
    return px;
}

cglfx chainEffect(int passes)
{
    cglfx fx;
    fx.settings.shaders = passes;
    fx.settings.layerCount = 1;
    fx.settings.interp = 0;
    fx.settings.params = 2;
    fx.par[0].type = GLFX_LAYER;
    fx.par[1].type = GLFX_FLOAT;
    fx.par[1].components = 1;
    fx.par[1].uniform = "gain";
    for (int p = 0; p < passes; ++p) {
        fx.shaders.push_back(kPassSource);
        fx.settings.routing[p][0] = p == 0 ? -1 : p - 1;
    }
    return fx;
}

void BM_ProcessGL(benchmark::State& state)
{
    const int passes = static_cast<int>(state.range(0));
    glfxDescription() = chainEffect(passes);
    EffectData d{};
    vInitContext(&d);
    d.layerBuffers[0] = inputFrame().data();
    d.layerWidth[0] = kW;
    d.layerHeight[0] = kH;
    d.outputWidth = kW;
    d.outputHeight = kH;
    d.values[1][0] = 0.9f;
    d.glContext->InitGL("", true);
    if (!d.glContext->ok || !d.glContext->ProcessGL(&d, GL_RGBA, GL_FLOAT)) {
        state.SkipWithError("the effect does not render");
    } else {
        for (auto _ : state)
            benchmark::DoNotOptimize(d.glContext->ProcessGL(&d, GL_RGBA, GL_FLOAT));
    }
    std::free(d.outputBuffer);
    releaseInstance(&d, true);
}

GLuint buildProgram()
{
    const GLuint shader = glCreateShader(GL_FRAGMENT_SHADER);
    glShaderSource(shader, 1, &kPassSource, nullptr);
    glCompileShader(shader);
    const GLuint program = glCreateProgram();
    glAttachShader(program, shader);
    glLinkProgram(program);
    glDeleteShader(shader);
    return program;
}

// The same frame with nothing but the GL calls the work needs: textures,
// framebuffer and program made once; per frame one upload, per pass one
// attach and one quad, one read-back and a finish. With `perPassSetup` each
// pass also re-specifies its target and clears it, as the pipeline does, to
// show how much of the gap that work accounts for.
void driverFloor(benchmark::State& state, bool perPassSetup)
{
    const int passes = static_cast<int>(state.range(0));
    GlobalGLContext gl;
    gl.GlobalSetup_GL();
    if (!gl.HaveOpenGL() || !gl.SetPluginContext()) {
        state.SkipWithError("no GL context");
        return;
    }
    const GLuint program = buildProgram();
    glUseProgram(program);
    glUniform2f(glGetUniformLocation(program, "resolution"), kW, kH);
    glUniform1f(glGetUniformLocation(program, "gain"), 0.9f);
    glUniform1i(glGetUniformLocation(program, "in0"), 0);
    std::vector<GLuint> textures(passes + 1);
    glGenTextures(passes + 1, textures.data());
    for (GLuint t : textures) {
        glBindTexture(GL_TEXTURE_2D, t);
        glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA32F, kW, kH, 0, GL_RGBA, GL_FLOAT, nullptr);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
    }
    glBindFramebuffer(GL_FRAMEBUFFER, gl.framebuffer);
    glViewport(0, 0, kW, kH);
    glMatrixMode(GL_PROJECTION);
    glLoadIdentity();
    glOrtho(0, kW, 0, kH, -100, 100);
    glMatrixMode(GL_MODELVIEW);
    glLoadIdentity();
    std::vector<float> out(static_cast<std::size_t>(kW) * kH * 4);

    for (auto _ : state) {
        glBindTexture(GL_TEXTURE_2D, textures[0]);
        glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA32F, kW, kH, 0, GL_RGBA, GL_FLOAT, inputFrame().data());
        for (int p = 0; p < passes; ++p) {
            if (perPassSetup) {
                glBindTexture(GL_TEXTURE_2D, textures[p + 1]);
                glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA32F, kW, kH, 0, GL_RGBA, GL_FLOAT, nullptr);
            }
            glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, textures[p + 1], 0);
            if (perPassSetup)
                glClear(GL_COLOR_BUFFER_BIT);
            glBindTexture(GL_TEXTURE_2D, textures[p]);
            glBegin(GL_QUADS);
            glVertex3f(0.f, 0.f, 1.f);
            glVertex3f(kW, 0.f, 1.f);
            glVertex3f(kW, kH, 1.f);
            glVertex3f(0.f, kH, 1.f);
            glEnd();
        }
        glBindTexture(GL_TEXTURE_2D, textures[passes]);
        glGetTexImage(GL_TEXTURE_2D, 0, GL_RGBA, GL_FLOAT, out.data());
        glFinish();
        benchmark::DoNotOptimize(out.data());
    }
    glUseProgram(0);
    glDeleteTextures(passes + 1, textures.data());
    glDeleteProgram(program);
    gl.SetAEContext();
    gl.GlobalSetdown_GL();
}

void BM_DriverFloor(benchmark::State& state) { driverFloor(state, false); }

void BM_DriverFloorRespecifyAndClear(benchmark::State& state) { driverFloor(state, true); }

} // namespace

BENCHMARK(BM_ProcessGL)->Arg(1)->Arg(4)->Unit(benchmark::kMillisecond)->Iterations(20)->UseRealTime();
BENCHMARK(BM_DriverFloor)->Arg(1)->Arg(4)->Unit(benchmark::kMillisecond)->Iterations(20)->UseRealTime();
BENCHMARK(BM_DriverFloorRespecifyAndClear)
    ->Arg(1)
    ->Arg(4)
    ->Unit(benchmark::kMillisecond)
    ->Iterations(20)
    ->UseRealTime();
