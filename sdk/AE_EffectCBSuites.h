/* Suites that give the in_data->utils services by name: handle memory, the
   ANSI helpers, and the declaration of accepted pixel formats. */
#pragma once

#include "sdk/AE_EffectCB.h"
#include "sdk/PrSDKPixelFormat.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- PF Handle Suite -------------------------------------------------- */

#define kPFHandleSuite         "PF Handle Suite"
#define kPFHandleSuiteVersion1 1

typedef struct PF_HandleSuite1 {
    PF_Handle (*host_new_handle)(A_HandleSize size);
    void* (*host_lock_handle)(PF_Handle pf_handle);
    void (*host_unlock_handle)(PF_Handle pf_handle);
    void (*host_dispose_handle)(PF_Handle pf_handle);
    A_HandleSize (*host_get_handle_size)(PF_Handle pf_handle);
    PF_Err (*host_resize_handle)(A_HandleSize new_sizeL, PF_Handle* handleP);
} PF_HandleSuite1;

/* ---- PF ANSI Suite ---------------------------------------------------- */

#define kPFANSISuite         "PF ANSI Suite"
#define kPFANSISuiteVersion1 1

typedef struct PF_ANSICallbacksSuite1 {
    A_FpLong (*atan)(A_FpLong);
    A_FpLong (*atan2)(A_FpLong y, A_FpLong x);
    A_FpLong (*ceil)(A_FpLong);
    A_FpLong (*cos)(A_FpLong);
    A_FpLong (*exp)(A_FpLong);
    A_FpLong (*fabs)(A_FpLong);
    A_FpLong (*floor)(A_FpLong);
    A_FpLong (*fmod)(A_FpLong x, A_FpLong y);
    A_FpLong (*hypot)(A_FpLong x, A_FpLong y);
    A_FpLong (*log)(A_FpLong);
    A_FpLong (*log10)(A_FpLong);
    A_FpLong (*pow)(A_FpLong x, A_FpLong y);
    A_FpLong (*sin)(A_FpLong);
    A_FpLong (*sqrt)(A_FpLong);
    A_FpLong (*tan)(A_FpLong);
    A_long (*sprintf)(A_char* buffer, const A_char* format, ...);
    A_char* (*strcpy)(A_char* dest, const A_char* src);
    A_FpLong (*asin)(A_FpLong);
    A_FpLong (*acos)(A_FpLong);
} PF_ANSICallbacksSuite1;

/* ---- PF Pixel Format Suite -------------------------------------------- */

/* Lets an effect name the pixel formats it accepts (offered by hosts whose
   native formats differ from the ARGB ones, e.g. 8-bit BGRA). */
#define kPFPixelFormatSuite         "PF Pixel Format Suite"
#define kPFPixelFormatSuiteVersion1 1

typedef struct PF_PixelFormatSuite1 {
    PF_Err (*AddSupportedPixelFormat)(PF_ProgPtr effect_ref, PrPixelFormat pixel_format);
    PF_Err (*ClearSupportedPixelFormats)(PF_ProgPtr effect_ref);
    PF_Err (*NewWorldOfPixelFormat)(PF_ProgPtr effect_ref, A_u_long width, A_u_long height,
                                    PF_NewWorldFlags flags, PrPixelFormat pixel_format,
                                    PF_EffectWorld* world);
    PF_Err (*DisposeWorld)(PF_ProgPtr effect_ref, PF_EffectWorld* world);
    PF_Err (*GetPixelFormat)(PF_EffectWorld* world, PrPixelFormat* pixel_format);
    PF_Err (*GetBlackForPixelFormat)(const PrPixelFormat pixel_format, void* pixel_data);
    PF_Err (*GetWhiteForPixelFormat)(const PrPixelFormat pixel_format, void* pixel_data);
    PF_Err (*ConvertColorToPixelFormattedData)(const PrPixelFormat pixel_format, float alpha, float red,
                                               float green, float blue, void* pixel_data);
} PF_PixelFormatSuite1;

#ifdef __cplusplus
}
#endif
