// The built-in effect file builds and renders on the driver for several
// definition settings.
#include <cmath>
#include <fstream>

#include "gl/Defines.h"
#include "gl_test_util.h"
#include "glfx/text.h"

using namespace gltest;

namespace {

int paramIndex(const cglfx& fx, const std::string& uniform)
{
    for (int i = 1; i < fx.settings.params; ++i)
        if (fx.par[i].uniform == uniform)
            return i;
    return -1;
}

}  // namespace

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
    for (int i = 0; i < desc.settings.params; ++i)
        for (int c = 0; c < 3; ++c)
            inst.d.values[i][c] = desc.par[i].def[c];

    const int W = 64, H = 36;
    std::vector<std::vector<float>> layers;
    for (int l = 0; l < desc.settings.layerCount && l < 32; ++l) {
        std::vector<float> px(W * H * 4);
        for (int k = 0; k < W * H; ++k)
            for (int c = 0; c < 4; ++c)
                px[4 * k + c] = c == 3 ? 1.f : static_cast<float>((k * (c + 3) + l * 11) % 97) / 80.f;
        layers.push_back(std::move(px));
    }
    for (std::size_t l = 0; l < layers.size(); ++l)
        inst.setLayer(static_cast<int>(l), layers[l], W, H);
    inst.setOutput(W, H);
    inst.d.pixelRatio = 1.f;
    inst.d.downsampleX = inst.d.downsampleY = 1.f;
    inst.d.time = 4000;

    const int bloom = paramIndex(desc, "bloom");
    const int tonemap = paramIndex(desc, "tonemap");
    const int grain = paramIndex(desc, "grain");
    struct Setting {
        float bloom, tonemap, grain;
    };
    for (const Setting& s : {Setting{1, 1, 1}, Setting{0, 0, 0}, Setting{1, 2, 0}, Setting{0, 1, 1}}) {
        if (bloom > 0)
            inst.d.values[bloom][0] = s.bloom;
        if (tonemap > 0)
            inst.d.values[tonemap][0] = s.tonemap;
        if (grain > 0)
            inst.d.values[grain][0] = s.grain;
        const std::string preamble = getDefines(&inst.d);
        inst.ctx().InitGL(preamble, true);
        EXPECT_TRUE(inst.ctx().ok) << preamble;
        EXPECT_EQ(inst.ctx().log, "") << preamble;
        ASSERT_TRUE(inst.render()) << preamble;
        int bad = 0;
        for (int k = 0; k < W * H * 4; ++k)
            bad += !std::isfinite(inst.d.outputBuffer[k]);
        EXPECT_EQ(bad, 0) << preamble;
    }
}
