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

// The converting routines, one per host depth: each converts every input
// layer into its float buffer, runs the passes when the context is ready and
// converts the output buffer into the output world (see render/Transfer.h).
// 8 bits: host order alpha, red, green, blue; under Premiere blue, green,
// red, alpha (with "fast", the channels reversed).
void Render8(PF_InData* in_data, PF_LayerDef* output, EffectData* record);
// 16 bits (0..32768), through the 16-bit clamp.
void Render16(PF_InData* in_data, PF_LayerDef* output, EffectData* record);
// 16 bits without reordering or clamping: values above 1 wrap.
void Render16_Fast(PF_InData* in_data, PF_LayerDef* output, EffectData* record);
// 32-bit float channels copied bit for bit.
void RenderFloat(PF_InData* in_data, PF_LayerDef* output, EffectData* record);

// True when the record's GPU context exists and is built and usable.
bool ContextReady(const EffectData* record);
// Runs the effect's passes on the record's buffers (pixels of GL type
// `type`, RGBA) when the context is ready; does nothing otherwise.
void RunPasses(EffectData* record, int type);
