// Giving an instance its GPU side, and the definitions text built from its
// parameter values.
#include "gl/Preamble.h"
#include "GlTestUtil.h"
#include "glfx/Strings.h"

using namespace gltest;

TEST(InitContext, FreshContextAndDefinitionsText)
{
    // A checkbox and a popup defining integers, a popup defining its item,
    // a float defining nothing; values truncated: 0, 2, item 1.
    cglfx fx = makeEffect({"void main() { gl_FragColor = vec4(1.0); }\n"});
    fx.settings.params = 5;
    const char* uniforms[] = {"beta", "alpha", "look", "gain"};
    const int types[] = {GLFX_CHECK, GLFX_POPUP, GLFX_POPUP, GLFX_FLOAT}, flags[] = {1, 1, 2, 1};
    const float values[] = {0.99f, 2.5f, 1.9f, 3.f};
    for (int i = 0; i < 4; ++i) {
        fx.par[i + 1].type = types[i];
        fx.par[i + 1].flags = flags[i];
        fx.par[i + 1].uniform = uniforms[i];
    }
    fx.par[3].items = {"Warm", "Cold", "Bleach"};
    const std::string prefix = glfxtext::definePrefix();
    for (const int mode : {0, 1, 2}) { // plain; fast; fast under Premiere
        fx.settings.fast = mode > 0;
        glfxDescription() = fx;
        EffectData d{};
        d.isPremiere = mode == 2;
        d.layerWidth[31] = d.bufferHeight[0] = d.outputBufferWidth = 7;
        d.layerSkip[3] = true;
        d.defines = new std::map<std::string, std::string>{{"#define stale", "1"}};
        for (int i = 0; i < 4; ++i)
            d.values[i + 1][0] = values[i];

        vInitContext(&d);
        ASSERT_NE(d.glContext, nullptr);
        EXPECT_EQ(d.glContext->description, &glfxDescription());
        EXPECT_TRUE(d.glContext->gl.HaveOpenGL());
        EXPECT_FALSE(d.glContext->initialised) << "nothing is built yet";
        EXPECT_TRUE(d.layerWidth[31] == 0 && d.bufferHeight[0] == 0 && d.outputBufferWidth == 0 &&
                    !d.layerSkip[3]);
        std::map<std::string, std::string> want = {
            {prefix + "beta", "0"}, {prefix + "alpha", "2"}, {prefix + "look", "Cold"}};
        if (mode > 0) // the fast mode tells the shaders the host's pixel order
            want[glfxtext::defineFast()] = mode == 2 ? "2" : "1";
        EXPECT_EQ(*d.defines, want);
        // The text: the fixed entry on, the one to drop gone, keys in byte
        // order, each line ending in CR LF.
        (*d.defines)[glfxtext::defineFixedOff()] = "1";
        want[glfxtext::defineFixedOn()] = "0";
        std::string text;
        for (const auto& [key, value] : want)
            text += key + " " + value + "\r\n";
        EXPECT_EQ(getDefines(&d), text);
        EXPECT_TRUE(releaseInstance(&d, false));
        EXPECT_TRUE(d.glContext == nullptr && d.defines == nullptr);
        EXPECT_FALSE(releaseInstance(&d, false)) << "nothing held the second time";
        EXPECT_EQ(getDefines(&d), "") << "no map";
    }
}
