// Convex hulls in the plane, and hulls of two hulls.

#include <Sorvane/ConvexHull_E.h>

#include "tests/bounding/PlainHull.h"
#include "tests/support/PointSets.h"
#include "tests/support/Rounds.h"
#include "tests/support/TestSupport.h"

#include <Velk/Math/Vector_E.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane::Bounding;

template <class Scalar>
class PlaneHullOf : public testing::Test {
};
using Scalars = testing::Types<float, double>;
TYPED_TEST_SUITE(PlaneHullOf, Scalars);

template <class T>
using Points = std::vector<VecBase<2, T>>;

/// (b - a) ^ (c - a) without rounding that matters.
template <class T>
long double Turn(const VecBase<2, T>& a, const VecBase<2, T>& b, const VecBase<2, T>& c)
{
    const long double ax = a[0];
    const long double ay = a[1];
    return (b[0] - ax) * (c[1] - ay) - (b[1] - ay) * (c[0] - ax);
}

template <class T>
bool Less(const VecBase<2, T>& a, const VecBase<2, T>& b)
{
    return a[0] < b[0] || (a[0] == b[0] && a[1] < b[1]);
}

template <class T>
bool AreFrom(const Points<T>& hull, const Points<T>& points)
{
    Points<T> sorted = points;
    std::sort(sorted.begin(), sorted.end(), Less<T>);
    return std::all_of(hull.begin(), hull.end(), [&](const VecBase<2, T>& p) {
        return std::binary_search(sorted.begin(), sorted.end(), p, Less<T>);
    });
}

/// Distance of `p` from the hull's region, 0 inside. Inside is where the hull runs around the
/// point: a dent at a short edge turns the line of that edge aside from points far away that are
/// inside.
template <class T>
long double DistanceOutside(const Points<T>& hull, const VecBase<2, T>& p)
{
    long double nearest = std::numeric_limits<long double>::max();
    int windings = 0;
    for (std::size_t i = 0; i < hull.size(); ++i) {
        const auto& a = hull[i];
        const auto& b = hull[(i + 1) % hull.size()];
        windings += a[1] <= p[1] && b[1] > p[1] && Turn(a, b, p) > 0 ? 1 : 0;
        windings -= a[1] > p[1] && b[1] <= p[1] && Turn(a, b, p) < 0 ? 1 : 0;
        const long double ux = static_cast<long double>(b[0]) - a[0];
        const long double uy = static_cast<long double>(b[1]) - a[1];
        const long double vx = static_cast<long double>(p[0]) - a[0];
        const long double vy = static_cast<long double>(p[1]) - a[1];
        const long double t = std::clamp((ux * vx + uy * vy) / (ux * ux + uy * uy), 0.0L, 1.0L);
        nearest = std::min(nearest, std::hypot(vx - t * ux, vy - t * uy));
    }
    return windings != 0 ? 0 : nearest;
}

/// Of input points, convex, counter-clockwise once around, and around all points, up to the
/// rounding of a chain made after as many turns as dents take, and the tolerance within which
/// points are one. Adds to `turnedSets` when there are any.
template <class T>
void ExpectHull(const Points<T>& hull, const Points<T>& points, int& turnedSets)
{
    int turns = 0;
    Support::PlainHull(points, turns);
    turnedSets += turns > 0 ? 1 : 0;
    // A cross product is off by four roundings of the product of its two edges, so a vertex may lie
    // inside the chord by that many of an edge, which is up to sqrt(8) sizes long: 6 epsilons. A
    // turn moves each point by 2 sqrt(2) roundings of its distance from the origin, which is up to
    // sqrt(2) sizes, and in float, which is computed in double, by one; a vertex relative to a
    // chord by twice that.
    const long double slack = 6 + turns * (std::is_same_v<T, float> ? 1.5L : 4.0L);
    long double size = 0;
    for (const auto& p : points) {
        size = std::max({size, std::abs(static_cast<long double>(p[0])),
                         std::abs(static_cast<long double>(p[1]))});
    }
    const long double off = slack * std::numeric_limits<T>::epsilon() * size + 2 * kLengthFloor<T>;
    const std::size_t count = hull.size();
    ASSERT_GE(count, 3U);
    ASSERT_TRUE(AreFrom(hull, points));
    int descents = 0; // from left-going to right-going edges: one for a single turn around
    for (std::size_t i = 0; i < count; ++i) {
        const auto& a = hull[i];
        const auto& b = hull[(i + 1) % count];
        const auto& c = hull[(i + 2) % count];
        // Made convex by moving each of them by half of that. Moving one moves the turn by as much
        // across the edge of the other two; at a sharp tip two of these are long.
        const auto length = [](const VecBase<2, T>& from, const VecBase<2, T>& to) {
            return std::hypot(static_cast<long double>(to[0]) - from[0],
                              static_cast<long double>(to[1]) - from[1]);
        };
        ASSERT_GE(Turn(a, b, c), -off / 2 * (length(a, b) + length(b, c) + length(c, a)));
        descents += Less(b, a) && Less(b, c) ? 1 : 0;
    }
    ASSERT_EQ(descents, 1);
    for (const auto& p : points) {
        ASSERT_LE(DistanceOutside(hull, p), off);
    }
}

TYPED_TEST(PlaneHullOf, FewPointsComeBackAsTheyAre)
{
    using T = TypeParam;
    EXPECT_TRUE(ConvexHull(Points<T>{}, false).empty());
    EXPECT_TRUE(ConvexHull(Points<T>{}, true).empty());
    EXPECT_EQ(ConvexHull(Points<T>{{5, 6}}, false), (Points<T>{{5, 6}}));
    const Points<T> two{{5, 6}, {1, 2}};
    EXPECT_EQ(ConvexHull(two, false), two);
    EXPECT_EQ(ConvexHull(two, true), two);
}

TYPED_TEST(PlaneHullOf, EqualPointsAreOne)
{
    using T = TypeParam;
    EXPECT_EQ(ConvexHull(Points<T>(2, {5, 6}), false), (Points<T>{{5, 6}}));
    EXPECT_EQ(ConvexHull(Points<T>(50, {5, 6}), false), (Points<T>{{5, 6}}));
    EXPECT_EQ(ConvexHull(Points<T>{{5, 6}, {1, 2}, {5, 6}}, false), (Points<T>{{1, 2}, {5, 6}}));
}

TYPED_TEST(PlaneHullOf, ThreePointsComeBackCounterClockwise)
{
    using T = TypeParam;
    const Points<T> expected{{0, 0}, {4, 0}, {1, 3}};
    Points<T> order{{0, 0}, {1, 3}, {4, 0}};
    do {
        EXPECT_EQ(ConvexHull(order, false), expected);
    } while (std::next_permutation(order.begin(), order.end(), Less<T>));
    // Sorted already: clockwise or counter-clockwise as the points lie.
    EXPECT_EQ(ConvexHull(Points<T>{{0, 0}, {1, 3}, {4, 0}}, true), expected);
    EXPECT_EQ(ConvexHull(Points<T>{{0, 0}, {1, -3}, {4, 0}}, true),
              (Points<T>{{0, 0}, {1, -3}, {4, 0}}));
}

TYPED_TEST(PlaneHullOf, ThreeCollinearPointsLeaveTheEnds)
{
    using T = TypeParam;
    const Points<T> ends{{0, 0}, {4, 8}};
    Points<T> order{{0, 0}, {1, 2}, {4, 8}};
    do {
        EXPECT_EQ(ConvexHull(order, false), ends);
    } while (std::next_permutation(order.begin(), order.end(), Less<T>));
    EXPECT_EQ(ConvexHull(Points<T>{{3, 1}, {3, 7}, {3, 2}}, false), (Points<T>{{3, 1}, {3, 7}}));
}

TYPED_TEST(PlaneHullOf, ATriangleInMetersKeepsItsCornersAsFourPointsDo)
{
    using T = TypeParam;
    // Twice the areas are at most 1/4 of the floor, though the angles are those of any right
    // triangle.
    const T micrometer = std::sqrt(kLengthFloor<T>);
    for (const T s : {micrometer / 2, micrometer / 50, 5 * kLengthFloor<T>}) {
        const Points<T> three{{0, 0}, {s, 0}, {0, s}};
        Points<T> order = three;
        std::sort(order.begin(), order.end(), Less<T>);
        do {
            EXPECT_EQ(ConvexHull(order, false), three) << s;
        } while (std::next_permutation(order.begin(), order.end(), Less<T>));
        const Points<T> four{{0, 0}, {s, 0}, {0, s}, {s, s}};
        EXPECT_EQ(ConvexHull(four, false), (Points<T>{{0, 0}, {s, 0}, {s, s}, {0, s}}));
    }
}

TYPED_TEST(PlaneHullOf, AThirdPointWithinTheFloorOfTheLineIsOnIt)
{
    using T = TypeParam;
    const T floor = kLengthFloor<T>;
    // Short: the distance from the line decides. Long: twice the area, here the distance times 64.
    for (const T length : {T(0x1p-12), T(0.25), T(64)}) {
        const T most = floor / std::max(length, T(1));
        const Points<T> line{{0, 0}, {length, 0}};
        EXPECT_EQ(ConvexHull(Points<T>{{0, 0}, {length / 2, most / 2}, {length, 0}}, true), line);
        EXPECT_EQ(ConvexHull(Points<T>{{0, 0}, {length / 2, -most / 2}, {length, 0}}, true), line);
        const Points<T> open{{0, 0}, {length / 2, -2 * most}, {length, 0}};
        EXPECT_EQ(ConvexHull(open, true), open);
    }
}

TYPED_TEST(PlaneHullOf, CollinearPointsLeaveTheEnds)
{
    using T = TypeParam;
    EXPECT_EQ(ConvexHull(Points<T>{{2, 4}, {0, 0}, {3, 6}, {1, 2}}, false),
              (Points<T>{{0, 0}, {3, 6}}));
    Points<T> vertical;
    for (int i = 0; i < 100; ++i) {
        vertical.push_back({7, i * 37 % 100});
    }
    EXPECT_EQ(ConvexHull(vertical, false), (Points<T>{{7, 0}, {7, 99}}));
}

TYPED_TEST(PlaneHullOf, PointsOnEdgesAndInsideAreLeftOut)
{
    using T = TypeParam;
    Points<T> grid;
    for (int i = 0; i <= 20; ++i) {
        for (int j = 0; j <= 20; ++j) {
            grid.push_back({i, j});
        }
    }
    const Points<T> corners{{0, 0}, {20, 0}, {20, 20}, {0, 20}};
    EXPECT_EQ(ConvexHull(grid, true), corners);
    std::reverse(grid.begin(), grid.end());
    EXPECT_EQ(ConvexHull(grid, false), corners);
}

TYPED_TEST(PlaneHullOf, IsConvexCounterClockwiseAndAroundAllPoints)
{
    using T = TypeParam;
    Support::Random random(21);
    int turnedSets = 0;
    for (const Support::PointSet set : Support::kPointSets) {
        for (int trial = 0; trial < Support::Rounds(150); ++trial) {
            SCOPED_TRACE(Support::NameOf(set) + " " + std::to_string(trial));
            const auto points = Support::MakePoints<2, T>(set, 4 + random.Below(150), random);
            const auto hull = ConvexHull(points, false);
            if (hull.size() < 3) {
                continue; // collinear or coincident; cases of their own
            }
            ExpectHull(hull, points, turnedSets);
            if (this->HasFatalFailure()) {
                return;
            }
        }
    }
}

TYPED_TEST(PlaneHullOf, HugeTinyAndFarOff)
{
    using T = TypeParam;
    Support::Random random(22);
    int turnedSets = 0;
    for (const T scale : {T(1e-6), T(1e-3), T(1e4), T(1e9)}) {
        for (const T offset : {T(0), T(3)}) {
            for (int trial = 0; trial < Support::Rounds(30); ++trial) {
                auto points = Support::MakePoints<2, T>(Support::PointSet::Ball, 200, random);
                for (auto& p : points) {
                    p = {p[0] * scale + offset * scale * 10, p[1] * scale - offset * scale};
                }
                const auto hull = ConvexHull(points, false);
                ExpectHull(hull, points, turnedSets);
                if (this->HasFatalFailure()) {
                    return;
                }
            }
        }
    }
}

TYPED_TEST(PlaneHullOf, DentsOfRoundingAreTurnedAway)
{
    using T = TypeParam;
    // Points next to a long slanted line, in float by about its rounding: chains have dents there.
    Support::Random random(23);
    int turnedSets = 0;
    for (int trial = 0; trial < 2000; ++trial) {
        // Half of them steep, whose least end is another one after a turn.
        const double angle = random.Between(1.46, 1.56);
        const Vec2d direction = trial % 2 == 0 ? Vec2d(std::cos(angle), std::sin(angle))
                                               : Support::RandomDirection<2, double>(random);
        Points<T> points;
        for (int i = 0; i < 40; ++i) {
            const double along = random.Between(-1, 1);
            const double across = random.Between(-4, 4) * std::numeric_limits<T>::epsilon();
            points.push_back(VecBase<2, T>(direction * along + RightNormal(direction) * across));
        }
        const auto hull = ConvexHull(points, false);
        if (hull.size() < 3) {
            continue;
        }
        ExpectHull(hull, points, turnedSets);
        if (this->HasFatalFailure()) {
            return;
        }
    }
    EXPECT_GT(turnedSets, 0);
}

TYPED_TEST(PlaneHullOf, IsThatOfTheSlowTwinAndAfterTurnsUpToRounding)
{
    using T = TypeParam;
    Support::Random random(26);
    int turnedSets = 0;
    for (int trial = 0; trial < Support::Rounds(1500); ++trial) {
        SCOPED_TRACE(trial);
        Points<T> points;
        if (trial % 2 == 0) {
            const auto set = Support::kPointSets[trial / 2 % std::size(Support::kPointSets)];
            points = Support::MakePoints<2, T>(set, 4 + random.Below(trial % 20 == 0 ? 3000 : 60),
                                               random);
        } else {
            // Next to a slanted line by about the rounding: chains have dents there.
            const auto direction = Support::RandomDirection<2, double>(random);
            for (int i = 0; i < 40; ++i) {
                const double across = random.Between(-4, 4) * std::numeric_limits<T>::epsilon();
                points.push_back(VecBase<2, T>(direction * random.Between(-1, 1) +
                                               RightNormal(direction) * across));
            }
        }
        Points<T> unique = points;
        Vector::FilterForUniqueness(unique, kLengthFloor<T>);
        if (unique.size() < 4) {
            continue;
        }
        int turns = 0;
        const Points<T> plain = Support::PlainHull(points, turns);
        const Points<T> hull = ConvexHull(points, false);
        ASSERT_EQ(hull.size(), plain.size());
        turnedSets += turns > 0 ? 1 : 0;
        for (std::size_t i = 0; i < hull.size(); ++i) {
            const T off = static_cast<T>(4 * turns) * std::numeric_limits<T>::epsilon();
            ASSERT_LE(Vector::Length(hull[i] - plain[i]), off);
        }
    }
    EXPECT_GT(turnedSets, 0);
}

TYPED_TEST(PlaneHullOf, PointsThatAreNotFiniteEnd)
{
    using T = TypeParam;
    Support::Random random(24);
    for (const T bad : {std::numeric_limits<T>::quiet_NaN(), std::numeric_limits<T>::infinity(),
                        std::numeric_limits<T>::max()}) {
        for (const int count : {3, 4, 100, 30'000}) {
            auto points = Support::MakePoints<2, T>(Support::PointSet::Ball, count, random);
            points[1][0] = bad;
            points[static_cast<std::size_t>(count) / 2][1] = -bad;
            std::ignore = ConvexHull(points, false);
        }
    }
}

// --- merging
// --------------------------------------------------------------------------------------

TYPED_TEST(PlaneHullOf, MergeWithNothingIsACopy)
{
    using T = TypeParam;
    const Points<T> hull{{4, 0}, {4, 4}, {0, 0}};
    EXPECT_EQ(MergeConvexHulls(hull, Points<T>{}), hull);
    EXPECT_EQ(MergeConvexHulls(Points<T>{}, hull), hull);
    EXPECT_TRUE(MergeConvexHulls(Points<T>{}, Points<T>{}).empty());
}

TYPED_TEST(PlaneHullOf, MergeWithItself)
{
    using T = TypeParam;
    const Points<T> hull{{4, 1}, {2, 5}, {0, 0}}; // begins somewhere
    EXPECT_EQ(MergeConvexHulls(hull, hull), hull);
}

TYPED_TEST(PlaneHullOf, MergeOfTwoSquaresBeginsWithTheLeftOne)
{
    using T = TypeParam;
    const Points<T> left{{1, 0}, {1, 1}, {0, 1}, {0, 0}};
    const Points<T> right{{5, 0}, {6, 0}, {6, 1}, {5, 1}};
    // (1, 0) and (1, 1) are on edges now, so that the least vertex comes first.
    const Points<T> expected{{0, 0}, {6, 0}, {6, 1}, {0, 1}};
    EXPECT_EQ(MergeConvexHulls(left, right), expected);
    EXPECT_EQ(MergeConvexHulls(right, left), expected);
    const Points<T> leftFromTop{{0, 1}, {0, 0}, {1, 0}, {1, 1}};
    EXPECT_EQ(MergeConvexHulls(right, leftFromTop), (Points<T>{{0, 1}, {0, 0}, {6, 0}, {6, 1}}));
}

TYPED_TEST(PlaneHullOf, MergeOfPointsAndSegments)
{
    using T = TypeParam;
    EXPECT_EQ(MergeConvexHulls(Points<T>{{3, 1}}, Points<T>{{0, 0}}), (Points<T>{{0, 0}, {3, 1}}));
    EXPECT_EQ(MergeConvexHulls(Points<T>{{3, 1}}, Points<T>{{3, 1}}), (Points<T>{{3, 1}}));
    EXPECT_EQ(MergeConvexHulls(Points<T>{{0, 0}, {4, 0}}, Points<T>{{2, 3}}),
              (Points<T>{{0, 0}, {4, 0}, {2, 3}}));
}

TYPED_TEST(PlaneHullOf, MergeIsTheHullOfAllPoints)
{
    using T = TypeParam;
    Support::Random random(25);
    for (int trial = 0; trial < 1000; ++trial) {
        SCOPED_TRACE(trial);
        // Apart, overlapping, and one inside the other.
        const T apart = static_cast<T>(random.Between(0, 3));
        const T size = static_cast<T>(random.Between(0.05, 2));
        auto a = Support::MakePoints<2, T>(Support::PointSet::Ball, 4 + random.Below(60), random);
        auto b = Support::MakePoints<2, T>(Support::PointSet::Cube, 4 + random.Below(60), random);
        for (auto& p : b) {
            p = p * size;
            p[0] += apart;
        }
        auto merged = MergeConvexHulls(ConvexHull(a, false), ConvexHull(b, false));
        a.insert(a.end(), b.begin(), b.end());
        const auto expected = ConvexHull(a, false);
        // In strictly convex position up to rounding: the same vertices, wherever they begin.
        const auto least = std::min_element(merged.begin(), merged.end(), Less<T>);
        std::rotate(merged.begin(), least, merged.end());
        ASSERT_EQ(merged, expected);
    }
}

} // namespace
