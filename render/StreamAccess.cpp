#include "render/StreamAccess.h"

A_Err StreamAccess::update(int index, HiddenChange hidden, const char* name)
{
    AEGP_PFInterfaceSuite1* pfInterface = suites_.PFInterfaceSuite();
    AEGP_StreamSuite2* streamSuite = suites_.StreamSuite();
    AEGP_DynamicStreamSuite2* dynamic = suites_.DynamicStreamSuite();
    AEGP_EffectSuite3* effectSuite = suites_.EffectSuite();
    if (!pfInterface || !pfInterface->AEGP_GetNewEffectForEffect || !streamSuite ||
        !streamSuite->AEGP_GetNewEffectStreamByIndex || !streamSuite->AEGP_DisposeStream || !dynamic ||
        !effectSuite || !effectSuite->AEGP_DisposeEffect)
        return PF_Err_BAD_CALLBACK_PARAM;

    AEGP_EffectRefH effect = nullptr;
    AEGP_StreamRefH stream = nullptr;
    A_Err err = pfInterface->AEGP_GetNewEffectForEffect(pluginID_, effectRef_, &effect);
    if (!err)
        err = streamSuite->AEGP_GetNewEffectStreamByIndex(pluginID_, effect, index, &stream);
    if (!err && hidden != kLeaveHidden) {
        err = dynamic->AEGP_SetDynamicStreamFlag
                  ? dynamic->AEGP_SetDynamicStreamFlag(stream, AEGP_DynStreamFlag_HIDDEN, false,
                                                       hidden == kHide)
                  : PF_Err_BAD_CALLBACK_PARAM;
    }
    if (!err && name && *name) {
        err = dynamic->AEGP_SetStreamName ? dynamic->AEGP_SetStreamName(stream, name)
                                          : PF_Err_BAD_CALLBACK_PARAM;
    }
    // Handles that were obtained are given back whatever happened; a failure
    // there is reported only when nothing failed before.
    if (stream) {
        const A_Err e = streamSuite->AEGP_DisposeStream(stream);
        if (!err)
            err = e;
    }
    if (effect) {
        const A_Err e = effectSuite->AEGP_DisposeEffect(effect);
        if (!err)
            err = e;
    }
    return err;
}
