// Welzl's method with an explicit level for each number of points that the ball must pass through.
// The order of the points is drawn from a generator of fixed seed, so that the ball is a pure
// function of the input. A ball of radius 0 holds nothing: a solve that fails leaves the zero ball,
// and the next point starts over from there.
//
// The method asks for balls through given points, and goes wrong where these all but coincide: a
// solve may end with a ball that is far too large, or go on for O(n^4) steps. It is therefore given
// up after a number of steps, and what it ends with is compared with the ball by exchange, which
// knows no such points and no tolerance.

#include "bounding/SmallestBall_Impl.h"
#include "mathbase/Values_Impl.h"

#include <Velk/Math/Intersect_E.h>
#include <Velk/Math/Matrix_E.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <random>
#include <span>
#include <utility>

namespace Velk::Math::Sorvane::Bounding::Impl {

namespace {

template <int D>
using Ball = BoundingBall<D, double>;
template <int D>
using Points = std::span<const VecBase<D, double>>;

/// Fisher-Yates. The draw is written out because the distributions of standard libraries differ.
template <int D>
void Shuffle(std::span<VecBase<D, double>> points, std::mt19937& engine)
{
    for (std::size_t i = 1; i < points.size(); ++i) {
        const std::uint64_t range = i + 1;
        constexpr std::uint64_t kDraws = std::uint64_t{1} << 32U;
        const std::uint64_t accepted = kDraws - kDraws % range; // a multiple of the range: no bias
        std::uint64_t draw = engine();
        while (draw >= accepted) {
            draw = engine();
        }
        std::swap(points[i], points[draw % range]);
    }
}

template <int D>
class WelzlSolver {
public:
    WelzlSolver(std::vector<VecBase<D, double>> points, double tolerance)
        : points_(std::move(points)), tolerance_(tolerance)
    {
    }

    Ball<D> Solve()
    {
        const std::size_t count = points_.size();
        if (count < 2) {
            return count == 0 ? Ball<D>{} : Ball<D>{points_[0], 0.0};
        }
        if (count == 2) {
            return BallOfTwo(points_[0], points_[1]);
        }
        if (AreInOnePlace()) {
            return {}; // what the solve would come to, after O(n^3) steps
        }
        questionsLeft_ = kQuestionsPerPoint * static_cast<std::int64_t>(count);
        capRadius_ = LargestDistanceFromBoxCenter();
        insideTolerance_ = std::max(tolerance_, InsideRounding());
        prefix_.resize(count);
        Ball<D> ball;
        bool astray = true;
        for (std::size_t attempt = 1; astray && attempt <= count && MayGoOn(); ++attempt) {
            std::mt19937
                engine; // the default seed, 5489; the order goes on from the last attempt's
            Shuffle<D>(points_, engine);
            ball = BallOfShuffled(astray);
        }
        return ball;
    }

    /// How far beyond the ball a point may be and still count as inside, after `Solve`.
    double InsideTolerance() const { return insideTolerance_; }

private:
    /// Coincident points that certainly leave nothing but the zero ball: on one line along an axis,
    /// or of only two values, so that no three of them have a circle.
    bool AreInOnePlace() const
    {
        const VecBase<D, double>& first = points_[0];
        const VecBase<D, double>* second = nullptr;
        bool areTwoValues = true;
        for (const VecBase<D, double>& point : points_) {
            if (!(point == first)) {
                second = second == nullptr ? &point : second;
                areTwoValues = areTwoValues && point == *second;
            }
        }
        const AxisAlignedBoundingBox<D, double> box = BoxOfPoints(points_);
        int extended = 0; // axes along which the points differ
        for (int i = 0; i < D; ++i) {
            extended += box.min[i] == box.max[i] ? 0 : 1;
        }
        return (areTwoValues || extended <= 1) && Vector::Matches(box.min, box.max, tolerance_);
    }

    double LargestDistanceFromBoxCenter() const
    {
        const AxisAlignedBoundingBox<D, double> box = BoxOfPoints(points_);
        const VecBase<D, double> center = box.min + (box.max - box.min) * 0.5;
        double largest = 0.0;
        for (const VecBase<D, double>& point : points_) {
            largest = std::max(largest, Vector::Length(point - center));
        }
        return largest;
    }

    /// What rounding does to the distance from a computed center. Points beyond the ball by less
    /// than this must not count as outside, or solves through nearly coincident points on the
    /// ball's boundary go anywhere: many points on one sphere, such as those of a lattice, are full
    /// of them.
    double InsideRounding() const
    {
        double largest = 0.0;
        for (const VecBase<D, double>& point : points_) {
            for (const double x : point) {
                largest = std::max(largest, std::abs(x));
            }
        }
        return 8.0 * std::numeric_limits<double>::epsilon() * largest;
    }

    /// Stops where rounding has led a solve astray: no smallest ball is larger than the one about
    /// the center of the box.
    Ball<D> BallOfShuffled(bool& astray)
    {
        Ball<D> ball = BallOfTwo(points_[0], points_[1]);
        astray = false;
        for (std::size_t i = 2; i < points_.size() && !astray && MayGoOn(); ++i) {
            if (!Holds(ball, points_[i])) {
                ball = BallWithPoint(i, points_[i]);
                astray = ball.radius > capRadius_;
            }
        }
        return ball;
    }

    /// False when the solve has become hopeless, as it does among points that all but coincide.
    bool MayGoOn() const { return questionsLeft_ > 0; }

    bool Holds(const Ball<D>& ball, const VecBase<D, double>& point)
    {
        --questionsLeft_;
        return ball.radius != 0.0 &&
               !(Vector::Length(point - ball.center) - ball.radius > insideTolerance_);
    }

    /// The zero ball, at the origin, when the points coincide.
    Ball<D> BallOfTwo(const VecBase<D, double>& a, const VecBase<D, double>& b) const
    {
        if (Vector::Matches(a, b, tolerance_)) {
            return {};
        }
        const VecBase<D, double> middle = (a + b) * 0.5;
        return {middle, Vector::Length(a - middle)};
    }

    /// Smallest ball through q around the first `count` points.
    Ball<D> BallWithPoint(std::size_t count, const VecBase<D, double>& q)
    {
        const std::span<VecBase<D, double>> list(prefix_.data(), count);
        std::copy_n(points_.begin(), count, list.begin());
        std::mt19937 engine;
        Shuffle<D>(list, engine);
        Ball<D> ball = BallOfTwo(list[0], q);
        for (std::size_t j = 1; j < count && MayGoOn(); ++j) {
            if (!Holds(ball, list[j]) && !(list[j] == q)) {
                ball = BallWithTwoPoints(list.first(j), list[j], q);
            }
        }
        return ball;
    }

    Ball<D> BallWithTwoPoints(Points<D> list, const VecBase<D, double>& p,
                              const VecBase<D, double>& q)
    {
        Ball<D> ball = BallOfTwo(q, p);
        for (std::size_t k = 0; k < list.size() && MayGoOn(); ++k) {
            const VecBase<D, double>& r = list[k];
            if (Holds(ball, r) || r == p || r == q) {
                continue;
            }
            if constexpr (D == 2) {
                Ball<2> circle;
                Circumcircle(p, q, r, 0.0, circle);
                ball = circle;
            } else {
                ball = BallWithThreePoints(list.first(k), p, q, r);
            }
        }
        return ball;
    }

    Ball<D> BallWithThreePoints(Points<D> list, const VecBase<D, double>& p,
                                const VecBase<D, double>& q,
                                const VecBase<D, double>& r) requires(D == 3)
    {
        Ball<D> ball;
        Intersect::FindCircumsphere(p, q, r, ball.center, ball.radius, false, 0.0);
        for (const VecBase<D, double>& s : list) {
            if (!MayGoOn()) {
                break;
            }
            if (Holds(ball, s) || s == p || s == q || s == r) {
                continue;
            }
            Ball<D> sphere;
            Circumsphere(p, q, r, s, sphere);
            ball = sphere;
        }
        return ball;
    }

    std::vector<VecBase<D, double>> points_;
    std::vector<VecBase<D, double>>
        prefix_;       // the shuffled first points, as long as one is solved for
    double tolerance_; // of coincidence
    double insideTolerance_ = 0.0;
    double capRadius_ = 0.0;
    /// How often it may still be asked whether a ball holds a point. A usual solve asks some dozens
    /// of times for each point.
    std::int64_t questionsLeft_ = 0;
    static constexpr std::int64_t kQuestionsPerPoint = 512;
};

} // namespace

template <class T>
bool Circumcircle(const VecBase<2, T>& a, const VecBase<2, T>& b, const VecBase<2, T>& c,
                  T tolerance, BoundingBall<2, T>& circle)
{
    const VecBase<2, double> corner(c);
    const VecBase<2, double> u = VecBase<2, double>(a) - corner;
    const VecBase<2, double> v = VecBase<2, double>(b) - corner;
    const double doubledArea = Matrix::Determinant({{u[0], u[1]}, {v[0], v[1]}});
    if (static_cast<double>(tolerance) >= std::abs(doubledArea)) {
        return false;
    }
    const double factor = 1.0 / (2.0 * doubledArea);
    const double uu = u * u;
    const double vv = v * v;
    const VecBase<2, double> offset(Matrix::Determinant({{uu, u[1]}, {vv, v[1]}}) * factor,
                                    Matrix::Determinant({{u[0], uu}, {v[0], vv}}) * factor);
    circle = {VecBase<2, T>(corner + offset), static_cast<T>(Vector::Length(offset))};
    return true;
}

bool Circumsphere(const VecBase<3, double>& a, const VecBase<3, double>& b,
                  const VecBase<3, double>& c, const VecBase<3, double>& d,
                  BoundingBall<3, double>& sphere)
{
    // The center's offset x from d is as far from the others: u * x = |u|^2 / 2 for each edge u at
    // d.
    const VecBase<3, double> u = a - d;
    const VecBase<3, double> v = b - d;
    const VecBase<3, double> w = c - d;
    MatBase<3, 3, double> inverse{u, v, w};
    if (!Matrix::Invert(inverse, 0.0)) {
        return false;
    }
    const VecBase<3, double> offset =
        inverse * VecBase<3, double>(0.5 * (u * u), 0.5 * (v * v), 0.5 * (w * w));
    sphere = {d + offset, Vector::Length(offset)};
    return true;
}

namespace {

/// Largest squared distance from the center, in T. NaN is passed over.
template <int D, class T>
T LargestSquaredDistance(const VecBase<D, T>& center, const std::vector<VecBase<D, T>>& points)
{
    // Two strands, lest each comparison wait for the last.
    T even{0};
    T odd{0};
    std::size_t i = 0;
    for (; i + 1 < points.size(); i += 2) {
        even = std::max(even, Vector::SquaredLength(points[i] - center));
        odd = std::max(odd, Vector::SquaredLength(points[i + 1] - center));
    }
    for (; i < points.size(); ++i) {
        even = std::max(even, Vector::SquaredLength(points[i] - center));
    }
    return std::max(even, odd);
}

/// The same distance, not squared, for differences of any size: they are brought to about 1 by a
/// power of two, which is exact.
template <int D, class T>
double LargestDistance(const VecBase<D, T>& center, const std::vector<VecBase<D, T>>& points)
{
    const VecBase<D, double> half = VecBase<D, double>(center) * 0.5; // lest a difference overflows
    const auto halfSpoke = [&](const VecBase<D, T>& point) {
        return VecBase<D, double>(point) * 0.5 - half;
    };
    double largest = 0.0;
    for (const VecBase<D, T>& point : points) {
        largest = std::max(largest, Math::Impl::LargestMagnitude(halfSpoke(point)));
    }
    if (!(largest > 0.0 && Math::Impl::IsFinite(largest))) {
        return largest;
    }
    const double scale = Math::Impl::ScaleToOne(largest);
    double squared = 0.0;
    for (const VecBase<D, T>& point : points) {
        squared = std::max(squared, Vector::SquaredLength(halfSpoke(point) * scale));
    }
    return std::sqrt(squared) / scale * 2.0;
}

} // namespace

template <int D, class T>
void GrowToHold(BoundingBall<D, T>& ball, const std::vector<VecBase<D, T>>& points)
{
    // Square roots keep the order, so that one of them, of the largest square, will do.
    const T squared = LargestSquaredDistance(ball.center, points);
    constexpr T kLeastWhole = std::numeric_limits<T>::min() / (std::numeric_limits<T>::epsilon() *
                                                               std::numeric_limits<T>::epsilon());
    if (squared >= kLeastWhole && squared <= std::numeric_limits<T>::max()) {
        ball.radius = std::max(ball.radius, std::sqrt(squared));
        return;
    }
    const double distance = LargestDistance(ball.center, points);
    T radius = static_cast<T>(distance);
    if (static_cast<double>(radius) < distance) {
        radius = std::nextafter(radius, std::numeric_limits<T>::infinity());
    }
    ball.radius = std::max(ball.radius, radius);
}

namespace {

/// Coordinates of these sizes have squares and fourth powers well within the number range.
constexpr double kLargestUsual = 0x1p200;
constexpr double kLeastUsual = 0x1p-200;

/// The power of two that brings the points to about 1; 1 for points of usual size, and for those
/// that are not finite.
template <int D>
double UnitFor(const std::vector<VecBase<D, double>>& points)
{
    double largest = 0.0;
    for (const VecBase<D, double>& point : points) {
        if (!Math::Impl::IsFinite(point)) {
            return 1.0;
        }
        largest = std::max(largest, Math::Impl::LargestMagnitude(point));
    }
    const bool isUsual = largest >= kLeastUsual && largest <= kLargestUsual;
    return isUsual ? 1.0 : Math::Impl::ScaleToOne(largest);
}

/// Of points of usual size.
template <int D>
Ball<D> SolveAndCheck(const std::vector<VecBase<D, double>>& points, double tolerance)
{
    WelzlSolver<D> solver(points, tolerance);
    const Ball<D> solved = solver.Solve();
    if (points.size() < 3) {
        return solved;
    }
    const AxisAlignedBoundingBox<D, double> box = BoxOfPoints(points);
    const bool isOnePlace = Vector::Matches(box.min, box.max, tolerance);
    if (isOnePlace && solved == Ball<D>{}) {
        return solved; // coincident points have this ball, and the sweep its radius
    }
    const Ball<D> smallest = SmallestBallByExchange<D>(points);
    if (!(smallest.radius <= std::numeric_limits<double>::max())) {
        return solved; // not finite
    }
    const double reach = std::max(solved.radius, LargestDistance(solved.center, points));
    constexpr double kAccuracy = 1e-9;
    const double allowed =
        smallest.radius * (1.0 + kAccuracy) + (isOnePlace ? 0.0 : 4.0 * solver.InsideTolerance());
    return reach <= allowed ? solved : smallest;
}

} // namespace

template <int D, class T>
BoundingBall<D, T> SmallestBall(const std::vector<VecBase<D, T>>& points, double tolerance)
{
    std::vector<VecBase<D, double>> wide(points.begin(), points.end());
    const double unit = UnitFor(wide);
    if (unit != 1.0) {
        for (VecBase<D, double>& point : wide) {
            point *= unit;
        }
    }
    const Ball<D> solved = SolveAndCheck(wide, tolerance * unit);
    BoundingBall<D, T> ball{VecBase<D, T>(solved.center * (1.0 / unit)),
                            static_cast<T>(solved.radius * (1.0 / unit))};
    if (points.size() > 2) {
        GrowToHold(ball, points);
    }
    return ball;
}

#define SORVANE_INSTANTIATE(D, T)                                                        \
    template BoundingBall<D, T> SmallestBall(const std::vector<VecBase<D, T>>&, double); \
    template void GrowToHold(BoundingBall<D, T>&, const std::vector<VecBase<D, T>>&);
SORVANE_INSTANTIATE(2, float)
SORVANE_INSTANTIATE(2, double)
SORVANE_INSTANTIATE(3, float)
SORVANE_INSTANTIATE(3, double)
#undef SORVANE_INSTANTIATE
template bool Circumcircle(const VecBase<2, float>&, const VecBase<2, float>&,
                           const VecBase<2, float>&, float, BoundingBall<2, float>&);
template bool Circumcircle(const VecBase<2, double>&, const VecBase<2, double>&,
                           const VecBase<2, double>&, double, BoundingBall<2, double>&);

} // namespace Velk::Math::Sorvane::Bounding::Impl
