// Shared helpers of the GPU pipeline tests: effect descriptions built in
// code, an effect instance driven the way the render path drives it, and a
// caller context of the test's own that must survive every call.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "gl/AE_GL_Context.h"
#include "gl/Description.h"
#include "gl/EffectData.h"
#include "gl/InitContext.h"
#include "gl/gl_api.h"
#include "glfx/cglfx.h"

namespace gltest {

// A fragment shader body reading input slot 0 at the fragment's own pixel.
inline std::string samplingShader(const std::string& uniforms, const std::string& body)
{
    return "uniform vec2 resolution;\n" + uniforms +
           "\nvoid main() {\n vec2 uv = gl_FragCoord.xy / resolution;\n" + body + "\n}\n";
}

// One pass per source; pass p reads input layer 0 in slot 0 unless routed
// otherwise afterwards. Nearest filtering so that samples are exact.
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

// An effect instance as the shell creates it: a zeroed record given its
// context by vInitContext, on the process-wide description.
class Instance {
public:
    explicit Instance(const cglfx& fx)
    {
        glfxDescription() = fx;
        vInitContext(&d);
    }
    ~Instance()
    {
        if (d.glContext) {
            d.glContext->UninitGL(true);
            d.glContext->gl.GlobalSetdown_GL();
            delete d.glContext;
        }
        delete d.defines;
        std::free(d.outputBuffer);
    }
    Instance(const Instance&) = delete;
    Instance& operator=(const Instance&) = delete;

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
    bool render(int type = GL_FLOAT) { return ctx().ProcessGL(&d, GL_RGBA, type); }
    const float* pixel(int x, int y) const { return d.outputBuffer + 4 * (y * d.outputWidth + x); }

    EffectData d{};
};

// A context of the test's own, current (with a small pbuffer where the
// display offers one) for the lifetime of the object; stands for the host's.
class CallerContext {
public:
    CallerContext()
    {
        display = glfxSharedDisplay();
        if (display == EGL_NO_DISPLAY)
            return;
        eglBindAPI(EGL_OPENGL_API);
        const EGLint want[] = {EGL_RENDERABLE_TYPE, EGL_OPENGL_BIT, EGL_SURFACE_TYPE, EGL_PBUFFER_BIT,
                               EGL_NONE};
        EGLConfig config = nullptr;
        EGLint found = 0;
        if (eglChooseConfig(display, want, &config, 1, &found) && found > 0) {
            const EGLint size[] = {EGL_WIDTH, 8, EGL_HEIGHT, 8, EGL_NONE};
            surface = eglCreatePbufferSurface(display, config, size);
        } else {
            const EGLint any[] = {EGL_RENDERABLE_TYPE, EGL_OPENGL_BIT, EGL_SURFACE_TYPE, 0, EGL_NONE};
            eglChooseConfig(display, any, &config, 1, &found);
        }
        context = eglCreateContext(display, config, EGL_NO_CONTEXT, nullptr);
        eglMakeCurrent(display, surface, surface, context);
    }
    ~CallerContext()
    {
        if (display == EGL_NO_DISPLAY)
            return;
        eglMakeCurrent(display, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
        if (surface != EGL_NO_SURFACE)
            eglDestroySurface(display, surface);
        if (context != EGL_NO_CONTEXT)
            eglDestroyContext(display, context);
    }
    CallerContext(const CallerContext&) = delete;
    CallerContext& operator=(const CallerContext&) = delete;

    bool ready() const { return context != EGL_NO_CONTEXT; }
    // True when this context is current with its surfaces, under the GL API.
    bool isCurrent() const
    {
        return eglQueryAPI() == EGL_OPENGL_API && eglGetCurrentContext() == context &&
               eglGetCurrentDisplay() == display && eglGetCurrentSurface(EGL_DRAW) == surface &&
               eglGetCurrentSurface(EGL_READ) == surface;
    }

    EGLDisplay display = EGL_NO_DISPLAY;
    EGLContext context = EGL_NO_CONTEXT;
    EGLSurface surface = EGL_NO_SURFACE;
};

// Runs `check` with `ctx`'s own context current (for queries on its names).
template <class F>
void withContext(GlobalGLContext& gl, F check)
{
    ASSERT_TRUE(gl.SetPluginContext());
    check();
    gl.SetAEContext();
}

}  // namespace gltest
