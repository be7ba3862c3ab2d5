// Tree over triangles: the searches against their slow definition, bit for bit, and against brute
// force; the edges of their radii; ties; lines; batches; hostile input.

#include <Sorvane/TriangleTree_E.h>
#include <Velk/Math/Intersect_E.h>
#include <Velk/Math/Vector_E.h>

#include "tests/support/FailingAllocation.h"
#include "tests/support/MeshGenerators.h"
#include "tests/support/Rounds.h"
#include "tests/support/StlFile.h"
#include "tests/support/TestSupport.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <map>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane::Tree;
using Support::Random;
using Velk::Math::Sorvane::Bounding::AxisAlignedBoundingBox;
using Velk::Math::Sorvane::Mesh::TriangleSoup;
using Mesh3 = Velk::Math::Sorvane::Mesh::IndexedPointsBase<3, double>;
using Closest = ClosestPointRecord<3, double>;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

using TriangleTree = QOFTriangleTree<3, double>;

// --- the slow definition of each search ---------------------------------------------------------

/// A tree, and the same triangles in a list with their boxes.
struct OpenTree {
    struct Entry {
        std::array<Vec3d, 3> corner;
        int id;
        AxisAlignedBoundingBox<3, double> box; // with its margin
    };

    TriangleTree tree;
    std::vector<Entry> list;

    OpenTree() = default;
    OpenTree(const std::vector<Vec3d>& points, const std::vector<int>& triples)
        : tree(points, triples)
    {
        for (std::size_t i = 0; i + 2 < triples.size(); i += 3) {
            const auto corner = [&](std::size_t k) {
                return points[static_cast<std::size_t>(triples[i + k])];
            };
            AddToList({corner(0), corner(1), corner(2)}, static_cast<int>(i / 3));
        }
    }

    void AddTriangle(const Vec3d& a, const Vec3d& b, const Vec3d& c, int id)
    {
        tree.AddTriangle(a, b, c, id);
        AddToList({a, b, c}, id);
    }
    void AddToList(const std::array<Vec3d, 3>& corner, int id)
    {
        AxisAlignedBoundingBox<3, double> box;
        for (const Vec3d& p : corner) {
            box.Grow(p);
        }
        const Vec3d margin{1e-10, 1e-10, 1e-10};
        list.push_back({corner, id, {box.min - margin, box.max + margin}});
    }
    void Build() { tree.Build(); }

    /// By case, axis by axis: not the library's way to the same number.
    static double SquaredGap(const AxisAlignedBoundingBox<3, double>& box, const Vec3d& q)
    {
        double sum = 0;
        for (int axis = 0; axis < 3; ++axis) {
            const double gap = q[axis] < box.min[axis]   ? box.min[axis] - q[axis]
                               : q[axis] > box.max[axis] ? q[axis] - box.max[axis]
                                                         : 0.0;
            sum += gap * gap;
        }
        return sum;
    }

    std::vector<const Entry*> Candidates(const Vec3d& q, double r) const
    {
        std::vector<const Entry*> candidates;
        for (const Entry& entry : list) {
            if (r * r > SquaredGap(entry.box, q)) {
                candidates.push_back(&entry);
            }
        }
        return candidates;
    }
};

Closest SlowClosestPoint(const OpenTree& tree, const Vec3d& q, double r)
{
    std::map<double, Closest> found;
    for (const OpenTree::Entry* entry : tree.Candidates(q, r)) {
        const auto& [a, b, c] = entry->corner;
        if (Intersect::SphereTriangle(q, std::fabs(r), a, b, c)) {
            const Vec3d p = Intersect::ClosestPointOnTriangle(a, b, c, q);
            found.emplace(SquaredLength(p - q), Closest{p, entry->id}); // the first of equals
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
            ExpectSame(tree.tree.ClosestPoint(q, r), SlowClosestPoint(tree, q, r), q, r));
        ASSERT_NO_FATAL_FAILURE(ExpectSame(tree.tree.ClosestPointInRange(q, r / 64, 3 * r),
                                           SlowClosestPointInRange(tree, q, r / 64, 3 * r), q, r));
    }
}

// --- real meshes ---------------------------------------------------------------------------------

class RealMeshes : public testing::TestWithParam<const char*> {
protected:
    void SetUp() override
    {
        const auto file = Support::SharedData(GetParam());
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
    ExpectSearchesAsDefined(tree, mesh_, random_, Support::Rounds(250));
}

TEST_P(RealMeshes, ClosestPointIsThatOfBruteForce)
{
    const TriangleTree tree(mesh_.points, mesh_.indices);
    const auto box = BoxOf(mesh_);
    const double size = Vector::Length(box.max - box.min);
    for (int i = 0; i < Support::Rounds(100); ++i) {
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
    const TriangleTree tree(mesh_.points, mesh_.indices);
    const auto box = BoxOf(mesh_);
    const double size = Vector::Length(box.max - box.min);
    for (int i = 0; i < Support::Rounds(100); ++i) {
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
        ASSERT_EQ(tree.TrianglesInBall(q, r), expected);
    }
}

TEST_P(RealMeshes, LineHitsAreThoseOfBruteForce)
{
    const TriangleTree tree(mesh_.points, mesh_.indices);
    const auto box = BoxOf(mesh_);
    for (int i = 0; i < Support::Rounds(200); ++i) {
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
        ASSERT_EQ(tree.LineHits(origin, direction), expected);
    }
}

TEST_P(RealMeshes, PossibleBoxCollisionsAreThoseOfBruteForce)
{
    const OpenTree tree(mesh_.points, mesh_.indices);
    const auto box = BoxOf(mesh_);
    for (int i = 0; i < Support::Rounds(100); ++i) {
        AxisAlignedBoundingBox<3, double> query;
        query.Grow(RandomPoint(random_, mesh_, box));
        query.Grow(i % 4 == 0 ? query.min : RandomPoint(random_, mesh_, box));
        std::vector<int> expected;
        for (const OpenTree::Entry& entry : tree.list) {
            bool meets = true;
            for (int axis = 0; axis < 3; ++axis) {
                meets = meets && !(entry.box.max[axis] < query.min[axis]) &&
                        !(query.max[axis] < entry.box.min[axis]);
            }
            if (meets) {
                expected.push_back(entry.id);
            }
        }
        ASSERT_EQ(tree.tree.GetPossibleBoxCollisions(query), expected);
    }
}

TEST_P(RealMeshes, ThreadsAndRunsAgree)
{
    const TriangleTree first(mesh_.points, mesh_.indices);
    const TriangleTree second(mesh_.points, mesh_.indices);
    const auto box = BoxOf(mesh_);
    const double size = Vector::Length(box.max - box.min);
    std::vector<Vec3d> points;
    for (int i = 0; i < 500; ++i) {
        points.push_back(RandomPoint(random_, mesh_, box));
    }
    const auto ask = [&](const TriangleTree& tree, std::vector<Closest>& answers) {
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

// --- made meshes ---------------------------------------------------------------------------------

TEST(TriangleTreeSearch, IsAsDefinedOnGarbage)
{
    Random random(1);
    for (int round = 0; round < 60; ++round) {
        const Mesh3 mesh =
            Support::GarbageMesh<3, double>(random, 3 + random.Below(60), 1 + random.Below(300));
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
            ExpectSame(tree.tree.ClosestPoint(q, 1), SlowClosestPoint(tree, q, 1), q, 1));
    }
}

TEST(TriangleTreeSearch, IsAsDefinedFromFarAway)
{
    Random random(3);
    const Mesh3 mesh = Support::Grid(20, 20);
    const OpenTree tree(mesh.points, mesh.indices);
    for (int i = 0; i < 300; ++i) {
        const double far = std::pow(10.0, random.Below(20));
        const Vec3d q = random.Vector<3, double>(-far, far);
        const double r = far * random.Between(0.1, 4);
        ASSERT_NO_FATAL_FAILURE(
            ExpectSame(tree.tree.ClosestPoint(q, r), SlowClosestPoint(tree, q, r), q, r));
    }
}

/// On a grid of unit squares nearly every distance is shared by several triangles, and a radius of
/// 1 or 2 meets boxes and triangles exactly.
TEST(TriangleTreeTies, AreSettledByTheOrderOfAdding)
{
    Random random(4);
    const Mesh3 mesh = Support::Grid(12, 12);
    const OpenTree tree(mesh.points, mesh.indices);
    int ties = 0;
    for (int i = 0; i < Support::Rounds(2000); ++i) {
        const Vec3d q{random.Below(14) - 1, random.Below(14) - 1, random.Below(4)};
        const double r = random.Below(5) * 0.5;
        ASSERT_NO_FATAL_FAILURE(
            ExpectSame(tree.tree.ClosestPoint(q, r), SlowClosestPoint(tree, q, r), q, r));
        ASSERT_NO_FATAL_FAILURE(ExpectSame(tree.tree.ClosestPointInRange(q, r, 0.25),
                                           SlowClosestPointInRange(tree, q, r, 0.25), q, r));
        ASSERT_NO_FATAL_FAILURE(ExpectSame(tree.tree.ClosestPointInRange(q, 0.25, 4 * r),
                                           SlowClosestPointInRange(tree, q, 0.25, 4 * r), q, r));
        ties += tree.tree.ClosestPoint(q, 10).id >= 0 ? 1 : 0;
    }
    EXPECT_EQ(ties, Support::Rounds(2000));
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
        ASSERT_EQ(tree.tree.TrianglesInBall(q, 5).size(), 1U);
        for (const double r : {5.0, 2.5, 1.25}) {
            EXPECT_EQ(tree.tree.ClosestPointInRange(q, 16, r),
                      (Closest{q + Vec3d{3, 4, 0} * side, 1}));
        }
        const Closest other = tree.tree.ClosestPointInRange(q, 16, 4);
        EXPECT_EQ(other, SlowClosestPointInRange(tree, q, 4, 16));
        special += other.id == 0 ? 1 : 0;
    }
    EXPECT_GT(special, 0);
}

/// The same triangle many times, with numbers that fall: the answer is the one added first.
TEST(TriangleTreeTies, CoincidentTrianglesGiveTheFirstAdded)
{
    TriangleTree tree;
    for (int i = 0; i < 100; ++i) {
        tree.AddTriangle({0, 0, 0}, {1, 0, 0}, {0, 1, 0}, 500 - i);
    }
    tree.Build();
    EXPECT_EQ(tree.ClosestPoint({0.25, 0.25, 1}, 2), (Closest{{0.25, 0.25, 0}, 500}));
    const std::vector<int> ids = tree.TrianglesInBall({0.25, 0.25, 1}, 2);
    ASSERT_EQ(ids.size(), 100U);
    EXPECT_TRUE(std::is_sorted(ids.rbegin(), ids.rend())) << "the order of adding";
}

// --- radii --------------------------------------------------------------------------------------

class OneTriangle : public testing::Test {
protected:
    const TriangleTree tree_{{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, {0, 1, 2}};
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

TEST_F(OneTriangle, ARadiusCountsByItsMagnitude)
{
    for (const double r : {2.0, 3.0, 1e9, kInfinity}) {
        EXPECT_EQ(tree_.ClosestPoint(above_, -r), (Closest{{0.25, 0.25, 0}, 0})) << r;
        EXPECT_EQ(tree_.ClosestPoint(above_, r), (Closest{{0.25, 0.25, 0}, 0})) << r;
        EXPECT_EQ(tree_.TrianglesInBall(above_, -r), tree_.TrianglesInBall(above_, r)) << r;
    }
    EXPECT_EQ(tree_.ClosestPoint(above_, -1.9), (Closest{above_, -1}));
    EXPECT_EQ(tree_.ClosestPoint(above_, -0.0), (Closest{above_, -1}));
    EXPECT_EQ(tree_.ClosestPoint(above_, kNaN), (Closest{above_, -1}));
    EXPECT_TRUE(tree_.TrianglesInBall(above_, kNaN).empty());
    EXPECT_TRUE(tree_.TrianglesInBall(above_, -1.9).empty());
    EXPECT_EQ(tree_.ClosestPoint(above_, 1e200).id, 0);
    EXPECT_EQ(tree_.ClosestPoints({above_, {9, 9, 9}}, -2.5, {}),
              tree_.ClosestPoints({above_, {9, 9, 9}}, 2.5, {}));
    EXPECT_EQ(tree_.ClosestPoints({above_}, -2.5, {}).front().id, 0);
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
    EXPECT_TRUE(tree_.LineHits({0.25, 0.25, 0}, {1, 0, 0}).empty());  // edge-on
    EXPECT_TRUE(tree_.LineHits(above_, {0, 0, 0}).empty());
    EXPECT_TRUE(tree_.LineHits(above_, {kNaN, 0, 1}).empty());
}

/// 1e-10 on each side, to the bit.
TEST_F(OneTriangle, BoxHasItsMargin)
{
    const auto isMet = [&](const Vec3d& p) {
        return !tree_.GetPossibleBoxCollisions({p, p}).empty();
    };
    const double low = -1e-10;
    const double high = 1 + 1e-10;
    EXPECT_TRUE(isMet({low, low, low}));
    EXPECT_TRUE(isMet({high, high, 1e-10}));
    for (int axis = 0; axis < 3; ++axis) {
        Vec3d p{0, 0, 0};
        p[axis] = std::nextafter(low, -1.0);
        EXPECT_FALSE(isMet(p)) << axis;
        p[axis] = std::nextafter(axis == 2 ? 1e-10 : high, 2.0);
        EXPECT_FALSE(isMet(p)) << axis;
    }
    EXPECT_TRUE(tree_.TrianglesInBall({0.5, 0.5, 3 + 1e-10}, 3).empty());
    EXPECT_EQ(tree_.TrianglesInBall({0.5, 0.5, 3}, 3).size(), 1U);
}

TEST_F(OneTriangle, BoxesThatTouchAreCandidates)
{
    EXPECT_EQ(tree_.GetPossibleBoxCollisions({{1, 1, 0}, {2, 2, 1}}).size(), 1U);
    EXPECT_TRUE(tree_.GetPossibleBoxCollisions({{1.1, 1, 0}, {2, 2, 1}}).empty());
}

// --- construction --------------------------------------------------------------------------------

TEST(TriangleTreeBuild, AllWaysGiveTheSameTree)
{
    const Mesh3 mesh = Support::Grid(9, 7);
    TriangleSoup<3, double> soup;
    TriangleTree stepwise;
    for (std::size_t t = 0; t < mesh.indices.size() / 3; ++t) {
        soup.push_back(TriangleOf(mesh, t));
        stepwise.AddTriangle(soup.back()[0], soup.back()[1], soup.back()[2], static_cast<int>(t));
    }
    EXPECT_TRUE(stepwise.TrianglesInBall({1, 1, 0}, 1).empty()); // not before it is built
    stepwise.Build();
    const TriangleTree indexed(mesh.points, mesh.indices);
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

TEST(TriangleTreeBuild, MoreTrianglesJoinWithTheNextBuild)
{
    TriangleTree tree({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, {0, 1, 2});
    tree.AddTriangle({0, 0, 5}, {1, 0, 5}, {0, 1, 5}, 7);
    EXPECT_EQ(tree.ClosestPoint({0, 0, 5}, 1).id, -1);
    tree.Build();
    EXPECT_EQ(tree.ClosestPoint({0, 0, 5}, 1).id, 7);
    EXPECT_EQ(tree.ClosestPoint({0, 0, 0}, 1).id, 0);
}

TEST(TriangleTreeBuild, EmptyTreesFindNothing)
{
    TriangleTree tree;
    tree.Build();
    const TriangleTree none({}, {});
    for (const TriangleTree* empty : std::array<const TriangleTree*, 2>{&tree, &none}) {
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
    const TriangleTree tree(points, {0, 1, 3, 0, 4, 2, 0, 1, 5, 0, 1, 6, -1, 1, 2, 0, 1, 2, 0, 1});
    EXPECT_EQ(tree.TrianglesInBall({0, 0, 0}, 1e9), std::vector<int>{5});
    EXPECT_EQ(tree.ClosestPoint({0, 0, 1}, 2), (Closest{{0, 0, 0}, 5}));
}

/// All in one place, at coordinates where the margin is lost: boxes without extent, alone and
/// together.
TEST(TriangleTreeBuild, PointsWithoutExtentAreFound)
{
    TriangleTree tree;
    const Vec3d p{1e9, 1e9, 1e9};
    for (int i = 0; i < 50; ++i) {
        tree.AddTriangle(p, p, p, i);
    }
    tree.Build();
    EXPECT_EQ(tree.RootHalfSize(), 0);
    EXPECT_EQ(tree.ClosestPoint(p, 1), (Closest{p, 0}));
    EXPECT_EQ(tree.ClosestPointInRange(p + Vec3d{0, 0, 3}, 1, 5), (Closest{p, 0}));
    EXPECT_EQ(tree.ClosestPoint(p + Vec3d{0, 0, 3}, 1).id, -1);
}

TEST(TriangleTreeBuild, HugeAndTinyPartsAreSearched)
{
    for (const double scale : {1e-6, 1e6, 1e30, 1e70}) {
        Mesh3 mesh = Support::Grid(10, 10);
        for (Vec3d& point : mesh.points) {
            point *= scale;
        }
        const OpenTree tree(mesh.points, mesh.indices);
        const Vec3d q = Vec3d{3.25, 4.5, 2} * scale;
        const Closest closest = tree.tree.ClosestPointInRange(q, scale, 20 * scale);
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
    for (int i = 0; i < Support::Rounds(200); ++i) {
        const double r = std::pow(0.9, random.Below(200));
        const Vec3d q{-r, r, 0};
        ASSERT_NO_FATAL_FAILURE(
            ExpectSame(tree.tree.ClosestPoint(q, 4 * r), SlowClosestPoint(tree, q, 4 * r), q, r));
    }
}

/// Triangles a billion times smaller than their distance from a stray one: too fine for `float`.
TEST(TriangleTreeSearch, IsAsDefinedBesideAStrayTriangle)
{
    Random random(9);
    for (const double stray : {1e4, 1e6, 1e9, 1e14}) {
        OpenTree tree;
        tree.AddTriangle({stray, stray, 0}, {stray, stray, 1}, {stray, stray + 1, 1}, 1000);
        for (int i = 0; i < 400; ++i) {
            const Vec3d a = random.Vector<3, double>(-1, 1);
            tree.AddTriangle(a, a + random.Vector<3, double>(-0.1, 0.1),
                             a + random.Vector<3, double>(-0.1, 0.1), i);
        }
        tree.Build();
        for (int i = 0; i < 100; ++i) {
            const Vec3d q = random.Vector<3, double>(-2, 2) * (i % 10 == 0 ? stray : 1.0);
            const double r = i % 3 == 0 ? 0.3 : 4 * stray;
            ASSERT_NO_FATAL_FAILURE(
                ExpectSame(tree.tree.ClosestPoint(q, r), SlowClosestPoint(tree, q, r), q, r));
            std::vector<int> expected;
            for (const auto* entry : tree.Candidates(q, r)) {
                expected.push_back(entry->id);
            }
            EXPECT_EQ(tree.tree.TrianglesInBall(q, r), expected);
        }
    }
}

// --- lines far from zero ------------------------------------------------------------------------

/// A sheet of unit triangles two million units from zero: what the hit test says of all of them.
TEST(TriangleTreeLines, AreNotLostFarFromZero)
{
    constexpr int kSide = 40;
    Mesh3 mesh = Support::Grid(kSide, kSide);
    const Vec3d corner{2e6, 2e6, 2e6};
    for (Vec3d& point : mesh.points) {
        point += corner;
    }
    const TriangleTree tree(mesh.points, mesh.indices);
    Random random(10);
    int hits = 0;
    for (int i = 0; i < Support::Rounds(2000); ++i) {
        const Vec3d target =
            corner + Vec3d{random.Between(1, kSide - 1), random.Between(1, kSide - 1), 0};
        Vec3d direction = random.Vector<3, double>(-1, 1);
        direction[2] += direction[2] < 0 ? -0.2 : 0.2;
        const Vec3d origin = target - direction * random.Between(-50, 50);
        std::vector<int> expected;
        for (std::size_t t = 0; t < mesh.indices.size() / 3; ++t) {
            const auto [a, b, c] = TriangleOf(mesh, t);
            if (Intersect::RayTriangleHitPoint(a, b, c, origin, direction, nullptr, nullptr, true,
                                               1e-12)) {
                expected.push_back(static_cast<int>(t));
            }
        }
        ASSERT_FALSE(expected.empty()) << i;
        ASSERT_EQ(tree.LineHits(origin, direction), expected) << i;
        hits += static_cast<int>(expected.size());
    }
    EXPECT_GE(hits, Support::Rounds(2000));
}

/// Weights of the corners may be as low as -1e-12, which on a large triangle is farther out than
/// its box reaches.
TEST(TriangleTreeLines, HitLargeTrianglesWithinTheToleranceOfTheirWeights)
{
    const TriangleTree tree({{0, 0, 0}, {1e6, 0, 0}, {0, 1e6, 0}}, {0, 1, 2});
    EXPECT_EQ(tree.LineHits({3e5, -5e-7, 7}, {0, 0, 1}), std::vector<int>{0});
    EXPECT_TRUE(tree.LineHits({3e5, -3e-6, 7}, {0, 0, 1}).empty());
}

// --- batches ------------------------------------------------------------------------------------

TEST(TriangleTreeBatch, IsThatOfSingleQueriesToTheBit)
{
    Random random(11);
    const Mesh3 mesh = Support::Grid(60, 60);
    const TriangleTree tree(mesh.points, mesh.indices);
    std::vector<Vec3d> points;
    for (int i = 0; i < 40'000; ++i) { // ties abound, and reports come
        points.push_back(i % 2 == 0 ? random.Vector<3, double>(-5, 70)
                                    : Vec3d(random.Below(62), random.Below(62), random.Below(4)));
    }
    points[7] = {kNaN, 1, 1};
    points[8] = {kInfinity, 1, 1};
    points[9] = {1e300, -1e300, 1};
    points[10] = {1e12, 1, 1};
    for (const double r : {2.0, 1e9, 0.0, -3.0, kNaN}) {
        std::vector<double> shares;
        const auto closest = tree.ClosestPoints(points, r, [&](double share) {
            shares.push_back(share);
            return true;
        });
        ASSERT_EQ(closest.size(), points.size());
        for (std::size_t i = 11; i < points.size(); i += r == 2.0 ? 1 : 37) {
            ASSERT_EQ(closest[i], tree.ClosestPoint(points[i], r)) << i;
        }
        EXPECT_EQ(closest[7].id, -1);
        EXPECT_EQ(closest[8].id, -1);
        EXPECT_EQ(closest[10], tree.ClosestPoint(points[10], r));
        EXPECT_GE(shares.size(), 2U);
        EXPECT_TRUE(std::is_sorted(shares.begin(), shares.end()));
        EXPECT_EQ(shares.back(), 1.0);
    }
    const auto inRange = tree.ClosestPointsInRange(points, 4, 0.25, {});
    ASSERT_EQ(inRange.size(), points.size());
    for (std::size_t i = 11; i < points.size(); ++i) {
        ASSERT_EQ(inRange[i], tree.ClosestPointInRange(points[i], 0.25, 4)) << i;
    }
    for (const Closest& none : tree.ClosestPointsInRange(points, 0, -1, {})) {
        ASSERT_EQ(none, (Closest{{0, 0, 0}, -1}));
    }
}

TEST(TriangleTreeBatch, EndsWhenCancelled)
{
    const Mesh3 mesh = Support::Grid(9, 7);
    const TriangleTree tree(mesh.points, mesh.indices);
    int reports = 0;
    const auto cancel = [&](double share) {
        ++reports;
        EXPECT_GT(share, 0);
        EXPECT_LT(share, 1);
        return false;
    };
    const std::vector<Vec3d> points(50'000, Vec3d{1, 2, 3});
    EXPECT_TRUE(tree.ClosestPoints(points, 100, cancel).empty());
    EXPECT_EQ(reports, 1);
}

TEST(TriangleTreeBatch, OfNothingOrOfAnEmptyTree)
{
    const Mesh3 mesh = Support::Grid(3, 3);
    const TriangleTree tree(mesh.points, mesh.indices);
    EXPECT_TRUE(tree.ClosestPoints({}, 1, {}).empty());
    const std::vector<Closest> none = TriangleTree().ClosestPoints({{1, 2, 3}}, 5, {});
    EXPECT_EQ(none, (std::vector<Closest>{{{1, 2, 3}, -1}}));
}

// --- values -------------------------------------------------------------------------------------

TEST(TriangleTreeBuild, MovedTreesKeepTheirTriangles)
{
    const Mesh3 mesh = Support::Grid(9, 7);
    TriangleTree tree(mesh.points, mesh.indices);
    const Closest closest = tree.ClosestPoint({3, 3, 1}, 5);
    TriangleTree moved = std::move(tree);
    EXPECT_EQ(moved.ClosestPoint({3, 3, 1}, 5), closest);
    EXPECT_EQ(tree.TriangleCount(), 0U); // NOLINT(bugprone-use-after-move): it is empty then
    EXPECT_EQ(tree.ClosestPoint({3, 3, 1}, 5).id, -1);
    tree.AddTriangle({0, 0, 0}, {1, 0, 0}, {0, 1, 0}, 4);
    tree.Build();
    EXPECT_EQ(tree.ClosestPoint({0, 0, 0}, 1).id, 4);
}

TEST(TriangleTreeBuild, RootReachesFromTheMiddleToACorner)
{
    const TriangleTree tree({{0, 0, 0}, {6, 0, 0}, {0, 8, 24}}, {0, 1, 2});
    EXPECT_NEAR(tree.RootHalfSize(), 13, 1e-9); // 3, 4, 12
    EXPECT_EQ(tree.TriangleCount(), 1U);
    EXPECT_EQ(TriangleTree().RootHalfSize(), 0);
}

/// Adding and building happen, or leave the tree as it was.
TEST(TriangleTreeBuild, LackOfMemoryLeavesTheTreeAsItWas)
{
    const Mesh3 mesh = Support::Grid(4, 4);
    const auto prepare = [&] {
        TriangleTree tree(mesh.points, mesh.indices);
        tree.AddTriangle({0, 0, 5}, {1, 0, 5}, {0, 1, 5}, 77);
        return tree;
    };
    const auto check = [&](TriangleTree& tree) {
        EXPECT_EQ(tree.TriangleCount(), mesh.indices.size() / 3);
        EXPECT_EQ(tree.ClosestPoint({0, 0, 5}, 1).id, -1);
        EXPECT_EQ(tree.TrianglesInBall({0, 0, 0}, 100).size(), mesh.indices.size() / 3);
        tree.Build(); // what was added is still there
        EXPECT_EQ(tree.ClosestPoint({0, 0, 5}, 1).id, 77);
        EXPECT_EQ(tree.TriangleCount(), mesh.indices.size() / 3 + 1);
    };
    EXPECT_GE(Support::FailEachAllocation(
                  prepare, [](TriangleTree& tree) { tree.Build(); }, check),
              4U);
    EXPECT_GE(Support::FailEachAllocation(
                  prepare,
                  [](TriangleTree& tree) {
                      tree.AddTriangle({0, 0, 9}, {1, 0, 9}, {0, 1, 9}, 78);
                  },
                  check),
              1U);
}

static_assert(!std::is_copy_constructible_v<TriangleTree> &&
              std::is_nothrow_move_constructible_v<TriangleTree> &&
              std::is_nothrow_move_assignable_v<TriangleTree>);

} // namespace
