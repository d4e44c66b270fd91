// An ISF description in the plug-in itself: one that cannot be read is an
// alert when the effect is applied and an effect that passes its input
// through, never a crash; the Options command keeps the description in use
// when the new one cannot be read; ISF parameters reach the host as
// controls and the shaders as ISF values.
#include "PluginFixture.h"

#include "glfx/IsfBundle.h"

using namespace plugintest;

namespace {

std::string bundle(const std::string& fs)
{
    glfxisf::Bundle b;
    b.fragment = fs;
    b.fragmentName = "fx.fs";
    return glfxisf::makeBundle(b);
}

const char* const kGood =
    "/*{\"INPUTS\": [{\"NAME\": \"inputImage\", \"TYPE\": \"image\"},\n"
    "{\"NAME\": \"level\", \"TYPE\": \"float\", \"DEFAULT\": 0.25}]}*/\n"
    "void main() { gl_FragColor = vec4(level, IMG_THIS_PIXEL(inputImage).g, 0.0, 1.0); }\n";

TEST(IsfShell, UnreadableDescriptionIsAnAlertAndPassesTheInput)
{
    Effect fx(bundle("/*{\"INPUTS\": [\n{\"NAME\": \"a\", \"TYPE\": \"knob\"}]}*/\nvoid main() {}\n"));
    Session& s = fx.session;
    ASSERT_EQ(s.start(), PF_Err_NONE);
    const glfxhost::Records& r = s.records();
    ASSERT_EQ(r.alerts.size(), 1u);
    EXPECT_NE(r.alerts[0].find("fx.fs:2: INPUTS[0] \"a\": TYPE \"knob\" is not an ISF input type"),
              std::string::npos)
        << r.alerts[0];
    EXPECT_TRUE(s.added().empty());
    World in(4, 4, 8), out(4, 4, 8);
    in.fill(0.2f, 0.4f, 0.6f, 1.0f);
    ASSERT_EQ(s.render(in, out), PF_Err_NONE);
    expectPixel(out, 1, 1, {0.2f, 0.4f, 0.6f, 1.0f});
    ASSERT_EQ(s.finish(), PF_Err_NONE);
    EXPECT_EQ(problems(s), "");
}

TEST(IsfShell, OptionsKeepTheDescriptionWhenTheNewOneCannotBeRead)
{
    Effect fx(bundle(kGood));
    Session& s = fx.session;
    ASSERT_EQ(s.start(), PF_Err_NONE);
    World in(4, 4, 8), out(4, 4, 8);
    in.fill(0.2f, 0.4f, 0.6f, 1.0f);
    ASSERT_EQ(s.render(in, out), PF_Err_NONE);
    expectPixel(out, 0, 0, {0.25f, 0.4f, 0.0f, 1.0f});
    fx.plugin.setEffectText(bundle("/*{ not json }*/\n"));
    EXPECT_EQ(s.doDialog(), PF_Err_NONE);
    ASSERT_EQ(s.records().alerts.size(), 1u);
    EXPECT_NE(s.records().alerts[0].find("fx.fs:1: the ISF header is not JSON"), std::string::npos);
    ASSERT_EQ(s.render(in, out), PF_Err_NONE);
    expectPixel(out, 0, 0, {0.25f, 0.4f, 0.0f, 1.0f});
    ASSERT_EQ(s.finish(), PF_Err_NONE);
}

TEST(IsfShell, InputsBecomeHostControls)
{
    Effect fx(bundle(
        "/*{\"INPUTS\": [\n"
        "{\"NAME\": \"mode\", \"TYPE\": \"long\", \"VALUES\": [2, 4, 8], \"LABELS\": [\"a\", \"b\", \"c\"], "
        "\"DEFAULT\": 8},\n"
        "{\"NAME\": \"c\", \"TYPE\": \"color\", \"DEFAULT\": [1, 0.5, 0, 0.6]},\n"
        "{\"NAME\": \"go\", \"TYPE\": \"event\"},\n"
        "{\"NAME\": \"p\", \"TYPE\": \"point2D\", \"DEFAULT\": [0.5, 0.25], \"MIN\": [0, 0], \"MAX\": [1, "
        "1]},\n"
        "{\"NAME\": \"w\", \"TYPE\": \"audio\"}]}*/\n"
        "void main() { gl_FragColor = vec4(float(mode) / 8.0, c.a, go ? 1.0 : 0.0, p.y); }\n"));
    Session& s = fx.session;
    ASSERT_EQ(s.start(), PF_Err_NONE);
    ASSERT_EQ(s.added().size(), 4u); // the audio input has no control
    const PF_ParamDef& mode = s.added()[0].def;
    EXPECT_EQ(mode.param_type, PF_Param_POPUP);
    EXPECT_EQ(mode.u.pd.num_choices, 3);
    EXPECT_EQ(mode.u.pd.dephault, 3);
    EXPECT_EQ(s.added()[1].def.u.cd.dephault.alpha, 153);
    EXPECT_EQ(s.added()[2].def.param_type, PF_Param_CHECKBOX);
    EXPECT_EQ(s.added()[3].def.param_type, PF_Param_POINT);
    // 8 of the long, the colour's alpha, no event, the point's y (up).
    World in(8, 8, 32), out(8, 8, 32);
    ASSERT_EQ(s.render(in, out), PF_Err_NONE);
    float px[4];
    out.getPixel(0, 0, px);
    EXPECT_FLOAT_EQ(px[0], 1.f);
    EXPECT_NEAR(px[1], 0.6f, 0.5f / 255.f);
    EXPECT_FLOAT_EQ(px[2], 0.f);
    EXPECT_FLOAT_EQ(px[3], 0.25f);
    // Fired: the next frame sees it, the one after does not, and the
    // checkbox is off again at once.
    s.setCheckbox(3, true);
    ASSERT_EQ(s.userChangedParam(3), PF_Err_NONE);
    EXPECT_EQ(s.value(3).u.bd.value, 0);
    for (float want : {1.f, 0.f}) {
        ASSERT_EQ(s.render(in, out), PF_Err_NONE);
        out.getPixel(0, 0, px);
        EXPECT_FLOAT_EQ(px[2], want);
    }
    ASSERT_EQ(s.finish(), PF_Err_NONE);
    EXPECT_EQ(problems(s), "");
}

} // namespace
