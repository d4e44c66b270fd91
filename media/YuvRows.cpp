#include "media/YuvRows.h"

#include <algorithm>

#if defined(__SSE2__)
#include <emmintrin.h>
#define GLFX_YUV_SSE2 1
#endif

namespace media::yuvrows {

namespace {

// Round to nearest and clamp to 0..255 as the general code does it
// (floor(v + 0.5) clamped): clamping first and truncating after gives the
// same integer, and turns not-a-number into 0.
inline uint8_t code8(float v)
{
    const float t = std::min(255.0f, std::max(0.0f, v + 0.5f));
    return uint8_t(t);
}

#ifdef GLFX_YUV_SSE2
// The same for four values, as 32-bit integers.
inline __m128i codes8(__m128 v)
{
    const __m128 t =
        _mm_min_ps(_mm_max_ps(_mm_add_ps(v, _mm_set1_ps(0.5f)), _mm_setzero_ps()), _mm_set1_ps(255.0f));
    return _mm_cvttps_epi32(t);
}

// Four 8-bit codes (the low bytes of four 32-bit lanes) to floats.
inline __m128 bytesToFloats(const uint8_t* p)
{
    int word;
    __builtin_memcpy(&word, p, 4);
    const __m128i zero = _mm_setzero_si128();
    const __m128i b = _mm_cvtsi32_si128(word);
    return _mm_cvtepi32_ps(_mm_unpacklo_epi16(_mm_unpacklo_epi8(b, zero), zero));
}

// Four 32-bit lanes holding 0..255 to four bytes.
inline void storeBytes(uint8_t* p, __m128i v)
{
    const __m128i packed = _mm_packus_epi16(_mm_packs_epi32(v, v), v);
    const int word = _mm_cvtsi128_si32(packed);
    __builtin_memcpy(p, &word, 4);
}
#endif

} // namespace

void loadCodes8(const uint8_t* in, float* out, int n, float offset, float scale)
{
    int x = 0;
#ifdef GLFX_YUV_SSE2
    const __m128 o = _mm_set1_ps(offset), s = _mm_set1_ps(scale);
    for (; x + 4 <= n; x += 4)
        _mm_storeu_ps(out + x, _mm_mul_ps(_mm_sub_ps(bytesToFloats(in + x), o), s));
#endif
    for (; x < n; ++x)
        out[x] = (float(in[x]) - offset) * scale;
}

void accumulate(float* acc, const float* in, float w, int n)
{
    int x = 0;
#ifdef GLFX_YUV_SSE2
    const __m128 wv = _mm_set1_ps(w);
    for (; x + 4 <= n; x += 4)
        _mm_storeu_ps(acc + x, _mm_add_ps(_mm_loadu_ps(acc + x), _mm_mul_ps(wv, _mm_loadu_ps(in + x))));
#endif
    for (; x < n; ++x)
        acc[x] += w * in[x];
}

void mix(float* a, const float* b, float w, int n)
{
    int x = 0;
#ifdef GLFX_YUV_SSE2
    const __m128 wv = _mm_set1_ps(w);
    for (; x + 4 <= n; x += 4) {
        const __m128 av = _mm_loadu_ps(a + x);
        _mm_storeu_ps(a + x, _mm_add_ps(av, _mm_mul_ps(wv, _mm_sub_ps(_mm_loadu_ps(b + x), av))));
    }
#endif
    for (; x < n; ++x)
        a[x] += w * (b[x] - a[x]);
}

void upCoSited2(const float* in, int subWidth, float* out, int width)
{
    int k = 0;
#ifdef GLFX_YUV_SSE2
    // Four chroma samples give eight outputs; the next four are read for the
    // odd outputs, so the vector loop stops one sample short of the end.
    const __m128 half = _mm_set1_ps(0.5f);
    for (; k + 5 <= subWidth && 2 * k + 8 <= width; k += 4) {
        const __m128 a = _mm_loadu_ps(in + k);
        const __m128 mid = _mm_mul_ps(half, _mm_add_ps(a, _mm_loadu_ps(in + k + 1)));
        _mm_storeu_ps(out + 2 * k, _mm_unpacklo_ps(a, mid));
        _mm_storeu_ps(out + 2 * k + 4, _mm_unpackhi_ps(a, mid));
    }
#endif
    for (; k < subWidth; ++k) {
        const int k1 = k + 1 < subWidth ? k + 1 : k;
        out[2 * k] = in[k];
        if (2 * k + 1 < width)
            out[2 * k + 1] = 0.5f * (in[k] + in[k1]);
    }
}

void toRgb(const float* l, const float* cb, const float* cr, const ToRgb& k, float* r, float* g, float* b,
           int n)
{
    int x = 0;
#ifdef GLFX_YUV_SSE2
    const __m128 crToR = _mm_set1_ps(k.crToR), cbToG = _mm_set1_ps(k.cbToG), crToG = _mm_set1_ps(k.crToG),
                 cbToB = _mm_set1_ps(k.cbToB);
    for (; x + 4 <= n; x += 4) {
        const __m128 lv = _mm_loadu_ps(l + x), u = _mm_loadu_ps(cb + x), v = _mm_loadu_ps(cr + x);
        _mm_storeu_ps(r + x, _mm_add_ps(lv, _mm_mul_ps(crToR, v)));
        _mm_storeu_ps(g + x, _mm_add_ps(_mm_add_ps(lv, _mm_mul_ps(cbToG, u)), _mm_mul_ps(crToG, v)));
        _mm_storeu_ps(b + x, _mm_add_ps(lv, _mm_mul_ps(cbToB, u)));
    }
#endif
    for (; x < n; ++x) {
        r[x] = l[x] + k.crToR * cr[x];
        g[x] = l[x] + k.cbToG * cb[x] + k.crToG * cr[x];
        b[x] = l[x] + k.cbToB * cb[x];
    }
}

void packPixels8(const float* const rows[4], uint8_t* out, int width)
{
    int x = 0;
#ifdef GLFX_YUV_SSE2
    const __m128 k255 = _mm_set1_ps(255.0f);
    for (; x + 4 <= width; x += 4) {
        __m128i word = _mm_setzero_si128();
        for (int s = 0; s < 4; ++s) {
            const __m128i c = codes8(_mm_mul_ps(_mm_loadu_ps(rows[s] + x), k255));
            word = _mm_or_si128(word, _mm_slli_epi32(c, 8 * s));
        }
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 4 * x), word);
    }
#endif
    for (; x < width; ++x)
        for (int s = 0; s < 4; ++s)
            out[4 * x + s] = code8(rows[s][x] * 255.0f);
}

void splitPixels8(const uint8_t* px, int width, const FromRgb& k, uint8_t* luma, float* cb, float* cr)
{
    constexpr float kUnit = 1.0f / 255.0f;
    int x = 0;
#ifdef GLFX_YUV_SSE2
    const __m128i low = _mm_set1_epi32(0xff);
    const __m128 unit = _mm_set1_ps(kUnit), kr = _mm_set1_ps(k.kr), kg = _mm_set1_ps(k.kg),
                 kb = _mm_set1_ps(k.kb), yScale = _mm_set1_ps(k.yScale), yOffset = _mm_set1_ps(k.yOffset),
                 toCb = _mm_set1_ps(k.toCb), toCr = _mm_set1_ps(k.toCr);
    auto channel = [&](__m128i p, int slot) {
        return _mm_mul_ps(_mm_cvtepi32_ps(_mm_and_si128(_mm_srli_epi32(p, 8 * slot), low)), unit);
    };
    for (; x + 4 <= width; x += 4) {
        const __m128i p = _mm_loadu_si128(reinterpret_cast<const __m128i*>(px + 4 * x));
        const __m128 r = channel(p, k.redSlot), g = channel(p, k.greenSlot), b = channel(p, k.blueSlot);
        const __m128 l = _mm_add_ps(_mm_add_ps(_mm_mul_ps(kr, r), _mm_mul_ps(kg, g)), _mm_mul_ps(kb, b));
        storeBytes(luma + x, codes8(_mm_add_ps(_mm_div_ps(l, yScale), yOffset)));
        _mm_storeu_ps(cb + x, _mm_mul_ps(_mm_sub_ps(b, l), toCb));
        _mm_storeu_ps(cr + x, _mm_mul_ps(_mm_sub_ps(r, l), toCr));
    }
#endif
    for (; x < width; ++x) {
        const uint8_t* p = px + 4 * x;
        const float r = p[k.redSlot] * kUnit, g = p[k.greenSlot] * kUnit, b = p[k.blueSlot] * kUnit;
        const float l = k.kr * r + k.kg * g + k.kb * b;
        luma[x] = code8(l / k.yScale + k.yOffset);
        cb[x] = (b - l) * k.toCb;
        cr[x] = (r - l) * k.toCr;
    }
}

void storeCodes8(const float* v, int n, float scale, float offset, uint8_t* out)
{
    int x = 0;
#ifdef GLFX_YUV_SSE2
    const __m128 s = _mm_set1_ps(scale), o = _mm_set1_ps(offset);
    for (; x + 4 <= n; x += 4)
        storeBytes(out + x, codes8(_mm_add_ps(_mm_div_ps(_mm_loadu_ps(v + x), s), o)));
#endif
    for (; x < n; ++x)
        out[x] = code8(v[x] / scale + offset);
}

void downCoSited2(const float* in, int width, float* out)
{
    static constexpr float kTaps[5] = {-0.125f, 0.25f, 0.75f, 0.25f, -0.125f};
    const int sub = (width + 1) / 2;
    // One output from its five taps, indices clamped to the row; the sum
    // runs from zero in tap order, as the general filter's does.
    auto edge = [&](int k) {
        float s = 0.0f;
        for (int j = 0; j < 5; ++j)
            s += kTaps[j] * in[std::min(width - 1, std::max(0, 2 * k - 2 + j))];
        return s;
    };
    int k = 0;
    for (; k < sub && k < 1; ++k)
        out[k] = edge(k);
#ifdef GLFX_YUV_SSE2
    // Four outputs k..k+3 read in[2k-2 .. 2k+9]; evens and odds of two
    // consecutive loads are the taps at one offset for all four.
    const __m128 w0 = _mm_set1_ps(kTaps[0]), w1 = _mm_set1_ps(kTaps[1]), w2 = _mm_set1_ps(kTaps[2]);
    for (; 2 * k + 10 <= width; k += 4) {
        const __m128 a = _mm_loadu_ps(in + 2 * k - 2), b = _mm_loadu_ps(in + 2 * k + 2),
                     c = _mm_loadu_ps(in + 2 * k + 6);
        const __m128 m = _mm_loadu_ps(in + 2 * k), n = _mm_loadu_ps(in + 2 * k + 4);
        const __m128 evenBefore = _mm_shuffle_ps(a, b, _MM_SHUFFLE(2, 0, 2, 0)); // in[2k-2]
        const __m128 oddBefore = _mm_shuffle_ps(a, b, _MM_SHUFFLE(3, 1, 3, 1));  // in[2k-1]
        const __m128 even = _mm_shuffle_ps(m, n, _MM_SHUFFLE(2, 0, 2, 0));       // in[2k]
        const __m128 odd = _mm_shuffle_ps(m, n, _MM_SHUFFLE(3, 1, 3, 1));        // in[2k+1]
        const __m128 evenAfter = _mm_shuffle_ps(b, c, _MM_SHUFFLE(2, 0, 2, 0));  // in[2k+2]
        __m128 s = _mm_add_ps(_mm_setzero_ps(), _mm_mul_ps(w0, evenBefore));
        s = _mm_add_ps(s, _mm_mul_ps(w1, oddBefore));
        s = _mm_add_ps(s, _mm_mul_ps(w2, even));
        s = _mm_add_ps(s, _mm_mul_ps(w1, odd));
        s = _mm_add_ps(s, _mm_mul_ps(w0, evenAfter));
        _mm_storeu_ps(out + k, s);
    }
#endif
    for (; k < sub; ++k)
        out[k] = edge(k);
}

} // namespace media::yuvrows
