// Measures of a triangle from its edge lengths, for those who have the lengths already.
//
// After W. Kahan, "Miscalculating Area and Angles of a Needle-like Triangle", 2014: lengths are
// sorted first, and the parentheses stand so that every difference is taken between lengths close
// in size, where it is exact. They are not to be moved.
#pragma once

#include <utility>

namespace Velk::Math::Sorvane::Mesh::Impl {

/// Three lengths with a >= b >= c.
template <class T>
struct DescendingLengths {
    T a;
    T b;
    T c;
};

template <class T>
DescendingLengths<T> Descending(T a, T b, T c)
{
    if (a < b) {
        std::swap(a, b);
    }
    if (b < c) {
        std::swap(b, c);
    }
    if (a < b) {
        std::swap(a, b);
    }
    return {a, b, c};
}

/// `Mesh::AspectRatio` of the triangle with these edge lengths; finite lengths give the same bits
/// in any order.
template <class T>
T AspectRatioOfLengths(T first, T second, T third)
{
    const auto [a, b, c] = Descending(first, second, third);
    const T product = (b - c + a) * (a - b + c) * (c - (a - b));
    return product > 0 ? product / (a * b * c) : T{0};
}

} // namespace Velk::Math::Sorvane::Mesh::Impl
