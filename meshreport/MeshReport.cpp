// The report on a triangle soup.
//
// The slots of the welded mesh are sorted by edge once, and everything that is told from edges
// comes from that list. Marks are set in parallel, each triangle its own, and gathered one after
// another, so that every list has one order; sums run over chunks of fixed boundaries.

#include <Sorvane/MeshMeasures_E.h>
#include <Sorvane/MeshQueries_E.h>
#include <Sorvane/MeshReport_E.h>
#include <Sorvane/Triangle_E.h>

#include "foundation/EdgeUses_Impl.h"
#include "mathbase/Parallel_Impl.h"
#include "mathbase/Progress_Impl.h"
#include "mathbase/SegmentPoint_Impl.h"
#include "mathbase/Values_Impl.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>
#include <numeric>
#include <utility>

namespace Velk::Math::Sorvane::MeshUtils {
namespace {

using Math::Impl::IsFinite;
using Math::Impl::kShortByFloor;
using Math::Impl::SquaredDistanceToSegment;
using Sorvane::Impl::EdgeUse;
using Sorvane::Impl::EdgeUses;

/// 2.5 degrees, within which two normals count as anti-parallel, and 1 - cos of it.
constexpr double kFoldAngle = 0.04363323129985824;
const double kFoldMargin = 1 - std::cos(kFoldAngle);

/// The welded mesh as the steps see it: by triangles, in `double`.
template <class T>
struct WeldedMesh {
    Mesh::IndexedPointsBase<3, T> mesh;

    std::size_t TriangleCount() const { return mesh.indices.size() / 3; }
    const int* Indices(std::size_t triangle) const { return mesh.indices.data() + 3 * triangle; }
    Vec3d Point(int number) const { return Vec3d(mesh.points[static_cast<std::size_t>(number)]); }
    std::array<Vec3d, 3> Corners(std::size_t triangle) const
    {
        const int* const index = Indices(triangle);
        return {Point(index[0]), Point(index[1]), Point(index[2])};
    }
};

// --- measures -----------------------------------------------------------------------------------

double EdgeLengths(const std::array<Vec3d, 3>& p)
{
    return Length(p[1] - p[0]) + Length(p[2] - p[1]) + Length(p[0] - p[2]);
}

/// The lengths of all slots together.
template <class T>
double SlotLengths(const WeldedMesh<T>& welded)
{
    constexpr std::size_t kChunk = 1024;
    const std::size_t count = welded.TriangleCount();
    std::vector<double> chunks((count + kChunk - 1) / kChunk);
    Parallel::Impl::ApplyParallel(std::size_t{0}, chunks.size(), [&](std::size_t chunk) {
        const std::size_t end = std::min((chunk + 1) * kChunk, count);
        for (std::size_t t = chunk * kChunk; t < end; ++t) {
            chunks[chunk] += EdgeLengths(welded.Corners(t));
        }
    });
    return std::accumulate(chunks.begin(), chunks.end(), 0.0);
}

/// NaN where there is nothing to take the mean of.
double Mean(double sum, std::size_t count)
{
    return count > 0 ? sum / static_cast<double>(count) : std::numeric_limits<double>::quiet_NaN();
}

template <class T>
void Measure(const WeldedMesh<T>& welded, MeshReport<T>& report)
{
    const std::vector<T> areas = Mesh::Areas(welded.mesh);
    report.meanTriangleArea =
        static_cast<T>(Mean(std::accumulate(areas.begin(), areas.end(), 0.0), areas.size()));

    report.meanEdgeLength = static_cast<T>(Mean(SlotLengths(welded), welded.mesh.indices.size()));
    const Mesh::MeshMeasures measures = Mesh::MeasureMesh(welded.mesh);
    report.volume = static_cast<T>(measures.volume);
    for (int axis = 0; axis < 3; ++axis) {
        report.centroid[axis] = report.volume == 0 ? std::numeric_limits<T>::quiet_NaN()
                                                   : static_cast<T>(measures.centroid[axis]);
    }
}

// --- triangles by themselves and beside their neighbors ------------------------------------------

/// The triangles for which `test` holds, ascending.
template <class Test>
std::vector<int> TrianglesWhere(std::size_t triangleCount, const Test& test)
{
    std::vector<char> holds(triangleCount);
    Parallel::Impl::ApplyParallelChunks(std::size_t{0}, triangleCount,
                                        [&](std::size_t from, std::size_t to) {
                                            for (std::size_t t = from; t < to; ++t) {
                                                holds[t] = test(t) ? 1 : 0;
                                            }
                                        });
    std::vector<int> numbers;
    for (std::size_t t = 0; t < triangleCount; ++t) {
        if (holds[t] != 0) {
            numbers.push_back(static_cast<int>(t));
        }
    }
    return numbers;
}

template <class T>
std::vector<int> DegenerateTriangles(const WeldedMesh<T>& welded, T tolerance)
{
    const double leastHeight = 2 * static_cast<double>(tolerance);
    return TrianglesWhere(welded.TriangleCount(), [&](std::size_t t) {
        const int* const index = welded.Indices(t);
        if (index[0] == index[1] || index[1] == index[2] || index[2] == index[0]) {
            return true;
        }
        const std::array<Vec3d, 3> p = welded.Corners(t);
        if (!IsFinite(p[0]) || !IsFinite(p[1]) || !IsFinite(p[2])) {
            return false; // it has no heights
        }
        const auto isFlatAt = [&](const Vec3d& apex, const Vec3d& a, const Vec3d& b) {
            // Distances, not squares: twice a negative tolerance is below any height.
            return std::sqrt(SquaredDistanceToSegment(a, b, apex, kShortByFloor<double>)) <=
                   leastHeight;
        };
        return isFlatAt(p[0], p[1], p[2]) || isFlatAt(p[1], p[2], p[0]) ||
               isFlatAt(p[2], p[0], p[1]);
    });
}

/// Unit normals, or zero where a triangle has none; one for each triangle.
template <class T>
std::vector<Vec3d> ComparableNormals(const WeldedMesh<T>& welded)
{
    const std::vector<VecBase<3, T>> normals = Mesh::Normals(welded.mesh);
    std::vector<Vec3d> comparable(welded.TriangleCount()); // there are no normals of under 3 points
    Parallel::Impl::ApplyParallelChunks(
        std::size_t{0}, normals.size(), [&](std::size_t from, std::size_t to) {
            for (std::size_t t = from; t < to; ++t) {
                comparable[t] = Normalized(Vec3d(normals[t]), kFoldMargin);
            }
        });
    return comparable;
}

bool AreAntiParallel(const Vec3d& n, const Vec3d& m)
{
    const double shortest = kFoldMargin * kFoldMargin;
    if (SquaredLength(n) <= shortest || SquaredLength(m) <= shortest) {
        return false;
    }
    const double cosine = n * m;
    return std::fabs(std::fabs(cosine) - 1) <= kFoldMargin && !(cosine > 0);
}

template <class T>
std::vector<int> FoldedTriangles(const WeldedMesh<T>& welded, const EdgeUses& edges)
{
    const std::vector<Vec3d> normals = ComparableNormals(welded);
    const std::vector<std::array<int, 3>> neighbors =
        Sorvane::Impl::NeighborsAcross(edges, welded.TriangleCount());
    return TrianglesWhere(welded.TriangleCount(), [&](std::size_t t) {
        return std::any_of(neighbors[t].begin(), neighbors[t].end(), [&](int neighbor) {
            return neighbor >= 0 &&
                   AreAntiParallel(normals[t], normals[static_cast<std::size_t>(neighbor)]);
        });
    });
}

// --- edges --------------------------------------------------------------------------------------

template <class Fn>
void ForEachEdge(const EdgeUses& edges, const Fn& fn)
{
    for (std::size_t bucket = 0; bucket < edges.BucketCount(); ++bucket) {
        edges.ForEachEdge(bucket, fn);
    }
}

struct EdgeFindings {
    std::vector<int> openSlots;
    std::vector<int> nonManifoldSlots;
};

/// Edges that don't have two slots. An edge is known by its first slot, which gives their order.
EdgeFindings UnpairedEdges(const EdgeUses& edges)
{
    EdgeFindings findings;
    std::vector<std::pair<const EdgeUse*, const EdgeUse*>> crowded;
    ForEachEdge(edges, [&](const EdgeUse* first, const EdgeUse* last) {
        if (last - first != 2) {
            findings.openSlots.push_back(first->place);
        }
        if (last - first >= 3) {
            crowded.emplace_back(first, last);
        }
    });
    std::sort(findings.openSlots.begin(), findings.openSlots.end());
    std::sort(crowded.begin(), crowded.end(),
              [](const auto& a, const auto& b) { return a.first->place < b.first->place; });
    for (const auto& [first, last] : crowded) {
        std::transform(first, last, std::back_inserter(findings.nonManifoldSlots),
                       [](const EdgeUse& use) { return use.place; });
    }
    return findings;
}

/// Triangles with an edge that another slot runs in the same direction, in no order and repeated.
std::vector<int> TrianglesOnDoubledEdges(const EdgeUses& edges, const std::vector<int>& indices)
{
    std::vector<int> triangles;
    // Of the two directions of an edge: from the larger vertex, or not. An edge from a vertex to
    // itself has one direction only.
    const auto fromLarger = [&](const EdgeUse& use) {
        const int end = use.place % 3 == 2 ? use.place - 2 : use.place + 1;
        return indices[static_cast<std::size_t>(use.place)] >
               indices[static_cast<std::size_t>(end)];
    };
    ForEachEdge(edges, [&](const EdgeUse* first, const EdgeUse* last) {
        if (last - first < 2) {
            return;
        }
        const auto down = std::count_if(first, last, fromLarger);
        for (const bool isDown : {false, true}) {
            if ((isDown ? down : last - first - down) < 2) {
                continue;
            }
            for (const EdgeUse* use = first; use != last; ++use) {
                if (fromLarger(*use) == isDown) {
                    triangles.push_back(use->Triangle());
                }
            }
        }
    });
    return triangles;
}

void SortUnique(std::vector<int>& numbers)
{
    std::sort(numbers.begin(), numbers.end());
    numbers.erase(std::unique(numbers.begin(), numbers.end()), numbers.end());
}

/// Of three triangles on one edge two run it in the same direction: that tells nothing about any of
/// them. Both lists have to be sets before they are subtracted.
std::vector<int> WithoutTrianglesOf(std::vector<int> triangles, std::vector<int> slots)
{
    for (int& slot : slots) {
        slot /= 3;
    }
    SortUnique(slots);
    SortUnique(triangles);
    std::vector<int> kept;
    std::set_difference(triangles.begin(), triangles.end(), slots.begin(), slots.end(),
                        std::back_inserter(kept));
    return kept;
}

} // namespace

template <class T>
MeshReport<T> CheckMesh(const std::vector<std::array<VecBase<3, T>, 3>>& soup, T tolerance)
{
    return Progress::Impl::Stoppable([&]() -> MeshReport<T> {
        using Parallel::Impl::ApplyInvoke;
        MeshReport<T> report;
        report.tolerance = tolerance;
        const WeldedMesh<T> welded{Mesh::IndexedPointsFromSoup(soup, true, tolerance)};
        std::vector<int> onDoubledEdges;

        const auto examineEdges = [&] {
            const EdgeUses edges(welded.mesh.indices);
            ApplyInvoke(
                [&] { report.foldedTriangles = FoldedTriangles(welded, edges); },
                [&] {
                    EdgeFindings findings = UnpairedEdges(edges);
                    report.openSlots = std::move(findings.openSlots);
                    report.nonManifoldSlots = std::move(findings.nonManifoldSlots);
                },
                [&] { onDoubledEdges = TrianglesOnDoubledEdges(edges, welded.mesh.indices); });
        };
        ApplyInvoke(
            examineEdges,
            [&] { report.degenerateTriangles = DegenerateTriangles(welded, tolerance); },
            [&] { Measure(welded, report); });

        report.misorientedTriangles =
            WithoutTrianglesOf(std::move(onDoubledEdges), report.nonManifoldSlots);
        return report;
    });
}

template MeshReport<float> CheckMesh(const std::vector<std::array<VecBase<3, float>, 3>>&, float);
template MeshReport<double> CheckMesh(const std::vector<std::array<VecBase<3, double>, 3>>&,
                                      double);

} // namespace Velk::Math::Sorvane::MeshUtils
