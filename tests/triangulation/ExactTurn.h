// The exact turn of three points in the plane, for checks of triangulations: by long double where
// that is clear, otherwise in numbers wide enough to hold the result.
#pragma once

#include <Velk/Math/VecBase_E.h>

namespace Support {

/// 1 when a, b, c run counter-clockwise, -1 when they run clockwise, 0 when they are on one line.
/// Exact for coordinates whose binary exponents differ by less than 300.
int ExactTurn(const Velk::Math::Vec2d& a, const Velk::Math::Vec2d& b, const Velk::Math::Vec2d& c);

} // namespace Support
