// Bodies of the nodes: where a content belongs, and how a leaf is split.
#pragma once

#include <Sorvane/ContentNode_E.h>

#include "trees/ContentSet_Impl.h"

#include <cmath>
#include <utility>

namespace Velk::Math::Sorvane::Tree {

namespace Impl {

/// Is `Intersect::DistanceToAABB` 0? So it is for a point inside and for one so little outside that
/// the square of the gap vanishes in T, below some 1e-23 in `float` and 1e-162 in `double`. Not for
/// a NaN.
template <int D, class T>
bool LiesWithin(const VecBase<D, T>& point, const BoxOf<D, T>& box)
{
    const auto vanishes = [](T gap) { return gap * gap == 0; };
    for (int i = 0; i < D; ++i) {
        if (!(point[i] >= box.min[i] || vanishes(box.min[i] - point[i])) ||
            !(point[i] <= box.max[i] || vanishes(point[i] - box.max[i]))) {
            return false;
        }
    }
    return true;
}

template <int D, class T>
bool LiesWithin(const BoxOf<D, T>& bound, const BoxOf<D, T>& box)
{
    return LiesWithin(bound.min, box) && LiesWithin(bound.max, box);
}

template <int D, class T>
bool LiesWithin(const BallOf<D, T>& bound, const BoxOf<D, T>& box)
{
    for (int i = 0; i < D; ++i) {
        if (!(bound.center[i] - box.min[i] >= bound.radius &&
              box.max[i] - bound.center[i] >= bound.radius)) {
            return false;
        }
    }
    return true;
}

template <int D, class T>
BoxOf<D, T> LooseBoxOf(const Bounding::RegularBoundingBox<D, T>& cell)
{
    const VecBase<D, T> reach = Bounding::Impl::Uniform<D, T>(cell.halfSize * (T{1} + cell.slack));
    return {cell.center - reach, cell.center + reach};
}

/// Rough accounting of memory: a node, and the vector of its children.
template <int D>
struct NodeBytes;
template <>
struct NodeBytes<2> {
    static constexpr std::size_t kNode = 96, kChildren = 672;
};
template <>
struct NodeBytes<3> {
    static constexpr std::size_t kNode = 104, kChildren = 1536;
};

} // namespace Impl

// --- the cell -----------------------------------------------------------------------------------

template <int D, class T, int K>
QOFNode<D, T, K>::QOFNode(QOFNode* parentNode, const Cell& cell)
    : center(cell.center), halfSize(cell.halfSize), slack(cell.slack), parent(parentNode)
{
}

template <int D, class T, int K>
QOFNode<D, T, K>::~QOFNode()
{
    content.clear();
    children.clear();
}

template <int D, class T, int K>
typename QOFNode<D, T, K>::Cell QOFNode<D, T, K>::ChildCell(int index) const
{
    const T half = halfSize * T(0.5);
    return {center + QOFChildOffset<D, T>(index) * half, half, slack};
}

template <int D, class T, int K>
int QOFNode<D, T, K>::ChildIndex(const Bound& bound) const
{
    const VecBase<D, T> middle = Impl::Middle(bound);
    int index = 0;
    for (int axis = 0; axis < D; ++axis) {
        index |= static_cast<int>(middle[axis] > center[axis]) << axis;
    }
    return index;
}

template <int D, class T, int K>
typename QOFNode<D, T, K>::Box QOFNode<D, T, K>::LooseBox() const
{
    return Impl::LooseBoxOf(Cell{center, halfSize, slack});
}

template <int D, class T, int K>
bool QOFNode<D, T, K>::Holds(const Bound& bound) const
{
    return Impl::LiesWithin(bound, LooseBox());
}

template <int D, class T, int K>
void QOFNode<D, T, K>::GrowContentBox(const Bound& bound)
{
    const Box box = Impl::Around(bound);
    contentBox.Grow(box.min);
    contentBox.Grow(box.max);
}

// --- virtual operations -------------------------------------------------------------------------

template <int D, class T, int K>
std::size_t QOFNode<D, T, K>::MemorySize() const
{
    using Bytes = Impl::NodeBytes<D>;
    constexpr std::size_t kPointer = 8;
    return kPointer * content.size() + Bytes::kNode + (children.empty() ? 0 : Bytes::kChildren) +
           kPointer;
}

template <int D, class T, int K>
QOFNode<D, T, K>* QOFNode<D, T, K>::GetChild(int index) const
{
    if (children.empty() || index < 0 || index >= kChildCount) {
        return nullptr;
    }
    return children[static_cast<std::size_t>(index)].get();
}

template <int D, class T, int K>
bool QOFNode<D, T, K>::CanSplit(unsigned int /*capacity*/) const
{
    return true;
}

template <int D, class T, int K>
void QOFNode<D, T, K>::AfterSplit(unsigned int /*capacity*/)
{
}

template <int D, class T, int K>
void QOFNode<D, T, K>::AllocateChild(unsigned int index, const Cell& cell)
{
    if (index < static_cast<unsigned int>(kChildCount)) {
        // The child first: a node whose list of children is there but empty would be no leaf.
        auto child = std::make_shared<QOFNode>(this, cell);
        children.resize(kChildCount);
        children[index] = std::move(child);
    }
}

template <int D, class T, int K>
bool QOFNode<D, T, K>::TransferTo(QOFNode& target, bool withContentBox)
{
    if (!target.children.empty() || !target.content.empty()) {
        return false;
    }
    target.children.swap(children);
    for (const std::shared_ptr<QOFNode>& child : target.children) {
        if (child) {
            child->parent = &target;
        }
    }
    target.center = center;
    target.halfSize = halfSize;
    target.slack = slack;
    if (withContentBox) {
        target.contentBox = contentBox;
    }
    target.content.swap(content);
    return true;
}

// --- insertion and removal ----------------------------------------------------------------------

template <int D, class T, int K>
QOFNode<D, T, K>* QOFNode<D, T, K>::ChildFor(const Bound& bound) const
{
    QOFNode* child = GetChild(ChildIndex(bound));
    return child != nullptr && child->Holds(bound) ? child : nullptr;
}

template <int D, class T, int K>
bool QOFNode<D, T, K>::Insert(QOFNode& node, const Content* content, bool insert,
                              unsigned int capacity)
{
    if (content == nullptr) {
        return false;
    }
    const Bound bound = content->GetBound();
    if (!node.Holds(bound)) {
        return false;
    }
    if (insert) {
        Place(node, content, bound, capacity, false);
        return true;
    }
    QOFNode* home = &node;
    while (QOFNode* child = home->ChildFor(bound)) {
        home = child;
    }
    home->content.erase(content);
    return true;
}

/// Puts a content that `node` holds where it belongs; `isNew`: it is known not to be there.
template <int D, class T, int K>
void QOFNode<D, T, K>::Place(QOFNode& node, const Content* content, const Bound& bound,
                             unsigned int capacity, bool isNew)
{
    QOFNode* home = &node;
    while (QOFNode* child = home->ChildFor(bound)) {
        home = child;
    }
    QOFContentSet<D, T, K>& set = home->content;
    const std::size_t place = isNew ? set.size() : set.Position(content);
    const bool wasThere = place != set.size();
    const Bound boundBefore = wasThere ? set.BoundAt(place) : bound;
    if (wasThere) {
        set.RenewBound(place, bound);
    } else {
        set.append(content, bound);
        if (!isNew) {
            set.ArrangeWhenStale();
        }
    }
    if (home->children.empty() && set.size() > capacity) {
        // Whether the split leads anywhere is told by the boxes of the leaf and of the node above,
        // the content included.
        QOFNode* above = home == &node ? nullptr : home->parent;
        const Box homeBefore = home->contentBox;
        const Box aboveBefore = above == nullptr ? Box{} : above->contentBox;
        home->GrowContentBox(bound);
        if (above != nullptr) {
            above->GrowContentBox(bound);
        }
        try {
            if (!home->IsOnePointForever()) {
                Split(*home, capacity);
            }
        } catch (...) { // out of memory: as if the content had never come
            home->contentBox = homeBefore;
            if (above != nullptr) {
                above->contentBox = aboveBefore;
            }
            if (wasThere) {
                set.RenewBound(set.FindPosition(content), boundBefore);
            } else {
                set.erase(content);
            }
            throw;
        }
    }
    for (QOFNode* around = home; around != nullptr; around = around->parent) {
        around->GrowContentBox(bound);
        if (around == &node) {
            break;
        }
    }
}

// --- splitting ----------------------------------------------------------------------------------

/// Has this subtree never held anything but one point, from which the split above got nothing away?
/// Contents without extent fit cells of any size: coincident ones would be handed down for a
/// thousand levels.
template <int D, class T, int K>
bool QOFNode<D, T, K>::IsOnePointForever() const
{
    return parent != nullptr && contentBox.min == contentBox.max &&
           parent->contentBox == contentBox;
}

/// Are there contents, and would the children be no smaller than this cell?
template <int D, class T, int K>
bool QOFNode<D, T, K>::SplitIsFutile() const
{
    if (content.empty()) {
        return false; // nothing is handed on
    }
    const T childHalf = halfSize * T(0.5);
    if (childHalf == halfSize || !std::isfinite(halfSize * (T{1} + slack))) {
        return true; // no size, or without bounds so that any child holds everything
    }
    const VecBase<D, T> step = Bounding::Impl::Uniform<D, T>(childHalf);
    return center + step == center || center - step == center; // below T's resolution on each axis
}

template <int D, class T, int K>
void QOFNode<D, T, K>::Split(QOFNode& node, unsigned int capacity)
{
    if (!node.children.empty() || !node.CanSplit(capacity) || node.SplitIsFutile()) {
        return;
    }
    try {
        for (int i = 0; i < kChildCount; ++i) {
            node.AllocateChild(static_cast<unsigned int>(i), node.ChildCell(i));
        }
        QOFContentSet<D, T, K> kept;
        for (std::size_t i = 0; i < node.content.size(); ++i) {
            const Content* item = node.content[i];
            const Bound bound = node.content.BoundAt(i);
            if (QOFNode* child = node.ChildFor(bound)) {
                Place(*child, item, bound, capacity, true);
            } else {
                kept.append(item, bound);
            }
        }
        node.AfterSplit(capacity);
        node.content.swap(kept);
    } catch (...) { // out of memory: the contents are still the node's own, which stays a leaf
        node.children.clear();
        throw;
    }
}

// --- nodes with addresses -----------------------------------------------------------------------

template <int D, class T, int K>
QOFAddressableNode<D, T, K>::QOFAddressableNode(QOFAddressableNode* parentNode, const Cell& cell,
                                                unsigned int index)
    : Base(parentNode, cell)
{
    if (parentNode == nullptr) {
        return;
    }
    owner = parentNode->owner;
    if (parentNode->address.depth != kMaxDepth) {
        constexpr unsigned long long kLastChild = Base::kChildCount - 1;
        address.depth = parentNode->address.depth + 1;
        address.path = (parentNode->address.path << D) + (index & kLastChild);
    }
}

template <int D, class T, int K>
QOFAddressableNode<D, T, K>::~QOFAddressableNode() = default;

template <int D, class T, int K>
bool QOFAddressableNode<D, T, K>::CanSplit(unsigned int /*capacity*/) const
{
    return address.depth < kMaxDepth;
}

template <int D, class T, int K>
void QOFAddressableNode<D, T, K>::AfterSplit(unsigned int capacity)
{
    for (const QOFAddress<D>& neighbor : address.NeighborAddresses(true)) {
        EnsureNode(neighbor, capacity);
    }
}

template <int D, class T, int K>
void QOFAddressableNode<D, T, K>::AllocateChild(unsigned int index, const Cell& cell)
{
    if (index < static_cast<unsigned int>(Base::kChildCount)) {
        auto child = std::make_shared<QOFAddressableNode>(this, cell, index);
        this->children.resize(Base::kChildCount);
        this->children[index] = std::move(child);
    }
}

template <int D, class T, int K>
void QOFAddressableNode<D, T, K>::EnsureNode(const QOFAddress<D>& wanted, unsigned int capacity)
{
    if (owner != nullptr) {
        owner->EnsureNode(wanted, capacity);
    } else {
        EnsurePath(wanted, capacity);
    }
}

template <int D, class T, int K>
QOFAddressableNode<D, T, K>* QOFAddressableNode<D, T, K>::EnsureChild(int index,
                                                                      unsigned int capacity)
{
    Base::Split(*this, capacity); // does nothing unless this is a leaf
    return dynamic_cast<QOFAddressableNode*>(this->GetChild(index));
}

template <int D, class T, int K>
void QOFAddressableNode<D, T, K>::EnsurePath(const QOFAddress<D>& wanted, unsigned int capacity)
{
    if (wanted.depth == 0 || wanted.depth > kMaxDepth) {
        return;
    }
    // The addresses on the way tell where each node of it is. A tree whose root has an address of
    // its own, and one that was handed over from elsewhere, have other addresses than their places
    // tell: along a full path from their root cells would be split at the wrong places, which ask
    // for neighbors in turn that lie deeper still.
    constexpr unsigned long long kAllBits = ~0ULL;
    const unsigned long long path = wanted.path & (kAllBits >> (64U - D * wanted.depth));
    const auto onTheWay = [&](unsigned int depth) {
        return QOFAddress<D>{depth, path >> (D * (wanted.depth - depth))};
    };
    const auto leadsThere = [&](const QOFAddress<D>& place) {
        return place.depth <= wanted.depth && place == onTheWay(place.depth);
    };
    QOFAddressableNode* node = this;
    while (node != nullptr && !leadsThere(node->address)) {
        node = dynamic_cast<QOFAddressableNode*>(node->parent);
    }
    constexpr unsigned long long kLastChild = Base::kChildCount - 1;
    while (node != nullptr && node->address.depth < wanted.depth) {
        const QOFAddress<D> next = onTheWay(node->address.depth + 1);
        node = node->EnsureChild(static_cast<int>(next.path & kLastChild), capacity);
        if (node != nullptr && !(node->address == next)) {
            return;
        }
    }
}

} // namespace Velk::Math::Sorvane::Tree
