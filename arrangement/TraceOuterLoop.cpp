// The outer boundary of a set of segments that meet at their ends only.
//
//   1. Ends within the tolerance of each other become one node, repeated segments one edge.
//   2. The edges of each node are sorted by direction, with an exact comparison of turns.
//   3. From the lowest node of each connected component the walk leaves by the first edge, and at
//   each
//      node takes the next edge counter-clockwise from the one it came by: the rightmost turn. As
//      "next" is a permutation of the directed edges, the walk comes back to its first one.
//   4. The walk around the largest area is the result. A node with a single edge is a dead end:
//   where
//      that walk meets one, the path on both sides of its starting node is given.

#include "mathbase/Buckets_Impl.h"
#include "mathbase/DisjointSets_Impl.h"
#include "mathbase/PointCells_Impl.h"
#include "mathbase/Predicates_Impl.h"
#include "mathbase/Progress_Impl.h"
#include "mathbase/Values_Impl.h"

#include <Velk/Math/Intersect_E.h>

#include <boost/unordered/unordered_flat_set.hpp>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <span>
#include <utility>
#include <vector>

namespace Velk::Math::Intersect {
namespace {

using Geometry::SegBase;
using Math::Impl::IsUsable;
using Math::Impl::Widened;

/// Numbers points so that those which match share a node: the nearest that was there before, then
/// the lower number. A node stays where its first point was.
template <class T>
class Nodes {
public:
    Nodes(std::size_t capacity, T tolerance) : tolerance_(tolerance), near_(capacity, tolerance) {}

    int FindOrAdd(const VecBase<2, T>& point)
    {
        int nearest = -1;
        double leastDistance = 0;
        near_.VisitNear(point, [&](int node) {
            const VecBase<2, T>& position = positions_[static_cast<std::size_t>(node)];
            if (Vector::Matches(position, point, tolerance_)) {
                const double distance = Vector::Length(Widened(position) - Widened(point));
                if (nearest < 0 || distance < leastDistance ||
                    (distance == leastDistance && node < nearest)) {
                    nearest = node;
                    leastDistance = distance;
                }
            }
            return Vector::Impl::Visiting::GoOn;
        });
        if (nearest >= 0) {
            return nearest;
        }
        const int added = static_cast<int>(positions_.size());
        positions_.push_back(point);
        near_.Add(point, added);
        return added;
    }

    const std::vector<VecBase<2, T>>& Positions() const { return positions_; }

private:
    T tolerance_;
    std::vector<VecBase<2, T>> positions_;
    Vector::Impl::NearPoints<2, T> near_;
};

/// An edge, in the direction of its segment of lowest number; edges are numbered as their segments
/// come.
struct Edge {
    int from;
    int to;
};

template <class T>
std::vector<Edge> DistinctEdges(const std::vector<SegBase<T>>& segments, T tolerance,
                                Nodes<T>& nodes)
{
    std::vector<Edge> edges;
    edges.reserve(segments.size());
    Progress::Impl::Steps steps;
    for (const SegBase<T>& segment : segments) {
        steps.Next();
        const bool isPoint = Vector::Matches(segment.start, segment.end, tolerance);
        if (!isPoint && IsUsable(segment.start) && IsUsable(segment.end)) {
            const int from = nodes.FindOrAdd(segment.start);
            const int to = nodes.FindOrAdd(segment.end);
            if (from != to) {
                edges.push_back({from, to});
            }
        }
    }
    boost::unordered_flat_set<std::uint64_t> seen;
    seen.reserve(edges.size());
    std::erase_if(edges, [&](const Edge& edge) {
        const auto [low, high] = std::minmax(edge.from, edge.to);
        return !seen.insert(static_cast<std::uint64_t>(low) << 32U | static_cast<unsigned>(high))
                    .second;
    });
    return edges;
}

/// The edges as a drawing in the plane. Directed edge 2e runs edge e as it is, 2e + 1 the other
/// way.
class Drawing {
public:
    Drawing(std::vector<Edge> edges, std::vector<Vec2d> positions)
        : edges_(std::move(edges)), positions_(std::move(positions)),
          around_(Math::Impl::NumbersInBuckets(
              positions_.size(), 2 * edges_.size(),
              [this](std::size_t directed) { return Origin(static_cast<int>(directed)); })),
          slot_(2 * edges_.size())
    {
        for (std::size_t node = 0; node < positions_.size(); ++node) {
            Progress::Impl::CheckStep(node);
            const std::span<int> around = around_[node];
            std::sort(around.begin(), around.end(),
                      [this](int a, int b) { return IsEarlier(a, b); });
            for (std::size_t place = 0; place < around.size(); ++place) {
                slot_[static_cast<std::size_t>(around[place])] = static_cast<int>(place);
            }
        }
    }

    int Origin(int directed) const
    {
        const Edge& edge = edges_[static_cast<std::size_t>(directed / 2)];
        return directed % 2 == 0 ? edge.from : edge.to;
    }
    int Target(int directed) const { return Origin(directed ^ 1); }
    bool IsDeadEnd(int node) const { return around_[node].size() == 1; }

    /// An edge of the outer boundary of each component: of the edges out of its lowest, then
    /// leftmost node the one farthest to the right, since all run upwards or to the right and are
    /// sorted from there on. The components come in the order of these nodes.
    std::vector<int> FirstsOfOuterBoundaries() const
    {
        Math::Impl::DisjointSets components(positions_.size());
        for (const Edge& edge : edges_) {
            components.Join(edge.from, edge.to);
        }
        std::vector<int> lowest(positions_.size(), -1); // by the number of the component
        for (int node = 0; node < static_cast<int>(positions_.size()); ++node) {
            int& least = lowest[static_cast<std::size_t>(components.Find(node))];
            if (HasEdges(node) && (least < 0 || IsLower(node, least))) {
                least = node;
            }
        }
        std::erase(lowest, -1);
        std::sort(lowest.begin(), lowest.end(), [this](int a, int b) { return IsLower(a, b); });
        for (int& first : lowest) {
            first = around_[first].front();
        }
        return lowest;
    }

    /// Twice the area to the left of the edge and of the lines from its ends to `origin`.
    double TwiceAreaFrom(const Vec2d& origin, int directed) const
    {
        const Vec2d from = positions_[static_cast<std::size_t>(Origin(directed))] - origin;
        const Vec2d to = positions_[static_cast<std::size_t>(Target(directed))] - origin;
        return from ^ to;
    }

    const Vec2d& PositionOfOrigin(int directed) const
    {
        return positions_[static_cast<std::size_t>(Origin(directed))];
    }

    /// The edge that follows on the boundary, the rightmost one at the target, and the one before.
    int Next(int directed) const { return Neighbor(directed ^ 1, 1); }
    int Previous(int directed) const { return Neighbor(directed, -1) ^ 1; }

private:
    bool HasEdges(int node) const { return !around_[node].empty(); }

    bool IsLower(int node, int other) const
    {
        const Vec2d& a = positions_[static_cast<std::size_t>(node)];
        const Vec2d& b = positions_[static_cast<std::size_t>(other)];
        return a.y() != b.y() ? a.y() < b.y() : a.x() < b.x();
    }

    /// The directed edge beside this one at its origin, counter-clockwise for step 1.
    int Neighbor(int directed, int step) const
    {
        const std::span<const int> around = around_[Origin(directed)];
        const int count = static_cast<int>(around.size());
        const int place = slot_[static_cast<std::size_t>(directed)] + step;
        return around[static_cast<std::size_t>(place < 0 ? count - 1 : place == count ? 0 : place)];
    }

    /// Order by direction about a common origin, counter-clockwise from the X axis. Of two edges in
    /// exactly one direction, which lie over each other, the shorter, then the lower number, goes
    /// first.
    bool IsEarlier(int a, int b) const
    {
        const Vec2d& origin = positions_[static_cast<std::size_t>(Origin(a))];
        const Vec2d& endOfA = positions_[static_cast<std::size_t>(Target(a))];
        const Vec2d& endOfB = positions_[static_cast<std::size_t>(Target(b))];
        const bool aPointsDown = PointsDown(origin, endOfA);
        if (aPointsDown != PointsDown(origin, endOfB)) {
            return !aPointsDown;
        }
        const int turn = Math::Impl::Orientation(origin, endOfA, endOfB);
        if (turn != 0) {
            return turn > 0;
        }
        const double lengthOfA = Vector::Length(endOfA - origin);
        const double lengthOfB = Vector::Length(endOfB - origin);
        return lengthOfA != lengthOfB ? lengthOfA < lengthOfB : a < b;
    }

    /// In the lower half plane, the negative X axis included.
    static bool PointsDown(const Vec2d& origin, const Vec2d& end)
    {
        return end.y() != origin.y() ? end.y() < origin.y() : end.x() < origin.x();
    }

    std::vector<Edge> edges_;
    std::vector<Vec2d> positions_;
    Math::Impl::Buckets<int, int> around_; // directed edges out of each node, by direction
    std::vector<int> slot_;                // place of each directed edge among those of its origin
};

/// A walk along the outer boundary of a component.
struct Walk {
    std::vector<int> passed; // directed edges
    bool isClosed = true;    // without a dead end
    double twiceArea = 0;    // within
};

/// The whole boundary from `first` on, bridges and ways into dead ends there and back. `wasPassed`,
/// of every directed edge, is shared by all walks: no edge is on two of them.
void WalkAround(const Drawing& drawing, int first, std::vector<char>& wasPassed, Walk& walk)
{
    walk.passed.clear();
    walk.isClosed = true;
    int directed = first;
    do {
        walk.passed.push_back(directed);
        wasPassed[static_cast<std::size_t>(directed)] = 1;
        walk.isClosed = walk.isClosed && !drawing.IsDeadEnd(drawing.Target(directed));
        directed = drawing.Next(directed);
    } while (directed != first);
    // What is passed both ways bounds nothing, and is left out so that it adds no rounding either.
    double twiceArea = 0;
    const Vec2d& origin = drawing.PositionOfOrigin(first);
    for (const int passed : walk.passed) {
        if (wasPassed[static_cast<std::size_t>(passed ^ 1)] == 0) {
            twiceArea += drawing.TwiceAreaFrom(origin, passed);
        }
    }
    walk.twiceArea = std::fabs(twiceArea);
}

/// The walk around the largest area, of equal ones the first.
Walk LargestWalk(const Drawing& drawing, std::size_t edgeCount)
{
    std::vector<char> wasPassed(2 * edgeCount, 0);
    Walk largest;
    Walk walk;
    for (const int first : drawing.FirstsOfOuterBoundaries()) {
        WalkAround(drawing, first, wasPassed, walk);
        if (largest.passed.empty() || walk.twiceArea > largest.twiceArea) {
            std::swap(walk, largest);
        }
    }
    return largest;
}

/// The part of the boundary around `first` that runs into dead ends on both sides. Where it has no
/// second dead end, it stops before it would run an edge for the second time.
std::vector<int> OpenPath(const Drawing& drawing, int first, std::size_t edgeCount)
{
    std::vector<char> used(edgeCount, 0);
    const auto takes = [&](int directed) {
        char& mark = used[static_cast<std::size_t>(directed / 2)];
        return std::exchange(mark, char{1}) == 0;
    };
    std::vector<int> path;
    for (int directed = first; takes(directed); directed = drawing.Next(directed)) {
        path.push_back(directed);
        if (drawing.IsDeadEnd(drawing.Target(directed))) {
            break;
        }
    }
    std::reverse(path.begin(), path.end());
    int directed = first;
    while (!drawing.IsDeadEnd(drawing.Origin(directed))) {
        directed = drawing.Previous(directed);
        if (!takes(directed)) {
            break;
        }
        path.push_back(directed);
    }
    std::reverse(path.begin(), path.end());

    if (*std::min_element(path.begin(), path.end()) % 2 != 0) { // the first segment runs backwards
        std::reverse(path.begin(), path.end());
        for (int& passed : path) {
            passed ^= 1;
        }
    }
    return path;
}

} // namespace

template <class T>
bool TraceOuterLoop(const std::vector<SegBase<T>>& segments, std::vector<VecBase<2, T>>& loop,
                    T tolerance)
{
    loop.clear();
    Nodes<T> nodes(2 * segments.size(), tolerance);
    std::vector<Edge> edges = DistinctEdges(segments, tolerance, nodes);
    if (edges.empty()) {
        return false;
    }
    const std::size_t edgeCount = edges.size();
    const std::vector<VecBase<2, T>>& positions = nodes.Positions();
    std::vector<Vec2d> wide;
    wide.reserve(positions.size());
    for (const VecBase<2, T>& position : positions) {
        wide.push_back(Widened(position));
    }
    const Drawing drawing(std::move(edges), std::move(wide));
    const Walk largest = LargestWalk(drawing, edgeCount);
    const std::vector<int> walk =
        largest.isClosed ? largest.passed : OpenPath(drawing, largest.passed.front(), edgeCount);
    loop.reserve(walk.size() + 1);
    loop.push_back(positions[static_cast<std::size_t>(drawing.Origin(walk.front()))]);
    for (const int directed : walk) {
        loop.push_back(positions[static_cast<std::size_t>(drawing.Target(directed))]);
    }
    return largest.isClosed;
}

// clang-format off
template bool TraceOuterLoop(const std::vector<SegBase<float>>&,  std::vector<VecBase<2, float>>&,  float);
template bool TraceOuterLoop(const std::vector<SegBase<double>>&, std::vector<VecBase<2, double>>&, double);
// clang-format on

} // namespace Velk::Math::Intersect
