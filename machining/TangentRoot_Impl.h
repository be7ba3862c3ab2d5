// The radius at which an arc of a tool touches a hyperbola: a root of a quartic between two bounds.
//
// Bracketed the whole way, by inverse quadratic steps through three points where their values
// differ, by secants and halves otherwise (after R. P. Brent, "Algorithms for Minimization without
// Derivatives", 1973). There are closed forms for a quartic, which lose their digits where two
// roots come close; that is the rule here, since the equation stems from squaring a sum.
#pragma once

#include <array>
#include <optional>

namespace Velk::Math::Sorvane::Mill::Impl {

/// Coefficients of 1, r, r^2, r^3 and r^4.
using Quartic = std::array<double, 5>;

inline double ValueAt(const Quartic& c, double r)
{
    return (((c[4] * r + c[3]) * r + c[2]) * r + c[1]) * r + c[0];
}

/// A root of the quartic in [low, high]; none when the values at both ends have the same sign, or
/// after 200 rounds that did not narrow it down to `tolerance`: as a share of r, or a value as a
/// share of the sum of the magnitudes of its terms.
std::optional<double> RootBetween(const Quartic& quartic, double low, double high,
                                  double tolerance);

} // namespace Velk::Math::Sorvane::Mill::Impl
