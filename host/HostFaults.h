/* Switches that make the host misbehave as a real host can: a suite it does
   not offer, a callback it leaves null, an allocation or a callback that
   fails. Tests set them on a Session (Session::faults()) to see what the
   effect does then; every switch is off by default and takes effect at the
   effect's next call into the host. */
#pragma once

#include "sdk/AE_Effect.h"
#include "sdk/AE_GeneralPlug.h"

#include <map>
#include <optional>
#include <set>
#include <string>

namespace glfxhost {

struct HostFaults {
    /* AcquireSuite refuses these suites (kSPSuiteNotFoundError) although the
       host offers them; by name, e.g. kPFWorldSuite or kAEGPUtilitySuite. The
       refusal is recorded in Records::suiteMisses like any other. */
    std::set<std::string> missingSuites;

    /* in_data->utils comes with its six handle callbacks null (new, lock,
       unlock, dispose, get size, resize), as from a host that has none. */
    bool nullHandleCallbacks = false;
    /* in_data->utils->ansi.strcpy is null. */
    bool nullAnsiStrcpy = false;

    /* Every handle the effect asks for (host_new_handle or the handle suite's
       new handle) is refused: null, as when the host is out of memory. */
    bool failNewHandle = false;

    /* The add_param call with this number (0: the first of the parameter
       setup) answers addParamError and adds nothing; -1: none fails. */
    int failAddParamAt = -1;
    PF_Err addParamError = PF_Err_OUT_OF_MEMORY;
    /* add_param throws instead of answering, as a host written in C++ can
       when its own allocation fails: std::bad_alloc, or std::runtime_error
       with the text "host failure". */
    enum class Throw { None, BadAlloc, RuntimeError };
    Throw addParamThrows = Throw::None;

    /* checkout_param of this parameter index answers checkoutParamError and
       fills nothing; -1: none fails. */
    PF_ParamIndex failCheckoutParam = -1;
    PF_Err checkoutParamError = PF_Err_BAD_CALLBACK_PARAM;

    /* checkout_layer (smart pre-render) answers this for every layer;
       PF_Err_NONE: it works. */
    PF_Err checkoutLayerError = PF_Err_NONE;

    /* AEGP_RegisterWithAEGP answers this and hands out no plug-in id. */
    A_Err registerError = A_Err_NONE;
    /* AEGP_ExecuteScript records the script, then answers this without
       running it or handing back a result. */
    A_Err scriptError = A_Err_NONE;
    /* AEGP_SetDynamicStreamFlag on the stream of these parameter indices
       answers the error given and changes nothing. */
    std::map<PF_ParamIndex, A_Err> streamFlagErrors;

    /* PF_UpdateParamUI answers this and records nothing. */
    PF_Err updateParamUIError = PF_Err_NONE;

    /* PF_GetPixelFormat of the world suite answers this code for every world
       instead of the world's own (e.g. one this host never makes). */
    std::optional<PF_PixelFormat> pixelFormat;
};

} // namespace glfxhost
