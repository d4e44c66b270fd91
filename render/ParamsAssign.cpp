#include "render/ParamsAssign.h"

#include <algorithm>
#include <cstdlib>

#include "gl/Description.h"
#include "glfx/HostMap.h"
#include "render/GlobalData.h"
#include "render/StreamAccess.h"
#include "sdk/AE_SuiteHandler.h"

namespace {

constexpr double kPi = 3.141592653589793;

// Integer part of a 16.16 fixed value, rounded toward minus infinity.
inline int fixedToInt(PF_Fixed v) { return static_cast<int>(v >> 16); }

// A point's value as the shader takes it: layer pixels from the top-left
// (the host's own), frame pixels from the bottom-left, or the frame mapped
// onto the parameter's range (y up). `w` x `h`: the layer the host's point
// lies on.
void pointValue(const glfxpar& d, const PF_ParamDef& p, int w, int h, float* value)
{
    if (d.pointSpace == glfxpoint::kLayer) {
        // Layer pixels, not scaled by the downsample factors.
        value[0] = static_cast<float>(fixedToInt(p.u.td.x_value));
        value[1] = static_cast<float>(fixedToInt(p.u.td.y_value));
        return;
    }
    const double x = static_cast<double>(p.u.td.x_value) / 65536.0;
    const double y = static_cast<double>(p.u.td.y_value) / 65536.0;
    if (d.pointSpace == glfxpoint::kFrame || w <= 0 || h <= 0) {
        value[0] = static_cast<float>(x);
        value[1] = static_cast<float>(h - y);
        return;
    }
    value[0] = static_cast<float>(d.rangeMin[0] + x / w * (d.rangeMax[0] - d.rangeMin[0]));
    value[1] = static_cast<float>(d.rangeMin[1] + (1.0 - y / h) * (d.rangeMax[1] - d.rangeMin[1]));
}

void assignValue(const glfxpar& d, const PF_ParamDef& p, float* value)
{
    switch (d.type) {
    case GLFX_INT:
    case GLFX_FLOAT:
    case GLFX_FLOAT2: value[0] = static_cast<float>(p.u.fs_d.value); break;
    case GLFX_CHECK: value[0] = static_cast<float>(p.u.bd.value); break;
    case GLFX_POPUP: {
        // Host popups count from 1, shaders from 0; a popup with values
        // (an ISF long) sends the chosen item's value.
        const int item = p.u.pd.value - 1;
        value[0] = static_cast<float>(item);
        if (!d.itemValues.empty())
            value[0] = d.itemValues[static_cast<std::size_t>(
                std::clamp(item, 0, static_cast<int>(d.itemValues.size()) - 1))];
        break;
    }
    case GLFX_COLOR:
        // The host alpha is not a parameter value; value[3] keeps its own.
        value[0] = static_cast<float>(p.u.cd.value.red) / 255.0f;
        value[1] = static_cast<float>(p.u.cd.value.green) / 255.0f;
        value[2] = static_cast<float>(p.u.cd.value.blue) / 255.0f;
        // A colour of 4 components (ISF) takes the host value's alpha too.
        if (d.components == 4)
            value[3] = static_cast<float>(p.u.cd.value.alpha) / 255.0f;
        break;
    case GLFX_ANGLE: {
        const int degrees = fixedToInt(p.u.ad.value);
        // With the switch on, shaders get radians, turning the other way.
        value[0] = d.flags > glfxflags::kRadiansAbove ? static_cast<float>(degrees * -kPi / 180.0)
                                                      : static_cast<float>(degrees);
        break;
    }
    default: break;
    }
}

} // namespace

PF_Err ParamsAssign(PF_InData* in_data, PF_OutData* out_data, PF_ParamDef** params, PF_LayerDef* /*input*/,
                    PF_LayerDef* output, RenderData* record)
{
    if (!in_data || !out_data || !params || !record)
        return PF_Err_BAD_CALLBACK_PARAM;
    // Worlds are lent for one render: whatever the layer parameters' slots
    // held belongs to an earlier one and is forgotten before anything else
    // can fail. Slot 0, the input, was just set by the caller.
    for (int i = 1; i < glfxlimits::kMaxInputs; ++i)
        record->layers[i] = nullptr;
    const GlobalData* global =
        out_data->global_data ? *reinterpret_cast<GlobalData**>(out_data->global_data) : nullptr;
    if (!global)
        return PF_Err_INTERNAL_STRUCT_DAMAGED;

    const cglfx& fx = glfxDescription();
    AEGP_SuiteHandler suites(in_data->pica_basicP);
    StreamAccess streams(suites, global->pluginID, in_data->effect_ref);

    const int count =
        fx.settings.params < glfxlimits::kMaxParams ? fx.settings.params : glfxlimits::kMaxParams;
    const glfxhostmap map = hostPositions(fx);
    int slot = 1;
    A_Err streamErr = A_Err_NONE;
    // The layer the host's points lie on: the input, else the output.
    const PF_LayerDef* pointLayer = record->layers[0] ? record->layers[0] : output;
    const int pointW = pointLayer ? pointLayer->width : 0;
    const int pointH = pointLayer ? pointLayer->height : 0;
    for (int i = 1; i < count; ++i) {
        const glfxpar& d = fx.par[i];
        const PF_ParamDef* p = params[i];
        const int position = map.position[i];
        if (position == glfxhostmap::kNotAdded) {
            // No host control: the shader value is the described default.
            for (int k = 0; k < 3; ++k)
                record->values[i][k] = d.def[k];
        } else if (p) {
            if (d.type == GLFX_LAYER) {
                if (slot < glfxlimits::kMaxInputs)
                    record->layers[slot] = const_cast<PF_LayerDef*>(&p->u.ld);
                ++slot;
            } else if (d.type == GLFX_POINT) {
                pointValue(d, *p, pointW, pointH, record->values[i]);
            } else if (d.type == GLFX_EVENT) {
                // Fired by a user's change (ParamsChanged): true for this
                // frame only.
                record->values[i][0] = record->values[i][1];
                record->values[i][1] = 0.f;
            } else {
                assignValue(d, *p, record->values[i]);
            }
        } else if (d.type == GLFX_LAYER) {
            ++slot; // keep the later layers in their slots
        }

        // Hidden (2) or shown again (-2) by a group switch: tell the host's
        // stream. The first failure stops these updates for this call.
        // The host's streams count host positions.
        if (!record->isPremiere && position != glfxhostmap::kNotAdded &&
            std::abs(record->visibility[i]) == glfxvisibility::kHidden && streamErr == A_Err_NONE)
            streamErr = streams.setHidden(position, record->visibility[i] > 0);

        // The parameters' UI flags are not pushed from here: ParamsChanged
        // updates the UI when a switch changes.
        out_data->out_flags |= PF_OutFlag_REFRESH_UI;
    }
    suites.ReleaseAllSuites();
    return PF_Err_NONE;
}
