// The status of a plane sweep over one polygon: which of its edges the sweep line meets, and for
// each the vertex that can see it.
//
// The sweep runs in x, its line stands upright, and only edges with the interior above them are
// entered. They are kept in order of height, which does not change while they are in the status,
// because edges of a simple polygon do not cross: each search is O(log n). Heights are compared by
// the exact side of end points, never by cut points, so that neighbors that leave one vertex or
// lie within a rounding of each other have one order. An edge may be as steep as it likes, for the
// same reason: left of an upright one is above it, as the sweep takes equal x from below.
#pragma once

#include <Velk/Math/VecBase_E.h>

#include <cstddef>
#include <set>
#include <utility>
#include <vector>

namespace Velk::Math::Sorvane::Mesh::Impl {

/// What a vertex does to a sweep over a face; see `MonotonePartitioner`.
enum class SweepClass { End, Start, Split, Merge, Regular, Invalid };

/// The vertex last seen above an edge, and what it was.
struct SweepHelper {
    int vertex = -1; ///< -1: the edge is not in the status
    SweepClass kind = SweepClass::Invalid;
};

class SweepStatus {
public:
    SweepStatus() : byHeight_(Lower{this}) {}
    SweepStatus(const SweepStatus&) = delete;
    SweepStatus& operator=(const SweepStatus&) = delete;

    /// Enters an edge, which is known by its number, with its ends and its helper. In the order of
    /// the sweep.
    void Enter(int edge, const Vec2d& start, const Vec2d& end, const SweepHelper& helper);

    /// Takes an edge out; no effect when it is not in.
    void Remove(int edge);

    /// Helper of an edge; vertex -1 when it is not in.
    SweepHelper Helper(int edge) const;
    void SetHelper(int edge, const SweepHelper& helper) { Slot(edge).helper = helper; }

    /// The edge next below `point`, strictly; -1 when there is none.
    int EdgeBelow(const Vec2d& point) const;

    /// The edges next below and above an edge; -1 where there is none, and when it is not in.
    std::pair<int, int> Neighbors(int edge) const;

    void Clear();

private:
    struct Lower {
        using is_transparent = void;
        const SweepStatus* status;
        bool operator()(int a, int b) const { return status->IsLower(a, b); }
        bool operator()(int edge, const Vec2d& point) const;
    };
    using Order = std::multiset<int, Lower>; // edges that cross may compare equal

    struct Entry {
        Vec2d start;
        Vec2d end;
        SweepHelper helper;
        Order::iterator place;
        std::size_t turn = 0; ///< how many were entered before it
    };

    bool IsLower(int a, int b) const;
    Entry& Slot(int edge) { return entries_[static_cast<std::size_t>(edge)]; }
    const Entry& Slot(int edge) const { return entries_[static_cast<std::size_t>(edge)]; }

    std::vector<Entry> entries_; // by edge
    std::vector<int> entered_;   // edges entered since the last `Clear`
    Order byHeight_;
};

} // namespace Velk::Math::Sorvane::Mesh::Impl
