// Area, volume, center and box against closed forms.

#include <Sorvane/MeshMeasures_E.h>

#include "tests/support/Random.h"
#include "tests/support/TestSupport.h"
#include "tests/support/ThreadLimit.h"

#include <cmath>
#include <limits>
#include <utility>
#include <vector>

namespace {

using namespace Velk::Math;
using Sorvane::Mesh::IndexedPointsBase;
using Sorvane::Mesh::MeasureMesh;
using Sorvane::Mesh::MeshMeasures;

template <class T>
class MeasuresOf : public testing::Test {
};
using Scalars = testing::Types<float, double>;
TYPED_TEST_SUITE(MeasuresOf, Scalars);

/// The tetrahedron of a corner and three legs along the axes, wound outward.
template <class T>
IndexedPointsBase<3, T> CornerTetrahedron(const VecBase<3, T>& at, const VecBase<3, T>& legs)
{
    const VecBase<3, T> x(legs.x(), 0, 0);
    const VecBase<3, T> y(0, legs.y(), 0);
    const VecBase<3, T> z(0, 0, legs.z());
    return {{at, at + x, at + y, at + z}, {0, 2, 1, 0, 1, 3, 0, 3, 2, 1, 2, 3}};
}

template <class T>
void TurnInsideOut(IndexedPointsBase<3, T>& mesh)
{
    for (std::size_t i = 0; i < mesh.indices.size(); i += 3) {
        std::swap(mesh.indices[i], mesh.indices[i + 1]);
    }
}

TYPED_TEST(MeasuresOf, ATetrahedron)
{
    // Legs 1, 2, 2: V = 1 * 2 * 2 / 6; faces 1, 1, 2 and |(2 * 2, 1 * 2, 1 * 2)| / 2 = sqrt 6.
    auto mesh = CornerTetrahedron<TypeParam>({4, 8, 16}, {1, 2, 2});
    mesh.points.push_back({99, 99, 99}); // of no triangle
    const MeshMeasures measures = MeasureMesh(mesh);
    EXPECT_NEAR(measures.volume, 2.0 / 3, 1e-15);
    EXPECT_NEAR(measures.area, 4 + std::sqrt(6.0), 1e-14);
    EXPECT_NEAR(measures.centroid.x(), 4.25, 1e-14);
    EXPECT_NEAR(measures.centroid.y(), 8.5, 1e-14);
    EXPECT_NEAR(measures.centroid.z(), 16.5, 1e-14);
    EXPECT_EQ(measures.low, Vec3d(4, 8, 16));
    EXPECT_EQ(measures.high, Vec3d(5, 10, 18));
    TurnInsideOut(mesh);
    const MeshMeasures turned = MeasureMesh(mesh);
    EXPECT_EQ(turned.volume, -measures.volume);
    EXPECT_NEAR(turned.centroid.x(), 4.25, 1e-14);
    EXPECT_EQ(turned.area, measures.area);
}

TYPED_TEST(MeasuresOf, NothingAndAnIncompleteTriangle)
{
    for (const MeshMeasures& measures :
         {MeasureMesh(IndexedPointsBase<3, TypeParam>{}),
          MeasureMesh(IndexedPointsBase<3, TypeParam>{{{1, 2, 3}, {4, 5, 6}}, {0, 1}})}) {
        EXPECT_EQ(measures.area, 0);
        EXPECT_EQ(measures.volume, 0);
        for (int axis = 0; axis < 3; ++axis) {
            EXPECT_TRUE(std::isnan(measures.centroid[axis]));
            EXPECT_TRUE(std::isnan(measures.low[axis]));
            EXPECT_TRUE(std::isnan(measures.high[axis]));
        }
    }
}

TYPED_TEST(MeasuresOf, ATriangleAloneHasTheVolumeToTheOrigin)
{
    // The face of the tetrahedron with legs 3, 3, 3 at the origin, whose center is at 3/4 each.
    const IndexedPointsBase<3, TypeParam> mesh{{{3, 0, 0}, {0, 3, 0}, {0, 0, 3}}, {0, 1, 2}};
    const MeshMeasures measures = MeasureMesh(mesh);
    EXPECT_NEAR(measures.volume, 4.5, 1e-14);
    EXPECT_NEAR(measures.centroid.y(), 0.75, 1e-14);
    // Moved along its normal by (1, 1, 1), of which the plane is twice as far from the origin.
    IndexedPointsBase<3, TypeParam> moved = mesh;
    for (auto& point : moved.points) {
        point += VecBase<3, TypeParam>(1, 1, 1);
    }
    EXPECT_NEAR(MeasureMesh(moved).volume, 9, 1e-14);
}

TEST(Measures, ASheetAcrossAnyAxisHasTheVolumeToTheOrigin)
{
    // Legs 3 and 3 at the distance 5: 9 / 2 * 5 / 3, and the other way about wound oppositely. The
    // corners may begin with any of the three.
    for (int axis = 0; axis < 3; ++axis) {
        Vec3d a;
        a[axis] = 5;
        Vec3d b = a;
        b[(axis + 1) % 3] = 3;
        Vec3d c = a;
        c[(axis + 2) % 3] = 3;
        for (const std::vector<int>& order : {std::vector<int>{0, 1, 2}, {1, 2, 0}, {2, 0, 1}}) {
            EXPECT_NEAR(MeasureMesh(IndexedPointsBase<3, double>{{a, b, c}, order}).volume, 7.5,
                        1e-14);
            EXPECT_NEAR(MeasureMesh(IndexedPointsBase<3, double>{{a, c, b}, order}).volume, -7.5,
                        1e-14);
        }
    }
    // To the last digit, however the corners are turned.
    Support::Random random(2);
    for (int i = 0; i < 50; ++i) {
        const Vec3d a = random.Vector<3, double>(90, 110);
        const Vec3d b = random.Vector<3, double>(90, 110);
        const Vec3d c = random.Vector<3, double>(90, 110);
        const std::vector<Vec3d> points{a, b, c};
        const double volume = MeasureMesh(IndexedPointsBase<3, double>{points, {0, 1, 2}}).volume;
        for (const auto& [order, sign] : std::vector<std::pair<std::vector<int>, double>>{
                 {{1, 2, 0}, 1}, {{2, 0, 1}, 1}, {{0, 2, 1}, -1}, {{2, 1, 0}, -1}}) {
            EXPECT_EQ(MeasureMesh(IndexedPointsBase<3, double>{points, order}).volume,
                      sign * volume);
        }
    }
}

TEST(Measures, FarFromTheOriginABodyKeepsItsDigits)
{
    // The coordinates are exact here, so the measures have no excuse.
    for (const double far : {0.0, 1048576.0, -1099511627776.0}) {
        const auto mesh = CornerTetrahedron<double>({far, -far, far}, {1, 2, 2});
        const MeshMeasures measures = MeasureMesh(mesh);
        EXPECT_NEAR(measures.volume, 2.0 / 3, 1e-15) << far;
        EXPECT_NEAR(measures.area, 4 + std::sqrt(6.0), 1e-14) << far;
        const double ulp = std::fabs(far) * std::numeric_limits<double>::epsilon();
        EXPECT_NEAR(measures.centroid.x() - far, 0.25, ulp + 1e-15) << far;
        EXPECT_NEAR(measures.centroid.y() + far, 0.5, ulp + 1e-15) << far;
        EXPECT_NEAR(measures.centroid.z() - far, 0.5, ulp + 1e-15) << far;
    }
}

TEST(Measures, FarBodiesOfRoundedCoordinatesAreMeasuredAboutACornerOfTheirOwn)
{
    // Taking a point from the others is exact here: beside the origin the same body.
    Support::Random random(3);
    for (int i = 0; i < 50; ++i) {
        auto body = CornerTetrahedron<double>({0, 0, 0}, {1, 1, 1});
        for (Vec3d& point : body.points) {
            point += Vec3d(1e6, -1e6, 1e6) + random.Vector<3, double>(-0.2, 0.2);
        }
        auto near = body;
        for (Vec3d& point : near.points) {
            point = point - body.points[0];
        }
        EXPECT_NEAR(MeasureMesh(body).volume, MeasureMesh(near).volume, 1e-14);
    }
}

TEST(Measures, ASmallOpenSheetBesideABodyHasItsVolumeToTheOrigin)
{
    // A triangle of area 5e-11 at 1e6 from the origin, and a closed body on the other side of it.
    auto mesh = CornerTetrahedron<double>({-1e6, 0, 0}, {1, 1, 1});
    mesh.points.insert(mesh.points.end(), {{1e6, 0, 0}, {1e6, 1e-5, 0}, {1e6, 0, 1e-5}});
    mesh.indices.insert(mesh.indices.end(), {4, 5, 6});
    EXPECT_NEAR(MeasureMesh(mesh).volume, 1.0 / 6 + 5e-5 / 3, 1e-9);
}

TEST(Measures, ManyFarTrianglesLoseNothingMore)
{
    // A unit cube of 2 * 6 * 64 * 64 triangles at 2^20: the steps of 1/64 are exact.
    IndexedPointsBase<3, double> mesh;
    constexpr int kSteps = 64;
    const double far = 1048576;
    for (int face = 0; face < 6; ++face) {
        const int axis = face / 2;
        for (int i = 0; i < kSteps; ++i) {
            for (int j = 0; j < kSteps; ++j) {
                const auto corner = [&](int di, int dj) {
                    Vec3d p(far, far, far);
                    p[axis] += face % 2;
                    p[(axis + 1) % 3] += static_cast<double>(i + di) / kSteps;
                    p[(axis + 2) % 3] += static_cast<double>(j + dj) / kSteps;
                    mesh.points.push_back(p);
                    mesh.indices.push_back(static_cast<int>(mesh.indices.size()));
                };
                const int turn = face % 2;
                corner(0, 0), corner(turn, 1 - turn), corner(1, 1);
                corner(0, 0), corner(1, 1), corner(1 - turn, turn);
            }
        }
    }
    const MeshMeasures measures = MeasureMesh(mesh);
    EXPECT_NEAR(measures.volume, 1, 1e-14);
    EXPECT_NEAR(measures.area, 6, 1e-13);
    for (int axis = 0; axis < 3; ++axis) {
        EXPECT_NEAR(measures.centroid[axis] - far, 0.5, 1e-9);
    }
    for (const int threads : {1, 2, 4}) {
        Support::WithThreads(threads, [&] { EXPECT_EQ(MeasureMesh(mesh), measures); });
    }
}

TYPED_TEST(MeasuresOf, WhatIsNotFiniteIsNotHidden)
{
    using Limits = std::numeric_limits<TypeParam>;
    for (const TypeParam bad : {Limits::quiet_NaN(), Limits::infinity()}) {
        auto mesh = CornerTetrahedron<TypeParam>({0, 0, 0}, {1, 1, 1});
        mesh.points[3].z() = bad;
        const MeshMeasures measures = MeasureMesh(mesh);
        EXPECT_FALSE(std::isfinite(measures.area));
        EXPECT_FALSE(std::isfinite(measures.volume));
        EXPECT_EQ(measures.low, Vec3d());
        EXPECT_EQ(measures.high.x(), 1);
    }
}

TYPED_TEST(MeasuresOf, AnAxisWithoutAnyNumberHasNoBounds)
{
    auto mesh = CornerTetrahedron<TypeParam>({1, 2, 3}, {1, 1, 1});
    for (auto& point : mesh.points) {
        point.y() = std::numeric_limits<TypeParam>::quiet_NaN();
    }
    const MeshMeasures measures = MeasureMesh(mesh);
    EXPECT_TRUE(std::isnan(measures.low.y()));
    EXPECT_TRUE(std::isnan(measures.high.y()));
    EXPECT_EQ(measures.low.x(), 1);
    EXPECT_EQ(measures.high.z(), 4);
}

TEST(Measures, ADegenerateTriangleAddsNothing)
{
    auto mesh = CornerTetrahedron<double>({7, 7, 7}, {1, 1, 1});
    const MeshMeasures before = MeasureMesh(mesh);
    mesh.indices.insert(mesh.indices.end(), {0, 0, 1, 2, 2, 2});
    EXPECT_EQ(MeasureMesh(mesh), before);
}

} // namespace
