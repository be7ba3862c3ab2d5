// Pictures as SVG. Items keep their coordinates until the whole extent is known; then they are
// turned into pixels, y downward.

#include <Sorvane/SvgWriter_E.h>
#include <Velk/Math/Vector_E.h>

#include "mathbase/Values_Impl.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <fstream>
#include <numeric>
#include <optional>
#include <utility>

namespace Velk::Math::Sorvane::Drawing {

namespace {

constexpr double kDefaultSize = 640;
constexpr double kMargin = 14;
constexpr double kTextHeight = 14;
constexpr double kLegendLine = 20;
constexpr double kLegendText = 36; // from the margin to the text
constexpr double kLabelOffset = kTextHeight / 3;
constexpr double kSmallestSize = 1;
constexpr double kLargestSize = 16384;
constexpr double kLargestWidth = 1000;
/// What must stay free of the margin.
constexpr double kFreeMargin = 4;
/// Width of a letter, in heights of the text; of those beyond Latin, Greek and Cyrillic.
constexpr double kLetterWidth = 0.6;
constexpr double kWideLetterWidth = 1.1;
/// Coordinates beyond this have no place in a picture; their squares are finite still.
constexpr double kLargest = 1e100;
/// How dark a triangle is that is seen edge on.
constexpr double kDarkest = 0.45;

/// An arc that its chord leaves by no more pixels than this is drawn as that chord: viewers
/// calculate in `float`, and a large radius would move the arc by more.
constexpr double kFlat = 0.05;
/// Sweep of an arc that is drawn as one. Not half a turn, where rounded ends move the center far.
constexpr double kLargestSweep = kTwoPi<double> / 3;

double Hundredths(double value) { return std::round(value * 100); }

void AppendHundredths(double hundredths, std::string& text)
{
    std::array<char, 64> buffer{};
    const double value = hundredths / 100 + 0.0; // no minus zero
    const auto [end, error] = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value);
    text.append(buffer.data(), error == std::errc() ? end : buffer.data());
}

/// A number with two decimals at most, and no trailing zeros.
void AppendNumber(double value, std::string& text) { AppendHundredths(Hundredths(value), text); }

/// Two numbers; a minus parts them as well as a space does.
void AppendPair(double x, double y, std::string& text)
{
    AppendHundredths(x, text);
    if (!(y < 0)) {
        text += ' ';
    }
    AppendHundredths(y, text);
}

/// The character of UTF-8 that `raw` begins with, empty where it begins with none that XML knows.
std::string_view LeadingCharacter(std::string_view raw)
{
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(raw[i]); };
    const std::size_t length = byte(0) < 0x80   ? 1
                               : byte(0) < 0xC2 ? 0
                               : byte(0) < 0xE0 ? 2
                               : byte(0) < 0xF0 ? 3
                                                : 4;
    if (length == 0 || length > raw.size() || byte(0) > 0xF4) {
        return {};
    }
    char32_t code = length == 1 ? byte(0) : byte(0) & (0xFFU >> (length + 1));
    for (std::size_t i = 1; i < length; ++i) {
        if ((byte(i) & 0xC0) != 0x80) {
            return {};
        }
        code = code << 6 | (byte(i) & 0x3F);
    }
    const bool isTooLong = (length == 3 && code < 0x800) || (length == 4 && code < 0x10000);
    const bool isNoCharacter =
        (code >= 0xD800 && code < 0xE000) || (code & 0xFFFE) == 0xFFFE || code > 0x10FFFF;
    return isTooLong || isNoCharacter ? std::string_view() : raw.substr(0, length);
}

/// Calls see(character) for each, with U+FFFD for a byte that is part of none.
template <class See>
void ForEachCharacter(std::string_view raw, const See& see)
{
    while (!raw.empty()) {
        const std::string_view character = LeadingCharacter(raw);
        see(character.empty() ? std::string_view("\xEF\xBF\xBD") : character);
        raw.remove_prefix(std::max<std::size_t>(character.size(), 1));
    }
}

double TextWidth(std::string_view text)
{
    double width = 0;
    ForEachCharacter(text, [&](std::string_view character) {
        width += kTextHeight * (character.size() > 2 ? kWideLetterWidth : kLetterWidth);
    });
    return width;
}

/// Characters with a meaning in XML replaced, and control characters that it forbids left out.
void AppendEscaped(std::string_view raw, std::string& text)
{
    ForEachCharacter(raw, [&](std::string_view character) {
        const char c = character.front();
        switch (c) {
        case '&':
            text += "&amp;";
            break;
        case '<':
            text += "&lt;";
            break;
        case '>':
            text += "&gt;";
            break;
        case '"':
            text += "&quot;";
            break;
        case '\'':
            text += "&apos;";
            break;
        default:
            if (static_cast<unsigned char>(c) >= 0x20) {
                text += character;
            }
        }
    });
}

void AppendAttribute(std::string_view name, std::string_view value, std::string& text)
{
    text += ' ';
    text += name;
    text += "=\"";
    AppendEscaped(value, text);
    text += '"';
}

void AppendAttribute(std::string_view name, double value, std::string& text)
{
    text += ' ';
    text += name;
    text += "=\"";
    AppendNumber(value, text);
    text += '"';
}

double UsableWidth(double width)
{
    return width > 0 && Math::Impl::IsFinite(width) ? std::min(width, kLargestWidth) : 0;
}

// "none" is what the document begins with, for fills and strokes.

void AppendStroke(const SvgStyle& style, std::string& text)
{
    if (style.stroke != "none" && UsableWidth(style.width) > 0) {
        AppendAttribute("stroke", style.stroke, text);
    }
}

/// All of a style but the colors.
void AppendLineStyle(const SvgStyle& style, std::string& text)
{
    const double width = UsableWidth(style.width);
    if (style.stroke != "none" && width > 0) {
        AppendAttribute("stroke-width", width, text);
        if (style.isDashed) {
            AppendAttribute("stroke-dasharray", 4 * width, text);
            AppendAttribute("stroke-linecap", "butt", text);
        }
    }
    if (style.opacity >= 0 && style.opacity < 1) {
        AppendAttribute("fill-opacity", style.opacity, text);
    }
}

void AppendFill(const SvgStyle& style, std::string& text)
{
    if (style.fill != "none") {
        AppendAttribute("fill", style.fill, text);
    }
}

bool IsOneColor(const SvgStyle& style) { return style.stroke == style.fill; }

/// May items of these styles stand in one group? What is of one color names its own stroke there.
bool HaveSameLines(const SvgStyle& a, const SvgStyle& b)
{
    const bool haveSameStroke =
        IsOneColor(a) ? IsOneColor(b) : a.stroke == b.stroke && !IsOneColor(b);
    return haveSameStroke && a.width == b.width && a.isDashed == b.isDashed &&
           a.opacity == b.opacity;
}

template <int D>
bool IsDrawable(const VecBase<D, double>& point)
{
    return Math::Impl::IsFinite(point) && Math::Impl::LargestMagnitude(point) <= kLargest;
}

std::optional<int> HexDigit(char c)
{
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    const char lower = c >= 'A' && c <= 'F' ? static_cast<char>(c - 'A' + 'a') : c;
    return lower >= 'a' && lower <= 'f' ? std::optional(lower - 'a' + 10) : std::nullopt;
}

/// "#rrggbb" with each part times `brightness`; any other color as it is.
std::string Shaded(const std::string& color, double brightness)
{
    if (color.size() != 7 || color.front() != '#') {
        return color;
    }
    std::string shaded = "#";
    for (std::size_t i = 1; i < 7; i += 2) {
        const auto high = HexDigit(color[i]);
        const auto low = HexDigit(color[i + 1]);
        if (!high || !low) {
            return color;
        }
        const int part = static_cast<int>(std::lround((16 * *high + *low) * brightness));
        constexpr std::string_view kDigits = "0123456789abcdef";
        shaded += kDigits[static_cast<std::size_t>(part / 16)];
        shaded += kDigits[static_cast<std::size_t>(part % 16)];
    }
    return shaded;
}

/// Unit directions of a view: to the right, up, and toward the eye.
struct Axes {
    Vec3d right{1, 0, 0};
    Vec3d up{0, 1, 0};
    Vec3d toward{0, 0, 1};
};

Axes AxesOf(const SvgView& view)
{
    // Scaled first, so that neither products of huge vectors overflow nor those of tiny ones
    // vanish.
    const auto unit = [](const Vec3d& v) {
        const double largest = Math::Impl::LargestMagnitude(v);
        return largest > 0 && Math::Impl::IsFinite(v) ? Normalized(v / largest, 1e-12) : Vec3d();
    };
    const Vec3d toward = unit(view.toward);
    const Vec3d right = Normalized(unit(view.up) ^ toward, 1e-9);
    if (right == Vec3d()) {
        return {};
    }
    return {right, toward ^ right, toward};
}

Vec2d Seen(const Vec3d& point, const Axes& axes, const SvgView& view)
{
    const Vec2d seen(point * axes.right, point * axes.up);
    return IsDrawable(view.shift) ? seen + view.shift : seen;
}

/// Corners of triangle `t`, or nothing when one is no point of the mesh.
template <int D>
std::optional<std::array<VecBase<D, double>, 3>>
Corners(const Mesh::IndexedPointsBase<D, double>& mesh, std::size_t t)
{
    std::array<VecBase<D, double>, 3> corners;
    for (std::size_t k = 0; k < 3; ++k) {
        const auto index = mesh.indices[3 * t + k];
        if (index < 0 || static_cast<std::size_t>(index) >= mesh.points.size() ||
            !IsDrawable(mesh.points[static_cast<std::size_t>(index)])) {
            return {};
        }
        corners[k] = mesh.points[static_cast<std::size_t>(index)];
    }
    return corners;
}

} // namespace

/// From the plane to pixels.
struct SvgWriter::Frame {
    double left = 0; // the plane's least x and greatest y
    double top = 0;
    double scale = 1;
    double marginLeft = kMargin;
    double marginTop = kMargin;
    double width = 0; // of the picture without the legend
    double height = 0;

    double X(const Vec2d& point) const { return marginLeft + (point.x() - left) * scale; }
    double Y(const Vec2d& point) const { return marginTop + (top - point.y()) * scale; }
};

/// Writes the lines of a path: each relative to the one before, in hundredths of a pixel, so that
/// pictures stay small and roundings do not add up. What does not reach the next hundredth is left
/// out.
class SvgWriter::Pen {
public:
    Pen(const Frame& frame, bool isCoarse, std::string& text)
        : frame_(frame), text_(text), grain_(isCoarse ? 10 : 1)
    {
    }

    void MoveTo(const Vec2d& point)
    {
        SetPlace(point);
        text_ += 'M';
        AppendPair(x_, y_, text_);
        last_ = 'M';
    }
    void LineTo(const Vec2d& point)
    {
        const double fromX = x_;
        const double fromY = y_;
        SetPlace(point);
        if (x_ != fromX || y_ != fromY) {
            Command('l', x_ - fromX);
            AppendPair(x_ - fromX, y_ - fromY, text_);
        }
    }
    /// `sagitta`: by which the arc leaves its chord.
    void ArcTo(const Vec2d& point, double radius, double sagitta, bool isLeft)
    {
        if (!(sagitta * frame_.scale > kFlat)) {
            LineTo(point);
            return;
        }
        const double fromX = x_;
        const double fromY = y_;
        SetPlace(point);
        text_ += 'a';
        last_ = 'a';
        AppendPair(Hundredths(radius * frame_.scale), Hundredths(radius * frame_.scale), text_);
        text_ += isLeft ? " 0 0 0" : " 0 0 1"; // y is turned round
        text_ += x_ < fromX ? "" : " ";
        AppendPair(x_ - fromX, y_ - fromY, text_);
    }
    /// What comes next begins with a move, which is absolute.
    void Close()
    {
        text_ += 'z';
        last_ = 'z';
    }

private:
    void SetPlace(const Vec2d& point)
    {
        x_ = grain_ * std::round(frame_.X(point) * 100 / grain_);
        y_ = grain_ * std::round(frame_.Y(point) * 100 / grain_);
    }
    /// A command that follows itself need not be told again.
    void Command(char command, double next)
    {
        if (last_ != command) {
            text_ += command;
        } else if (!(next < 0)) {
            text_ += ' ';
        }
        last_ = command;
    }

    const Frame& frame_;
    std::string& text_;
    double grain_; // in hundredths of a pixel
    double x_ = 0;
    double y_ = 0;
    char last_ = ' ';
};

SvgWriter::SvgWriter(double size)
    : size_(size > 0 && Math::Impl::IsFinite(size) ? std::clamp(size, kSmallestSize, kLargestSize)
                                                   : kDefaultSize)
{
}

void SvgWriter::Include(const Vec2d& point)
{
    if (isEmpty_) {
        low_ = high_ = point;
        isEmpty_ = false;
    }
    for (int axis = 0; axis < 2; ++axis) {
        low_[axis] = std::min(low_[axis], point[axis]);
        high_[axis] = std::max(high_[axis], point[axis]);
    }
}

void SvgWriter::Append(Item item)
{
    if (!item.steps.empty()) {
        items_.push_back(std::move(item));
    }
}

void SvgWriter::AppendElement(const Geometry::SegBase<double>& segment, Item& item)
{
    if (IsDrawable(segment.start) && IsDrawable(segment.end)) {
        AppendLoop({segment.start, segment.end}, false, item);
    }
}

void SvgWriter::AppendElement(const Geometry::ArcBase<double>& arc, Item& item)
{
    const double radius = Geometry::Radius(arc);
    const Vec2d end = Geometry::EndPoint(arc);
    if (!IsDrawable(arc.start) || !IsDrawable(end) || !(radius <= kLargest) ||
        !Math::Impl::IsFinite(arc.length)) {
        return;
    }
    for (const Vec2d& corner : arc.Bounds()) {
        Include(corner);
    }
    if (item.steps.empty() || item.steps.back().to != arc.start) {
        item.steps.push_back({Verb::Move, arc.start});
    }
    // In parts, since an arc whose ends are the same point can't be told. More than a turn is one.
    Geometry::ArcBase<double> part = arc;
    const double turn = kTwoPi<double> * radius;
    const double length = std::clamp(arc.length, -turn, turn);
    const double parts =
        radius > 0 ? std::max(std::ceil(std::fabs(length) / radius / kLargestSweep - 1e-9), 1.0)
                   : 1;
    const double sagitta = 2 * radius * std::pow(std::sin(length / parts / radius / 4), 2);
    for (double i = 1; i <= parts; ++i) {
        part.length = length * (i / parts);
        item.steps.push_back(
            {Verb::Arc, Geometry::EndPoint(part), radius, sagitta, arc.length > 0});
    }
    item.steps.back().to = end; // to the bit, so that what follows is seen to join
}

void SvgWriter::AddChain(const Planar::PolyArcSegBase<double>& chain, const SvgStyle& style)
{
    Item item{Kind::Path, style, {}, {}};
    for (const auto& element : chain.elements) {
        element.Visit([&](const auto& e) { AppendElement(e, item); });
    }
    Append(std::move(item));
}

void SvgWriter::AppendLoop(const std::vector<Vec2d>& points, bool isClosed, Item& item)
{
    bool isBegun = false;
    for (const Vec2d& point : points) {
        if (!IsDrawable(point)) {
            continue;
        }
        Include(point);
        const bool goesOn =
            !isBegun && !isClosed && !item.steps.empty() && item.steps.back().to == point;
        if (!goesOn) {
            item.steps.push_back({isBegun ? Verb::Line : Verb::Move, point});
        }
        isBegun = true;
    }
    if (isClosed && isBegun) {
        item.steps.push_back({Verb::Close, item.steps.back().to});
    }
}

void SvgWriter::AddPolyline(const std::vector<Vec2d>& points, const SvgStyle& style)
{
    Item item{Kind::Path, style, {}, {}};
    AppendLoop(points, false, item);
    Append(std::move(item));
}

void SvgWriter::AddRegion(const std::vector<std::vector<Vec2d>>& loops, const SvgStyle& style)
{
    Item item{Kind::Path, style, {}, {}};
    for (const auto& loop : loops) {
        AppendLoop(loop, true, item);
    }
    Append(std::move(item));
}

void SvgWriter::AddTriangles(const Mesh::IndexedPointsBase<2, double>& mesh, const SvgStyle& style)
{
    // All the same way round, so that triangles that overlap do not cancel each other.
    Item item{Kind::Path, style, {}, {}};
    item.isWinding = true;
    for (std::size_t t = 0; t < mesh.indices.size() / 3; ++t) {
        if (auto corners = Corners(mesh, t)) {
            auto& [a, b, c] = *corners;
            if (((b - a) ^ (c - a)) < 0) {
                std::swap(b, c);
            }
            AppendLoop({a, b, c}, true, item);
        }
    }
    Append(std::move(item));
}

void SvgWriter::AddMesh(const Mesh::IndexedPointsBase<3, double>& mesh, const SvgView& view,
                        const SvgStyle& style)
{
    AddMesh(mesh, view, style, {});
}

void SvgWriter::AddMesh(const Mesh::IndexedPointsBase<3, double>& mesh, const SvgView& view,
                        const SvgStyle& style, const SvgMeshMarks& marks)
{
    struct Facing {
        std::size_t triangle = 0;
        double depth = 0;
        double cosine = 0;
    };
    const Axes axes = AxesOf(view);
    const std::size_t triangles = mesh.indices.size() / 3;
    std::vector<Facing> facing;
    for (std::size_t t = 0; t < triangles; ++t) {
        const auto corners = Corners(mesh, t);
        if (!corners) {
            continue;
        }
        const auto& [a, b, c] = *corners;
        const Vec3d normal = (b - a) ^ (c - a);
        const double cosine = normal * axes.toward / Length(normal);
        const double depth = (a + b + c) * axes.toward;
        if (cosine > 0) {
            facing.push_back({t, depth, std::min(cosine, 1.0)});
        }
    }
    std::stable_sort(facing.begin(), facing.end(),
                     [](const Facing& a, const Facing& b) { return a.depth < b.depth; });

    const auto styleAt = [&](int place) -> const SvgStyle* {
        const bool isThere = place >= 0 && static_cast<std::size_t>(place) < marks.styles.size();
        return isThere ? &marks.styles[static_cast<std::size_t>(place)] : nullptr;
    };
    std::vector<std::size_t> lines(marks.lines.size());
    std::iota(lines.begin(), lines.end(), std::size_t{0});
    const auto triangleOf = [&](std::size_t line) { return marks.lines[line].triangle; };
    std::stable_sort(lines.begin(), lines.end(),
                     [&](std::size_t a, std::size_t b) { return triangleOf(a) < triangleOf(b); });

    bool mergeable = false; // is the last item a triangle of one color?
    for (const Facing& one : facing) {
        const auto corners = Corners(mesh, one.triangle);
        const int number = static_cast<int>(one.triangle);
        const SvgStyle* const own = one.triangle < marks.triangles.size()
                                        ? styleAt(marks.triangles[one.triangle])
                                        : nullptr;
        Item item{Kind::Path, own != nullptr ? *own : style, {}, {}};
        if (own == nullptr) {
            item.style.fill = Shaded(style.fill, kDarkest + (1 - kDarkest) * one.cosine);
            if (style.stroke == style.fill) {
                item.style.stroke = item.style.fill;
            }
        }
        const auto seen = [&](const Vec3d& point) { return Seen(point, axes, view); };
        const std::vector<Vec2d> loop{seen((*corners)[0]), seen((*corners)[1]),
                                      seen((*corners)[2])};
        // Of one color, lines and all, it does not matter which of them is painted first.
        const bool isOneColor = IsOneColor(item.style) && item.style.opacity == 1;
        if (isOneColor && mergeable && items_.back().style == item.style) {
            AppendLoop(loop, true, items_.back());
        } else {
            item.isWinding = isOneColor; // those that face the eye run the same way
            item.isCoarse = true;
            AppendLoop(loop, true, item);
            Append(std::move(item));
        }
        mergeable = isOneColor;
        const auto first = std::partition_point(lines.begin(), lines.end(), [&](std::size_t line) {
            return triangleOf(line) < number;
        });
        for (auto line = first; line != lines.end() && triangleOf(*line) == number; ++line) {
            const SvgMeshMarks::Line& mark = marks.lines[*line];
            if (const SvgStyle* const lineStyle = styleAt(mark.style);
                lineStyle != nullptr && IsDrawable(mark.start) && IsDrawable(mark.end)) {
                AddPolyline({seen(mark.start), seen(mark.end)}, *lineStyle);
                mergeable = false;
            }
        }
    }
}

void SvgWriter::AddPoints(const std::vector<Vec2d>& points, const SvgStyle& style)
{
    Item item{Kind::Disc, style, {}, {}};
    for (const Vec2d& point : points) {
        if (IsDrawable(point)) {
            item.steps.push_back({Verb::Move, point});
            Include(point);
        }
    }
    Append(std::move(item));
}

void SvgWriter::AddLabel(const Vec2d& point, std::string_view text, const SvgStyle& style)
{
    Item item{Kind::Label, style, {}, std::string(text)};
    if (IsDrawable(point)) {
        item.steps.push_back({Verb::Move, point});
        Include(point);
    }
    Append(std::move(item));
}

void SvgWriter::AddLegend(std::string_view text, const SvgStyle& style)
{
    legend_.push_back({Kind::Label, style, {}, std::string(text)});
}

void SvgWriter::SetTitle(std::string_view title) { title_ = title; }

Vec2d SvgWriter::Projected(const Vec3d& point, const SvgView& view)
{
    return Seen(point, AxesOf(view), view);
}

void SvgWriter::WritePath(const Item& item, const Frame& frame, bool isAlone, std::string& text)
{
    const std::size_t before = text.size();
    text += "<path";
    AppendFill(item.style, text);
    if (isAlone || IsOneColor(item.style)) {
        AppendStroke(item.style, text);
    }
    if (isAlone) {
        AppendLineStyle(item.style, text);
    }
    const auto isClose = [](const Step& step) { return step.verb == Verb::Close; };
    if (item.isWinding && std::count_if(item.steps.begin(), item.steps.end(), isClose) > 1) {
        text += " fill-rule=\"nonzero\"";
    }
    text += " d=\"";
    const std::size_t begin = text.size();
    Pen pen(frame, item.isCoarse, text);
    for (const Step& step : item.steps) {
        switch (step.verb) {
        case Verb::Move:
            pen.MoveTo(step.to);
            break;
        case Verb::Line:
            pen.LineTo(step.to);
            break;
        case Verb::Arc:
            pen.ArcTo(step.to, step.radius, step.sagitta, step.isLeft);
            break;
        case Verb::Close:
            pen.Close();
            break;
        }
    }
    if (text.find_first_of("la", begin) == std::string::npos) {
        text.resize(before); // all of it is within a hundredth of a pixel
        return;
    }
    text += "\"/>\n";
}

void SvgWriter::WriteItem(const Item& item, const Frame& frame, bool isAlone, std::string& text)
{
    if (item.kind == Kind::Path) {
        WritePath(item, frame, isAlone, text);
        return;
    }
    for (const Step& step : item.steps) {
        if (item.kind == Kind::Disc) {
            text += "<circle";
            AppendAttribute("cx", frame.X(step.to), text);
            AppendAttribute("cy", frame.Y(step.to), text);
            AppendAttribute("r", 2 * UsableWidth(item.style.width), text);
            AppendAttribute("fill", item.style.fill == "none" ? item.style.stroke : item.style.fill,
                            text);
            text += "/>\n";
            continue;
        }
        text += "<text";
        AppendAttribute("x", frame.X(step.to) + kLabelOffset, text);
        AppendAttribute("y", frame.Y(step.to) - kLabelOffset, text);
        AppendAttribute("fill", item.style.stroke, text);
        text += '>';
        AppendEscaped(item.text, text);
        text += "</text>\n";
    }
}

/// The drawing at its size, and margins in which discs, lines and labels at its edge have room too.
SvgWriter::Frame SvgWriter::FitFrame() const
{
    const Vec2d extent = high_ - low_;
    const double longer = std::max(extent.x(), extent.y());
    Frame frame;
    frame.left = low_.x();
    frame.top = high_.y();
    frame.scale = longer > 0 ? size_ / longer : 1;
    if (!Math::Impl::IsFinite(frame.scale)) {
        frame.scale = 1; // an extent of denormal size
    }
    const double right = extent.x() * frame.scale;
    const double bottom = extent.y() * frame.scale;
    double marginRight = kMargin;
    double marginBottom = kMargin;
    const double free = kMargin - kFreeMargin;
    for (const Item& item : items_) {
        const double width = UsableWidth(item.style.width);
        const bool isLabel = item.kind == Kind::Label;
        const double around = isLabel ? 0 : item.kind == Kind::Disc ? 2 * width : width / 2;
        if (around <= free && !isLabel) {
            continue;
        }
        const double ahead = isLabel ? kLabelOffset + TextWidth(item.text) : around;
        const double above = isLabel ? kLabelOffset + kTextHeight : around;
        for (const Step& step : item.steps) {
            const double x = (step.to.x() - low_.x()) * frame.scale;
            const double y = (high_.y() - step.to.y()) * frame.scale;
            frame.marginLeft = std::max(frame.marginLeft, around - x + kFreeMargin);
            frame.marginTop = std::max(frame.marginTop, above - y + kFreeMargin);
            marginRight = std::max(marginRight, x + ahead - right + kFreeMargin);
            marginBottom = std::max(marginBottom, y + around - bottom + kFreeMargin);
        }
    }
    frame.width = frame.marginLeft + right + marginRight;
    frame.height = frame.marginTop + bottom + marginBottom;
    for (const Item& line : legend_) {
        frame.width = std::max(frame.width, kMargin + kLegendText + TextWidth(line.text) + kMargin);
    }
    return frame;
}

std::string SvgWriter::Text() const
{
    const Frame frame = FitFrame();
    const double height = frame.height + (legend_.empty() ? 0 : kMargin) +
                          kLegendLine * static_cast<double>(legend_.size());

    std::string text = "<svg xmlns=\"http://www.w3.org/2000/svg\"";
    AppendAttribute("width", frame.width, text);
    AppendAttribute("height", height, text);
    text += " viewBox=\"0 0 ";
    AppendPair(Hundredths(frame.width), Hundredths(height), text);
    text += "\" font-family=\"sans-serif\"";
    AppendAttribute("font-size", kTextHeight, text);
    text += " fill=\"none\" fill-rule=\"evenodd\" stroke-linejoin=\"round\" "
            "stroke-linecap=\"round\">\n";
    if (!title_.empty()) {
        text += "<title>";
        AppendEscaped(title_, text);
        text += "</title>\n";
    }
    text += "<rect width=\"100%\" height=\"100%\" fill=\"white\"/>\n";
    // Neighbors of one line style share its attributes.
    for (std::size_t first = 0; first < items_.size();) {
        std::size_t last = first + 1;
        while (last < items_.size() && items_[first].kind == Kind::Path &&
               items_[last].kind == Kind::Path &&
               HaveSameLines(items_[first].style, items_[last].style)) {
            ++last;
        }
        const bool isAlone = last == first + 1;
        if (!isAlone) {
            text += "<g";
            if (!IsOneColor(items_[first].style)) {
                AppendStroke(items_[first].style, text);
            }
            AppendLineStyle(items_[first].style, text);
            text += ">\n";
        }
        for (std::size_t i = first; i < last; ++i) {
            WriteItem(items_[i], frame, isAlone, text);
        }
        if (!isAlone) {
            text += "</g>\n";
        }
        first = last;
    }
    double y = frame.height + kMargin;
    for (const Item& line : legend_) {
        text += "<path";
        AppendFill(line.style, text);
        AppendStroke(line.style, text);
        AppendLineStyle(line.style, text);
        text += " d=\"M";
        AppendPair(Hundredths(kMargin), Hundredths(y), text);
        text += line.style.fill == "none" ? "h28\"/>\n<text" : "h28v-8h-28z\"/>\n<text";
        AppendAttribute("x", kMargin + kLegendText, text);
        AppendAttribute("y", y + kTextHeight / 4, text);
        AppendAttribute("fill", "#222", text);
        text += '>';
        AppendEscaped(line.text, text);
        text += "</text>\n";
        y += kLegendLine;
    }
    text += "</svg>\n";
    return text;
}

bool SvgWriter::Write(const std::string& path) const
{
    std::ofstream file(path, std::ios::binary);
    file << Text();
    file.close();
    return file.good();
}

} // namespace Velk::Math::Sorvane::Drawing
