// Sides, areas and circles of points in the plane, as the triangulations ask for them.
#pragma once

#include "mathbase/Predicates_Impl.h"
#include "mathbase/SegmentPoint_Impl.h"

#include <Sorvane/Triangle_E.h>
#include <Velk/Math/Tolerances_E.h>
#include <Velk/Math/VecBase_E.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>

namespace Velk::Math::Sorvane::HalfEdge::Impl {

using Math::Impl::AccurateDoubleArea;
using Math::Impl::Orientation;

/// Twice the signed area of a, b, c, in plain `double`.
inline double DoubleArea(const Vec2d& a, const Vec2d& b, const Vec2d& c)
{
    return (a - c) ^ (b - c);
}

/// The sine of the sum of the angles at `c` and `d` opposite the edge a-b, times the lengths of
/// their legs: positive when `d` lies outside the circle of the counter-clockwise triangle a, b, c,
/// negative when inside. The angles have no sign: where both corners lie on one side of the edge,
/// it is still their sum.
struct CircleTest {
    [[gnu::always_inline]] CircleTest(const Vec2d& a, const Vec2d& b, const Vec2d& c,
                                      const Vec2d& d)
    {
        const Vec2d ca = a - c;
        const Vec2d cb = b - c;
        const Vec2d da = a - d;
        const Vec2d db = b - d;
        sine = std::fabs(ca ^ cb) * Dot(da, db) + Dot(ca, cb) * std::fabs(db ^ da);
        scale = Dot(ca, ca) * Dot(cb, cb) * Dot(da, da) * Dot(db, db);
    }

    /// False when the sum is too near to pi for plain products.
    [[gnu::always_inline]] bool IsClear() const
    {
        constexpr double kSmallestSine = 1e-14;
        return sine * sine > kSmallestSine * kSmallestSine * scale;
    }

    // Without the zero that sums over any number of axes begin with.
    [[gnu::always_inline]] static double Dot(const Vec2d& a, const Vec2d& b)
    {
        return a.x() * b.x() + a.y() * b.y();
    }

    double sine;
    double scale; ///< squared product of the legs' lengths
};

/// Sign of the sine of `CircleTest`, 0 when it is not clear.
inline int SideOfCircle(const Vec2d& a, const Vec2d& b, const Vec2d& c, const Vec2d& d)
{
    const CircleTest test(a, b, c, d);
    if (!test.IsClear()) {
        return 0;
    }
    return test.sine > 0 ? 1 : -1;
}

/// `Mesh::LocallyDelaunayEdge` of the edge a-b with the apexes `c` and `d`.
inline bool IsLocallyDelaunay(const Vec2d& a, const Vec2d& b, const Vec2d& c, const Vec2d& d,
                              double tolerance)
{
    if (tolerance == 0) {
        // The same question without roots and arc tangents, wherever the answer is clear.
        const int side = SideOfCircle(a, b, c, d);
        if (side != 0) {
            return side > 0;
        }
    }
    return Mesh::LocallyDelaunayEdge(Length(b - a), Length(a - c), Length(b - c), Length(d - b),
                                     Length(a - d), tolerance);
}

/// Is the quad of the triangles a, b, c and b, a, d strictly convex at `a` and `b`? Strictly: by
/// more than a share of its area that stands for rounding.
[[gnu::always_inline]] inline bool IsConvexQuad(const Vec2d& a, const Vec2d& b, const Vec2d& c,
                                                const Vec2d& d)
{
    constexpr double kConvexShare = 1e-12;
    const double area = ((a - c) ^ (b - c)) + ((b - d) ^ (a - d));
    const double least = std::fabs(area) * kConvexShare;
    return ((d - c) ^ (b - c)) > least && ((c - d) ^ (a - d)) > least;
}

// --- where a point goes -------------------------------------------------------------------------

/// Distance at and below which there is none.
struct Floor {
    double length;
    double squared;
};

template <class T>
inline constexpr Floor kFloor{kLengthFloor<T>, kSquaredLengthFloor<T>};

/// What a point is on, of a triangle; side k runs from corner k to the next.
struct PlaceInTriangle {
    enum class Kind { Nowhere, Corner, Side, Inside };
    Kind kind = Kind::Nowhere;
    int number = -1;
};

/// For a point known to be in or on the triangle: corner before side before inside; of the sides
/// the first that is within `floor`.
inline PlaceInTriangle Classify(const std::array<Vec2d, 3>& at, const Vec2d& p, const Floor& floor)
{
    using Kind = PlaceInTriangle::Kind;
    // Farther from the lines of all sides than any of the distances below: clearly inside.
    bool isClear = true;
    for (std::size_t k = 0; k < 3; ++k) {
        const Vec2d& a = at[k];
        const Vec2d& b = at[(k + 1) % 3];
        const double area = DoubleArea(p, a, b);
        isClear = isClear && area * area > 4 * floor.squared * SquaredLength(b - a);
    }
    if (isClear) {
        return {Kind::Inside, -1};
    }
    for (std::size_t k = 0; k < 3; ++k) {
        if (Matches(p, at[k], floor.length)) {
            return {Kind::Corner, static_cast<int>(k)};
        }
    }
    for (std::size_t k = 0; k < 3; ++k) {
        if (Math::Impl::SquaredDistanceToSegment(at[k], at[(k + 1) % 3], p,
                                                 Math::Impl::ShorterThan(floor.length)) <=
            floor.squared) {
            return {Kind::Side, static_cast<int>(k)};
        }
    }
    return {Kind::Inside, -1};
}

/// How a point inside a triangle is to be inserted: inside, on the nearest side if it is too near
/// to one to leave a triangle there, or not at all.
inline PlaceInTriangle InsertionPlace(const std::array<Vec2d, 3>& at, const Vec2d& p,
                                      double minDoubleArea, const Floor& floor)
{
    using Kind = PlaceInTriangle::Kind;
    constexpr double kOnSideDoubleArea = 1e-10; // at and below which it counts as on the side
    constexpr double kPartsSlack = 1e-10;       // share of the area by which its parts may miss it
    double whole = 0;
    std::array<double, 3> parts;
    const auto measure = [&](auto doubleArea) {
        whole = doubleArea(at[0], at[1], at[2]);
        for (std::size_t k = 0; k < 3; ++k) {
            parts[k] = doubleArea(p, at[k], at[(k + 1) % 3]);
        }
    };
    const auto isInside = [&] {
        return std::all_of(parts.begin(), parts.end(),
                           [](double part) { return part > kOnSideDoubleArea; });
    };
    const auto addUp = [&] {
        return std::fabs(whole - (parts[0] + parts[1] + parts[2])) <=
               std::fabs(whole * kPartsSlack);
    };
    measure(DoubleArea);
    if (isInside() && !addUp()) {
        measure(AccurateDoubleArea);
    }
    if (isInside()) {
        return {2 * minDoubleArea > whole || !addUp() ? Kind::Nowhere : Kind::Inside, -1};
    }
    int nearest = -1;
    double least = 0;
    for (std::size_t k = 0; k < 3; ++k) {
        const double squared = Math::Impl::SquaredDistanceToSegment(
            at[k], at[(k + 1) % 3], p, Math::Impl::ShorterThan(floor.length));
        if (nearest < 0 || squared < least) {
            nearest = static_cast<int>(k);
            least = squared;
        }
    }
    return {Kind::Side, nearest};
}

/// Is `p` strictly inside the triangle? Exact.
inline bool IsStrictlyInside(const std::array<Vec2d, 3>& at, const Vec2d& p)
{
    return Orientation(at[0], at[1], p) > 0 && Orientation(at[1], at[2], p) > 0 &&
           Orientation(at[2], at[0], p) > 0;
}

/// Does `p` see all sides of the quad of the triangles a, b, c and b, a, d from within? Exact: the
/// four triangles that it makes with them have positive areas, and these then add up to the quad's.
inline bool FillsQuad(const Vec2d& a, const Vec2d& b, const Vec2d& c, const Vec2d& d,
                      const Vec2d& p)
{
    return Orientation(b, c, p) > 0 && Orientation(c, a, p) > 0 && Orientation(a, d, p) > 0 &&
           Orientation(d, b, p) > 0;
}

} // namespace Velk::Math::Sorvane::HalfEdge::Impl
