// The stock to cut a part from: the smallest block, plate, bar or round bar that it fits into when
// it may be turned, and how to lay it in.
//
//   stock_box PART [OUT.stl] [--allowance A] [--plate T,T,...] [--bar WxH,WxH,...]
//             [--round D,D,...] [--as block|plate|bar|round] [--svg PICTURE.svg]
//
// A is left over on every side. Plates and bars are chosen from the sizes that are given, sawn to
// length; a round bar has the diameter that is needed unless sizes are given, and a block is sawn
// on all sides. OUT.stl is the part laid into the one of least volume, or the kind that is asked
// for: a corner of the stock at the origin, its length along X and the thickness along Z; a round
// bar about Z, from z = 0.
//
// Exit codes: 0 done, 1 a file can't be read or written, 2 wrong use, 3 none of the sizes is large
// enough for the kind that is asked for, or the part is no more than a line.

#include "Arguments.h"
#include "PartDrawing.h"
#include "PartFiles.h"

#include <Sorvane/BoundingVolumes_E.h>
#include <Sorvane/ConvexHull_E.h>
#include <Sorvane/MeshQueries_E.h>
#include <Sorvane/OrientedBox_E.h>
#include <Velk/Math/Vector_E.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <filesystem>
#include <numbers>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace PartDrawing;

enum class Kind { Block, Plate, Bar, Round };
constexpr std::array<const char*, 4> kKinds{"block", "plate", "bar", "round"};

struct Options {
    std::filesystem::path input;
    std::filesystem::path output;
    std::filesystem::path picture;
    double allowance = 0;
    std::vector<double> plates;
    std::vector<std::array<double, 2>> bars;
    std::vector<double> rounds;
    std::optional<Kind> kind;
};

/// The lengths in a list like "20,25,30", or "20x10,30x15" with `perItem` 2; nothing when it isn't
/// one.
std::optional<std::vector<double>> LengthsOf(std::string_view list, std::size_t perItem)
{
    std::vector<double> lengths;
    while (!list.empty()) {
        const bool isLast = (lengths.size() + 1) % perItem == 0;
        const std::size_t end = std::min(list.find(isLast ? ',' : 'x'), list.size());
        const std::optional<double> length = LengthOf(list.substr(0, end));
        if (!length || *length == 0 || (end + 1 == list.size())) {
            return std::nullopt;
        }
        lengths.push_back(*length);
        list.remove_prefix(std::min(end + 1, list.size()));
    }
    return lengths.empty() || lengths.size() % perItem != 0 ? std::nullopt : std::optional(lengths);
}

std::optional<Options> ParseOptions(int argc, char** argv)
{
    Options options;
    std::vector<std::string_view> files;
    for (int i = 1; i < argc; ++i) {
        const std::string_view name = argv[i];
        if (!name.starts_with("--")) {
            files.push_back(name);
            continue;
        }
        if (++i == argc) {
            return std::nullopt;
        }
        const std::string_view value = argv[i];
        if (name == "--svg") {
            options.picture = value;
        } else if (name == "--as") {
            const auto kind = std::find(kKinds.begin(), kKinds.end(), value);
            if (kind == kKinds.end()) {
                return std::nullopt;
            }
            options.kind = static_cast<Kind>(kind - kKinds.begin());
        } else if (name == "--allowance") {
            const auto length = LengthOf(value);
            if (!length) {
                return std::nullopt;
            }
            options.allowance = *length;
        } else if (name == "--plate" || name == "--round" || name == "--bar") {
            const auto lengths = LengthsOf(value, name == "--bar" ? 2 : 1);
            if (!lengths) {
                return std::nullopt;
            }
            if (name == "--bar") {
                for (std::size_t k = 0; k < lengths->size(); k += 2) {
                    options.bars.push_back({(*lengths)[k], (*lengths)[k + 1]});
                }
            } else {
                (name == "--plate" ? options.plates : options.rounds) = *lengths;
            }
        } else {
            return std::nullopt;
        }
    }
    if (files.empty() || files.size() > 2) {
        return std::nullopt;
    }
    options.input = files[0];
    options.output = files.size() > 1 ? files[1] : "";
    return options;
}

/// By the divergence theorem, about a point of the part so that no digits are lost far from the
/// origin.
double Volume(const Part& part)
{
    double sixfold = 0;
    for (std::size_t i = 0; i + 2 < part.indices.size(); i += 3) {
        const auto corner = [&](std::size_t k) {
            return part.points[static_cast<std::size_t>(part.indices[i + k])] - part.points.front();
        };
        sixfold += corner(0) * (corner(1) ^ corner(2));
    }
    return sixfold / 6;
}

// --- choosing -----------------------------------------------------------------------------------

/// A piece of stock and the way the part lies in it. A round bar has its diameter twice.
struct Stock {
    Vec3d size;
    double volume = 0;
    double likeness = 0; // trace of the rotation: the greater, the less of a turn
    TransformBase<3> place;
};

Vec3d Column(const TransformBase<3>& transform, int c)
{
    return {transform(0, c), transform(1, c), transform(2, c)};
}

Vec3d Row(const TransformBase<3>& transform, int r)
{
    return {transform(r, 0), transform(r, 1), transform(r, 2)};
}

class StockSearch {
public:
    explicit StockSearch(const Options& options) : options_(options) {}

    /// Everything that the points fit into when they are turned so that `axis` is Z.
    void TryAlong(const std::vector<Vec3d>& points, const Vec3d& axis)
    {
        const TransformBase<3> frame = Transform::BuildTransformAxisOrigin(axis, {});
        const Vec3d u = Column(frame, 0);
        const Vec3d v = Column(frame, 1);
        const Vec3d w = Column(frame, 2);
        std::vector<Vec2d> seen;
        for (const Vec3d& p : points) {
            const Vec3d q = p - points.front();
            seen.push_back({q * u, q * v});
        }
        TransformBase<2> turn;
        Vec2d rectangle;
        if (!Bounding::OrientedBoundingBox(seen, turn, rectangle)) {
            turn = {}; // seen edge on
        }
        const std::array<Vec3d, 3> axes{u * turn(0, 0) + v * turn(1, 0),
                                        u * turn(0, 1) + v * turn(1, 1), w};
        for (const auto& [x, y] : std::array<std::array<std::size_t, 2>, 6>{
                 {{0, 1}, {1, 2}, {2, 0}, {0, 2}, {2, 1}, {1, 0}}}) {
            for (const auto& [signX, signY] :
                 std::array<std::array<double, 2>, 4>{{{1, 1}, {1, -1}, {-1, 1}, {-1, -1}}}) {
                const Vec3d along = axes[x] * signX;
                const Vec3d across = axes[y] * signY;
                TryFlat(points, {along, across, along ^ across});
            }
        }
        const auto circle = Bounding::BoundingCircleOfPoints(seen, false);
        const Vec3d middle = points.front() + u * circle.center[0] + v * circle.center[1];
        TryRound(points, middle, circle.radius, {u, v, w});
        TryRound(points, middle, circle.radius, {u, -v, -w});
    }

    const std::optional<Stock>& Best(Kind kind) const
    {
        return best_[static_cast<std::size_t>(kind)];
    }

private:
    using Axes = std::array<Vec3d, 3>;

    /// The least and greatest coordinates of the points along the axes.
    static std::array<Vec3d, 2> Extent(const std::vector<Vec3d>& points, const Axes& axes)
    {
        Vec3d low(1e300, 1e300, 1e300);
        Vec3d high = -low;
        for (const Vec3d& p : points) {
            for (int k = 0; k < 3; ++k) {
                const double place = p * axes[static_cast<std::size_t>(k)];
                low[k] = std::min(low[k], place);
                high[k] = std::max(high[k], place);
            }
        }
        return {low, high};
    }

    void Try(Kind kind, const Vec3d& size, double volume, const Axes& axes, const Vec3d& shift)
    {
        std::optional<Stock>& best = best_[static_cast<std::size_t>(kind)];
        // Of pieces that are as large, the one that the part needs less turning for.
        constexpr double kAsLarge = 1e-9;
        const double likeness = axes[0][0] + axes[1][1] + axes[2][2];
        if (!best || volume < best->volume * (1 - kAsLarge) ||
            (volume <= best->volume * (1 + kAsLarge) && likeness > best->likeness + kAsLarge)) {
            best = Stock{size, volume, likeness,
                         Transform::BuildTransform({axes[0], axes[1], axes[2]}, shift, 1.0)};
        }
    }

    void TryFlat(const std::vector<Vec3d>& points, const Axes& axes)
    {
        const std::array<Vec3d, 2> extent = Extent(points, axes);
        const Vec3d middle = (extent[0] + extent[1]) * 0.5;
        const double both = 2 * options_.allowance;
        const Vec3d needed = extent[1] - extent[0] + Vec3d(both, both, both);
        const auto tryIn = [&](Kind kind, const Vec3d& size) {
            if (size[0] >= needed[0] && size[1] >= needed[1] && size[2] >= needed[2]) {
                Try(kind, size, size[0] * size[1] * size[2], axes, size * 0.5 - middle);
            }
        };
        if (needed[0] >= needed[1] && needed[1] >= needed[2]) {
            tryIn(Kind::Block, needed);
        }
        if (needed[0] >= needed[1]) {
            for (const double thickness : options_.plates) {
                tryIn(Kind::Plate, {needed[0], needed[1], thickness});
            }
        }
        for (const auto& [width, height] : options_.bars) {
            tryIn(Kind::Bar, {needed[0], std::max(width, height), std::min(width, height)});
        }
    }

    /// `middle` is a point of the axis.
    void TryRound(const std::vector<Vec3d>& points, const Vec3d& middle, double radius,
                  const Axes& axes)
    {
        const auto [low, high] = Extent(points, axes);
        const double both = 2 * options_.allowance;
        const double needed = 2 * radius + both;
        const double length = high[2] - low[2] + both;
        const Vec3d shift(-(middle * axes[0]), -(middle * axes[1]), options_.allowance - low[2]);
        std::vector<double> diameters = options_.rounds;
        if (diameters.empty()) {
            diameters.push_back(needed);
        }
        for (const double diameter : diameters) {
            if (diameter >= needed) {
                Try(Kind::Round, {diameter, diameter, length},
                    std::numbers::pi / 4 * diameter * diameter * length, axes, shift);
            }
        }
    }

    const Options& options_;
    std::array<std::optional<Stock>, 4> best_;
};

/// Directions to lay along Z: the axes of the smallest box and of the quick one, those of the
/// smallest prisms, and the part's own.
std::vector<Vec3d> AxesToTry(const std::vector<Vec3d>& points, const std::vector<int>& triangles,
                             const TransformBase<3>& box)
{
    std::vector<Vec3d> axes{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
    TransformBase<3> quick;
    Vec3d size;
    Bounding::OrientedBoundingBox(points, quick, size);
    for (int c = 0; c < 3; ++c) {
        axes.push_back(Column(box, c));
        axes.push_back(Column(quick, c));
    }
    for (const bool byVolume : {false, true}) {
        axes.push_back(Row(
            Bounding::MinimalHullPrism(points, triangles, Vec3d{}, false, byVolume).transform, 2));
    }
    return axes;
}

// --- telling ------------------------------------------------------------------------------------

void TellVolume(double stockVolume, double partVolume)
{
    std::printf(", volume %.6g", stockVolume);
    if (partVolume > 0 && stockVolume > 0) {
        std::printf(", utilization %.2f %%", 100 * partVolume / stockVolume);
    }
    std::printf("\n");
}

void TellFlat(const char* name, const Vec3d& size, double partVolume)
{
    std::printf("%-5s %.6g x %.6g x %.6g", name, size[0], size[1], size[2]);
    TellVolume(size[0] * size[1] * size[2], partVolume);
}

void TellStock(Kind kind, const Stock& stock, double partVolume)
{
    if (kind == Kind::Round) {
        std::printf("round diameter %.6g, length %.6g", stock.size[0], stock.size[2]);
        TellVolume(stock.volume, partVolume);
    } else {
        TellFlat(kKinds[static_cast<std::size_t>(kind)], stock.size, partVolume);
    }
}

/// Without the sign of a zero and the noise of a rounding.
double Plain(double value) { return std::fabs(value) < 5e-13 ? 0 : value; }

/// The rotation as turns about fixed axes, and the whole map.
void TellPlace(const TransformBase<3>& place)
{
    const double degrees = 180 / std::numbers::pi;
    const double aboutY = std::asin(std::clamp(-place(2, 0), -1.0, 1.0));
    // Straight up or down, turns about X and Z are the same: all of it goes to Z.
    const bool isUpright = std::hypot(place(0, 0), place(1, 0)) < 1e-9;
    const double aboutX = isUpright ? 0 : std::atan2(place(2, 1), place(2, 2));
    const double aboutZ =
        isUpright ? std::atan2(-place(0, 1), place(1, 1)) : std::atan2(place(1, 0), place(0, 0));
    std::printf("turn: %.6f about X, then %.6f about Y, then %.6f about Z, in degrees\n",
                Plain(aboutX * degrees), Plain(aboutY * degrees), Plain(aboutZ * degrees));
    std::printf("from the part to the stock:\n");
    for (int r = 0; r < 3; ++r) {
        std::printf("  %15.12f %15.12f %15.12f  %.9g\n", Plain(place(r, 0)), Plain(place(r, 1)),
                    Plain(place(r, 2)), place(r, 3));
    }
}

// --- the picture --------------------------------------------------------------------------------

/// The edges of the stock as pairs of points.
std::vector<std::array<Vec3d, 2>> EdgesOf(Kind kind, const Vec3d& size)
{
    std::vector<std::array<Vec3d, 2>> edges;
    if (kind == Kind::Round) {
        constexpr int kSides = 72;
        const auto at = [&](int i, double z) {
            const double angle = 2 * std::numbers::pi * i / kSides;
            return Vec3d(size[0] / 2 * std::cos(angle), size[0] / 2 * std::sin(angle), z);
        };
        for (int i = 0; i < kSides; ++i) {
            edges.push_back({at(i, 0), at(i + 1, 0)});
            edges.push_back({at(i, size[2]), at(i + 1, size[2])});
            if (i % 12 == 0) {
                edges.push_back({at(i, 0), at(i, size[2])});
            }
        }
        return edges;
    }
    for (int axis = 0; axis < 3; ++axis) {
        for (int k = 0; k < 4; ++k) {
            Vec3d from;
            from[(axis + 1) % 3] = k % 2 == 0 ? 0 : size[(axis + 1) % 3];
            from[(axis + 2) % 3] = k / 2 == 0 ? 0 : size[(axis + 2) % 3];
            Vec3d to = from;
            to[axis] = size[axis];
            edges.push_back({from, to});
        }
    }
    return edges;
}

/// Is an edge on the side of the stock that faces the eye? Those are drawn over the part.
bool IsInFront(Kind kind, const Vec3d& size, const std::array<Vec3d, 2>& edge)
{
    const Vec3d middle = (edge[0] + edge[1]) * 0.5;
    if (kind == Kind::Round) {
        const Vec3d across(middle[0], middle[1], 0);
        return middle[2] > 0.75 * size[2] || across * kView.toward > 0;
    }
    for (int k = 0; k < 3; ++k) { // the eye looks from above all three
        if (middle[k] == size[k]) {
            return true;
        }
    }
    return false;
}

bool WritePicture(const Part& part, Kind kind, const Vec3d& size, const std::filesystem::path& path)
{
    const SvgStyle back{"#b48a5a", "none", 1, true};
    const SvgStyle front{"#8a5a20", "none", 1.5};
    SvgWriter picture(kPictureSize);
    for (const bool isFront : {false, true}) {
        for (const auto& edge : EdgesOf(kind, size)) {
            if (IsInFront(kind, size, edge) == isFront) {
                picture.AddPolyline(
                    {SvgWriter::Projected(edge[0], kView), SvgWriter::Projected(edge[1], kView)},
                    isFront ? front : back);
            }
        }
        if (!isFront) {
            SvgMeshMarks marks;
            marks.styles = {{"#3b4252", "none", 1}};
            MarkCreases(part, std::numbers::pi / 6, 0, marks);
            picture.AddMesh(part, kView, FacetStyle(), marks);
        }
    }
    return SavePicture(picture, path.string());
}

} // namespace

int main(int argc, char** argv)
{
    const auto options = ParseOptions(argc, argv);
    if (!options) {
        std::fprintf(stderr, "usage: stock_box PART [OUT.stl] [--allowance A] [--plate T,T,...]\n"
                             "                 [--bar WxH,WxH,...] [--round D,D,...]\n"
                             "                 [--as block|plate|bar|round] [--svg PICTURE.svg]\n");
        return 2;
    }
    Part part;
    if (!ReadWeldedPart(part, options->input, 0.0)) {
        return 1;
    }
    const bool isClosed = Mesh::BoundaryEdges(part).empty();
    const double volume = isClosed && !part.points.empty() ? Volume(part) : 0;
    std::printf("part: %zu triangles, ", part.indices.size() / 3);
    if (isClosed) {
        std::printf("volume %.6g\n", volume);
    } else {
        std::printf("open: its volume says nothing\n");
    }

    TransformBase<3> box;
    Vec3d boxSize;
    if (!Bounding::MinimalOrientedBox(part.points, box, boxSize)) {
        std::fprintf(stderr, "%s: no more than a line\n", options->input.string().c_str());
        return 3;
    }
    // What is inside the hull makes no difference; a flat part has none, and all its points do.
    std::vector<Vec3d> hull;
    std::vector<int> triangles;
    if (!Bounding::ConvexHull(part.points, hull, triangles, false, false)) {
        hull = part.points;
        std::erase_if(hull, [](const Vec3d& p) {
            return !(std::isfinite(p[0]) && std::isfinite(p[1]) && std::isfinite(p[2]));
        });
    }
    const auto asItIs = Bounding::BoxOfPoints(hull);
    const double both = 2 * options->allowance;
    const Vec3d asItIsSize = asItIs.max - asItIs.min + Vec3d(both, both, both);
    TellFlat("as is", asItIsSize, volume);
    StockSearch search(*options);
    for (const Vec3d& axis : AxesToTry(hull, triangles, box)) {
        search.TryAlong(hull, axis);
    }

    std::optional<Kind> chosen = options->kind;
    for (const Kind kind : {Kind::Block, Kind::Plate, Kind::Bar, Kind::Round}) {
        const auto& stock = search.Best(kind);
        if (!stock) {
            const bool isAsked = (kind == Kind::Plate && !options->plates.empty()) ||
                                 (kind == Kind::Bar && !options->bars.empty()) ||
                                 kind == Kind::Round || options->kind == kind;
            if (isAsked) {
                std::printf("%-5s none of the sizes is large enough\n",
                            kKinds[static_cast<std::size_t>(kind)]);
            }
            continue;
        }
        TellStock(kind, *stock, volume);
        if (!options->kind && (!chosen || stock->volume < search.Best(*chosen)->volume)) {
            chosen = kind;
        }
    }
    if (!chosen || !search.Best(*chosen)) {
        return 3;
    }
    const Stock& stock = *search.Best(*chosen);
    std::printf("laid into: %s\n", kKinds[static_cast<std::size_t>(*chosen)]);
    TellPlace(stock.place);
    for (Vec3d& p : part.points) {
        p = stock.place * p;
    }
    if (!options->output.empty() &&
        !Tell(MeshUtils::WriteMesh(part, options->output, MeshUtils::MeshFileForm::BinaryStl),
              options->output)) {
        return 1;
    }
    if (!options->picture.empty() && !WritePicture(part, *chosen, stock.size, options->picture)) {
        return 1;
    }
    return 0;
}
