// The smallest enclosing sphere. What matters of more than ten points are the vertices of their
// hull, if they have one.

#include "bounding/SmallestBall_Impl.h"
#include "mathbase/Progress_Impl.h"

#include <Sorvane/ConvexHull_E.h>

namespace Velk::Math::Sorvane::Bounding {

template <class T>
BoundingBall<3, T> BoundingSphereOfPoints(const std::vector<VecBase<3, T>>& points, bool skipHull)
{
    return Progress::Impl::Stoppable([&]() -> BoundingBall<3, T> {
        if (points.size() > Impl::kManyPoints) {
            if (const auto sphere = Impl::SmallestBallOfMany(points)) {
                return *sphere;
            }
        }
        if (skipHull || points.size() <= 10) {
            return Impl::SmallestBall(points);
        }
        std::vector<VecBase<3, T>> vertices;
        std::vector<int> triangles;
        if (!ConvexHull(points, vertices, triangles, false, false)) {
            return Impl::SmallestBall(points);
        }
        BoundingBall<3, T> sphere = Impl::SmallestBall(vertices);
        Impl::GrowToHold(sphere, points); // the hull may leave out points just outside it
        return sphere;
    });
}

template BoundingBall<3, float> BoundingSphereOfPoints(const std::vector<VecBase<3, float>>&, bool);
template BoundingBall<3, double> BoundingSphereOfPoints(const std::vector<VecBase<3, double>>&,
                                                        bool);

} // namespace Velk::Math::Sorvane::Bounding
