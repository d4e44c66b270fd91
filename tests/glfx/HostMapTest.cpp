// Host positions of described parameters: types without a host control take
// no position, everything after them moves up, and the map is the same in
// both directions.
#include "glfx/HostMap.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

cglfx describe(const std::vector<int>& types)
{
    cglfx fx;
    fx.settings.params = static_cast<int>(types.size()) + 1;
    fx.par[0].type = GLFX_LAYER;
    for (std::size_t i = 0; i < types.size(); ++i)
        fx.par[i + 1].type = types[i];
    return fx;
}

} // namespace

TEST(HostMap, PositionsSkipParametersWithoutAControl)
{
    const int kNo = glfxhostmap::kNotAdded;
    const struct {
        const char* name;
        std::vector<int> types;    // description parameters 1..
        std::vector<int> position; // their host positions
        int count;
    } cases[] = {
        {"no parameters", {}, {}, 1},
        {"all added", {GLFX_FLOAT, GLFX_CHECK, GLFX_TOPIC_START, GLFX_TOPIC_END}, {1, 2, 3, 4}, 5},
        {"none in the middle", {GLFX_POPUP, GLFX_NONE, GLFX_FLOAT}, {1, kNo, 2}, 3},
        {"none first", {GLFX_NONE, GLFX_POPUP, GLFX_FLOAT}, {kNo, 1, 2}, 3},
        {"unknown codes", {42, GLFX_LAYER, -7, GLFX_FLOAT2, 14}, {kNo, 1, kNo, 2, kNo}, 3},
        {"events added, audio not", {GLFX_AUDIO, GLFX_EVENT, GLFX_AUDIOFFT, GLFX_FLOAT}, {kNo, 1, kNo, 2}, 3},
        {"only none", {GLFX_NONE, GLFX_NONE}, {kNo, kNo}, 1},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const glfxhostmap map = hostPositions(describe(c.types));
        EXPECT_EQ(map.count, c.count);
        EXPECT_EQ(map.position[0], 0);
        EXPECT_EQ(map.index[0], 0);
        for (std::size_t i = 0; i < c.types.size(); ++i) {
            const int d = static_cast<int>(i) + 1;
            EXPECT_EQ(map.position[d], c.position[i]) << "parameter " << d;
            if (c.position[i] != kNo) {
                EXPECT_EQ(map.index[c.position[i]], d) << "position " << c.position[i];
            }
        }
    }
}
