// Linking of segments: equal, point by point, to the same steps over all pairs of ends with tables
// and widening searches, on thousands of small drawings; and the known answers.

#include <Sorvane/MeshFiles_E.h>
#include <Sorvane/SegmentLinking_E.h>
#include <Velk/Math/Vector_E.h>

#include "tests/support/FailingAllocation.h"
#include "tests/support/Rounds.h"
#include "tests/support/TestSupport.h"
#include "tests/support/ThreadLimit.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <limits>
#include <map>
#include <numeric>
#include <set>
#include <utility>
#include <vector>

namespace {

using Velk::Math::Vec2d;
using Velk::Math::VecBase;
using Velk::Math::Geometry::SegBase;
using Velk::Math::Sorvane::Tree::LinkSegments;

template <class T>
using Segments = std::vector<SegBase<T>>;
template <class T>
using Polylines = std::vector<std::vector<VecBase<2, T>>>;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

// --- the steps as they are told, over all pairs -------------------------------------------------

struct End {
    Vec2d center;
    double length = 0;
    int link = -1;
    bool visited = false;
    bool inTree = false;
};

double Squared(const Vec2d& a, const Vec2d& b)
{
    const double x = a[0] - b[0];
    const double y = a[1] - b[1];
    return x * x + y * y;
}

class PairTwin {
public:
    PairTwin(const std::vector<std::array<Vec2d, 2>>& segments, double tolerance)
        : tolerance_(std::fabs(tolerance))
    {
        for (const auto& [a, b] : segments) {
            Keep(a);
            Keep(b);
        }
        std::sort(points_.begin(), points_.end(), [](const Vec2d& a, const Vec2d& b) {
            return a[0] != b[0] ? a[0] < b[0] : a[1] < b[1];
        });
        std::set<std::pair<int, int>> pairs;
        for (const auto& [a, b] : segments) {
            const int first = IndexOf(a);
            const int second = IndexOf(b);
            if (first >= 0 && second >= 0 && first != second) {
                pairs.insert({std::min(first, second), std::max(first, second)});
            }
        }
        Build(pairs);
    }

    /// The walk steps through the ends by `stride` in search of a start.
    std::vector<std::vector<Vec2d>> Run(int stride)
    {
        LinkByBalls();
        return Walk(stride);
    }

    int EndCount() const { return static_cast<int>(ends_.size()); }

private:
    static bool IsSame(const Vec2d& a, const Vec2d& b)
    {
        return std::fabs(a[0] - b[0]) <= 1e-12 && std::fabs(a[1] - b[1]) <= 1e-12;
    }

    void Keep(const Vec2d& point)
    {
        if (std::isfinite(point[0]) && std::isfinite(point[1]) &&
            std::none_of(points_.begin(), points_.end(),
                         [&](const Vec2d& kept) { return IsSame(point, kept); })) {
            points_.push_back(point);
        }
    }

    int IndexOf(const Vec2d& point) const
    {
        int best = -1;
        for (std::size_t i = 0; i < points_.size(); ++i) {
            if (IsSame(point, points_[i]) &&
                (best < 0 || Squared(point, points_[i]) <
                                 Squared(point, points_[static_cast<std::size_t>(best)]))) {
                best = static_cast<int>(i);
            }
        }
        return best;
    }

    void Build(const std::set<std::pair<int, int>>& pairs)
    {
        std::vector<std::vector<int>> endsOfPoint(points_.size());
        Vec2d min(kInfinity, kInfinity);
        Vec2d max(-kInfinity, -kInfinity);
        for (const auto& [a, b] : pairs) {
            for (const int point : {a, b}) {
                const Vec2d& center = points_[static_cast<std::size_t>(point)];
                endsOfPoint[static_cast<std::size_t>(point)].push_back(EndCount());
                ends_.push_back({center, std::sqrt(Squared(points_[static_cast<std::size_t>(a)],
                                                           points_[static_cast<std::size_t>(b)]))});
                for (int axis = 0; axis < 2; ++axis) {
                    min[axis] = std::min(min[axis], center[axis]);
                    max[axis] = std::max(max[axis], center[axis]);
                }
            }
        }
        for (const std::vector<int>& ends : endsOfPoint) {
            if (ends.size() == 2) {
                Join(ends[0], ends[1]);
            }
        }
        if (ends_.empty()) {
            return;
        }
        const Vec2d middle((min[0] + max[0]) * 0.5, (min[1] + max[1]) * 0.5);
        half_ = std::sqrt(Squared(min, Vec2d(1.1 * middle[0], 1.1 * middle[1])));
        for (End& end : ends_) {
            end.inTree = true;
            for (int axis = 0; axis < 2; ++axis) {
                end.inTree = end.inTree &&
                             end.center[axis] - (middle[axis] - half_) >= tolerance_ &&
                             middle[axis] + half_ - end.center[axis] >= tolerance_;
            }
        }
    }

    static int Other(int id) { return id % 2 == 1 ? id - 1 : id + 1; }
    End& At(int id) { return ends_[static_cast<std::size_t>(id)]; }

    void Join(int a, int b)
    {
        At(a).link = b / 2;
        At(b).link = a / 2;
    }

    void Pick(int e, double radius)
    {
        std::vector<std::pair<double, int>> candidates;
        for (int c = 0; c < EndCount(); ++c) {
            const double squared = Squared(At(c).center, At(e).center);
            const double reach = radius + tolerance_ + 1e-12;
            if (At(c).inTree && radius * radius > 0 && reach * reach >= squared) {
                candidates.emplace_back(squared, c);
            }
        }
        std::sort(candidates.begin(), candidates.end());
        for (const auto& [squared, c] : candidates) {
            if (c / 2 != e / 2 && At(c).link == -1 && squared <= tolerance_ * tolerance_ &&
                squared <= Squared(At(Other(e)).center, At(c).center)) {
                Join(e, c);
                return;
            }
        }
    }

    void LinkByBalls()
    {
        const double firstRadius = 2 * std::sqrt(half_ * half_ + half_ * half_) * 0.015625;
        std::vector<int> leftovers;
        for (int e = 0; e < EndCount(); ++e) {
            if (At(e).link == -1) {
                Pick(e, firstRadius);
                if (At(e).link == -1) {
                    leftovers.push_back(e);
                }
            }
        }
        double radius = firstRadius;
        for (const int factor : {2, 3, 4}) {
            radius *= factor;
            for (const int e : leftovers) {
                if (At(e).link == -1) {
                    Pick(e, radius);
                }
            }
        }
        std::erase_if(leftovers, [&](int e) { return At(e).link != -1; });
        PairMutually(leftovers);
    }

    void PairMutually(const std::vector<int>& list)
    {
        std::vector<std::map<double, std::size_t>> tables(list.size());
        for (std::size_t i = 0; i < list.size(); ++i) {
            for (std::size_t j = i + 1; j < list.size(); ++j) {
                if (list[i] / 2 != list[j] / 2) {
                    const double squared = Squared(At(list[i]).center, At(list[j]).center);
                    tables[i].emplace(squared, j);
                    tables[j].emplace(squared, i);
                }
            }
        }
        for (std::size_t i = 0; i < list.size(); ++i) {
            if (tables[i].empty()) {
                continue;
            }
            const std::size_t j = tables[i].begin()->second;
            if (tables[j].empty() || tables[j].begin()->first > At(list[i]).length) {
                continue;
            }
            if (tables[j].begin()->second == i) {
                Join(list[i], list[j]);
                tables[i].clear();
                tables[j].clear();
            } else {
                tables[i].erase(tables[i].begin());
            }
        }
    }

    std::vector<std::vector<Vec2d>> Walk(int stride)
    {
        std::vector<std::vector<Vec2d>> chains;
        if (EndCount() < 2) {
            return chains;
        }
        std::vector<Vec2d> chain{At(0).center};
        At(0).visited = At(1).visited = true;
        int start = 0;
        int current = 0;
        int next = At(1).link;
        for (int steps = 0; steps < EndCount() / 2; ++steps) {
            bool finished = false;
            if (current < 0 || next < 0) {
                finished = true;
                if (current >= 0) {
                    chain.push_back(
                        At(At(2 * current).link < 0 ? 2 * current : 2 * current + 1).center);
                }
            } else {
                const int entry = At(2 * next).link == current ? 2 * next : 2 * next + 1;
                chain.push_back(At(entry).center);
                finished = At(entry).visited && At(Other(entry)).visited;
                At(entry).visited = At(Other(entry)).visited = true;
                current = next;
                next = At(Other(entry)).link;
            }
            if (finished || current == start) {
                chains.push_back(chain);
                chain.clear();
                int position = 0;
                for (int i = 0; i < EndCount(); ++i) {
                    position = (position + stride) % EndCount();
                    End& e = At(position);
                    if (!e.visited && e.link >= 0 && At(Other(position)).link >= 0) {
                        start = current = position / 2;
                        chain = {e.center};
                        next = At(Other(position)).link;
                        e.visited = At(Other(position)).visited = true;
                        break;
                    }
                }
            }
        }
        if (!chain.empty()) {
            chains.push_back(chain);
        }
        return chains;
    }

    double tolerance_;
    std::vector<Vec2d> points_;
    std::vector<End> ends_;
    double half_ = 0;
};

template <class T>
PairTwin TwinOf(const Segments<T>& segments, T tolerance)
{
    std::vector<std::array<Vec2d, 2>> wide;
    for (const SegBase<T>& segment : segments) {
        wide.push_back(
            {Vec2d(segment.start[0], segment.start[1]), Vec2d(segment.end[0], segment.end[1])});
    }
    return {wide, static_cast<double>(tolerance)};
}

template <class T>
Polylines<T> ByTwin(const Segments<T>& segments, T tolerance)
{
    Polylines<T> chains;
    for (const std::vector<Vec2d>& wide : TwinOf(segments, tolerance).Run(1)) {
        chains.emplace_back();
        for (const Vec2d& point : wide) {
            chains.back().emplace_back(static_cast<T>(point[0]), static_cast<T>(point[1]));
        }
    }
    return chains;
}

/// A drawing of a few segments: ends on a lattice (hubs and ties), some moved a little (gaps), runs
/// that close or do not.
template <class T>
Segments<T> RandomDrawing(Support::Random& random, double scale, const Vec2d& offset)
{
    const int lattice = 1 + random.Below(6);
    const double jitter = random.Below(2) == 0 ? 0.0 : 0.05;
    const auto place = [&] { return Vec2d(random.Below(lattice), random.Below(lattice)); };
    Segments<T> segments;
    const auto add = [&](const Vec2d& a, const Vec2d& b) {
        const auto moved = [&](const Vec2d& point) {
            VecBase<2, T> end;
            for (int axis = 0; axis < 2; ++axis) {
                const double move = random.Below(3) == 0 ? jitter * (random.Unit() - 0.5) : 0.0;
                end[axis] = static_cast<T>(offset[axis] + scale * (point[axis] + move));
            }
            return end;
        };
        segments.push_back({moved(a), moved(b)});
    };
    for (int run = 0, runs = 1 + random.Below(6); run < runs; ++run) {
        const Vec2d first = place();
        Vec2d from = first;
        for (int i = 0, length = random.Below(5); i < length; ++i) {
            const Vec2d to =
                random.Below(4) == 0 ? Vec2d(random.Unit() * 5, random.Unit() * 5) : place();
            random.Below(2) == 0 ? add(from, to) : add(to, from);
            from = to;
        }
        if (random.Below(2) == 0) {
            add(from, first);
        }
    }
    return segments;
}

template <class T>
void CompareDrawings(int trials)
{
    Support::Random random(sizeof(T));
    int differentFromExact = 0;
    for (int trial = 0; trial < trials; ++trial) {
        const double scale = std::array{
            1.0, 100.0, 1e6, 0.1, 1e-3, 1e-7, 1e-12}[static_cast<std::size_t>(random.Below(7))];
        // Also where the square around the middle is small.
        const Vec2d offset = std::array{
            Vec2d(0, 0), Vec2d(-2, -2) * scale, Vec2d(10, 11) * scale, Vec2d(12, 9) * scale,
            Vec2d(1e6, -1e6)}[static_cast<std::size_t>(random.Below(5))];
        const Segments<T> segments = RandomDrawing<T>(random, scale, offset);
        const double tolerance =
            scale *
            std::array{
                0.0, 0.03, 0.3, 1.5, 20.0, -0.3, 1e9, kNaN, kInfinity}[static_cast<std::size_t>(
                random.Below(9))];
        const auto narrow = static_cast<T>(tolerance);
        const Polylines<T> chains = LinkSegments(segments, narrow);
        ASSERT_EQ(chains, ByTwin(segments, narrow)) << "trial " << trial;
        differentFromExact += chains != LinkSegments(segments, T{0}) ? 1 : 0;
    }
    EXPECT_GT(differentFromExact, trials / 10); // the tolerance does play a part
}

TEST(SegmentLinking, EqualsTheStepsOverAllPairsInDouble)
{
    CompareDrawings<double>(Support::Rounds(6000));
}

TEST(SegmentLinking, EqualsTheStepsOverAllPairsInFloat)
{
    CompareDrawings<float>(Support::Rounds(3000));
}

TEST(SegmentLinking, EqualsTheStepsOverAllPairsOnCrowds)
{
    // More ends than a leaf of the search holds, short segments among long ones.
    Support::Random random(5);
    for (int trial = 0; trial < Support::Rounds(25); ++trial) {
        Segments<double> segments;
        for (int i = 0; i < 100; ++i) {
            const Vec2d start = random.Vector<2, double>(-10, 10);
            const double reach = random.Below(3) == 0 ? 10.0 : 0.3;
            segments.push_back({start, start + random.Vector<2, double>(-reach, reach)});
        }
        for (const double tolerance : {0.0, 0.2, 1.0, 5.0}) {
            ASSERT_EQ(LinkSegments(segments, tolerance), ByTwin(segments, tolerance))
                << "trial " << trial << " tolerance " << tolerance;
        }
    }
}

// --- closed loops -------------------------------------------------------------------------------

/// Loops of 3 to 9 corners, apart from each other, segments in any order and direction.
Segments<double> Loops(Support::Random& random, int count)
{
    Segments<double> segments;
    for (int loop = 0; loop < count; ++loop) {
        const int corners = 3 + random.Below(7);
        const auto corner = [&](int k) {
            const double angle = 6.283185307179586 * (k % corners) / corners;
            return Vec2d(10.0 * loop + std::cos(angle), std::sin(angle));
        };
        for (int k = 0; k < corners; ++k) {
            segments.push_back({corner(k), corner(k + 1)});
            if (random.Below(2) == 0) {
                std::swap(segments.back().start, segments.back().end);
            }
        }
    }
    for (std::size_t i = segments.size(); i > 1; --i) {
        std::swap(segments[i - 1],
                  segments[static_cast<std::size_t>(random.Below(static_cast<int>(i)))]);
    }
    return segments;
}

std::multiset<std::set<std::pair<double, double>>>
CornerSets(const std::vector<std::vector<Vec2d>>& chains)
{
    std::multiset<std::set<std::pair<double, double>>> sets;
    for (const std::vector<Vec2d>& chain : chains) {
        std::set<std::pair<double, double>> corners;
        for (const Vec2d& point : chain) {
            corners.emplace(point[0], point[1]);
        }
        if (chain.size() > 1 && chain.front() == chain.back()) {
            sets.insert(corners);
        }
    }
    return sets;
}

TEST(SegmentLinking, EveryClosedLoopComesOut)
{
    Support::Random random(9);
    for (int trial = 0; trial < 50; ++trial) {
        const int count = 1 + random.Below(20);
        const Segments<double> segments = Loops(random, count);
        const Polylines<double> chains = LinkSegments(segments, 1e-6);
        ASSERT_EQ(chains.size(), static_cast<std::size_t>(count));
        std::size_t corners = 0;
        for (const std::vector<Vec2d>& chain : chains) {
            EXPECT_EQ(chain.front(), chain.back());
            corners += chain.size() - 1;
        }
        EXPECT_EQ(corners, segments.size());
        const auto sets = CornerSets(chains);
        EXPECT_EQ(sets.size(), static_cast<std::size_t>(count));
        // Any odd stride that meets all ends finds the same loops, in another order.
        for (const int stride : {1, 3, 7, 11, 101}) {
            PairTwin twin = TwinOf(segments, 1e-6);
            if (std::gcd(stride, twin.EndCount()) == 1) {
                EXPECT_EQ(CornerSets(twin.Run(stride)), sets) << "stride " << stride;
            }
        }
    }
}

/// Where the triangles of a mesh cross a height, with the same bits for an edge from both sides.
Segments<double> Section(const Velk::Math::Sorvane::Mesh::IndexedPointsBase<3, double>& mesh,
                         double height)
{
    Segments<double> segments;
    for (std::size_t t = 0; t + 2 < mesh.indices.size(); t += 3) {
        std::vector<Vec2d> crossings;
        for (std::size_t k = 0; k < 3; ++k) {
            const auto [low, high] =
                std::minmax(mesh.indices[t + k], mesh.indices[t + (k + 1) % 3]);
            const auto& a = mesh.points[static_cast<std::size_t>(low)];
            const auto& b = mesh.points[static_cast<std::size_t>(high)];
            if ((a[2] > height) != (b[2] > height)) {
                const auto crossing = a + (b - a) * ((height - a[2]) / (b[2] - a[2]));
                crossings.emplace_back(crossing[0], crossing[1]);
            }
        }
        if (crossings.size() == 2) {
            segments.push_back({crossings[0], crossings[1]});
        }
    }
    return segments;
}

double LengthOf(const Polylines<double>& chains)
{
    double length = 0;
    for (const std::vector<Vec2d>& chain : chains) {
        for (std::size_t i = 1; i < chain.size(); ++i) {
            length += std::sqrt(Squared(chain[i - 1], chain[i]));
        }
    }
    return length;
}

TEST(SegmentLinking, SectionsOfAPartAreClosedLoops)
{
    Velk::Math::Sorvane::Mesh::IndexedPointsBase<3, double> mesh;
    ASSERT_TRUE(
        Velk::Math::Sorvane::MeshUtils::ReadMesh(mesh, Support::ExampleData("bracket.stl")));
    const auto [lowest, highest] =
        std::minmax_element(mesh.points.begin(), mesh.points.end(),
                            [](const auto& a, const auto& b) { return a[2] < b[2]; });
    std::size_t loops = 0;
    for (const double share : {0.0717, 0.2931, 0.5113, 0.7333, 0.9171}) {
        const double height = (*lowest)[2] + share * ((*highest)[2] - (*lowest)[2]);
        const Segments<double> segments = Section(mesh, height);
        ASSERT_FALSE(segments.empty());
        const Polylines<double> chains = LinkSegments(segments, 1e-6);
        for (const std::vector<Vec2d>& chain : chains) {
            EXPECT_GE(chain.size(), 4U);
            EXPECT_EQ(chain.front(), chain.back());
        }
        const Polylines<double> strings =
            Velk::Math::Vector::SegmentsToPolyPointStream(segments, 1e-12);
        EXPECT_EQ(chains.size(), strings.size());
        EXPECT_NEAR(LengthOf(chains), LengthOf(strings), 1e-9 * LengthOf(strings));
        loops += chains.size();
    }
    EXPECT_GT(loops, 5U); // holes too
}

TEST(SegmentLinking, LoopsWithGapsClose)
{
    // A square of four sides whose ends miss each other by up to 0.02, and one far from the origin.
    for (const Vec2d& at : {Vec2d(0, 0), Vec2d(1e6, 1e6)}) {
        Segments<double> square{{{0, 0}, {10, 0.01}},
                                {{10.02, 0}, {10, 10}},
                                {{10, 9.99}, {0.01, 10}},
                                {{0, 10}, {0, 0.015}}};
        for (SegBase<double>& segment : square) {
            segment.start += at;
            segment.end += at;
        }
        const Polylines<double> chains = LinkSegments(square, 0.05);
        ASSERT_EQ(chains.size(), 1U);
        EXPECT_EQ(chains[0].size(), 5U);
        EXPECT_EQ(chains[0].front(), chains[0].back());
    }
}

TEST(SegmentLinking, OrderAndDirectionMakeNoDifference)
{
    Support::Random random(11);
    for (int trial = 0; trial < 200; ++trial) {
        Segments<double> segments = RandomDrawing<double>(random, 10, {0, 0});
        const Polylines<double> chains = LinkSegments(segments, 1.0);
        EXPECT_EQ(LinkSegments(segments, 1.0), chains);
        std::reverse(segments.begin(), segments.end());
        for (SegBase<double>& segment : segments) {
            std::swap(segment.start, segment.end);
        }
        const Segments<double> once = segments;
        segments.insert(segments.end(), once.begin(), once.end());
        EXPECT_EQ(LinkSegments(segments, 1.0), chains);
        EXPECT_EQ(LinkSegments(segments, -1.0), chains); // nor the sign
    }
}

// --- known answers ------------------------------------------------------------------------------

const Vec2d kA(0, 0);
const Vec2d kB(10, 0);
const Vec2d kC(20, 5);

TEST(SegmentLinking, NothingAndSegmentsWithinAPoint)
{
    EXPECT_TRUE(LinkSegments(Segments<double>{}, 0.1).empty());
    EXPECT_TRUE(LinkSegments(Segments<float>{{{1, 2}, {1, 2}}}, 0.1F).empty());
    EXPECT_TRUE(
        LinkSegments(Segments<double>{{{1, 2}, {1 + 1e-13, 2}}, {{0, 0}, {0, -0.0}}}, 0.1).empty());
}

TEST(SegmentLinking, OneSegmentIsItsLowerPointTwice)
{
    for (const SegBase<double>& segment : {SegBase<double>{kA, kB}, SegBase<double>{kB, kA}}) {
        EXPECT_EQ(LinkSegments(Segments<double>{segment}, 0.1), (Polylines<double>{{kA, kA}}));
    }
}

TEST(SegmentLinking, TwoSegmentsAreToldWhenTheyAreTheFirst)
{
    EXPECT_EQ(LinkSegments(Segments<double>{{kA, kB}, {kB, kC}}, 0.0),
              (Polylines<double>{{kA, kB, kC}}));
    // And any further polyline of two is lost: two passes are left over at the last point.
    EXPECT_EQ(
        LinkSegments(
            Segments<double>{{kA, kB}, {kB, kC}, {{500, 0}, {510, 0}}, {{510, 0}, {520, 5}}}, 0.0),
        (Polylines<double>{{kA, kB, kC}, {kC}, {kC}}));
}

TEST(SegmentLinking, ShortDrawingsAreJoinedAcrossAnyGap)
{
    // The square of the distance of the free ends is compared with the length of the first segment:
    // 0.2 units apart, 0.1 long each, they are paired, and the drawing comes out as a ring without
    // its last point; a hundred times larger it does not.
    const auto drawing = [](double unit) {
        return Segments<double>{{{0, 0}, {unit, 0}}, {{unit, 0}, {2 * unit, 0}}};
    };
    EXPECT_EQ(LinkSegments(drawing(0.1), 0.0), (Polylines<double>{{{0, 0}, {0.1, 0}, {0, 0}}}));
    EXPECT_EQ(LinkSegments(drawing(10), 0.0), (Polylines<double>{{{0, 0}, {10, 0}, {20, 0}}}));
}

TEST(SegmentLinking, ATriangleRepeatsItsFirstPoint)
{
    const Polylines<float> expected{{{0, 0}, {4, 0}, {2, 3}, {0, 0}}};
    const Polylines<float> chains =
        LinkSegments(Segments<float>{{{4, 0}, {0, 0}}, {{2, 3}, {4, 0}}, {{2, 3}, {0, 0}}}, 0.0F);
    ASSERT_EQ(chains.size(), 1U);
    EXPECT_EQ(chains[0].size(), 4U);
    EXPECT_EQ(chains[0].front(), chains[0].back());
    std::vector<VecBase<2, float>> corners(chains[0].begin(), chains[0].end() - 1);
    std::sort(corners.begin(), corners.end(),
              [](const auto& a, const auto& b) { return a[0] < b[0]; });
    EXPECT_EQ(corners, (std::vector<VecBase<2, float>>{{0, 0}, {2, 3}, {4, 0}}));
}

TEST(SegmentLinking, AGapIsOnePoint)
{
    EXPECT_EQ(LinkSegments(Segments<double>{{{0, 0}, {10, 0}}, {{10.05, 0}, {20, 0}}}, 0.1),
              (Polylines<double>{{{0, 0}, {10.05, 0}, {20, 0}}}));
}

TEST(SegmentLinking, AtAJunctionTheFirstTakesTheNextAndTheThirdStaysFree)
{
    // Three segments from the middle, far ends out of reach of each other.
    const Vec2d middle(0, 0);
    const Polylines<double> chains = LinkSegments(
        Segments<double>{{middle, {-100, 0}}, {middle, {100, 50}}, {middle, {100, -50}}}, 0.0);
    ASSERT_FALSE(chains.empty());
    EXPECT_EQ(chains[0], (std::vector<Vec2d>{{-100, 0}, {0, 0}, {100, -50}}));
    EXPECT_EQ(chains.size(), 2U); // one segment was not reached
    EXPECT_EQ(chains[1].size(), 1U);
}

TEST(SegmentLinking, ToleranceZeroBridgesNothingButThePairingMay)
{
    // 1.5 apart: its square is below the length 10 of the first segment.
    EXPECT_EQ(LinkSegments(Segments<double>{{{0, 0}, {10, 0}}, {{11.5, 0}, {20, 0}}}, 0.0),
              (Polylines<double>{{{0, 0}, {11.5, 0}, {20, 0}}}));
    // 4 apart: 16 is above it.
    EXPECT_EQ(LinkSegments(Segments<double>{{{0, 0}, {10, 0}}, {{14, 0}, {20, 0}}}, 0.0),
              (Polylines<double>{{{0, 0}, {0, 0}}, {{0, 0}}}));
    EXPECT_EQ(LinkSegments(Segments<double>{{{0, 0}, {10, 0}}, {{14, 0}, {20, 0}}}, 5.0),
              (Polylines<double>{{{0, 0}, {14, 0}, {20, 0}}}));
}

TEST(SegmentLinking, ADrawingAtMinusTenHasNoSquareToLinkIn)
{
    // Of the box from (-11, -11) to (-9, -9) the middle times 1.1 is the lower corner. Gaps of 1
    // and 1.2, too wide for segments this short to be paired, are bridged elsewhere only.
    ASSERT_EQ(-11.0 - 1.1 * -10.0, 0.0);
    const auto linked = [](const Vec2d& at) {
        return LinkSegments(Segments<double>{{at, at + Vec2d(0.5, 0)},
                                             {at + Vec2d(1.5, 0), at + Vec2d(2, 0)},
                                             {at + Vec2d(2, 1.2), at + Vec2d(2, 2)}},
                            1.3);
    };
    for (const Vec2d& at : {Vec2d(64, 64), Vec2d(-100, -100), Vec2d(1e6, 1e6)}) {
        const Polylines<double> chains = linked(at);
        ASSERT_EQ(chains.size(), 1U);
        EXPECT_EQ(chains[0], (std::vector<Vec2d>{at, at + Vec2d(1.5, 0), at + Vec2d(2, 1.2),
                                                 at + Vec2d(2, 2)}));
    }
    const Vec2d corner(-11, -11);
    EXPECT_EQ(linked(corner), (Polylines<double>{{corner, corner}, {corner}, {corner}}));
}

TEST(SegmentLinking, WithoutASquareAJunctionIsLinkedOnceOnly)
{
    // Two triangles that touch in a corner, the middle of the box. Four ends meet there; the square
    // of no size would hold them at tolerance 0, but nothing is searched in it, and of those at one
    // point the pairing links two.
    const auto chains = [](const Vec2d& middle) {
        const auto at = [&](double x, double y) { return middle + Vec2d(x, y); };
        return LinkSegments(Segments<double>{{middle, at(-1, -1)},
                                             {at(-1, -1), at(-1, 1)},
                                             {at(-1, 1), middle},
                                             {middle, at(1, -1)},
                                             {at(1, -1), at(1, 1)},
                                             {at(1, 1), middle}},
                            0.0);
    };
    EXPECT_EQ(CornerSets(chains({50, 50})).size(), 2U);
    EXPECT_EQ(CornerSets(chains({-10, -10})).size(), 1U);
}

TEST(SegmentLinking, EndsThatAreNotFiniteTakeTheirSegmentAlong)
{
    for (const double wrong : {kNaN, kInfinity, -kInfinity}) {
        const Segments<double> segments{
            {{wrong, 0}, kA}, {kA, kB}, {kB, {0, wrong}}, {kB, kC}, {{0, 0}, {wrong, wrong}}};
        EXPECT_EQ(LinkSegments(segments, 0.0), (Polylines<double>{{kA, kB, kC}}));
        EXPECT_TRUE(LinkSegments(Segments<double>{{{wrong, 0}, {1, wrong}}}, 1.0).empty());
        EXPECT_TRUE(
            LinkSegments(Segments<float>{{{static_cast<float>(wrong), 0}, {1, 1}}}, 1.0F).empty());
    }
}

TEST(SegmentLinking, CoordinatesWhoseSquaresOverflow)
{
    for (const double huge : {1e150, 1e200, 1.7e308}) {
        const Segments<double> segments{{{-huge, 0}, {huge, 0}},
                                        {{huge, 0}, {0, huge}},
                                        {{0, huge}, {-huge, 0}},
                                        {{1, 1}, {2, 2}}};
        const Polylines<double> chains = LinkSegments(segments, huge);
        EXPECT_EQ(chains, ByTwin(segments, huge));
        ASSERT_FALSE(chains.empty());
        EXPECT_EQ(chains[0].size(), 4U);
    }
}

// --- many ends ----------------------------------------------------------------------------------

TEST(SegmentLinking, AHubOfManyEndsIsLinkedInTurn)
{
    // A star: at tolerance 0 the ends at its middle are linked two by two, lowest first; far ends
    // lie too far apart for a length of 100.
    constexpr int kCount = 100'000;
    Segments<double> star;
    for (int i = 0; i < kCount; ++i) {
        star.push_back({{0, 0}, {100.0 + i % 1000 * 50.0, 50.0 * (i / 1000)}});
    }
    const Polylines<double> chains = LinkSegments(star, 0.0);
    ASSERT_FALSE(chains.empty());
    // The first polyline starts in the middle, at the lowest end, and its far end is free.
    EXPECT_EQ(chains[0].front(), Vec2d(0, 0));
    // No other segment begins: all have a free end. So there is a polyline for each pass.
    EXPECT_EQ(chains.size(), static_cast<std::size_t>(kCount));
}

TEST(SegmentLinking, ACrowdWhoseEndsAreAllTakenCostsLaterEndsNothing)
{
    // Ends in a crowd pair off among themselves; afterwards as many others, all within the
    // tolerance of the crowd and of nothing else that is free on their side, look for a partner.
    // Without forgetting what is taken, each would look at the whole crowd.
    constexpr int kCount = 30'000;
    Support::Random random(2);
    Segments<double> segments;
    for (int i = 0; i < kCount; ++i) {
        const Vec2d inCrowd = random.Vector<2, double>(-0.01, 0.01);
        segments.push_back({inCrowd, {-1e6 + 20.0 * i, 1e6}});
    }
    for (int i = 0; i < kCount; ++i) {
        segments.push_back({{1.0 + 1e-7 * i, 0}, {1e6, 20.0 * i}});
    }
    const Polylines<double> chains = LinkSegments(segments, 1.5);
    EXPECT_FALSE(chains.empty());
}

// --- without memory
// -------------------------------------------------------------------------------

template <class T>
void ExpectExceptionPasses()
{
    // Loops, a junction, and loose ends that reach each step.
    Support::Random random(4);
    Segments<T> segments{{{0, 0}, {1, 5}}, {{0, 0}, {5, 1}}, {{0, 0}, {-4, -4}}};
    for (int i = 0; i < 40; ++i) {
        const auto start = random.Vector<2, T>(-50, 50);
        segments.push_back({start, start + random.Vector<2, T>(-9, 9)});
    }
    for (int i = 0; i < 20; ++i) {
        const auto x = static_cast<T>(100 + i);
        segments.push_back({{x, 100}, {x + 1, 100}});
        segments.push_back({{x, i == 0 ? T{100} : T{101}}, {x + 1, i == 19 ? T{100} : T{101}}});
    }
    Support::WithThreads(1, [&] {
        EXPECT_GT(Support::FailEachAllocationOfResult(
                      [&] { return LinkSegments(segments, static_cast<T>(3)); }),
                  20U);
    });
}

TEST(SegmentLinkingWithoutMemory, PassesTheExceptionOn)
{
    ExpectExceptionPasses<double>();
    ExpectExceptionPasses<float>();
}

} // namespace
