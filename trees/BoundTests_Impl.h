// Inline tests of boxes and balls for the inner loops of the content trees.
//
// Nodes are pruned by a box that holds the bounds of their contents. So that no candidate is lost,
// each test here is monotonic in floating point too: whatever the content's test accepts, the test
// of any box around it accepts. Coordinates of bounds are never NaN, because a tree does not take
// such contents in; those of the query may be.
#pragma once

#include <Sorvane/BoundingVolumes_E.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace Velk::Math::Sorvane::Tree::Impl {

/// Distance within which a query ball and the ball of a content count as touching.
inline constexpr double kTouchTolerance = 1e-12;

template <int D, class T>
using BoxOf = Bounding::AxisAlignedBoundingBox<D, T>;
template <int D, class T>
using BallOf = Bounding::BoundingBall<D, T>;

/// How far a ball reaches: a negative radius counts by its magnitude, in every query of every tree.
template <class T>
T Reach(T radius)
{
    return std::fabs(radius);
}

/// The same squared, for comparison with squared distances. The sign is lost by itself.
template <class T>
T SquaredReach(T radius)
{
    return radius * radius;
}

template <int D, class T>
bool HasNaN(const VecBase<D, T>& point)
{
    for (const T coordinate : point) {
        if (std::isnan(coordinate)) {
            return true;
        }
    }
    return false;
}

/// Squared distance of a point without NaN to a closed box, 0 inside; of an inverted box its
/// farther face counts. The same number as `Intersect::DistanceToAABB`, without branches.
template <int D, class T>
T SquaredDistance(const BoxOf<D, T>& box, const VecBase<D, T>& point)
{
    T sum{0};
    for (int i = 0; i < D; ++i) {
        const T gap = std::max(T{0}, std::max(box.min[i] - point[i], point[i] - box.max[i]));
        sum += gap * gap;
    }
    return sum;
}

template <int D, class T>
bool Overlaps(const BoxOf<D, T>& a, const BoxOf<D, T>& b)
{
    bool overlap = true;
    for (int i = 0; i < D; ++i) {
        overlap &= a.min[i] <= b.max[i]; // no branches to mispredict
        overlap &= b.min[i] <= a.max[i];
    }
    return overlap;
}

/// Has nothing ever been put into this box?
template <int D, class T>
bool IsInverted(const BoxOf<D, T>& box)
{
    return box.min[0] > box.max[0];
}

// --- the box around a bound ---------------------------------------------------------------------

template <int D, class T>
BoxOf<D, T> Around(const BoxOf<D, T>& box)
{
    return box;
}

template <int D, class T>
BoxOf<D, T> Around(const BallOf<D, T>& ball)
{
    const VecBase<D, T> reach = Bounding::Impl::Uniform<D, T>(Reach(ball.radius));
    return {ball.center - reach, ball.center + reach};
}

// --- a query ball -------------------------------------------------------------------------------

/// Both for a content and for the box of a node.
template <int D, class T>
bool BallReaches(const BallOf<D, T>& query, const BoxOf<D, T>& box)
{
    return SquaredReach(query.radius) > SquaredDistance(box, query.center);
}

template <int D, class T>
bool BallReaches(const BallOf<D, T>& query, const BallOf<D, T>& ball)
{
    const T reach = Reach(query.radius) + Reach(ball.radius) + static_cast<T>(kTouchTolerance);
    return reach * reach >= SquaredLength(query.center - ball.center);
}

/// Can a ball within `box` fulfill `BallReaches`? That test rounds the sum of two radii and the
/// corners of the box are rounded as well, so that here the query is grown by what both may amount
/// to.
template <int D, class T>
bool BallMayReachBalls(const BallOf<D, T>& query, const BoxOf<D, T>& box)
{
    constexpr T kRounding = 16 * std::numeric_limits<T>::epsilon();
    T largest = Reach(query.radius);
    for (int i = 0; i < D; ++i) {
        largest = std::max(
            {largest, std::fabs(query.center[i]), std::fabs(box.min[i]), std::fabs(box.max[i])});
    }
    const T reach = Reach(query.radius) + static_cast<T>(kTouchTolerance) + kRounding * largest;
    return !IsInverted(box) && reach * reach >= SquaredDistance(box, query.center);
}

// --- a query box --------------------------------------------------------------------------------

template <int D, class T>
bool BoxMeets(const BoxOf<D, T>& query, const BoxOf<D, T>& box)
{
    return Overlaps(query, box);
}

template <int D, class T>
bool BoxMeets(const BoxOf<D, T>& query, const BallOf<D, T>& ball)
{
    return SquaredReach(ball.radius) > SquaredDistance(query, ball.center);
}

/// Can a ball within `box` fulfill `BoxMeets`? With room for the rounding of the box around the
/// ball.
template <int D, class T>
bool BoxMayMeetBalls(const BoxOf<D, T>& query, const BoxOf<D, T>& box)
{
    constexpr T kRounding = 4 * std::numeric_limits<T>::epsilon();
    for (int i = 0; i < D; ++i) {
        const T room = kRounding * std::max(std::fabs(box.min[i]), std::fabs(box.max[i]));
        if (!(query.min[i] <= box.max[i] + room && box.min[i] - room <= query.max[i])) {
            return false;
        }
    }
    return !IsInverted(box);
}

} // namespace Velk::Math::Sorvane::Tree::Impl
