#include "shell/Sequence.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "gl/AE_GL_Context.h"
#include "gl/InitContext.h"
#include "glfx/strings.h"
#include "sdk/AE_EffectCB.h"
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

// Clears every pointer of a record read from bytes this process did not
// write, without releasing anything, together with the sizes that describe
// the buffers the pointers held.
void dropPointers(EffectData* d)
{
    d->glContext = nullptr;
    d->defines = nullptr;
    for (int i = 0; i < glfxlimits::kMaxInputs; ++i) {
        d->layerBuffers[i] = nullptr;
        d->layers[i] = nullptr;
        d->layerWidth[i] = d->layerHeight[i] = 0;
        d->bufferWidth[i] = d->bufferHeight[i] = 0;
        d->layerSkip[i] = false;
    }
    d->outputBuffer = nullptr;
    d->outputBufferWidth = d->outputBufferHeight = 0;
}

EffectData* currentRecord(PF_InData* in_data, PF_OutData* out_data)
{
    if (in_data->sequence_data)
        return recordOf(in_data, in_data->sequence_data);
    return recordOf(in_data, out_data->sequence_data);
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

void releaseInstance(EffectData* d, bool uninit)
{
    if (!d)
        return;
    if (releaseContext(d, uninit))
        d->rebuild = true;
    for (int i = 0; i < glfxlimits::kMaxInputs; ++i) {
        if (d->layerBuffers[i]) {
            std::free(d->layerBuffers[i]);
            d->layerBuffers[i] = nullptr;
            d->layerWidth[i] = d->layerHeight[i] = 0;
            d->bufferWidth[i] = d->bufferHeight[i] = 0;
            d->layerSkip[i] = false;
        }
        // Worlds are lent by the host for one render only.
        d->layers[i] = nullptr;
    }
    if (d->outputBuffer) {
        std::free(d->outputBuffer);
        d->outputBuffer = nullptr;
        d->outputBufferWidth = d->outputBufferHeight = 0;
    }
}

PF_Err SequenceSetupCommand(PF_InData* in_data, PF_OutData* out_data, PF_ParamDef** params,
                            PF_LayerDef* output, const cglfx& fx)
{
    const PF_Err err = SequenceSetup(in_data, out_data, params, output);
    if (EffectData* d = currentRecord(in_data, out_data)) {
        for (int i = 0; i < glfxlimits::kMaxParams; ++i)
            d->visibility[i] = fx.par[i].visibility;
        delete d->defines;
        d->defines = nullptr;
        d->isPremiere = isPremiere(in_data);
        d->rebuild = true;
        d->glContext = nullptr;
    }
    return err;
}

PF_Err SequenceResetup(PF_InData* in_data, PF_OutData* out_data, PF_ParamDef** params, PF_LayerDef* output)
{
    // Creates a record when there is none and corrects a wrong-sized one.
    const PF_Err err = SequenceSetup(in_data, out_data, params, output);
    if (err != PF_Err_NONE)
        return err;
    if (EffectData* d = currentRecord(in_data, out_data)) {
        delete d->defines;
        d->defines = nullptr;
        d->rebuild = true;
        d->glContext = nullptr;
        d->isPremiere = isPremiere(in_data);
    }
    return PF_Err_NONE;
}

PF_Err SequenceFlatten(PF_InData* in_data, PF_OutData* /*out_data*/)
{
    releaseInstance(recordOf(in_data, in_data->sequence_data), false);
    return PF_Err_NONE;
}

PF_Err SequenceSetdown(PF_InData* in_data, PF_OutData* out_data)
{
    releaseInstance(recordOf(in_data, in_data->sequence_data), true);
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
                dropPointers(static_cast<EffectData*>(*h));
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
