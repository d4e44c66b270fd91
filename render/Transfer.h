// Pixel transfer between the host's worlds and the GPU pipeline's float RGBA
// buffers, one routine per host depth. Each routine converts every input
// layer of the record into its float buffer, runs the effect's passes when
// the record's GPU context is ready, and converts the record's output buffer
// into the output world.
//
// Host rows are `rowbytes` apart; the padding after a row is skipped in whole
// pixels (a partial pixel of padding is not skipped). Float buffers are
// packed: a layer buffer row is the layer's width, an output buffer row the
// output world's width. Buffers must already be sized (MyDoRender grows
// them); nothing is allocated here.
#pragma once

#include "gl/EffectData.h"
#include "sdk/AE_Effect.h"

// Scale of an 8-bit channel into 0..1: the float just above 1/255, so that a
// value read in and written back with truncation comes out as itself.
constexpr float kScale8 = 0.003921569f;
// Scale of a 16-bit channel (the host's 16-bit range is 0..32768).
constexpr float kScale16 = 1.0f / 32768.0f;

// 8 bits a channel. Host order alpha, red, green, blue; under Premiere blue,
// green, red, alpha (with the description's "fast" switch on, the channels
// are handed over reversed). Output through the 8-bit clamp: above 1 gives
// 255, below 0 gives 0, else the integer part of v * 255.
void Render8(PF_InData* in_data, PF_LayerDef* output, EffectData* record);
// 16 bits a channel, alpha, red, green, blue. Output through the 16-bit clamp:
// above 1 gives 32768, below 0 gives 0, else the integer part of v * 32768.
void Render16(PF_InData* in_data, PF_LayerDef* output, EffectData* record);
// 16 bits a channel without reordering or clamping: the output keeps the low
// 16 bits of the truncated v * 32768, so values above 1 wrap.
void Render16_Fast(PF_InData* in_data, PF_LayerDef* output, EffectData* record);
// 32-bit float channels, alpha, red, green, blue, copied bit for bit.
void RenderFloat(PF_InData* in_data, PF_LayerDef* output, EffectData* record);

// True when the record's GPU context exists and is built and usable.
bool ContextReady(const EffectData* record);

// Runs the effect's passes on the record's buffers (float RGBA out) when the
// context is ready; does nothing otherwise.
void RunPasses(EffectData* record);
