#include "FakeSuites.h"

#include <cstring>

FakeSuites* FakeSuites::current = nullptr;

namespace {

// Streams are handed out as small integers in disguise: index + 1.
AEGP_StreamRefH toStream(int index) { return reinterpret_cast<AEGP_StreamRefH>(static_cast<std::intptr_t>(index + 1)); }
int streamIndex(AEGP_StreamRefH s) { return static_cast<int>(reinterpret_cast<std::intptr_t>(s)) - 1; }

PF_Err getPixelFormat(const PF_EffectWorld*, PF_PixelFormat* f)
{
    *f = FakeSuites::current->pixelFormat;
    return PF_Err_NONE;
}

PF_Err updateParamUI(PF_ProgPtr, PF_ParamIndex index, const PF_ParamDef* def)
{
    FakeSuites* h = FakeSuites::current;
    h->uiUpdates.push_back({index, def->ui_flags, def->uu.change_flags});
    return h->updateUIError;
}

A_Err getNewEffectForEffect(AEGP_PluginID id, PF_ProgPtr, AEGP_EffectRefH* effect)
{
    FakeSuites* h = FakeSuites::current;
    h->lastPluginID = id;
    if (h->effectError) return h->effectError;
    ++h->effectsOut;
    ++h->effectsObtained;
    *effect = reinterpret_cast<AEGP_EffectRefH>(h);
    return A_Err_NONE;
}

A_Err disposeEffect(AEGP_EffectRefH) { --FakeSuites::current->effectsOut; return A_Err_NONE; }

A_Err getStream(AEGP_PluginID, AEGP_EffectRefH, PF_ParamIndex index, AEGP_StreamRefH* stream)
{
    FakeSuites* h = FakeSuites::current;
    if (h->streamError) return h->streamError;
    ++h->streamsOut;
    *stream = toStream(index);
    return A_Err_NONE;
}

A_Err disposeStream(AEGP_StreamRefH) { --FakeSuites::current->streamsOut; return A_Err_NONE; }

A_Err setFlag(AEGP_StreamRefH s, AEGP_DynStreamFlags flag, A_Boolean, A_Boolean set)
{
    FakeSuites* h = FakeSuites::current;
    if (flag != AEGP_DynStreamFlag_HIDDEN) return PF_Err_BAD_CALLBACK_PARAM;
    const auto e = h->flagErrors.find(streamIndex(s));
    if (e != h->flagErrors.end() && e->second) return e->second;
    h->hiddenCalls.push_back({streamIndex(s), set != 0});
    return A_Err_NONE;
}

A_Err setName(AEGP_StreamRefH s, const A_char* name)
{
    FakeSuites::current->nameCalls.push_back({streamIndex(s), name});
    return A_Err_NONE;
}

PF_WorldSuite2 worldSuite{nullptr, nullptr, getPixelFormat};
PF_ParamUtilsSuite3 paramUtils{};
AEGP_PFInterfaceSuite1 pfInterface{};
AEGP_EffectSuite3 effectSuite{};
AEGP_StreamSuite2 streamSuite{};
AEGP_DynamicStreamSuite2 dynamicSuite{};

SPErr acquire(const char* name, A_long, const void** suite)
{
    FakeSuites* h = FakeSuites::current;
    *suite = nullptr;
    if (!std::strcmp(name, kPFWorldSuite)) {
        if (h->worldAcquireError) return h->worldAcquireError;
        *suite = &worldSuite;
    } else if (!std::strcmp(name, kPFParamUtilsSuite)) {
        *suite = &paramUtils;
    } else if (h->withAEGP && !std::strcmp(name, kAEGPPFInterfaceSuite)) {
        *suite = &pfInterface;
    } else if (h->withAEGP && !std::strcmp(name, kAEGPEffectSuite)) {
        *suite = &effectSuite;
    } else if (h->withAEGP && !std::strcmp(name, kAEGPStreamSuite)) {
        *suite = &streamSuite;
    } else if (h->withAEGP && !std::strcmp(name, kAEGPDynamicStreamSuite)) {
        *suite = &dynamicSuite;
    } else {
        return kSPSuiteNotFoundError;
    }
    ++h->suitesOut;
    return kSPNoError;
}

SPErr release(const char*, A_long)
{
    --FakeSuites::current->suitesOut;
    return kSPNoError;
}

}  // namespace

FakeSuites::FakeSuites()
{
    current = this;
    basic_.AcquireSuite = acquire;
    basic_.ReleaseSuite = release;
    paramUtils.PF_UpdateParamUI = updateParamUI;
    pfInterface.AEGP_GetNewEffectForEffect = getNewEffectForEffect;
    effectSuite.AEGP_DisposeEffect = disposeEffect;
    streamSuite.AEGP_GetNewEffectStreamByIndex = getStream;
    streamSuite.AEGP_DisposeStream = disposeStream;
    dynamicSuite.AEGP_SetDynamicStreamFlag = setFlag;
    dynamicSuite.AEGP_SetStreamName = setName;
}

FakeSuites::~FakeSuites() { current = nullptr; }
