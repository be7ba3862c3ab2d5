// The integer core of regions: cutting, against the search for crossings of the scanline library.

#include "planar/GridBundles_Impl.h"
#include "planar/GridCrossings_Impl.h"

#include "tests/support/TestSupport.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <map>
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
            ASSERT_TRUE(GridBoolean(edges, keep, Cutting::Own, own));
            ASSERT_TRUE(GridBoolean(edges, keep, Cutting::ByLibrary, library));
            for (const GridLoop& loop : own) {
                EXPECT_TRUE(loop.front() == loop.back());
            }
            // An edge moves by a cell at most; there are 31 of them, and each crossing adds a few.
            EXPECT_NEAR(Area(own), Area(library), 100.0 * size);
            std::vector<GridEdge> again;
            AppendEdges(own, 0, again);
            std::vector<GridLoop> same;
            ASSERT_TRUE(GridBoolean(again, Keep::FirstSet, Cutting::Own, same));
            EXPECT_EQ(Area(own), Area(same));
        }
    }
}

TEST(GridBoolean, RefusesSpansThatTheScanlineCannotBear)
{
    for (const long long size : {kLargestGridSpan, kLargestGridSpan + 1}) {
        const GridLoop square{
            {-5, -5}, {size - 5, -5}, {size - 5, size - 5}, {-5, size - 5}, {-5, -5}};
        std::vector<GridEdge> edges;
        AppendEdges({square}, 0, edges);
        std::vector<GridLoop> loops{{}};
        EXPECT_EQ(GridBoolean(edges, Keep::FirstSet, Cutting::Own, loops),
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
    ResolveOverlaps(edges);
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

/// Positive where `p` is on the left of the line from `a` to `b`.
int SideOf(const GridPoint& a, const GridPoint& b, const GridPoint& p)
{
    const long long cross = (b.x() - a.x()) * (p.y() - a.y()) - (b.y() - a.y()) * (p.x() - a.x());
    return cross > 0 ? 1 : cross < 0 ? -1 : 0;
}

/// Do two edges meet elsewhere than at a common end?
bool Collide(const GridEdge& a, const GridEdge& b)
{
    const auto isInside = [](const GridEdge& e, const GridPoint& p) {
        const GridPoint from = p - e.low;
        const GridPoint to = p - e.high;
        return SideOf(e.low, e.high, p) == 0 && from.x() * to.x() + from.y() * to.y() < 0;
    };
    return isInside(a, b.low) || isInside(a, b.high) || isInside(b, a.low) || isInside(b, a.high) ||
           (SideOf(a.low, a.high, b.low) * SideOf(a.low, a.high, b.high) < 0 &&
            SideOf(b.low, b.high, a.low) * SideOf(b.low, b.high, a.high) < 0);
}

bool AnyCollide(const std::vector<GridEdge>& edges)
{
    for (std::size_t i = 0; i < edges.size(); ++i) {
        for (std::size_t j = 0; j < i; ++j) {
            if (Collide(edges[i], edges[j])) {
                return true;
            }
        }
    }
    return false;
}

std::vector<GridEdge> RandomEdges(Random& random, int count, int size)
{
    std::vector<GridEdge> edges;
    AppendEdges(RandomLoops(random, 2, count, size), 0, edges);
    ResolveOverlaps(edges);
    return edges;
}

// On a grid of few cells nearly every crossing is rounded onto or across another edge.
TEST(CutAtCells, LeavesEdgesThatMeetAtTheirEndsOnly)
{
    Random random(4);
    int mended = 0;
    for (int round = 0; round < 100; ++round) {
        const std::vector<GridEdge> edges =
            RandomEdges(random, 4 + round % 9, round % 2 == 0 ? 24 : 300);
        const GridGraph crossed = CutAtCrossings(edges);
        const GridGraph cut = CutAtCells(edges, crossed.points);
        EXPECT_FALSE(AnyCollide(EdgesOf(cut)));
        mended += AnyCollide(EdgesOf(crossed)) ? 1 : 0;
        // Nothing moves farther than a cell: each point is one that was there.
        EXPECT_EQ(cut.points, crossed.points);
    }
    EXPECT_GT(mended, 10);
}

/// Squares about one center, each turned by a few cells more than the one before: sides that are
/// nearly parallel, with their crossings close together in the middle and a fan of them at each
/// corner.
std::vector<GridLoop> TurnedSquares(int count, double cells)
{
    constexpr double kRadius = 1 << 28;
    const double quarter = std::acos(0.0);
    std::vector<GridLoop> loops(static_cast<std::size_t>(count));
    for (std::size_t i = 0; i < loops.size(); ++i) {
        for (int corner = 0; corner < 5; ++corner) {
            const double angle =
                0.3 + static_cast<double>(i) * cells / kRadius + corner % 4 * quarter;
            loops[i].push_back(
                {std::llround(kRadius * std::cos(angle)), std::llround(kRadius * std::sin(angle))});
        }
    }
    return loops;
}

TEST(GridBoolean, SidesThatAreNearlyParallelAgreeWithTheLibraryToo)
{
    for (const double cells : {0.25, 3.0, 1000.0}) {
        std::vector<GridEdge> edges;
        AppendEdges(TurnedSquares(14, cells), 0, edges);
        std::vector<GridLoop> own;
        std::vector<GridLoop> library;
        ASSERT_TRUE(GridBoolean(edges, Keep::FirstSet, Cutting::Own, own));
        ASSERT_TRUE(GridBoolean(edges, Keep::FirstSet, Cutting::ByLibrary, library));
        ASSERT_FALSE(own.empty());
        // Both move what they cut by a cell or two, along four sides.
        EXPECT_NEAR(Area(own), Area(library), 4.0 * 4 * (1 << 29));
    }
}

TEST(CutAtCells, LeavesSidesThatAreNearlyParallelApart)
{
    for (const double cells : {3.0, 20.0}) {
        std::vector<GridEdge> edges;
        AppendEdges(TurnedSquares(8, cells), 0, edges);
        for (GridEdge& edge : edges) {
            edge.low += GridPoint(1 << 28, 1 << 28);
            edge.high += GridPoint(1 << 28, 1 << 28);
        }
        ResolveOverlaps(edges);
        const GridGraph crossed = CutAtCrossings(edges);
        EXPECT_GT(crossed.points.size(), edges.size() + 50);
        const GridGraph cut = CutAtCells(edges, crossed.points);
        EXPECT_FALSE(AnyCollide(EdgesOf(cut)));
        EXPECT_EQ(cut.points, crossed.points);
    }
}

TEST(GridGraph, EdgesOfTheSamePointsAddUpWhateverTheirDirectionAndNumber)
{
    // A star with an edge to each of 12 points, there several times and back a few times fewer; of
    // every third nothing is left.
    std::vector<GridEdge> edges;
    for (int round = 0; round < 4; ++round) {
        for (int i = 0; i < 12; ++i) {
            const GridPoint tip(100 + 7 * i, 200 - i * i);
            edges.push_back({{50, 150}, tip, {1, i}});
            if (i % 3 == 0) {
                edges.push_back({tip, {50, 150}, {1, i}});
            }
        }
    }
    const GridGraph graph = MakeGraph(edges);
    EXPECT_EQ(graph.points.size(), 13U);
    ASSERT_EQ(graph.edges.size(), 8U);
    for (std::size_t k = 0; k < graph.edges.size(); ++k) {
        const GridPoint tip = PointOf(graph.points[static_cast<std::size_t>(graph.edges[k].high)]);
        const int i = static_cast<int>(tip.x() - 100) / 7;
        EXPECT_EQ(tip, GridPoint(100 + 7 * i, 200 - i * i));
        EXPECT_EQ(graph.edges[k].runs, (std::array<int, 2>{4, 4 * i}));
        if (k > 0) { // counter-clockwise
            const GridPoint before =
                PointOf(graph.points[static_cast<std::size_t>(graph.edges[k - 1].high)]);
            EXPECT_EQ(SideOf({50, 150}, before, tip), 1);
        }
    }
    EXPECT_EQ(graph.firstEdge.back(), 8);
    std::vector<GridGraph::Edge> loose;
    for (int i = 0; i < 9000; ++i) { // by numbers, through the sort for many
        AppendNumbered(i % 50, (i * 7 + 3) % 50, {1, 0}, loose);
    }
    AddUp(loose);
    std::map<std::array<int, 2>, int> sums;
    for (int i = 0; i < 9000; ++i) {
        const int a = i % 50;
        const int b = (i * 7 + 3) % 50;
        if (a != b) {
            sums[{std::min(a, b), std::max(a, b)}] += a < b ? 1 : -1;
        }
    }
    std::erase_if(sums, [](const auto& sum) { return sum.second == 0; });
    ASSERT_EQ(loose.size(), sums.size());
    for (const GridGraph::Edge& edge : loose) {
        EXPECT_EQ((sums[{edge.low, edge.high}]), edge.runs[0]);
    }
}

TEST(CutAtCells, CutsWhereTheCellIsPassedAndItsUpperSidesAreNotPartOfIt)
{
    const auto pieces = [](const GridEdge& edge, const GridPoint& point) {
        return CutAtCells({edge}, {KeyOf(point)}).edges.size();
    };
    // y = x / 4 is at 1/2 for x = 2 and just below it before.
    const GridEdge slow{{0, 0}, {8, 2}, {1, 0}};
    EXPECT_EQ(pieces(slow, {1, 1}), 1U);
    EXPECT_EQ(pieces(slow, {2, 1}), 2U); // from x = 2 to 2.5 it is in the cell of (2, 1)
    EXPECT_EQ(pieces(slow, {2, 0}), 2U); // and before in that of (2, 0)
    EXPECT_EQ(pieces(slow, {3, 0}), 1U);
    // Through the corner (1/2, 1/2), which belongs to the cell of (1, 1) alone.
    const GridEdge falling{{0, 1}, {1, 0}, {1, 0}};
    EXPECT_EQ(pieces(falling, {1, 1}), 2U);
    EXPECT_EQ(pieces(falling, {0, 0}), 1U);
    const GridEdge rising{{0, 0}, {1, 1}, {1, 0}};
    EXPECT_EQ(pieces(rising, {0, 1}), 1U);
    EXPECT_EQ(pieces(rising, {1, 0}), 1U);
    EXPECT_EQ(pieces({{4, 4}, {9, 4}, {1, 0}}, {6, 5}), 1U);
    EXPECT_EQ(pieces({{4, 4}, {4, 9}, {1, 0}}, {4, 6}), 2U);
}

TEST(SweepGraph, FindsEdgesThatMeetElsewhereThanAtTheirEnds)
{
    Random random(12);
    int found = 0;
    for (int round = 0; round < 300; ++round) {
        const std::vector<GridEdge> edges = RandomEdges(random, 3, 6 + round % 20);
        const GridGraph graph = MakeGraph(edges);
        std::vector<std::array<int, 2>> pairs;
        const bool isSound = SweepGraph(graph, Keep::FirstSet, false, pairs);
        EXPECT_EQ(isSound, !AnyCollide(EdgesOf(graph)));
        found += isSound ? 0 : 1;
        // Forced, it comes to an end all the same.
        SweepGraph(graph, Keep::FirstSet, true, pairs);
    }
    EXPECT_GT(found, 50);
    EXPECT_LT(found, 299);
}

TEST(SweepGraph, FindsEdgesThatLieOnEachOther)
{
    std::vector<std::array<int, 2>> pairs;
    for (const GridPoint& end : {GridPoint(4, 4), GridPoint(0, 5), GridPoint(5, 0)}) {
        const GridPoint half(end.x() * 2, end.y() * 2);
        const GridGraph graph = MakeGraph({{{0, 0}, end, {1, 0}}, {{0, 0}, half, {1, 0}}});
        EXPECT_FALSE(SweepGraph(graph, Keep::FirstSet, false, pairs));
    }
}

TEST(MergeBundles, AddsUpWhatRunsAlongALineButForRounding)
{
    // Points rounded from a line of slope 3 / 7, each joined with each other: 40 points, 780 edges.
    Random random(3);
    std::vector<GridPoint> points;
    for (int i = 0; i < 40; ++i) {
        const long long x = 7 * random.Below(100000000) + random.Below(7);
        points.push_back({x, 3 * x / 7});
    }
    std::vector<GridEdge> edges;
    GridPoint sum(0, 0);
    for (std::size_t i = 0; i < points.size(); ++i) {
        for (std::size_t j = 0; j < i; ++j) {
            const bool isUp = points[j].x() < points[i].x();
            edges.push_back({isUp ? points[j] : points[i], isUp ? points[i] : points[j], {1, -2}});
            sum += edges.back().high - edges.back().low;
        }
    }
    // One that is apart, and one across.
    edges.push_back({{0, 900}, {700000000, 300000900}, {1, 0}});
    edges.push_back({{300000000, 0}, {300000000, 300000000}, {1, 0}});
    EXPECT_TRUE(MergeBundles(edges));
    EXPECT_LE(edges.size(), 41U);
    GridPoint merged(0, 0);
    for (const GridEdge& edge : edges) {
        if (edge.runs[1] != 0) {
            EXPECT_EQ(edge.runs[1], -2 * edge.runs[0]);
            merged += (edge.high - edge.low) * static_cast<long long>(edge.runs[0]);
        }
    }
    EXPECT_TRUE(merged == sum);
    EXPECT_FALSE(MergeBundles(edges));
}

} // namespace
