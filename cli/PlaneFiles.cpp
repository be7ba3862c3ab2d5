#include "PlaneFiles.h"

#include <Sorvane/PolyArcSeg_E.h>
#include <Velk/Math/Vector_E.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <optional>
#include <type_traits>
#include <utility>

namespace Cli {

namespace {

using namespace Velk::Math::Sorvane;

constexpr std::string_view kBlanks = " \t\r";

std::string_view Trimmed(std::string_view text)
{
    const std::size_t from = text.find_first_not_of(kBlanks);
    return from == std::string_view::npos
               ? std::string_view()
               : text.substr(from, text.find_last_not_of(kBlanks) + 1 - from);
}

/// Does a comma stand in a field between semicolons? Where numbers are written with decimal commas
/// tables have semicolons: taken for a separator as well, the comma would make two numbers of one.
bool HasDecimalCommas(std::string_view line)
{
    return line.find(';') != std::string_view::npos && line.find(',') != std::string_view::npos &&
           line.find_first_of("0123456789") != std::string_view::npos;
}

/// The fields of a line: with a comma or semicolon in it those between them, otherwise the words.
std::vector<std::string_view> FieldsOf(std::string_view line)
{
    std::vector<std::string_view> fields;
    const bool hasSeparators = line.find_first_of(",;") != std::string_view::npos;
    while (hasSeparators || !(line = Trimmed(line)).empty()) {
        const std::size_t end = line.find_first_of(hasSeparators ? ",;" : kBlanks);
        fields.push_back(Trimmed(line.substr(0, end)));
        if (end == std::string_view::npos) {
            break;
        }
        line.remove_prefix(end + 1);
    }
    return fields;
}

/// Calls use(line, number of the line) for each line without its comment; an empty line is given as
/// such, one with nothing but a comment not at all.
template <class Use>
void ForEachLine(std::string_view text, const Use& use)
{
    constexpr std::string_view kByteOrderMark = "\xef\xbb\xbf"; // as some editors begin files
    text.remove_prefix(text.starts_with(kByteOrderMark) ? kByteOrderMark.size() : 0);
    std::size_t number = 0;
    while (!text.empty()) {
        const std::size_t end = text.find('\n');
        const std::string_view whole = text.substr(0, end);
        const std::string_view line = Trimmed(whole.substr(0, whole.find('#')));
        ++number;
        if (!line.empty() || Trimmed(whole).empty()) {
            use(line, number);
        }
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    }
}

[[noreturn]] void EndUnreadable(const std::string& path, const std::string& reason)
{
    throw Failure(Exit::Files, NameOf(path) + ": " + reason);
}

[[noreturn]] void Refuse(const std::string& path, std::size_t line, const std::string& reason)
{
    EndUnreadable(path, "line " + std::to_string(line) + " " + reason);
}

/// Is one of the fields a number, be it not finite?
bool HasNumber(const std::vector<std::string_view>& fields)
{
    return std::any_of(fields.begin(), fields.end(), [](std::string_view field) {
        double number = 0;
        const char* const end = field.data() + field.size();
        return !field.empty() && std::from_chars(field.data(), end, number).ptr == end;
    });
}

template <int N>
std::vector<std::vector<Velk::Math::VecBase<N, double>>> PolylinesOf(std::string_view text,
                                                                     const std::string& path)
{
    std::vector<std::vector<Velk::Math::VecBase<N, double>>> lines;
    if (text.starts_with("solid")) {
        EndUnreadable(path, "is a mesh; give a file of points, one to a line");
    }
    bool isInLine = false;
    bool isFirst = true;
    ForEachLine(text, [&](std::string_view line, std::size_t number) {
        if (line.empty()) {
            isInLine = false;
            return;
        }
        if (HasDecimalCommas(line)) {
            Refuse(path, number, "has commas between semicolons; write decimals with a point");
        }
        const std::vector<std::string_view> fields = FieldsOf(line);
        const bool isHeading = std::exchange(isFirst, false) && !HasNumber(fields);
        if (isHeading || (N == 3 && fields.size() > 2 && fields[2].empty())) {
            return;
        }
        Velk::Math::VecBase<N, double> point;
        for (int k = 0; k < N; ++k) {
            const auto place = static_cast<std::size_t>(k);
            const auto value = place < fields.size() ? NumberOf(fields[place]) : std::nullopt;
            if (!value) {
                Refuse(path, number,
                       "does not begin with " + std::to_string(N) +
                           " finite numbers; give one "
                           "point to a line");
            }
            point[k] = *value;
        }
        if (!isInLine) {
            lines.emplace_back();
        }
        isInLine = true;
        lines.back().push_back(point);
    });
    return lines;
}

template <int N>
std::vector<Velk::Math::VecBase<N, double>> PointsOf(Session& session, const std::string& path)
{
    std::vector<Velk::Math::VecBase<N, double>> points;
    for (const auto& line : PolylinesOf<N>(session.ReadText(path), path)) {
        points.insert(points.end(), line.begin(), line.end());
    }
    if (points.empty()) {
        EndUnreadable(path, "holds no points; give one to a line");
    }
    return points;
}

bool IsChainText(std::string_view text)
{
    bool isChain = false;
    ForEachLine(text, [&](std::string_view line, std::size_t) {
        if (line.starts_with('L') || line.starts_with('A')) {
            const std::vector<std::string_view> fields = FieldsOf(line);
            isChain = isChain || ((fields[0] == "L" || fields[0] == "A") && HasNumber(fields));
        }
    });
    return isChain;
}

double GapBefore(const Chain& chain, const Vec2d& start)
{
    return chain.elements.empty()
               ? 0
               : Velk::Math::Vector::Length(chain.elements.back().EndPoint() - start);
}

bool AreNear(const Vec2d& a, const Vec2d& b, double tolerance)
{
    return Velk::Math::Vector::Length(a - b) <= tolerance;
}

using Segment = Velk::Math::Geometry::SegBase<double>;

/// Reads the lines of chains one after the other.
class ChainReader {
public:
    ChainReader(const std::string& path, double tolerance) : path_(path), tolerance_(tolerance) {}

    void Take(std::string_view line, std::size_t number)
    {
        if (line.empty()) {
            return;
        }
        line_ = number;
        if (HasDecimalCommas(line)) {
            Refuse(path_, line_, "has commas between semicolons; write decimals with a point");
        }
        const std::vector<std::string_view> fields = FieldsOf(line);
        missing_ == 0 ? Begin(fields) : Append(fields);
    }

    std::vector<Chain> Chains()
    {
        if (missing_ > 0) {
            EndUnreadable(path_, "is cut short: " + std::to_string(missing_) +
                                     " elements of chain " + std::to_string(chains_.size()) +
                                     " are missing");
        }
        return std::move(chains_);
    }

private:
    void Begin(const std::vector<std::string_view>& fields)
    {
        const auto count = NumberOf(fields.front());
        const auto tolerance = fields.size() > 1 ? NumberOf(fields[1]) : std::optional(1e-12);
        const bool isCount = count && *count >= 1 && *count <= 1e9 && *count == std::floor(*count);
        if (!isCount || !tolerance || *tolerance < 0) {
            Refuse(path_, line_, "is not the number of elements of a chain and its tolerance");
        }
        chains_.emplace_back();
        chains_.back().tolerance = std::max(*tolerance, tolerance_);
        missing_ = static_cast<std::size_t>(*count);
    }

    void Append(const std::vector<std::string_view>& fields)
    {
        const bool isArc = fields.front() == "A";
        std::array<double, 5> numbers{};
        const std::size_t count = isArc ? 5 : 4;
        bool isElement = (isArc || fields.front() == "L") && fields.size() == count + 1;
        for (std::size_t i = 0; isElement && i < count; ++i) {
            const auto number = NumberOf(fields[i + 1]);
            isElement = number.has_value();
            numbers[i] = number.value_or(0);
        }
        if (!isElement) {
            Refuse(path_, line_,
                   "is no element: L and 4 numbers, start and end, or A and 5, start, center and "
                   "signed length");
        }
        const Vec2d start(numbers[0], numbers[1]);
        const Vec2d second(numbers[2], numbers[3]);
        if (isArc) {
            AppendOrRefuse(
                start, [&](Chain& chain) { return chain.AppendArc(second, start, numbers[4]); });
        } else if (!AppendOrRefuse(
                       start, [&](Chain& chain) { return chain.AppendSegment(start, second); })) {
            leftOut_ = Segment{chains_.back().elements.back().EndPoint(), second};
        }
        if (--missing_ == 0) {
            End();
        }
    }

    /// Is the element appended? A segment no longer than the tolerance is not: the chain can do
    /// without it, as long as what follows begins near the end of what is there. Where it does not,
    /// the segment that was left out is appended after all.
    template <class AppendTo>
    bool AppendOrRefuse(const Vec2d& start, const AppendTo& appendTo)
    {
        Chain& chain = chains_.back();
        const double gap = GapBefore(chain, start);
        if (gap > chain.tolerance && leftOut_ && AreNear(leftOut_->end, start, chain.tolerance)) {
            chain.elements.emplace_back(*leftOut_);
            leftOut_.reset();
        } else if (gap > chain.tolerance) {
            Refuse(path_, line_,
                   "begins " + NumberText(gap) +
                       " from the end of the element before; raise "
                       "--tolerance above that, or mend the file");
        }
        const bool isAppended = appendTo(chain);
        if (isAppended) {
            leftOut_.reset();
        }
        return isAppended;
    }

    /// The chain is complete: a segment that was left out at its end may be what closes it.
    void End()
    {
        Chain& chain = chains_.back();
        if (leftOut_ && !chain.IsClosed()) {
            chain.elements.emplace_back(*leftOut_);
            if (!chain.IsClosed()) {
                chain.elements.pop_back();
            }
        }
        leftOut_.reset();
    }

    const std::string& path_;
    double tolerance_ = 0;
    std::size_t line_ = 0;
    std::size_t missing_ = 0;
    std::optional<Segment> leftOut_; // from the chain's end on
    std::vector<Chain> chains_;
};

std::vector<Chain> ChainsOf(std::string_view text, const std::string& path, double tolerance)
{
    ChainReader reader(path, tolerance);
    ForEachLine(text,
                [&](std::string_view line, std::size_t number) { reader.Take(line, number); });
    return reader.Chains();
}

Loops PolylinesOrEnd(std::string_view text, const std::string& path)
{
    Loops lines = PolylinesOf<2>(text, path);
    if (lines.empty()) {
        EndUnreadable(path, "holds no points; give one to a line");
    }
    return lines;
}

template <class Point>
std::string TextOf(const std::vector<std::vector<Point>>& lines, bool isClosed)
{
    constexpr int kDimension = std::is_same_v<Point, Vec2d> ? 2 : 3;
    std::string text;
    const auto append = [&](const Point& point) {
        for (int k = 0; k < kDimension; ++k) {
            text.append(k > 0 ? " " : "").append(NumberText(point[k]));
        }
        text += '\n';
    };
    for (const std::vector<Point>& line : lines) {
        text.append(text.empty() ? "" : "\n");
        for (const Point& point : line) {
            append(point);
        }
        if (isClosed && !line.empty() && !(line.front() == line.back() && line.size() > 1)) {
            append(line.front());
        }
    }
    return text;
}

} // namespace

std::vector<Vec2d> ReadPlanePoints(Session& session, const std::string& path)
{
    return PointsOf<2>(session, path);
}
std::vector<Vec3d> ReadSpacePoints(Session& session, const std::string& path)
{
    return PointsOf<3>(session, path);
}

Loops ReadPolylines(Session& session, const std::string& path)
{
    return PolylinesOrEnd(session.ReadText(path), path);
}

std::vector<Chain> ReadChains(Session& session, const std::string& path, double tolerance)
{
    const std::string text = session.ReadText(path);
    if (IsChainText(text)) {
        return ChainsOf(text, path, tolerance);
    }
    std::vector<Chain> chains;
    for (const Polyline& line : PolylinesOrEnd(text, path)) {
        if (line.size() < 2) {
            EndUnreadable(path, "holds a polyline of a single point");
        }
        chains.push_back(ChainOf(line, false, tolerance));
        if (chains.back().elements.empty()) {
            EndUnreadable(path, "holds a polyline no longer than --tolerance");
        }
    }
    return chains;
}

Loops ReadLoops(Session& session, const std::string& path, double tolerance, double chord)
{
    const std::string text = session.ReadText(path);
    Loops loops;
    if (IsChainText(text)) {
        for (const Chain& chain : ChainsOf(text, path, tolerance)) {
            if (!chain.IsClosed()) {
                EndUnreadable(path, "chain " + std::to_string(loops.size() + 1) +
                                        " is open; close it, or raise --tolerance above its gap");
            }
            loops.push_back(Planar::Tessellate(chain, chord));
        }
    } else {
        loops = PolylinesOrEnd(text, path);
    }
    for (Polyline& loop : loops) {
        while (loop.size() > 1 && AreNear(loop.front(), loop.back(), tolerance)) {
            loop.pop_back();
        }
        if (loop.size() < 3) {
            EndUnreadable(path, "holds a loop of fewer than three points");
        }
    }
    return loops;
}

Chain ChainOf(const Polyline& points, bool isClosed, double tolerance)
{
    Chain chain;
    chain.tolerance = tolerance;
    for (std::size_t i = 1; i < points.size(); ++i) {
        // A chain that is empty yet would take a segment without length.
        if (!chain.elements.empty() || !AreNear(points[0], points[i], tolerance)) {
            chain.AppendSegment(chain.elements.empty() ? points[0] : points[i - 1], points[i]);
        }
    }
    if (isClosed && points.size() > 2) {
        chain.AppendSegment(points.back(), points.front());
    }
    return chain;
}

void RefuseStandardOutput(const Session& session, std::initializer_list<const char*> options)
{
    for (const char* option : options) {
        if (session.Has(option) && session.Text(option) == "-") {
            session.RefuseUse(std::string(option) +
                              ": only -o and --svg write to the standard output; name a file");
        }
    }
}

std::string PolylineText(const Loops& lines, bool isClosed) { return TextOf(lines, isClosed); }
std::string PolylineText(const std::vector<std::vector<Vec3d>>& lines, bool isClosed)
{
    return TextOf(lines, isClosed);
}

std::string ChainText(const std::vector<Chain>& chains)
{
    std::string text;
    const auto append = [&](double number) { text.append(1, '\t').append(NumberText(number)); };
    for (const Chain& chain : chains) {
        text +=
            '\n' + std::to_string(chain.elements.size()) + ' ' + NumberText(chain.tolerance) + '\n';
        for (const auto& element : chain.elements) {
            const auto* const arc = element.AsArc();
            const Vec2d start = element.StartPoint();
            const Vec2d second = arc != nullptr ? arc->center : element.EndPoint();
            text += arc != nullptr ? 'A' : 'L';
            append(start.x());
            append(start.y());
            append(second.x());
            append(second.y());
            if (arc != nullptr) {
                append(arc->length);
            }
            text += '\n';
        }
    }
    return text;
}

double AreaOf(const Loops& loops)
{
    double area = 0;
    for (const Polyline& loop : loops) {
        area += Velk::Math::Vector::SignedArea(loop);
    }
    return area;
}

double AreaOf(const Chain& chain) { return Planar::PolyArcSegArea(chain); }

double LengthOf(const Chain& chain) { return Planar::PolyArcSegParameters(chain, false).back(); }

std::string NumberText(double number)
{
    std::array<char, 32> text;
    const auto end = std::to_chars(text.data(), text.data() + text.size(), number).ptr;
    return {text.data(), end};
}

} // namespace Cli
