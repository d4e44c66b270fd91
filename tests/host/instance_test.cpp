// One instance's state across the host's lifecycle through the real plug-in:
// saved bytes that carry another process's pointers, a render after global
// setdown, a second sequence setup, and layer worlds of another depth than
// the output. Each must render the right pixels or fail cleanly, never touch
// a stale pointer (run under the sanitizer build too).
#include "gl/EffectData.h"
#include "host/Host.h"

#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <vector>

using namespace glfxhost;

namespace {

std::string pluginPath() { return std::string(GLFX_BINARY_DIR) + "/glfxplugin.so"; }

#define REQUIRE_PLUGIN()                                                                                     \
    if (!std::ifstream(pluginPath()).good())                                                                 \
    GTEST_SKIP() << "glfxplugin.so is not built in this tree"

// Red shows gain; the layer parameter's world is lent to every render (and
// transferred) without reaching the pixels.
const char* kEffect = "[settings]\nname=Instance\nversion=1.0\ninterp=0\n"
                      "[par1]\nparam=gain\ntype=float\nmin=0\nmax=1\ndefault=0.5\n"
                      "[par2]\nparam=plate\ntype=layer\n"
                      "[ps0]\nuniform float gain;\n"
                      "void main() { gl_FragColor = vec4(gain, 0.0, 0.0, 1.0); }\n";

const HostMode kModes[] = {HostMode::AfterEffects, HostMode::Premiere};

World worldFor(HostMode mode, int w, int h) { return World(w, h, 8, mode == HostMode::Premiere); }

void expectPixel(const World& w, int x, int y, const float want[4])
{
    float got[4];
    w.getPixel(x, y, got);
    for (int k = 0; k < 4; ++k)
        EXPECT_NEAR(got[k], want[k], 1.0f / 255.0f) << "channel " << k << " at " << x << "," << y;
}

// Bytes of one record whose every pointer-sized word holds `word`: what a
// project saved by another process or build, or tampered with, hands back.
std::vector<uint8_t> recordBytes(uintptr_t word)
{
    std::vector<uint8_t> bytes(sizeof(EffectData), 0);
    for (std::size_t at = 0; at + sizeof word <= bytes.size(); at += sizeof word)
        std::memcpy(bytes.data() + at, &word, sizeof word);
    return bytes;
}

} // namespace

TEST(Instance, ReopenedBytesWithForeignPointersRenderFromScratch)
{
    REQUIRE_PLUGIN();
    Plugin plugin(pluginPath());
    plugin.setEffectText(kEffect);
    // A wild address, a small one, and an address-like one inside this
    // process's heap that is not a record's.
    std::vector<uint8_t> heapBlock(64);
    const uintptr_t words[] = {0xDEADBEEFCAFEF00Dull, 0x40, reinterpret_cast<uintptr_t>(heapBlock.data())};
    for (HostMode mode : kModes)
        for (uintptr_t word : words) {
            SCOPED_TRACE(testing::Message() << hostModeName(mode) << " word " << std::hex << word);
            Session s(plugin, mode);
            ASSERT_EQ(s.start(), PF_Err_NONE);
            World in = worldFor(mode, 4, 3), out = worldFor(mode, 4, 3), plate = worldFor(mode, 4, 3);
            in.fill(0, 0, 0, 1);
            plate.fill(0.2f, 0.6f, 0, 1);
            s.setLayer(2, &plate);
            ASSERT_EQ(s.render(in, out), PF_Err_NONE);
            ASSERT_EQ(s.flatten(), PF_Err_NONE);
            s.setFlatData(recordBytes(word));
            ASSERT_EQ(s.resetup(), PF_Err_NONE);
            s.setFloat(1, 0.25);
            out.fill(0, 0, 0, 0);
            ASSERT_EQ(s.render(in, out), PF_Err_NONE);
            const float want[4] = {0.25f, 0.0f, 0.0f, 1.0f};
            expectPixel(out, 1, 1, want);
            ASSERT_EQ(s.finish(), PF_Err_NONE);
        }
}

TEST(Instance, RenderAfterGlobalSetdownFailsAndLeavesTheOutput)
{
    REQUIRE_PLUGIN();
    Plugin plugin(pluginPath());
    plugin.setEffectText(kEffect);
    for (HostMode mode : kModes) {
        SCOPED_TRACE(hostModeName(mode));
        Session s(plugin, mode);
        ASSERT_EQ(s.start(), PF_Err_NONE);
        World in = worldFor(mode, 4, 3), out = worldFor(mode, 4, 3);
        in.fill(0, 0, 0, 1);
        {
            // The layer world of the first render is gone before the next one.
            World plate = worldFor(mode, 4, 3);
            plate.fill(1, 1, 1, 1);
            s.setLayer(2, &plate);
            ASSERT_EQ(s.render(in, out), PF_Err_NONE);
            s.setLayer(2, nullptr);
        }
        ASSERT_EQ(s.globalSetdown(), PF_Err_NONE);
        out.fill(0.0f, 1.0f, 0.0f, 1.0f);
        const std::vector<float> before = out.toRGBA();
        EXPECT_NE(s.render(in, out), PF_Err_NONE);
        EXPECT_EQ(out.toRGBA(), before);
    }
}

TEST(Instance, SecondSequenceSetupStartsAFreshInstance)
{
    REQUIRE_PLUGIN();
    Plugin plugin(pluginPath());
    plugin.setEffectText(kEffect);
    for (HostMode mode : kModes) {
        SCOPED_TRACE(hostModeName(mode));
        Session s(plugin, mode);
        ASSERT_EQ(s.start(), PF_Err_NONE);
        World in = worldFor(mode, 4, 3), out = worldFor(mode, 4, 3), plate = worldFor(mode, 4, 3);
        in.fill(0, 0, 0, 1);
        plate.fill(0.4f, 0.8f, 0, 1);
        s.setLayer(2, &plate);
        // Each setup after a render must release what that render built (a
        // leak shows in the sanitizer build with leak detection on).
        for (int round = 0; round < 3; ++round) {
            SCOPED_TRACE(round);
            ASSERT_EQ(s.render(in, out), PF_Err_NONE);
            ASSERT_EQ(s.sequenceSetup(), PF_Err_NONE);
            out.fill(0, 0, 0, 0);
            ASSERT_EQ(s.render(in, out), PF_Err_NONE);
            const float want[4] = {0.5f, 0.0f, 0.0f, 1.0f};
            expectPixel(out, 2, 1, want);
        }
        ASSERT_EQ(s.finish(), PF_Err_NONE);
    }
}

TEST(Instance, LayerOfAnotherDepthIsLeftOut)
{
    REQUIRE_PLUGIN();
    Plugin plugin(pluginPath());
    plugin.setEffectText(kEffect);
    struct Case {
        int outputDepth, layerDepth;
    };
    // A narrower layer would be read past its rows; a wider one misread.
    const Case cases[] = {{32, 8}, {16, 8}, {32, 16}, {8, 32}, {8, 16}};
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << "output " << c.outputDepth << " layer " << c.layerDepth);
        Session s(plugin, HostMode::AfterEffects);
        ASSERT_EQ(s.start(), PF_Err_NONE);
        World in(5, 3, c.outputDepth), out(5, 3, c.outputDepth), plate(5, 3, c.layerDepth, false, 0);
        in.fill(0, 0, 0, 1);
        plate.fill(1, 1, 1, 1);
        s.setLayer(2, &plate);
        ASSERT_EQ(s.render(in, out), PF_Err_NONE);
        // The layer is left out as a missing one; the frame still renders.
        const float want[4] = {0.5f, 0.0f, 0.0f, 1.0f};
        expectPixel(out, 2, 1, want);
        ASSERT_EQ(s.finish(), PF_Err_NONE);
    }
}

// An output world larger than the input layer: the pass loop needs a result
// buffer for the output's size, which must come from the instance's owner
// (a buffer grown behind its back would be freed and then read next frame).
TEST(Instance, OutputLargerThanTheInputFrameAfterFrame)
{
    REQUIRE_PLUGIN();
    Plugin plugin(pluginPath());
    plugin.setEffectText(kEffect);
    for (HostMode mode : kModes) {
        SCOPED_TRACE(hostModeName(mode));
        Session s(plugin, mode);
        ASSERT_EQ(s.start(), PF_Err_NONE);
        World in = worldFor(mode, 4, 3);
        const float red[4] = {0.5f, 0.0f, 0.0f, 1.0f};
        for (int side : {9, 17, 9}) {
            World out = worldFor(mode, side, side);
            ASSERT_EQ(s.render(in, out), PF_Err_NONE);
            expectPixel(out, side - 1, side - 1, red);
        }
        ASSERT_EQ(s.finish(), PF_Err_NONE);
    }
}
