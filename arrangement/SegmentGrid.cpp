// The grid of candidate pairs: rasterize, split what is crowded, collect the buckets.

#include "arrangement/SegmentGrid_Impl.h"

#include "mathbase/Buckets_Impl.h"
#include "mathbase/Parallel_Impl.h"
#include "mathbase/Progress_Impl.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <limits>
#include <span>

namespace Velk::Math::Intersect::Impl {
namespace {

using Spans = std::vector<PaddedSpan>;

/// Spans that a bucket may hold before splitting it is tried: testing a few dozen pairs costs less.
constexpr std::size_t kCrowded = 12;
/// A split must leave at most this share of the pairs, or it is not worth its copies. For a large
/// crowd the copies add up over many splits, and there is another way to tell its pairs apart.
constexpr double kWorthwhileShare = 0.8;
constexpr double kWorthwhileShareOfMany = 0.6;
constexpr std::size_t kMany = 64;
constexpr int kDeepestSplit = 40;

/// Grows paddings and cells a little, so that no rounding separates what touches.
constexpr double kSlack = 1e-6;

struct Grid {
    Vec2d corner;
    double cell = 1;
    double perCell = 1; // 1 / cell
    int columns = 1;
    int rows = 1;

    /// Rounding moves a border between cells by less than the slack that paddings have.
    int Clamped(double offset, int count) const
    {
        const double number = offset * perCell;
        return number > 0 ? static_cast<int>(std::min(number, static_cast<double>(count - 1))) : 0;
    }
    int Column(double x) const { return Clamped(x - corner.x(), columns); }
    int Row(double y) const { return Clamped(y - corner.y(), rows); }
};

/// Cells for each span. Spans often lie along curves, which leave most cells empty.
constexpr double kCellsPerSpan = 4;

/// Cells as large as the mean extent, so that the spans enter O(n) of them in all, and no more
/// cells than a few for each span.
Grid GridFor(const Spans& spans)
{
    constexpr double kInfinity = std::numeric_limits<double>::infinity();
    Vec2d low(kInfinity, kInfinity);
    Vec2d high(-kInfinity, -kInfinity);
    const auto count = static_cast<double>(spans.size());
    double meanExtent = 0;
    for (const PaddedSpan& span : spans) {
        for (int axis = 0; axis < 2; ++axis) {
            const auto [least, most] = std::minmax(span.first[axis], span.last[axis]);
            low[axis] = std::min(low[axis], least - span.padding);
            high[axis] = std::max(high[axis], most + span.padding);
            meanExtent += (most - least + 2 * span.padding) / count;
        }
    }
    Grid grid;
    const double width = high.x() - low.x();
    const double height = high.y() - low.y();
    grid.corner = low;
    const double most = std::min(kCellsPerSpan * count, 1e9); // they are counted in int
    grid.cell = std::max({meanExtent, std::sqrt(width / most) * std::sqrt(height),
                          std::max(width, height) / most, std::numeric_limits<double>::min()});
    grid.perCell = 1 / grid.cell;
    grid.columns = static_cast<int>(std::min(width / grid.cell, most)) + 1;
    grid.rows = static_cast<int>(std::min(height / grid.cell, most)) + 1;
    return grid;
}

/// Calls visit(cell number) for each cell that the padded span passes.
template <class Visit>
void VisitCells(const Grid& grid, const PaddedSpan& span, Visit&& visit)
{
    const bool leftToRight = span.first.x() <= span.last.x();
    const Vec2d& left = leftToRight ? span.first : span.last;
    const Vec2d& right = leftToRight ? span.last : span.first;
    const double padding = span.padding + kSlack * grid.cell;
    const Vec2d along = right - left;
    const int firstColumn = grid.Column(left.x() - padding);
    const int lastColumn = grid.Column(right.x() + padding);
    for (int column = firstColumn; column <= lastColumn; ++column) {
        double from = left.y();
        double to = right.y();
        if (firstColumn != lastColumn && along.x() > 0) {
            // The stretch over this column; the outermost columns also hold what lies beyond the
            // grid.
            const double columnLeft = grid.corner.x() + column * grid.cell - padding;
            const double columnRight = columnLeft + grid.cell + 2 * padding;
            const double slope = along.y() / along.x();
            if (column > firstColumn && columnLeft > left.x()) {
                from = left.y() + slope * (columnLeft - left.x());
            }
            if (column < lastColumn && columnRight < right.x()) {
                to = left.y() + slope * (columnRight - left.x());
            }
        }
        const auto [low, high] = std::minmax(from, to);
        const int lastRow = grid.Row(high + padding);
        for (int row = grid.Row(low - padding); row <= lastRow; ++row) {
            visit(static_cast<std::size_t>(row) * static_cast<std::size_t>(grid.columns) +
                  static_cast<std::size_t>(column));
        }
    }
}

/// Cuts off what lies farther along `axis` (or, with sense -1, against it) than the padded `limit`.
void Clip(PaddedSpan& span, const Vec2d& axis, double limit, double sense)
{
    const double bound = sense * limit + span.padding;
    const double first = sense * (axis * span.first);
    const double last = sense * (axis * span.last);
    if (first > bound && last < bound) {
        span.first = span.last + (span.first - span.last) * ((bound - last) / (first - last));
    } else if (last > bound && first < bound) {
        span.last = span.first + (span.last - span.first) * ((bound - first) / (last - first));
    }
}

/// The cell, a little enlarged.
Region RegionOfCell(const Grid& grid, std::size_t cell)
{
    const auto columns = static_cast<std::size_t>(grid.columns);
    const Vec2d corner = grid.corner + grid.cell * Vec2d(cell % columns, cell / columns);
    const Vec2d slack(kSlack * grid.cell, kSlack * grid.cell);
    return {corner - slack, corner + Vec2d(grid.cell, grid.cell) + slack};
}

Spans ClippedTo(const Region& region, const Spans& spans, std::span<const int> numbers)
{
    Spans clipped;
    clipped.reserve(numbers.size());
    for (const int number : numbers) {
        PaddedSpan span = spans[static_cast<std::size_t>(number)];
        for (int axis = 0; axis < 2; ++axis) {
            const Vec2d unit(axis == 0 ? 1 : 0, axis == 0 ? 0 : 1);
            Clip(span, unit, region.max[axis], 1);
            Clip(span, unit, region.min[axis], -1);
        }
        clipped.push_back(span);
    }
    return clipped;
}

/// Normal of the direction in which the spans run on the whole, opposite directions being alike:
/// the mean of the doubled angles, weighted by length.
Vec2d AcrossBundle(const Spans& spans)
{
    double cosine = 0;
    double sine = 0;
    for (const PaddedSpan& span : spans) {
        const Vec2d along = span.last - span.first;
        const double length = Vector::Length(along);
        if (length > 0) {
            const Vec2d unit = along * (1 / length);
            cosine += length * (unit.x() * unit.x() - unit.y() * unit.y());
            sine += length * (2 * unit.x() * unit.y());
        }
    }
    const double angle = 0.5 * std::atan2(sine, cosine);
    return {-std::sin(angle), std::cos(angle)};
}

struct Split {
    Vec2d axis;
    double place = 0;
    double pairs = std::numeric_limits<double>::infinity();
};

/// The split across `axis` at the median of the middles, and the pairs that it leaves (doubled).
Split SplitAcross(const Spans& spans, const Vec2d& axis, std::vector<double>& middles)
{
    middles.clear();
    Progress::Impl::Steps steps;
    for (const PaddedSpan& span : spans) {
        steps.Next();
        middles.push_back(0.5 * (axis * span.first) + 0.5 * (axis * span.last));
    }
    const auto median = middles.begin() + static_cast<std::ptrdiff_t>(middles.size() / 2);
    std::nth_element(middles.begin(), median, middles.end());
    Split split{axis, *median};
    double below = 0;
    double above = 0;
    for (const PaddedSpan& span : spans) {
        steps.Next();
        const auto [least, most] = std::minmax({axis * span.first, axis * span.last});
        below += least - span.padding <= split.place ? 1 : 0;
        above += most + span.padding >= split.place ? 1 : 0;
    }
    split.pairs = below * below + above * above;
    return split;
}

/// What the splitting of a cell leaves: buckets, as a run of elements and its length each, and
/// crowds.
struct Leaves {
    std::vector<int> members;
    std::vector<int> lengths;
    std::vector<Crowd> crowds;

    void Add(const Spans& spans, const Region& region)
    {
        std::vector<int> elements;
        elements.reserve(spans.size());
        for (const PaddedSpan& span : spans) {
            elements.push_back(span.element);
        }
        // Spans come in the order of their elements.
        elements.erase(std::unique(elements.begin(), elements.end()), elements.end());
        if (elements.size() > kMany) {
            crowds.push_back({std::move(elements), region});
            return;
        }
        members.insert(members.end(), elements.begin(), elements.end());
        lengths.push_back(static_cast<int>(elements.size()));
    }
};

/// Splits the spans until they are few or no split helps. The depth bounds the recursion.
/// `region`: where the spans have been clipped to, but for slanted splits.
void SplitCrowd(Spans spans, const Region& region, int depth, Leaves& leaves)
{
    const auto count = static_cast<double>(spans.size());
    Split best;
    if (spans.size() > kCrowded && depth < kDeepestSplit) {
        std::vector<double> middles;
        middles.reserve(spans.size());
        for (const Vec2d& axis : {Vec2d(1, 0), Vec2d(0, 1), AcrossBundle(spans)}) {
            Progress::Impl::Check();
            const Split split = SplitAcross(spans, axis, middles);
            best = split.pairs < best.pairs ? split : best;
        }
    }
    const double share = spans.size() > kMany ? kWorthwhileShareOfMany : kWorthwhileShare;
    if (!(best.pairs <= share * count * count)) {
        leaves.Add(spans, region);
        return;
    }
    Spans below;
    Spans above;
    Progress::Impl::Steps steps;
    for (const PaddedSpan& span : spans) {
        steps.Next();
        const auto [least, most] = std::minmax({best.axis * span.first, best.axis * span.last});
        if (least - span.padding <= best.place) {
            below.push_back(span);
            Clip(below.back(), best.axis, best.place, 1);
        }
        if (most + span.padding >= best.place) {
            above.push_back(span);
            Clip(above.back(), best.axis, best.place, -1);
        }
    }
    Spans().swap(spans); // the two sides hold it all
    Region regionBelow = region;
    Region regionAbove = region;
    for (int axis = 0; axis < 2; ++axis) {
        if (best.axis[axis] == 1) {
            regionBelow.max[axis] = best.place;
            regionAbove.min[axis] = best.place;
        }
    }
    SplitCrowd(std::move(below), regionBelow, depth + 1, leaves);
    SplitCrowd(std::move(above), regionAbove, depth + 1, leaves);
}

/// The numbers of the spans that pass each cell.
using Cells = Math::Impl::Buckets<int>;

Cells Rasterize(const Spans& spans, const Grid& grid)
{
    const std::size_t cellCount =
        static_cast<std::size_t>(grid.columns) * static_cast<std::size_t>(grid.rows);
    // Sorting into buckets goes over everything twice.
    struct Entry {
        std::size_t cell;
        int number;
    };
    std::vector<Entry> entries;
    entries.reserve(2 * spans.size());
    for (std::size_t number = 0; number < spans.size(); ++number) {
        Progress::Impl::CheckStep(number);
        VisitCells(grid, spans[number], [&](std::size_t cell) {
            entries.push_back({cell, static_cast<int>(number)});
        });
    }
    return Cells(cellCount, [&](const auto& put) {
        Progress::Impl::Steps steps;
        for (const Entry& entry : entries) {
            steps.Next();
            put(entry.cell, entry.number);
        }
    });
}

} // namespace

SegmentGrid::SegmentGrid(const Spans& spans, int elementCount)
{
    if (!spans.empty()) {
        const Grid grid = GridFor(spans);
        const Cells cells = Rasterize(spans, grid);
        std::vector<std::size_t> crowded;
        for (std::size_t cell = 0; cell < cells.BucketCount(); ++cell) {
            Progress::Impl::CheckStep(cell);
            if (cells[cell].size() > kCrowded) {
                crowded.push_back(cell);
            }
        }
        std::vector<Leaves> leaves(crowded.size());
        Parallel::Impl::ApplyParallel(std::size_t{0}, crowded.size(), [&](std::size_t i) {
            const std::size_t cell = crowded[i];
            const Region region = RegionOfCell(grid, cell);
            SplitCrowd(ClippedTo(region, spans, cells[cell]), region, 0, leaves[i]);
        });

        std::vector<int> bucket;
        std::size_t nextCrowded = 0;
        for (std::size_t cell = 0; cell < cells.BucketCount(); ++cell) {
            Progress::Impl::CheckStep(cell);
            if (nextCrowded < crowded.size() && crowded[nextCrowded] == cell) {
                Leaves& split = leaves[nextCrowded++];
                auto from = split.members.begin();
                for (const int length : split.lengths) {
                    bucket.assign(from, from + length);
                    AddBucket(bucket);
                    from += length;
                }
                std::move(split.crowds.begin(), split.crowds.end(), std::back_inserter(crowds_));
                continue;
            }
            bucket.clear();
            for (const int number : cells[cell]) {
                bucket.push_back(spans[static_cast<std::size_t>(number)].element);
            }
            AddBucket(bucket);
        }
    }
    NumberBucketsByElement(elementCount);
}

void SegmentGrid::AddBucket(std::vector<int>& members)
{
    // Spans come in the order of their elements, so that this mostly finds them sorted.
    if (!std::is_sorted(members.begin(), members.end())) {
        std::sort(members.begin(), members.end());
    }
    members.erase(std::unique(members.begin(), members.end()), members.end());
    if (members.size() > 1) {
        members_.insert(members_.end(), members.begin(), members.end());
        firstMember_.push_back(static_cast<int>(members_.size()));
    }
}

void SegmentGrid::NumberBucketsByElement(int elementCount)
{
    buckets_ = {static_cast<std::size_t>(elementCount), [this](const auto& put) {
                    for (std::size_t bucket = 0; bucket + 1 < firstMember_.size(); ++bucket) {
                        Progress::Impl::CheckStep(bucket);
                        for (int i = firstMember_[bucket]; i < firstMember_[bucket + 1]; ++i) {
                            put(members_[static_cast<std::size_t>(i)], static_cast<int>(bucket));
                        }
                    }
                }};
}

void SegmentGrid::Sharers(int element, std::vector<int>& sharers) const
{
    constexpr std::size_t kFewRuns = 8; // merging them costs less than sorting all over again
    sharers.clear();
    const std::span<const int> buckets = buckets_[element];
    for (const int number : buckets) {
        const auto bucket = static_cast<std::size_t>(number);
        const auto begin = members_.begin() + firstMember_[bucket];
        const auto end = members_.begin() + firstMember_[bucket + 1];
        const auto before = static_cast<std::ptrdiff_t>(sharers.size());
        sharers.insert(sharers.end(), std::upper_bound(begin, end, element), end);
        if (buckets.size() <= kFewRuns) {
            std::inplace_merge(sharers.begin(), sharers.begin() + before, sharers.end());
        }
    }
    if (buckets.size() > kFewRuns) {
        std::sort(sharers.begin(), sharers.end());
    }
    sharers.erase(std::unique(sharers.begin(), sharers.end()), sharers.end());
}

long long SegmentGrid::PairCount() const
{
    long long pairs = 0;
    for (std::size_t bucket = 0; bucket + 1 < firstMember_.size(); ++bucket) {
        const long long size = firstMember_[bucket + 1] - firstMember_[bucket];
        pairs += size * (size - 1) / 2;
    }
    return pairs;
}

} // namespace Velk::Math::Intersect::Impl
