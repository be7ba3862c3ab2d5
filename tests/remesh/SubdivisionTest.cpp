// Smooth subdivision and the splitting of long edges as a host calls them: the rules from first
// principles and against a slow twin, features and corners, what must not change, and what no file
// should break.

#include "tests/support/MeshGenerators.h"
#include "tests/support/MeshMeasures.h"
#include "tests/support/StlFile.h"
#include "tests/support/TestSupport.h"
#include "tests/support/ThreadLimit.h"

#include <Sorvane/Subdivision_E.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <map>
#include <set>
#include <stdexcept>
#include <utility>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;
using Mesh::SubdivisionMethod;
using Support::IndexedMesh;
using Key = std::array<long long, 3>;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kBoundariesOnly = 200.0; // no turn is that large
constexpr std::array kBothMethods{SubdivisionMethod::Loop, SubdivisionMethod::Sqrt3};

IndexedMesh Subdivided(const IndexedMesh& mesh, double angle, unsigned iterations,
                       SubdivisionMethod method)
{
    IndexedMesh out;
    Mesh::SubdivideMesh(mesh, out, angle, iterations, method);
    return out;
}
IndexedMesh Loop(const IndexedMesh& mesh, double angle, unsigned iterations)
{
    return Subdivided(mesh, angle, iterations, SubdivisionMethod::Loop);
}
IndexedMesh Sqrt3(const IndexedMesh& mesh, double angle, unsigned iterations)
{
    return Subdivided(mesh, angle, iterations, SubdivisionMethod::Sqrt3);
}

Key KeyOf(const Vec3d& p)
{
    return {std::llround(p.x() * 1e8), std::llround(p.y() * 1e8), std::llround(p.z() * 1e8)};
}

/// Triangles by their corners to eight digits, whatever their order.
std::vector<std::array<Key, 3>> RoundedTriangles(const IndexedMesh& mesh)
{
    std::vector<std::array<Key, 3>> triangles;
    for (std::size_t i = 0; i < mesh.indices.size(); i += 3) {
        std::array<Key, 3> t{KeyOf(Support::PointOf(mesh, i)), KeyOf(Support::PointOf(mesh, i + 1)),
                             KeyOf(Support::PointOf(mesh, i + 2))};
        std::rotate(t.begin(), std::min_element(t.begin(), t.end()), t.end());
        triangles.push_back(t);
    }
    std::sort(triangles.begin(), triangles.end());
    return triangles;
}

bool HasPoint(const IndexedMesh& mesh, const Vec3d& p, double tolerance = 1e-12)
{
    return std::any_of(mesh.points.begin(), mesh.points.end(),
                       [&](const Vec3d& q) { return Length(p - q) <= tolerance; });
}

IndexedMesh Shaken(IndexedMesh mesh, std::uint64_t seed, double size)
{
    Support::Random random(seed);
    for (Vec3d& p : mesh.points) {
        p += random.Vector<3, double>(-size, size);
    }
    return mesh;
}

// --- slow twins ---------------------------------------------------------------------------------

/// The edges with the points opposite of them, and for each point those joined to it; by maps.
struct Neighborhoods {
    std::map<std::pair<int, int>, std::vector<int>> apexes;
    std::map<int, std::set<int>> neighbors;

    explicit Neighborhoods(const IndexedMesh& mesh)
    {
        for (std::size_t i = 0; i < mesh.indices.size(); ++i) {
            const std::size_t t = i / 3 * 3;
            const int a = mesh.indices[i];
            const int b = mesh.indices[t + (i + 1) % 3];
            apexes[std::minmax(a, b)].push_back(mesh.indices[t + (i + 2) % 3]);
            neighbors[a].insert(b);
            neighbors[b].insert(a);
        }
    }
    bool IsOpen(int a, int b) const { return apexes.at(std::minmax(a, b)).size() == 1; }
    /// The neighbors along the boundary.
    std::vector<int> Line(int node) const
    {
        std::vector<int> line;
        for (const int n : neighbors.at(node)) {
            if (IsOpen(node, n)) {
                line.push_back(n);
            }
        }
        return line;
    }
};

/// Old points by their neighbors, weighed with 1 - weight(n) and weight(n) / n each; along the
/// boundary with 3/4 and 1/8, and where two boundaries meet not at all.
template <class Weight>
std::vector<Vec3d> SmoothedPoints(const IndexedMesh& mesh, const Neighborhoods& around,
                                  Weight weight)
{
    std::vector<Vec3d> points = mesh.points;
    const auto at = [&](int n) { return mesh.points[static_cast<std::size_t>(n)]; };
    for (const auto& [node, ring] : around.neighbors) {
        const std::vector<int> line = around.Line(node);
        Vec3d& p = points[static_cast<std::size_t>(node)];
        if (line.size() == 2) {
            p = at(node) * 0.75 + (at(line[0]) + at(line[1])) * 0.125;
        } else if (line.empty()) {
            Vec3d mean;
            for (const int n : ring) {
                mean += at(n) / static_cast<double>(ring.size());
            }
            const double w = weight(static_cast<int>(ring.size()));
            p = at(node) * (1 - w) + mean * w;
        }
    }
    return points;
}

/// Loop's step where only boundaries are features.
IndexedMesh SlowLoop(const IndexedMesh& mesh)
{
    const Neighborhoods around(mesh);
    IndexedMesh fine;
    fine.points = SmoothedPoints(mesh, around, [](int n) { return n == 3 ? 9.0 / 16 : 3.0 / 8; });
    std::map<std::pair<int, int>, int> middles;
    const auto at = [&](int n) { return mesh.points[static_cast<std::size_t>(n)]; };
    for (const auto& [edge, apexes] : around.apexes) {
        middles[edge] = static_cast<int>(fine.points.size());
        const Vec3d ends = at(edge.first) + at(edge.second);
        fine.points.push_back(
            apexes.size() == 1 ? ends / 2.0 : (ends * 3.0 + at(apexes[0]) + at(apexes[1])) / 8.0);
    }
    for (std::size_t i = 0; i < mesh.indices.size(); i += 3) {
        const int a = mesh.indices[i];
        const int b = mesh.indices[i + 1];
        const int c = mesh.indices[i + 2];
        const int ab = middles[std::minmax(a, b)];
        const int bc = middles[std::minmax(b, c)];
        const int ca = middles[std::minmax(c, a)];
        fine.indices.insert(fine.indices.end(), {a, ab, ca, b, bc, ab, c, ca, bc, ab, bc, ca});
    }
    return fine;
}

/// A first sqrt(3) step where only boundaries are features: each directed edge makes a triangle
/// with the centers on both sides of it, or of the boundary edge and the one center.
IndexedMesh SlowSqrt3(const IndexedMesh& mesh)
{
    const Neighborhoods around(mesh);
    IndexedMesh fine;
    fine.points = SmoothedPoints(
        mesh, around, [](int n) { return (4 - 2 * std::cos(2 * std::acos(-1.0) / n)) / 9; });
    std::map<std::pair<int, int>, int> centers; // of the triangle that runs an edge so
    for (std::size_t i = 0; i < mesh.indices.size(); ++i) {
        if (i % 3 == 0) {
            fine.points.push_back((Support::PointOf(mesh, i) + Support::PointOf(mesh, i + 1) +
                                   Support::PointOf(mesh, i + 2)) /
                                  3.0);
        }
        centers[{mesh.indices[i], mesh.indices[i / 3 * 3 + (i + 1) % 3]}] =
            static_cast<int>(fine.points.size()) - 1;
    }
    for (const auto& [edge, center] : centers) {
        const auto [a, b] = edge;
        if (around.IsOpen(a, b)) {
            fine.indices.insert(fine.indices.end(), {a, b, center});
        } else {
            fine.indices.insert(fine.indices.end(), {a, centers[{b, a}], center});
        }
    }
    return fine;
}

std::vector<IndexedMesh> SoundMeshes()
{
    Support::Random random(3);
    return {Shaken(Support::Sphere(2), 1, 0.1),
            Shaken(Support::Torus(8, 6), 2, 0.1),
            Shaken(Support::Tetrahedron(), 3, 0.1),
            Shaken(Support::Grid(5, 4), 4, 0.1),
            Shaken(Support::Fan(7, true), 5, 0.1),
            Shaken(Support::Without(Support::Sphere(2), {5, 60, 61}), 6, 0.05),
            Support::Shuffled(Shaken(Support::Sphere(3), 7, 0.02), random)};
}

TEST(Subdivision, LoopIsTheSlowTwin)
{
    for (const IndexedMesh& mesh : SoundMeshes()) {
        IndexedMesh slow = mesh;
        for (unsigned steps = 1; steps <= 2; ++steps) {
            slow = SlowLoop(slow);
            EXPECT_EQ(RoundedTriangles(Loop(mesh, kBoundariesOnly, steps)), RoundedTriangles(slow));
        }
    }
}

TEST(Subdivision, TheFirstSqrt3StepIsTheSlowTwin)
{
    for (const IndexedMesh& mesh : SoundMeshes()) {
        EXPECT_EQ(RoundedTriangles(Sqrt3(mesh, kBoundariesOnly, 1)),
                  RoundedTriangles(SlowSqrt3(mesh)));
    }
}

TEST(Subdivision, TheSecondSqrt3StepOfAClosedSurfaceIsTheSlowTwin)
{
    const IndexedMesh mesh = Shaken(Support::Torus(8, 6), 2, 0.1);
    EXPECT_EQ(RoundedTriangles(Sqrt3(mesh, kBoundariesOnly, 2)),
              RoundedTriangles(SlowSqrt3(SlowSqrt3(mesh))));
}

// --- masks from first principles -----------------------------------------------------------------

using Matrix = std::vector<std::vector<double>>;

/// What a step makes of the heights of a node of `valence` neighbors and of those neighbors: its
/// own new height, and those of the new nodes round it. From the step itself: one node is raised at
/// a time, in a wheel of two rings that keeps the boundary away.
Matrix LocalMatrix(int valence, SubdivisionMethod method)
{
    IndexedMesh wheel = Support::Fan(valence, true);
    const int rim = valence;
    for (int i = 0; i < rim; ++i) {
        wheel.points.push_back(wheel.points[static_cast<std::size_t>(1 + i)] * 2.0);
        const int next = (i + 1) % rim;
        wheel.indices.insert(wheel.indices.end(), {1 + i, 1 + rim + i, 1 + rim + next});
        wheel.indices.insert(wheel.indices.end(), {1 + i, 1 + rim + next, 1 + next});
    }
    const auto flat = Subdivided(wheel, kBoundariesOnly, 1, method);
    Matrix matrix(static_cast<std::size_t>(valence) + 1,
                  std::vector<double>(static_cast<std::size_t>(valence) + 1));
    for (int raised = 0; raised <= valence; ++raised) {
        IndexedMesh hill = wheel;
        hill.points[static_cast<std::size_t>(raised)] += Vec3d(0, 0, 1);
        const IndexedMesh out = Subdivided(hill, kBoundariesOnly, 1, method);
        // Triangles are in the same order as on the flat wheel, points by their places in the
        // plane: the center, and its neighbors by their angle.
        std::map<long, double> ring;
        double top = kNaN;
        const auto isCenter = [](const Vec3d& p) { return std::hypot(p.x(), p.y()) < 1e-9; };
        for (std::size_t i = 0; i < out.indices.size(); ++i) {
            if (!isCenter(Support::PointOf(out, i))) {
                continue;
            }
            top = Support::PointOf(out, i).z();
            for (const std::size_t k : {1, 2}) {
                const Vec3d p = Support::PointOf(out, i / 3 * 3 + (i + k) % 3);
                const double turns = std::atan2(p.y(), p.x()) / kTwoPi<double> * valence;
                ring[(std::lround(2 * turns) + 2 * valence) % (2 * valence)] = p.z();
            }
        }
        EXPECT_EQ(ring.size(), static_cast<std::size_t>(valence));
        EXPECT_EQ(flat.indices.size(), out.indices.size());
        std::size_t row = 0;
        matrix[row++][static_cast<std::size_t>(raised)] = top;
        for (const auto& [angle, height] : ring) {
            matrix[row++][static_cast<std::size_t>(raised)] = height;
        }
    }
    return matrix;
}

Matrix Product(const Matrix& a, const Matrix& b)
{
    Matrix c(a.size(), std::vector<double>(a.size(), 0.0));
    for (std::size_t i = 0; i < a.size(); ++i) {
        for (std::size_t j = 0; j < a.size(); ++j) {
            for (std::size_t k = 0; k < a.size(); ++k) {
                c[i][j] += a[i][k] * b[k][j];
            }
        }
    }
    return c;
}

/// A high power of the matrix: its rows are the limit mask when the steps converge.
Matrix HighPower(Matrix matrix)
{
    for (int doubling = 0; doubling < 9; ++doubling) {
        matrix = Product(matrix, matrix);
    }
    return matrix;
}

/// The magnitude of the second eigenvalue, by power iteration beside the limit.
double SecondEigenvalue(const Matrix& matrix)
{
    const Matrix limit = HighPower(matrix);
    Matrix rest = matrix; // its eigenvalues are those of the matrix with 0 for 1
    for (std::size_t i = 0; i < rest.size(); ++i) {
        for (std::size_t j = 0; j < rest.size(); ++j) {
            rest[i][j] -= limit[i][j];
        }
    }
    constexpr int kSteps = 512; // 2^9
    double norm = 0;
    for (const auto& row : HighPower(rest)) {
        for (const double entry : row) {
            norm = std::max(norm, std::fabs(entry));
        }
    }
    return std::pow(norm, 1.0 / kSteps);
}

TEST(Subdivision, LimitOfLoopAtANodeIsTheKnownMask)
{
    for (int valence = 3; valence <= 9; ++valence) {
        SCOPED_TRACE(valence);
        const Matrix step = LocalMatrix(valence, SubdivisionMethod::Loop);
        // The first row is the rule for an old node: beta each, 3/16 at three neighbors, 1/16 at
        // six.
        const double beta = valence == 3 ? 3.0 / 16 : 3.0 / (8.0 * valence);
        EXPECT_NEAR(step[0][1], beta, 1e-14);
        EXPECT_NEAR(step[0][0], 1 - valence * beta, 1e-14);
        // Known: the neighbors' weights in the limit are 1 / (3 / (8 beta) + n).
        const double weight = 1 / (3 / (8 * beta) + valence);
        for (const auto& row : HighPower(step)) {
            EXPECT_NEAR(row[0], 1 - valence * weight, 1e-10);
            for (int i = 1; i <= valence; ++i) {
                EXPECT_NEAR(row[static_cast<std::size_t>(i)], weight, 1e-10);
            }
        }
        // Known: two equal eigenvalues 3/8 + cos(2 pi / n) / 4 below 1 shape the tangent plane. A
        // power of 512 leaves a factor of about n^(1/512) beside it.
        EXPECT_NEAR(SecondEigenvalue(step), 0.375 + std::cos(kTwoPi<double> / valence) / 4, 3e-3);
    }
}

TEST(Subdivision, LimitOfSqrt3AtANodeIsTheKnownMask)
{
    for (int valence = 3; valence <= 9; ++valence) {
        SCOPED_TRACE(valence);
        const Matrix step = LocalMatrix(valence, SubdivisionMethod::Sqrt3);
        const double alpha = (4 - 2 * std::cos(kTwoPi<double> / valence)) / 9;
        EXPECT_NEAR(step[0][0], 1 - alpha, 1e-14);
        // Known: in the limit the neighbors together weigh 3 alpha / (1 + 3 alpha).
        for (const auto& row : HighPower(step)) {
            EXPECT_NEAR(row[0], 1 / (1 + 3 * alpha), 1e-10);
        }
    }
}

// --- feature lines ------------------------------------------------------------------------------

/// A closed polygon after a step of cubic B-spline subdivision: every edge halved, then every point
/// drawn to the middle with the next, twice over.
std::vector<Vec3d> SplineStep(const std::vector<Vec3d>& polygon)
{
    std::vector<Vec3d> fine;
    for (const Vec3d& p : polygon) {
        fine.insert(fine.end(), {p, p});
    }
    for (int round = 0; round < 3; ++round) {
        std::vector<Vec3d> means;
        for (std::size_t i = 0; i < fine.size(); ++i) {
            means.push_back((fine[i] + fine[(i + 1) % fine.size()]) / 2.0);
        }
        fine = means;
    }
    return fine;
}

TEST(Subdivision, ABoundaryIsACubicSplineWhateverIsInside)
{
    IndexedMesh disc = Shaken(Support::Fan(9, true), 1, 0.1);
    std::vector<Vec3d> rim(disc.points.begin() + 1, disc.points.end());
    for (unsigned steps = 1; steps <= 3; ++steps) {
        rim = SplineStep(rim);
        disc.points[0] = Vec3d(0.1 * steps, 0, 5.0); // the rim takes no notice of the middle
        const IndexedMesh out = Loop(disc, kBoundariesOnly, steps);
        EXPECT_EQ(rim.size(), 9U << steps);
        for (const Vec3d& p : rim) {
            EXPECT_TRUE(HasPoint(out, p)) << p.x() << " " << p.y() << " " << p.z();
        }
        EXPECT_EQ(Support::FaultsOf(out).open, 9 << steps);
    }
}

TEST(Subdivision, ABoundaryOfSqrt3TakesNoNoticeOfTheInsideEither)
{
    const auto openPoints = [](const IndexedMesh& mesh) {
        std::set<Key> points;
        for (const auto& [edge, uses] : Support::EdgeUses(mesh)) {
            if (uses == 1) {
                points.insert(KeyOf(mesh.points[static_cast<std::size_t>(edge.first)]));
                points.insert(KeyOf(mesh.points[static_cast<std::size_t>(edge.second)]));
            }
        }
        return points;
    };
    IndexedMesh disc = Shaken(Support::Fan(9, true), 1, 0.1);
    const IndexedMesh flat = Sqrt3(disc, kBoundariesOnly, 4);
    disc.points[0] = Vec3d(0.2, 0.1, 5.0);
    const IndexedMesh hill = Sqrt3(disc, kBoundariesOnly, 4);
    EXPECT_EQ(openPoints(flat).size(), 81U) << "9 edges cut in three, twice";
    EXPECT_EQ(openPoints(flat), openPoints(hill));
}

TEST(Subdivision, Sqrt3CutsBoundaryEdgesInThreeAfterEverySecondStep)
{
    const IndexedMesh sheet = Support::Grid(4, 3);
    for (const auto& [steps, open] : {std::pair(0U, 14), {1U, 14}, {2U, 42}, {3U, 42}, {4U, 126}}) {
        const IndexedMesh out = Sqrt3(sheet, 30.0, steps);
        EXPECT_EQ(Support::FaultsOf(out), (Support::EdgeFaults{open, 0})) << steps;
        EXPECT_EQ(Support::EulerOf(out), 1);
    }
    // Points of the trisection on a straight stretch of equal edges lie at its thirds, after a
    // smoothing that leaves such a stretch alone: along y = 0 from x = 1 to x = 3, two edges from
    // the corners.
    const IndexedMesh two = Sqrt3(Support::Grid(8, 8), 30.0, 2);
    EXPECT_TRUE(HasPoint(two, {3 + 1.0 / 3, 0, 0}));
    EXPECT_TRUE(HasPoint(two, {3 + 2.0 / 3, 0, 0}));
}

TEST(Subdivision, ThousandsOfLinesMayMeetInANode)
{
    // Work that grew with the square of their number would not end within the time of a test.
    constexpr std::size_t kLines = 10'000;
    IndexedMesh cone = Support::Fan(kLines, true);
    cone.points[0] = Vec3d(0, 0, 1);
    const IndexedMesh out = Sqrt3(cone, 0.0, 2); // every edge is a line
    // Nine of each triangle, two more on each side of an edge that is cut in three.
    EXPECT_EQ(out.indices.size(), 3 * (9 + 4 + 2) * kLines);
    EXPECT_TRUE(HasPoint(out, {0, 0, 1}, 0.0));
}

TEST(Subdivision, CornersOfACubeStayWithBothMethods)
{
    const IndexedMesh cube = Support::Cube();
    for (const SubdivisionMethod method : kBothMethods) {
        for (unsigned steps = 1; steps <= 4; ++steps) {
            const IndexedMesh out = Subdivided(cube, 30.0, steps, method);
            for (const Vec3d& corner : cube.points) {
                EXPECT_TRUE(HasPoint(out, corner, 0.0));
            }
            EXPECT_EQ(Support::FaultsOf(out), Support::EdgeFaults{});
            EXPECT_EQ(Support::EulerOf(out), 2);
        }
    }
}

TEST(Subdivision, LoopLeavesACubeACubeAndSqrt3BulgesAtItsCorners)
{
    const IndexedMesh cube = Support::Cube();
    EXPECT_NEAR(Support::VolumeOf(Loop(cube, 30.0, 3)), 1.0, 1e-12);

    // The third neighbor of a corner takes the place of the continuation of the edge: the new node
    // next to it leaves the edge by 5/81, and by 4/81 for that at the other end, outward.
    const IndexedMesh out = Sqrt3(cube, 30.0, 2);
    EXPECT_NEAR(Support::VolumeOf(out), 1.0335, 0.005);
    int found = 0;
    for (const Vec3d& p : out.points) {
        for (int axis = 0; axis < 3; ++axis) {
            const double along = p[axis];
            if (std::fabs(along - 26.0 / 81) > 1e-9 && std::fabs(along - 55.0 / 81) > 1e-9) {
                continue;
            }
            double off = 0;
            bool isOutward = true;
            for (int other = 0; other < 3; ++other) {
                if (other != axis) {
                    const double beyond = std::max(-p[other], p[other] - 1);
                    isOutward = isOutward && beyond > -1e-12;
                    off += std::max(beyond, 0.0);
                }
            }
            if (isOutward) {
                EXPECT_NEAR(off, 9.0 / 81, 1e-12) << "5/81 and 4/81, along one axis or two";
                ++found;
            }
        }
    }
    EXPECT_EQ(found, 24) << "two on each of twelve edges";
}

TEST(Subdivision, ACornerOfAFlatSheetIsRounded)
{
    const IndexedMesh out = Loop(Support::Grid(1, 1), 30.0, 1);
    EXPECT_TRUE(HasPoint(out, {0.125, 0.125, 0}));
    EXPECT_FALSE(HasPoint(out, {0, 0, 0}));
    double area = 0;
    for (std::size_t i = 0; i < out.indices.size(); i += 3) {
        const Vec3d a = Support::PointOf(out, i);
        area += ((Support::PointOf(out, i + 1) - a) ^ (Support::PointOf(out, i + 2) - a)).z() / 2;
    }
    EXPECT_NEAR(area, 0.75, 1e-14);
}

TEST(Subdivision, WithAngleZeroLoopIsPlainMidpointRefinement)
{
    for (const IndexedMesh& mesh : {Support::Sphere(1), Support::Torus(5, 4), Support::Cube()}) {
        IndexedMesh plain;
        Mesh::SimpleRefine(mesh, plain, Mesh::SimpleRefineMethod::Midpoints, 2);
        EXPECT_EQ(RoundedTriangles(Loop(mesh, 0.0, 2)), RoundedTriangles(plain));
    }
}

TEST(Subdivision, TheAngleItselfMakesAFeature)
{
    // The normals at the edges of a cube turn by exactly a right angle.
    const double rightAngle = 90.0;
    EXPECT_TRUE(HasPoint(Loop(Support::Cube(), rightAngle, 1), {0, 0, 0}, 0.0));
    EXPECT_FALSE(HasPoint(Loop(Support::Cube(), 90.0001, 1), {0, 0, 0}));
    EXPECT_FALSE(HasPoint(Loop(Support::Cube(), kNaN, 1), {0, 0, 0}));
}

TEST(Subdivision, ACreaseIsTheSameCurveWhateverTheFacesBesideItDo)
{
    // Two domes on one rim, as a lens: the rim is a crease, its nodes have two neighbors on it.
    constexpr int kRim = 12;
    IndexedMesh lens = Support::Fan(kRim, true);
    const int below = static_cast<int>(lens.points.size());
    lens.points.push_back({0, 0, -0.3});
    for (int i = 0; i < kRim; ++i) {
        lens.indices.insert(lens.indices.end(), {below, 1 + (i + 1) % kRim, 1 + i});
    }
    lens.points[0] = Vec3d(0.1, 0.2, 0.3);
    std::vector<Vec3d> rim(lens.points.begin() + 1, lens.points.begin() + 1 + kRim);
    rim = SplineStep(SplineStep(rim));
    const IndexedMesh out = Loop(lens, 90.0, 2);
    for (const Vec3d& p : rim) {
        EXPECT_TRUE(HasPoint(out, p));
    }
}

TEST(Subdivision, FeaturesAreFoundBeforeTheFirstStepOnly)
{
    // The turn at the poles' edges of an octahedron falls below the angle with the first step:
    // lines that were found stay all the same, and each of its nodes has four of them.
    const IndexedMesh out = Loop(Support::Octahedron(), 60.0, 3);
    for (const Vec3d& corner : Support::Octahedron().points) {
        EXPECT_TRUE(HasPoint(out, corner, 0.0));
    }
    EXPECT_TRUE(HasPoint(out, {0.5, 0.5, 0}, 0.0));
    EXPECT_TRUE(HasPoint(out, {0.25, 0.75, 0}, 1e-15));
}

// --- topology and what must not change ----------------------------------------------------------

TEST(Subdivision, CountsFollowFromTheInput)
{
    for (const IndexedMesh& mesh : SoundMeshes()) {
        const int points = static_cast<int>(mesh.points.size());
        const int edges = static_cast<int>(Support::EdgeUses(mesh).size());
        const int triangles = static_cast<int>(mesh.indices.size() / 3);
        const int open = Support::FaultsOf(mesh).open;
        const IndexedMesh loop = Loop(mesh, 60.0, 1);
        EXPECT_EQ(static_cast<int>(loop.points.size()), points + edges);
        EXPECT_EQ(static_cast<int>(loop.indices.size()), 12 * triangles);
        EXPECT_EQ(Support::EulerOf(loop), Support::EulerOf(mesh));
        EXPECT_EQ(Support::FaultsOf(loop), (Support::EdgeFaults{2 * open, 0}));
        const IndexedMesh roots = Sqrt3(mesh, kBoundariesOnly, 1);
        EXPECT_EQ(static_cast<int>(roots.points.size()), points + triangles);
        EXPECT_EQ(static_cast<int>(roots.indices.size()), 9 * triangles);
        EXPECT_EQ(Support::EulerOf(roots), Support::EulerOf(mesh));
        const IndexedMesh twice = Sqrt3(mesh, 60.0, 2);
        EXPECT_EQ(Support::EulerOf(twice), Support::EulerOf(mesh));
        EXPECT_EQ(Support::FaultsOf(twice), (Support::EdgeFaults{3 * open, 0}));
    }
}

TEST(Subdivision, RealPartsStayClosed)
{
    for (const auto& [name, steps] : {std::pair("meshes_cad/round.stl", 2U),
                                      {"meshes_nist/nist_ftc_11_asme1_rb.stl", 1U},
                                      {"with_degenerate/nist_ftc_06.stl", 1U}}) {
        const auto path = Support::SharedData(name);
        SORVANE_NEED_DATA(path);
        // Rebuilt first: a file of triangles without area has edges of three triangles when welded.
        const IndexedMesh part = Loop(Support::WeldedStl<double>(path), 30.0, 0);
        const bool isClosed = Support::FaultsOf(part) == Support::EdgeFaults{};
        for (const SubdivisionMethod method : kBothMethods) {
            SCOPED_TRACE(testing::Message() << name << " " << static_cast<int>(method));
            const IndexedMesh out = Subdivided(part, 30.0, steps, method);
            const Support::EdgeFaults faults = Support::FaultsOf(out);
            EXPECT_EQ(faults.overfull, 0);
            if (isClosed) {
                EXPECT_EQ(faults.open, 0);
                // Every edge has two triangles, so that points and triangles tell the rest.
                const auto euler = [](const IndexedMesh& mesh) {
                    return 2 * static_cast<long>(mesh.points.size()) -
                           static_cast<long>(mesh.indices.size() / 3);
                };
                EXPECT_EQ(euler(out), euler(part));
            }
        }
        // Straight edges between corners keep what is flat flat; rounds are tightened a little.
        EXPECT_NEAR(Support::VolumeOf(Loop(part, 30.0, 1)) / Support::VolumeOf(part), 1.0, 0.05)
            << name;
    }
}

TEST(Subdivision, WithoutStepsTheInputIsRebuilt)
{
    Support::Random random(5);
    const IndexedMesh mesh = Shaken(Support::Torus(6, 5), 5, 0.1);
    const auto isRebuilt = [&](const IndexedMesh& out) {
        EXPECT_EQ(Support::TriangleSet(out), Support::TriangleSet(mesh));
        EXPECT_TRUE(std::is_sorted(
            out.points.begin(), out.points.end(), [](const Vec3d& a, const Vec3d& b) {
                return std::lexicographical_compare(a.begin(), a.end(), b.begin(), b.end());
            }));
    };
    isRebuilt(Loop(mesh, 30.0, 0));
    isRebuilt(Sqrt3(mesh, 30.0, 0));
    for (const int number : {2, -1, 255, 1'000'000}) {
        isRebuilt(Subdivided(mesh, 30.0, 4'000'000'000U, static_cast<SubdivisionMethod>(number)));
    }
    IndexedMesh out;
    Mesh::SplitLongMeshEdges(mesh, out, 0.1, true, 0);
    isRebuilt(out);
}

TEST(Subdivision, ManyThreadsGiveTheSameBits)
{
    const IndexedMesh mesh = Shaken(Support::Torus(60, 40), 9, 0.01);
    for (const SubdivisionMethod method : kBothMethods) {
        IndexedMesh one;
        IndexedMesh four;
        Support::WithThreads(1, [&] { Mesh::SubdivideMesh(mesh, one, 20.0, 2, method); });
        Support::WithThreads(4, [&] { Mesh::SubdivideMesh(mesh, four, 20.0, 2, method); });
        EXPECT_TRUE(one == four);
    }
}

TEST(Subdivision, FarFromTheOriginIsTheSame)
{
    // A shift by a power of two costs digits of the input and nothing else.
    constexpr double kFar = 1 << 20;
    IndexedMesh near = Shaken(Support::Torus(9, 7), 4, 0.1);
    IndexedMesh far = near;
    for (Vec3d& p : far.points) {
        p += Vec3d(kFar, -kFar, kFar);
    }
    for (const SubdivisionMethod method : kBothMethods) {
        const IndexedMesh a = Subdivided(near, 40.0, 2, method);
        IndexedMesh b = Subdivided(far, 40.0, 2, method);
        ASSERT_EQ(a.points.size(), b.points.size());
        ASSERT_EQ(a.indices.size(), b.indices.size());
        for (std::size_t i = 0; i < a.indices.size(); ++i) {
            const Vec3d back = Support::PointOf(b, i) - Vec3d(kFar, -kFar, kFar);
            EXPECT_LT(Length(back - Support::PointOf(a, i)), 1e-8);
        }
    }
}

TEST(Subdivision, AMeshMayBeItsOwnOutput)
{
    for (const SubdivisionMethod method : kBothMethods) {
        IndexedMesh mesh = Support::Cube();
        const IndexedMesh expected = Subdivided(mesh, 30.0, 2, method);
        Mesh::SubdivideMesh(mesh, mesh, 30.0, 2, method);
        EXPECT_TRUE(mesh == expected);
    }
    IndexedMesh mesh = Support::Cube();
    IndexedMesh expected;
    Mesh::SplitLongMeshEdges(mesh, expected, 0.5, true, 2);
    Mesh::SplitLongMeshEdges(mesh, mesh, 0.5, true, 2);
    EXPECT_TRUE(mesh == expected);
    mesh.indices.pop_back();
    Mesh::SplitLongMeshEdges(mesh, mesh, 0.5, true, 2);
    EXPECT_TRUE(mesh.points.empty() && mesh.indices.empty());
}

// --- where fans meet, triangles back to back ----------------------------------------------------

TEST(Subdivision, WhereTwoSolidsTouchInAPointItStays)
{
    // Two octahedra with one point in common.
    IndexedMesh pair = Support::Octahedron();
    const IndexedMesh other = Support::Octahedron();
    std::vector<int> numbers;
    for (const Vec3d& p : other.points) {
        const Vec3d moved = p + Vec3d(2, 0, 0);
        const bool isCommon = Length(moved - Vec3d(1, 0, 0)) < 1e-12;
        numbers.push_back(isCommon ? 0 : static_cast<int>(pair.points.size()));
        if (!isCommon) {
            pair.points.push_back(moved);
        }
    }
    for (const int n : other.indices) {
        pair.indices.push_back(numbers[static_cast<std::size_t>(n)]);
    }
    ASSERT_EQ(Support::EulerOf(pair), 3);
    for (const SubdivisionMethod method : kBothMethods) {
        const IndexedMesh out = Subdivided(pair, kBoundariesOnly, 2, method);
        EXPECT_TRUE(HasPoint(out, {1, 0, 0}, 0.0));
        EXPECT_EQ(Support::EulerOf(out), 3);
        EXPECT_EQ(Support::FaultsOf(out), Support::EdgeFaults{});
        // A free node of its kind does move.
        EXPECT_FALSE(HasPoint(out, {-1, 0, 0}));
    }
}

TEST(Subdivision, WhereASolidTouchesAFeatureLineInAPointItStays)
{
    // A lens, whose rim is a crease, and an octahedron, which has none, with a node of the rim in
    // common: two edges of a line, and not all that is at the node.
    constexpr int kRim = 12;
    IndexedMesh lens = Support::Fan(kRim, true);
    const int below = static_cast<int>(lens.points.size());
    lens.points.push_back({0, 0, -0.3});
    for (int i = 0; i < kRim; ++i) {
        lens.indices.insert(lens.indices.end(), {below, 1 + (i + 1) % kRim, 1 + i});
    }
    lens.points[0] = Vec3d(0, 0, 0.3);
    const Vec3d shared(1, 0, 0);
    ASSERT_TRUE(HasPoint(lens, shared, 0.0));
    IndexedMesh solid = Support::Octahedron();
    for (Vec3d& p : solid.points) {
        p += Vec3d(2, 0, 0);
    }
    for (IndexedMesh pair : {Support::Together(lens, solid), Support::Together(solid, lens)}) {
        for (int& n : pair.indices) {
            const auto same = std::find(pair.points.begin(), pair.points.end(),
                                        pair.points[static_cast<std::size_t>(n)]);
            n = static_cast<int>(same - pair.points.begin());
        }
        ASSERT_EQ(Support::EulerOf(Loop(pair, 100.0, 0)), 3);
        for (const SubdivisionMethod method : kBothMethods) {
            const IndexedMesh out = Subdivided(pair, 100.0, 1, method);
            EXPECT_TRUE(HasPoint(out, shared, 0.0));
            EXPECT_FALSE(HasPoint(out, {-1, 0, 0})) << "as other nodes of the rim do not";
            EXPECT_EQ(Support::FaultsOf(out), Support::EdgeFaults{});
        }
    }
}

TEST(Subdivision, WhereManyFansMeetEveryEdgeIsSplitAllTheSame)
{
    for (const int fans : {2, 3, 5}) {
        const IndexedMesh leaves = Support::TrianglesAtOnePoint(fans);
        const IndexedMesh loop = Loop(leaves, 30.0, 2);
        EXPECT_EQ(loop.indices.size(), static_cast<std::size_t>(3 * 16 * fans));
        EXPECT_TRUE(HasPoint(loop, {0, 0, 0}, 0.0));
        EXPECT_EQ(Support::EulerOf(loop), 1);
        IndexedMesh split;
        Mesh::SplitLongMeshEdges(leaves, split, 0.0, true, 1);
        EXPECT_EQ(Support::FaultsOf(split).open, 6 * fans);
        EXPECT_EQ(Support::EulerOf(split), 1);
    }
}

TEST(Subdivision, TrianglesBackToBackAreNotTornOrCrowded)
{
    IndexedMesh pillow;
    pillow.points = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}};
    pillow.indices = {0, 1, 2, 0, 2, 1};
    // Nothing can be split, and all iterations asked for come to an end when nothing moves any
    // more.
    const IndexedMesh loop = Loop(pillow, kBoundariesOnly, 4'000'000'000U);
    EXPECT_EQ(loop.indices.size(), 6U);
    EXPECT_EQ(Sqrt3(pillow, kBoundariesOnly, 1).indices.size(), 18U);

    // Two triangles back to back as a part of a larger surface: a flap on an edge of two.
    IndexedMesh bag = Support::Grid(2, 2);
    bag.points.push_back({0.5, 0.5, 2});
    const int tip = static_cast<int>(bag.points.size()) - 1;
    bag.indices = {0, 1, 4, 0, 4, 3, 4, 0, tip, 0, 4, tip};
    bag.indices.resize(12);
    const IndexedMesh kept = Loop(bag, 30.0, 1);
    EXPECT_EQ(Support::FaultsOf(kept).overfull, 0);
}

TEST(Subdivision, ThirdTrianglesOnAnEdgeAreLeftOut)
{
    const IndexedMesh fins = Support::Fins(4);
    EXPECT_EQ(Loop(fins, 30.0, 0).indices.size(), 3U) << "all four run the edge the same way";
    const IndexedMesh strip = Support::MoebiusStrip(7);
    EXPECT_EQ(Support::FaultsOf(Loop(strip, 30.0, 2)).overfull, 0);
    IndexedMesh twice = Support::Tetrahedron();
    const std::vector<int> once = twice.indices;
    twice.indices.insert(twice.indices.end(), once.begin(), once.end());
    EXPECT_TRUE(Loop(twice, 30.0, 2) == Loop(Support::Tetrahedron(), 30.0, 2));
}

// --- hostile input ------------------------------------------------------------------------------

TEST(Subdivision, EmptyMeshesGiveEmptyResults)
{
    IndexedMesh fourIndices = Support::Tetrahedron();
    fourIndices.indices.resize(4);
    IndexedMesh twoPoints;
    twoPoints.points.resize(2);
    twoPoints.indices = {0, 1, 0};
    IndexedMesh onlyDegenerate = Support::Tetrahedron();
    onlyDegenerate.indices = {0, 0, 1, 2, 2, 2};
    for (const IndexedMesh& mesh : {IndexedMesh{}, fourIndices, twoPoints, onlyDegenerate}) {
        for (const SubdivisionMethod method : kBothMethods) {
            IndexedMesh out = Support::Cube();
            Mesh::SubdivideMesh(mesh, out, 30.0, 4'000'000'000U, method);
            EXPECT_TRUE(out.points.empty() && out.indices.empty());
        }
        IndexedMesh out = Support::Cube();
        Mesh::SplitLongMeshEdges(mesh, out, 0.0, true, 4'000'000'000U);
        EXPECT_TRUE(out.points.empty() && out.indices.empty());
    }
}

TEST(Subdivision, InvalidTriplesAndUnusedPointsAreLeftOut)
{
    IndexedMesh mesh = Support::Tetrahedron();
    mesh.points.insert(mesh.points.begin(), Vec3d(7, 7, 7)); // in no triangle
    for (int& n : mesh.indices) {
        ++n;
    }
    mesh.indices.insert(mesh.indices.begin(), {1, 1, 2, -1, 2, 3, 1, 2, 99});
    for (const SubdivisionMethod method : kBothMethods) {
        const IndexedMesh out = Subdivided(mesh, 200.0, 2, method);
        EXPECT_EQ(RoundedTriangles(out),
                  RoundedTriangles(Subdivided(Support::Tetrahedron(), 200.0, 2, method)));
        EXPECT_FALSE(HasPoint(out, {7, 7, 7}));
    }
    IndexedMesh split;
    Mesh::SplitLongMeshEdges(mesh, split, 0.0, true, 1);
    EXPECT_EQ(split.indices.size(), 48U);
}

TEST(Subdivision, NumbersThatAreNotFiniteSpreadAndBreakNothing)
{
    for (const double bad : {kNaN, kInfinity, 1e308}) {
        IndexedMesh mesh = Support::Sphere(2);
        mesh.points[5] = Vec3d(bad, 0, 0);
        for (const SubdivisionMethod method : kBothMethods) {
            for (const double angle : {30.0, 0.0, kNaN, kInfinity, -kInfinity}) {
                const IndexedMesh out = Subdivided(mesh, angle, 2, method);
                EXPECT_GE(out.indices.size(), mesh.indices.size());
                // The far side does not notice.
                EXPECT_TRUE(std::any_of(out.points.begin(), out.points.end(),
                                        [](const Vec3d& p) { return std::isfinite(p * p); }));
            }
        }
        IndexedMesh out;
        Mesh::SplitLongMeshEdges(mesh, out, 0.3, false, 2);
        EXPECT_GE(out.indices.size(), mesh.indices.size());
    }
}

TEST(Subdivision, MoreThanSubscriptsCanTellEndsAtOnce)
{
    IndexedMesh doubled = Support::Tetrahedron(); // not taken by plain arrays
    doubled.indices.insert(doubled.indices.end(), {0, 1, 2});
    for (const IndexedMesh& mesh : {Support::Tetrahedron(), Support::Grid(2, 2), doubled}) {
        for (const SubdivisionMethod method : kBothMethods) {
            for (const unsigned iterations : {20U, 4'000'000'000U}) {
                IndexedMesh out = Support::Cube();
                EXPECT_THROW(Mesh::SubdivideMesh(mesh, out, 30.0, iterations, method),
                             std::length_error);
                EXPECT_TRUE(out.points.empty() && out.indices.empty());
            }
        }
    }
}

// --- long edges ---------------------------------------------------------------------------------

IndexedMesh Split(const IndexedMesh& mesh, double length, bool atMiddle, unsigned iterations)
{
    IndexedMesh out;
    Mesh::SplitLongMeshEdges(mesh, out, length, atMiddle, iterations);
    return out;
}

TEST(Subdivision, LongEdgesAreSplitUntilNoneIsLeft)
{
    for (const bool atMiddle : {false, true}) {
        const IndexedMesh part = Shaken(Support::Cube(), 2, 0.1);
        const IndexedMesh out = Split(part, 0.3, atMiddle, 100);
        for (const double length : Support::EdgeLengths(out)) {
            EXPECT_LE(length, 0.3);
        }
        EXPECT_NEAR(Support::VolumeOf(out), Support::VolumeOf(part), 1e-12);
        EXPECT_EQ(Support::EulerOf(out), 2);
        EXPECT_EQ(Support::FaultsOf(out), Support::EdgeFaults{});
    }
}

TEST(Subdivision, NewEdgesWaitForTheNextPass)
{
    IndexedMesh needle;
    needle.points = {{0, 0, 0}, {8, 0, 0}, {4, 0.1, 0}};
    needle.indices = {0, 1, 2};
    EXPECT_EQ(Split(needle, 5.0, true, 1).indices.size(), 6U);
    EXPECT_EQ(Split(needle, 3.9, true, 1).indices.size(), 12U);
    EXPECT_EQ(Split(needle, 5.0, true, 50).indices.size(), 6U);
}

TEST(Subdivision, LengthZeroSplitsEveryEdgeOfAnyLength)
{
    const IndexedMesh sheet = Support::Grid(3, 2);
    EXPECT_EQ(Split(sheet, 0.0, true, 1).indices.size(), 4 * sheet.indices.size());
    EXPECT_EQ(Split(sheet, 0.0, true, 2).indices.size(), 16 * sheet.indices.size());
    IndexedMesh flat = Support::Grid(1, 1);
    flat.points[1] =
        flat.points[0]; // an edge without length; its triangle is halved by the other two
    EXPECT_EQ(Split(flat, 0.0, true, 1).indices.size(), 3U * (4 + 3));
}

TEST(Subdivision, ANegativeLengthCountsAsItsMagnitudeAndNaNSplitsNothing)
{
    const IndexedMesh sheet = Shaken(Support::Grid(3, 2), 1, 0.2);
    EXPECT_TRUE(Split(sheet, -0.7, false, 3) == Split(sheet, 0.7, false, 3));
    for (const double length : {kNaN, kInfinity, 1e200}) {
        EXPECT_EQ(Split(sheet, length, false, 3).indices.size(), sheet.indices.size());
    }
}

/// Two triangles a b c and b a d; the edge a b alone is longer than the length.
IndexedMesh Kite(const Vec3d& c, const Vec3d& d)
{
    IndexedMesh kite;
    kite.points = {{0, 0, 0}, {4, 0, 0}, c, d};
    kite.indices = {0, 1, 2, 1, 0, 3};
    return kite;
}

TEST(Subdivision, AnEdgeIsSplitWhereTheOtherDiagonalCrossesIt)
{
    EXPECT_TRUE(HasPoint(Split(Kite({1, 2, 0}, {1, -1, 0}), 3.9, false, 1), {1, 0, 0}));
    EXPECT_TRUE(HasPoint(Split(Kite({1, 2, 0}, {1, -1, 0}), 3.9, true, 1), {2, 0, 0}));
    // Folded along the edge it is the same place.
    EXPECT_TRUE(HasPoint(Split(Kite({1, 0, 2}, {1, -1, 0}), 3.9, false, 1), {1, 0, 0}));
    EXPECT_TRUE(HasPoint(Split(Kite({1, 2, 0}, {3, -2, 0}), 3.9, false, 1), {2, 0, 0}));
    // Never nearer to an end than an eighth.
    EXPECT_TRUE(HasPoint(Split(Kite({0.1, 1, 0}, {0.1, -1, 0}), 3.9, false, 1), {0.5, 0, 0}));
    EXPECT_TRUE(HasPoint(Split(Kite({3.9, 1, 0}, {3.9, -1, 0}), 3.9, false, 1), {3.5, 0, 0}));
    // Where the diagonals do not meet, at the middle; on a boundary too.
    EXPECT_TRUE(HasPoint(Split(Kite({-1, 1, 0}, {-1, -1, 0}), 5.05, false, 1), {0, 0, 0}))
        << "nothing is longer";
    EXPECT_TRUE(HasPoint(Split(Kite({-1, 0.1, 0}, {-1, -0.1, 0}), 3.9, false, 1), {2, 0, 0}));
    IndexedMesh one = Kite({1, 2, 0}, {1, -1, 0});
    one.indices.resize(3);
    EXPECT_TRUE(HasPoint(Split(one, 3.9, false, 1), {2, 0, 0}));
}

TEST(Subdivision, AnApexMayBeANodeOfTheSamePass)
{
    // 0-1 goes first, where the line from (1, 3) to (2, -2) crosses it: (1.6, 0). Then 1-2, whose
    // left apex is that node by now: the line from it to (4, 3) meets 1-2 at 4/9, the one from (0,
    // 0) would at 4/7.
    IndexedMesh mesh;
    mesh.points = {{0, 0, 0}, {4, 0, 0}, {1, 3, 0}, {2, -2, 0}, {4, 3, 0}};
    mesh.indices = {0, 1, 2, 1, 0, 3, 2, 1, 4};
    const IndexedMesh out = Split(mesh, 3.9, false, 1);
    EXPECT_TRUE(HasPoint(out, {1.6, 0, 0}));
    EXPECT_TRUE(HasPoint(out, {4 - 3 * 4.0 / 9, 3 * 4.0 / 9, 0}));
}

TEST(Subdivision, LongEdgesOfTrianglesWithoutAreaAreSplitToo)
{
    for (const double height : {0.0, 1e-200, kNaN}) {
        const IndexedMesh out = Split(Kite({2, height, 0}, {2, -height, 0}), 3.9, false, 1);
        EXPECT_EQ(out.indices.size(), 12U);
        EXPECT_TRUE(std::any_of(out.points.begin(), out.points.end(), [](const Vec3d& p) {
            return std::fabs(p.y()) < 1e-12 && p.x() >= 0.5 && p.x() <= 3.5;
        }));
    }
}

} // namespace
