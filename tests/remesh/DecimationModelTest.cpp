// Decimation one edge at a time beside a slow twin of it: plain sets and lists, every quantity
// found anew each time it is asked for, singular values in place of the fast solver. The half-edge
// mesh and the records of quadrics are the library's and have tests of their own.

#include <Sorvane/Decimation_E.h>
#include <Sorvane/Decorations_E.h>
#include <Velk/Math/Vector_E.h>

#include "tests/remesh/DecimationSupport.h"

#include <set>
#include <utility>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;
using namespace Velk::Math::Sorvane::HalfEdge::Decorations;
namespace Records = HalfEdge::Records;
using Support::IndexedMesh;
using Support::Tags;

constexpr double kSmall = 1e-12;
constexpr double kMost = std::numeric_limits<double>::max();

class SlowDecimator : public HalfEdge::TriangleMesh<Records::QuadricVertex, Records::FeatureEdge,
                                                    Records::TaggedFace> {
public:
    SlowDecimator(const IndexedMesh& mesh, const Tags& tags)
    {
        LoadIndexedPoints(mesh);
        initial_ = FaceCount();
        for (int f = 0; f < initial_; ++f) {
            FaceRecord(f)->tag =
                tags.empty() ? static_cast<unsigned char>(0) : tags[static_cast<std::size_t>(f)];
        }
        Vec3d low = mesh.points[0];
        Vec3d high = low;
        for (const Vec3d& p : mesh.points) {
            for (int i = 0; i < 3; ++i) {
                low[i] = std::min(low[i], p[i]);
                high[i] = std::max(high[i], p[i]);
            }
        }
        longest_ = Length(high - low) / 10;
        middle_ = (low + high) * 0.5; // where the quadrics have their origin
    }
    bool IsNodeLocked(int n) const override { return IsValidNode(n) && NodeRecord(n)->feature; }
    bool IsEdgeLocked(int e) const override { return IsValidEdge(e) && EdgeRecord(e)->feature; }
    bool IsFaceLocked(int f) const override
    {
        const std::vector<int> corners = FaceNodes(f);
        return std::any_of(corners.begin(), corners.end(), [&](int n) { return IsNodeLocked(n); });
    }

    void Run(double degrees, double keep, double tolerance)
    {
        MarkFeatures(degrees * kRadiansPerDegree);
        limit_ = tolerance * tolerance / 4;
        GatherPlanes();
        roundingOfCosts_ = RoundingOfCosts();
        const double target = initial_ - std::floor(initial_ * keep / 100);
        for (int e = 0; e < EdgeCount(); e += 2) {
            Push(e);
        }
        double removed = 0;
        while (!queue_.empty() && removed < target) {
            const auto [cost, e] = *queue_.begin();
            queue_.erase(queue_.begin());
            hasTies = hasTies || IsTied(cost, e);
            removed += IsValidEdge(e) && Collapse(e, cost) ? 2 : 0;
        }
        RemoveStars();
        Flip();
        RemoveStars();
    }
    /// Whether two collapses side by side cost the same but for rounding, as those of planes
    /// through one point do, which cost nothing: it is open then which of them comes first.
    bool hasTies = false;
    int collapsedCreases = 0;
    int stars = 0;
    int flips = 0;
    int flatRefusals = 0;
    int flipErrorRefusals = 0;

private:
    Vec3d At(int n) const { return NodeRecord(n)->position; }
    QuadricErrorFunction& Q(int n) { return NodeRecord(n)->qef; }

    void MarkFeatures(double angle)
    {
        for (int e = 0; e < EdgeCount(); e += 2) {
            const std::vector<int> diamond = EdgeDiamond(e);
            bool isEdge = IsBoundaryEdge(e, true);
            for (const int n : diamond) {
                isEdge = isEdge || n < 0;
            }
            if (!isEdge) {
                const Vec3d a = At(diamond[0]);
                const Vec3d ab = At(diamond[1]) - a;
                if (Vector::AngleBetween(ab ^ (At(diamond[2]) - a), (At(diamond[3]) - a) ^ ab,
                                         kSmall) >= angle) {
                    isEdge = true;
                    NodeRecord(diamond[0])->feature = NodeRecord(diamond[1])->feature = true;
                }
                isEdge = isEdge || FaceRecord(EdgeRecord(e)->face)->tag !=
                                       FaceRecord(EdgeRecord(e ^ 1)->face)->tag;
            }
            EdgeRecord(e)->feature = EdgeRecord(e ^ 1)->feature = isEdge;
        }
    }
    void GatherPlanes()
    {
        for (int f = 0; f < FaceCount(); ++f) {
            const std::vector<int> corners = FaceNodes(f);
            if (std::any_of(corners.begin(), corners.end(),
                            [&](int n) { return IsBoundaryNode(n); })) {
                continue;
            }
            const Vec3d p = At(corners[0]) - middle_;
            const Vec3d q = At(corners[1]) - middle_;
            const Vec3d r = At(corners[2]) - middle_;
            for (const int n : corners) {
                AddPlane(Q(n), (p + q + r) / 3.0, (q - p) ^ (r - p));
            }
        }
        for (int n = 0; n < NodeCount(); ++n) {
            if (IsBoundaryNode(n)) {
                Q(n) = {};
            }
        }
    }
    /// Errors are differences of terms as large as the error at the origin of the quadrics.
    double RoundingOfCosts()
    {
        double largest = 0;
        for (int n = 0; n < NodeCount(); ++n) {
            if (Q(n).count > 0) {
                largest = std::max(largest, ErrorAt(Q(n), Vec3d()));
            }
        }
        return 32 * std::numeric_limits<double>::epsilon() * largest;
    }
    bool IsTied(double cost, int e) const
    {
        if (!IsValidEdge(e)) {
            return false;
        }
        const std::vector<int> own = EdgeNodes(e);
        const auto isBeside = [&](int n) {
            return std::any_of(own.begin(), own.end(),
                               [&](int m) { return n == m || FindEdge(n, m) >= 0; });
        };
        for (auto other = queue_.begin();
             other != queue_.end() && other->first - cost <= roundingOfCosts_; ++other) {
            if (other->second / 2 != e / 2 && IsValidEdge(other->second)) {
                const std::vector<int> ends = EdgeNodes(other->second);
                if (std::any_of(ends.begin(), ends.end(), isBeside)) {
                    return true;
                }
            }
        }
        return false;
    }
    static double Least(QuadricErrorFunction& q, Vec3d& x, double singular)
    {
        if (q.count == 0) {
            x = {kMost, kMost, kMost};
            return kMost;
        }
        const double share = 1.0 / q.count;
        MatBase<3, 3, double> mean = q.A;
        for (double& entry : mean.value) {
            entry *= share;
        }
        int deficient = 0;
        const auto inverse = PseudoInverse(mean, singular, deficient);
        q.rank = 3 - deficient;
        const Vec3d mass = q.massPoint * share;
        Vec3d rest = q.b;
        for (int r = 0; r < 3; ++r) {
            for (int c = 0; c < 3; ++c) {
                rest[r] -= q.A(r, c) * mass[c];
            }
        }
        x = mass;
        for (int r = 0; r < 3; ++r) {
            for (int c = 0; c < 3; ++c) {
                x[r] += share * inverse(r, c) * rest[c];
            }
        }
        return ErrorAt(q, x);
    }
    void Push(int e)
    {
        const std::vector<int> ends = EdgeNodes(e);
        QuadricErrorFunction sum = Merge(Q(ends[0]), Q(ends[1]));
        Vec3d x;
        const double cost = Least(sum, x, 0.005);
        if (cost < limit_ && Length(At(ends[1]) - At(ends[0])) <= longest_) {
            queue_.insert({cost, e});
        }
    }
    bool Folds(int n, const Vec3d& x) const
    {
        const std::vector<int> ring = NodeNodes(n);
        if (ring.size() < 3) {
            return true;
        }
        for (std::size_t i = 0; i < ring.size(); ++i) {
            const Vec3d r = At(ring[i]);
            const Vec3d s = At(ring[(i + 1) % ring.size()]);
            if (Length(x - r) <= kSmall || Length(x - s) <= kSmall) {
                continue;
            }
            if (Length((r - x) ^ (s - x)) / 2 <= 5e-10) {
                return true;
            }
            if (Vector::AngleBetween((r - x) ^ (s - x), (r - At(n)) ^ (s - At(n)), kSmall) >
                80 * kRadiansPerDegree) {
                return true;
            }
        }
        return false;
    }
    bool Collapse(int e, double cost)
    {
        const int a = EdgeNodes(e)[0];
        const int b = EdgeNodes(e)[1];
        QuadricErrorFunction sum = Merge(Q(a), Q(b));
        Vec3d x;
        double error = Least(sum, x, 0.005);
        const bool fa = IsNodeLocked(a);
        const bool fb = IsNodeLocked(b);
        if (error >= limit_ || error > cost || (fa && fb && !IsEdgeLocked(e))) {
            return false;
        }
        const Vec3d along = At(b) - At(a);
        const double t = (x + middle_ - At(a)) * along / SquaredLength(along);
        x = fa && !fb ? At(a) : fb && !fa ? At(b) : At(a) + along * std::min(1.0, std::max(0.0, t));
        if (Folds(a, x) || Folds(b, x)) {
            return false;
        }
        error = ErrorAt(sum, x - middle_);
        const auto lockedAt = [&](int n) {
            const std::vector<int> edges = NodeEdges(n);
            return std::count_if(edges.begin(), edges.end(),
                                 [&](int edge) { return IsEdgeLocked(edge); });
        };
        if (error >= limit_ || (fa && fb && (lockedAt(a) != 2 || lockedAt(b) != 2))) {
            return false;
        }
        const int kept = fb ? b : a;
        if (!CollapseEdge(fb ? e ^ 1 : e, fa && fb, false)) {
            return false;
        }
        collapsedCreases += fa && fb ? 1 : 0;
        greatest_ = std::max(greatest_, error);
        NodeRecord(kept)->position = x;
        Q(kept) = sum;
        NodeRecord(kept)->feature = fa || fb;
        for (const int out : NodeEdges(kept)) {
            Push(out);
        }
        return true;
    }
    void RemoveStars()
    {
        for (int n = 0; n < NodeCount() * 5; ++n) {
            RemoveStar(n % NodeCount());
        }
    }
    void RemoveStar(int n)
    {
        const std::vector<int> spokes = NodeEdges(n);
        const std::vector<int> faces = NodeFaces(n);
        if (!IsValidNode(n) || spokes.size() != 3 || faces.size() != 3 || IsBoundaryNode(n)) {
            return;
        }
        std::vector<int> outer;
        std::vector<Vec3d> ring;
        for (const int spoke : spokes) {
            if (IsEdgeLocked(spoke)) {
                return;
            }
            outer.push_back(EdgeRecord(spoke)->next);
            ring.push_back(At(EdgeNodes(outer.back())[0]));
        }
        Vec3d normal = (ring[1] - ring[0]) ^ (ring[2] - ring[0]);
        normal = normal / Length(normal);
        // A squared measure on the right: it is compared as it is.
        if (std::fabs(normal * (At(n) - ring[0])) > greatest_) {
            return;
        }
        const unsigned char tag = FaceRecord(EdgeRecord(spokes[0])->face)->tag;
        for (const int f : faces) {
            RemoveFace(f);
        }
        for (const int spoke : spokes) {
            RemoveEdge(spoke);
        }
        RemoveNode(n);
        FaceRecord(AddTriangleFromEdges(outer))->tag = tag;
        ++stars;
    }
    bool MayFlip(int e) const
    {
        if (!IsValidEdge(e) || IsEdgeLocked(e)) {
            return false;
        }
        const std::vector<int> d = EdgeDiamond(e);
        if (*std::min_element(d.begin(), d.end()) < 0) {
            return false;
        }
        const auto angleAt = [&](int n) {
            return Vector::AngleBetween(At(d[0]) - At(n), At(d[1]) - At(n), kSmall);
        };
        return angleAt(d[2]) + angleAt(d[3]) > kPi<double> + 1e-9;
    }
    void Flip()
    {
        std::vector<int> stack;
        for (int e = 0; e < EdgeCount(); e += 2) {
            stack.assign(MayFlip(e) ? 1 : 0, e);
            while (!stack.empty() && flips < 10 * EdgeCount()) {
                const int h = stack.back();
                stack.pop_back();
                if (!MayFlip(h)) {
                    continue;
                }
                const std::vector<int> d = EdgeDiamond(h);
                if (FindEdge(d[2], d[3]) >= 0) {
                    continue; // of ours: no edge a second time
                }
                const Vec3d one = (At(d[3]) - At(d[0])) ^ (At(d[2]) - At(d[0]));
                const Vec3d other = (At(d[2]) - At(d[1])) ^ (At(d[3]) - At(d[1]));
                if (Length(one) / 2 <= 1e-9 || Length(other) / 2 <= 1e-9) {
                    continue;
                }
                if (IsNodeLocked(d[0]) && IsNodeLocked(d[1]) &&
                    Vector::AngleBetween(one, other, kSmall) > 2.5 * kRadiansPerDegree) {
                    ++flatRefusals;
                    continue;
                }
                QuadricErrorFunction sum = Merge(Q(d[2]), Q(d[3]));
                Vec3d x;
                const double error = Least(sum, x, 0.1);
                if (!FlipEdge(h, true)) {
                    continue;
                }
                if (error >= limit_) {
                    FlipEdge(h, true);
                    ++flipErrorRefusals;
                    continue;
                }
                ++flips;
                greatest_ = std::max(greatest_, error);
                for (const int side : {h, h ^ 1}) {
                    stack.push_back(EdgeRecord(side)->next);
                    stack.push_back(EdgeRecord(side)->prev);
                }
            }
        }
    }

    std::set<std::pair<double, int>> queue_;
    int initial_ = 0;
    Vec3d middle_;
    double longest_ = 0;
    double limit_ = 0;
    double greatest_ = 0;
    double roundingOfCosts_ = 0;
};

/// Corners, the least first, and tags; triangles come in no order that would matter.
std::set<std::array<int, 4>> TriangleSet(const IndexedMesh& mesh, const Tags& tags)
{
    std::set<std::array<int, 4>> triangles;
    for (std::size_t i = 0; i + 2 < mesh.indices.size(); i += 3) {
        std::array<int, 4> t = {mesh.indices[i], mesh.indices[i + 1], mesh.indices[i + 2],
                                tags[i / 3]};
        std::rotate(t.begin(), std::min_element(t.begin(), t.begin() + 3), t.begin() + 3);
        triangles.insert(t);
    }
    return triangles;
}

/// What the twin did, when both agree. Where it had ties nothing is compared.
SlowDecimator Compare(const IndexedMesh& mesh, const Tags& tags, double angle, double keep,
                      double tolerance)
{
    SlowDecimator twin(mesh, tags);
    twin.Run(angle, keep, tolerance);
    if (twin.hasTies) {
        return twin;
    }
    IndexedMesh expected;
    twin.ExportIndexedPoints(expected, kSmall);
    IndexedMesh result;
    Tags resultTags;
    Mesh::DecimateMesh(mesh, tags, result, resultTags, angle, keep, tolerance, true);
    EXPECT_EQ(result.points.size(), expected.points.size());
    double off = 0;
    for (std::size_t i = 0; i < std::min(result.points.size(), expected.points.size()); ++i) {
        off = std::max(off, Length(result.points[i] - expected.points[i]));
    }
    EXPECT_LT(off, 1e-6);
    Tags expectedTags;
    for (int f = 0; f < twin.FaceCount(); ++f) {
        if (twin.IsValidFace(f)) {
            expectedTags.push_back(twin.FaceRecord(f)->tag);
        }
    }
    EXPECT_EQ(TriangleSet(result, resultTags), TriangleSet(expected, expectedTags));
    return twin;
}

IndexedMesh Shaken(IndexedMesh mesh, double by, double byHeight, std::uint64_t seed)
{
    Support::Random random(seed);
    for (Vec3d& p : mesh.points) {
        p += Vec3d(random.Between(-by, by), random.Between(-by, by),
                   random.Between(-byHeight, byHeight));
    }
    return mesh;
}

TEST(DecimationModel, RoughSheets)
{
    int stars = 0;
    int flips = 0;
    int compared = 0;
    for (std::uint64_t seed = 1; seed <= 3; ++seed) {
        for (const double height : {0.25, 0.02}) {
            const IndexedMesh sheet = Shaken(Support::Grid(24, 24), 0.25, height, seed);
            for (const double keep : {20.0, 80.0}) {
                for (const double tolerance : {0.3, 1.0, 5.0}) {
                    const SlowDecimator twin = Compare(sheet, {}, 180.5, keep, tolerance);
                    stars += twin.stars;
                    flips += twin.flips;
                    compared += twin.hasTies ? 0 : 1;
                }
            }
        }
    }
    EXPECT_GT(stars, 5);
    EXPECT_GT(flips, 50);
    EXPECT_GE(compared, 12); // of 36; a sheet in twenty has ties, for all six of its runs
}

TEST(DecimationModel, TrianglesAboutTheAbsoluteAreas)
{
    // Half of a square of 3e-5 and of 5e-5: below and above what a collapse and a flip must leave.
    int flips = 0;
    for (const double size : {2e-5, 3e-5, 4e-5, 5e-5}) {
        IndexedMesh sheet = Shaken(Support::Grid(20, 20), 0.25, 0.02, 9);
        Support::Scale(sheet, size);
        for (const double keep : {50.0, 100.0}) {
            flips += Compare(sheet, {}, 180.5, keep, 1.0).flips;
        }
    }
    EXPECT_GT(flips, 20);
}

TEST(DecimationModel, CreasesAndTags)
{
    int creases = 0;
    int refused = 0;
    for (std::uint64_t seed = 1; seed <= 3; ++seed) {
        const IndexedMesh cube = Shaken(Support::FineCube(14), 0.03, 0.03, seed);
        Tags tags(cube.indices.size() / 3, 1);
        std::fill(tags.begin() + 500, tags.begin() + 800, static_cast<unsigned char>(2));
        for (const double tolerance : {0.05, 0.3, 2.0}) {
            const SlowDecimator twin = Compare(cube, tags, 40, 10, tolerance);
            creases += twin.collapsedCreases;
            refused += twin.flatRefusals;
        }
    }
    EXPECT_GT(creases, 25);
    EXPECT_GT(refused, 0);
}

TEST(DecimationModel, ASphereAndATorus)
{
    int refused = 0;
    for (std::uint64_t seed = 1; seed <= 2; ++seed) {
        for (const double tolerance : {1e-4, 1e-3, 1e-2, 1.0}) {
            refused +=
                Compare(Shaken(Support::Sphere(4), 0.004, 0.004, seed), {}, 60, 10, tolerance)
                    .flipErrorRefusals;
            refused +=
                Compare(Shaken(Support::Torus(40, 20), 0.01, 0.01, seed), {}, 60, 10, tolerance)
                    .flipErrorRefusals;
        }
    }
    EXPECT_GT(refused, 5);
}

} // namespace
