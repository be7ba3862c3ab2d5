// The polygon scanline of Boost.Polygon for 64-bit coordinates with 128-bit arithmetic.
//
// The one place that includes Boost.Polygon: which number type its scanline calculates with is a
// choice for the whole program, made here by two specializations. Whoever included Boost.Polygon
// without this header would compile other code under the same names. The library hides all symbols
// of Boost, so that a host that uses those templates itself meets its own.
#pragma once

#include <boost/multiprecision/cpp_int.hpp>
#include <boost/polygon/isotropy.hpp>

namespace boost::polygon {

template <>
struct high_precision_type<long long> {
    using type = multiprecision::number<
        multiprecision::cpp_int_backend<128, 128, multiprecision::signed_magnitude,
                                        multiprecision::unchecked>,
        multiprecision::et_off>;
};

template <>
inline long long
convert_high_precision_type<long long>(const high_precision_type<long long>::type& value)
{
    return static_cast<long long>(value);
}

} // namespace boost::polygon

#include <boost/polygon/polygon.hpp>
