// DelaunayMesher: what is inside, and the result.
#pragma once

#include "triangulation/CrossingLevels_Impl.h"
#include "triangulation/DelaunayTriangulationSteps_Impl.h"
#include "triangulation/PlanePredicates_Impl.h"

#include <Sorvane/DelaunayTriangulation_E.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <utility>
#include <vector>

namespace Velk::Math::Sorvane::HalfEdge {

template <class Node, class Edge, class Facet>
void DelaunayMesher<Node, Edge, Facet>::ExtractMesh(std::vector<Point>& resultPoints,
                                                    std::vector<int>& resultIndices)
{
    const bool keepsAll = !hasOuterTriangle;
    if (hasOuterTriangle) {
        if (noConstraints) {
            Impl::MesherSteps(*this).CloseHullPockets();
        }
        ClassifyRegions();
        Impl::MesherSteps steps(*this);
        steps.RemoveOuterTriangle(steps.NonInteriorCount());
        steps.RemoveNonInterior();
        this->DropFreeSlots();
    }
    resultPoints.clear();
    resultIndices.clear();
    resultPoints.reserve(this->nodes_.size());
    resultIndices.reserve(3 * this->faces_.size());
    const bool outerAreGone =
        !this->IsValidNode(0) && !this->IsValidNode(1) && !this->IsValidNode(2);
    const int offset =
        this->NodeCount() >= Impl::kOuterNodes && outerAreGone ? Impl::kOuterNodes : 0;
    for (int n = offset; n < this->NodeCount(); ++n) {
        resultPoints.push_back(this->NodeAt(n).position);
    }
    for (int f = 0; f < this->FaceCount(); ++f) {
        const std::array<int, 3> corners = this->Corners(f);
        if (*std::min_element(corners.begin(), corners.end()) >= offset &&
            (keepsAll || this->FaceAt(f).region == 1)) {
            for (const int node : corners) {
                resultIndices.push_back(node - offset);
            }
        }
    }
}

template <class Node, class Edge, class Facet>
void DelaunayMesher<Node, Edge, Facet>::ClassifyRegions()
{
    Impl::MesherSteps(*this).ClassifyRegions();
}

template <class Node, class Edge, class Facet>
void DelaunayMesher<Node, Edge, Facet>::RemoveOuterTriangle()
{
    Impl::MesherSteps(*this).RemoveOuterTriangle(0);
    this->DropFreeSlots();
}

template <class Node, class Edge, class Facet>
bool DelaunayMesher<Node, Edge, Facet>::RemoveNonInterior()
{
    Impl::MesherSteps steps(*this);
    this->HoldFreeSlots(0, 0, steps.NonInteriorCount());
    const bool any = steps.RemoveNonInterior();
    this->DropFreeSlots();
    return any;
}

namespace Impl {

// --- regions ------------------------------------------------------------------------------------

// The convex hull of the points bounds the inside.
template <class Mesher>
void MesherSteps<Mesher>::ClassifyHull()
{
    for (auto& face : mesher_.faces_) {
        face.region = 1;
    }
    for (int outer = 0; outer < kOuterNodes; ++outer) {
        for (const int face : mesher_.NodeFaces(outer)) {
            FaceAt(face).region = 2;
        }
    }
    for (int e = 0; e < mesher_.EdgeCount(); e += 2) {
        const bool hasFaces =
            mesher_.IsValidEdge(e) && EdgeAt(e).face >= 0 && EdgeAt(Twin(e)).face >= 0;
        if (hasFaces && FaceAt(EdgeAt(e).face).region != FaceAt(EdgeAt(Twin(e)).face).region) {
            SetConstrained(e, true);
        }
    }
}

template <class Mesher>
void MesherSteps<Mesher>::ClassifyRegions()
{
    if (mesher_.noConstraints) {
        ClassifyHull();
        return;
    }
    const auto visitEdges = [&](const auto& visit) {
        for (int e = 0; e < mesher_.EdgeCount(); e += 2) {
            if (mesher_.IsValidEdge(e) && EdgeAt(e).face >= 0 && EdgeAt(Twin(e)).face >= 0) {
                visit(EdgeAt(e).face, EdgeAt(Twin(e)).face, IsConstrained(e));
            }
        }
    };
    const auto visitOutside = [&](const auto& visit) {
        for (const int face : mesher_.NodeFaces(0)) {
            visit(face);
        }
    };
    CrossingLevels levels(mesher_.faces_.size(), visitEdges, visitOutside);
    for (int f = 0; f < mesher_.FaceCount(); ++f) {
        const int level = levels.Of(f);
        FaceAt(f).region = level < 0 ? 0 : 2 - level % 2;
    }
}

template <class Mesher>
void MesherSteps<Mesher>::RemoveOuterTriangle(std::size_t furtherFaces)
{
    std::vector<int> faces;
    std::vector<int> edges;
    for (int outer = 0; outer < kOuterNodes; ++outer) {
        for (const int face : mesher_.NodeFaces(outer)) {
            faces.push_back(face);
        }
        for (const int edge : mesher_.NodeEdges(outer)) {
            if (mesher_.IsValidEdge(edge)) {
                edges.push_back(edge);
            }
        }
    }
    std::vector<std::pair<int, int>> substitutes; // node, half-edge
    for (const int node : OuterRing()) {
        substitutes.emplace_back(node, FirstInnerEdge(node));
    }
    // From here on no memory is needed.
    mesher_.HoldFreeSlots(kOuterNodes, edges.size(), faces.size() + furtherFaces);
    for (const int face : faces) {
        if (mesher_.IsValidFace(face)) {
            Detach(face);
        }
    }
    for (const int edge : edges) {
        if (mesher_.IsValidEdge(edge)) {
            // Along the boundary an edge that stays may follow one that goes.
            for (const int half : {edge, Twin(edge)}) {
                mesher_.Link(EdgeAt(half).prev, kNotSet);
                mesher_.Link(kNotSet, EdgeAt(half).next);
            }
            mesher_.RemoveEdge(edge);
        }
    }
    // A node that named an edge that went names another of its own, or none.
    for (const auto& [node, edge] : substitutes) {
        if (!mesher_.IsValidEdge(NodeAt(node).edge)) {
            NodeAt(node).edge = edge;
        }
    }
    for (int outer = 0; outer < kOuterNodes; ++outer) {
        if (mesher_.IsValidNode(outer) && !mesher_.IsValidEdge(NodeAt(outer).edge)) {
            NodeAt(outer).edge = kNotSet;
        }
    }
    for (int outer = 0; outer < kOuterNodes; ++outer) {
        if (mesher_.IsValidNode(outer) && NodeAt(outer).edge == kNotSet) {
            mesher_.RemoveNode(outer);
        }
    }
    mesher_.hasOuterTriangle = false;
    mesher_.hintFace = -1;
}

// The lowest of the half-edges from a node to other nodes than the outer ones, or `kNotSet`.
template <class Mesher>
int MesherSteps<Mesher>::FirstInnerEdge(int node) const
{
    int lowest = kNotSet;
    mesher_.VisitNodeEdges(node, [&](int e) {
        if (mesher_.IsValidEdge(e) && !IsOuter(EdgeAt(Twin(e)).node) &&
            (lowest < 0 || e < lowest)) {
            lowest = e;
        }
    });
    return lowest;
}

template <class Mesher>
std::size_t MesherSteps<Mesher>::NonInteriorCount() const
{
    return static_cast<std::size_t>(
        std::count_if(mesher_.faces_.begin(), mesher_.faces_.end(),
                      [](const auto& face) { return face.region != 1; }));
}

template <class Mesher>
bool MesherSteps<Mesher>::RemoveNonInterior()
{
    bool any = false;
    for (int f = 0; f < mesher_.FaceCount(); ++f) {
        if (mesher_.IsValidFace(f) && FaceAt(f).region != 1) {
            Detach(f);
            any = true;
        }
    }
    return any;
}

// --- hull pockets -------------------------------------------------------------------------------

// The outer nodes are not at infinity: where a node of the hull's edge sees two of them, the
// triangle between it and its neighbors may still be theirs. Such pockets are closed by flips of
// the edges that lead out of them, and the triangles won become Delaunay with the rest. Every
// pocket closed takes its node from the sight of the outer ones for good.
template <class Mesher>
void MesherSteps<Mesher>::CloseHullPockets()
{
    std::vector<int> nodes = OuterRing();
    std::vector<int>& won = mesher_.openEdges_;
    won.clear();
    while (!nodes.empty()) {
        const int node = nodes.back();
        nodes.pop_back();
        std::vector<int> neighbors;
        if (ClosePocketAt(node, neighbors)) {
            won.push_back(mesher_.FindEdge(node, neighbors.front()));
            won.push_back(mesher_.FindEdge(node, neighbors.back()));
            nodes.insert(nodes.end(), neighbors.begin(), neighbors.end());
        }
    }
    FlipOpenEdges(Reopened::AllRound, [&](int edge) {
        const std::array<int, 4> quad = QuadOf(edge);
        return std::none_of(quad.begin(), quad.end(), IsOuter) && MustFlip(edge);
    });
}

template <class Mesher>
std::vector<int> MesherSteps<Mesher>::OuterRing() const
{
    std::vector<int> nodes;
    for (int outer = 0; outer < kOuterNodes; ++outer) {
        for (const int node : mesher_.NodeNodes(outer)) {
            if (!IsOuter(node)) {
                nodes.push_back(node);
            }
        }
    }
    std::sort(nodes.begin(), nodes.end());
    nodes.erase(std::unique(nodes.begin(), nodes.end()), nodes.end());
    return nodes;
}

// Looks for outer nodes in a row in the ring, between two neighbors that see each other past the
// node, and flips the edges to them away. `neighbors` receives the two.
template <class Mesher>
bool MesherSteps<Mesher>::ClosePocketAt(int node, std::vector<int>& neighbors)
{
    const std::vector<int> ring = mesher_.NodeNodes(node);
    const std::size_t count = ring.size();
    const auto at = [&](std::size_t k) { return ring[k % count]; };
    for (std::size_t start = 0; start < count; ++start) {
        if (IsOuter(at(start)) || !IsOuter(at(start + 1))) {
            continue;
        }
        std::size_t end = start + 1;
        while (IsOuter(at(end))) {
            ++end;
        }
        const int from = at(start);
        const int to = at(end);
        if (from == to || Orientation(At(node), At(from), At(to)) <= 0) {
            continue;
        }
        bool closes = true;
        for (std::size_t k = start + 1; k < end && closes; ++k) {
            const int edge = mesher_.FindEdge(node, at(k));
            closes = edge >= 0 && IsStrictlyFlippable(edge) && mesher_.FlipEdge(edge, true);
        }
        if (closes) {
            neighbors = {from, to};
            return true;
        }
    }
    return false;
}

/// A flip leaves two triangles of positive area and makes no edge that exists.
template <class Mesher>
bool MesherSteps<Mesher>::IsStrictlyFlippable(int halfEdge) const
{
    const auto [a, b, c, d] = mesher_.Diamond(halfEdge);
    return c >= 0 && d >= 0 && c != d && mesher_.FindEdge(c, d) < 0 &&
           Orientation(At(d), At(c), At(a)) > 0 && Orientation(At(c), At(d), At(b)) > 0;
}

} // namespace Impl
} // namespace Velk::Math::Sorvane::HalfEdge
