// One host render request turned into one frame: frame values into the
// record, a program rebuild when the definitions went stale, buffer growth
// (through the instance's owner),
// and the transfer that matches the output world's pixel format.
#pragma once

#include "gl/EffectData.h"
#include "sdk/AE_Effect.h"

// Renders into `output` from the worlds in the record's layer table (layer 0
// is the effect's input; `input` and `params` are not read). Returns the
// host's error when the world suite cannot be had, PF_Err_BAD_CALLBACK_PARAM
// for an output format it cannot handle, else PF_Err_NONE. Throws
// std::bad_alloc when a buffer cannot be allocated; the caller turns that
// into PF_Err_OUT_OF_MEMORY.
PF_Err MyDoRender(PF_InData* in_data, PF_LayerDef* input, RenderData* render, PF_OutData* out_data,
                  PF_LayerDef* output, PF_ParamDef** params);
