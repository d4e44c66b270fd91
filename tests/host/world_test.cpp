// Worlds: padded rows, channel order and ranges per depth, conversions.
#include "host/Host.h"

#include <gtest/gtest.h>

#include <cstring>

using glfxhost::World;

TEST(World, RowsArePaddedNeverPacked) {
    struct Case { int depth; int padding; int pixelSize; };
    for (Case c : {Case{8, 16, 4}, Case{16, 16, 8}, Case{32, 16, 16}, Case{8, 6, 4}, Case{16, 2, 8}}) {
        World w(7, 3, c.depth, false, c.padding);
        EXPECT_EQ(w.pixelSize(), c.pixelSize);
        EXPECT_EQ(w.rowbytes(), 7 * c.pixelSize + c.padding) << c.depth;
        EXPECT_EQ(w.def()->rowbytes, w.rowbytes());
        EXPECT_EQ(w.def()->width, 7);
        EXPECT_EQ(w.def()->height, 3);
        EXPECT_EQ(w.row(1) - w.row(0), w.rowbytes());
        EXPECT_TRUE(w.paddingIntact());
    }
}

TEST(World, RejectsBadShapes) {
    EXPECT_THROW(World(0, 4, 8), std::invalid_argument);
    EXPECT_THROW(World(4, -1, 8), std::invalid_argument);
    EXPECT_THROW(World(4, 4, 12), std::invalid_argument);
    EXPECT_THROW(World(4, 4, 16, true), std::invalid_argument);      // BGRA is 8-bit only
    EXPECT_THROW(World(4, 4, 32, false, 6), std::invalid_argument);  // not whole floats
    EXPECT_THROW(World(4, 4, 8, false, -4), std::invalid_argument);
}

TEST(World, ChannelOrderAndRangeInMemory) {
    const float rgba[4] = {1.0f, 0.5f, 0.0f, 0.25f};
    {
        World w(2, 2, 8);
        w.setPixel(1, 1, rgba);
        PF_Pixel p;
        std::memcpy(&p, w.row(1) + 4, 4);
        EXPECT_EQ(p.alpha, 64);   // 0.25 × 255 = 63.75
        EXPECT_EQ(p.red, 255);
        EXPECT_EQ(p.green, 128);  // 127.5 rounds up
        EXPECT_EQ(p.blue, 0);
    }
    {
        World w(2, 2, 8, true);
        w.setPixel(0, 0, rgba);
        const uint8_t* b = w.row(0);
        EXPECT_EQ(b[0], 0);    // blue
        EXPECT_EQ(b[1], 128);  // green
        EXPECT_EQ(b[2], 255);  // red
        EXPECT_EQ(b[3], 64);   // alpha
    }
    {
        World w(2, 2, 16);
        w.setPixel(0, 1, rgba);
        PF_Pixel16 p;
        std::memcpy(&p, w.row(1), sizeof p);
        EXPECT_EQ(p.alpha, 8192);
        EXPECT_EQ(p.red, 32768);   // full scale is 32768, not 65535
        EXPECT_EQ(p.green, 16384);
        EXPECT_EQ(p.blue, 0);
    }
    {
        World w(2, 2, 32);
        const float wide[4] = {1.5f, -0.25f, 0.125f, 1.0f};   // floats are not clamped
        w.setPixel(1, 0, wide);
        PF_PixelFloat p;
        std::memcpy(&p, w.row(0) + 16, sizeof p);
        EXPECT_EQ(p.alpha, 1.0f);
        EXPECT_EQ(p.red, 1.5f);
        EXPECT_EQ(p.green, -0.25f);
        EXPECT_EQ(p.blue, 0.125f);
    }
}

TEST(World, IntegerDepthsClampAndRoundTrip) {
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
    for (size_t i = 0; i < img.size(); ++i) img[i] = static_cast<float>(i % 256) / 255.0f;
    w.fromRGBA(img);
    std::vector<float> back = w.toRGBA();
    ASSERT_EQ(back.size(), img.size());
    for (size_t i = 0; i < img.size(); ++i) ASSERT_FLOAT_EQ(back[i], img[i]) << i;
    EXPECT_TRUE(w.paddingIntact());
    EXPECT_THROW(w.fromRGBA(std::vector<float>(10)), std::invalid_argument);
    EXPECT_THROW(w.getPixel(16, 0, back.data()), std::out_of_range);
}

TEST(World, PixelFormatCodes) {
    EXPECT_EQ(World(1, 1, 8).pixelFormat(), PF_PixelFormat_ARGB32);
    EXPECT_EQ(World(1, 1, 16).pixelFormat(), PF_PixelFormat_ARGB64);
    EXPECT_EQ(World(1, 1, 32).pixelFormat(), PF_PixelFormat_ARGB128);
    EXPECT_EQ(World(1, 1, 8, true).pixelFormat(), PF_PixelFormat_ARGB32);
    EXPECT_EQ(World(1, 1, 8, true).premierePixelFormat(), PrPixelFormat_BGRA_4444_8u);
    // The codes are four characters in memory order.
    EXPECT_EQ(PF_PixelFormat_ARGB32, 0x62677261);
    EXPECT_EQ(PrPixelFormat_BGRA_4444_8u, 0x61726762);
}

TEST(World, MoveKeepsTheWorldValid) {
    World a(4, 4, 16);
    const float c[4] = {0.25f, 0.5f, 0.75f, 1.0f};
    a.fill(c[0], c[1], c[2], c[3]);
    World b(std::move(a));
    EXPECT_TRUE(a.empty());
    EXPECT_EQ(a.def()->data, nullptr);
    ASSERT_FALSE(b.empty());
    EXPECT_EQ(b.def()->reserved0, &b);
    float p[4];
    b.getPixel(3, 3, p);
    EXPECT_FLOAT_EQ(p[2], 0.75f);
}
