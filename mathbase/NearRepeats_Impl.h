// Decides which of the distinct points of an input fall to an earlier one that lies within a
// tolerance.
//
// The rule is greedy in input order: a point falls when it matches a point kept earlier. Points
// that do not match, directly or through others, do not affect each other, so the sorted points are
// first cut wherever neighbors are further apart than the tolerance; where the run that is left
// has more than a few points it is sorted along the next axis and cut again. On a part whose points
// stand further apart than the tolerance nothing but single points is left, after one pass over
// points that are sorted anyway. Short runs are settled by comparing all pairs; a long run that no
// axis cuts, a surface or cloud nearly as dense as the tolerance, is settled with a hashed grid of
// the points kept.
//
// Never quadratic: the pairs of a run are compared up to a fixed length only, each axis is sorted
// once for a run, and cells are narrowed when points crowd in one; the narrowest hold a bounded
// number of kept points, since those are further apart than the tolerance.
#pragma once

#include "mathbase/CellGrid_Impl.h"
#include "mathbase/Parallel_Impl.h"
#include "mathbase/PointRecords_Impl.h"
#include "mathbase/VectorUniqueness_Impl.h"

#include <Velk/Math/VecBase_E.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <utility>
#include <vector>

namespace Velk::Math::Vector::Impl {

template <int N, class T>
class NearRepeats {
public:
    /// Over `count` records in lexicographic order, no two finite ones equal. Infinite and NaN
    /// points match nothing. `survivorOf` receives, for each record, the number of the one that
    /// stands for it: its own when it is kept, otherwise that of the nearest kept one that it
    /// matches. The tolerance is finite and above 0; `work` may be null.
    NearRepeats(const PointRecord<N, T>* records, std::int64_t count, T tolerance,
                std::uint32_t* survivorOf, UniquenessWork* work)
        : records_(records), count_(count), tolerance_(tolerance), survivorOf_(survivorOf),
          work_(work)
    {
    }

    /// False when every record is kept.
    bool Find()
    {
        Parallel::Impl::ApplyParallelChunks(std::int64_t{0}, count_,
                                            [&](std::int64_t from, std::int64_t to) {
                                                for (std::int64_t i = from; i < to; ++i) {
                                                    survivorOf_[i] = static_cast<std::uint32_t>(i);
                                                }
                                            });
        CutIntoRuns(WholeInput{records_, count_}, 1);
        return anyDropped_.load();
    }

private:
    /// Runs up to this long are settled by comparing pairs.
    static constexpr std::int64_t kShortRun = 32;
    /// Runs above this length are worth sorting and cutting in parallel.
    static constexpr std::int64_t kLongRun = 32768;
    static constexpr std::int64_t kPiece = 8192;
    static constexpr std::uint32_t kUndecided = 0xffffffffU;
    /// A bucket of kept points this full says that the cells are too wide.
    static constexpr std::int32_t kFullBucket = 32;

    /// Records sorted along x as they stand.
    struct WholeInput {
        const PointRecord<N, T>* records;
        std::int64_t count;
        T Coordinate(std::int64_t i) const { return records[i].point[0]; }
        std::uint32_t Record(std::int64_t i) const { return static_cast<std::uint32_t>(i); }
    };

    /// A run sorted along another axis.
    struct Member {
        T coordinate;
        std::uint32_t record;
    };
    struct SortedRun {
        const Member* members;
        std::int64_t count;
        T Coordinate(std::int64_t i) const { return members[i].coordinate; }
        std::uint32_t Record(std::int64_t i) const { return members[i].record; }
    };

    /// Cuts a sequence that is sorted along an axis wherever two neighbors are too far apart to
    /// match, and settles the runs between. What lies on either side of such a gap is at least as
    /// far apart, also as rounded. `axesUsed` axes have been cut along.
    template <class Sequence>
    void CutIntoRuns(const Sequence& sequence, int axesUsed)
    {
        const std::int64_t pieceCount = (sequence.count + kPiece - 1) / kPiece;
        std::vector<std::vector<RecordRange>> longRuns(static_cast<std::size_t>(pieceCount));
        Parallel::Impl::ApplyParallel(std::int64_t{0}, pieceCount, [&](std::int64_t piece) {
            const std::int64_t end = std::min((piece + 1) * kPiece, sequence.count);
            for (std::int64_t i = piece * kPiece; i < end;) {
                if (i > 0 && !IsGapBefore(sequence, i)) {
                    ++i; // this run begins in an earlier piece, or has been dealt with
                    continue;
                }
                std::int64_t runEnd = i + 1;
                while (runEnd < sequence.count && !IsGapBefore(sequence, runEnd)) {
                    ++runEnd;
                }
                if (runEnd - i > kLongRun) {
                    longRuns[static_cast<std::size_t>(piece)].push_back({i, runEnd - i});
                } else if (runEnd - i > 1) {
                    SettleRun(sequence, {i, runEnd - i}, axesUsed);
                }
                i = runEnd;
            }
        });
        // One after the other, each in parallel within.
        for (const std::vector<RecordRange>& runs : longRuns) {
            for (const RecordRange& run : runs) {
                SettleRun(sequence, run, axesUsed);
            }
        }
    }

    template <class Sequence>
    bool IsGapBefore(const Sequence& sequence, std::int64_t i) const
    {
        return !(sequence.Coordinate(i) - sequence.Coordinate(i - 1) <= tolerance_);
    }

    template <class Sequence>
    void SettleRun(const Sequence& sequence, const RecordRange& run, int axesUsed)
    {
        if (run.count <= kShortRun) {
            std::array<std::uint32_t, kShortRun> records;
            for (std::int64_t i = 0; i < run.count; ++i) {
                records[static_cast<std::size_t>(i)] = sequence.Record(run.begin + i);
            }
            SettleByPairs(records.data(), run.count);
            return;
        }
        std::vector<Member> members;
        members.reserve(static_cast<std::size_t>(run.count));
        for (std::int64_t i = run.begin; i < run.begin + run.count; ++i) {
            const std::uint32_t record = sequence.Record(i);
            if (IsFinite(records_[record].point)) {
                members.push_back({T{}, record});
            }
        }
        const auto memberCount = static_cast<std::int64_t>(members.size());
        const auto [low, high] = Bounds(members);
        for (int axis = axesUsed; axis < N; ++axis) {
            // On an axis that is crowded throughout there are no gaps worth a sort.
            if (high[axis] - low[axis] > tolerance_ * static_cast<T>(memberCount)) {
                SortAlongAxis(members, axis);
                CutIntoRuns(SortedRun{members.data(), memberCount}, axis + 1);
                return;
            }
        }
        double extent = 0;
        for (int axis = 0; axis < N; ++axis) {
            extent =
                std::max(extent, static_cast<double>(high[axis]) - static_cast<double>(low[axis]));
        }
        SettleByCells(members, extent);
    }

    std::pair<VecBase<N, T>, VecBase<N, T>> Bounds(const std::vector<Member>& members) const
    {
        VecBase<N, T> low;
        VecBase<N, T> high;
        if (!members.empty()) {
            low = high = records_[members[0].record].point;
        }
        for (const Member& member : members) {
            const VecBase<N, T>& point = records_[member.record].point;
            for (int axis = 0; axis < N; ++axis) {
                low[axis] = std::min(low[axis], point[axis]);
                high[axis] = std::max(high[axis], point[axis]);
            }
        }
        return {low, high};
    }

    void SortAlongAxis(std::vector<Member>& members, int axis) const
    {
        for (Member& member : members) {
            member.coordinate = records_[member.record].point[axis];
        }
        const auto isBefore = [](const Member& a, const Member& b) {
            return a.coordinate < b.coordinate;
        };
        // A run of one x comes sorted by y.
        if (!std::is_sorted(members.begin(), members.end(), isBefore)) {
            Parallel::Impl::ParallelSort(members.begin(), members.end(), isBefore);
        }
    }

    /// The rule itself, over the records of a short run.
    void SettleByPairs(std::uint32_t* run, std::int64_t count)
    {
        std::sort(run, run + count, [&](std::uint32_t a, std::uint32_t b) {
            return records_[a].place < records_[b].place;
        });
        std::array<std::uint32_t, kShortRun> kept;
        std::array<std::uint32_t, kShortRun> dropped;
        std::size_t keptCount = 0;
        std::size_t droppedCount = 0;
        std::int64_t compared = 0;
        for (std::int64_t i = 0; i < count; ++i) {
            const VecBase<N, T>& point = records_[run[i]].point;
            std::size_t k = 0;
            while (k < keptCount && !Matches(point, records_[kept[k]].point, tolerance_)) {
                ++k;
            }
            compared += static_cast<std::int64_t>(k);
            if (k == keptCount) {
                kept[keptCount++] = run[i];
            } else {
                dropped[droppedCount++] = run[i];
            }
        }
        for (std::size_t d = 0; d < droppedCount; ++d) {
            NearestMatch<N, T> nearest(records_[dropped[d]].point, tolerance_);
            for (std::size_t k = 0; k < keptCount; ++k) {
                nearest.Consider(records_[kept[k]].point, static_cast<int>(kept[k]));
            }
            compared += static_cast<std::int64_t>(keptCount);
            survivorOf_[dropped[d]] = static_cast<std::uint32_t>(nearest.Index());
        }
        Report(compared, droppedCount > 0);
    }

    /// The rule over a run of any length, with the kept points in a grid.
    void SettleByCells(const std::vector<Member>& members, double extent)
    {
        struct Arrival {
            std::uint32_t place;
            std::uint32_t record;
        };
        std::vector<Arrival> arrivals;
        arrivals.reserve(members.size());
        for (const Member& member : members) {
            arrivals.push_back({records_[member.record].place, member.record});
        }
        Parallel::Impl::ParallelSort(
            arrivals.begin(), arrivals.end(),
            [](const Arrival& a, const Arrival& b) { return a.place < b.place; });

        const auto tolerance = static_cast<double>(tolerance_);
        const auto count = static_cast<std::int64_t>(members.size());
        bool anyDropped = false;
        std::int64_t compared = 0;
        const auto keepGreedily = [&](double cellWidth, std::int32_t fullBucket) {
            CellGrid<N, T> kept(tolerance, cellWidth, count);
            anyDropped = false;
            for (std::size_t i = 0; i < arrivals.size(); ++i) {
                PrefetchAhead(kept, arrivals, i);
                const std::uint32_t record = arrivals[i].record;
                const VecBase<N, T>& point = records_[record].point;
                bool isDropped = false;
                kept.VisitNear(point, [&](const VecBase<N, T>& earlier, std::uint32_t) {
                    ++compared;
                    return isDropped = Matches(point, earlier, tolerance_);
                });
                survivorOf_[record] = isDropped ? kUndecided : record;
                anyDropped = anyDropped || isDropped;
                if (!isDropped) {
                    kept.Insert(point, record);
                    if (kept.LargestBucket() > fullBucket) {
                        break;
                    }
                }
            }
            return kept;
        };
        const double width = SuggestedCellWidth(extent, count, tolerance);
        CellGrid<N, T> kept = keepGreedily(width, kFullBucket);
        if (kept.LargestBucket() > kFullBucket) {
            constexpr double kNarrowest = 0;
            kept = keepGreedily(kNarrowest, std::numeric_limits<std::int32_t>::max());
        }
        Report(compared, anyDropped);
        if (anyDropped) {
            FindSurvivors(members, kept);
        }
    }

    template <class Arrivals>
    void PrefetchAhead(const CellGrid<N, T>& kept, const Arrivals& arrivals, std::size_t i) const
    {
        constexpr std::size_t kBuckets = 16;
        constexpr std::size_t kPoints = 6;
        if (arrivals.size() > 4096 && i + 2 * kBuckets < arrivals.size()) {
            __builtin_prefetch(&records_[arrivals[i + 2 * kBuckets].record]);
            kept.PrefetchBuckets(records_[arrivals[i + kBuckets].record].point);
            kept.PrefetchPoints(records_[arrivals[i + kPoints].record].point);
        }
    }

    /// The survivors of the members that were dropped, in the order of the members: sorted along an
    /// axis, so that the cells read lie close together.
    void FindSurvivors(const std::vector<Member>& members, const CellGrid<N, T>& kept)
    {
        Parallel::Impl::ApplyParallelChunks(
            std::size_t{0}, members.size(), [&](std::size_t from, std::size_t to) {
                std::int64_t visited = 0;
                for (std::size_t m = from; m < to; ++m) {
                    const std::uint32_t record = members[m].record;
                    if (survivorOf_[record] != kUndecided) {
                        continue;
                    }
                    const VecBase<N, T>& point = records_[record].point;
                    NearestMatch<N, T> nearest(point, tolerance_);
                    kept.VisitNear(point, [&](const VecBase<N, T>& survivor, std::uint32_t number) {
                        ++visited;
                        nearest.Consider(survivor, static_cast<int>(number));
                        return false;
                    });
                    survivorOf_[record] = static_cast<std::uint32_t>(nearest.Index());
                }
                Report(visited, true);
            });
    }

    void Report(std::int64_t compared, bool anyDropped)
    {
        if (anyDropped) {
            anyDropped_.store(true, std::memory_order_relaxed);
        }
        if (work_ != nullptr) {
            work_->pairsCompared += compared;
        }
    }

    const PointRecord<N, T>* records_;
    std::int64_t count_;
    T tolerance_;
    std::uint32_t* survivorOf_;
    UniquenessWork* work_;
    std::atomic<bool> anyDropped_{false};
};

} // namespace Velk::Math::Vector::Impl
