// The test pattern glfx render uses when no input image is given.
#pragma once

#include <vector>

namespace glfxcli {

// A width × height RGBA float pattern (top row first) made to show what an
// effect does: colour bars, a grey ramp and a hue sweep (grading, tone
// curves), skin tones, fine detail (a zone plate and one-pixel lines) for
// sharpening and blur, and bright point highlights on black for bloom and
// glare, in a frame that shows vignetting at the corners. With `overbright`
// the highlights go above 1 (for float worlds). Alpha is 1 everywhere.
std::vector<float> testPattern(int width, int height, bool overbright);

} // namespace glfxcli
