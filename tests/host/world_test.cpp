// Worlds: padded rows, channel order and ranges per depth, conversions.
#include "host/Host.h"

#include <gtest/gtest.h>

#include <cstring>

using glfxhost::World;

TEST(World, RowsArePaddedNeverPackedAndFormatPerDepth)
{
    struct Case {
        int depth;
        bool bgra;
        int padding;
        int pixelSize;
        PF_PixelFormat format;
        PrPixelFormat pr;
    };
    const Case cases[] = {{8, false, 16, 4, PF_PixelFormat_ARGB32, PF_PixelFormat_ARGB32},
                          {16, false, 16, 8, PF_PixelFormat_ARGB64, PF_PixelFormat_ARGB64},
                          {32, false, 16, 16, PF_PixelFormat_ARGB128, PF_PixelFormat_ARGB128},
                          {8, false, 6, 4, PF_PixelFormat_ARGB32, PF_PixelFormat_ARGB32},
                          {16, false, 2, 8, PF_PixelFormat_ARGB64, PF_PixelFormat_ARGB64},
                          // Premiere's BGRA answers ARGB32 to the world suite, as Premiere does.
                          {8, true, 16, 4, PF_PixelFormat_ARGB32, PrPixelFormat_BGRA_4444_8u}};
    for (const Case& c : cases) {
        SCOPED_TRACE(std::to_string(c.depth) + " padding " + std::to_string(c.padding));
        World w(7, 3, c.depth, c.bgra, c.padding);
        EXPECT_EQ(w.pixelSize(), c.pixelSize);
        EXPECT_EQ(w.rowbytes(), 7 * c.pixelSize + c.padding);
        EXPECT_EQ(w.def()->rowbytes, w.rowbytes());
        EXPECT_EQ(w.def()->width, 7);
        EXPECT_EQ(w.def()->height, 3);
        EXPECT_EQ(w.row(1) - w.row(0), w.rowbytes());
        EXPECT_TRUE(w.paddingIntact());
        EXPECT_EQ(w.pixelFormat(), c.format);
        EXPECT_EQ(w.premierePixelFormat(), c.pr);
    }
    // The codes are four characters in memory order.
    EXPECT_EQ(PF_PixelFormat_ARGB32, 0x62677261);
    EXPECT_EQ(PrPixelFormat_BGRA_4444_8u, 0x61726762);
}

TEST(World, RejectsBadShapes)
{
    EXPECT_THROW(World(0, 4, 8), std::invalid_argument);
    EXPECT_THROW(World(4, -1, 8), std::invalid_argument);
    EXPECT_THROW(World(4, 4, 12), std::invalid_argument);
    EXPECT_THROW(World(4, 4, 16, true), std::invalid_argument);     // BGRA is 8-bit only
    EXPECT_THROW(World(4, 4, 32, false, 6), std::invalid_argument); // not whole floats
    EXPECT_THROW(World(4, 4, 8, false, -4), std::invalid_argument);
}

TEST(World, ChannelOrderAndRangeInMemory)
{
    // Pixel (1, 1) as written, byte for byte: 0.25 × 255 = 63.75 gives 64,
    // 0.5 × 255 = 127.5 rounds up; 16-bit full scale is 32768, not 65535;
    // floats are stored as given, unclamped.
    const float rgba[4] = {1.0f, 0.5f, 0.0f, 0.25f}, wide[4] = {1.5f, -0.25f, 0.125f, 1.0f};
    const PF_Pixel argb8{64, 255, 128, 0};
    const uint8_t bgra8[4] = {0, 128, 255, 64};
    const PF_Pixel16 argb16{8192, 32768, 16384, 0};
    const PF_PixelFloat argb32{1.0f, 1.5f, -0.25f, 0.125f};
    const struct {
        int depth;
        bool bgra;
        const float* in;
        const void* want;
        size_t size;
    } cases[] = {{8, false, rgba, &argb8, 4},
                 {8, true, rgba, bgra8, 4},
                 {16, false, rgba, &argb16, 8},
                 {32, false, wide, &argb32, 16}};
    for (const auto& c : cases) {
        SCOPED_TRACE(std::to_string(c.depth) + (c.bgra ? " bgra" : ""));
        World w(2, 2, c.depth, c.bgra);
        w.setPixel(1, 1, c.in);
        EXPECT_EQ(std::memcmp(w.row(1) + c.size, c.want, c.size), 0);
    }
}

TEST(World, IntegerDepthsClampAndRoundTrip)
{
    for (int depth : {8, 16}) {
        World w(3, 1, depth);
        const float over[4] = {2.0f, -1.0f, 0.5f, 1.0f};
        w.setPixel(0, 0, over);
        float back[4];
        w.getPixel(0, 0, back);
        EXPECT_EQ(back[0], 1.0f) << depth;
        EXPECT_EQ(back[1], 0.0f) << depth;
        EXPECT_NEAR(back[2], 0.5f, depth == 8 ? 0.51f / 255 : 0.51f / 32768) << depth;
    }
    World w(16, 16, 8);
    std::vector<float> img(16 * 16 * 4);
    for (size_t i = 0; i < img.size(); ++i)
        img[i] = static_cast<float>(i % 256) / 255.0f;
    w.fromRGBA(img);
    std::vector<float> back = w.toRGBA();
    ASSERT_EQ(back.size(), img.size());
    for (size_t i = 0; i < img.size(); ++i)
        ASSERT_FLOAT_EQ(back[i], img[i]) << i;
    EXPECT_TRUE(w.paddingIntact());
    EXPECT_THROW(w.fromRGBA(std::vector<float>(10)), std::invalid_argument);
    EXPECT_THROW(w.getPixel(16, 0, back.data()), std::out_of_range);
}

TEST(World, MoveKeepsTheWorldValid)
{
    World a(4, 4, 16);
    a.fill(0.25f, 0.5f, 0.75f, 1.0f);
    World b(std::move(a));
    EXPECT_TRUE(a.empty());
    ASSERT_FALSE(b.empty());
    EXPECT_EQ(b.def()->reserved0, &b);
    float p[4];
    b.getPixel(3, 3, p);
    EXPECT_FLOAT_EQ(p[2], 0.75f);
}
