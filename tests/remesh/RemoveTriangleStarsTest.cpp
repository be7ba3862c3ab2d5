// Stars of three triangles taken out of indexed meshes.

#include <Sorvane/Remesh_E.h>

#include "tests/support/MeshMeasures.h"
#include "tests/support/TestSupport.h"

#include <limits>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;
using Support::IndexedMesh;

/// The mesh with its first triangle replaced by three round a point over its centroid, `levels`
/// times.
IndexedMesh WithNestedStars(IndexedMesh mesh, int levels, double height)
{
    for (int level = 0; level < levels; ++level) {
        const int a = mesh.indices[0];
        const int b = mesh.indices[1];
        const int c = mesh.indices[2];
        const int n = static_cast<int>(mesh.points.size());
        mesh.points.push_back(
            (Support::PointOf(mesh, 0) + Support::PointOf(mesh, 1) + Support::PointOf(mesh, 2)) /
                3.0 +
            Vec3d(0, 0, height));
        mesh.indices.erase(mesh.indices.begin(), mesh.indices.begin() + 3);
        mesh.indices.insert(mesh.indices.begin(), {n, a, b, n, b, c, n, c, a});
    }
    return mesh;
}

IndexedMesh NestedStars(int levels, double height)
{
    return WithNestedStars({{{0, 0, 0}, {3, 0, 0}, {0, 3, 0}}, {0, 1, 2}}, levels, height);
}

TEST(RemoveTriangleStars, AStarBecomesOneTriangle)
{
    IndexedMesh out;
    ASSERT_TRUE(Mesh::RemoveTriangleStars(NestedStars(1, 0), out, 1));
    ASSERT_EQ(out.indices.size(), 3U);
    EXPECT_EQ(out.points.size(), 3U) << "the point that no triangle uses is gone";
    const Vec3d normal = (Support::PointOf(out, 1) - Support::PointOf(out, 0)) ^
                         (Support::PointOf(out, 2) - Support::PointOf(out, 0));
    EXPECT_EQ(normal, Vec3d(0, 0, 9)) << "faces the way the star did";
    IndexedMesh turned = NestedStars(1, 0);
    for (std::size_t i = 0; i < 9; i += 3) {
        std::swap(turned.indices[i], turned.indices[i + 1]);
    }
    ASSERT_TRUE(Mesh::RemoveTriangleStars(turned, out, 1));
    EXPECT_EQ((Support::PointOf(out, 1) - Support::PointOf(out, 0)) ^
                  (Support::PointOf(out, 2) - Support::PointOf(out, 0)),
              Vec3d(0, 0, -9));
}

TEST(RemoveTriangleStars, TheAngleDecides)
{
    const double h = 0.1;
    const IndexedMesh star = NestedStars(1, h);
    double greatest = 0;
    for (std::size_t i = 0; i < 9; i += 3) {
        for (std::size_t j = 0; j < 9; j += 3) {
            const auto normal = [&](std::size_t t) {
                return (Support::PointOf(star, t + 1) - Support::PointOf(star, t)) ^
                       (Support::PointOf(star, t + 2) - Support::PointOf(star, t));
            };
            greatest = std::max(greatest,
                                std::atan2(Length(normal(i) ^ normal(j)), normal(i) * normal(j)));
        }
    }
    const double degrees = greatest * 180 / kPi<double>;
    IndexedMesh out;
    EXPECT_TRUE(Mesh::RemoveTriangleStars(star, out, degrees + 1e-9));
    EXPECT_FALSE(Mesh::RemoveTriangleStars(star, out, degrees - 1e-9));
    EXPECT_EQ(out, star) << "a copy";
    EXPECT_FALSE(Mesh::RemoveTriangleStars(star, out, std::numeric_limits<double>::quiet_NaN()));
}

TEST(RemoveTriangleStars, NestedOnesGoPassByPassUpToTen)
{
    // Only the innermost point has three triangles, and it has the highest number: one goes in each
    // pass.
    for (const int levels : {3, 10, 13}) {
        IndexedMesh out;
        const IndexedMesh stars = WithNestedStars(Support::Octahedron(), levels, 0);
        ASSERT_TRUE(Mesh::RemoveTriangleStars(stars, out, 1));
        const int left = std::max(0, levels - 10);
        EXPECT_EQ(out.indices.size() / 3, static_cast<std::size_t>(8 + 2 * left)) << levels;
    }
}

TEST(RemoveTriangleStars, ABoundaryPointOfThreeTrianglesLosesArea)
{
    // Of 2 x 2 cells the middles of the four sides have three triangles each, and four neighbors in
    // the case of points 3 and 5: their three lowest make the triangle.
    const IndexedMesh grid = Support::Grid(2, 2);
    IndexedMesh out;
    ASSERT_TRUE(Mesh::RemoveTriangleStars(grid, out, 1));
    double area = 0;
    for (std::size_t i = 0; i < out.indices.size(); i += 3) {
        area += Length((Support::PointOf(out, i + 1) - Support::PointOf(out, i)) ^
                       (Support::PointOf(out, i + 2) - Support::PointOf(out, i))) /
                2;
    }
    EXPECT_NEAR(area, 3, 1e-12) << "of 4";
}

TEST(RemoveTriangleStars, NoBodyBecomesTwoTrianglesBackToBack)
{
    // A tetrahedron, flat ones too: each of its points is the middle of a star.
    for (const double height : {1.0, 0.01, 0.0}) {
        IndexedMesh mesh = Support::Tetrahedron();
        for (Vec3d& p : mesh.points) {
            p[2] *= height;
        }
        IndexedMesh out;
        EXPECT_FALSE(Mesh::RemoveTriangleStars(mesh, out, 180)) << height;
        EXPECT_EQ(out, mesh);
    }
    // Two tips over the same three points: one of them goes, in whatever order they are numbered,
    // and a tetrahedron remains. So it does where nested stars have led to it.
    for (int turn = 0; turn < 5; ++turn) {
        for (const int nested : {0, 1, 3}) {
            SCOPED_TRACE(testing::Message() << turn << " " << nested);
            IndexedMesh tips{{{0, 0, 1}, {0, 0, -1}, {3, 0, 0}, {-2, 2, 0}, {-2, -2, 0}},
                             {0, 2, 3, 0, 3, 4, 0, 4, 2, 1, 3, 2, 1, 4, 3, 1, 2, 4}};
            for (int& index : tips.indices) {
                index = (index + turn) % 5;
            }
            std::rotate(tips.points.begin(), tips.points.end() - turn, tips.points.end());
            const double volume = Support::VolumeOf(tips);
            IndexedMesh out;
            ASSERT_TRUE(Mesh::RemoveTriangleStars(WithNestedStars(tips, nested, 0), out, 180));
            EXPECT_EQ(out.indices.size(), 12U);
            if (nested == 0) {
                EXPECT_NEAR(Support::VolumeOf(out), volume / 2, 1e-12);
            }
            EXPECT_EQ(Support::FaultsOf(out), Support::EdgeFaults{});
        }
    }
}

TEST(RemoveTriangleStars, TooFewOthersMakeNoTriangle)
{
    // Three facets of one point with two others: one of them thrice, and a point named twice.
    IndexedMesh repeated;
    repeated.points = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}};
    repeated.indices = {0, 1, 2, 0, 1, 2, 0, 2, 1};
    IndexedMesh out;
    EXPECT_FALSE(Mesh::RemoveTriangleStars(repeated, out, 180));
    EXPECT_EQ(out, repeated);
    repeated.indices = {0, 0, 1, 0, 1, 2};
    EXPECT_FALSE(Mesh::RemoveTriangleStars(repeated, out, 180));
    EXPECT_EQ(out, repeated);
}

TEST(RemoveTriangleStars, TheMeshMayBeItsOwnOutput)
{
    IndexedMesh mesh = NestedStars(4, 0);
    IndexedMesh out;
    Mesh::RemoveTriangleStars(mesh, out, 1);
    ASSERT_TRUE(Mesh::RemoveTriangleStars(mesh, mesh, 1));
    EXPECT_EQ(mesh, out);
    EXPECT_FALSE(Mesh::RemoveTriangleStars(mesh, mesh, 1)) << "there is no other";
}

TEST(RemoveTriangleStars, HostileInputComesBackAsItIs)
{
    IndexedMesh out = Support::Cube();
    EXPECT_FALSE(Mesh::RemoveTriangleStars({}, out, 10));
    EXPECT_EQ(out, IndexedMesh{});
    for (const int bad : {-1, 4, std::numeric_limits<int>::max()}) {
        IndexedMesh mesh = NestedStars(1, 0);
        mesh.indices[4] = bad;
        EXPECT_FALSE(Mesh::RemoveTriangleStars(mesh, out, 10));
        EXPECT_EQ(out, mesh);
    }
    IndexedMesh incomplete = NestedStars(1, 0);
    incomplete.indices.pop_back();
    EXPECT_FALSE(Mesh::RemoveTriangleStars(incomplete, out, 10));
    EXPECT_EQ(out, incomplete);
    IndexedMesh notFinite = NestedStars(1, 0);
    notFinite.points[3] = {std::numeric_limits<double>::quiet_NaN(), 1, 0};
    // Its triangles have no normals, and what has none is at no angle: the star goes, and the NaN
    // with it.
    EXPECT_TRUE(Mesh::RemoveTriangleStars(notFinite, out, 10));
    EXPECT_EQ(out.points.size(), 3U);
    Support::Random random(3);
    for (int trial = 0; trial < 200; ++trial) {
        const auto garbage = Support::GarbageMesh<3, double>(random, 12, 30);
        Mesh::RemoveTriangleStars(garbage, out, 180);
        EXPECT_LE(out.indices.size(), garbage.indices.size());
    }
}

} // namespace
