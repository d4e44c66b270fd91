#include "media/Pattern.h"

#include <algorithm>
#include <cmath>

namespace media {

namespace {

struct RGB {
    float r, g, b;
};

RGB hue(float h) // h in 0..1, full saturation and value
{
    const float x = h * 6.0f;
    auto ch = [&](float offset) {
        const float k = std::fmod(offset + x, 6.0f);
        return 1.0f - std::max(0.0f, std::min({k, 4.0f - k, 1.0f}));
    };
    return {ch(5.0f), ch(3.0f), ch(1.0f)};
}

} // namespace

std::vector<float> testPattern(int width, int height, bool overbright)
{
    std::vector<float> px(static_cast<size_t>(width) * height * 4, 1.0f);
    auto set = [&](int x, int y, RGB c) {
        float* p = &px[(static_cast<size_t>(y) * width + x) * 4];
        p[0] = c.r;
        p[1] = c.g;
        p[2] = c.b;
        p[3] = 1.0f;
    };
    // Rows: bars 0..40%, grey ramp 40..50%, hue sweep 50..60%, bottom 60..100%
    // split into skin tones, fine detail and highlights.
    const int barsEnd = height * 40 / 100;
    const int rampEnd = height * 50 / 100;
    const int hueEnd = height * 60 / 100;
    static const RGB bars[] = {{0.75f, 0.75f, 0.75f}, {0.75f, 0.75f, 0.0f}, {0.0f, 0.75f, 0.75f},
                               {0.0f, 0.75f, 0.0f},   {0.75f, 0.0f, 0.75f}, {0.75f, 0.0f, 0.0f},
                               {0.0f, 0.0f, 0.75f},   {1.0f, 1.0f, 1.0f}};
    static const RGB skin[] = {{0.98f, 0.84f, 0.73f}, {0.92f, 0.72f, 0.58f}, {0.80f, 0.58f, 0.44f},
                               {0.63f, 0.43f, 0.30f}, {0.45f, 0.30f, 0.21f}, {0.30f, 0.20f, 0.14f}};
    const float peak = overbright ? 8.0f : 1.0f;
    const int third = std::max(1, width / 3);

    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const float u = width > 1 ? float(x) / float(width - 1) : 0.0f;
            RGB c{0, 0, 0};
            if (y < barsEnd) {
                c = bars[std::min(7, x * 8 / width)];
            } else if (y < rampEnd) {
                c = {u, u, u};
            } else if (y < hueEnd) {
                c = hue(u);
            } else if (x < third) {
                // Skin tones in a 3 × 2 grid with a soft shading across each.
                const int cols = 3, rows = 2;
                const int bh = std::max(1, height - hueEnd);
                const int i = std::min(cols - 1, x * cols / third);
                const int j = std::min(rows - 1, (y - hueEnd) * rows / bh);
                const RGB s = skin[j * cols + i];
                const float fx = float(x * cols % third) / third;
                const float shade = 0.85f + 0.3f * std::sin(fx * 3.14159265f);
                c = {std::min(1.0f, s.r * shade), std::min(1.0f, s.g * shade), std::min(1.0f, s.b * shade)};
            } else if (x < 2 * third) {
                // Fine detail: a zone plate in the upper half, one-pixel lines
                // and a checkerboard below.
                const int lx = x - third, ly = y - hueEnd;
                const int bh = height - hueEnd;
                if (ly < bh / 2) {
                    const float dx = lx - third / 2.0f, dy = ly - bh / 4.0f;
                    const float k = 3.14159265f / std::max(1.0f, float(third));
                    const float v = 0.5f + 0.5f * std::cos(k * (dx * dx + dy * dy) / 2.0f);
                    c = {v, v, v};
                } else if (lx < third / 2) {
                    const float v = (lx % 2 == 0) ? 1.0f : 0.0f;
                    c = {v, v, v};
                } else {
                    const float v = ((lx + ly) % 2 == 0) ? 0.9f : 0.1f;
                    c = {v, v, v};
                }
            } else {
                // Highlights: small bright discs of several sizes on a dark
                // blue-grey night background.
                c = {0.02f, 0.03f, 0.05f};
                const int lx = x - 2 * third, ly = y - hueEnd;
                const int cell = std::max(8, std::min(third, height - hueEnd) / 4);
                const int gx = lx / cell, gy = ly / cell;
                const float ox = (lx % cell) - cell / 2.0f, oy = (ly % cell) - cell / 2.0f;
                const float radius = 1.0f + float((gx * 3 + gy * 5) % 4) * cell / 16.0f;
                const float d = std::sqrt(ox * ox + oy * oy);
                if (d <= radius) {
                    const RGB tint = (gx + gy) % 3 == 0   ? RGB{1.0f, 0.85f, 0.6f}
                                     : (gx + gy) % 3 == 1 ? RGB{0.7f, 0.85f, 1.0f}
                                                          : RGB{1.0f, 1.0f, 1.0f};
                    c = {tint.r * peak, tint.g * peak, tint.b * peak};
                }
            }
            // A one-pixel white border, so that edge handling and geometric
            // shifts show.
            if (x == 0 || y == 0 || x == width - 1 || y == height - 1)
                c = {1, 1, 1};
            set(x, y, c);
        }
    }
    return px;
}

void drawPattern(const FrameView& to)
{
    const std::vector<float> px = testPattern(to.width, to.height, to.depth == kDepth32);
    const int slots[4] = {to.redSlot(), to.greenSlot(), to.blueSlot(), to.alphaSlot()};
    for (int y = 0; y < to.height; ++y) {
        uint8_t* row = to.row(y);
        for (int x = 0; x < to.width; ++x) {
            const float* p = &px[(size_t(y) * to.width + x) * 4];
            for (int c = 0; c < 4; ++c) {
                const float v = p[c];
                if (to.depth == kDepth8)
                    row[x * 4 + slots[c]] = uint8_t(std::lround(std::clamp(v, 0.0f, 1.0f) * 255.0f));
                else if (to.depth == kDepth16)
                    reinterpret_cast<uint16_t*>(row)[x * 4 + slots[c]] =
                        uint16_t(std::lround(std::clamp(v, 0.0f, 1.0f) * kWhite16));
                else
                    reinterpret_cast<float*>(row)[x * 4 + slots[c]] = v;
            }
        }
    }
}

} // namespace media
