// The smallest circle or sphere around points for those who don't know whether the points are
// apart.

#include "bounding/SmallestBall_Impl.h"

#include <cmath>

namespace Velk::Math::Sorvane::Bounding {

namespace {

/// Within the tolerance of the solver all of them are one point, and it has no ball for them. False
/// for points that are not finite.
template <int D, class T>
bool IsOnePlace(const std::vector<VecBase<D, T>>& points)
{
    const AxisAlignedBoundingBox<D, T> box = BoxOfPoints(points);
    for (int axis = 0; axis < D; ++axis) {
        if (!(std::fabs(box.max[axis] - box.min[axis]) <= kLengthFloor<T>)) {
            return false;
        }
    }
    return true;
}

} // namespace

template <int D, class T>
BoundingBall<D, T> EnclosingBall(const std::vector<VecBase<D, T>>& points)
{
    if (points.size() < 2 || !IsOnePlace(points)) {
        if constexpr (D == 2) {
            return BoundingCircleOfPoints(points, false);
        } else {
            return BoundingSphereOfPoints(points, false);
        }
    }
    std::vector<VecBase<D, double>> exact(points.begin(), points.end());
    const BoundingBall<D, double> solved =
        Impl::SmallestBallByExchange<D>(std::span<const VecBase<D, double>>(exact));
    // The radius is taken anew about the center as rounded.
    BoundingBall<D, T> ball;
    for (int axis = 0; axis < D; ++axis) {
        ball.center[axis] = static_cast<T>(solved.center[axis]);
    }
    Impl::GrowToHold(ball, points);
    return ball;
}

template BoundingBall<2, float> EnclosingBall(const std::vector<VecBase<2, float>>&);
template BoundingBall<2, double> EnclosingBall(const std::vector<VecBase<2, double>>&);
template BoundingBall<3, float> EnclosingBall(const std::vector<VecBase<3, float>>&);
template BoundingBall<3, double> EnclosingBall(const std::vector<VecBase<3, double>>&);

} // namespace Velk::Math::Sorvane::Bounding
