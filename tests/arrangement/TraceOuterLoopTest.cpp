// The outer boundary of sets of segments, by hand, by area, and on cut sets whose union is known.

#include <Velk/Math/Intersect_E.h>

#include "tests/support/TestSupport.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

namespace {

using Velk::Math::kPi;
using Velk::Math::kTwoPi;
using Velk::Math::Vec2d;
using Velk::Math::VecBase;
using Velk::Math::Geometry::SegBase;
using Velk::Math::Intersect::CutAtIntersections;
using Velk::Math::Intersect::TraceOuterLoop;

template <class T>
using Points = std::vector<VecBase<2, T>>;
template <class T>
using Segments = std::vector<SegBase<T>>;
template <class T>
constexpr T kTolerance = std::is_same_v<T, float> ? T(1e-6) : T(1e-12);

template <class T>
void Append(Segments<T>& segments, const Points<T>& polyline)
{
    for (std::size_t i = 1; i < polyline.size(); ++i) {
        segments.push_back({polyline[i - 1], polyline[i]});
    }
}

/// Shoelace area of a closed loop that repeats its first point; positive counter-clockwise.
template <class T>
double Area(const Points<T>& loop)
{
    double twice = 0;
    for (std::size_t i = 1; i < loop.size(); ++i) {
        twice += (Vec2d(loop[i - 1]) - Vec2d(loop[0])) ^ (Vec2d(loop[i]) - Vec2d(loop[0]));
    }
    return 0.5 * twice;
}

template <class T>
void Shuffle(Segments<T>& segments, Support::Random& random)
{
    for (std::size_t i = segments.size(); i > 1; --i) {
        std::swap(segments[i - 1],
                  segments[static_cast<std::size_t>(random.Below(static_cast<int>(i)))]);
        if (random.Below(2) == 0) {
            std::swap(segments[i - 1].start, segments[i - 1].end);
        }
    }
}

template <class T>
class OuterLoop : public testing::Test {
};
using Coordinates = testing::Types<float, double>;
TYPED_TEST_SUITE(OuterLoop, Coordinates);

TYPED_TEST(OuterLoop, SquareOfAnyDirectionRunsCounterClockwiseFromItsLowestLeftCorner)
{
    using T = TypeParam;
    const Segments<T> s{{{1, 1}, {0, 1}}, {{1, 1}, {1, 0}}, {{0, 0}, {1, 0}}, {{0, 0}, {0, 1}}};
    Points<T> loop{{9, 9}};
    EXPECT_TRUE(TraceOuterLoop(s, loop, kTolerance<T>));
    EXPECT_EQ(loop, (Points<T>{{0, 0}, {1, 0}, {1, 1}, {0, 1}, {0, 0}}));
}

TYPED_TEST(OuterLoop, InnerSegmentsRepetitionsAndPointsChangeNothing)
{
    using T = TypeParam;
    Segments<T> s;
    Append<T>(s, {{0, 0}, {2, 0}, {2, 2}, {0, 2}, {0, 0}});
    Append<T>(s, {{0, 0}, {1, 1}, {2, 2}, {2, 2}});
    Append<T>(s, {{2, 0}, {1, 1}, {T(0.5), 1}}); // a dead end inside
    s.push_back({{2, 0}, {0, 0}});
    s.push_back({{2, 0}, {2, 2}});
    Points<T> loop;
    EXPECT_TRUE(TraceOuterLoop(s, loop, kTolerance<T>));
    EXPECT_EQ(loop, (Points<T>{{0, 0}, {2, 0}, {2, 2}, {0, 2}, {0, 0}}));
}

TYPED_TEST(OuterLoop, PassesAPinchAndGoesOn)
{
    using T = TypeParam;
    Segments<T> s;
    Append<T>(s, {{0, 0}, {1, 1}, {-1, 1}, {0, 0}}); // upon its tip
    Append<T>(s, {{0, 2}, {1, 1}, {2, 2}, {0, 2}});  // touches at (1, 1)
    Points<T> loop;
    EXPECT_TRUE(TraceOuterLoop(s, loop, kTolerance<T>));
    EXPECT_EQ(loop, (Points<T>{{0, 0}, {1, 1}, {2, 2}, {0, 2}, {1, 1}, {-1, 1}, {0, 0}}));
}

TYPED_TEST(OuterLoop, PinchAtTheStartIsPassedToo)
{
    using T = TypeParam;
    Segments<T> s;
    Append<T>(s, {{0, 0}, {2, 1}, {1, 2}, {0, 0}});
    Append<T>(s, {{0, 0}, {-1, 2}, {-2, 1}, {0, 0}});
    Points<T> loop;
    EXPECT_TRUE(TraceOuterLoop(s, loop, kTolerance<T>));
    EXPECT_EQ(loop, (Points<T>{{0, 0}, {2, 1}, {1, 2}, {0, 0}, {-1, 2}, {-2, 1}, {0, 0}}));
}

TYPED_TEST(OuterLoop, ABridgeIsRunBothWays)
{
    using T = TypeParam;
    Segments<T> s;
    Append<T>(s, {{0, 0}, {1, 0}, {1, 1}, {0, 1}, {0, 0}});
    Append<T>(s, {{1, 1}, {3, 2}});
    Append<T>(s, {{3, 2}, {4, 2}, {4, 3}, {3, 2}});
    Points<T> loop;
    EXPECT_TRUE(TraceOuterLoop(s, loop, kTolerance<T>));
    EXPECT_EQ(loop,
              (Points<T>{
                  {0, 0}, {1, 0}, {1, 1}, {3, 2}, {4, 2}, {4, 3}, {3, 2}, {1, 1}, {0, 1}, {0, 0}}));
}

TYPED_TEST(OuterLoop, OfSeveralComponentsTheOneOfLargestArea)
{
    using T = TypeParam;
    const Points<T> large{{-9, 5}, {9, 5}, {0, 9}, {-9, 5}};
    const Points<T> low{{0, 0}, {1, 0}, {0, 1}, {0, 0}}; // lower, and smaller
    const Points<T> within{{-1, 6}, {1, 6}, {0, 7}, {-1, 6}};
    const Points<T> longLine{{-50, -1}, {50, -2}, {70, 40}}; // bounds nothing
    for (const bool isReversed : {false, true}) {
        Segments<T> s;
        for (const Points<T>* line : {&low, &longLine, &large, &within}) {
            Append<T>(s, *line);
        }
        if (isReversed) {
            std::reverse(s.begin(), s.end());
        }
        Points<T> loop;
        EXPECT_TRUE(TraceOuterLoop(s, loop, kTolerance<T>));
        EXPECT_EQ(loop, large);
    }
}

TYPED_TEST(OuterLoop, OfEqualComponentsTheLowest)
{
    using T = TypeParam;
    for (const Points<T>& corners :
         {Points<T>{{5, 3}, {1, 7}, {2, 4}}, Points<T>{{5, 3}, {-4, 3}, {2, 4}}}) {
        Segments<T> s;
        for (const VecBase<2, T>& corner : corners) {
            Append<T>(s,
                      {corner, corner + VecBase<2, T>(1, 0), corner + VecBase<2, T>(0, 1), corner});
        }
        Points<T> loop;
        EXPECT_TRUE(TraceOuterLoop(s, loop, kTolerance<T>));
        EXPECT_EQ(loop.front(), corners[1].y() == T(3) ? corners[1] : corners[0]);
    }
    // Also of lines that bound nothing; there and back they leave no rounding that could decide.
    Support::Random random(23);
    Segments<T> s;
    for (int line = 0; line < 20; ++line) {
        VecBase<2, T> at(T(10 * line), T(0.1));
        for (int step = 0; step < 5; ++step) {
            const VecBase<2, T> to =
                at + VecBase<2, T>(T(random.Unit()), T(random.Unit()) + T(0.1));
            s.push_back({at, to});
            at = to;
        }
    }
    Points<T> loop;
    EXPECT_FALSE(TraceOuterLoop(s, loop, kTolerance<T>));
    ASSERT_EQ(loop.size(), 6U);
    EXPECT_EQ(loop.front(), s.front().start);
}

TYPED_TEST(OuterLoop, AnOpenComponentCountsByWhatItBounds)
{
    using T = TypeParam;
    Segments<T> s;
    Append<T>(s, {{0, 0}, {2, 0}, {2, 2}, {0, 2}, {0, 0}}); // closed
    Append<T>(s, {{9, 9}, {12, 9}, {12, 12}, {9, 12}, {9, 9}});
    s.push_back({{12, 12}, {13, 13}}); // the larger one has a spur
    Points<T> loop;
    EXPECT_FALSE(TraceOuterLoop(s, loop, kTolerance<T>));
    EXPECT_EQ(loop.size(), 6U);
    s.pop_back();
    EXPECT_TRUE(TraceOuterLoop(s, loop, kTolerance<T>));
    EXPECT_EQ(loop, (Points<T>{{9, 9}, {12, 9}, {12, 12}, {9, 12}, {9, 9}}));
    // Far from the origin areas are compared all the same.
    const T distance = std::is_same_v<T, float> ? T(1 << 20) : T(1LL << 40);
    const VecBase<2, T> away(distance + 3, -distance - 5);
    const VecBase<2, T> home(0, 0);
    for (const bool isFarLarger : {false, true}) {
        Segments<T> far;
        for (const VecBase<2, T>& at : {away, home}) {
            const T height = isFarLarger == (at == away) ? T(2) : T(1);
            Append<T>(far, {at, at + VecBase<2, T>(1, 0), at + VecBase<2, T>(0, height), at});
        }
        EXPECT_TRUE(TraceOuterLoop(far, loop, kTolerance<T>));
        EXPECT_EQ(loop.front(), isFarLarger ? away : home);
    }
}

TYPED_TEST(OuterLoop, HugeCoordinatesLeaveALoop)
{
    using T = TypeParam;
    const T large = std::is_same_v<T, float> ? T(3e38) : T(9e149); // areas beyond all numbers
    Segments<T> s;
    for (const T x : {-large, T(0)}) {
        Append<T>(s, {{x, -large},
                      {x + large / 2, -large},
                      {x + large / 2, large},
                      {x, large},
                      {x, -large}});
    }
    Points<T> loop;
    EXPECT_TRUE(TraceOuterLoop(s, loop, T(0)));
    EXPECT_EQ(loop.size(), 5U);
}

TYPED_TEST(OuterLoop, OpenPolylineComesBackInItsOwnDirection)
{
    using T = TypeParam;
    // Lowest point in the middle, at the start, at the end; and each polyline reversed.
    const std::vector<Points<T>> polylines{{{0, 3}, {1, 1}, {2, 0}, {4, 1}, {5, 5}},
                                           {{0, 0}, {1, 1}, {2, 1}},
                                           {{3, 3}, {2, 1}, {5, 0}},
                                           {{0, 0}, {1, 0}}};
    for (Points<T> polyline : polylines) {
        for (int pass = 0; pass < 2; ++pass) {
            Segments<T> s;
            Append(s, polyline);
            Points<T> loop;
            EXPECT_FALSE(TraceOuterLoop(s, loop, kTolerance<T>));
            EXPECT_EQ(loop, polyline);
            std::reverse(polyline.begin(), polyline.end());
        }
    }
}

TYPED_TEST(OuterLoop, OpenPathFollowsItsLowestNumberedSegment)
{
    using T = TypeParam;
    const Segments<T> s{
        {{4, 1}, {2, 0}}, {{0, 3}, {1, 1}}, {{1, 1}, {2, 0}}}; // the first runs leftwards
    Points<T> loop;
    EXPECT_FALSE(TraceOuterLoop(s, loop, kTolerance<T>));
    EXPECT_EQ(loop, (Points<T>{{4, 1}, {2, 0}, {1, 1}, {0, 3}}));
}

TYPED_TEST(OuterLoop, SpurOnTheOutsideIsReported)
{
    using T = TypeParam;
    Segments<T> s;
    Append<T>(s, {{0, 0}, {2, 0}, {2, 2}, {0, 2}, {0, 0}});
    Append<T>(s, {{2, 2}, {5, 5}});
    Points<T> loop;
    EXPECT_FALSE(TraceOuterLoop(s, loop, kTolerance<T>));
    // The boundary up to the dead end, and from the start back to where it would repeat itself.
    EXPECT_EQ(loop, (Points<T>{{2, 2}, {0, 2}, {0, 0}, {2, 0}, {2, 2}, {5, 5}}));
}

TYPED_TEST(OuterLoop, LoopOnAStemIsReported)
{
    using T = TypeParam;
    Segments<T> s;
    Append<T>(s, {{0, 0}, {0, 1}, {1, 2}, {-1, 2}, {0, 1}});
    Points<T> loop;
    EXPECT_FALSE(TraceOuterLoop(s, loop, kTolerance<T>));
    EXPECT_EQ(loop, (Points<T>{{0, 0}, {0, 1}, {1, 2}, {-1, 2}, {0, 1}}));
}

TYPED_TEST(OuterLoop, EndsWithinToleranceAreOne)
{
    using T = TypeParam;
    const Segments<T> s{
        {{0, 0}, {1, 0}}, {{T(1.01), T(0.01)}, {1, 1}}, {{T(0.99), T(1.01)}, {T(0.01), T(0.01)}}};
    Points<T> loop;
    EXPECT_TRUE(TraceOuterLoop(s, loop, T(0.02)));
    EXPECT_EQ(loop, (Points<T>{{0, 0}, {1, 0}, {1, 1}, {0, 0}}));
    EXPECT_FALSE(TraceOuterLoop(s, loop, T(0.001)));
}

TYPED_TEST(OuterLoop, AnEndGoesToTheNearestPointThenToTheEarlierOne)
{
    using T = TypeParam;
    for (const T x : {T(1), T(1.25)}) { // halfway between two points, and nearer to the second
        const Segments<T> s{{{0, 0}, {0, 4}}, {{2, 0}, {9, 9}}, {{x, 0}, {9, -9}}};
        Points<T> loop;
        EXPECT_FALSE(TraceOuterLoop(s, loop, T(1.5)));
        const Points<T> first{{9, -9}, {0, 0}, {0, 4}};
        const Points<T> second{{9, -9}, {2, 0}, {9, 9}};
        EXPECT_EQ(loop, x == T(1) ? first : second);
    }
}

TYPED_TEST(OuterLoop, EndsWhoseDifferenceRoundsToTheToleranceAreOne)
{
    using T = TypeParam;
    const T hair = std::numeric_limits<T>::epsilon() / 64;
    const Segments<T> s{{{-hair, -hair}, {9, 1}}, {{9, 1}, {9, 9}}, {{9, 9}, {1, 1}}};
    Points<T> loop;
    EXPECT_TRUE(TraceOuterLoop(s, loop, T(1)));
    EXPECT_EQ(loop, (Points<T>{{-hair, -hair}, {9, 1}, {9, 9}, {-hair, -hair}}));
}

TYPED_TEST(OuterLoop, NothingToTrace)
{
    using T = TypeParam;
    const T nan = std::numeric_limits<T>::quiet_NaN();
    const T inf = std::numeric_limits<T>::infinity();
    Points<T> loop{{1, 1}};
    EXPECT_FALSE(TraceOuterLoop(Segments<T>{}, loop, kTolerance<T>));
    EXPECT_TRUE(loop.empty());
    loop = {{1, 1}};
    EXPECT_FALSE(
        TraceOuterLoop(Segments<T>{{{2, 2}, {2, 2}}, {{nan, 0}, {1, 1}}, {{0, 0}, {inf, 1}}}, loop,
                       kTolerance<T>));
    EXPECT_TRUE(loop.empty());
    const Segments<T> square{
        {{1, 1}, {0, 1}}, {{1, 1}, {1, 0}}, {{0, 0}, {1, 0}}, {{0, 0}, {0, 1}}};
    EXPECT_FALSE(TraceOuterLoop(square, loop, inf));
    EXPECT_TRUE(loop.empty());
    EXPECT_TRUE(TraceOuterLoop(square, loop, T(0)));
    EXPECT_FALSE(TraceOuterLoop(square, loop, nan)); // nothing matches: four dead ends
    EXPECT_EQ(loop.size(), 2U);
}

TYPED_TEST(OuterLoop, BadSegmentsBesideGoodOnesAreIgnored)
{
    using T = TypeParam;
    const T nan = std::numeric_limits<T>::quiet_NaN();
    Segments<T> s{{{nan, -5}, {1, 0}}, {{0, -7}, {0, nan}}};
    Append<T>(s, {{0, 0}, {1, 0}, {0, 1}, {0, 0}});
    Points<T> loop;
    EXPECT_TRUE(TraceOuterLoop(s, loop, kTolerance<T>));
    EXPECT_EQ(loop.size(), 4U);
}

// --- cut sets whose union is known
// ----------------------------------------------------------------

TYPED_TEST(OuterLoop, OverlappingRectangles)
{
    using T = TypeParam;
    Segments<T> s;
    Append<T>(s, {{0, 0}, {4, 0}, {4, 2}, {0, 2}, {0, 0}}); // 8
    Append<T>(s, {{3, 1}, {6, 1}, {6, 5}, {3, 5}, {3, 1}}); // 12, of which 1 common
    Append<T>(s, {{4, 0}, {4, 2}, {0, 2}});                 // along the first
    ASSERT_TRUE(CutAtIntersections(s, kTolerance<T>));
    Points<T> loop;
    EXPECT_TRUE(TraceOuterLoop(s, loop, kTolerance<T>));
    EXPECT_DOUBLE_EQ(Area(loop), 19);
}

TYPED_TEST(OuterLoop, FiveRayedStar)
{
    using T = TypeParam;
    // The pentagram in the unit circle: outline of ten corners, the inner ones at radius
    // cos(72 degrees) / cos(36 degrees); area 10 * (1 * inner * sin(36 degrees)) / 2.
    Points<T> star;
    for (int i = 0; i <= 5; ++i) {
        const double t = (i % 5) * 2 * kTwoPi<double> / 5 + 0.1;
        star.push_back({std::cos(t), std::sin(t)});
    }
    Segments<T> s;
    Append(s, star);
    ASSERT_TRUE(CutAtIntersections(s, kTolerance<T>));
    EXPECT_EQ(s.size(), 15U);
    Points<T> loop;
    EXPECT_TRUE(TraceOuterLoop(s, loop, kTolerance<T>));
    EXPECT_EQ(loop.size(), 11U);
    const double inner = std::cos(2 * kPi<double> / 5) / std::cos(kPi<double> / 5);
    EXPECT_NEAR(Area(loop), 5 * inner * std::sin(kPi<double> / 5),
                2 * static_cast<double>(kTolerance<T>));
}

/// Corners of a convex polygon on an ellipse, counter-clockwise, closed.
template <class T>
Points<T> Convex(int corners, double a, double b, double turn, Support::Random& random)
{
    std::vector<double> angles;
    for (int i = 0; i < corners; ++i) {
        angles.push_back((i + 0.8 * random.Unit()) * kTwoPi<double> / corners + turn);
    }
    Points<T> polygon;
    for (const double t : angles) {
        polygon.push_back({a * std::cos(t), b * std::sin(t)});
    }
    polygon.push_back(polygon.front());
    return polygon;
}

/// The segments of one polygon at every corner of the other, and the other way round.
template <class T>
Segments<T> SumSegments(const Points<T>& p, const Points<T>& q)
{
    Segments<T> s;
    for (const auto& [moved, by] : {std::pair(&p, &q), std::pair(&q, &p)}) {
        for (const VecBase<2, T>& offset : *by) {
            for (std::size_t i = 1; i < moved->size(); ++i) {
                s.push_back({(*moved)[i - 1] + offset, (*moved)[i] + offset});
            }
        }
    }
    return s;
}

/// Area of the Minkowski sum of two convex polygons: |P| + |Q| + 2 V(P, Q), the mixed area being
/// the sum over the sides of P of length times support of Q in the side's outward normal, halved.
template <class T>
double MinkowskiArea(const Points<T>& p, const Points<T>& q)
{
    double mixedTwice = 0;
    for (std::size_t i = 1; i < p.size(); ++i) {
        const Vec2d side = Vec2d(p[i]) - Vec2d(p[i - 1]);
        double support = -1e300; // times the side's length
        for (const VecBase<2, T>& corner : q) {
            support = std::max(support, Vec2d(corner) * Vec2d(side.y(), -side.x()));
        }
        mixedTwice += support;
    }
    return Area(p) + Area(q) + mixedTwice;
}

TYPED_TEST(OuterLoop, MinkowskiSumsOfConvexPolygons)
{
    using T = TypeParam;
    Support::Random random(17);
    for (int trial = 0; trial < 60; ++trial) {
        SCOPED_TRACE(trial);
        const Points<T> p = Convex<T>(3 + random.Below(9), 3, 2, random.Between(0, 6), random);
        const Points<T> q = Convex<T>(3 + random.Below(9), 1, 2, random.Between(0, 6), random);
        Segments<T> s = SumSegments(p, q);
        Shuffle(s, random);
        CutAtIntersections(s, kTolerance<T>);
        Points<T> loop;
        // In float a corner reached by two sums differs by a rounding of coordinates up to 7.
        const T tolerance = std::is_same_v<T, float> ? T(4e-6) : T(1e-12);
        EXPECT_TRUE(TraceOuterLoop(s, loop, tolerance));
        const double close = std::is_same_v<T, float> ? 2e-4 : 1e-11;
        EXPECT_NEAR(Area(loop), MinkowskiArea(p, q), close);
    }
}

TYPED_TEST(OuterLoop, MinkowskiSumOfALatticePolygonWithItselfIsTwiceAsLarge)
{
    using T = TypeParam;
    // Full of collinear overlaps and repetitions. P + P = 2 P for a convex P: four times the area.
    const Points<T> p{{0, 0}, {3, 0}, {5, 2}, {5, 4}, {3, 6}, {0, 6}, {-1, 3}, {0, 0}};
    Segments<T> s = SumSegments(p, p);
    EXPECT_TRUE(CutAtIntersections(s, kTolerance<T>));
    Points<T> loop;
    EXPECT_TRUE(TraceOuterLoop(s, loop, kTolerance<T>));
    const double close = std::is_same_v<T, float> ? 1e-4 : 1e-12;
    EXPECT_NEAR(Area(loop), 4 * Area(p), close);
}

TYPED_TEST(OuterLoop, FansOfNearlyCollinearEdgesAreSortedRight)
{
    // Edges from one corner whose directions differ by less than rounding of their product would
    // tell: the outline must be that of the outermost two, whatever the order of the list.
    Support::Random random(19);
    for (int trial = 0; trial < 200; ++trial) {
        SCOPED_TRACE(trial);
        const Vec2d hub(0.1, 0.1);
        Segments<double> s;
        Points<double> tips;
        for (int i = 0; i <= 20; ++i) {
            // On a line through (3, 1) and up, one unit in the last place after the other.
            tips.push_back({3.0, 1.0 + i * 0x1p-52});
        }
        for (const Vec2d& tip : tips) {
            s.push_back({hub, tip});
        }
        Append(s, tips);
        Shuffle(s, random);
        Points<double> loop;
        ASSERT_TRUE(TraceOuterLoop(s, loop, 0.0));
        ASSERT_EQ(loop.size(), 23U);
        EXPECT_EQ(loop[0], hub);
        EXPECT_EQ(loop[1], tips.front());
        EXPECT_EQ(loop[21], tips.back());
    }
}

} // namespace
