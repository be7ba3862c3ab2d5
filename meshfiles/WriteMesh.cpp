// Writing a mesh file of any form, in place of an old one or not at all.

#include <Sorvane/MeshFiles_E.h>
#include <Velk/Math/Vector_E.h>

#include "mathbase/Progress_Impl.h"
#include "meshfiles/FileReplacement_Impl.h"
#include "meshfiles/MeshFiles_Impl.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>
#include <type_traits>
#include <vector>

namespace Velk::Math::Sorvane::MeshUtils {
namespace {

MeshFileForm FormOfExtension(const std::filesystem::path& path)
{
    std::string extension = path.extension().string();
    for (char& c : extension) {
        c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    }
    return extension == ".stl"    ? MeshFileForm::BinaryStl
           : extension == ".tipc" ? MeshFileForm::Tipc
                                  : MeshFileForm::Unknown;
}

/// The number of the first of `count` items for which `isBad` holds, or `count`.
template <class IsBad>
std::size_t FirstBad(std::size_t count, IsBad&& isBad)
{
    constexpr std::size_t kChunk = 1U << 14U;
    std::vector<std::size_t> firstOfChunk((count + kChunk - 1) / kChunk, count);
    Parallel::Impl::ApplyParallel(std::size_t{0}, firstOfChunk.size(), [&](std::size_t chunk) {
        const std::size_t end = std::min((chunk + 1) * kChunk, count);
        for (std::size_t i = chunk * kChunk; i < end; ++i) {
            if (isBad(i)) {
                firstOfChunk[chunk] = i;
                return;
            }
        }
    });
    const auto first = std::find_if(firstOfChunk.begin(), firstOfChunk.end(),
                                    [count](std::size_t i) { return i < count; });
    return first != firstOfChunk.end() ? *first : count;
}

/// What rounding to 32-bit floats does to the areas of triangles.
struct AreaLoss {
    double area = 0;                     ///< of all triangles
    double lost = 0;                     ///< of those that come to have none
    std::size_t first = ~std::size_t{0}; ///< of these

    /// A hundredth: a few slivers may go.
    bool IsTooGreat() const { return lost > area / 100; }
};

/// Doubled area of a triangle; 0 where it is no more than the rounding of its edges.
double AreaBeyondRounding(const Vec3d& first, const Vec3d& second)
{
    constexpr double kRounding = 1e-14;
    const double area = Length(first ^ second);
    return area > kRounding * Length(first) * Length(second) ? area : 0;
}

AreaLoss LossByFloats(const Mesh::IndexedPointsBase<3, double>& mesh)
{
    const auto corner = [&](std::size_t place) -> const Vec3d& {
        return mesh.points[static_cast<std::size_t>(mesh.indices[place])];
    };
    // In terms of the greatest edge, so that squares of small lengths do not underflow.
    double unit = 0;
    for (std::size_t i = 0; i < mesh.indices.size(); i += 3) {
        Progress::Impl::CheckStep(i / 3);
        for (std::size_t k = 1; k < 3; ++k) {
            for (int axis = 0; axis < 3; ++axis) {
                unit = std::max(unit, std::fabs(corner(i + k)[axis] - corner(i)[axis]));
            }
        }
    }
    if (unit == 0) {
        return {};
    }
    constexpr std::size_t kChunk = 1U << 12U;
    const std::size_t count = mesh.indices.size() / 3;
    std::vector<AreaLoss> chunks((count + kChunk - 1) / kChunk);
    Parallel::Impl::ApplyParallel(std::size_t{0}, chunks.size(), [&](std::size_t chunk) {
        const std::size_t end = std::min((chunk + 1) * kChunk, count);
        for (std::size_t t = chunk * kChunk; t < end; ++t) {
            const auto edge = [&](std::size_t k) {
                return (corner(3 * t + k) - corner(3 * t)) / unit;
            };
            const auto rounded = [&](std::size_t k) {
                return Vec3d(VecBase<3, float>(corner(3 * t + k)));
            };
            const double area = AreaBeyondRounding(edge(1), edge(2));
            chunks[chunk].area += area;
            // Differences and products of floats are exact here but for wide ranges of exponents.
            const Vec3d normal = (rounded(1) - rounded(0)) ^ (rounded(2) - rounded(0));
            if (area > 0 && normal == Vec3d()) {
                chunks[chunk].lost += area;
                chunks[chunk].first = std::min(chunks[chunk].first, t);
            }
        }
    });
    AreaLoss all;
    for (const AreaLoss& chunk : chunks) {
        all.area += chunk.area;
        all.lost += chunk.lost;
        all.first = std::min(all.first, chunk.first);
    }
    return all;
}

/// Why the mesh can't be written in that form, before anything is touched.
template <class T>
MeshFileResult Check(const Mesh::IndexedPointsBase<3, T>& mesh, MeshFileForm form)
{
    MeshFileResult result;
    result.form = form;
    const auto refused = [&result](MeshFileError error, std::size_t place) {
        result.error = error;
        result.place = place;
        return result;
    };
    const std::size_t pointCount = mesh.points.size();
    const std::size_t triangleCount = mesh.indices.size() / 3;
    if (form == MeshFileForm::Unknown) {
        return refused(MeshFileError::UnknownExtension, 0);
    }
    if (mesh.indices.size() % 3 != 0) {
        return refused(MeshFileError::IncompleteTriangle, 0);
    }
    if (triangleCount == 0) {
        return refused(MeshFileError::NoTriangles, 0);
    }
    const auto isOutside = [&](std::size_t i) {
        const int index = mesh.indices[i];
        return index < 0 || static_cast<std::size_t>(index) >= pointCount;
    };
    if (const std::size_t bad = FirstBad(mesh.indices.size(), isOutside);
        bad < mesh.indices.size()) {
        return refused(MeshFileError::IndexOutOfRange, bad / 3);
    }
    // An STL is read with three points for each triangle.
    constexpr auto kMostIndices = static_cast<std::size_t>(std::numeric_limits<int>::max());
    if (pointCount > kMostIndices ||
        (form == MeshFileForm::Tipc ? triangleCount > std::numeric_limits<std::uint32_t>::max()
                                    : mesh.indices.size() > kMostIndices)) {
        return refused(MeshFileError::TooLarge, 0);
    }
    const auto isNotFinite = [&](std::size_t i) {
        const VecBase<3, T>& p = mesh.points[i];
        return !std::all_of(p.begin(), p.end(), [form](T value) {
            return std::isfinite(value) &&
                   (form != MeshFileForm::BinaryStl || std::isfinite(static_cast<float>(value)));
        });
    };
    if (const std::size_t bad = FirstBad(pointCount, isNotFinite); bad < pointCount) {
        return refused(MeshFileError::NotFinite, bad);
    }
    if constexpr (std::is_same_v<T, double>) {
        if (form == MeshFileForm::BinaryStl) {
            const AreaLoss loss = LossByFloats(mesh);
            if (loss.IsTooGreat()) {
                return refused(MeshFileError::Flattened, loss.first);
            }
        }
    }
    return result;
}

/// A mesh with its tags, of which there are none for most.
template <class T>
struct TaggedMesh {
    const Mesh::IndexedPointsBase<3, T>& mesh;
    const std::vector<Impl::Tag>& vertexTags;
    const std::vector<Impl::Tag>& triangleTags;
};

template <class T>
void WriteForm(Impl::ByteWriter& writer, const TaggedMesh<T>& given, MeshFileForm form)
{
    const Progress::Impl::Phase phase(0.1, 1.0); // the checks before are the rest
    const Mesh::IndexedPointsBase<3, T>& mesh = given.mesh;
    switch (form) {
    case MeshFileForm::AsciiStl:
        Impl::WriteAsciiStl(writer, mesh.points, mesh.indices, Impl::AsciiDigits::Shortest);
        break;
    case MeshFileForm::Tipc:
        Impl::WriteTipc(writer, mesh.points, mesh.indices, given.vertexTags, given.triangleTags);
        break;
    default:
        Impl::WriteBinaryStl(writer, mesh.points, mesh.indices);
    }
}

/// The same, or what a stop of the host's scope leaves: nothing, and the old file as it was.
template <class Work>
MeshFileResult Watched(MeshFileForm form, const Work& work)
{
    return Progress::Impl::Stoppable(work, [form] {
        MeshFileResult stopped;
        stopped.error = MeshFileError::WriteFailed;
        stopped.form = form;
        stopped.system = std::make_error_code(std::errc::operation_canceled);
        return stopped;
    });
}

/// Writes to a file.
template <class T>
MeshFileResult Write(const TaggedMesh<T>& given, const std::filesystem::path& path,
                     MeshFileForm form)
{
    return Watched(form, [&] {
        MeshFileResult result = Check(given.mesh, form);
        if (!result) {
            return result;
        }
        const auto failed = [&result](const Impl::FileReplacement::Outcome& outcome) {
            result.error = outcome.error;
            result.system = outcome.system;
            return result;
        };
        Impl::FileReplacement file(path);
        if (file.Failure().error != MeshFileError::None) {
            return failed(file.Failure());
        }
        WriteForm(file.Writer(), given, form);
        return failed(file.Commit());
    });
}

/// The bytes of a file, as far as they can be told before; a text has some 250 for a triangle.
std::size_t ExpectedBytes(MeshFileForm form, std::size_t points, std::size_t indices,
                          std::size_t tags)
{
    constexpr std::size_t kTextBytes = 250;
    return form == MeshFileForm::Tipc
               ? Impl::TipcHeader::kBytes + 24 * points + 4 * indices + sizeof(Impl::Tag) * tags
           : form == MeshFileForm::BinaryStl
               ? Impl::kStlFrontBytes + Impl::kStlRecordBytes * (indices / 3)
               : kTextBytes * (indices / 3);
}

/// Writes into memory.
template <class T>
MeshFileResult Write(const TaggedMesh<T>& given, std::vector<std::byte>& bytes, MeshFileForm form)
{
    Impl::ClearedOutputs outputs(bytes);
    const MeshFileResult result = Watched(form, [&] {
        const MeshFileResult checked = Check(given.mesh, form);
        if (!checked) {
            return checked;
        }
        bytes.reserve(ExpectedBytes(form, given.mesh.points.size(), given.mesh.indices.size(),
                                    given.vertexTags.size() + given.triangleTags.size()));
        Impl::ByteWriter writer(bytes);
        WriteForm(writer, given, form);
        return checked;
    });
    if (result) {
        outputs.Keep();
    }
    return result;
}

/// Writes a TIPC file with tags to a path or into memory.
template <class T, class Target>
MeshFileResult WriteTagged(const TaggedMesh<T>& given, Target& target)
{
    const bool doFit =
        (given.vertexTags.empty() || given.vertexTags.size() == given.mesh.points.size()) &&
        (given.triangleTags.empty() || given.triangleTags.size() == given.mesh.indices.size() / 3);
    if (!doFit) {
        MeshFileResult result;
        result.error = MeshFileError::TagsDoNotFit;
        result.form = MeshFileForm::Tipc;
        return result;
    }
    return Write(given, target, MeshFileForm::Tipc);
}

} // namespace

template <class T>
MeshFileResult WriteMesh(const Mesh::IndexedPointsBase<3, T>& mesh,
                         const std::filesystem::path& path)
{
    return Write(TaggedMesh<T>{mesh, {}, {}}, path, FormOfExtension(path));
}

template <class T>
MeshFileResult WriteMesh(const Mesh::IndexedPointsBase<3, T>& mesh,
                         const std::filesystem::path& path, MeshFileForm form)
{
    return Write(TaggedMesh<T>{mesh, {}, {}}, path, form);
}

template <class T>
MeshFileResult WriteMesh(const Mesh::IndexedPointsBase<3, T>& mesh,
                         const std::vector<unsigned long long>& vertexTags,
                         const std::vector<unsigned long long>& triangleTags,
                         const std::filesystem::path& path)
{
    return WriteTagged(TaggedMesh<T>{mesh, vertexTags, triangleTags}, path);
}

template <class T>
MeshFileResult WriteMesh(const Mesh::IndexedPointsBase<3, T>& mesh, std::vector<std::byte>& bytes,
                         MeshFileForm form)
{
    return Write(TaggedMesh<T>{mesh, {}, {}}, bytes, form);
}

template <class T>
MeshFileResult WriteMesh(const Mesh::IndexedPointsBase<3, T>& mesh,
                         const std::vector<unsigned long long>& vertexTags,
                         const std::vector<unsigned long long>& triangleTags,
                         std::vector<std::byte>& bytes)
{
    bytes.clear();
    return WriteTagged(TaggedMesh<T>{mesh, vertexTags, triangleTags}, bytes);
}

#define SORVANE_INSTANTIATE(T)                                                        \
    template MeshFileResult WriteMesh(const Mesh::IndexedPointsBase<3, T>&,           \
                                      const std::filesystem::path&);                  \
    template MeshFileResult WriteMesh(const Mesh::IndexedPointsBase<3, T>&,           \
                                      const std::filesystem::path&, MeshFileForm);    \
    template MeshFileResult WriteMesh(                                                \
        const Mesh::IndexedPointsBase<3, T>&, const std::vector<unsigned long long>&, \
        const std::vector<unsigned long long>&, const std::filesystem::path&);        \
    template MeshFileResult WriteMesh(const Mesh::IndexedPointsBase<3, T>&,           \
                                      std::vector<std::byte>&, MeshFileForm);         \
    template MeshFileResult WriteMesh(                                                \
        const Mesh::IndexedPointsBase<3, T>&, const std::vector<unsigned long long>&, \
        const std::vector<unsigned long long>&, std::vector<std::byte>&);
SORVANE_INSTANTIATE(float)
SORVANE_INSTANTIATE(double)
#undef SORVANE_INSTANTIATE

} // namespace Velk::Math::Sorvane::MeshUtils
