// Conversions of one row of pixels between the host's channel layouts and
// float RGBA, the building blocks of the pixel transfers. Each kernel is a
// template over its channel order (so every routine gets its own loop with no
// per-pixel decision) and over its store: plain, or streaming (which needs a
// 16-byte aligned destination and bypasses the cache for frames far larger
// than it). With SSE2 the bulk of a row goes through vector code and the
// last pixels (a width not a multiple of the vector width) through the
// scalar conversions below, which define the results.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#define GLFX_TRANSFER_SSE2 1
#endif

namespace rowkernels {

// Scale of an 8-bit channel into 0..1: the float just above 1/255, so that a
// value read in and written back with truncation comes out as itself.
constexpr float kScale8 = 0.003921569f;
// Scale of a 16-bit channel (the host's 16-bit range is 0..32768).
constexpr float kScale16 = 1.0f / 32768.0f;

// The 8-bit clamp: above 1 gives 255, below 0 (or not a number) 0, else the
// integer part of v * 255.
std::uint8_t clamp8(float v);
// The 16-bit clamp: above 1 gives 32768, below 0 (or not a number) 0, else
// the integer part of v * 32768.
std::uint16_t clamp16(float v);
// The low 16 bits of the truncated v * 32768 (values above 1 wrap); a product
// out of the 32-bit range, or not a number, truncates to INT32_MIN as the
// processor's converting instruction does.
std::uint16_t wrap16(float v);

// In: host pixels to float RGBA, f[c] = src[I_c] * scale.
// Out: float RGBA to host pixels, dst[j] = convert(f[O_j]).
// The channel orders are template arguments so that each routine gets its own
// loop without per-pixel decisions.

#ifdef GLFX_TRANSFER_SSE2
// Each vector loop asks for the memory it will read a few kilobytes ahead:
// frames come from far outside the cache (a read-back or a host world), and
// the hardware's own prefetching alone leaves the loops waiting on memory
// most of the time (measured by the transfer benchmark).
constexpr int kPrefetchAhead = 4096;
inline void prefetch(const void* p)
{
    // An address past the row's end is harmless to a prefetch; it is
    // formed as an integer so that no pointer leaves its object.
    _mm_prefetch(reinterpret_cast<const char*>(reinterpret_cast<std::uintptr_t>(p) + kPrefetchAhead),
                 _MM_HINT_T0);
}

// Stores of the vector loops. Streaming stores bypass the cache: a UHD frame
// is far larger than the cache, and a plain store would first read every
// destination line it writes. Streaming needs a 16-byte aligned destination.
template <bool Stream>
inline void storeFloats(float* p, __m128 v)
{
    if (Stream)
        _mm_stream_ps(p, v);
    else
        _mm_storeu_ps(p, v);
}
template <bool Stream>
inline void storeInts(void* p, __m128i v)
{
    if (Stream)
        _mm_stream_si128(reinterpret_cast<__m128i*>(p), v);
    else
        _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v);
}
#endif

template <bool Stream, int I0, int I1, int I2, int I3>
void rowIn8(const std::uint8_t* __restrict src, float* __restrict dst, int width)
{
    int x = 0;
#ifdef GLFX_TRANSFER_SSE2
    const __m128 k = _mm_set1_ps(kScale8);
    const __m128i zero = _mm_setzero_si128();
    for (; x + 4 <= width; x += 4) {
        prefetch(src + 4 * x);
        const __m128i px = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + 4 * x));
        const __m128i lo = _mm_unpacklo_epi8(px, zero);
        const __m128i hi = _mm_unpackhi_epi8(px, zero);
        const __m128i p[4] = {_mm_unpacklo_epi16(lo, zero), _mm_unpackhi_epi16(lo, zero),
                              _mm_unpacklo_epi16(hi, zero), _mm_unpackhi_epi16(hi, zero)};
        for (int n = 0; n < 4; ++n) {
            __m128 f = _mm_mul_ps(_mm_cvtepi32_ps(p[n]), k);
            f = _mm_shuffle_ps(f, f, _MM_SHUFFLE(I3, I2, I1, I0));
            storeFloats<Stream>(dst + 4 * (x + n), f);
        }
    }
#endif
    for (; x < width; ++x) {
        const std::uint8_t* s = src + 4 * x;
        float* d = dst + 4 * x;
        d[0] = static_cast<float>(s[I0]) * kScale8;
        d[1] = static_cast<float>(s[I1]) * kScale8;
        d[2] = static_cast<float>(s[I2]) * kScale8;
        d[3] = static_cast<float>(s[I3]) * kScale8;
    }
}

template <bool Stream, int O0, int O1, int O2, int O3>
void rowOut8(const float* __restrict src, std::uint8_t* __restrict dst, int width)
{
    int x = 0;
#ifdef GLFX_TRANSFER_SSE2
    const __m128 zero = _mm_setzero_ps();
    const __m128 one = _mm_set1_ps(1.0f);
    const __m128d k = _mm_set1_pd(255.0);
    for (; x + 4 <= width; x += 4) {
        prefetch(src + 4 * x);
        __m128i q[4];
        for (int n = 0; n < 4; ++n) {
            __m128 f = _mm_loadu_ps(src + 4 * (x + n));
            f = _mm_shuffle_ps(f, f, _MM_SHUFFLE(O3, O2, O1, O0));
            // max with zero as the second operand turns not-a-number into 0.
            f = _mm_min_ps(_mm_max_ps(f, zero), one);
            const __m128i a = _mm_cvttpd_epi32(_mm_mul_pd(_mm_cvtps_pd(f), k));
            const __m128i b = _mm_cvttpd_epi32(_mm_mul_pd(_mm_cvtps_pd(_mm_movehl_ps(f, f)), k));
            q[n] = _mm_unpacklo_epi64(a, b);
        }
        const __m128i w0 = _mm_packs_epi32(q[0], q[1]);
        const __m128i w1 = _mm_packs_epi32(q[2], q[3]);
        storeInts<Stream>(dst + 4 * x, _mm_packus_epi16(w0, w1));
    }
#endif
    for (; x < width; ++x) {
        const float* s = src + 4 * x;
        std::uint8_t* d = dst + 4 * x;
        d[0] = clamp8(s[O0]);
        d[1] = clamp8(s[O1]);
        d[2] = clamp8(s[O2]);
        d[3] = clamp8(s[O3]);
    }
}

template <bool Stream, int I0, int I1, int I2, int I3>
void rowIn16(const std::uint16_t* __restrict src, float* __restrict dst, int width)
{
    int x = 0;
#ifdef GLFX_TRANSFER_SSE2
    const __m128 k = _mm_set1_ps(kScale16);
    const __m128i zero = _mm_setzero_si128();
    for (; x + 2 <= width; x += 2) {
        prefetch(src + 4 * x);
        const __m128i px = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + 4 * x));
        __m128 a = _mm_mul_ps(_mm_cvtepi32_ps(_mm_unpacklo_epi16(px, zero)), k);
        __m128 b = _mm_mul_ps(_mm_cvtepi32_ps(_mm_unpackhi_epi16(px, zero)), k);
        a = _mm_shuffle_ps(a, a, _MM_SHUFFLE(I3, I2, I1, I0));
        b = _mm_shuffle_ps(b, b, _MM_SHUFFLE(I3, I2, I1, I0));
        storeFloats<Stream>(dst + 4 * x, a);
        storeFloats<Stream>(dst + 4 * x + 4, b);
    }
#endif
    for (; x < width; ++x) {
        const std::uint16_t* s = src + 4 * x;
        float* d = dst + 4 * x;
        d[0] = static_cast<float>(s[I0]) * kScale16;
        d[1] = static_cast<float>(s[I1]) * kScale16;
        d[2] = static_cast<float>(s[I2]) * kScale16;
        d[3] = static_cast<float>(s[I3]) * kScale16;
    }
}

#ifdef GLFX_TRANSFER_SSE2
// Packs two vectors of 0..65535 into unsigned 16-bit lanes (SSE2 has only a
// signed saturating pack, so the values are biased into the signed range).
inline __m128i packUnsigned16(__m128i a, __m128i b)
{
    const __m128i bias32 = _mm_set1_epi32(32768);
    const __m128i bias16 = _mm_set1_epi16(static_cast<short>(0x8000));
    const __m128i p = _mm_packs_epi32(_mm_sub_epi32(a, bias32), _mm_sub_epi32(b, bias32));
    return _mm_xor_si128(p, bias16);
}
#endif

template <bool Stream, int O0, int O1, int O2, int O3>
void rowOut16(const float* __restrict src, std::uint16_t* __restrict dst, int width)
{
    int x = 0;
#ifdef GLFX_TRANSFER_SSE2
    const __m128 zero = _mm_setzero_ps();
    const __m128 one = _mm_set1_ps(1.0f);
    const __m128 k = _mm_set1_ps(32768.0f);
    for (; x + 2 <= width; x += 2) {
        prefetch(src + 4 * x);
        __m128 a = _mm_loadu_ps(src + 4 * x);
        __m128 b = _mm_loadu_ps(src + 4 * x + 4);
        a = _mm_shuffle_ps(a, a, _MM_SHUFFLE(O3, O2, O1, O0));
        b = _mm_shuffle_ps(b, b, _MM_SHUFFLE(O3, O2, O1, O0));
        a = _mm_mul_ps(_mm_min_ps(_mm_max_ps(a, zero), one), k);
        b = _mm_mul_ps(_mm_min_ps(_mm_max_ps(b, zero), one), k);
        const __m128i p = packUnsigned16(_mm_cvttps_epi32(a), _mm_cvttps_epi32(b));
        storeInts<Stream>(dst + 4 * x, p);
    }
#endif
    for (; x < width; ++x) {
        const float* s = src + 4 * x;
        std::uint16_t* d = dst + 4 * x;
        d[0] = clamp16(s[O0]);
        d[1] = clamp16(s[O1]);
        d[2] = clamp16(s[O2]);
        d[3] = clamp16(s[O3]);
    }
}

template <bool Stream>
void rowOut16Wrap(const float* __restrict src, std::uint16_t* __restrict dst, int width)
{
    int x = 0;
#ifdef GLFX_TRANSFER_SSE2
    const __m128 k = _mm_set1_ps(32768.0f);
    for (; x + 2 <= width; x += 2) {
        prefetch(src + 4 * x);
        // Truncate, then keep the low 16 bits of each lane (sign-extended so
        // that the signed pack passes them through unchanged).
        __m128i a = _mm_cvttps_epi32(_mm_mul_ps(_mm_loadu_ps(src + 4 * x), k));
        __m128i b = _mm_cvttps_epi32(_mm_mul_ps(_mm_loadu_ps(src + 4 * x + 4), k));
        a = _mm_srai_epi32(_mm_slli_epi32(a, 16), 16);
        b = _mm_srai_epi32(_mm_slli_epi32(b, 16), 16);
        storeInts<Stream>(dst + 4 * x, _mm_packs_epi32(a, b));
    }
#endif
    for (; x < width; ++x) {
        const float* s = src + 4 * x;
        std::uint16_t* d = dst + 4 * x;
        d[0] = wrap16(s[0]);
        d[1] = wrap16(s[1]);
        d[2] = wrap16(s[2]);
        d[3] = wrap16(s[3]);
    }
}

// Float pixels: a pure reordering, bit for bit.
template <bool Stream, int P0, int P1, int P2, int P3>
void rowShuffleFloat(const float* __restrict src, float* __restrict dst, int width)
{
    int x = 0;
#ifdef GLFX_TRANSFER_SSE2
    for (; x + 2 <= width; x += 2) {
        prefetch(src + 4 * x);
        __m128 a = _mm_loadu_ps(src + 4 * x);
        __m128 b = _mm_loadu_ps(src + 4 * x + 4);
        storeFloats<Stream>(dst + 4 * x, _mm_shuffle_ps(a, a, _MM_SHUFFLE(P3, P2, P1, P0)));
        storeFloats<Stream>(dst + 4 * x + 4, _mm_shuffle_ps(b, b, _MM_SHUFFLE(P3, P2, P1, P0)));
    }
#endif
    for (; x < width; ++x) {
        std::uint32_t px[4];
        std::memcpy(px, src + 4 * x, sizeof px);
        const std::uint32_t out[4] = {px[P0], px[P1], px[P2], px[P3]};
        std::memcpy(dst + 4 * x, out, sizeof out);
    }
}

} // namespace rowkernels
