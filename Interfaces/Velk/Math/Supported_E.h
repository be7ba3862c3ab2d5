// Which coordinate types and dimensions the compiled templates take.
//
// The body of most function templates is compiled into the library for these types and no others. A
// call with another type would find the declaration and fail at link; therefore each header deletes
// the other forms, and the compiler names the function and the type at the line of the call. The
// templates themselves carry no constraint: newer compilers make constraints part of a symbol's
// name, and a host may be compiled by a newer one than the library.
#pragma once

#include <concepts>

namespace Velk::Math {

/// A coordinate type that operations on real numbers are compiled for: `float` or `double`.
template <class T>
concept SupportedReal = std::same_as<T, float> || std::same_as<T, double>;

/// A dimension and a coordinate type that operations on meshes are compiled for: 2 or 3, and `float`
/// or `double`.
template <int D, class T>
concept SupportedPoint = (D == 2 || D == 3) && SupportedReal<T>;

} // namespace Velk::Math
