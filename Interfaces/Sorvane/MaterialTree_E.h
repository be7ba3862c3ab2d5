// Material trees: which cells of a linear quadtree or octree are solid, told from the cells that carry
// material at the surface of a part.
#pragma once

#include <Sorvane/TreeAddress_E.h>

#include <vector>

namespace Velk::Math::Sorvane::Tree::MaterialTree {

/// What is known of a cell.
enum class State : unsigned int {
    Unclassified = 0, ///< an inner node that is not in the caller's list
    Surface = 1,      ///< in the caller's list, leaf or not
    Interior = 2,     ///< a leaf that empty space does not reach
    Exterior = 3      ///< a leaf that empty space reaches from the border of the square or cube
};

/// A cell of the tree with its class.
template <int D> struct SORVANE_API Node {
    QOFAddress<D> address;             ///< the cell
    State state = State::Unclassified; ///< its class

    friend constexpr bool operator==(const Node&, const Node&) = default;
};

/// Completes the cells that carry a part's surface into a tree, and tells which of its other leaves lie
/// inside.
///
/// The tree is `CompleteTree(leaves, true, true)`, and a leaf of it is a node without a child in it. Empty
/// space begins in the leaves at the border of unit space that are not in `leaves` and floods through
/// faces: into the neighbor of the same depth, or else into the nearest ancestor of that place which is in
/// the tree; where that one is no leaf, into those of its children on the side entered that are leaves, one
/// level down and no further. A cell of `leaves` stops the flood, an inner one for its whole size. Leaves
/// that the flood misses are `Interior`. Cells that meet only along an edge or in a corner seal.
///
/// The result is ascending by depth, then path, and holds all nodes, or with `leavesOnly` the leaves alone.
/// Cells at full depth (31 in the plane, 21 in space) and beyond have no level in the tree and are left
/// out. Empty for an empty list and for one that has no other cells. The order of `leaves` and repeats in
/// it make no difference. The root alone gives one node, `Surface`.
///
/// Completing with balance replaces each level of parents by its neighbors (see `CompleteTree`), and this
/// operation follows it. Cells of a list with more than one depth can therefore be missing from the result:
/// (3, 0) together with (2, 15) in the plane leaves no node for (2, 15). So can whole families, so that the
/// leaves of a result need not tile the square or cube, also where all cells have one depth: a ring along a
/// slanted line may come out with gaps, through which the flood does not step or steps too far. Where every
/// cell of the list is a leaf of the result, the leaves tile, and leaves that share a face differ by one
/// level at most, the classes are exactly those of a flood over the finest cells; a host that relies on
/// them checks this.
///
/// Time O(n log n), memory O(n) for n nodes of the tree. The tree of scattered deep cells is far larger
/// than the list: see `CompleteTree`. Parallel except for the flood; the same result for any number of
/// threads.
template <int D>
std::vector<Node<D>> SolidVoxelizationFromLeaves(const std::vector<QOFAddress<D>>& leaves,
                                                 bool leavesOnly);

// clang-format off
extern template struct SORVANE_API Node<2>;
extern template struct SORVANE_API Node<3>;
extern template SORVANE_API std::vector<Node<2>> SolidVoxelizationFromLeaves(const std::vector<QOFAddress<2>>&, bool);
extern template SORVANE_API std::vector<Node<3>> SolidVoxelizationFromLeaves(const std::vector<QOFAddress<3>>&, bool);
// clang-format on

} // namespace Velk::Math::Sorvane::Tree::MaterialTree

// Other types are refused by the compiler and not by the linker: see Supported_E.h.
/// @cond
// clang-format off
namespace Velk::Math::Sorvane::Tree::MaterialTree {
template <int D> requires(!SupportedPoint<D, double>) std::vector<Node<D>> SolidVoxelizationFromLeaves(const std::vector<QOFAddress<D>>&, bool) = delete;
} // namespace Velk::Math::Sorvane::Tree::MaterialTree
// clang-format on
/// @endcond
