// Which pieces an edge has been split into, so that a place that was found on it before comes to
// the piece that is there now.
#pragma once

#include <Velk/Math/VecBase_E.h>

#include <deque>
#include <map>
#include <unordered_map>

namespace Velk::Math::Sorvane::Mesh::Impl {

/// The split history of edges, by pairs of half-edges. An edge's number stays with one of its
/// pieces, so that a number alone does not tell which piece a place is on.
///
/// The pieces of an edge are kept in the order in which they lie on it. All that is known of one is
/// found in O(log n) for n pieces, also where a whole path runs along one edge.
class SplitHistory {
public:
    /// The pair `kept`, from `start` to `end` until now, runs from `start` to `middle`, and the
    /// pair `made` from there to `end`. Where memory runs out what was known may be lost: `Clear`.
    void Record(int kept, int made, const Vec3d& start, const Vec3d& middle, const Vec3d& end);
    /// The pair is no more, and its number may be used for another. O(1).
    void Forget(int pair);
    void Clear();

    /// Calls visit(pair) for those pieces of the edge of which `pair` is or was a piece among which
    /// the one nearest to `point` is; for none when that edge was not split.
    template <class Visit>
    void VisitNear(int pair, const Vec3d& point, Visit visit) const
    {
        const auto found = places_.find(pair);
        if (found == places_.end()) {
            return;
        }
        // The one that the point's parameter falls on, and two on either side: cuts that lie as
        // close together as their rounding may have changed places.
        constexpr int kBefore = 3;
        constexpr int kAfter = 2;
        const SplitEdge& edge = *found->second.edge;
        auto piece = edge.pieces.upper_bound(edge.ParameterOf(point));
        int count = kAfter;
        for (int i = 0; i < kBefore && piece != edge.pieces.begin(); ++i, ++count) {
            --piece;
        }
        for (; count > 0 && piece != edge.pieces.end(); --count, ++piece) {
            visit(piece->second);
        }
    }

private:
    using Pieces = std::multimap<double, int>; // the lesser parameter of its ends, and the pair

    // An edge as it was before its first split.
    struct SplitEdge {
        Vec3d start;
        Vec3d along;
        Pieces pieces;

        double ParameterOf(const Vec3d& point) const;
    };
    // Where a pair stands among the pieces of its edge.
    struct Place {
        SplitEdge* edge;
        Pieces::iterator piece;
    };

    std::deque<SplitEdge> edges_; // they stay where they are
    std::unordered_map<int, Place> places_;
};

} // namespace Velk::Math::Sorvane::Mesh::Impl
