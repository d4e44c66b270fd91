// Row kernels of the Y'CbCr conversions for 8-bit worlds and 8-bit planes,
// the case every 8-bit video render goes through twice a frame. Each kernel
// gives exactly what the general per-sample arithmetic of YuvConvert gives
// (the same single-precision operations in the same order), four samples at
// a time where SSE2 is there.
#pragma once

#include <cstdint>

namespace media::yuvrows {

// (code - offset) * scale for n 8-bit codes.
void loadCodes8(const uint8_t* in, float* out, int n, float offset, float scale);

// acc[x] += w * in[x].
void accumulate(float* acc, const float* in, float w, int n);

// a[x] += w * (b[x] - a[x]): the vertical mix of two chroma rows.
void mix(float* a, const float* b, float w, int n);

// Half-width co-sited chroma to full width: even samples are the chroma
// samples, odd ones the mean of their neighbours (the last repeats).
void upCoSited2(const float* in, int subWidth, float* out, int width);

// Y'CbCr rows to R'G'B' rows with the matrix's coefficients.
struct ToRgb {
    float crToR, cbToG, crToG, cbToB;
};
void toRgb(const float* l, const float* cb, const float* cr, const ToRgb& k, float* r, float* g, float* b,
           int n);

// Four channel rows to 8-bit pixels: byte s of pixel x is the value of
// rows[s][x] * 255 rounded to nearest and clamped to 0..255.
void packPixels8(const float* const rows[4], uint8_t* out, int width);

// 8-bit pixels to a row of luma codes and full-width colour differences.
struct FromRgb {
    int redSlot, greenSlot, blueSlot;
    float kr, kg, kb;      // luma weights
    float yScale, yOffset; // luma code = l / yScale + yOffset, rounded and clamped
    float toCb, toCr;      // Cb = (b - l) * toCb, Cr = (r - l) * toCr
};
void splitPixels8(const uint8_t* px, int width, const FromRgb& k, uint8_t* luma, float* cb, float* cr);

// Codes of n values: v / scale + offset, rounded to nearest, clamped to 0..255.
void storeCodes8(const float* v, int n, float scale, float offset, uint8_t* out);

// The half-band analysis filter down to half-width co-sited chroma (taps
// -1/8, 1/4, 3/4, 1/4, -1/8 around each even sample, edges repeated): the
// filter that upCoSited2's interpolation inverts.
void downCoSited2(const float* in, int width, float* out);

} // namespace media::yuvrows
