// The imprint: its mesh, and the two colors on either side of the imprinted paths.

#include <Sorvane/MeshImprint_E.h>

#include "imprint/MeshImprint_Impl.h"
#include "mathbase/Progress_Impl.h"

#include <cmath>
#include <cstddef>

namespace Velk::Math::Sorvane::Mesh {

namespace {

using Imprintable = Impl::ImprintableMesh<unsigned char>;

constexpr int kUnpainted = 0;
constexpr int kInside = 1;
constexpr int kOutside = 2;

/// The flood over a mesh. All the room that it takes is there before the mesh is changed.
class Painting {
public:
    explicit Painting(Imprintable& mesh)
        : mesh_(mesh), imprintedAt_(static_cast<std::size_t>(mesh.NodeCount())),
          isOfComponent_(static_cast<std::size_t>(mesh.FaceCount()), 0)
    {
        work_.reserve(static_cast<std::size_t>(mesh.FaceCount()));
        component_.reserve(static_cast<std::size_t>(mesh.FaceCount()));
        frontier_.reserve(static_cast<std::size_t>(mesh.EdgeCount()));
        reached_.reserve(static_cast<std::size_t>(mesh.EdgeCount()));
    }

    bool PaintAll();

private:
    /// Which edges bound regions.
    enum class Borders {
        Imprinted, ///< all that a path runs along
        Odd        ///< those along which an odd number of paths runs
    };

    const Impl::ImprintEdge& EdgeAt(int halfEdge) const
    {
        return mesh_.Edges()[static_cast<std::size_t>(halfEdge)];
    }
    Impl::ImprintFacet<unsigned char>& FacetAt(int facet) { return *mesh_.FaceRecord(facet); }
    int PaintBeside(int halfEdge) const
    {
        const int facet = EdgeAt(halfEdge).face;
        return facet < 0 ? kUnpainted : mesh_.Faces()[static_cast<std::size_t>(facet)].paint;
    }

    bool IsBorder(int halfEdge) const
    {
        return EdgeAt(halfEdge).imprinted == 1 &&
               (borders_ == Borders::Imprinted || EdgeAt(halfEdge).isOdd);
    }

    void ClearLooseEnds();
    void MarkPainted();
    bool FloodAll(Borders borders);
    void FloodFromSeed();
    void FloodOtherComponents();
    bool ChangesAcrossEveryBorder() const;
    void PaintMarked();
    bool IsSmaller(int node, int than) const;
    int Seed() const;
    int CollectComponent(int facet);
    void Paint(int facet, int color);
    void Flood(int color);
    void FloodInTurns();
    void CrossFrontier(int from, int to);

    Imprintable& mesh_;
    Borders borders_ = Borders::Imprinted;
    std::vector<int> imprintedAt_; // imprinted half-edges that leave each node
    std::vector<int> work_;        // facets painted whose neighbors have not been looked at
    std::vector<int> frontier_;    // imprinted half-edges that the flood has come to
    std::vector<int> reached_;
    std::vector<int> component_;      // facets of the component at hand
    std::vector<char> isOfComponent_; // of this one or one before
};

// A node with a single imprinted edge is the loose end of a curve, and bounds no region. Only such
// edges as have one now: what becomes a loose end by that stays.
void Painting::ClearLooseEnds()
{
    for (int e = 0; e < mesh_.EdgeCount(); ++e) {
        if (mesh_.IsValidEdge(e) && EdgeAt(e).imprinted == 1) {
            ++imprintedAt_[static_cast<std::size_t>(EdgeAt(e).node)];
        }
    }
    for (int e = 0; e < mesh_.EdgeCount(); ++e) {
        if (mesh_.IsValidEdge(e) && EdgeAt(e).imprinted == 1 &&
            imprintedAt_[static_cast<std::size_t>(EdgeAt(e).node)] == 1) {
            // Of one that is loose at both ends the other half has been cleared by its twin.
            mesh_.EdgeRecord(e)->imprinted = 0;
            mesh_.EdgeRecord(e ^ 1)->imprinted = 0;
        }
    }
}

void Painting::MarkPainted()
{
    for (int f = 0; f < mesh_.FaceCount(); ++f) {
        if (mesh_.IsValidFace(f)) {
            FacetAt(f).marked = FacetAt(f).paint != kUnpainted;
        }
    }
}

// Colors all from the seeds; true when the color changes across every border.
bool Painting::FloodAll(Borders borders)
{
    borders_ = borders;
    for (int f = 0; f < mesh_.FaceCount(); ++f) {
        if (mesh_.IsValidFace(f)) {
            FacetAt(f).paint = kUnpainted;
        }
    }
    isOfComponent_.assign(isOfComponent_.size(), 0);
    FloodFromSeed();
    FloodOtherComponents();
    return ChangesAcrossEveryBorder();
}

// Two loops that have an edge in common, as two pockets with a common wall or two outlines that
// come so near to each other that both snap to one node after the other, leave three borders in the
// nodes at its ends, and no two colors can change across each of them. There the number of paths
// decides: across two of them the color stays. A path that only repeats edges of others would take
// them away like that, which nobody means by it, so that with one of those nothing is counted.
bool Painting::PaintAll()
{
    ClearLooseEnds();
    MarkPainted();
    bool changes = FloodAll(Borders::Imprinted);
    if (!changes && !mesh_.HasRepeatedPath()) {
        changes = FloodAll(Borders::Odd);
        if (!changes) {
            FloodAll(Borders::Imprinted);
        }
    }
    PaintMarked();
    return changes;
}

// By x, then y, then z. Coordinates within the floor of each other are equal, which is no order:
// the first that is not beaten stays.
bool Painting::IsSmaller(int node, int than) const
{
    const Vec3d& a = mesh_.Nodes()[static_cast<std::size_t>(node)].position;
    const Vec3d& b = mesh_.Nodes()[static_cast<std::size_t>(than)].position;
    for (int i = 0; i < 3; ++i) {
        if (!(std::fabs(a[i] - b[i]) <= kLengthFloor<double>)) {
            return a[i] < b[i];
        }
    }
    return false;
}

// The smallest node: on a closed body it is on the outer surface.
int Painting::Seed() const
{
    int seed = HalfEdge::kNoNode;
    for (int n = 0; n < mesh_.NodeCount(); ++n) {
        const Impl::ImprintNode& node = mesh_.Nodes()[static_cast<std::size_t>(n)];
        if (!node.IsInvalid() && mesh_.IsValidEdge(node.edge) && (seed < 0 || IsSmaller(n, seed))) {
            seed = n;
        }
    }
    return seed;
}

void Painting::Paint(int facet, int color)
{
    FacetAt(facet).paint = color;
    work_.push_back(facet);
}

// Paints all that is reached from the facets on the stack without crossing an imprinted edge.
void Painting::Flood(int color)
{
    while (!work_.empty()) {
        const int facet = work_.back();
        work_.pop_back();
        int halfEdge = FacetAt(facet).edge;
        for (int k = 0; k < 3; ++k) {
            const int beyond = EdgeAt(halfEdge ^ 1).face;
            if (IsBorder(halfEdge)) {
                reached_.push_back(halfEdge);
            } else if (beyond >= 0 && FacetAt(beyond).paint == kUnpainted) {
                Paint(beyond, color);
            }
            halfEdge = EdgeAt(halfEdge).next;
        }
    }
}

void Painting::CrossFrontier(int from, int to)
{
    for (const int halfEdge : frontier_) {
        for (const int h : {halfEdge, halfEdge ^ 1}) {
            const int beyond = EdgeAt(h ^ 1).face;
            if (PaintBeside(h) == from && beyond >= 0 && FacetAt(beyond).paint == kUnpainted) {
                Paint(beyond, to);
            }
        }
    }
    frontier_.clear();
}

void Painting::FloodFromSeed()
{
    const int seed = Seed();
    // Not by the node's ring: where several fans meet it shows one of them.
    for (int e = 0; e < mesh_.EdgeCount() && seed >= 0; ++e) {
        if (mesh_.IsValidEdge(e) && EdgeAt(e).node == seed && EdgeAt(e).face >= 0) {
            Paint(EdgeAt(e).face, kOutside);
        }
    }
    FloodInTurns();
}

// From the facets on the stack, which are outside, to all that edges lead to.
void Painting::FloodInTurns()
{
    int color = kOutside;
    int other = kInside;
    Flood(color);
    while (!reached_.empty()) {
        frontier_.swap(reached_);
        CrossFrontier(color, other);
        Flood(other);
        std::swap(color, other);
    }
}

// Lists the facets that edges lead to from one of them, imprinted or not, and tells the smallest of
// their nodes.
int Painting::CollectComponent(int facet)
{
    int smallest = HalfEdge::kNoNode;
    component_.clear();
    component_.push_back(facet);
    isOfComponent_[static_cast<std::size_t>(facet)] = 1;
    for (std::size_t i = 0; i < component_.size(); ++i) {
        int halfEdge = FacetAt(component_[i]).edge;
        for (int k = 0; k < 3; ++k) {
            const int node = EdgeAt(halfEdge).node;
            if (smallest < 0 || IsSmaller(node, smallest)) {
                smallest = node;
            }
            const int beyond = EdgeAt(halfEdge ^ 1).face;
            if (beyond >= 0 && isOfComponent_[static_cast<std::size_t>(beyond)] == 0) {
                isOfComponent_[static_cast<std::size_t>(beyond)] = 1;
                component_.push_back(beyond);
            }
            halfEdge = EdgeAt(halfEdge).next;
        }
    }
    return smallest;
}

// A body beside the one of the seed, with a path on it, has an outside of its own. Components
// without a path stay unpainted.
void Painting::FloodOtherComponents()
{
    for (int e = 0; e < mesh_.EdgeCount(); ++e) {
        if (!mesh_.IsValidEdge(e) || !IsBorder(e) || EdgeAt(e).face < 0 ||
            PaintBeside(e) != kUnpainted) {
            continue;
        }
        const int seed = CollectComponent(EdgeAt(e).face);
        for (const int facet : component_) {
            int halfEdge = FacetAt(facet).edge;
            for (int k = 0; k < 3; ++k) {
                if (EdgeAt(halfEdge).node == seed && FacetAt(facet).paint == kUnpainted) {
                    Paint(facet, kOutside);
                }
                halfEdge = EdgeAt(halfEdge).next;
            }
        }
        FloodInTurns();
    }
}

bool Painting::ChangesAcrossEveryBorder() const
{
    for (int e = 0; e + 1 < mesh_.EdgeCount(); e += 2) {
        if (mesh_.IsValidEdge(e) && IsBorder(e) && EdgeAt(e).face >= 0 && EdgeAt(e + 1).face >= 0 &&
            PaintBeside(e) == PaintBeside(e + 1)) {
            return false;
        }
    }
    return true;
}

void Painting::PaintMarked()
{
    for (int f = 0; f < mesh_.FaceCount(); ++f) {
        if (mesh_.IsValidFace(f) && FacetAt(f).marked) {
            FacetAt(f).paint = kOutside;
        }
    }
}

} // namespace

MeshImprint::MeshImprint(const IndexedPointsBase<3, double>& mesh,
                         const std::vector<unsigned char>& tags, double tolerance)
    : mesh_(Impl::TakenIn(mesh, tags, tolerance)), tolerance_(tolerance)
{
}

MeshImprint::MeshImprint(const IndexedPointsBase<3, double>& mesh, double tolerance)
    : MeshImprint(mesh, {}, tolerance)
{
}

MeshImprint::~MeshImprint() = default;

bool MeshImprint::ImprintPath(std::vector<VecBase<3, double>>& path, bool closed, bool collect)
{
    return Progress::Impl::Stoppable(
        [&]() -> bool { return Impl::ImprintPath(*mesh_, path, closed, collect); },
        [&] { return false; });
}

bool MeshImprint::PaintInsideOutside()
{
    return Progress::Impl::Stoppable([&]() -> bool { return Painting(*mesh_).PaintAll(); },
                                     [&] { return false; });
}

bool MeshImprint::Export(IndexedPointsBase<3, double>& mesh,
                         std::vector<unsigned char>& flags) const
{
    return Progress::Impl::Stoppable(
        [&]() -> bool {
            Impl::ExportFacets(*mesh_, mesh, flags);
            return true;
        },
        [&] {
            mesh = {};
            flags.clear();
            return false;
        });
}

bool MeshImprint::Export(IndexedPointsBase<3, double>& mesh, bool inner) const
{
    return Progress::Impl::Stoppable(
        [&]() -> bool {
            std::vector<unsigned char> flags;
            Impl::ExportFacets(*mesh_, mesh, flags);
            const unsigned char wanted = inner ? 0 : 1;
            std::size_t kept = 0;
            for (std::size_t t = 0; t < flags.size(); ++t) {
                for (std::size_t k = 0; k < 3 && flags[t] == wanted; ++k) {
                    mesh.indices[kept++] = mesh.indices[3 * t + k];
                }
            }
            mesh.indices.resize(kept);
            FilterForUniqueness(mesh, kLengthFloor<double>);
            return mesh.indices.size() >= 3;
        },
        [&] {
            mesh = {};
            return false;
        });
}

} // namespace Velk::Math::Sorvane::Mesh
