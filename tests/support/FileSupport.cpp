// Whole files as strings, byte by byte: compiled with optimization in every build
// (tests/CMakeLists.txt).

#include "tests/support/FileSupport.h"

namespace Support {

std::string ReadBytes(const std::filesystem::path& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

std::string BinaryStlBytes(const SmallMesh& mesh, std::string header, std::uint32_t triangleCount)
{
    header.resize(80, ' ');
    std::string bytes = header + LittleEndianBytes(triangleCount);
    for (std::size_t i = 0; i < mesh.indices.size(); ++i) {
        if (i % 3 == 0) {
            bytes += FloatBytes(0) + FloatBytes(0) + FloatBytes(1);
        }
        for (const float x : mesh.points[static_cast<std::size_t>(mesh.indices[i])]) {
            bytes += FloatBytes(x);
        }
        if (i % 3 == 2) {
            bytes += std::string("\x12\x34"); // an attribute, of which nobody reads anything
        }
    }
    return bytes;
}

std::string SolidText(const SmallMesh& mesh, const std::string& name)
{
    std::ostringstream text;
    text.imbue(std::locale::classic());
    text.precision(17); // tells every double, and so every float
    text << "solid " << name << '\n';
    for (std::size_t i = 0; i < mesh.indices.size(); i += 3) {
        text << "  facet normal 0 0 1\n    outer loop\n";
        for (std::size_t k = 0; k < 3; ++k) {
            const auto& p = mesh.points[static_cast<std::size_t>(mesh.indices[i + k])];
            text << "      vertex " << double{p[0]} << ' ' << double{p[1]} << ' ' << double{p[2]}
                 << '\n';
        }
        text << "    endloop\n  endfacet\n";
    }
    text << "endsolid " << name << '\n';
    return text.str();
}

std::string TipcBytes(const SmallMesh& mesh, const std::vector<unsigned long long>& vertexTags,
                      const std::vector<unsigned long long>& triangleTags)
{
    std::string bytes = LittleEndianBytes(static_cast<std::uint32_t>(mesh.points.size())) +
                        LittleEndianBytes(static_cast<std::uint32_t>(mesh.indices.size() / 3));
    bytes += static_cast<char>(vertexTags.empty() ? 0 : 1);
    bytes += static_cast<char>(triangleTags.empty() ? 0 : 1);
    for (const auto& point : mesh.points) {
        for (const float x : point) {
            bytes += DoubleBytes(x);
        }
    }
    for (const int index : mesh.indices) {
        bytes += LittleEndianBytes(static_cast<std::uint32_t>(index));
    }
    for (const auto* tags : {&vertexTags, &triangleTags}) {
        for (const unsigned long long tag : *tags) {
            bytes += LittleEndianBytes(std::uint64_t{tag});
        }
    }
    return bytes;
}

} // namespace Support
