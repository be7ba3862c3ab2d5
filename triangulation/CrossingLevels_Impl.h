// How many constraints lie between a triangle and the outside.
#pragma once

#include <cstddef>
#include <utility>
#include <vector>

namespace Velk::Math::Sorvane::HalfEdge::Impl {

/// For each triangle of a mesh the least number of constrained edges on a way from a triangle of
/// `starts`, -1 where no way leads.
///
/// `Mesh` has TriangleCount(), and VisitNeighbors(triangle, visit), which calls visit(neighbor,
/// constrained) for the triangles across the edges. Level by level: what free edges join to a
/// triangle of a level is of that level, what constraints part from it and no level has yet is of
/// the next one. O(triangles).
template <class Mesh>
std::vector<int> CrossingLevels(const Mesh& mesh, const std::vector<int>& starts)
{
    std::vector<int> levels(static_cast<std::size_t>(mesh.TriangleCount()), -1);
    std::vector<int> open;
    std::vector<int> beyond = starts;
    for (int level = 0; !beyond.empty(); ++level) {
        const auto enter = [&](int triangle) {
            int& own = levels[static_cast<std::size_t>(triangle)];
            if (own < 0) {
                own = level;
                open.push_back(triangle);
            }
        };
        for (const int triangle : std::exchange(beyond, {})) {
            enter(triangle);
        }
        while (!open.empty()) {
            const int triangle = open.back();
            open.pop_back();
            mesh.VisitNeighbors(triangle, [&](int neighbor, bool constrained) {
                if (!constrained) {
                    enter(neighbor);
                } else if (levels[static_cast<std::size_t>(neighbor)] < 0) {
                    beyond.push_back(neighbor);
                }
            });
        }
    }
    return levels;
}

} // namespace Velk::Math::Sorvane::HalfEdge::Impl
