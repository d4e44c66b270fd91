// What an ISF pass gets beside the glfx uniforms: TIME, TIMEDELTA,
// FRAMEINDEX, DATE, RENDERSIZE, PASSINDEX and, per named sampler, its
// image's size, rectangle and flip uniforms; and the name each pass's
// sampler slots go by. Called from the pass loop (gl/ProcessGL.cpp).
#pragma once

#include <string>

#include "gl/EffectData.h"
#include "gl/GlApi.h"
#include "glfx/Cglfx.h"

// The frame count and last time behind FRAMEINDEX and TIMEDELTA. One per
// instance: the instance's AE_GL_Context holds it, from its creation to its
// release (a new context starts counting again).
struct IsfClock {
    int frameIndex = 0;    // FRAMEINDEX of the frame being rendered
    double lastTime = 0.0; // TIME of the last frame rendered
    bool started = false;  // a frame has been rendered

    // TIMEDELTA of a frame at `time`: 0 for the first.
    double delta(double time) const { return started ? time - lastTime : 0.0; }
    // A frame at `time` was rendered.
    void advance(double time)
    {
        lastTime = time;
        started = true;
        ++frameIndex;
    }
};

// The name the shader of pass `pass` gives input slot `slot`: the
// description's, else `fallback` ("in" + slot).
const std::string& samplerUniform(const cglfx& fx, int pass, int slot, const std::string& fallback);

// Sets the ISF uniforms of pass `pass` (of `width` x `height`) in
// `program`, the frame at `seconds`. Nothing for a glfx description.
void setIsfUniforms(GLuint program, const cglfx& fx, const EffectData& data, int pass, int width, int height,
                    double seconds, const IsfClock& clock);
