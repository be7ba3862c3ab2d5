// The search for a crossing of an outline with itself, against a look at all pairs of edges.

#include "triangulation/OutlineCrossing_Impl.h"

#include "tests/support/Polygons.h"
#include "tests/support/Rounds.h"
#include "tests/support/TestSupport.h"
#include "tests/triangulation/ExactTurn.h"

#include <algorithm>
#include <cmath>

namespace {

using namespace Velk::Math;
using Sorvane::Mesh::Impl::FindClearCrossing;
using Support::ExactTurn;
using Support::Polygon;
using Support::Random;

bool AnyPairCrosses(const Polygon& outline)
{
    const auto at = [&](std::size_t i) { return outline[i % outline.size()]; };
    for (std::size_t i = 0; i < outline.size(); ++i) {
        for (std::size_t k = i + 1; k < outline.size(); ++k) {
            if (ExactTurn(at(i), at(i + 1), at(k)) * ExactTurn(at(i), at(i + 1), at(k + 1)) < 0 &&
                ExactTurn(at(k), at(k + 1), at(i)) * ExactTurn(at(k), at(k + 1), at(i + 1)) < 0) {
                return true;
            }
        }
    }
    return false;
}

TEST(OutlineCrossing, AgreesWithALookAtAllPairs)
{
    Random random(3);
    int found = 0;
    for (int round = 0; round < Support::Rounds(2000); ++round) {
        // A star with a few corners moved about: some cross, some do not.
        Polygon outline = Support::StarPolygon(4 + random.Below(30), random);
        for (int moves = random.Below(3); moves > 0; --moves) {
            const auto corner =
                static_cast<std::size_t>(random.Below(static_cast<int>(outline.size())));
            outline[corner] += random.Vector<2, double>(-0.4, 0.4);
        }
        const bool expected = AnyPairCrosses(outline);
        ASSERT_EQ(FindClearCrossing(outline, 0).isFound, expected) << round;
        found += expected ? 1 : 0;
    }
    EXPECT_GT(found, Support::Rounds(200, 1));
    EXPECT_LT(found, Support::Rounds(1800));
}

TEST(OutlineCrossing, NoneInOutlinesThatTouchOrRunAlongThemselves)
{
    Random random(4);
    EXPECT_FALSE(FindClearCrossing({}, 0).isFound);
    EXPECT_FALSE(FindClearCrossing({{0, 0}}, 0).isFound);
    EXPECT_FALSE(FindClearCrossing({{0, 0}, {1, 0}}, 0).isFound);
    EXPECT_FALSE(FindClearCrossing({{0, 0}, {4, 0}, {4, 4}, {2, 0}, {0, 4}}, 0).isFound);
    EXPECT_FALSE(FindClearCrossing({{0, 0}, {4, 0}, {2, 0}, {6, 0}, {6, 1}, {0, 1}}, 0).isFound);
    EXPECT_FALSE(FindClearCrossing(Support::SkylinePolygon(40, random), 0).isFound);
    EXPECT_FALSE(FindClearCrossing(Support::MazePolygon(20, random), 0).isFound);
    EXPECT_FALSE(FindClearCrossing(Support::SpiralPolygon(500), 0).isFound);
    for (const double turn : {0.0, 0.7, 1.5707963267948966}) {
        const Polygon comb = Support::Turned(Support::CombPolygon(100, random), turn);
        EXPECT_FALSE(FindClearCrossing(comb, 0).isFound);
    }
}

TEST(OutlineCrossing, TheClearanceIsKeptFromAllFourEnds)
{
    // A bow tie: one end is 0.014 from the line of the side it crosses, the others are far from it.
    const Polygon outline{{0, 0}, {2, 2}, {2, 0.98}, {0.98, 1}};
    ASSERT_TRUE(AnyPairCrosses(outline));
    EXPECT_TRUE(FindClearCrossing(outline, 0.001).isFound);
    EXPECT_FALSE(FindClearCrossing(outline, 0.1).isFound);
}

// Counted, not timed: the number of pairs that are looked at does not grow with the crossings.
TEST(OutlineCrossing, StopsAtTheFirst)
{
    Random random(5);
    for (const int corners : {1000, 8000, 64000}) {
        Polygon outline;
        for (int i = 0; i < corners; ++i) {
            outline.push_back(random.Vector<2, double>(0, 1));
        }
        const auto crossing = FindClearCrossing(outline, 1e-11);
        EXPECT_TRUE(crossing.isFound);
        EXPECT_LT(crossing.comparisons, 100U);
    }
}

} // namespace
