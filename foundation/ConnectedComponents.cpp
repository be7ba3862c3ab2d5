// Connected components of an indexed mesh: the triangles at every edge, or at every point, are put
// into one of a family of disjoint sets.

#include <Sorvane/MeshQueries_E.h>

#include "foundation/EdgeUses_Impl.h"
#include "mathbase/DisjointSets_Impl.h"
#include "mathbase/Progress_Impl.h"

#include <cstddef>

namespace Velk::Math::Sorvane::Mesh {
namespace {

using Math::Impl::DisjointSets;

int EndOfHalfEdge(const std::vector<int>& indices, int place)
{
    return indices[static_cast<std::size_t>(place % 3 == 2 ? place - 2 : place + 1)];
}

void JoinAcrossEdges(const std::vector<int>& indices, DisjointSets& sets)
{
    const Impl::EdgeUses edges(indices);
    for (std::size_t bucket = 0; bucket < edges.BucketCount(); ++bucket) {
        edges.ForEachEdge(bucket, [&](const Impl::EdgeUse* first, const Impl::EdgeUse* last) {
            // A half-edge from a point to itself is no edge.
            if (indices[static_cast<std::size_t>(first->place)] ==
                EndOfHalfEdge(indices, first->place)) {
                return;
            }
            for (const Impl::EdgeUse* use = first + 1; use != last; ++use) {
                sets.Join(first->Triangle(), use->Triangle());
            }
        });
    }
}

void JoinAcrossPoints(const std::vector<int>& indices, std::size_t pointCount, DisjointSets& sets)
{
    std::vector<int> firstAt(pointCount, -1);
    for (std::size_t corner = 0; corner < indices.size() / 3 * 3; ++corner) {
        const int triangle = static_cast<int>(corner / 3);
        int& first = firstAt[static_cast<std::size_t>(indices[corner])];
        if (first < 0) {
            first = triangle;
        } else {
            sets.Join(first, triangle);
        }
    }
}

/// The members of each set, ascending; the sets in the order of their lowest member, which is the
/// one that names the set and is met before all others.
std::vector<std::vector<int>> Lists(DisjointSets& sets)
{
    std::vector<std::vector<int>> lists;
    std::vector<int> listOf(sets.Size());
    for (int member = 0; member < static_cast<int>(sets.Size()); ++member) {
        const int lowest = sets.Find(member);
        if (lowest == member) {
            listOf[static_cast<std::size_t>(member)] = static_cast<int>(lists.size());
            lists.emplace_back();
        }
        const int list = listOf[static_cast<std::size_t>(lowest)];
        lists[static_cast<std::size_t>(list)].push_back(member);
    }
    return lists;
}

} // namespace

template <int D, class T>
std::vector<std::vector<int>> ConnectedComponents(const IndexedPointsBase<D, T>& mesh,
                                                  Connection connection)
{
    return Progress::Impl::Stoppable([&]() -> std::vector<std::vector<int>> {
        DisjointSets sets(mesh.indices.size() / 3);
        if (connection == Connection::SharedEdge) {
            JoinAcrossEdges(mesh.indices, sets);
        } else {
            JoinAcrossPoints(mesh.indices, mesh.points.size(), sets);
        }
        return Lists(sets);
    });
}

// clang-format off
template std::vector<std::vector<int>> ConnectedComponents(const IndexedPointsBase<2, float>&, Connection);
template std::vector<std::vector<int>> ConnectedComponents(const IndexedPointsBase<2, double>&, Connection);
template std::vector<std::vector<int>> ConnectedComponents(const IndexedPointsBase<3, float>&, Connection);
template std::vector<std::vector<int>> ConnectedComponents(const IndexedPointsBase<3, double>&, Connection);
// clang-format on

} // namespace Velk::Math::Sorvane::Mesh
