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
/// Coordinates beyond this have no place in a picture; their squares are finite still.
constexpr double kLargest = 1e100;
/// How dark a triangle is that is seen edge on.
constexpr double kDarkest = 0.45;

/// A number with two decimals at most, and no trailing zeros.
void AppendNumber(double value, std::string& text)
{
    std::array<char, 64> buffer{};
    const double rounded = std::round(value * 100) / 100 + 0.0; // no minus zero
    const auto [end, error] = std::to_chars(buffer.data(), buffer.data() + buffer.size(), rounded);
    text.append(buffer.data(), error == std::errc() ? end : buffer.data());
}

void AppendPair(double x, double y, std::string& text)
{
    AppendNumber(x, text);
    text += ' ';
    AppendNumber(y, text);
}

/// Characters with a meaning in XML replaced, and control characters that it forbids left out.
void AppendEscaped(std::string_view raw, std::string& text)
{
    for (const char c : raw) {
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
                text += c;
            }
        }
    }
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

double UsableWidth(double width) { return width > 0 && Math::Impl::IsFinite(width) ? width : 0; }

void AppendStyle(const SvgStyle& style, std::string& text)
{
    AppendAttribute("fill", style.fill, text);
    AppendAttribute("stroke", style.stroke, text);
    const double width = UsableWidth(style.width);
    AppendAttribute("stroke-width", width, text);
    if (style.isDashed) {
        AppendAttribute("stroke-dasharray", 4 * width, text);
    }
}

bool IsDrawable(const Vec2d& point)
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

Vec2d Seen(const Vec3d& point, const Axes& axes) { return {point * axes.right, point * axes.up}; }

/// Corners of triangle `t`, or nothing when one is no point of the mesh.
template <int D>
std::optional<std::array<VecBase<D, double>, 3>>
Corners(const Mesh::IndexedPointsBase<D, double>& mesh, std::size_t t)
{
    std::array<VecBase<D, double>, 3> corners;
    for (std::size_t k = 0; k < 3; ++k) {
        const auto index = mesh.indices[3 * t + k];
        if (index < 0 || static_cast<std::size_t>(index) >= mesh.points.size() ||
            !Math::Impl::IsFinite(mesh.points[static_cast<std::size_t>(index)])) {
            return {};
        }
        corners[k] = mesh.points[static_cast<std::size_t>(index)];
    }
    return corners;
}

} // namespace

/// From the plane to pixels.
struct SvgWriter::Frame {
    double left = 0;
    double top = 0; // the plane's highest y
    double scale = 1;

    double X(const Vec2d& point) const { return kMargin + (point.x() - left) * scale; }
    double Y(const Vec2d& point) const { return kMargin + (top - point.y()) * scale; }
    void AppendPoint(const Vec2d& point, std::string& text) const
    {
        AppendPair(X(point), Y(point), text);
    }
};

SvgWriter::SvgWriter(double size)
    : size_(size > 0 && Math::Impl::IsFinite(size) ? size : kDefaultSize)
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
    // By halves, since an arc whose ends are the same point can't be told. More than a turn is one.
    Geometry::ArcBase<double> turn = arc;
    turn.length = std::clamp(arc.length, -kTwoPi<double> * radius, kTwoPi<double> * radius);
    for (const auto& half : Geometry::Split(turn, 0.5, true, 0.0)) {
        item.steps.push_back({Verb::Arc, Geometry::EndPoint(half), radius, arc.length > 0});
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
    Item item{Kind::Path, style, {}, {}};
    for (std::size_t t = 0; t < mesh.indices.size() / 3; ++t) {
        if (const auto corners = Corners(mesh, t)) {
            AppendLoop({corners->begin(), corners->end()}, true, item);
        }
    }
    Append(std::move(item));
}

void SvgWriter::AddMesh(const Mesh::IndexedPointsBase<3, double>& mesh, const SvgView& view,
                        const SvgStyle& style)
{
    struct Facing {
        std::size_t triangle = 0;
        double depth = 0;
        double cosine = 0;
    };
    const Axes axes = AxesOf(view);
    std::vector<Facing> facing;
    for (std::size_t t = 0; t < mesh.indices.size() / 3; ++t) {
        const auto corners = Corners(mesh, t);
        if (!corners) {
            continue;
        }
        const auto& [a, b, c] = *corners;
        const Vec3d normal = (b - a) ^ (c - a);
        const double cosine = normal * axes.toward / Length(normal);
        const double depth = (a + b + c) * axes.toward;
        if (cosine > 0 && Math::Impl::IsFinite(depth)) {
            facing.push_back({t, depth, std::min(cosine, 1.0)});
        }
    }
    std::stable_sort(facing.begin(), facing.end(),
                     [](const Facing& a, const Facing& b) { return a.depth < b.depth; });
    for (const Facing& one : facing) {
        const auto corners = Corners(mesh, one.triangle);
        Item item{Kind::Path, style, {}, {}};
        item.style.fill = Shaded(style.fill, kDarkest + (1 - kDarkest) * one.cosine);
        AppendLoop(
            {Seen((*corners)[0], axes), Seen((*corners)[1], axes), Seen((*corners)[2], axes)}, true,
            item);
        Append(std::move(item));
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

Vec2d SvgWriter::Projected(const Vec3d& point, const SvgView& view)
{
    return Seen(point, AxesOf(view));
}

void SvgWriter::WriteItem(const Item& item, const Frame& frame, std::string& text)
{
    if (item.kind == Kind::Path) {
        text += "<path fill-rule=\"evenodd\" stroke-linejoin=\"round\"";
        AppendStyle(item.style, text);
        text += " d=\"";
        for (const Step& step : item.steps) {
            if (step.verb == Verb::Close) {
                text += 'z';
                continue;
            }
            if (step.verb == Verb::Arc) {
                text += 'A';
                AppendPair(step.radius * frame.scale, step.radius * frame.scale, text);
                text += step.isLeft ? " 0 0 0 " : " 0 0 1 "; // y is turned round
            } else {
                text += step.verb == Verb::Line ? 'L' : 'M';
            }
            frame.AppendPoint(step.to, text);
        }
        text += "\"/>\n";
        return;
    }
    const double width = UsableWidth(item.style.width);
    for (const Step& step : item.steps) {
        if (item.kind == Kind::Disc) {
            text += "<circle";
            AppendAttribute("cx", frame.X(step.to), text);
            AppendAttribute("cy", frame.Y(step.to), text);
            AppendAttribute("r", 2 * width, text);
            AppendAttribute("fill", item.style.fill == "none" ? item.style.stroke : item.style.fill,
                            text);
            text += "/>\n";
            continue;
        }
        text += "<text";
        AppendAttribute("x", frame.X(step.to) + kTextHeight / 3, text);
        AppendAttribute("y", frame.Y(step.to) - kTextHeight / 3, text);
        AppendAttribute("fill", item.style.stroke, text);
        text += '>';
        AppendEscaped(item.text, text);
        text += "</text>\n";
    }
}

std::string SvgWriter::Text() const
{
    const Vec2d extent = high_ - low_;
    const double longer = std::max(extent.x(), extent.y());
    Frame frame{low_.x(), high_.y(), longer > 0 ? size_ / longer : 1};
    if (!Math::Impl::IsFinite(frame.scale)) {
        frame.scale = 1; // an extent of denormal size
    }
    const double bottom = 2 * kMargin + extent.y() * frame.scale;
    constexpr double kLegendWidth = 320;
    const double width =
        std::max(2 * kMargin + extent.x() * frame.scale, legend_.empty() ? 0 : kLegendWidth);
    const double height = bottom + (legend_.empty() ? 0 : kMargin) +
                          kLegendLine * static_cast<double>(legend_.size());

    std::string text = "<svg xmlns=\"http://www.w3.org/2000/svg\"";
    AppendAttribute("width", width, text);
    AppendAttribute("height", height, text);
    text += " viewBox=\"0 0 ";
    AppendPair(width, height, text);
    text += "\" font-family=\"sans-serif\"";
    AppendAttribute("font-size", kTextHeight, text);
    text += ">\n<rect width=\"100%\" height=\"100%\" fill=\"white\"/>\n";
    for (const Item& item : items_) {
        WriteItem(item, frame, text);
    }
    double y = bottom + kMargin;
    for (const Item& line : legend_) {
        text += "<path";
        AppendStyle(line.style, text);
        text += " d=\"M";
        AppendPair(kMargin, y, text);
        text += line.style.fill == "none" ? "h28\"/>\n<text" : "h28v-8h-28z\"/>\n<text";
        AppendAttribute("x", kMargin + 36, text);
        AppendAttribute("y", y + kTextHeight / 4, text);
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
