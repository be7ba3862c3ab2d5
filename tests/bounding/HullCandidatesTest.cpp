// Throwing away deep points must never change a hull, and must throw most of them away.

#include "bounding/HullCandidates_Impl.h"
#include "bounding/QHullMesh_Impl.h"

#include <Sorvane/ConvexHull_E.h>
#include <Velk/Math/Vector_E.h>

#include "tests/bounding/HullChecks.h"
#include "tests/support/Rounds.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <numeric>
#include <string>
#include <vector>

using namespace Velk::Math;
using namespace Velk::Math::Sorvane::Bounding;

namespace {

Vec3d InBall(Support::Random& random)
{
    for (;;) {
        const auto p = random.Vector<3, double>(-1, 1);
        if (p * p < 1) {
            return p;
        }
    }
}

std::vector<Vec3d> Select(const std::vector<Vec3d>& points, const std::vector<int>& indices)
{
    std::vector<Vec3d> selected;
    for (const int i : indices) {
        selected.push_back(points[static_cast<std::size_t>(i)]);
    }
    return selected;
}

struct NamedSet {
    const char* name;
    std::vector<Vec3d> points;
};

std::vector<NamedSet> Sets()
{
    Support::Random random(1);
    std::vector<NamedSet> sets = {{"ball", {}},      {"box", {}},           {"needle", {}},
                                  {"plate", {}},     {"lattice", {}},       {"turned lattice", {}},
                                  {"far ball", {}},  {"tiny ball", {}},     {"huge ball", {}},
                                  {"two balls", {}}, {"slanted plate", {}}, {"slanted needle", {}}};
    for (int i = 0; i < 40'000; ++i) {
        const Vec3d p = InBall(random);
        const auto q = random.Vector<3, double>(-1, 1);
        sets[0].points.push_back(p);
        sets[1].points.push_back(q);
        sets[2].points.push_back({1000 * q[0], q[1], q[2]});
        sets[3].points.push_back({q[0], q[1], q[2] * 1e-3});
        sets[6].points.push_back(p + Vec3d(1e7, -1e6, 1e7));
        sets[7].points.push_back(p * 1e-150);
        sets[8].points.push_back(p * 1e150);
        sets[9].points.push_back(p + Vec3d(i % 2 == 0 ? 20 : 0, 0, 0));
        sets[10].points.push_back({q[0] + 1e-3 * q[2], q[1], 3 * q[0] - 2 * q[1]});
        sets[11].points.push_back({q[0] + 1e-3 * q[2], 2 * q[0] + 1e-3 * q[1], -3 * q[0]});
    }
    const double c = std::cos(0.3);
    const double s = std::sin(0.3);
    for (int i = 0; i < 35 * 35 * 35; ++i) {
        const Vec3d p(i % 35, i / 35 % 35, i / 35 / 35);
        sets[4].points.push_back(p);
        sets[5].points.push_back({c * p[0] - s * p[1], c * (s * p[0] + c * p[1]) + s * p[2],
                                  -s * (s * p[0] + c * p[1]) + c * p[2]});
    }
    return sets;
}

} // namespace

TEST(HullCandidates, FewPointsAreAllKept)
{
    const std::vector<Vec3d> points(static_cast<std::size_t>(Impl::kFewHullPoints - 1),
                                    Vec3d(1, 2, 3));
    std::vector<int> all(points.size());
    std::iota(all.begin(), all.end(), 0);
    EXPECT_EQ(Impl::HullCandidates(points, 1e-12), all);
    EXPECT_TRUE(Impl::HullCandidates(std::vector<Vec3d>{}, 1e-12).empty());
}

TEST(HullCandidates, HullIsThatOfAllPoints)
{
    for (const auto& [name, points] : Sets()) {
        SCOPED_TRACE(name);
        const std::vector<int> indices = Impl::HullCandidates(points, 0);
        EXPECT_TRUE(std::is_sorted(indices.begin(), indices.end()));
        EXPECT_LT(indices.size(), points.size() * 2 / 5);
        const std::vector<Vec3d> candidates = Select(points, indices);

        // The whole set without the shortcut.
        Impl::QHullMesh whole(points);
        ASSERT_TRUE(whole.Build());
        std::vector<int> nodes = whole.Triangles();
        std::sort(nodes.begin(), nodes.end());
        nodes.erase(std::unique(nodes.begin(), nodes.end()), nodes.end());
        if (std::string(name).find("lattice") == std::string::npos) { // nodes are a matter of ties
            EXPECT_TRUE(std::includes(indices.begin(), indices.end(), nodes.begin(), nodes.end()));
        }
        Impl::QHullMesh reduced(candidates);
        ASSERT_TRUE(reduced.Build());
        // Both are the true hull up to a layer as thick as the tolerance.
        const auto [volume, area] = Support::MeasureHull(whole.points, whole.Triangles());
        const double scale = std::pow(reduced.Scale() / whole.Scale(), 3);
        EXPECT_NEAR(Support::MeasureHull(reduced.points, reduced.Triangles()).volume / scale,
                    volume, whole.tolerance * area + 1e-12 * volume);
    }
}

// What is thrown away lies deeper than n steps of the filter can reach.
TEST(HullCandidates, ThrownAwayPointsAreDeepInside)
{
    for (const auto& [name, points] : Sets()) {
        SCOPED_TRACE(name);
        const double tolerance = 1e-8 * Support::Diagonal(points) / 40;
        const std::vector<int> indices = Impl::HullCandidates(points, tolerance);
        std::vector<bool> isKept(points.size());
        for (const int i : indices) {
            isKept[static_cast<std::size_t>(i)] = true;
        }
        Impl::QHullMesh hull(Select(points, indices));
        ASSERT_TRUE(hull.Build());
        const double depth =
            std::sqrt(3.0) * tolerance * static_cast<double>(points.size()) * hull.Scale();
        for (std::size_t i = 0; i < points.size(); i += Support::FullOr(7U, 56U)) {
            const Vec3d p = (points[i] - hull.Center()) * hull.Scale();
            double height = -std::numeric_limits<double>::infinity();
            for (const Impl::QHullFace& face : hull.faces) {
                if (face.isLive && face.error < 1e-3 * depth) {
                    height = std::max(height, face.normal * p - face.offset);
                }
            }
            ASSERT_TRUE(isKept[i] || height < -depth) << i;
        }
    }
}

TEST(HullCandidates, ToleranceAsWideAsTheSetKeepsAll)
{
    const std::vector<Vec3d> points = Sets()[0].points;
    EXPECT_EQ(Impl::HullCandidates(points, 1e-3).size(), points.size());
}

TEST(HullCandidates, NothingFiniteNothingKept)
{
    constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
    constexpr double kInf = std::numeric_limits<double>::infinity();
    std::vector<Vec3d> points = Sets()[0].points;
    const std::size_t before = Impl::HullCandidates(points, 0).size();
    for (int i = 0; i < 31; ++i) { // no whole stride more: the sample stays the same
        points.push_back(i % 2 == 0 ? Vec3d(kNan, 0, 0) : Vec3d(0, -kInf, kInf));
    }
    EXPECT_EQ(Impl::HullCandidates(points, 0).size(), before);
    EXPECT_TRUE(Impl::HullCandidates(std::vector<Vec3d>(9000, Vec3d(0, kNan, 0)), 0).empty());
}
