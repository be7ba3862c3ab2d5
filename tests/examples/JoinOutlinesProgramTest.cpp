// Outlines joined by the example program: perimeters worked out by hand.

#include "tests/examples/ProgramRun.h"
#include "tests/support/FileSupport.h"
#include "tests/support/TestSupport.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace Support;
using Corners = std::vector<std::pair<double, double>>;

class JoinOutlinesProgram : public testing::Test {
protected:
    /// A file with the closed chain of segments through the corners.
    std::string Outline(const std::string& name, const Corners& corners)
    {
        std::ostringstream text;
        text << "\n" << corners.size() << "\t1e-9\n";
        for (std::size_t i = 0; i < corners.size(); ++i) {
            const auto& [x0, y0] = corners[i];
            const auto& [x1, y1] = corners[(i + 1) % corners.size()];
            text << "L\t" << x0 << "\t" << y0 << "\t" << x1 << "\t" << y1 << "\n";
        }
        WriteBytes(folder_ / name, text.str());
        return name;
    }

    ProgramRun Run(const std::vector<std::string>& arguments)
    {
        return RunExample("join_outlines", arguments, folder_ / "");
    }

    ProgramRun Join(const std::string& first, const std::string& second)
    {
        const ProgramRun run = Run({first, second});
        EXPECT_EQ(run.code, 0) << run.errors;
        EXPECT_NE(run.output.find("</svg>"), std::string::npos);
        return run;
    }

    TemporaryFolder folder_;
};

void ExpectOneOutline(const ProgramRun& run, const std::string& length)
{
    EXPECT_NE(run.errors.find("length " + length + ", closed\n"), std::string::npos) << run.errors;
    EXPECT_EQ(run.errors.find('\n'), run.errors.size() - 1) << run.errors;
}

const Corners kSquare{{0, 0}, {4, 0}, {4, 4}, {0, 4}};

TEST_F(JoinOutlinesProgram, OutlineOfBothWhateverTheirDirections)
{
    const std::string square = Outline("square.txt", kSquare);
    const std::string clockwise = Outline("clockwise.txt", {{0, 4}, {4, 4}, {4, 0}, {0, 0}});
    const std::string across = Outline("across.txt", {{2, 6}, {6, 6}, {6, 2}, {2, 2}});
    // Two squares of perimeter 16, of which corners of 2 x 2 overlap.
    ExpectOneOutline(Join(square, across), "24");
    ExpectOneOutline(Join(clockwise, across), "24");
    ExpectOneOutline(Join(across, square), "24");
}

TEST_F(JoinOutlinesProgram, WhatBothShareCountsOnceOrNot)
{
    const std::string square = Outline("square.txt", kSquare);
    ExpectOneOutline(Join(square, square), "16");
    // Side by side, half of a side in common.
    ExpectOneOutline(Join(square, Outline("beside.txt", {{4, 2}, {8, 2}, {8, 6}, {4, 6}})), "28");
    // Inside, along a part of one side.
    ExpectOneOutline(Join(square, Outline("inside.txt", {{1, 0}, {3, 0}, {3, 2}, {1, 2}})), "16");
}

TEST_F(JoinOutlinesProgram, ApartTheyStayTwo)
{
    const std::string square = Outline("square.txt", kSquare);
    const auto run = Join(square, Outline("far.txt", {{9, 9}, {10, 9}, {10, 10}, {9, 10}}));
    EXPECT_NE(run.errors.find("length 16, closed"), std::string::npos) << run.errors;
    EXPECT_NE(run.errors.find("length 4, closed"), std::string::npos) << run.errors;
}

TEST_F(JoinOutlinesProgram, RoundedPlateAndBar)
{
    const ProgramRun run = Run({});
    EXPECT_EQ(run.code, 0);
    EXPECT_NE(run.errors.find(", closed\n"), std::string::npos) << run.errors;
    EXPECT_NE(run.output.find("4 places at which they meet"), std::string::npos);
}

TEST_F(JoinOutlinesProgram, SaysWhatIsWrong)
{
    const std::string square = Outline("square.txt", kSquare);
    WriteBytes(folder_ / "open.txt", "1\t1e-9\nL\t0\t0\t1\t0\n");
    for (const char* second : {"open.txt", "nothing.txt"}) {
        const ProgramRun run = Run({square, second});
        EXPECT_EQ(run.code, 1);
        EXPECT_NE(run.errors.find(std::string(second) + ": holds no closed chain"),
                  std::string::npos)
            << run.errors;
    }
    const std::vector<std::vector<std::string>> wrong{
        {square}, {square, square, "x"}, {square, square, "-1"}, {square, square, "1", "2"}};
    for (const auto& arguments : wrong) {
        const ProgramRun run = Run(arguments);
        EXPECT_EQ(run.code, 2);
        EXPECT_NE(run.errors.find("usage: join_outlines"), std::string::npos) << run.errors;
    }
}

} // namespace
