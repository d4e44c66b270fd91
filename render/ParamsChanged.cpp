#include "render/ParamsChanged.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

#include "gl/Description.h"
#include "gl/EffectData.h"
#include "gl/InstanceOwner.h"
#include "glfx/HostMap.h"
#include "glfx/ParamDefines.h"
#include "glfx/Strings.h"
#include "glfx/Text.h"
#include "render/GlobalData.h"
#include "render/StreamAccess.h"
#include "sdk/AE_SuiteHandler.h"

namespace {

// The changed parameter's value as an integer (the selected item or state).
int intValue(const glfxpar& d, const PF_ParamDef& p)
{
    switch (d.type) {
    case GLFX_CHECK:
    case GLFX_EVENT: return p.u.bd.value;
    case GLFX_POPUP: return p.u.pd.value;
    case GLFX_INT:
    case GLFX_FLOAT:
    case GLFX_FLOAT2: return valueToInt(static_cast<float>(p.u.fs_d.value));
    case GLFX_ANGLE: return static_cast<int>(p.u.ad.value >> 16);
    default: return p.u.sd.value;
    }
}

// Clamps to the 32-bit range of the host's fixed and integer fields.
inline A_long toLong(double v)
{
    if (!(v == v))
        return 0;
    if (v >= 2147483647.0)
        return std::numeric_limits<A_long>::max();
    if (v <= -2147483648.0)
        return std::numeric_limits<A_long>::min();
    return static_cast<A_long>(v);
}

inline A_u_char toChannel8(float f)
{
    const int v = valueToInt(f * 255.0f);
    return static_cast<A_u_char>(std::clamp(v, 0, 255));
}

// Rounded half away from zero, as the host stores point coordinates.
inline A_long roundFixed(double v) { return toLong(v + (v < 0.0 ? -0.5 : 0.5)); }

// The layer slot of description parameter j: the number of layer parameters
// before it (the input layer, parameter 0, included).
int layerSlot(const cglfx& fx, int j)
{
    int slot = 0;
    for (int i = 0; i < j; ++i)
        if (fx.par[i].type == GLFX_LAYER)
            ++slot;
    return slot;
}

// params[] is the host's array: description parameter j sits at
// map.position[j] (kNotAdded for a parameter without a host control).
struct SwitchContext {
    const cglfx& fx;
    const glfxhostmap& map;
    int count;
    EffectData* d;
    PF_InData* in_data;
    PF_ParamDef** params;
    AEGP_SuiteHandler& suites;
    StreamAccess& streams;
};

// Shows or enables the parameters of the selected group among groups
// first..last and hides or disables those of the others. Returns the result
// of the last UI update.
// Group numbers are compared in 64 bits: a switch of group -2147483648 or a
// huge max must not overflow.
PF_Err applyGroupSwitch(SwitchContext& c, long long first, long long last, long long selected)
{
    const bool hideMode = first > glfxlimits::kHideModeGroup;
    PF_Err err = PF_Err_NONE;
    for (int j = 1; j < c.count; ++j) {
        const glfxpar& pj = c.fx.par[j];
        // A parameter without a host control has nothing to show or hide.
        const int position = c.map.position[j];
        if (position == glfxhostmap::kNotAdded)
            continue;
        PF_ParamDef* hostParam = c.params[position];
        for (int k = 0; k < glfxlimits::kGroupSlots; ++k) {
            const int g = pj.group[k];
            if (g < 1)
                break;
            if (g < first || g > last)
                continue;
            const bool off = g != selected;

            PF_ParamDef copy{};
            if (hostParam)
                copy = *hostParam;
            if (hideMode) {
                c.d->visibility[j] = off ? glfxvisibility::kHidden : glfxvisibility::kShownAgain;
                copy.ui_flags =
                    off ? (copy.ui_flags | PF_PUI_INVISIBLE) : (copy.ui_flags & ~PF_PUI_INVISIBLE);
            } else {
                c.d->visibility[j] = off ? glfxvisibility::kDisabled : glfxvisibility::kEnabledAgain;
                copy.ui_flags = off ? (copy.ui_flags | PF_PUI_DISABLED) : (copy.ui_flags & ~PF_PUI_DISABLED);
            }

            if (!c.d->isPremiere && err == PF_Err_NONE) {
                const std::string& name = k == 0 ? pj.name : pj.names[k - 1];
                // A failure here only skips this parameter's stream changes;
                // the UI update below decides the pending error.
                err = c.streams.update(position,
                                       hideMode ? (off ? StreamAccess::kHide : StreamAccess::kShow)
                                                : StreamAccess::kLeaveHidden,
                                       name.c_str());
            }

            if (pj.type == GLFX_LAYER) {
                const int slot = layerSlot(c.fx, j);
                if (slot < glfxlimits::kMaxInputs)
                    c.d->layerSkip[slot] = off;
            }

            PF_ParamUtilsSuite3* utils = c.suites.ParamUtilsSuite();
            if (utils && utils->PF_UpdateParamUI && hostParam) {
                copy.uu.change_flags = PF_ChangeFlag_CHANGED_VALUE;
                err = utils->PF_UpdateParamUI(c.in_data->effect_ref, position, &copy);
            } else {
                err = PF_Err_BAD_CALLBACK_PARAM;
            }

            if (!off)
                break;
        }
    }
    return err;
}

// Writes one preset value into the record and into the host's parameter.
void applyPresetValue(const cglfx& fx, EffectData* d, PF_ParamDef* p, int t, const glfxdef& def)
{
    const float* f = def.v;
    float* value = d->values[t];
    switch (fx.par[t].type) {
    case GLFX_INT:
    case GLFX_FLOAT:
    case GLFX_FLOAT2:
        value[0] = f[0];
        p->u.fs_d.value = f[0];
        break;
    case GLFX_CHECK:
        value[0] = f[0];
        p->u.bd.value = valueToInt(f[0]);
        break;
    case GLFX_POPUP:
        value[0] = f[0];
        p->u.pd.value = toLong(static_cast<double>(valueToInt(f[0])) + 1.0);
        break;
    case GLFX_COLOR:
        value[0] = f[0];
        value[1] = f[1];
        value[2] = f[2];
        p->u.cd.value.alpha = 255;
        p->u.cd.value.red = toChannel8(f[0]);
        p->u.cd.value.green = toChannel8(f[1]);
        p->u.cd.value.blue = toChannel8(f[2]);
        break;
    case GLFX_ANGLE:
        value[0] = f[0];
        p->u.ad.value = toLong(static_cast<double>(valueToInt(f[0])) * 65536.0);
        break;
    case GLFX_POINT:
        // Preset points are fractions of the input layer's size.
        value[0] = f[0];
        value[1] = f[1];
        p->u.td.x_value = roundFixed(static_cast<double>(f[0]) * d->layerWidth[0] * 65536.0);
        p->u.td.y_value = roundFixed(static_cast<double>(f[1]) * d->layerHeight[0] * 65536.0);
        break;
    default: break;
    }
    p->uu.change_flags = PF_ChangeFlag_CHANGED_VALUE;
}

} // namespace

PF_Err ParamsChanged(PF_InData* in_data, PF_OutData* out_data, PF_ParamDef** params, PF_LayerDef* /*output*/,
                     PF_UserChangedParamExtra* extra)
{
    if (!in_data || !out_data)
        return PF_Err_BAD_CALLBACK_PARAM;
    // The record's pointers are trusted only as views of its live owner.
    EffectData* d = glfxowner::adopt(
        in_data->sequence_data ? *reinterpret_cast<EffectData**>(in_data->sequence_data) : nullptr,
        in_data->sequence_data);
    if (!d)
        return PF_Err_INTERNAL_STRUCT_DAMAGED;
    if (!extra)
        return PF_Err_NONE;
    out_data->out_flags = PF_OutFlag_REFRESH_UI | PF_OutFlag_FORCE_RERENDER;

    const cglfx& fx = glfxDescription();
    const int count = std::min(fx.settings.params, glfxlimits::kMaxParams);
    const glfxhostmap map = hostPositions(fx);
    // The host names the changed parameter by its position in its array.
    const int changed = extra->param_index;
    if (!params || changed < 0 || changed >= map.count || !params[changed])
        return PF_Err_BAD_CALLBACK_PARAM;
    const int c = map.index[changed];
    const glfxpar& dc = fx.par[c];
    const int v = intValue(dc, *params[changed]);

    const GlobalData* global =
        in_data->global_data ? *reinterpret_cast<GlobalData**>(in_data->global_data) : nullptr;
    AEGP_SuiteHandler suites(in_data->pica_basicP);
    StreamAccess streams(suites, global ? global->pluginID : 0, in_data->effect_ref);

    PF_Err err = PF_Err_NONE;
    if (dc.type == GLFX_EVENT) {
        // An event fires once: the next frame sees it, and the checkbox goes
        // back to off so that it can be fired again.
        if (v != 0) {
            d->values[c][1] = 1.f;
            params[changed]->u.bd.value = 0;
            params[changed]->uu.change_flags = PF_ChangeFlag_CHANGED_VALUE;
        }
        suites.ReleaseAllSuites();
        return PF_Err_NONE;
    }
    if (dc.group[0] < 0) {
        const long long first = -static_cast<long long>(dc.group[0]);
        const long long last = first + std::max(1, valueToInt(dc.max));
        const long long selected = first + v - (dc.type == GLFX_POPUP ? 1 : 0);
        SwitchContext ctx{fx, map, count, d, in_data, params, suites, streams};
        err = applyGroupSwitch(ctx, first, last, selected);
    }

    switch (dc.flags) {
    case glfxflags::kIntegerDefine:
        if ((dc.type == GLFX_CHECK || dc.type == GLFX_POPUP) && d->defines) {
            (*d->defines)[glfxtext::definePrefix() + dc.uniform] = intToString(v);
            d->rebuild = true;
        }
        break;
    case glfxflags::kTextDefine:
        if (dc.type == GLFX_POPUP && d->defines) {
            (*d->defines)[glfxtext::definePrefix() + dc.uniform] = popupItemClamped(dc, v - 1);
            d->rebuild = true;
        }
        break;
    case glfxflags::kPreset:
        if (dc.type == GLFX_POPUP) {
            const auto preset = fx.settings.presets.find({c, v - 1});
            if (preset != fx.settings.presets.end()) {
                for (const auto& [t, def] : preset->second.values) {
                    // A target without a host control keeps its default.
                    if (t < 0 || t >= count || map.position[t] == glfxhostmap::kNotAdded)
                        continue;
                    PF_ParamDef* target = params[map.position[t]];
                    if (!target)
                        continue;
                    applyPresetValue(fx, d, target, t, def);
                }
            }
        }
        break;
    default: break;
    }
    suites.ReleaseAllSuites();
    return err;
}
