/* Suite access helpers for effect code.

   AEGP_SuiteHandler acquires host suites lazily, on the first call of an
   accessor, and releases each acquired suite exactly once, in
   ReleaseAllSuites() or in its destructor. An accessor answers nullptr when
   the host does not provide that suite (or no broker was given); callers
   must check. The handler is meant to live for one host command.

   AEFX_AcquireSuite / AEFX_ReleaseSuite take or give back one suite through
   in_data->pica_basicP, reporting a failure in out_data->return_msg when an
   error text is given. */
#pragma once

#include "sdk/AE_Effect.h"
#include "sdk/AE_EffectCB.h"
#include "sdk/AE_EffectCBSuites.h"
#include "sdk/AE_EffectSuites.h"
#include "sdk/AE_GeneralPlug.h"
#include "sdk/SPBasic.h"

#include <stdio.h>

#ifdef __cplusplus

class AEGP_SuiteHandler {
public:
    explicit AEGP_SuiteHandler(const SPBasicSuite* basic) : basic_(basic) {}
    ~AEGP_SuiteHandler() { ReleaseAllSuites(); }

    AEGP_SuiteHandler(const AEGP_SuiteHandler&) = delete;
    AEGP_SuiteHandler& operator=(const AEGP_SuiteHandler&) = delete;

    const SPBasicSuite* Pica() const { return basic_; }

    AEGP_UtilitySuite4* UtilitySuite() const { return get<AEGP_UtilitySuite4>(utility_); }
    AEGP_MemorySuite1* MemorySuite() const { return get<AEGP_MemorySuite1>(memory_); }
    PF_HandleSuite1* HandleSuite1() const { return get<PF_HandleSuite1>(handle_); }
    PF_ANSICallbacksSuite1* ANSICallbacksSuite1() const { return get<PF_ANSICallbacksSuite1>(ansi_); }
    AEGP_PFInterfaceSuite1* PFInterfaceSuite() const { return get<AEGP_PFInterfaceSuite1>(pfInterface_); }
    AEGP_EffectSuite3* EffectSuite() const { return get<AEGP_EffectSuite3>(effect_); }
    AEGP_StreamSuite2* StreamSuite() const { return get<AEGP_StreamSuite2>(stream_); }
    AEGP_DynamicStreamSuite2* DynamicStreamSuite() const
    {
        return get<AEGP_DynamicStreamSuite2>(dynamicStream_);
    }
    PF_ParamUtilsSuite3* ParamUtilsSuite() const { return get<PF_ParamUtilsSuite3>(paramUtils_); }
    PF_WorldSuite2* WorldSuite2() const { return get<PF_WorldSuite2>(world_); }
    PF_PixelFormatSuite1* PixelFormatSuite1() const { return get<PF_PixelFormatSuite1>(pixelFormat_); }

    /* The same suites under their versioned names. */
    AEGP_UtilitySuite4* UtilitySuite4() const { return UtilitySuite(); }
    AEGP_MemorySuite1* MemorySuite1() const { return MemorySuite(); }
    AEGP_PFInterfaceSuite1* PFInterfaceSuite1() const { return PFInterfaceSuite(); }
    AEGP_EffectSuite3* EffectSuite3() const { return EffectSuite(); }
    AEGP_StreamSuite2* StreamSuite2() const { return StreamSuite(); }
    AEGP_DynamicStreamSuite2* DynamicStreamSuite2() const { return DynamicStreamSuite(); }
    PF_ParamUtilsSuite3* ParamUtilsSuite3() const { return ParamUtilsSuite(); }

    /* Gives back every suite acquired so far; later accessor calls acquire
       again. */
    void ReleaseAllSuites()
    {
        Slot* all[] = {&utility_, &memory_,        &handle_,     &ansi_,  &pfInterface_, &effect_,
                       &stream_,  &dynamicStream_, &paramUtils_, &world_, &pixelFormat_};
        for (Slot* s : all) {
            if (s->suite && basic_ && basic_->ReleaseSuite)
                basic_->ReleaseSuite(s->name, s->version);
            s->suite = nullptr;
            s->tried = false;
        }
    }

private:
    struct Slot {
        const char* name;
        A_long version;
        const void* suite; // the acquired table, null when not held
        bool tried;        // acquisition attempted since the last release
    };

    template <typename T>
    T* get(Slot& s) const
    {
        if (!s.tried) {
            s.tried = true;
            s.suite = nullptr;
            const void* p = nullptr;
            if (basic_ && basic_->AcquireSuite && basic_->AcquireSuite(s.name, s.version, &p) == kSPNoError &&
                p)
                s.suite = p;
        }
        return static_cast<T*>(const_cast<void*>(s.suite));
    }

    const SPBasicSuite* basic_;
    mutable Slot utility_{kAEGPUtilitySuite, kAEGPUtilitySuiteVersion4, nullptr, false};
    mutable Slot memory_{kAEGPMemorySuite, kAEGPMemorySuiteVersion1, nullptr, false};
    mutable Slot handle_{kPFHandleSuite, kPFHandleSuiteVersion1, nullptr, false};
    mutable Slot ansi_{kPFANSISuite, kPFANSISuiteVersion1, nullptr, false};
    mutable Slot pfInterface_{kAEGPPFInterfaceSuite, kAEGPPFInterfaceSuiteVersion1, nullptr, false};
    mutable Slot effect_{kAEGPEffectSuite, kAEGPEffectSuiteVersion3, nullptr, false};
    mutable Slot stream_{kAEGPStreamSuite, kAEGPStreamSuiteVersion2, nullptr, false};
    mutable Slot dynamicStream_{kAEGPDynamicStreamSuite, kAEGPDynamicStreamSuiteVersion2, nullptr, false};
    mutable Slot paramUtils_{kPFParamUtilsSuite, kPFParamUtilsSuiteVersion3, nullptr, false};
    mutable Slot world_{kPFWorldSuite, kPFWorldSuiteVersion2, nullptr, false};
    mutable Slot pixelFormat_{kPFPixelFormatSuite, kPFPixelFormatSuiteVersion1, nullptr, false};
};

/* Acquires suite `name` at `version` into *suite. On failure *suite is null,
   and when error_stringPC0 is given, a message naming it is written into
   out_data->return_msg with PF_OutFlag_DISPLAY_ERROR_MESSAGE set. Returns
   PF_Err_NONE or PF_Err_BAD_CALLBACK_PARAM. */
inline PF_Err AEFX_AcquireSuite(PF_InData* in_data, PF_OutData* out_data, const char* name, A_long version,
                                const char* error_stringPC0, void** suite)
{
    if (!suite)
        return PF_Err_BAD_CALLBACK_PARAM;
    *suite = nullptr;
    const SPBasicSuite* basic = in_data ? in_data->pica_basicP : nullptr;
    const void* p = nullptr;
    if (basic && basic->AcquireSuite && name && basic->AcquireSuite(name, version, &p) == kSPNoError && p) {
        *suite = const_cast<void*>(p);
        return PF_Err_NONE;
    }
    if (error_stringPC0 && out_data) {
        snprintf(out_data->return_msg, sizeof(out_data->return_msg), "%s", error_stringPC0);
        out_data->out_flags |= PF_OutFlag_DISPLAY_ERROR_MESSAGE;
    }
    return PF_Err_BAD_CALLBACK_PARAM;
}

/* Gives back a suite taken with AEFX_AcquireSuite. Failure is reported like
   AEFX_AcquireSuite's. */
inline PF_Err AEFX_ReleaseSuite(PF_InData* in_data, PF_OutData* out_data, const char* name, A_long version,
                                const char* error_stringPC0)
{
    const SPBasicSuite* basic = in_data ? in_data->pica_basicP : nullptr;
    if (basic && basic->ReleaseSuite && name && basic->ReleaseSuite(name, version) == kSPNoError)
        return PF_Err_NONE;
    if (error_stringPC0 && out_data) {
        snprintf(out_data->return_msg, sizeof(out_data->return_msg), "%s", error_stringPC0);
        out_data->out_flags |= PF_OutFlag_DISPLAY_ERROR_MESSAGE;
    }
    return PF_Err_BAD_CALLBACK_PARAM;
}

#endif /* __cplusplus */
