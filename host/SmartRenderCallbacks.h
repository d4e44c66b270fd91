/* The callbacks of smart pre-render and smart render, handed to the effect in
   the commands' extra records. */
#pragma once

#include "sdk/AE_Effect.h"
#include "sdk/AE_EffectCB.h"

namespace glfxhost {

struct SmartRenderCallbacks {
    // SMART_PRE_RENDER
    static PF_Err checkoutLayer(PF_ProgPtr ref, PF_ParamIndex index, A_long checkout_id,
                                const PF_RenderRequest* req, A_long what_time, A_long time_step,
                                A_u_long time_scale, PF_CheckoutResult* result);
    static PF_Err guidMixIn(PF_ProgPtr ref, A_u_long size, const void* buf);
    // SMART_RENDER
    static PF_Err checkoutLayerPixels(PF_ProgPtr ref, A_long checkout_id, PF_EffectWorld** pixels);
    static PF_Err checkinLayerPixels(PF_ProgPtr ref, A_long checkout_id);
    static PF_Err checkoutOutput(PF_ProgPtr ref, PF_EffectWorld** output);
};

} // namespace glfxhost
