// The checks of hulls, compiled once: numbers of four hundred bits take long to compile, and long
// to reckon with where nothing is optimized (tests/CMakeLists.txt).

#include "tests/bounding/HullChecks.h"

#include <Velk/Math/Tolerances_E.h>

#include <boost/multiprecision/cpp_bin_float.hpp>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <set>
#include <utility>

namespace Support {

namespace {

/// Enough digits for the determinants of points that agree in most of theirs.
using Wide = boost::multiprecision::number<
    boost::multiprecision::cpp_bin_float<400, boost::multiprecision::digit_base_2>,
    boost::multiprecision::et_off>;

} // namespace

double WideDistance(const Vec3d& a, const Vec3d& b, const Vec3d& c, const Vec3d& p)
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

std::string SurfaceFault(const std::vector<int>& indices, std::size_t pointCount)
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

template double WorstHeight(const std::vector<VecBase<3, float>>&,
                            const std::vector<VecBase<3, float>>&, const std::vector<int>&, double,
                            std::size_t);
template double WorstHeight(const std::vector<VecBase<3, double>>&,
                            const std::vector<VecBase<3, double>>&, const std::vector<int>&, double,
                            std::size_t);
template void ExpectHull(const std::vector<VecBase<3, float>>&,
                         const std::vector<VecBase<3, float>>&, const std::vector<int>&);
template void ExpectHull(const std::vector<VecBase<3, double>>&,
                         const std::vector<VecBase<3, double>>&, const std::vector<int>&);

} // namespace Support
