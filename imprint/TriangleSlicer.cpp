// A triangle soup cut by a plane.
//
// 1. Each triangle is told by the heights of its corners: above, below, or meeting the plane.
// 2. What meets the plane is clipped at it. Heights and crossings depend on a corner, or on an
// edge,
//    alone, so that neighbors agree to the bit and what was closed stays so.
// 3. The edges of the kept triangles that lie on the plane, and are not shared by two of them,
//    bound what has to be closed: reversed, they are the chords of which the sections consist.
// 4. Chords are linked to curves, and each curve is triangulated in the plane. What the
// triangulation
//    takes for one point, or for no area at all, is closed by slivers.

#include <Sorvane/TriangleSlicer_E.h>

#include "arrangement/SegmentChains_Impl.h"
#include "imprint/TriangleSlicer_Impl.h"
#include "mathbase/Parallel_Impl.h"
#include "mathbase/Progress_Impl.h"
#include "mathbase/SegmentPoint_Impl.h"

#include <Sorvane/Tessellation_E.h>
#include <Velk/Math/Tolerances_E.h>
#include <Velk/Math/Transform_E.h>
#include <Velk/Math/Vector_E.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdlib>
#include <queue>
#include <unordered_map>
#include <utility>

namespace Velk::Math::Sorvane::Mesh {
namespace {

using Impl::SoupTriangle;
using Section = TriangleSlicer::Section;
using Triangles = TriangleSlicer::Triangles;

/// A triangle that keeps this distance from the plane is not clipped, whatever the tolerance.
constexpr double kClear = 1e-10;

// --- the plane ----------------------------------------------------------------------------------

class CutPlane {
public:
    CutPlane(const Vec3d& normal, const Vec3d& point,
             const Bounding::AxisAlignedBoundingBox<3, double>& box)
    {
        constexpr double kNearOverflow = 1e100;
        if (Math::Impl::IsFinite(normal)) {
            const double largest = Math::Impl::LargestMagnitude(normal);
            normal_ = Vector::Normalized(largest > kNearOverflow ? normal / largest : normal,
                                         kLengthFloor<double>);
        }
        const bool isEmpty = box.min.x() > box.max.x();
        const Vec3d center = isEmpty ? point : box.min + (box.max - box.min) * 0.5;
        isValid_ = !isEmpty && Math::Impl::IsUsable(point) && SquaredLength(normal_) > 0.0;
        origin_ = isValid_ ? center - normal_ * ((center - point) * normal_) : center;
    }

    /// False when no triangle can be compared with it.
    bool IsValid() const { return isValid_; }
    const Vec3d& Normal() const { return normal_; }
    const Vec3d& Origin() const { return origin_; }
    double Height(const Vec3d& point) const { return normal_ * (point - origin_); }
    Vec3d Foot(const Vec3d& point) const { return point - normal_ * Height(point); }

private:
    Vec3d normal_;
    Vec3d origin_;
    bool isValid_ = false;
};

/// Coordinates in the plane, relative to its origin so that no digits are lost far from zero.
class PlaneFrame {
public:
    PlaneFrame(const Vec3d& normal, const Vec3d& origin)
        : toSpace_(Transform::BuildTransformAxisOrigin(normal, Vec3d())), toPlane_(toSpace_),
          origin_(origin)
    {
        Matrix::Invert(toPlane_.matrix, kInversionFloor); // of a rotation: always possible
    }

    Vec2d ToPlane(const Vec3d& point) const
    {
        const Vec3d flat = toPlane_ * (point - origin_);
        return {flat.x(), flat.y()};
    }
    Vec3d ToSpace(const Vec2d& point) const
    {
        return toSpace_ * Vec3d(point.x(), point.y(), 0.0) + origin_;
    }

private:
    TransformBase<3> toSpace_;
    TransformBase<3> toPlane_;
    Vec3d origin_;
};

// --- one triangle -------------------------------------------------------------------------------

enum class Class : unsigned char {
    Below,        ///< kept as it is
    BelowAtPlane, ///< the same, but with an edge within the tolerance of the plane
    Above,        ///< dropped
    Meets,        ///< to be clipped
    Out           ///< takes no part
};

/// A corner of the soup, or of what is kept of a triangle, beside the plane.
struct Vertex {
    Vec3d point;
    bool isAtPlane = false; ///< ends the kept part, whether it is a corner or a crossing
    bool isOnPlane = false; ///< a corner within the tolerance
};

/// An edge on the plane, in the direction that has material on its left as seen against the normal.
struct Chord {
    Vertex start;
    Vertex end;
    bool isOfKept = true; ///< of a triangle that is kept, or of what is kept of one
};

struct Heights {
    std::array<double, 3> height{};
    double tolerance;

    Heights(const CutPlane& plane, const SoupTriangle& triangle, double e) : tolerance(e)
    {
        for (std::size_t i = 0; i < 3; ++i) {
            height[i] = plane.Height(triangle[i]);
        }
    }

    bool IsOn(std::size_t i) const { return tolerance > std::fabs(height[i]); }
    bool IsBelow(std::size_t i) const { return height[i] <= tolerance; }
    /// Where the kept part ends at this corner.
    bool IsAtPlane(std::size_t i) const { return IsOn(i) || (IsBelow(i) && height[i] >= 0.0); }
};

Class ClassOf(const Heights& heights)
{
    const auto& h = heights.height;
    if (h[0] > kClear && h[1] > kClear && h[2] > kClear) {
        return Class::Above;
    }
    if (h[0] < -kClear && h[1] < -kClear && h[2] < -kClear) {
        const int on = heights.IsOn(0) + heights.IsOn(1) + heights.IsOn(2);
        return on >= 2 ? Class::BelowAtPlane : Class::Below;
    }
    return Class::Meets;
}

/// Where an edge crosses the plane, the same from either end: calculated from the lesser one.
Vec3d CrossingOf(const Vec3d& a, double heightOfA, const Vec3d& b, double heightOfB)
{
    const bool isInOrder = Impl::Precedes(a, b);
    const double first = isInOrder ? heightOfA : heightOfB;
    const double second = isInOrder ? heightOfB : heightOfA;
    const double share = std::clamp(first / (first - second), 0.0, 1.0);
    return isInOrder ? Math::Impl::PointOnSegment(a, b, share)
                     : Math::Impl::PointOnSegment(b, a, share);
}

/// What the plane leaves of a triangle: up to four vertices, turned as the triangle is.
struct KeptPart {
    std::array<Vertex, 4> vertex;
    std::size_t count = 0;

    void Add(const Vec3d& point, bool isAtPlane, bool isOnPlane)
    {
        vertex[count++] = {point, isAtPlane, isOnPlane};
    }
};

KeptPart KeptPartOf(const SoupTriangle& triangle, const Heights& heights)
{
    KeptPart kept;
    for (std::size_t i = 0; i < 3; ++i) {
        const std::size_t j = (i + 1) % 3;
        if (heights.IsBelow(i)) {
            kept.Add(triangle[i], heights.IsAtPlane(i), heights.IsOn(i));
        }
        if (heights.IsBelow(i) != heights.IsBelow(j) && !heights.IsOn(i) && !heights.IsOn(j)) {
            kept.Add(CrossingOf(triangle[i], heights.height[i], triangle[j], heights.height[j]),
                     true, false);
        }
    }
    return kept;
}

/// Appends up to two triangles; without such as have two equal corners. True when there are any.
bool AppendPieces(const KeptPart& kept, Triangles* pieces)
{
    bool isAny = false;
    const auto append = [&](std::size_t i, std::size_t j, std::size_t k) {
        const SoupTriangle piece{kept.vertex[i].point, kept.vertex[j].point, kept.vertex[k].point};
        if (piece[0] == piece[1] || piece[1] == piece[2] || piece[2] == piece[0]) {
            return;
        }
        isAny = true;
        if (pieces != nullptr) {
            pieces->push_back(piece);
        }
    };
    if (kept.count == 3) {
        append(0, 1, 2);
    } else if (kept.count == 4) {
        const auto squaredDiagonal = [&](std::size_t i) {
            return SquaredLength(kept.vertex[i + 2].point - kept.vertex[i].point);
        };
        if (squaredDiagonal(0) <= squaredDiagonal(1)) {
            append(0, 1, 2);
            append(0, 2, 3);
        } else {
            append(0, 1, 3);
            append(1, 2, 3);
        }
    }
    return isAny;
}

/// The edges of a kept part that lie on the plane, reversed: what closes it runs them that way.
void AppendChords(const KeptPart& kept, std::vector<Chord>& chords)
{
    for (std::size_t i = 0; i < kept.count; ++i) {
        const Vertex& from = kept.vertex[i];
        const Vertex& to = kept.vertex[(i + 1) % kept.count];
        if (from.isAtPlane && to.isAtPlane && !(from.point == to.point)) {
            chords.push_back({to, from, true});
        }
    }
}

/// True when something is kept of the triangle.
bool ClipTriangle(const SoupTriangle& triangle, const Heights& heights, Triangles* pieces,
                  std::vector<Chord>& chords)
{
    const int on = heights.IsOn(0) + heights.IsOn(1) + heights.IsOn(2);
    const int below = heights.IsBelow(0) + heights.IsBelow(1) + heights.IsBelow(2);
    if (on == 3 || below == 0 || (on == 1 && below == 1)) {
        return false;
    }
    const KeptPart kept = KeptPartOf(triangle, heights);
    const bool isAnyPiece = AppendPieces(kept, pieces);
    const auto end = kept.vertex.begin() + static_cast<std::ptrdiff_t>(kept.count);
    const bool reachesBelow =
        std::any_of(kept.vertex.begin(), end, [](const Vertex& v) { return !v.isAtPlane; });
    if (isAnyPiece || reachesBelow) {
        // A triangle without area may leave no piece, its edges run there and back on one line, and
        // still the curve passes along it from one neighbor to the other.
        AppendChords(kept, chords);
        return isAnyPiece;
    }
    // Nothing but an edge in the plane, or the point of a corner: the triangle lies above. The edge
    // runs as that of the missing neighbor below would run reversed.
    for (std::size_t i = 0; i < 3; ++i) {
        const std::size_t j = (i + 1) % 3;
        if (heights.IsAtPlane(i) && heights.IsAtPlane(j) && !(triangle[i] == triangle[j])) {
            chords.push_back({{triangle[i], true, heights.IsOn(i)},
                              {triangle[j], true, heights.IsOn(j)},
                              false});
        }
    }
    return false;
}

// --- all triangles ------------------------------------------------------------------------------

std::vector<Class> Classify(const Triangles& soup, const CutPlane& plane, double tolerance)
{
    std::vector<Class> classes(soup.size());
    Parallel::Impl::ApplyParallelChunks(
        std::size_t{0}, soup.size(), [&](std::size_t from, std::size_t to) {
            for (std::size_t i = from; i < to; ++i) {
                classes[i] = Impl::TakesPart(soup[i]) ? ClassOf(Heights(plane, soup[i], tolerance))
                                                      : Class::Out;
            }
        });
    return classes;
}

/// The chords without those that cancel: of chords with equal ends as many as run one way more
/// often than the other, in the order of the first of them.
///
/// A stretch that is run both ways is no end of the kept part: two kept triangles share it. Chords
/// of triangles above count only when nothing at all is kept.
std::vector<Chord> Remaining(std::vector<Chord> chords, bool isAnythingKept)
{
    std::erase_if(chords, [&](const Chord& chord) { return chord.isOfKept != isAnythingKept; });
    std::vector<std::size_t> order(chords.size());
    for (std::size_t i = 0; i < order.size(); ++i) {
        order[i] = i;
    }
    const auto isReversed = [&](std::size_t i) {
        return Impl::Precedes(chords[i].end.point, chords[i].start.point);
    };
    const auto low = [&](std::size_t i) -> const Vec3d& {
        return isReversed(i) ? chords[i].end.point : chords[i].start.point;
    };
    const auto high = [&](std::size_t i) -> const Vec3d& {
        return isReversed(i) ? chords[i].start.point : chords[i].end.point;
    };
    std::sort(order.begin(), order.end(), [&](std::size_t i, std::size_t j) {
        if (!(low(i) == low(j))) {
            return Impl::Precedes(low(i), low(j));
        }
        if (!(high(i) == high(j))) {
            return Impl::Precedes(high(i), high(j));
        }
        return i < j;
    });
    std::vector<char> isKept(chords.size(), 0);
    for (std::size_t first = 0; first < order.size();) {
        std::size_t end = first;
        int balance = 0;
        for (; end < order.size() && low(order[end]) == low(order[first]) &&
               high(order[end]) == high(order[first]);
             ++end) {
            balance += isReversed(order[end]) ? -1 : 1;
        }
        for (std::size_t i = first; i < end && balance != 0; ++i) {
            if (isReversed(order[i]) == (balance < 0)) {
                isKept[order[i]] = 1;
                balance += balance < 0 ? 1 : -1;
            }
        }
        first = end;
    }
    std::vector<Chord> remaining;
    for (std::size_t i = 0; i < chords.size(); ++i) {
        if (isKept[i] != 0) {
            remaining.push_back(chords[i]);
        }
    }
    return remaining;
}

// --- curves -------------------------------------------------------------------------------------

using Curve = std::vector<Vertex>;

bool IsClosed(const Curve& curve)
{
    return curve.size() > 2 && curve.front().point == curve.back().point;
}

/// Appends the curve in parts that pass no point twice: closed ones, and at most one that is open.
///
/// Where curves touch in a point, or run along each other, one chain may go through several of
/// them. Each has to have a cap of its own. The part with the curve's first point comes first.
void AppendSimpleParts(const Curve& curve, std::vector<Curve>& parts)
{
    const std::size_t first = parts.size();
    Curve open;
    std::unordered_map<Vec3d, std::size_t> placeOf; // in `open`
    for (const Vertex& vertex : curve) {
        const auto [found, isNew] = placeOf.try_emplace(vertex.point, open.size());
        if (isNew) {
            open.push_back(vertex);
            continue;
        }
        const auto begin = open.begin() + static_cast<std::ptrdiff_t>(found->second);
        for (auto passed = begin + 1; passed != open.end(); ++passed) {
            placeOf.erase(passed->point);
        }
        if (open.end() - begin > 2) { // otherwise there and back
            parts.emplace_back(begin, open.end()).push_back(*begin);
        }
        open.erase(begin + 1, open.end());
    }
    if (open.size() > 1) {
        parts.push_back(std::move(open));
    }
    if (parts.size() > first) {
        std::rotate(parts.begin() + static_cast<std::ptrdiff_t>(first), parts.end() - 1,
                    parts.end());
    }
}

/// Chords linked at ends of equal coordinates.
std::vector<Curve> LinkExactly(const std::vector<Chord>& chords)
{
    std::vector<std::array<Vec3d, 2>> segments;
    segments.reserve(chords.size());
    for (const Chord& chord : chords) {
        segments.push_back({chord.start.point, chord.end.point});
    }
    Vector::Impl::SegmentLinker<3, double, std::array<Vec3d, 2>> linker(
        segments, 0.0, Vector::Impl::Running::HeadToTail);
    std::vector<Curve> curves;
    for (const Vector::Impl::SegmentChain& chain : linker.Link()) {
        Curve curve;
        curve.reserve(chain.points.size());
        for (const int end : chain.points) {
            const Chord& chord = chords[static_cast<std::size_t>(end / 2)];
            curve.push_back(end % 2 == 0 ? chord.start : chord.end);
        }
        AppendSimpleParts(curve, curves);
    }
    return curves;
}

/// Appends a curve to one that ends where it begins: its first vertex is taken for the last one.
void Join(Curve& curve, const Curve& next, bool isReversed)
{
    if (curve.empty()) {
        curve.push_back(isReversed ? next.back() : next.front());
    }
    if (isReversed) {
        curve.insert(curve.end(), next.rbegin() + 1, next.rend());
    } else {
        curve.insert(curve.end(), next.begin() + 1, next.end());
    }
}

/// Curves that are still open linked at ends within the tolerance in the plane; those shorter than
/// that on both axes are left out. The others keep their places.
std::vector<Curve> LinkOpen(std::vector<Curve> curves, const PlaneFrame& frame, double tolerance)
{
    std::vector<std::array<Vec2d, 2>> segments;
    std::vector<std::size_t> open;
    std::vector<char> isGone(curves.size(), 0);
    for (std::size_t i = 0; i < curves.size(); ++i) {
        Curve& curve = curves[i];
        if (IsClosed(curve)) {
            continue;
        }
        const std::array<Vec2d, 2> ends{frame.ToPlane(curve.front().point),
                                        frame.ToPlane(curve.back().point)};
        if (!Matches(ends[0], ends[1], tolerance)) {
            segments.push_back(ends);
            open.push_back(i);
        } else if (curve.size() > 2) {
            curve.back() = curve.front();
        } else {
            isGone[i] = 1;
        }
    }
    Vector::Impl::SegmentLinker<2, double, std::array<Vec2d, 2>> linker(
        segments, tolerance, Vector::Impl::Running::HeadToTail);
    std::vector<Curve> linked(curves.size());
    for (const Vector::Impl::SegmentChain& chain : linker.Link()) {
        Curve curve;
        std::size_t place = curves.size();
        for (const int entry : chain.entries) {
            const std::size_t number = open[static_cast<std::size_t>(entry / 2)];
            Join(curve, curves[number], entry % 2 == 1);
            place = std::min(place, number);
            isGone[number] = 1;
        }
        if (chain.isClosed) {
            curve.back() = curve.front();
        }
        linked[place] = std::move(curve);
    }
    std::vector<Curve> all;
    for (std::size_t i = 0; i < curves.size(); ++i) {
        if (!linked[i].empty()) {
            all.push_back(std::move(linked[i]));
        } else if (isGone[i] == 0) {
            all.push_back(std::move(curves[i]));
        }
    }
    return all;
}

// --- sections -----------------------------------------------------------------------------------

/// A corner within the tolerance as the list of segments has it.
Vec3d Rounded(const Vertex& vertex)
{
    return vertex.isOnPlane ? Vec3d(VecBase<3, float>(vertex.point)) : vertex.point;
}

std::vector<Vec3d> PolylineOf(const Curve& curve, const CutPlane& plane)
{
    std::vector<Vec3d> polyline;
    polyline.reserve(curve.size());
    for (const Vertex& vertex : curve) {
        const Vec3d point = vertex.isOnPlane ? plane.Foot(Rounded(vertex)) : vertex.point;
        if (polyline.empty() || !(polyline.back() == point)) {
            polyline.push_back(point);
        }
    }
    return polyline;
}

/// The number of each point by its place, in the order in which they come.
class PointNumbers {
public:
    explicit PointNumbers(std::vector<Vec3d>& points) : points_(points) {}

    std::size_t Of(const Vec3d& point)
    {
        const auto [found, isNew] = numberOf_.try_emplace(point, points_.size());
        if (isNew) {
            points_.push_back(point);
        }
        return found->second;
    }

private:
    std::vector<Vec3d>& points_;
    std::unordered_map<Vec3d, std::size_t> numberOf_;
};

/// Directed edges that cancel where they are run both ways; as walks that pass no point twice.
class EdgeBalance {
public:
    void Add(std::size_t from, std::size_t to)
    {
        if (from != to) {
            edges_.push_back({std::min(from, to), std::max(from, to), from < to ? 1 : -1});
        }
    }

    /// What remains, as closed walks; empty if it does not consist of such.
    std::vector<std::vector<std::size_t>> Cycles(std::size_t points)
    {
        std::sort(edges_.begin(), edges_.end(), [](const Edge& a, const Edge& b) {
            return a.low != b.low ? a.low < b.low : a.high < b.high;
        });
        std::vector<std::vector<std::size_t>> next(points);
        for (std::size_t first = 0; first < edges_.size();) {
            const Edge edge = edges_[first];
            int balance = 0;
            for (; first < edges_.size() && edges_[first].low == edge.low &&
                   edges_[first].high == edge.high;
                 ++first) {
                balance += edges_[first].balance;
            }
            for (int i = 0; i < std::abs(balance); ++i) {
                next[balance > 0 ? edge.low : edge.high].push_back(balance > 0 ? edge.high
                                                                               : edge.low);
            }
        }
        std::vector<std::vector<std::size_t>> cycles;
        std::vector<char> isInWalk(points, 0);
        std::vector<std::size_t> walk;
        for (std::size_t start = 0; start < points; ++start) {
            while (!next[start].empty()) {
                walk.assign(1, start);
                isInWalk[start] = 1;
                while (!walk.empty() && !next[walk.back()].empty()) {
                    const std::size_t to = next[walk.back()].back();
                    next[walk.back()].pop_back();
                    if (isInWalk[to] == 0) {
                        isInWalk[to] = 1;
                        walk.push_back(to);
                        continue;
                    }
                    const auto begin = std::find(walk.rbegin(), walk.rend(), to).base() - 1;
                    cycles.emplace_back(begin, walk.end());
                    for (auto passed = begin + 1; passed != walk.end(); ++passed) {
                        isInWalk[*passed] = 0;
                    }
                    walk.erase(begin + 1, walk.end());
                }
                if (walk.size() > 1) {
                    return {};
                }
                isInWalk[start] = 0;
            }
        }
        return cycles;
    }

private:
    struct Edge {
        std::size_t low;
        std::size_t high;
        int balance;
    };
    std::vector<Edge> edges_;
};

/// Triangles between the corners of a closed walk, and the sum of their doubled areas.
struct WalkFilling {
    std::vector<std::array<std::size_t, 3>> triangles;
    double doubledArea = 0.0;

    void Add(const std::vector<Vec3d>& points, std::size_t a, std::size_t b, std::size_t c)
    {
        triangles.push_back({a, b, c});
        doubledArea += Length((points[b] - points[a]) ^ (points[c] - points[a]));
    }
};

WalkFilling Fan(const std::vector<Vec3d>& points, const std::vector<std::size_t>& walk)
{
    WalkFilling filling;
    for (std::size_t i = 1; i + 1 < walk.size(); ++i) {
        filling.Add(points, walk[0], walk[i], walk[i + 1]);
    }
    return filling;
}

/// The corner whose triangle with both neighbors is the least goes first: a walk that leads round a
/// bend and back beside itself is filled along the way. O(n log n).
WalkFilling LeastEarsFirst(const std::vector<Vec3d>& points, const std::vector<std::size_t>& walk)
{
    const std::size_t count = walk.size();
    struct Ear {
        double doubledArea;
        std::size_t at;
        std::size_t before;
        std::size_t after;
    };
    const auto isLater = [](const Ear& a, const Ear& b) {
        return a.doubledArea != b.doubledArea ? a.doubledArea > b.doubledArea : a.at > b.at;
    };
    std::priority_queue<Ear, std::vector<Ear>, decltype(isLater)> ears(isLater);
    std::vector<std::size_t> before(count);
    std::vector<std::size_t> after(count);
    const auto push = [&](std::size_t i) {
        const Vec3d& at = points[walk[i]];
        const Vec3d cross = (points[walk[before[i]]] - at) ^ (points[walk[after[i]]] - at);
        ears.push({Length(cross), i, before[i], after[i]});
    };
    for (std::size_t i = 0; i < count; ++i) {
        before[i] = (i + count - 1) % count;
        after[i] = (i + 1) % count;
    }
    for (std::size_t i = 0; i < count; ++i) {
        push(i);
    }
    WalkFilling filling;
    while (filling.triangles.size() + 2 < count) {
        const Ear ear = ears.top();
        ears.pop();
        // An entry counts as long as neither the corner nor one beside it has gone.
        if (before[ear.at] != ear.before || after[ear.at] != ear.after) {
            continue;
        }
        filling.Add(points, walk[ear.before], walk[ear.at], walk[ear.after]);
        after[ear.before] = ear.after;
        before[ear.after] = ear.before;
        before[ear.at] = ear.at; // gone
        push(ear.before);
        push(ear.after);
    }
    return filling;
}

/// Closes what is left between outlines and the triangles that fill them, where it has no area.
///
/// The triangulation takes corners within its tolerance for one and passes over curves that enclose
/// nothing, such as that around a triangle of three corners in one line. The triangles kept have
/// their edges there all the same.
void AppendSlivers(const std::vector<const std::vector<Vec3d>*>& outlines,
                   IndexedPointsBase<3, double>& filled)
{
    std::vector<Vec3d> points;
    PointNumbers numbers(points);
    EdgeBalance missing;
    for (const std::vector<Vec3d>* outline : outlines) {
        for (std::size_t i = 0; i < outline->size(); ++i) {
            missing.Add(numbers.Of((*outline)[i]),
                        numbers.Of((*outline)[(i + 1) % outline->size()]));
        }
    }
    const std::vector<int>& indices = filled.indices;
    const auto cornerAt = [&](std::size_t i) {
        return numbers.Of(filled.points[static_cast<std::size_t>(indices[i])]);
    };
    for (std::size_t i = 0; i + 2 < indices.size(); i += 3) {
        for (std::size_t k = 0; k < 3; ++k) {
            missing.Add(cornerAt(i + (k + 1) % 3), cornerAt(i + k));
        }
    }
    const std::vector<std::vector<std::size_t>> cycles = missing.Cycles(points.size());
    if (cycles.empty()) {
        return;
    }
    std::unordered_map<Vec3d, int> place;
    for (std::size_t i = 0; i < filled.points.size(); ++i) {
        place.try_emplace(filled.points[i], static_cast<int>(i));
    }
    const auto placeOf = [&](const Vec3d& point) {
        const auto [found, isNew] =
            place.try_emplace(point, static_cast<int>(filled.points.size()));
        if (isNew) {
            filled.points.push_back(point);
        }
        return found->second;
    };
    constexpr double kRoundings = 64.0 * 0x1p-52;
    double narrow = 1e-11;
    for (const Vec3d& point : points) {
        narrow = std::max(narrow, kRoundings * Math::Impl::LargestMagnitude(point));
    }
    for (const std::vector<std::size_t>& cycle : cycles) {
        double perimeter = 0.0;
        for (std::size_t i = 0; i < cycle.size(); ++i) {
            perimeter += Length(points[cycle[(i + 1) % cycle.size()]] - points[cycle[i]]);
        }
        constexpr double kNarrowShare = 1e-9;
        const double limit = perimeter * std::max(narrow, kNarrowShare * perimeter);
        WalkFilling filling = Fan(points, cycle);
        if (filling.doubledArea > limit) {
            filling = LeastEarsFirst(points, cycle);
        }
        if (filling.doubledArea > limit) {
            continue; // outlines that cross: this is not to be filled
        }
        for (const auto& triangle : filling.triangles) {
            for (const std::size_t corner : triangle) {
                filled.indices.push_back(placeOf(points[corner]));
            }
        }
    }
}

/// The region of outlines in the plane, each corner taken back to where it came from.
IndexedPointsBase<3, double> Filled(const std::vector<const std::vector<Vec3d>*>& outlines,
                                    const PlaneFrame& frame)
{
    Impl::FlatPoints corners;
    std::vector<std::vector<Vec2d>> loops;
    for (const std::vector<Vec3d>* outline : outlines) {
        std::vector<Vec2d>& loop = loops.emplace_back();
        loop.reserve(outline->size());
        for (const Vec3d& point : *outline) {
            loop.push_back(frame.ToPlane(point));
            corners.Add(loop.back(), point);
        }
    }
    corners.Sort();
    IndexedPointsBase<2, double> flat = TessellateFlatBoundaries(loops);
    IndexedPointsBase<3, double> filled;
    filled.points.reserve(flat.points.size());
    for (const Vec2d& point : flat.points) {
        const Vec3d* corner = corners.Find(point);
        filled.points.push_back(corner != nullptr ? *corner : frame.ToSpace(point));
    }
    filled.indices = std::move(flat.indices);
    return filled;
}

Section SectionOf(const Curve& curve, const CutPlane& plane, const PlaneFrame& frame)
{
    Section section;
    section.polyline = PolylineOf(curve, plane);
    section.outline.reserve(curve.size());
    double doubledArea = 0.0;
    const Vec2d first = frame.ToPlane(curve.front().point);
    Vec2d before;
    for (const Vertex& vertex : curve) {
        section.outline.push_back(vertex.point);
        const Vec2d arm = frame.ToPlane(vertex.point) - first;
        doubledArea += before ^ arm;
        before = arm;
    }
    section.cap = Filled({&section.outline}, frame);
    if (doubledArea < 0.0) {
        for (std::size_t i = 0; i + 2 < section.cap.indices.size(); i += 3) {
            std::swap(section.cap.indices[i + 1], section.cap.indices[i + 2]);
        }
    }
    AppendSlivers({&section.outline}, section.cap);
    return section;
}

double AtLeastZero(double tolerance) { return tolerance > 0.0 ? tolerance : 0.0; }

} // namespace

// --- points brought back ------------------------------------------------------------------------

namespace Impl {

void FlatPoints::Sort()
{
    std::stable_sort(points_.begin(), points_.end(), [](const Entry& a, const Entry& b) {
        return a.flat.x() != b.flat.x() ? a.flat.x() < b.flat.x() : a.flat.y() < b.flat.y();
    });
}

const Vec3d* FlatPoints::Find(const Vec2d& flat) const
{
    const auto place = std::lower_bound(
        points_.begin(), points_.end(), flat, [](const Entry& entry, const Vec2d& sought) {
            return entry.flat.x() != sought.x() ? entry.flat.x() < sought.x()
                                                : entry.flat.y() < sought.y();
        });
    return place != points_.end() && place->flat == flat ? &place->point : nullptr;
}

} // namespace Impl

// --- the slicer ---------------------------------------------------------------------------------

TriangleSlicer::TriangleSlicer(const Triangles& soup) : TriangleSlicer(Triangles(soup)) {}

TriangleSlicer::TriangleSlicer(Triangles&& soup) : soup_(std::move(soup))
{
    for (const SoupTriangle& triangle : soup_) {
        if (Impl::TakesPart(triangle)) {
            for (const Vec3d& corner : triangle) {
                box_.Grow(corner);
            }
        }
    }
}

TriangleSlicer::HalfspaceTriangles TriangleSlicer::SliceTriangles(const Vec3d& normal,
                                                                  const Vec3d& point,
                                                                  bool curvesOnly,
                                                                  double tolerance) const
{
    return Progress::Impl::Stoppable(
        [&]() -> HalfspaceTriangles {
            const double e = AtLeastZero(tolerance);
            const CutPlane plane(normal, point, box_);
            HalfspaceTriangles half;
            half.normal = normal;
            half.origin = plane.Origin();
            if (!plane.IsValid()) {
                return half;
            }
            const std::vector<Class> classes = Classify(soup_, plane, e);
            const auto count = [&](Class sought) {
                return static_cast<std::size_t>(std::count(classes.begin(), classes.end(), sought));
            };
            const std::size_t below = count(Class::Below) + count(Class::BelowAtPlane);
            Triangles* const pieces = curvesOnly ? nullptr : &half.triangles;
            if (pieces != nullptr) {
                pieces->reserve(below + 2 * count(Class::Meets));
                for (std::size_t i = 0; i < classes.size(); ++i) {
                    Progress::Impl::CheckStep(i);
                    if (classes[i] == Class::Below || classes[i] == Class::BelowAtPlane) {
                        pieces->push_back(soup_[i]);
                    }
                }
            }
            std::vector<Chord> chords;
            bool isAnythingKept = below > 0;
            for (std::size_t i = 0; i < classes.size(); ++i) {
                Progress::Impl::CheckStep(i);
                const SoupTriangle& triangle = soup_[i];
                if (classes[i] == Class::Meets) {
                    const bool isKept =
                        ClipTriangle(triangle, Heights(plane, triangle, e), pieces, chords);
                    isAnythingKept = isAnythingKept || isKept;
                } else if (classes[i] == Class::BelowAtPlane) {
                    AppendChords(KeptPartOf(triangle, Heights(plane, triangle, e)), chords);
                }
            }
            const PlaneFrame frame(plane.Normal(), plane.Origin());
            const std::vector<Chord> remaining = Remaining(std::move(chords), isAnythingKept);
            for (const Curve& curve : LinkOpen(LinkExactly(remaining), frame, e)) {
                half.sections.push_back(SectionOf(curve, plane, frame));
            }
            return half;
        },
        [&] {
            HalfspaceTriangles none;
            none.normal = normal;
            none.origin = CutPlane(normal, point, box_).Origin();
            return none;
        });
}

TriangleSlicer::Segments TriangleSlicer::SegmentsAtIntersection(const Vec3d& normal,
                                                                const Vec3d& point) const
{
    return Progress::Impl::Stoppable([&]() -> Segments {
        constexpr double kTolerance = kLengthFloor<double>;
        Segments segments;
        const CutPlane plane(normal, point, box_);
        if (!plane.IsValid()) {
            return segments;
        }
        const std::vector<Class> classes = Classify(soup_, plane, kTolerance);
        std::vector<Chord> chords;
        for (std::size_t i = 0; i < classes.size(); ++i) {
            if (classes[i] == Class::Meets) {
                ClipTriangle(soup_[i], Heights(plane, soup_[i], kTolerance), nullptr, chords);
            }
        }
        for (const Chord& chord : chords) {
            const std::array<Vec3d, 2> segment{Rounded(chord.start), Rounded(chord.end)};
            if (!(segment[0] == segment[1])) {
                segments.push_back(segment);
            }
        }
        return segments;
    });
}

IndexedPointsBase<3, double> CapOfSections(const TriangleSlicer::HalfspaceTriangles& half)
{
    return Progress::Impl::Stoppable([&]() -> IndexedPointsBase<3, double> {
        std::vector<const std::vector<Vec3d>*> outlines;
        for (const Section& section : half.sections) {
            if (!Math::Impl::AreUsable(section.outline)) {
                return {};
            }
            outlines.push_back(&section.outline);
        }
        if (outlines.empty() || !Math::Impl::IsFinite(half.normal) ||
            !Math::Impl::IsUsable(half.origin)) {
            return {};
        }
        IndexedPointsBase<3, double> lid = Filled(outlines, PlaneFrame(half.normal, half.origin));
        AppendSlivers(outlines, lid);
        return lid;
    });
}

} // namespace Velk::Math::Sorvane::Mesh
