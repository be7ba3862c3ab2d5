// Planes of polygons and of clouds of points.
//
// All sums run in `double` over differences from a nearby point, so that the distance of the input
// from zero costs no digits. Whether there is a plane at all is judged against the rounding of the
// coordinates themselves: what that alone could have made is no plane.

#include <Velk/Math/Transform_E.h>

#include "mathbase/Direction_Impl.h"
#include "mathbase/ErrorFree_Impl.h"

#include <Eigen/Eigenvalues>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

namespace Velk::Math::Transform {
namespace {

using Point = VecBase<3, double>;

/// Roundings, in units of the coordinates' epsilon, that an extent has to exceed to count.
constexpr double kRoundings = 4.0;

/// Share of the largest component of a normal that makes another one as large: of these the first
/// decides the sign, not the last digit of the computation.
constexpr double kAsLarge = 1.0 - 1e-6;

Point Magnitudes(const Point& v) { return {std::fabs(v.x()), std::fabs(v.y()), std::fabs(v.z())}; }

/// What the rounding of the coordinates can have moved them by, each coordinate for itself.
template <class T>
Point CoordinateNoise(const std::vector<VecBase<3, T>>& points)
{
    Point largest;
    for (const auto& p : points) {
        const Point magnitude = Magnitudes(Point(p));
        for (int i = 0; i < 3; ++i) {
            largest[i] = std::max(largest[i], magnitude[i]);
        }
    }
    return largest * (kRoundings * static_cast<double>(std::numeric_limits<T>::epsilon()));
}

/// Mean of the first `count` points.
template <class T>
Point Mean(const std::vector<VecBase<3, T>>& points, std::size_t count)
{
    const Point first(points.front());
    std::array<Math::Impl::CompensatedSum, 3> sum;
    for (std::size_t i = 1; i < count; ++i) {
        const Point offset = Point(points[i]) - first;
        for (int c = 0; c < 3; ++c) {
            sum[static_cast<std::size_t>(c)].Add(offset[c]);
        }
    }
    return first +
           Point{sum[0].Value(), sum[1].Value(), sum[2].Value()} / static_cast<double>(count);
}

/// Number of corners of a loop: a repetition of the first point at its end closes it and is no
/// corner.
template <class T>
std::size_t CornerCount(const std::vector<VecBase<3, T>>& loop)
{
    return loop.size() > 1 && loop.front() == loop.back() ? loop.size() - 1 : loop.size();
}

/// Eigenvectors of the scatter matrix of the points about `mean`, of least eigenvalue first; false
/// for points that are not finite.
template <class T>
bool PrincipalAxes(const std::vector<VecBase<3, T>>& points, const Point& mean,
                   std::array<Point, 3>& axes)
{
    std::array<Math::Impl::CompensatedSum, 6> sums; // xx, yx, yy, zx, zy, zz
    for (const auto& p : points) {
        const Point q = Point(p) - mean;
        sums[0].Add(q.x() * q.x());
        sums[1].Add(q.y() * q.x());
        sums[2].Add(q.y() * q.y());
        sums[3].Add(q.z() * q.x());
        sums[4].Add(q.z() * q.y());
        sums[5].Add(q.z() * q.z());
    }
    Eigen::Matrix3d scatter;                   // the solver reads the lower triangle
    scatter << sums[0].Value(), 0.0, 0.0,      //
        sums[1].Value(), sums[2].Value(), 0.0, //
        sums[3].Value(), sums[4].Value(), sums[5].Value();
    if (!scatter.allFinite()) {
        return false;
    }
    const Eigen::SelfAdjointEigenSolver<Eigen::Matrix3d> solver(scatter);
    for (int i = 0; i < 3; ++i) {
        const Eigen::Vector3d& axis = solver.eigenvectors().col(i);
        axes[static_cast<std::size_t>(i)] = {axis.x(), axis.y(), axis.z()};
    }
    return true;
}

/// Scatter of the points across their long axis, and what follows from it.
struct CrossSection {
    Point wideAxis;      // unit
    Point thinAxis;      // unit
    double width = 0.0;  // root mean square extent along `wideAxis`
    double length = 0.0; // the same along the long axis
};

/// Principal axes in the plane spanned by `u` and `v`, which is perpendicular to the long axis.
///
/// The scatter matrix holds squares: in it, rounding of the long axis drowns widths below 1e-8 of
/// the length. Here the long axis is gone before anything is squared.
template <class T>
CrossSection CrossSectionOf(const std::vector<VecBase<3, T>>& points, const Point& mean,
                            const std::array<Point, 3>& axes)
{
    const auto& [u, v, longAxis] = axes;
    double uu = 0.0;
    double uv = 0.0;
    double vv = 0.0;
    double along = 0.0;
    for (const auto& p : points) {
        const Point q = Point(p) - mean;
        const double a = q * u;
        const double b = q * v;
        const double s = q * longAxis;
        uu += a * a;
        uv += a * b;
        vv += b * b;
        along += s * s;
    }
    // Eigenvectors of [uu uv; uv vv]: the wide axis has half the angle of (uu - vv, 2 uv). Of the
    // two ways to write it, the one without cancellation.
    const double difference = uu - vv;
    const double spread = std::hypot(difference, 2.0 * uv);
    VecBase<2, double> wide{1.0, 0.0};
    if (spread > 0.0) {
        wide = Impl::UnitDirection(difference > 0.0
                                       ? VecBase<2, double>{difference + spread, 2.0 * uv}
                                       : VecBase<2, double>{2.0 * uv, spread - difference});
    }
    const double count = static_cast<double>(points.size());

    CrossSection section;
    section.wideAxis = u * wide.x() + v * wide.y();
    section.thinAxis = v * wide.x() - u * wide.y();
    section.width = std::sqrt(0.5 * (uu + vv + spread) / count);
    section.length = std::sqrt(along / count);
    return section;
}

/// `normal` or its opposite, whichever has the first of its largest components positive.
Point WithFixedSign(const Point& normal)
{
    const double largest = Impl::LargestMagnitude(normal);
    for (const double component : normal) {
        if (std::fabs(component) >= kAsLarge * largest) {
            return component < 0.0 ? -normal : normal;
        }
    }
    return normal;
}

} // namespace

template <class T>
void PlaneOfPolygon(const std::vector<VecBase<3, T>>& loop, VecBase<3, T>& origin,
                    VecBase<3, T>& normal)
{
    origin = {};
    normal = {};
    if (loop.empty()) {
        return;
    }
    const std::size_t count = CornerCount(loop);
    origin = VecBase<3, T>(Mean(loop, count));
    if (count < 3) {
        return;
    }
    // Newell's vector area as a fan about the first corner: the edges at that corner span nothing.
    const Point first(loop.front());
    Point doubledArea;
    Point perimeter; // of the loop's projections on the axes
    for (std::size_t i = 0; i < count; ++i) {
        const Point from(loop[i]);
        const Point edge = Point(loop[i + 1 < count ? i + 1 : 0]) - from;
        doubledArea += (from - first) ^ edge;
        perimeter += Magnitudes(edge);
    }
    const Point noise = CoordinateNoise(loop);
    const Point noiseArea{perimeter.y() * noise.z() + perimeter.z() * noise.y(),
                          perimeter.z() * noise.x() + perimeter.x() * noise.z(),
                          perimeter.x() * noise.y() + perimeter.y() * noise.x()};
    const Point area = Magnitudes(doubledArea);
    if (area.x() > noiseArea.x() || area.y() > noiseArea.y() || area.z() > noiseArea.z()) {
        normal = VecBase<3, T>(Impl::UnitDirection(doubledArea));
    }
}

template <class T>
void PlaneOfPoints(const std::vector<VecBase<3, T>>& points, VecBase<3, T>& origin,
                   VecBase<3, T>& normal)
{
    origin = {};
    normal = {};
    if (points.empty()) {
        return;
    }
    const Point mean = Mean(points, points.size());
    origin = VecBase<3, T>(mean);
    std::array<Point, 3> axes;
    if (points.size() < 3 || !PrincipalAxes(points, mean, axes)) {
        return;
    }
    const CrossSection section = CrossSectionOf(points, mean, axes);
    const double noise = Magnitudes(section.wideAxis) * CoordinateNoise(points) +
                         kRoundings * std::numeric_limits<double>::epsilon() * section.length;
    if (section.width > noise) {
        normal = VecBase<3, T>(WithFixedSign(section.thinAxis));
    }
}

// clang-format off
template void PlaneOfPolygon(const std::vector<VecBase<3, float>>&,  VecBase<3, float>&,  VecBase<3, float>&);
template void PlaneOfPolygon(const std::vector<VecBase<3, double>>&, VecBase<3, double>&, VecBase<3, double>&);
template void PlaneOfPoints(const std::vector<VecBase<3, float>>&,  VecBase<3, float>&,  VecBase<3, float>&);
template void PlaneOfPoints(const std::vector<VecBase<3, double>>&, VecBase<3, double>&, VecBase<3, double>&);
// clang-format on

} // namespace Velk::Math::Transform
