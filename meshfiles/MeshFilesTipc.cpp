// TIPC: the two vectors of a mesh and their tags as they lie in memory, little-endian and packed,
// after a header of 10 bytes.

#include <Sorvane/MeshFiles_E.h>

#include "meshfiles/AvailableMemory_Impl.h"
#include "meshfiles/MeshFiles_Impl.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <type_traits>
#include <utility>

namespace Velk::Math::Sorvane::MeshUtils {
namespace Impl {
namespace {

static_assert(sizeof(VecBase<3, double>) == 24 && sizeof(int) == 4 && sizeof(Tag) == 8,
              "arrays go to the file as they lie in memory");

bool ReadHeader(ByteReader& file, TipcHeader& header)
{
    return ReadField(file, header.pointCount) && header.pointCount > 0 &&
           ReadField(file, header.triangleCount) && header.triangleCount > 0 &&
           ReadField(file, header.hasVertexTags) && ReadField(file, header.hasTriangleTags);
}

void WriteHeader(ByteWriter& file, const TipcHeader& header)
{
    std::array<std::byte, TipcHeader::kBytes> bytes{};
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

template <class T>
void WriteTipc(ByteWriter& file, const std::vector<VecBase<3, T>>& points,
               const std::vector<int>& indices, const std::vector<Tag>& vertexTags,
               const std::vector<Tag>& triangleTags)
{
    const std::size_t triangleCount = indices.size() / 3;
    TipcHeader header;
    header.pointCount = static_cast<std::uint32_t>(points.size());
    header.triangleCount = static_cast<std::uint32_t>(triangleCount);
    header.hasVertexTags = vertexTags.size() == points.size() ? 1 : 0;
    header.hasTriangleTags = triangleTags.size() == triangleCount ? 1 : 0;
    WriteHeader(file, header);
    if constexpr (std::is_same_v<T, double>) {
        WriteArray<double>(file, std::span(points));
    } else {
        WriteItems<std::byte>(file, points.size(), 3 * sizeof(double),
                              [&points](std::size_t point, std::byte* to) {
                                  for (const T component : points[point]) {
                                      to = StoreLittleEndian(to, static_cast<double>(component));
                                  }
                                  return to;
                              });
    }
    WriteArray<int>(file, std::span(indices));
    if (header.hasVertexTags > 0) {
        WriteArray<Tag>(file, std::span(vertexTags));
    }
    if (header.hasTriangleTags > 0) {
        WriteArray<Tag>(file, std::span(triangleTags));
    }
}

template void WriteTipc(ByteWriter&, const std::vector<VecBase<3, float>>&, const std::vector<int>&,
                        const std::vector<Tag>&, const std::vector<Tag>&);
template void WriteTipc(ByteWriter&, const std::vector<VecBase<3, double>>&,
                        const std::vector<int>&, const std::vector<Tag>&, const std::vector<Tag>&);

} // namespace Impl

bool WriteToTIPC(const std::vector<VecBase<3, double>>& points, const std::vector<int>& indices,
                 const std::vector<unsigned long long>& vertexTags,
                 const std::vector<unsigned long long>& triangleTags, std::string fileName)
{
    if (indices.size() % 3 != 0) {
        return false;
    }
    Impl::ByteWriter file(fileName);
    if (!file.IsOpen()) {
        return false;
    }
    Impl::WriteTipc(file, points, indices, vertexTags, triangleTags);
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
    Impl::ClearedOutputs outputs(points, indices, vertexTags, triangleTags);
    Impl::ByteReader file(fileName);
    const bool isRead =
        file.IsOpen() && Impl::ReadTipc(file, points, indices, vertexTags, triangleTags);
    outputs.Keep();
    return isRead;
}

bool ReadFromTIPC(std::vector<VecBase<3, double>>& points, std::vector<int>& indices,
                  std::string fileName)
{
    std::vector<unsigned long long> vertexTags;
    std::vector<unsigned long long> triangleTags;
    return ReadFromTIPC(points, indices, vertexTags, triangleTags, std::move(fileName));
}

} // namespace Velk::Math::Sorvane::MeshUtils
