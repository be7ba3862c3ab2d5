// Outlines compared: the loop that one can't cross around the other, what they have in common, and
// whose each stretch of their outer boundary is. The oracles place, measure and shoot rays point by
// point.

#include <Sorvane/Minkowski_E.h>

#include "tests/planar/RegionSupport.h"
#include "tests/support/FailingAllocation.h"
#include "tests/support/TestSupport.h"

#include <cmath>
#include <limits>
#include <utility>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane::Planar;
using namespace Support;

using Polyline = std::vector<Vec2d>;

double LengthOf(const Loops& lines)
{
    double length = 0;
    for (const Polyline& line : lines) {
        for (std::size_t i = 0; i + 1 < line.size(); ++i) {
            length += std::hypot(line[i + 1].x() - line[i].x(), line[i + 1].y() - line[i].y());
        }
    }
    return length;
}

/// Distance from lines that are taken as they are, open or closed.
double DistanceToLines(const Loops& lines, const Vec2d& point)
{
    double least = std::numeric_limits<double>::infinity();
    for (const Polyline& line : lines) {
        for (std::size_t i = 0; i + 1 < line.size(); ++i) {
            least = std::min(
                least, DistanceToLoops<double>({{line[i], line[i + 1]}}, point.x(), point.y()));
        }
    }
    return least;
}

Polyline Moved(Polyline line, const Vec2d& by)
{
    for (Vec2d& point : line) {
        point += by;
    }
    return line;
}

Polyline Turned(Polyline line, double angle)
{
    for (Vec2d& point : line) {
        point = {std::cos(angle) * point.x() - std::sin(angle) * point.y(),
                 std::sin(angle) * point.x() + std::cos(angle) * point.y()};
    }
    return line;
}

bool Cross(const Vec2d& a, const Vec2d& b, const Vec2d& c, const Vec2d& d)
{
    const auto side = [](const Vec2d& p, const Vec2d& q, const Vec2d& r) {
        return (q.x() - p.x()) * (r.y() - p.y()) - (q.y() - p.y()) * (r.x() - p.x()) > 0;
    };
    return side(a, b, c) != side(a, b, d) && side(c, d, a) != side(c, d, b);
}

bool DoCross(const Polyline& a, const Polyline& b)
{
    for (std::size_t k = 0; k + 1 < a.size(); ++k) {
        for (std::size_t m = 0; m + 1 < b.size(); ++m) {
            if (Cross(a[k], a[k + 1], b[m], b[m + 1])) {
                return true;
            }
        }
    }
    return false;
}

/// Of lines that do not cross: the distance of the nearest vertex of one from the other.
double DistanceBetween(const Polyline& a, const Polyline& b)
{
    double least = std::numeric_limits<double>::infinity();
    for (const Vec2d& point : a) {
        least = std::min(least, DistanceToLines({b}, point));
    }
    for (const Vec2d& point : b) {
        least = std::min(least, DistanceToLines({a}, point));
    }
    return least;
}

// --- the loop around ---

TEST(OuterOffsetLoop, OfTwoSquaresIsASquare)
{
    const Polyline loop = OuterOffsetLoop(Rectangle(0, 0, 1, 1), Rectangle(0, 0, 2, 2), 1e-9);
    ASSERT_FALSE(loop.empty());
    EXPECT_TRUE(loop.front() == loop.back());
    EXPECT_NEAR(AreaUnder<double>({loop}), 9, 1e-9);
    EXPECT_EQ(WindingNumber<double>({loop}, -0.9, -0.9), 1);
    EXPECT_EQ(WindingNumber<double>({loop}, 1.9, 1.9), 1);
}

TEST(OuterOffsetLoop, OfAPointMovesTheOther)
{
    const Polyline b{{0, 0}, {3, 1}, {2, 5}};
    EXPECT_TRUE(OuterOffsetLoop<double>({{1, 2}}, b, 1e-9) ==
                (Polyline{{-1, -2}, {2, -1}, {1, 3}}));
    EXPECT_TRUE(OuterOffsetLoop<double>({}, b, 1e-9).empty());
    EXPECT_TRUE(OuterOffsetLoop<double>(b, {}, 1e-9).empty());
    // A point moves around a polyline as the polyline around the point, turned by half a turn.
    EXPECT_TRUE(OuterOffsetLoop<double>(Rectangle(0, 0, 2, 1), {{5, 5}}, 1e-9) ==
                Rectangle(3, 4, 5, 5));
}

TEST(OuterOffsetLoop, PointsThatAreNotFiniteAreNone)
{
    const double bad = std::numeric_limits<double>::quiet_NaN();
    const double far = std::numeric_limits<double>::infinity();
    EXPECT_TRUE(OuterOffsetLoop<double>({{bad, 0}, {1, bad}}, Rectangle(0, 0, 1, 1), 1e-9).empty());
    EXPECT_TRUE(OuterOffsetLoop<double>(Rectangle(0, 0, 1, 1), {{far, 0}, {1, far}}, 1e-9).empty());
}

/// Places `a` inside, on and outside of the loop and looks whether it meets `b` there.
void ExpectOuterLoop(const Polyline& a, const Polyline& b, const Polyline& loop, double close,
                     Random& random)
{
    ASSERT_GE(loop.size(), 4U);
    ASSERT_TRUE(loop.front() == loop.back());
    const Vec2d middle = loop.front();
    double reach = 0;
    for (const Vec2d& point : loop) {
        reach = std::max(reach, std::hypot(point.x() - middle.x(), point.y() - middle.y()));
    }
    // Where a and b cross is inside. (What is inside without a crossing is a pocket, or holds b.)
    int crossings = 0;
    for (int i = 0; i < 300; ++i) {
        const Vec2d place =
            middle + Vec2d(random.Between(-reach, reach), random.Between(-reach, reach));
        if (DistanceToLoops<double>({loop}, place.x(), place.y()) > close &&
            DoCross(Moved(a, place), b)) {
            EXPECT_EQ(WindingNumber<double>({loop}, place.x(), place.y()), 1);
            ++crossings;
        }
    }
    EXPECT_GT(crossings, 0);
    // On the loop they touch, all along it.
    for (std::size_t i = 0; i + 1 < loop.size(); ++i) {
        for (const double part : {0.0, 0.31, 0.77}) {
            const Vec2d place = loop[i] + (loop[i + 1] - loop[i]) * part;
            EXPECT_LE(DistanceBetween(Moved(a, place), b), close);
        }
    }
}

TEST(OuterOffsetLoop, IsWhereTheOutlinesTouch)
{
    Random random(12);
    for (int round = 0; round < 12; ++round) {
        SCOPED_TRACE(round);
        const auto star = [&](int corners, double size) {
            Polyline line;
            for (int i = 0; i < corners; ++i) {
                const double angle = 6.283185307179586 * (i + 0.5 * random.Unit()) / corners;
                const double radius = size * random.Between(0.4, 1);
                line.push_back({radius * std::cos(angle), radius * std::sin(angle)});
            }
            line.push_back(line.front());
            return line;
        };
        Polyline a = star(5 + round, 1);
        Polyline b = star(12, 3);
        if (round % 3 == 0) {
            b.pop_back(); // open
        }
        if (round % 4 == 1) {
            a.resize(3); // an open angle
        }
        const double far = round % 2 == 0 ? 0 : 1e6;
        b = Moved(b, {far, -far});
        for (const double tol : {1e-9, 1e-12}) {
            ExpectOuterLoop(a, b, OuterOffsetLoop(a, b, tol), far == 0 ? 1e-8 : 1e-6, random);
        }
    }
}

TEST(OuterOffsetLoop, OfShapesOnALattice)
{
    // Sums of such shapes are full of stretches that lie on each other and of corners that meet.
    Random random(5);
    for (int round = 0; round < 12; ++round) {
        SCOPED_TRACE(round);
        const auto staircase = [&](int steps) {
            Polyline line{{0, 0}};
            for (int i = 0; i < steps; ++i) {
                line.push_back(line.back() + Vec2d(1 + random.Below(2), 0));
                line.push_back(line.back() + Vec2d(0, 1 + random.Below(3)));
            }
            line.push_back({0, line.back().y()});
            line.push_back({0, 0});
            return line;
        };
        const double angle = round % 2 == 0 ? 0 : 0.1 * round;
        const Polyline a = Turned(staircase(1 + round % 3), angle);
        const Polyline b =
            Turned(staircase(2 + round % 5), angle + (round % 3 == 0 ? kPi<double> : 0));
        // Far away the sums that meet differ by their rounding.
        for (const double far : {0.0, 1e6}) {
            const Polyline moved = Moved(b, {far / 3, -far});
            ExpectOuterLoop(a, moved, OuterOffsetLoop(a, moved, 1e-12), far == 0 ? 1e-9 : 1e-7,
                            random);
        }
    }
}

// Points along straight edges, on the one, on the other and on both, with edges that are parallel:
// the loop is the same line.
TEST(OuterOffsetLoop, PointsAlongStraightEdgesChangeNothing)
{
    const auto divided = [](const Polyline& line, int count) {
        Polyline result{line.front()};
        for (std::size_t i = 1; i < line.size(); ++i) {
            for (int k = 1; k <= count; ++k) {
                const double t = static_cast<double>(k) / count;
                result.push_back({line[i - 1].x() + t * (line[i].x() - line[i - 1].x()),
                                  line[i - 1].y() + t * (line[i].y() - line[i - 1].y())});
            }
        }
        return result;
    };
    const Polyline bay{{0, 0}, {12, 0}, {12, 8}, {8, 8}, {8, 3}, {4, 3}, {4, 8}, {0, 8}, {0, 0}};
    const Polyline tee{{-1, 0}, {1, 0}, {1, 4}, {3, 4}, {3, 6}, {-3, 6}, {-3, 4}, {-1, 4}, {-1, 0}};
    const Polyline wall{{0, 0}, {6, 0}, {6, 4}, {10, 8}};
    for (const auto& target : {bay, wall}) {
        const Loops plain{OuterOffsetLoop<double>(tee, target, 1e-12)};
        for (const auto& [onTool, onTarget] : {std::pair(1, 8), std::pair(8, 1), std::pair(4, 8)}) {
            const Loops loop{
                OuterOffsetLoop<double>(divided(tee, onTool), divided(target, onTarget), 1e-12)};
            ASSERT_FALSE(loop[0].empty());
            EXPECT_EQ(loop[0].front(), loop[0].back());
            EXPECT_NEAR(LengthOf(loop), LengthOf(plain), 1e-9);
            for (const Vec2d& p : plain[0]) {
                EXPECT_LT(DistanceToLines(loop, p), 1e-9);
            }
        }
    }
}

TEST(OuterOffsetLoop, OfSeveralPartsIsTheLargest)
{
    // Two squares on one polyline can't lie apart; two outlines whose sum parts can: an L of two
    // far legs that only its own connecting edge joins stays one.
    const Polyline far{{0, 0}, {1, 0}, {1, 1}, {0, 1}, {0, 0}};
    Polyline both = Moved(far, {0, -50});
    const double bad = std::numeric_limits<double>::quiet_NaN();
    both.push_back({bad, bad}); // parts the line
    for (const Vec2d& point : Rectangle(0, 0, 9, 9)) {
        both.push_back(point);
    }
    const Polyline loop = OuterOffsetLoop(far, both, 1e-9);
    EXPECT_NEAR(AreaUnder<double>({loop}), 100, 1e-9);
}

// --- what is common ---

template <class T>
class ProfilesOf : public testing::Test {
};
using Scalars = testing::Types<float, double>;
TYPED_TEST_SUITE(ProfilesOf, Scalars);

TYPED_TEST(ProfilesOf, APolylineHasItselfInCommonWithItself)
{
    using T = TypeParam;
    using Line = std::vector<VecBase<2, T>>;
    const Line open{{T(0), T(0)}, {T(3), T(1)}, {T(2), T(5)}, {T(7), T(2)}, {T(9), T(9)}};
    Line closed = open;
    closed.push_back(open[0]);
    for (const Line& line : {open, Rectangle<T>(0, 0, 3, 2), Line{open[3], open[0], open[1]}}) {
        const auto own = KeepCommonRegions(line, line, T(1e-6));
        ASSERT_EQ(own.size(), 1U);
        EXPECT_TRUE(own[0] == line);
        // Also with itself reversed: in the direction of the first.
        const auto back = KeepCommonRegions(line, Reversed(line), T(1e-6));
        ASSERT_EQ(back.size(), 1U);
        EXPECT_TRUE(back[0] == line);
    }
    // One that crosses itself gets a vertex there, and keeps its length.
    double length = 0;
    for (const auto& own : KeepCommonRegions(closed, closed, T(1e-6))) {
        for (std::size_t i = 0; i + 1 < own.size(); ++i) {
            length +=
                std::hypot(double(own[i + 1][0]) - own[i][0], double(own[i + 1][1]) - own[i][1]);
        }
    }
    EXPECT_NEAR(length,
                std::sqrt(10) + std::sqrt(17) + std::sqrt(34) + std::sqrt(53) + std::sqrt(162),
                1e-5);
    Line moved = open;
    for (auto& point : moved) {
        point[1] += T(20);
    }
    EXPECT_TRUE(KeepCommonRegions(open, moved, T(1e-6)).empty());
    EXPECT_TRUE(KeepCommonRegions<T>(open, {}, T(1e-6)).empty());
    EXPECT_TRUE(KeepCommonRegions<T>({}, open, T(1e-6)).empty());
    EXPECT_TRUE(KeepCommonRegions<T>(open, {open[1]}, T(1e-6)).empty());
}

TEST(KeepCommonRegions, KeepsTheStretchThatTwoOutlinesShare)
{
    for (const double far : {0.0, 1e4, 1e6}) {
        // Aslant, so that cuts are rounded.
        const auto at = [&](double along, double across) {
            return Vec2d(far + 0.8 * along - 0.6 * across, -far + 0.6 * along + 0.8 * across);
        };
        const Polyline a{at(0, 5), at(0, 0), at(10, 0), at(10, 5)};
        const Polyline b{at(3, -4), at(3, 0), at(7, 0), at(7, -4)};
        for (const double tol : {1e-7, 1e-12}) {
            const Loops common = KeepCommonRegions(a, b, tol);
            ASSERT_EQ(common.size(), 1U) << far;
            ASSERT_EQ(common[0].size(), 2U);
            EXPECT_NEAR(LengthOf(common), 4, 1e-7);
        }
    }
}

TEST(KeepCommonRegions, WhatIsBesideByMoreThanTheFloorIsNotCommon)
{
    // A line within the tolerance of the cut, but 1e-10 beside.
    const Polyline a{{0, 0}, {10, 0}};
    EXPECT_TRUE(KeepCommonRegions<double>(a, {{2, 1e-10}, {8, 1e-10}}, 1e-6).empty());
    EXPECT_EQ(KeepCommonRegions<double>(a, {{2, 5e-13}, {8, 5e-13}}, 1e-6).size(), 1U);
    // Far away points of the same polyline make it no coarser, whether finite or not.
    const double inf = std::numeric_limits<double>::infinity();
    for (const double far : {1e12, 1e100, inf, std::numeric_limits<double>::quiet_NaN()}) {
        const Polyline withFar{{0, 0}, {10, 0}, {10, 1}, {far, far}};
        EXPECT_TRUE(KeepCommonRegions<double>(withFar, {{2, 1e-10}, {8, 1e-10}}, 1e-6).empty())
            << far;
        EXPECT_NEAR(LengthOf(KeepCommonRegions<double>(withFar, {{2, 0}, {8, 0}}, 1e-6)), 6, 1e-9)
            << far;
    }
}

TEST(KeepCommonRegions, CornersThatDifferByLessThanTheFloorAreOne)
{
    const Polyline a{{0, 0}, {10, 0}, {10, 5}};
    const Loops common = KeepCommonRegions(a, Moved(a, {4e-13, -4e-13}), 1e-12);
    ASSERT_EQ(common.size(), 1U);
    EXPECT_TRUE(common[0] == a);
}

TEST(KeepCommonRegions, PiecesShorterThanTheToleranceAreKept)
{
    Polyline fine;
    for (int i = 0; i <= 100; ++i) {
        fine.push_back({i * 0.001, 0});
    }
    const Loops common = KeepCommonRegions<double>(fine, fine, 0.002);
    ASSERT_EQ(common.size(), 1U);
    EXPECT_TRUE(common[0] == fine);
}

// --- outlines with exact contacts, ray by ray ---

/// Two outlines that are stars about the origin, the second made from the first so that both share
/// corners and stretches, corners of one lie on edges of the other, and both cross.
struct StarPair {
    Polyline a;
    Polyline b;
};

StarPair RandomStars(Random& random)
{
    StarPair pair;
    constexpr int kCorners = 14;
    for (int i = 0; i < kCorners; ++i) {
        const double angle = 6.283185307179586 * (i + 0.4 * random.Unit()) / kCorners;
        const double radius = random.Between(3, 6);
        pair.a.push_back({radius * std::cos(angle), radius * std::sin(angle)});
    }
    pair.a.push_back(pair.a.front());
    for (int i = 0; i < kCorners; ++i) {
        const Vec2d& from = pair.a[static_cast<std::size_t>(i)];
        const Vec2d along = pair.a[static_cast<std::size_t>(i) + 1] - from;
        switch (random.Below(5)) {
        case 0: // a corner of both
            pair.b.push_back(from);
            break;
        case 1: // a stretch of both within the edge
            pair.b.push_back(from + along * 0.25);
            pair.b.push_back(from + along * 0.75);
            break;
        case 2: // a corner on the edge
            pair.b.push_back(from + along * random.Between(0.2, 0.8));
            break;
        case 3: // from corner to corner, and a corner of its own within
            pair.b.push_back(from);
            pair.b.push_back((from + along * 0.5) * random.Between(0.7, 1.4));
            break;
        default: // off it
            pair.b.push_back((from + along * random.Between(0.1, 0.9)) * random.Between(0.6, 1.5));
        }
    }
    pair.b.push_back(pair.b.front());
    return pair;
}

/// Where a ray from the origin leaves a star, and the edge there.
struct RayHit {
    double radius = 0;
    Vec2d along;
};

RayHit HitOf(const Polyline& star, const Vec2d& direction)
{
    RayHit hit;
    for (std::size_t i = 0; i + 1 < star.size(); ++i) {
        const Vec2d along = star[i + 1] - star[i];
        const double below = direction.x() * along.y() - direction.y() * along.x();
        const double part = (star[i].x() * direction.y() - star[i].y() * direction.x()) / below;
        if (part >= -1e-12 && part <= 1 + 1e-12) {
            const double radius = (star[i] + along * part) * direction;
            if (radius > hit.radius) {
                hit = {radius, along};
            }
        }
    }
    return hit;
}

double RadiusOf(const Polyline& star, const Vec2d& direction)
{
    return HitOf(star, direction).radius;
}

/// Stretches in common differ in direction by rounding alone, others by an angle.
bool AreParallel(const Vec2d& a, const Vec2d& b)
{
    return std::fabs(a.x() * b.y() - a.y() * b.x()) <
           1e-7 * std::hypot(a.x(), a.y()) * std::hypot(b.x(), b.y());
}

/// Length of the boundary of both stars, corner by corner and crossing by crossing.
double LengthAround(const StarPair& stars)
{
    std::vector<double> angles;
    const auto add = [&](const Vec2d& point) {
        angles.push_back(std::atan2(point.y(), point.x()));
    };
    for (std::size_t i = 0; i + 1 < stars.a.size(); ++i) {
        add(stars.a[i]);
        const Vec2d along = stars.a[i + 1] - stars.a[i];
        for (std::size_t j = 0; j + 1 < stars.b.size(); ++j) {
            add(stars.b[j]);
            const Vec2d other = stars.b[j + 1] - stars.b[j];
            if (!AreParallel(along, other) &&
                Cross(stars.a[i], stars.a[i + 1], stars.b[j], stars.b[j + 1])) {
                const Vec2d gap = stars.b[j] - stars.a[i];
                const double part = (gap.x() * other.y() - gap.y() * other.x()) /
                                    (along.x() * other.y() - along.y() * other.x());
                add(stars.a[i] + along * part);
            }
        }
    }
    std::sort(angles.begin(), angles.end());
    Polyline line;
    for (const double angle : angles) {
        const Vec2d direction(std::cos(angle), std::sin(angle));
        line.push_back(direction *
                       std::max(RadiusOf(stars.a, direction), RadiusOf(stars.b, direction)));
    }
    line.push_back(line.front());
    return LengthOf({line});
}

/// Compares the parts of two outlines that are stars about `center` with rays from there.
void ExpectPartedRayByRay(const Polyline& a, const Polyline& b, const Vec2d& center, double tol,
                          double close)
{
    const StarPair stars{Moved(a, Vec2d() - center), Moved(b, Vec2d() - center)};
    Loops ofA;
    Loops ofB;
    ASSERT_TRUE(ClipOverlappedRegions(a, b, ofA, ofB, tol));
    const Loops common = KeepCommonRegions(a, b, tol);
    constexpr int kRays = 360;
    for (int i = 0; i < kRays; ++i) {
        const double angle = 6.283185307179586 * (i + 0.1234) / kRays;
        const Vec2d direction(std::cos(angle), std::sin(angle));
        const RayHit onA = HitOf(stars.a, direction);
        const RayHit onB = HitOf(stars.b, direction);
        const Vec2d place = center + direction * std::max(onA.radius, onB.radius);
        const bool isCommon = std::fabs(onA.radius - onB.radius) < close;
        if (isCommon && !AreParallel(onA.along, onB.along)) {
            continue; // just where they cross
        }
        const bool isOfA = !isCommon && onA.radius > onB.radius;
        EXPECT_EQ(DistanceToLines(ofA, place) < close, isOfA) << angle;
        EXPECT_EQ(DistanceToLines(ofB, place) < close, !isOfA) << angle;
        EXPECT_EQ(DistanceToLines(common, place) < close, isCommon) << angle;
    }
    // And nothing else: the middle of each edge is on the boundary, and none is there twice.
    for (const Loops* part : {&ofA, &ofB}) {
        for (const Polyline& line : *part) {
            EXPECT_GE(line.size(), 2U);
            for (std::size_t i = 0; i + 1 < line.size(); ++i) {
                const Vec2d middle = (line[i] + line[i + 1]) * 0.5 - center;
                const double radius = std::hypot(middle.x(), middle.y());
                const Vec2d direction = middle * (1 / radius);
                EXPECT_NEAR(radius,
                            std::max(RadiusOf(stars.a, direction), RadiusOf(stars.b, direction)),
                            close);
            }
        }
    }
    EXPECT_NEAR(LengthOf(ofA) + LengthOf(ofB), LengthAround(stars), 100 * close);
}

TEST(ClipOverlappedRegions, OfStarsWithExactContactsRayByRay)
{
    Random random(31);
    for (int round = 0; round < 60; ++round) {
        SCOPED_TRACE(round);
        const StarPair stars = RandomStars(random);
        const double far = round % 3 == 0 ? 1e6 : 0;
        const Vec2d center(far, far);
        ExpectPartedRayByRay(Moved(stars.a, center),
                             Moved(round % 2 == 0 ? stars.b : Reversed(stars.b), center), center,
                             round % 4 < 2 ? 1e-12 : 1e-8, far == 0 ? 1e-9 : 1e-7);
    }
}

/// A body of turning: symmetric steps about the origin, as a tool, a holder or a bar has them.
Polyline Steps(Random& random, double size, double angle)
{
    double width = size * (1 + random.Below(3));
    double height = size;
    Polyline line;
    for (int step = 0; step < 3; ++step) {
        line.push_back({width, height});
        width -= size * 0.25 * (1 + random.Below(2));
        if (width <= 0) {
            break;
        }
        line.push_back({width, height});
        height += size * 0.5 * random.Below(3);
        if (random.Below(2) == 0) {
            line.push_back({width - 0.2 * size, height}); // a chamfer
            break;
        }
    }
    line.push_back({-size, line.back().y()});
    line.push_back({-size, -size});
    line.push_back({line.front().x(), -size});
    line.push_back(line.front());
    return Turned(line, angle);
}

TEST(ClipOverlappedRegions, OfToolAndHolderRayByRay)
{
    // The sum of two stars about their origins is one again. The loops come calculated, so that
    // places they have in common differ by their rounding.
    Random random(8);
    for (int round = 0; round < 40; ++round) {
        SCOPED_TRACE(round);
        const double angle = round % 2 == 0 ? 0 : 0.37 * round;
        const double far = round % 4 < 2 ? 0 : 1e6;
        const Vec2d center(far, -far);
        const Polyline tool = Steps(random, 1, angle);
        const Polyline holder = Steps(random, round % 5 == 0 ? 1 : 0.75, angle);
        const Polyline bar = Moved(Steps(random, 4, angle), center);
        const Polyline ofTool = OuterOffsetLoop(tool, bar, 1e-12);
        const Polyline ofHolder = OuterOffsetLoop(holder, bar, 1e-12);
        ExpectPartedRayByRay(ofTool, ofHolder, center, 1e-12, far == 0 ? 1e-9 : 1e-7);
    }
}

TEST(ClipOverlappedRegions, ToolAndHolderAroundABar)
{
    // Corners of the tool's loop lie inside edges of the holder's: the everyday case of turning.
    for (const double angle : {0.0, 0.7}) {
        for (const double far : {0.0, 1e6}) {
            const Polyline tool = Turned(Rectangle(-1, 0, 1, 2), angle);
            const Polyline holder = Turned(Rectangle(-3, 2, 3, 6), angle);
            const Polyline bar = Moved(Turned(Rectangle(0, -5, 10, 0), angle), {far, far});
            const double tol = 1e-12;
            const Polyline ofTool = OuterOffsetLoop(tool, bar, tol);
            const Polyline ofHolder = OuterOffsetLoop(holder, bar, tol);
            Loops toolPart;
            Loops holderPart;
            EXPECT_TRUE(ClipOverlappedRegions(ofTool, ofHolder, toolPart, holderPart, tol));
            // [-1, 11] x [-7, 0] and [-3, 13] x [-11, -2]: of the first 2 + 12 + 2 stick out above.
            EXPECT_NEAR(LengthOf(toolPart), 16, 1e-6);
            EXPECT_NEAR(LengthOf(holderPart), 38, 1e-6);
            EXPECT_EQ(toolPart.size(), 1U);
        }
    }
}

TEST(ClipOverlappedRegions, PartsTheBoundaryOfTwoSquares)
{
    Loops ofA{{{1, 1}}};
    Loops ofB{{{1, 1}}};
    EXPECT_TRUE(
        ClipOverlappedRegions(Rectangle(0, 0, 4, 4), Rectangle(2, 2, 6, 6), ofA, ofB, 1e-9));
    ASSERT_EQ(ofA.size(), 1U);
    ASSERT_EQ(ofB.size(), 1U);
    // From crossing to crossing, counter-clockwise.
    EXPECT_TRUE(ofA[0] == (Polyline{{2, 4}, {0, 4}, {0, 0}, {4, 0}, {4, 2}}));
    EXPECT_TRUE(ofB[0] == (Polyline{{4, 2}, {6, 2}, {6, 6}, {2, 6}, {2, 4}}));
}

TEST(ClipOverlappedRegions, AStretchOfBothIsOfTheSecond)
{
    // Two squares that share their lower edge in part: B stands on the same line.
    Loops ofA;
    Loops ofB;
    EXPECT_TRUE(
        ClipOverlappedRegions(Rectangle(0, 0, 4, 4), Rectangle(2, 0, 6, 2), ofA, ofB, 1e-9));
    EXPECT_NEAR(LengthOf(ofA) + LengthOf(ofB), 4 + 4 + 2 + 2 + 2 + 6, 1e-9);
    EXPECT_NEAR(LengthOf(ofA), 2 + 4 + 4 + 2, 1e-9);
}

TEST(ClipOverlappedRegions, AStretchOfBothJoinsTheSecondInOnePolyline)
{
    const auto expectParts = [](const Polyline& a, const Polyline& b, const Loops& expectedOfA,
                                const Loops& expectedOfB) {
        Loops ofA;
        Loops ofB;
        EXPECT_TRUE(ClipOverlappedRegions(a, b, ofA, ofB, 1e-9));
        EXPECT_TRUE(ofA == expectedOfA);
        EXPECT_TRUE(ofB == expectedOfB);
    };
    // From A through what is common, with two corners within, into B; and the other way round.
    const Polyline square = Rectangle(0, 0, 4, 4);
    expectParts(square, {{1, 0}, {2, 0}, {3, 0}, {6, 0}, {6, 2}, {1, 2}, {1, 0}},
                {{{4, 2}, {4, 4}, {0, 4}, {0, 0}, {1, 0}}},
                {{{1, 0}, {2, 0}, {3, 0}, {4, 0}, {6, 0}, {6, 2}, {4, 2}}});
    expectParts(square, {{3, 0}, {3, 2}, {-2, 2}, {-2, 0}, {1, 0}, {2, 0}, {3, 0}},
                {{{3, 0}, {4, 0}, {4, 4}, {0, 4}, {0, 2}}},
                {{{0, 2}, {-2, 2}, {-2, 0}, {0, 0}, {1, 0}, {2, 0}, {3, 0}}});
    // Within A, with corners and without.
    expectParts(Rectangle(0, 0, 9, 4), {{2, 0}, {3, 0}, {4, 0}, {5, 0}, {5, 1}, {2, 1}, {2, 0}},
                {{{5, 0}, {9, 0}, {9, 4}, {0, 4}, {0, 0}, {2, 0}}},
                {{{2, 0}, {3, 0}, {4, 0}, {5, 0}}});
    expectParts(Rectangle(0, 0, 9, 4), Rectangle(2, 0, 5, 1),
                {{{5, 0}, {9, 0}, {9, 4}, {0, 4}, {0, 0}, {2, 0}}}, {{{2, 0}, {5, 0}}});
    // Within B nothing parts it.
    expectParts({{2, 0}, {3, 0}, {5, 0}, {5, 1}, {2, 1}, {2, 0}}, Rectangle(0, 0, 9, 4), {},
                {{{0, 0}, {2, 0}, {3, 0}, {5, 0}, {9, 0}, {9, 4}, {0, 4}, {0, 0}}});
    // Over the seam of the walk, which begins at the lowest corner.
    expectParts({{0, 0}, {1, 0}, {2, 0}, {2, 4}, {-2, 4}, {-2, 0}, {-1, 0}, {0, 0}},
                {{-1, 0}, {0, 0}, {1, 0}, {1, 2}, {-1, 2}, {-1, 0}},
                {{{1, 0}, {2, 0}, {2, 4}, {-2, 4}, {-2, 0}, {-1, 0}}}, {{{-1, 0}, {0, 0}, {1, 0}}});
}

TEST(ClipOverlappedRegions, AVertexOnAnEdgeOfTheOtherEndsAStretch)
{
    // The corners of B lie inside edges of A, and the other way round nowhere.
    Loops ofA;
    Loops ofB;
    EXPECT_TRUE(
        ClipOverlappedRegions(Rectangle(0, 0, 4, 4), Rectangle(4, 1, 6, 3), ofA, ofB, 1e-9));
    EXPECT_NEAR(LengthOf(ofA), 14, 1e-9);
    EXPECT_NEAR(LengthOf(ofB), 6, 1e-9);
    ASSERT_EQ(ofA.size(), 1U);
    ASSERT_EQ(ofB.size(), 1U);
}

TEST(ClipOverlappedRegions, OutlinesThatTouchInOneCorner)
{
    // The boundary passes the corner twice, at the seam of the walk too.
    Loops ofA;
    Loops ofB;
    for (const bool isSwapped : {false, true}) {
        const Polyline low = Rectangle(0, 0, 2, 2);
        const Polyline high = Rectangle(2, 2, 3, 3);
        EXPECT_TRUE(
            ClipOverlappedRegions(isSwapped ? high : low, isSwapped ? low : high, ofA, ofB, 1e-9));
        EXPECT_NEAR(LengthOf(ofA), isSwapped ? 4 : 8, 1e-9);
        EXPECT_NEAR(LengthOf(ofB), isSwapped ? 8 : 4, 1e-9);
        for (const Loops* part : {&ofA, &ofB}) {
            ASSERT_EQ(part->size(), 1U);
            EXPECT_TRUE((*part)[0].size() == 5U && (*part)[0].front() == (*part)[0].back());
        }
    }
}

TEST(ClipOverlappedRegions, OutlinesOnTheirOwn)
{
    Loops ofA;
    Loops ofB;
    // One within the other: the whole loop is of one.
    EXPECT_TRUE(
        ClipOverlappedRegions(Rectangle(0, 0, 9, 9), Rectangle(2, 2, 6, 6), ofA, ofB, 1e-9));
    ASSERT_EQ(ofA.size(), 1U);
    EXPECT_TRUE(ofA[0] == Rectangle(0, 0, 9, 9));
    EXPECT_TRUE(ofB.empty());
    EXPECT_TRUE(
        ClipOverlappedRegions(Rectangle(2, 2, 6, 6), Rectangle(0, 0, 9, 9), ofA, ofB, 1e-9));
    EXPECT_TRUE(ofA.empty());
    ASSERT_EQ(ofB.size(), 1U);
    EXPECT_TRUE(ofB[0] == Rectangle(0, 0, 9, 9));
    // The same everywhere: each edge by itself, all of the second.
    EXPECT_TRUE(
        ClipOverlappedRegions(Rectangle(0, 0, 3, 3), Rectangle(0, 0, 3, 3), ofA, ofB, 1e-9));
    EXPECT_TRUE(ofA.empty());
    EXPECT_EQ(ofB.size(), 4U);
    EXPECT_NEAR(LengthOf(ofB), 12, 1e-9);
    // Apart: the larger one, wherever it is.
    for (const double y : {-50.0, 50.0}) {
        EXPECT_TRUE(ClipOverlappedRegions(Rectangle(0, 0, 9, 9), Rectangle(0, y, 1, y + 1), ofA,
                                          ofB, 1e-9));
        EXPECT_NEAR(LengthOf(ofA), 36, 1e-9);
        EXPECT_TRUE(ofB.empty());
    }
    // Without the second one, without both, and a path that does not close.
    EXPECT_TRUE(ClipOverlappedRegions(Rectangle(0, 0, 3, 3), {}, ofA, ofB, 1e-9));
    EXPECT_NEAR(LengthOf(ofA), 12, 1e-9);
    EXPECT_TRUE(ofB.empty());
    EXPECT_FALSE(ClipOverlappedRegions<double>({}, {}, ofA, ofB, 1e-9));
    EXPECT_TRUE(ofA.empty() && ofB.empty());
    EXPECT_FALSE(ClipOverlappedRegions<double>({{0, 0}, {5, 1}}, {}, ofA, ofB, 1e-9));
    EXPECT_NEAR(LengthOf(ofA), std::hypot(5, 1), 1e-12);
    // A single point bounds nothing.
    EXPECT_TRUE(ClipOverlappedRegions<double>(Rectangle(0, 0, 3, 3), {{1, 1}}, ofA, ofB, 1e-9));
    EXPECT_NEAR(LengthOf(ofA), 12, 1e-9);
}

TEST(ClipOverlappedRegions, OpenOutlines)
{
    // Two hooks that lie on one another in the middle, and then go their own ways.
    Loops ofA;
    Loops ofB;
    EXPECT_FALSE(ClipOverlappedRegions<double>({{0, 0}, {2, 0}, {4, 0}}, {{4, 0}, {6, 0}, {6, 3}},
                                               ofA, ofB, 1e-9));
    EXPECT_NEAR(LengthOf(ofA), 4, 1e-12);
    EXPECT_NEAR(LengthOf(ofB), 5, 1e-12);
}

TEST(ClipOverlappedRegions, AnInputMayBeAnElementOfAnOutput)
{
    Loops ofA{Rectangle(0, 0, 4, 4)};
    Loops ofB{Rectangle(2, 2, 6, 6)};
    EXPECT_TRUE(ClipOverlappedRegions(ofA[0], ofB[0], ofA, ofB, 1e-9));
    EXPECT_NEAR(LengthOf(ofA), 12, 1e-9);
    EXPECT_NEAR(LengthOf(ofB), 12, 1e-9);
}

TYPED_TEST(ProfilesOf, FloatsAndDoublesGiveTheSame)
{
    using T = TypeParam;
    LoopsOf<T> ofA;
    LoopsOf<T> ofB;
    EXPECT_TRUE(ClipOverlappedRegions<T>(Rectangle<T>(0, 0, 4, 4), Rectangle<T>(4, 1, 6, 3), ofA,
                                         ofB, T(1e-6)));
    ASSERT_EQ(ofA.size(), 1U);
    ASSERT_EQ(ofB.size(), 1U);
    EXPECT_EQ(ofA[0].size(), 6U);
    EXPECT_EQ(ofB[0].size(), 4U);
    const auto loop =
        OuterOffsetLoop<T>(Rectangle<T>(0, 0, 1, 1), Rectangle<T>(0, 0, 2, 2), T(1e-6));
    EXPECT_NEAR(AreaUnder<T>({loop}), 9, 1e-6);
}

TEST(ClipOverlappedRegions, WithoutMemoryBothPartsStayAsTheyWere)
{
    struct Parts {
        Loops ofA{{{1, 2}}};
        Loops ofB{{{3, 4}}};
    };
    const Polyline a = Rectangle(0, 0, 4, 4);
    const Polyline b = Rectangle(2, 2, 6, 6);
    const std::size_t failures = FailEachAllocationOfEither(
        [] { return Parts{}; },
        [&](Parts& parts) { ClipOverlappedRegions(a, b, parts.ofA, parts.ofB, 1e-9); },
        [&](const Parts& parts, bool hasThrown) {
            if (hasThrown) {
                EXPECT_TRUE(parts.ofA == Parts{}.ofA && parts.ofB == Parts{}.ofB);
            } else {
                EXPECT_NEAR(LengthOf(parts.ofA), 12, 1e-9);
                EXPECT_NEAR(LengthOf(parts.ofB), 12, 1e-9);
            }
        });
    EXPECT_GT(failures, 8U);
    EXPECT_GT(FailEachAllocationOfResult([&] { return KeepCommonRegions(a, a, 1e-9); }), 8U);
    EXPECT_GT(FailEachAllocationOfResult([&] { return OuterOffsetLoop(a, b, 1e-9); }), 8U);
}

} // namespace
