// Rectangle helpers on the host's (left, top, right, bottom) rectangles, and
// the per-pixel hooks of the three host depths.
#pragma once

#include "gl/EffectData.h"
#include "sdk/AE_Effect.h"

// True when the rectangle encloses no pixel (left >= right or top >= bottom).
bool IsEmptyRect(const PF_LRect* r);

// Grows dst to the bounding box of dst and src. An empty dst takes src as it
// is; an empty src leaves dst unchanged.
void UnionLRect(const PF_LRect* src, PF_LRect* dst);

// True when (x, y) lies on the border of r: on its left or right column
// between top and bottom, or on its top or bottom row between left and right
// (all bounds inclusive).
bool IsEdgePixel(PF_LRect* r, int x, int y);

// Per-pixel hooks, one per host depth. They leave the pixel as it is; the
// transfers do not call them (the GPU passes do the per-pixel work).
void Process(int x, int y, PF_Pixel* p, RenderData* r);
void Process(int x, int y, PF_Pixel16* p, RenderData* r);
void Process(int x, int y, PF_PixelFloat* p, RenderData* r);
