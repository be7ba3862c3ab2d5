// Progress of long operations, and a way to stop them: a scope that a host puts around its calls.
#pragma once

#include <Velk/Export_E.h>
#include <Velk/ProgressChecks_E.h>

#include <chrono>
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
/// Velk::ProgressScope scope([&](double fraction) {
///     bar.Show(fraction);
///     return !bar.IsCanceled();
/// });
/// const auto sections = Mesh::MeshSections(part, up, heights, {});
/// if (scope.WasStopped()) { // the sections are empty
///     return;
/// }
/// ```
///
/// - A report comes on the thread of the call, about 30 times a second at the most, and not from
///   operations that are through sooner. The fraction lies in [0, 1] and never falls during one
///   call; it is an estimate of work, and begins anew with the next call.
/// - Once a report returns false, the operation gives up within some milliseconds and returns what
///   its comment names for input that it can't serve (empty, zero, false); nothing is leaked, and
///   meshes that were passed in are as they were unless they are results. All later calls of long
///   operations in the scope give that at once, so that a chain of calls needs one look at
///   `WasStopped` at its end.
/// - A stopped operation leaves results that it fills empty, as far as it has cleared them before,
///   and an object that it works on as a lack of memory would: sound, with all or part of the
///   change. A stopped constructor makes the object of an empty input.
/// - Without a scope, or when nobody stops, results are the same to the last bit, and nothing is
///   measured.
/// - Scopes nest: the inner one hears. Nothing is shared between threads: a scope serves the calls
///   of its own thread, also while they work on several. Calls made inside a report are not
///   watched.
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

} // namespace Velk
