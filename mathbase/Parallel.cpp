// Parallel loops under a progress scope. A thread that waits for its own loop may take over pieces
// of another thread's loop in the meantime, so each piece is told whose it is: only the scope of
// its own loop hears of it, and only on that scope's thread. Threads that help give up when that
// scope has been stopped.
//
// Nobody asks the scope while its thread waits for the last pieces, which others work on: the task
// library knows nothing of it. A single piece may be long, the search tree of a whole part. So the
// thread of the scope waits here, and asks now and then, until the others are through.

#include "mathbase/Parallel_Impl.h"
#include "mathbase/ProgressState_Impl.h"

#include <condition_variable>
#include <mutex>

namespace Velk::Parallel::Impl {

namespace {

using Body = void (*)(void* context, std::int64_t first, std::int64_t last);
using Progress::Impl::Place;
using Progress::Impl::PlaceGuard;

/// How often a thread that waits asks its scope: more often than scopes report.
constexpr std::chrono::milliseconds kPatience(10);

struct Loop {
    Body body;
    void* context;
};

void RunUnwatched(void* context, std::int64_t first, std::int64_t last)
{
    const Loop& loop = *static_cast<Loop*>(context);
    const PlaceGuard unwatched({});
    loop.body(loop.context, first, last);
}

/// A loop to which a scope listens. Its threads draw the indices from one counter, so that all of
/// them can be told to leave the rest.
class WatchedLoop {
public:
    WatchedLoop(Body body, void* context, Progress::Impl::State* scope, std::int64_t first,
                std::int64_t last, std::int64_t threads)
        : body_(body), context_(context), scope_(scope), next_(first), last_(last),
          draw_(std::clamp<std::int64_t>((last - first) / (kDraws * threads), 1, kDraws)),
          isWaitedFor_(IsOwn() && !Progress::Impl::Current().isInLoop)
    {
    }

    /// The part of one thread, until there is nothing left to draw.
    static void RunPart(void* context, std::int64_t, std::int64_t)
    {
        static_cast<WatchedLoop*>(context)->Run();
    }

private:
    /// Draws of each thread at the least, where there is so much to draw, and the longest one.
    static constexpr std::int64_t kDraws = 64;

    /// The thread that helps with a loop, as long as it does; what throws ends the loop for all.
    class Part {
    public:
        Part(WatchedLoop& loop, bool isHelper) : loop_(loop), isHelper_(isHelper)
        {
            if (isHelper_) {
                const std::lock_guard lock(loop_.mutex_);
                ++loop_.helpers_;
            }
        }
        ~Part()
        {
            if (!isDone) {
                loop_.next_ = loop_.last_;
            }
            if (isHelper_) {
                const std::lock_guard lock(loop_.mutex_);
                --loop_.helpers_;
                loop_.isLeft_.notify_one();
            }
        }
        Part(const Part&) = delete;
        Part& operator=(const Part&) = delete;

        bool isDone = false;

    private:
        WatchedLoop& loop_;
        bool isHelper_;
    };

    bool IsOwn() const { return Progress::Impl::Current().own == scope_; }

    void Run()
    {
        const bool isOwn = IsOwn();
        const PlaceGuard guard(isOwn ? Place{scope_, nullptr, true} : Place{nullptr, scope_, true});
        // Only what the caller takes first waits: what it takes later, while it waits elsewhere,
        // may lie above a piece that others need.
        const bool waits = isOwn && std::exchange(isWaitedFor_, false);
        Part part(*this, !isOwn);
        for (;;) {
            const std::int64_t from = next_.fetch_add(draw_, std::memory_order_relaxed);
            if (from >= last_) {
                break;
            }
            for (std::int64_t i = from; i < std::min(from + draw_, last_); ++i) {
                Progress::Impl::Check();
                body_(context_, i, i + 1);
            }
        }
        if (waits) {
            std::unique_lock lock(mutex_);
            while (!isLeft_.wait_for(lock, kPatience, [this] { return helpers_ == 0; })) {
                lock.unlock();
                Progress::Impl::Check();
                lock.lock();
            }
        }
        part.isDone = true;
    }

    Body body_;
    void* context_;
    Progress::Impl::State* scope_;
    std::atomic<std::int64_t> next_;
    std::int64_t last_;
    std::int64_t draw_;
    bool isWaitedFor_; // used by the thread of the scope alone
    std::mutex mutex_;
    std::condition_variable isLeft_;
    int helpers_ = 0;
};

} // namespace

void RunChunks(std::int64_t first, std::int64_t last, std::int64_t grain, Body body, void* context)
{
    Progress::Impl::Check(); // which pieces fall to this thread is not known
    Progress::Impl::State* const scope = Progress::Impl::ActiveScope();
    if (scope == nullptr) {
        Loop loop{body, context};
        RunChunksUnwatched(first, last, grain, &RunUnwatched, &loop);
    } else if (first < last) {
        const std::int64_t threads = std::min<std::int64_t>(ThreadCount(), last - first);
        WatchedLoop loop(body, context, scope, first, last, threads);
        RunChunksUnwatched(0, threads, 1, &WatchedLoop::RunPart, &loop);
    }
}

bool IsWatched() { return Progress::Impl::ActiveScope() != nullptr; }

} // namespace Velk::Parallel::Impl
