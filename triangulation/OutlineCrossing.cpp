// The sweep over an outline that looks for a crossing.

#include "triangulation/OutlineCrossing_Impl.h"

#include "mathbase/Predicates_Impl.h"
#include "mathbase/Progress_Impl.h"
#include "mathbase/WatchedSort_Impl.h"
#include "triangulation/SweepStatus_Impl.h"

#include <algorithm>
#include <cmath>
#include <tuple>
#include <utility>

namespace Velk::Math::Sorvane::Mesh::Impl {
namespace {

using Math::Impl::Orientation;

/// Events of the sweep for a look at the progress scope: where many edges are open at a time an
/// event takes tens of microseconds.
constexpr unsigned kStepsPerCheck = 32;

struct Edge {
    Vec2d start; // the lower end in the order of the sweep
    Vec2d end;
};

struct Event {
    Vec2d at;
    bool isStart;
    int edge;
};

/// By x, then y; at one point what ends there goes before what starts.
bool IsEarlier(const Event& a, const Event& b)
{
    return std::tuple(a.at.x(), a.at.y(), a.isStart, a.edge) <
           std::tuple(b.at.x(), b.at.y(), b.isStart, b.edge);
}

std::vector<Edge> EdgesOf(const std::vector<Vec2d>& outline)
{
    std::vector<Edge> edges;
    edges.reserve(outline.size());
    for (std::size_t i = 0; i < outline.size(); ++i) {
        Edge edge{outline[i], outline[i + 1 == outline.size() ? 0 : i + 1]};
        if (std::tuple(edge.end.x(), edge.end.y()) < std::tuple(edge.start.x(), edge.start.y())) {
            std::swap(edge.start, edge.end);
        }
        edges.push_back(edge);
    }
    return edges;
}

/// Are the ends of `other` on different sides of the line of `edge`, both beyond the clearance?
bool IsClearlyPassed(const Edge& edge, const Edge& other, double clearance)
{
    const Vec2d d = edge.end - edge.start;
    const double least = clearance * Length(d);
    const bool isClear = std::fabs(d ^ (other.start - edge.start)) > least &&
                         std::fabs(d ^ (other.end - edge.start)) > least;
    return isClear && Orientation(edge.start, edge.end, other.start) *
                              Orientation(edge.start, edge.end, other.end) <
                          0;
}

} // namespace

OutlineCrossing FindClearCrossing(const std::vector<Vec2d>& outline, double clearance)
{
    const std::vector<Edge> edges = EdgesOf(outline);
    std::vector<Event> events;
    events.reserve(2 * edges.size());
    for (int i = 0; i < static_cast<int>(edges.size()); ++i) {
        Progress::Impl::CheckStep(static_cast<std::size_t>(i));
        const Edge& edge = edges[static_cast<std::size_t>(i)];
        events.push_back({edge.start, true, i});
        events.push_back({edge.end, false, i});
    }
    Parallel::Impl::WatchedSort(events.begin(), events.end(), IsEarlier);

    OutlineCrossing result;
    const auto examine = [&](int first, int second) {
        if (first < 0 || second < 0 || result.isFound) {
            return;
        }
        ++result.comparisons;
        const Edge& a = edges[static_cast<std::size_t>(first)];
        const Edge& b = edges[static_cast<std::size_t>(second)];
        result.isFound = IsClearlyPassed(a, b, clearance) && IsClearlyPassed(b, a, clearance);
    };
    SweepStatus status;
    unsigned steps = 0;
    for (const Event& event : events) {
        if (steps++ % kStepsPerCheck == 0) {
            Progress::Impl::Check();
        }
        const Edge& edge = edges[static_cast<std::size_t>(event.edge)];
        if (event.isStart) {
            status.Enter(event.edge, edge.start, edge.end, {event.edge, SweepClass::Start});
            const auto [below, above] = status.Neighbors(event.edge);
            examine(below, event.edge);
            examine(event.edge, above);
        } else {
            const auto [below, above] = status.Neighbors(event.edge);
            status.Remove(event.edge);
            examine(below, above);
        }
        if (result.isFound) {
            break;
        }
    }
    return result;
}

} // namespace Velk::Math::Sorvane::Mesh::Impl
