// Edges at which a surface turns sharply, and where it ends.

#include <Sorvane/MeshFeatures_E.h>
#include <Sorvane/MeshQueries_E.h>
#include <Velk/Math/Tolerances_E.h>

#include "features/SoundTriples_Impl.h"
#include "mathbase/Parallel_Impl.h"
#include "mathbase/Progress_Impl.h"

#include <algorithm>

namespace Velk::Math::Sorvane::MeshUtils {

std::vector<std::pair<int, int>> DetectSharpEdges(const Mesh::IndexedPointsBase<3, double>& mesh,
                                                  double creaseAngle, bool withBoundary)
{
    return Progress::Impl::Stoppable([&]() -> std::vector<std::pair<int, int>> {
        if (Mesh::IsEmpty(mesh)) {
            return {};
        }
        const Impl::SoundTriples sound(mesh);
        const std::vector<int>& indices = sound.Mesh().indices;
        const std::vector<double> angles = Mesh::CreaseAngles(sound.Mesh(), false);

        constexpr std::pair<int, int> kNone{-1, -1};
        std::vector<std::pair<int, int>> edges(angles.size(), kNone);
        Parallel::Impl::ApplyParallelChunks(
            std::size_t{0}, angles.size(), [&](std::size_t from, std::size_t to) {
                for (std::size_t place = from; place < to; ++place) {
                    const bool isBoundary = angles[place] == kTwoPi<double>;
                    // In this form, which is false for NaN.
                    if (angles[place] >= creaseAngle && (withBoundary || !isBoundary)) {
                        const std::size_t next = place % 3 == 2 ? place - 2 : place + 1;
                        edges[place] = {indices[place], indices[next]};
                    }
                }
            });
        std::erase(edges, kNone);
        return edges;
    });
}

} // namespace Velk::Math::Sorvane::MeshUtils
