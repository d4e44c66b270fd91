// Whole sessions through the product's plug-in library, in both host modes.
// Skipped when the plug-in is not built in this tree.
#include "gl/EffectData.h"
#include "host/Host.h"

#include <gtest/gtest.h>

#include <fstream>

using namespace glfxhost;

namespace {

const HostMode kModes[] = {HostMode::AfterEffects, HostMode::Premiere};

std::string pluginPath() { return std::string(GLFX_BINARY_DIR) + "/glfxplugin.so"; }

// The host's own world for a frame: Premiere takes 8-bit BGRA only.
World worldFor(HostMode mode, int w, int h) { return World(w, h, 8, mode == HostMode::Premiere); }

} // namespace

#define REQUIRE_PLUGIN()                                                                                     \
    if (!std::ifstream(pluginPath()).good())                                                                 \
    GTEST_SKIP() << "glfxplugin.so is not built in this tree"

// Global setup, parameters, About, a render, saving and reopening the
// project, the setdowns; every handle and suite given back.
TEST(RealPlugin, WholeSessionPerHost)
{
    REQUIRE_PLUGIN();
    Plugin plugin(pluginPath());
    plugin.setEffectText("[settings]\nname=Host Check\ndescription=Checks the host.\nversion=2.5\n"
                         "[par1]\nname=Gain\nparam=gain\ntype=float\nmin=0\nmax=1\ndefault=0.5\n");
    for (HostMode mode : kModes) {
        SCOPED_TRACE(hostModeName(mode));
        const bool ae = mode == HostMode::AfterEffects;
        Session s(plugin, mode);
        ASSERT_EQ(s.start(), PF_Err_NONE);
        const Records& r = s.records();
        EXPECT_EQ(r.registeredNames.size(), ae ? 1u : 0u); // AEGP registration, After Effects only
        EXPECT_EQ(r.supportedFormats,
                  ae ? std::vector<PrPixelFormat>{} : std::vector<PrPixelFormat>{PrPixelFormat_BGRA_4444_8u});
        std::string about = "unchanged";
        ASSERT_EQ(s.about(about), PF_Err_NONE);
        EXPECT_EQ(about, ae ? "Host Check 2.5\rChecks the host." : "");

        World in = worldFor(mode, 4, 4), out = worldFor(mode, 4, 4);
        ASSERT_EQ(s.render(in, out), PF_Err_NONE);
        ASSERT_EQ(s.flatten(), PF_Err_NONE);
        ASSERT_EQ(s.flatData().size(), sizeof(EffectData));
        // Reopened: the host hands the saved bytes back, and they save again unchanged.
        const std::vector<uint8_t> saved = s.flatData();
        ASSERT_EQ(s.resetup(), PF_Err_NONE);
        EXPECT_EQ(s.sequenceDataSize(), sizeof(EffectData));
        ASSERT_EQ(s.flatten(), PF_Err_NONE);
        EXPECT_TRUE(s.flatData() == saved);
        EXPECT_EQ(s.sequenceSetdown(), PF_Err_NONE);
        EXPECT_FALSE(s.hasSequenceData());
        EXPECT_EQ(s.globalSetdown(), PF_Err_NONE);
        EXPECT_EQ(s.liveHandles() + s.liveMemHandles(), 0);
        for (const auto& a : r.suiteAcquires)
            EXPECT_EQ(r.suiteReleases.at(a.first), a.second) << a.first;
        EXPECT_TRUE(r.problems.empty()) << r.problems.front();
    }
}

// A layer parameter two frames later, rendered at 1 s (30000 in a 30000
// time scale, 1000 a frame): smart pre-render checks out the input now and
// the layer later; Premiere's classic render checks out only the parameter.
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
        World in = worldFor(mode, 8, 8), other = worldFor(mode, 8, 8), out = worldFor(mode, 8, 8);
        s.setLayer(1, &other);
        ASSERT_EQ(s.render(in, out, 1.0), PF_Err_NONE);
        const Records& r = s.records();
        std::vector<std::pair<int, A_long>> layers, params;
        for (const auto& c : r.layerCheckouts)
            layers.emplace_back(c.index, c.time);
        for (const auto& c : r.paramCheckouts)
            params.emplace_back(c.index, c.time);
        EXPECT_EQ(layers, (mode == HostMode::AfterEffects
                               ? std::vector<std::pair<int, A_long>>{{0, 30000}, {1, 32000}}
                               : std::vector<std::pair<int, A_long>>{}));
        EXPECT_EQ(params, (std::vector<std::pair<int, A_long>>{{1, 32000}}));
        EXPECT_EQ(r.paramCheckins, 1);
        EXPECT_EQ(s.finish(), PF_Err_NONE);
        EXPECT_TRUE(r.problems.empty()) << r.problems.front();
    }
}

// A preset popup changed by the user: the plug-in writes the preset's values
// back with the changed flag and the host takes them over in its own units
// (a point preset is a fraction of the rendered layer size).
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
    World in(40, 20, 8), out(40, 20, 8);
    ASSERT_EQ(s.render(in, out, 0.0), PF_Err_NONE);
    EXPECT_EQ(s.value(3).u.td.x_value, 20 * 65536); // 50 % of 40 pixels
    for (const int item : {2, 1}) {                 // "Warm" is preset 1; "Plain" has none: nothing changes
        s.setPopup(1, item);
        ASSERT_EQ(s.userChangedParam(1), PF_Err_NONE);
        EXPECT_DOUBLE_EQ(s.value(2).u.fs_d.value, 0.75f);
        EXPECT_EQ(s.value(3).u.td.x_value, 10 * 65536); // 0.25 x 40
        EXPECT_EQ(s.value(3).u.td.y_value, 10 * 65536); // 0.5 x 20
        EXPECT_EQ(s.value(1).u.pd.value, item);
    }
    EXPECT_EQ(s.finish(), PF_Err_NONE);
    EXPECT_TRUE(s.records().problems.empty()) << s.records().problems.front();
}
