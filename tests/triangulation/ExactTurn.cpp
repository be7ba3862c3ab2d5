// Compiled once: numbers of eight hundred bits take long to compile, and long to reckon with where
// nothing is optimized (tests/CMakeLists.txt).

#include "tests/triangulation/ExactTurn.h"

#include <boost/multiprecision/cpp_bin_float.hpp>

#include <cmath>

namespace Support {

int ExactTurn(const Velk::Math::Vec2d& a, const Velk::Math::Vec2d& b, const Velk::Math::Vec2d& c)
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
