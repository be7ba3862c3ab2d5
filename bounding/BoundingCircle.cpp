// The smallest enclosing circle. What matters of more than ten points are the vertices of their
// hull.

#include "bounding/SmallestBall_Impl.h"

#include <Sorvane/ConvexHull_E.h>

namespace Velk::Math::Sorvane::Bounding {

template <class T>
BoundingBall<2, T> BoundingCircleOfPoints(const std::vector<VecBase<2, T>>& points, bool skipHull)
{
    if (points.size() > Impl::kManyPoints) {
        if (const auto circle = Impl::SmallestBallOfMany(points)) {
            return *circle;
        }
    }
    if (skipHull || points.size() <= 10) {
        return Impl::SmallestBall(points);
    }
    const std::vector<VecBase<2, T>> hull = ConvexHull(points, false);
    BoundingBall<2, T> circle = Impl::SmallestBall(hull);
    if (hull.size() > 1) { // coincident points are one, with radius 0
        Impl::GrowToHold(circle, points); // the hull takes points within the tolerance for one
    }
    return circle;
}

template BoundingBall<2, float> BoundingCircleOfPoints(const std::vector<VecBase<2, float>>&, bool);
template BoundingBall<2, double> BoundingCircleOfPoints(const std::vector<VecBase<2, double>>&,
                                                        bool);

} // namespace Velk::Math::Sorvane::Bounding
