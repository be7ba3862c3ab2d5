// The node of a loose quadtree or octree: a cell, the contents that sit in it, and its children.
//
// A loose cell is larger than its place in the grid by a fraction, the slack, so that a content on a
// grid line still fits a cell of about its own size (T. Ulrich, "Loose Octrees", 2000). Insertion,
// removal and splitting are operations of a node: no tree object is needed.
#pragma once

#include <Sorvane/TreeAddress_E.h>
#include <Sorvane/TreeContent_E.h>

#include <cstddef>
#include <memory>
#include <vector>

namespace Velk::Math::Sorvane::Tree {

template <int D, class T, int K, class Node> class QOFTree;

/// Cell with its contents; the root of a subtree.
///
/// Child i lies on the upper side of the center on the axes whose bit is set in i (bit 0 is x). A
/// content may sit in a node when it lies wholly in the node's loose box. What no child can hold stays
/// with the parent, so that inner nodes have contents too.
///
/// Reading is safe from many threads while nobody inserts, removes or splits. A node is not copied or
/// moved: its children and whoever looks at it know its address.
template <int D, class T, int K> class QOFNode {
    static_assert(SupportedContent<D, T, K>,
                  "content trees are compiled for double, and for float with boxes in the plane");

public:
    /// The types of what a node holds and of its boxes.
    using Content = QOFTreeContent<D, T, K>;
    using Bound = typename Content::Bound;
    using Box = Bounding::AxisAlignedBoundingBox<D, T>;
    using Cell = Bounding::RegularBoundingBox<D, T>;

    /// Children of a node that has any: four in the plane, eight in space.
    static constexpr int kChildCount = 1 << D;

    VecBase<D, T> center; ///< of the cell
    T halfSize{0};        ///< half the cell's edge
    T slack{0};           ///< looseness as a fraction of `halfSize`, the same in a whole tree
    std::vector<std::shared_ptr<QOFNode>> children; ///< none, or `kChildCount`, of which some may be null
    QOFNode* parent = nullptr;                      ///< null at the root
    QOFContentSet<D, T, K> content;                 ///< what sits in this node itself
    Box contentBox; ///< holds the bounds of everything ever inserted in this subtree; never shrinks

    QOFNode() = default;
    /// A leaf without contents. It is not entered among the children of its parent.
    QOFNode(QOFNode* parentNode, const Cell& cell);
    QOFNode(const QOFNode&) = delete;
    QOFNode& operator=(const QOFNode&) = delete;

    // --- virtual operations, in this order ------------------------------------------------------

    /// Lets go of the contents, then of the children.
    virtual ~QOFNode();

    /// Rough number of bytes: 8 for each content, 104 for the node (quadtree) or 112 (octree), and 672
    /// or 1536 more when it has children, which do not count themselves.
    virtual std::size_t MemorySize() const;

    /// The child; null in a leaf and for an index that is negative or too large.
    virtual QOFNode* GetChild(int index) const;

    /// May the node be split at this capacity?
    virtual bool CanSplit(unsigned int capacity) const;

    /// Called when a split has handed the contents on to the children, before those that no child took
    /// become the node's own set. Does nothing here.
    virtual void AfterSplit(unsigned int capacity);

    /// Makes a child of the node's own class with this cell, in place of an earlier one at `index`; the
    /// others are null until they are made too. An index that is too large makes none.
    virtual void AllocateChild(unsigned int index, const Cell& cell);

    /// Hands the cell, the children and the contents over to `target`, and `contentBox` with
    /// `withContentBox`; this node is a leaf without contents afterward. False, and nothing changes,
    /// when `target` has children or contents.
    virtual bool TransferTo(QOFNode& target, bool withContentBox);

    // --------------------------------------------------------------------------------------------

    /// Cell of child `index`: half the edge, the same slack.
    Cell ChildCell(int index) const;
    /// Child on whose side of the center the middle of the bound lies; exactly on it is the lower side.
    int ChildIndex(const Bound& bound) const;
    /// The cell grown to half-edge `halfSize` * (1 + `slack`).
    Box LooseBox() const;
    /// Does the bound lie in the closed loose box? A NaN doesn't; a corner of a box does when its squared
    /// distance, rounded to T, is 0.
    bool Holds(const Bound& bound) const;

    /// Puts a content into the subtree, or takes it out when `insert` is false.
    ///
    /// False, and nothing changes, for null and when this node's loose box does not hold the content.
    /// Otherwise true, even if there was nothing to take out. The content goes to the deepest node on
    /// its way that holds it; a leaf that has more than `capacity` then is split, unless its contents are
    /// one and the same point from which the split above got no other away. A content that is there
    /// already stays once, with the bound that it has now. O(depth), and O(`capacity`) for one that
    /// splits.
    ///
    /// When memory runs out, nothing has changed, except that neighbors which addressable nodes have
    /// asked for by then stay. Taking out needs no memory.
    static bool Insert(QOFNode& node, const Content* content, bool insert, unsigned int capacity);

    /// Gives a leaf children and hands its contents on to those that hold them; children that overflow
    /// are split in turn.
    ///
    /// Does nothing when the node has children, when `CanSplit` is false, and when splitting leads
    /// nowhere: the node has contents and its cell can't be halved any more in T or is without bounds.
    /// When memory runs out, the node is still the leaf that it was.
    static void Split(QOFNode& node, unsigned int capacity);

private:
    template <int, class, int, class> friend class QOFTree;

    void GrowContentBox(const Bound& bound);
    bool IsOnePointForever() const;
    bool SplitIsFutile() const;
    QOFNode* ChildFor(const Bound& bound) const;
    static void Place(QOFNode& node, const Content* content, const Bound& bound,
                      unsigned int capacity, bool isNew);
};

/// What owns a tree of addressable nodes and makes nodes for them when they ask.
template <int D> class QOFNodeOwner {
public:
    /// Makes the node of this address exist, and those above it.
    virtual void EnsureNode(const QOFAddress<D>& wanted, unsigned int capacity) = 0;

protected:
    QOFNodeOwner() = default;
    QOFNodeOwner(const QOFNodeOwner&) = default;
    QOFNodeOwner& operator=(const QOFNodeOwner&) = default;
    /// Nobody deletes an owner as such; virtual for the sake of the classes that derive from it, which
    /// would otherwise draw a warning about theirs.
    virtual ~QOFNodeOwner() = default;
};

/// Node that knows its address, and sees to it that a split leaves no neighbor far behind in depth.
///
/// The root has the null address. Splits end at the deepest address (31 for D = 2, 21 for D = 3).
template <int D, class T, int K> class QOFAddressableNode : public QOFNode<D, T, K> {
public:
    /// The plain node, and the cell that a node is made for.
    using Base = QOFNode<D, T, K>;
    using typename Base::Cell;

    /// Depth of the deepest address.
    static constexpr unsigned int kMaxDepth = D == 2 ? 31U : 21U;

    QOFAddress<D> address; ///< the null address at the root
    QOFNodeOwner<D>* owner = nullptr; ///< asked for neighbors instead of the node; may be null

    QOFAddressableNode() = default;
    /// Child `index` of `parentNode`, with the address that belongs to it: the null address when there
    /// is no parent or it stands at the deepest level. The owner is the parent's.
    QOFAddressableNode(QOFAddressableNode* parentNode, const Cell& cell, unsigned int index);
    ~QOFAddressableNode() override;

    /// True above the deepest level.
    bool CanSplit(unsigned int capacity) const override;
    /// Asks for the face neighbors of this node.
    void AfterSplit(unsigned int capacity) override;
    void AllocateChild(unsigned int index, const Cell& cell) override;

    // --- virtual operations that follow those of QOFNode, in this order -------------------------

    /// Passes the wish on to the owner, or to `EnsurePath` when there is none.
    virtual void EnsureNode(const QOFAddress<D>& wanted, unsigned int capacity);

    /// The child, for which a leaf is split; null when it can't be, and for an index that is negative or
    /// too large.
    virtual QOFAddressableNode* EnsureChild(int index, unsigned int capacity);

    /// Goes down along the address, from the nearest node above whose own address leads there (the root
    /// of the tree, at last), and makes what is missing. Ends early where a child can't be made, and where
    /// a child has not the address that belongs to its place, as after `TransferTo` from elsewhere. So
    /// below a root that has an address of its own only what lies below that address is made. The null
    /// address and one beyond the deepest level are ignored.
    virtual void EnsurePath(const QOFAddress<D>& wanted, unsigned int capacity);
};

// clang-format off
extern template class SORVANE_API QOFNode<2, float, 0>;
extern template class SORVANE_API QOFNode<2, double, 0>;
extern template class SORVANE_API QOFNode<3, double, 0>;
extern template class SORVANE_API QOFNode<2, double, 1>;
extern template class SORVANE_API QOFNode<3, double, 1>;
extern template class SORVANE_API QOFAddressableNode<3, double, 1>;
// clang-format on

} // namespace Velk::Math::Sorvane::Tree
