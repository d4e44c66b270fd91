// Pixel transfers at every host depth, with no GPU context: the routines then
// convert the layers in and the output buffer out, and the passes are
// skipped. A pass-through is made by pointing the output buffer at layer 0's
// buffer.
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

#include "TestWorld.h"
#include "gl/Description.h"
#include "render/MyDoRender.h"
#include "render/Rect.h"
#include "render/Transfer.h"

namespace {

constexpr float k8 = 0.003921569f;
constexpr float k16 = 1.0f / 32768.0f;
const float kNaN = std::numeric_limits<float>::quiet_NaN();
const float kInf = std::numeric_limits<float>::infinity();

class TransferTest : public ::testing::Test {
protected:
    void SetUp() override { setLayers(0, 1, false); }
    void TearDown() override { setLayers(0, 1, false); }

    static void setLayers(int noinput, int layerCount, bool fast)
    {
        glfxsettings& s = glfxDescription().settings;
        s.noinput = noinput;
        s.layerCount = layerCount;
        s.fast = fast;
    }
};

using Routine = void (*)(PF_InData*, PF_LayerDef*, EffectData*);

TEST_F(TransferTest, RoundTripsAtEveryDepthAndChannelOrder)
{
    // in[c] is the host channel (memory order) that becomes float c, written
    // out by hand; with the input order checked, an unchanged round trip also
    // pins down the output order. Channel k of pixel (x, y) runs through
    // every host value along a row long enough (256 pixels at 8 bits, 32769
    // at 16). Large frames are written with streaming stores where rows are
    // 16-byte aligned: with an odd width, 8- and 16-bit rows alternate
    // between aligned and unaligned, and float rows are all unaligned when
    // the output starts 4 bytes off.
    struct Case {
        const char* name;
        Routine routine;
        int channelBytes;
        bool premiere, fast;
        int in[4];
        int w, h, padding; // bytes of padding after each row
        int outOffset;     // the output world's data this many bytes on
    };
    const Case cases[] = {
        // A padding of 6 bytes in an 8-bit world: rows 4 bytes apart.
        {"8-bit ARGB", Render8, 1, false, false, {1, 2, 3, 0}, 259, 3, 6, 0},
        {"8-bit ARGB, fast switch on", Render8, 1, false, true, {1, 2, 3, 0}, 259, 3, 6, 0},
        {"8-bit Premiere BGRA", Render8, 1, true, false, {2, 1, 0, 3}, 259, 3, 6, 0},
        {"8-bit Premiere, fast switch on", Render8, 1, true, true, {3, 2, 1, 0}, 259, 3, 6, 0},
        {"16-bit", Render16, 2, false, false, {1, 2, 3, 0}, 32769, 1, 16, 0},
        {"16-bit fast", Render16_Fast, 2, false, false, {0, 1, 2, 3}, 32769, 1, 16, 0},
        {"float", RenderFloat, 4, false, false, {1, 2, 3, 0}, 5, 2, 32, 0},
        {"large 8-bit", Render8, 1, false, false, {1, 2, 3, 0}, 1027, 1024, 0, 0},
        {"large 8-bit padded", Render8, 1, false, false, {1, 2, 3, 0}, 1027, 1024, 4, 0},
        {"large 16-bit", Render16, 2, false, false, {1, 2, 3, 0}, 1027, 1024, 0, 0},
        {"large 16-bit padded", Render16, 2, false, false, {1, 2, 3, 0}, 1027, 1024, 8, 0},
        {"large float", RenderFloat, 4, false, false, {1, 2, 3, 0}, 1027, 1024, 0, 0},
        {"large float padded, unaligned", RenderFloat, 4, false, false, {1, 2, 3, 0}, 1027, 1024, 16, 4},
    };
    const std::uint32_t specials[] = {
        0x7FC00001u, // a NaN with payload
        0x80000000u, // -0
        0x00000001u, // smallest denormal
        0x7F800000u, // infinity
        0x40490FDBu, // pi: above 1, unclamped
        0xBF800000u, 0x3F800000u, 0x12345678u,
    };
    const unsigned mult[4] = {1, 5, 7, 13}; // prime to 256 and to 32769
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        setLayers(0, 1, c.fast);
        const int ps = 4 * c.channelBytes;
        TestWorld in(c.w, c.h, ps, c.padding), out(c.w, c.h, ps, c.padding);
        std::uint8_t* const outData = out.bytes.data() + c.outOffset;
        out.def.data = reinterpret_cast<PF_PixelPtr>(outData);
        const std::size_t rowBytes = static_cast<std::size_t>(c.w) * ps,
                          step = rowBytes + c.padding / ps * ps;
        auto at = [&](int x, int y, int k) {
            return in.bytes.data() + y * step + x * ps + k * c.channelBytes;
        };
        for (int y = 0; y < c.h; ++y)
            for (int x = 0; x < c.w; ++x)
                for (int k = 0; k < 4; ++k) {
                    const unsigned n = x * mult[k] + 7 * y + 13 * k;
                    const std::uint16_t v16 = static_cast<std::uint16_t>(n % 32769);
                    const float vf =
                        n % 9 == 8 ? bitsFloat(specials[n / 9 % 8]) : static_cast<float>(n % 4096) / 1024 - 1;
                    if (c.channelBytes == 1)
                        *at(x, y, k) = static_cast<std::uint8_t>(n);
                    if (c.channelBytes == 2)
                        std::memcpy(at(x, y, k), &v16, 2);
                    if (c.channelBytes == 4)
                        std::memcpy(at(x, y, k), &vf, 4);
                }
        TestRecord r;
        r.d.isPremiere = c.premiere;
        r.d.layers[0] = &in.def;
        ownedLayer(r.d, 0, static_cast<std::size_t>(c.w) * c.h);
        r.d.outputBuffer = r.d.layerBuffers[0];
        c.routine(nullptr, &out.def, &r.d);

        for (int y = 0; y < c.h; ++y) {
            for (int x = 0; x < c.w; ++x) {
                const float* f = r.d.layerBuffers[0] + 4 * (static_cast<std::size_t>(y) * c.w + x);
                for (int k = 0; k < 4; ++k) {
                    // 8-bit: value x k8; 16-bit: value x 2^-15; float: the same bits.
                    const std::uint8_t* s = at(x, y, c.in[k]);
                    std::uint16_t v16;
                    std::uint32_t want;
                    std::memcpy(&v16, s, 2);
                    std::memcpy(&want, s, 4);
                    if (c.channelBytes < 4)
                        want = floatBits(c.channelBytes == 1 ? *s * k8 : v16 * k16);
                    ASSERT_EQ(want, floatBits(f[k])) << x << "," << y << " float " << k;
                }
            }
            ASSERT_EQ(0, std::memcmp(at(0, y, 0), outData + y * step, rowBytes)) << "row " << y;
            if (step > rowBytes) {
                ASSERT_EQ(0xEE, outData[y * step + rowBytes]) << "padding after row " << y;
            }
        }
    }
}

TEST_F(TransferTest, OutputClampsAndTheFastSixteenBitWrap)
{
    // Every float of the output buffer holds the case's value, so the
    // channel order does not matter here.
    struct Case {
        float v;
        int u8, u16;
        int wrapped; // Render16_Fast: the low 16 bits; -1: not defined
    };
    const Case cases[] = {
        {1.0000001f, 255, 32768, 32768}, // 32768.004 truncated
        {1.0f, 255, 32768, 32768},
        {2.0f, 255, 32768, 0}, // 65536 keeps its low 16 bits
        {1.5f, 255, 32768, 49152},
        {-0.5f, 0, 0, 49152}, // -16384 as 16 bits
        {0.0f, 0, 0, 0},
        {-0.0f, 0, 0, 0},
        {kNaN, 0, 0, 0},
        {kInf, 255, 32768, -1},
        {-kInf, 0, 0, -1},
        {0.5f, 127, 16384, 16384},   // 127.5 truncated
        {0.0039215f, 0, 128, 128},   // just below 1/255
        {0.0039216f, 1, 128, 128},   // just above 1/255
        {0.999f, 254, 32735, 32735}, // 32735.232
        {0.99999994f, 254, 32767, 32767},
    };
    const int n = sizeof cases / sizeof cases[0]; // SIMD blocks and a tail
    struct Run {
        const char* name;
        Routine routine;
        bool premiere, fast, deep;
    };
    const Run runs[] = {{"8-bit ARGB", Render8, false, false, false},
                        {"8-bit ARGB, fast switch on", Render8, false, true, false},
                        {"8-bit Premiere", Render8, true, false, false},
                        {"8-bit Premiere, fast switch on", Render8, true, true, false},
                        {"16-bit", Render16, false, false, true},
                        {"16-bit fast", Render16_Fast, false, false, true}};
    for (const Run& run : runs) {
        SCOPED_TRACE(run.name);
        setLayers(1, 1, run.fast); // no layers: only the output pass runs
        TestWorld out(n, 2, run.deep ? 8 : 4);
        TestRecord r;
        r.d.isPremiere = run.premiere;
        ownedOutput(r.d, n * 2);
        for (int i = 0; i < n * 8; ++i)
            r.d.outputBuffer[i] = cases[i / 4 % n].v;
        run.routine(nullptr, &out.def, &r.d);
        for (int y = 0; y < 2; ++y)
            for (int i = 0; i < n; ++i) {
                const int want = run.routine == Render16_Fast ? cases[i].wrapped
                                 : run.deep                   ? cases[i].u16
                                                              : cases[i].u8;
                for (int k = 0; want >= 0 && k < 4; ++k) {
                    const int got =
                        run.deep ? out.pixel<std::uint16_t>(i, y)[k] : out.pixel<std::uint8_t>(i, y)[k];
                    EXPECT_EQ(want, got) << "value " << cases[i].v << " channel " << k;
                }
            }
    }
}

TEST_F(TransferTest, SkippedEmptyAndLeadingLayersKeepTheirBuffers)
{
    setLayers(1, 4, false); // the effect takes no input layer: layers 1..3
    TestWorld input(2, 2, 4), a(2, 2, 4), skipped(2, 2, 4), empty(2, 0, 4);
    std::memset(a.bytes.data(), 51, a.bytes.size()); // 51 * k8 = 0.2
    std::memset(input.bytes.data(), 102, input.bytes.size());
    std::memset(skipped.bytes.data(), 204, skipped.bytes.size());
    TestRecord r;
    TestWorld* worlds[4] = {&input, &a, &skipped, &empty};
    for (int i = 0; i < 4; ++i) {
        r.d.layers[i] = &worlds[i]->def;
        ownedLayer(r.d, i, 4, -7.0f);
    }
    r.d.layerSkip[2] = true;
    ownedOutput(r.d, 4);
    TestWorld out(2, 2, 4);
    Render8(nullptr, &out.def, &r.d);
    for (int k = 0; k < 16; ++k) {
        EXPECT_EQ(-7.0f, r.d.layerBuffers[0][k]); // before the first layer index
        EXPECT_EQ(51.0f * k8, r.d.layerBuffers[1][k]);
        EXPECT_EQ(-7.0f, r.d.layerBuffers[2][k]); // skipped
        EXPECT_EQ(-7.0f, r.d.layerBuffers[3][k]); // no rows
    }
}

// ---- Rectangles -------------------------------------------------------------

TEST(RectTest, EmptyUnionAndEdges)
{
    const PF_LRect empties[] = {{0, 0, 0, 0}, {5, 0, 5, 10}, {0, 5, 10, 5}, {6, 0, 5, 10}, {0, 0, 1, -1}};
    for (const PF_LRect& r : empties)
        EXPECT_TRUE(IsEmptyRect(&r)) << r.left << "," << r.top;
    const PF_LRect one{3, 4, 4, 5};
    EXPECT_FALSE(IsEmptyRect(&one));

    struct Union {
        PF_LRect src, dst, expected;
    };
    const Union unions[] = {
        {{1, 2, 3, 4}, {0, 0, 0, 0}, {1, 2, 3, 4}},         // empty dst takes src
        {{0, 0, 0, 0}, {1, 2, 3, 4}, {1, 2, 3, 4}},         // empty src changes nothing
        {{9, 9, 3, 3}, {1, 2, 3, 4}, {1, 2, 3, 4}},         // inverted src is empty
        {{-5, 10, 2, 20}, {0, 0, 10, 12}, {-5, 0, 10, 20}}, // bounding box
        {{2, 2, 3, 3}, {0, 0, 10, 10}, {0, 0, 10, 10}},     // inside
    };
    for (const Union& c : unions) {
        PF_LRect dst = c.dst;
        UnionLRect(&c.src, &dst);
        EXPECT_EQ(0, std::memcmp(&c.expected, &dst, sizeof dst))
            << dst.left << "," << dst.top << "," << dst.right << "," << dst.bottom;
    }

    PF_LRect r{2, 3, 6, 8};
    struct Edge {
        int x, y;
        bool edge;
    };
    const Edge edges[] = {{2, 3, true},  {6, 8, true},  {2, 5, true},  {6, 5, true},
                          {4, 3, true},  {4, 8, true},  {4, 5, false}, {2, 9, false},
                          {1, 3, false}, {7, 8, false}, {6, 2, false}};
    for (const Edge& c : edges)
        EXPECT_EQ(c.edge, IsEdgePixel(&r, c.x, c.y)) << c.x << "," << c.y;
}

} // namespace
