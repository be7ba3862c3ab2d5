// Chains of the C interface.

#include "Planar.h"

#include <Sorvane/ArcFitting_E.h>
#include <Sorvane/ChainBreaking_E.h>
#include <Sorvane/PlanarOffset_E.h>
#include <Sorvane/PolyArcSeg_E.h>
#include <Velk/Math/Vector_E.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <limits>
#include <locale>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

using namespace SorvaneC;
namespace Planar = Velk::Math::Sorvane::Planar;
namespace Geometry = Velk::Math::Geometry;
namespace Vector = Velk::Math::Vector;
using Element = Planar::ArcSegBase<double>;

namespace SorvaneC {

namespace {

constexpr std::size_t kElementSize = 5;
/// The squares of what is beyond overflow, and the library takes no such numbers.
constexpr double kLargestCoordinate = 1e150;

/// What rounding alone may put between points of this size.
double RoundingAt(const Vec2d& point)
{
    return 64 * std::numeric_limits<double>::epsilon() * (std::fabs(point.x()) + std::fabs(point.y()));
}

Element ElementOf(int kind, const double* values)
{
    const Vec2d start(values[0], values[1]);
    const Vec2d other(values[2], values[3]);
    if (kind == 0) {
        return Geometry::SegBase<double>{start, other};
    }
    return Geometry::ArcBase<double>{other, start, values[4]};
}

std::vector<Element> ElementsOf(const int* kinds, const double* elements, std::size_t count)
{
    CheckArray(kinds, count, "kinds");
    CheckArray(elements, count, "elements");
    CheckFinite(elements, count * kElementSize, kElementSize, "elements");
    std::vector<Element> result;
    result.reserve(count);
    for (std::size_t i = 0; i < count; ++i) {
        if (kinds[i] != 0 && kinds[i] != 1) {
            BadArgument("element " + std::to_string(i) + " has kind " + std::to_string(kinds[i]) +
                            "; it must be 0 (segment) or 1 (arc)",
                        static_cast<long long>(i));
        }
        result.push_back(ElementOf(kinds[i], elements + i * kElementSize));
    }
    return result;
}

const Chain& ChainOf(const sorvane_chain* chain, const char* name = "chain") { return Required(chain, name).chain; }

/// The chains as a list, a group for each entry of `groups`.
std::unique_ptr<sorvane_chains> NewChains(std::vector<std::vector<Chain>> groups)
{
    auto result = std::make_unique<sorvane_chains>();
    for (std::vector<Chain>& group : groups) {
        for (Chain& chain : group) {
            result->chains.push_back(NewChain(std::move(chain)));
        }
        result->groups.push_back(static_cast<int>(result->chains.size()));
    }
    return result;
}

std::unique_ptr<sorvane_chains> NewChains(std::vector<Chain> chains)
{
    std::vector<std::vector<Chain>> groups(1);
    groups.front() = std::move(chains);
    return NewChains(std::move(groups));
}

Chain CheckedChain(const sorvane_chain* chain, double tolerance)
{
    CheckLength(tolerance, "tolerance");
    return ChainOf(chain);
}

std::vector<double> ParametersOf(const double* parameters, std::size_t count)
{
    CheckArray(parameters, count, "parameters");
    CheckFinite(parameters, count, 1, "parameters");
    return std::vector<double>(parameters, parameters + count);
}

/// Parameters that lie inside the chain and not at a joint, in order. Two that are within the tolerance of each other
/// are refused: the library would not break the chain at all then.
void CheckParameters(const Chain& chain, const std::vector<double>& parameters, bool normalized, double tolerance)
{
    const std::vector<double> joints = Planar::PolyArcSegParameters(chain, normalized);
    const double unit = normalized ? Planar::PolyArcSegParameters(chain, false).back() : 1;
    std::vector<std::pair<double, std::size_t>> inner;
    for (std::size_t i = 0; i < parameters.size(); ++i) {
        const double parameter = parameters[i];
        const auto next = std::lower_bound(joints.begin(), joints.end(), parameter);
        if (next != joints.begin() && next != joints.end() && *next - parameter > tolerance &&
            parameter - *(next - 1) > tolerance) {
            inner.emplace_back(parameter, i);
        }
    }
    std::sort(inner.begin(), inner.end());
    for (std::size_t i = 1; i < inner.size(); ++i) {
        if ((inner[i].first - inner[i - 1].first) * unit <= tolerance) {
            const std::size_t place = std::max(inner[i].second, inner[i - 1].second);
            BadArgument("parameter " + std::to_string(place) + " is within the tolerance of another one",
                        static_cast<long long>(place));
        }
    }
}

void CheckRegularity(const Vec2d& from, const Vec2d& to, double tolerance, std::size_t number)
{
    const double gap = Vector::Length(to - from);
    if (gap > std::max(tolerance, RoundingAt(to))) {
        BadArgument("element " + std::to_string(number) + " starts " + Text(gap) +
                        " away from the end of the one before",
                    static_cast<long long>(number));
    }
}

/// Refuses in a file what the other functions refuse in their arguments.
void CheckRead(const Chain& chain, const std::string& path)
{
    if (!(chain.tolerance >= 0)) {
        throw Failure{SORVANE_FILE_ERROR, path + ": has the tolerance " + Text(chain.tolerance) +
                                              "; it must not be negative"};
    }
    const auto isUsable = [](double value) { return std::fabs(value) <= kLargestCoordinate; };
    for (std::size_t i = 0; i < chain.elements.size(); ++i) {
        const auto* arc = chain.elements[i].AsArc();
        const Vec2d start = chain.elements[i].StartPoint();
        const Vec2d other = arc != nullptr ? arc->center : chain.elements[i].EndPoint();
        if (!isUsable(start.x()) || !isUsable(start.y()) || !isUsable(other.x()) || !isUsable(other.y()) ||
            (arc != nullptr && !isUsable(arc->length))) {
            throw Failure{SORVANE_FILE_ERROR,
                          path + ": element " + std::to_string(i) + " has a number that is not finite, or beyond 1e150",
                          static_cast<long long>(i)};
        }
    }
}

[[noreturn]] void BadFile(const std::string& path, const std::string& reason, long long index = -1)
{
    throw Failure{SORVANE_FILE_ERROR, path + ": " + reason, index};
}

/// The text of a file or of what comes through a pipe. A device, which may never end, is refused.
std::istringstream TextOf(const std::string& path)
{
    constexpr std::size_t kMostPiped = std::size_t{512} << 20U;
    std::error_code unknown;
    const std::filesystem::file_type type = std::filesystem::status(path, unknown).type();
    if (type == std::filesystem::file_type::character || type == std::filesystem::file_type::block) {
        BadFile(path, "is a device");
    }
    std::ifstream file(path, std::ios::binary);
    if (!file.is_open() || type == std::filesystem::file_type::directory) {
        BadFile(path, "cannot be opened");
    }
    std::string text;
    std::vector<char> block(std::size_t{1} << 16U);
    while (file) {
        file.read(block.data(), static_cast<std::streamsize>(block.size()));
        text.append(block.data(), static_cast<std::size_t>(file.gcount()));
        if (text.size() > kMostPiped && type != std::filesystem::file_type::regular) {
            BadFile(path, "does not end");
        }
    }
    std::istringstream stream(std::move(text));
    stream.imbue(std::locale::classic());
    // A lack of memory inside of an operator would look like the end of a shorter chain.
    stream.exceptions(std::ios_base::badbit);
    return stream;
}

/// Refuses a chain with a gap; `words` is what a message begins with.
void CheckJoints(const Chain& chain, const std::string& words)
{
    for (std::size_t i = 1; i < chain.elements.size(); ++i) {
        const Vec2d to = chain.elements[i].StartPoint();
        const double gap = Vector::Length(to - chain.elements[i - 1].EndPoint());
        if (!(gap <= std::max(chain.tolerance, RoundingAt(to)))) {
            throw Failure{SORVANE_FILE_ERROR,
                          words + " element " + std::to_string(i) + " starts " + Text(gap) +
                              " away from the end of the one before",
                          static_cast<long long>(i)};
        }
    }
}

/// The element that begins with `keyword`; false when its numbers are not all there.
bool ReadElement(std::istream& stream, char keyword, Chain& chain)
{
    std::array<double, kElementSize> values{};
    const bool isArc = keyword == 'A';
    const std::size_t count = isArc ? 5 : 4;
    for (std::size_t i = 0; i < count; ++i) {
        if (!(stream >> values[i])) {
            return false;
        }
    }
    chain.elements.push_back(ElementOf(isArc ? 1 : 0, values.data()));
    return true;
}

/// The chain in a file, bit for bit. `Planar::ReadPolySegArcFromFile` reads the same files, but appends element by
/// element: it leaves out segments that are no longer than the tolerance, which chains of this interface may have.
Chain ReadChain(const std::string& path)
{
    std::istringstream stream = TextOf(path);
    long long stated = 0;
    if (!(stream >> stated) || stated < 1) {
        BadFile(path, "tells of no elements");
    }
    Chain chain;
    stream >> std::ws;
    const int next = stream.peek();
    if ((next >= '0' && next <= '9') || next == '+' || next == '-' || next == '.') {
        stream >> chain.tolerance;
    }
    char keyword = 0;
    while (static_cast<long long>(chain.elements.size()) < stated && stream >> keyword) {
        if ((keyword == 'A' || keyword == 'L') && !ReadElement(stream, keyword, chain)) {
            break;
        }
    }
    if (static_cast<long long>(chain.elements.size()) < stated) {
        BadFile(path, "tells of " + std::to_string(stated) + " elements, and " +
                          std::to_string(chain.elements.size()) + " can be read");
    }
    CheckRead(chain, path);
    CheckJoints(chain, path + ": tells of " + std::to_string(stated) + " elements, of which");
    return chain;
}

} // namespace

void CheckLength(double value, const char* name)
{
    if (!(value >= 0)) {
        BadArgument(std::string(name) + " is " + Text(value) + "; it must not be negative");
    }
}

void CheckPositive(double value, const char* name)
{
    if (!(value > 0) || std::isinf(value)) {
        BadArgument(std::string(name) + " is " + Text(value) + "; it must be greater than 0 and finite");
    }
}

void CheckFinite(const double* values, std::size_t count, std::size_t size, const char* name)
{
    for (std::size_t i = 0; i < count; ++i) {
        if (!(std::fabs(values[i]) <= kLargestCoordinate)) {
            BadArgument(std::string(name) + ": number " + std::to_string(i / size) +
                            " is not finite, or beyond 1e150",
                        static_cast<long long>(i / size));
        }
    }
}

Polyline FinitePoints(const double* points, std::size_t count, const char* name)
{
    CheckArray(points, count, name);
    CheckFinite(points, 2 * count, 2, name);
    return PointsOf<2>(points, count, name);
}

Polylines PolylinesOf(const double* points, std::size_t pointCount, const int* starts, std::size_t count,
                      const char* name)
{
    const Polyline all = FinitePoints(points, pointCount, "points");
    Polylines lines(count);
    if (count == 0) {
        return lines;
    }
    CheckArray(starts, count, "starts");
    for (std::size_t i = 0; i < count; ++i) {
        if (starts[i] < 0 || starts[i + 1] < starts[i] || static_cast<std::size_t>(starts[i + 1]) > pointCount) {
            BadIndex(std::string(name) + " " + std::to_string(i) + " has the points from " +
                         std::to_string(starts[i]) + " to " + std::to_string(starts[i + 1]) + " of " +
                         std::to_string(pointCount),
                     static_cast<long long>(i));
        }
        lines[i].assign(all.begin() + starts[i], all.begin() + starts[i + 1]);
    }
    return lines;
}

std::unique_ptr<sorvane_chain> NewChain(Chain chain)
{
    auto handle = std::make_unique<sorvane_chain>();
    if (chain.elements.size() >= static_cast<std::size_t>(std::numeric_limits<int>::max())) {
        throw std::length_error("chain");
    }
    for (const Element& element : chain.elements) {
        const Vec2d start = element.StartPoint();
        const Vec2d end = element.EndPoint();
        const auto* arc = element.AsArc();
        const Vec2d other = arc != nullptr ? arc->center : end;
        handle->kinds.push_back(element.Alternative());
        handle->elements.insert(handle->elements.end(),
                                {start.x(), start.y(), other.x(), other.y(), arc != nullptr ? arc->length : 0.0});
        handle->ends.insert(handle->ends.end(), {end.x(), end.y()});
    }
    handle->length = Planar::PolyArcSegParameters(chain, false).back();
    handle->area = Planar::PolyArcSegArea(chain);
    handle->isClosed = chain.IsClosed();
    handle->chain = std::move(chain);
    return handle;
}

Polyline PolylineOf(const sorvane_lines& lines, std::size_t index)
{
    const double* const first = lines.points.data() + 2 * static_cast<std::size_t>(lines.starts[index]);
    return PointsOf<2>(first, static_cast<std::size_t>(lines.starts[index + 1] - lines.starts[index]), "line");
}

void AddPolyline(sorvane_lines& lines, const Polyline& polyline)
{
    if (polyline.size() > 1 && polyline.front() == polyline.back()) {
        AddLine<2>(lines, Polyline(polyline.begin(), polyline.end() - 1), true);
    } else {
        AddLine<2>(lines, polyline, false);
    }
}

void EndGroup(sorvane_line_groups& groups) { groups.starts.push_back(static_cast<int>(groups.lines.closed.size())); }

} // namespace SorvaneC

// --- making, reading, writing ------------------------------------------------------------------------------------

sorvane_status sorvane_chain_new(const int* kinds, const double* elements, size_t count, double tolerance,
                                 sorvane_chain** chain, sorvane_error* error)
{
    return Guarded(error, [&] {
        Result(chain, "chain");
        CheckLength(tolerance, "tolerance");
        Chain made;
        made.tolerance = tolerance;
        made.elements = ElementsOf(kinds, elements, count);
        for (std::size_t i = 1; i < count; ++i) {
            CheckRegularity(made.elements[i - 1].EndPoint(), made.elements[i].StartPoint(), tolerance, i);
        }
        return Made(chain, NewChain(std::move(made)));
    });
}

sorvane_status sorvane_chain_from_points(const double* points, size_t point_count, int closed, double tolerance,
                                         sorvane_chain** chain, sorvane_error* error)
{
    return Guarded(error, [&] {
        Result(chain, "chain");
        CheckLength(tolerance, "tolerance");
        Polyline corners = FinitePoints(points, point_count, "points");
        if (closed != 0 && !corners.empty()) {
            corners.push_back(corners.front());
        }
        Chain made;
        made.tolerance = tolerance;
        for (std::size_t i = 1; i < corners.size(); ++i) {
            if (corners[i] != corners[i - 1]) {
                made.elements.emplace_back(Geometry::SegBase<double>{corners[i - 1], corners[i]});
            }
        }
        return Made(chain, NewChain(std::move(made)));
    });
}

sorvane_status sorvane_chain_fit(const double* points, size_t point_count, double tolerance, sorvane_chain** chain,
                                 sorvane_error* error)
{
    return Guarded(error, [&] {
        Result(chain, "chain");
        CheckLength(tolerance, "tolerance");
        const Polyline polyline = FinitePoints(points, point_count, "points");
        Chain made = Planar::FilterArcsAndSegs(polyline, tolerance);
        if (!IsStopped()) {
            if (made.elements.empty()) {
                Failed("no two of the points differ by more than the tolerance, or they are too large");
            }
            const double gap = Vector::Length(made.elements.back().EndPoint() - polyline.back());
            if (gap > 2 * tolerance + RoundingAt(polyline.back())) {
                Failed("the chain ends " + Text(gap) +
                       " before the last point: the tolerance is below the rounding of the coordinates");
            }
        }
        return Made(chain, NewChain(std::move(made)));
    });
}

sorvane_status sorvane_polyline_thin(const double* points, size_t point_count, double curvature, double tolerance,
                                     sorvane_lines** lines, sorvane_error* error)
{
    return Guarded(error, [&] {
        Result(lines, "lines");
        CheckLength(curvature, "curvature");
        CheckLength(tolerance, "tolerance");
        const Polyline polyline = FinitePoints(points, point_count, "points");
        auto made = std::make_unique<sorvane_lines>();
        AddPolyline(*made, Planar::FilterZeroCurvature(polyline, curvature, tolerance));
        return Made(lines, std::move(made));
    });
}

sorvane_status sorvane_chains_join(const int* kinds, const double* elements, size_t count, double tolerance,
                                   sorvane_chains** chains, sorvane_error* error)
{
    return Guarded(error, [&] {
        Result(chains, "chains");
        CheckLength(tolerance, "tolerance");
        return Made(chains, NewChains(Planar::CombineArcsSegs(ElementsOf(kinds, elements, count), tolerance)));
    });
}

sorvane_status sorvane_chain_read(const char* path, sorvane_chain** chain, sorvane_error* error)
{
    return Guarded(error, [&] {
        Result(chain, "chain");
        Chain made = ReadChain(&Required(path, "path"));
        return Made(chain, NewChain(std::move(made)));
    });
}

sorvane_status sorvane_chain_write(const sorvane_chain* chain, const char* path, sorvane_error* error)
{
    return Guarded(error, [&] {
        const Chain& given = ChainOf(chain);
        const std::string name = &Required(path, "path");
        if (given.elements.empty()) {
            BadFile(name, "the chain has no elements, and a file of none could not be read again");
        }
        if (std::isinf(given.tolerance)) {
            BadFile(name, "the chain has an infinite tolerance, which a file can't hold");
        }
        CheckJoints(given, name + ": could not be read again:");
        if (!Planar::WritePolySegArcToFile(given, name)) {
            BadFile(name, "cannot be written");
        }
    });
}

void sorvane_chain_free(sorvane_chain* chain) { delete chain; }

// --- what a chain is ---------------------------------------------------------------------------------------------

const int* sorvane_chain_kinds(const sorvane_chain* chain, size_t* count) { return Elements(chain->kinds, count); }

const double* sorvane_chain_elements(const sorvane_chain* chain, size_t* count)
{
    return Elements(chain->elements, count, kElementSize);
}

const double* sorvane_chain_ends(const sorvane_chain* chain, size_t* count) { return Elements(chain->ends, count, 2); }

double sorvane_chain_tolerance(const sorvane_chain* chain) { return chain->chain.tolerance; }

int sorvane_chain_is_closed(const sorvane_chain* chain) { return chain->isClosed ? 1 : 0; }

double sorvane_chain_length(const sorvane_chain* chain) { return chain->length; }

double sorvane_chain_area(const sorvane_chain* chain) { return chain->area; }

sorvane_status sorvane_chain_box(const sorvane_chain* chain, double* low, double* high, sorvane_error* error)
{
    return Guarded(error, [&] {
        const Chain& source = ChainOf(chain);
        Required(low, "low");
        Required(high, "high");
        if (source.elements.empty()) {
            Failed("an empty chain has no box");
        }
        low[0] = low[1] = std::numeric_limits<double>::infinity();
        high[0] = high[1] = -std::numeric_limits<double>::infinity();
        const auto add = [&](const Vec2d& point) {
            for (int axis = 0; axis < 2; ++axis) {
                low[axis] = std::min(low[axis], point[axis]);
                high[axis] = std::max(high[axis], point[axis]);
            }
        };
        for (const Element& element : source.elements) {
            if (const auto* arc = element.AsArc()) {
                const auto corners = arc->Bounds();
                add(corners[0]);
                add(corners[1]);
            } else {
                add(element.StartPoint());
                add(element.EndPoint());
            }
        }
    });
}

// --- along the chain ---------------------------------------------------------------------------------------------

sorvane_status sorvane_chain_parameters(const sorvane_chain* chain, int normalized, double* parameters,
                                        sorvane_error* error)
{
    return Guarded(error, [&] {
        const std::vector<double> joints = Planar::PolyArcSegParameters(ChainOf(chain), normalized != 0);
        std::copy(joints.begin(), joints.end(), &Required(parameters, "parameters"));
    });
}

sorvane_status sorvane_chain_points_at(const sorvane_chain* chain, const double* parameters, size_t count,
                                       int normalized, double* points, sorvane_error* error)
{
    return Guarded(error, [&] {
        const Chain& source = ChainOf(chain);
        CheckArray(points, count, "points");
        CheckArray(parameters, count, "parameters");
        Polyline found;
        const std::vector<bool> isOn = Planar::PointsAtParametersOnPolyArcSeg(
            source, std::vector<double>(parameters, parameters + count), normalized != 0, found);
        for (std::size_t i = 0; i < count; ++i) {
            if (!isOn[i]) {
                BadArgument("parameter " + std::to_string(i) + " is " + Text(parameters[i]) +
                                " and not on the chain",
                            static_cast<long long>(i));
            }
            points[2 * i] = found[i].x();
            points[2 * i + 1] = found[i].y();
        }
    });
}

sorvane_status sorvane_chain_parameters_of(const sorvane_chain* chain, const double* points, size_t count,
                                           double tolerance, double* parameters, sorvane_error* error)
{
    return Guarded(error, [&] {
        const Chain& source = ChainOf(chain);
        CheckLength(tolerance, "tolerance");
        CheckArray(parameters, count, "parameters");
        const std::vector<double> found = Planar::PointParametersOnPolyArcSeg(
            source, FinitePoints(points, count, "points"), tolerance);
        std::copy(found.begin(), found.end(), parameters);
    });
}

sorvane_status sorvane_chain_nearest(const sorvane_chain* chain, const double* points, size_t count, double* nearest,
                                     int* sides, sorvane_error* error)
{
    return Guarded(error, [&] {
        const Chain& source = ChainOf(chain);
        if (source.elements.empty()) {
            Failed("an empty chain has no nearest point");
        }
        CheckArray(points, count, "points");
        CheckFinite(points, 2 * count, 2, "points");
        for (std::size_t i = 0; i < count; ++i) {
            const Vec2d point(points[2 * i], points[2 * i + 1]);
            Vec2d foot;
            if (sides != nullptr) {
                sides[i] = Planar::PointInPolyArcSegSpace(source, point, true, &foot) ? 1 : 0;
            } else {
                foot = Planar::ClosestPointOnPolyArcSeg(source, point);
            }
            if (nearest != nullptr) {
                nearest[2 * i] = foot.x();
                nearest[2 * i + 1] = foot.y();
            }
        }
    });
}

// --- made from a chain -------------------------------------------------------------------------------------------

sorvane_status sorvane_chain_reversed(const sorvane_chain* chain, sorvane_chain** reversed, sorvane_error* error)
{
    return Guarded(error, [&] {
        Result(reversed, "reversed");
        Chain made = ChainOf(chain);
        std::reverse(made.elements.begin(), made.elements.end());
        for (Element& element : made.elements) {
            element.Reverse();
        }
        return Made(reversed, NewChain(std::move(made)));
    });
}

sorvane_status sorvane_chain_tessellate(const sorvane_chain* chain, double tolerance, sorvane_lines** lines,
                                        sorvane_error* error)
{
    return Guarded(error, [&] {
        Result(lines, "lines");
        CheckLength(tolerance, "tolerance");
        const sorvane_chain& source = Required(chain, "chain");
        Polyline points = Planar::Tessellate(source.chain, tolerance);
        const bool isClosed = source.isClosed && points.size() > 1;
        if (isClosed) {
            points.pop_back();
        }
        auto made = std::make_unique<sorvane_lines>();
        AddLine<2>(*made, points, isClosed);
        return Made(lines, std::move(made));
    });
}

sorvane_status sorvane_chain_offset(const sorvane_chain* chain, double distance, double tolerance,
                                    sorvane_chains** chains, sorvane_error* error)
{
    return sorvane_chain_offsets(chain, &distance, 1, tolerance, chains, error);
}

sorvane_status sorvane_chain_offsets(const sorvane_chain* chain, const double* distances, size_t count,
                                     double tolerance, sorvane_chains** chains, sorvane_error* error)
{
    return Guarded(error, [&] {
        Result(chains, "chains");
        const Chain& given = ChainOf(chain);
        CheckLength(tolerance, "tolerance");
        CheckArray(distances, count, "distances");
        CheckFinite(distances, count, 1, "distances");
        std::set<double> wanted;
        for (std::size_t i = 0; i < count; ++i) {
            if (std::fabs(distances[i]) > tolerance) {
                wanted.insert(distances[i]);
            }
        }
        std::vector<std::vector<Chain>> groups(count);
        const auto offsets = Planar::WallOffsets<double>({given}, wanted, tolerance);
        for (std::size_t i = 0; i < count && (offsets.size() == wanted.size()); ++i) {
            const auto place = wanted.find(distances[i]);
            if (place == wanted.end()) {
                groups[i].push_back(given);
            } else {
                groups[i] = offsets[static_cast<std::size_t>(std::distance(wanted.begin(), place))];
            }
        }
        return Made(chains, NewChains(std::move(groups)));
    });
}

sorvane_status sorvane_chain_break(const sorvane_chain* chain, const double* parameters, size_t count, int normalized,
                                   double tolerance, sorvane_chain** broken, sorvane_error* error)
{
    return Guarded(error, [&] {
        Result(broken, "broken");
        const Chain source = CheckedChain(chain, tolerance);
        const std::vector<double> places = ParametersOf(parameters, count);
        CheckParameters(source, places, normalized != 0, tolerance);
        return Made(broken, NewChain(Planar::BreakAtParams(source, places, normalized != 0, tolerance)));
    });
}

sorvane_status sorvane_chain_split(const sorvane_chain* chain, const double* parameters, size_t count, int normalized,
                                   double tolerance, sorvane_chains** pieces, sorvane_error* error)
{
    return Guarded(error, [&] {
        Result(pieces, "pieces");
        const Chain source = CheckedChain(chain, tolerance);
        const std::vector<double> places = ParametersOf(parameters, count);
        CheckParameters(source, places, normalized != 0, tolerance);
        return Made(pieces, NewChains(Planar::Split(source, places, normalized != 0, tolerance)));
    });
}

sorvane_status sorvane_chain_split_at_tangent(const sorvane_chain* chain, const double* direction, double tolerance,
                                              sorvane_chains** pieces, sorvane_error* error)
{
    return Guarded(error, [&] {
        Result(pieces, "pieces");
        const Chain source = CheckedChain(chain, tolerance);
        Required(direction, "direction");
        CheckFinite(direction, 2, 2, "direction");
        const double length = std::hypot(direction[0], direction[1]);
        if (!(length > 0) || std::isinf(length)) {
            BadArgument("direction has no length, or too large a one");
        }
        const Vec2d unit(direction[0] / length, direction[1] / length);
        return Made(pieces, NewChains(Planar::SplitAtTangent(source, unit, tolerance)));
    });
}

sorvane_status sorvane_chain_trim(const sorvane_chain* chain, const double* from, const double* to, double tolerance,
                                  sorvane_chain** part, sorvane_error* error)
{
    return Guarded(error, [&] {
        Result(part, "part");
        const Chain source = CheckedChain(chain, tolerance);
        Required(from, "from");
        Required(to, "to");
        CheckFinite(from, 2, 2, "from");
        CheckFinite(to, 2, 2, "to");
        const Polyline points{{from[0], from[1]}, {to[0], to[1]}};
        Chain made = Planar::TrimToPoints(source, points[0], points[1], tolerance);
        if (made.elements.empty()) {
            const std::vector<double> places = Planar::PointParametersOnPolyArcSeg(source, points, tolerance);
            Failed(places[0] < 0   ? "the first point is not on the chain"
                   : places[1] < 0 ? "the second point is not on the chain"
                                   : "the second point does not follow the first one on the chain");
        }
        return Made(part, NewChain(std::move(made)));
    });
}

// --- two chains --------------------------------------------------------------------------------------------------

sorvane_status sorvane_chain_intersections(const sorvane_chain* a, const sorvane_chain* b, double tolerance,
                                           sorvane_lines** points, sorvane_error* error)
{
    return Guarded(error, [&] {
        Result(points, "points");
        CheckLength(tolerance, "tolerance");
        auto made = std::make_unique<sorvane_lines>();
        AddLine<2>(*made, Planar::IntersectionPoints(ChainOf(a, "a"), ChainOf(b, "b"), tolerance), false);
        return Made(points, std::move(made));
    });
}

sorvane_status sorvane_chain_break_at_intersections(const sorvane_chain* a, const sorvane_chain* b, double tolerance,
                                                    sorvane_chain** broken_a, sorvane_chain** broken_b,
                                                    sorvane_error* error)
{
    return Guarded(error, [&] {
        if (broken_b != nullptr) {
            *broken_b = nullptr;
        }
        Result(broken_a, "broken_a");
        Result(broken_b, "broken_b");
        CheckLength(tolerance, "tolerance");
        Chain first = ChainOf(a, "a");
        Chain second = ChainOf(b, "b");
        Polyline points;
        Planar::BreakAtIntersections(first, second, points, tolerance);
        return MadeTogether(Made(broken_a, NewChain(std::move(first))), Made(broken_b, NewChain(std::move(second))));
    });
}

sorvane_status sorvane_chain_split_at_intersections(const sorvane_chain* a, const sorvane_chain* b, double tolerance,
                                                    sorvane_chains** pieces_of_a, sorvane_chains** pieces_of_b,
                                                    sorvane_error* error)
{
    return Guarded(error, [&] {
        if (pieces_of_b != nullptr) {
            *pieces_of_b = nullptr;
        }
        Result(pieces_of_a, "pieces_of_a");
        Result(pieces_of_b, "pieces_of_b");
        CheckLength(tolerance, "tolerance");
        const Chain& first = ChainOf(a, "a");
        const Chain& second = ChainOf(b, "b");
        std::vector<Chain> piecesOfFirst;
        std::vector<Chain> piecesOfSecond;
        if (!Planar::SplitAtIntersections(first, second, piecesOfFirst, piecesOfSecond, tolerance)) {
            piecesOfFirst.push_back(first);
            piecesOfSecond.push_back(second);
        }
        return MadeTogether(Made(pieces_of_a, NewChains(std::move(piecesOfFirst))),
                        Made(pieces_of_b, NewChains(std::move(piecesOfSecond))));
    });
}

// --- lists of chains ---------------------------------------------------------------------------------------------

size_t sorvane_chains_count(const sorvane_chains* chains) { return chains->chains.size(); }

const sorvane_chain* sorvane_chains_at(const sorvane_chains* chains, size_t index)
{
    return index < chains->chains.size() ? chains->chains[index].get() : nullptr;
}

const int* sorvane_chains_groups(const sorvane_chains* chains, size_t* count)
{
    return Elements(chains->groups, count);
}

void sorvane_chains_free(sorvane_chains* chains) { delete chains; }
