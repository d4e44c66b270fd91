// Giving an instance its GPU side, and the definitions text built from its
// parameter values.
#include "gl/Preamble.h"
#include "gl_test_util.h"
#include "glfx/strings.h"

using namespace gltest;

namespace {

// Parameters 1..: a checkbox and a popup defining integers (flags 1), a
// popup defining its item text (flags 2), and a float that defines nothing.
cglfx definingEffect()
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
    return fx;
}

} // namespace

TEST(InitContext, NewContextBookkeepingAndDefinitions)
{
    const std::string prefix = glfxtext::definePrefix(), fast = glfxtext::defineFast();
    struct Case {
        bool fast, premiere;
        float check, popup, look;
        const char *beta, *alpha, *lookText, *fastValue; // null: no fast entry
    };
    const Case cases[] = {
        {false, false, 1.f, 0.f, 2.f, "1", "0", "Bleach", nullptr},
        {true, false, 0.99f, 2.5f, 0.f, "0", "2", "Warm", "1"},
        {true, true, 0.f, 1.f, 1.9f, "0", "1", "Cold", "2"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.lookText);
        cglfx fx = definingEffect();
        fx.settings.fast = c.fast;
        glfxDescription() = fx;
        EffectData d{};
        d.isPremiere = c.premiere;
        for (int i = 0; i < 32; ++i) {
            d.layerWidth[i] = d.layerHeight[i] = d.bufferWidth[i] = d.bufferHeight[i] = 10 + i;
            d.layerSkip[i] = true;
        }
        float keep[4] = {};
        d.outputBuffer = keep;
        d.outputBufferWidth = 7;
        d.outputBufferHeight = 9;
        d.defines = new std::map<std::string, std::string>{{"#define stale", "1"}};
        d.values[1][0] = c.check;
        d.values[2][0] = c.popup;
        d.values[3][0] = c.look;
        d.values[4][0] = 3.f;

        vInitContext(&d);
        ASSERT_NE(d.glContext, nullptr);
        EXPECT_EQ(d.glContext->description, &glfxDescription());
        EXPECT_TRUE(d.glContext->gl.HaveOpenGL());
        EXPECT_FALSE(d.glContext->initialised) << "nothing is built yet";
        EXPECT_EQ(d.glContext->inputNames[31], "in31");
        for (int i = 0; i < 32; ++i) {
            EXPECT_EQ(d.layerWidth[i] | d.layerHeight[i] | d.bufferWidth[i] | d.bufferHeight[i], 0) << i;
            EXPECT_FALSE(d.layerSkip[i]) << i;
        }
        EXPECT_EQ(d.outputBuffer, keep);
        EXPECT_EQ(d.outputBufferWidth | d.outputBufferHeight, 0);
        // The previous map is replaced: no stale entry.
        std::map<std::string, std::string> want = {
            {prefix + "beta", c.beta}, {prefix + "alpha", c.alpha}, {prefix + "look", c.lookText}};
        if (c.fastValue)
            want[fast] = c.fastValue;
        ASSERT_NE(d.defines, nullptr);
        EXPECT_EQ(*d.defines, want);
        EXPECT_TRUE(releaseInstance(&d, false));
        EXPECT_EQ(d.glContext, nullptr);
        EXPECT_EQ(d.defines, nullptr);
        EXPECT_FALSE(releaseInstance(&d, false)) << "nothing held the second time";
    }
}

TEST(Defines, TextOfTheMap)
{
    glfxDescription() = definingEffect();
    EffectData d{};
    EXPECT_EQ(getDefines(&d), "") << "no map";
    EXPECT_EQ(d.defines, nullptr);

    const std::string on = glfxtext::defineFixedOn(), off = glfxtext::defineFixedOff();
    const std::string prefix = glfxtext::definePrefix();
    d.defines = new std::map<std::string, std::string>{{off, "1"}, {on, "5"}};
    d.values[1][0] = 1.f;
    d.values[2][0] = 1.f;
    d.values[3][0] = 0.f;
    // Keys in byte order: the fixed name, then the prefixed names a..z.
    std::map<std::string, std::string> want = {
        {on, "0"}, {prefix + "alpha", "1"}, {prefix + "beta", "1"}, {prefix + "look", "Warm"}};
    std::string text;
    for (const auto& kv : want)
        text += kv.first + " " + kv.second + "\r\n";
    EXPECT_EQ(getDefines(&d), text);
    EXPECT_EQ(d.defines->count(off), 0u);

    // Only the fixed line when no parameter defines anything.
    glfxDescription().settings.params = 1;
    d.defines->clear();
    EXPECT_EQ(getDefines(&d), on + " 0\r\n");
    delete d.defines;
}
