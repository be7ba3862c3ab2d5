// A triangle soup cut by another one, or by itself.
//
// 1. All segments in which triangles cut each other (TriangleMeetings.cpp).
// 2. Ends within the tolerance of each other become one point, a corner of a triangle if there is
// one
//    among them: what meets there has the same bits in every triangle.
// 3. Each triangle that is cut is triangulated by itself, in its plane, with its segments as
//    constraints. The points go back to space by their numbers, not by calculation.
// 4. Points on an edge that a neighbor has and the triangle on the other side has not, as it is cut
//    nowhere there, are inserted in that one too.

#include "imprint/TriangleMeetings_Impl.h"
#include "imprint/TriangleSlicer_Impl.h"
#include "mathbase/Parallel_Impl.h"
#include "mathbase/Progress_Impl.h"
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

/// A point between the ends of an edge, which are in order.
struct EdgePoint {
    Vec3d low;
    Vec3d high;
    Vec3d point;
};

EdgePoint OnEdge(const SoupTriangle& triangle, std::size_t edge, const Vec3d& point)
{
    const Vec3d& a = triangle[edge];
    const Vec3d& b = triangle[(edge + 1) % 3];
    return Impl::Precedes(a, b) ? EdgePoint{a, b, point} : EdgePoint{b, a, point};
}

bool IsLesserEdge(const EdgePoint& a, const EdgePoint& b)
{
    return a.low == b.low ? Impl::Precedes(a.high, b.high) : Impl::Precedes(a.low, b.low);
}

bool IsLesser(const EdgePoint& a, const EdgePoint& b)
{
    return a.low == b.low && a.high == b.high ? Impl::Precedes(a.point, b.point)
                                              : IsLesserEdge(a, b);
}

/// What becomes of a triangle.
struct Pieces {
    Triangles triangles;
    std::vector<EdgePoint> onEdges; ///< corners of pieces on the edges of the triangle
};

/// The corners on the outline that are none of the triangle's.
std::vector<EdgePoint> EdgePointsOf(const SoupTriangle& triangle,
                                    const std::array<Vec2d, 3>& corners,
                                    const std::vector<Vec2d>& vertices,
                                    const std::vector<Vec3d>& inSpace,
                                    const std::vector<int>& indices)
{
    std::vector<std::pair<int, int>> edges;
    for (std::size_t i = 0; i + 2 < indices.size(); i += 3) {
        for (std::size_t k = 0; k < 3; ++k) {
            edges.push_back(std::minmax({indices[i + k], indices[i + (k + 1) % 3]}));
        }
    }
    std::sort(edges.begin(), edges.end());
    std::vector<int> outline;
    for (std::size_t i = 0; i < edges.size(); ++i) {
        const bool isInside = (i > 0 && edges[i - 1] == edges[i]) ||
                              (i + 1 < edges.size() && edges[i + 1] == edges[i]);
        if (!isInside) {
            outline.push_back(edges[i].first);
            outline.push_back(edges[i].second);
        }
    }
    std::sort(outline.begin(), outline.end());
    outline.erase(std::unique(outline.begin(), outline.end()), outline.end());
    std::vector<EdgePoint> found;
    for (const int vertex : outline) {
        const auto v = static_cast<std::size_t>(vertex);
        if (std::find(triangle.begin(), triangle.end(), inSpace[v]) != triangle.end()) {
            continue;
        }
        std::size_t nearest = 0;
        double least = 0.0;
        for (std::size_t edge = 0; edge < 3; ++edge) {
            const Vec2d& from = corners[edge];
            const Vec2d& to = corners[(edge + 1) % 3];
            const double distance =
                std::fabs(DoubledArea(from, to, vertices[v])) / Length(to - from);
            if (edge == 0 || distance < least) {
                least = distance;
                nearest = edge;
            }
        }
        found.push_back(OnEdge(triangle, nearest, inSpace[v]));
    }
    return found;
}

/// The triangle in pieces that have the cuts as edges and the extra points, which lie on its edges,
/// as corners. The triangle itself when they don't cover it.
Pieces PiecesOf(const SoupTriangle& triangle, std::vector<Cut> cuts,
                const std::vector<Vec3d>& points, const std::vector<EdgePoint>& extra)
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
    segments.reserve(cuts.size() + extra.size() + 3);
    for (std::size_t i = 0; i < 3; ++i) {
        const Vec2d along = corners[(i + 1) % 3] - corners[i];
        const EdgePoint edge = OnEdge(triangle, i, Vec3d());
        std::vector<std::pair<double, Vec2d>> stops;
        for (const EdgePoint& stop : extra) {
            if (!IsLesserEdge(stop, edge) && !IsLesserEdge(edge, stop)) {
                const Vec2d flat = frame.ToPlane(stop.point);
                origins.Add(flat, stop.point);
                stops.emplace_back((flat - corners[i]) * along, flat);
            }
        }
        std::sort(stops.begin(), stops.end(),
                  [](const auto& a, const auto& b) { return a.first < b.first; });
        Vec2d from = corners[i];
        for (const auto& [place, stop] : stops) {
            segments.push_back({from, stop});
            from = stop;
        }
        segments.push_back({from, corners[(i + 1) % 3]});
    }
    for (const auto& [from, to] : cuts) {
        const Segment segment{flatOf(from), flatOf(to)};
        if (!(segment.start == segment.end)) {
            segments.push_back(segment);
        }
    }
    if (segments.size() == 3) {
        return {{triangle}, {}};
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
    Pieces pieces;
    pieces.triangles.reserve(indices.size() / 3);
    double covered = 0.0;
    for (std::size_t i = 0; i + 2 < indices.size(); i += 3) {
        const auto a = static_cast<std::size_t>(indices[i]);
        const auto b = static_cast<std::size_t>(indices[i + 1]);
        const auto c = static_cast<std::size_t>(indices[i + 2]);
        covered += DoubledArea(vertices[a], vertices[b], vertices[c]);
        pieces.triangles.push_back({inSpace[a], inSpace[b], inSpace[c]});
    }
    const double whole = DoubledArea(corners[0], corners[1], corners[2]);
    // Rounding of the outline sweeps no more than this.
    const double slack = kAreaShare * whole + tolerance * (Length(corners[1] - corners[0]) +
                                                           Length(corners[2] - corners[1]) +
                                                           Length(corners[0] - corners[2]));
    if (!(std::fabs(covered - whole) <= slack)) {
        return {{triangle}, {}};
    }
    pieces.onEdges = EdgePointsOf(triangle, corners, vertices, inSpace, indices);
    return pieces;
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

/// What neighbors have on the edges of a triangle, and it has not. Nothing for a triangle without
/// area, which has no plane to be triangulated in.
std::vector<EdgePoint> MissingPoints(const SoupTriangle& triangle, const Pieces* own,
                                     const std::vector<EdgePoint>& all)
{
    std::vector<EdgePoint> missing;
    if (!Impl::TakesPart(triangle) ||
        !(Length((triangle[1] - triangle[0]) ^ (triangle[2] - triangle[0])) > 2.0 * kWeld)) {
        return missing;
    }
    const double tolerance = Impl::AtLeastRounding(kCut, LargestCoordinate(triangle));
    for (std::size_t edge = 0; edge < 3; ++edge) {
        const EdgePoint key = OnEdge(triangle, edge, Vec3d());
        const auto [from, to] = std::equal_range(all.begin(), all.end(), key, IsLesserEdge);
        if (from == to) {
            continue;
        }
        // Along the edge, at one place what is known first. The next to what is known is no news.
        const Vec3d along = Vector::Normalized(key.high - key.low, 0.0);
        std::vector<std::pair<double, const Vec3d*>> stops{{0.0, nullptr},
                                                           {Length(key.high - key.low), nullptr}};
        if (own != nullptr) {
            for (const EdgePoint& point : own->onEdges) {
                if (!IsLesserEdge(point, key) && !IsLesserEdge(key, point)) {
                    stops.emplace_back((point.point - key.low) * along, nullptr);
                }
            }
        }
        for (auto point = from; point != to; ++point) {
            stops.emplace_back((point->point - key.low) * along, &point->point);
        }
        std::stable_sort(stops.begin(), stops.end(),
                         [](const auto& a, const auto& b) { return a.first < b.first; });
        double known = stops.front().first - 2.0 * tolerance;
        std::size_t nextKnown = 0;
        for (std::size_t i = 0; i < stops.size(); ++i) {
            const auto& [place, point] = stops[i];
            if (point == nullptr) {
                known = place;
                continue;
            }
            nextKnown = std::max(nextKnown, i + 1);
            while (nextKnown < stops.size() && stops[nextKnown].second != nullptr) {
                ++nextKnown;
            }
            const bool isNews =
                place - known > tolerance &&
                (nextKnown == stops.size() || stops[nextKnown].first - place > tolerance);
            if (isNews) {
                missing.push_back({key.low, key.high, *point});
                known = place;
            }
        }
    }
    return missing;
}

/// Appends the pieces of all triangles that are cut, and the others where they are wanted.
void AppendPieces(const Triangles& soup, const MeetingsByTriangle& meetings,
                  const Arrangement& arrangement, Triangles& pieces, Triangles* uncut)
{
    const auto cutsOf = [&](std::size_t triangle) {
        std::vector<Cut> cuts;
        for (const int meeting : meetings.Of(triangle)) {
            const Cut& found = arrangement.cuts[static_cast<std::size_t>(meeting)];
            if (found.first != found.second) {
                cuts.push_back(found);
            }
        }
        return cuts;
    };
    const std::vector<int> cut = meetings.Cut();
    std::vector<Pieces> piecesOf(cut.size());
    Parallel::Impl::ApplyParallel(std::size_t{0}, cut.size(), [&](std::size_t i) {
        const auto triangle = static_cast<std::size_t>(cut[i]);
        piecesOf[i] = PiecesOf(soup[triangle], cutsOf(triangle), arrangement.points, {});
    });

    std::vector<EdgePoint> onEdges;
    Bounding::AxisAlignedBoundingBox<3, double> box;
    for (std::size_t i = 0; i < piecesOf.size(); ++i) {
        // A point may lie some tolerances beside its edge, and so beside all of the neighbor.
        const double beside =
            4 *
            Impl::AtLeastRounding(kCut, LargestCoordinate(soup[static_cast<std::size_t>(cut[i])]));
        for (const EdgePoint& point : piecesOf[i].onEdges) {
            onEdges.push_back(point);
            box.Grow(point.point - Vec3d(beside, beside, beside));
            box.Grow(point.point + Vec3d(beside, beside, beside));
        }
    }
    std::sort(onEdges.begin(), onEdges.end(), IsLesser);
    const auto mayMiss = [&](const SoupTriangle& t) {
        bool isBeside = onEdges.empty();
        for (int axis = 0; axis < 3; ++axis) {
            const auto [low, high] = std::minmax({t[0][axis], t[1][axis], t[2][axis]});
            isBeside = isBeside || high < box.min[axis] || low > box.max[axis];
        }
        return !isBeside;
    };
    std::size_t next = 0; // in `cut`
    for (std::size_t i = 0; i < soup.size(); ++i) {
        Progress::Impl::CheckStep(i);
        const bool isCut = next < cut.size() && cut[next] == static_cast<int>(i);
        Pieces* const own = isCut ? &piecesOf[next] : nullptr;
        next += isCut ? 1 : 0;
        std::vector<EdgePoint> missing;
        if (mayMiss(soup[i])) {
            missing = MissingPoints(soup[i], own, onEdges);
        }
        if (!missing.empty()) {
            const Triangles more =
                PiecesOf(soup[i], cutsOf(i), arrangement.points, missing).triangles;
            pieces.insert(pieces.end(), more.begin(), more.end());
        } else if (own != nullptr) {
            pieces.insert(pieces.end(), own->triangles.begin(), own->triangles.end());
        } else if (uncut != nullptr) {
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

/// What the meetings of triangles take of an operation.
template <class Work>
auto InFirstHalf(const Work& work)
{
    const Progress::Impl::Phase phase(0, 0.5);
    return work();
}

} // namespace

// --- the slicer ---------------------------------------------------------------------------------

TriangleSlicer::CutTriangles TriangleSlicer::SliceTriangles(const Triangles& cutter) const
{
    return Progress::Impl::Stoppable([&]() -> CutTriangles {
        const std::vector<Meeting> meetings =
            InFirstHalf([&] { return Impl::MeetingsOf(soup_, cutter); });
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
    });
}

TriangleSlicer::CutTriangles TriangleSlicer::SelfIntersections() const
{
    return Progress::Impl::Stoppable([&]() -> CutTriangles {
        const std::vector<Meeting> meetings =
            InFirstHalf([&] { return Impl::MeetingsWithin(soup_); });
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
    });
}

TriangleSlicer::Segments TriangleSlicer::SegmentsAtIntersection(const Triangles& cutter) const
{
    return Progress::Impl::Stoppable([&]() -> Segments {
        Segments segments;
        for (const Meeting& meeting : Impl::MeetingsOf(soup_, cutter)) {
            segments.push_back(meeting.segment);
        }
        return segments;
    });
}

TriangleSlicer::Segments TriangleSlicer::SegmentsAtSelfIntersection() const
{
    return Progress::Impl::Stoppable([&]() -> Segments {
        const std::vector<Meeting> meetings =
            InFirstHalf([&] { return Impl::MeetingsWithin(soup_); });
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
    });
}

} // namespace Velk::Math::Sorvane::Mesh
