// Shared helpers of the GPU pipeline tests: effect descriptions built in
// code and an effect instance driven the way the render path drives it.
#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "gl/AE_GL_Context.h"
#include "gl/Description.h"
#include "gl/EffectData.h"
#include "gl/InitContext.h"
#include "gl/GlApi.h"
#include "glfx/Cglfx.h"

namespace gltest {

// A fragment shader reading its inputs at the fragment's own pixel (uv).
inline std::string samplingShader(const std::string& uniforms, const std::string& body)
{
    return "uniform vec2 resolution;\n" + uniforms +
           "\nvoid main() {\n vec2 uv = gl_FragCoord.xy / resolution;\n" + body + "\n}\n";
}

inline std::string copyShader()
{
    return samplingShader("uniform sampler2D in0;", "gl_FragColor = texture2D(in0, uv);");
}

// One pass per source, each reading layer 0 in slot 0 unless routed
// otherwise afterwards; nearest filtering so that samples are exact.
inline cglfx makeEffect(const std::vector<std::string>& passes, int layers = 1)
{
    cglfx fx;
    fx.shaders = passes;
    fx.settings.shaders = static_cast<int>(passes.size());
    fx.settings.layerCount = layers;
    fx.settings.interp = 0;
    fx.settings.params = 1;
    fx.par[0].type = GLFX_LAYER;
    for (std::size_t p = 0; p < passes.size(); ++p)
        fx.settings.routing[p][0] = -1;
    return fx;
}

// A W x H float image, different per pixel, channel and seed, exact in float.
inline std::vector<float> pattern(int w, int h, int seed)
{
    std::vector<float> px(static_cast<std::size_t>(w) * h * 4);
    for (std::size_t k = 0; k < px.size(); ++k)
        px[k] = static_cast<float>((k / 4 % w * 7 + k / 4 / w * 13 + k % 4 * 3 + seed * 5) % 32) / 64.f;
    return px;
}

// An effect instance as the shell creates it: a zeroed record given its
// context by vInitContext, on the process-wide description.
class Instance {
public:
    explicit Instance(const cglfx& fx)
    {
        glfxDescription() = fx;
        vInitContext(&d);
    }
    // The result buffer the pass loop grew belongs to the instance's owner,
    // which releases it with the rest.
    ~Instance() { releaseInstance(&d, true); }
    Instance(const Instance&) = delete;

    AE_GL_Context& ctx() { return *d.glContext; }
    // Layer i as W x H float RGBA pixels (the vector must outlive the render).
    void setLayer(int i, std::vector<float>& pixels, int w, int h)
    {
        d.layerBuffers[i] = pixels.data();
        d.layerWidth[i] = w;
        d.layerHeight[i] = h;
    }
    void setOutput(int w, int h)
    {
        d.outputWidth = w;
        d.outputHeight = h;
    }
    // Builds the programs with fresh textures, as the render path does.
    testing::AssertionResult build(const std::string& preamble = "")
    {
        ctx().InitGL(preamble, true);
        return ctx().ok ? testing::AssertionSuccess() : testing::AssertionFailure() << ctx().log;
    }
    bool render() { return ctx().ProcessGL(&d, GL_RGBA, GL_FLOAT); }
    // Layer 0 and the output both W x H, a build and one frame.
    testing::AssertionResult frame(std::vector<float>& in, int w, int h)
    {
        setLayer(0, in, w, h);
        setOutput(w, h);
        testing::AssertionResult built = build();
        if (!built)
            return built;
        return render() ? testing::AssertionSuccess() : testing::AssertionFailure() << "render refused";
    }
    // The first `pixels` pixels of the output against want(pixel, channel).
    template <class F>
    void expectFrame(int pixels, F want, float tol = 0.f)
    {
        int bad = 0;
        for (int k = 0; k < pixels * 4; ++k)
            if (!(std::fabs(d.outputBuffer[k] - want(k / 4, k % 4)) <= tol) && bad++ < 5)
                ADD_FAILURE() << "pixel " << k / 4 << " channel " << k % 4 << ": " << d.outputBuffer[k]
                              << ", want " << want(k / 4, k % 4);
        EXPECT_EQ(bad, 0);
    }

    EffectData d{};
};

// Runs `check` with the context of `gl` current (for queries on its names).
template <class F>
void withContext(GlobalGLContext& gl, F check)
{
    ASSERT_TRUE(gl.SetPluginContext());
    check();
    gl.SetAEContext();
}

} // namespace gltest
