// TIPC: any bytes. A reading that succeeds gives arrays of the promised sizes, whose bytes are
// those of the file, and zeros behind its end.

#include "meshfiles/MeshFiles_Impl.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <span>

namespace {

using namespace Velk::Math;
namespace Impl = Sorvane::MeshUtils::Impl;

/// Larger counts only take time and memory here; what becomes of them is tested by
/// AvailableMemoryTest.
constexpr std::uint32_t kMostItems = 1U << 13U;

/// Compares `items`, little-endian as in memory here, with the bytes at the front of `rest`, and
/// goes on behind them.
template <class Item>
void ExpectBytes(const std::vector<Item>& items, std::span<const std::byte>& rest)
{
    const auto bytes = std::as_bytes(std::span(items));
    const std::size_t arrived = std::min(bytes.size(), rest.size());
    if (!std::equal(rest.begin(), rest.begin() + static_cast<std::ptrdiff_t>(arrived),
                    bytes.begin()) ||
        std::any_of(bytes.begin() + static_cast<std::ptrdiff_t>(arrived), bytes.end(),
                    [](std::byte b) { return b != std::byte{0}; })) {
        std::abort();
    }
    rest = rest.subspan(arrived);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const auto bytes = std::as_bytes(std::span(data, size));
    std::uint32_t vertexCount = 0;
    std::uint32_t triangleCount = 0;
    if (size >= 10) {
        vertexCount = Impl::LoadLittleEndian<std::uint32_t>(bytes.data());
        triangleCount = Impl::LoadLittleEndian<std::uint32_t>(bytes.data() + 4);
    }
    if (vertexCount > kMostItems || triangleCount > kMostItems) {
        return 0;
    }
    std::vector<VecBase<3, double>> points;
    std::vector<int> indices;
    std::vector<unsigned long long> vertexTags;
    std::vector<unsigned long long> triangleTags;
    Impl::ByteReader reader(bytes);
    const bool success = Impl::ReadTipc(reader, points, indices, vertexTags, triangleTags);
    if (success != (vertexCount > 0 && triangleCount > 0)) {
        std::abort();
    }
    if (success &&
        (points.size() != vertexCount || indices.size() != std::size_t{3} * triangleCount ||
         vertexTags.size() != (data[8] > 0 ? vertexCount : 0) ||
         triangleTags.size() != (data[9] > 0 ? triangleCount : 0))) {
        std::abort();
    }
    if (success && std::endian::native == std::endian::little) {
        auto rest = bytes.subspan(10);
        ExpectBytes(points, rest);
        ExpectBytes(indices, rest);
        ExpectBytes(vertexTags, rest);
        ExpectBytes(triangleTags, rest);
    }
    return 0;
}
