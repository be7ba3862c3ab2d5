// Triangles cut into smaller ones, each by itself.

#include <Sorvane/Subdivision_E.h>
#include <Sorvane/Triangle_E.h>
#include <Velk/Math/Tolerances_E.h>

#include "mathbase/Parallel_Impl.h"
#include "mathbase/Progress_Impl.h"
#include "remesh/SubdivisionCount_Impl.h"

#include <algorithm>
#include <cstddef>
#include <utility>

namespace Velk::Math::Sorvane::Mesh {
namespace {

/// How many triangles become of one; 0 for a number that is no method.
std::size_t PartCount(SimpleRefineMethod method)
{
    switch (method) {
    case SimpleRefineMethod::Centroid:
        return 3;
    case SimpleRefineMethod::Midpoints:
        return 4;
    case SimpleRefineMethod::CentroidAndMidpoints:
        return 6;
    }
    return 0;
}

} // namespace

void SimpleRefine(const IndexedPointsBase<3, double>& mesh, IndexedPointsBase<3, double>& out,
                  SimpleRefineMethod method, unsigned iterations)
{
    Progress::Impl::Stoppable(
        [&] {
            const auto clear = [&] {
                out.points.clear();
                out.indices.clear();
            };
            if (&out != &mesh) {
                clear();
            }
            const std::size_t parts = PartCount(method);
            TriangleSoup<3, double> soup;
            if (parts != 0) {
                soup = SoupFromIndexedPoints(mesh);
            }
            clear(); // an output that is the input as well has been read
            HalfEdge::Impl::RequireGrownSubscripts(3 * soup.size(), parts, iterations);

            const bool hasCenter = method != SimpleRefineMethod::Midpoints;
            const bool hasMidpoints = method != SimpleRefineMethod::Centroid;
            for (unsigned i = 0; i < iterations && !soup.empty(); ++i) {
                TriangleSoup<3, double> finer(soup.size() * parts);
                Parallel::Impl::ApplyParallelChunks(
                    std::size_t{0}, soup.size(), [&](std::size_t from, std::size_t to) {
                        for (std::size_t t = from; t < to; ++t) {
                            const auto cut = SplitTriangle(soup[t], hasCenter, hasMidpoints);
                            std::copy(cut.begin(), cut.end(),
                                      finer.begin() + static_cast<std::ptrdiff_t>(t * parts));
                        }
                    });
                soup = std::move(finer);
            }
            if (!soup.empty()) {
                out = IndexedPointsFromSoup(soup, true, kLengthFloor<double>);
            }
        },
        [&] {
            out.points.clear();
            out.indices.clear();
        });
}

} // namespace Velk::Math::Sorvane::Mesh
