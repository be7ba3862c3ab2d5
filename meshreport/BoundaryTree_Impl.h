// The nearest boundary segment that belongs to another component.
//
// A hierarchy of boxes over the segments of all components together, which knows of each subtree
// whether all its segments belong to one component, and to which. What belongs to the asking
// component alone is passed over at once, so that it doesn't matter how much of its own boundary a
// point has around it. The answer is that of a loop over all segments, to the last bit: a box is
// left out only if no distance computed to a segment in it could be smaller than the least so far.
#pragma once

#include "trees/BoxHierarchy_Impl.h"

#include <cstddef>
#include <vector>

namespace Velk::Math::Sorvane::MeshUtils::Impl {

struct BoundarySegment {
    Vec3d a;
    Vec3d b;
    int component = 0; // not negative
};

class BoundaryTree {
public:
    /// O(n log n). Segments with an end that is not finite are left out: distances to them are NaN.
    explicit BoundaryTree(const std::vector<BoundarySegment>& segments);

    /// The least squared distance from `point` to a segment that doesn't belong to `component`, and
    /// at most the largest finite number, which stands for none; or, where the least is at most
    /// `enough`, any of the squared distances that are. `hint` is a guess at the nearest segment, 0
    /// for want of a better one, and is replaced by the segment found: neighboring points have the
    /// same one often.
    double SquaredDistanceToOthers(const Vec3d& point, int component, double enough,
                                   std::size_t& hint) const;

private:
    std::vector<BoundarySegment> segments_; // in the order of the leaves
    Tree::Impl::BoxHierarchy<3, double> boxes_;
    std::vector<int> components_; // of all segments of a subtree, by its number, or kMixed
};

} // namespace Velk::Math::Sorvane::MeshUtils::Impl
