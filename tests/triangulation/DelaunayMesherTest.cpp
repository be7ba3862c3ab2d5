// DelaunayMesher: location, insertion, constraints, regions, and the Delaunay property of point
// sets of all kinds.

#include <Sorvane/DelaunayTriangulation_E.h>

#include "tests/support/CheckTopology.h"
#include "tests/support/Rounds.h"
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
using Support::Random;
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
    return Support::AreaOf(hull);
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
    ASSERT_EQ(Support::CheckTopology(mesher), "");
    const Extracted<T> result = Extract(mesher);
    ASSERT_EQ(Support::CheckTopology(mesher), "");
    ASSERT_EQ(result.points, points);
    ASSERT_EQ(Support::CheckTriangles(points, result.indices, 0), "");
    const Points exact = ToDoubles(points);
    const double area = HullArea(exact);
    EXPECT_NEAR(Support::SumOfAreas(points, result.indices), area, 1e-12 * area);
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

    const auto place = [](const auto& field) { return static_cast<const void*>(&field); };
    const std::vector<const void*> places{
        place(mesher.hasOuterTriangle),  place(mesher.noConstraints),
        place(mesher.flipTolerance),     place(mesher.minDoubleArea),
        place(mesher.reservedTolerance), place(mesher.points),
        place(mesher.hintFace)};
    EXPECT_TRUE(std::is_sorted(places.begin(), places.end(), std::less<>()));
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
    const double r = 25; // five times from (0, 0) to the center (3, 4)
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
    EXPECT_EQ(Support::CheckTopology(mesher), "");
    EXPECT_EQ(Support::SumOfAreas(mesher.points, Extract(mesher).indices), 8);
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

/// Distance of `p` to the segment between two points.
double DistanceTo(const Vec2d& a, const Vec2d& b, const Vec2d& p)
{
    const Vec2d d = b - a;
    return Length(p - a - std::clamp(((p - a) * d) / (d * d), 0.0, 1.0) * d);
}

/// What lies at `p`, by a look at every node, edge and face.
std::set<std::pair<Kind, int>> AllAt(const Mesher<double>& mesher, const Vec2d& p)
{
    std::set<std::pair<Kind, int>> found;
    for (int node = 0; node < mesher.NodeCount(); ++node) {
        const Vec2d off = mesher.GetVertex(node) - p;
        if (std::max(std::fabs(off.x()), std::fabs(off.y())) <= 1e-12) {
            found.insert({Kind::Node, node});
        }
    }
    if (!found.empty()) {
        return found;
    }
    for (int edge = 0; edge < mesher.EdgeCount(); ++edge) {
        const std::vector<int> ends = mesher.EdgeNodes(edge);
        if (DistanceTo(mesher.GetVertex(ends[0]), mesher.GetVertex(ends[1]), p) <= 1e-12) {
            found.insert({Kind::Edge, edge});
        }
    }
    if (!found.empty()) {
        return found;
    }
    for (int face = 0; face < mesher.FaceCount(); ++face) {
        const std::vector<int> corners = mesher.FaceNodes(face);
        bool isIn = true;
        for (std::size_t k = 0; k < 3; ++k) {
            const Vec2d a = mesher.GetVertex(corners[k]);
            isIn = isIn && ((mesher.GetVertex(corners[(k + 1) % 3]) - a) ^ (p - a)) > 0;
        }
        if (isIn) {
            found.insert({Kind::Face, face});
        }
    }
    return found;
}

// Nodes within 1e-12 on either axis, edges within 1e-12, from wherever the walk begins.
TEST(DelaunayMesher, LocatesWhatALookAtAllRecordsFinds)
{
    Mesher<double> mesher;
    Random random(52);
    for (int i = 0; i < 40; ++i) {
        mesher.points.push_back(random.Vector<2, double>(0, 1));
    }
    ASSERT_TRUE(mesher.Triangulate());
    ASSERT_TRUE(mesher.InsertEdge(3, 42));
    ASSERT_TRUE(mesher.InsertEdge(10, 30));

    Points queries;
    for (int i = 0; i < 60; ++i) {
        queries.push_back(random.Vector<2, double>(-1, 2));
    }
    for (int node = 3; node < mesher.NodeCount(); ++node) {
        const Vec2d at = mesher.GetVertex(node);
        for (const double off : {0.0, 0.97e-12, 1.03e-12, 3e-12}) {
            queries.push_back(at + Vec2d(off, 0.97e-12));
            queries.push_back(at - Vec2d(0.97e-12, off));
        }
    }
    for (int edge = 0; edge < mesher.EdgeCount(); edge += 3) {
        const std::vector<int> ends = mesher.EdgeNodes(edge);
        const Vec2d a = mesher.GetVertex(ends[0]);
        const Vec2d d = mesher.GetVertex(ends[1]) - a;
        const Vec2d left = Vec2d(-d.y(), d.x()) / Length(d);
        const bool isLong = Length(d) > 2; // its points lie in coarser steps
        for (const double off : {0.0, 0.95e-12, 1.05e-12, 1e-9}) {
            if (!isLong) {
                queries.push_back(a + random.Between(0.1, 0.9) * d + off * left);
            }
        }
    }
    for (const Vec2d& p : queries) {
        auto all = AllAt(mesher, p);
        if (all.empty()) {
            all.insert({Kind::Nowhere, -1});
        }
        for (int start = 0; start < 6; ++start) {
            mesher.hintFace = (start * 13 + 1) % mesher.FaceCount();
            const DelaunayLocation found = mesher.Locate(p);
            ASSERT_TRUE(all.count({found.kind, found.index}) == 1)
                << p.x() << " " << p.y() << " kind " << static_cast<int>(found.kind);
        }
    }
}

TYPED_TEST(DelaunaySmall, APointOnAnEdgeSplitsIt)
{
    Mesher<TypeParam> mesher;
    mesher.points = {{0, 0}, {4, 0}, {0, 4}, {4, 4}, {2, 2}, {2, 0}};
    ASSERT_TRUE(mesher.Triangulate());
    EXPECT_EQ(Support::CheckTopology(mesher), "");
    EXPECT_LT(mesher.FindEdge(3, 4), 0);
    EXPECT_GE(mesher.FindEdge(3, 8), 0);
    EXPECT_GE(mesher.FindEdge(8, 4), 0);
    EXPECT_EQ(Support::SumOfAreas(mesher.points, Extract(mesher).indices), 16);
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
    EXPECT_EQ(Support::CheckTopology(mesher), "");
    EXPECT_EQ(mesher.Valence(node), 4);
    EXPECT_LT(mesher.FindEdge(3, 4), 0);
}

// A constrained side is split when the point goes onto it, and stays when the face takes the point.
TEST(DelaunayMesher, ADoubledAreaOfTenToTheMinusTenIsOnTheSide)
{
    for (const double height : {0.9e-10, 1.1e-10}) {
        for (const double side : {1.0, -1.0}) {
            Mesher<double> mesher;
            mesher.points = {{0, 0}, {1, 0}, {0.5, 1}, {0.5, -1}};
            ASSERT_TRUE(mesher.Triangulate());
            ASSERT_TRUE(mesher.InsertEdge(3, 4));
            const int node = mesher.InsertPoint({0.5, side * height});
            ASSERT_EQ(node, 7);
            EXPECT_EQ(mesher.FindEdge(3, 4) < 0, height < 1e-10) << height;
            EXPECT_EQ(mesher.IsEdgeLocked(mesher.FindEdge(3, node)), height < 1e-10);
            EXPECT_EQ(Support::CheckTopology(mesher), "");
        }
    }
}

TEST(DelaunayMesher, OfSidesEquallyNearTheFirstTakesThePoint)
{
    Mesher<double> mesher;
    mesher.points = {{0, 0}, {1, 0}, {0, 1}, {-1, -2}, {-2, -1}};
    ASSERT_TRUE(mesher.Triangulate());
    ASSERT_TRUE(mesher.InsertEdge(3, 4));
    ASSERT_TRUE(mesher.InsertEdge(3, 5));
    const Vec2d p(std::ldexp(1.0, -36), std::ldexp(1.0, -36)); // distances without rounding
    const DelaunayLocation face = mesher.Locate(p);
    ASSERT_EQ(face.kind, Kind::Face);
    const std::vector<int> corners = mesher.FaceNodes(face.index);
    std::set<int> first; // of the two sides at the corner
    for (std::size_t k = 0; k < 3 && first.empty(); ++k) {
        if (corners[k] == 3 || corners[(k + 1) % 3] == 3) {
            first = {corners[k], corners[(k + 1) % 3]};
        }
    }
    const int taken = *first.rbegin();
    const int kept = taken == 4 ? 5 : 4;
    ASSERT_EQ(mesher.InsertPoint(p), 8);
    EXPECT_LT(mesher.FindEdge(3, taken), 0);
    EXPECT_GE(mesher.FindEdge(3, kept), 0);
    EXPECT_EQ(Support::CheckTopology(mesher), "");
}

TEST(DelaunayMesher, FacesBelowTwiceTheLeastAreaTakeNoPoint)
{
    for (const double least : {0.49, 0.5, 0.51}) {
        Mesher<double> mesher;
        mesher.points = {{0, 0}, {1, 0}, {0, 1}};
        ASSERT_TRUE(mesher.Triangulate());
        mesher.minDoubleArea = least; // the doubled area is 1
        const int count = mesher.NodeCount();
        EXPECT_EQ(mesher.InsertPoint({0.25, 0.25}), least <= 0.5 ? 6 : -3);
        EXPECT_EQ(mesher.NodeCount(), least <= 0.5 ? count + 1 : count);
    }
}

TEST(DelaunayMesher, NewFacesTakeTheRegionOfTheOld)
{
    Mesher<double> mesher;
    mesher.points = {{0, 0}, {4, 0}, {4, 4}, {0, 4}};
    ASSERT_TRUE(mesher.Triangulate());
    for (const auto& [a, b] : {std::pair(3, 4), {4, 5}, {5, 6}, {6, 3}}) {
        ASSERT_TRUE(mesher.InsertEdge(a, b));
    }
    ASSERT_TRUE(mesher.InsertEdge(3, 5));
    mesher.noConstraints = false;
    mesher.ClassifyRegions();
    mesher.hintFace = mesher.EdgeRecord(mesher.FindEdge(3, 5))->face;
    EXPECT_GE(mesher.InsertPoint({3, 1}), 0); // in a face
    EXPECT_GE(mesher.InsertPoint({2, 0}), 0); // on a side between two regions
    EXPECT_GE(mesher.InsertPoint({2, 2}), 0); // on a constraint between them
    for (int face = 0; face < mesher.FaceCount(); ++face) {
        double x = 0;
        double y = 0;
        for (const int corner : mesher.FaceNodes(face)) {
            x += mesher.GetVertex(corner).x() / 3;
            y += mesher.GetVertex(corner).y() / 3;
        }
        const bool isOutside = x < 0 || x > 4 || y < 0 || y > 4;
        const int below = mesher.FaceRecord(face)->region;
        EXPECT_EQ(isOutside, below == 2) << x << " " << y;
        EXPECT_NE(below, 0);
    }
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
    for (int round = 0; round < Support::Rounds(400); ++round) {
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

/// Triangles between points, each from its lowest node on, in order.
template <class T>
std::vector<std::vector<int>> InnerTriangles(const Mesher<T>& mesh)
{
    std::vector<std::vector<int>> triangles;
    for (int face = 0; face < mesh.FaceCount(); ++face) {
        std::vector<int> nodes = mesh.FaceNodes(face);
        std::rotate(nodes.begin(), std::min_element(nodes.begin(), nodes.end()), nodes.end());
        if (!nodes.empty() && nodes.front() > 2) { // a deleted face has none
            triangles.push_back(nodes);
        }
    }
    std::sort(triangles.begin(), triangles.end());
    return triangles;
}

// The edits of a derived mesher go through the virtual operations, those of a plain one do not.
TYPED_TEST(DelaunaySmall, ADerivedMesherBuildsTheSameTriangles)
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
        void OnPointInserted(int, int node) override
        {
            const std::vector<int> faces = this->NodeFaces(node);
            const bool startsThere =
                std::find(faces.begin(), faces.end(), this->hintFace) != faces.end();
            sound += startsThere && Support::CheckTopology(*this).empty() ? 1 : 0;
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
        EXPECT_TRUE(Support::CheckTopology(plain).empty());
        ASSERT_EQ(plain.NodeCount(), derived.NodeCount());
        EXPECT_EQ(plain.EdgeCount(), derived.EdgeCount());
        EXPECT_EQ(plain.FaceCount(), derived.FaceCount());
        const std::vector<std::vector<int>> triangles = InnerTriangles<T>(plain);
        EXPECT_GT(triangles.size(), points.size());
        EXPECT_EQ(triangles, InnerTriangles<T>(derived));
        const std::vector<int> atLast = plain.NodeFaces(plain.NodeCount() - 1);
        EXPECT_EQ(std::count(atLast.begin(), atLast.end(), plain.hintFace), 1);
        // What a host reads, the hull included.
        for (Mesher<T>* mesher : {&plain, static_cast<Mesher<T>*>(&derived)}) {
            std::vector<VecBase<2, T>> resultPoints;
            std::vector<int> indices;
            mesher->ExtractMesh(resultPoints, indices);
            EXPECT_EQ(resultPoints, points);
        }
        EXPECT_EQ(InnerTriangles<T>(plain), InnerTriangles<T>(derived));
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
        mesher.points.push_back(
            Vec2d(i % 10 + random.Between(-0.2, 0.2), 3.0 * (i / 10) + random.Between(-0.9, 0.9)));
    }
    ASSERT_TRUE(mesher.Triangulate());
    EXPECT_EQ(mesher.joined, 270);
    ASSERT_EQ(Support::CheckTopology(mesher), "");
    for (int i = 0; i < 300; ++i) {
        if (i % 10 != 0) {
            ASSERT_TRUE(mesher.IsEdgeLocked(mesher.FindEdge(i + 2, i + 3))) << i;
        }
    }
    const Extracted<double> result = Extract(mesher);
    EXPECT_EQ(Support::CheckTriangles(result.points, result.indices, 0), "");
    EXPECT_NEAR(Support::SumOfAreas(result.points, result.indices), HullArea(mesher.points), 1e-9);
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
    EXPECT_EQ(Support::SumOfAreas(mesher.points, Extract(mesher).indices), 4);
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
    // Both corners on one side: 127 and 67 degrees, which is more than a half turn all the same.
    mesher.NodeRecord(5)->position = {2, 1};
    mesher.NodeRecord(6)->position = {2, 3};
    EXPECT_FALSE(mesher.IsLocallyDelaunay(flat, 0));
    mesher.NodeRecord(6)->position = {2, 6};
    EXPECT_TRUE(mesher.IsLocallyDelaunay(flat, 0));
}

// Convex by more than a share of 1e-12 of the area.
TEST(DelaunayMesher, AFlatCornerIsNotConvex)
{
    Mesher<double> mesher;
    mesher.points = {{0, 0}, {4, 0}, {2, 3}, {2, -3}};
    ASSERT_TRUE(mesher.Triangulate());
    const int flat = mesher.FindEdge(3, 4);
    ASSERT_GE(flat, 0);
    // The doubled areas are 8 in all, and 4 dx at the corner that comes near the line c-d.
    mesher.NodeRecord(5)->position = {0, 2};
    mesher.NodeRecord(6)->position = {0, -2};
    for (const bool atStart : {true, false}) {
        const auto corner = [&](double dx) {
            mesher.NodeRecord(3)->position = atStart ? Vec2d(-dx, 0) : Vec2d(-2, 0);
            mesher.NodeRecord(4)->position = atStart ? Vec2d(2, 0) : Vec2d(dx, 0);
        };
        for (const int half : {flat, flat ^ 1}) {
            corner(1);
            EXPECT_TRUE(mesher.IsConvexQuad(half));
            corner(2.2e-12);
            EXPECT_TRUE(mesher.IsConvexQuad(half));
            corner(1.8e-12);
            EXPECT_FALSE(mesher.IsConvexQuad(half));
            corner(0);
            EXPECT_FALSE(mesher.IsConvexQuad(half));
            corner(-1);
            EXPECT_FALSE(mesher.IsConvexQuad(half));
        }
    }
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
    EXPECT_EQ(Support::CheckTopology(mesher), "");
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
    EXPECT_EQ(Support::CheckTopology(mesher), "");
    int marks = 0; // slots are used again, marks are not
    for (int edge = 0; edge < mesher.EdgeCount(); ++edge) {
        marks += mesher.EdgeRecord(edge)->constrained ? 1 : 0;
    }
    EXPECT_EQ(marks, 2);
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

TEST(DelaunayMesher, WithoutConstraintsTheHullIsMarked)
{
    Mesher<double> mesher;
    mesher.points = {{0, 0}, {4, 0}, {5, 5}, {0, 4}};
    ASSERT_TRUE(mesher.Triangulate());
    mesher.ClassifyRegions();
    for (int edge = 0; edge < mesher.EdgeCount(); ++edge) {
        const std::vector<int> ends = mesher.EdgeNodes(edge);
        const bool isInner = std::min(ends[0], ends[1]) >= 3;
        const bool isDiagonal = std::abs(ends[0] - ends[1]) == 2;
        EXPECT_EQ(mesher.EdgeRecord(edge)->constrained, isInner && !isDiagonal);
    }
}

TEST(DelaunayMesher, SlackOfTheCircleTestKeepsEdges)
{
    Random random(5);
    Mesher<double> mesher;
    mesher.flipTolerance = 2 * kPi<double>; // no two angles exceed that and pi
    for (int i = 0; i < 40; ++i) {
        mesher.points.push_back(random.Vector<2, double>(0, 1));
    }
    ASSERT_TRUE(mesher.Triangulate());
    const Extracted<double> result = Extract(mesher);
    EXPECT_EQ(Support::CheckTriangles(result.points, result.indices, 0), "");
    EXPECT_GT(DeepestInCircle(result.points, result.indices), 0.1);
}

// Marks are marks: what else a derived mesher locks is kept from flips, and no more.
TEST(DelaunayMesher, LocksOfADerivedMesherKeepEdgesButAreNoConstraints)
{
    struct Locking : Mesher<double> {
        bool IsEdgeLocked(int edge) const override
        {
            const std::vector<int> ends = EdgeNodes(edge);
            return Mesher<double>::IsEdgeLocked(edge) ||
                   (ends.size() == 2 && std::min(ends[0], ends[1]) == 4 &&
                    std::max(ends[0], ends[1]) == 6);
        }
    } mesher;
    // The second diagonal would be the Delaunay one.
    mesher.points = {{0, 0}, {4, 0}, {5, 5}, {0, 4}};
    Mesher<double> plain;
    plain.points = {{0, 0}, {4, 0}, {5, 5}, {0, 4}, {0.5, 0.5}, {2, 2}};
    mesher.points = plain.points;
    ASSERT_TRUE(plain.Triangulate());
    ASSERT_TRUE(mesher.Triangulate());
    ASSERT_LT(plain.FindEdge(4, 6), 0);
    // (2, 2) lies on the locked edge, which goes on without a mark.
    EXPECT_LT(mesher.FindEdge(4, 6), 0);
    EXPECT_GE(mesher.FindEdge(4, 8), 0);
    EXPECT_GE(mesher.FindEdge(8, 6), 0);
    for (int edge = 0; edge < mesher.EdgeCount(); ++edge) {
        EXPECT_FALSE(mesher.EdgeRecord(edge)->constrained);
    }
    for (const auto& [a, b] : {std::pair(3, 4), {4, 5}, {5, 6}, {6, 3}}) {
        ASSERT_TRUE(mesher.InsertEdge(a, b));
    }
    mesher.noConstraints = false;
    EXPECT_EQ(Support::SumOfAreas(mesher.points, Extract(mesher).indices), 20);
}

TEST(DelaunayMesher, LocksDoNotStopTheFlood)
{
    struct Locking : Mesher<double> {
        bool IsEdgeLocked(int) const override { return true; }
    } mesher;
    mesher.points = {{0, 0}, {4, 0}, {4, 4}, {0, 4}, {2, 1}};
    ASSERT_TRUE(mesher.Triangulate());
    for (const auto& [a, b] : {std::pair(3, 4), {4, 5}, {5, 6}, {6, 3}}) {
        ASSERT_TRUE(mesher.InsertEdge(a, b));
    }
    mesher.noConstraints = false;
    EXPECT_EQ(Support::SumOfAreas(mesher.points, Extract(mesher).indices), 16);
}

TEST(DelaunayMesher, TheBoundaryTestIsAskedWhereAQuadIsIncomplete)
{
    struct Answering : Mesher<double> {
        bool answer = true;
        bool IsBoundaryEdge(int, bool) const override { return answer; }
    } mesher;
    mesher.points = {{0, 0}, {4, 0}, {4, 5}, {0, 4}};
    ASSERT_TRUE(mesher.Triangulate());
    ASSERT_GE(mesher.EdgeRecord(mesher.FindEdge(0, 1))->face, 0);
    const Vec2d middle = 0.5 * (mesher.GetVertex(0) + mesher.GetVertex(1));
    mesher.answer = false;
    EXPECT_EQ(mesher.InsertPoint(middle), -3);
    mesher.answer = true;
    EXPECT_EQ(mesher.InsertPoint(middle), 7);
}

// Just below the floor and just above, by the first edge that is crossed and by a later one.
TEST(DelaunayMesher, ANodeWithinTheFloorStopsAConstraint)
{
    for (const double off : {0.0, 0.9e-12, -0.9e-12, 1.1e-12, -1.1e-12}) {
        for (const bool isLater : {false, true}) {
            Mesher<double> mesher;
            mesher.points = {{0, 0}, {8, 0}, {4, 4}, {4, -4}, {4, off}};
            if (isLater) {
                mesher.points.insert(mesher.points.end(), {{1, 1}, {1, -1}, {7, 1}, {7, -1}});
            }
            ASSERT_TRUE(mesher.Triangulate());
            if (isLater) {
                ASSERT_GE(mesher.FindEdge(8, 9), 0);
            }
            const bool isFree = std::fabs(off) > 1e-12;
            EXPECT_EQ(mesher.InsertEdge(3, 4), isFree) << off;
            EXPECT_EQ(mesher.FindEdge(3, 4) >= 0, isFree) << off;
            EXPECT_TRUE(mesher.FreeEdges().empty());
            EXPECT_EQ(Support::CheckTopology(mesher), "");
            const Extracted<double> result = Extract(mesher);
            EXPECT_EQ(Support::CheckTriangles(result.points, result.indices, 0), "");
            EXPECT_NEAR(Support::SumOfAreas(result.points, result.indices), 32, 1e-10);
        }
    }
}

// The hull's side runs through triangles of two outer corners, below (5, 0.001).
TEST(DelaunayMesher, AConstraintMayRunThroughOuterTriangles)
{
    Mesher<double> mesher;
    mesher.points = {{5, 0.001}, {0, 0}, {10, 0}, {5, 10}};
    ASSERT_TRUE(mesher.Triangulate());
    ASSERT_LT(mesher.FindEdge(4, 5), 0);
    ASSERT_TRUE(mesher.InsertEdge(4, 5));
    EXPECT_EQ(Support::CheckTopology(mesher), "");
    for (int outer = 0; outer < 3; ++outer) {
        EXPECT_GE(mesher.FindEdge(outer, (outer + 1) % 3), 0);
    }
    int faces = 0;
    for (int face = 0; face < mesher.FaceCount(); ++face) {
        faces += mesher.FaceNodes(face).size() == 3 ? 1 : 0;
    }
    EXPECT_EQ(faces, 9); // twice the nodes less five
    ASSERT_TRUE(mesher.InsertEdge(5, 6));
    ASSERT_TRUE(mesher.InsertEdge(6, 4));
    mesher.noConstraints = false;
    EXPECT_NEAR(Support::SumOfAreas(mesher.points, Extract(mesher).indices), 50, 1e-12);
}

// Of the edges opposite the two ends none is left that is to be flipped.
TEST(DelaunayMesher, BothEndsOfAConstraintAreLegal)
{
    Random random(91);
    for (int round = 0; round < 200; ++round) {
        Mesher<double> mesher;
        for (int i = 0; i < 60; ++i) {
            mesher.points.push_back(random.Vector<2, double>(0, 1));
        }
        ASSERT_TRUE(mesher.Triangulate());
        const int a = 3 + random.Below(30);
        const int b = 33 + random.Below(30);
        ASSERT_TRUE(mesher.InsertEdge(a, b));
        EXPECT_NE(mesher.Locate({0.5, 0.5}).kind, Kind::Nowhere); // there is a face to begin at
        for (const int node : {a, b}) {
            for (const int leaving : mesher.NodeEdges(node)) {
                const int opposite = mesher.EdgeRecord(leaving)->next;
                const auto quad = mesher.Diamond(opposite);
                const bool isInner = *std::min_element(quad.begin(), quad.end()) >= 3;
                EXPECT_TRUE(!isInner || mesher.IsEdgeLocked(opposite) ||
                            !mesher.IsConvexQuad(opposite) || mesher.IsLocallyDelaunay(opposite, 0))
                    << round << (node == a ? " start" : " end");
            }
        }
    }
}

// Segments between random nodes, long ones through hundreds of triangles: each becomes an edge, and
// the mesh stays a triangulation of the hull.
TYPED_TEST(DelaunaySmall, LongConstraintsBecomeEdges)
{
    using T = TypeParam;
    Random random(77);
    for (int round = 0; round < 30; ++round) {
        const int count = round < 25 ? 80 : Support::FullOr(1500, 300);
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
            ASSERT_EQ(Support::CheckTopology(mesher), "") << "round " << round << ", edge " << i;
        }
        EXPECT_GT(inserted, onLattice ? 5 : 30);
        const Extracted<T> result = Extract(mesher);
        ASSERT_EQ(Support::CheckTriangles(result.points, result.indices, 0), "");
        const double area = HullArea(ToDoubles(result.points));
        EXPECT_NEAR(Support::SumOfAreas(result.points, result.indices), area, 1e-9 * area);
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
                Support::TriangleArea(mesher.points, points.data());
        }
    }
    EXPECT_DOUBLE_EQ(area[0], 0);
    EXPECT_DOUBLE_EQ(area[1], 36 - 16 + 4);
    EXPECT_DOUBLE_EQ(area[2], 16 - 4);
    mesher.RemoveOuterTriangle();
    EXPECT_FALSE(mesher.IsValidNode(0));
    EXPECT_TRUE(mesher.RemoveNonInterior());
    EXPECT_FALSE(mesher.RemoveNonInterior());
    EXPECT_EQ(Support::CheckTopology(mesher), "");
}

} // namespace
