// The collection of numbered points: whatever matches is visited, and visits can end or drop
// entries.

#include "mathbase/PointCells_Impl.h"

#include "tests/support/Rounds.h"
#include "tests/support/TestSupport.h"

#include <cmath>
#include <limits>
#include <vector>

namespace {

using namespace Velk::Math;
using Vector::Impl::NearPoints;
using Vector::Impl::Visiting;

template <class V>
class NearPointsOf : public testing::Test {
};
using Points = testing::Types<Vec2f, Vec2d, Vec3f, Vec3d>;
TYPED_TEST_SUITE(NearPointsOf, Points);

template <int N, class T>
std::vector<int> Visited(NearPoints<N, T>& points, const VecBase<N, T>& place)
{
    std::vector<int> numbers;
    points.VisitNear(place, [&](int number) {
        numbers.push_back(number);
        return Visiting::GoOn;
    });
    return numbers;
}

template <int N, class T>
void ExpectMatchesVisited(const std::vector<VecBase<N, T>>& points, T tolerance)
{
    NearPoints<N, T> near(points.size(), tolerance);
    for (std::size_t i = 0; i < points.size(); ++i) {
        near.Add(points[i], static_cast<int>(i));
    }
    for (const VecBase<N, T>& place : points) {
        const std::vector<int> visited = Visited(near, place);
        for (std::size_t i = 0; i < points.size(); ++i) {
            if (Matches(points[i], place, tolerance)) {
                EXPECT_NE(std::find(visited.begin(), visited.end(), static_cast<int>(i)),
                          visited.end())
                    << points[i][0] << " from " << place[0] << " within " << tolerance;
            }
        }
    }
}

TYPED_TEST(NearPointsOf, VisitsAllThatMatch)
{
    using V = TypeParam;
    using T = typename V::value_type;
    constexpr int kDimension = std::is_same_v<V, Vec2f> || std::is_same_v<V, Vec2d> ? 2 : 3;
    Support::Random random(11);
    const int exponents = std::numeric_limits<T>::max_exponent;
    for (int trial = 0; trial < Support::Rounds(400); ++trial) {
        SCOPED_TRACE(trial);
        const T tolerance =
            static_cast<T>(std::ldexp(1 + random.Unit(), random.Below(2 * exponents) - exponents));
        std::vector<V> points;
        // Around the origin, in steps of the tolerance, and far out where it is near the rounding.
        const double scale =
            static_cast<double>(tolerance) * std::pow(2.0, trial % 2 == 0 ? 2 : random.Below(60));
        for (int i = 0; i < 40; ++i) {
            V p;
            for (int axis = 0; axis < kDimension; ++axis) {
                const double whole = std::floor(random.Between(-3, 3)) * scale;
                p[axis] = static_cast<T>(i % 2 == 0 ? whole : random.Between(-1, 1) * scale);
            }
            const auto isFinite = [&p] {
                return std::all_of(p.begin(), p.end(), [](T x) { return std::isfinite(x); });
            };
            if (isFinite()) {
                points.push_back(p);
                p[0] += tolerance;
                if (isFinite()) {
                    points.push_back(p);
                }
            }
        }
        ExpectMatchesVisited(points, tolerance);
        ExpectMatchesVisited(points, T{0});
        ExpectMatchesVisited(points, std::numeric_limits<T>::infinity());
    }
}

TYPED_TEST(NearPointsOf, VisitsWhatMatchesOnlyByRounding)
{
    using V = TypeParam;
    using T = typename V::value_type;
    const T hair = std::numeric_limits<T>::epsilon() / 64;
    for (const T sense : {T(1), T(-1)}) {
        V a;
        V b;
        a[0] = sense;
        b[0] = -sense * hair;
        ASSERT_TRUE(Matches(a, b, T(1)));
        ExpectMatchesVisited(std::vector<V>{a, b}, T(1));
    }
}

TYPED_TEST(NearPointsOf, NegativeAndNanTolerancesVisitNothing)
{
    using V = TypeParam;
    using T = typename V::value_type;
    constexpr int kDimension = std::is_same_v<V, Vec2f> || std::is_same_v<V, Vec2d> ? 2 : 3;
    for (const T tolerance : {T(-1), std::numeric_limits<T>::quiet_NaN()}) {
        NearPoints<kDimension, T> near(2, tolerance);
        near.Add(V{}, 0);
        EXPECT_TRUE(Visited(near, V{}).empty());
    }
}

TEST(NearPoints, LastAddedComesFirstAndVisitsEndOrDropEntries)
{
    NearPoints<2, double> near(3, 0.5);
    const Vec2d place(1, 1); // its cell holds everything within 0.5 of it
    for (const int number : {7, 8, 9}) {
        near.Add(place, number);
    }
    EXPECT_EQ(Visited(near, place), (std::vector<int>{9, 8, 7}));
    std::vector<int> seen;
    near.VisitNear(place, [&](int number) {
        seen.push_back(number);
        return number == 9 ? Visiting::Remove : Visiting::Stop;
    });
    EXPECT_EQ(seen, (std::vector<int>{9, 8}));
    EXPECT_EQ(Visited(near, place), (std::vector<int>{8, 7}));
}

} // namespace
