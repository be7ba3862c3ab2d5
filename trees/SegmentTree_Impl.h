// Tree over segments in the plane: the nearest segment, and the candidates near a point.
#pragma once

#include <Velk/Math/Geometry_E.h>

#include "trees/SearchTree_Impl.h"

#include <vector>

namespace Velk::Math::Sorvane::Tree {

namespace Impl {

/// Nearest point of a segment to `point`; the start of one that is no longer than the length floor.
/// It lies in the box of the two ends, exactly.
template <class T>
VecBase<2, T> NearestOnSegment(const Geometry::SegBase<T>& segment, const VecBase<2, T>& point);

} // namespace Impl

template <int D, class T>
class QOFSegmentTree;

/// Segments with their numbers in a loose quadtree. T is `float` or `double`.
///
/// Segments with a coordinate that is not finite, or beyond 1e150, stay out and are never found;
/// the queries of a tree without segments find nothing. Queries may run in many threads at once.
template <class T>
class QOFSegmentTree<2, T> : public QOFTree<2, T, 0, QOFNode<2, T, 0>> {
public:
    using Base = QOFTree<2, T, 0, QOFNode<2, T, 0>>;
    using typename Base::Content;
    using Closest = ClosestPointRecord<2, T>;

    struct SegWrap : QOFTreeContent<2, T, 0> {
        int id = -1;
        Geometry::SegBase<T> segment;
        std::int32_t place = -1; ///< in the order in which segments came; decides between equals
    };

    /// What a query's candidate wraps.
    static const SegWrap& WrapOf(const Content& content)
    {
        return static_cast<const SegWrap&>(content);
    }

    /// Stores a segment, which the tree holds from the next `Build` on. Numbers need not ascend.
    void AddSegment(const Geometry::SegBase<T>& segment, int id);
    /// Makes the tree anew over all segments stored. O(n log n).
    void Build();

    /// Nearest point on the segments whose box is nearer to `point` than `radius`, strictly;
    /// {`point`, -1} when there is none. Of segments at exactly the same distance the one stored
    /// first.
    ///
    /// The answer may lie farther away than the radius, by as much as a box is larger than its
    /// segment: compare where that matters. Radius 0 finds nothing; a negative one counts as
    /// positive.
    Closest ClosestPoint(const VecBase<2, T>& point, T radius) const;

    /// Segments whose box is nearer to the ball's center than its radius, strictly.
    using Base::GetPossibleBallCollisions;

protected:
    QOFSegmentTree() = default;
    ~QOFSegmentTree() = default;

    void AddAll(const std::vector<Geometry::SegBase<T>>& segments);

private:
    QOFStorage<SegWrap> storage_;
};

namespace Quadtree {

/// The segment tree that is used as it stands, or derived from.
template <class T>
class SegmentTree : public QOFSegmentTree<2, T> {
public:
    /// Without segments: `AddSegment` them, then `Build`.
    SegmentTree() = default;
    /// Over all segments, each with its place in the list as number.
    explicit SegmentTree(const std::vector<Geometry::SegBase<T>>& segments);
};

} // namespace Quadtree

extern template class QOFSegmentTree<2, float>;
extern template class QOFSegmentTree<2, double>;
extern template class Quadtree::SegmentTree<float>;
extern template class Quadtree::SegmentTree<double>;

} // namespace Velk::Math::Sorvane::Tree
