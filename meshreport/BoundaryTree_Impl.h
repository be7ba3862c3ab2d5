// The nearest boundary segment that belongs to another piece.
//
// A binary tree of boxes, split at the median across the widest side, over the segments of all
// pieces together. A box all of whose segments belong to the asking piece is passed over at once,
// so that it doesn't matter how much of its own boundary a point has around it. The answer is that of
// a loop over all segments, to the last bit: a box is left out only if no distance computed to a
// segment in it could be smaller than the least so far.
#pragma once

#include <Velk/Math/VecBase_E.h>

#include <cstddef>
#include <vector>

namespace Velk::Math::Sorvane::MeshUtils::Impl {

struct BoundarySegment {
    Vec3d a;
    Vec3d b;
    int piece = 0;
};

class BoundaryTree {
public:
    /// O(n log n). Segments with an end that is not finite are left out: distances to them are NaN.
    explicit BoundaryTree(std::vector<BoundarySegment> segments);

    /// The least squared distance from `point` to a segment that doesn't belong to `piece`, and at
    /// most the largest finite number, which stands for none; or, where the least is at most
    /// `enough`, any of the squared distances that are. `hint` is a guess at the nearest segment, 0
    /// for want of a better one, and is replaced by the segment found: neighboring points have the
    /// same one often.
    double SquaredDistanceToOthers(const Vec3d& point, int piece, double enough,
                                   std::size_t& hint) const;

private:
    struct Box {
        Vec3d low;
        Vec3d high;
        int piece; // that of all segments, or kMixed
        int right; // second child, the first one follows its parent; 0 for a leaf
        std::size_t first;
        std::size_t last;
    };

    void Build(std::size_t first, std::size_t last);
    Box Bound(std::size_t first, std::size_t last) const;

    std::vector<BoundarySegment> segments_;
    std::vector<Box> boxes_;
};

} // namespace Velk::Math::Sorvane::MeshUtils::Impl
