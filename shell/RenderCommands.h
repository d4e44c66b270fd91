// The frame commands (classic render, smart pre-render and smart render) and
// the Options dialog.
#pragma once

#include "glfx/Cglfx.h"
#include "sdk/AE_Effect.h"

namespace glfxshell {

// Time at which description parameter `index` is checked out: the current
// time, plus the layer's frame offset (its first default) for a layer.
A_long checkoutTime(const PF_InData* in_data, const glfxpar& par);

PF_Err Render(PF_InData* in_data, PF_OutData* out_data, PF_ParamDef* params[], PF_LayerDef* output,
              const cglfx& fx);
PF_Err SmartPreRender(PF_InData* in_data, PF_OutData* out_data, PF_PreRenderExtra* extra, const cglfx& fx);
PF_Err SmartRender(PF_InData* in_data, PF_OutData* out_data, PF_ParamDef* params[],
                   PF_SmartRenderExtra* extra, const cglfx& fx);

// Options: for an instance that has a GPU context, reads and parses the
// description again into `fx`, rebuilds the instance's programs and shows a
// non-empty build log (not under Premiere).
PF_Err DoDialog(PF_InData* in_data, PF_OutData* out_data, cglfx& fx, const char* embedded);

} // namespace glfxshell
