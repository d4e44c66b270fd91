// A mixer2 module (an effect with one layer parameter) in the hosts that
// mix two streams: an MLT transition (track A is the input, track B the
// layer) and a GStreamer mixer (sink_0 the input, sink_1 the layer). Each
// frame must equal glfx render of A with --layer set to B, 8-bit exact. And
// a mixer3 (two layers) in GStreamer.
#include "HostRun.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

using namespace clitest;
using namespace frei0rtest;

namespace {

constexpr int kWidth = 64, kHeight = 48;

// Bands by column: 0..15 the input, 16..31 the layer, the rest a mix of the
// two by `amount` (with the layer's channels turned round, so that an input
// and a layer handed over in the wrong order, or in the wrong channel order,
// cannot give the same frame).
const char* kMix = "[settings]\nname=Mix\ndescription=Two streams side by side and mixed.\ninterp=0\n"
                   "[par1]\nparam=other\ntype=layer\n"
                   "[par2]\nparam=amount\ntype=float\nmin=0\nmax=1\ndefault=0.5\n"
                   "[ps0]\nuniform sampler2D in0, in1;\nuniform float amount;\n"
                   "void main() {\n vec4 a = texture2D(in0, gl_TexCoord[0].st);\n"
                   " vec4 b = texture2D(in1, gl_TexCoord[0].st);\n"
                   " if (gl_FragCoord.x < 16.0) gl_FragColor = a;\n"
                   " else if (gl_FragCoord.x < 32.0) gl_FragColor = b;\n"
                   " else gl_FragColor = vec4(mix(a.rgb, b.brg, amount), 1.0);\n}\n";

// a.png, b.png and c.png: three different patterns with distinct values in
// every channel.
void makeInputs(const Scratch& s)
{
    const std::string size = std::to_string(kWidth) + "x" + std::to_string(kHeight);
    for (const char* pattern : {"a:testsrc2", "b:testsrc", "c:rgbtestsrc"}) {
        const std::string name = std::string(pattern).substr(0, 1), source = std::string(pattern).substr(2);
        const Shell r =
            sh(s.path(""), "ffmpeg -hide_banner -loglevel error -f lavfi -i " + source + "=size=" + size +
                               ":rate=5 -frames:v 1 -pix_fmt rgba -y " + q(s.path(name + ".png")));
        ASSERT_EQ(r.status, 0) << r.output;
    }
}

struct MixerHost {
    const char* tool;
    // The host's command: a.png and b.png mixed into host.png in `dir`, with
    // `amount` set (empty: the host sets nothing).
    std::string (*command)(const std::string& dir, const std::string& amount);
};

const MixerHost kMelt{"melt", [](const std::string& dir, const std::string& amount) {
                          return "melt -profile " + meltProfile(dir, kWidth, kHeight) + " " +
                                 meltImage(dir + "/a.png") + " out=0 -track " + meltImage(dir + "/b.png") +
                                 " out=0 -transition frei0r.mix" +
                                 (amount.empty() ? "" : " amount=" + amount) +
                                 " -consumer avformat:" + q(dir + "/host.png") +
                                 " vcodec=png pix_fmt=rgba frames=1 update=1 real_time=-1";
                      }};

const MixerHost kGStreamer{"gst-launch-1.0", [](const std::string& dir, const std::string& amount) {
                               return "GST_REGISTRY=" + q(dir + "/registry.bin") +
                                      " gst-launch-1.0 -q filesrc location=" + q(dir + "/a.png") +
                                      " ! pngdec ! videoconvert ! m.sink_0 filesrc location=" +
                                      q(dir + "/b.png") +
                                      " ! pngdec ! videoconvert ! m.sink_1 frei0r-mixer-mix name=m" +
                                      (amount.empty() ? "" : " amount=" + amount) +
                                      " ! videoconvert ! pngenc ! filesink location=" + q(dir + "/host.png");
                           }};

struct MixerCase {
    const MixerHost* host;
    const char* amount; // the host's value in [0,1]; empty: not set
    const char* sets;   // the same for glfx render
};

class Frei0rMixer : public ::testing::TestWithParam<MixerCase> {};

TEST_P(Frei0rMixer, FrameEqualsGlfxRenderWithLayer)
{
    const MixerCase& c = GetParam();
    if (!pluginBuilt())
        FAIL() << "glfxplugin.so is not built beside glfx";
    if (!have(c.host->tool))
        FAIL() << c.host->tool << " is not installed (scripts/bootstrap installs it)";
    Scratch s;
    const std::string dir = s.path("");
    ASSERT_NO_FATAL_FAILURE(makeInputs(s));
    const std::string fx = s.write("mix.glfx", kMix);
    const Result w = glfx("frei0r --effect " + q(fx) + " -o " + q(s.path("mix.so")));
    ASSERT_EQ(w.status, 0) << w.err;
    const Result ref =
        glfx("render --effect " + q(fx) + " " + q(s.path("a.png")) + " --layer other=" + q(s.path("b.png")) +
             " " + c.sets + " -o " + q(s.path("ref.png")));
    ASSERT_EQ(ref.status, 0) << ref.err;

    const Shell r = sh(dir, c.host->command(dir, c.amount));
    ASSERT_EQ(r.status, 0) << r.output;
    ASSERT_TRUE(std::filesystem::exists(s.path("host.png"))) << r.output;
    expectSame(readPixels(s.path("host.png")), readPixels(s.path("ref.png")));
}

INSTANTIATE_TEST_SUITE_P(Hosts, Frei0rMixer,
                         ::testing::Values(MixerCase{&kMelt, "", ""},
                                           MixerCase{&kMelt, "0.25", "--set amount=0.25"},
                                           MixerCase{&kGStreamer, "", ""},
                                           MixerCase{&kGStreamer, "0.9", "--set amount=0.9"}),
                         [](const ::testing::TestParamInfo<MixerCase>& i) {
                             std::string n = std::string(i.param.host == &kMelt ? "melt" : "gstreamer") +
                                             (*i.param.amount ? "_amount_set" : "_defaults");
                             return n;
                         });

// Two layer parameters make a mixer3: GStreamer's sink_2 is the second
// layer (MLT has no three-input transitions).
TEST(Frei0rMixer3, GStreamerFrameEqualsGlfxRenderWithLayers)
{
    if (!pluginBuilt())
        FAIL() << "glfxplugin.so is not built beside glfx";
    if (!have("gst-launch-1.0"))
        FAIL() << "gst-launch-1.0 is not installed (scripts/bootstrap installs it)";
    Scratch s;
    const std::string dir = s.path("");
    ASSERT_NO_FATAL_FAILURE(makeInputs(s));
    const std::string fx =
        s.write("three.glfx", "[settings]\nname=Three\ninterp=0\n"
                              "[par1]\nparam=first\ntype=layer\n"
                              "[par2]\nparam=second\ntype=layer\n"
                              "[ps0]\nuniform sampler2D in0, in1, in2;\n"
                              "void main() {\n vec2 t = gl_TexCoord[0].st;\n"
                              " if (gl_FragCoord.x < 16.0) gl_FragColor = texture2D(in0, t);\n"
                              " else if (gl_FragCoord.x < 32.0) gl_FragColor = "
                              "texture2D(in1, t).gbra;\n"
                              " else gl_FragColor = texture2D(in2, t).brga;\n}\n");
    const Result w = glfx("frei0r --effect " + q(fx) + " -o " + q(s.path("three.so")));
    ASSERT_EQ(w.status, 0) << w.err;
    const Result ref =
        glfx("render --effect " + q(fx) + " " + q(s.path("a.png")) + " --layer first=" + q(s.path("b.png")) +
             " --layer second=" + q(s.path("c.png")) + " -o " + q(s.path("ref.png")));
    ASSERT_EQ(ref.status, 0) << ref.err;
    std::string sources;
    for (const char* in : {"a", "b", "c"})
        sources += " filesrc location=" + q(s.path(std::string(in) + ".png")) +
                   " ! pngdec ! videoconvert ! m.sink_" + std::to_string(in[0] - 'a');
    const Shell r = sh(dir, "GST_REGISTRY=" + q(dir + "/registry.bin") + " gst-launch-1.0 -q" + sources +
                                " frei0r-mixer-three name=m ! videoconvert ! pngenc ! filesink location=" +
                                q(dir + "/host.png"));
    ASSERT_EQ(r.status, 0) << r.output;
    expectSame(readPixels(s.path("host.png")), readPixels(s.path("ref.png")));
}

} // namespace
