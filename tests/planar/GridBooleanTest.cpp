// The integer core of regions: cutting, against the search for crossings of the scanline library.

#include "planar/GridCrossings_Impl.h"

#include "tests/support/TestSupport.h"

#include <cstdlib>
#include <vector>

namespace {

using namespace Velk::Math::Sorvane::Planar::Impl;
using Support::Random;

double Area(const std::vector<GridLoop>& loops)
{
    double area = 0;
    for (const GridLoop& loop : loops) {
        for (std::size_t i = 0; i + 1 < loop.size(); ++i) {
            area += static_cast<double>(loop[i].x() - loop[0].x()) *
                        static_cast<double>(loop[i + 1].y() - loop[0].y()) -
                    static_cast<double>(loop[i].y() - loop[0].y()) *
                        static_cast<double>(loop[i + 1].x() - loop[0].x());
        }
    }
    return area / 2;
}

std::vector<GridLoop> RandomLoops(Random& random, int count, int points, int size)
{
    std::vector<GridLoop> loops(static_cast<std::size_t>(count));
    for (GridLoop& loop : loops) {
        for (int i = 0; i < points; ++i) {
            loop.push_back({random.Below(size), random.Below(size)});
        }
        loop.push_back(loop.front());
    }
    return loops;
}

TEST(GridBoolean, AgreesWithTheLibrarysOwnSearchForCrossings)
{
    Random random(8);
    for (int round = 0; round < 60; ++round) {
        // Down to grids so small that nearly every crossing is rounded onto another edge.
        const int size = round % 3 == 0 ? 1 << 30 : round % 3 == 1 ? 40 : 1000;
        for (const Keep keep : {Keep::FirstSet, Keep::FirstSetWithoutSecond}) {
            std::vector<GridEdge> edges;
            AppendEdges(RandomLoops(random, 3, 7, size), 0, edges);
            AppendEdges(RandomLoops(random, 2, 5, size), 1, edges);
            std::vector<GridLoop> own;
            std::vector<GridLoop> library;
            ASSERT_TRUE(GridBoolean(edges, keep, kMostCuttingRounds, own));
            ASSERT_TRUE(GridBoolean(edges, keep, 0, library));
            for (const GridLoop& loop : own) {
                EXPECT_TRUE(loop.front() == loop.back());
            }
            // An edge moves by a cell at most; there are 31 of them, and each crossing adds a few.
            EXPECT_NEAR(Area(own), Area(library), 100.0 * size);
            std::vector<GridEdge> again;
            AppendEdges(own, 0, again);
            std::vector<GridLoop> same;
            ASSERT_TRUE(GridBoolean(again, Keep::FirstSet, kMostCuttingRounds, same));
            EXPECT_EQ(Area(own), Area(same));
        }
    }
}

TEST(GridBoolean, RefusesSpansThatTheScanlineCannotBear)
{
    for (const long long size : {kLargestGridSpan, kLargestGridSpan + 1}) {
        const GridLoop square{{-5, -5}, {size - 5, -5}, {size - 5, size - 5}, {-5, size - 5}, {-5, -5}};
        std::vector<GridEdge> edges;
        AppendEdges({square}, 0, edges);
        std::vector<GridLoop> loops{{}};
        EXPECT_EQ(GridBoolean(edges, Keep::FirstSet, kMostCuttingRounds, loops),
                  size == kLargestGridSpan);
        EXPECT_EQ(loops.size(), size == kLargestGridSpan ? 1U : 0U);
    }
}

TEST(ResolveOverlaps, AddsUpWhatLiesOnOneLine)
{
    std::vector<GridEdge> edges{{{0, 0}, {6, 3}, {1, 0}},
                                {{2, 1}, {4, 2}, {-1, 0}},
                                {{4, 2}, {8, 4}, {1, 0}},
                                {{0, 1}, {6, 4}, {0, 1}}, // parallel, beside it
                                {{3, 3}, {3, 3}, {1, 1}}};
    ResolveOverlaps(edges, true);
    std::vector<std::array<long long, 3>> found;
    for (const GridEdge& edge : edges) {
        if (edge.runs[0] != 0) {
            found.push_back({edge.low.x(), edge.high.x(), edge.runs[0]});
        }
    }
    const std::vector<std::array<long long, 3>> expected{{0, 2, 1}, {4, 6, 2}, {6, 8, 1}};
    EXPECT_EQ(found, expected);
    EXPECT_EQ(edges.size(), 4U);
}

TEST(CutGridEdges, LeavesEdgesThatMeetAtTheirEndsOnly)
{
    Random random(4);
    for (int round = 0; round < 30; ++round) {
        std::vector<GridEdge> edges;
        AppendEdges(RandomLoops(random, 2, 9, round % 2 == 0 ? 60 : 100000), 0, edges);
        ResolveOverlaps(edges, true);
        ASSERT_TRUE(CutGridEdges(edges, kMostCuttingRounds));
        const auto side = [](const GridEdge& e, const GridPoint& p) {
            const long long cross = (e.high.x() - e.low.x()) * (p.y() - e.low.y()) -
                                    (e.high.y() - e.low.y()) * (p.x() - e.low.x());
            return cross > 0 ? 1 : cross < 0 ? -1 : 0;
        };
        const auto isInside = [&](const GridEdge& e, const GridPoint& p) {
            const long long dot = (p.x() - e.low.x()) * (p.x() - e.high.x()) +
                                  (p.y() - e.low.y()) * (p.y() - e.high.y());
            return side(e, p) == 0 && dot < 0;
        };
        for (const GridEdge& a : edges) {
            for (const GridEdge& b : edges) {
                ASSERT_FALSE(isInside(a, b.low) || isInside(a, b.high));
                ASSERT_FALSE(side(a, b.low) * side(a, b.high) < 0 &&
                             side(b, a.low) * side(b, a.high) < 0);
            }
        }
    }
}

} // namespace
