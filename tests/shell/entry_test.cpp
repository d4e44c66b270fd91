// The entry point: dispatch, the commands' guards, and a description read
// from the embedded text through global and parameter setup.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "FakeHost.h"
#include "gl/EffectData.h"
#include "shell/EntryPoint.h"

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
default=150,0.5

[par5]
name=Angle
param=angle
type=angle
default=45.9
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
