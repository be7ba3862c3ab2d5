// Progress of long operations, and a way to stop them: a scope that a host puts around its calls.
#pragma once

#include <Velk/Export_E.h>

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>

namespace Velk {

/// @cond
namespace Progress::Impl {
struct State;
}
/// @endcond

/// While it lives, the long operations that its thread calls report to it how far they are and ask
/// it whether to go on.
///
/// ```
/// Velk::ProgressScope scope([&](double fraction) { bar.Show(fraction); return !bar.IsCanceled();
/// }); const auto count = Mesh::IsotropicRemesh(...); if (scope.WasStopped()) { ... } // the
/// results are empty
/// ```
///
/// - A report comes on the thread of the call, about 30 times a second at the most, and not from
/// operations that
///   are through sooner. The fraction lies in [0, 1] and never falls during one call; it is an
///   estimate of work, and begins anew with the next call.
/// - Once a report returns false, the operation gives up within some milliseconds and returns what
/// its comment
///   names for input that it can't serve (empty, zero, false); nothing is leaked, and meshes that
///   were passed in are as they were unless they are results. All later calls in the scope give
///   that at once.
/// - Without a scope, or when nobody stops, results are the same to the last bit, and nothing is
/// measured.
/// - Scopes nest: the inner one hears. Nothing is shared between threads: a scope serves the calls
/// of its own
///   thread, also while they work on several. Calls made inside a report are not watched.
/// - What a report throws passes through the operation to its caller, like a lack of memory.
///
/// To be destroyed on its own thread, inner ones first: a local variable.
class SORVANE_API ProgressScope {
public:
    /// Told a fraction, answers whether to go on.
    using Report = std::function<bool(double fraction)>;

    /// An empty function is never asked: the scope then only shields calls from the one around it.
    explicit ProgressScope(Report report);
    /// Reports no sooner than `interval` after the one before; 0 for as often as operations look.
    ProgressScope(Report report, std::chrono::milliseconds interval);
    ~ProgressScope();
    ProgressScope(const ProgressScope&) = delete;
    ProgressScope& operator=(const ProgressScope&) = delete;

    /// True once a report has returned false.
    bool WasStopped() const;

private:
    std::unique_ptr<Progress::Impl::State> state_;
};

/// @cond
// What the templates of the library's headers call.
namespace Progress::Details {
/// A place at which the operation may be stopped: throws what `Impl::Stoppable` catches. Costs a
/// look at a thread's own variable when there is no scope.
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
} // namespace Progress::Details
/// @endcond

} // namespace Velk
