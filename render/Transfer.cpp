#include "render/Transfer.h"

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "gl/Description.h"
#include "render/RowKernels.h"

namespace {

using namespace rowkernels;

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

// Copies every transferred layer into its buffer as it is (the host's
// channel order and depth, `pixelSize` bytes a pixel), rows packed.
void directIn(EffectData* r, std::ptrdiff_t pixelSize)
{
    const LayerRange range = layerRange();
    for (int i = range.first; i < range.end; ++i) {
        const PF_LayerDef* layer = r->layers[i];
        if (r->layerSkip[i] || !layer || !layer->data || !r->layerBuffers[i] || layer->height <= 0 ||
            layer->width <= 0)
            continue;
        const std::size_t rowBytes = static_cast<std::size_t>(layer->width) * pixelSize;
        const std::ptrdiff_t step = rowStep(layer, pixelSize);
        const char* src = reinterpret_cast<const char*>(layer->data);
        char* dst = reinterpret_cast<char*>(r->layerBuffers[i]);
        for (int y = 0; y < layer->height; ++y) {
            std::memcpy(dst, src, rowBytes);
            src += step;
            dst += rowBytes;
        }
    }
}

// Copies the output buffer's packed rows into the output world as they are.
void directOut(EffectData* r, PF_LayerDef* output, std::ptrdiff_t pixelSize)
{
    if (!output || !output->data || !r->outputBuffer || output->width <= 0 || output->height <= 0)
        return;
    const std::size_t rowBytes = static_cast<std::size_t>(output->width) * pixelSize;
    const std::ptrdiff_t step = rowStep(output, pixelSize);
    const char* src = reinterpret_cast<const char*>(r->outputBuffer);
    char* dst = reinterpret_cast<char*>(output->data);
    for (int y = 0; y < output->height; ++y) {
        std::memcpy(dst, src, rowBytes);
        src += rowBytes;
        dst += step;
    }
}

#define GLFX_ROWS(fn, ...)                                                                                   \
    {                                                                                                        \
        fn<false, __VA_ARGS__>, fn<true, __VA_ARGS__>                                                        \
    }

} // namespace

TransferKind ChooseTransfer(PF_PixelFormat format, bool fast, bool premiere)
{
    switch (format) {
    case PF_PixelFormat_ARGB32:
        // The 8-bit direct transfer follows the "fast" switch alone.
        if (fast)
            return TransferKind::kDirect8;
        return premiere ? TransferKind::kPremiere8 : TransferKind::kArgb8;
    case PF_PixelFormat_ARGB64: return fast && !premiere ? TransferKind::kWrap16 : TransferKind::kArgb16;
    case PF_PixelFormat_ARGB128:
        return fast && !premiere ? TransferKind::kDirectFloat : TransferKind::kArgbFloat;
    default: return TransferKind::kNone;
    }
}

void TransferIn(TransferKind kind, EffectData* r)
{
    using u8 = std::uint8_t;
    using u16 = std::uint16_t;
    if (!r)
        return;
    switch (kind) {
    case TransferKind::kArgb8: layersIn<u8>(r, GLFX_ROWS(rowIn8, 1, 2, 3, 0)); break;
    case TransferKind::kPremiere8: layersIn<u8>(r, GLFX_ROWS(rowIn8, 2, 1, 0, 3)); break;
    case TransferKind::kReversed8: layersIn<u8>(r, GLFX_ROWS(rowIn8, 3, 2, 1, 0)); break;
    case TransferKind::kArgb16: layersIn<u16>(r, GLFX_ROWS(rowIn16, 1, 2, 3, 0)); break;
    case TransferKind::kWrap16: layersIn<u16>(r, GLFX_ROWS(rowIn16, 0, 1, 2, 3)); break;
    case TransferKind::kArgbFloat: layersIn<float>(r, GLFX_ROWS(rowShuffleFloat, 1, 2, 3, 0)); break;
    case TransferKind::kDirect8: directIn(r, 4); break;
    case TransferKind::kDirectFloat: directIn(r, 16); break;
    case TransferKind::kNone: break;
    }
}

void TransferOut(TransferKind kind, PF_LayerDef* output, EffectData* r)
{
    using u8 = std::uint8_t;
    using u16 = std::uint16_t;
    if (!r)
        return;
    switch (kind) {
    case TransferKind::kArgb8: bufferOut<u8>(r, output, GLFX_ROWS(rowOut8, 3, 0, 1, 2)); break;
    case TransferKind::kPremiere8: bufferOut<u8>(r, output, GLFX_ROWS(rowOut8, 2, 1, 0, 3)); break;
    case TransferKind::kReversed8: bufferOut<u8>(r, output, GLFX_ROWS(rowOut8, 3, 2, 1, 0)); break;
    case TransferKind::kArgb16: bufferOut<u16>(r, output, GLFX_ROWS(rowOut16, 3, 0, 1, 2)); break;
    case TransferKind::kWrap16: bufferOut<u16>(r, output, {rowOut16Wrap<false>, rowOut16Wrap<true>}); break;
    case TransferKind::kArgbFloat: bufferOut<float>(r, output, GLFX_ROWS(rowShuffleFloat, 3, 0, 1, 2)); break;
    case TransferKind::kDirect8: directOut(r, output, 4); break;
    case TransferKind::kDirectFloat: directOut(r, output, 16); break;
    case TransferKind::kNone: break;
    }
}
