// Not compiled into anything: check_unsupported.sh sees to it that the compiler refuses every marked
// line and no other. "refused: NAME" is a call of a deleted function of that name, "refused type: WORDS"
// names a class that says in these words what it is compiled for.

// clang-format off: a mark stays on the line of its call
#include <Sorvane/Sorvane_E.h>

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;

template <int D, class T> using Points = std::vector<VecBase<D, T>>;

// --- the math base ------------------------------------------------------------------------------

void Vectors(const VecBase<2, float>& f, const VecBase<2, int>& i, Points<2, double>& doubles, Points<2, int>& ints)
{
    (void)Vector::AngleBetween(f, f, 1e-8F);
    (void)Vector::AngleBetween(i, i, 1);   // refused: AngleBetween
    (void)Vector::AngleSweep(f, 1e-8F);
    (void)Vector::AngleSweep(i, 1);        // refused: AngleSweep
    (void)Vector::SignedArea(doubles);
    (void)Vector::SignedArea(ints);        // refused: SignedArea
    Vector::FilterForUniqueness(doubles, 0.0);
    Vector::FilterForUniqueness(ints, 0);  // refused: FilterForUniqueness
    (void)Vector::FilterForUniquenessAndIndex(ints, 0); // refused: FilterForUniquenessAndIndex
}

void Geometries(const Geometry::SegBase<double>& segment, const Geometry::SegBase<int>& whole, const VecBase<2, int>& i)
{
    (void)Geometry::IsTangent(segment, segment, 0.0);
    (void)Geometry::IsTangent(whole, whole, 0);  // refused: IsTangent
    (void)Geometry::AngleStep(1.0F, 0.1F);
    (void)Geometry::AngleStep(1, 1);             // refused: AngleStep
    (void)Geometry::DiscreteCurvature(i, i, i);  // refused: DiscreteCurvature
    std::vector<Geometry::SegBase<int>> wholes;
    (void)Intersect::CutAtIntersections(wholes, 0);              // refused: CutAtIntersections
    (void)Intersect::PointInOrOnTriangle(i, i, i, i, 0);         // refused: PointInOrOnTriangle
    (void)Intersect::DistanceToAABB(i, i, i, false);             // refused: DistanceToAABB
}

void Transforms(const TransformBase<3>& transform, const VecBase<3, float>& f, const VecBase<3, int>& i, MatBase<5, 5, double>& five)
{
    (void)(transform * f);
    (void)(transform * i);            // refused: operator
    (void)Matrix::Invert(five, 1e-9); // refused: Invert
}

// --- indexed meshes -----------------------------------------------------------------------------

void IndexedMeshes(Mesh::IndexedPointsBase<3, double>& mesh,
                   Mesh::IndexedPointsBase<2, long long>& whole,
                   Mesh::TriangleSoup<3, double>& soup, Mesh::TriangleSoup<4, double>& soup4,
                   const TransformBase<3>& transform)
{
    Mesh::FilterForUniqueness(mesh, 0.0);
    Mesh::FilterForUniqueness(whole, 0LL); // refused: FilterForUniqueness
    Mesh::Append(soup, soup);
    Mesh::Append(soup4, soup4);          // refused: Append
    Mesh::SoupFromIndexedPoints(mesh);
    Mesh::SoupFromIndexedPoints(whole);  // refused: SoupFromIndexedPoints
    (void)(transform * soup);
    (void)SplitByHeight(std::vector<VecBase<3, double>>(), std::set<double>(), 0.0);
    (void)SplitByHeight(std::vector<VecBase<3, float>>(), std::set<float>(), 0.0F); // refused: SplitByHeight
}

void Queries(Mesh::IndexedPointsBase<2, float>& mesh, Mesh::IndexedPointsBase<2, long long>& whole)
{
    (void)Mesh::NodeRings(mesh);
    (void)Mesh::NodeRings(whole); // refused: NodeRings
    (void)Mesh::ConnectedComponents(mesh, Mesh::Connection::SharedEdge);
    (void)Mesh::ConnectedComponents(whole, Mesh::Connection::SharedEdge); // refused: ConnectedComponents
    (void)Mesh::FaceEdges<1>(mesh, 0);
    (void)Mesh::FaceEdges<2>(mesh, 0); // refused: FaceEdges
    (void)Mesh::MatchNormals(mesh);
    (void)Mesh::MatchNormals(whole); // refused: MatchNormals
}

void Triangles(const Mesh::Triangle<3, float>& triangle, const Mesh::Triangle<3, int>& whole)
{
    (void)Mesh::AreaNormal(triangle);
    (void)Mesh::AreaNormal(whole); // refused: AreaNormal
    (void)Mesh::IntrinsicArea(3.0, 4.0, 5.0);
    (void)Mesh::IntrinsicArea(3, 4, 5); // refused: IntrinsicArea
    (void)Mesh::OppositeEdgeAngle(triangle[0], triangle[1], triangle[2]);
    (void)Mesh::OppositeEdgeAngle(whole[0], whole[1], whole[2]); // refused: OppositeEdgeAngle
}

void Tessellations(const Points<2, float>& outline, const Points<2, int>& whole)
{
    (void)Mesh::TessellateSimpleBoundary(outline);
    (void)Mesh::TessellateSimpleBoundary(whole); // refused: TessellateSimpleBoundary
    (void)Mesh::TessellateFlatBoundary(outline);
    (void)Mesh::TessellateFlatBoundary(whole);   // refused: TessellateFlatBoundary
}

void Files(Mesh::IndexedPointsBase<3, float>& mesh, Mesh::IndexedPointsBase<3, long double>& wide, Mesh::TriangleSoup<3, long double>& wideSoup)
{
    (void)MeshUtils::ReadMesh(mesh, "part.stl");
    (void)MeshUtils::ReadMesh(wide, "part.stl");  // refused: ReadMesh
    (void)MeshUtils::WriteMesh(mesh, "part.stl");
    (void)MeshUtils::WriteMesh(wide, "part.stl"); // refused: WriteMesh
    (void)MeshUtils::CheckMesh(wideSoup, 0.0L);   // refused: CheckMesh
}

// --- bounds and trees ---------------------------------------------------------------------------

void Bounds(const Points<2, double>& points, const Points<2, int>& whole)
{
    (void)Bounding::BoxOfPoints(points);
    (void)Bounding::BoxOfPoints(whole);                    // refused: BoxOfPoints
    (void)Bounding::BoundingCircleOfPoints(points, false);
    (void)Bounding::BoundingCircleOfPoints(whole, false);  // refused: BoundingCircleOfPoints
    (void)Bounding::EnclosingBall(points);
    (void)Bounding::EnclosingBall(whole);                  // refused: EnclosingBall
    (void)Bounding::ConvexHull(points, false);
    (void)Bounding::ConvexHull(whole, false);              // refused: ConvexHull
}

void Prisms(const Points<3, double>& points, const Points<3, long double>& wide)
{
    (void)Bounding::MinimalHullPrism(points, {}, VecBase<3, double>{}, false, false);
    (void)Bounding::MinimalHullPrism(wide, {}, VecBase<3, long double>{}, false, false); // refused: MinimalHullPrism
}

void Codes(const Points<4, double>& points)
{
    (void)Tree::MortonCurve::Encode<3, 2>(7);
    (void)Tree::MortonCurve::Encode<3, 3>(7);         // refused: Encode
    (void)Tree::MortonCurve::MapToCurve(points, 10);  // refused: MapToCurve
    (void)Tree::QOFAddress<3>();
    (void)Tree::QOFAddress<4>();                      // refused type: trees divide the plane or space
}

void Trees(const Planar::PolyArcSegBase<float>& chain)
{
    (void)Tree::Quadtree::SegmentTree<float>();
    (void)Tree::Quadtree::SegmentTree<int>();        // refused type: segment trees are compiled for float and double
    (void)Tree::Quadtree::ArcSegTree<float>(chain);
    (void)sizeof(Tree::Quadtree::ArcSegTree<int>);   // refused type: trees of chain elements are compiled for float and double
    (void)sizeof(Tree::QOFNode<2, float, 0>);
    (void)sizeof(Tree::QOFNode<3, float, 0>);        // refused type: content trees are compiled for double, and for float with boxes in the plane
}

// --- chains and meshers -------------------------------------------------------------------------

void Chains(const Planar::PolyArcSegBase<float>& chain)
{
    (void)Planar::ToPolyline(chain, 0.1F);
    (void)Planar::ArcSegBase<int>();      // refused type: elements of chains are compiled for float and double
    (void)Planar::PolyArcSegBase<long>(); // refused type: chains are compiled for float and double
}

struct OwnEdge : HalfEdge::DelaunayEdge {};

void Meshers()
{
    (void)HalfEdge::DelaunayMesher<HalfEdge::DelaunayNode<float>, HalfEdge::DelaunayEdge, HalfEdge::DelaunayFacet>();
    (void)HalfEdge::DelaunayMesher<HalfEdge::DelaunayNode<float>, OwnEdge, HalfEdge::DelaunayFacet>(); // refused type: the mesher is compiled for its own records
}

// --- features -----------------------------------------------------------------------------------

void Curvatures(const VecBase<3, double>& point, const VecBase<4, double>& point4)
{
    (void)MeshUtils::MixedAreas(point, {point}, 0.0);
    (void)MeshUtils::MixedAreas(point4, {point4}, 0.0); // refused: MixedAreas
}

// --- aspect ratio ---------------------------------------------------------------------------------

void Flips(const Mesh::IndexedPointsBase<2, float>& mesh, const Mesh::IndexedPointsBase<4, double>& mesh4)
{
    (void)MeshUtils::MaximizeAspectRatio(mesh, 1.0F, 1.0F);
    (void)MeshUtils::MaximizeAspectRatio(mesh4, 1.0, 1.0); // refused: MaximizeAspectRatio
}

// --- mesh builders --------------------------------------------------------------------------------

void Bodies(const Points<2, float>& profile, const Points<2, int>& whole)
{
    (void)MeshUtils::CreateExtrudedBodyFromProfile(profile, 0.0F, 1.0F, 1U);
    (void)MeshUtils::CreateExtrudedBodyFromProfile(whole, 0, 1, 1U); // refused: CreateExtrudedBodyFromProfile
}

// --- sampled volumes ------------------------------------------------------------------------------

void Volumes()
{
    (void)IsoSurface::VolumetricData<IsoSurface::OrientedSample>(1, 2, 3);
    (void)sizeof(IsoSurface::VolumetricData<float>); // refused type: volumetric data is compiled for OrientedSample
}
