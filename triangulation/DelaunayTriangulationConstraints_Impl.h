// DelaunayMesher: segments forced into the mesh.
#pragma once

#include "triangulation/CavityTriangles_Impl.h"
#include "triangulation/DelaunayTriangulationSteps_Impl.h"
#include "triangulation/SegmentChannel_Impl.h"

#include <Sorvane/AssertSites_E.h>
#include <Sorvane/DelaunayTriangulation_E.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <new>
#include <vector>

namespace Velk::Math::Sorvane::HalfEdge {

template <class Node, class Edge, class Facet>
bool DelaunayMesher<Node, Edge, Facet>::InsertEdge(int a, int b)
{
    return Impl::MesherSteps(*this).InsertSegment(a, b);
}

namespace Impl {

/// The mesh as `FollowSegment` knows meshes.
template <class Mesher>
struct MesherSteps<Mesher>::View {
    const MesherSteps& steps;

    Vec2d At(int node) const { return steps.At(node); }
    bool IsOrdinary(int) const { return true; }
    int Origin(int half) const { return steps.EdgeAt(half).node; }
    int Next(int half) const { return Live(steps.EdgeAt(half).next); }
    int Prev(int half) const { return Live(steps.EdgeAt(half).prev); }
    int Twin(int half) const { return MesherSteps::Twin(half); }
    bool HasTriangle(int half) const
    {
        return steps.mesher_.IsValidEdge(half) &&
               steps.mesher_.IsValidFace(steps.EdgeAt(half).face);
    }
    int TriangleCount() const { return steps.mesher_.FaceCount(); }
    template <class Visit>
    void VisitLeaving(int node, const Visit& visit) const
    {
        bool isDone = false;
        steps.mesher_.VisitNodeEdges(node, [&](int half) { isDone = isDone || visit(half); });
    }

private:
    int Live(int half) const { return steps.mesher_.IsValidEdge(half) ? half : kNotSet; }
};

template <class Mesher>
bool MesherSteps<Mesher>::InsertSegment(int a, int b)
{
    if (a == b || !mesher_.IsValidNode(a) || !mesher_.IsValidNode(b)) {
        return false;
    }
    const int existing = mesher_.FindEdge(a, b);
    if (existing >= 0) {
        SetConstrained(existing, true);
        return true;
    }
    const View view{*this};
    SegmentChannel channel;
    const auto touches = WithinFloorOfSegment(view, a, b, kLengthFloor<T>);
    if (FollowSegment(view, a, b, touches, channel).kind != ChannelEnd::Kind::Crossed) {
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

    // Nor can memory run out while the mesh is changed: as many edges come as go.
    const int greatest = std::max(*std::max_element(left.begin(), left.end()),
                                  *std::max_element(right.begin(), right.end()));
    mesher_.PrepareFor(0, channel.crossed.size(), triangles.size(), greatest);
    mesher_.HoldFreeSlots(0, channel.crossed.size(), channel.crossed.size() + 1);
    ClearChannel(channel.crossed);
    mesher_.DropFreeSlots();
    const int constraint = mesher_.FindOrAddEdge(a, b);
    if (constraint < 0) {
        AssertSites::Report(AssertSites::kInsertEdge);
        return false;
    }
    SetConstrained(constraint, true);
    for (const std::array<int, 3>& corners : triangles) {
        std::array<int, 3> sides;
        if (mesher_.FindOrAddFreeEdges(corners, sides)) {
            mesher_.LinkFace(sides);
        }
    }
    mesher_.hintFace = EdgeAt(constraint).face;
    try {
        mesher_.Legalize(a);
        mesher_.Legalize(b);
    } catch (const std::bad_alloc&) { // the edge is there; only flips beside it are not
    }
    return true;
}

/// Triangles of the cavity whose boundary runs along the nodes and back along the segment.
template <class Mesher>
std::vector<std::array<int, 3>>
MesherSteps<Mesher>::CavityFaces(const std::vector<int>& nodes) const
{
    std::vector<Vec2d> chain;
    chain.reserve(nodes.size());
    for (const int node : nodes) {
        chain.push_back(At(node));
    }
    CavityTriangles cavity;
    std::vector<std::array<int, 3>> faces;
    for (const CavityTriangles::Triangle& triangle : cavity.Fill(chain)) {
        std::array<int, 3> corners;
        for (std::size_t k = 0; k < 3; ++k) {
            corners[k] = nodes[static_cast<std::size_t>(triangle.nodes[k])];
        }
        faces.push_back(corners);
    }
    return faces;
}

/// Deletes the faces on both sides of the edges, and the edges.
template <class Mesher>
void MesherSteps<Mesher>::ClearChannel(const std::vector<int>& crossed)
{
    Detach(EdgeAt(crossed.front()).face);
    for (const int edge : crossed) {
        Detach(EdgeAt(Twin(edge)).face);
    }
    for (const int edge : crossed) {
        mesher_.RemoveEdge(edge);
    }
    mesher_.hintFace = -1;
}

// Deletes a face; its half-edges stay, without face and without links.
template <class Mesher>
void MesherSteps<Mesher>::Detach(int face)
{
    for (const int side : mesher_.Sides(face)) {
        if (side >= 0) {
            EdgeAt(side).face = kNoFace;
            EdgeAt(side).next = kNotSet;
            EdgeAt(side).prev = kNotSet;
        }
    }
    mesher_.RemoveFace(face);
}

} // namespace Impl
} // namespace Velk::Math::Sorvane::HalfEdge
