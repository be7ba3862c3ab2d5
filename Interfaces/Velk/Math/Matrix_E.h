// MatBase: small row-major matrices, and the few operations that the library needs on them.
#pragma once

#include <Velk/Math/VecBase_E.h>

#include <initializer_list>

namespace Velk::Math::Matrix {

/// R rows of C values of T in one contiguous row-major block; all zero by default.
template <int R, int C, class T> struct SORVANE_API MatBase {
    T value[R * C] = {}; ///< row after row

    constexpr MatBase() = default;

    /// From rows, first row first. A missing row is zero, rows beyond R are ignored.
    constexpr MatBase(std::initializer_list<VecBase<C, T>> rows)
    {
        int r = 0;
        for (const VecBase<C, T>& row : rows) {
            if (r == R) {
                break;
            }
            for (int c = 0; c < C; ++c) {
                value[r * C + c] = row[c];
            }
            ++r;
        }
    }

    /// Start of row r, so that m[r][c] is the value in row r and column c.
    constexpr T* operator[](int r) { return value + r * C; }
    constexpr const T* operator[](int r) const { return value + r * C; }
    constexpr T& operator()(int r, int c) { return value[r * C + c]; }
    constexpr const T& operator()(int r, int c) const { return value[r * C + c]; }
    constexpr T* data() { return value; }
    constexpr const T* data() const { return value; }
    static constexpr int rows() { return R; }
    static constexpr int columns() { return C; }

    /// Row `r` as a vector.
    constexpr VecBase<C, T> Row(int r) const
    {
        VecBase<C, T> row;
        for (int c = 0; c < C; ++c) {
            row[c] = value[r * C + c];
        }
        return row;
    }

    /// Column `c` as a vector.
    constexpr VecBase<R, T> Column(int c) const
    {
        VecBase<R, T> column;
        for (int r = 0; r < R; ++r) {
            column[r] = value[r * C + c];
        }
        return column;
    }

    friend constexpr bool operator==(const MatBase& a, const MatBase& b) = default;
};

/// 1 on the diagonal, 0 elsewhere.
template <int N, class T> constexpr MatBase<N, N, T> Identity()
{
    MatBase<N, N, T> identity;
    for (int i = 0; i < N; ++i) {
        identity(i, i) = T{1};
    }
    return identity;
}

/// Rows and columns exchanged.
template <int R, int C, class T> constexpr MatBase<C, R, T> Transposed(const MatBase<R, C, T>& m)
{
    MatBase<C, R, T> transposed;
    for (int r = 0; r < R; ++r) {
        for (int c = 0; c < C; ++c) {
            transposed(c, r) = m(r, c);
        }
    }
    return transposed;
}

/// Matrix product; sums run in the order of the inner index.
template <int R, int K, int C, class T>
constexpr MatBase<R, C, T> operator*(const MatBase<R, K, T>& a, const MatBase<K, C, T>& b)
{
    MatBase<R, C, T> product;
    for (int r = 0; r < R; ++r) {
        for (int c = 0; c < C; ++c) {
            T sum{0};
            for (int k = 0; k < K; ++k) {
                sum += a(r, k) * b(k, c);
            }
            product(r, c) = sum;
        }
    }
    return product;
}

/// Matrix times column vector.
template <int R, int C, class T>
constexpr VecBase<R, T> operator*(const MatBase<R, C, T>& m, const VecBase<C, T>& v)
{
    VecBase<R, T> product;
    for (int r = 0; r < R; ++r) {
        product[r] = m.Row(r) * v;
    }
    return product;
}

/// Inverts `m` in place. N = 2, 3, 4.
///
/// False, with `m` untouched, when |det m| is not strictly greater than `tolerance` or is NaN, or when
/// a number of the inverse is not finite. The test is absolute: with the library's 1e-15 a uniform scale
/// below 1e-5 in space (3.2e-8 in the plane) counts as singular. A tolerance of 0 leaves it to the last
/// rounding whether a singular matrix is told from a regular one.
///
/// Adjugate over determinant in twice the working precision: each entry is accurate to a few units in
/// the last place for condition numbers up to about 1e15.
template <int N> bool Invert(MatBase<N, N, double>& m, double tolerance);

/// a d - b c of the rows (a, b) and (c, d), right to the last place also when the products cancel.
SORVANE_API double Determinant(const MatBase<2, 2, double>& m);

/// A proper rotation (orthonormal, determinant +1) that takes +Z to the direction `direction`, of any
/// length. The zero vector and a non-finite one give the identity; -Z gives the half turn about X.
///
/// Otherwise it is the shortest such rotation (about Z ^ direction), in the form without angles of T.
/// Moeller and J. F. Hughes, "Efficiently Building a Matrix to Rotate One Vector to Another", 1999,
/// orthonormal to a few units in the last place also for directions next to -Z.
SORVANE_API MatBase<3, 3, double> RotationFromZ(const VecBase<3, double>& direction);

// clang-format off
extern template SORVANE_API bool Invert(MatBase<2, 2, double>&, double);
extern template SORVANE_API bool Invert(MatBase<3, 3, double>&, double);
extern template SORVANE_API bool Invert(MatBase<4, 4, double>&, double);
// clang-format on

} // namespace Velk::Math::Matrix

namespace Velk::Math {
using Matrix::MatBase;
} // namespace Velk::Math
