// Do two triangles meet, and along which segment?
//
// Two triangles in general position cut the line in which their planes cross in two intervals, and
// meet where these overlap (T. Moeller, "A Fast Triangle-Triangle Intersection Test", 1997). That
// decides all pairs of which no corner is within the tolerance of the other's plane. The rest -
// touching, coplanar, degenerate, or apart by hardly more than the tolerance - is decided by what
// "within tolerance" means, a distance: corners near the other triangle, sides near each other,
// sides that pierce. Their ends farthest apart are then the ends of the common segment.

#include <Velk/Math/Intersect_E.h>

#include "mathbase/Intersect_Impl.h"

#include <array>
#include <utility>

namespace Velk::Math::Intersect {
namespace {

using namespace Impl;

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
        return std::max(
            Vector::Length(corner[1] - corner[0]),
            std::max(Vector::Length(corner[2] - corner[1]), Vector::Length(corner[0] - corner[2])));
    }

    /// Wider than `tolerance`; a thinner one is a segment or a point.
    bool HasPlane(double tolerance) const { return doubledArea > tolerance * LongestSide(); }

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

bool BoxesApart(const Triangle& a, const Triangle& b, double tolerance)
{
    for (int i = 0; i < 3; ++i) {
        const auto low = [i](const Triangle& t) {
            return std::min(t[0][i], std::min(t[1][i], t[2][i]));
        };
        const auto high = [i](const Triangle& t) {
            return std::max(t[0][i], std::max(t[1][i], t[2][i]));
        };
        if (high(a) + tolerance < low(b) || high(b) + tolerance < low(a)) {
            return true;
        }
    }
    return false;
}

bool AllAbove(const std::array<double, 3>& height, double limit)
{
    return height[0] > limit && height[1] > limit && height[2] > limit;
}

bool AllBelow(const std::array<double, 3>& height, double limit)
{
    return height[0] < limit && height[1] < limit && height[2] < limit;
}

bool AllWithin(const std::array<double, 3>& height, double tolerance)
{
    return std::fabs(height[0]) <= tolerance && std::fabs(height[1]) <= tolerance &&
           std::fabs(height[2]) <= tolerance;
}

bool AnyWithin(const std::array<double, 3>& height, double tolerance)
{
    return std::fabs(height[0]) <= tolerance || std::fabs(height[1]) <= tolerance ||
           std::fabs(height[2]) <= tolerance;
}

// --- general position ---------------------------------------------------------------------------

/// Where a side leaves the other triangle's plane.
struct Piercing {
    Vec3d point;
    Vec3d side; // direction of the side it lies on
    double place = 0.0;
};

/// The two piercings of a triangle whose corners lie on both sides of the other's plane, none on
/// it: the corner that is alone on its side sends out both.
std::array<Piercing, 2> PiercingsOf(const Triangle& t, const std::array<double, 3>& height)
{
    const bool above0 = height[0] > 0.0;
    const bool above1 = height[1] > 0.0;
    const bool above2 = height[2] > 0.0;
    const std::size_t lone = above1 == above2 ? 0 : (above0 == above2 ? 1 : 2);
    std::array<Piercing, 2> piercings;
    for (std::size_t k = 0; k < 2; ++k) {
        const std::size_t other = (lone + 1 + k) % 3;
        const Vec3d side = t[other] - t[lone];
        const double share = height[lone] / (height[lone] - height[other]);
        piercings[k] = {t[lone] + side * share, side};
    }
    return piercings;
}

/// Does the plane that holds the directions of both sides separate the triangles by more than
/// `tolerance`?
bool Separates(const Vec3d& axis, const Triangle& a, const Triangle& b, double tolerance)
{
    const auto interval = [&](const Triangle& t) {
        const double p0 = axis * (t[0] - a[0]);
        const double p1 = axis * (t[1] - a[0]);
        const double p2 = axis * (t[2] - a[0]);
        return std::pair{std::min(p0, std::min(p1, p2)), std::max(p0, std::max(p1, p2))};
    };
    const auto [lowA, highA] = interval(a);
    const auto [lowB, highB] = interval(b);
    const double reach = tolerance * Vector::Length(axis);
    return lowB - highA > reach || lowA - highB > reach;
}

enum class Verdict { Meets, Apart, Unclear };

/// Overlap of the two intervals that the triangles cut from the line of their planes.
Verdict CompareIntervals(const Triangle& a, const Triangle& b, std::array<Piercing, 2> onA,
                         std::array<Piercing, 2> onB, double tolerance, Meeting& meeting)
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
    if (begin.place <= end.place) {
        meeting = {true, false, begin.point, end.point};
        return Verdict::Meets;
    }
    // The sides that face each other across the gap span a separating plane.
    return Separates(NormalOf(begin.side, end.side), a, b, tolerance) ? Verdict::Apart
                                                                      : Verdict::Unclear;
}

// --- by distance --------------------------------------------------------------------------------

/// Points that lie on one triangle and within the tolerance of the other: 6 from corners, 9 from
/// pairs of sides, 6 from sides that pierce.
struct Contacts {
    std::array<Vec3d, 21> point;
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

/// What merely comes near is in the corners and sides already; here the signs decide.
void AddPiercings(const Triangle& from, const Triangle& to, Contacts& contacts)
{
    for (std::size_t i = 0; i < 3; ++i) {
        Vec3d hit;
        if (SegmentTriangleHitPoint(to[0], to[1], to[2], from[i], from[i + 1], &hit, 0.0)) {
            contacts.Add(hit);
        }
    }
}

/// What the caller asks for: whether the triangles meet, for which one contact is enough, or where.
enum class Wanted { Decision, Segment };

Meeting MeetByDistance(const Triangle& a, const Triangle& b, Wanted wanted, double tolerance)
{
    Contacts contacts;
    const auto enough = [&] { return wanted == Wanted::Decision && contacts.count > 0; };
    AddCorners(a, b, tolerance, contacts);
    if (!enough()) {
        AddCorners(b, a, tolerance, contacts);
    }
    if (!enough()) {
        AddPiercings(a, b, contacts);
        AddPiercings(b, a, contacts);
    }
    if (!enough()) {
        AddSides(a, b, tolerance, contacts);
    }
    Meeting meeting;
    if (contacts.count == 0) {
        return meeting;
    }
    meeting = {true, false, contacts.point[0], contacts.point[0]};
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

Meeting MeetTriangles(const Triangle& a, const Triangle& b, Wanted wanted, double tolerance)
{
    if (BoxesApart(a, b, tolerance)) {
        return {};
    }
    bool coplanar = false;
    if (a.HasPlane(tolerance) && b.HasPlane(tolerance)) {
        const std::array<double, 3> heightOfA = b.HeightsOf(a);
        if (AllAbove(heightOfA, tolerance) || AllBelow(heightOfA, -tolerance)) {
            return {};
        }
        const std::array<double, 3> heightOfB = a.HeightsOf(b);
        if (AllAbove(heightOfB, tolerance) || AllBelow(heightOfB, -tolerance)) {
            return {};
        }
        coplanar = AllWithin(heightOfA, tolerance) || AllWithin(heightOfB, tolerance);
        if (!AnyWithin(heightOfA, tolerance) && !AnyWithin(heightOfB, tolerance)) {
            Meeting meeting;
            const Verdict verdict = CompareIntervals(a, b, PiercingsOf(a, heightOfA),
                                                     PiercingsOf(b, heightOfB), tolerance, meeting);
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
    Meeting meeting = MeetByDistance(a, b, wanted, tolerance);
    meeting.coplanar = meeting.found && coplanar;
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
