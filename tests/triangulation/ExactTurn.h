// The exact turn of three points in the plane, for checks of triangulations: by long double where
// that is clear, otherwise in numbers wide enough to hold the result.
#pragma once

#include <Velk/Math/VecBase_E.h>

#include <boost/multiprecision/cpp_bin_float.hpp>

#include <cmath>

namespace Support {

/// 1 when a, b, c run counter-clockwise, -1 when they run clockwise, 0 when they are on one line.
/// Exact for coordinates whose binary exponents differ by less than 300.
inline int ExactTurn(const Velk::Math::Vec2d& a, const Velk::Math::Vec2d& b,
                     const Velk::Math::Vec2d& c)
{
    const auto forth =
        (static_cast<long double>(a.x()) - c.x()) * (static_cast<long double>(b.y()) - c.y());
    const auto back =
        (static_cast<long double>(a.y()) - c.y()) * (static_cast<long double>(b.x()) - c.x());
    // Three roundings of half a unit in the last of 64 bits each.
    if (std::fabs(forth - back) > 1e-18L * (std::fabs(forth) + std::fabs(back))) {
        return forth > back ? 1 : -1;
    }
    using Wide = boost::multiprecision::number<
        boost::multiprecision::cpp_bin_float<800, boost::multiprecision::digit_base_2>,
        boost::multiprecision::et_off>;
    const Wide left = (Wide(a.x()) - Wide(c.x())) * (Wide(b.y()) - Wide(c.y()));
    const Wide right = (Wide(a.y()) - Wide(c.y())) * (Wide(b.x()) - Wide(c.x()));
    return left > right ? 1 : (left < right ? -1 : 0);
}

} // namespace Support
