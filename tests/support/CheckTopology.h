// CheckTopology: is a half-edge mesh sound? Looks at every record and at every reference between
// two.
#pragma once

#include <Sorvane/HalfEdgeMesh_E.h>

#include <ostream>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace Support {
namespace Topology {

template <class... Parts>
std::string Text(const Parts&... parts)
{
    std::string text;
    const auto append = [&](const auto& part) {
        if constexpr (std::is_integral_v<std::remove_cvref_t<decltype(part)>>) {
            text += std::to_string(part);
        } else {
            text += part;
        }
    };
    (append(parts), ...);
    return text;
}

template <class Mesh>
std::string CheckTwins(const Mesh& mesh)
{
    if (mesh.EdgeCount() % 2 != 0) {
        return "an odd number of half-edges";
    }
    for (int e = 0; e < mesh.EdgeCount(); ++e) {
        const auto* edge = mesh.EdgeRecord(e);
        const auto* twin = mesh.EdgeRecord(e ^ 1);
        if ((edge == nullptr) != (twin == nullptr)) {
            return Text("half-edge ", e, ": one of the pair is deleted, the other is not");
        }
        if (edge == nullptr) {
            continue;
        }
        if (edge->twin != (e ^ 1)) {
            return Text("half-edge ", e, ": twin is ", edge->twin);
        }
        if (mesh.NodeRecord(edge->node) == nullptr) {
            return Text("half-edge ", e, ": origin ", edge->node, " is no live node");
        }
        if (edge->node == twin->node) {
            return Text("half-edge ", e, ": both ends are node ", edge->node);
        }
    }
    return "";
}

template <class Mesh>
std::string CheckLinks(const Mesh& mesh)
{
    for (int e = 0; e < mesh.EdgeCount(); ++e) {
        const auto* edge = mesh.EdgeRecord(e);
        if (edge == nullptr) {
            continue;
        }
        if (edge->face != -1 && mesh.FaceRecord(edge->face) == nullptr) {
            return Text("half-edge ", e, ": face ", edge->face, " is no live face");
        }
        // A boundary that was never linked is legal; half a link is not.
        if (edge->face == -1 && edge->next == -2 && edge->prev == -2) {
            continue;
        }
        const auto* next = mesh.EdgeRecord(edge->next);
        const auto* prev = mesh.EdgeRecord(edge->prev);
        if (edge->face != -1 && (next == nullptr || prev == nullptr)) {
            return Text("half-edge ", e, ": next ", edge->next, ", prev ", edge->prev,
                        " of a face");
        }
        if ((next == nullptr && edge->next != -2) || (prev == nullptr && edge->prev != -2)) {
            return Text("half-edge ", e, ": next ", edge->next, " or prev ", edge->prev,
                        " is dead");
        }
        if (next != nullptr) {
            if (next->prev != e) {
                return Text("half-edge ", e, ": prev of next is ", next->prev);
            }
            if (next->face != edge->face) {
                return Text("half-edge ", e, ": next lies in face ", next->face);
            }
            if (next->node != mesh.EdgeRecord(e ^ 1)->node) {
                return Text("half-edge ", e, ": next begins at node ", next->node);
            }
        }
        if (prev != nullptr && prev->next != e) {
            return Text("half-edge ", e, ": next of prev is ", prev->next);
        }
    }
    return "";
}

template <class Mesh>
std::string CheckFaces(const Mesh& mesh)
{
    std::vector<int> sides(mesh.Faces().size(), 0);
    for (int e = 0; e < mesh.EdgeCount(); ++e) {
        const auto* edge = mesh.EdgeRecord(e);
        if (edge != nullptr && edge->face >= 0) {
            ++sides[static_cast<std::size_t>(edge->face)];
        }
    }
    for (int f = 0; f < mesh.FaceCount(); ++f) {
        const auto* face = mesh.FaceRecord(f);
        if (face == nullptr) {
            continue;
        }
        const auto* first = mesh.EdgeRecord(face->edge);
        if (first == nullptr || first->face != f) {
            return Text("face ", f, ": half-edge ", face->edge, " is not its own");
        }
        int count = 0;
        int current = face->edge;
        do {
            current = mesh.EdgeRecord(current)->next; // alive: the links were checked before
            ++count;
        } while (current != face->edge && count <= mesh.EdgeCount());
        if (count != sides[static_cast<std::size_t>(f)]) {
            return Text("face ", f, ": a loop of ", count, " half-edges, but ",
                        sides[static_cast<std::size_t>(f)], " name it");
        }
    }
    return "";
}

template <class Mesh>
std::string CheckNodes(const Mesh& mesh)
{
    std::vector<int> leaving(mesh.Nodes().size(), 0);
    for (int e = 0; e < mesh.EdgeCount(); ++e) {
        if (const auto* edge = mesh.EdgeRecord(e)) {
            ++leaving[static_cast<std::size_t>(edge->node)];
        }
    }
    for (int n = 0; n < mesh.NodeCount(); ++n) {
        const auto* node = mesh.NodeRecord(n);
        if (node == nullptr) {
            continue;
        }
        const auto* edge = mesh.EdgeRecord(node->edge);
        const int count = leaving[static_cast<std::size_t>(n)];
        if (mesh.Degree(n) != count) {
            return Text("node ", n, ": ", count, " half-edges leave it, but its degree is ",
                        mesh.Degree(n));
        }
        if (count > 0 && (edge == nullptr || edge->node != n)) {
            return Text("node ", n, ": half-edge ", node->edge, " does not leave it");
        }
        if (count == 0 && node->edge != -2) {
            return Text("node ", n, ": no half-edge leaves it, but it names ", node->edge);
        }
    }
    return "";
}

template <class Mesh>
std::string CheckNodePairs(const Mesh& mesh)
{
    std::size_t live = 0;
    for (int e = 0; e < mesh.EdgeCount(); ++e) {
        if (const auto* edge = mesh.EdgeRecord(e)) {
            ++live;
            const int destination = mesh.EdgeRecord(e ^ 1)->node;
            const int found = mesh.FindEdge(edge->node, destination);
            if (found != e) {
                return Text("half-edge ", e, " from ", edge->node, " to ", destination,
                            ": the node pair gives ", found);
            }
        }
    }
    if (2 * mesh.NodePairs().EdgeCount() != live) {
        return Text(2 * mesh.NodePairs().EdgeCount(), " node pairs for ", live, " half-edges");
    }
    return "";
}

// Every deleted record, and no other, stands on the free list, once.
template <class Records, class FreeList, class Subscript>
std::string CheckFreeList(const char* kind, const Records& records, const FreeList& freeList,
                          Subscript subscript)
{
    std::vector<int> timesFree(records.size(), 0);
    for (const auto& entry : freeList) {
        for (const int i : subscript(entry)) {
            if (i < 0 || static_cast<std::size_t>(i) >= records.size()) {
                return Text("free ", kind, " ", i, " is out of range");
            }
            ++timesFree[static_cast<std::size_t>(i)];
        }
    }
    for (std::size_t i = 0; i < records.size(); ++i) {
        if (timesFree[i] != (records[i].IsInvalid() ? 1 : 0)) {
            return Text(kind, " ", i, records[i].IsInvalid() ? " (deleted)" : " (live)", " is ",
                        timesFree[i], " times on the free list");
        }
    }
    return "";
}

template <class Mesh>
std::string CheckFreeLists(const Mesh& mesh)
{
    const auto itself = [](int i) { return std::vector<int>{i}; };
    const auto both = [](const std::pair<int, int>& pair) {
        return pair.first % 2 == 0 && pair.second == pair.first + 1
                   ? std::vector<int>{pair.first, pair.second}
                   : std::vector<int>{-1};
    };
    std::string fault = CheckFreeList("node", mesh.Nodes(), mesh.FreeNodes(), itself);
    if (fault.empty()) {
        fault = CheckFreeList("half-edge", mesh.Edges(), mesh.FreeEdges(), both);
    }
    return fault.empty() ? CheckFreeList("face", mesh.Faces(), mesh.FreeFaces(), itself) : fault;
}

} // namespace Topology

/// The first fault of a mesh in words; empty when it is sound:
/// - half-edges live and die in pairs, and each names its twin;
/// - next and prev are inverse, stay in one face and join end to end (an unlinked boundary may
/// pass);
/// - every face is one closed loop of exactly the half-edges that name it;
/// - a node with edges names a live half-edge that leaves it, one without names none, and its
/// degree is the number of live half-edges that leave it;
/// - the node pairs hold every live half-edge and nothing else;
/// - the free lists hold every deleted record once and nothing else.
template <class Mesh>
std::string CheckTopology(const Mesh& mesh)
{
    for (const auto check : {&Topology::CheckTwins<Mesh>, &Topology::CheckLinks<Mesh>,
                             &Topology::CheckFaces<Mesh>, &Topology::CheckNodes<Mesh>,
                             &Topology::CheckNodePairs<Mesh>, &Topology::CheckFreeLists<Mesh>}) {
        const std::string fault = check(mesh);
        if (!fault.empty()) {
            return fault;
        }
    }
    return "";
}

/// Counts of live records, and what follows from them.
struct TopologyCounts {
    int nodes = 0;
    int edges = 0; ///< pairs
    int faces = 0;
    int boundaryLoops = 0;

    int Euler() const { return nodes - edges + faces; }
    friend bool operator==(const TopologyCounts&, const TopologyCounts&) = default;
    friend std::ostream& operator<<(std::ostream& stream, const TopologyCounts& counts)
    {
        return stream << counts.nodes << " nodes, " << counts.edges << " edges, " << counts.faces
                      << " faces, " << counts.boundaryLoops << " boundary loops";
    }
};

/// Boundary loops are counted by following `next` over half-edges without a face; unlinked ones
/// count as no loop.
template <class Mesh>
TopologyCounts CountTopology(const Mesh& mesh)
{
    TopologyCounts counts;
    for (int n = 0; n < mesh.NodeCount(); ++n) {
        counts.nodes += mesh.IsValidNode(n) ? 1 : 0;
    }
    for (int f = 0; f < mesh.FaceCount(); ++f) {
        counts.faces += mesh.IsValidFace(f) ? 1 : 0;
    }
    std::vector<bool> isSeen(mesh.Edges().size(), false);
    for (int e = 0; e < mesh.EdgeCount(); ++e) {
        const auto* edge = mesh.EdgeRecord(e);
        counts.edges += edge != nullptr && e % 2 == 0 ? 1 : 0;
        if (edge == nullptr || edge->face != -1 || isSeen[static_cast<std::size_t>(e)]) {
            continue;
        }
        int current = e;
        while (current >= 0 && !isSeen[static_cast<std::size_t>(current)]) {
            isSeen[static_cast<std::size_t>(current)] = true;
            current = mesh.EdgeRecord(current)->next;
        }
        counts.boundaryLoops += current == e ? 1 : 0;
    }
    return counts;
}

/// All link fields of all records, deleted ones included, to see whether anything changed.
template <class Mesh>
std::vector<int> Fingerprint(const Mesh& mesh)
{
    std::vector<int> all;
    for (const auto& node : mesh.Nodes()) {
        all.push_back(node.edge);
    }
    for (const auto& edge : mesh.Edges()) {
        all.insert(all.end(), {edge.node, edge.twin, edge.next, edge.prev, edge.face});
    }
    for (const auto& face : mesh.Faces()) {
        all.push_back(face.edge);
    }
    return all;
}

} // namespace Support
