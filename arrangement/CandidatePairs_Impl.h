// Which pairs of elements have to be examined: all that meet, and few that don't.
//
// A grid parts what lies apart. Where it leaves a crowd, because long elements run side by side or
// many end in one place, slabs tell the pairs (CurveSlabs_Impl.h). Together they leave O(n + k)
// pairs for k that come near each other, and take O((n + k) log^2 n) at worst.
#pragma once

#include "arrangement/ElementCrossings_Impl.h"
#include "arrangement/SegmentGrid_Impl.h"
#include "mathbase/Buckets_Impl.h"

#include <vector>

namespace Velk::Math::Intersect::Impl {

class CandidatePairs {
public:
    explicit CandidatePairs(const std::vector<Element>& elements);

    /// Replaces `candidates` by the elements with a number above `element` that may meet it:
    /// ascending, each once. Those that do are among them, unless all that they have in common is
    /// one stretch about a common end.
    void Of(int element, std::vector<int>& candidates) const;

    /// Pairs that all calls of `Of` will look at, repetitions included, and comparisons of curves
    /// that finding them took.
    long long PairCount() const;
    long long Comparisons() const { return comparisons_; }

private:
    CandidatePairs(const std::vector<Element>& elements, const std::vector<PaddedSpan>& spans);

    SegmentGrid grid_;
    std::vector<Region> boxes_;         // of the elements with their padding
    Math::Impl::Buckets<int> partners_; // of each element from the crowds, some repeatedly
    long long comparisons_ = 0;
};

} // namespace Velk::Math::Intersect::Impl
