// The passes of a remesher on a class as a host would derive it: their order, what each of them
// tests, and the small decisions that they are made of.

#include <Sorvane/IterativeRemesher_E.h>

#include "tests/remesh/HostRemesher.h"
#include "tests/support/CheckTopology.h"
#include "tests/support/MeshMeasures.h"
#include "tests/support/TestSupport.h"

#include <limits>
#include <string>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

using Support::Anisotropic;
using Support::Isotropic;
using Support::Plane;

Support::PlaneMesh InThePlane(const Support::IndexedMesh& mesh)
{
    Support::PlaneMesh plane;
    for (const Vec3d& p : mesh.points) {
        plane.points.push_back({p[0], p[1]});
    }
    plane.indices = mesh.indices;
    return plane;
}

// --- the run ------------------------------------------------------------------------------------

/// Writes down the passes, which do nothing but say what they are told to.
class Recorder : public Isotropic {
public:
    bool SplitLongEdges() override { return Note("split"); }
    bool CollapseShortEdges() override { return Note("collapse"); }
    bool FlipEdges(bool force) override { return Note(force ? "flip by force" : "flip"); }
    bool RelaxNodes() override { return Note("relax"); }
    bool ProjectNodes(bool enable) override { return Note(enable ? "project really" : "project"); }

    std::string passes;
    std::string busy; ///< the pass that reports a change
    int busyTimes = 0;

private:
    bool Note(const std::string& pass)
    {
        passes += pass + " ";
        return pass == busy && busyTimes-- > 0;
    }
};

TEST(IterativeRemesher, EachIterationRunsAllFivePassesInOrder)
{
    const std::string one = "split collapse flip relax project ";
    for (const char* busy : {"split", "collapse", "flip", "relax", "project"}) {
        SCOPED_TRACE(busy);
        Recorder recorder;
        recorder.busy = busy;
        recorder.busyTimes = 2;
        EXPECT_EQ(recorder.RunPasses(10), 3U) << "two that change something, and the idle one";
        EXPECT_EQ(recorder.passes, one + one + one);
    }
    Recorder limited;
    limited.busy = "relax";
    limited.busyTimes = 100;
    EXPECT_EQ(limited.RunPasses(4), 4U);
    Recorder none;
    EXPECT_EQ(none.RunPasses(0), 0U);
    EXPECT_EQ(none.passes, "");
}

TEST(IterativeRemesher, HasTheDefaultsThatItsHostsRelyOn)
{
    const Isotropic isotropic;
    EXPECT_EQ(isotropic.targetLength, 1.0);
    EXPECT_EQ(isotropic.maxNormalAngle, 10.0);
    EXPECT_TRUE(isotropic.keepBoundary);
    const Anisotropic anisotropic;
    EXPECT_EQ(anisotropic.chordTolerance, 0.01);
    EXPECT_EQ(anisotropic.minFactor, 0.25);
    EXPECT_EQ(anisotropic.maxFactor, 4.0);
}

TEST(IterativeRemesher, TheTargetLengthIsAbsoluteOrAFactorOfTheMean)
{
    Isotropic mesh;
    EXPECT_EQ(mesh.TargetLengthFor(-2.0), 0.0) << "no edges";
    mesh.LoadIndexedPoints(Support::Grid(1, 1)); // four edges of 1 and a diagonal
    const double mean = (4 + std::sqrt(2.0)) / 5;
    EXPECT_EQ(mesh.TargetLengthFor(0.3), 0.3);
    EXPECT_NEAR(mesh.TargetLengthFor(-0.5), 0.5 * mean, 1e-15);
    for (const double none : {0.0, 1e-12, -1e-12}) {
        EXPECT_NEAR(mesh.TargetLengthFor(none), mean, 1e-15);
    }
    EXPECT_TRUE(std::isnan(mesh.TargetLengthFor(kNaN)));
    // A coordinate that is no number spoils its own edges only: 0 1 and the diagonal are left out.
    mesh.NodeRecord(0)->position = {kNaN, 0, 0};
    EXPECT_NEAR(mesh.TargetLengthFor(0.0), 1.0, 1e-15);
}

// --- angles -------------------------------------------------------------------------------------

TEST(IterativeRemesherAngleLimit, AgreesWithTheAngle)
{
    Support::Random random(1);
    const auto holds = [](double degrees, const Vec3d& a, const Vec3d& b) {
        const double limit = degrees * kRadiansPerDegree;
        const bool expected = std::atan2(Length(a ^ b), a * b) <= limit;
        EXPECT_EQ(HalfEdge::Impl::AngleLimit(limit).Holds(a, b), expected)
            << degrees << " " << a << " " << b;
    };
    for (int trial = 0; trial < 20000; ++trial) {
        const double degrees = random.Between(-5, 190);
        const Vec3d a = random.Vector<3, double>(-1, 1);
        holds(degrees, a, random.Vector<3, double>(-1, 1));
        // Next to the limit, on both sides of it.
        const Vec3d across = Normalized(a ^ random.Vector<3, double>(-1, 1), 0.0) * Length(a);
        const double turn = (degrees + random.Between(-1e-10, 1e-10)) * kRadiansPerDegree;
        holds(degrees, a, a * std::cos(turn) + across * std::sin(turn));
    }
    const Vec3d x{1, 0, 0};
    EXPECT_TRUE(HalfEdge::Impl::AngleLimit(0).Holds(x, Vec3d{})) << "no direction, no angle";
    EXPECT_FALSE(HalfEdge::Impl::AngleLimit(-1).Holds(x, Vec3d{}));
    EXPECT_TRUE(HalfEdge::Impl::AngleLimit(kPi<double>).Holds(x, -x));
    EXPECT_TRUE(HalfEdge::Impl::AngleLimit(4).Holds(x, -x));
    EXPECT_FALSE(HalfEdge::Impl::AngleLimit(4).Holds(x, {kNaN, 0, 0}));
    EXPECT_FALSE(HalfEdge::Impl::AngleLimit(kNaN).Holds(x, x));
    // Beyond the range in which squares of squares are numbers.
    EXPECT_TRUE(HalfEdge::Impl::AngleLimit(0.8).Holds(x * 1e-90, Vec3d{1, 1, 0} * 1e-90));
    EXPECT_FALSE(HalfEdge::Impl::AngleLimit(0.7).Holds(x * 1e-90, Vec3d{1, 1, 0} * 1e-90));
}

// --- splitting ----------------------------------------------------------------------------------

TEST(IterativeRemesher, SplitsWhatIsLongerThanFourThirds)
{
    // A strip of squares of edge 1; the diagonals are 1.414.
    for (const auto& [length, triangles] : {std::pair{1.07, 4}, std::pair{1.05, 6}}) {
        Isotropic mesh;
        mesh.LoadIndexedPoints(Support::Grid(2, 1));
        mesh.targetLength = length;
        EXPECT_EQ(mesh.SplitLongEdges(), triangles > 4);
        // Each of the two diagonals that are split makes two triangles more: 1.333 * 1.05 = 1.4.
        EXPECT_EQ(Support::CountTopology(mesh).faces, triangles == 4 ? 4 : 8) << length;
        EXPECT_EQ(Support::CheckTopology(mesh), "");
    }
}

TEST(IterativeRemesher, KeepBoundaryKeepsBoundaryEdgesFromBeingSplit)
{
    for (const bool keeps : {true, false}) {
        Isotropic mesh;
        mesh.LoadIndexedPoints(Support::Grid(1, 1));
        mesh.keepBoundary = keeps;
        mesh.targetLength = 0.7; // 4/3 of it is below 1
        EXPECT_TRUE(mesh.SplitLongEdges());
        EXPECT_EQ(Support::CountTopology(mesh).nodes, keeps ? 5 : 9);
        EXPECT_EQ(Support::CheckTopology(mesh), "");
    }
}

TEST(IterativeRemesher, ASplitHandsOnFeaturesAndTags)
{
    // Two triangles with different tags on a feature edge.
    Isotropic mesh;
    const Support::IndexedMesh square = Support::Grid(1, 1); // 0 1 3 and 0 3 2
    mesh.LoadIndexedPoints(square.points, square.indices,
                           [&](int t, int face) { mesh.FaceRecord(face)->tag = t == 0 ? 5 : 9; });
    const int diagonal = mesh.FindEdge(0, 3);
    mesh.SetEdgeFeature(diagonal, true);
    ASSERT_TRUE(mesh.SplitEdgeAtMiddle(diagonal));
    const int middle = 4;
    EXPECT_EQ(mesh.At(middle), Vec3d(0.5, 0.5, 0));
    EXPECT_TRUE(mesh.NodeRecord(middle)->feature);
    for (const int end : {0, 3}) {
        EXPECT_TRUE(mesh.IsEdgeLocked(mesh.FindEdge(middle, end)));
        EXPECT_TRUE(mesh.IsEdgeLocked(mesh.FindEdge(end, middle)));
    }
    for (const int apex : {1, 2}) {
        EXPECT_FALSE(mesh.IsEdgeLocked(mesh.FindEdge(middle, apex)));
    }
    for (int f = 0; f < mesh.FaceCount(); ++f) {
        const auto nodes = mesh.FaceNodes(f);
        const bool hasOne = std::find(nodes.begin(), nodes.end(), 1) != nodes.end();
        EXPECT_EQ(mesh.FaceRecord(f)->tag, hasOne ? 5 : 9);
    }
    EXPECT_EQ(Support::CheckTopology(mesh), "");

    const int spoke = mesh.FindEdge(middle, 1);
    ASSERT_TRUE(mesh.SplitEdgeAtMiddle(spoke));
    EXPECT_FALSE(mesh.NodeRecord(5)->feature);
    EXPECT_FALSE(mesh.IsEdgeLocked(mesh.FindEdge(5, 1)));
}

TEST(IterativeRemesher, LengthsThatAreNoNumbersNeitherSplitNorCollapse)
{
    Isotropic mesh;
    mesh.LoadIndexedPoints(Support::Grid(8, 8));
    const auto before = Support::Fingerprint(mesh);
    mesh.targetLength = kNaN;
    EXPECT_FALSE(mesh.SplitLongEdges());
    EXPECT_FALSE(mesh.CollapseShortEdges());
    EXPECT_EQ(Support::Fingerprint(mesh), before);
    mesh.targetLength = kInfinity;
    EXPECT_FALSE(mesh.SplitLongEdges());
    // A coordinate that is no number: its edges are neither long nor short.
    mesh.targetLength = 0.01;
    mesh.NodeRecord(40)->position = {kNaN, 4, 0};
    const std::vector<int> neighbors = mesh.NodeNodes(40);
    EXPECT_TRUE(mesh.SplitLongEdges());
    for (const int n : neighbors) {
        EXPECT_GE(mesh.FindEdge(40, n), 0) << "split";
    }
}

// --- collapsing ---------------------------------------------------------------------------------

TEST(IterativeRemesher, CollapsesToTheMiddleOrToTheLockedEnd)
{
    const auto collapsed = [](bool locksFirst, bool locksSecond) {
        Isotropic mesh;
        Support::IndexedMesh grid = Support::Grid(6, 6);
        grid.points[25] = {4.6, 3, 0}; // 24 is at (3, 3)
        mesh.LoadIndexedPoints(grid);
        mesh.LockBoundary();
        mesh.targetLength = 2;
        mesh.maxNormalAngle = 30;
        const int e = mesh.FindEdge(24, 25);
        mesh.SetNodeFeature(24, locksFirst);
        mesh.SetNodeFeature(25, locksSecond);
        return mesh.TryCollapseEdge(e);
    };
    EXPECT_TRUE(collapsed(false, false));
    // Without force a locked end is never merged, whichever way.
    EXPECT_FALSE(collapsed(true, false));
    EXPECT_FALSE(collapsed(false, true));
    EXPECT_FALSE(collapsed(true, true));
}

/// Writes down collapses and says that they were done; nothing is done.
class CollapseRecorder : public Isotropic {
public:
    bool CollapseEdgeAt(int halfEdge, bool keepOrigin) override
    {
        calls.push_back({halfEdge, keepOrigin});
        return answer;
    }

    std::vector<std::pair<int, bool>> calls;
    bool answer = true;
};

/// The edge from (2, 2) to (3, 2) of a sheet that is longer at the second end: from there the
/// farthest ring node of that end is `overhang` and its height of 1 away.
CollapseRecorder Overhanging(double overhang, int& edge)
{
    Support::IndexedMesh sheet = Support::Grid(5, 4);
    for (Vec3d& p : sheet.points) {
        p[0] = p[0] > 3.5 ? p[0] - 1 + overhang : p[0];
    }
    CollapseRecorder mesh;
    mesh.LoadIndexedPoints(sheet);
    mesh.maxNormalAngle = 60;
    edge = mesh.FindEdge(14, 15);
    return mesh;
}

TEST(IterativeRemesher, WhichEndIsLockedDecidesWhichOneMoves)
{
    using Calls = std::vector<std::pair<int, bool>>;
    // What moves, and how far it may be from the ring of the second end then: that end to the
    // first, that end to the middle, or the first end only.
    struct Case {
        double longest;
        bool allowsMiddle;
        bool allowsToFirst;
    };
    // 3 and 1 away from the second end: 3.16 from there, 3.64 from the middle, 4.12 from the first.
    for (const Case& c : {Case{4.2, true, true}, {3.8, true, false}, {3.4, false, false}}) {
        for (const bool isReversed : {false, true}) {
            SCOPED_TRACE(testing::Message() << c.longest << (isReversed ? " reversed" : ""));
            int edge = -1;
            CollapseRecorder mesh = Overhanging(3, edge);
            mesh.targetLength = c.longest / (4.0 / 3);
            const int asked = isReversed ? edge ^ 1 : edge;
            const auto callsOf = [&](bool locksFirst, bool locksSecond) {
                mesh.SetNodeFeature(14, locksFirst);
                mesh.SetNodeFeature(15, locksSecond);
                mesh.calls.clear();
                const bool isDone = mesh.TryCollapseEdge(asked);
                EXPECT_EQ(isDone, !mesh.calls.empty());
                return mesh.calls;
            };
            const Calls toMiddle = c.allowsMiddle ? Calls{{asked, false}} : Calls{};
            EXPECT_EQ(callsOf(false, false), toMiddle);
            EXPECT_EQ(callsOf(true, true), toMiddle) << "as when neither is locked";
            // The half-edge that leaves the locked end, which stays.
            EXPECT_EQ(callsOf(true, false), c.allowsToFirst ? Calls({{edge, true}}) : Calls{});
            EXPECT_EQ(callsOf(false, true), Calls({{edge ^ 1, true}})) << "the first end has room";
            mesh.answer = false;
            EXPECT_FALSE(mesh.TryCollapseEdge(asked)) << "the collapse was refused";
        }
    }
}

/// Writes down which nodes have moved where, as it is told.
class MoveRecorder : public Isotropic {
public:
    struct Move {
        int node;
        bool onFeature;
        Vec3d at; ///< where the node is when the call comes
        bool operator==(const Move&) const = default;
    };
    void NodeMoved(int node, bool onFeature) override
    {
        moves.push_back({node, onFeature, At(node)});
    }

    std::vector<Move> moves;
};

TEST(IterativeRemesher, EveryNewPositionIsToldOnceAndAfterItIsThere)
{
    using Moves = std::vector<MoveRecorder::Move>;
    MoveRecorder split;
    split.LoadIndexedPoints(Support::Grid(1, 1));
    ASSERT_TRUE(split.SplitEdgeAtMiddle(split.FindEdge(0, 3)));
    EXPECT_EQ(split.moves, (Moves{{4, true, {0.5, 0.5, 0}}}));
    EXPECT_FALSE(split.SplitEdgeAtMiddle(-1));
    EXPECT_EQ(split.moves.size(), 1U);

    Support::IndexedMesh fan = Support::Fan(6, true);
    fan.points[0] = {0.2, -0.1, 0};
    MoveRecorder relaxed;
    relaxed.LoadIndexedPoints(fan);
    ASSERT_TRUE(relaxed.RelaxNode(0));
    EXPECT_EQ(relaxed.moves, (Moves{{0, false, relaxed.At(0)}}));
    EXPECT_NE(relaxed.At(0), fan.points[0]);
    MoveRecorder resting;
    resting.LoadIndexedPoints(Support::Fan(6, true));
    EXPECT_FALSE(resting.RelaxNode(0));
    EXPECT_TRUE(resting.moves.empty());

    Support::IndexedMesh grid = Support::Grid(4, 2);
    grid.points[7] = {2.3, 1, 0};
    MoveRecorder slid;
    slid.LoadIndexedPoints(grid);
    for (int x = 0; x < 4; ++x) {
        slid.SetEdgeFeature(slid.FindEdge(5 + x, 6 + x), true);
    }
    ASSERT_TRUE(slid.RelaxFeatureNode(7));
    EXPECT_EQ(slid.moves, (Moves{{7, true, {2, 1, 0}}}));
    EXPECT_FALSE(slid.RelaxFeatureNode(7));
    EXPECT_EQ(slid.moves.size(), 1U);

    // A collapse tells nothing: what merges there is for those who override it.
    MoveRecorder collapsed;
    collapsed.LoadIndexedPoints(Support::Grid(5, 5));
    ASSERT_TRUE(collapsed.CollapseEdgeAt(collapsed.FindEdge(14, 15), false));
    EXPECT_TRUE(collapsed.moves.empty());
}

TEST(IterativeRemesher, CollapseKeepingTheOriginMayBeNextToABoundary)
{
    // In a strip the ends of an inner edge: one on the boundary stays, the inner node goes.
    for (const bool keepsOrigin : {false, true}) {
        Isotropic mesh;
        mesh.LoadIndexedPoints(Support::Fan(6, true));
        const int e = mesh.FindEdge(1, 0); // from the rim to the hub
        EXPECT_EQ(mesh.CollapseEdgeAt(e, keepsOrigin), keepsOrigin);
        EXPECT_EQ(mesh.IsValidNode(0), !keepsOrigin);
        EXPECT_EQ(mesh.At(1), Vec3d(1, 0, 0));
    }
}

TEST(IterativeRemesher, AMoveIsRefusedWhereAnEdgeBecomesTooLong)
{
    Isotropic mesh;
    mesh.LoadIndexedPoints(Support::Grid(4, 4));
    mesh.targetLength = 1.0;
    mesh.maxNormalAngle = 170;
    const Vec3d p = mesh.At(12); // the middle, at (2, 2)
    EXPECT_FALSE(mesh.CanMove(12, 13, p, {2.5, 2, 0})) << "1.80";
    mesh.targetLength = 1.4; // the farthest ring node is 1.80 away then, 4/3 of this is 1.87
    EXPECT_TRUE(mesh.CanMove(12, 13, p, {2.5, 2, 0}));
}

TEST(IterativeRemesher, AMoveDoesNotLookAtTheLastTriangleOfItsRing)
{
    // The hub of a fan moves past one of its rim edges: refused for every edge but that between the
    // last and the first of the ring. Node 0 joins no ring node, so that no triangle counts as
    // dying.
    Isotropic mesh;
    Support::IndexedMesh fan = Support::Fan(8, true);
    fan.points.push_back({9, 9, 9});
    mesh.LoadIndexedPoints(fan);
    mesh.targetLength = 10;
    mesh.maxNormalAngle = 80;
    const std::vector<int> ring = mesh.NodeNodes(0);
    ASSERT_EQ(ring.size(), 8U);
    int allowed = -1;
    int count = 0;
    for (std::size_t i = 0; i < 8; ++i) {
        const Vec3d middle = (mesh.At(ring[i]) + mesh.At(ring[(i + 1) % 8])) / 2.0;
        if (mesh.CanMove(0, 9, mesh.At(0), middle * 1.02)) {
            allowed = static_cast<int>(i);
            ++count;
        }
    }
    EXPECT_EQ(count, 1);
    EXPECT_EQ(allowed, 7);
}

TEST(IterativeRemesher, ThreeDyingTrianglesAreTooMany)
{
    // Node 0 is a corner of the boundary, inside of which node 3 has the three triangles 0 1 3,
    // 1 2 3 and 2 0 3. With the edge from 2 to 3 flipped, 0 and 1 have two edges between them, and
    // all three triangles of node 0 hold node 1.
    Isotropic mesh;
    mesh.LoadIndexedPoints(std::vector<Vec3d>{{0, 0, 0}, {2, 0, 0}, {0, 2, 0}, {0.5, 0.5, 0}},
                           std::vector<int>{0, 1, 3, 1, 2, 3, 2, 0, 3}, [](int, int) {});
    mesh.targetLength = 10;
    const Vec3d at = mesh.At(0);
    EXPECT_TRUE(mesh.CanMove(0, 1, at, at)) << "one triangle dies";
    EXPECT_TRUE(mesh.CanMove(0, 3, at, at)) << "two die";
    ASSERT_TRUE(mesh.FlipEdge(mesh.FindEdge(2, 3), true));
    const std::vector<int> ring = mesh.NodeNodes(0);
    ASSERT_EQ(ring.size(), 4U);
    ASSERT_EQ(std::count(ring.begin(), ring.end(), 1), 2);
    EXPECT_FALSE(mesh.CanMove(0, 1, at, at)) << "three die";
    EXPECT_TRUE(mesh.CanMove(0, 3, at, at)) << "two die";
}

TEST(IterativeRemesher, ATriangleIsStableWhenItKeepsItsNormalAndItsArea)
{
    Isotropic mesh;
    mesh.maxNormalAngle = 10;
    const Vec3d p1{1, 0, 0};
    const Vec3d p2{0, 1, 0};
    const auto isStable = [&](const Vec3d& from, const Vec3d& to) {
        return mesh.TriangleStable(from, p1, p2, to);
    };
    const Vec3d origin{};
    EXPECT_TRUE(isStable(origin, {0.2, 0.2, 0}));
    EXPECT_FALSE(isStable(origin, {0.8, 0.8, 0})) << "turned over";
    EXPECT_FALSE(isStable(origin, {0.5, 0.5, 0})) << "no area any more";
    EXPECT_FALSE(isStable({0.5, 0.5, 0}, origin)) << "none before";
    EXPECT_TRUE(isStable({0.5, 0.5, 0}, {0.25, 0.75, 0})) << "neither";
    // At height h over the origin the normal is (h, h, 1): turned by atan(h sqrt 2).
    EXPECT_TRUE(isStable(origin, {0, 0, std::tan(9.99 * kRadiansPerDegree) / std::sqrt(2.0)}));
    EXPECT_FALSE(isStable(origin, {0, 0, std::tan(10.01 * kRadiansPerDegree) / std::sqrt(2.0)}));
    EXPECT_FALSE(isStable(origin, {kNaN, 0, 0}));
    // Also where the squares of areas are no numbers.
    constexpr double kHuge = 1e80;
    const auto isStableAt = [&](const Vec3d& to) {
        return mesh.TriangleStable(origin, p1 * kHuge, p2 * kHuge, to * kHuge);
    };
    EXPECT_TRUE(isStableAt({0.2, 0.2, 0}));
    EXPECT_FALSE(isStableAt({0.8, 0.8, 0})) << "turned over";
    EXPECT_FALSE(isStableAt({0.5, 0.5, 0})) << "no area any more";
}

TEST(IterativeRemesher, InThePlaneATriangleIsStableUnlessItTurnsOver)
{
    Plane mesh;
    const auto isStable = [&](const Vec2d& to) {
        return mesh.TriangleStable({0, 0}, {1, 0}, {0, 1}, to);
    };
    EXPECT_TRUE(isStable({-5, 3}));
    EXPECT_TRUE(isStable({0.4, 0.5}));
    EXPECT_FALSE(isStable({0.5, 0.6}));
    EXPECT_FALSE(isStable({0.5, 0.5}));
}

// --- flips --------------------------------------------------------------------------------------

/// The diamond of the edge 0 1 from the origin to `end`, with the apexes 2 on the left and 3 on the
/// right.
Isotropic DiamondOf(const Vec3d& end, const Vec3d& left, const Vec3d& right, double angle)
{
    Isotropic mesh;
    mesh.LoadIndexedPoints(std::vector<Vec3d>{{0, 0, 0}, end, left, right},
                           std::vector<int>{0, 1, 2, 1, 0, 3}, [](int, int) {});
    mesh.maxNormalAngle = angle;
    return mesh;
}
Isotropic Diamond(const Vec3d& left, const Vec3d& right, double angle)
{
    return DiamondOf({1, 0, 0}, left, right, angle);
}
bool MayFlip(Isotropic mesh)
{
    const int e = mesh.FindEdge(0, 1);
    return mesh.ShouldFlip(e, mesh.EdgeDiamond(e));
}

TEST(IterativeRemesher, AFlipNeedsBothApexesOverTheInnerPartOfTheEdge)
{
    for (const double place : {-0.5, 0.0, 0.01, 0.99, 1.0, 1.4}) {
        EXPECT_FALSE(MayFlip(Diamond({place, 1, 0}, {0.5, -1, 0}, 10))) << place;
        EXPECT_FALSE(MayFlip(Diamond({0.5, 1, 0}, {place, -1, 0}, 10))) << place;
    }
    EXPECT_TRUE(MayFlip(Diamond({0.011, 1, 0}, {0.989, -1, 0}, 10)));
}

TEST(IterativeRemesher, AFlipTurnsNoNormalTooFar)
{
    // Both apexes at height h: the two triangles are tilted by atan h about the edge, the new ones
    // by atan 2h across it. With h = tan 2.5 degrees an old normal and a new one differ by 5.580
    // degrees, the arc cosine of the product of the two cosines, and that is to be at most half of
    // the limit.
    const auto folded = [](double degrees, double limit) {
        const double h = std::tan(degrees / 2 * kRadiansPerDegree);
        return MayFlip(Diamond({0.5, 1, h}, {0.5, -1, h}, limit));
    };
    EXPECT_TRUE(folded(5, 11.17));
    EXPECT_FALSE(folded(5, 11.15));
    // A steep saddle is folded across the new edge: its normals differ from the old ones by more
    // than half.
    EXPECT_FALSE(MayFlip(Diamond({0.5, 0.1, 0.02}, {0.5, -0.1, 0.02}, 23)));
    EXPECT_TRUE(MayFlip(Diamond({0.5, 0.1, 0.02}, {0.5, -0.1, 0.02}, 60)));
}

TEST(IterativeRemesher, EachOfTheFiveAnglesForbidsAFlipAndTheSixthDoesNot)
{
    // Random diamonds, each under a limit that exactly one of the five angles breaks, and under one
    // that none breaks. They are a few times 1e-6 in size, so that some triangles are below the
    // area from which they have a normal: were all of them above, the angle between the two old
    // normals would be broken only together with one between an old and a new one.
    constexpr double kSize = 1.3e-6;
    constexpr double kFloor = 1e-12;
    struct Angle {
        std::size_t from, to;
        double share; ///< of the limit
    };
    // Old 0 and 1, new 2 and 3; the last is the one that is not asked for.
    constexpr Angle kAngles[] = {{0, 1, 1},   {2, 3, 1},   {0, 2, 0.5},
                                 {0, 3, 0.5}, {1, 2, 0.5}, {1, 3, 0.5}};
    std::array<int, 5> soleBreaker{};
    int sixthBroken = 0;
    Support::Random random(17);
    for (int trial = 0; trial < 60000; ++trial) {
        const auto apex = [&](double sense) {
            return Vec3d(random.Between(0.05, 0.95), sense * random.Between(0.05, 1.5),
                         random.Between(-0.8, 0.8)) *
                   kSize;
        };
        const Vec3d a;
        const Vec3d b{kSize, 0, 0};
        const Vec3d c = apex(1);
        const Vec3d d = apex(-1);
        const std::array<std::array<Vec3d, 3>, 4> triangle{
            {{a, b, c}, {b, a, d}, {a, d, c}, {b, c, d}}};
        std::array<Vec3d, 4> unit;
        std::array<double, 4> area;
        bool isClear = true;
        for (std::size_t i = 0; i < 4; ++i) {
            const Vec3d normal =
                (triangle[i][1] - triangle[i][0]) ^ (triangle[i][2] - triangle[i][0]);
            area[i] = Length(normal);
            isClear = isClear && std::fabs(area[i] / kFloor - 1) > 1e-3;
            unit[i] = area[i] > kFloor ? normal / area[i] : Vec3d{};
        }
        // The balance of the areas is another test's.
        const double before = std::min(area[0], area[1]) / (area[0] + area[1] + kFloor);
        const double after = std::min(area[2], area[3]) / (area[2] + area[3] + kFloor);
        if (!isClear || before > 9 * after) {
            continue;
        }
        std::array<double, 6> needed{}; // the limit below which an angle is too large
        for (std::size_t k = 0; k < 6; ++k) {
            const Vec3d& m = unit[kAngles[k].from];
            const Vec3d& n = unit[kAngles[k].to];
            const bool hasAngle = Length(m) > 0.5 && Length(n) > 0.5;
            const double cosine = std::max(-1.0, std::min(1.0, m * n));
            needed[k] = hasAngle ? std::acos(cosine) / kAngles[k].share * 180 / kPi<double> : 0;
        }
        const auto greatest = std::max_element(needed.begin(), needed.begin() + 5);
        double second = 0;
        for (auto other = needed.begin(); other != needed.begin() + 5; ++other) {
            second = other == greatest ? second : std::max(second, *other);
        }
        if (*greatest - second < 0.5) {
            continue;
        }
        const auto which = static_cast<std::size_t>(greatest - needed.begin());
        EXPECT_FALSE(MayFlip(DiamondOf(b, c, d, 0.5 * (*greatest + second)))) << which;
        EXPECT_TRUE(MayFlip(DiamondOf(b, c, d, *greatest + 0.1))) << which;
        ++soleBreaker[which];
        sixthBroken += needed[5] > *greatest + 0.5 ? 1 : 0;
    }
    for (std::size_t k = 0; k < 5; ++k) {
        EXPECT_GT(soleBreaker[k], 20) << "no diamond tells anything of angle " << k;
    }
    EXPECT_GT(sixthBroken, 20);
}

TEST(IterativeRemesher, AFlipMustNotSpoilTheBalanceOfTheAreas)
{
    // Equal areas before, 0.5 of their sum; afterwards (a, d, c) has the share t of the diagonal's
    // place.
    EXPECT_TRUE(MayFlip(Diamond({0.06, 1, 0}, {0.06, -1, 0}, 10))) << "0.06 is above 0.05";
    EXPECT_FALSE(MayFlip(Diamond({0.04, 1, 0}, {0.04, -1, 0}, 10))) << "0.04 is below 0.05";
}

TEST(IterativeRemesher, InThePlaneAFlipNeedsTheApexesOnly)
{
    Plane mesh;
    mesh.LoadIndexedPoints(std::vector<Vec2d>{{0, 0}, {1, 0}, {0.04, 1}, {0.04, -1}},
                           std::vector<int>{0, 1, 2, 1, 0, 3}, [](int, int) {});
    const int e = mesh.FindEdge(0, 1);
    EXPECT_TRUE(mesh.ShouldFlip(e, mesh.EdgeDiamond(e)));
}

TEST(IterativeRemesher, FlipsTowardValenceSixAndFourOnABoundary)
{
    Isotropic mesh;
    mesh.LoadIndexedPoints(Support::Grid(4, 4)); // every valence right but at the corners
    EXPECT_FALSE(mesh.FlipEdges(false));
    // A flip away from it is made by force only.
    EXPECT_TRUE(mesh.FlipEdges(true));
    EXPECT_EQ(Support::CheckTopology(mesh), "");
    for (int round = 0; round < 20 && mesh.FlipEdges(false); ++round) {
    }
    int excess = 0;
    for (int n = 0; n < mesh.NodeCount(); ++n) {
        const int off = mesh.Valence(n) - (mesh.IsBoundaryNode(n) ? 4 : 6);
        excess += off * off;
    }
    EXPECT_LE(excess, 30);
}

TEST(IterativeRemesher, NoFlipMakesASecondEdgeBetweenTwoNodes)
{
    // A tetrahedron: the diagonal of every diamond is there already. The angles are no obstacle.
    Isotropic mesh;
    mesh.LoadIndexedPoints(Support::Tetrahedron());
    mesh.maxNormalAngle = 720;
    EXPECT_FALSE(mesh.FlipEdges(true));
    EXPECT_EQ(Support::CheckTopology(mesh), "");
}

// --- relaxing -----------------------------------------------------------------------------------

TEST(IterativeRemesher, RelaxationMovesANodeToTheMiddleOfItsStar)
{
    Isotropic mesh;
    Support::IndexedMesh fan = Support::Fan(6, true);
    fan.points[0] = {0.2, -0.1, 0};
    mesh.LoadIndexedPoints(fan);
    mesh.LockBoundary();
    for (int i = 0; i < 60; ++i) {
        mesh.RelaxNodes();
    }
    EXPECT_TRUE(Matches(mesh.At(0), Vec3d{}, 1e-9)) << mesh.At(0);
    EXPECT_EQ(mesh.At(1), fan.points[1]) << "a locked corner stays";
}

TEST(IterativeRemesher, RelaxationKeepsANodeInItsTangentPlane)
{
    // The tip of a flat pyramid whose base is off center: it moves, but not up or down.
    Isotropic mesh;
    Support::IndexedMesh fan = Support::Fan(6, true);
    fan.points[0] = {0.2, 0, 0.05};
    mesh.LoadIndexedPoints(fan);
    mesh.LockBoundary();
    mesh.maxNormalAngle = 45;
    const Vec3d before = mesh.At(0);
    std::vector<Vec3d> ring;
    for (const int n : mesh.NodeNodes(0)) {
        ring.push_back(mesh.At(n));
    }
    Vec3d normal;
    for (std::size_t i = 0; i < ring.size(); ++i) {
        normal += Normalized((ring[i] - before) ^ (ring[(i + 1) % ring.size()] - before), 0.0);
    }
    ASSERT_TRUE(mesh.RelaxNode(0));
    EXPECT_GT(Length(mesh.At(0) - before), 0.01);
    EXPECT_NEAR((mesh.At(0) - before) * normal, 0, 1e-14);
}

TEST(IterativeRemesher, ANodeWithoutWeightStaysWhereItIs)
{
    // Not at the origin: the centroid of nothing.
    const Vec3d p{5, 6, 7};
    const std::vector<Vec3d> ring{{6, 6, 7}, {5, 7, 7}, {4, 6, 7}};
    EXPECT_EQ(Isotropic::TangentialCentroid(p, ring, {0, 0, 0}), p);
    EXPECT_EQ(Isotropic::TangentialCentroid(p, ring, {}), p);
    EXPECT_EQ(Isotropic::TangentialCentroid(p, {ring[0]}, {1}), p);
    EXPECT_EQ(Plane::TangentialCentroid({5, 6}, {{6, 6}, {7, 7}}, {0, 0}), Vec2d(5, 6));
    // All neighbors in one place: no triangle has area, and the mesh is left as it is.
    Isotropic mesh;
    Support::IndexedMesh fan = Support::Fan(5, true);
    for (std::size_t i = 1; i < fan.points.size(); ++i) {
        fan.points[i] = {3, 3, 3};
    }
    fan.points[0] = {2, 2, 2};
    mesh.LoadIndexedPoints(fan);
    EXPECT_FALSE(mesh.RelaxNode(0));
    EXPECT_EQ(mesh.At(0), Vec3d(2, 2, 2));
}

TEST(IterativeRemesher, CentroidsByHand)
{
    // A right-angled kite round (1, 1), all weights equal: the mean of the four triangles'
    // centroids.
    const std::vector<Vec3d> ring{{3, 0, 0}, {0, 3, 0}, {-1, 0, 0}, {0, -1, 0}};
    const Vec3d target = Isotropic::TangentialCentroid({0.5, 0.5, 0}, ring, {1, 1, 1, 1});
    // (4 p + 2 (3 - 1, 3 - 1)) / 12
    EXPECT_NEAR(target[0], (4 * 0.5 + 2 * 2) / 12.0, 1e-15);
    EXPECT_NEAR(target[1], (4 * 0.5 + 2 * 2) / 12.0, 1e-15);
    // In the plane the weighted mean of the ring itself.
    const Vec2d mean = Plane::TangentialCentroid({9, 9}, {{3, 0}, {0, 3}, {0, 0}}, {1, 2, 1});
    EXPECT_NEAR(mean[0], 0.75, 1e-15);
    EXPECT_NEAR(mean[1], 1.5, 1e-15);
}

TEST(IterativeRemesher, NeighborsInOnePlaceHaveNoTriangleBetweenThem)
{
    // The second and third of a ring coincide, within 1e-12: the weight of 70 between them does not
    // count, and neither does their centroid.
    const Vec3d p{0.5, 0.5, 0};
    for (const double gap : {0.0, 0.9e-12}) {
        const std::vector<Vec3d> ring{{3, 0, 0}, {0, 3, 0}, {-gap, 3, 0}, {-1, 0, 0}, {0, -1, 0}};
        const Vec3d target = Isotropic::TangentialCentroid(p, ring, {1, 70, 5, 1, 2});
        // Triangles round p with the weights 1, 5, 1 and 2, in thirds of the corners' sums:
        // (3.5, 3.5), (-0.5, 3.5), (-0.5, -0.5) and (3.5, -0.5).
        EXPECT_NEAR(target[0], (3.5 - 2.5 - 0.5 + 7) / 3 / 9, 1e-11);
        EXPECT_NEAR(target[1], (3.5 + 17.5 - 0.5 - 1) / 3 / 9, 1e-11);
        EXPECT_EQ(target[2], 0);
    }
    // Farther apart they have one.
    const std::vector<Vec3d> ring{{3, 0, 0}, {0, 3, 0}, {-1e-9, 3, 0}, {-1, 0, 0}, {0, -1, 0}};
    const Vec3d target = Isotropic::TangentialCentroid(p, ring, {1, 70, 5, 1, 2});
    EXPECT_NEAR(target[0], (3.5 + 35 - 2.5 - 0.5 + 7) / 3 / 79, 1e-8);
}

TEST(IterativeRemesher, ANodeThatWouldTurnATriangleStays)
{
    // A fan with a deep notch: the centroid of the ring lies beyond it.
    Plane mesh;
    Support::PlaneMesh fan = InThePlane(Support::Fan(6, true));
    fan.points[1] = {0.02, 0};
    fan.points[0] = {-0.05, 0};
    for (std::size_t i = 2; i < fan.points.size(); ++i) {
        fan.points[i] = fan.points[i] + Vec2d(0.4, 0);
    }
    mesh.LoadIndexedPoints(fan);
    EXPECT_FALSE(mesh.RelaxNode(0));
    EXPECT_EQ(mesh.At(0), Vec2d(-0.05, 0));
}

TEST(IterativeRemesher, AllTrianglesRoundANodeAreTestedTheLastOneToo)
{
    Isotropic mesh;
    mesh.LoadIndexedPoints(Support::Fan(8, true));
    mesh.maxNormalAngle = 80;
    std::vector<Vec3d> ring;
    for (const int n : mesh.NodeNodes(0)) {
        ring.push_back(mesh.At(n));
    }
    for (std::size_t i = 0; i < 8; ++i) {
        const Vec3d middle = (ring[i] + ring[(i + 1) % 8]) / 2.0;
        EXPECT_FALSE(mesh.NormalsStable(0, {}, ring, middle * 1.02)) << i;
        EXPECT_TRUE(mesh.NormalsStable(0, {}, ring, middle * 0.5)) << i;
    }
}

TEST(IterativeRemesher, NoNormalIsStableWhereACoordinateIsNoNumber)
{
    Isotropic mesh;
    mesh.LoadIndexedPoints(Support::Fan(6, true));
    std::vector<Vec3d> ring;
    for (const int n : mesh.NodeNodes(0)) {
        ring.push_back(mesh.At(n));
    }
    for (const double bad : {kNaN, kInfinity, -kInfinity}) {
        for (int axis = 0; axis < 3; ++axis) {
            Vec3d spoiled;
            spoiled[axis] = bad;
            EXPECT_FALSE(mesh.NormalsStable(0, spoiled, ring, {0.1, 0, 0}));
            EXPECT_FALSE(mesh.NormalsStable(0, {}, ring, spoiled));
            for (std::size_t i = 0; i < ring.size(); ++i) {
                std::vector<Vec3d> spoiledRing = ring;
                spoiledRing[i][axis] = bad;
                EXPECT_FALSE(mesh.NormalsStable(0, {}, spoiledRing, {0.1, 0, 0})) << i;
            }
        }
    }
}

TEST(IterativeRemesher, ASliverTurnsUnlessItHasNoAreaAtAll)
{
    // Three neighbors, the first two in line with the node up to a height: moved across that line
    // the sliver between them turns over. However small its area is, it has a normal; without area
    // or with an edge below the floor it has none.
    Isotropic mesh;
    mesh.LoadIndexedPoints(Support::Fan(3, true));
    mesh.maxNormalAngle = 60;
    const auto isStable = [&](double height) {
        const std::vector<Vec3d> ring{{1, 0, 0}, {2, height, 0}, {-1, 9, 0}};
        return mesh.NormalsStable(0, {}, ring, {-0.25, -0.5, 0});
    };
    EXPECT_FALSE(isStable(1e-3));
    EXPECT_FALSE(isStable(1e-13));
    EXPECT_FALSE(isStable(1e-100));
    EXPECT_TRUE(isStable(0));
    const std::vector<Vec3d> near{{1e-12, 0, 0}, {2, 1, 0}, {-1, 9, 0}};
    EXPECT_TRUE(mesh.NormalsStable(0, {}, near, {-0.25, -0.5, 0}));
    const std::vector<Vec3d> farther{{1.01e-12, 0, 0}, {2, 1, 0}, {-1, 9, 0}};
    EXPECT_FALSE(mesh.NormalsStable(0, {}, farther, {-0.25, -0.5, 0}));
}

TEST(IterativeRemesher, AFeatureNodeSlidesToTheMiddleOfAStraightLine)
{
    Isotropic mesh;
    Support::IndexedMesh grid = Support::Grid(4, 2);
    grid.points[7] = {2.3, 1, 0}; // of the middle row
    mesh.LoadIndexedPoints(grid);
    for (int x = 0; x < 4; ++x) {
        mesh.SetEdgeFeature(mesh.FindEdge(5 + x, 6 + x), true);
    }
    EXPECT_TRUE(mesh.RelaxFeatureNode(7));
    EXPECT_EQ(mesh.At(7), Vec3d(2, 1, 0));
    EXPECT_FALSE(mesh.RelaxFeatureNode(7)) << "it is there";
    EXPECT_FALSE(mesh.RelaxFeatureNode(5)) << "an end of the line";
    // Off the line between its neighbors: a corner of the line.
    mesh.NodeRecord(7)->position = {2.3, 1 + 1e-9, 0};
    EXPECT_FALSE(mesh.RelaxFeatureNode(7));
    EXPECT_EQ(mesh.At(7), Vec3d(2.3, 1 + 1e-9, 0));
}

TEST(IterativeRemesher, AFeatureNodeTakesAQuarterWhereTheMiddleTurnsATriangle)
{
    // Apex 1 stands over a tenth of the line from 2 to 3 and leans so that from the middle on it is
    // seen from behind. The node 0 at 0.6 may go to a quarter only... from the left side.
    Isotropic mesh;
    mesh.LoadIndexedPoints(
        std::vector<Vec3d>{
            {0.1, 0, 0}, {1, 0, 0}, {0, 0, 0}, {0.3, 1, 0}, {0.4, 0.02, 0}, {0.5, -1, 0}},
        std::vector<int>{0, 4, 3, 0, 1, 4, 0, 3, 2, 0, 2, 5, 0, 5, 1}, [](int, int) {});
    mesh.SetEdgeFeature(mesh.FindEdge(0, 1), true);
    mesh.SetEdgeFeature(mesh.FindEdge(0, 2), true);
    // The triangle 0 4 3 turns over where the line through 4 and 3 meets y = 0, at x = 0.402.
    ASSERT_TRUE(mesh.RelaxFeatureNode(0));
    EXPECT_EQ(mesh.At(0), Vec3d(0.25, 0, 0));
}

TEST(IterativeRemesher, TheGapOfABoundaryIsNoTriangle)
{
    // The same without the lower triangle, so that the line is a boundary, in directions in which
    // it is straight up to rounding only: the gap between the two neighbors has an area of rounding
    // then, and a normal of chance.
    int moved = 0;
    int movedInAPass = 0;
    for (int trial = 0; trial < 200; ++trial) {
        Support::Random random(static_cast<std::uint64_t>(trial) + 1);
        const Vec3d along = Normalized(random.Vector<3, double>(-1, 1), 0.0);
        const Vec3d up = Normalized(along ^ random.Vector<3, double>(-1, 1), 0.0);
        std::vector<Vec3d> points;
        for (const Vec2d& p : {Vec2d{0.1, 0}, {1, 0}, {0, 0}, {0.3, 1}, {0.4, 0.02}}) {
            points.push_back(along * p[0] + up * p[1]);
        }
        Isotropic mesh;
        mesh.LoadIndexedPoints(points, std::vector<int>{0, 4, 3, 0, 1, 4, 0, 3, 2},
                               [](int, int) {});
        mesh.LockBoundary();
        Isotropic inAPass = mesh;
        moved += mesh.RelaxFeatureNode(0) && Matches(mesh.At(0), along * 0.25, 1e-12) ? 1 : 0;
        movedInAPass += inAPass.RelaxNodes() && inAPass.At(0) == mesh.At(0) ? 1 : 0;
    }
    EXPECT_EQ(moved, 200);
    EXPECT_EQ(movedInAPass, 200);
}

// --- what the ring does not show ----------------------------------------------------------------

TEST(IterativeRemesher, ANodeOfTwoClosedFansStays)
{
    // Two pyramids tip to tip: the ring runs through one of them.
    Support::IndexedMesh one = Support::Fan(5, true);
    one.points[0] = {0.2, 0, 0.3};
    Support::IndexedMesh both = one;
    for (std::size_t i = 1; i < one.points.size(); ++i) {
        both.points.push_back(one.points[0] * 2.0 - one.points[i]);
    }
    for (const int index : one.indices) {
        both.indices.push_back(index == 0 ? 0 : index + 5);
    }
    Isotropic mesh;
    mesh.LoadIndexedPoints(both);
    mesh.maxNormalAngle = 170;
    ASSERT_TRUE(mesh.IsPinchNode(0));
    EXPECT_FALSE(mesh.RelaxNode(0));
    EXPECT_FALSE(mesh.CanMove(0, 1, mesh.At(0), mesh.At(0)));
}

} // namespace
