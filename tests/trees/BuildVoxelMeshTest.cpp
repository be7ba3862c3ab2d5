// Block meshes of octree cells: closed and outward for any set of cells, and equal, number by
// number, to the plain way of making them by floating-point welding and sorting all faces.

#include <Sorvane/MeshQueries_E.h>
#include <Sorvane/MortonCurve_E.h>
#include <Sorvane/TreeAddress_E.h>
#include <Velk/Math/Vector_E.h>

#include "tests/support/Rounds.h"
#include "tests/support/TestSupport.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <map>
#include <set>
#include <utility>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Sorvane::Tree;
namespace Mesh = Sorvane::Mesh;

using Code = unsigned long long;
using BlockMesh = Mesh::IndexedPointsBase<3, double>;
using Cell = std::array<int, 3>;

const Vec3d kOnes(1, 1, 1);
const Vec3d kZeros(0, 0, 0);

BlockMesh Build(const std::vector<Code>& codes, unsigned int depth, const Vec3d& scale = kOnes,
                const Vec3d& offset = kZeros)
{
    BlockMesh mesh{{{9, 9, 9}}, {7, 7, 7}}; // to be cleared
    BuildVoxelMesh(codes, scale, offset, depth, mesh.points, mesh.indices);
    return mesh;
}

Code CodeOf(const Cell& cell, unsigned int depth)
{
    const auto place = [&](int value) { return static_cast<unsigned int>(value) << (21 - depth); };
    return MortonCurve::Encode3D(place(cell[0]), place(cell[1]), place(cell[2]));
}

std::vector<Code> CodesOf(const std::set<Cell>& cells, unsigned int depth)
{
    std::vector<Code> codes;
    for (const Cell& cell : cells) {
        codes.push_back(CodeOf(cell, depth));
    }
    return codes;
}

std::set<Cell> RandomCells(Support::Random& random, int count, int side)
{
    std::set<Cell> cells;
    for (int i = 0; i < count; ++i) {
        cells.insert({random.Below(side), random.Below(side), random.Below(side)});
    }
    return cells;
}

// --- the plain way ------------------------------------------------------------------------------

struct Square {
    std::array<int, 4> winding;
    std::array<int, 4> sorted;
};

std::vector<Square> SquaresOf(const std::vector<Vec3d>& points,
                              const MatBase<8, 3, double>& corners, double tolerance)
{
    constexpr int kWindings[6][4] = {{2, 3, 1, 0}, {4, 5, 7, 6}, {0, 1, 5, 4},
                                     {3, 2, 6, 7}, {2, 0, 4, 6}, {1, 3, 7, 5}};
    std::vector<Square> squares;
    for (const auto& winding : kWindings) {
        Square square{};
        for (std::size_t k = 0; k < 4; ++k) {
            square.winding[k] =
                Vector::IndexInUniqueVector(points, corners.Row(winding[k]), tolerance);
        }
        square.sorted = square.winding;
        std::sort(square.sorted.begin(), square.sorted.end());
        squares.push_back(square);
    }
    return squares;
}

BlockMesh PlainBuild(std::vector<Code> codes, unsigned int depth, const Vec3d& scale,
                     const Vec3d& offset)
{
    if (depth < 21) {
        const unsigned int low = (21 - depth) * 3;
        for (Code& code : codes) {
            code = code >> low << low;
        }
    }
    std::sort(codes.begin(), codes.end());
    codes.erase(std::unique(codes.begin(), codes.end()), codes.end());
    const double tolerance = 1.0 / std::pow(2.0, depth) * 0.25;

    BlockMesh mesh;
    for (const Code code : codes) {
        for (int corner = 0; corner < 8; ++corner) {
            mesh.points.push_back(MortonCurve::SampleCell3D(code, depth).Row(corner));
        }
    }
    Vector::FilterForUniqueness(mesh.points, tolerance);
    std::map<std::array<int, 4>, std::vector<Square>> bySortedCorners;
    for (const Code code : codes) {
        for (const Square& square :
             SquaresOf(mesh.points, MortonCurve::SampleCell3D(code, depth), tolerance)) {
            bySortedCorners[square.sorted].push_back(square);
        }
    }
    for (Vec3d& point : mesh.points) {
        for (int axis = 0; axis < 3; ++axis) {
            point[axis] = point[axis] * scale[axis] + offset[axis];
        }
    }
    for (const auto& [sorted, squares] : bySortedCorners) {
        if (squares.size() == 1) {
            const auto& [a, b, c, d] = squares.front().winding;
            mesh.indices.insert(mesh.indices.end(), {a, b, c, a, c, d});
        }
    }
    return mesh;
}

TEST(VoxelMesh, EqualsThePlainWayForAnyCodes)
{
    Support::Random random(1);
    for (int trial = 0; trial < 300; ++trial) {
        // All depths and some beyond the last; crowded near both ends of the cube or anywhere.
        const auto depth = static_cast<unsigned int>(trial % 26);
        std::vector<Code> codes;
        const int count = 1 + random.Below(60);
        for (int i = 0; i < count; ++i) {
            const int kind = random.Below(4);
            Code code = random.Bits() >> 1U;
            if (kind < 2) {
                // A few cells of this depth at the origin or at the far corner.
                const unsigned int level = std::min(depth, 21U);
                code = (random.Bits() % 200U) << (3 * (21 - level)) & (~Code{0} >> 1U);
                code = kind == 0 ? code : ~code & (~Code{0} >> 1U);
            }
            codes.push_back(code);
        }
        const auto scale = random.Vector<3, double>(-5, 5);
        const auto offset = random.Vector<3, double>(-100, 100);
        ASSERT_EQ(Build(codes, depth, scale, offset), PlainBuild(codes, depth, scale, offset))
            << "trial " << trial << " depth " << depth;
    }
}

TEST(VoxelMesh, EqualsThePlainWayFarBeyondTheLastDepth)
{
    // 1 / 2^depth runs out of range: welding with tolerance 0.
    const std::vector<Code> codes{0, 1, 2, 7, 8, ~Code{0} >> 1U};
    for (const unsigned int depth : {60U, 1073U, 2000U, ~0U}) {
        EXPECT_EQ(Build(codes, depth), PlainBuild(codes, depth, kOnes, kZeros)) << depth;
        EXPECT_EQ(Build(codes, depth), Build(codes, 21)) << depth;
    }
}

TEST(VoxelMesh, CodesThatDifferAboveTheLevelsAreTwoCellsInOnePlace)
{
    // Their faces cancel each other; the corners stay.
    const Code stray = Code{1} << 63U;
    for (const unsigned int depth : {0U, 3U, 21U}) {
        const BlockMesh mesh = Build({0, stray}, depth);
        EXPECT_EQ(mesh, PlainBuild({0, stray}, depth, kOnes, kZeros));
        EXPECT_EQ(mesh.points.size(), 8U);
        EXPECT_TRUE(mesh.indices.empty());
    }
    // Cell 0 shares a face with both: there are three squares, and none stays.
    const std::vector<Code> three{stray | 1U, 1, 0, 2, 9};
    EXPECT_EQ(Build(three, 21), PlainBuild(three, 21, kOnes, kZeros));
    EXPECT_EQ(Build({stray | 1U, 1, 0}, 21).indices.size(), 6U * 5U);
}

// --- known by hand ------------------------------------------------------------------------------

TEST(VoxelMesh, OneCell)
{
    const BlockMesh mesh = Build({CodeOf({1, 2, 3}, 2)}, 2);
    ASSERT_EQ(mesh.points.size(), 8U);
    EXPECT_EQ(mesh.indices.size(), 3U * 12U);
    EXPECT_EQ(mesh.points.front(), Vec3d(0.25, 0.5, 0.75));
    EXPECT_EQ(mesh.points[1], Vec3d(0.25, 0.5, 1.0)); // z runs fastest in ascending order
    EXPECT_EQ(mesh.points.back(), Vec3d(0.5, 0.75, 1.0));
    for (const auto& neighbors : Mesh::NeighborFacets(mesh)) {
        for (const int neighbor : neighbors) {
            EXPECT_GE(neighbor, 0);
        }
    }
}

TEST(VoxelMesh, TwoCellsSideBySideShareOneFace)
{
    for (const Cell& beside : {Cell{1, 0, 0}, Cell{0, 1, 0}, Cell{0, 0, 1}}) {
        const BlockMesh mesh = Build(CodesOf({{0, 0, 0}, beside}, 4), 4);
        EXPECT_EQ(mesh.points.size(), 12U);
        EXPECT_EQ(mesh.indices.size(), 3U * 20U);
    }
}

TEST(VoxelMesh, BlockOfEightKeepsItsInnerPoint)
{
    std::set<Cell> block;
    for (int i = 0; i < 8; ++i) {
        block.insert({i & 1, i >> 1 & 1, i >> 2 & 1});
    }
    const BlockMesh mesh = Build(CodesOf(block, 3), 3);
    EXPECT_EQ(mesh.points.size(), 27U);
    EXPECT_EQ(mesh.indices.size(), 3U * 48U); // 24 squares
    const std::set<int> used(mesh.indices.begin(), mesh.indices.end());
    EXPECT_EQ(used.size(), 26U);
    EXPECT_EQ(used.count(13), 0U); // the center, in the middle of the order
    EXPECT_EQ(mesh.points[13], Vec3d(0.125, 0.125, 0.125));
}

TEST(VoxelMesh, CodesOfOneCellCountOnce)
{
    const std::vector<Code> same{0, 1, 7, 8, 63, 0};
    EXPECT_EQ(Build(same, 19), Build({0}, 19));
    EXPECT_EQ(Build({~Code{0} >> 1U, 0, 12345}, 0), Build({0}, 0)); // all of the cube
    EXPECT_NE(Build(same, 20), Build({0}, 20));
}

TEST(VoxelMesh, FullDepthTruncatesNothing)
{
    const BlockMesh mesh = Build({0, 1, 8}, 21);
    EXPECT_EQ(mesh.points.size(), 16U); // cells 0, 1 and 2 in a row along x
    EXPECT_EQ(mesh.points.back(), Vec3d(3 * 0x1p-21, 0x1p-21, 0x1p-21));
    EXPECT_EQ(Build({0, 1, 8}, 22), mesh);
}

TEST(VoxelMesh, NoCellsClearBothOutputs)
{
    const BlockMesh mesh = Build({}, 5);
    EXPECT_TRUE(mesh.points.empty());
    EXPECT_TRUE(mesh.indices.empty());
}

TEST(VoxelMesh, ScaleThenOffsetOnEachAxis)
{
    const BlockMesh mesh = Build({0}, 0, {2, 3, 4}, {10, 20, 30});
    EXPECT_EQ(mesh.points.front(), Vec3d(10, 20, 30));
    EXPECT_EQ(mesh.points.back(), Vec3d(12, 23, 34));
    const double inf = std::numeric_limits<double>::infinity();
    EXPECT_EQ(Build({0}, 0, {inf, 1, 1}).indices, mesh.indices); // geometry does not steer topology
}

// --- properties ---------------------------------------------------------------------------------

/// Volume enclosed, positive when the triangles run counter-clockwise seen from outside.
double SignedVolume(const BlockMesh& mesh)
{
    double volume = 0;
    for (std::size_t i = 0; i < mesh.indices.size(); i += 3) {
        const auto corner = [&](std::size_t k) -> const Vec3d& {
            return mesh.points[static_cast<std::size_t>(mesh.indices[i + k])];
        };
        volume += corner(0) * (corner(1) ^ corner(2)) / 6;
    }
    return volume;
}

/// Every triangle lies between a cell of the set, behind it, and a place without one, before it.
void CheckOutward(const BlockMesh& mesh, const std::set<Cell>& cells, unsigned int depth)
{
    const double edge = std::ldexp(1.0, -static_cast<int>(depth));
    const auto cellAt = [&](const Vec3d& point) {
        Cell cell{};
        for (int axis = 0; axis < 3; ++axis) {
            cell[static_cast<std::size_t>(axis)] = static_cast<int>(std::floor(point[axis] / edge));
        }
        return cells.count(cell) > 0;
    };
    for (std::size_t i = 0; i < mesh.indices.size(); i += 3) {
        const auto corner = [&](std::size_t k) -> const Vec3d& {
            return mesh.points[static_cast<std::size_t>(mesh.indices[i + k])];
        };
        const Vec3d center = (corner(0) + corner(1) + corner(2)) / 3.0;
        const Vec3d normal = (corner(1) - corner(0)) ^ (corner(2) - corner(0));
        ASSERT_DOUBLE_EQ(Length(normal), edge * edge); // half a square
        const Vec3d halfACell = normal * (0.5 / edge);
        ASSERT_TRUE(cellAt(center - halfACell));
        ASSERT_FALSE(cellAt(center + halfACell));
    }
}

/// Each edge is run as often one way as the other. Twice in all on a surface, four times where two
/// cells touch along it only; returns whether that happens.
bool CheckClosed(const BlockMesh& mesh)
{
    std::map<std::pair<int, int>, int> runs;
    for (std::size_t i = 0; i < mesh.indices.size(); ++i) {
        const std::size_t next = i % 3 == 2 ? i - 2 : i + 1;
        ++runs[{mesh.indices[i], mesh.indices[next]}];
    }
    bool touches = false;
    for (const auto& [edge, count] : runs) {
        const auto back = runs.find({edge.second, edge.first});
        EXPECT_NE(back, runs.end());
        EXPECT_EQ(back->second, count);
        EXPECT_LE(count, 2);
        touches = touches || count == 2;
    }
    return touches;
}

std::size_t OuterSquares(const std::set<Cell>& cells)
{
    std::size_t count = 0;
    for (const Cell& cell : cells) {
        for (std::size_t axis = 0; axis < 3; ++axis) {
            for (const int step : {-1, 1}) {
                Cell beside = cell;
                beside[axis] += step;
                count += 1 - cells.count(beside);
            }
        }
    }
    return count;
}

TEST(VoxelMesh, ClosedAndOutwardForAnySetOfCells)
{
    Support::Random random(2);
    int manifold = 0;
    for (int trial = 0; trial < 120; ++trial) {
        const auto depth = static_cast<unsigned int>(1 + trial % 6);
        const std::set<Cell> cells = RandomCells(random, 1 + random.Below(150), 1 << depth);
        const BlockMesh mesh = Build(CodesOf(cells, depth), depth);
        const double cellVolume = std::ldexp(1.0, -3 * static_cast<int>(depth));
        ASSERT_NEAR(SignedVolume(mesh), static_cast<double>(cells.size()) * cellVolume, 1e-12);
        ASSERT_EQ(mesh.indices.size(), 6 * OuterSquares(cells));
        CheckOutward(mesh, cells, depth);
        const bool touches = CheckClosed(mesh);
        manifold += touches ? 0 : 1;
        const auto neighbors = Mesh::NeighborFacets(mesh);
        for (std::size_t t = 0; t < neighbors.size(); ++t) {
            for (const int neighbor : neighbors[t]) {
                ASSERT_GE(neighbor, 0);
                const auto& back = neighbors[static_cast<std::size_t>(neighbor)];
                ASSERT_TRUE(touches ||
                            std::count(back.begin(), back.end(), static_cast<int>(t)) == 1);
            }
        }
    }
    EXPECT_GT(manifold, 5);
    EXPECT_LT(manifold, 115); // both kinds were there
}

TEST(VoxelMesh, CellsThatTouchAlongAnEdgeOrInACorner)
{
    const BlockMesh edge = Build(CodesOf({{0, 0, 0}, {1, 1, 0}}, 2), 2);
    EXPECT_EQ(edge.points.size(), 14U);
    EXPECT_TRUE(CheckClosed(edge));
    const BlockMesh corner = Build(CodesOf({{0, 0, 0}, {1, 1, 1}}, 2), 2);
    EXPECT_EQ(corner.points.size(), 15U);
    EXPECT_FALSE(CheckClosed(corner));
    EXPECT_EQ(corner.indices.size(), 3U * 24U);
}

TEST(VoxelMesh, NegativeScaleTurnsTheSurfaceInsideOut)
{
    Support::Random random(3);
    const std::vector<Code> codes = CodesOf(RandomCells(random, 40, 8), 3);
    const double volume = SignedVolume(Build(codes, 3));
    EXPECT_NEAR(SignedVolume(Build(codes, 3, {-1, 1, 1})), -volume, 1e-12);
    EXPECT_NEAR(SignedVolume(Build(codes, 3, {-1, -2, 1})), 2 * volume, 1e-12);
}

TEST(VoxelMesh, DigitalBall)
{
    // Cells whose center lies in the ball that touches the cube's faces.
    constexpr unsigned int kDepth = Support::FullOr(6U, 5U);
    constexpr int kCells = 1 << kDepth;
    constexpr double kRadius = kCells / 2.0;
    std::set<Cell> cells;
    for (int x = 0; x < kCells; ++x) {
        for (int y = 0; y < kCells; ++y) {
            for (int z = 0; z < kCells; ++z) {
                const Vec3d center =
                    Vec3d(x + 0.5, y + 0.5, z + 0.5) - Vec3d(kRadius, kRadius, kRadius);
                if (SquaredLength(center) <= kRadius * kRadius) {
                    cells.insert({x, y, z});
                }
            }
        }
    }
    const BlockMesh mesh = Build(CodesOf(cells, kDepth), kDepth, {kCells, kCells, kCells});
    EXPECT_NEAR(SignedVolume(mesh), static_cast<double>(cells.size()), 1e-6);
    EXPECT_EQ(mesh.indices.size(), 6 * OuterSquares(cells));
    EXPECT_TRUE(Mesh::BoundaryEdges(mesh).empty());
    // From each of the six directions the ball shows a disc of cells, of the area of a circle, give
    // or take.
    EXPECT_NEAR(static_cast<double>(OuterSquares(cells)), 6 * 3.14159 * kRadius * kRadius, 300);
}

} // namespace
