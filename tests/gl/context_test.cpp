// The offscreen context: capability check, setup and setdown, and the
// caller's EGL state surviving every call of the pipeline.
#include <algorithm>
#include <set>

#include "gl/Defines.h"
#include "gl/GlobalGLContext.h"
#include "gl_test_util.h"

using namespace gltest;

namespace {

const std::string kAllExtensions =
    "GL_ARB_multitexture GL_ARB_color_buffer_float GL_ARB_texture_float GL_ARB_vertex_program "
    "GL_ARB_vertex_shader GL_ARB_texture_cube_map GL_ARB_fragment_shader GL_ARB_draw_buffers "
    "GL_ARB_framebuffer_object";

std::string without(const std::string& list, const std::string& name)
{
    std::string out = list;
    const std::size_t at = out.find(name + " ");
    if (at != std::string::npos)
        out.erase(at, name.size() + 1);
    else
        out.erase(out.find(" " + name), name.size() + 1);
    return out;
}

}  // namespace

TEST(Capabilities, VersionExtensionsAndTextureUnits)
{
    struct Case {
        const char* what;
        const char* version;
        std::string extensions;
        int units;
        bool ok;
    };
    const std::string allButFbo = without(kAllExtensions, "GL_ARB_framebuffer_object");
    const Case cases[] = {
        {"2.0 passes", "2.0", kAllExtensions, 2, true},
        {"vendor text after the number", "4.5 (Compatibility Profile) Mesa 22.3.6", kAllExtensions, 8, true},
        {"1.9 fails with every extension", "1.9", kAllExtensions, 8, false},
        {"1.5 fails", "1.5.0 Vendor", kAllExtensions, 8, false},
        {"no number", "OpenGL", kAllExtensions, 8, false},
        {"one texture unit", "2.1", kAllExtensions, 1, false},
        {"missing first extension", "3.0", without(kAllExtensions, "GL_ARB_color_buffer_float"), 8, false},
        {"missing last extension", "3.0", allButFbo, 8, false},
        {"missing middle extension", "3.0", without(kAllExtensions, "GL_ARB_texture_cube_map"), 8, false},
        // A longer name that starts with a required one is not that one.
        {"prefix only", "3.0", allButFbo + " GL_ARB_framebuffer_object_sRGB", 8, false},
        {"empty list", "3.0", "", 8, false},
    };
    for (const Case& c : cases)
        EXPECT_EQ(glCapabilitiesOk(c.version, c.extensions.c_str(), c.units), c.ok) << c.what;
    EXPECT_FALSE(glCapabilitiesOk(nullptr, kAllExtensions.c_str(), 8));
    EXPECT_FALSE(glCapabilitiesOk("3.0", nullptr, 8));
}

TEST(Capabilities, WholeNameMatching)
{
    EXPECT_TRUE(glExtensionListed("B", "A B C"));
    EXPECT_TRUE(glExtensionListed("A", "  A  "));
    EXPECT_TRUE(glExtensionListed("C", "A B C"));
    EXPECT_FALSE(glExtensionListed("B", "A BB C"));
    EXPECT_FALSE(glExtensionListed("BB", "A B C"));
    EXPECT_FALSE(glExtensionListed("", "A B"));
}

TEST(GlobalContext, SetupOnTheDriverAndSetdown)
{
    GlobalGLContext gl;
    EXPECT_EQ(gl.framebuffer, 0u);
    EXPECT_EQ(gl.reserved, -1);
    EXPECT_FALSE(gl.HaveOpenGL());
    gl.GlobalSetdown_GL();  // empty: nothing to do
    EXPECT_FALSE(gl.HaveOpenGL());

    gl.GlobalSetup_GL();
    ASSERT_TRUE(gl.HaveOpenGL()) << "no usable EGL display with desktop OpenGL";
    EXPECT_NE(gl.GetFrameBuffer(), 0u);
    EXPECT_EQ(eglGetCurrentContext(), EGL_NO_CONTEXT) << "nothing was current before setup";
    withContext(gl, [&] {
        EXPECT_TRUE(gl.HaveRequiredExtensions());
        // A generated framebuffer name becomes an object when first bound.
        glBindFramebuffer(GL_FRAMEBUFFER, gl.framebuffer);
        EXPECT_TRUE(glIsFramebuffer(gl.framebuffer));
        glBindFramebuffer(GL_FRAMEBUFFER, 0);
    });
    EXPECT_EQ(eglGetCurrentContext(), EGL_NO_CONTEXT);

    const EGLContext old = gl.context;
    gl.GlobalSetdown_GL();
    EXPECT_FALSE(gl.HaveOpenGL());
    EGLint id = 0;
    EXPECT_FALSE(eglQueryContext(gl.display, old, EGL_CONFIG_ID, &id)) << "context still alive";
    gl.GlobalSetdown_GL();  // twice is harmless
}

TEST(GlobalContext, CallerContextIsCurrentAfterEveryCall)
{
    CallerContext caller;
    ASSERT_TRUE(caller.ready());
    ASSERT_TRUE(caller.isCurrent());

    cglfx fx = makeEffect({samplingShader("uniform sampler2D in0;", "gl_FragColor = texture2D(in0, uv);")});
    Instance inst(fx);
    EXPECT_TRUE(caller.isCurrent()) << "after setup";
    ASSERT_TRUE(inst.ctx().gl.HaveOpenGL());

    inst.ctx().InitGL(getDefines(&inst.d), true);
    EXPECT_TRUE(caller.isCurrent()) << "after a build";
    EXPECT_TRUE(inst.ctx().ok) << inst.ctx().log;

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

TEST(GlobalContext, CallerUsingAnotherApiGetsItBack)
{
    // The caller works with OpenGL ES bound and nothing current: the bound
    // API must be restored along with "nothing current".
    ASSERT_TRUE(eglBindAPI(EGL_OPENGL_ES_API));
    GlobalGLContext gl;
    gl.GlobalSetup_GL();
    EXPECT_EQ(eglQueryAPI(), static_cast<EGLenum>(EGL_OPENGL_ES_API));
    ASSERT_TRUE(gl.HaveOpenGL());
    ASSERT_TRUE(gl.SetPluginContext());
    EXPECT_EQ(eglGetCurrentContext(), gl.context);
    gl.SetAEContext();
    EXPECT_EQ(eglQueryAPI(), static_cast<EGLenum>(EGL_OPENGL_ES_API));
    eglBindAPI(EGL_OPENGL_API);
    EXPECT_EQ(eglGetCurrentContext(), EGL_NO_CONTEXT);
    gl.GlobalSetdown_GL();
}

TEST(GlobalContext, RebuildsAndSetdownsLeaveNoNames)
{
    cglfx fx = makeEffect({samplingShader("uniform sampler2D in0;", "gl_FragColor = texture2D(in0, uv);"),
                           samplingShader("uniform sampler2D in0;", "gl_FragColor = texture2D(in0, uv);")});
    fx.settings.routing[1][0] = 0;
    Instance inst(fx);
    AE_GL_Context& c = inst.ctx();
    std::vector<float> px(4 * 4, 0.25f);
    inst.setLayer(0, px, 2, 2);
    inst.setOutput(2, 2);

    std::set<GLuint> oldTextures, oldPrograms;
    for (int round = 0; round < 3; ++round) {
        c.InitGL("", true);
        ASSERT_TRUE(c.ok) << c.log;
        ASSERT_TRUE(inst.render());
        withContext(c.gl, [&] {
            const std::set<GLuint> liveTextures(std::begin(c.inputTextures), std::end(c.inputTextures));
            for (GLuint t : oldTextures) {
                const bool live = liveTextures.count(t) || t == c.spareTexture ||
                                  std::find(std::begin(c.passTextures), std::end(c.passTextures), t) !=
                                      std::end(c.passTextures);
                if (!live) {
                    EXPECT_FALSE(glIsTexture(t)) << "texture " << t << " kept after a rebuild";
                }
            }
            for (GLuint p : oldPrograms) {
                if (p != c.programs[0] && p != c.programs[1]) {
                    EXPECT_FALSE(glIsProgram(p)) << "program " << p << " kept after a rebuild";
                }
            }
        });
        oldTextures.insert(std::begin(c.inputTextures), std::end(c.inputTextures));
        oldTextures.insert(std::begin(c.passTextures), std::end(c.passTextures));
        oldTextures.insert(c.spareTexture);
        oldPrograms.insert(c.programs[0]);
        oldPrograms.insert(c.programs[1]);
    }
    // A rebuild that keeps the textures keeps exactly the same names.
    const GLuint keptInput = c.inputTextures[0];
    const GLuint keptPass = c.passTextures[1];
    c.InitGL("", false);
    EXPECT_EQ(c.inputTextures[0], keptInput);
    EXPECT_EQ(c.passTextures[1], keptPass);
    EXPECT_EQ(c.width, 2);
    withContext(c.gl, [&] { EXPECT_TRUE(glIsTexture(keptInput)); });

    c.UninitGL(true);
    withContext(c.gl, [&] {
        for (GLuint t : oldTextures)
            EXPECT_FALSE(glIsTexture(t)) << "texture " << t << " kept after uninit";
        for (GLuint p : oldPrograms)
            EXPECT_FALSE(glIsProgram(p)) << "program " << p << " kept after uninit";
    });
    EXPECT_EQ(c.inputTextures[5], AE_GL_Context::kNoTexture);
    EXPECT_EQ(c.width, 0);

    // Whole contexts: set up and set down repeatedly, every one destroyed.
    std::vector<EGLContext> contexts;
    for (int i = 0; i < 4; ++i) {
        GlobalGLContext gl;
        gl.GlobalSetup_GL();
        ASSERT_TRUE(gl.HaveOpenGL());
        contexts.push_back(gl.context);
        gl.GlobalSetdown_GL();
    }
    EGLint id = 0;
    for (EGLContext old : contexts)
        EXPECT_FALSE(eglQueryContext(glfxSharedDisplay(), old, EGL_CONFIG_ID, &id));
}

TEST(GlobalContext, ABuildThatStopsEarlyLeaksNoTextures)
{
    // A build without a description stops before its programs and keeps the
    // texture names of the build before it; the next build that makes
    // textures, or an uninit, must still release them.
    cglfx fx = makeEffect({samplingShader("uniform sampler2D in0;", "gl_FragColor = texture2D(in0, uv);")});
    Instance inst(fx);
    AE_GL_Context& c = inst.ctx();
    std::vector<float> px(4 * 4, 0.75f);
    inst.setLayer(0, px, 2, 2);
    inst.setOutput(2, 2);

    for (bool viaRebuild : {true, false}) {
        c.InitGL("", true);
        ASSERT_TRUE(c.ok) << c.log;
        ASSERT_TRUE(inst.render());  // binding makes the names texture objects
        const GLuint input = c.inputTextures[0], pass = c.passTextures[0];
        withContext(c.gl, [&] { ASSERT_TRUE(glIsTexture(input) && glIsTexture(pass)); });

        c.description = nullptr;
        c.InitGL("", false);
        EXPECT_FALSE(c.ok);
        c.description = &glfxDescription();
        if (viaRebuild) {
            c.InitGL("", true);
            ASSERT_TRUE(c.ok) << c.log;
        } else {
            c.UninitGL(true);
        }
        withContext(c.gl, [&] {
            for (GLuint old : {input, pass}) {
                const bool reused =
                    std::count(std::begin(c.inputTextures), std::end(c.inputTextures), old) ||
                    std::count(std::begin(c.passTextures), std::end(c.passTextures), old) || old == c.spareTexture;
                if (!reused) {
                    EXPECT_FALSE(glIsTexture(old)) << "texture " << old << (viaRebuild ? " after a rebuild" : " after uninit");
                }
            }
        });
    }
}

TEST(GlobalContext, DestroyingAContextWhoseGpuSideIsGoneIsSafe)
{
    // The flatten path: the offscreen context goes first, then the object.
    cglfx fx = makeEffect({samplingShader("uniform sampler2D in0;", "gl_FragColor = texture2D(in0, uv);")});
    glfxDescription() = fx;
    EffectData d{};
    vInitContext(&d);
    d.glContext->InitGL("", true);
    EXPECT_TRUE(d.glContext->initialised);
    d.glContext->gl.GlobalSetdown_GL();
    delete d.glContext;
    delete d.defines;
    EXPECT_EQ(eglGetCurrentContext(), EGL_NO_CONTEXT);
}
