// The offscreen context: capability check, setup and setdown, the caller's
// EGL state surviving every call, and no GL names left behind.
#include <algorithm>
#include <memory>

#include "gl/GlobalGLContext.h"
#include "gl/Preamble.h"
#include "GlTestUtil.h"

using namespace gltest;

namespace {

// Every extension the effects need, less `drop`, after `extra`.
std::string extensions(const std::string& drop = "", const std::string& extra = "")
{
    // Two spaces between names: any run of spaces separates them.
    std::string out = extra;
    for (const char* e : {"GL_ARB_multitexture", "GL_ARB_color_buffer_float", "GL_ARB_texture_float",
                          "GL_ARB_vertex_program", "GL_ARB_vertex_shader", "GL_ARB_texture_cube_map",
                          "GL_ARB_fragment_shader", "GL_ARB_draw_buffers", "GL_ARB_framebuffer_object"})
        if (drop != e)
            out += std::string("  ") + e;
    return out;
}

// Texture and program objects alive in the context among the first names
// (each context numbers its own names from 1).
int liveObjects(GlobalGLContext& gl)
{
    int n = 0;
    withContext(gl, [&] {
        for (GLuint name = 1; name < 2048; ++name)
            n += glIsTexture(name) + glIsProgram(name);
    });
    return n;
}

// A context of the test's own, current (with a small pbuffer where the
// display offers one) for the lifetime of the object; stands for the host's.
struct CallerContext {
    CallerContext()
    {
        eglBindAPI(EGL_OPENGL_API);
        const EGLint pbuffer[] = {EGL_RENDERABLE_TYPE, EGL_OPENGL_BIT, EGL_SURFACE_TYPE, EGL_PBUFFER_BIT,
                                  EGL_NONE};
        const EGLint any[] = {EGL_RENDERABLE_TYPE, EGL_OPENGL_BIT, EGL_SURFACE_TYPE, 0, EGL_NONE};
        const EGLint size[] = {EGL_WIDTH, 8, EGL_HEIGHT, 8, EGL_NONE};
        EGLConfig config = nullptr;
        EGLint found = 0;
        if (eglChooseConfig(display, pbuffer, &config, 1, &found) && found > 0)
            surface = eglCreatePbufferSurface(display, config, size);
        else
            eglChooseConfig(display, any, &config, 1, &found);
        context = eglCreateContext(display, config, EGL_NO_CONTEXT, nullptr);
        eglMakeCurrent(display, surface, surface, context);
    }
    ~CallerContext()
    {
        eglMakeCurrent(display, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
        eglDestroySurface(display, surface);
        eglDestroyContext(display, context);
    }
    // This context current with its surfaces, under the GL API.
    bool isCurrent() const
    {
        return context != EGL_NO_CONTEXT && eglQueryAPI() == EGL_OPENGL_API &&
               eglGetCurrentContext() == context && eglGetCurrentDisplay() == display &&
               eglGetCurrentSurface(EGL_DRAW) == surface && eglGetCurrentSurface(EGL_READ) == surface;
    }
    EGLDisplay display = glfxSharedDisplay();
    EGLContext context = EGL_NO_CONTEXT;
    EGLSurface surface = EGL_NO_SURFACE;
};

// An instance through setup, a build and a render, an empty frame, a failed
// build and a refused render, uninit and release; same(what) after each.
template <class F>
void everyCall(F same)
{
    auto inst = std::make_unique<Instance>(makeEffect({copyShader()}));
    same("setup");
    GlobalGLContext& gl = inst->ctx().gl;
    ASSERT_TRUE(gl.HaveOpenGL()) << "no usable EGL display with desktop OpenGL";
    withContext(gl, [&] {
        EXPECT_TRUE(gl.HaveRequiredExtensions());
        glBindFramebuffer(GL_FRAMEBUFFER, gl.GetFrameBuffer());
        EXPECT_TRUE(glIsFramebuffer(gl.GetFrameBuffer()));
        glBindFramebuffer(GL_FRAMEBUFFER, 0);
    });
    same("a switch and back");
    std::vector<float> px(4 * 4, 0.5f);
    inst->setLayer(0, px, 2, 2);
    const struct {
        const char* what;
        const char* preamble; // null: no build
        int size;
        bool rendered;
    } steps[] = {{"a build and a render", "", 2, true},
                 {"an empty frame", nullptr, 0, false},
                 {"a failed build and a refused render", "#error broken\n", 2, false}};
    for (const auto& s : steps) {
        if (s.preamble)
            inst->ctx().InitGL(s.preamble, false);
        inst->setOutput(s.size, s.size);
        EXPECT_EQ(inst->render(), s.rendered) << s.what;
        same(s.what);
    }
    inst->ctx().UninitGL(true);
    same("uninit");
    const EGLContext old = gl.context;
    inst.reset();
    same("release");
    EGLint id = 0;
    EXPECT_FALSE(eglQueryContext(glfxSharedDisplay(), old, EGL_CONFIG_ID, &id)) << "context still alive";
}

} // namespace

TEST(Capabilities, VersionExtensionsAndTextureUnits)
{
    for (const char* version : {"2.0", "4.5 (Compatibility Profile) Mesa 22.3.6"})
        EXPECT_TRUE(glCapabilitiesOk(version, extensions().c_str(), 2)) << version;
    for (const char* version : {"1.9", "1.5.0 Vendor", "OpenGL", static_cast<const char*>(nullptr)})
        EXPECT_FALSE(glCapabilitiesOk(version, extensions().c_str(), 8)) << (version ? version : "null");
    EXPECT_FALSE(glCapabilitiesOk("2.1", extensions().c_str(), 1)); // one texture unit
    EXPECT_FALSE(glCapabilitiesOk("3.0", nullptr, 8));
    // Missing first, last or middle; a longer name that starts with a
    // required one is not that one.
    for (const std::string& list :
         {extensions("GL_ARB_color_buffer_float"), extensions("GL_ARB_framebuffer_object"),
          extensions("GL_ARB_texture_cube_map"),
          extensions("GL_ARB_framebuffer_object", "GL_ARB_framebuffer_object_sRGB"), std::string()})
        EXPECT_FALSE(glCapabilitiesOk("3.0", list.c_str(), 8)) << list;
}

TEST(GlobalContext, CallersStateSurvivesEveryCall)
{
    // With nothing current and OpenGL ES bound, and with a context of its own.
    ASSERT_TRUE(eglBindAPI(EGL_OPENGL_ES_API));
    everyCall([](const char* what) {
        EXPECT_TRUE(eglQueryAPI() == EGL_OPENGL_ES_API && eglGetCurrentContext() == EGL_NO_CONTEXT) << what;
    });
    CallerContext caller;
    ASSERT_TRUE(caller.isCurrent());
    everyCall([&](const char* what) { EXPECT_TRUE(caller.isCurrent()) << "after " << what; });
    GlobalGLContext gl;
    gl.GlobalSetdown_GL(); // nothing to do
    EXPECT_TRUE(caller.isCurrent());
}

TEST(GlobalContext, RebuildsAndUninitLeaveNoNames)
{
    cglfx fx = makeEffect({copyShader(), copyShader()});
    fx.settings.routing[1][0] = 0;
    Instance inst(fx);
    AE_GL_Context& c = inst.ctx();
    std::vector<float> px(4 * 4, 0.25f);
    // Two programs, input texture 0 and two pass textures (generated names
    // become objects when first bound).
    ASSERT_TRUE(inst.frame(px, 2, 2));
    ASSERT_EQ(liveObjects(c.gl), 5);
    ASSERT_LT(std::max(c.programs[1], c.inputTextures[31]), 1000u) << "names beyond the range counted";
    // A build without a description stops before its programs and keeps the
    // textures of the build before; the next build, or an uninit, still
    // releases them.
    auto stoppedBuild = [&] {
        c.description = nullptr;
        c.InitGL("", false);
        EXPECT_FALSE(c.ok);
        c.description = &glfxDescription();
    };
    for (int round = 0; round < 3; ++round) {
        if (round == 1)
            stoppedBuild();
        ASSERT_TRUE(inst.build());
        ASSERT_TRUE(inst.render());
        EXPECT_EQ(liveObjects(c.gl), 5) << "after rebuild " << round;
    }
    const GLuint keptInput = c.inputTextures[0]; // a rebuild keeping the textures keeps their names
    c.InitGL("", false);
    ASSERT_TRUE(c.ok) << c.log;
    EXPECT_EQ(c.inputTextures[0], keptInput);
    EXPECT_EQ(liveObjects(c.gl), 5);
    stoppedBuild();
    c.UninitGL(true);
    EXPECT_EQ(liveObjects(c.gl), 0) << "after uninit";
    EXPECT_EQ(c.inputTextures[5], AE_GL_Context::kNoTexture);
}
