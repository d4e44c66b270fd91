// The plug-in's one exported function.
#pragma once

#include "sdk/AE_Effect.h"

extern "C" __attribute__((visibility("default"))) PF_Err EntryPointFunc(PF_Cmd cmd, PF_InData* in_data,
                                                                        PF_OutData* out_data,
                                                                        PF_ParamDef* params[],
                                                                        PF_LayerDef* output, void* extra);
