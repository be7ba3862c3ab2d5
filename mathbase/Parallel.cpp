// Parallel loops under a progress scope. A thread that waits for its own loop may take over pieces
// of another thread's loop in the meantime, so each piece is told whose it is: only the scope of
// its own loop hears of it, and only on that scope's thread. Threads that help give up when that
// scope has been stopped.

#include "mathbase/Parallel_Impl.h"
#include "mathbase/ProgressState_Impl.h"

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
    if (loop.scope == nullptr) {
        const Progress::Impl::PlaceGuard unwatched({});
        loop.body(loop.context, first, last);
        return;
    }
    const bool isOwn = Progress::Impl::Current().own == loop.scope;
    const Progress::Impl::PlaceGuard guard(isOwn ? Progress::Impl::Place{loop.scope, nullptr}
                                                 : Progress::Impl::Place{nullptr, loop.scope});
    for (std::int64_t i = first; i < last; ++i) {
        Progress::Impl::Check();
        loop.body(loop.context, i, i + 1);
    }
}

} // namespace

void RunChunks(std::int64_t first, std::int64_t last, std::int64_t grain, Body body, void* context)
{
    Progress::Impl::Check(); // which pieces fall to this thread is not known
    Loop loop{body, context, Progress::Impl::ActiveScope()};
    RunChunksUnwatched(first, last, grain, &RunPiece, &loop);
}

bool IsWatched() { return Progress::Impl::ActiveScope() != nullptr; }

} // namespace Velk::Parallel::Impl
