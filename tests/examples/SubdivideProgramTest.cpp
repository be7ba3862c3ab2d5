// The subdividing program as a user runs it: what it writes, what it says, and when it warns.

#include "tests/examples/ProgramRun.h"
#include "tests/support/FileSupport.h"
#include "tests/support/MeshGenerators.h"
#include "tests/support/MeshMeasures.h"
#include "tests/support/StlFile.h"
#include "tests/support/TestSupport.h"

#include <algorithm>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;
using Support::ProgramRun;
using Support::RunExample;

/// The number after the last place where the output has these words.
double NumberAfter(const std::string& output, const std::string& words)
{
    const std::size_t at = output.rfind(words);
    EXPECT_NE(at, std::string::npos) << words << "\n" << output;
    return at == std::string::npos ? 0 : std::stod(output.substr(at + words.size()));
}

/// A mesh of small whole coordinates as the bytes of a file.
std::string StlBytes(const Support::IndexedMesh& mesh)
{
    Support::SmallMesh small;
    for (const auto& p : mesh.points) {
        small.points.push_back(
            {static_cast<float>(p.x()), static_cast<float>(p.y()), static_cast<float>(p.z())});
    }
    small.indices = mesh.indices;
    return Support::BinaryStlBytes(small, "mesh");
}

TEST(SubdivideProgram, WritesWhatItSays)
{
    const Support::TemporaryFolder folder;
    const std::string bracket = Support::ExampleData("bracket.stl").string();
    const auto source = Support::WeldedStl<double>(bracket);
    const auto before = static_cast<double>(source.indices.size() / 3);
    struct Case {
        const char* method;
        double parts; ///< triangles of one, 0 where it depends
    };
    for (const auto& [method, parts] : {Case{"loop", 4},
                                        {"sqrt3", 3},
                                        {"midpoints", 4},
                                        {"centroid", 3},
                                        {"six", 6},
                                        {"split", 0}}) {
        SCOPED_TRACE(method);
        const ProgramRun run = RunExample(
            "subdivide",
            {bracket, "out.stl", "--method", method, "--length", "4", "--svg", "picture.svg"},
            folder / "");
        EXPECT_EQ(run.code, 0) << run.errors;
        const auto result = Support::WeldedStl<double>(folder / "out.stl");
        EXPECT_EQ(Support::FaultsOf(result), Support::EdgeFaults{});
        const auto triangles = static_cast<double>(result.indices.size() / 3);
        EXPECT_EQ(NumberAfter(run.output, "points, "), triangles);
        EXPECT_TRUE(parts == 0 ? triangles > before : triangles == parts * before);
        EXPECT_NEAR(NumberAfter(run.output, ", volume "), Support::VolumeOf(result),
                    1e-5 * Support::VolumeOf(source));
        const auto lengths = Support::EdgeLengths(result);
        const double longest = *std::max_element(lengths.begin(), lengths.end());
        EXPECT_NEAR(NumberAfter(run.output, "longest edge "), longest, 1e-5 * longest);
        if (parts == 0) {
            EXPECT_LE(longest, 4.0 + 1e-5);
        }
        EXPECT_TRUE(fs::exists(folder / "picture.svg"));
        fs::remove(folder / "picture.svg");
    }
}

TEST(SubdivideProgram, ExitsWithThreeWhereTheVolumeDrifts)
{
    const Support::TemporaryFolder folder;
    Support::WriteBytes(folder / "cube.stl", StlBytes(Support::Cube()));
    // Its creases kept a cube stays one; taken for a blob it shrinks.
    const ProgramRun kept = RunExample("subdivide", {"cube.stl", "out.stl"}, folder / "");
    EXPECT_EQ(kept.code, 0) << kept.errors;
    EXPECT_NEAR(NumberAfter(kept.output, "drifted by "), 0.0, 1e-9);
    const ProgramRun blob =
        RunExample("subdivide", {"cube.stl", "out.stl", "--angle", "120"}, folder / "");
    EXPECT_EQ(blob.code, 3);
    EXPECT_NE(blob.errors.find("drifted by"), std::string::npos) << blob.errors;
    EXPECT_TRUE(fs::exists(folder / "out.stl")) << "to look at";
}

TEST(SubdivideProgram, AnOpenPartHasNoVolumeToDrift)
{
    const Support::TemporaryFolder folder;
    Support::WriteBytes(folder / "sheet.stl", StlBytes(Support::Grid(2, 2)));
    const ProgramRun run =
        RunExample("subdivide", {"sheet.stl", "out.stl", "--iterations", "2"}, folder / "");
    EXPECT_EQ(run.code, 0) << run.errors;
    EXPECT_NE(run.output.find("the part is open"), std::string::npos);
    EXPECT_EQ(Support::WeldedStl<double>(folder / "out.stl").indices.size(), 3U * 8 * 16);
}

TEST(SubdivideProgram, WrongUseIsToldWithTheRightOne)
{
    const Support::TemporaryFolder folder;
    Support::WriteBytes(folder / "part", Support::SolidText(Support::TetrahedronAndFin(), "x"));
    const std::vector<std::vector<std::string>> wrong{
        {},
        {"part"},
        {"part", "out.stl", "more"},
        {"part", "out.stl", "--method"},
        {"part", "out.stl", "--method", "catmull"},
        {"part", "out.stl", "--iterations", "-1"},
        {"part", "out.stl", "--iterations", "51"},
        {"part", "out.stl", "--length", "0"},
        {"part", "out.stl", "--angle", "nan"},
        {"part", "out.stl", "--unknown", "1"},
    };
    for (const std::vector<std::string>& arguments : wrong) {
        const ProgramRun run = RunExample("subdivide", arguments, folder / "");
        EXPECT_EQ(run.code, 2);
        EXPECT_NE(run.errors.find("usage: subdivide"), std::string::npos) << run.errors;
    }
    const ProgramRun missing = RunExample("subdivide", {"missing.stl", "out.stl"}, folder / "");
    EXPECT_EQ(missing.code, 1);
    EXPECT_FALSE(fs::exists(folder / "out.stl"));
}

} // namespace
