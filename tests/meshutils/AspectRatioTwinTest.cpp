// The flips against the rule written down with standard containers, step by step and without any
// thought of speed: equal in every bit, on sheets, closed surfaces, real parts and garbage. Beside
// it what the flips promise, measured from outside.

#include <Sorvane/AspectRatio_E.h>
#include <Sorvane/Triangle_E.h>
#include <Velk/Math/Intersect_E.h>

#include "tests/support/MeshMeasures.h"
#include "tests/support/StlFile.h"
#include "tests/support/TestSupport.h"

#include <array>
#include <cmath>
#include <cstdint>
#include <map>
#include <set>
#include <type_traits>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;
using Support::IndexedMesh;
using Support::Random;

template <int D, class T>
using MeshOf = Mesh::IndexedPointsBase<D, T>;

/// A set that hands out what came first; what is there already keeps its place.
class InsertionOrderedSet {
public:
    void Insert(std::uint64_t key)
    {
        if (turnOf_.try_emplace(key, turn_).second) {
            keyOf_[turn_++] = key;
        }
    }
    bool IsEmpty() const { return keyOf_.empty(); }
    std::uint64_t TakeFirst()
    {
        const std::uint64_t key = keyOf_.begin()->second;
        keyOf_.erase(keyOf_.begin());
        turnOf_.erase(key);
        return key;
    }
    bool Contains(std::uint64_t key) const { return turnOf_.contains(key); }

private:
    long turn_ = 0;
    std::map<std::uint64_t, long> turnOf_;
    std::map<long, std::uint64_t> keyOf_;
};

/// What happened on the way, so that a test can tell that it has met the seldom cases.
struct Events {
    int flips = 0;
    int taken = 0;             ///< the diagonal was an edge already
    int takenWhileWaiting = 0; ///< and that edge was waiting, so that it is still tried
    int fixedFlips = 0;        ///< a fixed pair that was flipped away
    int fixedReturns = 0;      ///< and came back
    int driftStops = 0;
    int foldStops = 0;
    std::vector<double> drift; ///< of each triangle number, by an own distance of segments
};

/// Distance of two segments: of all pairs of an end and a segment, and of the common perpendicular
/// where both its feet are inside.
template <class T>
double SegmentDistance(const VecBase<3, T>& a0, const VecBase<3, T>& a1, const VecBase<3, T>& b0,
                       const VecBase<3, T>& b1)
{
    const Vec3d p(a0);
    const Vec3d q(b0);
    const Vec3d u = Vec3d(a1) - p;
    const Vec3d v = Vec3d(b1) - q;
    const auto fromEnd = [](const Vec3d& end, const Vec3d& start, const Vec3d& along) {
        const double squared = along * along;
        const double t = squared > 0 ? std::clamp((end - start) * along / squared, 0.0, 1.0) : 0.0;
        return Length(end - start - along * t);
    };
    double least =
        std::min({fromEnd(p, q, v), fromEnd(p + u, q, v), fromEnd(q, p, u), fromEnd(q + v, p, u)});
    const double determinant = (u * u) * (v * v) - (u * v) * (u * v);
    if (determinant > 0) {
        const Vec3d w = q - p;
        const double s = ((w * u) * (v * v) - (w * v) * (u * v)) / determinant;
        const double t = ((w * u) * (u * v) - (w * v) * (u * u)) / determinant;
        if (s >= 0 && s <= 1 && t >= 0 && t <= 1) {
            least = std::min(least, Length(p + u * s - q - v * t));
        }
    }
    return least;
}

template <int D, class T>
class Twin {
public:
    using Point = VecBase<D, T>;
    using Triple = std::array<int, 3>;
    static constexpr T kTolerance = std::is_same_v<T, float> ? T(1e-8) : T(1e-12);

    Twin(const MeshOf<D, T>& mesh, T creaseAngle, T maxDrift) : points(mesh.points)
    {
        for (std::size_t i = 0; i + 2 < mesh.indices.size(); i += 3) {
            const Triple c{mesh.indices[i], mesh.indices[i + 1], mesh.indices[i + 2]};
            const bool exists = std::all_of(c.begin(), c.end(), [&](int corner) {
                return corner >= 0 && static_cast<std::size_t>(corner) < points.size();
            });
            if (exists && c[0] != c[1] && c[1] != c[2] && c[2] != c[0]) {
                triangles.push_back(c);
            }
        }
        drift.assign(triangles.size(), T(0));
        events.drift.assign(triangles.size(), 0);
        std::set<std::uint64_t> keys; // ascending
        for (int t = 0; t < static_cast<int>(triangles.size()); ++t) {
            for (const std::uint64_t key : KeysOf(t)) {
                edgeFacets.insert({key, t});
                keys.insert(key);
            }
        }
        const T cosine = static_cast<T>(std::cos(double(creaseAngle) * 0.017453292519943295));
        for (const std::uint64_t key : keys) {
            const std::vector<int> facets = FacetsOf(key);
            if (facets.size() != 2 || (D == 3 && cosine > CosineBetween(facets[0], facets[1]))) {
                fixedEdges.insert(key);
            } else {
                candidateEdges.Insert(key);
            }
        }
        while (!candidateEdges.IsEmpty()) {
            Try(candidateEdges.TakeFirst(), maxDrift);
        }
    }

    MeshOf<D, T> Result() const
    {
        MeshOf<D, T> mesh;
        mesh.points = points;
        for (const Triple& triple : triangles) {
            mesh.indices.insert(mesh.indices.end(), triple.begin(), triple.end());
        }
        return mesh;
    }

    std::vector<Point> points;
    std::vector<Triple> triangles;
    std::multimap<std::uint64_t, int> edgeFacets; // equal keys in the order of insertion
    std::set<std::uint64_t> fixedEdges;
    InsertionOrderedSet candidateEdges;
    std::vector<T> drift;
    Events events;

private:
    static std::uint64_t KeyOf(int a, int b)
    {
        const auto [smaller, larger] = std::minmax(a, b);
        return (static_cast<std::uint64_t>(larger) << 32U) | static_cast<std::uint32_t>(smaller);
    }
    Triple& Of(int t) { return triangles[static_cast<std::size_t>(t)]; }
    const Point& At(int i) const { return points[static_cast<std::size_t>(i)]; }

    std::array<std::uint64_t, 3> KeysOf(int t)
    {
        const Triple& c = Of(t);
        return {KeyOf(c[0], c[1]), KeyOf(c[1], c[2]), KeyOf(c[2], c[0])};
    }

    std::vector<int> FacetsOf(std::uint64_t key) const
    {
        std::vector<int> facets;
        const auto [first, last] = edgeFacets.equal_range(key);
        for (auto it = first; it != last; ++it) {
            facets.push_back(it->second);
        }
        return facets;
    }

    Point UnitNormal(int a, int b, int c) const requires(D == 3)
    {
        const Point half = ((At(b) - At(a)) ^ (At(c) - At(a))) / T(2);
        const T length = std::sqrt(half * half);
        return length > T(1e-12) && std::isfinite(length) ? half * (T(1) / length) : Point();
    }

    T CosineBetween(int t, int u)
    {
        if constexpr (D == 3) {
            const Triple& a = Of(t);
            const Triple& b = Of(u);
            return UnitNormal(a[0], a[1], a[2]) * UnitNormal(b[0], b[1], b[2]);
        } else {
            return 1;
        }
    }

    bool IsFolded(int p, int o1, int n, int o2) const
    {
        T product = 0;
        if constexpr (D == 3) {
            product = UnitNormal(p, o1, o2) * UnitNormal(o1, n, o2);
        } else {
            product =
                ((At(o1) - At(p)) ^ (At(o2) - At(p))) * ((At(n) - At(o1)) ^ (At(o2) - At(o1)));
        }
        return !(product > kTolerance);
    }

    T RatioOf(int a, int b, int c) const { return Mesh::AspectRatio(At(a), At(b), At(c)); }
    T RatioOf(int t) { return RatioOf(Of(t)[0], Of(t)[1], Of(t)[2]); }

    void Try(std::uint64_t key, T maxDrift)
    {
        const std::vector<int> facets = FacetsOf(key);
        ASSERT_EQ(facets.size(), 2U);
        const int t1 = facets[0];
        const int t2 = facets[1];
        const int a = static_cast<int>(key & 0xffffffffU);
        const int b = static_cast<int>(key >> 32U);
        const auto opposite = [&](int t) {
            std::size_t k = 0;
            while (Of(t)[k] == a || Of(t)[k] == b) {
                ++k;
            }
            return k;
        };
        const std::size_t k1 = opposite(t1);
        const int o1 = Of(t1)[k1];
        const int n = Of(t1)[(k1 + 1) % 3];
        const int p = Of(t1)[(k1 + 2) % 3];
        const int o2 = Of(t2)[opposite(t2)];
        if (IsFolded(p, o1, n, o2)) {
            ++events.foldStops;
            return;
        }
        const std::array<T, 4> ratios{RatioOf(t1), RatioOf(t2), RatioOf(o1, n, o2),
                                      RatioOf(p, o1, o2)};
        for (const T ratio : ratios) {
            if (std::isnan(ratio)) {
                return;
            }
        }
        if (!(std::min(ratios[0], ratios[1]) + kTolerance < std::min(ratios[2], ratios[3]))) {
            return;
        }
        const std::uint64_t newKey = KeyOf(o1, o2);
        if (edgeFacets.contains(newKey)) {
            ++events.taken;
            events.takenWhileWaiting += candidateEdges.Contains(newKey) ? 1 : 0;
            fixedEdges.insert(newKey);
            return;
        }
        T d = 0;
        double ownDistance = 0;
        if constexpr (D == 3) {
            T s = 0;
            T t = 0;
            Point onNew;
            Point onOld;
            Intersect::ClosestPointsOfTwoLines(At(o1), At(o2), At(a), At(b), true, s, t, onNew,
                                               onOld);
            const Point gap = onNew - onOld;
            d = std::sqrt(gap * gap);
            ownDistance = SegmentDistance(At(o1), At(o2), At(a), At(b));
        }
        T& drift1 = drift[static_cast<std::size_t>(t1)];
        T& drift2 = drift[static_cast<std::size_t>(t2)];
        if (drift1 + d > maxDrift || drift2 + d > maxDrift) {
            ++events.driftStops;
            return;
        }
        drift1 += d;
        drift2 += d;
        events.drift[static_cast<std::size_t>(t1)] += ownDistance;
        events.drift[static_cast<std::size_t>(t2)] += ownDistance;
        ++events.flips;
        events.fixedFlips += fixedEdges.contains(key) ? 1 : 0;
        events.fixedReturns += fixedEdges.contains(newKey) ? 1 : 0;

        std::vector<std::uint64_t> six;
        for (const int t : {t1, t2}) {
            for (const std::uint64_t each : KeysOf(t)) {
                six.push_back(each);
            }
        }
        for (const std::uint64_t each : six) {
            for (const int t : {t1, t2}) {
                const auto [first, last] = edgeFacets.equal_range(each);
                for (auto it = first; it != last; ++it) {
                    if (it->second == t) {
                        edgeFacets.erase(it);
                        break;
                    }
                }
            }
        }
        Of(t1) = {p, o1, o2};
        Of(t2) = {o1, n, o2};
        for (const int t : {t1, t2}) {
            for (const std::uint64_t each : KeysOf(t)) {
                edgeFacets.insert({each, t});
                if (!fixedEdges.contains(each)) {
                    candidateEdges.Insert(each);
                }
            }
        }
    }
};

template <int D, class T>
MeshOf<D, T> As(const IndexedMesh& mesh)
{
    MeshOf<D, T> out;
    out.indices = mesh.indices;
    for (const Vec3d& p : mesh.points) {
        if constexpr (D == 2) {
            out.points.push_back({static_cast<T>(p.x()), static_cast<T>(p.y())});
        } else {
            out.points.push_back(
                {static_cast<T>(p.x()), static_cast<T>(p.y()), static_cast<T>(p.z())});
        }
    }
    return out;
}

template <int D, class T>
double LeastRatio(const MeshOf<D, T>& mesh)
{
    double least = 1;
    for (std::size_t i = 0; i + 2 < mesh.indices.size(); i += 3) {
        least = std::min<double>(least, Mesh::AspectRatio(Support::PointOf(mesh, i),
                                                          Support::PointOf(mesh, i + 1),
                                                          Support::PointOf(mesh, i + 2)));
    }
    return least;
}

/// The result, after it was found equal to the twin's, and what the twin met.
template <int D, class T>
MeshOf<D, T> LikeTheTwin(const MeshOf<D, T>& mesh, double creaseAngle, double maxDrift, Events& sum)
{
    const MeshOf<D, T> result =
        MeshUtils::MaximizeAspectRatio(mesh, static_cast<T>(creaseAngle), static_cast<T>(maxDrift));
    const Twin<D, T> twin(mesh, static_cast<T>(creaseAngle), static_cast<T>(maxDrift));
    EXPECT_TRUE(result.indices == twin.Result().indices);
    EXPECT_TRUE(result.points == mesh.points);
    double extent = 0;
    for (const auto& point : mesh.points) {
        for (const T c : point) {
            extent = std::max(extent, static_cast<double>(std::fabs(c)));
        }
    }
    const double rounding = 40 * extent * std::numeric_limits<T>::epsilon();
    for (const double spent : twin.events.drift) {
        EXPECT_FALSE(spent > maxDrift + rounding * (1 + twin.events.flips));
    }
    sum.flips += twin.events.flips;
    sum.taken += twin.events.taken;
    sum.takenWhileWaiting += twin.events.takenWhileWaiting;
    sum.fixedFlips += twin.events.fixedFlips;
    sum.fixedReturns += twin.events.fixedReturns;
    sum.driftStops += twin.events.driftStops;
    sum.foldStops += twin.events.foldStops;
    return result;
}

/// A sheet of integer coordinates whose points were moved about, three times as long as high, and
/// bent where `height` is given; points and triangles in random order. Seen from above no triangle
/// is turned over: 14 * 8 > 2 * 46.
IndexedMesh RaggedSheet(Random& random, int size, int height)
{
    IndexedMesh mesh = Support::GridMesh<double>(size, size, [&](int x, int y) {
        return Vec3d(30 * x + random.Below(17) - 8, 10 * y + random.Below(3) - 1,
                     height == 0 ? 0 : random.Below(height));
    });
    return Support::Shuffled(mesh, random);
}

template <class Form>
class AspectRatioTwin : public testing::Test {
};
template <int Dimension, class Real>
struct Form {
    static constexpr int D = Dimension;
    using T = Real;
};
using Forms = testing::Types<Form<2, float>, Form<2, double>, Form<3, float>, Form<3, double>>;
TYPED_TEST_SUITE(AspectRatioTwin, Forms);

TYPED_TEST(AspectRatioTwin, AgreesOnSheets)
{
    constexpr int D = TypeParam::D;
    using T = typename TypeParam::T;
    Random random(11);
    Events sum;
    for (int round = 0; round < 24; ++round) {
        SCOPED_TRACE(round);
        const auto sheet = As<D, T>(RaggedSheet(random, 4 + round / 2, 1 + round));
        const double angle = std::array{1.0, 15.0, 60.0, 180.0}[round % 4];
        const double drift = std::array{0.0, 0.5, 5.0, 1e30}[round / 4 % 4];
        const auto result = LikeTheTwin(sheet, angle, drift, sum);
        EXPECT_GE(LeastRatio(result), LeastRatio(sheet));
        EXPECT_EQ(Support::FaultsOf(result), Support::FaultsOf(sheet));
        EXPECT_EQ(Support::EulerOf(result), Support::EulerOf(sheet));
    }
    EXPECT_GT(sum.flips, 200);
    EXPECT_GT(sum.foldStops, 200);
    if (D == 3) {
        EXPECT_GT(sum.driftStops, 50);
    }
}

TYPED_TEST(AspectRatioTwin, AgreesOnClosedSurfaces)
{
    constexpr int D = TypeParam::D;
    using T = typename TypeParam::T;
    Random random(12);
    Events sum;
    for (int round = 0; round < 12; ++round) {
        SCOPED_TRACE(round);
        IndexedMesh body = round % 3 == 0 ? Support::Sphere(3)
                           : round % 3 == 1
                               ? Support::Torus(17, 6)
                               : Support::Together(Support::Sphere(2), Support::Cube());
        for (Vec3d& p : body.points) {
            p = {4 * p[0] + random.Between(-0.2, 0.2), p[1] + random.Between(-0.2, 0.2),
                 p[2] + random.Between(-0.2, 0.2)};
        }
        const auto closed = As<D, T>(Support::Shuffled(body, random));
        const auto result =
            LikeTheTwin(closed, round % 2 == 0 ? 40.0 : 170.0, round < 6 ? 0.3 : 1e30, sum);
        EXPECT_GE(LeastRatio(result), LeastRatio(closed));
        EXPECT_EQ(Support::FaultsOf(result), Support::EdgeFaults{});
        EXPECT_EQ(Support::EulerOf(result), Support::EulerOf(closed));
    }
    EXPECT_GT(sum.flips, 300);
    EXPECT_GT(sum.taken, 0);
}

// Repeated triangles, pinched points, edges of many triangles, triples that name a point twice. An
// edge that was found in the way of a flip is still tried once if it was waiting.
TYPED_TEST(AspectRatioTwin, AgreesOnGarbage)
{
    constexpr int D = TypeParam::D;
    using T = typename TypeParam::T;
    Random random(13);
    Events sum;
    for (int round = 0; round < 400; ++round) {
        SCOPED_TRACE(round);
        const int points = 6 + round % 40;
        MeshOf<D, T> mesh = Support::GarbageMesh<D, T>(random, points, points + round % 23);
        const auto result = LikeTheTwin(mesh, 180.0, round % 2 == 0 ? 1e30 : 0.4, sum);
        EXPECT_GE(LeastRatio(result), 0);
        // Of all edges only those of two triangles are exchanged, for others of two.
        EXPECT_EQ(Support::FaultsOf(result),
                  Support::FaultsOf(Twin<D, T>(mesh, T(0), T(-1)).Result()));
    }
    EXPECT_GT(sum.flips, 300);
    EXPECT_GT(sum.taken, 50);
    EXPECT_GT(sum.takenWhileWaiting, 10);
}

/// A sphere whose points are anywhere.
template <int D, class T>
MeshOf<D, T> CrumpledSphere(std::uint64_t seed)
{
    Random random = Random::OfEveryRun(seed);
    auto mesh = As<D, T>(Support::Shuffled(Support::Sphere(seed % 2 == 0 ? 1 : 2), random));
    for (auto& point : mesh.points) {
        point = random.Vector<D, T>(-1, 1);
    }
    return mesh;
}

// An edge that was in the way of a flip, was flipped away itself and is made again waits no more.
// It takes luck to meet: these were found among thousands.
TYPED_TEST(AspectRatioTwin, AgreesWhereAFixedEdgeComesBack)
{
    constexpr int D = TypeParam::D;
    using T = typename TypeParam::T;
    const std::vector<std::uint64_t> seeds =
        D == 2 ? std::vector<std::uint64_t>{1297, 1461, 1500, 1537}
               : std::vector<std::uint64_t>{559, 1142, 7824, 16881};
    for (const std::uint64_t seed : seeds) {
        SCOPED_TRACE(seed);
        Events events;
        LikeTheTwin(CrumpledSphere<D, T>(seed), 180.0, 1e30, events);
        EXPECT_GT(events.fixedReturns, 0);
    }
}

// Far off, coordinates are multiples of 1/16 (`float`: integers) still, so that nothing is rounded.
TYPED_TEST(AspectRatioTwin, TheSameFarFromTheOrigin)
{
    constexpr int D = TypeParam::D;
    using T = typename TypeParam::T;
    Random random(14);
    for (int round = 0; round < 8; ++round) {
        IndexedMesh sheet = RaggedSheet(random, 9, 0);
        const auto here = MeshUtils::MaximizeAspectRatio(As<D, T>(sheet), T(1), T(0.5));
        for (Vec3d& p : sheet.points) {
            p += Vec3d(1e6, -1e6, 1e6);
        }
        const auto there = MeshUtils::MaximizeAspectRatio(As<D, T>(sheet), T(1), T(0.5));
        EXPECT_EQ(here.indices, there.indices);
        EXPECT_NE(here.indices, sheet.indices);
    }
}

// --- what is promised
// -----------------------------------------------------------------------------

// With integers the doubled areas are exact.
TEST(AspectRatioPromise, APlaneSheetKeepsItsAreaAndItsTurn)
{
    Random random(21);
    for (int round = 0; round < 20; ++round) {
        const auto sheet = As<2, double>(RaggedSheet(random, 12, 0));
        const auto result = MeshUtils::MaximizeAspectRatio(sheet, 0.0, 0.0);
        double before = 0;
        double after = 0;
        for (const double area : Support::AreasOf(sheet)) {
            ASSERT_GT(area, 0);
            before += area;
        }
        for (const double area : Support::AreasOf(result)) {
            EXPECT_GT(area, 0);
            after += area;
        }
        EXPECT_EQ(before, after);
        EXPECT_GE(LeastRatio(result), LeastRatio(sheet));
        EXPECT_NE(sheet.indices, result.indices);
    }
}

TEST(AspectRatioPromise, TheSameInThePlaneAndInAFlatPieceOfSpace)
{
    Random random(22);
    for (int round = 0; round < 20; ++round) {
        const IndexedMesh sheet = RaggedSheet(random, 10, 0);
        EXPECT_EQ(MeshUtils::MaximizeAspectRatio(As<2, double>(sheet), 0.0, 0.0).indices,
                  MeshUtils::MaximizeAspectRatio(sheet, 1.0, 1e-9).indices);
    }
}

// What an edge of a plane mesh may still be when all is done: on the boundary, at a corner that is
// not convex, between triangles that would get no better, or in the way of itself.
TEST(AspectRatioPromise, NoFlipIsLeftThatWouldHelp)
{
    Random random(23);
    for (int round = 0; round < 10; ++round) {
        const IndexedMesh sheet = RaggedSheet(random, 12, 0);
        const auto once = MeshUtils::MaximizeAspectRatio(As<2, double>(sheet), 0.0, 0.0);
        EXPECT_EQ(MeshUtils::MaximizeAspectRatio(once, 0.0, 0.0), once);
    }
}

// The bound holds for each triangle number and not for the surface. Of four triangles the first
// flip, of the edge 0-5, lifts its place by nearly the whole bound. The second one, of 0-2, lifts
// nothing and hands a part of that place over to the number 0, which has spent nothing. So the
// third one may lift it by nearly the whole bound again.
TEST(AspectRatioPromise, TheBoundOfTheDriftIsNoBoundOfTheSurface)
{
    constexpr double kBound = 0.01;
    const IndexedMesh before{
        {{11, 10, 0}, {12, 7, 0.0175}, {6, 3, 0.01235}, {4, 8, 0}, {12, 6, 0.0095}, {12, 2, 0}},
        {3, 2, 0, 0, 2, 5, 0, 5, 4, 0, 4, 1}};
    Events sum;
    const IndexedMesh after = LikeTheTwin(before, 10.0, kBound, sum);
    EXPECT_EQ(sum.flips, 3);
    EXPECT_EQ(sum.driftStops, 0);
    // Seen from above the new edge 1-3 crosses the old edge 0-5, which is at height 0, here.
    EXPECT_TRUE(Support::EdgeUses(after).contains({1, 3}));
    const Vec3d& from = before.points[1];
    const Vec3d place = from + (before.points[3] - from) * (5.0 / 63.0);
    EXPECT_NEAR(place[0] * 8 + place[1], 98, 1e-9);
    const double off = Support::DistanceToMesh(place, before);
    EXPECT_GT(off, 1.59 * kBound);
    EXPECT_NEAR(off, place[2], 0.02 * kBound); // nearly straight above
    // A number that couldn't pay for its own flips alone stops them.
    EXPECT_EQ(MeshUtils::MaximizeAspectRatio(before, 10.0, 0.0097), before);
}

/// The real parts: the edges that were creases are edges still, and the body is the same.
void ExpectAPartKept(const std::string& name, double creaseAngle, double maxDrift, bool isClosed)
{
    const auto file = Support::SharedData(name);
    SORVANE_NEED_DATA(file);
    SCOPED_TRACE(name);
    const IndexedMesh part = Support::WeldedStl<double>(file);
    Events sum;
    const IndexedMesh result = LikeTheTwin(part, creaseAngle, maxDrift, sum);
    EXPECT_GT(sum.flips, 100);
    EXPECT_GE(LeastRatio(result), LeastRatio(part));
    const IndexedMesh cleaned = Twin<3, double>(part, 0.0, -1.0).Result(); // without a flip
    const auto usesBefore = Support::EdgeUses(cleaned);
    const auto usesAfter = Support::EdgeUses(result);
    EXPECT_EQ(usesBefore.size(), usesAfter.size());
    int open = 0;
    for (const auto& [edge, count] : usesAfter) {
        const auto before = usesBefore.find(edge);
        EXPECT_TRUE(before == usesBefore.end() ? count == 2 : count == before->second);
        open += count == 1 ? 1 : 0;
    }
    EXPECT_TRUE(!isClosed || open == 0);

    // A little above the angle, for the rounding of a cosine.
    std::set<std::array<double, 6>> after;
    for (const auto& [edge, count] : usesAfter) {
        const Vec3d a = part.points[static_cast<std::size_t>(edge.first)];
        const Vec3d b = part.points[static_cast<std::size_t>(edge.second)];
        after.insert({a[0], a[1], a[2], b[0], b[1], b[2]});
    }
    const auto creases = Support::FeatureSegments(cleaned, creaseAngle + 1e-4);
    EXPECT_TRUE(creases.size() > 100 || creaseAngle > 90);
    for (const auto& [a, b] : creases) {
        EXPECT_TRUE(after.contains({a[0], a[1], a[2], b[0], b[1], b[2]}));
    }
    // As the boundary of the volume between old and new surface is known: each flip adds or takes a
    // tetrahedron, a third of the diagonals' distance times the area of their shadow.
    EXPECT_NEAR(Support::VolumeOf(result), Support::VolumeOf(part),
                1e-3 * std::fabs(Support::VolumeOf(part)));
}

TEST(AspectRatioPromise, RealPartsKeepTheirCreases)
{
    ExpectAPartKept("meshes_nist/nist_ftc_11_asme1_rb.stl", 10, 0.02, true);
    ExpectAPartKept("meshes_nist/nist_ctc_01_asme1_rd.stl", 5, 0.001, true);
}

TEST(AspectRatioPromise, DegenerateTrianglesOfRealParts)
{
    ExpectAPartKept("with_degenerate/nist_ftc_06.stl", 1, 1e-6, false);
    ExpectAPartKept("with_degenerate/nist_ftc_06.stl", 91, 1e-6, false);
}

} // namespace
