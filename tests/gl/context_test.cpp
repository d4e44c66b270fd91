// The offscreen context: capability check, setup and setdown, the caller's
// EGL state surviving every call, and no GL names left behind.
#include <algorithm>

#include "gl/GlobalGLContext.h"
#include "gl/Preamble.h"
#include "gl_test_util.h"

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
        const EGLint any[] = {EGL_RENDERABLE_TYPE, EGL_OPENGL_BIT, EGL_SURFACE_TYPE, 0, EGL_NONE};
        const EGLint size[] = {EGL_WIDTH, 8, EGL_HEIGHT, 8, EGL_NONE};
        EGLConfig config = nullptr;
        EGLint found = 0;
        if (eglChooseConfig(display, want, &config, 1, &found) && found > 0)
            surface = eglCreatePbufferSurface(display, config, size);
        else
            eglChooseConfig(display, any, &config, 1, &found);
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

} // namespace

TEST(Capabilities, VersionExtensionsAndTextureUnits)
{
    struct Case {
        const char* what;
        const char* version;
        std::string extensions;
        int units;
        bool ok;
    };
    const Case cases[] = {
        {"2.0 passes", "2.0", extensions(), 2, true},
        {"vendor text after the number", "4.5 (Compatibility Profile) Mesa 22.3.6", extensions(), 8, true},
        {"1.9 fails with every extension", "1.9", extensions(), 8, false},
        {"1.5 fails", "1.5.0 Vendor", extensions(), 8, false},
        {"no number", "OpenGL", extensions(), 8, false},
        {"one texture unit", "2.1", extensions(), 1, false},
        {"missing first extension", "3.0", extensions("GL_ARB_color_buffer_float"), 8, false},
        {"missing last extension", "3.0", extensions("GL_ARB_framebuffer_object"), 8, false},
        {"missing middle extension", "3.0", extensions("GL_ARB_texture_cube_map"), 8, false},
        // A longer name that starts with a required one is not that one.
        {"prefix only", "3.0", extensions("GL_ARB_framebuffer_object", "GL_ARB_framebuffer_object_sRGB"), 8,
         false},
        {"empty list", "3.0", "", 8, false},
    };
    for (const Case& c : cases)
        EXPECT_EQ(glCapabilitiesOk(c.version, c.extensions.c_str(), c.units), c.ok) << c.what;
    EXPECT_FALSE(glCapabilitiesOk(nullptr, extensions().c_str(), 8));
    EXPECT_FALSE(glCapabilitiesOk("3.0", nullptr, 8));
}

TEST(GlobalContext, SetupOnTheDriverAndSetdown)
{
    // The caller works with OpenGL ES bound and nothing current: every call
    // must leave that bound API, and nothing current, behind it.
    ASSERT_TRUE(eglBindAPI(EGL_OPENGL_ES_API));
    auto callerState = [] {
        return eglQueryAPI() == EGL_OPENGL_ES_API && eglGetCurrentContext() == EGL_NO_CONTEXT;
    };
    GlobalGLContext gl;
    gl.GlobalSetdown_GL(); // empty: nothing to do
    EXPECT_FALSE(gl.HaveOpenGL());
    // Set up and set down repeatedly: each context is usable and is
    // destroyed at setdown.
    for (int round = 0; round < 3; ++round) {
        gl.GlobalSetup_GL();
        ASSERT_TRUE(gl.HaveOpenGL()) << "no usable EGL display with desktop OpenGL";
        EXPECT_NE(gl.GetFrameBuffer(), 0u);
        EXPECT_TRUE(callerState()) << "after setup";
        withContext(gl, [&] {
            EXPECT_EQ(eglGetCurrentContext(), gl.context);
            EXPECT_TRUE(gl.HaveRequiredExtensions());
            // A generated framebuffer name becomes an object when first bound.
            glBindFramebuffer(GL_FRAMEBUFFER, gl.framebuffer);
            EXPECT_TRUE(glIsFramebuffer(gl.framebuffer));
            glBindFramebuffer(GL_FRAMEBUFFER, 0);
        });
        EXPECT_TRUE(callerState()) << "after a switch and back";
        const EGLContext old = gl.context;
        gl.GlobalSetdown_GL();
        EXPECT_FALSE(gl.HaveOpenGL());
        EXPECT_TRUE(callerState()) << "after setdown";
        EGLint id = 0;
        EXPECT_FALSE(eglQueryContext(glfxSharedDisplay(), old, EGL_CONFIG_ID, &id)) << "context still alive";
    }
    gl.GlobalSetdown_GL(); // twice is harmless
    eglBindAPI(EGL_OPENGL_API);
}

TEST(GlobalContext, CallerContextIsCurrentAfterEveryCall)
{
    CallerContext caller;
    ASSERT_TRUE(caller.ready());
    ASSERT_TRUE(caller.isCurrent());

    Instance inst(makeEffect({copyShader()}));
    EXPECT_TRUE(caller.isCurrent()) << "after setup";
    ASSERT_TRUE(inst.ctx().gl.HaveOpenGL());
    EXPECT_TRUE(inst.build(getDefines(&inst.d)));
    EXPECT_TRUE(caller.isCurrent()) << "after a build";

    std::vector<float> px(4 * 4, 0.5f);
    inst.setLayer(0, px, 2, 2);
    inst.setOutput(2, 2);
    EXPECT_TRUE(inst.render());
    EXPECT_TRUE(caller.isCurrent()) << "after a render";
    inst.setOutput(0, 0);
    EXPECT_FALSE(inst.render());
    EXPECT_TRUE(caller.isCurrent()) << "after an empty frame";

    inst.ctx().description = nullptr;
    inst.ctx().InitGL("", false);
    EXPECT_FALSE(inst.ctx().ok);
    EXPECT_TRUE(caller.isCurrent()) << "after a build without description";
    inst.ctx().description = &glfxDescription();

    inst.ctx().InitGL("#error broken\n", false);
    EXPECT_FALSE(inst.ctx().ok);
    EXPECT_TRUE(caller.isCurrent()) << "after a failed build";
    inst.setOutput(2, 2);
    EXPECT_FALSE(inst.render());
    EXPECT_TRUE(caller.isCurrent()) << "after a refused render";

    inst.ctx().UninitGL(true);
    EXPECT_TRUE(caller.isCurrent()) << "after uninit";
    inst.ctx().gl.GlobalSetdown_GL();
    EXPECT_TRUE(caller.isCurrent()) << "after setdown";
}

TEST(GlobalContext, RebuildsAndUninitLeaveNoNames)
{
    cglfx fx = makeEffect({copyShader(), copyShader()});
    fx.settings.routing[1][0] = 0;
    Instance inst(fx);
    AE_GL_Context& c = inst.ctx();
    std::vector<float> px(4 * 4, 0.25f);
    inst.setLayer(0, px, 2, 2);
    inst.setOutput(2, 2);
    ASSERT_TRUE(inst.build());
    ASSERT_TRUE(inst.render()); // binding makes the names texture objects
    // Two programs, input texture 0 and the two pass textures; names only
    // generated become objects when first bound.
    const int one = liveObjects(c.gl);
    ASSERT_EQ(one, 5);
    ASSERT_LT(std::max(c.programs[1], c.inputTextures[31]), 1000u) << "names beyond the range counted";

    // A build without a description stops before its programs and keeps the
    // textures of the build before it; the next build, or an uninit, must
    // still release them.
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
        EXPECT_EQ(liveObjects(c.gl), one) << "after rebuild " << round;
    }
    // A rebuild that keeps the textures keeps exactly the same names.
    const GLuint keptInput = c.inputTextures[0], keptPass = c.passTextures[1];
    c.InitGL("", false);
    ASSERT_TRUE(c.ok) << c.log;
    EXPECT_EQ(c.inputTextures[0], keptInput);
    EXPECT_EQ(c.passTextures[1], keptPass);
    EXPECT_EQ(c.width, 2);
    EXPECT_EQ(liveObjects(c.gl), one);

    stoppedBuild();
    c.UninitGL(true);
    EXPECT_EQ(liveObjects(c.gl), 0) << "after uninit";
    EXPECT_EQ(c.inputTextures[5], AE_GL_Context::kNoTexture);
    EXPECT_EQ(c.width, 0);
}
