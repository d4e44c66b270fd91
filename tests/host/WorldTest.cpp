// Worlds: padded rows, formats, channel order and ranges per depth.
#include "host/Host.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

using glfxhost::World;

TEST(World, PaddedRowsAndFormatsPerDepth)
{
    const struct {
        int depth;
        bool bgra;
        int padding, pixelSize;
        PF_PixelFormat format;
        PrPixelFormat pr;
    } cases[] = {{8, false, 16, 4, PF_PixelFormat_ARGB32, PF_PixelFormat_ARGB32},
                 {16, false, 2, 8, PF_PixelFormat_ARGB64, PF_PixelFormat_ARGB64},
                 {32, false, 16, 16, PF_PixelFormat_ARGB128, PF_PixelFormat_ARGB128},
                 // Premiere's BGRA answers ARGB32 to the world suite, as Premiere does.
                 {8, true, 6, 4, PF_PixelFormat_ARGB32, PrPixelFormat_BGRA_4444_8u}};
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.depth << (c.bgra ? " bgra" : "") << " padding " << c.padding);
        World w(7, 3, c.depth, c.bgra, c.padding);
        EXPECT_EQ(w.def()->rowbytes, 7 * c.pixelSize + c.padding);
        EXPECT_TRUE(w.def()->width == 7 && w.def()->height == 3);
        EXPECT_EQ(w.row(1) - w.row(0), w.rowbytes());
        EXPECT_EQ(w.pixelFormat(), c.format);
        EXPECT_EQ(w.premierePixelFormat(), c.pr);
        w.fill(1.f, 1.f, 1.f, 1.f);
        EXPECT_TRUE(w.paddingIntact());
        w.row(1)[7 * c.pixelSize] ^= 1; // a write past the last pixel of a row is seen
        EXPECT_FALSE(w.paddingIntact());
    }
    // 16-bit not BGRA, whole floats, no negative padding, a size of pixels.
    for (const auto& shape : {std::vector<int>{0, 4, 8, 0, 16},
                              {4, -1, 8, 0, 16},
                              {4, 4, 12, 0, 16},
                              {4, 4, 16, 1, 16},
                              {4, 4, 32, 0, 6},
                              {4, 4, 8, 0, -4}})
        EXPECT_THROW(World(shape[0], shape[1], shape[2], shape[3], shape[4]), std::invalid_argument)
            << shape[2];
}

TEST(World, ChannelOrderAndRangeInMemory)
{
    // Pixel (1, 1) byte for byte: 0.25 x 255 = 63.75 gives 64, 0.5 x 255 =
    // 127.5 rounds up; 16-bit full scale is 32768, not 65535; floats are
    // stored as given, unclamped; integer depths clamp and read back.
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
    } cases[] = {{8, false, rgba, &argb8, 4},    {8, true, rgba, bgra8, 4},    {16, false, rgba, &argb16, 8},
                 {32, false, wide, &argb32, 16}, {8, false, wide, nullptr, 4}, {16, false, wide, nullptr, 8}};
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.depth << (c.bgra ? " bgra" : ""));
        World w(2, 2, c.depth, c.bgra);
        w.setPixel(1, 1, c.in);
        EXPECT_TRUE(!c.want || std::memcmp(w.row(1) + c.size, c.want, c.size) == 0);
        float back[4];
        w.getPixel(1, 1, back);
        for (int k = 0; k < 4; ++k)
            EXPECT_NEAR(back[k], c.depth == 32 ? c.in[k] : std::clamp(c.in[k], 0.f, 1.f), 0.51f / 255) << k;
    }
    World a(4, 4, 16); // a moved world keeps its pixels and points its record at itself
    a.fill(0.25f, 0.5f, 0.75f, 1.0f);
    World b(std::move(a));
    EXPECT_TRUE(a.empty());
    EXPECT_EQ(b.def()->reserved0, &b);
    EXPECT_EQ(b.toRGBA()[4 * 15 + 2], 0.75f);
}
