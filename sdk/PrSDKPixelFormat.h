/* Pixel formats of the Premiere-style host, for effects that declare which
   formats they accept there. Codes are four characters in memory order. */
#pragma once

#include "sdk/A.h"

#ifdef __cplusplus
extern "C" {
#endif

#define MAKE_PIXEL_FORMAT_FOURCC(c0, c1, c2, c3)                                                             \
    ((A_long)(((A_u_long)(A_u_char)(c0)) | ((A_u_long)(A_u_char)(c1) << 8) |                                 \
              ((A_u_long)(A_u_char)(c2) << 16) | ((A_u_long)(A_u_char)(c3) << 24)))

typedef A_long PrPixelFormat;

enum {
    PrPixelFormat_BGRA_4444_8u =
        MAKE_PIXEL_FORMAT_FOURCC('b', 'g', 'r', 'a'), /* 8-bit blue, green, red, alpha */
    PrPixelFormat_VUYA_4444_8u = MAKE_PIXEL_FORMAT_FOURCC('v', 'u', 'y', 'a'),
    PrPixelFormat_Invalid = MAKE_PIXEL_FORMAT_FOURCC('b', 'a', 'd', 'f')
};

#ifdef __cplusplus
}
#endif
