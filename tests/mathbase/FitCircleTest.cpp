// Least-squares circles: exact recovery, noise, minimality, sense, and points without a circle.

#include <Velk/Math/Geometry_E.h>
#include <Velk/Math/Tolerances_E.h>

#include "tests/support/TestSupport.h"

#include <algorithm>
#include <cmath>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Geometry;
using Vector::Length;

template <int M, class T>
struct Form {
    static constexpr int method = M;
    using Scalar = T;
};
template <class F>
class CircleFitOf : public testing::Test {
};
using Forms = testing::Types<Form<0, double>, Form<1, float>, Form<1, double>>;
TYPED_TEST_SUITE(CircleFitOf, Forms);

template <class T>
constexpr T kEps = std::numeric_limits<T>::epsilon();

template <class F>
struct Fit {
    using T = typename F::Scalar;
    using Points = std::vector<VecBase<2, T>>;
    T error{-1};
    T rms{-1};
    ArcBase<T> arc;

    explicit Fit(const Points& points) : arc(FitCircle<F::method, T>(points, &error, &rms)) {}

    double Radius() const { return std::abs(static_cast<double>(arc.length)) / kTwoPi<double>; }
};

/// Points of a circle from angle `from` over `sweep`, both ends included, in T's coordinates.
template <class T>
std::vector<VecBase<2, T>> Sampled(const Vec2d& center, double radius, double from, double sweep,
                                   int count)
{
    std::vector<VecBase<2, T>> points;
    for (int i = 0; i < count; ++i) {
        const double angle = from + sweep * i / (count - 1);
        points.push_back(
            {center.x() + radius * std::cos(angle), center.y() + radius * std::sin(angle)});
    }
    return points;
}

/// A value of mean 0 and deviation 1, near enough normal: twelve uniform ones.
double Noise(Support::Random& random)
{
    double sum = -6;
    for (int i = 0; i < 12; ++i) {
        sum += random.Unit();
    }
    return sum;
}

template <class T>
double SumOfSquares(const std::vector<VecBase<2, T>>& points, Vec2d c, double r)
{
    double sum = 0;
    for (const auto& p : points) {
        const double deviation = Length(Vec2d(p.x(), p.y()) - c) - r;
        sum += deviation * deviation;
    }
    return sum;
}

TYPED_TEST(CircleFitOf, RecoversASampledCircle)
{
    using T = typename TypeParam::Scalar;
    Support::Random random(41);
    for (int i = 0; i < 500; ++i) {
        SCOPED_TRACE(i);
        const Vec2d center = random.Vector<2, double>(-10, 10);
        const double radius = random.Between(0.5, 5);
        const double sweep = random.Between(1.0, 6.2) * (i % 2 == 0 ? 1 : -1);
        const auto points = Sampled<T>(center, radius, random.Between(0, 6), sweep, 3 + i % 50);
        const Fit<TypeParam> fit(points);
        // Coordinates of up to 15 are rounded by eps; over a sweep of a radian a sagitta carries an
        // eighth of the radius, so that this is magnified some tens of times.
        const double margin = 1000 * static_cast<double>(kEps<T>);
        EXPECT_NEAR(fit.arc.center.x(), center.x(), margin);
        EXPECT_NEAR(fit.arc.center.y(), center.y(), margin);
        EXPECT_NEAR(fit.Radius(), radius, margin);
        EXPECT_LE(fit.error, margin);
        EXPECT_LE(fit.rms, fit.error);
        EXPECT_EQ(fit.arc.length > 0, sweep > 0);
    }
}

TYPED_TEST(CircleFitOf, RecoversFarFromTheOrigin)
{
    using T = typename TypeParam::Scalar;
    // At 1e6 a double keeps 1.2e-10, at 1e3 a float keeps 6e-5.
    const double offset = std::is_same_v<T, float> ? 1e3 : 1e6;
    const auto points = Sampled<T>({offset, -offset}, 5.0, 0.3, 4.0, 100);
    const Fit<TypeParam> fit(points);
    const double margin = 4 * offset * static_cast<double>(kEps<T>);
    EXPECT_NEAR(fit.arc.center.x(), offset, margin);
    EXPECT_NEAR(fit.arc.center.y(), -offset, margin);
    EXPECT_NEAR(fit.Radius(), 5.0, margin);
}

TYPED_TEST(CircleFitOf, RecoversAShortArcOfALargeCircle)
{
    using T = typename TypeParam::Scalar;
    // 1/50 radian of radius 1000, near the origin: 20 long, 0.05 high. The coordinates' rounding,
    // half an epsilon of 10 at most, against that height is the relative error of the radius.
    std::vector<VecBase<2, T>> points;
    for (int i = 0; i < 200; ++i) {
        const double angle = 0.01 - 0.02 * i / 199;
        const double half = std::sin(angle / 2);
        points.push_back({1000 * std::sin(angle), -2000 * half * half}); // without cancellation
    }
    const Fit<TypeParam> fit(points);
    const double margin = 1000 * 5 * static_cast<double>(kEps<T>) / 0.05;
    EXPECT_NEAR(fit.Radius(), 1000, margin);
    EXPECT_NEAR(fit.arc.center.y(), -1000, margin);
}

TYPED_TEST(CircleFitOf, ThreePointsGiveTheirCircle)
{
    using T = typename TypeParam::Scalar;
    const Fit<TypeParam> fit({{5, 0}, {3, 4}, {-4, 3}});
    EXPECT_NEAR(fit.arc.center.x(), 0, 32 * kEps<T>);
    EXPECT_NEAR(fit.arc.center.y(), 0, 32 * kEps<T>);
    EXPECT_NEAR(fit.Radius(), 5, 32 * kEps<T>);
}

TYPED_TEST(CircleFitOf, SymmetricCrossHasAClosedForm)
{
    using T = typename TypeParam::Scalar;
    // (+-a, 0), (0, +-b): the center is the origin by symmetry. The algebraic radius is the root of
    // the mean squared distance, the geometric one the mean distance.
    const T a{6};
    const T b{4};
    const Fit<TypeParam> fit({{a, 0}, {0, b}, {-a, 0}, {0, -b}});
    const double radius = TypeParam::method == 0 ? std::sqrt(26.0) : 5.0;
    const double margin = 64 * static_cast<double>(kEps<T>); // the steps come to rest at 1e-15
    EXPECT_NEAR(fit.arc.center.x(), 0, margin);
    EXPECT_NEAR(fit.arc.center.y(), 0, margin);
    EXPECT_NEAR(fit.Radius(), radius, margin);
    EXPECT_NEAR(fit.error, std::max(6 - radius, radius - 4), margin);
    EXPECT_NEAR(fit.rms, std::sqrt(((6 - radius) * (6 - radius) + (4 - radius) * (4 - radius)) / 2),
                margin);
    EXPECT_NEAR(fit.arc.start.x(), radius, margin);
    EXPECT_NEAR(fit.arc.start.y(), 0, margin);
}

TYPED_TEST(CircleFitOf, StartsTowardsTheFirstPointAndGoesOnceRound)
{
    using T = typename TypeParam::Scalar;
    Support::Random random(42);
    for (int i = 0; i < 200; ++i) {
        auto points = Sampled<T>({3, 4}, 2, 0.1 * i, 5, 40);
        for (auto& p : points) {
            p += {0.05 * Noise(random), 0.05 * Noise(random)};
        }
        const Fit<TypeParam> fit(points);
        const auto toStart = fit.arc.start - fit.arc.center;
        const auto toFirst = points.front() - fit.arc.center;
        EXPECT_NEAR((toStart ^ toFirst) / (Length(toStart) * Length(toFirst)), 0, 16 * kEps<T>);
        EXPECT_GT(toStart * toFirst, 0);
        EXPECT_NEAR(Length(toStart), fit.Radius(), 16 * kEps<T>);
    }
}

TYPED_TEST(CircleFitOf, SenseFollowsTheRunAlsoOverSeveralTurnsAndWhenItCloses)
{
    using T = typename TypeParam::Scalar;
    const double turn = kTwoPi<double>;
    for (const double sweep : {0.1, 1.0, 3.5, turn, 2.7 * turn, 5 * turn}) {
        SCOPED_TRACE(sweep);
        const int count = 10 + static_cast<int>(8 * sweep);
        EXPECT_GT(Fit<TypeParam>(Sampled<T>({1, -2}, 3, 0.4, sweep, count)).arc.length, 0);
        EXPECT_LT(Fit<TypeParam>(Sampled<T>({1, -2}, 3, 0.4, -sweep, count)).arc.length, 0);
    }
}

TYPED_TEST(CircleFitOf, NoiseMovesTheCenterByItsShareOnly)
{
    using T = typename TypeParam::Scalar;
    // Round the whole circle the center's coordinates have the deviation sigma sqrt(2 / n); five of
    // them leave a chance of 1e-6 a trial, and the seed is fixed.
    const double sigma = 0.05;
    const int count = 1000;
    Support::Random random(43);
    double squares = 0;
    const int trials = 100;
    for (int i = 0; i < trials; ++i) {
        SCOPED_TRACE(i);
        auto points = Sampled<T>({7, -3}, 10, 0, kTwoPi<double> * (count - 1) / count, count);
        for (auto& p : points) {
            p += {sigma * Noise(random), sigma * Noise(random)};
        }
        const Fit<TypeParam> fit(points);
        const double share = sigma * std::sqrt(2.0 / count);
        EXPECT_NEAR(fit.arc.center.x(), 7, 5 * share);
        EXPECT_NEAR(fit.arc.center.y(), -3, 5 * share);
        EXPECT_NEAR(fit.Radius(), 10, 5 * sigma / std::sqrt(1.0 * count));
        EXPECT_NEAR(fit.rms, sigma, 0.1 * sigma);
        squares += std::pow((static_cast<double>(fit.arc.center.x()) - 7) / share, 2);
    }
    // The mean of 100 squared unit deviations is 1 with a deviation of 0.14.
    EXPECT_NEAR(squares / trials, 1, 0.6);
}

TYPED_TEST(CircleFitOf, DeviationsAreThoseOfTheReturnedCircle)
{
    using T = typename TypeParam::Scalar;
    Support::Random random(44);
    for (int i = 0; i < 100; ++i) {
        std::vector<VecBase<2, T>> points;
        for (int k = 0; k < 20; ++k) {
            points.push_back(random.Vector<2, T>(-1, 1));
        }
        const Fit<TypeParam> fit(points);
        const Vec2d center(fit.arc.center.x(), fit.arc.center.y());
        double largest = 0;
        for (const auto& p : points) {
            largest =
                std::max(largest, std::abs(Length(Vec2d(p.x(), p.y()) - center) - fit.Radius()));
        }
        const double rms = std::sqrt(SumOfSquares(points, center, fit.Radius()) / 20);
        const double margin = 16 * static_cast<double>(kEps<T>) * (1 + fit.Radius());
        EXPECT_NEAR(fit.error, largest, margin);
        EXPECT_NEAR(fit.rms, rms, margin);
    }
}

TYPED_TEST(CircleFitOf, FollowsRotationScaleAndShift)
{
    using T = typename TypeParam::Scalar;
    Support::Random random(45);
    std::vector<VecBase<2, T>> points = Sampled<T>({0, 0}, 1, 0, 2, 30);
    for (auto& p : points) {
        p += {0.02 * Noise(random), 0.02 * Noise(random)};
    }
    const Fit<TypeParam> plain(points);
    const double c = std::cos(1.0);
    const double s = std::sin(1.0);
    const double scale = 40;
    auto moved = points;
    for (auto& p : moved) {
        const double x = p.x();
        const double y = p.y();
        p = {scale * (c * x - s * y) + 3, scale * (s * x + c * y) - 8};
    }
    const Fit<TypeParam> fit(moved);
    const double x = plain.arc.center.x();
    const double y = plain.arc.center.y();
    const double margin = 200 * scale * static_cast<double>(kEps<T>);
    EXPECT_NEAR(fit.arc.center.x(), scale * (c * x - s * y) + 3, margin);
    EXPECT_NEAR(fit.arc.center.y(), scale * (s * x + c * y) - 8, margin);
    EXPECT_NEAR(fit.Radius(), scale * plain.Radius(), margin);
}

TYPED_TEST(CircleFitOf, HugeAndTinyCirclesFit)
{
    using T = typename TypeParam::Scalar;
    const double huge = std::is_same_v<T, float> ? 1e30 : 1e200;
    for (const double size : {1 / huge, huge}) {
        const Fit<TypeParam> fit(Sampled<T>({2 * size, size}, size, 0, 4, 20));
        EXPECT_NEAR(fit.Radius() / size, 1, 64 * static_cast<double>(kEps<T>));
    }
}

TYPED_TEST(CircleFitOf, NullPointersAreAllowed)
{
    using T = typename TypeParam::Scalar;
    const auto points = Sampled<T>({1, 2}, 3, 0, 4, 10);
    T error{-1};
    const auto both = FitCircle<TypeParam::method, T>(points, nullptr, nullptr);
    const auto one = FitCircle<TypeParam::method, T>(points, &error, nullptr);
    EXPECT_EQ(both, one);
    EXPECT_GE(error, 0);
    EXPECT_EQ(both, (FitCircle<TypeParam::method, T>(points, nullptr, &error)));
}

TYPED_TEST(CircleFitOf, PointsWithoutACircle)
{
    using T = typename TypeParam::Scalar;
    using P = VecBase<2, T>;
    const T nan = std::numeric_limits<T>::quiet_NaN();
    const T inf = std::numeric_limits<T>::infinity();
    std::vector<P> line;
    std::vector<P> farLine;
    std::vector<P> twoPlaces;
    for (int i = 0; i < 100; ++i) {
        line.push_back({0.1 * i, 0.3 * i + 0.7});
        farLine.push_back({1000.1 + 0.1 * i, 0.3 * i - 999.9});
        twoPlaces.push_back(i % 3 == 0 ? P{0.1, 0.7} : P{-3.3, 12.9});
    }
    const std::vector<std::vector<P>> inputs = {{{1, 2}},
                                                {{1, 2}, {3, 4}},
                                                {{1, 2}, {1, 2}, {1, 2}, {1, 2}},
                                                line,
                                                farLine,
                                                twoPlaces,
                                                {{1, 2}, {3, nan}, {5, 5}, {0, 9}},
                                                {{1, 2}, {3, inf}, {5, 5}, {0, 9}}};
    for (std::size_t i = 0; i < inputs.size(); ++i) {
        SCOPED_TRACE(i);
        const Fit<TypeParam> fit(inputs[i]);
        EXPECT_EQ(fit.arc, (ArcBase<T>{inputs[i].front(), inputs[i].front(), T{0}}));
        EXPECT_EQ(fit.error, std::numeric_limits<T>::max());
        EXPECT_EQ(fit.rms, std::numeric_limits<T>::max());
    }
    const Fit<TypeParam> none(std::vector<P>{});
    EXPECT_EQ(none.arc, ArcBase<T>{});
    EXPECT_EQ(none.error, std::numeric_limits<T>::max());
    EXPECT_EQ(Fit<TypeParam>({{nan, 2}, {3, 4}, {5, 0}}).arc.length, T{0});
}

TYPED_TEST(CircleFitOf, RepeatedPointsDoNotDisturb)
{
    using T = typename TypeParam::Scalar;
    std::vector<VecBase<2, T>> points;
    for (int i = 0; i < 60; ++i) {
        points.push_back(i < 20   ? VecBase<2, T>{5, 0}
                         : i < 40 ? VecBase<2, T>{3, 4}
                                  : VecBase<2, T>{-4, 3});
    }
    const Fit<TypeParam> fit(points);
    EXPECT_NEAR(fit.Radius(), 5, 64 * kEps<T>);
    EXPECT_GT(fit.arc.length, 0);
}

TEST(CircleFit, GeometricFitIsALocalMinimum)
{
    Support::Random random(46);
    for (int i = 0; i < 200; ++i) {
        SCOPED_TRACE(i);
        const double sweep = random.Between(0.5, 6);
        auto points = Sampled<double>({1, 2}, 4, random.Between(0, 6), sweep, 25);
        const double sigma = i % 2 == 0 ? 0.02 : 0.2;
        for (auto& p : points) {
            p += {sigma * Noise(random), sigma * Noise(random)};
        }
        const Fit<Form<1, double>> fit(points);
        const double least = SumOfSquares(points, fit.arc.center, fit.Radius());
        for (const double size : {1e-3, 1e-5}) {
            for (int k = 0; k < 16; ++k) {
                const Vec2d shift = size * random.Vector<2, double>(-1, 1);
                const double grown = size * random.Between(-1, 1);
                EXPECT_GE(SumOfSquares(points, fit.arc.center + shift, fit.Radius() + grown),
                          least * (1 - 1e-12));
            }
        }
        // At a minimum the radius is the mean distance from the center.
        double mean = 0;
        for (const auto& p : points) {
            mean += Length(p - fit.arc.center) / 25;
        }
        EXPECT_NEAR(fit.Radius(), mean, 1e-9);
    }
}

TEST(CircleFit, GeometricFitIsNoWorseThanTheAlgebraicOne)
{
    Support::Random random(47);
    for (int i = 0; i < 2000; ++i) {
        SCOPED_TRACE(i);
        const int count = 4 + random.Below(40);
        std::vector<Vec2d> points;
        if (i % 2 == 0) { // no circle in sight
            for (int k = 0; k < count; ++k) {
                points.push_back(random.Vector<2, double>(-1, 1));
            }
        } else {
            points = Sampled<double>({5, 5}, 2, 0, random.Between(0.05, 6), count);
            for (auto& p : points) {
                p += {0.05 * Noise(random), 0.05 * Noise(random)};
            }
        }
        const Fit<Form<0, double>> algebraic(points);
        const Fit<Form<1, double>> geometric(points);
        if (algebraic.arc.length != 0 && geometric.arc.length != 0) {
            // Deviations are differences of radii: their rounding is epsilon times the larger one.
            const double rounding =
                4 * kEps<double> * (10 + algebraic.Radius() + geometric.Radius());
            EXPECT_LE(geometric.rms, algebraic.rms + rounding);
        }
    }
}

TEST(CircleFit, ShortNoisyArcKeepsItsSizeOnAverage)
{
    // A twelfth of a turn with noise of a tenth of its sagitta: a fit that only minimizes the
    // algebraic form without Taubin's constraint halves the radius here. Mean over 400 trials.
    Support::Random random(48);
    const double sagitta = 1 - std::cos(kPi<double> / 12);
    double sum[2] = {};
    for (int i = 0; i < 400; ++i) {
        auto points = Sampled<double>({0, 0}, 1, 0, kPi<double> / 6, 100);
        for (auto& p : points) {
            p += {0.1 * sagitta * Noise(random), 0.1 * sagitta * Noise(random)};
        }
        sum[0] += Fit<Form<0, double>>(points).Radius();
        sum[1] += Fit<Form<1, double>>(points).Radius();
    }
    EXPECT_NEAR(sum[0] / 400, 1, 0.01);
    EXPECT_NEAR(sum[1] / 400, 1, 0.01);
}

} // namespace
