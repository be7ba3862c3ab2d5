// Connected components of indexed meshes: by hand, against labels spread pair by pair until nothing
// changes, and against the counts that come with real parts.

#include <Sorvane/MeshQueries_E.h>

#include "tests/support/MeshGenerators.h"
#include "tests/support/Rounds.h"
#include "tests/support/StlFile.h"
#include "tests/support/TestSupport.h"

#include <algorithm>
#include <array>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace Velk::Math;
namespace Mesh = Sorvane::Mesh;
using Mesh::Connection;
using Lists = std::vector<std::vector<int>>;

template <int Dimension, class Scalar>
struct Form {
    using Indexed = Mesh::IndexedPointsBase<Dimension, Scalar>;
};

template <class F>
class ConnectedComponentsOf : public testing::Test {
};
using Forms = testing::Types<Form<2, float>, Form<2, double>, Form<3, float>, Form<3, double>>;
TYPED_TEST_SUITE(ConnectedComponentsOf, Forms);

// Two distinct points in common are an edge of both triangles.
Lists Slowly(const std::vector<int>& indices, Connection connection)
{
    const std::size_t count = indices.size() / 3;
    const auto corners = [&](std::size_t t) {
        return std::set<int>{indices[3 * t], indices[3 * t + 1], indices[3 * t + 2]};
    };
    std::vector<std::size_t> label(count);
    for (std::size_t t = 0; t < count; ++t) {
        label[t] = t;
    }
    const std::size_t needed = connection == Connection::SharedEdge ? 2 : 1;
    for (bool hasChanged = true; hasChanged;) {
        hasChanged = false;
        for (std::size_t a = 0; a < count; ++a) {
            for (std::size_t b = 0; b < count; ++b) {
                const std::set<int> ofA = corners(a);
                const std::set<int> ofB = corners(b);
                const auto common =
                    std::count_if(ofA.begin(), ofA.end(), [&](int n) { return ofB.count(n) != 0; });
                if (static_cast<std::size_t>(common) >= needed && label[b] < label[a]) {
                    label[a] = label[b];
                    hasChanged = true;
                }
            }
        }
    }
    std::map<std::size_t, std::vector<int>> members;
    for (std::size_t t = 0; t < count; ++t) {
        members[label[t]].push_back(static_cast<int>(t));
    }
    Lists lists;
    for (const auto& entry : members) {
        lists.push_back(entry.second);
    }
    return lists;
}

TYPED_TEST(ConnectedComponentsOf, EdgesAndPointsJoin)
{
    typename TypeParam::Indexed mesh;
    for (const Connection connection : {Connection::SharedEdge, Connection::SharedPoint}) {
        EXPECT_TRUE(Mesh::ConnectedComponents(mesh, connection).empty());
    }
    mesh.points.resize(9);
    // 0 and 2 on an edge run the same way, 1 by itself, 3 touches 0 and 2 in point 2.
    mesh.indices = {0, 1, 2, 6, 7, 8, 0, 1, 3, 2, 4, 5};
    EXPECT_EQ(Mesh::ConnectedComponents(mesh, Connection::SharedEdge), (Lists{{0, 2}, {1}, {3}}));
    EXPECT_EQ(Mesh::ConnectedComponents(mesh, Connection::SharedPoint), (Lists{{0, 2, 3}, {1}}));
    mesh.indices.insert(mesh.indices.end(), {4, 5}); // an incomplete triple is left out
    EXPECT_EQ(Mesh::ConnectedComponents(mesh, Connection::SharedEdge).size(), 3U);
    EXPECT_EQ(Mesh::ConnectedComponents(mesh, Connection::SharedPoint).size(), 2U);
}

TYPED_TEST(ConnectedComponentsOf, TriangleWithARepeatedPointJoinsNoOthers)
{
    typename TypeParam::Indexed mesh;
    mesh.points.resize(8);
    // 0 and 1 have only point 0 in common; 2 and 3 both have the side 0-0, which is no edge.
    mesh.indices = {0, 1, 2, 0, 3, 4, 0, 0, 1, 0, 0, 3, 0, 0, 0};
    EXPECT_EQ(Mesh::ConnectedComponents(mesh, Connection::SharedEdge),
              (Lists{{0, 2}, {1, 3}, {4}}));
    EXPECT_EQ(Mesh::ConnectedComponents(mesh, Connection::SharedPoint), (Lists{{0, 1, 2, 3, 4}}));
}

TYPED_TEST(ConnectedComponentsOf, RandomTriplesAgreeWithLabelsSpreadSlowly)
{
    for (std::uint64_t seed = 1; seed <= Support::Rounds(60U); ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        Support::Random random(seed);
        const int points = 5 + random.Below(60);
        typename TypeParam::Indexed mesh;
        mesh.points.resize(static_cast<std::size_t>(points));
        for (int i = 0; i < 90; ++i) {
            mesh.indices.push_back(random.Below(points));
        }
        for (const Connection connection : {Connection::SharedEdge, Connection::SharedPoint}) {
            EXPECT_EQ(Mesh::ConnectedComponents(mesh, connection),
                      Slowly(mesh.indices, connection));
        }
    }
}

struct PartCase {
    const char* name;
    const char* file;
    std::size_t components; // told with the files, which count bodies that touch in a point as one
};
void PrintTo(const PartCase& part, std::ostream* os) { *os << part.name; }

// A flood over a map from each edge to the triangles that have it.
std::size_t FloodedAcrossEdges(const std::vector<int>& indices)
{
    const std::size_t count = indices.size() / 3;
    std::map<std::pair<int, int>, std::vector<std::size_t>> users;
    const auto edge = [&](std::size_t t, std::size_t k) {
        return std::minmax(indices[3 * t + k], indices[3 * t + (k + 1) % 3]);
    };
    for (std::size_t t = 0; t < count; ++t) {
        for (std::size_t k = 0; k < 3; ++k) {
            users[edge(t, k)].push_back(t);
        }
    }
    std::vector<bool> isSeen(count, false);
    std::size_t components = 0;
    for (std::size_t seed = 0; seed < count; ++seed) {
        components += isSeen[seed] ? 0U : 1U;
        std::vector<std::size_t> open{seed};
        while (!open.empty()) {
            const std::size_t t = open.back();
            open.pop_back();
            if (isSeen[t]) {
                continue;
            }
            isSeen[t] = true;
            for (std::size_t k = 0; k < 3; ++k) {
                const auto ends = edge(t, k);
                if (ends.first != ends.second) {
                    const auto& others = users.at(ends);
                    open.insert(open.end(), others.begin(), others.end());
                }
            }
        }
    }
    return components;
}

class ConnectedComponentsOnParts : public testing::TestWithParam<PartCase> {};

TEST_P(ConnectedComponentsOnParts, AsManyAsAFloodFindsAndAsAreTold)
{
    const auto file = Support::SharedData(GetParam().file);
    SORVANE_NEED_DATA(file);
    const auto mesh = Support::WeldedStl<double>(file);
    ASSERT_FALSE(mesh.indices.empty());
    const Lists lists = Mesh::ConnectedComponents(mesh, Connection::SharedEdge);
    EXPECT_EQ(lists.size(), FloodedAcrossEdges(mesh.indices));
    EXPECT_EQ(Mesh::ConnectedComponents(mesh, Connection::SharedPoint).size(),
              GetParam().components);
    std::vector<int> all;
    for (const std::vector<int>& list : lists) {
        all.insert(all.end(), list.begin(), list.end());
    }
    std::sort(all.begin(), all.end());
    ASSERT_EQ(all.size(), mesh.indices.size() / 3);
    for (std::size_t t = 0; t < all.size(); ++t) {
        ASSERT_EQ(all[t], static_cast<int>(t));
    }
}

INSTANTIATE_TEST_SUITE_P(
    Files, ConnectedComponentsOnParts,
    testing::Values(PartCase{"Pocket", "meshes_cad/octagonal_pocket.stl", 2},
                    PartCase{"Riser", "meshes_cad/idler_riser.STL", 2},
                    PartCase{"Plate", "meshes_cad/plate_holes.STL", 1},
                    PartCase{"LooseTriangles", "meshes_defective/soup.stl", 100},
                    PartCase{"Ctc05", "meshes_nist/nist_ctc_05_asme1_rd.stl", 2},
                    PartCase{"Ctc05Degenerate", "with_degenerate/nist_ctc_05.stl", 2},
                    PartCase{"Ftc06Degenerate", "with_degenerate/nist_ftc_06.stl", 1}),
    [](const auto& test) { return std::string(test.param.name); });

} // namespace
