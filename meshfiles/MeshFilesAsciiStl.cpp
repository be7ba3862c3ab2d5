// ASCII STL: one statement a line, seven lines a facet.
//
// Reading. The text comes in blocks of whole lines. A block is cut at lines that begin with
// "facet", its pieces are parsed side by side, each into points of its own, and joined in order. A
// cut that is not the beginning of a facet does no harm: there the piece before it ends where a
// "facet" line is an error anyway, so reading ends where line-by-line reading would.
//
// Every line ends with '\n', so scanning needs no other end: no blank, digit or letter equals it. A
// last line without one gets it.

#include <Sorvane/MeshFiles_E.h>

#include "mathbase/Progress_Impl.h"
#include "meshfiles/AvailableMemory_Impl.h"
#include "meshfiles/MeshFiles_Impl.h"
#include "meshfiles/NumberText_Impl.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <numeric>
#include <span>
#include <string_view>

namespace Velk::Math::Sorvane::MeshUtils {
namespace Impl {
namespace {

/// Moves `at` behind the next word when that is `keyword` (lower-case letters) in any case. A word
/// goes on to the next white space. Never leaves the line.
template <std::size_t N>
bool TakeKeyword(const char*& at, const char (&keyword)[N])
{
    const char* p = SkipBlanks(at);
    for (std::size_t i = 0; i + 1 < N; ++i, ++p) {
        if ((*p | 0x20) != keyword[i]) { // only the two cases of a letter give the lower one
            return false;
        }
    }
    if (!IsBlank(*p) && *p != '\n') {
        return false;
    }
    at = p;
    return true;
}

/// Beginning of the line after the one that `at` lies in.
const char* NextLine(const char* at, const char* end)
{
    if (*at == '\n') {
        return at + 1;
    }
    const void* lineEnd = std::memchr(at, '\n', static_cast<std::size_t>(end - at));
    return static_cast<const char*>(lineEnd) + 1;
}

enum class Outcome { GoesOn, EndsWell, Fails };

/// Which line is due. `Solid` is what a file of several solids begins with, and what follows each.
enum class Line {
    Solid,
    Facet,
    OuterLoop,
    FirstVertex,
    SecondVertex,
    ThirdVertex,
    EndLoop,
    EndFacet
};

/// The two ways to read. `OneSolid` is that of `ReadFromASCIISTL`: it looks at no more of a line
/// than it needs and stops at the first end. `AllSolids` is that of `ReadMesh`: nothing may stand
/// where it does not belong, and a solid may follow on a solid.
enum class Rules { OneSolid, AllSolids };

/// What the lines have led to so far.
struct Progress {
    Outcome outcome = Outcome::GoesOn;
    Line due = Line::Facet;
    std::uint64_t linesBefore = 0;    ///< how many lines were gone through
    const char* failedLine = nullptr; ///< the line that fails
    bool isNumberTooLarge = false;    ///< it is a vertex with a number too large for its type
};

/// True for the line where a facet could begin when it ends the solid: "endsolid" or "end solid".
bool EndsSolid(const char* line)
{
    if (const char* at = line; TakeKeyword(at, "endsolid")) {
        return true;
    }
    const char* at = line;
    return TakeKeyword(at, "end") && TakeKeyword(at, "solid");
}

bool IsLineEnd(const char* at) { return *SkipBlanks(at) == '\n'; }

/// What a stream leaves in the coordinates: those after the first failure stay 0.
template <class T>
VecBase<3, T> ReadCoordinates(const char*& at)
{
    VecBase<3, T> point;
    for (int axis = 0; axis < 3 && ReadNumber(at, point[axis]); ++axis) {
    }
    return point;
}

/// True when a number that was read up to `at` ends there.
bool EndsNumber(const char* at) { return IsBlank(*at) || *at == '\n'; }

/// Exactly three numbers up to the line's end, each followed by white space. Where that is not so,
/// `isTooLarge` tells whether a number too large for T is the reason.
template <class T>
bool TakeThreeNumbers(const char*& at, VecBase<3, T>& point, bool& isTooLarge)
{
    for (int axis = 0; axis < 3; ++axis) {
        if (!ReadNumber(at, point[axis])) {
            // Only a number that is too large leaves one in the coordinate.
            isTooLarge = EndsNumber(at) && point[axis] != T(0);
            return false;
        }
        if (!EndsNumber(at)) {
            return false;
        }
    }
    return IsLineEnd(at);
}

/// Goes through the whole lines in [at, end) and appends the points of their vertices.
template <Rules kRules, class T>
Progress ParseLines(const char* at, const char* end, Line due, std::vector<VecBase<3, T>>& points)
{
    constexpr bool kIsStrict = kRules == Rules::AllSolids;
    Progress progress;
    for (; at != end; at = NextLine(at, end), ++progress.linesBefore) {
        const char* const line = at;
        const Line dueHere = due;
        bool isDue = false;
        switch (due) {
        case Line::Solid:
            isDue = TakeKeyword(at, "solid");
            due = Line::Facet;
            break;
        case Line::Facet:
            isDue = TakeKeyword(at, "facet") && TakeKeyword(at, "normal");
            due = Line::OuterLoop;
            if (!isDue && EndsSolid(line)) {
                if (!kIsStrict) {
                    progress.outcome = Outcome::EndsWell;
                    return progress;
                }
                at = line;
                isDue = true;
                due = Line::Solid;
            }
            break;
        case Line::OuterLoop:
            isDue = TakeKeyword(at, "outer") && TakeKeyword(at, "loop") &&
                    (!kIsStrict || IsLineEnd(at));
            due = Line::FirstVertex;
            break;
        case Line::FirstVertex:
        case Line::SecondVertex:
        case Line::ThirdVertex:
            isDue = TakeKeyword(at, "vertex");
            if (isDue && kIsStrict) {
                VecBase<3, T> point;
                isDue = TakeThreeNumbers(at, point, progress.isNumberTooLarge);
                points.push_back(point);
            } else if (isDue) {
                points.push_back(ReadCoordinates<T>(at));
            }
            due = static_cast<Line>(static_cast<int>(due) + 1);
            break;
        case Line::EndLoop:
            isDue = TakeKeyword(at, "endloop") && (!kIsStrict || IsLineEnd(at));
            due = Line::EndFacet;
            break;
        case Line::EndFacet:
            isDue = TakeKeyword(at, "endfacet") && (!kIsStrict || IsLineEnd(at));
            due = Line::Facet;
            break;
        }
        if (!isDue && kIsStrict && IsLineEnd(line)) {
            at = line; // blank lines may stand anywhere
            due = dueHere;
        } else if (!isDue) {
            progress.outcome = Outcome::Fails;
            progress.failedLine = line;
            return progress;
        }
    }
    progress.due = due;
    return progress;
}

/// Whole lines out of a reader, block by block.
class LineBlocks {
public:
    /// Ends before a line of more than `longestLine` bytes.
    LineBlocks(ByteReader& file, std::size_t blockBytes, std::size_t longestLine)
        : file_(file), buffer_(FirstBlockBytes(file, blockBytes)), longestLine_(longestLine)
    {
    }

    /// Passes over the first line; false when the file ends before or with it.
    bool SkipFirstLine()
    {
        for (;;) {
            size_ = file_.Read(buffer_.data(), buffer_.size());
            if (const void* end = std::memchr(buffer_.data(), '\n', size_)) {
                begin_ =
                    static_cast<std::size_t>(static_cast<const char*>(end) + 1 - buffer_.data());
                return true;
            }
            if (size_ < buffer_.size()) {
                return false;
            }
        }
    }

    /// The next whole lines, each with its '\n'; empty at the end. Valid until the next call.
    std::span<const char> Next()
    {
        std::size_t lineEnd = EndOfLastLine();
        while (lineEnd == begin_ && !atEnd_ && !isLineTooLong_) {
            Fill();
            lineEnd = EndOfLastLine();
        }
        const std::span<const char> lines(buffer_.data() + begin_, lineEnd - begin_);
        begin_ = lineEnd;
        return lines;
    }

    bool IsLineTooLong() const { return isLineTooLong_; }
    /// True once the file's last line was among those given out, if that line had no line end.
    bool HasOpenLastLine() const { return hasOpenLastLine_; }

private:
    /// A small file needs a small buffer, with room to notice the end.
    static std::size_t FirstBlockBytes(const ByteReader& file, std::size_t blockBytes)
    {
        const std::uint64_t size = file.SizeHint();
        return size > 0 && size < blockBytes ? static_cast<std::size_t>(size) + 1 : blockBytes;
    }

    /// Behind the last '\n' in the buffer, or the beginning when no line is whole.
    std::size_t EndOfLastLine() const
    {
        std::size_t end = size_;
        while (end > begin_ && buffer_[end - 1] != '\n') {
            --end;
        }
        return end;
    }

    /// Puts the broken line to the front, in twice the room when it fills all there is, and reads
    /// on.
    void Fill()
    {
        std::copy(buffer_.begin() + static_cast<std::ptrdiff_t>(begin_),
                  buffer_.begin() + static_cast<std::ptrdiff_t>(size_), buffer_.begin());
        size_ -= begin_;
        begin_ = 0;
        if (size_ == buffer_.size()) {
            isLineTooLong_ = size_ > longestLine_;
            if (isLineTooLong_) {
                return;
            }
            RequireMemory(2 * buffer_.size()); // a file without line ends goes on growing this
            buffer_.resize(2 * buffer_.size());
        }
        const std::size_t room = buffer_.size() - size_;
        const std::size_t arrived = file_.Read(buffer_.data() + size_, room);
        size_ += arrived;
        atEnd_ = arrived < room;
        if (atEnd_ && size_ > 0 && buffer_[size_ - 1] != '\n') {
            buffer_[size_] = '\n'; // there is room: the read fell short
            ++size_;
            hasOpenLastLine_ = true;
        }
    }

    ByteReader& file_;
    std::vector<char> buffer_;
    std::size_t begin_ = 0;
    std::size_t size_ = 0;
    bool atEnd_ = false;
    std::size_t longestLine_;
    bool isLineTooLong_ = false;
    bool hasOpenLastLine_ = false;
};

/// Beginnings of pieces of `lines` of about `pieceBytes`: the front, and lines that begin with
/// "facet".
std::vector<const char*> PieceBegins(std::span<const char> lines, std::size_t pieceBytes)
{
    const char* const end = lines.data() + lines.size();
    std::vector<const char*> begins{lines.data()};
    while (static_cast<std::size_t>(end - begins.back()) > pieceBytes) {
        const char* line = NextLine(begins.back() + pieceBytes - 1, end);
        for (const char* word = line; line != end && !TakeKeyword(word, "facet"); word = line) {
            line = NextLine(line, end);
        }
        if (line == end) {
            break;
        }
        begins.push_back(line);
    }
    return begins;
}

/// Parses blocks piece by piece; keeps the room of the pieces from block to block.
template <Rules kRules, class T>
class BlockParser {
public:
    explicit BlockParser(std::size_t pieceBytes) : pieceBytes_(std::max<std::size_t>(pieceBytes, 1))
    {
    }

    /// Appends the points of the vertices in `lines`, as far as they go on without an error or end.
    void Parse(std::span<const char> lines, Progress& progress, std::vector<VecBase<3, T>>& points)
    {
        const std::vector<const char*> begins = PieceBegins(lines, pieceBytes_);
        if (begins.size() == 1) {
            GoOn(progress, ParseLines<kRules>(lines.data(), lines.data() + lines.size(),
                                              progress.due, points));
            return;
        }
        pieces_.resize(std::max(pieces_.size(), begins.size()));
        Parallel::Impl::ApplyParallel(std::size_t{0}, begins.size(), [&](std::size_t i) {
            const char* const end =
                i + 1 < begins.size() ? begins[i + 1] : lines.data() + lines.size();
            pieces_[i].points.clear();
            pieces_[i].progress = ParseLines<kRules>(
                begins[i], end, i == 0 ? progress.due : Line::Facet, pieces_[i].points);
        });
        for (std::size_t i = 0; i < begins.size(); ++i) {
            if (i > 0 && progress.due != Line::Facet) {
                progress.outcome = Outcome::Fails; // this piece begins with a "facet" line
                progress.failedLine = begins[i];
                return;
            }
            points.insert(points.end(), pieces_[i].points.begin(), pieces_[i].points.end());
            GoOn(progress, pieces_[i].progress);
            if (progress.outcome != Outcome::GoesOn) {
                return;
            }
        }
    }

private:
    struct Piece {
        Progress progress;
        std::vector<VecBase<3, T>> points;
    };

    static void GoOn(Progress& progress, const Progress& further)
    {
        const std::uint64_t linesBefore = progress.linesBefore + further.linesBefore;
        progress = further;
        progress.linesBefore = linesBefore;
    }

    std::size_t pieceBytes_;
    std::vector<Piece> pieces_;
};

/// No line of an ASCII STL that means anything is as long as that, whatever it is named.
constexpr std::size_t kLongestLine = std::size_t{1} << 16U;

/// Makes room for the points of the whole file, judged by those of its first lines, so that they
/// are not copied as the array grows. Only where memory is plenty: the rest of the file may be
/// anything.
template <class T>
void ReserveForWholeFile(const ByteReader& file, std::size_t linesRead,
                         std::vector<VecBase<3, T>>& points, std::vector<int>& indices)
{
    const double share = static_cast<double>(file.SizeHint()) / static_cast<double>(linesRead);
    const double expected = static_cast<double>(points.size()) * share * 1.03;
    const double bytes = expected * (sizeof(VecBase<3, T>) + sizeof(int));
    constexpr double kHuge =
        1e18; // can be told from the largest integer, and there is no such memory
    if (share > 2 && bytes < kHuge && HasMemory(2 * static_cast<std::uint64_t>(bytes))) {
        ReserveForReading(points, static_cast<std::size_t>(expected));
        ReserveForReading(indices, static_cast<std::size_t>(expected));
    }
}

void AppendNumbersUpTo(std::size_t count, std::vector<int>& numbers)
{
    const std::size_t first = numbers.size();
    numbers.resize(count);
    std::iota(numbers.begin() + static_cast<std::ptrdiff_t>(first), numbers.end(),
              static_cast<int>(first));
}

} // namespace

template <class T>
bool ReadAsciiStl(ByteReader& file, std::vector<VecBase<3, T>>& points, std::vector<int>& indices,
                  std::size_t blockBytes, std::size_t pieceBytes)
{
    LineBlocks blocks(file, blockBytes, std::numeric_limits<std::size_t>::max());
    if (!blocks.SkipFirstLine()) {
        return false;
    }
    BlockParser<Rules::OneSolid, T> parser(pieceBytes);
    Progress progress;
    while (progress.outcome == Outcome::GoesOn) {
        const std::span<const char> lines = blocks.Next();
        if (lines.empty()) {
            break; // the file ends before an end line
        }
        const bool isFirst = points.empty();
        parser.Parse(lines, progress, points);
        if (isFirst && progress.outcome == Outcome::GoesOn) {
            ReserveForWholeFile(file, lines.size(), points, indices);
        }
        AppendNumbersUpTo(points.size(), indices);
    }
    return progress.outcome == Outcome::EndsWell;
}

template bool ReadAsciiStl(ByteReader&, std::vector<VecBase<3, float>>&, std::vector<int>&,
                           std::size_t, std::size_t);
template bool ReadAsciiStl(ByteReader&, std::vector<VecBase<3, double>>&, std::vector<int>&,
                           std::size_t, std::size_t);

template <class T>
MeshFileResult ReadAsciiSolids(ByteReader& file, std::vector<VecBase<3, T>>& points,
                               std::vector<int>& indices, std::size_t blockBytes,
                               std::size_t pieceBytes)
{
    MeshFileResult result;
    result.form = MeshFileForm::AsciiStl;
    LineBlocks blocks(file, blockBytes, kLongestLine);
    BlockParser<Rules::AllSolids, T> parser(pieceBytes);
    Progress progress;
    progress.due = Line::Solid;
    std::span<const char> lines;
    std::size_t bytesBefore = 0;
    for (lines = blocks.Next(); !lines.empty() && progress.outcome == Outcome::GoesOn;
         lines = blocks.Next()) {
        Velk::Progress::Impl::Check(file.SizeHint() > 0 ? static_cast<double>(bytesBefore) /
                                                              static_cast<double>(file.SizeHint())
                                                        : 0.0);
        bytesBefore += lines.size();
        const bool isFirst = points.empty();
        parser.Parse(lines, progress, points);
        if (points.size() > static_cast<std::size_t>(std::numeric_limits<int>::max())) {
            result.error = MeshFileError::TooLarge;
            return result;
        }
        if (progress.outcome == Outcome::Fails) {
            break;
        }
        if (isFirst) {
            ReserveForWholeFile(file, lines.size(), points, indices);
        }
        AppendNumbersUpTo(points.size(), indices);
    }
    if (file.Error()) {
        result.error = MeshFileError::ReadFailed;
        result.system = file.Error();
    } else if (progress.outcome == Outcome::Fails || blocks.IsLineTooLong()) {
        // What goes wrong in a last line without a line end is that the rest of it is not there.
        const bool isLastLine = progress.failedLine != nullptr &&
                                NextLine(progress.failedLine, lines.data() + lines.size()) ==
                                    lines.data() + lines.size();
        result.error = isLastLine && blocks.HasOpenLastLine() ? MeshFileError::CutShort
                       : progress.isNumberTooLarge            ? MeshFileError::NotFinite
                                                              : MeshFileError::Malformed;
        result.place =
            result.error == MeshFileError::NotFinite ? points.size() - 1 : progress.linesBefore + 1;
    } else if (progress.due != Line::Solid) {
        result.error = MeshFileError::CutShort;
        result.place = std::max<std::uint64_t>(progress.linesBefore, 1); // the last line
    } else if (points.empty()) {
        result.error = MeshFileError::NoTriangles;
    }
    return result;
}

template MeshFileResult ReadAsciiSolids(ByteReader&, std::vector<VecBase<3, float>>&,
                                        std::vector<int>&, std::size_t, std::size_t);
template MeshFileResult ReadAsciiSolids(ByteReader&, std::vector<VecBase<3, double>>&,
                                        std::vector<int>&, std::size_t, std::size_t);

namespace {

/// Unit normal of a facet, or zero where it is degenerate. The floor is that of an area for
/// `double` and of a doubled area for `float`.
VecBase<3, double> FacetNormal(const VecBase<3, double>& p0, const VecBase<3, double>& p1,
                               const VecBase<3, double>& p2)
{
    return NormalOfFacet(((p1 - p0) ^ (p2 - p0)) / 2.0, kLengthFloor<double>, p0, p1, p2);
}

VecBase<3, float> FacetNormal(const VecBase<3, float>& p0, const VecBase<3, float>& p1,
                              const VecBase<3, float>& p2)
{
    return NormalOfFacet((p1 - p0) ^ (p2 - p0), kLengthFloor<float>, p0, p1, p2);
}

char* WriteText(char* to, std::string_view text)
{
    std::memcpy(to, text.data(), text.size());
    return to + text.size();
}

/// "<keyword> x y z" and the line's end; the keyword brings its own blanks.
template <AsciiDigits kDigits, class T>
char* WriteStatement(char* to, std::string_view keyword, const VecBase<3, T>& v)
{
    to = WriteText(to, keyword);
    for (const T component : v) {
        if constexpr (kDigits == AsciiDigits::Seven) {
            to = WriteNumber7(to, static_cast<double>(component));
        } else {
            to = std::to_chars(to, to + kLongestNumber, component).ptr;
        }
        *to++ = ' ';
    }
    to[-1] = '\n';
    return to;
}

template <AsciiDigits kDigits, class T>
char* WriteFacet(char* to, const VecBase<3, T>& p0, const VecBase<3, T>& p1,
                 const VecBase<3, T>& p2)
{
    to = WriteStatement<AsciiDigits::Seven>(to, "    facet normal ", FacetNormal(p0, p1, p2));
    to = WriteText(to, "        outer loop\n");
    to = WriteStatement<kDigits>(to, "            vertex ", p0);
    to = WriteStatement<kDigits>(to, "            vertex ", p1);
    to = WriteStatement<kDigits>(to, "            vertex ", p2);
    return WriteText(to, "        endloop\n    endfacet\n");
}

/// Room for the longest facet: twelve numbers with their separators, and less than 160 characters
/// of words and blanks.
constexpr std::size_t kLongestFacet = 12 * (kLongestNumber + 1) + 160;

template <AsciiDigits kDigits, class T>
void WriteFacets(ByteWriter& file, const std::vector<VecBase<3, T>>& points,
                 const std::vector<int>& indices)
{
    const auto writeFacet = [&points, &indices](std::size_t triangle, char* to) {
        const auto corner = [&](std::size_t i) -> const VecBase<3, T>& {
            return points[static_cast<std::size_t>(indices[3 * triangle + i])];
        };
        return WriteFacet<kDigits>(to, corner(0), corner(1), corner(2));
    };
    WriteItems<char>(file, indices.size() / 3, kLongestFacet, writeFacet);
}

} // namespace

template <class T>
void WriteAsciiStl(ByteWriter& file, const std::vector<VecBase<3, T>>& points,
                   const std::vector<int>& indices, AsciiDigits digits)
{
    file.Write("solid ascii\n");
    if (digits == AsciiDigits::Seven) {
        WriteFacets<AsciiDigits::Seven>(file, points, indices);
    } else {
        WriteFacets<AsciiDigits::Shortest>(file, points, indices);
    }
    file.Write("endsolid ascii\n");
}

template void WriteAsciiStl(ByteWriter&, const std::vector<VecBase<3, float>>&,
                            const std::vector<int>&, AsciiDigits);
template void WriteAsciiStl(ByteWriter&, const std::vector<VecBase<3, double>>&,
                            const std::vector<int>&, AsciiDigits);

} // namespace Impl

template <class T>
bool ReadFromASCIISTL(std::vector<VecBase<3, T>>& points, std::vector<int>& indices,
                      const std::filesystem::path& path)
{
    Impl::ClearedOutputs outputs(points, indices);
    Impl::ByteReader file(path);
    const bool isRead =
        file.IsOpen() &&
        Impl::ReadAsciiStl(file, points, indices, Impl::kAsciiBlockBytes, Impl::kAsciiPieceBytes);
    outputs.Keep(); // also what was read before an error in the file
    return isRead;
}

template <class T>
bool WriteToASCIISTL(const std::vector<VecBase<3, T>>& points, const std::vector<int>& indices,
                     const std::filesystem::path& path)
{
    Impl::ByteWriter file(path);
    if (file.IsOpen()) {
        Impl::WriteAsciiStl(file, points, indices, Impl::AsciiDigits::Seven);
    }
    return true;
}

#define SORVANE_INSTANTIATE(T)                                                                \
    template bool ReadFromASCIISTL(std::vector<VecBase<3, T>>&, std::vector<int>&,            \
                                   const std::filesystem::path&);                             \
    template bool WriteToASCIISTL(const std::vector<VecBase<3, T>>&, const std::vector<int>&, \
                                  const std::filesystem::path&);
SORVANE_INSTANTIATE(float)
SORVANE_INSTANTIATE(double)
#undef SORVANE_INSTANTIATE

} // namespace Velk::Math::Sorvane::MeshUtils
