// The places of the library that report to the assert handler, all of them.
//
// A handler receives a source name, a line number and a function name. For these places all three are fixed:
// hosts evaluate them, so they are names, and stay as they are when code moves between files and lines.
#pragma once

#include <Velk/Diagnostics_E.h>

namespace Velk::Math::Sorvane::AssertSites {

/// One place, as a handler receives it.
struct AssertSite {
    /// Name of a source, without a folder.
    const char* sourceFile = "";
    /// The line that stands for this place, whatever line of its file it is on.
    int line = 0;
    /// Full name of the function.
    const char* function = "";
};

/// `HMesh::GetVertex` was asked for a node that is not there; it gives the zero vector.
inline constexpr AssertSite kGetVertex{"HalfEdgeMesh_E", 1276,
                                       "Velk::Math::Sorvane::HalfEdge::HMesh::GetVertex"};

/// `HMesh::RotateNode` came to a half-edge that does not leave the node; it goes on.
inline constexpr AssertSite kRotateNode{"HalfEdgeMesh_E", 921,
                                        "Velk::Math::Sorvane::HalfEdge::HMesh::RotateNode"};

/// `DelaunayMesher::InsertEdge` cleared the way for an edge that the mesh then refused; it gives false.
inline constexpr AssertSite kInsertEdge{"DelaunayTriangulation_E", 833,
                                        "Velk::Math::Sorvane::HalfEdge::DelaunayMesher::InsertEdge"};

/// `Mesh::MapPointsToTriangleBarycentric` has no weights for a point, since the triangle is degenerate;
/// the point's weights are zero. The function's name is that of the loop's body.
inline constexpr AssertSite kMapPointsToTriangleBarycentric{
    "Triangle_Impl", 330,
    "Velk::Math::Sorvane::Mesh::MapPointsToTriangleBarycentric::<lambda_1>::operator ()"};

/// `ArcSegTree::ClosestPointOnContent` was given neither a segment nor an arc; it gives a point at the
/// largest coordinates there are.
template <class T>
inline constexpr AssertSite kClosestPointOnContent{};
/// The same for `float`.
template <>
inline constexpr AssertSite kClosestPointOnContent<float>{
    "QuadtreeArcSegTree_E", 338,
    "Velk::Math::Sorvane::Tree::Quadtree::ArcSegTree<float>::ClosestPointOnContent"};
/// The same for `double`.
template <>
inline constexpr AssertSite kClosestPointOnContent<double>{
    "QuadtreeArcSegTree_E", 338,
    "Velk::Math::Sorvane::Tree::Quadtree::ArcSegTree<double>::ClosestPointOnContent"};

/// `Planar::ReadPolySegArcFromFile` can't open the file.
inline constexpr AssertSite kChainFileDoesNotOpen{"PolyArcSeg", 124,
                                                  "Velk::Math::Sorvane::Planar::ReadPolySegArcFromFile"};
/// The file announces no elements.
inline constexpr AssertSite kChainFileHasNoElements{
    "PolyArcSeg", 134, "Velk::Math::Sorvane::Planar::ReadPolySegArcFromFile"};
/// The file holds fewer elements than it announces, or others.
inline constexpr AssertSite kChainFileHasAnotherCount{
    "PolyArcSeg", 171, "Velk::Math::Sorvane::Planar::ReadPolySegArcFromFile"};

/// `Mesh::IsotropicRemesh` could not remove a star of three triangles; it goes on.
inline constexpr AssertSite kStarIsNotRemoved{
    "Remesher_Impl", 286,
    "Velk::Math::Sorvane::Mesh::IsotropicRemesh::Remesher::RemoveTriangleStars"};
/// It could not put a triangle in the star's place, which stays a hole.
inline constexpr AssertSite kStarIsNotClosed{
    "Remesher_Impl", 293,
    "Velk::Math::Sorvane::Mesh::IsotropicRemesh::Remesher::RemoveTriangleStars"};

/// `Mesh::DecimateMesh` took an edge from its queue whose ends are not there; it goes on with the next.
inline constexpr AssertSite kEndsOfEdgeAreMissing{
    "Decimation_Impl", 342, "Velk::Math::Sorvane::HalfEdge::Impl::QEFDecimator::RemoveTriangles"};
/// It could not remove a star of three triangles; it goes on.
inline constexpr AssertSite kDecimatedStarIsNotRemoved{
    "Decimation_Impl", 591,
    "Velk::Math::Sorvane::HalfEdge::Impl::QEFDecimator::RemoveTriangleStars"};
/// It could not put a triangle in the star's place, which stays a hole.
inline constexpr AssertSite kDecimatedStarIsNotClosed{
    "Decimation_Impl", 598,
    "Velk::Math::Sorvane::HalfEdge::Impl::QEFDecimator::RemoveTriangleStars"};

/// `MeshUtils::MaximizeAspectRatio` came to an edge that does not have two triangles; the edge
/// stays.
inline constexpr AssertSite kMaximizeAspectRatio{
    "MeshUtilities", 1252, "Velk::Math::Sorvane::MeshUtils::MaximizeAspectRatio"};

/// `Mesh::MeshTracer::CollectPath` came to a triangle whose corners are not there; the line ends.
inline constexpr AssertSite kTracedTriangleHasNoCorners{
    "ProjectionImprinting_Impl", 734,
    "Velk::Math::Sorvane::Mesh::Impl::ImprintableMesh<unsigned __int64>::CollectPath"};
/// It found no way out of a triangle; the line ends.
inline constexpr AssertSite kTracedLineLeavesNoSide{
    "ProjectionImprinting_Impl", 781,
    "Velk::Math::Sorvane::Mesh::Impl::ImprintableMesh<unsigned __int64>::CollectPath"};

/// `Planar::BufferredUnion::GetUnfilteredPolylines` was called on an object that was moved from; it gives
/// nothing.
inline constexpr AssertSite kUnfilteredOfMovedFrom{
    "PlanarBoundaries_Impl", 816,
    "Velk::Math::Sorvane::Planar::BufferredUnion::GetUnfilteredPolylines"};
/// `Append` of segments was; it gives false.
inline constexpr AssertSite kAppendSegmentsToMovedFrom{
    "PlanarBoundaries_Impl", 861, "Velk::Math::Sorvane::Planar::BufferredUnion::Append"};
/// `Append` of polylines was; it gives false.
inline constexpr AssertSite kAppendPolylinesToMovedFrom{
    "PlanarBoundaries_Impl", 920, "Velk::Math::Sorvane::Planar::BufferredUnion::Append"};
/// `Process` was; it gives nothing.
inline constexpr AssertSite kProcessOfMovedFrom{
    "PlanarBoundaries_Impl", 975, "Velk::Math::Sorvane::Planar::BufferredUnion::Process"};

/// An imprintable mesh left out a triple of points that it can't have as a triangle; it goes on with the
/// next. Tag: the word on its facets.
template <class Tag>
inline constexpr AssertSite kTripleIsNotAdded{};
/// The same for the mesh of `MeshImprint`.
template <>
inline constexpr AssertSite kTripleIsNotAdded<unsigned char>{
    "ProjectionImprinting_Impl", 145,
    "Velk::Math::Sorvane::Mesh::Impl::ImprintableMesh<unsigned char>::ImprintableMesh"};
/// The same for the mesh of `MeshTracer`.
template <>
inline constexpr AssertSite kTripleIsNotAdded<unsigned long long>{
    "ProjectionImprinting_Impl", 145,
    "Velk::Math::Sorvane::Mesh::Impl::ImprintableMesh<unsigned __int64>::ImprintableMesh"};

/// `SubdivisionMesh::UpdateNodePositions` was given another number of positions than there are nodes;
/// nothing moves.
inline constexpr AssertSite kUpdateNodePositions{
    "MeshSubdivision_Impl", 788,
    "Velk::Math::Sorvane::HalfEdge::Impl::SubdivisionMesh::UpdateNodePositions"};

/// Tells the handler of the moment.
inline void Report(const AssertSite& site)
{
    Diagnostics::Details::InvokeCurrentAssertHandler(site.sourceFile, site.line, site.function);
}

} // namespace Velk::Math::Sorvane::AssertSites
