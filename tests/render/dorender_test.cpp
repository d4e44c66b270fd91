// MyDoRender without a GPU context: frame values, buffer growth, and the
// choice of transfer by pixel format, seen through what reaches the layer
// buffers and the output world.
#include <gtest/gtest.h>

#include <malloc.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <memory>
#include <new>

#include "FakeSuites.h"
#include "TestWorld.h"
#include "gl/Description.h"
#include "render/MyDoRender.h"
#include "render/Transfer.h"

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
    PF_Err render(PF_LayerDef* output, TestRecord& r)
    {
        return MyDoRender(&in, nullptr, &r.d, nullptr, output, nullptr);
    }
    PF_Err render(PF_LayerDef* output) { return render(output, rec); }
    static bool untouched(const TestWorld& w)
    {
        return std::all_of(w.bytes.begin(), w.bytes.end(), [](std::uint8_t b) { return b == 0xEE; });
    }

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
        {{7, 0}, {1, 1}, {3, 1}, 1.0f, 1.0f, 3.0f}, // unknown ratio
        {{1, 1}, {1, 0}, {-1, 0}, 1.0f, inf, -inf}, // downsampling is not guarded
    };
    TestWorld in0(4, 4, 4), out(6, 5, 4, 8);
    rec.d.layers[0] = &in0.def;
    rec.d.rebuild = true;
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
    EXPECT_TRUE(rec.d.rebuild); // no GPU context to rebuild: the flag waits for one
}

TEST_F(DoRenderTest, BuffersGrowOnlyForLargerFrames)
{
    TestWorld big(40, 30, 4), small(20, 10, 4), larger(50, 40, 4);
    const struct {
        TestWorld* layer;
        bool sameBuffers;
        int bufferW, bufferH; // the size the buffers were last grown for
    } frames[] = {{&big, false, 40, 30}, {&small, true, 40, 30}, {&larger, false, 50, 40}};
    for (const auto& f : frames) {
        SCOPED_TRACE(f.layer->def.width);
        float* const layerBuffer = rec.d.layerBuffers[0];
        float* const outputBuffer = rec.d.outputBuffer;
        TestWorld out(f.layer->def.width, f.layer->def.height, 4);
        rec.d.layers[0] = &f.layer->def;
        ASSERT_EQ(PF_Err_NONE, render(&out.def));
        if (f.sameBuffers) {
            EXPECT_EQ(layerBuffer, rec.d.layerBuffers[0]);
            EXPECT_EQ(outputBuffer, rec.d.outputBuffer);
        }
        EXPECT_EQ(f.layer->def.width, rec.d.layerWidth[0]);
        EXPECT_EQ(f.layer->def.height, rec.d.layerHeight[0]);
        EXPECT_EQ(f.bufferW, rec.d.bufferWidth[0]);
        EXPECT_EQ(f.bufferH, rec.d.bufferHeight[0]);
        EXPECT_EQ(f.bufferW, rec.d.outputBufferWidth);
        EXPECT_EQ(f.bufferH, rec.d.outputBufferHeight);
        const std::size_t bytes = static_cast<std::size_t>(f.bufferW) * f.bufferH * 16;
        EXPECT_GE(malloc_usable_size(rec.d.layerBuffers[0]), bytes);
        EXPECT_GE(malloc_usable_size(rec.d.outputBuffer), bytes);
    }
}

TEST_F(DoRenderTest, OnlyALayerOfNoAreaCountsAsAHundredSquare)
{
    // Layers 1 and 2 are the case's layer; the output is 150 x 20, so the
    // buffers are sized for the larger of layer and output on each side.
    describe(3, 0, 1, false);
    struct Case {
        int w, h;           // the layer world
        int layerW, layerH; // what the record gets
    };
    const Case cases[] = {
        {0, 0, 100, 100},
        {0, 7, 100, 100}, // no area, though one side is not 0
        {9, 0, 100, 100},
        {-4, 5, -4, 5}, // a negative area is not 0: kept as it is
    };
    TestWorld in0(8, 8, 4), out(150, 20, 4);
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << c.w << " x " << c.h);
        TestRecord fresh;
        PF_LayerDef layer{};
        layer.width = c.w;
        layer.height = c.h;
        fresh.d.layers[0] = &in0.def;
        fresh.d.layers[1] = fresh.d.layers[2] = &layer;
        ASSERT_EQ(PF_Err_NONE, render(&out.def, fresh));
        for (int i = 1; i <= 2; ++i) {
            EXPECT_EQ(c.layerW, fresh.d.layerWidth[i]);
            EXPECT_EQ(c.layerH, fresh.d.layerHeight[i]);
            EXPECT_EQ(c.layerW, fresh.d.bufferWidth[i]);
            EXPECT_GE(malloc_usable_size(fresh.d.layerBuffers[i]),
                      static_cast<std::size_t>(std::max(c.layerW, 150)) * std::max(c.layerH, 20) * 16);
        }
        EXPECT_GE(malloc_usable_size(fresh.d.layerBuffers[0]), 150u * 20u * 16u);
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
    EXPECT_EQ(10, rec.d.outputBufferWidth);
    EXPECT_EQ(10, rec.d.outputBufferHeight);
    EXPECT_GE(malloc_usable_size(rec.d.outputBuffer), 20u * 20u * 16u);
    // The buffer filled with 0.5: a reallocation would show in the output.
    float* const kept = rec.d.outputBuffer;
    for (int i = 0; i < 20 * 20 * 4; ++i)
        kept[i] = 0.5f;

    ASSERT_EQ(PF_Err_NONE, render(&out.def));
    EXPECT_EQ(kept, rec.d.outputBuffer);
    EXPECT_EQ(10, rec.d.outputBufferWidth);
    for (int y = 0; y < 20; ++y)
        for (int x = 0; x < 20; ++x)
            for (int k = 0; k < 4; ++k)
                ASSERT_EQ(127, out.pixel<std::uint8_t>(x, y)[k]) << x << "," << y;

    // An output world beyond what was allocated gets a buffer that holds it.
    TestWorld bigOut(40, 40, 4);
    ASSERT_EQ(PF_Err_NONE, render(&bigOut.def));
    EXPECT_GE(malloc_usable_size(rec.d.outputBuffer), 40u * 40u * 16u);
}

TEST_F(DoRenderTest, NoPassesNoOutputBufferAndNothingCopiedOut)
{
    const PF_PixelFormat formats[] = {PF_PixelFormat_ARGB32, PF_PixelFormat_ARGB64, PF_PixelFormat_ARGB128};
    for (int f = 0; f < 3; ++f)
        for (bool fast : {false, true}) {
            SCOPED_TRACE(testing::Message() << "format " << f << (fast ? " fast" : ""));
            describe(1, 0, 0, fast);
            host.pixelFormat = formats[f];
            TestRecord r;
            TestWorld in0(8, 8, 4 << f), out(8, 8, 4 << f);
            r.d.layers[0] = &in0.def;
            ASSERT_EQ(PF_Err_NONE, render(&out.def, r));
            EXPECT_EQ(nullptr, r.d.outputBuffer);
            EXPECT_EQ(0, r.d.outputBufferWidth);
            EXPECT_NE(nullptr, r.d.layerBuffers[0]);
            EXPECT_TRUE(untouched(out));
        }
}

TEST_F(DoRenderTest, ABufferThatCannotBeCountedIn32BitsFails)
{
    PF_LayerDef huge{};
    huge.width = 40000;
    huge.height = 40000; // 25.6 GB of float pixels
    TestWorld out(4, 4, 4);
    rec.d.layers[0] = &huge;
    EXPECT_THROW(render(&out.def), std::bad_alloc);
    EXPECT_EQ(nullptr, rec.d.layerBuffers[0]);
    EXPECT_EQ(0, rec.d.bufferWidth[0]); // tried again at the next frame
}

TEST_F(DoRenderTest, SuiteFailureAndUnknownFormats)
{
    TestWorld in0(4, 4, 4), out(4, 4, 4);
    rec.d.layers[0] = &in0.def;
    host.worldAcquireError = kSPSuiteNotFoundError;
    EXPECT_EQ(kSPSuiteNotFoundError, render(&out.def));
    EXPECT_EQ(0, host.suitesOut);

    host.worldAcquireError = kSPNoError;
    const PF_PixelFormat others[] = {PF_PixelFormat_BGRA32, PF_PixelFormat_VUYA32, PF_PixelFormat_INVALID, 0};
    for (PF_PixelFormat f : others) {
        host.pixelFormat = f;
        EXPECT_EQ(PF_Err_BAD_CALLBACK_PARAM, render(&out.def));
        EXPECT_EQ(0, host.suitesOut); // released again
    }
    EXPECT_TRUE(untouched(out));
}

// The transfer taken for each format, host and "fast" switch: the layer
// buffer and the output world must come out as the chosen routine (tested on
// its own) or the direct copy of rows (host bytes as they are, packed in the
// buffers) leaves them. Channels and pixels all differ, and the prepared
// buffers are large enough to be kept.
using Routine = void (*)(PF_InData*, PF_LayerDef*, EffectData*);
struct Dispatch {
    PF_PixelFormat format;
    bool premiere, fast;
    Routine routine; // null: direct copy
};

class DispatchTest : public DoRenderTest, public ::testing::WithParamInterface<Dispatch> {
protected:
    static void prepare(TestRecord& r, TestWorld& in0)
    {
        r.d.layers[0] = &in0.def;
        float* layer = glfxowner::layerBuffer(&r.d, 0, 6);
        for (int i = 0; i < 24; ++i)
            layer[i] = -1.0f;
        glfxowner::outputBuffer(&r.d, 6);
        for (int i = 0; i < 24; ++i)
            r.d.outputBuffer[i] = 0.05f * static_cast<float>(i % 21);
        r.d.bufferWidth[0] = r.d.outputBufferWidth = 3;
        r.d.bufferHeight[0] = r.d.outputBufferHeight = 2;
    }
};

TEST_P(DispatchTest, PicksTheTransfer)
{
    const Dispatch& c = GetParam();
    describe(1, 0, 1, c.fast);
    host.pixelFormat = c.format;
    const int channelBytes = c.format == PF_PixelFormat_ARGB32   ? 1
                             : c.format == PF_PixelFormat_ARGB64 ? 2
                                                                 : 4;
    const int pixelBytes = 4 * channelBytes;
    TestWorld in0(3, 2, pixelBytes, pixelBytes), out(3, 2, pixelBytes, pixelBytes),
        want(3, 2, pixelBytes, pixelBytes);
    for (int y = 0; y < 2; ++y)
        for (int x = 0; x < 3; ++x)
            for (int k = 0; k < 4; ++k) {
                const int n = 4 * (3 * y + x) + k; // 0..23
                if (channelBytes == 1)
                    in0.pixel<std::uint8_t>(x, y)[k] = static_cast<std::uint8_t>(10 * n + 3);
                if (channelBytes == 2)
                    in0.pixel<std::uint16_t>(x, y)[k] = static_cast<std::uint16_t>(1300 * n + 7);
                if (channelBytes == 4)
                    in0.pixel<float>(x, y)[k] = 0.125f * static_cast<float>(n) - 0.5f;
            }
    TestRecord got, expected;
    got.d.isPremiere = expected.d.isPremiere = c.premiere;
    prepare(got, in0);
    prepare(expected, in0);

    ASSERT_EQ(PF_Err_NONE, render(&out.def, got));

    if (c.routine) {
        c.routine(nullptr, &want.def, &expected.d);
    } else {
        const std::size_t rowBytes = 3 * static_cast<std::size_t>(pixelBytes);
        for (int y = 0; y < 2; ++y) {
            std::memcpy(reinterpret_cast<std::uint8_t*>(expected.d.layerBuffers[0]) + y * rowBytes,
                        in0.row(y), rowBytes);
            std::memcpy(want.row(y), reinterpret_cast<std::uint8_t*>(expected.d.outputBuffer) + y * rowBytes,
                        rowBytes);
        }
    }
    EXPECT_EQ(0, std::memcmp(expected.d.layerBuffers[0], got.d.layerBuffers[0], 6 * 16));
    EXPECT_TRUE(want.bytes == out.bytes);
}

INSTANTIATE_TEST_SUITE_P(Formats, DispatchTest,
                         ::testing::Values(Dispatch{PF_PixelFormat_ARGB32, false, false, Render8},
                                           Dispatch{PF_PixelFormat_ARGB32, true, false, Render8},
                                           Dispatch{PF_PixelFormat_ARGB32, false, true, nullptr},
                                           Dispatch{PF_PixelFormat_ARGB32, true, true,
                                                    nullptr}, // fast alone decides
                                           Dispatch{PF_PixelFormat_ARGB64, false, false, Render16},
                                           Dispatch{PF_PixelFormat_ARGB64, false, true, Render16_Fast},
                                           Dispatch{PF_PixelFormat_ARGB64, true, true, Render16},
                                           Dispatch{PF_PixelFormat_ARGB128, false, false, RenderFloat},
                                           Dispatch{PF_PixelFormat_ARGB128, false, true, nullptr},
                                           Dispatch{PF_PixelFormat_ARGB128, true, true, RenderFloat}));

} // namespace
