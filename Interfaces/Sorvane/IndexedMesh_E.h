// The two forms in which triangles cross the library's boundary, the indexed mesh and the triangle
// soup, with the conversions between them and the small operators over them.
#pragma once

#include <Velk/Math/Transform_E.h>

#include <array>
#include <cstddef>
#include <iterator>
#include <set>
#include <utility>
#include <vector>

namespace Velk::Math::Sorvane::Mesh {

/// An indexed triangle mesh: three consecutive entries of `indices` are one triangle, each a subscript
/// of `points`. Triangle t is entries 3t, 3t+1, 3t+2.
///
/// The order in a triple is the orientation: (second - first) ^ (third - first) points to the side from
/// which the triple runs counter-clockwise. Indices are trusted: an operation does not check that they
/// are in range unless its comment says so.
template <int D, class T> struct SORVANE_API IndexedPointsBase {
    std::vector<VecBase<D, T>> points; ///< in any order; not all of them need be used
    std::vector<int> indices;          ///< three for each triangle

    friend bool operator==(const IndexedPointsBase&, const IndexedPointsBase&) = default;
};

/// True when the number of indices is 0 or not a multiple of 3, or there are fewer than 3 points: such
/// a mesh counts as having no triangles at all.
template <int D, class T> bool IsEmpty(const IndexedPointsBase<D, T>& mesh)
{
    return mesh.indices.empty() || mesh.indices.size() % 3 != 0 || mesh.points.size() < 3;
}

/// Three subscripts of a mesh's points and, unless Tag is `void`, a tag after them.
template <class Tag> struct SORVANE_API TaggedTriangle {
    std::array<int, 3> indices = {}; ///< of the corners, in the order of the orientation
    Tag tag = {};                    ///< whatever the host means by it

    friend constexpr bool operator==(const TaggedTriangle&, const TaggedTriangle&) = default;
};

/// A triangle without a tag.
template <> struct SORVANE_API TaggedTriangle<void> {
    std::array<int, 3> indices = {}; ///< of the corners, in the order of the orientation

    friend constexpr bool operator==(const TaggedTriangle&, const TaggedTriangle&) = default;
};

/// Indexed triangles that carry a tag each. Tag is `void`, `int` or `unsigned long long`.
template <int D, class T, class Tag> struct SORVANE_API IndexedTrianglesBase {
    std::vector<VecBase<D, T>> points;          ///< in any order; not all of them need be used
    std::vector<TaggedTriangle<Tag>> triangles; ///< in the order of their numbers

    friend bool operator==(const IndexedTrianglesBase&, const IndexedTrianglesBase&) = default;
};

/// One triangle by value, and many: no sharing between them.
template <int D, class T> using Triangle = std::array<VecBase<D, T>, 3>;
template <int D, class T> using TriangleSoup = std::vector<Triangle<D, T>>;

/// Position in a run of index triples. Borrows the indices; dereferencing gives the triple.
class SORVANE_API TriangleConstIterator {
public:
    /// The five types that the standard library asks of an iterator.
    using iterator_category = std::forward_iterator_tag;
    using value_type = std::array<int, 3>;
    using difference_type = std::ptrdiff_t;
    using pointer = const value_type*;
    using reference = value_type;

    TriangleConstIterator() = default;
    /// At the triple whose first index is `*first`.
    explicit TriangleConstIterator(const int* first) : indices(first) {}
    TriangleConstIterator(const TriangleConstIterator&) = default;
    TriangleConstIterator& operator=(const TriangleConstIterator&) = default;
    virtual ~TriangleConstIterator();

    /// The triple.
    std::array<int, 3> operator*() const { return {indices[0], indices[1], indices[2]}; }

    /// Goes on to the next triple.
    TriangleConstIterator& operator++()
    {
        indices += 3;
        return *this;
    }

    /// The same, and gives the iterator as it was.
    TriangleConstIterator operator++(int)
    {
        TriangleConstIterator before = *this;
        indices += 3;
        return before;
    }

    /// At the same place in memory.
    friend bool operator==(const TriangleConstIterator& a, const TriangleConstIterator& b)
    {
        return a.indices == b.indices;
    }

    /// First of the three indices of the current triangle.
    const int* indices = nullptr;
};

/// A view of a run of index triples; it owns nothing and must not outlive the indices.
class SORVANE_API TripleIndexWrapper {
public:
    TripleIndexWrapper() = default;

    /// The triples in the `count` indices from `first` on; an incomplete last triple is left out.
    TripleIndexWrapper(const int* first, std::size_t count)
        : first_(first), last_(first + count / 3 * 3)
    {
    }

    TripleIndexWrapper(const TripleIndexWrapper&) = default;
    TripleIndexWrapper& operator=(const TripleIndexWrapper&) = default;
    virtual ~TripleIndexWrapper();

    /// The first triple, and the place behind the last one.
    TriangleConstIterator begin() const { return TriangleConstIterator(first_); }
    TriangleConstIterator end() const { return last_; }

    /// Number of triples.
    std::size_t size() const
    {
        return static_cast<std::size_t>(last_.indices - first_.indices) / 3;
    }

private:
    TriangleConstIterator first_;
    TriangleConstIterator last_;
};

/// The triples of one mesh together with a reference to the mesh. For (3, `double`) and (2, `long
/// long`). Borrows the mesh: an object that copies its mesh has to make a new wrapper for the copy.
template <int D, class T> class SORVANE_API TriangleIndexWrapper : public TripleIndexWrapper {
public:
    /// The triples of `mesh`, which must outlive the wrapper.
    explicit TriangleIndexWrapper(const IndexedPointsBase<D, T>& mesh);
    TriangleIndexWrapper(const TriangleIndexWrapper&) = default;
    TriangleIndexWrapper& operator=(const TriangleIndexWrapper&) = default;
    ~TriangleIndexWrapper() override;

    /// The mesh itself.
    const IndexedPointsBase<D, T>& Mesh() const { return *mesh_; }

private:
    const IndexedPointsBase<D, T>* mesh_;
};

/// The mesh of a soup.
///
/// Without `unique` the points are the corners in order, the indices 0, 1, 2, ... and `tolerance` is not
/// looked at. With it the points go through `Vector::FilterForUniquenessAndIndex`; triangles that
/// degenerate by merging stay, so triangle t of the mesh is always triangle t of the soup. Dominated by
/// that filter: expected O(n log n), parallel.
template <int D, class T>
IndexedPointsBase<D, T> IndexedPointsFromSoup(const TriangleSoup<D, T>& soup, bool unique, T tolerance);

/// All triangles of a mesh by value; none when the mesh `IsEmpty`.
template <int D, class T> TriangleSoup<D, T> SoupFromIndexedPoints(const IndexedPointsBase<D, T>& mesh);

/// The listed triangles in list order; none when the mesh `IsEmpty`. A number out of range is skipped,
/// a repeated one gives a repeated triangle.
template <int D, class T>
TriangleSoup<D, T> SoupFromIndexedPoints(const IndexedPointsBase<D, T>& mesh,
                                         const std::vector<int>& triangleNumbers);

/// Welds a mesh in place: to a soup and back with merging. Points that no triangle uses disappear, the
/// others stand in the order of `Vector::FilterForUniqueness`. A mesh that `IsEmpty` loses both fields.
template <int D, class T> void FilterForUniqueness(IndexedPointsBase<D, T>& mesh, T tolerance);

/// Adds all triangles of `other` at the end; a soup appended to itself is doubled.
template <int D, class T> void Append(TriangleSoup<D, T>& soup, const TriangleSoup<D, T>& other);

/// Adds the points and triangles of `other`, without merging: its indices move up by the number of
/// points that were there. No effect when both are the same object or `other` has no points or no
/// indices; a mesh without both becomes a copy of `other`. Where memory runs out the mesh is as it was.
/// Amortized O(size of `other`).
template <int D, class T>
void Append(IndexedPointsBase<D, T>& mesh, const IndexedPointsBase<D, T>& other);

} // namespace Velk::Math::Sorvane::Mesh

namespace Velk::Math::Transform {

/// Every corner mapped: a new soup, or in place. In parallel from 512 triangles on, bit for bit the
/// same as one after another.
template <int D, class T>
Sorvane::Mesh::TriangleSoup<D, T> operator*(const TransformBase<D>& transform,
                                            const Sorvane::Mesh::TriangleSoup<D, T>& soup);
template <int D, class T>
Sorvane::Mesh::TriangleSoup<D, T>& operator*=(Sorvane::Mesh::TriangleSoup<D, T>& soup,
                                              const TransformBase<D>& transform);

} // namespace Velk::Math::Transform

namespace Velk::Math::Sorvane {

/// Triangles of a profile turned about the axis through `axisPoint` along `axisDirection`.
///
/// The rings of points: ring 0 is the profile, each further ring the ring before it turned by 2 pi / n,
/// right-handed about the axis, with n >= 1 rings such that the chord at the profile's greatest radius
/// stays within `tolerance` (`Geometry::AngleStep`). Each turn maps p to rotation (p - c - c) + c for
/// the axis point c: the ordinary rotation for an axis through the origin; for any other axis each
/// ring is shifted besides. Point i of ring r has the number r m + i, m being the size of the profile.
///
/// For each range (first, last) of profile points, last clipped to the profile, and each ring b with the
/// ring q before it (the last one before ring 0), each step j of the profile gives the triangles
/// (q + j, b + j, b + j + 1) and (q + j, b + j + 1, q + j + 1); their tag is the range's number. Nothing
/// is merged on the axis, and the degenerate triangles there stay. `first` is trusted: a negative one
/// gives negative subscripts.
///
/// An empty profile, or a tolerance that leaves no positive finite angular step (0, negative, NaN),
/// gives an empty mesh. One so fine that `int` cannot number the points ends in the standard container's
/// length error. O(points + triangles).
template <class T, class Tag>
Mesh::IndexedTrianglesBase<3, T, Tag>
RevolvedPolylineAroundAxis(const VecBase<3, T>& axisPoint, const VecBase<3, T>& axisDirection,
                           const std::vector<VecBase<3, T>>& profile,
                           const std::vector<std::pair<int, int>>& ranges, T tolerance);

/// A polyline that never descends in y, with extra nodes where it passes `heights`, and the numbers of
/// its nodes that lie on a height, ascending and each once.
///
/// A height h in (q.y - tolerance / 2, q.y] of a node q snaps to that node. Any other height within the
/// polyline makes a new node at y = h, also one just above a node, and also one exactly on a node when
/// `tolerance` is 0 (the node stays as a twin behind it; only the first node, and one within the length
/// floor of the node before, takes such a height itself). x is interpolated between the neighbors, or
/// the upper one's on a rise within that floor; in space z = 0 whatever the neighbors'. Of a plateau's
/// nodes only the first is listed. Heights below the first node or above the last do nothing.
///
/// A polyline that descends anywhere, an empty one, and one without heights come back unchanged with no
/// numbers. With a NaN tolerance every height snaps to the next node. O(nodes + heights).
template <class T, class V>
std::pair<std::vector<V>, std::vector<int>> SplitByHeight(const std::vector<V>& polyline,
                                                          const std::set<T>& heights, T tolerance);

} // namespace Velk::Math::Sorvane

namespace Velk::Math::Sorvane::Mesh {
// clang-format off
extern template class SORVANE_API TriangleIndexWrapper<3, double>;
extern template class SORVANE_API TriangleIndexWrapper<2, long long>;
#define SORVANE_EXTERN(D, T) \
    extern template SORVANE_API IndexedPointsBase<D, T> IndexedPointsFromSoup(const TriangleSoup<D, T>&, bool, T); \
    extern template SORVANE_API TriangleSoup<D, T> SoupFromIndexedPoints(const IndexedPointsBase<D, T>&); \
    extern template SORVANE_API TriangleSoup<D, T> SoupFromIndexedPoints(const IndexedPointsBase<D, T>&, const std::vector<int>&); \
    extern template SORVANE_API void FilterForUniqueness(IndexedPointsBase<D, T>&, T); \
    extern template SORVANE_API void Append(TriangleSoup<D, T>&, const TriangleSoup<D, T>&); \
    extern template SORVANE_API void Append(IndexedPointsBase<D, T>&, const IndexedPointsBase<D, T>&);
SORVANE_EXTERN(2, float)
SORVANE_EXTERN(2, double)
SORVANE_EXTERN(3, float)
SORVANE_EXTERN(3, double)
#undef SORVANE_EXTERN
// clang-format on
} // namespace Velk::Math::Sorvane::Mesh

namespace Velk::Math::Transform {
// clang-format off
#define SORVANE_EXTERN(D, T) \
    extern template SORVANE_API Sorvane::Mesh::TriangleSoup<D, T> operator*(const TransformBase<D>&, const Sorvane::Mesh::TriangleSoup<D, T>&); \
    extern template SORVANE_API Sorvane::Mesh::TriangleSoup<D, T>& operator*=(Sorvane::Mesh::TriangleSoup<D, T>&, const TransformBase<D>&);
SORVANE_EXTERN(2, float)
SORVANE_EXTERN(2, double)
SORVANE_EXTERN(3, float)
SORVANE_EXTERN(3, double)
#undef SORVANE_EXTERN
// clang-format on
} // namespace Velk::Math::Transform

namespace Velk::Math::Sorvane {
// clang-format off
#define SORVANE_EXTERN(T, Tag) \
    extern template SORVANE_API Mesh::IndexedTrianglesBase<3, T, Tag> RevolvedPolylineAroundAxis(const VecBase<3, T>&, const VecBase<3, T>&, const std::vector<VecBase<3, T>>&, const std::vector<std::pair<int, int>>&, T);
SORVANE_EXTERN(float, void)
SORVANE_EXTERN(float, int)
SORVANE_EXTERN(float, unsigned long long)
SORVANE_EXTERN(double, void)
SORVANE_EXTERN(double, int)
SORVANE_EXTERN(double, unsigned long long)
#undef SORVANE_EXTERN
#define SORVANE_EXTERN(T, N) \
    extern template SORVANE_API std::pair<std::vector<VecBase<N, T>>, std::vector<int>> SplitByHeight(const std::vector<VecBase<N, T>>&, const std::set<T>&, T);
SORVANE_EXTERN(float, 2)
SORVANE_EXTERN(double, 2)
SORVANE_EXTERN(double, 3)
#undef SORVANE_EXTERN
// clang-format on
} // namespace Velk::Math::Sorvane
