// Breaking and splitting at points that the library itself computed.
#pragma once

#include <Sorvane/ArcSegChain_E.h>

#include <vector>

namespace Velk::Math::Sorvane::Planar::Impl {

/// `BreakAtPoints` and `SplitAtPoints` for points that were computed from the chain: they are off
/// it by rounding, which `tol` may be below, and are looked for within that rounding at least.
template <class T>
PolyArcSegBase<T> BreakAtComputedPoints(const PolyArcSegBase<T>& chain,
                                        const std::vector<VecBase<2, T>>& points, T tol);
template <class T>
std::vector<PolyArcSegBase<T>> SplitAtComputedPoints(const PolyArcSegBase<T>& chain,
                                                     const std::vector<VecBase<2, T>>& points,
                                                     T tol);

} // namespace Velk::Math::Sorvane::Planar::Impl
