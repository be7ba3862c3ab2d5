// Arbitrary outlines through the tessellation of one simple polygon and through its partitioner:
// no crash, no hang, as many triangles as corners less two at most.
//
// Layout of an input: a byte of flags (1 float, 2 raw coordinates, 4 straight to the partitioner,
// which then sees outlines that cross themselves), a byte for the size of a unit; then the points.

#include "fuzz/FuzzPoints.h"

#include "triangulation/MonotonePartitioner_Impl.h"

#include <Sorvane/Tessellation_E.h>

#include <cmath>

namespace {

using namespace Velk::Math::Sorvane::Mesh;

constexpr std::size_t kMostPoints = 400;

template <class T>
void Exercise(const std::vector<Velk::Math::VecBase<2, T>>& outline, bool partition)
{
    std::vector<int> indices;
    if (partition) {
        for (const auto& p : outline) {
            if (!(std::fabs(p.x()) <= T(1e30) && std::fabs(p.y()) <= T(1e30))) {
                return;
            }
        }
        MonotonePartitioner<T> partitioner(outline);
        partitioner.Partition();
        partitioner.TriangulateFaces();
        partitioner.ImproveDelaunay();
        partitioner.WriteIndices(indices);
    } else {
        indices = TessellateSimpleBoundary(outline);
    }
    Fuzz::RequireTriples(indices, outline.size());
    Fuzz::Require(indices.size() <= 3 * outline.size());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size < 2) {
        return 0;
    }
    const bool raw = (data[0] & 2) != 0;
    const double scale = std::pow(10.0, data[1] % 16 - 12);
    const bool partition = (data[0] & 4) != 0;
    if ((data[0] & 1) != 0) {
        Exercise(Fuzz::ReadPoints<float>(data + 2, size - 2, raw, scale, kMostPoints), partition);
    } else {
        Exercise(Fuzz::ReadPoints<double>(data + 2, size - 2, raw, scale, kMostPoints), partition);
    }
    return 0;
}
