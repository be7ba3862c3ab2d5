// Angles of rings and creases.

#include <Sorvane/MeshQueries_E.h>
#include <Sorvane/Triangle_E.h>
#include <Velk/Math/Vector_E.h>

#include "tests/support/MeshGenerators.h"
#include "tests/support/TestSupport.h"

#include <cmath>
#include <limits>
#include <vector>

namespace {

using namespace Velk::Math;
namespace Mesh = Sorvane::Mesh;
using Mesh::IndexedPointsBase;

template <class T>
class QueryAnglesOf : public testing::Test {
};
using Scalars = testing::Types<float, double>;
TYPED_TEST_SUITE(QueryAnglesOf, Scalars);

template <class T>
constexpr double kClose = std::is_same_v<T, float> ? 2e-6 : 4e-15;

// --- rings --------------------------------------------------------------------------------------

TYPED_TEST(QueryAnglesOf, RingAnglesOfASquareRing)
{
    using T = TypeParam;
    using V = VecBase<3, T>;
    const V center{1, 1, 5};
    const std::vector<V> ring{V{2, 1, 5}, V{1, 3, 5}, V{0, 1, 5}, V{1, 0, 5}};
    const auto closed = Mesh::RingAngles(center, ring, true);
    ASSERT_EQ(closed.size(), 4U);
    for (const T angle : closed) {
        EXPECT_NEAR(angle, kPi<double> / 2, kClose<T>);
    }
    EXPECT_EQ(Mesh::RingAngles(center, ring, false),
              (std::vector<T>(closed.begin(), closed.end() - 1)));
}

TYPED_TEST(QueryAnglesOf, RingAnglesStandInRingOrderAndAnOpenRingLacksTheLast)
{
    using T = TypeParam;
    using V = VecBase<3, T>;
    // Directions of 0, 45, 180 and 270 degrees: each step differs from those beside it.
    const std::vector<V> ring{V{2, 0, 0}, V{1, 1, 0}, V{-3, 0, 0}, V{0, -1, 0}};
    const std::vector<double> quarters{1, 3, 2, 2};
    for (const bool closed : {true, false}) {
        const auto angles = Mesh::RingAngles(V{}, ring, closed);
        ASSERT_EQ(angles.size(), closed ? 4U : 3U);
        for (std::size_t i = 0; i < angles.size(); ++i) {
            EXPECT_NEAR(angles[i], quarters[i] * kPi<double> / 4, kClose<T>) << i;
        }
    }
}

TYPED_TEST(QueryAnglesOf, RingAnglesOfShortRings)
{
    using T = TypeParam;
    using V = VecBase<3, T>;
    EXPECT_TRUE(Mesh::RingAngles<T>(V{}, {}, true).empty());
    EXPECT_TRUE(Mesh::RingAngles<T>(V{}, {}, false).empty());
    EXPECT_EQ(Mesh::RingAngles<T>(V{}, {V{1, 0, 0}}, true), (std::vector<T>{T{0}}));
    EXPECT_TRUE(Mesh::RingAngles<T>(V{}, {V{1, 0, 0}}, false).empty());
    const auto twice = Mesh::RingAngles<T>(V{}, {V{1, 0, 0}, V{0, 2, 0}}, true);
    ASSERT_EQ(twice.size(), 2U); // there and back
    EXPECT_NEAR(twice[0], kPi<double> / 2, kClose<T>);
    EXPECT_NEAR(twice[1], kPi<double> / 2, kClose<T>);
}

TYPED_TEST(QueryAnglesOf, NormalizedAnglesFillHalfOrFullTurn)
{
    using T = TypeParam;
    T factor{-5};
    const auto full = Mesh::NormalizedAngles<T>({T{1}, T{3}}, factor, false);
    EXPECT_NEAR(factor, kPi<double> / 2, kClose<T>);
    EXPECT_NEAR(full[0], kPi<double> / 2, kClose<T>);
    EXPECT_NEAR(full[1], 3 * kPi<double> / 2, kClose<T>);
    const auto half = Mesh::NormalizedAngles<T>({T{1}, T{3}}, factor, true);
    EXPECT_NEAR(factor, kPi<double> / 4, kClose<T>);
    EXPECT_NEAR(half[1], 3 * kPi<double> / 4, kClose<T>);
}

TYPED_TEST(QueryAnglesOf, NormalizedAnglesWithoutAPositiveSumAreZero)
{
    using T = TypeParam;
    T factor{7};
    EXPECT_EQ(Mesh::NormalizedAngles<T>({T{0}, T{0}}, factor, true), (std::vector<T>(2)));
    EXPECT_EQ(factor, T{0});
    factor = 7;
    EXPECT_TRUE(Mesh::NormalizedAngles<T>({}, factor, false).empty());
    EXPECT_EQ(factor, T{0});
    factor = 7;
    EXPECT_EQ(Mesh::NormalizedAngles<T>({T{-1}, T(0.5)}, factor, false), (std::vector<T>(2)));
    EXPECT_EQ(factor, T{0});
    // A NaN sum is not greater than 0; NaN times 0 stays NaN.
    const T nan = std::numeric_limits<T>::quiet_NaN();
    factor = 7;
    const auto angles = Mesh::NormalizedAngles<T>({T{1}, nan}, factor, false);
    EXPECT_EQ(factor, T{0});
    EXPECT_EQ(angles[0], T{0});
    EXPECT_TRUE(std::isnan(angles[1]));
}

// A closed ring is scaled to pi and an open one to 2 pi: the one flag has two meanings.
TYPED_TEST(QueryAnglesOf, NormalizedRingAnglesHandTheFlagThrough)
{
    using T = TypeParam;
    using V = VecBase<3, T>;
    const std::vector<V> ring{V{1, 0, 0}, V{0, 1, 0}, V{-1, 0, 0}, V{0, -1, 0}};
    T factor{0};
    const auto closed = Mesh::NormalizedRingAngles(V{}, ring, factor, true);
    ASSERT_EQ(closed.size(), 4U);
    EXPECT_NEAR(factor, 0.5, kClose<T>);
    EXPECT_NEAR(closed[0], kPi<double> / 4, kClose<T>);
    const auto open = Mesh::NormalizedRingAngles(V{}, ring, factor, false);
    ASSERT_EQ(open.size(), 3U);
    EXPECT_NEAR(factor, 4.0 / 3, kClose<T>);
    EXPECT_NEAR(open[0], 2 * kPi<double> / 3, kClose<T>);
}

// --- creases ------------------------------------------------------------------------------------

/// Two triangles on the edge 0-1 along X: the first in the plane z = 0 toward -Y, the second
/// rising from the edge toward +Y, bent by `angle` downwards (convex seen from +Z) when positive.
template <class T>
IndexedPointsBase<3, T> Roof(double angle)
{
    using V = VecBase<3, T>;
    return {{V{0, 0, 0}, V{1, 0, 0}, V{0.5, -1, 0}, V{0.5, std::cos(angle), -std::sin(angle)}},
            {1, 0, 2, 0, 1, 3}};
}

TYPED_TEST(QueryAnglesOf, SingleTriangleHasTwoPiThreeTimes)
{
    using T = TypeParam;
    auto mesh = Roof<T>(1);
    mesh.indices.resize(3);
    for (const bool isSigned : {false, true}) {
        EXPECT_EQ(Mesh::CreaseAngles(mesh, isSigned), (std::vector<T>(3, kTwoPi<T>)));
    }
}

TYPED_TEST(QueryAnglesOf, CreaseIsPositiveWhenConvexAndNegativeWhenConcave)
{
    using T = TypeParam;
    for (const double bend : {0.25, 1.0, 2.5, -0.25, -1.0, -2.5}) {
        SCOPED_TRACE(bend);
        const auto plain = Mesh::CreaseAngles(Roof<T>(bend), false);
        const auto withSign = Mesh::CreaseAngles(Roof<T>(bend), true);
        ASSERT_EQ(plain.size(), 6U);
        for (const std::size_t place : {std::size_t{0}, std::size_t{3}}) { // edge 1-0 and edge 0-1
            EXPECT_NEAR(plain[place], std::abs(bend), 4 * kClose<T>);
            EXPECT_NEAR(withSign[place], bend, 4 * kClose<T>);
        }
        for (const std::size_t boundary : {1U, 2U, 4U, 5U}) {
            EXPECT_EQ(plain[boundary], kTwoPi<T>);
            EXPECT_EQ(withSign[boundary], kTwoPi<T>); // exactly, also when signed
        }
    }
}

TYPED_TEST(QueryAnglesOf, FlatAndFoldedBackCreasesAreZeroWhenSigned)
{
    using T = TypeParam;
    EXPECT_EQ(Mesh::CreaseAngles(Roof<T>(0), true)[0], T{0});
    // Folded back onto itself: the angle is pi, but the neighbor lies in the triangle's plane.
    using V = VecBase<3, T>;
    const IndexedPointsBase<3, T> folded{{V{0, 0, 0}, V{1, 0, 0}, V{0.5, -1, 0}, V{0.5, -2, 0}},
                                         {1, 0, 2, 0, 1, 3}};
    EXPECT_NEAR(Mesh::CreaseAngles(folded, false)[0], kPi<double>, kClose<T>);
    EXPECT_EQ(Mesh::CreaseAngles(folded, true)[0], T{0});
}

TYPED_TEST(QueryAnglesOf, CubeHasRightAnglesOnItsEdgesAndNoneOnDiagonals)
{
    using T = TypeParam;
    using V = VecBase<3, T>;
    IndexedPointsBase<3, T> cube;
    for (int i = 0; i < 8; ++i) {
        cube.points.push_back(V{i & 1, (i >> 1) & 1, (i >> 2) & 1});
    }
    cube.indices = {0, 2, 3, 0, 3, 1, 4, 5, 7, 4, 7, 6, 0, 1, 5, 0, 5, 4,
                    2, 6, 7, 2, 7, 3, 0, 4, 6, 0, 6, 2, 1, 3, 7, 1, 7, 5};
    int right = 0;
    int flat = 0;
    for (const T angle : Mesh::CreaseAngles(cube, true)) {
        right += std::abs(angle - kPi<double> / 2) < kClose<T> ? 1 : 0;
        flat += angle == T{0} ? 1 : 0;
    }
    EXPECT_EQ(right, 24); // 12 edges from both sides, all convex
    EXPECT_EQ(flat, 12);  // 6 diagonals from both sides
}

TYPED_TEST(QueryAnglesOf, DegenerateNeighborHasNoNormalAndAngleZero)
{
    using T = TypeParam;
    using V = VecBase<3, T>;
    const IndexedPointsBase<3, T> mesh{{V{0, 0, 0}, V{1, 0, 0}, V{0.5, -1, 0}, V{2, 0, 0}},
                                       {1, 0, 2, 0, 1, 3}};
    EXPECT_EQ(Mesh::CreaseAngles(mesh, false)[0], T{0});
    EXPECT_EQ(Mesh::CreaseAngles(mesh, true)[3], T{0});
}

TYPED_TEST(QueryAnglesOf, MeshOfTwoPointsHasNoNormals)
{
    using T = TypeParam;
    using V = VecBase<3, T>;
    const IndexedPointsBase<3, T> mesh{{V{0, 0, 0}, V{1, 0, 0}}, {0, 1, 1, 1, 0, 0}};
    const auto angles = Mesh::CreaseAngles(mesh, true);
    ASSERT_EQ(angles.size(), 6U);
    EXPECT_EQ(angles[0], T{0});
    EXPECT_EQ(angles[1], kTwoPi<T>); // the side 1-1, which no other triangle has
}

TYPED_TEST(QueryAnglesOf, MeshWithAnIncompleteTripleHasNoNormals)
{
    using T = TypeParam;
    auto mesh = Roof<T>(1);
    mesh.indices.push_back(0);
    for (const bool isSigned : {false, true}) {
        EXPECT_EQ(Mesh::CreaseAngles(mesh, isSigned),
                  (std::vector<T>{T{0}, kTwoPi<T>, kTwoPi<T>, T{0}, kTwoPi<T>, kTwoPi<T>}));
    }
}

TYPED_TEST(QueryAnglesOf, EmptyMeshHasNoCreases)
{
    EXPECT_TRUE((Mesh::CreaseAngles(IndexedPointsBase<3, TypeParam>{}, true).empty()));
}

TYPED_TEST(QueryAnglesOf, LargeMeshAgreesWithTheDefinitionInEveryEntry)
{
    using T = TypeParam;
    // A bumpy grid of 3,200 triangles, beyond the chunk size; each crease from its own two
    // triangles.
    const int side = 40;
    Support::Random random(40);
    IndexedPointsBase<3, T> mesh;
    for (int i = 0; i <= side; ++i) {
        for (int j = 0; j <= side; ++j) {
            mesh.points.push_back(VecBase<3, T>{i, j, random.Between(-1, 1)});
        }
    }
    for (int i = 0; i < side; ++i) {
        for (int j = 0; j < side; ++j) {
            const int a = i * (side + 1) + j;
            const int b = a + side + 1;
            mesh.indices.insert(mesh.indices.end(), {a, b, b + 1, a, b + 1, a + 1});
        }
    }
    const double close = sizeof(T) == 4 ? 1e-4 : 1e-7; // the arc cosine loses half the digits
    const auto neighbors = Mesh::NeighborFacets(mesh);
    const auto angles = Mesh::CreaseAngles(mesh, true);
    const auto corner = [&](std::size_t t, std::size_t k) {
        return Vec3d(mesh.points[static_cast<std::size_t>(mesh.indices[3 * t + k])]);
    };
    const auto normal = [&](std::size_t t) {
        return Normalized((corner(t, 1) - corner(t, 0)) ^ (corner(t, 2) - corner(t, 0)), 0.0);
    };
    for (std::size_t t = 0; t < neighbors.size(); ++t) {
        for (std::size_t k = 0; k < 3; ++k) {
            const T angle = angles[3 * t + k];
            if (neighbors[t][k] < 0) {
                ASSERT_EQ(angle, kTwoPi<T>);
                continue;
            }
            const auto n = static_cast<std::size_t>(neighbors[t][k]);
            const double magnitude = std::acos(std::min(1.0, normal(t) * normal(n)));
            const Vec3d away =
                (corner(n, 0) + corner(n, 1) + corner(n, 2)) / 3.0 - corner(t, (k + 2) % 3);
            const double height = away * normal(t);
            if (std::abs(height) < 1e-3) {
                continue; // the sign is a matter of rounding
            }
            EXPECT_NEAR(angle, height > 0 ? -magnitude : magnitude, close);
        }
    }
}

TYPED_TEST(QueryAnglesOf, HeightsUpToTheFloorCountAsFlatWhenSigned)
{
    using T = TypeParam;
    // The neighbor's centroid is a third as high as its apex, which is as high as the bend.
    const double floor = static_cast<double>(kLengthFloor<T>);
    EXPECT_EQ(Mesh::CreaseAngles(Roof<T>(2.9 * floor), true)[0], T{0});
    EXPECT_GT(Mesh::CreaseAngles(Roof<T>(3.1 * floor), true)[0], T{0});
    EXPECT_LT(Mesh::CreaseAngles(Roof<T>(-3.1 * floor), true)[0], T{0});
    // Exactly at the floor: a height of three floors over three is the floor itself.
    for (const T sign : {T{1}, T{-1}}) {
        auto roof = Roof<T>(0);
        roof.points[3][2] = sign * 3 * kLengthFloor<T>;
        EXPECT_GT(Mesh::CreaseAngles(roof, false)[0], T{0});
        EXPECT_EQ(Mesh::CreaseAngles(roof, true)[0], T{0});
    }
}

/// The definition, triangle by triangle, with the neighbors taken from the library.
template <class T>
std::vector<T> CreasesOneByOne(const IndexedPointsBase<3, T>& mesh, bool isSigned)
{
    const auto normals = Mesh::Normals(mesh);
    const auto neighbors = Mesh::NeighborFacets(mesh);
    const auto point = [&](std::size_t i) {
        return mesh.points[static_cast<std::size_t>(mesh.indices[i])];
    };
    std::vector<T> angles;
    for (std::size_t t = 0; t < neighbors.size(); ++t) {
        for (std::size_t k = 0; k < 3; ++k) {
            if (neighbors[t][k] < 0) {
                angles.push_back(kTwoPi<T>);
                continue;
            }
            const auto n = static_cast<std::size_t>(neighbors[t][k]);
            T angle = Vector::AngleBetween(normals[t], normals[n], kLengthFloor<T>);
            if (isSigned) {
                const std::size_t opposite = k == 0 ? 2 : (k == 1 ? 0 : 1);
                const auto centroid = (point(3 * n) + point(3 * n + 1) + point(3 * n + 2)) / T{3};
                const T height = (centroid - point(3 * t + opposite)) * normals[t];
                angle *= std::abs(height) <= kLengthFloor<T> ? T{0} : (height > 0 ? T{-1} : T{1});
            }
            angles.push_back(angle);
        }
    }
    return angles;
}

TYPED_TEST(QueryAnglesOf, GarbageMeshesAgreeWithTheDefinition)
{
    Support::Random random(41);
    for (int trial = 0; trial < 60; ++trial) {
        SCOPED_TRACE(trial);
        const auto mesh = Support::GarbageMesh<3, TypeParam>(
            random, 3 + random.Below(40), random.Below(trial % 10 == 0 ? 2000 : 80));
        for (const bool isSigned : {false, true}) {
            ASSERT_EQ(Mesh::CreaseAngles(mesh, isSigned), CreasesOneByOne(mesh, isSigned));
        }
    }
}

} // namespace
