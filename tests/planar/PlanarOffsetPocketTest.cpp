// Rings of pockets.

#include <Sorvane/PlanarOffset_E.h>
#include <Sorvane/PolyArcSeg_E.h>
#include <Velk/Progress_E.h>

#include "tests/planar/OffsetMeasures.h"
#include "tests/planar/OffsetShapes.h"
#include "tests/support/FailingAllocation.h"
#include "tests/support/ThreadLimit.h"

#include <limits>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane::Planar;
using namespace Support;

template <class T>
class PocketRingsTest : public testing::Test {
};
TYPED_TEST_SUITE(PocketRingsTest, OffsetCoordinates);

template <class T>
constexpr double kOff = std::is_same_v<T, float> ? 1e-3 : 1e-9;

template <class T>
PolyArcSegBase<T> Rectangle(double left, double low, double right, double high)
{
    const auto at = [](double x, double y) {
        return VecBase<2, T>(static_cast<T>(x), static_cast<T>(y));
    };
    return Lines<T>(
        {at(left, low), at(right, low), at(right, high), at(left, high), at(left, low)});
}

template <class T>
PocketPlan<T> Rings(const PolyArcSegBase<T>& outline, const Chains<T>& islands, double first,
                    double step, int most = 1000)
{
    return PocketRings<T>(outline, islands, {static_cast<T>(first), static_cast<T>(step), most},
                          kTol<T>);
}

template <class T>
double Length(const PocketRing<T>& ring)
{
    return TotalLength(ring.curves);
}

// A square of 21: rings of 17, 13, 9, 5 and 1.
TYPED_TEST(PocketRingsTest, RingsOfASquareWhicheverWayItRuns)
{
    using T = TypeParam;
    const auto square = Rectangle<T>(0, 0, 21, 21);
    const auto plan = Rings<T>(square, {}, 2, 2);
    EXPECT_EQ(plan.end, PocketEnd::Cleared);
    ASSERT_EQ(plan.rings.size(), 5U);
    for (int i = 0; i < 5; ++i) {
        const auto& ring = plan.rings[static_cast<std::size_t>(i)];
        EXPECT_EQ(ring.distance, T(2 + 2 * i));
        ExpectClosed(ring.curves, 1);
        EXPECT_NEAR(Length(ring), 4 * (17 - 4 * i), kOff<T>);
        EXPECT_LT(AreaOf(ring.curves[0]), 0); // clockwise along the outline
    }
    const auto turned = Rings<T>(TurnedRound(square), {}, 2, 2);
    ASSERT_EQ(turned.rings.size(), 5U);
    EXPECT_NEAR(AreaOf(turned.rings[2].curves[0]), -81, 10 * kOff<T>);
    // The last ring is not the last but one when the step fits exactly.
    EXPECT_EQ(Rings<T>(Rectangle<T>(0, 0, 20, 20), {}, 2, 2).rings.size(), 4U);
}

// Each is one element, or two: what linking by vertices would lose.
TYPED_TEST(PocketRingsTest, CircleInACircle)
{
    using T = TypeParam;
    for (const int sense : {1, -1}) {
        const auto plan = Rings<T>(Circle<T>(T(20), sense), {Circle<T>(T(5), -sense)}, 2, 1.75);
        EXPECT_EQ(plan.end, PocketEnd::Cleared);
        ASSERT_EQ(plan.rings.size(), 4U); // 2, 3.75, 5.5, 7.25; 9 is beyond the middle at 7.5
        for (const auto& ring : plan.rings) {
            ExpectClosed(ring.curves, 2);
            EXPECT_NEAR(Length(ring), 2 * kHalfTurn * 25, 10 * kOff<T>);
        }
    }
}

// Every point of the pocket is within a step of a ring, or within the first distance of a wall; and
// no ring leaves the pocket. Told on a grid, by distances alone.
TYPED_TEST(PocketRingsTest, NothingIsLeftBetweenTheRings)
{
    using T = TypeParam;
    Random random(5);
    for (int trial = 0; trial < 6; ++trial) {
        SCOPED_TRACE(trial);
        const auto outline = Rectangle<T>(0, 0, 20, 14);
        Chains<T> islands; // over each other and over the outline
        for (int i = 0; i < 3; ++i) {
            auto island = RandomOutline<T>(random, i % 2 == 0 ? 1 : -1);
            islands.push_back(Moved(island, VecBase<2, T>(random.Vector<2, T>(2, 13))));
            islands.back().tolerance = T(1e-4);
        }
        const double first = 0.5;
        const double step = 0.4;
        const auto plan = Rings<T>(outline, islands, first, step);
        EXPECT_EQ(plan.end, PocketEnd::Cleared);
        ASSERT_FALSE(plan.rings.empty());
        const auto toWalls = [&](const Vec2d& p) {
            double least = DistanceToChain(p, outline);
            for (const auto& island : islands) {
                least = std::min(least, DistanceToChain(p, island));
            }
            return least;
        };
        // By turns about the point, which is the slow way.
        const auto isInside = [](const Vec2d& p, const PolyArcSegBase<T>& chain) {
            double turns = 0;
            const auto samples = Samples(chain, 0.02);
            for (std::size_t i = 0; i < samples.size(); ++i) {
                const Vec2d a = samples[i] - p;
                const Vec2d b = samples[(i + 1) % samples.size()] - p;
                turns += std::atan2(a ^ b, a * b);
            }
            return std::fabs(turns) > kHalfTurn;
        };
        for (const auto& ring : plan.rings) {
            for (const auto& curve : ring.curves) {
                EXPECT_TRUE(curve.IsClosed());
                const Vec2d p = PointOf(curve.elements.front(), 0.5);
                EXPECT_TRUE(isInside(p, outline));
                for (const auto& island : islands) {
                    EXPECT_FALSE(isInside(p, island));
                }
                for (const Vec2d& q : Samples(curve, 0.5)) {
                    ASSERT_NEAR(toWalls(q), static_cast<double>(ring.distance), 1e-3);
                }
            }
        }
        for (int k = 0; k < 150; ++k) {
            const Vec2d p(random.Between(0, 20), random.Between(0, 14));
            if (toWalls(p) < first || std::any_of(islands.begin(), islands.end(),
                                                  [&](auto& c) { return isInside(p, c); })) {
                continue;
            }
            double least = std::numeric_limits<double>::infinity();
            for (const auto& ring : plan.rings) {
                for (const auto& curve : ring.curves) {
                    least = std::min(least, DistanceToChain(p, curve));
                }
            }
            // The last ring may be a step and a corner from the middle.
            EXPECT_LT(least, 2 * step) << p[0] << ", " << p[1];
        }
    }
}

TYPED_TEST(PocketRingsTest, FarFromTheOrigin)
{
    using T = TypeParam;
    const double size = std::is_same_v<T, float> ? 1e5 : 10; // a circle's radius
    const VecBase<2, T> place(T(1e6), T(-1e6));
    auto circle = Moved(Circle<T>(static_cast<T>(size), 1), place);
    circle.tolerance = T(1e-12); // its end misses the start by the rounding of coordinates
    const auto plan = PocketRings<T>(
        circle, {}, {static_cast<T>(0.25 * size), static_cast<T>(0.25 * size), 100}, T(0));
    EXPECT_EQ(plan.end, PocketEnd::Cleared);
    ASSERT_EQ(plan.rings.size(), 3U);
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_NEAR(Length(plan.rings[i]),
                    2 * kHalfTurn * size * (0.75 - 0.25 * static_cast<double>(i)), 1e-5 * size);
    }
}

// --- it ends, and says why ----------------------------------------------------------------------

TYPED_TEST(PocketRingsTest, EndsWithAReason)
{
    using T = TypeParam;
    const T nan = std::numeric_limits<T>::quiet_NaN();
    const T inf = std::numeric_limits<T>::infinity();
    const auto square = Rectangle<T>(0, 0, 10, 10);
    const auto endOf = [&](T first, T step, int most) {
        const auto plan = PocketRings<T>(square, {}, {first, step, most}, kTol<T>);
        EXPECT_LE(plan.rings.size(), static_cast<std::size_t>(std::max(most, 0)));
        EXPECT_EQ(plan.rings.empty(), most <= 0 || plan.end == PocketEnd::BadSteps || first >= 5);
        return plan.end;
    };
    for (const T bad :
         {nan, inf, -inf, T(0), T(-1), std::numeric_limits<T>::denorm_min(), T(1e-30)}) {
        EXPECT_EQ(endOf(T(1), bad, 100), PocketEnd::BadSteps) << bad;
        EXPECT_EQ(endOf(bad, T(1), 100), PocketEnd::BadSteps) << bad;
    }
    EXPECT_EQ(endOf(kTol<T>, T(1), 100), PocketEnd::BadSteps);
    // Within what coordinates tell apart: as many as wanted, and no more.
    EXPECT_EQ(endOf(T(1), static_cast<T>(std::is_same_v<T, float> ? 1e-4 : 1e-9), 20),
              PocketEnd::MostRings);
    EXPECT_EQ(endOf(T(1), T(1), 3), PocketEnd::MostRings);
    EXPECT_EQ(endOf(T(1), T(1), 0), PocketEnd::MostRings);
    EXPECT_EQ(endOf(T(1), T(1), -7), PocketEnd::MostRings);
    EXPECT_EQ(endOf(T(1), T(0.75), 100), PocketEnd::Cleared);
    EXPECT_EQ(endOf(T(6), T(1), 100), PocketEnd::Cleared); // the tool does not fit
    EXPECT_EQ(endOf(std::numeric_limits<T>::max(), T(1), 100), PocketEnd::BadSteps);
    EXPECT_EQ(endOf(T(1), std::numeric_limits<T>::max(), 100), PocketEnd::Cleared);

    for (const T tol : {nan, T(-1), T(0)}) {
        EXPECT_EQ(PocketRings<T>(square, {}, {T(1), T(1), 100}, tol).rings.size(), 4U);
    }
    EXPECT_EQ(PocketRings<T>(square, {}, {T(1), T(1), 100}, inf).end, PocketEnd::BadSteps);
}

// A wall without width covers nothing, and what lies on either side of it is pocket.
TYPED_TEST(PocketRingsTest, ThinWallsPartThePocket)
{
    using T = TypeParam;
    using Point = VecBase<2, T>;
    const auto square = Rectangle<T>(-10, -10, 10, 10);
    const auto lengthsOf = [](const PocketPlan<T>& plan) {
        std::vector<double> lengths;
        for (const auto& ring : plan.rings) {
            lengths.push_back(Length(ring));
        }
        return lengths;
    };
    const auto expectLengths = [&](const PolyArcSegBase<T>& outline, const Chains<T>& islands,
                                   const std::vector<double>& expected) {
        const auto plan = Rings<T>(outline, islands, 1.5, 1.5, static_cast<int>(expected.size()));
        const auto lengths = lengthsOf(plan);
        ASSERT_EQ(lengths.size(), expected.size());
        for (std::size_t i = 0; i < expected.size(); ++i) {
            EXPECT_NEAR(lengths[i], expected[i], kOff<T>) << i;
        }
    };
    // Two halves of 20 by 10: rectangles of 17 by 7 and of 14 by 4, whichever way the wall runs and
    // whether it ends at the outline or beyond.
    for (const T end : {T{10}, T{-10}, T{15}}) {
        const auto wall = Lines<T>({{-end, T{0}}, {end, T{0}}, {-end, T{0}}});
        expectLengths(square, {wall}, {96, 72});
        // Four quarters: squares of 7 and of 4.
        const auto other = Lines<T>({{T{0}, -end}, {T{0}, end}, {T{0}, -end}});
        expectLengths(square, {wall, other}, {112, 64});
    }
    // As a slit of the outline.
    expectLengths(
        Lines<T>(
            {{-10, -10}, {0, -10}, {0, 10}, {0, -10}, {10, -10}, {10, 10}, {-10, 10}, {-10, -10}}),
        {}, {96, 72});
    // One that ends inside: round its tip runs half a circle of the distance.
    const auto poking = Lines<T>({Point(-15, 0), Point(-5, 0), Point(-15, 0)});
    const double pi = std::acos(-1.0);
    expectLengths(square, {poking}, {4 * 17 - 3 + 2 * 3.5 + 1.5 * pi, 4 * 14 - 6 + 2 * 2 + 3 * pi});
}

// Circles as two halves and as one element, islands over each other, and outlines of arcs that
// bulge beyond their chords: the rings keep their distance from all and stay inside.
TYPED_TEST(PocketRingsTest, RoundWallsCoverWhatTheyEnclose)
{
    using T = TypeParam;
    const auto circle = [](double x, double y, double r, int parts) {
        return CircleOfArcs<T>({x, y}, r, parts);
    };
    for (const int parts : {1, 2, 3, 7}) {
        // Inside of the larger island lies all of a smaller one, beside it one that overlaps it.
        const Chains<T> islands{circle(1, 1, 4, parts), TurnedRound(circle(3, -0.5, 1, parts)),
                                circle(4, 3, 3, parts)};
        const auto plan = Rings<T>(circle(0, 0, 12, parts), islands, 0.5, 0.5);
        ASSERT_GT(plan.rings.size(), 4U);
        for (const auto& ring : plan.rings) {
            ASSERT_FALSE(ring.curves.empty());
            for (const auto& curve : ring.curves) {
                for (const auto& element : curve.elements) {
                    const double x = static_cast<double>(element.StartPoint().x());
                    const double y = static_cast<double>(element.StartPoint().y());
                    const double d = static_cast<double>(ring.distance);
                    EXPECT_LE(std::hypot(x, y), 12 - d + kOff<T>) << parts;
                    EXPECT_GE(std::hypot(x - 1, y - 1), 4 + d - kOff<T>) << parts;
                    EXPECT_GE(std::hypot(x - 4, y - 3), 3 + d - kOff<T>) << parts;
                }
            }
        }
        // Along the outline and about both islands, a curve each.
        EXPECT_EQ(plan.rings.front().curves.size(), 2U) << parts;
    }
}

// The two halves of an eight run opposite ways; the larger one is the pocket, and what lies beside
// the other is none.
TYPED_TEST(PocketRingsTest, OutlineThatCrossesItself)
{
    using T = TypeParam;
    const auto eight = Lines<T>({{-10, -10}, {10, 10}, {10, -10}, {-10, 12}, {-10, -10}});
    const auto plan = Rings<T>(eight, {}, 1, 1);
    ASSERT_GE(plan.rings.size(), 3U);
    for (const auto& ring : plan.rings) {
        ASSERT_EQ(ring.curves.size(), 1U) << ring.distance;
        EXPECT_TRUE(ring.curves.front().IsClosed());
        EXPECT_LE(static_cast<double>(ring.curves.front().elements.front().StartPoint().x()), 0.5);
    }
}

// Pockets of hardly more area than the disc of the tool: a circle, and a square about it.
TYPED_TEST(PocketRingsTest, PocketsHardlyWiderThanTheTool)
{
    using T = TypeParam;
    const double pi = std::acos(-1.0);
    const auto round = Rings<T>(CircleOfArcs<T>({0, 0}, 1.01, 1), {}, 1, 1);
    ASSERT_EQ(round.rings.size(), 1U);
    EXPECT_NEAR(Length(round.rings[0]), 2 * pi * 0.01, kOff<T>);
    const auto square = Rings<T>(Rectangle<T>(-1.01, -1.01, 1.01, 1.01), {}, 1, 1);
    ASSERT_EQ(square.rings.size(), 1U);
    EXPECT_NEAR(Length(square.rings[0]), 0.08, kOff<T>);
}

TYPED_TEST(PocketRingsTest, OpenWallsAndWallsWithoutRoom)
{
    using T = TypeParam;
    const T nan = std::numeric_limits<T>::quiet_NaN();
    const auto square = Rectangle<T>(0, 0, 10, 10);
    const auto open = Lines<T>({{1, 1}, {9, 1}, {9, 9}});
    PolyArcSegBase<T> hostile = square;
    hostile.elements[1] = ArcSegBase<T>(SegBase<T>{{10, 0}, {10, nan}});
    for (const auto& wall : {open, PolyArcSegBase<T>(), hostile}) {
        EXPECT_EQ(Rings<T>(wall, {}, 1, 1).end, PocketEnd::OpenWall);
        EXPECT_EQ(Rings<T>(square, {wall}, 1, 1).end, PocketEnd::OpenWall);
        EXPECT_TRUE(Rings<T>(square, {wall}, 1, 1).rings.empty());
    }
    // A line there and back has no inside, on which side of it ever an offset lies.
    const auto line = Lines<T>({{0, 0}, {10, 0}, {0, 0}});
    EXPECT_EQ(Rings<T>(line, {}, 1, 1), (PocketPlan<T>{PocketEnd::Cleared, {}}));
    // An island over all of it, and one that is all of it.
    const auto cover = Rectangle<T>(-1, -1, 11, 11);
    EXPECT_EQ(Rings<T>(square, {cover}, 1, 1), (PocketPlan<T>{PocketEnd::Cleared, {}}));
    EXPECT_EQ(Rings<T>(square, {square}, 1, 1), (PocketPlan<T>{PocketEnd::Cleared, {}}));
    // Islands outside of the outline are none.
    EXPECT_EQ(Rings<T>(square, {Rectangle<T>(20, 0, 25, 5)}, 1, 1).rings.size(), 4U);
}

TEST(PocketRingsDouble, StopsForTheHost)
{
    Velk::ProgressScope scope([](double fraction) { return fraction < 0.3; },
                              std::chrono::milliseconds(0));
    const auto plan = Rings<double>(Rectangle<double>(0, 0, 100, 100), {}, 0.01, 0.01, 10'000);
    EXPECT_TRUE(scope.WasStopped());
    EXPECT_EQ(plan, PocketPlan<double>());
    EXPECT_EQ(plan.end, PocketEnd::Stopped);
}

TEST(PocketRingsDouble, SameForAnyNumberOfThreads)
{
    Random random(8);
    const auto outline = Rectangle<double>(-4, -4, 9, 6);
    const Chains<double> islands{RandomOutline<double>(random, 1)};
    PocketPlan<double> one;
    PocketPlan<double> two;
    WithThreads(1, [&] { one = Rings<double>(outline, islands, 0.2, 0.1); });
    WithThreads(2, [&] { two = Rings<double>(outline, islands, 0.2, 0.1); });
    EXPECT_EQ(one, two);
    EXPECT_GT(one.rings.size(), 8U); // more than are worked on at once
}

TEST(PocketRingsDouble, PassesTheExceptionOn)
{
    WithThreads(1, [&] {
        EXPECT_GT(FailEachAllocationOfResult([] {
                      return Rings<double>(Circle<double>(5, 1), {Circle<double>(2, -1)}, 1, 1);
                  }),
                  20U);
    });
}

} // namespace
