// Segments that overlap on one line in great numbers: as few stretches as there are, the pieces of
// cutting all of them with all, and hands off where that could be otherwise.

#include "arrangement/OverlapsOnLines_Impl.h"

#include "tests/support/TestSupport.h"

#include <Velk/Math/Intersect_E.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <set>
#include <utility>
#include <vector>

namespace {

using Support::Random;
using Velk::Math::Vec2d;
using Velk::Math::Geometry::SegBase;
using Velk::Math::Intersect::CutAtIntersections;
using namespace Velk::Math::Intersect::Impl;
using Segments = std::vector<SegBase<double>>;

constexpr double kTolerance = 1e-12;
const std::vector<Vec2d> kDirections{{1, 0}, {0, 1}, {1, 1}, {-1, 1}, {2, 1}, {-1, 3}};

/// A segment on the line through `origin` along `direction`, between two places on it.
SegBase<double> On(const Vec2d& origin, const Vec2d& direction, double from, double to)
{
    return {origin + direction * from, origin + direction * to};
}

/// `count` segments of which each lies within the next.
Segments Nested(const Vec2d& origin, const Vec2d& direction, int count)
{
    Segments segments;
    for (int i = 0; i < count; ++i) {
        const double reach = i + 1;
        segments.push_back(i % 2 == 0 ? On(origin, direction, -reach, reach)
                                      : On(origin, direction, reach, -reach));
    }
    return segments;
}

using Ends = std::pair<std::pair<double, double>, std::pair<double, double>>;

/// The segments without those that repeat an earlier one, in whatever direction.
Segments WithoutRepetitions(const Segments& segments)
{
    std::set<Ends> known;
    Segments result;
    for (const auto& segment : segments) {
        const std::pair a(segment.start.x(), segment.start.y());
        const std::pair b(segment.end.x(), segment.end.y());
        if (known.insert(a < b ? Ends(a, b) : Ends(b, a)).second) {
            result.push_back(segment);
        }
    }
    return result;
}

/// Expects that the short way is taken and gives what cutting all with all does.
void ExpectSameAsCuttingAll(const Segments& segments)
{
    const auto cut = CutOverlapsOnLines(segments, kTolerance);
    ASSERT_TRUE(cut.has_value());
    Segments all = segments;
    CutAtIntersections(all, kTolerance);
    EXPECT_EQ(WithoutRepetitions(cut->pieces), WithoutRepetitions(all));
}

// The pieces of all of them would be 400 million.
TEST(OverlapsOnLines, NestedSegmentsMakeOneStretchBetweenNeighboringEnds)
{
    constexpr int kCount = 20'000;
    for (const Vec2d& direction : kDirections) {
        const auto cut = CutOverlapsOnLines(Nested({5, -7}, direction, kCount), kTolerance);
        ASSERT_TRUE(cut.has_value());
        ASSERT_EQ(cut->bundles.size(), 1U);
        EXPECT_EQ(cut->bundles.front().members.size(), std::size_t{kCount});
        EXPECT_EQ(cut->elements.size(), std::size_t{2 * kCount - 1});
        EXPECT_EQ(cut->pieces.size(), std::size_t{2 * kCount - 1});
        EXPECT_EQ(WithoutRepetitions(cut->pieces).size(), cut->pieces.size());
    }
}

TEST(OverlapsOnLines, SamePiecesAsCuttingAll)
{
    Random random(90);
    for (int round = 0; round < 120; ++round) {
        SCOPED_TRACE(round);
        const Vec2d& direction = kDirections[static_cast<std::size_t>(round) % kDirections.size()];
        const Vec2d across(-direction.y(), direction.x());
        const Vec2d origin = round % 3 == 0 ? Vec2d(1e6, -1e6) : Vec2d(3, 4);
        Segments segments;
        for (int i = 0; i < 40; ++i) {
            // Multiples of a power of two stay exactly on their lines. A few ends are repeated.
            // From a point what rises would stand on a place of its own: that is handed off.
            const int place = random.Below(4000);
            const double from = place * 0.125;
            const double to = (place + 1 + random.Below(3999)) % 4000 * 0.125;
            segments.push_back(On(origin, direction, from, to));
            segments.push_back(On(origin + across * 2048, direction, to, from));
            // What rises from an end, alone or to the other line, and what runs on from there.
            segments.push_back(On(origin + direction * from, across, 0, 1 + random.Below(900)));
            segments.push_back(On(origin + direction * to, across, -2, 0));
            if (i % 8 == 0) {
                segments.push_back(On(origin + direction * from, across, -1.5, 1.5));
                segments.push_back({origin + direction * from, origin + direction * from});
                segments.push_back(segments[segments.size() / 2]);
            }
        }
        ExpectSameAsCuttingAll(segments);
    }
}

// One with a place of its own on the line, one that nearly shares an end, one that passes an end
// flatly, one that runs along the line a little aslant.
TEST(OverlapsOnLines, HandsOffWhereItMattersWhoseAStretchIs)
{
    const Segments bundle = Nested({0, 0}, {1, 0}, 60);
    EXPECT_TRUE(CutOverlapsOnLines(bundle, kTolerance).has_value());
    const auto isRefused = [&](const SegBase<double>& other) {
        Segments segments = bundle;
        segments.push_back(other);
        return !CutOverlapsOnLines(segments, kTolerance).has_value();
    };
    EXPECT_TRUE(isRefused({{3.5, -1}, {3.5, 1}}));
    EXPECT_TRUE(isRefused({{3.5, 0}, {3.5, 1}}));
    EXPECT_TRUE(isRefused({{3.5, 0}, {3.5, 0}}));
    EXPECT_TRUE(isRefused({{3 + 2e-12, 0}, {3.5, 1}}));
    EXPECT_TRUE(isRefused({{-7, -1}, {13, 1}}));
    EXPECT_TRUE(isRefused({{-90, -1e-13}, {90, 1e-13}}));
    EXPECT_FALSE(isRefused({{2, -1}, {4, 1}}));
    EXPECT_FALSE(isRefused({{3, 0}, {3.5, 1}}));
    EXPECT_FALSE(isRefused({{3, 1}, {3.5, 1}}));
}

TEST(OverlapsOnLines, FewOverlapsAreNone)
{
    EXPECT_FALSE(CutOverlapsOnLines({}, kTolerance).has_value());
    EXPECT_FALSE(CutOverlapsOnLines(Nested({0, 0}, {1, 0}, 1), kTolerance).has_value());
    EXPECT_FALSE(CutOverlapsOnLines(Nested({0, 0}, {1, 0}, 5), kTolerance).has_value());
    // Any number of equal ones, of points, and end to end.
    EXPECT_FALSE(CutOverlapsOnLines(Segments(500, {{0, 0}, {1, 0}}), kTolerance).has_value());
    EXPECT_FALSE(CutOverlapsOnLines(Segments(500, {{1, 1}, {1, 1}}), kTolerance).has_value());
    Segments row;
    Segments parallels;
    for (int i = 0; i < 500; ++i) {
        row.push_back(On({0, 0}, {1, 2}, i, i + 1));
        parallels.push_back(On({0.0, 1.0 * i}, {1, 2}, 0, 100));
    }
    EXPECT_FALSE(CutOverlapsOnLines(row, kTolerance).has_value());
    EXPECT_FALSE(CutOverlapsOnLines(parallels, kTolerance).has_value());
}

// Lines of one slope, one of them crowded, and a crowd on a second line far away.
TEST(OverlapsOnLines, EachLineIsABundleOfItsOwn)
{
    Segments segments = Nested({0, 0}, {2, 1}, 50);
    const Segments far = Nested({1e6, 2e6}, {2, 1}, 70);
    segments.insert(segments.end(), far.begin(), far.end());
    for (int i = 1; i < 30; ++i) {
        segments.push_back(On({0.0, 3.0 * i}, {2, 1}, -50, 50));
    }
    const auto cut = CutOverlapsOnLines(segments, kTolerance);
    ASSERT_TRUE(cut.has_value());
    ASSERT_EQ(cut->bundles.size(), 2U);
    std::vector<std::size_t> sizes{cut->bundles[0].members.size(), cut->bundles[1].members.size()};
    std::sort(sizes.begin(), sizes.end());
    EXPECT_EQ(sizes, (std::vector<std::size_t>{50, 70}));
    EXPECT_EQ(cut->elements.size(), 99U + 139U + 29U);
}

} // namespace
