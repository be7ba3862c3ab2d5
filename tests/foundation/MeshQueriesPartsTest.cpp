// Mesh queries on real parts, against slow twins and the counts that come with the files.

#include <Sorvane/MeshQueries_E.h>

#include "tests/support/StlFile.h"
#include "tests/support/TestSupport.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace Velk::Math;
namespace Mesh = Sorvane::Mesh;

using Edge = std::pair<int, int>;

/// The end of the side that begins at place i of the indices.
int SideEnd(const std::vector<int>& indices, std::size_t i)
{
    return indices[i % 3 == 2 ? i - 2 : i + 1];
}

/// For each undirected edge the triangles that use it, ascending.
std::map<Edge, std::vector<int>> EdgeUsers(const std::vector<int>& indices)
{
    std::map<Edge, std::vector<int>> users;
    for (std::size_t i = 0; i < indices.size(); ++i) {
        users[std::minmax(indices[i], SideEnd(indices, i))].push_back(static_cast<int>(i / 3));
    }
    return users;
}

/// Edges that are run more than once in one direction.
int MisorientedEdges(const std::vector<int>& indices)
{
    std::map<Edge, int> runs;
    for (std::size_t i = 0; i < indices.size(); ++i) {
        ++runs[{indices[i], SideEnd(indices, i)}];
    }
    return static_cast<int>(
        std::count_if(runs.begin(), runs.end(), [](const auto& run) { return run.second > 1; }));
}

struct PartCase {
    const char* name;
    const char* file;
    std::size_t triangles;
    std::size_t points;
    std::size_t boundaryEdges;
};
void PrintTo(const PartCase& part, std::ostream* os) { *os << part.name; }

class MeshQueriesOnParts : public testing::TestWithParam<PartCase> {};

TEST_P(MeshQueriesOnParts, AgreeWithSlowTwinsAndKnownBoundary)
{
    const PartCase& part = GetParam();
    const auto file = Support::SharedData(part.file);
    SORVANE_NEED_DATA(file);
    const auto mesh = Support::WeldedStl<double>(file);
    ASSERT_EQ(mesh.indices.size(), 3 * part.triangles);
    ASSERT_EQ(mesh.points.size(), part.points);

    const auto users = EdgeUsers(mesh.indices);
    const auto neighbors = Mesh::NeighborFacets(mesh);
    std::set<Edge> boundary;
    std::vector<int> boundaryPlaces;
    std::vector<std::set<int>> rings(mesh.points.size());
    for (std::size_t i = 0; i < mesh.indices.size(); ++i) {
        const int from = mesh.indices[i];
        const int to = SideEnd(mesh.indices, i);
        // No part has an edge of more than two triangles, so the other user is the neighbor.
        const std::vector<int>& pair = users.at(std::minmax(from, to));
        ASSERT_LE(pair.size(), 2U);
        const int self = static_cast<int>(i / 3);
        const int other = pair.size() == 1 ? -1 : pair[0] + pair[1] - self;
        ASSERT_EQ(neighbors[i / 3][i % 3], other);
        if (other < 0) {
            boundary.emplace(from, to);
            boundaryPlaces.push_back(static_cast<int>(i));
        }
        rings[static_cast<std::size_t>(from)].insert(to);
        rings[static_cast<std::size_t>(to)].insert(from);
    }
    EXPECT_EQ(boundary.size(), part.boundaryEdges);
    EXPECT_EQ(Mesh::BoundaryEdges(mesh), std::vector<Edge>(boundary.begin(), boundary.end()));
    EXPECT_EQ(Mesh::BoundaryEdgeIndices(mesh), boundaryPlaces);
    EXPECT_EQ(Mesh::NodeRings(mesh), rings);
}

// The counts stand in the notes that come with the files.
INSTANTIATE_TEST_SUITE_P(
    Files, MeshQueriesOnParts,
    testing::Values(PartCase{"OctagonalPocket", "meshes_cad/octagonal_pocket.stl", 3262, 1658, 54},
                    PartCase{"AngleBlock", "meshes_cad/angle_block.STL", 704, 398, 166},
                    PartCase{"IdlerRiser", "meshes_cad/idler_riser.STL", 1572, 803, 44},
                    PartCase{"PlateWithHoles", "meshes_cad/plate_holes.STL", 1252, 618, 0},
                    PartCase{"LooseTriangles", "meshes_defective/soup.stl", 100, 300, 300},
                    PartCase{"Ctc05", "meshes_nist/nist_ctc_05_asme1_rd.stl", 15674, 7822, 4},
                    PartCase{"Nefertiti", "meshes_organic/nefertiti_lowres.stl", 70000, 35002, 0}),
    [](const auto& test) { return std::string(test.param.name); });

TEST(MatchNormalsOnParts, RealPartFromRandomlyTurnedTriangles)
{
    const auto file = Support::SharedData("meshes_cad/voron_z_joint_upper_x4.stl");
    SORVANE_NEED_DATA(file);
    const auto part = Support::WeldedStl<double>(file); // one closed, oriented component
    ASSERT_EQ(part.indices.size(), 3U * 26442);
    ASSERT_EQ(MisorientedEdges(part.indices), 0);
    auto mesh = part;
    EXPECT_FALSE(Mesh::MatchNormals(mesh));
    Support::Random random(29);
    for (std::size_t t = 0; t < part.indices.size() / 3; ++t) {
        if (random.Below(5) < 2) {
            std::swap(mesh.indices[3 * t + 1], mesh.indices[3 * t + 2]);
        }
    }
    EXPECT_TRUE(Mesh::MatchNormals(mesh));
    // Less than half was turned, so the part must come back; turning twice restores a triple.
    EXPECT_TRUE(mesh.indices == part.indices);
}

/// As they came from the tessellator: some of the triangles name a point twice.
struct DegenerateCase {
    const char* name;
    const char* file;
    std::size_t triangles;
    std::size_t degenerate; // told with the files
    int components;         // likewise, of the part without them
};
void PrintTo(const DegenerateCase& part, std::ostream* os) { *os << part.name; }

class MatchNormalsOnDegenerateParts : public testing::TestWithParam<DegenerateCase> {};

TEST_P(MatchNormalsOnDegenerateParts, SoundTrianglesAreThoseOfThePartWithoutTheOthers)
{
    const DegenerateCase& part = GetParam();
    const auto file = Support::SharedData(part.file);
    SORVANE_NEED_DATA(file);
    const auto whole = Support::WeldedStl<double>(file);
    ASSERT_EQ(whole.indices.size(), 3 * part.triangles);

    std::vector<std::size_t> sound;
    for (std::size_t t = 0; t < part.triangles; ++t) {
        const auto corner = whole.indices.begin() + static_cast<std::ptrdiff_t>(3 * t);
        if (std::set<int>(corner, corner + 3).size() == 3) {
            sound.push_back(t);
        }
    }
    ASSERT_EQ(part.triangles - sound.size(), part.degenerate);
    const auto soundOf = [&](const std::vector<int>& indices) {
        std::vector<int> corners;
        for (const std::size_t t : sound) {
            corners.insert(corners.end(), {indices[3 * t], indices[3 * t + 1], indices[3 * t + 2]});
        }
        return corners;
    };
    ASSERT_EQ(MisorientedEdges(soundOf(whole.indices)), 0);
    auto mesh = whole;
    EXPECT_FALSE(Mesh::MatchNormals(mesh)); // the part is wound well and nothing may be turned
    EXPECT_TRUE(mesh.indices == whole.indices);

    Support::Random random(31);
    for (const std::size_t t : sound) {
        if (random.Below(3) == 0) {
            std::swap(mesh.indices[3 * t + 1], mesh.indices[3 * t + 2]);
        }
    }
    auto without = mesh;
    without.indices = soundOf(mesh.indices);
    EXPECT_TRUE(Mesh::MatchNormals(mesh));
    EXPECT_TRUE(Mesh::MatchNormals(without));
    EXPECT_TRUE(soundOf(mesh.indices) == without.indices);
    if (part.components == 1) { // all of it is walked, and less than half was turned
        EXPECT_TRUE(mesh.indices == whole.indices);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Files, MatchNormalsOnDegenerateParts,
    testing::Values(DegenerateCase{"Ctc05", "with_degenerate/nist_ctc_05.stl", 15695, 21, 2},
                    DegenerateCase{"Ftc06", "with_degenerate/nist_ftc_06.stl", 15810, 8, 1}),
    [](const auto& test) { return std::string(test.param.name); });

TEST(CreaseAnglesOnParts, EdgesOfARealPartAgreeFromBothSides)
{
    const auto file = Support::SharedData("meshes_cad/plate_holes.STL");
    SORVANE_NEED_DATA(file);
    const auto mesh = Support::WeldedStl<double>(file); // closed, every edge of two triangles
    ASSERT_EQ(mesh.indices.size(), 3U * 1252);
    const auto angles = Mesh::CreaseAngles(mesh, false);
    const auto neighbors = Mesh::NeighborFacets(mesh);
    int rightAngles = 0;
    for (std::size_t t = 0; t < neighbors.size(); ++t) {
        for (std::size_t k = 0; k < 3; ++k) {
            const auto n = static_cast<std::size_t>(neighbors[t][k]);
            ASSERT_GE(angles[3 * t + k], 0.0);
            ASSERT_LE(angles[3 * t + k], kPi<double>);
            bool isShared = false;
            for (std::size_t j = 0; j < 3; ++j) {
                isShared = isShared || (neighbors[n][j] == static_cast<int>(t) &&
                                        angles[3 * n + j] == angles[3 * t + k]);
            }
            ASSERT_TRUE(isShared) << "triangle " << t << " edge " << k;
            rightAngles += std::abs(angles[3 * t + k] - kPi<double> / 2) < 1e-4 ? 1 : 0;
        }
    }
    EXPECT_GT(rightAngles, 100); // a plate: rims and hole edges are square
}

} // namespace
