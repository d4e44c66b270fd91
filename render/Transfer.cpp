#include "render/Transfer.h"

#include <epoxy/gl.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#define GLFX_TRANSFER_SSE2 1
#endif

#include "gl/AE_GL_Context.h"
#include "gl/Description.h"

namespace {

// Layer indices that take part in a transfer: from the description's first
// layer index ("noinput") up to its layer count, within the record's table.
struct LayerRange {
    int first;
    int end;
};

LayerRange layerRange()
{
    const glfxsettings& s = glfxDescription().settings;
    LayerRange r{s.noinput, s.layerCount};
    if (r.first < 0)
        r.first = 0;
    if (r.end > glfxlimits::kMaxInputs)
        r.end = glfxlimits::kMaxInputs;
    return r;
}

// Bytes from the start of one host row to the start of the next: the row's
// pixels plus its padding, the padding counted in whole pixels only.
inline std::ptrdiff_t rowStep(const PF_LayerDef* world, std::ptrdiff_t pixelSize)
{
    const std::ptrdiff_t used = static_cast<std::ptrdiff_t>(world->width) * pixelSize;
    const std::ptrdiff_t padding = static_cast<std::ptrdiff_t>(world->rowbytes) - used;
    return used + (padding / pixelSize) * pixelSize;
}

// ---- Conversions of one row ------------------------------------------------
// In: host pixels to float RGBA, f[c] = src[I_c] * scale.
// Out: float RGBA to host pixels, dst[j] = convert(f[O_j]).
// The channel orders are template arguments so that each routine gets its own
// loop without per-pixel decisions.

// The 8-bit clamp. The product is taken in double, where v * 255 is exact, so
// the truncation gives the integer part of the true product.
inline std::uint8_t clamp8(float v)
{
    if (v > 1.0f)
        return 255;
    if (!(v >= 0.0f))
        return 0; // negative, or not a number
    return static_cast<std::uint8_t>(static_cast<int>(static_cast<double>(v) * 255.0));
}

inline std::uint16_t clamp16(float v)
{
    if (v > 1.0f)
        return 32768;
    if (!(v >= 0.0f))
        return 0;
    return static_cast<std::uint16_t>(static_cast<int>(v * 32768.0f));
}

// Truncation to a 32-bit integer as the processor's converting instruction
// does it: a value out of range, or not a number, gives INT32_MIN.
inline std::int32_t truncWrap(float v)
{
    if (!(v >= -2147483648.0f && v < 2147483648.0f))
        return INT32_MIN;
    return static_cast<std::int32_t>(v);
}

inline std::uint16_t wrap16(float v)
{
    return static_cast<std::uint16_t>(static_cast<std::uint32_t>(truncWrap(v * 32768.0f)) & 0xFFFFu);
}

#ifdef GLFX_TRANSFER_SSE2
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

// ---- Whole frames ----------------------------------------------------------

// Frames above this many destination bytes are written with streaming stores.
constexpr std::size_t kStreamBytes = std::size_t(4) << 20;

template <typename Src, typename Dst>
struct RowFns {
    void (*plain)(const Src*, Dst*, int);
    void (*stream)(const Src*, Dst*, int);
};

inline bool aligned16(const void* p) { return (reinterpret_cast<std::uintptr_t>(p) & 15u) == 0; }

inline void finishStreaming()
{
#ifdef GLFX_TRANSFER_SSE2
    _mm_sfence(); // make the streamed stores visible before the buffers are used
#endif
}

// Converts every transferred layer into its float buffer.
template <typename HostChannel>
void layersIn(EffectData* r, RowFns<HostChannel, float> row)
{
    const LayerRange range = layerRange();
    const std::ptrdiff_t pixelSize = 4 * static_cast<std::ptrdiff_t>(sizeof(HostChannel));
    for (int i = range.first; i < range.end; ++i) {
        const PF_LayerDef* layer = r->layers[i];
        float* buffer = r->layerBuffers[i];
        if (r->layerSkip[i] || !layer || !buffer || !layer->data || layer->height <= 0 || layer->width <= 0)
            continue;
        const int width = layer->width;
        const std::size_t bufferBytes = static_cast<std::size_t>(width) * layer->height * 16;
        // Buffer rows are whole pixels of 16 bytes, so an aligned buffer
        // keeps every row aligned.
        const auto fn = bufferBytes >= kStreamBytes && aligned16(buffer) ? row.stream : row.plain;
        const std::ptrdiff_t step = rowStep(layer, pixelSize);
        const char* src = reinterpret_cast<const char*>(layer->data);
        float* dst = buffer;
        for (int y = 0; y < layer->height; ++y) {
            fn(reinterpret_cast<const HostChannel*>(src), dst, width);
            src += step;
            dst += 4 * static_cast<std::ptrdiff_t>(width);
        }
    }
    finishStreaming();
}

// Converts the record's output buffer into the output world.
template <typename HostChannel>
void bufferOut(EffectData* r, PF_LayerDef* output, RowFns<float, HostChannel> row)
{
    if (!output || !output->data || !r->outputBuffer || output->width <= 0 || output->height <= 0)
        return;
    const int width = output->width;
    const std::ptrdiff_t pixelSize = 4 * static_cast<std::ptrdiff_t>(sizeof(HostChannel));
    const std::ptrdiff_t step = rowStep(output, pixelSize);
    const bool large = static_cast<std::size_t>(width) * output->height * pixelSize >= kStreamBytes;
    const float* src = r->outputBuffer;
    char* dst = reinterpret_cast<char*>(output->data);
    for (int y = 0; y < output->height; ++y) {
        const auto fn = large && aligned16(dst) ? row.stream : row.plain;
        fn(src, reinterpret_cast<HostChannel*>(dst), width);
        src += 4 * static_cast<std::ptrdiff_t>(width);
        dst += step;
    }
    finishStreaming();
}

template <typename HostChannel>
void transfer(PF_LayerDef* output, EffectData* r, RowFns<HostChannel, float> in,
              RowFns<float, HostChannel> out)
{
    if (!r)
        return;
    layersIn<HostChannel>(r, in);
    RunPasses(r);
    bufferOut<HostChannel>(r, output, out);
}

#define GLFX_ROWS(fn, ...)                                                                                   \
    {                                                                                                        \
        fn<false, __VA_ARGS__>, fn<true, __VA_ARGS__>                                                        \
    }

} // namespace

bool ContextReady(const EffectData* record)
{
    const AE_GL_Context* ctx = record ? record->glContext : nullptr;
    return ctx && ctx->initialised && ctx->ok;
}

void RunPasses(EffectData* record)
{
    if (ContextReady(record))
        record->glContext->ProcessGL(record, GL_RGBA, GL_FLOAT);
}

void Render8(PF_InData*, PF_LayerDef* output, EffectData* record)
{
    using u8 = std::uint8_t;
    if (!record)
        return;
    if (!record->isPremiere) {
        // alpha, red, green, blue
        transfer<u8>(output, record, GLFX_ROWS(rowIn8, 1, 2, 3, 0), GLFX_ROWS(rowOut8, 3, 0, 1, 2));
    } else if (!glfxDescription().settings.fast) {
        // blue, green, red, alpha
        transfer<u8>(output, record, GLFX_ROWS(rowIn8, 2, 1, 0, 3), GLFX_ROWS(rowOut8, 2, 1, 0, 3));
    } else {
        // the host's bytes reversed, as the "fast" shaders expect them
        transfer<u8>(output, record, GLFX_ROWS(rowIn8, 3, 2, 1, 0), GLFX_ROWS(rowOut8, 3, 2, 1, 0));
    }
}

void Render16(PF_InData*, PF_LayerDef* output, EffectData* record)
{
    transfer<std::uint16_t>(output, record, GLFX_ROWS(rowIn16, 1, 2, 3, 0), GLFX_ROWS(rowOut16, 3, 0, 1, 2));
}

void Render16_Fast(PF_InData*, PF_LayerDef* output, EffectData* record)
{
    transfer<std::uint16_t>(output, record, GLFX_ROWS(rowIn16, 0, 1, 2, 3),
                            {rowOut16Wrap<false>, rowOut16Wrap<true>});
}

void RenderFloat(PF_InData*, PF_LayerDef* output, EffectData* record)
{
    transfer<float>(output, record, GLFX_ROWS(rowShuffleFloat, 1, 2, 3, 0),
                    GLFX_ROWS(rowShuffleFloat, 3, 0, 1, 2));
}
