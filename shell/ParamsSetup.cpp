#include "shell/ParamsSetup.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <string>

#include "glfx/HostMap.h"
#include "sdk/AE_EffectCB.h"

namespace glfxshell {
namespace {

// Truncation toward zero that is defined for every input: NaN gives 0 and
// values beyond the int range give the nearest int.
int truncToInt(double v)
{
    if (std::isnan(v))
        return 0;
    if (v >= 2147483647.0)
        return 2147483647;
    if (v <= -2147483648.0)
        return -2147483647 - 1;
    return static_cast<int>(v);
}

// 16.16 fixed point of a whole number, wrapping like the host's INT2FIX.
PF_Fixed toFixed(int v) { return static_cast<PF_Fixed>(static_cast<A_u_long>(v) << 16); }

// A fraction as percent in 16.16, rounded, kept within the host's limit.
PF_Fixed fixedPercent(float fraction)
{
    if (std::isnan(fraction))
        return 0;
    const double percent =
        std::clamp(static_cast<double>(fraction) * 100.0, -double(glfxlimits::kMaxPointPercent),
                   double(glfxlimits::kMaxPointPercent));
    return static_cast<PF_Fixed>(std::lround(percent * 65536.0));
}

A_u_char channel(float component)
{
    // Integer part of component x 255, kept to its low 8 bits.
    return static_cast<A_u_char>(truncToInt(component * 255.0) & 0xFF);
}

void fillSlider(const glfxpar& p, int precision, PF_ParamDef& def)
{
    // The slider shows min..max; a non-popup item text "a|b" widens what can
    // be typed in to a..b.
    float validMin = p.min, validMax = p.max;
    if (p.items.size() >= 2) {
        validMin = static_cast<float>(std::atof(p.items[0].c_str()));
        validMax = static_cast<float>(std::atof(p.items[1].c_str()));
    }
    PF_FloatSliderDef& fs = def.u.fs_d;
    def.param_type = PF_Param_FLOAT_SLIDER;
    fs.value = static_cast<double>(p.def[0]);
    fs.valid_min = validMin;
    fs.valid_max = validMax;
    fs.slider_min = p.min;
    fs.slider_max = p.max;
    fs.dephault = p.def[0];
    fs.precision = static_cast<A_short>(precision);
    fs.display_flags =
        p.flags > glfxflags::kPercentAbove ? PF_ValueDisplayFlag_PERCENT : PF_ValueDisplayFlag_NONE;
    fs.fs_flags = 0;
    fs.curve_tolerance = 0.05f;
    def.flags = 0;
}

} // namespace

bool buildParamDef(const glfxpar& p, int index, PF_ParamDef& def)
{
    std::memset(&def, 0, sizeof def);
    if (p.visibility == glfxvisibility::kDisabled)
        def.ui_flags = PF_PUI_DISABLED;
    else if (p.visibility == glfxvisibility::kHidden)
        def.ui_flags = PF_PUI_INVISIBLE;

    switch (p.type) {
    case GLFX_INT: fillSlider(p, 0, def); break;
    case GLFX_FLOAT:
    case GLFX_FLOAT2: // a single slider; the next parameter holds the second value
        fillSlider(p, 2, def);
        break;
    case GLFX_CHECK:
    case GLFX_EVENT: { // an event: a checkbox the plug-in turns off again once fired
        def.param_type = PF_Param_CHECKBOX;
        def.flags = PF_ParamFlag_SUPERVISE;
        const int v = p.type == GLFX_EVENT ? 0 : truncToInt(p.def[0]) & 0xFF;
        def.u.bd.value = v;
        def.u.bd.dephault = static_cast<PF_Boolean>(v);
        def.u.bd.u.nameptr = p.itemtext.c_str();
        break;
    }
    case GLFX_POPUP: {
        def.param_type = PF_Param_POPUP;
        def.flags = PF_ParamFlag_SUPERVISE;
        // Choices count from 1; the default never lies past the last choice.
        // The sum is formed in 64 bits: a maximum at the int limit must not
        // overflow before the host's 16-bit field takes it.
        def.u.pd.num_choices = static_cast<A_short>(static_cast<long long>(truncToInt(p.max)) + 1);
        def.u.pd.dephault =
            static_cast<A_short>(static_cast<long long>(truncToInt(std::min(p.max, p.def[0]))) + 1);
        def.u.pd.value = def.u.pd.dephault;
        def.u.pd.u.namesptr = p.itemtext.c_str();
        break;
    }
    case GLFX_LAYER:
        def.param_type = PF_Param_LAYER;
        def.u.ld.dephault = PF_LayerDefault_MYSELF;
        break;
    case GLFX_COLOR: {
        def.param_type = PF_Param_COLOR;
        PF_Pixel c;
        c.alpha = p.components == 4 ? channel(p.defAlpha) : 255;
        c.red = channel(p.def[0]);
        c.green = channel(p.def[1]);
        c.blue = channel(p.def[2]);
        def.u.cd.value = c;
        def.u.cd.dephault = c;
        break;
    }
    case GLFX_ANGLE:
        // Whole degrees only.
        def.param_type = PF_Param_ANGLE;
        def.u.ad.value = toFixed(truncToInt(p.def[0]));
        def.u.ad.dephault = def.u.ad.value;
        break;
    case GLFX_POINT: {
        // Defaults are fractions of the layer; the host takes percent, at
        // most 10000.
        def.param_type = PF_Param_POINT;
        if (p.pointSpace == glfxpoint::kLayer) {
            const int x = std::min(truncToInt(p.def[0] * 100.0), glfxlimits::kMaxPointPercent);
            const int y = std::min(truncToInt(p.def[1] * 100.0), glfxlimits::kMaxPointPercent);
            def.u.td.x_value = def.u.td.x_dephault = toFixed(x);
            def.u.td.y_value = def.u.td.y_dephault = toFixed(y);
        } else {
            // ISF points keep their fraction of the frame: percent in 16.16.
            def.u.td.x_value = def.u.td.x_dephault = fixedPercent(p.def[0]);
            def.u.td.y_value = def.u.td.y_dephault = fixedPercent(p.def[1]);
        }
        def.u.td.restrict_bounds = 0;
        break;
    }
    case GLFX_TOPIC_START:
        def.param_type = PF_Param_GROUP_START;
        def.flags = p.flags <= glfxflags::kGroupOpenAbove ? PF_ParamFlag_START_COLLAPSED : 0;
        break;
    case GLFX_TOPIC_END: def.param_type = PF_Param_GROUP_END; break;
    default: return false;
    }
    // Ids follow the description index, whatever types were skipped before.
    def.uu.id = index + 1;
    return true;
}

void copyParamName(const PF_InData* in_data, PF_ParamDef& def, const std::string& name)
{
    // The host's name field holds kMaxParamName characters and a terminator:
    // cut the name first, so that the copy can never run past the field.
    const std::string cut = name.substr(0, static_cast<std::size_t>(kMaxParamName));
    const PF_UtilCallbacks* u = in_data ? in_data->utils : nullptr;
    if (u && u->ansi.strcpy) {
        u->ansi.strcpy(def.name, cut.c_str());
    } else {
        std::memcpy(def.name, cut.c_str(), cut.size());
        def.name[cut.size()] = '\0';
    }
}

int hostParamCount(const cglfx& fx) { return std::clamp(fx.settings.params, 1, glfxlimits::kMaxParams); }

PF_Err ParamsSetup(PF_InData* in_data, PF_OutData* out_data, const cglfx& fx)
{
    if (!in_data || !out_data)
        return PF_Err_INTERNAL_STRUCT_DAMAGED;
    const int count = hostParamCount(fx);
    if (count > 1 && !in_data->inter.add_param)
        return PF_Err_INVALID_CALLBACK;

    for (int i = 1; i < count; ++i) {
        const glfxpar& p = fx.par[i];
        PF_ParamDef def;
        if (!buildParamDef(p, i, def))
            continue;
        if (p.type != GLFX_TOPIC_END)
            copyParamName(in_data, def, p.name);
        const PF_Err err = in_data->inter.add_param(in_data->effect_ref, -1, &def);
        if (err != PF_Err_NONE)
            return err;
    }
    // The input layer and every parameter that was added: a parameter
    // without a host control takes no place in the host's array.
    out_data->num_params = hostPositions(fx).count;
    return PF_Err_NONE;
}

} // namespace glfxshell
