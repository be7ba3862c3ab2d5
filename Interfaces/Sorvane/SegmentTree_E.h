// Tree over segments in the plane: the nearest segment, and those near a point.
//
//     const Tree::Quadtree::SegmentTree<double> tree(segments);
//     const auto nearest = tree.ClosestPoint(point, 1.0);        // nearest.id: place in the list, or -1
#pragma once

#include <Sorvane/BoundingVolumes_E.h>
#include <Sorvane/ClosestPoint_E.h>
#include <Sorvane/Export_E.h>
#include <Velk/Math/Geometry_E.h>
#include <Velk/Math/Supported_E.h>

#include <cstddef>
#include <memory>
#include <vector>

namespace Velk::Math::Sorvane::Tree {

template <int D, class T> class QOFSegmentTree;

/// Segments with their numbers, searched through a flat hierarchy of their boxes. T is `float` or
/// `double`. Made as `Quadtree::SegmentTree`, or as a class that derives from that.
///
/// Segments with a coordinate that is not finite, or beyond 1e150, stay out and are never found; the
/// queries of a tree without segments find nothing. The box of a segment is that of its ends, 1e-10
/// larger on each side. Segments rank by the order in which they were added, and lists of numbers come
/// in that order.
///
/// A radius counts by its magnitude, as its square does: a negative one finds what the positive one
/// finds. Radius 0 and NaN find nothing, and neither does a point with a NaN.
///
/// Queries change nothing and may run in many threads at once, while nobody adds or builds. Adding and
/// building either happen or, when memory runs out, leave the tree as it was.
template <class T> class QOFSegmentTree<2, T> {
    static_assert(SupportedReal<T>, "segment trees are compiled for float and double");

public:
    /// What `ClosestPoint` answers with.
    using Closest = ClosestPointRecord<2, T>;
    /// What the tree stores.
    using Segment = Geometry::SegBase<T>;

    QOFSegmentTree(const QOFSegmentTree&) = delete;
    QOFSegmentTree& operator=(const QOFSegmentTree&) = delete;

    /// Stores a segment, which queries find from the next `Build` on. Numbers need not ascend nor
    /// differ.
    void AddSegment(const Segment& segment, int id);
    /// Makes the tree anew over all segments stored. O(n log n).
    void Build();

    /// Segments stored, in the order in which they were added, those that stay out included.
    const std::vector<Segment>& Segments() const;

    /// Nearest point on the segments whose box is nearer to `point` than `radius`, strictly; {`point`,
    /// -1} when there is none. Of segments at exactly the same distance the one added first.
    ///
    /// The answer may lie farther away than the radius, by as much as a box is larger than its segment:
    /// compare where that matters. A segment no longer than the length floor is its start.
    Closest ClosestPoint(const VecBase<2, T>& point, T radius) const;

    /// Numbers of the segments whose box is nearer to the ball's center than its radius, strictly:
    /// possible ones only.
    std::vector<int> GetPossibleBallCollisions(const Bounding::BoundingBall<2, T>& ball) const;

protected:
    QOFSegmentTree();
    ~QOFSegmentTree();
    /// Leaves `other` without segments.
    QOFSegmentTree(QOFSegmentTree&& other) noexcept;
    /// Leaves `other` without segments.
    QOFSegmentTree& operator=(QOFSegmentTree&& other) noexcept;

    /// Stores all segments, each with its place in the list as number.
    void AddAll(const std::vector<Segment>& segments);

private:
    struct State;
    std::unique_ptr<State> state_;
};

namespace Quadtree {

/// The segment tree that is used as it stands, or derived from.
template <class T> class SegmentTree : public QOFSegmentTree<2, T> {
public:
    /// Without segments: `AddSegment` them, then `Build`.
    SegmentTree();
    /// Over all segments, each with its place in the list as number.
    explicit SegmentTree(const std::vector<Geometry::SegBase<T>>& segments);
};

} // namespace Quadtree

extern template class SORVANE_API QOFSegmentTree<2, float>;
extern template class SORVANE_API QOFSegmentTree<2, double>;
extern template class SORVANE_API Quadtree::SegmentTree<float>;
extern template class SORVANE_API Quadtree::SegmentTree<double>;

} // namespace Velk::Math::Sorvane::Tree
