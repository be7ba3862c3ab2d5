// The two forms of the mesher that the library has compiled.

#include "triangulation/DelaunayTriangulationConstraints_Impl.h"
#include "triangulation/DelaunayTriangulationLocation_Impl.h"
#include "triangulation/DelaunayTriangulationRegions_Impl.h"
#include "triangulation/DelaunayTriangulation_Impl.h"

namespace Velk::Math::Sorvane::HalfEdge {

template class DelaunayMesher<DelaunayNode<float>, DelaunayEdge, DelaunayFacet>;
template class DelaunayMesher<DelaunayNode<double>, DelaunayEdge, DelaunayFacet>;

} // namespace Velk::Math::Sorvane::HalfEdge
