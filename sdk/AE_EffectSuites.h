/* Effect-side suites acquired by name: worlds of a given pixel format and
   parameter utilities (UI updates, keyframe queries). */
#pragma once

#include "sdk/AE_Effect.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- PF World Suite --------------------------------------------------- */

#define kPFWorldSuite         "PF World Suite"
#define kPFWorldSuiteVersion2 2

typedef struct PF_WorldSuite2 {
    PF_Err (*PF_NewWorld)(PF_ProgPtr effect_ref, A_long widthL, A_long heightL, PF_Boolean clear_pixB,
                          PF_PixelFormat pixel_format, PF_EffectWorld* worldP);
    PF_Err (*PF_DisposeWorld)(PF_ProgPtr effect_ref, PF_EffectWorld* worldP);
    /* The pixel format of a world given by the host (PF_PixelFormat_*). */
    PF_Err (*PF_GetPixelFormat)(const PF_EffectWorld* worldP, PF_PixelFormat* pixel_formatP);
} PF_WorldSuite2;

/* ---- PF Param Utils Suite --------------------------------------------- */

#define kPFParamUtilsSuite         "PF Param Utils Suite"
#define kPFParamUtilsSuiteVersion3 3

#define PF_KeyIndex_NONE (-1)

enum {
    PF_TimeDir_GREATER_THAN = 0x0000,
    PF_TimeDir_LESS_THAN = 0x0001,
    PF_TimeDir_GREATER_THAN_OR_EQUAL = 0x1000,
    PF_TimeDir_LESS_THAN_OR_EQUAL = 0x1001
};

typedef struct PF_ParamUtilsSuite3 {
    /* Pushes a changed UI state (name, ui_flags, ...) of one parameter to the
       host; the value itself is not changed. */
    PF_Err (*PF_UpdateParamUI)(PF_ProgPtr effect_ref, PF_ParamIndex param_index, const PF_ParamDef* defP);
    PF_Err (*PF_GetCurrentState)(PF_ProgPtr effect_ref, PF_ParamIndex param_index, const A_Time* startPT0,
                                 const A_Time* durationPT0, PF_State* stateP);
    PF_Err (*PF_HasParamChanged)(PF_ProgPtr effect_ref, const PF_State* state1P, const PF_State* state2P,
                                 PF_ParamIndex param_index, A_Boolean* changedPB);
    PF_Err (*PF_AreStatesIdentical)(PF_ProgPtr effect_ref, const PF_State* state1P, const PF_State* state2P,
                                    A_Boolean* samePB);
    PF_Err (*PF_IsIdenticalCheckout)(PF_ProgPtr effect_ref, PF_ParamIndex param_index, A_long what_time1,
                                     A_long time_step1, A_u_long time_scale1, A_long what_time2,
                                     A_long time_step2, A_u_long time_scale2, PF_Boolean* identicalPB);
    PF_Err (*PF_FindKeyframeTime)(PF_ProgPtr effect_ref, PF_ParamIndex param_index, A_long what_time,
                                  A_u_long time_scale, PF_TimeDir time_dir, PF_Boolean* foundPB,
                                  PF_KeyIndex* key_indexP0, A_long* key_timeP0, A_u_long* key_timescaleP0);
    PF_Err (*PF_GetKeyframeCount)(PF_ProgPtr effect_ref, PF_ParamIndex param_index, PF_KeyIndex* key_countP);
    PF_Err (*PF_CheckoutKeyframe)(PF_ProgPtr effect_ref, PF_ParamIndex param_index, PF_KeyIndex key_index,
                                  A_long* key_timeP0, A_u_long* key_timescaleP0, PF_ParamDef* paramP0);
    PF_Err (*PF_CheckinKeyframe)(PF_ProgPtr effect_ref, PF_ParamDef* paramP);
    PF_Err (*PF_KeyIndexToTime)(PF_ProgPtr effect_ref, PF_ParamIndex param_index, PF_KeyIndex key_indexP,
                                A_long* key_timeP, A_u_long* key_timescaleP);
} PF_ParamUtilsSuite3;

#ifdef __cplusplus
}
#endif
