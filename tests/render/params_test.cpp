// ParamsAssign and ParamsChanged against a recording host (FakeSuites) and a
// description set up by each test.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "FakeSuites.h"
#include "TestWorld.h"
#include "gl/Description.h"
#include "glfx/strings.h"
#include "render/GlobalData.h"
#include "render/ParamsAssign.h"
#include "render/ParamsChanged.h"

namespace {

constexpr PF_Fixed fixed(double v) { return static_cast<PF_Fixed>(v * 65536.0); }

// One call's worth of host state: in/out data with the global data and the
// record's handles, and a parameter array.
class ParamsTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        glfxDescription() = cglfx();
        global.initialized = 1;
        global.pluginID = 77;
        globalPtr = &global;
        recordPtr = &rec.d;
        in.pica_basicP = const_cast<SPBasicSuite*>(host.basic());
        in.effect_ref = reinterpret_cast<PF_ProgPtr>(this);
        in.global_data = reinterpret_cast<PF_Handle>(&globalPtr);
        in.sequence_data = reinterpret_cast<PF_Handle>(&recordPtr);
        out.global_data = in.global_data;
    }
    void TearDown() override { glfxDescription() = cglfx(); }

    // Declares description parameter i of `type` and gives it a host slot.
    glfxpar& declare(int i, int type)
    {
        cglfx& fx = glfxDescription();
        if (fx.settings.params <= i) fx.settings.params = i + 1;
        fx.par[i].type = type;
        while (static_cast<int>(defs.size()) <= i) defs.push_back(std::make_unique<PF_ParamDef>());
        return fx.par[i];
    }
    PF_ParamDef& param(int i) { return *defs[i]; }
    PF_ParamDef** array()
    {
        ptrs.clear();
        for (auto& d : defs) ptrs.push_back(d.get());
        return ptrs.data();
    }
    void assign() { ParamsAssign(&in, &out, array(), nullptr, nullptr, &rec.d); }
    PF_Err changed(int index)
    {
        PF_UserChangedParamExtra extra{index};
        return ParamsChanged(&in, &out, array(), nullptr, &extra);
    }

    FakeSuites host;
    GlobalData global{};
    GlobalData* globalPtr = nullptr;
    TestRecord rec;
    EffectData* recordPtr = nullptr;
    PF_InData in{};
    PF_OutData out{};
    std::vector<std::unique_ptr<PF_ParamDef>> defs;
    std::vector<PF_ParamDef*> ptrs;
};

// ---- ParamsAssign -----------------------------------------------------------

TEST_F(ParamsTest, AssignWritesEachTypeAsTheShadersSeeIt)
{
    declare(0, GLFX_LAYER);
    declare(1, GLFX_POPUP);
    declare(2, GLFX_ANGLE);
    declare(3, GLFX_LAYER);
    declare(4, GLFX_ANGLE).flags = 1;
    declare(5, GLFX_COLOR);
    declare(6, GLFX_CHECK);
    declare(7, GLFX_LAYER);
    declare(8, GLFX_POINT);
    declare(9, GLFX_FLOAT);
    declare(10, GLFX_INT);
    declare(11, GLFX_FLOAT2);
    declare(12, GLFX_TOPIC_START);
    param(1).u.pd.value = 1;  // first item
    param(2).u.ad.value = fixed(-0.5);
    param(4).u.ad.value = fixed(90);
    param(5).u.cd.value = PF_Pixel{7, 255, 128, 0};
    param(6).u.bd.value = 1;
    param(8).u.td.x_value = fixed(100.5);
    param(8).u.td.y_value = fixed(-2.5);
    param(9).u.fs_d.value = 0.3;
    param(10).u.fs_d.value = -12.0;
    param(11).u.fs_d.value = 1e10;
    rec.d.values[5][3] = 0.25f;
    rec.d.values[0][0] = 9.0f;
    rec.d.values[12][0] = 4.0f;

    assign();

    EXPECT_EQ(0.0f, rec.d.values[1][0]);
    EXPECT_EQ(-1.0f, rec.d.values[2][0]);  // -0.5 degrees: the shift rounds down
    EXPECT_FLOAT_EQ(-1.5707964f, rec.d.values[4][0]);
    EXPECT_EQ(1.0f, rec.d.values[5][0]);
    EXPECT_FLOAT_EQ(0.5019608f, rec.d.values[5][1]);
    EXPECT_EQ(0.0f, rec.d.values[5][2]);
    EXPECT_EQ(0.25f, rec.d.values[5][3]);  // not the host alpha
    EXPECT_EQ(1.0f, rec.d.values[6][0]);
    EXPECT_EQ(100.0f, rec.d.values[8][0]);
    EXPECT_EQ(-3.0f, rec.d.values[8][1]);
    EXPECT_EQ(0.3f, rec.d.values[9][0]);
    EXPECT_EQ(-12.0f, rec.d.values[10][0]);
    EXPECT_EQ(1e10f, rec.d.values[11][0]);
    EXPECT_EQ(9.0f, rec.d.values[0][0]);   // row 0 is not written
    EXPECT_EQ(4.0f, rec.d.values[12][0]);  // topics carry no value
    EXPECT_EQ(&param(3).u.ld, rec.d.layers[1]);
    EXPECT_EQ(&param(7).u.ld, rec.d.layers[2]);
    EXPECT_EQ(nullptr, rec.d.layers[3]);
    EXPECT_TRUE(out.out_flags & PF_OutFlag_REFRESH_UI);
    EXPECT_EQ(0, host.suitesOut);
}

TEST_F(ParamsTest, AssignAngleInRadiansWhenSwitched)
{
    struct Case {
        double degrees;
        int flags;
        float expected;
    };
    const Case cases[] = {
        {-0.5, 0, -1.0f},
        {-0.5, 1, 0.017453292f},   // -1 degree, turned the other way
        {90.0, 1, -1.5707964f},
        {90.75, 0, 90.0f},
        {-180.0, 2, 3.1415927f},
    };
    for (const Case& c : cases) {
        declare(1, GLFX_ANGLE).flags = c.flags;
        param(1).u.ad.value = fixed(c.degrees);
        assign();
        EXPECT_FLOAT_EQ(c.expected, rec.d.values[1][0]) << c.degrees << " flags " << c.flags;
    }
    // The radians are computed in double and rounded once: -710 × -π / 180 =
    // 12.39183768915974, whose nearest float is 12.391838073730469 (0x414644F8);
    // the same sum in float arithmetic ends one step below, 12.391837120056152.
    declare(1, GLFX_ANGLE).flags = 1;
    param(1).u.ad.value = fixed(-710.0);
    assign();
    EXPECT_EQ(0x414644F8u, floatBits(rec.d.values[1][0]));
}

TEST_F(ParamsTest, AssignPushesHiddenAndShownStreams)
{
    for (int i = 1; i <= 4; ++i) declare(i, GLFX_FLOAT);
    rec.d.visibility[1] = 2;
    rec.d.visibility[2] = 1;  // disabled: not a stream flag
    rec.d.visibility[3] = -2;
    rec.d.visibility[4] = -1;
    assign();
    const std::vector<std::pair<int, bool>> expected{{1, true}, {3, false}};
    EXPECT_EQ(expected, host.hiddenCalls);
    EXPECT_EQ(77, host.lastPluginID);
    EXPECT_EQ(0, host.effectsOut);
    EXPECT_EQ(0, host.streamsOut);
    EXPECT_EQ(0, host.suitesOut);
}

TEST_F(ParamsTest, AssignStopsStreamUpdatesAtTheFirstError)
{
    for (int i = 1; i <= 3; ++i) {
        declare(i, GLFX_FLOAT);
        rec.d.visibility[i] = 2;
        param(i).u.fs_d.value = i;
    }
    host.flagErrors[2] = PF_Err_OUT_OF_MEMORY;
    assign();
    const std::vector<std::pair<int, bool>> expected{{1, true}};
    EXPECT_EQ(expected, host.hiddenCalls);
    EXPECT_EQ(2, host.effectsObtained);  // parameter 3 was not tried
    EXPECT_EQ(0, host.effectsOut);
    EXPECT_EQ(0, host.streamsOut);
    EXPECT_EQ(3.0f, rec.d.values[3][0]);  // values are written all the same
}

TEST_F(ParamsTest, AssignTouchesNoStreamUnderPremiereOrWithoutAEGP)
{
    declare(1, GLFX_FLOAT);
    rec.d.visibility[1] = 2;
    rec.d.isPremiere = true;
    assign();
    EXPECT_TRUE(host.hiddenCalls.empty());
    EXPECT_EQ(0, host.effectsObtained);

    rec.d.isPremiere = false;
    host.withAEGP = false;
    param(1).u.fs_d.value = 2.5;
    assign();
    EXPECT_TRUE(host.hiddenCalls.empty());
    EXPECT_EQ(2.5f, rec.d.values[1][0]);
    EXPECT_EQ(0, host.suitesOut);
}

TEST_F(ParamsTest, AssignWithoutGlobalDataDoesNothing)
{
    declare(1, GLFX_FLOAT);
    param(1).u.fs_d.value = 5.0;
    globalPtr = nullptr;
    assign();
    EXPECT_EQ(0.0f, rec.d.values[1][0]);
    EXPECT_EQ(0, out.out_flags);
}

// ---- ParamsChanged: group switches -----------------------------------------

TEST_F(ParamsTest, ChangedNeedsARecord)
{
    declare(1, GLFX_CHECK);
    recordPtr = nullptr;
    EXPECT_EQ(PF_Err_INTERNAL_STRUCT_DAMAGED, changed(1));
    recordPtr = &rec.d;
    EXPECT_EQ(PF_Err_NONE, ParamsChanged(&in, &out, array(), nullptr, nullptr));
}

// A checkbox switch over groups 3 and 4, in disable mode; parameter 5 sits in
// groups 4 and 3, parameter 6 is a layer in group 4, parameter 7 is in group
// 5 (outside the switch's range).
class GroupSwitchTest : public ParamsTest {
protected:
    void SetUp() override
    {
        ParamsTest::SetUp();
        declare(0, GLFX_LAYER);
        glfxpar& sw = declare(1, GLFX_CHECK);
        sw.group[0] = -3;
        sw.max = 1;
        declare(2, GLFX_FLOAT).group[0] = 3;
        glfxpar& p2 = fx().par[2];
        p2.name = "Two";
        declare(3, GLFX_FLOAT).group[0] = 4;
        glfxpar& p5 = declare(5, GLFX_FLOAT);
        declare(4, GLFX_FLOAT);
        p5.group[0] = 4;
        p5.group[1] = 3;
        p5.name = "Five";
        p5.names[0] = "Five in three";
        declare(6, GLFX_LAYER).group[0] = 4;
        declare(7, GLFX_FLOAT).group[0] = 5;
        param(2).ui_flags = PF_PUI_DISABLED;
    }
    static cglfx& fx() { return glfxDescription(); }
};

TEST_F(GroupSwitchTest, OffSelectsTheFirstGroup)
{
    param(1).u.bd.value = 0;  // group 3
    out.out_flags = PF_OutFlag_DISPLAY_ERROR_MESSAGE;
    EXPECT_EQ(PF_Err_NONE, changed(1));
    EXPECT_EQ(PF_OutFlag_REFRESH_UI | PF_OutFlag_FORCE_RERENDER, out.out_flags);

    EXPECT_EQ(-1, rec.d.visibility[2]);
    EXPECT_EQ(1, rec.d.visibility[3]);
    EXPECT_EQ(0, rec.d.visibility[4]);
    EXPECT_EQ(-1, rec.d.visibility[5]);  // disabled by slot 0, enabled again by slot 1
    EXPECT_EQ(1, rec.d.visibility[6]);
    EXPECT_EQ(0, rec.d.visibility[7]);
    EXPECT_TRUE(rec.d.layerSkip[1]);  // parameter 6 is the first layer parameter

    struct Expected {
        int index;
        bool disabled;
    };
    const Expected updates[] = {{2, false}, {3, true}, {5, true}, {5, false}, {6, true}};
    ASSERT_EQ(5u, host.uiUpdates.size());
    for (std::size_t n = 0; n < 5; ++n) {
        EXPECT_EQ(updates[n].index, host.uiUpdates[n].index);
        EXPECT_EQ(updates[n].disabled, (host.uiUpdates[n].uiFlags & PF_PUI_DISABLED) != 0) << n;
        EXPECT_EQ(0, host.uiUpdates[n].uiFlags & PF_PUI_INVISIBLE);
        EXPECT_EQ(PF_ChangeFlag_CHANGED_VALUE, host.uiUpdates[n].changeFlags);
    }
    // The host's own parameters are not changed, only copies are sent.
    EXPECT_EQ(PF_PUI_DISABLED, param(2).ui_flags);
    // Disable mode renames but does not hide streams.
    EXPECT_TRUE(host.hiddenCalls.empty());
    const std::vector<std::pair<int, std::string>> names{{2, "Two"}, {5, "Five"}, {5, "Five in three"}};
    EXPECT_EQ(names, host.nameCalls);
    EXPECT_EQ(77, host.lastPluginID);
    EXPECT_EQ(0, host.effectsOut);
    EXPECT_EQ(0, host.streamsOut);
    EXPECT_EQ(0, host.suitesOut);
}

TEST_F(GroupSwitchTest, ExtremeSwitchNumbersTouchNothing)
{
    // group=-2147483648 names group 2147483648, beyond every int group; a
    // huge max must not wrap the range around onto the small groups either.
    glfxpar& sw = fx().par[1];
    sw.group[0] = std::numeric_limits<int>::min();
    sw.max = 1e10f;
    param(1).u.bd.value = 1;
    EXPECT_EQ(PF_Err_NONE, changed(1));
    for (int j = 2; j <= 7; ++j) EXPECT_EQ(0, rec.d.visibility[j]) << j;
    EXPECT_TRUE(host.uiUpdates.empty());
    sw.group[0] = -2;
    sw.max = 1e10f;
    param(1).u.bd.value = 0;  // selects group 2; groups 3, 4 and 5 are in range, all off
    EXPECT_EQ(PF_Err_NONE, changed(1));
    EXPECT_EQ(1, rec.d.visibility[2]);
    EXPECT_EQ(1, rec.d.visibility[3]);
    EXPECT_EQ(1, rec.d.visibility[7]);
}

TEST_F(GroupSwitchTest, OnSelectsTheNextGroup)
{
    param(1).u.bd.value = 1;  // group 4
    EXPECT_EQ(PF_Err_NONE, changed(1));
    EXPECT_EQ(1, rec.d.visibility[2]);
    EXPECT_EQ(-1, rec.d.visibility[3]);
    EXPECT_EQ(-1, rec.d.visibility[5]);
    EXPECT_EQ(-1, rec.d.visibility[6]);
    EXPECT_FALSE(rec.d.layerSkip[1]);
    // Parameter 5 is enabled by its first slot, and its scan ends there.
    int updatesOf5 = 0;
    for (const auto& u : host.uiUpdates) updatesOf5 += u.index == 5;
    EXPECT_EQ(1, updatesOf5);
}

TEST_F(GroupSwitchTest, UpdateErrorsAreReturnedAndAEGPSkippedUnderPremiere)
{
    host.updateUIError = PF_Err_OUT_OF_MEMORY;
    EXPECT_EQ(PF_Err_OUT_OF_MEMORY, changed(1));
    // The pending UI error keeps the stream calls from being tried at all
    // after the first parameter.
    EXPECT_EQ(1, host.effectsObtained);

    FakeSuites fresh;  // a clean record of calls
    in.pica_basicP = const_cast<SPBasicSuite*>(fresh.basic());
    rec.d.isPremiere = true;
    EXPECT_EQ(PF_Err_NONE, changed(1));
    EXPECT_EQ(0, fresh.effectsObtained);
    EXPECT_EQ(5u, fresh.uiUpdates.size());
}

TEST_F(ParamsTest, HideModeSwitchWithAPopup)
{
    glfxpar& sw = declare(1, GLFX_POPUP);
    sw.group[0] = -101;
    sw.max = 2;  // groups 101..103
    declare(2, GLFX_FLOAT).group[0] = 101;
    declare(3, GLFX_FLOAT).group[0] = 102;
    declare(4, GLFX_FLOAT).group[0] = 103;
    declare(5, GLFX_FLOAT).group[0] = 104;
    declare(6, GLFX_FLOAT).group[0] = 100;
    param(1).u.pd.value = 2;  // second item: group 102
    param(2).ui_flags = PF_PUI_INVISIBLE;

    EXPECT_EQ(PF_Err_NONE, changed(1));
    EXPECT_EQ(2, rec.d.visibility[2]);
    EXPECT_EQ(-2, rec.d.visibility[3]);
    EXPECT_EQ(2, rec.d.visibility[4]);
    EXPECT_EQ(0, rec.d.visibility[5]);
    EXPECT_EQ(0, rec.d.visibility[6]);
    const std::vector<std::pair<int, bool>> hidden{{2, true}, {3, false}, {4, true}};
    EXPECT_EQ(hidden, host.hiddenCalls);
    ASSERT_EQ(3u, host.uiUpdates.size());
    EXPECT_TRUE(host.uiUpdates[0].uiFlags & PF_PUI_INVISIBLE);
    EXPECT_FALSE(host.uiUpdates[1].uiFlags & PF_PUI_INVISIBLE);
    EXPECT_TRUE(host.uiUpdates[2].uiFlags & PF_PUI_INVISIBLE);
    for (const auto& u : host.uiUpdates) EXPECT_FALSE(u.uiFlags & PF_PUI_DISABLED);
}

TEST_F(ParamsTest, AStreamErrorSkipsOnlyThatParametersStreamCalls)
{
    glfxpar& sw = declare(1, GLFX_CHECK);
    sw.group[0] = -101;
    declare(2, GLFX_FLOAT).group[0] = 101;
    declare(3, GLFX_FLOAT).group[0] = 102;
    glfxDescription().par[2].name = "A";
    glfxDescription().par[3].name = "B";
    host.flagErrors[2] = PF_Err_OUT_OF_MEMORY;
    EXPECT_EQ(PF_Err_NONE, changed(1));
    // No name for 2 after its failed flag; 3 is tried again after the UI
    // update cleared the error.
    const std::vector<std::pair<int, std::string>> names{{3, "B"}};
    EXPECT_EQ(names, host.nameCalls);
    EXPECT_EQ(2u, host.uiUpdates.size());
    EXPECT_EQ(0, host.effectsOut);
    EXPECT_EQ(0, host.streamsOut);
}

// ---- ParamsChanged: definitions and presets ----------------------------------

TEST_F(ParamsTest, DefinitionsFromChecksAndPopups)
{
    std::map<std::string, std::string> defines;
    rec.d.defines = &defines;
    glfxpar& check = declare(1, GLFX_CHECK);
    check.flags = 1;
    check.uniform = "grain";
    glfxpar& count = declare(2, GLFX_POPUP);
    count.flags = 1;
    count.uniform = "taps";
    glfxpar& mode = declare(3, GLFX_POPUP);
    mode.flags = 2;
    mode.uniform = "mode";
    mode.items = {"SOFT", "HARD", "LINEAR"};
    const std::string prefix = glfxtext::definePrefix();

    param(1).u.bd.value = 1;
    changed(1);
    EXPECT_EQ("1", defines[prefix + "grain"]);
    EXPECT_TRUE(rec.d.rebuild);

    param(2).u.pd.value = 3;  // the number itself, not the item
    changed(2);
    EXPECT_EQ("3", defines[prefix + "taps"]);

    struct Case {
        int value;
        const char* item;
    };
    const Case items[] = {{1, "SOFT"}, {2, "HARD"}, {3, "LINEAR"}, {9, "LINEAR"}, {0, "SOFT"}};
    for (const Case& c : items) {
        rec.d.rebuild = false;
        param(3).u.pd.value = c.value;
        changed(3);
        EXPECT_EQ(c.item, defines[prefix + "mode"]) << c.value;
        EXPECT_TRUE(rec.d.rebuild);
    }
}

TEST_F(ParamsTest, DefinitionsNeedAMap)
{
    glfxpar& check = declare(1, GLFX_CHECK);
    check.flags = 1;
    check.uniform = "grain";
    param(1).u.bd.value = 1;
    EXPECT_EQ(PF_Err_NONE, changed(1));
    EXPECT_FALSE(rec.d.rebuild);
    // flags 1 on a float slider is not a definition
    std::map<std::string, std::string> defines;
    rec.d.defines = &defines;
    glfxpar& slider = declare(2, GLFX_FLOAT);
    slider.flags = 1;
    changed(2);
    EXPECT_TRUE(defines.empty());
    EXPECT_FALSE(rec.d.rebuild);
}

TEST_F(ParamsTest, PresetReachesEveryTargetType)
{
    glfxpar& chooser = declare(1, GLFX_POPUP);
    chooser.flags = 3;
    declare(2, GLFX_FLOAT);
    declare(3, GLFX_CHECK);
    declare(4, GLFX_POPUP);
    declare(5, GLFX_COLOR);
    declare(6, GLFX_ANGLE);
    declare(7, GLFX_POINT);
    declare(8, GLFX_LAYER);
    declare(9, GLFX_INT);
    declare(10, GLFX_POINT);
    glfxpreset preset;
    preset.values[2].v[0] = 0.25f;
    preset.values[3].v[0] = 1.7f;
    preset.values[4].v[0] = 2.9f;
    preset.values[5] = glfxdef{{1.0f, 0.5f, 0.2f}};
    preset.values[6].v[0] = -45.9f;
    preset.values[7] = glfxdef{{0.25f, -0.5f, 0.0f}};
    preset.values[8].v[0] = 3.0f;
    preset.values[9].v[0] = -7.5f;
    preset.values[10] = glfxdef{{5.0f / 131072.0f, -1.0f / 131072.0f, 0.0f}};
    glfxDescription().settings.presets[{1, 1}] = preset;  // second item
    rec.d.layerWidth[0] = 1920;
    rec.d.layerHeight[0] = 1080;
    param(1).u.pd.value = 2;
    param(8).u.ld.width = 33;

    EXPECT_EQ(PF_Err_NONE, changed(1));

    EXPECT_EQ(0.25, param(2).u.fs_d.value);
    EXPECT_EQ(1, param(3).u.bd.value);
    EXPECT_EQ(3, param(4).u.pd.value);  // item 2 counted from 0, so 3 from 1
    EXPECT_EQ(255, param(5).u.cd.value.alpha);
    EXPECT_EQ(255, param(5).u.cd.value.red);
    EXPECT_EQ(127, param(5).u.cd.value.green);  // 127.5 truncated
    EXPECT_EQ(51, param(5).u.cd.value.blue);
    EXPECT_EQ(-45 * 65536, param(6).u.ad.value);
    EXPECT_EQ(480 * 65536, param(7).u.td.x_value);
    EXPECT_EQ(-540 * 65536, param(7).u.td.y_value);
    EXPECT_EQ(33, param(8).u.ld.width);
    EXPECT_EQ(-7.5, param(9).u.fs_d.value);
    // 5 / 131072 of 1920 pixels, in 16.16: 4800 exactly
    EXPECT_EQ(4800, param(10).u.td.x_value);
    EXPECT_EQ(-540, param(10).u.td.y_value);
    for (int t = 2; t <= 10; ++t) EXPECT_EQ(PF_ChangeFlag_CHANGED_VALUE, param(t).uu.change_flags) << t;

    EXPECT_EQ(0.25f, rec.d.values[2][0]);
    EXPECT_EQ(1.7f, rec.d.values[3][0]);
    EXPECT_EQ(2.9f, rec.d.values[4][0]);
    EXPECT_EQ(0.2f, rec.d.values[5][2]);
    EXPECT_EQ(-45.9f, rec.d.values[6][0]);
    EXPECT_EQ(0.25f, rec.d.values[7][0]);  // the fraction, until the next render
    EXPECT_EQ(-0.5f, rec.d.values[7][1]);
    EXPECT_EQ(0.0f, rec.d.values[8][0]);
}

TEST_F(ParamsTest, PresetOnTheInputLayerOnlyFlagsIt)
{
    // A preset line may name "in0", the input layer (parameter 0): like any
    // layer target it gets the changed flag and no value.
    declare(0, GLFX_LAYER);
    glfxpar& chooser = declare(1, GLFX_POPUP);
    chooser.flags = 3;
    glfxpreset preset;
    preset.values[0].v[0] = 0.5f;
    glfxDescription().settings.presets[{1, 0}] = preset;
    param(1).u.pd.value = 1;
    param(0).u.ld.width = 12;
    rec.d.values[0][0] = 7.0f;

    EXPECT_EQ(PF_Err_NONE, changed(1));
    EXPECT_EQ(PF_ChangeFlag_CHANGED_VALUE, param(0).uu.change_flags);
    EXPECT_EQ(12, param(0).u.ld.width);
    EXPECT_EQ(7.0f, rec.d.values[0][0]);
}

TEST_F(ParamsTest, PresetPointsRoundHalvesAwayFromZero)
{
    glfxpar& chooser = declare(1, GLFX_POPUP);
    chooser.flags = 3;
    declare(2, GLFX_POINT);
    glfxpreset preset;
    // On a 1 x 1 layer: x = 2.5 and y = -0.5 in 16.16 units.
    preset.values[2] = glfxdef{{2.5f / 65536.0f, -0.5f / 65536.0f, 0.0f}};
    glfxDescription().settings.presets[{1, 0}] = preset;
    rec.d.layerWidth[0] = 1;
    rec.d.layerHeight[0] = 1;
    param(1).u.pd.value = 1;
    changed(1);
    EXPECT_EQ(3, param(2).u.td.x_value);
    EXPECT_EQ(-1, param(2).u.td.y_value);
}

TEST_F(ParamsTest, PresetPopupWithoutAPresetChangesNothing)
{
    glfxpar& chooser = declare(1, GLFX_POPUP);
    chooser.flags = 3;
    declare(2, GLFX_FLOAT);
    glfxpreset preset;
    preset.values[2].v[0] = 0.75f;
    glfxDescription().settings.presets[{1, 0}] = preset;
    param(1).u.pd.value = 2;  // item 1 has no preset
    param(2).u.fs_d.value = 0.5;
    rec.d.values[2][0] = 0.5f;
    out.out_flags = PF_OutFlag_DISPLAY_ERROR_MESSAGE;

    EXPECT_EQ(PF_Err_NONE, changed(1));
    EXPECT_EQ(0.5, param(2).u.fs_d.value);
    EXPECT_EQ(0, param(2).uu.change_flags);
    EXPECT_EQ(0.5f, rec.d.values[2][0]);
    EXPECT_EQ(PF_OutFlag_REFRESH_UI | PF_OutFlag_FORCE_RERENDER, out.out_flags);
    EXPECT_TRUE(host.uiUpdates.empty());
}

}  // namespace
