// Pixel transfer between the host's worlds and the GPU pipeline's float RGBA
// buffers. Moves pixels only: MyDoRender runs the passes between TransferIn
// and TransferOut.
//
// Host rows are `rowbytes` apart; the padding after a row is skipped in whole
// pixels (a partial pixel of padding is not skipped), by the converting and
// the direct transfers alike. Float buffers are packed: a layer buffer row
// is the layer's width, an output buffer row the output world's width.
// Buffers must already be sized (MyDoRender grows them); nothing is
// allocated here. Layers transferred: the description's first-layer index up
// to its layer count, except those a group switch left out, those missing and
// those of no area.
#pragma once

#include "gl/EffectData.h"
#include "sdk/AE_Effect.h"

enum class TransferKind {
    kNone,        // a format this effect does not take
    kArgb8,       // 8 bits, alpha red green blue; out through the 8-bit clamp
    kPremiere8,   // 8 bits, blue green red alpha (Premiere's order)
    kReversed8,   // 8 bits, the host's bytes reversed (Premiere with "fast")
    kArgb16,      // 16 bits (0..32768), alpha red green blue; out through the 16-bit clamp
    kWrap16,      // 16 bits unreordered; out keeps the low 16 bits of v * 32768 (wraps above 1)
    kArgbFloat,   // 32-bit float, alpha red green blue, bit for bit
    kDirect8,     // 8-bit bytes copied as they are ("fast")
    kDirectFloat, // float pixels copied as they are ("fast", not Premiere)
};

// The transfer for an output world of `format`, the description's "fast"
// switch and the host.
TransferKind ChooseTransfer(PF_PixelFormat format, bool fast, bool premiere);

// Every transferred layer of the record into its float buffer.
void TransferIn(TransferKind kind, EffectData* record);
// The record's output buffer into the output world.
void TransferOut(TransferKind kind, PF_LayerDef* output, EffectData* record);
