// Segments in the library's own triangulation: the constrained Delaunay property against a look at
// all points, hanging edges, segments through points and across each other, and the work.

#include "triangulation/ConstrainedDelaunay_Impl.h"

#include "tests/support/Polygons.h"
#include "tests/support/Rounds.h"
#include "tests/support/TestSupport.h"
#include "tests/triangulation/CheckTriangles.h"
#include "tests/triangulation/ExactTurn.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <set>

namespace {

using namespace Velk::Math;
using Sorvane::HalfEdge::Impl::CavityTriangles;
using Sorvane::HalfEdge::Impl::ConstrainedDelaunay;
using Support::ExactTurn;
using Support::Random;
using Points = std::vector<Vec2d>;
using Segment = std::pair<int, int>;

bool Cross(const Vec2d& a, const Vec2d& b, const Vec2d& c, const Vec2d& d)
{
    return ExactTurn(a, b, c) * ExactTurn(a, b, d) < 0 &&
           ExactTurn(c, d, a) * ExactTurn(c, d, b) < 0;
}

/// A frame of four corners and points within; segments between points that cross no other and meet
/// no third point.
struct Scene {
    Points points;
    std::vector<Segment> segments;
};

Scene MakeScene(Random& random, int count, int tries, bool onLattice)
{
    Scene scene;
    scene.points = {{0, 0}, {20, 0}, {20, 20}, {0, 20}};
    std::set<std::pair<double, double>> seen{{0, 0}, {20, 0}, {20, 20}, {0, 20}};
    for (int i = 0; i < count; ++i) {
        Vec2d p = random.Vector<2, double>(0.5, 19.5);
        if (onLattice) {
            p = {std::floor(p.x()) + 0.5, std::floor(p.y()) + 0.5};
        }
        if (seen.insert({p.x(), p.y()}).second) {
            scene.points.push_back(p);
        }
    }
    scene.segments = {{0, 1}, {1, 2}, {2, 3}, {3, 0}};
    const auto at = [&](int i) { return scene.points[static_cast<std::size_t>(i)]; };
    for (int i = 0; i < tries; ++i) {
        const int a = random.Below(static_cast<int>(scene.points.size()));
        const int b = random.Below(static_cast<int>(scene.points.size()));
        const bool isFree =
            a != b &&
            std::none_of(
                scene.segments.begin(), scene.segments.end(),
                [&](const Segment& s) { return Cross(at(a), at(b), at(s.first), at(s.second)); }) &&
            std::none_of(scene.points.begin(), scene.points.end(), [&](const Vec2d& p) {
                return p != at(a) && p != at(b) && ExactTurn(at(a), at(b), p) == 0;
            });
        if (isFree) {
            scene.segments.emplace_back(a, b);
        }
    }
    return scene;
}

double Angle(const Vec2d& a, const Vec2d& apex, const Vec2d& b)
{
    return std::fabs(std::atan2((a - apex) ^ (b - apex), (a - apex) * (b - apex)));
}

// All triangles of the frame: a region of one level holds them when the segments inside enclose
// nothing. Here they may, so the triangles come from the mesher with the frame alone as outline:
// even levels are left out. The check asks of each edge between two triangles that are there that
// it is a segment or locally Delaunay, which in a constrained triangulation is all there is to ask.
TEST(ConstrainedDelaunay, EdgesAreSegmentsOrDelaunay)
{
    Random random(11);
    for (int round = 0; round < Support::Rounds(120); ++round) {
        const Scene scene = MakeScene(random, 10 + random.Below(80), 60, round % 3 == 2);
        ConstrainedDelaunay delaunay(scene.points, 1e-12);
        for (const auto& [a, b] : scene.segments) {
            delaunay.InsertSegment(a, b);
        }
        const std::vector<int> indices = std::move(delaunay).InsideTriangles();
        ASSERT_EQ(Support::CheckTriangles(scene.points, indices, 0), "");
        std::set<Segment> constrained;
        for (const auto& [a, b] : scene.segments) {
            constrained.insert({std::min(a, b), std::max(a, b)});
        }
        std::map<Segment, int> apexes; // by directed edge
        for (std::size_t t = 0; t < indices.size(); t += 3) {
            for (std::size_t k = 0; k < 3; ++k) {
                apexes[{indices[t + k], indices[t + (k + 1) % 3]}] = indices[t + (k + 2) % 3];
            }
        }
        const auto at = [&](int i) { return scene.points[static_cast<std::size_t>(i)]; };
        for (const auto& [edge, apex] : apexes) {
            const auto [a, b] = edge;
            const auto beyond = apexes.find({b, a});
            const bool isSegment = constrained.count({std::min(a, b), std::max(a, b)}) == 1;
            if (isSegment || beyond == apexes.end()) {
                continue;
            }
            ASSERT_LE(Angle(at(a), at(apex), at(b)) + Angle(at(a), at(beyond->second), at(b)),
                      3.14159265358979 + 1e-9)
                << round;
            for (const auto& [c, d] : scene.segments) {
                ASSERT_FALSE(Cross(at(a), at(b), at(c), at(d))) << round;
            }
        }
    }
}

// A constrained triangulation with one answer to ties is one and no more: the order in which
// segments go in does not show.
TEST(ConstrainedDelaunay, TheOrderOfSegmentsDoesNotMatter)
{
    const auto inOrder = [](const std::vector<int>& indices) {
        std::set<std::array<int, 3>> triangles;
        for (std::size_t t = 0; t < indices.size(); t += 3) {
            std::array<int, 3> corners{indices[t], indices[t + 1], indices[t + 2]};
            std::rotate(corners.begin(), std::min_element(corners.begin(), corners.end()),
                        corners.end());
            triangles.insert(corners);
        }
        return triangles;
    };
    Random random(12);
    for (int round = 0; round < 60; ++round) {
        const Scene scene = MakeScene(random, 10 + random.Below(80), 60, round % 3 == 2);
        ConstrainedDelaunay together(scene.points, 1e-12);
        together.InsertSegments(scene.segments);
        ConstrainedDelaunay apart(scene.points, 1e-12);
        for (auto segment = scene.segments.rbegin(); segment != scene.segments.rend(); ++segment) {
            apart.InsertSegment(segment->second, segment->first);
        }
        const auto triangles = inOrder(std::move(together).InsideTriangles());
        EXPECT_FALSE(triangles.empty());
        EXPECT_EQ(triangles, inOrder(std::move(apart).InsideTriangles())) << round;
    }
}

// Segments that cross make one corner of one of their ends only where that is what rounding did;
// otherwise chains stay closed and the triangles sound.
TEST(ConstrainedDelaunay, SegmentsThatCrossStayChains)
{
    Random random(12);
    for (int round = 0; round < 300; ++round) {
        Points points{{-1, -1}, {21, -1}, {21, 21}, {-1, 21}};
        for (int i = 0; i < 30; ++i) {
            points.push_back(random.Vector<2, double>(0, 20));
        }
        ConstrainedDelaunay delaunay(points, 1e-12);
        for (int k = 0; k < 4; ++k) {
            delaunay.InsertSegment(k, (k + 1) % 4);
        }
        for (int i = 0; i < 25; ++i) {
            delaunay.InsertSegment(4 + random.Below(30), 4 + random.Below(30));
        }
        const std::vector<int> indices = std::move(delaunay).InsideTriangles();
        ASSERT_EQ(Support::CheckTriangles(points, indices, 0), "") << round;
        ASSERT_GT(indices.size(), 0U) << round;
    }
}

TEST(ConstrainedDelaunay, ASegmentThroughPointsHasThemAsJoints)
{
    Points points{{0, 0}, {10, 0}, {10, 10}, {0, 10}};
    for (int i = 1; i < 10; ++i) {
        points.push_back({1.0 * i, 0}); // on the first side, exactly
    }
    points.push_back({5, 10 + 5e-13}); // within the floor of the third
    ConstrainedDelaunay delaunay(points, 1e-12);
    for (int k = 0; k < 4; ++k) {
        delaunay.InsertSegment(k, (k + 1) % 4);
    }
    const std::vector<int> indices = std::move(delaunay).InsideTriangles();
    EXPECT_EQ(Support::CheckTriangles(points, indices, 0), "");
    EXPECT_NEAR(Support::SumOfAreas(points, indices), 100, 1e-10);
    EXPECT_EQ(indices.size(), 3 * (points.size() - 2));
    EXPECT_EQ(std::set<int>(indices.begin(), indices.end()).size(), points.size());
}

TEST(ConstrainedDelaunay, NothingToInsertInto)
{
    for (const Points& points : {Points{}, Points{{1, 1}}, Points{{0, 0}, {1, 1}, {2, 2}}}) {
        ConstrainedDelaunay delaunay(points, 1e-12);
        if (points.size() > 1) {
            delaunay.InsertSegment(0, 1);
        }
        EXPECT_TRUE(std::move(delaunay).InsideTriangles().empty());
    }
}

// A segment that crosses n edges fills two cavities of n corners each; corner by corner from one
// end that would take n^2 steps.
TEST(ConstrainedDelaunay, LongSegmentsAreNotQuadratic)
{
    std::array<double, 2> work{};
    for (std::size_t k = 0; k < 2; ++k) {
        const int count = k == 0 ? 4000 : 16000;
        Points points{{0.5, -1}, {0.5, 2}};
        for (int i = 0; i < count; ++i) {
            const double angle = 1.0 * (i / 2) / count;
            points.push_back(i % 2 == 0 ? Vec2d(0.1 * angle * (0.5 - angle), angle)
                                        : Vec2d(1 + 0.1 * angle * (0.5 - angle), angle + 1e-7));
        }
        ConstrainedDelaunay delaunay(points, 1e-12);
        const std::size_t before = delaunay.Work();
        delaunay.InsertSegment(0, 1);
        work[k] = static_cast<double>(delaunay.Work() - before);
        EXPECT_GT(work[k], 0.9 * count); // it does cross them
        EXPECT_LT(work[k], 40.0 * count);
    }
    EXPECT_LT(work[1], 6 * work[0]); // quadratic would be sixteen
}

// Segments side by side that run askew between two rows of points cross most of the edges between
// the rows. From one end to the other each would cross as many as the one before.
TEST(ConstrainedDelaunay, SegmentsSideBySideAreNotQuadratic)
{
    std::array<double, 2> work{};
    for (std::size_t k = 0; k < 2; ++k) {
        const int count = k == 0 ? 2000 : 8000;
        const int askew = count / 4;
        Points points;
        for (int i = 0; i < count; ++i) {
            points.push_back({0, 1.0 * i / count});
            points.push_back({1, (i + 0.5) / count});
        }
        std::vector<Segment> segments;
        for (int i = 0; i + askew < count; ++i) {
            segments.emplace_back(2 * i, 2 * (i + askew) + 1);
        }
        ConstrainedDelaunay delaunay(points, 1e-12);
        const std::size_t before = delaunay.Work();
        delaunay.InsertSegments(segments);
        work[k] = static_cast<double>(delaunay.Work() - before);
        EXPECT_GT(work[k], 2.0 * count);
        const std::vector<int> indices = std::move(delaunay).EnclosedTriangles();
        EXPECT_EQ(Support::CheckTriangles(points, indices, 0), "");
    }
    EXPECT_LT(work[1], 6 * work[0]); // quadratic would be sixteen
}

// --- cavities -----------------------------------------------------------------------------------

/// Half-edges and boundaries know each other, corners run counter-clockwise, and all is covered.
void ExpectFills(const Points& chain, std::span<const CavityTriangles::Triangle> triangles)
{
    ASSERT_EQ(triangles.size(), chain.size() - 2);
    double sum = 0;
    std::set<int> boundaries;
    for (std::size_t t = 0; t < triangles.size(); ++t) {
        const auto [a, b, c] = triangles[t].nodes;
        const auto at = [&](int node) { return chain[static_cast<std::size_t>(node)]; };
        ASSERT_GT(ExactTurn(at(a), at(b), at(c)), 0);
        sum += 0.5 * ((at(b) - at(a)) ^ (at(c) - at(a)));
        for (std::size_t k = 0; k < 3; ++k) {
            const int start = triangles[t].nodes[k];
            const int end = triangles[t].nodes[(k + 1) % 3];
            const int twin = triangles[t].twins[k];
            if (twin < 0) {
                ASSERT_EQ(CavityTriangles::NodeOfBoundary(twin), start);
                ASSERT_EQ((start + 1) % static_cast<int>(chain.size()), end);
                ASSERT_TRUE(boundaries.insert(start).second);
                continue;
            }
            const auto& other = triangles[static_cast<std::size_t>(twin >> 2)];
            const auto place = static_cast<std::size_t>(twin & 3);
            ASSERT_EQ(other.twins[place], static_cast<int>(4 * t + k));
            ASSERT_EQ(other.nodes[place], end);
            ASSERT_EQ(other.nodes[(place + 1) % 3], start);
        }
    }
    ASSERT_EQ(boundaries.size(), chain.size());
    ASSERT_NEAR(sum, Support::AreaOf(chain), 1e-9 * std::fabs(sum));
}

// Chains that rise and fall over the segment, from right to left.
TEST(CavityTriangles, FillsHilly)
{
    Random random(13);
    CavityTriangles cavity;
    for (int round = 0; round < 500; ++round) {
        const int inner = 1 + random.Below(30);
        Points chain{{inner + 1.0, 0}};
        for (int i = inner; i > 0; --i) {
            const double height = round % 2 == 0 ? random.Between(0.01, 3) : 1 + random.Below(2);
            chain.push_back({1.0 * i, height});
        }
        chain.push_back({0, 0});
        ASSERT_NO_FATAL_FAILURE(ExpectFills(chain, cavity.Fill(chain))) << round;
    }
}

// An edge that hangs down into the cavity is run on both sides.
TEST(CavityTriangles, FillsRoundAHangingEdge)
{
    CavityTriangles cavity;
    const Points chain{{4, 0}, {4, 3}, {2, 4}, {2, 1}, {2, 4}, {0, 3}, {0, 0}};
    ExpectFills(chain, cavity.Fill(chain));
    const Points twoEdges{{6, 0}, {6, 3}, {4, 4}, {4, 1}, {4, 4},
                          {2, 4}, {2, 1}, {2, 4}, {0, 3}, {0, 0}};
    ExpectFills(twoEdges, cavity.Fill(twoEdges));
}

} // namespace
