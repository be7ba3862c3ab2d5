// Reading and writing triangle meshes and point lists: ASCII STL, binary STL, TIPC, points files.
//
// A mesh crosses here as the two vectors of `Mesh::IndexedPointsBase`: points and indices, three per
// triangle. Every function returns false on failure and says no more; outputs are cleared before
// anything else. Numbers are read and written as in the classic locale, whatever the host's.
//
// Files are trusted in nothing, the host in its indices: writers of STL expect them in range, and those
// read from a TIPC file are the file's. Allocation and length errors of the standard
// library pass through. A count in a file is taken at its word, however short the file is; one that asks
// for more memory than the machine has available, or the process's control group allows, surfaces as
// std::bad_alloc before any of that memory is touched.
#pragma once

#include <Velk/Math/VecBase_E.h>

#include <filesystem>
#include <string>
#include <vector>

namespace Velk::Math::Sorvane::MeshUtils {

/// Reads an ASCII STL: three fresh points for each triangle and the indices 0, 1, 2, ...
///
/// Keywords in any case, one statement a line, the first line anything at all; normals are not read.
/// True only when the facets end in "endsolid" or "end solid" (what follows is not read); false keeps
/// what was read until then. Coordinates are read as streams do: one that is no number ("nan", "inf" and
/// hexadecimal forms are none) is 0, one too large is the largest finite value, and in both cases those
/// after it on its line are 0. O(n) for n bytes; large files are parsed on all cores, with the result of
/// reading line by line.
template <class T>
bool ReadFromASCIISTL(std::vector<VecBase<3, T>>& points, std::vector<int>& indices,
                      const std::filesystem::path& path);

/// Reads a binary STL into a triangle soup: three points for each triangle, and `indices` stays empty;
/// `Mesh::IndexedPointsFromSoup` or `Vector::FilterForUniquenessAndIndex` joins them.
///
/// The header is not looked at ("solid" means nothing). False when the file can't be opened, ends
/// within its first 84 bytes, or counts 0 triangles. A file that ends too early is true, with zeros for
/// the bytes that it lacks.
template <class T>
bool ReadFromBinarySTL(std::vector<VecBase<3, T>>& points, std::vector<int>& indices,
                       const std::filesystem::path& path);

/// Writes an ASCII STL with seven significant digits. Always true, also when the file can't be opened.
/// An incomplete last triple is left out. A degenerate facet has the normal 0 0 0: for `double` an area,
/// for `float` a doubled area at most the length floor.
template <class T>
bool WriteToASCIISTL(const std::vector<VecBase<3, T>>& points, const std::vector<int>& indices,
                     const std::filesystem::path& path);

/// Writes a binary STL; coordinates are rounded to `float` first and normals computed from those. False,
/// before the file is touched, when the number of indices is not a multiple of 3; false when the file
/// can't be opened. Errors after that are not reported.
template <class T>
bool WriteToBinarySTL(const std::vector<VecBase<3, T>>& points, const std::vector<int>& indices,
                      const std::filesystem::path& path);

/// Writes a TIPC file: coordinates bit for bit, and 64-bit tags that mean nothing to the library.
///
/// Little-endian, packed: point count and triangle count (unsigned 32-bit), two flag bytes (tags of
/// points, tags of triangles), the points (three 64-bit floats each), the indices (32-bit), the tags of
/// points and of triangles where flagged. A tag vector whose size is not exactly the number of points,
/// or triangles, is left out. False, before the file is touched, when the number of indices is not a
/// multiple of 3; false when the file can't be opened.
SORVANE_API bool WriteToTIPC(const std::vector<VecBase<3, double>>& points,
                             const std::vector<int>& indices,
                             const std::vector<unsigned long long>& vertexTags,
                             const std::vector<unsigned long long>& triangleTags, std::string fileName);

/// The same without tags.
SORVANE_API bool WriteToTIPC(const std::vector<VecBase<3, double>>& points,
                             const std::vector<int>& indices, std::string fileName);

/// Reads a TIPC file. False when it can't be opened, ends within its header, or counts no points or no
/// triangles. What a file that ends too early lacks is zero, and the result true. Indices are not
/// checked.
SORVANE_API bool ReadFromTIPC(std::vector<VecBase<3, double>>& points, std::vector<int>& indices,
                              std::vector<unsigned long long>& vertexTags,
                              std::vector<unsigned long long>& triangleTags, std::string fileName);

/// The same, with the tags dropped.
SORVANE_API bool ReadFromTIPC(std::vector<VecBase<3, double>>& points, std::vector<int>& indices,
                              std::string fileName);

/// Writes one point a line, coordinates with 17 significant digits and one blank between them. N is 2
/// or 3. False without points, and no file is made then; false when the file can't be opened.
template <int N>
bool WriteArdenwickPointsFile(const std::vector<VecBase<N, double>>& points, std::string fileName);

// clang-format off
extern template SORVANE_API bool ReadFromASCIISTL(std::vector<VecBase<3, float>>&,  std::vector<int>&, const std::filesystem::path&);
extern template SORVANE_API bool ReadFromASCIISTL(std::vector<VecBase<3, double>>&, std::vector<int>&, const std::filesystem::path&);
extern template SORVANE_API bool ReadFromBinarySTL(std::vector<VecBase<3, float>>&,  std::vector<int>&, const std::filesystem::path&);
extern template SORVANE_API bool ReadFromBinarySTL(std::vector<VecBase<3, double>>&, std::vector<int>&, const std::filesystem::path&);
extern template SORVANE_API bool WriteToASCIISTL(const std::vector<VecBase<3, float>>&,  const std::vector<int>&, const std::filesystem::path&);
extern template SORVANE_API bool WriteToASCIISTL(const std::vector<VecBase<3, double>>&, const std::vector<int>&, const std::filesystem::path&);
extern template SORVANE_API bool WriteToBinarySTL(const std::vector<VecBase<3, float>>&,  const std::vector<int>&, const std::filesystem::path&);
extern template SORVANE_API bool WriteToBinarySTL(const std::vector<VecBase<3, double>>&, const std::vector<int>&, const std::filesystem::path&);
extern template SORVANE_API bool WriteArdenwickPointsFile(const std::vector<VecBase<2, double>>&, std::string);
extern template SORVANE_API bool WriteArdenwickPointsFile(const std::vector<VecBase<3, double>>&, std::string);
// clang-format on

} // namespace Velk::Math::Sorvane::MeshUtils
