// Y'CbCr to frame and back: the standard code values of known colours for
// each matrix and range, chroma siting, and round trips at every depth.
#include "media/YuvConvert.h"

#include "Clips.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

using namespace media;
using mediatest::channel;

namespace {

// A 4:4:4 picture of one colour, `bits` deep, stored in vectors it owns.
struct FlatPicture {
    std::vector<uint16_t> planes[3];
    PlanarPicture pic;
    FlatPicture(int w, int h, int bits, int y, int cb, int cr)
    {
        const int values[3] = {y, cb, cr};
        for (int i = 0; i < 3; ++i) {
            planes[i].assign(size_t(w) * h, uint16_t(values[i]));
            if (bits == 8) // 8-bit samples are bytes: pack two per word
                for (auto& v : planes[i])
                    v = uint16_t(values[i] | (values[i] << 8));
            pic.data[i] = reinterpret_cast<uint8_t*>(planes[i].data());
            pic.linesize[i] = w * (bits > 8 ? 2 : 1);
        }
        pic.width = w;
        pic.height = h;
        pic.bits = bits;
    }
};

struct KnownColour {
    const char* name;
    Matrix matrix;
    bool full;
    int bits;
    int y, cb, cr; // the colour's codes, worked out from the matrix's definition
    float r, g, b; // the colour
};

class Known : public testing::TestWithParam<KnownColour> {};

TEST_P(Known, DecodesToTheColourAtEveryDepth)
{
    const KnownColour& k = GetParam();
    for (int depth : {kDepth8, kDepth16, kDepth32}) {
        FlatPicture fp(4, 2, k.bits, k.y, k.cb, k.cr);
        fp.pic.matrix = k.matrix;
        fp.pic.fullRange = k.full;
        FrameBuffer f(4, 2, depth);
        pictureToFrame(fp.pic, f.view());
        // Code rounding of the source is worth up to about 1.5 8-bit steps.
        const float tol = 2.0f / 255.0f;
        EXPECT_NEAR(channel(f.view(), 3, 1, 0), k.r, tol) << k.name << " depth " << depth;
        EXPECT_NEAR(channel(f.view(), 3, 1, 1), k.g, tol) << k.name << " depth " << depth;
        EXPECT_NEAR(channel(f.view(), 3, 1, 2), k.b, tol) << k.name << " depth " << depth;
        EXPECT_EQ(channel(f.view(), 3, 1, 3), 1.0f) << k.name;
    }
}

INSTANTIATE_TEST_SUITE_P(
    Matrices, Known,
    testing::Values(KnownColour{"709 white", kBt709, false, 8, 235, 128, 128, 1, 1, 1},
                    KnownColour{"709 black", kBt709, false, 8, 16, 128, 128, 0, 0, 0},
                    KnownColour{"709 red", kBt709, false, 8, 63, 102, 240, 1, 0, 0},
                    KnownColour{"709 green", kBt709, false, 8, 173, 42, 26, 0, 1, 0},
                    KnownColour{"601 red", kBt601, false, 8, 81, 90, 240, 1, 0, 0},
                    KnownColour{"601 blue", kBt601, false, 8, 41, 240, 110, 0, 0, 1},
                    KnownColour{"709 full red", kBt709, true, 8, 54, 99, 255, 1, 0, 0},
                    KnownColour{"709 10-bit white", kBt709, false, 10, 940, 512, 512, 1, 1, 1},
                    KnownColour{"709 10-bit red", kBt709, false, 10, 250, 409, 960, 1, 0, 0},
                    KnownColour{"2020 10-bit red", kBt2020, false, 10, 294, 387, 960, 1, 0, 0}),
    [](const testing::TestParamInfo<KnownColour>& i) {
        std::string n = i.param.name;
        for (char& c : n)
            if (!std::isalnum(static_cast<unsigned char>(c)))
                c = '_';
        return n;
    });

// A world filled with smooth ramps (what chroma subsampling keeps exactly).
FrameBuffer ramp(int w, int h, int depth)
{
    FrameBuffer f(w, h, depth);
    const FrameView& v = f.view();
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            const float rgba[4] = {0.1f + 0.8f * x / (w - 1), 0.2f + 0.6f * y / (h - 1),
                                   0.9f - 0.7f * (x + y) / (w + h - 2), 0.25f + 0.5f * x / (w - 1)};
            uint8_t* px = v.row(y) + x * pixelSize(depth);
            const int slots[4] = {v.redSlot(), v.greenSlot(), v.blueSlot(), v.alphaSlot()};
            for (int c = 0; c < 4; ++c) {
                if (depth == kDepth8)
                    px[slots[c]] = uint8_t(std::lround(rgba[c] * 255));
                else if (depth == kDepth16)
                    reinterpret_cast<uint16_t*>(px)[slots[c]] = uint16_t(std::lround(rgba[c] * kWhite16));
                else
                    reinterpret_cast<float*>(px)[slots[c]] = rgba[c];
            }
        }
    return f;
}

struct RoundTrip {
    const char* name;
    int depth, bits, log2w, log2h;
    bool rgb, alpha;
    float tolerance; // largest difference allowed, normalised
};

class Trip : public testing::TestWithParam<RoundTrip> {};

TEST_P(Trip, FrameToPictureAndBack)
{
    const RoundTrip& t = GetParam();
    const int w = 34, h = 18;
    const FrameBuffer in = ramp(w, h, t.depth);
    std::vector<uint16_t> store[4];
    PlanarPicture p;
    p.width = w;
    p.height = h;
    p.bits = t.bits;
    p.log2ChromaW = t.log2w;
    p.log2ChromaH = t.log2h;
    p.rgb = t.rgb;
    p.alpha = t.alpha;
    for (int i = 0; i < 4; ++i) {
        const int pw = (i == 1 || i == 2) ? (w + (1 << t.log2w) - 1) >> t.log2w : w;
        const int ph = (i == 1 || i == 2) ? (h + (1 << t.log2h) - 1) >> t.log2h : h;
        store[i].assign(size_t(pw) * ph, 0);
        p.data[i] = reinterpret_cast<uint8_t*>(store[i].data());
        p.linesize[i] = pw * (t.bits > 8 ? 2 : 1);
    }
    frameToPicture(in.view(), p);
    FrameBuffer out(w, h, t.depth);
    pictureToFrame(p, out.view());
    // Subsampled chroma is rebuilt exactly for ramps away from the borders,
    // where the filters clamp.
    const int margin = t.log2w || t.log2h ? 3 : 0;
    float worst = 0.0f;
    for (int y = margin; y < h - margin; ++y)
        for (int x = margin; x < w - margin; ++x)
            for (int c = 0; c < (t.alpha ? 4 : 3); ++c)
                worst =
                    std::max(worst, std::fabs(channel(in.view(), x, y, c) - channel(out.view(), x, y, c)));
    EXPECT_LE(worst, t.tolerance) << t.name;
    if (!t.alpha) {
        EXPECT_EQ(channel(out.view(), 5, 5, 3), 1.0f);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Layouts, Trip,
    testing::Values(RoundTrip{"rgb8", kDepth8, 8, 0, 0, true, true, 0.0f},
                    RoundTrip{"yuv420_10_world8", kDepth8, 10, 1, 1, false, false, 1.01f / 255},
                    RoundTrip{"yuv422_10_world16", kDepth16, 10, 1, 0, false, true, 2.5f / 1023},
                    RoundTrip{"yuv444_16_world16", kDepth16, 16, 0, 0, false, false, 3.0f / kWhite16},
                    RoundTrip{"yuv420_16_float", kDepth32, 16, 1, 1, false, false, 3.0f / 65535},
                    RoundTrip{"rgb16_world16", kDepth16, 16, 0, 0, true, true, 1.0f / kWhite16}),
    [](const testing::TestParamInfo<RoundTrip>& i) { return std::string(i.param.name); });

// A chroma step seen at one luma column: co-sited chroma sits on even
// columns, so column 2 shows chroma sample 1 alone; centred chroma sits
// between columns 2 and 3, so column 2 still mixes in sample 0.
TEST(Siting, ChromaStepLandsWhereTheSitingSays)
{
    for (Siting s : {Siting::CoSited, Siting::Centre}) {
        FlatPicture fp(8, 2, 8, 126, 128, 128);
        // Cr plane (4:2:0 → 4 × 1 samples): 128 then 192 from sample 1 on.
        std::vector<uint8_t> cr = {128, 192, 192, 192}, cb = {128, 128, 128, 128};
        fp.pic.data[1] = cb.data();
        fp.pic.data[2] = cr.data();
        fp.pic.linesize[1] = fp.pic.linesize[2] = 4;
        fp.pic.log2ChromaW = fp.pic.log2ChromaH = 1;
        fp.pic.sitingX = s;
        FrameBuffer f(8, 2, kDepth32);
        pictureToFrame(fp.pic, f.view());
        const float flat = channel(f.view(), 6, 0, 0);
        const float at2 = channel(f.view(), 2, 0, 0);
        const float at0 = channel(f.view(), 0, 0, 0);
        EXPECT_GT(flat, at0 + 0.1f);
        if (s == Siting::CoSited)
            EXPECT_FLOAT_EQ(at2, flat);
        else
            EXPECT_LT(at2, flat - 0.05f);
    }
}

} // namespace
