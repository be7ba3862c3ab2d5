// Chains out of loose elements: vertices, a graph of them, paths through the graph, elements along
// the paths.
//
// Every step is linear. A vertex whose number of neighbors has become even stays even between
// paths, and one without neighbors gets none again, so two cursors that only move forward find the
// starts of all paths. A chain that grows at its start is not turned round element by element: it
// has two open ends, and which of them is the front is told by a flag.

#include <Sorvane/ChainBreaking_E.h>

#include "mathbase/Buckets_Impl.h"
#include "mathbase/CellGrid_Impl.h"
#include "mathbase/VectorUniqueness_Impl.h"
#include "planar/ChainBreaking_Impl.h"
#include "planar/ChainElement_Impl.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>
#include <utility>

namespace Velk::Math::Sorvane::Planar {

namespace {

using namespace Impl;

/// Numbers points by the first of those that match, in the order in which they come.
template <class T>
class VertexNumbers {
public:
    VertexNumbers(std::size_t capacity, T tol)
        : tol_(tol), grid_(static_cast<double>(tol), 8.0 * static_cast<double>(tol),
                           static_cast<std::int64_t>(capacity))
    {
        grid_.Reserve(capacity);
    }

    int Of(const VecBase<2, T>& point)
    {
        Vector::Impl::NearestMatch<2, T> nearest(point, tol_);
        grid_.VisitNear(point, [&](const VecBase<2, T>& vertex, std::uint32_t number) {
            nearest.Consider(vertex, static_cast<int>(number));
            return nearest.IsExact();
        });
        if (nearest.Index() >= 0) {
            return nearest.Index();
        }
        grid_.Insert(point, static_cast<std::uint32_t>(count_));
        return count_++;
    }

    int Count() const { return count_; }

private:
    T tol_;
    Vector::Impl::CellGrid<2, T> grid_;
    int count_ = 0;
};

/// A connection as one of its vertices sees it.
struct Neighbor {
    int vertex;
    int element;
};

/// Which vertices are connected, by which element, and which connections are left.
class VertexGraph {
public:
    VertexGraph(const std::vector<ElementLink>& links, int vertexCount, std::size_t elementCount)
        : isUsed_(elementCount, 0), left_(static_cast<std::size_t>(vertexCount), 0),
          cursor_(static_cast<std::size_t>(vertexCount), 0)
    {
        // Twice through buckets: by the neighbor, then by the vertex, which keeps that order. So
        // the neighbors of a vertex ascend, and the elements of one connection do.
        const auto count = static_cast<std::size_t>(vertexCount);
        const Buckets byNeighbor(count, [&](const auto& put) {
            for (const ElementLink& link : links) {
                put(link.to, Neighbor{link.from, link.element});
                put(link.from, Neighbor{link.to, link.element});
            }
        });
        neighbors_ = Buckets(count, [&](const auto& put) {
            for (std::size_t neighbor = 0; neighbor < count; ++neighbor) {
                for (const Neighbor& vertex : byNeighbor[neighbor]) {
                    put(vertex.vertex, Neighbor{static_cast<int>(neighbor), vertex.element});
                }
            }
        });
        for (std::size_t vertex = 0; vertex < count; ++vertex) {
            const std::span<const Neighbor> own = std::as_const(neighbors_)[vertex];
            for (std::size_t i = 0; i < own.size(); ++i) {
                if (i > 0 && own[i].vertex == own[i - 1].vertex) {
                    isUsed_[static_cast<std::size_t>(own[i].element)] = 1; // a parallel one
                } else {
                    ++left_[vertex];
                }
            }
        }
    }

    /// Where the next path begins: at the first vertex with an odd number of connections left, else
    /// at the first that has any; -1 when all are used.
    int NextStart()
    {
        const auto count = left_.size();
        while (odd_ < count && left_[odd_] % 2 == 0) {
            ++odd_;
        }
        if (odd_ < count) {
            return static_cast<int>(odd_);
        }
        while (any_ < count && left_[any_] == 0) {
            ++any_;
        }
        return any_ < count ? static_cast<int>(any_) : -1;
    }

    /// Uses the elements of a path from `vertex` on, in order.
    template <class Sink>
    void Walk(int vertex, const Sink& sink)
    {
        while (left_[static_cast<std::size_t>(vertex)] > 0) {
            const std::span<const Neighbor> own =
                std::as_const(neighbors_)[static_cast<std::size_t>(vertex)];
            std::size_t& cursor = cursor_[static_cast<std::size_t>(vertex)];
            while (isUsed_[static_cast<std::size_t>(own[cursor].element)] != 0) {
                ++cursor;
            }
            const Neighbor next = own[cursor];
            isUsed_[static_cast<std::size_t>(next.element)] = 1;
            --left_[static_cast<std::size_t>(vertex)];
            --left_[static_cast<std::size_t>(next.vertex)];
            sink(next.element);
            vertex = next.vertex;
        }
    }

private:
    using Buckets = Math::Impl::Buckets<Neighbor, int>;

    Buckets neighbors_;
    std::vector<char> isUsed_; // elements
    std::vector<int> left_;    // connections of each vertex
    std::vector<std::size_t> cursor_;
    std::size_t odd_ = 0;
    std::size_t any_ = 0;
};

template <class T>
ArcSegBase<T> Reversed(ArcSegBase<T> element)
{
    element.Reverse();
    return element;
}

/// A chain in the making, open at both ends. Elements are turned round once at most, when it is
/// finished.
template <class T>
class GrowingChain {
public:
    /// `reach`: the tolerance, or the rounding of the coordinates where that is larger. What fits
    /// nowhere within it may bridge a gap of the size of `bridge`.
    GrowingChain(T tolerance, T reach, double bridge)
        : tolerance_(tolerance), reach_(reach),
          bridge_(std::max(static_cast<double>(reach), bridge))
    {
    }

    /// Appends the element, which ends at `end`, where and how it fits, or leaves it out.
    void Add(const ArcSegBase<T>& element, const VecBase<2, T>& end)
    {
        if (ahead_.empty() && behind_.empty()) {
            ahead_.push_back({element, false});
            front_ = end;
            return;
        }
        const double reach = reach_;
        if (AppendAtFront(element, end, reach)) {
            return;
        }
        const ArcSegBase<T> turned = Reversed(element);
        const VecBase<2, T> turnedEnd = turned.EndPoint();
        if (AppendAtFront(turned, turnedEnd, reach)) {
            return;
        }
        Turn();
        if (AppendAtFront(element, end, reach) || AppendAtFront(turned, turnedEnd, reach)) {
            return;
        }
        Turn();
        if (bridge_ > reach) {
            hasBridged_ = AppendAtFront(element, end, bridge_) ||
                          AppendAtFront(turned, turnedEnd, bridge_) || hasBridged_;
        }
    }

    /// Appends the element at the end in its own direction, or leaves it out where it does not fit.
    void Follow(const ArcSegBase<T>& element, const VecBase<2, T>& end)
    {
        if (ahead_.empty()) {
            Add(element, end);
        } else if (!AppendAtFront(element, end, static_cast<double>(reach_)) &&
                   bridge_ > static_cast<double>(reach_)) {
            hasBridged_ = AppendAtFront(element, end, bridge_) || hasBridged_;
        }
    }

    /// Its tolerance is the one given, unless rounding or a bridge keeps joints farther apart.
    PolyArcSegBase<T> Finished() const
    {
        PolyArcSegBase<T> chain;
        chain.elements.reserve(ahead_.size() + behind_.size());
        const auto put = [&](const Placed& placed) {
            chain.elements.push_back(placed.isTurned == isTurned_ ? placed.element
                                                                  : Reversed(placed.element));
        };
        const auto& back = isTurned_ ? ahead_ : behind_;
        const auto& front = isTurned_ ? behind_ : ahead_;
        std::for_each(back.rbegin(), back.rend(), put);
        std::for_each(front.begin(), front.end(), put);
        chain.tolerance = ToleranceOf(chain.elements);
        return chain;
    }

private:
    struct Placed {
        ArcSegBase<T> element;
        bool isTurned; // appended while the chain was turned round, and runs that way
    };

    /// Turns the chain round: its end is what was its start.
    void Turn()
    {
        isTurned_ = !isTurned_;
        const auto& own = isTurned_ ? behind_ : ahead_;
        const auto& other = isTurned_ ? ahead_ : behind_;
        const Placed& last = own.empty() ? other.front() : own.back();
        front_ = last.isTurned == isTurned_ ? last.element.EndPoint()
                                            : Reversed(last.element).EndPoint();
    }

    /// By the rules of `AppendSegment` and `AppendArc`.
    bool AppendAtFront(const ArcSegBase<T>& element, const VecBase<2, T>& end, double reach)
    {
        if (!(Distance(element.StartPoint(), front_) <= reach)) {
            return false;
        }
        if (element.AsSegment() != nullptr) {
            if (!(Distance(end, front_) > static_cast<double>(reach_))) {
                return false;
            }
            (isTurned_ ? behind_ : ahead_)
                .push_back({ArcSegBase<T>(SegBase<T>{front_, end}), isTurned_});
        } else {
            (isTurned_ ? behind_ : ahead_).push_back({element, isTurned_});
        }
        front_ = end;
        return true;
    }

    /// The tolerance that holds the joints together, the last one too where the chain closes.
    T ToleranceOf(const std::vector<ArcSegBase<T>>& elements) const
    {
        const double closing = Distance(elements.front().StartPoint(), front_);
        const bool isBridged =
            hasBridged_ || (closing > static_cast<double>(reach_) && closing <= bridge_);
        if (tolerance_ >= reach_ && !isBridged) {
            return tolerance_;
        }
        double widest = 0.0;
        for (std::size_t i = 0; i < elements.size(); ++i) {
            const bool isLast = i + 1 == elements.size();
            const double gap =
                Distance(elements[i].EndPoint(), elements[isLast ? 0 : i + 1].StartPoint());
            widest = std::max(widest, isLast && gap > bridge_ ? 0.0 : gap);
        }
        return widest > static_cast<double>(tolerance_)
                   ? std::max(reach_, std::nextafter(static_cast<T>(widest), kLargest))
                   : tolerance_;
    }

    static constexpr T kLargest = std::numeric_limits<T>::max();

    T tolerance_;
    T reach_;
    double bridge_;
    bool hasBridged_ = false;
    std::vector<Placed> ahead_;  // from the first element on, in the direction it was given
    std::vector<Placed> behind_; // away from it, the other way
    bool isTurned_ = false;
    VecBase<2, T> front_; // where the chain ends, as it is turned now
};

template <class T>
ElementLinks LinksOf(const std::vector<ArcSegBase<T>>& elements,
                     const std::vector<VecBase<2, T>>& ends, VertexNumbers<T>& vertices)
{
    ElementLinks result;
    result.links.reserve(elements.size());
    for (std::size_t i = 0; i < elements.size(); ++i) {
        if (!(SizeOf(elements[i]) <= Math::Impl::kLargestCoordinate) ||
            !Math::Impl::IsFinite(ends[i])) {
            continue;
        }
        const int from = vertices.Of(elements[i].StartPoint());
        const int to = vertices.Of(ends[i]);
        (from != to ? result.links : result.loops).push_back({static_cast<int>(i), from, to});
    }
    return result;
}

} // namespace

template <class T>
std::vector<PolyArcSegBase<T>> Impl::CombineWithEnds(const std::vector<ArcSegBase<T>>& elements,
                                                     const std::vector<VecBase<2, T>>& ends, T tol,
                                                     double bridge)
{
    const T tolerance = AtLeastZero(tol);
    const T reach = Reach(tol, elements);
    if (!Math::Impl::IsFinite(reach)) {
        return {}; // all ends are one vertex
    }
    VertexNumbers<T> vertices(2 * elements.size(), reach);
    const std::vector<ElementLink> links = LinksOf(elements, ends, vertices).links;
    VertexGraph graph(links, vertices.Count(), elements.size());
    std::vector<PolyArcSegBase<T>> chains;
    for (int start = graph.NextStart(); start >= 0; start = graph.NextStart()) {
        GrowingChain<T> chain(tolerance, reach, bridge);
        graph.Walk(start, [&](int number) {
            const auto i = static_cast<std::size_t>(number);
            chain.Add(elements[i], ends[i]);
        });
        chains.push_back(chain.Finished());
    }
    return chains;
}

Impl::ElementLinks Impl::LinksOfElements(const std::vector<ArcSegBase<double>>& elements,
                                         const std::vector<Vec2d>& ends, double tol)
{
    const double reach = Reach(tol, elements);
    if (!Math::Impl::IsFinite(reach)) {
        return {};
    }
    VertexNumbers<double> vertices(2 * elements.size(), reach);
    ElementLinks result = LinksOf(elements, ends, vertices);
    result.vertexCount = vertices.Count();
    return result;
}

PolyArcSegBase<double> Impl::ChainInOrder(const std::vector<ArcSegBase<double>>& elements,
                                          const std::vector<Vec2d>& ends, double tol, double bridge)
{
    GrowingChain<double> chain(AtLeastZero(tol), Reach(tol, elements), bridge);
    for (std::size_t i = 0; i < elements.size(); ++i) {
        chain.Follow(elements[i], ends[i]);
    }
    return chain.Finished();
}

template <class T>
std::vector<PolyArcSegBase<T>> CombineArcsSegs(const std::vector<ArcSegBase<T>>& elements, T tol)
{
    std::vector<VecBase<2, T>> ends;
    ends.reserve(elements.size());
    for (const ArcSegBase<T>& element : elements) {
        ends.push_back(element.EndPoint());
    }
    return Impl::CombineWithEnds(elements, ends, tol, 0.0);
}

// clang-format off
template std::vector<PolyArcSegBase<float>>  CombineArcsSegs(const std::vector<ArcSegBase<float>>&,  float);
template std::vector<PolyArcSegBase<double>> CombineArcsSegs(const std::vector<ArcSegBase<double>>&, double);
template std::vector<PolyArcSegBase<float>>  Impl::CombineWithEnds(const std::vector<ArcSegBase<float>>&,  const std::vector<VecBase<2, float>>&,  float,  double);
template std::vector<PolyArcSegBase<double>> Impl::CombineWithEnds(const std::vector<ArcSegBase<double>>&, const std::vector<VecBase<2, double>>&, double, double);
// clang-format on

} // namespace Velk::Math::Sorvane::Planar
