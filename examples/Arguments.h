// Numbers on the command line, for the example programs.
#pragma once

#include <charconv>
#include <cmath>
#include <optional>
#include <string_view>

/// The finite number that `text` is as a whole.
inline std::optional<double> NumberOf(std::string_view text)
{
    double number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    const bool isNumber =
        error == std::errc{} && end == text.data() + text.size() && std::isfinite(number);
    return isNumber ? std::optional(number) : std::nullopt;
}

/// The same, and not negative.
inline std::optional<double> LengthOf(std::string_view text)
{
    const std::optional<double> number = NumberOf(text);
    return number && *number >= 0 ? number : std::nullopt;
}
