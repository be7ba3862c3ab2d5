// The search of segments near points, against brute force by the same rule.

#include "triangulation/SegmentSnap_Impl.h"

#include "tests/support/Rounds.h"
#include "tests/support/TestSupport.h"

#include <algorithm>
#include <cmath>

namespace {

using namespace Velk::Math;
using Sorvane::Mesh::Impl::NearestOnSegment;
using Sorvane::Mesh::Impl::NearestSegments;
using Segment = Geometry::SegBase<double>;
using Support::Random;

/// By the end that is nearer, or by the height over the segment where its foot is between the ends.
long double DistanceTo(const Segment& segment, const Vec2d& p)
{
    const auto distance = [&](const Vec2d& q) {
        return std::hypot(static_cast<long double>(p.x()) - q.x(),
                          static_cast<long double>(p.y()) - q.y());
    };
    const long double length =
        std::hypot(static_cast<long double>(segment.end.x()) - segment.start.x(),
                   static_cast<long double>(segment.end.y()) - segment.start.y());
    const long double toStart = distance(segment.start);
    const long double toEnd = distance(segment.end);
    const bool isBetween = toStart * toStart <= toEnd * toEnd + length * length &&
                           toEnd * toEnd <= toStart * toStart + length * length;
    if (length <= 1e-12L || !isBetween) {
        return length <= 1e-12L ? toStart : std::min(toStart, toEnd);
    }
    // The height of a triangle from its sides (Heron).
    const long double half = (toStart + toEnd + length) / 2;
    const long double squared = half * (half - toStart) * (half - toEnd) * (half - length);
    return 2 * std::sqrt(std::max(squared, 0.0L)) / length;
}

/// Does the segment's grown box come nearer than the radius? It is left open within rounding.
bool MayCount(const Segment& segment, const Vec2d& p, double radius, double slack)
{
    double squared = 0;
    for (int axis = 0; axis < 2; ++axis) {
        const auto [low, high] = std::minmax(segment.start[axis], segment.end[axis]);
        const double gap = std::max({low - 1e-10 - p[axis], p[axis] - high - 1e-10, 0.0});
        squared += gap * gap;
    }
    return std::sqrt(squared) < std::fabs(radius) + slack;
}

TEST(SegmentSnap, AgreesWithALookAtAllSegments)
{
    Random random(6);
    int found = 0;
    for (int round = 0; round < Support::Rounds(20); ++round) {
        std::vector<Segment> segments;
        const double spread = round % 2 == 0 ? 1.0 : 10.0;
        const bool onLattice = round % 4 == 3; // brings ties
        for (int i = random.Below(120); i >= 0; --i) {
            Vec2d start = random.Vector<2, double>(0, 10);
            Vec2d end = start + random.Vector<2, double>(-spread, spread);
            if (onLattice) {
                start = {std::floor(start.x()), std::floor(start.y())};
                end = {start.x() + std::floor(end.x() - start.x()), start.y()};
            }
            segments.push_back({start, end});
        }
        std::vector<Vec2d> points;
        for (int i = 0; i < 700; ++i) {
            const Vec2d p = random.Vector<2, double>(-1, 11);
            points.push_back(onLattice ? Vec2d(std::floor(p.x()) + 0.5, std::floor(p.y())) : p);
        }
        for (const double radius : {0.5, 2.0, -0.5}) {
            const std::vector<int> nearest = NearestSegments(segments, points, radius);
            for (std::size_t i = 0; i < points.size(); ++i) {
                // Distances on the lattice differ by much more than rounding, or not at all.
                long double least = 1e9L;
                int first = -1;
                for (std::size_t k = 0; k < segments.size(); ++k) {
                    const long double distance = DistanceTo(segments[k], points[i]);
                    if (MayCount(segments[k], points[i], radius, -1e-12) &&
                        distance < least - 1e-8L) {
                        least = distance;
                        first = static_cast<int>(k);
                    }
                }
                if (nearest[i] < 0) {
                    ASSERT_EQ(first, -1);
                    continue;
                }
                ++found;
                const Segment& segment = segments[static_cast<std::size_t>(nearest[i])];
                ASSERT_TRUE(MayCount(segment, points[i], radius, 1e-12));
                ASSERT_LE(DistanceTo(segment, points[i]), least + 1e-7L);
                ASSERT_NEAR(Length(NearestOnSegment(segment, points[i]) - points[i]),
                            static_cast<double>(DistanceTo(segment, points[i])), 1e-7);
                if (onLattice && MayCount(segment, points[i], radius, -1e-12)) {
                    ASSERT_EQ(nearest[i], first);
                }
            }
        }
    }
    EXPECT_GT(found, Support::Rounds(10000));
}

TEST(SegmentSnap, ARadiusOfZeroFindsNothing)
{
    EXPECT_EQ(NearestSegments({{{0, 0}, {1, 0}}}, {{0.5, 0}}, 0), std::vector<int>{-1});
}

TEST(SegmentSnap, OnlyTheBoxIsComparedWithTheRadius)
{
    EXPECT_EQ(NearestSegments({{{0, 0}, {10, 10}}}, {{9, 1}}, 0.1), std::vector<int>{0});
    EXPECT_EQ(NearestOnSegment({{0, 0}, {10, 10}}, {9, 1}), Vec2d(5, 5));
}

TEST(SegmentSnap, APointOfASegmentIsItsStart)
{
    EXPECT_EQ(NearestOnSegment({{1, 1}, {1, 1 + 1e-13}}, {1, 1.5}), Vec2d(1, 1));
}

// Beyond an end it is the end itself, to the bit: start + 1 * (end - start) misses it by more than
// the floor where coordinates are large.
TEST(SegmentSnap, BeyondAnEndItIsTheEndItself)
{
    Random random(61);
    for (const double size : {1.0, 1e5}) {
        for (int round = 0; round < 500; ++round) {
            const Vec2d start = random.Vector<2, double>(0, size);
            const Vec2d end = random.Vector<2, double>(0, size);
            const Vec2d beyond = (1e-6 / Length(end - start)) * (end - start);
            ASSERT_EQ(NearestOnSegment({start, end}, end + beyond), end);
            ASSERT_EQ(NearestOnSegment({start, end}, start - beyond), start);
        }
    }
}

// More than the list of candidates has room for, and all points in one place.
TEST(SegmentSnap, ManySegmentsAtOnePlace)
{
    std::vector<Segment> fan;
    for (int i = 0; i < 300; ++i) {
        fan.push_back({{0, 0}, {std::cos(0.02 * i), std::sin(0.02 * i)}});
    }
    const std::vector<Vec2d> points(50, Vec2d(0.5 * std::cos(1.0), 0.5 * std::sin(1.0)));
    for (const int segment : NearestSegments(fan, points, 0.01)) {
        EXPECT_EQ(segment, 50);
    }
}

TEST(SegmentSnap, NothingToSearch)
{
    EXPECT_EQ(NearestSegments({}, {{3, 4}}, 1), std::vector<int>{-1});
    EXPECT_TRUE(NearestSegments({{{0, 0}, {1, 1}}}, {}, 1).empty());
}

} // namespace
