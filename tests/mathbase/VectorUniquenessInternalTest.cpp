// The inside of the uniqueness filters: that hostile arrangements stay cheap (by counted work),
// that the number of threads changes no bit, that cells miss no match, and that the look-up built
// once answers as the single search does.

#include "mathbase/CellGrid_Impl.h"
#include "mathbase/PointRecords_Impl.h"
#include "mathbase/VectorUniqueness_Impl.h"

#include "tests/support/Rounds.h"
#include "tests/support/TestSupport.h"
#include "tests/support/ThreadLimit.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <limits>
#include <map>
#include <string>
#include <type_traits>
#include <vector>

namespace {

using namespace Velk::Math;
namespace Impl = Vector::Impl;

template <class V>
using ScalarOf = typename V::value_type;
template <class T>
constexpr T kInf = std::numeric_limits<T>::infinity();
template <class T>
constexpr T kNan = std::numeric_limits<T>::quiet_NaN();

template <class V>
class UniquenessInside : public testing::Test {
};
using Points = testing::Types<Vec2f, Vec2d, Vec3f, Vec3d>;
TYPED_TEST_SUITE(UniquenessInside, Points);

// --- arrangements -------------------------------------------------------------------------------

template <class V>
using Arrangement = std::vector<V> (*)(int count);

template <class V>
std::vector<V> AllEqual(int count)
{
    V point;
    point[0] = 3;
    return std::vector<V>(static_cast<std::size_t>(count), point);
}

template <class V>
std::vector<V> ColumnOfOneX(int count)
{
    Support::Random random(1);
    std::vector<V> points(static_cast<std::size_t>(count));
    for (V& point : points) {
        point[0] = 12;
        point[V::size() - 1] = static_cast<ScalarOf<V>>(random.Below(count));
    }
    return points;
}

template <class V>
std::vector<V> FlatGrid(int count)
{
    std::vector<V> points(static_cast<std::size_t>(count));
    const int side = static_cast<int>(std::sqrt(count)) + 1;
    for (int i = 0; i < count; ++i) {
        V& point = points[static_cast<std::size_t>(i)];
        point[0] = static_cast<ScalarOf<V>>(i % side);
        point[1] = static_cast<ScalarOf<V>>(i / side);
    }
    return points;
}

/// The grid with noise far below the tolerance on x, and turned upright where there is room.
template <class V>
std::vector<V> NoisyPlane(int count)
{
    Support::Random random(2);
    std::vector<V> points = FlatGrid<V>(count);
    for (V& point : points) {
        if (V::size() == 3) {
            point[V::size() - 1] = point[0];
            point[0] = 0;
        }
        point[0] += static_cast<ScalarOf<V>>(1e-6 * random.Unit());
    }
    return points;
}

/// Crowded on every axis; `spacing` is the mean distance over the tolerance of 1/4.
template <class V>
std::vector<V> Cloud(int count, double spacing)
{
    Support::Random random(3);
    const double side = 0.25 * spacing * std::pow(count, 1.0 / V::size());
    std::vector<V> points;
    for (int i = 0; i < count; ++i) {
        points.push_back(random.Vector<V::size(), ScalarOf<V>>(0, side));
    }
    return points;
}
template <class V>
std::vector<V> SparseCloud(int count)
{
    return Cloud<V>(count, 1.2);
}
template <class V>
std::vector<V> DenseCloud(int count)
{
    return Cloud<V>(count, 0.1);
}
template <class V>
std::vector<V> AllWithinTolerance(int count)
{
    Support::Random random(4);
    std::vector<V> points;
    for (int i = 0; i < count; ++i) {
        points.push_back(random.Vector<V::size(), ScalarOf<V>>(7, 7.25));
    }
    return points;
}

/// A long diagonal chain with steps below the tolerance, so that no axis has a gap, and a dense
/// blob on it: cells fit for the extent are far too wide for the blob.
template <class V>
std::vector<V> ChainWithBlob(int count)
{
    Support::Random random(5);
    std::vector<V> points;
    for (int i = 0; i < count; ++i) {
        V point;
        for (int axis = 0; axis < V::size(); ++axis) {
            point[axis] = static_cast<ScalarOf<V>>(
                i % 2 == 0 ? 0.1 * i : 10 + random.Between(0, 0.25 * std::pow(count, 0.3)));
        }
        points.push_back(point);
    }
    return points;
}

/// Ten far larger coordinates among small ones.
template <class V>
std::vector<V> FarPoints(int count)
{
    std::vector<V> points = SparseCloud<V>(count);
    for (int i = 0; i < 10; ++i) {
        points[static_cast<std::size_t>(i * (count / 10))][0] =
            std::ldexp(std::numeric_limits<ScalarOf<V>>::max(), -i);
    }
    return points;
}

template <class V>
std::vector<V> NotNumbers(int count)
{
    std::vector<V> points(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
        points[static_cast<std::size_t>(i)][i % V::size()] =
            i % 3 == 0 ? kInf<ScalarOf<V>> : kNan<ScalarOf<V>>;
    }
    return points;
}

template <class V>
std::map<std::string, Arrangement<V>> Arrangements()
{
    return {{"AllEqual", AllEqual<V>},           {"ColumnOfOneX", ColumnOfOneX<V>},
            {"FlatGrid", FlatGrid<V>},           {"NoisyPlane", NoisyPlane<V>},
            {"SparseCloud", SparseCloud<V>},     {"DenseCloud", DenseCloud<V>},
            {"ChainWithBlob", ChainWithBlob<V>}, {"AllWithinTolerance", AllWithinTolerance<V>},
            {"FarPoints", FarPoints<V>},         {"NotNumbers", NotNumbers<V>}};
}

/// Greedy by definition, with only the x-window to spare time; index of a kept point for each
/// point.
template <class V>
std::vector<bool> SlowKept(const std::vector<V>& points, ScalarOf<V> tolerance)
{
    std::vector<std::size_t> kept;
    std::vector<bool> isKept(points.size());
    for (std::size_t i = 0; i < points.size(); ++i) {
        isKept[i] = std::none_of(kept.begin(), kept.end(), [&](std::size_t k) {
            return Vector::Matches(points[i], points[k], tolerance);
        });
        if (isKept[i]) {
            kept.push_back(i);
        }
    }
    return isKept;
}

TYPED_TEST(UniquenessInside, ArrangementsAreFilteredByTheRule)
{
    using V = TypeParam;
    constexpr ScalarOf<V> kTolerance{0.25};
    for (const auto& [name, arrange] : Arrangements<V>()) {
        SCOPED_TRACE(name);
        const std::vector<V> input = arrange(Support::FullOr(4000, 1000));
        std::vector<V> points = input;
        std::vector<int> index;
        Impl::FilterForUniqueness(points, kTolerance, &index, nullptr);
        const std::vector<bool> isKept = SlowKept(input, kTolerance);
        ASSERT_EQ(points.size(),
                  static_cast<std::size_t>(std::count(isKept.begin(), isKept.end(), true)));
        for (std::size_t i = 0; i < input.size(); ++i) {
            const V& survivor = points[static_cast<std::size_t>(index[i])];
            if (isKept[i]) {
                ASSERT_EQ(std::memcmp(&survivor, &input[i], sizeof(V)), 0);
            } else {
                ASSERT_TRUE(Vector::Matches(survivor, input[i], kTolerance));
                std::int64_t visits = 0;
                ASSERT_EQ(Impl::IndexInUniqueVector(points, input[i], kTolerance, visits),
                          index[i]);
            }
        }
    }
}

// --- counted work -------------------------------------------------------------------------------

TYPED_TEST(UniquenessInside, WorkGrowsWithThePointsWhateverTheArrangement)
{
    using V = TypeParam;
    for (const auto& [name, arrange] : Arrangements<V>()) {
        SCOPED_TRACE(name);
        double perPoint[2];
        for (const int doubled : {0, 1}) {
            const int count = Support::FullOr(20'000, 5'000) * (1 + doubled);
            std::vector<V> points = arrange(count);
            Impl::UniquenessWork work;
            Impl::FilterForUniqueness(points, ScalarOf<V>{0.25}, nullptr, &work);
            perPoint[doubled] = static_cast<double>(work.pairsCompared) / count;
            // Two tables at most half full: 2.5 looks a point for a miss in each, by Knuth's
            // formula for linear probing.
            EXPECT_LT(work.tableProbes, 8 * count);
        }
        // At most 27 cells (3D) that hold at most 27 kept points each; all pairs would be
        // thousands.
        EXPECT_LT(perPoint[0], 27 * 27);
        EXPECT_LT(perPoint[1], 1.5 * perPoint[0] + 4);
    }
}

/// Different points of one hash: the second component undoes what the first did to the state of the
/// hash, which is multiplicative.
std::vector<Vec2d> PointsOfOneHash(int count)
{
    Support::Random random(6);
    std::vector<Vec2d> points;
    while (static_cast<int>(points.size()) < count) {
        const double x = random.Between(1, 2);
        std::uint64_t state = std::bit_cast<std::uint64_t>(x) * 0x9e3779b97f4a7c15U;
        state ^= state >> 32U;
        const auto y = std::bit_cast<double>(state ^ 0x123456789abcdef0U);
        if (std::isfinite(y)) {
            points.push_back({x, y});
        }
    }
    return points;
}

TEST(UniquenessHash, PointsMadeToCollideAreStillCheap)
{
    for (const int count : {20'000, 80'000}) {
        const std::vector<Vec2d> distinct = PointsOfOneHash(count);
        const std::size_t hash = std::hash<Vec2d>{}(distinct[0]);
        ASSERT_TRUE(std::all_of(distinct.begin(), distinct.end(), [&](const Vec2d& p) {
            return std::hash<Vec2d>{}(p) == hash;
        })) << "the hash has changed: make other points";
        std::vector<Vec2d> points = distinct;
        points.insert(points.end(), distinct.rbegin(), distinct.rend());
        Impl::UniquenessWork work;
        std::vector<int> index;
        Impl::FilterForUniqueness(points, 0.0, &index, &work);
        EXPECT_LT(work.tableProbes, 2LL * count * 140); // two limits of 64 a point
        ASSERT_EQ(points.size(), distinct.size());
        for (std::size_t i = 0; i < distinct.size(); ++i) {
            ASSERT_EQ(points[static_cast<std::size_t>(index[i])], distinct[i]);
            ASSERT_EQ(index[i], index[index.size() - 1 - i]);
        }
    }
}

TEST(UniquenessSearch, GridSearchesVisitFewMembers)
{
    // 200 x 200 x 5 with equal coordinates throughout.
    std::vector<Vec3d> members;
    for (int x = 0; x < 200; ++x) {
        for (int y = 0; y < 200; ++y) {
            for (int z = 0; z < 5; ++z) {
                members.push_back(Vec3d(x, y, z));
            }
        }
    }
    std::int64_t visits = 0;
    Support::Random random(7);
    constexpr int kQueries = 1000;
    for (int i = 0; i < kQueries; ++i) {
        const Vec3d query{random.Below(200) + 0.01, random.Below(200) - 0.01,
                          random.Below(5) + 0.01};
        EXPECT_GE(Impl::IndexInUniqueVector(members, query, 0.02, visits), 0);
        EXPECT_EQ(Impl::IndexInUniqueVector(members, query, 0.001, visits), -1);
    }
    EXPECT_LE(visits, 10 * kQueries); // one run on x, then at most 8 members scanned
}

TEST(UniquenessSearch, MembersFindThemselvesAtOnceInNoise)
{
    std::vector<Vec3d> members = NoisyPlane<Vec3d>(10'000);
    Vector::FilterForUniqueness(members, 0.25);
    std::int64_t visits = 0;
    for (std::size_t i = 0; i < members.size(); ++i) {
        ASSERT_EQ(Impl::IndexInUniqueVector(members, members[i], 0.25, visits),
                  static_cast<int>(i));
    }
    EXPECT_EQ(visits, static_cast<std::int64_t>(members.size()));
}

// --- the look-up built once ---------------------------------------------------------------------

TYPED_TEST(UniquenessInside, LookupAnswersAsTheSearchDoes)
{
    using V = TypeParam;
    using T = ScalarOf<V>;
    Support::Random random(8);
    for (const auto& [name, arrange] : Arrangements<V>()) {
        const std::vector<V> input = arrange(Support::FullOr(1500, 400));
        for (const T filterTolerance : {T{0.25}, T{0}, T{-1}}) {
            std::vector<V> members = input;
            Vector::FilterForUniqueness(members, filterTolerance);
            for (const T tolerance : {T{0.25}, T{0}, T{1}, T{-1}, kNan<T>, kInf<T>}) {
                SCOPED_TRACE(name + ", filtered at " + std::to_string(filterTolerance) +
                             ", searched at " + std::to_string(tolerance));
                const Impl::UniqueLookup<V::size(), T> lookup(members, tolerance);
                for (std::size_t i = 0; i < input.size(); i += 5) {
                    std::int64_t visits = 0;
                    const V near = input[i] + random.Vector<V::size(), T>(-0.3, 0.3);
                    ASSERT_EQ(lookup.Index(input[i]),
                              Impl::IndexInUniqueVector(members, input[i], tolerance, visits));
                    ASSERT_EQ(lookup.Index(near),
                              Impl::IndexInUniqueVector(members, near, tolerance, visits));
                }
            }
        }
    }
}

TYPED_TEST(UniquenessInside, LookupVisitsFewMembersWhateverTheArrangement)
{
    using V = TypeParam;
    using T = ScalarOf<V>;
    for (const auto& [name, arrange] : Arrangements<V>()) {
        SCOPED_TRACE(name);
        const std::vector<V> input = arrange(20'000);
        std::vector<V> members = input;
        Vector::FilterForUniqueness(members, T{0.25});
        const Impl::UniqueLookup<V::size(), T> lookup(members, T{0.25});
        std::int64_t visits = 0;
        for (const V& point : input) {
            lookup.Index(point, &visits);
        }
        EXPECT_LT(visits, static_cast<std::int64_t>(input.size()) * 27 * 27);
        visits = 0;
        for (const V& member : members) {
            lookup.Index(member, &visits); // its own bucket alone
        }
        EXPECT_LE(visits, static_cast<std::int64_t>(members.size()) * 40);
    }
}

TEST(UniqueLookup, OfNothingFindsNothing)
{
    const Impl::UniqueLookup<3, double> lookup({}, 1.0);
    EXPECT_EQ(lookup.Index({0, 0, 0}), -1);
    EXPECT_EQ(lookup.Index({kNan<double>, 0, 0}), -1);
}

TEST(UniqueLookup, OutlivesTheVector)
{
    std::vector<Vec2d> members{{0, 0}, {1, 0}};
    const Impl::UniqueLookup<2, double> lookup(members, 0.1);
    members.clear();
    members.shrink_to_fit();
    EXPECT_EQ(lookup.Index({1.05, 0}), 1);
}

// --- threads ------------------------------------------------------------------------------------

TYPED_TEST(UniquenessInside, SameBitsForAnyNumberOfThreads)
{
    using V = TypeParam;
    using T = ScalarOf<V>;
    for (const auto& [name, arrange] : Arrangements<V>()) {
        // Five chunks of exact repeats and eighty of loops: more than there are threads. Three and
        // forty under a sanitizer.
        const std::vector<V> input = arrange(Support::FullOr(40'000, 20'000));
        for (const T tolerance : {T{0.25}, T{0}, T{-1}}) {
            SCOPED_TRACE(name + ", tolerance " + std::to_string(tolerance));
            std::vector<V> reference;
            std::vector<int> referenceIndex;
            for (const int threads : {1, 2, 4}) {
                if (Support::kSanitized && threads == 2) {
                    continue; // two chunks at a time are among those of four
                }
                std::vector<V> points = input;
                std::vector<int> index;
                Support::WithThreads(threads, [&] {
                    index = Vector::FilterForUniquenessAndIndex(points, tolerance);
                });
                if (threads == 1) {
                    reference = points;
                    referenceIndex = index;
                }
                ASSERT_EQ(points.size(), reference.size());
                EXPECT_EQ(std::memcmp(points.data(), reference.data(), points.size() * sizeof(V)),
                          0);
                EXPECT_TRUE(index == referenceIndex);
            }
        }
    }
}

// --- pieces -------------------------------------------------------------------------------------

TEST(CellRule, CellsNeverDecreaseAndMissNoMatch)
{
    Support::Random random(9);
    for (int trial = 0; trial < 200'000; ++trial) {
        // Any exponent, for the tolerance and for the coordinate; often one near the other, and
        // often where cells change over to steps of the numbers.
        const double tolerance = std::ldexp(1 + random.Unit(), random.Below(2090) - 1070);
        const int far = trial % 3 == 0 ? random.Below(2090) - 1070
                                       : std::ilogb(tolerance) + random.Below(110) - 10;
        const double x = std::ldexp(random.Between(-2, 2), std::min(far, 1022));
        const double width = trial % 2 == 0 ? 0 : tolerance * random.Between(0, 1000);
        if (!std::isfinite(tolerance)) {
            continue;
        }
        const Impl::CellRule rule(tolerance, width);
        const std::int64_t first = rule.First(x);
        const std::int64_t last = rule.Last(x);
        ASSERT_LE(last - first, 2) << x << " within " << tolerance;
        double y = x + tolerance * random.Between(-1, 1);
        for (const double candidate : {y, x + tolerance, x - tolerance, x}) {
            for (double other : {candidate, std::nextafter(candidate, kInf<double>),
                                 std::nextafter(candidate, -kInf<double>)}) {
                if (!std::isfinite(other)) {
                    continue;
                }
                const std::int64_t cell = rule.Cell(other);
                ASSERT_EQ(cell <= rule.Cell(x) || other > x, true);
                ASSERT_EQ(cell >= rule.Cell(x) || other < x, true);
                if (std::fabs(x - other) <= tolerance) {
                    ASSERT_GE(cell, first);
                    ASSERT_LE(cell, last);
                }
            }
        }
    }
}

TEST(CellRule, FloatDifferencesThatRoundDownToTheToleranceAreReached)
{
    Support::Random random(10);
    int rounded = 0;
    for (int trial = 0; trial < 200'000; ++trial) {
        const auto tolerance = static_cast<float>(std::ldexp(1 + random.Unit(), -random.Below(20)));
        const auto a = static_cast<float>(random.Between(-8, 8));
        auto b = static_cast<float>(static_cast<double>(a) + static_cast<double>(tolerance));
        for (int step = random.Below(3); step > 0; --step) {
            b = std::nextafter(b, kInf<float>);
        }
        if (b - a <= tolerance) {
            rounded += static_cast<double>(b) - static_cast<double>(a) > tolerance;
            const Impl::CellRule rule(tolerance, 0);
            ASSERT_GE(rule.Cell(b), rule.First(a));
            ASSERT_LE(rule.Cell(b), rule.Last(a));
            ASSERT_GE(rule.Cell(a), rule.First(b));
            ASSERT_LE(rule.Cell(a), rule.Last(b));
        }
    }
    EXPECT_GT(rounded, 0); // the case does occur
}

TYPED_TEST(UniquenessInside, RecordsSortLikeAComparisonSortOnAnyDistribution)
{
    using V = TypeParam;
    using T = ScalarOf<V>;
    using Record = Impl::PointRecord<V::size(), T>;
    Support::Random random(11);
    const auto exponential = [&] { return static_cast<T>(std::exp(random.Between(-80, 80))); };
    const auto any = [&] {
        const int exponent =
            std::is_same_v<T, float> ? random.Below(270) - 145 : random.Below(2090) - 1070;
        return static_cast<T>(std::ldexp(random.Between(-1, 1), exponent));
    };
    for (const int count : {0, 1, 2, 20, 21, 500, 4095, 4096, 30'000}) {
        for (int kind = 0; kind < 5; ++kind) {
            SCOPED_TRACE(std::to_string(count) + " points of kind " + std::to_string(kind));
            std::vector<Record> records(static_cast<std::size_t>(count));
            V low;
            V high;
            for (std::size_t i = 0; i < records.size(); ++i) {
                V& point = records[i].point;
                for (T& x : point) {
                    x = kind == 0   ? static_cast<T>(random.Unit())
                        : kind == 1 ? static_cast<T>(random.Below(5))
                        : kind == 2 ? exponential()
                        : kind == 3 ? any()
                                    : T{-0.0};
                }
                records[i].place = static_cast<std::uint32_t>(i);
                for (int axis = 0; axis < V::size(); ++axis) {
                    low[axis] = i == 0 ? point[axis] : std::min(low[axis], point[axis]);
                    high[axis] = i == 0 ? point[axis] : std::max(high[axis], point[axis]);
                }
            }
            std::vector<Record> expected = records;
            std::stable_sort(
                expected.begin(), expected.end(), [](const Record& a, const Record& b) {
                    return std::lexicographical_compare(a.point.begin(), a.point.end(),
                                                        b.point.begin(), b.point.end());
                });
            std::vector<Record> sorted(records.size());
            const std::int64_t half = count / 2;
            Impl::SortFiniteRecords(records.data(), {{0, half}, {half, count - half}}, low, high,
                                    sorted.data());
            for (std::size_t i = 0; i < sorted.size(); ++i) {
                ASSERT_EQ(sorted[i].place, expected[i].place);
            }
        }
    }
}

} // namespace
