// Which of many planar elements may meet: buckets such that any two elements that come within their
// padding of each other share at least one, and crowds that have to be looked at more closely.
//
// A grid over all, its cell about as large as the mean extent of an element, so that the elements
// fill O(n) cells however their lengths are mixed; an element enters only the cells that it passes,
// not those of its whole box. Cells that stay crowded (small elements beside giants, clusters,
// bundles) are split further by lines: across either axis, or along the direction that most of the
// bundle runs in, whichever leaves the fewest pairs. A bundle of parallel lines in any direction
// thus comes apart in O(n log n). Where no line parts a large crowd it is handed out as it is.
#pragma once

#include "arrangement/MonotoneCurve_Impl.h"
#include "mathbase/Buckets_Impl.h"

#include <Velk/Math/VecBase_E.h>

#include <vector>

namespace Velk::Math::Intersect::Impl {

/// A straight stretch with everything that lies within `padding` of it; it belongs to `element`. An
/// element may have several, a curved one usually does. Coordinates and paddings are finite.
struct PaddedSpan {
    Vec2d first;
    Vec2d last;
    double padding = 0;
    int element = 0;
};

/// Elements that may all meet each other within a region; ascending, each once.
struct Crowd {
    std::vector<int> elements;
    Region region;
};

class SegmentGrid {
public:
    SegmentGrid(const std::vector<PaddedSpan>& spans, int elementCount);

    /// Replaces `sharers` by the elements with a number above `element` that share a bucket with
    /// it: ascending, each once.
    void Sharers(int element, std::vector<int>& sharers) const;

    /// Pairs that all calls of `Sharers` will look at, repetitions included: the work to come.
    long long PairCount() const;

    const std::vector<Crowd>& Crowds() const { return crowds_; }

private:
    void AddBucket(std::vector<int>& members);
    void NumberBucketsByElement(int elementCount);

    // Members of bucket b, ascending: members_[firstMember_[b]] up to firstMember_[b + 1].
    std::vector<int> members_;
    std::vector<int> firstMember_{0};
    Math::Impl::Buckets<int, int> buckets_; // of each element
    std::vector<Crowd> crowds_;
};

} // namespace Velk::Math::Intersect::Impl
