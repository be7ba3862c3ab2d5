// Bodies over plane profiles, and colors of facets.

#include <Sorvane/MeshBuilders_E.h>

#include <Sorvane/Tessellation_E.h>
#include <Velk/Math/MapColoring_E.h>
#include <Velk/Math/Vector_E.h>

#include "mathbase/Parallel_Impl.h"
#include "mathbase/Progress_Impl.h"

#include <algorithm>
#include <cstddef>
#include <limits>
#include <stdexcept>
#include <utility>

namespace Velk::Math::Sorvane::MeshUtils {
namespace {

template <class T>
using Body = Mesh::IndexedPointsBase<3, T>;

/// Number of the walls' points, a column of `rings` over each point of the profile.
///
/// The order is that in which a list of the walls' triangles names them first, which decides what
/// of near points is kept: the first two columns ring by ring, then column by column.
std::size_t PointNumber(std::size_t column, std::size_t ring, std::size_t rings)
{
    if (column > 1) {
        return column * rings + ring;
    }
    // Ring 0 is named from left to right, the others from right to left.
    return 2 * ring + (ring == 0 ? column : 1 - column);
}

template <class T>
Body<T> WallsOf(const std::vector<VecBase<2, T>>& profile, T bottom, T top, std::size_t slices)
{
    Body<T> walls;
    if (profile.size() < 2) {
        return walls;
    }
    const std::size_t columns = profile.size();
    const std::size_t rings = slices + 1;
    if (columns > static_cast<std::size_t>(std::numeric_limits<int>::max()) / rings) {
        throw std::length_error("more points than an index can tell");
    }
    const T height = (top - bottom) / static_cast<T>(slices);
    walls.points.resize(columns * rings);
    for (std::size_t ring = 0; ring < rings; ++ring) {
        const T z = static_cast<T>(ring) * height + bottom;
        for (std::size_t column = 0; column < columns; ++column) {
            const VecBase<2, T>& p = profile[column];
            walls.points[PointNumber(column, ring, rings)] = {p.x(), p.y(), z};
        }
    }
    const std::vector<int> survivors =
        Vector::FilterForUniquenessAndIndex(walls.points, kLengthFloor<T>);
    walls.indices.reserve(6 * slices * (columns - 1));
    const auto add = [&](std::size_t column, std::size_t ring) {
        walls.indices.push_back(survivors[PointNumber(column, ring, rings)]);
    };
    for (std::size_t p = 0; p + 1 < columns; ++p) {
        for (std::size_t k = 0; k < slices; ++k) {
            add(p, k);
            add(p + 1, k);
            add(p + 1, k + 1);
            add(p + 1, k + 1);
            add(p, k + 1);
            add(p, k);
        }
    }
    return walls;
}

} // namespace

template <class T>
Mesh::IndexedPointsBase<3, T>
CreateExtrudedBodyFromProfile(const std::vector<VecBase<2, T>>& profile, T bottom, T top,
                              unsigned slices)
{
    return Progress::Impl::Stoppable([&]() -> Mesh::IndexedPointsBase<3, T> {
        Body<T> body = WallsOf(profile, bottom, top, std::max<std::size_t>(slices, 1));
        const Mesh::IndexedPointsBase<2, T> flat = Mesh::TessellateFlatBoundary(profile);
        Body<T> cap;
        cap.indices = flat.indices;
        cap.points.reserve(flat.points.size());
        for (const VecBase<2, T>& p : flat.points) {
            cap.points.emplace_back(p.x(), p.y(), top);
        }
        Mesh::Append(body, cap);
        Parallel::Impl::ApplyParallelChunks(std::size_t{0}, cap.points.size(),
                                            [&](std::size_t from, std::size_t to) {
                                                for (std::size_t i = from; i < to; ++i) {
                                                    cap.points[i].z() = bottom;
                                                }
                                            });
        for (std::size_t i = 0; i + 2 < cap.indices.size(); i += 3) {
            std::swap(cap.indices[i + 1], cap.indices[i + 2]);
        }
        Mesh::Append(body, cap);
        return body;
    });
}

// clang-format off
template Mesh::IndexedPointsBase<3, float>  CreateExtrudedBodyFromProfile(const std::vector<VecBase<2, float>>&,  float,  float,  unsigned);
template Mesh::IndexedPointsBase<3, double> CreateExtrudedBodyFromProfile(const std::vector<VecBase<2, double>>&, double, double, unsigned);
// clang-format on

std::vector<int> ColorFacets(const HalfEdge::TriangleMesh<HalfEdge::HVertex<3, double>,
                                                          HalfEdge::HEdge, HalfEdge::HFace>& mesh,
                             unsigned& colorCount)
{
    std::vector<std::vector<int>> neighbors(static_cast<std::size_t>(mesh.FaceCount()));
    Parallel::Impl::ApplyParallelChunks(
        std::size_t{0}, neighbors.size(), [&](std::size_t from, std::size_t to) {
            for (std::size_t facet = from; facet < to; ++facet) {
                neighbors[facet] = mesh.FaceNeighbors(static_cast<int>(facet));
            }
        });
    return MapColoring(neighbors, colorCount);
}

} // namespace Velk::Math::Sorvane::MeshUtils
