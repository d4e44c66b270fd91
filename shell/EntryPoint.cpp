// Command dispatch: every host command enters here and leaves with a host
// error code; no exception crosses this function.
#include "shell/EntryPoint.h"

#include <cstdio>
#include <exception>
#include <new>

#include "gl/Description.h"
#include "gl/InstanceOwner.h"
#include "render/ParamsChanged.h"
#include "shell/Global.h"
#include "shell/ParamsSetup.h"
#include "shell/RenderCommands.h"
#include "shell/Sequence.h"

namespace {

PF_Err dispatch(PF_Cmd cmd, PF_InData* in_data, PF_OutData* out_data, PF_ParamDef* params[],
                PF_LayerDef* output, void* extra)
{
    using namespace glfxshell;
    cglfx& fx = glfxDescription();
    switch (cmd) {
    case PF_Cmd_ABOUT: return About(in_data, out_data, fx);
    case PF_Cmd_GLOBAL_SETUP: return GlobalSetup(in_data, out_data, fx, _GLFX_CODE);
    case PF_Cmd_GLOBAL_SETDOWN: {
        const PF_Err err = GlobalSetdown(in_data, out_data);
        // The last global setdown ends the effect in this process: instances
        // that no sequence setdown released go with it.
        if (liveGlobalSetups() == 0)
            glfxowner::releaseAll();
        return err;
    }
    case PF_Cmd_PARAMS_SETUP: return ParamsSetup(in_data, out_data, fx);
    case PF_Cmd_SEQUENCE_SETUP: return SequenceSetupCommand(in_data, out_data, params, output, fx);
    case PF_Cmd_SEQUENCE_RESETUP: return SequenceResetup(in_data, out_data, params, output);
    case PF_Cmd_SEQUENCE_FLATTEN: return SequenceFlatten(in_data, out_data);
    case PF_Cmd_SEQUENCE_SETDOWN: return SequenceSetdown(in_data, out_data);
    case PF_Cmd_DO_DIALOG: return DoDialog(in_data, out_data, fx, _GLFX_CODE);
    case PF_Cmd_RENDER: return Render(in_data, out_data, params, output, fx);
    case PF_Cmd_USER_CHANGED_PARAM:
        return ParamsChanged(in_data, out_data, params, output,
                             static_cast<PF_UserChangedParamExtra*>(extra));
    case PF_Cmd_UPDATE_PARAMS_UI: return ParamsChanged(in_data, out_data, params, output, nullptr);
    case PF_Cmd_SMART_PRE_RENDER:
        return SmartPreRender(in_data, out_data, static_cast<PF_PreRenderExtra*>(extra), fx);
    case PF_Cmd_SMART_RENDER:
        return SmartRender(in_data, out_data, params, static_cast<PF_SmartRenderExtra*>(extra), fx);
    default: return PF_Err_NONE;
    }
}

// A failure the user should see: the message goes to the host with the flag
// that makes it show it.
void setMessage(PF_OutData* out_data, const char* text)
{
    std::snprintf(out_data->return_msg, sizeof out_data->return_msg, "%s", text);
    out_data->out_flags |= PF_OutFlag_DISPLAY_ERROR_MESSAGE;
}

bool handled(PF_Cmd cmd)
{
    switch (cmd) {
    case PF_Cmd_ABOUT:
    case PF_Cmd_GLOBAL_SETUP:
    case PF_Cmd_GLOBAL_SETDOWN:
    case PF_Cmd_PARAMS_SETUP:
    case PF_Cmd_SEQUENCE_SETUP:
    case PF_Cmd_SEQUENCE_RESETUP:
    case PF_Cmd_SEQUENCE_FLATTEN:
    case PF_Cmd_SEQUENCE_SETDOWN:
    case PF_Cmd_DO_DIALOG:
    case PF_Cmd_RENDER:
    case PF_Cmd_USER_CHANGED_PARAM:
    case PF_Cmd_UPDATE_PARAMS_UI:
    case PF_Cmd_SMART_PRE_RENDER:
    case PF_Cmd_SMART_RENDER: return true;
    default: return false;
    }
}

} // namespace

extern "C" __attribute__((visibility("default"))) PF_Err EntryPointFunc(PF_Cmd cmd, PF_InData* in_data,
                                                                        PF_OutData* out_data,
                                                                        PF_ParamDef* params[],
                                                                        PF_LayerDef* output, void* extra)
{
    // Commands this effect does not serve are no error, and touch nothing.
    if (!handled(cmd))
        return PF_Err_NONE;
    if (!in_data || !out_data)
        return PF_Err_INTERNAL_STRUCT_DAMAGED;
    try {
        return dispatch(cmd, in_data, out_data, params, output, extra);
    } catch (const std::bad_alloc&) {
        setMessage(out_data, "Out of memory.");
        return PF_Err_OUT_OF_MEMORY;
    } catch (const std::exception& e) {
        setMessage(out_data, e.what());
        return PF_Err_INTERNAL_STRUCT_DAMAGED;
    } catch (...) {
        setMessage(out_data, "Internal error.");
        return PF_Err_INTERNAL_STRUCT_DAMAGED;
    }
}
