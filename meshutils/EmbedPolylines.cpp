// Polylines cut into a mesh, so that they run along its edges.

#include <Sorvane/MeshBuilders_E.h>

#include <Sorvane/MeshDistances_E.h>
#include <Sorvane/MeshImprint_E.h>
#include <Velk/Math/Vector_E.h>

#include "mathbase/Parallel_Impl.h"
#include "mathbase/Progress_Impl.h"

#include <algorithm>
#include <cstddef>
#include <utility>

namespace Velk::Math::Sorvane::MeshUtils {
namespace {

using Polylines = std::vector<std::vector<Vec3d>>;
using SpaceMesh = Mesh::IndexedPointsBase<3, double>;

constexpr double kTolerance = kLengthFloor<double>;

/// How far the points of a path may lie from the surface that they have been projected on, and from
/// nodes and edges that they join.
constexpr double kImprintTolerance = 5e-8;

/// The numbers of those of `path` that are points of the mesh.
std::vector<int> NodesOf(const std::vector<Vec3d>& path, const std::vector<Vec3d>& meshPoints)
{
    std::vector<int> nodes(path.size(), -1);
    Parallel::Impl::ApplyParallelChunks(
        std::size_t{0}, path.size(), [&](std::size_t from, std::size_t to) {
            for (std::size_t i = from; i < to; ++i) {
                const CheckedIdx found =
                    Vector::SearchInUniqueVector(meshPoints, path[i], kTolerance);
                nodes[i] = found.valid ? found.index : -1;
            }
        });
    std::erase(nodes, -1);
    return nodes;
}

} // namespace

std::vector<std::vector<int>> EmbedPolylines(SpaceMesh& mesh, const Polylines& polylines,
                                             double repeatTolerance, double step)
{
    return Progress::Impl::Stoppable([&]() -> std::vector<std::vector<int>> {
        if (polylines.empty()) {
            return {};
        }
        Mesh::MeshImprint imprint(mesh, kImprintTolerance);
        Polylines paths = polylines;
        for (std::vector<Vec3d>& path : paths) {
            path = Vector::ResampleStream(Vector::RemoveRepeats(path, repeatTolerance), step);
            path = ProjectCloudOnMesh(mesh.points, mesh.indices, path, true);
            const bool isClosed =
                !path.empty() && Vector::Matches(path.front(), path.back(), kTolerance);
            imprint.ImprintPath(path, isClosed, true);
        }
        // Beside the caller's mesh, which changes when nothing can fail any more.
        SpaceMesh cut;
        std::vector<unsigned char> flags;
        imprint.Export(cut, flags);
        if (Mesh::IsEmpty(cut)) {
            mesh = std::move(cut);
            return {};
        }
        cut = Mesh::IndexedPointsFromSoup(Mesh::SoupFromIndexedPoints(cut), true, kTolerance);
        std::vector<std::vector<int>> nodes;
        nodes.reserve(paths.size());
        for (const std::vector<Vec3d>& path : paths) {
            nodes.push_back(NodesOf(path, cut.points));
        }
        mesh = std::move(cut);
        return nodes;
    });
}

} // namespace Velk::Math::Sorvane::MeshUtils
