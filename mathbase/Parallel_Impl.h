// The parallel loop and the parallel sort that every family uses.
//
// Thin templates over one non-template seam, `RunChunks`, whose source alone knows the task library
// (or, for the thread sanitizer, plain threads). The seam costs one indirect call for each chunk.
// Bodies write only to their own slot; exceptions of a body pass through to the caller.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <iterator>
#include <memory>
#include <type_traits>
#include <utility>
#include <vector>

namespace Velk::Parallel::Impl {

/// Runs `body(context, first, last)` on pieces that cover [first, last), side by side. Where the
/// range is cut depends on the threads; pieces are not cut below `grain` indices. Returns when all
/// have run; an exception of a body is rethrown then, and pieces not yet begun are left out. Where
/// a progress scope listens it is asked before each index that the calling thread takes.
void RunChunks(std::int64_t first, std::int64_t last, std::int64_t grain,
               void (*body)(void* context, std::int64_t first, std::int64_t last), void* context);

/// The same without a scope: what the task library, or plain threads, do.
void RunChunksUnwatched(std::int64_t first, std::int64_t last, std::int64_t grain,
                        void (*body)(void* context, std::int64_t first, std::int64_t last),
                        void* context);

/// Number of threads that a parallel loop may use at this moment, at least 1.
int ThreadCount();

/// Does a progress scope listen to the work of this thread? Then a single thread divides it as
/// well, so that there are places at which the scope is asked.
bool IsWatched();

/// Calls fn(index) once for every index in [first, last), in any order and side by side. A single
/// item runs on the caller. For bodies that are worth a task each; loops over points or triangles
/// use `ApplyParallelChunks`.
template <class Index, class Fn>
void ApplyParallel(Index first, Index last, Fn&& fn)
{
    if (!(first < last)) {
        return;
    }
    if (last - first == 1) {
        fn(first);
        return;
    }
    using Body = std::remove_reference_t<Fn>;
    RunChunks(
        static_cast<std::int64_t>(first), static_cast<std::int64_t>(last), 1,
        [](void* context, std::int64_t from, std::int64_t to) {
            for (std::int64_t i = from; i < to; ++i) {
                (*static_cast<Body*>(context))(static_cast<Index>(i));
            }
        },
        const_cast<std::remove_const_t<Body>*>(std::addressof(fn)));
}

/// Calls each of the functions once, in any order and side by side, and returns when all have run.
/// An exception of one is rethrown then; functions not yet begun may be left out.
template <class... Fns>
void ApplyInvoke(Fns&&... fns)
{
    ApplyParallel(0, static_cast<int>(sizeof...(fns)), [&](int number) {
        int current = 0;
        ((current++ == number ? static_cast<void>(fns()) : void()), ...);
    });
}

inline constexpr std::int64_t kChunkSize = 512;

/// Calls fn(from, to) for consecutive chunks of 512 indices that cover [first, last). Fewer than
/// 512 indices run as one chunk on the caller; otherwise there are count / 512 + 1 chunks, side by
/// side, of which the last may be empty and is then not called.
template <class Index, class Fn>
void ApplyParallelChunks(Index first, Index last, Fn&& fn)
{
    if (!(first < last)) {
        return;
    }
    const auto begin = static_cast<std::int64_t>(first);
    const auto end = static_cast<std::int64_t>(last);
    if (end - begin < kChunkSize) {
        fn(first, last);
        return;
    }
    const std::int64_t chunkCount = (end - begin) / kChunkSize + 1;
    ApplyParallel(std::int64_t{0}, chunkCount, [&](std::int64_t chunk) {
        const std::int64_t from = begin + chunk * kChunkSize;
        const std::int64_t to = std::min(from + kChunkSize, end);
        if (from < to) {
            fn(static_cast<Index>(from), static_cast<Index>(to));
        }
    });
}

/// Sizes of the parallel sort, in elements: the runs that are sorted one by one, the most that one
/// task merges on its own while they lie in its cache, and the share of a long merge that is one
/// task.
inline constexpr std::int64_t kSortChunk = 2048;
inline constexpr std::int64_t kSortGroup = 32 * kSortChunk;
inline constexpr std::int64_t kMergePiece = 8 * kSortChunk;

/// How many of the first `count` elements of the stable merge of two sorted runs come from run `a`.
/// Binary search along the cross diagonal of the merge (S. Odeh, O. Green et al., "Merge Path",
/// 2012).
template <class Source, class Compare>
std::int64_t MergeSplit(Source a, std::int64_t aCount, Source b, std::int64_t bCount,
                        std::int64_t count, Compare& compare)
{
    std::int64_t low = std::max<std::int64_t>(0, count - bCount);
    std::int64_t high = std::min(count, aCount);
    while (low < high) {
        const std::int64_t middle = low + (high - low) / 2;
        if (compare(b[count - 1 - middle], a[middle])) {
            high = middle;
        } else {
            low = middle + 1; // of equal elements the one of run a comes first
        }
    }
    return low;
}

/// Moves the stable merge of [a, aEnd) and [b, bEnd) to `out`. Unlike std::merge over move
/// iterators it never shows the comparison an element that may be moved from.
template <class Source, class Target, class Compare>
void MoveMerged(Source a, Source aEnd, Source b, Source bEnd, Target out, Compare& compare)
{
    while (a != aEnd && b != bEnd) {
        if (compare(*b, *a)) {
            *out++ = std::move(*b++);
        } else {
            *out++ = std::move(*a++);
        }
    }
    std::move(b, bEnd, std::move(a, aEnd, out));
}

/// Merges neighboring runs of `width` elements within [from, to), one pair after the other.
template <class Source, class Target, class Compare>
void MergeRuns(Source source, Target target, std::int64_t from, std::int64_t to, std::int64_t width,
               Compare& compare)
{
    for (std::int64_t run = from; run < to; run += 2 * width) {
        const std::int64_t middle = std::min(run + width, to);
        const std::int64_t end = std::min(middle + width, to);
        MoveMerged(source + run, source + middle, source + middle, source + end, target + run,
                   compare);
    }
}

/// Merges neighboring runs of `width` elements of [0, count) side by side, long pairs in several
/// pieces each, so that no thread is left over in the last and longest merge.
template <class Source, class Target, class Compare>
void MergeRunsInPieces(Source source, Target target, std::int64_t count, std::int64_t width,
                       Compare& compare)
{
    const std::int64_t pieceSize =
        std::min(kMergePiece, 2 * width); // both are powers of two chunks
    const std::int64_t pieceCount = (count + pieceSize - 1) / pieceSize;
    const auto runOf = [&](std::int64_t piece) {
        return piece * pieceSize / (2 * width) * 2 * width;
    };
    const auto middleOf = [&](std::int64_t run) { return std::min(run + width, count); };
    const auto endOf = [&](std::int64_t run) { return std::min(run + 2 * width, count); };

    // Every piece knows its share of both runs before any element is moved away.
    std::vector<std::int64_t> takenFromFirst(static_cast<std::size_t>(pieceCount));
    ApplyParallel(std::int64_t{0}, pieceCount, [&](std::int64_t piece) {
        const std::int64_t run = runOf(piece);
        takenFromFirst[static_cast<std::size_t>(piece)] =
            MergeSplit(source + run, middleOf(run) - run, source + middleOf(run),
                       endOf(run) - middleOf(run), piece * pieceSize - run, compare);
    });
    ApplyParallel(std::int64_t{0}, pieceCount, [&](std::int64_t piece) {
        const std::int64_t run = runOf(piece);
        const std::int64_t middle = middleOf(run);
        const std::int64_t begin = piece * pieceSize;
        const std::int64_t end = std::min(begin + pieceSize, endOf(run));
        const std::int64_t a = takenFromFirst[static_cast<std::size_t>(piece)];
        const std::int64_t aEnd =
            end == endOf(run) ? middle - run : takenFromFirst[static_cast<std::size_t>(piece + 1)];
        MoveMerged(source + run + a, source + run + aEnd, source + middle + (begin - run - a),
                   source + middle + (end - run - aEnd), target + begin, compare);
    });
}

/// Sorts [first, last) stably: elements that compare equal keep their order, so the result is the
/// one possible, whatever the number of threads.
///
/// Up to 2048 elements, or with a single thread on which no progress scope listens, this is
/// std::stable_sort on the caller. Above that
/// runs of 2048 are sorted side by side and merged pairwise, where the runs depend on the count
/// alone. `compare` is a strict weak order that several threads may call at once; its exceptions
/// pass through and leave the elements in no particular state. Elements are default constructible;
/// as much memory again is taken as they need. O(n log n).
template <class Iterator, class Compare>
void ParallelSort(Iterator first, Iterator last, Compare compare)
{
    using Element = typename std::iterator_traits<Iterator>::value_type;
    const auto count = static_cast<std::int64_t>(last - first);
    if (count <= kSortChunk || (ThreadCount() == 1 && !IsWatched())) {
        std::stable_sort(first, last, compare);
        return;
    }
    // Large enough to spare passes over memory, small enough that there are tasks for many threads.
    std::int64_t group = kSortChunk;
    while (group < kSortGroup && count / group >= 32) {
        group *= 2;
    }
    const auto storage = std::make_unique_for_overwrite<Element[]>(static_cast<std::size_t>(count));
    Element* const buffer = storage.get();
    bool inBuffer = false;
    for (std::int64_t width = kSortChunk; width < group; width *= 2) {
        inBuffer = !inBuffer;
    }

    ApplyParallel(std::int64_t{0}, (count + group - 1) / group, [&](std::int64_t number) {
        const std::int64_t from = number * group;
        const std::int64_t to = std::min(from + group, count);
        for (std::int64_t run = from; run < to; run += kSortChunk) {
            std::stable_sort(first + run, first + std::min(run + kSortChunk, to), compare);
        }
        bool moved = false;
        for (std::int64_t width = kSortChunk; width < group; width *= 2) {
            if (moved) {
                MergeRuns(buffer, first, from, to, width, compare);
            } else {
                MergeRuns(first, buffer, from, to, width, compare);
            }
            moved = !moved;
        }
    });
    for (std::int64_t width = group; width < count; width *= 2) {
        if (inBuffer) {
            MergeRunsInPieces(buffer, first, count, width, compare);
        } else {
            MergeRunsInPieces(first, buffer, count, width, compare);
        }
        inBuffer = !inBuffer;
    }
    if (inBuffer) {
        ApplyParallel(std::int64_t{0}, (count + kMergePiece - 1) / kMergePiece,
                      [&](std::int64_t piece) {
                          const std::int64_t from = piece * kMergePiece;
                          std::move(buffer + from, buffer + std::min(from + kMergePiece, count),
                                    first + from);
                      });
    }
}

} // namespace Velk::Parallel::Impl
