// Angles, polar forms, measures and barycentric weights of vectors.
//
// Angles come from atan2 of a cross and a dot product. The `float` forms compute in `double`, where
// products of their components are exact, and round once.

#include <Velk/Math/Vector_E.h>

#include "mathbase/Direction_Impl.h"
#include "mathbase/ErrorFree_Impl.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace Velk::Math::Vector {
namespace {

using Math::Impl::IsFinite;
using Math::Impl::SafelyScaled;
using Math::Impl::Widened;

double SquaredMagnitude(double cross) { return cross * cross; }

double SquaredMagnitude(const VecBase<3, double>& cross) { return SquaredLength(cross); }

double Magnitude(double cross) { return std::fabs(cross); }

double Magnitude(const VecBase<3, double>& cross) { return Length(cross); }

/// Polar angle in [0, 2 pi), 2 pi as T has it; 0 for the zero vector and for NaN.
template <class T>
T PolarAngle(double x, double y)
{
    // + 0: on the axes a negative zero would count as the other side of the cut, and (0, -0) as pi.
    double angle = std::atan2(y + 0.0, x + 0.0);
    if (angle < 0.0) {
        angle += kTwoPi<double>;
    }
    // A direction just below the positive x axis rounds to the full turn: 0 is the nearest angle
    // there.
    const T rounded = static_cast<T>(angle);
    return rounded < kTwoPi<T> ? rounded : T{0};
}

VecBase<3, double> SphericalOf(const VecBase<3, double>& point)
{
    const double distanceFromAxis = std::hypot(point.x(), point.y());
    return {std::hypot(distanceFromAxis, point.z()),
            std::atan2(distanceFromAxis, point.z() + 0.0), // + 0: see PolarAngle
            PolarAngle<double>(point.x(), point.y())};
}

} // namespace

// --- angles -------------------------------------------------------------------------------------

template <class T>
T Cross(const VecBase<2, T>& a, const VecBase<2, T>& b)
{
    return a ^ b;
}

template <int N, class T>
T AngleBetween(const VecBase<N, T>& a, const VecBase<N, T>& b, T /*tolerance*/)
{
    if (!IsFinite(a) || !IsFinite(b)) {
        return std::numeric_limits<T>::quiet_NaN();
    }
    const auto p = SafelyScaled(Widened(a));
    const auto q = SafelyScaled(Widened(b));
    double sine = 0.0;
    if constexpr (N == 2) {
        sine = (p ^ q) + 0.0; // a half turn is +pi: -0 would make it -pi
    } else {
        sine = Length(p ^ q);
    }
    return static_cast<T>(std::atan2(sine, p * q));
}

template <int N, class T>
T Cotangent(const VecBase<N, T>& a, const VecBase<N, T>& b, T tolerance)
{
    const VecBase<N, double> p(a);
    const VecBase<N, double> q(b);
    const double sine = Magnitude(p ^ q);
    return sine > static_cast<double>(tolerance) ? static_cast<T>(p * q / sine) : T{0};
}

template <class T>
T AngleSweep(const VecBase<2, T>& direction, T tolerance)
{
    const double x = static_cast<double>(direction.x());
    const double y = static_cast<double>(direction.y());
    return std::hypot(x, y) > static_cast<double>(tolerance) ? PolarAngle<T>(x, y) : T{0};
}

template <class T>
VecBase<2, T> CartesianToPolar(const VecBase<2, T>& v)
{
    return {std::hypot(v.x(), v.y()),
            PolarAngle<T>(static_cast<double>(v.x()), static_cast<double>(v.y()))};
}

template <class T>
VecBase<2, T> PolarToCartesian(const VecBase<2, T>& polar)
{
    return {polar[0] * std::cos(polar[1]), polar[0] * std::sin(polar[1])};
}

std::vector<VecBase<3, double>> CartesianToSpherical(const std::vector<VecBase<3, double>>& points)
{
    std::vector<VecBase<3, double>> spherical(points.size());
    std::transform(points.begin(), points.end(), spherical.begin(), SphericalOf);
    return spherical;
}

template <class T>
VecBase<3, T> SphericalToCartesian(const VecBase<3, T>& spherical)
{
    const T distanceFromAxis = spherical[0] * std::sin(spherical[1]);
    return {distanceFromAxis * std::cos(spherical[2]), distanceFromAxis * std::sin(spherical[2]),
            spherical[0] * std::cos(spherical[1])};
}

std::vector<VecBase<3, double>>
SphericalToCartesian(const std::vector<VecBase<3, double>>& spherical)
{
    std::vector<VecBase<3, double>> points(spherical.size());
    std::transform(spherical.begin(), spherical.end(), points.begin(),
                   [](const VecBase<3, double>& s) { return SphericalToCartesian(s); });
    return points;
}

template <class T>
VecBase<2, T> Reflect(const VecBase<2, T>& v, const VecBase<2, T>& axis)
{
    const auto normal = SafelyScaled(Widened(axis));
    const double squaredLength = SquaredLength(normal);
    if (!(squaredLength > 0.0)) {
        return v;
    }
    const VecBase<2, double> direction(v);
    return VecBase<2, T>(direction - normal * (2.0 * (direction * normal) / squaredLength));
}

// --- measures -----------------------------------------------------------------------------------

template <class T>
T Length(const std::vector<VecBase<2, T>>& polyline)
{
    Math::Impl::CompensatedSum length;
    for (std::size_t i = 1; i < polyline.size(); ++i) {
        length.Add(Length(Widened(polyline[i]) - Widened(polyline[i - 1])));
    }
    return static_cast<T>(length.Value());
}

template <class T>
T SignedArea(const std::vector<VecBase<2, T>>& loop)
{
    if (loop.size() < 3) {
        return T{0};
    }
    // Each edge spans a triangle with the first point. Seen from there the edges at the first point
    // span nothing, the closing one included, whether or not it is in the list. Taking the edge
    // itself (not its far end) as the second factor keeps the products, and so their rounding,
    // small.
    const VecBase<2, double> first(loop.front());
    Math::Impl::CompensatedSum doubledArea;
    for (std::size_t i = 1; i + 1 < loop.size(); ++i) {
        const VecBase<2, double> from(loop[i]);
        doubledArea.Add((from - first) ^ (Widened(loop[i + 1]) - from));
    }
    return static_cast<T>(0.5 * doubledArea.Value());
}

template <int N, class T>
bool BarycentricCoordinates(const VecBase<N, T>& a, const VecBase<N, T>& b, const VecBase<N, T>& c,
                            const VecBase<N, T>& p, T& u, T& v, T& w, T tolerance)
{
    const VecBase<N, double> origin(a);
    const VecBase<N, double> ab = Widened(b) - origin;
    const VecBase<N, double> ac = Widened(c) - origin;
    const VecBase<N, double> bc = Widened(c) - Widened(b);
    const VecBase<N, double> ap = Widened(p) - origin;

    const auto normal = ab ^ ac;
    const double squaredNormal = SquaredMagnitude(normal);
    const double squaredLongest =
        std::max({SquaredLength(ab), SquaredLength(ac), SquaredLength(bc)});
    if (!(Magnitude(normal) > static_cast<double>(tolerance) * squaredLongest) ||
        !(squaredNormal > 0.0 && squaredNormal <= std::numeric_limits<double>::max())) {
        u = v = w = T{0};
        return false;
    }
    // Areas opposite b and c over the whole, as seen along the normal. Cross products, not the
    // products of a Gram matrix: those square the condition of a needle. At a corner the weights
    // are exact.
    const double vWeight = (ap ^ ac) * normal / squaredNormal;
    const double wWeight = (ab ^ ap) * normal / squaredNormal;
    u = static_cast<T>(1.0 - vWeight - wWeight);
    v = static_cast<T>(vWeight);
    w = static_cast<T>(wWeight);
    return true;
}

// clang-format off
template float  operator^(const VecBase<2, float>&,  const VecBase<2, float>&);
template double operator^(const VecBase<2, double>&, const VecBase<2, double>&);
template VecBase<3, float>  operator^(const VecBase<3, float>&,  const VecBase<3, float>&);
template VecBase<3, double> operator^(const VecBase<3, double>&, const VecBase<3, double>&);

#define SORVANE_INSTANTIATE_DIMENSION(N, T)                                                        \
    template T AngleBetween(const VecBase<N, T>&, const VecBase<N, T>&, T);                        \
    template T Cotangent(const VecBase<N, T>&, const VecBase<N, T>&, T);
SORVANE_INSTANTIATE_DIMENSION(2, float)
SORVANE_INSTANTIATE_DIMENSION(2, double)
SORVANE_INSTANTIATE_DIMENSION(3, float)
SORVANE_INSTANTIATE_DIMENSION(3, double)
#undef SORVANE_INSTANTIATE_DIMENSION

#define SORVANE_INSTANTIATE(T)                                                                     \
    template T Cross(const VecBase<2, T>&, const VecBase<2, T>&);                                  \
    template T AngleSweep(const VecBase<2, T>&, T);                                                \
    template VecBase<2, T> CartesianToPolar(const VecBase<2, T>&);                                 \
    template VecBase<2, T> PolarToCartesian(const VecBase<2, T>&);                                 \
    template VecBase<3, T> SphericalToCartesian(const VecBase<3, T>&);                             \
    template VecBase<2, T> Reflect(const VecBase<2, T>&, const VecBase<2, T>&);                    \
    template T Length(const std::vector<VecBase<2, T>>&);                                          \
    template T SignedArea(const std::vector<VecBase<2, T>>&);
SORVANE_INSTANTIATE(float)
SORVANE_INSTANTIATE(double)
#undef SORVANE_INSTANTIATE

#define SORVANE_INSTANTIATE_WEIGHTS(N, T)                                                          \
    template bool BarycentricCoordinates(const VecBase<N, T>&, const VecBase<N, T>&,               \
                                         const VecBase<N, T>&, const VecBase<N, T>&, T&, T&, T&, T);
SORVANE_INSTANTIATE_WEIGHTS(2, double)
SORVANE_INSTANTIATE_WEIGHTS(3, float)
SORVANE_INSTANTIATE_WEIGHTS(3, double)
#undef SORVANE_INSTANTIATE_WEIGHTS
// clang-format on

} // namespace Velk::Math::Vector
