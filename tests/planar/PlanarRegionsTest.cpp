// Unions and differences of regions, against winding numbers counted point by point.

#include <Sorvane/PlanarRegions_E.h>

#include "tests/planar/RegionSupport.h"
#include "tests/support/TestSupport.h"

#include <cmath>
#include <limits>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane::Planar;
using namespace Support;

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

template <class T>
class RegionsOf : public testing::Test {
};
using Scalars = testing::Types<float, double>;
TYPED_TEST_SUITE(RegionsOf, Scalars);

TYPED_TEST(RegionsOf, OverlappingSquaresBecomeOneLoop)
{
    using T = TypeParam;
    T resolution{0};
    const auto region = Union<T>({Rectangle<T>(0, 0, 2, 2), Rectangle<T>(1, 1, 3, 3)}, &resolution);
    ASSERT_EQ(region.size(), 1U);
    EXPECT_EQ(region[0].size(), 9U);
    EXPECT_TRUE(region[0].front() == region[0].back());
    EXPECT_NEAR(AreaUnder(region), 7, 1e-6);
    EXPECT_NEAR(resolution, std::sqrt(8.0) * 3 / 1073741824, 1e-15);
}

TYPED_TEST(RegionsOf, ASquareInASquareIsAHoleWhenItRunsTheOtherWay)
{
    using T = TypeParam;
    const auto inner = Rectangle<T>(1, 1, 2, 2);
    const auto solid = Union<T>({Rectangle<T>(0, 0, 3, 3), inner}, nullptr);
    EXPECT_EQ(solid.size(), 1U);
    EXPECT_NEAR(AreaUnder(solid), 9, 1e-6);
    const auto holed = Union<T>({Reversed(inner), Rectangle<T>(0, 0, 3, 3)}, nullptr);
    ASSERT_EQ(holed.size(), 2U);
    EXPECT_NEAR(AreaUnder<T>({holed[0]}), 9, 1e-6); // the larger one comes first
    EXPECT_NEAR(AreaUnder<T>({holed[1]}), -1, 1e-6);
}

TYPED_TEST(RegionsOf, SquaresThatShareAnEdgeBecomeOneLoop)
{
    using T = TypeParam;
    const auto region = Union<T>({Rectangle<T>(0, 0, 1, 1), Rectangle<T>(1, 0, 2, 1)}, nullptr);
    ASSERT_EQ(region.size(), 1U);
    EXPECT_NEAR(AreaUnder(region), 2, 1e-6);
}

TYPED_TEST(RegionsOf, TheSignOfTheSumOfAreasDecidesWhatIsInside)
{
    using T = TypeParam;
    const auto large = Rectangle<T>(0, 0, 3, 3);
    const auto small = Rectangle<T>(5, 0, 6, 1);
    EXPECT_NEAR(AreaUnder(Union<T>({Reversed(large)}, nullptr)), 9, 1e-6);
    EXPECT_NEAR(AreaUnder(Union<T>({Reversed(large), small}, nullptr)), 9, 1e-6);
    EXPECT_NEAR(AreaUnder(Union<T>({large, Reversed(small)}, nullptr)), 9, 1e-6);
}

TYPED_TEST(RegionsOf, OpenLoopsAreClosedByJoiningTheirEnds)
{
    using T = TypeParam;
    auto open = Rectangle<T>(0, 0, 1, 1);
    open.pop_back();
    const auto region = Union<T>({open}, nullptr);
    ASSERT_EQ(region.size(), 1U);
    EXPECT_EQ(region[0].size(), 5U);
    EXPECT_NEAR(AreaUnder(region), 1, 1e-6);
}

TYPED_TEST(RegionsOf, ADifferenceTakesTheSecondAway)
{
    using T = TypeParam;
    const LoopsOf<T> a{Rectangle<T>(0, 0, 4, 4)};
    const LoopsOf<T> b{Rectangle<T>(0, 0, 2, 4)};
    EXPECT_TRUE(Difference<T>(a, a, nullptr).empty());
    EXPECT_NEAR(AreaUnder(Difference<T>(a, b, nullptr)), 8, 1e-5);
    EXPECT_TRUE(Difference<T>(b, a, nullptr).empty());
    EXPECT_NEAR(AreaUnder(Difference<T>(a, {Rectangle<T>(9, 9, 10, 10)}, nullptr)), 16, 1e-4);
    EXPECT_NEAR(AreaUnder(Difference<T>(a, {}, nullptr)), 16, 1e-5);
    EXPECT_TRUE(Difference<T>({}, a, nullptr).empty());
    // Each region has its own sense: a clockwise second one takes as much away.
    EXPECT_NEAR(AreaUnder(Difference<T>(a, {Reversed(b[0])}, nullptr)), 8, 1e-5);
}

TYPED_TEST(RegionsOf, TwoSquaresAreCombinedInFourWays)
{
    using T = TypeParam;
    const LoopsOf<T> a{Rectangle<T>(0, 0, 4, 4)};
    const LoopsOf<T> b{Rectangle<T>(2, 0, 6, 4)};
    T resolution{0};
    EXPECT_NEAR(AreaUnder(Union<T>(a, b, &resolution)), 24, 1e-5);
    EXPECT_NEAR(resolution, std::sqrt(8.0) * 6 / 1073741824, 1e-14);
    EXPECT_NEAR(AreaUnder(Intersection<T>(a, b, &resolution)), 8, 1e-5);
    EXPECT_NEAR(resolution, std::sqrt(8.0) * 6 / 1073741824, 1e-14);
    EXPECT_NEAR(AreaUnder(SymmetricDifference<T>(a, b, &resolution)), 16, 1e-5);
    EXPECT_NEAR(resolution, std::sqrt(8.0) * 6 / 1073741824, 1e-14);
    EXPECT_TRUE(SymmetricDifference<T>(a, a, nullptr).empty());
    EXPECT_TRUE(Intersection<T>(a, {Rectangle<T>(9, 9, 10, 10)}, nullptr).empty());
    EXPECT_TRUE(Intersection<T>(a, {}, nullptr).empty());
    EXPECT_NEAR(AreaUnder(Union<T>({}, b, nullptr)), 16, 1e-5);
    EXPECT_NEAR(AreaUnder(SymmetricDifference<T>({}, b, nullptr)), 16, 1e-5);
}

TYPED_TEST(RegionsOf, EachOfTwoIsARegionByItself)
{
    using T = TypeParam;
    // A clockwise island of one, and a hole of one that the other fills.
    const LoopsOf<T> island{Reversed(Rectangle<T>(0, 0, 2, 2))};
    const LoopsOf<T> ring{Rectangle<T>(0, 0, 9, 9), Reversed(Rectangle<T>(1, 1, 8, 8))};
    EXPECT_NEAR(AreaUnder(Union<T>(ring, island, nullptr)), 32 + 1, 1e-4);
    EXPECT_NEAR(AreaUnder(Intersection<T>(ring, island, nullptr)), 3, 1e-4);
    EXPECT_NEAR(AreaUnder(SymmetricDifference<T>(ring, island, nullptr)), 29 + 1, 1e-4);
}

// Slanted edges are rounded where they cross: what is calculated in two passes has slivers along them.
TEST(Regions, CombinationsOfRandomLoopsAreThoseOfWindingNumbers)
{
    Random random(7);
    for (int trial = 0; trial < 60; ++trial) {
        SCOPED_TRACE(trial);
        const auto loops = [&] {
            Loops result(1 + static_cast<std::size_t>(random.Below(3)));
            for (auto& loop : result) {
                for (int i = 3 + random.Below(5); i > 0; --i) {
                    loop.push_back(random.Vector<2, double>(-10.0, 10.0));
                }
            }
            return result;
        };
        const Loops a = loops();
        const Loops b = loops();
        const double senseOfA = AreaUnder(a) < 0 ? -1 : 1;
        const double senseOfB = AreaUnder(b) < 0 ? -1 : 1;
        const Loops united = Union<double>(a, b, nullptr);
        const Loops common = Intersection<double>(a, b, nullptr);
        const Loops apart = SymmetricDifference<double>(a, b, nullptr);
        for (int i = 0; i < 200; ++i) {
            const Vec2d p = random.Vector<2, double>(-11.0, 11.0);
            if (DistanceToLoops(a, p.x(), p.y()) < 1e-6 || DistanceToLoops(b, p.x(), p.y()) < 1e-6) {
                continue;
            }
            const bool inA = WindingNumber(a, p.x(), p.y()) * senseOfA > 0;
            const bool inB = WindingNumber(b, p.x(), p.y()) * senseOfB > 0;
            ASSERT_EQ(WindingNumber(united, p.x(), p.y()), inA || inB ? 1 : 0);
            ASSERT_EQ(WindingNumber(common, p.x(), p.y()), inA && inB ? 1 : 0);
            ASSERT_EQ(WindingNumber(apart, p.x(), p.y()), inA != inB ? 1 : 0);
        }
        EXPECT_NEAR(AreaUnder(united), AreaUnder(common) + AreaUnder(apart), 1e-5);
    }
}

TYPED_TEST(RegionsOf, AreEmptyWithoutExtent)
{
    using T = TypeParam;
    const auto p = [](double x, double y) {
        return VecBase<2, T>(static_cast<T>(x), static_cast<T>(y));
    };
    T resolution{7};
    EXPECT_TRUE(Union<T>({}, &resolution).empty());
    EXPECT_EQ(resolution, T{0});
    EXPECT_TRUE(Union<T>({{}, {}}, &resolution).empty());
    EXPECT_EQ(resolution, T{0});
    EXPECT_TRUE(Union<T>({{p(1, 1)}}, &resolution).empty());
    EXPECT_EQ(resolution, T{0});
    // On one axis only: the resolution is that of the other.
    EXPECT_TRUE(Union<T>({{p(1, 1), p(3, 1), p(2, 1)}}, &resolution).empty());
    EXPECT_NEAR(resolution, std::sqrt(8.0) * 2 / 1073741824, 1e-15);
    EXPECT_TRUE(Difference<T>({{p(1, 1), p(1, 9)}}, {{p(1, 4)}}, &resolution).empty());
    EXPECT_NEAR(resolution, std::sqrt(8.0) * 8 / 1073741824, 1e-14);
}

TEST(Regions, TheResolutionIsTwoCellsAcrossOfTheLargerExtent)
{
    double resolution = 0;
    Union<double>({Rectangle(5, 7, 5 + 1024, 7 + 512)}, &resolution);
    EXPECT_DOUBLE_EQ(resolution, std::sqrt(8.0) * 1024 * 9.313225746154785e-10);
}

// A box of 2^30 units has cells of one unit: numbers are cut to whole ones, and come back as these.
TEST(Regions, PointsAreRoundedDownToTheGrid)
{
    const double size = 0x1p30;
    const Loops region = Union<double>(
        {Rectangle(0, 0, size, size), Reversed(Rectangle(10.75, 20.25, 30.999, 40))}, nullptr);
    ASSERT_EQ(region.size(), 2U);
    EXPECT_EQ(AreaUnder<double>({region[0]}), size * size);
    EXPECT_EQ(AreaUnder<double>({region[1]}), -20 * 20);
    for (const Vec2d& p : region[1]) {
        EXPECT_TRUE((p.x() == 10 || p.x() == 30) && (p.y() == 20 || p.y() == 40))
            << p.x() << " " << p.y();
    }
}

TEST(Regions, LoopsThatAreNotFiniteArePassedOver)
{
    const auto square = Rectangle(0, 0, 2, 2);
    for (const double bad : {kNaN, kInfinity, -kInfinity}) {
        EXPECT_NEAR(AreaUnder(Union<double>({{{0, 0}, {bad, 1}, {2, 2}}, square}, nullptr)), 4,
                    1e-8);
        EXPECT_NEAR(AreaUnder(Difference<double>({square}, {{{bad, bad}}}, nullptr)), 4, 1e-8);
    }
}

TEST(Regions, SizesAndPlacesFromTheSmallestToTheLargest)
{
    const auto isThreeQuarters = [](double size, double x, double y) {
        const double half = size / 2;
        const auto rest = Difference<double>({Rectangle(x, y, x + size, y + size)},
                                             {Rectangle(x, y, x + half, y + half)}, nullptr);
        Loops unit;
        for (const auto& loop : rest) {
            auto& scaled = unit.emplace_back();
            for (const Vec2d& p : loop) {
                scaled.push_back({(p.x() - x) / size, (p.y() - y) / size});
            }
        }
        return std::fabs(AreaUnder(unit) - 0.75) < 1e-6;
    };
    EXPECT_TRUE(isThreeQuarters(1e-300, 0, 0));
    EXPECT_TRUE(isThreeQuarters(1e-12, 0, 0));
    EXPECT_TRUE(isThreeQuarters(1e300, 0, 0));
    EXPECT_TRUE(isThreeQuarters(1, 1e6, -1e6));
    EXPECT_TRUE(isThreeQuarters(1000, 1e9, 1e9));
    // An extent beyond the largest number has no grid.
    EXPECT_TRUE(Union<double>({Rectangle(-1.5e308, 0, 1.5e308, 1)}, nullptr).empty());
    // A denormal box has fewer numbers than the grid has cells.
    Union<double>({Rectangle(0, 0, 5e-324, 1e-323)}, nullptr);
}

TEST(Regions, TheLoopInFrontExceedsTheOneThatWasThereFirst)
{
    // Of many squares of growing size one larger than the first stands in front, and all are there.
    Loops squares;
    for (int i = 0; i < 20; ++i) {
        squares.push_back(Rectangle(3 * i, 0, 3 * i + 0.5 + 0.1 * i, 1));
    }
    const auto region = Union<double>(squares, nullptr);
    ASSERT_EQ(region.size(), 20U);
    EXPECT_NEAR(AreaUnder<double>({region[0]}), 2.4, 1e-6);

    // Small, large, middling from left to right: the middling one is the last that exceeds the
    // small one.
    const auto three = Union<double>(
        {Rectangle(0, 0, 1, 1), Rectangle(2, 0, 5, 1), Rectangle(6, 0, 8, 1)}, nullptr);
    ASSERT_EQ(three.size(), 3U);
    EXPECT_NEAR(AreaUnder<double>({three[0]}), 2, 1e-6);
}

/// Loops of all kinds within the square from `low` to `high`: stars, runs of random points,
/// rectangles on whole numbers that share edges and corners.
Loops RandomLoops(Random& random, int count, double low, double high)
{
    Loops loops;
    const double size = (high - low) / 4;
    for (int i = 0; i < count; ++i) {
        auto& loop = loops.emplace_back();
        const double x = random.Between(low + size, high - size);
        const double y = random.Between(low + size, high - size);
        switch (random.Below(4)) {
        case 0:
            for (int k = 0; k < 11; ++k) {
                const double angle = 2.399963 * 4 * k;
                const double radius = size * random.Between(0.3, 1);
                loop.push_back({x + radius * std::cos(angle), y + radius * std::sin(angle)});
            }
            break;
        case 1:
            for (int k = 0; k < 6; ++k) {
                loop.push_back({random.Between(low, high), random.Between(low, high)});
            }
            break;
        default: {
            const double x0 = std::floor(x);
            const double y0 = std::floor(y);
            loop = Rectangle(x0, y0, x0 + 1 + random.Below(2), y0 + 1 + random.Below(2));
        }
        }
        if (random.Below(3) == 0) {
            std::reverse(loop.begin(), loop.end());
        }
    }
    return loops;
}

/// Compares where samples are with `isInside(x, y)`, except next to edges of the input.
template <class IsInside>
void ExpectRegion(const Loops& region, const Loops& input, double low, double high,
                  const IsInside& isInside)
{
    constexpr int kAcross = 40;
    const double clearance = (high - low) * 1e-8;
    for (const auto& loop : region) {
        ASSERT_GE(loop.size(), 4U);
        EXPECT_TRUE(loop.front() == loop.back());
    }
    for (int i = 0; i < kAcross; ++i) {
        for (int j = 0; j < kAcross; ++j) {
            const double x = low + (high - low) * (i + 0.4142) / kAcross;
            const double y = low + (high - low) * (j + 0.7321) / kAcross;
            if (DistanceToLoops(input, x, y) < clearance) {
                continue;
            }
            ASSERT_EQ(WindingNumber(region, x, y), isInside(x, y) ? 1 : 0) << x << " " << y;
        }
    }
}

Loops Joined(Loops a, const Loops& b)
{
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

TEST(Regions, HoldThePointsWithPositiveWinding)
{
    Random random(31);
    for (int round = 0; round < 12; ++round) {
        const double low = round % 3 == 0 ? 1e6 : round % 3 == 1 ? -8 : 0;
        const double high = low + 16;
        const Loops a = RandomLoops(random, 2 + 2 * round, low, high);
        const Loops b = RandomLoops(random, 2 + round, low, high);
        const int senseOfA = AreaUnder(a) < 0 ? -1 : 1;
        const int senseOfB = AreaUnder(b) < 0 ? -1 : 1;
        ExpectRegion(Union<double>(a, nullptr), a, low, high,
                     [&](double x, double y) { return senseOfA * WindingNumber(a, x, y) > 0; });
        ExpectRegion(Difference<double>(a, b, nullptr), Joined(a, b), low, high,
                     [&](double x, double y) {
                         return senseOfA * WindingNumber(a, x, y) > 0 &&
                                !(senseOfB * WindingNumber(b, x, y) > 0);
                     });
    }
}

TEST(Regions, AUnionOfAUnionIsTheSame)
{
    Random random(5);
    for (int round = 0; round < 8; ++round) {
        const Loops once = Union<double>(RandomLoops(random, 12, 0, 16), nullptr);
        const Loops twice = Union<double>(once, nullptr);
        EXPECT_NEAR(AreaUnder(once), AreaUnder(twice), 1e-6);
        EXPECT_TRUE(Difference<double>(once, once, nullptr).empty());
    }
}

TEST(Regions, PointsInAnyOrderOnALineBoundNothing)
{
    Random random(9);
    constexpr int kPoints = 20000;
    for (const Vec2d& along : {Vec2d(1, 0), Vec2d(0, 1), Vec2d(3, 7), Vec2d(-1e5, 2e-3)}) {
        Loops line(1);
        for (int i = 0; i < kPoints; ++i) {
            line[0].push_back(Vec2d(10, -20) + along * random.Unit());
        }
        const Loops region = Union<double>(line, nullptr);
        // What is left of the rounding of points lies within a few cells of the line.
        EXPECT_LE(std::fabs(AreaUnder(region)),
                  1e-8 * (std::fabs(along.x()) + 20) * (std::fabs(along.y()) + 20));
    }
}

// Rounding puts the points on both sides of the line, and every edge crosses every other.
TEST(Regions, EdgesToAndFroAlongASlantedLineInALargerBoxBoundNothing)
{
    Random random(2);
    for (const int points : {12, 60, 500, 20000}) {
        for (const Vec2d& along : {Vec2d(3, 7), Vec2d(7, -3), Vec2d(5, 5)}) {
            std::vector<Vec2d> line;
            for (int i = 0; i < points; ++i) {
                line.push_back(Vec2d(10, -20) + along * random.Unit());
            }
            double resolution = 0;
            const std::vector<Vec2d> farAway{{40, 30}, {50, 30.3}, {49, 40}, {40, 30}};
            const Loops region = Union<double>({farAway, line}, &resolution);
            const double triangle = AreaUnder<double>({farAway});
            EXPECT_NEAR(AreaUnder(region), triangle, 100 * resolution) << points;
            for (const auto& loop : region) {
                for (const Vec2d& p : loop) {
                    if (p.x() < 30) {
                        ASSERT_LE(DistanceToLoops<double>(
                                      {{Vec2d(10, -20), Vec2d(10, -20) + along}}, p.x(), p.y()),
                                  resolution);
                    }
                }
            }
        }
    }
}

TEST(Regions, RepeatedLoopsCountAsOneOrAsNone)
{
    Loops loops(50, Rectangle(0, 0, 2, 1));
    EXPECT_NEAR(AreaUnder(Union<double>(loops, nullptr)), 2, 1e-8);
    for (std::size_t i = 0; i < loops.size(); i += 2) {
        std::reverse(loops[i].begin(), loops[i].end());
    }
    EXPECT_TRUE(Union<double>(loops, nullptr).empty());
}

} // namespace
