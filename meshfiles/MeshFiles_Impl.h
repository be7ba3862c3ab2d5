// The readers of MeshFiles_E.h behind the opening of the file: they read bytes that come from
// anywhere. Outputs are empty on entry, as the public functions have cleared them.
#pragma once

#include "meshfiles/FileBytes_Impl.h"

#include <Velk/Math/VecBase_E.h>

#include <cstddef>
#include <vector>

namespace Velk::Math::Sorvane::MeshUtils::Impl {

/// See `ReadFromASCIISTL`. The text is read in blocks of about `blockBytes`, and each block is
/// parsed in pieces of about `pieceBytes` side by side; neither has an influence on the result.
template <class T>
bool ReadAsciiStl(ByteReader& file, std::vector<VecBase<3, T>>& points, std::vector<int>& indices,
                  std::size_t blockBytes, std::size_t pieceBytes);

/// What the public function takes: pieces that two cores keep in their caches.
inline constexpr std::size_t kAsciiBlockBytes = std::size_t{1} << 20U;
inline constexpr std::size_t kAsciiPieceBytes = std::size_t{1} << 17U;

inline constexpr std::size_t kStlHeaderBytes = 80;
inline constexpr std::size_t kStlRecordBytes = 50;

/// See `ReadFromBinarySTL`.
template <class T>
bool ReadBinaryStl(ByteReader& file, std::vector<VecBase<3, T>>& points);

/// See `ReadFromTIPC`.
bool ReadTipc(ByteReader& file, std::vector<VecBase<3, double>>& points, std::vector<int>& indices,
              std::vector<unsigned long long>& vertexTags,
              std::vector<unsigned long long>& triangleTags);

} // namespace Velk::Math::Sorvane::MeshUtils::Impl
