// Points with their place in the input, and their lexicographic order: the sort under the
// uniqueness filters.
//
// The sort distributes the points over slots that cut the range of the first coordinate that varies
// into equal parts (a proportion map: W. Dobosiewicz, "Sorting by Distributive Partitioning",
// 1978), at the top in parallel, and sorts each slot likewise until a few points are left. Linear
// for points that spread, also when thousands share an x, since a slot of one x goes on with y; a
// slot that still has not come apart after some rounds is left to a comparison sort: O(n log n) on
// any input.
#pragma once

#include "mathbase/Parallel_Impl.h"
#include "mathbase/Values_Impl.h"

#include <Velk/Math/VecBase_E.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <new>
#include <type_traits>
#include <vector>

namespace Velk::Math::Vector::Impl {

/// Room for `count` plain values that are written before they are read. Not initialized, so that
/// the threads that fill it are the first to touch its pages.
template <class Value>
class RawBuffer {
    static_assert(std::is_trivially_copyable_v<Value> && std::is_trivially_destructible_v<Value>);

public:
    explicit RawBuffer(std::size_t count)
        : values_(static_cast<Value*>(::operator new(count * sizeof(Value))))
    {
    }
    Value* data() const { return values_.get(); }
    Value& operator[](std::size_t i) const { return values_.get()[i]; }

private:
    struct Release {
        void operator()(Value* values) const { ::operator delete(values); }
    };
    std::unique_ptr<Value, Release> values_;
};

/// A point of the input and its place among those that were there: a number that grows along the
/// input.
template <int N, class T>
struct PointRecord {
    VecBase<N, T> point;
    std::uint32_t place;
};

/// Lexicographic order of points: x, then y, then z; -0 equals 0, NaN equals NaN and comes after
/// all numbers. A strict weak order of every input.
template <int N, class T>
bool LexicographicallyLess(const VecBase<N, T>& a, const VecBase<N, T>& b)
{
    for (int i = 0; i < N; ++i) {
        if (a[i] < b[i]) {
            return true;
        }
        if (b[i] < a[i]) {
            return false;
        }
        if (!(a[i] == b[i])) {
            const bool aIsNan = !(a[i] == a[i]);
            const bool bIsNan = !(b[i] == b[i]);
            if (aIsNan != bIsNan) {
                return bIsNan;
            }
        }
    }
    return false;
}

/// The order of the points, equal ones in the order of the input: a strict total order.
template <int N, class T>
bool RecordLess(const PointRecord<N, T>& a, const PointRecord<N, T>& b)
{
    if (LexicographicallyLess(a.point, b.point)) {
        return true;
    }
    return !LexicographicallyLess(b.point, a.point) && a.place < b.place;
}

using Math::Impl::IsFinite;

/// Equal parts of a range of coordinates, numbered from 0 in their order. `usable` is false for a
/// range so wide or so narrow that its parts cannot be computed.
template <class T>
struct SlotMap {
    SlotMap(T low, T high, int slotCount)
        : low_(low), perUnit_(static_cast<double>(slotCount) /
                              (static_cast<double>(high) - static_cast<double>(low))),
          last_(slotCount - 1),
          usable(perUnit_ > 0 && perUnit_ <= std::numeric_limits<double>::max())
    {
    }

    /// For low <= x <= high. Rounding is monotone, so a smaller x never gets a higher slot.
    int operator()(T x) const
    {
        const auto slot =
            static_cast<int>((static_cast<double>(x) - static_cast<double>(low_)) * perUnit_);
        return std::min(slot, last_);
    }

private:
    T low_;
    double perUnit_;
    int last_;

public:
    bool usable;
};

inline constexpr std::int64_t kInsertionSortLimit = 20;
inline constexpr int kMaxSlots = 1024;
inline constexpr int kMaxSlotRounds = 6;

template <int N, class T>
void InsertionSort(PointRecord<N, T>* first, std::int64_t count)
{
    for (std::int64_t i = 1; i < count; ++i) {
        const PointRecord<N, T> record = first[i];
        std::int64_t j = i;
        for (; j > 0 && RecordLess(record, first[j - 1]); --j) {
            first[j] = first[j - 1];
        }
        first[j] = record;
    }
}

/// Sorts `count` records of finite points, equal points of which stand in input order. `scratch`
/// has room for as many. The rounds bound the recursion.
template <int N, class T>
void SortInSlots(PointRecord<N, T>* records, std::int64_t count, PointRecord<N, T>* scratch,
                 int round)
{
    if (count <= kInsertionSortLimit) {
        InsertionSort(records, count);
        return;
    }
    int axis = 0;
    T low{};
    T high{};
    for (; axis < N; ++axis) {
        low = high = records[0].point[axis];
        for (std::int64_t i = 1; i < count; ++i) {
            low = std::min(low, records[i].point[axis]);
            high = std::max(high, records[i].point[axis]);
        }
        if (low < high) {
            break;
        }
    }
    if (axis == N) {
        return; // one point many times over, in input order
    }
    const int slotCount = static_cast<int>(std::min<std::int64_t>(count / 4, kMaxSlots));
    const SlotMap<T> slotOf(low, high, slotCount);
    if (round == kMaxSlotRounds || !slotOf.usable) {
        std::sort(records, records + count, RecordLess<N, T>);
        return;
    }
    // A counting sort of its own, not `Buckets`: in place, and no allocation for its many calls.
    std::array<std::int32_t, kMaxSlots + 1> begin;
    std::fill_n(begin.begin(), slotCount + 1, 0);
    for (std::int64_t i = 0; i < count; ++i) {
        ++begin[static_cast<std::size_t>(slotOf(records[i].point[axis]) + 1)];
    }
    for (std::size_t slot = 0; slot < static_cast<std::size_t>(slotCount); ++slot) {
        begin[slot + 1] += begin[slot];
    }
    std::copy_n(records, count, scratch);
    std::array<std::int32_t, kMaxSlots> next;
    std::copy_n(begin.begin(), slotCount, next.begin());
    for (std::int64_t i = 0; i < count; ++i) {
        records[next[static_cast<std::size_t>(slotOf(scratch[i].point[axis]))]++] = scratch[i];
    }
    for (std::size_t slot = 0; slot < static_cast<std::size_t>(slotCount); ++slot) {
        const std::int32_t size = begin[slot + 1] - begin[slot];
        if (size > 1) {
            SortInSlots(records + begin[slot], size, scratch + begin[slot], round + 1);
        }
    }
}

/// A stretch of an array of records.
struct RecordRange {
    std::int64_t begin = 0;
    std::int64_t count = 0;
};

/// Sorts the records of finite points that lie in the given ranges of `records` into `sorted`, from
/// its start; equal points must come in input order. `records` is scratch space then: it has room
/// for as many records as there are, from its own start. Runs in parallel.
template <int N, class T>
void SortFiniteRecords(PointRecord<N, T>* records, const std::vector<RecordRange>& ranges,
                       const VecBase<N, T>& low, const VecBase<N, T>& high,
                       PointRecord<N, T>* sorted)
{
    using Parallel::Impl::ApplyParallel;
    const auto rangeCount = static_cast<std::int64_t>(ranges.size());
    std::int64_t count = 0;
    for (const RecordRange& range : ranges) {
        count += range.count;
    }
    int axis = 0;
    while (axis < N - 1 && !(low[axis] < high[axis])) {
        ++axis;
    }
    const int slotCount = count < 4096 ? 1 : kMaxSlots;
    const SlotMap<T> slotOf(low[axis], high[axis], slotCount);
    if (slotCount == 1 || !slotOf.usable) {
        PointRecord<N, T>* out = sorted;
        for (const RecordRange& range : ranges) {
            out = std::copy_n(records + range.begin, range.count, out);
        }
        if (slotCount == 1) {
            SortInSlots(sorted, count, records, 0);
        } else {
            Parallel::Impl::ParallelSort(sorted, sorted + count, RecordLess<N, T>);
        }
        return;
    }
    // Slot sizes of each range, then the place where each range begins in each slot.
    const auto slots = static_cast<std::size_t>(slotCount);
    std::vector<std::int64_t> next(ranges.size() * slots, 0);
    ApplyParallel(std::int64_t{0}, rangeCount, [&](std::int64_t number) {
        const RecordRange& range = ranges[static_cast<std::size_t>(number)];
        std::int64_t* const size = next.data() + static_cast<std::size_t>(number) * slots;
        for (std::int64_t i = range.begin; i < range.begin + range.count; ++i) {
            ++size[slotOf(records[i].point[axis])];
        }
    });
    std::vector<std::int64_t> begin(slots + 1, 0);
    std::int64_t place = 0;
    for (std::size_t slot = 0; slot < slots; ++slot) {
        begin[slot] = place;
        for (std::size_t number = 0; number < ranges.size(); ++number) {
            const std::int64_t size = next[number * slots + slot];
            next[number * slots + slot] = place;
            place += size;
        }
    }
    begin[slots] = place;
    ApplyParallel(std::int64_t{0}, rangeCount, [&](std::int64_t number) {
        const RecordRange& range = ranges[static_cast<std::size_t>(number)];
        std::int64_t* const to = next.data() + static_cast<std::size_t>(number) * slots;
        for (std::int64_t i = range.begin; i < range.begin + range.count; ++i) {
            sorted[to[slotOf(records[i].point[axis])]++] = records[i];
        }
    });
    ApplyParallel(0, slotCount, [&](int slot) {
        const std::int64_t from = begin[static_cast<std::size_t>(slot)];
        SortInSlots(sorted + from, begin[static_cast<std::size_t>(slot) + 1] - from, records + from,
                    1);
    });
}

} // namespace Velk::Math::Vector::Impl
