// Morton codes against the definition of their layout, bit by bit, and their corner cases by name.

#include <Sorvane/MortonCurve_E.h>

#include "tests/support/Rounds.h"
#include "tests/support/TestSupport.h"
#include "tests/trees/BitReference.h"
#include "tests/trees/MortonForms.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cmath>
#include <iterator>
#include <limits>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Sorvane::Tree::MortonCurve;
using Support::Axes;
using Support::Code;
using Support::Interleaved;
using Support::kTop2;
using Support::kTop3;
using Support::LowerCorner;
using Support::RandomAxes;
using Support::Separated;

constexpr int kManyValues = Support::Rounds(1'000'000);
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kLargest = std::numeric_limits<double>::max();
constexpr Code kAll2 = 0x3FFFFFFFFFFFFFFFU; // 62 bits
constexpr Code kAll3 = 0x7FFFFFFFFFFFFFFFU; // 63 bits

template <class F>
class MortonCodes : public testing::Test {
};
using Forms = testing::Types<Support::MortonForm<2>, Support::MortonForm<3>>;
TYPED_TEST_SUITE(MortonCodes, Forms);

TYPED_TEST(MortonCodes, EncodeAndDecodeMatchTheLayoutBitByBit)
{
    using F = TypeParam;
    Support::Random random(1);
    for (int i = 0; i < kManyValues; ++i) {
        const Axes<F::D> values = RandomAxes<F::D>(random, true);
        const Code code = F::EncodeAxes(values);
        ASSERT_EQ(code, Interleaved<F::D>(values));
        ASSERT_EQ(F::DecodeAxes(code), values);
        const Code any = random.Bits(); // also with bits above the levels, which no axis shows
        ASSERT_EQ(F::DecodeAxes(any), Separated<F::D>(any));
    }
}

TYPED_TEST(MortonCodes, EncodeLimitsEachAxis)
{
    using F = TypeParam;
    Support::Random random(2);
    for (int i = 0; i < kManyValues / 4; ++i) {
        Axes<F::D> values = RandomAxes<F::D>(random, false);
        const Code code = F::EncodeAxes(values);
        for (unsigned int& value : values) {
            value = std::min(value, F::kTop);
        }
        ASSERT_EQ(code, Interleaved<F::D>(values));
    }
}

TEST(MortonAxis, EncodeOfOneAxisDropsHighBits)
{
    Support::Random random(3);
    for (int i = 0; i < kManyValues; ++i) {
        const auto v = static_cast<unsigned int>(random.Bits());
        ASSERT_EQ((Encode<2, 0>(v)), (Interleaved<2>({v, 0})));
        ASSERT_EQ((Encode<2, 1>(v)), (Interleaved<2>({0, v})));
        ASSERT_EQ((Encode<3, 0>(v)), (Interleaved<3>({v, 0, 0})));
        ASSERT_EQ((Encode<3, 1>(v)), (Interleaved<3>({0, v, 0})));
        ASSERT_EQ((Encode<3, 2>(v)), (Interleaved<3>({0, 0, v})));
    }
    EXPECT_EQ((Encode<2, 0>(0x80000000U)), 0U);
    EXPECT_EQ((Encode<3, 0>(0x200000U)), 0U);
    EXPECT_EQ((Encode<2, 1>(0xFFFFFFFFU)), 0x2AAAAAAAAAAAAAAAU);
    EXPECT_EQ((Encode<3, 2>(0xFFFFFFFFU)), 0x4924924924924924U);
}

/// Coordinates of all kinds: inside, around the boundaries, far outside, far beyond 64 bits, not
/// finite.
double AnyCoordinate(Support::Random& random)
{
    switch (random.Below(8)) {
    case 0:
        return std::ldexp(random.Between(-1, 1), random.Below(2000) - 1000);
    case 1:
        return random.Between(-4, 4);
    case 2:
        return random.Between(-5000, 5000);
    case 3: {
        const double special[] = {
            kNan,    kInfinity, -kInfinity, kLargest, -kLargest, -0.0,
            1.0,     2.0,       2048.0,     0x1p32,   -0x1p32,   0x1p42,
            -0x1p42, -0x1p-31,  -0x1p-32,   -0x1p-21, -0x1p-22,  0x1.fffffffffffffp31};
        return special[random.Below(static_cast<int>(std::size(special)))];
    }
    default:
        return random.Unit();
    }
}

TYPED_TEST(MortonCodes, PointsMatchTheReferenceInsideAndOutsideUnitSpace)
{
    using F = TypeParam;
    Support::Random random(4);
    std::vector<VecBase<F::D, double>> points(kManyValues);
    std::vector<Code> expected(points.size());
    for (std::size_t i = 0; i < points.size(); ++i) {
        Axes<F::D> values{};
        for (int axis = 0; axis < F::D; ++axis) {
            points[i][axis] = AnyCoordinate(random);
            values[static_cast<std::size_t>(axis)] = Support::AxisValueOf(points[i][axis], F::D);
        }
        expected[i] = Interleaved<F::D>(values);
        ASSERT_EQ(F::EncodePoints(points[i]), expected[i]) << points[i];
    }
    EXPECT_EQ(F::EncodePoints(points), expected);
}

TYPED_TEST(MortonCodes, DecodeGivesTheLowerCornerAtEveryDepth)
{
    using F = TypeParam;
    Support::Random random(5);
    for (int i = 0; i < kManyValues / 10; ++i) {
        const Code code = F::EncodeAxes(RandomAxes<F::D>(random, true));
        const int depth = random.Below(static_cast<int>(F::kDepth) + 1);
        ASSERT_EQ(F::DecodePoints(code, depth), LowerCorner<F::D>(code, depth));
    }
}

TYPED_TEST(MortonCodes, DecodeOutsideTheDepthsDoesNotTruncate)
{
    using F = TypeParam;
    Support::Random random(6);
    for (int i = 0; i < 1000; ++i) {
        const Code code = F::EncodeAxes(RandomAxes<F::D>(random, true));
        const auto whole = LowerCorner<F::D>(code, F::kDepth);
        for (const int depth : {-1, INT_MIN, static_cast<int>(F::kDepth), 64, INT_MAX}) {
            ASSERT_EQ(F::DecodePoints(code, depth), whole) << depth;
        }
        ASSERT_EQ(F::DecodePoints(code, 0), (VecBase<F::D, double>{}));
        ASSERT_EQ(F::EncodePoints(whole), code); // there and back
    }
}

TYPED_TEST(MortonCodes, VectorsDecodeLikeSingleCodes)
{
    using F = TypeParam;
    Support::Random random(7);
    std::vector<Code> codes(10'000);
    for (Code& code : codes) {
        code = random.Bits();
    }
    for (const int depth : {-1, 0, 3, static_cast<int>(F::kDepth)}) {
        const auto points = F::DecodePoints(codes, depth);
        ASSERT_EQ(points.size(), codes.size());
        for (std::size_t i = 0; i < codes.size(); ++i) {
            ASSERT_EQ(points[i], F::DecodePoints(codes[i], depth));
        }
    }
    EXPECT_TRUE(F::DecodePoints(std::vector<Code>{}, 3).empty());
    EXPECT_TRUE(F::EncodePoints(std::vector<VecBase<F::D, double>>{}).empty());
    EXPECT_EQ(F::DecodePoints(std::vector<Code>{codes[0]}, 4)[0], F::DecodePoints(codes[0], 4));
}

TYPED_TEST(MortonCodes, CornersDecodeRowByRow)
{
    using F = TypeParam;
    Support::Random random(8);
    typename F::Corners codes;
    for (Code& code : codes) {
        code = F::EncodeAxes(RandomAxes<F::D>(random, true));
    }
    const auto rows = F::DecodeCorners(codes);
    for (int i = 0; i < codes.size(); ++i) {
        EXPECT_EQ(rows.Row(i), LowerCorner<F::D>(codes[i], F::kDepth));
    }
}

TYPED_TEST(MortonCodes, TruncateClearsLowGroupsOnly)
{
    using F = TypeParam;
    Support::Random random(9);
    for (int i = 0; i < kManyValues / 10; ++i) {
        const Code code = random.Bits();
        const auto depth = static_cast<unsigned int>(random.Below(static_cast<int>(F::kDepth) + 3));
        Code expected = code;
        for (unsigned int bit = 0; bit + F::D * depth < F::D * F::kDepth; ++bit) {
            expected &= ~(Code{1} << bit);
        }
        ASSERT_EQ(Truncate<F::D>(code, depth), expected) << depth;
    }
    EXPECT_EQ(Truncate<F::D>(~Code{0}, UINT_MAX), ~Code{0});
}

TEST(MortonTruncate, KeepsBitsAboveTheFirstLevel)
{
    EXPECT_EQ(Truncate<2>(~Code{0}, 0), 0xC000000000000000U);
    EXPECT_EQ(Truncate<3>(~Code{0}, 0), 0x8000000000000000U);
}

// --- boundaries of unit space --------------------------------------------------------------------

TEST(MortonEncode, OneIsTheLastCell)
{
    EXPECT_EQ(Encode2D(Vec2d(1.0, 0.0)), Encode2D(kTop2, 0U));
    EXPECT_EQ(Encode3D(Vec3d(0.0, 1.0, 1.0)), Encode3D(0U, kTop3, kTop3));
    EXPECT_EQ(Encode2D(Vec2d(1.0, 1.0)), kAll2);
    EXPECT_EQ(Encode3D(Vec3d(1.0, 1.0, 1.0)), kAll3);
}

TEST(MortonEncode, NegativeCoordinatesWrapToTheFarSide)
{
    EXPECT_EQ(Encode2D(Vec2d(-0.25, 0.0)), Encode2D(kTop2, 0U));
    EXPECT_EQ(Encode3D(Vec3d(0.0, 0.0, -0.25)), Encode3D(0U, 0U, kTop3));
    EXPECT_EQ(Encode2D(Vec2d(-0x1p-31, 0.0)), Encode2D(kTop2, 0U)); // -1 after scaling
    EXPECT_EQ(Encode2D(Vec2d(-0x1p-32, 0.0)), 0U);                  // truncates to 0
    EXPECT_EQ(Encode3D(Vec3d(-0x1p-21, 0.0, 0.0)), Encode3D(kTop3, 0U, 0U));
    EXPECT_EQ(Encode3D(Vec3d(-0x1p-22, 0.0, 0.0)), 0U);
}

TEST(MortonEncode, WholeTurnsOf32BitsComeBack)
{
    const Code quarter = Encode2D(0x20000000U, 0U);
    EXPECT_EQ(Encode2D(Vec2d(2.0, 0.0)), 0U);
    EXPECT_EQ(Encode2D(Vec2d(2.25, 0.0)), quarter);
    EXPECT_EQ(Encode2D(Vec2d(-1.75, 0.0)), quarter);
    EXPECT_EQ(Encode3D(Vec3d(2048.0, 0.0, 0.0)), 0U);
    EXPECT_EQ(Encode3D(Vec3d(2048.25, 0.0, 0.0)), Encode3D(0x80000U, 0U, 0U));
    EXPECT_EQ(Encode3D(Vec3d(2.0, 0.0, 0.0)), Encode3D(kTop3, 0U, 0U)); // no turn in space yet
}

TEST(MortonEncode, WhatNoIntegerHoldsIsZero)
{
    for (const double value : {kNan, kInfinity, -kInfinity, kLargest, -kLargest, 0x1p32, 0x1p42}) {
        EXPECT_EQ(Encode2D(Vec2d(value, value)), 0U) << value;
        EXPECT_EQ(Encode3D(Vec3d(value, value, value)), 0U) << value;
    }
}

TEST(MortonOrder, CodesRunThroughQuadrantsInZOrder)
{
    const std::vector<Vec2d> centers{{0.25, 0.25}, {0.75, 0.25}, {0.25, 0.75}, {0.75, 0.75}};
    const std::vector<Code> codes = Encode2D(centers);
    EXPECT_TRUE(std::is_sorted(codes.begin(), codes.end()));
    for (Code quadrant = 0; quadrant < 4; ++quadrant) {
        EXPECT_EQ(Truncate<2>(codes[quadrant], 1), quadrant << 60U);
    }
}

// --- between plane and space ------------------------------------------------------------------

TEST(MortonConvert, SpaceToPlaneAndBackKeepsXAndY)
{
    Support::Random random(10);
    for (int i = 0; i < kManyValues / 10; ++i) {
        const Axes<3> values = RandomAxes<3>(random, true);
        unsigned int z = 0;
        const Code flat = Convert3Dto2D(Interleaved<3>(values), &z);
        ASSERT_EQ(z, values[2]);
        ASSERT_EQ(flat, (Interleaved<2>({values[0] << 10U, values[1] << 10U})));
        ASSERT_EQ(Convert3Dto2D(Interleaved<3>(values), nullptr), flat);
        ASSERT_EQ(Convert2Dto3D(flat, std::ldexp(z, -21)), Interleaved<3>(values));
    }
}

TEST(MortonConvert, PlaneToSpaceAndBackLosesTenBits)
{
    Support::Random random(11);
    for (int i = 0; i < kManyValues / 10; ++i) {
        const Axes<2> values = RandomAxes<2>(random, true);
        const Code back = Convert3Dto2D(Convert2Dto3D(Interleaved<2>(values), 0.5), nullptr);
        ASSERT_EQ(back, (Interleaved<2>({values[0] & ~0x3FFU, values[1] & ~0x3FFU})));
    }
}

TEST(MortonConvert, HeightIsLimitedToUnitSpace)
{
    const auto layer = [](double z) { return Decode<3, 2>(Convert2Dto3D(kAll2, z)); };
    EXPECT_EQ(layer(1.0), kTop3);
    EXPECT_EQ(layer(7.0), kTop3);
    EXPECT_EQ(layer(kInfinity), kTop3);
    EXPECT_EQ(layer(1.0 - 0x1p-21), kTop3);
    EXPECT_EQ(layer(0x1.fffffp-1), 0x1FFFFFU); // 1 - 2^-21, as a literal
    EXPECT_EQ(layer(1.0 - 0x1p-20), kTop3 - 1);
    EXPECT_EQ(layer(0.5), 0x100000U);
    EXPECT_EQ(layer(0.0), 0U);
    EXPECT_EQ(layer(-0.5), 0U);
    EXPECT_EQ(layer(-kInfinity), 0U);
    EXPECT_EQ(layer(kNan), 0U);
}

// --- points to the curve ----------------------------------------------------------------------

template <class F>
std::vector<VecBase<F::D, double>> Cloud(int count, double low, double high)
{
    Support::Random random(15);
    std::vector<VecBase<F::D, double>> points;
    for (int i = 0; i < count; ++i) {
        points.push_back(random.Vector<F::D, double>(low, high));
    }
    return points;
}

/// Places in [0, 1] by the definition of the mapping: centered, largest extent 99.9 % of the edge.
template <int D>
VecBase<D, double> InUnitSpace(const std::vector<VecBase<D, double>>& points, std::size_t i)
{
    VecBase<D, double> low = points[0];
    VecBase<D, double> high = points[0];
    for (const auto& point : points) {
        for (int axis = 0; axis < D; ++axis) {
            low[axis] = std::min(low[axis], point[axis]);
            high[axis] = std::max(high[axis], point[axis]);
        }
    }
    double largest = 0;
    for (int axis = 0; axis < D; ++axis) {
        largest = std::max(largest, high[axis] - low[axis]);
    }
    VecBase<D, double> place;
    for (int axis = 0; axis < D; ++axis) {
        const double center = (low[axis] + high[axis]) / 2;
        place[axis] = 0.5 + (points[i][axis] - center) / largest * 0.999;
    }
    return place;
}

TYPED_TEST(MortonCodes, MapToCurveCentersTheBoxAndKeepsProportions)
{
    using F = TypeParam;
    auto points = Cloud<F>(2000, -7, 30);
    for (auto& point : points) {
        point[1] *= 0.25; // a flat box
    }
    const auto codes = MapToCurve<F::D>(points, F::kDepth);
    ASSERT_EQ(codes.size(), points.size());
    for (std::size_t i = 0; i < points.size(); i += 7) {
        const auto place = InUnitSpace<F::D>(points, i);
        const auto decoded = F::DecodePoints(codes[i], -1);
        for (int axis = 0; axis < F::D; ++axis) {
            // One finest cell for truncation, and rounding of the map.
            ASSERT_NEAR(decoded[axis], place[axis],
                        std::ldexp(1.0, -static_cast<int>(F::kDepth)) + 1e-12);
        }
    }
}

TYPED_TEST(MortonCodes, MapToCurveTruncatesAboveFullDepth)
{
    using F = TypeParam;
    const auto points = Cloud<F>(1500, -1, 1);
    const auto whole = MapToCurve<F::D>(points, F::kDepth);
    for (const unsigned int depth : {0U, 1U, 7U, F::kDepth - 1, F::kDepth + 1, UINT_MAX}) {
        const auto codes = MapToCurve<F::D>(points, depth);
        for (std::size_t i = 0; i < codes.size(); ++i) {
            ASSERT_EQ(codes[i], Truncate<F::D>(whole[i], depth));
        }
    }
}

TYPED_TEST(MortonCodes, MapToCurvePutsCoincidentPointsInTheMiddle)
{
    using F = TypeParam;
    const Code middle = F::D == 2 ? 0x3000000000000000U : 0x7000000000000000U;
    VecBase<F::D, double> point;
    point[0] = 3.5;
    point[1] = -8;
    for (const std::size_t count : {1, 2, 700}) {
        const std::vector<VecBase<F::D, double>> points(count, point);
        EXPECT_EQ(MapToCurve<F::D>(points, F::kDepth), std::vector<Code>(count, middle));
    }
}

TYPED_TEST(MortonCodes, MapToCurveOfNoPointsIsEmpty)
{
    using F = TypeParam;
    EXPECT_TRUE(MapToCurve<F::D>({}, 5).empty());
}

TYPED_TEST(MortonCodes, MapToCurveTakesHostilePoints)
{
    using F = TypeParam;
    auto points = Cloud<F>(50, -1e300, 1e300);
    points[3][0] = kNan;
    points[7][1] = kInfinity;
    points[9][0] = -kInfinity;
    EXPECT_EQ(MapToCurve<F::D>(points, 9).size(), points.size());
}

TEST(MortonMapToCurve, BoxTooLargeToScaleWraps)
{
    // Largest extent 2e5: only centered, at 0.5. Corners at -99999.5 and 100000.5 wrap modulo 2048.
    const std::vector<Vec3d> points{{0, 0, 0}, {2e5, 2e5, 2e5}};
    const auto codes = MapToCurve<3>(points, 21);
    for (std::size_t i = 0; i < 2; ++i) {
        const double place = points[i][0] - 1e5 + 0.5;
        const unsigned int value = Support::AxisValueOf(place, 3);
        EXPECT_EQ(codes[i], (Interleaved<3>({value, value, value})));
    }
}

} // namespace
