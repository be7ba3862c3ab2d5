// The readers and writers of MeshFiles_E.h behind the opening of the file. Readers read bytes that
// come from anywhere; their outputs are empty on entry, as the public functions have cleared them.
#pragma once

#include "meshfiles/FileBytes_Impl.h"

#include <Sorvane/MeshFiles_E.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <tuple>
#include <vector>

namespace Velk::Math::Sorvane::MeshUtils::Impl {

/// Clears the output vectors of a reader, and once more at the end unless they are to be kept: an
/// exception that passes leaves nothing half read behind.
template <class... Vectors>
class ClearedOutputs {
public:
    explicit ClearedOutputs(Vectors&... vectors) : vectors_(vectors...) { Clear(); }
    ~ClearedOutputs()
    {
        if (!areKept_) {
            Clear();
        }
    }
    ClearedOutputs(const ClearedOutputs&) = delete;
    ClearedOutputs& operator=(const ClearedOutputs&) = delete;

    void Keep() { areKept_ = true; }

private:
    void Clear()
    {
        std::apply([](auto&... vectors) { (vectors.clear(), ...); }, vectors_);
    }

    std::tuple<Vectors&...> vectors_;
    bool areKept_ = false;
};

/// See `ReadFromASCIISTL`. The text is read in blocks of about `blockBytes`, and each block is
/// parsed in pieces of about `pieceBytes` side by side; neither has an influence on the result.
template <class T>
bool ReadAsciiStl(ByteReader& file, std::vector<VecBase<3, T>>& points, std::vector<int>& indices,
                  std::size_t blockBytes, std::size_t pieceBytes);

/// What the public functions take: pieces that two cores keep in their caches.
inline constexpr std::size_t kAsciiBlockBytes = std::size_t{1} << 20U;
inline constexpr std::size_t kAsciiPieceBytes = std::size_t{1} << 17U;

/// All solids of an ASCII STL, by the strict rules of `ReadMesh`. After a refusal the outputs hold
/// what was read until then.
template <class T>
MeshFileResult ReadAsciiSolids(ByteReader& file, std::vector<VecBase<3, T>>& points,
                               std::vector<int>& indices, std::size_t blockBytes,
                               std::size_t pieceBytes);

inline constexpr std::size_t kStlHeaderBytes = 80;
/// Header and count.
inline constexpr std::size_t kStlFrontBytes = 84;
inline constexpr std::size_t kStlRecordBytes = 50;

/// See `ReadFromBinarySTL`.
template <class T>
bool ReadBinaryStl(ByteReader& file, std::vector<VecBase<3, T>>& points);

/// The three corners of the 50 bytes at `record`, in the host's floating type.
template <class T>
void LoadCorners(const std::byte* record, VecBase<3, T>* corners)
{
    constexpr std::size_t kNormalBytes = 12;
    const std::byte* at = record + kNormalBytes;
    for (int corner = 0; corner < 3; ++corner) {
        for (int axis = 0; axis < 3; ++axis) {
            corners[corner][axis] = static_cast<T>(LoadLittleEndian<float>(at));
            at += sizeof(float);
        }
    }
}

using Tag = unsigned long long;

/// The first ten bytes of a TIPC file.
struct TipcHeader {
    static constexpr std::size_t kBytes = 10;

    std::uint32_t pointCount = 0;
    std::uint32_t triangleCount = 0;
    std::uint8_t hasVertexTags = 0; // any value but 0 means yes
    std::uint8_t hasTriangleTags = 0;

    std::size_t IndexCount() const { return std::size_t{3} * triangleCount; }
    std::size_t VertexTagCount() const { return hasVertexTags > 0 ? pointCount : 0; }
    std::size_t TriangleTagCount() const { return hasTriangleTags > 0 ? triangleCount : 0; }

    /// What the arrays take, in the file and, with `double` points, in memory.
    std::uint64_t ArrayBytes() const
    {
        return std::uint64_t{24} * pointCount + std::uint64_t{12} * triangleCount +
               std::uint64_t{8} * (VertexTagCount() + TriangleTagCount());
    }
};

/// See `ReadFromTIPC`.
bool ReadTipc(ByteReader& file, std::vector<VecBase<3, double>>& points, std::vector<int>& indices,
              std::vector<Tag>& vertexTags, std::vector<Tag>& triangleTags);

/// What the first bytes of a file make it look like. Several forms may be possible at once: TIPC
/// has no mark of its own, and the header of a binary STL may say anything.
struct MeshFileLooks {
    bool isAsciiStl = false;      ///< it is text and begins with "solid"
    bool hasStlCount = false;     ///< there is a count where a binary STL has it
    bool isPlausibleStl = false;  ///< and what follows it looks like numbers of a part
    bool hasTipcHeader = false;   ///< there are counts and flags as a TIPC file has them
    bool isPlausibleTipc = false; ///< and its counts are no text
    std::uint64_t stlBytes = 0;   ///< how long it is as a binary STL
    std::uint64_t tipcBytes = 0;  ///< how long it is as a TIPC file
};

/// `head` is the first `kHeadBytes` of the file, or all of it.
MeshFileLooks LooksOf(std::span<const std::byte> head);
inline constexpr std::size_t kHeadBytes = 4096;

/// See `ReadMesh`, which opens the file and clears the outputs. `file` is a regular file or memory
/// of which nothing was read. After a refusal the outputs hold what was read until then. Tags are
/// read into vectors that are not null.
template <class T>
MeshFileResult ReadMeshBytes(ByteReader& file, Mesh::IndexedPointsBase<3, T>& mesh,
                             std::vector<Tag>* vertexTags, std::vector<Tag>* triangleTags);
template <class T>
MeshFileResult ReadMeshBytes(ByteReader& file, Mesh::TriangleSoup<3, T>& soup);

/// All bytes of a pipe or device, as far as they can belong to a mesh file.
MeshFileResult ReadStream(ByteReader& file, std::vector<std::byte>& bytes);

/// The unit normal of a triangle from `product`, a multiple of its edges' cross product, as
/// `Normalized` gives it with that floor; but also where the product or its length overflows, which
/// it does from edges of some 1e9 on in `float` and 1e77 in `double`. Finite corners always give a
/// finite normal, zero for a degenerate triangle.
template <class T>
VecBase<3, T> NormalOfFacet(const VecBase<3, T>& product, T floor, const VecBase<3, T>& p0,
                            const VecBase<3, T>& p1, const VecBase<3, T>& p2)
{
    const VecBase<3, T> normal = Normalized(product, floor);
    if (!(normal == VecBase<3, T>()) || Length(product) <= floor) {
        return normal;
    }
    // Differences of halves don't overflow; in terms of the largest, nor do their products.
    const VecBase<3, T> first = p1 * T(0.5) - p0 * T(0.5);
    const VecBase<3, T> second = p2 * T(0.5) - p0 * T(0.5);
    T size = 0;
    for (int axis = 0; axis < 3; ++axis) {
        size = std::max({size, std::abs(first[axis]), std::abs(second[axis])});
    }
    return Normalized((first / size) ^ (second / size), T(0));
}

/// The writing that `WriteMesh` shares with the writer of each form. An incomplete last triple of
/// indices is left out.
template <class T>
void WriteBinaryStl(ByteWriter& file, const std::vector<VecBase<3, T>>& points,
                    const std::vector<int>& indices);
/// How coordinates are written in an ASCII STL: with seven significant digits, or with the fewest
/// that come back bit for bit.
enum class AsciiDigits { Seven, Shortest };
template <class T>
void WriteAsciiStl(ByteWriter& file, const std::vector<VecBase<3, T>>& points,
                   const std::vector<int>& indices, AsciiDigits digits);
/// Tag vectors whose size is not that of points, or triangles, are left out.
template <class T>
void WriteTipc(ByteWriter& file, const std::vector<VecBase<3, T>>& points,
               const std::vector<int>& indices, const std::vector<Tag>& vertexTags,
               const std::vector<Tag>& triangleTags);

} // namespace Velk::Math::Sorvane::MeshUtils::Impl
