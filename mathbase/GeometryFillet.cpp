// Fillets between two straight legs that meet in a corner.
//
// Both constructions use the half angle at the corner only through its tangent or its squared
// cosine, each taken from the form that keeps its digits for sharp and for nearly straight corners.

#include <Velk/Math/Geometry_E.h>

#include "mathbase/GeometryArc_Impl.h"
#include "mathbase/Values_Impl.h"

#include <algorithm>
#include <cmath>

namespace Velk::Math::Geometry {

namespace {

using Impl::LeftNormal;
using Math::Impl::Narrowed;
using Math::Impl::Widened;

/// Unit directions from a corner along its two legs, and the legs' lengths.
struct Corner {
    Vec2d toA;
    Vec2d toB;
    double lengthA = 0;
    double lengthB = 0;
};

template <class T>
Corner CornerOf(const VecBase<2, T>& a, const VecBase<2, T>& corner, const VecBase<2, T>& b)
{
    const Vec2d toA = Widened(a) - Widened(corner);
    const Vec2d toB = Widened(b) - Widened(corner);
    const double lengthA = Length(toA);
    const double lengthB = Length(toB);
    return {toA / lengthA, toB / lengthB, lengthA, lengthB};
}

} // namespace

template <class T>
bool FilletSequence(const VecBase<2, T>& a, const VecBase<2, T>& corner, const VecBase<2, T>& b,
                    T radius, ArcBase<T>& arc, T tolerance)
{
    const Corner legs = CornerOf(a, corner, b);
    const Vec2d origin = Widened(corner);
    arc = {};
    // Sine and cosine of the turn from the first leg's direction of travel, -toA, to the second's.
    const double sine = legs.toB ^ legs.toA;
    const double cosine = -(legs.toA * legs.toB);
    if (!(legs.lengthA > tolerance && legs.lengthB > tolerance && std::abs(sine) > tolerance &&
          radius > tolerance && radius > 0)) {
        return false;
    }
    const double halfTurnTangent =
        cosine >= 0 ? std::abs(sine) / (1 + cosine) : (1 - cosine) / std::abs(sine);
    const double setback = static_cast<double>(radius) * halfTurnTangent;
    if (!(setback <= legs.lengthA + tolerance && setback <= legs.lengthB + tolerance)) {
        return false;
    }
    const double sense = sine > 0 ? 1 : -1;
    const Vec2d start = setback * legs.toA;
    const Vec2d inward = sense * LeftNormal(-legs.toA);
    const double turn = std::atan2(std::abs(sine), cosine);
    arc.center = Narrowed<T>(origin + (start + static_cast<double>(radius) * inward));
    arc.start = Narrowed<T>(origin + start);
    arc.length = static_cast<T>(sense * turn * Length(Widened(arc.start) - Widened(arc.center)));
    return true;
}

template <class T>
bool FilletRadiusThroughPoint(const VecBase<2, T>& a, const VecBase<2, T>& corner,
                              const VecBase<2, T>& b, const VecBase<2, T>& point, T& radius)
{
    const Corner legs = CornerOf(a, corner, b);
    const Vec2d toPoint = Widened(point) - Widened(corner);
    radius = 0;
    const double sine = legs.toA ^ legs.toB;
    if (!(std::abs(sine) > Impl::kFlatness<T>)) {
        return false;
    }
    const double side = sine > 0 ? 1 : -1;
    const double distanceA = side * (legs.toA ^ toPoint);
    const double distanceB = side * (toPoint ^ legs.toB);
    if (!(distanceA > 0 && distanceB > 0)) {
        return false;
    }
    // A circle tangent to both legs has its center at radius / sin h along the bisector, h half the
    // angle between the legs. With x the point's reach along the bisector, |point - center| =
    // radius becomes a quadratic whose discriminant x^2 - cos^2 h |point|^2 is just the product of
    // the point's distances from the legs; their sum is 2 x sin h.
    const double cosine = legs.toA * legs.toB;
    const double squaredSine = cosine > 0 ? sine * sine / (2 * (1 + cosine)) : (1 - cosine) / 2;
    const double squaredCosine = cosine < 0 ? sine * sine / (2 * (1 - cosine)) : (1 + cosine) / 2;
    const double root = std::sqrt(squaredSine) * (std::sqrt(distanceA) * std::sqrt(distanceB));
    const auto found = static_cast<T>(((distanceA + distanceB) / 2 + root) / squaredCosine);
    if (!std::isfinite(found)) {
        return false;
    }
    radius = found;
    return true;
}

#define SORVANE_INSTANTIATE(T)                                                                     \
    template bool FilletSequence(const VecBase<2, T>&, const VecBase<2, T>&, const VecBase<2, T>&, \
                                 T, ArcBase<T>&, T);                                               \
    template bool FilletRadiusThroughPoint(const VecBase<2, T>&, const VecBase<2, T>&,             \
                                           const VecBase<2, T>&, const VecBase<2, T>&, T&);
SORVANE_INSTANTIATE(float)
SORVANE_INSTANTIATE(double)
#undef SORVANE_INSTANTIATE

} // namespace Velk::Math::Geometry
