/* The suite functions that work on a session's state (the broker puts them
   in its tables): pixel formats, worlds, the parameter UI, AEGP
   registration and scripts, effect and stream references. */
#pragma once

#include "sdk/AE_Effect.h"
#include "sdk/AE_EffectCB.h"
#include "sdk/AE_GeneralPlug.h"
#include "sdk/PrSDKPixelFormat.h"

namespace glfxhost {

struct SuiteCallbacks {
    // pixel format suite
    static PF_Err addSupportedPixelFormat(PF_ProgPtr ref, PrPixelFormat fmt);
    static PF_Err clearSupportedPixelFormats(PF_ProgPtr ref);
    static PF_Err newWorldOfPixelFormat(PF_ProgPtr ref, A_u_long width, A_u_long height,
                                        PF_NewWorldFlags flags, PrPixelFormat fmt, PF_EffectWorld* world);
    // world suite
    static PF_Err newWorld(PF_ProgPtr ref, A_long width, A_long height, PF_Boolean clear, PF_PixelFormat fmt,
                           PF_EffectWorld* world);
    static PF_Err disposeWorld(PF_ProgPtr ref, PF_EffectWorld* world);
    // param utils suite
    static PF_Err updateParamUI(PF_ProgPtr ref, PF_ParamIndex index, const PF_ParamDef* def);
    // AEGP utility suite
    static A_Err registerWithAEGP(AEGP_GlobalRefcon refcon, const A_char* name, AEGP_PluginID* id);
    static A_Err executeScript(AEGP_PluginID id, const A_char* script, const A_Boolean platform,
                               AEGP_MemHandle* result, AEGP_MemHandle* error);
    // AEGP PF interface, effect, stream and dynamic stream suites
    static A_Err getNewEffectForEffect(AEGP_PluginID id, PF_ProgPtr ref, AEGP_EffectRefH* effect);
    static A_Err getNewEffectStreamByIndex(AEGP_PluginID id, AEGP_EffectRefH effect, PF_ParamIndex index,
                                           AEGP_StreamRefH* stream);
    static A_Err getEffectNumParamStreams(AEGP_EffectRefH effect, A_long* n);
    static A_Err getEffectParamUnionByIndex(AEGP_PluginID id, AEGP_EffectRefH effect, PF_ParamIndex index,
                                            PF_ParamType* type, PF_ParamDefUnion* u);
    static A_Err getStreamName(AEGP_StreamRefH stream, A_Boolean force_english, A_char* name);
    static A_Err setDynamicStreamFlag(AEGP_StreamRefH stream, AEGP_DynStreamFlags flag, A_Boolean undoable,
                                      A_Boolean set);
    static A_Err getDynamicStreamFlags(AEGP_StreamRefH stream, AEGP_DynStreamFlags* flags);
    static A_Err setStreamName(AEGP_StreamRefH stream, const A_char* name);
};

} // namespace glfxhost
