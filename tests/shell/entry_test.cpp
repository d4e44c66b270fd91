// The entry point: dispatch, the commands' guards, and a description read
// from the embedded text through global and parameter setup.
#include <gtest/gtest.h>

#include <cstring>
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

const char* kEdgeCases = R"([settings]
name=Edge Cases
version=0.9
description=Parameters at their edges.

[par1]
name=Amount
param=amount
type=float
min=0
max=1
default=0.5
text=0|100

[par2]
name=Mode
param=mode
type=popup
max=3
default=7
text=a|b|c|d

[par3]
name=Nothing
param=nothing
type=none

[par4]
name=Centre
param=centre
type=point
default=150|0.5

[par5]
name=Angle
param=angle
type=angle
default=45.9
)";

// Layers at description indices 3 (two frames later) and 5, other types
// around them.
const char* kLayers = R"([settings]
name=Layers
version=1
description=Two layers.

[par1]
name=Gain
param=gain
type=float

[par2]
name=On
param=on
type=check

[par3]
name=Later
param=later
type=layer
time=2

[par4]
name=Tint
param=tint
type=color

[par5]
name=Now
param=now
type=layer
)";

PF_Err call(FakeHost& h, PF_Cmd cmd, void* extra = nullptr, PF_ParamDef** params = nullptr,
            PF_LayerDef* output = nullptr)
{
    return EntryPointFunc(cmd, &h.in, &h.out, params, output, extra);
}

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

TEST(EntryPoint, ServedCommandsWithoutRecordsAreRefused)
{
    for (PF_Cmd cmd : {PF_Cmd_ABOUT, PF_Cmd_GLOBAL_SETUP, PF_Cmd_RENDER, PF_Cmd_SMART_RENDER,
                       PF_Cmd_SEQUENCE_SETUP}) {
        SCOPED_TRACE(cmd);
        EXPECT_EQ(EntryPointFunc(cmd, nullptr, nullptr, nullptr, nullptr, nullptr),
                  PF_Err_INTERNAL_STRUCT_DAMAGED);
    }
}

TEST(EntryPoint, FrameCommandsWithoutAnInstanceRecord)
{
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
    _GLFX_CODE = kEdgeCases;
    {
        FakeHost h;
        ASSERT_EQ(call(h, PF_Cmd_GLOBAL_SETUP), PF_Err_NONE);
        h.in.global_data = h.out.global_data;
        h.addParamThrows = 1;
        EXPECT_EQ(call(h, PF_Cmd_PARAMS_SETUP), PF_Err_OUT_OF_MEMORY);
        EXPECT_STRNE(h.out.return_msg, "");
        h.addParamThrows = 2;
        std::memset(h.out.return_msg, 0, sizeof h.out.return_msg);
        EXPECT_EQ(call(h, PF_Cmd_PARAMS_SETUP), PF_Err_INTERNAL_STRUCT_DAMAGED);
        EXPECT_STREQ(h.out.return_msg, "host failure");
        EXPECT_NE(h.out.out_flags & PF_OutFlag_DISPLAY_ERROR_MESSAGE, 0);
        EXPECT_EQ(call(h, PF_Cmd_GLOBAL_SETDOWN), PF_Err_NONE);
    }
    _GLFX_CODE = nullptr;
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
    // An empty rectangle takes the input's.
    EXPECT_EQ(output.result_rect.left, 1);
    EXPECT_EQ(output.result_rect.top, 2);
    EXPECT_EQ(output.result_rect.right, 30);
    EXPECT_EQ(output.result_rect.bottom, 40);
    EXPECT_EQ(output.max_result_rect.right, 64);
    EXPECT_EQ(output.max_result_rect.bottom, 48);

    ASSERT_EQ(h.layerCheckouts.size(), 3u);
    EXPECT_EQ(h.layerCheckouts[0].index, 0);
    EXPECT_EQ(h.layerCheckouts[0].id, 0);
    EXPECT_EQ(h.layerCheckouts[0].time, 5000);
    EXPECT_EQ(h.layerCheckouts[1].index, 3);
    EXPECT_EQ(h.layerCheckouts[1].id, 3);
    EXPECT_EQ(h.layerCheckouts[1].time, 5000 + 2 * 1000);
    EXPECT_EQ(h.layerCheckouts[2].index, 5);
    EXPECT_EQ(h.layerCheckouts[2].id, 5);
    EXPECT_EQ(h.layerCheckouts[2].time, 5000);

    // A rectangle already set grows to hold the input's.
    output.result_rect = {-5, 0, 10, 10};
    h.layerCheckouts.clear();
    ASSERT_EQ(call(h, PF_Cmd_SMART_PRE_RENDER, &extra), PF_Err_NONE);
    EXPECT_EQ(output.result_rect.left, -5);
    EXPECT_EQ(output.result_rect.top, 0);
    EXPECT_EQ(output.result_rect.right, 30);
    EXPECT_EQ(output.result_rect.bottom, 40);

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
        {GLFX_LAYER, 2.9f, 7000},       // whole frames, toward zero
        {GLFX_LAYER, -1.5f, 4000},      // toward zero: one frame earlier
        {GLFX_LAYER, 0.f, 5000},
        {GLFX_FLOAT, 3.f, 5000},        // only layers are offset
        {GLFX_POINT, 3.f, 5000},
        // Offsets beyond the int range stop at the host's time limits.
        {GLFX_LAYER, 1e30f, 2147483647},
        {GLFX_LAYER, -1e30f, -2147483647 - 1},
        {GLFX_LAYER, 3e6f, 2147483647},  // 5000 + 3e9 > 2^31 - 1
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
    ASSERT_EQ(h.checkouts.size(), 3u);
    EXPECT_EQ(h.checkouts[0], std::make_pair(PF_ParamIndex(1), A_long(3000)));
    EXPECT_EQ(h.checkouts[1], std::make_pair(PF_ParamIndex(2), A_long(3000)));
    EXPECT_EQ(h.checkouts[2], std::make_pair(PF_ParamIndex(3), A_long(3000 + 2 * 1000)));
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

TEST(EntryPoint, EmbeddedDescriptionDrivesSetupAndAbout)
{
    _GLFX_CODE = kEdgeCases;
    FakeHost h;
    ASSERT_EQ(call(h, PF_Cmd_GLOBAL_SETUP), PF_Err_NONE);
    EXPECT_EQ(h.out.my_version, 0x100001u);
    EXPECT_EQ(h.out.out_flags, 0x6000026);
    EXPECT_EQ(h.out.out_flags2, 0x9408);
    h.in.global_data = h.out.global_data;

    ASSERT_EQ(call(h, PF_Cmd_PARAMS_SETUP), PF_Err_NONE);
    EXPECT_EQ(h.out.num_params, 6);
    ASSERT_EQ(h.added.size(), 4u);  // "none" adds nothing

    const PF_ParamDef& amount = h.added[0];
    EXPECT_EQ(amount.uu.id, 2);
    EXPECT_STREQ(amount.name, "Amount");
    EXPECT_FLOAT_EQ(amount.u.fs_d.slider_max, 1.f);
    EXPECT_FLOAT_EQ(amount.u.fs_d.valid_max, 100.f);

    const PF_ParamDef& mode = h.added[1];
    EXPECT_EQ(mode.uu.id, 3);
    EXPECT_EQ(mode.u.pd.num_choices, 4);
    EXPECT_EQ(mode.u.pd.dephault, 4);
    EXPECT_STREQ(mode.u.pd.u.namesptr, "a|b|c|d");

    const PF_ParamDef& centre = h.added[2];
    EXPECT_EQ(centre.uu.id, 5);  // the id after the gap is still index + 1
    EXPECT_EQ(centre.u.td.x_value, 10000 * 65536);
    EXPECT_EQ(centre.u.td.y_value, 50 * 65536);

    const PF_ParamDef& angle = h.added[3];
    EXPECT_EQ(angle.uu.id, 6);
    EXPECT_EQ(angle.u.ad.value, 45 * 65536);

    ASSERT_EQ(call(h, PF_Cmd_ABOUT), PF_Err_NONE);
    EXPECT_STREQ(h.out.return_msg, "Edge Cases 0.9\rParameters at their edges.");

    ASSERT_EQ(call(h, PF_Cmd_SEQUENCE_SETUP), PF_Err_NONE);
    h.in.sequence_data = h.out.sequence_data;
    EXPECT_EQ(call(h, PF_Cmd_SEQUENCE_FLATTEN), PF_Err_NONE);
    EXPECT_EQ(call(h, PF_Cmd_SEQUENCE_RESETUP), PF_Err_NONE);
    EXPECT_EQ(call(h, PF_Cmd_SEQUENCE_SETDOWN), PF_Err_NONE);
    EXPECT_EQ(h.in.sequence_data, nullptr);
    EXPECT_EQ(call(h, PF_Cmd_GLOBAL_SETDOWN), PF_Err_NONE);
    EXPECT_EQ(h.handlesLive, 0);
    _GLFX_CODE = nullptr;
}

}  // namespace
