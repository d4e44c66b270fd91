// The built-in effect and the examples parse into what they are meant to be.
#include "glfx/cglfx.h"
#include "glfx/text.h"

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <set>
#include <string>

namespace {

std::unique_ptr<cglfx> loadEffect(const std::string& name)
{
    std::string text = loadFile(std::string(GLFX_SOURCE_DIR) + "/effects/" + name);
    EXPECT_FALSE(text.empty()) << name;
    auto fx = std::make_unique<cglfx>();
    fx->parse(text);
    return fx;
}

int indexOf(const cglfx& fx, const std::string& uniform)
{
    for (int i = 0; i < fx.settings.params; ++i)
        if (fx.par[i].uniform == uniform)
            return i;
    return -1;
}

TEST(BuiltinEffect, SettingsAndPasses)
{
    auto fx = loadEffect("cinematic.glfx");
    EXPECT_EQ(fx->settings.name, "Cinematic");
    EXPECT_EQ(fx->settings.shaders, 4);
    EXPECT_EQ(fx->settings.layerCount, 2);
    for (int p = 0; p < 4; ++p) {
        EXPECT_NE(fx->passSource(p).find("void main()"), std::string::npos) << p;
        EXPECT_EQ(fx->passSource(p).find("#version"), std::string::npos) << p;
        EXPECT_EQ(fx->passSource(p).find("@@"), std::string::npos) << p;
    }
    // Pass 2 runs the blur program of pass 1.
    EXPECT_EQ(fx->passSource(2), fx->passSource(1));
    EXPECT_NE(fx->passSource(1).find("shadernum"), std::string::npos);
}

TEST(BuiltinEffect, EveryParameterTypeIsUsed)
{
    auto fx = loadEffect("cinematic.glfx");
    std::set<int> types;
    int topicDepth = 0;
    for (int i = 1; i < fx->settings.params; ++i) {
        const glfxpar& p = fx->par[i];
        types.insert(p.type);
        EXPECT_LE(p.name.size(), 31u) << p.name;
        if (p.type == GLFX_TOPIC_START)
            ++topicDepth;
        if (p.type == GLFX_TOPIC_END)
            --topicDepth;
        EXPECT_GE(topicDepth, 0) << i;
    }
    EXPECT_EQ(topicDepth, 0);
    for (int t : {GLFX_INT, GLFX_CHECK, GLFX_POPUP, GLFX_LAYER, GLFX_FLOAT, GLFX_COLOR, GLFX_ANGLE,
                  GLFX_POINT, GLFX_TOPIC_START, GLFX_TOPIC_END, GLFX_FLOAT2})
        EXPECT_TRUE(types.count(t)) << "type " << t;
    // The float2 pair: the parameter after it is a float slider.
    const int ab = indexOf(*fx, "aberration");
    ASSERT_GT(ab, 0);
    EXPECT_EQ(fx->par[ab].type, GLFX_FLOAT2);
    EXPECT_EQ(fx->par[ab + 1].type, GLFX_FLOAT);
}

TEST(BuiltinEffect, DefinesSwitchesAndPresets)
{
    auto fx = loadEffect("cinematic.glfx");
    const int bloom = indexOf(*fx, "bloom");
    const int grain = indexOf(*fx, "grain");
    const int tonemap = indexOf(*fx, "tonemap");
    const int look = indexOf(*fx, "look");
    ASSERT_GT(bloom, 0);
    ASSERT_GT(grain, 0);
    ASSERT_GT(tonemap, 0);
    ASSERT_GT(look, 0);

    EXPECT_EQ(fx->par[bloom].type, GLFX_CHECK);
    EXPECT_EQ(fx->par[bloom].flags, 1);
    EXPECT_EQ(fx->par[bloom].group[0], -10);
    EXPECT_EQ(fx->par[grain].flags, 1);
    EXPECT_EQ(fx->par[grain].group[0], -20);
    // Parameters switched by the bloom checkbox sit in its "on" group 11.
    EXPECT_EQ(fx->par[indexOf(*fx, "threshold")].group[0], 11);
    EXPECT_EQ(fx->par[indexOf(*fx, "dirt")].group[0], 11);
    EXPECT_EQ(fx->par[indexOf(*fx, "grainAmount")].group[0], 21);

    EXPECT_EQ(fx->par[tonemap].type, GLFX_POPUP);
    EXPECT_EQ(fx->par[tonemap].flags, 2);
    EXPECT_EQ(fx->par[tonemap].components, 0);
    ASSERT_EQ(fx->par[tonemap].items.size(), 3u);
    for (const std::string& item : fx->par[tonemap].items)  // items are GLSL function names
        EXPECT_NE(fx->passSource(3).find("vec3 " + item + "(vec3 c)"), std::string::npos) << item;
    for (const char* define : {"_bloom", "_grain", "_tonemap"})
        EXPECT_NE(fx->passSource(3).find(std::string("#ifndef ") + define), std::string::npos) << define;

    EXPECT_EQ(fx->par[look].flags, 3);
    const int looks = static_cast<int>(fx->par[look].items.size());
    EXPECT_EQ(looks, 5);
    const int temperature = indexOf(*fx, "temperature");
    for (int n = 0; n < looks; ++n) {
        auto it = fx->settings.presets.find({look, n});
        ASSERT_NE(it, fx->settings.presets.end()) << n;
        EXPECT_TRUE(it->second.values.count(temperature)) << n;
    }
    EXPECT_EQ(fx->settings.presets.size(), static_cast<std::size_t>(looks));
}

TEST(BuiltinEffect, Routing)
{
    auto fx = loadEffect("cinematic.glfx");
    const auto& r = fx->settings.routing;
    EXPECT_EQ(r[0][0], -1);
    EXPECT_EQ(r[1][0], 0);   // blur across reads the bright pass
    EXPECT_EQ(r[2][0], 1);   // blur down reads blur across
    EXPECT_EQ(r[3][0], -1);  // composite: input layer,
    EXPECT_EQ(r[3][1], 2);   // the blurred bloom,
    EXPECT_EQ(r[3][2], -2);  // the lens dirt layer,
    EXPECT_EQ(r[3][3], 0);   // and the bright pass
    EXPECT_EQ(r[3][4], 999);
    // Each pass reads only passes that ran before it.
    for (int p = 0; p < fx->settings.shaders; ++p)
        for (int i = 0; i < 32 && r[p][i] != 999; ++i) {
            if (r[p][i] >= 0) {
                EXPECT_LT(r[p][i], p) << "pass " << p << " input " << i;
            }
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

}  // namespace
