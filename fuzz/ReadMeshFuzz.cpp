// Mesh files of any form: any bytes. What is read keeps what ReadMesh promises, is the same for
// both coordinate types and for a soup, and is what the reader of the one form gives.

#include "meshfiles/MeshFiles_Impl.h"

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <span>

namespace {

using namespace Velk::Math;
using namespace Sorvane::MeshUtils;
using Sorvane::Mesh::IndexedPointsBase;
using Sorvane::Mesh::TriangleSoup;

void Require(bool condition)
{
    if (!condition) {
        std::abort();
    }
}

template <class T>
bool AreTheSameBits(const std::vector<VecBase<3, T>>& a, const std::vector<VecBase<3, T>>& b,
                    std::size_t count)
{
    return a.size() >= count && b.size() >= count &&
           (count == 0 || std::memcmp(a.data(), b.data(), count * sizeof(VecBase<3, T>)) == 0);
}

template <class T>
MeshFileResult Read(std::span<const std::byte> bytes, IndexedPointsBase<3, T>& mesh)
{
    std::vector<Impl::Tag> vertexTags;
    std::vector<Impl::Tag> triangleTags;
    const MeshFileResult result = ReadMesh(mesh, vertexTags, triangleTags, bytes);
    if (!result) {
        return result;
    }
    Require(!mesh.indices.empty() && mesh.indices.size() % 3 == 0);
    for (const int index : mesh.indices) {
        Require(index >= 0 && static_cast<std::size_t>(index) < mesh.points.size());
    }
    for (const VecBase<3, T>& p : mesh.points) {
        Require(std::isfinite(p.x()) && std::isfinite(p.y()) && std::isfinite(p.z()));
    }
    Require(vertexTags.empty() || vertexTags.size() == mesh.points.size());
    Require(triangleTags.empty() || triangleTags.size() == mesh.indices.size() / 3);
    // No more than the bytes can hold: 36 for the corners of a binary triangle, 12 for the indices
    // of one, and more than either in a text.
    Require(mesh.indices.size() / 3 <= bytes.size() / 12);
    return result;
}

template <class T>
void CompareWithTheOneForm(std::span<const std::byte> bytes, MeshFileForm form,
                           const IndexedPointsBase<3, T>& mesh)
{
    std::vector<VecBase<3, T>> points;
    std::vector<int> indices;
    Impl::ByteReader reader(bytes);
    if (form == MeshFileForm::BinaryStl) {
        Require(Impl::ReadBinaryStl(reader, points));
        Require(points.size() == mesh.points.size());
    } else if (form == MeshFileForm::AsciiStl) {
        // That reader takes the first line for the first whatever it is, and ends behind the first
        // solid.
        if (!Impl::ReadAsciiStl(reader, points, indices, Impl::kAsciiBlockBytes,
                                Impl::kAsciiPieceBytes)) {
            return;
        }
        Require(points.size() <= mesh.points.size());
    } else if constexpr (std::is_same_v<T, double>) {
        std::vector<Impl::Tag> vertexTags;
        std::vector<Impl::Tag> triangleTags;
        Require(Impl::ReadTipc(reader, points, indices, vertexTags, triangleTags));
        Require(points.size() == mesh.points.size() && indices == mesh.indices);
    }
    Require(AreTheSameBits(points, mesh.points, points.size()));
}

template <class T>
MeshFileResult Check(std::span<const std::byte> bytes)
{
    IndexedPointsBase<3, T> mesh;
    const MeshFileResult result = Read(bytes, mesh);
    TriangleSoup<3, T> soup;
    Require(ReadMesh(soup, bytes) == result);
    Require(!MeshFileText(result).empty());
    IndexedPointsBase<3, T> untagged;
    Require(ReadMesh(untagged, bytes) == result && untagged.indices == mesh.indices);
    if (result) {
        Require(3 * soup.size() == mesh.indices.size());
        for (std::size_t i = 0; i < mesh.indices.size(); ++i) {
            const VecBase<3, T>& corner = mesh.points[static_cast<std::size_t>(mesh.indices[i])];
            Require(std::memcmp(&soup[i / 3][i % 3], &corner, sizeof(corner)) == 0);
        }
        CompareWithTheOneForm(bytes, result.form, mesh);
    }
    return result;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const auto bytes = std::as_bytes(std::span(data, size));
    const MeshFileResult floats = Check<float>(bytes);
    const MeshFileResult doubles = Check<double>(bytes);
    // Only `float` can be too small for a number.
    Require(floats == doubles || floats.error == MeshFileError::NotFinite);
    Require(doubles.error != MeshFileError::None || floats.form == doubles.form);

    // A text in other blocks and pieces is the same text.
    for (const std::size_t pieceBytes : {std::size_t{31}, Impl::kAsciiPieceBytes}) {
        IndexedPointsBase<3, double> whole;
        IndexedPointsBase<3, double> pieces;
        Impl::ByteReader first(bytes);
        Impl::ByteReader second(bytes);
        const MeshFileResult one = Impl::ReadAsciiSolids(
            first, whole.points, whole.indices, Impl::kAsciiBlockBytes, Impl::kAsciiBlockBytes);
        const MeshFileResult two =
            Impl::ReadAsciiSolids(second, pieces.points, pieces.indices, 97, pieceBytes);
        Require(one == two && (!one || whole.indices == pieces.indices));
        Require(!one || (whole.points.size() == pieces.points.size() &&
                         AreTheSameBits(whole.points, pieces.points, whole.points.size())));
    }
    return 0;
}
