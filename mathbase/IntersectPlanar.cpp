// Segments, lines and triangles in the plane: where two segments meet, where two lines cross, and
// whether a point lies in a triangle.
//
// A tolerance is a length throughout: two things meet where their Euclidean distance is no greater.
// Ends are looked at first and give their own bits; what is left is a crossing well inside both
// segments, which the signs of four doubled areas decide without any tolerance.

#include <Velk/Math/Intersect_E.h>

#include "mathbase/ErrorFree_Impl.h"
#include "mathbase/Intersect_Impl.h"

#include <array>
#include <utility>

namespace Velk::Math::Intersect {
namespace {

using namespace Impl;

/// A segment with what all tests on it need.
struct Directed {
    Vec2d start;
    Vec2d end;
    Vec2d direction = end - start;
    double length = Vector::Length(direction);

    Directed(const Vec2d& from, const Vec2d& to) : start(from), end(to) {}

    /// Signed distance of `p` from the line times the length; exactly 0 at both ends.
    double Side(const Vec2d& p) const { return direction ^ (p - start); }
};

struct Meeting {
    bool found = false;
    bool overlap = false;
    Vec2d hit;
};

/// Do the boxes of two segments lie farther apart than `tolerance`? Rounding is monotone, so that a
/// gap no greater than the tolerance is never taken for a greater one.
bool BoxesApart(const Vec2d& a0, const Vec2d& a1, const Vec2d& b0, const Vec2d& b1,
                double tolerance)
{
    for (int i = 0; i < 2; ++i) {
        if (std::max(a0[i], a1[i]) + tolerance < std::min(b0[i], b1[i]) ||
            std::max(b0[i], b1[i]) + tolerance < std::min(a0[i], a1[i])) {
            return true;
        }
    }
    return false;
}

/// Both ends beyond `reach` on the same side: nothing between them comes near the line.
bool StaysBeside(double startSide, double endSide, double reach)
{
    return (startSide > reach && endSide > reach) || (startSide < -reach && endSide < -reach);
}

/// Is `p`, whose side of the segment's line is `side`, within `tolerance` of the segment?
bool Touches(const Vec2d& p, const Directed& segment, double side, double tolerance)
{
    const Vec2d fromStart = p - segment.start;
    const double along = fromStart * segment.direction;
    if (along <= 0.0) {
        return Vector::Length(fromStart) <= tolerance;
    }
    if (along >= segment.direction * segment.direction) {
        return Vector::Length(p - segment.end) <= tolerance;
    }
    return std::fabs(side) <= tolerance * segment.length;
}

/// `Directed::Side` without rounding until the end, as long as no product of two differences
/// underflows.
double AccurateSide(const Directed& segment, const Vec2d& p)
{
    using Math::Impl::TwoSum;
    using Number = Math::Impl::Expansion<2>;
    const Number alongX(TwoSum(segment.end.x(), -segment.start.x()));
    const Number alongY(TwoSum(segment.end.y(), -segment.start.y()));
    const Number toX(TwoSum(p.x(), -segment.start.x()));
    const Number toY(TwoSum(p.y(), -segment.start.y()));
    return (alongX * toY - alongY * toX).Estimate();
}

/// Crossing of two segments whose ends lie on opposite sides of each other.
///
/// Interpolated on the shorter one, where a rounding of the parameter moves the point least. The
/// segments are put in an order of their own first: the point has the same bits whichever comes
/// first and whichever way each runs. Seen from the other end of a segment, sides are rounded in
/// another way: where the ends of a segment are of very different size, sides that were opposite
/// may both vanish. They are then taken without rounding.
Vec2d ProperCrossing(Directed a, Directed b)
{
    for (Directed* segment : {&a, &b}) {
        if (Precedes(segment->end, segment->start)) {
            *segment = Directed(segment->end, segment->start);
        }
    }
    if (b.length < a.length || (b.length == a.length && Precedes(b.start, a.start))) {
        std::swap(a, b);
    }
    double startSide = b.Side(a.start);
    double endSide = b.Side(a.end);
    if (startSide == endSide) {
        startSide = AccurateSide(b, a.start);
        endSide = AccurateSide(b, a.end);
    }
    // Of opposite sides nothing cancels. Equal ones are left where products have underflowed: then
    // all of the segment is as near to the other one's line as numbers can tell.
    const double drop = startSide - endSide;
    const double share = drop != 0.0 ? startSide / drop : 0.5;
    return a.start + a.direction * std::clamp(share, 0.0, 1.0);
}

/// The ends of two segments that touch the other one; at most a0, a1, b0, b1 in this order.
struct TouchingEnds {
    std::array<Vec2d, 4> point;
    int count = 0;

    void Add(const Vec2d& p) { point[static_cast<std::size_t>(count++)] = p; }
    auto begin() const { return point.begin(); }
    auto end() const { return point.begin() + count; }

    bool SpreadBeyond(double tolerance) const
    {
        return std::any_of(begin(), end(), [&](const Vec2d& p) {
            return std::any_of(begin(), end(),
                               [&](const Vec2d& q) { return Vector::Length(p - q) > tolerance; });
        });
    }

    /// The first of those nearest to `p`.
    Vec2d NearestTo(const Vec2d& p) const
    {
        return *std::min_element(begin(), end(), [&](const Vec2d& u, const Vec2d& v) {
            return Vector::SquaredLength(u - p) < Vector::SquaredLength(v - p);
        });
    }
};

bool HaveCommonEnd(const Directed& a, const Directed& b, double tolerance)
{
    const auto match = [&](const Vec2d& p, const Vec2d& q) {
        return Vector::Length(p - q) <= tolerance;
    };
    return match(a.start, b.start) || match(a.start, b.end) || match(a.end, b.start) ||
           match(a.end, b.end);
}

Meeting MeetAtEnds(const Directed& a, const Directed& b, const TouchingEnds& ends,
                   bool countCommonEnds, double tolerance)
{
    // The distance to a segment is a convex function: what lies between two touching ends touches
    // both segments too, so that two of them far enough apart make a common stretch.
    const bool overlap =
        a.length > tolerance && b.length > tolerance && ends.SpreadBeyond(tolerance);
    if (!overlap && !countCommonEnds && HaveCommonEnd(a, b, tolerance)) {
        return {};
    }
    return {true, overlap, ends.NearestTo(a.start)};
}

Meeting MeetSegments(const Vec2d& a0, const Vec2d& a1, const Vec2d& b0, const Vec2d& b1,
                     bool countCommonEnds, double tolerance)
{
    if (BoxesApart(a0, a1, b0, b1, tolerance)) {
        return {};
    }
    const Directed a(a0, a1);
    const Directed b(b0, b1);
    const double a0Side = b.Side(a0);
    const double a1Side = b.Side(a1);
    const double b0Side = a.Side(b0);
    const double b1Side = a.Side(b1);
    if (StaysBeside(a0Side, a1Side, tolerance * b.length) ||
        StaysBeside(b0Side, b1Side, tolerance * a.length)) {
        return {};
    }
    if (!IsFinite(a0) || !IsFinite(a1) || !IsFinite(b0) || !IsFinite(b1) || std::isnan(tolerance)) {
        return {};
    }

    TouchingEnds ends;
    const std::array<std::pair<const Vec2d*, double>, 2> endsOfA{{{&a0, a0Side}, {&a1, a1Side}}};
    const std::array<std::pair<const Vec2d*, double>, 2> endsOfB{{{&b0, b0Side}, {&b1, b1Side}}};
    for (const auto& [end, side] : endsOfA) {
        if (Touches(*end, b, side, tolerance)) {
            ends.Add(*end);
        }
    }
    for (const auto& [end, side] : endsOfB) {
        if (Touches(*end, a, side, tolerance)) {
            ends.Add(*end);
        }
    }
    if (ends.count > 0) {
        return MeetAtEnds(a, b, ends, countCommonEnds, tolerance);
    }

    const bool crosses = ((a0Side < 0.0 && a1Side > 0.0) || (a0Side > 0.0 && a1Side < 0.0)) &&
                         ((b0Side < 0.0 && b1Side > 0.0) || (b0Side > 0.0 && b1Side < 0.0));
    return crosses ? Meeting{true, false, ProperCrossing(a, b)} : Meeting{};
}

/// The scale at which products of the coordinates neither overflow nor vanish: 1 for usual sizes.
double WorkScale(const std::array<Vec2d, 4>& ends)
{
    constexpr double kLeastUsual = 0x1p-250;
    constexpr double kLargestUsual = 0x1p250;
    double largest = 0.0;
    for (const Vec2d& end : ends) {
        largest = std::max(largest, Math::Impl::LargestMagnitude(end));
    }
    const bool isUsual = largest >= kLeastUsual && largest <= kLargestUsual;
    return isUsual ? 1.0 : Math::Impl::ScaleToOne(largest);
}

} // namespace

template <class T>
bool SegmentSegment(const VecBase<2, T>& a0, const VecBase<2, T>& a1, const VecBase<2, T>& b0,
                    const VecBase<2, T>& b1, VecBase<2, T>& hit, bool& overlap,
                    bool countCommonEnds, T tolerance)
{
    const std::array<Vec2d, 4> ends{Widened(a0), Widened(a1), Widened(b0), Widened(b1)};
    const double reach = AtLeastZero(static_cast<double>(tolerance));
    const double scale = WorkScale(ends);
    Meeting meeting;
    if (scale == 1.0) {
        meeting = MeetSegments(ends[0], ends[1], ends[2], ends[3], countCommonEnds, reach);
    } else {
        meeting = MeetSegments(ends[0] * scale, ends[1] * scale, ends[2] * scale, ends[3] * scale,
                               countCommonEnds, reach * scale);
        meeting.hit = meeting.hit * (1.0 / scale);
    }
    hit = Narrowed<T>(meeting.hit);
    overlap = meeting.overlap;
    return meeting.found;
}

bool LineLine(const VecBase<2, double>& a0, const VecBase<2, double>& a1,
              const VecBase<2, double>& b0, const VecBase<2, double>& b1, VecBase<2, double>& hit,
              double tolerance)
{
    const Vec2d a = a1 - a0;
    const Vec2d b = b1 - b0;
    const Vec2d between = b0 - a0;
    hit = {};
    const double sine = a ^ b; // times both lengths
    if (!(std::fabs(sine) > AtLeastZero(tolerance) * (Vector::Length(a) * Vector::Length(b)))) {
        return false;
    }
    const Vec2d crossing = a0 + a * ((between ^ b) / sine);
    if (!IsFinite(crossing)) {
        return false;
    }
    hit = crossing;
    return true;
}

template <class T>
bool PointInOrOnTriangle(const VecBase<2, T>& a, const VecBase<2, T>& b, const VecBase<2, T>& c,
                         const VecBase<2, T>& point, T tolerance)
{
    const std::array<Vec2d, 3> corner{Widened(a), Widened(b), Widened(c)};
    const Vec2d p = Widened(point);
    const double reach = AtLeastZero(static_cast<double>(tolerance));
    for (int i = 0; i < 2; ++i) {
        const double low = std::min(corner[0][i], std::min(corner[1][i], corner[2][i]));
        const double high = std::max(corner[0][i], std::max(corner[1][i], corner[2][i]));
        if (!(p[i] + reach >= low && p[i] - reach <= high)) {
            return false; // NaN of the point or the tolerance ends here too
        }
    }
    if (!IsFinite(corner[0]) || !IsFinite(corner[1]) || !IsFinite(corner[2])) {
        return false;
    }
    if (IsInTriangle(corner[0], corner[1], corner[2], p)) {
        return true;
    }
    for (std::size_t i = 0; i < 3; ++i) {
        const Vec2d nearest = NearestOnSegment(corner[i], corner[(i + 1) % 3], p, kPointsAreShort);
        if (Vector::Length(p - nearest) <= reach) {
            return true;
        }
    }
    return false;
}

// clang-format off
#define SORVANE_INSTANTIATE(T) \
    template bool SegmentSegment(const VecBase<2, T>&, const VecBase<2, T>&, const VecBase<2, T>&, const VecBase<2, T>&, VecBase<2, T>&, bool&, bool, T); \
    template bool PointInOrOnTriangle(const VecBase<2, T>&, const VecBase<2, T>&, const VecBase<2, T>&, const VecBase<2, T>&, T);
// clang-format on
SORVANE_INSTANTIATE(float)
SORVANE_INSTANTIATE(double)
#undef SORVANE_INSTANTIATE

} // namespace Velk::Math::Intersect
