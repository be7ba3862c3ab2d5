// Numbers of grid nodes, grids of samples, and their set operations: the rules sample by sample,
// solids whose distances are known, and what happens at odd dimensions and values.

#include <Sorvane/VolumetricData_E.h>

#include "tests/support/FailingAllocation.h"
#include "tests/support/Random.h"
#include "tests/support/Rounds.h"
#include "tests/support/TestSupport.h"
#include "tests/support/ThreadLimit.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <limits>
#include <type_traits>
#include <utility>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane::IsoSurface;
using Grid = VolumetricData<OrientedSample>;
using Numbers = VecBase<3, unsigned int>;
using Support::Random;

constexpr double kMost = std::numeric_limits<double>::max();
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

static_assert(std::has_virtual_destructor_v<VolumetricIndexer>);
static_assert(std::has_virtual_destructor_v<Grid>);
static_assert(std::is_nothrow_move_constructible_v<Grid> &&
              std::is_nothrow_move_assignable_v<Grid>);

/// The three operations, in their plain and in their consuming form.
struct Operation {
    const char* name;
    Grid (*plain)(const Grid&, const Grid&);
    Grid (*consuming)(Grid&&, const Grid&);
};
constexpr Operation kUnion{"union", &Union, &Union};
constexpr Operation kIntersection{"intersection", &Intersection, &Intersection};
constexpr Operation kDifference{"difference", &Difference, &Difference};
constexpr std::array kOperations{kUnion, kIntersection, kDifference};

/// A grid of a row of samples.
Grid Row(const std::vector<OrientedSample>& samples)
{
    Grid grid(static_cast<unsigned int>(samples.size()), 1, 1);
    std::copy(samples.begin(), samples.end(), grid.Samples().begin());
    return grid;
}

/// What an operation makes of two samples.
OrientedSample Of(const Operation& operation, const OrientedSample& a, const OrientedSample& b)
{
    const Grid result = operation.plain(Row({a}), Row({b}));
    EXPECT_EQ(result.Samples().size(), 1U);
    return result.Samples()[0];
}

/// The same bits, NaN and the sign of 0 included.
bool SameBits(const Grid& a, const Grid& b)
{
    return a.Indexer() == b.Indexer() && a.Samples().size() == b.Samples().size() &&
           std::memcmp(a.Samples().data(), b.Samples().data(), a.Samples().size_bytes()) == 0;
}

bool IsOneFreshSample(const Grid& grid)
{
    return grid.Indexer().GetDimensions() == Numbers(1, 1, 1) &&
           grid.Indexer().GetSteps() == Numbers(1, 1, 1) && grid.Samples().size() == 1 &&
           grid.Samples()[0] == OrientedSample{kMost, {0, 0, 0}};
}

// --- numbers ------------------------------------------------------------------------------------

TEST(VolumetricIndexer, TakesADimensionOfNoneAsOne)
{
    VolumetricIndexer indexer(0, 5, 0);
    EXPECT_EQ(indexer.GetDimensions(), Numbers(1, 5, 1));
    EXPECT_EQ(indexer.GetSteps(), Numbers(1, 5, 5));
    EXPECT_EQ(indexer.GetRange(), 5U);
    indexer.Initialize(2, 3, 4);
    EXPECT_EQ(indexer.GetDimensions(), Numbers(2, 3, 4));
    EXPECT_EQ(indexer.GetSteps(), Numbers(2, 6, 24));
    EXPECT_EQ(indexer.GetRange(), 24U);
    indexer.Initialize(0, 0, 0);
    EXPECT_EQ(indexer.GetRange(), 1U);
}

TEST(VolumetricIndexer, IsAllZerosByDefault)
{
    const VolumetricIndexer indexer;
    EXPECT_EQ(indexer.GetDimensions(), Numbers(0, 0, 0));
    EXPECT_EQ(indexer.GetSteps(), Numbers(0, 0, 0));
    EXPECT_EQ(indexer.GetRange(), 0U);
    EXPECT_EQ(indexer.IndexStep(0), Numbers(0, 0, 0)) << "no division by zero";
    EXPECT_EQ(indexer.IndexStep(12345), Numbers(0, 0, 0));
}

TEST(VolumetricIndexer, IsCopiedFieldByField)
{
    const VolumetricIndexer indexer(2, 3, 4);
    VolumetricIndexer copy(indexer);
    VolumetricIndexer assigned;
    assigned = copy;
    EXPECT_EQ(assigned, indexer);
    const VolumetricIndexer moved(std::move(copy));
    EXPECT_EQ(moved.GetSteps(), indexer.GetSteps());
    EXPECT_FALSE(indexer == VolumetricIndexer(3, 2, 4));
    EXPECT_FALSE(indexer == VolumetricIndexer(2, 4, 3));
    EXPECT_FALSE(indexer == VolumetricIndexer());
}

// Counted through, x fastest.
TEST(VolumetricIndexer, NumbersRunThroughRowsThenLayers)
{
    for (const Numbers& size : {Numbers(1, 1, 1), Numbers(7, 1, 1), Numbers(1, 7, 1),
                                Numbers(1, 1, 7), Numbers(5, 3, 4), Numbers(2, 9, 3)}) {
        const VolumetricIndexer indexer(size[0], size[1], size[2]);
        unsigned int number = 0;
        for (unsigned int z = 0; z < size[2]; ++z) {
            for (unsigned int y = 0; y < size[1]; ++y) {
                for (unsigned int x = 0; x < size[0]; ++x) {
                    EXPECT_EQ(indexer.Idx(x, y, z), number);
                    EXPECT_EQ(indexer.IndexStep(number), Numbers(x, y, z));
                    ++number;
                }
            }
        }
        EXPECT_EQ(indexer.GetRange(), number);
    }
}

// 65536 squared is 2^32, of which 32 bits keep nothing; of 70000 squared they keep 605,032,704.
TEST(VolumetricIndexer, ProductsWrapAtThirtyTwoBits)
{
    const VolumetricIndexer none(65536, 65536, 1);
    EXPECT_EQ(none.GetRange(), 0U);
    EXPECT_EQ(none.GetSteps(), Numbers(65536, 0, 0));
    EXPECT_EQ(none.IndexStep(65536), Numbers(0, 1, 0)) << "no division by zero";
    const Grid grid(none);
    EXPECT_TRUE(grid.Samples().empty());
    for (const Operation& operation : kOperations) {
        const Grid result = operation.plain(grid, grid);
        EXPECT_EQ(result.Indexer(), none);
        EXPECT_TRUE(result.Samples().empty());
    }
    const VolumetricIndexer some(70000, 70000, 1);
    EXPECT_EQ(some.GetRange(), 605'032'704U);
    for (const VolumetricIndexer& indexer :
         {some, VolumetricIndexer(70000, 70000, 3), VolumetricIndexer(65535, 65537, 1),
          VolumetricIndexer(3, 1431655765, 1), VolumetricIndexer(0xffffffff, 1, 1),
          VolumetricIndexer(1, 1, 0xffffffff)}) {
        Random random(1);
        for (int i = 0; i < 1000; ++i) {
            const auto number =
                static_cast<unsigned int>(random.Bits() % std::uint64_t{indexer.GetRange()});
            const Numbers at = indexer.IndexStep(number);
            EXPECT_EQ(indexer.Idx(at[0], at[1], at[2]), number);
        }
    }
}

// --- grids --------------------------------------------------------------------------------------

TEST(VolumetricData, ANewGridHoldsFreshSamples)
{
    EXPECT_EQ(OrientedSample().value, 1.7976931348623157e308);
    EXPECT_EQ(OrientedSample().direction, Vec3d(0, 0, 0));
    const Grid none;
    EXPECT_TRUE(none.Samples().empty());
    EXPECT_EQ(none.Indexer().GetRange(), 0U);
    EXPECT_TRUE(IsOneFreshSample(Grid(0, 0, 0)));
    const Grid grid(13, 11, 17); // more than one task
    EXPECT_EQ(grid.Samples().size(), 13U * 11U * 17U);
    EXPECT_TRUE(std::all_of(grid.Samples().begin(), grid.Samples().end(),
                            [](const auto& sample) { return sample == OrientedSample(); }));
}

TEST(VolumetricData, ASampleIsReachedByItsPlaceAndItsNumber)
{
    Grid grid(3, 4, 5);
    grid(2, 1, 3) = {-0.5, {0, 0, 1}};
    EXPECT_EQ(grid.Samples()[2 + 3 * (1 + 4 * 3)].value, -0.5);
    const Grid& same = grid;
    EXPECT_EQ(&same(2, 1, 3), &grid(2, 1, 3));
    EXPECT_EQ(&same(2, 1, 3), &same.Samples()[2 + 3 * (1 + 4 * 3)]);
}

TEST(VolumetricData, HasAsManySamplesAsNumbersHoweverItIsCopiedAndMoved)
{
    const auto holds = [](const Grid& grid) {
        return grid.Samples().size() == grid.Indexer().GetRange();
    };
    const Grid source = Row({{1, {1, 0, 0}}, {2, {0, 1, 0}}, {3, {0, 0, 1}}});
    Grid copy(source);
    EXPECT_EQ(copy, source);
    EXPECT_NE(&copy.Samples()[0], &source.Samples()[0]);
    Grid moved(std::move(copy));
    EXPECT_EQ(moved, source);
    EXPECT_EQ(copy, Grid());
    EXPECT_TRUE(holds(copy));
    Grid target(5, 6, 7);
    target = moved;
    EXPECT_EQ(target, source);
    // The same number of samples, other dimensions.
    Grid upright(1, 1, 3);
    upright = source;
    EXPECT_EQ(upright, source);
    EXPECT_EQ(upright.Indexer().GetDimensions(), Numbers(3, 1, 1));
    target = Grid(2, 2, 2);
    EXPECT_EQ(target, Grid(2, 2, 2));
    target = std::move(moved);
    EXPECT_EQ(target, source);
    EXPECT_TRUE(holds(moved));
    Grid& itself = target;
    target = itself;
    EXPECT_EQ(target, source);
    target = std::move(itself);
    EXPECT_EQ(target, source);
    EXPECT_FALSE(target == Grid(3, 1, 1));
}

// --- the rules ----------------------------------------------------------------------------------

TEST(VolumetricSetOperations, TakeTheWholeSampleOfTheWinner)
{
    const OrientedSample inner{-2, {1, 0, 0}};
    const OrientedSample outer{3, {0, 1, 0}};
    EXPECT_EQ(Of(kUnion, inner, outer), inner);
    EXPECT_EQ(Of(kUnion, outer, inner), inner);
    EXPECT_EQ(Of(kIntersection, inner, outer), outer);
    EXPECT_EQ(Of(kIntersection, outer, inner), outer);
    EXPECT_EQ(Of(kDifference, outer, inner), outer);
    EXPECT_EQ(Of(kDifference, inner, outer), inner); // -2 > -3
    const OrientedSample turned{2, {-1, 0, 0}};
    EXPECT_EQ(Of(kDifference, {1, {0, 0, 1}}, inner), turned);
}

TEST(VolumetricSetOperations, TiesGoToTheSecond)
{
    const OrientedSample first{1, {1, 0, 0}};
    const OrientedSample second{1, {0, 1, 0}};
    EXPECT_EQ(Of(kUnion, first, second), second);
    EXPECT_EQ(Of(kIntersection, first, second), second);
    EXPECT_EQ(Of(kDifference, first, {-1, {0, 1, 0}}), (OrientedSample{1, {0, -1, 0}}));
    // 0 and -0 are the same.
    EXPECT_TRUE(std::signbit(Of(kUnion, {0.0, {}}, {-0.0, {}}).value));
    EXPECT_FALSE(std::signbit(Of(kUnion, {-0.0, {}}, {0.0, {}}).value));
    EXPECT_FALSE(std::signbit(Of(kIntersection, {-0.0, {}}, {0.0, {}}).value));
    EXPECT_TRUE(std::signbit(Of(kDifference, {0.0, {}}, {0.0, {}}).value));
}

TEST(VolumetricSetOperations, WhereAValueIsNoNumberTheSecondCounts)
{
    const OrientedSample odd{kNan, {1, 2, 3}};
    const OrientedSample plain{4, {0, 1, 0}};
    for (const Operation& operation : {kUnion, kIntersection}) {
        EXPECT_EQ(Of(operation, odd, plain), plain);
        EXPECT_TRUE(std::isnan(Of(operation, plain, odd).value));
        EXPECT_EQ(Of(operation, plain, odd).direction, odd.direction);
    }
    EXPECT_EQ(Of(kDifference, odd, plain), (OrientedSample{-4, {0, -1, 0}}));
    const OrientedSample result = Of(kDifference, plain, odd);
    EXPECT_TRUE(std::isnan(result.value));
    EXPECT_EQ(result.direction, Vec3d(-1, -2, -3));
}

TEST(VolumetricSetOperations, TheUnionWithAFreshGridIsTheGrid)
{
    const std::vector<OrientedSample> samples{{-1, {1, 0, 0}},     {0, {0, 1, 0}},
                                              {kMost, {0, 0, 1}},  {1e300, {1, 1, 1}},
                                              {-kMost, {2, 2, 2}}, {kInfinity, {3, 3, 3}}};
    const Grid result = Union(Row(samples), Grid(6, 1, 1));
    for (const unsigned int i : {0U, 1U, 3U, 4U}) {
        EXPECT_EQ(result(i, 0, 0), samples[i]);
    }
    EXPECT_EQ(result(2, 0, 0), OrientedSample()) << "a tie, in which the second counts";
    EXPECT_EQ(result(5, 0, 0), OrientedSample()) << "infinity is more than no data";
    // The other way round the grid is the second.
    const Grid other = Union(Grid(6, 1, 1), Row(samples));
    EXPECT_EQ(other(2, 0, 0), samples[2]);
}

TEST(VolumetricSetOperations, TheDifferenceWithAFreshGridKeepsWhatIsAboveTheLeastValue)
{
    const std::vector<OrientedSample> samples{
        {-1, {1, 0, 0}}, {kMost, {0, 0, 1}}, {-kMost, {2, 2, 2}}, {-kInfinity, {3, 3, 3}}};
    const Grid result = Difference(Row(samples), Grid(4, 1, 1));
    EXPECT_EQ(result(0, 0, 0), samples[0]);
    EXPECT_EQ(result(1, 0, 0), samples[1]);
    for (const unsigned int i : {2U, 3U}) {
        EXPECT_EQ(result(i, 0, 0).value, -kMost);
        for (const double component : result(i, 0, 0).direction) {
            EXPECT_EQ(component, 0);
            EXPECT_TRUE(std::signbit(component));
        }
    }
}

TEST(VolumetricSetOperations, OnDifferentSizesGiveOneFreshSample)
{
    const std::vector<std::pair<Grid, Grid>> pairs{
        {Grid(2, 3, 4), Grid(4, 3, 2)}, {Grid(2, 3, 4), Grid(2, 3, 5)},
        {Grid(2, 3, 4), Grid(2, 2, 4)}, {Grid(2, 3, 4), Grid(1, 3, 4)},
        {Grid(), Grid(1, 1, 1)},        {Grid(6, 1, 1), Grid()}};
    for (const Operation& operation : kOperations) {
        for (const auto& [a, b] : pairs) {
            EXPECT_TRUE(IsOneFreshSample(operation.plain(a, b))) << operation.name;
            Grid consumed = a;
            EXPECT_TRUE(IsOneFreshSample(operation.consuming(std::move(consumed), b)));
            EXPECT_EQ(consumed, a) << "nothing was taken";
        }
    }
}

TEST(VolumetricSetOperations, OnGridsWithoutNodesGiveNone)
{
    for (const Operation& operation : kOperations) {
        const Grid result = operation.plain(Grid(), Grid());
        EXPECT_EQ(result.Indexer().GetDimensions(), Numbers(0, 0, 0));
        EXPECT_TRUE(result.Samples().empty());
        EXPECT_TRUE(operation.consuming(Grid(), Grid()).Samples().empty());
    }
}

// --- properties ---------------------------------------------------------------------------------

double OddValue(Random& random)
{
    static constexpr std::array kValues{0.0,    -0.0, 1.0,   -1.0,      2.0,        -2.0,  kMost,
                                        -kMost, kNan, -kNan, kInfinity, -kInfinity, 5e-324};
    return random.Below(3) == 0 ? kValues[static_cast<std::size_t>(random.Below(13))]
                                : random.Between(-1, 1);
}

Grid RandomGrid(Random& random, unsigned int x, unsigned int y, unsigned int z)
{
    Grid grid(x, y, z);
    for (OrientedSample& sample : grid.Samples()) {
        sample = {OddValue(random), {OddValue(random), OddValue(random), OddValue(random)}};
    }
    return grid;
}

// Written with a branch for each rule; the results have the same bits on any number of threads, and
// in the memory of the first grid.
TEST(VolumetricSetOperations, AgreeWithPlainBranchesBitForBit)
{
    Random random(9);
    for (const Numbers& size : {Numbers(1, 1, 1), Numbers(7, 1, 1), Numbers(8, 8, 8),
                                Numbers(1, 513, 1), Numbers(31, 17, 29)}) {
        const Grid a = RandomGrid(random, size[0], size[1], size[2]);
        const Grid b = RandomGrid(random, size[0], size[1], size[2]);
        std::array<Grid, 3> expected{a, a, a};
        for (std::size_t i = 0; i < a.Samples().size(); ++i) {
            const OrientedSample& p = a.Samples()[i];
            const OrientedSample& q = b.Samples()[i];
            expected[0].Samples()[i] = q.value > p.value ? p : q;
            expected[1].Samples()[i] = p.value > q.value ? p : q;
            OrientedSample turned;
            turned.value = -q.value;
            for (int axis = 0; axis < 3; ++axis) {
                turned.direction[axis] = -q.direction[axis];
            }
            expected[2].Samples()[i] = p.value > turned.value ? p : turned;
        }
        for (std::size_t k = 0; k < 3; ++k) {
            SCOPED_TRACE(kOperations[k].name);
            for (const int threads : {1, 2, 4}) {
                Support::WithThreads(threads, [&] {
                    EXPECT_TRUE(SameBits(kOperations[k].plain(a, b), expected[k]));
                });
            }
            Grid consumed = a;
            const OrientedSample* const memory = consumed.Samples().data();
            const Grid result = kOperations[k].consuming(std::move(consumed), b);
            EXPECT_TRUE(SameBits(result, expected[k]));
            EXPECT_EQ(result.Samples().data(), memory);
            EXPECT_EQ(consumed, Grid());
            // One object as both grids, and as the result.
            Grid both = a;
            both = kOperations[k].consuming(std::move(both), both);
            EXPECT_TRUE(SameBits(both, kOperations[k].plain(a, a)));
        }
    }
}

/// A ball, by true distances from its surface.
struct Ball {
    Vec3d center;
    double radius = 1;

    OrientedSample At(const Vec3d& p) const
    {
        const Vec3d d = p - center;
        const double length = std::sqrt(d * d);
        return {length - radius, length > 0 ? d / length : Vec3d(0, 0, 1)};
    }
};

Vec3d NodeAt(const Numbers& at) { return Vec3d(at) * 0.25 - Vec3d(3, 3, 3); }

Grid Sampled(const Ball& ball)
{
    Grid grid(25, 25, 25);
    for (unsigned int i = 0; i < grid.Indexer().GetRange(); ++i) {
        grid.Samples()[i] = ball.At(NodeAt(grid.Indexer().IndexStep(i)));
    }
    return grid;
}

// Signs are those of the solids, and no value is larger in magnitude than the distance from the
// nearest of many points of the result's surface. Directions are unit normals.
TEST(VolumetricSetOperations, OfTwoBallsHaveTheRightSignsAndNoTooLargeDistances)
{
    const Ball first{{-0.6, 0.1, 0}, 1.5};
    const Ball second{{0.7, 0, 0.2}, 1.3};
    const Grid a = Sampled(first);
    const Grid b = Sampled(second);
    for (std::size_t k = 0; k < 3; ++k) {
        SCOPED_TRACE(kOperations[k].name);
        const auto isInside = [&](bool inFirst, bool inSecond) {
            return k == 0   ? inFirst || inSecond
                   : k == 1 ? inFirst && inSecond
                            : inFirst && !inSecond;
        };
        // Points of either sphere where the other ball leaves or takes the surface.
        std::vector<Vec3d> surface;
        Random random(2);
        while (surface.size() < Support::Rounds(3000U)) {
            const bool isFirst = random.Below(2) == 0;
            const Ball& ball = isFirst ? first : second;
            const Ball& other = isFirst ? second : first;
            const Vec3d v = random.Vector<3, double>(-1, 1);
            const double length = std::sqrt(v * v);
            if (length > 1 || length < 0.1) {
                continue;
            }
            const Vec3d p = ball.center + v * (ball.radius / length);
            const bool inOther = other.At(p).value < 0;
            const bool inside = isFirst ? isInside(true, inOther) : isInside(inOther, true);
            const bool outside = isFirst ? isInside(false, inOther) : isInside(inOther, false);
            if (inside != outside) {
                surface.push_back(p);
            }
        }
        const Grid result = kOperations[k].plain(a, b);
        int insideCount = 0;
        for (unsigned int i = 0; i < result.Indexer().GetRange(); ++i) {
            const Vec3d p = NodeAt(result.Indexer().IndexStep(i));
            const OrientedSample& sample = result.Samples()[i];
            EXPECT_EQ(sample.value < 0, isInside(first.At(p).value < 0, second.At(p).value < 0));
            EXPECT_NEAR(sample.direction * sample.direction, 1, 1e-12);
            insideCount += sample.value < 0 ? 1 : 0;
            if (i % 7 == 0) {
                double least = kMost;
                for (const Vec3d& q : surface) {
                    least = std::min(least, (q - p) * (q - p));
                }
                EXPECT_LE(std::fabs(sample.value), std::sqrt(least) + 1e-12);
            }
        }
        EXPECT_GT(insideCount, 100);
    }
}

// a without b is what a has in common with the outside of b; of grids without ties, since there the
// second counts.
TEST(VolumetricSetOperations, AgreeWithEachOther)
{
    const Grid a = Sampled({{-0.6, 0.1, 0}, 1.5});
    const Grid b = Sampled({{0.7, 0, 0.2}, 1.3});
    Grid outside = b;
    for (OrientedSample& sample : outside.Samples()) {
        sample = {-sample.value, -sample.direction};
    }
    EXPECT_EQ(Difference(a, b), Intersection(a, outside));
    EXPECT_EQ(Union(a, a), a);
    EXPECT_EQ(Intersection(a, a), a);
    // What a has in common with b and what it has not are together a, up to its surface. Deep
    // inside of it the distance is that from the surface of b, where the two meet.
    const Grid together = Union(Intersection(a, b), Difference(a, b));
    int counts[2] = {0, 0};
    for (std::size_t i = 0; i < a.Samples().size(); ++i) {
        const double value = a.Samples()[i].value;
        const double fromB = std::fabs(b.Samples()[i].value);
        EXPECT_EQ(together.Samples()[i].value, std::max(value, -fromB));
        ++counts[value < 0 ? 1 : 0];
    }
    EXPECT_GT(counts[0], 1000);
    EXPECT_GT(counts[1], 500);
}

// Two blocks that touch at x = 4, on a row of nodes through them. The face that they share stays in
// the union as a zero between negative values; of a block without the one on it a zero is left in
// the air.
TEST(VolumetricSetOperations, SurfacesThatLieOnEachOtherStayAsZeros)
{
    const auto block = [](double low, double high) {
        std::vector<OrientedSample> samples;
        for (int x = 0; x < 9; ++x) {
            const bool isNearLow = x - low < high - x;
            samples.push_back({isNearLow ? low - x : x - high, Vec3d(isNearLow ? -1 : 1, 0, 0)});
        }
        return Row(samples);
    };
    const auto valuesOf = [](const Grid& grid) {
        std::vector<double> values;
        for (const OrientedSample& sample : grid.Samples()) {
            values.push_back(sample.value);
        }
        return values;
    };
    const Grid a = block(1, 4);
    EXPECT_EQ(valuesOf(Union(a, block(4, 7))),
              (std::vector<double>{1, 0, -1, -1, 0, -1, -1, 0, 1}));
    EXPECT_EQ(valuesOf(Difference(a, block(2, 4))),
              (std::vector<double>{1, 0, 0, 1, 0, 1, 2, 3, 4}));
}

// --- memory -------------------------------------------------------------------------------------

TEST(VolumetricSetOperationsWithoutMemory, PassTheExceptionOnAndChangeNothing)
{
    Random random(3);
    const Grid a = Row({{1, {1, 0, 0}}, {2, {0, 1, 0}}});
    const Grid b = Row({{-1, {1, 0, 0}}, {5, {0, 1, 0}}});
    Support::WithThreads(1, [&] {
        EXPECT_EQ(Support::FailEachAllocationOfResult([&] { return Grid(3, 4, 5); }), 1U);
        EXPECT_EQ(Support::FailEachAllocationOfResult([&] { return Grid(a); }), 1U);
        for (const Operation& operation : kOperations) {
            EXPECT_EQ(Support::FailEachAllocationOfResult([&] { return operation.plain(a, b); }),
                      1U);
        }
        const Grid other(2, 2, 2);
        EXPECT_EQ(Support::FailEachAllocation([&] { return a; }, [&](Grid& grid) { grid = other; },
                                              [&](Grid& grid) { EXPECT_EQ(grid, a); }),
                  1U);
        // Of one size, and in the memory of the first grid, nothing is asked for.
        EXPECT_EQ(Support::FailEachAllocation([&] { return a; }, [&](Grid& grid) { grid = b; },
                                              [](Grid&) {}),
                  0U);
        EXPECT_EQ(Support::FailEachAllocation([&] { return a; },
                                              [&](Grid& grid) { grid = Union(std::move(grid), b); },
                                              [](Grid&) {}),
                  0U);
        // Where the sizes differ, that one sample.
        EXPECT_EQ(Support::FailEachAllocation(
                      [&] { return a; }, [&](Grid& grid) { grid = Union(std::move(grid), other); },
                      [&](Grid& grid) { EXPECT_EQ(grid, a); }),
                  1U);
    });
}

} // namespace
