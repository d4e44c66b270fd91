// Values and layouts of the host interface declarations, plus the suite
// helpers' acquire/release bookkeeping.
#include "sdk/AE_SuiteHandler.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <map>
#include <string>

extern "C" int sdk_c_sizeof_param_def(void);

namespace {

// A four-character code as the 32-bit value its characters have in memory.
uint32_t memoryCode(const char (&s)[5]) {
    uint32_t v;
    std::memcpy(&v, s, 4);
    return v;
}

constexpr size_t P = sizeof(void*);

// ---- Values fixed by the host interface --------------------------------

static_assert(PF_Cmd_ABOUT == 0 && PF_Cmd_GLOBAL_SETUP == 1 && PF_Cmd_GLOBAL_SETDOWN == 3 &&
                  PF_Cmd_PARAMS_SETUP == 4 && PF_Cmd_SEQUENCE_SETUP == 5 &&
                  PF_Cmd_SEQUENCE_RESETUP == 6 && PF_Cmd_SEQUENCE_FLATTEN == 7 &&
                  PF_Cmd_SEQUENCE_SETDOWN == 8 && PF_Cmd_DO_DIALOG == 9 && PF_Cmd_RENDER == 11 &&
                  PF_Cmd_USER_CHANGED_PARAM == 13 && PF_Cmd_UPDATE_PARAMS_UI == 14 &&
                  PF_Cmd_SMART_PRE_RENDER == 23 && PF_Cmd_SMART_RENDER == 24,
              "command selectors");
static_assert(PF_Err_NONE == 0 && PF_Err_OUT_OF_MEMORY == 4 && PF_Err_INTERNAL_STRUCT_DAMAGED == 512 &&
                  PF_Err_INVALID_INDEX == 513 && PF_Err_BAD_CALLBACK_PARAM == 516,
              "error codes");
static_assert((PF_OutFlag_WIDE_TIME_INPUT | PF_OutFlag_NON_PARAM_VARY | PF_OutFlag_I_DO_DIALOG |
               PF_OutFlag_DEEP_COLOR_AWARE | PF_OutFlag_SEND_UPDATE_PARAMS_UI) == 0x6000026,
              "global setup out_flags");
static_assert((PF_OutFlag2_PARAM_GROUP_START_COLLAPSED_FLAG | PF_OutFlag2_SUPPORTS_SMART_RENDER |
               PF_OutFlag2_FLOAT_COLOR_AWARE | PF_OutFlag2_PPRO_DO_NOT_CLONE_SEQUENCE_DATA_FOR_RENDER) ==
                  0x9408,
              "global setup out_flags2");
static_assert((0x9408 & ~PF_OutFlag2_FLOAT_COLOR_AWARE) == 0x8408, "out_flags2 without float colour");
static_assert(PF_VERSION(2, 0, 0, PF_Stage_DEVELOP, 1) == 0x100001, "version word");
static_assert(PF_ChangeFlag_CHANGED_VALUE == 1 && PF_LayerDefault_MYSELF == -1, "small constants");
static_assert(PF_Param_LAYER == 0 && PF_Param_FLOAT_SLIDER == 10 && PF_Param_GROUP_START == 13 &&
                  PF_Param_GROUP_END == 14 && PF_Param_POINT_3D == 18,
              "parameter types");

// The published numbering, written out value by value: a renumbered or
// shifted constant in the headers shows up here.
TEST(SdkValues, PublishedNumbering) {
    struct {
        const char* what;
        long long value;
        long long published;
    } table[] = {
        // Command selectors the effect does not serve are numbered too.
        {"PF_Cmd_FRAME_SETUP", PF_Cmd_FRAME_SETUP, 10},
        {"PF_Cmd_FRAME_SETDOWN", PF_Cmd_FRAME_SETDOWN, 12},
        {"PF_Cmd_EVENT", PF_Cmd_EVENT, 15},
        {"PF_Cmd_ARBITRARY_CALLBACK", PF_Cmd_ARBITRARY_CALLBACK, 22},
        {"PF_Cmd_GET_FLATTENED_SEQUENCE_DATA", PF_Cmd_GET_FLATTENED_SEQUENCE_DATA, 28},
        {"PF_Cmd_GPU_DEVICE_SETDOWN", PF_Cmd_GPU_DEVICE_SETDOWN, 33},
        // Error codes.
        {"PF_Err_UNRECOGNIZED_PARAM_TYPE", PF_Err_UNRECOGNIZED_PARAM_TYPE, 514},
        {"PF_Err_INVALID_CALLBACK", PF_Err_INVALID_CALLBACK, 515},
        {"PF_Interrupt_CANCEL", PF_Interrupt_CANCEL, 517},
        {"PF_Err_CANNOT_PARSE_KEYFRAME_TEXT", PF_Err_CANNOT_PARSE_KEYFRAME_TEXT, 518},
        // Output flags, one bit each.
        {"PF_OutFlag_WIDE_TIME_INPUT", PF_OutFlag_WIDE_TIME_INPUT, 0x2},
        {"PF_OutFlag_NON_PARAM_VARY", PF_OutFlag_NON_PARAM_VARY, 0x4},
        {"PF_OutFlag_I_DO_DIALOG", PF_OutFlag_I_DO_DIALOG, 0x20},
        {"PF_OutFlag_DISPLAY_ERROR_MESSAGE", PF_OutFlag_DISPLAY_ERROR_MESSAGE, 0x100},
        {"PF_OutFlag_REFRESH_UI", PF_OutFlag_REFRESH_UI, 0x20000},
        {"PF_OutFlag_FORCE_RERENDER", PF_OutFlag_FORCE_RERENDER, 0x400000},
        {"PF_OutFlag_DEEP_COLOR_AWARE", PF_OutFlag_DEEP_COLOR_AWARE, 0x2000000},
        {"PF_OutFlag_SEND_UPDATE_PARAMS_UI", PF_OutFlag_SEND_UPDATE_PARAMS_UI, 0x4000000},
        {"PF_OutFlag2_PARAM_GROUP_START_COLLAPSED_FLAG", PF_OutFlag2_PARAM_GROUP_START_COLLAPSED_FLAG, 0x8},
        {"PF_OutFlag2_I_AM_THREADSAFE", PF_OutFlag2_I_AM_THREADSAFE, 0x10},
        {"PF_OutFlag2_SUPPORTS_SMART_RENDER", PF_OutFlag2_SUPPORTS_SMART_RENDER, 0x400},
        {"PF_OutFlag2_FLOAT_COLOR_AWARE", PF_OutFlag2_FLOAT_COLOR_AWARE, 0x1000},
        {"PF_OutFlag2_PPRO_DO_NOT_CLONE_SEQUENCE_DATA_FOR_RENDER",
         PF_OutFlag2_PPRO_DO_NOT_CLONE_SEQUENCE_DATA_FOR_RENDER, 0x8000},
        // Parameter flags, UI flags, change flags, display flags.
        {"PF_ParamFlag_CANNOT_TIME_VARY", PF_ParamFlag_CANNOT_TIME_VARY, 0x2},
        {"PF_ParamFlag_CANNOT_INTERP", PF_ParamFlag_CANNOT_INTERP, 0x4},
        {"PF_ParamFlag_COLLAPSE_TWIRLY", PF_ParamFlag_COLLAPSE_TWIRLY, 0x20},
        {"PF_ParamFlag_START_COLLAPSED", PF_ParamFlag_START_COLLAPSED, 0x20},
        {"PF_ParamFlag_SUPERVISE", PF_ParamFlag_SUPERVISE, 0x40},
        {"PF_PUI_TOPIC", PF_PUI_TOPIC, 0x1},
        {"PF_PUI_CONTROL", PF_PUI_CONTROL, 0x2},
        {"PF_PUI_NO_ECW_UI", PF_PUI_NO_ECW_UI, 0x8},
        {"PF_PUI_DISABLED", PF_PUI_DISABLED, 0x20},
        {"PF_PUI_INVISIBLE", PF_PUI_INVISIBLE, 0x200},
        {"PF_ChangeFlag_CHANGED_VALUE", PF_ChangeFlag_CHANGED_VALUE, 0x1},
        {"PF_ChangeFlag_SET_TO_VARY", PF_ChangeFlag_SET_TO_VARY, 0x4},
        {"PF_ChangeFlag_SET_TO_CONSTANT", PF_ChangeFlag_SET_TO_CONSTANT, 0x8},
        {"PF_ValueDisplayFlag_PERCENT", PF_ValueDisplayFlag_PERCENT, 0x1},
        {"PF_ValueDisplayFlag_PIXEL", PF_ValueDisplayFlag_PIXEL, 0x2},
        // Parameter types in their published order.
        {"PF_Param_SLIDER", PF_Param_SLIDER, 1},
        {"PF_Param_FIX_SLIDER", PF_Param_FIX_SLIDER, 2},
        {"PF_Param_ANGLE", PF_Param_ANGLE, 3},
        {"PF_Param_CHECKBOX", PF_Param_CHECKBOX, 4},
        {"PF_Param_COLOR", PF_Param_COLOR, 5},
        {"PF_Param_POINT", PF_Param_POINT, 6},
        {"PF_Param_POPUP", PF_Param_POPUP, 7},
        {"PF_Param_CUSTOM", PF_Param_CUSTOM, 8},
        {"PF_Param_NO_DATA", PF_Param_NO_DATA, 9},
        {"PF_Param_ARBITRARY_DATA", PF_Param_ARBITRARY_DATA, 11},
        {"PF_Param_PATH", PF_Param_PATH, 12},
        {"PF_Param_BUTTON", PF_Param_BUTTON, 15},
        // Dynamic stream flags.
        {"AEGP_DynStreamFlag_HIDDEN", AEGP_DynStreamFlag_HIDDEN, 0x2},
        {"AEGP_DynStreamFlag_DISABLED", AEGP_DynStreamFlag_DISABLED, 0x10},
    };
    for (const auto& row : table) EXPECT_EQ(row.value, row.published) << row.what;
}

TEST(SdkValues, PixelFormatsAreFourCharactersInMemoryOrder) {
    struct {
        A_long value;
        const char code[5];
        uint32_t stored;
    } table[] = {
        {PF_PixelFormat_ARGB32, "argb", 0x62677261u},
        {PF_PixelFormat_ARGB64, "ae16", 0x36316561u},
        {PF_PixelFormat_ARGB128, "ae32", 0x32336561u},
        {PrPixelFormat_BGRA_4444_8u, "bgra", 0x61726762u},
    };
    for (const auto& row : table) {
        EXPECT_EQ(static_cast<uint32_t>(row.value), row.stored) << row.code;
        EXPECT_EQ(static_cast<uint32_t>(row.value), memoryCode(row.code)) << row.code;
    }
}

TEST(SdkValues, PremiereApplicationId) {
    EXPECT_EQ(PF_APPL_ID_PREMIERE, 0x50724D72);
    // Most significant byte first: 'P' 'r' 'M' 'r'.
    EXPECT_EQ((PF_APPL_ID_PREMIERE >> 24) & 0xFF, 'P');
    EXPECT_EQ(PF_APPL_ID_PREMIERE & 0xFF, 'r');
}

TEST(SdkValues, VersionFieldsRoundTrip) {
    const A_u_long v = PF_VERSION(9, 5, 3, PF_Stage_BETA, 300);
    EXPECT_EQ(PF_Version_VERS(v), 9u);
    EXPECT_EQ(PF_Version_SUBVERS(v), 5u);
    EXPECT_EQ(PF_Version_BUGFIX(v), 3u);
    EXPECT_EQ(PF_Version_STAGE(v), static_cast<A_u_long>(PF_Stage_BETA));
    EXPECT_EQ(PF_Version_BUILD(v), 300u);
}

TEST(SdkValues, FixedPointMacros) {
    EXPECT_EQ(INT2FIX(45), 45 * 65536);
    EXPECT_EQ(FIX2INT(INT2FIX(-3)), -3);
    EXPECT_EQ(FIX2INT(-32768), -1);  // arithmetic shift: -0.5 goes to -1
}

// ---- Layouts ------------------------------------------------------------

static_assert(sizeof(PF_Pixel) == 4 && sizeof(PF_Pixel16) == 8 && sizeof(PF_PixelFloat) == 16, "pixels");
static_assert(offsetof(PF_Pixel, alpha) == 0 && offsetof(PF_Pixel, blue) == 3, "ARGB memory order");
static_assert(sizeof(PF_LRect) == 16 && offsetof(PF_LRect, top) == 4 && offsetof(PF_LRect, bottom) == 12,
              "rect");
static_assert(offsetof(PF_ParamDef, name) == 16 && sizeof(((PF_ParamDef*)0)->name) == 32, "param name");
static_assert(offsetof(PF_ParamDef, flags) == 48 && offsetof(PF_ParamDef, unused) == 52, "param flags");
static_assert(sizeof(((PF_OutData*)0)->return_msg) == 256, "return_msg");
static_assert(offsetof(PF_OutData, name) == 4 && offsetof(PF_OutData, global_data) == 40, "out_data head");

TEST(SdkLayout, LayerDefFieldOrder) {
    // Pointers, flags, data pointer, three longs, then the extent rect.
    EXPECT_EQ(offsetof(PF_LayerDef, reserved1), P);
    EXPECT_EQ(offsetof(PF_LayerDef, world_flags), 2 * P);
    EXPECT_EQ(offsetof(PF_LayerDef, data), 3 * P);
    EXPECT_EQ(offsetof(PF_LayerDef, rowbytes), 4 * P);
    EXPECT_EQ(offsetof(PF_LayerDef, width), 4 * P + 4);
    EXPECT_EQ(offsetof(PF_LayerDef, height), 4 * P + 8);
    EXPECT_EQ(offsetof(PF_LayerDef, extent_hint), 4 * P + 12);
    EXPECT_LT(offsetof(PF_LayerDef, platform_ref), offsetof(PF_LayerDef, pix_aspect_ratio));
    EXPECT_LT(offsetof(PF_LayerDef, origin_x), offsetof(PF_LayerDef, dephault));
    EXPECT_EQ(offsetof(PF_LayerDef, dephault) + 4, sizeof(PF_LayerDef));
}

TEST(SdkLayout, InteractCallbacksOpenInData) {
    // Nine callbacks, 3 reserved string slots and 10 reserved slots precede utils.
    EXPECT_EQ(offsetof(PF_InteractCallbacks, add_param), 2 * P);
    EXPECT_EQ(offsetof(PF_InData, utils), 22 * P);
    EXPECT_EQ(offsetof(PF_InData, effect_ref), 23 * P);
}

TEST(SdkLayout, UtilCallbackSlots) {
    EXPECT_EQ(offsetof(PF_UtilCallbacks, host_new_handle), 20 * P);
    EXPECT_EQ(offsetof(PF_UtilCallbacks, host_dispose_handle), 23 * P);
    EXPECT_EQ(offsetof(PF_UtilCallbacks, ansi), 26 * P);
    EXPECT_EQ(offsetof(PF_ANSICallbacks, sprintf), 15 * P);
    EXPECT_EQ(offsetof(PF_ANSICallbacks, strcpy), 16 * P);
    EXPECT_EQ(offsetof(PF_UtilCallbacks, host_get_handle_size),
              offsetof(PF_UtilCallbacks, get_platform_data) + P);
    EXPECT_EQ(offsetof(PF_UtilCallbacks, host_resize_handle),
              offsetof(PF_UtilCallbacks, host_get_handle_size) + 3 * P);
}

TEST(SdkLayout, SuiteSlotsInPublishedOrder) {
    struct {
        const char* what;
        size_t offset;
        size_t slot;
    } table[] = {
        {"RegisterWithAEGP", offsetof(AEGP_UtilitySuite4, AEGP_RegisterWithAEGP), 8},
        {"ExecuteScript", offsetof(AEGP_UtilitySuite4, AEGP_ExecuteScript), 27},
        {"LockMemHandle", offsetof(AEGP_MemorySuite1, AEGP_LockMemHandle), 2},
        {"GetNewEffectForEffect", offsetof(AEGP_PFInterfaceSuite1, AEGP_GetNewEffectForEffect), 1},
        {"DisposeEffect", offsetof(AEGP_EffectSuite3, AEGP_DisposeEffect), 8},
        {"GetNewEffectStreamByIndex", offsetof(AEGP_StreamSuite2, AEGP_GetNewEffectStreamByIndex), 5},
        {"DisposeStream", offsetof(AEGP_StreamSuite2, AEGP_DisposeStream), 7},
        {"SetDynamicStreamFlag", offsetof(AEGP_DynamicStreamSuite2, AEGP_SetDynamicStreamFlag), 5},
        {"SetStreamName", offsetof(AEGP_DynamicStreamSuite2, AEGP_SetStreamName), 11},
        {"ClearSupportedPixelFormats", offsetof(PF_PixelFormatSuite1, ClearSupportedPixelFormats), 1},
        {"PF_GetPixelFormat", offsetof(PF_WorldSuite2, PF_GetPixelFormat), 2},
        {"host_resize_handle", offsetof(PF_HandleSuite1, host_resize_handle), 5},
        {"ANSI strcpy", offsetof(PF_ANSICallbacksSuite1, strcpy), 16},
        {"PF_UpdateParamUI", offsetof(PF_ParamUtilsSuite3, PF_UpdateParamUI), 0},
    };
    for (const auto& row : table) EXPECT_EQ(row.offset, row.slot * P) << row.what;
    EXPECT_EQ(sizeof(AEGP_UtilitySuite4), 30 * P);
    EXPECT_EQ(sizeof(AEGP_DynamicStreamSuite2), 17 * P);
    EXPECT_EQ(sizeof(AEGP_StreamSuite2), 22 * P);
    EXPECT_EQ(sizeof(AEGP_EffectSuite3), 17 * P);
}

TEST(SdkLayout, HeadersAgreeBetweenCAndCxx) {
    EXPECT_EQ(sdk_c_sizeof_param_def(), static_cast<int>(sizeof(PF_ParamDef)));
}

// ---- Suite helpers --------------------------------------------------------

// A broker that serves suites by name and counts acquisitions per name.
struct FakeBroker {
    static std::map<std::string, int> held;
    static std::map<std::string, int> acquired;
    static std::map<std::string, const void*> offered;
    static int badReleases;

    static SPErr acquire(const char* name, A_long, const void** suite) {
        auto it = offered.find(name);
        if (it == offered.end()) {
            *suite = nullptr;
            return kSPSuiteNotFoundError;
        }
        ++held[name];
        ++acquired[name];
        *suite = it->second;
        return kSPNoError;
    }
    static SPErr release(const char* name, A_long) {
        if (held[name] <= 0) {
            ++badReleases;
            return kSPBadParameterError;
        }
        --held[name];
        return kSPNoError;
    }
    static SPBasicSuite make() {
        SPBasicSuite s{};
        s.AcquireSuite = &acquire;
        s.ReleaseSuite = &release;
        return s;
    }
    static void reset() {
        held.clear();
        acquired.clear();
        offered.clear();
        badReleases = 0;
    }
};
std::map<std::string, int> FakeBroker::held;
std::map<std::string, int> FakeBroker::acquired;
std::map<std::string, const void*> FakeBroker::offered;
int FakeBroker::badReleases = 0;

class SuiteHandlerTest : public ::testing::Test {
protected:
    void SetUp() override {
        FakeBroker::reset();
        FakeBroker::offered[kPFHandleSuite] = &handleSuite;
        FakeBroker::offered[kAEGPUtilitySuite] = &utilitySuite;
        basic = FakeBroker::make();
    }
    void TearDown() override { FakeBroker::reset(); }
    PF_HandleSuite1 handleSuite{};
    AEGP_UtilitySuite4 utilitySuite{};
    SPBasicSuite basic{};
};

TEST_F(SuiteHandlerTest, AcquiresLazilyOnceAndReleasesOnce) {
    {
        AEGP_SuiteHandler suites(&basic);
        EXPECT_TRUE(FakeBroker::acquired.empty());
        EXPECT_EQ(suites.HandleSuite1(), &handleSuite);
        EXPECT_EQ(suites.HandleSuite1(), &handleSuite);
        EXPECT_EQ(suites.UtilitySuite(), &utilitySuite);
        EXPECT_EQ(FakeBroker::acquired[kPFHandleSuite], 1);
        EXPECT_EQ(FakeBroker::held[kAEGPUtilitySuite], 1);
        suites.ReleaseAllSuites();
        EXPECT_EQ(FakeBroker::held[kPFHandleSuite], 0);
        EXPECT_EQ(FakeBroker::held[kAEGPUtilitySuite], 0);
        // Usable again after a release; the destructor gives it back.
        EXPECT_EQ(suites.HandleSuite1(), &handleSuite);
        EXPECT_EQ(FakeBroker::held[kPFHandleSuite], 1);
    }
    EXPECT_EQ(FakeBroker::held[kPFHandleSuite], 0);
    EXPECT_EQ(FakeBroker::badReleases, 0);
}

TEST_F(SuiteHandlerTest, MissingSuiteIsNullAndNeverReleased) {
    {
        AEGP_SuiteHandler suites(&basic);
        EXPECT_EQ(suites.DynamicStreamSuite(), nullptr);
        EXPECT_EQ(suites.WorldSuite2(), nullptr);
    }
    EXPECT_EQ(FakeBroker::badReleases, 0);
    AEGP_SuiteHandler noBroker(nullptr);
    EXPECT_EQ(noBroker.MemorySuite(), nullptr);
}

TEST_F(SuiteHandlerTest, AcquireSuiteHelper) {
    PF_InData in{};
    PF_OutData out{};
    in.pica_basicP = &basic;
    void* suite = nullptr;
    EXPECT_EQ(AEFX_AcquireSuite(&in, &out, kPFHandleSuite, kPFHandleSuiteVersion1, nullptr, &suite),
              PF_Err_NONE);
    EXPECT_EQ(suite, &handleSuite);
    EXPECT_EQ(AEFX_ReleaseSuite(&in, &out, kPFHandleSuite, kPFHandleSuiteVersion1, nullptr), PF_Err_NONE);
    EXPECT_EQ(FakeBroker::held[kPFHandleSuite], 0);

    suite = &out;  // must be cleared on failure
    EXPECT_EQ(AEFX_AcquireSuite(&in, &out, kPFWorldSuite, kPFWorldSuiteVersion2, "no world suite", &suite),
              PF_Err_BAD_CALLBACK_PARAM);
    EXPECT_EQ(suite, nullptr);
    EXPECT_STREQ(out.return_msg, "no world suite");
    EXPECT_TRUE(out.out_flags & PF_OutFlag_DISPLAY_ERROR_MESSAGE);
}

}  // namespace
