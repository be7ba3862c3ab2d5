// Segments that overlap on one line in great numbers; the idea is told in the header.
//
//   1. Segments are sorted by slope, then by where their line crosses an axis. Differences of
//      coordinates that are exact give all segments of a line the same slope bit for bit, however
//      long they are; the place on the axis is rounded, and an exact predicate decides.
//   2. The ends along the line make the stretches. Each stretch goes to the first segment over it.
//   3. Stretches and all other segments are cut together, and it is checked that nothing happened
//      for which it matters that the stretches were one segment each.

#include "arrangement/OverlapsOnLines_Impl.h"

#include "mathbase/Predicates_Impl.h"
#include "mathbase/Progress_Impl.h"
#include "mathbase/Values_Impl.h"

#include <Velk/Math/Intersect_E.h>
#include <Velk/Math/Vector_E.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <tuple>
#include <utility>

namespace Velk::Math::Intersect::Impl {
namespace {

using Segment = Geometry::SegBase<double>;

/// A bundle pays where its members would fall into more than this many pieces each.
constexpr int kPiecesPerMember = 8;

/// Ends at least this many tolerances apart are never drawn together: a cut moves by two at most,
/// and two tolerances lie between it and what it might be taken for.
constexpr double kClearance = 8;

/// How near, in tolerances, a segment that goes through an end of a bundle passes it, and the least
/// sine of its angle with the line. Its crossings with all members are then within the tolerance of
/// that end, and become it.
constexpr double kNearPass = 0.1;
constexpr double kSteepSine = 0.2;

/// Rounding of a coordinate that was calculated from others, in epsilons of the largest.
constexpr double kRounding = 16;

/// The line of a segment: slope against the axis along which it is longer, and where it crosses the
/// other axis.
struct Line {
    bool alongY;
    double slope;
    double offset;
    int segment;
};

Line LineOf(const Segment& segment, int number)
{
    const Vec2d d = segment.end - segment.start;
    const bool alongY = std::fabs(d.y()) > std::fabs(d.x());
    // Adding zero makes one of the two zeros.
    const double slope = (alongY ? d.x() / d.y() : d.y() / d.x()) + 0.0;
    const auto [along, across] = alongY ? std::pair(segment.start.y(), segment.start.x())
                                        : std::pair(segment.start.x(), segment.start.y());
    return {alongY, slope, across - slope * along, number};
}

std::size_t SlotOf(const Line& line, std::size_t slots)
{
    std::uint64_t bits = std::bit_cast<std::uint64_t>(line.slope) + (line.alongY ? 1 : 0);
    bits *= 0x9e3779b97f4a7c15U;
    return static_cast<std::size_t>(bits >> 32) & (slots - 1);
}

/// The lines of the segments that share their slope with enough others for a bundle, and maybe a
/// few more. A table of counts by slope spares most drawings the sorting.
std::vector<Line> LinesOfCommonSlopes(const std::vector<Segment>& segments)
{
    std::vector<Line> lines;
    if (segments.size() <= kPiecesPerMember) {
        return lines;
    }
    const std::size_t slots = std::bit_ceil(segments.size());
    std::vector<std::uint8_t> counts(slots, 0);
    const auto forLines = [&](const auto& visit) {
        for (std::size_t i = 0; i < segments.size(); ++i) {
            Progress::Impl::CheckStep(i);
            if (!(segments[i].start == segments[i].end)) {
                visit(LineOf(segments[i], static_cast<int>(i)));
            }
        }
    };
    forLines([&](const Line& line) {
        std::uint8_t& count = counts[SlotOf(line, slots)];
        count = static_cast<std::uint8_t>(count + (count <= kPiecesPerMember ? 1 : 0));
    });
    forLines([&](const Line& line) {
        if (counts[SlotOf(line, slots)] > kPiecesPerMember) {
            lines.push_back(line);
        }
    });
    return lines;
}

double LargestOf(const std::vector<Segment>& segments)
{
    double largest = 0;
    for (const Segment& segment : segments) {
        largest = std::max({largest, Math::Impl::LargestMagnitude(segment.start),
                            Math::Impl::LargestMagnitude(segment.end)});
    }
    return largest;
}

/// The bundle of the segments among `lines` that lie exactly on the line of the first of them.
LineBundle BundleOf(const std::vector<Segment>& segments, const std::vector<Line>& lines,
                    std::size_t from, std::size_t to)
{
    struct End {
        double along;
        int member;
        bool isEnd;
    };
    LineBundle bundle;
    std::vector<End> ends;
    const Segment& leader = segments[static_cast<std::size_t>(lines[from].segment)];
    const bool alongY = lines[from].alongY;
    for (std::size_t i = from; i < to; ++i) {
        const Segment& segment = segments[static_cast<std::size_t>(lines[i].segment)];
        if (Math::Impl::Orientation(leader.start, leader.end, segment.start) == 0 &&
            Math::Impl::Orientation(leader.start, leader.end, segment.end) == 0) {
            bundle.members.push_back({lines[i].segment, 0, 0, false});
        }
    }
    std::sort(bundle.members.begin(), bundle.members.end(),
              [](const auto& a, const auto& b) { return a.segment < b.segment; });
    const auto along = [&](const Vec2d& p) { return alongY ? p.y() : p.x(); };
    for (std::size_t i = 0; i < bundle.members.size(); ++i) {
        const Segment& segment = segments[static_cast<std::size_t>(bundle.members[i].segment)];
        ends.push_back({along(segment.start), static_cast<int>(i), false});
        ends.push_back({along(segment.end), static_cast<int>(i), true});
    }
    std::stable_sort(ends.begin(), ends.end(),
                     [](const End& a, const End& b) { return a.along < b.along; });
    for (std::size_t i = 0; i < ends.size(); ++i) {
        LineBundle::Member& member = bundle.members[static_cast<std::size_t>(ends[i].member)];
        if (i == 0 || ends[i].along != ends[i - 1].along) {
            const Segment& segment = segments[static_cast<std::size_t>(member.segment)];
            bundle.ends.push_back(ends[i].isEnd ? segment.end : segment.start);
        }
        (ends[i].isEnd ? member.high : member.low) = static_cast<int>(bundle.ends.size()) - 1;
    }
    for (LineBundle::Member& member : bundle.members) {
        member.reversed = member.low > member.high;
        if (member.reversed) {
            std::swap(member.low, member.high);
        }
    }
    return bundle;
}

bool Pays(const LineBundle& bundle)
{
    std::int64_t pieces = 0;
    for (const LineBundle::Member& member : bundle.members) {
        pieces += member.high - member.low;
    }
    return pieces > kPiecesPerMember * static_cast<std::int64_t>(bundle.members.size());
}

/// Whether ends that differ are clear of each other.
bool EndsAreClear(const std::vector<Segment>& segments, double clearance)
{
    std::vector<Vec2d> ends;
    ends.reserve(2 * segments.size());
    for (const Segment& segment : segments) {
        ends.push_back(segment.start);
        ends.push_back(segment.end);
    }
    Vector::FilterForUniqueness(ends, 0.0);
    const std::size_t distinct = ends.size();
    Vector::FilterForUniqueness(ends, clearance);
    return ends.size() == distinct;
}

/// Appends the stretches of a member that are left, in its direction.
void AppendStretches(const LineBundle& bundle, const LineBundle::Member& member, EachOnce& left,
                     std::vector<Segment>& elements)
{
    const std::size_t before = elements.size();
    left.Take(
        static_cast<std::size_t>(member.low), static_cast<std::size_t>(member.high),
        [&](std::size_t i) {
            const Segment stretch{bundle.ends[i], bundle.ends[i + 1]};
            elements.push_back(member.reversed ? Segment{stretch.end, stretch.start} : stretch);
        });
    if (member.reversed) {
        std::reverse(elements.begin() + static_cast<std::ptrdiff_t>(before), elements.end());
    }
}

/// An end of a bundle, and the unit vector of its line.
struct BundleEnd {
    Vec2d point;
    Vec2d direction;
};

bool Before(const Vec2d& a, const Vec2d& b)
{
    return std::tuple(a.x(), a.y()) < std::tuple(b.x(), b.y());
}

std::vector<BundleEnd> SortedEnds(const std::vector<LineBundle>& bundles)
{
    std::vector<BundleEnd> ends;
    for (const LineBundle& bundle : bundles) {
        const Vec2d span = bundle.ends.back() - bundle.ends.front();
        for (const Vec2d& end : bundle.ends) {
            ends.push_back({end, span * (1 / Vector::Length(span))});
        }
    }
    std::sort(ends.begin(), ends.end(),
              [](const BundleEnd& a, const BundleEnd& b) { return Before(a.point, b.point); });
    return ends;
}

/// Whether a cut of `segment` that is an end of a bundle is one that all members cause alike.
bool PassesSteeply(const Segment& segment, const Vec2d& cut, const std::vector<BundleEnd>& ends,
                   double tolerance)
{
    const Vec2d d = segment.end - segment.start;
    const double length = Vector::Length(d);
    auto end = std::lower_bound(ends.begin(), ends.end(), cut,
                                [](const auto& a, const Vec2d& b) { return Before(a.point, b); });
    for (; end != ends.end() && end->point == cut; ++end) {
        if (std::fabs(d ^ (cut - segment.start)) > kNearPass * tolerance * length ||
            std::fabs(d ^ end->direction) < kSteepSine * length) {
            return false;
        }
    }
    return true;
}

} // namespace

std::vector<LineBundle> FindLineBundles(const std::vector<Segment>& segments)
{
    std::vector<LineBundle> bundles;
    std::vector<Line> lines = LinesOfCommonSlopes(segments);
    if (lines.empty()) {
        return bundles;
    }
    std::sort(lines.begin(), lines.end(), [](const Line& a, const Line& b) {
        return std::tuple(a.alongY, a.slope, a.offset, a.segment) <
               std::tuple(b.alongY, b.slope, b.offset, b.segment);
    });
    const double gap = kRounding * std::numeric_limits<double>::epsilon() * LargestOf(segments);
    for (std::size_t from = 0; from < lines.size();) {
        const auto sameLine = [&](std::size_t i) {
            return lines[i].alongY == lines[from].alongY && lines[i].slope == lines[from].slope &&
                   lines[i].offset - lines[i - 1].offset <= (lines[i].slope == 0 ? 0.0 : gap);
        };
        std::size_t to = from + 1;
        while (to < lines.size() && sameLine(to)) {
            ++to;
        }
        if (to - from > kPiecesPerMember) {
            LineBundle bundle = BundleOf(segments, lines, from, to);
            if (Pays(bundle)) {
                bundles.push_back(std::move(bundle));
            }
        }
        from = to;
    }
    return bundles;
}

std::optional<CutOnLines> CutOverlapsOnLines(const std::vector<Segment>& segments, double tolerance)
{
    CutOnLines result;
    result.bundles = FindLineBundles(segments);
    if (result.bundles.empty()) {
        return std::nullopt;
    }
    const double rounding = 4 * std::numeric_limits<double>::epsilon() * LargestOf(segments);
    const double widest = std::max(tolerance, rounding);
    if (!EndsAreClear(segments, kClearance * widest)) {
        return std::nullopt;
    }

    struct Place {
        int bundle = -1;
        int member = -1;
    };
    std::vector<Place> places(segments.size());
    std::vector<EachOnce> left;
    for (std::size_t b = 0; b < result.bundles.size(); ++b) {
        left.emplace_back(result.bundles[b].ends.size());
        const auto& members = result.bundles[b].members;
        for (std::size_t m = 0; m < members.size(); ++m) {
            places[static_cast<std::size_t>(members[m].segment)] = {static_cast<int>(b),
                                                                    static_cast<int>(m)};
        }
    }
    for (std::size_t i = 0; i < segments.size(); ++i) {
        const auto [bundle, member] = places[i];
        if (bundle < 0) {
            result.elements.push_back(segments[i]);
        } else {
            const auto b = static_cast<std::size_t>(bundle);
            AppendStretches(result.bundles[b],
                            result.bundles[b].members[static_cast<std::size_t>(member)], left[b],
                            result.elements);
        }
        result.segmentOf.resize(result.elements.size(), static_cast<int>(i));
    }

    result.pieces = result.elements;
    CutAtIntersections(result.pieces, tolerance);
    const std::vector<BundleEnd> ends = SortedEnds(result.bundles);
    std::size_t piece = 0;
    for (std::size_t e = 0; e < result.elements.size(); ++e, ++piece) {
        Progress::Impl::CheckStep(e);
        const Segment& element = result.elements[e];
        const bool isStretch = places[static_cast<std::size_t>(result.segmentOf[e])].bundle >= 0;
        for (; !(result.pieces[piece].end == element.end); ++piece) {
            const Vec2d& cut = result.pieces[piece].end;
            if (isStretch || !PassesSteeply(element, cut, ends, tolerance)) {
                return std::nullopt;
            }
        }
    }
    return result;
}

} // namespace Velk::Math::Intersect::Impl
