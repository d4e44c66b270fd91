// The built-in effect and the examples parse into what they are meant to be.
#include "glfx/Cglfx.h"
#include "glfx/Text.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

namespace {

cglfx loadEffect(const std::string& name)
{
    std::string text = loadFile(std::string(GLFX_SOURCE_DIR) + "/effects/" + name);
    EXPECT_FALSE(text.empty()) << name;
    cglfx fx;
    fx.parse(text);
    return fx;
}

// The index of the parameter with this uniform name (0 and a failure when none).
int indexOf(const cglfx& fx, const std::string& uniform)
{
    for (int i = 1; i < fx.settings.params; ++i)
        if (fx.par[i].uniform == uniform)
            return i;
    ADD_FAILURE() << "no parameter " << uniform;
    return 0;
}

TEST(BuiltinEffect, PassesRoutingParametersAndPresets)
{
    const cglfx fx = loadEffect("cinematic.glfx");
    EXPECT_EQ(fx.settings.name, "Cinematic");
    ASSERT_EQ(fx.settings.shaders, 4);
    EXPECT_EQ(fx.settings.layerCount, 2);
    // Pass 2 runs the blur program of pass 1, told apart by shadernum.
    EXPECT_EQ(fx.passSource(2), fx.passSource(1));
    EXPECT_NE(fx.passSource(1).find("shadernum"), std::string::npos);
    // Bright pass: input and dirt layer; blur across: bright pass; blur
    // down: blur across; composite: input, bloom, dirt layer, bright pass.
    const std::vector<int> expected[4] = {{-1, -2, 999}, {0, 999}, {1, 999}, {-1, 2, -2, 0, 999}};
    for (int p = 0; p < 4; ++p)
        for (std::size_t i = 0; i < expected[p].size(); ++i)
            EXPECT_EQ(fx.settings.routing[p][i], expected[p][i]) << "pass " << p << " input " << i;

    std::set<int> types;
    int depth = 0;
    for (int i = 1; i < fx.settings.params; ++i) {
        types.insert(fx.par[i].type);
        depth += (fx.par[i].type == GLFX_TOPIC_START) - (fx.par[i].type == GLFX_TOPIC_END);
        EXPECT_GE(depth, 0) << i;
    }
    EXPECT_EQ(depth, 0);
    EXPECT_EQ(types.size(), 11u) << "every parameter type but none";
    EXPECT_EQ(fx.par[indexOf(fx, "aberration") + 1].type, GLFX_FLOAT); // float2's partner

    // One preset per look, each setting the temperature.
    const int look = indexOf(fx, "look"), temperature = indexOf(fx, "temperature");
    EXPECT_EQ(fx.par[look].flags, 3);
    EXPECT_EQ(fx.settings.presets.size(), fx.par[look].items.size());
    for (int n = 0; n < static_cast<int>(fx.par[look].items.size()); ++n)
        EXPECT_TRUE(fx.settings.presets.count({look, n}) &&
                    fx.settings.presets.at({look, n}).values.count(temperature))
            << n;
}

} // namespace
