// The text file of a chain: its exact layout, what the reader takes, and what it reports.

#include <Sorvane/PolyArcSeg_E.h>

#include "tests/support/FileSupport.h"
#include "tests/planar/ChainSupport.h"
#include "tests/support/FailingAllocation.h"

#include <bit>
#include <cstdint>
#include <filesystem>
#include <limits>
#include <string>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane::Planar;
using namespace Support;
using Chain = PolyArcSegBase<double>;

constexpr const char* kReader = " Velk::Math::Sorvane::Planar::ReadPolySegArcFromFile";

class ChainFile : public testing::Test {
protected:
    std::string Path() const { return (folder_ / "chain.txt").string(); }

    Chain Read(const std::string& text) const
    {
        WriteBytes(Path(), text);
        return ReadPolySegArcFromFile(Path());
    }

    /// Reads a text that provokes one report, at `line`.
    Chain ReadReported(const std::string& text, int line) const
    {
        ExpectAssertions(AssertionCount() + 1);
        const Chain chain = Read(text);
        EXPECT_EQ(LastAssertion(), "PolyArcSeg:" + std::to_string(line) + kReader) << text;
        return chain;
    }

    std::string Written(const Chain& chain) const
    {
        EXPECT_TRUE(WritePolySegArcToFile(chain, Path()));
        return ReadBytes(Path());
    }

private:
    TemporaryFolder folder_;
};

/// All numbers of a chain as bits.
std::vector<std::uint64_t> Bits(const Chain& chain)
{
    std::vector<std::uint64_t> bits{std::bit_cast<std::uint64_t>(chain.tolerance)};
    const auto push = [&bits](const auto&... values) {
        (bits.push_back(std::bit_cast<std::uint64_t>(values)), ...);
    };
    for (const auto& element : chain.elements) {
        if (const auto* segment = element.AsSegment()) {
            push(segment->start[0], segment->start[1], segment->end[0], segment->end[1]);
        } else {
            const auto& arc = *element.AsArc();
            push(arc.center[0], arc.center[1], arc.start[0], arc.start[1], arc.length);
        }
    }
    return bits;
}

// --- writing ------------------------------------------------------------------------------------

TEST_F(ChainFile, LayoutIsExact)
{
    Chain chain;
    ASSERT_TRUE(chain.AppendSegment({0, -1.5}, {2, 0.1}));
    ASSERT_TRUE(chain.AppendArc({3, 4}, {2, 0.1}, -7.25));
    // The arc's start comes before its center. 0.1 and 1e-12 at 17 digits by hand.
    EXPECT_EQ(Written(chain), "\n2\t9.9999999999999998e-13\n"
                              "L\t0\t-1.5\t2\t0.10000000000000001\n"
                              "A\t2\t0.10000000000000001\t3\t4\t-7.25\n");
    EXPECT_EQ(Written(Chain()), "\n0\t9.9999999999999998e-13\n");
}

TEST_F(ChainFile, LocaleOfTheHostDoesNotMatter)
{
    auto chain = Lines<double>({{0, 0}, {1234567.5, 0}});
    chain.tolerance = 0.5;
    const CommaLocale comma;
    EXPECT_EQ(Written(chain), "\n1\t0.5\nL\t0\t0\t1234567.5\t0\n");
    EXPECT_EQ(ReadPolySegArcFromFile(Path()), chain);
}

TEST_F(ChainFile, UnwritableFileIsFalseWithoutAReport)
{
    EXPECT_FALSE(WritePolySegArcToFile(Square<double>(), Path() + "/no/such/folder"));
    EXPECT_FALSE(WritePolySegArcToFile(Square<double>(), ""));
    EXPECT_EQ(AssertionCount(), 0);
}

TEST_F(ChainFile, IncompleteWriteIsFalse)
{
    const char* const fullDevice = "/dev/full";
    if (!std::filesystem::exists(fullDevice)) {
        GTEST_SKIP() << "this system has no device that is always full";
    }
    EXPECT_FALSE(WritePolySegArcToFile(Square<double>(), fullDevice));
}

// --- there and back -----------------------------------------------------------------------------

TEST_F(ChainFile, ComesBackBitForBit)
{
    Random random(51);
    for (int trial = 0; trial < 50; ++trial) {
        auto chain = RandomChain<double>(random, 1 + random.Below(50));
        chain.tolerance = std::pow(10.0, random.Between(-12, -3));
        ASSERT_TRUE(WritePolySegArcToFile(chain, Path()));
        EXPECT_EQ(Bits(ReadPolySegArcFromFile(Path())), Bits(chain));
    }
}

TEST_F(ChainFile, ExtremeNumbersComeBackBitForBit)
{
    const double least = std::numeric_limits<double>::denorm_min();
    const double most = std::numeric_limits<double>::max();
    for (const double x : {-0.0, least, -least, 0.1, 1.0 / 3, most, -most, 1e22}) {
        Chain chain;
        chain.AppendArc({x, -x}, {x, x}, x);
        ASSERT_TRUE(WritePolySegArcToFile(chain, Path()));
        EXPECT_EQ(Bits(ReadPolySegArcFromFile(Path())), Bits(chain)) << x;
    }
}

TEST_F(ChainFile, SegmentsSnapOnReading)
{
    const Chain chain = Read("2\t0.25\nL 0 0 1 0\nL 1 0.125 1 1\n");
    ASSERT_EQ(chain.elements.size(), 2u);
    EXPECT_EQ(chain.elements[1].StartPoint(), Vec2d(1, 0));
}

TEST_F(ChainFile, EmptyChainIsLostWithItsTolerance)
{
    Chain empty;
    empty.tolerance = 0.5;
    ASSERT_TRUE(WritePolySegArcToFile(empty, Path()));
    ExpectAssertions(1);
    EXPECT_EQ(ReadPolySegArcFromFile(Path()), Chain());
    EXPECT_EQ(LastAssertion(), std::string("PolyArcSeg:134") + kReader);
}

// --- what the reader takes ----------------------------------------------------------------------

TEST_F(ChainFile, LineBreaksMeanNothing)
{
    const Chain expected = Read("\n2\t0.5\nL\t0\t0\t1\t0\nA\t1\t0\t1\t1\t2\n");
    ASSERT_EQ(expected.elements.size(), 2u);
    EXPECT_EQ(expected.tolerance, 0.5);
    EXPECT_EQ(Read("2\t0.5\nL\t0\t0\t1\t0\nA\t1\t0\t1\t1\t2\n"), expected); // no empty line
    EXPECT_EQ(Read("2 0.5 L 0 0 1 0 A 1 0 1 1 2"), expected);
    EXPECT_EQ(Read("\r\n2\t0.5\r\nL\t0\t0\t1\t0\r\nA\t1\t0\t1\t1\t2\r\n"), expected);
    EXPECT_EQ(Read(" \n2\n0.5\nL0 0\n1 0A1 0 1\n\n1 2"), expected);
}

TEST_F(ChainFile, MissingToleranceIsTheDefault)
{
    const Chain line = Read("1\nL 0 0 1 0\n");
    EXPECT_EQ(line, Lines<double>({{0, 0}, {1, 0}}));
    // The A must not be taken for a hexadecimal digit.
    const Chain arc = Read("1\nA 1 0 0 0 3\n");
    ASSERT_EQ(arc.elements.size(), 1u);
    ASSERT_NE(arc.elements[0].AsArc(), nullptr);
    EXPECT_EQ(*arc.elements[0].AsArc(), (Geometry::ArcBase<double>{{0, 0}, {1, 0}, 3}));
    EXPECT_EQ(arc.tolerance, 1e-12);
}

TEST_F(ChainFile, ToleranceInAnyUsualForm)
{
    for (const auto& [text, value] :
         {std::pair{".5", 0.5}, {"+.5", 0.5}, {"5E-1", 0.5}, {"-1", -1.0}}) {
        EXPECT_EQ(Read(std::string("1 ") + text + "\nL 0 0 1 0").tolerance, value) << text;
    }
}

TEST_F(ChainFile, UnknownCharactersAreSkippedAndDoNotCount)
{
    EXPECT_EQ(Read("1 0.5 ; x y L 0 0 1 0"), Read("1 0.5 L 0 0 1 0"));
    EXPECT_EQ(Read("1 0.5 l a 7 L 0 0 1 0"), Read("1 0.5 L 0 0 1 0"));
}

TEST_F(ChainFile, WhatFollowsTheCountIsNotRead)
{
    EXPECT_EQ(Read("1 0.5 L 0 0 1 0 L 1 0 2 0 rubbish"), Read("1 0.5 L 0 0 1 0"));
}

// --- reports ------------------------------------------------------------------------------------

TEST_F(ChainFile, MissingFileIsReportedAtLine124)
{
    ExpectAssertions(1);
    EXPECT_EQ(ReadPolySegArcFromFile(Path() + ".none"), Chain());
    EXPECT_EQ(LastAssertion(), std::string("PolyArcSeg:124") + kReader);
}

TEST_F(ChainFile, NoCountIsReportedAtLine134)
{
    for (const char* text :
         {"", "\n", "0 0.5 L 0 0 1 0", "-3 0.5", "L 0 0 1 0", "nan", "-99999999999"}) {
        EXPECT_EQ(ReadReported(text, 134), Chain()) << text;
    }
}

TEST_F(ChainFile, FarArcIsDroppedAndCountsAsRead)
{
    // The segment behind the dropped arc is not reached: two elements have been read.
    const Chain chain = ReadReported("2 0.5 L 0 0 1 0 A 3 0 3 1 2 L 1 0 2 0", 171);
    EXPECT_EQ(chain, Read("1 0.5 L 0 0 1 0"));
}

TEST_F(ChainFile, RefusedSegmentCountsAsRead)
{
    for (const char* refused : {"L 3 0 4 0", "L 1 0 1 0.5"}) { // too far; too short
        const Chain chain =
            ReadReported(std::string("2 0.5 L 0 0 1 0 ") + refused + " L 1 0 2 0", 171);
        EXPECT_EQ(chain, Read("1 0.5 L 0 0 1 0"));
    }
}

TEST_F(ChainFile, TruncatedFileKeepsWhatWasRead)
{
    const Chain whole = Read("1 0.5 L 0 0 1 0");
    const std::string text = "2 0.5 L 0 0 1 0 A 1 0 1 1 2";
    // From the first element's last number to before the second's; a number cut short is another.
    for (std::size_t size = text.find(" A"); size <= text.size() - 2; ++size) {
        EXPECT_EQ(ReadReported(text.substr(0, size), 171), whole) << size;
    }
}

TEST_F(ChainFile, BadNumberEndsTheReading)
{
    const Chain whole = Read("1 0.5 L 0 0 1 0");
    for (const char* bad :
         {"L 1 0 x 1", "A 1 0 1 1 nan", "L 1 0 inf 1", "L 1 0 1e999 1", "A 1 0 1 - 2"}) {
        const Chain chain =
            ReadReported(std::string("3 0.5 L 0 0 1 0 ") + bad + " L 1 0 2 0 L 2 0 3 0", 171);
        EXPECT_EQ(chain, whole) << bad;
    }
}

TEST_F(ChainFile, BadToleranceEndsTheReading)
{
    for (const char* bad : {"- L 0 0 1 0", "1e999 L 0 0 1 0"}) {
        EXPECT_EQ(ReadReported(std::string("1 ") + bad, 171), Chain()) << bad;
    }
    // "nan" is no tolerance but three characters to skip.
    EXPECT_EQ(Read("1 nan L 0 0 1 0"), Read("1 L 0 0 1 0"));
}

TEST_F(ChainFile, LyingCountTakesNoMemory)
{
    const Chain chain = ReadReported("2147483647 0.5 L 0 0 1 0", 171);
    EXPECT_EQ(chain, Read("1 0.5 L 0 0 1 0"));
    EXPECT_EQ(ReadReported("99999999999 0.5 L 0 0 1 0", 171).elements.size(), 0u); // no int
}

TEST_F(ChainFile, MemoryThatRunsOutIsNoEndOfTheFile)
{
    const auto chain = Hairpin<double>();
    ASSERT_TRUE(WritePolySegArcToFile(chain, Path()));
    const std::size_t failures = FailEachAllocation(
        [this] { return Path(); }, [](std::string& path) { (void)ReadPolySegArcFromFile(path); },
        [](const std::string&) {});
    EXPECT_GE(failures, 3U); // the path, the file's buffer, the elements
    EXPECT_EQ(Bits(ReadPolySegArcFromFile(Path())), Bits(chain));
}

TEST_F(ChainFile, MemoryThatRunsOutIsNoFailureToWrite)
{
    const auto chain = Hairpin<double>();
    const std::size_t failures = FailEachAllocation(
        [this] { return Path(); },
        [&](std::string& path) { (void)WritePolySegArcToFile(chain, path); },
        [](const std::string&) {});
    EXPECT_GE(failures, 1U);
}

TEST_F(ChainFile, FolderIsNoFile)
{
    // It may open, but nothing can be read from it.
    const TemporaryFolder folder;
    ExpectAssertions(1);
    EXPECT_EQ(ReadPolySegArcFromFile((folder / "").string()), Chain());
}

} // namespace
