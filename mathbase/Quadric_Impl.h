// Symmetric 3 x 3 matrices: pseudo-inverses and least-squares solutions, without allocation. The
// kernels behind quadric error functions.
//
// By eigenvalues (`SymmetricEigen_Impl.h`), which lose no digits however they lie. Where the rank
// alone is asked for and no singular value lies near the limit, the characteristic polynomial tells
// it at a tenth of the cost: Newton's method brackets its greatest root, and the signs of its
// derivatives at the limit count the roots beyond (F. Budan, 1807; exact since all roots are real).
#pragma once

#include "mathbase/SymmetricEigen_Impl.h"

#include <Velk/Math/Matrix_E.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>

namespace Velk::Math::Impl {

/// The upper triangle of a symmetric matrix.
struct Symmetric3 {
    double xx = 0, xy = 0, xz = 0, yy = 0, yz = 0, zz = 0;

    Vec3d operator*(const Vec3d& v) const
    {
        return {xx * v[0] + xy * v[1] + xz * v[2], xy * v[0] + yy * v[1] + yz * v[2],
                xz * v[0] + yz * v[1] + zz * v[2]};
    }
};

inline Symmetric3 UpperTriangle(const MatBase<3, 3, double>& m)
{
    return {m.value[0], m.value[1], m.value[2], m.value[4], m.value[5], m.value[8]};
}

/// What counts as the greatest singular value where it is smaller, so that a zero matrix divides.
inline constexpr double kSingularFloor = 1e-24;

inline Eigen3 EigenOf(const Symmetric3& m)
{
    return EigenOf(Matrix3{{{m.xx, m.xy, m.xz}, {m.xy, m.yy, m.yz}, {m.xz, m.yz, m.zz}}});
}

/// The singular values of `m`, each with its reciprocal, 0 for those that count as zero: of which
/// `tolerance` times the greatest, or times `floor` if that is more, is no less. Sets the number of
/// these.
inline std::array<double, 3> Reciprocals(const Eigen3& eigen, double tolerance, double floor,
                                         int& deficient)
{
    double greatest = floor;
    for (const double value : eigen.values) {
        greatest = std::max(greatest, std::fabs(value));
    }
    std::array<double, 3> reciprocals{};
    deficient = 0;
    for (std::size_t i = 0; i < 3; ++i) {
        // The other way round a value that is not a number would count.
        if (std::fabs(eigen.values[i] / greatest) > tolerance && std::isfinite(eigen.values[i])) {
            reciprocals[i] = 1.0 / eigen.values[i];
        } else {
            ++deficient;
        }
    }
    return reciprocals;
}

/// y = P r with the pseudo-inverse P of a symmetric matrix; its rank.
inline int SolveByEigenvalues(const Symmetric3& m, const Vec3d& r, double tolerance, double floor,
                              Vec3d& y)
{
    const Eigen3 eigen = EigenOf(m);
    int deficient = 0;
    const std::array<double, 3> reciprocals = Reciprocals(eigen, tolerance, floor, deficient);
    y = {};
    for (std::size_t i = 0; i < 3; ++i) {
        if (reciprocals[i] != 0.0) {
            y += eigen.vectors[i] * (reciprocals[i] * (eigen.vectors[i] * r));
        }
    }
    return 3 - deficient;
}

/// The characteristic polynomial x^3 - trace x^2 + minors x - determinant.
struct Characteristic3 {
    double trace, minors, determinant;

    explicit Characteristic3(const Symmetric3& m)
    {
        const double yz = m.yy * m.zz - m.yz * m.yz;
        const double xz = m.xx * m.zz - m.xz * m.xz;
        const double xy = m.xx * m.yy - m.xy * m.xy;
        trace = m.xx + m.yy + m.zz;
        minors = yz + xz + xy;
        determinant =
            m.xx * yz - m.xy * (m.xy * m.zz - m.yz * m.xz) + m.xz * (m.xy * m.yz - m.yy * m.xz);
    }
    double At(double x) const { return ((x - trace) * x + minors) * x - determinant; }
    double SlopeAt(double x) const { return (3.0 * x - 2.0 * trace) * x + minors; }
    /// Number of roots beyond x, all roots being real: the changes of sign in the derivatives.
    int RootsBeyond(double x) const
    {
        const double value = At(x);
        const double slope = SlopeAt(x);
        const double bend = 3.0 * x - trace;
        int changes = bend < 0.0 ? 1 : 0;
        changes += (bend < 0.0) != (slope < 0.0) ? 1 : 0;
        changes += (slope < 0.0) != (value < 0.0) ? 1 : 0;
        return changes;
    }
};

/// The same as `SolveByEigenvalues` for a matrix without negative eigenvalues, faster: the answers
/// are equal to some 1e-9 of themselves, the ranks are the same. With limits out of (0, 1), with
/// matrices far from 1, and near the limit, it is that.
inline int SolveSemidefinite(const Symmetric3& m, const Vec3d& r, double tolerance, double floor,
                             Vec3d& y)
{
    constexpr double kSmallestTrace = 1e-60;
    constexpr double kLargestTrace = 1e60;
    // The polynomial's value errs by some 1e-15 of the cube of the greatest root.
    constexpr double kRounding = 1e-10;
    constexpr double kMargin = 1e-6;

    const Characteristic3 p(m);
    if (!(p.trace > std::max(kSmallestTrace, 3.0 * floor)) || !(p.trace < kLargestTrace) ||
        !(tolerance > 1e-4 && tolerance < 0.3)) {
        return SolveByEigenvalues(m, r, tolerance, floor, y);
    }
    // From a bound above all roots down to the greatest. No root is farther off than three steps.
    double greatest =
        (p.trace + 2.0 * std::sqrt(std::max(0.0, p.trace * p.trace - 3.0 * p.minors))) / 3.0;
    double step = 0.0;
    for (int i = 0; i < 6; ++i) {
        const double slope = p.SlopeAt(greatest);
        step = slope > 0.0 ? p.At(greatest) / slope : greatest;
        greatest -= step;
        if (std::fabs(step) < 1e-9 * greatest) {
            break;
        }
    }
    const double high = tolerance * (greatest + std::fabs(step)) * (1.0 + kMargin);
    const double low = tolerance * (greatest - 3.0 * std::fabs(step)) * (1.0 - kMargin);
    const double rounding = kRounding * greatest * greatest * greatest;
    const int rank = p.RootsBeyond(high);
    if (rank < 1 || rank != p.RootsBeyond(low) || !(std::fabs(p.At(high)) > rounding) ||
        !(std::fabs(p.At(low)) > rounding)) {
        return SolveByEigenvalues(m, r, tolerance, floor, y);
    }
    if (rank == 3) {
        // L D L', as the least eigenvalue is not small.
        const double inverseX = 1.0 / m.xx;
        const double lx = m.xy * inverseX;
        const double lz = m.xz * inverseX;
        const double dy = m.yy - m.xy * lx;
        const double inverseY = 1.0 / dy;
        const double across = m.yz - m.xz * lx;
        const double l = across * inverseY;
        const double dz = m.zz - m.xz * lz - across * l;
        const double u = r[1] - lx * r[0];
        const double v = r[2] - lz * r[0] - l * u;
        y[2] = v / dz;
        y[1] = u * inverseY - l * y[2];
        y[0] = r[0] * inverseX - lx * y[1] - lz * y[2];
        return 3;
    }
    // The projection onto one eigenvector is a polynomial of the matrix, (A - u)(A - v) over
    // (l - u)(l - v) with the other eigenvalues u and v; their sum and product follow from the
    // coefficients.
    const Vec3d mr = m * r;
    const Vec3d mmr = m * mr;
    if (rank == 1) {
        greatest -= p.At(greatest) / p.SlopeAt(greatest);
        const double sum = p.trace - greatest;
        const double product = p.minors - greatest * sum;
        y = (mmr - mr * sum + r * product) * (1.0 / (greatest * p.SlopeAt(greatest)));
        return 1;
    }
    double least = p.determinant / p.minors;
    for (int i = 0; i < 6; ++i) {
        const double change = p.At(least) / p.SlopeAt(least);
        least -= change;
        if (std::fabs(change) < 1e-16 * greatest) {
            break;
        }
    }
    // The root errs by the polynomial's rounding over the slope there, and the projection by that
    // over the distance to the next root: where both are near the limit, the digits are gone.
    constexpr double kLeastGap = 1e-3;
    const double slope = p.SlopeAt(least);
    if (!(std::fabs(slope) > kLeastGap * greatest * greatest)) {
        return SolveByEigenvalues(m, r, tolerance, floor, y);
    }
    const double sum = p.trace - least;
    const double product = p.minors - least * sum;
    const Vec3d inPlane = r - (mmr - mr * sum + r * product) * (1.0 / slope); // without the least
    y = (inPlane * sum - m * inPlane) * (1.0 / product);
    return 2;
}

} // namespace Velk::Math::Impl
