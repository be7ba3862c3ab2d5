// The surface of a grid of signed distances, by dual contouring, after T. Ju, F. Losasso, S.
// Schaefer and J. Warren, "Dual contouring of Hermite data", 2002.
//
//  1. Where the values at the two ends of an edge of the grid have different signs, the place of
//  the crossing and the
//     normal there come from the planes that the two samples tell.
//  2. Each cell with crossings gets a vertex for each sheet of surface in it, where the planes
//  through its crossings come
//     nearest to meeting: on the edges and corners of the solid, where it has some.
//  3. Around each crossing the vertices of its four cells make two triangles.
//
// Two layers of cells are known at a time.

#include "VolumeSurface.h"

#include <Sorvane/QuadricErrorFunction_E.h>
#include <Velk/Math/Vector_E.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <stdexcept>
#include <utility>
#include <vector>

namespace SorvaneC {

namespace {

using Velk::Math::Vec3d;
using Velk::Math::Sorvane::HalfEdge::Decorations::QuadricErrorFunction;
using Velk::Math::Sorvane::IsoSurface::OrientedSample;
using Volume = Velk::Math::Sorvane::IsoSurface::VolumetricData<OrientedSample>;

/// A singular value below this fraction of the greatest tells no plane of its own: of a curved
/// face, or of an edge as blunt as 145 degrees.
constexpr double kPlaneTolerance = 0.1;

/// How far a vertex may lie from the center of its cell, in half edges of the cell. Where an edge
/// of the solid only grazes a cell its planes meet a little outside.
constexpr double kReach = 1.5;

/// By how much two samples may contradict each other, in lengths of the edge between them, before
/// their planes are not believed: values that are no distances do.
constexpr double kContradiction = 1e-3;

/// The two corners of each of the twelve edges of a cell. Corner k lies on the upper side on the
/// axes whose bit is set in k (bit 0 is x); edge 4 a + b runs along axis a from its corner with
/// that bit clear.
struct CellEdges {
    std::array<std::array<std::size_t, 2>, 12> corners{};

    constexpr CellEdges()
    {
        for (std::size_t axis = 0; axis < 3; ++axis) {
            const std::size_t u = std::size_t{1} << (axis + 1) % 3;
            const std::size_t v = std::size_t{1} << (axis + 2) % 3;
            const std::size_t starts[4] = {0, u, v, u | v};
            for (std::size_t i = 0; i < 4; ++i) {
                corners[4 * axis + i] = {starts[i], starts[i] | std::size_t{1} << axis};
            }
        }
    }
};
constexpr CellEdges kEdges;

bool IsInside(const OrientedSample& sample) { return sample.value < 0; }

using CornerSides = std::array<bool, 8>; // true inside

/// The sheets of surface that pass through a cell: its crossed edges in groups, each of which gets
/// a vertex. Nearly always there is one. Where two corners inside lie across a face from each
/// other, and the face's other two are outside, it is the outside that goes through between them;
/// so both cells beside the face have it, whatever the rest of them looks like.
struct Sheets {
    std::array<std::uint8_t, 12> ofEdge{};
    int count = 0;

    explicit Sheets(const CornerSides& inside)
    {
        std::array<std::size_t, 8> part{0, 1, 2, 3, 4, 5, 6, 7}; // corners that hang together
        const auto join = [&](std::size_t a, std::size_t b) {
            std::replace(part.begin(), part.end(), std::size_t{part[a]}, std::size_t{part[b]});
        };
        for (const auto& [a, b] : kEdges.corners) {
            if (inside[a] == inside[b]) {
                join(a, b);
            }
        }
        for (std::size_t axis = 0; axis < 3; ++axis) {
            const std::size_t u = std::size_t{1} << (axis + 1) % 3;
            const std::size_t v = std::size_t{1} << (axis + 2) % 3;
            for (const std::size_t low : {std::size_t{0}, std::size_t{1} << axis}) {
                for (const std::size_t a : {low, low + u}) {
                    if (!inside[a] && !inside[a ^ u ^ v]) {
                        join(a, a ^ u ^ v);
                    }
                }
            }
        }
        std::array<std::pair<std::size_t, std::size_t>, 12> sides; // of each sheet: inside, outside
        for (std::size_t edge = 0; edge < 12; ++edge) {
            auto [in, out] = kEdges.corners[edge];
            if (inside[in] == inside[out]) {
                continue;
            }
            if (!inside[in]) {
                std::swap(in, out);
            }
            const std::pair<std::size_t, std::size_t> side{part[in], part[out]};
            const auto end = sides.begin() + count;
            const auto place = std::find(sides.begin(), end, side);
            ofEdge[edge] = static_cast<std::uint8_t>(place - sides.begin());
            if (place == end) {
                *place = side;
                ++count;
            }
        }
    }
};

struct Crossing {
    double share = 0.5; // of the way from the inner end to the outer one
    Vec3d normal;
};

Vec3d FiniteDirection(const Vec3d& direction)
{
    for (const double coordinate : direction) {
        if (!std::isfinite(coordinate)) {
            return {};
        }
    }
    return Velk::Math::Vector::Normalized(direction, 0.0);
}

/// Where the surface crosses the edge from a node inside to its neighbor outside, `way` apart.
///
/// Each sample tells a plane, that of the face nearest to it. At a convex edge of the solid the
/// surface is crossed where the first of the two planes is passed, at a concave one at the second;
/// which of them it is, the values tell. Samples that fit neither, as those of a field that is no
/// distance, are taken for the ends of a linear function.
Crossing CrossingBetween(const OrientedSample& in, const OrientedSample& out, const Vec3d& way)
{
    const double length = Velk::Math::Vector::Length(way);
    const Vec3d inDirection = FiniteDirection(in.direction);
    const Vec3d outDirection = FiniteDirection(out.direction);
    const double inSlope = inDirection * way;
    const double outSlope = outDirection * way;

    // By how much the plane of one sample is above the other sample.
    const double outPlaneAbove = out.value - outSlope - in.value;
    const double inPlaneAbove = in.value + inSlope - out.value;
    const bool agree =
        outPlaneAbove * inPlaneAbove >= 0 ||
        std::min(std::fabs(outPlaneAbove), std::fabs(inPlaneAbove)) <= kContradiction * length;
    if (agree && inDirection != Vec3d{} && outDirection != Vec3d{}) {
        constexpr double kNever = std::numeric_limits<double>::infinity();
        const double inShare = inSlope > 0 ? -in.value / inSlope : kNever;
        const double outShare = outSlope > 0 ? 1 - out.value / outSlope : -kNever;
        const bool isConvex = inPlaneAbove + outPlaneAbove <= 0;
        const bool hasIn = inShare >= 0 && inShare <= 1;
        const bool hasOut = outShare >= 0 && outShare <= 1;
        if (hasIn || hasOut) {
            const bool takesIn =
                hasIn && (!hasOut || (isConvex ? inShare < outShare : inShare > outShare));
            Crossing crossing{takesIn ? inShare : outShare, takesIn ? inDirection : outDirection};
            constexpr double kAlike = 0.9; // cosine: of one curved face
            if (inDirection * outDirection > kAlike) {
                crossing.normal =
                    inDirection * (1 - crossing.share) + outDirection * crossing.share;
                crossing.normal = Velk::Math::Vector::Normalized(crossing.normal, 0.0);
            }
            return crossing;
        }
    }
    Crossing crossing;
    const double share = in.value / (in.value - out.value);
    crossing.share = share >= 0 && share <= 1 ? share : 0.5; // a value that is not finite
    crossing.normal = Velk::Math::Vector::Normalized(
        inDirection * (1 - crossing.share) + outDirection * crossing.share, 0.0);
    if (crossing.normal == Vec3d{}) {
        crossing.normal = way / length;
    }
    return crossing;
}

class Contour {
public:
    Contour(const Volume& volume, const Vec3d& origin, const Vec3d& spacing)
        : volume_(volume), origin_(origin), spacing_(spacing)
    {
        const auto nodes = volume.Indexer().GetDimensions();
        for (std::size_t axis = 0; axis < 3; ++axis) {
            cells_[axis] = nodes[static_cast<int>(axis)] - 1;
        }
    }

    MeshData Surface()
    {
        if (cells_[0] == 0 || cells_[1] == 0 || cells_[2] == 0) {
            return {};
        }
        const std::size_t layer = cells_[0] * cells_[1];
        below_.assign(layer, {});
        here_.assign(layer, {});
        for (std::size_t z = 0; z < cells_[2]; ++z) {
            std::swap(below_, here_);
            AddVertices(z);
            AddFaces(z);
        }
        return std::move(mesh_);
    }

private:
    /// Of a cell: the number of its first vertex, -1 without one, and the sheets of its edges.
    struct Cell {
        int first = -1;
        std::array<std::uint8_t, 12> sheetOf{};
    };

    const OrientedSample& SampleAt(std::size_t x, std::size_t y, std::size_t z) const
    {
        return volume_(static_cast<unsigned int>(x), static_cast<unsigned int>(y),
                       static_cast<unsigned int>(z));
    }

    /// A vertex for each sheet of surface that passes through a cell of the layer.
    void AddVertices(std::size_t z)
    {
        std::size_t number = 0;
        for (std::size_t y = 0; y < cells_[1]; ++y) {
            for (std::size_t x = 0; x < cells_[0]; ++x, ++number) {
                CornerSides inside;
                bool hasInside = false;
                bool hasOutside = false;
                for (std::size_t k = 0; k < 8; ++k) {
                    inside[k] = IsInside(SampleAt(x + (k & 1U), y + (k >> 1U & 1U), z + (k >> 2U)));
                    hasInside = hasInside || inside[k];
                    hasOutside = hasOutside || !inside[k];
                }
                here_[number].first = -1;
                if (hasInside && hasOutside) {
                    here_[number] = VerticesOf(x, y, z, inside);
                }
            }
        }
    }

    Cell VerticesOf(std::size_t x, std::size_t y, std::size_t z, const CornerSides& inside)
    {
        const Sheets sheets(inside);
        std::array<QuadricErrorFunction, 12> planes; // of each sheet, relative to the cell's center
        for (std::size_t edge = 0; edge < 12; ++edge) {
            auto [in, out] = kEdges.corners[edge];
            if (inside[in] == inside[out]) {
                continue;
            }
            if (!inside[in]) {
                std::swap(in, out);
            }
            const Vec3d from = Corner(in);
            const Vec3d way = Corner(out) - from;
            const Crossing crossing = CrossingBetween(
                SampleAt(x + (in & 1U), y + (in >> 1U & 1U), z + (in >> 2U)),
                SampleAt(x + (out & 1U), y + (out >> 1U & 1U), z + (out >> 2U)), way);
            AddPlane(planes[sheets.ofEdge[edge]], from + way * crossing.share, crossing.normal);
        }
        if (mesh_.points.size() + 12 > static_cast<std::size_t>(std::numeric_limits<int>::max())) {
            throw std::length_error("vertices of a surface");
        }
        const Cell cell{static_cast<int>(mesh_.points.size()), sheets.ofEdge};
        const Vec3d center(origin_.x() + (static_cast<double>(x) + 0.5) * spacing_.x(),
                           origin_.y() + (static_cast<double>(y) + 0.5) * spacing_.y(),
                           origin_.z() + (static_cast<double>(z) + 0.5) * spacing_.z());
        for (int sheet = 0; sheet < sheets.count; ++sheet) {
            QuadricErrorFunction& quadric = planes[static_cast<std::size_t>(sheet)];
            mesh_.points.push_back(center + MeetingPoint(quadric));
            ranks_.push_back(static_cast<std::uint8_t>(quadric.rank));
        }
        return cell;
    }

    /// A corner of a cell, seen from its center.
    Vec3d Corner(std::size_t k) const
    {
        return {((k & 1U) != 0 ? 0.5 : -0.5) * spacing_.x(),
                ((k & 2U) != 0 ? 0.5 : -0.5) * spacing_.y(),
                ((k & 4U) != 0 ? 0.5 : -0.5) * spacing_.z()};
    }

    /// Where the planes come nearest to meeting, in the cell or not far outside.
    Vec3d MeetingPoint(QuadricErrorFunction& planes) const
    {
        Vec3d best;
        double error = 0;
        const Vec3d mean = planes.massPoint / static_cast<double>(planes.count);
        Solve(planes, best, error, kPlaneTolerance);
        for (int axis = 0; axis < 3; ++axis) {
            const double reach = kReach * 0.5 * spacing_[axis];
            best[axis] = std::clamp(best[axis], -reach, reach);
        }
        return ErrorAt(planes, mean) < ErrorAt(planes, best) ? mean : best;
    }

    /// Faces across the edges of the layer: those along z from it to the next one, and those along
    /// x and y on its lower nodes, where there are cells below.
    void AddFaces(std::size_t z)
    {
        for (std::size_t y = 0; y < cells_[1]; ++y) {
            for (std::size_t x = 0; x < cells_[0]; ++x) {
                if (x > 0 && y > 0) {
                    AddFace(2, x, y, z);
                }
                if (y > 0 && z > 0) {
                    AddFace(0, x, y, z);
                }
                if (x > 0 && z > 0) {
                    AddFace(1, x, y, z);
                }
            }
        }
    }

    /// The face across the edge along `axis` that begins at node (x, y, z).
    void AddFace(std::size_t axis, std::size_t x, std::size_t y, std::size_t z)
    {
        const std::size_t place[3] = {x, y, z};
        std::size_t end[3] = {x, y, z};
        ++end[axis];
        const bool beginsInside = IsInside(SampleAt(x, y, z));
        if (beginsInside == IsInside(SampleAt(end[0], end[1], end[2]))) {
            return;
        }
        // The four cells round the edge, counterclockwise seen from its upper end; the edge is
        // number 4 axis + i of each, where i says on which side of the cell it lies.
        const std::size_t u = (axis + 1) % 3;
        const std::size_t v = (axis + 2) % 3;
        constexpr std::array<std::array<std::size_t, 2>, 4> kAround{
            {{0, 0}, {1, 0}, {1, 1}, {0, 1}}};
        std::array<int, 4> face{};
        for (std::size_t i = 0; i < 4; ++i) {
            std::size_t cell[3] = {place[0], place[1], place[2]};
            cell[u] -= 1 - kAround[i][0];
            cell[v] -= 1 - kAround[i][1];
            const Cell& found = (cell[2] < z ? below_ : here_)[cell[1] * cells_[0] + cell[0]];
            const std::size_t edge = 4 * axis + (1 - kAround[i][0]) + 2 * (1 - kAround[i][1]);
            face[i] = found.first + found.sheetOf[edge];
        }
        if (!beginsInside) {
            std::reverse(face.begin(), face.end());
        }
        Vec3d outward;
        outward[static_cast<int>(axis)] = beginsInside ? 1 : -1;
        if (IsBetterFromSecond(face, outward)) {
            std::rotate(face.begin(), face.begin() + 1, face.end());
        }
        if (mesh_.indices.size() + 6 > static_cast<std::size_t>(std::numeric_limits<int>::max())) {
            throw std::length_error("triangles of a surface");
        }
        mesh_.indices.insert(mesh_.indices.end(),
                             {face[0], face[1], face[2], face[0], face[2], face[3]});
    }

    const Vec3d& PointOf(int vertex) const
    {
        return mesh_.points[static_cast<std::size_t>(vertex)];
    }

    /// Shall a face be cut from its second to its last vertex? Seen along the edge it may have a
    /// notch, and must be cut there, or else a triangle folds back. If not, it is cut along an edge
    /// of the solid, where more planes meet, or by the shorter way.
    bool IsBetterFromSecond(const std::array<int, 4>& face, const Vec3d& outward) const
    {
        const auto at = [&](std::size_t i) -> const Vec3d& { return PointOf(face[i % 4]); };
        const auto least = [&](std::size_t from) {
            const auto area = [&](std::size_t i) {
                return (at(i + 1) - at(i)) ^ (at(i + 2) - at(i));
            };
            return std::min(area(from) * outward, area(from + 2) * outward);
        };
        const double thinnest = 1e-3 * std::max(least(0), least(1));
        if (least(0) <= thinnest || least(1) <= thinnest) {
            return least(1) > least(0);
        }
        const auto rank = [&](std::size_t i) { return ranks_[static_cast<std::size_t>(face[i])]; };
        const int planes02 = rank(0) + rank(2);
        const int planes13 = rank(1) + rank(3);
        return planes13 > planes02 ||
               (planes13 == planes02 && Velk::Math::Vector::Length(at(1) - at(3)) <
                                            Velk::Math::Vector::Length(at(0) - at(2)));
    }

    const Volume& volume_;
    Vec3d origin_;
    Vec3d spacing_;
    std::array<std::size_t, 3> cells_{};
    std::vector<Cell> below_; // the layer under the present one
    std::vector<Cell> here_;
    std::vector<std::uint8_t> ranks_; // of the vertices: how many planes meet there
    MeshData mesh_;
};

} // namespace

MeshData SurfaceOfVolume(const Volume& volume, const Vec3d& origin, const Vec3d& spacing)
{
    return Contour(volume, origin, spacing).Surface();
}

} // namespace SorvaneC
