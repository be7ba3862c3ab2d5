// The remeshing program as a user runs it: what it writes, what it says, and when it warns.

#include "tests/examples/ProgramRun.h"
#include "tests/support/FileSupport.h"
#include "tests/support/MeshMeasures.h"
#include "tests/support/StlFile.h"
#include "tests/support/TestSupport.h"

#include <string>

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

TEST(RemeshProgram, WritesWhatItSays)
{
    const Support::TemporaryFolder folder;
    const std::string bracket = Support::ExampleData("bracket.stl").string();
    for (const std::string& chord : {std::string(), std::string("0.02")}) {
        SCOPED_TRACE(chord);
        std::vector<std::string> arguments{bracket, "out.stl", "--length",
                                           "2",     "--svg",   "picture.svg"};
        if (!chord.empty()) {
            arguments.insert(arguments.end(), {"--chord", chord});
        }
        const ProgramRun run = RunExample("remesh", arguments, folder / "");
        EXPECT_EQ(run.code, 0) << run.errors;
        const auto result = Support::WeldedStl<double>(folder / "out.stl");
        const auto source = Support::WeldedStl<double>(bracket);
        EXPECT_EQ(Support::FaultsOf(result), Support::EdgeFaults{});
        EXPECT_NEAR(NumberAfter(run.output, "after   "),
                    static_cast<double>(result.indices.size()) / 3, 0);
        EXPECT_NEAR(NumberAfter(run.output, "edges, volume "), Support::VolumeOf(result),
                    1e-5 * Support::VolumeOf(source));
        EXPECT_NEAR(NumberAfter(run.output, "drifted by "),
                    100 * (Support::VolumeOf(result) / Support::VolumeOf(source) - 1), 1e-3);
        const double off = NumberAfter(run.output, "the result lies off the part by: ");
        EXPECT_GE(off, Support::GreatestDistance(result, source, 100) - 1e-5);
        EXPECT_TRUE(fs::exists(folder / "picture.svg"));
    }
}

TEST(RemeshProgram, ExitsWithThreeWhereTheVolumeDrifts)
{
    const Support::TemporaryFolder folder;
    const std::string bracket = Support::ExampleData("bracket.stl").string();
    const ProgramRun strict =
        RunExample("remesh", {bracket, "out.stl", "--length", "5", "--drift", "0"}, folder / "");
    EXPECT_EQ(strict.code, 3);
    EXPECT_NE(strict.errors.find("drifted by"), std::string::npos) << strict.errors;
    EXPECT_TRUE(fs::exists(folder / "out.stl")) << "to look at";

    // A tube of radius 2.5 with a wall of 0.3, at its mean edge length of 5.
    const fs::path tube = Support::SharedData("meshes_cad/round.stl");
    SORVANE_NEED_DATA(tube);
    EXPECT_EQ(RunExample("remesh", {tube.string(), "out.stl"}, folder / "").code, 3);
    EXPECT_EQ(RunExample("remesh", {tube.string(), "out.stl", "--length", "0.5"}, folder / "").code,
              0);
}

TEST(RemeshProgram, AnOpenPartHasNoVolumeToDrift)
{
    const Support::TemporaryFolder folder;
    Support::SmallMesh sheet;
    sheet.points = {{0, 0, 0}, {4, 0, 0}, {4, 4, 0}, {0, 4, 0}};
    sheet.indices = {0, 1, 2, 0, 2, 3};
    Support::WriteBytes(folder / "sheet.stl", Support::BinaryStlBytes(sheet, "sheet"));
    const ProgramRun run = RunExample(
        "remesh", {"sheet.stl", "out.stl", "--length", "1", "--split-boundary"}, folder / "");
    EXPECT_EQ(run.code, 0) << run.errors;
    EXPECT_NE(run.output.find("the part is open"), std::string::npos);
    EXPECT_GT(Support::WeldedStl<double>(folder / "out.stl").indices.size(), 60U);
}

TEST(RemeshProgram, WrongUseIsToldWithTheRightOne)
{
    const Support::TemporaryFolder folder;
    Support::WriteBytes(folder / "part", Support::SolidText(Support::TetrahedronAndFin(), "x"));
    const std::vector<std::vector<std::string>> wrong{
        {},
        {"part"},
        {"part", "out.stl", "more"},
        {"part", "out.stl", "--length"},
        {"part", "out.stl", "--length", "nan"},
        {"part", "out.stl", "--chord", "0"},
        {"part", "out.stl", "--iterations", "-1"},
        {"part", "out.stl", "--drift", "-1"},
        {"part", "out.stl", "--unknown", "1"},
    };
    for (const std::vector<std::string>& arguments : wrong) {
        const ProgramRun run = RunExample("remesh", arguments, folder / "");
        EXPECT_EQ(run.code, 2);
        EXPECT_NE(run.errors.find("usage: remesh"), std::string::npos) << run.errors;
    }
    const ProgramRun missing = RunExample("remesh", {"missing.stl", "out.stl"}, folder / "");
    EXPECT_EQ(missing.code, 1);
    EXPECT_FALSE(fs::exists(folder / "out.stl"));
}

} // namespace
