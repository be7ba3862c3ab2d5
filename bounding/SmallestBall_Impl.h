// The smallest circle or sphere around points: the incremental method of E. Welzl, "Smallest
// enclosing disks (balls and ellipsoids)", 1991, with restarts, and a search that narrows a large
// input down to the few points that matter.
#pragma once

#include <Sorvane/BoundingVolumes_E.h>
#include <Velk/Math/Tolerances_E.h>

#include <optional>
#include <span>
#include <vector>

namespace Velk::Math::Sorvane::Bounding::Impl {

/// Circle through three points; false when `tolerance` is at least |(a - c) ^ (b - c)|, twice the
/// area of the triangle, and then `circle` stays as it is. Evaluated in `double`.
template <class T>
bool Circumcircle(const VecBase<2, T>& a, const VecBase<2, T>& b, const VecBase<2, T>& c,
                  T tolerance, BoundingBall<2, T>& circle);

/// Sphere through four points; false, with `sphere` as it was, when their volume vanishes.
bool Circumsphere(const VecBase<3, double>& a, const VecBase<3, double>& b,
                  const VecBase<3, double>& c, const VecBase<3, double>& d,
                  BoundingBall<3, double>& sphere);

/// Smallest ball around all the points given, none left out beforehand.
///
/// Solved in `double`, rounded to T, and then, unless there are fewer than three points, grown
/// about its center until it holds every point. O(n), with a large constant on inputs of many
/// points that lie on one sphere up to rounding. `tolerance` is the one within which points
/// coincide or count as inside. Points that all coincide within it may have a ball about the
/// origin; any others have their smallest ball, to rounding and the tolerance, whatever their size.
template <int D, class T>
BoundingBall<D, T> SmallestBall(const std::vector<VecBase<D, T>>& points,
                                double tolerance = static_cast<double>(kLengthFloor<T>));

/// The smallest ball of finite points to within rounding, and no tolerance in it: points that all
/// but coincide do no harm. Its radius is the distance of the farthest point from its center. O(n)
/// for each of the few points by which it grows.
template <int D>
BoundingBall<D, double> SmallestBallByExchange(std::span<const VecBase<D, double>> points);

/// The radius made large enough to hold every point as well, also of points whose squares overflow
/// or vanish in T.
template <int D, class T>
void GrowToHold(BoundingBall<D, T>& ball, const std::vector<VecBase<D, T>>& points);

/// Above this number of points `SmallestBallOfMany` is worth its set-up.
inline constexpr std::size_t kManyPoints = 256;

/// `SmallestBall` for large inputs, by solving for the points that turn out to be farthest: O(n)
/// with a few passes. Nothing when the points are so close together that the tolerance shows in the
/// result, aren't finite, or no end is in sight after a bounded number of passes; then the caller
/// has to solve for all of them.
template <int D, class T>
std::optional<BoundingBall<D, T>> SmallestBallOfMany(const std::vector<VecBase<D, T>>& points);

} // namespace Velk::Math::Sorvane::Bounding::Impl
