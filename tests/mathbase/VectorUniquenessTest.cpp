// The uniqueness filters and searches as a caller sees them: the rules by small cases with known
// answers, and a slow twin that follows the rule word by word on thousands of small sets.

#include <Velk/Math/Vector_E.h>

#include "tests/support/Rounds.h"
#include "tests/support/TestSupport.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <limits>
#include <numeric>
#include <string>
#include <type_traits>
#include <vector>

namespace {

using namespace Velk::Math;
using Vector::FilterForUniqueness;
using Vector::FilterForUniquenessAndIndex;
using Vector::IndexInUniqueVector;
using Vector::Matches;
using Vector::SearchInUniqueVector;

template <class V>
using ScalarOf = typename V::value_type;

template <class V>
class Uniqueness : public testing::Test {
};
using Points = testing::Types<Vec2f, Vec2d, Vec3f, Vec3d>;
TYPED_TEST_SUITE(Uniqueness, Points);

template <class T>
constexpr T kInf = std::numeric_limits<T>::infinity();
template <class T>
constexpr T kNan = std::numeric_limits<T>::quiet_NaN();

/// (x, y) in the plane, (x, y, 0) in space.
template <class V>
V At(double x, double y)
{
    V v;
    v[0] = static_cast<ScalarOf<V>>(x);
    v[1] = static_cast<ScalarOf<V>>(y);
    return v;
}

// --- the slow twin ------------------------------------------------------------------------------

/// Order of numbers with NaN last.
template <class T>
int Compare(T a, T b)
{
    if (std::isnan(a) || std::isnan(b)) {
        return static_cast<int>(std::isnan(a)) - static_cast<int>(std::isnan(b));
    }
    return a < b ? -1 : (b < a ? 1 : 0);
}

template <class V>
bool ComesBefore(const V& a, const V& b)
{
    for (int i = 0; i < V::size(); ++i) {
        if (const int order = Compare(a[i], b[i]); order != 0) {
            return order < 0;
        }
    }
    return false;
}

/// Squared distance with room for every exponent of double and more digits.
template <class V>
long double SquaredDistance(const V& a, const V& b)
{
    long double sum = 0;
    for (int i = 0; i < V::size(); ++i) {
        const long double d = static_cast<long double>(a[i]) - static_cast<long double>(b[i]);
        sum += d * d;
    }
    return sum;
}

template <class V>
int SlowIndex(const std::vector<V>& unique, const V& point, ScalarOf<V> tolerance)
{
    int best = -1;
    for (int i = 0; i < static_cast<int>(unique.size()); ++i) {
        const auto& member = unique[static_cast<std::size_t>(i)];
        if (!Matches(member, point, tolerance)) {
            continue;
        }
        if (member == point) {
            return i;
        }
        if (best < 0 || SquaredDistance(member, point) <
                            SquaredDistance(unique[static_cast<std::size_t>(best)], point)) {
            best = i;
        }
    }
    return best;
}

/// May `index` be what a search for `point` among `unique` gives? The nearest of those that match,
/// the lower index when two are equally near, by squared distances in `double`: a rounding for each
/// difference, which counts twice in its square, one for the square and N - 1 for the sum, so N + 2
/// roundings for each of the two that are compared. Members that are off by the same amounts along
/// every axis are equally near whatever the rounding.
template <class V>
void ExpectNearest(const std::vector<V>& unique, const V& point, ScalarOf<V> tolerance, int index)
{
    const int nearest = SlowIndex(unique, point, tolerance);
    if (index == nearest) {
        return;
    }
    ASSERT_GE(nearest, 0);
    ASSERT_GE(index, 0);
    ASSERT_LT(index, static_cast<int>(unique.size()));
    const V& member = unique[static_cast<std::size_t>(index)];
    const V& best = unique[static_cast<std::size_t>(nearest)];
    ASSERT_TRUE(Matches(member, point, tolerance));
    ASSERT_NE(best, point);
    constexpr long double kRounding = std::numeric_limits<double>::epsilon() / 2;
    ASSERT_LE(SquaredDistance(member, point),
              SquaredDistance(best, point) * (1 + 2.1L * (V::size() + 2) * kRounding))
        << index << " instead of " << nearest;
    for (int i = 0; i < index; ++i) {
        const V& lower = unique[static_cast<std::size_t>(i)];
        bool isAsNear = Matches(lower, point, tolerance);
        for (int k = 0; k < V::size(); ++k) {
            isAsNear = isAsNear && std::fabs(static_cast<long double>(lower[k]) - point[k]) ==
                                       std::fabs(static_cast<long double>(member[k]) - point[k]);
        }
        ASSERT_FALSE(isAsNear) << i << " before " << index;
    }
}

template <class V>
struct Filtered {
    std::vector<V> points;
    std::vector<int> index;
};

template <class V>
Filtered<V> SlowFilter(const std::vector<V>& input, ScalarOf<V> tolerance)
{
    std::vector<std::size_t> kept;
    for (std::size_t i = 0; i < input.size(); ++i) {
        if (std::none_of(kept.begin(), kept.end(),
                         [&](std::size_t k) { return Matches(input[i], input[k], tolerance); })) {
            kept.push_back(i);
        }
    }
    std::stable_sort(kept.begin(), kept.end(),
                     [&](std::size_t a, std::size_t b) { return ComesBefore(input[a], input[b]); });
    Filtered<V> result;
    result.index.assign(input.size(), -1);
    for (const std::size_t k : kept) {
        result.index[k] = static_cast<int>(result.points.size());
        result.points.push_back(input[k]);
    }
    for (std::size_t i = 0; i < input.size(); ++i) {
        if (result.index[i] < 0) {
            result.index[i] = SlowIndex(result.points, input[i], tolerance);
        }
    }
    return result;
}

/// The same bits, so that NaN and -0 count too.
template <class V>
void ExpectSamePoints(const std::vector<V>& actual, const std::vector<V>& expected)
{
    ASSERT_EQ(actual.size(), expected.size());
    if (!actual.empty()) {
        EXPECT_EQ(std::memcmp(actual.data(), expected.data(), actual.size() * sizeof(V)), 0);
    }
}

template <class V>
void ExpectAsSlow(const std::vector<V>& input, ScalarOf<V> tolerance)
{
    const Filtered<V> expected = SlowFilter(input, tolerance);
    std::vector<V> points = input;
    FilterForUniqueness(points, tolerance);
    ExpectSamePoints(points, expected.points);

    points = input;
    const std::vector<int> index = FilterForUniquenessAndIndex(points, tolerance);
    ASSERT_NO_FATAL_FAILURE(ExpectSamePoints(points, expected.points));
    ASSERT_EQ(index.size(), input.size());

    for (std::size_t i = 0; i < input.size(); ++i) {
        const int found = IndexInUniqueVector(points, input[i], tolerance);
        ASSERT_NO_FATAL_FAILURE(ExpectNearest(points, input[i], tolerance, found));
        // A look-up leads to the survivor, too. What matches nothing, itself included, survives.
        ASSERT_EQ(index[i], found >= 0 ? found : expected.index[i]);
    }
}

// --- rules --------------------------------------------------------------------------------------

TYPED_TEST(Uniqueness, NothingFromNothing)
{
    std::vector<TypeParam> points;
    FilterForUniqueness(points, ScalarOf<TypeParam>{1});
    EXPECT_TRUE(points.empty());
    EXPECT_TRUE(FilterForUniquenessAndIndex(points, ScalarOf<TypeParam>{1}).empty());
    EXPECT_EQ(IndexInUniqueVector(points, TypeParam{}, ScalarOf<TypeParam>{1}), -1);
}

TYPED_TEST(Uniqueness, OnePointStays)
{
    std::vector<TypeParam> points{At<TypeParam>(3, 4)};
    EXPECT_EQ(FilterForUniquenessAndIndex(points, ScalarOf<TypeParam>{1}), std::vector<int>{0});
    EXPECT_EQ(points, std::vector<TypeParam>{At<TypeParam>(3, 4)});
}

TYPED_TEST(Uniqueness, FirstOccurrenceIsKeptAndSurvivorsAreSorted)
{
    using V = TypeParam;
    std::vector<V> points{At<V>(5, 1), At<V>(1, 2), At<V>(5.125, 1), At<V>(1, 1), At<V>(4.875, 1)};
    const std::vector<int> index = FilterForUniquenessAndIndex(points, ScalarOf<V>{0.25});
    EXPECT_EQ(points, (std::vector<V>{At<V>(1, 1), At<V>(1, 2), At<V>(5, 1)}));
    EXPECT_EQ(index, (std::vector<int>{2, 1, 2, 0, 2}));
}

TYPED_TEST(Uniqueness, ToleranceIsInclusiveAndPerCoordinate)
{
    using V = TypeParam;
    using T = ScalarOf<V>;
    std::vector<V> points{At<V>(0, 0), At<V>(1, -1)}; // Euclidean distance 1.41
    FilterForUniqueness(points, T{1});
    EXPECT_EQ(points.size(), 1U);

    points = {At<V>(0, 0), At<V>(0, 1)};
    points[1][1] = std::nextafter(T{1}, T{2});
    FilterForUniqueness(points, T{1});
    EXPECT_EQ(points.size(), 2U);
}

TYPED_TEST(Uniqueness, DroppedPointsDropNoOthers)
{
    using V = TypeParam;
    // 1 falls to 0; 2 is near 1, but 1 is not kept.
    std::vector<V> points{At<V>(0, 0), At<V>(1, 0), At<V>(2, 0), At<V>(3, 0)};
    EXPECT_EQ(FilterForUniquenessAndIndex(points, ScalarOf<V>{1}), (std::vector<int>{0, 0, 1, 1}));
    EXPECT_EQ(points, (std::vector<V>{At<V>(0, 0), At<V>(2, 0)}));

    // In another order the middle one takes both of its neighbors.
    points = {At<V>(1, 0), At<V>(0, 0), At<V>(2, 0), At<V>(3, 0)};
    EXPECT_EQ(FilterForUniquenessAndIndex(points, ScalarOf<V>{1}), (std::vector<int>{0, 0, 0, 1}));
    EXPECT_EQ(points, (std::vector<V>{At<V>(1, 0), At<V>(3, 0)}));
}

TYPED_TEST(Uniqueness, DroppedPointGoesToTheNearestSurvivorThenTheLowerIndex)
{
    using V = TypeParam;
    using T = ScalarOf<V>;
    // Dropped on account of the first point; the second, kept as well, is nearer.
    std::vector<V> points{At<V>(0, 0), At<V>(8, 0), At<V>(5, 0)};
    EXPECT_EQ(FilterForUniquenessAndIndex(points, T{5}), (std::vector<int>{0, 1, 1}));
    // A survivor that comes later in the input counts as well.
    points = {At<V>(0, 0), At<V>(5, 0), At<V>(8, 0)};
    EXPECT_EQ(FilterForUniquenessAndIndex(points, T{5}), (std::vector<int>{0, 1, 1}));
    // Equally near to both.
    points = {At<V>(8, 0), At<V>(0, 0), At<V>(4, 0)};
    EXPECT_EQ(FilterForUniquenessAndIndex(points, T{5}), (std::vector<int>{1, 0, 0}));
    // Nearest in the Euclidean sense: (3, 3) at 4.24 against (4, 0) at 4.
    points = {At<V>(3, 3), At<V>(-4, -2), At<V>(0, 0)};
    EXPECT_EQ(FilterForUniquenessAndIndex(points, T{4}), (std::vector<int>{1, 0, 1}));
}

TYPED_TEST(Uniqueness, ToleranceZeroMergesExactRepeats)
{
    using V = TypeParam;
    using T = ScalarOf<V>;
    V next = At<V>(1, 2);
    next[1] = std::nextafter(T{2}, T{3});
    std::vector<V> points{At<V>(1, 2), next, At<V>(1, 2), next};
    EXPECT_EQ(FilterForUniquenessAndIndex(points, T{0}), (std::vector<int>{0, 1, 0, 1}));
    EXPECT_EQ(points, (std::vector<V>{At<V>(1, 2), next}));
}

TYPED_TEST(Uniqueness, MinusZeroEqualsZeroAndTheFirstBitsStay)
{
    using V = TypeParam;
    using T = ScalarOf<V>;
    for (const T tolerance : {T{0}, T{0.5}}) {
        std::vector<V> points{At<V>(-0.0, 7), At<V>(0, 7), At<V>(0, 3), At<V>(-0.0, 3)};
        EXPECT_EQ(FilterForUniquenessAndIndex(points, tolerance), (std::vector<int>{1, 1, 0, 0}));
        ASSERT_EQ(points.size(), 2U);
        EXPECT_FALSE(std::signbit(points[0][0]));
        EXPECT_TRUE(std::signbit(points[1][0]));
    }
}

TYPED_TEST(Uniqueness, NegativeAndNanToleranceMergeNothing)
{
    using V = TypeParam;
    using T = ScalarOf<V>;
    for (const T tolerance : {T{-1}, -kInf<T>, kNan<T>, -std::numeric_limits<T>::denorm_min()}) {
        std::vector<V> points{At<V>(2, 0), At<V>(1, 0), At<V>(2, 0), At<V>(1, 0)};
        // Equal points in the order of the input.
        EXPECT_EQ(FilterForUniquenessAndIndex(points, tolerance), (std::vector<int>{2, 0, 3, 1}));
        EXPECT_EQ(points, (std::vector<V>{At<V>(1, 0), At<V>(1, 0), At<V>(2, 0), At<V>(2, 0)}));
        EXPECT_EQ(IndexInUniqueVector(points, At<V>(1, 0), tolerance), -1);
    }
    std::vector<V> points{At<V>(2, 0), At<V>(1, 0), At<V>(2, 0)};
    FilterForUniqueness(points, -kInf<T>);
    EXPECT_EQ(points.size(), 3U);
}

TYPED_TEST(Uniqueness, NanPointsAllSurviveBehindTheNumbers)
{
    using V = TypeParam;
    using T = ScalarOf<V>;
    for (const T tolerance : {T{0}, T{1}, kInf<T>, T{-1}}) {
        std::vector<V> points{At<V>(kNan<T>, 1), At<V>(0, kNan<T>), At<V>(9, 0),
                              At<V>(0, 50),      At<V>(kNan<T>, 1), At<V>(kInf<T>, 0)};
        const std::vector<V> input = points;
        const std::vector<int> index = FilterForUniquenessAndIndex(points, tolerance);
        if (tolerance == kInf<T>) {
            // What is not NaN falls to (9, 0).
            EXPECT_EQ(index, (std::vector<int>{2, 0, 1, 1, 3, 1}));
            continue;
        }
        EXPECT_EQ(index, (std::vector<int>{4, 1, 2, 0, 5, 3}));
        for (std::size_t i = 0; i < input.size(); ++i) {
            const V& survivor = points[static_cast<std::size_t>(index[i])];
            EXPECT_EQ(std::memcmp(&survivor, &input[i], sizeof(V)), 0);
        }
        EXPECT_EQ(IndexInUniqueVector(points, input[0], tolerance), -1);
        EXPECT_EQ(IndexInUniqueVector(points, input[1], tolerance), -1);
    }
}

TYPED_TEST(Uniqueness, InfinitePointsMatchNothingWithinAFiniteTolerance)
{
    using V = TypeParam;
    using T = ScalarOf<V>;
    for (const T tolerance : {T{0}, T{1}, std::numeric_limits<T>::max()}) {
        std::vector<V> points{At<V>(kInf<T>, 0), At<V>(kInf<T>, 0), At<V>(0, -kInf<T>),
                              At<V>(-kInf<T>, 0), At<V>(0, 0)};
        EXPECT_EQ(FilterForUniquenessAndIndex(points, tolerance),
                  (std::vector<int>{3, 4, 1, 0, 2}));
        EXPECT_EQ(IndexInUniqueVector(points, At<V>(kInf<T>, 0), tolerance), -1);
        EXPECT_EQ(IndexInUniqueVector(points, At<V>(0, 0), tolerance), 2);
    }
}

TYPED_TEST(Uniqueness, InfiniteToleranceLeavesTheFirstPoint)
{
    using V = TypeParam;
    using T = ScalarOf<V>;
    const T most = std::numeric_limits<T>::max();
    std::vector<V> points{At<V>(1, 1), At<V>(5, 5), At<V>(-kInf<T>, kInf<T>)};
    points.push_back(At<V>(0, 0));
    points.back()[0] = most;
    EXPECT_EQ(FilterForUniquenessAndIndex(points, kInf<T>), (std::vector<int>{0, 0, 0, 0}));
    EXPECT_EQ(points, std::vector<V>{At<V>(1, 1)});
}

TYPED_TEST(Uniqueness, LargestFiniteToleranceMergesAllButOverflowingDifferences)
{
    using V = TypeParam;
    using T = ScalarOf<V>;
    const T most = std::numeric_limits<T>::max();
    V high = At<V>(0, 0);
    V low = At<V>(0, 0);
    high[1] = most;
    low[1] = -most;
    std::vector<V> points{high, low, At<V>(0, 0), At<V>(-5, 5)};
    // high - low overflows; the others match both, and equal distances go to the lower index.
    EXPECT_EQ(FilterForUniquenessAndIndex(points, most), (std::vector<int>{1, 0, 0, 0}));
    EXPECT_EQ(points, (std::vector<V>{low, high}));
}

TYPED_TEST(Uniqueness, HugeAndTinyScalesAreWeldedLikeAnyOther)
{
    using V = TypeParam;
    using T = ScalarOf<V>;
    const T huge = std::is_same_v<T, float> ? T{0x1p100F} : static_cast<T>(0x1p1000);
    const T tiny = std::numeric_limits<T>::denorm_min();
    for (const T unit : {huge, tiny, std::numeric_limits<T>::min()}) {
        std::vector<V> points;
        for (const int x : {0, 1, 2, 3, 10, 11}) {
            V point;
            point[0] = static_cast<T>(x) * unit;
            point[1] = unit;
            points.push_back(point);
        }
        const std::vector<int> index = FilterForUniquenessAndIndex(points, unit);
        EXPECT_EQ(index, (std::vector<int>{0, 0, 1, 1, 2, 2}));
        for (std::size_t i = 0; i < points.size(); ++i) {
            EXPECT_EQ(IndexInUniqueVector(points, points[i], unit), static_cast<int>(i));
        }
    }
}

TYPED_TEST(Uniqueness, OneFarPointDoesNotBlurTheOthers)
{
    using V = TypeParam;
    using T = ScalarOf<V>;
    std::vector<V> points;
    for (int i = 0; i < 3000; ++i) {
        points.push_back(At<V>(i % 50, i / 50 % 20)); // 1000 points, each three times
    }
    points.push_back(At<V>(0, 0));
    points.back()[0] = std::numeric_limits<T>::max();
    FilterForUniqueness(points, T{0.25});
    EXPECT_EQ(points.size(), 1001U);
}

// --- searches -----------------------------------------------------------------------------------

TYPED_TEST(Uniqueness, SearchTakesTheNearestThenTheLowerIndex)
{
    using V = TypeParam;
    using T = ScalarOf<V>;
    const std::vector<V> members{At<V>(0, 0), At<V>(0, 4), At<V>(4, 0), At<V>(4, 4)};
    EXPECT_EQ(IndexInUniqueVector(members, At<V>(1, 1), T{3}), 0);
    EXPECT_EQ(IndexInUniqueVector(members, At<V>(2, 2), T{2}), 0);
    EXPECT_EQ(IndexInUniqueVector(members, At<V>(2, 3), T{3}), 1);
    EXPECT_EQ(IndexInUniqueVector(members, At<V>(3, 2), T{3}), 2);
    EXPECT_EQ(IndexInUniqueVector(members, At<V>(2, 2), T{1.5}), -1);
    // With a tolerance that spans them all every member finds itself.
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(IndexInUniqueVector(members, members[static_cast<std::size_t>(i)], T{100}), i);
    }
}

TYPED_TEST(Uniqueness, MembersFindThemselvesWhereSquaresUnderflow)
{
    using V = TypeParam;
    using T = ScalarOf<V>;
    const T tiny = std::numeric_limits<T>::denorm_min();
    V second = At<V>(0, 0);
    V third = At<V>(0, 0);
    second[0] = tiny;
    third[0] = 4 * tiny;
    const std::vector<V> members{At<V>(0, 0), second, third};
    for (const T tolerance : {4 * tiny, T{1}}) {
        EXPECT_EQ(IndexInUniqueVector(members, members[0], tolerance), 0);
        EXPECT_EQ(IndexInUniqueVector(members, members[1], tolerance), 1);
        EXPECT_EQ(IndexInUniqueVector(members, members[2], tolerance), 2);
    }
    V between = At<V>(0, 0);
    between[0] = 3 * tiny;
    EXPECT_EQ(IndexInUniqueVector(members, between, 4 * tiny), 2); // 1 off, the others 2 and 3
}

TYPED_TEST(Uniqueness, SearchOnAGridOfEqualCoordinates)
{
    using V = TypeParam;
    using T = ScalarOf<V>;
    std::vector<V> points;
    for (int x = 0; x < 40; ++x) {
        for (int y = 0; y < 60; ++y) {
            points.push_back(At<V>(x, y));
        }
    }
    FilterForUniqueness(points, T{0.25});
    for (int x = 0; x < 40; ++x) {
        for (int y = 0; y < 60; ++y) {
            ASSERT_EQ(IndexInUniqueVector(points, At<V>(x + 0.125, y - 0.25), T{0.25}), 60 * x + y);
            ASSERT_EQ(IndexInUniqueVector(points, At<V>(x + 0.5, y), T{0.25}), -1);
            ASSERT_EQ(IndexInUniqueVector(points, At<V>(x, y - 0.375), T{0.25}), -1);
        }
    }
}

template <class V>
void ExpectFlagAgrees()
{
    using T = ScalarOf<V>;
    const std::vector<V> members{At<V>(0, 0), At<V>(1, 0), At<V>(2, 0)};
    EXPECT_EQ(SearchInUniqueVector(members, At<V>(1.25, 0), T{0.5}), (CheckedIdx{1, true}));
    EXPECT_EQ(SearchInUniqueVector(members, At<V>(0, 0), T{0}), (CheckedIdx{0, true}));
    EXPECT_EQ(SearchInUniqueVector(members, At<V>(5, 0), T{0.5}), CheckedIdx{});
    EXPECT_FALSE(SearchInUniqueVector(members, At<V>(5, 0), T{0.5}).valid);
    EXPECT_FALSE(SearchInUniqueVector({}, At<V>(5, 0), T{0.5}).valid);
    EXPECT_FALSE(SearchInUniqueVector(members, At<V>(0, 0), T{-1}).valid);
}

TEST(SearchInUniqueVector, FlagTellsFromIndexZero)
{
    ExpectFlagAgrees<Vec2f>();
    ExpectFlagAgrees<Vec2d>();
    ExpectFlagAgrees<Vec3d>();
}

// --- against the slow twin ----------------------------------------------------------------------

/// Small sets of many kinds; coordinates of all kinds but the continuous ones give ties in plenty.
template <class V>
std::vector<V> MakeSet(Support::Random& random, int kind, ScalarOf<V> unit)
{
    using T = ScalarOf<V>;
    const T special[] = {0,
                         -T{0},
                         1,
                         -1,
                         kNan<T>,
                         kInf<T>,
                         -kInf<T>,
                         std::numeric_limits<T>::max(),
                         std::numeric_limits<T>::lowest(),
                         std::numeric_limits<T>::denorm_min()};
    std::vector<V> points(static_cast<std::size_t>(random.Below(kind == 5 ? 400 : 70)));
    const int range = 2 + random.Below(12);
    for (V& point : points) {
        for (int i = 0; i < V::size(); ++i) {
            T& x = point[i];
            switch (kind) {
            case 0: // lattice at half the unit
                x = static_cast<T>(random.Below(range)) * unit / 2;
                break;
            case 1: // clusters of about the unit's size, far apart
                x = static_cast<T>(100 * random.Below(3)) * unit +
                    static_cast<T>(random.Between(-1, 1)) * unit;
                break;
            case 2: // one axis spread, the others within noise of each other
                x = i == range % V::size() ? static_cast<T>(random.Between(0, 40)) * unit
                                           : static_cast<T>(random.Between(0, 0.01)) * unit;
                break;
            case 3: // numbers next to each other
                x = static_cast<T>(3) * unit;
                for (int step = random.Below(6); step > 0; --step) {
                    x = std::nextafter(x, kInf<T>);
                }
                break;
            case 4: // anything that is not a plain number
                x = special[random.Below(10)];
                break;
            default: // crowded throughout: no gap along any axis
                x = static_cast<T>(random.Between(0, range)) * unit;
                break;
            }
        }
    }
    return points;
}

TYPED_TEST(Uniqueness, AgreesWithTheSlowTwin)
{
    using T = ScalarOf<TypeParam>;
    Support::Random random(17);
    const T large = std::is_same_v<T, float> ? T{1e30F} : static_cast<T>(1e300);
    const T small = std::is_same_v<T, float> ? T{1e-40F} : static_cast<T>(1e-310);
    for (int trial = 0; trial < Support::Rounds(3000); ++trial) {
        const int kind = trial % 6;
        const T units[] = {1, static_cast<T>(0.1), large, small};
        const T unit = units[random.Below(4)];
        SCOPED_TRACE("trial " + std::to_string(trial));
        const auto points = MakeSet<TypeParam>(random, kind, unit);
        const T ulp = std::nextafter(unit, kInf<T>) - unit;
        const T tolerances[] = {
            unit, unit / 2, 0, static_cast<T>(1.5) * unit, ulp, 2 * ulp, -1, kNan<T>, 1, kInf<T>};
        ExpectAsSlow(points, tolerances[random.Below(kind == 4 ? 10 : 8)]);
        if (this->HasFailure()) {
            return;
        }
    }
}

TYPED_TEST(Uniqueness, SearchesAgreeWithTheSlowTwinOffTheMembers)
{
    using T = ScalarOf<TypeParam>;
    Support::Random random(18);
    for (int trial = 0; trial < Support::Rounds(1200); ++trial) {
        SCOPED_TRACE("trial " + std::to_string(trial));
        auto members = MakeSet<TypeParam>(random, trial % 6, T{1});
        FilterForUniqueness(members, T{0.5});
        for (const auto& query : MakeSet<TypeParam>(random, trial % 6, T{1})) {
            // Also with tolerances for which the members are not unique.
            for (const T tolerance : {T{0.5}, T{0}, T{2}, T{1000}, kInf<T>}) {
                SCOPED_TRACE("tolerance " + std::to_string(tolerance));
                ASSERT_NO_FATAL_FAILURE(ExpectNearest(
                    members, query, tolerance, IndexInUniqueVector(members, query, tolerance)));
            }
        }
    }
}

// --- properties on larger sets ------------------------------------------------------------------

template <class V>
void ExpectConsistent(const std::vector<V>& input, ScalarOf<V> tolerance)
{
    std::vector<V> points = input;
    const std::vector<int> index = FilterForUniquenessAndIndex(points, tolerance);
    ASSERT_EQ(index.size(), input.size());
    EXPECT_TRUE(std::is_sorted(points.begin(), points.end(), ComesBefore<V>));
    for (std::size_t i = 0; i < input.size(); ++i) {
        ASSERT_GE(index[i], 0);
        ASSERT_LT(index[i], static_cast<int>(points.size()));
        ASSERT_TRUE(Matches(input[i], points[static_cast<std::size_t>(index[i])], tolerance));
        ASSERT_EQ(IndexInUniqueVector(points, input[i], tolerance), index[i]);
    }
    // No two survivors match: neighbors in x, as far as the tolerance reaches.
    for (std::size_t i = 0; i < points.size(); ++i) {
        for (std::size_t j = i + 1; j < points.size() && points[j][0] - points[i][0] <= tolerance;
             ++j) {
            ASSERT_FALSE(Matches(points[i], points[j], tolerance));
        }
    }
    std::vector<V> again = points;
    std::vector<int> identity(points.size());
    std::iota(identity.begin(), identity.end(), 0);
    EXPECT_EQ(FilterForUniquenessAndIndex(again, tolerance), identity);
    EXPECT_EQ(again, points);
    points = input;
    FilterForUniqueness(points, tolerance);
    EXPECT_EQ(points, again);
}

TYPED_TEST(Uniqueness, LargeSetsAreConsistent)
{
    using V = TypeParam;
    using T = ScalarOf<V>;
    Support::Random random(19);
    // More points than one chunk of any step, with repeats near and far, coarse and fine
    // tolerances.
    constexpr int kHalf = Support::FullOr(30'000, 10'000);
    std::vector<V> points;
    for (int i = 0; i < kHalf; ++i) {
        points.push_back(random.Vector<V::size(), T>(-100, 100));
    }
    for (int i = 0; i < kHalf; ++i) {
        V point = points[static_cast<std::size_t>(random.Below(kHalf))];
        if (i % 2 == 0) {
            point += random.Vector<V::size(), T>(-0.001, 0.001);
        }
        points.push_back(point);
    }
    for (const T tolerance : {T{0}, static_cast<T>(0.0005), static_cast<T>(0.01), T{1}, T{500}}) {
        SCOPED_TRACE(tolerance);
        ExpectConsistent(points, tolerance);
    }
}

TYPED_TEST(Uniqueness, GridWithEveryCornerRepeatedWeldsToTheGrid)
{
    using V = TypeParam;
    using T = ScalarOf<V>;
    constexpr int kCells = 150;
    std::vector<V> soup;
    for (int row = 0; row < kCells; ++row) {
        for (int column = 0; column < kCells; ++column) {
            for (const auto& [i, j] : {std::pair(0, 0), {1, 0}, {1, 1}, {0, 0}, {1, 1}, {0, 1}}) {
                soup.push_back(At<V>(column + i, row + j));
            }
        }
    }
    for (const T tolerance : {T{0}, T{0.25}}) {
        std::vector<V> points = soup;
        const std::vector<int> index = FilterForUniquenessAndIndex(points, tolerance);
        ASSERT_EQ(points.size(), static_cast<std::size_t>((kCells + 1) * (kCells + 1)));
        for (std::size_t i = 0; i < soup.size(); ++i) {
            // Sorted by x, then y: column after column.
            const int expected =
                static_cast<int>(soup[i][0]) * (kCells + 1) + static_cast<int>(soup[i][1]);
            ASSERT_EQ(index[i], expected);
        }
    }
}

} // namespace
