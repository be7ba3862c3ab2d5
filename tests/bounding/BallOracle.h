// An independent check of smallest enclosing balls: containment, and a lower bound of the radius
// from the smallest balls of all small subsets of the points farthest from the center. By Helly's
// theorem the largest of those is the radius of the smallest ball of all.
#pragma once

#include <Sorvane/BoundingVolumes_E.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

namespace Support {

/// Smallest ball of up to D + 1 points in `long double`, by trying the circumscribed ball of every
/// subset within the subset's own flat.
template <int D>
class TinyBall {
public:
    using Point = std::array<long double, D>;

    Point center{};
    long double radius = 0;
    std::vector<Point> support;

    /// Of up to D + 2 points.
    explicit TinyBall(const std::vector<Point>& points)
    {
        const unsigned int count = static_cast<unsigned int>(points.size());
        radius = -1;
        for (unsigned int set = 1; set < (1U << count); ++set) {
            std::vector<Point> trial;
            for (unsigned int i = 0; i < count; ++i) {
                if ((set >> i) & 1U) {
                    trial.push_back(points[i]);
                }
            }
            Point c;
            if (trial.size() > D + 1 || !CenterInFlat(trial, c)) {
                continue;
            }
            const long double r = Distance(c, trial[0]);
            const bool holds = std::all_of(points.begin(), points.end(), [&](const Point& p) {
                return Distance(c, p) <= r * (1 + 1e-14L);
            });
            if (holds && (radius < 0 || r < radius)) {
                center = c;
                radius = r;
                support = trial;
            }
        }
    }

    static long double Distance(const Point& a, const Point& b)
    {
        long double sum = 0;
        for (std::size_t i = 0; i < D; ++i) {
            sum += (a[i] - b[i]) * (a[i] - b[i]);
        }
        return std::sqrt(sum);
    }

private:
    /// Point of the flat through the support that is equally far from all of it: center = s0 + sum
    /// l_j e_j with e_i * center offset = |e_i|^2 / 2, by elimination with pivoting.
    static bool CenterInFlat(const std::vector<Point>& support, Point& center)
    {
        const std::size_t n = support.size() - 1;
        std::array<std::array<long double, D + 1>, D> m{};
        std::array<Point, D> edge{};
        for (std::size_t i = 0; i < n; ++i) {
            for (std::size_t k = 0; k < D; ++k) {
                edge[i][k] = support[i + 1][k] - support[0][k];
            }
        }
        for (std::size_t i = 0; i < n; ++i) {
            for (std::size_t j = 0; j < n; ++j) {
                m[i][j] = Dot(edge[i], edge[j]);
            }
            m[i][n] = Dot(edge[i], edge[i]) / 2;
        }
        for (std::size_t column = 0; column < n; ++column) {
            std::size_t pivot = column;
            for (std::size_t row = column; row < n; ++row) {
                pivot = std::abs(m[row][column]) > std::abs(m[pivot][column]) ? row : pivot;
            }
            std::swap(m[column], m[pivot]);
            if (m[column][column] == 0) {
                return false;
            }
            for (std::size_t row = 0; row < n; ++row) {
                if (row != column) {
                    const long double factor = m[row][column] / m[column][column];
                    for (std::size_t k = column; k <= n; ++k) {
                        m[row][k] -= factor * m[column][k];
                    }
                }
            }
        }
        center = support[0];
        for (std::size_t i = 0; i < n; ++i) {
            for (std::size_t k = 0; k < D; ++k) {
                center[k] += m[i][n] / m[i][i] * edge[i][k];
            }
        }
        return true;
    }

    static long double Dot(const Point& a, const Point& b)
    {
        long double sum = 0;
        for (std::size_t i = 0; i < D; ++i) {
            sum += a[i] * b[i];
        }
        return sum;
    }
};

/// The largest radius of the smallest balls of D + 1 points.
template <int D>
long double RadiusByAllSubsets(const std::vector<std::array<long double, D>>& points)
{
    std::array<std::size_t, D + 1> chosen;
    for (std::size_t i = 0; i <= D; ++i) {
        chosen[i] = i;
    }
    long double best = 0;
    for (;;) {
        std::vector<std::array<long double, D>> subset;
        for (const std::size_t i : chosen) {
            subset.push_back(points[i]);
        }
        best = std::max(best, TinyBall<D>(subset).radius);
        std::size_t i = D + 1;
        while (i > 0 && chosen[i - 1] == points.size() - (D + 2 - i)) {
            --i;
        }
        if (i == 0) {
            return best;
        }
        ++chosen[i - 1];
        for (; i <= D; ++i) {
            chosen[i] = chosen[i - 1] + 1;
        }
    }
}

/// By exchange; the radius of some of the points' ball, and so never too large, whatever rounding
/// does.
template <int D>
long double RadiusByExchange(const std::vector<std::array<long double, D>>& points)
{
    TinyBall<D> ball({points[0], points[1]});
    for (int step = 0; step < 1000; ++step) {
        const auto farthest =
            std::max_element(points.begin(), points.end(), [&](const auto& a, const auto& b) {
                return TinyBall<D>::Distance(a, ball.center) <
                       TinyBall<D>::Distance(b, ball.center);
            });
        if (TinyBall<D>::Distance(*farthest, ball.center) <= ball.radius * (1 + 1e-14L)) {
            break;
        }
        auto next = ball.support;
        next.push_back(*farthest);
        const TinyBall<D> grown(next);
        if (!(grown.radius > ball.radius)) {
            break;
        }
        ball = grown;
    }
    return ball.radius;
}

template <int D, class T>
long double SmallestRadius(const std::vector<Velk::Math::VecBase<D, T>>& points)
{
    std::vector<std::array<long double, D>> wide;
    for (const auto& p : points) {
        std::copy(p.begin(), p.end(), wide.emplace_back().begin());
    }
    std::sort(wide.begin(), wide.end());
    wide.erase(std::unique(wide.begin(), wide.end()), wide.end());
    if (wide.size() <= D + 1) {
        return TinyBall<D>(wide).radius;
    }
    return wide.size() <= 10 ? RadiusByAllSubsets<D>(wide) : RadiusByExchange<D>(wide);
}

/// Radius needed to reach the farthest point from the center, without rounding of T.
template <int D, class T>
long double ReachOf(const std::vector<Velk::Math::VecBase<D, T>>& points,
                    const Velk::Math::VecBase<D, T>& center)
{
    long double reach = 0;
    for (const auto& p : points) {
        long double sum = 0;
        for (int i = 0; i < D; ++i) {
            const long double d = static_cast<long double>(p[i]) - center[i];
            sum += d * d;
        }
        reach = std::max(reach, std::sqrt(sum));
    }
    return reach;
}

// Compiled once, with optimization in every build (tests/CMakeLists.txt).
extern template class TinyBall<2>;
extern template class TinyBall<3>;
extern template long double SmallestRadius(const std::vector<Velk::Math::VecBase<2, float>>&);
extern template long double ReachOf(const std::vector<Velk::Math::VecBase<2, float>>&,
                                    const Velk::Math::VecBase<2, float>&);
extern template long double SmallestRadius(const std::vector<Velk::Math::VecBase<2, double>>&);
extern template long double ReachOf(const std::vector<Velk::Math::VecBase<2, double>>&,
                                    const Velk::Math::VecBase<2, double>&);
extern template long double SmallestRadius(const std::vector<Velk::Math::VecBase<3, float>>&);
extern template long double ReachOf(const std::vector<Velk::Math::VecBase<3, float>>&,
                                    const Velk::Math::VecBase<3, float>&);
extern template long double SmallestRadius(const std::vector<Velk::Math::VecBase<3, double>>&);
extern template long double ReachOf(const std::vector<Velk::Math::VecBase<3, double>>&,
                                    const Velk::Math::VecBase<3, double>&);

} // namespace Support
