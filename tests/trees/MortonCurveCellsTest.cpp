// Cells of Morton codes: grids, corners, samples and steps, against whole-number arithmetic.

#include <Sorvane/MortonCurve_E.h>

#include "tests/support/Rounds.h"
#include "tests/support/TestSupport.h"
#include "tests/trees/BitReference.h"
#include "tests/trees/MortonForms.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cmath>
#include <functional>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Sorvane::Tree::MortonCurve;
using Support::Axes;
using Support::Code;
using Support::Interleaved;
using Support::kTop3;
using Support::LowerCorner;
using Support::RandomAxes;

constexpr int kManyValues = Support::Rounds(1'000'000);

template <class F>
class MortonCells : public testing::Test {
};
using Forms = testing::Types<Support::MortonForm<2>, Support::MortonForm<3>>;
TYPED_TEST_SUITE(MortonCells, Forms);

TYPED_TEST(MortonCells, GridHoldsEachCellOnceInOrder)
{
    using F = TypeParam;
    EXPECT_EQ(F::Grid(0), std::vector<Code>{0});
    for (unsigned int depth = 1; depth <= 4; ++depth) {
        const std::vector<Code> codes = F::Grid(depth);
        ASSERT_EQ(codes.size(), std::size_t{1} << (F::D * depth));
        EXPECT_EQ(std::adjacent_find(codes.begin(), codes.end(), std::greater_equal<>{}),
                  codes.end());
        for (const Code code : codes) {
            EXPECT_EQ(Truncate<F::D>(code, depth), code);
        }
        // The last one has every axis at its last cell.
        for (const unsigned int value : F::DecodeAxes(codes.back())) {
            EXPECT_EQ(value, F::kTop + 1 - (1U << (F::kDepth - depth)));
        }
    }
}

TEST(MortonGrid, CountOf32BitsMakesDeepGridsEmpty)
{
    for (unsigned int depth = 16; depth <= 33; ++depth) {
        EXPECT_TRUE(CodeGridAtDepth2D(depth).empty()) << depth;
    }
    for (unsigned int depth = 11; depth <= 23; ++depth) {
        EXPECT_TRUE(CodeGridAtDepth3D(depth).empty()) << depth;
    }
    EXPECT_TRUE(CodeGridAtDepth2D(UINT_MAX).empty());
    EXPECT_TRUE(CodeGridAtDepth3D(UINT_MAX).empty());
}

TYPED_TEST(MortonCells, CellCornersAreStepsOfTheEdge)
{
    using F = TypeParam;
    Support::Random random(12);
    int inside = 0;
    for (int i = 0; i < 100'000; ++i) {
        const Axes<F::D> values = RandomAxes<F::D>(random, true);
        const auto depth = static_cast<unsigned int>(random.Below(static_cast<int>(F::kDepth) + 1));
        const unsigned int edge = 1U << (F::kDepth - depth);
        const bool truncate = random.Below(2) == 1;
        Axes<F::D> lower = values;
        bool fits = true;
        for (unsigned int& value : lower) {
            value = truncate ? value / edge * edge : value;
            fits = fits && Code{value} + edge <= F::kTop;
        }
        typename F::Corners corners;
        corners[0] = 12345;
        const typename F::Corners untouched = corners;
        ASSERT_EQ(F::Cell(F::EncodeAxes(values), depth, corners, truncate), fits);
        if (!fits) {
            ASSERT_EQ(corners, untouched);
            continue;
        }
        ++inside;
        for (int corner = 0; corner < corners.size(); ++corner) {
            Axes<F::D> expected = lower;
            for (std::size_t axis = 0; axis < expected.size(); ++axis) {
                expected[axis] += (corner >> axis & 1) != 0 ? edge : 0;
            }
            ASSERT_EQ(corners[corner], Interleaved<F::D>(expected));
        }
    }
    EXPECT_GT(inside, 10'000);
}

TYPED_TEST(MortonCells, CellsOnTheFarSideAndTheRootHaveNoCorners)
{
    using F = TypeParam;
    typename F::Corners corners;
    EXPECT_FALSE(F::Cell(0, 0, corners, true));
    EXPECT_FALSE(F::Cell(0, 0, corners, false));
    EXPECT_FALSE(F::Cell(0, F::kDepth + 1, corners, true));
    EXPECT_FALSE(F::Cell(0, UINT_MAX, corners, true));
    for (unsigned int depth = 1; depth <= F::kDepth; ++depth) {
        const unsigned int edge = 1U << (F::kDepth - depth);
        for (std::size_t axis = 0; axis < F::D; ++axis) {
            Axes<F::D> far{};
            far[axis] = F::kTop + 1 - edge;
            EXPECT_FALSE(F::Cell(F::EncodeAxes(far), depth, corners, true));
            if (depth > 1) {
                far[axis] -= edge;
                EXPECT_TRUE(F::Cell(F::EncodeAxes(far), depth, corners, true));
            }
        }
    }
    EXPECT_TRUE(F::Cell(0, F::kDepth, corners, true));
    EXPECT_EQ(corners[corners.size() - 1], (Code{1} << F::D) - 1);
}

TYPED_TEST(MortonCells, OnlyTheFirstCornerKeepsBitsAboveTheLevels)
{
    using F = TypeParam;
    const Code stray = Code{1} << 63U;
    typename F::Corners corners;
    ASSERT_TRUE(F::Cell(stray, 2, corners, true));
    EXPECT_EQ(corners[0], stray);
    for (int corner = 1; corner < corners.size(); ++corner) {
        EXPECT_EQ(corners[corner] >> (F::D * F::kDepth), 0U);
    }
}

TYPED_TEST(MortonCells, SampledCornersSpanTheCell)
{
    using F = TypeParam;
    Support::Random random(13);
    for (int i = 0; i < 20'000; ++i) {
        const Code code = F::EncodeAxes(RandomAxes<F::D>(random, true));
        const int depth = random.Below(static_cast<int>(F::kDepth) + 1);
        const auto corners = F::Sample(code, static_cast<unsigned int>(depth));
        for (int corner = 0; corner < corners.rows(); ++corner) {
            auto expected = LowerCorner<F::D>(code, depth);
            for (int axis = 0; axis < F::D; ++axis) {
                expected[axis] += (corner >> axis & 1) != 0 ? std::ldexp(1.0, -depth) : 0.0;
            }
            ASSERT_EQ(corners.Row(corner), expected);
        }
    }
    // Up to the far side, and no further than the finest cell.
    const auto root = F::Sample(~Code{0}, 0);
    for (int axis = 0; axis < F::D; ++axis) {
        EXPECT_EQ(root(0, axis), 0.0);
        EXPECT_EQ(root(root.rows() - 1, axis), 1.0);
    }
    for (const unsigned int beyond : {F::kDepth + 1, 64U, UINT_MAX}) {
        EXPECT_EQ(F::Sample(12345, beyond), F::Sample(12345, F::kDepth));
    }
}

TYPED_TEST(MortonCells, StepsMatchWrappingArithmetic)
{
    using F = TypeParam;
    Support::Random random(14);
    int taken = 0;
    for (int i = 0; i < kManyValues / 5; ++i) {
        const Axes<F::D> values = RandomAxes<F::D>(random, true);
        const int depth = random.Below(static_cast<int>(F::kDepth) + 1);
        std::array<int, F::D> steps{};
        for (int& step : steps) {
            step = random.Below(4) == 0 ? static_cast<int>(random.Bits()) : random.Below(7) - 3;
        }
        // The same in exact arithmetic, modulo 2^32.
        Axes<F::D> expected{};
        bool stays = true;
        for (std::size_t axis = 0; axis < F::D; ++axis) {
            const long long edge = 1LL << (static_cast<int>(F::kDepth) - depth);
            const long long sum = values[axis] + steps[axis] * edge;
            const long long turn = 1LL << 32;
            const long long wrapped = (sum % turn + turn) % turn;
            stays = stays && wrapped <= F::kTop;
            expected[axis] = static_cast<unsigned int>(wrapped);
        }
        const Code before = F::EncodeAxes(values);
        Code code = before;
        ASSERT_EQ(F::Step(code, static_cast<unsigned int>(depth), steps), stays);
        ASSERT_EQ(code, stays ? Interleaved<F::D>(expected) : before);
        taken += stays ? 1 : 0;
    }
    EXPECT_GT(taken, 1000);
}

TYPED_TEST(MortonCells, StepOfZeroDropsBitsAboveTheLevels)
{
    using F = TypeParam;
    Code code = ~Code{0};
    EXPECT_TRUE(F::Step(code, 5, {}));
    EXPECT_EQ(code, ~Code{0} >> (64 - F::D * F::kDepth));
}

TYPED_TEST(MortonCells, StepBeyondTheDepthsIsRefused)
{
    using F = TypeParam;
    for (const unsigned int depth : {F::kDepth + 1, 64U, UINT_MAX}) {
        Code code = ~Code{0};
        EXPECT_FALSE(F::Step(code, depth, {}));
        EXPECT_EQ(code, ~Code{0});
    }
}

TEST(MortonStep, WholeTurnsComeBackAtTheRoot)
{
    Code code = 77;
    EXPECT_FALSE(StepOver2D(code, 0, 1, 0));
    EXPECT_FALSE(StepOver2D(code, 0, -1, 0));
    EXPECT_TRUE(StepOver2D(code, 0, 2, 0));
    EXPECT_TRUE(StepOver2D(code, 0, INT_MIN, 0)); // -2^31 * 2^31 is a multiple of 2^32
    EXPECT_EQ(code, 77U);
    EXPECT_FALSE(StepOver3D(code, 0, 2, 0, 0));
    EXPECT_TRUE(StepOver3D(code, 0, 0, 2048, 0));
    EXPECT_EQ(code, 77U);
}

TEST(MortonStep, NothingMovesUnlessAllAxesStayInside)
{
    Code code = Encode3D(5U, 5U, kTop3);
    const Code before = code;
    EXPECT_FALSE(StepOver3D(code, 21, 1, -1, 1));
    EXPECT_EQ(code, before);
    EXPECT_TRUE(StepOver3D(code, 21, 1, -1, 0));
    EXPECT_EQ(code, Encode3D(6U, 4U, kTop3));
}

TEST(MortonStep, KeepsWhatLiesBelowTheDepth)
{
    Code code = Encode2D(3U, 9U);
    ASSERT_TRUE(StepOver2D(code, 2, 2, 1));
    EXPECT_EQ(code, Encode2D(3U + (2U << 29U), 9U + (1U << 29U)));
}

} // namespace
