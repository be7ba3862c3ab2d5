// Circular arcs among sharp edges and boundaries.

#include <Sorvane/MeshFeatures_E.h>

#include "tests/support/DrilledSolid.h"
#include "tests/support/MeshGenerators.h"
#include "tests/support/TestSupport.h"
#include "tests/support/ThreadLimit.h"
#include "tests/support/TurnedBodies.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <map>
#include <set>
#include <utility>
#include <vector>

namespace {

using namespace Velk::Math;
using Sorvane::MeshUtils::DetectArcs;
using Sorvane::MeshUtils::DetectSharpEdges;
using Sorvane::MeshUtils::MeshArc;
using Support::IndexedMesh;

constexpr double kCrease = 0.4;
constexpr double kFit = 1e-6;

/// A flat disk of radius 1 with a skirt of length 0.05 that hangs from its rim at the angle
/// slope(theta) below the disk's plane: the rim is sharp where that is at least `kCrease`.
/// `fromCorner` is the corner at which the list of triangles begins.
struct SkirtedDisk {
    IndexedMesh mesh;
    int sharpRimEdges = 0;
};
SkirtedDisk MakeSkirtedDisk(const std::vector<int>& order,
                            const std::function<double(double)>& slope)
{
    SkirtedDisk disk;
    const int corners = static_cast<int>(order.size());
    const auto angleOf = [&](int k) { return kTwoPi<double> * k / corners; };
    for (int k = 0; k < corners; ++k) {
        disk.mesh.points.push_back({std::cos(angleOf(k)), std::sin(angleOf(k)), 0});
    }
    for (int k = 0; k < corners; ++k) {
        const double s = slope(angleOf(k));
        const double r = 1 + 0.05 * std::cos(s);
        disk.mesh.points.push_back(
            {r * std::cos(angleOf(k)), r * std::sin(angleOf(k)), -0.05 * std::sin(s)});
    }
    const int center = 2 * corners;
    disk.mesh.points.push_back({0, 0, 0});
    for (const int k : order) {
        disk.mesh.indices.insert(disk.mesh.indices.end(), {center, k, (k + 1) % corners});
    }
    for (int k = 0; k < corners; ++k) {
        const int next = (k + 1) % corners;
        disk.mesh.indices.insert(disk.mesh.indices.end(), {k, corners + k, next});
        disk.mesh.indices.insert(disk.mesh.indices.end(), {corners + k, corners + next, next});
        const Vec3d& a = disk.mesh.points[static_cast<std::size_t>(k)];
        const Vec3d& b = disk.mesh.points[static_cast<std::size_t>(corners + k)];
        const Vec3d& c = disk.mesh.points[static_cast<std::size_t>(next)];
        const Vec3d normal = (b - a) ^ (c - a);
        disk.sharpRimEdges += std::acos(normal.z() / Length(normal)) >= kCrease ? 1 : 0;
    }
    return disk;
}

/// The corners from `first` on, once round.
std::vector<int> OnceRound(int corners, int first)
{
    std::vector<int> order;
    for (int i = 0; i < corners; ++i) {
        order.push_back((first + i) % corners);
    }
    return order;
}

void ExpectCircle(const MeshArc& arc, const Vec3d& center, const Vec3d& axis, double radius)
{
    EXPECT_NEAR(Length(arc.center - center), 0, 1e-9);
    EXPECT_NEAR(std::fabs(arc.normal * axis), 1, 1e-9);
    EXPECT_NEAR(arc.radius, radius, 1e-9);
}

TEST(DetectArcs, RimsOfADrilledRingWithTheLengthOfTheirChains)
{
    const int sides = 24;
    const auto arcs = DetectArcs(Support::DrilledRing(3, 30, sides), 0.4, kFit, 0.8);
    ASSERT_EQ(arcs.size(), 4U);
    // By center, then by radius.
    ExpectCircle(arcs[0], {0, 0, 0}, {0, 0, 1}, 3);
    ExpectCircle(arcs[1], {0, 0, 0}, {0, 0, 1}, 10);
    ExpectCircle(arcs[2], {0, 0, 30}, {0, 0, 1}, 3);
    ExpectCircle(arcs[3], {0, 0, 30}, {0, 0, 1}, 10);
    for (const MeshArc& arc : arcs) {
        EXPECT_NEAR(arc.length, kTwoPi<double> * arc.radius * (sides - 1) / sides, 1e-9);
    }
}

TEST(DetectArcs, TiltedAndFarFromTheOrigin)
{
    const Vec3d axis = Normalized(Vec3d(1, 2, 3), 0.0);
    const Vec3d across = Normalized(Vec3d(2, -1, 0), 0.0);
    const Vec3d third = axis ^ across;
    const Vec3d far(1e6, -2e6, 5e5);
    const IndexedMesh mesh = Support::Mapped(Support::DrilledRing(3, 30, 16), [&](const Vec3d& p) {
        return far + p.x() * across + p.y() * third + p.z() * axis;
    });
    auto arcs = DetectArcs(mesh, 0.4, 1e-6, 0.8);
    ASSERT_EQ(arcs.size(), 4U);
    for (const MeshArc& arc : arcs) {
        const double height = (arc.center - far) * axis;
        EXPECT_NEAR(Length(arc.center - far - height * axis), 0, 1e-7);
        EXPECT_NEAR(std::min(std::fabs(height), std::fabs(height - 30)), 0, 1e-7);
        EXPECT_NEAR(std::min(std::fabs(arc.radius - 3), std::fabs(arc.radius - 10)), 0, 1e-7);
        EXPECT_NEAR(std::fabs(arc.normal * axis), 1, 1e-9);
    }
}

TEST(DetectArcs, AChainOfThreePointsIsNoArc)
{
    // Flat regular polygons, each with its boundary for a chain; the last is there to make the box
    // large.
    IndexedMesh polygons;
    for (const int sides : {3, 4, 5, 40}) {
        const double radius = sides == 40 ? 9 : 1;
        IndexedMesh polygon;
        for (int k = 0; k < sides; ++k) {
            const double angle = kTwoPi<double> * k / sides;
            polygon.points.push_back(
                {20.0 * sides + radius * std::cos(angle), radius * std::sin(angle), 0});
            if (k > 1) {
                polygon.indices.insert(polygon.indices.end(), {0, k - 1, k});
            }
        }
        polygons = Support::Together(polygons, polygon);
    }
    const auto arcs = DetectArcs(polygons, 0.4, kFit, 0.7);
    ASSERT_EQ(arcs.size(), 3U);
    for (std::size_t i = 0; i < 3; ++i) {
        const int sides = i == 2 ? 40 : 4 + static_cast<int>(i);
        EXPECT_NEAR(arcs[i].center.x(), 20.0 * sides, 1e-9);
        EXPECT_NEAR(arcs[i].length, kTwoPi<double> * arcs[i].radius * (sides - 1) / sides, 1e-9);
    }
}

TEST(DetectArcs, ArcsOfLessThanTheFractionAreDropped)
{
    // Of n corners the chain has (n - 1) / n of the circle.
    const IndexedMesh ring = Support::DrilledRing(3, 30, 8);
    EXPECT_EQ(DetectArcs(ring, 1, kFit, 0.87).size(), 4U);
    EXPECT_EQ(DetectArcs(ring, 1, kFit, 0.88).size(), 0U);
    EXPECT_EQ(DetectArcs(ring, 1, kFit, 1).size(), 0U);
}

TEST(DetectArcs, WallsOfTooFewSidesAreSharpThemselves)
{
    // 45 degrees between the sides of an octagon: the chains leave the rims along the walls.
    EXPECT_EQ(DetectArcs(Support::DrilledRing(3, 30, 8), 0.7, kFit, 0.8).size(), 0U);
    EXPECT_EQ(DetectArcs(Support::DrilledRing(3, 30, 8), 0.8, kFit, 0.8).size(), 4U);
}

TEST(DetectArcs, ACircleInTwoChainsBecomesOneArc)
{
    const SkirtedDisk disk = MakeSkirtedDisk(OnceRound(64, 16), [](double angle) {
        return kPi<double> / 2 * std::fabs(std::cos(angle));
    });
    EXPECT_GT(disk.sharpRimEdges, 48);
    EXPECT_LT(disk.sharpRimEdges, 60);
    const auto arcs = DetectArcs(disk.mesh, kCrease, kFit, 0.75);
    ASSERT_EQ(arcs.size(), 1U);
    ExpectCircle(arcs[0], {0, 0, 0}, {0, 0, 1}, 1);
    EXPECT_NEAR(arcs[0].length, kTwoPi<double> * disk.sharpRimEdges / 64, 1e-9);
    // Neither half alone is so long.
    EXPECT_EQ(DetectArcs(disk.mesh, kCrease, kFit, 0.9).size(), 0U);
}

TEST(DetectArcs, ACircleInThreeChainsBecomesOneArc)
{
    const SkirtedDisk disk = MakeSkirtedDisk(OnceRound(96, 16), [](double angle) {
        return kPi<double> / 2 * std::fabs(std::cos(1.5 * angle));
    });
    const auto arcs = DetectArcs(disk.mesh, kCrease, kFit, 0.75);
    ASSERT_EQ(arcs.size(), 1U);
    EXPECT_NEAR(arcs[0].length, kTwoPi<double> * disk.sharpRimEdges / 96, 1e-9);
    // What was added up stays behind with length 0.
    const auto all = DetectArcs(disk.mesh, kCrease, kFit, 0);
    ASSERT_EQ(all.size(), 3U);
    EXPECT_EQ(all[0].length, 0);
    EXPECT_EQ(all[1].length, 0);
    EXPECT_EQ(all[2].length, arcs[0].length);
}

TEST(DetectArcs, WholeCirclesInOnePlaceStayTwo)
{
    // Two thin disks, one on the other: together they are longer than the whole.
    IndexedMesh disks;
    for (const double z : {0.0, 0.02}) {
        IndexedMesh disk;
        for (int k = 0; k < 12; ++k) {
            const double angle = kTwoPi<double> * k / 12;
            disk.points.push_back({std::cos(angle), std::sin(angle), z});
            if (k > 1) {
                disk.indices.insert(disk.indices.end(), {0, k - 1, k});
            }
        }
        disks = Support::Together(disks, disk);
    }
    disks.points.push_back({5, 0, 0}); // makes the box large, as points of no triangle do
    const auto arcs = DetectArcs(disks, kCrease, kFit, 0.5);
    ASSERT_EQ(arcs.size(), 2U);
    EXPECT_NEAR(arcs[0].length, kTwoPi<double> * 11 / 12, 1e-9);
    EXPECT_NEAR(arcs[1].length, kTwoPi<double> * 11 / 12, 1e-9);
}

TEST(DetectArcs, CirclesAreOneWithinATwentiethOfTheRadius)
{
    // Arcs of 150 degrees of two bodies, the second moved sideways.
    const double half = 75 * kRadiansPerDegree;
    const SkirtedDisk disk = MakeSkirtedDisk(OnceRound(180, 90), [half](double angle) {
        return kCrease + 0.5 * (std::cos(angle) - std::cos(half));
    });
    for (const auto& [apart, isOne] : {std::pair{0.049, true}, {0.051, false}}) {
        const IndexedMesh both = Support::Together(
            disk.mesh, Support::Mapped(disk.mesh, [apart = apart](const Vec3d& p) {
                return p + Vec3d(0, apart, 0);
            }));
        EXPECT_EQ(DetectArcs(both, kCrease, kFit, 0.6).size(), isOne ? 1U : 0U) << apart;
    }
}

TEST(DetectArcs, LengthComesFromEndsAndMiddle)
{
    // Sharp over so many degrees, and what is reported: between 180 and 240 the middle is nearer to
    // the first point than the last is, the short way round.
    for (const auto& [sharp, reported] :
         {std::pair{150.0, 150.0}, {200.0, 160.0}, {270.0, 270.0}, {300.0, 300.0}}) {
        const double half = sharp / 2 * kRadiansPerDegree;
        const SkirtedDisk disk = MakeSkirtedDisk(OnceRound(180, 90), [half](double angle) {
            return kCrease + 0.5 * (std::cos(angle) - std::cos(half));
        });
        EXPECT_NEAR(disk.sharpRimEdges * 2.0, sharp, 4);
        const auto arcs = DetectArcs(disk.mesh, kCrease, kFit, 0.1);
        ASSERT_EQ(arcs.size(), 1U) << sharp;
        EXPECT_NEAR(arcs[0].length / kRadiansPerDegree, reported, 6) << sharp;
    }
}

TEST(DetectArcs, AChainBegunInItsMiddleLosesItsOtherHalf)
{
    // Sharp over 120 degrees about corner 0. With the corners ascending from there and then
    // descending, the chain is walked one way from its middle; of the points on the other side each
    // one's first neighbor is walked when its turn comes, and none begins a chain.
    const auto slope = [](double angle) {
        return kCrease + 0.5 * (std::cos(angle) - std::cos(kPi<double> / 3));
    };
    std::vector<int> bothWays = OnceRound(180, 0);
    std::reverse(bothWays.begin() + 90, bothWays.end());
    const auto whole =
        DetectArcs(MakeSkirtedDisk(OnceRound(180, 90), slope).mesh, kCrease, kFit, 0);
    const auto half = DetectArcs(MakeSkirtedDisk(bothWays, slope).mesh, kCrease, kFit, 0);
    ASSERT_EQ(whole.size(), 1U);
    ASSERT_EQ(half.size(), 1U);
    EXPECT_NEAR(whole[0].length, 2 * half[0].length, 4 * kTwoPi<double> / 180);
}

TEST(DetectArcs, CirclesThatDoNotFitIntoTheBoxAreNoArcs)
{
    // The corners of a square lie on a circle of 0.707 of its edge; half the box is 0.5 of it.
    const IndexedMesh square = Support::Grid(1, 1);
    EXPECT_EQ(DetectArcs(square, 0.4, 1e-6, 0.1).size(), 0U);
    const IndexedMesh tower = Support::Mapped(
        Support::Cube(), [](const Vec3d& p) { return Vec3d(p.x(), p.y(), 2 * p.z()); });
    for (const MeshArc& arc : DetectArcs(tower, 0.4, 1e-6, 0)) {
        EXPECT_LE(arc.radius, 1); // half the height
    }
}

TEST(DetectArcs, ToleranceIsTheLargestDeviation)
{
    IndexedMesh ring = Support::DrilledRing(3, 30, 24);
    // One point of the hole's rim at z = 0 moves out by 0.1; the fitted circle follows by less.
    ring.points[0] = (3.1 / 3) * ring.points[0];
    EXPECT_EQ(DetectArcs(ring, 0.4, 0.11, 0.8).size(), 4U);
    EXPECT_EQ(DetectArcs(ring, 0.4, 0.05, 0.8).size(), 3U);
}

TEST(DetectArcs, StraightCreasesAreNoArcs)
{
    // Points on a line have no plane; an open strip folded along many of them.
    IndexedMesh fold = Support::GridMesh<double>(
        20, 2, [](int x, int y) { return Vec3d(x, y == 1 ? 0 : 1, y == 2 ? 5 : 0); });
    EXPECT_TRUE(DetectArcs(fold, 0.4, 1e9, 0).empty());
}

TEST(DetectArcs, DefectiveTriplesCostNothing)
{
    const IndexedMesh ring = Support::DrilledRing(3, 30, 16);
    const auto expected = DetectArcs(ring, 0.4, kFit, 0.8);
    ASSERT_EQ(expected.size(), 4U);
    IndexedMesh mesh = ring;
    // Before all others, at an edge of each rim.
    for (const int first : {0, 16, 32, 48}) {
        const std::vector<int> triple{first, first + 1, first};
        mesh.indices.insert(mesh.indices.begin(), triple.begin(), triple.end());
    }
    EXPECT_EQ(DetectArcs(mesh, 0.4, kFit, 0.8), expected);
}

TEST(DetectArcs, RimsOfBodiesThatTouchInAPointStayApart)
{
    // A peg stands on the rim of the hole with one point of its own rim.
    const int sides = 16;
    const IndexedMesh ring = Support::DrilledRing(3, 30, sides);
    const IndexedMesh peg =
        Support::Mapped(Support::TurnedBody({{0, 0}, {1, 0}, {1, 5}, {0, 5}}, sides),
                        [](const Vec3d& p) { return p + Vec3d(2, 0, 30); });
    for (const bool isRingFirst : {true, false}) {
        IndexedMesh both =
            isRingFirst ? Support::Together(ring, peg) : Support::Together(peg, ring);
        Sorvane::Mesh::FilterForUniqueness(both, 1e-9);
        ASSERT_EQ(both.points.size(), ring.points.size() + peg.points.size() - 1);
        const auto arcs = DetectArcs(both, 0.4, kFit, 0.8);
        EXPECT_EQ(arcs.size(), 6U);
    }
}

// --- against the text itself, with no kernel in common -------------------------------------------

/// Arcs straight from what the header says of them, on plain containers: the edges from angles of
/// normals of its own, the chains on a map, the circle by its normal equations.
class LiteralArcs {
public:
    explicit LiteralArcs(const IndexedMesh& mesh) : mesh_(mesh)
    {
        for (std::size_t i = 0; i + 2 < mesh.indices.size(); i += 3) {
            for (std::size_t k = 0; k < 3; ++k) {
                ends_.push_back({mesh.indices[i + k], mesh.indices[i + (k + 1) % 3]});
            }
        }
    }

    /// Does a point belong to more than one fan? Such points have rules that this does not follow.
    bool HasSeveralFans() const
    {
        std::map<int, std::map<int, int>>
            after; // of each point: of each triangle's second the third
        for (std::size_t i = 0; i < mesh_.indices.size(); ++i) {
            const std::size_t first = i / 3 * 3;
            if (!after[mesh_.indices[i]]
                     .insert(
                         {mesh_.indices[first + (i + 1) % 3], mesh_.indices[first + (i + 2) % 3]})
                     .second) {
                return true; // an edge run twice
            }
        }
        for (const auto& [point, next] : after) {
            std::set<int> starts;
            for (const auto& [second, third] : next) {
                starts.insert(second);
            }
            for (const auto& [second, third] : next) {
                starts.erase(third);
            }
            // From the only start, or from anywhere in a ring, every triangle must be reached.
            if (starts.size() > 1) {
                return true;
            }
            int at = starts.empty() ? next.begin()->first : *starts.begin();
            std::size_t reached = 0;
            while (reached <= next.size() && next.count(at) != 0) {
                at = next.at(at);
                ++reached;
                if (starts.empty() && at == next.begin()->first) {
                    break;
                }
            }
            if (reached != next.size()) {
                return true;
            }
        }
        return false;
    }

    /// Edges that are sharp by at least `angle`, and the boundary, twice.
    std::vector<std::pair<int, int>> Edges(double angle) const
    {
        std::map<std::pair<int, int>, std::size_t> placeOf;
        for (std::size_t i = 0; i < ends_.size(); ++i) {
            placeOf[ends_[i]] = i;
        }
        std::vector<std::pair<int, int>> edges;
        std::vector<std::pair<int, int>> boundary;
        for (std::size_t i = 0; i < ends_.size(); ++i) {
            const auto twin = placeOf.find({ends_[i].second, ends_[i].first});
            if (twin == placeOf.end()) {
                edges.push_back(ends_[i]);
                boundary.push_back(ends_[i]);
            } else {
                const Vec3d n = NormalAt(i / 3);
                const Vec3d m = NormalAt(twin->second / 3);
                // The half angle from chord and sum is exact at both ends of its range.
                const double turn = 2 * std::atan2(Length(n - m), Length(n + m));
                if (turn >= angle) {
                    edges.push_back(ends_[i]);
                }
            }
        }
        std::sort(boundary.begin(), boundary.end());
        edges.insert(edges.end(), boundary.begin(), boundary.end());
        return edges;
    }

    static std::vector<std::vector<int>> Chains(const std::vector<std::pair<int, int>>& edges)
    {
        std::vector<int> keys;
        std::map<int, std::vector<int>> neighbors;
        for (const auto& [a, b] : edges) {
            for (const auto& [from, to] : {std::pair{a, b}, {b, a}}) {
                if (neighbors.count(from) == 0) {
                    keys.push_back(from);
                }
                neighbors[from].push_back(to);
            }
        }
        std::set<int> visited;
        std::vector<std::vector<int>> chains;
        for (const int key : keys) {
            if (!visited.insert(key).second) {
                continue;
            }
            std::vector<int> chain{key};
            int current = neighbors[key].front();
            while (current >= 0 && visited.insert(current).second) {
                chain.push_back(current);
                int next = -1;
                for (const int neighbor : neighbors[current]) {
                    if (next < 0 && visited.count(neighbor) == 0) {
                        next = neighbor;
                    }
                }
                current = next;
            }
            if (chain.size() > 3) {
                chains.push_back(chain);
            }
        }
        return chains;
    }

    struct Circle {
        Vec3d center;
        Vec3d normal;
        double radius = 0;
        double length = 0;
        double error = 0;
        bool isSettled = false; // the iteration has come to the least one
    };

    /// The circle of the least variance of |p - c|^2 over its mean (G. Taubin, 1991) in the plane
    /// of the chain's summed areas.
    Circle Fitted(const std::vector<int>& chain) const
    {
        std::vector<Vec3d> points;
        Vec3d middle;
        for (const int i : chain) {
            points.push_back(mesh_.points[static_cast<std::size_t>(i)]);
            middle += points.back();
        }
        middle = middle / static_cast<double>(points.size());
        Vec3d area;
        for (std::size_t i = 0; i < points.size(); ++i) {
            area += (points[i] - middle) ^ (points[(i + 1) % points.size()] - middle);
        }
        Circle circle;
        circle.normal = Normalized(area, 0.0);
        const Vec3d& n = circle.normal;
        const Vec3d u =
            Normalized(n ^ (std::fabs(n.x()) < 0.6 ? Vec3d(1, 0, 0) : Vec3d(0, 1, 0)), 0.0);
        const Vec3d v = n ^ u;
        double xx = 0, xy = 0, yy = 0, xz = 0, yz = 0, z = 0;
        for (const Vec3d& p : points) {
            const double x = (p - middle) * u;
            const double y = (p - middle) * v;
            const double square = x * x + y * y;
            xx += x * x;
            xy += x * y;
            yy += y * y;
            xz += x * square;
            yz += y * square;
            z += square;
        }
        // Where the gradient is zero the center solves (4 M - g) c = 2 m with g the minimum itself.
        const double n4 = 4 / static_cast<double>(points.size());
        double cx = 0, cy = 0, g = 0;
        for (int step = 0; step < 300; ++step) {
            const double a = n4 * xx - g, b = n4 * xy, c = n4 * yy - g;
            const double det = a * c - b * b;
            const double beforeX = cx;
            const double beforeY = cy;
            cx = n4 / 2 * (xz * c - yz * b) / det;
            cy = n4 / 2 * (yz * a - xz * b) / det;
            circle.isSettled =
                a > 0 && det > 0 &&
                std::hypot(cx - beforeX, cy - beforeY) <= 1e-9 * (1 + std::hypot(cx, cy));
            double mean = 0;
            double squares = 0;
            for (const Vec3d& p : points) {
                const double x = (p - middle) * u - cx;
                const double y = (p - middle) * v - cy;
                mean += (x * x + y * y) / static_cast<double>(points.size());
                squares += (x * x + y * y) * (x * x + y * y) / static_cast<double>(points.size());
            }
            g = (squares - mean * mean) / mean;
        }
        circle.center = middle + cx * u + cy * v;
        circle.radius = std::sqrt(z / static_cast<double>(points.size()) + cx * cx + cy * cy);
        const auto flat = [&](const Vec3d& p) {
            const Vec3d offset = p - circle.center;
            return offset - (offset * n) * n;
        };
        for (const Vec3d& p : points) {
            circle.error = std::max(circle.error, std::fabs(Length(flat(p)) - circle.radius));
        }
        const auto angleTo = [&](const Vec3d& p) {
            const Vec3d a = Normalized(flat(points.front()), 0.0);
            const Vec3d b = Normalized(flat(p), 0.0);
            return 2 * std::atan2(Length(a - b), Length(a + b));
        };
        const double toLast = angleTo(points.back());
        const double toMiddle = angleTo(points[points.size() / 2]);
        circle.length = circle.radius * (toMiddle > toLast ? 2 * kPi<double> - toLast : toLast);
        return circle;
    }

    /// Half the largest extent of the box of all points.
    double LargestRadius() const
    {
        double largest = 0;
        for (int k = 0; k < 3; ++k) {
            double low = mesh_.points.front()[k];
            double high = low;
            for (const Vec3d& p : mesh_.points) {
                low = std::min(low, p[k]);
                high = std::max(high, p[k]);
            }
            largest = std::max(largest, (high - low) / 2);
        }
        return largest;
    }

private:
    Vec3d NormalAt(std::size_t triangle) const
    {
        const auto at = [&](std::size_t k) {
            return mesh_.points[static_cast<std::size_t>(mesh_.indices[3 * triangle + k])];
        };
        return Normalized((at(1) - at(0)) ^ (at(2) - at(0)), 0.0);
    }

    IndexedMesh mesh_;
    std::vector<std::pair<int, int>> ends_;
};

/// Compares the arcs before any is added up (which is where the order comes in) with the model's as
/// a set; arcs at the edge of the tolerance or of the largest radius may be in one and not in the
/// other. Returns how many were compared. Only where no two arcs share a circle.
std::size_t ExpectLiteralArcs(const IndexedMesh& mesh, double crease, double tolerance)
{
    const LiteralArcs literal(mesh);
    if (literal.HasSeveralFans()) {
        return 0;
    }
    std::vector<LiteralArcs::Circle> sure;
    std::vector<LiteralArcs::Circle> unsure;
    std::size_t unsettled = 0;
    const double largest = literal.LargestRadius();
    for (const auto& chain : LiteralArcs::Chains(literal.Edges(crease))) {
        const auto circle = literal.Fitted(chain);
        if (!circle.isSettled) { // mostly a straight chain
            ++unsettled;
            continue;
        }
        if (circle.error <= 0.99 * tolerance && circle.radius <= (1 - 1e-9) * largest) {
            sure.push_back(circle);
        } else if (circle.error <= 1.01 * tolerance && circle.radius <= (1 + 1e-9) * largest) {
            unsure.push_back(circle);
        }
    }
    // Lengths move from an arc to the next of its circle: what is compared are sums by circle.
    const auto isAt = [&](const auto& a, const auto& b) {
        return Length(a.center - b.center) <= 1e-6 * (1 + b.radius) &&
               std::fabs(a.radius - b.radius) <= 1e-6 * (1 + b.radius);
    };
    auto found = DetectArcs(mesh, crease, tolerance, 0);
    double total = 0;
    for (const MeshArc& arc : found) {
        total += arc.length;
    }
    double expectedTotal = 0;
    for (const auto& circle : sure) {
        expectedTotal += circle.length;
        const auto same = std::find_if(found.begin(), found.end(),
                                       [&](const MeshArc& arc) { return isAt(arc, circle); });
        if (same == found.end()) {
            ADD_FAILURE() << "no arc of radius " << circle.radius;
            continue;
        }
        EXPECT_NEAR(std::fabs(same->normal * circle.normal), 1, 1e-6);
        found.erase(same);
    }
    std::erase_if(found, [&](const MeshArc& arc) {
        return std::any_of(unsure.begin(), unsure.end(),
                           [&](const auto& circle) { return isAt(arc, circle); });
    });
    EXPECT_LE(found.size(), unsettled);
    if (unsure.empty() && found.empty()) {
        EXPECT_NEAR(total, expectedTotal, 1e-6 * (1 + expectedTotal));
    }
    return sure.size();
}

TEST(DetectArcs, ArcsOfRandomGraphsAreThoseOfTheLiteralModel)
{
    // Sheets with random heights and holes where triangles are missing, every edge sharp or few:
    // graphs with junctions, cycles and ends, and chains of any four points or more that a loose
    // tolerance takes for circles.
    Support::Random random(301);
    std::size_t compared = 0;
    for (int round = 0; round < 1500; ++round) {
        const int size = 3 + random.Below(6);
        const double rough = random.Between(0, 0.6);
        const IndexedMesh sheet = Support::GridMesh<double>(size, size, [&](int x, int y) {
            return Vec3d(x + random.Between(-0.3, 0.3), y + random.Between(-0.3, 0.3),
                         random.Between(-rough, rough));
        });
        std::set<int> dropped;
        for (int i = random.Below(5); i > 0; --i) {
            dropped.insert(random.Below(2 * size * size));
        }
        compared += ExpectLiteralArcs(Support::Shuffled(Support::Without(sheet, dropped), random),
                                      random.Between(0.05, 1.2), random.Between(0.05, 0.5));
    }
    EXPECT_GT(compared, 60U);
}

TEST(DetectArcs, ArcsOfPartsAreThoseOfTheLiteralModel)
{
    for (const char* part :
         {"meshes_nist/nist_ctc_01_asme1_rd.stl", "meshes_nist/nist_ftc_09_asme1_rd.stl"}) {
        const auto file = Support::SharedData(part);
        SORVANE_NEED_DATA(file);
        EXPECT_GT(ExpectLiteralArcs(Support::ReadPartMesh(file), 0.4, 0.02), 20U) << part;
    }
}

TEST(DetectArcs, NothingForNothing)
{
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const IndexedMesh ring = Support::DrilledRing(3, 30, 16);
    EXPECT_TRUE(DetectArcs({}, 0.4, kFit, 0.8).empty());
    EXPECT_TRUE(DetectArcs(ring, 0.4, nan, 0.8).empty());
    EXPECT_TRUE(DetectArcs(ring, 0.4, kFit, nan).empty());
    EXPECT_TRUE(DetectArcs(ring, 0.4, -1, 0.8).empty());
    // A NaN crease angle leaves the boundaries, of which there are none.
    EXPECT_TRUE(DetectArcs(ring, nan, kFit, 0.8).empty());
}

TEST(DetectArcs, NonFinitePointsCostOnlyArcsAtTheirTriangles)
{
    for (const double bad : {std::numeric_limits<double>::quiet_NaN(),
                             std::numeric_limits<double>::infinity(), 1e300}) {
        IndexedMesh ring = Support::DrilledRing(3, 30, 16);
        ring.points[0][0] = bad;
        const auto arcs = DetectArcs(ring, 0.4, kFit, 0.8);
        // Triangles that name the point have no direction any more, so that the rims across from it
        // are not whole either. The rim with no such triangle is.
        ASSERT_FALSE(arcs.empty());
        ExpectCircle(arcs.back(), {0, 0, 30}, {0, 0, 1}, 10);
        for (const MeshArc& arc : arcs) {
            EXPECT_NEAR(std::fabs(arc.normal.z()), 1, 1e-9);
            EXPECT_NEAR(arc.radius, arc.radius < 5 ? 3 : 10, 1e-9);
        }
    }
}

TEST(DetectArcs, RandomGarbageEnds)
{
    Support::Random random(31);
    for (int round = 0; round < 60; ++round) {
        const IndexedMesh mesh = Support::GarbageMesh<3, double>(random, 14, 50);
        for (const MeshArc& arc : DetectArcs(mesh, 0.2, 10, 0)) {
            EXPECT_TRUE(std::isfinite(arc.length));
        }
    }
}

TEST(DetectArcs, NumberOfThreadsDoesNotMatter)
{
    IndexedMesh bodies;
    for (int i = 0; i < 40; ++i) {
        bodies = Support::Together(
            bodies, Support::Mapped(Support::DrilledRing(2 + 0.1 * i, 5, 12 + i),
                                    [i](const Vec3d& p) { return p + Vec3d(30.0 * i, 0, 0); }));
    }
    std::vector<std::vector<MeshArc>> results;
    for (const int threads : {1, 2, 4}) {
        Support::WithThreads(threads, [&] { results.push_back(DetectArcs(bodies, 1, kFit, 0.8)); });
    }
    EXPECT_EQ(results[0].size(), 160U);
    EXPECT_EQ(results[0], results[1]);
    EXPECT_EQ(results[0], results[2]);
}

} // namespace
