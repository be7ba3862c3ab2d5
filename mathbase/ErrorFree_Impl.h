// Error-free sums and products of doubles, and what the math base builds on them: a sum whose error
// does not grow with the number of terms, products of twice the precision for determinants, and
// sums that are not rounded at all.
//
// TwoSum: D. E. Knuth, "The Art of Computer Programming" vol. 2, 1969. Double-word operations: M.
// Joldes, J.-M. Muller, V. Popescu, "Tight and Rigorous Error Bounds for Basic Building Blocks of
// Double-Word Arithmetic", 2017. Expansions: J. R. Shewchuk, "Adaptive Precision Floating-Point
// Arithmetic and Fast Robust Geometric Predicates", 1997. All of it needs every operation rounded
// by itself: no contraction.
#pragma once

#include <array>
#include <cmath>
#include <cstddef>

namespace Velk::Math::Impl {

/// An unevaluated sum high + low with |low| at most half a unit in the last place of high.
struct DoubleWord {
    double high = 0.0;
    double low = 0.0;
};

/// a + b without error.
inline DoubleWord TwoSum(double a, double b)
{
    const double sum = a + b;
    const double bPart = sum - a;
    const double aPart = sum - bPart;
    return {sum, (a - aPart) + (b - bPart)};
}

/// a + b without error for |a| >= |b|.
inline DoubleWord FastTwoSum(double a, double b)
{
    const double sum = a + b;
    return {sum, b - (sum - a)};
}

/// a b without error, as long as the product's last digits do not underflow.
inline DoubleWord TwoProduct(double a, double b)
{
    const double product = a * b;
    return {product, std::fma(a, b, -product)};
}

/// Relative error below 3 * 2^-106, also when the high words cancel.
inline DoubleWord operator+(const DoubleWord& a, const DoubleWord& b)
{
    const DoubleWord high = TwoSum(a.high, b.high);
    const DoubleWord low = TwoSum(a.low, b.low);
    const DoubleWord sum = FastTwoSum(high.high, high.low + low.high);
    return FastTwoSum(sum.high, low.low + sum.low);
}

inline DoubleWord operator-(const DoubleWord& a) { return {-a.high, -a.low}; }

inline DoubleWord operator-(const DoubleWord& a, const DoubleWord& b) { return a + -b; }

/// Relative error below 2 * 2^-106.
inline DoubleWord operator*(double a, const DoubleWord& b)
{
    const DoubleWord product = TwoProduct(a, b.high);
    return FastTwoSum(product.high, std::fma(a, b.low, product.low));
}

/// Relative error below 5 * 2^-106.
inline DoubleWord operator*(const DoubleWord& a, const DoubleWord& b)
{
    const DoubleWord product = TwoProduct(a.high, b.high);
    const double mixed = std::fma(a.high, b.low, a.low * b.low);
    return FastTwoSum(product.high, product.low + std::fma(a.low, b.high, mixed));
}

/// a b - c d within 1.5 units of the last place, whatever cancels (W. Kahan; bound by C.-P.
/// Jeannerod, N. Louvet, J.-M. Muller, "Further Analysis of Kahan's Algorithm for the Accurate
/// Computation of 2 x 2 Determinants", 2013).
inline double DifferenceOfProducts(double a, double b, double c, double d)
{
    const double cd = c * d;
    const double roundingOfCd = std::fma(-c, d, cd);
    return std::fma(a, b, -cd) + roundingOfCd;
}

/// The same in twice the precision: the relative error of each product is gone, that of the
/// difference is below 3 * 2^-106. Several times the work of the form above, for sums of such
/// differences that cancel in their turn.
inline DoubleWord WideDifferenceOfProducts(double a, double b, double c, double d)
{
    return TwoProduct(a, b) - TwoProduct(c, d);
}

/// A number kept without rounding, as a sum of at most `Capacity` doubles of growing magnitude that
/// do not overlap: none of them is 0, and the last one is larger than all the others together, so
/// that it has the sign of the whole.
///
/// Sums and differences are exact as long as no part overflows; products as long as, besides, no
/// part of them underflows, which is what sizes between 2^-485 and 2^511 are safe from. Every
/// operation has room for its largest result, and usually needs a small part of it.
template <std::size_t Capacity>
class Expansion {
public:
    // The parts are left as they are: only the first `count_` of them are ever read.
    Expansion() {} // NOLINT(modernize-use-equals-default)

    explicit Expansion(double value) { Append(value); }

    /// An unrounded sum or product.
    explicit Expansion(const DoubleWord& value) requires(Capacity >= 2)
    {
        Append(value.low);
        Append(value.high);
    }

    std::size_t Size() const { return count_; }
    double operator[](std::size_t part) const { return parts_[part]; }

    /// Adds a part beyond all others in magnitude, or 0, which is left out.
    void Append(double part)
    {
        if (part != 0) {
            parts_[count_++] = part;
        }
    }

    /// 1, 0 or -1.
    int Sign() const { return count_ == 0 ? 0 : (parts_[count_ - 1] > 0 ? 1 : -1); }

    /// The value, rounded to within a unit in its last place.
    double Estimate() const
    {
        double sum = 0;
        for (std::size_t i = 0; i < count_; ++i) {
            sum += parts_[i];
        }
        return sum;
    }

    Expansion operator-() const
    {
        Expansion negative;
        for (std::size_t i = 0; i < count_; ++i) {
            negative.Append(-parts_[i]);
        }
        return negative;
    }

private:
    std::array<double, Capacity> parts_;
    std::size_t count_ = 0;
};

/// The parts of both, smallest first, in one running sum whose rounding errors are the result.
template <std::size_t A, std::size_t B>
Expansion<A + B> operator+(const Expansion<A>& a, const Expansion<B>& b)
{
    Expansion<A + B> sum;
    std::size_t i = 0;
    std::size_t j = 0;
    double running = 0;
    while (i < a.Size() || j < b.Size()) {
        const bool takeA = j == b.Size() || (i < a.Size() && std::fabs(a[i]) <= std::fabs(b[j]));
        const DoubleWord step = TwoSum(running, takeA ? a[i++] : b[j++]);
        sum.Append(step.low);
        running = step.high;
    }
    sum.Append(running);
    return sum;
}

template <std::size_t A, std::size_t B>
Expansion<A + B> operator-(const Expansion<A>& a, const Expansion<B>& b)
{
    return a + -b;
}

template <std::size_t A>
Expansion<2 * A> operator*(const Expansion<A>& a, double factor)
{
    Expansion<2 * A> product;
    double running = 0;
    for (std::size_t i = 0; i < a.Size(); ++i) {
        const DoubleWord part = TwoProduct(a[i], factor);
        const DoubleWord low = TwoSum(running, part.low);
        const DoubleWord high = FastTwoSum(part.high, low.high);
        product.Append(low.low);
        product.Append(high.low);
        running = high.high;
    }
    product.Append(running);
    return product;
}

template <std::size_t A, std::size_t B>
Expansion<2 * A * B> operator*(const Expansion<A>& a, const Expansion<B>& b)
{
    // One half of the factors at a time keeps the sums, whose cost is their length, short.
    if constexpr (B == 1) {
        return b.Size() == 0 ? Expansion<2 * A>() : a * b[0];
    } else {
        Expansion<B / 2> lower;
        Expansion<B - B / 2> upper;
        for (std::size_t i = 0; i < b.Size(); ++i) {
            i < B / 2 ? lower.Append(b[i]) : upper.Append(b[i]);
        }
        return a * lower + a * upper;
    }
}

/// Running sum that carries its rounding errors along (A. Neumaier, 1974, in the branch-free form
/// of T. Ogita, S. Rump, S. Oishi, 2005): as if summed in twice the precision and rounded once.
class CompensatedSum {
public:
    void Add(double term)
    {
        const DoubleWord step = TwoSum(sum_, term);
        sum_ = step.high;
        correction_ += step.low;
    }

    double Value() const
    {
        // After an overflow the correction is a NaN that says nothing more than the sum does.
        return std::isfinite(sum_) ? sum_ + correction_ : sum_;
    }

private:
    double sum_ = 0.0;
    double correction_ = 0.0;
};

} // namespace Velk::Math::Impl
