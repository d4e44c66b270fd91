// The entry point: dispatch, the commands' guards and failure paths, and the
// frame commands' checkouts. Whole sessions through the real plug-in are in
// plugin_test.cpp and the host tests.
#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <tuple>
#include <vector>

#include "FakeHost.h"
#include "gl/AE_GL_Context.h"
#include "gl/EffectData.h"
#include "shell/EntryPoint.h"
#include "shell/RenderCommands.h"

// The embedded description the shell reads at global setup (in the plug-in
// binary the generated source defines it).
extern "C" const char* _GLFX_CODE;
const char* _GLFX_CODE = nullptr;

namespace {

// Layers at description indices 3 (two frames later) and 5, other types
// around them.
const char* kLayers = "[settings]\nname=Layers\nversion=1\ndescription=Two layers.\n"
                      "[par1]\nparam=gain\ntype=float\n"
                      "[par2]\nparam=on\ntype=check\n"
                      "[par3]\nparam=later\ntype=layer\ntime=2\n"
                      "[par4]\nparam=tint\ntype=color\n"
                      "[par5]\nparam=now\ntype=layer\n";

PF_Err call(FakeHost& h, PF_Cmd cmd, void* extra = nullptr, PF_ParamDef** params = nullptr,
            PF_LayerDef* output = nullptr)
{
    return EntryPointFunc(cmd, &h.in, &h.out, params, output, extra);
}

// Global and sequence setup with `text` as the embedded description.
void startInstance(FakeHost& h, const char* text)
{
    _GLFX_CODE = text;
    ASSERT_EQ(call(h, PF_Cmd_GLOBAL_SETUP), PF_Err_NONE);
    h.in.global_data = h.out.global_data;
    ASSERT_EQ(call(h, PF_Cmd_SEQUENCE_SETUP), PF_Err_NONE);
    h.in.sequence_data = h.out.sequence_data;
}

void stopInstance(FakeHost& h)
{
    EXPECT_EQ(call(h, PF_Cmd_SEQUENCE_SETDOWN), PF_Err_NONE);
    EXPECT_EQ(call(h, PF_Cmd_GLOBAL_SETDOWN), PF_Err_NONE);
    EXPECT_EQ(h.handlesLive, 0);
    _GLFX_CODE = nullptr;
}

std::array<A_long, 4> corners(const PF_LRect& r) { return {r.left, r.top, r.right, r.bottom}; }

TEST(EntryPoint, UnservedSelectorsDoNothing)
{
    FakeHost h;
    h.in.sequence_data = h.newHandle(sizeof(EffectData));
    std::memset(*h.in.sequence_data, 0xAB, sizeof(EffectData));
    std::memset(&h.out, 0x5C, sizeof h.out);
    const PF_OutData before = h.out;
    std::vector<unsigned char> record(sizeof(EffectData));
    std::memcpy(record.data(), *h.in.sequence_data, record.size());

    const PF_Cmd unserved[] = {2, 10, 12, 15, 16, 17, 18, 19, 20, 21, 22, 25, 28, 31, 33, 1000, -1};
    for (PF_Cmd cmd : unserved) {
        SCOPED_TRACE(cmd);
        EXPECT_EQ(call(h, cmd), PF_Err_NONE);
        // Also without any records at all.
        EXPECT_EQ(EntryPointFunc(cmd, nullptr, nullptr, nullptr, nullptr, nullptr), PF_Err_NONE);
    }
    EXPECT_EQ(std::memcmp(&before, &h.out, sizeof h.out), 0);
    EXPECT_EQ(std::memcmp(record.data(), *h.in.sequence_data, record.size()), 0);
    EXPECT_TRUE(h.acquired.empty());
    EXPECT_EQ(h.resizeCalls, 0);
}

TEST(EntryPoint, CommandsWithoutRecordsOrInstance)
{
    for (PF_Cmd cmd :
         {PF_Cmd_ABOUT, PF_Cmd_GLOBAL_SETUP, PF_Cmd_RENDER, PF_Cmd_SMART_RENDER, PF_Cmd_SEQUENCE_SETUP}) {
        EXPECT_EQ(EntryPointFunc(cmd, nullptr, nullptr, nullptr, nullptr, nullptr),
                  PF_Err_INTERNAL_STRUCT_DAMAGED)
            << cmd;
    }
    // Frame commands without a sequence handle.
    FakeHost h;
    EXPECT_EQ(call(h, PF_Cmd_RENDER), PF_Err_INTERNAL_STRUCT_DAMAGED);
    PF_SmartRenderExtra smart{};
    EXPECT_EQ(call(h, PF_Cmd_SMART_RENDER, &smart), PF_Err_INTERNAL_STRUCT_DAMAGED);
    EXPECT_EQ(call(h, PF_Cmd_SMART_PRE_RENDER, nullptr), PF_Err_INTERNAL_STRUCT_DAMAGED);
    // Options on an instance with no record (or no GPU context) does nothing.
    EXPECT_EQ(call(h, PF_Cmd_DO_DIALOG), PF_Err_NONE);
    h.in.sequence_data = h.newHandle(sizeof(EffectData));
    std::memset(*h.in.sequence_data, 0, sizeof(EffectData));
    EXPECT_EQ(call(h, PF_Cmd_DO_DIALOG), PF_Err_NONE);
    EXPECT_TRUE(h.scripts.empty());
}

TEST(EntryPoint, NoExceptionCrossesTheEntryPoint)
{
    FakeHost h;
    startInstance(h, kLayers);
    h.addParamThrows = 1;
    EXPECT_EQ(call(h, PF_Cmd_PARAMS_SETUP), PF_Err_OUT_OF_MEMORY);
    EXPECT_STRNE(h.out.return_msg, "");
    h.addParamThrows = 2;
    std::memset(h.out.return_msg, 0, sizeof h.out.return_msg);
    EXPECT_EQ(call(h, PF_Cmd_PARAMS_SETUP), PF_Err_INTERNAL_STRUCT_DAMAGED);
    EXPECT_STREQ(h.out.return_msg, "host failure");
    EXPECT_NE(h.out.out_flags & PF_OutFlag_DISPLAY_ERROR_MESSAGE, 0);
    stopInstance(h);
}

TEST(EntryPoint, SmartPreRenderUnionsTheInputAndAsksForEveryLayer)
{
    FakeHost h;
    startInstance(h, kLayers);
    h.in.current_time = 5000;
    h.layerResult = {1, 2, 30, 40};
    h.layerMaxResult = {0, 0, 64, 48};

    PF_PreRenderInput input{};
    PF_PreRenderOutput output{};
    PF_PreRenderExtra extra{&input, &output, &h.preRenderCallbacks};
    ASSERT_EQ(call(h, PF_Cmd_SMART_PRE_RENDER, &extra), PF_Err_NONE);
    // An empty rectangle takes the input's; one already set grows to hold it.
    EXPECT_EQ(corners(output.result_rect), corners({1, 2, 30, 40}));
    EXPECT_EQ(corners(output.max_result_rect), corners({0, 0, 64, 48}));
    using Checkouts = std::vector<std::tuple<PF_ParamIndex, A_long, A_long>>;
    EXPECT_EQ(h.layerCheckouts, (Checkouts{{0, 0, 5000}, {3, 3, 5000 + 2 * 1000}, {5, 5, 5000}}));
    output.result_rect = {-5, 0, 10, 10};
    h.layerCheckouts.clear();
    ASSERT_EQ(call(h, PF_Cmd_SMART_PRE_RENDER, &extra), PF_Err_NONE);
    EXPECT_EQ(corners(output.result_rect), corners({-5, 0, 30, 40}));

    // The first failing checkout ends the command.
    h.layerCheckoutResult = PF_Err_OUT_OF_MEMORY;
    h.layerCheckouts.clear();
    EXPECT_EQ(call(h, PF_Cmd_SMART_PRE_RENDER, &extra), PF_Err_OUT_OF_MEMORY);
    EXPECT_EQ(h.layerCheckouts.size(), 1u);
    stopInstance(h);
}

TEST(EntryPoint, LayerCheckoutTimeIsTheFrameOffsetInTimeSteps)
{
    PF_InData in{};
    in.current_time = 5000;
    in.time_step = 1000;
    struct Case {
        int type;
        float offset;
        A_long time;
    } cases[] = {
        {GLFX_LAYER, 2.f, 7000},
        {GLFX_LAYER, 0.f, 5000},
        {GLFX_LAYER, 2.9f, 7000},  // whole frames, toward zero
        {GLFX_LAYER, -1.5f, 4000}, // toward zero: one frame earlier
        {GLFX_FLOAT, 3.f, 5000},
        {GLFX_POINT, 3.f, 5000}, // only layers are offset
        // Offsets beyond the int range stop at the host's time limits.
        {GLFX_LAYER, 1e30f, 2147483647},
        {GLFX_LAYER, -1e30f, -2147483647 - 1},
        {GLFX_LAYER, 3e6f, 2147483647}, // 5000 + 3e9 > 2^31 - 1
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.offset);
        glfxpar p;
        p.type = c.type;
        p.def[0] = c.offset;
        EXPECT_EQ(glfxshell::checkoutTime(&in, p), c.time);
    }
}

TEST(EntryPoint, RenderChecksOutAtTheLayersTimeAndChecksEverythingIn)
{
    FakeHost h;
    startInstance(h, kLayers);
    EffectData* d = static_cast<EffectData*>(*h.in.sequence_data);
    // A context that exists but was never set up, so no GPU work starts.
    d->glContext = new AE_GL_Context();

    // No input world.
    EXPECT_EQ(call(h, PF_Cmd_RENDER), PF_Err_INTERNAL_STRUCT_DAMAGED);
    PF_ParamDef inputParam{};
    PF_ParamDef* params[1] = {&inputParam};
    EXPECT_EQ(call(h, PF_Cmd_RENDER, nullptr, params, nullptr), PF_Err_INTERNAL_STRUCT_DAMAGED);

    // A failing checkout ends the render; what was checked out goes back.
    PF_LayerDef output{};
    h.in.current_time = 3000;
    h.failCheckoutAt = 4;
    EXPECT_EQ(call(h, PF_Cmd_RENDER, nullptr, params, &output), PF_Err_BAD_CALLBACK_PARAM);
    using Checkouts = std::vector<std::pair<PF_ParamIndex, A_long>>;
    EXPECT_EQ(h.checkouts, (Checkouts{{1, 3000}, {2, 3000}, {3, 3000 + 2 * 1000}}));
    EXPECT_EQ(h.checkins, 3);
    EXPECT_EQ(d->layers[0], &inputParam.u.ld);

    // Smart render without the input's pixels.
    PF_SmartRenderCallbacks cb{};
    cb.checkout_layer_pixels = [](PF_ProgPtr, A_long, PF_EffectWorld** w) -> PF_Err {
        *w = nullptr;
        return PF_Err_NONE;
    };
    cb.checkout_output = [](PF_ProgPtr, PF_EffectWorld** w) -> PF_Err {
        static PF_EffectWorld out{};
        *w = &out;
        return PF_Err_NONE;
    };
    PF_SmartRenderInput smartInput{};
    PF_SmartRenderExtra smart{&smartInput, &cb};
    EXPECT_EQ(call(h, PF_Cmd_SMART_RENDER, &smart, params), PF_Err_INTERNAL_STRUCT_DAMAGED);

    // Release the context without taking it down on a GPU it never had.
    EXPECT_EQ(call(h, PF_Cmd_SEQUENCE_FLATTEN), PF_Err_NONE);
    EXPECT_EQ(d->glContext, nullptr);
    stopInstance(h);
}

} // namespace
