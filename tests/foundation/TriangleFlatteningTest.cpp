// Flattened triangles, pairs and stars: lengths are kept, outer points fall on the outer side.

#include <Sorvane/Triangle_E.h>

#include "tests/support/TestSupport.h"

#include <array>
#include <cmath>
#include <limits>

namespace {

using namespace Velk::Math;
namespace Mesh = Sorvane::Mesh;

template <class T>
class FlatteningOf : public testing::Test {
};
using Scalars = testing::Types<float, double>;
TYPED_TEST_SUITE(FlatteningOf, Scalars);

template <class T>
constexpr double kClose = std::is_same_v<T, float> ? 2e-5 : 1e-13;

template <int N, class T>
double Gap(const VecBase<N, T>& a, const VecBase<N, T>& b)
{
    return static_cast<double>(Length(a - b));
}

/// A point of the plane carried into space by a rigid motion.
template <class T>
VecBase<3, T> Lifted(const Vec2d& p)
{
    const Vec3d x{2.0 / 3, 2.0 / 3, 1.0 / 3};
    const Vec3d y{-2.0 / 3, 1.0 / 3, 2.0 / 3};
    return VecBase<3, T>(Vec3d{1, -2, 3} + p[0] * x + p[1] * y);
}

TYPED_TEST(FlatteningOf, TriangleFromLengths)
{
    using T = TypeParam;
    using V = VecBase<2, T>;
    // a = |p0p1| = 4, b = |p1p2| = 5, c = |p2p0| = 3: the right angle is at p0.
    EXPECT_EQ((Mesh::FlattenTriangle(T{4}, T{5}, T{3})),
              (std::array<V, 3>{V{0, 0}, V{4, 0}, V{0, 3}}));
    // Right angle at p1.
    EXPECT_EQ((Mesh::FlattenTriangle(T{4}, T{3}, T{5})),
              (std::array<V, 3>{V{0, 0}, V{4, 0}, V{4, 3}}));
}

TYPED_TEST(FlatteningOf, TriangleFromPointsAndFromArray)
{
    using T = TypeParam;
    const auto p0 = Lifted<T>({1, 1});
    const auto p1 = Lifted<T>({5, 1});
    const auto p2 = Lifted<T>({2, 3});
    const auto flat = Mesh::FlattenTriangle(p0, p1, p2);
    EXPECT_LT(Gap(flat[0], VecBase<2, T>{0, 0}), kClose<T>);
    EXPECT_LT(Gap(flat[1], VecBase<2, T>{4, 0}), kClose<T>);
    EXPECT_LT(Gap(flat[2], VecBase<2, T>{1, 2}), kClose<T>);
    EXPECT_EQ((Mesh::FlattenTriangle(Mesh::Triangle<3, T>{p0, p1, p2})), flat);
}

TYPED_TEST(FlatteningOf, BrokenTriangleInequalityIsNanInYOnly)
{
    using T = TypeParam;
    const auto flat = Mesh::FlattenTriangle(T{1}, T{1}, T{3});
    EXPECT_EQ(flat[0], (VecBase<2, T>{0, 0}));
    EXPECT_EQ(flat[1], (VecBase<2, T>{1, 0}));
    EXPECT_EQ(flat[2][0], T(4.5)); // (9 - 1 + 1) / 2
    EXPECT_TRUE(std::isnan(flat[2][1]));
}

TYPED_TEST(FlatteningOf, ZeroFirstEdgeHasNoFiniteX)
{
    using T = TypeParam;
    EXPECT_FALSE(std::isfinite(Mesh::FlattenTriangle(T{0}, T{1}, T{2})[2][0]));
    EXPECT_FALSE(std::isfinite(Mesh::FlattenTriangle(T{0}, T{1}, T{1})[2][0]));
}

TYPED_TEST(FlatteningOf, FlatTriangleLiesOnTheAxis)
{
    using T = TypeParam;
    const auto flat = Mesh::FlattenTriangle(T{3}, T{2}, T{1});
    EXPECT_EQ(flat[2], (VecBase<2, T>{1, 0}));
}

TYPED_TEST(FlatteningOf, AlignTriangleMirrorsAClockwiseOne)
{
    using T = TypeParam;
    using V = VecBase<2, T>;
    const std::array<V, 3> expected{V{0, 0}, V{4, 0}, V{0, 3}};
    EXPECT_EQ((Mesh::AlignTriangle(Mesh::Triangle<2, T>{V{1, 1}, V{1, 5}, V{-2, 1}})), expected);
    EXPECT_EQ((Mesh::AlignTriangle(Mesh::Triangle<2, T>{V{1, 1}, V{1, 5}, V{4, 1}})), expected);
}

TYPED_TEST(FlatteningOf, NeighborLiesBelowTheEdge)
{
    using T = TypeParam;
    using V = VecBase<2, T>;
    // d = |p0p3| = 5, e = |p3p1| = 3: below p1.
    EXPECT_EQ((Mesh::FlattenTriangleNeighbors(T{4}, T{5}, T{3}, T{5}, T{3})),
              (std::array<V, 4>{V{0, 0}, V{4, 0}, V{0, 3}, V{4, -3}}));
    const auto pair = Mesh::FlattenTriangleNeighbors(Lifted<T>({0, 0}), Lifted<T>({4, 0}),
                                                     Lifted<T>({1, 2}), Lifted<T>({3, -1}));
    EXPECT_LT(Gap(pair[2], V{1, 2}), kClose<T>);
    EXPECT_LT(Gap(pair[3], V{3, -1}), kClose<T>);
}

TYPED_TEST(FlatteningOf, StarOfRegularTriangles)
{
    using T = TypeParam;
    using V = VecBase<2, T>;
    // Four equilateral triangles make one of twice the side.
    const T one{1};
    const auto star = Mesh::FlattenTriangleStar(one, one, one, one, one, one, one, one, one);
    const double h = std::sqrt(0.75);
    const std::array<V, 6> expected{V{0, 0}, V{1, 0}, V{0.5, h}, V{0.5, -h}, V{1.5, h}, V{-0.5, h}};
    for (std::size_t i = 0; i < 6; ++i) {
        EXPECT_LT(Gap(star[i], expected[i]), 1e-1 * kClose<T>) << i;
    }
}

TYPED_TEST(FlatteningOf, StarOfSixPlanarPointsIsTheirOwnPicture)
{
    using T = TypeParam;
    using V = VecBase<2, T>;
    Support::Random random(4);
    for (int trial = 0; trial < 300; ++trial) {
        SCOPED_TRACE(trial);
        // The triangle in its flattened position, and a point beyond each edge.
        const double a = random.Between(0.5, 3);
        const Vec2d p0{0, 0};
        const Vec2d p1{a, 0};
        const Vec2d p2{random.Between(-2, 4), random.Between(0.3, 3)};
        const auto beyond = [&](const Vec2d& from, const Vec2d& to) {
            const Vec2d outward = RightNormal(to - from); // the triangle runs counter-clockwise
            return from + (to - from) * random.Between(-0.5, 1.5) +
                   outward * random.Between(0.2, 1.5);
        };
        const std::array<Vec2d, 6> planar{
            p0, p1, p2, beyond(p0, p1), beyond(p1, p2), beyond(p2, p0)};
        const auto star = Mesh::FlattenTriangleStar(Lifted<T>(planar[0]), Lifted<T>(planar[1]),
                                                    Lifted<T>(planar[2]), Lifted<T>(planar[3]),
                                                    Lifted<T>(planar[4]), Lifted<T>(planar[5]));
        for (std::size_t i = 0; i < 6; ++i) {
            EXPECT_LT(Gap(star[i], V(planar[i])), 50 * kClose<T>) << i;
        }
    }
}

TYPED_TEST(FlatteningOf, StarKeepsAllNineLengthsOfABentOne)
{
    using T = TypeParam;
    Support::Random random(6);
    int counted = 0;
    for (int trial = 0; trial < 300; ++trial) {
        SCOPED_TRACE(trial);
        std::array<VecBase<3, T>, 6> p;
        for (auto& point : p) {
            point = random.Vector<3, T>(-2, 2);
        }
        const auto q = Mesh::FlattenTriangleStar(p[0], p[1], p[2], p[3], p[4], p[5]);
        const int edges[9][2] = {{0, 1}, {1, 2}, {2, 0}, {0, 3}, {3, 1},
                                 {1, 4}, {4, 2}, {2, 5}, {5, 0}};
        // Bases too short or triangles too flat are a matter of the unguarded root.
        double least = 1e9;
        const int faces[4][3] = {{0, 1, 2}, {0, 3, 1}, {1, 4, 2}, {2, 5, 0}};
        for (const auto& face : faces) {
            const auto& a = p[static_cast<std::size_t>(face[0])];
            const auto& b = p[static_cast<std::size_t>(face[1])];
            const auto& c = p[static_cast<std::size_t>(face[2])];
            least = std::min(least, static_cast<double>(Length((b - a) ^ (c - a))));
        }
        if (least < 0.5) {
            continue;
        }
        ++counted;
        for (const auto& [i, j] : edges) {
            const auto from = static_cast<std::size_t>(i);
            const auto to = static_cast<std::size_t>(j);
            EXPECT_NEAR(Gap(q[from], q[to]), Gap(p[from], p[to]), 100 * kClose<T>) << i << ' ' << j;
        }
        // Outer points on the far side of their edges.
        EXPECT_LT((q[1] - q[0]) ^ (q[3] - q[0]), 0);
        EXPECT_LT((q[2] - q[1]) ^ (q[4] - q[1]), 0);
        EXPECT_LT((q[0] - q[2]) ^ (q[5] - q[2]), 0);
    }
    EXPECT_GT(counted, 100);
}

TYPED_TEST(FlatteningOf, StarWithABrokenNeighborLosesThatPointOnly)
{
    using T = TypeParam;
    const T one{1};
    const auto star = Mesh::FlattenTriangleStar(one, one, one, one, one, one, T{5}, one, one);
    EXPECT_TRUE(std::isnan(star[4][0]) || std::isnan(star[4][1]));
    for (const std::size_t i : {0U, 1U, 2U, 3U, 5U}) {
        EXPECT_TRUE(std::isfinite(star[i][0]) && std::isfinite(star[i][1])) << i;
    }
}

} // namespace
