// A host on the nodes of dual contouring, that of the examples: solids in any place and any
// position come out as closed manifolds, and merged cells leave their topology as it is.

#include <Sorvane/DualContouring_E.h>
#include <Sorvane/MeshReport_E.h>

#include <gtest/gtest.h>

#include "docs/drawings/SampledSolids.h"
#include "docs/drawings/SolidContour.h"
#include "tests/support/MeshMeasures.h"
#include "tests/support/Rounds.h"
#include "tests/support/TestSupport.h"

#include <array>
#include <cmath>
#include <map>
#include <utility>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;
using SolidContour::Contour;
using SolidContour::Field;
using SolidContour::FieldSample;
using Support::Random;
using Part = SolidContour::Part;

/// Points at which the triangles around them are not one closed fan.
int PinchedPoints(const Part& mesh)
{
    std::vector<std::map<int, int>> next(mesh.points.size());
    std::vector<std::size_t> counts(mesh.points.size());
    for (std::size_t i = 0; i < mesh.indices.size(); ++i) {
        const std::size_t base = i / 3 * 3;
        const auto point = static_cast<std::size_t>(mesh.indices[i]);
        next[point][mesh.indices[base + (i + 1) % 3]] = mesh.indices[base + (i + 2) % 3];
        ++counts[point];
    }
    int pinched = 0;
    for (std::size_t p = 0; p < next.size(); ++p) {
        const int start = next[p].begin()->first;
        int at = start;
        std::size_t steps = 0;
        do {
            const auto step = next[p].find(at);
            at = step == next[p].end() ? start : step->second;
            ++steps;
        } while (at != start && steps <= counts[p]);
        pinched += steps == counts[p] ? 0 : 1;
    }
    return pinched;
}

/// A solid turned and moved.
Field Placed(FieldSample (*solid)(const Vec3d&), const Vec3d& up, const Vec3d& place)
{
    const MatBase<3, 3, double> turn = Matrix::RotationFromZ(up);
    return [=](const Vec3d& p) {
        const FieldSample sample = solid(Matrix::Transposed(turn) * (p - place));
        return FieldSample{sample.distance, turn * sample.normal};
    };
}

TEST(DualContouringHost, SolidsInAnyPositionAreClosedManifoldsAndStaySoWhenMerged)
{
    Random random(7);
    for (int round = 0; round < Support::Rounds(24); ++round) {
        SCOPED_TRACE(round);
        const bool isTorus = round % 3 == 0;
        const Vec3d up = random.Vector<3, double>(-1, 1);
        const Vec3d place = random.Vector<3, double>(-0.1, 0.1);
        Contour contour(Placed(isTorus ? SolidContour::Torus : SolidContour::Flange, up, place),
                        {{0, 0, 0}, 1, 0}, 5);
        const Part fine = contour.Surface();
        contour.Merge(round % 2 == 0 ? 0.01 : 0.05);
        const Part merged = contour.Surface();
        const double volume = isTorus ? SolidContour::kTorusVolume : SolidContour::kFlangeVolume;
        for (const Part& mesh : {fine, merged}) {
            EXPECT_EQ(Support::FaultsOf(mesh), Support::EdgeFaults{});
            EXPECT_EQ(PinchedPoints(mesh), 0);
            EXPECT_NEAR(Support::VolumeOf(mesh), volume, 0.03 * volume);
        }
        EXPECT_EQ(Support::EulerOf(merged), Support::EulerOf(fine));
        EXPECT_LT(merged.indices.size(), fine.indices.size());
    }
}

/// From -0.5 to 0.5 on each axis.
FieldSample Cube(const Vec3d& p)
{
    using namespace SolidContour;
    return Common(Slab(p, 0, -0.5, 0.5), Common(Slab(p, 1, -0.5, 0.5), Slab(p, 2, -0.5, 0.5)));
}

TEST(DualContouringHost, SolidsThatLieAlongTheCellsAreNoWorse)
{
    // Faces of the cube, and the flange's at z = 0, pass through corners of cells, and so do the
    // axes of the flange and the torus.
    struct Solid {
        FieldSample (*field)(const Vec3d&);
        double volume;
        int euler;
        double precision; // of the volume, for cells of 1 / 16
    };
    const std::vector<Solid> solids{{Cube, 1, 2, 1e-9},
                                    {SolidContour::Torus, SolidContour::kTorusVolume, 0, 0.02},
                                    {SolidContour::Flange, SolidContour::kFlangeVolume, 0, 0.02}};
    for (std::size_t i = 0; i < solids.size(); ++i) {
        for (const unsigned int level : {3U, 4U, 5U}) {
            SCOPED_TRACE(testing::Message() << i << ", level " << level);
            Contour contour(solids[i].field, {{0, 0, 0}, 1, 0}, level);
            const Part fine = contour.Surface();
            contour.Merge(1e-3);
            const Part merged = contour.Surface();
            for (const Part& mesh : {fine, merged}) {
                EXPECT_EQ(Support::FaultsOf(mesh), Support::EdgeFaults{});
                EXPECT_EQ(PinchedPoints(mesh), 0);
                EXPECT_EQ(Support::EulerOf(mesh), solids[i].euler);
                if (level == 5) {
                    EXPECT_NEAR(Support::VolumeOf(mesh), solids[i].volume, solids[i].precision);
                }
            }
        }
    }
}

TEST(DualContouringHost, ThePointsOnTheAxisOfATorusLieOutsideOfIt)
{
    for (const double z : {0.0, 0.1, -0.2, 3.0}) {
        EXPECT_DOUBLE_EQ(SolidContour::Torus({0, 0, z}).distance, std::hypot(0.55, z) - 0.23);
    }
}

TEST(DualContouringHost, ADetailInTheMiddleOfAFaceOfLargeCellsIsNotMergedAway)
{
    // A plate and a small ball before it. The ball is as large as one point of the grid, which is
    // the middle of a face between blocks of eight cells; the plate passes through one of these.
    using namespace SolidContour;
    for (int axis = 0; axis < 3; ++axis) {
        for (const double side : {-1.0, 1.0}) {
            SCOPED_TRACE(testing::Message() << axis << ' ' << side);
            Vec3d middle(0.125, 0.125, 0.125);
            middle[axis] = 0;
            const auto field = [&](const Vec3d& p) {
                const double low = side < 0 ? -0.6 : 0.2;
                const FieldSample plate = Common(Slab(p, axis, low, low + 0.4),
                                                 Common(Slab(p, (axis + 1) % 3, -0.51, 0.51),
                                                        Slab(p, (axis + 2) % 3, -0.51, 0.51)));
                const Vec3d away = p - middle;
                return Union(plate, {Length(away) - 0.06, Normalized(away, 1e-12)});
            };
            Contour contour(field, {{0, 0, 0}, 1, 0}, 4);
            ASSERT_EQ(Support::EulerOf(contour.Surface()), 4) << "two balls, as one may say";
            contour.Merge(10); // whatever the planes are
            const Part merged = contour.Surface();
            EXPECT_EQ(Support::EulerOf(merged), 4);
            EXPECT_EQ(Support::FaultsOf(merged), Support::EdgeFaults{});
            EXPECT_EQ(PinchedPoints(merged), 0);
        }
    }
}

TEST(DualContouringHost, FacesOfFourVerticesAreCutAlongSharpEdgesAlsoOfMergedCells)
{
    // The straight edges of the flange's plate, as the guide says of level 6 and 0.005: a face that
    // is cut across such an edge would bevel it, or leave a triangle without height in it.
    const MatBase<3, 3, double> turn = Matrix::RotationFromZ({0.3, -0.2, 1.0});
    const Vec3d place(0.0171, -0.0113, 0.0079);
    const std::array<double, 3> low{-0.55, -0.4, -0.3};
    const std::array<double, 3> high{0.55, 0.4, 0};
    Contour contour(SolidContour::Askew(SolidContour::Flange), {{0, 0, 0}, 1, 0}, 6);
    const Part fine = contour.Surface();
    contour.Merge(0.005);
    const Part merged = contour.Surface();
    for (const Part& mesh : {fine, merged}) {
        const auto report = MeshUtils::CheckMesh(Mesh::SoupFromIndexedPoints(mesh), 0.0);
        EXPECT_TRUE(report.degenerateTriangles.empty());
        for (int edge = 0; edge < 12; ++edge) {
            const std::size_t axis = static_cast<std::size_t>(edge) % 3;
            for (int k = 0; k <= 16; k += Support::FullOr(1, 4)) {
                Vec3d p;
                for (std::size_t i = 1; i < 3; ++i) {
                    const std::size_t other = (axis + i) % 3;
                    p[static_cast<int>(other)] =
                        (edge / 3 >> (i - 1) & 1) != 0 ? high[other] : low[other];
                }
                p[static_cast<int>(axis)] = low[axis] + (high[axis] - low[axis]) * k / 16;
                EXPECT_LT(Support::DistanceToMesh(turn * p + place, mesh), 1e-12);
            }
        }
    }
}

TEST(DualContouringHost, WorksFarFromTheOriginAndInAnyUnit)
{
    const Field near = SolidContour::Askew(SolidContour::Flange);
    Contour first(near, {{0, 0, 0}, 1, 0}, 5);
    const Part expected = first.Surface();
    for (const double unit : {1.0, 1e3, 0x1p-20}) {
        SCOPED_TRACE(unit);
        const Vec3d far = unit * Vec3d(1e6, -1e6, 1e6);
        Contour contour(
            [&](const Vec3d& p) {
                const FieldSample sample = near((p - far) / unit);
                return FieldSample{sample.distance * unit, sample.normal};
            },
            {far, unit, 0}, 5);
        const Part mesh = contour.Surface();
        ASSERT_EQ(mesh.indices, expected.indices);
        for (std::size_t i = 0; i < mesh.points.size(); ++i) {
            // Coordinates of 1e6 have ten digits behind the point; planes that meet at a flat angle
            // lose some of them.
            EXPECT_LT(Length((mesh.points[i] - far) / unit - expected.points[i]), 1e-7);
        }
    }
}

TEST(DualContouringHost, ASolidThatIsNotThereHasNoSurface)
{
    for (const double distance : {1.0, -1.0, 0.0, std::nan("")}) {
        Contour contour(
            [&](const Vec3d&) {
                return FieldSample{distance, {1, 0, 0}};
            },
            {{0, 0, 0}, 1, 0}, 3);
        contour.Merge(0.1);
        EXPECT_TRUE(contour.Surface().indices.empty());
        EXPECT_EQ(contour.CellCount(), 0U);
    }
}

} // namespace
