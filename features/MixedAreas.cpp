// The share of each triangle round a node that belongs to the node.

#include <Sorvane/Curvature_E.h>

#include "features/RingTriangle_Impl.h"

namespace Velk::Math::Sorvane::MeshUtils {

template <int N, class T>
void MixedAreas(const VecBase<N, T>& node, const std::vector<VecBase<N, T>>& ring, T tolerance,
                std::vector<T>& areas)
{
    // Two points make the same triangle both ways round.
    areas.resize(ring.size() == 2 ? 1 : ring.size());
    for (std::size_t i = 0; i < areas.size(); ++i) {
        const Impl::RingTriangle<N, T> triangle(node, ring[i], Impl::NextInRing(ring, i),
                                                tolerance);
        switch (triangle.share) {
        case Impl::Share::Nearest:
            areas[i] = (triangle.cotangentAtR * SquaredLength(triangle.xq) +
                        triangle.cotangentAtQ * SquaredLength(triangle.rx)) /
                       8;
            break;
        case Impl::Share::Half:
            areas[i] = Impl::DoubledArea(triangle.rx, triangle.xq) / 4;
            break;
        case Impl::Share::Quarter:
            areas[i] = Impl::DoubledArea(triangle.rx, triangle.xq) / 8;
            break;
        }
    }
}

template <int N, class T>
std::vector<T> MixedAreas(const VecBase<N, T>& node, const std::vector<VecBase<N, T>>& ring,
                          T tolerance)
{
    std::vector<T> areas;
    MixedAreas(node, ring, tolerance, areas);
    return areas;
}

// clang-format off
template std::vector<float>  MixedAreas(const VecBase<2, float>&,  const std::vector<VecBase<2, float>>&,  float);
template std::vector<double> MixedAreas(const VecBase<2, double>&, const std::vector<VecBase<2, double>>&, double);
template std::vector<float>  MixedAreas(const VecBase<3, float>&,  const std::vector<VecBase<3, float>>&,  float);
template std::vector<double> MixedAreas(const VecBase<3, double>&, const std::vector<VecBase<3, double>>&, double);
template void MixedAreas(const VecBase<2, float>&, const std::vector<VecBase<2, float>>&, float, std::vector<float>&);
template void MixedAreas(const VecBase<2, double>&, const std::vector<VecBase<2, double>>&, double, std::vector<double>&);
template void MixedAreas(const VecBase<3, float>&, const std::vector<VecBase<3, float>>&, float, std::vector<float>&);
template void MixedAreas(const VecBase<3, double>&, const std::vector<VecBase<3, double>>&, double, std::vector<double>&);
// clang-format on

} // namespace Velk::Math::Sorvane::MeshUtils
