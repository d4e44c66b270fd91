// The frei0r module inside the real hosts: a module written by
// `glfx frei0r`, loaded by ffmpeg's frei0r filters (and melt when present),
// must give the same 8-bit frame as `glfx render` with the same values, see
// the frame's time in seconds, and fail to load cleanly when it carries no
// effect.
#include "HostRun.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>

using namespace clitest;
using namespace frei0rtest;

namespace {

constexpr int kWidth = 64, kHeight = 48;

// Bands by column: 0..7 (level / 2, count / 10, popup item / 2, the group
// switch's definition), 8..15 the tint, 16..23 (angle / 360, point / 64,
// point / 64, 1), 24..31 time; the rest shows the input with its channels
// turned round, so the frame's own pixels count too. Nearest sampling keeps
// 8-bit values exact.
const char* kValues =
    "[settings]\nname=Values\ndescription=Every parameter type in pixels.\ninterp=0\n"
    "[par1]\nparam=level\ntype=float\nmin=0\nmax=2\ndefault=0.5\ngroup=3\n"
    "[par2]\nparam=count\ntype=int\nmin=0\nmax=10\ndefault=2\n"
    "[par3]\nparam=tint\ntype=color\ndefault=0|0|0\n"
    "[par4]\nparam=mode\ntype=popup\ntext=off|half|full\ndefault=0\n"
    "[par5]\nparam=on\ntype=check\nflags=1\ngroupswitch=3\ndefault=0\n"
    "[par6]\nparam=turn\ntype=angle\ndefault=10\n"
    "[par7]\nparam=spot\ntype=point\ndefault=0.5|0.25\n"
    "[par8]\nparam=look\ntype=popup\ntext=none|warm|cold\nflags=3\n"
    "[preset_look_1]\nlevel=1.5\n[preset_look_2]\nlevel=0.25\n"
    "[ps0]\nuniform sampler2D in0;\nuniform float level, count, turn, time;\nuniform vec3 tint;\n"
    "uniform int mode;\nuniform vec2 spot;\n"
    "void main() {\n float x = gl_FragCoord.x;\n"
    " if (x < 8.0)\n"
    "  gl_FragColor = vec4(level / 2.0, count / 10.0, float(mode) / 2.0, _on != 0 ? 1.0 : 0.0);\n"
    " else if (x < 16.0)\n  gl_FragColor = vec4(tint, 1.0);\n"
    " else if (x < 24.0)\n  gl_FragColor = vec4(turn / 360.0, spot / 64.0, 1.0);\n"
    " else if (x < 32.0)\n  gl_FragColor = vec4(time, time, time, 1.0);\n"
    " else\n  gl_FragColor = texture2D(in0, gl_TexCoord[0].st).gbra;\n}\n";

// A second, different effect: the colours inverted.
const char* kInvert = "[settings]\nname=Flip\ninterp=0\n"
                      "[par1]\nparam=amount\ntype=float\nmin=0\nmax=1\ndefault=1\n"
                      "[ps0]\nuniform sampler2D in0;\nuniform float amount;\n"
                      "void main() {\n vec4 c = texture2D(in0, gl_TexCoord[0].st);\n"
                      " gl_FragColor = vec4(mix(c.rgb, vec3(1.0) - c.rgb, amount), c.a);\n}\n";

class Frei0rHosts : public ::testing::Test {
protected:
    void SetUp() override
    {
        if (!pluginBuilt())
            FAIL() << "glfxplugin.so is not built beside glfx";
        if (!have("ffmpeg"))
            FAIL() << "ffmpeg is not installed (scripts/bootstrap installs it)";
        // A test pattern with distinct values in every channel.
        const Shell r = sh(s.path(""), "ffmpeg -hide_banner -loglevel error -f lavfi -i testsrc2=size=" +
                                           std::to_string(kWidth) + "x" + std::to_string(kHeight) +
                                           ":rate=5 -frames:v 1 -pix_fmt rgba -y " + q(s.path("in.png")));
        ASSERT_EQ(r.status, 0) << r.output;
    }

    // Writes module NAME.so for the effect text into the scratch folder.
    void module(const std::string& name, const char* effect)
    {
        const std::string file = s.write(name + ".glfx", effect);
        const Result r = glfx("frei0r --effect " + q(file) + " -o " + q(s.path(name + ".so")));
        ASSERT_EQ(r.status, 0) << r.err;
    }

    // `glfx render` of in.png with the effect and --set options.
    Pixels reference(const std::string& name, const std::string& input, const std::string& sets)
    {
        const std::string out = s.path(name + "_ref.png");
        const Result r = glfx("render --effect " + q(s.path(name + ".glfx")) + " " + q(input) + " " + sets +
                              " -o " + q(out));
        EXPECT_EQ(r.status, 0) << r.err;
        return readPixels(out);
    }

    Pixels ffmpeg(const std::string& filters, const std::string& out)
    {
        const Shell r =
            sh(s.path(""), "ffmpeg -hide_banner -loglevel error -i " + q(s.path("in.png")) + " -vf " +
                               q(filters) + " -frames:v 1 -update 1 -y " + q(s.path(out)));
        EXPECT_EQ(r.status, 0) << r.output;
        return readPixels(s.path(out));
    }

    Scratch s;
};

// ffmpeg sets parameters by position: level, count, tint, mode, on, turn,
// spot_x, spot_y, look. Sliders take [0,1] of their range, the angle [0,1] of
// a turn, the point fractions of the frame (64 x 48).
struct ValuesCase {
    const char* what;
    const char* params; // ffmpeg's filter_params
    const char* sets;   // the same values for glfx render
};

class Frei0rValues : public Frei0rHosts, public ::testing::WithParamInterface<ValuesCase> {};

TEST_P(Frei0rValues, FfmpegFrameEqualsGlfxRender)
{
    module("values", kValues);
    const ValuesCase& c = GetParam();
    const Pixels got = ffmpeg(std::string("frei0r=filter_name=values:filter_params=") + c.params, "out.png");
    expectSame(got, reference("values", s.path("in.png"), c.sets));
}

INSTANTIATE_TEST_SUITE_P(
    Params, Frei0rValues,
    ::testing::Values(
        ValuesCase{"defaults", "", ""},
        ValuesCase{"every type", "0.75|0.3|0.2/0.4/1|full|y|0.25|0.125|0.75|none",
                   "--set level=1.5 --set count=3 --set tint=0.2,0.4,1 --set mode=full --set on=true "
                   "--set turn=90 --set spot=8,36"},
        ValuesCase{"unknown popup text keeps the item", "0.5|0.2|0/0/0|bogus", "--set level=1"},
        ValuesCase{"popup by number, out of range clamps", "1.5|-1|0/0/0|2",
                   "--set level=2 --set count=0 --set mode=half"},
        ValuesCase{"a preset overrides the level the host set", "0.1|0.2|0/0/0|off|n|0.25|0.5|0.25|warm",
                   "--set level=0.2 --set turn=90 --set look=warm"}),
    [](const ::testing::TestParamInfo<ValuesCase>& i) {
        std::string n = i.param.what;
        for (char& ch : n)
            if (!std::isalnum(static_cast<unsigned char>(ch)))
                ch = '_';
        return n;
    });

// Two different effects in one filter graph, each with its own description.
TEST_F(Frei0rHosts, TwoEffectsInOneGraph)
{
    module("values", kValues);
    module("flip", kInvert);
    const Pixels got = ffmpeg(
        "frei0r=filter_name=flip:filter_params=1,frei0r=filter_name=values:filter_params=0.25", "two.png");
    // The chain by hand: flip the input, then run the values effect on that.
    ASSERT_EQ(reference("flip", s.path("in.png"), "--set amount=1").width, kWidth);
    expectSame(got, reference("values", s.path("flip_ref.png"), "--set level=0.5"));
}

// ffmpeg passes milliseconds; the effect must see seconds: frame k of a 5 fps
// clip is at k / 5 s, written as k / 5 × 255 into the time band.
TEST_F(Frei0rHosts, FfmpegTimeReadsSeconds)
{
    module("values", kValues);
    const Shell r =
        sh(s.path(""), "ffmpeg -hide_banner -loglevel error -f lavfi -i testsrc2=size=64x48:rate=5 "
                       "-frames:v 5 -vf frei0r=filter_name=values -y " +
                           q(s.path("t%d.png")));
    ASSERT_EQ(r.status, 0) << r.output;
    for (int k = 0; k < 5; ++k) {
        const Pixels p = readPixels(s.path("t" + std::to_string(k + 1) + ".png"));
        EXPECT_EQ(std::lround(p.at(28, 10, 0) * 255), k * 51) << "frame " << k;
    }
}

// melt and GStreamer set parameters by name (MLT never sets positions, so
// the point keeps its default) and set every one before every frame: the
// preset a popup applies must stand. Each host writes one frame of in.png.
struct NamedHost {
    const char* tool;
    std::string (*command)(const std::string& dir);
};

const NamedHost kNamedHosts[] = {
    {"melt",
     [](const std::string& dir) {
         return "melt -profile " + meltProfile(dir, kWidth, kHeight) + " " + meltImage(dir + "/in.png") +
                " out=0 -filter frei0r.values level=0.75 count=0.3 mode=full on=1 turn=0.25 look=warm "
                "-consumer avformat:" +
                q(dir + "/host.png") + " vcodec=png pix_fmt=rgba frames=1 real_time=-1";
     }},
    {"gst-launch-1.0",
     [](const std::string& dir) {
         return "GST_REGISTRY=" + q(dir + "/registry.bin") +
                " gst-launch-1.0 -q filesrc location=" + q(dir + "/in.png") +
                " ! pngdec ! videoconvert ! frei0r-filter-values level=0.75 count=0.3 mode=full on=true "
                "turn=0.25 look=warm ! videoconvert ! pngenc ! filesink location=" +
                q(dir + "/host.png");
     }},
};

TEST_F(Frei0rHosts, NamedHostsFrameEqualsGlfxRender)
{
    module("values", kValues);
    const Pixels want = reference(
        "values", s.path("in.png"),
        "--set level=1.5 --set count=3 --set mode=full --set on=true --set turn=90 --set look=warm");
    for (const NamedHost& h : kNamedHosts) {
        SCOPED_TRACE(h.tool);
        if (!have(h.tool)) {
            ADD_FAILURE() << h.tool << " is not installed (scripts/bootstrap installs it)";
            continue;
        }
        std::filesystem::remove(s.path("host.png"));
        const Shell r = sh(s.path(""), h.command(s.path("")));
        ASSERT_EQ(r.status, 0) << r.output;
        expectSame(readPixels(s.path("host.png")), want);
    }
}

// Seconds in melt and GStreamer too: five frames at 5 fps.
TEST_F(Frei0rHosts, NamedHostsTimeReadsSeconds)
{
    module("values", kValues);
    const std::string dir = s.path("");
    const struct {
        const char* tool;
        std::string command;
        int first; // the number of the first file
    } hosts[] = {
        {"melt",
         "melt -profile " + meltProfile(dir, kWidth, kHeight) + " " + meltImage(dir + "/in.png") +
             " out=4 -filter frei0r.values -consumer avformat:" + q(dir + "/t%d.png") +
             " vcodec=png real_time=-1",
         1},
        {"gst-launch-1.0",
         "GST_REGISTRY=" + q(dir + "/registry.bin") +
             " gst-launch-1.0 -q videotestsrc num-buffers=5 ! video/x-raw,width=64,height=48,framerate=5/1 ! "
             "videoconvert ! frei0r-filter-values ! videoconvert ! pngenc ! multifilesink location=" +
             q(dir + "/t%d.png"),
         0},
    };
    for (const auto& h : hosts) {
        SCOPED_TRACE(h.tool);
        const Shell r = sh(dir, h.command);
        ASSERT_EQ(r.status, 0) << r.output;
        for (int k = 0; k < 5; ++k) {
            const Pixels p = readPixels(s.path("t" + std::to_string(k + h.first) + ".png"));
            ASSERT_EQ(p.width, kWidth) << "frame " << k;
            EXPECT_EQ(std::lround(p.at(28, 10, 0) * 255), k * 51) << "frame " << k;
        }
    }
}

// Long runs keep memory flat: ffmpeg's peak resident size after 10,000 small
// frames stays within a few megabytes of its peak after 1,000. These frames
// carry no timestamp, so the module counts them instead.
TEST_F(Frei0rHosts, TenThousandFramesKeepMemoryFlat)
{
    module("values", kValues);
    auto peakKb = [&](int frames) {
        const Shell r =
            sh(s.path(""), "ffmpeg -hide_banner -benchmark -f lavfi -i testsrc2=size=32x32:rate=25 "
                           "-frames:v " +
                               std::to_string(frames) + " -vf frei0r=values -f null -");
        EXPECT_EQ(r.status, 0) << r.output;
        const size_t at = r.output.find("maxrss=");
        EXPECT_NE(at, std::string::npos) << r.output;
        return at == std::string::npos ? 0L : std::atol(r.output.c_str() + at + 7);
    };
    const long shortRun = peakKb(1000), longRun = peakKb(10000);
    ASSERT_GT(shortRun, 0);
    constexpr long kSlackKb = 8 * 1024;
    EXPECT_LT(longRun, shortRun + kSlackKb)
        << "1,000 frames: " << shortRun << " kB, 10,000: " << longRun << " kB";
}

// A frame wider than the GL limit passes through unchanged, said once (a
// width of whole 64-byte rows: ffmpeg hands frei0r its frames as packed).
TEST_F(Frei0rHosts, OversizedFramePassesThrough)
{
    module("flip", kInvert);
    auto frames = [&](const std::string& filter, const std::string& out) {
        const Shell r = sh(s.path(""), "ffmpeg -hide_banner -loglevel error -f lavfi -i "
                                       "testsrc2=size=16448x4:rate=5,format=rgba -frames:v 3 " +
                                           filter + " -f rawvideo -pix_fmt rgba -y " + q(s.path(out)));
        EXPECT_EQ(r.status, 0) << r.output;
        std::ifstream in(s.path(out), std::ios::binary);
        return std::make_pair(std::string(std::istreambuf_iterator<char>(in), {}), r.output);
    };
    const auto plain = frames("", "plain.rgba");
    const auto filtered = frames("-vf frei0r=filter_name=flip:filter_params=1", "flip.rgba");
    ASSERT_EQ(plain.first.size(), size_t{16448} * 4 * 4 * 3);
    EXPECT_TRUE(filtered.first == plain.first) << "the frames changed";
    const std::string& err = filtered.second;
    const size_t first = err.find("larger than the GL limit");
    EXPECT_NE(first, std::string::npos) << err;
    EXPECT_EQ(err.find("larger than the GL limit", first + 1), std::string::npos) << err;
}

// A "noinput" effect is a source: ffmpeg's frei0r_src runs it, and its
// slider arrives mapped (0.6 of 0..1 gives 153 of 255).
TEST_F(Frei0rHosts, SourceThroughFfmpeg)
{
    module("gen",
           "[settings]\nname=Gen\nnoinput=1\n"
           "[par1]\nparam=level\ntype=float\nmin=0\nmax=1\ndefault=0.2\n"
           "[ps0]\nuniform float level;\nvoid main() { gl_FragColor = vec4(level, 0.4, 0.6, 1.0); }\n");
    const Shell r = sh(s.path(""), "ffmpeg -hide_banner -loglevel error -f lavfi -i "
                                   "frei0r_src=size=16x8:framerate=5:filter_name=gen:filter_params=0.6 "
                                   "-frames:v 1 -update 1 -y " +
                                       q(s.path("gen.png")));
    ASSERT_EQ(r.status, 0) << r.output;
    const Pixels p = readPixels(s.path("gen.png"));
    ASSERT_EQ(p.width, 16);
    const long want[3] = {153, 102, 153};
    for (int c = 0; c < 3; ++c)
        EXPECT_EQ(std::lround(p.at(5, 3, c) * 255), want[c]) << "channel " << c;
}

// A module without an effect (the bare template) does not load: the host
// says so and exits with an error status, not a crash.
TEST_F(Frei0rHosts, BareTemplateFailsToLoad)
{
    std::filesystem::copy_file(std::string(GLFX_BINARY_DIR) + "/glfxfrei0r.so", s.path("bare.so"));
    const Shell r = sh(s.path(""), "ffmpeg -hide_banner -loglevel error -i " + q(s.path("in.png")) +
                                       " -vf frei0r=filter_name=bare -f null -");
    EXPECT_GT(r.status, 0) << r.output;
    EXPECT_NE(r.output.find("carries no effect"), std::string::npos) << r.output;
}

// A description that parses but does not set up, or whose shaders do not
// build: the module cannot be loaded. That is known at f0r_init, so the host
// says it cannot use the effect rather than passing frames through as if it
// worked. ffmpeg fails cleanly, and the module says why in one line naming
// its file, once, with any details indented under it.
struct BrokenCase {
    const char* what;
    const char* effect;
    const char* line;   // the start of the module's one line
    const char* detail; // text of the details under it; null: none
};

class Frei0rBroken : public ::testing::TestWithParam<BrokenCase> {};

TEST_P(Frei0rBroken, FailsToLoadSayingWhyOnce)
{
    const BrokenCase& c = GetParam();
    Scratch s;
    const std::string file = s.write("broken.glfx", c.effect);
    const Result w = glfx("frei0r --effect " + q(file) + " -o " + q(s.path("broken.so")));
    ASSERT_EQ(w.status, 0) << w.err;
    const Shell r =
        sh(s.path(""), "ffmpeg -hide_banner -loglevel error -f lavfi -i testsrc2=size=32x32:rate=5 "
                       "-frames:v 3 -vf frei0r=broken -f null -");
    EXPECT_GT(r.status, 0) << r.output;
    EXPECT_EQ(occurrences(r.output, std::string("glfx frei0r broken.so: ") + c.line), 1) << r.output;
    EXPECT_EQ(occurrences(r.output, "glfx frei0r"), 1) << r.output;
    if (c.detail) {
        EXPECT_EQ(occurrences(r.output, "\n    "), 1) << "the details, indented: " << r.output;
        EXPECT_NE(r.output.find(c.detail), std::string::npos) << r.output;
    }
}

INSTANTIATE_TEST_SUITE_P(
    Setup, Frei0rBroken,
    ::testing::Values(BrokenCase{"shader",
                                 "[settings]\nname=Broken\n[par1]\nparam=amount\ntype=float\n"
                                 "[ps0]\nuniform sampler2D in0;\n"
                                 "void main() { gl_FragColor = nosuch(in0); }\n",
                                 "the effect's shaders do not build\n", "nosuch"},
                      BrokenCase{"setup",
                                 "[settings]\nname=Broken\n[par1]\nparam=mode\ntype=popup\ntext=\n"
                                 "[ps0]\nvoid main() { gl_FragColor = vec4(1.0); }\n",
                                 "the effect did not set up (error ", nullptr}),
    [](const ::testing::TestParamInfo<BrokenCase>& i) { return std::string(i.param.what); });

} // namespace
