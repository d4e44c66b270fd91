// The interact callbacks in in_data->inter: parameter checkouts and add_param.
#include "host/InteractCallbacks.h"

#include "host/Names.h"
#include "host/Session.h"
#include "host/SessionAccess.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <stdexcept>
#include <string>

namespace glfxhost {

PF_Err InteractCallbacks::checkoutParam(PF_ProgPtr ref, PF_ParamIndex index, A_long what_time,
                                        A_long time_step, A_u_long time_scale, PF_ParamDef* param)
{
    Session* s = SessionAccess::fromRef(ref);
    if (!s)
        return PF_Err_BAD_CALLBACK_PARAM;
    if (!param) {
        SessionAccess::problem(*s, "checkout_param without a definition to fill");
        return PF_Err_BAD_CALLBACK_PARAM;
    }
    if (index < 0 || index > static_cast<PF_ParamIndex>(s->params_.size())) {
        SessionAccess::problem(*s, "checkout_param of parameter " + std::to_string(index) +
                                       " that does not exist");
        return PF_Err_INVALID_INDEX;
    }
    if (time_scale == 0) {
        SessionAccess::problem(*s, "checkout_param with a time scale of 0");
        return PF_Err_BAD_CALLBACK_PARAM;
    }
    if (index == s->faults_.failCheckoutParam)
        return s->faults_.checkoutParamError;
    s->rec_.add(s->rec_.paramCheckouts,
                ParamCheckout{index, what_time, time_step, time_scale, s->currentCmd_});
    SessionAccess::valueAt(*s, index, *param);
    s->outstanding_.push_back(param);
    return PF_Err_NONE;
}

PF_Err InteractCallbacks::checkinParam(PF_ProgPtr ref, PF_ParamDef* param)
{
    Session* s = SessionAccess::fromRef(ref);
    if (!s)
        return PF_Err_BAD_CALLBACK_PARAM;
    auto it = std::find(s->outstanding_.begin(), s->outstanding_.end(), param);
    if (it == s->outstanding_.end()) {
        SessionAccess::problem(*s, "checkin_param of a definition that was not checked out");
        return PF_Err_BAD_CALLBACK_PARAM;
    }
    s->outstanding_.erase(it);
    ++s->rec_.paramCheckins;
    return PF_Err_NONE;
}

PF_Err InteractCallbacks::addParam(PF_ProgPtr ref, PF_ParamIndex index, PF_ParamDefPtr def)
{
    Session* s = SessionAccess::fromRef(ref);
    if (!s)
        return PF_Err_BAD_CALLBACK_PARAM;
    if (s->currentCmd_ != PF_Cmd_PARAMS_SETUP) {
        SessionAccess::problem(*s, "add_param outside PARAMS_SETUP");
        return PF_Err_INVALID_CALLBACK;
    }
    if (!def) {
        SessionAccess::problem(*s, "add_param without a definition");
        return PF_Err_BAD_CALLBACK_PARAM;
    }
    const HostFaults& faults = s->faults_;
    if (faults.addParamThrows == HostFaults::Throw::BadAlloc)
        throw std::bad_alloc();
    if (faults.addParamThrows == HostFaults::Throw::RuntimeError)
        throw std::runtime_error("host failure");
    if (faults.failAddParamAt >= 0 && s->params_.size() == static_cast<size_t>(faults.failAddParamAt))
        return faults.addParamError;
    const PF_ParamIndex next = static_cast<PF_ParamIndex>(s->params_.size() + 1);
    if (index != -1 && index != next) {
        SessionAccess::problem(*s, "add_param at index " + std::to_string(index) + " (next is " +
                                       std::to_string(next) + ")");
        return PF_Err_INVALID_INDEX;
    }
    if (!std::memchr(def->name, 0, sizeof def->name)) {
        SessionAccess::problem(*s, "add_param: name of parameter " + std::to_string(next) +
                                       " is not terminated within " + std::to_string(sizeof def->name) +
                                       " bytes");
        return PF_Err_BAD_CALLBACK_PARAM;
    }
    switch (def->param_type) {
    case PF_Param_LAYER:
    case PF_Param_SLIDER:
    case PF_Param_FIX_SLIDER:
    case PF_Param_ANGLE:
    case PF_Param_CHECKBOX:
    case PF_Param_COLOR:
    case PF_Param_POINT:
    case PF_Param_POPUP:
    case PF_Param_FLOAT_SLIDER:
    case PF_Param_GROUP_START:
    case PF_Param_GROUP_END:
    case PF_Param_BUTTON:
    case PF_Param_POINT_3D:
    case PF_Param_NO_DATA: break;
    default:
        SessionAccess::problem(*s, "add_param with unknown type " + std::to_string(def->param_type));
        return PF_Err_UNRECOGNIZED_PARAM_TYPE;
    }
    for (const AddedParam& p : s->params_)
        if (def->uu.id != 0 && p.def.uu.id == def->uu.id) {
            SessionAccess::problem(*s, "add_param: id " + std::to_string(def->uu.id) + " used twice");
            return PF_Err_BAD_CALLBACK_PARAM;
        }
    if (def->param_type == PF_Param_POPUP) {
        const A_short n = def->u.pd.num_choices;
        if (n < 1 || def->u.pd.dephault < 1 || def->u.pd.dephault > n) {
            SessionAccess::problem(*s, "add_param: popup " + std::to_string(next) + " default " +
                                           std::to_string(def->u.pd.dephault) + " outside 1.." +
                                           std::to_string(n));
            return PF_Err_BAD_CALLBACK_PARAM;
        }
    }
    AddedParam p;
    p.hostIndex = next;
    p.descIndex = def->uu.id - 1;
    p.def = *def;
    p.name = def->name;
    if (def->param_type == PF_Param_POPUP && def->u.pd.u.namesptr)
        p.choices = def->u.pd.u.namesptr;
    if (def->param_type == PF_Param_CHECKBOX && def->u.bd.u.nameptr)
        p.choices = def->u.bd.u.nameptr;
    if (def->param_type == PF_Param_BUTTON && def->u.button_d.u.namesptr)
        p.choices = def->u.button_d.u.namesptr;
    p.value = p.def;
    if (def->param_type == PF_Param_POINT)
        p.pointInPercent = true;
    s->params_.push_back(std::move(p));
    // The copies of the texts moved with the vector: point every record at its own.
    for (AddedParam& q : s->params_) {
        const char* text = q.choices.empty() ? nullptr : q.choices.c_str();
        for (PF_ParamDef* d : {&q.def, &q.value}) {
            if (d->param_type == PF_Param_POPUP)
                d->u.pd.u.namesptr = text;
            if (d->param_type == PF_Param_CHECKBOX)
                d->u.bd.u.nameptr = text;
            if (d->param_type == PF_Param_BUTTON)
                d->u.button_d.u.namesptr = text;
        }
    }
    if (s->layerW_ > 0)
        s->convertPercentPoints();
    return PF_Err_NONE;
}

PF_Err InteractCallbacks::abortCheck(PF_ProgPtr ref)
{
    return SessionAccess::fromRef(ref) ? PF_Err_NONE : PF_Err_BAD_CALLBACK_PARAM;
}

PF_Err InteractCallbacks::progress(PF_ProgPtr ref, A_long, A_long)
{
    return SessionAccess::fromRef(ref) ? PF_Err_NONE : PF_Err_BAD_CALLBACK_PARAM;
}

} // namespace glfxhost
