// 8-bit worlds and 8-bit planes take the vector row kernels; 16-bit and
// float worlds the general per-sample code. Both must give the same codes:
// a float world holds the unrounded values the 8-bit world rounds, and a
// float world holding code / 255 encodes to the planes the 8-bit one does.
// Random pictures of odd sizes reach every vector loop's tail and edge.
#include "media/YuvConvert.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

using namespace media;

namespace {

struct Layout {
    const char* name;
    int log2w, log2h;
    Siting sitingX, sitingY;
    bool fullRange, alpha;
};

// An 8-bit planar picture with storage of its own.
struct Planes {
    std::vector<uint8_t> plane[4];
    PlanarPicture pic;
    Planes(int w, int h, const Layout& l)
    {
        pic.width = w;
        pic.height = h;
        pic.log2ChromaW = l.log2w;
        pic.log2ChromaH = l.log2h;
        pic.sitingX = l.sitingX;
        pic.sitingY = l.sitingY;
        pic.fullRange = l.fullRange;
        pic.alpha = l.alpha;
        pic.matrix = kBt709;
        for (int i = 0; i < 4; ++i) {
            const bool chroma = i == 1 || i == 2;
            const int pw = chroma ? (w + (1 << l.log2w) - 1) >> l.log2w : w;
            const int ph = chroma ? (h + (1 << l.log2h) - 1) >> l.log2h : h;
            plane[i].assign(size_t(pw) * ph, 0);
            pic.data[i] = plane[i].data();
            pic.linesize[i] = pw;
        }
    }
};

const int kSlotsArgb[4] = {1, 2, 3, 0}; // red, green, blue, alpha
const int kSlotsBgra[4] = {2, 1, 0, 3};

uint8_t rounded(float v)
{
    const float t = v * 255.0f + 0.5f;
    return uint8_t(std::clamp(t, 0.0f, 255.0f));
}

class EightBit : public testing::TestWithParam<Layout> {};

TEST_P(EightBit, DecodesAsTheFloatWorldRounded)
{
    std::mt19937 rng(11);
    for (const auto& [w, h] : std::vector<std::pair<int, int>>{{1, 1}, {7, 3}, {21, 11}, {64, 6}, {67, 9}}) {
        Planes p(w, h, GetParam());
        for (auto& plane : p.plane)
            for (auto& v : plane)
                v = uint8_t(rng()); // every code, out-of-range ones too
        FrameBuffer wide(w, h, kDepth32);
        pictureToFrame(p.pic, wide.view());
        for (bool bgra : {false, true}) {
            FrameBuffer narrow(w, h, kDepth8, bgra);
            pictureToFrame(p.pic, narrow.view());
            const int* slots = bgra ? kSlotsBgra : kSlotsArgb;
            int wrong = 0;
            for (int y = 0; y < h; ++y)
                for (int x = 0; x < w; ++x)
                    for (int c = 0; c < 4; ++c) {
                        const float v =
                            reinterpret_cast<const float*>(wide.view().row(y))[4 * x + kSlotsArgb[c]];
                        wrong += narrow.view().row(y)[4 * x + slots[c]] != rounded(v);
                    }
            EXPECT_EQ(wrong, 0) << GetParam().name << " " << w << "x" << h << (bgra ? " bgra" : " argb");
        }
    }
}

TEST_P(EightBit, EncodesAsTheFloatWorld)
{
    std::mt19937 rng(5);
    for (const auto& [w, h] : std::vector<std::pair<int, int>>{{1, 1}, {7, 3}, {21, 11}, {64, 6}, {67, 9}}) {
        for (bool bgra : {false, true}) {
            FrameBuffer narrow(w, h, kDepth8, bgra);
            FrameBuffer wide(w, h, kDepth32);
            const int* slots = bgra ? kSlotsBgra : kSlotsArgb;
            for (int y = 0; y < h; ++y)
                for (int x = 0; x < w; ++x)
                    for (int c = 0; c < 4; ++c) {
                        const uint8_t code = uint8_t(rng());
                        narrow.view().row(y)[4 * x + slots[c]] = code;
                        reinterpret_cast<float*>(wide.view().row(y))[4 * x + kSlotsArgb[c]] =
                            code * (1.0f / 255.0f);
                    }
            Planes fromNarrow(w, h, GetParam()), fromWide(w, h, GetParam());
            frameToPicture(narrow.view(), fromNarrow.pic);
            frameToPicture(wide.view(), fromWide.pic);
            for (int i = 0; i < 4; ++i)
                EXPECT_EQ(fromNarrow.plane[i], fromWide.plane[i])
                    << GetParam().name << " plane " << i << " " << w << "x" << h
                    << (bgra ? " bgra" : " argb");
        }
    }
}

INSTANTIATE_TEST_SUITE_P(
    Layouts, EightBit,
    testing::Values(Layout{"yuv420_video", 1, 1, Siting::CoSited, Siting::Centre, false, false},
                    Layout{"yuv420_jpeg", 1, 1, Siting::Centre, Siting::Centre, true, false},
                    Layout{"yuv420_top_left", 1, 1, Siting::CoSited, Siting::CoSited, false, false},
                    Layout{"yuv422", 1, 0, Siting::CoSited, Siting::Centre, false, false},
                    Layout{"yuva420", 1, 1, Siting::CoSited, Siting::Centre, false, true},
                    Layout{"yuv444", 0, 0, Siting::CoSited, Siting::Centre, true, false}),
    [](const testing::TestParamInfo<Layout>& i) { return std::string(i.param.name); });

} // namespace
