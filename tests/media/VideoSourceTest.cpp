// Video files made by ffmpeg, decoded into frames: colours under each matrix
// and range (tagged and untagged), depth, frame count and presentation
// times (constant and variable rate), display rotation, and files that must
// be refused with a message naming them.
#include "media/MediaError.h"
#include "media/Source.h"

#include "Clips.h"

#include <gtest/gtest.h>

#include <cmath>

using namespace media;
using namespace mediatest;

namespace {

struct ColourCase {
    const char* name;
    const char* size;   // WxH: 720 lines and more is high definition when untagged
    const char* matrix; // the matrix ffmpeg converts with
    const char* range;  // tv or pc
    const char* format; // pixel format stored
    const char* codec;  // encoder and its options
    const char* tags;   // colour tags written (may be none)
    const char* ext;
    int depth; // the depth the source asks for
};

// The colour every clip is made of (0xC03060) and its neighbours in 8-bit
// steps: the matrices disagree about it by far more than the tolerance.
constexpr float kR = 192 / 255.0f, kG = 48 / 255.0f, kB = 96 / 255.0f;

class Colour : public testing::TestWithParam<ColourCase> {};

TEST_P(Colour, DecodesToTheColourThatWasEncoded)
{
    const ColourCase& c = GetParam();
    Scratch s;
    const std::string clip = s.path(std::string("clip.") + c.ext);
    ASSERT_TRUE(ffmpeg(std::string("-f lavfi -i color=c=0xC03060:s=") + c.size +
                       ":r=5:d=0.4 -vf format=rgb24,scale=out_color_matrix=" + c.matrix + ":out_range=" +
                       c.range + ",format=" + c.format + " " + c.codec + " " + c.tags + " " + clip));
    auto src = openSource(clip);
    EXPECT_EQ(src->info().depth, c.depth);
    EXPECT_TRUE(src->info().video);
    for (int depth : {kDepth8, kDepth16, kDepth32}) {
        auto again = openSource(clip);
        FrameBuffer f(again->info().width, again->info().height, depth);
        double t = -1;
        ASSERT_TRUE(again->read(&f.view(), t));
        EXPECT_EQ(t, 0.0);
        const int x = f.view().width / 2, y = f.view().height / 2;
        const float tol = 2.5f / 255.0f;
        EXPECT_NEAR(channel(f.view(), x, y, 0), kR, tol) << c.name << " depth " << depth;
        EXPECT_NEAR(channel(f.view(), x, y, 1), kG, tol) << c.name << " depth " << depth;
        EXPECT_NEAR(channel(f.view(), x, y, 2), kB, tol) << c.name << " depth " << depth;
        EXPECT_EQ(channel(f.view(), x, y, 3), 1.0f);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Streams, Colour,
    testing::Values(
        ColourCase{"tagged709", "64x720", "bt709", "tv", "yuv420p", "-c:v libx264 -qp 0",
                   "-colorspace bt709 -color_range tv", "mp4", 8},
        ColourCase{"untagged_hd_is_709", "64x720", "bt709", "tv", "yuv420p", "-c:v ffv1", "", "mkv", 8},
        ColourCase{"untagged_sd_is_601", "64x480", "bt601", "tv", "yuv420p", "-c:v ffv1", "", "mkv", 8},
        ColourCase{"tagged601_hd", "64x720", "bt601", "tv", "yuv420p", "-c:v ffv1",
                   "-colorspace smpte170m -color_range tv", "mkv", 8},
        ColourCase{"full_range", "64x480", "bt709", "pc", "yuv444p", "-c:v ffv1",
                   "-colorspace bt709 -color_range pc", "mkv", 8},
        ColourCase{"prores_10bit", "64x720", "bt709", "tv", "yuv422p10le", "-c:v prores_ks -profile:v 3",
                   "-colorspace bt709 -color_range tv", "mov", 16},
        ColourCase{"bt2020_10bit", "64x480", "bt2020", "tv", "yuv420p10le", "-c:v ffv1",
                   "-colorspace bt2020nc -color_range tv", "mkv", 16},
        ColourCase{"rgb_ffv1", "64x480", "bt709", "tv", "gbrp", "-c:v ffv1", "", "mkv", 8},
        ColourCase{"packed_nv12", "64x480", "bt601", "tv", "nv12", "-c:v rawvideo", "", "nut", 8}),
    [](const testing::TestParamInfo<ColourCase>& i) { return std::string(i.param.name); });

TEST(Timing, ConstantRateCountsAndTimesEveryFrame)
{
    Scratch s;
    const std::string clip = s.path("cfr.mp4");
    ASSERT_TRUE(ffmpeg("-f lavfi -i testsrc2=s=64x48:r=25:d=0.4 -c:v libx264 -pix_fmt yuv420p " + clip));
    auto src = openSource(clip);
    EXPECT_DOUBLE_EQ(src->info().fps, 25.0);
    EXPECT_EQ(src->info().frames, 10);
    FrameBuffer f(64, 48, kDepth8);
    double t = 0;
    int n = 0;
    while (src->read(n % 2 ? &f.view() : nullptr, t)) {
        EXPECT_NEAR(t, n / 25.0, 1e-9) << "frame " << n;
        ++n;
    }
    EXPECT_EQ(n, 10);
}

TEST(Timing, VariableRateKeepsEachFramesOwnTime)
{
    Scratch s;
    const std::string clip = s.path("vfr.mkv");
    // Frame n at n² / 25 s.
    ASSERT_TRUE(ffmpeg("-f lavfi -i testsrc2=s=64x48:r=25:d=0.24 -vf \"setpts=N*N/25/TB\" -fps_mode "
                       "passthrough -c:v ffv1 " +
                       clip));
    auto src = openSource(clip);
    double t = 0;
    int n = 0;
    while (src->read(nullptr, t)) {
        EXPECT_NEAR(t, n * n / 25.0, 0.0015) << "frame " << n;
        ++n;
    }
    EXPECT_EQ(n, 6);
}

// Red on the left, blue on the right, stored with a display rotation: the
// frame comes out as ffmpeg itself shows it (its own autorotation).
TEST(Rotation, FramesAreTurnedAsPlayersShowThem)
{
    for (const char* turn : {"90", "180", "270"}) {
        Scratch s;
        const std::string plain = s.path("plain.mp4"), clip = s.path("rot.mp4");
        ASSERT_TRUE(ffmpeg("-f lavfi -i color=red:s=16x16:d=0.2:r=5 -f lavfi -i color=blue:s=16x16:d=0.2:r=5 "
                           "-filter_complex hstack -c:v libx264 -qp 0 -pix_fmt yuv444p " +
                           plain));
        // The rotation tag is written as a display matrix on a stream copy.
        ASSERT_TRUE(
            ffmpeg("-i " + plain + " -c copy -metadata:s:v:0 rotate=" + std::string(turn) + " " + clip));
        const std::string shown =
            shell("ffmpeg -v error -i " + clip + " -frames:v 1 -f rawvideo -pix_fmt rgb24 -");
        auto src = openSource(clip);
        const int w = src->info().width, h = src->info().height;
        EXPECT_EQ(w * h * 3, int(shown.size())) << turn;
        EXPECT_EQ(std::string(turn) == "180" ? 32 : 16, w) << turn;
        FrameBuffer f(w, h, kDepth8);
        double t;
        ASSERT_TRUE(src->read(&f.view(), t));
        for (auto [x, y] :
             {std::pair{0, 0}, std::pair{w - 1, 0}, std::pair{0, h - 1}, std::pair{w - 1, h - 1}})
            for (int c = 0; c < 3; ++c)
                EXPECT_NEAR(channel(f.view(), x, y, c) * 255.0f,
                            float(uint8_t(shown[(size_t(y) * w + x) * 3 + c])), 3.0f)
                    << "turn " << turn << " at " << x << "," << y;
    }
}

struct BadCase {
    const char* name;
    const char* make; // shell command making bad.EXT in the folder ($D)
    const char* ext;
    const char* says; // a word the message must hold
    bool atOpen;      // refused when opened (else while reading)
};

class Bad : public testing::TestWithParam<BadCase> {};

TEST_P(Bad, RefusedWithTheFileNamed)
{
    const BadCase& c = GetParam();
    Scratch s;
    const std::string bad = s.path(std::string("bad.") + c.ext);
    if (*c.make)
        shell("cd '" + s.path("") + "' && " + c.make + " 2>&1");
    std::string message;
    try {
        auto src = openSource(bad);
        EXPECT_FALSE(c.atOpen) << c.name << " opened";
        FrameBuffer f(src->info().width, src->info().height, kDepth8);
        double t;
        while (src->read(&f.view(), t)) {}
        ADD_FAILURE() << c.name << ": read to the end without a complaint";
    } catch (const MediaError& e) {
        message = e.what();
    }
    EXPECT_NE(message.find(bad), std::string::npos) << message;
    EXPECT_NE(message.find(c.says), std::string::npos) << message;
    EXPECT_EQ(message.find('\n'), std::string::npos) << message;
}

INSTANTIATE_TEST_SUITE_P(
    Files, Bad,
    testing::Values(
        BadCase{"missing", "", "mp4", "No such file", true},
        BadCase{"garbage", "head -c 5000 /dev/urandom > bad.mp4", "mp4", "cannot open", true},
        BadCase{"audio_only", "ffmpeg -v error -f lavfi -i sine=d=0.2 -c:a aac bad.mp4", "mp4", "no video",
                true},
        BadCase{"over_the_size_limit",
                "ffmpeg -v error -f lavfi -i color=s=20000x16:d=0.1:r=10 -c:v ffv1 bad.mkv", "mkv",
                "over the limit", true},
        BadCase{"truncated",
                "ffmpeg -v error -f lavfi -i testsrc2=s=320x240:r=25:d=2 -c:v libx264 -movflags +faststart "
                "bad.mp4 && truncate -s $(( $(stat -c %s bad.mp4) / 2 )) bad.mp4",
                "mp4", "truncated", false}),
    [](const testing::TestParamInfo<BadCase>& i) { return std::string(i.param.name); });

} // namespace
