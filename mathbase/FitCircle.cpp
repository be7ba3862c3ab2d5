// Least-squares circle through points of the plane.
//
// Algebraic fit (method 0): G. Taubin, "Estimation of planar curves, surfaces, and nonplanar space
// curves defined by implicit equations", 1991. The circle A (x^2 + y^2) + B x + C y + D = 0 with
// the least sum of squares under a unit mean squared gradient. About the points' centroid that is
// an ordinary eigenproblem: the least eigenvector of the covariance of (z, x, y), where z = (x^2 +
// y^2) / (2 rms distance). A. Al-Sharadqah and N. Chernov, "Error analysis for circle fitting
// algorithms", 2009, show its bias to be half that of Pratt's fit, the usual choice, at the same
// cost.
//
// Geometric fit (method 1): from there, damped Gauss-Newton steps on the distances themselves. The
// circle is carried as a point on it, the direction to its center and its curvature, and a step is
// a change of (A, B, D) in the frame of that point; this keeps all digits for arcs that are nearly
// straight, where center and radius are large and all but dependent. After N. Chernov and C.
// Lesort, "Least squares fitting of circles", 2005, who fix the same four-coefficient form in one
// frame.
//
// Both work in the frame of the points' own principal axes, scaled to unit size.

#include <Velk/Math/Geometry_E.h>
#include <Velk/Math/Tolerances_E.h>

#include "mathbase/GeometryArc_Impl.h"
#include "mathbase/SymmetricEigen_Impl.h"
#include "mathbase/Values_Impl.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <limits>
#include <optional>

namespace Velk::Math::Geometry {

namespace {

using Impl::LeftNormal;
using Math::Impl::Matrix3;
using Math::Impl::Narrowed;
using Math::Impl::Widened;

/// Gauss-Newton steps: three to six are usual, noise comparable with the radius takes tens.
constexpr int kGaussNewtonSteps = 100;
/// Step, in units of the points' rms distance, at which the geometric fit has come to rest.
constexpr double kRestingStep = 1e-15;
/// Step whose effect on the sum of squares, which is quadratic, drowns in that sum's rounding:
/// steps below it are told from noise by their shrinking.
constexpr double kInvisibleStep = 1e-7;
/// Relative rounding of a sum of squares.
constexpr double kSumRounding = 1e-14;
/// Damping beyond which no step can matter any more.
constexpr double kLargestDamping = 1e12;

struct Circle {
    Vec2d center;
    double radius = 0;
};

/// A circle of any curvature, also a straight line: a point on it, the unit direction from there
/// toward the center, and 1 / radius (negative when the center lies the other way).
struct CurveFrame {
    Vec2d point;
    Vec2d towardsCenter;
    double curvature = 0;
};

/// The points in their own frame: about their centroid, along their principal axes, with a root
/// mean square distance of 1.
struct Normalized {
    std::vector<Vec2d> points;
    Vec2d origin; // the centroid, in the caller's frame
    Vec2d axis;   // the first axis there, a unit vector
    double scale = 1;

    Vec2d ToCaller(const Vec2d& p) const
    {
        return origin + scale * (p.x() * axis + p.y() * LeftNormal(axis));
    }
};

struct Moments {
    double xx = 0;
    double xy = 0;
    double yy = 0;
};

Moments SecondMoments(const std::vector<Vec2d>& points)
{
    Moments sum;
    for (const Vec2d& p : points) {
        sum.xx += p.x() * p.x();
        sum.xy += p.x() * p.y();
        sum.yy += p.y() * p.y();
    }
    const auto count = static_cast<double>(points.size());
    return {sum.xx / count, sum.xy / count, sum.yy / count};
}

Vec2d Mean(const std::vector<Vec2d>& points)
{
    Vec2d sum;
    for (const Vec2d& p : points) {
        sum += p;
    }
    return sum / static_cast<double>(points.size());
}

/// The points in their own frame; empty when they are fewer than three, not finite, or lie on a
/// line (all in one place too) up to the rounding of their coordinates.
template <class T>
std::optional<Normalized> Normalize(const std::vector<VecBase<2, T>>& source)
{
    if (source.size() < 3) {
        return {};
    }
    const Vec2d first = Widened(source.front());
    double extent = 0;
    double largest = 0;
    for (const auto& point : source) {
        const Vec2d p = Widened(point);
        const Vec2d offset = p - first;
        if (!Math::Impl::IsFinite(offset)) {
            return {};
        }
        extent = std::max({extent, std::abs(offset.x()), std::abs(offset.y())});
        largest = std::max({largest, std::abs(p.x()), std::abs(p.y())});
    }
    if (!(extent > 0)) {
        return {};
    }

    // Differences before squares, and sizes of about 1 before squares: far from the origin nothing
    // is lost, and no scale overflows.
    Normalized local;
    local.points.reserve(source.size());
    for (const auto& point : source) {
        local.points.push_back((Widened(point) - first) / extent);
    }
    const Vec2d mean = Mean(local.points);
    for (Vec2d& p : local.points) {
        p -= mean;
    }
    const Moments raw = SecondMoments(local.points);
    const double angle = 0.5 * std::atan2(2 * raw.xy, raw.xx - raw.yy);
    local.axis = {std::cos(angle), std::sin(angle)};
    const double rms = std::sqrt(raw.xx + raw.yy);
    const Vec2d side = LeftNormal(local.axis);
    for (Vec2d& p : local.points) {
        p = Vec2d{p * local.axis, p * side} / rms;
    }
    local.origin = first + extent * mean;
    local.scale = extent * rms;

    const double thickness = std::sqrt(SecondMoments(local.points).yy) * local.scale;
    const double rounding = 2.0 * static_cast<double>(std::numeric_limits<T>::epsilon()) * largest;
    return thickness > rounding ? std::optional(std::move(local)) : std::nullopt;
}

/// Unit eigenvector of the least eigenvalue of a symmetric matrix.
Vec3d LeastEigenvector(const Matrix3& m)
{
    const Math::Impl::Eigen3 eigen = Math::Impl::EigenOf(m);
    const auto least = std::min_element(eigen.values.begin(), eigen.values.end());
    return eigen.vectors[static_cast<std::size_t>(least - eigen.values.begin())];
}

/// Taubin's circle in the points' own frame, where the mean of x^2 + y^2 is 1. The radius is not
/// finite when a straight line fits best.
Circle TaubinCircle(const std::vector<Vec2d>& points)
{
    Matrix3 m{};
    for (const Vec2d& p : points) {
        const std::array<double, 3> row{(p * p - 1) / 2, p.x(), p.y()};
        for (int i = 0; i < 3; ++i) {
            for (int j = i; j < 3; ++j) {
                m[i][j] += row[i] * row[j];
            }
        }
    }
    for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < i; ++j) {
            m[i][j] = m[j][i];
        }
    }
    // Components 2 A, B and C; D is -A, because the mean of the whole form vanishes.
    const Vec3d form = LeastEigenvector(m);
    const Vec2d center = Vec2d{-form[1], -form[2]} / form[0]; // NaN for a line
    return {center, std::hypot(Length(center), 1.0)};
}

/// The circle by its point nearest the points' centroid, which lies within every Taubin circle.
CurveFrame FrameOf(const Circle& circle)
{
    const double reach = Length(circle.center);
    const Vec2d inward = reach > 0 ? circle.center / reach : Vec2d{1, 0};
    // radius - reach, from radius^2 - reach^2 = 1, so that large radii do not cancel.
    return {-1 / (circle.radius + reach) * inward, inward, 1 / circle.radius};
}

/// Sum of the squared distances, and the normal equations of their linearization for changes of
/// (A, B, D) in the frame of `curve`: x along it, y toward the center, A = curvature / 2, B = 0,
/// C = -1, D = 0.
struct Linearized {
    double squares = 0;
    Matrix3 normal{};
    std::array<double, 3> gradient{};
};

Linearized Linearize(const std::vector<Vec2d>& points, const CurveFrame& curve)
{
    // Least ratio of distance from the center to radius at which a point has a direction from
    // there.
    constexpr double kCenterRatio = 1e-8;
    const Vec2d tangent = -LeftNormal(curve.towardsCenter);
    Linearized sum;
    for (const Vec2d& point : points) {
        const Vec2d offset = point - curve.point;
        const double x = offset * tangent;
        const double y = offset * curve.towardsCenter;
        const double squared = x * x + y * y;
        const double form = curve.curvature / 2 * squared - y;
        // Distance from the center over the radius; its square may round below 0 at the center.
        const double ratio = std::sqrt(std::max(1 + 2 * curve.curvature * form, 0.0));
        const double distance = 2 * form / (1 + ratio);
        const double slope = 1 / std::max(ratio, kCenterRatio);
        const std::array<double, 3> row{(squared - distance * distance) * slope, x * slope,
                                        (1 - curve.curvature * y) * slope};
        sum.squares += distance * distance;
        for (int i = 0; i < 3; ++i) {
            sum.gradient[i] += row[i] * distance;
            for (int j = 0; j <= i; ++j) {
                sum.normal[i][j] += row[i] * row[j];
            }
        }
    }
    return sum;
}

/// Solution of (normal + damping * its diagonal) step = -gradient by Cholesky's factors; empty when
/// the matrix is not positive.
std::optional<std::array<double, 3>> DampedStep(const Linearized& system, double damping)
{
    Matrix3 factor{};
    std::array<double, 3> step{};
    for (int i = 0; i < 3; ++i) {
        for (int j = 0; j <= i; ++j) {
            double rest = system.normal[i][j] * (i == j ? 1 + damping : 1);
            for (int k = 0; k < j; ++k) {
                rest -= factor[i][k] * factor[j][k];
            }
            if (i != j) {
                factor[i][j] = rest / factor[j][j];
            } else if (rest > 0) {
                factor[i][i] = std::sqrt(rest);
            } else {
                return {};
            }
        }
        double rest = -system.gradient[i];
        for (int k = 0; k < i; ++k) {
            rest -= factor[i][k] * step[k];
        }
        step[i] = rest / factor[i][i];
    }
    for (int i = 2; i >= 0; --i) {
        for (int k = i + 1; k < 3; ++k) {
            step[i] -= factor[k][i] * step[k];
        }
        step[i] /= factor[i][i];
    }
    return step;
}

/// The curve after a change of (A, B, D), framed at its point nearest the old one; empty when the
/// change leaves no real circle.
std::optional<CurveFrame> Moved(const CurveFrame& curve, const std::array<double, 3>& step)
{
    const double a = curve.curvature / 2 + step[0];
    const double b = step[1];
    const double d = step[2];
    const double squaredGradient = 1 + 4 * a * d; // of the form at the old point; B^2 + C^2
    const double squaredC = squaredGradient - b * b;
    if (!(squaredC > 0)) {
        return {};
    }
    const double gradient = std::sqrt(squaredGradient);
    const Vec2d tangent = -LeftNormal(curve.towardsCenter);
    const Vec2d outward = (b * tangent - std::sqrt(squaredC) * curve.towardsCenter) / gradient;
    const double distance = 2 * d / (1 + gradient);
    return CurveFrame{curve.point - distance * outward, -outward, 2 * a};
}

double Largest(const std::array<double, 3>& step)
{
    return std::max({std::abs(step[0]), std::abs(step[1]), std::abs(step[2])});
}

/// Nearest local minimum of the sum of squared distances, by the steps of Levenberg and Marquardt;
/// the sum does not grow but by rounding, and the steps are bounded in number.
Circle GeometricCircle(const std::vector<Vec2d>& points, const Circle& start)
{
    CurveFrame curve = FrameOf(start);
    Linearized system = Linearize(points, curve);
    double damping = 0;
    double previousSize = std::numeric_limits<double>::infinity();
    for (int i = 0; i < kGaussNewtonSteps && damping < kLargestDamping; ++i) {
        const auto step = DampedStep(system, damping);
        const double size = step ? Largest(*step) : std::numeric_limits<double>::infinity();
        if (size <= kInvisibleStep && size >= previousSize) {
            break; // steps that no longer shrink are rounding
        }
        const auto next = step ? Moved(curve, *step) : std::nullopt;
        const Linearized atNext = next ? Linearize(points, *next) : Linearized{};
        if (next && atNext.squares <= system.squares * (1 + kSumRounding)) {
            curve = *next;
            system = atNext;
            previousSize = size;
            damping = damping > 1e-6 ? damping / 8 : 0;
            if (size <= kRestingStep) {
                break;
            }
        } else if (size <= kInvisibleStep) {
            break;
        } else {
            damping = std::max(damping * 8, 1e-3);
        }
    }
    const double radius = 1 / curve.curvature;
    return {curve.point + radius * curve.towardsCenter, std::abs(radius)};
}

/// +1 or -1: the sense in which the points run about `center`, by the area that the spoke to the
/// running point sweeps.
template <class T>
double Sense(const std::vector<VecBase<2, T>>& points, const Vec2d& center)
{
    double swept = 0;
    for (std::size_t i = 0; i + 1 < points.size(); ++i) {
        swept += (Widened(points[i]) - center) ^ (Widened(points[i + 1]) - Widened(points[i]));
    }
    return swept < 0 ? -1 : 1;
}

/// Largest and root mean square deviation of the points from a circle.
template <class T>
std::array<double, 2> Deviations(const std::vector<VecBase<2, T>>& points, const Circle& circle)
{
    double largest = 0;
    double squares = 0;
    for (const auto& point : points) {
        const double deviation = std::abs(Length(Widened(point) - circle.center) - circle.radius);
        largest = std::max(largest, deviation);
        squares += deviation * deviation;
    }
    return {largest, std::sqrt(squares / static_cast<double>(points.size()))};
}

/// The fit in the caller's frame; empty without a circle that T can hold.
template <int Method, class T>
std::optional<Circle> FittedCircle(const std::vector<VecBase<2, T>>& points)
{
    const std::optional<Normalized> local = Normalize(points);
    if (!local) {
        return {};
    }
    Circle circle = TaubinCircle(local->points);
    if (Method == 1 && std::isfinite(circle.radius)) {
        circle = GeometricCircle(local->points, circle);
    }
    const Circle result{local->ToCaller(circle.center), local->scale * circle.radius};
    constexpr double kLargest = std::numeric_limits<T>::max();
    // The length, 2 pi radius, has to be finite too.
    const bool fits = 8 * result.radius <= kLargest && Math::Impl::IsFinite(result.center);
    return fits ? std::optional(result) : std::nullopt;
}

} // namespace

template <int Method, class T>
ArcBase<T> FitCircle(const std::vector<VecBase<2, T>>& points, T* error, T* secondError)
{
    const VecBase<2, T> first = points.empty() ? VecBase<2, T>{} : points.front();
    const std::optional<Circle> circle = FittedCircle<Method>(points);
    std::array<double, 2> deviations{std::numeric_limits<T>::max(), std::numeric_limits<T>::max()};
    ArcBase<T> arc{first, first, T{0}};
    if (circle) {
        arc.center = Narrowed<T>(circle->center);
        const Vec2d center = Widened(arc.center);
        const Vec2d toFirst = Widened(first) - center;
        const double reach = Length(toFirst);
        const Vec2d direction = reach > 0 ? toFirst / reach : Vec2d{1, 0};
        arc.start = Narrowed<T>(center + circle->radius * direction);
        arc.length = static_cast<T>(Sense(points, center) * kTwoPi<double> * circle->radius);
        if (error != nullptr || secondError != nullptr) {
            deviations = Deviations(points, {center, circle->radius});
        }
    }
    if (error != nullptr) {
        *error = static_cast<T>(deviations[0]);
    }
    if (secondError != nullptr) {
        *secondError = static_cast<T>(deviations[1]);
    }
    return arc;
}

template ArcBase<double> FitCircle<0, double>(const std::vector<VecBase<2, double>>&, double*,
                                              double*);
template ArcBase<float> FitCircle<1, float>(const std::vector<VecBase<2, float>>&, float*, float*);
template ArcBase<double> FitCircle<1, double>(const std::vector<VecBase<2, double>>&, double*,
                                              double*);

} // namespace Velk::Math::Geometry
