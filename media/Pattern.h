// The generated test pattern: what glfx render shows an effect with when no
// input is given.
#pragma once

#include "media/Frame.h"

#include <vector>

namespace media {

// A width × height RGBA float pattern (top row first) made to show what an
// effect does: colour bars, a grey ramp and a hue sweep (grading, tone
// curves), skin tones, fine detail (a zone plate and one-pixel lines) for
// sharpening and blur, and bright point highlights on black for bloom and
// glare, in a frame that shows vignetting at the corners. With `overbright`
// the highlights go above 1 (for float worlds). Alpha is 1 everywhere.
std::vector<float> testPattern(int width, int height, bool overbright);

// The pattern drawn into a frame at its depth (overbright for float frames).
void drawPattern(const FrameView& to);

} // namespace media
