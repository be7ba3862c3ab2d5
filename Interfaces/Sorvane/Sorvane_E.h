// Every public header of the kernel. Convenient for a first program; larger hosts compile faster with the
// family headers that they use.
#pragma once

#include <Sorvane/ArcSegChain_E.h>
#include <Sorvane/AssertSites_E.h>
#include <Sorvane/BoundingVolumes_E.h>
#include <Sorvane/ClosestPoint_E.h>
#include <Sorvane/ContentTree_E.h>
#include <Sorvane/ConvexHull_E.h>
#include <Sorvane/Curvature_E.h>
#include <Sorvane/Decorations_E.h>
#include <Sorvane/DelaunayTriangulation_E.h>
#include <Sorvane/HalfEdgeMesh_E.h>
#include <Sorvane/IndexedMesh_E.h>
#include <Sorvane/MeshFiles_E.h>
#include <Sorvane/MeshQueries_E.h>
#include <Sorvane/MeshReport_E.h>
#include <Sorvane/MortonCurve_E.h>
#include <Sorvane/OrderedPairs_E.h>
#include <Sorvane/PolyArcSeg_E.h>
#include <Sorvane/QuadtreeArcSegTree_E.h>
#include <Sorvane/SegmentTree_E.h>
#include <Sorvane/Tessellation_E.h>
#include <Sorvane/TreeAddress_E.h>
#include <Sorvane/TriangleTree_E.h>
#include <Sorvane/Triangle_E.h>
#include <Sorvane/Version_E.h>
#include <Velk/Diagnostics_E.h>
#include <Velk/Math/Geometry_E.h>
#include <Velk/Math/Intersect_E.h>
#include <Velk/Math/MapColoring_E.h>
#include <Velk/Math/Matrix_E.h>
#include <Velk/Math/Transform_E.h>
#include <Velk/Math/Vector_E.h>
