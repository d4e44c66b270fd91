// Lazy creation of an instance's GPU side.
#pragma once

#include "gl/EffectData.h"

// Gives the instance a new AE_GL_Context on the process-wide description with
// a live offscreen context, resets its per-layer bookkeeping and fills a new
// definitions map. Compiles nothing.
void vInitContext(EffectData* data);
