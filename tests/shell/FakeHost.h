// A small in-process host for driving the shell's functions directly: the
// command records, handle callbacks, ANSI helpers, add_param, and the suites
// the shell acquires (handle, ANSI, AEGP utility and memory; the pixel format
// suite is not offered), each recording what the plug-in did. One FakeHost is
// active at a time.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <tuple>
#include <vector>

#include "sdk/AE_EffectCB.h"
#include "sdk/AE_EffectCBSuites.h"
#include "sdk/AE_GeneralPlug.h"
#include "sdk/SPBasic.h"

class FakeHost {
public:
    explicit FakeHost(bool premiere = false);
    ~FakeHost();
    FakeHost(const FakeHost&) = delete;
    FakeHost& operator=(const FakeHost&) = delete;

    PF_InData in{};
    PF_OutData out{};
    PF_UtilCallbacks utils{};
    SPBasicSuite basic{};

    // Which suites the broker offers (all by default).
    std::map<std::string, bool> offered;
    // Handle callbacks in in_data->utils can be taken away.
    void removeUtilHandleCallbacks();

    // add_param: the definitions received.
    std::vector<PF_ParamDef> added;
    PF_Err addParamResult = PF_Err_NONE;
    int failAddParamAt = -1; // index in `added` whose call fails
    // 0: add_param returns; 1: it throws std::bad_alloc; 2: std::runtime_error.
    int addParamThrows = 0;

    // checkout_param / checkin_param: (index, time) of each checkout; the
    // checkout of `failCheckoutAt` fails with PF_Err_BAD_CALLBACK_PARAM.
    std::vector<std::pair<PF_ParamIndex, A_long>> checkouts;
    PF_ParamIndex failCheckoutAt = -1;
    int checkins = 0;
    // Smart pre-render checkout_layer: (index, checkout id, time), and the
    // rectangles it answers.
    std::vector<std::tuple<PF_ParamIndex, A_long, A_long>> layerCheckouts;
    PF_LRect layerResult{0, 0, 0, 0};
    PF_LRect layerMaxResult{0, 0, 0, 0};
    PF_Err layerCheckoutResult = PF_Err_NONE;
    PF_PreRenderCallbacks preRenderCallbacks{};

    // AEGP: registration answers id 77 or fails with `registerResult`;
    // scripts run are recorded.
    A_Err registerResult = 0;
    std::vector<std::string> scripts;
    std::string scriptResult = "ok";
    A_Err scriptError = 0;
    int memHandlesLive = 0;
    // Handle suite and utils handles.
    bool failNewHandle = false;
    int handlesLive = 0;
    int resizeCalls = 0;
    std::map<std::string, int> acquired, released;

    // Handles made by this host.
    PF_Handle newHandle(std::size_t size);
    std::size_t sizeOf(PF_Handle h) const;

    struct Block {
        void* data;
        std::size_t size;
    };
    std::map<PF_Handle, Block*> handles;
};
