// IsotropicRemesher: remeshing toward one edge length everywhere.
#pragma once

#include <Sorvane/Curvature_E.h>
#include <Sorvane/Decorations_E.h>
#include <Sorvane/IterativeRemesher_E.h>

#include <vector>

namespace Velk::Math::Sorvane::HalfEdge {

/// An `IterativeRemesher` whose edges are all to have `targetLength`: below 0.8 of it they
/// collapse, above 4/3 they are split. Still abstract: what a feature is, and the locks, are a
/// derived class's.
template <int D, class Node, class Edge, class Face>
class IsotropicRemesher : public IterativeRemesher<D, Node, Edge, Face> {
public:
    /// The remesher beneath, and the type of a position.
    using Base = IterativeRemesher<D, Node, Edge, Face>;
    using typename Base::Point;

    /// 0.8 and 4/3 of `targetLength`, whatever the edge.
    void EdgeLengthBounds(VecBase<2, double>& bounds, int) const override
    {
        bounds = {0.8 * this->targetLength, 1.3333333333333333 * this->targetLength};
    }

    /// In space the weights are `MeshUtils::MixedAreas`, in the plane 0.5 each.
    void NodeStar(int node, std::vector<Point>& ring, std::vector<double>& weights) const override
    {
        this->RingPoints(node, ring);
        if constexpr (D == 2) {
            weights.assign(ring.size(), 0.5);
        } else if (this->IsValidNode(node)) {
            MeshUtils::MixedAreas(this->NodeAt(node).position, ring, kLengthFloor<double>, weights);
        }
    }

    /// Nothing hangs on a position here.
    void NodeMoved(int, bool) override {}
};

// clang-format off
#define SORVANE_EXTERN(D) \
    extern template class SORVANE_API IterativeRemesher<D, Records::FeatureVertex<D>, Records::FeatureEdge, Records::TaggedFace>; \
    extern template class SORVANE_API IsotropicRemesher<D, Records::FeatureVertex<D>, Records::FeatureEdge, Records::TaggedFace>;
SORVANE_EXTERN(2)
SORVANE_EXTERN(3)
#undef SORVANE_EXTERN
// clang-format on

} // namespace Velk::Math::Sorvane::HalfEdge
