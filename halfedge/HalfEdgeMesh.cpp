// The forms of the half-edge mesh that the library's own algorithms use, compiled once.

#include <Sorvane/Decorations_E.h>
#include <Sorvane/HalfEdgeMesh_E.h>

namespace Velk::Math::Sorvane::HalfEdge {

#define SORVANE_INSTANTIATE(Node, Edge, Face) \
    template class HMesh<Node, Edge, Face>;   \
    template class TriangleMesh<Node, Edge, Face>;

using PlaneVertexF = HVertex<2, float>;
using PlaneVertex = HVertex<2, double>;
using SpaceVertex = HVertex<3, double>;
SORVANE_INSTANTIATE(PlaneVertexF, HEdge, HFace)
SORVANE_INSTANTIATE(PlaneVertex, HEdge, HFace)
SORVANE_INSTANTIATE(SpaceVertex, HEdge, HFace)
SORVANE_INSTANTIATE(Records::FeatureVertex<2>, Records::FeatureEdge, Records::TaggedFace)
SORVANE_INSTANTIATE(Records::FeatureVertex<3>, Records::FeatureEdge, Records::TaggedFace)
SORVANE_INSTANTIATE(Records::CurvatureVertex, Records::CurvatureEdge, Records::TaggedFace)
SORVANE_INSTANTIATE(Records::QuadricVertex, Records::FeatureEdge, Records::TaggedFace)
SORVANE_INSTANTIATE(Records::SubdivisionVertex, Records::SubdivisionEdge, HFace)

} // namespace Velk::Math::Sorvane::HalfEdge
