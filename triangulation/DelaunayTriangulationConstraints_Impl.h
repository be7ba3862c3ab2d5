// DelaunayMesher: segments forced into the mesh.
#pragma once

#include "triangulation/CavityTriangles_Impl.h"
#include "triangulation/SegmentChannel_Impl.h"

#include <Sorvane/AssertSites_E.h>
#include <Sorvane/DelaunayTriangulation_E.h>

#include <array>
#include <cstddef>
#include <vector>

namespace Velk::Math::Sorvane::HalfEdge {

/// The mesh as `FollowSegment` knows meshes.
template <class Node, class Edge, class Facet>
struct DelaunayMesher<Node, Edge, Facet>::View {
    const DelaunayMesher& mesher;

    Vec2d At(int node) const { return mesher.At(node); }
    bool IsOrdinary(int) const { return true; }
    int Origin(int half) const { return mesher.EdgeAt(half).node; }
    int Next(int half) const { return Live(mesher.EdgeAt(half).next); }
    int Prev(int half) const { return Live(mesher.EdgeAt(half).prev); }
    int Twin(int half) const { return mesher.Twin(half); }
    bool HasTriangle(int half) const
    {
        return mesher.IsValidEdge(half) && mesher.IsValidFace(mesher.EdgeAt(half).face);
    }
    int TriangleCount() const { return mesher.FaceCount(); }
    template <class Visit>
    void VisitLeaving(int node, const Visit& visit) const
    {
        bool isDone = false;
        mesher.VisitNodeEdges(node, [&](int half) { isDone = isDone || visit(half); });
    }

private:
    int Live(int half) const { return mesher.IsValidEdge(half) ? half : kNotSet; }
};

template <class Node, class Edge, class Facet>
bool DelaunayMesher<Node, Edge, Facet>::InsertEdge(int a, int b)
{
    if (a == b || !this->IsValidNode(a) || !this->IsValidNode(b)) {
        return false;
    }
    const int existing = this->FindEdge(a, b);
    if (existing >= 0) {
        SetConstrained(existing, true);
        return true;
    }
    const View view{*this};
    Impl::SegmentChannel channel;
    const auto touches = Impl::WithinFloorOfSegment(view, a, b, kLengthFloor<T>);
    if (Impl::FollowSegment(view, a, b, touches, channel).kind != Impl::ChannelEnd::Kind::Crossed) {
        return false;
    }
    // All that the cavities become is known before anything goes.
    std::vector<int> left{channel.left.rbegin(), channel.left.rend()}; // half-edges, then nodes
    std::vector<int> right = channel.right;
    for (std::vector<int>* side : {&left, &right}) {
        for (int& half : *side) {
            half = EdgeAt(half).node;
        }
    }
    left.push_back(a);
    right.push_back(b);
    std::vector<std::array<int, 3>> triangles = CavityFaces(left);
    const std::vector<std::array<int, 3>> onRight = CavityFaces(right);
    triangles.insert(triangles.end(), onRight.begin(), onRight.end());

    ClearChannel(channel.crossed);
    const int constraint = this->FindOrAddEdge(a, b);
    if (constraint < 0) {
        AssertSites::Report(AssertSites::kInsertEdge);
        return false;
    }
    SetConstrained(constraint, true);
    for (const std::array<int, 3>& corners : triangles) {
        std::array<int, 3> sides;
        if (this->FindOrAddFreeEdges(corners, sides)) {
            this->LinkFace(sides);
        }
    }
    hintFace = EdgeAt(constraint).face;
    Legalize(a);
    Legalize(b);
    return true;
}

/// Triangles of the cavity whose border runs along the nodes and back along the segment.
template <class Node, class Edge, class Facet>
std::vector<std::array<int, 3>>
DelaunayMesher<Node, Edge, Facet>::CavityFaces(const std::vector<int>& nodes) const
{
    std::vector<Vec2d> chain;
    chain.reserve(nodes.size());
    for (const int node : nodes) {
        chain.push_back(At(node));
    }
    Impl::CavityTriangles cavity;
    std::vector<std::array<int, 3>> faces;
    for (const Impl::CavityTriangles::Triangle& triangle : cavity.Fill(chain)) {
        std::array<int, 3> corners;
        for (std::size_t k = 0; k < 3; ++k) {
            corners[k] = nodes[static_cast<std::size_t>(triangle.nodes[k])];
        }
        faces.push_back(corners);
    }
    return faces;
}

/// Deletes the faces on both sides of the edges, and the edges.
template <class Node, class Edge, class Facet>
void DelaunayMesher<Node, Edge, Facet>::ClearChannel(const std::vector<int>& crossed)
{
    Detach(EdgeAt(crossed.front()).face);
    for (const int edge : crossed) {
        Detach(EdgeAt(Twin(edge)).face);
    }
    for (const int edge : crossed) {
        this->RemoveEdge(edge);
    }
    hintFace = -1;
}

// Deletes a face; its half-edges stay, without face and without links.
template <class Node, class Edge, class Facet>
void DelaunayMesher<Node, Edge, Facet>::Detach(int face)
{
    for (const int side : this->Sides(face)) {
        if (side >= 0) {
            EdgeAt(side).face = kNoFace;
            EdgeAt(side).next = kNotSet;
            EdgeAt(side).prev = kNotSet;
        }
    }
    this->RemoveFace(face);
}

} // namespace Velk::Math::Sorvane::HalfEdge
