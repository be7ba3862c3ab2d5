// Helpers of the file tests: whole files as strings, meshes as bits, and a host with a comma
// locale.
#pragma once

#include <Velk/Math/VecBase_E.h>

#include <bit>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <locale>
#include <sstream>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

namespace Test {

inline void WriteBytes(const std::filesystem::path& path, std::string_view bytes)
{
    std::ofstream file(path, std::ios::binary);
    file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

inline std::string ReadBytes(const std::filesystem::path& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

/// Bytes of an integer in little-endian order, made by shifts and so the same on any host.
template <class Integer>
std::string LittleEndianBytes(Integer value)
{
    std::string bytes;
    for (std::size_t i = 0; i < sizeof(Integer); ++i) {
        bytes += static_cast<char>((static_cast<std::uint64_t>(value) >> (8 * i)) & 0xffU);
    }
    return bytes;
}

inline std::string FloatBytes(float value)
{
    return LittleEndianBytes(std::bit_cast<std::uint32_t>(value));
}

inline std::string DoubleBytes(double value)
{
    return LittleEndianBytes(std::bit_cast<std::uint64_t>(value));
}

/// Coordinates as bits: equal only when every NaN payload and every sign of zero is.
template <int N, class T>
auto Bits(const std::vector<Velk::Math::VecBase<N, T>>& points)
{
    using Word = std::conditional_t<sizeof(T) == 4, std::uint32_t, std::uint64_t>;
    std::vector<Word> bits;
    for (const auto& point : points) {
        for (const T component : point) {
            bits.push_back(std::bit_cast<Word>(component));
        }
    }
    return bits;
}

/// While it lives, the global locale of streams writes 1234567.5 as 1.234.567,5.
class CommaLocale {
public:
    CommaLocale() : before_(std::locale::global(std::locale(std::locale::classic(), new Comma))) {}
    ~CommaLocale() { std::locale::global(before_); }
    CommaLocale(const CommaLocale&) = delete;
    CommaLocale& operator=(const CommaLocale&) = delete;

private:
    class Comma : public std::numpunct<char> {
        char do_decimal_point() const override { return ','; }
        char do_thousands_sep() const override { return '.'; }
        std::string do_grouping() const override { return "\3"; }
    };
    std::locale before_;
};

} // namespace Test
