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
        const VecBase<N, T>& q = ring[i];
        const VecBase<N, T>& r = Impl::NextInRing(ring, i);
        const VecBase<N, T> xq = q - node;
        const VecBase<N, T> qr = r - q;
        const VecBase<N, T> rx = node - r;
        switch (Impl::ShareOf(node, q, r, tolerance)) {
        case Impl::Share::Nearest:
            areas[i] = (Vector::Cotangent(rx, -qr, tolerance) * SquaredLength(xq) +
                        Vector::Cotangent(-xq, qr, tolerance) * SquaredLength(rx)) /
                       8;
            break;
        case Impl::Share::Half:
            areas[i] = Impl::DoubledArea(rx, xq) / 4;
            break;
        case Impl::Share::Quarter:
            areas[i] = Impl::DoubledArea(rx, xq) / 8;
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
