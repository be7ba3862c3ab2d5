// The predicates where their filters can't tell: see the header.

#include "mathbase/Predicates_Impl.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>

namespace Velk::Math::Impl {
namespace {

/// Exponent that the largest coordinate is brought to. Products of four differences then stay below
/// 2^1010, and their last digits above 2^-1074 for coordinates down to 2^-465 of the largest.
constexpr int kWorkExponent = 250;

/// Multiplies the points by a power of two, the same for all; false when one is not finite or all
/// are zero.
template <int N, std::size_t Count>
bool BringToWorkSize(std::array<VecBase<N, double>, Count>& points)
{
    double largest = 0;
    for (const VecBase<N, double>& point : points) {
        if (!IsFinite(point)) {
            return false;
        }
        largest = std::max(largest, LargestMagnitude(point));
    }
    if (largest == 0) {
        return false;
    }
    constexpr int kMostSteps = 1000; // 2^1000 still is a double
    const int steps = std::min(kWorkExponent - std::ilogb(largest), kMostSteps);
    const double factor = std::ldexp(1.0, steps);
    for (VecBase<N, double>& point : points) {
        point *= factor;
    }
    return true;
}

/// Points of a mesh are often asked about themselves: two of them the same make any of the
/// determinants here 0.
template <class Point, std::size_t Count>
bool AnyTwoAreEqual(const std::array<Point, Count>& points)
{
    for (std::size_t i = 0; i < Count; ++i) {
        for (std::size_t j = i + 1; j < Count; ++j) {
            if (points[i] == points[j]) {
                return true;
            }
        }
    }
    return false;
}

/// Differences of all points but the last from the last one, without rounding.
template <int N, std::size_t Count>
auto ExactDifferences(const std::array<VecBase<N, double>, Count>& points)
{
    std::array<std::array<DoubleWord, N>, Count - 1> rows;
    for (std::size_t i = 0; i + 1 < Count; ++i) {
        for (int k = 0; k < N; ++k) {
            rows[i][static_cast<std::size_t>(k)] = TwoSum(points[i][k], -points[Count - 1][k]);
        }
    }
    return rows;
}

DoubleWord Cross(const std::array<DoubleWord, 2>& a, const std::array<DoubleWord, 2>& b)
{
    return a[0] * b[1] - b[0] * a[1];
}

double MagnitudeOfCross(const std::array<DoubleWord, 2>& a, const std::array<DoubleWord, 2>& b)
{
    return std::fabs(a[0].high * b[1].high) + std::fabs(b[0].high * a[1].high);
}

using Exact = Expansion<2>;

Expansion<16> ExactCross(const std::array<DoubleWord, 2>& a, const std::array<DoubleWord, 2>& b)
{
    return Exact(a[0]) * Exact(b[1]) - Exact(b[0]) * Exact(a[1]);
}

int SignOf(double value) { return value > 0 ? 1 : -1; }

/// In units of u u: a product of two double words is off by a share of 5, a sum or difference by 3.
/// A term of the larger determinant, that of the circle, has 5 + 3 from its area, as much from its
/// squared distance, 5 from their product and 3 from each of two sums: 27, rounded up to the next
/// power of two for what is of a higher order.
constexpr double kDoubleWordError = 32 * kRoundingUnit * kRoundingUnit;

/// Sign of the sum of weight[k] cross(row k + 1, row k + 2) for weights that are each a function of
/// row k. `weightOf` gives them as double words, `exactWeightOf` without rounding.
template <class WeightOf, class ExactWeightOf>
int SignOfWeightedCrosses(const std::array<std::array<DoubleWord, 2>, 3>& rows,
                          const WeightOf& weightOf, const ExactWeightOf& exactWeightOf)
{
    DoubleWord sum;
    double magnitude = 0;
    for (std::size_t k = 0; k < 3; ++k) {
        const auto& v = rows[(k + 1) % 3];
        const auto& w = rows[(k + 2) % 3];
        const DoubleWord weight = weightOf(k);
        sum = sum + weight * Cross(v, w);
        magnitude += std::fabs(weight.high) * MagnitudeOfCross(v, w);
    }
    if (std::fabs(sum.high) > kDoubleWordError * magnitude + kUnderflowError) {
        return SignOf(sum.high);
    }
    const auto term = [&](std::size_t k) {
        return exactWeightOf(k) * ExactCross(rows[(k + 1) % 3], rows[(k + 2) % 3]);
    };
    return (term(0) + term(1) + term(2)).Sign();
}

} // namespace

int OrientationWithoutFilter(const Vec2d& a, const Vec2d& b, const Vec2d& c)
{
    std::array<Vec2d, 3> points{a, b, c};
    if (AnyTwoAreEqual(points) || !BringToWorkSize(points)) {
        return 0;
    }
    const auto rows = ExactDifferences(points);
    return ExactCross(rows[0], rows[1]).Sign();
}

int OrientationWithoutFilter(const Vec3d& a, const Vec3d& b, const Vec3d& c, const Vec3d& d)
{
    for (int k = 0; k < 3; ++k) {
        if (a[k] == b[k] && a[k] == c[k] && a[k] == d[k]) {
            return 0; // a plane along two axes
        }
    }
    std::array<Vec3d, 4> points{a, b, c, d};
    if (AnyTwoAreEqual(points) || !BringToWorkSize(points)) {
        return 0;
    }
    const auto rows = ExactDifferences(points);
    std::array<std::array<DoubleWord, 2>, 3> flat;
    for (std::size_t k = 0; k < 3; ++k) {
        flat[k] = {rows[k][0], rows[k][1]};
    }
    return -SignOfWeightedCrosses(
        flat, [&](std::size_t k) { return rows[k][2]; },
        [&](std::size_t k) { return Exact(rows[k][2]); });
}

int InCircleWithoutFilter(const Vec2d& a, const Vec2d& b, const Vec2d& c, const Vec2d& d)
{
    std::array<Vec2d, 4> points{a, b, c, d};
    if (AnyTwoAreEqual(points) || !BringToWorkSize(points)) {
        return 0;
    }
    const auto rows = ExactDifferences(points);
    return SignOfWeightedCrosses(
        rows, [&](std::size_t k) { return rows[k][0] * rows[k][0] + rows[k][1] * rows[k][1]; },
        [&](std::size_t k) {
            return Exact(rows[k][0]) * Exact(rows[k][0]) + Exact(rows[k][1]) * Exact(rows[k][1]);
        });
}

} // namespace Velk::Math::Impl
