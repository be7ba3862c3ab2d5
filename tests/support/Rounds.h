// How much a test does in a build with the sanitizers.
#pragma once

#include <algorithm>
#include <type_traits>

// GCC tells of a sanitizer by a macro, Clang by a feature. Who defines SORVANE_TEST_SANITIZED as 1
// runs the light form of the tests in any build.
#if !defined(SORVANE_TEST_SANITIZED)
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define SORVANE_TEST_SANITIZED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define SORVANE_TEST_SANITIZED 1
#endif
#endif
#endif
#if !defined(SORVANE_TEST_SANITIZED)
#define SORVANE_TEST_SANITIZED 0
#endif

namespace Support {

/// Whether this test is compiled for the address or the thread sanitizer.
///
/// The release build draws the full number of random inputs on every change: that is where a rare
/// wrong answer is found. The sanitizers look for something else, a wrong access, which is made by
/// the code that is walked and not by the values that walk it; and each draw takes them ten to
/// twenty times as long. So there the same tests, with the same checks, are content with fewer
/// draws and smaller sizes.
inline constexpr bool kSanitized = SORVANE_TEST_SANITIZED != 0;

/// Random trials, or elements of a large input: `full` of them, an eighth under a sanitizer, but no
/// fewer than `least` (nor more than `full`). What a test asks of the count of them is scaled
/// alike.
template <class T>
constexpr T Rounds(T full, std::type_identity_t<T> least = 4)
{
    return kSanitized ? std::min(full, std::max<T>(full / 8, least)) : full;
}

/// For what an eighth does not fit: the size of an input that is squared or cubed, the
/// greatest file.
template <class T>
constexpr T FullOr(T full, T sanitized)
{
    return kSanitized ? sanitized : full;
}

} // namespace Support
