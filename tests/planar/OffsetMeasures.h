// Slow obvious measures of offsets: areas, lengths, distances from the source.
#pragma once

#include "tests/planar/ChainSupport.h"

#include <vector>

namespace Support {

template <class T>
using Chains = std::vector<PolyArcSegBase<T>>;

template <class T>
double TotalLength(const Chains<T>& chains)
{
    double length = 0;
    for (const auto& chain : chains) {
        for (const auto& element : chain.elements) {
            length += LengthOf(element);
        }
    }
    return length;
}

/// By the corners, and of each arc the sliver between it and its chord.
template <class T>
double AreaOf(const PolyArcSegBase<T>& chain)
{
    double area = 0;
    const Vec2d origin = PointOf(chain.elements.front(), 0);
    for (const auto& element : chain.elements) {
        area += 0.5 * ((PointOf(element, 0) - origin) ^ (PointOf(element, 1) - origin));
        if (const auto* arc = element.AsArc()) {
            const double radius =
                std::hypot(arc->start[0] - arc->center[0], arc->start[1] - arc->center[1]);
            const double angle = static_cast<double>(arc->length) / radius;
            area += 0.5 * radius * radius * (angle - std::sin(angle));
        }
    }
    return area;
}

template <class T>
double DistanceToElement(const Vec2d& p, const ArcSegBase<T>& element)
{
    const Vec2d a = PointOf(element, 0);
    const Vec2d b = PointOf(element, 1);
    const auto gap = [&](const Vec2d& q) { return std::hypot(q[0] - p[0], q[1] - p[1]); };
    if (element.AsSegment() != nullptr) {
        const Vec2d ab = b - a;
        return gap(a + ab * std::clamp(((p - a) * ab) / (ab * ab), 0.0, 1.0));
    }
    const auto& arc = *element.AsArc();
    const Vec2d center(arc.center[0], arc.center[1]);
    const double radius = std::hypot(a[0] - center[0], a[1] - center[1]);
    const double from = std::atan2(a[1] - center[1], a[0] - center[0]);
    double angle = std::atan2(p[1] - center[1], p[0] - center[0]) - from;
    const double sweep = static_cast<double>(arc.length) / radius;
    angle = sweep < 0 ? -angle : angle;
    angle -= std::floor(angle / (2 * kHalfTurn)) * 2 * kHalfTurn;
    const double beside = std::min(gap(a), gap(b));
    return angle <= std::fabs(sweep)
               ? std::min(beside,
                          std::fabs(std::hypot(p[0] - center[0], p[1] - center[1]) - radius))
               : beside;
}

template <class T>
double DistanceToChain(const Vec2d& p, const PolyArcSegBase<T>& chain)
{
    double least = std::numeric_limits<double>::infinity();
    for (const auto& element : chain.elements) {
        least = std::min(least, DistanceToElement(p, element));
    }
    return least;
}

/// Every sample lies at the distance from the source.
template <class T>
void ExpectAtDistance(const Chains<T>& offset, const PolyArcSegBase<T>& source, double distance,
                      double near, int samples = 5)
{
    for (const auto& chain : offset) {
        for (const auto& element : chain.elements) {
            for (int i = 0; i <= samples; ++i) {
                const Vec2d p = PointOf(element, static_cast<double>(i) / samples);
                ASSERT_NEAR(DistanceToChain(p, source), distance, near) << p[0] << ", " << p[1];
            }
        }
    }
}

template <class T>
void ExpectClosed(const Chains<T>& chains, std::size_t count)
{
    EXPECT_EQ(chains.size(), count);
    for (const auto& chain : chains) {
        EXPECT_TRUE(chain.IsClosed());
    }
}

} // namespace Support
