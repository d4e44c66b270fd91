// The built-in effect builds and renders on the driver for several
// definition settings.
#include "gl/Defines.h"
#include "gl_test_util.h"
#include "glfx/text.h"

using namespace gltest;

TEST(EffectFile, CinematicBuildsAndRenders)
{
    std::string text = loadFile(std::string(GLFX_SOURCE_DIR) + "/effects/cinematic.glfx");
    cglfx fx;
    fx.parse(text);
    ASSERT_EQ(fx.settings.shaders, 4);
    Instance inst(fx);
    const cglfx& desc = glfxDescription();
    int bloom = -1, tonemap = -1, grain = -1; // the switches carrying definitions
    for (int i = 0; i < desc.settings.params; ++i) {
        std::copy(desc.par[i].def, desc.par[i].def + 3, inst.d.values[i]);
        const std::string& u = desc.par[i].uniform;
        bloom = u == "bloom" ? i : bloom;
        tonemap = u == "tonemap" ? i : tonemap;
        grain = u == "grain" ? i : grain;
    }
    ASSERT_TRUE(bloom > 0 && tonemap > 0 && grain > 0);
    const int W = 64, H = 36;
    std::vector<float> px = pattern(W, H, 1);
    for (int l = 0; l < desc.settings.layerCount; ++l)
        inst.setLayer(l, px, W, H);
    inst.setOutput(W, H);
    inst.d.pixelRatio = inst.d.downsampleX = inst.d.downsampleY = 1.f;
    inst.d.time = 4000;
    for (const auto& s : {std::vector<float>{1, 1, 1}, {0, 0, 0}, {1, 2, 0}, {0, 1, 1}}) {
        inst.d.values[bloom][0] = s[0];
        inst.d.values[tonemap][0] = s[1];
        inst.d.values[grain][0] = s[2];
        const std::string preamble = getDefines(&inst.d);
        ASSERT_TRUE(inst.build(preamble)) << preamble;
        EXPECT_EQ(inst.ctx().log, "");
        ASSERT_TRUE(inst.render());
        int bad = 0;
        for (int k = 0; k < W * H * 4; ++k)
            bad += !std::isfinite(inst.d.outputBuffer[k]);
        EXPECT_EQ(bad, 0) << preamble;
    }
}
