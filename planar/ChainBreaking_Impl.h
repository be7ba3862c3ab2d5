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

/// `CombineArcsSegs` of elements whose ends (`EndPoint`) are known: those of arcs are dear to
/// derive.
///
/// Ends that match one vertex may lie farther apart than `tol`, as when an element between them was
/// too short to connect two; `CombineArcsSegs` then ends the chain there and loses what follows.
/// Gaps up to `bridge` are bridged instead, and the chain gets the tolerance that they need.
template <class T>
std::vector<PolyArcSegBase<T>> CombineWithEnds(const std::vector<ArcSegBase<T>>& elements,
                                               const std::vector<VecBase<2, T>>& ends, T tol,
                                               double bridge);

/// An element and the vertices at its two ends.
struct ElementLink {
    int element;
    int from;
    int to;
};

/// Vertices of elements whose ends are known, as `CombineArcsSegs` makes them of ends within `tol`.
/// Elements that are not finite are left out.
struct ElementLinks {
    std::vector<ElementLink> links; // of two vertices
    std::vector<ElementLink> loops; // of a vertex with itself, however short
    int vertexCount = 0;
};
ElementLinks LinksOfElements(const std::vector<ArcSegBase<double>>& elements,
                             const std::vector<VecBase<2, double>>& ends, double tol);

/// One chain of elements in their order and directions, joined as `CombineWithEnds` joins them.
PolyArcSegBase<double> ChainInOrder(const std::vector<ArcSegBase<double>>& elements,
                                    const std::vector<VecBase<2, double>>& ends, double tol,
                                    double bridge);

} // namespace Velk::Math::Sorvane::Planar::Impl
