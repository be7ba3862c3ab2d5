// The Delaunay triangulation by divide and conquer: empty circles by wide numbers, the hull, ties,
// and the work on arrangements that make other methods quadratic.

#include "triangulation/PointDelaunay_Impl.h"

#include "tests/support/Rounds.h"
#include "tests/support/TestSupport.h"
#include "tests/triangulation/ExactTurn.h"

#include <boost/multiprecision/cpp_bin_float.hpp>

#include <algorithm>
#include <array>
#include <cmath>
#include <set>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane::HalfEdge::Impl;
using Support::ExactTurn;
using Support::Random;
using Points = std::vector<Vec2d>;
using Outcome = PointDelaunay::Outcome;
using Wide = boost::multiprecision::number<
    boost::multiprecision::cpp_bin_float<800, boost::multiprecision::digit_base_2>,
    boost::multiprecision::et_off>;

/// Power of d with respect to the circle of the counter-clockwise a, b, c by its center: positive
/// inside, in units that do not matter.
int ExactDepth(const Vec2d& a, const Vec2d& b, const Vec2d& c, const Vec2d& d)
{
    const auto wide = [&](const Vec2d& p) {
        return std::array<Wide, 2>{Wide(p.x()) - Wide(a.x()), Wide(p.y()) - Wide(a.y())};
    };
    const auto [bx, by] = wide(b);
    const auto [cx, cy] = wide(c);
    const auto [dx, dy] = wide(d);
    const Wide twiceArea = bx * cy - by * cx;
    const Wide bb = bx * bx + by * by;
    const Wide cc = cx * cx + cy * cy;
    // Center times twice twiceArea, relative to a.
    const Wide ux = cy * bb - by * cc;
    const Wide uy = bx * cc - cx * bb;
    const Wide inside = ux * dx + uy * dy - twiceArea * (dx * dx + dy * dy);
    return inside > 0 ? 1 : (inside < 0 ? -1 : 0);
}

/// Every half-edge has its twin, every real triangle is counter-clockwise and every edge between
/// two of them locally Delaunay, which makes all circles empty; the hull is convex, and there are
/// 2 n - 2 triangles in all.
void ExpectDelaunay(const Points& points)
{
    const PointDelaunay delaunay = DelaunayOfPoints(points);
    ASSERT_EQ(delaunay.outcome, Outcome::Done);
    const TriangleTable& table = delaunay.table;
    ASSERT_EQ(static_cast<std::size_t>(table.TriangleCount()), 2 * points.size() - 2);
    std::set<int> numbers;
    for (int node = 0; node < table.NodeCount(); ++node) {
        numbers.insert(table.NumberOf(node));
        ASSERT_EQ(table.Position(node), points[static_cast<std::size_t>(table.NumberOf(node))]);
        ASSERT_EQ(table.Origin(table.Leaving(node)), node);
    }
    ASSERT_EQ(numbers.size(), points.size());
    const auto at = [&](int node) { return table.Position(node); };
    for (int t = 0; t < table.TriangleCount(); ++t) {
        for (int k = 0; k < 3; ++k) {
            const int half = TriangleTable::Half(t, k);
            const int twin = table.Twin(half);
            ASSERT_EQ(table.Twin(twin), half);
            ASSERT_EQ(table.Origin(twin), table.Destination(half));
            ASSERT_EQ(table.Destination(twin), table.Origin(half));
            const int a = table.Origin(half);
            const int b = table.Destination(half);
            const int c = table.Origin(TriangleTable::Prev(half));
            const int d = table.Origin(TriangleTable::Prev(twin));
            if (table.IsReal(t)) {
                ASSERT_GT(ExactTurn(at(a), at(b), at(c)), 0);
                if (!table.IsOutside(d)) {
                    ASSERT_LE(ExactDepth(at(a), at(b), at(c), at(d)), 0);
                }
            } else if (table.IsOutside(b)) {
                // Two sides of the hull in a row, clockwise: never a turn to the left.
                const int next = table.Origin(TriangleTable::Prev(twin));
                ASSERT_LE(ExactTurn(at(c), at(a), at(next)), 0);
            }
        }
    }
}

Points Unique(Points points)
{
    std::sort(points.begin(), points.end(), [](const Vec2d& a, const Vec2d& b) {
        return a.x() != b.x() ? a.x() < b.x() : a.y() < b.y();
    });
    points.erase(std::unique(points.begin(), points.end()), points.end());
    return points;
}

TEST(PointDelaunay, PointsOfAllKinds)
{
    Random random(1);
    for (int round = 0; round < Support::Rounds(300); ++round) {
        Points points;
        const int count = 3 + random.Below(60);
        for (int i = 0; i < count; ++i) {
            const Vec2d p = random.Vector<2, double>(0, 1);
            switch (round % 6) {
            case 0:
                points.push_back(p);
                break;
            case 1: // a lattice: ties everywhere
                points.push_back({std::floor(6 * p.x()), std::floor(6 * p.y())});
                break;
            case 2: // far away, to the last bits
                points.push_back({1e6 + 1e-9 * p.x(), -1e6 + 1e-9 * p.y()});
                break;
            case 3: // clusters that share a cell of the curve
                points.push_back(p * std::pow(10.0, -3 * (i % 5)));
                break;
            case 4: // on a circle as well as rounding lets them
                points.push_back({std::cos(6.28 * p.x()), std::sin(6.28 * p.x())});
                break;
            default: // flat
                points.push_back({p.x(), 1e-12 * p.y()});
                break;
            }
        }
        points = Unique(points);
        if (DelaunayOfPoints(points).outcome == Outcome::Done) {
            ASSERT_NO_FATAL_FAILURE(ExpectDelaunay(points)) << round;
        } else {
            for (const Vec2d& p : points) {
                ASSERT_EQ(ExactTurn(points.front(), points.back(), p), 0) << round;
            }
        }
    }
}

TEST(PointDelaunay, NothingToTriangulate)
{
    EXPECT_EQ(DelaunayOfPoints({}).outcome, Outcome::Collinear);
    EXPECT_EQ(DelaunayOfPoints({{1, 1}}).outcome, Outcome::Collinear);
    EXPECT_EQ(DelaunayOfPoints({{1, 1}, {2, 3}}).outcome, Outcome::Collinear);
    Points line;
    for (int i = 0; i < 100; ++i) {
        line.push_back({3.0 * i, -2.0 * i});
    }
    EXPECT_EQ(DelaunayOfPoints(line).outcome, Outcome::Collinear);
    line.push_back({1, 1});
    ExpectDelaunay(line);
}

TEST(PointDelaunay, RepeatsAreTold)
{
    Points points{{0, 0}, {5, 0}, {0, 5}, {3, 3}, {1, 1}, {2, 4}};
    ExpectDelaunay(points);
    points.push_back({3, 3});
    EXPECT_EQ(DelaunayOfPoints(points).outcome, Outcome::Repeats);
    points.back() = {-0.0, 0.0};
    EXPECT_EQ(DelaunayOfPoints(points).outcome, Outcome::Repeats);
}

TEST(PointDelaunay, HugeTinyAndBothAtOnce)
{
    Random random(2);
    for (const double scale : {1e149, 1e-140, 1e-290}) {
        Points points;
        for (int i = 0; i < 40; ++i) {
            points.push_back(scale * random.Vector<2, double>(-1, 1));
        }
        EXPECT_EQ(DelaunayOfPoints(points).outcome, Outcome::Done) << scale;
        points.push_back({1, 1});
        points.push_back({2, 1});
        const PointDelaunay mixed = DelaunayOfPoints(points); // ends
        EXPECT_TRUE(mixed.outcome == Outcome::Done || mixed.outcome == Outcome::Repeats);
    }
}

/// Triangles as sorted triples of list numbers, in order.
std::set<std::array<int, 3>> TriplesOf(const TriangleTable& table, const std::vector<int>& renamed)
{
    std::set<std::array<int, 3>> triples;
    for (int t = 0; t < table.TriangleCount(); ++t) {
        if (table.IsReal(t)) {
            std::array<int, 3> triple;
            for (std::size_t k = 0; k < 3; ++k) {
                triple[k] = renamed[static_cast<std::size_t>(table.NumberOf(table.At(t).nodes[k]))];
            }
            std::sort(triple.begin(), triple.end());
            triples.insert(triple);
        }
    }
    return triples;
}

// Ties are broken by position: the order of the list changes nothing, not even on a lattice.
TEST(PointDelaunay, TheOrderOfThePointsDoesNotMatter)
{
    Random random(3);
    Points points;
    for (int i = 0; i < 400; ++i) {
        points.push_back({i % 20, i / 20});
    }
    std::vector<int> numbers(points.size());
    for (std::size_t i = 0; i < numbers.size(); ++i) {
        numbers[i] = static_cast<int>(i);
    }
    const auto expected = TriplesOf(DelaunayOfPoints(points).table, numbers);
    EXPECT_EQ(expected.size(), 2U * 19 * 19);
    for (int round = 0; round < 20; ++round) {
        Points shuffled = points;
        std::vector<int> names = numbers;
        for (std::size_t left = points.size(); left > 1; --left) {
            const auto other = static_cast<std::size_t>(random.Below(static_cast<int>(left)));
            std::swap(shuffled[left - 1], shuffled[other]);
            std::swap(names[left - 1], names[other]);
        }
        ASSERT_EQ(TriplesOf(DelaunayOfPoints(shuffled).table, names), expected) << round;
    }
}

// Of four corners of a square the last by x, then y, has no diagonal.
TEST(PointDelaunay, ATieLeavesTheLastCornerAlone)
{
    const auto triples =
        TriplesOf(DelaunayOfPoints({{0, 0}, {1, 0}, {1, 1}, {0, 1}}).table, {0, 1, 2, 3});
    EXPECT_EQ(triples, (std::set<std::array<int, 3>>{{0, 1, 3}, {1, 2, 3}}));
}

// Arrangements in which insertion in order flips n^2 edges. Work is counted: it may grow with n log
// n, twice the points take little more than twice the work.
TEST(PointDelaunay, NoArrangementIsQuadratic)
{
    const auto twoWalls = [](int i, int n) {
        return Vec2d(i < n / 2 ? 0 : 1, 2.0 * (i % (n / 2)) / n);
    };
    const auto bow = [](int i, int n) {
        const double angle = 3.0 * i / n;
        return i % 2 == 0 ? Vec2d(std::cos(angle), std::sin(angle))
                          : Vec2d(5 + 0.01 * i / n, 0.3 * std::sin(7 * angle));
    };
    const auto parabola = [](int i, int n) {
        const double x = 1.0 * i / n;
        return i % 2 == 0 ? Vec2d(x, x * x) : Vec2d(0.5 + 1e-3 * x, -3 - 1e-3 * x);
    };
    const auto cross = [](int i, int n) {
        const double along = 1.0 * (i / 2) / n + 0.01;
        return i % 2 == 0 ? Vec2d(along, 0) : Vec2d(0, along);
    };
    using Make = Vec2d (*)(int, int);
    for (const Make make : {Make(twoWalls), Make(bow), Make(parabola), Make(cross)}) {
        std::array<double, 2> work{};
        for (std::size_t k = 0; k < 2; ++k) {
            const int count = k == 0 ? 8000 : 32000;
            Points points;
            for (int i = 0; i < count; ++i) {
                points.push_back(make(i, count));
            }
            const PointDelaunay delaunay = DelaunayOfPoints(points);
            ASSERT_EQ(delaunay.outcome, Outcome::Done);
            work[k] = static_cast<double>(delaunay.work);
            EXPECT_LT(work[k], 60.0 * count);
        }
        EXPECT_LT(work[1], 5 * work[0]); // four times and the logarithm; quadratic would be sixteen
    }
}

} // namespace
