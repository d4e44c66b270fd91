#include "shell/Global.h"

#include <atomic>
#include <cstdio>
#include <cstring>

#include "glfx/Source.h"
#include "glfx/Text.h"
#include "render/GlobalData.h"
#include "sdk/AE_SuiteHandler.h"

namespace glfxshell {
namespace {

// Version 1 of the pixel format suite, taken straight from the broker as the
// host offers it only to some effects.
void declarePremiereFormats(PF_InData* in_data)
{
    const SPBasicSuite* basic = in_data->pica_basicP;
    if (!basic || !basic->AcquireSuite)
        return;
    const void* p = nullptr;
    if (basic->AcquireSuite(kPFPixelFormatSuite, kPFPixelFormatSuiteVersion1, &p) != kSPNoError || !p)
        return;
    const PF_PixelFormatSuite1* formats = static_cast<const PF_PixelFormatSuite1*>(p);
    if (formats->ClearSupportedPixelFormats)
        formats->ClearSupportedPixelFormats(in_data->effect_ref);
    if (formats->AddSupportedPixelFormat)
        formats->AddSupportedPixelFormat(in_data->effect_ref, PrPixelFormat_BGRA_4444_8u);
    if (basic->ReleaseSuite)
        basic->ReleaseSuite(kPFPixelFormatSuite, kPFPixelFormatSuiteVersion1);
}

// Creates the global data record and registers with the AEGP side (not under
// Premiere). The handle reaches out_data->global_data only when registration
// succeeded or was skipped; otherwise it is disposed of again.
PF_Err createGlobalData(PF_InData* in_data, PF_OutData* out_data)
{
    AEGP_SuiteHandler suites(in_data->pica_basicP);
    PF_HandleSuite1* handles = suites.HandleSuite1();
    if (!handles || !handles->host_new_handle || !handles->host_lock_handle)
        return PF_Err_INTERNAL_STRUCT_DAMAGED;
    PF_Handle h = handles->host_new_handle(sizeof(GlobalData));
    if (!h)
        return PF_Err_INTERNAL_STRUCT_DAMAGED;
    GlobalData* g = static_cast<GlobalData*>(handles->host_lock_handle(h));
    if (!g) {
        if (handles->host_dispose_handle)
            handles->host_dispose_handle(h);
        return PF_Err_INTERNAL_STRUCT_DAMAGED;
    }

    std::memset(g, 0, sizeof *g);
    g->initialized = 1;
    PF_Err err = PF_Err_NONE;
    if (!isPremiere(in_data)) {
        AEGP_UtilitySuite4* utility = suites.UtilitySuite();
        if (utility && utility->AEGP_RegisterWithAEGP)
            err = utility->AEGP_RegisterWithAEGP(nullptr, kPluginName, &g->pluginID);
        else
            err = PF_Err_INTERNAL_STRUCT_DAMAGED;
    }
    if (err == PF_Err_NONE)
        out_data->global_data = h;
    if (handles->host_unlock_handle)
        handles->host_unlock_handle(h);
    if (err == PF_Err_NONE) {
        g->initialized = 1;
    } else if (handles->host_dispose_handle) {
        handles->host_dispose_handle(h);
    }
    return err;
}

} // namespace

void loadDescription(cglfx& fx, const char* embedded)
{
    std::string text = descriptionText(embedded);
    fx.parse(text);
}

namespace {
std::atomic<int> globalSetups{0};
} // namespace

int liveGlobalSetups() { return globalSetups.load(); }

PF_Err GlobalSetup(PF_InData* in_data, PF_OutData* out_data, cglfx& fx, const char* embedded)
{
    ++globalSetups;
    out_data->my_version = kVersion;
    out_data->out_flags = kOutFlags;
    out_data->out_flags2 = kOutFlags2;
    if (isPremiere(in_data)) {
        // Premiere hands this effect 8-bit BGRA only.
        out_data->out_flags &= ~PF_OutFlag_DEEP_COLOR_AWARE;
        out_data->out_flags2 &= ~PF_OutFlag2_FLOAT_COLOR_AWARE;
        declarePremiereFormats(in_data);
    }

    // A global data failure is reported, but the description is still read so
    // that the other commands have an effect to work with.
    const PF_Err err = createGlobalData(in_data, out_data);
    loadDescription(fx, embedded);
    return err;
}

PF_Err GlobalSetdown(PF_InData* in_data, PF_OutData* /*out_data*/)
{
    // A setdown without a setup (a host sending commands out of order) does
    // not count below zero.
    int live = globalSetups.load();
    while (live > 0 && !globalSetups.compare_exchange_weak(live, live - 1)) {}
    AEGP_SuiteHandler suites(in_data->pica_basicP);
    if (in_data->global_data) {
        PF_HandleSuite1* handles = suites.HandleSuite1();
        if (handles && handles->host_dispose_handle)
            handles->host_dispose_handle(in_data->global_data);
    }
    return PF_Err_NONE;
}

std::string aboutDescription(const cglfx& fx)
{
    std::string description = fx.settings.description;
    strReplace(description, "\\r", "\r");
    strReplace(description, "\\n", "\n");
    return description.substr(0, kAboutDescriptionLength);
}

PF_Err About(PF_InData* in_data, PF_OutData* out_data, const cglfx& fx)
{
    if (isPremiere(in_data))
        return PF_Err_NONE;

    const std::string description = aboutDescription(fx);
    // return_msg holds 255 characters: the description is at most 201, the
    // name is cut to the host's effect name length and the version to what
    // is left, so the formatted text always fits.
    const std::size_t room = sizeof out_data->return_msg - 1;
    const std::string name = fx.settings.name.substr(0, PF_MAX_EFFECT_NAME_LEN);
    const std::size_t used = name.size() + 2 + description.size();
    const std::string version = fx.settings.version.substr(0, used < room ? room - used : 0);

    AEGP_SuiteHandler suites(in_data->pica_basicP);
    PF_ANSICallbacksSuite1* ansi = suites.ANSICallbacksSuite1();
    if (ansi && ansi->sprintf) {
        ansi->sprintf(out_data->return_msg, "%s %s\r%s", name.c_str(), version.c_str(), description.c_str());
    } else {
        std::snprintf(out_data->return_msg, sizeof out_data->return_msg, "%s %s\r%s", name.c_str(),
                      version.c_str(), description.c_str());
    }
    return PF_Err_NONE;
}

} // namespace glfxshell
