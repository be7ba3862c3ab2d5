// A triangle's own frame, Cartesian and barycentric: there and back.

#include <Sorvane/Triangle_E.h>

#include "tests/support/TestSupport.h"

#include <cmath>
#include <vector>

namespace {

using namespace Velk::Math;
namespace Mesh = Sorvane::Mesh;
using Mesh::Triangle;

template <class T>
class TriangleFrameOf : public testing::Test {
};
using Scalars = testing::Types<float, double>;
TYPED_TEST_SUITE(TriangleFrameOf, Scalars);

template <class T>
constexpr double kClose = std::is_same_v<T, float> ? 2e-5 : 1e-13;

template <class T>
Triangle<3, T> RandomTriangle(Support::Random& random)
{
    Triangle<3, T> triangle;
    do {
        for (auto& corner : triangle) {
            corner = random.Vector<3, T>(-2, 2);
        }
    } while (Length(Mesh::AreaNormal(triangle)) < T(0.5));
    return triangle;
}

TYPED_TEST(TriangleFrameOf, CornersTakeTheirPlaces)
{
    using T = TypeParam;
    using V = VecBase<3, T>;
    // In the plane x = 5, normal +X: p1 is 3 along +Y, p2 is 2 along and 4 up.
    const Triangle<3, T> triangle{V{5, 1, 1}, V{5, 4, 1}, V{5, 3, 5}};
    const TransformBase<3> space = Mesh::TriangleSpace(triangle);
    EXPECT_LT(Length(space * triangle[0]), kClose<T>);
    EXPECT_LT(Length(space * triangle[1] - V{3, 0, 0}), kClose<T>);
    EXPECT_LT(Length(space * triangle[2] - V{2, 4, 0}), kClose<T>);
    EXPECT_LT(Length(space * V{6, 1, 1} - V{0, 0, 1}), kClose<T>); // along the normal
}

TYPED_TEST(TriangleFrameOf, MapIsRigid)
{
    using T = TypeParam;
    Support::Random random(1);
    for (int trial = 0; trial < 100; ++trial) {
        const auto triangle = RandomTriangle<T>(random);
        const TransformBase<3> space = Mesh::TriangleSpace(triangle);
        const auto p = random.Vector<3, T>(-2, 2);
        const auto q = random.Vector<3, T>(-2, 2);
        EXPECT_NEAR(Length(space * p - space * q), Length(p - q), kClose<T>);
        EXPECT_NEAR(((space * triangle[2])[2]), 0, kClose<T>);
        EXPECT_GT((space * triangle[2])[1], 0);
        EXPECT_GT((space * triangle[1])[0], 0);
    }
}

TYPED_TEST(TriangleFrameOf, ThereAndBackForPointsOfThePlane)
{
    using T = TypeParam;
    Support::Random random(2);
    for (int trial = 0; trial < 100; ++trial) {
        const auto triangle = RandomTriangle<T>(random);
        const auto& [a, b, c] = triangle;
        std::vector<VecBase<3, T>> inPlane{a, b, c};
        std::vector<VecBase<3, T>> above;
        const auto normal = Normalized(Mesh::AreaNormal(triangle), T{0});
        for (int i = 0; i < 5; ++i) {
            const auto u = static_cast<T>(random.Between(-1, 2));
            const auto v = static_cast<T>(random.Between(-1, 2));
            inPlane.push_back(a + u * (b - a) + v * (c - a));
        }
        for (const auto& p : inPlane) {
            above.push_back(p + normal * T(0.75));
        }
        const auto flat = Mesh::MapPointsToTriangleSpace(triangle, inPlane);
        const auto flatAbove = Mesh::MapPointsToTriangleSpace(triangle, above);
        const auto back = Mesh::UnMapPointsFromTriangleSpace(triangle, flat);
        ASSERT_EQ(flat.size(), inPlane.size());
        for (std::size_t i = 0; i < inPlane.size(); ++i) {
            EXPECT_LT(Length(back[i] - inPlane[i]), 10 * kClose<T>);
            EXPECT_LT(Length(flatAbove[i] - flat[i]), 10 * kClose<T>); // the height is dropped
        }
    }
}

TYPED_TEST(TriangleFrameOf, NoPoints)
{
    using T = TypeParam;
    using V = VecBase<3, T>;
    const Triangle<3, T> triangle{V{0, 0, 0}, V{1, 0, 0}, V{0, 1, 0}};
    EXPECT_TRUE(Mesh::MapPointsToTriangleSpace<T>(triangle, {}).empty());
    EXPECT_TRUE(Mesh::UnMapPointsFromTriangleSpace<T>(triangle, {}).empty());
    EXPECT_TRUE(Mesh::MapPointsToTriangleBarycentric<T>(triangle, {}).empty());
    EXPECT_TRUE(Mesh::UnMapPointsFromTriangleBarycentric<T>(triangle, {}).empty());
}

TYPED_TEST(TriangleFrameOf, DegenerateTriangleHasASingularFrame)
{
    using T = TypeParam;
    using V = VecBase<3, T>;
    // Collinear: X row (1, 0, 0), no normal, so no Y either.
    const Triangle<3, T> collinear{V{1, 2, 3}, V{3, 2, 3}, V{2, 2, 3}};
    const auto flat = Mesh::MapPointsToTriangleSpace(collinear, {V{4, 7, 9}});
    EXPECT_EQ(flat[0], (VecBase<2, T>{3, 0}));
    // No inverse: the map is applied as it stands, (x, y, 0) -> (x - 1, 0, 0).
    EXPECT_EQ(Mesh::UnMapPointsFromTriangleSpace(collinear, {VecBase<2, T>{5, 6}}),
              (std::vector<V>{V{4, 0, 0}}));
    const Triangle<3, T> point{V{1, 2, 3}, V{1, 2, 3}, V{1, 2, 3}};
    EXPECT_EQ(Mesh::MapPointsToTriangleSpace(point, {V{4, 7, 9}})[0], (VecBase<2, T>{}));
}

TYPED_TEST(TriangleFrameOf, AreaUpToTheFloorMakesASingularFrame)
{
    using T = TypeParam;
    using V = VecBase<3, T>;
    // Base 1, so the area is half the height; one length up along +Z is lost with the normal.
    const auto up = [](T height) {
        const Triangle<3, T> triangle{V{}, V{1, 0, 0}, V{T{0}, height, T{0}}};
        return Mesh::TriangleSpace(triangle) * V{0, 0, 1};
    };
    EXPECT_EQ(up(2 * kLengthFloor<T>), V{});
    EXPECT_LT(Length(up(T(2.5) * kLengthFloor<T>) - V{0, 0, 1}), kClose<T>);
}

// --- barycentric --------------------------------------------------------------------------------

TYPED_TEST(TriangleFrameOf, WeightsAreThoseOfTheFirstTwoCorners)
{
    using T = TypeParam;
    using V = VecBase<3, T>;
    using W = VecBase<2, T>;
    const Triangle<3, T> triangle{V{0, 0, 1}, V{4, 0, 1}, V{0, 2, 1}};
    const auto weights = Mesh::MapPointsToTriangleBarycentric(
        triangle, {triangle[0], triangle[1], triangle[2], V{1, 1, 1}, V{2, 0, 5}});
    // (1, 1) = p0 / 4 + p1 / 4 + p2 / 2; (2, 0, 5) has its foot in the middle of p0p1.
    const std::vector<W> expected{W{1, 0}, W{0, 1}, W{0, 0}, W{0.25, 0.25}, W{0.5, 0.5}};
    ASSERT_EQ(weights.size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
        EXPECT_LT(Length(weights[i] - expected[i]), kClose<T>) << i;
    }
    const auto back = Mesh::UnMapPointsFromTriangleBarycentric(triangle, expected);
    EXPECT_EQ(back,
              (std::vector<V>{triangle[0], triangle[1], triangle[2], V{1, 1, 1}, V{2, 0, 1}}));
}

TYPED_TEST(TriangleFrameOf, BarycentricThereAndBack)
{
    using T = TypeParam;
    Support::Random random(12);
    for (int trial = 0; trial < 100; ++trial) {
        const auto triangle = RandomTriangle<T>(random);
        std::vector<VecBase<2, T>> weights;
        for (int i = 0; i < 5; ++i) {
            weights.push_back(random.Vector<2, T>(-1, 2));
        }
        const auto points = Mesh::UnMapPointsFromTriangleBarycentric(triangle, weights);
        const auto back = Mesh::MapPointsToTriangleBarycentric(triangle, points);
        for (std::size_t i = 0; i < weights.size(); ++i) {
            EXPECT_LT(Length(back[i] - weights[i]), 100 * kClose<T>);
        }
    }
}

TYPED_TEST(TriangleFrameOf, DegenerateTriangleReportsEachPointAndGivesZero)
{
    using T = TypeParam;
    using V = VecBase<3, T>;
    using W = VecBase<2, T>;
    const Triangle<3, T> collinear{V{1, 2, 3}, V{3, 2, 3}, V{2, 2, 3}};
    Support::ExpectAssertions(3);
    EXPECT_EQ(Mesh::MapPointsToTriangleBarycentric(collinear, {V{1, 2, 3}, V{2, 2, 3}, V{9, 9, 9}}),
              (std::vector<W>(3)));
    EXPECT_EQ(Support::AssertionCount(), 3);
    EXPECT_EQ(Support::LastAssertion(),
              "Triangle_Impl:330 Velk::Math::Sorvane::Mesh::MapPointsToTriangleBarycentric::"
              "<lambda_1>::operator ()");
}

TYPED_TEST(TriangleFrameOf, BarycentricDegeneracyIsRelativeToTheLongestEdge)
{
    using T = TypeParam;
    using V = VecBase<3, T>;
    // Height over base, whatever the size: half the tolerance fails, twice the tolerance does not.
    const auto weight = [](T base, T slimness) {
        const V apex{base / 2, base * slimness, T{0}};
        const Triangle<3, T> triangle{V{}, V{base, T{0}, T{0}}, apex};
        return Mesh::MapPointsToTriangleBarycentric(triangle, {V{}})[0];
    };
    Support::ExpectAssertions(3);
    for (const T base : {T(1.0 / 1024), T{1}, T{1024}}) {
        EXPECT_EQ(weight(base, 2 * kLengthFloor<T>), (VecBase<2, T>{1, 0}));
        EXPECT_EQ(weight(base, kLengthFloor<T> / 2), (VecBase<2, T>{}));
    }
}

} // namespace
