// The GL census's counting rules on contexts of the test's own (the census
// against the real plug-in is tests/host/census_test.cpp).
#include "tests/support/GlCensus.h"

#include <epoxy/egl.h>
#include <epoxy/gl.h>
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

namespace {

class CensusRules : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(glcensus::install());
        const char* client = eglQueryString(EGL_NO_DISPLAY, EGL_EXTENSIONS);
        if (!client || !std::strstr(client, "EGL_MESA_platform_surfaceless"))
            GTEST_SKIP() << "no surfaceless EGL platform";
        display = eglGetPlatformDisplayEXT(EGL_PLATFORM_SURFACELESS_MESA, EGL_DEFAULT_DISPLAY, nullptr);
        if (display == EGL_NO_DISPLAY || !eglInitialize(display, nullptr, nullptr) ||
            !eglBindAPI(EGL_OPENGL_API))
            GTEST_SKIP() << "no desktop GL on the surfaceless platform";
        glcensus::reset();
    }
    void TearDown() override
    {
        if (display != EGL_NO_DISPLAY)
            eglMakeCurrent(display, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
        glcensus::reset();
    }
    EGLContext makeCurrentContext()
    {
        EGLContext ctx = eglCreateContext(display, EGL_NO_CONFIG_KHR, EGL_NO_CONTEXT, nullptr);
        EXPECT_NE(ctx, EGL_NO_CONTEXT);
        EXPECT_TRUE(eglMakeCurrent(display, EGL_NO_SURFACE, EGL_NO_SURFACE, ctx));
        return ctx;
    }
    EGLDisplay display = EGL_NO_DISPLAY;
};

} // namespace

// Names counted as they are made and released, in one context; what is left
// at the context's end is counted as dropped, not live.
TEST_F(CensusRules, CountsNamesUntilReleasedOrDropped)
{
    EGLContext ctx = makeCurrentContext();
    GLuint textures[3] = {}, framebuffers[2] = {};
    GLuint program = 0, vertex = 0, fragment = 0;
    const GLuint unknown = 987654;
    struct Step {
        const char* what;
        void (*run)(GLuint* textures, GLuint* framebuffers, GLuint& program, GLuint& vertex, GLuint& fragment,
                    GLuint unknown);
        int textures, programs, shaders, framebuffers;
    };
    const Step steps[] = {
        {"three textures", [](GLuint* t, GLuint*, GLuint&, GLuint&, GLuint&, GLuint) { glGenTextures(3, t); },
         3, 0, 0, 0},
        {"one deleted, with 0 and a name never made",
         [](GLuint* t, GLuint*, GLuint&, GLuint&, GLuint&, GLuint u) {
             const GLuint names[3] = {t[1], 0, u};
             glDeleteTextures(3, names);
         },
         2, 0, 0, 0},
        {"the same deleted again",
         [](GLuint* t, GLuint*, GLuint&, GLuint&, GLuint&, GLuint) { glDeleteTextures(1, &t[1]); }, 2, 0, 0,
         0},
        {"a program and two shaders",
         [](GLuint*, GLuint*, GLuint& p, GLuint& v, GLuint& f, GLuint) {
             p = glCreateProgram();
             v = glCreateShader(GL_VERTEX_SHADER);
             f = glCreateShader(GL_FRAGMENT_SHADER);
         },
         2, 1, 2, 0},
        {"one shader deleted",
         [](GLuint*, GLuint*, GLuint&, GLuint& v, GLuint&, GLuint) { glDeleteShader(v); }, 2, 1, 1, 0},
        {"two framebuffers",
         [](GLuint*, GLuint* fb, GLuint&, GLuint&, GLuint&, GLuint) { glGenFramebuffers(2, fb); }, 2, 1, 1,
         2},
        {"both framebuffers deleted",
         [](GLuint*, GLuint* fb, GLuint&, GLuint&, GLuint&, GLuint) { glDeleteFramebuffers(2, fb); }, 2, 1, 1,
         0},
    };
    for (const Step& step : steps) {
        step.run(textures, framebuffers, program, vertex, fragment, unknown);
        const glcensus::Counts live = glcensus::live();
        EXPECT_EQ(live.contexts, 1) << step.what;
        EXPECT_EQ(live.textures, step.textures) << step.what;
        EXPECT_EQ(live.programs, step.programs) << step.what;
        EXPECT_EQ(live.shaders, step.shaders) << step.what;
        EXPECT_EQ(live.framebuffers, step.framebuffers) << step.what;
    }

    ASSERT_TRUE(eglMakeCurrent(display, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT));
    ASSERT_TRUE(eglDestroyContext(display, ctx));
    EXPECT_TRUE(glcensus::live().empty()) << glcensus::live().describe();
    const glcensus::Counts dropped = glcensus::dropped();
    EXPECT_EQ(dropped.textures, 2);
    EXPECT_EQ(dropped.programs, 1);
    EXPECT_EQ(dropped.shaders, 1);
    EXPECT_EQ(dropped.framebuffers, 0);
    EXPECT_EQ(dropped.describe(), "2 textures, 1 program, 1 shader");
}

// The same name in two contexts is two objects; deleting it in one leaves
// the other's.
TEST_F(CensusRules, NamesBelongToTheirContext)
{
    EGLContext a = makeCurrentContext();
    GLuint inA = 0, inB = 0;
    glGenTextures(1, &inA);
    EGLContext b = makeCurrentContext();
    glGenTextures(1, &inB);
    ASSERT_EQ(inA, inB) << "each fresh context hands out the same first name";
    EXPECT_EQ(glcensus::live().textures, 2);
    EXPECT_EQ(glcensus::live().contexts, 2);

    glDeleteTextures(1, &inB);
    EXPECT_EQ(glcensus::live().textures, 1);
    ASSERT_TRUE(eglMakeCurrent(display, EGL_NO_SURFACE, EGL_NO_SURFACE, a));
    glDeleteTextures(1, &inA);
    EXPECT_EQ(glcensus::live().textures, 0);

    ASSERT_TRUE(eglMakeCurrent(display, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT));
    eglDestroyContext(display, a);
    eglDestroyContext(display, b);
    EXPECT_TRUE(glcensus::live().empty()) << glcensus::live().describe();
    EXPECT_TRUE(glcensus::dropped().empty()) << glcensus::dropped().describe();
}
