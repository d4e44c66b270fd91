// Lazy creation of an instance's GPU side.
#pragma once

#include "gl/EffectData.h"

// Gives the instance a new AE_GL_Context on the process-wide description with
// a live offscreen context, resets its per-layer bookkeeping and fills a new
// definitions map, all held by the instance's owner (gl/InstanceOwner.h),
// which releases a context it already held. Compiles nothing.
void vInitContext(EffectData* data);

// The counterpart of vInitContext: releases everything the instance's owner
// holds (the programs and textures first when `uninit` is set, the offscreen
// context, the definitions map, the layer and output buffers) and leaves
// every pointer of the record null. Returns whether a context was held.
bool releaseInstance(EffectData* data, bool uninit);
