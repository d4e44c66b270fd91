// glfx render through the real plug-in: one render per input and depth path,
// --set values of every kind reaching the shader as user changes, frame
// ranges and layers. Failures are in commands_test.cpp.
#include "CliRun.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

using namespace clitest;

namespace {

// Nearest sampling, so that 8-bit values come back exactly.
const char* kPassThrough = "[settings]\nname=Copy\ninterp=0\n";

// Column 0 shows (level, blue of tint, popup item / 2, the checkbox's
// definition); column 1 (angle / 360, point / 100, time). The checkbox
// switches a group and defines _on (flags 1); the look popup picks presets.
const char* kValues =
    "[settings]\nname=Values\n"
    "[par1]\nparam=level\ntype=float\nmin=0\nmax=1\ndefault=0.25\ngroup=3\n"
    "[par2]\nparam=tint\ntype=color\ndefault=0|0|0\n"
    "[par3]\nparam=mode\ntype=popup\ntext=off|half|full\ndefault=0\n"
    "[par4]\nparam=on\ntype=check\nflags=1\ngroupswitch=3\ndefault=0\n"
    "[par5]\nparam=turn\ntype=angle\ndefault=10\n"
    "[par6]\nparam=spot\ntype=point\ndefault=0.5|0.25\n"
    "[par7]\nparam=look\ntype=popup\ntext=none|warm|cold\nflags=3\n"
    "[preset_look_1]\nlevel=0.5\n[preset_look_2]\nlevel=0.75\n"
    "[ps0]\nuniform float level, turn, time;\nuniform vec3 tint;\nuniform int mode;\nuniform vec2 spot;\n"
    "void main() {\n if (gl_FragCoord.x < 1.0)\n"
    "  gl_FragColor = vec4(level, tint.b, float(mode) / 2.0, _on != 0 ? 1.0 : 0.0);\n"
    " else\n  gl_FragColor = vec4(turn / 360.0, spot / 100.0, time);\n}\n";

// A 5 x 3 input with distinct values in every channel; alpha stays 1 so that
// no alpha association changes the colours on the way through files.
std::vector<float> inputPixels(float lo, float hi)
{
    std::vector<float> v;
    for (int i = 0; i < 15; ++i) {
        const float t = i / 14.0f;
        for (float x : {t, 1.0f - t, std::fmod(t * 3.0f, 1.0f)})
            v.push_back(lo + (hi - lo) * x);
        v.push_back(1.0f);
    }
    return v;
}

// Quantises to a file's integer type as OpenImageIO does (round to nearest).
void quantise(std::vector<float>& v, const std::string& type)
{
    const float steps = type == "uint8" ? 255.0f : type == "uint16" ? 65535.0f : 0.0f;
    if (steps > 0)
        for (float& x : v)
            x = std::round(std::clamp(x, 0.0f, 1.0f) * steps) / steps;
}

std::string render(const Scratch& s, const char* effect, const std::string& args)
{
    return "render --effect " + q(s.write("fx.glfx", effect)) + " " + args;
}

} // namespace

// 8-bit values survive exactly; 16-bit files pass through the host's 0..32768
// range, so a value may move by up to two steps of 65535; float is exact,
// values outside 0..1 included; a float render goes to PNG as 16-bit.
TEST(Render, PassThroughPerDepthAndHost)
{
    NEED_PLUGIN();
    const struct {
        const char *input, *inputType, *args, *output, *outputType;
        float lo, hi, tolerance;
    } cases[] = {{"in.png", "uint8", "", "out.png", "uint8", 0, 1, 1e-6f},
                 {"in.tif", "uint16", "", "out.tif", "uint16", 0, 1, 2.01f / 65535},
                 {"in.exr", "float", "", "out.exr", "float", -0.25f, 1.75f, 0},
                 {"in.exr", "float", "", "out.png", "uint16", 0, 1, 1.01f / 65535},
                 {"in.png", "uint8", "--depth 16", "out.png", "uint16", 0, 1, 1.01f / 255},
                 {"in.png", "uint8", "--depth 32", "out.exr", "float", 0, 1, 1e-6f},
                 {"in.png", "uint8", "--host premiere", "out.png", "uint8", 0, 1, 1e-6f}};
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.input) + " " + c.args + " " + c.output);
        Scratch s;
        std::vector<float> want = inputPixels(c.lo, c.hi);
        writePixels(s.path(c.input), 5, 3, want, c.inputType);
        quantise(want, c.inputType);
        quantise(want, c.outputType);
        const Result r =
            glfx(render(s, kPassThrough, q(s.path(c.input)) + " -o " + q(s.path(c.output)) + " " + c.args));
        ASSERT_EQ(r.status, 0) << r.err;
        const Pixels out = readPixels(s.path(c.output));
        EXPECT_EQ(out.type, c.outputType);
        ASSERT_TRUE(out.width == 5 && out.height == 3 && out.channels == 4);
        for (int i = 0; i < 15 * 4; ++i)
            EXPECT_NEAR(out.v[i], want[i], c.tolerance) << "pixel " << i / 4 << " channel " << i % 4;
        EXPECT_EQ(s.files().size(), 3u) << "a temporary file was left behind";
    }
}

// Colours are stored in 8 bits (0.8 is 204 / 255); popups count from 0 in
// shaders; angles reach shaders as whole degrees rounded down, points as
// layer pixels (the default (50 %, 25 %) of 200 x 80 is (100, 20)); a preset
// popup writes its values, which later --set options override; time 0.5 s is
// 5000 host units of 10000 a second, which the shader reads as seconds.
TEST(Render, SetValuesReachTheShader)
{
    NEED_PLUGIN();
    const float d[8] = {0.25f, 0, 0, 0, 10.0f / 360, 1.0f, 0.2f, 0};
    const struct {
        const char* sets;
        std::vector<std::pair<int, float>> changed; // channel (0..7), value
    } cases[] = {{"", {}},
                 {"--set level=0.1 --set level=0.6", {{0, 0.6f}}},
                 {"--set tint=0.2,0.4,0.8", {{1, 204.0f / 255}}},
                 {"--set mode=half", {{2, 0.5f}}},
                 {"--set on=true", {{3, 1}}},
                 {"--set on=true --set on=false", {}},
                 {"--set turn=-45.5", {{4, -46.0f / 360}}},
                 {"--set spot=12.75,3.5", {{5, 0.12f}, {6, 0.03f}}},
                 {"--set look=warm", {{0, 0.5f}}},
                 {"--set look=warm --set level=0.1", {{0, 0.1f}}},
                 {"--set level=0.1 --set look=cold", {{0, 0.75f}}},
                 {"--time 0.5", {{7, 0.5f}}}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.sets);
        Scratch s;
        const Result r = glfx(render(
            s, kValues, std::string("--size 200x80 --depth 32 ") + c.sets + " -o " + q(s.path("o.exr"))));
        ASSERT_EQ(r.status, 0) << r.err;
        const Pixels out = readPixels(s.path("o.exr"));
        ASSERT_TRUE(out.width == 200 && out.height == 80); // the generated pattern's size
        std::vector<float> want(d, d + 8);
        for (const auto& [channel, value] : c.changed)
            want[channel] = value;
        for (int k = 0; k < 8; ++k)
            EXPECT_FLOAT_EQ(out.at(k / 4, 7, k % 4), want[k]) << "channel " << k;
    }
}

TEST(Render, FrameRangeWritesOneFilePerFrameAtItsTime)
{
    NEED_PLUGIN();
    Scratch s;
    const Result r =
        glfx(render(s, kValues, "--size 2x2 --depth 32 --fps 25 --frames 3-5 -o " + q(s.path("f.###.exr"))));
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(s.files(), (std::vector<std::string>{"f.003.exr", "f.004.exr", "f.005.exr", "fx.glfx"}));
    for (int f = 3; f <= 5; ++f) // frame f: f x 400 host units at 10000 a second
        EXPECT_NEAR(readPixels(s.path("f.00" + std::to_string(f) + ".exr")).at(1, 1, 3), f * 400 * 0.0001f,
                    1e-6f);
}

TEST(Render, LayerParameterGetsItsImage)
{
    NEED_PLUGIN();
    Scratch s;
    const char* fx = "[settings]\nname=Layer\ninterp=0\n[par1]\nparam=other\ntype=layer\n"
                     "[ps0]\nuniform sampler2D in1;\n"
                     "void main() { gl_FragColor = texture2D(in1, gl_TexCoord[0].st); }\n";
    const std::vector<float> layer = inputPixels(0.0f, 1.0f);
    writePixels(s.path("layer.exr"), 5, 3, layer, "float");
    writePixels(s.path("in.exr"), 5, 3, std::vector<float>(60, 0.5f), "float");
    const Result r = glfx(render(s, fx,
                                 q(s.path("in.exr")) + " --layer other=" + q(s.path("layer.exr")) + " -o " +
                                     q(s.path("o.exr"))));
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(readPixels(s.path("o.exr")).v, layer);
}
