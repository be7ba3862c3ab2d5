// Linear quadtrees and octrees: cells named by depth and path instead of by nodes, lists of them that
// are balanced or completed level by level, and the block mesh of a set of cells.
#pragma once

#include <Velk/Math/Supported_E.h>
#include <Velk/Math/VecBase_E.h>

#include <compare>
#include <vector>

namespace Velk::Math::Sorvane::Tree {

/// One cell of a quadtree (D = 2) over the unit square or octree (D = 3) over the unit cube.
///
/// `path` is the Morton code of the cell (`MortonCurve_E.h`) without the bits below its depth: D bits for
/// each level, the first level in the highest group. Child k of a cell has depth + 1 and path * 2^D + k,
/// where bit 0 of k is x, bit 1 y and bit 2 z. Depth ends at 31 (D = 2) or 21 (D = 3), where path and
/// code are the same number. Depth 0 with path 0 is the root and at once the null address, which has no
/// parent and no neighbors. Ordered by depth, then path.
template <int D> struct SORVANE_API QOFAddress {
    static_assert(D == 2 || D == 3, "trees divide the plane or space");

    unsigned int depth = 0;      ///< levels below the root
    unsigned long long path = 0; ///< which child on each level

    /// The full-depth cell that holds a point of unit space; points outside go where
    /// `MortonCurve::Encode2D` and `Encode3D` take them.
    static QOFAddress AtPoint(const VecBase<D, double>& unitSpacePoint);

    /// Lower corner of the cell in unit space when `level` is at least `depth`, and, for an address at full
    /// depth, that of its ancestor at `level`.
    ///
    /// With a level above the depth of any other address the whole path is placed at that level and what
    /// overflows is lost, which gives no corner of an ancestor: (depth 2, path 7) at level 1 is
    /// (0.5, 0.5).
    VecBase<D, double> UnitSpacePoint(unsigned int level) const;

    /// The cells of the same depth that share a face with this one (`facesOnly`: up to 4 or 6), or also
    /// those that touch it with an edge or corner only (up to 8 or 26), as far as they lie inside unit
    /// space. None for depth 0 and for a depth beyond the last.
    ///
    /// Faces come as -x, -y, +x, +y, +z, -z; all neighbors of a square as the ring that starts at -x and
    /// goes on by the corner (-x, -y), those of a cube as the layer below, the ring in its own layer, the
    /// layer above.
    std::vector<QOFAddress> NeighborAddresses(bool facesOnly) const;

    friend constexpr bool operator==(const QOFAddress&, const QOFAddress&) = default;
    friend constexpr auto operator<=>(const QOFAddress&, const QOFAddress&) = default;

private:
    static void GeneratePathFromPoint(const VecBase<D, double>& unitSpacePoint,
                                      unsigned long long& path, unsigned int& depth);
};

/// Direction from the center of a cell to that of its child: +1 on the axes whose bit is set in `child`
/// (bit 0 is x), -1 on the others. Higher bits are ignored.
template <int D, class T> constexpr VecBase<D, T> QOFChildOffset(int child)
{
    VecBase<D, T> offset;
    for (int axis = 0; axis < D; ++axis) {
        offset[axis] = ((child >> axis) & 1) != 0 ? T{1} : T{-1};
    }
    return offset;
}

/// The neighbors that the cells and their ancestors must have in a balanced tree. From the deepest level
/// up, the parents of a level's cells join the level above, whose cells are then all replaced by their
/// neighbors.
///
/// Replaced means that a cell above the deepest level stays only if it is itself a neighbor of another
/// one of its level: a lone one is gone, and so are ancestors that are no neighbor of another cell. The null
/// address is in the result where a cell lacked a neighbor. Cells at full depth (31 or 21) and beyond
/// are left out. Sorted, without repeats. O(n log n) for n neighbors; parallel.
template <int D>
std::vector<QOFAddress<D>> BalanceAddresses(const std::vector<QOFAddress<D>>& addresses,
                                            bool facesOnly);

/// The cells and all of their ancestors up to the root; with `fillSiblings` also all children of every
/// cell that has some of its children in the list.
///
/// `balance` counts together with `fillSiblings` only: each level of parents is then replaced by its face
/// neighbors as in `BalanceAddresses`, with the same losses, before children are filled in. Cells at full
/// depth (31 or 21) and beyond are left out. Empty for an empty list. Sorted, without repeats.
/// O(n log n) for n cells in the result; parallel.
template <int D>
std::vector<QOFAddress<D>> CompleteTree(const std::vector<QOFAddress<D>>& addresses,
                                        bool fillSiblings, bool balance);

/// The closed surface of the union of octree cells, as triangles that run counter-clockwise seen from
/// outside; the unit cube is mapped to space by p * scale + offset, component by component.
///
/// `codes` are 3D Morton codes of cells at `depth`; what lies below that depth is ignored, repeats count
/// once. A depth above 21 means cells of depth 21. Faces that two cells share cancel. `points` are all
/// corners of all cells once, in ascending order of x, y, z, also those inside that no triangle names;
/// each outer square gives two triangles of `triangles`. Where cells touch along an edge only, four
/// squares meet in it. A scale with an odd number of negative components turns the surface inside out.
/// Both outputs are cleared first. O(n log n) for n cells; fewer than 2^31 corners.
SORVANE_API void BuildVoxelMesh(const std::vector<unsigned long long>& codes,
                                const VecBase<3, double>& scale, const VecBase<3, double>& offset,
                                unsigned int depth, std::vector<VecBase<3, double>>& points,
                                std::vector<int>& triangles);

// clang-format off
extern template struct SORVANE_API QOFAddress<2>;
extern template struct SORVANE_API QOFAddress<3>;
extern template SORVANE_API VecBase<2, float>  QOFChildOffset(int);
extern template SORVANE_API VecBase<2, double> QOFChildOffset(int);
extern template SORVANE_API VecBase<3, float>  QOFChildOffset(int);
extern template SORVANE_API VecBase<3, double> QOFChildOffset(int);
extern template SORVANE_API std::vector<QOFAddress<2>> BalanceAddresses(const std::vector<QOFAddress<2>>&, bool);
extern template SORVANE_API std::vector<QOFAddress<3>> BalanceAddresses(const std::vector<QOFAddress<3>>&, bool);
extern template SORVANE_API std::vector<QOFAddress<2>> CompleteTree(const std::vector<QOFAddress<2>>&, bool, bool);
extern template SORVANE_API std::vector<QOFAddress<3>> CompleteTree(const std::vector<QOFAddress<3>>&, bool, bool);
// clang-format on

} // namespace Velk::Math::Sorvane::Tree

// Other types are refused by the compiler and not by the linker: see Supported_E.h.
/// @cond
// clang-format off
namespace Velk::Math::Sorvane::Tree {
template <int D> requires(!SupportedPoint<D, double>) std::vector<QOFAddress<D>> BalanceAddresses(const std::vector<QOFAddress<D>>&, bool) = delete;
template <int D> requires(!SupportedPoint<D, double>) std::vector<QOFAddress<D>> CompleteTree(const std::vector<QOFAddress<D>>&, bool, bool) = delete;
} // namespace Velk::Math::Sorvane::Tree
// clang-format on
/// @endcond
