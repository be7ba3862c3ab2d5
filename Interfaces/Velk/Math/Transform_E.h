// TransformBase: homogeneous affine maps of the plane and of space, and the ways to build them.
#pragma once

#include <Velk/Math/Matrix_E.h>

#include <vector>

namespace Velk::Math::Transform {

/// One homogeneous (N+1) x (N+1) matrix of `double` and nothing else; the identity by default. N is 2
/// or 3. The same matrix maps `float` and `double` points.
template <int N> struct SORVANE_API TransformBase {
    /// Linear part in the upper left, translation in the last column.
    MatBase<N + 1, N + 1, double> matrix = Matrix::Identity<N + 1, double>();

    constexpr TransformBase() = default;
    /// From and to the bare matrix, which is taken as it is.
    explicit constexpr TransformBase(const MatBase<N + 1, N + 1, double>& m) : matrix(m) {}
    explicit constexpr operator const MatBase<N + 1, N + 1, double>&() const { return matrix; }

    /// The value in row `r` and column `c`.
    constexpr double& operator()(int r, int c) { return matrix(r, c); }
    constexpr const double& operator()(int r, int c) const { return matrix(r, c); }

    /// Composition by matrix product: `a * b` applies b first.
    friend constexpr TransformBase operator*(const TransformBase& a, const TransformBase& b)
    {
        return TransformBase(a.matrix * b.matrix);
    }

    friend constexpr bool operator==(const TransformBase& a, const TransformBase& b) = default;
};

/// Affine map of a point: linear part, then translation, both in `double`; the last row of the matrix
/// is not looked at. A `float` point gives a `float` point, rounded once.
template <int N, class T> VecBase<N, T> operator*(const TransformBase<N>& transform, const VecBase<N, T>& point);

/// Affine map of every point, in order. Sequential.
SORVANE_API std::vector<VecBase<3, double>> operator*(const TransformBase<3>& transform,
                                                      const std::vector<VecBase<3, double>>& points);

/// In place `transform * point`: the transform stands on the right and is still applied from the left.
template <int N, class T> VecBase<N, T>& operator*=(VecBase<N, T>& point, const TransformBase<N>& transform);

/// Translation by `offset`, in space and in the plane.
SORVANE_API TransformBase<3> BuildTranslationTransform(const VecBase<3, double>& offset);
SORVANE_API TransformBase<2> BuildTranslationTransform2D(const VecBase<2, double>& offset);

/// `rotation` as the linear part, no translation. The matrix is taken as it is.
SORVANE_API TransformBase<3> BuildRotationTransform(const MatBase<3, 3, double>& rotation);

/// Rotation about the origin of the plane, counter-clockwise for a positive angle.
SORVANE_API TransformBase<2> BuildRotationFromAngle(double radians);

/// Right-handed rotation about the line through the origin along `axis`, which may have any length.
/// An axis of length at most 1e-12, or not finite, gives the identity. Rodrigues' formula.
SORVANE_API TransformBase<3> BuildRotationFromAxisAngle(const VecBase<3, double>& axis, double radians);

/// Uniform scale about the origin.
SORVANE_API TransformBase<3> BuildScaleTransform(double factor);

/// Linear part `matrix` times `scale`, then the translation, which is not scaled.
SORVANE_API TransformBase<3> BuildTransform(const MatBase<3, 3, double>& matrix,
                                            const VecBase<3, double>& translation, double scale);
SORVANE_API TransformBase<2> BuildTransform2D(const MatBase<2, 2, double>& matrix,
                                              const VecBase<2, double>& translation, double scale);

/// Local to world: local +Z becomes the direction of `axis` (by `Matrix::RotationFromZ`, so any length
/// and any direction give a proper rotation) and the local origin becomes `origin`. Its inverse takes
/// the world into the plane through `origin` with that normal.
SORVANE_API TransformBase<3> BuildTransformAxisOrigin(const VecBase<3, double>& axis,
                                                      const VecBase<3, double>& origin);

/// Local to world: origin at `p0`, +X toward `p1`, and `p2` in the XY plane on the side of +Y.
///
/// Coincident or collinear points leave no plane; then the linear part is the zero matrix, so that
/// inverting it fails and no caller takes a made-up frame for a real one. Collinear means that the sine
/// of the angle at `p0` is at most 4 epsilon, the rounding of its computation; every other frame is
/// orthonormal, however thin the triangle.
SORVANE_API TransformBase<3> BuildTransformThreePoints(const VecBase<3, double>& p0,
                                                       const VecBase<3, double>& p1,
                                                       const VecBase<3, double>& p2);

/// The transform R that leads from frame `a` to frame `b`: R * a == b up to rounding, R = b inverse(a).
/// The identity when `a` can't be inverted.
SORVANE_API TransformBase<3> BuildRelativeTransform(const TransformBase<3>& a,
                                                    const TransformBase<3>& b);

/// Mirror in the line through `point` along `direction`, which may have any length. A direction of
/// length at most 1e-12, or not finite, has no line and gives the identity.
SORVANE_API TransformBase<2> BuildMirrorAboutLine(const VecBase<2, double>& point,
                                                  const VecBase<2, double>& direction);

/// The same map in XY with Z left alone.
SORVANE_API TransformBase<3> InflateDimension(const TransformBase<2>& transform);

/// Plane of an ordered loop of points in space, closed or with its closing edge implied.
///
/// `origin` is the mean of the points (a repeated closing point is counted once), `normal` the unit
/// normal to whose side the loop runs counter-clockwise, from the loop's vector area (M. E. Newell;
/// see I. Sutherland et al., 1974), taken about the first point so that a loop far from the origin
/// loses no digits. Fewer than 3 points, a vanishing area (no more than a few roundings of the coordinates can
/// make of a loop on a line) or one that is not finite: `normal` is zero. No points: both are zero.
template <class T>
void PlaneOfPolygon(const std::vector<VecBase<3, T>>& loop, VecBase<3, T>& origin, VecBase<3, T>& normal);

/// Best plane through a cloud in the sense of least squared distances.
///
/// `origin` is the mean of the points, `normal` the unit eigenvector of the scatter matrix of least
/// eigenvalue, the first of its largest components positive (components within 1e-6 of the largest are
/// as large) so that the answer does not depend on the order of the points. Fewer than 3 points,
/// coincident or collinear points (up to a few roundings of their coordinates), or points that are not
/// finite determine no plane: `normal` is zero. Computed in `double`, the width of the cloud apart from
/// its length, so that narrow strips have good normals too; O(n).
template <class T>
void PlaneOfPoints(const std::vector<VecBase<3, T>>& points, VecBase<3, T>& origin, VecBase<3, T>& normal);

// clang-format off
extern template SORVANE_API VecBase<2, float>  operator*(const TransformBase<2>&, const VecBase<2, float>&);
extern template SORVANE_API VecBase<2, double> operator*(const TransformBase<2>&, const VecBase<2, double>&);
extern template SORVANE_API VecBase<3, float>  operator*(const TransformBase<3>&, const VecBase<3, float>&);
extern template SORVANE_API VecBase<3, double> operator*(const TransformBase<3>&, const VecBase<3, double>&);
extern template SORVANE_API VecBase<2, float>&  operator*=(VecBase<2, float>&,  const TransformBase<2>&);
extern template SORVANE_API VecBase<2, double>& operator*=(VecBase<2, double>&, const TransformBase<2>&);
extern template SORVANE_API VecBase<3, float>&  operator*=(VecBase<3, float>&,  const TransformBase<3>&);
extern template SORVANE_API VecBase<3, double>& operator*=(VecBase<3, double>&, const TransformBase<3>&);
extern template SORVANE_API void PlaneOfPolygon(const std::vector<VecBase<3, float>>&,  VecBase<3, float>&,  VecBase<3, float>&);
extern template SORVANE_API void PlaneOfPolygon(const std::vector<VecBase<3, double>>&, VecBase<3, double>&, VecBase<3, double>&);
extern template SORVANE_API void PlaneOfPoints(const std::vector<VecBase<3, float>>&,  VecBase<3, float>&,  VecBase<3, float>&);
extern template SORVANE_API void PlaneOfPoints(const std::vector<VecBase<3, double>>&, VecBase<3, double>&, VecBase<3, double>&);
// clang-format on

} // namespace Velk::Math::Transform

namespace Velk::Math {
using Transform::TransformBase;
} // namespace Velk::Math
