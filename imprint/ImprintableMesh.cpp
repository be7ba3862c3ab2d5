// The mesh on which curves are imprinted: building it, its search tree, locating points. Cuts and
// collapses, and the walk along a path, stand in headers of their own.

#include "imprint/ImprintableMesh_Impl.h"

#include "imprint/ImprintableMeshCut_Impl.h"
#include "imprint/ImprintableMeshTrace_Impl.h"
#include "mathbase/Progress_Impl.h"
#include "mathbase/SegmentPoint_Impl.h"

#include <Velk/Math/Intersect_E.h>

#include <algorithm>
#include <array>
#include <utility>

namespace Velk::Math::Sorvane::Mesh::Impl {

namespace {

/// Margin of the query for facets whose boxes hold a point.
constexpr double kQueryMargin = 1e-12;
/// Growth for which the mesh has room from the beginning.
constexpr double kGrowth = 1.7;
/// Part of the tolerance within which nodes are one.
constexpr double kCollapseFraction = 0.5;

} // namespace

// --- building -----------------------------------------------------------------------------------

template <class Tag>
ImprintableMesh<Tag>::ImprintableMesh(const std::vector<Vec3d>& points,
                                      const std::vector<int>& indices, const std::vector<Tag>& tags,
                                      double tolerance)
    : tolerance_(tolerance)
{
    const auto nodeRoom = static_cast<std::size_t>(kGrowth * static_cast<double>(points.size()));
    // A closed mesh has about as many half-edges as indices; paths add to them as to the nodes.
    const auto edgeRoom = static_cast<std::size_t>(kGrowth * static_cast<double>(indices.size()));
    this->Reserve(nodeRoom, std::max(2 * nodeRoom, edgeRoom), indices.size());
    for (const Vec3d& point : points) {
        Progress::Impl::CheckStep(static_cast<std::size_t>(this->NodeCount()));
        this->AddNode(ImprintNode(point));
    }
    AddTriples(indices, tags);
    if (!this->LinkBoundaryEdges()) {
        LinkFansWithThemselves();
    }
    RememberPinchFans();
    NodeReplacements replaced;
    CollapseShortEdges(tolerance * kCollapseFraction, replaced);
    BuildSearchTree();
}

template <class Tag>
ImprintableMesh<Tag>::~ImprintableMesh() = default;

template <class Tag>
void ImprintableMesh<Tag>::AddTriples(const std::vector<int>& indices, const std::vector<Tag>& tags)
{
    std::vector<int> corners(3);
    for (std::size_t t = 0; t < indices.size() / 3; ++t) {
        Progress::Impl::CheckStep(t, indices.size() / 3);
        std::copy_n(indices.begin() + static_cast<std::ptrdiff_t>(3 * t), 3, corners.begin());
        const int facet = AddTriple(corners);
        if (facet < 0) {
            AssertSites::Report(AssertSites::kTripleIsNotAdded<Tag>);
            continue;
        }
        const Tag tag = t < tags.size() ? tags[t] : Tag{0};
        SetWords(facet, {tag != 0 ? 2 : 0, false, tag, -1});
    }
}

// The facet, or -1. A triple that is refused may leave edges without a facet behind, on which a
// path would run through the air: they go again.
template <class Tag>
int ImprintableMesh<Tag>::AddTriple(const std::vector<int>& corners)
{
    std::array<int, 3> heldEdges;
    for (std::size_t i = 0; i < 3; ++i) {
        heldEdges[i] = this->IsValidNode(corners[i]) ? NodeAt(corners[i]).edge : HalfEdge::kNotSet;
    }
    const int facet = this->AddTriangle(corners);
    if (facet >= 0) {
        return facet;
    }
    for (std::size_t i = 0; i < 3; ++i) {
        const int origin = corners[i];
        const int destination = corners[(i + 1) % 3];
        const bool areNodes = this->IsValidNode(origin) && this->IsValidNode(destination);
        const int e = areNodes ? this->FindEdge(origin, destination) : HalfEdge::kNotSet;
        if (this->IsValidEdge(e) && EdgeAt(e).face < 0 && EdgeAt(Twin(e)).face < 0) {
            this->RemoveEdge(e);
        }
    }
    for (std::size_t i = 0; i < 3; ++i) {
        if (this->IsValidNode(corners[i])) {
            NodeAt(corners[i]).edge = heldEdges[i];
        }
    }
    return -1;
}

// Where three or more fans of facets meet in a node the common pass leaves their boundary open.
// Each fan's goes on along itself then, so that edges there can be split, too.
template <class Tag>
void ImprintableMesh<Tag>::LinkFansWithThemselves()
{
    for (int e = 0; e < this->EdgeCount(); ++e) {
        if (!this->IsValidEdge(e) || EdgeAt(e).face >= 0 || EdgeAt(e).next >= 0) {
            continue;
        }
        // From the twin, which leaves the node where `e` ends, across the facets of the fan.
        int leaving = Twin(e);
        while (this->IsValidEdge(leaving) && EdgeAt(leaving).face >= 0) {
            leaving = Twin(EdgeAt(leaving).prev);
        }
        if (this->IsValidEdge(leaving)) {
            this->Link(e, leaving);
        }
    }
}

template <class Tag>
void ImprintableMesh<Tag>::RememberPinchFans()
{
    for (const int node : this->PinchNodes()) {
        fanStarts_[node];
    }
    if (fanStarts_.empty()) {
        return;
    }
    for (int e = 0; e < this->EdgeCount(); ++e) {
        if (this->IsValidEdge(e)) {
            KeepFan(EdgeAt(e).node, e);
        }
    }
}

// Remembers a half-edge that leaves a node of several fans.
template <class Tag>
void ImprintableMesh<Tag>::KeepFan(int node, int halfEdge)
{
    const auto found = fanStarts_.find(node);
    if (found != fanStarts_.end()) {
        found->second.push_back(halfEdge);
    }
}

// --- the search tree ----------------------------------------------------------------------------

template <class Tag>
SearchTree::Corners ImprintableMesh<Tag>::CornerPoints(int facet) const
{
    const std::array<int, 3> corners = this->Corners(facet);
    return {NodeAt(corners[0]).position, NodeAt(corners[1]).position, NodeAt(corners[2]).position};
}

template <class Tag>
void ImprintableMesh<Tag>::BuildSearchTree()
{
    if (tree_) {
        return;
    }
    std::size_t facets = 0;
    for (const auto& facet : this->Faces()) {
        facets += facet.IsInvalid() ? 0 : 1;
    }
    auto tree = std::make_unique<SearchTree>(facets);
    for (int f = 0; f < this->FaceCount(); ++f) {
        Progress::Impl::CheckStep(static_cast<std::size_t>(f));
        if (this->Corners(f)[0] >= 0) {
            FaceAt(f).treeSlot = tree->Add(f, CornerPoints(f));
        }
    }
    tree->Rebuild();
    tree_ = std::move(tree);
}

// Lets the tree and the split history follow an edit of the mesh. Where memory runs out both go as
// a whole: a facet that the tree doesn't know would never be found again.
template <class Tag>
template <class Update>
void ImprintableMesh<Tag>::Follow(Update update)
{
    try {
        update();
    } catch (...) {
        tree_.reset();
        splitHistory_.Clear();
        throw;
    }
}

template <class Tag>
void ImprintableMesh<Tag>::EnterTree(int facet)
{
    if (!tree_) {
        return;
    }
    const int slot = tree_->Add(facet, CornerPoints(facet));
    FaceAt(facet).treeSlot = slot;
    // A point off the surface may widen the mesh.
    if (slot >= 0 && (!tree_->Enter(slot) || tree_->IsOutgrown())) {
        tree_->Rebuild();
    }
}

template <class Tag>
void ImprintableMesh<Tag>::LeaveTree(int treeSlot)
{
    if (tree_) {
        tree_->Remove(treeSlot);
    }
}

// --- places -------------------------------------------------------------------------------------

template <class Tag>
MeshLocation ImprintableMesh<Tag>::Locate(Vec3d& point, double radius, int pathIndex) const
{
    MeshLocation location;
    if (!tree_) {
        return location;
    }
    const auto firstWithin = [&](double margin) {
        const Vec3d reach{margin, margin, margin};
        for (const int facet : tree_->FacetsInBox(point - reach, point + reach)) {
            const auto [a, b, c] = CornerPoints(facet);
            if (Intersect::SphereTriangle(point, radius, a, b, c)) {
                return facet;
            }
        }
        return MeshLocation::kNoFacet;
    };
    int facet = firstWithin(kQueryMargin);
    if (facet < 0 && radius > kQueryMargin) {
        facet = firstWithin(radius);
    }
    if (facet < 0) {
        return location;
    }

    const std::array<int, 3> nodes = this->Corners(facet);
    const std::array<int, 3> sides = this->Sides(facet);
    const SearchTree::Corners corners = CornerPoints(facet);
    location.pathIndex = pathIndex;
    location.facet = facet;
    const auto snapToCorner = [&] {
        for (std::size_t i = 0; i < 3; ++i) {
            if (Vector::Matches(point, corners[i], radius)) {
                point = corners[i];
                location.node = nodes[i];
                location.edge = sides[i];
                return true;
            }
        }
        return false;
    };
    const auto snapToSide = [&] {
        constexpr auto kShort = Velk::Math::Impl::kShortByFloor<double>;
        for (std::size_t i = 0; i < 3; ++i) {
            const Vec3d& start = corners[i];
            const Vec3d& end = corners[(i + 1) % 3];
            if (Velk::Math::Impl::SquaredDistanceToSegment(start, end, point, kShort) <=
                radius * radius) {
                point = Velk::Math::Impl::NearestOnSegment(start, end, point, kShort);
                location.edge = sides[i];
                return;
            }
        }
    };
    if (!snapToCorner()) {
        snapToSide();
    }
    location.point = point;
    return location;
}

template <class Tag>
std::vector<MeshLocation> ImprintableMesh<Tag>::LocatePath(const std::vector<Vec3d>& path) const
{
    std::vector<MeshLocation> locations;
    locations.reserve(path.size());
    for (std::size_t i = 0; i < path.size(); ++i) {
        Progress::Impl::Check();
        Vec3d point = path[i];
        locations.push_back(Locate(point, tolerance_, static_cast<int>(i)));
    }
    return locations;
}

} // namespace Velk::Math::Sorvane::Mesh::Impl

namespace Velk::Math::Sorvane::HalfEdge {
// clang-format off
template class HMesh<Mesh::Impl::ImprintNode, Mesh::Impl::ImprintEdge, Mesh::Impl::ImprintFacet<unsigned char>>;
template class HMesh<Mesh::Impl::ImprintNode, Mesh::Impl::ImprintEdge, Mesh::Impl::ImprintFacet<unsigned long long>>;
template class TriangleMesh<Mesh::Impl::ImprintNode, Mesh::Impl::ImprintEdge, Mesh::Impl::ImprintFacet<unsigned char>>;
template class TriangleMesh<Mesh::Impl::ImprintNode, Mesh::Impl::ImprintEdge, Mesh::Impl::ImprintFacet<unsigned long long>>;
// clang-format on
} // namespace Velk::Math::Sorvane::HalfEdge

namespace Velk::Math::Sorvane::Mesh::Impl {
template class ImprintableMesh<unsigned char>;
template class ImprintableMesh<unsigned long long>;
} // namespace Velk::Math::Sorvane::Mesh::Impl
