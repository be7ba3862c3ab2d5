// Polylines turned into chains of segments and arcs.

#include <Sorvane/ArcFitting_E.h>

#include "planar/ArcFitting_Impl.h"
#include "tests/planar/SampledProfiles.h"

#include <limits>
#include <string>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane::Planar;
using namespace Support;
using Chain = PolyArcSegBase<double>;
using Points = std::vector<Vec2d>;

constexpr double kTol = 1e-3;

template <class T>
class ArcFitting : public testing::Test {
};
using Coordinates = testing::Types<float, double>;
TYPED_TEST_SUITE(ArcFitting, Coordinates);

/// What rounding of coordinates of about 10 adds to a distance.
template <class T>
constexpr double kRounding = std::is_same_v<T, float> ? 2e-5 : 1e-13;

/// `found` has the kinds of the drawn chain's elements, and their joints and radii within `within`.
template <class T>
void ExpectSameElements(const PolyArcSegBase<T>& found, const Chain& drawn, double within)
{
    ASSERT_EQ(Kinds(found), Kinds(drawn));
    for (std::size_t i = 0; i < drawn.elements.size(); ++i) {
        for (const double end : {0.0, 1.0}) {
            const Vec2d gap = PointOf(found.elements[i], end) - PointOf(drawn.elements[i], end);
            EXPECT_LE(std::hypot(gap[0], gap[1]), within) << "element " << i;
        }
        if (const auto* arc = found.elements[i].AsArc()) {
            const auto& other = *drawn.elements[i].AsArc();
            EXPECT_EQ(arc->length > 0, other.length > 0);
            EXPECT_NEAR(arc->length, other.length, 10 * within);
        }
    }
}

TYPED_TEST(ArcFitting, StraightPolylineIsOneSegment)
{
    using T = TypeParam;
    std::vector<VecBase<2, T>> points;
    for (int i = 0; i <= 1000; ++i) {
        points.push_back({T(0.01) * T(i), T(0.0025) * T(i)});
    }
    const auto chain = FilterArcsAndSegs(points, T(kTol));
    ASSERT_EQ(Kinds(chain), "L");
    EXPECT_EQ(chain.elements[0].StartPoint(), points.front());
    EXPECT_EQ(chain.elements[0].EndPoint(), points.back());
    EXPECT_EQ(chain.tolerance, T(kTol));
}

// Chords within the tolerance at all: 30 steps leave the arc by 8e-4. 10^5 points lie nearer to
// each other than the tolerance.
TYPED_TEST(ArcFitting, ArcOfAnyDensityIsOneArc)
{
    using T = TypeParam;
    for (const double sweep : {2.4, -2.4}) {
        for (const int steps : {31, 100, 300, 1000, 10'000, 100'000}) {
            if (std::is_same_v<T, float> && steps > 100) {
                continue; // the bend at a point drowns in the rounding of its coordinates
            }
            SCOPED_TRACE(steps);
            const auto points = OnArc<T>({1, 2}, 10, 0.3, sweep, steps);
            const auto chain = FilterArcsAndSegs(points, T(1e-2));
            ASSERT_EQ(Kinds(chain), "A");
            const auto& arc = *chain.elements[0].AsArc();
            EXPECT_NEAR(static_cast<double>(arc.length), 10 * sweep, 0.02);
            EXPECT_LE(FarthestFromChain(points, chain), 1e-2 + kRounding<T>);
        }
    }
}

// At a million from the origin points 0.006 apart bend by 1/10, give or take 2e-5 by the rounding
// of their coordinates. The tolerance, a pure number here, allows for 1e-5.
TEST(ArcFittingProfiles, DenseArcFarFromTheOriginIsOneArc)
{
    const auto points = OnArc<double>({1e6, 1e6}, 10, 0.3, 2.4, 4000);
    const Chain chain = FilterArcsAndSegs(points, 1e-4);
    ASSERT_EQ(Kinds(chain), "A");
    EXPECT_NEAR(chain.elements[0].AsArc()->length, 24, 1e-3);
}

TYPED_TEST(ArcFitting, ClosedCircleIsOneFullCircle)
{
    using T = TypeParam;
    for (const double sense : {1.0, -1.0}) {
        auto points = OnArc<T>({3, -2}, 5, 0.7, sense * 2 * kHalfTurn, 200);
        points.back() = points.front();
        const auto chain = FilterArcsAndSegs(points, T(kTol));
        ASSERT_EQ(Kinds(chain), "A");
        const auto& arc = *chain.elements[0].AsArc();
        EXPECT_NEAR(static_cast<double>(arc.length), sense * 10 * kHalfTurn, 10 * kRounding<T>);
        EXPECT_NEAR(static_cast<double>(arc.center[0]), 3, kRounding<T>);
        EXPECT_NEAR(static_cast<double>(arc.center[1]), -2, kRounding<T>);
        EXPECT_TRUE(chain.IsClosed());
    }
}

TYPED_TEST(ArcFitting, LineArcLineHasThreeElementsJoinedAtTheTangentPoints)
{
    using T = TypeParam;
    Chain drawn;
    drawn.tolerance = 1e-9;
    drawn.AppendSegment({0, 0}, {10, 0});
    drawn.AppendArc({10, 5}, {10, 0}, 5 * kHalfTurn / 2);
    drawn.AppendSegment({15, 5}, {15, 12});
    const auto points = Sampled<T>(drawn, 0.8e-2, 0.5);
    const auto chain = FilterArcsAndSegs(points, T(1e-2));
    ExpectSameElements(chain, drawn, 1e-2);
    EXPECT_LE(FarthestFromChain(points, chain), 1e-2 + kRounding<T>);
}

TEST(ArcFittingProfiles, TangentProfilesAreRecovered)
{
    Random random(7);
    for (int trial = 0; trial < 40; ++trial) {
        SCOPED_TRACE(trial);
        const Chain drawn = TangentProfile(random, 1 + random.Below(6));
        const double sagitta = random.Between(0.2, 0.95) * kTol;
        const auto points = Sampled<double>(drawn, sagitta, random.Between(0.1, 1));
        const Chain chain = FilterArcsAndSegs(points, kTol);
        ExpectSameElements(chain, drawn, kTol);
        EXPECT_LE(FarthestFromChain(points, chain), kTol);
        for (std::size_t i = 1; i < chain.elements.size(); ++i) {
            const Vec2d gap = chain.elements[i].StartPoint() - PointOf(chain.elements[i - 1], 1);
            EXPECT_LE(std::hypot(gap[0], gap[1]), kTol);
        }
    }
}

TEST(ArcFittingProfiles, MirroredReversedAndMovedTheSame)
{
    Random random(8);
    for (int trial = 0; trial < 10; ++trial) {
        SCOPED_TRACE(trial);
        const Chain drawn = TangentProfile(random, 3);
        const auto variant = [&](auto&& map, bool isReversed) {
            Chain other;
            other.tolerance = drawn.tolerance;
            for (const auto& element : drawn.elements) {
                const Vec2d start = map(PointOf(element, 0));
                const Vec2d end = map(PointOf(element, 1));
                if (const auto* arc = element.AsArc()) {
                    const Vec2d center = map(arc->center);
                    const double scale =
                        std::hypot((start - center)[0], (start - center)[1]) /
                        std::hypot((arc->start - arc->center)[0], (arc->start - arc->center)[1]);
                    const double sense = (map({1, 0}) - map({0, 0})) ^ (map({0, 1}) - map({0, 0}));
                    other.elements.emplace_back(Geometry::ArcBase<double>{
                        center, start, (sense < 0 ? -scale : scale) * arc->length});
                } else {
                    other.elements.emplace_back(Geometry::SegBase<double>{start, end});
                }
            }
            if (isReversed) {
                std::reverse(other.elements.begin(), other.elements.end());
                for (auto& element : other.elements) {
                    element.Reverse();
                }
            }
            return other;
        };
        const auto check = [&](const Chain& other, double scale) {
            const auto points = Sampled<double>(other, 0.5 * kTol * scale, 0.7 * scale);
            const Chain chain = FilterArcsAndSegs(points, kTol * scale);
            ExpectSameElements(chain, other, kTol * scale);
            EXPECT_LE(FarthestFromChain(points, chain), kTol * scale + 4e-9);
        };
        check(variant([](const Vec2d& p) { return Vec2d(p[0], -p[1]); }, false), 1);
        check(variant([](const Vec2d& p) { return Vec2d(p[1], p[0]); }, false), 1);
        check(variant([](const Vec2d& p) { return p; }, true), 1);
        check(variant([](const Vec2d& p) { return p + Vec2d(1e6, -1e6); }, false), 1);
        check(variant([](const Vec2d& p) { return p * 100.0; }, false), 100);
        check(variant([](const Vec2d& p) { return p * 0.1; }, false), 0.1);
    }
}

// Taken by its sign, the radius of curvature of a clockwise pair would never be that of an arc.
TYPED_TEST(ArcFitting, FourPointsOfAnArcAreOneArcEitherWayRound)
{
    using T = TypeParam;
    for (const double sweep : {0.3, -0.3}) {
        const auto points = OnArc<T>({0, 0}, 10, 0.2, sweep, 3);
        EXPECT_EQ(Kinds(FilterArcsAndSegs(points, T(2e-2))), "A") << sweep;
    }
}

TYPED_TEST(ArcFitting, ThreePointsOfAnArcAreTwoSegments)
{
    using T = TypeParam;
    EXPECT_EQ(Kinds(FilterArcsAndSegs(OnArc<T>({0, 0}, 10, 0.2, 0.2, 2), T(2e-2))), "LL");
}

// Six points of a circle lie on it, and yet nobody drew one.
TYPED_TEST(ArcFitting, RegularHexagonStaysAHexagon)
{
    using T = TypeParam;
    auto points = OnArc<T>({0, 0}, 10, 0.2, 2 * kHalfTurn, 6);
    points.back() = points.front();
    EXPECT_EQ(Kinds(FilterArcsAndSegs(points, T(1e-2))), "LLLLLL");
}

// A line of 2 and an arc of 1 that bends by 1/50: at a tolerance of 0.01 its chord is as good, and
// the line to the arc's end passes the joint at 0.007.
TEST(ArcFittingElements, ShallowArcProlongsTheSegmentBefore)
{
    Points points{{-2, 0}};
    for (const Vec2d& p : OnArc<double>({0, 50}, 50, -kHalfTurn / 2, 0.02, 4)) {
        points.push_back(p);
    }
    points.push_back({1, 40});
    const Chain coarse = FilterArcsAndSegs(points, 1e-2);
    ASSERT_EQ(Kinds(coarse), "LL");
    EXPECT_NEAR(coarse.elements[0].EndPoint()[0], 50 * std::sin(0.02), 1e-9);
    EXPECT_LE(FarthestFromChain(points, coarse), 1e-2);
    EXPECT_EQ(Kinds(FilterArcsAndSegs(points, 1e-3)), "LAL");
}

// After a corner the shallow arc is a segment of its own.
TEST(ArcFittingElements, ShallowArcAfterACornerIsASegment)
{
    Points points{{0, -5}};
    for (const Vec2d& p : OnArc<double>({0, 50}, 50, -kHalfTurn / 2, 0.02, 4)) {
        points.push_back(p);
    }
    points.push_back({1, 40});
    EXPECT_EQ(Kinds(FilterArcsAndSegs(points, 1e-2)), "LLL");
}

// In a box of less than two tolerances no arc tells what is straight.
TEST(ArcFittingElements, PartOfTheSizeOfTheToleranceKeepsItsCorner)
{
    const Points corner{{0, 0}, {0.0101, 0.005}, {0.0101, 0.0151}};
    EXPECT_EQ(Kinds(FilterArcsAndSegs(corner, 1e-2)), "LL");
}

// Shallow arcs one after the other, all of them tangent to the one before, with a corner too slight
// to be one between them. Each prolongation is within the tolerance; of all of them none is.
TEST(ArcFittingElements, ProlongedSegmentDoesNotDrift)
{
    Points points{{0, 0}};
    double heading = 0;
    for (int piece = 0; piece < 60; ++piece) {
        const double radius = piece % 2 == 0 ? 40 : 80;
        for (int i = 0; i < 5; ++i) {
            heading += 0.1 / radius;
            points.push_back(points.back() + Vec2d(std::cos(heading), std::sin(heading)) * 0.1);
        }
    }
    for (const double tol : {0.005, 0.01, 0.02, 0.05}) {
        const Chain chain = FilterArcsAndSegs(points, tol);
        EXPECT_LE(FarthestFromChain(points, chain), tol + 1e-12) << tol;
    }
}

// The chord of an arc that all but closes is short, too.
TEST(ArcFittingElements, AllButClosedCircleIsNoChord)
{
    const auto points = OnArc<double>({0, 0}, 10, 0, 2 * kHalfTurn - 0.04, 400);
    const Chain chain = FilterArcsAndSegs(points, 1e-2); // the gap is 0.4, a step is 0.16
    ASSERT_EQ(Kinds(chain), "A");
    EXPECT_NEAR(chain.elements[0].AsArc()->length, 10 * (2 * kHalfTurn - 0.04), 1e-2);
}

TEST(ArcFittingElements, CircleRunTwiceKeepsBothTurns)
{
    auto points = OnArc<double>({0, 0}, 10, 0, 4 * kHalfTurn, 800);
    points.back() = points.front();
    const Chain chain = FilterArcsAndSegs(points, 1e-2);
    double length = 0;
    for (const auto& element : chain.elements) {
        length += element.AsArc() != nullptr ? element.AsArc()->length : LengthOf(element);
    }
    EXPECT_NEAR(length, 40 * kHalfTurn, 0.1);
    EXPECT_LE(chain.elements.size(), 4U);
}

// First and last point 1e-4 past each other: through first, middle and last runs the other way.
TEST(ArcFittingElements, OverlappingCircleKeepsItsSense)
{
    const auto points = OnArc<double>({0, 0}, 10, 0, 2 * kHalfTurn + 1e-5, 400);
    const Chain chain = FilterArcsAndSegs(points, 1e-2);
    double length = 0;
    for (const auto& element : chain.elements) {
        const auto* arc = element.AsArc();
        length += arc != nullptr ? arc->length : LengthOf(element);
    }
    EXPECT_NEAR(length, 20 * kHalfTurn, 0.05);
}

// Curvature changes by less than 1% from point to point. The first tenth of the turn is within a
// tenth of its mean radius but far off one arc; both ends of the long spiral are not.
TEST(ArcFittingElements, DriftingRunIsDividedWithinTheTolerance)
{
    Points points;
    for (int i = 0; i <= 400; ++i) {
        const double angle = 1.5e-3 * i;
        const double radius = 10 + angle;
        points.push_back({radius * std::cos(angle), radius * std::sin(angle)});
    }
    for (const double tol : {5e-3, 2e-3}) {
        const Chain chain = FilterArcsAndSegs(points, tol);
        EXPECT_LE(FarthestFromChain(points, chain), tol + 1e-13);
        EXPECT_LT(chain.elements.size(), 20U);
        const Vec2d gap = PointOf(chain.elements.back(), 1) - points.back();
        EXPECT_LE(std::hypot(gap[0], gap[1]), tol);
    }
}

/// `count` steps of a curve over [0, 1].
template <class Curve>
Points OnCurve(int count, const Curve& curve)
{
    Points points;
    for (int i = 0; i <= count; ++i) {
        points.push_back(curve(static_cast<double>(i) / count));
    }
    return points;
}

/// From its first point to its last, within the tolerance of all of them, and as long as they are.
void ExpectNothingLost(const Chain& chain, const Points& points, double tol)
{
    ASSERT_FALSE(chain.elements.empty());
    EXPECT_LE(Vector::Length(PointOf(chain.elements.front(), 0) - points.front()), tol);
    EXPECT_LE(Vector::Length(PointOf(chain.elements.back(), 1) - points.back()), tol);
    Points some;
    for (std::size_t i = 0; i < points.size(); i += 1 + points.size() / 500) {
        some.push_back(points[i]);
    }
    EXPECT_LE(FarthestFromChain(some, chain), tol + 1e-9);
    double length = 0;
    for (const auto& element : chain.elements) {
        length += std::fabs(LengthOf(element));
    }
    EXPECT_NEAR(length, Vector::Length(points), 2e-3 * length);
}

// Sampled so finely that neighbors have one curvature, each of these is one run or a few, and no
// arc has the mean radius of all of it. The arcs are as few as the curve needs.
TEST(ArcFittingElements, FinelySampledCurvesLoseNothing)
{
    constexpr double kTurn = 2 * kHalfTurn;
    const auto ellipse = [](double t) {
        return Vec2d(20 * std::cos(kTurn * t), 10 * std::sin(kTurn * t));
    };
    const auto halfEllipse = [&](double t) { return ellipse(t / 2); };
    const auto parabola = [](double t) { return Vec2d(10 * t - 5, (10 * t - 5) * (2 * t - 1)); };
    const auto spiral = [](double t) {
        return Vec2d(std::cos(3 * kTurn * t), std::sin(3 * kTurn * t)) * (5 + 38 * t);
    };
    const auto expectFew = [](const Points& points, double tol, std::size_t most) {
        const Chain chain = FilterArcsAndSegs(points, tol);
        ExpectNothingLost(chain, points, tol);
        EXPECT_LE(chain.elements.size(), most);
        EXPECT_EQ(chain.IsClosed(), Vector::Length(points.front() - points.back()) < 1e-9);
    };
    expectFew(OnCurve(3600, ellipse), 1e-2, 20);
    expectFew(OnCurve(20'000, ellipse), 1e-3, 40);
    expectFew(OnCurve(3600, halfEllipse), 1e-2, 12);
    expectFew(OnCurve(3600, parabola), 1e-2, 8);
    expectFew(OnCurve(3600, spiral), 1e-2, 30);
    Points far = OnCurve(3600, ellipse);
    for (Vec2d& p : far) {
        p += Vec2d(1e6, -1e6);
    }
    expectFew(far, 1e-2, 20);
}

TYPED_TEST(ArcFitting, SpiralOfThreeTurnsIsDivided)
{
    using T = TypeParam;
    std::vector<VecBase<2, T>> points;
    for (int i = 0; i <= 1000; ++i) {
        const double angle = 0.02 * i;
        points.emplace_back(Vec2d(std::cos(angle), std::sin(angle)) * (10 + angle));
    }
    const auto chain = FilterArcsAndSegs(points, T(5e-2));
    ASSERT_FALSE(chain.elements.empty());
    EXPECT_LE(chain.elements.size(), 25U);
    EXPECT_LE(FarthestFromChain(points, chain), 5e-2 + kRounding<T>);
    EXPECT_LE(static_cast<double>(Vector::Length(chain.elements.back().EndPoint() - points.back())),
              5e-2);
}

// A closed run is no arc through its ends, and here it is not the whole polyline either.
TEST(ArcFittingElements, CircleInTheMidstOfAPolylineIsAWholeTurn)
{
    for (const double sense : {1.0, -1.0}) {
        Points points{{-20, 0}};
        auto circle =
            OnArc<double>({0, sense * 10}, 10, -sense * kHalfTurn / 2, sense * 2 * kHalfTurn, 400);
        circle.front() = circle.back() = {0, 0};
        points.insert(points.end(), circle.begin(), circle.end());
        points.push_back({20, sense * -8});
        const Chain chain = FilterArcsAndSegs(points, 1e-2);
        ASSERT_EQ(Kinds(chain), "LAL");
        EXPECT_NEAR(chain.elements[1].AsArc()->length, sense * 20 * kHalfTurn, 1e-9);
        ExpectNothingLost(chain, points, 1e-2);
        EXPECT_EQ(Kinds(FilterArcsAndSegs(circle, 1e-2)), "A");
    }
}

TEST(ArcFittingElements, WhatFollowsADividedRunJoinsIt)
{
    Points points{{-40, 0}};
    for (int i = 0; i <= 4000; ++i) {
        const double angle = 5e-3 * i;
        points.push_back(Vec2d(std::cos(angle), std::sin(angle)) * (1 + angle));
    }
    points.push_back(points.back() + Vec2d(30, 0));
    points.push_back(points.back() + Vec2d(0, 30));
    const Chain chain = FilterArcsAndSegs(points, 2e-2);
    ExpectNothingLost(chain, points, 2e-2);
    EXPECT_EQ(PointOf(chain.elements.back(), 1), points.back());
    EXPECT_LE(chain.elements.size(), 25U);
}

// The second point lies behind the first on the circle of the others, by 1.3 tolerances: within the
// tolerance per coordinate, and yet not near the arc.
TEST(ArcFittingElements, PointBehindTheStartOfAnArcIsNotOnIt)
{
    constexpr double kWide = 1e-2;
    auto points = OnArc<double>({0, 0}, 10, -kHalfTurn / 4, 1.5, 100);
    points.insert(points.begin() + 1,
                  OnArc<double>({0, 0}, 10, -kHalfTurn / 4, -0.13 * kWide, 1).back());
    const Chain chain = FilterArcsAndSegs(points, kWide);
    EXPECT_LE(FarthestFromChain(points, chain), kWide + 1e-12);
}

// Three points never make an arc, in what is divided either, nor do points that its chords leave by
// more than the tolerance.
TEST(ArcFittingElements, ArcsOfDividedRunsHaveFourPoints)
{
    int arcs = 0;
    for (int growth = 10; growth <= 45; ++growth) {
        for (const double tol : {0.1, 0.2, 0.45}) {
            Points points{{0, 0}};
            double heading = 0;
            double radius = 1000;
            for (int i = 0; i < 40 && radius > 5 * tol; ++i) {
                // Chords of each arc leave it by nine tenths of the tolerance.
                const double turn = 2 * std::acos(1 - 0.9 * tol / radius);
                heading += turn;
                points.push_back(points.back() + Vec2d(std::cos(heading), std::sin(heading)) *
                                                     (2 * radius * std::sin(turn / 2)));
                radius *= 1 - 0.01 * growth * tol;
            }
            const Chain chain = FilterArcsAndSegs(points, tol);
            Points middles;
            for (std::size_t i = 1; i < points.size(); ++i) {
                middles.push_back((points[i - 1] + points[i]) * 0.5);
            }
            EXPECT_LE(FarthestFromChain(middles, chain), tol + 1e-9);
            for (const auto& element : chain.elements) {
                if (element.AsArc() == nullptr) {
                    continue;
                }
                ++arcs;
                const auto at = [&](const Vec2d& end) {
                    return std::min_element(
                        points.begin(), points.end(), [&](const Vec2d& p, const Vec2d& q) {
                            return Vector::Length(p - end) < Vector::Length(q - end);
                        });
                };
                EXPECT_GE(at(PointOf(element, 1)) - at(PointOf(element, 0)), 3);
            }
        }
    }
    EXPECT_GT(arcs, 50);
}

TEST(ArcFittingElements, TipOfAPathOutAndBackIsKept)
{
    const Points spike{{0, 0}, {10, 0}, {4, 0}, {4, 5}};
    EXPECT_EQ(Kinds(FilterArcsAndSegs(spike, kTol)), "LLL");
    const Points there{{0, 0}, {10, 0}, {0, 0}};
    EXPECT_EQ(Kinds(FilterArcsAndSegs(there, kTol)), "LL");
}

// Noise of a third of the tolerance: few long arcs are not to be had, but nothing may be lost.
TEST(ArcFittingProfiles, NoisyPointsStayWithinTheTolerance)
{
    Random random(11);
    for (int trial = 0; trial < 20; ++trial) {
        SCOPED_TRACE(trial);
        const Chain drawn = TangentProfile(random, 3);
        const double tol = 1e-2;
        auto points = Sampled<double>(drawn, 0.5 * tol, 0.4);
        for (Vec2d& p : points) {
            p += random.Vector<2, double>(-0.3 * tol, 0.3 * tol);
        }
        const Chain chain = FilterArcsAndSegs(points, tol);
        EXPECT_LE(FarthestFromChain(points, chain), tol + 1e-12);
    }
}

// Points nearer to each other than the tolerance match per coordinate, up to 1.4 tolerances away.
TEST(ArcFittingProfiles, CrowdedPointsStayWithinTheTolerance)
{
    Random random(12);
    const double tol = 1e-3;
    for (int trial = 0; trial < 50; ++trial) {
        SCOPED_TRACE(trial);
        Points points{{0, 0}};
        for (int i = 0; i < 200; ++i) {
            points.push_back(points.back() + random.Vector<2, double>(-0.3, 1) * tol);
        }
        const Chain chain = FilterArcsAndSegs(points, tol);
        EXPECT_LE(FarthestFromChain(points, chain), tol + 1e-12);
    }
}

// A path that goes out by a little more than the tolerance and comes back, where the chain ends
// within the tolerance of where it comes back to and has no element for it.
TEST(ArcFittingProfiles, PointsOnTheWayOutAndBackStayWithinTheTolerance)
{
    const Points simple{{0, 0}, {1000, 0}, {1000.6, 0.7}, {1000.75, 0.7}, {1000.7, 0.65}};
    const Points atTheEnd{{66.0457, 67.5102}, {67.5363, 69.0358}, {69.4571, 69.7379},
                          {69.5961, 69.5742}, {70.3512, 70.1383}, {70.5403, 70.5111},
                          {71.1926, 70.3732}, {71.1156, 71.0651}, {71.3133, 71.1697},
                          {71.3169, 71.1106}};
    const Points inBetween{{19.6897, 16.0794}, {20.3291, 17.8700}, {21.3767, 18.7185},
                           {21.8469, 18.9808}, {22.3680, 19.8989}, {22.6511, 20.0770},
                           {22.9660, 20.9078}, {22.7716, 21.6957}, {22.6333, 21.5890},
                           {22.4306, 21.8837}, {22.8939, 21.6075}, {23.8835, 22.0522},
                           {24.7143, 22.7695}, {24.9537, 23.2183}, {25.3581, 23.2846}};
    // The chain ends before the last point that is not thinned away, which is near the very last.
    const Points behindTheEnd{{60.9310, 70.3599}, {62.2145, 71.2422}, {61.8855, 72.3711},
                              {63.2121, 72.9062}, {64.2938, 73.9135}, {65.2836, 73.6436},
                              {65.1764, 74.5604}, {65.1292, 74.6059}, {65.0406, 75.3855},
                              {65.2460, 76.0466}, {65.0549, 75.7972}};
    for (const Points& units : {simple, atTheEnd, inBetween, behindTheEnd}) {
        Points points = units;
        for (Vec2d& p : points) {
            p = p * 1e-3;
        }
        EXPECT_LE(FarthestFromChain(points, FilterArcsAndSegs(points, 1e-3)), 1e-3 + 1e-12);
    }
}

// The last point matches the one before per coordinate, and is 1.4 tolerances away.
TEST(ArcFittingProfiles, LastPointIsReached)
{
    const Points points{{0, 0}, {4, 0}, {4.0009, 0.0009}};
    const Chain chain = FilterArcsAndSegs(points, 1e-3);
    EXPECT_LE(FarthestFromChain(points, chain), 1e-3);
    EXPECT_EQ(Kinds(chain), "LL");
}

TEST(ArcFittingProfiles, GivenDiagonalDecidesWhatIsStraight)
{
    const auto points = OnArc<double>({0, 0}, 1000, 0, 0.004, 20); // 4 long, sagitta 2e-3
    const auto straight = Impl::FitArcsAndSegs(points, 4.0, 1e-2);
    EXPECT_EQ(Kinds(straight), "L");
    EXPECT_EQ(straight.elements, FilterArcsAndSegs(points, 1e-2).elements);
    // In a drawing of 400 such a bend is drawn, and at a tolerance below its sagitta it shows.
    EXPECT_EQ(Kinds(Impl::FitArcsAndSegs(points, 4.0, 2.1e-3)), "L");
    EXPECT_EQ(Kinds(Impl::FitArcsAndSegs(points, 400.0, 1.5e-3)), "A");
}

// --- bad and degenerate input -------------------------------------------------------------------

TYPED_TEST(ArcFitting, FewOrEqualPointsGiveTheEmptyChain)
{
    using T = TypeParam;
    using V = VecBase<2, T>;
    EXPECT_TRUE(FilterArcsAndSegs<T>({}, T(kTol)).elements.empty());
    EXPECT_TRUE(FilterArcsAndSegs<T>({{1, 2}}, T(kTol)).elements.empty());
    EXPECT_TRUE(FilterArcsAndSegs(std::vector<V>(1000, V(1, 2)), T(kTol)).elements.empty());
    EXPECT_EQ(FilterArcsAndSegs<T>({}, T(kTol)).tolerance, T(kTol));
    EXPECT_EQ(Kinds(FilterArcsAndSegs<T>({{1, 2}, {3, 4}}, T(kTol))), "L");
}

TYPED_TEST(ArcFitting, BadInputGivesTheEmptyChain)
{
    using T = TypeParam;
    const T nan = std::numeric_limits<T>::quiet_NaN();
    const T infinity = std::numeric_limits<T>::infinity();
    const auto good = OnArc<T>({0, 0}, 10, 0.2, 1, 50);
    for (const T bad : {nan, infinity, -infinity}) {
        for (const std::size_t place : {std::size_t(0), std::size_t(25), good.size() - 1}) {
            auto points = good;
            points[place][1] = bad;
            EXPECT_TRUE(FilterArcsAndSegs(points, T(kTol)).elements.empty());
        }
        EXPECT_TRUE(FilterArcsAndSegs(good, bad).elements.empty());
    }
    EXPECT_TRUE(FilterArcsAndSegs(good, T(-1)).elements.empty());
}

TYPED_TEST(ArcFitting, ZeroToleranceKeepsThePolyline)
{
    using T = TypeParam;
    const std::vector<VecBase<2, T>> points{{0, 0}, {1, 0}, {2, 0}, {2, 1}, {3, 3}};
    const auto chain = FilterArcsAndSegs(points, T(0));
    EXPECT_EQ(Kinds(chain), "LLL");
    EXPECT_EQ(chain.elements.back().EndPoint(), points.back());
}

// The points of a slanted line are off it by their rounding, which no tolerance is needed for.
TYPED_TEST(ArcFitting, ZeroToleranceKeepsASlantedLineWhole)
{
    using T = TypeParam;
    std::vector<VecBase<2, T>> points;
    for (int i = 0; i <= 100; ++i) {
        points.emplace_back(Vec2d(0.1, 0.2) + Vec2d(10.2, 7.5) * (i / 100.0));
    }
    EXPECT_EQ(Kinds(FilterArcsAndSegs(points, T(0))), "L");
}

TYPED_TEST(ArcFitting, HugeAndTinyCoordinatesAreNoFault)
{
    using T = TypeParam;
    for (const double size : {1e-300, 1e-30, 1e-9, 1e9, 1e30, 1e140, 1e149}) {
        if (std::is_same_v<T, float> && size > 1e37) {
            continue;
        }
        const auto points = OnArc<T>({0, 0}, size, 0.2, 1, 50);
        for (const double tol : {size * 1e-3, 1e-3}) {
            const auto chain = FilterArcsAndSegs(points, static_cast<T>(tol));
            for (const auto& element : chain.elements) {
                EXPECT_TRUE(std::isfinite(element.EndPoint()[0]));
            }
        }
    }
    EXPECT_EQ(Kinds(FilterArcsAndSegs(OnArc<double>({0, 0}, 1e100, 0.2, 1, 50), 1e97)), "A");
}

// A tolerance of more than the whole part: anything near is right, nothing may be broken.
TEST(ArcFittingProfiles, TolerancesAroundOneAndMore)
{
    Random random(13);
    for (const double tol : {0.5, 1.0, 2.0, 30.0, 1e6}) {
        const auto points = Sampled<double>(TangentProfile(random, 4), 0.01, 0.3);
        const Chain chain = FilterArcsAndSegs(points, tol);
        for (const auto& element : chain.elements) {
            EXPECT_TRUE(std::isfinite(element.Length()));
        }
    }
}

} // namespace
