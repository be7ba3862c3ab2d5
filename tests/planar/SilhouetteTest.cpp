#include <Sorvane/MeshFiles_E.h>
#include <Sorvane/Silhouette_E.h>

#include "tests/planar/RegionSupport.h"
#include "tests/support/FailingAllocation.h"
#include "tests/support/MeshGenerators.h"
#include "tests/support/Rounds.h"
#include "tests/support/StlFile.h"
#include "tests/support/TestSupport.h"
#include "tests/support/ThreadLimit.h"
#include "tests/support/TurnedBodies.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <fstream>
#include <iterator>
#include <limits>
#include <string>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane::Planar;
using namespace Support;
using MeshD = Velk::Math::Sorvane::Mesh::IndexedPointsBase<3, double>;
template <class T>
using MeshOf = Velk::Math::Sorvane::Mesh::IndexedPointsBase<3, T>;

/// A box with outward normals.
template <class T = double>
MeshOf<T> Box(double x0, double y0, double z0, double x1, double y1, double z1)
{
    MeshOf<T> mesh;
    for (const auto& point : Cube().points) {
        const auto at = [](double from, double to, double where) {
            return static_cast<T>(where > 0.5 ? to : from);
        };
        mesh.points.push_back(
            {at(x0, x1, point.x()), at(y0, y1, point.y()), at(z0, z1, point.z())});
    }
    mesh.indices = Cube().indices;
    return mesh;
}

MeshD Soup(Random& random, int triangles, double offset)
{
    MeshD mesh;
    for (int i = 0; i < 3 * triangles; ++i) {
        mesh.points.push_back({offset + random.Between(0, 10), offset + random.Between(0, 10),
                               random.Between(-5, 5)});
        mesh.indices.push_back(i);
    }
    return mesh;
}

/// Is (x, y) under a triangle? By the signs of three areas.
bool IsUnder(const MeshD& mesh, double x, double y)
{
    for (std::size_t i = 0; i < mesh.indices.size(); i += 3) {
        int left = 0;
        int right = 0;
        for (std::size_t k = 0; k < 3; ++k) {
            const Vec3d& a = mesh.points[static_cast<std::size_t>(mesh.indices[i + k])];
            const Vec3d& b = mesh.points[static_cast<std::size_t>(mesh.indices[i + (k + 1) % 3])];
            const double turn = (b.x() - a.x()) * (y - a.y()) - (b.y() - a.y()) * (x - a.x());
            (turn > 0 ? left : right) += 1;
        }
        if (left == 3 || right == 3) {
            return true;
        }
    }
    return false;
}

void ExpectShadow(const MeshD& mesh, const Loops& loops, double x0, double x1, int across,
                  double margin)
{
    for (int i = 0; i < across; ++i) {
        for (int k = 0; k < across; ++k) {
            const double x = x0 + (x1 - x0) * (i + 0.37) / across;
            const double y = x0 + (x1 - x0) * (k + 0.71) / across;
            if (DistanceToLoops(loops, x, y) > margin) {
                ASSERT_EQ(WindingNumber(loops, x, y), IsUnder(mesh, x, y) ? 1 : 0) << x << ' ' << y;
            }
        }
    }
}

void ExpectLoop(const std::vector<Vec2d>& loop, const std::vector<Vec2d>& corners)
{
    ASSERT_EQ(loop.size(), corners.size() + 1);
    EXPECT_EQ(loop.front(), loop.back());
    for (const Vec2d& corner : corners) {
        EXPECT_LT(DistanceToLoops<double>({{loop[0], loop[0]}, loop}, corner.x(), corner.y()),
                  1e-8);
        const auto isAt = [&](const Vec2d& p) {
            return std::hypot(p.x() - corner.x(), p.y() - corner.y()) < 1e-8;
        };
        EXPECT_EQ(std::count_if(loop.begin(), loop.end() - 1, isAt), 1);
    }
}

} // namespace

TEST(Silhouette, ACubeHasOneLoopOfFourCorners)
{
    double resolution = -1;
    const auto loops = SilhouetteBoundaries<double>(Box(1, 2, 3, 5, 4, 9), &resolution);
    ASSERT_EQ(loops.size(), 1u);
    ExpectLoop(loops[0], {{1, 2}, {5, 2}, {5, 4}, {1, 4}});
    EXPECT_NEAR(AreaUnder<double>(loops), 8, 1e-7);
    EXPECT_DOUBLE_EQ(resolution, std::sqrt(8.0) * 4 / 1073741824);
    EXPECT_EQ(SilhouetteBoundary<double>(Box(1, 2, 3, 5, 4, 9), nullptr), loops[0]);
}

TEST(Silhouette, TwoCubesBesideEachOtherAreTwoLoopsTheLargerFirst)
{
    for (const bool isLargerFirst : {false, true}) {
        const auto small = Box(0, 0, 0, 1, 1, 1);
        const auto large = Box(3, 0, 0, 5, 2, 2);
        const auto loops = SilhouetteBoundaries<double>(
            isLargerFirst ? Together(large, small) : Together(small, large), nullptr);
        ASSERT_EQ(loops.size(), 2u);
        EXPECT_NEAR(AreaUnder<double>({loops[0]}), 4, 1e-7);
        EXPECT_NEAR(AreaUnder<double>({loops[1]}), 1, 1e-7);
    }
}

TEST(Silhouette, AThroughHoleIsAClockwiseLoop)
{
    const auto ring = TurnedBody({{4, 0}, {10, 0}, {10, 3}, {4, 3}}, 24);
    const auto loops = SilhouetteBoundaries<double>(ring, nullptr);
    ASSERT_EQ(loops.size(), 2u);
    const double share = 12 * std::sin(kTwoPi<double> / 24); // of a 24-gon in its circle's square
    EXPECT_NEAR(AreaUnder<double>({loops[0]}), 100 * share, 1e-6);
    EXPECT_NEAR(AreaUnder<double>({loops[1]}), -16 * share, 1e-6);
}

// Bodies at different heights that share a corner in the plane, that overlap, that lie one over the
// other.
TEST(Silhouette, BodiesOverEachOtherAddUp)
{
    const auto touching = Together(Box(0, 0, 0, 2, 2, 1), Box(2, 2, 5, 4, 4, 6));
    EXPECT_NEAR(AreaUnder<double>(SilhouetteBoundaries<double>(touching, nullptr)), 8, 1e-7);
    const auto crossing = Together(Box(0, 0, 0, 3, 3, 1), Box(1, 1, 5, 4, 4, 6));
    const auto loops = SilhouetteBoundaries<double>(crossing, nullptr);
    ASSERT_EQ(loops.size(), 1u);
    EXPECT_NEAR(AreaUnder<double>(loops), 14, 1e-7);
    const auto nested = Together(Box(0, 0, 0, 3, 3, 1), Box(1, 1, 5, 2, 2, 6));
    ASSERT_EQ(SilhouetteBoundaries<double>(nested, nullptr).size(), 1u);
}

TEST(Silhouette, FacingAndOpennessDoNotMatter)
{
    const auto mesh = Sphere(2);
    const double whole = AreaUnder<double>(SilhouetteBoundaries<double>(mesh, nullptr));
    auto turned = mesh;
    auto upper = mesh;
    upper.indices.clear();
    for (std::size_t i = 0; i < mesh.indices.size(); i += 3) {
        if (i % 2 == 0) {
            std::swap(turned.indices[i], turned.indices[i + 1]);
        }
        double height = 0;
        for (std::size_t k = 0; k < 3; ++k) {
            height += mesh.points[static_cast<std::size_t>(mesh.indices[i + k])].z();
        }
        if (height > 0) {
            upper.indices.insert(upper.indices.end(), mesh.indices.begin() + static_cast<long>(i),
                                 mesh.indices.begin() + static_cast<long>(i) + 3);
        }
    }
    EXPECT_NEAR(AreaUnder<double>(SilhouetteBoundaries<double>(turned, nullptr)), whole, 1e-8);
    EXPECT_NEAR(AreaUnder<double>(SilhouetteBoundaries<double>(upper, nullptr)), whole, 1e-8);
}

TEST(Silhouette, IsWhereATriangleIsOverThePoint)
{
    Random random(7);
    for (const double offset : {0.0, 1e6}) {
        for (int round = 0; round < Rounds(30); ++round) {
            const auto mesh = Soup(random, 1 + round / 2, offset);
            const auto loops = SilhouetteBoundaries<double>(mesh, nullptr);
            ASSERT_NO_FATAL_FAILURE(ExpectShadow(mesh, loops, offset - 1, offset + 11, 24, 1e-6));
        }
    }
}

TEST(Silhouette, OfFloatIsThatOfDouble)
{
    float resolution = -1;
    const auto loops = SilhouetteBoundaries<float>(Box<float>(1, 2, 3, 5, 4, 9), &resolution);
    ASSERT_EQ(loops.size(), 1u);
    EXPECT_EQ(loops[0].size(), 5u);
    EXPECT_NEAR(AreaUnder<float>(loops), 8, 1e-5);
    EXPECT_FLOAT_EQ(resolution, static_cast<float>(std::sqrt(8.0) * 4 / 1073741824));
    EXPECT_EQ(SilhouetteBoundary<float>(Box<float>(1, 2, 3, 5, 4, 9), nullptr), loops[0]);
}

TEST(Silhouette, WhatHasNoExtentHasNoShadow)
{
    double resolution = -1;
    EXPECT_TRUE(SilhouetteBoundaries<double>({}, &resolution).empty());
    EXPECT_EQ(resolution, 0);
    EXPECT_TRUE(SilhouetteBoundary<double>({}, nullptr).empty());
    // Flat in x: the resolution is told by y.
    EXPECT_TRUE(SilhouetteBoundaries<double>(Box(1, 0, 0, 1, 8, 3), &resolution).empty());
    EXPECT_DOUBLE_EQ(resolution, std::sqrt(8.0) * 8 / 1073741824);
    EXPECT_TRUE(SilhouetteBoundaries<double>(Box(0, 5, 0, 8, 5, 3), &resolution).empty());
    EXPECT_TRUE(SilhouetteBoundaries<double>(Box(2, 2, 0, 2, 2, 3), &resolution).empty());
    EXPECT_EQ(resolution, 0);
    // Upright sheets across the box: extent, but no shadow.
    MeshD sheet{{{0, 0, 0}, {8, 8, 0}, {8, 8, 5}, {0, 0, 5}}, {0, 1, 2, 0, 2, 3}};
    EXPECT_TRUE(SilhouetteBoundaries<double>(sheet, nullptr).empty());
    sheet.indices.pop_back();
    EXPECT_TRUE(SilhouetteBoundaries<double>(sheet, nullptr).empty());
}

TEST(Silhouette, PointsThatAreNotFiniteTakeTheirTrianglesWithThem)
{
    for (const double bad :
         {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity()}) {
        for (int axis = 0; axis < 3; ++axis) {
            auto mesh = Together(Box(0, 0, 0, 2, 2, 1), Box(5, 0, 0, 6, 1, 1));
            // The corner at the far end of the second box: three of its faces keep the shadow whole
            // or not, the first box must stay.
            mesh.points[8][axis] = bad;
            const auto loops = SilhouetteBoundaries<double>(mesh, nullptr);
            ASSERT_FALSE(loops.empty());
            EXPECT_NEAR(AreaUnder<double>({loops[0]}), 4, 1e-7);
        }
    }
    const double huge = std::numeric_limits<double>::max();
    EXPECT_TRUE(SilhouetteBoundaries<double>(Box(-huge, 0, 0, huge, 1, 1), nullptr).empty());
}

TEST(Silhouette, RunsOutOfMemoryWithAnException)
{
    const auto mesh = TurnedBody({{4, 0}, {10, 0}, {10, 3}, {4, 3}}, 24);
    Support::WithThreads(1, [&] {
        EXPECT_GT(Support::FailEachAllocationOfResult(
                      [&] { return SilhouetteBoundaries<double>(mesh, nullptr); }),
                  5U);
    });
}

// Real parts, seen along each axis from both ends, near the origin and far away, against all of
// their triangles.
TEST(Silhouette, OfRealPartsFromSixSides)
{
    Random random(8);
    for (const char* name : {"meshes_cad/angle_block.STL", "meshes_cad/round.stl",
                             "meshes_cad/plate_holes.STL", "meshes_cad/prusa_extruder_idler.stl"}) {
        const auto file = SharedData(name);
        SORVANE_NEED_DATA(file);
        const auto part = WeldedStl<double>(file);
        ASSERT_FALSE(part.points.empty());
        for (std::size_t side = 0; side < 6; ++side) {
            const double offset = side < 3 ? 0 : 1e6;
            MeshD mesh = part;
            for (Vec3d& p : mesh.points) {
                const std::array<double, 3> at{p.x(), p.y(), p.z()};
                const double across = at[(side + 1) % 3];
                const double up = at[(side + 2) % 3];
                p = side < 3 ? Vec3d(across, up, at[side])
                             : Vec3d(up + offset, across - offset, -at[side % 3]);
            }
            double resolution = 0;
            const auto loops = SilhouetteBoundaries<double>(mesh, &resolution);
            Vec3d low = mesh.points[0];
            Vec3d high = low;
            for (const Vec3d& p : mesh.points) {
                low = Vec3d(std::min(low.x(), p.x()), std::min(low.y(), p.y()), 0);
                high = Vec3d(std::max(high.x(), p.x()), std::max(high.y(), p.y()), 0);
            }
            for (int i = 0; i < Rounds(100); ++i) {
                const double x = random.Between(low.x(), high.x());
                const double y = random.Between(low.y(), high.y());
                if (DistanceToLoops(loops, x, y) > 4 * resolution + 1e-9) {
                    ASSERT_EQ(WindingNumber(loops, x, y), IsUnder(mesh, x, y) ? 1 : 0)
                        << name << " from side " << side << " at " << x << ' ' << y;
                }
            }
        }
    }
}

namespace {

double ShadowFigure(const std::string& text, const std::string& mesh, const std::string& key)
{
    const std::size_t record = text.find('"' + mesh + '"');
    const std::size_t shadow = text.find("\"silhouette_z\"", record);
    const std::size_t at = text.find('"' + key + '"', shadow);
    return at == std::string::npos ? -1 : std::stod(text.substr(text.find(':', at) + 1, 40));
}

class SilhouetteParts : public testing::TestWithParam<const char*> {};

} // namespace

TEST_P(SilhouetteParts, AreaIsTheReference)
{
    const auto reference = SharedData("reference_figures.json");
    const auto file = SharedData(GetParam());
    SORVANE_NEED_DATA(reference);
    SORVANE_NEED_DATA(file);
    std::ifstream stream(reference);
    const std::string text{std::istreambuf_iterator<char>(stream), {}};
    double resolution = 0;
    MeshD mesh;
    ASSERT_TRUE(Sorvane::MeshUtils::ReadMesh(mesh, file)); // binary or ASCII
    const auto loops = SilhouetteBoundaries<double>(mesh, &resolution);
    const double length = ShadowFigure(text, GetParam(), "length");
    // A rim moves by a cell or two.
    EXPECT_NEAR(AreaUnder<double>(loops), ShadowFigure(text, GetParam(), "area"),
                length * resolution);
}

INSTANTIATE_TEST_SUITE_P(
    Shared, SilhouetteParts,
    testing::Values("meshes_nist/nist_ctc_01_asme1_rd.stl", "meshes_nist/nist_ctc_03_asme1_rc.stl",
                    "meshes_nist/nist_ctc_05_asme1_rd.stl", "meshes_nist/nist_ftc_06_asme1_rd.stl",
                    "meshes_nist/nist_ftc_09_asme1_rd.stl", "meshes_nist/nist_ftc_11_asme1_rb.stl",

                    "meshes_cad/1002_tray_bottom.STL", "meshes_cad/ADIS16480.STL",
                    "meshes_cad/prusa_x_end_idler.stl", "meshes_cad/angle_block.STL",
                    "meshes_cad/idler_riser.STL", "meshes_cad/octagonal_pocket.stl",
                    "meshes_cad/plate_holes.STL", "meshes_cad/prusa_extruder_idler.stl",
                    "meshes_cad/round.stl", "meshes_cad/voron_z_joint_upper_x4.stl",
                    "meshes_organic/fish.stl", "meshes_organic/spot.stl"),
    [](const auto& test) {
        std::string name(test.param);
        name = name.substr(name.find('/') + 1);
        return name.substr(0, name.find('.'));
    });
