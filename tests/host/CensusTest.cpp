// The GL census against the product's plug-in driven through the reference
// host: what it counts while instances live, that teardown leaves nothing,
// and that a context nobody releases is seen.
#include "gl/GlApi.h"
#include "tests/shell/PluginFixture.h"
#include "tests/support/GlCensus.h"

using namespace plugintest;

namespace {

// A two-pass description, so an instance holds more than one program.
const char kTwoPasses[] = "[settings]\nname=Census\nshaders=2\n"
                          "[par1]\nname=Gain\nparam=gain\ntype=float\nmin=0\nmax=1\ndefault=0.5\n";

// The census is installed before the plug-in's first GL call.
class Census : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(glcensus::install()) << "the driver's GL functions were not found";
        glcensus::reset();
    }
};

} // namespace

// One instance per host: the context appears at the first render (not at
// setup), holds its framebuffer, programs and textures, keeps as many across
// renders of other sizes, and goes with flatten and with setdown. A second
// sequence setup keeps one context, and its sequence setdown (before any
// global setdown could sweep up) leaves nothing.
TEST_F(Census, OneInstanceFromSetupToSetdown)
{
    for (HostMode mode : kModes) {
        SCOPED_TRACE(hostModeName(mode));
        Effect fx(kTwoPasses, mode);
        Session& s = fx.session;
        ASSERT_EQ(s.start(), PF_Err_NONE);
        EXPECT_TRUE(glcensus::live().empty()) << glcensus::live().describe();

        World in = worldFor(mode, 4, 4), out = worldFor(mode, 4, 4);
        ASSERT_EQ(s.render(in, out), PF_Err_NONE);
        const glcensus::Counts first = glcensus::live();
        EXPECT_EQ(first.contexts, 1);
        EXPECT_EQ(first.framebuffers, 1);
        EXPECT_GE(first.programs, 2) << first.describe();
        EXPECT_GE(first.textures, 1) << first.describe();

        for (const auto& size : {std::pair{8, 6}, {1, 1}, {17, 3}, {4, 4}}) {
            World a = worldFor(mode, size.first, size.second), b = worldFor(mode, size.first, size.second);
            ASSERT_EQ(s.render(a, b), PF_Err_NONE);
            const glcensus::Counts now = glcensus::live();
            EXPECT_EQ(now.contexts, 1) << size.first << "x" << size.second;
            EXPECT_EQ(now.objects(), first.objects()) << size.first << "x" << size.second;
        }

        // Flatten deletes the framebuffer, destroys the context and leaves the
        // programs and textures to die with it.
        ASSERT_EQ(s.flatten(), PF_Err_NONE);
        EXPECT_TRUE(glcensus::live().empty()) << "after flatten: " << glcensus::live().describe();
        const glcensus::Counts dropped = glcensus::dropped();
        EXPECT_EQ(dropped.framebuffers, 0);
        EXPECT_EQ(dropped.textures, first.textures);
        EXPECT_EQ(dropped.programs, first.programs);
        glcensus::reset();
        ASSERT_EQ(s.resetup(), PF_Err_NONE);
        ASSERT_EQ(s.render(in, out), PF_Err_NONE);
        ASSERT_EQ(s.sequenceSetup(), PF_Err_NONE);
        ASSERT_EQ(s.render(in, out), PF_Err_NONE);
        EXPECT_EQ(glcensus::live().contexts, 1);
        ASSERT_EQ(s.sequenceSetdown(), PF_Err_NONE);
        EXPECT_TRUE(glcensus::live().empty()) << "after setdown: " << glcensus::live().describe();
        // Setdown deletes every object before the context goes.
        EXPECT_TRUE(glcensus::dropped().empty()) << glcensus::dropped().describe();
        EXPECT_EQ(glcensus::contextless(), 0);
        ASSERT_EQ(s.finish(), PF_Err_NONE);
    }
}

// Instances own one context each; setting one down leaves the other's. A
// context made here through the same epoxy entry points and never destroyed
// stays counted after every instance has gone, and its release is counted.
TEST_F(Census, InstancesEachHoldTheirOwnAndAContextLeftBehindIsSeen)
{
    Effect a(kTwoPasses), b(kTwoPasses);
    ASSERT_EQ(a.session.start(), PF_Err_NONE);
    ASSERT_EQ(b.session.start(), PF_Err_NONE);
    World in(6, 5, 32), out(6, 5, 32);
    ASSERT_EQ(a.session.render(in, out), PF_Err_NONE);
    const glcensus::Counts one = glcensus::live();
    ASSERT_EQ(b.session.render(in, out), PF_Err_NONE);
    const glcensus::Counts two = glcensus::live();
    EXPECT_EQ(two.contexts, 2);
    EXPECT_EQ(two.objects(), 2 * one.objects()) << two.describe();

    ASSERT_EQ(a.session.finish(), PF_Err_NONE);
    EXPECT_EQ(glcensus::live().contexts, 1);
    EXPECT_EQ(glcensus::live().objects(), one.objects()) << glcensus::live().describe();

    EGLDisplay display =
        eglGetPlatformDisplayEXT(EGL_PLATFORM_SURFACELESS_MESA, EGL_DEFAULT_DISPLAY, nullptr);
    ASSERT_NE(display, EGL_NO_DISPLAY);
    ASSERT_TRUE(eglInitialize(display, nullptr, nullptr));
    ASSERT_TRUE(eglBindAPI(EGL_OPENGL_API));
    // Surfaceless Mesa makes contexts without a config.
    EGLContext stray = eglCreateContext(display, EGL_NO_CONFIG_KHR, EGL_NO_CONTEXT, nullptr);
    ASSERT_NE(stray, EGL_NO_CONTEXT);
    ASSERT_EQ(b.session.finish(), PF_Err_NONE);
    EXPECT_EQ(glcensus::live().contexts, 1) << glcensus::live().describe();
    eglDestroyContext(display, stray);
    EXPECT_TRUE(glcensus::live().empty()) << glcensus::live().describe();
}
