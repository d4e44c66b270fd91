// Whole sessions through the product's plug-in library, in both host modes.
// Skipped when the plug-in is not built in this tree.
#include "gl/EffectData.h"
#include "host/Host.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <fstream>
#include <sstream>

using namespace glfxhost;

namespace {

const HostMode kModes[] = {HostMode::AfterEffects, HostMode::Premiere};

std::string pluginPath() { return std::string(GLFX_BINARY_DIR) + "/glfxplugin.so"; }

std::string effectFile(const char* name)
{
    std::ifstream f(std::string(GLFX_SOURCE_DIR) + "/effects/" + name);
    std::stringstream s;
    s << f.rdbuf();
    return s.str();
}

// The host's own world for a frame: Premiere takes 8-bit BGRA only.
World worldFor(HostMode mode, int w, int h) { return World(w, h, 8, mode == HostMode::Premiere); }

bool hasProblem(const Session& s, const std::string& part)
{
    for (const std::string& p : s.records().problems)
        if (p.find(part) != std::string::npos)
            return true;
    return false;
}

} // namespace

#define REQUIRE_PLUGIN()                                                                                     \
    if (!std::ifstream(pluginPath()).good())                                                                 \
    GTEST_SKIP() << "glfxplugin.so is not built in this tree"

// A whole session in each host: global setup, parameters, About, a render,
// saving and reopening the project, and the setdowns.
TEST(RealPlugin, WholeSessionPerHost)
{
    REQUIRE_PLUGIN();
    Plugin plugin(pluginPath());
    ASSERT_TRUE(plugin.hasEffectTextSymbol());
    plugin.setEffectText("[settings]\nname=Host Check\ndescription=Checks the host.\nversion=2.5\n"
                         "[par1]\nname=Gain\nparam=gain\ntype=float\nmin=0\nmax=1\ndefault=0.5\n");
    for (HostMode mode : kModes) {
        SCOPED_TRACE(hostModeName(mode));
        Session s(plugin, mode);
        ASSERT_EQ(s.start(), PF_Err_NONE);
        const Records& r = s.records();
        EXPECT_EQ(r.version, 0x100001u); // 2.0, develop stage, build 1
        EXPECT_TRUE(s.hasGlobalData());
        // Wide time input, non-param vary, dialog, deep colour, update params UI;
        // group start collapsed flag, smart render, float colour, no clone.
        if (mode == HostMode::AfterEffects) {
            EXPECT_EQ(r.outFlags, 0x6000026);
            EXPECT_EQ(r.outFlags2, 0x9408);
            EXPECT_EQ(r.registeredNames, std::vector<std::string>{"Morvanta Cinema Plugin"});
            EXPECT_TRUE(r.supportedFormats.empty());
        } else {
            EXPECT_EQ(r.outFlags, 0x6000026 & ~PF_OutFlag_DEEP_COLOR_AWARE);
            EXPECT_EQ(r.outFlags2, 0x9408 & ~PF_OutFlag2_FLOAT_COLOR_AWARE);
            EXPECT_TRUE(r.registeredNames.empty());
            EXPECT_GE(r.formatClears, 1);
            EXPECT_EQ(r.supportedFormats, std::vector<PrPixelFormat>{PrPixelFormat_BGRA_4444_8u});
        }
        ASSERT_EQ(s.added().size(), 1u);
        std::string about = "unchanged";
        ASSERT_EQ(s.about(about), PF_Err_NONE);
        EXPECT_EQ(about, mode == HostMode::Premiere ? "" : "Host Check 2.5\rChecks the host.");

        // A rendered instance holds a GPU context; flattening releases it.
        World in = worldFor(mode, 4, 4), out = worldFor(mode, 4, 4);
        ASSERT_EQ(s.render(in, out), PF_Err_NONE);
        ASSERT_EQ(s.sequenceDataSize(), sizeof(EffectData));
        ASSERT_EQ(s.flatten(), PF_Err_NONE);
        ASSERT_EQ(s.flatData().size(), sizeof(EffectData));
        EffectData flat;
        std::memcpy(static_cast<void*>(&flat), s.flatData().data(), sizeof flat);
        EXPECT_EQ(flat.glContext, nullptr);
        EXPECT_EQ(flat.isPremiere, mode == HostMode::Premiere);
        EXPECT_EQ(flat.values[1][0], 0.5f); // the gain as the render saw it
        // Reopened: the host hands the saved bytes back, and they are saved again unchanged.
        const std::vector<uint8_t> saved = s.flatData();
        ASSERT_EQ(s.resetup(), PF_Err_NONE);
        EXPECT_EQ(s.sequenceDataSize(), sizeof(EffectData));
        ASSERT_EQ(s.flatten(), PF_Err_NONE);
        EXPECT_TRUE(s.flatData() == saved);

        EXPECT_EQ(s.sequenceSetdown(), PF_Err_NONE);
        EXPECT_FALSE(s.hasSequenceData());
        EXPECT_EQ(s.globalSetdown(), PF_Err_NONE);
        EXPECT_EQ(s.liveHandles(), 0);
        EXPECT_EQ(s.liveMemHandles(), 0);
        // Every suite the effect took it gave back.
        for (const auto& a : r.suiteAcquires)
            EXPECT_EQ(r.suiteReleases.at(a.first), a.second) << a.first;
        EXPECT_TRUE(r.problems.empty()) << r.problems.front();
    }
}

TEST(RealPlugin, ParameterDefinitionsFromADescription)
{
    REQUIRE_PLUGIN();
    Plugin plugin(pluginPath());
    plugin.setEffectText("[settings]\nname=Host Check\n"
                         "[par1]\nname=Gain\nparam=gain\ntype=float\nmin=0\nmax=1\ntext=0|100\ndefault=0.5\n"
                         "[par2]\nname=Flip\nparam=flip\ntype=check\ndefault=true\ntext=flip it\n"
                         "[par3]\nname=Mode\nparam=mode\ntype=popup\npopup=A|B|C|D\ndefault=7\n"
                         "[par4]\nname=Tint\nparam=tint\ntype=color\ndefault=1|0.5|0\n"
                         "[par5]\nname=Turn\nparam=turn\ntype=angle\ndefault=45.9\n"
                         "[par6]\nname=Centre\nparam=centre\ntype=point\ndefault=150|0.5\n"
                         "[par7]\nname=Nothing\nparam=nothing\ntype=none\n"
                         "[par8]\nname=Group\nparam=grp\ntype=topic_start\nflags=1\n"
                         "[par9]\nname=End\nparam=grpend\ntype=topic_end\n");
    Session s(plugin, HostMode::AfterEffects);
    ASSERT_EQ(s.globalSetup(), PF_Err_NONE);
    ASSERT_EQ(s.paramsSetup(), PF_Err_NONE);
    const auto& a = s.added();
    ASSERT_EQ(a.size(), 8u); // "none" adds nothing
    // The count is what was added plus the input: the host sees no mismatch.
    EXPECT_EQ(s.records().numParams, 9);
    EXPECT_FALSE(hasProblem(s, "num_params is"));
    const struct {
        const char* name;
        PF_ParamType type;
        A_long id;
    } want[] = {{"Gain", PF_Param_FLOAT_SLIDER, 2}, {"Flip", PF_Param_CHECKBOX, 3},
                {"Mode", PF_Param_POPUP, 4},        {"Tint", PF_Param_COLOR, 5},
                {"Turn", PF_Param_ANGLE, 6},        {"Centre", PF_Param_POINT, 7},
                {"Group", PF_Param_GROUP_START, 9}, {"", PF_Param_GROUP_END, 10}};
    for (size_t i = 0; i < a.size(); ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(a[i].name, want[i].name);
        EXPECT_EQ(a[i].def.param_type, want[i].type);
        EXPECT_EQ(a[i].def.uu.id, want[i].id); // ids stay description index + 1 across the gap
    }
    const PF_FloatSliderDef& g = a[0].def.u.fs_d;
    EXPECT_EQ(g.value, 0.5);
    EXPECT_EQ(g.slider_min, 0.0f);
    EXPECT_EQ(g.slider_max, 1.0f);
    EXPECT_EQ(g.valid_min, 0.0f);
    EXPECT_EQ(g.valid_max, 100.0f);
    EXPECT_EQ(g.precision, 2);
    EXPECT_EQ(a[1].def.u.bd.value, 1);
    EXPECT_EQ(a[1].def.flags & PF_ParamFlag_SUPERVISE, PF_ParamFlag_SUPERVISE);
    EXPECT_EQ(a[1].choices, "flip it");
    EXPECT_EQ(a[2].def.u.pd.num_choices, 4);
    EXPECT_EQ(a[2].def.u.pd.dephault, 4); // default 7 limited to the highest item (3), counted from 1
    EXPECT_EQ(a[2].choices, "A|B|C|D");
    EXPECT_EQ(a[3].def.u.cd.value.red, 255);
    EXPECT_EQ(a[3].def.u.cd.value.green, 127); // 0.5 × 255 truncated
    EXPECT_EQ(a[3].def.u.cd.value.blue, 0);
    EXPECT_EQ(a[3].def.u.cd.value.alpha, 255);
    EXPECT_EQ(a[4].def.u.ad.value, 45 * 65536);
    EXPECT_EQ(a[5].def.u.td.x_value, 10000 * 65536); // 15000 percent-hundredths clamped
    EXPECT_EQ(a[5].def.u.td.y_value, 50 * 65536);
    EXPECT_EQ(a[6].def.flags & PF_ParamFlag_START_COLLAPSED, 0); // flags 1: starts open
    // Host units: the point becomes layer pixels once the layer size is known.
    s.setLayerSize(64, 40);
    EXPECT_EQ(s.value(6).u.td.y_value, 20 * 65536);   // 50 % of 40
    EXPECT_EQ(s.value(6).u.td.x_value, 6400 * 65536); // 10000 % of 64
    EXPECT_EQ(s.finish(), PF_Err_NONE);
}

// The pass-through effect at every host depth, through padded worlds. With
// nearest sampling the frame must come back exactly (8-bit values survive
// the trip to float and back); with linear sampling the driver's texture
// coordinates may blend a neighbour in by a few millionths, which the 8-bit
// truncation can turn into one step, so one step is allowed there.
TEST(RealPlugin, PassThroughAtEveryDepth)
{
    REQUIRE_PLUGIN();
    const std::string text = effectFile("passthrough.glfx");
    ASSERT_NE(text.find("[settings]"), std::string::npos);
    // Fast: the shaders take the host's own pixel order, which a pass-through keeps.
    struct Case {
        HostMode mode;
        int depth;
        bool nearest, fast;
        float tolerance;
    };
    const HostMode ae = HostMode::AfterEffects, pr = HostMode::Premiere;
    const Case cases[] = {{ae, 8, true, false, 0.0f},
                          {ae, 16, true, false, 0.0f},
                          {ae, 32, true, false, 0.0f},
                          {pr, 8, true, false, 0.0f},
                          {ae, 8, true, true, 0.0f},
                          {ae, 16, true, true, 0.0f},
                          {ae, 32, true, true, 0.0f},
                          {pr, 8, true, true, 0.0f},
                          {ae, 8, false, false, 1.0f / 255 + 1e-6f},
                          {ae, 16, false, false, 2.0f / 32768},
                          {ae, 32, false, false, 1e-5f}};
    for (const Case& c : cases) {
        SCOPED_TRACE(std::to_string(c.depth) + " " + hostModeName(c.mode) +
                     (c.nearest ? " nearest" : " linear") + (c.fast ? " fast" : ""));
        Plugin plugin(pluginPath());
        // The file ends in its settings section, so keys appended land there.
        plugin.setEffectText(text + (c.nearest ? "\ninterp=0\n" : "\ninterp=1\n") +
                             (c.fast ? "fast=1\n" : ""));
        Session s(plugin, c.mode);
        ASSERT_EQ(s.start(), PF_Err_NONE);
        const int w = 37, h = 23;
        const bool bgra = c.mode == HostMode::Premiere;
        World in(w, h, c.depth, bgra, c.depth == 32 ? 32 : 12 * (c.depth / 8)), out(w, h, c.depth, bgra);
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x) {
                const float px[4] = {((x * 7 + y) % 256) / 255.0f, (y * 11 % 256) / 255.0f,
                                     ((x + y) % 2) * 1.0f, ((x * 3) % 256) / 255.0f};
                in.setPixel(x, y, px);
            }
        ASSERT_EQ(s.render(in, out, 0.0), PF_Err_NONE);
        int bad = 0;
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x) {
                float a[4], b[4];
                in.getPixel(x, y, a);
                out.getPixel(x, y, b);
                for (int k = 0; k < 4; ++k)
                    if (!(std::fabs(a[k] - b[k]) <= c.tolerance) && bad++ < 5)
                        ADD_FAILURE() << "pixel " << x << "," << y << " channel " << k << ": " << a[k]
                                      << " -> " << b[k];
            }
        EXPECT_EQ(bad, 0);
        EXPECT_TRUE(out.paddingIntact());
        EXPECT_EQ(s.finish(), PF_Err_NONE);
        EXPECT_EQ(s.liveHandles(), 0);
        EXPECT_TRUE(s.records().problems.empty()) << s.records().problems.front();
    }
}

// A layer parameter with a time offset of two frames, rendered at 1 s (30000
// in a 30000 time scale, 1000 a frame): smart pre-render checks out the input
// now and the layer later; the classic render of Premiere checks out no
// layers, only the parameter.
TEST(RealPlugin, LayerParameterCheckedOutLaterByItsOffset)
{
    REQUIRE_PLUGIN();
    Plugin plugin(pluginPath());
    plugin.setEffectText(
        "[settings]\nname=Two Layers\n[par1]\nname=Other\nparam=other\ntype=layer\ntime=2\n");
    for (HostMode mode : kModes) {
        SCOPED_TRACE(hostModeName(mode));
        Session s(plugin, mode);
        ASSERT_EQ(s.start(), PF_Err_NONE);
        ASSERT_EQ(s.added().size(), 1u);
        World in = worldFor(mode, 8, 8), other = worldFor(mode, 8, 8), out = worldFor(mode, 8, 8);
        s.setLayer(1, &other);
        ASSERT_EQ(s.render(in, out, 1.0), PF_Err_NONE);
        const A_long now = 30000, later = 30000 + 2 * 1000;
        const Records& r = s.records();
        if (mode == HostMode::AfterEffects) {
            ASSERT_EQ(r.layerCheckouts.size(), 2u);
            EXPECT_EQ(r.layerCheckouts[0].index, 0);
            EXPECT_EQ(r.layerCheckouts[0].time, now);
            EXPECT_EQ(r.layerCheckouts[1].index, 1);
            EXPECT_EQ(r.layerCheckouts[1].time, later);
        } else {
            EXPECT_TRUE(r.layerCheckouts.empty());
        }
        ASSERT_EQ(r.paramCheckouts.size(), 1u);
        EXPECT_EQ(r.paramCheckouts[0].index, 1);
        EXPECT_EQ(r.paramCheckouts[0].time, later);
        EXPECT_EQ(r.paramCheckins, 1);
        EXPECT_EQ(s.finish(), PF_Err_NONE);
        EXPECT_TRUE(r.problems.empty()) << r.problems.front();
    }
}

TEST(RealPlugin, DialogShowsTheBuildLogOfABrokenShader)
{
    REQUIRE_PLUGIN();
    Plugin plugin(pluginPath());
    plugin.setEffectText("[settings]\nname=Broken\n[ps0]\nvoid main() { this is not glsl; }\n");
    Session s(plugin, HostMode::AfterEffects);
    ASSERT_EQ(s.start(), PF_Err_NONE);
    ASSERT_EQ(s.doDialog(), PF_Err_NONE); // before any render: nothing to rebuild
    EXPECT_TRUE(s.records().scripts.empty());
    World in(4, 4, 8), out(4, 4, 8);
    s.render(in, out, 0.0);
    ASSERT_EQ(s.doDialog(), PF_Err_NONE);
    const Records& r = s.records();
    ASSERT_EQ(r.scripts.size(), 1u);
    const std::string& script = r.scripts[0];
    EXPECT_EQ(script.rfind("alert('", 0), 0u) << script;
    EXPECT_EQ(script.substr(script.size() - 3), "');");
    EXPECT_EQ(script.find('\n'), std::string::npos); // line breaks arrive escaped
    ASSERT_EQ(r.alerts.size(), 1u);
    EXPECT_FALSE(r.alerts[0].empty());
    EXPECT_EQ(s.liveMemHandles(), 0);
}

// A preset popup changed by the user: the plug-in writes the preset's values
// into the parameter array with the changed flag and the host takes them over
// in its own units (a point preset is a fraction of the rendered layer size).
TEST(RealPlugin, UserChangeTakesOverPresetValues)
{
    REQUIRE_PLUGIN();
    Plugin plugin(pluginPath());
    plugin.setEffectText("[settings]\nname=Presets\n"
                         "[par1]\nname=Look\nparam=look\ntype=popup\npopup=Plain|Warm\nflags=3\n"
                         "[par2]\nname=Amount\nparam=amount\ntype=float\nmin=0\nmax=1\ndefault=0.2\n"
                         "[par3]\nname=Spot\nparam=spot\ntype=point\ndefault=0.5|0.5\n"
                         "[preset_look_1]\namount=0.75\nspot=0.25|0.5\n");
    Session s(plugin, HostMode::AfterEffects);
    ASSERT_EQ(s.start(), PF_Err_NONE);
    ASSERT_EQ(s.added().size(), 3u);
    World in(40, 20, 8), out(40, 20, 8);
    ASSERT_EQ(s.render(in, out, 0.0), PF_Err_NONE);
    EXPECT_EQ(s.value(3).u.td.x_value, 20 * 65536); // 50 % of 40 pixels
    EXPECT_EQ(s.value(3).u.td.y_value, 10 * 65536);
    s.setPopup(1, 2); // "Warm": preset number 1
    ASSERT_EQ(s.userChangedParam(1), PF_Err_NONE);
    EXPECT_DOUBLE_EQ(s.value(2).u.fs_d.value, 0.75f);
    EXPECT_EQ(s.value(3).u.td.x_value, 10 * 65536); // 0.25 × 40
    EXPECT_EQ(s.value(3).u.td.y_value, 10 * 65536); // 0.5 × 20
    EXPECT_EQ(s.value(1).u.pd.value, 2);
    EXPECT_EQ(s.records().commands.back().outFlags, PF_OutFlag_REFRESH_UI | PF_OutFlag_FORCE_RERENDER);
    s.setPopup(1, 1); // no preset for "Plain": nothing changes
    ASSERT_EQ(s.userChangedParam(1), PF_Err_NONE);
    EXPECT_DOUBLE_EQ(s.value(2).u.fs_d.value, 0.75f);
    EXPECT_EQ(s.finish(), PF_Err_NONE);
    EXPECT_TRUE(s.records().problems.empty()) << s.records().problems.front();
}
