// A small effect plug-in that drives the reference host's callbacks the way a
// real effect does, so the host can be tested without the product's plug-in.
// It passes its input through, inverting colour when its checkbox is on.
#include "sdk/AE_Effect.h"
#include "sdk/AE_EffectCB.h"
#include "sdk/AE_EffectCBSuites.h"
#include "sdk/AE_EffectSuites.h"
#include "sdk/AE_GeneralPlug.h"
#include "sdk/AE_SuiteHandler.h"
#include "sdk/SPBasic.h"

#include <cstring>
#include <string>

#define EXPORT extern "C" __attribute__((visibility("default")))

extern "C" {
__attribute__((visibility("default"))) const char* _GLFX_CODE = "builtin";
}

namespace {

// Host indices of the parameters this effect adds.
enum { kInput = 0, kAmount, kInvert, kMode, kTint, kAngle, kCenter, kOther, kCount };
const int kOtherOffsetFrames = 2;

struct Global {
    A_long initialized;
    AEGP_PluginID pluginId;
};

struct Sequence {
    A_long magic;
    A_long setups;
    A_long renders;
};
const A_long kMagic = 0x53455121;

bool premiere(const PF_InData* in) { return in->appl_id == PF_APPL_ID_PREMIERE; }

PF_Err globalSetup(PF_InData* in, PF_OutData* out) {
    out->my_version = PF_VERSION(1, 2, 3, PF_Stage_BETA, 4);
    out->out_flags = PF_OutFlag_DEEP_COLOR_AWARE | PF_OutFlag_I_DO_DIALOG | PF_OutFlag_SEND_UPDATE_PARAMS_UI;
    out->out_flags2 = PF_OutFlag2_SUPPORTS_SMART_RENDER | PF_OutFlag2_FLOAT_COLOR_AWARE;
    AEGP_SuiteHandler suites(in->pica_basicP);
    if (premiere(in)) {
        out->out_flags &= ~PF_OutFlag_DEEP_COLOR_AWARE;
        out->out_flags2 &= ~PF_OutFlag2_FLOAT_COLOR_AWARE;
        PF_PixelFormatSuite1* pf = suites.PixelFormatSuite1();
        if (!pf) return PF_Err_BAD_CALLBACK_PARAM;
        pf->ClearSupportedPixelFormats(in->effect_ref);
        pf->AddSupportedPixelFormat(in->effect_ref, PrPixelFormat_BGRA_4444_8u);
        // Probes for scripting, which this host does not offer under Premiere.
        if (suites.UtilitySuite()) return PF_Err_INTERNAL_STRUCT_DAMAGED;
    }
    PF_HandleSuite1* hs = suites.HandleSuite1();
    if (!hs) return PF_Err_BAD_CALLBACK_PARAM;
    PF_Handle h = hs->host_new_handle(sizeof(Global));
    if (!h) return PF_Err_OUT_OF_MEMORY;
    auto* g = static_cast<Global*>(hs->host_lock_handle(h));
    g->initialized = 1;
    g->pluginId = 0;
    if (!premiere(in)) {
        AEGP_UtilitySuite4* u = suites.UtilitySuite();
        if (!u || u->AEGP_RegisterWithAEGP(nullptr, "Host Test Effect", &g->pluginId)) {
            hs->host_unlock_handle(h);
            hs->host_dispose_handle(h);
            return PF_Err_BAD_CALLBACK_PARAM;
        }
    }
    hs->host_unlock_handle(h);
    out->global_data = h;
    return PF_Err_NONE;
}

PF_Err paramsSetup(PF_InData* in, PF_OutData* out) {
    PF_ParamDef def;
    PF_Err err = PF_Err_NONE;
    auto add = [&](PF_ParamType type, const char* name, A_long id) {
        if (err) return;
        def.param_type = type;
        in->utils->ansi.strcpy(def.name, name);
        def.uu.id = id;
        err = in->inter.add_param(in->effect_ref, -1, &def);
    };
    std::memset(&def, 0, sizeof def);
    def.u.fs_d.value = def.u.fs_d.dephault = 50;
    def.u.fs_d.valid_min = def.u.fs_d.slider_min = 0;
    def.u.fs_d.valid_max = def.u.fs_d.slider_max = 100;
    def.u.fs_d.precision = 1;
    add(PF_Param_FLOAT_SLIDER, "Amount", 2);
    std::memset(&def, 0, sizeof def);
    def.flags = PF_ParamFlag_SUPERVISE;
    def.u.bd.u.nameptr = "invert colours";
    add(PF_Param_CHECKBOX, "Invert", 3);
    std::memset(&def, 0, sizeof def);
    def.flags = PF_ParamFlag_SUPERVISE;
    def.u.pd.num_choices = 3;
    def.u.pd.value = def.u.pd.dephault = 2;
    def.u.pd.u.namesptr = "Low|Mid|High";
    add(PF_Param_POPUP, "Mode", 4);
    std::memset(&def, 0, sizeof def);
    def.u.cd.value = def.u.cd.dephault = PF_Pixel{255, 10, 20, 30};
    add(PF_Param_COLOR, "Tint", 5);
    std::memset(&def, 0, sizeof def);
    def.u.ad.value = def.u.ad.dephault = 45 << 16;
    add(PF_Param_ANGLE, "Angle", 6);
    std::memset(&def, 0, sizeof def);
    def.u.td.x_value = def.u.td.x_dephault = 25 << 16;   // percent of the layer
    def.u.td.y_value = def.u.td.y_dephault = 50 << 16;
    add(PF_Param_POINT, "Center", 7);
    std::memset(&def, 0, sizeof def);
    def.u.ld.dephault = PF_LayerDefault_NONE;
    add(PF_Param_LAYER, "Other", 8);
    out->num_params = kCount;
    return err;
}

PF_Err sequenceSetup(PF_InData* in, PF_OutData* out) {
    PF_Handle h = in->utils->host_new_handle(sizeof(Sequence));
    if (!h) return PF_Err_OUT_OF_MEMORY;
    auto* s = static_cast<Sequence*>(*h);
    s->magic = kMagic;
    s->setups = 1;
    s->renders = 0;
    out->sequence_data = h;
    out->flat_sdata_size = sizeof(Sequence);
    return PF_Err_NONE;
}

PF_Err sequenceResetup(PF_InData* in, PF_OutData* out) {
    if (!in->sequence_data) return sequenceSetup(in, out);
    if (static_cast<size_t>(in->utils->host_get_handle_size(in->sequence_data)) != sizeof(Sequence)) {
        PF_Handle h = in->sequence_data;
        PF_Err err = in->utils->host_resize_handle(sizeof(Sequence), &h);
        if (err) return err;
        out->sequence_data = h;
    }
    auto* s = static_cast<Sequence*>(*in->sequence_data);
    if (s->magic != kMagic) return PF_Err_INTERNAL_STRUCT_DAMAGED;
    ++s->setups;
    return PF_Err_NONE;
}

PF_Err sequenceSetdown(PF_InData* in, PF_OutData* out) {
    if (in->sequence_data) in->utils->host_dispose_handle(in->sequence_data);
    in->sequence_data = nullptr;
    out->sequence_data = nullptr;
    return PF_Err_NONE;
}

PF_Err globalSetdown(PF_InData* in) {
    AEGP_SuiteHandler suites(in->pica_basicP);
    if (in->global_data && suites.HandleSuite1()) suites.HandleSuite1()->host_dispose_handle(in->global_data);
    return PF_Err_NONE;
}

// Hides or shows the stream of parameter `index` and renames it.
A_Err streamChanges(PF_InData* in, AEGP_SuiteHandler& suites, PF_ParamIndex index, bool hide, const char* name) {
    auto* g = static_cast<Global*>(*in->global_data);
    AEGP_EffectRefH effect = nullptr;
    AEGP_StreamRefH stream = nullptr;
    A_Err err = suites.PFInterfaceSuite()->AEGP_GetNewEffectForEffect(g->pluginId, in->effect_ref, &effect);
    if (!err) err = suites.StreamSuite()->AEGP_GetNewEffectStreamByIndex(g->pluginId, effect, index, &stream);
    if (!err) err = suites.DynamicStreamSuite()->AEGP_SetDynamicStreamFlag(stream, AEGP_DynStreamFlag_HIDDEN, 0, hide);
    if (!err && name) err = suites.DynamicStreamSuite()->AEGP_SetStreamName(stream, name);
    if (stream) suites.StreamSuite()->AEGP_DisposeStream(stream);
    if (effect) suites.EffectSuite()->AEGP_DisposeEffect(effect);
    return err;
}

PF_Err userChanged(PF_InData* in, PF_OutData* out, PF_ParamDef* params[], PF_UserChangedParamExtra* extra) {
    out->out_flags = PF_OutFlag_REFRESH_UI | PF_OutFlag_FORCE_RERENDER;
    if (!extra) return PF_Err_NONE;
    AEGP_SuiteHandler suites(in->pica_basicP);
    if (extra->param_index == kMode) {
        // A preset: the mode writes the amount back into the host.
        params[kAmount]->u.fs_d.value = params[kMode]->u.pd.value * 10.0;
        params[kAmount]->uu.change_flags = PF_ChangeFlag_CHANGED_VALUE;
        // And moves the centre to the layer's corner, in layer pixels.
        params[kCenter]->u.td.x_value = 0;
        params[kCenter]->u.td.y_value = 0;
        params[kCenter]->uu.change_flags = PF_ChangeFlag_CHANGED_VALUE;
    }
    if (extra->param_index == kInvert) {
        const bool on = params[kInvert]->u.bd.value != 0;
        PF_ParamDef copy = *params[kTint];
        copy.ui_flags = on ? PF_PUI_DISABLED : 0;
        PF_Err err = suites.ParamUtilsSuite3()->PF_UpdateParamUI(in->effect_ref, kTint, &copy);
        if (err) return err;
        if (!premiere(in)) {
            if (streamChanges(in, suites, kAngle, on, on ? "Angle (off)" : "Angle")) return PF_Err_BAD_CALLBACK_PARAM;
        }
    }
    return PF_Err_NONE;
}

PF_Err doDialog(PF_InData* in) {
    if (premiere(in)) return PF_Err_NONE;
    AEGP_SuiteHandler suites(in->pica_basicP);
    AEGP_MemHandle result = nullptr;
    A_Err err = suites.UtilitySuite()->AEGP_ExecuteScript(0, "alert('Build log:\\nline \"2\"');", 0, &result, nullptr);
    if (err) return PF_Err_BAD_CALLBACK_PARAM;
    if (result) {
        void* text = nullptr;
        suites.MemorySuite()->AEGP_LockMemHandle(result, &text);
        const bool ok = text && std::strcmp(static_cast<const char*>(text), "undefined") == 0;
        suites.MemorySuite()->AEGP_UnlockMemHandle(result);
        suites.MemorySuite()->AEGP_FreeMemHandle(result);
        if (!ok) return PF_Err_INTERNAL_STRUCT_DAMAGED;
    }
    return PF_Err_NONE;
}

PF_Err about(PF_InData* in, PF_OutData* out) {
    if (premiere(in)) return PF_Err_NONE;
    in->utils->ansi.sprintf(out->return_msg, "%s %s\r%s", "Host Test Effect", "1.2", _GLFX_CODE ? _GLFX_CODE : "");
    return PF_Err_NONE;
}

// Copies input to output at the world's depth, inverting colour when asked.
PF_Err process(PF_InData* in, const PF_LayerDef* input, PF_LayerDef* output, bool invert) {
    if (!input || !output || !input->data || !output->data) return PF_Err_INTERNAL_STRUCT_DAMAGED;
    AEGP_SuiteHandler suites(in->pica_basicP);
    PF_WorldSuite2* ws = suites.WorldSuite2();
    if (!ws) return PF_Err_BAD_CALLBACK_PARAM;
    PF_PixelFormat fmt = 0;
    PF_Err err = ws->PF_GetPixelFormat(output, &fmt);
    if (err) return err;
    const int w = output->width < input->width ? output->width : input->width;
    const int h = output->height < input->height ? output->height : input->height;
    for (int y = 0; y < h; ++y) {
        const char* src = reinterpret_cast<const char*>(input->data) + static_cast<long>(y) * input->rowbytes;
        char* dst = reinterpret_cast<char*>(output->data) + static_cast<long>(y) * output->rowbytes;
        for (int x = 0; x < w; ++x) {
            if (fmt == PF_PixelFormat_ARGB32) {
                const auto* s = reinterpret_cast<const A_u_char*>(src) + 4 * x;
                auto* d = reinterpret_cast<A_u_char*>(dst) + 4 * x;
                // alpha is byte 0 in ARGB and byte 3 in Premiere's BGRA
                const int a = premiere(in) ? 3 : 0;
                for (int c = 0; c < 4; ++c) d[c] = (invert && c != a) ? A_u_char(255 - s[c]) : s[c];
            } else if (fmt == PF_PixelFormat_ARGB64) {
                const auto* s = reinterpret_cast<const PF_Pixel16*>(src) + x;
                auto* d = reinterpret_cast<PF_Pixel16*>(dst) + x;
                *d = *s;
                if (invert) {
                    d->red = A_u_short(PF_MAX_CHAN16 - s->red);
                    d->green = A_u_short(PF_MAX_CHAN16 - s->green);
                    d->blue = A_u_short(PF_MAX_CHAN16 - s->blue);
                }
            } else if (fmt == PF_PixelFormat_ARGB128) {
                const auto* s = reinterpret_cast<const PF_PixelFloat*>(src) + x;
                auto* d = reinterpret_cast<PF_PixelFloat*>(dst) + x;
                *d = *s;
                if (invert) {
                    d->red = 1.0f - s->red;
                    d->green = 1.0f - s->green;
                    d->blue = 1.0f - s->blue;
                }
            } else {
                return PF_Err_BAD_CALLBACK_PARAM;
            }
        }
    }
    return PF_Err_NONE;
}

// Checks out every parameter (the layer two frames later), runs `body`, checks in.
template <typename F>
PF_Err withParams(PF_InData* in, F body) {
    PF_ParamDef defs[kCount];
    std::memset(defs, 0, sizeof defs);
    PF_Err err = PF_Err_NONE;
    int got = 1;
    for (; got < kCount && !err; ++got) {
        A_long t = in->current_time + (got == kOther ? kOtherOffsetFrames * in->time_step : 0);
        err = in->inter.checkout_param(in->effect_ref, got, t, in->time_step, in->time_scale, &defs[got]);
        if (err) break;
    }
    if (!err) err = body(defs);
    for (int i = 1; i < got && i < kCount; ++i) {
        PF_Err e2 = in->inter.checkin_param(in->effect_ref, &defs[i]);
        if (!err) err = e2;
    }
    return err;
}

PF_Err render(PF_InData* in, PF_ParamDef* params[], PF_LayerDef* output) {
    if (!in->sequence_data) return PF_Err_INTERNAL_STRUCT_DAMAGED;
    ++static_cast<Sequence*>(*in->sequence_data)->renders;
    return withParams(in, [&](PF_ParamDef* defs) {
        return process(in, &params[kInput]->u.ld, output, defs[kInvert].u.bd.value != 0);
    });
}

PF_Err smartPreRender(PF_InData* in, PF_PreRenderExtra* extra) {
    PF_RenderRequest req = extra->input->output_request;
    PF_CheckoutResult r;
    PF_Err err = extra->cb->checkout_layer(in->effect_ref, kInput, kInput, &req, in->current_time, in->time_step,
                                           in->time_scale, &r);
    if (err) return err;
    extra->output->result_rect = r.result_rect;
    extra->output->max_result_rect = r.max_result_rect;
    PF_CheckoutResult r2;
    return extra->cb->checkout_layer(in->effect_ref, kOther, kOther, &req,
                                     in->current_time + kOtherOffsetFrames * in->time_step, in->time_step,
                                     in->time_scale, &r2);
}

PF_Err smartRender(PF_InData* in, PF_SmartRenderExtra* extra) {
    if (!in->sequence_data) return PF_Err_INTERNAL_STRUCT_DAMAGED;
    ++static_cast<Sequence*>(*in->sequence_data)->renders;
    PF_EffectWorld* input = nullptr;
    PF_EffectWorld* output = nullptr;
    PF_Err err = extra->cb->checkout_layer_pixels(in->effect_ref, kInput, &input);
    if (!err) err = extra->cb->checkout_output(in->effect_ref, &output);
    if (err) return err;
    err = withParams(in, [&](PF_ParamDef* defs) {
        return process(in, input, output, defs[kInvert].u.bd.value != 0);
    });
    if (!err) err = extra->cb->checkin_layer_pixels(in->effect_ref, kInput);
    return err;
}

}  // namespace

EXPORT PF_Err EntryPointFunc(PF_Cmd cmd, PF_InData* in, PF_OutData* out, PF_ParamDef* params[],
                             PF_LayerDef* output, void* extra) {
    switch (cmd) {
    case PF_Cmd_ABOUT: return about(in, out);
    case PF_Cmd_GLOBAL_SETUP: return globalSetup(in, out);
    case PF_Cmd_GLOBAL_SETDOWN: return globalSetdown(in);
    case PF_Cmd_PARAMS_SETUP: return paramsSetup(in, out);
    case PF_Cmd_SEQUENCE_SETUP: return sequenceSetup(in, out);
    case PF_Cmd_SEQUENCE_RESETUP: return sequenceResetup(in, out);
    case PF_Cmd_SEQUENCE_FLATTEN: return PF_Err_NONE;
    case PF_Cmd_SEQUENCE_SETDOWN: return sequenceSetdown(in, out);
    case PF_Cmd_DO_DIALOG: return doDialog(in);
    case PF_Cmd_RENDER: return render(in, params, output);
    case PF_Cmd_USER_CHANGED_PARAM:
        return userChanged(in, out, params, static_cast<PF_UserChangedParamExtra*>(extra));
    case PF_Cmd_UPDATE_PARAMS_UI: return userChanged(in, out, params, nullptr);
    case PF_Cmd_SMART_PRE_RENDER: return smartPreRender(in, static_cast<PF_PreRenderExtra*>(extra));
    case PF_Cmd_SMART_RENDER: return smartRender(in, static_cast<PF_SmartRenderExtra*>(extra));
    default: return PF_Err_NONE;
    }
}
