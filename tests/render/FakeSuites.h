// A small recording host for the suites the render code acquires: the world
// suite (pixel format), the parameter UI update, and the AEGP effect and
// stream calls. One instance is active at a time (the suite tables are plain
// C function tables).
#pragma once

#include <map>
#include <string>
#include <vector>

#include "sdk/AE_SuiteHandler.h"

class FakeSuites {
public:
    FakeSuites();
    ~FakeSuites();

    const SPBasicSuite* basic() const { return &basic_; }

    // What the host answers.
    PF_PixelFormat pixelFormat = PF_PixelFormat_ARGB32;
    SPErr worldAcquireError = kSPNoError;
    A_Err effectError = A_Err_NONE;       // AEGP_GetNewEffectForEffect
    A_Err streamError = A_Err_NONE;       // AEGP_GetNewEffectStreamByIndex
    std::map<int, A_Err> flagErrors;      // AEGP_SetDynamicStreamFlag, per stream index
    PF_Err updateUIError = PF_Err_NONE;   // PF_UpdateParamUI
    bool withAEGP = true;                 // offer the AEGP suites at all

    // What the plug-in did.
    struct UIUpdate {
        int index;
        PF_ParamUIFlags uiFlags;
        A_long changeFlags;
    };
    std::vector<UIUpdate> uiUpdates;
    std::vector<std::pair<int, bool>> hiddenCalls;  // (stream index, hidden)
    std::vector<std::pair<int, std::string>> nameCalls;
    int effectsOut = 0;   // effects obtained and not yet disposed
    int streamsOut = 0;
    int suitesOut = 0;    // suites acquired and not yet released
    int effectsObtained = 0;
    AEGP_PluginID lastPluginID = -1;

    static FakeSuites* current;

private:
    SPBasicSuite basic_{};
};
