// Finds the points of an input that have the very same coordinates as an earlier one.
//
// 1. Chunks of the input, in parallel: each point is looked up in a small table of the chunk's own
//    points. Triangles that share a corner mostly stand close together in a file, so that this
//    leaves about a quarter of the points, and it runs in the nearest cache.
// 2. What is left is dealt out by its hash over partitions, in input order.
// 3. Partitions, in parallel: a table again, one partition's points at a time.
//
// All sizes depend on the number of points alone, and a table keeps the first point that comes: the
// result is the same for any number of threads. Expected O(n).
#pragma once

#include "mathbase/Parallel_Impl.h"
#include "mathbase/PointRecords_Impl.h"
#include "mathbase/VectorUniqueness_Impl.h"

#include <Velk/Math/VecBase_E.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <utility>
#include <vector>

namespace Velk::Math::Vector::Impl {

/// Points of a chunk; places of a chunk's points are numbered from the number of its first point.
inline constexpr std::int64_t kChunkPoints = 8192;

/// Distinct points of an input, and the way from each input point to its first occurrence.
///
/// Each point that no earlier one of its chunk equals has a place, a number that grows along the
/// input (with gaps between chunks). `placeOf` leads from a point to the place of the first equal
/// one of its chunk, `firstPlace` from there to the place of the first equal one of all.
template <int N, class T>
struct DistinctPoints {
    explicit DistinctPoints(std::size_t count) : records(count), firstPlace(count) {}

    RawBuffer<PointRecord<N, T>> records; // first occurrences of finite points, in `ranges`
    std::vector<RecordRange> ranges;
    std::vector<PointRecord<N, T>> nonFinite; // infinite and NaN points, which repeat nothing
    RawBuffer<std::uint32_t> firstPlace;
    std::vector<std::int32_t> placeCount; // of each chunk
    VecBase<N, T> low;                    // bounds of the finite points
    VecBase<N, T> high;
};

template <int N, class T>
class ExactRepeats {
public:
    /// `placeOf` may be null; otherwise it receives a place for each point. `work` may be null.
    ExactRepeats(const std::vector<VecBase<N, T>>& points, int* placeOf, UniquenessWork* work)
        : points_(points.data()), pointCount_(static_cast<std::int64_t>(points.size())),
          chunkCount_((pointCount_ + kChunkPoints - 1) / kChunkPoints), placeOf_(placeOf),
          work_(work), chunkEntries_(points.size()), chunks_(static_cast<std::size_t>(chunkCount_)),
          result_(points.size())
    {
        while (partitionBits_ < kMaxPartitionBits &&
               (pointCount_ >> partitionBits_) > kPartitionPoints) {
            ++partitionBits_;
        }
    }

    DistinctPoints<N, T> Find()
    {
        using Parallel::Impl::ApplyParallel;
        const auto partitionCount = std::int64_t{1} << partitionBits_;
        partitionBegin_.assign(static_cast<std::size_t>(partitionCount * chunkCount_ + 1), 0);
        ApplyParallel(std::int64_t{0}, chunkCount_, [&](std::int64_t c) { FindInChunk(c); });
        GatherChunks();
        if (chunkCount_ == 1) {
            KeepAll();
            return std::move(result_);
        }
        RawBuffer<Entry> dealt(static_cast<std::size_t>(partitionBegin_.back()));
        ApplyParallel(std::int64_t{0}, chunkCount_, [&](std::int64_t c) { Deal(c, dealt.data()); });
        result_.ranges.resize(static_cast<std::size_t>(partitionCount));
        ApplyParallel(std::int64_t{0}, partitionCount,
                      [&](std::int64_t p) { FindInPartition(p, dealt.data()); });
        return std::move(result_);
    }

private:
    static constexpr int kMaxPartitionBits = 10;
    static constexpr std::int64_t kPartitionPoints = 8192;
    static constexpr std::size_t kChunkTableSize = 2 * kChunkPoints;
    static constexpr std::uint32_t kLocalBits = 14; // a point's number in its chunk, plus one
    static_assert(kChunkPoints < (1 << kLocalBits));
    static constexpr int kMaxChunkProbes = 64;
    static constexpr std::int64_t kMaxProbesPerPoint = 64;

    /// A finite point that nothing earlier in its chunk equals.
    struct Entry {
        std::uint32_t hash; // its top bits choose the partition
        std::uint32_t point;
        std::uint32_t place;
    };

    struct Chunk {
        std::int32_t entryCount = 0;
        std::int32_t placeCount = 0;
        std::int64_t probes = 0;
        VecBase<N, T> low; // bounds of the entries, when there are any
        VecBase<N, T> high;
        std::vector<PointRecord<N, T>> nonFinite;
    };

    std::size_t PartitionOf(std::uint32_t hash) const
    {
        return partitionBits_ == 0 ? 0 : hash >> (32 - partitionBits_);
    }

    void FindInChunk(std::int64_t number)
    {
        Chunk& chunk = chunks_[static_cast<std::size_t>(number)];
        const std::int64_t begin = number * kChunkPoints;
        const std::int64_t end = std::min(begin + kChunkPoints, pointCount_);
        const std::size_t tableSize =
            std::min(kChunkTableSize, std::bit_ceil(static_cast<std::size_t>(2 * (end - begin))));
        // Number of a point in the chunk plus one, 0 when free, under the upper bits of its hash.
        std::array<std::uint32_t, kChunkTableSize> table;
        std::fill_n(table.begin(), tableSize, 0U);
        std::array<std::uint16_t, kChunkPoints> localPlace;
        Entry* entries = chunkEntries_.data() + begin;

        for (std::int64_t i = begin; i < end; ++i) {
            const VecBase<N, T>& point = points_[i];
            const auto local = static_cast<std::uint32_t>(i - begin);
            if (!IsFinite(point)) {
                const std::uint32_t place = NewPlace(chunk, begin, local, localPlace);
                result_.firstPlace[place] = place;
                chunk.nonFinite.push_back({point, place});
                SetPlace(i, place);
                continue;
            }
            const auto hash = static_cast<std::uint64_t>(std::hash<VecBase<N, T>>{}(point));
            const auto upper = static_cast<std::uint32_t>(hash >> 32U);
            const std::uint32_t tag = upper >> kLocalBits << kLocalBits;
            std::size_t slot = hash & (tableSize - 1);
            for (int probe = 0;; ++probe, slot = (slot + 1) & (tableSize - 1)) {
                ++chunk.probes;
                const std::uint32_t other = table[slot];
                const bool isCrowded = probe == kMaxChunkProbes; // hashes collide: left to step 3
                if (other == 0 || isCrowded) {
                    if (!isCrowded) {
                        table[slot] = tag | (local + 1);
                    }
                    const std::uint32_t place = NewPlace(chunk, begin, local, localPlace);
                    *entries++ = {upper, static_cast<std::uint32_t>(i), place};
                    SetPlace(i, place);
                    break;
                }
                const std::uint32_t earlier = (other & ((1U << kLocalBits) - 1)) - 1;
                if (other - earlier - 1 == tag && points_[begin + earlier] == point) {
                    SetPlace(i, static_cast<std::uint32_t>(begin) + localPlace[earlier]);
                    break;
                }
            }
        }
        chunk.entryCount = static_cast<std::int32_t>(entries - (chunkEntries_.data() + begin));
        SurveyEntries(number, chunk);
    }

    static std::uint32_t NewPlace(Chunk& chunk, std::int64_t begin, std::uint32_t local,
                                  std::array<std::uint16_t, kChunkPoints>& localPlace)
    {
        localPlace[local] = static_cast<std::uint16_t>(chunk.placeCount);
        return static_cast<std::uint32_t>(begin + chunk.placeCount++);
    }

    void SetPlace(std::int64_t point, std::uint32_t place)
    {
        if (placeOf_ != nullptr) {
            placeOf_[point] = static_cast<int>(place);
        }
    }

    /// Bounds of a chunk's entries, of which there are fewer than points, and their partitions.
    void SurveyEntries(std::int64_t number, Chunk& chunk)
    {
        const Entry* const entries = chunkEntries_.data() + number * kChunkPoints;
        std::array<std::int32_t, std::size_t{1} << kMaxPartitionBits> sizes;
        const std::size_t partitionCount = std::size_t{1} << partitionBits_;
        std::fill_n(sizes.begin(), partitionCount, 0);
        if (chunk.entryCount > 0) {
            chunk.low = chunk.high = points_[entries[0].point];
        }
        for (std::int32_t i = 0; i < chunk.entryCount; ++i) {
            ++sizes[PartitionOf(entries[i].hash)];
            const VecBase<N, T>& point = points_[entries[i].point];
            for (int axis = 0; axis < N; ++axis) {
                chunk.low[axis] = std::min(chunk.low[axis], point[axis]);
                chunk.high[axis] = std::max(chunk.high[axis], point[axis]);
            }
        }
        for (std::size_t p = 0; p < partitionCount; ++p) {
            PartitionCell(p, number) = sizes[p];
        }
    }

    /// Entries of a chunk in a partition, later where the first of them stands among all.
    std::int64_t& PartitionCell(std::size_t partition, std::int64_t chunk)
    {
        return partitionBegin_[partition * static_cast<std::size_t>(chunkCount_) +
                               static_cast<std::size_t>(chunk)];
    }

    /// What the chunks found, put together in their order.
    void GatherChunks()
    {
        bool any = false;
        for (Chunk& chunk : chunks_) {
            result_.placeCount.push_back(chunk.placeCount);
            result_.nonFinite.insert(result_.nonFinite.end(), chunk.nonFinite.begin(),
                                     chunk.nonFinite.end());
            if (chunk.entryCount > 0) {
                for (int i = 0; i < N; ++i) {
                    result_.low[i] = any ? std::min(result_.low[i], chunk.low[i]) : chunk.low[i];
                    result_.high[i] =
                        any ? std::max(result_.high[i], chunk.high[i]) : chunk.high[i];
                }
                any = true;
            }
            if (work_ != nullptr) {
                work_->tableProbes += chunk.probes;
            }
        }
        std::int64_t begin = 0;
        for (std::int64_t& cell : partitionBegin_) {
            begin += std::exchange(cell, begin);
        }
    }

    /// A single chunk has found everything by itself.
    void KeepAll()
    {
        const std::int64_t count = chunks_[0].entryCount;
        for (std::int64_t i = 0; i < count; ++i) {
            const Entry& entry = chunkEntries_[static_cast<std::size_t>(i)];
            result_.records[static_cast<std::size_t>(i)] = {points_[entry.point], entry.place};
            result_.firstPlace[entry.place] = entry.place;
        }
        result_.ranges = {{0, count}};
    }

    void Deal(std::int64_t number, Entry* dealt)
    {
        std::array<std::int64_t, std::size_t{1} << kMaxPartitionBits> next;
        for (std::size_t p = 0; p < std::size_t{1} << partitionBits_; ++p) {
            next[p] = PartitionCell(p, number);
        }
        const Entry* const entries = chunkEntries_.data() + number * kChunkPoints;
        const std::int32_t count = chunks_[static_cast<std::size_t>(number)].entryCount;
        for (std::int32_t i = 0; i < count; ++i) {
            dealt[next[PartitionOf(entries[i].hash)]++] = entries[i];
        }
    }

    void FindInPartition(std::int64_t number, const Entry* dealt)
    {
        const std::int64_t begin = PartitionCell(static_cast<std::size_t>(number), 0);
        const std::int64_t end = PartitionCell(static_cast<std::size_t>(number) + 1, 0);
        // Where the record of a point stands, -1 when free, and its hash.
        struct Slot {
            std::uint32_t hash;
            std::int32_t record;
        };
        std::vector<Slot> table(std::bit_ceil(static_cast<std::size_t>(2 * (end - begin) + 1)),
                                Slot{0, -1});
        const std::size_t mask = table.size() - 1;
        PointRecord<N, T>* const records = result_.records.data() + begin;
        std::int32_t recordCount = 0;
        std::int64_t probes = 0;
        for (std::int64_t i = begin; i < end; ++i) {
            constexpr std::int64_t kAhead = 12;
            if (i + kAhead < end) {
                __builtin_prefetch(points_ + dealt[i + kAhead].point);
            }
            const Entry& entry = dealt[i];
            const VecBase<N, T>& point = points_[entry.point];
            if (probes > kMaxProbesPerPoint * (end - begin)) {
                recordCount = FindBySorting(dealt + begin, end - begin, records);
                break;
            }
            for (std::size_t slot = entry.hash & mask;; slot = (slot + 1) & mask) {
                ++probes;
                const std::int32_t record = table[slot].record;
                if (record < 0) {
                    table[slot] = {entry.hash, recordCount};
                    records[recordCount++] = {point, entry.place};
                    result_.firstPlace[entry.place] = entry.place;
                    break;
                }
                if (table[slot].hash == entry.hash && records[record].point == point) {
                    result_.firstPlace[entry.place] = records[record].place;
                    break;
                }
            }
        }
        result_.ranges[static_cast<std::size_t>(number)] = {begin, recordCount};
        if (work_ != nullptr) {
            work_->tableProbes += probes;
        }
    }

    /// For points made to collide: the first of each group of equal ones, by a sort. In input order
    /// within a group, which is all that later steps ask for.
    std::int32_t FindBySorting(const Entry* entries, std::int64_t count, PointRecord<N, T>* records)
    {
        std::vector<PointRecord<N, T>> sorted(static_cast<std::size_t>(count));
        for (std::size_t i = 0; i < sorted.size(); ++i) {
            sorted[i] = {points_[entries[i].point], entries[i].place};
        }
        std::sort(sorted.begin(), sorted.end(), RecordLess<N, T>);
        std::int32_t recordCount = 0;
        for (const PointRecord<N, T>& record : sorted) {
            if (recordCount == 0 || !(records[recordCount - 1].point == record.point)) {
                records[recordCount++] = record;
            }
            result_.firstPlace[record.place] = records[recordCount - 1].place;
        }
        return recordCount;
    }

    const VecBase<N, T>* points_;
    std::int64_t pointCount_;
    std::int64_t chunkCount_;
    int* placeOf_;
    UniquenessWork* work_;
    int partitionBits_ = 0;
    RawBuffer<Entry> chunkEntries_; // of each chunk from the number of its first point on
    std::vector<Chunk> chunks_;
    std::vector<std::int64_t> partitionBegin_; // by partition, then chunk
    DistinctPoints<N, T> result_;
};

} // namespace Velk::Math::Vector::Impl
