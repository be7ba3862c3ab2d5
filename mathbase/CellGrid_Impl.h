// A hashed grid of cells over points, for tolerances that are small against the size of the part.
//
// A point lies in one cell; who looks for the matches of a point visits the cells that its
// tolerance box touches, one in the usual case when cells are much wider than the tolerance. No
// matching pair is ever missed: cell numbers are a monotone function of the coordinate, and the box
// is widened by more than any rounding of the difference that `Matches` takes.
#pragma once

#include <Velk/Math/Vector_E.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

namespace Velk::Math::Vector::Impl {

/// Number of the cell that a coordinate lies in, for cells of one width along one axis.
class CellRule {
public:
    /// For tolerances in [0, infinity). The cells are as wide as asked for, but at least twice the
    /// tolerance, so that a tolerance box touches two of them on an axis (three through rounding).
    CellRule(double tolerance, double width) : reach_(tolerance * (1 + 0x1p-20))
    {
        const double side =
            std::max({width, 2 * reach_, std::numeric_limits<double>::denorm_min()});
        unitScale_ = side < 0x1p-500 ? 0x1p600 : 1.0; // so that the width has a reciprocal
        perUnit_ = 1 / (side * unitScale_);
        farBegin_ = side * 0x1p50;
        farCell_ = farBegin_ <= kMax
                       ? static_cast<std::int64_t>(std::ceil(farBegin_ * unitScale_ * perUnit_))
                       : 0;
    }

    /// Never decreases along the axis, and leaves no gaps. From 2^50 cells off the origin on, where
    /// the cells would be hardly wider than the steps of the numbers, eight successive numbers make
    /// a cell: a tolerance box still touches three at most, and one point far out does not make the
    /// cells of all others wider.
    std::int64_t Cell(double x) const
    {
        const double distance = std::fabs(x);
        if (distance < farBegin_) {
            const double q = x * unitScale_ * perUnit_;
            const auto towardsZero = static_cast<std::int64_t>(q);
            return towardsZero - static_cast<std::int64_t>(q < static_cast<double>(towardsZero));
        }
        const std::int64_t numbersBeyond =
            std::bit_cast<std::int64_t>(distance) - std::bit_cast<std::int64_t>(farBegin_);
        const std::int64_t cell = farCell_ + (numbersBeyond >> 3);
        return x < 0 ? -cell : cell;
    }

    /// First and last cell that a match of x can lie in. What `Matches` accepts differs from x by
    /// no more than `reach_`, and a number not below x - reach_ is not below the rounded value of
    /// that.
    std::int64_t First(double x) const { return Cell(std::max(x - reach_, -kMax)); }
    std::int64_t Last(double x) const { return Cell(std::min(x + reach_, kMax)); }

private:
    static constexpr double kMax = std::numeric_limits<double>::max();

    double reach_; // the tolerance and what a difference may lose when it is rounded, even to float
    double unitScale_;
    double perUnit_;
    double farBegin_;
    std::int64_t farCell_;
};

/// Width of cells that hold about one of `count` points spread over a surface of the given extent,
/// but no wider than 1024 tolerances: by then only one point in a hundred has its box across a
/// boundary.
inline double SuggestedCellWidth(double extent, std::int64_t count, double tolerance)
{
    const double spacing =
        extent / std::sqrt(static_cast<double>(std::max<std::int64_t>(count, 1)));
    return std::min(0.5 * spacing, 1024 * tolerance);
}

/// Points with a number each, found again by their cell. Finite points and tolerances only.
template <int N, class T>
class CellGrid {
public:
    CellGrid(double tolerance, double cellWidth, std::int64_t expectedCount)
        : rule_(tolerance, cellWidth),
          buckets_(
              std::bit_ceil(static_cast<std::size_t>(2 * std::max<std::int64_t>(expectedCount, 4))))
    {
    }

    /// Number of points in the fullest bucket so far.
    std::int32_t LargestBucket() const { return largestBucket_; }
    void Reserve(std::size_t count) { nodes_.reserve(count); }

    void Insert(const VecBase<N, T>& point, std::uint32_t number)
    {
        Cells cell;
        for (std::size_t i = 0; i < N; ++i) {
            cell[i] = rule_.Cell(static_cast<double>(point[static_cast<int>(i)]));
        }
        Bucket& bucket = buckets_[BucketOf(cell)];
        nodes_.push_back({point, number, bucket.newest});
        bucket.newest = static_cast<std::int32_t>(nodes_.size() - 1);
        largestBucket_ = std::max(largestBucket_, ++bucket.count);
    }

    /// Calls visit(point, number) for a superset of the points that match `point`, some perhaps
    /// twice, those of its own cell first and in each cell the newest first, until it returns true.
    template <class Visit>
    void VisitNear(const VecBase<N, T>& point, Visit&& visit) const
    {
        ForEachBucket(point, [&](const Bucket& bucket) {
            for (std::int32_t n = bucket.newest; n >= 0;) {
                const Node& node = nodes_[static_cast<std::size_t>(n)];
                if (visit(node.point, node.number)) {
                    return true;
                }
                n = node.older;
            }
            return false;
        });
    }

    /// Asks for the memory that `VisitNear` will read, first the buckets and some time later the
    /// points, for callers that know which points come next. Without effect otherwise.
    void PrefetchBuckets(const VecBase<N, T>& point) const
    {
        ForEachBucket(point, [&](const Bucket& bucket) {
            __builtin_prefetch(&bucket);
            return false;
        });
    }
    void PrefetchPoints(const VecBase<N, T>& point) const
    {
        ForEachBucket(point, [&](const Bucket& bucket) {
            if (bucket.newest >= 0) {
                __builtin_prefetch(&nodes_[static_cast<std::size_t>(bucket.newest)]);
            }
            return false;
        });
    }

private:
    using Cells = std::array<std::int64_t, N>;
    struct Bucket {
        std::int32_t newest = -1;
        std::int32_t count = 0;
    };
    struct Node {
        VecBase<N, T> point;
        std::uint32_t number;
        std::int32_t older;
    };

    /// Cells that follow each other along x share a line of memory more often than not.
    std::size_t BucketOf(const Cells& cell) const
    {
        std::uint64_t state = 0;
        for (std::size_t axis = 1; axis < N; ++axis) {
            state = (state ^ static_cast<std::uint64_t>(cell[axis])) * 0x9e3779b97f4a7c15U;
            state ^= state >> 32U;
        }
        return static_cast<std::size_t>(state + static_cast<std::uint64_t>(cell[0])) &
               (buckets_.size() - 1);
    }

    /// Calls visit(bucket) for the bucket of the point's own cell, then for those of the other
    /// cells that its tolerance box touches, until it returns true.
    template <class Visit>
    void ForEachBucket(const VecBase<N, T>& point, Visit&& visit) const
    {
        Cells own;
        Cells first;
        Cells last;
        for (std::size_t i = 0; i < N; ++i) {
            const auto x = static_cast<double>(point[static_cast<int>(i)]);
            own[i] = rule_.Cell(x);
            first[i] = rule_.First(x);
            last[i] = rule_.Last(x);
        }
        if (visit(buckets_[BucketOf(own)]) || first == last) {
            return;
        }
        for (Cells cell = first;;) {
            if (cell != own && visit(buckets_[BucketOf(cell)])) {
                return;
            }
            std::size_t axis = 0;
            while (axis < N && cell[axis] == last[axis]) {
                cell[axis] = first[axis];
                ++axis;
            }
            if (axis == N) {
                return;
            }
            ++cell[axis];
        }
    }

    CellRule rule_;
    std::vector<Bucket> buckets_;
    std::vector<Node> nodes_;
    std::int32_t largestBucket_ = 0;
};

} // namespace Velk::Math::Vector::Impl
