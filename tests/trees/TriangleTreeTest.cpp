// Tree over triangles: the searches against their slow definition, bit for bit, and against brute
// force; the edges of their radii; ties; hostile input.

#include "tests/support/MeshGenerators.h"
#include "tests/support/MeshGenerators.h"
#include "tests/support/StlFile.h"
#include "trees/TriangleTree_Impl.h"

#include <Velk/Math/Intersect_E.h>
#include <Velk/Math/Vector_E.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <map>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane::Tree;
using ::Test::Random;
using Velk::Math::Sorvane::Bounding::AxisAlignedBoundingBox;
using Velk::Math::Sorvane::Mesh::TriangleSoup;
using Mesh3 = Velk::Math::Sorvane::Mesh::IndexedPointsBase<3, double>;
using Closest = ClosestPointRecord<3, double>;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

/// The tree with its candidates laid open.
class OpenTree : public QOFTriangleTree<3, double> {
public:
    using Base::GetPossibleBallCollisions;
    using Base::GetPossibleRayCollisions;
    using QOFTriangleTree::QOFTriangleTree;
};

// --- the slow definition of each search
// -----------------------------------------------------------

Closest SlowClosestPoint(const OpenTree& tree, const Vec3d& q, double r)
{
    std::map<double, Closest> found;
    for (const auto* content : tree.GetPossibleBallCollisions({q, r})) {
        const auto& wrap = OpenTree::WrapOf(*content);
        const auto& [a, b, c] = wrap.points;
        if (Intersect::SphereTriangle(q, r, a, b, c)) {
            const Vec3d p = Intersect::ClosestPointOnTriangle(a, b, c, q);
            found.emplace(SquaredLength(p - q), Closest{p, wrap.id}); // keeps the first of equals
        }
    }
    return found.empty() ? Closest{q, -1} : found.begin()->second;
}

Closest SlowClosestPointInRange(const OpenTree& tree, const Vec3d& q, double r0, double r1)
{
    Closest result;
    double lo = std::min(r0, r1);
    const double hi = std::max(r0, r1);
    lo = lo <= 0 ? 1e-12 : lo;
    while (lo <= hi) {
        result = SlowClosestPoint(tree, q, lo);
        if (result.id >= 0) {
            break;
        }
        const double old = lo;
        lo *= 2;
        if (old < hi && lo > hi) {
            result = SlowClosestPoint(tree, q, hi);
        }
    }
    return result;
}

/// Nearest point by weights (C. Ericson), another way than the library's.
Vec3d NearestByWeights(const Vec3d& a, const Vec3d& b, const Vec3d& c, const Vec3d& p)
{
    const auto onSide = [&](const Vec3d& u, const Vec3d& v) {
        const Vec3d uv = v - u;
        const double length = uv * uv;
        const double t = length > 0 ? std::clamp(((p - u) * uv) / length, 0.0, 1.0) : 0.0;
        return u + uv * t;
    };
    Vec3d best = onSide(a, b);
    for (const Vec3d& q : {onSide(b, c), onSide(c, a)}) {
        best = SquaredLength(q - p) < SquaredLength(best - p) ? q : best;
    }
    const Vec3d normal = (b - a) ^ (c - a);
    const double area = normal * normal;
    if (area > 0) {
        const double u = (((b - p) ^ (c - p)) * normal) / area;
        const double v = (((c - p) ^ (a - p)) * normal) / area;
        const double w = 1 - u - v;
        const Vec3d q = a * u + b * v + c * w;
        if (u >= 0 && v >= 0 && w >= 0 && SquaredLength(q - p) < SquaredLength(best - p)) {
            best = q;
        }
    }
    return best;
}

std::array<Vec3d, 3> TriangleOf(const Mesh3& mesh, std::size_t triangle)
{
    const auto corner = [&](std::size_t k) {
        return mesh.points[static_cast<std::size_t>(mesh.indices[3 * triangle + k])];
    };
    return {corner(0), corner(1), corner(2)};
}

AxisAlignedBoundingBox<3, double> BoxOf(const Mesh3& mesh)
{
    AxisAlignedBoundingBox<3, double> box;
    for (const Vec3d& point : mesh.points) {
        box.Grow(point);
    }
    return box;
}

/// A point in the box, grown by half; one in four lies on a corner of the mesh or a rounding
/// beside.
Vec3d RandomPoint(Random& random, const Mesh3& mesh, const AxisAlignedBoundingBox<3, double>& box)
{
    if (random.Below(4) == 0) {
        const auto count = static_cast<int>(mesh.points.size());
        Vec3d point = mesh.points[static_cast<std::size_t>(random.Below(count))];
        if (random.Below(2) == 0) {
            point[random.Below(3)] += random.Between(-1e-9, 1e-9);
        }
        return point;
    }
    const Vec3d extent = box.max - box.min;
    Vec3d point;
    for (int axis = 0; axis < 3; ++axis) {
        point[axis] =
            random.Between(box.min[axis] - extent[axis] / 2, box.max[axis] + extent[axis] / 2);
    }
    return point;
}

void ExpectSame(const Closest& fast, const Closest& slow, const Vec3d& q, double r)
{
    ASSERT_EQ(fast.id, slow.id) << q[0] << ' ' << q[1] << ' ' << q[2] << " radius " << r;
    ASSERT_EQ(fast.point, slow.point);
}

/// Both searches against their definition, radii from tiny to beyond the whole.
void ExpectSearchesAsDefined(const OpenTree& tree, const Mesh3& mesh, Random& random, int queries)
{
    const auto box = BoxOf(mesh);
    const double size = Vector::Length(box.max - box.min);
    for (int i = 0; i < queries; ++i) {
        const Vec3d q = RandomPoint(random, mesh, box);
        const double r = size * std::exp2(random.Between(-12, -1));
        ASSERT_NO_FATAL_FAILURE(
            ExpectSame(tree.ClosestPoint(q, r), SlowClosestPoint(tree, q, r), q, r));
        ASSERT_NO_FATAL_FAILURE(ExpectSame(tree.ClosestPointInRange(q, r / 64, 3 * r),
                                           SlowClosestPointInRange(tree, q, r / 64, 3 * r), q, r));
    }
}

// --- real meshes
// --------------------------------------------------------------------------------------

class RealMeshes : public testing::TestWithParam<const char*> {
protected:
    void SetUp() override
    {
        const auto file = ::Test::SharedData(GetParam());
        SORVANE_NEED_DATA(file);
        mesh_ = Support::WeldedStl<double>(file);
        ASSERT_FALSE(mesh_.indices.empty());
    }

    std::size_t TriangleCount() const { return mesh_.indices.size() / 3; }

    Mesh3 mesh_;
    Random random_{4711};
};

TEST_P(RealMeshes, SearchesAreAsDefinedToTheBit)
{
    const OpenTree tree(mesh_.points, mesh_.indices);
    ExpectSearchesAsDefined(tree, mesh_, random_, 1000);
}

TEST_P(RealMeshes, ClosestPointIsThatOfBruteForce)
{
    const OpenTree tree(mesh_.points, mesh_.indices);
    const auto box = BoxOf(mesh_);
    const double size = Vector::Length(box.max - box.min);
    for (int i = 0; i < 100; ++i) {
        const Vec3d q = RandomPoint(random_, mesh_, box);
        double least = kInfinity;
        for (std::size_t t = 0; t < TriangleCount(); ++t) {
            const auto [a, b, c] = TriangleOf(mesh_, t);
            least = std::min(least, SquaredLength(NearestByWeights(a, b, c, q) - q));
        }
        const Closest closest = tree.ClosestPoint(q, 4 * size);
        ASSERT_GE(closest.id, 0);
        EXPECT_NEAR(Vector::Length(closest.point - q), std::sqrt(least), 1e-12 * size);
        const auto [a, b, c] = TriangleOf(mesh_, static_cast<std::size_t>(closest.id));
        EXPECT_NEAR(Vector::Length(NearestByWeights(a, b, c, q) - closest.point), 0, 1e-9 * size);
    }
}

TEST_P(RealMeshes, TrianglesInBallAreThoseWithABoxInReach)
{
    const OpenTree tree(mesh_.points, mesh_.indices);
    const auto box = BoxOf(mesh_);
    const double size = Vector::Length(box.max - box.min);
    for (int i = 0; i < 100; ++i) {
        const Vec3d q = RandomPoint(random_, mesh_, box);
        const double r = size * std::exp2(random_.Between(-10, -2));
        std::vector<int> expected;
        for (std::size_t t = 0; t < TriangleCount(); ++t) {
            double squared = 0;
            for (int axis = 0; axis < 3; ++axis) {
                const auto [a, b, c] = TriangleOf(mesh_, t);
                const double low = std::min({a[axis], b[axis], c[axis]}) - 1e-10;
                const double high = std::max({a[axis], b[axis], c[axis]}) + 1e-10;
                const double gap = std::max({0.0, low - q[axis], q[axis] - high});
                squared += gap * gap;
            }
            if (r * r > squared) {
                expected.push_back(static_cast<int>(t));
            }
        }
        std::vector<int> ids = tree.TrianglesInBall(q, r);
        EXPECT_EQ(ids, tree.TrianglesInBall(q, -r)); // its square counts
        std::sort(ids.begin(), ids.end());
        ASSERT_EQ(ids, expected);
    }
}

TEST_P(RealMeshes, LineHitsAreThoseOfBruteForce)
{
    const OpenTree tree(mesh_.points, mesh_.indices);
    const auto box = BoxOf(mesh_);
    for (int i = 0; i < 200; ++i) {
        const Vec3d origin = RandomPoint(random_, mesh_, box);
        const Vec3d direction = i % 2 == 0
                                    ? Vec3d{0, 0, -1}
                                    : Vector::Normalized(random_.Vector<3, double>(-1, 1), 1e-12);
        std::vector<int> expected;
        for (std::size_t t = 0; t < TriangleCount(); ++t) {
            const auto [a, b, c] = TriangleOf(mesh_, t);
            if (Intersect::RayTriangleHitPoint(a, b, c, origin, direction, nullptr, nullptr, true,
                                               1e-12)) {
                expected.push_back(static_cast<int>(t));
            }
        }
        std::vector<int> ids = tree.LineHits(origin, direction);
        std::vector<int> asMet;
        for (const auto* content : tree.GetPossibleRayCollisions(origin, direction, true)) {
            const auto& wrap = OpenTree::WrapOf(*content);
            if (std::binary_search(expected.begin(), expected.end(), wrap.id)) {
                asMet.push_back(wrap.id);
            }
        }
        ASSERT_EQ(ids, asMet);
        std::sort(ids.begin(), ids.end());
        ASSERT_EQ(ids, expected);
    }
}

TEST_P(RealMeshes, ThreadsAndRunsAgree)
{
    const OpenTree first(mesh_.points, mesh_.indices);
    const OpenTree second(mesh_.points, mesh_.indices);
    const auto box = BoxOf(mesh_);
    const double size = Vector::Length(box.max - box.min);
    std::vector<Vec3d> points;
    for (int i = 0; i < 500; ++i) {
        points.push_back(RandomPoint(random_, mesh_, box));
    }
    const auto ask = [&](const OpenTree& tree, std::vector<Closest>& answers) {
        for (const Vec3d& q : points) {
            answers.push_back(tree.ClosestPointInRange(q, size / 4096, size));
        }
    };
    std::array<std::vector<Closest>, 3> answers;
    std::thread other([&] { ask(first, answers[1]); });
    ask(first, answers[0]);
    other.join();
    ask(second, answers[2]);
    EXPECT_EQ(answers[0], answers[1]);
    EXPECT_EQ(answers[0], answers[2]);
    EXPECT_EQ(first.TrianglesInBall(points[0], size), second.TrianglesInBall(points[0], size));
}

INSTANTIATE_TEST_SUITE_P(
    Files, RealMeshes,
    testing::Values("meshes_nist/nist_ctc_01_asme1_rd.stl", "meshes_nist/nist_ftc_11_asme1_rb.stl",
                    "meshes_cad/round.stl", "meshes_organic/spot.stl",
                    "meshes_defective/busted.STL"),
    [](const auto& test) {
        std::string name = test.param;
        std::replace_if(
            name.begin(), name.end(),
            [](char c) { return std::isalnum(static_cast<unsigned char>(c)) == 0; }, '_');
        return name;
    });

// --- made meshes
// ----------------------------------------------------------------------------------------

TEST(TriangleTreeSearch, IsAsDefinedOnGarbage)
{
    Random random(1);
    for (int round = 0; round < 60; ++round) {
        const Mesh3 mesh =
            ::Test::GarbageMesh<3, double>(random, 3 + random.Below(60), 1 + random.Below(300));
        const OpenTree tree(mesh.points, mesh.indices);
        ASSERT_NO_FATAL_FAILURE(ExpectSearchesAsDefined(tree, mesh, random, 20)) << round;
    }
}

/// Needles of all degrees, flat triangles and coordinates at which the margin of 1e-10 is lost:
/// what is pruned goes by rounded numbers, and the answers must not notice.
TEST(TriangleTreeSearch, IsAsDefinedOnNeedlesFarFromTheOrigin)
{
    Random random(2);
    for (int round = 0; round < 60; ++round) {
        const double offset = std::pow(10.0, random.Below(10));
        Mesh3 mesh;
        for (int i = 0; i < 200; ++i) {
            const Vec3d a = random.Vector<3, double>(-1, 1);
            const Vec3d ab = random.Vector<3, double>(-1, 1);
            const double thinness = std::exp2(-random.Below(56));
            const Vec3d c = a + ab * random.Unit() + random.Vector<3, double>(-1, 1) * thinness;
            for (const Vec3d& corner : {a, a + ab, c}) {
                mesh.indices.push_back(static_cast<int>(mesh.points.size()));
                mesh.points.push_back(corner + Vec3d{offset, -offset, offset});
                if (i % 5 == 0) {
                    mesh.points.back()[i % 3] = offset; // axis-parallel
                }
            }
        }
        const OpenTree tree(mesh.points, mesh.indices);
        ASSERT_NO_FATAL_FAILURE(ExpectSearchesAsDefined(tree, mesh, random, 20)) << round;
    }
}

/// Around each point triangles that touch a ball a thousand times smaller than the whole, to within
/// 1e-9 of its radius: `float` can't tell which is nearest.
TEST(TriangleTreeSearch, IsAsDefinedAmongNearlyEquals)
{
    Random random(8);
    for (int round = 0; round < 300; ++round) {
        OpenTree tree;
        tree.AddTriangle({-1, -1, -1}, {-1, -1, -0.9}, {-1, -0.9, -1}, 0);
        tree.AddTriangle({1, 1, 1}, {1, 1, 0.9}, {1, 0.9, 1}, 1);
        const Vec3d q = random.Vector<3, double>(-0.9, 0.9);
        for (int i = 2; i < 40; ++i) {
            const Vec3d normal = Vector::Normalized(random.Vector<3, double>(-1, 1), 1e-12);
            const Vec3d u = Vector::Normalized(normal ^ Vec3d(0.3, 0.5, 0.8), 1e-12) * 1e-3;
            const Vec3d v = normal ^ u;
            const Vec3d touch = q + normal * (1e-3 * (1 + random.Between(0, 1e-9)));
            tree.AddTriangle(touch + u, touch + v - u, touch - v - u, i);
        }
        tree.Build();
        ASSERT_NO_FATAL_FAILURE(
            ExpectSame(tree.ClosestPoint(q, 1), SlowClosestPoint(tree, q, 1), q, 1));
    }
}

TEST(TriangleTreeSearch, IsAsDefinedFromFarAway)
{
    Random random(3);
    const Mesh3 mesh = ::Test::Grid(20, 20);
    const OpenTree tree(mesh.points, mesh.indices);
    for (int i = 0; i < 300; ++i) {
        const double far = std::pow(10.0, random.Below(20));
        const Vec3d q = random.Vector<3, double>(-far, far);
        const double r = far * random.Between(0.1, 4);
        ASSERT_NO_FATAL_FAILURE(
            ExpectSame(tree.ClosestPoint(q, r), SlowClosestPoint(tree, q, r), q, r));
    }
}

/// On a grid of unit squares nearly every distance is shared by several triangles, and a radius of
/// 1 or 2 meets boxes and triangles exactly.
TEST(TriangleTreeTies, AreSettledByTheOrderOfTheCandidates)
{
    Random random(4);
    const Mesh3 mesh = ::Test::Grid(12, 12);
    const OpenTree tree(mesh.points, mesh.indices);
    int ties = 0;
    for (int i = 0; i < 2000; ++i) {
        const Vec3d q{random.Below(14) - 1, random.Below(14) - 1, random.Below(4)};
        const double r = random.Below(5) * 0.5;
        ASSERT_NO_FATAL_FAILURE(
            ExpectSame(tree.ClosestPoint(q, r), SlowClosestPoint(tree, q, r), q, r));
        ASSERT_NO_FATAL_FAILURE(ExpectSame(tree.ClosestPointInRange(q, r, 0.25),
                                           SlowClosestPointInRange(tree, q, r, 0.25), q, r));
        ASSERT_NO_FATAL_FAILURE(ExpectSame(tree.ClosestPointInRange(q, 0.25, 4 * r),
                                           SlowClosestPointInRange(tree, q, 0.25, 4 * r), q, r));
        ties += tree.ClosestPoint(q, 10).id >= 0 ? 1 : 0;
    }
    EXPECT_EQ(ties, 2000);
}

/// Where the margin of the boxes is lost, a triangle's box may be exactly as far as a radius of the
/// series, and the triangle no candidate, while an equal with a nearer box is: it wins there.
TEST(TriangleTreeTies, RadiusThatEqualsTheDistanceKeepsItsCandidates)
{
    const Vec3d q{0x1p27, 0x1p27, 0x1p27};
    const std::array<Vec3d, 3> tilted{Vec3d{-1, 7, 0}, Vec3d{7, 1, 0}, Vec3d{10, 10, 0}};
    const std::array<Vec3d, 3> across{Vec3d{5, -1, -1}, Vec3d{5, 3, -1}, Vec3d{5, -1, 3}};
    int special = 0;
    for (const double side : {-1.0, 1.0}) { // in one of them `across` has the lesser rank
        OpenTree tree;
        const auto add = [&](const std::array<Vec3d, 3>& t, double sign, int id) {
            tree.AddTriangle(q + t[0] * sign, q + t[1] * sign, q + t[2] * sign, id);
        };
        add(across, -side, 0);
        add(tilted, side, 1); // its box begins at distance 1, the triangle at 5: (3, 4, 0)
        tree.Build();
        ASSERT_EQ(tree.GetPossibleBallCollisions({q, 5}).size(), 1U);
        for (const double r : {5.0, 2.5, 1.25}) {
            EXPECT_EQ(tree.ClosestPointInRange(q, 16, r), (Closest{q + Vec3d{3, 4, 0} * side, 1}));
        }
        const Closest other = tree.ClosestPointInRange(q, 16, 4);
        EXPECT_EQ(other, SlowClosestPointInRange(tree, q, 4, 16));
        special += other.id == 0 ? 1 : 0;
    }
    EXPECT_GT(special, 0);
}

/// The same triangle many times: the answer is the first candidate, in each run.
TEST(TriangleTreeTies, CoincidentTrianglesGiveTheFirstCandidate)
{
    OpenTree tree;
    for (int i = 0; i < 100; ++i) {
        tree.AddTriangle({0, 0, 0}, {1, 0, 0}, {0, 1, 0}, 500 - i);
    }
    tree.Build();
    const Closest closest = tree.ClosestPoint({0.25, 0.25, 1}, 2);
    EXPECT_EQ(closest.point, Vec3d(0.25, 0.25, 0));
    EXPECT_EQ(closest.id, tree.TrianglesInBall({0.25, 0.25, 1}, 2).front());
}

// --- radii
// ------------------------------------------------------------------------------------------------

class OneTriangle : public testing::Test {
protected:
    const OpenTree tree_{{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, {0, 1, 2}};
    const Vec3d above_{0.25, 0.25, 2};
};

TEST_F(OneTriangle, RadiusZeroFindsNothing)
{
    EXPECT_EQ(tree_.ClosestPoint({0.25, 0.25, 0}, 0), (Closest{{0.25, 0.25, 0}, -1}));
    EXPECT_TRUE(tree_.TrianglesInBall({0.25, 0.25, 0}, 0).empty());
}

TEST_F(OneTriangle, RadiusThatJustTouchesFindsIt)
{
    EXPECT_EQ(tree_.ClosestPoint(above_, 2), (Closest{{0.25, 0.25, 0}, 0}));
    EXPECT_EQ(tree_.ClosestPoint(above_, std::nextafter(2.0, 0.0)), (Closest{above_, -1}));
}

TEST_F(OneTriangle, NoRadiusIsNegativeOrNaN)
{
    for (const double r : {-3.0, -0.0, kNaN, -kInfinity}) {
        EXPECT_EQ(tree_.ClosestPoint(above_, r), (Closest{above_, -1})) << r;
    }
    EXPECT_TRUE(tree_.TrianglesInBall(above_, kNaN).empty());
    EXPECT_EQ(tree_.ClosestPoint(above_, kInfinity).id, 0);
    EXPECT_EQ(tree_.ClosestPoint(above_, 1e200).id, 0);
}

TEST_F(OneTriangle, RangeOfTwoZerosGivesTheOrigin)
{
    EXPECT_EQ(tree_.ClosestPointInRange(above_, 0, 0), (Closest{{0, 0, 0}, -1}));
    EXPECT_EQ(tree_.ClosestPointInRange(above_, -1, -2), (Closest{{0, 0, 0}, -1}));
    EXPECT_EQ(tree_.ClosestPointInRange(above_, 1e-13, -1), (Closest{{0, 0, 0}, -1}));
    // From 1e-12 on there is something to search.
    EXPECT_EQ(tree_.ClosestPointInRange(above_, std::nextafter(1e-12, 0.0), 0),
              (Closest{{0, 0, 0}, -1}));
    EXPECT_EQ(tree_.ClosestPointInRange(above_, 1e-12, 0), (Closest{above_, -1}));
    EXPECT_EQ(tree_.ClosestPointInRange({0.25, 0.25, 0}, -7, 1e-12).id, 0);
    EXPECT_EQ(tree_.ClosestPointInRange(above_, 1e-13, 1e-13), (Closest{above_, -1}));
}

TEST_F(OneTriangle, RangeThatEndsTooEarlyGivesThePoint)
{
    EXPECT_EQ(tree_.ClosestPointInRange(above_, 0.1, 1.99), (Closest{above_, -1}));
    EXPECT_EQ(tree_.ClosestPointInRange(above_, 1.99, 0.1), (Closest{above_, -1}));
    EXPECT_EQ(tree_.ClosestPointInRange(above_, 1.99, 1.99), (Closest{above_, -1}));
}

TEST_F(OneTriangle, RangeEndsAtExactlyTheLargerRadius)
{
    EXPECT_EQ(tree_.ClosestPointInRange(above_, 0.3, 2).id, 0);
    EXPECT_EQ(tree_.ClosestPointInRange(above_, 2, 0.3).id, 0);
    EXPECT_EQ(tree_.ClosestPointInRange(above_, 2, 2).id, 0);
    EXPECT_EQ(tree_.ClosestPointInRange(above_, 0, 2).id, 0);
}

TEST_F(OneTriangle, RangeWithoutEndOrNumberReturns)
{
    EXPECT_EQ(tree_.ClosestPointInRange(above_, 1, kInfinity).id, 0);
    EXPECT_EQ(tree_.ClosestPointInRange(above_, kInfinity, kInfinity).id, 0);
    EXPECT_EQ(tree_.ClosestPointInRange(above_, 1e-300, 1e308).id, 0);
    EXPECT_EQ(tree_.ClosestPointInRange(above_, kNaN, 5), (Closest{{0, 0, 0}, -1}));
    EXPECT_EQ(tree_.ClosestPointInRange(above_, 5, kNaN), (Closest{{0, 0, 0}, -1}));
    EXPECT_EQ(tree_.ClosestPointInRange({kNaN, 0, 0}, 1, 5).id, -1);
    EXPECT_EQ(tree_.ClosestPointInRange({kInfinity, 0, 0}, 1, kInfinity).id, -1);
}

/// Found on the triangle itself: the first radii have squares that underflow.
TEST_F(OneTriangle, RangeFindsAPointOfTheTriangle)
{
    EXPECT_EQ(tree_.ClosestPointInRange({0.25, 0.25, 0}, 1e-300, 1), (Closest{{0.25, 0.25, 0}, 0}));
}

TEST_F(OneTriangle, LinesRunBothWaysAndCountTheBoundary)
{
    EXPECT_EQ(tree_.LineHits(above_, {0, 0, -1}), std::vector<int>{0});
    EXPECT_EQ(tree_.LineHits(above_, {0, 0, 1}), std::vector<int>{0});
    EXPECT_EQ(tree_.LineHits({0.5, 0, 7}, {0, 0, 1}), std::vector<int>{0});
    EXPECT_TRUE(
        tree_.LineHits({0.9, 0.9, 7}, {0, 0, 1}).empty()); // in the box, beside the triangle
    EXPECT_EQ(tree_.LineHits({0.5, -0.5e-12, 7}, {0, 0, 1}), std::vector<int>{0});
    EXPECT_TRUE(tree_.LineHits({0.5, -3e-12, 7}, {0, 0, 1}).empty()); // in the box all the same
    EXPECT_EQ(tree_.GetPossibleRayCollisions({0.5, -3e-12, 7}, {0, 0, 1}, true).size(), 1U);
    EXPECT_TRUE(tree_.LineHits({0.25, 0.25, 0}, {1, 0, 0}).empty()); // edge-on
    EXPECT_TRUE(tree_.LineHits(above_, {0, 0, 0}).empty());
    EXPECT_TRUE(tree_.LineHits(above_, {kNaN, 0, 1}).empty());
}

TEST_F(OneTriangle, BoxHasItsMargin)
{
    const auto* box = tree_.GetPossibleBallCollisions({above_, 9}).at(0);
    EXPECT_EQ(box->min, Vec3d(-1e-10, -1e-10, -1e-10));
    EXPECT_EQ(box->max, Vec3d(1 + 1e-10, 1 + 1e-10, 1e-10));
}

TEST_F(OneTriangle, BoxesThatTouchAreCandidates)
{
    EXPECT_EQ(tree_.GetPossibleBoxCollisions({{1, 1, 0}, {2, 2, 1}}).size(), 1U);
    EXPECT_TRUE(tree_.GetPossibleBoxCollisions({{1.1, 1, 0}, {2, 2, 1}}).empty());
}

// --- construction
// -------------------------------------------------------------------------------------------

TEST(TriangleTreeBuild, AllWaysGiveTheSameTree)
{
    const Mesh3 mesh = ::Test::Grid(9, 7);
    TriangleSoup<3, double> soup;
    OpenTree stepwise;
    for (std::size_t t = 0; t < mesh.indices.size() / 3; ++t) {
        soup.push_back(TriangleOf(mesh, t));
        stepwise.AddTriangle(soup.back()[0], soup.back()[1], soup.back()[2], static_cast<int>(t));
    }
    EXPECT_TRUE(stepwise.TrianglesInBall({1, 1, 0}, 1).empty()); // not before it is built
    stepwise.Build();
    const OpenTree indexed(mesh.points, mesh.indices);
    const Octree::TriangleTree<double> fromSoup(soup);
    Random random(5);
    for (int i = 0; i < 200; ++i) {
        const Vec3d q = random.Vector<3, double>(-2, 12);
        const Closest closest = indexed.ClosestPoint(q, 3);
        EXPECT_EQ(closest, stepwise.ClosestPoint(q, 3));
        EXPECT_EQ(closest, fromSoup.ClosestPoint(q, 3));
        EXPECT_EQ(indexed.TrianglesInBall(q, 3), fromSoup.TrianglesInBall(q, 3));
    }
}

/// As many slots in the one block as there are triangles, so that they lie in order.
TEST(TriangleTreeBuild, ListsLieInOneBlock)
{
    const Mesh3 mesh = ::Test::Grid(40, 40);
    TriangleSoup<3, double> soup;
    for (std::size_t t = 0; t < mesh.indices.size() / 3; ++t) {
        soup.push_back(TriangleOf(mesh, t));
    }
    const QOFTriangleTree<3, double> indexed(mesh.points, mesh.indices);
    const Octree::TriangleTree<double> fromSoup(soup);
    const AxisAlignedBoundingBox<3, double> all{{-99, -99, -99}, {99, 99, 99}};
    for (const QOFTriangleTree<3, double>* tree :
         std::array<const QOFTriangleTree<3, double>*, 2>{&indexed, &fromSoup}) {
        std::vector<std::uintptr_t> address(soup.size());
        for (const auto* content : tree->GetPossibleBoxCollisions(all)) {
            const auto& wrap = tree->WrapOf(*content);
            address.at(static_cast<std::size_t>(wrap.id)) = reinterpret_cast<std::uintptr_t>(&wrap);
        }
        ASSERT_GT(address.size(), 3000U);
        for (std::size_t i = 2; i < address.size(); ++i) {
            ASSERT_EQ(address[i] - address[i - 1], address[1] - address[0]) << i;
        }
    }
}

TEST(TriangleTreeBuild, MoreTrianglesJoinWithTheNextBuild)
{
    OpenTree tree({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, {0, 1, 2});
    tree.AddTriangle({0, 0, 5}, {1, 0, 5}, {0, 1, 5}, 7);
    EXPECT_EQ(tree.ClosestPoint({0, 0, 5}, 1).id, -1);
    tree.Build();
    EXPECT_EQ(tree.ClosestPoint({0, 0, 5}, 1).id, 7);
    EXPECT_EQ(tree.ClosestPoint({0, 0, 0}, 1).id, 0);
}

TEST(TriangleTreeBuild, EmptyTreesFindNothing)
{
    OpenTree tree;
    tree.Build();
    const OpenTree none({}, {});
    for (const OpenTree* empty : std::array<const OpenTree*, 2>{&tree, &none}) {
        EXPECT_EQ(empty->ClosestPoint({1, 2, 3}, 10), (Closest{{1, 2, 3}, -1}));
        EXPECT_EQ(empty->ClosestPointInRange({1, 2, 3}, 1, 10), (Closest{{1, 2, 3}, -1}));
        EXPECT_TRUE(empty->TrianglesInBall({1, 2, 3}, 10).empty());
        EXPECT_TRUE(empty->LineHits({1, 2, 3}, {0, 0, 1}).empty());
        EXPECT_TRUE(empty->GetPossibleBoxCollisions({{-9, -9, -9}, {9, 9, 9}}).empty());
    }
}

TEST(TriangleTreeBuild, WrongTriplesStayOutAndOthersKeepTheirNumbers)
{
    const std::vector<Vec3d> points{{0, 0, 0},    {1, 0, 0},         {0, 1, 0},
                                    {kNaN, 0, 0}, {0, kInfinity, 0}, {0, 0, 1e200}};
    const OpenTree tree(points, {0, 1, 3, 0, 4, 2, 0, 1, 5, 0, 1, 6, -1, 1, 2, 0, 1, 2, 0, 1});
    EXPECT_EQ(tree.TrianglesInBall({0, 0, 0}, 1e9), std::vector<int>{5});
    EXPECT_EQ(tree.ClosestPoint({0, 0, 1}, 2), (Closest{{0, 0, 0}, 5}));
}

/// All in one place: coordinates at which the margin is lost leave boxes without extent, for which
/// there is no root.
TEST(TriangleTreeBuild, PointsWithoutExtentFindNothingAndEnd)
{
    OpenTree tree;
    const Vec3d p{1e9, 1e9, 1e9};
    for (int i = 0; i < 50; ++i) {
        tree.AddTriangle(p, p, p, i);
    }
    tree.Build();
    EXPECT_EQ(tree.ClosestPoint(p, 1).id, -1);
    EXPECT_EQ(tree.ClosestPointInRange(p, 1, 5), (Closest{p, -1}));
}

TEST(TriangleTreeBuild, HugeAndTinyPartsAreSearched)
{
    for (const double scale : {1e-6, 1e6, 1e30, 1e70}) {
        Mesh3 mesh = ::Test::Grid(10, 10);
        for (Vec3d& point : mesh.points) {
            point *= scale;
        }
        const OpenTree tree(mesh.points, mesh.indices);
        const Vec3d q = Vec3d{3.25, 4.5, 2} * scale;
        const Closest closest = tree.ClosestPointInRange(q, scale, 20 * scale);
        EXPECT_NEAR(Vector::Length(closest.point - q) / scale, 2, 1e-12) << scale;
        EXPECT_EQ(closest, SlowClosestPoint(tree, q, 4 * scale)) << scale;
    }
}

/// Distances that halve with each triangle, sorted against any cut by equal widths.
TEST(TriangleTreeBuild, CrowdedTowardsAPointStaysShallow)
{
    Mesh3 mesh;
    double at = 1;
    for (int i = 0; i < 3000; ++i) {
        at *= 0.9;
        for (const Vec3d& corner : {Vec3d{at, 0, 0}, Vec3d{at, at, 0}, Vec3d{at, 0, at}}) {
            mesh.indices.push_back(static_cast<int>(mesh.points.size()));
            mesh.points.push_back(corner);
        }
    }
    const OpenTree tree(mesh.points, mesh.indices);
    Random random(6);
    for (int i = 0; i < 200; ++i) {
        const double r = std::pow(0.9, random.Below(200));
        const Vec3d q{-r, r, 0};
        ASSERT_NO_FATAL_FAILURE(
            ExpectSame(tree.ClosestPoint(q, 4 * r), SlowClosestPoint(tree, q, 4 * r), q, r));
    }
}

static_assert(!std::is_copy_constructible_v<OpenTree> && !std::is_move_constructible_v<OpenTree>,
              "nodes point into the tree's own storage");

} // namespace
