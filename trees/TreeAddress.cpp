// Tree addresses: the cell that holds a point, its corner, its neighbors.

#include <Sorvane/TreeAddress_E.h>

#include "trees/MortonBits_Impl.h"
#include "trees/TreeAddress_Impl.h"

#include <algorithm>

namespace Velk::Math::Sorvane::Tree {

template <int D>
void QOFAddress<D>::GeneratePathFromPoint(const VecBase<D, double>& unitSpacePoint,
                                          unsigned long long& path, unsigned int& depth)
{
    path = MortonCurve::Impl::EncodePoint<D>(unitSpacePoint);
    depth = Impl::kMaxDepth<D>;
}

template <int D>
QOFAddress<D> QOFAddress<D>::AtPoint(const VecBase<D, double>& unitSpacePoint)
{
    QOFAddress address;
    GeneratePathFromPoint(unitSpacePoint, address.path, address.depth);
    return address;
}

template <int D>
VecBase<D, double> QOFAddress<D>::UnitSpacePoint(unsigned int level) const
{
    // Only a path at full depth has the bits below `level` to lose; a shorter one is shifted as it
    // is.
    const unsigned int cell = std::min({level, depth, Impl::kMaxDepth<D>});
    const unsigned long long kept =
        depth >= Impl::kMaxDepth<D> ? Impl::PathOfCode<D>(path, cell) : path;
    return MortonCurve::Impl::DecodePoint<D>(Impl::CodeOfPath<D>(kept, cell));
}

template <int D>
std::vector<QOFAddress<D>> QOFAddress<D>::NeighborAddresses(bool facesOnly) const
{
    std::vector<QOFAddress> neighbors;
    neighbors.reserve(Impl::NeighborDirections<D>(facesOnly).size());
    Impl::VisitNeighbors<D>(path, depth, facesOnly, [&](unsigned long long neighborPath) {
        neighbors.push_back({depth, neighborPath});
    });
    return neighbors;
}

template struct QOFAddress<2>;
template struct QOFAddress<3>;
template VecBase<2, float> QOFChildOffset(int);
template VecBase<2, double> QOFChildOffset(int);
template VecBase<3, float> QOFChildOffset(int);
template VecBase<3, double> QOFChildOffset(int);

} // namespace Velk::Math::Sorvane::Tree
