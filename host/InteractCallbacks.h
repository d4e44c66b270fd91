/* The interact callbacks the host puts in in_data->inter. Each finds its
   session through effect_ref. */
#pragma once

#include "sdk/AE_Effect.h"

namespace glfxhost {

struct InteractCallbacks {
    static PF_Err checkoutParam(PF_ProgPtr ref, PF_ParamIndex index, A_long what_time, A_long time_step,
                                A_u_long time_scale, PF_ParamDef* param);
    static PF_Err checkinParam(PF_ProgPtr ref, PF_ParamDef* param);
    static PF_Err addParam(PF_ProgPtr ref, PF_ParamIndex index, PF_ParamDefPtr def);
    static PF_Err abortCheck(PF_ProgPtr ref);
    static PF_Err progress(PF_ProgPtr ref, A_long current, A_long total);
};

} // namespace glfxhost
