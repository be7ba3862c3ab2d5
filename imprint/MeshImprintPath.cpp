// A path cut into a mesh, and the mesh handed out, for the imprint and the tracer alike.

#include "imprint/MeshImprint_Impl.h"

#include <algorithm>
#include <cstddef>
#include <utility>

namespace Velk::Math::Sorvane::Mesh::Impl {

namespace {

/// Part of the tolerance within which nodes are one.
constexpr double kCollapseFraction = 0.5;
/// How often stretches of a path that are no edges are walked anew.
constexpr int kRepairRounds = 10;
/// Steps of a path within which a second run along an edge undoes the first.
constexpr std::size_t kNearSteps = 64;
/// Points of a path in one facet from which on they become nodes one after the other.
constexpr std::size_t kCrowd = 32;

/// The split history serves one path, however that ends.
template <class Tag>
struct HistoryOfOnePath {
    ImprintableMesh<Tag>& mesh;
    explicit HistoryOfOnePath(ImprintableMesh<Tag>& m) : mesh(m) {}
    HistoryOfOnePath(const HistoryOfOnePath&) = delete;
    HistoryOfOnePath& operator=(const HistoryOfOnePath&) = delete;
    ~HistoryOfOnePath() { mesh.ForgetSplits(); }
};

// Moves the points of a path that snap, and makes nodes of all that were found.
template <class Tag>
std::vector<MeshLocation> NodesOfPath(ImprintableMesh<Tag>& mesh, std::vector<MeshLocation> places,
                                      std::vector<Vec3d>& path)
{
    // First those inside facets. One whose facet has been cut for another point meanwhile is
    // located again, and may come to lie on an edge or a node then.
    for (MeshLocation& place : places) {
        if (place.IsInFacet()) {
            mesh.SplitFacetAtLocation(place);
        }
    }
    for (std::size_t i = 0; i < places.size(); ++i) {
        Progress::Impl::Check(0.1 * static_cast<double>(i) / static_cast<double>(places.size()));
        mesh.SplitAtLocation(places[i]);
        if (places[i].IsLocated()) {
            path[i] = places[i].point;
        }
    }
    return places;
}

// The path from node to node with all crossings. Each run of points that were found ends with an
// unset entry, across which nothing is ever joined.
template <class Tag>
std::vector<MeshLocation> Traced(ImprintableMesh<Tag>& mesh,
                                 const std::vector<MeshLocation>& places, bool closed)
{
    const std::size_t count = places.size();
    std::vector<MeshLocation> traced;
    std::vector<MeshLocation> run;
    for (std::size_t i = 0; i < count; ++i) {
        if (!places[i].IsLocated()) {
            continue;
        }
        run.clear();
        for (; i < count && places[i].IsLocated(); ++i) {
            run.push_back(places[i]);
        }
        if (i == count && closed && places.front().IsLocated()) {
            run.push_back(places.front());
        }
        const std::vector<MeshLocation> passed = mesh.TracePath(run, false);
        traced.insert(traced.end(), passed.begin(), passed.end());
        traced.push_back(run.back());
        traced.emplace_back();
    }
    return traced;
}

// Does a single facet hold a great many points?
bool IsCrowded(const std::vector<MeshLocation>& places)
{
    std::vector<int> facets;
    for (const MeshLocation& place : places) {
        if (place.IsInFacet()) {
            facets.push_back(place.facet);
        }
    }
    std::sort(facets.begin(), facets.end());
    for (std::size_t i = kCrowd; i < facets.size(); ++i) {
        if (facets[i] == facets[i - kCrowd]) {
            return true;
        }
    }
    return false;
}

// The same as both of the above, but each point becomes a node only when the path has come to it.
//
// Many nodes that lie in one facet before there are edges between them leave slivers from side to
// side of it: every step of a zigzag then crosses and cuts nearly all of them, and each cut makes
// more. Step by step the part of the facet that is still ahead stays whole.
template <class Tag>
std::vector<MeshLocation> TracedPointByPoint(ImprintableMesh<Tag>& mesh,
                                             std::vector<MeshLocation> places,
                                             std::vector<Vec3d>& path, bool closed)
{
    std::vector<MeshLocation> traced;
    const auto walk = [&](const MeshLocation& from, const MeshLocation& to) {
        const std::vector<MeshLocation> passed = mesh.TracePath({from, to}, false);
        traced.insert(traced.end(), passed.begin(), passed.end());
        traced.push_back(to);
    };
    for (std::size_t i = 0; i < places.size(); ++i) {
        Progress::Impl::Check(0.8 * static_cast<double>(i) / static_cast<double>(places.size()));
        if (!mesh.SplitFacetAtLocation(places[i])) {
            mesh.SplitAtLocation(places[i]);
        }
        if (!places[i].IsLocated()) {
            continue;
        }
        path[i] = places[i].point;
        if (i > 0 && places[i - 1].IsLocated()) {
            walk(places[i - 1], places[i]);
        } else {
            traced.emplace_back();
            traced.push_back(places[i]);
        }
    }
    if (closed && places.size() > 1 && places.back().IsLocated() && places.front().IsLocated()) {
        walk(places.back(), places.front());
    }
    traced.emplace_back();
    return traced;
}

template <class Tag>
void FollowReplacements(const ImprintableMesh<Tag>& mesh, const NodeReplacements& replaced,
                        std::vector<MeshLocation>& traced)
{
    if (replaced.empty()) {
        return;
    }
    for (MeshLocation& place : traced) {
        const auto found = place.IsOnNode() ? replaced.find(place.node) : replaced.end();
        if (found != replaced.end()) {
            place.node = found->second;
            place.point = mesh.GetVertex(place.node);
        }
    }
}

template <class Tag>
bool IsEdge(const ImprintableMesh<Tag>& mesh, int from, int to)
{
    const int edge = mesh.FindEdge(from, to);
    return mesh.IsValidEdge(edge) && mesh.IsValidEdge(edge ^ 1);
}

// Joins neighbors that no edge joins, because a later step has crossed the earlier one, or a walk
// came to no end, by a walk of their own, put in between them. True when there were any.
template <class Tag>
bool MendPath(ImprintableMesh<Tag>& mesh, std::vector<MeshLocation>& traced)
{
    std::vector<MeshLocation> mended;
    mended.reserve(traced.size());
    bool isBroken = false;
    for (std::size_t i = 0; i < traced.size(); ++i) {
        mended.push_back(traced[i]);
        if (i + 1 == traced.size() || !traced[i].IsOnNode() || !traced[i + 1].IsOnNode()) {
            continue;
        }
        const MeshLocation& from = traced[i];
        const MeshLocation& to = traced[i + 1];
        if (from.node == to.node) {
            mended.pop_back();
        } else if (!IsEdge(mesh, from.node, to.node)) {
            isBroken = true;
            const std::vector<MeshLocation> passed = mesh.TracePath({from, to}, false);
            mended.insert(mended.end(), passed.begin(), passed.end());
        }
    }
    traced.swap(mended);
    return isBroken;
}

// Appends the edges of one stretch of the path, given by its nodes, but for those that it runs twice
// within a few steps: they bound no region.
//
// A path comes to that where triangles are long and thin and its points close together. A crossing
// moves to a node from as far as 0.5 percent of the edge, which may be many steps of the path: it
// goes to the node and back, or ahead to a point of its own and passes there again. Steps far apart
// are something else: a loop whose end overlaps its beginning is one loop all the same.
template <class Tag>
void AppendStretch(const ImprintableMesh<Tag>& mesh, const std::vector<int>& nodes,
                   std::vector<int>& edges)
{
    const std::size_t steps = nodes.empty() ? 0 : nodes.size() - 1;
    const std::size_t few = std::min(kNearSteps, steps / 3 + 1);
    const bool isLoop = steps > 0 && nodes.front() == nodes.back();
    std::vector<std::pair<int, std::size_t>> runs; // edge and step
    runs.reserve(steps);
    for (std::size_t i = 0; i < steps; ++i) {
        runs.emplace_back(mesh.FindEdge(nodes[i], nodes[i + 1]) & ~1, i);
    }
    std::sort(runs.begin(), runs.end());
    std::vector<std::size_t> left; // steps along one edge that are not undone by a later one
    for (std::size_t first = 0; first < steps;) {
        const int edge = runs[first].first;
        left.clear();
        for (; first < steps && runs[first].first == edge; ++first) {
            const std::size_t step = runs[first].second;
            if (!left.empty() && step - left.back() <= few) {
                left.pop_back();
            } else {
                left.push_back(step);
            }
        }
        if (isLoop && left.size() > 1 && left.front() + steps - left.back() <= few) {
            left.erase(left.begin());
            left.pop_back();
        }
        if (!left.empty()) {
            edges.push_back(edge);
        }
    }
}

template <class Tag>
void MarkPath(ImprintableMesh<Tag>& mesh, const std::vector<MeshLocation>& traced)
{
    std::vector<int> edges;
    std::vector<int> stretch;
    for (const MeshLocation& place : traced) {
        const bool goesOn =
            !stretch.empty() && place.IsOnNode() &&
            (place.node == stretch.back() || IsEdge(mesh, stretch.back(), place.node));
        if (!goesOn) {
            AppendStretch(mesh, stretch, edges);
            stretch.clear();
        }
        if (place.IsOnNode() && (stretch.empty() || stretch.back() != place.node)) {
            stretch.push_back(place.node);
        }
    }
    AppendStretch(mesh, stretch, edges);
    std::sort(edges.begin(), edges.end());
    edges.erase(std::unique(edges.begin(), edges.end()), edges.end());

    bool isNew = edges.empty();
    for (const int edge : edges) {
        isNew = isNew || mesh.EdgeRecord(edge)->imprinted != 1;
        for (const int halfEdge : {edge, edge ^ 1}) {
            ImprintEdge& record = *mesh.EdgeRecord(halfEdge);
            record.imprinted = 1;
            record.isOdd = !record.isOdd;
        }
    }
    if (!isNew) {
        mesh.NoteRepeatedPath();
    }
}

} // namespace

template <class Tag>
bool ImprintPath(ImprintableMesh<Tag>& mesh, std::vector<Vec3d>& path, bool closed, bool collect)
{
    if (path.size() < 3) {
        return false;
    }
    mesh.BuildSearchTree();
    const HistoryOfOnePath<Tag> history(mesh);
    std::vector<MeshLocation> places = mesh.LocatePath(path);
    std::vector<MeshLocation> traced =
        IsCrowded(places) ? TracedPointByPoint(mesh, std::move(places), path, closed)
                          : Traced(mesh, NodesOfPath(mesh, std::move(places), path), closed);

    const double shortest = mesh.Tolerance() * kCollapseFraction;
    NodeReplacements replaced;
    for (int round = 1; round <= kRepairRounds; ++round) {
        Progress::Impl::Check(0.8);
        mesh.CollapseShortEdges(shortest, replaced);
        FollowReplacements(mesh, replaced, traced);
        if (round == kRepairRounds || !MendPath(mesh, traced)) {
            break;
        }
    }
    MarkPath(mesh, traced);
    mesh.CollapseShortEdges(shortest, replaced);
    if (!collect) {
        return true;
    }

    FollowReplacements(mesh, replaced, traced);
    std::vector<Vec3d> collected;
    collected.reserve(traced.size());
    int last = MeshLocation::kNoNode;
    for (const MeshLocation& place : traced) {
        if (place.IsOnNode() && place.node != last && mesh.IsValidNode(place.node)) {
            last = place.node;
            collected.push_back(mesh.GetVertex(last));
        }
    }
    if (!collected.empty()) {
        path.swap(collected);
    }
    return true;
}

template <class Tag>
void ExportFacets(const ImprintableMesh<Tag>& mesh, IndexedPointsBase<3, double>& out,
                  std::vector<Tag>& flags)
{
    out.points.clear();
    out.indices.clear();
    flags.clear();
    const auto nodes = static_cast<std::size_t>(mesh.NodeCount());
    const auto facets = static_cast<std::size_t>(mesh.FaceCount());
    std::vector<int> pointOf(nodes, -1);
    out.points.reserve(nodes - mesh.FreeNodes().size());
    out.indices.reserve(3 * (facets - mesh.FreeFaces().size()));
    flags.reserve(facets - mesh.FreeFaces().size());
    for (std::size_t n = 0; n < nodes; ++n) {
        if (!mesh.Nodes()[n].IsInvalid()) {
            pointOf[n] = static_cast<int>(out.points.size());
            out.points.push_back(mesh.Nodes()[n].position);
        }
    }
    for (const ImprintFacet<Tag>& facet : mesh.Faces()) {
        if (facet.IsInvalid()) {
            continue;
        }
        int halfEdge = facet.edge;
        for (int k = 0; k < 3; ++k) {
            const ImprintEdge& edge = mesh.Edges()[static_cast<std::size_t>(halfEdge)];
            out.indices.push_back(pointOf[static_cast<std::size_t>(edge.node)]);
            halfEdge = edge.next;
        }
        flags.push_back(facet.paint != 1 ? 1 : 0);
    }
}

// clang-format off
template bool ImprintPath(ImprintableMesh<unsigned char>&, std::vector<Vec3d>&, bool, bool);
template bool ImprintPath(ImprintableMesh<unsigned long long>&, std::vector<Vec3d>&, bool, bool);
template void ExportFacets(const ImprintableMesh<unsigned char>&, IndexedPointsBase<3, double>&, std::vector<unsigned char>&);
template void ExportFacets(const ImprintableMesh<unsigned long long>&, IndexedPointsBase<3, double>&, std::vector<unsigned long long>&);
// clang-format on

} // namespace Velk::Math::Sorvane::Mesh::Impl
