// Outlines for the tests of turning: moved, and how far a point is from one.
#pragma once

#include <Velk/Math/VecBase_E.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <vector>

namespace Support {

using Outline = std::vector<Velk::Math::Vec2d>;
using Outlines = std::vector<Outline>;

inline Outline MovedBy(Outline outline, const Velk::Math::Vec2d& by)
{
    for (Velk::Math::Vec2d& p : outline) {
        p = Velk::Math::Vec2d(p.x() + by.x(), p.y() + by.y());
    }
    return outline;
}

inline double DistanceToLine(const Outline& line, const Velk::Math::Vec2d& p)
{
    double least = std::numeric_limits<double>::infinity();
    for (std::size_t i = 1; i < line.size(); ++i) {
        const Velk::Math::Vec2d d = line[i] - line[i - 1];
        const double square = d.x() * d.x() + d.y() * d.y();
        const Velk::Math::Vec2d way = p - line[i - 1];
        const double t =
            square > 0 ? std::clamp((way.x() * d.x() + way.y() * d.y()) / square, 0.0, 1.0) : 0.0;
        least = std::min(least, std::hypot(way.x() - t * d.x(), way.y() - t * d.y()));
    }
    return least;
}

} // namespace Support
