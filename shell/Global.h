// Global setup and setdown, the About text, and where the effect description
// comes from.
#pragma once

#include <string>

#include "glfx/Cglfx.h"
#include "sdk/AE_Effect.h"

// The embedded effect description (enciphered, plain, or the marker word that
// sends the plug-in to the user's description file). Defined by the source
// that `glfx pack` generates; a writable pointer, so that a tool can point it
// at another description before global setup.
extern "C" const char* _GLFX_CODE;

namespace glfxshell {

// Registration name given to AEGP_RegisterWithAEGP.
constexpr const char* kPluginName = "Morvanta Cinema Plugin";
// Version reported at global setup: 2.0.0, develop stage, build 1.
constexpr A_u_long kVersion = 0x100001;
constexpr PF_OutFlags kOutFlags = PF_OutFlag_WIDE_TIME_INPUT | PF_OutFlag_NON_PARAM_VARY |
                                  PF_OutFlag_I_DO_DIALOG | PF_OutFlag_DEEP_COLOR_AWARE |
                                  PF_OutFlag_SEND_UPDATE_PARAMS_UI;
constexpr PF_OutFlags2 kOutFlags2 = PF_OutFlag2_PARAM_GROUP_START_COLLAPSED_FLAG |
                                    PF_OutFlag2_SUPPORTS_SMART_RENDER | PF_OutFlag2_FLOAT_COLOR_AWARE |
                                    PF_OutFlag2_PPRO_DO_NOT_CLONE_SEQUENCE_DATA_FOR_RENDER;
// Characters of the description shown by About.
constexpr std::size_t kAboutDescriptionLength = glfxlimits::kAboutChars;

inline bool isPremiere(const PF_InData* in_data)
{
    return in_data && in_data->appl_id == PF_APPL_ID_PREMIERE;
}

// Reads the description behind `embedded` into `fx`.
void loadDescription(cglfx& fx, const char* embedded);

// GLOBAL_SETUP: version and flags, Premiere's pixel format, the global data
// record, then the description parsed into `fx`. An error of the global data
// step is returned after the description has still been loaded.
PF_Err GlobalSetup(PF_InData* in_data, PF_OutData* out_data, cglfx& fx, const char* embedded);

// GLOBAL_SETDOWN: disposes of the global data handle.
PF_Err GlobalSetdown(PF_InData* in_data, PF_OutData* out_data);

// Global setups not yet matched by a global setdown, process-wide. A host
// that plays several effects of this library in one process (the frei0r
// module, the reference host's sessions) sets each up and down on its own;
// only the last setdown ends the effect in the process.
int liveGlobalSetups();

// The About text "name version\rdescription" (description with its \r and \n
// escapes turned into characters and cut to kAboutDescriptionLength characters).
std::string aboutDescription(const cglfx& fx);

// ABOUT: writes the About text into out_data->return_msg (nothing under
// Premiere).
PF_Err About(PF_InData* in_data, PF_OutData* out_data, const cglfx& fx);

} // namespace glfxshell
