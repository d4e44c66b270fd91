/* General host services (AEGP suites) an effect may use: registration,
   scripting, host memory, and access to the effect's own parameter streams
   (names and visibility). Function tables list every slot in the host's
   order; slots this system never calls are typed AEGP_UnusedFunc so that the
   table keeps its layout without committing to their signatures. */
#pragma once

#include "sdk/AE_Effect.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef A_long AEGP_PluginID;
typedef void* AEGP_GlobalRefcon;
typedef A_long AEGP_EffectIndex;
typedef A_long AEGP_InstalledEffectKey;
typedef A_long AEGP_EffectFlags;
typedef A_long AEGP_LayerStream;
typedef A_long AEGP_MaskStream;
typedef A_long AEGP_StreamType;
typedef A_long AEGP_StreamGroupingType;
typedef A_long AEGP_KeyInterpolationMask;
typedef A_long AEGP_LTimeMode;
typedef A_long AEGP_MaskIDVal;
typedef A_u_longlong AEGP_MemSize;
typedef A_long AEGP_MemFlag;
typedef A_long AEGP_StreamFlags;
typedef A_long AEGP_DynStreamFlags;

/* Opaque host references. */
typedef struct _AEGP_OpaqueMem** AEGP_MemHandle;
typedef struct _AEGP_OpaqueLayer* AEGP_LayerH;
typedef struct _AEGP_OpaqueEffectRef* AEGP_EffectRefH;
typedef struct _AEGP_OpaqueStreamRef* AEGP_StreamRefH;
typedef struct _AEGP_OpaqueMaskRef* AEGP_MaskRefH;

typedef struct AEGP_ErrReportState {
    A_long reservedAL[4];
} AEGP_ErrReportState;

typedef struct AEGP_ColorVal {
    A_FpLong alphaF, redF, greenF, blueF;
} AEGP_ColorVal;

/* Placeholder for table slots that this system never calls. */
typedef A_Err (*AEGP_UnusedFunc)(void);

/* ---- Stream flags ----------------------------------------------------- */

enum {
    AEGP_StreamFlag_NONE = 0,
    AEGP_StreamFlag_HAS_MIN = 1L << 0,
    AEGP_StreamFlag_HAS_MAX = 1L << 1,
    AEGP_StreamFlag_IS_SPATIAL = 1L << 2
};

enum {
    AEGP_DynStreamFlag_ACTIVE_EYEBALL = 1L << 0,
    AEGP_DynStreamFlag_HIDDEN = 1L << 1, /* the stream is not shown in the UI */
    AEGP_DynStreamFlag_DISABLED = 1L << 4,
    AEGP_DynStreamFlag_ELIDED = 1L << 5,
    AEGP_DynStreamFlag_SHOWN_WHEN_EMPTY = 1L << 10,
    AEGP_DynStreamFlag_SKIP_REVEAL_WHEN_UNHIDDEN = 1L << 16
};

enum { AEGP_MemFlag_NONE = 0, AEGP_MemFlag_CLEAR = 1L << 0, AEGP_MemFlag_QUIET = 1L << 1 };

/* ---- AEGP Utility Suite ----------------------------------------------- */

#define kAEGPUtilitySuite         "AEGP Utility Suite"
#define kAEGPUtilitySuiteVersion4 8

typedef struct AEGP_UtilitySuite4 {
    A_Err (*AEGP_ReportInfo)(AEGP_PluginID aegp_plugin_id, const A_char* info_stringZ);
    A_Err (*AEGP_GetDriverPluginInitFuncVersion)(A_short* major_versionPS, A_short* minor_versionPS);
    A_Err (*AEGP_GetDriverImplementationVersion)(A_short* major_versionPS, A_short* minor_versionPS);
    A_Err (*AEGP_StartQuietErrors)(AEGP_ErrReportState* err_stateP);
    A_Err (*AEGP_EndQuietErrors)(A_Boolean report_quieted_errorsB, AEGP_ErrReportState* err_stateP);
    A_Err (*AEGP_GetLastErrorMessage)(A_long buffer_size, A_char* error_string, A_Err* error_num);
    A_Err (*AEGP_StartUndoGroup)(const A_char* undo_nameZ);
    A_Err (*AEGP_EndUndoGroup)(void);
    /* Gives an effect a plug-in id for the AEGP calls that need one. */
    A_Err (*AEGP_RegisterWithAEGP)(AEGP_GlobalRefcon global_refcon, const A_char* plugin_nameZ,
                                   AEGP_PluginID* plugin_id);
    A_Err (*AEGP_GetMainHWND)(void* main_hwnd);
    A_Err (*AEGP_ShowHideAllFloaters)(A_Boolean include_tool_palB);
    A_Err (*AEGP_PaintPalGetForeColor)(AEGP_ColorVal* fore_colorP);
    A_Err (*AEGP_PaintPalGetBackColor)(AEGP_ColorVal* back_colorP);
    A_Err (*AEGP_PaintPalSetForeColor)(const AEGP_ColorVal* fore_colorP);
    A_Err (*AEGP_PaintPalSetBackColor)(const AEGP_ColorVal* back_colorP);
    A_Err (*AEGP_CharPalGetFillColor)(A_Boolean* is_fill_color_definedPB, AEGP_ColorVal* fill_colorP);
    A_Err (*AEGP_CharPalGetStrokeColor)(A_Boolean* is_stroke_color_definedPB, AEGP_ColorVal* stroke_colorP);
    A_Err (*AEGP_CharPalSetFillColor)(const AEGP_ColorVal* fill_colorP);
    A_Err (*AEGP_CharPalSetStrokeColor)(const AEGP_ColorVal* stroke_colorP);
    A_Err (*AEGP_CharPalIsFillColorUIFrontmost)(A_Boolean* is_fill_color_selectedPB);
    A_Err (*AEGP_ConvertFpLongToHSFRatio)(A_FpLong numberF, A_Ratio* ratioP);
    A_Err (*AEGP_ConvertHSFRatioToFpLong)(A_Ratio ratioR, A_FpLong* numberPF);
    A_Err (*AEGP_CauseIdleRoutinesToBeCalled)(void);
    A_Err (*AEGP_GetSuppressInteractiveUI)(A_Boolean* ui_is_suppressedPB);
    A_Err (*AEGP_WriteToOSConsole)(const A_char* textZ);
    A_Err (*AEGP_WriteToDebugLog)(const A_char* subsystemZ, const A_char* event_typeZ, const A_char* infoZ);
    A_Err (*AEGP_IsScriptingAvailable)(A_Boolean* outAvailablePB);
    /* Runs a script in the host; the result and error texts come back as
       memory handles the caller frees (either out pointer may be null). */
    A_Err (*AEGP_ExecuteScript)(AEGP_PluginID in_plugin_id, const A_char* in_scriptZ,
                                const A_Boolean in_platform_encodingB, AEGP_MemHandle* out_resultPH0,
                                AEGP_MemHandle* out_error_stringPH0);
    A_Err (*AEGP_HostIsActivated)(A_Boolean* is_activatedPB);
    A_Err (*AEGP_GetPluginPlatformRef)(AEGP_PluginID plug_id, void** plat_refPPV);
} AEGP_UtilitySuite4;

/* ---- AEGP Memory Suite ------------------------------------------------ */

#define kAEGPMemorySuite         "AEGP Memory Suite"
#define kAEGPMemorySuiteVersion1 1

typedef struct AEGP_MemorySuite1 {
    A_Err (*AEGP_NewMemHandle)(AEGP_PluginID plugin_id, const A_char* whatZ, AEGP_MemSize size,
                               AEGP_MemFlag flags, AEGP_MemHandle* memPH);
    A_Err (*AEGP_FreeMemHandle)(AEGP_MemHandle memH);
    A_Err (*AEGP_LockMemHandle)(AEGP_MemHandle memH, void** ptr_to_ptr);
    A_Err (*AEGP_UnlockMemHandle)(AEGP_MemHandle memH);
    A_Err (*AEGP_GetMemHandleSize)(AEGP_MemHandle memH, AEGP_MemSize* sizeP);
    A_Err (*AEGP_ResizeMemHandle)(const A_char* whatZ, AEGP_MemSize new_size, AEGP_MemHandle memH);
    A_Err (*AEGP_SetMemReportingOn)(A_Boolean turn_OnB);
    A_Err (*AEGP_GetMemStats)(AEGP_PluginID plugin_id, A_long* countPL, A_long* sizePL);
} AEGP_MemorySuite1;

/* ---- AEGP PF Interface Suite ------------------------------------------ */

#define kAEGPPFInterfaceSuite         "AEGP PF Interface Suite"
#define kAEGPPFInterfaceSuiteVersion1 1

typedef struct AEGP_PFInterfaceSuite1 {
    A_Err (*AEGP_GetEffectLayer)(PF_ProgPtr effect_ref, AEGP_LayerH* layerPH);
    /* A host reference to the calling effect instance; dispose of it with
       AEGP_DisposeEffect. */
    A_Err (*AEGP_GetNewEffectForEffect)(AEGP_PluginID aegp_plugin_id, PF_ProgPtr effect_ref,
                                        AEGP_EffectRefH* effectPH);
    A_Err (*AEGP_ConvertEffectToCompTime)(PF_ProgPtr effect_ref, A_long what_timeL, A_u_long time_scaleLu,
                                          A_Time* comp_timePT);
    A_Err (*AEGP_GetEffectCamera)(PF_ProgPtr effect_ref, const A_Time* comp_timePT,
                                  AEGP_LayerH* camera_layerPH);
    A_Err (*AEGP_GetEffectCameraMatrix)(PF_ProgPtr effect_ref, const A_Time* comp_timePT,
                                        A_Matrix4* camera_matrixP, A_FpLong* dst_to_planePF,
                                        A_short* plane_widthPL, A_short* plane_heightPL);
} AEGP_PFInterfaceSuite1;

/* ---- AEGP Effect Suite ------------------------------------------------ */

#define kAEGPEffectSuite         "AEGP Effect Suite"
#define kAEGPEffectSuiteVersion3 3

typedef struct AEGP_EffectSuite3 {
    A_Err (*AEGP_GetLayerNumEffects)(AEGP_LayerH layerH, A_long* num_effectsPL);
    A_Err (*AEGP_GetLayerEffectByIndex)(AEGP_PluginID aegp_plugin_id, AEGP_LayerH layerH,
                                        AEGP_EffectIndex layer_effect_indexL, AEGP_EffectRefH* effectPH);
    A_Err (*AEGP_GetInstalledKeyFromLayerEffect)(AEGP_EffectRefH effect_refH,
                                                 AEGP_InstalledEffectKey* installed_effect_keyP);
    A_Err (*AEGP_GetEffectParamUnionByIndex)(AEGP_PluginID aegp_plugin_id, AEGP_EffectRefH effect_refH,
                                             PF_ParamIndex param_index, PF_ParamType* param_typeP,
                                             PF_ParamDefUnion* uP0);
    A_Err (*AEGP_GetEffectFlags)(AEGP_EffectRefH effect_refH, AEGP_EffectFlags* effect_flagsP);
    A_Err (*AEGP_SetEffectFlags)(AEGP_EffectRefH effect_refH, AEGP_EffectFlags effect_flags_set_mask,
                                 AEGP_EffectFlags effect_flags);
    A_Err (*AEGP_ReorderEffect)(AEGP_EffectRefH effect_refH, A_long effect_indexL);
    A_Err (*AEGP_EffectCallGeneric)(AEGP_PluginID aegp_plugin_id, AEGP_EffectRefH effect_refH,
                                    const A_Time* timePT, PF_Cmd effect_cmd, void* effect_extraPV);
    A_Err (*AEGP_DisposeEffect)(AEGP_EffectRefH effect_refH);
    A_Err (*AEGP_ApplyEffect)(AEGP_PluginID aegp_plugin_id, AEGP_LayerH layerH,
                              AEGP_InstalledEffectKey installed_effect_key, AEGP_EffectRefH* effect_refPH);
    A_Err (*AEGP_DeleteLayerEffect)(AEGP_EffectRefH effect_refH);
    A_Err (*AEGP_GetNumInstalledEffects)(A_long* num_installed_effectsPL);
    A_Err (*AEGP_GetNextInstalledEffect)(AEGP_InstalledEffectKey key, AEGP_InstalledEffectKey* next_keyPH);
    A_Err (*AEGP_GetEffectName)(AEGP_InstalledEffectKey installed_key, A_char* nameZ);
    A_Err (*AEGP_GetEffectMatchName)(AEGP_InstalledEffectKey installed_key, A_char* match_nameZ);
    A_Err (*AEGP_GetEffectCategory)(AEGP_InstalledEffectKey installed_key, A_char* categoryZ);
    A_Err (*AEGP_DuplicateEffect)(AEGP_EffectRefH original_effect_refH,
                                  AEGP_EffectRefH* duplicate_effect_refPH);
} AEGP_EffectSuite3;

/* ---- AEGP Stream Suite ------------------------------------------------ */

#define kAEGPStreamSuite         "AEGP Stream Suite"
#define kAEGPStreamSuiteVersion2 3

typedef struct AEGP_StreamSuite2 {
    A_Err (*AEGP_IsStreamLegal)(AEGP_LayerH layerH, AEGP_LayerStream which_stream, A_Boolean* is_legalP);
    A_Err (*AEGP_CanVaryOverTime)(AEGP_StreamRefH streamH, A_Boolean* can_varyPB);
    A_Err (*AEGP_GetValidInterpolations)(AEGP_StreamRefH streamH,
                                         AEGP_KeyInterpolationMask* valid_interpolationsP);
    A_Err (*AEGP_GetNewLayerStream)(AEGP_PluginID aegp_plugin_id, AEGP_LayerH layerH,
                                    AEGP_LayerStream which_stream, AEGP_StreamRefH* streamPH);
    A_Err (*AEGP_GetEffectNumParamStreams)(AEGP_EffectRefH effect_refH, A_long* num_paramsPL);
    /* The stream of parameter param_index of an effect (0 is the input). */
    A_Err (*AEGP_GetNewEffectStreamByIndex)(AEGP_PluginID aegp_plugin_id, AEGP_EffectRefH effect_refH,
                                            PF_ParamIndex param_index, AEGP_StreamRefH* streamPH);
    A_Err (*AEGP_GetNewMaskStream)(AEGP_PluginID aegp_plugin_id, AEGP_MaskRefH mask_refH,
                                   AEGP_MaskStream which_stream, AEGP_StreamRefH* mask_streamPH);
    A_Err (*AEGP_DisposeStream)(AEGP_StreamRefH streamH);
    A_Err (*AEGP_GetStreamName)(AEGP_StreamRefH streamH, A_Boolean force_englishB, A_char* nameZ);
    A_Err (*AEGP_GetStreamUnitsText)(AEGP_StreamRefH streamH, A_Boolean force_englishB, A_char* unitsZ);
    A_Err (*AEGP_GetStreamProperties)(AEGP_StreamRefH streamH, AEGP_StreamFlags* flagsP, A_FpLong* minP0,
                                      A_FpLong* maxP0);
    A_Err (*AEGP_IsStreamTimevarying)(AEGP_StreamRefH streamH, A_Boolean* is_timevaryPB);
    A_Err (*AEGP_GetStreamType)(AEGP_StreamRefH streamH, AEGP_StreamType* stream_typeP);
    AEGP_UnusedFunc AEGP_GetNewStreamValue;
    AEGP_UnusedFunc AEGP_DisposeStreamValue;
    AEGP_UnusedFunc AEGP_SetStreamValue;
    AEGP_UnusedFunc AEGP_GetLayerStreamValue;
    A_Err (*AEGP_GetExpressionState)(AEGP_PluginID aegp_plugin_id, AEGP_StreamRefH streamH,
                                     A_Boolean* enabledPB);
    A_Err (*AEGP_SetExpressionState)(AEGP_PluginID aegp_plugin_id, AEGP_StreamRefH streamH,
                                     A_Boolean enabledB);
    AEGP_UnusedFunc AEGP_GetExpression;
    AEGP_UnusedFunc AEGP_SetExpression;
    A_Err (*AEGP_DuplicateStreamRef)(AEGP_PluginID aegp_plugin_id, AEGP_StreamRefH streamH,
                                     AEGP_StreamRefH* dup_streamPH);
} AEGP_StreamSuite2;

/* ---- AEGP Dynamic Stream Suite ---------------------------------------- */

#define kAEGPDynamicStreamSuite         "AEGP Dynamic Stream Suite"
#define kAEGPDynamicStreamSuiteVersion2 2

typedef struct AEGP_DynamicStreamSuite2 {
    A_Err (*AEGP_GetNewStreamRefForLayer)(AEGP_PluginID aegp_plugin_id, AEGP_LayerH layerH,
                                          AEGP_StreamRefH* streamPH);
    A_Err (*AEGP_GetStreamDepth)(AEGP_StreamRefH streamH, A_long* depthPL);
    A_Err (*AEGP_GetStreamGroupingType)(AEGP_StreamRefH streamH, AEGP_StreamGroupingType* group_typeP);
    A_Err (*AEGP_GetNumStreamsInGroup)(AEGP_StreamRefH streamH, A_long* num_streamsPL);
    A_Err (*AEGP_GetDynamicStreamFlags)(AEGP_StreamRefH streamH, AEGP_DynStreamFlags* stream_flagsP);
    /* Sets or clears one AEGP_DynStreamFlag_* of a stream. */
    A_Err (*AEGP_SetDynamicStreamFlag)(AEGP_StreamRefH streamH, AEGP_DynStreamFlags one_flag,
                                       A_Boolean undoableB, A_Boolean setB);
    A_Err (*AEGP_GetNewStreamRefByIndex)(AEGP_PluginID aegp_plugin_id, AEGP_StreamRefH parent_groupH,
                                         A_long indexL, AEGP_StreamRefH* streamPH);
    A_Err (*AEGP_GetNewStreamRefByMatchname)(AEGP_PluginID aegp_plugin_id, AEGP_StreamRefH parent_groupH,
                                             const A_char* match_nameZ, AEGP_StreamRefH* streamPH);
    A_Err (*AEGP_DeleteStream)(AEGP_StreamRefH streamH);
    A_Err (*AEGP_ReorderStream)(AEGP_StreamRefH streamH, A_long new_indexL);
    A_Err (*AEGP_DuplicateStream)(AEGP_PluginID aegp_plugin_id, AEGP_StreamRefH streamH, A_long* new_indexPL);
    /* Renames a stream (the parameter's name shown by the host). */
    A_Err (*AEGP_SetStreamName)(AEGP_StreamRefH streamH, const A_char* nameZ);
    A_Err (*AEGP_CanAddStream)(AEGP_StreamRefH group_streamH, const A_char* match_nameZ,
                               A_Boolean* can_addPB);
    A_Err (*AEGP_AddStream)(AEGP_PluginID aegp_plugin_id, AEGP_StreamRefH indexed_group_streamH,
                            const A_char* match_nameZ, AEGP_StreamRefH* streamPH0);
    A_Err (*AEGP_GetMatchName)(AEGP_StreamRefH streamH, A_char* nameZ);
    A_Err (*AEGP_GetNewParentStreamRef)(AEGP_PluginID aegp_plugin_id, AEGP_StreamRefH streamH,
                                        AEGP_StreamRefH* parent_streamPH);
    A_Err (*AEGP_GetStreamIsModified)(AEGP_StreamRefH streamH, A_Boolean* modifiedPB);
} AEGP_DynamicStreamSuite2;

#ifdef __cplusplus
}
#endif
