// The programs around turning: tilts that reach a profile, and outlines of parts.

#include "tests/examples/ProgramRun.h"
#include "tests/support/FileSupport.h"
#include "tests/support/TestSupport.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>

namespace {

using Support::RunExample;

TEST(BAxisProgram, TellsTheTiltsAlongTheProfile)
{
    Support::TemporaryFolder folder;
    // A block 20 long and 10 high, from the middle of its underside. A needle of a tool behind
    // which a plate of a holder stands 5 above the tip: upright it reaches the top and half of each
    // side.
    Support::WriteBytes(folder / "profile.txt", "10 0\n0 0\n0 10\n20 10\n20 0\n10 0\n");
    Support::WriteBytes(folder / "tool.txt", "0 0\n0.01 0\n0.01 5\n-0.01 5\n-0.01 0\n0 0\n");
    Support::WriteBytes(folder / "holder.txt", "-50 5\n50 5\n50 6\n-50 6\n-50 5\n");
    const auto run = RunExample(
        "b_axis", {"picture.svg", "profile.txt", "tool.txt", "holder.txt", "0", "0", "1"},
        folder / "");
    EXPECT_EQ(run.code, 0) << run.errors;
    std::istringstream lines(run.output);
    double reached = 0;
    double end = 0;
    for (std::string line; std::getline(lines, line);) {
        double from = 0;
        double to = 0;
        std::string word;
        std::istringstream(line) >> from >> word >> to;
        EXPECT_NEAR(from, end, 1e-3);
        end = to;
        reached += line.find("none") == std::string::npos ? to - from : 0;
    }
    EXPECT_NEAR(end, 60, 1e-3);
    EXPECT_NEAR(reached, 20 + 5 + 5, 0.1);
    EXPECT_NE(Support::ReadBytes(folder / "picture.svg").find("reached at some tilt"),
              std::string::npos);
}

TEST(BAxisProgram, RefusesWhatItCanNotUse)
{
    Support::TemporaryFolder folder;
    Support::WriteBytes(folder / "empty.txt", "");
    EXPECT_EQ(
        RunExample("b_axis", {"p.svg", "empty.txt", "empty.txt", "empty.txt"}, folder / "").code,
        1);
    EXPECT_EQ(RunExample("b_axis", {"p.svg", "a", "b", "c", "0", "1", "0"}, folder / "").code, 2);
    EXPECT_EQ(RunExample("b_axis", {"p.svg", "a", "b", "c", "1", "0", "1"}, folder / "").code, 2);
    EXPECT_EQ(RunExample("b_axis", {}, folder / "").code, 2);
}

} // namespace
