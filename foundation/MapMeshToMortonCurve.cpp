// Puts the points of a mesh in the order of the Z-order curve.

#include <Sorvane/MeshQueries_E.h>
#include <Sorvane/MortonCurve_E.h>

#include "mathbase/Parallel_Impl.h"

#include <cstddef>
#include <utility>

namespace Velk::Math::Sorvane::Mesh {
namespace {

struct PointOnCurve {
    unsigned long long code;
    int number;
};

/// The points' numbers in the order of the curve; points of one cell keep their order.
template <int D>
std::vector<int> OrderAlongCurve(const std::vector<VecBase<D, double>>& points)
{
    constexpr unsigned int kFullDepth = D == 2 ? 31 : 21;
    const std::vector<unsigned long long> codes = Tree::MortonCurve::MapToCurve(points, kFullDepth);
    std::vector<PointOnCurve> onCurve(points.size());
    for (std::size_t i = 0; i < points.size(); ++i) {
        onCurve[i] = {codes[i], static_cast<int>(i)};
    }
    Parallel::Impl::ParallelSort(
        onCurve.begin(), onCurve.end(),
        [](const PointOnCurve& a, const PointOnCurve& b) { return a.code < b.code; });
    std::vector<int> order(points.size());
    for (std::size_t i = 0; i < points.size(); ++i) {
        order[i] = onCurve[i].number;
    }
    return order;
}

/// fn(i) for i from 0 to count - 1, side by side.
template <class Fn>
void ForEachIndex(std::size_t count, const Fn& fn)
{
    Parallel::Impl::ApplyParallelChunks(std::size_t{0}, count,
                                        [&](std::size_t from, std::size_t to) {
                                            for (std::size_t i = from; i < to; ++i) {
                                                fn(i);
                                            }
                                        });
}

} // namespace

template <int D>
IndexedPointsBase<D, double> MapMeshToMortonCurve(const IndexedPointsBase<D, double>& mesh,
                                                  std::vector<int>* newToOld,
                                                  std::vector<int>* oldToNew)
{
    std::vector<int> order = OrderAlongCurve(mesh.points);
    IndexedPointsBase<D, double> result;
    result.points.resize(mesh.points.size());
    result.indices.resize(mesh.indices.size());
    std::vector<int> inverse(mesh.points.size());
    ForEachIndex(order.size(), [&](std::size_t i) {
        const auto old = static_cast<std::size_t>(order[i]);
        result.points[i] = mesh.points[old];
        inverse[old] = static_cast<int>(i);
    });
    ForEachIndex(mesh.indices.size(), [&](std::size_t k) {
        result.indices[k] = inverse[static_cast<std::size_t>(mesh.indices[k])];
    });
    if (newToOld != nullptr) {
        *newToOld = std::move(order);
    }
    if (oldToNew != nullptr) {
        *oldToNew = std::move(inverse);
    }
    return result;
}

template IndexedPointsBase<2, double> MapMeshToMortonCurve(const IndexedPointsBase<2, double>&,
                                                           std::vector<int>*, std::vector<int>*);
template IndexedPointsBase<3, double> MapMeshToMortonCurve(const IndexedPointsBase<3, double>&,
                                                           std::vector<int>*, std::vector<int>*);

} // namespace Velk::Math::Sorvane::Mesh
