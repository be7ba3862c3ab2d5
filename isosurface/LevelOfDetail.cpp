// The lattices and their masks. A triangle in conflict has exactly two edges in conflict, and a
// triangle beside an edge in conflict is in conflict itself. So each triangle of the lattice is cut
// by itself, from its three bits; only style 1 looks across an edge. The result is that of
// splitting faces at their centroids, then splitting and turning edges one by one in ascending
// order of their nodes.

#include <Sorvane/LevelOfDetail_E.h>
#include <Velk/Math/Vector_E.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <numbers>
#include <utility>

namespace Velk::Math::Sorvane::Mesh::LOD {

namespace {

constexpr double kWeldTolerance = 1e-12;
constexpr int kNone = -1;

using Point = VecBase<2, double>;
using Corners = std::array<int, 3>;

constexpr unsigned int Clamped(unsigned int level) { return std::min(level, kLevelCount - 1); }

constexpr unsigned int NodesOf(unsigned int level) { return (level + 2) * (level + 3) / 2; }

constexpr unsigned int kMostNodes = NodesOf(kLevelCount - 1);
constexpr unsigned int kMostTriangles = kLevelCount * kLevelCount;
constexpr unsigned int kMostEdges = 3 * kLevelCount * (kLevelCount + 1) / 2;

/// An edge of a lattice, from its lower node to its higher one.
struct LatticeEdge {
    int low = 0;
    int high = 0;
    std::array<int, 2> triangles = {kNone, kNone};
};

struct Lattice {
    std::vector<Point> xy;
    std::vector<Point> uv;
    std::vector<int> idx;
    std::vector<LatticeEdge> edges; // ascending by (low, high)
    std::vector<std::array<int, 3>>
        edgesOf; // for each triangle: edge k runs from its corner k to the next

    int TriangleCount() const { return static_cast<int>(edgesOf.size()); }
    Corners CornersOf(int triangle) const
    {
        const int* const first = idx.data() + std::ptrdiff_t{3} * triangle;
        return {first[0], first[1], first[2]};
    }
};

void AddNodes(Lattice& lattice, unsigned int parts)
{
    const double h = 1.0 / parts;
    const double rowHeight = std::sin(std::numbers::pi / 3);
    for (unsigned int j = 0; j <= parts; ++j) {
        for (unsigned int i = 0; i + j <= parts; ++i) {
            lattice.xy.push_back({i * h + j * h / 2, j * h * rowHeight});
        }
    }
    // Weights of the triangle without division. They come out within rounding of the exact ones,
    // and on the edges hosts compare them with 0.
    const Point corner0(0, 0);
    const Point corner1(1, 0);
    const Point corner2(0.5, rowHeight);
    for (const Point& node : lattice.xy) {
        double u = 0;
        double v = 0;
        double w = 0;
        Vector::BarycentricCoordinates(corner0, corner1, corner2, node, u, v, w, kWeldTolerance);
        const auto cleaned = [](double weight) {
            return std::abs(weight) <= kWeldTolerance ? 0.0 : weight;
        };
        lattice.uv.push_back({cleaned(u), cleaned(v)});
    }
}

void AddTriangles(Lattice& lattice, int parts)
{
    int row = 0; // first node of row j
    for (int j = 0; j < parts; ++j) {
        const int above = row + parts - j + 1;
        for (int i = 0; i + j < parts; ++i) {
            for (const int node : {row + i, row + i + 1, above + i}) {
                lattice.idx.push_back(node);
            }
            if (i + j + 1 < parts) {
                for (const int node : {row + i + 1, above + i + 1, above + i}) {
                    lattice.idx.push_back(node);
                }
            }
        }
        row = above;
    }
}

void AddEdges(Lattice& lattice)
{
    const int triangles = static_cast<int>(lattice.idx.size() / 3);
    lattice.edgesOf.resize(
        static_cast<std::size_t>(triangles)); // CornersOf and what counts need it
    const auto ends = [&](int triangle, std::size_t k) {
        const Corners corners = lattice.CornersOf(triangle);
        return std::minmax({corners[k], corners[(k + 1) % 3]});
    };
    for (int t = 0; t < triangles; ++t) {
        for (std::size_t k = 0; k < 3; ++k) {
            const auto [low, high] = ends(t, k);
            lattice.edges.push_back({low, high});
        }
    }
    const auto before = [](const LatticeEdge& a, const LatticeEdge& b) {
        return a.low != b.low ? a.low < b.low : a.high < b.high;
    };
    std::sort(lattice.edges.begin(), lattice.edges.end(), before);
    const auto same = [](const LatticeEdge& a, const LatticeEdge& b) {
        return a.low == b.low && a.high == b.high;
    };
    lattice.edges.erase(std::unique(lattice.edges.begin(), lattice.edges.end(), same),
                        lattice.edges.end());
    for (int t = 0; t < triangles; ++t) {
        for (std::size_t k = 0; k < 3; ++k) {
            const auto [low, high] = ends(t, k);
            const auto edge = std::lower_bound(lattice.edges.begin(), lattice.edges.end(),
                                               LatticeEdge{low, high}, before);
            edge->triangles[edge->triangles[0] == kNone ? 0 : 1] = t;
            lattice.edgesOf[static_cast<std::size_t>(t)][k] =
                static_cast<int>(edge - lattice.edges.begin());
        }
    }
}

std::array<Lattice, kLevelCount> BuildLattices()
{
    std::array<Lattice, kLevelCount> lattices;
    for (unsigned int level = 0; level < kLevelCount; ++level) {
        AddNodes(lattices[level], level + 1);
        AddTriangles(lattices[level], static_cast<int>(level + 1));
        AddEdges(lattices[level]);
    }
    return lattices;
}

const Lattice& LatticeOf(unsigned int level)
{
    static const std::array<Lattice, kLevelCount> lattices = BuildLattices();
    return lattices[Clamped(level)];
}

bool IsConflict(const NodeMask& mask, const Corners& corners)
{
    const auto inside = [&](int node) { return mask.IsInside(static_cast<unsigned int>(node)); };
    return inside(corners[0]) != inside(corners[1]) || inside(corners[1]) != inside(corners[2]);
}

/// The tessellation of one mask: numbers of the new points, then the pieces of each triangle.
class Cutter {
public:
    Cutter(const NodeMask& mask, NodeMask::TessellationStyle style)
        : mask_(mask), lattice_(LatticeOf(mask.Level()))
    {
        result_.points = lattice_.uv;
        centroid_.fill(kNone);
        midpoint_.fill(kNone);
        if (style == NodeMask::Centroids || style == NodeMask::CentroidsAndMidpoints) {
            AddCentroids();
        }
        if (style <= NodeMask::CentroidsAndMidpoints) {
            AddMidpoints(style == NodeMask::Centroids);
        }
    }

    IndexedPointsBase<2, double> Result()
    {
        result_.indices.reserve(lattice_.idx.size() * 5); // a triangle has at most five pieces
        for (int t = 0; t < lattice_.TriangleCount(); ++t) {
            Cut(t);
        }
        return std::move(result_);
    }

private:
    void AddCentroids()
    {
        for (int t = 0; t < lattice_.TriangleCount(); ++t) {
            const Corners corners = lattice_.CornersOf(t);
            if (IsConflict(mask_, corners)) {
                centroid_[static_cast<std::size_t>(t)] =
                    AddPoint((At(corners[0]) + At(corners[1]) + At(corners[2])) / 3.0);
            }
        }
    }

    void AddMidpoints(bool onlyOnBoundary)
    {
        for (std::size_t e = 0; e < lattice_.edges.size(); ++e) {
            const LatticeEdge& edge = lattice_.edges[e];
            const bool isCut = !onlyOnBoundary || edge.triangles[1] == kNone;
            if (isCut && IsInside(edge.low) != IsInside(edge.high)) {
                midpoint_[e] = AddPoint((At(edge.low) + At(edge.high)) * 0.5);
            }
        }
    }

    void Cut(int triangle)
    {
        const Corners corners = lattice_.CornersOf(triangle);
        if (centroid_[static_cast<std::size_t>(triangle)] != kNone) {
            CutAroundCentroid(triangle, corners);
            return;
        }
        const std::array<int, 3>& edges = lattice_.edgesOf[static_cast<std::size_t>(triangle)];
        // The edge that is cut first: the lowest of the two that have a midpoint.
        std::size_t first = 3;
        for (std::size_t k = 0; k < 3; ++k) {
            if (Midpoint(edges[k]) != kNone && (first == 3 || edges[k] < edges[first])) {
                first = k;
            }
        }
        if (first == 3) {
            AddTriangle(corners[0], corners[1], corners[2]);
            return;
        }
        // p-q is cut at m and m joined to the apex o; then q-o or o-p is cut at n, and n is joined
        // to m.
        const int p = corners[first];
        const int q = corners[(first + 1) % 3];
        const int o = corners[(first + 2) % 3];
        const int m = Midpoint(edges[first]);
        if (const int n = Midpoint(edges[(first + 1) % 3]); n != kNone) {
            AddTriangle(p, m, o);
            AddTriangle(m, q, n);
            AddTriangle(m, n, o);
        } else {
            const int other = Midpoint(edges[(first + 2) % 3]);
            AddTriangle(m, q, o);
            AddTriangle(p, m, other);
            AddTriangle(m, o, other);
        }
    }

    void CutAroundCentroid(int triangle, const Corners& corners)
    {
        const int centroid = centroid_[static_cast<std::size_t>(triangle)];
        for (std::size_t k = 0; k < 3; ++k) {
            const int a = corners[k];
            const int b = corners[(k + 1) % 3];
            const int edge = lattice_.edgesOf[static_cast<std::size_t>(triangle)][k];
            if (const int m = Midpoint(edge); m != kNone) {
                AddTriangle(a, m, centroid);
                AddTriangle(m, b, centroid);
            } else if (IsInside(a) == IsInside(b)) {
                AddTriangle(a, b, centroid);
            } else {
                TurnEdge(triangle, edge, a, b);
            }
        }
    }

    /// The two triangles beside the edge a-b, with centroids c and d, become (a, d, c) and (b, c,
    /// d).
    void TurnEdge(int triangle, int edge, int a, int b)
    {
        const std::array<int, 2>& beside = lattice_.edges[static_cast<std::size_t>(edge)].triangles;
        if (triangle != beside[0]) {
            return; // was added with the other one
        }
        const int c = centroid_[static_cast<std::size_t>(beside[0])];
        const int d = centroid_[static_cast<std::size_t>(beside[1])];
        AddTriangle(a, d, c);
        AddTriangle(b, c, d);
    }

    bool IsInside(int node) const { return mask_.IsInside(static_cast<unsigned int>(node)); }
    const Point& At(int node) const { return lattice_.uv[static_cast<std::size_t>(node)]; }
    int Midpoint(int edge) const { return midpoint_[static_cast<std::size_t>(edge)]; }

    int AddPoint(const Point& point)
    {
        result_.points.push_back(point);
        return static_cast<int>(result_.points.size()) - 1;
    }

    void AddTriangle(int a, int b, int c)
    {
        result_.indices.push_back(a);
        result_.indices.push_back(b);
        result_.indices.push_back(c);
    }

    const NodeMask& mask_;
    const Lattice& lattice_;
    std::array<int, kMostTriangles> centroid_; // number of its point, or kNone
    std::array<int, kMostEdges> midpoint_;
    IndexedPointsBase<2, double> result_;
};

} // namespace

unsigned int NodeCount(unsigned int level) { return NodesOf(Clamped(level)); }

std::vector<VecBase<2, double>> TriangleXYs(unsigned int level) { return LatticeOf(level).xy; }

std::vector<VecBase<2, double>> TriangleUVs(unsigned int level) { return LatticeOf(level).uv; }

std::vector<int> TriangleIDXs(unsigned int level) { return LatticeOf(level).idx; }

unsigned int TriangleIDXsCount(unsigned int level)
{
    return 3 * (Clamped(level) + 1) * (Clamped(level) + 1);
}

NodeMask::NodeMask(unsigned int level, const std::vector<bool>& inside)
    : word(static_cast<unsigned long long>(Clamped(level)) << 61)
{
    const std::size_t nodes = std::min<std::size_t>(inside.size(), NodeCount(level));
    for (std::size_t i = 0; i < nodes; ++i) {
        word |= inside[i] ? 1ULL << i : 0ULL;
    }
}

bool NodeMask::IsInside(unsigned int node) const
{
    static_assert(kMostNodes < 61, "no node's bit reaches those of the level");
    return node < NodesOf(Level()) && (word >> node & 1ULL) != 0;
}

IndexedPointsBase<2, double> NodeMask::TessellateAll(TessellationStyle style) const
{
    return Cutter(*this, style).Result();
}

NodeMask::TessellationRegions NodeMask::Tessellate(TessellationStyle style) const
{
    const IndexedPointsBase<2, double> all = TessellateAll(style);
    // A new point, which has a number beyond those of the nodes, lies on the boundary of both
    // regions.
    const unsigned int nodes = NodeCount(Level());
    TriangleSoup<2, double> inside;
    TriangleSoup<2, double> outside;
    for (std::size_t first = 0; first < all.indices.size(); first += 3) {
        Triangle<2, double> triangle;
        bool holdsInside = false;
        bool holdsOutside = false;
        for (std::size_t k = 0; k < 3; ++k) {
            const auto point = static_cast<unsigned int>(all.indices[first + k]);
            triangle[k] = all.points[point];
            holdsInside = holdsInside || IsInside(point);
            holdsOutside = holdsOutside || (point < nodes && !IsInside(point));
        }
        if (holdsInside) {
            inside.push_back(triangle);
        }
        if (holdsOutside) {
            outside.push_back(triangle);
        }
    }
    return {IndexedPointsFromSoup(inside, true, kWeldTolerance),
            IndexedPointsFromSoup(outside, true, kWeldTolerance)};
}

IndexedPointsBase<2, double> NodeMask::TessellateConflicts() const
{
    const Lattice& lattice = LatticeOf(Level());
    IndexedPointsBase<2, double> conflicts;
    for (int t = 0; t < lattice.TriangleCount(); ++t) {
        const Corners corners = lattice.CornersOf(t);
        if (IsConflict(*this, corners)) {
            for (const int node : corners) {
                conflicts.points.push_back(lattice.uv[static_cast<std::size_t>(node)]);
            }
        }
    }
    if (!conflicts.points.empty()) {
        conflicts.indices = Vector::FilterForUniquenessAndIndex(conflicts.points, kWeldTolerance);
    }
    return conflicts;
}

} // namespace Velk::Math::Sorvane::Mesh::LOD
