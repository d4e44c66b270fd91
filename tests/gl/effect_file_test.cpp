// The built-in effect file builds and renders on the driver for several
// definition settings.
#include <cmath>
#include <fstream>

#include "gl/Preamble.h"
#include "gl_test_util.h"
#include "glfx/text.h"

using namespace gltest;

TEST(EffectFile, CinematicBuildsAndRenders)
{
    const std::string path = std::string(GLFX_SOURCE_DIR) + "/effects/cinematic.glfx";
    if (!std::ifstream(path))
        GTEST_SKIP() << path << " is not in this tree";
    std::string text = loadFile(path);
    cglfx fx;
    fx.parse(text);
    ASSERT_GT(fx.settings.shaders, 0);
    Instance inst(fx);
    const cglfx& desc = glfxDescription();
    // The definition-bearing switches, found by their uniform names.
    int bloom = -1, tonemap = -1, grain = -1;
    for (int i = 0; i < desc.settings.params; ++i) {
        for (int c = 0; c < 3; ++c)
            inst.d.values[i][c] = desc.par[i].def[c];
        const std::string& u = desc.par[i].uniform;
        bloom = u == "bloom" ? i : bloom;
        tonemap = u == "tonemap" ? i : tonemap;
        grain = u == "grain" ? i : grain;
    }
    ASSERT_TRUE(bloom > 0 && tonemap > 0 && grain > 0);

    const int W = 64, H = 36;
    std::vector<float> px(W * H * 4);
    for (int k = 0; k < W * H * 4; ++k)
        px[k] = k % 4 == 3 ? 1.f : static_cast<float>(k % 97) / 80.f;
    for (int l = 0; l < std::min(desc.settings.layerCount, 32); ++l)
        inst.setLayer(l, px, W, H);
    inst.setOutput(W, H);
    inst.d.pixelRatio = 1.f;
    inst.d.downsampleX = inst.d.downsampleY = 1.f;
    inst.d.time = 4000;

    const float settings[][3] = {{1, 1, 1}, {0, 0, 0}, {1, 2, 0}, {0, 1, 1}};
    for (const auto& s : settings) {
        inst.d.values[bloom][0] = s[0];
        inst.d.values[tonemap][0] = s[1];
        inst.d.values[grain][0] = s[2];
        const std::string preamble = getDefines(&inst.d);
        SCOPED_TRACE(preamble);
        ASSERT_TRUE(inst.build(preamble));
        EXPECT_EQ(inst.ctx().log, "");
        ASSERT_TRUE(inst.render());
        int bad = 0;
        for (int k = 0; k < W * H * 4; ++k)
            bad += !std::isfinite(inst.d.outputBuffer[k]);
        EXPECT_EQ(bad, 0);
    }
}
