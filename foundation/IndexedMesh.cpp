// Indexed meshes and triangle soups: conversions, welding, appending, and soups under a transform.

#include <Sorvane/IndexedMesh_E.h>
#include <Velk/Math/Vector_E.h>

#include "mathbase/Parallel_Impl.h"
#include "mathbase/Progress_Impl.h"

#include <algorithm>
#include <cstdint>
#include <numeric>

namespace Velk::Math::Sorvane::Mesh {

TriangleConstIterator::~TriangleConstIterator() = default;

TripleIndexWrapper::~TripleIndexWrapper() = default;

template <int D, class T>
TriangleIndexWrapper<D, T>::TriangleIndexWrapper(const IndexedPointsBase<D, T>& mesh)
    : TripleIndexWrapper(mesh.indices.data(), mesh.indices.size()), mesh_(&mesh)
{
}

template <int D, class T>
TriangleIndexWrapper<D, T>::~TriangleIndexWrapper() = default;

namespace {

/// The points that a mesh's triangles name, each once and in the order in which they are first
/// named, and for each entry of `indices` the number of its point among them.
template <int D, class T>
struct UsedPoints {
    std::vector<VecBase<D, T>> points;
    std::vector<int> numberOfCorner;
};

/// A second corner on a point cannot change which points a weld keeps: it matches whatever the
/// first one matched or became. That holds only for points that match themselves, which one with a
/// NaN or an infinite coordinate does not, and none does under a negative tolerance; such points
/// are listed once for each corner.
template <int D, class T>
UsedPoints<D, T> PointsInOrderOfUse(const IndexedPointsBase<D, T>& mesh, T tolerance)
{
    UsedPoints<D, T> used;
    used.points.reserve(std::min(mesh.points.size(), mesh.indices.size()));
    used.numberOfCorner.reserve(mesh.indices.size());
    std::vector<int> numberOfPoint(mesh.points.size(), -1);
    for (const int point : mesh.indices) {
        const auto subscript = static_cast<std::size_t>(point);
        int number = numberOfPoint[subscript];
        if (number < 0) {
            const VecBase<D, T>& position = mesh.points[subscript];
            number = static_cast<int>(used.points.size());
            used.points.push_back(position);
            if (Matches(position, position, tolerance)) {
                numberOfPoint[subscript] = number;
            }
        }
        used.numberOfCorner.push_back(number);
    }
    return used;
}

/// Room for so many elements more. At least doubled where it grows: an exact reserve would copy
/// everything at every one of many appends.
template <class Element>
void GrowFor(std::vector<Element>& elements, std::size_t more)
{
    if (elements.capacity() - elements.size() < more) {
        elements.reserve(std::max(elements.size() + more, 2 * elements.capacity()));
    }
}

} // namespace

template <int D, class T>
IndexedPointsBase<D, T> IndexedPointsFromSoup(const TriangleSoup<D, T>& soup, bool unique,
                                              T tolerance)
{
    return Progress::Impl::Stoppable([&]() -> IndexedPointsBase<D, T> {
        IndexedPointsBase<D, T> mesh;
        mesh.points.reserve(3 * soup.size());
        for (const Triangle<D, T>& triangle : soup) {
            Progress::Impl::CheckStep(mesh.points.size());
            mesh.points.insert(mesh.points.end(), triangle.begin(), triangle.end());
        }
        if (unique) {
            mesh.indices = Vector::FilterForUniquenessAndIndex(mesh.points, tolerance);
        } else {
            mesh.indices.resize(mesh.points.size());
            std::iota(mesh.indices.begin(), mesh.indices.end(), 0);
        }
        return mesh;
    });
}

template <int D, class T>
TriangleSoup<D, T> SoupFromIndexedPoints(const IndexedPointsBase<D, T>& mesh)
{
    return Progress::Impl::Stoppable([&]() -> TriangleSoup<D, T> {
        TriangleSoup<D, T> soup;
        if (IsEmpty(mesh)) {
            return soup;
        }
        soup.reserve(mesh.indices.size() / 3);
        for (std::size_t corner = 0; corner < mesh.indices.size(); corner += 3) {
            Progress::Impl::CheckStep(corner / 3);
            soup.push_back({mesh.points[static_cast<std::size_t>(mesh.indices[corner])],
                            mesh.points[static_cast<std::size_t>(mesh.indices[corner + 1])],
                            mesh.points[static_cast<std::size_t>(mesh.indices[corner + 2])]});
        }
        return soup;
    });
}

template <int D, class T>
TriangleSoup<D, T> SoupFromIndexedPoints(const IndexedPointsBase<D, T>& mesh,
                                         const std::vector<int>& triangleNumbers)
{
    TriangleSoup<D, T> soup;
    if (IsEmpty(mesh)) {
        return soup;
    }
    soup.reserve(triangleNumbers.size());
    const auto indexCount = static_cast<std::int64_t>(mesh.indices.size());
    for (const int triangle : triangleNumbers) {
        // In 64 bits: a product that wrapped round could land between two triples.
        const std::int64_t first = std::int64_t{3} * triangle;
        if (first < 0 || first >= indexCount) {
            continue;
        }
        const auto corner = static_cast<std::size_t>(first);
        soup.push_back({mesh.points[static_cast<std::size_t>(mesh.indices[corner])],
                        mesh.points[static_cast<std::size_t>(mesh.indices[corner + 1])],
                        mesh.points[static_cast<std::size_t>(mesh.indices[corner + 2])]});
    }
    return soup;
}

template <int D, class T>
void FilterForUniqueness(IndexedPointsBase<D, T>& mesh, T tolerance)
{
    Progress::Impl::Stoppable([&] {
        if (IsEmpty(mesh)) {
            mesh.points.clear();
            mesh.indices.clear();
            return;
        }
        // The weld of all corners, as by way of a soup, for the price of the distinct ones.
        UsedPoints<D, T> used = PointsInOrderOfUse(mesh, tolerance);
        const std::vector<int> survivor =
            Vector::FilterForUniquenessAndIndex(used.points, tolerance);
        for (std::size_t corner = 0; corner < mesh.indices.size(); ++corner) {
            mesh.indices[corner] = survivor[static_cast<std::size_t>(used.numberOfCorner[corner])];
        }
        mesh.points = std::move(used.points);
    });
}

template <int D, class T>
void Append(TriangleSoup<D, T>& soup, const TriangleSoup<D, T>& other)
{
    if (&soup == &other) {
        // A range within a vector can't be inserted into that vector.
        const TriangleSoup<D, T> copy = other;
        soup.insert(soup.end(), copy.begin(), copy.end());
        return;
    }
    soup.insert(soup.end(), other.begin(), other.end());
}

template <int D, class T>
void Append(IndexedPointsBase<D, T>& mesh, const IndexedPointsBase<D, T>& other)
{
    if (&mesh == &other) {
        return;
    }
    if (other.indices.empty() || other.points.empty()) {
        return;
    }
    if (mesh.indices.empty() && mesh.points.empty()) {
        IndexedPointsBase<D, T> copy = other;
        mesh.points.swap(copy.points);
        mesh.indices.swap(copy.indices);
        return;
    }
    const auto oldPointCount = static_cast<std::int64_t>(mesh.points.size());
    const std::size_t oldIndexCount = mesh.indices.size();
    GrowFor(mesh.indices, other.indices.size()); // where there is no memory all is as it was
    GrowFor(mesh.points, other.points.size());
    mesh.points.insert(mesh.points.end(), other.points.begin(), other.points.end());
    mesh.indices.resize(oldIndexCount + other.indices.size());
    std::transform(other.indices.begin(), other.indices.end(),
                   mesh.indices.begin() + static_cast<std::ptrdiff_t>(oldIndexCount),
                   [=](int index) { return static_cast<int>(index + oldPointCount); });
}

} // namespace Velk::Math::Sorvane::Mesh

namespace Velk::Math::Transform {

template <int D, class T>
Sorvane::Mesh::TriangleSoup<D, T> operator*(const TransformBase<D>& transform,
                                            const Sorvane::Mesh::TriangleSoup<D, T>& soup)
{
    Sorvane::Mesh::TriangleSoup<D, T> mapped = soup;
    mapped *= transform;
    return mapped;
}

template <int D, class T>
Sorvane::Mesh::TriangleSoup<D, T>& operator*=(Sorvane::Mesh::TriangleSoup<D, T>& soup,
                                              const TransformBase<D>& transform)
{
    Parallel::Impl::ApplyParallelChunks(
        std::size_t{0}, soup.size(), [&](std::size_t from, std::size_t to) {
            for (std::size_t triangle = from; triangle < to; ++triangle) {
                for (VecBase<D, T>& corner : soup[triangle]) {
                    corner = transform * corner;
                }
            }
        });
    return soup;
}

} // namespace Velk::Math::Transform

// clang-format off
namespace Velk::Math::Sorvane::Mesh {
template class TriangleIndexWrapper<3, double>;
template class TriangleIndexWrapper<2, long long>;
#define SORVANE_INSTANTIATE(D, T) \
    template IndexedPointsBase<D, T> IndexedPointsFromSoup(const TriangleSoup<D, T>&, bool, T); \
    template TriangleSoup<D, T> SoupFromIndexedPoints(const IndexedPointsBase<D, T>&); \
    template TriangleSoup<D, T> SoupFromIndexedPoints(const IndexedPointsBase<D, T>&, const std::vector<int>&); \
    template void FilterForUniqueness(IndexedPointsBase<D, T>&, T); \
    template void Append(TriangleSoup<D, T>&, const TriangleSoup<D, T>&); \
    template void Append(IndexedPointsBase<D, T>&, const IndexedPointsBase<D, T>&);
SORVANE_INSTANTIATE(2, float)
SORVANE_INSTANTIATE(2, double)
SORVANE_INSTANTIATE(3, float)
SORVANE_INSTANTIATE(3, double)
#undef SORVANE_INSTANTIATE
} // namespace Velk::Math::Sorvane::Mesh

namespace Velk::Math::Transform {
#define SORVANE_INSTANTIATE(D, T) \
    template Sorvane::Mesh::TriangleSoup<D, T> operator*(const TransformBase<D>&, const Sorvane::Mesh::TriangleSoup<D, T>&); \
    template Sorvane::Mesh::TriangleSoup<D, T>& operator*=(Sorvane::Mesh::TriangleSoup<D, T>&, const TransformBase<D>&);
SORVANE_INSTANTIATE(2, float)
SORVANE_INSTANTIATE(2, double)
SORVANE_INSTANTIATE(3, float)
SORVANE_INSTANTIATE(3, double)
#undef SORVANE_INSTANTIATE
} // namespace Velk::Math::Transform
// clang-format on
