// The example that unites, subtracts and intersects regions, on areas that are known.

#include "tests/examples/ProgramRun.h"
#include "tests/support/FileSupport.h"
#include "tests/support/TestSupport.h"

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

namespace {

namespace fs = std::filesystem;
using Support::ProgramRun;
using Support::RunExample;

class RegionBooleanProgram : public testing::Test {
protected:
    ProgramRun Run(const std::vector<std::string>& arguments)
    {
        return RunExample("region_boolean", arguments, folder_ / "");
    }

    Support::TemporaryFolder folder_;
};

TEST_F(RegionBooleanProgram, TellsTheAreas)
{
    // A square of 4 with a hole of 1, and a rectangle of 3 x 2 of which 1 x 2 lies in it.
    Support::WriteBytes(folder_ / "a.txt", "0 0\n4 0\n4 4\n0 4\n\n1 1\n1 2\n2 2\n2 1\n");
    Support::WriteBytes(folder_ / "b.txt", " 3\t0\r\n6 0 \n6 2\n3 2\n\n\n");
    for (const auto& [operation, said] : std::vector<std::pair<std::string, std::string>>{
             {"union", "union: 2 loops, area 19"},
             {"difference", "difference: 2 loops, area 13"},
             {"intersection", "intersection: 1 loops, area 2"}}) {
        const ProgramRun run = Run({operation, "a.txt", "b.txt", "picture.svg"});
        EXPECT_EQ(run.code, 0) << run.errors;
        // The grid takes off a few units of the ninth digit.
        const double area = std::stod(run.output.substr(run.output.find("area ") + 5));
        const double expected = std::stod(said.substr(said.find("area ") + 5));
        EXPECT_NEAR(area, expected, 1e-6) << run.output;
        EXPECT_EQ(run.output.rfind(said.substr(0, said.find("area")), 0), 0U) << run.output;
        EXPECT_TRUE(fs::exists(folder_ / "picture.svg"));
    }
    // A tool of 2 x 2 along a corner: 2 x 12 and 2 x 10.
    Support::WriteBytes(folder_ / "tool.txt", "-1 -1\n1 -1\n1 1\n-1 1\n");
    Support::WriteBytes(folder_ / "path.txt", "0 0\n10 0\n10 10\n");
    const ProgramRun swept = Run({"sweep", "tool.txt", "path.txt"});
    EXPECT_EQ(swept.code, 0) << swept.errors;
    const std::size_t at = swept.output.find("sweep: 1 loops, area ");
    ASSERT_NE(at, std::string::npos) << swept.output;
    EXPECT_NEAR(std::stod(swept.output.substr(at + 21)), 44, 1e-6);
}

TEST_F(RegionBooleanProgram, RefusesWhatIsNoRegion)
{
    Support::WriteBytes(folder_ / "a.txt", "0 0\n4 0\n4 4\n");
    for (const char* text : {"", "\n\n", "1 2 3\n", "1\n", "1 x\n", "nan 0\n"}) {
        Support::WriteBytes(folder_ / "b.txt", text);
        const ProgramRun run = Run({"union", "a.txt", "b.txt"});
        EXPECT_EQ(run.code, 1) << text;
        EXPECT_NE(run.errors.find("b.txt: holds no loops"), std::string::npos) << run.errors;
    }
    EXPECT_EQ(Run({"union", "a.txt", "none.txt"}).code, 1);
    for (const std::vector<std::string>& arguments : {std::vector<std::string>{},
                                                      {"union"},
                                                      {"union", "a.txt"},
                                                      {"cut", "a.txt", "a.txt"},
                                                      {"union", "a.txt", "a.txt", "x.svg", "y"}}) {
        const ProgramRun run = Run(arguments);
        EXPECT_EQ(run.code, 2);
        EXPECT_NE(run.errors.find("usage: region_boolean"), std::string::npos);
    }
    const ProgramRun run = Run({"union", "a.txt", "a.txt", "none/x.svg"});
    EXPECT_EQ(run.code, 1);
    EXPECT_NE(run.errors.find("none/x.svg: can't be written"), std::string::npos);
}

} // namespace
