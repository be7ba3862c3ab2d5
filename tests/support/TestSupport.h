// Helpers that all tests share: the assert watch, the way to data files, seeded random values.
#pragma once

#include <Velk/Math/VecBase_E.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <string>

namespace Test {

/// Every test fails when the library reports a broken internal condition, unless the test announces
/// how many reports it provokes.
void ExpectAssertions(int count);
/// Reports since the running test began, and the text of the last one: "file:line function".
int AssertionCount();
std::string LastAssertion();

/// A file of the shared inputs, for example SharedData("meshes_nist/x.stl"); empty when it is not there.
std::filesystem::path SharedData(const std::string& name);
/// A file of examples/data, which every checkout has.
std::filesystem::path ExampleData(const std::string& name);

/// A fresh empty folder that is removed with the object.
class TemporaryFolder {
public:
    TemporaryFolder();
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;
    std::filesystem::path operator/(const std::string& name) const { return path_ / name; }

private:
    std::filesystem::path path_;
};

/// Seeded generator whose values are the same with every standard library (splitmix64).
class Random {
public:
    explicit Random(std::uint64_t seed) : state_(seed) {}

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

} // namespace Test

/// `file` must be a non-empty path from SharedData; otherwise the test ends, marked as skipped.
#define SORVANE_NEED_DATA(file)                                                                    \
    if ((file).empty())                                                                            \
    GTEST_SKIP() << "the shared input of this test is not on this machine"
