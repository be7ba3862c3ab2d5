// TIPC: the two vectors of a mesh and their tags as they lie in memory, little-endian and packed,
// after a header of 10 bytes.

#include <Sorvane/MeshFiles_E.h>

#include "meshfiles/AvailableMemory_Impl.h"
#include "meshfiles/MeshFiles_Impl.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <utility>

namespace Velk::Math::Sorvane::MeshUtils {
namespace Impl {
namespace {

using Tag = unsigned long long;
static_assert(sizeof(VecBase<3, double>) == 24 && sizeof(int) == 4 && sizeof(Tag) == 8,
              "arrays go to the file as they lie in memory");

struct TipcHeader {
    std::uint32_t pointCount = 0;
    std::uint32_t triangleCount = 0;
    std::uint8_t hasVertexTags = 0; // any value but 0 means yes
    std::uint8_t hasTriangleTags = 0;

    std::size_t IndexCount() const { return std::size_t{3} * triangleCount; }
    std::size_t VertexTagCount() const { return hasVertexTags > 0 ? pointCount : 0; }
    std::size_t TriangleTagCount() const { return hasTriangleTags > 0 ? triangleCount : 0; }

    /// Memory that the arrays take.
    std::uint64_t ArrayBytes() const
    {
        return pointCount * std::uint64_t{sizeof(VecBase<3, double>)} +
               triangleCount * std::uint64_t{3 * sizeof(int)} +
               (VertexTagCount() + TriangleTagCount()) * std::uint64_t{sizeof(Tag)};
    }
};

bool ReadHeader(ByteReader& file, TipcHeader& header)
{
    return ReadField(file, header.pointCount) && header.pointCount > 0 &&
           ReadField(file, header.triangleCount) && header.triangleCount > 0 &&
           ReadField(file, header.hasVertexTags) && ReadField(file, header.hasTriangleTags);
}

void WriteHeader(ByteWriter& file, const TipcHeader& header)
{
    std::array<std::byte, 10> bytes{};
    std::byte* at = StoreLittleEndian(bytes.data(), header.pointCount);
    at = StoreLittleEndian(at, header.triangleCount);
    at = StoreLittleEndian(at, header.hasVertexTags);
    StoreLittleEndian(at, header.hasTriangleTags);
    file.Write(bytes.data(), bytes.size());
}

} // namespace

bool ReadTipc(ByteReader& file, std::vector<VecBase<3, double>>& points, std::vector<int>& indices,
              std::vector<Tag>& vertexTags, std::vector<Tag>& triangleTags)
{
    TipcHeader header;
    if (!ReadHeader(file, header)) {
        return false;
    }
    RequireMemory(header.ArrayBytes());
    ReadArray<double>(file, points, header.pointCount);
    ReadArray<int>(file, indices, header.IndexCount());
    ReadArray<Tag>(file, vertexTags, header.VertexTagCount());
    ReadArray<Tag>(file, triangleTags, header.TriangleTagCount());
    return true;
}

} // namespace Impl

bool WriteToTIPC(const std::vector<VecBase<3, double>>& points, const std::vector<int>& indices,
                 const std::vector<unsigned long long>& vertexTags,
                 const std::vector<unsigned long long>& triangleTags, std::string fileName)
{
    if (indices.size() % 3 != 0) {
        return false;
    }
    Impl::ByteWriter file(std::move(fileName), std::ios::binary);
    if (!file.IsOpen()) {
        return false;
    }
    const std::size_t triangleCount = indices.size() / 3;
    Impl::TipcHeader header;
    header.pointCount = static_cast<std::uint32_t>(points.size());
    header.triangleCount = static_cast<std::uint32_t>(triangleCount);
    header.hasVertexTags = vertexTags.size() == points.size() ? 1 : 0;
    header.hasTriangleTags = triangleTags.size() == triangleCount ? 1 : 0;
    Impl::WriteHeader(file, header);
    Impl::WriteArray<double>(file, std::span(points));
    Impl::WriteArray<int>(file, std::span(indices));
    if (header.hasVertexTags > 0) {
        Impl::WriteArray<Impl::Tag>(file, std::span(vertexTags));
    }
    if (header.hasTriangleTags > 0) {
        Impl::WriteArray<Impl::Tag>(file, std::span(triangleTags));
    }
    return true;
}

bool WriteToTIPC(const std::vector<VecBase<3, double>>& points, const std::vector<int>& indices,
                 std::string fileName)
{
    return WriteToTIPC(points, indices, {}, {}, std::move(fileName));
}

bool ReadFromTIPC(std::vector<VecBase<3, double>>& points, std::vector<int>& indices,
                  std::vector<unsigned long long>& vertexTags,
                  std::vector<unsigned long long>& triangleTags, std::string fileName)
{
    points.clear();
    indices.clear();
    vertexTags.clear();
    triangleTags.clear();
    Impl::ByteReader file(std::move(fileName));
    return file.IsOpen() && Impl::ReadTipc(file, points, indices, vertexTags, triangleTags);
}

bool ReadFromTIPC(std::vector<VecBase<3, double>>& points, std::vector<int>& indices,
                  std::string fileName)
{
    std::vector<unsigned long long> vertexTags;
    std::vector<unsigned long long> triangleTags;
    return ReadFromTIPC(points, indices, vertexTags, triangleTags, std::move(fileName));
}

} // namespace Velk::Math::Sorvane::MeshUtils
