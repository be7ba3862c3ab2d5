// Tree over the elements of a chain of arcs and segments: which of them come near a point.
//
//     const Tree::Quadtree::ArcSegTree<double> tree(chain);
//     for (const int element : tree.ItemsWithin(point, tool.radius)) { ... }
#pragma once

#include <Sorvane/ArcSegChain_E.h>
#include <Sorvane/BoundingVolumes_E.h>
#include <Sorvane/Export_E.h>
#include <Velk/Math/Supported_E.h>

#include <memory>
#include <vector>

namespace Velk::Math::Sorvane::Tree::Quadtree {

/// The elements of a chain, each with its place in the chain as number, searched through a flat
/// hierarchy of their boxes. T is `float` or `double`.
///
/// The box of an arc is that of the arc itself, its extreme points included, and every box is 1e-10
/// larger on each side. Elements that are not finite, or reach beyond 1e150 or round a center there, stay
/// out and are never found; the queries of a tree without elements find nothing. Numbers come in
/// ascending order.
///
/// A radius counts by its magnitude, as its square does: a negative one finds what the positive one
/// finds. Radius 0 and NaN find nothing, and neither does a point with a NaN.
///
/// Queries change nothing and may run in many threads at once.
template <class T> class ArcSegTree {
    static_assert(SupportedReal<T>, "trees of chain elements are compiled for float and double");

public:
    /// What the tree stores.
    using Element = Planar::ArcSegBase<T>;

    /// O(n log n).
    explicit ArcSegTree(const Planar::PolyArcSegBase<T>& chain);
    ArcSegTree(ArcSegTree&& other) noexcept;
    ArcSegTree& operator=(ArcSegTree&& other) noexcept;
    ArcSegTree(const ArcSegTree&) = delete;
    ArcSegTree& operator=(const ArcSegTree&) = delete;
    ~ArcSegTree();

    /// Nearest point of an element. An element that is neither segment nor arc, which can't be, is
    /// reported to the assert handler and gives the largest finite T twice.
    static VecBase<2, T> ClosestPointOnContent(const Element& element, const VecBase<2, T>& point);

    /// Numbers of the elements that are nearer to `point` than `radius`, strictly.
    std::vector<int> ItemsWithin(const VecBase<2, T>& point, T radius) const;

    /// Numbers of the elements whose box is nearer to the ball's center than its radius, strictly:
    /// possible ones only.
    std::vector<int> GetPossibleBallCollisions(const Bounding::BoundingBall<2, T>& ball) const;

private:
    struct State;
    std::unique_ptr<State> state_;
};

extern template class SORVANE_API ArcSegTree<float>;
extern template class SORVANE_API ArcSegTree<double>;

} // namespace Velk::Math::Sorvane::Tree::Quadtree
