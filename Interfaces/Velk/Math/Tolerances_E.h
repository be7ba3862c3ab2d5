// The numeric floors shared by the whole library, one value for each coordinate type.
// An algorithm that needs another figure names it at the top of its own file.
#pragma once

namespace Velk::Math {

/// Length at and below which a vector has no direction and two coordinates count as equal, in the
/// caller's length unit: 1e-12 for `double`, 1e-8 for `float`.
template <class T> inline constexpr T kLengthFloor = static_cast<T>(1e-12);
template <> inline constexpr float kLengthFloor<float> = 1e-8F;

/// `kLengthFloor` squared, for comparisons of squared lengths: 1e-24 for `double`, 1e-16 for `float`.
template <class T> inline constexpr T kSquaredLengthFloor = static_cast<T>(1e-24);
template <> inline constexpr float kSquaredLengthFloor<float> = 1e-16F;

/// Magnitude of a determinant at and below which a transform is not inverted.
inline constexpr double kInversionFloor = 1e-15;

/// Factor from degrees, which callers choose angles in, to radians, which the math base works in.
inline constexpr double kRadiansPerDegree = 0.017453292519943295;

/// The circle's numbers, rounded once to each coordinate type.
template <class T> inline constexpr T kPi = static_cast<T>(3.141592653589793238462643383279502884L);
template <class T>
inline constexpr T kTwoPi = static_cast<T>(6.283185307179586476925286766559005768L);

} // namespace Velk::Math
