// Binary STL: any bytes. A reading that succeeds gives the points that the count promises, and both
// coordinate types agree.

#include "meshfiles/MeshFiles_Impl.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <span>

namespace {

using namespace Velk::Math;
namespace Impl = Sorvane::MeshUtils::Impl;

/// Larger counts only take time and memory here; what becomes of them is tested by
/// AvailableMemoryTest.
constexpr std::uint32_t kMostTriangles = 1U << 13U;

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const auto bytes = std::as_bytes(std::span(data, size));
    const bool hasCount = size >= 84;
    const auto count = hasCount ? Impl::LoadLittleEndian<std::uint32_t>(bytes.data() + 80) : 0;
    if (count > kMostTriangles) {
        return 0;
    }
    std::vector<VecBase<3, float>> floats;
    std::vector<VecBase<3, double>> doubles;
    Impl::ByteReader first(bytes);
    Impl::ByteReader second(bytes);
    const bool success = Impl::ReadBinaryStl(first, floats);
    if (success != Impl::ReadBinaryStl(second, doubles) || success != (count > 0) ||
        floats.size() != std::size_t{3} * count || doubles.size() != floats.size()) {
        std::abort();
    }
    for (std::size_t i = 0; i < floats.size(); ++i) {
        for (int axis = 0; axis < 3; ++axis) {
            const bool same = static_cast<double>(floats[i][axis]) == doubles[i][axis];
            const bool bothNaN =
                floats[i][axis] != floats[i][axis] && doubles[i][axis] != doubles[i][axis];
            if (!same && !bothNaN) {
                std::abort();
            }
        }
    }
    return 0;
}
