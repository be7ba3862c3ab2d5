// Exact orientation; see the header.

#include "mathbase/TurnSign_Impl.h"

#include <array>
#include <cmath>
#include <cstddef>
#include <limits>

namespace Velk::Math::Vector::Impl {
namespace {

/// A number as the unevaluated sum of a rounded value and its rounding error.
struct TwoParts {
    double rounded;
    double error;
};

TwoParts ExactSum(double a, double b)
{
    const double sum = a + b;
    const double partOfB = sum - a;
    return {sum, (a - (sum - partOfB)) + (b - partOfB)};
}

TwoParts ExactProduct(double a, double b)
{
    const double product = a * b;
    return {product, std::fma(a, b, -product)};
}

/// A sum kept without rounding, as parts of growing magnitude that do not overlap.
class Expansion {
public:
    void Add(double value)
    {
        std::size_t kept = 0;
        for (std::size_t i = 0; i < count_; ++i) {
            const auto [sum, error] = ExactSum(value, parts_[i]);
            value = sum;
            if (error != 0) {
                parts_[kept++] = error;
            }
        }
        if (value != 0) {
            parts_[kept++] = value;
        }
        count_ = kept;
    }

    int Sign() const { return count_ == 0 ? 0 : (parts_[count_ - 1] > 0 ? 1 : -1); }

private:
    std::array<double, 16> parts_{};
    std::size_t count_ = 0;
};

void AddProduct(Expansion& sum, const TwoParts& a, const TwoParts& b, double sign)
{
    for (const double factorOfA : {a.error, a.rounded}) {
        for (const double factorOfB : {b.error, b.rounded}) {
            const auto [product, error] = ExactProduct(sign * factorOfA, factorOfB);
            sum.Add(error);
            sum.Add(product);
        }
    }
}

} // namespace

int TurnSign(const VecBase<2, double>& origin, const VecBase<2, double>& a,
             const VecBase<2, double>& b)
{
    const double left = (a.x() - origin.x()) * (b.y() - origin.y());
    const double right = (a.y() - origin.y()) * (b.x() - origin.x());
    const double cross = left - right;
    // Shewchuk's bound for this evaluation, (3 + 16 u) u with u half an epsilon, rounded up.
    constexpr double kErrorBound = 2 * std::numeric_limits<double>::epsilon();
    const double error = kErrorBound * (std::fabs(left) + std::fabs(right));
    if (cross > error || -cross > error) {
        return cross > 0 ? 1 : -1;
    }
    Expansion exact;
    AddProduct(exact, ExactSum(a.x(), -origin.x()), ExactSum(b.y(), -origin.y()), 1);
    AddProduct(exact, ExactSum(a.y(), -origin.y()), ExactSum(b.x(), -origin.x()), -1);
    return exact.Sign();
}

} // namespace Velk::Math::Vector::Impl
