/* Basic scalar and record types shared by every declaration of the host's
   effect interface. Sizes are fixed: the host and the plug-in exchange these
   records as raw memory. */
#pragma once

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef int32_t A_long;
typedef uint32_t A_u_long;
typedef char A_char;
typedef int16_t A_short;
typedef uint16_t A_u_short;
typedef unsigned char A_u_char;
typedef unsigned char A_Boolean;
typedef int64_t A_longlong;
typedef uint64_t A_u_longlong;
typedef intptr_t A_intptr_t;
typedef uint16_t A_UTF16Char;
typedef double A_FpLong;
typedef float A_FpShort;
typedef A_long A_Err;
typedef void* A_Handle;
typedef A_u_longlong A_HandleSize;

/* Time as a rational number of seconds: value / scale. */
typedef struct A_Time {
    A_long value;
    A_u_long scale;
} A_Time;

typedef struct A_Ratio {
    A_long num;
    A_u_long den;
} A_Ratio;

typedef struct A_FloatPoint {
    A_FpLong x, y;
} A_FloatPoint;

typedef struct A_FloatPoint3 {
    A_FpLong x, y, z;
} A_FloatPoint3;

typedef struct A_FloatRect {
    A_FpLong left, top, right, bottom;
} A_FloatRect;

typedef struct A_LPoint {
    A_long x, y;
} A_LPoint;

typedef struct A_LRect {
    A_long left, top, right, bottom;
} A_LRect;

typedef struct A_Matrix3 {
    A_FpLong mat[3][3];
} A_Matrix3;

typedef struct A_Matrix4 {
    A_FpLong mat[4][4];
} A_Matrix4;

/* Common results of the host's A_Err-returning services. */
enum {
    A_Err_NONE = 0,
    A_Err_GENERIC,
    A_Err_STRUCT,
    A_Err_PARAMETER,
    A_Err_ALLOC,
    A_Err_WRONG_THREAD,
    A_Err_CONST_PROJECT_MODIFICATION,
    A_Err_MISSING_SUITE = 13
};

#ifdef __cplusplus
}
#endif
