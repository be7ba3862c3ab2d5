// What must hold for every convex hull in space, checked without the library's own predicates.
#pragma once

#include "tests/support/TestSupport.h"

#include <Velk/Math/VecBase_E.h>

#include <boost/multiprecision/cpp_bin_float.hpp>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <limits>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace Support {

using Velk::Math::Vec3d;
using Velk::Math::VecBase;

/// Enough digits for the determinants of points that agree in most of theirs.
using Wide = boost::multiprecision::number<
    boost::multiprecision::cpp_bin_float<400, boost::multiprecision::digit_base_2>,
    boost::multiprecision::et_off>;

/// Signed distance of p from the plane through a, b, c, right to double precision for any triangle.
inline double WideDistance(const Vec3d& a, const Vec3d& b, const Vec3d& c, const Vec3d& p)
{
    const auto difference = [](const Vec3d& to, const Vec3d& from) {
        return std::array<Wide, 3>{Wide(to[0]) - Wide(from[0]), Wide(to[1]) - Wide(from[1]),
                                   Wide(to[2]) - Wide(from[2])};
    };
    const auto u = difference(b, a);
    const auto v = difference(c, a);
    const auto w = difference(p, a);
    const std::array<Wide, 3> n{u[1] * v[2] - u[2] * v[1], u[2] * v[0] - u[0] * v[2],
                                u[0] * v[1] - u[1] * v[0]};
    const Wide length = sqrt(n[0] * n[0] + n[1] * n[1] + n[2] * n[2]);
    return static_cast<double>((n[0] * w[0] + n[1] * w[1] + n[2] * w[2]) / length);
}

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
inline std::string SurfaceFault(const std::vector<int>& indices, std::size_t pointCount)
{
    if (indices.empty() || indices.size() % 3 != 0) {
        return "no triangles";
    }
    std::set<std::pair<int, int>> edges;
    std::set<int> used;
    for (std::size_t i = 0; i < indices.size(); ++i) {
        if (indices[i] < 0 || static_cast<std::size_t>(indices[i]) >= pointCount) {
            return "subscript out of range";
        }
        used.insert(indices[i]);
        const std::size_t next = i % 3 == 2 ? i - 2 : i + 1;
        if (!edges.insert({indices[i], indices[next]}).second) {
            return "directed edge twice";
        }
    }
    for (const auto& [from, to] : edges) {
        if (from == to || edges.count({to, from}) == 0) {
            return "open edge";
        }
    }
    if (indices.size() / 3 != 2 * used.size() - 4) {
        return "not a sphere";
    }
    return {};
}

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
                   double limit, std::size_t tests)
{
    double worst = -std::numeric_limits<double>::infinity();
    const std::size_t faces = indices.size() / 3;
    const std::size_t faceStep = faces > tests / 4 ? faces * 4 / tests + 1 : 1;
    const std::size_t pointStep = faces / faceStep * points.size() / tests + 1;
    for (std::size_t face = 0; face < faces; face += faceStep) {
        const Vec3d a(hullPoints[static_cast<std::size_t>(indices[3 * face])]);
        const Vec3d b(hullPoints[static_cast<std::size_t>(indices[3 * face + 1])]);
        const Vec3d c(hullPoints[static_cast<std::size_t>(indices[3 * face + 2])]);
        const FaceHeights heights(a, b, c);
        for (std::size_t i = face % pointStep; i < points.size(); i += pointStep) {
            const Vec3d p(points[i]);
            const auto [height, error] = heights.Height(p);
            if (height + error <= limit) {
                worst = std::max(worst, static_cast<double>(height + error));
            } else if (p != a && p != b && p != c) {
                worst = std::max(worst, WideDistance(a, b, c, p));
            }
        }
    }
    return worst;
}

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
                const std::vector<VecBase<3, T>>& hullPoints, const std::vector<int>& indices)
{
    ASSERT_EQ(SurfaceFault(indices, hullPoints.size()), "");
    EXPECT_EQ(hullPoints.size(), indices.size() / 6 + 2) << "points that no triangle uses";

    std::set<std::array<T, 3>> known;
    for (const auto& p : points) {
        known.insert({p[0], p[1], p[2]});
    }
    for (const auto& p : hullPoints) {
        ASSERT_EQ(known.count({p[0], p[1], p[2]}), 1U) << "not a point of the input";
    }

    // Nothing above any face: convex, and outward as well.
    constexpr std::size_t kTests = 200'000;
    EXPECT_LE(WorstHeight(hullPoints, hullPoints, indices, 0, kTests), 0);
    const double floor = static_cast<double>(Velk::Math::kLengthFloor<T>);
    const double limit = 10 * floor * Diagonal(points) + 2 * floor;
    EXPECT_LE(WorstHeight(points, hullPoints, indices, limit, kTests), limit);
}

} // namespace Support
