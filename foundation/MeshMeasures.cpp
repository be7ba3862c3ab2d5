// Area, volume, center and box of a mesh in one pass.
//
// The volume is taken twice: about the origin, which is its meaning, and about a corner of the
// mesh. The two differ by the product of that corner with the sum of all area vectors, which is
// zero for a closed mesh: then the second is the same number without the digits that cancel far
// from the origin. Each chunk of triangles has sums of its own, added up in order.

#include <Sorvane/MeshMeasures_E.h>

#include "mathbase/ErrorFree_Impl.h"
#include "mathbase/Parallel_Impl.h"

#include <Velk/Math/Vector_E.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <limits>
#include <tuple>
#include <vector>

namespace Velk::Math::Sorvane::Mesh {
namespace {

using Math::Impl::CompensatedSum;

/// A sum of vectors.
struct VectorSum {
    std::array<CompensatedSum, 3> sums;

    void Add(const Vec3d& term)
    {
        for (int axis = 0; axis < 3; ++axis) {
            sums[static_cast<std::size_t>(axis)].Add(term[axis]);
        }
    }
    Vec3d Value() const { return {sums[0].Value(), sums[1].Value(), sums[2].Value()}; }
};

/// Signed volume between a triangle and the origin: p0 . (p1 x p2) / 6, whichever corner is called
/// p0.
///
/// The edges give the same as the corners without losing the digits of a part that lies far from
/// the origin. They are taken from the corner nearest to the origin: the volume is exactly 0 if
/// that is the origin, and exactly opposite for a triangle wound oppositely, however its corners
/// are turned.
double SignedTetrahedron(const std::array<Vec3d, 3>& p)
{
    const auto key = [&](std::size_t k) {
        return std::tuple(SquaredLength(p[k]), p[k].x(), p[k].y(), p[k].z());
    };
    std::size_t base = key(1) < key(0) ? 1 : 0;
    base = key(2) < key(base) ? 2 : base;
    const Vec3d& apex = p[base];
    return apex * ((p[(base + 1) % 3] - apex) ^ (p[(base + 2) % 3] - apex)) / 6;
}

/// Volume, and its moment: the product with its center.
struct VolumeSums {
    CompensatedSum volume;
    VectorSum moment;

    void Add(const std::array<Vec3d, 3>& p)
    {
        const double tetrahedron = SignedTetrahedron(p);
        volume.Add(tetrahedron);
        moment.Add((p[0] + p[1] + p[2]) / 4 * tetrahedron);
    }
    void Add(const VolumeSums& other)
    {
        volume.Add(other.volume.Value());
        moment.Add(other.moment.Value());
    }
    Vec3d Center() const { return moment.Value() / volume.Value(); }
};

struct Sums {
    CompensatedSum area;
    VectorSum areaVector;
    CompensatedSum edgeProducts; ///< what the rounding of area vectors is measured by
    VolumeSums aboutOrigin;
    VolumeSums aboutCorner;
    Vec3d low = Vec3d(1, 1, 1) * std::numeric_limits<double>::infinity();
    Vec3d high = -low;

    void Add(const std::array<Vec3d, 3>& p, const Vec3d& corner)
    {
        const Vec3d first = p[1] - p[0];
        const Vec3d second = p[2] - p[0];
        const Vec3d vector = (first ^ second) / 2;
        area.Add(Length(vector));
        areaVector.Add(vector);
        edgeProducts.Add(Length(first) * Length(second));
        aboutOrigin.Add(p);
        aboutCorner.Add({p[0] - corner, p[1] - corner, p[2] - corner});
        for (const Vec3d& point : p) {
            Include(point, point);
        }
    }
    void Add(const Sums& other)
    {
        area.Add(other.area.Value());
        areaVector.Add(other.areaVector.Value());
        edgeProducts.Add(other.edgeProducts.Value());
        aboutOrigin.Add(other.aboutOrigin);
        aboutCorner.Add(other.aboutCorner);
        Include(other.low, other.high);
    }

    /// Do the area vectors add up to nothing but their rounding?
    bool IsBalanced() const
    {
        constexpr double kRounding = 8 * std::numeric_limits<double>::epsilon();
        const double least = kRounding * edgeProducts.Value();
        const Vec3d sum = areaVector.Value();
        return std::fabs(sum.x()) <= least && std::fabs(sum.y()) <= least &&
               std::fabs(sum.z()) <= least;
    }

private:
    /// NaN is neither less nor greater.
    void Include(const Vec3d& least, const Vec3d& greatest)
    {
        for (int axis = 0; axis < 3; ++axis) {
            low[axis] = least[axis] < low[axis] ? least[axis] : low[axis];
            high[axis] = greatest[axis] > high[axis] ? greatest[axis] : high[axis];
        }
    }
};

} // namespace

template <class T>
MeshMeasures MeasureMesh(const IndexedPointsBase<3, T>& mesh)
{
    constexpr std::size_t kChunk = 1024;
    const std::size_t count = mesh.indices.size() / 3;
    const double nan = std::numeric_limits<double>::quiet_NaN();
    MeshMeasures measures;
    measures.centroid = measures.low = measures.high = Vec3d(nan, nan, nan);
    if (count == 0) {
        return measures;
    }
    const auto point = [&](std::size_t place) {
        return Vec3d(mesh.points[static_cast<std::size_t>(mesh.indices[place])]);
    };
    const Vec3d corner = point(0);
    std::vector<Sums> chunks((count + kChunk - 1) / kChunk);
    Parallel::Impl::ApplyParallel(std::size_t{0}, chunks.size(), [&](std::size_t chunk) {
        const std::size_t end = std::min((chunk + 1) * kChunk, count);
        for (std::size_t t = chunk * kChunk; t < end; ++t) {
            chunks[chunk].Add({point(3 * t), point(3 * t + 1), point(3 * t + 2)}, corner);
        }
    });
    Sums all;
    for (const Sums& chunk : chunks) {
        all.Add(chunk);
    }
    const bool isBalanced = all.IsBalanced();
    const VolumeSums& body = isBalanced ? all.aboutCorner : all.aboutOrigin;
    measures.area = all.area.Value();
    measures.volume = body.volume.Value();
    if (measures.volume != 0) {
        measures.centroid = isBalanced ? corner + body.Center() : body.Center();
    }
    for (int axis = 0; axis < 3; ++axis) {
        if (all.low[axis] <= all.high[axis]) { // else all of them are NaN
            measures.low[axis] = all.low[axis];
            measures.high[axis] = all.high[axis];
        }
    }
    return measures;
}

#define SORVANE_INSTANTIATE(T) template MeshMeasures MeasureMesh(const IndexedPointsBase<3, T>&);
SORVANE_INSTANTIATE(float)
SORVANE_INSTANTIATE(double)
#undef SORVANE_INSTANTIATE

} // namespace Velk::Math::Sorvane::Mesh
