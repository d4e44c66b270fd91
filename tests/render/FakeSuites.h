// A small recording host for the suites the render code acquires: the world
// suite (pixel format), the parameter UI update, and the AEGP effect and
// stream calls. One instance is active at a time (the suite tables are plain
// C function tables that find it through `current`).
#pragma once

#include <cstdint>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "sdk/AE_SuiteHandler.h"

class FakeSuites {
public:
    FakeSuites()
    {
        current = this;
        basic_.AcquireSuite = acquire;
        basic_.ReleaseSuite = release;
    }
    ~FakeSuites() { current = nullptr; }
    FakeSuites(const FakeSuites&) = delete;
    FakeSuites& operator=(const FakeSuites&) = delete;

    const SPBasicSuite* basic() const { return &basic_; }

    // What the host answers.
    PF_PixelFormat pixelFormat = PF_PixelFormat_ARGB32;
    SPErr worldAcquireError = kSPNoError;
    std::map<int, A_Err> flagErrors;    // AEGP_SetDynamicStreamFlag, per stream index
    PF_Err updateUIError = PF_Err_NONE; // PF_UpdateParamUI
    bool withAEGP = true;               // offer the AEGP suites at all

    // What the plug-in did.
    struct UIUpdate {
        int index;
        PF_ParamUIFlags uiFlags;
        A_long changeFlags;
    };
    std::vector<UIUpdate> uiUpdates;
    std::vector<std::pair<int, bool>> hiddenCalls; // (stream index, hidden)
    std::vector<std::pair<int, std::string>> nameCalls;
    int effectsOut = 0; // effects obtained and not yet disposed
    int streamsOut = 0;
    int suitesOut = 0; // suites acquired and not yet released
    int effectsObtained = 0;
    AEGP_PluginID lastPluginID = -1;

    inline static FakeSuites* current = nullptr;

private:
    // Streams are handed out as small integers in disguise: index + 1.
    static int streamIndex(AEGP_StreamRefH s)
    {
        return static_cast<int>(reinterpret_cast<std::intptr_t>(s)) - 1;
    }

    static const void* suite(const char* name)
    {
        static PF_WorldSuite2 world{};
        static PF_ParamUtilsSuite3 utils{};
        static AEGP_PFInterfaceSuite1 pfInterface{};
        static AEGP_EffectSuite3 effect{};
        static AEGP_StreamSuite2 stream{};
        static AEGP_DynamicStreamSuite2 dynamic{};
        static const bool filled = [] {
            world.PF_GetPixelFormat = [](const PF_EffectWorld*, PF_PixelFormat* f) -> PF_Err {
                *f = current->pixelFormat;
                return PF_Err_NONE;
            };
            utils.PF_UpdateParamUI = [](PF_ProgPtr, PF_ParamIndex i, const PF_ParamDef* d) -> PF_Err {
                current->uiUpdates.push_back({i, d->ui_flags, d->uu.change_flags});
                return current->updateUIError;
            };
            pfInterface.AEGP_GetNewEffectForEffect = [](AEGP_PluginID id, PF_ProgPtr,
                                                        AEGP_EffectRefH* e) -> A_Err {
                current->lastPluginID = id;
                ++current->effectsOut;
                ++current->effectsObtained;
                *e = reinterpret_cast<AEGP_EffectRefH>(current);
                return A_Err_NONE;
            };
            effect.AEGP_DisposeEffect = [](AEGP_EffectRefH) -> A_Err {
                return --current->effectsOut, A_Err_NONE;
            };
            stream.AEGP_GetNewEffectStreamByIndex = [](AEGP_PluginID, AEGP_EffectRefH, PF_ParamIndex i,
                                                       AEGP_StreamRefH* s) -> A_Err {
                ++current->streamsOut;
                *s = reinterpret_cast<AEGP_StreamRefH>(static_cast<std::intptr_t>(i + 1));
                return A_Err_NONE;
            };
            stream.AEGP_DisposeStream = [](AEGP_StreamRefH) -> A_Err {
                return --current->streamsOut, A_Err_NONE;
            };
            dynamic.AEGP_SetDynamicStreamFlag = [](AEGP_StreamRefH s, AEGP_DynStreamFlags flag, A_Boolean,
                                                   A_Boolean set) -> A_Err {
                if (flag != AEGP_DynStreamFlag_HIDDEN)
                    return PF_Err_BAD_CALLBACK_PARAM;
                const auto e = current->flagErrors.find(streamIndex(s));
                if (e != current->flagErrors.end() && e->second)
                    return e->second;
                current->hiddenCalls.push_back({streamIndex(s), set != 0});
                return A_Err_NONE;
            };
            dynamic.AEGP_SetStreamName = [](AEGP_StreamRefH s, const A_char* n) -> A_Err {
                current->nameCalls.push_back({streamIndex(s), n});
                return A_Err_NONE;
            };
            return true;
        }();
        (void)filled;
        const bool aegp = current->withAEGP;
        if (!std::strcmp(name, kPFWorldSuite))
            return &world;
        if (!std::strcmp(name, kPFParamUtilsSuite))
            return &utils;
        if (aegp && !std::strcmp(name, kAEGPPFInterfaceSuite))
            return &pfInterface;
        if (aegp && !std::strcmp(name, kAEGPEffectSuite))
            return &effect;
        if (aegp && !std::strcmp(name, kAEGPStreamSuite))
            return &stream;
        if (aegp && !std::strcmp(name, kAEGPDynamicStreamSuite))
            return &dynamic;
        return nullptr;
    }

    static SPErr acquire(const char* name, A_long, const void** s)
    {
        *s = nullptr;
        if (!std::strcmp(name, kPFWorldSuite) && current->worldAcquireError)
            return current->worldAcquireError;
        if (!(*s = suite(name)))
            return kSPSuiteNotFoundError;
        ++current->suitesOut;
        return kSPNoError;
    }
    static SPErr release(const char*, A_long) { return --current->suitesOut, kSPNoError; }

    SPBasicSuite basic_{};
};
