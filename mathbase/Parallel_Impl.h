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
#include <type_traits>
#include <vector>

namespace Velk::Parallel::Impl {

/// Runs `body(context, first, last)` on pieces that cover [first, last), side by side. Where the range
/// is cut depends on the threads; pieces are not cut below `grain` indices. Returns when all have run;
/// an exception of a body is rethrown then, and pieces not yet begun are left out.
void RunChunks(std::int64_t first, std::int64_t last, std::int64_t grain,
               void (*body)(void* context, std::int64_t first, std::int64_t last), void* context);

/// Number of threads that a parallel loop may use at this moment, at least 1.
int ThreadCount();

/// Calls fn(index) once for every index in [first, last), in any order and side by side. A single item
/// runs on the caller. For bodies that are worth a task each; loops over points or triangles use
/// `ApplyParallelChunks`.
template <class Index, class Fn> void ApplyParallel(Index first, Index last, Fn&& fn)
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

inline constexpr std::int64_t kChunkSize = 512;

/// Calls fn(from, to) for consecutive chunks of 512 indices that cover [first, last). Fewer than 512
/// indices run as one chunk on the caller; otherwise there are count / 512 + 1 chunks, side by side, of
/// which the last may be empty and is then not called.
template <class Index, class Fn> void ApplyParallelChunks(Index first, Index last, Fn&& fn)
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

} // namespace Velk::Parallel::Impl
