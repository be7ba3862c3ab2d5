// Runs a function with a given number of threads, for tests that results do not depend on it.
#pragma once

#ifdef SORVANE_TEST_TBB
#include <oneapi/tbb/global_control.h>
#include <oneapi/tbb/task_arena.h>
#endif

namespace Test {

/// With the plain threads that the thread sanitizer uses, whose number cannot be set, just runs it.
template <class Fn>
void WithThreads(int threads, Fn&& fn)
{
#ifdef SORVANE_TEST_TBB
    const oneapi::tbb::global_control limit(oneapi::tbb::global_control::max_allowed_parallelism,
                                            static_cast<std::size_t>(threads));
    oneapi::tbb::task_arena arena(threads);
    arena.execute([&] { fn(); });
#else
    static_cast<void>(threads);
    fn();
#endif
}

} // namespace Test
