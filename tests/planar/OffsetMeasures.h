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

/// Unit vector to the right of travel at a fraction of an element's length.
template <class T>
Vec2d RightOf(const ArcSegBase<T>& element, double fraction)
{
    Vec2d right;
    if (const auto* segment = element.AsSegment()) {
        const double x = static_cast<double>(segment->end[0]) - segment->start[0];
        const double y = static_cast<double>(segment->end[1]) - segment->start[1];
        right = {y, -x};
    } else {
        const auto& arc = *element.AsArc();
        right = PointOf(element, fraction) - Vec2d(arc.center[0], arc.center[1]);
        right = arc.length < 0 ? -right : right;
    }
    return right * (1 / std::hypot(right[0], right[1]));
}

/// Points at the signed distance from the chain, straight beside its elements and round its joints,
/// that no part of the chain is nearer to than `near` less than that.
template <class T>
std::vector<Vec2d> ExactOffsetPoints(const PolyArcSegBase<T>& source, double distance, double near)
{
    std::vector<Vec2d> points;
    const auto consider = [&](const Vec2d& p) {
        if (DistanceToChain(p, source) > std::fabs(distance) - near) {
            points.push_back(p);
        }
    };
    constexpr int kSamples = 19;
    const std::size_t count = source.elements.size();
    for (std::size_t i = 0; i < count; ++i) {
        const auto& own = source.elements[i];
        for (int k = 0; k < kSamples; ++k) {
            const double fraction = (k + 0.5) / kSamples;
            consider(PointOf(own, fraction) + RightOf(own, fraction) * distance);
        }
        if (i + 1 == count && !source.IsClosed()) {
            break;
        }
        const auto& next = source.elements[(i + 1) % count];
        const Vec2d from = RightOf(own, 1);
        const Vec2d to = RightOf(next, 0);
        const double turn = std::atan2(from ^ to, from * to);
        // The side that the chain turns away from.
        for (int k = 0; k < kSamples && turn * distance > 1e-3; ++k) {
            const double angle = turn * (k + 0.5) / kSamples;
            const double c = std::cos(angle);
            const double s = std::sin(angle);
            consider(PointOf(next, 0) +
                     Vec2d(c * from[0] - s * from[1], s * from[0] + c * from[1]) * distance);
        }
    }
    return points;
}

/// Every point that belongs to the offset lies on it. Its curves come out whole where no two of
/// their elements connect the same two vertices.
template <class T>
void ExpectNothingMissing(const Chains<T>& offset, const PolyArcSegBase<T>& source, double distance,
                          double near)
{
    for (const Vec2d& p : ExactOffsetPoints(source, distance, 1e-3 * near)) {
        double least = std::numeric_limits<double>::infinity();
        for (const auto& chain : offset) {
            least = std::min(least, DistanceToChain(p, chain));
        }
        ASSERT_LT(least, near) << p[0] << ", " << p[1];
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

// Compiled once, with optimization in every build (tests/CMakeLists.txt).
extern template double DistanceToElement(const Vec2d&, const ArcSegBase<float>&);
extern template double DistanceToChain(const Vec2d&, const PolyArcSegBase<float>&);

extern template double DistanceToElement(const Vec2d&, const ArcSegBase<double>&);
extern template double DistanceToChain(const Vec2d&, const PolyArcSegBase<double>&);

} // namespace Support
