// Decimal numbers in text, exactly as the standard streams read and write them in the classic
// locale, without the streams.
//
// Reading collects what a stream's number extraction collects: sign, digits, one point, digits, and
// an exponent once a digit was seen. Whether that is a number is decided afterward: "1e" and "-"
// are failures that have taken their characters. There is no "nan", "inf" or hexadecimal form. Up
// to 2^53 as digits and 10^22 as scale, one multiplication or division of exact operands rounds
// correctly (W. D. Clinger, "How to Read Floating Point Numbers Accurately", 1990); everything else
// goes to std::from_chars.
#pragma once

#include <array>
#include <bit>
#include <cfloat>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <type_traits>

namespace Velk::Math::Sorvane::MeshUtils::Impl {

/// White space of the classic locale, except for the line end.
inline bool IsBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\v' || c == '\f'; }

inline bool IsDigit(char c) { return c >= '0' && c <= '9'; }

inline const char* SkipBlanks(const char* at)
{
    while (IsBlank(*at)) {
        ++at;
    }
    return at;
}

/// Powers of ten that `double` holds exactly.
inline constexpr std::array<double, 23> kPowersOfTen = {
    1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,  1e8,  1e9,  1e10, 1e11,
    1e12, 1e13, 1e14, 1e15, 1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};
inline constexpr int kLargestExactPower = 22;

/// The number spelled by [first, last), unsigned and well formed, correctly rounded. True when it
/// is in range; a number too small is 0 and in range; one too large is the largest finite value and
/// is not.
template <class T>
bool ConvertDigits(const char* first, const char* last, T& value);

/// True when rounding `value`, itself rounded from the true number, to `float` may differ from
/// rounding the true number: when it lies halfway between two floats, or where floats are not
/// normal numbers.
inline bool MayRoundTwice(double value)
{
    constexpr std::uint64_t kBelowFloat = (std::uint64_t{1} << 29U) - 1;
    constexpr std::uint64_t kHalfway = std::uint64_t{1} << 28U;
    return (std::bit_cast<std::uint64_t>(value) & kBelowFloat) == kHalfway ||
           !(value >= double{FLT_MIN} && value <= double{FLT_MAX});
}

/// digits * 10^exponent when that takes a single correct rounding; false when it does not.
template <class T>
bool ScaleExactly(std::uint64_t digits, std::int64_t exponent, T& value)
{
    constexpr std::uint64_t kLargestExactInteger = std::uint64_t{1} << 53U;
    // Intermediate results wider than `double` would round twice.
    if (FLT_EVAL_METHOD != 0 || digits > kLargestExactInteger || exponent > kLargestExactPower ||
        exponent < -kLargestExactPower) {
        return false;
    }
    const auto integer = static_cast<double>(digits);
    const double scaled = exponent < 0 ? integer / kPowersOfTen[static_cast<std::size_t>(-exponent)]
                                       : integer * kPowersOfTen[static_cast<std::size_t>(exponent)];
    if constexpr (std::is_same_v<T, float>) {
        if (digits != 0 && MayRoundTwice(scaled)) {
            return false;
        }
    }
    value = static_cast<T>(scaled);
    return true;
}

/// Skips blanks and reads a number as `stream >> value` does. `at` lies in a line that ends with
/// '\n', and moves behind what the stream would have taken.
///
/// False as the stream fails: at the line's end `value` stays as it is; it becomes 0 when what
/// stands there is no number, the largest finite value with the right sign when it is too large.
template <class T>
bool ReadNumber(const char*& at, T& value)
{
    const char* p = SkipBlanks(at);
    if (*p == '\n') {
        at = p;
        return false;
    }
    const bool negative = *p == '-';
    p += negative || *p == '+' ? 1 : 0;

    const char* const number = p;
    std::uint64_t digits = 0; // wraps around beyond 19 digits, and is not used then
    const auto takeDigits = [&digits, &p] {
        const char* const first = p;
        for (; IsDigit(*p); ++p) {
            digits = 10 * digits + static_cast<std::uint64_t>(*p - '0');
        }
        return p - first;
    };
    std::int64_t digitCount = takeDigits();
    std::int64_t exponent = 0;
    if (*p == '.') {
        ++p;
        const std::int64_t decimals = takeDigits();
        digitCount += decimals;
        exponent = -decimals;
    }
    bool complete = digitCount > 0;
    if (complete && (*p == 'e' || *p == 'E')) {
        ++p;
        const bool negativeExponent = *p == '-';
        p += negativeExponent || *p == '+' ? 1 : 0;
        complete = IsDigit(*p);
        std::int64_t stated = 0;
        for (; IsDigit(*p); ++p) {
            stated = stated < 1'000'000 ? 10 * stated + (*p - '0') : stated;
        }
        exponent += negativeExponent ? -stated : stated;
    }
    at = p;
    if (!complete) {
        value = 0;
        return false;
    }
    T magnitude{};
    const bool inRange = (digitCount <= 19 && ScaleExactly(digits, exponent, magnitude)) ||
                         ConvertDigits(number, p, magnitude);
    value = negative ? -magnitude : magnitude;
    return inRange;
}

/// Longest text that `WriteNumber` makes: sign, 17 digits, point, "e-308".
inline constexpr std::size_t kLongestNumber = 24;

/// Writes `value` as a stream of precision 7 in the default format does ("%.7g" of C), and returns
/// the place behind it. `to` has room for kLongestNumber characters.
char* WriteNumber7(char* to, double value);
/// The same with precision 17, which tells every double from its neighbors.
char* WriteNumber17(char* to, double value);

} // namespace Velk::Math::Sorvane::MeshUtils::Impl
