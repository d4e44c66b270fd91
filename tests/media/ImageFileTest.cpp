// Still images and sequences through the media library: file values reach
// the frame and come back unchanged (straight alpha, 16-bit scaling, float
// bit for bit), sizes are refused from the header, sequences read their
// range in order.
#include "media/ImageFile.h"
#include "media/MediaError.h"
#include "media/Source.h"

#include "Clips.h"

#include <OpenImageIO/imageio.h>
#include <gtest/gtest.h>

#include <cstring>
#include <fstream>

using namespace media;
using namespace mediatest;
namespace OIIO = OIIO_NAMESPACE;

namespace {

template <typename T>
void writeFile(const std::string& path, int w, int h, const std::vector<T>& rgba, OIIO::TypeDesc type)
{
    auto out = OIIO::ImageOutput::create(path);
    ASSERT_TRUE(out);
    OIIO::ImageSpec layout(w, h, 4, type);
    layout.attribute("oiio:UnassociatedAlpha", 1);
    ASSERT_TRUE(out->open(path, layout));
    ASSERT_TRUE(out->write_image(type, rgba.data()));
    ASSERT_TRUE(out->close());
}

template <typename T>
std::vector<T> readFile(const std::string& path, OIIO::TypeDesc type)
{
    OIIO::ImageSpec config;
    config.attribute("oiio:UnassociatedAlpha", 1);
    auto in = OIIO::ImageInput::open(path, &config);
    EXPECT_TRUE(in);
    if (!in)
        return {};
    std::vector<T> v(size_t(in->spec().width) * in->spec().height * in->spec().nchannels);
    EXPECT_TRUE(in->read_image(0, 0, 0, in->spec().nchannels, type, v.data()));
    return v;
}

void save(const std::string& path, const std::vector<unsigned char>& bytes)
{
    std::ofstream(path, std::ios::binary).write(reinterpret_cast<const char*>(bytes.data()), bytes.size());
}

// Red 16 under alpha 252 came back as 15 when the file was premultiplied on
// the way in; alpha 0 must keep its colour too.
TEST(StraightAlpha, EightBitPngComesBackUnchanged)
{
    Scratch s;
    const std::vector<uint8_t> px = {16, 32, 48, 252, 200, 100, 50, 0, 1, 2, 3, 4, 255, 254, 253, 128};
    writeFile(s.path("in.png"), 2, 2, px, OIIO::TypeDesc::UINT8);
    const ImageHeader h = readImageHeader(s.path("in.png"));
    EXPECT_EQ(h.depth, kDepth8);
    EXPECT_TRUE(h.alpha);
    FrameBuffer f(2, 2, kDepth8);
    readImage(s.path("in.png"), f.view());
    EXPECT_EQ(f.view().row(0)[1], 16); // red of the first pixel, in the world
    EXPECT_EQ(f.view().row(0)[0], 252);
    save(s.path("out.png"), encodeImage(s.path("out.png"), f.view()));
    EXPECT_EQ(readFile<uint8_t>(s.path("out.png"), OIIO::TypeDesc::UINT8), px);
}

TEST(Depths, SixteenBitFilesScaleToTheWorldAndBack)
{
    Scratch s;
    const std::vector<uint16_t> px = {0,     1, 2,     3, 65535, 65534, 32768, 12345,
                                      40000, 2, 65535, 0, 7,     8,     9,     10};
    writeFile(s.path("in.png"), 2, 2, px, OIIO::TypeDesc::UINT16);
    EXPECT_EQ(readImageHeader(s.path("in.png")).depth, kDepth16);
    FrameBuffer f(2, 2, kDepth16);
    readImage(s.path("in.png"), f.view());
    const uint16_t* w = reinterpret_cast<const uint16_t*>(f.view().row(0));
    EXPECT_EQ(w[1], 0);         // red 0
    EXPECT_EQ(w[4 + 1], 32768); // second pixel's red: file white is world white
    save(s.path("out.png"), encodeImage(s.path("out.png"), f.view()));
    const auto back = readFile<uint16_t>(s.path("out.png"), OIIO::TypeDesc::UINT16);
    ASSERT_EQ(back.size(), px.size());
    for (size_t i = 0; i < px.size(); ++i) // the world keeps one bit less than the file
        EXPECT_LE(std::abs(int(back[i]) - int(px[i])), 1) << i;
}

// The fast PNG the preview sends is still lossless (8 and 16 bits), and
// really is encoded differently: larger than the default on a noisy frame.
TEST(FastPng, LosslessAndLargerThanTheDefault)
{
    Scratch s;
    for (const int depth : {kDepth8, kDepth16}) {
        SCOPED_TRACE(depth);
        const int w = 64, h = 48;
        FrameBuffer f(w, h, depth);
        // A smooth ramp with a little hash noise: compressible, but not by
        // a fast level as well as by the default one.
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x)
                for (int c = 0; c < 4; ++c) {
                    const unsigned v =
                        unsigned(x * 3 + y * 2 + c * 40) + ((unsigned(x * 7919 + y * 104729 + c) >> 3) & 3);
                    if (depth == kDepth8)
                        f.view().row(y)[x * 4 + c] = uint8_t(v & 0xff);
                    else
                        reinterpret_cast<uint16_t*>(f.view().row(y))[x * 4 + c] = uint16_t((v * 97) % 32769);
                }
        const auto fast = encodeImage(s.path("fast.png"), f.view(), PngSpeed::kFast);
        const auto normal = encodeImage(s.path("normal.png"), f.view());
        save(s.path("fast.png"), fast);
        save(s.path("normal.png"), normal);
        EXPECT_GT(fast.size(), normal.size());
        // Both read back the same samples (the default is checked lossless above).
        EXPECT_EQ(readFile<uint16_t>(s.path("fast.png"), OIIO::TypeDesc::UINT16),
                  readFile<uint16_t>(s.path("normal.png"), OIIO::TypeDesc::UINT16));
    }
}

TEST(Depths, FloatExrComesBackBitForBit)
{
    Scratch s;
    const std::vector<float> px = {0.1f,  3.5f, -0.25f, 1.0f, 1e-8f,    65504.5f, 0.333333f,  0.0f,
                                   -0.0f, 2.0f, 0.7f,   0.5f, 123.456f, 1e-30f,   0.9999999f, 0.25f};
    writeFile(s.path("in.exr"), 2, 2, px, OIIO::TypeDesc::FLOAT);
    EXPECT_EQ(readImageHeader(s.path("in.exr")).depth, kDepth32);
    FrameBuffer f(2, 2, kDepth32);
    readImage(s.path("in.exr"), f.view());
    save(s.path("out.exr"), encodeImage(s.path("out.exr"), f.view()));
    const auto back = readFile<float>(s.path("out.exr"), OIIO::TypeDesc::FLOAT);
    ASSERT_EQ(back.size(), px.size());
    EXPECT_EQ(0, std::memcmp(back.data(), px.data(), px.size() * sizeof(float)));
}

// A header that claims a huge picture is refused before any pixel is read
// (the file holds no pixels at all).
TEST(Limits, HugeHeadersAreRefusedByName)
{
    for (const char* header : {"P6\n20000 20000\n255\n", "P6\n40000 40000\n255\n", "P6\n16385 2\n255\n"}) {
        Scratch s;
        const std::string path = s.path("huge.ppm");
        std::ofstream(path) << header;
        try {
            openSource(path);
            ADD_FAILURE() << header << " accepted";
        } catch (const MediaError& e) {
            EXPECT_NE(std::string(e.what()).find(path), std::string::npos) << e.what();
            EXPECT_NE(std::string(e.what()).find("over the limit"), std::string::npos) << e.what();
        }
    }
}

TEST(Sequence, ReadsItsRangeInOrderAtItsRate)
{
    Scratch s;
    // Frames made by ffmpeg: grey levels 10, 20, 30, 40 in seq.0000..0003.
    for (int i = 0; i < 4; ++i) {
        char name[32];
        std::snprintf(name, sizeof name, "seq.%04d.png", i);
        const int v = 10 * (i + 1);
        char colour[16];
        std::snprintf(colour, sizeof colour, "0x%02X%02X%02X", v, v, v);
        ASSERT_TRUE(ffmpeg(std::string("-f lavfi -i color=c=") + colour +
                           ":s=8x4 -frames:v 1 -pix_fmt rgb24 " + s.path(name)));
    }
    auto src = openSource(s.path("seq.####.png"), 1, 3, 10.0);
    EXPECT_EQ(src->info().frames, 3);
    FrameBuffer f(8, 4, kDepth8);
    double t;
    for (int i = 1; i <= 3; ++i) {
        ASSERT_TRUE(src->read(&f.view(), t));
        EXPECT_NEAR(t, i / 10.0, 1e-12);
        // ffmpeg's own colour conversion may be a step off.
        EXPECT_NEAR(f.view().row(2)[4 * 3 + 1], 10 * (i + 1), 1) << "frame " << i;
    }
    EXPECT_FALSE(src->read(&f.view(), t));
    // A missing frame in the range is named.
    auto gap = openSource(s.path("seq.####.png"), 3, 4, 10.0);
    ASSERT_TRUE(gap->read(&f.view(), t));
    try {
        gap->read(&f.view(), t);
        ADD_FAILURE() << "frame 4 does not exist";
    } catch (const MediaError& e) {
        EXPECT_NE(std::string(e.what()).find("seq.0004.png"), std::string::npos) << e.what();
    }
}

} // namespace
