// The rectangle utilities of the render code: emptiness, union and edges.
#include "render/Rect.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {

TEST(RectTest, EmptyUnionAndEdges)
{
    const PF_LRect empties[] = {{0, 0, 0, 0}, {5, 0, 5, 10}, {0, 5, 10, 5}, {6, 0, 5, 10}, {0, 0, 1, -1}};
    for (const PF_LRect& r : empties)
        EXPECT_TRUE(IsEmptyRect(&r)) << r.left << "," << r.top;
    const PF_LRect one{3, 4, 4, 5};
    EXPECT_FALSE(IsEmptyRect(&one));

    struct Union {
        PF_LRect src, dst, expected;
    };
    const Union unions[] = {
        {{1, 2, 3, 4}, {0, 0, 0, 0}, {1, 2, 3, 4}},         // empty dst takes src
        {{0, 0, 0, 0}, {1, 2, 3, 4}, {1, 2, 3, 4}},         // empty src changes nothing
        {{9, 9, 3, 3}, {1, 2, 3, 4}, {1, 2, 3, 4}},         // inverted src is empty
        {{-5, 10, 2, 20}, {0, 0, 10, 12}, {-5, 0, 10, 20}}, // bounding box
        {{2, 2, 3, 3}, {0, 0, 10, 10}, {0, 0, 10, 10}},     // inside
    };
    for (const Union& c : unions) {
        PF_LRect dst = c.dst;
        UnionLRect(&c.src, &dst);
        EXPECT_EQ(0, std::memcmp(&c.expected, &dst, sizeof dst))
            << dst.left << "," << dst.top << "," << dst.right << "," << dst.bottom;
    }

    PF_LRect r{2, 3, 6, 8};
    struct Edge {
        int x, y;
        bool edge;
    };
    const Edge edges[] = {{2, 3, true},  {6, 8, true},  {2, 5, true},  {6, 5, true},
                          {4, 3, true},  {4, 8, true},  {4, 5, false}, {2, 9, false},
                          {1, 3, false}, {7, 8, false}, {6, 2, false}};
    for (const Edge& c : edges)
        EXPECT_EQ(c.edge, IsEdgePixel(&r, c.x, c.y)) << c.x << "," << c.y;
}

} // namespace
