// Eigenvalues and eigenvectors of a symmetric 3 x 3 matrix, without allocation.
//
// Cyclic Jacobi rotations (C. G. J. Jacobi, 1846): they lose no digits however the values lie, and
// find small eigenvalues of a positive matrix to their own relative precision.
#pragma once

#include <Velk/Math/VecBase_E.h>

#include <array>
#include <cmath>
#include <cstddef>

namespace Velk::Math::Impl {

/// By rows.
using Matrix3 = std::array<std::array<double, 3>, 3>;

/// Eigenvalues and unit eigenvectors, in no order.
struct Eigen3 {
    std::array<double, 3> values;
    std::array<Vec3d, 3> vectors;
};

/// Turns the symmetric matrix `m`, and `vectors` with it, in the plane of axes p and q such that
/// m[p][q] vanishes.
inline void JacobiRotation(Matrix3& m, std::array<Vec3d, 3>& vectors, std::size_t p, std::size_t q)
{
    if (m[p][q] == 0.0) {
        return;
    }
    const double theta = (m[q][q] - m[p][p]) / (2.0 * m[p][q]);
    // The lesser of the two angles; not by theta * theta, which overflows long before theta does.
    const double t = std::copysign(1.0, theta) / (std::abs(theta) + std::hypot(theta, 1.0));
    const double c = 1.0 / std::sqrt(t * t + 1.0);
    const double s = t * c;
    const std::size_t other = 3 - p - q;
    const double change = t * m[p][q];
    m[p][p] -= change;
    m[q][q] += change;
    m[p][q] = m[q][p] = 0.0;
    const double toP = m[other][p];
    const double toQ = m[other][q];
    m[other][p] = m[p][other] = c * toP - s * toQ;
    m[other][q] = m[q][other] = s * toP + c * toQ;
    const Vec3d atP = vectors[p];
    const Vec3d atQ = vectors[q];
    vectors[p] = atP * c - atQ * s;
    vectors[q] = atP * s + atQ * c;
}

/// Of a symmetric matrix. Values that are not finite come out as values that are not.
inline Eigen3 EigenOf(Matrix3 m)
{
    // Each sweep squares what is left beside the diagonal: about five leave nothing. The cap ends
    // it for matrices that are not finite.
    constexpr int kSweeps = 30;
    Eigen3 result{{}, {Vec3d{1, 0, 0}, Vec3d{0, 1, 0}, Vec3d{0, 0, 1}}};
    for (int sweep = 0; sweep < kSweeps; ++sweep) {
        if (m[0][1] == 0.0 && m[0][2] == 0.0 && m[1][2] == 0.0) {
            break;
        }
        JacobiRotation(m, result.vectors, 0, 1);
        JacobiRotation(m, result.vectors, 0, 2);
        JacobiRotation(m, result.vectors, 1, 2);
    }
    result.values = {m[0][0], m[1][1], m[2][2]};
    return result;
}

} // namespace Velk::Math::Impl
