#include "media/Frame.h"

#include "media/MediaError.h"

#include <cstdlib>
#include <cstring>
#include <string>

namespace media {

int pixelSize(int depth)
{
    switch (depth) {
    case kDepth8: return 4;
    case kDepth16: return 8;
    case kDepth32: return 16;
    default: return 0;
    }
}

uint64_t frameBytes(int width, int height, int depth)
{
    if (width <= 0 || height <= 0)
        return 0;
    return uint64_t(width) * uint64_t(height) * uint64_t(pixelSize(depth));
}

FrameBuffer::FrameBuffer(int width, int height, int depth, bool bgra)
{
    if (pixelSize(depth) == 0 || (bgra && depth != kDepth8))
        throw MediaError("frame depth " + std::to_string(depth) + " is not 8, 16 or 32");
    if (width <= 0 || height <= 0 || width > kMaxSide || height > kMaxSide ||
        frameBytes(width, height, depth) > kMaxFrameBytes)
        throw MediaError("frame " + std::to_string(width) + "x" + std::to_string(height) +
                         " is over the size limit");
    const size_t rowbytes = (size_t(width) * pixelSize(depth) + 63) / 64 * 64;
    void* p = std::aligned_alloc(64, rowbytes * size_t(height));
    if (!p)
        throw MediaError("out of memory for a " + std::to_string(width) + "x" + std::to_string(height) +
                         " frame");
    std::memset(p, 0, rowbytes * size_t(height));
    memory_ = {static_cast<uint8_t*>(p), [](uint8_t* q) { std::free(q); }};
    view_ = {memory_.get(), width, height, static_cast<std::ptrdiff_t>(rowbytes), depth, bgra};
}

void copyFrame(const FrameView& from, const FrameView& to)
{
    const size_t bytes = size_t(from.width) * pixelSize(from.depth);
    for (int y = 0; y < from.height; ++y)
        std::memcpy(to.row(y), from.row(y), bytes);
}

} // namespace media
