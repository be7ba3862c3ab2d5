// The decimation program as a user runs it: what it writes, what it says, and when it warns.

#include "tests/examples/ProgramRun.h"
#include "tests/support/FileSupport.h"
#include "tests/support/MeshMeasures.h"
#include "tests/support/StlFile.h"
#include "tests/support/TestSupport.h"

#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;
using Support::ProgramRun;
using Support::RunExample;

double NumberAfter(const std::string& output, const std::string& words)
{
    const std::size_t at = output.rfind(words);
    EXPECT_NE(at, std::string::npos) << words << "\n" << output;
    return at == std::string::npos ? 0 : std::stod(output.substr(at + words.size()));
}

TEST(DecimateProgram, WritesWhatItSays)
{
    const Support::TemporaryFolder folder;
    const std::string bracket = Support::ExampleData("bracket.stl").string();
    const auto source = Support::WeldedStl<double>(bracket);
    for (const bool isOneByOne : {false, true}) {
        std::vector<std::string> arguments{bracket,  "out.stl", "--tolerance", "0.5",
                                           "--keep", "20",      "--svg",       "picture.svg"};
        if (isOneByOne) {
            arguments.push_back("--one-by-one");
        }
        const ProgramRun run = RunExample("decimate", arguments, folder / "");
        EXPECT_EQ(run.code, 0) << run.errors;
        const auto result = Support::WeldedStl<double>(folder / "out.stl");
        EXPECT_EQ(Support::FaultsOf(result), Support::EdgeFaults{});
        EXPECT_EQ(NumberAfter(run.output, "after   "),
                  static_cast<double>(result.indices.size()) / 3);
        EXPECT_NEAR(NumberAfter(run.output, "edges, volume "), Support::VolumeOf(result),
                    1e-5 * Support::VolumeOf(source));
        EXPECT_TRUE(fs::exists(folder / "picture.svg"));
        if (!isOneByOne) {
            EXPECT_LT(result.indices.size(), source.indices.size());
            EXPECT_LE(NumberAfter(run.output, "the part lies off the result by: "), 0.5);
            EXPECT_NE(run.output.find(" of the triangles are left: the "), std::string::npos);
        }
    }
}

TEST(DecimateProgram, ExitsWithThreeWhereTheVolumeDrifts)
{
    const Support::TemporaryFolder folder;
    const std::string bracket = Support::ExampleData("bracket.stl").string();
    const ProgramRun run = RunExample(
        "decimate", {bracket, "out.stl", "--tolerance", "2", "--drift", "0"}, folder / "");
    EXPECT_EQ(run.code, 3);
    EXPECT_NE(run.errors.find("drifted by"), std::string::npos) << run.errors;
    EXPECT_TRUE(fs::exists(folder / "out.stl")) << "to look at";
}

TEST(DecimateProgram, WrongUseIsToldWithTheRightOne)
{
    const Support::TemporaryFolder folder;
    const std::string bracket = Support::ExampleData("bracket.stl").string();
    for (const std::vector<std::string>& arguments :
         std::vector<std::vector<std::string>>{{},
                                               {bracket},
                                               {bracket, "out.stl"},
                                               {bracket, "out.stl", "--keep"},
                                               {bracket, "out.stl", "--keep", "101"},
                                               {bracket, "out.stl", "--tolerance", "-1"},
                                               {bracket, "out.stl", "--tolerance", "wide"},
                                               {bracket, "out.stl", "--other", "1"}}) {
        const ProgramRun run = RunExample("decimate", arguments, folder / "");
        EXPECT_EQ(run.code, 2);
        EXPECT_NE(run.errors.find("usage: decimate"), std::string::npos) << run.errors;
    }
    EXPECT_EQ(RunExample("decimate", {"missing.stl", "out.stl", "--keep", "10"}, folder / "").code,
              1);
}

} // namespace
