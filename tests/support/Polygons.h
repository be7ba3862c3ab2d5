// Simple polygons of many kinds for tests and benchmarks of triangulation, all counter-clockwise
// and open (the last point is not the first).
#pragma once

#include <Velk/Math/VecBase_E.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <map>
#include <utility>
#include <vector>

namespace Support {

using Polygon = std::vector<Velk::Math::Vec2d>;

/// Star-shaped about the origin, radii in [0.2, 1]. `Generator` has `Between(low, high)`.
template <class Generator>
Polygon StarPolygon(int corners, Generator& random)
{
    Polygon polygon;
    for (int i = 0; i < corners; ++i) {
        const double angle = 6.283185307179586 * (i + 0.8 * random.Between(0, 1)) / corners;
        const double radius = random.Between(0.2, 1);
        polygon.push_back({radius * std::cos(angle), radius * std::sin(angle)});
    }
    return polygon;
}

/// A spine with teeth that point up; every tooth and gap ends in a point of its own height.
template <class Generator>
Polygon CombPolygon(int teeth, Generator& random)
{
    Polygon polygon{{0, -1}, {2.0 * teeth, -1}};
    for (int i = teeth - 1; i >= 0; --i) {
        polygon.push_back({2.0 * i + 1.5, random.Between(0, 0.4)});
        polygon.push_back({2.0 * i + 0.5 + random.Between(-0.3, 0.3), random.Between(5, 9)});
    }
    return polygon;
}

/// A band of width 0.4 that winds round the origin, with as many turns as leave the chords of one
/// turn clear of the next.
inline Polygon SpiralPolygon(int corners)
{
    const int half = corners / 2;
    const double turns = std::max(1.0, half / std::cbrt(9.0 * corners));
    Polygon polygon;
    const auto point = [&](int i, double offset) {
        const double turn = turns * i / (half - 1);
        const double angle = 6.283185307179586 * turn;
        const double radius = 1 + turn + offset;
        return Velk::Math::Vec2d(radius * std::cos(angle), radius * std::sin(angle));
    };
    for (int i = 0; i < half; ++i) {
        polygon.push_back(point(i, 0.4));
    }
    for (int i = half - 1; i >= 0; --i) {
        polygon.push_back(point(i, 0));
    }
    return polygon;
}

/// Monotone in x, with an upper and a lower chain of random heights.
template <class Generator>
Polygon MonotonePolygon(int corners, Generator& random)
{
    const int half = (corners - 2) / 2;
    Polygon polygon{{-1, 0}};
    for (int i = 0; i < half; ++i) {
        polygon.push_back({i + random.Between(0, 0.9), random.Between(-3, -0.1)});
    }
    polygon.push_back({half + 2, 0});
    for (int i = half; i > 0; --i) {
        polygon.push_back({i + random.Between(0, 0.9), random.Between(0.1, 3)});
    }
    return polygon;
}

/// Towers up and down on whole numbers, with a point at every whole number of a side: upright walls
/// and straight runs throughout.
template <class Generator>
Polygon SkylinePolygon(int towers, Generator& random)
{
    std::vector<std::pair<double, double>> corners;
    const auto level = [&] { return std::floor(random.Between(1, 5)); };
    double last = 0;
    const auto chain = [&](double sign, int from, int to, int step) {
        for (int i = from; i != to; i += step) {
            const double height = sign * level();
            corners.push_back({i, last});
            corners.push_back({i, height});
            last = height;
        }
    };
    last = 0;
    chain(-1, 0, towers, 1);
    corners.push_back({towers, last});
    corners.push_back({towers, 0});
    last = 0;
    chain(1, towers, 0, -1);
    corners.push_back({0, last});

    Polygon polygon;
    for (std::size_t i = 0; i < corners.size(); ++i) {
        const auto [x, y] = corners[i];
        const auto [nextX, nextY] = corners[(i + 1) % corners.size()];
        const int steps = static_cast<int>(std::fabs(nextX - x) + std::fabs(nextY - y));
        for (int k = 0; k < steps; ++k) {
            polygon.push_back({x + (nextX - x) * k / steps, y + (nextY - y) * k / steps});
        }
    }
    return polygon;
}

/// The outline of a random maze of `size` by `size` rooms without loops, with a point at every
/// whole number: corridors in both directions, ends of all kinds, straight runs.
template <class Generator>
Polygon MazePolygon(int size, Generator& random)
{
    const int width = 2 * size + 1;
    std::vector<bool> isOpen(static_cast<std::size_t>(width * width), false);
    const auto cell = [&](int x, int y) { return isOpen[static_cast<std::size_t>(y * width + x)]; };
    std::vector<std::pair<int, int>> rooms{{1, 1}};
    cell(1, 1) = true;
    constexpr int kSteps[4][2] = {{2, 0}, {0, 2}, {-2, 0}, {0, -2}};
    while (!rooms.empty()) {
        const auto [x, y] = rooms.back();
        const int turn = static_cast<int>(random.Between(0, 4));
        bool found = false;
        for (int k = 0; k < 4 && !found; ++k) {
            const int* step = kSteps[(turn + k) % 4];
            const int nextX = x + step[0];
            const int nextY = y + step[1];
            if (nextX > 0 && nextY > 0 && nextX < width && nextY < width && !cell(nextX, nextY)) {
                cell(nextX, nextY) = true;
                cell(x + step[0] / 2, y + step[1] / 2) = true;
                rooms.push_back({nextX, nextY});
                found = true;
            }
        }
        if (!found) {
            rooms.pop_back();
        }
    }

    // Unit edges with the open side on the left; each corner starts exactly one.
    std::map<std::pair<int, int>, std::pair<int, int>> next;
    for (int y = 0; y < width; ++y) {
        for (int x = 0; x < width; ++x) {
            if (!cell(x, y)) {
                continue;
            }
            if (!cell(x, y - 1)) {
                next[{x, y}] = {x + 1, y};
            }
            if (!cell(x + 1, y)) {
                next[{x + 1, y}] = {x + 1, y + 1};
            }
            if (!cell(x, y + 1)) {
                next[{x + 1, y + 1}] = {x, y + 1};
            }
            if (!cell(x - 1, y)) {
                next[{x, y + 1}] = {x, y};
            }
        }
    }
    Polygon polygon;
    const std::pair<int, int> first = next.begin()->first;
    std::pair<int, int> at = first;
    do {
        polygon.push_back({at.first, at.second});
        at = next[at];
    } while (at != first);
    return polygon;
}

/// Turned about the origin, radians.
inline Polygon Turned(Polygon polygon, double angle)
{
    const double c = std::cos(angle);
    const double s = std::sin(angle);
    for (Velk::Math::Vec2d& p : polygon) {
        p = {c * p.x() - s * p.y(), s * p.x() + c * p.y()};
    }
    return polygon;
}

/// Shoelace area about the first point, positive for counter-clockwise.
template <class T>
double AreaOf(const std::vector<Velk::Math::VecBase<2, T>>& loop)
{
    double sum = 0;
    for (std::size_t i = 0; i + 1 < loop.size(); ++i) {
        const auto fromFirst = [&](std::size_t k) {
            return Velk::Math::Vec2d(loop[k].x(), loop[k].y()) -
                   Velk::Math::Vec2d(loop[0].x(), loop[0].y());
        };
        sum += 0.5 * (fromFirst(i) ^ fromFirst(i + 1));
    }
    return sum;
}

} // namespace Support
