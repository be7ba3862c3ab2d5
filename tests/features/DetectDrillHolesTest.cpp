// Round holes between two circles.

#include <Sorvane/MeshFeatures_E.h>

#include "tests/support/MeshGenerators.h"
#include "tests/support/Rounds.h"
#include "tests/support/TestSupport.h"
#include "tests/support/ThreadLimit.h"
#include "tests/support/TurnedBodies.h"

#include <Velk/Math/Transform_E.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <map>
#include <set>
#include <vector>

namespace {

using namespace Velk::Math;
using Sorvane::MeshUtils::DetectDrillHoles;
using Sorvane::MeshUtils::MeshHole;
using Support::IndexedMesh;

std::vector<MeshHole> HolesOf(const IndexedMesh& mesh)
{
    return DetectDrillHoles(mesh, 0.4, 1e-6, 0.8, 0.02);
}

TEST(DetectDrillHoles, HoleThroughARingAndNotItsOutside)
{
    const auto holes = HolesOf(Support::DrilledRing(3, 30, 24));
    ASSERT_EQ(holes.size(), 1U);
    EXPECT_NEAR(holes[0].top.radius, 3, 1e-9);
    EXPECT_NEAR(holes[0].bottom.radius, 3, 1e-9);
    EXPECT_NEAR(Length(holes[0].top.center - Vec3d(0, 0, 30)), 0, 1e-9);
    EXPECT_NEAR(Length(holes[0].bottom.center), 0, 1e-9);
    EXPECT_NEAR(holes[0].depth, 30, 1e-9);
}

TEST(DetectDrillHoles, APegWithTheSameCirclesIsNoHole)
{
    EXPECT_TRUE(HolesOf(Support::TurnedBody({{0, 0}, {3, 0}, {3, 30}, {0, 30}}, 24)).empty());
}

TEST(DetectDrillHoles, TheSurfaceTurnedInsideOutMakesAHoleOfAPeg)
{
    IndexedMesh peg = Support::TurnedBody({{0, 0}, {3, 0}, {3, 30}, {0, 30}}, 24);
    for (std::size_t i = 0; i < peg.indices.size(); i += 3) {
        std::swap(peg.indices[i], peg.indices[i + 1]);
    }
    EXPECT_EQ(HolesOf(peg).size(), 1U);
}

TEST(DetectDrillHoles, BlindHoleWithAFlatFloor)
{
    const auto holes =
        HolesOf(Support::TurnedBody({{0, 0}, {10, 0}, {10, 30}, {2, 30}, {2, 12}, {0, 12}}, 24));
    ASSERT_EQ(holes.size(), 1U);
    EXPECT_NEAR(holes[0].depth, 18, 1e-9);
    EXPECT_NEAR(holes[0].top.center.z(), 30, 1e-9);
}

TEST(DetectDrillHoles, ConicalHole)
{
    const auto holes = HolesOf(Support::TurnedBody({{2, 0}, {10, 0}, {10, 6}, {5, 6}}, 24));
    ASSERT_EQ(holes.size(), 1U);
    EXPECT_NEAR(holes[0].top.radius, 5, 1e-9);
    EXPECT_NEAR(holes[0].bottom.radius, 2, 1e-9);
}

TEST(DetectDrillHoles, TopIsTheCircleOfLargerZWhicheverComesFirst)
{
    // Arcs come by x first: of a leaning hole the lower number is the one with the smaller x.
    for (const double lean : {-0.3, 0.3}) {
        const Vec3d axis(std::sin(lean), 0, std::cos(lean));
        const Vec3d across(std::cos(lean), 0, -std::sin(lean));
        const IndexedMesh mesh =
            Support::Mapped(Support::DrilledRing(3, 30, 24), [&](const Vec3d& p) {
                return p.x() * across + p.y() * Vec3d(0, 1, 0) + p.z() * axis;
            });
        const auto holes = HolesOf(mesh);
        ASSERT_EQ(holes.size(), 1U);
        EXPECT_NEAR(Length(holes[0].top.center - 30 * axis), 0, 1e-9);
        EXPECT_NEAR(Length(holes[0].bottom.center), 0, 1e-9);
    }
}

TEST(DetectDrillHoles, AWallThatSlantsMoreThanTheAxisToleranceIsNoHole)
{
    // The upper circle moved sideways: both stay level, and the axis between them leans.
    for (const auto& [lean, isHole] : {std::pair{0.019, true}, {0.021, false}, {0.2, false}}) {
        const IndexedMesh mesh =
            Support::Mapped(Support::DrilledRing(3, 30, 24), [lean = lean](const Vec3d& p) {
                return Vec3d(p.x() + std::tan(lean) * p.z(), p.y(), p.z());
            });
        EXPECT_EQ(HolesOf(mesh).size(), isHole ? 1U : 0U) << lean;
    }
}

TEST(DetectDrillHoles, EachOfTheTwoCirclesMustBeSquareToTheAxis)
{
    // One rim after the other cut at a slant of 0.1; its circle is an ellipse within the tolerance.
    for (const bool isUpper : {false, true}) {
        const IndexedMesh mesh =
            Support::Mapped(Support::DrilledRing(3, 30, 24), [&](const Vec3d& p) {
                const double part = isUpper ? p.z() / 30 : 1 - p.z() / 30;
                return Vec3d(p.x(), p.y(), p.z() + part * 0.1 * p.x());
            });
        EXPECT_EQ(DetectDrillHoles(mesh, 0.4, 0.1, 0.8, 0.02).size(), 0U) << isUpper;
        EXPECT_EQ(DetectDrillHoles(mesh, 0.4, 0.1, 0.8, 0.2).size(), 1U) << isUpper;
    }
}

TEST(DetectDrillHoles, WithoutAWallThereIsNoHole)
{
    // Two thin plates with a hole each, in line: each hole by itself, and nothing between them.
    IndexedMesh plates = Support::DrilledRing(3, 2, 24);
    plates = Support::Together(
        plates, Support::Mapped(plates, [](const Vec3d& p) { return p + Vec3d(0, 0, 40); }));
    auto holes = HolesOf(plates);
    ASSERT_EQ(holes.size(), 2U);
    EXPECT_NEAR(holes[0].depth, 2, 1e-9);
    EXPECT_NEAR(holes[1].depth, 2, 1e-9);
}

TEST(DetectDrillHoles, BestIsASquaredDistanceComparedWithDistances)
{
    // A counterbore of depth d over a hole down to 2.2 d. From the floor the first circle above is
    // the shoulder, at 1.2 d; the mouth, at 2.2 d, is looked at as well while 2.2 d <= (1.2 d)^2,
    // which is from d = 1.53 on. All points of the cone from floor to mouth then find a wall that
    // faces the axis.
    const auto deepest = [](double d) {
        double depth = 0;
        for (const MeshHole& hole : HolesOf(Support::TurnedBody(
                 {{2, 0}, {10, 0}, {10, 2.2 * d}, {2.5, 2.2 * d}, {2.5, 1.2 * d}, {2, 1.2 * d}},
                 24))) {
            depth = std::max(depth, hole.depth / d);
        }
        return depth;
    };
    EXPECT_NEAR(deepest(1.0), 1.2, 1e-9);
    EXPECT_NEAR(deepest(5.0), 2.2, 1e-9);
}

TEST(DetectDrillHoles, AHoleIsAtLeastATenThousandthOfItsRadiusDeep)
{
    for (const auto& [part, isHole] :
         {std::pair{0.00005, false}, {0.00009, false}, {0.00011, true}, {0.0005, true}}) {
        const auto holes = HolesOf(Support::DrilledRing(3, 3 * part, 24));
        const auto count = std::count_if(holes.begin(), holes.end(), [](const MeshHole& hole) {
            return std::fabs(hole.top.radius - 3) < 1e-6 &&
                   std::fabs(hole.bottom.radius - 3) < 1e-6;
        });
        EXPECT_EQ(count, isHole ? 1 : 0) << part;
    }
}

TEST(DetectDrillHoles, DefectiveTriplesCostNoHole)
{
    const IndexedMesh ring = Support::DrilledRing(3, 30, 16);
    const auto expected = HolesOf(ring);
    ASSERT_EQ(expected.size(), 1U);
    IndexedMesh mesh = ring;
    // Repeated corners at the rims and up the wall: such a triangle has no normal, and would be the
    // nearest one of a point on its edge.
    for (int k = 0; k < 16; ++k) {
        const std::vector<int> triples{k, (k + 1) % 16, k, k, 48 + k, 48 + k};
        mesh.indices.insert(mesh.indices.begin(), triples.begin(), triples.end());
    }
    EXPECT_EQ(HolesOf(mesh), expected);
}

TEST(DetectDrillHoles, TrianglesWithoutAreaCostNoHole)
{
    // Slivers of three different points, on the wall, drawn twice so that their edges stay inner
    // ones.
    IndexedMesh mesh = Support::DrilledRing(3, 30, 16);
    const auto expected = HolesOf(mesh);
    ASSERT_EQ(expected.size(), 1U);
    std::vector<int> slivers;
    for (int k = 0; k < 16; ++k) {
        const Vec3d low = mesh.points[static_cast<std::size_t>(k)];
        const Vec3d high = mesh.points[static_cast<std::size_t>(48 + k)];
        const Vec3d next = mesh.points[static_cast<std::size_t>((k + 1) % 16)];
        const Vec3d middle = (high + next) / 2.0; // on the diagonal of the wall's quad
        const int first = static_cast<int>(mesh.points.size());
        mesh.points.insert(mesh.points.end(), {low + (high - low) / 4.0, low + (high - low) / 2.0,
                                               low + 0.75 * (high - low), middle});
        slivers.insert(slivers.end(), {first, first + 1, first + 2});
    }
    mesh.indices.insert(mesh.indices.begin(), slivers.begin(), slivers.end());
    const auto holes = HolesOf(mesh);
    ASSERT_EQ(holes.size(), 1U);
    EXPECT_EQ(holes[0], expected[0]);
}

TEST(DetectDrillHoles, ABodyThatTouchesTheRimInAPointCostsNoHole)
{
    const IndexedMesh ring = Support::DrilledRing(3, 30, 16);
    const IndexedMesh peg =
        Support::Mapped(Support::TurnedBody({{0, 0}, {1, 0}, {1, 5}, {0, 5}}, 16),
                        [](const Vec3d& p) { return p + Vec3d(2, 0, 30); });
    IndexedMesh both = Support::Together(peg, ring);
    Sorvane::Mesh::FilterForUniqueness(both, 1e-9);
    const auto holes = HolesOf(both);
    ASSERT_EQ(holes.size(), 1U);
    EXPECT_NEAR(holes[0].depth, 30, 1e-9);
}

TEST(DetectDrillHoles, ManyHolesAtAllScales)
{
    for (const double scale : {1e-3, 1.0, 1e4}) {
        IndexedMesh bodies;
        for (int i = 0; i < 12; ++i) {
            bodies = Support::Together(
                bodies,
                Support::Mapped(Support::DrilledRing(1 + 0.5 * i, 12, 16), [&](const Vec3d& p) {
                    return scale * (p + Vec3d(25.0 * (i % 4), 25.0 * (i / 4), 3.0 * i));
                }));
        }
        const auto holes = DetectDrillHoles(bodies, 0.4, 1e-6 * scale, 0.8, 0.02);
        ASSERT_EQ(holes.size(), 12U) << scale;
        for (const MeshHole& hole : holes) {
            EXPECT_NEAR(hole.depth, 12 * scale, 1e-6 * scale);
            EXPECT_LT(hole.top.radius, 7 * scale);
        }
    }
}

// --- against the rule itself, word for word ------------------------------------------------------

Vec3d NearestOnSegment(const Vec3d& a, const Vec3d& b, const Vec3d& p)
{
    const Vec3d along = b - a;
    const double squared = along * along;
    const double t = squared > 0 ? std::clamp((p - a) * along / squared, 0.0, 1.0) : 0.0;
    return a + t * along;
}

Vec3d NearestOnTriangle(const std::array<Vec3d, 3>& t, const Vec3d& p)
{
    const Vec3d normal = (t[1] - t[0]) ^ (t[2] - t[0]);
    const Vec3d foot = p - (((p - t[0]) * normal) / (normal * normal)) * normal;
    bool isInside = true;
    Vec3d nearest;
    double distance = std::numeric_limits<double>::infinity();
    for (std::size_t k = 0; k < 3; ++k) {
        const Vec3d& a = t[k];
        const Vec3d& b = t[(k + 1) % 3];
        isInside = isInside && ((b - a) ^ (foot - a)) * normal >= 0;
        const Vec3d onEdge = NearestOnSegment(a, b, p);
        if (Length(onEdge - p) < distance) {
            distance = Length(onEdge - p);
            nearest = onEdge;
        }
    }
    return isInside ? foot : nearest;
}

/// Pairs by trying all circles on all others and every triangle for every point.
class LiteralDrillHoles {
public:
    LiteralDrillHoles(const IndexedMesh& mesh, const std::vector<Sorvane::MeshUtils::MeshArc>& arcs,
                      double axisTolerance)
        : arcs_(arcs), axisTolerance_(axisTolerance)
    {
        const auto point = [&](std::size_t i) {
            return mesh.points[static_cast<std::size_t>(mesh.indices[i])];
        };
        for (std::size_t i = 0; i < mesh.indices.size(); i += 3) {
            const std::array<Vec3d, 3> corners{point(i), point(i + 1), point(i + 2)};
            const Vec3d middle = (corners[0] + corners[1] + corners[2]) / 3.0;
            double radius = 0;
            for (const Vec3d& corner : corners) {
                radius = std::max(radius, Length(corner - middle));
            }
            faces_.push_back({corners, middle, 1.001 * radius});
        }
    }

    /// The partners that circle i may have: several where a wall depends on which of two triangles
    /// at one distance is the nearest.
    std::set<int> PartnersOf(int i) const
    {
        std::set<int> partners;
        Try(i, i + 1, -1, std::numeric_limits<double>::max(), partners);
        return partners;
    }

private:
    enum class Wall { No, Yes, Unclear };

    const Sorvane::MeshUtils::MeshArc& Arc(int i) const
    {
        return arcs_[static_cast<std::size_t>(i)];
    }

    void Try(int i, int j, int partner, double best, std::set<int>& partners) const
    {
        for (; j < static_cast<int>(arcs_.size()); ++j) {
            const double distance = Length(Arc(j).center - Arc(i).center);
            if (!Meets(i, j) || distance < 0.0001 * Arc(i).radius || distance > best ||
                !IsAlong(i, j)) {
                continue;
            }
            const Wall wall = WallBetween(i, j);
            if (wall == Wall::Unclear) {
                Try(i, j + 1, partner, best, partners);
            }
            if (wall != Wall::No) {
                partner = j;
                best = distance * distance;
            }
        }
        partners.insert(partner);
    }

    /// Does the axis of i meet the square round j? Which way round the square lies is not said, so
    /// that between its inner circle and its outer one there is no telling.
    bool Meets(int i, int j) const
    {
        const double slope = Arc(i).normal * Arc(j).normal;
        const Vec3d between = Arc(j).center - Arc(i).center;
        const Vec3d hit = (between * Arc(j).normal / slope) * Arc(i).normal - between;
        const double off = Length(hit) / Arc(j).radius;
        EXPECT_FALSE(off > 0.99 && off < 1.42);
        return off <= 1;
    }

    bool IsAlong(int i, int j) const
    {
        const Vec3d between = Normalized(Arc(j).center - Arc(i).center, 0.0);
        const auto slant = [&](const Vec3d& normal) {
            return std::asin(std::min(1.0, Length(between ^ normal)));
        };
        return slant(Arc(i).normal) <= axisTolerance_ && slant(Arc(j).normal) <= axisTolerance_;
    }

    Wall WallBetween(int i, int j) const
    {
        const auto known = walls_.find({i, j});
        return known != walls_.end() ? known->second : walls_[{i, j}] = HasWall(i, j);
    }

    Wall HasWall(int i, int j) const
    {
        // Any two directions square to each other will do for the eight points: the sides of the
        // bodies are many.
        const Vec3d between = Arc(j).center - Arc(i).center;
        const TransformBase<3> frame =
            Transform::BuildTransformAxisOrigin(Arc(i).normal, Arc(i).center);
        Wall wall = Wall::Yes;
        for (int k = 1; k <= 4; ++k) {
            const double radius = Arc(i).radius + k * (Arc(j).radius - Arc(i).radius) / 5;
            for (int eighth = 0; eighth < 8; ++eighth) {
                const double angle = eighth * kPi<double> / 4;
                const Vec3d spoke =
                    frame * Vec3d(radius * std::cos(angle), radius * std::sin(angle), 0) -
                    Arc(i).center;
                const Wall here = Faces(Arc(i).center + (k / 5.0) * between + spoke,
                                        Length(between) / 5, Arc(i).center);
                if (here == Wall::No) {
                    return Wall::No;
                }
                wall = here == Wall::Unclear ? here : wall;
            }
        }
        return wall;
    }

    Wall Faces(const Vec3d& p, double reach, const Vec3d& watcher) const
    {
        constexpr double kSame = 1e-9;
        // Triangles in a ball that is farther away than another triangle are no candidates.
        double nearest = std::numeric_limits<double>::infinity();
        for (const Face& face : faces_) {
            if (Length(face.middle - p) - face.radius <= nearest) {
                nearest = std::min(nearest, Length(NearestOnTriangle(face.corners, p) - p));
            }
        }
        if (nearest > reach + kSame) {
            return Wall::No;
        }
        bool isFacing = false;
        bool isTurned = nearest > reach - kSame;
        for (const Face& face : faces_) {
            if (Length(face.middle - p) - face.radius > nearest + kSame) {
                continue;
            }
            const Vec3d m = NearestOnTriangle(face.corners, p);
            if (Length(m - p) <= nearest + kSame) {
                const auto& [a, b, c] = face.corners;
                const double side = (watcher - m) * Normalized((b - a) ^ (c - a), 0.0);
                isFacing = isFacing || side > -kSame;
                isTurned = isTurned || side < kSame;
            }
        }
        return isFacing && isTurned ? Wall::Unclear : isFacing ? Wall::Yes : Wall::No;
    }

    std::vector<Sorvane::MeshUtils::MeshArc> arcs_;
    double axisTolerance_;
    struct Face {
        std::array<Vec3d, 3> corners;
        Vec3d middle;
        double radius;
    };
    std::vector<Face> faces_;
    mutable std::map<std::pair<int, int>, Wall> walls_; // that are known
};

TEST(DetectDrillHoles, PairsAreThoseOfTheLiteralRule)
{
    Support::Random random(79);
    int holeCount = 0;
    int clearCount = 0;
    int circleCount = 0;
    for (int round = 0; round < Support::FullOr(6, 4); ++round) {
        // A row of rings on one axis, some with two diameters, near and far apart, in all sizes: of
        // distances below 1 the squares are smaller, above 1 greater. The last rounds lean.
        IndexedMesh bodies;
        double z = 0;
        for (int ring = 0; ring < 4; ++ring) {
            const double height = random.Between(2, 20);
            const double radius = random.Between(2, 6);
            const double step = random.Between(1, height - 0.5);
            const int sides = 18 + random.Below(5);
            bodies = Support::Together(
                bodies,
                Support::Mapped(random.Below(2) == 0 ? Support::DrilledRing(radius, height, sides)
                                                     : Support::TurnedBody({{radius, 0},
                                                                            {10, 0},
                                                                            {10, height},
                                                                            {radius + 2, height},
                                                                            {radius + 2, step},
                                                                            {radius, step}},
                                                                           sides),
                                [z](const Vec3d& p) { return p + Vec3d(0, 0, z); }));
            z += height + (random.Below(3) == 0 ? random.Between(1, 20) : random.Between(0.2, 1));
        }
        const double scale =
            std::vector<double>{0.02, 0.1, 0.3, 1}[static_cast<std::size_t>(random.Below(4))];
        const double lean = round < 3 ? 0.0 : random.Between(-3, 3);
        const Vec3d axis(std::sin(lean), 0, std::cos(lean));
        const Vec3d across(std::cos(lean), 0, -std::sin(lean));
        const IndexedMesh mesh = Support::Mapped(bodies, [&](const Vec3d& p) {
            return scale * (p.x() * across + p.y() * Vec3d(0, 1, 0) + p.z() * axis);
        });
        const auto arcs = Sorvane::MeshUtils::DetectArcs(mesh, 0.4, 1e-6 * scale, 0.8);
        const LiteralDrillHoles literal(mesh, arcs, 0.02);

        std::vector<int> partners(arcs.size(), -1);
        const auto numberOf = [&](const Sorvane::MeshUtils::MeshArc& arc) {
            return static_cast<int>(std::find(arcs.begin(), arcs.end(), arc) - arcs.begin());
        };
        for (const MeshHole& hole : DetectDrillHoles(mesh, 0.4, 1e-6 * scale, 0.8, 0.02)) {
            const auto [i, j] = std::minmax({numberOf(hole.top), numberOf(hole.bottom)});
            partners[static_cast<std::size_t>(i)] = j;
            ++holeCount;
        }
        for (int i = 0; i < static_cast<int>(arcs.size()); ++i) {
            const std::set<int> expected = literal.PartnersOf(i);
            EXPECT_EQ(expected.count(partners[static_cast<std::size_t>(i)]), 1U)
                << round << ' ' << i;
            clearCount += expected.size() == 1 ? 1 : 0;
            ++circleCount;
        }
    }
    EXPECT_GT(holeCount, Support::FullOr(25, 16));
    EXPECT_GT(clearCount, circleCount * 3 / 4); // else this says little
}

TEST(DetectDrillHoles, NothingForNothing)
{
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const IndexedMesh ring = Support::DrilledRing(3, 30, 16);
    EXPECT_TRUE(HolesOf({}).empty());
    EXPECT_TRUE(HolesOf(Support::Cube()).empty()); // no arcs at all
    EXPECT_TRUE(DetectDrillHoles(ring, 0.4, 1e-6, 0.8, nan).empty());
    EXPECT_TRUE(DetectDrillHoles(ring, 0.4, nan, 0.8, 0.02).empty());
    EXPECT_TRUE(DetectDrillHoles(ring, 0.4, 1e-6, 0.8, -1).empty());
}

TEST(DetectDrillHoles, NonFiniteAndRandomInputEnds)
{
    IndexedMesh ring = Support::DrilledRing(3, 30, 16);
    ring.points[0][2] = std::numeric_limits<double>::quiet_NaN();
    EXPECT_TRUE(HolesOf(ring).empty()); // a rim of the only hole
    Support::Random random(77);
    for (int round = 0; round < 40; ++round) {
        const IndexedMesh mesh = Support::GarbageMesh<3, double>(random, 14, 50);
        for (const MeshHole& hole : DetectDrillHoles(mesh, 0.2, 10, 0, 1)) {
            EXPECT_TRUE(std::isfinite(hole.depth));
        }
    }
}

TEST(DetectDrillHoles, NumberOfThreadsDoesNotMatter)
{
    IndexedMesh bodies;
    for (int i = 0; i < 30; ++i) {
        bodies = Support::Together(
            bodies, Support::Mapped(Support::DrilledRing(2, 5 + i, 16),
                                    [i](const Vec3d& p) { return p + Vec3d(30.0 * i, 0, 0); }));
    }
    std::vector<std::vector<MeshHole>> results;
    for (const int threads : {1, 2, 4}) {
        Support::WithThreads(threads, [&] { results.push_back(HolesOf(bodies)); });
    }
    EXPECT_EQ(results[0].size(), 30U);
    EXPECT_EQ(results[0], results[1]);
    EXPECT_EQ(results[0], results[2]);
}

} // namespace
