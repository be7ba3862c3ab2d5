// The forms that the bounding volumes exist in, for typed tests, and the smallest ball by
// dimension.
#pragma once

#include <Sorvane/BoundingVolumes_E.h>

#include "tests/support/TestSupport.h"

#include <vector>

namespace Support {

template <int Dimension, class Scalar>
struct BoundingForm {
    static constexpr int D = Dimension;
    using T = Scalar;
};
using BoundingForms = testing::Types<BoundingForm<2, float>, BoundingForm<2, double>,
                                     BoundingForm<3, float>, BoundingForm<3, double>>;

template <int D, class T>
Velk::Math::Sorvane::Bounding::BoundingBall<D, T>
BallOf(const std::vector<Velk::Math::VecBase<D, T>>& points, bool skipHull)
{
    if constexpr (D == 2) {
        return Velk::Math::Sorvane::Bounding::BoundingCircleOfPoints(points, skipHull);
    } else {
        return Velk::Math::Sorvane::Bounding::BoundingSphereOfPoints(points, skipHull);
    }
}

} // namespace Support
