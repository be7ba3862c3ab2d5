// Templates that most test programs use, compiled once for all of them.
//
// They are compiled with optimization in sanitizer builds too, where the tests are not: a subscript
// or the size of a list is what an unoptimized loop calls most.
//
// Without optimization a compiler emits every function of the standard library's templates anew in
// each file that calls it, which made up a third of what was compiled. Since C++20 that holds for
// std::string, too. Declared here, they come from the test support library. Precompiled.h alone
// includes this, so that a build without the precompiled header does without it.
#pragma once

#include <Velk/Math/VecBase_E.h>

#include "tests/support/StlFile.h"

#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <deque>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

// The failing sides of gtest's comparisons of an A with a B, which print both.
#define SORVANE_TEST_COMPARISON(KIND, A, B)                                             \
    KIND template testing::AssertionResult testing::internal::CmpHelperEQFailure<A, B>( \
        const char*, const char*, const A&, const B&);                                  \
    KIND template testing::AssertionResult testing::internal::CmpHelperOpFailure<A, B>( \
        const char*, const char*, const A&, const B&, const char*);

// What a vector of N components of type T has for all N; clang 14 would instantiate the rest with
// the class.
#define SORVANE_TEST_VECTOR(KIND, N, T)                                                \
    KIND template T& Velk::Math::VecBase<N, T>::operator[](int);                       \
    KIND template const T& Velk::Math::VecBase<N, T>::operator[](int) const;           \
    KIND template T& Velk::Math::VecBase<N, T>::x();                                   \
    KIND template const T& Velk::Math::VecBase<N, T>::x() const;                       \
    KIND template T& Velk::Math::VecBase<N, T>::y();                                   \
    KIND template const T& Velk::Math::VecBase<N, T>::y() const;                       \
    KIND template Velk::Math::VecBase<N, T>& Velk::Math::VecBase<N, T>::operator+=(    \
        const VecBase&);                                                               \
    KIND template Velk::Math::VecBase<N, T>& Velk::Math::VecBase<N, T>::operator-=(    \
        const VecBase&);                                                               \
    KIND template Velk::Math::VecBase<N, T>& Velk::Math::VecBase<N, T>::operator*=(T); \
    KIND template Velk::Math::VecBase<N, T>& Velk::Math::VecBase<N, T>::operator/=(T);

#define SORVANE_TEST_INSTANTIATIONS(KIND)                                                  \
    SORVANE_TEST_VECTOR(KIND, 2, float)                                                    \
    SORVANE_TEST_VECTOR(KIND, 3, float)                                                    \
    SORVANE_TEST_VECTOR(KIND, 2, double)                                                   \
    SORVANE_TEST_VECTOR(KIND, 3, double)                                                   \
    KIND template struct std::array<int, 3>;                                               \
    KIND template struct std::array<double, 3>;                                            \
    KIND template struct std::array<Velk::Math::VecBase<3, double>, 3>;                    \
    KIND template class std::basic_string<char>;                                           \
    KIND template class std::vector<int>;                                                  \
    KIND template class std::vector<unsigned>;                                             \
    KIND template class std::vector<std::size_t>;                                          \
    KIND template class std::vector<unsigned char>;                                        \
    KIND template class std::vector<float>;                                                \
    KIND template class std::vector<double>;                                               \
    KIND template class std::vector<std::string>;                                          \
    KIND template class std::vector<std::pair<int, int>>;                                  \
    KIND template class std::vector<std::vector<int>>;                                     \
    KIND template class std::vector<Velk::Math::VecBase<2, float>>;                        \
    KIND template class std::vector<Velk::Math::VecBase<3, float>>;                        \
    KIND template class std::vector<Velk::Math::VecBase<2, double>>;                       \
    KIND template class std::vector<Velk::Math::VecBase<3, double>>;                       \
    KIND template class std::vector<std::vector<Velk::Math::VecBase<2, double>>>;          \
    KIND template class std::vector<std::array<Velk::Math::VecBase<3, double>, 3>>;        \
    KIND template class std::deque<int>;                                                   \
    KIND template class std::deque<std::pair<int, int>>;                                   \
    KIND template class std::set<int>;                                                     \
    KIND template class std::set<std::string>;                                             \
    KIND template class std::set<std::pair<int, int>>;                                     \
    KIND template class std::map<std::pair<int, int>, int>;                                \
    KIND template std::vector<Velk::Math::VecBase<3, float>> Support::StlCorners<float>(   \
        const std::filesystem::path&);                                                     \
    KIND template std::vector<Velk::Math::VecBase<3, double>> Support::StlCorners<double>( \
        const std::filesystem::path&);                                                     \
    KIND template Velk::Math::Sorvane::Mesh::IndexedPointsBase<3, double>                  \
    Support::WeldedStl<double>(const std::filesystem::path&);                              \
    KIND template std::string testing::PrintToString<bool>(const bool&);                   \
    KIND template std::string testing::PrintToString<int>(const int&);                     \
    KIND template std::string testing::PrintToString<unsigned>(const unsigned&);           \
    KIND template std::string testing::PrintToString<std::size_t>(const std::size_t&);     \
    KIND template std::string testing::PrintToString<float>(const float&);                 \
    KIND template std::string testing::PrintToString<double>(const double&);               \
    KIND template std::string testing::PrintToString<std::string>(const std::string&);     \
    SORVANE_TEST_COMPARISON(KIND, bool, bool)                                              \
    SORVANE_TEST_COMPARISON(KIND, int, int)                                                \
    SORVANE_TEST_COMPARISON(KIND, std::size_t, unsigned)                                   \
    SORVANE_TEST_COMPARISON(KIND, std::size_t, std::size_t)                                \
    SORVANE_TEST_COMPARISON(KIND, float, float)                                            \
    SORVANE_TEST_COMPARISON(KIND, double, double)                                          \
    SORVANE_TEST_COMPARISON(KIND, double, int)

SORVANE_TEST_INSTANTIATIONS(extern)
