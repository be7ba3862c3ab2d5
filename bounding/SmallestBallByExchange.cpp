// The smallest ball by exchange.
//
// The ball of a few points is known; the point of all that is farthest from its center joins them,
// and of this handful, at most D + 2 points, the smallest ball is found by trying every subset that
// may lie on its boundary. The subset goes on. Radii grow, so that no subset comes twice, and it
// ends when nothing is farther than the radius.
//
// Of the balls that are tried the one counts that reaches all of the handful from its center with
// the least radius. That needs no tolerance: the ball through two points that all but coincide and
// a third one may be any, and is never the one that reaches least.

#include "bounding/SmallestBall_Impl.h"
#include "mathbase/Values_Impl.h"

#include <Velk/Math/Intersect_E.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <limits>
#include <vector>

namespace Velk::Math::Sorvane::Bounding::Impl {

namespace {

template <int D>
using Point = VecBase<D, double>;

/// Up to D + 2 points.
template <int D>
struct Handful {
    std::array<Point<D>, D + 2> points;
    std::size_t count = 0;

    void Add(const Point<D>& point) { points[count++] = point; }
    std::span<const Point<D>> All() const { return {points.data(), count}; }
};

template <int D>
struct Farthest {
    std::size_t index = 0;
    double distance = 0.0;
};

template <int D>
Farthest<D> FarthestFrom(const Point<D>& center, std::span<const Point<D>> points)
{
    std::size_t index = 0;
    double squared = -1.0;
    for (std::size_t i = 0; i < points.size(); ++i) {
        const double candidate = Vector::SquaredLength(points[i] - center);
        if (candidate > squared) {
            squared = candidate;
            index = i;
        }
    }
    return {index, std::sqrt(std::max(squared, 0.0))};
}

/// The point of the flat through the points that is equally far from all of them; false when there
/// is none.
bool EquallyFar(std::span<const Point<2>> points, Point<2>& center)
{
    if (points.size() < 3) {
        center = points[0] + (points.back() - points[0]) * 0.5;
        return true;
    }
    BoundingBall<2, double> circle;
    const bool found = Circumcircle(points[0], points[1], points[2], 0.0, circle);
    center = circle.center;
    return found;
}

bool EquallyFar(std::span<const Point<3>> points, Point<3>& center)
{
    if (points.size() < 3) {
        center = points[0] + (points.back() - points[0]) * 0.5;
        return true;
    }
    BoundingBall<3, double> ball;
    const bool found = points.size() == 3
                           ? Intersect::FindCircumsphere(points[0], points[1], points[2],
                                                         ball.center, ball.radius, false, 0.0)
                           : Circumsphere(points[0], points[1], points[2], points[3], ball);
    center = ball.center;
    return found;
}

/// The ball of a handful and the points on its boundary.
template <int D>
struct Solution {
    Point<D> center;
    double radius = std::numeric_limits<double>::infinity();
    Handful<D> boundary;
};

template <int D>
Solution<D> BallOfHandful(const Handful<D>& handful)
{
    Solution<D> best;
    for (unsigned int set = 1; set < (1U << handful.count); ++set) {
        Handful<D> chosen;
        for (std::size_t i = 0; i < handful.count; ++i) {
            if (((set >> i) & 1U) != 0) {
                chosen.Add(handful.points[i]);
            }
        }
        Point<D> center;
        if (chosen.count > D + 1 || !EquallyFar(chosen.All(), center) ||
            !Math::Impl::IsFinite(center)) {
            continue;
        }
        const double reach = FarthestFrom<D>(center, handful.All()).distance;
        if (reach < best.radius) {
            best = {center, reach, chosen};
        }
    }
    return best;
}

} // namespace

template <int D>
BoundingBall<D, double> SmallestBallByExchange(std::span<const VecBase<D, double>> points)
{
    if (points.empty()) {
        return {};
    }
    constexpr int kMostExchanges = 1000; // some ten are usual
    constexpr double kRounding = 8.0 * std::numeric_limits<double>::epsilon();
    Solution<D> solution;
    solution.center = points[0];
    solution.radius = 0.0;
    solution.boundary.Add(points[0]);
    BoundingBall<D, double> ball{points[0], std::numeric_limits<double>::infinity()};
    for (int exchange = 0; exchange < kMostExchanges; ++exchange) {
        const Farthest<D> farthest = FarthestFrom<D>(solution.center, points);
        if (farthest.distance < ball.radius) {
            ball = {solution.center, farthest.distance};
        }
        if (!(farthest.distance > solution.radius * (1.0 + kRounding))) {
            break;
        }
        Handful<D> handful = solution.boundary;
        handful.Add(points[farthest.index]);
        const Solution<D> grown = BallOfHandful(handful);
        if (!(grown.radius > solution.radius)) {
            break; // no farther than rounding goes
        }
        solution = grown;
    }
    return ball;
}

template BoundingBall<2, double> SmallestBallByExchange(std::span<const VecBase<2, double>>);
template BoundingBall<3, double> SmallestBallByExchange(std::span<const VecBase<3, double>>);

} // namespace Velk::Math::Sorvane::Bounding::Impl
