// The GL census's counting rules on contexts of the test's own (the census
// against the real plug-in is tests/host/CensusTest.cpp).
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
        ASSERT_TRUE(client && std::strstr(client, "EGL_MESA_platform_surfaceless"))
            << "no surfaceless EGL platform";
        display = eglGetPlatformDisplayEXT(EGL_PLATFORM_SURFACELESS_MESA, EGL_DEFAULT_DISPLAY, nullptr);
        ASSERT_TRUE(display != EGL_NO_DISPLAY && eglInitialize(display, nullptr, nullptr) &&
                    eglBindAPI(EGL_OPENGL_API))
            << "no desktop GL on the surfaceless platform";
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
    // Live textures, programs, shaders and framebuffers after each step.
    auto expectLive = [](const char* what, const std::vector<int>& want) {
        const glcensus::Counts c = glcensus::live();
        EXPECT_EQ((std::vector<int>{c.contexts, c.textures, c.programs, c.shaders, c.framebuffers}), want)
            << what;
    };
    GLuint textures[3] = {}, framebuffers[2] = {};
    glGenTextures(3, textures);
    expectLive("three textures", {1, 3, 0, 0, 0});
    const GLuint names[3] = {textures[1], 0, 987654};
    glDeleteTextures(3, names);
    expectLive("one deleted, with 0 and a name never made", {1, 2, 0, 0, 0});
    glDeleteTextures(1, &textures[1]);
    expectLive("the same deleted again", {1, 2, 0, 0, 0});
    glCreateProgram();
    const GLuint vertex = glCreateShader(GL_VERTEX_SHADER);
    glCreateShader(GL_FRAGMENT_SHADER);
    expectLive("a program and two shaders", {1, 2, 1, 2, 0});
    glDeleteShader(vertex);
    expectLive("one shader deleted", {1, 2, 1, 1, 0});
    glGenFramebuffers(2, framebuffers);
    expectLive("two framebuffers", {1, 2, 1, 1, 2});
    glDeleteFramebuffers(2, framebuffers);
    expectLive("both framebuffers deleted", {1, 2, 1, 1, 0});

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
