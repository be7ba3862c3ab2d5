// The forms of the remeshers that the library's own operations use, compiled once.

#include <Sorvane/AnisotropicRemesher_E.h>
#include <Sorvane/IsotropicRemesher_E.h>

namespace Velk::Math::Sorvane::HalfEdge {

// clang-format off
#define SORVANE_INSTANTIATE(D) \
    template class IterativeRemesher<D, Records::FeatureVertex<D>, Records::FeatureEdge, Records::TaggedFace>; \
    template class IsotropicRemesher<D, Records::FeatureVertex<D>, Records::FeatureEdge, Records::TaggedFace>;
SORVANE_INSTANTIATE(2)
SORVANE_INSTANTIATE(3)
template class IterativeRemesher<3, Records::CurvatureVertex, Records::CurvatureEdge, Records::TaggedFace>;
template class AnisotropicRemesher<Records::CurvatureVertex, Records::CurvatureEdge, Records::TaggedFace>;
// clang-format on

} // namespace Velk::Math::Sorvane::HalfEdge
