// Lattices and node masks: tables against their definition, tessellations against the edits of a
// half-edge mesh that they stand for, and against what a cover of the triangle has to fulfill.

#include <Sorvane/HalfEdgeMesh_E.h>
#include <Sorvane/LevelOfDetail_E.h>

#include "tests/support/FailingAllocation.h"
#include "tests/support/TestSupport.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <latch>
#include <map>
#include <random>
#include <set>
#include <thread>
#include <utility>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Sorvane;
namespace LOD = Mesh::LOD;
using LOD::NodeMask;
using FlatMesh = Mesh::IndexedPointsBase<2, double>;
using Triple = std::array<int, 3>;

const std::array<NodeMask::TessellationStyle, 3> kStyles = {
    NodeMask::Midpoints, NodeMask::Centroids, NodeMask::CentroidsAndMidpoints};
constexpr auto kNoStyle = static_cast<NodeMask::TessellationStyle>(3);

NodeMask MaskOf(unsigned int level, unsigned long long bits)
{
    return NodeMask((static_cast<unsigned long long>(level) << 61) | bits);
}

/// Every mask of levels 0 to 2, and random ones above: single bits, their opposites, half and half.
std::vector<NodeMask> ManyMasks()
{
    std::vector<NodeMask> masks;
    for (unsigned int level = 0; level < 3; ++level) {
        for (unsigned long long bits = 0; bits < 1ULL << LOD::NodeCount(level); ++bits) {
            masks.push_back(MaskOf(level, bits));
        }
    }
    std::mt19937_64 random(11);
    for (unsigned int level = 3; level < 8; ++level) {
        const unsigned long long all = (1ULL << LOD::NodeCount(level)) - 1;
        for (int i = 0; i < 40; ++i) {
            const unsigned long long sparse = random() & random() & random();
            masks.push_back(MaskOf(level, random() & all));
            masks.push_back(MaskOf(level, sparse & all));
            masks.push_back(MaskOf(level, ~sparse & all));
        }
        masks.push_back(MaskOf(level, 0));
        masks.push_back(MaskOf(level, all));
    }
    return masks;
}

double DoubledArea(const Vec2d& a, const Vec2d& b, const Vec2d& c)
{
    return (b.x() - a.x()) * (c.y() - a.y()) - (b.y() - a.y()) * (c.x() - a.x());
}

/// The sum of the doubled areas; a triangle that is not counter-clockwise fails the test.
double DoubledArea(const FlatMesh& mesh)
{
    double sum = 0;
    for (std::size_t i = 0; i < mesh.indices.size(); i += 3) {
        const auto at = [&](std::size_t k) {
            return mesh.points[static_cast<std::size_t>(mesh.indices[i + k])];
        };
        const double area = DoubledArea(at(0), at(1), at(2));
        EXPECT_GT(area, 1e-4);
        sum += area;
    }
    return sum;
}

std::vector<Triple> TriplesOf(const std::vector<int>& indices)
{
    std::vector<Triple> triples;
    for (std::size_t i = 0; i < indices.size(); i += 3) {
        triples.push_back({indices[i], indices[i + 1], indices[i + 2]});
    }
    return triples;
}

/// Each triangle from its lowest number on, all of them sorted.
std::vector<Triple> Ordered(const std::vector<int>& indices)
{
    std::vector<Triple> triples = TriplesOf(indices);
    for (Triple& triple : triples) {
        std::rotate(triple.begin(), std::min_element(triple.begin(), triple.end()), triple.end());
    }
    std::sort(triples.begin(), triples.end());
    return triples;
}

class FlatHalfEdges : public HalfEdge::TriangleMesh<HalfEdge::HVertex<2, double>, HalfEdge::HEdge,
                                                    HalfEdge::HFace> {
public:
    using HMesh::NodeAt;
};

/// `TessellateAll` by edits of a half-edge mesh, one by one.
struct EditTwin {
    explicit EditTwin(const NodeMask& mask) : bits(LOD::NodeCount(mask.Level()))
    {
        for (std::size_t i = 0; i < bits.size(); ++i) {
            bits[i] = (mask.word >> i) & 1ULL;
        }
        uv = LOD::TriangleUVs(mask.Level());
        idx = TriplesOf(LOD::TriangleIDXs(mask.Level()));
        EXPECT_TRUE(mesh.LoadIndexedPoints(uv, LOD::TriangleIDXs(mask.Level()), [](int, int) {}));
    }

    void Run(unsigned int style)
    {
        std::set<int> conflictTriangles;
        std::set<std::pair<int, int>> conflictEdges;
        for (std::size_t t = 0; t < idx.size(); ++t) {
            for (std::size_t k = 0; k < 3; ++k) {
                const int a = idx[t][k];
                const int b = idx[t][(k + 1) % 3];
                if (bits[static_cast<std::size_t>(a)] != bits[static_cast<std::size_t>(b)]) {
                    conflictTriangles.insert(static_cast<int>(t));
                    conflictEdges.insert(std::minmax(a, b));
                }
            }
        }
        if (style == 1 || style == 2) {
            for (const int t : conflictTriangles) {
                const Triple& nodes = idx[static_cast<std::size_t>(t)];
                int node = -3;
                ASSERT_TRUE(mesh.SplitFace(t, node, true));
                mesh.NodeAt(node).position = (At(nodes[0]) + At(nodes[1]) + At(nodes[2])) / 3.0;
            }
        }
        for (const auto& [a, b] : conflictEdges) {
            if (style > 2) {
                break;
            }
            for (const int e : mesh.NodeEdges(a)) {
                if (EdgeOf(e ^ 1).node == b) {
                    const bool inner = EdgeOf(e).face >= 0 && EdgeOf(e ^ 1).face >= 0;
                    if (style == 1 && inner) {
                        ASSERT_TRUE(mesh.FlipEdge(e, true));
                        break;
                    }
                    int node = -3;
                    ASSERT_TRUE(mesh.SplitEdge(e, node, true, true));
                    mesh.NodeAt(node).position = (At(a) + At(b)) * 0.5;
                    break;
                }
            }
        }
    }

    const HalfEdge::HEdge& EdgeOf(int e) const { return mesh.Edges()[static_cast<std::size_t>(e)]; }
    const Vec2d& At(int node) const { return uv[static_cast<std::size_t>(node)]; }

    std::vector<bool> bits;
    std::vector<Vec2d> uv;
    std::vector<Triple> idx;
    FlatHalfEdges mesh;
};

// The first test of the program: afterwards the tables stand.
TEST(LevelOfDetailFirstUse, ByThreadsAtOnceBuildsOneTable)
{
    std::vector<std::vector<Vec2d>> tables(8);
    std::latch isReady(8);
    std::vector<std::thread> threads;
    for (std::vector<Vec2d>& table : tables) {
        threads.emplace_back([&] {
            isReady.arrive_and_wait();
            table = LOD::TriangleUVs(7);
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    for (const std::vector<Vec2d>& table : tables) {
        EXPECT_EQ(table.size(), 45U);
        EXPECT_EQ(table, LOD::TriangleUVs(7));
    }
}

TEST(LevelOfDetailTables, HaveTheNumbersOfNodesAndTriangles)
{
    const std::array<unsigned int, 8> nodes = {3, 6, 10, 15, 21, 28, 36, 45};
    for (unsigned int level = 0; level < 8; ++level) {
        EXPECT_EQ(LOD::NodeCount(level), nodes[level]);
        EXPECT_EQ(LOD::TriangleXYs(level).size(), nodes[level]);
        EXPECT_EQ(LOD::TriangleUVs(level).size(), nodes[level]);
        EXPECT_EQ(LOD::TriangleIDXs(level).size(), 3 * (level + 1) * (level + 1));
        EXPECT_EQ(LOD::TriangleIDXsCount(level), 3 * (level + 1) * (level + 1));
    }
    EXPECT_EQ(LOD::TriangleIDXsCount(0), 3U);
    for (unsigned int level = 1; level < 8; ++level) {
        EXPECT_EQ(LOD::NodeCount(level), LOD::NodeCount(level - 1) + 2 + level);
    }
}

TEST(LevelOfDetailTables, LevelNineIsLevelSeven)
{
    for (const unsigned int level : {8U, 9U, 0xffffffffU}) {
        EXPECT_EQ(LOD::TriangleUVs(level), LOD::TriangleUVs(7));
        EXPECT_EQ(LOD::TriangleXYs(level), LOD::TriangleXYs(7));
        EXPECT_EQ(LOD::TriangleIDXs(level), LOD::TriangleIDXs(7));
        EXPECT_EQ(LOD::TriangleIDXsCount(level), 192U);
        EXPECT_EQ(LOD::NodeCount(level), 45U);
    }
}

TEST(LevelOfDetailTables, NodesRunRowByRowInAnEquilateralTriangle)
{
    const std::vector<Vec2d> plain = LOD::TriangleXYs(0);
    EXPECT_EQ(plain[0], Vec2d(0, 0));
    EXPECT_EQ(plain[1], Vec2d(1, 0));
    EXPECT_EQ(plain[2].x(), 0.5);
    EXPECT_NEAR(plain[2].y(), std::sqrt(0.75), 1e-16);
    // Level 2: four nodes on the first row, then three, two and one; rows a third of the height
    // apart.
    const std::vector<Vec2d> xy = LOD::TriangleXYs(2);
    const std::array<Vec2d, 10> expected = {{{0, 0},
                                             {2 / 6., 0},
                                             {4 / 6., 0},
                                             {1, 0},
                                             {1 / 6., 1 / 3.},
                                             {3 / 6., 1 / 3.},
                                             {5 / 6., 1 / 3.},
                                             {2 / 6., 2 / 3.},
                                             {4 / 6., 2 / 3.},
                                             {3 / 6., 1}}};
    for (std::size_t i = 0; i < 10; ++i) {
        EXPECT_NEAR(xy[i].x(), expected[i].x(), 1e-15);
        EXPECT_NEAR(xy[i].y(), expected[i].y() * std::sqrt(0.75), 1e-15);
    }
}

TEST(LevelOfDetailTables, WeightsAreThoseOfCornersZeroAndOne)
{
    for (unsigned int level = 0; level < 8; ++level) {
        const std::vector<Vec2d> uv = LOD::TriangleUVs(level);
        const std::vector<Vec2d> xy = LOD::TriangleXYs(level);
        const double parts = level + 1;
        std::size_t node = 0;
        for (unsigned int j = 0; j <= level + 1; ++j) {
            for (unsigned int i = 0; i + j <= level + 1; ++i, ++node) {
                EXPECT_NEAR(uv[node].x(), (parts - i - j) / parts, 4e-16);
                EXPECT_NEAR(uv[node].y(), i / parts, 4e-16);
                EXPECT_EQ(uv[node].x() == 0, i + j == level + 1); // exactly
                EXPECT_EQ(uv[node].y() == 0, i == 0);
                EXPECT_FALSE(std::signbit(uv[node].x()));
                EXPECT_FALSE(std::signbit(uv[node].y()));
                // u a + v b + w c is the node in the plane, for the corners a, b and c.
                const double w = 1 - uv[node].x() - uv[node].y();
                EXPECT_NEAR(uv[node].y() * 1 + w * 0.5, xy[node].x(), 1e-15);
                EXPECT_NEAR(w * std::sqrt(0.75), xy[node].y(), 1e-15);
            }
        }
    }
}

TEST(LevelOfDetailTables, TrianglesAreDelaunayAndCounterClockwise)
{
    for (unsigned int level = 0; level < 8; ++level) {
        const std::vector<Vec2d> xy = LOD::TriangleXYs(level);
        const std::vector<Triple> triples = TriplesOf(LOD::TriangleIDXs(level));
        ASSERT_EQ(triples.size(), (level + 1) * (level + 1));
        const double h = 1.0 / (level + 1);
        std::set<Triple> different;
        for (const Triple& t : triples) {
            std::array<Vec2d, 3> p;
            for (std::size_t k = 0; k < 3; ++k) {
                p[k] = xy[static_cast<std::size_t>(t[k])];
            }
            EXPECT_NEAR(DoubledArea(p[0], p[1], p[2]), h * h * std::sqrt(0.75),
                        1e-14); // and positive
            const Vec2d center =
                (p[0] + p[1] + p[2]) / 3.0; // equilateral: of the circumcircle as well
            for (const Vec2d& q : xy) {
                EXPECT_GT(std::hypot(q.x() - center.x(), q.y() - center.y()),
                          h / std::sqrt(3.0) - 1e-14);
            }
            Triple sorted = t;
            std::sort(sorted.begin(), sorted.end());
            different.insert(sorted);
        }
        EXPECT_EQ(different.size(), triples.size());
    }
}

TEST(NodeMaskBits, TopThreeAreTheLevelAndThoseBetweenAreNothing)
{
    static_assert(sizeof(NodeMask) == sizeof(unsigned long long));
    EXPECT_EQ(NodeMask().Level(), 0U);
    EXPECT_EQ(NodeMask(~0ULL).Level(), 7U);
    EXPECT_EQ(NodeMask(0x2000000000000000ULL).Level(), 1U);
    EXPECT_EQ(NodeMask(0x1fffffffffffffffULL).Level(), 0U);
    const NodeMask mask = MaskOf(1, 1ULL << 5 | 1ULL << 6 | 1ULL << 60);
    for (unsigned int i = 0; i < 100; ++i) {
        EXPECT_EQ(mask.IsInside(i), i == 5) << i;
    }
}

TEST(NodeMaskBits, AtOrAboveTheNodesAreIgnored)
{
    for (unsigned int level = 0; level < 8; ++level) {
        const unsigned long long between = (1ULL << 61) - (1ULL << LOD::NodeCount(level));
        const NodeMask plain = MaskOf(level, 6);
        const NodeMask noisy = MaskOf(level, 6 | between);
        for (const auto style : kStyles) {
            EXPECT_EQ(plain.TessellateAll(style), noisy.TessellateAll(style));
            EXPECT_EQ(plain.Tessellate(style).inside, noisy.Tessellate(style).inside);
        }
        EXPECT_EQ(plain.TessellateConflicts(), noisy.TessellateConflicts());
        EXPECT_TRUE(MaskOf(level, between).TessellateConflicts().indices.empty());
    }
}

TEST(NodeMaskBits, ListGivesTheSameMask)
{
    EXPECT_EQ(NodeMask(1, {false, true, false, false, false, true}).word, 0x2000000000000022ULL);
    EXPECT_EQ(NodeMask(0, {true}).word, 1ULL);
    EXPECT_EQ(NodeMask(0, std::vector<bool>(9, true)).word, 7ULL);
    EXPECT_EQ(NodeMask(12, std::vector<bool>(64, true)).word, (7ULL << 61) | ((1ULL << 45) - 1));
    EXPECT_EQ(NodeMask(7, {}).word, 7ULL << 61);
}

TEST(TessellateAll, IsWhatTheEditsOfAHalfEdgeMeshGive)
{
    for (const NodeMask& mask : ManyMasks()) {
        for (const unsigned int style : {0U, 1U, 2U, 3U, 77U}) {
            EditTwin twin(mask);
            ASSERT_NO_FATAL_FAILURE(twin.Run(style));
            const FlatMesh all =
                mask.TessellateAll(static_cast<NodeMask::TessellationStyle>(style));
            ASSERT_EQ(static_cast<int>(all.points.size()), twin.mesh.NodeCount())
                << std::hex << mask.word;
            for (int i = 0; i < twin.mesh.NodeCount(); ++i) {
                ASSERT_EQ(all.points[static_cast<std::size_t>(i)], twin.mesh.NodeAt(i).position);
            }
            std::vector<int> indices;
            for (int f = 0; f < twin.mesh.FaceCount(); ++f) {
                const std::vector<int> nodes = twin.mesh.FaceNodes(f);
                indices.insert(indices.end(), nodes.begin(), nodes.end());
            }
            ASSERT_EQ(Ordered(all.indices), Ordered(indices))
                << std::hex << mask.word << ' ' << style;
        }
    }
}

TEST(TessellateAll, CoversTheTriangleOnceWithoutAGap)
{
    for (const NodeMask& mask : ManyMasks()) {
        for (const auto style : kStyles) {
            const FlatMesh all = mask.TessellateAll(style);
            ASSERT_NEAR(DoubledArea(all), 1, 1e-13);
            std::map<std::pair<int, int>, int> uses; // of directed edges
            for (const Triple& t : TriplesOf(all.indices)) {
                for (std::size_t k = 0; k < 3; ++k) {
                    ++uses[{t[k], t[(k + 1) % 3]}];
                }
            }
            for (const auto& [edge, count] : uses) {
                ASSERT_EQ(count, 1);
                if (!uses.contains({edge.second, edge.first})) {
                    // On the patch's own edge: both ends have the same weight of 0, of whatever
                    // corner.
                    const Vec2d a = all.points[static_cast<std::size_t>(edge.first)];
                    const Vec2d b = all.points[static_cast<std::size_t>(edge.second)];
                    ASSERT_TRUE((a.x() == 0 && b.x() == 0) || (a.y() == 0 && b.y() == 0) ||
                                std::abs(a.x() + a.y() - 1) + std::abs(b.x() + b.y() - 1) < 1e-15);
                }
            }
        }
    }
}

TEST(TessellateAll, OneNodeInsideATriangleWithoutDivision)
{
    const NodeMask mask = MaskOf(0, 1);
    EXPECT_EQ(mask.TessellateAll(NodeMask::Midpoints).points,
              (std::vector<Vec2d>{{1, 0}, {0, 1}, {0, 0}, {0.5, 0.5}, {0.5, 0}}));
    EXPECT_EQ(Ordered(mask.TessellateAll(NodeMask::Midpoints).indices),
              (std::vector<Triple>{{0, 3, 4}, {1, 2, 3}, {2, 4, 3}}));
    // All edges are the patch's own, so style 1 can turn none and cuts them like style 2.
    const FlatMesh centroid = mask.TessellateAll(NodeMask::Centroids);
    EXPECT_EQ(centroid.points,
              (std::vector<Vec2d>{{1, 0}, {0, 1}, {0, 0}, {1 / 3., 1 / 3.}, {0.5, 0.5}, {0.5, 0}}));
    EXPECT_EQ(Ordered(centroid.indices),
              (std::vector<Triple>{{0, 3, 5}, {0, 4, 3}, {1, 2, 3}, {1, 3, 4}, {2, 5, 3}}));
    EXPECT_EQ(mask.TessellateAll(NodeMask::CentroidsAndMidpoints), centroid);
}

TEST(TessellateAll, StyleOneJoinsCentroidsAcrossEdges)
{
    // Level 1, the middle node of the first edge inside: its three triangles are in conflict.
    const FlatMesh all = MaskOf(1, 2).TessellateAll(NodeMask::Centroids);
    ASSERT_EQ(all.points.size(), 6U + 3 + 2); // three centroids, two midpoints on the patch's edge
    std::set<std::pair<int, int>> edges;
    for (const Triple& t : TriplesOf(all.indices)) {
        for (std::size_t k = 0; k < 3; ++k) {
            edges.insert(std::minmax(t[k], t[(k + 1) % 3]));
        }
    }
    EXPECT_TRUE(edges.contains({6, 7}));
    EXPECT_TRUE(edges.contains({7, 8}));
    EXPECT_FALSE(edges.contains({1, 3})); // turned
    EXPECT_FALSE(edges.contains({1, 4}));
}

TEST(TessellateAll, WithoutConflictOrAboveStyleTwoIsTheLattice)
{
    for (unsigned int level = 0; level < 8; ++level) {
        const FlatMesh lattice{LOD::TriangleUVs(level), LOD::TriangleIDXs(level)};
        for (const auto style : kStyles) {
            EXPECT_EQ(MaskOf(level, 0).TessellateAll(style), lattice);
            EXPECT_EQ(MaskOf(level, (1ULL << LOD::NodeCount(level)) - 1).TessellateAll(style),
                      lattice);
        }
        EXPECT_EQ(MaskOf(level, 5).TessellateAll(kNoStyle), lattice);
        EXPECT_EQ(
            MaskOf(level, 5).TessellateAll(static_cast<NodeMask::TessellationStyle>(0xffffffffU)),
            lattice);
    }
}

TEST(TessellateAll, NeighborsThatAgreeOnAnEdgeHaveTheSamePointsThere)
{
    // The first edge of a patch, run backward, beside that of its mirror image.
    const auto weightsOnFirstEdge = [](const FlatMesh& mesh) {
        std::vector<double> weights;
        for (const Vec2d& p : mesh.points) {
            if (std::abs(p.x() + p.y() - 1) < 1e-15) {
                weights.push_back(p.y());
            }
        }
        std::sort(weights.begin(), weights.end());
        return weights;
    };
    std::mt19937_64 random(5);
    for (int run = 0; run < 50; ++run) {
        const unsigned long long row =
            random() & 0xff; // the eight nodes of the first edge at level 6
        unsigned long long mirrored = 0;
        for (int i = 0; i < 8; ++i) {
            mirrored |= ((row >> i) & 1ULL) << (7 - i);
        }
        for (const auto style : kStyles) {
            const auto here = weightsOnFirstEdge(
                MaskOf(6, row | (random() & 0xfffffff00ULL)).TessellateAll(style));
            const auto there = weightsOnFirstEdge(
                MaskOf(6, mirrored | (random() & 0xfffffff00ULL)).TessellateAll(style));
            ASSERT_EQ(here.size(), there.size());
            for (std::size_t i = 0; i < here.size(); ++i) {
                EXPECT_NEAR(here[i], 1 - there[here.size() - 1 - i], 1e-15);
            }
        }
    }
}

TEST(Tessellate, RegionsPartitionTheTriangle)
{
    for (const NodeMask& mask : ManyMasks()) {
        for (const auto style : kStyles) {
            const NodeMask::TessellationRegions regions = mask.Tessellate(style);
            const double inside = DoubledArea(regions.inside);
            const double outside = DoubledArea(regions.outside);
            ASSERT_NEAR(inside + outside, 1, 1e-13);
            // No triangle of one region holds a node of the other, whose point stands alone.
            for (unsigned int i = 0; i < LOD::NodeCount(mask.Level()); ++i) {
                const Vec2d node = LOD::TriangleUVs(mask.Level())[i];
                const auto holds = [&](const FlatMesh& region) {
                    return std::any_of(region.points.begin(), region.points.end(),
                                       [&](const Vec2d& p) {
                                           return std::abs(p.x() - node.x()) < 1e-9 &&
                                                  std::abs(p.y() - node.y()) < 1e-9;
                                       });
                };
                ASSERT_EQ(holds(regions.inside), ((mask.word >> i) & 1ULL) == 1);
                ASSERT_EQ(holds(regions.outside), ((mask.word >> i) & 1ULL) == 0);
            }
            // All points are used, and none twice.
            for (const FlatMesh* region : {&regions.inside, &regions.outside}) {
                std::set<int> used(region->indices.begin(), region->indices.end());
                ASSERT_EQ(used.size(), region->points.size());
                std::vector<Vec2d> points = region->points;
                Vector::FilterForUniqueness(points, 1e-9);
                ASSERT_EQ(points.size(), region->points.size());
            }
        }
    }
}

TEST(Tessellate, AllNodesOrNoneGiveOneRegion)
{
    for (unsigned int level = 0; level < 8; ++level) {
        const unsigned long long all = (1ULL << LOD::NodeCount(level)) - 1;
        for (const auto style : {NodeMask::Midpoints, NodeMask::Centroids,
                                 NodeMask::CentroidsAndMidpoints, kNoStyle}) {
            const auto full = MaskOf(level, all).Tessellate(style);
            EXPECT_NEAR(DoubledArea(full.inside), 1, 1e-13);
            EXPECT_EQ(full.inside.indices.size(), LOD::TriangleIDXsCount(level));
            EXPECT_TRUE(full.outside.points.empty() && full.outside.indices.empty());
            const auto empty = MaskOf(level, 0).Tessellate(style);
            EXPECT_EQ(empty.outside, full.inside);
            EXPECT_TRUE(empty.inside.points.empty() && empty.inside.indices.empty());
        }
    }
}

TEST(Tessellate, OppositeMasksExchangeTheRegions)
{
    for (const NodeMask& mask : ManyMasks()) {
        const NodeMask opposite(mask.word ^ ((1ULL << LOD::NodeCount(mask.Level())) - 1));
        for (const auto style : kStyles) {
            const auto one = mask.Tessellate(style);
            const auto other = opposite.Tessellate(style);
            ASSERT_EQ(one.inside, other.outside);
            ASSERT_EQ(one.outside, other.inside);
        }
    }
}

TEST(Tessellate, AboveStyleTwoTrianglesInConflictGoToBoth)
{
    for (const NodeMask& mask : ManyMasks()) {
        const auto regions = mask.Tessellate(kNoStyle);
        const std::size_t both = regions.inside.indices.size() + regions.outside.indices.size();
        ASSERT_EQ(both,
                  LOD::TriangleIDXsCount(mask.Level()) + mask.TessellateConflicts().indices.size());
    }
}

TEST(TessellateConflicts, IsTheTrianglesWithBothBitsInTheirOrder)
{
    for (const NodeMask& mask : ManyMasks()) {
        const std::vector<Vec2d> uv = LOD::TriangleUVs(mask.Level());
        std::vector<std::array<Vec2d, 3>> expected;
        for (const Triple& t : TriplesOf(LOD::TriangleIDXs(mask.Level()))) {
            int inside = 0;
            std::array<Vec2d, 3> triangle;
            for (std::size_t k = 0; k < 3; ++k) {
                inside += static_cast<int>((mask.word >> t[k]) & 1ULL);
                triangle[k] = uv[static_cast<std::size_t>(t[k])];
            }
            if (inside == 1 || inside == 2) {
                expected.push_back(triangle);
            }
        }
        const FlatMesh conflicts = mask.TessellateConflicts();
        ASSERT_EQ(conflicts.indices.size(), 3 * expected.size());
        for (std::size_t i = 0; i < conflicts.indices.size(); ++i) {
            ASSERT_EQ(conflicts.points[static_cast<std::size_t>(conflicts.indices[i])],
                      expected[i / 3][i % 3]);
        }
        ASSERT_TRUE(std::is_sorted(conflicts.points.begin(), conflicts.points.end(),
                                   [](const Vec2d& a, const Vec2d& b) {
                                       return std::pair(a.x(), a.y()) < std::pair(b.x(), b.y());
                                   }));
        const std::set<int> used(conflicts.indices.begin(), conflicts.indices.end());
        ASSERT_EQ(used.size(), conflicts.points.size());
    }
}

TEST(TessellateConflicts, WithoutConflictIsEmpty)
{
    for (unsigned int level = 0; level < 8; ++level) {
        for (const unsigned long long bits : {0ULL, (1ULL << LOD::NodeCount(level)) - 1}) {
            const FlatMesh conflicts = MaskOf(level, bits).TessellateConflicts();
            EXPECT_TRUE(conflicts.points.empty());
            EXPECT_TRUE(conflicts.indices.empty());
        }
    }
}

TEST(NodeMaskWithoutMemory, PassesTheExceptionOn)
{
    const NodeMask mask = MaskOf(5, 0x155555);
    mask.TessellateAll(NodeMask::Midpoints); // the tables stand
    EXPECT_GT(Support::FailEachAllocationOfResult(
                  [&] { return mask.TessellateAll(NodeMask::Centroids); }),
              1U);
    EXPECT_GT(Support::FailEachAllocationOfResult([&] { return mask.TessellateConflicts(); }), 1U);
    EXPECT_GT(Support::FailEachAllocationOfResult(
                  [&] { return mask.Tessellate(NodeMask::Centroids).inside; }),
              2U);
}

} // namespace
