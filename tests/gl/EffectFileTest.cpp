// The built-in effect builds and renders on the driver for several
// definition settings.
#include <cmath>
#include <fstream>

#include "gl/Preamble.h"
#include "GlTestUtil.h"
#include "glfx/Text.h"

using namespace gltest;

TEST(EffectFile, CinematicBuildsAndRenders)
{
    std::string text = loadFile(std::string(GLFX_SOURCE_DIR) + "/effects/cinematic.glfx");
    cglfx fx;
    fx.parse(text);
    Instance inst(fx);
    std::vector<float> px = pattern(64, 36, 1);
    for (int l = 0; l < fx.settings.layerCount; ++l)
        inst.setLayer(l, px, 64, 36);
    inst.setOutput(64, 36);
    inst.d.pixelRatio = inst.d.downsampleX = inst.d.downsampleY = 1.f;
    inst.d.time = 4000;
    // Bloom, tone map and grain carry definitions; the rest keep their defaults.
    const char* switches[] = {"bloom", "tonemap", "grain"};
    for (const auto& s : {std::vector<float>{1, 1, 1}, {0, 0, 0}, {1, 2, 0}, {0, 1, 1}}) {
        int found = 0;
        for (int i = 0; i < fx.settings.params; ++i) {
            std::copy(fx.par[i].def, fx.par[i].def + 3, inst.d.values[i]);
            for (int k = 0; k < 3; ++k)
                if (fx.par[i].uniform == switches[k]) {
                    inst.d.values[i][0] = s[k];
                    ++found;
                }
        }
        ASSERT_EQ(found, 3);
        const std::string preamble = getDefines(&inst.d);
        ASSERT_TRUE(inst.build(preamble)) << preamble;
        EXPECT_EQ(inst.ctx().log, "");
        ASSERT_TRUE(inst.render());
        int bad = 0;
        for (int k = 0; k < 64 * 36 * 4; ++k)
            bad += !std::isfinite(inst.d.outputBuffer[k]);
        EXPECT_EQ(bad, 0) << preamble;
    }
}
