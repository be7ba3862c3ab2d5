// The report and the gap check on every mesh of the shared inputs, against the figures that stand
// in their README and, for tessellations of exact solids, against the solids' own.

#include "tests/meshreport/MeshReportTwin.h"
#include "tests/support/Rounds.h"
#include "tests/support/TestSupport.h"

#include <Sorvane/MeshFiles_E.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <regex>
#include <sstream>

namespace {

using namespace Velk::Math;
using Sorvane::MeshUtils::CheckGaps;
using Sorvane::MeshUtils::CheckMesh;
using Support::SharedData;
using Support::Soup;

/// A row of the README's table of meshes.
struct MeshRow {
    std::string file;
    bool isAscii;
    std::size_t triangles, boundaryEdges, nonManifoldEdges, misorientedEdges, degenerate,
        components;
    double volume, area;
};

std::string Text(const std::filesystem::path& file)
{
    std::ifstream stream(file);
    return {std::istreambuf_iterator<char>(stream), {}};
}

std::vector<MeshRow> MeshRows()
{
    const std::regex row(
        R"(^\| (meshes_\S+) \| (\d+) \| (ascii|binary)[^|]*\|.*)"
        R"(\| V \d+, boundary edges (\d+), non-manifold (\d+), misoriented (\d+), )"
        R"(degenerate (\d+), components (\d+), volume ([^,]+), area ([^ ]+) \|)");
    const auto count = [](const std::ssub_match& text) {
        return static_cast<std::size_t>(std::stoul(text));
    };
    std::vector<MeshRow> rows;
    std::istringstream lines(Text(SharedData("README.md")));
    for (std::string line; std::getline(lines, line);) {
        std::smatch m;
        if (std::regex_search(line, m, row)) {
            rows.push_back({m[1], m[3] == "ascii", count(m[2]), count(m[4]), count(m[5]),
                            count(m[6]), count(m[7]), count(m[8]), std::stod(m[9]),
                            std::stod(m[10])});
        }
    }
    return rows;
}

template <class T>
Soup<T> ReadSoup(const MeshRow& row)
{
    std::vector<VecBase<3, T>> points;
    std::vector<int> indices;
    const auto file = SharedData(row.file);
    EXPECT_TRUE(row.isAscii ? Sorvane::MeshUtils::ReadFromASCIISTL(points, indices, file)
                            : Sorvane::MeshUtils::ReadFromBinarySTL(points, indices, file))
        << row.file;
    Soup<T> soup;
    for (std::size_t i = 0; i + 2 < points.size(); i += 3) {
        soup.push_back({{points[i], points[i + 1], points[i + 2]}});
    }
    return soup;
}

const MeshRow* Find(const std::vector<MeshRow>& rows, const std::string& part)
{
    const auto at = std::find_if(rows.begin(), rows.end(), [&](const MeshRow& row) {
        return row.file.find(part) != std::string::npos;
    });
    return at == rows.end() ? nullptr : &*at;
}

TEST(MeshReportData, EveryMeshHasTheFiguresOfTheReadme)
{
    SORVANE_NEED_DATA(SharedData("README.md"));
    const std::vector<MeshRow> rows = MeshRows();
    EXPECT_GE(rows.size(), 20U);
    for (const MeshRow& row : rows) {
        SCOPED_TRACE(row.file);
        const auto soup = ReadSoup<float>(row);
        ASSERT_EQ(soup.size(), row.triangles);
        const auto report = CheckMesh(soup, 0.0F);
        // None of them has an edge of three triangles, and so all open edges are boundary.
        EXPECT_EQ(row.nonManifoldEdges, 0U);
        EXPECT_EQ(report.nonManifoldSlots.size(), 0U);
        EXPECT_EQ(report.openSlots.size(), row.boundaryEdges);
        EXPECT_EQ(report.misorientedTriangles.empty(), row.misorientedEdges == 0);
        EXPECT_GE(report.degenerateTriangles.size(), row.degenerate);
        // Seven digits stand in the table. The volume of a mesh that isn't closed depends on where
        // the origin is, which the table doesn't tell.
        if (row.boundaryEdges == 0 && row.misorientedEdges == 0) {
            EXPECT_NEAR(report.volume, row.volume, 1e-6 * std::fabs(row.volume));
        }
        EXPECT_NEAR(report.meanTriangleArea * static_cast<double>(row.triangles), row.area,
                    2e-6 * row.area);
    }
}

TEST(MeshReportData, EveryMeshAgreesWithPlainLoops)
{
    SORVANE_NEED_DATA(SharedData("README.md"));
    for (const MeshRow& row : MeshRows()) {
        SCOPED_TRACE(row.file);
        const auto soup = ReadSoup<double>(row);
        const double size = std::sqrt(row.area);
        for (const double tolerance : {0.0, 1.37e-4 * size}) {
            if (tolerance > 0 && soup.size() > Support::FullOr<std::size_t>(50'000, 6'000)) {
                continue; // for time
            }
            const auto report = CheckMesh(soup, tolerance);
            const auto twin = Support::TwinReport(soup, tolerance);
            EXPECT_EQ(report.openSlots, twin.openSlots);
            EXPECT_EQ(report.nonManifoldSlots, twin.nonManifoldSlots);
            EXPECT_EQ(report.misorientedTriangles, twin.misorientedTriangles);
            EXPECT_EQ(report.foldedTriangles, twin.foldedTriangles);
            if (tolerance > 0) { // at 0 it is rounding that decides about collinear corners
                EXPECT_EQ(report.degenerateTriangles, twin.degenerateTriangles);
            }
            EXPECT_NEAR(report.meanEdgeLength, twin.meanEdgeLength, 1e-12 * size);
            EXPECT_NEAR(report.meanTriangleArea, twin.meanTriangleArea, 1e-12 * row.area);
            EXPECT_NEAR(report.volume, twin.volume, 1e-9 * std::fabs(twin.volume));
        }
    }
}

TEST(MeshReportData, TheFacetFilledTheWrongWayRoundBringsItsNeighbors)
{
    SORVANE_NEED_DATA(SharedData("README.md"));
    const std::vector<MeshRow> rows = MeshRows();
    const MeshRow* row = Find(rows, "fill-holes-good");
    ASSERT_NE(row, nullptr);
    EXPECT_EQ(row->misorientedEdges, 3U); // the three edges of the one facet
    EXPECT_EQ(CheckMesh(ReadSoup<double>(*row), 0.0).misorientedTriangles.size(), 4U);
}

TEST(MeshReportData, TessellationsHaveTheVolumeAndCenterOfTheirSolids)
{
    SORVANE_NEED_DATA(SharedData("README.md"));
    int solids = 0;
    for (const MeshRow& row : MeshRows()) {
        const auto expected =
            SharedData(row.file.substr(0, row.file.rfind('.')) + ".expected.json");
        if (expected.empty()) {
            continue;
        }
        SCOPED_TRACE(row.file);
        const std::string text = Text(expected);
        const std::regex figures(R"("volume":([^,]+),"area":([^,]+),)"
                                 R"("centroid":\[([^,]+),([^,]+),([^\]]+)\])");
        std::smatch m;
        ASSERT_TRUE(std::regex_search(text, m, figures));
        const double volume = std::stod(m[1]);
        const double moved = 0.1 * std::stod(m[2]); // the surface is off by up to 0.1 everywhere
        const auto report = CheckMesh(ReadSoup<double>(row), 0.0);
        EXPECT_NEAR(report.volume, volume, moved);
        // No place of the solid is farther than its extent, below 1000, from the center.
        for (int axis = 0; axis < 3; ++axis) {
            EXPECT_NEAR(report.centroid[axis], std::stod(m[static_cast<std::size_t>(3 + axis)]),
                        1000 * moved / volume);
        }
        ++solids;
    }
    EXPECT_GE(solids, 6);
}

TEST(MeshReportData, GapsOfEveryMesh)
{
    SORVANE_NEED_DATA(SharedData("README.md"));
    for (const MeshRow& row : MeshRows()) {
        SCOPED_TRACE(row.file);
        const auto mesh = Sorvane::Mesh::IndexedPointsFromSoup(ReadSoup<double>(row), true, 0.0);
        const auto report = CheckGaps(mesh.points, mesh.indices);
        if (row.misorientedEdges > 0) {
            continue; // the turned facet is left out, and what remains is another mesh
        }
        if (row.boundaryEdges == 0) {
            EXPECT_EQ(report.gap, 0);
            EXPECT_FALSE(report.invalidMesh);
        } else if (row.components == 1 && !report.invalidMesh) {
            EXPECT_EQ(report.gap, 1.3407807929942596e154);
        }
    }
}

} // namespace
