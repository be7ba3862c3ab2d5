// Not compiled into anything: check_unsupported.sh sees to it that the compiler refuses every marked
// line, by a deleted function of that name, and no other.

// clang-format off: a mark stays on the line of its call
#include <Sorvane/Curvature_E.h>
#include <Sorvane/HalfEdgeMesh_E.h>
#include <Sorvane/IndexedMesh_E.h>
#include <Sorvane/MeshQueries_E.h>
#include <Sorvane/Triangle_E.h>

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;

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

void Curvatures(const VecBase<3, double>& point, const VecBase<4, double>& point4)
{
    (void)MeshUtils::MixedAreas(point, {point}, 0.0);
    (void)MeshUtils::MixedAreas(point4, {point4}, 0.0); // refused: MixedAreas
}
