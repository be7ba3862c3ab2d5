// Exact sign of the cross product of two differences of points in the plane.
//
// A floating-point evaluation with its error bound decides nearly always; otherwise the product is
// summed without rounding (J. R. Shewchuk, "Adaptive Precision Floating-Point Arithmetic and Fast
// Robust Geometric Predicates", 1997: the exact differences, all sixteen parts of their products,
// and a growing expansion). Exact unless a product underflows, so that sorting by it is a
// consistent order.
#pragma once

#include <Velk/Math/VecBase_E.h>

namespace Velk::Math::Vector::Impl {

/// Sign of (a - origin) ^ (b - origin): 1 when the turn from a to b is counter-clockwise, -1
/// clockwise, 0 when the three points are collinear. Finite coordinates of moderate size (products
/// must not overflow).
int TurnSign(const VecBase<2, double>& origin, const VecBase<2, double>& a,
             const VecBase<2, double>& b);

} // namespace Velk::Math::Vector::Impl
