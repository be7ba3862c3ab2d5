// Arcs: end point, box, the circle through three points, chord tolerances, curvature, tessellation.

#include <Velk/Math/Geometry_E.h>
#include <Velk/Math/Tolerances_E.h>

#include "tests/support/Rounds.h"
#include "tests/support/TestSupport.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Geometry;
using Vector::Length;

template <class T>
class ArcOf : public testing::Test {
};
using Scalars = testing::Types<float, double>;
TYPED_TEST_SUITE(ArcOf, Scalars);

template <class T>
constexpr T kEps = std::numeric_limits<T>::epsilon();
template <class T>
constexpr T kNan = std::numeric_limits<T>::quiet_NaN();
template <class T>
constexpr T kInf = std::numeric_limits<T>::infinity();
template <class T>
constexpr T kMax = std::numeric_limits<T>::max();

template <class T>
double Distance(const VecBase<2, T>& a, const VecBase<2, T>& b)
{
    return Length(Vec2d(a.x(), a.y()) - Vec2d(b.x(), b.y()));
}

/// Rounding unit of an arc: epsilon times the largest number that its points are made of.
template <class T>
double Unit(const ArcBase<T>& arc)
{
    const double center = std::max(std::abs(arc.center.x()), std::abs(arc.center.y()));
    return static_cast<double>(kEps<T>) * (center + static_cast<double>(Radius(arc)));
}

/// Rounding units that the end point's formula costs. In `double`: the start's angle (below 2 pi)
/// and the sweep by half an ulp of 4 to 8 each, 2 + 2 units; their sum by half an ulp of 8 to 16,
/// 4; the addition of 2 pi and that constant's own rounding, 2 + 1; the coordinates, 2. In `float`,
/// which is evaluated in `double`, one rounding of the coordinates.
template <class T>
constexpr double kEndUnits = std::is_same_v<T, float> ? 1 : 13;

/// The end point's formula in long double, the independent evaluation.
template <class T>
Vec2d ExactEnd(const ArcBase<T>& arc)
{
    const long double x = static_cast<long double>(arc.start.x()) - arc.center.x();
    const long double y = static_cast<long double>(arc.start.y()) - arc.center.y();
    const long double radius = std::sqrt(x * x + y * y);
    const long double angle = std::atan2(y, x) + arc.length / radius;
    return {static_cast<double>(arc.center.x() + radius * std::cos(angle)),
            static_cast<double>(arc.center.y() + radius * std::sin(angle))};
}

template <class T>
ArcBase<T> RandomArc(Support::Random& random, double offset)
{
    const double angle = random.Between(0, 7);
    const double radius = std::pow(10.0, random.Between(-2, 2));
    const double sweep = random.Between(-6.28, 6.28);
    const Vec2d center = random.Vector<2, double>(-offset, offset);
    const Vec2d start = center + radius * Vec2d{std::cos(angle), std::sin(angle)};
    return {VecBase<2, T>(center.x(), center.y()), VecBase<2, T>(start.x(), start.y()),
            static_cast<T>(radius * sweep)};
}

/// Distance of a point from the arc, by its definition: radial when the spoke through the point
/// meets the arc, else to the nearer end.
template <class T>
double DistanceToArc(const ArcBase<T>& arc, const Vec2d& point)
{
    const Vec2d center(arc.center.x(), arc.center.y());
    const Vec2d from = Vec2d(arc.start.x(), arc.start.y()) - center;
    const double radius = Length(from);
    const double sweep = static_cast<double>(arc.length) / radius;
    const Vec2d to = point - center;
    double turn = std::atan2(from ^ to, from * to) * (sweep < 0 ? -1 : 1);
    if (turn < 0) {
        turn += kTwoPi<double>;
    }
    if (turn <= std::abs(sweep)) {
        return std::abs(Length(to) - radius);
    }
    return std::min(Length(to - from), Length(point - ExactEnd(arc)));
}

// --- EndPoint -----------------------------------------------------------------------------------

TYPED_TEST(ArcOf, EndPointOfQuarterAndHalfTurns)
{
    using T = TypeParam;
    using P = VecBase<2, T>;
    const T quarter = kPi<T>; // on radius 2
    struct {
        T length;
        P end;
    } const cases[] = {{quarter, {1, 4}},     {2 * quarter, {-1, 2}},  {3 * quarter, {1, 0}},
                       {-quarter, {1, 0}},    {-2 * quarter, {-1, 2}}, {-3 * quarter, {1, 4}},
                       {4 * quarter, {3, 2}}, {-4 * quarter, {3, 2}},  {9 * quarter, {1, 4}}};
    for (const auto& [length, end] : cases) {
        const P found = EndPoint(ArcBase<T>{{1, 2}, {3, 2}, length});
        EXPECT_TRUE(Matches(found, end, 16 * kEps<T>)) << length << ": " << found;
    }
}

TYPED_TEST(ArcOf, EndPointOfZeroLengthIsTheStart)
{
    using T = TypeParam;
    Support::Random random(1);
    for (int i = 0; i < 200; ++i) {
        ArcBase<T> arc = RandomArc<T>(random, 1e4);
        arc.length = 0;
        EXPECT_EQ(EndPoint(arc), arc.start);
    }
}

TYPED_TEST(ArcOf, EndPointWithStartAtCenterIsTheCenter)
{
    using T = TypeParam;
    const VecBase<2, T> center{T(0.1), T(-7.3)};
    EXPECT_EQ(EndPoint(ArcBase<T>{center, center, T{5}}), center);
}

TYPED_TEST(ArcOf, RadiusOfTheFloorKeepsTheAngleAndAboveItTurns)
{
    using T = TypeParam;
    using P = VecBase<2, T>;
    // The floor is 1e-12 for both types; a quarter turn would take the end to the y axis.
    const T at = std::nextafter(static_cast<T>(1e-12), T{0});
    EXPECT_EQ(EndPoint(ArcBase<T>{{}, {at, 0}, at * kPi<T> / 2}), (P{at, 0}));
    if (const double floor = 1e-12; std::is_same_v<T, double>) { // the floor itself counts as none
        ASSERT_EQ(Length(Vec2d{floor, 0}), floor);
        EXPECT_EQ(EndPoint(ArcBase<double>{{}, {floor, 0}, floor}), (Vec2d{floor, 0}));
    }
    const T above = static_cast<T>(1.001e-12);
    const P end = EndPoint(ArcBase<T>{{}, {above, 0}, above * kPi<T> / 2});
    EXPECT_NEAR(end.x() / above, T{0}, 4 * kEps<T>);
    EXPECT_NEAR(end.y() / above, T{1}, 4 * kEps<T>);
}

TYPED_TEST(ArcOf, EndPointAgreesWithTheFormulaInHigherPrecision)
{
    using T = TypeParam;
    Support::Random random(2);
    for (int i = 0; i < 5000; ++i) {
        SCOPED_TRACE(i);
        const auto arc = RandomArc<T>(random, i % 2 == 0 ? 0.0 : 1e5);
        const auto end = EndPoint(arc);
        EXPECT_LE(Distance(Vec2d(end.x(), end.y()), ExactEnd(arc)), kEndUnits<T> * Unit(arc));
    }
}

TYPED_TEST(ArcOf, EndPointAfterManyTurns)
{
    using T = TypeParam;
    // 1000 turns and a quarter: the length is rounded to 2 pi 1000 eps, and the end with it.
    const T length = static_cast<T>(2000 * kPi<double> + kPi<double> / 2);
    const auto end = EndPoint(ArcBase<T>{{}, {1, 0}, length});
    EXPECT_NEAR(end.x(), 0, 6300 * kEps<T>);
    EXPECT_NEAR(end.y(), 1, 6300 * kEps<T>);
}

TYPED_TEST(ArcOf, EndPointOfTheReversedArcIsTheStart)
{
    using T = TypeParam;
    Support::Random random(3);
    for (int i = 0; i < 1000; ++i) {
        const auto arc = RandomArc<T>(random, 100);
        const ArcBase<T> reversed{arc.center, EndPoint(arc), -arc.length};
        EXPECT_LE(Distance(EndPoint(reversed), arc.start), 20 * Unit(arc)) << i;
    }
}

TYPED_TEST(ArcOf, EndPointOfNonFiniteArcDoesNotLookUsable)
{
    using T = TypeParam;
    EXPECT_TRUE(std::isnan(EndPoint(ArcBase<T>{{}, {1, 0}, kNan<T>}).x()));
    EXPECT_TRUE(std::isnan(EndPoint(ArcBase<T>{{}, {1, 0}, kInf<T>}).x()));
    EXPECT_TRUE(std::isnan(EndPoint(ArcBase<T>{{}, {kNan<T>, 0}, T{1}}).x()));
}

// --- Bounds -------------------------------------------------------------------------------------

TYPED_TEST(ArcOf, BoundsOfEveryRunOfQuadrants)
{
    using T = TypeParam;
    // From the middle of quadrant q of the unit circle about (10, 20) over k quarter turns, either
    // way: the arc passes k axis points and ends in the middle of another quadrant.
    const T half = std::sqrt(T(0.5));
    for (int q = 0; q < 4; ++q) {
        for (int k = -5; k <= 5; ++k) {
            SCOPED_TRACE(testing::Message() << "quadrant " << q << ", quarters " << k);
            const T x = q == 0 || q == 3 ? half : -half;
            const T y = q < 2 ? half : -half;
            const ArcBase<T> arc{{10, 20}, {10 + x, 20 + y}, static_cast<T>(k) * kPi<T> / 2};
            const auto [low, high] = arc.Bounds();
            bool passes[4] = {};
            for (int step = 0; step < std::abs(k); ++step) {
                // Axis point a lies between quadrant a - 1 and quadrant a.
                passes[(k > 0 ? q + 1 + step : q - step + 8) % 4] = true;
            }
            const auto end = EndPoint(arc);
            const T margin = 64 * kEps<T>;
            EXPECT_NEAR(high.x(), passes[0] ? T{11} : std::max(arc.start.x(), end.x()), margin);
            EXPECT_NEAR(high.y(), passes[1] ? T{21} : std::max(arc.start.y(), end.y()), margin);
            EXPECT_NEAR(low.x(), passes[2] ? T{9} : std::min(arc.start.x(), end.x()), margin);
            EXPECT_NEAR(low.y(), passes[3] ? T{19} : std::min(arc.start.y(), end.y()), margin);
        }
    }
}

TYPED_TEST(ArcOf, BoundsExtremesAreCenterPlusAndMinusRadius)
{
    using T = TypeParam;
    const ArcBase<T> circle{{T(0.3), T(-0.7)}, {T(0.3) + T(1.1), T(0.4)}, T{100}};
    const T radius = Radius(circle);
    const auto [low, high] = circle.Bounds();
    EXPECT_EQ(low, (VecBase<2, T>{circle.center.x() - radius, circle.center.y() - radius}));
    EXPECT_EQ(high, (VecBase<2, T>{circle.center.x() + radius, circle.center.y() + radius}));
}

TYPED_TEST(ArcOf, BoundsOfArcsThatStartAtAQuadrantPoint)
{
    using T = TypeParam;
    using P = VecBase<2, T>;
    const T margin = 4 * kEps<T>;
    // Half turns from (1, 0): above and below; the far side is the start's own coordinate.
    const auto above = ArcBase<T>{{}, {1, 0}, kPi<T>}.Bounds();
    EXPECT_TRUE(Matches(above[0], P{-1, 0}, margin)) << above[0];
    EXPECT_EQ(above[1], (P{1, 1}));
    const auto below = ArcBase<T>{{}, {1, 0}, -kPi<T>}.Bounds();
    EXPECT_EQ(below[0], (P{-1, -1}));
    EXPECT_TRUE(Matches(below[1], P{1, 0}, margin)) << below[1];
    // A tenth of a radian from each quadrant point stays next to it.
    const P starts[] = {{1, 0}, {0, 1}, {-1, 0}, {0, -1}};
    for (const P& start : starts) {
        for (const T length : {T(0.1), T(-0.1)}) {
            const ArcBase<T> arc{{}, start, length};
            const auto [low, high] = arc.Bounds();
            const P end = EndPoint(arc);
            EXPECT_EQ(low, (P{std::min(start.x(), end.x()), std::min(start.y(), end.y())}));
            EXPECT_EQ(high, (P{std::max(start.x(), end.x()), std::max(start.y(), end.y())}));
        }
    }
}

TYPED_TEST(ArcOf, BoundsHoldTheArcAndTouchIt)
{
    using T = TypeParam;
    Support::Random random(4);
    for (int i = 0; i < Support::Rounds(500); ++i) {
        SCOPED_TRACE(i);
        const auto arc = RandomArc<T>(random, 10);
        const auto [low, high] = arc.Bounds();
        const auto end = EndPoint(arc);
        for (int axis = 0; axis < 2; ++axis) {
            EXPECT_LE(low[axis], std::min(arc.start[axis], end[axis])); // exactly
            EXPECT_GE(high[axis], std::max(arc.start[axis], end[axis]));
        }
        // 4000 samples hold the box from inside; they miss an extreme by at most r (sweep / 8000)^2
        // / 2.
        Vec2d least(1e300, 1e300);
        Vec2d most(-1e300, -1e300);
        for (int k = 0; k <= 4000; ++k) {
            ArcBase<double> part{{arc.center.x(), arc.center.y()},
                                 {arc.start.x(), arc.start.y()},
                                 static_cast<double>(arc.length) * k / 4000};
            const Vec2d p = ExactEnd(part);
            for (int axis = 0; axis < 2; ++axis) {
                least[axis] = std::min(least[axis], p[axis]);
                most[axis] = std::max(most[axis], p[axis]);
            }
        }
        const double margin = 5e-7 * static_cast<double>(Radius(arc)) + 8 * Unit(arc);
        for (int axis = 0; axis < 2; ++axis) {
            EXPECT_NEAR(low[axis], least[axis], margin);
            EXPECT_NEAR(high[axis], most[axis], margin);
            EXPECT_LE(low[axis], least[axis] + 8 * Unit(arc));
            EXPECT_GE(high[axis], most[axis] - 8 * Unit(arc));
        }
    }
}

TYPED_TEST(ArcOf, BoundsOfDegenerateArcs)
{
    using T = TypeParam;
    using P = VecBase<2, T>;
    const ArcBase<T> noLength{{1, 2}, {2, 2}, T{0}};
    EXPECT_EQ(noLength.Bounds()[0], noLength.start);
    EXPECT_EQ(noLength.Bounds()[1], noLength.start);
    const ArcBase<T> noRadius{{1, 2}, {1, 2}, T{3}};
    EXPECT_EQ(noRadius.Bounds()[0], (P{1, 2}));
    EXPECT_EQ(noRadius.Bounds()[1], (P{1, 2}));
    // Without end: the whole circle all the same.
    EXPECT_EQ((ArcBase<T>{{}, {1, 0}, kInf<T>}.Bounds()[0]), (P{-1, -1}));
    EXPECT_EQ((ArcBase<T>{{}, {1, 0}, -kInf<T>}.Bounds()[1]), (P{1, 1}));
    EXPECT_EQ((ArcBase<T>{{}, {1, 0}, kNan<T>}.Bounds()[1]), (P{1, 0}));
}

// --- ArcThroughPoints ---------------------------------------------------------------------------

TYPED_TEST(ArcOf, ThroughPointsOfTheUnitCircle)
{
    using T = TypeParam;
    using P = VecBase<2, T>;
    const T margin = 8 * kEps<T>;
    const auto half = ArcThroughPoints(P{1, 0}, P{0, 1}, P{-1, 0});
    EXPECT_TRUE(Matches(half.center, P{0, 0}, margin));
    EXPECT_EQ(half.start, (P{1, 0}));
    EXPECT_NEAR(half.length, kPi<T>, margin);
    const auto clockwise = ArcThroughPoints(P{1, 0}, P{0, -1}, P{-1, 0});
    EXPECT_NEAR(clockwise.length, -kPi<T>, margin);
    const auto threeQuarters = ArcThroughPoints(P{1, 0}, P{-1, 0}, P{0, -1});
    EXPECT_TRUE(Matches(threeQuarters.center, P{0, 0}, margin));
    EXPECT_NEAR(threeQuarters.length, T(1.5) * kPi<T>, margin);
    // The same three the other way round: the short way from (0, -1) to (1, 0) misses (-1, 0).
    const auto back = ArcThroughPoints(P{0, -1}, P{-1, 0}, P{1, 0});
    EXPECT_NEAR(back.length, T(-1.5) * kPi<T>, margin);
    EXPECT_EQ(back.start, (P{0, -1}));
}

TYPED_TEST(ArcOf, ThroughCollinearOrCoincidentPointsHasRadiusExactlyZero)
{
    using T = TypeParam;
    using P = VecBase<2, T>;
    const P a{T(0.1), T(0.3)};
    const P b{T(0.2), T(0.6)}; // on the line y = 3 x, but not in binary
    const P c{T(0.7), T(2.1)};
    const P far{5, -1};
    const T nearly = kLengthFloor<T> / 2;
    const P triples[][3] = {
        {a, b, c},
        {a, c, b},
        {c, a, b}, // between, beyond and behind
        {a, far, a},
        {a, a, far},
        {far, a, a},
        {a, a, a},                      // coincident
        {{0, 1}, {0, -1}, {nearly, 1}}, // coincident but for noise: a closed run
        {{-1, 0}, {0, 0}, {1, 0}},
        {{0, 0}, {kNan<T>, 1}, {2, 0}},
        {{0, 0}, {kInf<T>, 1}, {2, 0}},
    };
    for (const auto& [first, middle, last] : triples) {
        const auto arc = ArcThroughPoints(first, middle, last);
        EXPECT_EQ(arc.center, first) << middle << last;
        EXPECT_EQ(arc.start, first);
        EXPECT_EQ(arc.length, T{0});
        EXPECT_EQ(Radius(arc), T{0});
    }
}

TYPED_TEST(ArcOf, ThroughFlatButNotCollinearPoints)
{
    using T = TypeParam;
    using P = VecBase<2, T>;
    // Chord 2, sagitta s: radius (1 + s^2) / (2 s).
    const T s = 64 * kEps<T>;
    const auto arc = ArcThroughPoints(P{-1, 0}, P{0, s}, P{1, 0});
    EXPECT_NEAR(Radius(arc) * (2 * s), T{1}, 4 * kEps<T>);
    EXPECT_NEAR(arc.length, T{-2}, 4 * kEps<T>); // clockwise over the top
}

TYPED_TEST(ArcOf, ThroughPointsReturnsToItsPoints)
{
    using T = TypeParam;
    Support::Random random(5);
    for (int i = 0; i < 20000; ++i) {
        SCOPED_TRACE(i);
        const double offset = i % 4 == 0 ? 0.0 : std::pow(10.0, i % 4 * 2);
        const auto arc = RandomArc<T>(random, offset);
        const double place = random.Between(0.05, 0.95);
        const ArcBase<T> part{arc.center, arc.start, static_cast<T>(arc.length * place)};
        const auto middle = EndPoint(part);
        const auto last = EndPoint(arc);
        // Legs of a hundred rounding units at least: shorter ones say nothing of the circle.
        if (std::min({Distance(arc.start, middle), Distance(middle, last),
                      Distance(arc.start, last)}) < 100 * Unit(arc)) {
            continue;
        }
        const auto found = ArcThroughPoints(arc.start, middle, last);
        if (found.length == 0) {
            continue; // flat by definition; covered above
        }
        EXPECT_EQ(found.start, arc.start);
        // What the formula costs, and two units each for the center and the length as stored: a
        // length of 2 pi is rounded by half an ulp of 4 to 8.
        EXPECT_LE(Distance(EndPoint(found), last), (kEndUnits<T> + 4) * Unit(found));
        EXPECT_LE(DistanceToArc(found, Vec2d(middle.x(), middle.y())), 8 * Unit(found));
        // Where rounding of the points leaves the sense in no doubt.
        if (DistanceToArc(ArcBase<T>{arc.center, arc.start, T{0}}, Vec2d(middle.x(), middle.y())) >
                1e-2 * static_cast<double>(Radius(arc)) &&
            static_cast<double>(Radius(arc)) > 1e5 * Unit(arc) &&
            std::abs(arc.length) > Radius(arc)) {
            EXPECT_EQ(found.length > 0, arc.length > 0);
        }
    }
}

TYPED_TEST(ArcOf, ThroughPointsFarFromTheOrigin)
{
    using T = TypeParam;
    using P = VecBase<2, T>;
    // 3-4-5 points of the circle of radius 5 about a far center: every coordinate is exact there.
    const T far = std::is_same_v<T, float> ? T{1 << 20} : static_cast<T>(1LL << 49);
    const P center{far, -far};
    const auto arc = ArcThroughPoints(center + P{5, 0}, center + P{3, 4}, center + P{-4, 3});
    EXPECT_EQ(arc.center, center);
    EXPECT_EQ(Radius(arc), T{5});
    EXPECT_NEAR(arc.length, 5 * (kPi<T> - std::atan2(T{3}, T{4})), 16 * kEps<T>);
}

TYPED_TEST(ArcOf, ThroughPointsHugeAndTiny)
{
    using T = TypeParam;
    using P = VecBase<2, T>;
    for (const T size : {T(1e-5), T(1e15)}) {
        const auto arc = ArcThroughPoints(P{size, 0}, P{0, size}, P{-size, 0});
        EXPECT_NEAR(arc.length / size, kPi<T>, 8 * kEps<T>);
    }
    const auto beyond = ArcThroughPoints(P{kMax<T>, 0}, P{0, kMax<T>}, P{-kMax<T>, 0});
    EXPECT_FALSE(std::isnan(beyond.length)); // too large for its circle, but quiet
}

// --- chord tolerances and curvature
// ---------------------------------------------------------------

TYPED_TEST(ArcOf, ApparentRadiusIsThatOfChordAndSagitta)
{
    using T = TypeParam;
    EXPECT_EQ(ApparentArcRadius(T{8}, T{1}), T(8.5)); // 64 / 8 + 1 / 2
    EXPECT_EQ(ApparentArcRadius(T{2}, T{1}), T{1});   // half circle
    EXPECT_EQ(ApparentArcRadius(T{0}, T{2}), T{1});
    EXPECT_EQ(ApparentArcRadius(T{1}, T{0}), kMax<T>);
    EXPECT_EQ(ApparentArcRadius(T{1}, T{-1}), kMax<T>);
    EXPECT_EQ(ApparentArcRadius(T{1}, kNan<T>), kMax<T>);
    EXPECT_EQ(ApparentArcRadius(kNan<T>, T{1}), kMax<T>);
    EXPECT_EQ(ApparentArcRadius(kMax<T>, T{1}), kMax<T>);
}

TYPED_TEST(ArcOf, ApparentRadiusUndoesTheSagitta)
{
    using T = TypeParam;
    Support::Random random(6);
    for (int i = 0; i < 1000; ++i) {
        const double radius = random.Between(0.1, 100);
        const double halfSweep = random.Between(0.01, 1.5);
        const T chord = static_cast<T>(2 * radius * std::sin(halfSweep));
        const T sagitta = static_cast<T>(2 * radius * std::pow(std::sin(halfSweep / 2), 2));
        EXPECT_NEAR(ApparentArcRadius(chord, sagitta) / radius, 1, 8 * kEps<T>);
    }
}

TYPED_TEST(ArcOf, ApparentToleranceIsTheLongerChordsSagitta)
{
    using T = TypeParam;
    using P = VecBase<2, T>;
    const auto at = [](double radius, double angle) {
        return P{3 + radius * std::cos(angle), -2 + radius * std::sin(angle)};
    };
    Support::Random random(7);
    for (int i = 0; i < 1000; ++i) {
        SCOPED_TRACE(i);
        const double radius = random.Between(0.5, 20);
        const double from = random.Between(0, 6);
        const double first = random.Between(0.2, 1.5);
        const double second = random.Between(0.2, 1.5);
        const double sagitta = radius * (1 - std::cos(std::max(first, second) / 2));
        const P a = at(radius, from);
        const P b = at(radius, from + first);
        const P c = at(radius, from + first + second);
        // Coordinates carry epsilon; the sagitta of a leg of 0.2 radians is worth some 300 of them.
        const double margin = 600 * static_cast<double>(kEps<T>) * (radius + 3);
        EXPECT_NEAR(ApparentArcTolerance(a, b, c), sagitta, margin);
        EXPECT_NEAR(ApparentArcTolerance(c, b, a), sagitta, margin);
    }
}

TYPED_TEST(ArcOf, ApparentToleranceOfASpikeIsLarge)
{
    using T = TypeParam;
    using P = VecBase<2, T>;
    // From (-1, 0) to (1, 0) and back to the top of the same unit circle: the run from the first to
    // the second takes the lower half, whose sagitta is 1.
    EXPECT_NEAR(ApparentArcTolerance(P{-1, 0}, P{1, 0}, P{0, 1}), T{1}, 4 * kEps<T>);
    // Three equal chords: r (1 - cos 60 degrees).
    const T h = std::sqrt(T{3}) / 2;
    EXPECT_NEAR(ApparentArcTolerance(P{1, 0}, P{T(-0.5), h}, P{T(-0.5), -h}), T(0.5), 4 * kEps<T>);
    // Third point within the first chord's own arc: the run goes the long way, r + r cos(a / 2).
    const T spike = ApparentArcTolerance(P{-h, T(0.5)}, P{h, T(0.5)}, P{0, 1});
    EXPECT_NEAR(spike, T(1.5), 8 * kEps<T>);
}

TYPED_TEST(ArcOf, ApparentToleranceOfCollinearPointsIsZero)
{
    using T = TypeParam;
    using P = VecBase<2, T>;
    EXPECT_EQ(ApparentArcTolerance(P{0, 0}, P{1, 1}, P{5, 5}), T{0});
    EXPECT_EQ(ApparentArcTolerance(P{0, 0}, P{5, 5}, P{1, 1}), T{0});
    EXPECT_EQ(ApparentArcTolerance(P{1, 2}, P{1, 2}, P{1, 2}), T{0});
    EXPECT_EQ(ApparentArcTolerance(P{1, 2}, P{kNan<T>, 2}, P{1, 3}), T{0});
}

TYPED_TEST(ArcOf, AngleStepClosedForms)
{
    using T = TypeParam;
    const T margin = 4 * kEps<T>;
    EXPECT_NEAR(AngleStep(T{1}, T{1}), kPi<T>, margin);             // 2 acos(0)
    EXPECT_NEAR(AngleStep(T{2}, T{1}), 2 * kPi<T> / 3, margin);     // 2 acos(1/2)
    EXPECT_NEAR(AngleStep(T{2}, T{3}), 4 * kPi<T> / 3, 2 * margin); // 2 acos(-1/2)
    EXPECT_NEAR(AngleStep(T{1}, T{1} - std::sqrt(T(0.5))), kPi<T> / 2, 2 * margin);
    // Fine tolerances keep their digits: 2 sqrt(2 tol / r) to leading order, where 1 - tol / r
    // is 1.
    const T fine = kEps<T> / 16;
    EXPECT_NEAR(AngleStep(T{1}, fine) / (2 * std::sqrt(2 * fine)), T{1}, margin);
}

TYPED_TEST(ArcOf, AngleStepOfRadiusZeroIsExactlyAWholeTurn)
{
    using T = TypeParam;
    EXPECT_EQ(AngleStep(T{0}, T(0.001)), kTwoPi<T>);
    EXPECT_EQ(AngleStep(T{1}, T{2}), kTwoPi<T>);
    EXPECT_EQ(AngleStep(T{1}, T{5}), kTwoPi<T>);
    EXPECT_EQ(AngleStep(T{1}, kInf<T>), kTwoPi<T>);
    EXPECT_LE(AngleStep(T{1}, std::nextafter(T{2}, T{0})), kTwoPi<T>);
}

TYPED_TEST(ArcOf, AngleStepOfHostileArguments)
{
    using T = TypeParam;
    for (const auto& [radius, tolerance] : {std::pair{T{1}, T{0}},
                                            {T{0}, T{0}},
                                            {T{-1}, T{1}},
                                            {T{1}, T{-1}},
                                            {kNan<T>, T{1}},
                                            {T{1}, kNan<T>},
                                            {kInf<T>, T{1}},
                                            {-kMax<T>, T{1}}}) {
        EXPECT_EQ(AngleStep(radius, tolerance), T{0}) << radius << ' ' << tolerance;
    }
    EXPECT_GT(AngleStep(kMax<T>, T{1}), T{0});
}

TYPED_TEST(ArcOf, DiscreteCurvatureIsSignedReciprocalRadius)
{
    using T = TypeParam;
    using P = VecBase<2, T>;
    EXPECT_NEAR(DiscreteCurvature(P{2, 0}, P{0, 2}, P{-2, 0}), T(0.5), 4 * kEps<T>);
    EXPECT_NEAR(DiscreteCurvature(P{-2, 0}, P{0, 2}, P{2, 0}), T(-0.5), 4 * kEps<T>);
    EXPECT_EQ(DiscreteCurvature(P{0, 0}, P{1, 2}, P{2, 4}), T{0});
    EXPECT_EQ(DiscreteCurvature(P{0, 0}, P{2, 4}, P{1, 2}), T{0}); // folded back
    EXPECT_EQ(DiscreteCurvature(P{0, 0}, P{1, 1}, P{0, 0}), T{0});
    EXPECT_EQ(DiscreteCurvature(P{1, 1}, P{1, 1}, P{0, 3}), T{0});
    EXPECT_EQ(DiscreteCurvature(P{0, 0}, P{0, kNan<T>}, P{1, 0}), T{0});
}

TYPED_TEST(ArcOf, DiscreteCurvatureAgreesWithTheArcThroughThePoints)
{
    using T = TypeParam;
    Support::Random random(8);
    for (int i = 0; i < 1000; ++i) {
        const auto a = random.Vector<2, T>(-5, 5);
        const auto b = random.Vector<2, T>(-5, 5);
        const auto c = random.Vector<2, T>(-5, 5);
        const auto arc = ArcThroughPoints(a, b, c);
        const T curvature = DiscreteCurvature(a, b, c);
        EXPECT_EQ(curvature > 0, arc.length > 0);
        EXPECT_NEAR(std::abs(curvature) * Radius(arc), T{1}, 64 * kEps<T>) << i;
        EXPECT_EQ(DiscreteCurvature(c, b, a), -curvature);
    }
}

// --- Tessellate
// -----------------------------------------------------------------------------------

/// Largest distance of the polyline's chords from the arc, by dense samples on each.
template <class T>
double ChordDeviation(const ArcBase<T>& arc, const std::vector<VecBase<2, T>>& polyline)
{
    double largest = 0;
    for (std::size_t i = 0; i + 1 < polyline.size(); ++i) {
        const Vec2d a(polyline[i].x(), polyline[i].y());
        const Vec2d b(polyline[i + 1].x(), polyline[i + 1].y());
        for (int k = 0; k <= 8; ++k) {
            largest = std::max(largest, DistanceToArc(arc, a + (k / 8.0) * (b - a)));
        }
    }
    return largest;
}

TYPED_TEST(ArcOf, TessellateKeepsTheToleranceWithTheLeastChords)
{
    using T = TypeParam;
    Support::Random random(9);
    for (int i = 0; i < 400; ++i) {
        SCOPED_TRACE(i);
        const auto arc = RandomArc<T>(random, 10);
        const double radius = Radius(arc);
        const double sweep = std::abs(static_cast<double>(arc.length)) / radius;
        const T tolerance = static_cast<T>(radius * std::pow(10.0, random.Between(-4.0, 0.5)));
        const auto points = Tessellate(arc, tolerance);

        ASSERT_GE(points.size(), 2U);
        EXPECT_EQ(points.front(), arc.start);
        EXPECT_EQ(points.back(), EndPoint(arc));
        EXPECT_LE(ChordDeviation(arc, points), tolerance + 16 * Unit(arc));

        // One chord fewer would leave the arc too far, or turn by more than a quarter.
        const auto chords = static_cast<double>(points.size() - 1);
        EXPECT_LE(sweep / chords, kPi<double> / 2 * (1 + 1e-6));
        if (chords > 1) {
            const double longer = sweep / (chords - 1);
            const double sagitta = radius * (1 - std::cos(std::min(longer, kPi<double>) / 2));
            EXPECT_TRUE(sagitta > tolerance * (1 - 1e-5) || longer > kPi<double> / 2) << chords;
        }
    }
}

TYPED_TEST(ArcOf, TessellatePointsLieOnTheArcInEqualSteps)
{
    using T = TypeParam;
    Support::Random random(10);
    for (int i = 0; i < 100; ++i) {
        SCOPED_TRACE(i);
        const auto arc = RandomArc<T>(random, 100);
        const auto points = Tessellate(arc, static_cast<T>(1e-4) * Radius(arc));
        const auto chords = static_cast<double>(points.size() - 1);
        for (std::size_t k = 0; k < points.size(); ++k) {
            ArcBase<double> part{{arc.center.x(), arc.center.y()},
                                 {arc.start.x(), arc.start.y()},
                                 static_cast<double>(arc.length) * static_cast<double>(k) / chords};
            const Vec2d expected = ExactEnd(part);
            EXPECT_LE(Distance(Vec2d(points[k].x(), points[k].y()), expected), 8 * Unit(arc));
        }
    }
}

TYPED_TEST(ArcOf, TessellateWithoutUsableToleranceKeepsToQuarterTurns)
{
    using T = TypeParam;
    using P = VecBase<2, T>;
    const ArcBase<T> circle{{}, {1, 0}, kTwoPi<T>};
    for (const T tolerance : {T{0}, T{-1}, kNan<T>, T{10}, kInf<T>, kMax<T>}) {
        const auto points = Tessellate(circle, tolerance);
        ASSERT_EQ(points.size(), 5U) << tolerance;
        const P corners[] = {{1, 0}, {0, 1}, {-1, 0}, {0, -1}, {1, 0}};
        for (int k = 0; k < 5; ++k) {
            EXPECT_TRUE(Matches(points[static_cast<std::size_t>(k)], corners[k], 8 * kEps<T>)) << k;
        }
    }
    EXPECT_EQ(Tessellate(ArcBase<T>{{}, {1, 0}, kPi<T> / 2}, T{0}).size(), 2U);
    EXPECT_EQ(Tessellate(ArcBase<T>{{}, {1, 0}, T(-1.6)}, T{0}).size(), 3U);
}

TYPED_TEST(ArcOf, TessellateWholeTurnsDoNotGainAChordByRounding)
{
    using T = TypeParam;
    Support::Random random(11);
    for (int i = 0; i < 1000; ++i) {
        const auto center = random.Vector<2, T>(-100, 100);
        const auto radius = static_cast<T>(random.Between(0.01, 100));
        ArcBase<T> circle{center, {center.x() + radius, center.y()}, T{0}};
        circle.length = kTwoPi<T> * Radius(circle);
        EXPECT_EQ(Tessellate(circle, T{0}).size(), 5U) << i;
    }
}

TYPED_TEST(ArcOf, TessellateToleranceBelowRoundingIsRounding)
{
    using T = TypeParam;
    // A short arc: sweep 0.001 in steps of 4 asin(sqrt(tol / 2r)) with tol = 2 eps (1 + 0).
    const ArcBase<T> arc{{}, {1, 0}, T(0.001)};
    const auto finest = Tessellate(arc, std::numeric_limits<T>::denorm_min());
    EXPECT_EQ(finest.size(), Tessellate(arc, static_cast<T>(kEps<T>)).size());
    EXPECT_LE(static_cast<double>(finest.size()),
              2 + 0.001 / (2 * std::sqrt(4 * static_cast<double>(kEps<T>))) * 1.001);
    EXPECT_LE(ChordDeviation(arc, finest), 4 * Unit(arc));
}

TYPED_TEST(ArcOf, TessellateDegenerateAndNonFiniteArcsGiveTheirEnds)
{
    using T = TypeParam;
    using P = VecBase<2, T>;
    const auto noLength = Tessellate(ArcBase<T>{{}, {1, 0}, T{0}}, T(0.1));
    EXPECT_EQ(noLength, (std::vector<P>{{1, 0}, {1, 0}}));
    const auto noRadius = Tessellate(ArcBase<T>{{1, 0}, {1, 0}, T{3}}, T(0.1));
    EXPECT_EQ(noRadius, (std::vector<P>{{1, 0}, {1, 0}}));
    for (const auto& arc :
         {ArcBase<T>{{}, {1, 0}, kInf<T>}, ArcBase<T>{{}, {1, 0}, kNan<T>},
          ArcBase<T>{{kNan<T>, 0}, {1, 0}, T{1}}, ArcBase<T>{{}, {kInf<T>, 0}, T{1}}}) {
        EXPECT_EQ(Tessellate(arc, T(0.1)).size(), 2U);
    }
}

TYPED_TEST(ArcOf, TessellateMoreTurnsThanMemoryIsAnAllocationError)
{
    using T = TypeParam;
    const ArcBase<T> arc{{}, {1, 0}, T(1e30)};
    EXPECT_THROW((void)Tessellate(arc, T(0.1)), std::length_error);
}

TYPED_TEST(ArcOf, TessellateSeveralTurns)
{
    using T = TypeParam;
    // Five turns and a half, clockwise: 22 quarters without a tolerance.
    const ArcBase<T> arc{{}, {2, 0}, -11 * kTwoPi<T>};
    const auto points = Tessellate(arc, T{0});
    EXPECT_EQ(points.size(), 23U);
    EXPECT_TRUE(Matches(points[1], VecBase<2, T>{0, -2}, 64 * kEps<T>)) << points[1];
}

// --- real parts
// -----------------------------------------------------------------------------------

/// Numbers that follow `key` in a JSON text, from `from` on.
std::vector<double> NumbersAfter(const std::string& text, const std::string& key, std::size_t from,
                                 int count)
{
    std::vector<double> numbers;
    const char* at = text.c_str() + text.find("\"" + key + "\":", from) + key.size() + 3;
    while (static_cast<int>(numbers.size()) < count) {
        at += std::strspn(at, " \n[,");
        char* end = nullptr;
        numbers.push_back(std::strtod(at, &end));
        at = end;
    }
    return numbers;
}

TEST(ArcData, ArcsOfRealPartsKeepTheirLength)
{
    int arcs = 0;
    for (const char* name : {"1002_tray_bottom", "125_cycloidal", "apu-mount", "wrench"}) {
        const auto file = Support::SharedData(std::string("arc_chains/") + name + ".json");
        SORVANE_NEED_DATA(file);
        std::ifstream stream(file);
        const std::string text{std::istreambuf_iterator<char>(stream), {}};
        for (std::size_t at = text.find("\"kind\": \"arc\""); at != std::string::npos;
             at = text.find("\"kind\": \"arc\"", at + 1)) {
            SCOPED_TRACE(testing::Message() << name << " at " << at);
            const auto center = NumbersAfter(text, "center", at, 2);
            const auto start = NumbersAfter(text, "start", at, 2);
            const ArcBase<double> arc{{center[0], center[1]},
                                      {start[0], start[1]},
                                      NumbersAfter(text, "arc_length", at, 1)[0]};
            const double radius = NumbersAfter(text, "radius", at, 1)[0];
            ++arcs;
            EXPECT_NEAR(Radius(arc), radius, 1e-12 * (1 + radius));
            const double tolerance = 1e-7 * radius;
            const auto points = Tessellate(arc, tolerance);
            double length = 0;
            const auto [low, high] = arc.Bounds();
            for (std::size_t i = 0; i + 1 < points.size(); ++i) {
                length += Length(points[i + 1] - points[i]);
                EXPECT_TRUE(points[i].x() >= low.x() - 1e-12 && points[i].x() <= high.x() + 1e-12);
                EXPECT_TRUE(points[i].y() >= low.y() - 1e-12 && points[i].y() <= high.y() + 1e-12);
            }
            // A chord of sweep s is short by s^2 / 24 of its arc, and s^2 = 8 tolerance / radius.
            EXPECT_LE(length, std::abs(arc.length) * (1 + 1e-12));
            EXPECT_GE(length, std::abs(arc.length) * (1 - 8e-7 / 24 * 1.001));
            const auto again =
                ArcThroughPoints(points.front(), points[points.size() / 2], points.back());
            EXPECT_NEAR(again.length, arc.length, 1e-9 * std::abs(arc.length));
        }
    }
    EXPECT_EQ(arcs, 12 + 12 + 13 + 4); // the files' own counts
}

} // namespace
