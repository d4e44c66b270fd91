// The callbacks of smart pre-render (layer checkouts) and smart render
// (layer pixels and the output world).
#include "host/SmartRenderCallbacks.h"

#include "host/Session.h"
#include "host/SessionAccess.h"

#include <algorithm>
#include <memory>
#include <string>

namespace glfxhost {

PF_Err SmartRenderCallbacks::checkoutLayer(PF_ProgPtr ref, PF_ParamIndex index, A_long checkout_id,
                                           const PF_RenderRequest* req, A_long what_time, A_long time_step,
                                           A_u_long time_scale, PF_CheckoutResult* result)
{
    Session* s = SessionAccess::fromRef(ref);
    if (!s)
        return PF_Err_BAD_CALLBACK_PARAM;
    if (s->currentCmd_ != PF_Cmd_SMART_PRE_RENDER) {
        SessionAccess::problem(*s, "checkout_layer outside SMART_PRE_RENDER");
        return PF_Err_INVALID_CALLBACK;
    }
    if (!req || !result) {
        SessionAccess::problem(*s, "checkout_layer without a request or a result");
        return PF_Err_BAD_CALLBACK_PARAM;
    }
    if (index < 0 || index > static_cast<PF_ParamIndex>(s->params_.size()) ||
        (index > 0 && s->params_[static_cast<size_t>(index - 1)].def.param_type != PF_Param_LAYER)) {
        SessionAccess::problem(*s, "checkout_layer of parameter " + std::to_string(index) +
                                       ", which is no layer");
        return PF_Err_INVALID_INDEX;
    }
    if (s->faults_.checkoutLayerError != PF_Err_NONE)
        return s->faults_.checkoutLayerError;
    if (s->layerCheckoutIds_.count(checkout_id)) {
        SessionAccess::problem(*s,
                               "checkout_layer: checkout id " + std::to_string(checkout_id) + " used twice");
        return PF_Err_BAD_CALLBACK_PARAM;
    }
    s->rec_.add(s->rec_.layerCheckouts, LayerCheckout{index, checkout_id, what_time, time_step, time_scale});
    s->layerCheckoutIds_[checkout_id] = index;
    PF_ParamDef d{};
    SessionAccess::valueAt(*s, index, d);
    *result = PF_CheckoutResult{};
    const A_long w = d.u.ld.data ? d.u.ld.width : 0, h = d.u.ld.data ? d.u.ld.height : 0;
    result->max_result_rect = {0, 0, w, h};
    result->result_rect = {std::max<A_long>(0, req->rect.left), std::max<A_long>(0, req->rect.top),
                           std::min(w, req->rect.right), std::min(h, req->rect.bottom)};
    if (result->result_rect.left >= result->result_rect.right ||
        result->result_rect.top >= result->result_rect.bottom)
        result->result_rect = {0, 0, 0, 0};
    result->par = {1, 1};
    result->ref_width = w;
    result->ref_height = h;
    return PF_Err_NONE;
}

PF_Err SmartRenderCallbacks::guidMixIn(PF_ProgPtr ref, A_u_long, const void*)
{
    return SessionAccess::fromRef(ref) ? PF_Err_NONE : PF_Err_BAD_CALLBACK_PARAM;
}

PF_Err SmartRenderCallbacks::checkoutLayerPixels(PF_ProgPtr ref, A_long checkout_id, PF_EffectWorld** pixels)
{
    Session* s = SessionAccess::fromRef(ref);
    if (!s)
        return PF_Err_BAD_CALLBACK_PARAM;
    if (!pixels)
        return PF_Err_BAD_CALLBACK_PARAM;
    *pixels = nullptr;
    if (s->currentCmd_ != PF_Cmd_SMART_RENDER) {
        SessionAccess::problem(*s, "checkout_layer_pixels outside SMART_RENDER");
        return PF_Err_INVALID_CALLBACK;
    }
    auto it = s->layerCheckoutIds_.find(checkout_id);
    if (it == s->layerCheckoutIds_.end()) {
        SessionAccess::problem(*s, "checkout_layer_pixels of id " + std::to_string(checkout_id) +
                                       " not checked out at pre-render");
        return PF_Err_BAD_CALLBACK_PARAM;
    }
    PF_ParamDef d{};
    SessionAccess::valueAt(*s, it->second, d);
    if (!d.u.ld.data)
        return PF_Err_NONE; // no layer chosen: no pixels
    s->pixelCopies_.push_back(std::make_unique<PF_LayerDef>(d.u.ld));
    *pixels = s->pixelCopies_.back().get();
    return PF_Err_NONE;
}

PF_Err SmartRenderCallbacks::checkinLayerPixels(PF_ProgPtr ref, A_long checkout_id)
{
    Session* s = SessionAccess::fromRef(ref);
    if (!s)
        return PF_Err_BAD_CALLBACK_PARAM;
    if (!s->layerCheckoutIds_.count(checkout_id)) {
        SessionAccess::problem(*s, "checkin_layer_pixels of id " + std::to_string(checkout_id) +
                                       " not checked out");
        return PF_Err_BAD_CALLBACK_PARAM;
    }
    return PF_Err_NONE;
}

PF_Err SmartRenderCallbacks::checkoutOutput(PF_ProgPtr ref, PF_EffectWorld** output)
{
    Session* s = SessionAccess::fromRef(ref);
    if (!s || !output)
        return PF_Err_BAD_CALLBACK_PARAM;
    if (s->currentCmd_ != PF_Cmd_SMART_RENDER || !s->output_) {
        SessionAccess::problem(*s, "checkout_output outside SMART_RENDER");
        *output = nullptr;
        return PF_Err_INVALID_CALLBACK;
    }
    *output = s->output_->def();
    return PF_Err_NONE;
}

} // namespace glfxhost
