// FFmpeg frames seen as PlanarPicture: which pixel formats the converter
// reads and writes directly, and the stream's colour codes as a matrix,
// range and siting (with the defaults players use for untagged streams).
#pragma once

#include "media/YuvConvert.h"

extern "C" {
#include <libavutil/frame.h>
#include <libavutil/pixfmt.h>
}

namespace media {

// Fills the layout fields (bits, subsampling, rgb, alpha) for a planar,
// native-endian format with 8..16-bit samples; false for any other format.
bool planarLayout(AVPixelFormat format, PlanarPicture& p);

// The matrix for a colour space code; unspecified (and unknown) codes give
// BT.709 from 720 lines up and BT.601 below.
Matrix matrixFor(AVColorSpace space, int height);
// The colour space code that matrixFor settles on.
AVColorSpace settledColorSpace(AVColorSpace space, int height);

// The picture over a frame's planes with the frame's own tags; untagged:
// limited range unless the format is a full-range (JPEG) one, chroma
// co-sited horizontally and centred vertically (MPEG-2 and H.264's default)
// unless `centreDefault`.
PlanarPicture pictureOf(const AVFrame* frame, bool centreDefault);

} // namespace media
