// Record layouts that a compositing host reads by offset, and the suite
// helpers' acquire/release bookkeeping.
#include "sdk/AE_SuiteHandler.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <map>
#include <string>

extern "C" int sdk_c_sizeof_param_def(void);

namespace {

constexpr size_t P = sizeof(void*);

static_assert(offsetof(PF_Pixel, alpha) == 0 && offsetof(PF_Pixel, blue) == 3, "ARGB memory order");
static_assert(offsetof(PF_ParamDef, name) == 16 && offsetof(PF_ParamDef, flags) == 48, "param def");
static_assert(offsetof(PF_OutData, name) == 4 && offsetof(PF_OutData, global_data) == 40, "out data");
static_assert(offsetof(PF_InData, utils) == 22 * P && offsetof(PF_InData, effect_ref) == 23 * P, "in data");
static_assert(offsetof(PF_LayerDef, data) == 3 * P && offsetof(PF_LayerDef, width) == 4 * P + 4, "layer");
static_assert(offsetof(PF_UtilCallbacks, host_new_handle) == 20 * P &&
                  offsetof(PF_UtilCallbacks, ansi) == 26 * P,
              "utility callbacks");
static_assert(offsetof(AEGP_UtilitySuite4, AEGP_ExecuteScript) == 27 * P, "utility suite");
static_assert(offsetof(AEGP_StreamSuite2, AEGP_GetNewEffectStreamByIndex) == 5 * P, "stream suite");
static_assert(offsetof(AEGP_DynamicStreamSuite2, AEGP_SetStreamName) == 11 * P, "dynamic stream suite");
static_assert(offsetof(PF_WorldSuite2, PF_GetPixelFormat) == 2 * P, "world suite");

// A broker serving two suites by name and counting what is held.
std::map<std::string, int> g_held;
PF_HandleSuite1 g_handles{};
SPErr acquire(const char* name, A_long, const void** suite)
{
    *suite = std::string(name) == kPFHandleSuite ? &g_handles : nullptr;
    g_held[name] += *suite != nullptr;
    return *suite ? kSPNoError : kSPSuiteNotFoundError;
}
SPErr release(const char* name, A_long) { return --g_held[name] < 0 ? kSPBadParameterError : kSPNoError; }

TEST(Sdk, CAndCppAgreeOnTheParamDef) { EXPECT_EQ(size_t(sdk_c_sizeof_param_def()), sizeof(PF_ParamDef)); }

TEST(Sdk, SuiteHandlerAcquiresLazilyOnceAndReleasesOnce)
{
    SPBasicSuite basic{};
    basic.AcquireSuite = &acquire;
    basic.ReleaseSuite = &release;
    g_held.clear();
    {
        AEGP_SuiteHandler suites(&basic);
        EXPECT_TRUE(g_held.empty());
        EXPECT_EQ(suites.HandleSuite1(), &g_handles);
        EXPECT_EQ(suites.HandleSuite1(), &g_handles);
        EXPECT_EQ(suites.WorldSuite2(), nullptr); // not offered: never released either
        EXPECT_EQ(g_held[kPFHandleSuite], 1);
        suites.ReleaseAllSuites();
        EXPECT_EQ(g_held[kPFHandleSuite], 0);
        EXPECT_EQ(suites.HandleSuite1(), &g_handles); // usable again; the destructor gives it back
    }
    EXPECT_EQ(g_held[kPFHandleSuite], 0);
    EXPECT_EQ(g_held[kPFWorldSuite], 0);

    PF_InData in{};
    PF_OutData out{};
    in.pica_basicP = &basic;
    void* suite = &out;
    EXPECT_EQ(AEFX_AcquireSuite(&in, &out, kPFWorldSuite, 2, "no world suite", &suite),
              PF_Err_BAD_CALLBACK_PARAM);
    EXPECT_EQ(suite, nullptr);
    EXPECT_STREQ(out.return_msg, "no world suite");
    EXPECT_TRUE(out.out_flags & PF_OutFlag_DISPLAY_ERROR_MESSAGE);
}

} // namespace
