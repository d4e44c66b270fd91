/* Image buffers the host owns, as it hands them to an effect. */
#pragma once

#include "sdk/AE_Effect.h"
#include "sdk/PrSDKPixelFormat.h"

#include <cstdint>
#include <vector>

namespace glfxhost {

/* An image buffer the host owns, with its PF_LayerDef. Rows are `rowbytes`
   apart: width × pixel size plus a padding (16 bytes unless told otherwise),
   so an effect that assumes packed rows goes wrong visibly. Depth 8
   (PF_Pixel, 0..255), 16 (PF_Pixel16, 0..32768) or 32 (PF_PixelFloat).
   Memory order alpha, red, green, blue; an 8-bit world may instead be in
   Premiere's blue, green, red, alpha order. A default-constructed World is
   empty: data null, size 0 × 0 (what an unset layer parameter shows). */
class World {
public:
    static constexpr int kDefaultPadding = 16;

    World();
    /* Throws std::invalid_argument for a bad size or depth, a BGRA world that
       is not 8-bit, or a padding that is negative or not a whole number of
       channels. Pixels start transparent black. */
    World(int width, int height, int depth, bool bgra = false, int padding = kDefaultPadding);
    World(World&& other) noexcept;
    World& operator=(World&& other) noexcept;
    World(const World&) = delete;
    World& operator=(const World&) = delete;
    ~World();

    bool empty() const { return def_.data == nullptr; }
    int width() const { return def_.width; }
    int height() const { return def_.height; }
    int depth() const { return depth_; }
    bool bgra() const { return bgra_; }
    int rowbytes() const { return def_.rowbytes; }
    /* Bytes of one pixel: 4, 8 or 16. */
    int pixelSize() const;

    PF_LayerDef* def() { return &def_; }
    const PF_LayerDef* def() const { return &def_; }

    /* The code PF_GetPixelFormat of the world suite answers: ARGB32, ARGB64 or
       ARGB128 (an 8-bit BGRA world also answers ARGB32, as Premiere does; its
       real layout is told by premierePixelFormat). */
    PF_PixelFormat pixelFormat() const;
    /* The code of the pixel format suite: PrPixelFormat_BGRA_4444_8u for a
       BGRA world, the world suite's code otherwise. */
    PrPixelFormat premierePixelFormat() const;

    uint8_t* row(int y);
    const uint8_t* row(int y) const;

    /* One pixel as normalised red, green, blue, alpha (8-bit / 255, 16-bit /
       32768, float as stored). Out-of-range coordinates throw
       std::out_of_range. Writing rounds to the nearest step and clamps
       integer depths to their range; floats are stored as given. */
    void getPixel(int x, int y, float rgba[4]) const;
    void setPixel(int x, int y, const float rgba[4]);

    /* The whole image as packed normalised RGBA floats, top row first, and
       back (the vector must hold width × height × 4 floats, else
       std::invalid_argument). */
    std::vector<float> toRGBA() const;
    void fromRGBA(const std::vector<float>& rgba);
    void fill(float r, float g, float b, float a);

    /* The padding bytes after each row are set to this value at creation; a
       caller can check they were not written (see paddingIntact). */
    static constexpr uint8_t kPaddingByte = 0xA5;
    bool paddingIntact() const;

    /* Whether `w` is a World alive now (the host finds the World of a
       PF_LayerDef through its reserved0 and checks it here first). */
    static bool isLive(const World* w);

private:
    void reset();
    PF_LayerDef def_{}; // data points into storage_; reserved0 points at this World
    int depth_ = 8;
    bool bgra_ = false;
    uint8_t* storage_ = nullptr; // 64-byte aligned rows: allocated by the constructor, freed by reset()
};

} // namespace glfxhost
