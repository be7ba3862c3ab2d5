// The engine of the pointer-based spatial indexes: a loose quadtree or octree over contents of which it
// knows nothing but a bound. A concrete index derives from QOFTree, keeps its contents in a QOFStorage
// and wraps the queries, whose answers are candidates that it tests exactly.
//
//     struct Wrap : QOFTreeContent<3, double, 0> { int id; ... };
//     class Index : QOFTree<3, double, 0, QOFNode<3, double, 0>> {
//         QOFStorage<Wrap> storage_;   // filled first, then PrepareRoot(storage_)
//     };
#pragma once

#include <Sorvane/ContentNode_E.h>
#include <Sorvane/DataPool_E.h>

#include <cstddef>
#include <functional>
#include <type_traits>
#include <vector>

namespace Velk::Math::Sorvane::Tree {

/// Tree with its root node by value. D: dimension, T: scalar, K: kind of bound, Node: class of the
/// nodes.
///
/// A default-made tree holds nothing and every query of it answers so. Queries keep their state to
/// themselves: any number of threads may ask one tree while nobody inserts or removes. They take no
/// memory but that of their answer, as long as the tree is no deeper than some thirty levels.
///
/// Each content that a query selects comes once. The order is that of the tree (contents of children 0,
/// 1, ... before the node's own, in a node as its set has them): the same in each run, and otherwise
/// without meaning.
template <int D, class T, int K, class Node> class QOFTree {
    static_assert(std::is_base_of_v<QOFNode<D, T, K>, Node>, "a node of the tree's own kind");

public:
    /// The types that the tree is made of.
    using NodeType = Node;
    using Content = QOFTreeContent<D, T, K>;
    using Bound = typename Content::Bound;
    using Box = Bounding::AxisAlignedBoundingBox<D, T>;
    using Cell = Bounding::RegularBoundingBox<D, T>;

    QOFTree(const QOFTree&) = delete;
    QOFTree& operator=(const QOFTree&) = delete;

    /// Looseness of the cells as a fraction of their half size, the same in all nodes.
    T Slack() const { return slack_; }
    /// The root, of size 0 and without contents until the tree is built.
    const Node& Root() const { return root_; }
    /// Contents that a leaf may have before it is split.
    unsigned int Capacity() const { return capacity_; }

    /// The capacity for `count` contents: the largest power of two that is at most the square root of
    /// the count, 0 for none.
    static unsigned int LeafCapacity(std::size_t count);

    /// `QOFNode::Insert`.
    static bool Insert(Node& node, const Content* content, bool insert, unsigned int capacity);

protected:
    QOFTree() = default;
    ~QOFTree() = default;

    // --- building -------------------------------------------------------------------------------

    /// Builds the tree anew over all items of the storage, in ascending order of their numbers:
    /// `FittedRoot` as root, the capacity for the highest number dealt plus one.
    ///
    /// Afterward items that join the storage are not in the tree unless they are inserted. An item
    /// that the root refuses stays out: all of them when they are one and the same point, or when a
    /// bound is not finite or so large that the size of the whole overflows. O(n log n). When memory runs
    /// out, the tree is as it was before.
    template <class Item> void PrepareRoot(const Bins::DataPool<Item>& storage)
    {
        PrepareRoot(ContentsOf(storage), static_cast<std::size_t>(storage.LastIndex() + 1));
    }
    /// The same over contents in the caller's own keeping; `count` is what the capacity and the mean are
    /// taken for.
    void PrepareRoot(const std::vector<const Content*>& contents, std::size_t count);

    /// Root around all items: centered in the box of their bounds, its half size that box's half
    /// diagonal, its slack half the mean diagonal of the bounds as a fraction of the half size. When
    /// all items are one and the same point the half size is 0 and the slack NaN, and the root refuses
    /// every content. The half size is larger by a few units in the
    /// last place when rounding would otherwise make the root refuse a content, as it may when all lie on
    /// one line along an axis.
    template <class Item> static Cell FittedRoot(const Bins::DataPool<Item>& storage)
    {
        return FittedRoot(ContentsOf(storage), static_cast<std::size_t>(storage.LastIndex() + 1));
    }
    static Cell FittedRoot(const std::vector<const Content*>& contents, std::size_t count);

    /// Empties the tree and sets its root's cell and its slack.
    void SetRoot(const Cell& cell);
    void SetCapacity(unsigned int capacity) { capacity_ = capacity; }

    /// Inserts all items of the storage, none of which is in the tree. They keep their order. When memory
    /// runs out, those that came first stay.
    template <class Item> void InsertAll(const Bins::DataPool<Item>& storage)
    {
        InsertAll(ContentsOf(storage));
    }
    void InsertAll(const std::vector<const Content*>& contents);

    /// Arranges the contents of all nodes for queries, after many insertions or removals one by one.
    /// Queries answer the same without it, and `InsertAll` does it too.
    void ArrangeContents();

    /// The root, for `Insert`.
    Node& MutableRoot() { return root_; }

    // --- queries --------------------------------------------------------------------------------

    /// Contents that the ball may touch.
    ///
    /// K = 0: those nearer to the center than the radius, strictly, so that a ball of radius 0 has none.
    /// K = 1: those whose ball comes as near as 1e-12, or touches, or overlaps.
    /// A radius counts by its magnitude, as in every tree: that of the ball and that of a content.
    std::vector<const Content*>
    GetPossibleBallCollisions(const Bounding::BoundingBall<D, T>& ball) const;

    /// Contents whose box the closed box meets, touching included; contents with a ball whose center is
    /// nearer to the box than the radius, strictly.
    std::vector<const Content*> GetPossibleBoxCollisions(const Box& box) const;

    /// Contents whose box (of a ball: the box around it) the line through `origin` meets, in either
    /// direction, grazing included. The flag makes no difference. None for a direction without finite
    /// positive length.
    std::vector<const Content*> GetPossibleRayCollisions(const VecBase<D, T>& origin,
                                                         const VecBase<D, T>& direction,
                                                         bool flag) const;

    /// Asked about a box around several contents, about the bound of a content, and told of a content. A
    /// function larger than two pointers costs memory when it is made from a lambda: pass `std::ref` of it
    /// where that matters.
    using BoxPredicate = std::function<bool(const Box&)>;
    using ContentPredicate = std::function<bool(const Bound&)>;
    using Sink = std::function<void(const Content*)>;
    /// Told of a content; the answer is a limit, see `VisitNearest`.
    using NearestSink = std::function<T(const Content*)>;

    /// `GetPossibleBallCollisions` without a list: calls `sink` for each, in that order.
    void VisitBallCollisions(const Bounding::BoundingBall<D, T>& ball, const Sink& sink) const;
    /// `GetPossibleRayCollisions` in the same way.
    void VisitRayCollisions(const VecBase<D, T>& origin, const VecBase<D, T>& direction,
                            const Sink& sink) const;

    /// Calls `sink(content)` for each content whose bound fulfills `contentPredicate(bound)`.
    ///
    /// `boxPredicate(box)` is asked about boxes around several contents: of a subtree, of a group of
    /// contents in a node. Where it is false all of them are passed over; so it must be true for any box
    /// around a bound that fulfills `contentPredicate`.
    void VisitCandidates(const BoxPredicate& boxPredicate, const ContentPredicate& contentPredicate,
                         const Sink& sink) const;

    /// Visits contents near `point`, the near ones first as far as the tree tells, and fewer the nearer
    /// a result has been found.
    ///
    /// Calls `limit = sink(content)` for contents whose box has a squared distance d from the point with
    /// d < `squaredRadius` and d <= limit, where the limit is infinite at first. A sink that looks for
    /// the nearest content returns the least squared distance found so far: contents at exactly that
    /// distance are still shown, so that it can settle ties by a rule of its own.
    void VisitNearest(const VecBase<D, T>& point, T squaredRadius, const NearestSink& sink) const
        requires(K == 0);

private:
    // The walks behind the queries, for any kind of function; their bodies are the library's own.
    template <class IsBoxWanted, class IsContentWanted, class Show>
    SORVANE_LOCAL void Walk(const IsBoxWanted& isBoxWanted, const IsContentWanted& isContentWanted,
                            const Show& show) const;
    template <class Show>
    SORVANE_LOCAL void WalkInBall(const Bounding::BoundingBall<D, T>& ball, const Show& show) const;
    template <class Show>
    SORVANE_LOCAL void WalkOnLine(const VecBase<D, T>& origin, const VecBase<D, T>& direction,
                                  const Show& show) const;

    /// The occupied slots, ascending.
    template <class Item>
    static std::vector<const Content*> ContentsOf(const Bins::DataPool<Item>& storage)
    {
        std::vector<const Content*> contents;
        contents.reserve(static_cast<std::size_t>(storage.LastIndex() + 1));
        for (const Item& item : storage) {
            contents.push_back(&item);
        }
        return contents;
    }

    T slack_{0};
    Node root_;
    unsigned int capacity_ = 0;
};

// clang-format off
extern template class SORVANE_API QOFTree<2, float,  0, QOFNode<2, float, 0>>;
extern template class SORVANE_API QOFTree<2, double, 0, QOFNode<2, double, 0>>;
extern template class SORVANE_API QOFTree<3, double, 0, QOFNode<3, double, 0>>;
extern template class SORVANE_API QOFTree<2, double, 1, QOFNode<2, double, 1>>;
// clang-format on

} // namespace Velk::Math::Sorvane::Tree
