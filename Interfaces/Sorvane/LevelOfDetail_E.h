// Triangular patches at eight levels of detail, and how a patch is tessellated when some of its
// nodes lie inside a region and the others outside: marching triangles on a regular lattice.
//
// A lattice of level L is an equilateral triangle with each of its edges cut in L + 1 equal parts.
// It has (L + 2)(L + 3) / 2 nodes and (L + 1)^2 triangles. Nodes stand row by row, from the edge
// between corners 0 and 1 up to corner 2: row j = 0 ... L + 1 holds the places i = 0 ... L + 1 - j.
#pragma once

#include <Sorvane/IndexedMesh_E.h>

#include <array>
#include <vector>

/// Triangular lattices, and patches that are cut by a mask of their nodes.
namespace Velk::Math::Sorvane::Mesh::LOD {

/// There are levels 0 to 7.
inline constexpr unsigned int kLevelCount = 8;

/// How many nodes the lattice of a level has: 3, 6, 10, 15, 21, 28, 36, 45. A level above 7 counts
/// as 7.
SORVANE_API unsigned int NodeCount(unsigned int level);

// The tables below are built once for the process, on first use, and are the same ever after; any
// thread may ask. A level above 7 counts as 7. Each call copies: O(nodes) or O(triangles).

/// The nodes in the plane: node (i, j) lies at ((i + j / 2) h, j h sin(pi / 3)) with h = 1 / (L +
/// 1), so that corner 0 is the origin and corner 1 is (1, 0).
SORVANE_API std::vector<VecBase<2, double>> TriangleXYs(unsigned int level);

/// The nodes by their weights (u, v) of corners 0 and 1, to an ulp or so; corner 2 weighs 1 - u -
/// v. So corner 0 is (1, 0), corner 1 is (0, 1), corner 2 is (0, 0), and orientation is that of
/// `TriangleXYs`. On the edges across from corners 0 and 1 the weight of that corner is exactly 0;
/// on the edge between them 1 - u - v is 0 up to rounding.
SORVANE_API std::vector<VecBase<2, double>> TriangleUVs(unsigned int level);

/// The lattice's triangles: three node numbers for each, counter-clockwise, row by row. They are
/// the Delaunay triangulation of the nodes, which is unique.
SORVANE_API std::vector<int> TriangleIDXs(unsigned int level);

/// The length of `TriangleIDXs`: 3 (L + 1)^2.
SORVANE_API unsigned int TriangleIDXsCount(unsigned int level);

/// Which nodes of a lattice lie inside, in one word: bits 61 to 63 are the level L, and bit i tells
/// whether node i lies inside, for i below `NodeCount(L)`. The bits between are not looked at.
///
/// A lattice triangle whose corners are not all inside or all outside is in conflict, and so is an
/// edge whose ends differ: between them runs the boundary of the region. Results are meshes in the
/// plane of weights (`TriangleUVs`), counter-clockwise; they cover the whole triangle. Pure
/// functions, no more than some hundred steps each.
class SORVANE_API NodeMask {
public:
    unsigned long long word = 0; ///< the mask; 0 is a triangle without division that lies outside

    NodeMask() = default;
    /// The mask of a stored word.
    explicit NodeMask(unsigned long long mask) : word(mask) {}
    /// The mask of a level and of its nodes: true for inside. A level above 7 counts as 7. Nodes
    /// beyond the end of the list lie outside, and entries beyond the last node are not looked at.
    NodeMask(unsigned int level, const std::vector<bool>& inside);

    /// Of the lattice, 0 to 7.
    unsigned int Level() const { return static_cast<unsigned int>(word >> 61); }
    /// False for a number that is no node of the lattice.
    bool IsInside(unsigned int node) const;

    /// How the triangles in conflict are cut. Any value above 2 leaves the lattice as it is.
    enum TessellationStyle : unsigned int {
        Midpoints = 0, ///< each edge in conflict is cut at its midpoint
        Centroids = 1, ///< the centroids of neighboring triangles in conflict are joined
        CentroidsAndMidpoints =
            2 ///< a centroid in each triangle in conflict, and the midpoints as well
    };

    /// The two regions of a triangle.
    struct SORVANE_API TessellationRegions {
        IndexedPointsBase<2, double> inside;  ///< triangles that hold a node that lies inside
        IndexedPointsBase<2, double> outside; ///< triangles that hold a node that lies outside
    };

    /// The whole triangle, with edges along the boundary between inside and outside.
    ///
    /// Points: the nodes of the lattice in their order, then, in styles 1 and 2, a centroid for
    /// each triangle in conflict in the order of the lattice, then the midpoints of edges,
    /// ascending by (lower node, higher node): in styles 0 and 2 of all edges in conflict, in style
    /// 1 of those on the patch's own edges only, where there is no centroid on the other side. Each
    /// triangle of the lattice is replaced by its pieces in its place; in style 1 the two triangles
    /// across an edge that was turned stand with the one of lower number. A mask without conflict
    /// gives the plain lattice.
    ///
    /// Neighboring patches whose masks agree along the common edge have the same points on it in
    /// every style.
    IndexedPointsBase<2, double> TessellateAll(TessellationStyle style) const;

    /// The triangles of `TessellateAll` by region, each region with points of its own, welded at
    /// 1e-12 and in the order of `Vector::FilterForUniquenessAndIndex`. In styles 0 to 2 each
    /// triangle goes to one region. In a style above 2 a triangle in conflict goes to both, so that
    /// the regions overlap by it.
    TessellationRegions Tessellate(TessellationStyle style) const;

    /// The lattice's triangles in conflict, uncut and in their order, on points welded at 1e-12.
    /// Empty without conflict.
    IndexedPointsBase<2, double> TessellateConflicts() const;
};

} // namespace Velk::Math::Sorvane::Mesh::LOD
