// Normals, areas and centroids of triangles, and normals of points.

#include <Sorvane/Triangle_E.h>

#include "tests/support/TestSupport.h"

#include <cmath>
#include <cstring>
#include <limits>
#include <vector>

namespace {

using namespace Velk::Math;
namespace Mesh = Sorvane::Mesh;
using Mesh::IndexedPointsBase;
using Mesh::Triangle;
using Mesh::TriangleSoup;

template <class T>
class TriangleNormalsOf : public testing::Test {
};
using Scalars = testing::Types<float, double>;
TYPED_TEST_SUITE(TriangleNormalsOf, Scalars);

template <class Scalar>
TriangleSoup<3, Scalar> RandomSoup(Support::Random& random, int count)
{
    TriangleSoup<3, Scalar> soup;
    for (int t = 0; t < count; ++t) {
        soup.push_back({random.Vector<3, Scalar>(-5, 5), random.Vector<3, Scalar>(-5, 5),
                        random.Vector<3, Scalar>(-5, 5)});
    }
    return soup;
}

template <class V>
bool SameBits(const std::vector<V>& a, const std::vector<V>& b)
{
    return a.size() == b.size() &&
           (a.empty() || std::memcmp(a.data(), b.data(), a.size() * sizeof(V)) == 0);
}

TYPED_TEST(TriangleNormalsOf, AreaNormalHasTheAreaForLengthAndTheCounterClockwiseSide)
{
    using T = TypeParam;
    using V = VecBase<3, T>;
    // A 3-4-5 triangle in the plane z = 7: area 6, seen counter-clockwise from above.
    const Triangle<3, T> triangle{V{1, 1, 7}, V{4, 1, 7}, V{1, 5, 7}};
    EXPECT_EQ(Mesh::AreaNormal(triangle), (V{0, 0, 6}));
    EXPECT_EQ(Mesh::AreaNormal(Triangle<3, T>{triangle[1], triangle[0], triangle[2]}),
              (V{0, 0, -6}));
    // The octant triangle: half of (1, 1, 1).
    EXPECT_EQ(Mesh::AreaNormal(Triangle<3, T>{V{1, 0, 0}, V{0, 1, 0}, V{0, 0, 1}}),
              (V{0.5, 0.5, 0.5}));
}

TYPED_TEST(TriangleNormalsOf, TwoEqualCornersGiveZero)
{
    using T = TypeParam;
    using V = VecBase<3, T>;
    const Triangle<3, T> triangle{V{1, 2, 3}, V{1, 2, 3}, V{4, -5, 6}};
    EXPECT_EQ(Mesh::AreaNormal(triangle), V{});
    EXPECT_EQ(Mesh::Normals(TriangleSoup<3, T>{triangle}), (std::vector<V>{V{}}));
    EXPECT_EQ(Mesh::Areas(TriangleSoup<3, T>{triangle}), (std::vector<T>{T{0}}));
}

TYPED_TEST(TriangleNormalsOf, NormalThresholdIsOnTheAreaAndNotOnTheCrossProduct)
{
    using T = TypeParam;
    using V = VecBase<3, T>;
    const auto right = [](T leg) { return Triangle<3, T>{V{}, V{leg, T{0}, T{0}}, V{0, 1, 0}}; };
    const T floor = kLengthFloor<T>;
    // Areas: half the leg. Just over the floor, exactly on it, and a cross product over it with the
    // area under it.
    EXPECT_NEAR(Mesh::Normals(TriangleSoup<3, T>{right(T(2.5) * floor)})[0][2], 1, 1e-6);
    EXPECT_EQ(Mesh::Normals(TriangleSoup<3, T>{right(2 * floor)})[0], V{});
    EXPECT_EQ(Mesh::Normals(TriangleSoup<3, T>{right(T(1.5) * floor)})[0], V{});
}

TYPED_TEST(TriangleNormalsOf, NormalsAreUnitAndPerpendicular)
{
    using T = TypeParam;
    Support::Random random(3);
    const auto soup = RandomSoup<T>(random, 1000);
    const auto normals = Mesh::Normals(soup);
    const auto areas = Mesh::Areas(soup);
    const T close = std::is_same_v<T, float> ? T(1e-4F) : T(1e-12);
    for (std::size_t t = 0; t < soup.size(); ++t) {
        const auto& [p0, p1, p2] = soup[t];
        EXPECT_NEAR(Length(normals[t]), 1, close);
        EXPECT_NEAR(normals[t] * (p1 - p0), 0, 10 * close);
        EXPECT_NEAR(normals[t] * (p2 - p0), 0, 10 * close);
        EXPECT_GT(((p1 - p0) ^ (p2 - p0)) * normals[t], 0);
        // Half of base times height, the height from a projection.
        const T base = Length(p1 - p0);
        const auto along = (p1 - p0) * (((p2 - p0) * (p1 - p0)) / (base * base));
        EXPECT_NEAR(areas[t], base * Length(p2 - p0 - along) / 2, 100 * close);
    }
}

TYPED_TEST(TriangleNormalsOf, NonFiniteCornersGiveZeroNormalsAndNanAreas)
{
    using T = TypeParam;
    using V = VecBase<3, T>;
    const T nan = std::numeric_limits<T>::quiet_NaN();
    const TriangleSoup<3, T> soup{{V{nan, T{0}, T{0}}, V{1, 0, 0}, V{0, 1, 0}}};
    EXPECT_EQ(Mesh::Normals(soup)[0], V{});
    EXPECT_TRUE(std::isnan(Mesh::Areas(soup)[0]));
}

TYPED_TEST(TriangleNormalsOf, EmptyInputs)
{
    using T = TypeParam;
    using V = VecBase<3, T>;
    const IndexedPointsBase<3, T> fourIndices{{V{}, V{1, 0, 0}, V{0, 1, 0}}, {0, 1, 2, 0}};
    for (const auto& mesh : {fourIndices, IndexedPointsBase<3, T>{}}) {
        EXPECT_TRUE(Mesh::AreaNormals(mesh).empty());
        EXPECT_TRUE(Mesh::Normals(mesh).empty());
        EXPECT_TRUE(Mesh::Areas(mesh).empty());
        EXPECT_TRUE((Mesh::Centroids<3, T>(mesh).empty()));
    }
    EXPECT_TRUE(Mesh::AreaNormals(TriangleSoup<3, T>{}).empty());
    EXPECT_TRUE(Mesh::Normals(TriangleSoup<3, T>{}).empty());
    EXPECT_TRUE(Mesh::Areas(TriangleSoup<3, T>{}).empty());
    EXPECT_TRUE((Mesh::Centroids<2, T>(TriangleSoup<2, T>{}).empty()));
    // One vector for each point, also where there is no triangle.
    EXPECT_EQ(Mesh::AreaWeightedVertexNormals(fourIndices), (std::vector<V>(3)));
}

TYPED_TEST(TriangleNormalsOf, MeshAndSoupFormsAgreeWithTheSingleTriangleBitForBit)
{
    using T = TypeParam;
    using V = VecBase<3, T>;
    // Around the chunk size of the parallel loop, and well beyond it.
    for (const int count : {1, 511, 512, 513, 1024, 5000}) {
        SCOPED_TRACE(count);
        Support::Random random(static_cast<std::uint64_t>(count));
        const auto soup = RandomSoup<T>(random, count);
        const auto mesh = Mesh::IndexedPointsFromSoup<3, T>(soup, false, T{0});
        std::vector<V> areaNormals;
        std::vector<V> normals;
        std::vector<T> areas;
        std::vector<V> centroids;
        for (const auto& triangle : soup) {
            areaNormals.push_back(Mesh::AreaNormal(triangle));
            normals.push_back(Normalized(areaNormals.back(), kLengthFloor<T>));
            areas.push_back(Length(areaNormals.back()));
            centroids.push_back((triangle[0] + triangle[1] + triangle[2]) / T{3});
        }
        EXPECT_TRUE(SameBits(Mesh::AreaNormals(soup), areaNormals));
        EXPECT_TRUE(SameBits(Mesh::AreaNormals(mesh), areaNormals));
        EXPECT_TRUE(SameBits(Mesh::Normals(soup), normals));
        EXPECT_TRUE(SameBits(Mesh::Normals(mesh), normals));
        EXPECT_TRUE(SameBits(Mesh::Areas(soup), areas));
        EXPECT_TRUE(SameBits(Mesh::Areas(mesh), areas));
        EXPECT_TRUE(SameBits(Mesh::Centroids(soup), centroids));
        EXPECT_TRUE(SameBits(Mesh::Centroids(mesh), centroids));
    }
}

TYPED_TEST(TriangleNormalsOf, CentroidsInBothDimensions)
{
    using T = TypeParam;
    using V2 = VecBase<2, T>;
    using V3 = VecBase<3, T>;
    EXPECT_EQ(Mesh::Centroids(TriangleSoup<2, T>{{V2{0, 0}, V2{3, 0}, V2{0, 6}}}),
              (std::vector<V2>{V2{1, 2}}));
    const IndexedPointsBase<3, T> mesh{{V3{0, 0, 9}, V3{3, 0, 0}, V3{0, 6, 0}}, {0, 1, 2}};
    EXPECT_EQ(Mesh::Centroids(mesh), (std::vector<V3>{V3{1, 2, 3}}));
}

// --- normals of points --------------------------------------------------------------------------

TYPED_TEST(TriangleNormalsOf, VertexNormalIsWeightedByArea)
{
    using T = TypeParam;
    using V = VecBase<3, T>;
    // At point 0 a triangle of area 3 facing +Z and one of area 4 facing +X: (4, 0, 3) / 5.
    const IndexedPointsBase<3, T> mesh{{V{0, 0, 0}, V{3, 0, 0}, V{0, 2, 0}, V{0, 0, 4}, V{9, 9, 9}},
                                       {0, 1, 2, 0, 2, 3}};
    const auto normals = Mesh::AreaWeightedVertexNormals(mesh);
    ASSERT_EQ(normals.size(), 5U);
    const double close = std::is_same_v<T, float> ? 1e-6 : 1e-15;
    for (const std::size_t shared : {std::size_t{0}, std::size_t{2}}) {
        EXPECT_NEAR(normals[shared][0], 0.8, close);
        EXPECT_EQ(normals[shared][1], T{0});
        EXPECT_NEAR(normals[shared][2], 0.6, close);
    }
    EXPECT_EQ(normals[1], (V{0, 0, 1}));
    EXPECT_EQ(normals[3], (V{1, 0, 0}));
    EXPECT_EQ(normals[4], V{}); // no triangle uses it
}

TYPED_TEST(TriangleNormalsOf, OpposedTrianglesLeaveAZeroVertexNormal)
{
    using T = TypeParam;
    using V = VecBase<3, T>;
    const IndexedPointsBase<3, T> mesh{{V{0, 0, 0}, V{1, 0, 0}, V{0, 1, 0}}, {0, 1, 2, 0, 2, 1}};
    EXPECT_EQ(Mesh::AreaWeightedVertexNormals(mesh), (std::vector<V>(3)));
}

TYPED_TEST(TriangleNormalsOf, VertexSumsRunInTriangleOrder)
{
    using T = TypeParam;
    using V = VecBase<3, T>;
    Support::Random random(9);
    IndexedPointsBase<3, T> mesh;
    for (int i = 0; i < 700; ++i) {
        mesh.points.push_back(random.Vector<3, T>(-5, 5));
    }
    for (int i = 0; i < 3 * 4000; ++i) {
        mesh.indices.push_back(random.Below(700));
    }
    std::vector<V> sums(mesh.points.size());
    for (std::size_t i = 0; i < mesh.indices.size(); ++i) {
        const std::size_t first = i / 3 * 3;
        const auto corner = [&](std::size_t k) {
            return mesh.points[static_cast<std::size_t>(mesh.indices[first + k])];
        };
        sums[static_cast<std::size_t>(mesh.indices[i])] +=
            Mesh::AreaNormal(Triangle<3, T>{corner(0), corner(1), corner(2)});
    }
    for (V& sum : sums) {
        sum = Normalized(sum, kLengthFloor<T>);
    }
    EXPECT_TRUE(SameBits(Mesh::AreaWeightedVertexNormals(mesh), sums));
}

TYPED_TEST(TriangleNormalsOf, VertexNormalThresholdIsOnTheSumOfAreas)
{
    using T = TypeParam;
    using V = VecBase<3, T>;
    const T floor = kLengthFloor<T>;
    // One triangle twice: each of its points sums twice the area, which is once the leg.
    const auto normals = [](T leg) {
        return Mesh::AreaWeightedVertexNormals(
            IndexedPointsBase<3, T>{{V{}, V{leg, T{0}, T{0}}, V{0, 1, 0}}, {0, 1, 2, 0, 1, 2}});
    };
    EXPECT_EQ(normals(floor), (std::vector<V>(3)));
    EXPECT_NEAR(normals(T(1.25) * floor)[0][2], 1, 1e-6);
}

TEST(VertexNormals, OfASpherePointOutwards)
{
    // An octahedron: by symmetry the normal of each corner is the corner itself.
    const IndexedPointsBase<3, double> octahedron{
        {{1, 0, 0}, {-1, 0, 0}, {0, 1, 0}, {0, -1, 0}, {0, 0, 1}, {0, 0, -1}},
        {0, 2, 4, 2, 1, 4, 1, 3, 4, 3, 0, 4, 2, 0, 5, 1, 2, 5, 3, 1, 5, 0, 3, 5}};
    const auto normals = Mesh::AreaWeightedVertexNormals(octahedron);
    for (std::size_t i = 0; i < 6; ++i) {
        EXPECT_LT(Length(normals[i] - octahedron.points[i]), 1e-15);
    }
}

} // namespace
