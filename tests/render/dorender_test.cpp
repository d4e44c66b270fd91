// MyDoRender without a GPU context: frame values, buffer growth, and the
// choice of transfer by pixel format, seen through what reaches the layer
// buffers and the output world.
#include <gtest/gtest.h>

#include <malloc.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>
#include <new>

#include "FakeSuites.h"
#include "TestWorld.h"
#include "gl/Description.h"
#include "render/MyDoRender.h"

namespace {

class DoRenderTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        glfxDescription() = cglfx();
        describe(1, 0, 1, false);
        in.pica_basicP = const_cast<SPBasicSuite*>(host.basic());
        in.pixel_aspect_ratio = {1, 1};
        in.downsample_x = {1, 1};
        in.downsample_y = {1, 1};
    }
    void TearDown() override { glfxDescription() = cglfx(); }

    static void describe(int layerCount, int noinput, int shaders, bool fast)
    {
        glfxsettings& s = glfxDescription().settings;
        s.layerCount = layerCount;
        s.noinput = noinput;
        s.shaders = shaders;
        s.fast = fast;
    }
    PF_Err render(PF_LayerDef* output) { return MyDoRender(&in, nullptr, &rec.d, nullptr, output, nullptr); }

    FakeSuites host;
    TestRecord rec;
    PF_InData in{};
};

TEST_F(DoRenderTest, FrameValues)
{
    struct Case {
        PF_RationalScale par, dx, dy;
        float ratio, downX, downY;
    };
    const float inf = std::numeric_limits<float>::infinity();
    const Case cases[] = {
        {{4, 3}, {1, 2}, {1, 4}, 4.0f / 3.0f, 0.5f, 0.25f},
        {{7, 0}, {1, 1}, {3, 1}, 1.0f, 1.0f, 3.0f},   // unknown ratio
        {{1, 1}, {1, 0}, {-1, 0}, 1.0f, inf, -inf},   // downsampling is not guarded
    };
    TestWorld in0(4, 4, 4), out(6, 5, 4, 8);
    rec.d.layers[0] = &in0.def;
    in.current_time = 1234;
    for (const Case& c : cases) {
        in.pixel_aspect_ratio = c.par;
        in.downsample_x = c.dx;
        in.downsample_y = c.dy;
        EXPECT_EQ(PF_Err_NONE, render(&out.def));
        EXPECT_EQ(c.ratio, rec.d.pixelRatio);
        EXPECT_EQ(c.downX, rec.d.downsampleX);
        EXPECT_EQ(c.downY, rec.d.downsampleY);
    }
    EXPECT_EQ(1234, rec.d.time);
    EXPECT_EQ(6, rec.d.outputWidth);
    EXPECT_EQ(5, rec.d.outputHeight);
}

TEST_F(DoRenderTest, BuffersGrowOnlyForLargerFrames)
{
    TestWorld big(40, 30, 4), small(20, 10, 4), bigOut(40, 30, 4), smallOut(20, 10, 4);
    rec.d.layers[0] = &big.def;
    ASSERT_EQ(PF_Err_NONE, render(&bigOut.def));
    ASSERT_NE(nullptr, rec.d.layerBuffers[0]);
    ASSERT_NE(nullptr, rec.d.outputBuffer);
    EXPECT_EQ(40, rec.d.bufferWidth[0]);
    EXPECT_EQ(30, rec.d.bufferHeight[0]);
    EXPECT_EQ(40, rec.d.outputBufferWidth);
    EXPECT_EQ(30, rec.d.outputBufferHeight);
    EXPECT_GE(malloc_usable_size(rec.d.layerBuffers[0]), 40u * 30u * 16u);
    EXPECT_GE(malloc_usable_size(rec.d.outputBuffer), 40u * 30u * 16u);

    float* const layerBuffer = rec.d.layerBuffers[0];
    float* const outputBuffer = rec.d.outputBuffer;
    rec.d.layers[0] = &small.def;
    ASSERT_EQ(PF_Err_NONE, render(&smallOut.def));
    EXPECT_EQ(layerBuffer, rec.d.layerBuffers[0]);
    EXPECT_EQ(outputBuffer, rec.d.outputBuffer);
    EXPECT_EQ(20, rec.d.layerWidth[0]);
    EXPECT_EQ(10, rec.d.layerHeight[0]);
    EXPECT_EQ(40, rec.d.bufferWidth[0]);  // the size the buffer was grown for

    TestWorld larger(50, 40, 4), largerOut(50, 40, 4);
    rec.d.layers[0] = &larger.def;
    ASSERT_EQ(PF_Err_NONE, render(&largerOut.def));
    EXPECT_EQ(50, rec.d.bufferWidth[0]);
    EXPECT_EQ(40, rec.d.outputBufferHeight);
    EXPECT_GE(malloc_usable_size(rec.d.layerBuffers[0]), 50u * 40u * 16u);
    EXPECT_GE(malloc_usable_size(rec.d.outputBuffer), 50u * 40u * 16u);
}

TEST_F(DoRenderTest, EmptyLayerGetsAHundredSquareOrTheOutputSize)
{
    describe(3, 0, 1, false);
    TestWorld in0(8, 8, 4), empty(0, 0, 4), out(150, 20, 4);
    rec.d.layers[0] = &in0.def;
    rec.d.layers[1] = &empty.def;
    rec.d.layers[2] = &empty.def;
    ASSERT_EQ(PF_Err_NONE, render(&out.def));
    for (int i = 1; i <= 2; ++i) {
        EXPECT_EQ(100, rec.d.layerWidth[i]);
        EXPECT_EQ(100, rec.d.layerHeight[i]);
        EXPECT_EQ(100, rec.d.bufferWidth[i]);
        EXPECT_GE(malloc_usable_size(rec.d.layerBuffers[i]), 150u * 100u * 16u);
    }
    // the input's buffer is sized for the larger of input and output
    EXPECT_GE(malloc_usable_size(rec.d.layerBuffers[0]), 150u * 20u * 16u);
}

TEST_F(DoRenderTest, OnlyALayerOfNoAreaCountsAsAHundredSquare)
{
    describe(4, 1, 0, false);
    struct Case {
        int w, h;          // the layer world
        int layerW, layerH;  // what the record gets
    };
    const Case cases[] = {
        {0, 0, 100, 100},
        {0, 7, 100, 100},  // no area, though one side is not 0
        {9, 0, 100, 100},
        {-4, 5, -4, 5},    // a negative area is not 0: kept as it is
    };
    for (const Case& c : cases) {
        TestRecord fresh;
        PF_LayerDef layer{};
        layer.width = c.w;
        layer.height = c.h;
        TestWorld out(6, 6, 4);
        for (int i = 1; i < 4; ++i) fresh.d.layers[i] = &layer;
        ASSERT_EQ(PF_Err_NONE, MyDoRender(&in, nullptr, &fresh.d, nullptr, &out.def, nullptr));
        EXPECT_EQ(c.layerW, fresh.d.layerWidth[3]) << c.w << " x " << c.h;
        EXPECT_EQ(c.layerH, fresh.d.layerHeight[3]) << c.w << " x " << c.h;
    }
}

TEST_F(DoRenderTest, OutputLargerThanTheInputKeepsItsBuffer)
{
    // The first frame allocates max(output, input) = 20 x 20 and records the
    // input's 10 x 10. The second frame's input is no larger, so the buffer is
    // kept with what it held, and (no passes run here) that is what the
    // output world receives: 0.5 through the 8-bit clamp is 127.
    TestWorld in0(10, 10, 4), out(20, 20, 4, 4);
    rec.d.layers[0] = &in0.def;
    ASSERT_EQ(PF_Err_NONE, render(&out.def));
    ASSERT_NE(nullptr, rec.d.outputBuffer);
    EXPECT_EQ(10, rec.d.outputBufferWidth);
    EXPECT_EQ(10, rec.d.outputBufferHeight);
    EXPECT_GE(malloc_usable_size(rec.d.outputBuffer), 20u * 20u * 16u);
    // A buffer of exactly the output's size, with a block allocated after it
    // so that releasing it would not merge it back into free memory
    // untouched: a reallocation shows in its first pixel.
    std::free(rec.d.outputBuffer);
    rec.d.outputBuffer = newBuffer(20 * 20, 0.5f);
    std::unique_ptr<char, decltype(&std::free)> guard(static_cast<char*>(std::malloc(64)), &std::free);
    float* const kept = rec.d.outputBuffer;

    ASSERT_EQ(PF_Err_NONE, render(&out.def));
    EXPECT_EQ(kept, rec.d.outputBuffer);
    EXPECT_EQ(10, rec.d.outputBufferWidth);
    for (int y = 0; y < 20; ++y)
        for (int x = 0; x < 20; ++x)
            for (int k = 0; k < 4; ++k) ASSERT_EQ(127, out.pixel<std::uint8_t>(x, y)[k]) << x << "," << y;

    // An output world beyond what was allocated gets a buffer that holds it.
    TestWorld bigOut(40, 40, 4);
    ASSERT_EQ(PF_Err_NONE, render(&bigOut.def));
    EXPECT_GE(malloc_usable_size(rec.d.outputBuffer), 40u * 40u * 16u);
}

TEST_F(DoRenderTest, NoPassesNoOutputBuffer)
{
    describe(1, 0, 0, false);
    TestWorld in0(8, 8, 4), out(8, 8, 4);
    rec.d.layers[0] = &in0.def;
    ASSERT_EQ(PF_Err_NONE, render(&out.def));
    EXPECT_EQ(nullptr, rec.d.outputBuffer);
    EXPECT_EQ(0, rec.d.outputBufferWidth);
    EXPECT_NE(nullptr, rec.d.layerBuffers[0]);
    for (std::uint8_t b : out.bytes) ASSERT_EQ(0xEE, b);  // nothing to copy out
}

TEST_F(DoRenderTest, ABufferThatCannotBeCountedIn32BitsFails)
{
    PF_LayerDef huge{};
    huge.width = 40000;
    huge.height = 40000;  // 25.6 GB of float pixels
    TestWorld out(4, 4, 4);
    rec.d.layers[0] = &huge;
    EXPECT_THROW(render(&out.def), std::bad_alloc);
    EXPECT_EQ(nullptr, rec.d.layerBuffers[0]);
    EXPECT_EQ(0, rec.d.bufferWidth[0]);  // tried again at the next frame
}

TEST_F(DoRenderTest, RebuildWaitsForAContext)
{
    TestWorld in0(4, 4, 4), out(4, 4, 4);
    rec.d.layers[0] = &in0.def;
    rec.d.rebuild = true;
    ASSERT_EQ(PF_Err_NONE, render(&out.def));
    EXPECT_TRUE(rec.d.rebuild);
}

TEST_F(DoRenderTest, SuiteFailureAndUnknownFormats)
{
    TestWorld in0(4, 4, 4), out(4, 4, 4);
    rec.d.layers[0] = &in0.def;
    host.worldAcquireError = kSPSuiteNotFoundError;
    EXPECT_EQ(kSPSuiteNotFoundError, render(&out.def));
    for (std::uint8_t b : out.bytes) ASSERT_EQ(0xEE, b);
    EXPECT_EQ(0, host.suitesOut);

    host.worldAcquireError = kSPNoError;
    const PF_PixelFormat others[] = {PF_PixelFormat_BGRA32, PF_PixelFormat_VUYA32, PF_PixelFormat_INVALID, 0};
    for (PF_PixelFormat f : others) {
        host.pixelFormat = f;
        EXPECT_EQ(PF_Err_BAD_CALLBACK_PARAM, render(&out.def));
        EXPECT_EQ(0, host.suitesOut);  // released again
    }
    for (std::uint8_t b : out.bytes) ASSERT_EQ(0xEE, b);
}

// The transfer taken for each format, host and "fast" switch. The record's
// buffers are prepared (and large enough, so they are kept): layer 0's input
// pixel and the output buffer's floats are known, and each transfer leaves a
// different trace in the layer buffer and in the output world.
enum class Path { Convert8, Direct8, Convert16, Fast16, ConvertFloat, DirectFloat };

struct Dispatch {
    PF_PixelFormat format;
    bool premiere;
    bool fast;
    Path path;
};

class DispatchTest : public DoRenderTest, public ::testing::WithParamInterface<Dispatch> {};

TEST_P(DispatchTest, PicksTheTransfer)
{
    const Dispatch& c = GetParam();
    describe(1, 0, 1, c.fast);
    rec.d.isPremiere = c.premiere;
    host.pixelFormat = c.format;

    const int channelBytes = c.format == PF_PixelFormat_ARGB32 ? 1 : c.format == PF_PixelFormat_ARGB64 ? 2 : 4;
    TestWorld in0(3, 2, 4 * channelBytes, 4 * channelBytes), out(3, 2, 4 * channelBytes, 4 * channelBytes);
    // channels (memory order) 0.25, 0.5, 0.75, 1.0 of the depth's range
    for (int y = 0; y < 2; ++y)
        for (int x = 0; x < 3; ++x)
            for (int k = 0; k < 4; ++k) {
                std::uint8_t* p = in0.pixel<std::uint8_t>(x, y) + 0;
                if (channelBytes == 1) p[k] = static_cast<std::uint8_t>(64 * (k + 1) - 1);
                if (channelBytes == 2) in0.pixel<std::uint16_t>(x, y)[k] = static_cast<std::uint16_t>(8192 * (k + 1));
                if (channelBytes == 4) in0.pixel<float>(x, y)[k] = 0.25f * (k + 1);
            }
    rec.d.layers[0] = &in0.def;
    rec.d.layerBuffers[0] = newBuffer(6, -1.0f);
    rec.d.bufferWidth[0] = 3;
    rec.d.bufferHeight[0] = 2;
    rec.d.outputBuffer = newBuffer(6);
    rec.d.outputBufferWidth = 3;
    rec.d.outputBufferHeight = 2;
    // output floats: 0.1, 0.2, 0.3, 0.4 (or, read as bytes, their patterns)
    for (int i = 0; i < 6; ++i)
        for (int k = 0; k < 4; ++k) rec.d.outputBuffer[4 * i + k] = 0.1f * (k + 1);

    ASSERT_EQ(PF_Err_NONE, render(&out.def));

    const float* buf = rec.d.layerBuffers[0];
    const float* ob = rec.d.outputBuffer;
    switch (c.path) {
    case Path::Convert8:
        // (R, G, B, A) floats from ARGB, or from BGRA under Premiere
        EXPECT_EQ(c.premiere ? 191 * 0.003921569f : 127 * 0.003921569f, buf[0]);
        EXPECT_EQ(c.premiere ? 255 * 0.003921569f : 63 * 0.003921569f, buf[3]);
        {
            const std::uint8_t* o = out.pixel<std::uint8_t>(2, 1);
            // 0.1 -> 25, 0.2 -> 51, 0.3 -> 76, 0.4 -> 102
            const std::uint8_t argb[4] = {102, 25, 51, 76}, bgra[4] = {76, 51, 25, 102};
            EXPECT_EQ(0, std::memcmp(o, c.premiere ? bgra : argb, 4));
        }
        break;
    case Path::Direct8:
    case Path::DirectFloat: {
        // bytes copied as they are, in both directions, rows packed
        const std::size_t rowBytes = 3 * 4 * channelBytes;
        for (int y = 0; y < 2; ++y) {
            EXPECT_EQ(0, std::memcmp(reinterpret_cast<const std::uint8_t*>(buf) + y * rowBytes, in0.row(y), rowBytes));
            EXPECT_EQ(0, std::memcmp(reinterpret_cast<const std::uint8_t*>(ob) + y * rowBytes, out.row(y), rowBytes));
        }
        break;
    }
    case Path::Convert16: {
        EXPECT_EQ(0.5f, buf[0]);  // red, the second channel
        EXPECT_EQ(0.25f, buf[3]);
        const std::uint16_t* o = out.pixel<std::uint16_t>(1, 1);
        // 0.1 * 32768 = 3276.8, 0.2 -> 6553.6, ... truncated
        EXPECT_EQ(13107, o[0]);
        EXPECT_EQ(3276, o[1]);
        EXPECT_EQ(6553, o[2]);
        EXPECT_EQ(9830, o[3]);
        break;
    }
    case Path::Fast16: {
        EXPECT_EQ(0.25f, buf[0]);  // host order kept
        EXPECT_EQ(1.0f, buf[3]);
        const std::uint16_t* o = out.pixel<std::uint16_t>(1, 1);
        EXPECT_EQ(3276, o[0]);
        EXPECT_EQ(13107, o[3]);
        break;
    }
    case Path::ConvertFloat: {
        EXPECT_EQ(0.5f, buf[0]);
        EXPECT_EQ(0.25f, buf[3]);
        const float* o = out.pixel<float>(0, 0);
        EXPECT_EQ(0.4f, o[0]);
        EXPECT_EQ(0.1f, o[1]);
        break;
    }
    }
}

INSTANTIATE_TEST_SUITE_P(
    Formats, DispatchTest,
    ::testing::Values(Dispatch{PF_PixelFormat_ARGB32, false, false, Path::Convert8},
                      Dispatch{PF_PixelFormat_ARGB32, true, false, Path::Convert8},
                      Dispatch{PF_PixelFormat_ARGB32, false, true, Path::Direct8},
                      Dispatch{PF_PixelFormat_ARGB32, true, true, Path::Direct8},  // fast alone decides
                      Dispatch{PF_PixelFormat_ARGB64, false, false, Path::Convert16},
                      Dispatch{PF_PixelFormat_ARGB64, false, true, Path::Fast16},
                      Dispatch{PF_PixelFormat_ARGB64, true, true, Path::Convert16},
                      Dispatch{PF_PixelFormat_ARGB128, false, false, Path::ConvertFloat},
                      Dispatch{PF_PixelFormat_ARGB128, false, true, Path::DirectFloat},
                      Dispatch{PF_PixelFormat_ARGB128, true, true, Path::ConvertFloat}));

}  // namespace
