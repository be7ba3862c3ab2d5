// The nearest of a set of points of which each has a number, the lowest number where several are
// equally near, while numbers change and points drop out.
//
// A flat hierarchy of boxes does not fit: it is made once and keeps on visiting what has dropped
// out, so that a crowd in which all are taken costs each further search its size. Here every node
// knows the lowest number below it, and none when all are gone.
#pragma once

#include "trees/BoundTests_Impl.h"

#include <Velk/Math/VecBase_E.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <limits>
#include <utility>
#include <vector>

namespace Velk::Math::Sorvane::Tree::Impl {

class NumberedPoints {
public:
    using Box = BoxOf<2, double>;

    /// What a point has that takes no part.
    static constexpr int kNone = std::numeric_limits<int>::max();

    struct Found {
        double squaredDistance = std::numeric_limits<double>::infinity();
        int number = kNone; ///< none when nothing was found
    };

    NumberedPoints() = default;
    /// A number for each point, or `kNone` for one that never takes part. O(n log n).
    NumberedPoints(const std::vector<VecBase<2, double>>& points, const std::vector<int>& numbers);

    /// For a point that began with a number. O(log n).
    void SetNumber(int point, int number);

    /// The least pair (squared distance from `from`, number) with a squared distance of at most
    /// `limit`; none for a NaN.
    ///
    /// `mayHold(box)` is false only where no point of the box is wanted. `numberOf(position,
    /// squaredDistance, number)` gives the number by which a point counts for this search, the one
    /// that it has or a higher one, or `kNone` when it is not wanted.
    template <class MayHold, class NumberOf>
    Found Nearest(const VecBase<2, double>& from, double limit, const MayHold& mayHold,
                  const NumberOf& numberOf) const;

private:
    /// Points of a leaf, at most.
    static constexpr std::size_t kLeafSize = 8;

    struct Place {
        VecBase<2, double> position;
        int number;
        int point;
    };

    /// Children of node n are 2n and 2n + 1; the root is 1; leaves come last.
    struct Node {
        Box box;
        int lowest = kNone;
    };

    std::size_t BeginOf(std::size_t leaf) const { return leaf * places_.size() / leafCount_; }

    void Divide(std::size_t firstLeaf, std::size_t lastLeaf);
    void UpdateLeaf(std::size_t leaf);

    std::vector<Place> places_;
    std::vector<int> leafOfPoint_;
    std::vector<Node> nodes_;
    std::size_t leafCount_ = 0; // a power of two
};

/// False only where each point of the box is nearer to `there` than to `here`, as their squared
/// distances are rounded.
///
/// The corner that lies deepest on the side of `here` tells: the difference of the two squared
/// distances is linear in the coordinates. To compare the nearest distance from `here` with the
/// farthest from `there` would not do: of short strokes that stand on a curve each has all others
/// just beyond its bisector, and would have to look into every box of them.
inline bool MayHoldNoNearerTo(const VecBase<2, double>& there, const VecBase<2, double>& here,
                              const BoxOf<2, double>& box)
{
    double difference = 0.0;
    double squares = 0.0;
    for (int axis = 0; axis < 2; ++axis) {
        const double step = there[axis] - here[axis];
        const double corner = step > 0.0 ? box.min[axis] : box.max[axis];
        difference += step * ((corner - here[axis]) + (corner - there[axis]));
        for (const double from : {here[axis], there[axis]}) {
            const double gap =
                std::max(std::fabs(box.min[axis] - from), std::fabs(box.max[axis] - from));
            squares += gap * gap;
        }
    }
    // Both the difference and the squared distances of a point are off by a few roundings of the
    // squares. Where those overflow, nothing is ruled out.
    return !(difference > 16.0 * std::numeric_limits<double>::epsilon() * squares);
}

// --- bodies -------------------------------------------------------------------------------------

inline NumberedPoints::NumberedPoints(const std::vector<VecBase<2, double>>& points,
                                      const std::vector<int>& numbers)
    : leafOfPoint_(points.size())
{
    for (std::size_t point = 0; point < points.size(); ++point) {
        if (numbers[point] != kNone) {
            places_.push_back({points[point], numbers[point], static_cast<int>(point)});
        }
    }
    if (places_.empty()) {
        return;
    }
    leafCount_ = 1;
    while (leafCount_ * kLeafSize < places_.size()) {
        leafCount_ *= 2;
    }
    Divide(0, leafCount_);
    nodes_.resize(2 * leafCount_);
    for (std::size_t leaf = 0; leaf < leafCount_; ++leaf) {
        Node& node = nodes_[leafCount_ + leaf];
        for (std::size_t i = BeginOf(leaf); i < BeginOf(leaf + 1); ++i) {
            node.box.Grow(places_[i].position);
            node.lowest = std::min(node.lowest, places_[i].number);
            leafOfPoint_[static_cast<std::size_t>(places_[i].point)] = static_cast<int>(leaf);
        }
    }
    for (std::size_t n = leafCount_; n-- > 1;) {
        nodes_[n] = nodes_[2 * n];
        nodes_[n].box.Grow(nodes_[2 * n + 1].box.min);
        nodes_[n].box.Grow(nodes_[2 * n + 1].box.max);
        nodes_[n].lowest = std::min(nodes_[2 * n].lowest, nodes_[2 * n + 1].lowest);
    }
}

/// Sorts the places so that the leaves [firstLeaf, lastLeaf) lie apart, cut across their wider
/// extent. Ends after as many levels as halving the leaves takes.
inline void NumberedPoints::Divide(std::size_t firstLeaf, std::size_t lastLeaf)
{
    if (lastLeaf - firstLeaf < 2) {
        return;
    }
    const std::size_t middleLeaf = (firstLeaf + lastLeaf) / 2;
    const auto at = [&](std::size_t leaf) {
        return places_.begin() + static_cast<std::ptrdiff_t>(BeginOf(leaf));
    };
    Box box;
    for (auto place = at(firstLeaf); place != at(lastLeaf); ++place) {
        box.Grow(place->position);
    }
    const VecBase<2, double> extent = box.max - box.min;
    const int axis = extent[1] > extent[0] ? 1 : 0;
    std::nth_element(
        at(firstLeaf), at(middleLeaf), at(lastLeaf),
        [axis](const Place& a, const Place& b) { return a.position[axis] < b.position[axis]; });
    Divide(firstLeaf, middleLeaf);
    Divide(middleLeaf, lastLeaf);
}

inline void NumberedPoints::SetNumber(int point, int number)
{
    const auto leaf = static_cast<std::size_t>(leafOfPoint_[static_cast<std::size_t>(point)]);
    int lowest = kNone;
    for (std::size_t i = BeginOf(leaf); i < BeginOf(leaf + 1); ++i) {
        if (places_[i].point == point) {
            places_[i].number = number;
        }
        lowest = std::min(lowest, places_[i].number);
    }
    std::size_t n = leafCount_ + leaf;
    while (nodes_[n].lowest != lowest) {
        nodes_[n].lowest = lowest;
        if (n == 1) {
            return;
        }
        lowest = std::min(lowest, nodes_[n ^ 1U].lowest);
        n /= 2;
    }
}

// A node's squared distance rounds like that of a point and is never above those of its points, so
// that nothing equally near is passed over but for its number.
template <class MayHold, class NumberOf>
NumberedPoints::Found NumberedPoints::Nearest(const VecBase<2, double>& from, double limit,
                                              const MayHold& mayHold,
                                              const NumberOf& numberOf) const
{
    struct Step {
        std::size_t node;
        double squaredDistance;
    };
    Found best{limit, kNone};
    const auto isBetter = [&](double squaredDistance, int number) {
        return squaredDistance < best.squaredDistance ||
               (squaredDistance == best.squaredDistance && number < best.number);
    };
    const auto isOpen = [&](const Step& step) {
        return isBetter(step.squaredDistance, nodes_[step.node].lowest) &&
               nodes_[step.node].lowest != kNone;
    };
    std::array<Step, 64> stack; // one for each level at most
    std::size_t count = 0;
    if (!nodes_.empty()) {
        stack[count++] = {1, SquaredDistance(nodes_[1].box, from)};
    }
    while (count > 0) {
        Step step = stack[--count];
        while (isOpen(step) && mayHold(nodes_[step.node].box)) {
            if (step.node >= leafCount_) {
                const std::size_t leaf = step.node - leafCount_;
                for (std::size_t i = BeginOf(leaf); i < BeginOf(leaf + 1); ++i) {
                    const Place& place = places_[i];
                    const double squaredDistance = SquaredLength(place.position - from);
                    if (place.number == kNone || !isBetter(squaredDistance, place.number)) {
                        continue;
                    }
                    const int number = numberOf(place.position, squaredDistance, place.number);
                    if (number != kNone && isBetter(squaredDistance, number)) {
                        best = {squaredDistance, number};
                    }
                }
                break;
            }
            Step near{2 * step.node, SquaredDistance(nodes_[2 * step.node].box, from)};
            Step far{2 * step.node + 1, SquaredDistance(nodes_[2 * step.node + 1].box, from)};
            if (far.squaredDistance < near.squaredDistance) {
                std::swap(near, far);
            }
            stack[count++] = far;
            step = near;
        }
    }
    return best.number == kNone ? Found{} : best;
}

} // namespace Velk::Math::Sorvane::Tree::Impl
