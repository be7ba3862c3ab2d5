// The search for the nearest boundary segment of another component gives the minimum of a plain
// loop over all segments, to the last bit, and that is their distance.

#include "meshreport/BoundaryTree_Impl.h"

#include "tests/support/Rounds.h"
#include "tests/support/TestSupport.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <vector>

namespace {

using namespace Velk::Math;
using Sorvane::MeshUtils::Impl::BoundarySegment;
using Sorvane::MeshUtils::Impl::BoundaryTree;
using Support::Random;

constexpr double kMax = std::numeric_limits<double>::max();
constexpr double kAll = -1; // no distance is enough

using Wide = long double;
using WideVec = std::array<Wide, 3>;

WideVec Minus(const Vec3d& p, const Vec3d& q)
{
    return {Wide(p[0]) - q[0], Wide(p[1]) - q[1], Wide(p[2]) - q[2]};
}

Wide Dot(const WideVec& u, const WideVec& v) { return u[0] * v[0] + u[1] * v[1] + u[2] * v[2]; }

WideVec Cross(const WideVec& u, const WideVec& v)
{
    return {u[1] * v[2] - u[2] * v[1], u[2] * v[0] - u[0] * v[2], u[0] * v[1] - u[1] * v[0]};
}

/// Squared distance from the angles at the ends: beyond an obtuse one that end is nearest, between
/// them the area of the parallelogram over the length tells the height. A segment no longer than
/// 1e-12 is its start.
Wide SquaredDistanceByAngles(const BoundarySegment& s, const Vec3d& point)
{
    const WideVec along = Minus(s.b, s.a);
    const WideVec fromStart = Minus(point, s.a);
    const WideVec fromEnd = Minus(point, s.b);
    if (std::sqrt(Dot(along, along)) <= 1e-12L || Dot(along, fromStart) <= 0) {
        return Dot(fromStart, fromStart);
    }
    if (Dot(along, fromEnd) >= 0) {
        return Dot(fromEnd, fromEnd);
    }
    const WideVec area = Cross(along, fromStart);
    return Dot(area, area) / Dot(along, along);
}

bool AreFinite(const BoundarySegment& s)
{
    for (int axis = 0; axis < 3; ++axis) {
        if (!std::isfinite(s.a[axis]) || !std::isfinite(s.b[axis])) {
            return false;
        }
    }
    return true;
}

/// Of a tree of this one segment, where nothing is searched.
double DistanceAlone(const BoundaryTree& tree, const Vec3d& point, int component)
{
    std::size_t hint = 0;
    return tree.SquaredDistanceToOthers(point, component, kAll, hint);
}

/// For points of which each asks for another component in turn: the least of the distances that the
/// segments have one by one, to the bit, and the least by the angles, but for rounding.
void ExpectMinimaOfTheLoop(const std::vector<BoundarySegment>& segments, int componentCount,
                           const std::vector<Vec3d>& points)
{
    const BoundaryTree tree(segments);
    std::vector<BoundaryTree> alone;
    alone.reserve(segments.size());
    for (const BoundarySegment& s : segments) {
        alone.emplace_back(std::vector<BoundarySegment>{s});
    }
    std::size_t hint = 0;
    for (std::size_t i = 0; i < points.size(); ++i) {
        const Vec3d& point = points[i];
        const int component = static_cast<int>(i) % (componentCount + 1);
        double least = kMax;
        Wide leastByAngles = kMax;
        double largest = 0;
        for (const double x : point) {
            largest = std::max(largest, std::fabs(x));
        }
        for (std::size_t s = 0; s < segments.size(); ++s) {
            if (segments[s].component == component || !AreFinite(segments[s])) {
                continue;
            }
            least = std::min(least, DistanceAlone(alone[s], point, component));
            leastByAngles = std::min(leastByAngles, SquaredDistanceByAngles(segments[s], point));
            for (int axis = 0; axis < 3; ++axis) {
                largest = std::max(
                    {largest, std::fabs(segments[s].a[axis]), std::fabs(segments[s].b[axis])});
            }
        }
        ASSERT_EQ(tree.SquaredDistanceToOthers(point, component, kAll, hint), least) << i;
        if (largest < 1e150) { // squares of larger ones overflow, in `double`
            const Wide rounding = 32 * std::numeric_limits<double>::epsilon() * Wide(largest);
            const Wide allowed = rounding * (2 * std::sqrt(leastByAngles) + rounding) +
                                 8 * std::numeric_limits<double>::min();
            ASSERT_LE(std::fabs(least - leastByAngles), allowed) << i;
        }
        // A search that may end early ends with something that is enough, or with the minimum.
        const double enough = least * (i % 2 == 0 ? 1.5 : 0.5);
        const double found = tree.SquaredDistanceToOthers(point, component, enough, hint);
        ASSERT_TRUE(found == least || (found > least && found <= enough)) << i;
    }
}

TEST(BoundaryTree, WithoutSegmentsThereIsNone)
{
    std::size_t hint = 0;
    EXPECT_EQ(BoundaryTree({}).SquaredDistanceToOthers({1, 2, 3}, 0, kAll, hint), kMax);
    EXPECT_EQ(hint, 0U);
}

TEST(BoundaryTree, OwnComponentAloneIsNone)
{
    std::vector<BoundarySegment> segments(100, BoundarySegment{{0, 0, 0}, {1, 0, 0}, 7});
    const BoundaryTree tree(segments);
    std::size_t hint = 0;
    EXPECT_EQ(tree.SquaredDistanceToOthers({0, 1, 0}, 7, kAll, hint), kMax);
    EXPECT_EQ(tree.SquaredDistanceToOthers({0, 1, 0}, 6, kAll, hint), 1);
}

TEST(BoundaryTree, RandomSegmentsNearAndFarFromTheOrigin)
{
    Random random(51);
    for (int trial = 0; trial < Support::Rounds(60); ++trial) {
        SCOPED_TRACE(trial);
        const int count = 1 + random.Below(300);
        const int componentCount = 1 + random.Below(trial % 2 == 0 ? 3 : 100);
        const Vec3d offset = random.Vector<3, double>(-1, 1) * (trial % 5 == 0 ? 1e9 : 1.0);
        const double length = trial % 3 == 0 ? 2 : 0.02;
        std::vector<BoundarySegment> segments;
        for (int i = 0; i < count; ++i) {
            const Vec3d a = offset + random.Vector<3, double>(-1, 1);
            segments.push_back(
                {a, a + random.Vector<3, double>(-length, length), random.Below(componentCount)});
        }
        std::vector<Vec3d> points;
        for (int i = 0; i < 100; ++i) {
            points.push_back(offset + random.Vector<3, double>(-3, 3));
        }
        for (const BoundarySegment& s : segments) {
            points.push_back(s.b); // on segments, where boxes are tightest
        }
        ExpectMinimaOfTheLoop(segments, componentCount, points);
    }
}

TEST(BoundaryTree, AxisParallelLatticeWithManyTies)
{
    Random random(52);
    std::vector<BoundarySegment> segments;
    std::vector<Vec3d> points;
    for (int i = 0; i < 400; ++i) {
        const Vec3d a(random.Below(6), random.Below(6), random.Below(2));
        Vec3d b = a;
        b[random.Below(3)] += random.Below(3) * 0.1; // also of no length
        segments.push_back({a, b, random.Below(4)});
        points.push_back(Vec3d(random.Below(7), random.Below(7), random.Below(3)) * 0.9);
    }
    ExpectMinimaOfTheLoop(segments, 4, points);
}

TEST(BoundaryTree, ExtremeCoordinates)
{
    Random random(53);
    for (const double scale : {1e-160, 1e-300, 5e-324, 1e100, 1e153, 1e200, 1e308}) {
        SCOPED_TRACE(scale);
        std::vector<BoundarySegment> segments;
        std::vector<Vec3d> points;
        for (int i = 0; i < 60; ++i) {
            segments.push_back({random.Vector<3, double>(-1, 1) * scale,
                                random.Vector<3, double>(-1, 1) * scale, random.Below(3)});
            points.push_back(random.Vector<3, double>(-1, 1) * scale);
            points.push_back(random.Vector<3, double>(-1, 1));
        }
        ExpectMinimaOfTheLoop(segments, 3, points);
    }
}

TEST(BoundaryTree, ValuesThatAreNotFinite)
{
    constexpr double kBad[] = {std::numeric_limits<double>::quiet_NaN(),
                               std::numeric_limits<double>::infinity(),
                               -std::numeric_limits<double>::infinity(), kMax};
    Random random(54);
    std::vector<BoundarySegment> segments;
    std::vector<Vec3d> points;
    for (int i = 0; i < 300; ++i) {
        segments.push_back(
            {random.Vector<3, double>(-1, 1), random.Vector<3, double>(-1, 1), random.Below(3)});
        points.push_back(random.Vector<3, double>(-1, 1));
        if (random.Below(2) == 0) {
            Vec3d& spoilt = random.Below(2) == 0 ? segments.back().a : segments.back().b;
            spoilt[random.Below(3)] = kBad[random.Below(4)];
        }
        if (random.Below(4) == 0) {
            points.back()[random.Below(3)] = kBad[random.Below(4)];
        }
    }
    ExpectMinimaOfTheLoop(segments, 3, points);
}

} // namespace
