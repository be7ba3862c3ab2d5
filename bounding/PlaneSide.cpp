// Exact side of a plane; see the header.

#include "bounding/PlaneSide_Impl.h"

#include "mathbase/ErrorFree_Impl.h"

#include <array>
#include <cmath>
#include <cstddef>
#include <limits>

namespace Velk::Math::Vector::Impl {
namespace {

using Math::Impl::DoubleWord;
using Math::Impl::TwoProduct;
using Math::Impl::TwoSum;

/// The three corners as seen from the fourth point, without rounding.
using ExactRows = std::array<std::array<DoubleWord, 3>, 3>;

/// The six terms of a 3 x 3 determinant: columns taken from rows 0, 1, 2 and the term's sign.
struct Term {
    std::size_t column[3];
    double sign;
};
constexpr Term kTerms[6] = {{{0, 1, 2}, 1},  {{1, 2, 0}, 1},  {{2, 0, 1}, 1},
                            {{0, 2, 1}, -1}, {{1, 0, 2}, -1}, {{2, 1, 0}, -1}};

/// A sum kept without rounding, as parts of growing magnitude that do not overlap. Room for six
/// terms of three factors in two parts each, whose products take four parts.
class Expansion {
public:
    void Add(double value)
    {
        std::size_t kept = 0;
        for (std::size_t i = 0; i < count_; ++i) {
            const DoubleWord sum = TwoSum(value, parts_[i]);
            value = sum.high;
            if (sum.low != 0) {
                parts_[kept++] = sum.low;
            }
        }
        if (value != 0) {
            parts_[kept++] = value;
        }
        count_ = kept;
    }

    void AddProduct(double a, double b, double c)
    {
        if (a == 0 || b == 0 || c == 0) {
            return;
        }
        const DoubleWord ab = TwoProduct(a, b);
        for (const double part : {ab.low, ab.high}) {
            const DoubleWord product = TwoProduct(part, c);
            Add(product.low);
            Add(product.high);
        }
    }

    int Sign() const { return count_ == 0 ? 0 : (parts_[count_ - 1] > 0 ? 1 : -1); }

private:
    std::array<double, 192> parts_;
    std::size_t count_ = 0;
};

int ExactSign(const ExactRows& rows)
{
    Expansion sum;
    for (const Term& term : kTerms) {
        const DoubleWord& x = rows[0][term.column[0]];
        const DoubleWord& y = rows[1][term.column[1]];
        const DoubleWord& z = rows[2][term.column[2]];
        for (const double a : {x.low, x.high}) {
            for (const double b : {y.low, y.high}) {
                for (const double c : {z.low, z.high}) {
                    sum.AddProduct(term.sign * a, b, c);
                }
            }
        }
    }
    return sum.Sign();
}

int SignOf(double value) { return value > 0 ? 1 : -1; }

} // namespace

int PlaneSide(const VecBase<3, double>& a, const VecBase<3, double>& b, const VecBase<3, double>& c,
              const VecBase<3, double>& p)
{
    // det(a - p, b - p, c - p) is the negative of the value asked for.
    const VecBase<3, double> rows[3] = {a - p, b - p, c - p};
    double determinant = 0;
    double permanent = 0;
    for (const Term& term : kTerms) {
        const double product =
            rows[0][static_cast<int>(term.column[0])] *
            (rows[1][static_cast<int>(term.column[1])] * rows[2][static_cast<int>(term.column[2])]);
        determinant += term.sign * product;
        permanent += std::fabs(product);
    }
    // Three differences, two products and five sums: below eleven roundings of half an epsilon.
    constexpr double kErrorBound = 8 * std::numeric_limits<double>::epsilon();
    if (std::fabs(determinant) > kErrorBound * permanent) {
        return -SignOf(determinant);
    }
    if (permanent == 0) {
        return 0;
    }

    ExactRows exact;
    const VecBase<3, double>* corners[3] = {&a, &b, &c};
    for (std::size_t i = 0; i < 3; ++i) {
        for (int k = 0; k < 3; ++k) {
            exact[i][static_cast<std::size_t>(k)] = TwoSum((*corners[i])[k], -p[k]);
        }
    }
    DoubleWord sum;
    for (const Term& term : kTerms) {
        sum = sum + term.sign * (exact[0][term.column[0]] *
                                 (exact[1][term.column[1]] * exact[2][term.column[2]]));
    }
    constexpr double kDoubleWordBound = 0x1p-98; // some thirty operations of 5 * 2^-106 at most
    if (std::fabs(sum.high) > kDoubleWordBound * permanent) {
        return -SignOf(sum.high);
    }
    return -ExactSign(exact);
}

} // namespace Velk::Math::Vector::Impl
