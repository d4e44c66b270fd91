// Changes to the host's streams of this effect instance's parameters (hidden
// flag, display name) through the AEGP suites. Each change obtains the effect
// and the parameter's stream and disposes of both before it returns.
#pragma once

#include "sdk/AE_SuiteHandler.h"

class StreamAccess {
public:
    StreamAccess(AEGP_SuiteHandler& suites, AEGP_PluginID pluginID, PF_ProgPtr effectRef)
        : suites_(suites), pluginID_(pluginID), effectRef_(effectRef)
    {}

    enum HiddenChange { kLeaveHidden, kShow, kHide };

    // Applies `hidden` (when not kLeaveHidden), then, when `name` is not null
    // or empty and nothing failed so far, renames the stream of parameter
    // `index`. Returns the first error; a suite the host lacks counts as
    // PF_Err_BAD_CALLBACK_PARAM.
    A_Err update(int index, HiddenChange hidden, const char* name);

    A_Err setHidden(int index, bool hide) { return update(index, hide ? kHide : kShow, nullptr); }

private:
    AEGP_SuiteHandler& suites_;
    AEGP_PluginID pluginID_;
    PF_ProgPtr effectRef_;
};
