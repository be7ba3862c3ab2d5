// How many constraints lie between a triangle and the outside.
#pragma once

#include "mathbase/DisjointSets_Impl.h"
#include "mathbase/RadixSort_Impl.h"

#include <algorithm>
#include <cstddef>
#include <utility>
#include <vector>

namespace Velk::Math::Sorvane::HalfEdge::Impl {

/// For each triangle of a mesh the least number of constrained edges on a way from some triangle
/// outside.
///
/// Triangles joined across free edges are one component; from the outside inwards each step crosses
/// the constraints round the components of the step before. One pass over the edges in their order
/// is a multiple faster than to walk from triangle to triangle.
class CrossingLevels {
public:
    /// Of `count` triangles. visitEdges(visit) calls visit(triangle, other, constrained) once for
    /// each edge between two triangles; visitStarts(visit) calls visit(triangle) for those outside.
    /// O(edges).
    template <class VisitEdges, class VisitStarts>
    CrossingLevels(std::size_t count, const VisitEdges& visitEdges, const VisitStarts& visitStarts)
        : components_(count)
    {
        std::vector<std::pair<int, int>> crossings; // triangles, later components
        // The name of the component of the triangle last asked for: its edges come one by one.
        int current = -1;
        int name = -1;
        visitEdges([&](int triangle, int other, bool constrained) {
            if (constrained) {
                crossings.emplace_back(triangle, other);
                crossings.emplace_back(other, triangle);
                return;
            }
            if (triangle != current) {
                current = triangle;
                name = components_.Find(triangle);
            }
            const int otherName = components_.Find(other);
            components_.Join(name, otherName);
            name = std::min(name, otherName);
        });
        for (auto& [triangle, other] : crossings) {
            triangle = components_.Find(triangle);
            other = components_.Find(other);
        }
        Math::Impl::StableSortByKey(crossings, [](const std::pair<int, int>& crossing) {
            return static_cast<unsigned>(crossing.first);
        });

        levels_.assign(count, -1);
        std::vector<int> queue; // of components
        const auto enter = [&](int component, int level) {
            if (LevelOf(component) < 0) {
                LevelOf(component) = level;
                queue.push_back(component);
            }
        };
        visitStarts([&](int triangle) { enter(components_.Find(triangle), 0); });
        for (std::size_t next = 0; next < queue.size(); ++next) {
            const int component = queue[next];
            const auto isBefore = [](const std::pair<int, int>& crossing, int sought) {
                return crossing.first < sought;
            };
            auto beyond = std::lower_bound(crossings.begin(), crossings.end(), component, isBefore);
            for (; beyond != crossings.end() && beyond->first == component; ++beyond) {
                enter(beyond->second, LevelOf(component) + 1);
            }
        }
    }

    /// -1 where no way leads.
    int Of(int triangle) { return LevelOf(components_.Find(triangle)); }

private:
    int& LevelOf(int component) { return levels_[static_cast<std::size_t>(component)]; }

    Math::Impl::DisjointSets components_; // named by their lowest triangles
    std::vector<int> levels_;             // by component
};

} // namespace Velk::Math::Sorvane::HalfEdge::Impl
