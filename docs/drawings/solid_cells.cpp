// Tells which cells of a quadtree lie within the section of a part, and draws them.
//
//   solid_cells PART HEIGHT DEPTH picture.svg
//
// Cuts the part at HEIGHT, links the cuts into outlines, takes the cells of DEPTH (2 to 12) that
// the outlines run through, and floods what is outside. What the flood does not reach is solid,
// holes in the section as well: they are closed. The area that the outer outlines enclose lies
// between the two figures that are printed, of the cells inside, and of those with the ones on
// outlines. Exit codes:
//   0 done
//   1 a file can't be read or written, or nothing lies at that height
//   2 wrong use
//   3 the cells can't be trusted: an outline is open, or the tree has gaps

#include "Arguments.h"
#include "PartFiles.h"
#include "PictureOutput.h"

#include <Sorvane/BoundingVolumes_E.h>
#include <Sorvane/MaterialTree_E.h>
#include <Sorvane/MeshQueries_E.h>
#include <Sorvane/SegmentLinking_E.h>
#include <Sorvane/SvgWriter_E.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <optional>
#include <tuple>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;
using Tree::MaterialTree::State;
using Part = Mesh::IndexedPointsBase<3, double>;
using Outlines = std::vector<std::vector<Vec2d>>;
using Cells = std::vector<Tree::MaterialTree::Node<2>>;

/// Corners within this of each other are one, and so are ends of cuts.
constexpr double kWeld = 1e-6;
constexpr double kPictureSize = 640;

Outlines SectionOf(const Part& part, double height)
{
    std::vector<Geometry::SegBase<double>> cuts;
    for (std::size_t t = 0; t + 2 < part.indices.size(); t += 3) {
        const auto corner = [&](std::size_t k) -> const Vec3d& {
            return part.points[static_cast<std::size_t>(part.indices[t + k])];
        };
        std::array<Vec3d, 2> cut;
        if (Mesh::IsoSegmentFromTriangle(corner(0), corner(1), corner(2), corner(0).z(),
                                         corner(1).z(), corner(2).z(), height, cut)) {
            cuts.push_back({{cut[0].x(), cut[0].y()}, {cut[1].x(), cut[1].y()}});
        }
    }
    return Tree::LinkSegments(cuts, kWeld);
}

/// The cells of `depth` that the outlines run through, of a square that holds them with a margin.
std::vector<Tree::QOFAddress<2>> CellsOf(const Outlines& outlines, unsigned int depth,
                                         const Vec2d& corner, double edge)
{
    constexpr double kStepsInACell = 16;
    const double step = edge / static_cast<double>(1U << depth) / kStepsInACell;
    std::vector<Tree::QOFAddress<2>> cells;
    for (const std::vector<Vec2d>& outline : outlines) {
        for (std::size_t i = 1; i < outline.size(); ++i) {
            const Vec2d along = outline[i] - outline[i - 1];
            const double steps = std::ceil(Length(along) / step) + 1;
            for (double k = 0; k <= steps; ++k) {
                const Vec2d place = outline[i - 1] + along * (k / steps);
                const auto cell = Tree::QOFAddress<2>::AtPoint((place - corner) * (1 / edge));
                cells.push_back({depth, cell.path >> 2 * (31 - depth)});
            }
        }
    }
    std::sort(cells.begin(), cells.end());
    cells.erase(std::unique(cells.begin(), cells.end()), cells.end());
    return cells;
}

double EdgeOf(const Tree::QOFAddress<2>& cell)
{
    return 1.0 / static_cast<double>(1U << cell.depth);
}

/// Of all cells in that state, as a share of the square.
double AreaOf(const Cells& cells, State state)
{
    double area = 0;
    for (const auto& cell : cells) {
        const double edge = EdgeOf(cell.address);
        area += cell.state == state ? edge * edge : 0;
    }
    return area;
}

bool Draw(const char* path, const Cells& cells)
{
    Drawing::SvgWriter picture(kPictureSize);
    for (const auto& [state, color, name] : {std::tuple(State::Exterior, "#fff", "outside"),
                                             std::tuple(State::Interior, "#8bd", "inside"),
                                             std::tuple(State::Surface, "#e80", "on an outline")}) {
        const Drawing::SvgStyle style{"#999", color, 0.7};
        std::vector<std::vector<Vec2d>> squares;
        for (const auto& cell : cells) {
            if (cell.state == state) {
                const double edge = EdgeOf(cell.address);
                const Vec2d low = cell.address.UnitSpacePoint(cell.address.depth);
                squares.push_back(
                    {low, low + Vec2d(edge, 0), low + Vec2d(edge, edge), low + Vec2d(0, edge)});
            }
        }
        picture.AddRegion(squares, style);
        picture.AddLegend(name, style);
    }
    return SavePicture(picture, path);
}

} // namespace

int main(int argc, char** argv)
{
    const std::optional<double> height = argc == 5 ? NumberOf(argv[2]) : std::nullopt;
    const std::optional<double> depth = argc == 5 ? NumberOf(argv[3]) : std::nullopt;
    if (!height || !depth || !(*depth >= 2 && *depth <= 12)) {
        std::fprintf(stderr, "usage: solid_cells PART HEIGHT DEPTH picture.svg\n"
                             "  DEPTH from 2 to 12\n");
        return 2;
    }
    Part part;
    if (!ReadWeldedPart(part, argv[1], kWeld)) {
        return 1;
    }
    const Outlines outlines = SectionOf(part, *height);
    if (outlines.empty()) {
        std::fprintf(stderr, "nothing lies at that height\n");
        return 1;
    }
    Bounding::AxisAlignedBoundingBox<2, double> box;
    for (const std::vector<Vec2d>& outline : outlines) {
        for (const Vec2d& point : outline) {
            box.Grow(point);
        }
    }
    const Vec2d extent = box.max - box.min;
    const double edge = 1.25 * std::max(extent.x(), extent.y());
    if (!(edge > 0)) {
        std::fprintf(stderr, "nothing lies at that height\n");
        return 1;
    }
    const Vec2d corner = (box.min + box.max) * 0.5 - Vec2d(edge, edge) * 0.5;

    const std::vector<Tree::QOFAddress<2>> surface =
        CellsOf(outlines, static_cast<unsigned int>(*depth), corner, edge);
    const Cells cells = Tree::MaterialTree::SolidVoxelizationFromLeaves<2>(surface, true);
    const double inside = AreaOf(cells, State::Interior);
    const double onOutline = AreaOf(cells, State::Surface);
    std::printf("%zu cells on the outlines, %zu leaves\n", surface.size(), cells.size());
    std::printf("area within the outer outlines: %.6g to %.6g\n", inside * edge * edge,
                (inside + onOutline) * edge * edge);
    if (!Draw(argv[4], cells)) {
        return 1;
    }
    // Powers of two: the sum has no rounding.
    const bool tiles = inside + onOutline + AreaOf(cells, State::Exterior) == 1;
    const bool isClosed =
        std::all_of(outlines.begin(), outlines.end(), [](const std::vector<Vec2d>& outline) {
            return outline.size() > 3 && outline.front() == outline.back();
        });
    if (!tiles || !isClosed) {
        std::fprintf(stderr, "%s\n", isClosed ? "the tree has gaps" : "an outline is open");
        return 3;
    }
    return 0;
}
