// Slow twin of the hull in the plane: filters all points, chains all of them, and turns dents away by
// turning the vertices themselves there and back.
#pragma once

#include <Velk/Math/Tolerances_E.h>
#include <Velk/Math/Transform_E.h>
#include <Velk/Math/Vector_E.h>

#include <cmath>
#include <cstddef>
#include <vector>

namespace Support {

/// Of more than three distinct points; without the guard against dents.
template <class T>
std::vector<Velk::Math::VecBase<2, T>> PlainChain(std::vector<Velk::Math::VecBase<2, T>> points)
{
    using Point = Velk::Math::VecBase<2, T>;
    Velk::Math::Vector::FilterForUniqueness(points, Velk::Math::kLengthFloor<T>);
    std::vector<Point> chain;
    const auto push = [&](const Point& p, std::size_t floor) {
        while (chain.size() >= floor &&
               !(((chain.back() - chain[chain.size() - 2]) ^ (p - chain[chain.size() - 2])) > 0)) {
            chain.pop_back();
        }
        chain.push_back(p);
    };
    for (const auto& p : points) {
        push(p, 2);
    }
    const std::size_t floor = chain.size() + 1;
    for (std::size_t i = points.size() - 1; i-- > 0;) {
        push(points[i], floor);
    }
    chain.pop_back();
    return chain;
}

/// With the guard. `turns` counts how often it had to turn.
template <class T>
std::vector<Velk::Math::VecBase<2, T>>
PlainHull(const std::vector<Velk::Math::VecBase<2, T>>& points, int& turns)
{
    auto hull = PlainChain(points);
    const std::size_t count = hull.size();
    bool isConvex = true;
    for (std::size_t i = 0; count >= 5 && i < count; ++i) {
        const auto& j = hull[(i + 1) % count];
        isConvex = isConvex && !(((hull[i] - j) ^ (hull[(i + 3) % count] - j)) > 0);
    }
    if (isConvex || turns == 16) {
        return hull;
    }
    ++turns;
    const double cosine = std::cos(0.1234);
    const double sine = std::sin(0.1234);
    const auto turned = [&](const Velk::Math::VecBase<2, T>& p, double s) {
        return Velk::Math::VecBase<2, T>(static_cast<T>(cosine * p[0] - s * p[1]),
                                         static_cast<T>(s * p[0] + cosine * p[1]));
    };
    for (auto& p : hull) {
        p = turned(p, sine);
    }
    hull = PlainHull(hull, turns);
    for (auto& p : hull) {
        p = turned(p, -sine);
    }
    return hull;
}

} // namespace Support
