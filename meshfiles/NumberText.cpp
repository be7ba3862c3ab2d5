// The rare paths of reading numbers, and writing them, see NumberText_Impl.h.

#include "meshfiles/NumberText_Impl.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <system_error>

namespace Velk::Math::Sorvane::MeshUtils::Impl {
namespace {

/// True when the number spelled by [first, last), which is not 0, is at least 1.
bool IsAtLeastOne(const char* first, const char* last)
{
    const char* const mark = std::find_if(first, last, [](char c) { return c == 'e' || c == 'E'; });
    const char* const point = std::find(first, mark, '.');
    const char* const leading =
        std::find_if(first, mark, [](char c) { return c != '0' && c != '.'; });
    // Decimal order: the number lies in [10^(order - 1), 10^order).
    std::int64_t order = point > leading ? point - leading : point + 1 - leading;

    const char* p = mark == last ? last : mark + 1;
    const bool negative = p != last && *p == '-';
    p += negative || (p != last && *p == '+') ? 1 : 0;
    std::int64_t exponent = 0;
    for (; p != last; ++p) {
        // Beyond the length of any token in memory the exponent alone decides.
        exponent = exponent < (std::int64_t{1} << 58U) ? 10 * exponent + (*p - '0') : exponent;
    }
    order += negative ? -exponent : exponent;
    return order > 0;
}

char* WriteWith(char* to, double value, int precision)
{
    return std::to_chars(to, to + kLongestNumber, value, std::chars_format::general, precision).ptr;
}

constexpr int kDigits = 7;
constexpr std::uint32_t kAboveSevenDigits = 10'000'000;

/// A number rounded to seven digits: digits * 10^(exponent - 6), digits in [10^6, 10^7).
struct SevenDigits {
    std::uint32_t digits;
    int exponent;
};

/// Rounds `value` > 0 to seven digits with one multiplication or division by an exact power of ten.
/// That leaves an error below 2^-29 in a number of seven digits, so it settles all but those whose
/// remainder is within 2^-20 of one half; false for them and for values that need a larger power.
bool RoundToSevenDigits(double value, SevenDigits& rounded)
{
    if (!(value >= 1e-15 && value < 1e22)) {
        return false;
    }
    // floor(b log10(2)) for the binary exponent b: the decimal exponent or one less. The fraction
    // 78913 / 2^18 is exact enough for |b| < 90.
    const auto biased = static_cast<int>(std::bit_cast<std::uint64_t>(value) >> 52U);
    int exponent = ((biased - 1023) * 78913) >> 18;
    const auto scale = [value](int power) {
        return power < 0 ? value / kPowersOfTen[static_cast<std::size_t>(-power)]
                         : value * kPowersOfTen[static_cast<std::size_t>(power)];
    };
    double scaled = scale(kDigits - 1 - exponent);
    if (scaled >= kAboveSevenDigits) {
        ++exponent;
        scaled = scale(kDigits - 1 - exponent);
    }
    auto digits = static_cast<std::uint32_t>(scaled);
    const double remainder = scaled - digits;
    if (std::fabs(remainder - 0.5) < 0x1p-20) {
        return false;
    }
    digits += remainder > 0.5 ? 1 : 0;
    if (digits == kAboveSevenDigits) {
        digits /= 10;
        ++exponent;
    }
    rounded = {digits, exponent};
    return true;
}

char* Append(char* to, const char* text, int count)
{
    std::memcpy(to, text, static_cast<std::size_t>(count));
    return to + count;
}

/// "d.ddde+XX" of `count` digits.
char* WriteScientific(char* to, const char* text, int count, int exponent)
{
    *to++ = text[0];
    if (count > 1) {
        *to++ = '.';
        to = Append(to, text + 1, count - 1);
    }
    *to++ = 'e';
    *to++ = exponent < 0 ? '-' : '+';
    const int size = exponent < 0 ? -exponent : exponent; // two digits: |exponent| <= 22
    *to++ = static_cast<char>('0' + size / 10);
    *to++ = static_cast<char>('0' + size % 10);
    return to;
}

/// Plain decimal form of `count` digits; the exponent is in [-4, 6].
char* WriteFixed(char* to, const char* text, int count, int exponent)
{
    if (exponent < 0) {
        to = Append(to, "0.000", 1 - exponent);
        return Append(to, text, count);
    }
    const int integerDigits = exponent + 1;
    if (count <= integerDigits) {
        return Append(to, text, integerDigits); // the digits behind `count` are zeros
    }
    to = Append(to, text, integerDigits);
    *to++ = '.';
    return Append(to, text + integerDigits, count - integerDigits);
}

} // namespace

template <class T>
bool ConvertDigits(const char* first, const char* last, T& value)
{
    if (std::from_chars(first, last, value).ec == std::errc::result_out_of_range) {
        const bool tooLarge = IsAtLeastOne(first, last);
        value = tooLarge ? std::numeric_limits<T>::max() : T{0};
        return !tooLarge;
    }
    return true;
}

template bool ConvertDigits(const char*, const char*, float&);
template bool ConvertDigits(const char*, const char*, double&);

char* WriteNumber7(char* to, double value)
{
    if (value == 0) {
        *to = '-';
        to += std::signbit(value) ? 1 : 0;
        *to = '0';
        return to + 1;
    }
    SevenDigits rounded{};
    if (!RoundToSevenDigits(std::fabs(value), rounded)) {
        return WriteWith(to, value, kDigits);
    }
    if (value < 0) {
        *to++ = '-';
    }
    char text[kDigits];
    std::uint32_t rest = rounded.digits;
    for (int i = kDigits - 1; i >= 0; --i) {
        text[i] = static_cast<char>('0' + rest % 10);
        rest /= 10;
    }
    int count = kDigits;
    while (text[count - 1] == '0') {
        --count; // ends: the first digit is not 0
    }
    return rounded.exponent < -4 || rounded.exponent >= kDigits
               ? WriteScientific(to, text, count, rounded.exponent)
               : WriteFixed(to, text, count, rounded.exponent);
}

char* WriteNumber17(char* to, double value) { return WriteWith(to, value, 17); }

} // namespace Velk::Math::Sorvane::MeshUtils::Impl
