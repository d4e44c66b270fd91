// The reference host driven by its own test plug-in: values and units,
// write-back on a user change, callbacks, suites, scripts and handles.
// Renders, flattening and About are covered through the product's plug-in
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

TEST(HostPlugin, LoadErrorsAndTheEffectText)
{
    try {
        Plugin p("/nonexistent/dir/glfxplugin.so");
        FAIL() << "loading a missing file must throw";
    } catch (const std::runtime_error& e) {
        EXPECT_NE(std::string(e.what()).find("/nonexistent/dir/glfxplugin.so"), std::string::npos);
    }
    EXPECT_EQ(Plugin::defaultPath("/opt/x"), "/opt/x/glfxplugin.so");
    EXPECT_EQ(Plugin::defaultPath("/opt/x/"), "/opt/x/glfxplugin.so");
    const std::string self = Plugin::defaultPath();
    EXPECT_EQ(self.substr(self.rfind('/')), "/glfxplugin.so");
    EXPECT_NE(self.find("tests/host"), std::string::npos) << self; // beside this test program

    // The text handed to the plug-in is the host's own copy.
    Plugin p(HOST_TEST_PLUGIN);
    EXPECT_STREQ(p.effectText(), "builtin");
    {
        std::string text = "my effect";
        p.setEffectText(text);
        text[0] = 'X';
    }
    EXPECT_STREQ(p.effectText(), "my effect");
}

TEST(HostSession, ParametersAsAddedAndInHostUnits)
{
    Fixture f;
    ASSERT_EQ(f.session.globalSetup(), PF_Err_NONE);
    ASSERT_EQ(f.session.paramsSetup(), PF_Err_NONE);
    const auto& added = f.session.added();
    ASSERT_EQ(added.size(), 7u);
    EXPECT_EQ(f.session.records().numParams, 8);
    for (int i = 0; i < 7; ++i) { // the plug-in's ids are 2..8, in order
        SCOPED_TRACE(i);
        EXPECT_EQ(added[i].descIndex, i + 1);
        EXPECT_EQ(added[i].hostIndex, i + 1);
        EXPECT_EQ(f.session.indexOfId(i + 2), i + 1);
    }
    EXPECT_EQ(added[kAngle - 1].name, "Angle");
    EXPECT_EQ(added[kOther - 1].def.param_type, PF_Param_LAYER);
    EXPECT_EQ(added[kMode - 1].choices, "Low|Mid|High");
    EXPECT_STREQ(added[kMode - 1].def.u.pd.u.namesptr, "Low|Mid|High");
    EXPECT_EQ(added[kInvert - 1].choices, "invert colours");
    EXPECT_EQ(f.session.value(kMode).u.pd.value, 2);
    EXPECT_EQ(f.session.value(kAngle).u.ad.value, 45 * 65536);

    // Point defaults are percent until the layer size is known, then pixels.
    EXPECT_EQ(f.session.value(kCenter).u.td.x_value, 25 * 65536);
    f.session.setLayerSize(200, 100);
    EXPECT_EQ(f.session.value(kCenter).u.td.x_value, 50 * 65536); // 25% of 200
    EXPECT_EQ(f.session.value(kCenter).u.td.y_value, 50 * 65536); // 50% of 100
    EXPECT_EQ(added[kCenter - 1].def.u.td.x_value, 25 * 65536);   // definition kept as added
    f.session.setLayerSize(400, 400);                             // converted once only
    EXPECT_EQ(f.session.value(kCenter).u.td.x_value, 50 * 65536);

    f.session.setFloat(kAmount, 250.0); // clamped to the valid range
    EXPECT_EQ(f.session.value(kAmount).u.fs_d.value, 100.0);
    f.session.setAngle(kAngle, -12.5);
    EXPECT_EQ(f.session.value(kAngle).u.ad.value, -12 * 65536 - 32768);
    f.session.setPoint(kCenter, 10.25, 3.0);
    EXPECT_EQ(f.session.value(kCenter).u.td.x_value, 10 * 65536 + 16384);
    f.session.setColor(kTint, PF_Pixel{255, 1, 2, 3});
    EXPECT_EQ(f.session.value(kTint).u.cd.value.blue, 3);
    EXPECT_THROW(f.session.setPopup(kMode, 0), std::invalid_argument);
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
    f.session.setCheckbox(kInvert, true);
    ASSERT_EQ(f.session.userChangedParam(kInvert), PF_Err_NONE);
    EXPECT_EQ(r.commands.back().outFlags, PF_OutFlag_REFRESH_UI | PF_OutFlag_FORCE_RERENDER);
    // Taken over only with the changed flag.
    EXPECT_EQ(f.session.value(kAmount).u.fs_d.value, 30.0);
    EXPECT_EQ(f.session.value(kCenter).u.td.x_value, 16 * 65536); // 25% of 64, unchanged
    ASSERT_EQ(r.uiFlags.count(kTint), 1u);
    EXPECT_EQ(r.uiFlags.at(kTint), PF_PUI_DISABLED);
    EXPECT_EQ(f.session.added()[kTint - 1].def.ui_flags, PF_PUI_DISABLED);
    ASSERT_EQ(r.hidden.count(kAngle), 1u);
    EXPECT_TRUE(r.hidden.at(kAngle));
    EXPECT_EQ(r.streamNames.at(kAngle), "Angle (off)");
    f.session.setCheckbox(kInvert, false);
    ASSERT_EQ(f.session.userChangedParam(kInvert), PF_Err_NONE);
    EXPECT_FALSE(r.hidden.at(kAngle));
    EXPECT_EQ(r.streamNames.at(kAngle), "Angle");
    EXPECT_EQ(r.uiFlags.at(kTint), 0);
    EXPECT_EQ(r.streamFlagSets.size(), 2u);
    EXPECT_EQ(f.session.liveEffectRefs(), 0);
    EXPECT_EQ(f.session.liveStreamRefs(), 0);
    // A change of a parameter the effect does not supervise is not sent.
    const size_t commandsBefore = r.commands.size();
    f.session.setFloat(kAmount, 70.0);
    ASSERT_EQ(f.session.userChangedParam(kAmount), PF_Err_NONE);
    EXPECT_EQ(r.commands.size(), commandsBefore);
    EXPECT_EQ(f.session.value(kAmount).u.fs_d.value, 70.0);
    EXPECT_THROW(f.session.userChangedParam(0), std::out_of_range);
    EXPECT_EQ(f.session.finish(), PF_Err_NONE);
    EXPECT_EQ(f.session.liveHandles(), 0);
    EXPECT_TRUE(r.problems.empty()) << r.problems.front();
}

TEST(HostSession, RenderRejectsWorldsTheHostWouldNotOffer)
{
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

TEST(HostCallbacks, HandlesAndAnsiAreReal)
{
    Fixture f;
    const PF_UtilCallbacks* u = f.session.inData().utils;
    const int before = liveHandlesTotal();
    PF_Handle h = u->host_new_handle(10);
    ASSERT_NE(h, nullptr);
    ASSERT_NE(*h, nullptr);
    std::memset(*h, 7, 10);
    EXPECT_EQ(u->host_get_handle_size(h), 10);
    EXPECT_EQ(u->host_lock_handle(h), *h);
    u->host_unlock_handle(h);
    ASSERT_EQ(u->host_resize_handle(4000, &h), PF_Err_NONE);
    EXPECT_EQ(u->host_get_handle_size(h), 4000);
    EXPECT_EQ(static_cast<unsigned char*>(*h)[9], 7); // contents kept
    EXPECT_EQ(liveHandlesTotal(), before + 1);
    u->host_dispose_handle(h);
    EXPECT_EQ(liveHandlesTotal(), before);
    // A handle the host never gave out is refused, not freed.
    void* bogus[1] = {nullptr};
    EXPECT_EQ(u->host_get_handle_size(reinterpret_cast<PF_Handle>(bogus)), 0);
    EXPECT_NE(u->host_resize_handle(8, reinterpret_cast<PF_Handle*>(&bogus)), PF_Err_NONE);

    char buf[64];
    EXPECT_EQ(u->ansi.sprintf(buf, "%s-%d-%.1f", "a", 42, 1.5), 8);
    EXPECT_STREQ(buf, "a-42-1.5");
    EXPECT_STREQ(u->ansi.strcpy(buf, "copy"), "copy");
    EXPECT_DOUBLE_EQ(u->ansi.hypot(3.0, 4.0), 5.0);
}

TEST(HostCallbacks, SuitesByNameAndVersion)
{
    Fixture f;
    SPBasicSuite* sp = f.session.inData().pica_basicP;
    struct Case {
        const char* name;
        A_long version;
        bool offered;
    };
    const Case cases[] = {{kPFPixelFormatSuite, 1, true},
                          {kPFHandleSuite, 1, true},
                          {kPFWorldSuite, 2, true},
                          {kPFParamUtilsSuite, 3, true},
                          {kPFANSISuite, 1, true},
                          {kAEGPUtilitySuite, kAEGPUtilitySuiteVersion4, true},
                          {kAEGPMemorySuite, 1, true},
                          {kAEGPPFInterfaceSuite, 1, true},
                          {kAEGPEffectSuite, 3, true},
                          {kAEGPStreamSuite, kAEGPStreamSuiteVersion2, true},
                          {kAEGPDynamicStreamSuite, 2, true},
                          {kPFWorldSuite, 1, false},
                          {"PF Fill Matte Suite", 1, false},
                          {"", 1, false}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const void* suite = reinterpret_cast<const void*>(1);
        const SPErr err = sp->AcquireSuite(c.name, c.version, &suite);
        if (c.offered) {
            EXPECT_EQ(err, kSPNoError);
            EXPECT_NE(suite, nullptr);
            EXPECT_EQ(sp->ReleaseSuite(c.name, c.version), kSPNoError);
        } else {
            EXPECT_EQ(err, kSPSuiteNotFoundError);
            EXPECT_EQ(suite, nullptr);
        }
    }
    // Premiere offers none of the AEGP suites: the test plug-in's probe for
    // one at global setup is refused, and recorded.
    Fixture pr(HostMode::Premiere);
    ASSERT_EQ(pr.session.globalSetup(), PF_Err_NONE);
    const Records& r = pr.session.records();
    ASSERT_EQ(r.suiteMisses.size(), 1u);
    EXPECT_EQ(r.suiteMisses[0].rfind(kAEGPUtilitySuite, 0), 0u) << r.suiteMisses[0];
    EXPECT_EQ(r.suiteAcquires.count(kAEGPUtilitySuite), 0u);
}

TEST(HostCallbacks, WorldSuiteFormatsAndNewWorlds)
{
    Fixture f;
    SPBasicSuite* sp = f.session.inData().pica_basicP;
    const void* p = nullptr;
    ASSERT_EQ(sp->AcquireSuite(kPFWorldSuite, 2, &p), kSPNoError);
    auto* ws = static_cast<const PF_WorldSuite2*>(p);
    // The format of host worlds (effects pass copies around); others refused.
    for (int depth : {8, 16, 32}) {
        World w(2, 2, depth);
        PF_EffectWorld copy = *w.def();
        PF_PixelFormat fmt = 0;
        ASSERT_EQ(ws->PF_GetPixelFormat(&copy, &fmt), PF_Err_NONE);
        EXPECT_EQ(fmt, w.pixelFormat());
    }
    PF_EffectWorld stranger{};
    PF_PixelFormat fmt = 0;
    EXPECT_NE(ws->PF_GetPixelFormat(&stranger, &fmt), PF_Err_NONE);

    // Worlds asked for by format: padded rows, the format asked for, owned until disposed of.
    const PF_ProgPtr ref = f.session.inData().effect_ref;
    const struct {
        PF_PixelFormat format;
        int pixelSize;
    } formats[] = {{PF_PixelFormat_ARGB32, 4}, {PF_PixelFormat_ARGB64, 8}, {PF_PixelFormat_ARGB128, 16}};
    for (const auto& c : formats) {
        PF_EffectWorld w{};
        ASSERT_EQ(ws->PF_NewWorld(ref, 5, 3, 1, c.format, &w), PF_Err_NONE);
        ASSERT_NE(w.data, nullptr);
        EXPECT_GT(w.rowbytes, 5 * c.pixelSize);
        ASSERT_EQ(ws->PF_GetPixelFormat(&w, &fmt), PF_Err_NONE);
        EXPECT_EQ(fmt, c.format);
        EXPECT_EQ(f.session.liveWorlds(), 1);
        ASSERT_EQ(ws->PF_DisposeWorld(ref, &w), PF_Err_NONE);
        EXPECT_EQ(f.session.liveWorlds(), 0);
        EXPECT_NE(ws->PF_DisposeWorld(ref, &w), PF_Err_NONE); // twice is refused
    }
    PF_EffectWorld w{};
    EXPECT_NE(ws->PF_NewWorld(ref, 5, 3, 1, PF_PixelFormat_BGRA32, &w), PF_Err_NONE);
    EXPECT_NE(ws->PF_NewWorld(ref, 0, 3, 1, PF_PixelFormat_ARGB32, &w), PF_Err_NONE);
}

TEST(HostCallbacks, ScriptsKnowAlertOnly)
{
    // Each script run directly, then by the test plug-in in a command (its
    // effect text), where the host records the alerts it shows.
    Fixture f;
    ASSERT_EQ(f.session.start(), PF_Err_NONE);
    AEGP_SuiteHandler suites(f.session.inData().pica_basicP);
    struct Case {
        const char* script;
        bool ok;
        std::vector<std::string> alerts;
    };
    const Case cases[] = {
        {"alert('a\"b\\\\c\\td');", true, {"a\"b\\c\td"}},
        {"alert(\"x\");  alert('y')", true, {"x", "y"}},
        {"alert('\\u00e9')", true, {"\xC3\xA9"}},
        {"app.quit();", false, {}},
        {"alert('open", false, {}},
        {"", false, {}},
    };
    std::vector<std::string> alerts;
    for (const Case& c : cases) {
        SCOPED_TRACE(c.script);
        AEGP_MemHandle result = nullptr, error = nullptr;
        const A_Err err = suites.UtilitySuite()->AEGP_ExecuteScript(0, c.script, 0, &result, &error);
        EXPECT_EQ(err == A_Err_NONE, c.ok);
        if (c.ok) {
            ASSERT_NE(result, nullptr);
            EXPECT_EQ(error, nullptr);
        } else {
            ASSERT_NE(error, nullptr);
            AEGP_MemSize size = 0;
            suites.MemorySuite()->AEGP_GetMemHandleSize(error, &size);
            EXPECT_GT(size, 1u);
        }
        if (result)
            suites.MemorySuite()->AEGP_FreeMemHandle(result);
        if (error)
            suites.MemorySuite()->AEGP_FreeMemHandle(error);

        f.plugin.setEffectText(c.script);
        EXPECT_EQ(f.session.doDialog(), c.ok ? PF_Err_NONE : PF_Err_BAD_CALLBACK_PARAM);
        alerts.insert(alerts.end(), c.alerts.begin(), c.alerts.end());
        EXPECT_EQ(f.session.records().alerts, alerts);
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
    // add_param after parameter setup
    EXPECT_EQ(in.inter.add_param(in.effect_ref, -1, &def), PF_Err_INVALID_CALLBACK);
    // checkout of an index that does not exist, and a checkin of something never checked out
    EXPECT_EQ(in.inter.checkout_param(in.effect_ref, 8, 0, 1000, 30000, &def), PF_Err_INVALID_INDEX);
    EXPECT_EQ(in.inter.checkin_param(in.effect_ref, &def), PF_Err_BAD_CALLBACK_PARAM);
    // a checkout hands a copy of the current value
    f.session.setFloat(kAmount, 12.5);
    ASSERT_EQ(in.inter.checkout_param(in.effect_ref, kAmount, 3000, 1000, 30000, &def), PF_Err_NONE);
    EXPECT_EQ(def.u.fs_d.value, 12.5);
    EXPECT_EQ(def.uu.id, 2);
    EXPECT_EQ(f.session.outstandingCheckouts(), 1);
    EXPECT_EQ(f.session.records().paramCheckouts.back().time, 3000);
    ASSERT_EQ(in.inter.checkin_param(in.effect_ref, &def), PF_Err_NONE);
    EXPECT_EQ(f.session.outstandingCheckouts(), 0);
    // an unset layer parameter is an empty world
    ASSERT_EQ(in.inter.checkout_param(in.effect_ref, kOther, 0, 1000, 30000, &def), PF_Err_NONE);
    EXPECT_EQ(def.param_type, PF_Param_LAYER);
    EXPECT_EQ(def.u.ld.data, nullptr);
    in.inter.checkin_param(in.effect_ref, &def);
    World layer(8, 6, 8);
    f.session.setLayer(kOther, &layer);
    ASSERT_EQ(in.inter.checkout_param(in.effect_ref, kOther, 0, 1000, 30000, &def), PF_Err_NONE);
    EXPECT_EQ(def.u.ld.data, layer.def()->data);
    EXPECT_EQ(def.u.ld.width, 8);
    in.inter.checkin_param(in.effect_ref, &def);
    // a foreign effect_ref
    int notASession = 0;
    EXPECT_NE(in.inter.checkout_param(&notASession, 1, 0, 1000, 30000, &def), PF_Err_NONE);
    EXPECT_TRUE(hasProblem(f.session, "add_param outside PARAMS_SETUP"));
    EXPECT_TRUE(hasProblem(f.session, "not checked out"));
}
