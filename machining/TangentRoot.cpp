#include "machining/TangentRoot_Impl.h"

#include <cmath>

namespace Velk::Math::Sorvane::Mill::Impl {

namespace {

constexpr int kMostRounds = 200;

struct Sample {
    double r;
    double value;
};

bool HaveOppositeSigns(double a, double b) { return (a < 0.0) != (b < 0.0); }

/// Where the parabola r(value) through three samples has value 0.
double InverseQuadraticStep(const Sample& a, const Sample& b, const Sample& c)
{
    return a.r * b.value * c.value / ((a.value - b.value) * (a.value - c.value)) +
           b.r * a.value * c.value / ((b.value - a.value) * (b.value - c.value)) +
           c.r * a.value * b.value / ((c.value - a.value) * (c.value - b.value));
}

double SecantStep(const Sample& a, const Sample& b)
{
    return a.r - a.value * (b.r - a.r) / (b.value - a.value);
}

} // namespace

std::optional<double> RootBetween(const Quartic& quartic, double low, double high, double tolerance)
{
    const auto sampleAt = [&](double r) { return Sample{r, ValueAt(quartic, r)}; };
    Sample a = sampleAt(low);
    Sample b = sampleAt(high);
    if (std::fabs(a.value) <= tolerance) {
        return a.r;
    }
    if (std::fabs(b.value) <= tolerance) {
        return b.r;
    }
    if (!HaveOppositeSigns(a.value, b.value)) {
        return std::nullopt;
    }
    const auto replaceEnd = [&](const Sample& s) {
        (HaveOppositeSigns(a.value, s.value) ? b : a) = s;
    };

    for (int round = 0; round < kMostRounds; ++round) {
        const double width = b.r - a.r;
        if (std::fabs(a.value) <= tolerance || std::fabs(b.value) <= tolerance ||
            width <= tolerance || width <= tolerance * std::fabs(a.r + b.r) / 2.0) {
            return std::fabs(a.value) <= std::fabs(b.value) ? a.r : b.r;
        }
        const Sample middle = sampleAt(a.r + width / 2.0);
        const bool allDiffer = std::fabs(a.value - b.value) > tolerance &&
                               std::fabs(a.value - middle.value) > tolerance &&
                               std::fabs(b.value - middle.value) > tolerance;
        double step = allDiffer ? InverseQuadraticStep(a, middle, b) : a.r;
        replaceEnd(middle);
        if (!(step > a.r && step < b.r)) {
            step = SecantStep(a, b);
            if (!(step > a.r && step < b.r)) {
                step = a.r + (b.r - a.r) / 2.0;
            }
        }
        replaceEnd(sampleAt(step));
    }
    return std::nullopt;
}

} // namespace Velk::Math::Sorvane::Mill::Impl
