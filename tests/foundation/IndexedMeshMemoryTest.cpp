// Operations that change a mesh or a soup in place, with every allocation refused once: what was
// there is there as it was.

#include <Sorvane/IndexedMesh_E.h>
#include <Sorvane/MeshQueries_E.h>

#include "tests/support/FailingAllocation.h"
#include "tests/support/MeshGenerators.h"

#include <vector>

namespace {

using namespace Velk::Math;
namespace Mesh = Sorvane::Mesh;
using ::Test::FailEachAllocation;
using ::Test::IndexedMesh;

template <class State, class Call>
std::size_t Failures(const State& before, const Call& call)
{
    return FailEachAllocation([&] { return State(before); }, call,
                              [&](const State& left) { EXPECT_TRUE(left == before); });
}

TEST(IndexedMeshMemory, Append)
{
    const IndexedMesh grid = ::Test::Grid(3, 2);
    const IndexedMesh cube = ::Test::Cube();
    EXPECT_EQ(Failures(cube, [&](IndexedMesh& m) { Mesh::Append(m, grid); }), 2U);
    EXPECT_EQ(Failures(IndexedMesh(), [&](IndexedMesh& m) { Mesh::Append(m, grid); }), 2U);
    const auto soup = Mesh::SoupFromIndexedPoints(grid);
    EXPECT_GT(Failures(soup, [&](auto& s) { Mesh::Append(s, soup); }), 0U);
    EXPECT_GT(Failures(soup, [](auto& s) { Mesh::Append(s, s); }), 1U);
}

TEST(IndexedMeshMemory, Weld)
{
    const IndexedMesh twice = ::Test::Together(::Test::Cube(), ::Test::Cube());
    EXPECT_GT(Failures(twice, [](IndexedMesh& m) { Mesh::FilterForUniqueness(m, 1e-9); }), 3U);
}

TEST(IndexedMeshMemory, MatchNormals)
{
    IndexedMesh cube = ::Test::Cube();
    std::swap(cube.indices[1], cube.indices[2]);
    EXPECT_GT(Failures(cube, [](IndexedMesh& m) { Mesh::MatchNormals(m); }), 3U);
    cube.indices.insert(cube.indices.end(), {0, 0, 1});
    EXPECT_GT(Failures(cube, [](IndexedMesh& m) { Mesh::MatchNormals(m); }), 3U);
}

// A sort that gets no memory for a buffer goes on without it, so not every failure is seen outside.
TEST(IndexedMeshMemory, MortonOrder)
{
    const IndexedMesh grid = ::Test::Grid(5, 5);
    int thrown = 0;
    for (std::size_t which = 1; which <= 20; ++which) {
        std::vector<int> newToOld{1};
        std::vector<int> oldToNew{2};
        const ::Test::FailingAllocation failure(which);
        try {
            Mesh::MapMeshToMortonCurve(grid, &newToOld, &oldToNew);
            EXPECT_EQ(newToOld.size(), grid.points.size());
            EXPECT_EQ(oldToNew.size(), grid.points.size());
        } catch (const std::bad_alloc&) {
            EXPECT_EQ(newToOld, (std::vector<int>{1}));
            EXPECT_EQ(oldToNew, (std::vector<int>{2}));
            ++thrown;
        }
    }
    EXPECT_GT(thrown, 3);
}

} // namespace
