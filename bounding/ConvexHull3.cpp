// Convex hull in space: candidates, filter, growing mesh, renumbering.

#include <Sorvane/ConvexHull_E.h>

#include "bounding/HullCandidates_Impl.h"
#include "bounding/QHullMesh_Impl.h"
#include "mathbase/Progress_Impl.h"

#include <Velk/Math/Vector_E.h>

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <utility>

namespace Velk::Math::Sorvane::Bounding {
namespace {

template <class T, class Indices>
std::vector<VecBase<3, T>> Gather(const std::vector<VecBase<3, T>>& points, const Indices& indices)
{
    std::vector<VecBase<3, T>> gathered;
    gathered.reserve(indices.size());
    for (const int i : indices) {
        gathered.push_back(points[i]);
    }
    return gathered;
}

/// Hull of distinct points as triples of their numbers; empty when they span no solid.
template <class T>
std::vector<int> HullTriangles(const std::vector<VecBase<3, T>>& points)
{
    Impl::QHullMesh hull(points);
    if (!hull.Build()) {
        return {};
    }
    const std::vector<int> flat = hull.FlatNodes();
    if (flat.empty()) {
        return hull.Triangles();
    }
    // Points inside a flat side or on an edge, which became nodes before its corners did. The other
    // nodes have the same hull; a tolerance, taken once more, could leave out some of them.
    std::vector<int> corners = hull.Triangles();
    std::sort(corners.begin(), corners.end());
    corners.erase(std::unique(corners.begin(), corners.end()), corners.end());
    std::vector<int> kept;
    std::set_difference(corners.begin(), corners.end(), flat.begin(), flat.end(),
                        std::back_inserter(kept));
    Impl::QHullMesh cleaned(Gather(points, kept));
    if (!cleaned.Build(true)) {
        return hull.Triangles();
    }
    std::vector<int> triangles = cleaned.Triangles();
    for (int& node : triangles) {
        node = kept[node];
    }
    return triangles;
}

/// Renumbers the nodes to those in use, ascending, and gives their old numbers.
std::vector<int> CompactNodes(std::vector<int>& triangles, std::size_t nodeCount)
{
    std::vector<int> newNumber(nodeCount, -1);
    for (const int node : triangles) {
        newNumber[node] = 0;
    }
    std::vector<int> used;
    for (std::size_t node = 0; node < nodeCount; ++node) {
        if (newNumber[node] == 0) {
            newNumber[node] = static_cast<int>(used.size());
            used.push_back(static_cast<int>(node));
        }
    }
    for (int& node : triangles) {
        node = newNumber[node];
    }
    return used;
}

} // namespace

template <class T>
bool ConvexHull(const std::vector<VecBase<3, T>>& points, std::vector<VecBase<3, T>>& hullPoints,
                std::vector<int>& indices, bool sortedUnique, bool indicesOnly)
{
    return Progress::Impl::Stoppable(
        [&] {
            // `points` may be one of the outputs, and memory may end anywhere: those change last.
            const T mergeTolerance = sortedUnique ? T{0} : kLengthFloor<T>;
            const std::vector<int> candidates =
                Impl::HullCandidates(points, static_cast<double>(mergeTolerance));
            std::vector<VecBase<3, T>> distinct = Gather(points, candidates);
            if (!sortedUnique) {
                Vector::FilterForUniqueness(distinct, mergeTolerance);
            }

            std::vector<int> triangles = HullTriangles(distinct);
            std::vector<VecBase<3, T>> vertices;
            if (sortedUnique && indicesOnly) {
                for (int& index : triangles) {
                    index = candidates[index];
                }
            } else if (!triangles.empty()) {
                vertices = Gather(distinct, CompactNodes(triangles, distinct.size()));
                if (sortedUnique) { // the caller's word, which costs little to check on what is
                                    // left
                    const std::vector<int> survivorOf =
                        Vector::FilterForUniquenessAndIndex(vertices, kLengthFloor<T>);
                    for (int& index : triangles) {
                        index = survivorOf[index];
                    }
                }
            }
            hullPoints = std::move(vertices);
            indices = std::move(triangles);
            return !indices.empty();
        },
        [&] {
            hullPoints.clear();
            indices.clear();
            return false;
        });
}

template bool ConvexHull(const std::vector<VecBase<3, float>>&, std::vector<VecBase<3, float>>&,
                         std::vector<int>&, bool, bool);
template bool ConvexHull(const std::vector<VecBase<3, double>>&, std::vector<VecBase<3, double>>&,
                         std::vector<int>&, bool, bool);

} // namespace Velk::Math::Sorvane::Bounding
