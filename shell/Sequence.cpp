#include "shell/Sequence.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "gl/AE_GL_Context.h"
#include "gl/InitContext.h"
#include "gl/InstanceOwner.h"
#include "glfx/Strings.h"
#include "sdk/AE_EffectCB.h"
#include "shell/Alert.h"
#include "shell/Global.h"
#include "shell/Handles.h"

namespace glfxshell {
namespace {

constexpr std::size_t kRecordSize = sizeof(EffectData);

void setOutOfMemoryMessage(PF_InData* in_data, PF_OutData* out_data)
{
    const std::string message = glfxtext::outOfMemoryMessage();
    const PF_UtilCallbacks* u = in_data->utils;
    if (u && u->ansi.sprintf && message.size() < sizeof out_data->return_msg)
        u->ansi.sprintf(out_data->return_msg, "%s", message.c_str());
    else
        std::snprintf(out_data->return_msg, sizeof out_data->return_msg, "%s", message.c_str());
    out_data->out_flags |= PF_OutFlag_DISPLAY_ERROR_MESSAGE;
}

PF_Handle currentHandle(PF_InData* in_data, PF_OutData* out_data)
{
    return in_data->sequence_data ? in_data->sequence_data : out_data->sequence_data;
}

} // namespace

EffectData* recordOf(const PF_InData* in_data, PF_Handle handle)
{
    if (!handle || !*handle)
        return nullptr;
    const std::int64_t size = handleSize(in_data, handle);
    if (size >= 0 && size < static_cast<std::int64_t>(kRecordSize))
        return nullptr;
    return static_cast<EffectData*>(*handle);
}

EffectData* liveRecord(const PF_InData* in_data, PF_Handle handle)
{
    return glfxowner::adopt(recordOf(in_data, handle), handle);
}

PF_Err SequenceSetupCommand(PF_InData* in_data, PF_OutData* out_data, PF_ParamDef** params,
                            PF_LayerDef* output, const cglfx& fx)
{
    const PF_Err err = SequenceSetup(in_data, out_data, params, output);
    // A description that could not be read leaves an effect that passes its
    // input through; the user is told why when applying it.
    if (!fx.loadError.empty() && !isPremiere(in_data))
        alert(in_data, fx.loadError);
    if (EffectData* d = liveRecord(in_data, currentHandle(in_data, out_data))) {
        for (int i = 0; i < glfxlimits::kMaxParams; ++i)
            d->visibility[i] = fx.par[i].visibility;
        // A second setup of the same instance releases what the first one's
        // renders made; stale pointers were dropped unread by liveRecord.
        releaseInstance(d, true);
        d->isPremiere = isPremiere(in_data);
        d->rebuild = true;
    }
    return err;
}

PF_Err SequenceResetup(PF_InData* in_data, PF_OutData* out_data, PF_ParamDef** params, PF_LayerDef* output)
{
    // Creates a record when there is none and corrects a wrong-sized one.
    const PF_Err err = SequenceSetup(in_data, out_data, params, output);
    if (err != PF_Err_NONE)
        return err;
    // Pointers in bytes the host hands back are stale unless they are views
    // of this instance's live owner: liveRecord drops them unread. What a
    // live owner still holds is released.
    if (EffectData* d = liveRecord(in_data, currentHandle(in_data, out_data))) {
        releaseInstance(d, true);
        d->rebuild = true;
        d->isPremiere = isPremiere(in_data);
    }
    return PF_Err_NONE;
}

PF_Err SequenceFlatten(PF_InData* in_data, PF_OutData* /*out_data*/)
{
    if (EffectData* d = liveRecord(in_data, in_data->sequence_data)) {
        if (releaseInstance(d, false))
            d->rebuild = true;
    }
    return PF_Err_NONE;
}

PF_Err SequenceSetdown(PF_InData* in_data, PF_OutData* out_data)
{
    releaseInstance(liveRecord(in_data, in_data->sequence_data), true);
    if (PF_Handle h = in_data->sequence_data) {
        const std::int64_t size = handleSize(in_data, h);
        if (size >= 0 && size != static_cast<std::int64_t>(kRecordSize))
            resizeHandle(in_data, kRecordSize, &h);
        disposeHandle(in_data, h);
    }
    out_data->sequence_data = nullptr;
    in_data->sequence_data = nullptr;
    return PF_Err_NONE;
}

} // namespace glfxshell

PF_Err SequenceSetup(PF_InData* in_data, PF_OutData* out_data, PF_ParamDef** /*params*/,
                     PF_LayerDef* /*output*/)
{
    using namespace glfxshell;
    if (in_data->sequence_data) {
        const std::int64_t size = handleSize(in_data, in_data->sequence_data);
        if (size >= 0 && size != static_cast<std::int64_t>(kRecordSize)) {
            // A record of this instance that the host grew keeps nothing: what
            // its live owner held is released before the bytes move.
            if (size > static_cast<std::int64_t>(kRecordSize))
                releaseInstance(liveRecord(in_data, in_data->sequence_data), true);
            PF_Handle h = in_data->sequence_data;
            const PF_Err err = resizeHandle(in_data, kRecordSize, &h);
            if (err != PF_Err_NONE)
                return err;
            in_data->sequence_data = h;
            out_data->sequence_data = h;
            // The bytes that were there are kept (a record followed by extra
            // bytes keeps its state) and the bytes the resize added are zeroed.
            // Bytes of a handle that was not one record carry no pointer of
            // this process: they are dropped, as a flattened record has them.
            const std::size_t kept = static_cast<std::size_t>(size);
            if (*h && kept < kRecordSize)
                std::memset(static_cast<char*>(*h) + kept, 0, kRecordSize - kept);
            if (*h)
                glfxowner::adopt(static_cast<EffectData*>(*h), h);
        }
        return PF_Err_NONE;
    }

    PF_Handle h = newHandle(in_data, kRecordSize);
    if (!h || !*h) {
        if (h)
            disposeHandle(in_data, h);
        setOutOfMemoryMessage(in_data, out_data);
        return PF_Err_INTERNAL_STRUCT_DAMAGED;
    }
    out_data->sequence_data = h;
    out_data->flat_sdata_size = static_cast<A_long>(kRecordSize);
    std::memset(*h, 0, kRecordSize);
    return PF_Err_NONE;
}
