// Sections by planes, halves, and intersections of the C interface.

#include "Checks.h"

#include "sorvane_c/sections.h"

#include <Sorvane/MeshSections_E.h>
#include <Sorvane/TriangleSlicer_E.h>
#include <Velk/Math/Vector_E.h>

#include <array>

using namespace SorvaneC;
namespace Mesh = Velk::Math::Sorvane::Mesh;
using Velk::Math::Vec2d;

struct sorvane_sections {
    std::vector<Velk::Math::TransformBase<3>> toSpace;
    sorvane_lines lines;
    std::vector<int> first = {0};
    std::vector<double> heights;
    std::vector<double> areas;
    std::vector<double> lengths;
    std::vector<double> openLengths;
    std::vector<double> frames;
};

struct sorvane_slicer {
    Mesh::PlaneSlicer slicer;
};

namespace {

Mesh::SectionOptions SectionOptionsOf(const sorvane_section_options* options)
{
    const auto given = OptionsOf(options, sorvane_section_options_init);
    CheckNotNegative(given.tolerance, "tolerance");
    if (given.side != SORVANE_SECTION_ABOVE && given.side != SORVANE_SECTION_BELOW) {
        BadArgument("side is " + std::to_string(given.side) +
                    "; it must be 0 for above or 1 for below");
    }
    return {given.side == SORVANE_SECTION_ABOVE ? Mesh::SectionSide::Above
                                                : Mesh::SectionSide::Below,
            given.tolerance};
}

std::vector<double> HeightsOf(const double* heights, std::size_t count)
{
    CheckArray(heights, count, "heights");
    CheckFiniteNumbers(heights, count, "height");
    return count > 0 ? std::vector<double>(heights, heights + count) : std::vector<double>();
}

std::unique_ptr<sorvane_sections> NewSections(const std::vector<Mesh::MeshSection>& sections)
{
    auto handle = std::make_unique<sorvane_sections>();
    handle->lines.dimension = 2;
    for (const Mesh::MeshSection& section : sections) {
        for (const auto& loop : section.loops) {
            AddLine(handle->lines, loop, true);
        }
        for (const auto& chain : section.chains) {
            AddLine(handle->lines, chain, false);
        }
        handle->first.push_back(static_cast<int>(handle->lines.closed.size()));
        handle->heights.push_back(section.height);
        handle->areas.push_back(section.area);
        handle->lengths.push_back(section.length);
        handle->openLengths.push_back(section.openLength);
        for (int row = 0; row < 3; ++row) {
            for (int column = 0; column < 4; ++column) {
                handle->frames.push_back(section.toSpace(row, column));
            }
        }
        handle->toSpace.push_back(section.toSpace);
    }
    return handle;
}

/// A closed polyline of the slicer repeats its first point.
std::unique_ptr<sorvane_lines> NewLines(Mesh::TriangleSlicer::Curves curves)
{
    auto lines = std::make_unique<sorvane_lines>();
    for (auto& curve : curves) {
        const bool isClosed = curve.size() > 2 && curve.front() == curve.back();
        if (isClosed) {
            curve.pop_back();
        }
        AddLine(*lines, curve, isClosed);
    }
    return lines;
}

Mesh::TriangleSlicer SlicerOf(const MeshData& mesh)
{
    return Mesh::TriangleSlicer(Mesh::SoupFromIndexedPoints(mesh));
}

struct Half {
    MeshData mesh;
    std::size_t lid = 0;
};

Half HalfBelow(const Mesh::TriangleSlicer& slicer, const Vec3d& normal, const Vec3d& point,
               double tolerance)
{
    auto half = slicer.SliceTriangles(normal, point, false, tolerance);
    Half closed;
    closed.lid = half.triangles.size();
    // Where nothing lies below, the section is the outline of a face in the plane, and a lid over
    // it would stand there alone.
    if (!half.triangles.empty()) {
        Mesh::Append(half.triangles, Mesh::SoupFromIndexedPoints(Mesh::CapOfSections(half)));
    }
    closed.mesh = Mesh::IndexedPointsFromSoup(half.triangles, true, 0.0);
    return closed;
}

std::unique_ptr<sorvane_mesh> MeshOfSoup(const Mesh::TriangleSlicer::Triangles& soup)
{
    return NewMesh(Mesh::IndexedPointsFromSoup(soup, true, 0.0));
}

} // namespace

// --- outlines
// -------------------------------------------------------------------------------------------------------

void sorvane_section_options_init(sorvane_section_options* options)
{
    if (options != nullptr) {
        *options = {sizeof(*options), SORVANE_SECTION_ABOVE, 0};
    }
}

sorvane_status sorvane_mesh_sections(const sorvane_mesh* mesh, const double* normal,
                                     const double* heights, size_t height_count,
                                     const sorvane_section_options* options,
                                     sorvane_sections** sections, sorvane_error* error)
{
    return Guarded(error, [&] {
        Result(sections, "sections");
        const MeshData& data = MeshOf(mesh);
        const Mesh::SectionOptions how = SectionOptionsOf(options);
        return Made(sections,
                    NewSections(Mesh::MeshSections(data, DirectionOf(normal, "normal"),
                                                   HeightsOf(heights, height_count), how)));
    });
}

size_t sorvane_sections_count(const sorvane_sections* sections) { return sections->heights.size(); }

const sorvane_lines* sorvane_sections_lines(const sorvane_sections* sections)
{
    return &sections->lines;
}

const int* sorvane_sections_first(const sorvane_sections* sections, size_t* count)
{
    return Elements(sections->first, count);
}

const double* sorvane_sections_heights(const sorvane_sections* sections, size_t* count)
{
    return Elements(sections->heights, count);
}

const double* sorvane_sections_areas(const sorvane_sections* sections, size_t* count)
{
    return Elements(sections->areas, count);
}

const double* sorvane_sections_lengths(const sorvane_sections* sections, size_t* count)
{
    return Elements(sections->lengths, count);
}

const double* sorvane_sections_open_lengths(const sorvane_sections* sections, size_t* count)
{
    return Elements(sections->openLengths, count);
}

const double* sorvane_sections_frames(const sorvane_sections* sections, size_t* count)
{
    return Elements(sections->frames, count, 12);
}

sorvane_status sorvane_sections_in_space(const sorvane_sections* sections, sorvane_lines** lines,
                                         sorvane_error* error)
{
    return Guarded(error, [&] {
        Result(lines, "lines");
        Required(sections, "sections");
        const sorvane_lines& flat = sections->lines;
        auto handle = std::make_unique<sorvane_lines>();
        handle->points.reserve(flat.points.size() / 2 * 3);
        handle->starts = flat.starts;
        handle->closed = flat.closed;
        for (std::size_t i = 0; i < sections->toSpace.size(); ++i) {
            const auto last = static_cast<std::size_t>(
                flat.starts[static_cast<std::size_t>(sections->first[i + 1])]);
            for (auto p = static_cast<std::size_t>(
                     flat.starts[static_cast<std::size_t>(sections->first[i])]);
                 p < last; ++p) {
                const Vec3d point =
                    sections->toSpace[i] * Vec3d(flat.points[2 * p], flat.points[2 * p + 1], 0);
                handle->points.insert(handle->points.end(), point.begin(), point.end());
            }
        }
        return Made(lines, std::move(handle));
    });
}

void sorvane_sections_free(sorvane_sections* sections) { delete sections; }

sorvane_status sorvane_slicer_new(const sorvane_mesh* mesh, const double* normal,
                                  sorvane_slicer** slicer, sorvane_error* error)
{
    return Guarded(error, [&] {
        Result(slicer, "slicer");
        const MeshData& data = MeshOf(mesh);
        return Made(slicer, std::unique_ptr<sorvane_slicer>(new sorvane_slicer{
                                Mesh::PlaneSlicer(data, DirectionOf(normal, "normal"))}));
    });
}

void sorvane_slicer_heights(const sorvane_slicer* slicer, double* lowest, double* highest)
{
    const std::array<double, 2> range = slicer->slicer.HeightRange();
    if (lowest != nullptr) {
        *lowest = range[0];
    }
    if (highest != nullptr) {
        *highest = range[1];
    }
}

sorvane_status sorvane_slicer_sections(const sorvane_slicer* slicer, const double* heights,
                                       size_t height_count, const sorvane_section_options* options,
                                       sorvane_sections** sections, sorvane_error* error)
{
    return Guarded(error, [&] {
        Result(sections, "sections");
        const Mesh::PlaneSlicer& prepared = Required(slicer, "slicer").slicer;
        const Mesh::SectionOptions how = SectionOptionsOf(options);
        return Made(sections,
                    NewSections(prepared.Sections(HeightsOf(heights, height_count), how)));
    });
}

void sorvane_slicer_free(sorvane_slicer* slicer) { delete slicer; }

// --- halves
// ---------------------------------------------------------------------------------------------------------

sorvane_status sorvane_mesh_split(const sorvane_mesh* mesh, const double* normal,
                                  const double* point, double tolerance, sorvane_mesh** below,
                                  size_t* below_lid, sorvane_mesh** above, size_t* above_lid,
                                  sorvane_error* error)
{
    return Guarded(error, [&] {
        if (above != nullptr) {
            *above = nullptr;
        }
        Result(below, "below");
        Result(above, "above");
        const MeshData& data = MeshOf(mesh);
        const Vec3d direction = DirectionOf(normal, "normal");
        const Vec3d place = FiniteOf(point, "point");
        CheckNotNegative(tolerance, "tolerance");
        // The length at which the library takes the plane for none.
        constexpr double kShortest = 1e-12;
        if (!(Velk::Math::Vector::Length(direction) > kShortest)) {
            BadArgument("normal is no longer than 1e-12");
        }
        const Mesh::TriangleSlicer slicer = SlicerOf(data);
        Half low = HalfBelow(slicer, direction, place, tolerance);
        Half high = HalfBelow(slicer, -direction, place, tolerance);
        if (below_lid != nullptr) {
            *below_lid = low.lid;
        }
        if (above_lid != nullptr) {
            *above_lid = high.lid;
        }
        return MadeTogether(Made(below, NewMesh(std::move(low.mesh))),
                            Made(above, NewMesh(std::move(high.mesh))));
    });
}

// --- intersections
// --------------------------------------------------------------------------------------------------

sorvane_status sorvane_mesh_intersection(const sorvane_mesh* mesh, const sorvane_mesh* other,
                                         sorvane_lines** curves, sorvane_error* error)
{
    return Guarded(error, [&] {
        Result(curves, "curves");
        const MeshData& first = MeshOf(mesh);
        const MeshData& second = MeshOf(other, "other");
        auto cut = SlicerOf(first).SliceTriangles(Mesh::SoupFromIndexedPoints(second));
        return Made(curves, NewLines(std::move(cut.curves)));
    });
}

sorvane_status sorvane_mesh_self_intersection(const sorvane_mesh* mesh, sorvane_lines** curves,
                                              sorvane_error* error)
{
    return Guarded(error, [&] {
        Result(curves, "curves");
        auto cut = SlicerOf(MeshOf(mesh)).SelfIntersections();
        return Made(curves, NewLines(std::move(cut.curves)));
    });
}

sorvane_status sorvane_mesh_cut_along(const sorvane_mesh* mesh, const sorvane_mesh* other,
                                      sorvane_mesh** cut, sorvane_mesh** uncut,
                                      sorvane_mesh** other_cut, sorvane_error* error)
{
    return Guarded(error, [&] {
        for (sorvane_mesh** place : {cut, uncut, other_cut}) {
            if (place != nullptr) {
                *place = nullptr;
            }
        }
        Result(cut, "cut");
        Result(uncut, "uncut");
        Result(other_cut, "other_cut");
        const MeshData& first = MeshOf(mesh);
        const MeshData& second = MeshOf(other, "other");
        const auto pieces = SlicerOf(first).SliceTriangles(Mesh::SoupFromIndexedPoints(second));
        return MadeTogether(Made(cut, MeshOfSoup(pieces.first)),
                            Made(uncut, MeshOfSoup(pieces.uncut)),
                            Made(other_cut, MeshOfSoup(pieces.second)));
    });
}
