// Whole frames: every depth and host, the fast paths, padded rows, layers
// that are missing or of another size, and the error codes of a render the
// host fails.
#include "tests/shell/PluginFixture.h"

#include "sdk/AE_EffectSuites.h"
#include "sdk/SPBasic.h"

#include <cmath>
#include <malloc.h>

using namespace plugintest;

namespace {

// A pattern whose channels all differ, with alpha below one.
void fillPattern(World& w)
{
    for (int y = 0; y < w.height(); ++y)
        for (int x = 0; x < w.width(); ++x) {
            const float c[4] = {x / 7.f, y / 5.f, (x + y) % 3 / 2.f, 0.2f + 0.1f * (x % 4)};
            w.setPixel(x, y, c);
        }
}

// Equal within one step of the world's depth (sampling may blend a
// neighbour in, and a float goes through the GPU's arithmetic).
void expectSame(const std::vector<float>& got, const std::vector<float>& want, int depth)
{
    ASSERT_EQ(got.size(), want.size());
    const float tolerance = depth == 8 ? 1.001f / 255 : depth == 16 ? 1.001f / 32768 : 1e-6f;
    for (size_t i = 0; i < got.size(); ++i)
        ASSERT_LE(std::fabs(got[i] - want[i]), tolerance) << "pixel " << i / 4 << " channel " << i % 4;
}

std::string effect(bool fast, const std::string& body = "")
{
    return std::string("[settings]\nname=Frame\nfast=") + (fast ? "1" : "0") + "\n" + body;
}

// The input comes back through the copy pass, with and without the fast
// path; a shader's colour reaches every world in its channels, clamped to the
// range of integer depths (16-bit worlds hold 0..32768), as it is in float.
// Rows are padded or not; the width is odd (pairs of pixels and a last one
// take different routines).
TEST(Frames, InputAndShaderColourAtEveryDepthHostPathAndPadding)
{
    const std::string shader = "[ps0]\nvoid main() { gl_FragColor = vec4(2.0, -1.0, 0.2, 0.6); }\n";
    const std::vector<float> colour8 = {1, 0, 51 / 255.f, 153 / 255.f};
    const struct {
        HostMode mode;
        int depth, padIn, padOut;
        std::vector<float> colour;
    } cases[] = {
        {HostMode::AfterEffects, 8, 16, 0, colour8},
        {HostMode::AfterEffects, 16, 0, 48, {1, 0, 6554 / 32768.f, 19661 / 32768.f}},
        {HostMode::AfterEffects, 32, 16, 48, {2, -1, 0.2f, 0.6f}},
        {HostMode::Premiere, 8, 4, 64, colour8},
    };
    for (const auto& c : cases)
        for (const std::string& text : {effect(false), effect(true), effect(false, shader)}) {
            const bool shaded = text.find("[ps0]") != std::string::npos;
            SCOPED_TRACE(std::string(hostModeName(c.mode)) + " " + std::to_string(c.depth) + " " + text);
            Effect fx(text, c.mode);
            ASSERT_EQ(fx.session.start(), PF_Err_NONE);
            const bool bgra = c.mode == HostMode::Premiere;
            World in(7, 5, c.depth, bgra, c.padIn), out(7, 5, c.depth, bgra, c.padOut);
            fillPattern(in);
            ASSERT_EQ(fx.session.render(in, out), PF_Err_NONE);
            std::vector<float> want = in.toRGBA();
            for (size_t i = 0; shaded && i < want.size(); ++i)
                want[i] = c.colour[i % 4];
            expectSame(out.toRGBA(), want, c.depth);
            EXPECT_TRUE(out.paddingIntact());
            EXPECT_TRUE(in.paddingIntact());
            // The clamp is to the top of the range itself (red is the second
            // channel in memory, after alpha).
            for (int x = 0; shaded && c.depth == 16 && x < 7; ++x)
                EXPECT_EQ(reinterpret_cast<const uint16_t*>(out.row(1))[4 * x + 1], 32768) << x;
            ASSERT_EQ(fx.session.finish(), PF_Err_NONE);
        }
}

// Layer parameters without a layer, or with one of another size than the
// input, leave the input's frame as it is.
TEST(Frames, MissingAndOtherSizedLayers)
{
    const std::string body = "[par1]\nname=Matte\ntype=layer\n[par2]\nname=Other\ntype=layer\n"
                             "[ps0]\nuniform sampler2D in0, in1, in2;\nvoid main() {\n"
                             "  gl_FragColor = texture2D(in0, gl_TexCoord[0].st)"
                             " + 0.0 * (texture2D(in1, vec2(0.5)) + texture2D(in2, vec2(0.5)));\n}\n";
    for (HostMode mode : kModes) {
        SCOPED_TRACE(hostModeName(mode));
        Effect fx(effect(false, body), mode);
        Session& s = fx.session;
        ASSERT_EQ(s.start(), PF_Err_NONE);
        World in = worldFor(mode, 8, 8), out = worldFor(mode, 8, 8), wide = worldFor(mode, 16, 3);
        fillPattern(in);
        fillPattern(wide);
        for (World* layer : {static_cast<World*>(nullptr), &wide}) {
            s.setLayer(1, layer);
            s.setLayer(2, nullptr);
            ASSERT_EQ(s.render(in, out), PF_Err_NONE);
            expectSame(out.toRGBA(), in.toRGBA(), 8);
        }
        ASSERT_EQ(s.finish(), PF_Err_NONE);
        EXPECT_EQ(problems(s), "");
    }
}

// A layer parameter set to none is sampled as transparent black, frame after
// frame, whatever memory its buffer took.
TEST(Frames, EmptyLayerReadsTransparentBlack)
{
    const std::string body =
        "[par1]\nname=Matte\ntype=layer\n"
        "[ps0]\nuniform sampler2D in0, in1;\nvoid main() {\n"
        "  gl_FragColor = texture2D(in1, gl_TexCoord[0].st) + 0.0 * texture2D(in0, vec2(0.5));\n}\n";
    // Fresh allocations are filled with garbage, so a buffer that is not
    // cleared shows.
    mallopt(M_PERTURB, 0xA5);
    for (HostMode mode : kModes) {
        SCOPED_TRACE(hostModeName(mode));
        Effect fx(effect(false, body), mode);
        Session& s = fx.session;
        ASSERT_EQ(s.start(), PF_Err_NONE);
        World in = worldFor(mode, 6, 5), out = worldFor(mode, 6, 5);
        fillPattern(in);
        s.setLayer(1, nullptr);
        for (int frame = 0; frame < 2; ++frame) {
            out.fill(1, 1, 1, 1);
            ASSERT_EQ(s.render(in, out), PF_Err_NONE);
            expectSame(out.toRGBA(), std::vector<float>(6 * 5 * 4, 0.0f), 8);
        }
        ASSERT_EQ(s.finish(), PF_Err_NONE);
    }
    mallopt(M_PERTURB, 0);
}

// What the render answers when the host fails it; the output is not written
// and every parameter checked out goes back.
TEST(Frames, HostFailuresAreTheRendersAnswer)
{
    enum Fault { NoWorldSuite, FormatBGRA, FormatVUYA, FormatInvalid, CheckoutFails, LayerCheckoutFails };
    struct Case {
        Fault fault;
        HostMode mode;
        PF_Err want;
    };
    const Case cases[] = {
        {NoWorldSuite, HostMode::AfterEffects, kSPSuiteNotFoundError},
        {NoWorldSuite, HostMode::Premiere, kSPSuiteNotFoundError},
        {FormatBGRA, HostMode::AfterEffects, PF_Err_BAD_CALLBACK_PARAM},
        {FormatVUYA, HostMode::Premiere, PF_Err_BAD_CALLBACK_PARAM},
        {FormatInvalid, HostMode::AfterEffects, PF_Err_BAD_CALLBACK_PARAM},
        {CheckoutFails, HostMode::AfterEffects, PF_Err_BAD_CALLBACK_PARAM},
        {CheckoutFails, HostMode::Premiere, PF_Err_BAD_CALLBACK_PARAM},
        {LayerCheckoutFails, HostMode::AfterEffects, PF_Err_OUT_OF_MEMORY},
    };
    const std::string body = "[par1]\ntype=float\n[par2]\ntype=layer\n[par3]\ntype=check\n";
    for (const Case& c : cases) {
        SCOPED_TRACE(std::to_string(c.fault) + " " + hostModeName(c.mode));
        Effect fx(effect(false, body), c.mode);
        Session& s = fx.session;
        ASSERT_EQ(s.start(), PF_Err_NONE);
        glfxhost::HostFaults& f = s.faults();
        switch (c.fault) {
        case NoWorldSuite: f.missingSuites.insert(kPFWorldSuite); break;
        case FormatBGRA: f.pixelFormat = PF_PixelFormat_BGRA32; break;
        case FormatVUYA: f.pixelFormat = PF_PixelFormat_VUYA32; break;
        case FormatInvalid: f.pixelFormat = PF_PixelFormat_INVALID; break;
        case CheckoutFails: f.failCheckoutParam = 3; break;
        case LayerCheckoutFails: f.checkoutLayerError = PF_Err_OUT_OF_MEMORY; break;
        }
        World in = worldFor(c.mode, 4, 4), out = worldFor(c.mode, 4, 4);
        fillPattern(in);
        out.fill(0.5f, 0.5f, 0.5f, 0.5f);
        const std::vector<float> before = out.toRGBA();
        EXPECT_EQ(s.render(in, out), c.want);
        EXPECT_EQ(out.toRGBA(), before);
        EXPECT_EQ(s.records().paramCheckins, static_cast<long long>(s.records().paramCheckouts.size()));
        EXPECT_EQ(problems(s), ""); // nothing left checked out
        s.faults() = glfxhost::HostFaults();
        ASSERT_EQ(s.render(in, out), PF_Err_NONE); // and the next frame works
        ASSERT_EQ(s.finish(), PF_Err_NONE);
    }
}

} // namespace
