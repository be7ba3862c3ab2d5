// Runs a function with a given number of threads, for tests that results do not depend on it.
#pragma once

#include <functional>

namespace Support {

/// False with the plain threads that the thread sanitizer uses, whose number cannot be set.
bool CanLimitThreads();

/// Runs `function` so that the library uses `threads` threads at most; just runs it where that cannot be
/// set.
void WithThreads(int threads, const std::function<void()>& function);

} // namespace Support
