// Planar Y'CbCr (or planar G, B, R) pictures to and from frames at the
// world's depth, with the picture's own matrix, range and chroma siting. The
// arithmetic is done per pixel in single precision; pixels never pass
// through a float image.
#pragma once

#include "media/Frame.h"

#include <cstdint>

namespace media {

// Luma coefficients of the Y'CbCr matrices in use.
struct Matrix {
    float kr, kb;
};
constexpr Matrix kBt601{0.299f, 0.114f};
constexpr Matrix kBt709{0.2126f, 0.0722f};
constexpr Matrix kBt2020{0.2627f, 0.0593f};
constexpr Matrix kSmpte240{0.212f, 0.087f};
constexpr Matrix kFcc{0.30f, 0.11f};

// Where a subsampled chroma sample sits against the luma samples it covers.
enum class Siting {
    CoSited, // on the first luma sample (horizontally: MPEG-2 and H.264's "left")
    Centre,  // between the luma samples (JPEG, MPEG-1)
};

// A planar picture as a decoder leaves it or an encoder wants it.
struct PlanarPicture {
    uint8_t* data[4] = {}; // Y, Cb, Cr, A (or G, B, R, A); samples over 8 bits are 16-bit native words
    int linesize[4] = {};  // bytes between rows of each plane
    int width = 0, height = 0;
    int bits = 8;           // significant bits a sample, 8..16
    int log2ChromaW = 0;    // horizontal chroma subsampling (1: half width)
    int log2ChromaH = 0;    // vertical chroma subsampling
    bool rgb = false;       // planes are G, B, R: no matrix, always full range
    bool alpha = false;     // plane 3 is alpha (full range)
    Matrix matrix = kBt709; // Y'CbCr only
    bool fullRange = false; // Y'CbCr only: 0..max instead of 16..235 / 16..240 scaled
    Siting sitingX = Siting::CoSited;
    Siting sitingY = Siting::Centre;
};

// Fills `to` (same size) from the picture; a picture without alpha gives
// opaque pixels. 8 and 16-bit frames are clamped to their range, float ones
// keep what the matrix gives (limited-range super-whites above 1).
void pictureToFrame(const PlanarPicture& from, const FrameView& to);

// Fills the picture's planes from `from` (same size). Chroma is filtered down
// to the picture's subsampling at its siting; alpha is written when the
// picture has it.
void frameToPicture(const FrameView& from, const PlanarPicture& to);

} // namespace media
