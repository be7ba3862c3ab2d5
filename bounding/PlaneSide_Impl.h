// Exact side of a plane through three points in space.
//
// A floating-point evaluation with its error bound decides nearly always, then one in twice the
// precision; what is left, mostly four points in one plane, is summed without rounding (J. R.
// Shewchuk, "Adaptive Precision Floating-Point Arithmetic and Fast Robust Geometric Predicates",
// 1997). Exact unless a product underflows.
#pragma once

#include <Velk/Math/VecBase_E.h>

namespace Velk::Math::Vector::Impl {

/// Sign of ((b - a) ^ (c - a)) * (p - a): 1 when `p` lies on the side from which a, b, c run
/// counter-clockwise, -1 on the other, 0 when the four points lie in one plane. Finite coordinates
/// of moderate size (products of three must not overflow).
int PlaneSide(const VecBase<3, double>& a, const VecBase<3, double>& b, const VecBase<3, double>& c,
              const VecBase<3, double>& p);

} // namespace Velk::Math::Vector::Impl
