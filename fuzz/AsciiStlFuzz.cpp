// ASCII STL: any bytes, cut into blocks and pieces in two ways that must agree to the bit.

#include "meshfiles/MeshFiles_Impl.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <span>

namespace {

using namespace Velk::Math;
namespace Impl = Sorvane::MeshUtils::Impl;

template <class T>
struct Outcome {
    bool success = false;
    std::vector<VecBase<3, T>> points;
    std::vector<int> indices;

    Outcome(std::span<const std::byte> bytes, std::size_t blockBytes, std::size_t pieceBytes)
    {
        Impl::ByteReader reader(bytes);
        success = Impl::ReadAsciiStl(reader, points, indices, blockBytes, pieceBytes);
    }
};

template <class T>
void Check(std::span<const std::byte> bytes)
{
    const Outcome<T> whole(bytes, Impl::kAsciiBlockBytes, Impl::kAsciiBlockBytes);
    const Outcome<T> pieces(bytes, 97, 31);
    const bool same =
        whole.success == pieces.success && whole.indices == pieces.indices &&
        whole.points.size() == pieces.points.size() &&
        (whole.points.empty() || std::memcmp(whole.points.data(), pieces.points.data(),
                                             whole.points.size() * sizeof(VecBase<3, T>)) == 0);
    if (!same || whole.indices.size() != whole.points.size()) {
        std::abort();
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const auto bytes = std::as_bytes(std::span(data, size));
    Check<float>(bytes);
    Check<double>(bytes);
    return 0;
}
