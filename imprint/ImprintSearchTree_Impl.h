// The search tree over the facets of an imprintable mesh. Unlike the trees over segments and
// triangles it follows the mesh while that is cut: facets leave it and their pieces enter it one by
// one.
#pragma once

#include <Sorvane/ContentTree_E.h>
#include <Velk/Math/VecBase_E.h>

#include <array>
#include <cstddef>
#include <vector>

namespace Velk::Math::Sorvane::Mesh::Impl {

/// Boxes of facets. Const operations are safe to call from many threads.
class SearchTree : public Tree::QOFTree<3, double, 0, Tree::QOFNode<3, double, 0>> {
public:
    /// What the tree knows of a facet: its box, grown a little on every side, and its number.
    struct TriWrap : Tree::QOFTreeContent<3, double, 0> {
        int facet = -1;
    };
    using Corners = std::array<Vec3d, 3>;

    /// A tree without facets, to which about so many will be added at once.
    explicit SearchTree(std::size_t facets);

    /// Keeps a facet; `Rebuild` or `Enter` makes queries find it. Its handle: the one that has been
    /// free longest, otherwise one more than the highest so far.
    int Add(int facet, const Corners& corners);
    /// Makes queries find a facet that was added. False when the tree has no room for its box, or
    /// it has corners that are not finite: such a facet is never found.
    bool Enter(int handle);
    /// Takes a facet out, and its handle becomes free. Does nothing for a handle that is free.
    /// Needs no memory.
    void Remove(int handle);

    /// Arranges all facets anew around the present extent of them.
    void Rebuild();
    /// Are there so many more facets than `Rebuild` met that it should be called again? Its cost is
    /// spread over those that came.
    bool IsOutgrown() const { return FacetCount() / 4 > builtFor_; }

    /// Facets whose boxes meet the closed box, ascending.
    std::vector<int> FacetsInBox(const Vec3d& min, const Vec3d& max) const;

    /// Number of facets.
    std::size_t FacetCount() const { return wraps_.ItemCount(); }
    /// The facets kept, in the order of their handles.
    const Tree::QOFStorage<TriWrap>& Wraps() const { return wraps_; }

private:
    Tree::QOFStorage<TriWrap> wraps_;
    std::size_t builtFor_ = 0; // facets
};

} // namespace Velk::Math::Sorvane::Mesh::Impl
