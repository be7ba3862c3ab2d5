// A triangle soup cut by another one, or by itself.
//
// 1. All segments in which triangles cut each other (TriangleMeetings.cpp).
// 2. Ends within the tolerance of each other become one point, a corner of a triangle if there is
// one
//    among them: what meets there has the same bits in every triangle.
// 3. Each triangle that is cut is triangulated by itself, in its plane, with its segments as
//    constraints. The points go back to space by their numbers, not by calculation.

#include "imprint/TriangleMeetings_Impl.h"
#include "imprint/TriangleSlicer_Impl.h"
#include "mathbase/Parallel_Impl.h"
#include "triangulation/ConstrainedDelaunay_Impl.h"

#include <Velk/Math/Geometry_E.h>
#include <Velk/Math/Intersect_E.h>
#include <Velk/Math/Tolerances_E.h>
#include <Velk/Math/Vector_E.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>

namespace Velk::Math::Sorvane::Mesh {
namespace {

using Impl::Meeting;
using Impl::SoupTriangle;
using Triangles = TriangleSlicer::Triangles;

/// Points within this of each other are one.
constexpr double kWeld = kLengthFloor<double>;
/// What lies within this of a segment cuts it.
constexpr double kCut = 1e-11;
/// The areas of the pieces add up to that of the triangle, but for this share of it.
constexpr double kAreaShare = 1e-6;

double LargestCoordinate(const SoupTriangle& t)
{
    return std::max({Math::Impl::LargestMagnitude(t[0]), Math::Impl::LargestMagnitude(t[1]),
                     Math::Impl::LargestMagnitude(t[2])});
}

// --- what cuts each triangle --------------------------------------------------------------------

/// A segment between two of the common points.
using Cut = std::pair<int, int>;

/// The segments with common ends.
struct Arrangement {
    std::vector<Vec3d> points;
    std::vector<Cut> cuts; // of each meeting; both ends the same when nothing is left of it
};

/// Makes points that lie within the tolerance of each other one; the number of each in what is
/// left.
///
/// The tolerance follows the size of coordinates in steps of a thousand, each step by itself: one
/// huge triangle does not swallow the detail of all others. Steps lie at no round number, so that
/// the points of a face at one do not fall on both sides.
std::vector<int> WeldBySize(std::vector<Vec3d>& points)
{
    constexpr double kStep = 1000.0;
    const double first = kWeld / Impl::AtLeastRounding(0.0, 1.0); // up to here it is `kWeld`
    std::vector<std::vector<int>> ofStep;
    for (std::size_t i = 0; i < points.size(); ++i) {
        const double size = Math::Impl::LargestMagnitude(points[i]);
        std::size_t step = 0;
        for (double end = first; size > end; end *= kStep) {
            ++step;
        }
        ofStep.resize(std::max(ofStep.size(), step + 1));
        ofStep[step].push_back(static_cast<int>(i));
    }
    std::vector<int> number(points.size());
    std::vector<Vec3d> welded;
    double tolerance = kWeld;
    for (const std::vector<int>& members : ofStep) {
        std::vector<Vec3d> part;
        part.reserve(members.size());
        for (const int i : members) {
            part.push_back(points[static_cast<std::size_t>(i)]);
        }
        const std::vector<int> place = Vector::FilterForUniquenessAndIndex(part, tolerance);
        for (std::size_t k = 0; k < members.size(); ++k) {
            number[static_cast<std::size_t>(members[k])] =
                static_cast<int>(welded.size()) + place[k];
        }
        welded.insert(welded.end(), part.begin(), part.end());
        tolerance *= kStep;
    }
    points = std::move(welded);
    return number;
}

/// Corners of the triangles that are cut come first: they stay where they are.
Arrangement Arrange(const std::vector<Meeting>& meetings, const std::vector<Vec3d>& corners)
{
    Arrangement arrangement;
    arrangement.points = corners;
    arrangement.points.reserve(corners.size() + 2 * meetings.size());
    for (const Meeting& meeting : meetings) {
        arrangement.points.insert(arrangement.points.end(), meeting.segment.begin(),
                                  meeting.segment.end());
    }
    const std::vector<int> number = WeldBySize(arrangement.points);
    for (std::size_t i = corners.size(); i-- > 0;) {
        arrangement.points[static_cast<std::size_t>(number[i])] = corners[i];
    }
    arrangement.cuts.reserve(meetings.size());
    for (std::size_t i = corners.size(); i + 1 < number.size(); i += 2) {
        arrangement.cuts.emplace_back(number[i], number[i + 1]);
    }
    return arrangement;
}

// --- one triangle -------------------------------------------------------------------------------

/// Coordinates in the plane of a triangle, relative to its first corner so that no digits are lost
/// far from zero: the triangle is counter-clockwise, its first edge runs along x.
class TriangleFrame {
public:
    explicit TriangleFrame(const SoupTriangle& t) : origin_(t[0])
    {
        const Vec3d first = t[1] - t[0];
        const Vec3d second = t[2] - t[0];
        // Scaled, as the square of a doubled area leaves the range of doubles before the corners
        // do.
        const double scale = Math::Impl::ScaleToOne(
            std::max(Math::Impl::LargestMagnitude(first), Math::Impl::LargestMagnitude(second)));
        x_ = Vector::Normalized(first * scale, 0.0);
        const Vec3d normal = (first * scale) ^ (second * scale);
        y_ = Vector::Normalized(normal, 0.0) ^ x_;
    }

    Vec2d ToPlane(const Vec3d& point) const
    {
        const Vec3d arm = point - origin_;
        return {arm * x_, arm * y_};
    }
    Vec3d ToSpace(const Vec2d& point) const { return origin_ + x_ * point.x() + y_ * point.y(); }

private:
    Vec3d origin_;
    Vec3d x_;
    Vec3d y_;
};

double DoubledArea(const Vec2d& a, const Vec2d& b, const Vec2d& c) { return (b - a) ^ (c - a); }

/// The triangle in pieces that have the cuts as edges. The triangle itself when they don't cover
/// it.
Triangles PiecesOf(const SoupTriangle& triangle, std::vector<Cut> cuts,
                   const std::vector<Vec3d>& points)
{
    using Segment = Geometry::SegBase<double>;
    const double tolerance = Impl::AtLeastRounding(kCut, LargestCoordinate(triangle));
    const TriangleFrame frame(triangle);
    std::array<Vec2d, 3> corners;
    Impl::FlatPoints origins;
    for (std::size_t i = 0; i < 3; ++i) {
        corners[i] = frame.ToPlane(triangle[i]);
        origins.Add(corners[i], triangle[i]);
    }
    // An end near a corner is the corner: a stub of that length would end beside it.
    const auto flatOf = [&](int number) {
        const Vec3d& point = points[static_cast<std::size_t>(number)];
        const Vec2d flat = frame.ToPlane(point);
        for (const Vec2d& corner : corners) {
            if (Matches(flat, corner, tolerance)) {
                return corner;
            }
        }
        origins.Add(flat, point);
        return flat;
    };
    for (Cut& cut : cuts) {
        if (cut.second < cut.first) {
            std::swap(cut.first, cut.second);
        }
    }
    std::sort(cuts.begin(), cuts.end());
    cuts.erase(std::unique(cuts.begin(), cuts.end()), cuts.end());

    std::vector<Segment> segments;
    segments.reserve(cuts.size() + 3);
    for (std::size_t i = 0; i < 3; ++i) {
        segments.push_back({corners[i], corners[(i + 1) % 3]});
    }
    for (const auto& [from, to] : cuts) {
        const Segment segment{flatOf(from), flatOf(to)};
        if (!(segment.start == segment.end)) {
            segments.push_back(segment);
        }
    }
    if (segments.size() == 3) {
        return Triangles(1, triangle);
    }
    Intersect::CutAtIntersections(segments, tolerance);
    origins.Sort();

    std::vector<Vec2d> vertices;
    vertices.reserve(2 * segments.size());
    for (const Segment& segment : segments) {
        vertices.push_back(segment.start);
        vertices.push_back(segment.end);
    }
    const std::vector<int> number = Vector::FilterForUniquenessAndIndex(vertices, kWeld);
    std::vector<std::pair<int, int>> constraints;
    constraints.reserve(segments.size());
    for (std::size_t i = 0; i + 1 < number.size(); i += 2) {
        constraints.emplace_back(number[i], number[i + 1]);
    }
    HalfEdge::Impl::ConstrainedDelaunay delaunay(vertices, kWeld);
    delaunay.InsertSegments(constraints);
    const std::vector<int> indices = std::move(delaunay).EnclosedTriangles();

    std::vector<Vec3d> inSpace;
    inSpace.reserve(vertices.size());
    for (const Vec2d& vertex : vertices) {
        const Vec3d* origin = origins.Find(vertex);
        inSpace.push_back(origin != nullptr ? *origin : frame.ToSpace(vertex));
    }
    Triangles pieces;
    pieces.reserve(indices.size() / 3);
    double covered = 0.0;
    for (std::size_t i = 0; i + 2 < indices.size(); i += 3) {
        const auto a = static_cast<std::size_t>(indices[i]);
        const auto b = static_cast<std::size_t>(indices[i + 1]);
        const auto c = static_cast<std::size_t>(indices[i + 2]);
        covered += DoubledArea(vertices[a], vertices[b], vertices[c]);
        pieces.push_back({inSpace[a], inSpace[b], inSpace[c]});
    }
    const double whole = DoubledArea(corners[0], corners[1], corners[2]);
    // Rounding of the outline sweeps no more than this.
    const double slack = kAreaShare * whole + tolerance * (Length(corners[1] - corners[0]) +
                                                           Length(corners[2] - corners[1]) +
                                                           Length(corners[0] - corners[2]));
    return std::fabs(covered - whole) <= slack ? pieces : Triangles(1, triangle);
}

// --- a soup -------------------------------------------------------------------------------------

/// The meetings of each triangle of a soup.
class MeetingsByTriangle {
public:
    explicit MeetingsByTriangle(std::size_t triangles) : lists_(triangles) {}

    void Add(int triangle, int meeting)
    {
        lists_[static_cast<std::size_t>(triangle)].push_back(meeting);
    }
    const std::vector<int>& Of(std::size_t triangle) const { return lists_[triangle]; }
    std::size_t Size() const { return lists_.size(); }

    /// The triangles that are cut, ascending.
    std::vector<int> Cut() const
    {
        std::vector<int> cut;
        for (std::size_t i = 0; i < lists_.size(); ++i) {
            if (!lists_[i].empty()) {
                cut.push_back(static_cast<int>(i));
            }
        }
        return cut;
    }

private:
    std::vector<std::vector<int>> lists_;
};

/// Appends the pieces of all triangles that are cut, and the others where they are wanted.
void AppendPieces(const Triangles& soup, const MeetingsByTriangle& meetings,
                  const Arrangement& arrangement, Triangles& pieces, Triangles* uncut)
{
    const std::vector<int> cut = meetings.Cut();
    std::vector<Triangles> piecesOf(cut.size());
    Parallel::Impl::ApplyParallel(std::size_t{0}, cut.size(), [&](std::size_t i) {
        const auto triangle = static_cast<std::size_t>(cut[i]);
        std::vector<Cut> cuts;
        for (const int meeting : meetings.Of(triangle)) {
            const Cut& found = arrangement.cuts[static_cast<std::size_t>(meeting)];
            if (found.first != found.second) {
                cuts.push_back(found);
            }
        }
        piecesOf[i] = PiecesOf(soup[triangle], std::move(cuts), arrangement.points);
    });
    for (const Triangles& part : piecesOf) {
        pieces.insert(pieces.end(), part.begin(), part.end());
    }
    for (std::size_t i = 0; uncut != nullptr && i < soup.size(); ++i) {
        if (meetings.Of(i).empty()) {
            uncut->push_back(soup[i]);
        }
    }
}

void AppendCorners(const Triangles& soup, const std::vector<int>& triangles,
                   std::vector<Vec3d>& corners)
{
    for (const int triangle : triangles) {
        const SoupTriangle& t = soup[static_cast<std::size_t>(triangle)];
        corners.insert(corners.end(), t.begin(), t.end());
    }
}

/// The segments, each once, linked.
TriangleSlicer::Curves CurvesOf(const Arrangement& arrangement)
{
    std::vector<std::pair<Cut, std::size_t>> sorted;
    for (std::size_t i = 0; i < arrangement.cuts.size(); ++i) {
        const Cut& cut = arrangement.cuts[i];
        if (cut.first != cut.second) {
            sorted.push_back({std::minmax(cut.first, cut.second), i});
        }
    }
    std::sort(sorted.begin(), sorted.end());
    std::vector<std::size_t> once;
    for (std::size_t i = 0; i < sorted.size(); ++i) {
        if (i == 0 || sorted[i].first != sorted[i - 1].first) {
            once.push_back(sorted[i].second);
        }
    }
    std::sort(once.begin(), once.end());
    std::vector<std::array<Vec3d, 2>> segments;
    segments.reserve(once.size());
    for (const std::size_t i : once) {
        const auto& [from, to] = arrangement.cuts[i];
        segments.push_back({arrangement.points[static_cast<std::size_t>(from)],
                            arrangement.points[static_cast<std::size_t>(to)]});
    }
    return Vector::LineSegmentsToPolyPointStream(segments, 0.0); // ends are equal to the bit
}

} // namespace

// --- the slicer ---------------------------------------------------------------------------------

TriangleSlicer::CutTriangles TriangleSlicer::SliceTriangles(const Triangles& cutter) const
{
    const std::vector<Meeting> meetings = Impl::MeetingsOf(soup_, cutter);
    MeetingsByTriangle ofSoup(soup_.size());
    MeetingsByTriangle ofCutter(cutter.size());
    for (std::size_t i = 0; i < meetings.size(); ++i) {
        ofSoup.Add(meetings[i].first, static_cast<int>(i));
        ofCutter.Add(meetings[i].second, static_cast<int>(i));
    }
    std::vector<Vec3d> corners;
    AppendCorners(soup_, ofSoup.Cut(), corners);
    AppendCorners(cutter, ofCutter.Cut(), corners);
    const Arrangement arrangement = Arrange(meetings, corners);
    CutTriangles cut;
    AppendPieces(soup_, ofSoup, arrangement, cut.first, &cut.uncut);
    AppendPieces(cutter, ofCutter, arrangement, cut.second, nullptr);
    cut.curves = CurvesOf(arrangement);
    return cut;
}

TriangleSlicer::CutTriangles TriangleSlicer::SelfIntersections() const
{
    const std::vector<Meeting> meetings = Impl::MeetingsWithin(soup_);
    MeetingsByTriangle ofSoup(soup_.size());
    for (std::size_t i = 0; i < meetings.size(); ++i) {
        ofSoup.Add(meetings[i].first, static_cast<int>(i));
        ofSoup.Add(meetings[i].second, static_cast<int>(i));
    }
    std::vector<Vec3d> corners;
    AppendCorners(soup_, ofSoup.Cut(), corners);
    const Arrangement arrangement = Arrange(meetings, corners);
    CutTriangles cut;
    AppendPieces(soup_, ofSoup, arrangement, cut.first, &cut.uncut);
    cut.curves = CurvesOf(arrangement);
    return cut;
}

TriangleSlicer::Segments TriangleSlicer::SegmentsAtIntersection(const Triangles& cutter) const
{
    Segments segments;
    for (const Meeting& meeting : Impl::MeetingsOf(soup_, cutter)) {
        segments.push_back(meeting.segment);
    }
    return segments;
}

TriangleSlicer::Segments TriangleSlicer::SegmentsAtSelfIntersection() const
{
    const std::vector<Meeting> meetings = Impl::MeetingsWithin(soup_);
    // By triangle: those with a lower one first, which come in the order of the lower ones.
    std::vector<std::pair<int, int>> byTriangle; // triangle, meeting
    for (int pass = 0; pass < 2; ++pass) {
        for (std::size_t i = 0; i < meetings.size(); ++i) {
            byTriangle.emplace_back(pass == 0 ? meetings[i].second : meetings[i].first,
                                    static_cast<int>(i));
        }
    }
    std::stable_sort(byTriangle.begin(), byTriangle.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
    Segments segments;
    segments.reserve(byTriangle.size());
    for (const auto& [triangle, meeting] : byTriangle) {
        segments.push_back(meetings[static_cast<std::size_t>(meeting)].segment);
    }
    return segments;
}

} // namespace Velk::Math::Sorvane::Mesh
