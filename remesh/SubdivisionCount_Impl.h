// How far a mesh may grow: subscripts are of type `int`.
#pragma once

#include <cstddef>
#include <limits>
#include <vector>

namespace Velk::Math::Sorvane::HalfEdge::Impl {

/// Ends in the standard container's length error where `count` records can't all have a subscript.
inline void RequireSubscripts(std::size_t count)
{
    if (count > static_cast<std::size_t>(std::numeric_limits<int>::max())) {
        std::vector<int> records;
        records.reserve(records.max_size() + 1);
    }
}

/// The same for the half-edges of a mesh of so many edges and faces after Loop's steps.
inline void RequireLoopSubscripts(std::size_t edges, std::size_t faces, unsigned iterations)
{
    constexpr auto kMost = static_cast<std::size_t>(std::numeric_limits<int>::max());
    for (unsigned i = 0; i < iterations && edges > 0 && edges <= kMost; ++i) {
        edges = 2 * edges + 3 * faces; // two halves each, and a triangle within each triangle
        faces *= 4;
    }
    RequireSubscripts(2 * edges);
}

/// For what of every one of `count` things becomes `factor` things, so many times over.
inline void RequireGrownSubscripts(std::size_t count, std::size_t factor, unsigned iterations)
{
    constexpr auto kMost = static_cast<std::size_t>(std::numeric_limits<int>::max());
    for (unsigned i = 0; i < iterations && count > 0 && count <= kMost; ++i) {
        count *= factor;
    }
    RequireSubscripts(count);
}

} // namespace Velk::Math::Sorvane::HalfEdge::Impl
