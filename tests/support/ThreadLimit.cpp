#include "tests/support/ThreadLimit.h"

#ifdef SORVANE_TEST_TBB
#include <oneapi/tbb/global_control.h>
#include <oneapi/tbb/task_arena.h>
#else
#include <Velk/ThreadLimit_E.h>
#endif

namespace Support {

#ifdef SORVANE_TEST_TBB

bool CanLimitThreads()
{
    return true;
}

void WithThreads(int threads, const std::function<void()>& function)
{
    const oneapi::tbb::global_control limit(oneapi::tbb::global_control::max_allowed_parallelism,
                                            static_cast<std::size_t>(threads));
    oneapi::tbb::task_arena arena(threads);
    arena.execute([&] { function(); });
}

#else

bool CanLimitThreads()
{
    return false;
}

void WithThreads(int threads, const std::function<void()>& function)
{
    const Velk::ThreadLimit limit(threads);
    function();
}

#endif

} // namespace Support
