// Chains for tests, and slow obvious measures of them that use none of the code under test.
#pragma once

#include <Sorvane/PolyArcSeg_E.h>
#include <Velk/Math/Vector_E.h>

#include "tests/support/TestSupport.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <numbers>
#include <type_traits>
#include <vector>

namespace Support {

using Velk::Math::Vec2d;
using Velk::Math::VecBase;
namespace Planar = Velk::Math::Sorvane::Planar;
using Velk::Math::Sorvane::Planar::ArcSegBase;
using Velk::Math::Sorvane::Planar::PolyArcSegBase;

/// Pi, as an angle.
inline constexpr double kHalfTurn = std::numbers::pi;

/// What rounding in T leaves of lengths of about 10.
template <class T>
inline constexpr double kNear = std::is_same_v<T, float> ? 2e-5 : 2e-13;

template <class T>
VecBase<2, T> End(const PolyArcSegBase<T>& chain)
{
    return chain.elements.back().EndPoint();
}

/// Segments through `corners`, in order.
template <class T>
PolyArcSegBase<T> Lines(const std::vector<VecBase<2, T>>& corners)
{
    PolyArcSegBase<T> chain;
    for (std::size_t i = 1; i < corners.size(); ++i) {
        EXPECT_TRUE(chain.AppendSegment(corners[i - 1], corners[i]));
    }
    return chain;
}

/// Counter-clockwise square (0, 0) to (2, 2), closed.
template <class T>
PolyArcSegBase<T> Square()
{
    return Lines<T>({{0, 0}, {2, 0}, {2, 2}, {0, 2}, {0, 0}});
}

/// Full circle about the origin, begun at (radius, 0); `sense` 1 counter-clockwise, -1 clockwise.
template <class T>
PolyArcSegBase<T> Circle(T radius, int sense)
{
    PolyArcSegBase<T> chain;
    chain.tolerance = static_cast<T>(1e-5);
    chain.AppendArc({0, 0}, {radius, T{0}}, static_cast<T>(sense * 2 * kHalfTurn) * radius);
    return chain;
}

/// Segment, half circle, segment: from (0, 0) to (4, 0), round (4, 1) to (4, 2), back to (0, 2).
template <class T>
PolyArcSegBase<T> Hairpin()
{
    PolyArcSegBase<T> chain;
    chain.tolerance = static_cast<T>(1e-6);
    EXPECT_TRUE(chain.AppendSegment({0, 0}, {4, 0}));
    EXPECT_TRUE(chain.AppendArc({4, 1}, {4, 0}, static_cast<T>(kHalfTurn)));
    EXPECT_TRUE(chain.AppendSegment({4, 2}, {0, 2}));
    return chain;
}

/// `count` random segments and arcs of either sense, up to nearly full turns; it may cross itself.
template <class T>
PolyArcSegBase<T> RandomChain(Random& random, int count)
{
    PolyArcSegBase<T> chain;
    chain.AppendSegment({0, 0}, random.Vector<2, T>(-2, 2));
    while (static_cast<int>(chain.elements.size()) < count) {
        const VecBase<2, T> from = End(chain);
        if (random.Below(2) == 0) {
            EXPECT_TRUE(chain.AppendSegment(from, from + random.Vector<2, T>(-2, 2)));
        } else {
            const VecBase<2, T> center = from + random.Vector<2, T>(-1, 1);
            const double radius = Velk::Math::Vector::Length(Vec2d(from) - Vec2d(center));
            const double sense = random.Below(2) == 0 ? -1 : 1;
            EXPECT_TRUE(chain.AppendArc(
                center, from, static_cast<T>(sense * radius * random.Between(0.05, 6.2))));
        }
    }
    return chain;
}

/// Closed and simple, round a center, counter-clockwise with `sense` 1 and clockwise with -1; sides
/// bulged either way or straight. Each side starts from the very end of the one before, and the
/// last is a segment, so that all joints are exact in T too.
template <class T>
PolyArcSegBase<T> RandomOutline(Random& random, int sense)
{
    const int corners = 4 + random.Below(9);
    const Vec2d center = random.Vector<2, double>(-3, 3);
    std::vector<VecBase<2, T>> corner;
    for (int i = 0; i < corners; ++i) {
        const double angle = sense * 2 * kHalfTurn * (i + random.Between(0, 0.5)) / corners;
        const Vec2d spoke(std::cos(angle), std::sin(angle));
        corner.emplace_back(center + random.Between(1.6, 2.4) * spoke);
    }
    PolyArcSegBase<T> chain;
    for (std::size_t i = 1; i < corner.size(); ++i) {
        const VecBase<2, T> from = i > 1 ? End(chain) : corner[0];
        const Vec2d a(from[0], from[1]);
        const Vec2d b(corner[i][0], corner[i][1]);
        const Vec2d normal((b - a).y(), -(b - a).x());
        const double bulge = random.Between(-0.1, 0.1);
        const VecBase<2, T> middle((a + b) * 0.5 + normal * (0.5 * bulge));
        const auto arc = Velk::Math::Geometry::ArcThroughPoints(from, middle, corner[i]);
        if (random.Below(3) == 0) {
            EXPECT_TRUE(chain.AppendSegment(from, corner[i]));
        } else {
            EXPECT_TRUE(chain.AppendArc(arc.center, from, arc.length));
        }
    }
    EXPECT_TRUE(chain.AppendSegment(End(chain), corner[0]));
    return chain;
}

/// The chain elsewhere. Coordinates round there, so that joints may come to gape by that.
template <class T>
PolyArcSegBase<T> Moved(PolyArcSegBase<T> chain, const VecBase<2, T>& by)
{
    for (ArcSegBase<T>& element : chain.elements) {
        if (const auto* segment = element.AsSegment()) {
            element = ArcSegBase<T>(
                Velk::Math::Geometry::SegBase<T>{segment->start + by, segment->end + by});
        } else {
            const auto arc = *element.AsArc();
            element = ArcSegBase<T>(
                Velk::Math::Geometry::ArcBase<T>{arc.center + by, arc.start + by, arc.length});
        }
    }
    return chain;
}

/// The chain run the other way.
template <class T>
PolyArcSegBase<T> TurnedRound(PolyArcSegBase<T> chain)
{
    std::reverse(chain.elements.begin(), chain.elements.end());
    for (ArcSegBase<T>& element : chain.elements) {
        element.Reverse();
    }
    return chain;
}

/// Point of an element at a fraction of its length, by turning the spoke of an arc.
template <class T>
Vec2d PointOf(const ArcSegBase<T>& element, double fraction)
{
    if (const auto* segment = element.AsSegment()) {
        return Vec2d(segment->start[0], segment->start[1]) * (1 - fraction) +
               Vec2d(segment->end[0], segment->end[1]) * fraction;
    }
    const auto& arc = *element.AsArc();
    const Vec2d center(arc.center[0], arc.center[1]);
    const Vec2d spoke = Vec2d(arc.start[0], arc.start[1]) - center;
    const double angle =
        fraction * static_cast<double>(arc.length) / std::hypot(spoke[0], spoke[1]);
    return center + Vec2d(spoke[0] * std::cos(angle) - spoke[1] * std::sin(angle),
                          spoke[0] * std::sin(angle) + spoke[1] * std::cos(angle));
}

template <class T>
double LengthOf(const ArcSegBase<T>& element)
{
    if (const auto* segment = element.AsSegment()) {
        return std::hypot(
            static_cast<double>(segment->end[0]) - static_cast<double>(segment->start[0]),
            static_cast<double>(segment->end[1]) - static_cast<double>(segment->start[1]));
    }
    return std::fabs(static_cast<double>(element.AsArc()->length));
}

/// Points of the chain, ends of elements among them, no farther apart than `step` along it.
template <class T>
std::vector<Vec2d> Samples(const PolyArcSegBase<T>& chain, double step)
{
    std::vector<Vec2d> samples;
    for (const ArcSegBase<T>& element : chain.elements) {
        const int count = static_cast<int>(LengthOf(element) / step) + 1;
        for (int i = 0; i <= count; ++i) {
            samples.push_back(PointOf(element, static_cast<double>(i) / count));
        }
    }
    return samples;
}

double DistanceToPoints(const Vec2d& p, const std::vector<Vec2d>& points);

/// Distance of `p` from a polyline.
template <class T>
double DistanceToPolyline(const Vec2d& p, const std::vector<VecBase<2, T>>& polyline)
{
    double least = std::numeric_limits<double>::infinity();
    for (std::size_t i = 1; i < polyline.size(); ++i) {
        const Vec2d a(polyline[i - 1][0], polyline[i - 1][1]);
        const Vec2d ab = Vec2d(polyline[i][0], polyline[i][1]) - a;
        const double place = std::clamp(((p - a) * ab) / (ab * ab), 0.0, 1.0);
        const Vec2d q = a + ab * place;
        least = std::min(least, std::hypot(q[0] - p[0], q[1] - p[1]));
    }
    return least;
}

/// Is `p` inside a closed polyline, by the number of sides that a ray to the right crosses?
template <class T>
bool IsInside(const Vec2d& p, const std::vector<VecBase<2, T>>& loop)
{
    bool inside = false;
    for (std::size_t i = 0, j = loop.size() - 1; i < loop.size(); j = i++) {
        const Vec2d a(loop[i][0], loop[i][1]);
        const Vec2d b(loop[j][0], loop[j][1]);
        if ((a[1] > p[1]) != (b[1] > p[1]) &&
            p[0] < a[0] + (b[0] - a[0]) * (p[1] - a[1]) / (b[1] - a[1])) {
            inside = !inside;
        }
    }
    return inside;
}

// Compiled once, with optimization in every build (tests/CMakeLists.txt).
extern template Vec2d PointOf(const ArcSegBase<float>&, double);
extern template std::vector<Vec2d> Samples(const PolyArcSegBase<float>&, double);
extern template double DistanceToPolyline(const Vec2d&, const std::vector<VecBase<2, float>>&);
extern template bool IsInside(const Vec2d&, const std::vector<VecBase<2, float>>&);

extern template Vec2d PointOf(const ArcSegBase<double>&, double);
extern template std::vector<Vec2d> Samples(const PolyArcSegBase<double>&, double);
extern template double DistanceToPolyline(const Vec2d&, const std::vector<VecBase<2, double>>&);
extern template bool IsInside(const Vec2d&, const std::vector<VecBase<2, double>>&);

} // namespace Support
