// Remeshers as a host derives them, for tests of the passes and of what the passes decide.
#pragma once

#include <Sorvane/AnisotropicRemesher_E.h>
#include <Sorvane/IsotropicRemesher_E.h>

namespace Support {

/// A remesher whose features are what a test marks, and whose inner decisions a test may ask.
template <class Base>
class Host : public Base {
public:
    using Base::CanMove;
    using Base::NormalsStable;
    using Base::TangentialCentroid;
    using Base::TriangleStable;
    using Base::ValenceImproves;

    void SetNodeFeature(int node, bool isFeature) override
    {
        this->NodeRecord(node)->feature = isFeature;
    }
    void SetEdgeFeature(int e, bool isFeature) override
    {
        this->EdgeRecord(e)->feature = isFeature;
        this->EdgeRecord(e ^ 1)->feature = isFeature;
    }
    bool IsNodeLocked(int node) const override
    {
        bool isLocked = this->NodeRecord(node)->feature;
        for (const int e : this->NodeEdges(node)) {
            isLocked = isLocked || IsEdgeLocked(e);
        }
        return isLocked;
    }
    bool IsEdgeLocked(int e) const override
    {
        return this->IsValidEdge(e) && this->EdgeRecord(e)->feature;
    }
    void LockBoundary()
    {
        for (int e = 0; e < this->EdgeCount(); e += 2) {
            if (this->IsBoundaryEdge(e, true)) {
                SetEdgeFeature(e, true);
            }
        }
    }
    const auto& At(int node) const { return this->NodeRecord(node)->position; }
};

namespace Records = Velk::Math::Sorvane::HalfEdge::Records;
using Isotropic = Host<Velk::Math::Sorvane::HalfEdge::IsotropicRemesher<
    3, Records::FeatureVertex<3>, Records::FeatureEdge, Records::TaggedFace>>;
using Plane = Host<Velk::Math::Sorvane::HalfEdge::IsotropicRemesher<
    2, Records::FeatureVertex<2>, Records::FeatureEdge, Records::TaggedFace>>;
using Anisotropic = Host<Velk::Math::Sorvane::HalfEdge::AnisotropicRemesher<
    Records::CurvatureVertex, Records::CurvatureEdge, Records::TaggedFace>>;

} // namespace Support
