// glfx render through the real plug-in and the reference host: pass-through
// at every depth, parameter values set as user changes (presets and group
// switches included), frame ranges, and failures that must leave no file
// behind.
#include "cli_run.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

using namespace clitest;

namespace {

// Nearest-texel sampling: with linear filtering a GPU may sample a texel
// centre a few ulps off (llvmpipe gives 0.9999994 for 1.0), which the 8-bit
// transfer's truncation turns into one step less.
const char* kPassThrough = "[settings]\nname=Copy\ninterp=0\ndescription=Copies its input.\nversion=1.0\n";

// The shader writes its uniforms as colours: level to red, the blue of tint
// to green, the popup item (0, 1, 2) / 2 to blue.
const char* kUniforms = "[settings]\nname=Uniforms\nversion=1.0\n"
                        "[par1]\nparam=level\ntype=float\nmin=0\nmax=1\ndefault=0.25\n"
                        "[par2]\nparam=tint\ntype=color\ndefault=0|0|0\n"
                        "[par3]\nparam=mode\ntype=popup\ntext=off|half|full\ndefault=0\n"
                        "[ps0]\nuniform float level;\nuniform vec3 tint;\nuniform int mode;\n"
                        "void main() { gl_FragColor = vec4(level, tint.b, float(mode) / 2.0, 1.0); }\n";

// A popup with flags 3 chooses presets that write gain; red shows gain.
const char* kPresets =
    "[settings]\nname=Presets\nversion=1.0\n"
    "[par1]\nparam=gain\ntype=float\nmin=0\nmax=1\ndefault=0\n"
    "[par2]\nparam=look\ntype=popup\ntext=none|warm|cold\nflags=3\n"
    "[preset_look_1]\ngain=0.5\n[preset_look_2]\ngain=0.75\n"
    "[ps0]\nuniform float gain;\nvoid main() { gl_FragColor = vec4(gain, 0.0, 0.0, 1.0); }\n";

// Red shows the time uniform (host time units x 0.0001).
const char* kTime = "[settings]\nname=Clock\nversion=1.0\n"
                    "[ps0]\nuniform float time;\nvoid main() { gl_FragColor = vec4(time, 0.0, 0.0, 1.0); }\n";

// Red = the checkbox, green = the angle's whole degrees / 360, blue and alpha
// = the point in layer pixels / 100.
const char* kMore =
    "[settings]\nname=More\nversion=1.0\n"
    "[par1]\nparam=on\ntype=check\ndefault=false\n"
    "[par2]\nparam=turn\ntype=angle\ndefault=10\n"
    "[par3]\nparam=spot\ntype=point\ndefault=0.5|0.25\n"
    "[ps0]\nuniform int on;\nuniform float turn;\nuniform vec2 spot;\n"
    "void main() { gl_FragColor = vec4(float(on), turn / 360.0, spot.x / 100.0, spot.y / 100.0); }\n";

// Group switches: the switch's click goes to the plug-in as a user change,
// which disables (or, from group 101 on, hides) the other groups' parameters
// through the host's suites; that must succeed and leave the values as they
// are. The checkbox also carries a definition (flags 1), which the shader
// reads as _split; red shows it, green and blue the two grouped sliders,
// alpha the popup's item / 2.
const char* kSwitches = "[settings]\nname=Switches\nversion=1.0\n"
                        "[par1]\nparam=split\ntype=check\nflags=1\ngroupswitch=3\nmax=1\ndefault=0\n"
                        "[par2]\nparam=near\ntype=float\nmin=0\nmax=1\ndefault=0.25\ngroup=3\n"
                        "[par3]\nparam=far\ntype=float\nmin=0\nmax=1\ndefault=0.75\ngroup=4\n"
                        "[par4]\nparam=look\ntype=popup\ntext=a|b|c\ngroupswitch=101\n"
                        "[par5]\nparam=lb\ntype=float\nmin=0\nmax=1\ndefault=0\ngroup=102\n"
                        "[ps0]\nuniform float near;\nuniform float far;\nuniform int look;\n"
                        "void main() {\n#ifndef _split\n#define _split 0\n#endif\n"
                        "  gl_FragColor = vec4(_split != 0 ? 1.0 : 0.0, near, far, float(look) / 2.0);\n}\n";

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

// Quantises to a file's integer type as OpenImageIO does (round to nearest);
// other types are left as they are.
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

struct PassCase {
    const char* name;
    const char* input;     // input file name (its extension picks the format)
    const char* inputType; // pixel type written
    const char* args;      // extra arguments
    const char* output;
    const char* outputType; // type expected in the output file
    float lo, hi;           // input value range
    float tolerance;
};

class PassThrough : public testing::TestWithParam<PassCase> {};

TEST_P(PassThrough, OutputEqualsInput)
{
    NEED_PLUGIN();
    const PassCase& c = GetParam();
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
    ASSERT_EQ(out.width, 5);
    ASSERT_EQ(out.height, 3);
    ASSERT_EQ(out.channels, 4);
    for (int i = 0; i < 15 * 4; ++i)
        EXPECT_NEAR(out.v[i], want[i], c.tolerance) << "pixel " << i / 4 << " channel " << i % 4;
    // Only the input, the description and the output: no temporary file left.
    EXPECT_EQ(s.files().size(), 3u);
}

// 8-bit values survive exactly; 16-bit files pass through the host's 0..32768
// range, so a value may move by up to two steps of 65535; float is exact,
// values outside 0..1 included; a float render is written to PNG as 16-bit.
INSTANTIATE_TEST_SUITE_P(
    Depths, PassThrough,
    testing::Values(
        PassCase{"png8", "in.png", "uint8", "", "out.png", "uint8", 0.0f, 1.0f, 1e-6f},
        PassCase{"png16", "in.png", "uint16", "", "out.png", "uint16", 0.0f, 1.0f, 2.01f / 65535},
        PassCase{"tif16", "in.tif", "uint16", "", "out.tif", "uint16", 0.0f, 1.0f, 2.01f / 65535},
        PassCase{"exr32", "in.exr", "float", "", "out.exr", "float", -0.25f, 1.75f, 0.0f},
        PassCase{"exr32_to_png16", "in.exr", "float", "", "out.png", "uint16", 0.0f, 1.0f, 1.01f / 65535},
        PassCase{"png8_at16", "in.png", "uint8", "--depth 16", "out.png", "uint16", 0.0f, 1.0f, 1.01f / 255},
        PassCase{"png8_at32", "in.png", "uint8", "--depth 32", "out.exr", "float", 0.0f, 1.0f, 1e-6f},
        PassCase{"premiere", "in.png", "uint8", "--host premiere", "out.png", "uint8", 0.0f, 1.0f, 1e-6f}),
    [](const testing::TestParamInfo<PassCase>& i) { return std::string(i.param.name); });

TEST(Render, TestPatternHasTheRequestedSize)
{
    NEED_PLUGIN();
    Scratch s;
    const Result r = glfx(render(s, kPassThrough, "--size 64x36 -o " + q(s.path("p.png"))));
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

struct ValueCase {
    const char* name;
    const char* effect;
    const char* base;   // size, depth and time
    const char* sets;   // --set options
    const char* output; // its extension picks the format
    int x, y;           // the pixel read back
    float rgba[4];
};

class Values : public testing::TestWithParam<ValueCase> {};

TEST_P(Values, ShaderSeesTheValue)
{
    NEED_PLUGIN();
    const ValueCase& c = GetParam();
    Scratch s;
    const Result r =
        glfx(render(s, c.effect, std::string(c.base) + " " + c.sets + " -o " + q(s.path(c.output))));
    ASSERT_EQ(r.status, 0) << r.err;
    const Pixels out = readPixels(s.path(c.output));
    ASSERT_GT(out.width, c.x);
    ASSERT_GT(out.height, c.y);
    for (int k = 0; k < 4; ++k)
        EXPECT_FLOAT_EQ(out.at(c.x, c.y, k), c.rgba[k]) << "channel " << k;
}

// Colours are stored by the host in 8 bits: 0.8 becomes 204, which the shader
// sees as 204 / 255. Popups count from the first item as 0 in shaders. An
// 8-bit world truncates: 0.5 is 127. Time 0.5 s is 5000 host units of
// 10000 a second, which the shader reads as 0.5 (seconds). Angles reach shaders as whole degrees,
// rounded toward minus infinity; points as whole pixels (on a 200 x 80
// layer, the point default (50 %, 25 %) is (100, 20) pixels).
const char* const kU = "--size 4x2 --depth 32";
const char* const kM = "--size 200x80 --depth 32";
const char* const kS = "--size 3x2 --depth 32";
const char* const kP = "--size 2x2 --depth 32";
INSTANTIATE_TEST_SUITE_P(
    Uniforms, Values,
    testing::Values(
        ValueCase{"defaults", kUniforms, kU, "", "o.exr", 2, 1, {0.25f, 0, 0, 1}},
        ValueCase{"float", kUniforms, kU, "--set level=0.6", "o.exr", 2, 1, {0.6f, 0, 0, 1}},
        ValueCase{
            "colour", kUniforms, kU, "--set tint=0.2,0.4,0.8", "o.exr", 2, 1, {0.25f, 204.0f / 255, 0, 1}},
        ValueCase{"popup", kUniforms, kU, "--set mode=half", "o.exr", 2, 1, {0.25f, 0, 0.5f, 1}},
        ValueCase{"all",
                  kUniforms,
                  kU,
                  "--set level=1 --set mode=full --set tint=0,0,1",
                  "o.exr",
                  2,
                  1,
                  {1, 1, 1, 1}},
        ValueCase{
            "last_wins", kUniforms, kU, "--set level=0.1 --set level=0.75", "o.exr", 2, 1, {0.75f, 0, 0, 1}},
        ValueCase{"eight_bit",
                  kUniforms,
                  "--size 3x3",
                  "--set level=0.5 --set tint=0,0,0.8",
                  "o.png",
                  1,
                  1,
                  {127.0f / 255, 204.0f / 255, 0, 1}},
        ValueCase{"time", kTime, kP, "--time 0.5", "o.exr", 0, 0, {0.5f, 0, 0, 1}},
        ValueCase{"more_defaults", kMore, kM, "", "o.exr", 7, 7, {0, 10.0f / 360, 1.0f, 0.2f}},
        ValueCase{"checkbox_on", kMore, kM, "--set on=true", "o.exr", 7, 7, {1, 10.0f / 360, 1.0f, 0.2f}},
        ValueCase{"checkbox_off_again",
                  kMore,
                  kM,
                  "--set on=true --set on=false",
                  "o.exr",
                  7,
                  7,
                  {0, 10.0f / 360, 1.0f, 0.2f}},
        ValueCase{"angle", kMore, kM, "--set turn=90", "o.exr", 7, 7, {0, 0.25f, 1.0f, 0.2f}},
        ValueCase{
            "negative_angle", kMore, kM, "--set turn=-45.5", "o.exr", 7, 7, {0, -46.0f / 360, 1.0f, 0.2f}},
        ValueCase{"point", kMore, kM, "--set spot=30,40", "o.exr", 7, 7, {0, 10.0f / 360, 0.3f, 0.4f}},
        ValueCase{"point_fraction",
                  kMore,
                  kM,
                  "--set spot=12.75,3.5",
                  "o.exr",
                  7,
                  7,
                  {0, 10.0f / 360, 0.12f, 0.03f}},
        ValueCase{"preset_warm", kPresets, kP, "--set look=warm", "o.exr", 0, 0, {0.5f, 0, 0, 1}},
        ValueCase{"no_preset_for_none",
                  kPresets,
                  kP,
                  "--set gain=0.3 --set look=none",
                  "o.exr",
                  0,
                  0,
                  {0.3f, 0, 0, 1}},
        ValueCase{"set_after_preset",
                  kPresets,
                  kP,
                  "--set look=warm --set gain=0.25",
                  "o.exr",
                  0,
                  0,
                  {0.25f, 0, 0, 1}},
        ValueCase{"preset_after_set",
                  kPresets,
                  kP,
                  "--set gain=0.25 --set look=cold",
                  "o.exr",
                  0,
                  0,
                  {0.75f, 0, 0, 1}},
        ValueCase{"switch_defaults", kSwitches, kS, "", "o.exr", 1, 1, {0, 0.25f, 0.75f, 0}},
        ValueCase{"switch_on", kSwitches, kS, "--set split=true", "o.exr", 1, 1, {1, 0.25f, 0.75f, 0}},
        ValueCase{"switch_on_then_slider",
                  kSwitches,
                  kS,
                  "--set split=true --set far=0.5",
                  "o.exr",
                  1,
                  1,
                  {1, 0.25f, 0.5f, 0}},
        ValueCase{"switch_off_again",
                  kSwitches,
                  kS,
                  "--set split=on --set split=off",
                  "o.exr",
                  1,
                  1,
                  {0, 0.25f, 0.75f, 0}},
        ValueCase{"hiding_popup",
                  kSwitches,
                  kS,
                  "--set look=b --set lb=0.5 --set look=c",
                  "o.exr",
                  1,
                  1,
                  {0, 0.25f, 0.75f, 1}}),
    [](const testing::TestParamInfo<ValueCase>& i) { return std::string(i.param.name); });

TEST(Render, FrameRangeWritesOneFilePerFrameAtItsTime)
{
    NEED_PLUGIN();
    Scratch s;
    const Result r =
        glfx(render(s, kTime, "--size 2x2 --depth 32 --fps 25 --frames 3-5 -o " + q(s.path("f.###.exr"))));
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(s.files(), (std::vector<std::string>{"f.003.exr", "f.004.exr", "f.005.exr", "fx.glfx"}));
    for (int f = 3; f <= 5; ++f) {
        // Frame f is at f / 25 s: f x 400 host units at 10000 a second,
        // which the shader reads as seconds.
        const float want = static_cast<float>(f * 400) * 0.0001f;
        EXPECT_NEAR(readPixels(s.path("f.00" + std::to_string(f) + ".exr")).at(1, 1, 0), want, 1e-6f) << f;
    }
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

struct ErrorCase {
    const char* name;
    const char* args;    // after "render --effect FX" (unless it names one); @NAME@ stands for a file below
    const char* message; // expected in the error line
};

class RenderErrors : public testing::TestWithParam<ErrorCase> {};

TEST_P(RenderErrors, FailWithOneLineAndNoOutput)
{
    const ErrorCase& c = GetParam();
    std::string args = c.args;
    if (args.find("--plugin") == std::string::npos) {
        NEED_PLUGIN();
    }
    Scratch s;
    writePixels(s.path("in.png"), 5, 3, inputPixels(0.0f, 1.0f), "uint8");
    const std::pair<std::string, std::string> files[] = {
        {"@IN@", s.path("in.png")},
        {"@OUT@", s.path("out.png")},
        {"@MISSING@", s.path("missing.png")},
        {"@BADFX@",
         s.write("bad.glfx", "[settings]\nname=Bad\n[ps0]\nvoid main() { gl_FragColor = nope; }\n")},
        {"@NODIR@", s.path("nodir/out.png")},
        {"@CORRUPT@", s.write("corrupt.png", "not an image at all")},
        {"@EMPTYIMG@", s.write("empty.ppm", "P6\n0 0\n255\n")}, // a picture of 0 x 0 pixels
    };
    for (const auto& [key, value] : files)
        for (size_t p; (p = args.find(key)) != std::string::npos;)
            args.replace(p, key.size(), q(value));
    const std::string effect =
        args.find("--effect") == std::string::npos ? "--effect " + q(s.write("u.glfx", kUniforms)) : "";
    const std::vector<std::string> before = s.files();
    const Result r = glfx("render " + effect + " " + args);
    EXPECT_NE(r.status, 0);
    EXPECT_NE(r.err.find(c.message), std::string::npos) << r.err;
    // The first line is the one error line, from glfx; details (a GLSL
    // log) are indented under it.
    EXPECT_EQ(r.err.rfind("glfx: ", 0), 0u) << r.err;
    for (size_t nl = r.err.find('\n'); nl != std::string::npos && nl + 1 < r.err.size();
         nl = r.err.find('\n', nl + 1))
        EXPECT_EQ(r.err[nl + 1], ' ') << r.err;
    EXPECT_EQ(s.files(), before) << "a file was left behind";
}

INSTANTIATE_TEST_SUITE_P(
    Cases, RenderErrors,
    testing::Values(
        ErrorCase{"unknown_parameter", "@IN@ -o @OUT@ --set levle=1", "unknown parameter 'levle'"},
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
        ErrorCase{"zero_sized_layer", "@IN@ -o @OUT@ --layer level=@EMPTYIMG@", "not a 2D image with pixels"},
        ErrorCase{"unknown_layer", "@IN@ -o @OUT@ --layer nosuch=@IN@", "unknown parameter 'nosuch'"},
        ErrorCase{"unknown_parameter_after_good_one", "@IN@ -o @OUT@ --set level=0.5 --set nosuch=1",
                  "unknown parameter 'nosuch'"}),
    [](const testing::TestParamInfo<ErrorCase>& i) { return std::string(i.param.name); });
