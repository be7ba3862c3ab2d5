// The contouring program as a user runs it: closed manifolds of the right volume, with the solid's
// sharp edges in them. Where the solids lie and how large they are is written down here anew.

#include "tests/examples/ProgramRun.h"
#include "tests/support/FileSupport.h"
#include "tests/support/MeshMeasures.h"
#include "tests/support/StlFile.h"
#include "tests/support/TestSupport.h"

#include <Sorvane/MeshReport_E.h>
#include <Velk/Math/Matrix_E.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;
using Support::ProgramRun;
using Support::RunExample;

constexpr double kTorusVolume = 2 * kPi<double> * kPi<double> * 0.55 * 0.23 * 0.23;
constexpr double kPlateVolume = 1.1 * 0.8 * 0.3;
constexpr double kRingVolume = kPi<double> * 0.3 * (0.3 * 0.3 - 0.17 * 0.17);
constexpr double kFlangeVolume = kPlateVolume - kPi<double> * 0.3 * 0.17 * 0.17 + kRingVolume;

/// The number after the place where the output has these words.
double NumberAfter(const std::string& output, const std::string& words)
{
    const std::size_t at = output.find(words);
    EXPECT_NE(at, std::string::npos) << words << "\n" << output;
    return at == std::string::npos ? 0 : std::stod(output.substr(at + words.size()));
}

Support::IndexedMesh Contour(const std::string& shape, const std::string& level,
                             const std::string& tolerance)
{
    const Support::TemporaryFolder folder;
    const ProgramRun run =
        RunExample("contour_solid", {shape, "out.stl", "--level", level, "--tolerance", tolerance},
                   folder / "");
    EXPECT_EQ(run.code, 0) << run.errors;
    const auto mesh = Support::WeldedStl<double>(folder / "out.stl");
    EXPECT_EQ(NumberAfter(run.output, "mesh    "), static_cast<double>(mesh.indices.size()) / 3);
    EXPECT_NEAR(NumberAfter(run.output, "volume  "), Support::VolumeOf(mesh), 1e-6);
    return mesh;
}

/// Closed, wound one way, every edge of two triangles, every point in one fan, and one hole through
/// it.
void ExpectRing(const Support::IndexedMesh& mesh)
{
    ASSERT_FALSE(mesh.indices.empty());
    const auto report = MeshUtils::CheckMesh(Mesh::SoupFromIndexedPoints(mesh), 0.0);
    EXPECT_TRUE(report.openSlots.empty());
    EXPECT_TRUE(report.nonManifoldSlots.empty());
    EXPECT_TRUE(report.misorientedTriangles.empty());
    EXPECT_EQ(Support::FaultsOf(mesh), Support::EdgeFaults{});
    // The triangles around a point follow each other once around.
    std::vector<std::vector<std::pair<int, int>>> links(mesh.points.size());
    for (std::size_t i = 0; i < mesh.indices.size(); ++i) {
        const std::size_t base = i / 3 * 3;
        links[static_cast<std::size_t>(mesh.indices[i])].push_back(
            {mesh.indices[base + (i + 1) % 3], mesh.indices[base + (i + 2) % 3]});
    }
    for (const auto& link : links) {
        ASSERT_GE(link.size(), 3U);
        int at = link.front().second;
        std::size_t steps = 1;
        while (at != link.front().first && steps <= link.size()) {
            const auto next = std::find_if(link.begin(), link.end(),
                                           [&](const auto& l) { return l.first == at; });
            ASSERT_NE(next, link.end());
            at = next->second;
            ++steps;
        }
        EXPECT_EQ(steps, link.size()) << "two fans meet in a point";
    }
    // Points - edges + triangles, with three halves as many edges as triangles: 0 for a ring.
    EXPECT_EQ(2 * mesh.points.size(), mesh.indices.size() / 3);
}

TEST(ContourSolidProgram, ATorusIsARingOfItsVolume)
{
    double before = 1;
    for (const char* level : {"4", "5", "6"}) {
        SCOPED_TRACE(level);
        const Support::IndexedMesh mesh = Contour("torus", level, "0");
        ExpectRing(mesh);
        // Chords of half the length lie off by a quarter.
        const double error = std::fabs(Support::VolumeOf(mesh) / kTorusVolume - 1);
        EXPECT_LT(error, before / 3);
        before = error;
    }
    EXPECT_LT(before, 2e-3);
}

TEST(ContourSolidProgram, AFlangeIsARingOfItsVolume)
{
    for (const char* level : {"5", "6"}) {
        for (const char* tolerance : {"0", "0.001", "0.01"}) {
            SCOPED_TRACE(std::string(level) + ", " + tolerance);
            const Support::IndexedMesh mesh = Contour("flange", level, tolerance);
            ExpectRing(mesh);
            EXPECT_NEAR(Support::VolumeOf(mesh), kFlangeVolume, 2e-3 * kFlangeVolume);
        }
    }
}

TEST(ContourSolidProgram, MergedCellsAreFewerAndWithinTheTolerance)
{
    const Support::IndexedMesh fine = Contour("torus", "6", "0");
    const Support::IndexedMesh merged = Contour("torus", "6", "0.01");
    ExpectRing(merged);
    EXPECT_LT(3 * merged.indices.size(), fine.indices.size());
    EXPECT_LT(Support::GreatestDistance(merged, fine, 30), 0.01);
}

TEST(ContourSolidProgram, SharpEdgesAreKept)
{
    // As the program puts it: turned so that z goes to (0.3, -0.2, 1), and moved.
    const auto turn = Matrix::RotationFromZ({0.3, -0.2, 1.0});
    const auto inPlace = [&](const Vec3d& p) { return turn * p + Vec3d(0.0171, -0.0113, 0.0079); };
    Support::IndexedMesh straight;
    Support::IndexedMesh rims;
    for (int corner = 0; corner < 8; ++corner) {
        const auto at = [](int c) {
            return Vec3d((c & 1) != 0 ? 0.55 : -0.55, (c & 2) != 0 ? 0.4 : -0.4,
                         (c & 4) != 0 ? 0 : -0.3);
        };
        for (const int axis : {1, 2, 4}) {
            for (int k = 0; k <= 16 && (corner & axis) == 0; ++k) {
                straight.points.push_back(
                    inPlace(at(corner) + (at(corner | axis) - at(corner)) * (k / 16.0)));
            }
        }
    }
    for (int k = 0; k < 50; ++k) {
        const Vec3d out(std::cos(kPi<double> * k / 25), std::sin(kPi<double> * k / 25), 0);
        rims.points.push_back(inPlace(0.3 * out + Vec3d(0, 0, 0.3)));
        rims.points.push_back(inPlace(0.3 * out));
        rims.points.push_back(inPlace(0.17 * out + Vec3d(0, 0, 0.3)));
        rims.points.push_back(inPlace(0.17 * out - Vec3d(0, 0, 0.3)));
    }
    constexpr double kCell = 2.0 / 32;
    for (const char* tolerance : {"0", "0.001"}) {
        const Support::IndexedMesh mesh = Contour("flange", "5", tolerance);
        const auto farthest = [&](const Support::IndexedMesh& from) {
            double greatest = 0;
            for (const Vec3d& p : from.points) {
                greatest = std::max(greatest, Support::DistanceToMesh(p, mesh));
            }
            return greatest;
        };
        // Planes meet in points of these edges; the file has numbers of seven digits.
        EXPECT_LT(farthest(straight), 1e-6);
        // A chord of two cells across the bend of the smaller rim: the sagitta of length^2 / (8 r).
        EXPECT_LT(farthest(rims), kCell * kCell / (2 * 0.17));
    }
}

TEST(ContourSolidProgram, CellsThatAreTooLargeForTheSolidEndWithThree)
{
    // The walls of the flange's ring are as thick as a cell of level 4.
    const Support::TemporaryFolder folder;
    const ProgramRun run =
        RunExample("contour_solid", {"flange", "out.stl", "--level", "4"}, folder / "");
    EXPECT_EQ(run.code, 3);
    EXPECT_NE(run.errors.find("ask for a finer level"), std::string::npos) << run.errors;
    const auto mesh = Support::WeldedStl<double>(folder / "out.stl");
    EXPECT_NE(Support::FaultsOf(mesh), Support::EdgeFaults{}) << "and so it is";
}

} // namespace
