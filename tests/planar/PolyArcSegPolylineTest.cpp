// Chains flattened to points.

#include <Sorvane/PolyArcSeg_E.h>

#include "tests/planar/ChainSupport.h"
#include "tests/support/Rounds.h"

#include <limits>
#include <utility>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane::Planar;
using namespace Support;
using Spans = std::vector<std::pair<unsigned int, unsigned int>>;

template <class T>
class ChainPolyline : public testing::Test {
};
using Coordinates = testing::Types<float, double>;
TYPED_TEST_SUITE(ChainPolyline, Coordinates);

TYPED_TEST(ChainPolyline, LiesWithinToleranceOfTheChainBothWays)
{
    using T = TypeParam;
    Random random(41);
    for (const double tol : {0.1, 0.01, 0.001}) {
        for (int trial = 0; trial < Support::Rounds(10); ++trial) {
            SCOPED_TRACE(trial);
            const auto chain = RandomChain<T>(random, 1 + random.Below(8));
            const auto polyline = Tessellate(chain, static_cast<T>(tol));
            const double within = tol * (1 + 1e-5) + 4 * kNear<T>;
            for (const Vec2d& sample : Samples(chain, 0.05)) {
                EXPECT_LE(DistanceToPolyline(sample, polyline), within);
            }
            const auto samples = Samples(chain, 0.002);
            for (std::size_t i = 1; i < polyline.size(); ++i) {
                const Vec2d a(polyline[i - 1][0], polyline[i - 1][1]);
                const Vec2d b(polyline[i][0], polyline[i][1]);
                for (const double place : {0.0, 0.25, 0.5, 0.75}) {
                    const double distance = DistanceToPoints(a * (1 - place) + b * place, samples);
                    EXPECT_LE(distance, std::hypot(within, 0.001) + kNear<T>);
                }
            }
        }
    }
}

TYPED_TEST(ChainPolyline, SpansPartitionThePointsByElement)
{
    using T = TypeParam;
    Random random(42);
    for (int trial = 0; trial < 50; ++trial) {
        const auto chain = RandomChain<T>(random, 1 + random.Below(20));
        const auto [points, spans] = ToPolyline(chain, T(0.01));
        EXPECT_EQ(points, Tessellate(chain, T(0.01)));
        ASSERT_EQ(spans.size(), chain.elements.size());
        unsigned int next = 0;
        for (std::size_t k = 0; k < spans.size(); ++k) {
            EXPECT_EQ(spans[k].first, next);
            ASSERT_LT(spans[k].first, spans[k].second); // elements of some length give their end
            next = spans[k].second;
            // The last point of an element is its end, the bits too.
            EXPECT_EQ(points[next - 1], chain.elements[k].EndPoint());
            // A segment gives its end alone, but for the first, which has nothing before it.
            if (chain.elements[k].AsSegment() != nullptr) {
                EXPECT_EQ(spans[k].second - spans[k].first, k == 0 ? 2u : 1u);
            }
        }
        EXPECT_EQ(next, points.size());
        EXPECT_EQ(points.front(), chain.elements.front().StartPoint());
    }
}

TYPED_TEST(ChainPolyline, ClosedChainKeepsItsLastPoint)
{
    using T = TypeParam;
    const auto [points, spans] = ToPolyline(Square<T>(), T(0.1));
    EXPECT_EQ(points, (std::vector<VecBase<2, T>>{{0, 0}, {2, 0}, {2, 2}, {0, 2}, {0, 0}}));
    EXPECT_EQ(spans, (Spans{{0, 2}, {2, 3}, {3, 4}, {4, 5}}));
}

TYPED_TEST(ChainPolyline, WideJointGivesBothItsPoints)
{
    using T = TypeParam;
    PolyArcSegBase<T> chain;
    chain.tolerance = T(0.01);
    chain.elements = {Geometry::SegBase<T>{{0, 0}, {1, 0}},
                      Geometry::SegBase<T>{{1, T(0.001)}, {1, 1}}};
    const auto [points, spans] = ToPolyline(chain, T(0.1));
    EXPECT_EQ(points, (std::vector<VecBase<2, T>>{{0, 0}, {1, 0}, {1, T(0.001)}, {1, 1}}));
    EXPECT_EQ(spans, (Spans{{0, 2}, {2, 4}}));
}

TYPED_TEST(ChainPolyline, PointsMatchPerCoordinateWithinTheFloor)
{
    using T = TypeParam;
    const T floor = std::is_same_v<T, float> ? T(1e-8) : T(1e-12);
    const auto count = [](T gap) {
        PolyArcSegBase<T> chain;
        chain.elements = {Geometry::SegBase<T>{{1, 0}, {0, 0}},
                          Geometry::SegBase<T>{{gap, gap}, {0, 1}}};
        return ToPolyline(chain, T(0.1)).points.size();
    };
    EXPECT_EQ(count(floor), 3u); // the diagonal of the gap is longer than the floor
    EXPECT_EQ(count(std::nextafter(floor, T(1))), 4u);
}

TYPED_TEST(ChainPolyline, DegenerateElementGivesOnePoint)
{
    using T = TypeParam;
    PolyArcSegBase<T> point;
    point.AppendSegment({1, 2}, {1, 2});
    EXPECT_EQ(ToPolyline(point, T(0.1)).points, (std::vector<VecBase<2, T>>{{1, 2}}));
    EXPECT_EQ(ToPolyline(point, T(0.1)).spans, (Spans{{0, 1}}));
    PolyArcSegBase<T> dot;
    dot.AppendArc({1, 2}, {1, 2}, 0);
    EXPECT_EQ(ToPolyline(dot, T(0.1)).spans, (Spans{{0, 1}}));

    // In the middle of a chain it gives nothing.
    auto chain = Lines<T>({{0, 0}, {1, 0}});
    ASSERT_TRUE(chain.AppendArc({5, 5}, {1, 0}, 0));
    ASSERT_TRUE(chain.AppendSegment({1, 0}, {1, 1}));
    EXPECT_EQ(ToPolyline(chain, T(0.1)).spans, (Spans{{0, 2}, {2, 2}, {2, 3}}));
}

TYPED_TEST(ChainPolyline, EmptyChainGivesNothing)
{
    const auto polyline = ToPolyline(PolyArcSegBase<TypeParam>(), TypeParam(0.1));
    EXPECT_TRUE(polyline.points.empty());
    EXPECT_TRUE(polyline.spans.empty());
}

TYPED_TEST(ChainPolyline, FullCircleHasItsStartTwice)
{
    using T = TypeParam;
    // Radius 2, tolerance 0.1: steps of at most 4 asin(sqrt(0.1 / 4)) = 0.6351, so ten chords.
    for (const int sense : {1, -1}) {
        const auto points = Tessellate(Circle<T>(2, sense), T(0.1));
        ASSERT_EQ(points.size(), 11u);
        EXPECT_NEAR(points.back()[0], 2, kNear<T>);
        EXPECT_NEAR(points.back()[1], 0, kNear<T>);
        EXPECT_GT(static_cast<T>(sense) * points[1][1], 0);
    }
}

TYPED_TEST(ChainPolyline, HostileTolerancesAndCoordinates)
{
    using T = TypeParam;
    const T nan = std::numeric_limits<T>::quiet_NaN();
    const T inf = std::numeric_limits<T>::infinity();
    for (const T tol : {T(0), T(-1), nan, inf}) {
        const auto points = Tessellate(Hairpin<T>(), tol); // quarter turns at most
        EXPECT_EQ(points.size(), 5u);
    }
    auto broken = Lines<T>({{0, 0}, {1, 0}, {2, 0}});
    broken.elements[1].AsSegment()->start = {nan, 0};
    EXPECT_EQ(ToPolyline(broken, T(0.1)).spans, (Spans{{0, 2}, {2, 4}})); // NaN matches nothing
    broken.elements[1] = Geometry::ArcBase<T>{{inf, 0}, {1, 0}, 1};
    EXPECT_EQ(ToPolyline(broken, T(0.1)).spans.size(), 2u);
}

} // namespace
