// The search of segments near points, against brute force by the same rule.

#include "triangulation/SegmentSnap_Impl.h"

#include "tests/support/TestSupport.h"

#include <algorithm>

namespace {

using namespace Velk::Math;
using Sorvane::Mesh::Impl::NearestOnSegment;
using Sorvane::Mesh::Impl::NearestOnSegments;
using Segment = Geometry::SegBase<double>;
using ::Test::Random;

NearestOnSegment BruteForce(const std::vector<Segment>& segments, const Vec2d& p, double radius)
{
    NearestOnSegment best{p, -1};
    double least = 0;
    for (std::size_t i = 0; i < segments.size(); ++i) {
        double toBox = 0;
        for (int axis = 0; axis < 2; ++axis) {
            const double low = std::min(segments[i].start[axis], segments[i].end[axis]) - 1e-10;
            const double high = std::max(segments[i].start[axis], segments[i].end[axis]) + 1e-10;
            const double beyond = std::max({low - p[axis], p[axis] - high, 0.0});
            toBox += beyond * beyond;
        }
        const Vec2d d = segments[i].end - segments[i].start;
        const double t = d * d <= 1e-24 ? 0.0 : ((p - segments[i].start) * d) / (d * d);
        const Vec2d point = segments[i].start + std::clamp(t, 0.0, 1.0) * d;
        if (toBox < radius * radius && (best.segment < 0 || SquaredLength(point - p) < least)) {
            best = {point, static_cast<int>(i)};
            least = SquaredLength(point - p);
        }
    }
    return best;
}

TEST(SegmentSnap, AgreesWithBruteForce)
{
    Random random(6);
    for (int round = 0; round < 20; ++round) {
        std::vector<Segment> segments;
        const double spread = round % 2 == 0 ? 1.0 : 10.0;
        for (int i = random.Below(120); i >= 0; --i) {
            Vec2d start = random.Vector<2, double>(0, 10);
            Vec2d end = start + random.Vector<2, double>(-spread, spread);
            if (round % 4 == 3) { // a lattice brings ties
                start = {std::floor(start.x()), std::floor(start.y())};
                end = {std::floor(end.x()), std::floor(end.y())};
            }
            segments.push_back({start, end});
        }
        std::vector<Vec2d> points;
        for (int i = 0; i < 700; ++i) {
            const Vec2d p = random.Vector<2, double>(-1, 11);
            points.push_back(round % 4 == 3 ? Vec2d(std::floor(p.x()) + 0.5, std::floor(p.y()))
                                            : p);
        }
        for (const double radius : {0.5, 2.0, -0.5}) {
            const auto found = NearestOnSegments(segments, points, radius);
            for (std::size_t i = 0; i < points.size(); ++i) {
                const NearestOnSegment expected = BruteForce(segments, points[i], radius);
                ASSERT_EQ(found[i].segment, expected.segment);
                ASSERT_EQ(found[i].point, expected.point);
            }
        }
    }
}

TEST(SegmentSnap, ARadiusOfZeroFindsNothing)
{
    const auto found = NearestOnSegments({{{0, 0}, {1, 0}}}, {{0.5, 0}}, 0);
    EXPECT_EQ(found[0].segment, -1);
    EXPECT_EQ(found[0].point, Vec2d(0.5, 0));
}

TEST(SegmentSnap, OnlyTheBoxIsComparedWithTheRadius)
{
    const auto found = NearestOnSegments({{{0, 0}, {10, 10}}}, {{9, 1}}, 0.1);
    EXPECT_EQ(found[0].segment, 0);
    EXPECT_EQ(found[0].point, Vec2d(5, 5));
}

TEST(SegmentSnap, APointOfASegmentIsItsStart)
{
    const auto found = NearestOnSegments({{{1, 1}, {1, 1 + 1e-13}}}, {{1, 1.5}}, 1);
    EXPECT_EQ(found[0].point, Vec2d(1, 1));
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
            const auto found =
                NearestOnSegments({{start, end}}, {end + beyond, start - beyond}, 1e-4);
            ASSERT_EQ(found[0].point, end);
            ASSERT_EQ(found[1].point, start);
        }
    }
}

TEST(SegmentSnap, NoSegments)
{
    const auto found = NearestOnSegments({}, {{3, 4}}, 1);
    EXPECT_EQ(found[0].segment, -1);
    EXPECT_EQ(found[0].point, Vec2d(3, 4));
}

} // namespace
