// A frame's parameters as the shaders see them: values in shader units,
// layers checked out at their time offsets, and stream visibility pushed
// to the host at the render.
#include "tests/shell/PluginFixture.h"

#include "sdk/AE_EffectCBSuites.h"

using namespace plugintest;

namespace {

constexpr double kPi = 3.141592653589793;

// Writes its uniforms into three float pixels.
const char* const kSnapshot = "[settings]\nname=Snapshot\n"
                              "[par1]\nparam=f\ntype=float\nmin=-100000\nmax=100000\n"
                              "[par2]\nparam=i\ntype=int\nmin=-100\nmax=100\n"
                              "[par3]\nparam=c\ntype=check\n"
                              "[par4]\nparam=p\ntype=popup\ntext=a|b|c\n"
                              "[par5]\nparam=deg\ntype=angle\n"
                              "[par6]\nparam=rad\ntype=angle\nflags=1\n"
                              "[par7]\nparam=col\ntype=color\n"
                              "[par8]\nparam=pt\ntype=point\n"
                              "[ps0]\n"
                              "uniform float f; uniform int i; uniform int c; uniform int p;\n"
                              "uniform float deg; uniform float rad; uniform vec3 col; uniform vec2 pt;\n"
                              "void main() {\n"
                              "  int x = int(gl_FragCoord.x);\n"
                              "  if (x == 0) gl_FragColor = vec4(f, float(i), float(c), float(p));\n"
                              "  else if (x == 1) gl_FragColor = vec4(deg, rad, pt);\n"
                              "  else gl_FragColor = vec4(col, 0.5);\n"
                              "}\n";

// Radians turn the other way; formed in double and rounded to float once.
float radians(double degrees) { return static_cast<float>(degrees * -kPi / 180.0); }

TEST(Snapshot, EachTypeReachesTheShaderInItsUnits)
{
    // Inputs f, i, c, popup, deg, rad, point x and y; a colour (alpha, red,
    // green, blue); the three pixels written. Popups count from 0 in shaders;
    // angles and points are whole (16.16 rounded down); colours in 0..1
    // without the host's alpha.
    const struct {
        double in[8];
        PF_Pixel col;
        float want[12];
    } rows[] = {
        {{0.3, -12, 1, 1, -0.5, 90, 100.5, -2.5},
         {7, 255, 128, 0},
         {0.3f, -12, 1, 0, -1, radians(90), 100, -3, 1, 128 / 255.f, 0, 0.5f}},
        {{12345.678, 7.9, 0, 3, 90.75, -710, 0, 0},
         {0, 0, 1, 254},
         {12345.678f, 7, 0, 2, 90, radians(-710), 0, 0, 0, 1 / 255.f, 254 / 255.f, 0.5f}},
    };
    Effect fx(kSnapshot);
    Session& s = fx.session;
    ASSERT_EQ(s.start(), PF_Err_NONE);
    for (const auto& r : rows) {
        SCOPED_TRACE(r.in[0]);
        s.setFloat(1, r.in[0]);
        s.setFloat(2, r.in[1]);
        s.setCheckbox(3, r.in[2] != 0);
        s.setPopup(4, static_cast<int>(r.in[3]));
        s.setAngle(5, r.in[4]);
        s.setAngle(6, r.in[5]);
        s.setColor(7, r.col);
        s.setPoint(8, r.in[6], r.in[7]);
        World in(3, 1, 32), out(3, 1, 32);
        ASSERT_EQ(s.render(in, out), PF_Err_NONE);
        const std::vector<float> got = out.toRGBA();
        for (int k = 0; k < 12; ++k)
            EXPECT_EQ(got[k], r.want[k]) << "pixel " << k / 4 << " channel " << k % 4;
    }
    ASSERT_EQ(s.finish(), PF_Err_NONE);
}

// Every parameter is checked out at the frame's time, a layer at its
// offset in whole frames (toward zero); all are checked in again.
TEST(Snapshot, LayersAreCheckedOutAtTheirTimeOffsets)
{
    const char* text = "[settings]\nname=Layers\n[par1]\ntype=layer\ntime=2\n[par2]\ntype=float\n"
                       "[par3]\ntype=layer\ntime=-1.5\n[par4]\ntype=layer\ntime=2.9\n";
    const A_long now = 30000, step = 1000; // one second at 30 frames a second
    const A_long want[] = {now + 2 * step, now, now - step, now + 2 * step};
    for (HostMode mode : kModes) {
        SCOPED_TRACE(hostModeName(mode));
        Effect fx(text, mode);
        Session& s = fx.session;
        ASSERT_EQ(s.start(), PF_Err_NONE);
        World in = worldFor(mode, 4, 4), out = worldFor(mode, 4, 4);
        s.clearRecords();
        ASSERT_EQ(s.render(in, out, 1.0), PF_Err_NONE);
        const glfxhost::Records& r = s.records();
        ASSERT_EQ(r.paramCheckouts.size(), 4u);
        for (int i = 0; i < 4; ++i) {
            EXPECT_EQ(r.paramCheckouts[i].index, i + 1);
            EXPECT_EQ(r.paramCheckouts[i].time, want[i]) << i + 1;
        }
        EXPECT_EQ(r.paramCheckins, 4);
        // Smart pre-render asks for the input and every layer at its time.
        if (mode == HostMode::AfterEffects) {
            ASSERT_EQ(r.layerCheckouts.size(), 4u);
            EXPECT_EQ(r.layerCheckouts[0].index, 0);
            EXPECT_EQ(r.layerCheckouts[0].time, now);
            for (int k = 1; k < 4; ++k)
                EXPECT_EQ(r.layerCheckouts[k].time, want[r.layerCheckouts[k].index - 1]);
        } else {
            EXPECT_TRUE(r.layerCheckouts.empty());
        }
        ASSERT_EQ(s.finish(), PF_Err_NONE);
        EXPECT_EQ(problems(s), "");
    }
}

// Visibility 2 hides a stream at each render, -2 shows it again; 1 and -1
// (disabled, enabled) are no stream flags. The first failure stops the rest.
TEST(Snapshot, HiddenAndShownStreamsUntilTheFirstError)
{
    const char* text = "[settings]\nname=Streams\n[par1]\ntype=float\nvisibility=2\n"
                       "[par2]\ntype=float\nvisibility=1\n[par3]\ntype=float\nvisibility=-2\n"
                       "[par4]\ntype=float\nvisibility=-1\n[par5]\ntype=float\nvisibility=2\n";
    using Calls = std::vector<std::pair<int, bool>>;
    struct Case {
        const char* name;
        HostMode mode;
        int failing; // its flag call fails; 0: none
        bool aegp;
        Calls hidden;
    };
    const Case cases[] = {
        {"after effects", HostMode::AfterEffects, 0, true, {{1, true}, {3, false}, {5, true}}},
        {"error stops later parameters", HostMode::AfterEffects, 3, true, {{1, true}}},
        {"premiere", HostMode::Premiere, 0, true, {}},
        {"no stream suite", HostMode::AfterEffects, 0, false, {}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Effect fx(text, c.mode);
        Session& s = fx.session;
        ASSERT_EQ(s.start(), PF_Err_NONE);
        if (c.failing)
            s.faults().streamFlagErrors[c.failing] = A_Err_ALLOC;
        if (!c.aegp)
            s.faults().missingSuites.insert(kAEGPDynamicStreamSuite);
        s.clearRecords();
        World in = worldFor(c.mode, 4, 4), out = worldFor(c.mode, 4, 4);
        ASSERT_EQ(s.render(in, out), PF_Err_NONE);
        Calls hidden;
        for (const glfxhost::StreamFlagSet& f : s.records().streamFlagSets)
            hidden.push_back({f.index, f.set});
        EXPECT_EQ(hidden, c.hidden);
        EXPECT_EQ(s.liveEffectRefs(), 0);
        EXPECT_EQ(s.liveStreamRefs(), 0);
        ASSERT_EQ(s.finish(), PF_Err_NONE);
    }
}

} // namespace
