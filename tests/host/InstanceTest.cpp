// One instance's state across the host's lifecycle through the real plug-in:
// a saved project reopened (its own bytes, or bytes that carry another
// process's pointers), a render after global setdown, a second sequence
// setup, layer worlds of another depth than the output, outputs larger than
// the input. Each must render the right pixels or fail cleanly, never touch
// a stale pointer (run under the sanitizer build too).
#include "gl/EffectData.h"
#include "tests/shell/PluginFixture.h"

#include <cstring>

using namespace plugintest;

namespace {

// Red shows gain; the layer parameter's world is lent to every render (and
// transferred) without reaching the pixels.
const char* kEffect = "[settings]\nname=Instance\nversion=1.0\ninterp=0\n"
                      "[par1]\nparam=gain\ntype=float\nmin=0\nmax=1\ndefault=0.5\n"
                      "[par2]\nparam=plate\ntype=layer\n"
                      "[ps0]\nuniform float gain;\n"
                      "void main() { gl_FragColor = vec4(gain, 0.0, 0.0, 1.0); }\n";

const float kHalfRed[4] = {0.5f, 0.0f, 0.0f, 1.0f};

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

// Saved and reopened: the host hands the saved bytes back and they save again
// unchanged; every handle and suite is given back at the end.
TEST(Instance, SavedBytesReopenAndSaveUnchanged)
{
    for (HostMode mode : kModes) {
        SCOPED_TRACE(hostModeName(mode));
        Effect fx(kEffect, mode);
        Session& s = fx.session;
        ASSERT_EQ(s.start(), PF_Err_NONE);
        World in = worldFor(mode, 4, 4), out = worldFor(mode, 4, 4);
        ASSERT_EQ(s.render(in, out), PF_Err_NONE);
        ASSERT_EQ(s.flatten(), PF_Err_NONE);
        ASSERT_EQ(s.flatData().size(), sizeof(EffectData));
        const std::vector<uint8_t> saved = s.flatData();
        ASSERT_EQ(s.resetup(), PF_Err_NONE);
        EXPECT_EQ(s.sequenceDataSize(), sizeof(EffectData));
        ASSERT_EQ(s.flatten(), PF_Err_NONE);
        EXPECT_TRUE(s.flatData() == saved);
        EXPECT_EQ(s.sequenceSetdown(), PF_Err_NONE);
        EXPECT_FALSE(s.hasSequenceData());
        EXPECT_EQ(s.globalSetdown(), PF_Err_NONE);
        EXPECT_EQ(s.liveHandles() + s.liveMemHandles(), 0);
        const glfxhost::Records& r = s.records();
        for (const auto& a : r.suiteAcquires)
            EXPECT_EQ(r.suiteReleases.at(a.first), a.second) << a.first;
        EXPECT_EQ(problems(s), "");
    }
}

TEST(Instance, ReopenedBytesWithForeignPointersRenderFromScratch)
{
    // A wild address, a small one, and an address-like one inside this
    // process's heap that is not a record's.
    std::vector<uint8_t> heapBlock(64);
    const uintptr_t words[] = {0xDEADBEEFCAFEF00Dull, 0x40, reinterpret_cast<uintptr_t>(heapBlock.data())};
    for (HostMode mode : kModes)
        for (uintptr_t word : words) {
            SCOPED_TRACE(testing::Message() << hostModeName(mode) << " word " << std::hex << word);
            Effect fx(kEffect, mode);
            Session& s = fx.session;
            ASSERT_EQ(s.start(), PF_Err_NONE);
            World in = worldFor(mode, 4, 3), out = worldFor(mode, 4, 3), plate = worldFor(mode, 4, 3);
            in.fill(0, 0, 0, 1);
            s.setLayer(2, &plate);
            ASSERT_EQ(s.render(in, out), PF_Err_NONE);
            ASSERT_EQ(s.flatten(), PF_Err_NONE);
            s.setFlatData(recordBytes(word));
            ASSERT_EQ(s.resetup(), PF_Err_NONE);
            s.setFloat(1, 0.25);
            ASSERT_EQ(s.render(in, out), PF_Err_NONE);
            expectPixel(out, 1, 1, {0.25f, 0.0f, 0.0f, 1.0f});
            ASSERT_EQ(s.finish(), PF_Err_NONE);
        }
}

// After global setdown a render fails and leaves the output; before each
// later step the layer world of the previous render is gone. Each sequence
// setup after a render must release what that render built (a leak shows in
// the sanitizer build with leak detection on), and outputs larger than the
// input need a result buffer from the instance's owner (one grown behind its
// back would be freed and then read next frame).
TEST(Instance, SetupAgainLargerOutputsAndRenderAfterGlobalSetdown)
{
    for (HostMode mode : kModes) {
        SCOPED_TRACE(hostModeName(mode));
        Effect fx(kEffect, mode);
        Session& s = fx.session;
        ASSERT_EQ(s.start(), PF_Err_NONE);
        World in = worldFor(mode, 4, 3);
        in.fill(0, 0, 0, 1);
        for (int side : {9, 17, 9}) {
            SCOPED_TRACE(side);
            World out = worldFor(mode, side, side), plate = worldFor(mode, 4, 3);
            s.setLayer(2, &plate);
            ASSERT_EQ(s.render(in, out), PF_Err_NONE); // grown from the size before, no setup between
            expectPixel(out, side - 1, side - 1, kHalfRed);
            ASSERT_EQ(s.sequenceSetup(), PF_Err_NONE);
            out.fill(0, 0, 0, 0);
            ASSERT_EQ(s.render(in, out), PF_Err_NONE);
            expectPixel(out, side - 1, side - 1, kHalfRed);
            s.setLayer(2, nullptr);
        }
        ASSERT_EQ(s.globalSetdown(), PF_Err_NONE);
        World out = worldFor(mode, 4, 3);
        out.fill(0.0f, 1.0f, 0.0f, 1.0f);
        const std::vector<float> before = out.toRGBA();
        EXPECT_NE(s.render(in, out), PF_Err_NONE);
        EXPECT_EQ(out.toRGBA(), before);
    }
}

TEST(Instance, LayerOfAnotherDepthIsLeftOut)
{
    // A narrower layer would be read past its rows; a wider one misread.
    const int cases[][2] = {{32, 8}, {16, 8}, {32, 16}, {8, 32}, {8, 16}}; // output, layer depth
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << "output " << c[0] << " layer " << c[1]);
        Effect fx(kEffect);
        ASSERT_EQ(fx.session.start(), PF_Err_NONE);
        World in(5, 3, c[0]), out(5, 3, c[0]), plate(5, 3, c[1], false, 0);
        in.fill(0, 0, 0, 1);
        plate.fill(1, 1, 1, 1);
        fx.session.setLayer(2, &plate);
        ASSERT_EQ(fx.session.render(in, out), PF_Err_NONE); // left out as a missing layer
        expectPixel(out, 2, 1, kHalfRed);
        ASSERT_EQ(fx.session.finish(), PF_Err_NONE);
    }
}
