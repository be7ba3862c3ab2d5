// What bounds the number of threads, for as long as it lives. The sources of the parallel seam
// define it, each with its own means.
#pragma once

#include <memory>

namespace Velk::Parallel::Impl {

class ThreadBound {
public:
    virtual ~ThreadBound() = default;
    ThreadBound(const ThreadBound&) = delete;
    ThreadBound& operator=(const ThreadBound&) = delete;

protected:
    ThreadBound() = default;
};

/// `threads` is at least 1. The lowest of all bounds holds. A number beyond that of the processors is
/// none, and may come back as nothing.
std::unique_ptr<ThreadBound> BoundThreads(int threads);

} // namespace Velk::Parallel::Impl
