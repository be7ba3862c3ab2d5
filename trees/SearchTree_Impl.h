// What the trees over segments, arcs and triangles have in common: the record of a closest point,
// the box of an item, and the filling of a pool.
#pragma once

#include "trees/ContentTree_Impl.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <limits>
#include <type_traits>

namespace Velk::Math::Sorvane::Tree {

/// Answer of a search for the nearest item: its nearest point, and its number or -1 when none was
/// found.
template <int D, class T>
struct ClosestPointRecord {
    VecBase<D, T> point;
    int id = -1;

    friend constexpr bool operator==(const ClosestPointRecord&,
                                     const ClosestPointRecord&) = default;
};

namespace Impl {

/// By how much the box of an item exceeds it on every side. In `float` it is lost at coordinates
/// above 0.002, so that boxes may be flat, and a mere point.
inline constexpr double kBoxMargin = 1e-10;

/// `double` coordinates beyond this have squares that overflow, or nearly so. Every finite `float`
/// is below: roots are fitted in `double`, and distances that overflow in `float` are infinite and
/// within no radius.
inline constexpr double kLargestCoordinate = 1e150;

/// Box of the points with the margin; a NaN in one of them shows in the box.
template <int D, class T>
BoxOf<D, T> MarginBox(std::initializer_list<VecBase<D, T>> points)
{
    BoxOf<D, T> box;
    for (const VecBase<D, T>& point : points) {
        if (HasNaN(point)) {
            return {point, point};
        }
        box.Grow(point);
    }
    const VecBase<D, T> margin = Bounding::Impl::Uniform<D, T>(static_cast<T>(kBoxMargin));
    return {box.min - margin, box.max + margin};
}

/// Can a tree hold an item with this box? One that isn't finite, or so large that distances to it
/// overflow, would take all others down with it, since the root is made to hold the whole.
template <int D, class T>
bool IsIndexable(const BoxOf<D, T>& box)
{
    for (int i = 0; i < D; ++i) {
        if (!(std::fabs(static_cast<double>(box.min[i])) <= kLargestCoordinate &&
              std::fabs(static_cast<double>(box.max[i])) <= kLargestCoordinate)) {
            return false;
        }
    }
    return true;
}

/// One block for all items when their number is known beforehand.
template <class Item>
void ReserveOneBlock(Bins::DataPool<Item>& storage, std::size_t count)
{
    if (count <= std::numeric_limits<std::uint32_t>::max()) {
        storage.SetBlockSize(static_cast<std::uint32_t>(count));
    }
}

/// Gives `wrap` its box and stores it, unless a tree can't hold it.
template <int D, class T, class Wrap>
void Store(Bins::DataPool<Wrap>& storage, Wrap& wrap, const BoxOf<D, T>& box)
{
    if (IsIndexable(box)) {
        wrap.min = box.min;
        wrap.max = box.max;
        storage.Add(wrap);
    }
}

} // namespace Impl
} // namespace Velk::Math::Sorvane::Tree
