// Pixel transfers at every host depth, with no GPU context: the routines then
// convert the layers in and the output buffer out, and the passes are
// skipped. A pass-through is made by pointing the output buffer at layer 0's
// buffer.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>

#include "TestWorld.h"
#include "gl/Description.h"
#include "render/Rect.h"
#include "render/Transfer.h"

namespace {

constexpr float k8 = 0.003921569f;
constexpr float k16 = 1.0f / 32768.0f;

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

// Channel orders, written out by hand: in[c] is the host channel (memory
// order) that becomes float c; out[j] is the float that becomes host
// channel j.
struct Order8 {
    const char* name;
    bool premiere;
    bool fast;
    int in[4];
    int out[4];
};
const Order8 kOrders8[] = {
    {"host ARGB", false, false, {1, 2, 3, 0}, {3, 0, 1, 2}},
    {"host ARGB, fast switch on", false, true, {1, 2, 3, 0}, {3, 0, 1, 2}},
    {"Premiere BGRA", true, false, {2, 1, 0, 3}, {2, 1, 0, 3}},
    {"Premiere, fast switch on", true, true, {3, 2, 1, 0}, {3, 2, 1, 0}},
};

TEST_F(TransferTest, EightBitValuesSurviveARoundTripInEveryChannelOrder)
{
    for (const Order8& o : kOrders8) {
        SCOPED_TRACE(o.name);
        setLayers(0, 1, o.fast);
        // 256 pixels a row (plus a SIMD tail of 3), every value in every
        // channel; 8 bytes of padding after each row.
        const int w = 259, h = 3;
        TestWorld in(w, h, 4, 8), out(w, h, 4, 8);
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x) {
                std::uint8_t* p = in.pixel<std::uint8_t>(x, y);
                p[0] = static_cast<std::uint8_t>(x + y);
                p[1] = static_cast<std::uint8_t>(255 - x);
                p[2] = static_cast<std::uint8_t>(x * 7 + y);
                p[3] = static_cast<std::uint8_t>(x * 13 + 5);
            }
        TestRecord r;
        r.d.isPremiere = o.premiere;
        r.d.layers[0] = &in.def;
        r.d.layerBuffers[0] = newBuffer(w * h);
        r.d.outputBuffer = r.d.layerBuffers[0];
        Render8(nullptr, &out.def, &r.d);

        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x) {
                const std::uint8_t* s = in.pixel<std::uint8_t>(x, y);
                const float* f = r.d.layerBuffers[0] + 4 * (y * w + x);
                for (int c = 0; c < 4; ++c)
                    ASSERT_EQ(f[c], static_cast<float>(s[o.in[c]]) * k8) << x << "," << y << " float " << c;
                ASSERT_EQ(0, std::memcmp(s, out.pixel<std::uint8_t>(x, y), 4)) << x << "," << y;
            }
        // The padding of the output world is not written.
        EXPECT_EQ(0xEE, out.row(0)[w * 4]);
        EXPECT_EQ(0xEE, out.row(h - 1)[w * 4 + 7]);
    }
}

TEST_F(TransferTest, EightBitOutputOrderAndClamp)
{
    // Floats (R, G, B, A) and what each becomes through the 8-bit clamp.
    const float v[4] = {1.0000001f, -0.5f, 0.5f, 0.999f};
    const std::uint8_t c[4] = {255, 0, 127, 254};
    for (const Order8& o : kOrders8) {
        SCOPED_TRACE(o.name);
        setLayers(1, 1, o.fast);  // no layers: only the output pass runs
        const int w = 7;           // a SIMD block and a tail
        TestWorld out(w, 2, 4);
        TestRecord r;
        r.d.isPremiere = o.premiere;
        r.d.outputBuffer = newBuffer(w * 2);
        for (int i = 0; i < w * 2; ++i)
            for (int k = 0; k < 4; ++k) r.d.outputBuffer[4 * i + k] = v[k];
        Render8(nullptr, &out.def, &r.d);
        for (int y = 0; y < 2; ++y)
            for (int x = 0; x < w; ++x)
                for (int j = 0; j < 4; ++j)
                    ASSERT_EQ(c[o.out[j]], out.pixel<std::uint8_t>(x, y)[j]) << x << "," << y << " channel " << j;
    }
}

TEST_F(TransferTest, EightBitClampEdges)
{
    setLayers(1, 1, false);
    struct Case {
        float v;
        std::uint8_t expected;
    };
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const float inf = std::numeric_limits<float>::infinity();
    const Case cases[] = {
        {1.0000001f, 255}, {1.0f, 255}, {-0.5f, 0}, {0.0f, 0}, {-0.0f, 0}, {nan, 0}, {inf, 255}, {-inf, 0},
        {0.5f, 127},       // 127.5 truncated
        {0.0039215f, 0},   // just below 1/255
        {0.0039216f, 1},   // just above 1/255
        {0.99999994f, 254},
    };
    const int n = sizeof cases / sizeof cases[0];
    TestWorld out(n, 1, 4);
    TestRecord r;
    r.d.outputBuffer = newBuffer(n);
    for (int i = 0; i < n; ++i)
        for (int k = 0; k < 4; ++k) r.d.outputBuffer[4 * i + k] = cases[i].v;
    Render8(nullptr, &out.def, &r.d);
    for (int i = 0; i < n; ++i)
        for (int k = 0; k < 4; ++k)
            EXPECT_EQ(cases[i].expected, out.pixel<std::uint8_t>(i, 0)[k]) << "value " << cases[i].v;
}

TEST_F(TransferTest, SixteenBitRangeRoundTrip)
{
    // Every value 0..32768 in every channel.
    const int w = 32769;
    TestWorld in(w, 1, 8, 16), out(w, 1, 8, 16);
    for (int x = 0; x < w; ++x) {
        std::uint16_t* p = in.pixel<std::uint16_t>(x, 0);
        p[0] = static_cast<std::uint16_t>(x);
        p[1] = static_cast<std::uint16_t>(32768 - x);
        p[2] = static_cast<std::uint16_t>((x * 3) % 32769);
        p[3] = static_cast<std::uint16_t>((x * 11 + 7) % 32769);
    }
    TestRecord r;
    r.d.layers[0] = &in.def;
    r.d.layerBuffers[0] = newBuffer(w);
    r.d.outputBuffer = r.d.layerBuffers[0];
    Render16(nullptr, &out.def, &r.d);
    for (int x = 0; x < w; ++x) {
        const std::uint16_t* s = in.pixel<std::uint16_t>(x, 0);
        const float* f = r.d.layerBuffers[0] + 4 * x;
        // (R, G, B, A) from (A, R, G, B)
        ASSERT_EQ(f[0], s[1] / 32768.0f);
        ASSERT_EQ(f[3], s[0] / 32768.0f);
        ASSERT_EQ(0, std::memcmp(s, out.pixel<std::uint16_t>(x, 0), 8)) << x;
    }
}

TEST_F(TransferTest, SixteenBitClampAndFastWrap)
{
    setLayers(1, 1, false);
    struct Case {
        float v;
        std::uint16_t clamped;  // Render16
        std::uint16_t wrapped;  // Render16_Fast
    };
    const Case cases[] = {
        {1.0000001f, 32768, 32768},  // 32768.004 truncated
        {1.0f, 32768, 32768},
        {2.0f, 32768, 0},            // 65536 keeps its low 16 bits
        {1.5f, 32768, 49152},
        {-0.5f, 0, 49152},           // -16384 as 16 bits
        {0.5f, 16384, 16384},
        {0.999f, 32735, 32735},      // 32735.232
        {0.0f, 0, 0},
        {std::numeric_limits<float>::quiet_NaN(), 0, 0},
    };
    const int n = sizeof cases / sizeof cases[0];
    for (int fast = 0; fast < 2; ++fast) {
        TestWorld out(n, 1, 8);
        TestRecord r;
        r.d.outputBuffer = newBuffer(n);
        for (int i = 0; i < n; ++i) {
            // a different value in every float: red carries the case
            float* f = r.d.outputBuffer + 4 * i;
            f[0] = cases[i].v;
            f[1] = 0.25f;
            f[2] = 0.75f;
            f[3] = 0.125f;
        }
        if (fast)
            Render16_Fast(nullptr, &out.def, &r.d);
        else
            Render16(nullptr, &out.def, &r.d);
        for (int i = 0; i < n; ++i) {
            const std::uint16_t* p = out.pixel<std::uint16_t>(i, 0);
            if (fast) {
                // no reordering: float j goes to channel j
                EXPECT_EQ(cases[i].wrapped, p[0]) << cases[i].v;
                EXPECT_EQ(8192, p[1]);
                EXPECT_EQ(24576, p[2]);
                EXPECT_EQ(4096, p[3]);
            } else {
                // (A, R, G, B) from (R, G, B, A)
                EXPECT_EQ(4096, p[0]);
                EXPECT_EQ(cases[i].clamped, p[1]) << cases[i].v;
                EXPECT_EQ(8192, p[2]);
                EXPECT_EQ(24576, p[3]);
            }
        }
    }
}

TEST_F(TransferTest, SixteenBitFastInputKeepsTheHostOrder)
{
    TestWorld in(3, 1, 8);
    for (int x = 0; x < 3; ++x) {
        std::uint16_t* p = in.pixel<std::uint16_t>(x, 0);
        p[0] = 1000;
        p[1] = 2000;
        p[2] = 3000;
        p[3] = 32768;
    }
    TestWorld out(3, 1, 8);
    TestRecord r;
    r.d.layers[0] = &in.def;
    r.d.layerBuffers[0] = newBuffer(3);
    r.d.outputBuffer = newBuffer(3);
    Render16_Fast(nullptr, &out.def, &r.d);
    for (int x = 0; x < 3; ++x) {
        const float* f = r.d.layerBuffers[0] + 4 * x;
        EXPECT_EQ(f[0], 1000.0f * k16);
        EXPECT_EQ(f[1], 2000.0f * k16);
        EXPECT_EQ(f[2], 3000.0f * k16);
        EXPECT_EQ(f[3], 1.0f);
    }
}

TEST_F(TransferTest, FloatChannelsAreCopiedBitForBit)
{
    const std::uint32_t patterns[] = {
        0x7FC00001u,  // a NaN with payload
        0x80000000u,  // -0
        0x00000001u,  // smallest denormal
        0x7F800000u,  // infinity
        0x40490FDBu,  // pi: above 1, unclamped
        0xBF800000u,  // -1
        0x3F800000u,  // 1
        0x12345678u,
    };
    const int w = 5;
    TestWorld in(w, 2, 16, 32), out(w, 2, 16, 48);
    for (int y = 0; y < 2; ++y)
        for (int x = 0; x < w; ++x)
            for (int c = 0; c < 4; ++c) {
                const float f = bitsFloat(patterns[(x + y + c) % 8]);
                std::memcpy(in.pixel<float>(x, y) + c, &f, 4);
            }
    TestRecord r;
    r.d.layers[0] = &in.def;
    r.d.layerBuffers[0] = newBuffer(w * 2);
    r.d.outputBuffer = r.d.layerBuffers[0];
    RenderFloat(nullptr, &out.def, &r.d);
    for (int y = 0; y < 2; ++y)
        for (int x = 0; x < w; ++x) {
            const float* s = in.pixel<float>(x, y);
            const float* f = r.d.layerBuffers[0] + 4 * (y * w + x);
            EXPECT_EQ(floatBits(s[1]), floatBits(f[0]));  // red
            EXPECT_EQ(floatBits(s[2]), floatBits(f[1]));  // green
            EXPECT_EQ(floatBits(s[3]), floatBits(f[2]));  // blue
            EXPECT_EQ(floatBits(s[0]), floatBits(f[3]));  // alpha
            EXPECT_EQ(0, std::memcmp(s, out.pixel<float>(x, y), 16)) << x << "," << y;
        }
}

TEST_F(TransferTest, RowPaddingIsSkippedInWholePixels)
{
    // 3 pixels (12 bytes) and 6 bytes of padding: the rows are read 16
    // bytes apart, the 2 bytes left over are not skipped.
    TestWorld in(3, 3, 4, 6);
    for (std::size_t i = 0; i < in.bytes.size(); ++i) in.bytes[i] = static_cast<std::uint8_t>(i);
    TestRecord r;
    r.d.layers[0] = &in.def;
    r.d.layerBuffers[0] = newBuffer(9);
    r.d.outputBuffer = newBuffer(9);
    TestWorld out(3, 3, 4, 6);
    Render8(nullptr, &out.def, &r.d);
    for (int y = 0; y < 3; ++y)
        for (int x = 0; x < 3; ++x) {
            const std::size_t offset = static_cast<std::size_t>(16 * y + 4 * x);
            const float* f = r.d.layerBuffers[0] + 4 * (3 * y + x);
            // alpha is the first byte of the pixel, red the second
            EXPECT_EQ(f[3], static_cast<float>(in.bytes[offset]) * k8) << x << "," << y;
            EXPECT_EQ(f[0], static_cast<float>(in.bytes[offset + 1]) * k8) << x << "," << y;
        }
    // Output rows are written at the same 16-byte steps.
    EXPECT_EQ(0xEE, out.bytes[12]);
    EXPECT_EQ(0xEE, out.bytes[13]);
    EXPECT_EQ(0xEE, out.bytes[14]);
    EXPECT_EQ(0xEE, out.bytes[15]);
    EXPECT_NE(0xEE, out.bytes[16]);
}

TEST_F(TransferTest, SkippedEmptyAndLeadingLayersKeepTheirBuffers)
{
    setLayers(1, 4, false);  // the effect takes no input layer: layers 1..3
    TestWorld input(2, 2, 4), a(2, 2, 4), skipped(2, 2, 4), empty(2, 0, 4);
    std::memset(a.bytes.data(), 51, a.bytes.size());  // 51 * k8 = 0.2
    std::memset(input.bytes.data(), 102, input.bytes.size());
    std::memset(skipped.bytes.data(), 204, skipped.bytes.size());
    TestRecord r;
    TestWorld* worlds[4] = {&input, &a, &skipped, &empty};
    for (int i = 0; i < 4; ++i) {
        r.d.layers[i] = &worlds[i]->def;
        r.d.layerBuffers[i] = newBuffer(4, -7.0f);
    }
    r.d.layerSkip[2] = true;
    r.d.outputBuffer = newBuffer(4);
    TestWorld out(2, 2, 4);
    Render8(nullptr, &out.def, &r.d);
    for (int k = 0; k < 16; ++k) {
        EXPECT_EQ(-7.0f, r.d.layerBuffers[0][k]);  // before the first layer index
        EXPECT_EQ(51.0f * k8, r.d.layerBuffers[1][k]);
        EXPECT_EQ(-7.0f, r.d.layerBuffers[2][k]);  // skipped
        EXPECT_EQ(-7.0f, r.d.layerBuffers[3][k]);  // no rows
    }
}

TEST_F(TransferTest, NoOutputBufferLeavesTheOutputAlone)
{
    setLayers(1, 1, false);
    TestWorld out(4, 4, 4);
    TestRecord r;
    Render8(nullptr, &out.def, &r.d);
    RenderFloat(nullptr, &out.def, &r.d);
    for (std::uint8_t b : out.bytes) ASSERT_EQ(0xEE, b);
}

TEST_F(TransferTest, LargeFramesRoundTripWithAlignedAndUnalignedRows)
{
    // Frames this large are written with streaming stores where rows are
    // 16-byte aligned. With an odd width, 8- and 16-bit rows alternate between
    // aligned and unaligned; float rows are all unaligned when the world's
    // data starts 4 bytes off.
    const int w = 1027, h = 1024;
    for (int depth : {1, 2, 4}) {
        for (int padding : {0, 4}) {
            SCOPED_TRACE(testing::Message() << "depth " << depth << " padding " << padding);
            TestWorld in(w, h, 4 * depth, padding * depth), out(w, h, 4 * depth, padding * depth);
            if (depth == 4 && padding) out.def.data = reinterpret_cast<PF_PixelPtr>(out.bytes.data() + 4);
            auto outRow = [&](int y) {
                return reinterpret_cast<std::uint8_t*>(out.def.data) + static_cast<std::size_t>(y) * out.def.rowbytes;
            };
            for (std::size_t i = 0; i < in.bytes.size(); ++i) in.bytes[i] = static_cast<std::uint8_t>(i * 7 + i / 4099);
            if (depth == 2)  // keep 16-bit channels in 0..32768
                for (int y = 0; y < h; ++y)
                    for (int x = 0; x < w * 4; ++x) {
                        std::uint16_t& c = reinterpret_cast<std::uint16_t*>(in.row(y))[x];
                        c = static_cast<std::uint16_t>(c % 32769);
                    }
            if (depth == 4)  // finite floats in 0..1, exact in any order
                for (int y = 0; y < h; ++y)
                    for (int x = 0; x < w * 4; ++x) {
                        float& c = reinterpret_cast<float*>(in.row(y))[x];
                        c = static_cast<float>((x * 31 + y) % 1000) / 1024.0f;
                    }
            TestRecord r;
            r.d.layers[0] = &in.def;
            r.d.layerBuffers[0] = newBuffer(static_cast<std::size_t>(w) * h);
            r.d.outputBuffer = r.d.layerBuffers[0];
            if (depth == 1) Render8(nullptr, &out.def, &r.d);
            if (depth == 2) Render16(nullptr, &out.def, &r.d);
            if (depth == 4) RenderFloat(nullptr, &out.def, &r.d);
            const std::size_t rowBytes = static_cast<std::size_t>(w) * 4 * depth;
            for (int y = 0; y < h; ++y) {
                ASSERT_EQ(0, std::memcmp(in.row(y), outRow(y), rowBytes)) << "row " << y;
                if (padding) {
                    ASSERT_EQ(0xEE, outRow(y)[rowBytes]) << "padding after row " << y;
                }
            }
        }
    }
}

// ---- Rectangles -------------------------------------------------------------

TEST(RectTest, EmptyRectangles)
{
    const PF_LRect cases[] = {{0, 0, 0, 0}, {5, 0, 5, 10}, {0, 5, 10, 5}, {6, 0, 5, 10}, {0, 0, 1, -1}};
    for (const PF_LRect& r : cases) EXPECT_TRUE(IsEmptyRect(&r)) << r.left << "," << r.top;
    const PF_LRect one{3, 4, 4, 5};
    EXPECT_FALSE(IsEmptyRect(&one));
}

TEST(RectTest, Union)
{
    struct Case {
        PF_LRect src, dst, expected;
    };
    const Case cases[] = {
        {{1, 2, 3, 4}, {0, 0, 0, 0}, {1, 2, 3, 4}},           // empty dst takes src
        {{0, 0, 0, 0}, {1, 2, 3, 4}, {1, 2, 3, 4}},           // empty src changes nothing
        {{9, 9, 3, 3}, {1, 2, 3, 4}, {1, 2, 3, 4}},           // inverted src is empty
        {{-5, 10, 2, 20}, {0, 0, 10, 12}, {-5, 0, 10, 20}},   // bounding box
        {{2, 2, 3, 3}, {0, 0, 10, 10}, {0, 0, 10, 10}},       // inside
    };
    for (const Case& c : cases) {
        PF_LRect dst = c.dst;
        UnionLRect(&c.src, &dst);
        EXPECT_EQ(c.expected.left, dst.left);
        EXPECT_EQ(c.expected.top, dst.top);
        EXPECT_EQ(c.expected.right, dst.right);
        EXPECT_EQ(c.expected.bottom, dst.bottom);
    }
}

TEST(RectTest, EdgePixels)
{
    PF_LRect r{2, 3, 6, 8};
    struct Case {
        int x, y;
        bool edge;
    };
    const Case cases[] = {{2, 3, true},  {6, 8, true},  {2, 5, true},  {6, 5, true}, {4, 3, true}, {4, 8, true},
                          {4, 5, false}, {2, 9, false}, {1, 3, false}, {7, 8, false}, {6, 2, false}};
    for (const Case& c : cases) EXPECT_EQ(c.edge, IsEdgePixel(&r, c.x, c.y)) << c.x << "," << c.y;
}

}  // namespace
