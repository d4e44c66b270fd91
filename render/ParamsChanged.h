// Reaction to a user's change of one parameter: group switches show or
// enable the parameters of the selected group and hide or disable the
// others, definition-bearing parameters update the shaders' definitions and
// ask for a program rebuild, and preset popups write a preset's values into
// other parameters.
#pragma once

#include "sdk/AE_Effect.h"

// `extra` names the changed parameter (null: nothing to react to). The
// instance's record is taken from in_data->sequence_data. Returns
// PF_Err_INTERNAL_STRUCT_DAMAGED without a record, else the last result of
// the host's parameter UI update (PF_Err_NONE when no switch was involved).
// out_data->out_flags is set to exactly REFRESH_UI | FORCE_RERENDER.
PF_Err ParamsChanged(PF_InData* in_data, PF_OutData* out_data, PF_ParamDef** params, PF_LayerDef* output,
                     PF_UserChangedParamExtra* extra);
