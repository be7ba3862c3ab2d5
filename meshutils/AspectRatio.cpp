// Edge flips that raise the worse aspect ratio of two triangles, until none does.
//
// 1. Copy the points and the triangles that are triangles.
// 2. Gather the edges, by their larger and then by their smaller point, and number them.
// 3. Tell the edges that stay (not two triangles, or a crease) from those to be tried.
// 4. Try the waiting edges in turn; after a flip all edges of its two triangles wait again.
//
// An edge has a number for as long as it exists, and the diagonal that takes its place takes the
// number over. Triangles know the numbers of their edges and edges those of their two triangles, so
// that a try meets no search. Only the question whether the new diagonal exists elsewhere asks for
// a table of point pairs. An edge of three triangles or more stays for good, so that nobody asks
// which they are: flips beside it cost no search through its triangles.

#include <Sorvane/AspectRatio_E.h>
#include <Sorvane/AssertSites_E.h>
#include <Sorvane/NodePairMap_E.h>
#include <Velk/Math/Intersect_E.h>

#include "features/SoundTriples_Impl.h"
#include "foundation/TriangleMeasures_Impl.h"
#include "mathbase/Buckets_Impl.h"
#include "mathbase/Progress_Impl.h"
#include "mathbase/RadixSort_Impl.h"

#include <boost/unordered/unordered_flat_set.hpp>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

namespace Velk::Math::Sorvane::MeshUtils {
namespace {

/// Area up to which a triangle has no normal, whatever the type.
constexpr double kNormalFloor = 1e-12;

/// Edge numbers in the order in which they came to wait, none of them twice. As there are never
/// more of them than edges, a ring of that size does.
class WaitingEdges {
public:
    explicit WaitingEdges(std::size_t edgeCount) : ring_(edgeCount), waits_(edgeCount) {}

    bool IsEmpty() const { return size_ == 0; }

    /// An edge that waits already keeps its place.
    void Add(int edge)
    {
        auto& waits = waits_[static_cast<std::size_t>(edge)];
        if (waits == 0) {
            waits = 1;
            ring_[Wrapped(first_ + size_)] = edge;
            ++size_;
        }
    }

    int TakeFirst()
    {
        const int edge = ring_[first_];
        first_ = Wrapped(first_ + 1);
        --size_;
        waits_[static_cast<std::size_t>(edge)] = 0;
        return edge;
    }

private:
    std::size_t Wrapped(std::size_t place) const
    {
        return place < ring_.size() ? place : place - ring_.size();
    }

    std::vector<int> ring_;
    std::vector<unsigned char> waits_;
    std::size_t first_ = 0;
    std::size_t size_ = 0;
};

/// NaN when one of them is.
template <class T>
T LesserOf(T a, T b)
{
    return a < b ? a : b <= a ? b : std::numeric_limits<T>::quiet_NaN();
}

template <class T>
VecBase<3, T> UnitNormal(const VecBase<3, T>& p0, const VecBase<3, T>& p1, const VecBase<3, T>& p2)
{
    return Normalized(((p1 - p0) ^ (p2 - p0)) / T{2}, static_cast<T>(kNormalFloor));
}

template <int D, class T>
class EdgeFlipper {
public:
    using Mesh = Sorvane::Mesh::IndexedPointsBase<D, T>;
    using Point = VecBase<D, T>;

    explicit EdgeFlipper(const Mesh& mesh) : points_(mesh.points)
    {
        CopyTriangles(mesh.indices);
        GatherEdges();
        for (Slot& slot : slots_) {
            slot.ratio = Sorvane::Mesh::Impl::AspectRatioOfLengths(
                LengthOf(slot.edges[0]), LengthOf(slot.edges[1]), LengthOf(slot.edges[2]));
        }
    }

    /// Flips until nothing waits. Every flip raises the lesser ratio of its pair, so that the
    /// ratios of all triangles, sorted, rise in the order of lists of numbers and never come back.
    void Run(T creaseAngle, T maxDrift)
    {
        WaitingEdges waiting = Candidates(creaseAngle);
        Progress::Impl::Steps steps;
        while (!waiting.IsEmpty()) {
            steps.Next();
            const int edge = waiting.TakeFirst();
            const std::array<int, 2>& pair = EdgeAt(edge).slots;
            if (pair[0] < 0) {
                AssertSites::Report(AssertSites::kMaximizeAspectRatio);
                continue;
            }
            const Quadrilateral quad = QuadrilateralOf(edge);
            if (IsBetter(quad) && !IsFolded(quad) && !IsTaken(quad) && Spend(quad, maxDrift)) {
                Flip(quad, waiting);
            }
        }
    }

    Mesh Result() &&
    {
        Mesh mesh;
        mesh.indices.reserve(3 * slots_.size());
        for (const Slot& slot : slots_) {
            mesh.indices.insert(mesh.indices.end(), slot.corners.begin(), slot.corners.end());
        }
        mesh.points = std::move(points_);
        return mesh;
    }

private:
    /// A triangle number and what is kept with it. Edge k runs from corner k to the next.
    struct Slot {
        std::array<int, 3> corners;
        std::array<int, 3> edges;
        T ratio = 0;
        T drift = 0; ///< spent on the flips that this number took part in
    };

    struct Edge {
        /// The two triangles, the one that came to the edge earlier first; -1 when there are not
        /// two.
        std::array<int, 2> slots;
        T length;
        bool isFixed; ///< comes back to wait no more
    };

    /// One half-edge of a triangle: its other point, and its place 3t + k among all of them.
    struct EdgeUse {
        int other;
        int place;
    };

    /// Two triangles with a common edge. In the first one `next` and `previous` follow the point
    /// `first`; the diagonal that may come runs from `first` to `second`.
    struct Quadrilateral {
        int edge;
        std::array<int, 2> slots;
        int first, next, second, previous;
        int previousFirst, firstNext, nextSecond,
            secondPrevious;      ///< the numbers of the outer edges
        T diagonal;              ///< length from first to second
        std::array<T, 2> ratios; ///< of the triangles that would fill the two slots
    };

    const Point& At(int point) const { return points_[static_cast<std::size_t>(point)]; }
    Slot& SlotAt(int slot) { return slots_[static_cast<std::size_t>(slot)]; }
    const Slot& SlotAt(int slot) const { return slots_[static_cast<std::size_t>(slot)]; }
    Edge& EdgeAt(int edge) { return edges_[static_cast<std::size_t>(edge)]; }
    const Edge& EdgeAt(int edge) const { return edges_[static_cast<std::size_t>(edge)]; }
    T LengthOf(int edge) const { return EdgeAt(edge).length; }

    void CopyTriangles(const std::vector<int>& indices)
    {
        slots_.reserve(indices.size() / 3);
        for (std::size_t i = 0; i + 2 < indices.size(); i += 3) {
            Progress::Impl::CheckStep(i / 3);
            if (Impl::IsSoundTriple(&indices[i], points_.size())) {
                Slot& slot = slots_.emplace_back();
                slot.corners = {indices[i], indices[i + 1], indices[i + 2]};
            }
        }
    }

    /// Numbers the edges in ascending order of (larger, smaller) point: half-edges are dealt by
    /// their smaller point and then, in that order, by their larger one. Half-edges of one edge
    /// stay in triangle order.
    void GatherEdges()
    {
        using Uses = Math::Impl::Buckets<EdgeUse>;
        const Uses bySmaller(points_.size(), [&](const auto& put) {
            int place = 0;
            for (const Slot& slot : slots_) {
                Progress::Impl::CheckStep(static_cast<std::size_t>(place));
                for (std::size_t k = 0; k < 3; ++k) {
                    const auto [smaller, larger] =
                        std::minmax(slot.corners[k], slot.corners[k == 2 ? 0 : k + 1]);
                    put(smaller, EdgeUse{larger, place});
                    ++place;
                }
            }
        });
        const Uses byLarger(points_.size(), [&](const auto& put) {
            for (std::size_t smaller = 0; smaller < bySmaller.BucketCount(); ++smaller) {
                Progress::Impl::CheckStep(smaller);
                for (const EdgeUse& use : bySmaller[smaller]) {
                    put(use.other, EdgeUse{static_cast<int>(smaller), use.place});
                }
            }
        });
        edges_.reserve(byLarger.Items().size() / 2);
        for (std::size_t larger = 0; larger < byLarger.BucketCount(); ++larger) {
            Progress::Impl::CheckStep(larger);
            const auto uses = byLarger[larger];
            for (std::size_t first = 0; first < uses.size();) {
                const int smaller = uses[first].other;
                std::size_t last = first;
                for (; last < uses.size() && uses[last].other == smaller; ++last) {
                    const int place = uses[last].place;
                    SlotAt(place / 3).edges[static_cast<std::size_t>(place % 3)] =
                        static_cast<int>(edges_.size());
                }
                const bool isPair = last - first == 2;
                AddEdge(smaller, static_cast<int>(larger),
                        isPair ? std::array{uses[first].place / 3, uses[first + 1].place / 3}
                               : std::array{-1, -1});
                first = last;
            }
        }
    }

    void AddEdge(int smaller, int larger, const std::array<int, 2>& slots)
    {
        numbers_.InsertAbsent(smaller, larger, static_cast<int>(edges_.size()));
        edges_.push_back({slots, Length(At(larger) - At(smaller)), true});
    }

    /// The edges to be tried at first; all others are fixed.
    WaitingEdges Candidates(T creaseAngle)
    {
        const T cosine =
            static_cast<T>(std::cos(static_cast<double>(creaseAngle) * kRadiansPerDegree));
        std::vector<Point> normals;
        if constexpr (D == 3) {
            normals.reserve(slots_.size());
            for (const Slot& slot : slots_) {
                Progress::Impl::CheckStep(normals.size());
                const auto& [a, b, c] = slot.corners;
                normals.push_back(UnitNormal(At(a), At(b), At(c)));
            }
        }
        WaitingEdges waiting(edges_.size());
        for (std::size_t i = 0; i < edges_.size(); ++i) {
            Progress::Impl::CheckStep(i);
            Edge& edge = edges_[i];
            if (edge.slots[0] < 0) {
                continue;
            }
            if constexpr (D == 3) {
                if (cosine > normals[static_cast<std::size_t>(edge.slots[0])] *
                                 normals[static_cast<std::size_t>(edge.slots[1])]) {
                    continue;
                }
            }
            edge.isFixed = false;
            waiting.Add(static_cast<int>(i));
        }
        return waiting;
    }

    static std::size_t PlaceOf(int edge, const Slot& slot)
    {
        return slot.edges[0] == edge ? 0 : slot.edges[1] == edge ? 1 : 2;
    }

    Quadrilateral QuadrilateralOf(int edge) const
    {
        constexpr std::array<std::size_t, 5> kAround{0, 1, 2, 0, 1};
        Quadrilateral quad;
        quad.edge = edge;
        quad.slots = EdgeAt(edge).slots;
        const Slot& one = SlotAt(quad.slots[0]);
        const Slot& two = SlotAt(quad.slots[1]);
        const std::size_t k = PlaceOf(edge, one);
        quad.next = one.corners[k];
        quad.previous = one.corners[kAround[k + 1]];
        quad.first = one.corners[kAround[k + 2]];
        quad.previousFirst = one.edges[kAround[k + 1]];
        quad.firstNext = one.edges[kAround[k + 2]];

        const std::size_t m = PlaceOf(edge, two);
        quad.second = two.corners[kAround[m + 2]];
        quad.nextSecond = two.edges[kAround[m + 1]];
        quad.secondPrevious = two.edges[kAround[m + 2]];
        if (two.corners[m] == quad.next) { // both triangles run the edge the same way
            std::swap(quad.nextSecond, quad.secondPrevious);
        }

        quad.diagonal = Length(At(quad.second) - At(quad.first));
        quad.ratios = {
            Sorvane::Mesh::Impl::AspectRatioOfLengths(LengthOf(quad.previousFirst), quad.diagonal,
                                                      LengthOf(quad.secondPrevious)),
            Sorvane::Mesh::Impl::AspectRatioOfLengths(LengthOf(quad.firstNext),
                                                      LengthOf(quad.nextSecond), quad.diagonal)};
        return quad;
    }

    /// False for ratios that are not numbers.
    bool IsBetter(const Quadrilateral& quad) const
    {
        const T before = LesserOf(SlotAt(quad.slots[0]).ratio, SlotAt(quad.slots[1]).ratio);
        return before + kLengthFloor<T> < LesserOf(quad.ratios[0], quad.ratios[1]);
    }

    /// Is the quadrilateral not convex at both ends of its edge, or can't that be told?
    bool IsFolded(const Quadrilateral& quad) const
    {
        const Point& first = At(quad.first);
        const Point& next = At(quad.next);
        const Point& second = At(quad.second);
        const Point& previous = At(quad.previous);
        if constexpr (D == 3) {
            const T cosine = UnitNormal(previous, first, second) * UnitNormal(first, next, second);
            return !(cosine > kLengthFloor<T>);
        } else {
            const T product =
                ((first - previous) ^ (second - previous)) * ((next - first) ^ (second - first));
            return !(product > kLengthFloor<T>);
        }
    }

    /// Is the diagonal an edge of the mesh elsewhere? Then that edge doesn't come back to wait.
    bool IsTaken(const Quadrilateral& quad)
    {
        const auto [smaller, larger] = std::minmax(quad.first, quad.second);
        const int other = numbers_.Find(smaller, larger);
        if (other == HalfEdge::NodePairMap::kNone) {
            return false;
        }
        EdgeAt(other).isFixed = true;
        return true;
    }

    /// Charges both triangle numbers with the distance of the diagonals, if they can afford it.
    bool Spend(const Quadrilateral& quad, T maxDrift)
    {
        T distance = 0;
        if constexpr (D == 3) {
            const auto [smaller, larger] = std::minmax(quad.next, quad.previous);
            T s = 0;
            T t = 0;
            Point onNew;
            Point onOld;
            Intersect::ClosestPointsOfTwoLines(At(quad.first), At(quad.second), At(smaller),
                                               At(larger), true, s, t, onNew, onOld);
            distance = Length(onOld - onNew);
        }
        T& one = SlotAt(quad.slots[0]).drift;
        T& two = SlotAt(quad.slots[1]).drift;
        if (one + distance > maxDrift || two + distance > maxDrift) {
            return false;
        }
        one += distance;
        two += distance;
        return true;
    }

    void Flip(const Quadrilateral& quad, WaitingEdges& waiting)
    {
        const int edge = quad.edge;
        const auto [one, two] = quad.slots;
        Rename(quad);
        Slot& slotOne = SlotAt(one);
        slotOne.corners = {quad.previous, quad.first, quad.second};
        slotOne.edges = {quad.previousFirst, edge, quad.secondPrevious};
        slotOne.ratio = quad.ratios[0];
        Slot& slotTwo = SlotAt(two);
        slotTwo.corners = {quad.first, quad.next, quad.second};
        slotTwo.edges = {quad.firstNext, quad.nextSecond, edge};
        slotTwo.ratio = quad.ratios[1];

        HandOver(quad.previousFirst, one, one);
        HandOver(quad.secondPrevious, two, one);
        HandOver(quad.firstNext, one, two);
        HandOver(quad.nextSecond, two, two);
        for (const Slot* slot : {&slotOne, &slotTwo}) {
            for (const int each : slot->edges) {
                if (!EdgeAt(each).isFixed) {
                    waiting.Add(each);
                }
            }
        }
    }

    /// The number of the old diagonal becomes that of the new one. A pair of points that is fixed
    /// stays so, also while there is no edge between them.
    void Rename(const Quadrilateral& quad)
    {
        const auto [smaller, larger] = std::minmax(quad.next, quad.previous);
        const auto [newSmaller, newLarger] = std::minmax(quad.first, quad.second);
        Edge& edge = EdgeAt(quad.edge);
        if (edge.isFixed) {
            fixedPairs_.insert(Math::Impl::PairKey(larger, smaller));
        }
        edge.isFixed = !fixedPairs_.empty() &&
                       fixedPairs_.contains(Math::Impl::PairKey(newLarger, newSmaller));
        edge.length = quad.diagonal;
        numbers_.Erase(smaller, larger, quad.edge);
        numbers_.InsertAbsent(newSmaller, newLarger, quad.edge);
    }

    /// The edge has another triangle number of the two of a flip now, or the same one as its
    /// latest.
    void HandOver(int edge, int from, int to)
    {
        std::array<int, 2>& slots = EdgeAt(edge).slots;
        if (slots[0] >= 0) {
            slots = {slots[0] == from ? slots[1] : slots[0], to};
        }
    }

    std::vector<Point> points_;
    std::vector<Slot> slots_;
    std::vector<Edge> edges_;
    HalfEdge::NodePairMap numbers_; ///< from the smaller to the larger point: the edge's number
    boost::unordered_flat_set<std::uint64_t> fixedPairs_; ///< that were flipped away
};

} // namespace

template <int D, class T>
Mesh::IndexedPointsBase<D, T> MaximizeAspectRatio(const Mesh::IndexedPointsBase<D, T>& mesh,
                                                  T creaseAngle, T maxDrift)
{
    return Progress::Impl::Stoppable([&]() -> Mesh::IndexedPointsBase<D, T> {
        EdgeFlipper<D, T> flipper(mesh);
        flipper.Run(creaseAngle, maxDrift);
        return std::move(flipper).Result();
    });
}

// clang-format off
#define SORVANE_INSTANTIATE(D, T) \
    template Mesh::IndexedPointsBase<D, T> MaximizeAspectRatio(const Mesh::IndexedPointsBase<D, T>&, T, T);
SORVANE_INSTANTIATE(2, float)
SORVANE_INSTANTIATE(2, double)
SORVANE_INSTANTIATE(3, float)
SORVANE_INSTANTIATE(3, double)
#undef SORVANE_INSTANTIATE
// clang-format on

} // namespace Velk::Math::Sorvane::MeshUtils
