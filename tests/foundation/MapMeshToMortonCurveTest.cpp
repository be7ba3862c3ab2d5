// The points of a mesh in the order of the Z-order curve.

#include <Sorvane/MeshQueries_E.h>
#include <Sorvane/MortonCurve_E.h>

#include "tests/support/MeshGenerators.h"
#include "tests/support/MeshGenerators.h"
#include "tests/support/TestSupport.h"

#include <cmath>
#include <cstdlib>
#include <limits>
#include <numeric>
#include <utility>
#include <vector>

namespace {

using namespace Velk::Math;
namespace Mesh = Sorvane::Mesh;
using Mesh::IndexedPointsBase;

template <class Form>
class MeshMortonOrder : public testing::Test {
};
template <int Dimension>
struct Form {
    static constexpr int D = Dimension;
};
using Forms = testing::Types<Form<2>, Form<3>>;
TYPED_TEST_SUITE(MeshMortonOrder, Forms);

/// The result is the same mesh under other point numbers, and these ascend with the points' codes.
template <int D>
void CheckReordered(const IndexedPointsBase<D, double>& mesh)
{
    std::vector<int> newToOld{1, 2, 3};
    std::vector<int> oldToNew{4, 5};
    const auto result = Mesh::MapMeshToMortonCurve(mesh, &newToOld, &oldToNew);
    ASSERT_EQ(result.points.size(), mesh.points.size());
    ASSERT_EQ(newToOld.size(), mesh.points.size());
    ASSERT_EQ(oldToNew.size(), mesh.points.size());
    const auto codes = Sorvane::Tree::MortonCurve::MapToCurve(mesh.points, D == 2 ? 31 : 21);
    for (std::size_t i = 0; i < newToOld.size(); ++i) {
        const auto old = static_cast<std::size_t>(newToOld[i]);
        ASSERT_EQ(oldToNew[old], static_cast<int>(i)); // inverse permutations
        ASSERT_EQ(result.points[i], mesh.points[old]);
        if (i > 0) {
            const auto before = static_cast<std::size_t>(newToOld[i - 1]);
            ASSERT_TRUE(codes[before] < codes[old] ||
                        (codes[before] == codes[old] && before < old));
        }
    }
    ASSERT_EQ(result.indices.size(), mesh.indices.size());
    for (std::size_t k = 0; k < mesh.indices.size(); ++k) {
        ASSERT_EQ(result.points[static_cast<std::size_t>(result.indices[k])],
                  mesh.points[static_cast<std::size_t>(mesh.indices[k])]);
        ASSERT_EQ(result.indices[k], oldToNew[static_cast<std::size_t>(mesh.indices[k])]);
    }
    EXPECT_EQ(Mesh::MapMeshToMortonCurve<D>(mesh, nullptr, nullptr), result);
    EXPECT_EQ(Mesh::MapMeshToMortonCurve<D>(mesh, &newToOld, nullptr), result);
    EXPECT_EQ(Mesh::MapMeshToMortonCurve<D>(mesh, nullptr, &oldToNew), result);
}

TYPED_TEST(MeshMortonOrder, IsTheSameMeshUnderOtherNumbers)
{
    Support::Random random(1);
    // Below and above the size from which the sort runs in parallel.
    for (const int count : {1, 2, 100, 2048, 2049, 10'000}) {
        CheckReordered(Support::GarbageMesh<TypeParam::D, double>(random, count, 2 * count));
    }
}

TYPED_TEST(MeshMortonOrder, CoincidentPointsKeepTheirOrder)
{
    IndexedPointsBase<TypeParam::D, double> mesh;
    mesh.points.resize(5000);
    mesh.indices = {4999, 0, 17};
    CheckReordered(mesh);
    EXPECT_EQ(Mesh::MapMeshToMortonCurve(mesh, nullptr, nullptr), mesh);
}

TYPED_TEST(MeshMortonOrder, PointsOfNeighboringFinestCellsAreTold)
{
    // A unit box, and in it points one finest cell apart from right to left: all but a few, which
    // share a cell with the one before, turn round.
    constexpr int D = TypeParam::D;
    const double cell = std::ldexp(1.0, D == 2 ? -31 : -21);
    IndexedPointsBase<D, double> mesh;
    mesh.points.resize(2);
    mesh.points[1][0] = 1;
    for (int i = 1000; i > 0; --i) {
        VecBase<D, double> point;
        point[0] = 0.25 + i * cell;
        mesh.points.push_back(point);
    }
    CheckReordered(mesh);
    const auto result = Mesh::MapMeshToMortonCurve(mesh, nullptr, nullptr);
    int ascents = 0;
    for (std::size_t i = 1; i < result.points.size(); ++i) {
        ascents += result.points[i - 1][0] < result.points[i][0] ? 1 : 0;
    }
    EXPECT_GT(ascents, 990);
}

TYPED_TEST(MeshMortonOrder, PointsThatAreNoNumbersAreKept)
{
    constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
    constexpr double kInfinity = std::numeric_limits<double>::infinity();
    IndexedPointsBase<TypeParam::D, double> mesh;
    mesh.points.resize(7);
    mesh.points[2][0] = kNan;
    mesh.points[3][1] = kInfinity;
    mesh.points[4][0] = -kInfinity;
    mesh.points[5][1] = 1e308;
    mesh.indices = {6, 2, 3, 4, 5, 0};
    std::vector<int> newToOld;
    std::vector<int> oldToNew;
    const auto result = Mesh::MapMeshToMortonCurve(mesh, &newToOld, &oldToNew);
    ASSERT_EQ(result.points.size(), mesh.points.size());
    for (std::size_t old = 0; old < oldToNew.size(); ++old) {
        EXPECT_EQ(newToOld[static_cast<std::size_t>(oldToNew[old])], static_cast<int>(old));
    }
    for (std::size_t k = 0; k < mesh.indices.size(); ++k) {
        EXPECT_EQ(result.indices[k], oldToNew[static_cast<std::size_t>(mesh.indices[k])]);
    }
}

TYPED_TEST(MeshMortonOrder, EmptyMeshStaysEmpty)
{
    std::vector<int> newToOld{1};
    std::vector<int> oldToNew{1};
    const auto result = Mesh::MapMeshToMortonCurve<TypeParam::D>({}, &newToOld, &oldToNew);
    EXPECT_TRUE(result.points.empty() && result.indices.empty());
    EXPECT_TRUE(newToOld.empty() && oldToNew.empty());
}

TEST(MeshMortonOrderSquare, CornersComeAsAZ)
{
    // Corners of a square, given counter-clockwise from the upper left.
    const IndexedPointsBase<2, double> mesh{{{0, 1}, {0, 0}, {1, 0}, {1, 1}}, {0, 1, 2, 0, 2, 3}};
    const auto result = Mesh::MapMeshToMortonCurve(mesh, nullptr, nullptr);
    EXPECT_EQ(result.points, (std::vector<Vec2d>{{0, 0}, {1, 0}, {0, 1}, {1, 1}}));
    EXPECT_EQ(result.indices, (std::vector<int>{2, 0, 1, 2, 1, 3}));
}

TEST(MeshMortonOrderSheet, NeighborsComeCloserInMemory)
{
    // A sheet whose points are in random order: corners of a triangle lie n / 3 apart on average.
    Support::Random random(2);
    auto mesh = Support::Grid(60, 60);
    std::vector<int> number(mesh.points.size());
    std::iota(number.begin(), number.end(), 0);
    for (std::size_t i = number.size() - 1; i > 0; --i) {
        std::swap(number[i],
                  number[static_cast<std::size_t>(random.Below(static_cast<int>(i) + 1))]);
    }
    auto shuffled = mesh;
    for (std::size_t i = 0; i < number.size(); ++i) {
        shuffled.points[static_cast<std::size_t>(number[i])] = mesh.points[i];
    }
    for (int& index : shuffled.indices) {
        index = number[static_cast<std::size_t>(index)];
    }
    const auto jumps = [](const std::vector<int>& indices) {
        double sum = 0;
        for (std::size_t i = 0; i < indices.size(); i += 3) {
            sum += std::abs(indices[i + 1] - indices[i]);
        }
        return sum / static_cast<double>(indices.size() / 3);
    };
    CheckReordered(shuffled);
    const auto result = Mesh::MapMeshToMortonCurve(shuffled, nullptr, nullptr);
    EXPECT_GT(jumps(shuffled.indices), 1000);
    EXPECT_LT(jumps(result.indices), 200);
}

} // namespace
