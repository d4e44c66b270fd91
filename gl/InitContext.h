// Lazy creation of an instance's GPU side.
#pragma once

#include "gl/EffectData.h"

// Gives the instance a new AE_GL_Context on the process-wide description with
// a live offscreen context, resets its per-layer bookkeeping and fills a new
// definitions map. Compiles nothing.
void vInitContext(EffectData* data);

// The counterpart of vInitContext: deletes the programs and textures when
// `uninit` is set, closes the offscreen context, deletes the AE_GL_Context and
// the definitions map, and leaves both pointers null. Returns whether a
// context was held. Layer and output buffers are not touched.
bool releaseContext(EffectData* data, bool uninit);
