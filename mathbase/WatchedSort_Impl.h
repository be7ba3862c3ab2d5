// A sort of many elements that a progress scope can stop.
#pragma once

#include "mathbase/Parallel_Impl.h"

#include <algorithm>

namespace Velk::Parallel::Impl {

/// std::sort, and where a progress scope listens the parallel sort, which is asked on its way. For
/// comparisons that tell all elements apart, or where the order of equal ones doesn't matter: they
/// may come in either.
template <class Iterator, class Compare>
void WatchedSort(Iterator first, Iterator last, Compare compare)
{
    if (IsWatched()) {
        ParallelSort(first, last, compare);
    } else {
        std::sort(first, last, compare);
    }
}

} // namespace Velk::Parallel::Impl
