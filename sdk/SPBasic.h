/* The host's suite broker: every service beyond the command records is a
   table of function pointers obtained by name and version from it. */
#pragma once

#include "sdk/A.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Calling convention marker of the broker's functions; the platform default
   on this system. */
#ifndef SPAPI
#define SPAPI
#endif

typedef A_long SPErr;
typedef unsigned char SPBoolean;

#define kSPNoError 0L
/* Four-character error codes, built most significant character first. */
#define kSPUnimplementedError ((SPErr)0x21494D50L) /* '!IMP' */
#define kSPSuiteNotFoundError ((SPErr)0x21537574L) /* '!Sut' */
#define kSPBadParameterError  ((SPErr)0x50617261L) /* 'Para' */
#define kSPOutOfMemoryError   ((SPErr)-108)

#define kSPBasicSuite        "SP Basic Suite"
#define kSPBasicSuiteVersion 4

typedef struct SPBasicSuite {
    /* Looks a suite up; on success *suite points at its function table. */
    SPAPI SPErr (*AcquireSuite)(const char* name, A_long version, const void** suite);
    SPAPI SPErr (*ReleaseSuite)(const char* name, A_long version);
    /* Compares two suite names. */
    SPAPI SPBoolean (*IsEqual)(const char* token1, const char* token2);
    SPAPI SPErr (*AllocateBlock)(size_t size, void** block);
    SPAPI SPErr (*FreeBlock)(void* block);
    SPAPI SPErr (*ReallocateBlock)(void* block, size_t newSize, void** newblock);
    /* Placeholder slot that always answers an error. */
    SPAPI SPErr (*Undefined)(void);
} SPBasicSuite;

#ifdef __cplusplus
}
#endif
