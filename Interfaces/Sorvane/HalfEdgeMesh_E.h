// The half-edge mesh: records, HMesh, TriangleMesh, and the forms of them that the library has
// compiled. A host may instantiate both templates with records of its own.
#pragma once

#include <Sorvane/HMesh_E.h>
#include <Sorvane/TriangleMesh_E.h>

namespace Velk::Math::Sorvane::HalfEdge {
// clang-format off
extern template class SORVANE_API HMesh<HVertex<2, float>,  HEdge, HFace>;
extern template class SORVANE_API HMesh<HVertex<2, double>, HEdge, HFace>;
extern template class SORVANE_API HMesh<HVertex<3, double>, HEdge, HFace>;
extern template class SORVANE_API TriangleMesh<HVertex<2, float>,  HEdge, HFace>;
extern template class SORVANE_API TriangleMesh<HVertex<2, double>, HEdge, HFace>;
extern template class SORVANE_API TriangleMesh<HVertex<3, double>, HEdge, HFace>;
// clang-format on
} // namespace Velk::Math::Sorvane::HalfEdge
