// Vertices that two lists of polylines have in common.

#include <Velk/Math/Intersect_E.h>

#include "tests/support/TestSupport.h"

#include <limits>
#include <numeric>
#include <vector>

namespace {

using Velk::Math::PolyNodeDescriptor;
using Velk::Math::VecBase;
using Velk::Math::Intersect::IntersectPolylines;

template <class T>
using Polylines = std::vector<std::vector<VecBase<2, T>>>;
using Groups = std::vector<std::vector<PolyNodeDescriptor>>;

template <class T>
class CommonVertices : public testing::Test {
};
using Coordinates = testing::Types<float, double>;
TYPED_TEST_SUITE(CommonVertices, Coordinates);

TYPED_TEST(CommonVertices, NumbersRunThroughBothLists)
{
    using T = TypeParam;
    const Polylines<T> a{{{0, 0}, {1, 0}}, {{5, 5}, {2, 2}, {3, 3}}};
    const Polylines<T> b{{{9, 9}, {1, 0}}, {{3, 3}, {5, 5}}};
    const Groups expected{{{0, 1}, {2, 1}}, {{1, 0}, {3, 1}}, {{1, 2}, {3, 0}}};
    EXPECT_EQ(IntersectPolylines(a, b, T(1e-6)), expected);
}

TYPED_TEST(CommonVertices, ClosedPolylinesListBothEndsOfTheLoop)
{
    using T = TypeParam;
    const Polylines<T> a{{{0, 0}, {1, 0}, {1, 1}, {0, 0}}};
    const Polylines<T> b{{{0, 0}, {-1, 0}}};
    const Groups expected{{{0, 0}, {0, 3}, {1, 0}}};
    EXPECT_EQ(IntersectPolylines(a, b, T(0)), expected);
}

TYPED_TEST(CommonVertices, MeetingsWithinOneListAreNoCrossings)
{
    using T = TypeParam;
    const Polylines<T> a{{{0, 0}, {1, 0}}, {{1, 0}, {2, 0}}};
    const Polylines<T> b{{{7, 7}, {8, 8}}, {{8, 8}, {9, 9}}};
    EXPECT_TRUE(IntersectPolylines(a, b, T(1e-6)).empty());
    EXPECT_TRUE(IntersectPolylines(a, {}, T(1e-6)).empty());
    EXPECT_TRUE(IntersectPolylines({}, b, T(1e-6)).empty());
    EXPECT_TRUE(IntersectPolylines(Polylines<T>{}, {}, T(1e-6)).empty());
}

TYPED_TEST(CommonVertices, ToleranceIsPerCoordinateAndInclusive)
{
    using T = TypeParam;
    const Polylines<T> a{{{0, 0}}};
    EXPECT_EQ(IntersectPolylines(a, {{{T(0.5), T(-0.5)}}}, T(0.5)).size(), 1U);
    EXPECT_EQ(IntersectPolylines(a, {{{T(0.5), T(-0.625)}}}, T(0.5)).size(), 0U);
}

TYPED_TEST(CommonVertices, DifferencesThatRoundToTheToleranceCoincide)
{
    using T = TypeParam;
    // A hair over the tolerance, but not in coordinates of type T.
    const T hair = std::numeric_limits<T>::epsilon() / 64;
    for (const T tolerance : {T(1), T(0.75), T(3)}) {
        SCOPED_TRACE(tolerance);
        for (const T sense : {T(1), T(-1)}) {
            const VecBase<2, T> near{sense * tolerance, sense * tolerance};
            const VecBase<2, T> far{-sense * hair, -sense * hair};
            ASSERT_TRUE(Matches(near, far, tolerance));
            EXPECT_EQ(IntersectPolylines({{near}}, {{far}}, tolerance).size(), 1U);
            EXPECT_EQ(IntersectPolylines({{far}}, {{near}}, tolerance).size(), 1U);
        }
    }
}

TYPED_TEST(CommonVertices, TheSmallestToleranceIsOneToo)
{
    using T = TypeParam;
    const T least = std::numeric_limits<T>::denorm_min();
    const Polylines<T> a{{{0, 0}, {4 * least, 0}, {9 * least, 0}}};
    const Groups first{{{0, 0}, {1, 0}}};
    EXPECT_EQ(IntersectPolylines(a, {{{least, -least}}}, least), first);
    EXPECT_TRUE(IntersectPolylines(a, {{{2 * least, 0}}}, least).empty());
    const Groups both{{{0, 0}, {0, 1}, {1, 0}}};
    EXPECT_EQ(IntersectPolylines(a, {{{2 * least, 0}}}, 2 * least), both);
}

TYPED_TEST(CommonVertices, ARowOfNearVerticesIsOneGroup)
{
    using T = TypeParam;
    Polylines<T> a(1);
    for (int i = 0; i < 40; ++i) {
        a[0].push_back({T(0.75) * static_cast<T>(i), 0});
    }
    const auto groups = IntersectPolylines(a, {{{T(30), T(0.5)}}}, T(1)); // next to the last only
    ASSERT_EQ(groups.size(), 1U);
    EXPECT_EQ(groups[0].size(), 41U);
    EXPECT_TRUE(IntersectPolylines(a, {{{T(30), T(0.5)}}}, T(0.6)).empty());
}

TYPED_TEST(CommonVertices, BadInputMatchesNothing)
{
    using T = TypeParam;
    const T nan = std::numeric_limits<T>::quiet_NaN();
    const T inf = std::numeric_limits<T>::infinity();
    const Polylines<T> a{{{nan, 0}, {inf, inf}, {1, 1}}, {}};
    EXPECT_EQ(IntersectPolylines(a, a, T(1e-6)), (Groups{{{0, 2}, {2, 2}}}));
    EXPECT_TRUE(IntersectPolylines(a, a, T(-1)).empty());
    EXPECT_TRUE(IntersectPolylines(a, a, nan).empty());
    const Groups all{{{0, 2}, {2, 2}}};
    EXPECT_EQ(IntersectPolylines(a, a, inf), all);
    EXPECT_EQ(IntersectPolylines(a, a, std::numeric_limits<T>::max()), all);
}

TYPED_TEST(CommonVertices, MatchesAllPairsInCrowds)
{
    using T = TypeParam;
    Support::Random random(21);
    // The tolerance from far below the spacing to far above, at the origin and far from it, and
    // below the rounding of the coordinates.
    for (int trial = 0; trial < 300; ++trial) {
        SCOPED_TRACE(trial);
        const double offset = trial % 3 == 0 ? 0 : (trial % 3 == 1 ? 1000 : -1e6);
        const double extent = trial % 2 == 0 ? 1 : 20;
        const T tolerance = trial % 5 == 0 ? T(0) : static_cast<T>(0.5 * random.Unit());
        std::vector<Polylines<T>> lists(2);
        std::vector<VecBase<2, T>> points;
        std::vector<PolyNodeDescriptor> descriptors;
        int polyline = 0;
        std::size_t firstOfSecond = 0;
        for (Polylines<T>& list : lists) {
            firstOfSecond = points.size();
            for (int p = 0; p < 3; ++p, ++polyline) {
                list.emplace_back();
                for (int n = random.Below(30); n > 0; --n) {
                    VecBase<2, T> v = random.Vector<2, T>(offset, offset + extent);
                    if (trial % 4 == 0) {
                        v = {std::round(v.x()), std::round(v.y())};
                    }
                    descriptors.push_back({polyline, static_cast<int>(list.back().size())});
                    list.back().push_back(v);
                    points.push_back(v);
                }
            }
        }
        // Twin: label propagation over all pairs.
        std::vector<std::size_t> label(points.size());
        std::iota(label.begin(), label.end(), std::size_t{0});
        for (bool changed = true; changed;) {
            changed = false;
            for (std::size_t i = 0; i < points.size(); ++i) {
                for (std::size_t j = 0; j < points.size(); ++j) {
                    if (label[j] < label[i] && Matches(points[i], points[j], tolerance)) {
                        label[i] = label[j];
                        changed = true;
                    }
                }
            }
        }
        Groups expected;
        for (std::size_t root = 0; root < points.size(); ++root) {
            std::vector<PolyNodeDescriptor> group;
            bool ofSecond = false;
            for (std::size_t i = 0; i < points.size(); ++i) {
                if (label[i] == root) {
                    group.push_back(descriptors[i]);
                    ofSecond = ofSecond || i >= firstOfSecond;
                }
            }
            if (root < firstOfSecond && ofSecond && !group.empty()) {
                expected.push_back(group);
            }
        }
        EXPECT_EQ(IntersectPolylines(lists[0], lists[1], tolerance), expected);
    }
}

TEST(CommonVerticesCrowd, ManyVerticesInOnePlace)
{
    // All pairs would be 4e10.
    const Polylines<double> a{std::vector<VecBase<2, double>>(100'000, {1, 1})};
    const auto groups = IntersectPolylines(a, a, 1e-12);
    ASSERT_EQ(groups.size(), 1U);
    EXPECT_EQ(groups[0].size(), 200'000U);
}

} // namespace
