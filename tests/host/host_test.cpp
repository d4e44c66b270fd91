// The reference host driven by its own test plug-in: command sequence, values
// and units, callbacks, suites, handles and what the host records.
#include "host/Host.h"
#include "sdk/AE_EffectCBSuites.h"
#include "sdk/AE_SuiteHandler.h"
#include "sdk/SPBasic.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>

using namespace glfxhost;

namespace {

// Host indices of the test plug-in's parameters.
enum { kAmount = 1, kInvert, kMode, kTint, kAngle, kCenter, kOther };

struct Fixture {
    explicit Fixture(HostMode mode) : plugin(HOST_TEST_PLUGIN), session(plugin, mode) {}
    Plugin plugin;
    Session session;
};

bool hasProblem(const Session& s, const std::string& part) {
    for (const std::string& p : s.records().problems)
        if (p.find(part) != std::string::npos) return true;
    return false;
}

}  // namespace

TEST(HostPlugin, LoadErrorsAreClear) {
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
    EXPECT_NE(self.find("tests/host"), std::string::npos) << self;   // beside this test program
}

TEST(HostPlugin, EffectTextIsAnOwnedCopy) {
    Plugin p(HOST_TEST_PLUGIN);
    ASSERT_TRUE(p.hasEffectTextSymbol());
    EXPECT_STREQ(p.effectText(), "builtin");
    {
        std::string text = "my effect";
        p.setEffectText(text);
        text[0] = 'X';
    }
    EXPECT_STREQ(p.effectText(), "my effect");
}

TEST(HostSession, GlobalSetupInBothModes) {
    for (HostMode mode : {HostMode::AfterEffects, HostMode::Premiere}) {
        Fixture f(mode);
        ASSERT_EQ(f.session.globalSetup(), PF_Err_NONE);
        const Records& r = f.session.records();
        EXPECT_EQ(r.version, PF_VERSION(1, 2, 3, PF_Stage_BETA, 4));
        EXPECT_EQ(f.session.inData().appl_id, mode == HostMode::Premiere ? 0x50724D72 : 0x46585443);
        EXPECT_TRUE(f.session.hasGlobalData());
        EXPECT_EQ(f.session.liveHandles(), 1);
        if (mode == HostMode::Premiere) {
            EXPECT_EQ(r.outFlags & PF_OutFlag_DEEP_COLOR_AWARE, 0);
            EXPECT_EQ(r.formatClears, 1);
            ASSERT_EQ(r.supportedFormats.size(), 1u);
            EXPECT_EQ(r.supportedFormats[0], PrPixelFormat_BGRA_4444_8u);
            EXPECT_TRUE(r.registeredNames.empty());
            // Premiere has no AEGP suites: the effect's probe for one was refused.
            ASSERT_EQ(r.suiteMisses.size(), 1u);
            EXPECT_EQ(r.suiteMisses[0].rfind(kAEGPUtilitySuite, 0), 0u) << r.suiteMisses[0];
            EXPECT_EQ(r.suiteAcquires.count(kAEGPUtilitySuite), 0u);
        } else {
            EXPECT_NE(r.outFlags & PF_OutFlag_DEEP_COLOR_AWARE, 0);
            EXPECT_TRUE(r.supportedFormats.empty());
            ASSERT_EQ(r.registeredNames.size(), 1u);
            EXPECT_EQ(r.registeredNames[0], "Host Test Effect");
            EXPECT_NE(f.session.registeredPluginId(), 0);
        }
        // Every suite the effect took it gave back.
        for (const auto& a : r.suiteAcquires) EXPECT_EQ(r.suiteReleases.at(a.first), a.second) << a.first;
        EXPECT_EQ(f.session.globalSetdown(), PF_Err_NONE);
        EXPECT_EQ(f.session.liveHandles(), 0);
        EXPECT_TRUE(r.problems.empty()) << r.problems.front();
    }
}

TEST(HostSession, ParametersAsAddedAndInHostUnits) {
    Fixture f(HostMode::AfterEffects);
    ASSERT_EQ(f.session.globalSetup(), PF_Err_NONE);
    ASSERT_EQ(f.session.paramsSetup(), PF_Err_NONE);
    const auto& added = f.session.added();
    ASSERT_EQ(added.size(), 7u);
    EXPECT_EQ(f.session.records().numParams, 8);
    struct Want { const char* name; PF_ParamType type; int id; };
    const Want want[] = {{"Amount", PF_Param_FLOAT_SLIDER, 2}, {"Invert", PF_Param_CHECKBOX, 3},
                         {"Mode", PF_Param_POPUP, 4},         {"Tint", PF_Param_COLOR, 5},
                         {"Angle", PF_Param_ANGLE, 6},        {"Center", PF_Param_POINT, 7},
                         {"Other", PF_Param_LAYER, 8}};
    for (size_t i = 0; i < added.size(); ++i) {
        EXPECT_EQ(added[i].name, want[i].name);
        EXPECT_STREQ(added[i].def.name, want[i].name);
        EXPECT_EQ(added[i].def.param_type, want[i].type);
        EXPECT_EQ(added[i].def.uu.id, want[i].id);
        EXPECT_EQ(added[i].descIndex, want[i].id - 1);
        EXPECT_EQ(added[i].hostIndex, static_cast<int>(i) + 1);
        EXPECT_EQ(f.session.indexOfId(want[i].id), static_cast<int>(i) + 1);
    }
    EXPECT_EQ(added[kMode - 1].choices, "Low|Mid|High");
    EXPECT_STREQ(added[kMode - 1].def.u.pd.u.namesptr, "Low|Mid|High");
    EXPECT_EQ(added[kInvert - 1].choices, "invert colours");
    EXPECT_EQ(f.session.value(kMode).u.pd.value, 2);
    EXPECT_EQ(f.session.value(kAngle).u.ad.value, 45 * 65536);

    // Point defaults are percent until the layer size is known, then pixels.
    EXPECT_EQ(f.session.value(kCenter).u.td.x_value, 25 * 65536);
    f.session.setLayerSize(200, 100);
    EXPECT_EQ(f.session.value(kCenter).u.td.x_value, 50 * 65536);   // 25% of 200
    EXPECT_EQ(f.session.value(kCenter).u.td.y_value, 50 * 65536);   // 50% of 100
    EXPECT_EQ(added[kCenter - 1].def.u.td.x_value, 25 * 65536);      // definition kept as added
    f.session.setLayerSize(400, 400);                                // converted once only
    EXPECT_EQ(f.session.value(kCenter).u.td.x_value, 50 * 65536);

    f.session.setFloat(kAmount, 250.0);   // clamped to the valid range
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
    f.session.finish();
}

TEST(HostSession, UserChangeAppliesWrittenBackValuesAndRecordsStreams) {
    Fixture f(HostMode::AfterEffects);
    f.session.setLayerSize(64, 32);
    ASSERT_EQ(f.session.start(), PF_Err_NONE);
    f.session.setPopup(kMode, 3);
    ASSERT_EQ(f.session.userChangedParam(kMode), PF_Err_NONE);
    EXPECT_EQ(f.session.value(kAmount).u.fs_d.value, 30.0);   // written back with the changed flag
    EXPECT_EQ(f.session.value(kCenter).u.td.x_value, 0);
    EXPECT_EQ(f.session.records().commands.back().outFlags, PF_OutFlag_REFRESH_UI | PF_OutFlag_FORCE_RERENDER);

    f.session.setCheckbox(kInvert, true);
    ASSERT_EQ(f.session.userChangedParam(kInvert), PF_Err_NONE);
    const Records& r = f.session.records();
    ASSERT_EQ(r.uiFlags.count(kTint), 1u);
    EXPECT_EQ(r.uiFlags.at(kTint), PF_PUI_DISABLED);
    EXPECT_EQ(f.session.added()[kTint - 1].def.ui_flags, PF_PUI_DISABLED);
    ASSERT_EQ(r.hidden.count(kAngle), 1u);
    EXPECT_TRUE(r.hidden.at(kAngle));
    EXPECT_EQ(r.streamNames.at(kAngle), "Angle (off)");
    f.session.setCheckbox(kInvert, false);
    ASSERT_EQ(f.session.userChangedParam(kInvert), PF_Err_NONE);
    EXPECT_FALSE(r.hidden.at(kAngle));
    EXPECT_EQ(r.uiFlags.at(kTint), 0);
    EXPECT_EQ(r.streamFlagSets.size(), 2u);
    EXPECT_EQ(f.session.liveEffectRefs(), 0);
    EXPECT_EQ(f.session.liveStreamRefs(), 0);
    // A value not flagged as changed is not taken over.
    EXPECT_EQ(f.session.value(kMode).u.pd.value, 3);
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

TEST(HostSession, RendersAtEveryDepthThroughPaddedWorlds) {
    struct Case { HostMode mode; int depth; bool bgra; };
    const Case cases[] = {{HostMode::AfterEffects, 8, false}, {HostMode::AfterEffects, 16, false},
                          {HostMode::AfterEffects, 32, false}, {HostMode::Premiere, 8, true}};
    for (const Case& c : cases) {
        SCOPED_TRACE(std::to_string(c.depth) + (c.bgra ? " bgra" : ""));
        Fixture f(c.mode);
        ASSERT_EQ(f.session.start(), PF_Err_NONE);
        World in(5, 4, c.depth, c.bgra, c.depth == 32 ? 20 : 6 * (c.depth / 8));
        World out(5, 4, c.depth, c.bgra);
        for (int y = 0; y < 4; ++y)
            for (int x = 0; x < 5; ++x) {
                const float px[4] = {x / 4.0f, y / 3.0f, 0.25f, 1.0f - x / 8.0f};
                in.setPixel(x, y, px);
            }
        ASSERT_EQ(f.session.render(in, out, 0.5), PF_Err_NONE);
        EXPECT_EQ(f.session.inData().current_time, 15000);   // 0.5 s at 30000 a second
        for (int y = 0; y < 4; ++y)
            for (int x = 0; x < 5; ++x) {
                float a[4], b[4];
                in.getPixel(x, y, a);
                out.getPixel(x, y, b);
                for (int k = 0; k < 4; ++k) ASSERT_EQ(a[k], b[k]) << x << "," << y << " channel " << k;
            }
        EXPECT_TRUE(out.paddingIntact());
        f.session.setCheckbox(kInvert, true);
        ASSERT_EQ(f.session.render(in, out, 0.0), PF_Err_NONE);
        float a[4], b[4];
        in.getPixel(4, 3, a);
        out.getPixel(4, 3, b);
        EXPECT_NEAR(b[0], 1.0f - a[0], 1e-6f);
        EXPECT_NEAR(b[2], 0.75f, c.depth == 8 ? 1.0f / 255 : 1e-4f);
        EXPECT_EQ(b[3], a[3]);   // alpha untouched, in whichever place the format keeps it

        // Checkouts: the layer parameter two frames later, at pre-render and render.
        const Records& r = f.session.records();
        std::vector<A_long> otherTimes;
        for (const ParamCheckout& pc : r.paramCheckouts)
            if (pc.index == kOther) otherTimes.push_back(pc.time);
        EXPECT_EQ(otherTimes, (std::vector<A_long>{15000 + 2000, 0 + 2000}));
        if (c.mode == HostMode::AfterEffects) {
            ASSERT_GE(r.layerCheckouts.size(), 4u);
            EXPECT_EQ(r.layerCheckouts[1].index, kOther);
            EXPECT_EQ(r.layerCheckouts[1].time, 15000 + 2000);
            EXPECT_EQ(r.layerCheckouts[0].index, 0);
        } else {
            EXPECT_TRUE(r.layerCheckouts.empty());
        }
        EXPECT_EQ(r.paramCheckins, static_cast<int>(r.paramCheckouts.size()));
        EXPECT_EQ(f.session.outstandingCheckouts(), 0);
        EXPECT_EQ(f.session.finish(), PF_Err_NONE);
        EXPECT_EQ(f.session.liveHandles(), 0);
        EXPECT_TRUE(r.problems.empty()) << r.problems.front();
    }
}

TEST(HostSession, RenderRejectsWorldsTheHostWouldNotOffer) {
    Fixture ae(HostMode::AfterEffects);
    Fixture pr(HostMode::Premiere);
    ASSERT_EQ(ae.session.start(), PF_Err_NONE);
    ASSERT_EQ(pr.session.start(), PF_Err_NONE);
    World in8(2, 2, 8), out16(2, 2, 16), bgra(2, 2, 8, true), bgra2(2, 2, 8, true), empty;
    EXPECT_THROW(ae.session.render(in8, out16), std::invalid_argument);
    EXPECT_THROW(ae.session.render(bgra, bgra2), std::invalid_argument);
    EXPECT_THROW(pr.session.render(in8, in8), std::invalid_argument);
    EXPECT_THROW(ae.session.render(empty, in8), std::invalid_argument);
    EXPECT_EQ(pr.session.render(bgra, bgra2), PF_Err_NONE);
}

TEST(HostSession, FlattenResetupSetdownKeepTheBytes) {
    Fixture f(HostMode::AfterEffects);
    ASSERT_EQ(f.session.start(), PF_Err_NONE);
    World in(3, 3, 8), out(3, 3, 8);
    ASSERT_EQ(f.session.render(in, out), PF_Err_NONE);
    ASSERT_EQ(f.session.flatten(), PF_Err_NONE);
    const std::vector<uint8_t> flat = f.session.flatData();
    ASSERT_EQ(flat.size(), 12u);   // magic, setups, renders
    A_long fields[3];
    std::memcpy(fields, flat.data(), sizeof fields);
    EXPECT_EQ(fields[0], 0x53455121);
    EXPECT_EQ(fields[1], 1);
    EXPECT_EQ(fields[2], 1);
    EXPECT_EQ(f.session.records().flatSize, 12);
    ASSERT_EQ(f.session.resetup(), PF_Err_NONE);
    ASSERT_TRUE(f.session.hasSequenceData());
    EXPECT_EQ(f.session.sequenceDataSize(), 12u);
    ASSERT_EQ(f.session.flatten(), PF_Err_NONE);
    std::memcpy(fields, f.session.flatData().data(), sizeof fields);
    EXPECT_EQ(fields[1], 2);   // the plug-in saw its own bytes again
    EXPECT_EQ(f.session.liveHandles(), 2);   // global and sequence data
    EXPECT_EQ(f.session.sequenceSetdown(), PF_Err_NONE);
    EXPECT_FALSE(f.session.hasSequenceData());
    EXPECT_EQ(f.session.liveHandles(), 1);
    EXPECT_EQ(f.session.globalSetdown(), PF_Err_NONE);
    EXPECT_EQ(f.session.liveHandles(), 0);
}

TEST(HostSession, DialogAlertAboutAndPremiereDifferences) {
    Fixture ae(HostMode::AfterEffects);
    ASSERT_EQ(ae.session.start(), PF_Err_NONE);
    ae.plugin.setEffectText("the description");
    ASSERT_EQ(ae.session.doDialog(), PF_Err_NONE);
    const Records& r = ae.session.records();
    ASSERT_EQ(r.scripts.size(), 1u);
    EXPECT_EQ(r.scripts[0], "alert('Build log:\\nline \"2\"');");
    ASSERT_EQ(r.alerts.size(), 1u);
    EXPECT_EQ(r.alerts[0], "Build log:\nline \"2\"");
    EXPECT_EQ(ae.session.liveMemHandles(), 0);   // result handle freed by the effect
    std::string text;
    ASSERT_EQ(ae.session.about(text), PF_Err_NONE);
    EXPECT_EQ(text, "Host Test Effect 1.2\rthe description");

    Fixture pr(HostMode::Premiere);
    ASSERT_EQ(pr.session.start(), PF_Err_NONE);
    ASSERT_EQ(pr.session.doDialog(), PF_Err_NONE);
    EXPECT_TRUE(pr.session.records().scripts.empty());
    text = "stale";
    ASSERT_EQ(pr.session.about(text), PF_Err_NONE);
    EXPECT_EQ(text, "");
}

TEST(HostCallbacks, HandlesAreRealAndCounted) {
    Fixture f(HostMode::AfterEffects);
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
    EXPECT_EQ(static_cast<unsigned char*>(*h)[9], 7);   // contents kept
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

TEST(HostCallbacks, SuitesByNameAndVersion) {
    Fixture f(HostMode::AfterEffects);
    SPBasicSuite* sp = f.session.inData().pica_basicP;
    ASSERT_NE(sp, nullptr);
    struct Case { const char* name; A_long version; bool offered; };
    const Case cases[] = {
        {kPFPixelFormatSuite, 1, true}, {kPFHandleSuite, 1, true}, {kPFWorldSuite, 2, true},
        {kPFParamUtilsSuite, 3, true}, {kPFANSISuite, 1, true}, {kAEGPUtilitySuite, kAEGPUtilitySuiteVersion4, true},
        {kAEGPMemorySuite, 1, true}, {kAEGPPFInterfaceSuite, 1, true}, {kAEGPEffectSuite, 3, true},
        {kAEGPStreamSuite, kAEGPStreamSuiteVersion2, true}, {kAEGPDynamicStreamSuite, 2, true},
        {kPFWorldSuite, 1, false}, {"PF Fill Matte Suite", 1, false}, {"", 1, false}};
    for (const Case& c : cases) {
        const void* suite = reinterpret_cast<const void*>(1);
        const SPErr err = sp->AcquireSuite(c.name, c.version, &suite);
        if (c.offered) {
            EXPECT_EQ(err, kSPNoError) << c.name;
            EXPECT_NE(suite, nullptr) << c.name;
            EXPECT_EQ(sp->ReleaseSuite(c.name, c.version), kSPNoError);
        } else {
            EXPECT_EQ(err, kSPSuiteNotFoundError) << c.name;
            EXPECT_EQ(suite, nullptr) << c.name;
        }
    }
    // The world suite tells the format of host worlds and refuses others.
    const void* p = nullptr;
    ASSERT_EQ(sp->AcquireSuite(kPFWorldSuite, 2, &p), kSPNoError);
    auto* ws = static_cast<const PF_WorldSuite2*>(p);
    for (int depth : {8, 16, 32}) {
        World w(2, 2, depth);
        PF_EffectWorld copy = *w.def();   // effects pass copies around
        PF_PixelFormat fmt = 0;
        ASSERT_EQ(ws->PF_GetPixelFormat(&copy, &fmt), PF_Err_NONE);
        EXPECT_EQ(fmt, w.pixelFormat());
    }
    PF_EffectWorld stranger{};
    PF_PixelFormat fmt = 0;
    EXPECT_NE(ws->PF_GetPixelFormat(&stranger, &fmt), PF_Err_NONE);

    // Worlds asked for by format: padded rows, the format asked for, owned until disposed of.
    const PF_ProgPtr ref = f.session.inData().effect_ref;
    const PF_PixelFormat formats[] = {PF_PixelFormat_ARGB32, PF_PixelFormat_ARGB64, PF_PixelFormat_ARGB128};
    const int sizes[] = {4, 8, 16};
    for (int i = 0; i < 3; ++i) {
        PF_EffectWorld w{};
        ASSERT_EQ(ws->PF_NewWorld(ref, 5, 3, 1, formats[i], &w), PF_Err_NONE);
        ASSERT_NE(w.data, nullptr);
        EXPECT_GT(w.rowbytes, 5 * sizes[i]);
        ASSERT_EQ(ws->PF_GetPixelFormat(&w, &fmt), PF_Err_NONE);
        EXPECT_EQ(fmt, formats[i]);
        EXPECT_EQ(f.session.liveWorlds(), 1);
        ASSERT_EQ(ws->PF_DisposeWorld(ref, &w), PF_Err_NONE);
        EXPECT_EQ(f.session.liveWorlds(), 0);
        EXPECT_NE(ws->PF_DisposeWorld(ref, &w), PF_Err_NONE);   // twice is refused
    }
    PF_EffectWorld w{};
    EXPECT_NE(ws->PF_NewWorld(ref, 5, 3, 1, PF_PixelFormat_BGRA32, &w), PF_Err_NONE);
    EXPECT_NE(ws->PF_NewWorld(ref, 0, 3, 1, PF_PixelFormat_ARGB32, &w), PF_Err_NONE);
}

TEST(HostCallbacks, ScriptsKnowAlertOnly) {
    Fixture f(HostMode::AfterEffects);
    ASSERT_EQ(f.session.globalSetup(), PF_Err_NONE);
    AEGP_SuiteHandler suites(f.session.inData().pica_basicP);
    struct Case { const char* script; bool ok; std::vector<std::string> alerts; };
    const Case cases[] = {
        {"alert('a\"b\\\\c\\td');", true, {"a\"b\\c\td"}},
        {"alert(\"x\");  alert('y')", true, {"x", "y"}},
        {"alert('\\u00e9')", true, {"\xC3\xA9"}},
        {"app.quit();", false, {}},
        {"alert('open", false, {}},
        {"", false, {}},
    };
    for (const Case& c : cases) {
        AEGP_MemHandle result = nullptr, error = nullptr;
        const A_Err err = suites.UtilitySuite()->AEGP_ExecuteScript(0, c.script, 0, &result, &error);
        EXPECT_EQ(err == A_Err_NONE, c.ok) << c.script;
        if (c.ok) {
            ASSERT_NE(result, nullptr);
            EXPECT_EQ(error, nullptr);
        } else {
            ASSERT_NE(error, nullptr) << c.script;
            AEGP_MemSize size = 0;
            suites.MemorySuite()->AEGP_GetMemHandleSize(error, &size);
            EXPECT_GT(size, 1u);
        }
        if (result) suites.MemorySuite()->AEGP_FreeMemHandle(result);
        if (error) suites.MemorySuite()->AEGP_FreeMemHandle(error);
    }
}

TEST(HostCallbacks, MisuseIsRefusedAndRecorded) {
    Fixture f(HostMode::AfterEffects);
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
    f.session.finish();
}
