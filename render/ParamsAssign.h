// The parameter snapshot taken before each render: the host's current values
// in the form the shaders consume, the table of layer worlds, and the
// description's hide/show state pushed to the host's streams.
#pragma once

#include "gl/EffectData.h"
#include "sdk/AE_Effect.h"

// Writes values[i], layers[1..] and the stream visibility of every described
// parameter i >= 1 from params[i] (the host's array indexed like the
// description). `input` and `output` are not read. Does nothing without the
// plug-in's global data or a record. Host errors are not reported: the first
// one only stops the visibility updates for the rest of the call.
void ParamsAssign(PF_InData* in_data, PF_OutData* out_data, PF_ParamDef** params, PF_LayerDef* input,
                  PF_LayerDef* output, RenderData* record);
