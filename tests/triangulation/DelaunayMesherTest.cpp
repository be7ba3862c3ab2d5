// DelaunayMesher: location, insertion, constraints, regions, and the Delaunay property of point
// sets of all kinds.

#include <Sorvane/DelaunayTriangulation_E.h>

#include "tests/support/CheckTopology.h"
#include "tests/support/TestSupport.h"
#include "tests/triangulation/CheckTriangles.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <limits>
#include <string>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane::HalfEdge;
using ::Test::Random;
using Points = std::vector<Vec2d>;
using Kind = DelaunayLocation::Kind;

template <class T>
using Mesher = DelaunayMesher<DelaunayNode<T>, DelaunayEdge, DelaunayFacet>;

template <class T>
struct Extracted {
    std::vector<VecBase<2, T>> points;
    std::vector<int> indices;
};

template <class T>
Extracted<T> Extract(Mesher<T>& mesher)
{
    Extracted<T> result;
    mesher.ExtractMesh(result.points, result.indices);
    return result;
}

/// Area of the convex hull by the monotone chain of A. M. Andrew, 1979.
double HullArea(Points points)
{
    std::sort(points.begin(), points.end(), [](const Vec2d& a, const Vec2d& b) {
        return a.x() != b.x() ? a.x() < b.x() : a.y() < b.y();
    });
    Points hull;
    const auto add = [&](const Vec2d& p, std::size_t fixed) {
        while (hull.size() > fixed + 1 &&
               ((hull.back() - hull[hull.size() - 2]) ^ (p - hull.back())) <= 0) {
            hull.pop_back();
        }
        hull.push_back(p);
    };
    for (const Vec2d& p : points) {
        add(p, 0);
    }
    const std::size_t lower = hull.size() - 1;
    for (std::size_t i = points.size(); i-- > 0;) {
        add(points[i], lower);
    }
    return ::Test::AreaOf(hull);
}

template <class T>
Points ToDoubles(const std::vector<VecBase<2, T>>& points)
{
    Points result;
    for (const auto& p : points) {
        result.push_back(Vec2d(p.x(), p.y()));
    }
    return result;
}

/// The deepest that a point lies inside the circle of a triangle, as a share of its radius, over
/// all triangles whose height is above rounding; brute force.
double DeepestInCircle(const Points& points, const std::vector<int>& indices)
{
    double deepest = 0;
    for (std::size_t t = 0; t < indices.size(); t += 3) {
        const auto corner = [&](std::size_t k) {
            return points[static_cast<std::size_t>(indices[t + k])];
        };
        const Vec2d b = corner(1) - corner(0);
        const Vec2d c = corner(2) - corner(0);
        const double area = b ^ c;
        if (area < 1e-9 * (b * b + c * c)) {
            continue; // the circle of a needle is known to no digit
        }
        const Vec2d center((c.y() * (b * b) - b.y() * (c * c)) / (2 * area),
                           (b.x() * (c * c) - c.x() * (b * b)) / (2 * area));
        const double radius = Length(center);
        for (const Vec2d& p : points) {
            deepest = std::max(deepest, 1 - Length(p - corner(0) - center) / radius);
        }
    }
    return deepest;
}

template <class T>
void ExpectDelaunay(const std::vector<VecBase<2, T>>& points, double depth)
{
    Mesher<T> mesher;
    mesher.points = points;
    ASSERT_TRUE(mesher.Triangulate());
    ASSERT_EQ(::Test::CheckTopology(mesher), "");
    const Extracted<T> result = Extract(mesher);
    ASSERT_EQ(::Test::CheckTopology(mesher), "");
    ASSERT_EQ(result.points, points);
    ASSERT_EQ(::Test::CheckTriangles(points, result.indices, 0), "");
    const Points exact = ToDoubles(points);
    const double area = HullArea(exact);
    EXPECT_NEAR(::Test::SumOfAreas(points, result.indices), area, 1e-12 * area);
    EXPECT_LE(DeepestInCircle(exact, result.indices), depth);
}

// --- small cases --------------------------------------------------------------------------------

template <class T>
class DelaunaySmall : public testing::Test {
};
using Coordinates = testing::Types<float, double>;
TYPED_TEST_SUITE(DelaunaySmall, Coordinates);

TYPED_TEST(DelaunaySmall, FieldsBeginAsTheyAreTold)
{
    const Mesher<TypeParam> mesher;
    EXPECT_FALSE(mesher.hasOuterTriangle);
    EXPECT_TRUE(mesher.noConstraints);
    EXPECT_EQ(mesher.flipTolerance, 0);
    EXPECT_EQ(mesher.minDoubleArea, kLengthFloor<TypeParam>);
    EXPECT_EQ(mesher.reservedTolerance, kLengthFloor<TypeParam>);
    EXPECT_EQ(mesher.hintFace, -1);
}

TYPED_TEST(DelaunaySmall, NoPoints)
{
    Mesher<TypeParam> mesher;
    EXPECT_TRUE(mesher.Triangulate());
    EXPECT_TRUE(mesher.hasOuterTriangle);
    EXPECT_EQ(mesher.NodeCount(), 3);
    EXPECT_EQ(mesher.FaceCount(), 1);
    const auto result = Extract(mesher);
    EXPECT_TRUE(result.points.empty());
    EXPECT_TRUE(result.indices.empty());
}

TYPED_TEST(DelaunaySmall, OneOrTwoPointsAndPointsOnALineHaveNoTriangle)
{
    for (const int count : {1, 2, 3, 4, 9}) {
        for (const bool slanted : {false, true}) {
            Mesher<TypeParam> mesher;
            for (int i = 0; i < count; ++i) {
                mesher.points.push_back(VecBase<2, TypeParam>(i, slanted ? 2 * i : 0));
            }
            // A single point has an outer triangle without extent and can't be told from it.
            EXPECT_EQ(mesher.Triangulate(), count > 1);
            EXPECT_TRUE(Extract(mesher).indices.empty()) << count;
        }
    }
}

TYPED_TEST(DelaunaySmall, TheOuterTriangleHasItsOwnShape)
{
    Mesher<TypeParam> mesher;
    mesher.points = {{0, 0}, {6, 8}, {6, 0}};
    ASSERT_TRUE(mesher.Triangulate());
    const double r = 25; // five times from (0, 0) to the centre (3, 4)
    const double c = std::cos(kPi<double> / 12);
    const double s = std::sin(kPi<double> / 12);
    const std::array<Vec2d, 3> expected{Vec2d(3 - r * c, 4 - r * s), Vec2d(3 + r * c, 4 - r * s),
                                        Vec2d(3, 4 + r)};
    for (int node = 0; node < 3; ++node) {
        const auto at = mesher.GetVertex(node);
        EXPECT_NEAR(at.x(), expected[static_cast<std::size_t>(node)].x(), 1e-5);
        EXPECT_NEAR(at.y(), expected[static_cast<std::size_t>(node)].y(), 1e-5);
        EXPECT_FALSE(mesher.NodeRecord(node)->fromInput);
        EXPECT_TRUE(mesher.NodeRecord(node + 3)->fromInput);
        EXPECT_TRUE(mesher.IsNodeLocked(node + 3));
        EXPECT_FALSE(mesher.IsNodeLocked(node));
    }
}

TYPED_TEST(DelaunaySmall, ARepeatedPointFails)
{
    Mesher<TypeParam> mesher;
    mesher.points = {{0, 0}, {4, 0}, {0, 4}, {1, 1}, {4, 0}, {3, 3}};
    EXPECT_FALSE(mesher.Triangulate());
    EXPECT_EQ(mesher.NodeCount(), 7); // what was built until then stays
    EXPECT_EQ(::Test::CheckTopology(mesher), "");
    EXPECT_EQ(::Test::SumOfAreas(mesher.points, Extract(mesher).indices), 8);
}

TYPED_TEST(DelaunaySmall, NonFinitePointsFail)
{
    using Limits = std::numeric_limits<TypeParam>;
    for (const TypeParam bad : {Limits::quiet_NaN(), Limits::infinity()}) {
        Mesher<TypeParam> mesher;
        mesher.points = {{0, 0}, {4, 0}, {bad, 4}};
        EXPECT_FALSE(mesher.Triangulate());
        EXPECT_TRUE(Extract(mesher).indices.empty());
    }
}

TYPED_TEST(DelaunaySmall, LocatesNodesEdgesAndFaces)
{
    Mesher<TypeParam> mesher;
    mesher.points = {{0, 0}, {4, 0}, {0, 4}};
    ASSERT_TRUE(mesher.Triangulate());
    for (const int hint : {0, 1, 2, 3, 4}) {
        mesher.hintFace = hint;
        EXPECT_EQ(mesher.Locate({4, 0}).kind, Kind::Node);
        EXPECT_EQ(mesher.Locate({4, 0}).index, 4);
        const DelaunayLocation side = mesher.Locate({2, 2});
        ASSERT_EQ(side.kind, Kind::Edge);
        const std::vector<int> ends = mesher.EdgeNodes(side.index);
        EXPECT_EQ(std::set<int>(ends.begin(), ends.end()), (std::set<int>{4, 5}));
        const DelaunayLocation face = mesher.Locate({1, 1});
        ASSERT_EQ(face.kind, Kind::Face);
        std::vector<int> corners = mesher.FaceNodes(face.index);
        std::sort(corners.begin(), corners.end());
        EXPECT_EQ(corners, (std::vector<int>{3, 4, 5}));
        EXPECT_EQ(mesher.Locate({1000, 0}).kind, Kind::Nowhere);
    }
    mesher.hintFace = -1;
    EXPECT_EQ(mesher.Locate({1, 1}).kind, Kind::Nowhere);
}

TYPED_TEST(DelaunaySmall, APointOnAnEdgeSplitsIt)
{
    Mesher<TypeParam> mesher;
    mesher.points = {{0, 0}, {4, 0}, {0, 4}, {4, 4}, {2, 2}, {2, 0}};
    ASSERT_TRUE(mesher.Triangulate());
    EXPECT_EQ(::Test::CheckTopology(mesher), "");
    EXPECT_LT(mesher.FindEdge(3, 4), 0);
    EXPECT_GE(mesher.FindEdge(3, 8), 0);
    EXPECT_GE(mesher.FindEdge(8, 4), 0);
    EXPECT_EQ(::Test::SumOfAreas(mesher.points, Extract(mesher).indices), 16);
}

TEST(DelaunayMesher, APointTooNearToASideGoesOntoIt)
{
    // 1e-11 over a side of length 1: a doubled area of 1e-11, but not within 1e-12 of the side.
    Mesher<double> mesher;
    mesher.points = {{0, 0}, {1, 0}, {0.5, 1}, {0.5, -1}};
    ASSERT_TRUE(mesher.Triangulate());
    ASSERT_GE(mesher.FindEdge(3, 4), 0);
    EXPECT_EQ(mesher.Locate({0.5, 1e-11}).kind, Kind::Face);
    const int node = mesher.InsertPoint({0.5, 1e-11});
    ASSERT_EQ(node, 7);
    EXPECT_EQ(::Test::CheckTopology(mesher), "");
    EXPECT_EQ(mesher.Valence(node), 4);
    EXPECT_LT(mesher.FindEdge(3, 4), 0);
}

TEST(DelaunayMesher, NeedlesThatReachFarOutTakePoints)
{
    // Pairs 1e-5 apart: the outer triangles between them have areas that plain products of far
    // differences know to few digits only.
    Random random(8);
    Points points;
    for (int i = 0; i < 300; ++i) {
        const Vec2d p = random.Vector<2, double>(100, 200);
        points.push_back(p);
        points.push_back(p + Vec2d(random.Between(-1e-5, 1e-5), random.Between(-1e-5, 1e-5)));
    }
    ExpectDelaunay<double>(points, 1e-4);
}

TEST(DelaunayMesher, HullPocketsAreClosed)
{
    // The corner (5, 0.001) sees two outer nodes below; the hull runs straight past it.
    ExpectDelaunay<double>({{5, 0.001}, {0, 0}, {10, 0}, {5, 10}}, 1e-12);
    Random random(31);
    for (int round = 0; round < 400; ++round) {
        Points points;
        for (int i = 0; i < 60; ++i) {
            points.push_back(random.Vector<2, double>(-1, 1));
        }
        ExpectDelaunay<double>(points, 1e-9);
    }
}

// --- point sets ---------------------------------------------------------------------------------

template <class T>
std::vector<VecBase<2, T>> Made(int count, const std::function<Vec2d(int)>& make)
{
    std::vector<VecBase<2, T>> points;
    std::set<std::pair<T, T>> seen;
    for (int i = 0; i < count; ++i) {
        const Vec2d p = make(i);
        const VecBase<2, T> point(p.x(), p.y());
        if (seen.insert({point.x(), point.y()}).second) {
            points.push_back(point);
        }
    }
    return points;
}

TYPED_TEST(DelaunaySmall, PointSetsOfAllKinds)
{
    using T = TypeParam;
    Random random(4);
    const double rounding = sizeof(T) == 4 ? 1e-6 : 1e-9;
    const auto uniform = [&](int) { return random.Vector<2, double>(0, 1); };
    ExpectDelaunay<T>(Made<T>(1000, uniform), rounding);
    ExpectDelaunay<T>(Made<T>(500, [&](int) { return random.Vector<2, double>(1e4, 1e4 + 100); }),
                      rounding);
    ExpectDelaunay<T>(Made<T>(400, [](int i) { return Vec2d(i % 20, i / 20); }), rounding);
    ExpectDelaunay<T>(Made<T>(400, [](int i) { return Vec2d(19 - i % 20, i / 20 * 0.01); }),
                      rounding);
    const auto onCircle = [](int i) { return Vec2d(5 * std::cos(i * 0.1), 5 * std::sin(i * 0.1)); };
    ExpectDelaunay<T>(Made<T>(63, onCircle), rounding);
    // In float an area of 1e-8 is too small to be split.
    const double unit = sizeof(T) == 4 ? 100 : 1;
    const auto clustered = [&](int i) {
        const double size = unit * std::pow(10.0, -(i % 4));
        return Vec2d(random.Between(0, size) + unit * (i % 3), random.Between(0, size));
    };
    ExpectDelaunay<T>(Made<T>(600, clustered), 10 * rounding);
    std::vector<VecBase<2, T>> sorted = Made<T>(1000, uniform);
    std::sort(sorted.begin(), sorted.end(), [](const auto& a, const auto& b) {
        return a.x() != b.x() ? a.x() < b.x() : a.y() < b.y();
    });
    ExpectDelaunay<T>(sorted, rounding);
}

TEST(DelaunayMesher, TheSameInEveryRunAndAfterASecondExtraction)
{
    Random random(12);
    Points points;
    for (int i = 0; i < 500; ++i) {
        points.push_back(random.Vector<2, double>(0, 1));
    }
    Extracted<double> results[2];
    for (auto& result : results) {
        Mesher<double> mesher;
        mesher.points = points;
        ASSERT_TRUE(mesher.Triangulate());
        result = Extract(mesher);
        EXPECT_FALSE(mesher.hasOuterTriangle);
        const Extracted<double> again = Extract(mesher);
        EXPECT_EQ(again.points, result.points);
        EXPECT_EQ(again.indices, result.indices);
    }
    EXPECT_EQ(results[0].indices, results[1].indices);
}

TEST(DelaunayMesher, TellsOfEachInsertedPoint)
{
    struct Counting : Mesher<double> {
        std::vector<std::pair<int, int>> told;
        void OnPointInserted(int point, int node) override { told.emplace_back(point, node); }
    } mesher;
    mesher.points = {{0, 0}, {1, 0}, {0, 1}};
    ASSERT_TRUE(mesher.Triangulate());
    EXPECT_EQ(mesher.told, (std::vector<std::pair<int, int>>{{0, 3}, {1, 4}, {2, 5}}));
}

/// What the two meshes hold is the same, slot by slot.
template <class T>
void ExpectSameMesh(const Mesher<T>& mesh, const Mesher<T>& other)
{
    ASSERT_EQ(mesh.NodeCount(), other.NodeCount());
    ASSERT_EQ(mesh.EdgeCount(), other.EdgeCount());
    ASSERT_EQ(mesh.FaceCount(), other.FaceCount());
    for (int node = 0; node < mesh.NodeCount(); ++node) {
        ASSERT_EQ(mesh.NodeEdges(node), other.NodeEdges(node));
    }
    for (int edge = 0; edge < mesh.EdgeCount(); ++edge) {
        ASSERT_EQ(mesh.EdgeNodes(edge), other.EdgeNodes(edge));
        ASSERT_EQ(mesh.EdgeFaces(edge), other.EdgeFaces(edge));
    }
    for (int face = 0; face < mesh.FaceCount(); ++face) {
        ASSERT_EQ(mesh.FaceNodes(face), other.FaceNodes(face));
    }
}

// The edits of a derived mesher go through the virtual operations, those of a plain one do not.
TYPED_TEST(DelaunaySmall, ADerivedMesherBuildsTheSameMesh)
{
    using T = TypeParam;
    struct Watching : Mesher<T> {
        int flips = 0;
        int splits = 0;
        int sound = 0;
        bool FlipEdge(int edge, bool force) override
        {
            ++flips;
            return Mesher<T>::FlipEdge(edge, force);
        }
        bool SplitFace(int face, int& node, bool force) override
        {
            ++splits;
            return Mesher<T>::SplitFace(face, node, force);
        }
        // `CheckTopology` compares the look-up with the records.
        void OnPointInserted(int, int) override
        {
            sound += ::Test::CheckTopology(*this).empty() ? 1 : 0;
        }
    };
    Random random(15);
    for (const bool onLattice : {false, true}) {
        const auto points = Made<T>(150, [&](int) {
            const Vec2d p = random.Vector<2, double>(0, 12);
            return onLattice ? Vec2d(std::floor(p.x()), std::floor(p.y())) : p;
        });
        Mesher<T> plain;
        Watching derived;
        plain.points = derived.points = points;
        ASSERT_TRUE(plain.Triangulate());
        ASSERT_TRUE(derived.Triangulate());
        EXPECT_EQ(derived.sound, static_cast<int>(points.size()));
        EXPECT_GT(derived.flips, 50);
        EXPECT_GT(derived.splits, 20);
        EXPECT_EQ(plain.hintFace, derived.hintFace);
        ExpectSameMesh<T>(plain, derived);
    }
}

// Each point is joined to the one before while the points come in.
TEST(DelaunayMesher, ItsHookMayInsertConstraints)
{
    struct Joining : Mesher<double> {
        int joined = 0;
        void OnPointInserted(int point, int node) override
        {
            if (point % 10 != 0) {
                joined += InsertEdge(node - 1, node) && FindEdge(node - 1, node) >= 0 ? 1 : 0;
            }
        }
    } mesher;
    Random random(16);
    // Chains of ten points, one above the other.
    for (int i = 0; i < 300; ++i) {
        mesher.points.push_back(Vec2d(i % 10 + random.Between(-0.2, 0.2),
                                      3.0 * (i / 10) + random.Between(-0.9, 0.9)));
    }
    ASSERT_TRUE(mesher.Triangulate());
    EXPECT_EQ(mesher.joined, 270);
    ASSERT_EQ(::Test::CheckTopology(mesher), "");
    for (int i = 0; i < 300; ++i) {
        if (i % 10 != 0) {
            ASSERT_TRUE(mesher.IsEdgeLocked(mesher.FindEdge(i + 2, i + 3))) << i;
        }
    }
    const Extracted<double> result = Extract(mesher);
    EXPECT_EQ(::Test::CheckTriangles(result.points, result.indices, 0), "");
    EXPECT_NEAR(::Test::SumOfAreas(result.points, result.indices), HullArea(mesher.points), 1e-9);
}

TEST(DelaunayMesher, AFailedSecondRunLeavesNothingOfTheFirst)
{
    Mesher<double> mesher;
    mesher.points = {{0, 0}, {4, 0}, {0, 4}};
    ASSERT_TRUE(mesher.Triangulate());
    mesher.points[1] = {std::numeric_limits<double>::infinity(), 0};
    EXPECT_FALSE(mesher.Triangulate());
    EXPECT_FALSE(mesher.hasOuterTriangle);
    EXPECT_EQ(mesher.hintFace, -1);
    EXPECT_TRUE(Extract(mesher).indices.empty());
    mesher.points[1] = {2, 0};
    EXPECT_TRUE(mesher.Triangulate());
    EXPECT_EQ(::Test::SumOfAreas(mesher.points, Extract(mesher).indices), 4);
}

// --- predicates ---------------------------------------------------------------------------------

TEST(DelaunayMesher, LocallyDelaunayByTheSumOfAngles)
{
    Mesher<double> mesher;
    mesher.points = {{0, 0}, {4, 0}, {2, 3}, {2, -3}};
    ASSERT_TRUE(mesher.Triangulate());
    const int flat = mesher.FindEdge(3, 4);
    ASSERT_GE(flat, 0);
    EXPECT_TRUE(mesher.IsLocallyDelaunay(flat, 0));
    EXPECT_FALSE(mesher.IsLocallyDelaunay(flat, -kPi<double>));
    EXPECT_TRUE(mesher.IsConvexQuad(flat));
    mesher.NodeRecord(5)->position = {2, 0.5};
    EXPECT_TRUE(mesher.IsConvexQuad(flat));
    mesher.NodeRecord(6)->position = {2, -0.5};
    EXPECT_FALSE(mesher.IsLocallyDelaunay(flat, 0));
    EXPECT_TRUE(mesher.IsLocallyDelaunay(flat, kPi<double>));
    mesher.NodeRecord(5)->position = {6, 0.5};
    EXPECT_FALSE(mesher.IsConvexQuad(flat));
    const int outer = mesher.FindEdge(0, 1);
    EXPECT_TRUE(mesher.IsLocallyDelaunay(outer, 0));
    EXPECT_FALSE(mesher.IsConvexQuad(outer));
    EXPECT_TRUE(mesher.IsLocallyDelaunay(-1, 0));
}

// --- constraints --------------------------------------------------------------------------------

TYPED_TEST(DelaunaySmall, AConstraintThatIsAnEdgeChangesNothing)
{
    Mesher<TypeParam> mesher;
    mesher.points = {{0, 0}, {4, 0}, {0, 4}, {4, 5}};
    ASSERT_TRUE(mesher.Triangulate());
    const int edge = mesher.FindEdge(3, 4);
    ASSERT_GE(edge, 0);
    const int edges = mesher.EdgeCount();
    EXPECT_FALSE(mesher.IsEdgeLocked(edge));
    EXPECT_TRUE(mesher.InsertEdge(3, 4));
    EXPECT_TRUE(mesher.InsertEdge(4, 3));
    EXPECT_TRUE(mesher.EdgeRecord(edge)->constrained);
    EXPECT_TRUE(mesher.EdgeRecord(edge ^ 1)->constrained);
    EXPECT_TRUE(mesher.IsEdgeLocked(edge));
    EXPECT_EQ(mesher.EdgeCount(), edges);
    EXPECT_TRUE(mesher.noConstraints); // for the caller to clear
}

TYPED_TEST(DelaunaySmall, ConstraintsThatCannotBeAreRefused)
{
    Mesher<TypeParam> mesher;
    mesher.points = {{0, 0}, {4, 0}, {8, 0}, {4, 4}, {4, -4}};
    ASSERT_TRUE(mesher.Triangulate());
    EXPECT_FALSE(mesher.InsertEdge(3, 3));
    EXPECT_FALSE(mesher.InsertEdge(3, 99));
    EXPECT_FALSE(mesher.InsertEdge(-1, 3));
    const int edges = mesher.EdgeCount();
    EXPECT_FALSE(mesher.InsertEdge(3, 5)); // runs through (4, 0)
    EXPECT_FALSE(mesher.InsertEdge(5, 3));
    EXPECT_EQ(mesher.EdgeCount(), edges);
    EXPECT_TRUE(mesher.FreeEdges().empty());
    EXPECT_EQ(::Test::CheckTopology(mesher), "");
}

TEST(DelaunayMesher, ALaterConstraintTakesTheOneItCrosses)
{
    Mesher<double> mesher;
    mesher.points = {{0, 0}, {4, 0}, {4, 4}, {0, 4}};
    ASSERT_TRUE(mesher.Triangulate());
    EXPECT_TRUE(mesher.InsertEdge(3, 5));
    EXPECT_TRUE(mesher.InsertEdge(4, 6));
    EXPECT_LT(mesher.FindEdge(3, 5), 0);
    EXPECT_TRUE(mesher.IsEdgeLocked(mesher.FindEdge(4, 6)));
    EXPECT_EQ(::Test::CheckTopology(mesher), "");
}

TEST(DelaunayMesher, APointOnAConstraintCarriesItOn)
{
    Mesher<double> mesher;
    mesher.points = {{0, 0}, {4, 0}, {4, 4}, {0, 4}};
    ASSERT_TRUE(mesher.Triangulate());
    ASSERT_TRUE(mesher.InsertEdge(3, 5));
    mesher.hintFace = 0;
    const int node = mesher.InsertPoint({1, 1});
    ASSERT_EQ(node, 7);
    EXPECT_TRUE(mesher.IsEdgeLocked(mesher.FindEdge(3, node)));
    EXPECT_TRUE(mesher.IsEdgeLocked(mesher.FindEdge(node, 5)));
    EXPECT_FALSE(mesher.IsEdgeLocked(mesher.FindEdge(node, 4)));
    EXPECT_FALSE(mesher.IsEdgeLocked(mesher.FindEdge(node, 6)));
}

// Segments between random nodes, long ones through hundreds of triangles: each becomes an edge, and
// the mesh stays a triangulation of the hull.
TYPED_TEST(DelaunaySmall, LongConstraintsBecomeEdges)
{
    using T = TypeParam;
    Random random(77);
    for (int round = 0; round < 30; ++round) {
        const int count = round < 25 ? 80 : 1500;
        Mesher<T> mesher;
        const bool onLattice = round % 5 == 4;
        mesher.points = Made<T>(count, [&](int) {
            const Vec2d p = random.Vector<2, double>(0, 40);
            return onLattice ? Vec2d(std::floor(p.x()), std::floor(p.y())) : p;
        });
        ASSERT_TRUE(mesher.Triangulate());
        int inserted = 0;
        for (int i = 0; i < 40; ++i) {
            const int nodes = static_cast<int>(mesher.points.size());
            const int a = 3 + random.Below(nodes);
            const int b = 3 + random.Below(nodes);
            if (mesher.InsertEdge(a, b)) {
                ++inserted;
                const int edge = mesher.FindEdge(a, b);
                ASSERT_GE(edge, 0);
                EXPECT_TRUE(mesher.IsEdgeLocked(edge));
            }
            ASSERT_EQ(::Test::CheckTopology(mesher), "") << "round " << round << ", edge " << i;
        }
        EXPECT_GT(inserted, onLattice ? 5 : 30);
        const Extracted<T> result = Extract(mesher);
        ASSERT_EQ(::Test::CheckTriangles(result.points, result.indices, 0), "");
        const double area = HullArea(ToDoubles(result.points));
        EXPECT_NEAR(::Test::SumOfAreas(result.points, result.indices), area, 1e-9 * area);
    }
}

TEST(DelaunayMesher, RegionsAlternateFromTheOutside)
{
    Mesher<double> mesher;
    for (const double half : {3.0, 2.0, 1.0}) {
        mesher.points.insert(mesher.points.end(),
                             {{-half, -half}, {half, -half}, {half, half}, {-half, half}});
    }
    ASSERT_TRUE(mesher.Triangulate());
    for (int square = 0; square < 3; ++square) {
        for (int side = 0; side < 4; ++side) {
            const int first = 3 + 4 * square;
            ASSERT_TRUE(mesher.InsertEdge(first + side, first + (side + 1) % 4));
        }
    }
    mesher.noConstraints = false;
    mesher.ClassifyRegions();
    double area[3] = {0, 0, 0};
    for (int face = 0; face < mesher.FaceCount(); ++face) {
        const std::vector<int> corners = mesher.FaceNodes(face);
        if (corners.size() == 3 && *std::min_element(corners.begin(), corners.end()) >= 3) {
            const std::array<int, 3> points{corners[0] - 3, corners[1] - 3, corners[2] - 3};
            area[mesher.FaceRecord(face)->region] +=
                ::Test::TriangleArea(mesher.points, points.data());
        }
    }
    EXPECT_DOUBLE_EQ(area[0], 0);
    EXPECT_DOUBLE_EQ(area[1], 36 - 16 + 4);
    EXPECT_DOUBLE_EQ(area[2], 16 - 4);
    mesher.RemoveOuterTriangle();
    EXPECT_FALSE(mesher.IsValidNode(0));
    EXPECT_TRUE(mesher.RemoveNonInterior());
    EXPECT_FALSE(mesher.RemoveNonInterior());
    EXPECT_EQ(::Test::CheckTopology(mesher), "");
}

} // namespace
