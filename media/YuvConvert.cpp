#include "media/YuvConvert.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

namespace media {

namespace {

// Normalisation of one picture's codes: value = (code - offset) × scale, so
// that luma and G, B, R run 0..1 and chroma -0.5..0.5.
struct Levels {
    float yOffset, yScale, cOffset, cScale;
    int maxCode;
};

Levels levelsOf(const PlanarPicture& p)
{
    const int maxCode = (1 << p.bits) - 1;
    const float unit = float(1 << (p.bits - 8));
    if (p.rgb)
        return {0.0f, 1.0f / maxCode, 0.0f, 1.0f / maxCode, maxCode};
    if (p.fullRange)
        return {0.0f, 1.0f / maxCode, float(1 << (p.bits - 1)), 1.0f / maxCode, maxCode};
    return {16.0f * unit, 1.0f / (219.0f * unit), 128.0f * unit, 1.0f / (224.0f * unit), maxCode};
}

inline float readCode(const uint8_t* row, int x, bool wide)
{
    return wide ? float(reinterpret_cast<const uint16_t*>(row)[x]) : float(row[x]);
}

inline void writeCode(uint8_t* row, int x, bool wide, float v, int maxCode)
{
    const float c = std::min(float(maxCode), std::max(0.0f, std::floor(v + 0.5f)));
    if (wide)
        reinterpret_cast<uint16_t*>(row)[x] = uint16_t(c);
    else
        row[x] = uint8_t(c);
}

// Bilinear taps from a subsampled grid to full resolution: for each full
// sample, the two chroma samples around it and the weight of the second.
struct Taps {
    std::vector<int> i0, i1;
    std::vector<float> w;
};

Taps upTaps(int full, int log2, Siting siting)
{
    const int factor = 1 << log2;
    const int sub = (full + factor - 1) >> log2;
    const float origin = siting == Siting::Centre ? (factor - 1) / 2.0f : 0.0f;
    Taps t;
    t.i0.resize(full);
    t.i1.resize(full);
    t.w.resize(full);
    for (int x = 0; x < full; ++x) {
        const float c = std::max(0.0f, (x - origin) / factor);
        const int i = std::min(sub - 1, int(c));
        t.i0[x] = i;
        t.i1[x] = std::min(sub - 1, i + 1);
        t.w[x] = i + 1 < sub ? c - i : 0.0f;
    }
    return t;
}

// Filter from full resolution to a subsampled grid: the full samples each
// chroma sample averages, with weights.
struct Filter {
    std::vector<std::vector<std::pair<int, float>>> taps; // per subsampled position
};

Filter downFilter(int full, int log2, Siting siting)
{
    const int factor = 1 << log2;
    const int sub = (full + factor - 1) >> log2;
    Filter f;
    f.taps.resize(sub);
    for (int k = 0; k < sub; ++k) {
        auto& t = f.taps[k];
        const int at = k * factor;
        auto add = [&](int x, float w) { t.push_back({std::min(full - 1, std::max(0, x)), w}); };
        if (factor == 1) {
            add(at, 1.0f);
        } else if (factor == 2 && siting == Siting::CoSited) {
            // The analysis low-pass that linear interpolation inverts: it
            // removes the half-band and gives back exactly the chroma a
            // decoder's interpolation started from, so a frame that comes
            // through unchanged keeps its chroma.
            add(at - 2, -0.125f);
            add(at - 1, 0.25f);
            add(at, 0.75f);
            add(at + 1, 0.25f);
            add(at + 2, -0.125f);
        } else if (factor == 2) {
            // The same for centred chroma (interpolated at quarter steps).
            add(at - 1, -0.25f);
            add(at, 0.75f);
            add(at + 1, 0.75f);
            add(at + 2, -0.25f);
        } else {
            for (int i = 0; i < factor; ++i)
                add(at + i, 1.0f / factor);
        }
    }
    return f;
}

template <int Depth>
struct Store;
template <>
struct Store<kDepth8> {
    static void put(uint8_t* px, int slot, float v)
    {
        px[slot] = uint8_t(std::min(255.0f, std::max(0.0f, std::floor(v * 255.0f + 0.5f))));
    }
    static float get(const uint8_t* px, int slot) { return px[slot] * (1.0f / 255.0f); }
    static constexpr int kSize = 4;
};
template <>
struct Store<kDepth16> {
    static void put(uint8_t* px, int slot, float v)
    {
        reinterpret_cast<uint16_t*>(px)[slot] =
            uint16_t(std::min(float(kWhite16), std::max(0.0f, std::floor(v * kWhite16 + 0.5f))));
    }
    static float get(const uint8_t* px, int slot)
    {
        return reinterpret_cast<const uint16_t*>(px)[slot] * (1.0f / kWhite16);
    }
    static constexpr int kSize = 8;
};
template <>
struct Store<kDepth32> {
    static void put(uint8_t* px, int slot, float v) { reinterpret_cast<float*>(px)[slot] = v; }
    static float get(const uint8_t* px, int slot) { return reinterpret_cast<const float*>(px)[slot]; }
    static constexpr int kSize = 16;
};

template <int Depth>
void toFrame(const PlanarPicture& p, const FrameView& f)
{
    using S = Store<Depth>;
    const Levels lv = levelsOf(p);
    const bool wide = p.bits > 8;
    const int cw = (p.width + (1 << p.log2ChromaW) - 1) >> p.log2ChromaW;
    const Taps tx = upTaps(p.width, p.log2ChromaW, p.sitingX);
    const Taps ty = upTaps(p.height, p.log2ChromaH, p.sitingY);
    std::vector<float> cb(cw), cr(cw);
    const float kr = p.matrix.kr, kb = p.matrix.kb, kg = 1.0f - kr - kb;
    const float crToR = 2.0f * (1.0f - kr), cbToB = 2.0f * (1.0f - kb);
    const int rs = f.redSlot(), gs = f.greenSlot(), bs = f.blueSlot(), as = f.alphaSlot();

    for (int y = 0; y < p.height; ++y) {
        const uint8_t* yrow = p.data[0] + ptrdiff_t(p.linesize[0]) * y;
        const uint8_t* arow = p.alpha ? p.data[3] + ptrdiff_t(p.linesize[3]) * y : nullptr;
        uint8_t* out = f.row(y);
        if (p.rgb) {
            const uint8_t* brow = p.data[1] + ptrdiff_t(p.linesize[1]) * y;
            const uint8_t* rrow = p.data[2] + ptrdiff_t(p.linesize[2]) * y;
            for (int x = 0; x < p.width; ++x) {
                uint8_t* px = out + x * S::kSize;
                S::put(px, gs, readCode(yrow, x, wide) * lv.yScale);
                S::put(px, bs, readCode(brow, x, wide) * lv.yScale);
                S::put(px, rs, readCode(rrow, x, wide) * lv.yScale);
                S::put(px, as, arow ? readCode(arow, x, wide) * lv.yScale : 1.0f);
            }
            continue;
        }
        // The chroma row at this luma row, interpolated vertically.
        const int j0 = ty.i0[y], j1 = ty.i1[y];
        const float wy = ty.w[y];
        const uint8_t* b0 = p.data[1] + ptrdiff_t(p.linesize[1]) * j0;
        const uint8_t* b1 = p.data[1] + ptrdiff_t(p.linesize[1]) * j1;
        const uint8_t* r0 = p.data[2] + ptrdiff_t(p.linesize[2]) * j0;
        const uint8_t* r1 = p.data[2] + ptrdiff_t(p.linesize[2]) * j1;
        for (int k = 0; k < cw; ++k) {
            const float bv0 = readCode(b0, k, wide), bv1 = readCode(b1, k, wide);
            const float rv0 = readCode(r0, k, wide), rv1 = readCode(r1, k, wide);
            cb[k] = (bv0 + wy * (bv1 - bv0) - lv.cOffset) * lv.cScale;
            cr[k] = (rv0 + wy * (rv1 - rv0) - lv.cOffset) * lv.cScale;
        }
        for (int x = 0; x < p.width; ++x) {
            const int i0 = tx.i0[x], i1 = tx.i1[x];
            const float w = tx.w[x];
            const float u = cb[i0] + w * (cb[i1] - cb[i0]);
            const float v = cr[i0] + w * (cr[i1] - cr[i0]);
            const float l = (readCode(yrow, x, wide) - lv.yOffset) * lv.yScale;
            const float r = l + crToR * v;
            const float b = l + cbToB * u;
            const float g = (l - kr * r - kb * b) / kg;
            uint8_t* px = out + x * S::kSize;
            S::put(px, rs, r);
            S::put(px, gs, g);
            S::put(px, bs, b);
            S::put(px, as, arow ? readCode(arow, x, wide) / float(lv.maxCode) : 1.0f);
        }
    }
}

template <int Depth>
void fromFrame(const FrameView& f, const PlanarPicture& p)
{
    using S = Store<Depth>;
    const Levels lv = levelsOf(p);
    const bool wide = p.bits > 8;
    const int rs = f.redSlot(), gs = f.greenSlot(), bs = f.blueSlot(), as = f.alphaSlot();
    const float maxCode = float(lv.maxCode);
    const float kr = p.matrix.kr, kb = p.matrix.kb, kg = 1.0f - kr - kb;
    const float toCb = 1.0f / (2.0f * (1.0f - kb)), toCr = 1.0f / (2.0f * (1.0f - kr));

    // Full-resolution chroma, filtered down once the frame is read.
    thread_local std::vector<float> cbFull, crFull;
    if (!p.rgb) {
        cbFull.resize(size_t(p.width) * p.height);
        crFull.resize(size_t(p.width) * p.height);
    }
    for (int y = 0; y < p.height; ++y) {
        const uint8_t* in = f.row(y);
        uint8_t* row0 = p.data[0] + ptrdiff_t(p.linesize[0]) * y;
        uint8_t* arow = p.alpha ? p.data[3] + ptrdiff_t(p.linesize[3]) * y : nullptr;
        if (p.rgb) {
            uint8_t* brow = p.data[1] + ptrdiff_t(p.linesize[1]) * y;
            uint8_t* rrow = p.data[2] + ptrdiff_t(p.linesize[2]) * y;
            for (int x = 0; x < p.width; ++x) {
                const uint8_t* px = in + x * S::kSize;
                writeCode(row0, x, wide, S::get(px, gs) * maxCode, lv.maxCode);
                writeCode(brow, x, wide, S::get(px, bs) * maxCode, lv.maxCode);
                writeCode(rrow, x, wide, S::get(px, rs) * maxCode, lv.maxCode);
                if (arow)
                    writeCode(arow, x, wide, S::get(px, as) * maxCode, lv.maxCode);
            }
            continue;
        }
        float* cbr = &cbFull[size_t(y) * p.width];
        float* crr = &crFull[size_t(y) * p.width];
        for (int x = 0; x < p.width; ++x) {
            const uint8_t* px = in + x * S::kSize;
            const float r = S::get(px, rs), g = S::get(px, gs), b = S::get(px, bs);
            const float l = kr * r + kg * g + kb * b;
            writeCode(row0, x, wide, l / lv.yScale + lv.yOffset, lv.maxCode);
            cbr[x] = (b - l) * toCb;
            crr[x] = (r - l) * toCr;
            if (arow)
                writeCode(arow, x, wide, S::get(px, as) * maxCode, lv.maxCode);
        }
    }
    if (p.rgb)
        return;
    const Filter fx = downFilter(p.width, p.log2ChromaW, p.sitingX);
    const Filter fy = downFilter(p.height, p.log2ChromaH, p.sitingY);
    const int cw = int(fx.taps.size());
    std::vector<float> colB(p.width), colR(p.width);
    for (size_t j = 0; j < fy.taps.size(); ++j) {
        std::fill(colB.begin(), colB.end(), 0.0f);
        std::fill(colR.begin(), colR.end(), 0.0f);
        for (const auto& [row, w] : fy.taps[j]) {
            const float* b = &cbFull[size_t(row) * p.width];
            const float* r = &crFull[size_t(row) * p.width];
            for (int x = 0; x < p.width; ++x) {
                colB[x] += w * b[x];
                colR[x] += w * r[x];
            }
        }
        uint8_t* brow = p.data[1] + ptrdiff_t(p.linesize[1]) * j;
        uint8_t* rrow = p.data[2] + ptrdiff_t(p.linesize[2]) * j;
        for (int k = 0; k < cw; ++k) {
            float sb = 0.0f, sr = 0.0f;
            for (const auto& [x, w] : fx.taps[k]) {
                sb += w * colB[x];
                sr += w * colR[x];
            }
            writeCode(brow, k, wide, sb / lv.cScale + lv.cOffset, lv.maxCode);
            writeCode(rrow, k, wide, sr / lv.cScale + lv.cOffset, lv.maxCode);
        }
    }
}

} // namespace

void pictureToFrame(const PlanarPicture& from, const FrameView& to)
{
    switch (to.depth) {
    case kDepth8: toFrame<kDepth8>(from, to); break;
    case kDepth16: toFrame<kDepth16>(from, to); break;
    default: toFrame<kDepth32>(from, to); break;
    }
}

void frameToPicture(const FrameView& from, const PlanarPicture& to)
{
    switch (from.depth) {
    case kDepth8: fromFrame<kDepth8>(from, to); break;
    case kDepth16: fromFrame<kDepth16>(from, to); break;
    default: fromFrame<kDepth32>(from, to); break;
    }
}

} // namespace media
