// How many constraints lie between a triangle and the outside.
#pragma once

#include "mathbase/Buckets_Impl.h"
#include "mathbase/DisjointSets_Impl.h"

#include <array>
#include <cstddef>
#include <vector>

namespace Velk::Math::Sorvane::HalfEdge::Impl {

/// For each of `count` triangles the least number of constrained edges on a way from a triangle of
/// `starts`, -1 where no way leads.
///
/// visitEdges(visit) calls visit(triangle, other, constrained) once for each edge between two
/// triangles. Triangles joined across free edges are one component; from the starts inwards each
/// step crosses the constraints round the components of the step before. One pass over the edges in
/// their order is a multiple faster than to walk from triangle to triangle. O(edges).
template <class VisitEdges>
std::vector<int> CrossingLevels(std::size_t count, const std::vector<int>& starts,
                                const VisitEdges& visitEdges)
{
    Math::Impl::DisjointSets components(count);
    std::vector<std::array<int, 2>> crossings;
    visitEdges([&](int triangle, int other, bool constrained) {
        if (constrained) {
            crossings.push_back({triangle, other});
        } else {
            components.Join(triangle, other);
        }
    });
    const Math::Impl::Buckets<int, int> beyond(count, [&](const auto& put) {
        for (const auto& [triangle, other] : crossings) {
            const int component = components.Find(triangle);
            const int otherComponent = components.Find(other);
            put(component, otherComponent);
            put(otherComponent, component);
        }
    });

    std::vector<int> levels(count, -1);
    const auto levelOf = [&](int triangle) -> int& {
        return levels[static_cast<std::size_t>(triangle)];
    };
    std::vector<int> queue; // of components, each named by its lowest triangle
    const auto enter = [&](int component, int level) {
        if (levelOf(component) < 0) {
            levelOf(component) = level;
            queue.push_back(component);
        }
    };
    for (const int triangle : starts) {
        enter(components.Find(triangle), 0);
    }
    for (std::size_t next = 0; next < queue.size(); ++next) {
        for (const int component : beyond[queue[next]]) {
            enter(component, levelOf(queue[next]) + 1);
        }
    }
    for (int triangle = 0; triangle < static_cast<int>(count); ++triangle) {
        levelOf(triangle) = levelOf(components.Find(triangle));
    }
    return levels;
}

} // namespace Velk::Math::Sorvane::HalfEdge::Impl
