// Stock to cut a part from.

#include "Stock.h"

#include "Drawing.h"

#include <Sorvane/BoundingVolumes_E.h>
#include <Sorvane/ConvexHull_E.h>
#include <Sorvane/OrientedBox_E.h>
#include <Velk/Math/Vector_E.h>

#include <algorithm>
#include <cmath>
#include <numbers>

namespace Cli {

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;
using Drawing::SvgStyle;
using Drawing::SvgWriter;

Vec3d Column(const TransformBase<3>& transform, int c)
{
    return {transform(0, c), transform(1, c), transform(2, c)};
}

Vec3d Row(const TransformBase<3>& transform, int r)
{
    return {transform(r, 0), transform(r, 1), transform(r, 2)};
}

/// The least and greatest coordinates of the points along the axes.
std::array<Vec3d, 2> Extent(const std::vector<Vec3d>& points, const std::array<Vec3d, 3>& axes)
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

/// The edges of the stock as pairs of points.
std::vector<std::array<Vec3d, 2>> EdgesOf(StockKind kind, const Vec3d& size)
{
    std::vector<std::array<Vec3d, 2>> edges;
    if (kind == StockKind::Round) {
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
bool IsInFront(StockKind kind, const Vec3d& size, const std::array<Vec3d, 2>& edge)
{
    const Vec3d middle = (edge[0] + edge[1]) * 0.5;
    if (kind == StockKind::Round) {
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

} // namespace

const char* StockName(StockKind kind)
{
    constexpr std::array<const char*, 4> kNames{"block", "plate", "bar", "round"};
    return kNames[static_cast<std::size_t>(kind)];
}

bool StockSizes::Names(StockKind kind) const
{
    return (kind == StockKind::Plate && !plates.empty()) ||
           (kind == StockKind::Bar && !bars.empty()) ||
           (kind == StockKind::Round && !rounds.empty());
}

StockSearch::StockSearch(const std::vector<Vec3d>& points, const TransformBase<3>& box,
                         const StockSizes& sizes)
    : sizes_(sizes)
{
    // What is inside the hull makes no difference; a flat part has none, and all its points do.
    std::vector<Vec3d> hull;
    std::vector<int> triangles;
    if (!Bounding::ConvexHull(points, hull, triangles, false, false)) {
        hull = points;
    }
    for (const Vec3d& axis : AxesToTry(hull, triangles, box)) {
        TryAlong(hull, axis);
    }
}

/// Everything that the points fit into when they are turned so that `axis` is Z.
void StockSearch::TryAlong(const std::vector<Vec3d>& points, const Vec3d& axis)
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
    const auto circle = Bounding::EnclosingBall(seen);
    const Vec3d middle = points.front() + u * circle.center[0] + v * circle.center[1];
    TryRound(points, middle, circle.radius, {u, v, w});
    TryRound(points, middle, circle.radius, {u, -v, -w});
}

void StockSearch::Try(StockKind kind, const Vec3d& size, double volume, const Axes& axes,
                      const Vec3d& shift)
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

void StockSearch::TryFlat(const std::vector<Vec3d>& points, const Axes& axes)
{
    const std::array<Vec3d, 2> extent = Extent(points, axes);
    const Vec3d middle = (extent[0] + extent[1]) * 0.5;
    const double both = 2 * sizes_.allowance;
    const Vec3d needed = extent[1] - extent[0] + Vec3d(both, both, both);
    const auto tryIn = [&](StockKind kind, const Vec3d& size) {
        if (size[0] >= needed[0] && size[1] >= needed[1] && size[2] >= needed[2]) {
            Try(kind, size, size[0] * size[1] * size[2], axes, size * 0.5 - middle);
        }
    };
    if (needed[0] >= needed[1] && needed[1] >= needed[2]) {
        tryIn(StockKind::Block, needed);
    }
    if (needed[0] >= needed[1]) {
        for (const double thickness : sizes_.plates) {
            tryIn(StockKind::Plate, {needed[0], needed[1], thickness});
        }
    }
    for (const auto& [width, height] : sizes_.bars) {
        tryIn(StockKind::Bar, {needed[0], std::max(width, height), std::min(width, height)});
    }
}

/// `middle` is a point of the axis.
void StockSearch::TryRound(const std::vector<Vec3d>& points, const Vec3d& middle, double radius,
                           const Axes& axes)
{
    const auto [low, high] = Extent(points, axes);
    const double both = 2 * sizes_.allowance;
    const double needed = 2 * radius + both;
    const double length = high[2] - low[2] + both;
    const Vec3d shift(-(middle * axes[0]), -(middle * axes[1]), sizes_.allowance - low[2]);
    std::vector<double> diameters = sizes_.rounds;
    if (diameters.empty()) {
        diameters.push_back(needed);
    }
    for (const double diameter : diameters) {
        if (diameter >= needed) {
            Try(StockKind::Round, {diameter, diameter, length},
                std::numbers::pi / 4 * diameter * diameter * length, axes, shift);
        }
    }
}

SvgWriter PictureOf(const Part& part, StockKind kind, const Vec3d& size)
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
            AddPlainPart(part, picture);
        }
    }
    return picture;
}

} // namespace Cli
