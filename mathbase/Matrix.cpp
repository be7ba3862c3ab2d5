// Inverses and determinants of small matrices, and the rotation that takes +Z to a direction.
//
// Inverses are adjugate over determinant, with both in twice the precision: every entry comes out
// right to a few units in the last place as long as the condition number stays below about 1e15,
// where plain elimination has no digit left. It costs a fraction of a microsecond.

#include <Velk/Math/Matrix_E.h>

#include "mathbase/Direction_Impl.h"
#include "mathbase/ErrorFree_Impl.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace Velk::Math::Matrix {
namespace {

using Impl::DoubleWord;

/// a d - b c
DoubleWord Minor(double a, double b, double c, double d)
{
    return Impl::WideDifferenceOfProducts(a, d, b, c);
}

/// The matrix `entry` that times the given one is `determinant` times the identity.
template <int N>
struct Adjugate {
    MatBase<N, N, DoubleWord> entry;
    DoubleWord determinant;
};

Adjugate<2> AdjugateOf(const MatBase<2, 2, double>& m)
{
    Adjugate<2> adjugate;
    adjugate.entry(0, 0).high = m(1, 1);
    adjugate.entry(0, 1).high = -m(0, 1);
    adjugate.entry(1, 0).high = -m(1, 0);
    adjugate.entry(1, 1).high = m(0, 0);
    adjugate.determinant = Minor(m(0, 0), m(0, 1), m(1, 0), m(1, 1));
    return adjugate;
}

Adjugate<3> AdjugateOf(const MatBase<3, 3, double>& m)
{
    Adjugate<3> adjugate;
    for (int r = 0; r < 3; ++r) {
        for (int c = 0; c < 3; ++c) {
            // Cyclic rows and columns after (r, c): the cofactor with its sign.
            const int r1 = (r + 1) % 3;
            const int r2 = (r + 2) % 3;
            const int c1 = (c + 1) % 3;
            const int c2 = (c + 2) % 3;
            adjugate.entry(c, r) = Minor(m(r1, c1), m(r1, c2), m(r2, c1), m(r2, c2));
        }
    }
    adjugate.determinant = m(0, 0) * adjugate.entry(0, 0) + m(0, 1) * adjugate.entry(1, 0) +
                           m(0, 2) * adjugate.entry(2, 0);
    return adjugate;
}

/// The six minors of two rows, for the column pairs 01, 02, 03, 12, 13, 23.
std::array<DoubleWord, 6> RowPairMinors(const double* upper, const double* lower)
{
    const auto minor = [&](int i, int j) { return Minor(upper[i], upper[j], lower[i], lower[j]); };
    return {minor(0, 1), minor(0, 2), minor(0, 3), minor(1, 2), minor(1, 3), minor(2, 3)};
}

/// Laplace expansion by the two upper and the two lower rows.
Adjugate<4> AdjugateOf(const MatBase<4, 4, double>& m)
{
    const auto above = RowPairMinors(m[0], m[1]);
    const auto below = RowPairMinors(m[2], m[3]);

    Adjugate<4> adjugate;
    // Column r of the adjugate holds the cofactors of row r: the other row of its pair against the
    // minors of the opposite pair. Rows 0 and 1 go with `below`, rows 2 and 3 with `above`.
    for (int r = 0; r < 4; ++r) {
        const double* row = m[r ^ 1];
        const auto& minor = r < 2 ? below : above;
        const double sign = r % 2 == 0 ? 1.0 : -1.0;
        const double x = sign * row[0];
        const double y = sign * row[1];
        const double z = sign * row[2];
        const double w = sign * row[3];
        adjugate.entry(0, r) = y * minor[5] - z * minor[4] + w * minor[3];
        adjugate.entry(1, r) = z * minor[2] - x * minor[5] - w * minor[1];
        adjugate.entry(2, r) = x * minor[4] - y * minor[2] + w * minor[0];
        adjugate.entry(3, r) = y * minor[1] - x * minor[3] - z * minor[0];
    }
    adjugate.determinant = above[0] * below[5] - above[1] * below[4] + above[2] * below[3] +
                           above[3] * below[2] - above[4] * below[1] + above[5] * below[0];
    return adjugate;
}

} // namespace

template <int N>
bool Invert(MatBase<N, N, double>& m, double tolerance)
{
    const Adjugate<N> adjugate = AdjugateOf(m);
    const double determinant = adjugate.determinant.high;
    if (!(std::fabs(determinant) > tolerance)) {
        return false;
    }
    MatBase<N, N, double> inverse;
    for (int r = 0; r < N; ++r) {
        for (int c = 0; c < N; ++c) {
            inverse(r, c) = adjugate.entry(r, c).high / determinant + 0.0; // + 0: no negative zeros
        }
    }
    // A negative tolerance lets a zero determinant pass, and huge entries overflow on the way.
    if (!std::all_of(inverse.value, inverse.value + N * N,
                     [](double v) { return std::isfinite(v); })) {
        return false;
    }
    m = inverse;
    return true;
}

double Determinant(const MatBase<2, 2, double>& m)
{
    return Minor(m(0, 0), m(0, 1), m(1, 0), m(1, 1)).high;
}

MatBase<3, 3, double> RotationFromZ(const VecBase<3, double>& direction)
{
    const VecBase<3, double> axis = Impl::UnitDirection(direction);
    if (axis == VecBase<3, double>{}) {
        return Identity<3, double>();
    }
    const double x = axis.x();
    const double y = axis.y();
    const double z = axis.z();
    // Moeller and Hughes: with h = 1 / (1 + z) the upper left block of the shortest rotation is
    // (z + hyy, -hxy; -hxy, z + hxx), where hxx = h x x and so on. Toward -Z, 1 + z is nothing but
    // the rounding error of z. There h = (1 - z) / (x x + y y), the same for a unit vector, and hxx
    // becomes 1 - z times the square of the sideways direction's x. That direction is taken from
    // the vector as given: in the unit vector x and y may have underflowed.
    double hxx = 0.0;
    double hxy = 0.0;
    double hyy = 0.0;
    if (z >= 0.0) {
        const double h = 1.0 / (1.0 + z);
        hxx = h * x * x;
        hxy = h * x * y;
        hyy = h * y * y;
    } else {
        const VecBase<2, double> side =
            Impl::UnitDirection(VecBase<2, double>{direction.x(), direction.y()});
        if (side == VecBase<2, double>{}) {
            return {{1.0, 0.0, 0.0}, {0.0, -1.0, 0.0}, {0.0, 0.0, -1.0}};
        }
        hxx = (1.0 - z) * side.x() * side.x();
        hxy = (1.0 - z) * side.x() * side.y();
        hyy = (1.0 - z) * side.y() * side.y();
    }
    return {{z + hyy, -hxy, x}, {-hxy, z + hxx, y}, {-x, -y, z}};
}

template bool Invert(MatBase<2, 2, double>&, double);
template bool Invert(MatBase<3, 3, double>&, double);
template bool Invert(MatBase<4, 4, double>&, double);

} // namespace Velk::Math::Matrix
