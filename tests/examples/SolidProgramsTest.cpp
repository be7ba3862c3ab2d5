// The programs that sweep a body and that combine sampled solids, as a user runs them: what they
// say against what is known of the shapes they make themselves.

#include "tests/examples/ProgramRun.h"
#include "tests/support/FileSupport.h"
#include "tests/support/MeshMeasures.h"
#include "tests/support/StlFile.h"
#include "tests/support/TestSupport.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <map>
#include <sstream>
#include <string>

namespace {

using Support::ProgramRun;
using Support::RunExample;

double NumberBehind(const std::string& text, const std::string& words)
{
    const std::size_t at = text.find(words);
    EXPECT_NE(at, std::string::npos) << words << " in " << text;
    return at == std::string::npos ? 0 : std::stod(text.substr(at + words.size()));
}

// A bull nose of radius 3 and corner 1.5 under a shank of 4: 36 pi of shank, and by the disks of
// the corner pi (2.25 * 1.5 + 3 * 2.25 pi / 4 + 2.25). Its flat sides lie inside of that.
TEST(SweepBodyProgram, WritesTheShellThatItTellsOf)
{
    const Support::TemporaryFolder folder;
    const ProgramRun run = RunExample("sweep_body", {"picture.svg", "shell.stl"}, folder / "");
    EXPECT_EQ(run.code, 0) << run.errors;
    constexpr double kPi = 3.14159265358979;
    const double exact = kPi * (36 + 2.25 * 1.5 + 3 * 2.25 * kPi / 4 + 2.25);
    const double cutter = NumberBehind(run.output, "triangles, volume ");
    EXPECT_LT(cutter, exact);
    EXPECT_GT(cutter, 0.98 * exact);
    const double told = NumberBehind(run.output.substr(run.output.find("shell")), ", volume ");
    const auto shell = Support::WeldedStl<double>(folder / "shell.stl");
    EXPECT_EQ(static_cast<double>(shell.indices.size() / 3), NumberBehind(run.output, "steps, "));
    EXPECT_NEAR(Support::VolumeOf(shell), told, 1e-5 * told);
    EXPECT_NE(Support::ReadBytes(folder / "picture.svg").find("a second time"), std::string::npos);
}

TEST(SweepBodyProgram, TellsWrongUseAndWhatItCanNotWrite)
{
    const Support::TemporaryFolder folder;
    EXPECT_EQ(RunExample("sweep_body", {}, folder / "").code, 2);
    EXPECT_EQ(RunExample("sweep_body", {"a", "b", "c"}, folder / "").code, 2);
    const ProgramRun run = RunExample("sweep_body", {"/dev/full"}, folder / "");
    EXPECT_EQ(run.code, 1);
    EXPECT_NE(run.errors.find("can't be written"), std::string::npos) << run.errors;
    EXPECT_EQ(RunExample("sweep_body", {"p.svg", "nowhere/shell.stl"}, folder / "").code, 1);
}

// The block has 1 x 0.7 in the slice, the ring the area between circles of 0.58 and 0.26. What the
// operations give is counted by the same nodes, so that the sums are exact.
TEST(VolumeCsgProgram, TellsAreasThatAddUp)
{
    const Support::TemporaryFolder folder;
    for (const char* nodes : {"21", "48", "72"}) {
        SCOPED_TRACE(nodes);
        const ProgramRun run = RunExample("volume_csg", {nodes}, folder / "");
        EXPECT_EQ(run.code, 0) << run.errors;
        std::map<std::string, double> area;
        std::istringstream lines(run.errors);
        for (std::string line; std::getline(lines, line);) {
            area[line.substr(0, line.find(':'))] = NumberBehind(line, "area of the slice ");
        }
        EXPECT_EQ(area.size(), 6U);
        const double slack = 4.0 / (std::stod(nodes) - 1); // half a node along the outlines
        EXPECT_NEAR(area["block"], 0.7, slack);
        EXPECT_NEAR(area["ring"], 3.14159265 * (0.58 * 0.58 - 0.26 * 0.26), slack);
        EXPECT_GT(area["intersection"], 0.05);
        constexpr double kDigits = 3e-6;
        EXPECT_NEAR(area["union"] + area["intersection"], area["block"] + area["ring"], kDigits);
        EXPECT_NEAR(area["block without ring"], area["block"] - area["intersection"], kDigits);
        EXPECT_NEAR(area["ring without block"], area["ring"] - area["intersection"], kDigits);
        EXPECT_NE(run.output.find("block without ring"), std::string::npos);
    }
}

TEST(VolumeCsgProgram, TellsWrongUseAndWhatItCanNotWrite)
{
    const Support::TemporaryFolder folder;
    for (const char* nodes : {"7", "201", "many", "nan", ""}) {
        EXPECT_EQ(RunExample("volume_csg", {nodes}, folder / "").code, 2) << nodes;
    }
    EXPECT_EQ(RunExample("volume_csg", {"8", "9"}, folder / "").code, 2);
    EXPECT_EQ(RunExample("volume_csg", {"8"}, folder / "", "/dev/full").code, 1);
}

} // namespace
