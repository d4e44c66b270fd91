// Giving an instance its GPU side, and the definitions text built from its
// parameter values.
#include "gl/Defines.h"
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
    fx.par[1].type = GLFX_CHECK;
    fx.par[1].flags = 1;
    fx.par[1].uniform = "beta";
    fx.par[2].type = GLFX_POPUP;
    fx.par[2].flags = 1;
    fx.par[2].uniform = "alpha";
    fx.par[2].items = {"x", "y", "z"};
    fx.par[3].type = GLFX_POPUP;
    fx.par[3].flags = 2;
    fx.par[3].uniform = "look";
    fx.par[3].items = {"Warm", "Cold", "Bleach"};
    fx.par[4].type = GLFX_FLOAT;
    fx.par[4].flags = 1;
    fx.par[4].uniform = "gain";
    return fx;
}

}  // namespace

TEST(InitContext, NewContextAndResetBookkeeping)
{
    glfxDescription() = definingEffect();
    EffectData d{};
    for (int i = 0; i < 32; ++i) {
        d.layerWidth[i] = d.layerHeight[i] = d.bufferWidth[i] = d.bufferHeight[i] = 10 + i;
        d.layerSkip[i] = true;
    }
    float keep[4] = {};
    d.outputBuffer = keep;
    d.outputBufferWidth = 7;
    d.outputBufferHeight = 9;
    d.defines = new std::map<std::string, std::string>{{"#define stale", "1"}};

    vInitContext(&d);
    ASSERT_NE(d.glContext, nullptr);
    EXPECT_EQ(d.glContext->description, &glfxDescription());
    EXPECT_TRUE(d.glContext->gl.HaveOpenGL());
    EXPECT_FALSE(d.glContext->initialised) << "nothing is built yet";
    EXPECT_EQ(d.glContext->inputNames[0], "in0");
    EXPECT_EQ(d.glContext->inputNames[31], "in31");
    EXPECT_EQ(d.glContext->passTextures[3], AE_GL_Context::kNoTexture);
    for (int i = 0; i < 32; ++i) {
        EXPECT_EQ(d.layerWidth[i] | d.layerHeight[i] | d.bufferWidth[i] | d.bufferHeight[i], 0) << i;
        EXPECT_FALSE(d.layerSkip[i]) << i;
    }
    EXPECT_EQ(d.outputBuffer, keep);
    EXPECT_EQ(d.outputBufferWidth, 0);
    EXPECT_EQ(d.outputBufferHeight, 0);
    ASSERT_NE(d.defines, nullptr);
    EXPECT_EQ(d.defines->count("#define stale"), 0u) << "the previous map is replaced";

    d.glContext->gl.GlobalSetdown_GL();
    delete d.glContext;
    delete d.defines;
}

TEST(InitContext, DefinitionsFromValues)
{
    const std::string prefix = glfxtext::definePrefix();
    struct Case {
        float check, popup, look;
        const char* wantBeta;
        const char* wantAlpha;
        const char* wantLook;
    };
    const Case cases[] = {
        {1.f, 0.f, 2.f, "1", "0", "Bleach"},
        {0.99f, 2.5f, 0.f, "0", "2", "Warm"},
        {0.f, 1.f, 1.9f, "0", "1", "Cold"},
    };
    glfxDescription() = definingEffect();
    for (const Case& c : cases) {
        EffectData d{};
        d.values[1][0] = c.check;
        d.values[2][0] = c.popup;
        d.values[3][0] = c.look;
        d.values[4][0] = 3.f;
        vInitContext(&d);
        const std::map<std::string, std::string> want = {
            {prefix + "beta", c.wantBeta}, {prefix + "alpha", c.wantAlpha}, {prefix + "look", c.wantLook}};
        EXPECT_EQ(*d.defines, want);
        d.glContext->gl.GlobalSetdown_GL();
        delete d.glContext;
        delete d.defines;
    }
}

TEST(InitContext, FastModeDefinition)
{
    const std::string fast = glfxtext::defineFast();
    cglfx fx = makeEffect({"void main() { gl_FragColor = vec4(1.0); }\n"});
    for (bool on : {false, true})
        for (bool premiere : {false, true}) {
            fx.settings.fast = on;
            glfxDescription() = fx;
            EffectData d{};
            d.isPremiere = premiere;
            vInitContext(&d);
            if (!on)
                EXPECT_TRUE(d.defines->empty());
            else
                EXPECT_EQ(*d.defines, (std::map<std::string, std::string>{{fast, premiere ? "2" : "1"}}));
            d.glContext->gl.GlobalSetdown_GL();
            delete d.glContext;
            delete d.defines;
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
