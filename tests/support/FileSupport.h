// Helpers of the file tests: whole files as strings, meshes as bits, and a host with a comma
// locale.
#pragma once

#include <Velk/Math/VecBase_E.h>

#include <gtest/gtest.h>

#include <array>
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

#include <unistd.h>

namespace Support {

inline void WriteBytes(const std::filesystem::path& path, std::string_view bytes)
{
    std::ofstream file(path, std::ios::binary);
    file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

std::string ReadBytes(const std::filesystem::path& path);

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

/// A mesh for the tests of files: corners that are exact in `float`, among them no round ones.
struct SmallMesh {
    std::vector<std::array<float, 3>> points;
    std::vector<int> indices;
};

/// A tetrahedron, and a triangle beside it that shares two of its points.
inline SmallMesh TetrahedronAndFin()
{
    return {{{0, 0, 0},
             {1.5F, 0, 0.25F},
             {0, 2.1F, -0.0F},
             {-3e-7F, 1.0F / 3, 12345.678F},
             {-1, -1, 7}},
            {0, 2, 1, 0, 1, 3, 1, 2, 3, 2, 0, 3, 1, 0, 4}};
}

/// The bytes of a binary STL of `triangleCount` announced triangles, made without the library.
std::string BinaryStlBytes(const SmallMesh& mesh, std::string header, std::uint32_t triangleCount);

inline std::string BinaryStlBytes(const SmallMesh& mesh, const std::string& header)
{
    return BinaryStlBytes(mesh, header, static_cast<std::uint32_t>(mesh.indices.size() / 3));
}

/// One solid of an ASCII STL.
std::string SolidText(const SmallMesh& mesh, const std::string& name);

/// The bytes of a TIPC file.
std::string TipcBytes(const SmallMesh& mesh, const std::vector<unsigned long long>& vertexTags,
                      const std::vector<unsigned long long>& triangleTags);

/// The corners of the triangles in the coordinate type T.
template <class T>
std::vector<Velk::Math::VecBase<3, T>> CornersOf(const SmallMesh& mesh)
{
    std::vector<Velk::Math::VecBase<3, T>> corners;
    for (const int index : mesh.indices) {
        const auto& p = mesh.points[static_cast<std::size_t>(index)];
        corners.push_back({static_cast<T>(p[0]), static_cast<T>(p[1]), static_cast<T>(p[2])});
    }
    return corners;
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

/// While it lives, a process of the superuser acts as one that may not read or write everything, so
/// that permissions can be tested.
class WithoutPrivileges {
public:
    WithoutPrivileges() : before_(::geteuid())
    {
        constexpr uid_t kNobody = 65534;
        if (before_ == 0) {
            EXPECT_EQ(::seteuid(kNobody), 0);
        }
    }
    ~WithoutPrivileges()
    {
        if (before_ == 0) {
            EXPECT_EQ(::seteuid(before_), 0);
        }
    }
    WithoutPrivileges(const WithoutPrivileges&) = delete;
    WithoutPrivileges& operator=(const WithoutPrivileges&) = delete;

private:
    uid_t before_;
};

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

} // namespace Support
