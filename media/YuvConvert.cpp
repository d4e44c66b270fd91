#include "media/YuvConvert.h"

#include "media/YuvRows.h"

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

// Reading one channel of a frame pixel as a normalised value, per depth.
template <int Depth>
struct Store;
template <>
struct Store<kDepth8> {
    static float get(const uint8_t* px, int slot) { return px[slot] * (1.0f / 255.0f); }
    static constexpr int kSize = 4;
};
template <>
struct Store<kDepth16> {
    static float get(const uint8_t* px, int slot)
    {
        return reinterpret_cast<const uint16_t*>(px)[slot] * (1.0f / kWhite16);
    }
    static constexpr int kSize = 8;
};
template <>
struct Store<kDepth32> {
    static float get(const uint8_t* px, int slot) { return reinterpret_cast<const float*>(px)[slot]; }
    static constexpr int kSize = 16;
};

// Normalised values to a channel of a 16-bit or float frame row (clamped
// for integers); 8-bit rows are packed four channels at once.
template <int Depth>
void storeChannel(uint8_t* row, int slot, const float* v, int width)
{
    if constexpr (Depth == kDepth16) {
        uint16_t* out = reinterpret_cast<uint16_t*>(row);
        for (int x = 0; x < width; ++x) {
            float t = v[x] * float(kWhite16) + 0.5f;
            t = t < 0.0f ? 0.0f : (t > float(kWhite16) ? float(kWhite16) : t);
            out[x * 4 + slot] = uint16_t(t);
        }
    } else {
        float* out = reinterpret_cast<float*>(row);
        for (int x = 0; x < width; ++x)
            out[x * 4 + slot] = v[x];
    }
}

// The row steps of a picture's conversion to a frame, per sample as the
// definition of the results, and through the vector kernels (which give the
// same values) when both the picture and the world are 8-bit.
template <typename Sample, bool Kernels>
struct RowSteps {
    // (code - offset) × scale for a row of samples.
    static void load(const uint8_t* row, float* out, int n, float offset, float scale)
    {
        if constexpr (Kernels) {
            yuvrows::loadCodes8(row, out, n, offset, scale);
        } else {
            const Sample* in = reinterpret_cast<const Sample*>(row);
            for (int x = 0; x < n; ++x)
                out[x] = (float(in[x]) - offset) * scale;
        }
    }
    static void mix(float* a, const float* b, float w, int n)
    {
        if constexpr (Kernels) {
            yuvrows::mix(a, b, w, n);
        } else {
            for (int k = 0; k < n; ++k)
                a[k] += w * (b[k] - a[k]);
        }
    }
    // Co-sited half-width chroma to full width, without tables.
    static void upCoSited2(const float* in, int cw, float* out, int w)
    {
        if constexpr (Kernels) {
            yuvrows::upCoSited2(in, cw, out, w);
        } else {
            for (int k = 0; k < cw; ++k) {
                const int k1 = k + 1 < cw ? k + 1 : k;
                out[2 * k] = in[k];
                if (2 * k + 1 < w)
                    out[2 * k + 1] = 0.5f * (in[k] + in[k1]);
            }
        }
    }
    static void toRgb(const float* l, const float* u, const float* v, const yuvrows::ToRgb& k, float* r,
                      float* g, float* b, int n)
    {
        if constexpr (Kernels) {
            yuvrows::toRgb(l, u, v, k, r, g, b, n);
        } else {
            for (int x = 0; x < n; ++x) {
                r[x] = l[x] + k.crToR * v[x];
                g[x] = l[x] + k.cbToG * u[x] + k.crToG * v[x];
                b[x] = l[x] + k.cbToB * u[x];
            }
        }
    }
};

// Normalised values to an 8-bit frame row, four channels at a time: the
// 8-bit rounding of storeChannel's other depths.
template <bool Kernels>
void storePixels8(uint8_t* row, const FrameView& f, const float* r, const float* g, const float* b,
                  const float* a, int width)
{
    const float* rows[4];
    rows[f.redSlot()] = r;
    rows[f.greenSlot()] = g;
    rows[f.blueSlot()] = b;
    rows[f.alphaSlot()] = a;
    if constexpr (Kernels) {
        yuvrows::packPixels8(rows, row, width);
    } else {
        for (int x = 0; x < width; ++x)
            for (int s = 0; s < 4; ++s) {
                float t = rows[s][x] * 255.0f + 0.5f;
                t = t < 0.0f ? 0.0f : (t > 255.0f ? 255.0f : t);
                row[x * 4 + s] = uint8_t(t);
            }
    }
}

template <int Depth, typename Sample>
void toFrameRows(const PlanarPicture& p, const FrameView& f)
{
    using Steps = RowSteps<Sample, Depth == kDepth8 && sizeof(Sample) == 1>;
    const Levels lv = levelsOf(p);
    const int w = p.width;
    const int cw = (w + (1 << p.log2ChromaW) - 1) >> p.log2ChromaW;
    const Taps tx = upTaps(w, p.log2ChromaW, p.sitingX);
    const Taps ty = upTaps(p.height, p.log2ChromaH, p.sitingY);
    // Rows of normalised values: luma (or green), the two chroma (blue, red)
    // at full width, alpha, and the chroma rows before horizontal
    // interpolation.
    std::vector<float> l(w), u(w), v(w), a(w, 1.0f), cb0(cw), cb1(cw), cr0(cw), cr1(cw);
    std::vector<float> r(w), g(w), b(w);
    const float kr = p.matrix.kr, kb = p.matrix.kb, kg = 1.0f - kr - kb;
    const float crToR = 2.0f * (1.0f - kr), cbToB = 2.0f * (1.0f - kb);
    const yuvrows::ToRgb toRgb{crToR, -kb * cbToB / kg, -kr * crToR / kg, cbToB};
    const float alphaScale = 1.0f / float(lv.maxCode);
    const bool halfCoSited = p.log2ChromaW == 1 && p.sitingX == Siting::CoSited;
    auto plane = [&](int i, int row) { return p.data[i] + ptrdiff_t(p.linesize[i]) * row; };

    for (int y = 0; y < p.height; ++y) {
        uint8_t* out = f.row(y);
        if (p.alpha)
            Steps::load(plane(3, y), a.data(), w, 0.0f, alphaScale);
        if (p.rgb) {
            Steps::load(plane(0, y), g.data(), w, 0.0f, lv.yScale);
            Steps::load(plane(1, y), b.data(), w, 0.0f, lv.yScale);
            Steps::load(plane(2, y), r.data(), w, 0.0f, lv.yScale);
        } else {
            Steps::load(plane(0, y), l.data(), w, lv.yOffset, lv.yScale);
            // The chroma rows around this luma row, mixed vertically.
            const int j0 = ty.i0[y], j1 = ty.i1[y];
            const float wy = ty.w[y];
            Steps::load(plane(1, j0), cb0.data(), cw, lv.cOffset, lv.cScale);
            Steps::load(plane(2, j0), cr0.data(), cw, lv.cOffset, lv.cScale);
            if (wy != 0.0f) {
                Steps::load(plane(1, j1), cb1.data(), cw, lv.cOffset, lv.cScale);
                Steps::load(plane(2, j1), cr1.data(), cw, lv.cOffset, lv.cScale);
                Steps::mix(cb0.data(), cb1.data(), wy, cw);
                Steps::mix(cr0.data(), cr1.data(), wy, cw);
            }
            // Then horizontally: co-sited half-width chroma (the common
            // case) without tables.
            if (halfCoSited) {
                Steps::upCoSited2(cb0.data(), cw, u.data(), w);
                Steps::upCoSited2(cr0.data(), cw, v.data(), w);
            } else {
                for (int x = 0; x < w; ++x) {
                    const int i0 = tx.i0[x], i1 = tx.i1[x];
                    u[x] = cb0[i0] + tx.w[x] * (cb0[i1] - cb0[i0]);
                    v[x] = cr0[i0] + tx.w[x] * (cr0[i1] - cr0[i0]);
                }
            }
            Steps::toRgb(l.data(), u.data(), v.data(), toRgb, r.data(), g.data(), b.data(), w);
        }
        if constexpr (Depth == kDepth8) {
            storePixels8<sizeof(Sample) == 1>(out, f, r.data(), g.data(), b.data(), a.data(), w);
        } else {
            storeChannel<Depth>(out, f.redSlot(), r.data(), w);
            storeChannel<Depth>(out, f.greenSlot(), g.data(), w);
            storeChannel<Depth>(out, f.blueSlot(), b.data(), w);
            storeChannel<Depth>(out, f.alphaSlot(), a.data(), w);
        }
    }
}

template <int Depth>
void toFrame(const PlanarPicture& p, const FrameView& f)
{
    if (p.bits > 8)
        toFrameRows<Depth, uint16_t>(p, f);
    else
        toFrameRows<Depth, uint8_t>(p, f);
}

template <int Depth>
void fromFrame(const FrameView& f, const PlanarPicture& p)
{
    using S = Store<Depth>;
    const Levels lv = levelsOf(p);
    const bool wide = p.bits > 8;
    // 8-bit worlds into 8-bit planes go through the vector kernels, which
    // give what the per-sample code below gives.
    const bool kernels = Depth == kDepth8 && !wide;
    const int rs = f.redSlot(), gs = f.greenSlot(), bs = f.blueSlot(), as = f.alphaSlot();
    const float maxCode = float(lv.maxCode);
    const float kr = p.matrix.kr, kb = p.matrix.kb, kg = 1.0f - kr - kb;
    const float toCb = 1.0f / (2.0f * (1.0f - kb)), toCr = 1.0f / (2.0f * (1.0f - kr));
    const yuvrows::FromRgb split{rs, gs, bs, kr, kg, kb, lv.yScale, lv.yOffset, toCb, toCr};

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
        if (kernels) {
            yuvrows::splitPixels8(in, p.width, split, row0, cbr, crr);
            for (int x = 0; arow && x < p.width; ++x)
                writeCode(arow, x, false, S::get(in + x * S::kSize, as) * maxCode, lv.maxCode);
            continue;
        }
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
    std::vector<float> colB(p.width), colR(p.width), subB(cw), subR(cw);
    const bool halfCoSited = p.log2ChromaW == 1 && p.sitingX == Siting::CoSited;
    for (size_t j = 0; j < fy.taps.size(); ++j) {
        std::fill(colB.begin(), colB.end(), 0.0f);
        std::fill(colR.begin(), colR.end(), 0.0f);
        for (const auto& [row, w] : fy.taps[j]) {
            const float* b = &cbFull[size_t(row) * p.width];
            const float* r = &crFull[size_t(row) * p.width];
            if (kernels) {
                yuvrows::accumulate(colB.data(), b, w, p.width);
                yuvrows::accumulate(colR.data(), r, w, p.width);
                continue;
            }
            for (int x = 0; x < p.width; ++x) {
                colB[x] += w * b[x];
                colR[x] += w * r[x];
            }
        }
        uint8_t* brow = p.data[1] + ptrdiff_t(p.linesize[1]) * j;
        uint8_t* rrow = p.data[2] + ptrdiff_t(p.linesize[2]) * j;
        if (kernels && halfCoSited) {
            yuvrows::downCoSited2(colB.data(), p.width, subB.data());
            yuvrows::downCoSited2(colR.data(), p.width, subR.data());
            yuvrows::storeCodes8(subB.data(), cw, lv.cScale, lv.cOffset, brow);
            yuvrows::storeCodes8(subR.data(), cw, lv.cScale, lv.cOffset, rrow);
            continue;
        }
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
