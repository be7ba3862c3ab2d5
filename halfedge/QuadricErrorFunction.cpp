// Quadric error functions: the exported forms of the inline operations.

#include "halfedge/QuadricErrorFunction_Impl.h"

namespace Velk::Math::Sorvane::HalfEdge::Decorations {

void AddPlane(QuadricErrorFunction& q, const VecBase<3, double>& p, const VecBase<3, double>& n)
{
    Impl::AddPlane(q, p, n);
}

QuadricErrorFunction Merge(const QuadricErrorFunction& q1, const QuadricErrorFunction& q2)
{
    return Impl::Merge(q1, q2);
}

void Solve(QuadricErrorFunction& q, VecBase<3, double>& x, double& error, double tolerance)
{
    Impl::Solve(q, x, error, tolerance);
}

double ErrorAt(const QuadricErrorFunction& q, const VecBase<3, double>& x)
{
    return Impl::ErrorAt(q, x);
}

MatBase<3, 3, double> PseudoInverse(const MatBase<3, 3, double>& matrix, double tolerance,
                                    int& deficient)
{
    const Math::Impl::Eigen3 eigen = Math::Impl::EigenOf(Math::Impl::UpperTriangle(matrix));
    const std::array<double, 3> reciprocals =
        Math::Impl::Reciprocals(eigen, tolerance, Math::Impl::kSingularFloor, deficient);
    MatBase<3, 3, double> inverse;
    for (std::size_t i = 0; i < 3; ++i) {
        if (reciprocals[i] != 0.0) {
            const Vec3d& v = eigen.vectors[i];
            for (int row = 0; row < 3; ++row) {
                for (int column = 0; column < 3; ++column) {
                    inverse(row, column) += reciprocals[i] * v[row] * v[column];
                }
            }
        }
    }
    return inverse;
}

} // namespace Velk::Math::Sorvane::HalfEdge::Decorations
