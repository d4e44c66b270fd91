// A written module driven in this process as the hosts drive it: the
// f0r_* calls in each host's order and on each host's threads, with the GL
// census counting the EGL contexts the plug-in creates and destroys. No
// context may be alive once the host has finished, and none may be left
// current on a thread the host called from.
#include "CliRun.h"
#include "tests/support/GlCensus.h"

extern "C" {
#include <frei0r.h>
}

#include <epoxy/egl.h>
#include <gtest/gtest.h>

#include <dlfcn.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

using namespace clitest;

namespace {

constexpr unsigned kWidth = 32, kHeight = 16;

// Inverts the colours by `amount`, keeps alpha.
const char* kInvert = "[settings]\nname=Flip\ninterp=0\n"
                      "[par1]\nparam=amount\ntype=float\nmin=0\nmax=1\ndefault=1\n"
                      "[ps0]\nuniform sampler2D in0;\nuniform float amount;\n"
                      "void main() {\n vec4 c = texture2D(in0, gl_TexCoord[0].st);\n"
                      " gl_FragColor = vec4(mix(c.rgb, vec3(1.0) - c.rgb, amount), c.a);\n}\n";

// The module's entry points, looked up as a host does.
struct Module {
    void* lib = nullptr;
    int (*init)() = nullptr;
    void (*deinit)() = nullptr;
    void (*info)(f0r_plugin_info_t*) = nullptr;
    f0r_instance_t (*construct)(unsigned, unsigned) = nullptr;
    void (*destruct)(f0r_instance_t) = nullptr;
    void (*set)(f0r_instance_t, f0r_param_t, int) = nullptr;
    void (*update)(f0r_instance_t, double, const uint32_t*, uint32_t*) = nullptr;
};

template <typename F>
void find(void* lib, const char* name, F& fn)
{
    fn = reinterpret_cast<F>(dlsym(lib, name));
    ASSERT_NE(fn, nullptr) << name;
}

// Pixel i of the input: (i, 2i, 3i, 200) in bytes red, green, blue, alpha.
std::vector<uint32_t> pattern()
{
    std::vector<uint32_t> px(kWidth * kHeight);
    for (size_t i = 0; i < px.size(); ++i) {
        auto* b = reinterpret_cast<uint8_t*>(&px[i]);
        b[0] = uint8_t(i);
        b[1] = uint8_t(2 * i);
        b[2] = uint8_t(3 * i);
        b[3] = 200;
    }
    return px;
}

bool contextCurrent() { return eglGetCurrentContext() != EGL_NO_CONTEXT; }

class Frei0rLifecycle : public ::testing::Test {
protected:
    static void SetUpTestSuite()
    {
        scratch = new Scratch;
        const std::string fx = scratch->write("flip.glfx", kInvert);
        const Result r = glfx("frei0r --effect " + q(fx) + " -o " + q(scratch->path("flip.so")));
        ASSERT_EQ(r.status, 0) << r.err;
    }
    static void TearDownTestSuite()
    {
        delete scratch;
        scratch = nullptr;
    }

    void SetUp() override
    {
        if (!pluginBuilt())
            FAIL() << "glfxplugin.so is not built beside glfx";
        ASSERT_TRUE(glcensus::install());
        glcensus::reset();
        m.lib = dlopen(scratch->path("flip.so").c_str(), RTLD_NOW | RTLD_LOCAL);
        ASSERT_NE(m.lib, nullptr) << dlerror();
        find(m.lib, "f0r_init", m.init);
        find(m.lib, "f0r_deinit", m.deinit);
        find(m.lib, "f0r_get_plugin_info", m.info);
        find(m.lib, "f0r_construct", m.construct);
        find(m.lib, "f0r_destruct", m.destruct);
        find(m.lib, "f0r_set_param_value", m.set);
        find(m.lib, "f0r_update", m.update);
    }

    // The host has finished: the module is unloaded and no context lives.
    void TearDown() override
    {
        if (m.lib)
            dlclose(m.lib);
        EXPECT_EQ(glcensus::live().contexts, 0) << glcensus::live().describe();
        EXPECT_FALSE(contextCurrent());
    }

    // One frame through `inst` on the calling thread: the colours come out
    // inverted by `amount`, and no context is left current here.
    void renderChecked(f0r_instance_t inst, double amount, double seconds)
    {
        const std::vector<uint32_t> in = pattern();
        std::vector<uint32_t> out(in.size(), 0);
        m.set(inst, &amount, 0);
        m.update(inst, seconds, in.data(), out.data());
        EXPECT_FALSE(contextCurrent()) << "a context is left current on the host's thread";
        for (size_t i : {size_t(0), size_t(37), in.size() - 1}) {
            const auto* a = reinterpret_cast<const uint8_t*>(&in[i]);
            const auto* b = reinterpret_cast<const uint8_t*>(&out[i]);
            for (int c = 0; c < 3; ++c)
                EXPECT_NEAR(b[c], a[c] + amount * (255 - 2 * a[c]), 1.0) << "pixel " << i << " channel " << c;
            EXPECT_EQ(b[3], a[3]) << "pixel " << i << " alpha";
        }
    }

    static Scratch* scratch;
    Module m;
};

Scratch* Frei0rLifecycle::scratch = nullptr;

// ffmpeg: init, one instance, frames, destruct, deinit, all on one thread.
// While the instance has rendered it has its context; afterwards none.
TEST_F(Frei0rLifecycle, OneThreadInOrder)
{
    ASSERT_EQ(m.init(), 1);
    f0r_instance_t inst = m.construct(kWidth, kHeight);
    ASSERT_NE(inst, nullptr);
    for (int frame = 0; frame < 3; ++frame)
        renderChecked(inst, frame == 1 ? 0.5 : 1.0, frame / 5.0);
    EXPECT_EQ(glcensus::live().contexts, 1) << "the census sees the instance's context";
    m.destruct(inst);
    EXPECT_EQ(glcensus::live().contexts, 0) << glcensus::live().describe();
    m.deinit();
}

// GStreamer while it scans: instances built and thrown away without a frame
// never make a context.
TEST_F(Frei0rLifecycle, ThrowAwayInstancesMakeNoContext)
{
    ASSERT_EQ(m.init(), 1);
    std::vector<f0r_instance_t> all;
    for (int i = 0; i < 3; ++i) {
        all.push_back(m.construct(640, 480));
        ASSERT_NE(all.back(), nullptr);
    }
    EXPECT_EQ(glcensus::live().contexts, 0) << glcensus::live().describe();
    for (f0r_instance_t inst : all)
        m.destruct(inst);
    m.deinit();
}

// MLT: instances render on worker threads (one each) and are destroyed on
// another thread; the same instance may also be called from a second thread.
TEST_F(Frei0rLifecycle, ThreadsOfTheirOwn)
{
    ASSERT_EQ(m.init(), 1);
    f0r_instance_t a = m.construct(kWidth, kHeight), b = m.construct(kWidth, kHeight);
    ASSERT_NE(a, nullptr);
    ASSERT_NE(b, nullptr);
    std::thread ta([&] { renderChecked(a, 1.0, 0.0); });
    std::thread tb([&] { renderChecked(b, 0.25, 0.0); });
    ta.join();
    tb.join();
    EXPECT_EQ(glcensus::live().contexts, 2);
    std::thread([&] { renderChecked(a, 0.75, 0.2); }).join();
    std::thread([&] {
        m.destruct(a);
        m.destruct(b);
        EXPECT_FALSE(contextCurrent());
    }).join();
    EXPECT_EQ(glcensus::live().contexts, 0) << glcensus::live().describe();
    m.deinit();
}

// MLT's transitions: no f0r_init at all, and f0r_deinit comes before the
// instances are destroyed. Every call still works and nothing is left.
TEST_F(Frei0rLifecycle, NoInitAndDeinitBeforeDestruct)
{
    f0r_plugin_info_t info{};
    m.info(&info);
    EXPECT_STREQ(info.name, "flip"); // the module file's name
    EXPECT_EQ(info.plugin_type, F0R_PLUGIN_TYPE_FILTER);
    EXPECT_EQ(info.num_params, 1);
    f0r_instance_t inst = m.construct(kWidth, kHeight);
    ASSERT_NE(inst, nullptr);
    renderChecked(inst, 1.0, 0.0);
    m.deinit();
    renderChecked(inst, 0.5, 0.2);
    m.destruct(inst);
}

// Hosts that load, use and release the module again and again (ffmpeg per
// filter graph, MLT per service): no context piles up, and an instance
// outlives the f0r_deinit of the last user.
TEST_F(Frei0rLifecycle, RepeatedInitAndDeinit)
{
    for (int round = 0; round < 3; ++round) {
        SCOPED_TRACE(round);
        ASSERT_EQ(m.init(), 1);
        ASSERT_EQ(m.init(), 1);
        f0r_instance_t inst = m.construct(kWidth, kHeight);
        ASSERT_NE(inst, nullptr);
        renderChecked(inst, 1.0, round / 5.0);
        m.deinit();
        m.deinit();
        renderChecked(inst, 1.0, round / 5.0);
        m.destruct(inst);
        EXPECT_EQ(glcensus::live().contexts, 0) << glcensus::live().describe();
    }
}

} // namespace
