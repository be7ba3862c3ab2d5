// Which of a crowd of elements come near each other, where no division of the plane into cells
// keeps them apart: long ones side by side (nested contours, edges that converge), and fans about a
// common end.
//
// The elements are divided into monotone curves, and the plane into upright slabs that are halved
// again and again between the ends of the curves. In a slab, curves that run right across it are
// sorted by height. Those that are certainly apart from the one before form a staircase; the
// others, and all that end within the slab, are looked up in it, which tells whom they come near,
// and go on into the halves. A curve is a step of the staircase in O(log n) slabs and is looked up
// along the paths to its two ends, and wherever it stays because it comes near something. That
// makes O((n + k) log^2 n) comparisons, for k near pairs of curves (I. J. Balaban, "An optimal
// algorithm for finding segments intersections", 1995, in its simpler form; there pairs cross, and
// here they come nearer than a tolerance).
//
// Slabs that become as narrow as the tolerance are divided the other way, and what is left in a box
// of that size is all near. Curves from one joint count as apart as long as what they have in
// common is one stretch about the joint; such a pair is never cut there.
#pragma once

#include "arrangement/ElementCrossings_Impl.h"
#include "arrangement/MonotoneCurve_Impl.h"

#include <utility>
#include <vector>

namespace Velk::Math::Intersect::Impl {

/// Pairs of elements that may meet, the lower number first, some perhaps repeatedly; and the work
/// that finding them took.
struct ElementPairs {
    std::vector<std::pair<int, int>> pairs;
    long long comparisons = 0;
};

/// Appends all pairs of the given elements that meet in the region (see `MeetingsOf`). Active
/// elements, each once.
void FindPairsOfCrowd(const std::vector<Element>& elements, const std::vector<int>& crowd,
                      const Region& region, ElementPairs& found);

} // namespace Velk::Math::Intersect::Impl
