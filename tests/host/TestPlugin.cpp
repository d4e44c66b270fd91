// A small effect plug-in that drives the reference host's callbacks the way a
// real effect does, so the host's own bookkeeping can be tested without the
// product's plug-in: global data in a host handle, parameters of every kind,
// values written back and stream changes on a user change, scripts.
#include "sdk/AE_Effect.h"
#include "sdk/AE_EffectCB.h"
#include "sdk/AE_EffectCBSuites.h"
#include "sdk/AE_EffectSuites.h"
#include "sdk/AE_GeneralPlug.h"
#include "sdk/AE_SuiteHandler.h"
#include "sdk/SPBasic.h"

#include <cstring>

#define EXPORT extern "C" __attribute__((visibility("default")))

extern "C" {
__attribute__((visibility("default"))) const char* _GLFX_CODE = "builtin";
}

namespace {

// Host indices of the parameters this effect adds.
enum { kInput = 0, kAmount, kInvert, kMode, kTint, kAngle, kCenter, kOther, kCount };

struct Global {
    AEGP_PluginID pluginId;
};

bool premiere(const PF_InData* in) { return in->appl_id == PF_APPL_ID_PREMIERE; }

PF_Err globalSetup(PF_InData* in, PF_OutData* out)
{
    out->my_version = PF_VERSION(1, 2, 3, PF_Stage_BETA, 4);
    out->out_flags = PF_OutFlag_I_DO_DIALOG | PF_OutFlag_SEND_UPDATE_PARAMS_UI;
    AEGP_SuiteHandler suites(in->pica_basicP);
    PF_HandleSuite1* hs = suites.HandleSuite1();
    PF_Handle h = hs ? hs->host_new_handle(sizeof(Global)) : nullptr;
    if (!h)
        return PF_Err_OUT_OF_MEMORY;
    auto* g = static_cast<Global*>(*h);
    g->pluginId = 0;
    // Premiere offers no AEGP suites: a probe for one must be refused.
    AEGP_UtilitySuite4* u = suites.UtilitySuite();
    if (premiere(in) ? u != nullptr
                     : !u || u->AEGP_RegisterWithAEGP(nullptr, "Host Test Effect", &g->pluginId)) {
        hs->host_dispose_handle(h);
        return PF_Err_BAD_CALLBACK_PARAM;
    }
    out->global_data = h;
    return PF_Err_NONE;
}

PF_Err paramsSetup(PF_InData* in, PF_OutData* out)
{
    PF_ParamDef def;
    PF_Err err = PF_Err_NONE;
    auto add = [&](PF_ParamType type, const char* name, A_long id) {
        def.param_type = type;
        in->utils->ansi.strcpy(def.name, name);
        def.uu.id = id;
        if (!err)
            err = in->inter.add_param(in->effect_ref, -1, &def);
        std::memset(&def, 0, sizeof def);
    };
    std::memset(&def, 0, sizeof def);
    def.u.fs_d.value = def.u.fs_d.dephault = 50;
    def.u.fs_d.valid_min = def.u.fs_d.slider_min = 0;
    def.u.fs_d.valid_max = def.u.fs_d.slider_max = 100;
    def.u.fs_d.precision = 1;
    add(PF_Param_FLOAT_SLIDER, "Amount", 2);
    def.flags = PF_ParamFlag_SUPERVISE;
    def.u.bd.u.nameptr = "invert colours";
    add(PF_Param_CHECKBOX, "Invert", 3);
    def.u.pd.num_choices = 3;
    def.u.pd.value = def.u.pd.dephault = 2;
    def.u.pd.u.namesptr = "Low|Mid|High";
    add(PF_Param_POPUP, "Mode", 4);
    def.u.cd.value = def.u.cd.dephault = PF_Pixel{255, 10, 20, 30};
    add(PF_Param_COLOR, "Tint", 5);
    def.u.ad.value = def.u.ad.dephault = 45 << 16;
    add(PF_Param_ANGLE, "Angle", 6);
    def.u.td.x_value = def.u.td.x_dephault = 25 << 16; // percent of the layer
    def.u.td.y_value = def.u.td.y_dephault = 50 << 16;
    add(PF_Param_POINT, "Center", 7);
    def.u.ld.dephault = PF_LayerDefault_NONE;
    add(PF_Param_LAYER, "Other", 8);
    out->num_params = kCount;
    return err;
}

// Hides or shows the stream of parameter `index` and renames it.
A_Err streamChanges(PF_InData* in, AEGP_SuiteHandler& suites, PF_ParamIndex index, bool hide,
                    const char* name)
{
    auto* g = static_cast<Global*>(*in->global_data);
    AEGP_EffectRefH effect = nullptr;
    AEGP_StreamRefH stream = nullptr;
    A_Err err = suites.PFInterfaceSuite()->AEGP_GetNewEffectForEffect(g->pluginId, in->effect_ref, &effect);
    if (!err)
        err = suites.StreamSuite()->AEGP_GetNewEffectStreamByIndex(g->pluginId, effect, index, &stream);
    if (!err)
        err = suites.DynamicStreamSuite()->AEGP_SetDynamicStreamFlag(stream, AEGP_DynStreamFlag_HIDDEN, 0,
                                                                     hide);
    if (!err)
        err = suites.DynamicStreamSuite()->AEGP_SetStreamName(stream, name);
    if (stream)
        suites.StreamSuite()->AEGP_DisposeStream(stream);
    if (effect)
        suites.EffectSuite()->AEGP_DisposeEffect(effect);
    return err;
}

PF_Err userChanged(PF_InData* in, PF_OutData* out, PF_ParamDef* params[], PF_UserChangedParamExtra* extra)
{
    out->out_flags = PF_OutFlag_REFRESH_UI | PF_OutFlag_FORCE_RERENDER;
    if (!extra)
        return PF_Err_NONE;
    if (extra->param_index == kInvert) {
        // Inverting disables the tint, hides the angle and writes the amount
        // back into the host; the centre changes too, but without the flag.
        params[kAmount]->u.fs_d.value = 30.0;
        params[kAmount]->uu.change_flags = PF_ChangeFlag_CHANGED_VALUE;
        params[kCenter]->u.td.x_value = 0;
        AEGP_SuiteHandler suites(in->pica_basicP);
        const bool on = params[kInvert]->u.bd.value != 0;
        PF_ParamDef copy = *params[kTint];
        copy.ui_flags = on ? PF_PUI_DISABLED : 0;
        PF_Err err = suites.ParamUtilsSuite3()->PF_UpdateParamUI(in->effect_ref, kTint, &copy);
        if (err)
            return err;
        if (streamChanges(in, suites, kAngle, on, on ? "Angle (off)" : "Angle"))
            return PF_Err_BAD_CALLBACK_PARAM;
    }
    return PF_Err_NONE;
}

// Runs the effect text as a script, as an effect shows a message.
PF_Err doDialog(PF_InData* in)
{
    AEGP_SuiteHandler suites(in->pica_basicP);
    AEGP_MemHandle result = nullptr, error = nullptr;
    const A_Err err = suites.UtilitySuite()->AEGP_ExecuteScript(0, _GLFX_CODE, 0, &result, &error);
    if (result)
        suites.MemorySuite()->AEGP_FreeMemHandle(result);
    if (error)
        suites.MemorySuite()->AEGP_FreeMemHandle(error);
    return err ? PF_Err_BAD_CALLBACK_PARAM : PF_Err_NONE;
}

} // namespace

EXPORT PF_Err EntryPointFunc(PF_Cmd cmd, PF_InData* in, PF_OutData* out, PF_ParamDef* params[], PF_LayerDef*,
                             void* extra)
{
    switch (cmd) {
    case PF_Cmd_GLOBAL_SETUP: return globalSetup(in, out);
    case PF_Cmd_GLOBAL_SETDOWN:
        if (in->global_data)
            in->utils->host_dispose_handle(in->global_data);
        return PF_Err_NONE;
    case PF_Cmd_PARAMS_SETUP: return paramsSetup(in, out);
    case PF_Cmd_DO_DIALOG: return doDialog(in);
    case PF_Cmd_USER_CHANGED_PARAM:
        return userChanged(in, out, params, static_cast<PF_UserChangedParamExtra*>(extra));
    case PF_Cmd_UPDATE_PARAMS_UI: return userChanged(in, out, params, nullptr);
    default: return PF_Err_NONE;
    }
}
