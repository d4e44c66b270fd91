// Host parameters from the effect description: one PF_ParamDef a described
// parameter, added with the host's add_param callback.
#pragma once

#include "glfx/Cglfx.h"
#include "sdk/AE_Effect.h"

namespace glfxshell {

// Longest parameter name the host's name field holds (one byte more for the
// terminator).
constexpr int kMaxParamName = PF_MAX_EFFECT_PARAM_NAME_LEN;

// Fills `def` (zeroed first) for description parameter `index`: type, ranges,
// defaults, flags, ui_flags and id (index + 1), but not the name. Returns
// false for a type that adds no host parameter ("none" or an unknown code).
// Popup and checkbox texts point into `par`, which must outlive the host's use.
bool buildParamDef(const glfxpar& par, int index, PF_ParamDef& def);

// Copies at most kMaxParamName characters of `name` into def.name, always
// terminated, with the host's ANSI strcpy when there is one.
void copyParamName(const PF_InData* in_data, PF_ParamDef& def, const std::string& name);

// Adds description parameters 1 .. count-1 (parameter 0 is the input layer,
// which the host supplies) and sets out_data->num_params to the number of
// host positions (what was added, plus the input layer). The
// first add_param error ends the command and is returned.
PF_Err ParamsSetup(PF_InData* in_data, PF_OutData* out_data, const cglfx& fx);

// The parameter count used for the host: the description's, kept within
// 1 .. kMaxParams (the input layer always exists; the table holds no more).
int hostParamCount(const cglfx& fx);

} // namespace glfxshell
