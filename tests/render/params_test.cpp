// ParamsAssign and ParamsChanged against a recording host (FakeSuites) and a
// description set up by each test.
#include <gtest/gtest.h>

#include "gl/InstanceOwner.h"

#include <limits>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "FakeSuites.h"
#include "TestWorld.h"
#include "gl/Description.h"
#include "gl/InstanceOwner.h"
#include "glfx/strings.h"
#include "render/GlobalData.h"
#include "render/ParamsAssign.h"
#include "render/ParamsChanged.h"

namespace {

constexpr PF_Fixed fixed(double v) { return static_cast<PF_Fixed>(v * 65536.0); }
constexpr double kPi = 3.141592653589793;
using Calls = std::vector<std::pair<int, bool>>;
using Names = std::vector<std::pair<int, std::string>>;

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
    glfxpar& declare(int i, int type, int group0 = 0)
    {
        cglfx& fx = glfxDescription();
        if (fx.settings.params <= i)
            fx.settings.params = i + 1;
        fx.par[i].type = type;
        fx.par[i].group[0] = group0;
        while (static_cast<int>(defs.size()) <= i)
            defs.push_back(std::make_unique<PF_ParamDef>());
        return fx.par[i];
    }
    PF_ParamDef& param(int i) { return *defs[i]; }
    PF_ParamDef** array()
    {
        ptrs.clear();
        for (auto& d : defs)
            ptrs.push_back(d.get());
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
    // Host value(s) of each parameter and the floats expected in the record;
    // a value written before the call stays in the floats not expected to
    // change (9 everywhere, 0.25 as the colour's fourth).
    struct Row {
        int type, flags;
        double host[3];
        double want[4];
    };
    auto rad = [](double a) { return a * -kPi / 180.0; }; // in double, rounded to float once
    const Row rows[] = {
        /* 0 */ {GLFX_LAYER, 0, {}, {9, 9, 9, 9}},      // the input: row 0 is not written
        /* 1 */ {GLFX_POPUP, 0, {1}, {0, 9, 9, 9}},     // first item
        /* 2 */ {GLFX_ANGLE, 0, {-0.5}, {-1, 9, 9, 9}}, // the shift rounds down
        /* 3 */ {GLFX_LAYER, 0, {}, {9, 9, 9, 9}},
        /* 4 */ {GLFX_ANGLE, 1, {-0.5}, {rad(-1), 9, 9, 9}},
        /* 5 */ {GLFX_COLOR, 0, {255, 128, 0}, {255.0f / 255.0f, 128.0f / 255.0f, 0, 0.25}},
        /* 6 */ {GLFX_CHECK, 0, {1}, {1, 9, 9, 9}},
        /* 7 */ {GLFX_LAYER, 0, {}, {9, 9, 9, 9}},
        /* 8 */ {GLFX_POINT, 0, {100.5, -2.5}, {100, -3, 9, 9}}, // not scaled, rounded down
        /* 9 */ {GLFX_FLOAT, 0, {0.3}, {0.3f, 9, 9, 9}},
        /* 10 */ {GLFX_INT, 0, {-12}, {-12, 9, 9, 9}},
        /* 11 */ {GLFX_FLOAT2, 0, {1e10}, {1e10f, 9, 9, 9}},
        /* 12 */ {GLFX_TOPIC_START, 0, {}, {9, 9, 9, 9}},
        /* 13 */ {GLFX_ANGLE, 1, {90}, {rad(90), 9, 9, 9}},
        /* 14 */ {GLFX_ANGLE, 0, {90.75}, {90, 9, 9, 9}},
        /* 15 */ {GLFX_ANGLE, 2, {-180}, {rad(-180), 9, 9, 9}},
        // Radians in double, rounded once: 12.39183768915974 is the float
        // 0x414644F8; the same product in float arithmetic ends one step below.
        /* 16 */ {GLFX_ANGLE, 1, {-710}, {rad(-710), 9, 9, 9}},
    };
    const int n = sizeof rows / sizeof rows[0];
    for (int i = 0; i < n; ++i) {
        declare(i, rows[i].type).flags = rows[i].flags;
        PF_ParamDef& p = param(i);
        const double* h = rows[i].host;
        switch (rows[i].type) {
        case GLFX_POPUP: p.u.pd.value = static_cast<A_long>(h[0]); break;
        case GLFX_CHECK: p.u.bd.value = static_cast<A_long>(h[0]); break;
        case GLFX_ANGLE: p.u.ad.value = fixed(h[0]); break;
        case GLFX_COLOR: p.u.cd.value = PF_Pixel{7, A_u_char(h[0]), A_u_char(h[1]), A_u_char(h[2])}; break;
        case GLFX_POINT: p.u.td.x_value = fixed(h[0]), p.u.td.y_value = fixed(h[1]); break;
        default: p.u.fs_d.value = h[0]; break;
        }
        for (float& v : rec.d.values[i])
            v = 9.0f;
    }
    rec.d.values[5][3] = 0.25f;

    assign();

    for (int i = 0; i < n; ++i)
        for (int k = 0; k < 4; ++k)
            EXPECT_EQ(static_cast<float>(rows[i].want[k]), rec.d.values[i][k])
                << "parameter " << i << " float " << k;
    EXPECT_EQ(0x414644F8u, floatBits(rec.d.values[16][0]));
    // Layer parameters fill the layer slots from 1 in parameter order.
    EXPECT_EQ(&param(3).u.ld, rec.d.layers[1]);
    EXPECT_EQ(&param(7).u.ld, rec.d.layers[2]);
    EXPECT_EQ(nullptr, rec.d.layers[3]);
    EXPECT_TRUE(out.out_flags & PF_OutFlag_REFRESH_UI);
    EXPECT_EQ(0, host.suitesOut);
}

TEST_F(ParamsTest, AssignPushesHiddenAndShownStreamsUntilTheFirstError)
{
    // Visibility 2 hides a stream, -2 shows it again; 1 and -1 (disabled or
    // enabled) are no stream flags.
    const int visibility[] = {0, 2, 1, -2, -1, 2};
    struct Case {
        const char* name;
        bool premiere, withAEGP;
        int failingStream; // its flag call fails; 0 for none
        Calls hidden;
        int effectsObtained;
    };
    const Case cases[] = {
        {"after effects", false, true, 0, {{1, true}, {3, false}, {5, true}}, 3},
        {"error stops later parameters", false, true, 3, {{1, true}}, 2},
        {"premiere", true, true, 0, {}, 0},
        {"no AEGP suites", false, false, 0, {}, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        FakeSuites fresh;
        in.pica_basicP = const_cast<SPBasicSuite*>(fresh.basic());
        fresh.withAEGP = c.withAEGP;
        if (c.failingStream)
            fresh.flagErrors[c.failingStream] = PF_Err_OUT_OF_MEMORY;
        rec.d.isPremiere = c.premiere;
        for (int i = 1; i <= 5; ++i) {
            declare(i, GLFX_FLOAT);
            rec.d.visibility[i] = visibility[i];
            param(i).u.fs_d.value = i + 0.5;
            rec.d.values[i][0] = 0.0f;
        }
        assign();
        EXPECT_EQ(c.hidden, fresh.hiddenCalls);
        EXPECT_EQ(c.effectsObtained, fresh.effectsObtained);
        if (c.effectsObtained) {
            EXPECT_EQ(77, fresh.lastPluginID);
        }
        EXPECT_EQ(0, fresh.effectsOut);
        EXPECT_EQ(0, fresh.streamsOut);
        EXPECT_EQ(0, fresh.suitesOut);
        for (int i = 1; i <= 5; ++i)
            EXPECT_EQ(i + 0.5f, rec.d.values[i][0]); // written all the same
    }
}

TEST_F(ParamsTest, NothingWithoutGlobalDataOrRecord)
{
    declare(1, GLFX_CHECK);
    param(1).u.bd.value = 1;
    globalPtr = nullptr;
    assign();
    EXPECT_EQ(0.0f, rec.d.values[1][0]);
    EXPECT_EQ(0, out.out_flags);

    recordPtr = nullptr;
    EXPECT_EQ(PF_Err_INTERNAL_STRUCT_DAMAGED, changed(1));
    recordPtr = &rec.d;
    EXPECT_EQ(PF_Err_NONE, ParamsChanged(&in, &out, array(), nullptr, nullptr));
}

// ---- ParamsChanged: group switches -----------------------------------------

// A checkbox switch over groups 3 and 4, in disable mode; parameter 5 sits in
// groups 4 and 3, parameter 6 is a layer in group 4, parameter 7 is in group
// 5 (outside the switch's range).
class GroupSwitchTest : public ParamsTest {
protected:
    void SetUp() override
    {
        ParamsTest::SetUp();
        declare(0, GLFX_LAYER);
        declare(1, GLFX_CHECK, -3).max = 1;
        declare(2, GLFX_FLOAT, 3).name = "Two";
        declare(3, GLFX_FLOAT, 4);
        declare(4, GLFX_FLOAT);
        glfxpar& p5 = declare(5, GLFX_FLOAT, 4);
        p5.group[1] = 3;
        p5.name = "Five";
        p5.names[0] = "Five in three";
        declare(6, GLFX_LAYER, 4);
        declare(7, GLFX_FLOAT, 5);
        param(2).ui_flags = PF_PUI_DISABLED;
    }
};

TEST_F(GroupSwitchTest, CheckboxSelectsGroupThreeOrFour)
{
    struct Case {
        int value;
        int visibility[6]; // parameters 2..7
        bool layerSkipped; // parameter 6, the first layer parameter
        Calls updates;     // (index, disabled), in order
        Names names;
    };
    const Case cases[] = {
        // Off: group 3. Parameter 5 is disabled by slot 0 (group 4) and
        // enabled again by slot 1 (group 3), taking that slot's name.
        {0,
         {-1, 1, 0, -1, 1, 0},
         true,
         {{2, false}, {3, true}, {5, true}, {5, false}, {6, true}},
         {{2, "Two"}, {5, "Five"}, {5, "Five in three"}}},
        // On: group 4. Parameter 5 is enabled by slot 0, and its scan ends.
        {1,
         {1, -1, 0, -1, -1, 0},
         false,
         {{2, true}, {3, false}, {5, false}, {6, false}},
         {{2, "Two"}, {5, "Five"}}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.value);
        FakeSuites fresh;
        in.pica_basicP = const_cast<SPBasicSuite*>(fresh.basic());
        param(1).u.bd.value = c.value;
        out.out_flags = PF_OutFlag_DISPLAY_ERROR_MESSAGE;
        EXPECT_EQ(PF_Err_NONE, changed(1));
        EXPECT_EQ(PF_OutFlag_REFRESH_UI | PF_OutFlag_FORCE_RERENDER, out.out_flags);
        for (int j = 2; j <= 7; ++j)
            EXPECT_EQ(c.visibility[j - 2], rec.d.visibility[j]) << j;
        EXPECT_EQ(c.layerSkipped, rec.d.layerSkip[1]);
        Calls updates;
        for (const auto& u : fresh.uiUpdates) {
            updates.push_back({u.index, (u.uiFlags & PF_PUI_DISABLED) != 0});
            EXPECT_EQ(0, u.uiFlags & PF_PUI_INVISIBLE);
            EXPECT_EQ(PF_ChangeFlag_CHANGED_VALUE, u.changeFlags);
        }
        EXPECT_EQ(c.updates, updates);
        // Disable mode renames but does not hide streams.
        EXPECT_TRUE(fresh.hiddenCalls.empty());
        EXPECT_EQ(c.names, fresh.nameCalls);
        EXPECT_EQ(77, fresh.lastPluginID);
        EXPECT_EQ(0, fresh.effectsOut);
        EXPECT_EQ(0, fresh.streamsOut);
        EXPECT_EQ(0, fresh.suitesOut);
    }
    // The host's own parameters are not changed, only copies are sent.
    EXPECT_EQ(PF_PUI_DISABLED, param(2).ui_flags);
}

TEST_F(GroupSwitchTest, ExtremeSwitchNumbersTouchNothing)
{
    // group=-2147483648 names group 2147483648, beyond every int group; a
    // huge max must not wrap the range around onto the small groups either.
    glfxpar& sw = glfxDescription().par[1];
    sw.group[0] = std::numeric_limits<int>::min();
    sw.max = 1e10f;
    param(1).u.bd.value = 1;
    EXPECT_EQ(PF_Err_NONE, changed(1));
    for (int j = 2; j <= 7; ++j)
        EXPECT_EQ(0, rec.d.visibility[j]) << j;
    EXPECT_TRUE(host.uiUpdates.empty());
    sw.group[0] = -2;
    param(1).u.bd.value = 0; // selects group 2; groups 3, 4 and 5 are in range, all off
    EXPECT_EQ(PF_Err_NONE, changed(1));
    for (int j : {2, 3, 7})
        EXPECT_EQ(1, rec.d.visibility[j]) << j;
}

TEST_F(GroupSwitchTest, UpdateErrorsAreReturnedAndAEGPSkippedUnderPremiere)
{
    host.updateUIError = PF_Err_OUT_OF_MEMORY;
    EXPECT_EQ(PF_Err_OUT_OF_MEMORY, changed(1));
    // The pending UI error keeps the stream calls from being tried at all
    // after the first parameter.
    EXPECT_EQ(1, host.effectsObtained);

    FakeSuites fresh; // a clean record of calls
    in.pica_basicP = const_cast<SPBasicSuite*>(fresh.basic());
    rec.d.isPremiere = true;
    EXPECT_EQ(PF_Err_NONE, changed(1));
    EXPECT_EQ(0, fresh.effectsObtained);
    EXPECT_EQ(5u, fresh.uiUpdates.size());
}

TEST_F(ParamsTest, HideModeSwitchWithAPopupAndAFailingStream)
{
    declare(1, GLFX_POPUP, -101).max = 2; // groups 101..103
    for (int j = 2; j <= 6; ++j)
        declare(j, GLFX_FLOAT, j == 6 ? 100 : 99 + j).name = std::string(1, 'A' + j);
    param(1).u.pd.value = 2; // second item: group 102
    param(2).ui_flags = PF_PUI_INVISIBLE;
    // The hidden flag of parameter 2 fails: its name is skipped, and the UI
    // update clears the error so that the later parameters get their calls.
    host.flagErrors[2] = PF_Err_OUT_OF_MEMORY;

    EXPECT_EQ(PF_Err_NONE, changed(1));
    const int visibility[] = {2, -2, 2, 0, 0}; // groups 101..104, then 100
    for (int j = 2; j <= 6; ++j)
        EXPECT_EQ(visibility[j - 2], rec.d.visibility[j]) << j;
    EXPECT_EQ((Calls{{3, false}, {4, true}}), host.hiddenCalls);
    EXPECT_EQ((Names{{3, "D"}, {4, "E"}}), host.nameCalls);
    Calls invisible;
    for (const auto& u : host.uiUpdates) {
        invisible.push_back({u.index, (u.uiFlags & PF_PUI_INVISIBLE) != 0});
        EXPECT_FALSE(u.uiFlags & PF_PUI_DISABLED);
    }
    EXPECT_EQ((Calls{{2, true}, {3, false}, {4, true}}), invisible);
    EXPECT_EQ(0, host.effectsOut);
    EXPECT_EQ(0, host.streamsOut);
}

// ---- ParamsChanged: definitions and presets ----------------------------------

TEST_F(ParamsTest, DefinitionsFromChecksAndPopups)
{
    const std::string prefix = glfxtext::definePrefix();
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
    glfxpar& slider = declare(4, GLFX_FLOAT); // flags 1 on a slider is no definition
    slider.flags = 1;
    slider.uniform = "gain";
    struct Case {
        bool withMap;
        int index, value;
        const char* name;
        const char* text; // null: no definition and no rebuild
    };
    const Case cases[] = {
        {false, 1, 1, "grain", nullptr}, // the record has no definitions map
        {true, 4, 1, "gain", nullptr},   {true, 1, 1, "grain", "1"},
        {true, 2, 3, "taps", "3"}, // the number itself, not the item
        {true, 3, 1, "mode", "SOFT"},    {true, 3, 2, "mode", "HARD"},
        {true, 3, 3, "mode", "LINEAR"},  {true, 3, 9, "mode", "LINEAR"}, // beyond the items: the last one
        {true, 3, 0, "mode", "SOFT"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << c.index << " = " << c.value);
        // The map belongs to the instance's owner, as vInitContext makes it.
        if (c.withMap) {
            glfxowner::adopt(&rec.d, in.sequence_data);
            if (!rec.d.defines)
                glfxowner::freshDefines(&rec.d);
        } else {
            glfxowner::release(&rec.d, false);
        }
        rec.d.rebuild = false;
        param(c.index).u.bd.value = c.value; // checkbox and popup values share their place
        param(c.index).u.pd.value = c.value;
        EXPECT_EQ(PF_Err_NONE, changed(c.index));
        EXPECT_EQ(c.text != nullptr, rec.d.rebuild);
        const std::map<std::string, std::string> defines =
            rec.d.defines ? *rec.d.defines : decltype(defines){};
        EXPECT_EQ(c.text != nullptr, defines.count(prefix + c.name) == 1);
        if (c.text) {
            EXPECT_EQ(c.text, defines.at(prefix + c.name));
        }
    }
}

TEST_F(ParamsTest, PresetReachesEveryTargetType)
{
    // Item 2 (counted from 1) of the chooser at index 1 has a preset for
    // every type, the input layer (index 0) included, on a 1920 x 1080 input.
    struct Target {
        int type;
        glfxdef preset;
        std::vector<double> host;  // the host's value(s) afterwards (a colour: alpha, red, green, blue)
        std::vector<float> values; // the record's floats afterwards
    };
    const std::map<int, Target> targets = {
        {0, {GLFX_LAYER, {{0.5f}}, {12}, {7.0f}}}, // layers are only flagged
        {2, {GLFX_FLOAT, {{0.25f}}, {0.25}, {0.25f}}},
        {3, {GLFX_CHECK, {{1.7f}}, {1}, {1.7f}}},
        {4, {GLFX_POPUP, {{2.9f}}, {3}, {2.9f}}}, // item 2 counted from 0, so 3 from 1
        {5, {GLFX_COLOR, {{1.0f, 0.5f, 0.2f}}, {255, 255, 127, 51}, {1.0f, 0.5f, 0.2f}}}, // 127.5 truncated
        {6, {GLFX_ANGLE, {{-45.9f}}, {-45 * 65536}, {-45.9f}}},
        {7,
         {GLFX_POINT,
          {{0.25f, -0.5f}},
          {480 * 65536, -540 * 65536},
          {0.25f, -0.5f}}}, // fractions until the next render
        {8, {GLFX_LAYER, {{3.0f}}, {33}, {0.0f}}},
        {9, {GLFX_INT, {{-7.5f}}, {-7.5}, {-7.5f}}},
        // 2^-24 x 1920 x 65536 = 7.5 and -2^-20 x 1080 x 65536 = -67.5:
        // halves round away from zero.
        {10,
         {GLFX_POINT,
          {{1.0f / 16777216.0f, -1.0f / 1048576.0f}},
          {8, -68},
          {1.0f / 16777216.0f, -1.0f / 1048576.0f}}},
    };
    auto hostValue = [&](int t) -> std::vector<double> {
        const PF_ParamDef& p = param(t);
        switch (targets.at(t).type) {
        case GLFX_LAYER: return {static_cast<double>(p.u.ld.width)};
        case GLFX_CHECK: return {static_cast<double>(p.u.bd.value)};
        case GLFX_POPUP: return {static_cast<double>(p.u.pd.value)};
        case GLFX_ANGLE: return {static_cast<double>(p.u.ad.value)};
        case GLFX_POINT: return {static_cast<double>(p.u.td.x_value), static_cast<double>(p.u.td.y_value)};
        case GLFX_COLOR:
            return {double(p.u.cd.value.alpha), double(p.u.cd.value.red), double(p.u.cd.value.green),
                    double(p.u.cd.value.blue)};
        default: return {p.u.fs_d.value};
        }
    };
    glfxpreset preset;
    for (const auto& [t, target] : targets) {
        declare(t, target.type);
        preset.values[t] = target.preset;
    }
    declare(1, GLFX_POPUP).flags = 3;
    glfxDescription().settings.presets[{1, 1}] = preset;
    rec.d.layerWidth[0] = 1920;
    rec.d.layerHeight[0] = 1080;
    param(1).u.pd.value = 2;
    param(0).u.ld.width = 12;
    param(8).u.ld.width = 33;
    rec.d.values[0][0] = 7.0f;

    EXPECT_EQ(PF_Err_NONE, changed(1));
    for (const auto& [t, target] : targets) {
        SCOPED_TRACE(t);
        EXPECT_EQ(target.host, hostValue(t));
        for (std::size_t k = 0; k < target.values.size(); ++k)
            EXPECT_EQ(target.values[k], rec.d.values[t][k]) << k;
        EXPECT_EQ(PF_ChangeFlag_CHANGED_VALUE, param(t).uu.change_flags);
    }

    // Item 1 has no preset: only the out flags change.
    for (const auto& [t, target] : targets)
        param(t).uu.change_flags = 0;
    rec.d.values[2][0] = 0.5f;
    param(1).u.pd.value = 1;
    out.out_flags = PF_OutFlag_DISPLAY_ERROR_MESSAGE;
    EXPECT_EQ(PF_Err_NONE, changed(1));
    EXPECT_EQ(PF_OutFlag_REFRESH_UI | PF_OutFlag_FORCE_RERENDER, out.out_flags);
    for (const auto& [t, target] : targets)
        EXPECT_EQ(0, param(t).uu.change_flags) << t;
    EXPECT_EQ(0.5f, rec.d.values[2][0]);
    EXPECT_TRUE(host.uiUpdates.empty());
}

} // namespace
