// Slow twin of the smallest enclosing balls: the incremental method word by word, over all the
// points or all the vertices of the hull, without narrowing anything down. Lengths, boxes and
// circles are written out here; only which points are vertices is the library's answer, which has
// tests of its own.
#pragma once

#include <Sorvane/BoundingVolumes_E.h>
#include <Sorvane/ConvexHull_E.h>
#include <Velk/Math/Vector_E.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <random>
#include <type_traits>
#include <utility>
#include <vector>

namespace Support {

/// With the tolerance of the coordinate type `Input`, computed in T.
template <int D, class Input, class T = Input>
class PlainBall {
public:
    using Point = Velk::Math::VecBase<D, T>;
    using Points = std::vector<Point>;
    using InputPoints = std::vector<Velk::Math::VecBase<D, Input>>;
    using Ball = Velk::Math::Sorvane::Bounding::BoundingBall<D, T>;

    static Ball Of(const InputPoints& input)
    {
        const Points points(input.begin(), input.end());
        if (points.size() < 2) {
            return points.empty() ? Ball{} : Ball{points[0], T(0)};
        }
        if (points.size() == 2) {
            return OfTwo(points[0], points[1]);
        }
        Ball ball = BeforeSweep(points);
        for (const Point& p : points) {
            const T distance = Distance(p, ball.center);
            if (ball.radius == 0 || distance - ball.radius > 0) {
                ball.radius = distance;
            }
        }
        return ball;
    }

    /// With the hull in between when there are more than 10 points.
    static Ball OfHull(const InputPoints& points)
    {
        namespace Bounding = Velk::Math::Sorvane::Bounding;
        if (points.size() <= 10) {
            return Of(points);
        }
        if constexpr (D == 2) {
            return Of(Bounding::ConvexHull(points, false));
        } else {
            InputPoints vertices;
            std::vector<int> triangles;
            const bool isSolid = Bounding::ConvexHull(points, vertices, triangles, false, false);
            return Of(isSolid ? vertices : points);
        }
    }

    /// The sets of the tests are of sizes whose squares neither vanish nor overflow.
    static T LengthOf(const Point& v)
    {
        T squares = 0;
        for (int i = 0; i < D; ++i) {
            squares += v[i] * v[i];
        }
        return std::sqrt(squares);
    }

private:
    static constexpr T kTolerance = std::is_same_v<Input, double> ? T(1e-12) : T(1e-8F);

    static T Distance(const Point& a, const Point& b) { return LengthOf(a - b); }

    static Ball BeforeSweep(const Points& points)
    {
        Point middle;
        for (int i = 0; i < D; ++i) {
            const auto [low, high] =
                std::minmax_element(points.begin(), points.end(),
                                    [i](const Point& a, const Point& b) { return a[i] < b[i]; });
            middle[i] = ((*low)[i] + (*high)[i]) / 2;
        }
        T cap = 0;
        for (const Point& p : points) {
            cap = std::max(cap, Distance(p, middle));
        }
        Points copy = points;
        for (std::size_t restarts = 0;;) {
            Shuffle(copy);
            Ball ball = OfTwo(copy[0], copy[1]);
            bool isAstray = false;
            for (std::size_t i = 2; i < copy.size() && !isAstray; ++i) {
                if (!IsInside(copy[i], ball)) {
                    ball = WithPoint(Points(copy.begin(), copy.begin() + i), copy[i]);
                    isAstray = ball.radius > cap;
                }
            }
            if (!isAstray || ++restarts >= copy.size()) {
                return ball;
            }
        }
    }

    static void Shuffle(Points& points)
    {
        std::mt19937 engine;
        for (std::uint64_t i = 1; i < points.size(); ++i) {
            const std::uint64_t limit = 0x100000000U / (i + 1) * (i + 1);
            std::uint64_t draw = engine();
            while (draw >= limit) {
                draw = engine();
            }
            std::swap(points[i], points[draw % (i + 1)]);
        }
    }

    static bool IsInside(const Point& p, const Ball& ball)
    {
        return ball.radius != 0 && !(Distance(p, ball.center) - ball.radius > kTolerance);
    }

    static Ball OfTwo(const Point& a, const Point& b)
    {
        bool areOne = true;
        for (int i = 0; i < D; ++i) {
            areOne = areOne && std::abs(a[i] - b[i]) <= kTolerance;
        }
        const Point middle = (a + b) * T(0.5);
        return areOne ? Ball{} : Ball{middle, Distance(a, middle)};
    }

    static Ball WithPoint(Points list, const Point& q)
    {
        Shuffle(list);
        Ball ball = OfTwo(list[0], q);
        for (std::size_t j = 1; j < list.size(); ++j) {
            if (!IsInside(list[j], ball) && list[j] != q) {
                ball = WithTwoPoints(list, j, list[j], q);
            }
        }
        return ball;
    }

    static Ball WithTwoPoints(const Points& list, std::size_t count, const Point& p, const Point& q)
    {
        Ball ball = OfTwo(q, p);
        for (std::size_t k = 0; k < count; ++k) {
            const Point& r = list[k];
            if (IsInside(r, ball) || r == p || r == q) {
                continue;
            }
            if constexpr (D == 2) {
                ball = Through(p, q, r);
            } else {
                ball = WithThreePoints(list, k, p, q, r);
            }
        }
        return ball;
    }

    static Ball WithThreePoints(const Points& list, std::size_t count, const Point& p,
                                const Point& q, const Point& r)
    {
        Ball ball = AcrossCircle(p, q, r);
        for (std::size_t k = 0; k < count; ++k) {
            const Point& s = list[k];
            if (!IsInside(s, ball) && s != p && s != q && s != r) {
                ball = Through(p, q, r, s);
            }
        }
        return ball;
    }

    static Ball Through(const Point& a, const Point& b, const Point& c)
    {
        const Point u = a - c;
        const Point v = b - c;
        const T w = u ^ v;
        if (w == 0) {
            return {};
        }
        const T f = 1 / (2 * w);
        const T uu = u * u;
        const T vv = v * v;
        const Point offset((uu * v[1] - u[1] * vv) * f, (u[0] * vv - uu * v[0]) * f);
        return {c + offset, LengthOf(offset)};
    }

    /// The smallest ball with three points of space on it: the center is in their plane, as far
    /// from each of them. In `double`, since the normal of a needle keeps few digits.
    static Ball AcrossCircle(const Point& a, const Point& b, const Point& c)
    {
        using Wide = Velk::Math::VecBase<D, double>;
        const Wide u = Wide(a) - Wide(c);
        const Wide v = Wide(b) - Wide(c);
        const Wide normal = u ^ v;
        const double square = normal * normal;
        if (square == 0) {
            return {};
        }
        const Wide offset = ((v * (u * u) - u * (v * v)) ^ normal) * (0.5 / square);
        return {Point(Wide(c) + offset), static_cast<T>(std::sqrt(offset * offset))};
    }

    /// By Cramer's rule.
    static Ball Through(const Point& a, const Point& b, const Point& c, const Point& d)
    {
        const Point u = a - d;
        const Point v = b - d;
        const Point w = c - d;
        const T volume = u * (v ^ w);
        if (volume == 0) {
            return {};
        }
        const Point offset =
            ((v ^ w) * (u * u) + (w ^ u) * (v * v) + (u ^ v) * (w * w)) * (T(0.5) / volume);
        return {d + offset, LengthOf(offset)};
    }
};

} // namespace Support
