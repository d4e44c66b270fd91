// glfx render on video made by ffmpeg, through the real plug-in: what comes
// out against what went in (pixels, frame count, rate, duration, timestamps,
// colour tags, audio), and the failures that must print one line, exit
// non-zero and leave nothing behind.
#include "Clips.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <regex>
#include <set>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

using namespace mediatest;

namespace {

#define NEED_PLUGIN()                                                                                        \
    do {                                                                                                     \
        if (!pluginBuilt()) {                                                                                \
            FAIL() << "glfxplugin.so is not built beside glfx";                                              \
        }                                                                                                    \
    } while (0)

// Copies its input; nearest-texel sampling so that the GPU's filtering does
// not shift values.
const char* kCopy = "[settings]\nname=Copy\ninterp=0\ndescription=Copies its input.\nversion=1.0\n";

std::string effect(const Scratch& s, const char* text = kCopy)
{
    const std::string path = s.path("fx.glfx");
    std::ofstream(path) << text;
    return path;
}

Outcome render(const Scratch& s, const std::string& args, const char* fx = kCopy)
{
    return run("'" + glfxPath() + "' render -q --effect '" + effect(s, fx) + "' " + args);
}

double number(const std::string& text) { return text.empty() ? -1.0 : std::atof(text.c_str()); }

// The PSNR ffmpeg measures between two clips ("average" over Y, U, V).
double psnr(const std::string& a, const std::string& b)
{
    const std::string log =
        shell("ffmpeg -hide_banner -i '" + a + "' -i '" + b + "' -lavfi '[0:v][1:v]psnr' -f null - 2>&1");
    std::smatch m;
    static const std::regex average("average:([0-9.]+|inf)");
    if (!std::regex_search(log, m, average))
        return -1.0;
    return m[1] == "inf" ? 1e9 : std::atof(m[1].str().c_str());
}

// Same frame count, rate and duration; the colour tags carried.
void expectSameTiming(const std::string& in, const std::string& out)
{
    EXPECT_EQ(rawFrames(in, "gray").size(), rawFrames(out, "gray").size()) << "frame count";
    EXPECT_EQ(probe(in, "v", "r_frame_rate"), probe(out, "v", "r_frame_rate"));
    const std::string durIn =
        shell("ffprobe -v error -show_entries format=duration -of csv=p=0 '" + in + "'");
    const std::string durOut =
        shell("ffprobe -v error -show_entries format=duration -of csv=p=0 '" + out + "'");
    EXPECT_NEAR(number(durIn), number(durOut), 0.05) << "duration";
}

TEST(VideoRender, PassThroughIntoFfv1DiffersByAtMostOneCode)
{
    NEED_PLUGIN();
    Scratch s;
    const std::string in = s.path("in.mp4"), out = s.path("out.mkv");
    // Smooth gradients (a fixed seed, so that every run sees the same
    // colours): Y'CbCr that stays inside the RGB cube, which an 8-bit world
    // can hold; tagged BT.709, 8-bit 4:2:0. Coded losslessly: a lossy coder's
    // noise pushes colours near the cube's faces outside it, where an 8-bit
    // world clips them (a float world keeps them; --depth 32).
    ASSERT_TRUE(ffmpeg("-f lavfi -i gradients=s=1280x720:r=25:d=1:speed=0.05:seed=25 -vf "
                       "scale=out_color_matrix=bt709:out_range=tv,format=yuv420p -colorspace bt709 "
                       "-color_primaries bt709 -color_trc bt709 -color_range tv -c:v libx264 -qp 0 " +
                       in));
    const Outcome r = render(s, "'" + in + "' -o '" + out + "'");
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(probe(out, "v", "codec_name"), "ffv1");
    expectSameTiming(in, out);
    for (const char* tag : {"color_space", "color_primaries", "color_transfer", "color_range"})
        EXPECT_EQ(probe(out, "v", tag), probe(in, "v", tag)) << tag;
    const std::string a = rawFrames(in, "yuv420p"), b = rawFrames(out, "yuv420p");
    ASSERT_EQ(a.size(), b.size());
    ASSERT_GT(a.size(), 0u);
    int worst = 0;
    for (size_t i = 0; i < a.size(); ++i)
        worst = std::max(worst, std::abs(int(uint8_t(a[i])) - int(uint8_t(b[i]))));
    EXPECT_LE(worst, 1);
}

TEST(VideoRender, H264RoundTripKeepsQualityTimingAndAudio)
{
    NEED_PLUGIN();
    Scratch s;
    const std::string in = s.path("in.mp4"), out = s.path("graded.mp4");
    ASSERT_TRUE(
        ffmpeg("-f lavfi -i testsrc2=s=640x360:r=30:d=2 -f lavfi -i sine=f=440:d=2 -c:v libx264 -crf 16 "
               "-pix_fmt yuv420p -c:a aac -shortest " +
               in));
    const Outcome r = render(s, "'" + in + "' -o '" + out + "'");
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(probe(out, "v", "codec_name"), "h264");
    EXPECT_EQ(probe(out, "v", "pix_fmt"), "yuv420p");
    expectSameTiming(in, out);
    EXPECT_GE(psnr(in, out), 45.0);
    EXPECT_EQ(probe(out, "a", "codec_name"), "aac");
    EXPECT_NEAR(number(probe(out, "a", "duration")), number(probe(in, "a", "duration")), 0.05);
    // Fast start: the index comes before the media data.
    const std::string head = shell("head -c 4096 '" + out + "' | grep -c moov");
    EXPECT_EQ(head.substr(0, 1), "1");
}

// A range of source frames: those frames, timed from the range's start, with
// the audio of that span only.
TEST(VideoRender, FrameRangeTakesItsFramesAndTheirAudio)
{
    NEED_PLUGIN();
    Scratch s;
    const std::string in = s.path("in.mkv"), out = s.path("part.mkv");
    // Frame n is a flat grey of luma 16 + 4n.
    ASSERT_TRUE(ffmpeg("-f lavfi -i nullsrc=s=64x48:r=25:d=2 -f lavfi -i sine=d=2 -vf "
                       "\"format=yuv420p,geq=lum='16+4*N':cb=128:cr=128\" -c:v ffv1 -c:a flac -shortest " +
                       in));
    const Outcome r = render(s, "'" + in + "' --frames 10-19 -o '" + out + "'");
    ASSERT_EQ(r.status, 0) << r.err;
    const std::string luma = rawFrames(out, "gray"), source = rawFrames(in, "gray");
    const size_t frame = 64 * 48;
    ASSERT_EQ(luma.size(), 10 * frame);
    ASSERT_EQ(source.size(), 50 * frame);
    for (int i = 0; i < 10; ++i) // neighbouring frames are 4 luma steps apart
        EXPECT_NEAR(int(uint8_t(luma[i * frame + frame / 2])),
                    int(uint8_t(source[(10 + i) * frame + frame / 2])), 1)
            << "frame " << i;
    const std::string first =
        shell("ffprobe -v error -select_streams v:0 -show_entries frame=pts_time -of csv=p=0 '" + out +
              "' | head -1");
    EXPECT_NEAR(number(first), 0.0, 1e-6);
    const std::string audio =
        shell("ffprobe -v error -select_streams a:0 -show_entries packet=pts_time,duration_time "
              "-of csv=p=0 '" +
              out + "' | tail -1");
    const double end = number(audio.substr(0, audio.find(','))) + number(audio.substr(audio.find(',') + 1));
    EXPECT_NEAR(end, 0.4, 0.1) << audio;
}

TEST(VideoRender, TenBitProResStaysTenBit)
{
    NEED_PLUGIN();
    Scratch s;
    const std::string in = s.path("in.mov"), out = s.path("out.mov");
    // A horizontal 10-bit luma ramp over the whole legal range: 876 levels,
    // far more than 8 bits can tell apart.
    ASSERT_TRUE(
        ffmpeg("-f lavfi -i nullsrc=s=1280x64:r=24:d=0.25 -vf "
               "\"format=yuv422p10le,geq=lum='64+X*876/W':cb=512:cr=512\" -c:v prores_ks -profile:v 3 "
               "-colorspace bt709 -color_range tv " +
               in));
    const Outcome r = render(s, "'" + in + "' -o '" + out + "' --depth 16");
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(probe(out, "v", "pix_fmt"), "yuv422p10le");
    EXPECT_EQ(probe(out, "v", "profile"), "HQ");
    expectSameTiming(in, out);
    const std::string a = rawFrames(in, "yuv422p10le"), b = rawFrames(out, "yuv422p10le");
    ASSERT_EQ(a.size(), b.size());
    // One row of luma of the first frame: each value within two 10-bit
    // codes of the input, and as many distinct levels as the input has.
    const uint16_t* ya = reinterpret_cast<const uint16_t*>(a.data());
    const uint16_t* yb = reinterpret_cast<const uint16_t*>(b.data());
    std::set<int> levelsIn, levelsOut;
    int worst = 0;
    for (int x = 0; x < 1280; ++x) {
        const int i = 32 * 1280 + x;
        levelsIn.insert(ya[i]);
        levelsOut.insert(yb[i]);
        worst = std::max(worst, std::abs(int(ya[i]) - int(yb[i])));
    }
    EXPECT_LE(worst, 2);
    EXPECT_GT(levelsIn.size(), 800u);
    EXPECT_GT(levelsOut.size(), levelsIn.size() * 9 / 10);
}

TEST(VideoRender, VariableFrameRateKeepsEachFramesTime)
{
    NEED_PLUGIN();
    Scratch s;
    const std::string in = s.path("vfr.mkv"), out = s.path("out.mkv");
    ASSERT_TRUE(
        ffmpeg("-f lavfi -i testsrc2=s=64x48:r=25:d=0.32 -vf \"setpts=N*N/25/TB\" -fps_mode passthrough "
               "-c:v ffv1 " +
               in));
    const Outcome r = render(s, "'" + in + "' -o '" + out + "'");
    ASSERT_EQ(r.status, 0) << r.err;
    const auto times = [](const std::string& f) {
        return shell("ffprobe -v error -select_streams v:0 -show_entries frame=pts_time -of csv=p=0 '" + f +
                     "'");
    };
    EXPECT_EQ(times(in), times(out));
}

// The shaders' time reads seconds: red shows the time of each frame.
TEST(VideoRender, EffectTimeIsEachFramesPresentationTime)
{
    NEED_PLUGIN();
    Scratch s;
    const char* clock = "[settings]\nname=Clock\nversion=1.0\n[ps0]\nuniform float time;\n"
                        "void main() { gl_FragColor = vec4(time, 0.0, 0.0, 1.0); }\n";
    const std::string in = s.path("in.mkv"), out = s.path("f.##.exr");
    ASSERT_TRUE(ffmpeg("-f lavfi -i testsrc2=s=32x16:r=4:d=1 -c:v ffv1 " + in));
    const Outcome r = render(s, "'" + in + "' -o '" + out + "' --depth 32 --frames 1-3", clock);
    ASSERT_EQ(r.status, 0) << r.err;
    for (int f = 1; f <= 3; ++f) {
        const std::string px = shell("oiiotool '" + s.path("f.0" + std::to_string(f) + ".exr") +
                                     "' --printstats 2>&1 | grep -m1 Avg");
        EXPECT_NE(px.find(std::to_string(f * 0.25).substr(0, 4)), std::string::npos) << f << ": " << px;
    }
}

struct AudioCase {
    const char* name;
    const char* audio; // input audio codec
    const char* inExt;
    const char* outExt;
    const char* expected; // codec in the output
};

class Audio : public testing::TestWithParam<AudioCase> {};

TEST_P(Audio, IsCopiedOrReencodedNeverDropped)
{
    NEED_PLUGIN();
    const AudioCase& c = GetParam();
    Scratch s;
    const std::string in = s.path(std::string("in.") + c.inExt), out = s.path(std::string("out.") + c.outExt);
    ASSERT_TRUE(
        ffmpeg(std::string("-f lavfi -i testsrc2=s=64x48:r=25:d=1 -f lavfi -i sine=d=1:sample_rate=44100 "
                           "-c:v ffv1 -c:a ") +
               c.audio + " -shortest " + in));
    const Outcome r = render(s, "'" + in + "' -o '" + out + "'");
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(probe(out, "a", "codec_name"), c.expected);
    const std::string dur = shell("ffprobe -v error -show_entries format=duration -of csv=p=0 '" + out + "'");
    EXPECT_NEAR(number(dur), 1.0, 0.1);
    // Decoded sound is there (not silence): the sine's level.
    const std::string level =
        shell("ffmpeg -i '" + out + "' -af volumedetect -f null - 2>&1 | grep mean_volume");
    EXPECT_NE(level.find("mean_volume"), std::string::npos);
    EXPECT_EQ(level.find("-91"), std::string::npos) << level;
}

INSTANTIATE_TEST_SUITE_P(
    Containers, Audio,
    testing::Values(AudioCase{"aac_copied_to_mov", "aac", "mkv", "mov", "aac"},
                    AudioCase{"pcm_reencoded_for_mp4", "pcm_s16le", "mov", "mp4", "aac"},
                    AudioCase{"aac_reencoded_for_webm", "aac", "mkv", "webm", "opus"},
                    AudioCase{"pcm_copied_to_mkv", "pcm_s16le", "mov", "mkv", "pcm_s16le"}),
    [](const testing::TestParamInfo<AudioCase>& i) { return std::string(i.param.name); });

struct FailCase {
    const char* name;
    const char* make; // shell command in the folder making the input(s)
    const char* args; // glfx render arguments (in the folder)
    const char* says; // the failure line holds this
};

class Fails : public testing::TestWithParam<FailCase> {};

TEST_P(Fails, OneLineNonZeroNothingLeft)
{
    NEED_PLUGIN();
    const FailCase& c = GetParam();
    Scratch s;
    effect(s);
    if (*c.make) {
        ASSERT_EQ(run("cd '" + s.path("") + "' && " + c.make).status, 0) << c.make;
    }
    const auto before = filesIn(s.path(""));
    const Outcome r =
        run("cd '" + s.path("") + "' && '" + glfxPath() + "' render -q --effect fx.glfx " + c.args);
    EXPECT_NE(r.status, 0);
    EXPECT_EQ(r.err.rfind("glfx: ", 0), 0u) << r.err;
    // One line, and what follows it indented.
    const size_t nl = r.err.find('\n');
    EXPECT_NE(r.err.substr(0, nl).find(c.says), std::string::npos) << r.err;
    for (size_t at = nl; at != std::string::npos && at + 1 < r.err.size(); at = r.err.find('\n', at + 1))
        EXPECT_EQ(r.err[at + 1], ' ') << r.err;
    EXPECT_EQ(filesIn(s.path("")), before);
}

INSTANTIATE_TEST_SUITE_P(
    BadInput, Fails,
    testing::Values(
        FailCase{"no_video_stream", "ffmpeg -v error -f lavfi -i sine=d=0.3 -c:a aac a.mp4", "a.mp4 -o o.mp4",
                 "no video stream"},
        FailCase{"corrupt", "head -c 20000 /dev/urandom > c.mp4", "c.mp4 -o o.mkv", "c.mp4"},
        FailCase{
            "truncated",
            "ffmpeg -v error -f lavfi -i testsrc2=s=320x240:r=25:d=2 -c:v libx264 -movflags +faststart t.mp4 "
            "&& truncate -s $(( $(stat -c %s t.mp4) / 2 )) t.mp4",
            "t.mp4 -o o.mkv", "truncated"},
        FailCase{"codec_not_in_container",
                 "ffmpeg -v error -f lavfi -i testsrc2=s=64x48:d=0.2 -c:v ffv1 v.mkv",
                 "v.mkv -o o.webm --codec prores_ks", "cannot go in"},
        FailCase{"huge_header", "printf 'P6\\n20000 20000\\n255\\n' > huge.ppm", "huge.ppm -o o.png",
                 "huge.ppm"},
        FailCase{"size_that_cannot_render", "", "--size 16384x16384 -o o.png", "16384"},
        FailCase{"several_frames_one_image", "", "--size 8x8 --frames 1-2 -o o.png", "#"},
        FailCase{"shader_build_failure",
                 "printf '[settings]\\nname=Bad\\n[ps0]\\nvoid main() { gl_FragColor = nope; }\\n' > fx.glfx",
                 "--size 8x8 -o o.png", "shader build failed"},
        FailCase{"disk_full_device_png", "ln -s /dev/full o.png", "--size 8x8 -o o.png", "o.png"},
        FailCase{"disk_full_device_jpeg", "ln -s /dev/full o.jpg", "--size 8x8 -o o.jpg", "o.jpg"},
        FailCase{"disk_full_device_video", "ln -s /dev/full o.mkv", "--size 8x8 --frames 0-3 -o o.mkv",
                 "o.mkv"}),
    [](const testing::TestParamInfo<FailCase>& i) { return std::string(i.param.name); });

TEST(VideoRender, OddSizesWithHalvedChromaRender)
{
    NEED_PLUGIN();
    Scratch s;
    const std::string in = s.path("odd.mkv");
    // A fixed seed: some gradients' saturated colours leave the RGB cube
    // once their chroma is halved, and an 8-bit world clips them.
    ASSERT_TRUE(
        ffmpeg("-f lavfi -i gradients=s=1919x1079:r=5:d=0.4:seed=1 -vf format=yuv420p -c:v ffv1 " + in));
    const std::string out = s.path("out.mkv");
    const Outcome r = render(s, "'" + in + "' -o '" + out + "'");
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(probe(out, "v", "width"), "1919");
    EXPECT_EQ(probe(out, "v", "height"), "1079");
    EXPECT_GE(psnr(in, out), 45.0);
    // H.264 4:2:0 cannot hold odd sizes: said in one line before any work.
    const Outcome h264 = render(s, "'" + in + "' -o '" + s.path("out.mp4") + "'");
    EXPECT_EQ(h264.status, 1);
    EXPECT_NE(h264.err.find("even width and height"), std::string::npos) << h264.err;
    EXPECT_EQ(std::count(h264.err.begin(), h264.err.end(), '\n'), 1) << h264.err;
    EXPECT_EQ(filesIn(s.path("")), (std::vector<std::string>{"fx.glfx", "odd.mkv", "out.mkv"}));
}

// rawvideo lists no pixel formats (it takes any): the output gets the one
// closest to the input's, here 8-bit 4:2:2.
TEST(VideoRender, EncoderThatTakesAnyFormatGetsTheInputsLayout)
{
    NEED_PLUGIN();
    Scratch s;
    const std::string in = s.path("in.mkv"), out = s.path("raw.mkv");
    ASSERT_TRUE(ffmpeg("-f lavfi -i gradients=s=320x240:r=10:d=0.5:seed=3 -pix_fmt yuv422p -c:v ffv1 " + in));
    const Outcome r = render(s, "'" + in + "' --codec rawvideo -o '" + out + "'");
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(probe(out, "v", "codec_name"), "rawvideo");
    EXPECT_EQ(probe(out, "v", "pix_fmt"), "yuv422p");
    EXPECT_GE(psnr(in, out), 45.0);
}

TEST(VideoRender, SigtermStopsAndRemovesThePartialOutput)
{
    NEED_PLUGIN();
    Scratch s;
    const std::string in = s.path("long.mkv");
    ASSERT_TRUE(ffmpeg("-f lavfi -i testsrc2=s=640x360:r=25:d=60 -c:v ffv1 " + in));
    const std::string cmd = "'" + glfxPath() + "' render -q --effect '" + effect(s) + "' '" + in + "' -o '" +
                            s.path("out.mp4") + "' & pid=$!; sleep 2; kill -TERM $pid; wait $pid";
    const Outcome r = run(cmd);
    EXPECT_EQ(r.status, 128 + SIGTERM) << r.err;
    EXPECT_EQ(r.err.rfind("glfx: ", 0), 0u) << r.err;
    EXPECT_EQ(filesIn(s.path("")), (std::vector<std::string>{"fx.glfx", "long.mkv"}));
}

TEST(VideoRender, StandardOutputAndFifosAreWrittenInPlace)
{
    NEED_PLUGIN();
    Scratch s;
    const std::string in = s.path("in.mkv");
    ASSERT_TRUE(ffmpeg("-f lavfi -i testsrc2=s=64x48:r=25:d=0.4 -c:v ffv1 " + in));
    const Outcome piped =
        run("'" + glfxPath() + "' render -q --effect '" + effect(s) + "' '" + in +
            "' -o - | ffprobe -v error -count_frames -show_entries stream=nb_read_frames -of csv=p=0 -");
    EXPECT_EQ(piped.status, 0) << piped.err;
    EXPECT_EQ(piped.out.substr(0, 2), "10") << piped.out << piped.err;

    const std::string fifo = s.path("pipe.mkv");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    const Outcome viaFifo =
        run("(ffprobe -v error -count_frames -show_entries stream=nb_read_frames -of csv=p=0 '" + fifo +
            "' &) ; '" + glfxPath() + "' render -q --effect '" + effect(s) + "' '" + in + "' -o '" + fifo +
            "'; sleep 1; test -p '" + fifo + "' && echo still-a-fifo");
    EXPECT_EQ(viaFifo.status, 0) << viaFifo.err;
    EXPECT_NE(viaFifo.out.find("still-a-fifo"), std::string::npos) << viaFifo.out;
}

// A symlink's target gets the image; the link stays a link.
TEST(Outputs, SymlinkTargetIsWrittenThrough)
{
    NEED_PLUGIN();
    Scratch s;
    ASSERT_EQ(symlink("target.png", s.path("link.png").c_str()), 0);
    const Outcome r = render(s, "--size 8x4 -o '" + s.path("link.png") + "'");
    ASSERT_EQ(r.status, 0) << r.err;
    struct stat st {};
    ASSERT_EQ(lstat(s.path("link.png").c_str(), &st), 0);
    EXPECT_TRUE(S_ISLNK(st.st_mode));
    EXPECT_EQ(probe(s.path("target.png"), "v", "width"), "8");
    EXPECT_EQ(filesIn(s.path("")), (std::vector<std::string>{"fx.glfx", "link.png", "target.png"}));
}

// Straight alpha from file to world and back at every depth: red 16 under
// alpha 252 stays 16, a colour under alpha 0 is kept.
TEST(Outputs, StraightAlphaComesBackUnchangedAtEveryDepth)
{
    NEED_PLUGIN();
    Scratch s;
    const std::string in = s.path("in.png");
    ASSERT_EQ(
        run("printf '\\020\\040\\060\\374\\310\\144\\062\\000\\001\\002\\003\\004\\377\\376\\375\\200' | "
            "ffmpeg -v error -f rawvideo -pix_fmt rgba -s 2x2 -i - -frames:v 1 '" +
            in + "'")
            .status,
        0);
    const std::string want = rawFrames(in, "rgba");
    ASSERT_EQ(want.size(), 16u);
    ASSERT_EQ(uint8_t(want[0]), 16);
    ASSERT_EQ(uint8_t(want[3]), 252);
    for (const char* depth : {"8", "16", "32"}) {
        const std::string out = s.path(std::string("out") + depth + (depth[0] == '3' ? ".exr" : ".png"));
        const Outcome r = render(s, "'" + in + "' --depth " + depth + " -o '" + out + "'");
        ASSERT_EQ(r.status, 0) << r.err;
        if (depth[0] == '3') {
            // Float: every value is the file's / 255 exactly as a float.
            const std::string f = rawFrames(out, "gbrapf32le");
            ASSERT_EQ(f.size(), 64u);
            const float* planes = reinterpret_cast<const float*>(f.data()); // G, B, R, A planes
            for (int i = 0; i < 4; ++i) {
                EXPECT_FLOAT_EQ(planes[8 + i], uint8_t(want[i * 4 + 0]) / 255.0f) << "red " << i;
                EXPECT_FLOAT_EQ(planes[12 + i], uint8_t(want[i * 4 + 3]) / 255.0f) << "alpha " << i;
            }
        } else if (depth[0] == '8') {
            EXPECT_EQ(rawFrames(out, "rgba"), want);
        } else {
            // 16-bit: the file holds the value × 257, within one step of the
            // world's 0..32768 (two 16-bit codes).
            const std::string w = rawFrames(out, "rgba64le");
            ASSERT_EQ(w.size(), 32u);
            const uint16_t* v = reinterpret_cast<const uint16_t*>(w.data());
            for (int i = 0; i < 16; ++i)
                EXPECT_NEAR(v[i], uint8_t(want[i]) * 257, 2) << "value " << i;
        }
    }
}

// --set and --layer take exactly one value each, before or after INPUT.
TEST(Options, RepeatableOptionsDoNotSwallowTheInput)
{
    NEED_PLUGIN();
    Scratch s;
    const char* gain =
        "[settings]\nname=Gain\ninterp=0\n[par1]\nparam=gain\ntype=float\nmin=0\nmax=4\ndefault=1\n"
        "[ps0]\nuniform sampler2D in0;\nuniform float gain;\n"
        "void main() { gl_FragColor = texture2D(in0, gl_TexCoord[0].st) * vec4(gain, gain, gain, 1.0); }\n";
    ASSERT_TRUE(ffmpeg("-f lavfi -i color=c=0x202020:s=4x4 -frames:v 1 -pix_fmt rgb24 " + s.path("in.png")));
    const Outcome r = render(
        s, "--set gain=2 '" + s.path("in.png") + "' --set gain=3 -o '" + s.path("out.png") + "'", gain);
    ASSERT_EQ(r.status, 0) << r.err;
    const auto firstRed = [&](const char* name) {
        const std::string px =
            shell("ffmpeg -v error -i '" + s.path(name) + "' -f rawvideo -pix_fmt rgb24 -");
        return px.empty() ? -1 : int(uint8_t(px[0]));
    };
    ASSERT_GT(firstRed("in.png"), 0);
    EXPECT_NEAR(firstRed("out.png"), firstRed("in.png") * 3, 1); // the last --set wins
}

// The largest ranges: counted without overflow, and refused up front when
// their times pass what the host's clock holds.
TEST(Options, HugeFrameRangesAreCountedAndRefusedCleanly)
{
    NEED_PLUGIN();
    Scratch s;
    for (const char* range : {"0-9223372036854775807", "9223372036854775806-9223372036854775807"}) {
        const Outcome r =
            render(s, std::string("--size 4x4 --frames ") + range + " -o '" + s.path("f.#.png") + "'");
        EXPECT_EQ(r.status, 1) << range;
        EXPECT_EQ(r.err.rfind("glfx: --frames", 0), 0u) << r.err;
    }
    const Outcome tooBig =
        render(s, "--size 4x4 --frames 0-9223372036854775808 -o '" + s.path("g.#.png") + "'");
    EXPECT_EQ(tooBig.status, 1);
    EXPECT_EQ(tooBig.err.rfind("glfx: --frames", 0), 0u) << tooBig.err;
    EXPECT_EQ(filesIn(s.path("")), (std::vector<std::string>{"fx.glfx"}));
    // The last frame the clock holds at 1 frame a second renders.
    const Outcome last =
        render(s, "--size 4x4 --fps 1 --frames 214748-214748 -o '" + s.path("h.#.png") + "'");
    EXPECT_EQ(last.status, 0) << last.err;
}

} // namespace
