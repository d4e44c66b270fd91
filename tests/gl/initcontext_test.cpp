// Giving an instance its GPU side, and the definitions text built from its
// parameter values.
#include "gl/Defines.h"
#include "gl_test_util.h"
#include "glfx/strings.h"

using namespace gltest;

// Parameters: a checkbox and a popup defining integers, a popup defining its
// item text, and a float that defines nothing.
TEST(InitContext, FreshContextBookkeepingAndDefinitions)
{
    cglfx fx = makeEffect({"void main() { gl_FragColor = vec4(1.0); }\n"});
    fx.settings.params = 5;
    const struct {
        int type, flags;
        const char* uniform;
    } pars[] = {
        {GLFX_CHECK, 1, "beta"}, {GLFX_POPUP, 1, "alpha"}, {GLFX_POPUP, 2, "look"}, {GLFX_FLOAT, 1, "gain"}};
    for (int i = 0; i < 4; ++i) {
        fx.par[i + 1].type = pars[i].type;
        fx.par[i + 1].flags = pars[i].flags;
        fx.par[i + 1].uniform = pars[i].uniform;
    }
    fx.par[2].items = {"x", "y", "z"};
    fx.par[3].items = {"Warm", "Cold", "Bleach"};
    const std::string prefix = glfxtext::definePrefix(), on = glfxtext::defineFixedOn();
    for (const int mode : {0, 1, 2}) { // plain; fast; fast under Premiere
        const bool premiere = mode == 2;
        fx.settings.fast = mode > 0;
        glfxDescription() = fx;
        EffectData d{};
        d.isPremiere = premiere;
        for (int i = 0; i < 32; ++i) {
            d.layerWidth[i] = d.bufferHeight[i] = 10 + i;
            d.layerSkip[i] = true;
        }
        d.outputBufferWidth = 7;
        d.defines = new std::map<std::string, std::string>{{"#define stale", "1"}};
        const float values[4] = {0.f, 0.99f, 2.5f, 1.9f}; // truncated: 0, 2, item 1
        for (int i = 1; i < 4; ++i)
            d.values[i][0] = values[i];
        d.values[4][0] = 3.f;

        vInitContext(&d);
        ASSERT_NE(d.glContext, nullptr);
        EXPECT_EQ(d.glContext->description, &glfxDescription());
        EXPECT_TRUE(d.glContext->gl.HaveOpenGL());
        EXPECT_FALSE(d.glContext->initialised) << "nothing is built yet";
        for (int i = 0; i < 32; ++i)
            EXPECT_TRUE(d.layerWidth[i] == 0 && d.bufferHeight[i] == 0 && !d.layerSkip[i]) << i;
        EXPECT_EQ(d.outputBufferWidth, 0);
        std::map<std::string, std::string> want = {
            {prefix + "beta", "0"}, {prefix + "alpha", "2"}, {prefix + "look", "Cold"}};
        if (mode > 0) // the fast mode tells the shaders the host's pixel order
            want[glfxtext::defineFast()] = premiere ? "2" : "1";
        EXPECT_EQ(*d.defines, want);
        // The text: the fixed entry on, the one to drop gone, keys in byte order.
        (*d.defines)[glfxtext::defineFixedOff()] = "1";
        std::string text;
        want[on] = "0";
        for (const auto& [key, value] : want)
            text += key + " " + value + "\r\n";
        EXPECT_EQ(getDefines(&d), text);
        EXPECT_TRUE(releaseContext(&d, false));
        EXPECT_TRUE(d.glContext == nullptr && d.defines == nullptr);
        EXPECT_FALSE(releaseContext(&d, false)) << "nothing held the second time";
        EXPECT_EQ(getDefines(&d), "") << "no map";
    }
}
