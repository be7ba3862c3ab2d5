// Forms of breaking, splitting and combining for callers in the library, which know more.
#pragma once

#include <Sorvane/ArcSegChain_E.h>

#include <vector>

namespace Velk::Math::Sorvane::Planar::Impl {

/// `BreakAtPoints` and `SplitAtPoints` for points that no host has listed: of those that have
/// places on the chain within `tol` of each other one makes the joint, and the breaking doesn't
/// give up.
template <class T>
PolyArcSegBase<T> BreakAtComputedPoints(const PolyArcSegBase<T>& chain,
                                        const std::vector<VecBase<2, T>>& points, T tol);
template <class T>
std::vector<PolyArcSegBase<T>> SplitAtComputedPoints(const PolyArcSegBase<T>& chain,
                                                     const std::vector<VecBase<2, T>>& points,
                                                     T tol);

/// Which elements connect vertices.
enum class Connections {
    /// Between two vertices the element of the lowest number, and none from a vertex to itself.
    First,
    /// All but copies: elements between the same two vertices whose middles match. One that leads
    /// away from a vertex and back to it is a closed chain of its own; those come last.
    Different
};

/// `CombineArcsSegs` of elements whose ends (`EndPoint`) are known: those of arcs are dear to
/// derive.
///
/// Ends that match one vertex may lie farther apart than `tol`, as when an element between them was
/// too short to connect two; `CombineArcsSegs` then ends the chain there and loses what follows.
/// Gaps up to `bridge` are bridged instead, and the chain gets the tolerance that they need.
template <class T>
std::vector<PolyArcSegBase<T>> CombineWithEnds(const std::vector<ArcSegBase<T>>& elements,
                                               const std::vector<VecBase<2, T>>& ends, T tol,
                                               double bridge, Connections connections);

} // namespace Velk::Math::Sorvane::Planar::Impl
