// Loops and winding numbers for tests of regions: what a region is, counted point by point.
#pragma once

#include <Velk/Math/VecBase_E.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <vector>

namespace Support {

template <class T>
using LoopsOf = std::vector<std::vector<Velk::Math::VecBase<2, T>>>;
using Loops = LoopsOf<double>;

/// Closed and counter-clockwise.
template <class T = double>
std::vector<Velk::Math::VecBase<2, T>> Rectangle(double x0, double y0, double x1, double y1)
{
    const auto point = [](double x, double y) {
        return Velk::Math::VecBase<2, T>(static_cast<T>(x), static_cast<T>(y));
    };
    return {point(x0, y0), point(x1, y0), point(x1, y1), point(x0, y1), point(x0, y0)};
}

template <class Loop>
Loop Reversed(Loop loop)
{
    std::reverse(loop.begin(), loop.end());
    return loop;
}

/// Signed area by the trapezoid under each edge, the closing one included.
template <class T>
double AreaUnder(const LoopsOf<T>& loops)
{
    long double sum = 0;
    for (const auto& loop : loops) {
        for (std::size_t i = 0; i < loop.size(); ++i) {
            const auto& p = loop[i];
            const auto& q = loop[(i + 1) % loop.size()];
            sum -= (static_cast<long double>(q[0]) - p[0]) *
                   ((static_cast<long double>(q[1]) - loop[0][1]) + (p[1] - loop[0][1])) / 2;
        }
    }
    return static_cast<double>(sum);
}

/// How often the loops wind about a point: upward edges to its right less downward ones.
template <class T>
int WindingNumber(const LoopsOf<T>& loops, double x, double y)
{
    int winding = 0;
    for (const auto& loop : loops) {
        for (std::size_t i = 0; i < loop.size(); ++i) {
            const auto& p = loop[i];
            const auto& q = loop[(i + 1) % loop.size()];
            if ((p[1] <= y) == (q[1] <= y)) {
                continue;
            }
            const double at = p[0] + (y - p[1]) / (double(q[1]) - p[1]) * (double(q[0]) - p[0]);
            winding += at > x ? (q[1] > p[1] ? 1 : -1) : 0;
        }
    }
    return winding;
}

/// Least distance of a point from any edge.
template <class T>
double DistanceToLoops(const LoopsOf<T>& loops, double x, double y)
{
    double least = std::numeric_limits<double>::infinity();
    for (const auto& loop : loops) {
        for (std::size_t i = 0; i < loop.size(); ++i) {
            const auto& p = loop[i];
            const auto& q = loop[(i + 1) % loop.size()];
            const double dx = double(q[0]) - p[0];
            const double dy = double(q[1]) - p[1];
            const double square = dx * dx + dy * dy;
            const double t =
                square > 0 ? std::clamp(((x - p[0]) * dx + (y - p[1]) * dy) / square, 0.0, 1.0)
                           : 0.0;
            least = std::min(least, std::hypot(x - p[0] - t * dx, y - p[1] - t * dy));
        }
    }
    return least;
}

} // namespace Support
