// Names of command selectors, parameter types and host modes.
#include "host/Names.h"

namespace glfxhost {

const char* hostModeName(HostMode mode) { return mode == HostMode::Premiere ? "premiere" : "ae"; }

const char* commandName(PF_Cmd cmd)
{
    static const char* const names[] = {"ABOUT",
                                        "GLOBAL_SETUP",
                                        "UNUSED_0",
                                        "GLOBAL_SETDOWN",
                                        "PARAMS_SETUP",
                                        "SEQUENCE_SETUP",
                                        "SEQUENCE_RESETUP",
                                        "SEQUENCE_FLATTEN",
                                        "SEQUENCE_SETDOWN",
                                        "DO_DIALOG",
                                        "FRAME_SETUP",
                                        "RENDER",
                                        "FRAME_SETDOWN",
                                        "USER_CHANGED_PARAM",
                                        "UPDATE_PARAMS_UI",
                                        "EVENT",
                                        "GET_EXTERNAL_DEPENDENCIES",
                                        "COMPLETELY_GENERAL",
                                        "QUERY_DYNAMIC_FLAGS",
                                        "AUDIO_RENDER",
                                        "AUDIO_SETUP",
                                        "AUDIO_SETDOWN",
                                        "ARBITRARY_CALLBACK",
                                        "SMART_PRE_RENDER",
                                        "SMART_RENDER"};
    if (cmd >= 0 && cmd < static_cast<PF_Cmd>(sizeof names / sizeof names[0]))
        return names[cmd];
    return "UNKNOWN";
}

const char* paramTypeName(PF_ParamType type)
{
    switch (type) {
    case PF_Param_LAYER: return "LAYER";
    case PF_Param_SLIDER: return "SLIDER";
    case PF_Param_FIX_SLIDER: return "FIX_SLIDER";
    case PF_Param_ANGLE: return "ANGLE";
    case PF_Param_CHECKBOX: return "CHECKBOX";
    case PF_Param_COLOR: return "COLOR";
    case PF_Param_POINT: return "POINT";
    case PF_Param_POPUP: return "POPUP";
    case PF_Param_CUSTOM: return "CUSTOM";
    case PF_Param_NO_DATA: return "NO_DATA";
    case PF_Param_FLOAT_SLIDER: return "FLOAT_SLIDER";
    case PF_Param_ARBITRARY_DATA: return "ARBITRARY_DATA";
    case PF_Param_PATH: return "PATH";
    case PF_Param_GROUP_START: return "GROUP_START";
    case PF_Param_GROUP_END: return "GROUP_END";
    case PF_Param_BUTTON: return "BUTTON";
    case PF_Param_POINT_3D: return "POINT_3D";
    default: return "UNKNOWN";
    }
}

} // namespace glfxhost
