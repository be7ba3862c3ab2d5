// Parallel loops under a progress scope. A thread that waits for its own loop may take over pieces
// of another thread's loop in the meantime, so each piece is told whose it is: only the scope of
// its own loop hears of it, and only on that scope's thread.

#include "mathbase/Parallel_Impl.h"
#include "mathbase/Progress_Impl.h"

namespace Velk::Parallel::Impl {

namespace {

using Body = void (*)(void* context, std::int64_t first, std::int64_t last);

struct Loop {
    Body body;
    void* context;
    Progress::Impl::State* scope;
};

void RunPiece(void* context, std::int64_t first, std::int64_t last)
{
    const Loop& loop = *static_cast<Loop*>(context);
    const bool isOwn = Progress::Impl::Current() == loop.scope;
    const Progress::Impl::CurrentGuard guard(isOwn ? loop.scope : nullptr);
    if (loop.scope == nullptr) {
        loop.body(loop.context, first, last);
        return;
    }
    for (std::int64_t i = first; i < last; ++i) {
        if (isOwn) {
            Progress::Details::Check();
        } else if (loop.scope->isStopped.load(std::memory_order_relaxed)) {
            return;
        }
        loop.body(loop.context, i, i + 1);
    }
}

} // namespace

void RunChunks(std::int64_t first, std::int64_t last, std::int64_t grain, Body body, void* context)
{
    Loop loop{body, context, Progress::Impl::Current()};
    RunChunksUnwatched(first, last, grain, &RunPiece, &loop);
}

} // namespace Velk::Parallel::Impl
