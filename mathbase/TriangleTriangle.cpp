// Do two triangles meet, and along which segment?
//
// 1. Two triangles in general position cut the line in which their planes cross in two intervals,
//    and meet where these overlap (T. Moeller, "A Fast Triangle-Triangle Intersection Test", 1997).
//    That decides all pairs for which rounding and the tolerance certainly make no difference.
// 2. The rest - touching, coplanar, degenerate, or apart by hardly more than the tolerance - is
//    decided by what "within tolerance" means, a distance: corners near the other triangle, sides
//    near each other; and by exact predicates: sides that pierce, and, when the triangles lie in
//    one plane as far as their coordinates can tell, the overlap in that plane. The ends farthest
//    apart are then the ends of the common segment. This part sees the two triangles in one and the
//    same order however they are given.

#include <Velk/Math/Intersect_E.h>

#include "mathbase/Intersect_Impl.h"
#include "mathbase/Predicates_Impl.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <utility>

namespace Velk::Math::Intersect {
namespace {

using namespace Impl;
using Math::Impl::kRoundingUnit;
using Math::Impl::Orientation;

struct Triangle {
    std::array<Vec3d, 3> corner;
    Vec3d normal;
    double doubledArea;

    Triangle(const Vec3d& a, const Vec3d& b, const Vec3d& c)
        : corner{a, b, c}, normal(NormalOf(b - a, c - a)), doubledArea(Vector::Length(normal))
    {
    }

    const Vec3d& operator[](std::size_t i) const { return corner[i % 3]; }

    double LongestSide() const
    {
        return std::sqrt(std::max(Vector::SquaredLength(corner[1] - corner[0]),
                                  std::max(Vector::SquaredLength(corner[2] - corner[1]),
                                           Vector::SquaredLength(corner[0] - corner[2]))));
    }

    /// Signed distances of three corners from the plane.
    std::array<double, 3> HeightsOf(const Triangle& other) const
    {
        std::array<double, 3> height{};
        for (std::size_t i = 0; i < 3; ++i) {
            height[i] = normal * (other[i] - corner[0]) / doubledArea;
        }
        return height;
    }
};

struct Meeting {
    bool found = false;
    bool coplanar = false;
    Vec3d p;
    Vec3d q;
};

/// The box around both triangles; nothing when their own boxes are farther apart than `tolerance`.
/// A type of its own, as the library's box of points stands above the math base, and as one pass
/// over the corners here tells a gap too and bounds the rounding.
struct CommonBox {
    Vec3d low;
    Vec3d high;
    bool isEmpty = false;

    CommonBox(const Triangle& a, const Triangle& b, double tolerance)
    {
        for (int i = 0; i < 3; ++i) {
            const double lowA = std::min(a[0][i], std::min(a[1][i], a[2][i]));
            const double lowB = std::min(b[0][i], std::min(b[1][i], b[2][i]));
            const double highA = std::max(a[0][i], std::max(a[1][i], a[2][i]));
            const double highB = std::max(b[0][i], std::max(b[1][i], b[2][i]));
            isEmpty = isEmpty || highA + tolerance < lowB || highB + tolerance < lowA;
            low[i] = std::min(lowA, lowB);
            high[i] = std::max(highA, highB);
        }
    }

    double LargestCoordinate(int axis) const
    {
        return std::max(std::fabs(low[axis]), std::fabs(high[axis]));
    }

    double LargestCoordinate() const
    {
        return std::max(LargestCoordinate(0), std::max(LargestCoordinate(1), LargestCoordinate(2)));
    }

    double Diagonal() const { return Vector::Length(high - low); }
};

bool AllAbove(const std::array<double, 3>& height, double limit)
{
    return height[0] > limit && height[1] > limit && height[2] > limit;
}

bool AllBelow(const std::array<double, 3>& height, double limit)
{
    return height[0] < limit && height[1] < limit && height[2] < limit;
}

bool AllWithin(const std::array<double, 3>& height, double reach)
{
    return std::fabs(height[0]) <= reach && std::fabs(height[1]) <= reach &&
           std::fabs(height[2]) <= reach;
}

bool AnyWithin(const std::array<double, 3>& height, double reach)
{
    return std::fabs(height[0]) <= reach || std::fabs(height[1]) <= reach ||
           std::fabs(height[2]) <= reach;
}

/// What rounding may do to heights above the plane of a triangle, from above and at little cost:
/// each of the four points is off by a unit of the largest coordinate, and the evaluation by about
/// as much again; away from the triangle that counts as often as the distance holds its width.
double RoundingOfHeights(double doubledArea, double longestSide, const CommonBox& box)
{
    constexpr double kUnits = 16.0;
    const double lever = box.Diagonal() * longestSide / doubledArea;
    return kUnits * kRoundingUnit * box.LargestCoordinate() * (1.0 + lever);
}

// --- general position ---------------------------------------------------------------------------

/// Where a side leaves the other triangle's plane.
struct Piercing {
    Vec3d point;
    Vec3d side;                 // direction of the side it lies on
    double shareRounding = 0.0; // how far rounding may move it, as a share of the side
    double place = 0.0;

    double PlaceRounding(const Vec3d& line) const { return shareRounding * std::fabs(side * line); }
};

/// The two piercings of a triangle whose corners lie on both sides of the other's plane, none on
/// it: the corner that is alone on its side sends out both.
std::array<Piercing, 2> PiercingsOf(const Triangle& t, const std::array<double, 3>& height,
                                    double roundingOfHeight)
{
    const bool above0 = height[0] > 0.0;
    const bool above1 = height[1] > 0.0;
    const bool above2 = height[2] > 0.0;
    const std::size_t lone = above1 == above2 ? 0 : (above0 == above2 ? 1 : 2);
    std::array<Piercing, 2> piercings;
    for (std::size_t k = 0; k < 2; ++k) {
        const std::size_t other = (lone + 1 + k) % 3;
        const Vec3d side = t[other] - t[lone];
        const double drop = height[lone] - height[other];
        piercings[k] = {t[lone] + side * (height[lone] / drop), side,
                        roundingOfHeight / std::fabs(drop)};
    }
    return piercings;
}

/// Does the plane that holds the directions of both sides separate the triangles by more than
/// `gap`?
bool Separates(const Vec3d& axis, const Triangle& a, const Triangle& b, double gap)
{
    const auto interval = [&](const Triangle& t) {
        const double p0 = axis * (t[0] - a[0]);
        const double p1 = axis * (t[1] - a[0]);
        const double p2 = axis * (t[2] - a[0]);
        return std::pair{std::min(p0, std::min(p1, p2)), std::max(p0, std::max(p1, p2))};
    };
    const auto [lowA, highA] = interval(a);
    const auto [lowB, highB] = interval(b);
    const double reach = gap * Vector::Length(axis);
    return lowB - highA > reach || lowA - highB > reach;
}

enum class Verdict { Meets, Apart, Unclear };

/// Overlap of the two intervals that the triangles cut from the line of their planes.
Verdict CompareIntervals(const Triangle& a, const Triangle& b, std::array<Piercing, 2> onA,
                         std::array<Piercing, 2> onB, double tolerance, const CommonBox& box,
                         Meeting& meeting)
{
    // The line's direction is taken from the longer interval: unlike the product of the normals it
    // keeps its digits when the planes are almost parallel.
    const Vec3d spanA = onA[1].point - onA[0].point;
    const Vec3d spanB = onB[1].point - onB[0].point;
    const bool aIsLonger = spanA * spanA >= spanB * spanB;
    const Vec3d& line = aIsLonger ? spanA : spanB;
    const Vec3d origin = (aIsLonger ? onA : onB)[0].point;
    if (!(Vector::Length(line) > tolerance)) {
        return Verdict::Unclear;
    }
    for (std::array<Piercing, 2>* interval : {&onA, &onB}) {
        for (Piercing& piercing : *interval) {
            piercing.place = (piercing.point - origin) * line;
        }
        if ((*interval)[1].place < (*interval)[0].place) {
            std::swap((*interval)[0], (*interval)[1]);
        }
    }
    const Piercing& begin = onA[0].place >= onB[0].place ? onA[0] : onB[0];
    const Piercing& end = onA[1].place <= onB[1].place ? onA[1] : onB[1];
    constexpr double kUnits = 16.0;
    const double rounding = kUnits * kRoundingUnit * box.LargestCoordinate();
    const double overlap = end.place - begin.place;
    if (overlap >
        begin.PlaceRounding(line) + end.PlaceRounding(line) + rounding * Vector::Length(line)) {
        meeting = {true, false, begin.point, end.point};
        return Verdict::Meets;
    }
    // The sides that face each other across the gap span a separating plane.
    return overlap < 0.0 && Separates(NormalOf(begin.side, end.side), a, b, tolerance + rounding)
               ? Verdict::Apart
               : Verdict::Unclear;
}

// --- by distance --------------------------------------------------------------------------------

/// Points that lie on one triangle and within the tolerance of the other: 6 from corners, 9 from
/// pairs of sides, 6 from sides that pierce, 8 from a triangle that is a line.
struct Contacts {
    std::array<Vec3d, 29> point;
    std::size_t count = 0;

    void Add(const Vec3d& p) { point[count++] = p; }
};

void AddCorners(const Triangle& from, const Triangle& to, double tolerance, Contacts& contacts)
{
    for (const Vec3d& corner : from.corner) {
        const Vec3d nearest = ClosestPointOnTriangle(to[0], to[1], to[2], corner);
        if (Vector::Length(corner - nearest) <= tolerance) {
            contacts.Add(corner);
        }
    }
}

void AddSides(const Triangle& a, const Triangle& b, double tolerance, Contacts& contacts)
{
    for (std::size_t i = 0; i < 3; ++i) {
        for (std::size_t j = 0; j < 3; ++j) {
            double s = 0.0;
            double t = 0.0;
            Vec3d onA;
            Vec3d onB;
            if (ClosestPointsOfTwoLines(a[i], a[i + 1], b[j], b[j + 1], true, s, t, onA, onB) &&
                Vector::Length(onA - onB) <= tolerance) {
                contacts.Add(onA);
            }
        }
    }
}

// --- exact decisions ----------------------------------------------------------------------------

/// The triangles as seen along an axis.
class Projection {
public:
    explicit Projection(int droppedAxis)
        : first_(droppedAxis == 0 ? 1 : 0), second_(droppedAxis == 2 ? 1 : 2)
    {
    }

    Vec2d operator()(const Vec3d& p) const { return {p[first_], p[second_]}; }

    int Turn(const Vec3d& a, const Vec3d& b, const Vec3d& c) const
    {
        return Orientation((*this)(a), (*this)(b), (*this)(c));
    }

private:
    int first_;
    int second_;
};

/// The view in which a triangle is largest, where it is no line unless it has no area at all.
Projection BestViewOf(const Triangle& t)
{
    const Vec3d& n = t.normal;
    int axis = std::fabs(n[1]) > std::fabs(n[0]) ? 1 : 0;
    axis = std::fabs(n[2]) > std::fabs(n[axis]) ? 2 : axis;
    return Projection(axis);
}

/// Is there a side of `a` beyond which all of `b` lies? Two triangles in a plane that have area are
/// apart exactly when one of them has such a side.
bool HasSeparatingSide(const Triangle& a, const Triangle& b, const Projection& view, int turnOfA)
{
    for (std::size_t i = 0; i < 3; ++i) {
        const auto isBeyond = [&](const Vec3d& p) {
            return view.Turn(a[i], a[i + 1], p) == -turnOfA;
        };
        if (isBeyond(b[0]) && isBeyond(b[1]) && isBeyond(b[2])) {
            return true;
        }
    }
    return false;
}

/// Have triangles that lie in one plane a point in common? False when one of them is a line in the
/// given view.
bool OverlapInView(const Triangle& a, const Triangle& b, const Projection& view)
{
    const int turnOfA = view.Turn(a[0], a[1], a[2]);
    const int turnOfB = view.Turn(b[0], b[1], b[2]);
    return turnOfA != 0 && turnOfB != 0 && !HasSeparatingSide(a, b, view, turnOfA) &&
           !HasSeparatingSide(b, a, view, turnOfB);
}

/// Exact sides of the corners of `t` of the plane of `plane`.
std::array<int, 3> SidesOf(const Triangle& t, const Triangle& plane)
{
    std::array<int, 3> side{};
    for (std::size_t i = 0; i < 3; ++i) {
        const bool isCorner = t[i] == plane[0] || t[i] == plane[1] || t[i] == plane[2];
        side[i] = isCorner ? 0 : Orientation(plane[0], plane[1], plane[2], t[i]);
    }
    return side;
}

/// Does the line p q, which crosses the plane of `t`, pass through `t` or touch it?
bool LinePasses(const Triangle& t, const Vec3d& p, const Vec3d& q)
{
    int least = 1;
    int greatest = -1;
    for (std::size_t i = 0; i < 3; ++i) {
        const bool isEnd = p == t[i] || p == t[i + 1] || q == t[i] || q == t[i + 1];
        const int side = isEnd ? 0 : Orientation(p, q, t[i], t[i + 1]);
        least = std::min(least, side);
        greatest = std::max(greatest, side);
    }
    return least >= 0 || greatest <= 0;
}

/// Adds where sides of `from` cross the plane of `to`, or end on it, within `to`. Exact as a
/// decision.
void AddPiercings(const Triangle& from, const Triangle& to, Contacts& contacts)
{
    const std::array<int, 3> side = SidesOf(from, to);
    if (side[0] == 0 && side[1] == 0 && side[2] == 0) {
        return; // in one plane, or `to` is a line
    }
    for (std::size_t i = 0; i < 3; ++i) {
        const std::size_t j = (i + 1) % 3;
        if (side[i] * side[j] > 0 || (side[i] == 0 && side[j] == 0) ||
            !LinePasses(to, from[i], from[j])) {
            continue;
        }
        Vec3d hit = side[i] == 0 ? from[i] : from[j];
        if (side[i] != 0 && side[j] != 0 &&
            !SegmentTriangleHitPoint(to[0], to[1], to[2], from[i], from[j], &hit, 0.0)) {
            // Too near to an end, or to the plane along all of the side, for plain arithmetic.
            const double before = std::fabs(to.normal * (from[i] - to[0]));
            const double behind = std::fabs(to.normal * (from[j] - to[0]));
            const double share = before + behind > 0.0 ? before / (before + behind) : 0.0;
            hit = Math::Impl::PointOnSegment(from[i], from[j], share);
        }
        contacts.Add(hit);
    }
}

bool LexicographicallyLess(const Vec3d& p, const Vec3d& q)
{
    return std::lexicographical_compare(p.begin(), p.end(), q.begin(), q.end());
}

bool AreCollinear(const Vec3d& p, const Vec3d& q, const Vec3d& r)
{
    return Projection(0).Turn(p, q, r) == 0 && Projection(1).Turn(p, q, r) == 0 &&
           Projection(2).Turn(p, q, r) == 0;
}

/// Has the triangle no area at all?
bool IsLine(const Triangle& t)
{
    return BestViewOf(t).Turn(t[0], t[1], t[2]) == 0 && AreCollinear(t[0], t[1], t[2]);
}

/// A side of a triangle, or the segment that is left of a triangle without area. Points of a line
/// follow each other in it in their lexicographic order, which tells its ends.
struct Side {
    Vec3d start;
    Vec3d end;

    Side(const Vec3d& p, const Vec3d& q) : start(p), end(q)
    {
        if (LexicographicallyLess(end, start)) {
            std::swap(start, end);
        }
    }

    explicit Side(const Triangle& line)
    {
        const auto [least, greatest] =
            std::minmax_element(line.corner.begin(), line.corner.end(), LexicographicallyLess);
        start = *least;
        end = *greatest;
    }

    bool Holds(const Vec3d& p) const
    {
        return !LexicographicallyLess(p, start) && !LexicographicallyLess(end, p) &&
               AreCollinear(start, end, p);
    }
};

bool HoldsInItsPlane(const Triangle& t, const Vec3d& p)
{
    if (Orientation(t[0], t[1], t[2], p) != 0) {
        return false;
    }
    const Projection view = BestViewOf(t);
    const int turn = view.Turn(t[0], t[1], t[2]);
    return view.Turn(t[0], t[1], p) != -turn && view.Turn(t[1], t[2], p) != -turn &&
           view.Turn(t[2], t[0], p) != -turn;
}

/// Adds the point in which the insides of two segments cross, if there is one. A view in which they
/// cross shows their common plane as a plane. Exact as a decision.
void AddCrossing(const Side& a, const Side& b, Contacts& contacts)
{
    for (int axis = 0; axis < 3; ++axis) {
        const Projection view(axis);
        if (view.Turn(a.start, a.end, b.start) * view.Turn(a.start, a.end, b.end) < 0 &&
            view.Turn(b.start, b.end, a.start) * view.Turn(b.start, b.end, a.end) < 0) {
            if (Orientation(a.start, a.end, b.start, b.end) == 0) {
                const auto distance = [&](const Vec3d& p) {
                    return std::fabs(
                        Math::Impl::AccurateDoubleArea(view(b.start), view(b.end), view(p)));
                };
                const double before = distance(a.start);
                const double behind = distance(a.end);
                contacts.Add(
                    Math::Impl::PointOnSegment(a.start, a.end, before / (before + behind)));
            }
            return;
        }
    }
}

/// Adds what a triangle without area, a segment or a point, has in common with a triangle whose
/// plane it lies in, or with another such segment. Exact as a decision; where the segment leaves
/// the plane, `AddPiercings` finds it.
void AddLineContacts(const Triangle& line, const Triangle& other, bool otherIsLine,
                     Contacts& contacts)
{
    const Side segment(line);
    std::array<Side, 3> sides{Side(other[0], other[1]), Side(other[1], other[2]),
                              Side(other[2], other[0])};
    if (otherIsLine) {
        sides[0] = Side(other);
    }
    for (const Vec3d& corner : other.corner) {
        if (segment.Holds(corner)) {
            contacts.Add(corner);
        }
    }
    for (const Vec3d& end : {segment.start, segment.end}) {
        if (otherIsLine ? sides[0].Holds(end) : HoldsInItsPlane(other, end)) {
            contacts.Add(end);
        }
    }
    for (std::size_t i = 0; i < (otherIsLine ? 1 : 3); ++i) {
        AddCrossing(segment, sides[i], contacts);
    }
}

/// Signed distances of the corners of `other` from the plane of `plane`, from differences and
/// products of twice the precision: exact to the last digits also above a needle, where plain
/// arithmetic loses as much as the rounding of the coordinates, or more when the triangles lie
/// around the origin and differences are larger than coordinates.
std::array<double, 3> AccurateHeights(const Triangle& other, const Triangle& plane)
{
    using Math::Impl::DoubleWord;
    using Math::Impl::TwoSum;
    const auto between = [](const Vec3d& from, const Vec3d& to) {
        std::array<DoubleWord, 3> difference;
        for (std::size_t i = 0; i < 3; ++i) {
            const int axis = static_cast<int>(i);
            difference[i] = TwoSum(to[axis], -from[axis]);
        }
        return difference;
    };
    const auto u = between(plane[0], plane[1]);
    const auto v = between(plane[0], plane[2]);
    std::array<DoubleWord, 3> normal;
    for (std::size_t i = 0; i < 3; ++i) {
        const std::size_t j = (i + 1) % 3;
        const std::size_t k = (i + 2) % 3;
        normal[i] = u[j] * v[k] - u[k] * v[j];
    }
    const double length = Vector::Length(Vec3d(normal[0].high, normal[1].high, normal[2].high));
    std::array<double, 3> height{};
    for (std::size_t i = 0; i < 3; ++i) {
        const auto w = between(plane[0], other[i]);
        height[i] = (normal[0] * w[0] + normal[1] * w[1] + normal[2] * w[2]).high / length;
    }
    return height;
}

/// Do the triangles lie in one plane as far as the rounding of their coordinates can tell?
///
/// The corners of triangles in a tilted plane are off it by their rounding, half a unit of each
/// coordinate at most, as seen along the normal. Heights above the plane through three such corners
/// gather that of the corners as often as their weights have it, and of the fourth point. Asked of
/// the triangle whose plane is known better; a plane along two axes is known exactly.
bool AreCoplanarByRounding(const Triangle& a, const Triangle& b, const CommonBox& box)
{
    const auto roundingOf = [&](const Triangle& t) {
        double rounding = 0.0;
        int tiltedAxes = 0;
        for (int i = 0; i < 3; ++i) {
            tiltedAxes += t.normal[i] != 0.0 ? 1 : 0;
            rounding += std::fabs(t.normal[i]) * box.LargestCoordinate(i);
        }
        return tiltedAxes > 1 ? kRoundingUnit * rounding / t.doubledArea : 0.0;
    };
    const auto weightOf = [](const Triangle& t, const Triangle& other) {
        double largest = 0.0;
        for (const Vec3d& p : other.corner) {
            double sum = 0.0;
            for (std::size_t i = 0; i < 3; ++i) {
                sum += std::fabs(t.normal * ((t[i + 1] - t[i]) ^ (p - t[i])));
            }
            largest = std::max(largest, sum);
        }
        return 1.0 + largest / (t.doubledArea * t.doubledArea);
    };
    if (!(a.doubledArea > 0.0 && b.doubledArea > 0.0)) {
        return false;
    }
    const double weightA = weightOf(a, b);
    const double weightB = weightOf(b, a);
    const bool aIsBetter = weightA <= weightB;
    // Twice what one rounding of each coordinate makes: computed ones were rounded more often.
    constexpr double kRoundings = 2.0;
    const Triangle& plane = aIsBetter ? a : b;
    const Triangle& other = aIsBetter ? b : a;
    const double reach = kRoundings * roundingOf(plane) * (aIsBetter ? weightA : weightB);
    // Where rounding is not far below the triangle's width, it has no plane to be in.
    constexpr double kPlanarShare = 0x1p-10;
    return reach * plane.LongestSide() < kPlanarShare * plane.doubledArea &&
           AllWithin(AccurateHeights(other, plane), reach);
}

/// What the caller asks for: whether the triangles meet, for which one contact is enough, or where.
enum class Wanted { Decision, Segment };

Meeting MeetCarefully(const Triangle& a, const Triangle& b, Wanted wanted, double tolerance,
                      const CommonBox& box)
{
    Contacts contacts;
    const auto enough = [&] { return wanted == Wanted::Decision && contacts.count > 0; };
    AddCorners(a, b, tolerance, contacts);
    if (!enough()) {
        AddCorners(b, a, tolerance, contacts);
    }
    Meeting meeting;
    if (!enough()) {
        meeting.coplanar = AreCoplanarByRounding(a, b, box);
        meeting.found = meeting.coplanar &&
                        OverlapInView(a, b, BestViewOf(a.doubledArea > b.doubledArea ? a : b));
        if (meeting.found && wanted == Wanted::Decision) {
            return meeting;
        }
    }
    if (!enough() && !meeting.coplanar) {
        AddPiercings(a, b, contacts);
        AddPiercings(b, a, contacts);
    }
    const bool aIsLine = !enough() && !meeting.coplanar && IsLine(a);
    const bool bIsLine = !enough() && !meeting.coplanar && IsLine(b);
    if (aIsLine || bIsLine) {
        AddLineContacts(aIsLine ? a : b, aIsLine ? b : a, aIsLine && bIsLine, contacts);
    }
    if (!enough()) {
        AddSides(a, b, tolerance, contacts);
    }
    if (contacts.count == 0) {
        return meeting;
    }
    meeting.found = true;
    meeting.p = meeting.q = contacts.point[0];
    double longest = 0.0;
    for (std::size_t i = 0; i < contacts.count; ++i) {
        for (std::size_t j = i + 1; j < contacts.count; ++j) {
            const double squared = Vector::SquaredLength(contacts.point[i] - contacts.point[j]);
            if (squared > longest) {
                longest = squared;
                meeting.p = contacts.point[i];
                meeting.q = contacts.point[j];
            }
        }
    }
    return meeting;
}

/// Its corners in lexicographic order.
std::array<Vec3d, 3> Sorted(std::array<Vec3d, 3> corner)
{
    std::sort(corner.begin(), corner.end(), LexicographicallyLess);
    return corner;
}

bool Precede(const std::array<Vec3d, 3>& a, const std::array<Vec3d, 3>& b)
{
    for (std::size_t i = 0; i < 3; ++i) {
        if (!(a[i] == b[i])) {
            return LexicographicallyLess(a[i], b[i]);
        }
    }
    return true;
}

/// As neighbors in a mesh have.
bool HaveCommonCorner(const Triangle& a, const Triangle& b)
{
    return std::find_first_of(a.corner.begin(), a.corner.end(), b.corner.begin(), b.corner.end()) !=
           a.corner.end();
}

/// The scale at which the fourth powers of the coordinates, which is what squared areas are,
/// neither overflow nor vanish: 1 for usual sizes.
double WorkScale(double largestCoordinate)
{
    constexpr double kLeastUsual = 0x1p-200;
    constexpr double kLargestUsual = 0x1p200;
    const bool isUsual = largestCoordinate >= kLeastUsual && largestCoordinate <= kLargestUsual;
    return isUsual ? 1.0 : Math::Impl::ScaleToOne(largestCoordinate);
}

Meeting MeetTriangles(const Triangle& a, const Triangle& b, Wanted wanted, double tolerance)
{
    const CommonBox box(a, b, tolerance);
    if (box.isEmpty) {
        return {};
    }
    const double scale = WorkScale(box.LargestCoordinate());
    if (scale != 1.0) {
        const auto scaled = [&](const Triangle& t) {
            return Triangle(t[0] * scale, t[1] * scale, t[2] * scale);
        };
        Meeting meeting = MeetTriangles(scaled(a), scaled(b), wanted, tolerance * scale);
        meeting.p = meeting.p * (1.0 / scale);
        meeting.q = meeting.q * (1.0 / scale);
        return meeting;
    }
    bool coplanar = false;
    const double longestOfA = a.LongestSide();
    const double longestOfB = b.LongestSide();
    // Wider than the tolerance; a thinner one is a segment or a point.
    if (a.doubledArea > tolerance * longestOfA && b.doubledArea > tolerance * longestOfB) {
        const double roundingOfA = RoundingOfHeights(b.doubledArea, longestOfB, box);
        const std::array<double, 3> heightOfA = b.HeightsOf(a);
        const double reachOfA = tolerance + roundingOfA;
        if (AllAbove(heightOfA, reachOfA) || AllBelow(heightOfA, -reachOfA)) {
            return {};
        }
        const double roundingOfB = RoundingOfHeights(a.doubledArea, longestOfA, box);
        const std::array<double, 3> heightOfB = a.HeightsOf(b);
        const double reachOfB = tolerance + roundingOfB;
        if (AllAbove(heightOfB, reachOfB) || AllBelow(heightOfB, -reachOfB)) {
            return {};
        }
        coplanar = AllWithin(heightOfA, tolerance) || AllWithin(heightOfB, tolerance);
        if (!AnyWithin(heightOfA, reachOfA) && !AnyWithin(heightOfB, reachOfB)) {
            Meeting meeting;
            const Verdict verdict =
                CompareIntervals(a, b, PiercingsOf(a, heightOfA, roundingOfA),
                                 PiercingsOf(b, heightOfB, roundingOfB), tolerance, box, meeting);
            if (verdict != Verdict::Unclear) {
                return meeting;
            }
        }
    }
    bool finite = !std::isnan(tolerance);
    for (std::size_t i = 0; i < 3; ++i) {
        finite = finite && IsFinite(a[i]) && IsFinite(b[i]);
    }
    if (!finite) {
        return {};
    }
    if (wanted == Wanted::Decision && HaveCommonCorner(a, b)) {
        return {true, false, {}, {}};
    }
    const std::array<Vec3d, 3> sortedA = Sorted(a.corner);
    const std::array<Vec3d, 3> sortedB = Sorted(b.corner);
    const bool inOrder = Precede(sortedA, sortedB);
    const auto& [a0, a1, a2] = inOrder ? sortedA : sortedB;
    const auto& [b0, b1, b2] = inOrder ? sortedB : sortedA;
    Meeting meeting = MeetCarefully({a0, a1, a2}, {b0, b1, b2}, wanted, tolerance, box);
    meeting.coplanar = meeting.found && (meeting.coplanar || coplanar);
    return meeting;
}

} // namespace

bool TriangleTriangle(const VecBase<3, double>& a0, const VecBase<3, double>& a1,
                      const VecBase<3, double>& a2, const VecBase<3, double>& b0,
                      const VecBase<3, double>& b1, const VecBase<3, double>& b2, double tolerance)
{
    return MeetTriangles({a0, a1, a2}, {b0, b1, b2}, Wanted::Decision, AtLeastZero(tolerance))
        .found;
}

bool TriangleTriangle(const VecBase<3, double>& a0, const VecBase<3, double>& a1,
                      const VecBase<3, double>& a2, const VecBase<3, double>& b0,
                      const VecBase<3, double>& b1, const VecBase<3, double>& b2,
                      VecBase<3, double>& p, VecBase<3, double>& q, bool& coplanar,
                      double tolerance)
{
    const Meeting meeting =
        MeetTriangles({a0, a1, a2}, {b0, b1, b2}, Wanted::Segment, AtLeastZero(tolerance));
    p = meeting.p;
    q = meeting.q;
    coplanar = meeting.coplanar;
    return meeting.found;
}

} // namespace Velk::Math::Intersect
