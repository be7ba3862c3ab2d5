// Where a long operation can be stopped: what the templates of the library's headers call. A host
// needs Velk/Progress_E.h alone.
#pragma once

#include <Velk/Export_E.h>

#include <cstddef>

/// @cond
namespace Velk::Progress::Impl {

/// A place at which the operation may be stopped: reports now and then, and throws what
/// `Progress::Impl::Stoppable` catches. Costs a look at a thread's own variable when there is no
/// scope.
SORVANE_API void Check();

/// The same, at `fraction` of the present phase.
SORVANE_API void Check(double fraction);

/// For loops of short steps: `Check()` at every 1,024th of them.
inline void CheckStep(std::size_t number)
{
    if (number % 1024 == 0) {
        Check();
    }
}

/// The same, at `fraction` of the present phase when all of `count` are through.
inline void CheckStep(std::size_t number, std::size_t count)
{
    if (number % 1024 == 0) {
        Check(static_cast<double>(number) / static_cast<double>(count));
    }
}

} // namespace Velk::Progress::Impl
/// @endcond
