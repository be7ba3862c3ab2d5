// Affine maps: applying them to points, and building them from their geometry.

#include <Velk/Math/Transform_E.h>

#include "mathbase/Direction_Impl.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace Velk::Math::Transform {
namespace {

using Impl::UnitDirection;

template <int N>
VecBase<N, double> MapPoint(const TransformBase<N>& transform, const VecBase<N, double>& point)
{
    VecBase<N, double> mapped;
    for (int r = 0; r < N; ++r) {
        double sum = transform(r, 0) * point[0];
        for (int c = 1; c < N; ++c) {
            sum += transform(r, c) * point[c];
        }
        mapped[r] = sum + transform(r, N);
    }
    return mapped;
}

template <int N>
TransformBase<N> FromLinearPart(const MatBase<N, N, double>& linear,
                                const VecBase<N, double>& translation)
{
    TransformBase<N> transform;
    for (int r = 0; r < N; ++r) {
        for (int c = 0; c < N; ++c) {
            transform(r, c) = linear(r, c);
        }
        transform(r, N) = translation[r];
    }
    return transform;
}

template <int N>
MatBase<N, N, double> Scaled(MatBase<N, N, double> matrix, double factor)
{
    for (double& value : matrix.value) {
        value *= factor;
    }
    return matrix;
}

} // namespace

// --- maps of points -----------------------------------------------------------------------------

template <int N, class T>
VecBase<N, T> operator*(const TransformBase<N>& transform, const VecBase<N, T>& point)
{
    return VecBase<N, T>(MapPoint(transform, VecBase<N, double>(point)));
}

std::vector<VecBase<3, double>> operator*(const TransformBase<3>& transform,
                                          const std::vector<VecBase<3, double>>& points)
{
    // A copy of its own, which the writes to the result can't reach: it stays in registers.
    const TransformBase<3> map = transform;
    std::vector<VecBase<3, double>> mapped(points.size());
    std::transform(points.begin(), points.end(), mapped.begin(),
                   [&map](const VecBase<3, double>& point) { return MapPoint(map, point); });
    return mapped;
}

template <int N, class T>
VecBase<N, T>& operator*=(VecBase<N, T>& point, const TransformBase<N>& transform)
{
    point = transform * point;
    return point;
}

// --- builders -----------------------------------------------------------------------------------

TransformBase<3> BuildTranslationTransform(const VecBase<3, double>& offset)
{
    return FromLinearPart(Matrix::Identity<3, double>(), offset);
}

TransformBase<2> BuildTranslationTransform2D(const VecBase<2, double>& offset)
{
    return FromLinearPart(Matrix::Identity<2, double>(), offset);
}

TransformBase<3> BuildRotationTransform(const MatBase<3, 3, double>& rotation)
{
    return FromLinearPart(rotation, {});
}

TransformBase<2> BuildRotationFromAngle(double radians)
{
    const double cosine = std::cos(radians);
    const double sine = std::sin(radians);
    return FromLinearPart<2>({{cosine, -sine}, {sine, cosine}}, {});
}

TransformBase<3> BuildRotationFromAxisAngle(const VecBase<3, double>& axis, double radians)
{
    const VecBase<3, double> k = UnitDirection(axis);
    if (!(Vector::Length(axis) > kLengthFloor<double>) || k == VecBase<3, double>{}) {
        return {};
    }
    // Rodrigues: I + sin [k] + (1 - cos) (k k' - I). The half angle keeps the digits of 1 - cos. On
    // the diagonal k_i k_i - 1 is taken as minus the other two squares, so that a rotation about a
    // coordinate axis leaves that coordinate as it is, to the bit.
    const double halfSine = std::sin(0.5 * radians);
    const double versine = 2.0 * halfSine * halfSine;
    const VecBase<3, double> s = k * std::sin(radians);
    const double xx = k.x() * k.x();
    const double yy = k.y() * k.y();
    const double zz = k.z() * k.z();
    const double xy = versine * k.x() * k.y();
    const double yz = versine * k.y() * k.z();
    const double zx = versine * k.z() * k.x();
    const MatBase<3, 3, double> rotation{{1.0 - versine * (yy + zz), xy - s.z(), zx + s.y()},
                                         {xy + s.z(), 1.0 - versine * (zz + xx), yz - s.x()},
                                         {zx - s.y(), yz + s.x(), 1.0 - versine * (xx + yy)}};
    return FromLinearPart(rotation, {});
}

TransformBase<3> BuildScaleTransform(double factor)
{
    return FromLinearPart(Scaled(Matrix::Identity<3, double>(), factor), {});
}

TransformBase<3> BuildTransform(const MatBase<3, 3, double>& matrix,
                                const VecBase<3, double>& translation, double scale)
{
    return FromLinearPart(Scaled(matrix, scale), translation);
}

TransformBase<2> BuildTransform2D(const MatBase<2, 2, double>& matrix,
                                  const VecBase<2, double>& translation, double scale)
{
    return FromLinearPart(Scaled(matrix, scale), translation);
}

TransformBase<3> BuildTransformAxisOrigin(const VecBase<3, double>& axis,
                                          const VecBase<3, double>& origin)
{
    return FromLinearPart(Matrix::RotationFromZ(axis), origin);
}

TransformBase<3> BuildTransformThreePoints(const VecBase<3, double>& p0,
                                           const VecBase<3, double>& p1,
                                           const VecBase<3, double>& p2)
{
    /// Sine of the angle at p0 at and below which it is no more than the rounding of its
    /// computation.
    constexpr double kCollinearSine = 4.0 * std::numeric_limits<double>::epsilon();

    const VecBase<3, double> x = UnitDirection(p1 - p0);
    const VecBase<3, double> normal = x ^ UnitDirection(p2 - p0);
    if (!(Vector::Length(normal) > kCollinearSine)) {
        return FromLinearPart({}, p0);
    }
    // Of nearly collinear points the normal is known to a few digits only, and so is its right
    // angle with X. Z is made anew from X and Y, so that the frame is orthonormal whatever the
    // points.
    const VecBase<3, double> y = UnitDirection(normal ^ x);
    const VecBase<3, double> z = x ^ y;
    return FromLinearPart(Matrix::Transposed(MatBase<3, 3, double>{x, y, z}), p0);
}

TransformBase<3> BuildRelativeTransform(const TransformBase<3>& a, const TransformBase<3>& b)
{
    MatBase<4, 4, double> inverse = a.matrix;
    if (!Matrix::Invert(inverse, kInversionFloor)) {
        return {};
    }
    return b * TransformBase<3>(inverse);
}

TransformBase<2> BuildMirrorAboutLine(const VecBase<2, double>& point,
                                      const VecBase<2, double>& direction)
{
    if (!(Vector::Length(direction) > kLengthFloor<double>) || !Impl::IsFinite(direction)) {
        return {};
    }
    // p - 2 ((p - point) * normal) normal / (normal * normal)
    const VecBase<2, double> normal = Vector::RightNormal(Impl::SafelyScaled(direction));
    const double squaredLength = Vector::SquaredLength(normal);
    MatBase<2, 2, double> mirror = Matrix::Identity<2, double>();
    for (int r = 0; r < 2; ++r) {
        for (int c = 0; c < 2; ++c) {
            mirror(r, c) -= 2.0 * normal[r] * normal[c] / squaredLength;
        }
    }
    return FromLinearPart(mirror, normal * (2.0 * (point * normal) / squaredLength));
}

TransformBase<3> InflateDimension(const TransformBase<2>& transform)
{
    // Rows and columns 0, 1 and 2 (the homogeneous one) of the plane become 0, 1 and 3 of space.
    constexpr int kPlace[] = {0, 1, 3};
    TransformBase<3> inflated;
    for (int r = 0; r < 3; ++r) {
        for (int c = 0; c < 3; ++c) {
            inflated(kPlace[r], kPlace[c]) = transform(r, c);
        }
    }
    return inflated;
}

// clang-format off
template VecBase<2, float>  operator*(const TransformBase<2>&, const VecBase<2, float>&);
template VecBase<2, double> operator*(const TransformBase<2>&, const VecBase<2, double>&);
template VecBase<3, float>  operator*(const TransformBase<3>&, const VecBase<3, float>&);
template VecBase<3, double> operator*(const TransformBase<3>&, const VecBase<3, double>&);
template VecBase<2, float>&  operator*=(VecBase<2, float>&,  const TransformBase<2>&);
template VecBase<2, double>& operator*=(VecBase<2, double>&, const TransformBase<2>&);
template VecBase<3, float>&  operator*=(VecBase<3, float>&,  const TransformBase<3>&);
template VecBase<3, double>& operator*=(VecBase<3, double>&, const TransformBase<3>&);
// clang-format on

} // namespace Velk::Math::Transform
