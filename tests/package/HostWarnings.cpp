// Not compiled into anything: check_host_warnings.sh compiles it as a host does that asks for every
// warning, our headers as its own and not as system headers. Templates draw theirs when they are
// instantiated, and a base class in the class that derives from it: so here is one of each.

#include <Sorvane/Sorvane_E.h>

#include <memory>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;

// --- half-edge meshes ---------------------------------------------------------------------------

struct Deco_int_group : HalfEdge::ITopologyDecoration {
    int group = -1;
    void Reset() override { group = -1; }
};

struct PlainNode : HalfEdge::HNode {
    void Invalidate() override { HalfEdge::HNode::Invalidate(); }
};

struct PlainEdge : HalfEdge::HEdge {
    int mark = 0;
};

struct PlainFace : HalfEdge::HFace {
    int mark = 0;
};

using GroupedVertex =
    HalfEdge::DHVertex<3, Deco_int_group, HalfEdge::Decorations::Deco_bool_feature>;
using FeatureEdge =
    HalfEdge::DecoratedTopology<HalfEdge::HEdge, HalfEdge::Decorations::Deco_bool_feature>;
using BareFace = HalfEdge::DecoratedTopology<HalfEdge::HFace>;

class GroupedMesh : public HalfEdge::TriangleMesh<GroupedVertex, FeatureEdge, BareFace> {
public:
    bool IsNodeLocked(int node) const override { return NodeRecord(node) == nullptr; }
    bool IsEdgeLocked(int halfEdge) const override
    {
        const FeatureEdge* edge = EdgeRecord(halfEdge);
        return edge != nullptr && edge->feature;
    }
};

class PolygonMesh : public HalfEdge::HMesh<PlainNode, PlainEdge, PlainFace> {
public:
    bool IsFaceLocked(int face) const override { return FaceRecord(face)->mark != 0; }
};

class Mesher : public HalfEdge::DelaunayMesher<HalfEdge::DelaunayNode<double>,
                                               HalfEdge::DelaunayEdge, HalfEdge::DelaunayFacet> {
public:
    int inserted = 0;
    void OnPointInserted(int, int) override { ++inserted; }
};

// --- trees --------------------------------------------------------------------------------------

struct Bin : Tree::QOFTreeContent<3, double, 0> {
    int number = 0;
};

struct Ball : Tree::QOFTreeContent<3, double, 1> {
    int number = 0;
};

class BinTree : public Tree::QOFTree<3, double, 0, Tree::QOFNode<3, double, 0>> {
public:
    std::vector<const Content*> Near(const Box& box) const { return GetPossibleBoxCollisions(box); }
};

class MarkedNode : public Tree::QOFAddressableNode<3, double, 1> {
public:
    bool CanSplit(unsigned int) const override { return false; }
};

class Owner : public Tree::QOFNodeOwner<3> {
public:
    int asked = 0;
    void EnsureNode(const Tree::QOFAddress<3>&, unsigned int) override { ++asked; }
};

class PartTriangles : public Tree::Octree::TriangleTree<double> {
public:
    using Tree::Octree::TriangleTree<double>::TriangleTree;
};

class Outlines : public Tree::Quadtree::SegmentTree<float> {
public:
    int layer = 0;
};

// --- chains and indexed meshes ------------------------------------------------------------------

class LabeledChain : public Planar::PolyArcSegBase<double> {
public:
    int label = 0;
};

} // namespace

// Each member of the templates, whether called or not.
template class HalfEdge::HMesh<GroupedVertex, FeatureEdge, BareFace>;
template class HalfEdge::TriangleMesh<GroupedVertex, FeatureEdge, BareFace>;
template class Bins::DataPool<Bin>;
template struct Mesh::IndexedTrianglesBase<3, double, int>;

// And what a host makes, calls and destroys.
int UseThem(const Mesh::IndexedPointsBase<3, double>& part)
{
    GroupedMesh mesh;
    PolygonMesh polygons;
    Mesher mesher;
    Owner owner;
    BinTree bins;
    Outlines outlines;
    LabeledChain chain;
    std::vector<Bin> contents(2);
    std::vector<Ball> balls(2);
    Bins::DataPool<Bin> pool;
    const VecBase<5, float> wide;
    const Matrix::MatBase<3, 4, double> matrix;
    const std::unique_ptr<HalfEdge::ITopologyDecoration> decoration =
        std::make_unique<Deco_int_group>();
    const std::unique_ptr<Tree::QOFNode<3, double, 1>> node = std::make_unique<MarkedNode>();
    const std::unique_ptr<PartTriangles> triangles =
        std::make_unique<PartTriangles>(Mesh::TriangleSoup<3, double>());
    decoration->ResetAll();
    const bool isLinked = mesh.LoadIndexedPoints(part);
    int middle = 0;
    const bool isSplit = mesh.SplitEdge(0, middle, false, true) ||
                         mesh.SplitFace(0, middle, true) || mesh.FlipEdge(0, true) ||
                         mesh.CollapseEdge(0, false, true);
    Mesh::IndexedPointsBase<3, float> result;
    mesh.ExportIndexedPoints(result, 1e-6);
    mesh.VisitNodeNodes(0, [](int) {});
    polygons.AddNode(PlainNode());
    for (const Mesh::Triangle<3, double>& triangle : Mesh::SoupFromIndexedPoints(part)) {
        middle += triangle[0].x() > 0 ? 1 : 0;
    }
    const bool isEmpty =
        bins.Near({}).empty() && outlines.Segments().empty() && isLinked && isSplit;
    middle += static_cast<int>(pool.LastIndex()) + wide.size() + matrix(0, 0) > 0 ? 1 : 0;
    return isEmpty ? owner.asked + mesher.inserted + chain.label + middle : 0;
}
