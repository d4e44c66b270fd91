/* Effect plug-in interface: command selectors, error codes, flags, pixels,
   worlds, parameter definitions, the per-call records PF_InData/PF_OutData,
   the interact callbacks, the smart-render records and the entry point.
   Names and values are the host's, so that effect source written against
   these declarations is source-compatible with any host of this interface. */
#pragma once

#include "sdk/A.h"

#ifdef __cplusplus
extern "C" {
#endif

struct SPBasicSuite;
struct _PF_UtilCallbacks;

/* ---- Version of the interface itself ---------------------------------- */

#define PF_PLUG_IN_VERSION 13
#define PF_PLUG_IN_SUBVERS 28

/* ---- Basic effect types ----------------------------------------------- */

typedef A_long PF_Fixed;    /* 16.16 fixed point */
typedef A_u_long PF_UFixed; /* unsigned 16.16 fixed point */
typedef A_char PF_Boolean;
typedef A_FpLong PF_FpLong;
typedef A_FpShort PF_FpShort;
typedef A_long PF_Err;
typedef A_long PF_Cmd;
typedef A_long PF_ParamIndex;
typedef A_long PF_ParamValue;
typedef A_long PF_ChannelIndex;
typedef A_long PF_PixelFormat;
typedef A_long PF_ParamType;
typedef A_long PF_ParamFlags;
typedef A_long PF_ParamUIFlags;
typedef A_long PF_ChangeFlags;
typedef A_short PF_ValueDisplayFlags;
typedef A_long PF_FSliderFlags;
typedef A_long PF_OutFlags;
typedef A_long PF_OutFlags2;
typedef A_long PF_InFlags;
typedef A_long PF_WorldFlags;
typedef A_long PF_NewWorldFlags;
typedef A_long PF_Quality;
typedef A_long PF_ModeFlags;
typedef A_long PF_Field;
typedef A_long PF_ChannelMask;
typedef A_long PF_KernelFlags;
typedef A_long PF_XferMode;
typedef A_long PF_CallbackID;
typedef A_long PF_PlatDataID;
typedef A_long PF_KeyIndex;
typedef A_long PF_TimeDir;
typedef A_long PF_PathID;
typedef A_short PF_RenderOutputFlags;
typedef A_long PF_GPU_Framework;

typedef void* PF_ProgPtr; /* the host's opaque reference to an effect instance */
typedef void** PF_Handle; /* relocatable memory block owned by the host */
typedef PF_Handle PF_ArbitraryH;

typedef struct PF_RationalScale {
    A_long num;
    A_u_long den;
} PF_RationalScale;

typedef struct PF_LRect {
    A_long left, top, right, bottom;
} PF_LRect;

typedef PF_LRect PF_Rect;
typedef PF_Rect PF_UnionableRect;

typedef struct PF_Point {
    A_long h, v;
} PF_Point;

typedef struct PF_FixedPoint {
    PF_Fixed x, y;
} PF_FixedPoint;

typedef struct PF_FixedRect {
    PF_Fixed left, top, right, bottom;
} PF_FixedRect;

typedef struct PF_FloatMatrix {
    PF_FpLong mat[3][3];
} PF_FloatMatrix;

typedef struct PF_SpecVersion {
    A_short major;
    A_short minor;
} PF_SpecVersion;

/* ---- Fixed-point helpers ---------------------------------------------- */

#define PF_Fixed_MINVAL  ((PF_Fixed)0x80000000)
#define PF_Fixed_MAXVAL  ((PF_Fixed)0x7FFFFFFF)
#define PF_FIXED_ONE     ((PF_Fixed)0x00010000L)
#define FIXED_ONE        PF_FIXED_ONE
#define INT2FIX(x)       ((PF_Fixed)(((A_u_long)(A_long)(x)) << 16))
#define FIX2INT(x)       ((A_long)(x) >> 16)
#define FIX2INT_ROUND(x) (FIX2INT((x) + 0x8000))
#define FLOAT2FIX(f)     ((PF_Fixed)((f)*65536.0 + (((f) < 0) ? -0.5 : 0.5)))
#define FIX_2_FLOAT(x)   ((PF_FpLong)(x) / 65536.0)

/* ---- Version of an effect (out_data->my_version) ---------------------- */

enum { PF_Stage_DEVELOP = 0, PF_Stage_ALPHA, PF_Stage_BETA, PF_Stage_RELEASE };
typedef A_long PF_Stage;

#define PF_Vers_BUILD_BITS      0x1ffL
#define PF_Vers_BUILD_SHIFT     0
#define PF_Vers_STAGE_BITS      0x3L
#define PF_Vers_STAGE_SHIFT     9
#define PF_Vers_BUGFIX_BITS     0xfL
#define PF_Vers_BUGFIX_SHIFT    11
#define PF_Vers_SUBVERS_BITS    0xfL
#define PF_Vers_SUBVERS_SHIFT   15
#define PF_Vers_VERS_BITS       0x7L /* low three bits of the major version */
#define PF_Vers_VERS_SHIFT      19
#define PF_Vers_VERS_HIGH_BITS  0xfL /* major version bits above the low three */
#define PF_Vers_VERS_HIGH_SHIFT 26
#define PF_Vers_VERS_LOW_SHIFT  3

#define PF_VERSION(vers, subvers, bugvers, stage, build)                                                     \
    ((A_u_long)(((((A_u_long)(vers) >> PF_Vers_VERS_LOW_SHIFT) & PF_Vers_VERS_HIGH_BITS)                     \
                 << PF_Vers_VERS_HIGH_SHIFT) |                                                               \
                (((A_u_long)(vers)&PF_Vers_VERS_BITS) << PF_Vers_VERS_SHIFT) |                               \
                (((A_u_long)(subvers)&PF_Vers_SUBVERS_BITS) << PF_Vers_SUBVERS_SHIFT) |                      \
                (((A_u_long)(bugvers)&PF_Vers_BUGFIX_BITS) << PF_Vers_BUGFIX_SHIFT) |                        \
                (((A_u_long)(stage)&PF_Vers_STAGE_BITS) << PF_Vers_STAGE_SHIFT) |                            \
                (((A_u_long)(build)&PF_Vers_BUILD_BITS) << PF_Vers_BUILD_SHIFT)))

#define PF_Version_VERS(v)                                                                                   \
    ((((A_u_long)(v) >> PF_Vers_VERS_SHIFT) & PF_Vers_VERS_BITS) |                                           \
     ((((A_u_long)(v) >> PF_Vers_VERS_HIGH_SHIFT) & PF_Vers_VERS_HIGH_BITS) << PF_Vers_VERS_LOW_SHIFT))
#define PF_Version_SUBVERS(v) (((A_u_long)(v) >> PF_Vers_SUBVERS_SHIFT) & PF_Vers_SUBVERS_BITS)
#define PF_Version_BUGFIX(v)  (((A_u_long)(v) >> PF_Vers_BUGFIX_SHIFT) & PF_Vers_BUGFIX_BITS)
#define PF_Version_STAGE(v)   (((A_u_long)(v) >> PF_Vers_STAGE_SHIFT) & PF_Vers_STAGE_BITS)
#define PF_Version_BUILD(v)   (((A_u_long)(v) >> PF_Vers_BUILD_SHIFT) & PF_Vers_BUILD_BITS)

/* ---- Name and message lengths ----------------------------------------- */

#define PF_MAX_EFFECT_NAME_LEN       31
#define PF_MAX_EFFECT_PARAM_NAME_LEN 31
#define PF_MAX_PARAM_DESCRIPTION_LEN 31
#define PF_MAX_PARAM_VALUE_LEN       31
#define PF_MAX_EFFECT_MSG_LEN        255
#define PF_MAX_CHANNEL_NAME_LEN      63

/* ---- Command selectors ------------------------------------------------ */

enum {
    PF_Cmd_ABOUT = 0,
    PF_Cmd_GLOBAL_SETUP,                /* 1 */
    PF_Cmd_UNUSED_0,                    /* 2 */
    PF_Cmd_GLOBAL_SETDOWN,              /* 3 */
    PF_Cmd_PARAMS_SETUP,                /* 4 */
    PF_Cmd_SEQUENCE_SETUP,              /* 5 */
    PF_Cmd_SEQUENCE_RESETUP,            /* 6 */
    PF_Cmd_SEQUENCE_FLATTEN,            /* 7 */
    PF_Cmd_SEQUENCE_SETDOWN,            /* 8 */
    PF_Cmd_DO_DIALOG,                   /* 9 */
    PF_Cmd_FRAME_SETUP,                 /* 10 */
    PF_Cmd_RENDER,                      /* 11 */
    PF_Cmd_FRAME_SETDOWN,               /* 12 */
    PF_Cmd_USER_CHANGED_PARAM,          /* 13 */
    PF_Cmd_UPDATE_PARAMS_UI,            /* 14 */
    PF_Cmd_EVENT,                       /* 15 */
    PF_Cmd_GET_EXTERNAL_DEPENDENCIES,   /* 16 */
    PF_Cmd_COMPLETELY_GENERAL,          /* 17 */
    PF_Cmd_QUERY_DYNAMIC_FLAGS,         /* 18 */
    PF_Cmd_AUDIO_RENDER,                /* 19 */
    PF_Cmd_AUDIO_SETUP,                 /* 20 */
    PF_Cmd_AUDIO_SETDOWN,               /* 21 */
    PF_Cmd_ARBITRARY_CALLBACK,          /* 22 */
    PF_Cmd_SMART_PRE_RENDER,            /* 23 */
    PF_Cmd_SMART_RENDER,                /* 24 */
    PF_Cmd_RESERVED1,                   /* 25 */
    PF_Cmd_RESERVED2,                   /* 26 */
    PF_Cmd_RESERVED3,                   /* 27 */
    PF_Cmd_GET_FLATTENED_SEQUENCE_DATA, /* 28 */
    PF_Cmd_TRANSLATE_PARAMS_TO_PREFS,   /* 29 */
    PF_Cmd_RESERVED4,                   /* 30 */
    PF_Cmd_SMART_RENDER_GPU,            /* 31 */
    PF_Cmd_GPU_DEVICE_SETUP,            /* 32 */
    PF_Cmd_GPU_DEVICE_SETDOWN,          /* 33 */
    PF_Cmd_NUM_CMDS
};

/* ---- Error codes ------------------------------------------------------ */

#define PF_FIRST_ERR 512

enum {
    PF_Err_NONE = 0,
    PF_Err_OUT_OF_MEMORY = 4,
    PF_Err_INTERNAL_STRUCT_DAMAGED = PF_FIRST_ERR, /* 512 */
    PF_Err_INVALID_INDEX,                          /* 513 */
    PF_Err_UNRECOGNIZED_PARAM_TYPE,                /* 514 */
    PF_Err_INVALID_CALLBACK,                       /* 515 */
    PF_Err_BAD_CALLBACK_PARAM,                     /* 516 */
    PF_Interrupt_CANCEL,                           /* 517 */
    PF_Err_CANNOT_PARSE_KEYFRAME_TEXT              /* 518 */
};

/* ---- Output flags (out_data->out_flags) ------------------------------- */

enum {
    PF_OutFlag_NONE = 0L,
    PF_OutFlag_KEEP_RESOURCE_OPEN = 1L << 0,
    PF_OutFlag_WIDE_TIME_INPUT = 1L << 1,
    PF_OutFlag_NON_PARAM_VARY = 1L << 2,
    PF_OutFlag_RESERVED6 = 1L << 3,
    PF_OutFlag_SEQUENCE_DATA_NEEDS_FLATTENING = 1L << 4,
    PF_OutFlag_I_DO_DIALOG = 1L << 5,
    PF_OutFlag_USE_OUTPUT_EXTENT = 1L << 6,
    PF_OutFlag_SEND_DO_DIALOG = 1L << 7,
    PF_OutFlag_DISPLAY_ERROR_MESSAGE = 1L << 8,
    PF_OutFlag_I_EXPAND_BUFFER = 1L << 9,
    PF_OutFlag_PIX_INDEPENDENT = 1L << 10,
    PF_OutFlag_I_WRITE_INPUT_BUFFER = 1L << 11,
    PF_OutFlag_I_SHRINK_BUFFER = 1L << 12,
    PF_OutFlag_WORKS_IN_PLACE = 1L << 13,
    PF_OutFlag_SQUARE_PIX_ONLY = 1L << 14,
    PF_OutFlag_CUSTOM_UI = 1L << 15,
    PF_OutFlag_RESERVED5 = 1L << 16,
    PF_OutFlag_REFRESH_UI = 1L << 17,
    PF_OutFlag_NOP_RENDER = 1L << 18,
    PF_OutFlag_I_USE_SHUTTER_ANGLE = 1L << 19,
    PF_OutFlag_I_USE_AUDIO = 1L << 20,
    PF_OutFlag_I_AM_OBSOLETE = 1L << 21,
    PF_OutFlag_FORCE_RERENDER = 1L << 22,
    PF_OutFlag_PiPL_OVERRIDES_OUTDATA_OUTFLAGS = 1L << 23,
    PF_OutFlag_I_HAVE_EXTERNAL_DEPENDENCIES = 1L << 24,
    PF_OutFlag_DEEP_COLOR_AWARE = 1L << 25,
    PF_OutFlag_SEND_UPDATE_PARAMS_UI = 1L << 26,
    PF_OutFlag_AUDIO_FLOAT_ONLY = 1L << 27,
    PF_OutFlag_AUDIO_IIR = 1L << 28,
    PF_OutFlag_I_SYNTHESIZE_AUDIO = 1L << 29,
    PF_OutFlag_AUDIO_EFFECT_TOO = 1L << 30,
    PF_OutFlag_AUDIO_EFFECT_ONLY = (A_long)(1UL << 31)
};

/* ---- Output flags, second word (out_data->out_flags2) ----------------- */

enum {
    PF_OutFlag2_NONE = 0L,
    PF_OutFlag2_SUPPORTS_QUERY_DYNAMIC_FLAGS = 1L << 0,
    PF_OutFlag2_I_USE_3D_CAMERA = 1L << 1,
    PF_OutFlag2_I_USE_3D_LIGHTS = 1L << 2,
    PF_OutFlag2_PARAM_GROUP_START_COLLAPSED_FLAG = 1L << 3,
    PF_OutFlag2_I_AM_THREADSAFE = 1L << 4,
    PF_OutFlag2_CAN_COMBINE_WITH_DESTINATION = 1L << 5,
    PF_OutFlag2_DOESNT_NEED_EMPTY_PIXELS = 1L << 6,
    PF_OutFlag2_REVEALS_ZERO_ALPHA = 1L << 7,
    PF_OutFlag2_PRESERVES_FULLY_OPAQUE_PIXELS = 1L << 8,
    PF_OutFlag2_SUPPORTS_SMART_RENDER = 1L << 10,
    PF_OutFlag2_RESERVED9 = 1L << 11,
    PF_OutFlag2_FLOAT_COLOR_AWARE = 1L << 12,
    PF_OutFlag2_I_USE_COLORSPACE_ENUMERATION = 1L << 13,
    PF_OutFlag2_I_AM_DEPRECATED = 1L << 14,
    PF_OutFlag2_PPRO_DO_NOT_CLONE_SEQUENCE_DATA_FOR_RENDER = 1L << 15,
    PF_OutFlag2_RESERVED10 = 1L << 16,
    PF_OutFlag2_AUTOMATIC_WIDE_TIME_INPUT = 1L << 17,
    PF_OutFlag2_I_USE_TIMECODE = 1L << 18,
    PF_OutFlag2_DEPENDS_ON_UNREFERENCED_MASKS = 1L << 19,
    PF_OutFlag2_OUTPUT_IS_WATERMARKED = 1L << 20,
    PF_OutFlag2_I_MIX_GUID_DEPENDENCIES = 1L << 21,
    PF_OutFlag2_AE13_5_THREADSAFE = 1L << 22,
    PF_OutFlag2_SUPPORTS_GET_FLATTENED_SEQUENCE_DATA = 1L << 23,
    PF_OutFlag2_CUSTOM_UI_ASYNC_MANAGER = 1L << 24,
    PF_OutFlag2_SUPPORTS_GPU_RENDER_F32 = 1L << 25,
    PF_OutFlag2_RESERVED12 = 1L << 26,
    PF_OutFlag2_SUPPORTS_THREADED_RENDERING = 1L << 27,
    PF_OutFlag2_MUTABLE_RENDER_SEQUENCE_DATA_SLOWER = 1L << 28
};

/* ---- Input flags (in_data->in_flags) ---------------------------------- */

enum { PF_InFlag_NONE = 0L, PF_InFlag_PROJECT_IS_RENDER_ONLY = 1L << 0 };

/* ---- Render quality, fields, sampling modes --------------------------- */

enum { PF_Quality_DRAWING_AUDIO = -1, PF_Quality_LO = 0, PF_Quality_HI };

enum { PF_Field_FRAME = 0, PF_Field_UPPER, PF_Field_LOWER };

enum { PF_MF_Alpha_PREMUL = 0, PF_MF_Alpha_STRAIGHT = 1L << 0 };

enum {
    PF_ChannelMask_ALPHA = 1L << 0,
    PF_ChannelMask_RED = 1L << 1,
    PF_ChannelMask_GREEN = 1L << 2,
    PF_ChannelMask_BLUE = 1L << 3,
    PF_ChannelMask_ARGB = 15L
};

/* ---- Pixels ----------------------------------------------------------- */

/* Channels in memory order alpha, red, green, blue. */
typedef struct PF_Pixel {
    A_u_char alpha;
    A_u_char red;
    A_u_char green;
    A_u_char blue;
} PF_Pixel;

typedef PF_Pixel PF_Pixel8;
typedef PF_Pixel PF_UnionablePixel;

/* 16-bit channels run 0..32768 (PF_MAX_CHAN16). */
typedef struct PF_Pixel16 {
    A_u_short alpha;
    A_u_short red;
    A_u_short green;
    A_u_short blue;
} PF_Pixel16;

typedef struct PF_PixelFloat {
    PF_FpShort alpha;
    PF_FpShort red;
    PF_FpShort green;
    PF_FpShort blue;
} PF_PixelFloat;

typedef PF_PixelFloat PF_Pixel32;
typedef PF_Pixel* PF_PixelPtr;

typedef PF_Fixed PF_HLS_Pixel[3];
typedef PF_Fixed PF_YIQ_Pixel[3];

#define PF_MAX_CHAN8   255
#define PF_HALF_CHAN8  128
#define PF_MAX_CHAN16  32768
#define PF_HALF_CHAN16 16384

/* Pixel formats are four-character codes stored in memory order: the first
   character is the lowest byte of the 32-bit value. */
#define PF_MAKE_FOURCC(c0, c1, c2, c3)                                                                       \
    ((PF_PixelFormat)(((A_u_long)(A_u_char)(c0)) | ((A_u_long)(A_u_char)(c1) << 8) |                         \
                      ((A_u_long)(A_u_char)(c2) << 16) | ((A_u_long)(A_u_char)(c3) << 24)))

#define PF_PixelFormat_ARGB32         PF_MAKE_FOURCC('a', 'r', 'g', 'b') /* 8 bits a channel */
#define PF_PixelFormat_ARGB64         PF_MAKE_FOURCC('a', 'e', '1', '6') /* 16 bits a channel */
#define PF_PixelFormat_ARGB128        PF_MAKE_FOURCC('a', 'e', '3', '2') /* 32-bit float a channel */
#define PF_PixelFormat_GPU_BGRA128    PF_MAKE_FOURCC('g', 'p', '3', '2')
#define PF_PixelFormat_RESERVED       PF_MAKE_FOURCC('r', 's', 'v', 'd')
#define PF_PixelFormat_BGRA32         PF_MAKE_FOURCC('b', 'g', 'r', 'a')
#define PF_PixelFormat_VUYA32         PF_MAKE_FOURCC('v', 'u', 'y', 'a')
#define PF_PixelFormat_INVALID        PF_MAKE_FOURCC('b', 'a', 'd', 'f')
#define PF_PixelFormat_FORCE_LONG_INT ((PF_PixelFormat)0xFFFFFFFF)

/* Host application ids (in_data->appl_id) are four characters with the
   first one in the most significant byte. */
#define PF_MAKE_APPL_ID(c0, c1, c2, c3)                                                                      \
    ((A_long)(((A_u_long)(A_u_char)(c0) << 24) | ((A_u_long)(A_u_char)(c1) << 16) |                          \
              ((A_u_long)(A_u_char)(c2) << 8) | ((A_u_long)(A_u_char)(c3))))
#define PF_APPL_ID_PREMIERE PF_MAKE_APPL_ID('P', 'r', 'M', 'r')
#define PF_APPL_ID_AFTER_FX PF_MAKE_APPL_ID('F', 'X', 'T', 'C')

/* ---- Worlds ----------------------------------------------------------- */

enum {
    PF_WorldFlag_DEEP = 1L << 0, /* 16 bits a channel */
    PF_WorldFlag_WRITEABLE = 1L << 1,
    PF_WorldFlag_RESERVED0 = 1L << 24,
    PF_WorldFlag_RESERVED1 = 1L << 25,
    PF_WorldFlag_RESERVED2 = 1L << 26,
    PF_WorldFlag_RESERVED3 = 1L << 27,
    PF_WorldFlag_RESERVED4 = 1L << 28,
    PF_WorldFlag_RESERVED5 = 1L << 29,
    PF_WorldFlag_RESERVED6 = 1L << 30,
    PF_WorldFlag_RESERVED = (A_long)(1UL << 31)
};

enum {
    PF_NewWorldFlag_NONE = 0,
    PF_NewWorldFlag_CLEAR_PIXELS = 1L << 0,
    PF_NewWorldFlag_DEEP_PIXELS = 1L << 1,
    PF_NewWorldFlag_RESERVED0 = 1L << 2,
    PF_NewWorldFlag_RESERVED1 = 1L << 3
};

/* An image buffer ("world"): rows of `width` pixels, `rowbytes` apart
   (rowbytes may be negative for bottom-up storage). Also the value of a
   layer parameter. */
typedef struct PF_LayerDef {
    void* reserved0;
    void* reserved1;
    PF_WorldFlags world_flags;
    PF_PixelPtr data;
    A_long rowbytes;
    A_long width;
    A_long height;
    PF_UnionableRect extent_hint;
    void* platform_ref;
    A_long reserved_long1;
    void* reserved_long4;
    PF_RationalScale pix_aspect_ratio;
    void* reserved_long2;
    A_long origin_x;
    A_long origin_y;
    A_long reserved_long3;
    A_long dephault; /* layer parameter default: PF_LayerDefault_* */
} PF_LayerDef;

typedef PF_LayerDef PF_EffectWorld;

enum { PF_LayerDefault_MYSELF = -1, PF_LayerDefault_NONE = 0 };

/* ---- Parameter types and flags ---------------------------------------- */

/* Published order of the parameter types, numbered from the layer type. */
enum {
    PF_Param_RESERVED = -1,
    PF_Param_LAYER = 0,
    PF_Param_SLIDER = 1,
    PF_Param_FIX_SLIDER = 2,
    PF_Param_ANGLE = 3,
    PF_Param_CHECKBOX = 4,
    PF_Param_COLOR = 5,
    PF_Param_POINT = 6,
    PF_Param_POPUP = 7,
    PF_Param_CUSTOM = 8,
    PF_Param_NO_DATA = 9,
    PF_Param_FLOAT_SLIDER = 10,
    PF_Param_ARBITRARY_DATA = 11,
    PF_Param_PATH = 12,
    PF_Param_GROUP_START = 13,
    PF_Param_GROUP_END = 14,
    PF_Param_BUTTON = 15,
    PF_Param_RESERVED2 = 16,
    PF_Param_RESERVED3 = 17,
    PF_Param_POINT_3D = 18
};

enum {
    PF_ParamFlag_RESERVED1 = 1L << 0,
    PF_ParamFlag_CANNOT_TIME_VARY = 1L << 1,
    PF_ParamFlag_CANNOT_INTERP = 1L << 2,
    PF_ParamFlag_RESERVED2 = 1L << 3,
    PF_ParamFlag_RESERVED3 = 1L << 4,
    PF_ParamFlag_COLLAPSE_TWIRLY = 1L << 5,
    PF_ParamFlag_SUPERVISE = 1L << 6,
    PF_ParamFlag_START_COLLAPSED = PF_ParamFlag_COLLAPSE_TWIRLY,
    PF_ParamFlag_USE_VALUE_FOR_OLD_PROJECTS = 1L << 7,
    PF_ParamFlag_LAYER_PARAM_IS_TRACKMATTE = 1L << 7,
    PF_ParamFlag_EXCLUDE_FROM_HAVE_INPUTS_CHANGED = 1L << 8,
    PF_ParamFlag_SKIP_REVEAL_WHEN_UNHIDDEN = 1L << 9
};

enum {
    PF_PUI_NONE = 0,
    PF_PUI_TOPIC = 1L << 0,
    PF_PUI_CONTROL = 1L << 1,
    PF_PUI_STD_CONTROL_ONLY = 1L << 2,
    PF_PUI_NO_ECW_UI = 1L << 3,
    PF_PUI_ECW_SEPARATOR = 1L << 4,
    PF_PUI_DISABLED = 1L << 5,
    PF_PUI_DONT_ERASE_TOPIC = 1L << 6,
    PF_PUI_DONT_ERASE_CONTROL = 1L << 7,
    PF_PUI_RADIO_BUTTON = 1L << 8,
    PF_PUI_INVISIBLE = 1L << 9
};

enum {
    PF_ChangeFlag_NONE = 0,
    PF_ChangeFlag_CHANGED_VALUE = 1L << 0,
    PF_ChangeFlag_RESERVED = 1L << 1,
    PF_ChangeFlag_SET_TO_VARY = 1L << 2,
    PF_ChangeFlag_SET_TO_CONSTANT = 1L << 3
};

enum {
    PF_ValueDisplayFlag_NONE = 0,
    PF_ValueDisplayFlag_PERCENT = 1L << 0,
    PF_ValueDisplayFlag_PIXEL = 1L << 1,
    PF_ValueDisplayFlag_RESERVED1 = 1L << 2
};

enum { PF_FSliderFlag_NONE = 0, PF_FSliderFlag_WANT_PHASE = 1L << 0 };

/* ---- Per-type parameter records --------------------------------------- */

typedef struct PF_SliderDef {
    PF_ParamValue value;
    A_char value_str[PF_MAX_PARAM_VALUE_LEN + 1];
    A_char value_desc[PF_MAX_PARAM_DESCRIPTION_LEN + 1];
    PF_ParamValue valid_min, valid_max;
    PF_ParamValue slider_min, slider_max;
    PF_ParamValue dephault;
} PF_SliderDef;

typedef struct PF_FixedSliderDef {
    PF_Fixed value;
    A_char value_str[PF_MAX_PARAM_VALUE_LEN + 1];
    A_char value_desc[PF_MAX_PARAM_DESCRIPTION_LEN + 1];
    PF_Fixed valid_min, valid_max;
    PF_Fixed slider_min, slider_max;
    PF_Fixed dephault;
    A_short precision;
    PF_ValueDisplayFlags display_flags;
} PF_FixedSliderDef;

typedef struct PF_FloatSliderDef {
    PF_FpLong value;
    PF_FpLong phase;
    A_char value_desc[PF_MAX_PARAM_DESCRIPTION_LEN + 1];
    PF_FpShort valid_min, valid_max;
    PF_FpShort slider_min, slider_max;
    PF_FpShort dephault;
    A_short precision;
    PF_ValueDisplayFlags display_flags;
    PF_FSliderFlags fs_flags;
    PF_FpShort curve_tolerance;
    PF_Boolean useExponent;
    PF_FpShort exponent;
} PF_FloatSliderDef;

/* Angles are 16.16 fixed degrees. */
typedef struct PF_AngleDef {
    PF_Fixed value;
    PF_Fixed dephault;
    PF_Fixed valid_min, valid_max;
} PF_AngleDef;

typedef struct PF_CheckBoxDef {
    PF_ParamValue value;
    PF_Boolean dephault;
    A_char reserved;
    A_short reserved1;
    union {
        const A_char* nameptr; /* label shown beside the box */
    } u;
} PF_CheckBoxDef;

typedef struct PF_ColorDef {
    PF_UnionablePixel value;
    PF_UnionablePixel dephault;
} PF_ColorDef;

/* Points are 16.16 fixed; at setup time they are percentages of the layer. */
typedef struct PF_PointDef {
    PF_Fixed x_value;
    PF_Fixed y_value;
    A_char reserved[3];
    PF_Boolean restrict_bounds;
    PF_Fixed x_dephault;
    PF_Fixed y_dephault;
} PF_PointDef;

/* Popup choices count from 1; the names are one text separated by '|'. */
typedef struct PF_PopupDef {
    PF_ParamValue value;
    A_short num_choices;
    A_short dephault;
    union {
        const A_char* namesptr;
    } u;
} PF_PopupDef;

typedef struct PF_ButtonDef {
    PF_ParamValue value;
    union {
        const A_char* namesptr;
    } u;
} PF_ButtonDef;

typedef struct PF_ArbitraryDef {
    A_short id;
    A_short pad;
    PF_ArbitraryH dephault;
    PF_ArbitraryH value;
    void* refconPV;
} PF_ArbitraryDef;

typedef struct PF_PathDef {
    PF_PathID path_id;
    A_long reserved0;
    A_long dephault;
} PF_PathDef;

typedef struct PF_Point3DDef {
    PF_FpLong x_value, y_value, z_value;
    PF_FpLong x_dephault, y_dephault, z_dephault;
    char reserved[16];
} PF_Point3DDef;

typedef union PF_ParamDefUnion {
    PF_LayerDef ld;
    PF_SliderDef sd;
    PF_FixedSliderDef fd;
    PF_AngleDef ad;
    PF_CheckBoxDef bd;
    PF_ColorDef cd;
    PF_PointDef td;
    PF_PopupDef pd;
    PF_FloatSliderDef fs_d;
    PF_ArbitraryDef arb_d;
    PF_PathDef path_d;
    PF_ButtonDef button_d;
    PF_Point3DDef point3d_d;
} PF_ParamDefUnion;

/* One effect parameter: its description at setup, its value at a time when
   checked out. */
typedef struct PF_ParamDef {
    union {
        A_long id;           /* stable id given at setup */
        A_long change_flags; /* PF_ChangeFlag_* when the plug-in changes the value */
    } uu;
    PF_ParamUIFlags ui_flags;
    A_short ui_width;
    A_short ui_height;
    PF_ParamType param_type;
    A_char name[PF_MAX_EFFECT_PARAM_NAME_LEN + 1];
    PF_ParamFlags flags;
    A_long unused;
    PF_ParamDefUnion u;
} PF_ParamDef;

typedef PF_ParamDef* PF_ParamDefPtr;
typedef PF_ParamDef** PF_ParamList;

/* Opaque state snapshot of a parameter, compared by the host. */
typedef struct PF_State {
    A_long reservedAL[4];
} PF_State;

/* ---- Audio ------------------------------------------------------------ */

typedef A_short PF_SoundFormat;
typedef A_short PF_SoundSampleSize;
typedef A_short PF_SoundChannels;
typedef void* PF_LayerAudio;
typedef void* PF_SndSamplePtr;

typedef struct PF_SoundFormatInfo {
    PF_FpLong rateF;
    PF_SoundChannels num_channels;
    PF_SoundFormat format;
    PF_SoundSampleSize sample_size;
} PF_SoundFormatInfo;

typedef struct PF_SoundWorld {
    PF_SoundFormatInfo fi;
    A_long num_samples;
    void* dataP;
} PF_SoundWorld;

/* ---- Interact callbacks ----------------------------------------------- */

typedef struct PF_CustomUIInfo PF_CustomUIInfo;

typedef struct PF_InteractCallbacks {
    /* Reads parameter `index` at a time given in time_scale units. The
       result must be checked in again. */
    PF_Err (*checkout_param)(PF_ProgPtr effect_ref, PF_ParamIndex index, A_long what_time, A_long time_step,
                             A_u_long time_scale, PF_ParamDef* param);
    PF_Err (*checkin_param)(PF_ProgPtr effect_ref, PF_ParamDef* param);
    /* During PARAMS_SETUP: appends (index -1) a parameter described by def. */
    PF_Err (*add_param)(PF_ProgPtr effect_ref, PF_ParamIndex index, PF_ParamDefPtr def);
    PF_Err (*abort)(PF_ProgPtr effect_ref);
    PF_Err (*progress)(PF_ProgPtr effect_ref, A_long current, A_long total);
    PF_Err (*register_ui)(PF_ProgPtr effect_ref, PF_CustomUIInfo* cust_info);
    PF_Err (*checkout_layer_audio)(PF_ProgPtr effect_ref, PF_ParamIndex index, A_long start_time,
                                   A_long duration, A_u_long time_scale, PF_UFixed rate,
                                   A_long bytes_per_sample, A_long num_channels, A_long fmt_signed,
                                   PF_LayerAudio* audio);
    PF_Err (*checkin_layer_audio)(PF_ProgPtr effect_ref, PF_LayerAudio audio);
    PF_Err (*get_audio_data)(PF_ProgPtr effect_ref, PF_LayerAudio audio, PF_SndSamplePtr* data0,
                             A_long* num_samples0, PF_UFixed* rate0, A_long* bytes_per_sample0,
                             A_long* num_channels0, A_long* fmt_signed0);
    void* reserved_str[3];
    void* reserved[10];
} PF_InteractCallbacks;

/* ---- Per-call records ------------------------------------------------- */

/* What the host tells the effect with every command. */
typedef struct PF_InData {
    PF_InteractCallbacks inter;
    struct _PF_UtilCallbacks* utils;
    PF_ProgPtr effect_ref;
    PF_Quality quality;
    PF_SpecVersion version;
    A_long serial_num;
    A_long appl_id;
    A_long num_params;
    A_long reserved;
    A_long what_cpu;
    A_long what_fpu;
    A_long current_time;
    A_long time_step;
    A_long total_time;
    A_long local_time_step;
    A_u_long time_scale;
    PF_Field field;
    PF_Fixed shutter_angle;
    A_long width;
    A_long height;
    PF_Rect extent_hint;
    A_long output_origin_x;
    A_long output_origin_y;
    PF_RationalScale downsample_x;
    PF_RationalScale downsample_y;
    PF_RationalScale pixel_aspect_ratio;
    PF_InFlags in_flags;
    PF_Handle global_data;
    PF_Handle sequence_data;
    PF_Handle frame_data;
    A_long start_sampL;
    A_long dur_sampL;
    A_long total_sampL;
    PF_SoundWorld src_snd;
    struct SPBasicSuite* pica_basicP;
    A_long pre_effect_source_origin_x;
    A_long pre_effect_source_origin_y;
    PF_Fixed shutter_phase;
} PF_InData;

/* What the effect answers. */
typedef struct PF_OutData {
    A_u_long my_version;
    A_char name[PF_MAX_EFFECT_NAME_LEN + 1];
    PF_Handle global_data;
    A_long num_params;
    PF_Handle sequence_data;
    A_long flat_sdata_size;
    PF_Handle frame_data;
    A_long width;
    A_long height;
    PF_Point origin;
    PF_OutFlags out_flags;
    A_char return_msg[PF_MAX_EFFECT_MSG_LEN + 1];
    A_long start_sampL;
    A_long dur_sampL;
    PF_SoundWorld dest_snd;
    PF_OutFlags2 out_flags2;
} PF_OutData;

/* extra of PF_Cmd_USER_CHANGED_PARAM. */
typedef struct PF_UserChangedParamExtra {
    PF_ParamIndex param_index;
} PF_UserChangedParamExtra;

/* ---- Smart render ----------------------------------------------------- */

enum {
    PF_GPU_Framework_NONE = 0,
    PF_GPU_Framework_OPENCL,
    PF_GPU_Framework_METAL,
    PF_GPU_Framework_CUDA,
    PF_GPU_Framework_DIRECTX
};

enum {
    PF_RenderOutputFlag_RETURNS_EXTRA_PIXELS = 0x1,
    PF_RenderOutputFlag_GPU_RENDER_POSSIBLE = 0x2,
    PF_RenderOutputFlag_RESERVED1 = 0x4
};

typedef struct PF_RenderRequest {
    PF_LRect rect;
    PF_Field field;
    PF_ChannelMask channel_mask;
    PF_Boolean preserve_rgb_of_zero_alpha;
    char unused[3];
    A_long reserved[4];
} PF_RenderRequest;

typedef struct PF_CheckoutResult {
    PF_LRect result_rect;
    PF_LRect max_result_rect;
    PF_RationalScale par;
    PF_Boolean solid; /* the result is fully opaque throughout result_rect */
    PF_Boolean reservedB[3];
    A_long ref_width;
    A_long ref_height;
    A_long reserved[6];
} PF_CheckoutResult;

typedef void (*PF_DeletePreRenderDataFunc)(void* pre_render_data);

typedef struct PF_PreRenderInput {
    PF_RenderRequest output_request;
    short bitdepth;
    const void* gpu_data;
    PF_GPU_Framework what_gpu;
    A_u_long device_index;
} PF_PreRenderInput;

typedef struct PF_PreRenderOutput {
    PF_LRect result_rect;
    PF_LRect max_result_rect;
    PF_Boolean solid;
    PF_Boolean reserved;
    PF_RenderOutputFlags flags;
    void* pre_render_data;
    PF_DeletePreRenderDataFunc delete_pre_render_data_func;
} PF_PreRenderOutput;

typedef struct PF_PreRenderCallbacks {
    /* Asks for layer parameter `index` at a time; checkout_idL names the
       request again at smart render. */
    PF_Err (*checkout_layer)(PF_ProgPtr effect_ref, PF_ParamIndex index, A_long checkout_idL,
                             const PF_RenderRequest* req, A_long what_time, A_long time_step,
                             A_u_long time_scale, PF_CheckoutResult* checkout_result);
    PF_Err (*GuidMixInPtr)(PF_ProgPtr effect_ref, A_u_long buf_sizeLu, const void* buf);
} PF_PreRenderCallbacks;

/* extra of PF_Cmd_SMART_PRE_RENDER. */
typedef struct PF_PreRenderExtra {
    PF_PreRenderInput* input;
    PF_PreRenderOutput* output;
    PF_PreRenderCallbacks* cb;
} PF_PreRenderExtra;

typedef struct PF_SmartRenderInput {
    PF_RenderRequest output_request;
    short bitdepth;
    void* pre_render_data;
    const void* gpu_data;
    PF_GPU_Framework what_gpu;
    A_u_long device_index;
} PF_SmartRenderInput;

typedef struct PF_SmartRenderCallbacks {
    PF_Err (*checkout_layer_pixels)(PF_ProgPtr effect_ref, A_long checkout_idL, PF_EffectWorld** pixels);
    PF_Err (*checkin_layer_pixels)(PF_ProgPtr effect_ref, A_long checkout_idL);
    PF_Err (*checkout_output)(PF_ProgPtr effect_ref, PF_EffectWorld** output);
} PF_SmartRenderCallbacks;

/* extra of PF_Cmd_SMART_RENDER. */
typedef struct PF_SmartRenderExtra {
    PF_SmartRenderInput* input;
    PF_SmartRenderCallbacks* cb;
} PF_SmartRenderExtra;

/* ---- Entry point ------------------------------------------------------ */

/* The one function an effect exports (as "EntryPointFunc"). */
typedef PF_Err (*PF_CmdFuncPtr)(PF_Cmd cmd, PF_InData* in_data, PF_OutData* out_data, PF_ParamDef* params[],
                                PF_LayerDef* output, void* extra);
typedef PF_CmdFuncPtr PF_EntryPointFunc;

#define PF_ENTRY_POINT_NAME "EntryPointFunc"

#ifdef __cplusplus
}
#endif
