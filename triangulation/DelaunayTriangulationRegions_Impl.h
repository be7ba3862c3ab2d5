// DelaunayMesher: what is inside, and the result.
#pragma once

#include "triangulation/CrossingLevels_Impl.h"
#include "triangulation/PlanePredicates_Impl.h"

#include <Sorvane/DelaunayTriangulation_E.h>

#include <algorithm>
#include <array>
#include <cstddef>

namespace Velk::Math::Sorvane::HalfEdge {

template <class Node, class Edge, class Facet>
void DelaunayMesher<Node, Edge, Facet>::ExtractMesh(std::vector<Point>& resultPoints,
                                                    std::vector<int>& resultIndices)
{
    const bool keepsAll = !hasOuterTriangle;
    if (hasOuterTriangle) {
        if (noConstraints) {
            CloseHullPockets();
        }
        ClassifyRegions();
        RemoveOuterTriangle();
        RemoveNonInterior();
    }
    resultPoints.clear();
    resultIndices.clear();
    resultPoints.reserve(this->nodes_.size());
    resultIndices.reserve(3 * this->faces_.size());
    const bool outerAreGone =
        !this->IsValidNode(0) && !this->IsValidNode(1) && !this->IsValidNode(2);
    const int offset = this->NodeCount() >= kOuterNodes && outerAreGone ? kOuterNodes : 0;
    for (int n = offset; n < this->NodeCount(); ++n) {
        resultPoints.push_back(NodeAt(n).position);
    }
    for (int f = 0; f < this->FaceCount(); ++f) {
        const std::array<int, 3> corners = this->Corners(f);
        if (*std::min_element(corners.begin(), corners.end()) >= offset &&
            (keepsAll || FaceAt(f).region == 1)) {
            for (const int node : corners) {
                resultIndices.push_back(node - offset);
            }
        }
    }
}

// --- regions ------------------------------------------------------------------------------------

template <class Node, class Edge, class Facet>
void DelaunayMesher<Node, Edge, Facet>::ClassifyRegions()
{
    for (Facet& face : this->faces_) {
        face.region = noConstraints ? 1 : 0;
    }
    if (noConstraints) {
        for (int outer = 0; outer < kOuterNodes; ++outer) {
            for (const int face : this->NodeFaces(outer)) {
                FaceAt(face).region = 2;
            }
        }
        for (int e = 0; e < this->EdgeCount(); e += 2) {
            const bool hasFaces =
                this->IsValidEdge(e) && EdgeAt(e).face >= 0 && EdgeAt(Twin(e)).face >= 0;
            if (hasFaces && FaceAt(EdgeAt(e).face).region != FaceAt(EdgeAt(Twin(e)).face).region) {
                SetConstrained(e, true);
            }
        }
        return;
    }

    const auto visitEdges = [&](const auto& visit) {
        for (int e = 0; e < this->EdgeCount(); e += 2) {
            if (this->IsValidEdge(e) && EdgeAt(e).face >= 0 && EdgeAt(Twin(e)).face >= 0) {
                visit(EdgeAt(e).face, EdgeAt(Twin(e)).face, IsConstrained(e));
            }
        }
    };
    const auto visitOutside = [&](const auto& visit) {
        for (const int face : this->NodeFaces(0)) {
            visit(face);
        }
    };
    Impl::CrossingLevels levels(this->faces_.size(), visitEdges, visitOutside);
    for (int f = 0; f < this->FaceCount(); ++f) {
        const int level = levels.Of(f);
        FaceAt(f).region = level < 0 ? 0 : 2 - level % 2;
    }
}

template <class Node, class Edge, class Facet>
void DelaunayMesher<Node, Edge, Facet>::RemoveOuterTriangle()
{
    std::vector<int> faces;
    std::vector<int> edges;
    for (int outer = 0; outer < kOuterNodes; ++outer) {
        for (const int face : this->NodeFaces(outer)) {
            faces.push_back(face);
        }
        for (const int edge : this->NodeEdges(outer)) {
            if (this->IsValidEdge(edge)) {
                edges.push_back(edge);
            }
        }
    }
    std::vector<std::pair<int, int>> substitutes; // node, half-edge
    for (const int node : OuterRing()) {
        substitutes.emplace_back(node, FirstInnerEdge(node));
    }
    for (const int face : faces) {
        if (this->IsValidFace(face)) {
            Detach(face);
        }
    }
    for (const int edge : edges) {
        if (this->IsValidEdge(edge)) {
            // Along the boundary an edge that stays may follow one that goes.
            for (const int half : {edge, Twin(edge)}) {
                this->Link(EdgeAt(half).prev, kNotSet);
                this->Link(kNotSet, EdgeAt(half).next);
            }
            this->RemoveEdge(edge);
        }
    }
    // A node that named an edge that went names another of its own, or none.
    for (const auto& [node, edge] : substitutes) {
        if (!this->IsValidEdge(NodeAt(node).edge)) {
            NodeAt(node).edge = edge;
        }
    }
    for (int outer = 0; outer < kOuterNodes; ++outer) {
        if (this->IsValidNode(outer) && !this->IsValidEdge(NodeAt(outer).edge)) {
            NodeAt(outer).edge = kNotSet;
        }
    }
    for (int outer = 0; outer < kOuterNodes; ++outer) {
        if (this->IsValidNode(outer) && NodeAt(outer).edge == kNotSet) {
            this->RemoveNode(outer);
        }
    }
    hasOuterTriangle = false;
    hintFace = -1;
}

// The lowest of the half-edges from a node to other nodes than the outer ones, or `kNotSet`.
template <class Node, class Edge, class Facet>
int DelaunayMesher<Node, Edge, Facet>::FirstInnerEdge(int node) const
{
    int lowest = kNotSet;
    this->VisitNodeEdges(node, [&](int e) {
        if (this->IsValidEdge(e) && !IsOuter(EdgeAt(Twin(e)).node) && (lowest < 0 || e < lowest)) {
            lowest = e;
        }
    });
    return lowest;
}

template <class Node, class Edge, class Facet>
bool DelaunayMesher<Node, Edge, Facet>::RemoveNonInterior()
{
    bool any = false;
    for (int f = 0; f < this->FaceCount(); ++f) {
        if (this->IsValidFace(f) && FaceAt(f).region != 1) {
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
template <class Node, class Edge, class Facet>
void DelaunayMesher<Node, Edge, Facet>::CloseHullPockets()
{
    std::vector<int> nodes = OuterRing();
    std::vector<int> won;
    while (!nodes.empty()) {
        const int node = nodes.back();
        nodes.pop_back();
        std::vector<int> neighbors;
        if (ClosePocketAt(node, neighbors)) {
            won.push_back(this->FindEdge(node, neighbors.front()));
            won.push_back(this->FindEdge(node, neighbors.back()));
            nodes.insert(nodes.end(), neighbors.begin(), neighbors.end());
        }
    }
    LegalizeEdges(won);
}

template <class Node, class Edge, class Facet>
std::vector<int> DelaunayMesher<Node, Edge, Facet>::OuterRing() const
{
    std::vector<int> nodes;
    for (int outer = 0; outer < kOuterNodes; ++outer) {
        for (const int node : this->NodeNodes(outer)) {
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
template <class Node, class Edge, class Facet>
bool DelaunayMesher<Node, Edge, Facet>::ClosePocketAt(int node, std::vector<int>& neighbors)
{
    const std::vector<int> ring = this->NodeNodes(node);
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
        if (from == to || Impl::Side(At(node), At(from), At(to)) <= 0) {
            continue;
        }
        bool closes = true;
        for (std::size_t k = start + 1; k < end && closes; ++k) {
            const int edge = this->FindEdge(node, at(k));
            closes = edge >= 0 && IsStrictlyFlippable(edge) && this->FlipEdge(edge, true);
        }
        if (closes) {
            neighbors = {from, to};
            return true;
        }
    }
    return false;
}

/// A flip leaves two triangles of positive area and makes no edge that exists.
template <class Node, class Edge, class Facet>
bool DelaunayMesher<Node, Edge, Facet>::IsStrictlyFlippable(int halfEdge) const
{
    const auto [a, b, c, d] = this->Diamond(halfEdge);
    return c >= 0 && d >= 0 && c != d && this->FindEdge(c, d) < 0 &&
           Impl::Side(At(d), At(c), At(a)) > 0 && Impl::Side(At(c), At(d), At(b)) > 0;
}

// Lawson's flips among the input points. They end by themselves but for rounding on circles, hence
// the cap.
template <class Node, class Edge, class Facet>
void DelaunayMesher<Node, Edge, Facet>::LegalizeEdges(std::vector<int>& halfEdges)
{
    constexpr int kFlipsPerEdge = 16;
    for (int flips = kFlipsPerEdge * this->EdgeCount(); !halfEdges.empty() && flips > 0;) {
        const int edge = halfEdges.back();
        halfEdges.pop_back();
        const std::array<int, 4> quad = this->Diamond(edge);
        if (!this->IsValidEdge(edge) || this->IsEdgeLocked(edge) ||
            std::any_of(quad.begin(), quad.end(), IsOuter) ||
            IsLocallyDelaunay(edge, flipTolerance) || !IsConvexQuad(edge)) {
            continue;
        }
        const std::array<int, 4> sides{EdgeAt(edge).next, EdgeAt(edge).prev,
                                       EdgeAt(Twin(edge)).next, EdgeAt(Twin(edge)).prev};
        if (this->FlipEdge(edge, true)) {
            halfEdges.insert(halfEdges.end(), sides.begin(), sides.end());
            --flips;
        }
    }
}

} // namespace Velk::Math::Sorvane::HalfEdge
