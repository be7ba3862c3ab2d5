// Error-free sums and products of doubles, and what the math base builds on them: a sum whose error
// does not grow with the number of terms, and products of twice the precision for determinants.
//
// TwoSum: D. E. Knuth, "The Art of Computer Programming" vol. 2, 1969. Double-word operations: M.
// Joldes, J.-M. Muller, V. Popescu, "Tight and Rigorous Error Bounds for Basic Building Blocks of
// Double-Word Arithmetic", 2017. All of it needs every operation rounded by itself: no contraction.
#pragma once

#include <cmath>

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
