// The parallel seam on plain threads, for the thread sanitizer, which cannot follow a task
// scheduler that was not built with it. Threads are made and joined for each loop.

#include "mathbase/Parallel_Impl.h"
#include "mathbase/ThreadBound_Impl.h"

#include <algorithm>
#include <atomic>
#include <exception>
#include <memory>
#include <mutex>
#include <set>
#include <thread>

namespace Velk::Parallel::Impl {

void RunChunksUnwatched(std::int64_t first, std::int64_t last, std::int64_t grain,
                        void (*body)(void* context, std::int64_t first, std::int64_t last),
                        void* context)
{
    if (first >= last) {
        return;
    }
    const auto step = std::max<std::int64_t>(grain, 1);
    const std::int64_t chunkCount = (last - first + step - 1) / step;
    std::atomic<std::int64_t> nextChunk{0};
    std::mutex firstErrorMutex;
    std::exception_ptr firstError;

    const auto work = [&] {
        for (;;) {
            const std::int64_t chunk = nextChunk.fetch_add(1);
            if (chunk >= chunkCount) {
                return;
            }
            const std::int64_t from = first + chunk * step;
            try {
                body(context, from, std::min(from + step, last));
            } catch (...) {
                const std::lock_guard lock(firstErrorMutex);
                if (!firstError) {
                    firstError = std::current_exception();
                }
                nextChunk.store(chunkCount); // let the other threads run out
                return;
            }
        }
    };

    std::vector<std::thread> helpers;
    const auto helperCount = std::min<std::int64_t>(ThreadCount(), chunkCount) - 1;
    helpers.reserve(static_cast<std::size_t>(std::max<std::int64_t>(helperCount, 0)));
    for (std::int64_t i = 0; i < helperCount; ++i) {
        helpers.emplace_back(work);
    }
    work();
    for (std::thread& helper : helpers) {
        helper.join();
    }
    if (firstError) {
        std::rethrow_exception(firstError);
    }
}

namespace {

/// The bounds that are alive.
struct Bounds {
    std::mutex mutex;
    std::multiset<int> threads;
};

Bounds& AllBounds()
{
    static Bounds bounds;
    return bounds;
}

class CountedBound final : public ThreadBound {
public:
    explicit CountedBound(int threads)
    {
        const std::lock_guard lock(AllBounds().mutex);
        place_ = AllBounds().threads.insert(threads);
    }
    ~CountedBound() override
    {
        const std::lock_guard lock(AllBounds().mutex);
        AllBounds().threads.erase(place_);
    }
    CountedBound(const CountedBound&) = delete;
    CountedBound& operator=(const CountedBound&) = delete;

private:
    std::multiset<int>::iterator place_;
};

} // namespace

int ThreadCount()
{
    const int processors = static_cast<int>(std::max(2U, std::thread::hardware_concurrency()));
    const std::lock_guard lock(AllBounds().mutex);
    return AllBounds().threads.empty() ? processors
                                       : std::min(processors, *AllBounds().threads.begin());
}

std::unique_ptr<ThreadBound> BoundThreads(int threads)
{
    return std::make_unique<CountedBound>(threads);
}

} // namespace Velk::Parallel::Impl
