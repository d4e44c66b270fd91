// The parameter snapshot taken before each render: the host's current values
// in the form the shaders consume, the table of layer worlds, and the
// description's hide/show state pushed to the host's streams.
#pragma once

#include "gl/EffectData.h"
#include "sdk/AE_Effect.h"

// Writes values[i], layers[1..] and the stream visibility of every described
// parameter i >= 1 from params[i] (the checked-out parameters, indexed like
// the description; a parameter without a host control gets its described
// default). `input` is not read; `output` is the layer points lie on when
// slot 0 holds no input. Layer slots 1.. are cleared
// first; without the plug-in's global data nothing more is written and
// PF_Err_INTERNAL_STRUCT_DAMAGED is returned, so no render can run on an old
// snapshot. Stream errors are not reported: the first one only stops the
// visibility updates for the rest of the call.
PF_Err ParamsAssign(PF_InData* in_data, PF_OutData* out_data, PF_ParamDef** params, PF_LayerDef* input,
                    PF_LayerDef* output, RenderData* record);
