// A frame as the host's world lays it out, so that decoders write straight
// into a world and encoders read straight from one: rows `rowbytes` apart,
// four channels a pixel in alpha, red, green, blue memory order (or blue,
// green, red, alpha for the 8-bit Premiere layout), 8-bit 0..255, 16-bit
// 0..32768 or 32-bit float.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

namespace media {

// Channel depths a frame can have, and the white of a 16-bit channel.
constexpr int kDepth8 = 8;
constexpr int kDepth16 = 16;
constexpr int kDepth32 = 32;
constexpr int kWhite16 = 32768;

// The largest frame side and the largest frame buffer (bytes) anything here
// accepts; a header that claims more is refused before any pixel is read.
constexpr int kMaxSide = 16384;
constexpr uint64_t kMaxFrameBytes = (uint64_t(1) << 32) - 1;

// Bytes of one pixel at a depth (4, 8 or 16), 0 for a bad depth.
int pixelSize(int depth);
// Bytes a width × height frame needs at a depth, rows packed.
uint64_t frameBytes(int width, int height, int depth);

// A view of memory someone else owns (a host world, a FrameBuffer).
struct FrameView {
    uint8_t* data = nullptr;
    int width = 0;
    int height = 0;
    std::ptrdiff_t rowbytes = 0;
    int depth = kDepth8;
    bool bgra = false; // 8-bit blue, green, red, alpha memory order

    uint8_t* row(int y) const { return data + rowbytes * y; }
    // Channel slots of red, green, blue and alpha inside a pixel.
    int redSlot() const { return bgra ? 2 : 1; }
    int greenSlot() const { return bgra ? 1 : 2; }
    int blueSlot() const { return bgra ? 0 : 3; }
    int alphaSlot() const { return bgra ? 3 : 0; }
};

// A frame that owns its memory (queues between threads, tests). Rows are
// packed and 64-byte aligned.
class FrameBuffer {
public:
    FrameBuffer() = default;
    // Throws MediaError when the depth is bad or the size over the limits.
    FrameBuffer(int width, int height, int depth, bool bgra = false);
    const FrameView& view() const { return view_; }

private:
    std::unique_ptr<uint8_t[], void (*)(uint8_t*)> memory_{nullptr, nullptr}; // owned; freed with the buffer
    FrameView view_;
};

// Copies pixels between frames of one size and depth (rows may differ).
void copyFrame(const FrameView& from, const FrameView& to);

} // namespace media
