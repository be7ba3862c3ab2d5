// Where each of a set of elements is to be cut; the part of the cutting that does not know the
// coordinate type.
#pragma once

#include "arrangement/ElementCrossings_Impl.h"

#include <vector>

namespace Velk::Math::Intersect::Impl {

/// Cuts of element e, in its travel order: cuts[first[e]] up to cuts[first[e + 1]].
struct CutPlan {
    struct Cut {
        Vec2d point;
        /// Place of the point along the element, as a length from its start.
        double place = 0;
    };
    std::vector<int> first;
    std::vector<Cut> cuts;
};

/// `narrow` rounds a point to the coordinate type of the elements, in place: what is decided about
/// a cut is decided about the point that the caller will see.
CutPlan PlanCuts(const std::vector<Element>& elements, void (*narrow)(Vec2d& point));

} // namespace Velk::Math::Intersect::Impl
