// Tree over the elements of a chain of segments and arcs: which of them come near a point.
#pragma once

#include <Sorvane/ArcSegChain_E.h>

#include "trees/SearchTree_Impl.h"

#include <vector>

namespace Velk::Math::Sorvane::Tree::Quadtree {

/// The elements of a chain in a loose quadtree, each with its place in the chain as number. T is
/// `float` or `double`.
///
/// The box of an arc is that of the arc itself, its extreme points included. Elements that are not
/// finite, or reach beyond 1e150 or round a center there, stay out and are never found; the queries of a tree without
/// elements find nothing. Queries may run in many threads at once.
template <class T>
class ArcSegTree : public QOFTree<2, T, 0, QOFNode<2, T, 0>> {
public:
    using Base = QOFTree<2, T, 0, QOFNode<2, T, 0>>;
    using typename Base::Content;
    using Element = Planar::ArcSegBase<T>;

    struct ArcSegWrap : QOFTreeContent<2, T, 0> {
        int id = -1;
        Element element;
    };

    explicit ArcSegTree(const Planar::PolyArcSegBase<T>& chain);

    /// Nearest point of an element. An element that is neither segment nor arc, which can't be, is
    /// reported to the assert handler (`QuadtreeArcSegTree_E`, line 338) and gives the largest
    /// finite T twice.
    static VecBase<2, T> ClosestPointOnContent(const Element& element, const VecBase<2, T>& point);
    /// The same of the one that isn't null.
    static VecBase<2, T> ClosestPointOnContent(const Geometry::SegBase<T>* segment,
                                               const Geometry::ArcBase<T>* arc,
                                               const VecBase<2, T>& point);

    /// Numbers of the elements that are nearer to `point` than `radius`, strictly; in no particular
    /// order, which is the same in each run. A negative radius counts as positive.
    std::vector<int> ItemsWithin(const VecBase<2, T>& point, T radius) const;

    /// Elements whose box is nearer to the ball's center than its radius, strictly.
    using Base::GetPossibleBallCollisions;

private:
    void AddElement(const Element& element, int id);

    QOFStorage<ArcSegWrap> storage_;
};

extern template class ArcSegTree<float>;
extern template class ArcSegTree<double>;

} // namespace Velk::Math::Sorvane::Tree::Quadtree
