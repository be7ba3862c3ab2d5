// The public limit of the number of threads.

#include <Velk/ThreadLimit_E.h>

#include "mathbase/Parallel_Impl.h"
#include "mathbase/ThreadBound_Impl.h"

namespace Velk {

ThreadLimit::ThreadLimit(int threads)
    : bound_(threads >= 1 ? Parallel::Impl::BoundThreads(threads) : nullptr)
{
}

ThreadLimit::~ThreadLimit() = default;

int ThreadLimit::Current() { return Parallel::Impl::ThreadCount(); }

} // namespace Velk
