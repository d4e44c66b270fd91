// The reference host driven by its own test plug-in: values and units,
// write-back on a user change, callbacks, suites, scripts and misuse.
// Renders and saved projects go through the product's plug-in
// (plugin_test.cpp).
#include "host/Host.h"
#include "sdk/AE_EffectCBSuites.h"
#include "sdk/AE_SuiteHandler.h"
#include "sdk/SPBasic.h"

#include <gtest/gtest.h>

#include <cstring>

using namespace glfxhost;

namespace {

// Host indices of the test plug-in's parameters.
enum { kAmount = 1, kInvert, kMode, kTint, kAngle, kCenter, kOther };

struct Fixture {
    explicit Fixture(HostMode mode = HostMode::AfterEffects) : plugin(HOST_TEST_PLUGIN), session(plugin, mode)
    {}
    Plugin plugin;
    Session session;
};

bool hasProblem(const Session& s, const std::string& part)
{
    for (const std::string& p : s.records().problems)
        if (p.find(part) != std::string::npos)
            return true;
    return false;
}

} // namespace

TEST(HostSession, ParametersAsAddedAndInHostUnits)
{
    Fixture f;
    ASSERT_EQ(f.session.globalSetup(), PF_Err_NONE);
    ASSERT_EQ(f.session.paramsSetup(), PF_Err_NONE);
    const auto& added = f.session.added();
    ASSERT_EQ(added.size(), 7u);
    for (int i = 0; i < 7; ++i) // the plug-in's ids are 2..8, in order
        EXPECT_TRUE(added[i].hostIndex == i + 1 && f.session.indexOfId(i + 2) == i + 1) << i;
    EXPECT_EQ(added[kMode - 1].choices, "Low|Mid|High");
    EXPECT_EQ(f.session.value(kMode).u.pd.value, 2);

    // Point defaults are percent until the layer size is known, then pixels,
    // converted once; the definition stays as added.
    EXPECT_EQ(f.session.value(kCenter).u.td.x_value, 25 * 65536);
    f.session.setLayerSize(200, 100);
    f.session.setLayerSize(400, 400);
    EXPECT_EQ(f.session.value(kCenter).u.td.x_value, 50 * 65536);
    EXPECT_EQ(f.session.value(kCenter).u.td.y_value, 50 * 65536);
    EXPECT_EQ(added[kCenter - 1].def.u.td.x_value, 25 * 65536);

    f.session.setFloat(kAmount, 250.0); // clamped to the valid range
    EXPECT_EQ(f.session.value(kAmount).u.fs_d.value, 100.0);
    f.session.setAngle(kAngle, -12.5);
    EXPECT_EQ(f.session.value(kAngle).u.ad.value, -12 * 65536 - 32768);
    f.session.setPoint(kCenter, 10.25, 3.0);
    EXPECT_EQ(f.session.value(kCenter).u.td.x_value, 10 * 65536 + 16384);
    EXPECT_THROW(f.session.setPopup(kMode, 0), std::invalid_argument); // popups count from 1
    EXPECT_THROW(f.session.setPopup(kMode, 4), std::invalid_argument);
    EXPECT_THROW(f.session.setCheckbox(kAmount, true), std::invalid_argument);
    EXPECT_THROW(f.session.setFloat(9, 1.0), std::out_of_range);
    EXPECT_THROW(f.session.paramsSetup(), std::logic_error);
}

TEST(HostSession, UserChangeAppliesWrittenBackValuesAndRecordsStreams)
{
    Fixture f;
    f.session.setLayerSize(64, 32);
    ASSERT_EQ(f.session.start(), PF_Err_NONE);
    const Records& r = f.session.records();
    for (const bool on : {true, false}) {
        f.session.setCheckbox(kInvert, on);
        ASSERT_EQ(f.session.userChangedParam(kInvert), PF_Err_NONE);
        EXPECT_EQ(r.commands.back().outFlags, PF_OutFlag_REFRESH_UI | PF_OutFlag_FORCE_RERENDER);
        EXPECT_EQ(f.session.value(kAmount).u.fs_d.value, 30.0);       // written back with the flag
        EXPECT_EQ(f.session.value(kCenter).u.td.x_value, 16 * 65536); // written without it: ignored
        EXPECT_EQ(r.uiFlags.at(kTint), on ? PF_PUI_DISABLED : 0);
        EXPECT_EQ(f.session.added()[kTint - 1].def.ui_flags, on ? PF_PUI_DISABLED : 0);
        EXPECT_EQ(r.hidden.at(kAngle), on);
        EXPECT_EQ(r.streamNames.at(kAngle), on ? "Angle (off)" : "Angle");
        EXPECT_EQ(f.session.liveEffectRefs() + f.session.liveStreamRefs(), 0);
    }
    // A parameter the effect does not supervise: no command.
    const size_t commands = r.commands.size();
    f.session.setFloat(kAmount, 70.0);
    ASSERT_EQ(f.session.userChangedParam(kAmount), PF_Err_NONE);
    EXPECT_EQ(r.commands.size(), commands);
    EXPECT_THROW(f.session.userChangedParam(0), std::out_of_range);
    EXPECT_EQ(f.session.finish(), PF_Err_NONE);
    EXPECT_EQ(f.session.liveHandles(), 0);
    EXPECT_TRUE(r.problems.empty()) << r.problems.front();

    // Worlds the host would not offer are refused before the effect sees them.
    Fixture ae, pr(HostMode::Premiere);
    ASSERT_EQ(ae.session.start(), PF_Err_NONE);
    ASSERT_EQ(pr.session.start(), PF_Err_NONE);
    World in8(2, 2, 8), out16(2, 2, 16), bgra(2, 2, 8, true), bgra2(2, 2, 8, true), empty;
    EXPECT_THROW(ae.session.render(in8, out16), std::invalid_argument);
    EXPECT_THROW(ae.session.render(bgra, bgra2), std::invalid_argument);
    EXPECT_THROW(pr.session.render(in8, in8), std::invalid_argument);
    EXPECT_THROW(ae.session.render(empty, in8), std::invalid_argument);
    EXPECT_EQ(pr.session.render(bgra, bgra2), PF_Err_NONE);
}

TEST(HostCallbacks, HandlesAnsiAndSuitesByNameAndVersion)
{
    Fixture f;
    const PF_UtilCallbacks* u = f.session.inData().utils;
    const int before = liveHandlesTotal();
    PF_Handle h = u->host_new_handle(10);
    ASSERT_TRUE(h && *h);
    std::memset(*h, 7, 10);
    ASSERT_EQ(u->host_resize_handle(4000, &h), PF_Err_NONE);
    EXPECT_EQ(u->host_get_handle_size(h), 4000);
    EXPECT_EQ(static_cast<unsigned char*>(*h)[9], 7); // contents kept
    EXPECT_EQ(liveHandlesTotal(), before + 1);
    u->host_dispose_handle(h);
    EXPECT_EQ(liveHandlesTotal(), before);
    void* bogus[1] = {nullptr}; // a handle the host never gave out is refused, not freed
    EXPECT_EQ(u->host_get_handle_size(reinterpret_cast<PF_Handle>(bogus)), 0);
    EXPECT_NE(u->host_resize_handle(8, reinterpret_cast<PF_Handle*>(&bogus)), PF_Err_NONE);

    SPBasicSuite* sp = f.session.inData().pica_basicP;
    const std::pair<const char*, A_long> offered[] = {
        {kPFPixelFormatSuite, 1},    {kPFHandleSuite, 1},
        {kPFWorldSuite, 2},          {kPFParamUtilsSuite, 3},
        {kPFANSISuite, 1},           {kAEGPUtilitySuite, kAEGPUtilitySuiteVersion4},
        {kAEGPMemorySuite, 1},       {kAEGPPFInterfaceSuite, 1},
        {kAEGPEffectSuite, 3},       {kAEGPStreamSuite, kAEGPStreamSuiteVersion2},
        {kAEGPDynamicStreamSuite, 2}};
    for (const auto& [name, version] : offered) {
        const void* suite = nullptr;
        EXPECT_EQ(sp->AcquireSuite(name, version, &suite), kSPNoError) << name;
        EXPECT_NE(suite, nullptr) << name;
        EXPECT_EQ(sp->ReleaseSuite(name, version), kSPNoError) << name;
    }
    for (const auto& [name, version] :
         {std::pair<const char*, A_long>{kPFWorldSuite, 1}, {"PF Fill Matte Suite", 1}}) {
        const void* suite = &sp;
        EXPECT_EQ(sp->AcquireSuite(name, version, &suite), kSPSuiteNotFoundError) << name;
        EXPECT_EQ(suite, nullptr) << name;
    }
    // Premiere offers no AEGP suite: the test plug-in's probe is refused and recorded.
    Fixture pr(HostMode::Premiere);
    ASSERT_EQ(pr.session.globalSetup(), PF_Err_NONE);
    ASSERT_EQ(pr.session.records().suiteMisses.size(), 1u);
    EXPECT_EQ(pr.session.records().suiteMisses[0].rfind(kAEGPUtilitySuite, 0), 0u);
}

TEST(HostCallbacks, WorldSuiteFormatsAndNewWorlds)
{
    Fixture f;
    const void* p = nullptr;
    ASSERT_EQ(f.session.inData().pica_basicP->AcquireSuite(kPFWorldSuite, 2, &p), kSPNoError);
    auto* ws = static_cast<const PF_WorldSuite2*>(p);
    const PF_ProgPtr ref = f.session.inData().effect_ref;
    PF_PixelFormat fmt = 0;
    PF_EffectWorld stranger{};
    EXPECT_NE(ws->PF_GetPixelFormat(&stranger, &fmt), PF_Err_NONE);
    // Copies of host worlds tell their format; worlds asked for by format
    // have padded rows and are the host's until disposed of, once.
    for (const auto& [format, depth] : {std::pair<PF_PixelFormat, int>{PF_PixelFormat_ARGB32, 8},
                                        {PF_PixelFormat_ARGB64, 16},
                                        {PF_PixelFormat_ARGB128, 32}}) {
        World host(2, 2, depth);
        PF_EffectWorld copy = *host.def(), w{};
        ASSERT_EQ(ws->PF_GetPixelFormat(&copy, &fmt), PF_Err_NONE);
        EXPECT_EQ(fmt, format);
        ASSERT_EQ(ws->PF_NewWorld(ref, 5, 3, 1, format, &w), PF_Err_NONE);
        EXPECT_GT(w.rowbytes, 5 * depth / 2);
        ASSERT_EQ(ws->PF_GetPixelFormat(&w, &fmt), PF_Err_NONE);
        EXPECT_EQ(fmt, format);
        EXPECT_EQ(f.session.liveWorlds(), 1);
        ASSERT_EQ(ws->PF_DisposeWorld(ref, &w), PF_Err_NONE);
        EXPECT_EQ(f.session.liveWorlds(), 0);
        EXPECT_NE(ws->PF_DisposeWorld(ref, &w), PF_Err_NONE);
    }
    PF_EffectWorld w{};
    EXPECT_NE(ws->PF_NewWorld(ref, 5, 3, 1, PF_PixelFormat_BGRA32, &w), PF_Err_NONE);
    EXPECT_NE(ws->PF_NewWorld(ref, 0, 3, 1, PF_PixelFormat_ARGB32, &w), PF_Err_NONE);
}

TEST(HostCallbacks, ScriptsKnowAlertOnly)
{
    // Each script run by the test plug-in in a command (its effect text);
    // the host records the alerts it shows and frees every result.
    Fixture f;
    ASSERT_EQ(f.session.start(), PF_Err_NONE);
    const struct {
        const char* script;
        std::vector<std::string> alerts; // empty: refused
    } cases[] = {{"alert('a\"b\\\\c\\td');", {"a\"b\\c\td"}},
                 {"alert(\"x\");  alert('y')", {"x", "y"}},
                 {"alert('\\u00e9')", {"\xC3\xA9"}},
                 {"app.quit();", {}},
                 {"alert('open", {}},
                 {"", {}}};
    std::vector<std::string> alerts;
    for (const auto& c : cases) {
        f.plugin.setEffectText(c.script);
        EXPECT_EQ(f.session.doDialog(), c.alerts.empty() ? PF_Err_BAD_CALLBACK_PARAM : PF_Err_NONE)
            << c.script;
        alerts.insert(alerts.end(), c.alerts.begin(), c.alerts.end());
        EXPECT_EQ(f.session.records().alerts, alerts) << c.script;
        EXPECT_EQ(f.session.records().scripts.back(), c.script);
    }
    EXPECT_EQ(f.session.liveMemHandles(), 0);
}

TEST(HostCallbacks, MisuseIsRefusedAndRecorded)
{
    Fixture f;
    ASSERT_EQ(f.session.start(), PF_Err_NONE);
    PF_InData in = f.session.inData();
    PF_ParamDef def{};
    EXPECT_EQ(in.inter.add_param(in.effect_ref, -1, &def), PF_Err_INVALID_CALLBACK); // after parameter setup
    EXPECT_EQ(in.inter.checkout_param(in.effect_ref, 8, 0, 1000, 30000, &def), PF_Err_INVALID_INDEX);
    EXPECT_EQ(in.inter.checkin_param(in.effect_ref, &def), PF_Err_BAD_CALLBACK_PARAM); // never checked out
    int notASession = 0;
    EXPECT_NE(in.inter.checkout_param(&notASession, 1, 0, 1000, 30000, &def), PF_Err_NONE);
    EXPECT_TRUE(hasProblem(f.session, "add_param outside PARAMS_SETUP"));
    EXPECT_TRUE(hasProblem(f.session, "not checked out"));
    // A checkout hands a copy of the current value; an unset layer is an empty world.
    f.session.setFloat(kAmount, 12.5);
    ASSERT_EQ(in.inter.checkout_param(in.effect_ref, kAmount, 3000, 1000, 30000, &def), PF_Err_NONE);
    EXPECT_EQ(def.u.fs_d.value, 12.5);
    EXPECT_EQ(f.session.records().paramCheckouts.back().time, 3000);
    EXPECT_EQ(f.session.outstandingCheckouts(), 1);
    ASSERT_EQ(in.inter.checkin_param(in.effect_ref, &def), PF_Err_NONE);
    EXPECT_EQ(f.session.outstandingCheckouts(), 0);
    World layer(8, 6, 8);
    for (World* set : {static_cast<World*>(nullptr), &layer}) {
        f.session.setLayer(kOther, set);
        ASSERT_EQ(in.inter.checkout_param(in.effect_ref, kOther, 0, 1000, 30000, &def), PF_Err_NONE);
        EXPECT_EQ(def.u.ld.data, set ? layer.def()->data : nullptr);
        EXPECT_EQ(def.u.ld.width, set ? 8 : 0);
        in.inter.checkin_param(in.effect_ref, &def);
    }
}
