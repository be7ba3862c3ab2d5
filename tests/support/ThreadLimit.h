// Runs a function with a given number of threads, for tests that results do not depend on it.
#pragma once

#include <functional>

namespace Support {

/// False with the plain threads that the thread sanitizer uses, of which there are no more than processors.
bool CanLimitThreads();

/// Runs `function` so that the library uses `threads` threads at most.
void WithThreads(int threads, const std::function<void()>& function);

} // namespace Support
