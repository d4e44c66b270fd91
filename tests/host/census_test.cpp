// The GL census against the product's plug-in driven through the reference
// host: what it counts while instances live, that teardown leaves nothing,
// and that a context nobody releases is seen. Skipped when the plug-in is not
// built in this tree.
#include "gl/gl_api.h"
#include "host/Host.h"
#include "tests/support/GlCensus.h"

#include <gtest/gtest.h>

#include <fstream>
#include <memory>

using namespace glfxhost;

namespace {

const HostMode kModes[] = {HostMode::AfterEffects, HostMode::Premiere};

std::string pluginPath() { return std::string(GLFX_BINARY_DIR) + "/glfxplugin.so"; }

World worldFor(HostMode mode, int w, int h) { return World(w, h, 8, mode == HostMode::Premiere); }

// A two-pass description, so an instance holds more than one program.
const char kTwoPasses[] = "[settings]\nname=Census\nshaders=2\n"
                          "[par1]\nname=Gain\nparam=gain\ntype=float\nmin=0\nmax=1\ndefault=0.5\n";

class Census : public ::testing::Test {
protected:
    void SetUp() override
    {
        if (!std::ifstream(pluginPath()).good())
            GTEST_SKIP() << "glfxplugin.so is not built in this tree";
        ASSERT_TRUE(glcensus::install()) << "the driver's GL functions were not found";
        glcensus::reset();
        plugin = std::make_unique<Plugin>(pluginPath());
        plugin->setEffectText(kTwoPasses);
    }
    std::unique_ptr<Plugin> plugin;
};

} // namespace

// One instance per host: the context appears at the first render (not at
// setup), holds its framebuffer, programs and textures, keeps as many across
// renders of other sizes, and goes with flatten and with setdown.
TEST_F(Census, OneInstanceFromSetupToSetdown)
{
    for (HostMode mode : kModes) {
        SCOPED_TRACE(hostModeName(mode));
        Session s(*plugin, mode);
        ASSERT_EQ(s.start(), PF_Err_NONE);
        EXPECT_TRUE(glcensus::live().empty()) << glcensus::live().describe();

        World in = worldFor(mode, 4, 4), out = worldFor(mode, 4, 4);
        ASSERT_EQ(s.render(in, out), PF_Err_NONE);
        const glcensus::Counts first = glcensus::live();
        EXPECT_EQ(first.contexts, 1);
        EXPECT_EQ(first.framebuffers, 1);
        EXPECT_GE(first.programs, 2) << first.describe();
        EXPECT_GE(first.textures, 1) << first.describe();

        const int sizes[][2] = {{8, 6}, {1, 1}, {17, 3}, {4, 4}};
        for (const auto& size : sizes) {
            World a = worldFor(mode, size[0], size[1]), b = worldFor(mode, size[0], size[1]);
            ASSERT_EQ(s.render(a, b), PF_Err_NONE);
            const glcensus::Counts now = glcensus::live();
            EXPECT_EQ(now.contexts, 1) << size[0] << "x" << size[1];
            EXPECT_EQ(now.objects(), first.objects()) << size[0] << "x" << size[1] << ": " << now.describe();
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
        EXPECT_EQ(glcensus::live().contexts, 1);

        ASSERT_EQ(s.finish(), PF_Err_NONE);
        EXPECT_TRUE(glcensus::live().empty()) << "after setdown: " << glcensus::live().describe();
        // Setdown deletes every object before the context goes.
        EXPECT_TRUE(glcensus::dropped().empty()) << glcensus::dropped().describe();
        EXPECT_EQ(glcensus::contextless(), 0);
    }
}

// Instances own one context each; setting one down leaves the other's.
TEST_F(Census, InstancesEachHoldTheirOwn)
{
    Session a(*plugin, HostMode::AfterEffects), b(*plugin, HostMode::AfterEffects);
    ASSERT_EQ(a.start(), PF_Err_NONE);
    ASSERT_EQ(b.start(), PF_Err_NONE);
    World in(6, 5, 32), out(6, 5, 32);
    ASSERT_EQ(a.render(in, out), PF_Err_NONE);
    const glcensus::Counts one = glcensus::live();
    ASSERT_EQ(b.render(in, out), PF_Err_NONE);
    const glcensus::Counts two = glcensus::live();
    EXPECT_EQ(two.contexts, 2);
    EXPECT_EQ(two.objects(), 2 * one.objects()) << two.describe();

    ASSERT_EQ(a.finish(), PF_Err_NONE);
    const glcensus::Counts left = glcensus::live();
    EXPECT_EQ(left.contexts, 1);
    EXPECT_EQ(left.objects(), one.objects()) << left.describe();
    ASSERT_EQ(b.finish(), PF_Err_NONE);
    EXPECT_TRUE(glcensus::live().empty()) << glcensus::live().describe();
}

// A context nobody releases is seen: one made here through the same epoxy
// entry points and never destroyed stays counted after every instance of the
// plug-in has gone, and its release is counted too.
TEST_F(Census, SeesAContextLeftBehind)
{
    Session s(*plugin, HostMode::AfterEffects);
    ASSERT_EQ(s.start(), PF_Err_NONE);
    World in(4, 4, 8), out(4, 4, 8);
    ASSERT_EQ(s.render(in, out), PF_Err_NONE);

    EGLDisplay display =
        eglGetPlatformDisplayEXT(EGL_PLATFORM_SURFACELESS_MESA, EGL_DEFAULT_DISPLAY, nullptr);
    ASSERT_NE(display, EGL_NO_DISPLAY);
    ASSERT_TRUE(eglInitialize(display, nullptr, nullptr));
    ASSERT_TRUE(eglBindAPI(EGL_OPENGL_API));
    // Surfaceless Mesa makes contexts without a config.
    EGLContext stray = eglCreateContext(display, EGL_NO_CONFIG_KHR, EGL_NO_CONTEXT, nullptr);
    ASSERT_NE(stray, EGL_NO_CONTEXT);

    ASSERT_EQ(s.finish(), PF_Err_NONE);
    EXPECT_EQ(glcensus::live().contexts, 1) << glcensus::live().describe();
    eglDestroyContext(display, stray);
    EXPECT_TRUE(glcensus::live().empty()) << glcensus::live().describe();
}

// A second sequence setup of an instance that has rendered keeps one
// context for the instance, and its sequence setdown (before any global
// setdown could sweep up) leaves nothing.
TEST_F(Census, SequenceSetupTwiceKeepsOneContext)
{
    for (HostMode mode : kModes) {
        SCOPED_TRACE(hostModeName(mode));
        Session s(*plugin, mode);
        ASSERT_EQ(s.start(), PF_Err_NONE);
        World in = worldFor(mode, 4, 4), out = worldFor(mode, 4, 4);
        ASSERT_EQ(s.render(in, out), PF_Err_NONE);
        ASSERT_EQ(s.sequenceSetup(), PF_Err_NONE);
        ASSERT_EQ(s.render(in, out), PF_Err_NONE);
        EXPECT_EQ(glcensus::live().contexts, 1);
        ASSERT_EQ(s.sequenceSetdown(), PF_Err_NONE);
        EXPECT_TRUE(glcensus::live().empty()) << glcensus::live().describe();
        ASSERT_EQ(s.finish(), PF_Err_NONE);
    }
}
