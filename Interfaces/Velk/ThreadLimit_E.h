// The number of threads that operations work on: a scope that a host puts around its calls.
#pragma once

#include <Velk/Export_E.h>

#include <memory>

namespace Velk {

/// @cond
namespace Parallel::Impl {
class ThreadBound;
}
/// @endcond

/// While it lives, operations work on so many threads at most, the calling one included.
///
/// ```
/// const Velk::ThreadLimit limit(2); // leaves the other cores to the machine's control
/// const auto sections = Mesh::MeshSections(part, up, heights, {});
/// ```
///
/// - It holds for the whole process: for calls on every thread, also for those under way. Where several
///   are alive the lowest one holds, in whatever order they come and go, on whatever threads.
/// - 1 lets every operation run on its calling thread alone. A limit only ever lowers: a number beyond
///   that of the processors changes nothing, also where the host has let the task library have more
///   threads than that, and neither does one below 1.
/// - Results are the same, bit for bit, for any number of threads.
/// - The limit is the task library's own (oneTBB): a host that uses the same shared library for its
///   tasks is bounded with it.
class SORVANE_API ThreadLimit {
public:
    /// No limit where `threads` is below 1.
    explicit ThreadLimit(int threads);
    ~ThreadLimit();
    ThreadLimit(const ThreadLimit&) = delete;
    ThreadLimit& operator=(const ThreadLimit&) = delete;

    /// The threads that an operation would work on now, called from this thread.
    static int Current();

private:
    std::unique_ptr<Parallel::Impl::ThreadBound> bound_;
};

} // namespace Velk
