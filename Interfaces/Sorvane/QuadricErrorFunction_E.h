// The quadric error function: a sum of squared distances to planes, and the point that makes it
// least. Decimation hangs one on every node; dual contouring places the vertex of a cell with it.
//
// M. Garland and P. S. Heckbert, "Surface simplification using quadric error metrics", 1997; the
// solution with the small singular values left out and the mean of the samples as its anchor is
// that of P. Lindstrom, "Out-of-core simplification of large polygonal models", 2000, and of T. Ju,
// F. Losasso, S. Schaefer and J. Warren, "Dual contouring of Hermite data", 2002.
//
//     QuadricErrorFunction q;
//     for (const auto& [p, n] : samples) AddPlane(q, p, n);
//     Vec3d x;
//     double error = 0;
//     Solve(q, x, error, 0.1);
#pragma once

#include <Sorvane/Export_E.h>
#include <Velk/Math/Matrix_E.h>

namespace Velk::Math::Sorvane::HalfEdge::Decorations {

/// A sum of squared distances to planes, and the samples that it is made of. For a plane through p
/// with the normal n (of any length) and d = n * p, the error at x is x * A x - 2 x * b + c. Empty
/// when `count` is 0.
///
/// A plane weighs by the square of its normal's length. Coordinates far from the origin cost
/// digits, the square of their size over the error: gather and solve relative to a nearby point.
struct SORVANE_API QuadricErrorFunction {
    MatBase<3, 3, double> A;      ///< sum of n n'
    VecBase<3, double> b;         ///< sum of n d
    double c = 0.0;               ///< sum of d d
    VecBase<3, double> massPoint; ///< sum of the sample points
    int count = 0;                ///< number of samples
    int rank = 0;                 ///< rank found by the last solution, 0 until there was one

    friend bool operator==(const QuadricErrorFunction&, const QuadricErrorFunction&) = default;
};

/// Adds the plane through `p` with the normal `n`. The sample itself counts only as long as the
/// quadric's `rank` is 0: what has been solved keeps the samples of that solution.
SORVANE_API void AddPlane(QuadricErrorFunction& q, const VecBase<3, double>& p,
                          const VecBase<3, double>& n);

/// The sum of both, empty when one of them is. Samples of equal rank add up; otherwise those of the
/// higher rank stand for both.
SORVANE_API QuadricErrorFunction Merge(const QuadricErrorFunction& q1,
                                       const QuadricErrorFunction& q2);

/// The point nearest to the mean of the samples that makes the error least, in the directions that
/// the planes determine: those whose singular value is more than `tolerance` of the greatest. Their
/// number becomes the quadric's rank.
///
/// `error` is the value at `x`, clamped at 0 from below, where roundings would take it. An empty
/// quadric gives 1.7976931348623157e+308 for it and for each coordinate, and keeps its rank.
SORVANE_API void Solve(QuadricErrorFunction& q, VecBase<3, double>& x, double& error,
                       double tolerance);

/// The error at a point, clamped at 0 from below; 1.7976931348623157e+308 when the quadric is
/// empty.
SORVANE_API double ErrorAt(const QuadricErrorFunction& q, const VecBase<3, double>& x);

/// The pseudo-inverse of a symmetric matrix. Singular values of which `tolerance` times the
/// greatest (at least 1e-24) is no less count as zero, and their number is `deficient`. Only the
/// upper triangle is read. A matrix that is not finite has the inverse 0, and 3 are deficient.
SORVANE_API MatBase<3, 3, double> PseudoInverse(const MatBase<3, 3, double>& matrix,
                                                double tolerance, int& deficient);

} // namespace Velk::Math::Sorvane::HalfEdge::Decorations
