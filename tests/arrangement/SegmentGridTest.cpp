// The grid of candidate pairs: none that meets is missing but for those in a common crowd, and the
// pairs looked at stay few for parallel lines and for very different sizes.

#include "arrangement/SegmentGrid_Impl.h"

#include "tests/support/Rounds.h"
#include "tests/support/TestSupport.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace {

using Velk::Math::kPi;
using Velk::Math::Vec2d;
using Velk::Math::Intersect::Impl::Crowd;
using Velk::Math::Intersect::Impl::PaddedSpan;
using Velk::Math::Intersect::Impl::SegmentGrid;

/// Least distance of two segments, by their ends unless they cross.
double SegmentDistance(const PaddedSpan& a, const PaddedSpan& b)
{
    const auto toSegment = [](const Vec2d& p, const PaddedSpan& s) {
        const Vec2d d = s.last - s.first;
        const double squared = d * d;
        const double t =
            squared > 0 ? std::fmin(1, std::fmax(0, ((p - s.first) * d) / squared)) : 0.0;
        return Length(p - (s.first + d * t));
    };
    const auto apart = [](const PaddedSpan& s, const Vec2d& p, const Vec2d& q) {
        const Vec2d d = s.last - s.first;
        return ((d ^ (p - s.first)) > 0) == ((d ^ (q - s.first)) > 0);
    };
    if (!apart(a, b.first, b.last) && !apart(b, a.first, a.last)) {
        return 0;
    }
    return std::fmin(std::fmin(toSegment(a.first, b), toSegment(a.last, b)),
                     std::fmin(toSegment(b.first, a), toSegment(b.last, a)));
}

void ExpectNoPairMissing(const std::vector<PaddedSpan>& spans)
{
    const int count = static_cast<int>(spans.size());
    const SegmentGrid grid(spans, count);
    std::vector<int> candidates;
    const auto areInOneCrowd = [&](int i, int j) {
        return std::any_of(grid.Crowds().begin(), grid.Crowds().end(), [&](const Crowd& crowd) {
            return std::binary_search(crowd.elements.begin(), crowd.elements.end(), i) &&
                   std::binary_search(crowd.elements.begin(), crowd.elements.end(), j);
        });
    };
    for (const Crowd& crowd : grid.Crowds()) {
        EXPECT_TRUE(std::is_sorted(crowd.elements.begin(), crowd.elements.end()));
    }
    for (int i = 0; i < count; ++i) {
        grid.Sharers(i, candidates);
        EXPECT_TRUE(std::is_sorted(candidates.begin(), candidates.end()));
        for (int j = i + 1; j < count; ++j) {
            const PaddedSpan& a = spans[static_cast<std::size_t>(i)];
            const PaddedSpan& b = spans[static_cast<std::size_t>(j)];
            if (SegmentDistance(a, b) <= a.padding + b.padding) {
                EXPECT_TRUE(std::binary_search(candidates.begin(), candidates.end(), j) ||
                            areInOneCrowd(i, j))
                    << i << " and " << j;
            }
        }
    }
}

TEST(SegmentGrid, MissesNoPairOfRandomSpans)
{
    Support::Random random(1);
    for (int trial = 0; trial < Support::Rounds(60); ++trial) {
        SCOPED_TRACE(trial);
        std::vector<PaddedSpan> spans;
        const double decades = trial % 6;
        for (int i = 0; i < 250; ++i) {
            const double scale = std::pow(10.0, -decades * random.Unit());
            const Vec2d p = random.Vector<2, double>(-1, 1) * (i % 3 == 0 ? scale : 1.0);
            Vec2d d = random.Vector<2, double>(-scale, scale);
            if (i % 5 == 0) {
                d[i % 2] = 0; // along an axis
            }
            spans.push_back({p, p + d, 0.01 * scale * random.Unit(), i});
        }
        ExpectNoPairMissing(spans);
    }
}

TEST(SegmentGrid, MissesNoPairOfPoints)
{
    Support::Random random(2);
    std::vector<PaddedSpan> spans;
    for (int i = 0; i < 400; ++i) {
        const Vec2d p(random.Below(12), random.Below(12));
        spans.push_back({p, p, 0, i});
    }
    ExpectNoPairMissing(spans);
    for (PaddedSpan& span : spans) {
        span.first = span.last = Vec2d(3, 3);
    }
    ExpectNoPairMissing(spans);
}

TEST(SegmentGrid, EmptyHasNoCandidates)
{
    const SegmentGrid grid({}, 3);
    std::vector<int> candidates{7};
    grid.Sharers(1, candidates);
    EXPECT_TRUE(candidates.empty());
    EXPECT_EQ(grid.PairCount(), 0);
}

/// Parallel lines right across a square, as far apart as the square is wide over their number.
std::vector<PaddedSpan> Hatch(int count, double angle)
{
    const Vec2d along(std::cos(angle), std::sin(angle));
    const Vec2d across(-along.y(), along.x());
    std::vector<PaddedSpan> spans;
    for (int i = 0; i < count; ++i) {
        const Vec2d middle = across * (static_cast<double>(i) / count);
        spans.push_back({middle - along, middle + along, 1e-12, i});
    }
    return spans;
}

TEST(SegmentGrid, HatchInAnyDirectionStaysNearLinear)
{
    for (const double angle : {0.0, kPi<double> / 2, kPi<double> / 4, 0.3, 2.0}) {
        SCOPED_TRACE(angle);
        const int count = 10'000; // all pairs would be 5e7
        const SegmentGrid grid(Hatch(count, angle), count);
        EXPECT_LT(grid.PairCount(), 20LL * count);
        EXPECT_TRUE(grid.Crowds().empty());
    }
}

TEST(SegmentGrid, TinyOnesBesideGiantsStayNearLinear)
{
    // Ten spans of length 1e6 set the mean; 20 000 of length 1 crowd into a corner of a few cells.
    Support::Random random(4);
    std::vector<PaddedSpan> spans;
    for (int i = 0; i < 10; ++i) {
        spans.push_back(
            {random.Vector<2, double>(0, 1e6), random.Vector<2, double>(0, 1e6), 1e-9, i});
    }
    const int count = 20'000;
    for (int i = 10; i < count; ++i) {
        const Vec2d p = random.Vector<2, double>(0, 140);
        spans.push_back({p, p + random.Vector<2, double>(-0.5, 0.5), 1e-12, i});
    }
    EXPECT_LT(SegmentGrid(spans, count).PairCount(), 40LL * count);
}

} // namespace
