// The operations on quadric error functions, inline for the loops that live of them.
#pragma once

#include <Sorvane/QuadricErrorFunction_E.h>

#include "mathbase/Quadric_Impl.h"

#include <cstddef>
#include <limits>

namespace Velk::Math::Sorvane::HalfEdge::Decorations::Impl {

/// What is told of a quadric without samples.
inline constexpr double kNoError = std::numeric_limits<double>::max();

inline void AddPlane(QuadricErrorFunction& q, const Vec3d& p, const Vec3d& n)
{
    const double d = n * p;
    for (int row = 0; row < 3; ++row) {
        for (int column = 0; column < 3; ++column) {
            q.A(row, column) += n[row] * n[column];
        }
    }
    q.b += n * d;
    q.c += d * d;
    if (q.rank == 0) {
        ++q.count;
        q.massPoint += p;
    }
}

inline QuadricErrorFunction Merge(const QuadricErrorFunction& q1, const QuadricErrorFunction& q2)
{
    if (q1.count == 0 || q2.count == 0) {
        return {};
    }
    QuadricErrorFunction sum = q1; // which costs less than zeros to be written over
    for (std::size_t i = 0; i < 9; ++i) {
        sum.A.value[i] += q2.A.value[i];
    }
    sum.b += q2.b;
    sum.c += q2.c;
    if (q1.rank == q2.rank) {
        sum.count += q2.count;
        sum.massPoint += q2.massPoint;
    } else if (q1.rank < q2.rank) {
        sum.count = q2.count;
        sum.massPoint = q2.massPoint;
        sum.rank = q2.rank;
    }
    return sum;
}

inline double ErrorAt(const QuadricErrorFunction& q, const Vec3d& x)
{
    if (q.count == 0) {
        return kNoError;
    }
    const double error = x * (Math::Impl::UpperTriangle(q.A) * x) - 2.0 * (x * q.b) + q.c;
    return error < 0.0 ? 0.0 : error;
}

inline void Solve(QuadricErrorFunction& q, Vec3d& x, double& error, double tolerance)
{
    if (q.count == 0) {
        error = kNoError;
        x = {kNoError, kNoError, kNoError};
        return;
    }
    // The floor of the greatest singular value is that of the mean over the samples.
    const double floor = Math::Impl::kSingularFloor * q.count;
    const Math::Impl::Symmetric3 A = Math::Impl::UpperTriangle(q.A);
    const Vec3d mass = q.count < 2 ? q.massPoint : q.massPoint / static_cast<double>(q.count);
    Vec3d fromMass;
    q.rank = Math::Impl::SolveSemidefinite(A, q.b - A * mass, tolerance, floor, fromMass);
    x = mass + fromMass;
    error = Impl::ErrorAt(q, x);
}

} // namespace Velk::Math::Sorvane::HalfEdge::Decorations::Impl
