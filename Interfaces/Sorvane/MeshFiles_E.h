// Reading and writing triangle meshes and point lists: ASCII STL, binary STL, TIPC, points files.
//
// `ReadMesh` and `WriteMesh` are what a host wants for files that come from elsewhere or that must not
// get lost: they tell the forms apart by themselves, believe no count, and say why they refuse. Both
// also take the bytes of a file that lie in memory, as from a network or an archive. The
// functions below them each know one form and say no more than true or false; what each of them takes
// for true is told at each, and read it before you rely on it.
//
// A mesh crosses here as the two vectors of `Mesh::IndexedPointsBase`: points and indices, three per
// triangle. Numbers are read and written as in the classic locale, whatever the host's. Allocation
// and length errors of the standard library pass through everywhere.
#pragma once

#include <Sorvane/IndexedMesh_E.h>
#include <Velk/Math/Supported_E.h>
#include <Velk/Math/VecBase_E.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <span>
#include <string>
#include <system_error>
#include <vector>

namespace Velk::Math::Sorvane::MeshUtils {

// --- any mesh file --------------------------------------------------------------------------------

/// The forms of mesh files.
enum class MeshFileForm {
    Unknown,   ///< none of these, or not told
    AsciiStl,  ///< text, one statement a line
    BinaryStl, ///< 80 bytes, a count, 50 bytes a triangle; coordinates are 32-bit floats
    Tipc       ///< points as 64-bit floats, indices, and tags; see `WriteToTIPC`
};

/// Why a mesh file was refused or not written.
enum class MeshFileError {
    None,              ///< it was read, or written
    NoSuchFile,        ///< reading: nothing has this name
    NoSuchFolder,      ///< writing: the folder that the file is to lie in is not there
    IsFolder,          ///< the path leads to a folder
    NotOpened,         ///< the system does not let it be opened or made; `system` says why
    ReadFailed,        ///< the system failed while reading; `system` says why
    EmptyFile,         ///< there is not one byte in it
    UnknownForm,       ///< neither an STL nor a TIPC file
    CutShort,          ///< it ends before what it announces, or within a solid
    TooLong,           ///< bytes follow on what it announces
    Malformed,         ///< line `place` of an ASCII STL is not what belongs there
    NoTriangles,       ///< well formed, and without a single triangle; or a mesh without one
    IndexOutOfRange,   ///< triangle `place` has an index that is no point
    NotFinite,         ///< point `place` has a coordinate that is not finite, or too large for the
                       ///< coordinate type or the form
    TooLarge,          ///< more points or triangles than indices or the form can count
    UnknownExtension,  ///< writing: the extension names no form
    IncompleteTriangle, ///< writing: the number of indices is not a multiple of 3
    TagsDoNotFit,      ///< writing: not one tag for each point, or triangle
    WriteFailed,       ///< the system failed while writing; `system` says why
    NotReplaced,       ///< the whole file was written beside, and could not be given its name
    Flattened          ///< writing: in the form's numbers too much of the part would have no area;
                       ///< `place` is the first such triangle
};

/// What `ReadMesh` and `WriteMesh` answer. True when it was done.
struct SORVANE_API MeshFileResult {
    MeshFileError error = MeshFileError::None; ///< what went wrong

    /// The form, as far as it could be told.
    MeshFileForm form = MeshFileForm::Unknown;

    /// Where the error is, if it has a place: the line, from 1, or the triangle or point, from 0.
    /// An ASCII STL that is `CutShort` ends in that line.
    std::uint64_t place = 0;

    /// For `CutShort` and `TooLong` of a binary form: the bytes that the file announces by its counts,
    /// and those that are there.
    std::uint64_t announcedBytes = 0;
    std::uint64_t actualBytes = 0;

    /// What the system said, where it was the system that failed.
    std::error_code system;

    /// True when it was done.
    explicit operator bool() const { return error == MeshFileError::None; }
    friend bool operator==(const MeshFileResult&, const MeshFileResult&) = default;
};

/// The result as half an English sentence to stand behind the file's name and a colon, such as
/// "binary STL cut short: 5084 bytes announced, 3000 there". Of a success it is the form alone.
SORVANE_API std::string MeshFileText(const MeshFileResult& result);

/// Reads an ASCII STL, a binary STL or a TIPC file, told apart by content and size; the name is not
/// looked at.
///
/// - A binary form is taken for one only when the file has exactly the size that its counts announce.
///   A binary STL may begin with "solid". Counts that lie are never believed, and take no memory.
/// - Of an ASCII STL all solids are joined. It begins with "solid"; blank lines are allowed anywhere,
///   words in any case, a name after "solid" and "endsolid"; normals are not read. Any other line that
///   does not belong where it stands is an error, and so is a vertex without exactly three numbers.
/// - An STL gives three fresh points for each triangle and the indices 0, 1, 2, ...; join equal corners
///   with `Mesh::FilterForUniqueness`. A TIPC file gives its points and indices; its tags are dropped.
/// - A mesh that is read has triangles, indices in range, and finite coordinates.
/// - Everything else is refused: the mesh is empty then, and the result says why. A file that breaks
///   off is never taken for a whole one, save an ASCII STL that ends right behind one of its solids.
///
/// A pipe or device is read to its end first, or until it shows that it is no mesh: one that never ends
/// is refused at its first bytes, or soon after the first wrong line. A file that a writer replaces meanwhile (as `WriteMesh`
/// does) is read as it was when opened. The mesh is cleared first, and empty again when an exception of
/// an allocation passes through. A stop of the host's progress scope (Velk/Progress_E.h) is `ReadFailed`,
/// with `std::errc::operation_canceled` as what the system said. One thread for small files, all for
/// large ones; the result does not depend on their number. O(n) for n bytes.
template <class T>
MeshFileResult ReadMesh(Mesh::IndexedPointsBase<3, T>& mesh, const std::filesystem::path& path);

/// The same with the tags of a TIPC file, one for each point and one for each triangle. A vector is
/// empty where the file has no such tags.
template <class T>
MeshFileResult ReadMesh(Mesh::IndexedPointsBase<3, T>& mesh,
                        std::vector<unsigned long long>& vertexTags,
                        std::vector<unsigned long long>& triangleTags,
                        const std::filesystem::path& path);

/// The same as triangles by value.
template <class T>
MeshFileResult ReadMesh(Mesh::TriangleSoup<3, T>& soup, const std::filesystem::path& path);

/// Reads the bytes of a mesh file that lie in memory: what came through a network, out of an archive or
/// from a pipe that the host has read. The same parsers, the same meshes and the same reasons as for
/// a file with these bytes; `MeshFileText` of the result stands well behind whatever name the host has
/// for them. The bytes are only read, at any alignment, and not kept.
///
/// From characters it is `ReadMesh(mesh, std::as_bytes(std::span(text)))`: a plain text in place of the
/// bytes would be taken for a path.
template <class T>
MeshFileResult ReadMesh(Mesh::IndexedPointsBase<3, T>& mesh, std::span<const std::byte> bytes);

/// The same with the tags of a TIPC file.
template <class T>
MeshFileResult ReadMesh(Mesh::IndexedPointsBase<3, T>& mesh,
                        std::vector<unsigned long long>& vertexTags,
                        std::vector<unsigned long long>& triangleTags,
                        std::span<const std::byte> bytes);

/// The same as triangles by value.
template <class T>
MeshFileResult ReadMesh(Mesh::TriangleSoup<3, T>& soup, std::span<const std::byte> bytes);

/// Writes a mesh in the form that the extension names, in any case: ".stl" is binary, ".tipc" TIPC.
///
/// The file is written beside the one it replaces, under a name of its own in the same folder, brought
/// to the disk, and renamed when it is whole. So the old file stays as it was until the new one stands
/// there as a whole, whatever happens in between, and after any failure it still does. A symbolic link
/// stays one, and what it leads to is replaced; the permissions of the old file are kept, and one that
/// may not be written is not replaced. Other hard links to the old file keep the old content. A pipe
/// or device can't be replaced and is written to directly. Readers that have the old file open
/// go on reading it. A stop of the host's progress scope leaves the old file as well: `WriteFailed`, with
/// `std::errc::operation_canceled` as what the system said.
///
/// What is written can be read by `ReadMesh`: a mesh without triangles, with an index out of range or
/// with a coordinate that is not finite (or too large for the form) is refused before any file is
/// touched. TIPC keeps `double` coordinates bit for bit; a binary STL rounds them to 32-bit floats, and
/// its normals are those of the rounded corners.
///
/// Rounding takes the area of some triangles, where their corners come to lie on one place or line. A
/// few slivers are normal and written. Where these triangles hold more than a hundredth of the whole
/// area, the part is refused as `Flattened`: it is too small for floats, or so far from the origin that
/// they can't tell its corners apart. Move or scale it, or write another form. Triangles without an
/// area of their own don't count.
template <class T>
MeshFileResult WriteMesh(const Mesh::IndexedPointsBase<3, T>& mesh,
                         const std::filesystem::path& path);

/// The same in a form of your choice, whatever the extension. An ASCII STL has coordinates with as few
/// digits as tell them from their neighbors of the type T, so they come back bit for bit.
template <class T>
MeshFileResult WriteMesh(const Mesh::IndexedPointsBase<3, T>& mesh,
                         const std::filesystem::path& path, MeshFileForm form);

/// A TIPC file with tags, whatever the extension. A vector that is empty gives no tags; otherwise there
/// is one for each point, or triangle.
template <class T>
MeshFileResult WriteMesh(const Mesh::IndexedPointsBase<3, T>& mesh,
                         const std::vector<unsigned long long>& vertexTags,
                         const std::vector<unsigned long long>& triangleTags,
                         const std::filesystem::path& path);

/// Puts the bytes of a mesh file into memory: those that the file would have, byte for byte, and the
/// same refusals. The vector is cleared first, and empty after a refusal and when an exception of an
/// allocation passes through. `MeshFileForm::Unknown` is refused as `UnknownExtension`.
template <class T>
MeshFileResult WriteMesh(const Mesh::IndexedPointsBase<3, T>& mesh, std::vector<std::byte>& bytes,
                         MeshFileForm form);

/// The same as a TIPC file with tags.
template <class T>
MeshFileResult WriteMesh(const Mesh::IndexedPointsBase<3, T>& mesh,
                         const std::vector<unsigned long long>& vertexTags,
                         const std::vector<unsigned long long>& triangleTags,
                         std::vector<std::byte>& bytes);

// --- one form each --------------------------------------------------------------------------------
//
// Outputs are cleared before anything else, and empty again when an exception passes. Writers of STL expect indices in range, and those read from
// a TIPC file are the file's. A count in a file is taken at its word, however short the file is; one
// that asks for more memory than the machine has available, or the process's control group allows,
// surfaces as std::bad_alloc before any of that memory is touched. Writers write into the file itself,
// and what was there is lost as soon as it is opened.

/// Reads an ASCII STL: three fresh points for each triangle and the indices 0, 1, 2, ...
///
/// Keywords in any case, one statement a line, the first line anything at all; normals are not read.
/// True only when the facets end in "endsolid" or "end solid"; false keeps what was read until then.
/// Beware: further solids of the file are not read, and nothing tells that they are there. Coordinates are read as streams do: one that is no number ("nan", "inf" and
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
/// within its first 84 bytes, or counts 0 triangles.
///
/// Beware: a file that ends too early is true, with zeros for the bytes that it lacks. So is any file
/// of 84 bytes that is no binary STL, and its count is believed: an ASCII STL read by this function
/// ends in std::bad_alloc or in half a billion triangles of zeros.
template <class T>
bool ReadFromBinarySTL(std::vector<VecBase<3, T>>& points, std::vector<int>& indices,
                       const std::filesystem::path& path);

/// Writes an ASCII STL with seven significant digits, so that a `double` mesh loses some.
///
/// Beware: always true, also when the file can't be opened or the disk is full.
/// An incomplete last triple is left out. A degenerate facet has the normal 0 0 0: for `double` an area,
/// for `float` a doubled area at most the length floor.
template <class T>
bool WriteToASCIISTL(const std::vector<VecBase<3, T>>& points, const std::vector<int>& indices,
                     const std::filesystem::path& path);

/// Writes a binary STL; coordinates are rounded to `float` first and normals computed from those. False,
/// before the file is touched, when the number of indices is not a multiple of 3; false when the file
/// can't be opened.
///
/// Beware: errors after that are not reported. On a full disk the result is true and the file cut short.
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
///
/// Beware: errors after that are not reported. On a full disk the result is true and the file cut short.
SORVANE_API bool WriteToTIPC(const std::vector<VecBase<3, double>>& points,
                             const std::vector<int>& indices,
                             const std::vector<unsigned long long>& vertexTags,
                             const std::vector<unsigned long long>& triangleTags, std::string fileName);

/// The same without tags.
SORVANE_API bool WriteToTIPC(const std::vector<VecBase<3, double>>& points,
                             const std::vector<int>& indices, std::string fileName);

/// Reads a TIPC file. False when it can't be opened, ends within its header, or counts no points or no
/// triangles.
///
/// Beware: what a file that ends too early lacks is zero, and the result true. Indices are not checked,
/// and the form has no mark of its own: any file is taken for one.
SORVANE_API bool ReadFromTIPC(std::vector<VecBase<3, double>>& points, std::vector<int>& indices,
                              std::vector<unsigned long long>& vertexTags,
                              std::vector<unsigned long long>& triangleTags, std::string fileName);

/// The same, with the tags dropped.
SORVANE_API bool ReadFromTIPC(std::vector<VecBase<3, double>>& points, std::vector<int>& indices,
                              std::string fileName);

/// Writes one point a line, coordinates with 17 significant digits and one blank between them. N is 2
/// or 3. False without points, and no file is made then; false when the file can't be opened.
///
/// Beware: errors after that are not reported. On a full disk the result is true and the file cut short.
template <int N>
bool WriteArdenwickPointsFile(const std::vector<VecBase<N, double>>& points, std::string fileName);

// clang-format off
extern template SORVANE_API MeshFileResult ReadMesh(Mesh::IndexedPointsBase<3, float>&,  const std::filesystem::path&);
extern template SORVANE_API MeshFileResult ReadMesh(Mesh::IndexedPointsBase<3, double>&, const std::filesystem::path&);
extern template SORVANE_API MeshFileResult ReadMesh(Mesh::IndexedPointsBase<3, float>&,  std::vector<unsigned long long>&, std::vector<unsigned long long>&, const std::filesystem::path&);
extern template SORVANE_API MeshFileResult ReadMesh(Mesh::IndexedPointsBase<3, double>&, std::vector<unsigned long long>&, std::vector<unsigned long long>&, const std::filesystem::path&);
extern template SORVANE_API MeshFileResult ReadMesh(Mesh::TriangleSoup<3, float>&,  const std::filesystem::path&);
extern template SORVANE_API MeshFileResult ReadMesh(Mesh::TriangleSoup<3, double>&, const std::filesystem::path&);
extern template SORVANE_API MeshFileResult ReadMesh(Mesh::IndexedPointsBase<3, float>&,  std::span<const std::byte>);
extern template SORVANE_API MeshFileResult ReadMesh(Mesh::IndexedPointsBase<3, double>&, std::span<const std::byte>);
extern template SORVANE_API MeshFileResult ReadMesh(Mesh::IndexedPointsBase<3, float>&,  std::vector<unsigned long long>&, std::vector<unsigned long long>&, std::span<const std::byte>);
extern template SORVANE_API MeshFileResult ReadMesh(Mesh::IndexedPointsBase<3, double>&, std::vector<unsigned long long>&, std::vector<unsigned long long>&, std::span<const std::byte>);
extern template SORVANE_API MeshFileResult ReadMesh(Mesh::TriangleSoup<3, float>&,  std::span<const std::byte>);
extern template SORVANE_API MeshFileResult ReadMesh(Mesh::TriangleSoup<3, double>&, std::span<const std::byte>);
extern template SORVANE_API MeshFileResult WriteMesh(const Mesh::IndexedPointsBase<3, float>&,  const std::filesystem::path&);
extern template SORVANE_API MeshFileResult WriteMesh(const Mesh::IndexedPointsBase<3, double>&, const std::filesystem::path&);
extern template SORVANE_API MeshFileResult WriteMesh(const Mesh::IndexedPointsBase<3, float>&,  const std::filesystem::path&, MeshFileForm);
extern template SORVANE_API MeshFileResult WriteMesh(const Mesh::IndexedPointsBase<3, double>&, const std::filesystem::path&, MeshFileForm);
extern template SORVANE_API MeshFileResult WriteMesh(const Mesh::IndexedPointsBase<3, float>&,  const std::vector<unsigned long long>&, const std::vector<unsigned long long>&, const std::filesystem::path&);
extern template SORVANE_API MeshFileResult WriteMesh(const Mesh::IndexedPointsBase<3, double>&, const std::vector<unsigned long long>&, const std::vector<unsigned long long>&, const std::filesystem::path&);
extern template SORVANE_API MeshFileResult WriteMesh(const Mesh::IndexedPointsBase<3, float>&,  std::vector<std::byte>&, MeshFileForm);
extern template SORVANE_API MeshFileResult WriteMesh(const Mesh::IndexedPointsBase<3, double>&, std::vector<std::byte>&, MeshFileForm);
extern template SORVANE_API MeshFileResult WriteMesh(const Mesh::IndexedPointsBase<3, float>&,  const std::vector<unsigned long long>&, const std::vector<unsigned long long>&, std::vector<std::byte>&);
extern template SORVANE_API MeshFileResult WriteMesh(const Mesh::IndexedPointsBase<3, double>&, const std::vector<unsigned long long>&, const std::vector<unsigned long long>&, std::vector<std::byte>&);
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

// Other types are refused by the compiler and not by the linker: see Supported_E.h.
/// @cond
// clang-format off
namespace Velk::Math::Sorvane::MeshUtils {
template <class T> requires(!SupportedReal<T>) MeshFileResult ReadMesh(Mesh::IndexedPointsBase<3, T>&, const std::filesystem::path&) = delete;
template <class T> requires(!SupportedReal<T>) MeshFileResult ReadMesh(Mesh::IndexedPointsBase<3, T>&, std::vector<unsigned long long>&, std::vector<unsigned long long>&, const std::filesystem::path&) = delete;
template <class T> requires(!SupportedReal<T>) MeshFileResult ReadMesh(Mesh::TriangleSoup<3, T>&, const std::filesystem::path&) = delete;
template <class T> requires(!SupportedReal<T>) MeshFileResult ReadMesh(Mesh::IndexedPointsBase<3, T>&, std::span<const std::byte>) = delete;
template <class T> requires(!SupportedReal<T>) MeshFileResult ReadMesh(Mesh::IndexedPointsBase<3, T>&, std::vector<unsigned long long>&, std::vector<unsigned long long>&, std::span<const std::byte>) = delete;
template <class T> requires(!SupportedReal<T>) MeshFileResult ReadMesh(Mesh::TriangleSoup<3, T>&, std::span<const std::byte>) = delete;
template <class T> requires(!SupportedReal<T>) MeshFileResult WriteMesh(const Mesh::IndexedPointsBase<3, T>&, const std::filesystem::path&) = delete;
template <class T> requires(!SupportedReal<T>) MeshFileResult WriteMesh(const Mesh::IndexedPointsBase<3, T>&, const std::filesystem::path&, MeshFileForm) = delete;
template <class T> requires(!SupportedReal<T>) MeshFileResult WriteMesh(const Mesh::IndexedPointsBase<3, T>&, const std::vector<unsigned long long>&, const std::vector<unsigned long long>&, const std::filesystem::path&) = delete;
template <class T> requires(!SupportedReal<T>) MeshFileResult WriteMesh(const Mesh::IndexedPointsBase<3, T>&, std::vector<std::byte>&, MeshFileForm) = delete;
template <class T> requires(!SupportedReal<T>) MeshFileResult WriteMesh(const Mesh::IndexedPointsBase<3, T>&, const std::vector<unsigned long long>&, const std::vector<unsigned long long>&, std::vector<std::byte>&) = delete;
template <class T> requires(!SupportedReal<T>) bool ReadFromASCIISTL(std::vector<VecBase<3, T>>&, std::vector<int>&, const std::filesystem::path&) = delete;
template <class T> requires(!SupportedReal<T>) bool ReadFromBinarySTL(std::vector<VecBase<3, T>>&, std::vector<int>&, const std::filesystem::path&) = delete;
template <class T> requires(!SupportedReal<T>) bool WriteToASCIISTL(const std::vector<VecBase<3, T>>&, const std::vector<int>&, const std::filesystem::path&) = delete;
template <class T> requires(!SupportedReal<T>) bool WriteToBinarySTL(const std::vector<VecBase<3, T>>&, const std::vector<int>&, const std::filesystem::path&) = delete;
template <int N> requires(!SupportedPoint<N, double>) bool WriteArdenwickPointsFile(const std::vector<VecBase<N, double>>&, std::string) = delete;
} // namespace Velk::Math::Sorvane::MeshUtils
// clang-format on
/// @endcond
