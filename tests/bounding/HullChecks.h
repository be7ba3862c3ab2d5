// What must hold for every convex hull in space, checked without the library's own predicates.
#pragma once

#include "tests/support/TestSupport.h"

#include <Velk/Math/VecBase_E.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <string>
#include <utility>
#include <vector>

namespace Support {

using Velk::Math::Vec3d;
using Velk::Math::VecBase;

/// Signed distance of p from the plane through a, b, c, right to double precision for any triangle.
double WideDistance(const Vec3d& a, const Vec3d& b, const Vec3d& c, const Vec3d& p);

struct HullFigures {
    double volume = 0;
    double area = 0;
};

template <class T>
HullFigures MeasureHull(const std::vector<VecBase<3, T>>& points, const std::vector<int>& indices)
{
    HullFigures figures;
    for (std::size_t i = 0; i + 2 < indices.size(); i += 3) {
        const Vec3d origin(points[static_cast<std::size_t>(indices[0])]);
        const Vec3d a = Vec3d(points[static_cast<std::size_t>(indices[i])]) - origin;
        const Vec3d b = Vec3d(points[static_cast<std::size_t>(indices[i + 1])]) - origin;
        const Vec3d c = Vec3d(points[static_cast<std::size_t>(indices[i + 2])]) - origin;
        figures.volume += (a ^ b) * c / 6;
        figures.area += Length((b - a) ^ (c - a)) / 2;
    }
    return figures;
}

/// Every directed edge once, its reverse once, and one sphere of it.
std::string SurfaceFault(const std::vector<int>& indices, std::size_t pointCount);

/// Heights above one face in long double, with their error bound.
class FaceHeights {
public:
    FaceHeights(const Vec3d& a, const Vec3d& b, const Vec3d& c) : a_(a)
    {
        long double u[3];
        long double v[3];
        for (int k = 0; k < 3; ++k) {
            u[k] = static_cast<long double>(b[k]) - a[k];
            v[k] = static_cast<long double>(c[k]) - a[k];
        }
        for (int k = 0; k < 3; ++k) {
            n_[k] = u[(k + 1) % 3] * v[(k + 2) % 3] - u[(k + 2) % 3] * v[(k + 1) % 3];
        }
        const long double length = Norm(n_);
        for (long double& x : n_) {
            x /= length;
        }
        errorPerLength_ =
            32 * std::numeric_limits<long double>::epsilon() * (Norm(u) * Norm(v) / length + 1);
    }

    /// The height, and the bound of its error. NaN tells nothing.
    std::pair<long double, long double> Height(const Vec3d& p) const
    {
        long double w[3];
        for (int k = 0; k < 3; ++k) {
            w[k] = static_cast<long double>(p[k]) - a_[k];
        }
        return {n_[0] * w[0] + n_[1] * w[1] + n_[2] * w[2], errorPerLength_ * Norm(w)};
    }

private:
    static long double Norm(const long double (&v)[3])
    {
        return std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]);
    }

    Vec3d a_;
    long double n_[3];
    long double errorPerLength_;
};

/// The largest distance of a point above a face of the hull, as far as it matters for `limit`, for
/// about `tests` pairs. All digits are used where long double leaves a doubt about the limit.
template <class T>
double WorstHeight(const std::vector<VecBase<3, T>>& points,
                   const std::vector<VecBase<3, T>>& hullPoints, const std::vector<int>& indices,
                   double limit, std::size_t tests);

/// Diagonal of the box, without overflow for finite boxes of moderate size.
template <class T>
double Diagonal(const std::vector<VecBase<3, T>>& points)
{
    Vec3d low(points[0]);
    Vec3d high(points[0]);
    for (const auto& p : points) {
        for (int k = 0; k < 3; ++k) {
            low[k] = std::min(low[k], static_cast<double>(p[k]));
            high[k] = std::max(high[k], static_cast<double>(p[k]));
        }
    }
    return Length(high - low);
}

/// Closed, outward, of input points, convex without any tolerance, and no input point higher above
/// a face than the plane tolerance: ten length floors times an edge, which is no longer than the
/// diagonal, and as much again for points that the filter merged.
template <class T>
void ExpectHull(const std::vector<VecBase<3, T>>& points,
                const std::vector<VecBase<3, T>>& hullPoints, const std::vector<int>& indices);

extern template double WorstHeight(const std::vector<VecBase<3, float>>&,
                                   const std::vector<VecBase<3, float>>&, const std::vector<int>&,
                                   double, std::size_t);
extern template double WorstHeight(const std::vector<VecBase<3, double>>&,
                                   const std::vector<VecBase<3, double>>&, const std::vector<int>&,
                                   double, std::size_t);
extern template void ExpectHull(const std::vector<VecBase<3, float>>&,
                                const std::vector<VecBase<3, float>>&, const std::vector<int>&);
extern template void ExpectHull(const std::vector<VecBase<3, double>>&,
                                const std::vector<VecBase<3, double>>&, const std::vector<int>&);

} // namespace Support
