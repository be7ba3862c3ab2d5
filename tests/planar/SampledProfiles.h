// Outlines of lines and arcs for arc fitting, as chains and as the points that sample them, and the
// distance of a point from a chain.
#pragma once

#include "tests/planar/ChainSupport.h"
#include "tests/support/TestSupport.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <string>
#include <vector>

namespace Support {

/// Distance of a point from an element by the polar angle of the point about the center.
template <class T>
double DistanceToElement(const Vec2d& p, const ArcSegBase<T>& element)
{
    const Vec2d start = PointOf(element, 0);
    const Vec2d end = PointOf(element, 1);
    if (element.AsSegment() != nullptr) {
        const Vec2d along = end - start;
        const double squared = along * along;
        const double place = squared > 0 ? std::clamp((p - start) * along / squared, 0.0, 1.0) : 0;
        const Vec2d off = p - (start + along * place);
        return std::hypot(off[0], off[1]);
    }
    const auto& arc = *element.AsArc();
    const Vec2d center(arc.center[0], arc.center[1]);
    const Vec2d spoke = start - center;
    const Vec2d toPoint = p - center;
    const double radius = std::hypot(spoke[0], spoke[1]);
    const double sense = arc.length < 0 ? -1 : 1;
    double ahead = sense * (std::atan2(toPoint[1], toPoint[0]) - std::atan2(spoke[1], spoke[0]));
    ahead -= 2 * kHalfTurn * std::floor(ahead / (2 * kHalfTurn));
    const double toEnds = std::min(std::hypot(p[0] - start[0], p[1] - start[1]),
                                   std::hypot(p[0] - end[0], p[1] - end[1]));
    const bool isBeside = ahead <= std::fabs(static_cast<double>(arc.length)) / radius;
    const double off = std::fabs(std::hypot(toPoint[0], toPoint[1]) - radius);
    return isBeside ? std::min(off, toEnds) : toEnds;
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

/// Largest distance of one of the points from the chain.
template <class T>
double FarthestFromChain(const std::vector<VecBase<2, T>>& points, const PolyArcSegBase<T>& chain)
{
    double largest = 0;
    for (const auto& p : points) {
        largest = std::max(largest, DistanceToChain(Vec2d(p[0], p[1]), chain));
    }
    return largest;
}

/// Lines and arcs in turn, tangent throughout: `arcs` arcs with a line before and after each, of
/// either sense, radii 1 to 10, turns of 20 to 150 degrees.
inline PolyArcSegBase<double> TangentProfile(Random& random, int arcs)
{
    PolyArcSegBase<double> chain;
    chain.tolerance = 1e-9;
    double heading = random.Between(0, 6.28);
    Vec2d at = random.Vector<2, double>(-5, 5);
    for (int i = 0; i <= arcs; ++i) {
        const Vec2d along(std::cos(heading), std::sin(heading));
        const Vec2d to = at + along * random.Between(2, 10);
        EXPECT_TRUE(chain.AppendSegment(at, to));
        at = to;
        if (i == arcs) {
            break;
        }
        const double radius = random.Between(1, 10);
        const double turn = (random.Below(2) == 0 ? -1 : 1) * random.Between(0.35, 2.6);
        const double side = turn > 0 ? 1 : -1;
        const Vec2d center = at + Vec2d(-along[1], along[0]) * (side * radius);
        EXPECT_TRUE(chain.AppendArc(center, at, turn * radius));
        at = PointOf(chain.elements.back(), 1);
        heading += turn;
    }
    return chain;
}

/// Points of the chain: each arc in equal steps whose chords leave it by `sagitta` at most, each
/// line in steps of about `step`.
template <class T>
std::vector<VecBase<2, T>> Sampled(const PolyArcSegBase<double>& chain, double sagitta, double step)
{
    std::vector<VecBase<2, T>> points;
    for (const auto& element : chain.elements) {
        int count = static_cast<int>(std::ceil(LengthOf(element) / step));
        if (const auto* arc = element.AsArc()) {
            const double radius =
                std::hypot(arc->start[0] - arc->center[0], arc->start[1] - arc->center[1]);
            const double turn = 2 * std::acos(1 - sagitta / radius);
            count = static_cast<int>(std::ceil(std::fabs(arc->length) / radius / turn));
        }
        for (int i = points.empty() ? 0 : 1; i <= count; ++i) {
            points.emplace_back(PointOf(element, static_cast<double>(i) / count));
        }
    }
    return points;
}

/// Points at equal steps on a circle arc, from angle `from` over `sweep`; both ends included.
template <class T>
std::vector<VecBase<2, T>> OnArc(const Vec2d& center, double radius, double from, double sweep,
                                 int steps)
{
    std::vector<VecBase<2, T>> points;
    for (int i = 0; i <= steps; ++i) {
        const double angle = from + sweep * i / steps;
        points.emplace_back(center + Vec2d(std::cos(angle), std::sin(angle)) * radius);
    }
    return points;
}

/// "A" for each arc of the chain, "L" for each segment.
template <class T>
std::string Kinds(const PolyArcSegBase<T>& chain)
{
    std::string kinds;
    for (const auto& element : chain.elements) {
        kinds += element.AsArc() != nullptr ? 'A' : 'L';
    }
    return kinds;
}

} // namespace Support
