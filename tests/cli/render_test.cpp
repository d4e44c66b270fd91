// glfx render through the real plug-in and the reference host: pass-through
// at every depth, parameter values set as user changes, presets, frame
// ranges, and failures that must leave no file behind.
#include "cli_run.h"

#include <gtest/gtest.h>

#include <cmath>

using namespace clitest;

namespace {

#define NEED_PLUGIN()                                                         \
    do {                                                                      \
        if (!pluginBuilt())                                                   \
            GTEST_SKIP() << "glfxplugin.so is not built beside glfx";         \
    } while (0)

// Nearest-texel sampling: with linear filtering a GPU may sample a texel
// centre a few ulps off (llvmpipe gives 0.9999994 for 1.0), which the 8-bit
// transfer's truncation turns into one step less.
const char* kPassThrough =
    "[settings]\n"
    "name=Copy\n"
    "interp=0\n"
    "description=Copies its input.\n"
    "version=1.0\n";

// The shader writes its uniforms as colours: level to red, the blue of tint
// to green, the popup item (0, 1, 2) / 2 to blue.
const char* kUniforms =
    "[settings]\n"
    "name=Uniforms\n"
    "version=1.0\n"
    "[par1]\n"
    "param=level\n"
    "type=float\n"
    "min=0\n"
    "max=1\n"
    "default=0.25\n"
    "[par2]\n"
    "param=tint\n"
    "type=color\n"
    "default=0|0|0\n"
    "[par3]\n"
    "param=mode\n"
    "type=popup\n"
    "text=off|half|full\n"
    "default=0\n"
    "[ps0]\n"
    "uniform float level;\n"
    "uniform vec3 tint;\n"
    "uniform int mode;\n"
    "void main() { gl_FragColor = vec4(level, tint.b, float(mode) / 2.0, 1.0); }\n";

// A popup with flags 3 chooses presets that write gain; red shows gain.
const char* kPresets =
    "[settings]\n"
    "name=Presets\n"
    "version=1.0\n"
    "[par1]\n"
    "param=gain\n"
    "type=float\n"
    "min=0\n"
    "max=1\n"
    "default=0\n"
    "[par2]\n"
    "param=look\n"
    "type=popup\n"
    "text=none|warm|cold\n"
    "flags=3\n"
    "[preset_look_1]\n"
    "gain=0.5\n"
    "[preset_look_2]\n"
    "gain=0.75\n"
    "[ps0]\n"
    "uniform float gain;\n"
    "void main() { gl_FragColor = vec4(gain, 0.0, 0.0, 1.0); }\n";

// Red shows the time uniform (host time units × 0.0001).
const char* kTime =
    "[settings]\n"
    "name=Clock\n"
    "version=1.0\n"
    "[ps0]\n"
    "uniform float time;\n"
    "void main() { gl_FragColor = vec4(time, 0.0, 0.0, 1.0); }\n";

// A 5 × 3 input with distinct values in every channel; alpha stays 1 so that
// no alpha association changes the colours on the way through files.
std::vector<float> inputPixels(float lo, float hi)
{
    std::vector<float> v;
    for (int i = 0; i < 15; ++i) {
        const float t = i / 14.0f;
        v.push_back(lo + (hi - lo) * t);
        v.push_back(lo + (hi - lo) * (1.0f - t));
        v.push_back(lo + (hi - lo) * std::fmod(t * 3.0f, 1.0f));
        v.push_back(1.0f);
    }
    return v;
}

// Quantises to a file's integer type as OpenImageIO does (round to nearest).
std::vector<float> quantised(std::vector<float> v, float steps)
{
    for (float& x : v)
        x = std::round(std::min(1.0f, std::max(0.0f, x)) * steps) / steps;
    return v;
}

void expectSame(const Pixels& out, const std::vector<float>& want, float tolerance)
{
    ASSERT_EQ(out.width, 5);
    ASSERT_EQ(out.height, 3);
    ASSERT_EQ(out.channels, 4);
    for (int i = 0; i < 15 * 4; ++i)
        EXPECT_NEAR(out.v[i], want[i], tolerance) << "pixel " << i / 4 << " channel " << i % 4;
}

}  // namespace

struct PassCase {
    const char* name;
    const char* input;      // input file name (its extension picks the format)
    const char* inputType;  // pixel type written
    const char* args;       // extra arguments
    const char* output;
    const char* outputType;  // type expected in the output file
    float lo, hi;            // input value range
    float tolerance;
};

class PassThrough : public testing::TestWithParam<PassCase> {};

TEST_P(PassThrough, OutputEqualsInput)
{
    NEED_PLUGIN();
    const PassCase& c = GetParam();
    Scratch s;
    const std::string fx = s.write("copy.glfx", kPassThrough);
    std::vector<float> in = inputPixels(c.lo, c.hi);
    writePixels(s.path(c.input), 5, 3, in, c.inputType);
    if (std::string(c.inputType) == "uint8")
        in = quantised(in, 255.0f);
    else if (std::string(c.inputType) == "uint16")
        in = quantised(in, 65535.0f);

    const Result r = glfx("render --effect " + q(fx) + " " + q(s.path(c.input)) + " -o " + q(s.path(c.output)) +
                          " " + c.args);
    ASSERT_EQ(r.status, 0) << r.err;
    const Pixels out = readPixels(s.path(c.output));
    EXPECT_EQ(out.type, c.outputType);
    expectSame(out, in, c.tolerance);
    // Only the input, the description and the output: no temporary file left.
    EXPECT_EQ(s.files().size(), 3u);
}

// 8-bit values survive exactly; 16-bit files pass through the host's 0..32768
// range, so a value may move by up to two steps of 65535; float is exact,
// values outside 0..1 included.
INSTANTIATE_TEST_SUITE_P(
    Depths, PassThrough,
    testing::Values(PassCase{"png8", "in.png", "uint8", "", "out.png", "uint8", 0.0f, 1.0f, 1e-6f},
                    PassCase{"png16", "in.png", "uint16", "", "out.png", "uint16", 0.0f, 1.0f, 2.01f / 65535},
                    PassCase{"tif16", "in.tif", "uint16", "", "out.tif", "uint16", 0.0f, 1.0f, 2.01f / 65535},
                    PassCase{"exr32", "in.exr", "float", "", "out.exr", "float", -0.25f, 1.75f, 0.0f},
                    PassCase{"png8_at16", "in.png", "uint8", "--depth 16", "out.png", "uint16", 0.0f, 1.0f,
                             1.01f / 255},
                    PassCase{"png8_at32", "in.png", "uint8", "--depth 32", "out.exr", "float", 0.0f, 1.0f, 1e-6f},
                    PassCase{"premiere", "in.png", "uint8", "--host premiere", "out.png", "uint8", 0.0f, 1.0f,
                             1e-6f}),
    [](const testing::TestParamInfo<PassCase>& i) { return std::string(i.param.name); });

TEST(Render, FloatRenderToPngIsSixteenBit)
{
    NEED_PLUGIN();
    Scratch s;
    const std::string fx = s.write("copy.glfx", kPassThrough);
    writePixels(s.path("in.exr"), 5, 3, inputPixels(0.0f, 1.0f), "float");
    const Result r = glfx("render --effect " + q(fx) + " " + q(s.path("in.exr")) + " -o " + q(s.path("out.png")));
    ASSERT_EQ(r.status, 0) << r.err;
    const Pixels out = readPixels(s.path("out.png"));
    EXPECT_EQ(out.type, "uint16");
    expectSame(out, quantised(inputPixels(0.0f, 1.0f), 65535.0f), 1.01f / 65535);
}

TEST(Render, TestPatternHasTheRequestedSize)
{
    NEED_PLUGIN();
    Scratch s;
    const std::string fx = s.write("copy.glfx", kPassThrough);
    const Result r = glfx("render --effect " + q(fx) + " --size 64x36 -o " + q(s.path("p.png")));
    ASSERT_EQ(r.status, 0) << r.err;
    const Pixels out = readPixels(s.path("p.png"));
    EXPECT_EQ(out.width, 64);
    EXPECT_EQ(out.height, 36);
    EXPECT_EQ(out.type, "uint8");
    // Not a flat image: the pattern's corners (border) are white and its
    // first row of bars is not.
    EXPECT_EQ(out.at(0, 0, 0), 1.0f);
    float lo = 1.0f, hi = 0.0f;
    for (int x = 1; x < 63; ++x) {
        lo = std::min(lo, out.at(x, 5, 1));
        hi = std::max(hi, out.at(x, 5, 1));
    }
    EXPECT_LT(lo, 0.1f);
    EXPECT_GT(hi, 0.7f);
}

struct SetCase {
    const char* name;
    const char* sets;
    float r, g, b;   // expected float output
};

class SetValues : public testing::TestWithParam<SetCase> {};

TEST_P(SetValues, ShaderSeesTheValue)
{
    NEED_PLUGIN();
    const SetCase& c = GetParam();
    Scratch s;
    const std::string fx = s.write("u.glfx", kUniforms);
    const Result r = glfx("render --effect " + q(fx) + " --size 4x2 --depth 32 -o " + q(s.path("o.exr")) + " " +
                          c.sets);
    ASSERT_EQ(r.status, 0) << r.err;
    const Pixels out = readPixels(s.path("o.exr"));
    ASSERT_EQ(out.width, 4);
    EXPECT_FLOAT_EQ(out.at(2, 1, 0), c.r);
    EXPECT_FLOAT_EQ(out.at(2, 1, 1), c.g);
    EXPECT_FLOAT_EQ(out.at(2, 1, 2), c.b);
}

// Colours are stored by the host in 8 bits: 0.8 becomes 204, which the shader
// sees as 204 / 255. Popups count from the first item as 0 in shaders.
INSTANTIATE_TEST_SUITE_P(
    Uniforms, SetValues,
    testing::Values(SetCase{"defaults", "", 0.25f, 0.0f, 0.0f},
                    SetCase{"float", "--set level=0.6", 0.6f, 0.0f, 0.0f},
                    SetCase{"colour", "--set tint=0.2,0.4,0.8", 0.25f, 204.0f / 255.0f, 0.0f},
                    SetCase{"popup", "--set mode=half", 0.25f, 0.0f, 0.5f},
                    SetCase{"all", "--set level=1 --set mode=full --set tint=0,0,1", 1.0f, 1.0f, 1.0f},
                    SetCase{"last_wins", "--set level=0.1 --set level=0.75", 0.75f, 0.0f, 0.0f}),
    [](const testing::TestParamInfo<SetCase>& i) { return std::string(i.param.name); });

TEST(Render, EightBitOutputTruncatesTheShaderValue)
{
    NEED_PLUGIN();
    Scratch s;
    const std::string fx = s.write("u.glfx", kUniforms);
    const Result r = glfx("render --effect " + q(fx) + " --size 3x3 -o " + q(s.path("o.png")) +
                          " --set level=0.5 --set tint=0,0,0.8");
    ASSERT_EQ(r.status, 0) << r.err;
    const Pixels out = readPixels(s.path("o.png"));
    EXPECT_NEAR(out.at(1, 1, 0) * 255.0f, std::trunc(0.5f * 255.0f), 1e-3);   // 127
    EXPECT_NEAR(out.at(1, 1, 1) * 255.0f, 204.0f, 1e-3);
}

struct PresetCase {
    const char* name;
    const char* sets;
    float gain;
};

class Presets : public testing::TestWithParam<PresetCase> {};

TEST_P(Presets, PopupAppliesItsPreset)
{
    NEED_PLUGIN();
    const PresetCase& c = GetParam();
    Scratch s;
    const std::string fx = s.write("p.glfx", kPresets);
    const Result r = glfx("render --effect " + q(fx) + " --size 2x2 --depth 32 -o " + q(s.path("o.exr")) + " " +
                          c.sets);
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_FLOAT_EQ(readPixels(s.path("o.exr")).at(0, 0, 0), c.gain);
}

INSTANTIATE_TEST_SUITE_P(
    Look, Presets,
    testing::Values(PresetCase{"warm", "--set look=warm", 0.5f}, PresetCase{"cold", "--set look=cold", 0.75f},
                    PresetCase{"none_has_no_preset", "--set gain=0.3 --set look=none", 0.3f},
                    PresetCase{"later_set_overrides", "--set look=warm --set gain=0.25", 0.25f},
                    PresetCase{"preset_overrides_earlier", "--set gain=0.25 --set look=cold", 0.75f}),
    [](const testing::TestParamInfo<PresetCase>& i) { return std::string(i.param.name); });

TEST(Render, FrameRangeWritesOneFilePerFrameAtItsTime)
{
    NEED_PLUGIN();
    Scratch s;
    const std::string fx = s.write("t.glfx", kTime);
    const Result r = glfx("render --effect " + q(fx) + " --size 2x2 --depth 32 --fps 25 --frames 3-5 -o " +
                          q(s.path("f.###.exr")));
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(s.files(), (std::vector<std::string>{"f.003.exr", "f.004.exr", "f.005.exr", "t.glfx"}));
    for (int f = 3; f <= 5; ++f) {
        // Frame f is at f / 25 s: f × 1000 host units at 25000 a second.
        const float want = static_cast<float>(f * 1000) * 0.0001f;
        EXPECT_NEAR(readPixels(s.path("f.00" + std::to_string(f) + ".exr")).at(1, 1, 0), want, 1e-6f) << f;
    }
}

TEST(Render, TimeOption)
{
    NEED_PLUGIN();
    Scratch s;
    const std::string fx = s.write("t.glfx", kTime);
    const Result r = glfx("render --effect " + q(fx) + " --size 2x2 --depth 32 --time 0.5 -o " + q(s.path("o.exr")));
    ASSERT_EQ(r.status, 0) << r.err;
    // 0.5 s at 30 frames a second: 15000 host units of 30000 a second.
    EXPECT_NEAR(readPixels(s.path("o.exr")).at(0, 0, 0), 15000 * 0.0001f, 1e-5f);
}

struct ErrorCase {
    const char* name;
    const char* args;      // after "render" (with "--effect @FX@" unless it names one); @IN@, @OUT@, ...
                           // stand for files of the test's folder
    const char* message;   // expected in the error line
};

class RenderErrors : public testing::TestWithParam<ErrorCase> {};

TEST_P(RenderErrors, FailWithOneLineAndNoOutput)
{
    const ErrorCase& c = GetParam();
    const std::string args = c.args;
    if (!pluginBuilt() && args.find("--plugin") == std::string::npos)
        GTEST_SKIP() << "glfxplugin.so is not built beside glfx";
    Scratch s;
    const std::string fx = s.write("u.glfx", kUniforms);
    const std::string bad = s.write("bad.glfx", "[settings]\nname=Bad\n[ps0]\nvoid main() { gl_FragColor = nope; }\n");
    writePixels(s.path("in.png"), 5, 3, inputPixels(0.0f, 1.0f), "uint8");
    const std::string corrupt = s.write("corrupt.png", "not an image at all");
    const std::string empty = s.write("empty.ppm", "P6\n0 0\n255\n");   // a picture of 0 x 0 pixels
    auto expand = [&](std::string a) {
        for (const auto& [key, value] : {std::pair<std::string, std::string>{"@IN@", s.path("in.png")},
                                         {"@OUT@", s.path("out.png")},
                                         {"@MISSING@", s.path("missing.png")},
                                         {"@FX@", fx},
                                         {"@BADFX@", bad},
                                         {"@NODIR@", s.path("nodir/out.png")},
                                         {"@CORRUPT@", corrupt},
                                         {"@EMPTYIMG@", empty}}) {
            for (size_t p; (p = a.find(key)) != std::string::npos;)
                a.replace(p, key.size(), q(value));
        }
        return a;
    };
    const std::vector<std::string> before = s.files();
    const std::string effect = args.find("--effect") == std::string::npos ? "--effect @FX@ " : "";
    const Result r = glfx("render " + expand(effect + args));
    EXPECT_NE(r.status, 0);
    EXPECT_NE(r.err.find(c.message), std::string::npos) << r.err;
    // The last line is the one error line, from glfx.
    const std::string err = r.err.substr(0, r.err.find_last_not_of('\n') + 1);
    const std::string last = err.substr(err.rfind('\n') == std::string::npos ? 0 : err.rfind('\n') + 1);
    EXPECT_EQ(last.rfind("glfx: ", 0), 0u) << r.err;
    EXPECT_EQ(s.files(), before) << "a file was left behind";
}

INSTANTIATE_TEST_SUITE_P(
    Cases, RenderErrors,
    testing::Values(ErrorCase{"unknown_parameter", "@IN@ -o @OUT@ --set levle=1", "unknown parameter 'levle'"},
                    ErrorCase{"not_a_number", "@IN@ -o @OUT@ --set level=abc", "bad value 'abc'"},
                    ErrorCase{"outside_range", "@IN@ -o @OUT@ --set level=1.5", "bad value '1.5'"},
                    ErrorCase{"colour_components", "@IN@ -o @OUT@ --set tint=1,0", "bad value '1,0'"},
                    ErrorCase{"colour_range", "@IN@ -o @OUT@ --set tint=1,0,2", "bad value '1,0,2'"},
                    ErrorCase{"popup_item", "@IN@ -o @OUT@ --set mode=double", "bad value 'double'"},
                    ErrorCase{"no_equals", "@IN@ -o @OUT@ --set level", "expected NAME=VALUE"},
                    ErrorCase{"layer_on_slider", "@IN@ -o @OUT@ --layer level=@IN@", "is not a layer"},
                    ErrorCase{"missing_input", "@MISSING@ -o @OUT@", "missing.png"},
                    ErrorCase{"unwritable_dir", "@IN@ -o @NODIR@", "nodir"},
                    ErrorCase{"unknown_format", "@IN@ -o @OUT@.nosuchformat", "no image format"},
                    ErrorCase{"premiere_depth", "@IN@ -o @OUT@ --host premiere --depth 16", "8-bit"},
                    ErrorCase{"range_without_pattern", "@IN@ -o @OUT@ --frames 1-3", "'#'"},
                    ErrorCase{"bad_size", "--size 10by5 -o @OUT@", "--size"},
                    ErrorCase{"shader_build", "@IN@ -o @OUT@ --effect @BADFX@", "shader build failed"},
                    ErrorCase{"shader_build_premiere", "@IN@ -o @OUT@ --effect @BADFX@ --host premiere",
                              "shader build failed"},
                    ErrorCase{"missing_plugin", "@IN@ -o @OUT@ --plugin @MISSING@", "plug-in"},
                    ErrorCase{"unreadable_input", "@CORRUPT@ -o @OUT@", "cannot read image"},
                    ErrorCase{"zero_sized_input", "@EMPTYIMG@ -o @OUT@", "not a 2D image with pixels"},
                    ErrorCase{"zero_sized_pattern", "--size 0x5 -o @OUT@", "--size"},
                    ErrorCase{"missing_layer_file", "@IN@ -o @OUT@ --layer level=@MISSING@", "missing.png"},
                    ErrorCase{"zero_sized_layer", "@IN@ -o @OUT@ --layer level=@EMPTYIMG@",
                              "not a 2D image with pixels"},
                    ErrorCase{"unknown_layer", "@IN@ -o @OUT@ --layer nosuch=@IN@", "unknown parameter 'nosuch'"},
                    ErrorCase{"unknown_parameter_after_good_one", "@IN@ -o @OUT@ --set level=0.5 --set nosuch=1",
                              "unknown parameter 'nosuch'"}),
    [](const testing::TestParamInfo<ErrorCase>& i) { return std::string(i.param.name); });

// Checkbox, angle and point values: red = the checkbox, green = the angle's
// whole degrees / 360, blue and alpha = the point in layer pixels / 100.
const char* kMore =
    "[settings]\n"
    "name=More\n"
    "version=1.0\n"
    "[par1]\nparam=on\ntype=check\ndefault=false\n"
    "[par2]\nparam=turn\ntype=angle\ndefault=10\n"
    "[par3]\nparam=spot\ntype=point\ndefault=0.5|0.25\n"
    "[ps0]\n"
    "uniform int on;\n"
    "uniform float turn;\n"
    "uniform vec2 spot;\n"
    "void main() { gl_FragColor = vec4(float(on), turn / 360.0, spot.x / 100.0, spot.y / 100.0); }\n";

struct MoreCase {
    const char* name;
    const char* sets;
    float on, degrees, x, y;
};

class MoreValues : public testing::TestWithParam<MoreCase> {};

TEST_P(MoreValues, ShaderSeesTheValue)
{
    NEED_PLUGIN();
    const MoreCase& c = GetParam();
    Scratch s;
    const std::string fx = s.write("m.glfx", kMore);
    // A 200 × 80 layer: the point default (50 %, 25 %) is (100, 20) pixels.
    const Result r = glfx("render --effect " + q(fx) + " --size 200x80 --depth 32 -o " + q(s.path("o.exr")) + " " +
                          c.sets);
    ASSERT_EQ(r.status, 0) << r.err;
    const Pixels out = readPixels(s.path("o.exr"));
    EXPECT_FLOAT_EQ(out.at(7, 7, 0), c.on);
    EXPECT_FLOAT_EQ(out.at(7, 7, 1), c.degrees / 360.0f);
    EXPECT_FLOAT_EQ(out.at(7, 7, 2), c.x / 100.0f);
    EXPECT_FLOAT_EQ(out.at(7, 7, 3), c.y / 100.0f);
}

// Angles reach shaders as whole degrees, rounded toward minus infinity;
// points as whole pixels.
INSTANTIATE_TEST_SUITE_P(
    Types, MoreValues,
    testing::Values(MoreCase{"defaults", "", 0.0f, 10.0f, 100.0f, 20.0f},
                    MoreCase{"checkbox_on", "--set on=true", 1.0f, 10.0f, 100.0f, 20.0f},
                    MoreCase{"checkbox_off_again", "--set on=true --set on=false", 0.0f, 10.0f, 100.0f, 20.0f},
                    MoreCase{"angle", "--set turn=90", 0.0f, 90.0f, 100.0f, 20.0f},
                    MoreCase{"negative_angle", "--set turn=-45.5", 0.0f, -46.0f, 100.0f, 20.0f},
                    MoreCase{"point", "--set spot=30,40", 0.0f, 10.0f, 30.0f, 40.0f},
                    MoreCase{"point_fraction", "--set spot=12.75,3.5", 0.0f, 10.0f, 12.0f, 3.0f}),
    [](const testing::TestParamInfo<MoreCase>& i) { return std::string(i.param.name); });

TEST(Render, LayerParameterGetsItsImage)
{
    NEED_PLUGIN();
    Scratch s;
    const std::string fx = s.write("l.glfx",
                                   "[settings]\nname=Layer\ninterp=0\n"
                                   "[par1]\nparam=other\ntype=layer\n"
                                   "[ps0]\nuniform sampler2D in1;\n"
                                   "void main() { gl_FragColor = texture2D(in1, gl_TexCoord[0].st); }\n");
    const std::vector<float> layer = inputPixels(0.0f, 1.0f);
    writePixels(s.path("layer.exr"), 5, 3, layer, "float");
    writePixels(s.path("in.exr"), 5, 3, std::vector<float>(60, 0.5f), "float");
    const Result r = glfx("render --effect " + q(fx) + " " + q(s.path("in.exr")) + " --layer other=" +
                          q(s.path("layer.exr")) + " -o " + q(s.path("o.exr")));
    ASSERT_EQ(r.status, 0) << r.err;
    expectSame(readPixels(s.path("o.exr")), layer, 0.0f);
}

// Group switches through --set: the switch's click goes to the plug-in as a
// user change, which disables (or, from group 101 on, hides) the other
// groups' parameters through the host's suites; that must succeed and leave
// the values as they are. The checkbox also carries a definition (flags 1),
// which the shader reads as _split; red shows it, green and blue the two
// grouped sliders, alpha the popup's item / 2.
const char* kSwitches =
    "[settings]\n"
    "name=Switches\n"
    "version=1.0\n"
    "[par1]\nparam=split\ntype=check\nflags=1\ngroupswitch=3\nmax=1\ndefault=0\n"
    "[par2]\nparam=near\ntype=float\nmin=0\nmax=1\ndefault=0.25\ngroup=3\n"
    "[par3]\nparam=far\ntype=float\nmin=0\nmax=1\ndefault=0.75\ngroup=4\n"
    "[par4]\nparam=look\ntype=popup\ntext=a|b|c\ngroupswitch=101\n"
    "[par5]\nparam=lb\ntype=float\nmin=0\nmax=1\ndefault=0\ngroup=102\n"
    "[ps0]\n"
    "uniform float near;\n"
    "uniform float far;\n"
    "uniform int look;\n"
    "void main() {\n"
    "#ifndef _split\n"
    "#define _split 0\n"
    "#endif\n"
    "#if _split\n"
    "  gl_FragColor = vec4(1.0, near, far, float(look) / 2.0);\n"
    "#else\n"
    "  gl_FragColor = vec4(0.0, near, far, float(look) / 2.0);\n"
    "#endif\n"
    "}\n";

struct SwitchCase {
    const char* name;
    const char* sets;
    float r, g, b, a;
};

class Switches : public testing::TestWithParam<SwitchCase> {};

TEST_P(Switches, ClickOnASwitchAppliesAndKeepsValues)
{
    NEED_PLUGIN();
    const SwitchCase& c = GetParam();
    Scratch s;
    const std::string fx = s.write("s.glfx", kSwitches);
    const Result r = glfx("render --effect " + q(fx) + " --size 3x2 --depth 32 -o " + q(s.path("o.exr")) + " " +
                          c.sets);
    ASSERT_EQ(r.status, 0) << r.err;
    const Pixels out = readPixels(s.path("o.exr"));
    EXPECT_FLOAT_EQ(out.at(1, 1, 0), c.r);
    EXPECT_FLOAT_EQ(out.at(1, 1, 1), c.g);
    EXPECT_FLOAT_EQ(out.at(1, 1, 2), c.b);
    EXPECT_FLOAT_EQ(out.at(1, 1, 3), c.a);
}

INSTANTIATE_TEST_SUITE_P(
    Groups, Switches,
    testing::Values(SwitchCase{"defaults", "", 0.0f, 0.25f, 0.75f, 0.0f},
                    SwitchCase{"checkbox_on", "--set split=true", 1.0f, 0.25f, 0.75f, 0.0f},
                    SwitchCase{"checkbox_on_then_slider", "--set split=true --set far=0.5", 1.0f, 0.25f, 0.5f, 0.0f},
                    SwitchCase{"checkbox_off_again", "--set split=on --set split=off", 0.0f, 0.25f, 0.75f, 0.0f},
                    SwitchCase{"hiding_popup", "--set look=b --set lb=0.5 --set look=c", 0.0f, 0.25f, 0.75f, 1.0f}),
    [](const testing::TestParamInfo<SwitchCase>& i) { return std::string(i.param.name); });
