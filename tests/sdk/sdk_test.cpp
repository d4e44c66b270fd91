// Layouts of the host interface records that the host reads and writes by
// offset (a field out of place breaks binary compatibility), plus the suite
// helpers' acquire/release bookkeeping.
#include "sdk/AE_SuiteHandler.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <map>
#include <string>

extern "C" int sdk_c_sizeof_param_def(void);

namespace {

constexpr size_t P = sizeof(void*);

// ---- Layouts ------------------------------------------------------------

static_assert(sizeof(PF_Pixel) == 4 && sizeof(PF_Pixel16) == 8 && sizeof(PF_PixelFloat) == 16, "pixels");
static_assert(offsetof(PF_Pixel, alpha) == 0 && offsetof(PF_Pixel, blue) == 3, "ARGB memory order");
static_assert(sizeof(PF_LRect) == 16 && offsetof(PF_LRect, top) == 4 && offsetof(PF_LRect, bottom) == 12,
              "rect");
static_assert(offsetof(PF_ParamDef, name) == 16 && sizeof(((PF_ParamDef*)0)->name) == 32, "param name");
static_assert(offsetof(PF_ParamDef, flags) == 48 && offsetof(PF_ParamDef, unused) == 52, "param flags");
static_assert(sizeof(((PF_OutData*)0)->return_msg) == 256, "return_msg");
static_assert(offsetof(PF_OutData, name) == 4 && offsetof(PF_OutData, global_data) == 40, "out_data head");

TEST(SdkLayout, FieldOffsetsAndSuiteSlots)
{
    struct {
        const char* what;
        size_t offset, expected;
    } table[] = {
        // PF_LayerDef: pointers, flags, data pointer, three longs, then the extent rect.
        {"LayerDef reserved1", offsetof(PF_LayerDef, reserved1), P},
        {"LayerDef world_flags", offsetof(PF_LayerDef, world_flags), 2 * P},
        {"LayerDef data", offsetof(PF_LayerDef, data), 3 * P},
        {"LayerDef rowbytes", offsetof(PF_LayerDef, rowbytes), 4 * P},
        {"LayerDef width", offsetof(PF_LayerDef, width), 4 * P + 4},
        {"LayerDef height", offsetof(PF_LayerDef, height), 4 * P + 8},
        {"LayerDef extent_hint", offsetof(PF_LayerDef, extent_hint), 4 * P + 12},
        {"LayerDef end", offsetof(PF_LayerDef, dephault) + 4, sizeof(PF_LayerDef)},
        // Nine callbacks, 3 reserved string slots and 10 reserved slots precede utils.
        {"add_param", offsetof(PF_InteractCallbacks, add_param), 2 * P},
        {"InData utils", offsetof(PF_InData, utils), 22 * P},
        {"InData effect_ref", offsetof(PF_InData, effect_ref), 23 * P},
        {"host_new_handle", offsetof(PF_UtilCallbacks, host_new_handle), 20 * P},
        {"host_dispose_handle", offsetof(PF_UtilCallbacks, host_dispose_handle), 23 * P},
        {"host_get_handle_size", offsetof(PF_UtilCallbacks, host_get_handle_size),
         offsetof(PF_UtilCallbacks, get_platform_data) + P},
        {"host_resize_handle", offsetof(PF_UtilCallbacks, host_resize_handle),
         offsetof(PF_UtilCallbacks, host_get_handle_size) + 3 * P},
        {"utils ansi", offsetof(PF_UtilCallbacks, ansi), 26 * P},
        {"ansi sprintf", offsetof(PF_ANSICallbacks, sprintf), 15 * P},
        {"ansi strcpy", offsetof(PF_ANSICallbacks, strcpy), 16 * P},
        // The C and C++ views of the headers agree.
        {"PF_ParamDef in C", size_t(sdk_c_sizeof_param_def()), sizeof(PF_ParamDef)},
        // Suite tables: the slot of each function the plug-in calls, and the
        // sizes of the suites whose tail it does not use.
        {"RegisterWithAEGP", offsetof(AEGP_UtilitySuite4, AEGP_RegisterWithAEGP), 8 * P},
        {"ExecuteScript", offsetof(AEGP_UtilitySuite4, AEGP_ExecuteScript), 27 * P},
        {"LockMemHandle", offsetof(AEGP_MemorySuite1, AEGP_LockMemHandle), 2 * P},
        {"GetNewEffectForEffect", offsetof(AEGP_PFInterfaceSuite1, AEGP_GetNewEffectForEffect), 1 * P},
        {"DisposeEffect", offsetof(AEGP_EffectSuite3, AEGP_DisposeEffect), 8 * P},
        {"GetNewEffectStreamByIndex", offsetof(AEGP_StreamSuite2, AEGP_GetNewEffectStreamByIndex), 5 * P},
        {"DisposeStream", offsetof(AEGP_StreamSuite2, AEGP_DisposeStream), 7 * P},
        {"SetDynamicStreamFlag", offsetof(AEGP_DynamicStreamSuite2, AEGP_SetDynamicStreamFlag), 5 * P},
        {"SetStreamName", offsetof(AEGP_DynamicStreamSuite2, AEGP_SetStreamName), 11 * P},
        {"ClearSupportedPixelFormats", offsetof(PF_PixelFormatSuite1, ClearSupportedPixelFormats), 1 * P},
        {"PF_GetPixelFormat", offsetof(PF_WorldSuite2, PF_GetPixelFormat), 2 * P},
        {"host_resize_handle", offsetof(PF_HandleSuite1, host_resize_handle), 5 * P},
        {"ANSI strcpy", offsetof(PF_ANSICallbacksSuite1, strcpy), 16 * P},
        {"PF_UpdateParamUI", offsetof(PF_ParamUtilsSuite3, PF_UpdateParamUI), 0 * P},
        {"sizeof UtilitySuite4", sizeof(AEGP_UtilitySuite4), 30 * P},
        {"sizeof DynamicStreamSuite2", sizeof(AEGP_DynamicStreamSuite2), 17 * P},
        {"sizeof StreamSuite2", sizeof(AEGP_StreamSuite2), 22 * P},
        {"sizeof EffectSuite3", sizeof(AEGP_EffectSuite3), 17 * P},
    };
    for (const auto& row : table)
        EXPECT_EQ(row.offset, row.expected) << row.what;
    EXPECT_LT(offsetof(PF_LayerDef, platform_ref), offsetof(PF_LayerDef, pix_aspect_ratio));
    EXPECT_LT(offsetof(PF_LayerDef, origin_x), offsetof(PF_LayerDef, dephault));
}

// ---- Suite helpers --------------------------------------------------------

// A broker that serves the offered suites by name and counts what is held.
struct Broker {
    std::map<std::string, const void*> offered;
    std::map<std::string, int> held, acquired;
    int badReleases = 0;
};
Broker* g_broker = nullptr;

SPErr acquire(const char* name, A_long, const void** suite)
{
    auto it = g_broker->offered.find(name);
    *suite = it == g_broker->offered.end() ? nullptr : it->second;
    if (!*suite)
        return kSPSuiteNotFoundError;
    ++g_broker->held[name];
    ++g_broker->acquired[name];
    return kSPNoError;
}

SPErr release(const char* name, A_long)
{
    if (g_broker->held[name] <= 0) {
        ++g_broker->badReleases;
        return kSPBadParameterError;
    }
    --g_broker->held[name];
    return kSPNoError;
}

class SuiteHandlerTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        g_broker = &broker;
        broker.offered = {{kPFHandleSuite, &handleSuite}, {kAEGPUtilitySuite, &utilitySuite}};
        basic.AcquireSuite = &acquire;
        basic.ReleaseSuite = &release;
    }
    void TearDown() override { g_broker = nullptr; }
    Broker broker;
    PF_HandleSuite1 handleSuite{};
    AEGP_UtilitySuite4 utilitySuite{};
    SPBasicSuite basic{};
};

TEST_F(SuiteHandlerTest, AcquiresLazilyOnceAndReleasesOnce)
{
    AEGP_SuiteHandler noBroker(nullptr);
    EXPECT_EQ(noBroker.MemorySuite(), nullptr);
    {
        AEGP_SuiteHandler suites(&basic);
        EXPECT_TRUE(broker.acquired.empty());
        EXPECT_EQ(suites.HandleSuite1(), &handleSuite);
        EXPECT_EQ(suites.HandleSuite1(), &handleSuite);
        EXPECT_EQ(suites.UtilitySuite(), &utilitySuite);
        EXPECT_EQ(suites.WorldSuite2(), nullptr); // not offered: null, and never released
        EXPECT_EQ(broker.acquired[kPFHandleSuite], 1);
        EXPECT_EQ(broker.held[kAEGPUtilitySuite], 1);
        suites.ReleaseAllSuites();
        EXPECT_EQ(broker.held[kPFHandleSuite], 0);
        EXPECT_EQ(broker.held[kAEGPUtilitySuite], 0);
        // Usable again after a release; the destructor gives it back.
        EXPECT_EQ(suites.HandleSuite1(), &handleSuite);
        EXPECT_EQ(broker.held[kPFHandleSuite], 1);
    }
    EXPECT_EQ(broker.held[kPFHandleSuite], 0);
    EXPECT_EQ(broker.badReleases, 0);
}

TEST_F(SuiteHandlerTest, AcquireSuiteHelper)
{
    PF_InData in{};
    PF_OutData out{};
    in.pica_basicP = &basic;
    void* suite = nullptr;
    EXPECT_EQ(AEFX_AcquireSuite(&in, &out, kPFHandleSuite, kPFHandleSuiteVersion1, nullptr, &suite),
              PF_Err_NONE);
    EXPECT_EQ(suite, &handleSuite);
    EXPECT_EQ(AEFX_ReleaseSuite(&in, &out, kPFHandleSuite, kPFHandleSuiteVersion1, nullptr), PF_Err_NONE);
    EXPECT_EQ(broker.held[kPFHandleSuite], 0);

    suite = &out; // must be cleared on failure
    EXPECT_EQ(AEFX_AcquireSuite(&in, &out, kPFWorldSuite, kPFWorldSuiteVersion2, "no world suite", &suite),
              PF_Err_BAD_CALLBACK_PARAM);
    EXPECT_EQ(suite, nullptr);
    EXPECT_STREQ(out.return_msg, "no world suite");
    EXPECT_TRUE(out.out_flags & PF_OutFlag_DISPLAY_ERROR_MESSAGE);
}

} // namespace
