// Binary STL: an 80-byte header, a 32-bit count, and for each triangle 50 packed little-endian
// bytes: normal and three corners as 32-bit floats, and a 16-bit attribute.

#include <Sorvane/MeshFiles_E.h>

#include "meshfiles/AvailableMemory_Impl.h"
#include "meshfiles/MeshFiles_Impl.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <string>
#include <string_view>

namespace Velk::Math::Sorvane::MeshUtils {
namespace Impl {
namespace {

/// Begins the header of every file that is written; blanks fill the rest.
constexpr std::string_view kWrittenHeader = "ARDENWICK STL DATA";

std::byte* StoreVector(std::byte* to, const VecBase<3, float>& v)
{
    for (const float component : v) {
        to = StoreLittleEndian(to, component);
    }
    return to;
}

} // namespace

template <class T>
bool ReadBinaryStl(ByteReader& file, std::vector<VecBase<3, T>>& points)
{
    std::array<std::byte, kStlHeaderBytes> header{};
    std::uint32_t triangleCount = 0;
    if (file.Read(header.data(), header.size()) < header.size() ||
        !ReadField(file, triangleCount) || triangleCount == 0) {
        return false;
    }
    const std::uint64_t pointCount = std::uint64_t{3} * triangleCount;
    RequireMemory(pointCount * sizeof(VecBase<3, T>));
    ReserveForReading(points, pointCount);

    constexpr std::size_t kBlockRecords = kBlockBytes / kStlRecordBytes;
    std::vector<std::byte> block(std::min<std::size_t>(triangleCount, kBlockRecords) *
                                 kStlRecordBytes);
    for (bool complete = true; complete && points.size() < pointCount;) {
        const std::size_t first = points.size();
        const std::size_t wanted =
            std::min<std::size_t>((pointCount - first) / 3, kBlockRecords) * kStlRecordBytes;
        const std::size_t arrived = file.Read(block.data(), wanted);
        complete = arrived == wanted;

        // A record that breaks off keeps the bytes that arrived, over zeros.
        const std::size_t records = (arrived + kStlRecordBytes - 1) / kStlRecordBytes;
        std::fill(block.data() + arrived, block.data() + records * kStlRecordBytes, std::byte{0});
        points.resize(first + 3 * records);
        for (std::size_t record = 0; record < records; ++record) {
            LoadCorners(block.data() + record * kStlRecordBytes,
                        points.data() + first + 3 * record);
        }
    }
    points.resize(pointCount);
    return true;
}

template bool ReadBinaryStl(ByteReader&, std::vector<VecBase<3, float>>&);
template bool ReadBinaryStl(ByteReader&, std::vector<VecBase<3, double>>&);

template <class T>
void WriteBinaryStl(ByteWriter& file, const std::vector<VecBase<3, T>>& points,
                    const std::vector<int>& indices)
{
    std::string header(kWrittenHeader);
    header.resize(kStlHeaderBytes, ' ');
    file.Write(header);
    const std::size_t triangleCount = indices.size() / 3;
    const auto count = LittleEndian(static_cast<std::uint32_t>(triangleCount));
    file.Write(&count, sizeof(count));

    const auto store = [&points, &indices](std::size_t triangle, std::byte* to) {
        const auto corner = [&](std::size_t i) {
            return static_cast<VecBase<3, float>>(
                points[static_cast<std::size_t>(indices[3 * triangle + i])]);
        };
        // The normal is that of the triangle in the file, so it comes from the rounded corners.
        const VecBase<3, float> p0 = corner(0);
        const VecBase<3, float> p1 = corner(1);
        const VecBase<3, float> p2 = corner(2);
        to = StoreVector(to, NormalOfFacet((p1 - p0) ^ (p2 - p0), kLengthFloor<float>, p0, p1, p2));
        to = StoreVector(to, p0);
        to = StoreVector(to, p1);
        to = StoreVector(to, p2);
        return StoreLittleEndian(to, std::uint16_t{0});
    };
    WriteItems<std::byte>(file, triangleCount, kStlRecordBytes, store);
}

template void WriteBinaryStl(ByteWriter&, const std::vector<VecBase<3, float>>&,
                             const std::vector<int>&);
template void WriteBinaryStl(ByteWriter&, const std::vector<VecBase<3, double>>&,
                             const std::vector<int>&);

} // namespace Impl

template <class T>
bool ReadFromBinarySTL(std::vector<VecBase<3, T>>& points, std::vector<int>& indices,
                       const std::filesystem::path& path)
{
    Impl::ClearedOutputs outputs(points, indices);
    Impl::ByteReader file(path);
    const bool isRead = file.IsOpen() && Impl::ReadBinaryStl(file, points);
    outputs.Keep();
    return isRead;
}

template <class T>
bool WriteToBinarySTL(const std::vector<VecBase<3, T>>& points, const std::vector<int>& indices,
                      const std::filesystem::path& path)
{
    if (indices.size() % 3 != 0) {
        return false;
    }
    Impl::ByteWriter file(path);
    if (!file.IsOpen()) {
        return false;
    }
    Impl::WriteBinaryStl(file, points, indices);
    return true;
}

#define SORVANE_INSTANTIATE(T)                                                                 \
    template bool ReadFromBinarySTL(std::vector<VecBase<3, T>>&, std::vector<int>&,            \
                                    const std::filesystem::path&);                             \
    template bool WriteToBinarySTL(const std::vector<VecBase<3, T>>&, const std::vector<int>&, \
                                   const std::filesystem::path&);
SORVANE_INSTANTIATE(float)
SORVANE_INSTANTIATE(double)
#undef SORVANE_INSTANTIATE

} // namespace Velk::Math::Sorvane::MeshUtils
