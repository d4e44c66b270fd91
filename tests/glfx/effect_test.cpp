// The built-in effect and the examples parse into what they are meant to be.
#include "glfx/cglfx.h"
#include "glfx/text.h"

#include <gtest/gtest.h>

#include <memory>
#include <set>
#include <string>
#include <vector>

namespace {

std::unique_ptr<cglfx> loadEffect(const std::string& name)
{
    std::string text = loadFile(std::string(GLFX_SOURCE_DIR) + "/effects/" + name);
    EXPECT_FALSE(text.empty()) << name;
    auto fx = std::make_unique<cglfx>();
    fx->parse(text);
    return fx;
}

const cglfx& builtin()
{
    static const std::unique_ptr<cglfx> fx = loadEffect("cinematic.glfx");
    return *fx;
}

// The parameter with this uniform name (a failure and parameter 0 when there
// is none).
const glfxpar& par(const std::string& uniform, int* index = nullptr)
{
    const cglfx& fx = builtin();
    for (int i = 1; i < fx.settings.params; ++i)
        if (fx.par[i].uniform == uniform) {
            if (index)
                *index = i;
            return fx.par[i];
        }
    ADD_FAILURE() << "no parameter " << uniform;
    return fx.par[0];
}

TEST(BuiltinEffect, SettingsPassesAndRouting)
{
    const cglfx& fx = builtin();
    EXPECT_EQ(fx.settings.name, "Cinematic");
    EXPECT_EQ(fx.settings.shaders, 4);
    EXPECT_EQ(fx.settings.layerCount, 2);
    for (int p = 0; p < 4; ++p) {
        EXPECT_NE(fx.passSource(p).find("void main()"), std::string::npos) << p;
        EXPECT_EQ(fx.passSource(p).find("#version"), std::string::npos) << p;
        EXPECT_EQ(fx.passSource(p).find("@@"), std::string::npos) << p;
    }
    // Pass 2 runs the blur program of pass 1, told apart by shadernum.
    EXPECT_EQ(fx.passSource(2), fx.passSource(1));
    EXPECT_NE(fx.passSource(1).find("shadernum"), std::string::npos);

    // The bright pass reads the input (and the dirt layer, as every layer
    // reaches pass 0); blur across reads the bright pass, blur down reads
    // blur across; the composite reads the input, the blurred bloom, the dirt
    // layer and the bright pass. Nothing after.
    const std::vector<int> expected[4] = {{-1, -2, 999}, {0, 999}, {1, 999}, {-1, 2, -2, 0, 999}};
    for (int p = 0; p < 4; ++p)
        for (std::size_t i = 0; i < expected[p].size(); ++i)
            EXPECT_EQ(fx.settings.routing[p][i], expected[p][i]) << "pass " << p << " input " << i;
}

TEST(BuiltinEffect, EveryParameterTypeIsUsedInBalancedGroups)
{
    const cglfx& fx = builtin();
    std::set<int> types;
    int topicDepth = 0;
    for (int i = 1; i < fx.settings.params; ++i) {
        const glfxpar& p = fx.par[i];
        types.insert(p.type);
        EXPECT_LE(p.name.size(), 31u) << p.name;
        topicDepth += (p.type == GLFX_TOPIC_START) - (p.type == GLFX_TOPIC_END);
        EXPECT_GE(topicDepth, 0) << i;
    }
    EXPECT_EQ(topicDepth, 0);
    for (int t : {GLFX_INT, GLFX_CHECK, GLFX_POPUP, GLFX_LAYER, GLFX_FLOAT, GLFX_COLOR, GLFX_ANGLE,
                  GLFX_POINT, GLFX_TOPIC_START, GLFX_TOPIC_END, GLFX_FLOAT2})
        EXPECT_TRUE(types.count(t)) << "type " << t;
    // The float2 pair: the parameter after it is a float slider.
    int ab = 0;
    EXPECT_EQ(par("aberration", &ab).type, GLFX_FLOAT2);
    EXPECT_EQ(fx.par[ab + 1].type, GLFX_FLOAT);
}

TEST(BuiltinEffect, DefinesSwitchesAndPresets)
{
    const cglfx& fx = builtin();
    // Checkboxes that define and switch groups; the parameters they switch
    // sit in their "on" groups.
    EXPECT_EQ(par("bloom").type, GLFX_CHECK);
    EXPECT_EQ(par("bloom").flags, 1);
    EXPECT_EQ(par("bloom").group[0], -10);
    EXPECT_EQ(par("grain").flags, 1);
    EXPECT_EQ(par("grain").group[0], -20);
    EXPECT_EQ(par("threshold").group[0], 11);
    EXPECT_EQ(par("dirt").group[0], 11);
    EXPECT_EQ(par("grainAmount").group[0], 21);

    // The tone map popup defines its item's text, a GLSL function name.
    const glfxpar& tonemap = par("tonemap");
    EXPECT_EQ(tonemap.type, GLFX_POPUP);
    EXPECT_EQ(tonemap.flags, 2);
    EXPECT_EQ(tonemap.components, 0);
    ASSERT_EQ(tonemap.items.size(), 3u);
    for (const std::string& item : tonemap.items)
        EXPECT_NE(fx.passSource(3).find("vec3 " + item + "(vec3 c)"), std::string::npos) << item;
    for (const char* define : {"_bloom", "_grain", "_tonemap"})
        EXPECT_NE(fx.passSource(3).find(std::string("#ifndef ") + define), std::string::npos) << define;

    // One preset per look, each setting the temperature.
    int look = 0, temperature = 0;
    EXPECT_EQ(par("look", &look).flags, 3);
    par("temperature", &temperature);
    ASSERT_EQ(fx.par[look].items.size(), 5u);
    EXPECT_EQ(fx.settings.presets.size(), 5u);
    for (int n = 0; n < 5; ++n) {
        auto it = fx.settings.presets.find({look, n});
        ASSERT_NE(it, fx.settings.presets.end()) << n;
        EXPECT_TRUE(it->second.values.count(temperature)) << n;
    }
}

TEST(ExampleEffects, Parse)
{
    auto pass = loadEffect("passthrough.glfx");
    EXPECT_EQ(pass->settings.name, "Pass Through");
    EXPECT_EQ(pass->settings.params, 0);
    EXPECT_NE(pass->passSource(0).find("texture2D(in0"), std::string::npos);

    auto inv = loadEffect("invert.glfx");
    EXPECT_EQ(inv->settings.params, 2);
    EXPECT_EQ(inv->par[1].uniform, "amount");
    EXPECT_EQ(inv->par[1].type, GLFX_FLOAT);
    EXPECT_FLOAT_EQ(inv->par[1].def[0], 1.f);
}

} // namespace
