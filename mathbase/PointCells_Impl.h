// Points that lie together within a tolerance, found through hashed cells.
//
// The cells are those of `CellRule`: a tolerance far below the rounding of the coordinates (0
// included) works as well as any other, no coordinate overflows its cell number, and one stray huge
// coordinate does not coarsen the cells of the rest. Unlike a `CellGrid` the collection here can
// drop entries while it is looked through, and leaves the points with their owner.
#pragma once

#include "mathbase/CellGrid_Impl.h"
#include "mathbase/Values_Impl.h"

#include <Velk/Math/VecBase_E.h>

#include <array>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace Velk::Math::Vector::Impl {

using Math::Impl::IsFinite;

template <int N>
using Cell = std::array<std::int64_t, N>;

template <int N>
std::size_t HashOfCell(const Cell<N>& cell)
{
    std::uint64_t state = 0;
    for (const std::int64_t number : cell) {
        state = (state ^ static_cast<std::uint64_t>(number)) * 0x9e3779b97f4a7c15U;
        state ^= state >> 32U;
    }
    return static_cast<std::size_t>(state);
}

template <int N, class T>
Cell<N> CellOf(const VecBase<N, T>& point, const CellRule& rule)
{
    Cell<N> cell;
    for (int axis = 0; axis < N; ++axis) {
        cell[static_cast<std::size_t>(axis)] = rule.Cell(static_cast<double>(point[axis]));
    }
    return cell;
}

enum class Visiting { GoOn, Remove, Stop };

/// A growing collection of numbered points of which those near a place are looked up. Entries of
/// other cells may come along (the table keeps no cells), so that callers compare positions anyway.
template <int N, class T>
class NearPoints {
public:
    /// `capacity`: how many points may be added. A tolerance that is negative or NaN matches
    /// nothing.
    NearPoints(std::size_t capacity, T tolerance)
        : matchesNothing_(!(tolerance >= 0)),
          rule_(matchesNothing_ ? 0.0 : static_cast<double>(tolerance),
                matchesNothing_ ? 0.0 : kTolerancesInCell * static_cast<double>(tolerance)),
          heads_(std::bit_ceil(2 * capacity + 1), kNone)
    {
        entries_.reserve(capacity);
    }

    /// Adds a finite point. Of the points in one place, those added last are visited first.
    void Add(const VecBase<N, T>& point, int number)
    {
        int& head = heads_[HashOfCell<N>(CellOf(point, rule_)) & (heads_.size() - 1)];
        entries_.push_back({number, head});
        head = static_cast<int>(entries_.size()) - 1;
    }

    /// Calls visit(number) for all points that may match the finite `point` and some others. The
    /// answer may remove the entry for good, or stop the visits of its cell (there may be another
    /// few cells).
    template <class Visit>
    void VisitNear(const VecBase<N, T>& point, Visit&& visit)
    {
        if (matchesNothing_) {
            return;
        }
        Cell<N> low;
        Cell<N> high;
        for (int axis = 0; axis < N; ++axis) {
            const double x = static_cast<double>(point[axis]);
            low[static_cast<std::size_t>(axis)] = rule_.First(x);
            high[static_cast<std::size_t>(axis)] = rule_.Last(x);
        }
        Cell<N> cell = low;
        for (;;) {
            VisitList(heads_[HashOfCell<N>(cell) & (heads_.size() - 1)], visit);
            std::size_t axis = 0; // the next cell, like the hands of a counter
            while (axis < N && cell[axis] == high[axis]) {
                cell[axis] = low[axis];
                ++axis;
            }
            if (axis == N) {
                return;
            }
            ++cell[axis];
        }
    }

private:
    static constexpr int kNone = -1;
    /// Wide cells beside the tolerance: most look-ups then meet a single one.
    static constexpr double kTolerancesInCell = 8;

    struct Entry {
        int number;
        int next;
    };

    template <class Visit>
    void VisitList(int& head, Visit&& visit)
    {
        int* link = &head;
        while (*link != kNone) {
            Entry& entry = entries_[static_cast<std::size_t>(*link)];
            const Visiting answer = visit(entry.number);
            if (answer == Visiting::Stop) {
                return;
            }
            if (answer == Visiting::Remove) {
                *link = entry.next;
            } else {
                link = &entry.next;
            }
        }
    }

    bool matchesNothing_;
    CellRule rule_;
    std::vector<int> heads_;
    std::vector<Entry> entries_;
};

} // namespace Velk::Math::Vector::Impl
