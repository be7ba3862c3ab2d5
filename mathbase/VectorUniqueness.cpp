// The uniqueness filters: exact repeats are found first, by hashing; the distinct points are
// sorted; those that lie within the tolerance of each other are found among the sorted ones, where
// a part whose points stand apart needs no more than a look at neighbors. Each step is a header of
// its own.

#include "mathbase/VectorUniqueness_Impl.h"

#include "mathbase/ExactRepeats_Impl.h"
#include "mathbase/NearRepeats_Impl.h"
#include "mathbase/Parallel_Impl.h"
#include "mathbase/PointRecords_Impl.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <limits>
#include <new>
#include <numeric>

namespace Velk::Math::Vector {

namespace Impl {

namespace {

using Parallel::Impl::ApplyParallelChunks;

/// Sorted records of all first occurrences: `count` of them from `data` on.
template <int N, class T>
struct SortedRecords {
    RawBuffer<PointRecord<N, T>> data;
    std::int64_t count;
};

/// The finite points sorted, with the infinite and NaN ones merged in.
template <int N, class T>
SortedRecords<N, T> SortRecords(DistinctPoints<N, T>& distinct)
{
    std::int64_t finiteCount = 0;
    for (const RecordRange& range : distinct.ranges) {
        finiteCount += range.count;
    }
    SortedRecords<N, T> sorted{RawBuffer<PointRecord<N, T>>(static_cast<std::size_t>(finiteCount)),
                               finiteCount};
    SortFiniteRecords(distinct.records.data(), distinct.ranges, distinct.low, distinct.high,
                      sorted.data.data());
    std::vector<PointRecord<N, T>>& others = distinct.nonFinite;
    if (others.empty()) {
        return sorted;
    }
    Parallel::Impl::ParallelSort(others.begin(), others.end(), RecordLess<N, T>);
    const auto count = finiteCount + static_cast<std::int64_t>(others.size());
    SortedRecords<N, T> all{RawBuffer<PointRecord<N, T>>(static_cast<std::size_t>(count)), count};
    std::merge(sorted.data.data(), sorted.data.data() + finiteCount, others.begin(), others.end(),
               all.data.data(), RecordLess<N, T>);
    return all;
}

/// The rank of each record's survivor among the survivors.
template <int N, class T>
std::vector<int> RanksOfSurvivors(const SortedRecords<N, T>& sorted,
                                  const std::uint32_t* survivorOf)
{
    const auto count = static_cast<std::size_t>(sorted.count);
    std::vector<int> rank(count);
    int survivorCount = 0;
    for (std::size_t i = 0; i < count; ++i) {
        if (survivorOf[i] == i) {
            rank[i] = survivorCount++;
        }
    }
    for (std::size_t i = 0; i < count; ++i) {
        rank[i] = rank[survivorOf[i]];
    }
    return rank;
}

/// Writes the survivors to the front of `points` and cuts it off behind them; `survivorOf` may be
/// null when all records are survivors.
template <int N, class T>
void WriteSurvivors(const SortedRecords<N, T>& sorted, const std::uint32_t* survivorOf,
                    std::vector<VecBase<N, T>>& points)
{
    const auto count = static_cast<std::size_t>(sorted.count);
    std::size_t survivorCount = count;
    if (survivorOf != nullptr) {
        survivorCount = 0;
        for (std::size_t i = 0; i < count; ++i) {
            if (survivorOf[i] == i) {
                points[survivorCount++] = sorted.data[i].point;
            }
        }
    } else {
        const auto write = [&](std::size_t from, std::size_t to) {
            for (std::size_t i = from; i < to; ++i) {
                points[i] = sorted.data[i].point;
            }
        };
        try {
            ApplyParallelChunks(std::size_t{0}, count, write);
        } catch (const std::bad_alloc&) { // tasks take memory, the caller's thread needs none
            write(0, count);
        }
    }
    points.resize(survivorCount);
}

/// Turns the place of each point's first occurrence in its chunk into the rank of its survivor.
/// `rank` is empty when each record is its own survivor.
template <int N, class T>
void PlacesToRanks(const SortedRecords<N, T>& sorted, const std::vector<int>& rank,
                   const DistinctPoints<N, T>& distinct, std::vector<int>& indices)
{
    RawBuffer<int> rankOfPlace(indices.size()); // set for the places of first occurrences of all
    ApplyParallelChunks(std::int64_t{0}, sorted.count, [&](std::int64_t from, std::int64_t to) {
        for (std::int64_t i = from; i < to; ++i) {
            const auto record = static_cast<std::size_t>(i);
            rankOfPlace[sorted.data[record].place] =
                rank.empty() ? static_cast<int>(i) : rank[record];
        }
    });
    const auto pointCount = static_cast<std::int64_t>(indices.size());
    const auto chunkCount = static_cast<std::int64_t>(distinct.placeCount.size());
    Parallel::Impl::ApplyParallel(std::int64_t{0}, chunkCount, [&](std::int64_t chunk) {
        const std::int64_t begin = chunk * kChunkPoints;
        const std::int64_t end = std::min(begin + kChunkPoints, pointCount);
        std::array<int, kChunkPoints> rankInChunk;
        const std::int32_t placeCount = distinct.placeCount[static_cast<std::size_t>(chunk)];
        for (std::int32_t i = 0; i < placeCount; ++i) {
            const auto place = static_cast<std::size_t>(begin + i);
            rankInChunk[static_cast<std::size_t>(i)] = rankOfPlace[distinct.firstPlace[place]];
        }
        for (std::int64_t i = begin; i < end; ++i) {
            int& index = indices[static_cast<std::size_t>(i)];
            index = rankInChunk[static_cast<std::size_t>(index - static_cast<int>(begin))];
        }
    });
}

/// For tolerances in [0, infinity).
template <int N, class T>
void FilterWithin(std::vector<VecBase<N, T>>& points, T tolerance, std::vector<int>* indices,
                  UniquenessWork* work)
{
    if (indices != nullptr) {
        indices->resize(points.size());
    }
    ExactRepeats<N, T> exactRepeats(points, indices == nullptr ? nullptr : indices->data(), work);
    DistinctPoints<N, T> distinct = exactRepeats.Find();
    const SortedRecords<N, T> sorted = SortRecords(distinct);
    const std::uint32_t* survivorOf = nullptr;
    RawBuffer<std::uint32_t> survivors(static_cast<std::size_t>(sorted.count));
    if (tolerance > 0) {
        NearRepeats<N, T> nearRepeats(sorted.data.data(), sorted.count, tolerance, survivors.data(),
                                      work);
        if (nearRepeats.Find()) {
            survivorOf = survivors.data();
        }
    }
    // The points change last, when no more memory is needed.
    if (indices != nullptr) {
        const std::vector<int> rank =
            survivorOf == nullptr ? std::vector<int>{} : RanksOfSurvivors(sorted, survivorOf);
        PlacesToRanks(sorted, rank, distinct, *indices);
    }
    WriteSurvivors(sorted, survivorOf, points);
}

/// Sorts the points, equal ones in input order, and tells where each went.
template <int N, class T>
void SortOnly(std::vector<VecBase<N, T>>& points, std::vector<int>* indices)
{
    std::vector<PointRecord<N, T>> records(points.size());
    for (std::size_t i = 0; i < points.size(); ++i) {
        records[i] = {points[i], static_cast<std::uint32_t>(i)};
    }
    Parallel::Impl::ParallelSort(records.begin(), records.end(), RecordLess<N, T>);
    if (indices != nullptr) {
        indices->resize(points.size());
    }
    for (std::size_t i = 0; i < points.size(); ++i) {
        points[i] = records[i].point;
        if (indices != nullptr) {
            (*indices)[records[i].place] = static_cast<int>(i);
        }
    }
}

/// An infinite tolerance bridges every difference but one: that of two infinities of one sign,
/// which is NaN. What matches is then decided by the signs of infinite coordinates alone.
template <int N, class T>
class InfiniteTolerance {
public:
    static void Filter(std::vector<VecBase<N, T>>& points, std::vector<int>* indices)
    {
        const std::vector<VecBase<N, T>> input = points;
        std::array<bool, kClassCount> isKept{};
        std::vector<int> survivors; // numbers of input points
        for (std::size_t i = 0; i < input.size(); ++i) {
            const int own = ClassOf(input[i]);
            bool matches = false;
            for (int other = 0; own >= 0 && other < kClassCount; ++other) {
                matches = matches || (isKept[static_cast<std::size_t>(other)] && Match(own, other));
            }
            if (!matches) {
                survivors.push_back(static_cast<int>(i));
                if (own >= 0) {
                    isKept[static_cast<std::size_t>(own)] = true;
                }
            }
        }
        std::stable_sort(survivors.begin(), survivors.end(), [&](int a, int b) {
            return LexicographicallyLess(input[static_cast<std::size_t>(a)],
                                         input[static_cast<std::size_t>(b)]);
        });
        std::array<int, kClassCount> lowest; // index of the first survivor of each class
        lowest.fill(-1);
        std::vector<int> index(input.size(), -1);
        points.clear(); // no memory is needed from here on: there is room for the survivors
        for (const int survivor : survivors) {
            const VecBase<N, T>& point = input[static_cast<std::size_t>(survivor)];
            const int rank = static_cast<int>(points.size());
            index[static_cast<std::size_t>(survivor)] = rank;
            points.push_back(point);
            const int own = ClassOf(point);
            if (own >= 0 && lowest[static_cast<std::size_t>(own)] < 0) {
                lowest[static_cast<std::size_t>(own)] = rank;
            }
        }
        if (indices == nullptr) {
            return;
        }
        for (std::size_t i = 0; i < input.size(); ++i) {
            if (index[i] < 0) {
                // The finite class has one survivor, and those of another are all infinitely far.
                NearestMatch<N, T> nearest(input[i], std::numeric_limits<T>::infinity());
                for (const int survivor : lowest) {
                    if (survivor >= 0) {
                        nearest.Consider(points[static_cast<std::size_t>(survivor)], survivor);
                    }
                }
                index[i] = nearest.Index();
            }
        }
        *indices = std::move(index);
    }

private:
    static constexpr int kClassCount = N == 2 ? 9 : 27;

    /// A digit for each axis: 0 finite, 1 plus and 2 minus infinity; -1 for a point with NaN.
    static int ClassOf(const VecBase<N, T>& point)
    {
        int number = 0;
        for (int i = 0; i < N; ++i) {
            const T x = point[i];
            if (!(x == x)) {
                return -1;
            }
            const bool isInfinite = !(std::abs(x) <= std::numeric_limits<T>::max());
            number = 3 * number + (isInfinite ? (x > 0 ? 1 : 2) : 0);
        }
        return number;
    }

    static bool Match(int a, int b)
    {
        for (int i = 0; i < N; ++i, a /= 3, b /= 3) {
            if (a % 3 != 0 && a % 3 == b % 3) {
                return false;
            }
        }
        return true;
    }
};

} // namespace

template <int N, class T>
void FilterForUniqueness(std::vector<VecBase<N, T>>& points, T tolerance,
                         std::vector<int>* survivorOf, UniquenessWork* work)
{
    if (points.empty()) {
        return;
    }
    if (!(tolerance >= 0)) {
        SortOnly(points, survivorOf);
    } else if (tolerance <= std::numeric_limits<T>::max()) {
        FilterWithin(points, tolerance, survivorOf, work);
    } else {
        InfiniteTolerance<N, T>::Filter(points, survivorOf);
    }
}

} // namespace Impl

template <int N, class T>
void FilterForUniqueness(std::vector<VecBase<N, T>>& points, T tolerance)
{
    Impl::FilterForUniqueness(points, tolerance, nullptr, nullptr);
}

template <int N, class T>
std::vector<int> FilterForUniquenessAndIndex(std::vector<VecBase<N, T>>& points, T tolerance)
{
    std::vector<int> indices;
    Impl::FilterForUniqueness(points, tolerance, &indices, nullptr);
    return indices;
}

#define SORVANE_INSTANTIATE(N, T)                                                              \
    template void FilterForUniqueness(std::vector<VecBase<N, T>>&, T);                         \
    template std::vector<int> FilterForUniquenessAndIndex(std::vector<VecBase<N, T>>&, T);     \
    template void Impl::FilterForUniqueness(std::vector<VecBase<N, T>>&, T, std::vector<int>*, \
                                            UniquenessWork*);
SORVANE_INSTANTIATE(2, float)
SORVANE_INSTANTIATE(2, double)
SORVANE_INSTANTIATE(3, float)
SORVANE_INSTANTIATE(3, double)
#undef SORVANE_INSTANTIATE

} // namespace Velk::Math::Vector
