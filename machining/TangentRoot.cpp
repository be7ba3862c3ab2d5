#include "machining/TangentRoot_Impl.h"

#include <algorithm>
#include <cmath>

namespace Velk::Math::Sorvane::Mill::Impl {

namespace {

constexpr int kMostRounds = 200;

struct Sample {
    double r;
    double value;
    double noise; // up to which the value counts as 0

    bool IsRoot() const { return std::fabs(value) <= noise; }
};

/// Do two values differ by more than what they may be off by?
bool Differ(const Sample& a, const Sample& b)
{
    return std::fabs(a.value - b.value) > std::max(a.noise, b.noise);
}

/// Sum of the magnitudes of the quartic's terms.
double SizeAt(const Quartic& c, double r)
{
    const auto size = [](double x) { return std::fabs(x); };
    const double at = size(r);
    return (((size(c[4]) * at + size(c[3])) * at + size(c[2])) * at + size(c[1])) * at + size(c[0]);
}

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
    // What a value may be off by is a share of the terms it is the sum of. Below the tip of a ball
    // all terms are small, since the quartic has r^2 for a factor there: measured by a fixed bound
    // every place near the axis would count as a root.
    const auto sampleAt = [&](double r) {
        return Sample{r, ValueAt(quartic, r), tolerance * SizeAt(quartic, r)};
    };
    Sample a = sampleAt(low);
    Sample b = sampleAt(high);
    if (a.IsRoot()) {
        return a.r;
    }
    if (b.IsRoot()) {
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
        if (a.IsRoot() || b.IsRoot() || width <= tolerance * std::fabs(a.r + b.r) / 2.0) {
            return std::fabs(a.value) <= std::fabs(b.value) ? a.r : b.r;
        }
        const Sample middle = sampleAt(a.r + width / 2.0);
        const bool allDiffer = Differ(a, b) && Differ(a, middle) && Differ(b, middle);
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
