// Area, shape quality, angles and the flip criterion from edge lengths.
//
// After W. Kahan, "Miscalculating Area and Angles of a Needle-like Triangle", 2014: the parentheses
// stand so that every difference is taken between lengths close in size, where it is exact. They
// are not to be moved.

#include <Sorvane/Triangle_E.h>

#include "foundation/TriangleMeasures_Impl.h"

#include <cmath>

namespace Velk::Math::Sorvane::Mesh {
template <class T>
T IntrinsicArea(T first, T second, T third)
{
    const auto [a, b, c] = Impl::Descending(first, second, third);
    const T product = (a + (b + c)) * (c - (a - b)) * (c + (a - b)) * (a + (b - c));
    return product > 0 ? std::sqrt(product) / 4 : T{0};
}

template <int D, class T>
T AspectRatio(const VecBase<D, T>& p0, const VecBase<D, T>& p1, const VecBase<D, T>& p2)
{
    return Impl::AspectRatioOfLengths(Length(p1 - p0), Length(p2 - p1), Length(p0 - p2));
}

template <class T>
T OppositeEdgeAngle(T x, T c, T y)
{
    // Written so that a NaN among the sides reaches the comparisons, which it fails.
    const T a = x > y ? x : y;
    const T b = x > y ? y : x;
    const bool shortOpposite = b >= c && c >= 0;
    if (!shortOpposite && !(c > b && b >= 0)) {
        return 0;
    }
    const T excess = shortOpposite ? c - (a - b) : b - (a - c);
    const T clamped = excess > 0 ? excess : T{0};
    const T denominator = (a + b + c) * ((a - c) + b);
    if (denominator > 0) {
        const T squaredTangent = clamped / denominator * ((a - b) + c);
        // Not a number where an infinite side meets a finite one: c is then too short.
        return squaredTangent > 0 ? 2 * std::atan(std::sqrt(squaredTangent)) : T{0};
    }
    return (a - b) + c > 0 ? kPi<T> : T{0};
}

template <int D, class T>
T OppositeEdgeAngle(const VecBase<D, T>& p0, const VecBase<D, T>& p1, const VecBase<D, T>& p2)
{
    return OppositeEdgeAngle(Length(p1 - p0), Length(p2 - p1), Length(p0 - p2));
}

template <class T>
T OppositeEdgeLength(T a, T b, T angle)
{
    const T sine = std::sin(angle / 2);
    return std::sqrt(4 * a * b * (sine * sine) + (a - b) * (a - b));
}

template <class T>
bool LocallyDelaunayEdge(T edge, T a1, T b1, T a2, T b2, T slack)
{
    return OppositeEdgeAngle(b1, edge, a1) + OppositeEdgeAngle(a2, edge, b2) < slack + kPi<T>;
}

// clang-format off
#define SORVANE_INSTANTIATE(T) \
    template T IntrinsicArea(T, T, T); \
    template T OppositeEdgeAngle(T, T, T); \
    template T OppositeEdgeLength(T, T, T); \
    template bool LocallyDelaunayEdge(T, T, T, T, T, T);
SORVANE_INSTANTIATE(float)
SORVANE_INSTANTIATE(double)
#undef SORVANE_INSTANTIATE
#define SORVANE_INSTANTIATE(D, T) \
    template T AspectRatio(const VecBase<D, T>&, const VecBase<D, T>&, const VecBase<D, T>&); \
    template T OppositeEdgeAngle(const VecBase<D, T>&, const VecBase<D, T>&, const VecBase<D, T>&);
SORVANE_INSTANTIATE(2, float)
SORVANE_INSTANTIATE(2, double)
SORVANE_INSTANTIATE(3, float)
SORVANE_INSTANTIATE(3, double)
#undef SORVANE_INSTANTIATE
// clang-format on

} // namespace Velk::Math::Sorvane::Mesh
