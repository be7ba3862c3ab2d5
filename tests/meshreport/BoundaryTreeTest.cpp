// The search for the nearest boundary segment of another piece gives the minimum of a plain loop
// over all segments, to the last bit.

#include "mathbase/SegmentPoint_Impl.h"
#include "meshreport/BoundaryTree_Impl.h"

#include "tests/support/TestSupport.h"

#include <limits>

namespace {

using namespace Velk::Math;
using Sorvane::MeshUtils::Impl::BoundarySegment;
using Sorvane::MeshUtils::Impl::BoundaryTree;
using ::Test::Random;

constexpr double kMax = std::numeric_limits<double>::max();
constexpr double kAll = -1; // no distance is enough

double LeastByLoop(const std::vector<BoundarySegment>& segments, const Vec3d& point, int piece)
{
    double least = kMax;
    for (const BoundarySegment& s : segments) {
        const Vec3d sum = s.a - s.a + (s.b - s.b); // not a number if a coordinate is not finite
        if (s.piece != piece && sum == Vec3d()) {
            const double squared =
                Impl::SquaredDistanceToSegment(s.a, s.b, point, Impl::kShortByFloor<double>);
            if (squared < least) {
                least = squared;
            }
        }
    }
    return least;
}

void ExpectMinimaOfTheLoop(const std::vector<BoundarySegment>& segments, int pieceCount,
                           const std::vector<Vec3d>& points)
{
    const BoundaryTree tree(segments);
    std::size_t hint = 0;
    for (std::size_t i = 0; i < points.size(); ++i) {
        const int piece = static_cast<int>(i) % (pieceCount + 1);
        const double least = LeastByLoop(segments, points[i], piece);
        ASSERT_EQ(tree.SquaredDistanceToOthers(points[i], piece, kAll, hint), least) << i;
        // A search that may end early ends with something that is enough, or with the minimum.
        const double enough = least * (i % 2 == 0 ? 1.5 : 0.5);
        const double found = tree.SquaredDistanceToOthers(points[i], piece, enough, hint);
        ASSERT_TRUE(found == least || (found > least && found <= enough)) << i;
    }
}

TEST(BoundaryTree, WithoutSegmentsThereIsNone)
{
    std::size_t hint = 0;
    EXPECT_EQ(BoundaryTree({}).SquaredDistanceToOthers({1, 2, 3}, 0, kAll, hint), kMax);
    EXPECT_EQ(hint, 0U);
}

TEST(BoundaryTree, OwnPieceAloneIsNone)
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
    for (int trial = 0; trial < 60; ++trial) {
        SCOPED_TRACE(trial);
        const int count = 1 + random.Below(300);
        const int pieceCount = 1 + random.Below(trial % 2 == 0 ? 3 : 100);
        const Vec3d offset = random.Vector<3, double>(-1, 1) * (trial % 5 == 0 ? 1e9 : 1.0);
        const double length = trial % 3 == 0 ? 2 : 0.02;
        std::vector<BoundarySegment> segments;
        for (int i = 0; i < count; ++i) {
            const Vec3d a = offset + random.Vector<3, double>(-1, 1);
            segments.push_back(
                {a, a + random.Vector<3, double>(-length, length), random.Below(pieceCount)});
        }
        std::vector<Vec3d> points;
        for (int i = 0; i < 100; ++i) {
            points.push_back(offset + random.Vector<3, double>(-3, 3));
        }
        for (const BoundarySegment& s : segments) {
            points.push_back(s.b); // on segments, where boxes are tightest
        }
        ExpectMinimaOfTheLoop(segments, pieceCount, points);
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
