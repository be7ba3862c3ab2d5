// What the search trees answer with, and how they tell of a long batch.
#pragma once

#include <Velk/Math/VecBase_E.h>

#include <functional>

namespace Velk::Math::Sorvane::Tree {

/// Answer of a search for the nearest item: its nearest point, and its number or -1 when none was
/// found.
template <int D, class T> struct ClosestPointRecord {
    VecBase<D, T> point; ///< nearest point of the item; the point asked for when none was found
    int id = -1;         ///< number of the item, or -1

    friend constexpr bool operator==(const ClosestPointRecord&, const ClosestPointRecord&) = default;
};

/// Called now and then during a batch, from the thread that asked for it, with the share done so far,
/// in (0, 1]. Returning false cancels the batch. An empty function is not called.
using ProgressCallback = std::function<bool(double share)>;

} // namespace Velk::Math::Sorvane::Tree
