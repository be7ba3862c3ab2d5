// Rings and bands of a revolved profile, its literal treatment of the axis point, and hostile
// tolerances.

#include <Sorvane/IndexedMesh_E.h>
#include <Velk/Math/Transform_E.h>

#include "tests/support/TestSupport.h"

#include <array>
#include <cmath>
#include <limits>
#include <stdexcept>
#include <type_traits>
#include <vector>

namespace {

using namespace Velk::Math;
using Sorvane::RevolvedPolylineAroundAxis;
using Sorvane::Mesh::IndexedTrianglesBase;

template <class Scalar, class TagType>
struct Form {
    using T = Scalar;
    using Tag = TagType;
    using V = VecBase<3, T>;
    using Ranges = std::vector<std::pair<int, int>>;
    static constexpr double kClose = std::is_same_v<T, float> ? 2e-6 : 1e-14;

    /// The tolerance that asks for steps of 2 pi / rings about a circle of radius 1, for a number
    /// of rings between two whole ones so that rounding does not decide.
    static T ToleranceFor(double rings)
    {
        return static_cast<T>(1 - std::cos(kPi<double> / rings));
    }

    static auto Revolve(const std::vector<V>& profile, const Ranges& ranges, T tolerance)
    {
        return RevolvedPolylineAroundAxis<T, Tag>(V{0, 0, 0}, V{0, 0, 2}, profile, ranges,
                                                  tolerance);
    }

    static std::vector<std::array<int, 3>> Triples(const IndexedTrianglesBase<3, T, Tag>& surface)
    {
        std::vector<std::array<int, 3>> triples;
        for (const auto& triangle : surface.triangles) {
            triples.push_back(triangle.indices);
        }
        return triples;
    }
};

template <class F>
class RevolvedPolylineOf : public testing::Test {
};
using Forms =
    testing::Types<Form<float, void>, Form<float, int>, Form<float, unsigned long long>,
                   Form<double, void>, Form<double, int>, Form<double, unsigned long long>>;
TYPED_TEST_SUITE(RevolvedPolylineOf, Forms);

#define SORVANE_FORM                                            \
    using T [[maybe_unused]] = typename TypeParam::T;           \
    using Tag [[maybe_unused]] = typename TypeParam::Tag;       \
    using V [[maybe_unused]] = typename TypeParam::V;           \
    using Ranges [[maybe_unused]] = typename TypeParam::Ranges; \
    using Triples [[maybe_unused]] = std::vector<std::array<int, 3>>

TYPED_TEST(RevolvedPolylineOf, RingsOfACylinder)
{
    SORVANE_FORM;
    const std::vector<V> profile{V{1, 0, 0}, V{1, 0, 3}};
    const auto surface =
        TypeParam::Revolve(profile, {{0, 1}}, TypeParam::ToleranceFor(7.5)); // 8 rings
    ASSERT_EQ(surface.points.size(), 16U);
    for (int ring = 0; ring < 8; ++ring) {
        for (int i = 0; i < 2; ++i) {
            const V& p = surface.points[static_cast<std::size_t>(2 * ring + i)];
            EXPECT_NEAR(p[0], std::cos(kPi<double> / 4 * ring), TypeParam::kClose);
            EXPECT_NEAR(p[1], std::sin(kPi<double> / 4 * ring), TypeParam::kClose);
            EXPECT_EQ(p[2], T(3 * i));
        }
    }
    ASSERT_EQ(surface.triangles.size(), 16U);
    // Ring 0 joins the last ring, then each ring the one before it.
    const auto triples = TypeParam::Triples(surface);
    EXPECT_EQ((Triples(triples.begin(), triples.begin() + 4)),
              (Triples{{14, 0, 1}, {14, 1, 15}, {0, 2, 3}, {0, 3, 1}}));
    EXPECT_EQ(triples.back(), (std::array<int, 3>{12, 15, 13}));
}

TYPED_TEST(RevolvedPolylineOf, OutwardNormalsAndAreaOfACylinder)
{
    SORVANE_FORM;
    const std::vector<V> profile{V{1, 0, 0}, V{1, 0, 3}};
    const auto surface = TypeParam::Revolve(profile, {{0, 1}}, TypeParam::ToleranceFor(15.5));
    double area = 0;
    for (const auto& triangle : surface.triangles) {
        const auto corner = [&](std::size_t k) {
            return Vec3d(surface.points[static_cast<std::size_t>(triangle.indices[k])]);
        };
        const Vec3d twice = (corner(1) - corner(0)) ^ (corner(2) - corner(0));
        area += Length(twice) / 2;
        EXPECT_GT(twice * (corner(0) + corner(1) + corner(2)), 0.0); // rising profile: outward
    }
    // A prism over the regular 16-gon: 16 chords of 2 sin(pi / 16), height 3.
    EXPECT_NEAR(area, 16 * 2 * std::sin(kPi<double> / 16) * 3, 100 * TypeParam::kClose);
}

TYPED_TEST(RevolvedPolylineOf, TagsAreRangeNumbers)
{
    SORVANE_FORM;
    const std::vector<V> profile{V{1, 0, 0}, V{1, 0, 1}, V{1, 0, 2}};
    // An empty range in the middle still counts.
    const auto surface = TypeParam::Revolve(profile, {{1, 2}, {2, 2}, {0, 1}}, T(0.25));
    const std::size_t half = surface.triangles.size() / 2;
    ASSERT_GT(half, 0U);
    if constexpr (!std::is_void_v<Tag>) {
        for (std::size_t t = 0; t < 2 * half; ++t) {
            EXPECT_EQ(surface.triangles[t].tag, t < half ? Tag{0} : Tag{2});
        }
    }
    // The first range takes the upper step of the profile.
    const std::size_t ringStart = surface.points.size() - 3;
    EXPECT_EQ(surface.triangles[0].indices,
              (std::array<int, 3>{static_cast<int>(ringStart) + 1, 1, 2}));
}

TYPED_TEST(RevolvedPolylineOf, EmptyRangesListGivesRingsWithoutTriangles)
{
    SORVANE_FORM;
    const auto surface = TypeParam::Revolve({V{1, 0, 0}}, {}, TypeParam::ToleranceFor(7.5));
    EXPECT_EQ(surface.points.size(), 8U);
    EXPECT_TRUE(surface.triangles.empty());
}

TYPED_TEST(RevolvedPolylineOf, RangeLastIsClippedAndBackwardRangeAddsNothing)
{
    SORVANE_FORM;
    const std::vector<V> profile{V{1, 0, 0}, V{1, 0, 1}, V{1, 0, 2}};
    const T tolerance(0.25);
    const auto whole = TypeParam::Revolve(profile, {{0, 2}}, tolerance);
    const auto clipped =
        TypeParam::Revolve(profile, {{0, std::numeric_limits<int>::max()}}, tolerance);
    EXPECT_EQ(clipped, whole);
    const auto nothing =
        TypeParam::Revolve(profile, {{2, 0}, {1, 1}, {5, 9}, {2, 5}, {0, -4}}, tolerance);
    EXPECT_EQ(nothing.points, whole.points);
    EXPECT_TRUE(nothing.triangles.empty());
}

TYPED_TEST(RevolvedPolylineOf, ARangeIsSweptRingByRingAndStepByStepWithinARing)
{
    SORVANE_FORM;
    const std::vector<V> profile{V{1, 0, 0}, V{1, 0, 1}, V{1, 0, 2}};
    const auto surface = TypeParam::Revolve(profile, {{0, 2}}, TypeParam::ToleranceFor(2.5));
    // Three rings of three points, numbered from 0, 3 and 6.
    EXPECT_EQ(TypeParam::Triples(surface), (Triples{{6, 0, 1},
                                                    {6, 1, 7},
                                                    {7, 1, 2},
                                                    {7, 2, 8},
                                                    {0, 3, 4},
                                                    {0, 4, 1},
                                                    {1, 4, 5},
                                                    {1, 5, 2},
                                                    {3, 6, 7},
                                                    {3, 7, 4},
                                                    {4, 7, 8},
                                                    {4, 8, 5}}));
}

TYPED_TEST(RevolvedPolylineOf, NegativeFirstIsTrusted)
{
    SORVANE_FORM;
    const auto surface =
        TypeParam::Revolve({V{0, 0, 0}, V{0, 0, 1}}, {{-1, 1}}, T(0.25)); // one ring
    EXPECT_EQ(TypeParam::Triples(surface),
              (Triples{{-1, -1, 0}, {-1, 0, 0}, {0, 0, 1}, {0, 1, 1}}));
}

TYPED_TEST(RevolvedPolylineOf, ProfileOnTheAxisIsOneRingOfDegenerateTriangles)
{
    SORVANE_FORM;
    const std::vector<V> profile{V{0, 0, 0}, V{0, 0, 1}};
    const auto surface = TypeParam::Revolve(profile, {{0, 1}}, T(0.0078125));
    EXPECT_EQ(surface.points, profile);
    EXPECT_EQ(TypeParam::Triples(surface), (Triples{{0, 0, 1}, {0, 1, 1}}));
}

TYPED_TEST(RevolvedPolylineOf, PointsOnTheAxisAreNotMerged)
{
    SORVANE_FORM;
    const auto cone = TypeParam::Revolve({V{0, 0, 1}, V{1, 0, 0}}, {{0, 1}},
                                         TypeParam::ToleranceFor(3.5)); // 4 rings
    ASSERT_EQ(cone.points.size(), 8U);
    EXPECT_EQ(cone.triangles.size(), 8U);
    for (std::size_t apex = 0; apex < 8; apex += 2) {
        EXPECT_EQ(cone.points[apex], (V{0, 0, 1}));
    }
}

TYPED_TEST(RevolvedPolylineOf, GreatestRadiusDecidesTheRings)
{
    SORVANE_FORM;
    // Radius 4 with four times the tolerance of radius 1: the same number of rings.
    const auto surface = TypeParam::Revolve({V{1, 0, 0}, V{0, -4, 1}, V{2, 0, 2}}, {},
                                            4 * TypeParam::ToleranceFor(11.5));
    EXPECT_EQ(surface.points.size(), 3U * 12U);
}

TYPED_TEST(RevolvedPolylineOf, CoarseToleranceStillMakesARing)
{
    SORVANE_FORM;
    // A step of a full turn: one ring that joins itself.
    const auto surface = TypeParam::Revolve({V{1, 0, 0}, V{1, 0, 1}}, {{0, 1}}, T(1000));
    EXPECT_EQ(surface.points.size(), 2U);
    EXPECT_EQ(TypeParam::Triples(surface), (Triples{{0, 0, 1}, {0, 1, 1}}));
}

// p - c - c + c, ring upon ring: with the axis point c off the origin the center walks.
TYPED_TEST(RevolvedPolylineOf, OffOriginAxisMapsAsStated)
{
    SORVANE_FORM;
    const V c{10, 0, 0};
    const auto surface = RevolvedPolylineAroundAxis<T, Tag>(
        c, V{0, 0, 1}, {V{11, 0, 5}}, Ranges{}, TypeParam::ToleranceFor(3.5)); // 4 rings of 90
    ASSERT_EQ(surface.points.size(), 4U);
    // By hand: (11,0) - (20,0) = (-9,0) -> (0,-9) + c = (10,-9); (-10,-9) -> (9,-10) + c =
    // (19,-10);
    // (-1,-10) -> (10,-1) + c = (20,-1).
    const double expected[4][2] = {{11, 0}, {10, -9}, {19, -10}, {20, -1}};
    for (std::size_t ring = 0; ring < 4; ++ring) {
        EXPECT_NEAR(surface.points[ring][0], expected[ring][0], 20 * TypeParam::kClose);
        EXPECT_NEAR(surface.points[ring][1], expected[ring][1], 20 * TypeParam::kClose);
        EXPECT_EQ(surface.points[ring][2], T{5});
    }
}

TYPED_TEST(RevolvedPolylineOf, RadiusIsMeasuredFromTheAxisLineNotItsPoint)
{
    SORVANE_FORM;
    // A slanted, unnormalized axis through c; the profile point stands 1 off it, far along it.
    const V c{1, 2, 3};
    const V direction{0, 6, 8};
    const V point = c + direction * T(5) + V{1, 0, 0};
    const auto surface = RevolvedPolylineAroundAxis<T, Tag>(c, direction, {point}, Ranges{},
                                                            TypeParam::ToleranceFor(7.5));
    EXPECT_EQ(surface.points.size(), 8U);
}

TYPED_TEST(RevolvedPolylineOf, AxisWithoutDirectionRepeatsTheProfile)
{
    SORVANE_FORM;
    const auto surface = RevolvedPolylineAroundAxis<T, Tag>(
        V{}, V{}, {V{1, 2, 2}}, Ranges{}, 3 * TypeParam::ToleranceFor(4.5)); // radius 3, 5 rings
    EXPECT_EQ(surface.points, (std::vector<V>(5, V{1, 2, 2})));
}

TYPED_TEST(RevolvedPolylineOf, EmptyProfileIsAnEmptyMesh)
{
    SORVANE_FORM;
    const auto surface = TypeParam::Revolve({}, {{0, 5}}, T(0.125));
    EXPECT_TRUE(surface.points.empty());
    EXPECT_TRUE(surface.triangles.empty());
}

TYPED_TEST(RevolvedPolylineOf, ToleranceWithoutAStepIsAnEmptyMesh)
{
    SORVANE_FORM;
    const T nan = std::numeric_limits<T>::quiet_NaN();
    const T infinity = std::numeric_limits<T>::infinity();
    const std::vector<V> profile{V{1, 0, 0}, V{1, 0, 1}};
    for (const T tolerance : {T{0}, T{-1}, nan, -infinity}) {
        const auto surface = TypeParam::Revolve(profile, {{0, 1}}, tolerance);
        EXPECT_TRUE(surface.points.empty()) << tolerance;
        EXPECT_TRUE(surface.triangles.empty());
    }
    for (const T far : {nan, infinity}) {
        EXPECT_TRUE(TypeParam::Revolve({V{far, T{0}, T{0}}}, {}, T(0.125)).points.empty());
    }
}

TYPED_TEST(RevolvedPolylineOf, ToleranceTooFineToNumberThePointsIsALengthError)
{
    SORVANE_FORM;
    const std::vector<V> profile{V{1, 0, 0}, V{1, 0, 1}};
    for (const T tolerance : {static_cast<T>(1e-20), std::numeric_limits<T>::min()}) {
        EXPECT_THROW(TypeParam::Revolve(profile, {{0, 1}}, tolerance), std::length_error);
    }
}

} // namespace
