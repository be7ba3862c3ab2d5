// The block-wise parallel ASCII reader against a twin that reads line by line with the streams of
// the standard library, on sound files and on thousands of spoilt ones, for many cuts into blocks
// and pieces.

#include "meshfiles/MeshFiles_Impl.h"

#include "tests/support/FileSupport.h"
#include "tests/support/Rounds.h"
#include "tests/support/TestSupport.h"

#include <cctype>

namespace {

using namespace Velk::Math;
namespace Impl = Sorvane::MeshUtils::Impl;

bool SameWord(const std::string& word, const std::string& keyword)
{
    return std::equal(word.begin(), word.end(), keyword.begin(), keyword.end(), [](char a, char b) {
        return std::tolower(static_cast<unsigned char>(a)) == b;
    });
}

/// One physical line as a stream of words and numbers; a line that is not there is empty.
class Line {
public:
    explicit Line(std::istream& file)
    {
        std::string text;
        std::getline(file, text);
        words_.imbue(std::locale::classic());
        words_.str(text);
    }

    bool Next(const std::string& keyword)
    {
        std::string word;
        words_ >> word;
        return SameWord(word, keyword);
    }

    void Rewind()
    {
        words_.clear();
        words_.seekg(0);
    }

    template <class T>
    VecBase<3, T> Point()
    {
        VecBase<3, T> point;
        words_ >> point[0] >> point[1] >> point[2];
        return point;
    }

private:
    std::istringstream words_;
};

template <class T>
struct Outcome {
    bool success = false;
    std::vector<VecBase<3, T>> points;
    std::vector<int> indices;
};

template <class T>
Outcome<T> ReadWithStreams(const std::string& text)
{
    std::istringstream file(text);
    Outcome<T> outcome;
    std::string firstLine;
    std::getline(file, firstLine);
    if (file.rdstate() != std::ios::goodbit) {
        return outcome;
    }
    for (;;) {
        Line line(file);
        if (!line.Next("facet") || !line.Next("normal")) {
            line.Rewind();
            outcome.success = line.Next("endsolid");
            if (!outcome.success) {
                line.Rewind();
                outcome.success = line.Next("end") && line.Next("solid");
            }
            return outcome;
        }
        Line outerLoop(file);
        if (!outerLoop.Next("outer") || !outerLoop.Next("loop")) {
            return outcome;
        }
        for (int corner = 0; corner < 3; ++corner) {
            Line vertex(file);
            if (!vertex.Next("vertex")) {
                return outcome;
            }
            outcome.indices.push_back(static_cast<int>(outcome.points.size()));
            outcome.points.push_back(vertex.Point<T>());
        }
        if (!Line(file).Next("endloop") || !Line(file).Next("endfacet")) {
            return outcome;
        }
    }
}

template <class T>
void ExpectReadLikeStreams(const std::string& text, std::size_t blockBytes, std::size_t pieceBytes)
{
    const Outcome<T> expected = ReadWithStreams<T>(text);
    Outcome<T> actual;
    Impl::ByteReader bytes(std::as_bytes(std::span(text)));
    actual.success =
        Impl::ReadAsciiStl(bytes, actual.points, actual.indices, blockBytes, pieceBytes);
    ASSERT_EQ(actual.success, expected.success) << text;
    ASSERT_EQ(Support::Bits(actual.points), Support::Bits(expected.points)) << text;
    ASSERT_EQ(actual.indices, expected.indices) << text;
}

std::string PickFrom(Support::Random& random, std::initializer_list<const char*> choices)
{
    return choices.begin()[random.Below(static_cast<int>(choices.size()))];
}

std::string RandomCoordinate(Support::Random& random)
{
    if (random.Below(30) == 0) {
        return PickFrom(random, {"nan", "inf", "1e", "1e400", "-1e-400", "abc", "--1", "1.5.2",
                                 "0x1", "", "-", ".5", "5.", "1\r", "+7", "1e5x", "\xA0", "1-2"});
    }
    std::ostringstream text;
    text.imbue(std::locale::classic());
    text.precision(1 + random.Below(20));
    text << random.Between(-100, 100) * std::pow(10.0, random.Below(10) - 5);
    return text.str();
}

std::string RandomFile(Support::Random& random)
{
    const std::string lineEnd = random.Below(4) == 0 ? "\r\n" : "\n";
    const std::string indent = random.Below(2) == 0 ? "  " : "";
    std::string text = "solid some name" + lineEnd;
    for (int facet = random.Below(12); facet > 0; --facet) {
        text += indent + "facet normal 0 0 1" + lineEnd + indent + "outer loop" + lineEnd;
        for (int corner = 0; corner < 3; ++corner) {
            text += indent + "vertex " + RandomCoordinate(random) + " " + RandomCoordinate(random) +
                    "\t" + RandomCoordinate(random) + lineEnd;
        }
        text += indent + "endloop" + lineEnd + indent + "endfacet" + lineEnd;
    }
    return text +
           PickFrom(random, {"endsolid", "endsolid\n", "end solid\n", "ENDSOLID x\r\n", "", "end"});
}

/// Replaces, inserts, removes or doubles something somewhere.
void Spoil(std::string& text, Support::Random& random)
{
    const auto at = static_cast<std::size_t>(random.Below(static_cast<int>(text.size())));
    const auto length = std::min(text.size() - at, static_cast<std::size_t>(random.Below(40)));
    switch (random.Below(8)) {
    case 0:
        text[at] = static_cast<char>(random.Bits());
        break;
    case 1:
        text.erase(at, length);
        break;
    case 2:
        text.insert(at, text.substr(at, length));
        break;
    case 3:
        text.resize(at);
        break;
    case 4:
        text.insert(at, PickFrom(random, {"\n", "\r", "\n\n", " ", "facet normal 0 0 1\n", "vertex",
                                          "endsolid\n", "\nend solid\n", "e", "."}));
        break;
    case 5: // in other letters
        for (std::size_t i = at; i < at + length; ++i) {
            text[i] = static_cast<char>(std::toupper(static_cast<unsigned char>(text[i])));
        }
        break;
    case 6:
        text.insert(at, std::string(static_cast<std::size_t>(random.Below(3)), '\0'));
        break;
    default: { // without one line end
        const std::size_t lineEnd = text.find('\n', at);
        if (lineEnd != std::string::npos) {
            text.erase(lineEnd, 1);
        }
        break;
    }
    }
}

template <class T>
class AsciiStlParser : public testing::Test {
};
using Scalars = testing::Types<float, double>;
TYPED_TEST_SUITE(AsciiStlParser, Scalars);

TYPED_TEST(AsciiStlParser, SoundAndSpoiltFilesReadLikeStreams)
{
    Support::Random random(21);
    constexpr std::size_t kBlocks[] = {1, 7, 64, 300, 1000, 1U << 20U};
    constexpr std::size_t kPieces[] = {1, 30, 200, 1U << 20U};
    for (int trial = 0; trial < Support::Rounds(10'000) && !this->HasFatalFailure(); ++trial) {
        SCOPED_TRACE(trial);
        std::string text = RandomFile(random);
        for (int spoils = random.Below(4); spoils > 0 && !text.empty(); --spoils) {
            Spoil(text, random);
        }
        ExpectReadLikeStreams<TypeParam>(text, kBlocks[random.Below(6)], kPieces[random.Below(4)]);
    }
}

TYPED_TEST(AsciiStlParser, EveryCutOfAFileReadsLikeStreams)
{
    const std::string text =
        "solid\n"
        "facet normal 0 0 1\n outer loop\n vertex 1 2 3\n vertex 4 5 6\n"
        " vertex 7 8 9\n endloop\n endfacet\n"
        "facet normal 0 0 1\r\n outer loop\r\n vertex 1 2 3\r\n vertex 4 5 6\r\n"
        " vertex 7 8 9\r\n endloop\r\n endfacet\r\n"
        "endsolid\n";
    for (std::size_t size = 0; size <= text.size() && !this->HasFatalFailure(); ++size) {
        for (const std::size_t blockBytes : {1U, 2U, 3U, 50U, 4096U}) {
            ExpectReadLikeStreams<TypeParam>(text.substr(0, size), blockBytes, 20);
        }
    }
}

TYPED_TEST(AsciiStlParser, AFacetWithinAFacetEndsReadingAtAPieceBoundary)
{
    // The second "facet" line, where a piece may begin, comes where a vertex is due.
    const std::string text =
        "solid\nfacet normal 0 0 1\nouter loop\nvertex 1 2 3\n"
        "facet normal 0 0 1\nouter loop\nvertex 4 5 6\nvertex 4 5 6\nvertex 4 5 6\n"
        "endloop\nendfacet\nendsolid\n";
    for (std::size_t pieceBytes = 1; pieceBytes < text.size(); ++pieceBytes) {
        ExpectReadLikeStreams<TypeParam>(text, 4096, pieceBytes);
    }
}

} // namespace
