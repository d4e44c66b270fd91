// A parameter without a host control ("none") ahead of others: the host's
// array is shorter than the description, so every later parameter must be
// reached at the position it was added at. Rendered through glfx in both host
// modes, with presets, group switches and plain values reaching the shader.
#include "CliRun.h"

#include <gtest/gtest.h>

using namespace clitest;

namespace {

// A checkbox switch of groups 10 and 11, a "none" parameter, then the preset
// chooser (which the host names by its position, not its description index)
// and two sliders, one in each group. Red shows x, blue y; green shows the
// "none" parameter's described default (2) / 4, which it keeps as it has no
// control.
const char* kGap = "[settings]\nname=Gap\nversion=1.0\n"
                   "[par1]\nparam=on\ntype=check\ngroupswitch=10\ndefault=0\n"
                   "[par2]\nparam=gap\ntype=none\ndefault=2\n"
                   "[par3]\nparam=look\ntype=popup\ntext=A|B\nflags=3\n"
                   "[par4]\nparam=x\ntype=float\nmin=0\nmax=1\ndefault=0\ngroup=11\n"
                   "[par5]\nparam=y\ntype=float\nmin=0\nmax=1\ndefault=0.25\ngroup=10\n"
                   "[preset_look_1]\nx=0.75\n"
                   "[ps0]\nuniform float x;\nuniform float y;\nuniform int gap;\n"
                   "void main() { gl_FragColor = vec4(x, float(gap) / 4.0, y, 1.0); }\n";

struct GapCase {
    const char* name;
    const char* host;
    const char* sets;
    float rgb[3]; // as 8-bit values the shader's output truncates to
};

class Gap : public testing::TestWithParam<GapCase> {};

TEST_P(Gap, LaterParametersReachTheShader)
{
    NEED_PLUGIN();
    const GapCase& c = GetParam();
    Scratch s;
    const std::string args = "render --effect " + q(s.write("fx.glfx", kGap)) + " --size 3x2 --host " +
                             c.host + " " + c.sets + " -o " + q(s.path("o.png"));
    const Result r = glfx(args);
    ASSERT_EQ(r.status, 0) << r.err;
    const Pixels out = readPixels(s.path("o.png"));
    ASSERT_EQ(out.width, 3);
    ASSERT_EQ(out.height, 2);
    for (int k = 0; k < 3; ++k)
        EXPECT_FLOAT_EQ(out.at(1, 1, k), c.rgb[k] / 255.0f) << "channel " << k;
}

// 8-bit output truncates: 0.5 is 127, 0.75 is 191, 0.25 is 63.
INSTANTIATE_TEST_SUITE_P(
    BothHosts, Gap,
    testing::Values(
        GapCase{"preset_ae", "ae", "--set look=B", {191, 127, 63}},
        GapCase{"preset_premiere", "premiere", "--set look=B", {191, 127, 63}},
        GapCase{"preset_first_item_ae", "ae", "--set look=A", {0, 127, 63}},
        GapCase{"value_ae", "ae", "--set x=0.5", {127, 127, 63}},
        GapCase{"value_premiere", "premiere", "--set x=0.5", {127, 127, 63}},
        GapCase{"switch_ae", "ae", "--set on=true", {0, 127, 63}},
        GapCase{"switch_then_values_premiere",
                "premiere",
                "--set on=true --set x=0.5 --set y=1",
                {127, 127, 255}},
        GapCase{"switch_then_values_ae", "ae", "--set on=true --set x=0.5 --set y=1", {127, 127, 255}}),
    [](const testing::TestParamInfo<GapCase>& i) { return std::string(i.param.name); });

} // namespace
