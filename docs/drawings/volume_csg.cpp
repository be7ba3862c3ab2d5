// Samples two solids on one grid, a block and a ring, and draws a slice of them, of their union,
// their intersection, and of the block without the ring: where the value is negative, the line
// where it is zero, and the direction that comes with it.
//
//   volume_csg [nodes] > picture.svg
//
// `nodes` along each axis, 8 to 200, default 72. Exit codes: 0 done, 1 the picture can't be
// written, 2 wrong use.

#include "Arguments.h"
#include "PictureOutput.h"

#include <Sorvane/MeshQueries_E.h>
#include <Sorvane/SvgWriter_E.h>
#include <Sorvane/VolumetricData_E.h>

#include <array>
#include <cmath>
#include <cstdio>
#include <optional>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;
using IsoSurface::OrientedSample;
using Volume = IsoSurface::VolumetricData<OrientedSample>;

const Drawing::SvgStyle kInside{"none", "#b9c7d6", 1.2, false};
const Drawing::SvgStyle kLine{"#1f4e79", "none", 1.5, false};
const Drawing::SvgStyle kDirection{"#d1491b", "none", 1, false};

/// The grid fills the cube from -1 to 1.
Vec3d PlaceOf(const IsoSurface::VolumetricIndexer& indexer, unsigned int node)
{
    const double pitch = 2.0 / (indexer.GetDimensions()[0] - 1);
    return Vec3d(indexer.IndexStep(node)) * pitch - Vec3d(1, 1, 1);
}

/// A block of 1 x 0.7 x 0.8: the distance from it, and which way that grows.
OrientedSample BlockAt(const Vec3d& p)
{
    const Vec3d q = p + Vec3d(0.25, 0.05, 0);
    const Vec3d halves(0.5, 0.35, 0.4);
    Vec3d outward;
    double nearest = -10;
    int side = 0; // the one that is least far outside of the point
    for (int axis = 0; axis < 3; ++axis) {
        const double excess = std::fabs(q[axis]) - halves[axis];
        outward[axis] = excess > 0 ? std::copysign(excess, q[axis]) : 0;
        side = excess > nearest ? axis : side;
        nearest = std::fmax(nearest, excess);
    }
    if (nearest > 0) {
        return {Length(outward), Normalized(outward, 0.0)};
    }
    outward[side] = std::copysign(1, q[side]);
    return {nearest, outward};
}

/// A ring about the z axis through (0.3, 0.15).
OrientedSample RingAt(const Vec3d& p)
{
    const Vec3d q = p - Vec3d(0.3, 0.15, 0);
    const Vec3d middle = Normalized(Vec3d(q.x(), q.y(), 0), 0.0) * 0.42;
    const double distance = std::hypot(std::hypot(q.x(), q.y()) - 0.42, q.z());
    return {distance - 0.16, Normalized(q - middle, 0.0)};
}

Volume Sampled(unsigned int nodes, OrientedSample (*solid)(const Vec3d&))
{
    Volume volume(nodes, nodes, nodes);
    for (unsigned int node = 0; node < volume.Indexer().GetRange(); ++node) {
        volume.Samples()[node] = solid(PlaceOf(volume.Indexer(), node));
    }
    return volume;
}

/// The layer in the middle, beside what was drawn before.
void DrawSlice(const Volume& volume, const Vec2d& shift, const char* name,
               Drawing::SvgWriter& picture)
{
    const unsigned int nodes = volume.Indexer().GetDimensions()[0];
    const unsigned int z = nodes / 2;
    const auto at = [&](unsigned int x, unsigned int y) {
        const Vec3d place = PlaceOf(volume.Indexer(), volume.Indexer().Idx(x, y, z));
        return Vec2d(place.x(), place.y()) + shift;
    };
    std::vector<Vec2d> points;
    for (unsigned int y = 0; y < nodes; ++y) {
        for (unsigned int x = 0; x < nodes; ++x) {
            const OrientedSample& sample = volume(x, y, z);
            if (sample.value < 0) {
                points.push_back(at(x, y));
            }
            if (std::fabs(sample.value) < 0.02 && (x + y) % 3 == 0) {
                const Vec2d normal(sample.direction.x(), sample.direction.y());
                picture.AddPolyline({at(x, y), at(x, y) + normal * 0.09}, kDirection);
            }
        }
    }
    picture.AddPoints(points, kInside);
    const double area = static_cast<double>(points.size()) * std::pow(2.0 / (nodes - 1), 2);
    std::fprintf(stderr, "%s: area of the slice %.6f\n", name, area);
    for (unsigned int y = 0; y + 1 < nodes; ++y) {
        for (unsigned int x = 0; x + 1 < nodes; ++x) {
            for (const unsigned int upper : {0U, 1U}) {
                // The cell's lower right triangle, and its upper left one.
                std::array<Vec2d, 2> chord;
                if (Mesh::IsoSegmentFromTriangle(
                        at(x, y), at(x + 1, y + upper), at(x + 1 - upper, y + 1),
                        volume(x, y, z).value, volume(x + 1, y + upper, z).value,
                        volume(x + 1 - upper, y + 1, z).value, 0.0, chord)) {
                    picture.AddPolyline({chord[0], chord[1]}, kLine);
                }
            }
        }
    }
    picture.AddLabel(shift + Vec2d(-0.95, -1.1), name, {"#222222"});
}

} // namespace

int main(int argc, char** argv)
{
    const auto nodes = argc == 2 ? NumberOf(argv[1]) : std::optional(72.0);
    if (argc > 2 || !nodes || *nodes < 8 || *nodes > 200) {
        std::fprintf(stderr, "usage: volume_csg [nodes, 8 to 200] > picture.svg\n");
        return 2;
    }
    const Volume block = Sampled(static_cast<unsigned int>(*nodes), BlockAt);
    const Volume ring = Sampled(static_cast<unsigned int>(*nodes), RingAt);
    Drawing::SvgWriter picture(1100);
    const auto draw = [&](const Volume& volume, double column, double row, const char* name) {
        DrawSlice(volume, {2.2 * column, -2.2 * row}, name, picture);
    };
    draw(block, 0, 0, "block");
    draw(ring, 1, 0, "ring");
    draw(IsoSurface::Union(block, ring), 2, 0, "union");
    draw(IsoSurface::Intersection(block, ring), 0, 1, "intersection");
    draw(IsoSurface::Difference(block, ring), 1, 1, "block without ring");
    draw(IsoSurface::Difference(ring, block), 2, 1, "ring without block");
    picture.AddLegend("nodes inside", kInside);
    picture.AddLegend("value zero", kLine);
    picture.AddLegend("direction of samples near the surface", kDirection);
    return PrintPicture(picture);
}
