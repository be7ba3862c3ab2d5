// The union of a stream of loops: batches, life, hostile input, and a lack of memory.

#include <Sorvane/PlanarRegions_E.h>

#include "tests/planar/RegionSupport.h"
#include "tests/support/FailingAllocation.h"
#include "tests/support/Rounds.h"
#include "tests/support/TestSupport.h"
#include "tests/support/ThreadLimit.h"

#include <cmath>
#include <limits>
#include <utility>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane::Planar;
using namespace Support;
using Segments = BufferredUnion::DirectedSegments;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

/// Its edges, in an order of their own.
Segments EdgesOf(const std::vector<Vec2d>& loop)
{
    Segments edges;
    for (std::size_t i = 0; i + 1 < loop.size(); i += 2) {
        edges.push_back({loop[i], loop[i + 1]});
    }
    for (std::size_t i = 1; i + 1 < loop.size(); i += 2) {
        edges.push_back({loop[i], loop[i + 1]});
    }
    return edges;
}

BufferredUnion HundredSquare(int batchLimit) { return {{0, 0}, {100, 100}, batchLimit}; }

TEST(BufferredUnion, GivesASquareBackToWithinACell)
{
    for (const bool asSegments : {false, true}) {
        BufferredUnion united = HundredSquare(3);
        const auto square = Rectangle(10, 20, 30, 50);
        EXPECT_TRUE(asSegments ? united.Append(EdgesOf(square)) : united.Append(Loops{square}));
        const Loops region = united.Process();
        ASSERT_EQ(region.size(), 1U);
        ASSERT_EQ(region[0].size(), 5U);
        EXPECT_TRUE(region[0].front() == region[0].back());
        for (const Vec2d& corner : region[0]) {
            double least = 1;
            for (const Vec2d& expected : square) {
                least = std::min(least, std::max(std::fabs(corner.x() - expected.x()),
                                                 std::fabs(corner.y() - expected.y())));
            }
            EXPECT_LE(least, 100 * 0x1p-30 * 1.001);
        }
        EXPECT_TRUE(united.Process().empty());
        EXPECT_TRUE(united.IsValid());
        // It goes on from there.
        EXPECT_TRUE(united.Append(Loops{square}));
        EXPECT_EQ(united.Process().size(), 1U);
    }
}

TEST(BufferredUnion, UnitesOverlapsSharedEdgesAndHoles)
{
    BufferredUnion united = HundredSquare(10);
    united.Append(Loops{Rectangle(0.5, 0.5, 2, 2), Rectangle(1, 1, 3, 3)});
    EXPECT_EQ(united.Process().size(), 1U);
    united.Append(Loops{Rectangle(1, 1, 2, 2), Rectangle(2, 1, 3, 2)});
    EXPECT_EQ(united.Process().size(), 1U);
    united.Append(Loops{Rectangle(1, 1, 9, 9), Reversed(Rectangle(2, 2, 3, 3))});
    const Loops holed = united.Process();
    EXPECT_EQ(holed.size(), 2U);
    EXPECT_NEAR(AreaUnder(holed), 63, 1e-5);
}

TEST(BufferredUnion, WhatAnIntervalHoldsDecidesWhatIsAHole)
{
    const auto hole = Reversed(Rectangle(40, 40, 50, 50));
    // Alone in its interval (limit 1: united with the second batch) a clockwise loop is an island.
    for (const int limit : {-5, 0, 1}) {
        BufferredUnion united = HundredSquare(limit);
        united.Append(Loops{hole});
        united.Append(Loops{});
        united.Append(Loops{Rectangle(30, 30, 60, 60)});
        EXPECT_NEAR(AreaUnder(united.Process()), 900, 1e-4) << limit;
    }
    // A limit below 1 counts as 1: two batches are united together.
    for (const int limit : {-5, 0, 1}) {
        BufferredUnion united = HundredSquare(limit);
        united.Append(Loops{hole});
        united.Append(Loops{Rectangle(30, 30, 60, 60)});
        EXPECT_NEAR(AreaUnder(united.Process()), 800, 1e-4) << limit;
    }
    // With one batch more in the interval it still is a hole.
    BufferredUnion united = HundredSquare(2);
    united.Append(Loops{hole});
    united.Append(Loops{});
    united.Append(Loops{Rectangle(30, 30, 60, 60)});
    EXPECT_NEAR(AreaUnder(united.Process()), 800, 1e-4);
}

TEST(BufferredUnion, AnIntervalBeginsAfterEachUnion)
{
    BufferredUnion united = HundredSquare(2);
    for (int i = 0; i < 3; ++i) { // the third makes the union
        united.Append(Loops{Rectangle(1, 1, 2, 2)});
    }
    // A hole with nothing around it yet: a union now would drop it.
    united.Append(Loops{Reversed(Rectangle(40, 40, 50, 50))});
    united.Append(Loops{Rectangle(30, 30, 60, 60)});
    EXPECT_NEAR(AreaUnder(united.Process()), 801, 1e-4);
    // The last call did not begin another: two batches were waiting, and the next one makes a
    // union.
    united.Append(Loops{Rectangle(1, 1, 3, 2), Reversed(Rectangle(40, 40, 41, 41))});
    united.Append(Loops{Rectangle(30, 30, 60, 60)});
    EXPECT_NEAR(AreaUnder(united.Process()), 902, 1e-4);
}

TEST(BufferredUnion, AdvisesOfWhatWasNotSound)
{
    BufferredUnion united({0, 0}, {10, 10}, 100);
    EXPECT_TRUE(united.Append(Loops{{}, Rectangle(1, 1, 2, 2)}));
    // The corners of the box count as inside, what is beyond does not; all of it is taken.
    EXPECT_TRUE(united.Append(Loops{Rectangle(0, 0, 10, 10)}));
    EXPECT_FALSE(united.Append(Loops{Rectangle(5, 5, 12, 9)}));
    EXPECT_FALSE(united.Append(EdgesOf(Rectangle(5, -2, 9, 5))));
    EXPECT_NEAR(AreaUnder(united.Process()), 100 + 8 + 8, 1e-6);
    EXPECT_TRUE(united.IsValid());
}

TEST(BufferredUnion, ClosesPolylinesByOverwritingTheirFirstPoint)
{
    BufferredUnion united({0, 0}, {10, 10}, 100);
    std::vector<Vec2d> open = Rectangle(1, 1, 2, 2);
    open.pop_back();
    EXPECT_FALSE(united.Append(Loops{open}));
    EXPECT_NEAR(AreaUnder(united.Process()), 0.5, 1e-6);
    // The triangle (1, 3), (4, 0), (4, 1).
    EXPECT_FALSE(united.Append(Loops{{{0, 0}, {4, 0}, {4, 1}, {1, 3}}}));
    EXPECT_NEAR(AreaUnder(united.Process()), 1.5, 1e-6);
    // Ends match within 1e-12 on each axis.
    for (const Vec2d& gap : {Vec2d(5e-13, 0), Vec2d(0, 5e-13), Vec2d(1e-11, 0), Vec2d(0, -1e-11)}) {
        std::vector<Vec2d> nearly = Rectangle(1, 1, 2, 2);
        nearly.back() += gap;
        EXPECT_EQ(united.Append(Loops{nearly}), std::fabs(gap.x() + gap.y()) < 1e-12);
    }
    united.Process();
    // Segments are closed from end to start instead.
    Segments three = EdgesOf(Rectangle(1, 1, 2, 2));
    three.pop_back();
    EXPECT_FALSE(united.Append(three));
    EXPECT_NEAR(AreaUnder(united.Process()), 1, 1e-6);
}

TEST(BufferredUnion, ShowsLoopsBeforeAnyUnion)
{
    BufferredUnion united({0, 0}, {10, 10}, 100);
    Segments both = EdgesOf(Rectangle(1, 1, 4, 4));
    const Segments second = EdgesOf(Rectangle(2, 2, 6, 6));
    both.insert(both.end(), second.begin(), second.end() - 1);
    both.push_back({Vec2d(3, 3), Vec2d(3, 3)});
    both.push_back({Vec2d(3, kNaN), Vec2d(3, 3)});
    const Loops loops = united.GetUnfilteredPolylines(both);
    ASSERT_EQ(loops.size(), 2U);
    for (const auto& loop : loops) {
        EXPECT_EQ(loop.size(), 5U);
        EXPECT_TRUE(loop.front() == loop.back());
    }
    EXPECT_NEAR(AreaUnder(loops), 25, 1e-6);
    EXPECT_TRUE(united.Process().empty());
}

TEST(BufferredUnion, PassesOverWhatIsNotFinite)
{
    BufferredUnion united({0, 0}, {10, 10}, 1);
    const double infinity = std::numeric_limits<double>::infinity();
    for (const double bad : {kNaN, infinity, -infinity}) {
        EXPECT_FALSE(united.Append(Loops{{{1, 1}, {bad, 2}, {1, 1}}, Rectangle(1, 1, 2, 2)}));
        EXPECT_FALSE(united.Append(Segments{{Vec2d(1, bad), Vec2d(2, 2)}}));
    }
    EXPECT_NEAR(AreaUnder(united.Process()), 1, 1e-6);
    // A box that is no box takes nothing.
    BufferredUnion nowhere({kNaN, 0}, {10, infinity}, 1);
    EXPECT_FALSE(nowhere.Append(Loops{Rectangle(1, 1, 2, 2)}));
    EXPECT_TRUE(nowhere.Process().empty());
}

TEST(BufferredUnion, IsInvalidOnceNumbersSpanTooMuch)
{
    for (const double far : {50.0, 1e6, 1e300, 1e306}) {
        BufferredUnion united({0, 0}, {10, 10}, 2);
        EXPECT_TRUE(united.Append(Loops{Rectangle(1, 1, 2, 2)}));
        EXPECT_FALSE(united.Append(Loops{Rectangle(1, 1, far, 2)}));
        EXPECT_TRUE(united.IsValid()); // nothing was united yet
        EXPECT_FALSE(united.Append(Loops{Rectangle(1, 1, 2, 2)}));
        EXPECT_FALSE(united.IsValid());
        EXPECT_FALSE(united.Append(Loops{Rectangle(1, 1, 2, 2)}));
        EXPECT_FALSE(united.Append(EdgesOf(Rectangle(1, 1, 2, 2))));
        EXPECT_TRUE(united.Process().empty());
    }
    // The other axis counts as well.
    BufferredUnion high({0, 0}, {10, 10}, 1);
    EXPECT_FALSE(high.Append(Loops{Rectangle(1, 1, 2, 50)}));
    EXPECT_TRUE(high.Process().empty());
    EXPECT_FALSE(high.IsValid());
    // Four boxes wide is not too much.
    BufferredUnion wide({0, 0}, {10, 10}, 1);
    EXPECT_FALSE(wide.Append(Loops{Rectangle(-10, 1, 29, 2)}));
    EXPECT_NEAR(AreaUnder(wide.Process()), 39, 1e-6);
    EXPECT_TRUE(wide.IsValid());
}

TEST(BufferredUnion, CopiesAreIndependent)
{
    BufferredUnion united = HundredSquare(5);
    united.Append(Loops{Rectangle(1, 1, 2, 2)});
    BufferredUnion copy = united;
    copy.Append(Loops{Rectangle(5, 1, 7, 2)});
    EXPECT_NEAR(AreaUnder(united.Process()), 1, 1e-5);
    EXPECT_NEAR(AreaUnder(copy.Process()), 3, 1e-5);
    united.Append(Loops{Rectangle(1, 1, 4, 2)});
    copy = united;
    EXPECT_NEAR(AreaUnder(copy.Process()), 3, 1e-5);
    EXPECT_NEAR(AreaUnder(united.Process()), 3, 1e-5);
}

TEST(BufferredUnion, AnObjectThatWasMovedFromReportsItsUse)
{
    BufferredUnion united = HundredSquare(5);
    united.Append(Loops{Rectangle(1, 1, 2, 2)});
    BufferredUnion target = std::move(united);
    EXPECT_NEAR(AreaUnder(target.Process()), 1, 1e-5);
    BufferredUnion& empty = united; // NOLINT: what is left of it is the point
    ExpectAssertions(4);
    EXPECT_FALSE(empty.IsValid());
    EXPECT_TRUE(empty.GetUnfilteredPolylines({}).empty());
    EXPECT_EQ(LastAssertion(),
              "PlanarBoundaries_Impl:816 "
              "Velk::Math::Sorvane::Planar::BufferredUnion::GetUnfilteredPolylines");
    EXPECT_FALSE(empty.Append(Segments{}));
    EXPECT_EQ(LastAssertion(), "PlanarBoundaries_Impl:861 "
                               "Velk::Math::Sorvane::Planar::BufferredUnion::Append");
    EXPECT_FALSE(empty.Append(Loops{}));
    EXPECT_EQ(LastAssertion(), "PlanarBoundaries_Impl:920 "
                               "Velk::Math::Sorvane::Planar::BufferredUnion::Append");
    EXPECT_TRUE(empty.Process().empty());
    EXPECT_EQ(LastAssertion(), "PlanarBoundaries_Impl:975 "
                               "Velk::Math::Sorvane::Planar::BufferredUnion::Process");
    const BufferredUnion copyOfEmpty = empty;
    EXPECT_FALSE(copyOfEmpty.IsValid());
    empty = target;
    EXPECT_TRUE(empty.IsValid());
    EXPECT_TRUE(empty.Append(Loops{Rectangle(1, 1, 2, 2)}));
}

TEST(BufferredUnion, AStreamOfSmallLoopsCoversWhatTheyCover)
{
    // A tool of eight corners that goes to and fro: as many loops, in batches of different sizes,
    // as would take long to unite at once for an object that kept them all.
    BufferredUnion united({-2, -2}, {42, 12}, 20);
    Loops batch;
    constexpr int kSteps = 1200;
    for (int i = 0; i < kSteps; ++i) {
        const int row = i / 120;
        const double x = row % 2 == 0 ? i % 120 / 3.0 : 40 - i % 120 / 3.0;
        auto& loop = batch.emplace_back();
        for (int k = 0; k < 8; ++k) {
            loop.push_back({x + 0.7 * std::cos(0.785398163397448 * k),
                            row + 0.7 * std::sin(0.785398163397448 * k)});
        }
        loop.push_back(loop.front());
        if (batch.size() == static_cast<std::size_t>(1 + i % 13)) {
            EXPECT_TRUE(united.Append(batch));
            batch.clear();
        }
    }
    united.Append(batch);
    const Loops region = united.Process();
    EXPECT_EQ(region.size(), 1U);
    for (int i = 1; i < 195; ++i) {
        for (int row = 0; row < 9; ++row) {
            ASSERT_EQ(WindingNumber(region, 0.2 * i + 0.013, row + 0.5), 1) << i << " " << row;
        }
    }
    EXPECT_EQ(WindingNumber(region, 20, -0.8), 0);
    EXPECT_EQ(WindingNumber(region, 20, 9.8), 0);
}

// A hundred thousand loops of a tool that goes round and round: what is held between batches is the
// outline of the ring and one interval, told by what a copy of the object allocates.
TEST(BufferredUnion, AStreamOfAHundredThousandLoopsHoldsWhatItsUnionNeeds)
{
    constexpr int kBatch = 100;
    constexpr int kLimit = 5;
    const int steps = Rounds(100000);
    BufferredUnion united({-12, -12}, {12, 12}, kLimit);
    Loops batch;
    std::size_t most = 0;
    for (int i = 0; i < steps; ++i) {
        const double angle = 0.0157079633 * (i % 400);
        const double x = 10 * std::cos(angle);
        const double y = 10 * std::sin(angle);
        batch.push_back(Rectangle(x - 0.5, y - 0.5, x + 0.5, y + 0.5));
        if (batch.size() == kBatch) {
            ASSERT_TRUE(united.Append(batch));
            batch.clear();
        }
        if (i % 5000 == 4999) {
            // One allocation for each loop held, and two for the object.
            const std::size_t before = AllocationCount();
            const BufferredUnion copy = united;
            most = std::max(most, AllocationCount() - before);
        }
    }
    EXPECT_LE(most, static_cast<std::size_t>((kLimit + 1) * kBatch + 50));
    united.Append(batch);
    const Loops region = united.Process();
    ASSERT_EQ(region.size(), 2U); // the ring and its hole
    // Squares all round: out to where a corner comes, in to where an edge comes.
    for (int i = 0; i < 200; ++i) {
        const double angle = 0.0314159 * i + 0.001;
        const auto winding = [&](double radius) {
            return WindingNumber(region, radius * std::cos(angle), radius * std::sin(angle));
        };
        EXPECT_EQ(winding(10), 1);
        EXPECT_EQ(winding(9.2), 0);
        EXPECT_EQ(winding(10.8), 0);
        EXPECT_EQ(winding(10.4), 1);
    }
}

TEST(BufferredUnion, WithoutMemoryABatchIsAddedWholeOrNotAtAll)
{
    const auto prepare = [] {
        BufferredUnion united = HundredSquare(1);
        united.Append(Loops{Rectangle(1, 1, 2, 2)});
        return united;
    };
    WithThreads(1, [&] {
        int invalid = 0;
        const std::size_t failures = FailEachAllocationOfEither(
            prepare,
            [](BufferredUnion& united) {
                united.Append(Loops{Rectangle(3, 1, 4, 2), Rectangle(5, 1, 6, 2)});
            },
            [&](BufferredUnion& united, bool hasThrown) {
                // A union that could not be made is no exception but the end.
                EXPECT_FALSE(hasThrown && !united.IsValid());
                invalid += united.IsValid() ? 0 : 1;
                if (united.IsValid()) {
                    EXPECT_NEAR(AreaUnder(united.Process()), hasThrown ? 1 : 3, 1e-5);
                }
            });
        EXPECT_GT(failures, 5U);
        EXPECT_GT(invalid, 0);
        std::size_t loops = 0;
        FailEachAllocationOfEither(
            prepare, [&](BufferredUnion& united) { loops = united.Process().size(); },
            [&](BufferredUnion& united, bool hasThrown) {
                EXPECT_FALSE(hasThrown);
                EXPECT_EQ(loops, united.IsValid() ? 1U : 0U);
            });
    });
}

TEST(Regions, WithoutMemoryTheyThrowOrAreWhole)
{
    WithThreads(1, [] {
        const std::size_t failures = FailEachAllocationOfEither(
            [] { return Loops{}; },
            [](Loops& region) {
                region = Difference<double>({Rectangle(0, 0, 3, 3), Rectangle(1, 1, 4, 4)},
                                            {Rectangle(0, 0, 1, 2)}, nullptr);
            },
            [](Loops& region, bool hasThrown) {
                // Sorting does without the memory that it asks for.
                EXPECT_NEAR(AreaUnder(region), hasThrown ? 0 : 12, 1e-6);
            });
        EXPECT_GT(failures, 20U);
    });
}

} // namespace
