#include "shell/RenderCommands.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <memory>
#include <vector>

#include "gl/AE_GL_Context.h"
#include "gl/InitContext.h"
#include "gl/Preamble.h"
#include "glfx/HostMap.h"
#include "glfx/ParamDefines.h"
#include "render/GlobalData.h"
#include "render/MyDoRender.h"
#include "render/ParamsAssign.h"
#include "render/Rect.h"
#include "shell/Alert.h"
#include "shell/Global.h"
#include "shell/ParamsSetup.h"
#include "shell/Sequence.h"

namespace glfxshell {
namespace {

// The parameters of one frame, checked out from the host and checked in
// again on every path (also when rendering throws). Slot i holds description
// parameter i; slot 0 is the host's input parameter, which is not ours.
class FrameParams {
public:
    FrameParams(PF_InData* in_data, PF_ParamDef* input) : in_(in_data)
    {
        slots_.assign(glfxlimits::kMaxParams, nullptr);
        slots_[0] = input;
    }
    ~FrameParams() { checkin(); }
    FrameParams(const FrameParams&) = delete;
    FrameParams& operator=(const FrameParams&) = delete;

    // Checks out parameters 1 .. count-1; stops at the first error.
    PF_Err checkout(const cglfx& fx)
    {
        const int count = hostParamCount(fx);
        const glfxhostmap map = hostPositions(fx);
        if (map.count > 1 && !in_->inter.checkout_param)
            return PF_Err_INVALID_CALLBACK;
        for (int i = 1; i < count; ++i) {
            // A parameter without a host control has nothing to check out;
            // the others are asked for at the position they were added at.
            const int position = map.position[i];
            if (position == glfxhostmap::kNotAdded)
                continue;
            std::unique_ptr<PF_ParamDef> def(new PF_ParamDef);
            std::memset(def.get(), 0, sizeof(PF_ParamDef));
            const PF_Err err =
                in_->inter.checkout_param(in_->effect_ref, position, checkoutTime(in_, fx.par[i]),
                                          in_->time_step, in_->time_scale, def.get());
            if (err != PF_Err_NONE)
                return err;
            owned_.push_back(std::move(def));
            slots_[i] = owned_.back().get();
        }
        return PF_Err_NONE;
    }

    // Checks every checked-out parameter in, in index order; the first error.
    PF_Err checkin()
    {
        PF_Err first = PF_Err_NONE;
        for (auto& def : owned_) {
            PF_Err err = PF_Err_NONE;
            if (in_->inter.checkin_param)
                err = in_->inter.checkin_param(in_->effect_ref, def.get());
            if (first == PF_Err_NONE)
                first = err;
        }
        owned_.clear();
        return first;
    }

    PF_ParamDef** array() { return slots_.data(); }

private:
    PF_InData* in_;
    std::vector<PF_ParamDef*> slots_;
    std::vector<std::unique_ptr<PF_ParamDef>> owned_;
};

EffectData* instance(PF_InData* in_data) { return liveRecord(in_data, in_data->sequence_data); }

// Whether the plug-in's global data is there; without it (after global
// setdown) no snapshot can be taken, and a render builds nothing.
bool haveGlobalData(const PF_OutData* out_data)
{
    return out_data->global_data && *reinterpret_cast<GlobalData**>(out_data->global_data);
}

void ensureContext(EffectData* d)
{
    if (!d->glContext)
        vInitContext(d);
}

// ParamsAssign then MyDoRender with the frame's parameters. A render that
// cannot take a fresh snapshot fails before anything is drawn. The worlds in
// the record's layer table are lent for this render only and are forgotten
// when it ends, whatever happened.
PF_Err drawFrame(PF_InData* in_data, PF_OutData* out_data, FrameParams& frame, EffectData* d,
                 PF_LayerDef* input, PF_LayerDef* output)
{
    struct ForgetWorlds {
        EffectData* d;
        ~ForgetWorlds()
        {
            for (PF_LayerDef*& layer : d->layers)
                layer = nullptr;
        }
    } forget{d};
    const PF_Err err = ParamsAssign(in_data, out_data, frame.array(), input, output, d);
    if (err != PF_Err_NONE)
        return err;
    return MyDoRender(in_data, input, d, out_data, output, frame.array());
}

// drawFrame, then the parameters are checked in, whose first error counts
// only after a successful render.
PF_Err renderFrame(PF_InData* in_data, PF_OutData* out_data, FrameParams& frame, EffectData* d,
                   PF_LayerDef* input, PF_LayerDef* output)
{
    const PF_Err err = drawFrame(in_data, out_data, frame, d, input, output);
    const PF_Err checkinErr = frame.checkin();
    return err != PF_Err_NONE ? err : checkinErr;
}

} // namespace

A_long checkoutTime(const PF_InData* in_data, const glfxpar& par)
{
    if (par.type != GLFX_LAYER)
        return in_data->current_time;
    // A layer's first default is its time offset in whole frames. The sum is
    // formed in 64 bits and kept within the host's time range, so that no
    // description value can overflow it.
    const long long t = static_cast<long long>(in_data->current_time) +
                        static_cast<long long>(valueToInt(par.def[0])) * in_data->time_step;
    return static_cast<A_long>(
        std::clamp<long long>(t, std::numeric_limits<A_long>::min(), std::numeric_limits<A_long>::max()));
}

PF_Err Render(PF_InData* in_data, PF_OutData* out_data, PF_ParamDef* params[], PF_LayerDef* output,
              const cglfx& fx)
{
    EffectData* d = instance(in_data);
    if (!d || !haveGlobalData(out_data))
        return PF_Err_INTERNAL_STRUCT_DAMAGED;
    ensureContext(d);
    PF_LayerDef* input = (params && params[0]) ? &params[0]->u.ld : nullptr;
    d->layers[0] = input;
    if (!input || !output)
        return PF_Err_INTERNAL_STRUCT_DAMAGED;

    FrameParams frame(in_data, params[0]);
    const PF_Err err = frame.checkout(fx);
    if (err != PF_Err_NONE)
        return err;
    return renderFrame(in_data, out_data, frame, d, input, output);
}

PF_Err SmartPreRender(PF_InData* in_data, PF_OutData* /*out_data*/, PF_PreRenderExtra* extra, const cglfx& fx)
{
    if (!extra || !extra->input || !extra->output || !extra->cb || !extra->cb->checkout_layer)
        return PF_Err_INTERNAL_STRUCT_DAMAGED;
    const PF_RenderRequest request = extra->input->output_request;
    PF_CheckoutResult result;
    std::memset(&result, 0, sizeof result);
    PF_Err err = extra->cb->checkout_layer(in_data->effect_ref, 0, 0, &request, in_data->current_time,
                                           in_data->time_step, in_data->time_scale, &result);
    if (err != PF_Err_NONE)
        return err;
    UnionLRect(&result.result_rect, &extra->output->result_rect);
    UnionLRect(&result.max_result_rect, &extra->output->max_result_rect);

    // The layer parameters are asked for too, so the host has them at smart
    // render; their extents do not change this effect's.
    const int count = hostParamCount(fx);
    const glfxhostmap map = hostPositions(fx);
    for (int i = 1; i < count && err == PF_Err_NONE; ++i) {
        if (fx.par[i].type != GLFX_LAYER || map.position[i] == glfxhostmap::kNotAdded)
            continue;
        // Index and checkout id are the layer's host position.
        const int position = map.position[i];
        PF_CheckoutResult layerResult;
        std::memset(&layerResult, 0, sizeof layerResult);
        err = extra->cb->checkout_layer(in_data->effect_ref, position, position, &request,
                                        checkoutTime(in_data, fx.par[i]), in_data->time_step,
                                        in_data->time_scale, &layerResult);
    }
    return err;
}

PF_Err SmartRender(PF_InData* in_data, PF_OutData* out_data, PF_ParamDef* params[],
                   PF_SmartRenderExtra* extra, const cglfx& fx)
{
    EffectData* d = instance(in_data);
    if (!d || !haveGlobalData(out_data))
        return PF_Err_INTERNAL_STRUCT_DAMAGED;
    ensureContext(d);
    if (!extra || !extra->cb || !extra->cb->checkout_layer_pixels || !extra->cb->checkout_output)
        return PF_Err_INTERNAL_STRUCT_DAMAGED;

    d->layers[0] = nullptr;
    PF_Err err = extra->cb->checkout_layer_pixels(in_data->effect_ref, 0, &d->layers[0]);
    if (err != PF_Err_NONE)
        return err;
    PF_LayerDef* output = nullptr;
    err = extra->cb->checkout_output(in_data->effect_ref, &output);
    if (err != PF_Err_NONE)
        return err;
    PF_LayerDef* input = d->layers[0];
    if (!input || !output)
        return PF_Err_INTERNAL_STRUCT_DAMAGED;

    FrameParams frame(in_data, params ? params[0] : nullptr);
    err = frame.checkout(fx);
    if (err != PF_Err_NONE)
        return err;
    err = drawFrame(in_data, out_data, frame, d, input, output);
    if (err == PF_Err_NONE && extra->cb->checkin_layer_pixels)
        err = extra->cb->checkin_layer_pixels(in_data->effect_ref, 0);
    const PF_Err checkinErr = frame.checkin();
    return err != PF_Err_NONE ? err : checkinErr;
}

PF_Err DoDialog(PF_InData* in_data, PF_OutData* /*out_data*/, cglfx& fx, const char* embedded)
{
    EffectData* d = instance(in_data);
    if (!d || !d->glContext)
        return PF_Err_NONE;
    // A description that no longer reads is told, and the one in use stays.
    auto next = std::make_unique<cglfx>();
    loadDescription(*next, embedded);
    if (!next->loadError.empty()) {
        if (!isPremiere(in_data))
            alert(in_data, next->loadError);
        return PF_Err_NONE;
    }
    fx = *next;
    d->glContext->InitGL(getDefines(d), false);
    if (!d->glContext->log.empty() && !isPremiere(in_data))
        alert(in_data, d->glContext->log);
    return PF_Err_NONE;
}

} // namespace glfxshell
