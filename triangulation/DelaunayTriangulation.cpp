// The two forms of the mesher that the library has compiled.

#include "triangulation/DelaunayConstraints_Impl.h"
#include "triangulation/DelaunayLocation_Impl.h"
#include "triangulation/DelaunayRegions_Impl.h"
#include "triangulation/DelaunayTriangulation_Impl.h"

namespace Velk::Math::Sorvane::HalfEdge {

template class DelaunayMesher<DelaunayNode<float>, DelaunayEdge, DelaunayFacet>;
template class DelaunayMesher<DelaunayNode<double>, DelaunayEdge, DelaunayFacet>;

} // namespace Velk::Math::Sorvane::HalfEdge
