// Seeded random values for tests and benchmarks.
#pragma once

#include <Velk/Math/VecBase_E.h>

#include <cstdint>
#include <cstdlib>

namespace Support {

/// SORVANE_TEST_SEED of the environment, 0 without: with a number there all random inputs are others.
inline std::uint64_t SeedOfRun()
{
    static const std::uint64_t seed = [] {
        const char* const text = std::getenv("SORVANE_TEST_SEED");
        return text == nullptr ? std::uint64_t{0} : std::strtoull(text, nullptr, 10);
    }();
    return seed;
}

/// Seeded generator whose values are the same with every standard library (splitmix64).
class Random {
public:
    explicit Random(std::uint64_t seed) : state_(seed + 0xd1342543de82ef95U * SeedOfRun()) {}

    /// The same values in every run, for inputs that were searched for.
    static Random OfEveryRun(std::uint64_t seed)
    {
        Random random(0);
        random.state_ = seed;
        return random;
    }

    std::uint64_t Bits()
    {
        std::uint64_t z = (state_ += 0x9e3779b97f4a7c15U);
        z = (z ^ (z >> 30U)) * 0xbf58476d1ce4e5b9U;
        z = (z ^ (z >> 27U)) * 0x94d049bb133111ebU;
        return z ^ (z >> 31U);
    }

    /// In [0, 1).
    double Unit() { return static_cast<double>(Bits() >> 11U) * 0x1p-53; }
    double Between(double low, double high) { return low + (high - low) * Unit(); }
    /// In [0, count).
    int Below(int count) { return static_cast<int>(Bits() % static_cast<std::uint64_t>(count)); }

    template <int N, class T> Velk::Math::VecBase<N, T> Vector(double low, double high)
    {
        Velk::Math::VecBase<N, T> v;
        for (int i = 0; i < N; ++i) {
            v[i] = static_cast<T>(Between(low, high));
        }
        return v;
    }

private:
    std::uint64_t state_;
};

} // namespace Support
