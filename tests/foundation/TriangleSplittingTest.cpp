// Pieces of split triangles: order, first corners, area and orientation.

#include <Sorvane/Triangle_E.h>

#include "tests/support/TestSupport.h"

#include <vector>

namespace {

using namespace Velk::Math;
namespace Mesh = Sorvane::Mesh;
using Mesh::SplitTriangle;
using Mesh::SplitTriangleEdge;
using Mesh::Triangle;
using Mesh::TriangleSoup;

template <class V>
class SplittingOf : public testing::Test {
};
using Points =
    testing::Types<VecBase<2, float>, VecBase<2, double>, VecBase<3, float>, VecBase<3, double>>;
TYPED_TEST_SUITE(SplittingOf, Points);

/// A triangle whose midpoints and centroid are exact, with names for all of them.
template <class V>
struct Named {
    static V P(double x, double y)
    {
        if constexpr (V::size() == 2) {
            return V{x, y};
        } else {
            return V{x, y, x - y};
        }
    }
    V a = P(0, 0);
    V b = P(12, 0);
    V c = P(0, 6);
    V ab = P(6, 0);
    V bc = P(6, 3);
    V ca = P(0, 3);
    V o = P(4, 2);
    Triangle<V::size(), typename V::value_type> triangle{a, b, c};
};

template <class V>
using Soup = TriangleSoup<V::size(), typename V::value_type>;

TYPED_TEST(SplittingOf, SplitTriangleInAllFourWays)
{
    using V = TypeParam;
    const Named<V> n;
    EXPECT_EQ(SplitTriangle(n.triangle, true, true), (Soup<V>{{n.a, n.ab, n.o},
                                                              {n.b, n.o, n.ab},
                                                              {n.b, n.bc, n.o},
                                                              {n.c, n.o, n.bc},
                                                              {n.c, n.ca, n.o},
                                                              {n.a, n.o, n.ca}}));
    EXPECT_EQ(SplitTriangle(n.triangle, true, false),
              (Soup<V>{{n.a, n.b, n.o}, {n.b, n.c, n.o}, {n.c, n.a, n.o}}));
    EXPECT_EQ(
        SplitTriangle(n.triangle, false, true),
        (Soup<V>{{n.a, n.ab, n.ca}, {n.b, n.bc, n.ab}, {n.c, n.ca, n.bc}, {n.ab, n.bc, n.ca}}));
    EXPECT_EQ(SplitTriangle(n.triangle, false, false), (Soup<V>{n.triangle}));
}

TYPED_TEST(SplittingOf, SplitTriangleEdgeInAllEightWays)
{
    using V = TypeParam;
    const Named<V> n;
    const auto& t = n.triangle;
    EXPECT_EQ(SplitTriangleEdge(t, false, false, false), (Soup<V>{t}));
    EXPECT_EQ(SplitTriangleEdge(t, true, false, false),
              (Soup<V>{{n.a, n.ab, n.c}, {n.ab, n.b, n.c}}));
    EXPECT_EQ(SplitTriangleEdge(t, false, true, false),
              (Soup<V>{{n.a, n.b, n.bc}, {n.bc, n.c, n.a}}));
    EXPECT_EQ(SplitTriangleEdge(t, false, false, true),
              (Soup<V>{{n.a, n.b, n.ca}, {n.ca, n.b, n.c}}));
    EXPECT_EQ(SplitTriangleEdge(t, true, true, false),
              (Soup<V>{{n.a, n.ab, n.c}, {n.ab, n.bc, n.c}, {n.ab, n.b, n.bc}}));
    EXPECT_EQ(SplitTriangleEdge(t, true, false, true),
              (Soup<V>{{n.a, n.ab, n.ca}, {n.ab, n.b, n.ca}, {n.b, n.c, n.ca}}));
    EXPECT_EQ(SplitTriangleEdge(t, false, true, true),
              (Soup<V>{{n.a, n.b, n.bc}, {n.a, n.bc, n.ca}, {n.bc, n.c, n.ca}}));
    EXPECT_EQ(SplitTriangleEdge(t, true, true, true), SplitTriangle(t, false, true));
}

/// Twice the signed area in the plane, the doubled area vector in space.
template <class V>
auto TwiceArea(const Triangle<V::size(), typename V::value_type>& t)
{
    using W = VecBase<V::size(), double>;
    return (W(t[1]) - W(t[0])) ^ (W(t[2]) - W(t[0]));
}

TYPED_TEST(SplittingOf, PiecesSumToTheAreaAndKeepTheOrientation)
{
    using V = TypeParam;
    using T = typename V::value_type;
    Support::Random random(33);
    const double close = std::is_same_v<T, float> ? 1e-4 : 1e-12;
    for (int trial = 0; trial < 200; ++trial) {
        Triangle<V::size(), T> triangle;
        for (V& corner : triangle) {
            corner = random.Vector<V::size(), T>(-4, 4);
        }
        const auto whole = TwiceArea<V>(triangle);
        if (whole * whole < 1.0) {
            continue;
        }
        for (int flags = 0; flags < 8; ++flags) {
            const auto edges =
                SplitTriangleEdge(triangle, (flags & 1) != 0, (flags & 2) != 0, (flags & 4) != 0);
            EXPECT_EQ(edges.size(),
                      1U + static_cast<unsigned>(__builtin_popcount(static_cast<unsigned>(flags))));
            const auto center = SplitTriangle(triangle, (flags & 1) != 0, (flags & 2) != 0);
            for (const auto& pieces : {edges, center}) {
                double sum = 0;
                for (const auto& piece : pieces) {
                    const double part = TwiceArea<V>(piece) * whole / (whole * whole);
                    EXPECT_GT(part, 0.1); // the least piece is a sixth
                    sum += part;
                }
                EXPECT_NEAR(sum, 1.0, close);
            }
        }
    }
}

} // namespace
