// Decimation in passes instead of one edge at a time.
//
// A pass finds the cost of every edge that has changed, ranks all edges by a counting sort, and
// collapses in that order those of which neither end has been part of a collapse in the same pass:
// the costs of these are still right, and the triangles round them are known from lists made once
// for the pass. Error quadrics after M. Garland and P. S. Heckbert, "Surface simplification using
// quadric error metrics", 1997, weighted by area, with planes across features as in their
// "Simplifying surfaces with color and texture using quadric error metrics", 1998.

#include <Sorvane/Decimation_E.h>
#include <Sorvane/TriangleTree_E.h>
#include <Velk/Math/Tolerances_E.h>
#include <Velk/Math/Vector_E.h>

#include "mathbase/Buckets_Impl.h"
#include "mathbase/Parallel_Impl.h"
#include "mathbase/Progress_Impl.h"
#include "mathbase/Values_Impl.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>
#include <utility>
#include <vector>

namespace Velk::Math::Sorvane::Mesh {
namespace {

using IndexedMesh = IndexedPointsBase<3, double>;
using Tags = std::vector<unsigned char>;

/// Least cosine of the angle by which a collapse turns a triangle.
constexpr double kLeastTurnCosine = 0.5;
/// A triangle whose doubled area is no more than this share of its longest squared edge has no
/// direction.
constexpr double kNeedle = 1e-9;
/// Weight of the planes across features, in terms of the squared length of an edge.
constexpr double kFeatureWeight = 1.0;
/// Share of a quadric's trace that ties its least point to the middle of the edge, where the planes
/// leave it free.
constexpr double kDamping = 1e-6;
/// A pass takes edges up to so many times the error of the edge that would be the last one needed.
constexpr float kErrorSlack = 1.5F;
/// Share of the vertices that a pass counts on to go.
constexpr std::size_t kPassShare = 3;
/// From so many triangles on a vertex is a hub: of what they add up to the sum is kept, as every
/// one of its edges asks for it.
constexpr int kHub = 256;
/// How often a lower limit is tried, where the result is farther off than the tolerance.
constexpr int kTries = 6;

constexpr float kNoCost = std::numeric_limits<float>::infinity();

/// A quadric error function weighted by area: error(x) = x A x - 2 x b + c, over the weight.
struct AreaQuadric {
    double xx = 0, xy = 0, xz = 0, yy = 0, yz = 0, zz = 0;
    double bx = 0, by = 0, bz = 0, c = 0;
    double weight = 0;

    /// The plane through p with the unit normal n. `share` of its weight counts in the mean.
    void AddPlane(const Vec3d& p, const Vec3d& n, double planeWeight, double share)
    {
        const double d = n * p;
        const Vec3d wn = n * planeWeight;
        xx += wn[0] * n[0];
        xy += wn[0] * n[1];
        xz += wn[0] * n[2];
        yy += wn[1] * n[1];
        yz += wn[1] * n[2];
        zz += wn[2] * n[2];
        bx += wn[0] * d;
        by += wn[1] * d;
        bz += wn[2] * d;
        c += planeWeight * d * d;
        weight += share * planeWeight;
    }
    AreaQuadric& operator+=(const AreaQuadric& q)
    {
        xx += q.xx;
        xy += q.xy;
        xz += q.xz;
        yy += q.yy;
        yz += q.yz;
        zz += q.zz;
        bx += q.bx;
        by += q.by;
        bz += q.bz;
        c += q.c;
        weight += q.weight;
        return *this;
    }
    /// The mean squared distance from the planes.
    double ErrorAt(const Vec3d& x) const
    {
        const double sum = SumAt(x);
        return sum > 0.0 && weight > 0.0 ? sum / weight : 0.0;
    }
    /// Does the point lie on all the planes, as far as the digits of the sums can tell?
    bool IsOnPlanes(const Vec3d& x) const
    {
        constexpr double kRounding = 1e-14;
        return SumAt(x) <= kRounding * ((xx + yy + zz) * SquaredLength(x) + c);
    }
    /// May `x`, the point of least error near the middle of the edge `along`, be as far off a point
    /// on all planes as its tie to the middle makes it?
    bool MayMissPlanes(const Vec3d& x, const Vec3d& along) const
    {
        return SumAt(x) <= kDamping * (xx + yy + zz) * SquaredLength(along);
    }
    double SumAt(const Vec3d& x) const
    {
        const double ax = xx * x[0] + xy * x[1] + xz * x[2] - 2.0 * bx;
        const double ay = xy * x[0] + yy * x[1] + yz * x[2] - 2.0 * by;
        const double az = xz * x[0] + yz * x[1] + zz * x[2] - 2.0 * bz;
        return x[0] * ax + x[1] * ay + x[2] * az + c;
    }
    /// The point of least error, tied to `anchor` in directions that no plane determines. The
    /// anchor itself where there is none.
    Vec3d LeastNear(const Vec3d& anchor) const
    {
        Vec3d step;
        const bool isFound = SolveDamped({bx - (xx * anchor[0] + xy * anchor[1] + xz * anchor[2]),
                                          by - (xy * anchor[0] + yy * anchor[1] + yz * anchor[2]),
                                          bz - (xz * anchor[0] + yz * anchor[1] + zz * anchor[2])},
                                         step);
        return isFound ? anchor + step : anchor;
    }
    /// From `least`, the point of least error, to that of least error on the plane g (x - least) =
    /// d. False where there is none.
    bool StepToPlane(const Vec3d& g, double d, Vec3d& step) const
    {
        if (!SolveDamped(g, step)) {
            return false;
        }
        const double rise = g * step;
        step = step * (d / rise);
        return rise > 0.0;
    }

private:
    /// y = (A + damping)^-1 r; false unless that is positive definite.
    bool SolveDamped(const Vec3d& r, Vec3d& y) const
    {
        const double damping = kDamping * (xx + yy + zz);
        // L D L'.
        const double dx = xx + damping;
        const double ix = 1.0 / dx;
        const double lxy = xy * ix;
        const double lxz = xz * ix;
        const double dy = yy + damping - xy * lxy;
        const double iy = 1.0 / dy;
        const double cyz = yz - xz * lxy;
        const double lyz = cyz * iy;
        const double dz = zz + damping - xz * lxz - cyz * lyz;
        if (!(dx > 0.0) || !(dy > 0.0) || !(dz > 0.0)) {
            return false;
        }
        const double u = r[1] - lxy * r[0];
        y[2] = (r[2] - lxz * r[0] - lyz * u) / dz;
        y[1] = u * iy - lyz * y[2];
        y[0] = r[0] * ix - lxy * y[1] - lxz * y[2];
        return true;
    }
};

/// What may happen to a vertex: all, to go along its line, or nothing.
enum class Role : unsigned char { Free, OnLine, Fixed };

class BatchDecimator {
public:
    BatchDecimator(const IndexedMesh& mesh, const Tags& tags, double featureAngle);

    int TriangleCount() const { return static_cast<int>(triangles_.size()); }
    /// Collapses until no more than `target` triangles are left, or every edge that is left would
    /// take the surface farther off than `limit`, by estimate, or can't go.
    void Run(double target, double limit);
    void Export(IndexedMesh& out, Tags& outTags) const;
    /// Counts the edges that are left by what keeps them from going within the limit.
    void CountEdges(double limit, DecimationReport& report) const;
    double GreatestError() const { return std::sqrt(greatestError_); }

private:
    using Triangle = std::array<int, 3>;

    static std::size_t At(int i) { return static_cast<std::size_t>(i); }
    const Vec3d& PointAt(int v) const { return points_[At(v)]; }
    bool IsDead(const Triangle& t) const { return t[0] < 0; }

    void ListTrianglesOfVertices();
    void GatherQuadrics();
    void FindRoles(const Tags& tags, double featureAngle);
    bool IsOneFan(int v, std::size_t count) const;
    bool IsLineEdge(int a, int b) const
    {
        const auto has = [&](int v, int other) {
            return roles_[At(v)] == Role::OnLine &&
                   (lines_[At(v)][0] == other || lines_[At(v)][1] == other);
        };
        return has(a, b) || has(b, a);
    }
    /// May the edge go by the roles of its ends?
    bool MayGo(int a, int b) const
    {
        const Role ra = roles_[At(a)];
        const Role rb = roles_[At(b)];
        if (ra == Role::Free || rb == Role::Free) {
            return true;
        }
        return !(ra == Role::Fixed && rb == Role::Fixed) && IsLineEdge(a, b);
    }
    /// The place and the error of the vertex that takes the place of both.
    double Place(int a, int b, Vec3d& x) const;
    void KeepVolume(int a, int b, Vec3d& x, double& error);
    void AddStars(int a, int b, const Vec3d& x, Vec3d& normals, double& volume) const;
    void AddHub(int hub, int other, const Vec3d& x, Vec3d& normals, double& volume);
    Vec3d NormalOf(const Triangle& t) const
    {
        const Vec3d& p = PointAt(t[0]);
        return (PointAt(t[1]) - p) ^ (PointAt(t[2]) - p);
    }
    int ListedTriangles(int v) const
    {
        return static_cast<int>(trianglesOf_[static_cast<std::size_t>(v)].size());
    }
    bool IsHub(int v) const { return ListedTriangles(v) >= kHub; }
    void ChangeHubs(int from, int to, double share);
    void FindCosts();
    std::size_t RunPass(std::size_t goal, double limit);
    bool TryCollapse(int a, int b, double limit, bool& isTooFar);
    bool KeepsTopology(int from, int to);
    bool TurnsTooFar(int v, int other, const Vec3d& x, double& step) const;
    double DriftOf(int a, int b, double step) const
    {
        return std::max(drifts_[At(a)], drifts_[At(b)]) + step;
    }
    void Compact();

    const IndexedMesh& source_;
    Vec3d middle_;
    std::vector<int> pointOf_;  // of the source, for each vertex
    std::vector<Vec3d> points_; // of the vertices, about the middle
    std::vector<unsigned char> hasMoved_;
    std::vector<Triangle> triangles_; // a dead one begins with -1
    Tags tags_;
    std::vector<AreaQuadric> quadrics_;
    // How far the surface at a vertex may have come off the source: the sum over the collapses that
    // it comes from, one upon the other, of the distances between the planes of the triangles and
    // the places that their corners went to.
    std::vector<double> drifts_;
    std::vector<Role> roles_;
    std::vector<std::array<int, 2>> lines_; // the neighbors along the line
    std::vector<unsigned char> isOpen_;     // on a boundary
    // For the edge from corner k of triangle t at 3 t + k: its cost, or `kNoCost`.
    std::vector<float> costs_;
    std::vector<unsigned char> isStale_; // costs of the vertex's edges have to be found anew
    // Triangles of a vertex, as they were when the pass began.
    Math::Impl::Buckets<int, int> trianglesOf_;
    std::vector<unsigned char> isTaken_; // part of a collapse in this pass
    std::vector<int> hubs_;              // those of which the sum is known in this pass
    std::vector<Vec3d> hubNormals_;      // the sum of the normals, as long as twice the areas
    std::vector<int> hubPlaces_;         // of a vertex there, -1 where the sum is not known
    std::vector<int> seen_;              // by a mark that grows
    int mark_ = 0;
    std::vector<int> out_, outMark_, in_, inMark_; // of the vertex at work: triangles by neighbor
    std::size_t live_ = 0;
    double greatestError_ = 0.0;
};

BatchDecimator::BatchDecimator(const IndexedMesh& mesh, const Tags& tags, double featureAngle)
    : source_(mesh)
{
    const auto count = mesh.points.size();
    const auto isPoint = [&](int i) { return i >= 0 && static_cast<std::size_t>(i) < count; };
    // Vertices are the points that are used, in the order of their first use: neighbors are
    // mostly near to each other in memory then, however the points were sorted.
    std::vector<int> vertices(count, -1);
    const auto vertexOf = [&](int point) {
        int& vertex = vertices[static_cast<std::size_t>(point)];
        if (vertex < 0) {
            vertex = static_cast<int>(pointOf_.size());
            pointOf_.push_back(point);
        }
        return vertex;
    };
    pointOf_.reserve(count);
    triangles_.reserve(mesh.indices.size() / 3);
    tags_.reserve(mesh.indices.size() / 3);
    for (std::size_t i = 0; i + 2 < mesh.indices.size(); i += 3) {
        const Triangle t = {mesh.indices[i], mesh.indices[i + 1], mesh.indices[i + 2]};
        if (isPoint(t[0]) && isPoint(t[1]) && isPoint(t[2]) && t[0] != t[1] && t[1] != t[2] &&
            t[2] != t[0]) {
            triangles_.push_back({vertexOf(t[0]), vertexOf(t[1]), vertexOf(t[2])});
            tags_.push_back(i / 3 < tags.size() ? tags[i / 3] : static_cast<unsigned char>(0));
        }
    }
    live_ = triangles_.size();
    Vec3d low = Vec3d(1, 1, 1) * std::numeric_limits<double>::max();
    Vec3d high = low * -1.0;
    for (const int point : pointOf_) {
        const Vec3d& p = mesh.points[At(point)];
        if (Math::Impl::IsFinite(p)) {
            for (int i = 0; i < 3; ++i) {
                low[i] = std::min(low[i], p[i]);
                high[i] = std::max(high[i], p[i]);
            }
        }
    }
    middle_ = low[0] <= high[0] ? low * 0.5 + high * 0.5 : Vec3d{};
    points_.reserve(pointOf_.size());
    for (const int point : pointOf_) {
        points_.push_back(mesh.points[At(point)] - middle_);
    }
    const std::size_t vertexCount = points_.size();
    hasMoved_.assign(vertexCount, 0);
    quadrics_.resize(vertexCount);
    drifts_.assign(vertexCount, 0.0);
    roles_.assign(vertexCount, Role::Free);
    lines_.assign(vertexCount, {-1, -1});
    isOpen_.assign(vertexCount, 0);
    isStale_.assign(vertexCount, 1);
    isTaken_.assign(vertexCount, 0);
    hubPlaces_.assign(vertexCount, -1);
    seen_.assign(vertexCount, 0);
    costs_.assign(3 * triangles_.size(), kNoCost);
    ListTrianglesOfVertices();
    GatherQuadrics();
    FindRoles(tags_, featureAngle);
}

void BatchDecimator::ListTrianglesOfVertices()
{
    trianglesOf_ = {}; // the room of the old lists serves the new ones
    trianglesOf_ = Math::Impl::Buckets<int, int>(points_.size(), [this](const auto& put) {
        for (std::size_t t = 0; t < triangles_.size(); ++t) {
            for (const int v : triangles_[t]) {
                put(v, static_cast<int>(t));
            }
        }
    });
}

void BatchDecimator::GatherQuadrics()
{
    Progress::Impl::Steps steps;
    for (const Triangle& t : triangles_) {
        steps.Next();
        const Vec3d& p = PointAt(t[0]);
        const Vec3d normal = (PointAt(t[1]) - p) ^ (PointAt(t[2]) - p);
        const double length = Length(normal);
        if (!std::isfinite(length)) {
            for (const int v : t) {
                roles_[At(v)] = Role::Fixed;
            }
        } else if (length > 0.0) {
            const Vec3d unit = normal * (1.0 / length);
            for (const int v : t) {
                quadrics_[At(v)].AddPlane(p, unit, length / 2.0, 1.0);
            }
        }
    }
}

// Whether the triangles round v, `count` of them, follow one another across their edges. Asked
// while `out_` and `in_` are those of v, which has no edge of more than two triangles.
bool BatchDecimator::IsOneFan(int v, std::size_t count) const
{
    const auto othersOf = [&](int t) {
        const Triangle& corners = triangles_[At(t)];
        const std::size_t k = corners[0] == v ? 0 : corners[1] == v ? 1 : 2;
        return std::array<int, 2>{corners[(k + 1) % 3], corners[(k + 2) % 3]};
    };
    const int first = trianglesOf_[v].front();
    std::size_t steps = 1;
    for (int t = first;; ++steps) {
        const int after = othersOf(t)[1];
        t = outMark_[At(after)] == mark_ ? out_[At(after)] : -1;
        if (t == first) {
            return steps == count;
        }
        if (t < 0) {
            break;
        }
    }
    for (int t = first;; ++steps) { // an open fan: the other way as well
        const int before = othersOf(t)[0];
        if (inMark_[At(before)] != mark_) {
            return steps == count;
        }
        t = in_[At(before)];
    }
}

void BatchDecimator::FindRoles(const Tags& tags, double featureAngle)
{
    // In degrees; above half a turn, and for NaN, nothing is a crease.
    const double leastCosine =
        featureAngle <= 180.0 ? std::cos(std::max(featureAngle, 0.0) * kRadiansPerDegree) : -2.0;
    out_.assign(points_.size(), -1);
    in_.assign(points_.size(), -1);
    outMark_.assign(points_.size(), 0);
    inMark_.assign(points_.size(), 0);
    std::vector<Vec3d> units;
    units.reserve(triangles_.size());
    for (const Triangle& t : triangles_) {
        const Vec3d normal = (PointAt(t[1]) - PointAt(t[0])) ^ (PointAt(t[2]) - PointAt(t[0]));
        const double length = Length(normal);
        units.push_back(length > 0.0 && std::isfinite(length) ? normal * (1.0 / length) : Vec3d{});
    }
    const auto isFeature = [&](int s, int t) {
        // One without area has no normal and makes no crease.
        const double squares = SquaredLength(units[At(s)]) * SquaredLength(units[At(t)]);
        return tags[At(s)] != tags[At(t)] ||
               (squares > 0.5 && units[At(s)] * units[At(t)] <= leastCosine);
    };
    // A plane across the edge from v, at a right angle to a triangle on it.
    const auto addAcross = [&](int v, int other, int t) {
        const Vec3d along = PointAt(other) - PointAt(v);
        const Vec3d across = along ^ units[At(t)];
        const double length = Length(across);
        if (length > 0.0 && std::isfinite(length)) {
            quadrics_[At(v)].AddPlane(PointAt(v), across * (1.0 / length),
                                      kFeatureWeight * SquaredLength(along), 0.0);
        }
    };
    for (std::size_t i = 0; i < points_.size(); ++i) {
        const int v = static_cast<int>(i);
        const std::span<const int> around = std::as_const(trianglesOf_)[i];
        if (around.empty()) {
            continue;
        }
        ++mark_;
        bool isSound = true;
        for (const int number : around) {
            const Triangle& t = triangles_[At(number)];
            const std::size_t k = t[0] == v ? 0 : t[1] == v ? 1 : 2;
            const int next = t[(k + 1) % 3];
            const int prev = t[(k + 2) % 3];
            isSound = isSound && outMark_[At(next)] != mark_ && inMark_[At(prev)] != mark_;
            outMark_[At(next)] = mark_;
            out_[At(next)] = number;
            inMark_[At(prev)] = mark_;
            in_[At(prev)] = number;
        }
        if (!isSound || !IsOneFan(v, around.size())) {
            roles_[i] = Role::Fixed;
        }
        int lineCount = 0;
        const auto addLine = [&](int other) {
            if (lineCount < 2) {
                lines_[i][static_cast<std::size_t>(lineCount)] = other;
            }
            ++lineCount;
        };
        for (const int number : around) {
            const Triangle& t = triangles_[At(number)];
            const std::size_t k = t[0] == v ? 0 : t[1] == v ? 1 : 2;
            const int next = t[(k + 1) % 3];
            const int prev = t[(k + 2) % 3];
            if (inMark_[At(next)] != mark_) {
                isOpen_[i] = 1;
                addLine(next);
                addAcross(v, next, number);
            } else if (isFeature(number, in_[At(next)])) {
                addLine(next);
                addAcross(v, next, number);
                addAcross(v, next, in_[At(next)]);
            }
            if (outMark_[At(prev)] != mark_) {
                isOpen_[i] = 1;
                addLine(prev);
                addAcross(v, prev, number);
            }
        }
        if (lineCount == 2 && roles_[i] == Role::Free) {
            roles_[i] = Role::OnLine;
        } else if (lineCount > 0) {
            roles_[i] = Role::Fixed;
        }
    }
}

double BatchDecimator::Place(int a, int b, Vec3d& x) const
{
    AreaQuadric sum = quadrics_[At(a)];
    sum += quadrics_[At(b)];
    const Role ra = roles_[At(a)];
    const Role rb = roles_[At(b)];
    const Vec3d& pa = PointAt(a);
    const Vec3d& pb = PointAt(b);
    if (ra != rb) {
        x = ra < rb ? pb : pa; // the one that is less free stays
        return sum.ErrorAt(x);
    }
    const Vec3d middle = (pa + pb) * 0.5;
    x = sum.LeastNear(middle); // no dearer than the middle
    if (SquaredLength(x - middle) <= SquaredLength(pb - pa)) {
        // What ties the least point to the middle draws it a little off a corner of flat
        // neighborhoods, which one of the two is then: it stays where it is. Of two that lie on all
        // planes neither is such a corner.
        if (sum.MayMissPlanes(x, pb - pa)) {
            const bool isA = sum.IsOnPlanes(pa);
            const bool isB = sum.IsOnPlanes(pb);
            if (isA != isB) {
                x = isA ? pa : pb;
            }
        }
        return sum.ErrorAt(x);
    }
    // Nearly parallel planes meet far away.
    double error = std::numeric_limits<double>::infinity();
    for (const Vec3d& place : {middle, pa, pb}) {
        const double other = sum.ErrorAt(place);
        if (other < error) {
            error = other;
            x = place;
        }
    }
    return error;
}

// Moves the place for the vertex that takes the place of both to the plane on which the volume
// below the surface stays what it is. The points of least error lie too far inside of a bend:
// triangles between them would take something off a convex part with every collapse. Neither vertex
// is on a boundary.
void BatchDecimator::KeepVolume(int a, int b, Vec3d& x, double& error)
{
    // Of the triangles round both, as long as twice their area. The sum of the normals depends on
    // their rim alone, so that it is that of the triangles from x to the rim as well.
    Vec3d normals;
    double volume = 0.0; // six times what lies between the triangles and x
    if (IsHub(a) || IsHub(b)) {
        const bool isA = ListedTriangles(a) >= ListedTriangles(b);
        AddHub(isA ? a : b, isA ? b : a, x, normals, volume);
    } else {
        AddStars(a, b, x, normals, volume);
    }
    AreaQuadric quadric = quadrics_[At(a)];
    quadric += quadrics_[At(b)];
    // A step below the digits of the coordinates is none: in a plane nothing moves off it.
    constexpr double kDigits = 8 * std::numeric_limits<double>::epsilon();
    if (volume * volume <= kDigits * kDigits * SquaredLength(normals) * SquaredLength(x)) {
        return;
    }
    Vec3d step;
    // Where the rim encloses next to no area, the plane may be anywhere.
    if (!quadric.StepToPlane(normals, volume, step) ||
        !(SquaredLength(step) <= SquaredLength(PointAt(b) - PointAt(a)))) {
        return;
    }
    x += step;
    error = quadric.ErrorAt(x);
}

void BatchDecimator::AddStars(int a, int b, const Vec3d& x, Vec3d& normals, double& volume) const
{
    for (const int v : {a, b}) {
        for (const int number : trianglesOf_[v]) {
            const Triangle& t = triangles_[At(number)];
            if (IsDead(t) || (v == b && (t[0] == a || t[1] == a || t[2] == a))) {
                continue;
            }
            const Vec3d normal = NormalOf(t);
            normals += normal;
            volume += normal * (PointAt(t[0]) - x);
        }
    }
}

// The same with the sum over the hub at hand: all its triangles have it as a corner, so that one
// height over x does for all.
void BatchDecimator::AddHub(int hub, int other, const Vec3d& x, Vec3d& normals, double& volume)
{
    int& place = hubPlaces_[At(hub)];
    if (place < 0) {
        Vec3d sum;
        for (const int number : trianglesOf_[hub]) {
            const Triangle& t = triangles_[At(number)];
            sum += IsDead(t) ? Vec3d{} : NormalOf(t);
        }
        place = static_cast<int>(hubs_.size());
        hubs_.push_back(hub);
        hubNormals_.push_back(sum);
    }
    normals = hubNormals_[At(place)];
    volume = normals * (PointAt(hub) - x);
    for (const int number : trianglesOf_[other]) {
        const Triangle& t = triangles_[At(number)];
        if (!IsDead(t) && t[0] != hub && t[1] != hub && t[2] != hub) {
            const Vec3d normal = NormalOf(t);
            normals += normal;
            volume += normal * (PointAt(other) - x);
        }
    }
}

// Adds the triangles of a collapse, `share` times, to the sums of the hubs among their corners.
void BatchDecimator::ChangeHubs(int from, int to, double share)
{
    for (const int end : {from, to}) {
        for (const int number : trianglesOf_[end]) {
            const Triangle& t = triangles_[At(number)];
            if (IsDead(t) || (end == to && (t[0] == from || t[1] == from || t[2] == from))) {
                continue;
            }
            for (const int v : t) {
                const int place = hubPlaces_[At(v)];
                if (place >= 0) {
                    hubNormals_[At(place)] += NormalOf(t) * share;
                }
            }
        }
    }
}

void BatchDecimator::FindCosts()
{
    Parallel::Impl::ApplyParallelChunks(
        std::size_t{0}, triangles_.size(), [&](std::size_t from, std::size_t to) {
            Vec3d x;
            for (std::size_t t = from; t < to; ++t) {
                const Triangle& corners = triangles_[t];
                for (std::size_t k = 0; k < 3; ++k) {
                    const int a = corners[k];
                    const int b = corners[k == 2 ? 0 : k + 1];
                    if (!isStale_[At(a)] && !isStale_[At(b)]) {
                        continue;
                    }
                    // Each edge once, where its triangle runs it upward; on a boundary that
                    // triangle may be missing.
                    float& cost = costs_[3 * t + k];
                    cost = kNoCost;
                    if ((a < b || (isOpen_[At(a)] && isOpen_[At(b)])) && MayGo(a, b)) {
                        cost = static_cast<float>(Place(a, b, x));
                    }
                }
            }
        });
    std::fill(isStale_.begin(), isStale_.end(), static_cast<unsigned char>(0));
}

// The triangles of a vertex that was in no collapse of this pass are those of the list that are not
// dead: others change their corners, but no one joins.
bool BatchDecimator::KeepsTopology(int from, int to)
{
    // The vertices joined to both ends must be the apexes of the triangles between them, and no
    // others.
    const int ofFrom = ++mark_;
    const int ofBoth = ++mark_;
    int shared = 0;
    int ring = 0;
    for (const int number : trianglesOf_[from]) {
        const Triangle& t = triangles_[At(number)];
        if (IsDead(t)) {
            continue;
        }
        shared += t[0] == to || t[1] == to || t[2] == to ? 1 : 0;
        for (const int v : t) {
            if (v != from && v != to && seen_[At(v)] != ofFrom) {
                seen_[At(v)] = ofFrom;
                ++ring;
            }
        }
    }
    int common = 0;
    const int ofTo = ++mark_;
    for (const int number : trianglesOf_[to]) {
        const Triangle& t = triangles_[At(number)];
        if (IsDead(t)) {
            continue;
        }
        for (const int v : t) {
            if (v == from || v == to) {
                continue;
            }
            if (seen_[At(v)] == ofFrom) {
                seen_[At(v)] = ofBoth;
                ++common;
            } else if (seen_[At(v)] != ofBoth && seen_[At(v)] != ofTo) {
                seen_[At(v)] = ofTo;
                ++ring;
            }
        }
    }
    const bool isOpenEdge = shared == 1 && isOpen_[At(from)] && isOpen_[At(to)];
    return (shared == 2 || isOpenEdge) && common == shared && ring >= (isOpenEdge ? 2 : 3);
}

// Whether moving v to x turns a triangle over, those shared with `other` left out. `step` grows to
// the greatest distance of x from the planes as they are, and of v from those that will be.
bool BatchDecimator::TurnsTooFar(int v, int other, const Vec3d& x, double& step) const
{
    double squaredStep = step * step;
    for (const int number : trianglesOf_[v]) {
        const Triangle& t = triangles_[At(number)];
        if (IsDead(t)) {
            continue;
        }
        const std::size_t k = t[0] == v ? 0 : t[1] == v ? 1 : 2;
        const Vec3d& q = PointAt(t[(k + 1) % 3]);
        const Vec3d& r = PointAt(t[(k + 2) % 3]);
        const Vec3d along = r - q;
        const Vec3d before = along ^ (PointAt(v) - q);
        const double beforeSquared = SquaredLength(before);
        const double off = before * (x - q);
        if (off * off > squaredStep * beforeSquared && beforeSquared > 0.0) {
            squaredStep = off * off / beforeSquared;
        }
        if (t[0] == other || t[1] == other || t[2] == other) {
            continue;
        }
        const Vec3d after = along ^ (x - q);
        const double afterSquared = SquaredLength(after);
        const double edge =
            std::max({SquaredLength(along), SquaredLength(x - q), SquaredLength(x - r)});
        if (!(afterSquared > kNeedle * kNeedle * edge * edge)) {
            return true;
        }
        const double back = after * (PointAt(v) - q);
        if (back * back > squaredStep * afterSquared) {
            squaredStep = back * back / afterSquared;
        }
        const double dot = before * after;
        const double least = kLeastTurnCosine * kLeastTurnCosine * beforeSquared * afterSquared;
        if (!(dot > 0.0 && dot * dot >= least) && beforeSquared > kNeedle * kNeedle * edge * edge) {
            return true;
        }
    }
    step = std::sqrt(squaredStep);
    return false;
}

bool BatchDecimator::TryCollapse(int a, int b, double limit, bool& isTooFar)
{
    Vec3d x;
    double error = Place(a, b, x);
    const bool areAlike = roles_[At(a)] == roles_[At(b)];
    if (areAlike && !isOpen_[At(a)] && !isOpen_[At(b)]) {
        KeepVolume(a, b, x, error);
    }
    // The vertex whose place it is stays, with all its bits.
    int from = a;
    int to = b;
    if (roles_[At(a)] > roles_[At(b)] || (areAlike && x == PointAt(a))) {
        std::swap(from, to);
    }
    // Along a line the next but one must be another: three points are the least of a loop.
    int beyond = -1;
    const bool isLine = roles_[At(from)] == Role::OnLine;
    if (isLine) {
        const std::array<int, 2>& line = lines_[At(from)];
        beyond = line[0] == to ? line[1] : line[0];
        const std::array<int, 2>& toLine = lines_[At(to)];
        if (beyond == to ||
            (roles_[At(to)] == Role::OnLine && (toLine[0] == beyond || toLine[1] == beyond))) {
            return false;
        }
    }
    // Round a hub nearly all fails at its first triangles, or at those of the other vertex: what
    // has to look at all of them comes last.
    const bool isMoved = x != PointAt(to);
    double step = 0.0;
    if (double unused = 0.0; isMoved && IsHub(from) && TurnsTooFar(to, from, x, unused)) {
        return false;
    }
    if (TurnsTooFar(from, to, x, step) || (isMoved && TurnsTooFar(to, from, x, step)) ||
        !KeepsTopology(from, to)) {
        return false;
    }
    const double drift = DriftOf(a, b, step);
    if (!(drift <= limit)) {
        isTooFar = true;
        return false;
    }
    drifts_[At(to)] = drift;
    greatestError_ = std::max(greatestError_, error);
    if (!hubs_.empty()) {
        ChangeHubs(from, to, -1.0);
    }
    for (const int number : trianglesOf_[from]) {
        Triangle& t = triangles_[At(number)];
        if (IsDead(t)) {
            continue;
        }
        if (t[0] == to || t[1] == to || t[2] == to) {
            t = {-1, -1, -1};
            --live_;
        } else {
            for (int& v : t) {
                v = v == from ? to : v;
            }
        }
    }
    quadrics_[At(to)] += quadrics_[At(from)];
    if (isMoved) {
        points_[At(to)] = x;
        hasMoved_[At(to)] = 1;
    }
    if (!hubs_.empty()) {
        ChangeHubs(from, to, 1.0);
    }
    if (isLine) {
        for (const int v : {beyond, to}) {
            for (int& neighbor : lines_[At(v)]) {
                neighbor = neighbor == from ? (v == to ? beyond : to) : neighbor;
            }
        }
    }
    isTaken_[At(from)] = isTaken_[At(to)] = 1;
    isStale_[At(to)] = 1;
    return true;
}

std::size_t BatchDecimator::RunPass(std::size_t goal, double limit)
{
    if (mark_ > std::numeric_limits<int>::max() / 2) {
        std::fill(seen_.begin(), seen_.end(), 0);
        mark_ = 0;
    }
    FindCosts();
    // Ranked by the upper half of the cost's bits, to a part in a hundred; equal ones stay in the
    // order of their triangles.
    // The mean error is below the greatest.
    constexpr float kHighest = std::numeric_limits<float>::max();
    const auto highest = static_cast<float>(std::min<double>(limit * limit, kHighest));
    const auto keyOf = [](float cost) { return std::bit_cast<std::uint32_t>(cost) >> 16U; };
    const Math::Impl::Buckets<int, int> ranked(std::size_t{1} << 16U, [&](const auto& put) {
        for (std::size_t slot = 0; slot < costs_.size(); ++slot) {
            if (costs_[slot] <= highest) {
                put(keyOf(costs_[slot]), static_cast<int>(slot));
            }
        }
    });
    const std::vector<int>& order = ranked.Items();
    const std::size_t count = order.size();
    std::fill(isTaken_.begin(), isTaken_.end(), static_cast<unsigned char>(0));
    for (const int hub : hubs_) {
        hubPlaces_[At(hub)] = -1;
    }
    hubs_.clear();
    hubNormals_.clear();
    std::size_t collapsed = 0;
    const float last =
        goal < count ? kErrorSlack * costs_[At(order[goal])] : std::numeric_limits<float>::max();
    const std::size_t target = live_ - std::min(live_, 2 * goal);
    Progress::Impl::Steps steps;
    for (const int slot : order) {
        steps.Next();
        if (live_ <= target || (costs_[At(slot)] > last && collapsed > goal / 8)) {
            break;
        }
        const Triangle& t = triangles_[At(slot) / 3];
        const std::size_t k = At(slot) % 3;
        const int a = t[k];
        const int b = t[(k + 1) % 3];
        if (IsDead(t) || isTaken_[At(a)] || isTaken_[At(b)]) {
            continue;
        }
        bool isTooFar = false;
        collapsed += TryCollapse(a, b, limit, isTooFar) ? 1 : 0;
        if (isTooFar) {
            costs_[At(slot)] = kNoCost; // until an end of it changes
        }
    }
    Compact();
    return collapsed;
}

void BatchDecimator::Compact()
{
    std::size_t kept = 0;
    for (std::size_t t = 0; t < triangles_.size(); ++t) {
        if (!IsDead(triangles_[t])) {
            triangles_[kept] = triangles_[t];
            tags_[kept] = tags_[t];
            std::copy_n(costs_.begin() + static_cast<std::ptrdiff_t>(3 * t), 3,
                        costs_.begin() + static_cast<std::ptrdiff_t>(3 * kept));
            ++kept;
        }
    }
    triangles_.resize(kept);
    tags_.resize(kept);
    costs_.resize(3 * kept);
    ListTrianglesOfVertices();
}

void BatchDecimator::Run(double target, double limit)
{
    // Every pass takes triangles out or is the last.
    const auto initial = static_cast<double>(live_);
    while (static_cast<double>(live_) > target) {
        Progress::Impl::Check((initial - static_cast<double>(live_)) / (initial - target));
        const auto needed =
            static_cast<std::size_t>(std::ceil((static_cast<double>(live_) - target) / 2.0));
        const std::size_t goal = std::min(needed, live_ / 2 / kPassShare + 1);
        if (RunPass(goal, limit) == 0) {
            break;
        }
    }
}

void BatchDecimator::Export(IndexedMesh& out, Tags& outTags) const
{
    // Points in the order of the source; -1 stands for those that are gone.
    std::vector<int> numberOf(source_.points.size(), -1);
    for (const Triangle& t : triangles_) {
        for (const int v : t) {
            numberOf[At(pointOf_[At(v)])] = v;
        }
    }
    IndexedMesh result;
    for (std::size_t i = 0; i < numberOf.size(); ++i) {
        if (numberOf[i] >= 0) {
            const auto v = At(numberOf[i]);
            numberOf[i] = static_cast<int>(result.points.size());
            // What has not moved keeps its bits.
            result.points.push_back(hasMoved_[v] ? points_[v] + middle_ : source_.points[i]);
        }
    }
    result.indices.reserve(3 * triangles_.size());
    for (const Triangle& t : triangles_) {
        for (const int v : t) {
            result.indices.push_back(numberOf[At(pointOf_[At(v)])]);
        }
    }
    Tags tags = tags_;
    out.points.swap(result.points);
    out.indices.swap(result.indices);
    outTags.swap(tags);
}

void BatchDecimator::CountEdges(double limit, DecimationReport& report) const
{
    report.lockedEdges = report.deviatingEdges = report.foldingEdges = 0;
    Vec3d x;
    for (const Triangle& t : triangles_) {
        for (std::size_t k = 0; k < 3; ++k) {
            const int a = t[k];
            const int b = t[(k + 1) % 3];
            if (a > b) {
                continue; // the other triangle's; those of a boundary count in half
            }
            if (!MayGo(a, b)) {
                ++report.lockedEdges;
                continue;
            }
            double step = 0.0;
            const bool isMeanBelow = Place(a, b, x) <= limit * limit;
            const bool turns = TurnsTooFar(a, b, x, step) || TurnsTooFar(b, a, x, step);
            ++(!isMeanBelow || (!turns && DriftOf(a, b, step) > limit) ? report.deviatingEdges
                                                                       : report.foldingEdges);
        }
    }
}

/// The greatest distance found between two surfaces: the points of the first from the second, and
/// the points, edge middles and centroids of the second from the first.
double DeviationOf(const IndexedMesh& source, const IndexedMesh& result)
{
    const auto greatest = [](const std::vector<Vec3d>& samples, const IndexedMesh& surface) {
        const Tree::QOFTriangleTree<3, double> tree(surface.points, surface.indices);
        const auto nearest = tree.ClosestPoints(samples, 1e100, {});
        double squared = 0.0;
        for (std::size_t i = 0; i < samples.size(); ++i) {
            if (Math::Impl::IsFinite(samples[i])) {
                squared = std::max(squared, SquaredLength(nearest[i].point - samples[i]));
            }
        }
        return std::sqrt(squared);
    };
    std::vector<unsigned char> isUsed(source.points.size(), 0);
    for (const int i : source.indices) {
        if (i >= 0 && static_cast<std::size_t>(i) < isUsed.size()) {
            isUsed[static_cast<std::size_t>(i)] = 1;
        }
    }
    std::vector<Vec3d> samples;
    for (std::size_t i = 0; i < isUsed.size(); ++i) {
        if (isUsed[i]) {
            samples.push_back(source.points[i]);
        }
    }
    const double there = greatest(samples, result);
    samples = result.points;
    for (std::size_t i = 0; i + 2 < result.indices.size(); i += 3) {
        const auto corner = [&](std::size_t k) {
            return result.points[static_cast<std::size_t>(result.indices[i + k])];
        };
        const Vec3d a = corner(0);
        const Vec3d b = corner(1);
        const Vec3d c = corner(2);
        samples.insert(samples.end(),
                       {(a + b + c) / 3.0, (a + b) * 0.5, (b + c) * 0.5, (c + a) * 0.5});
    }
    return std::max(there, greatest(samples, source));
}

} // namespace

double DecimateInBatches(const IndexedPointsBase<3, double>& mesh, const Tags& tags,
                         IndexedPointsBase<3, double>& out, Tags& outTags, double featureAngle,
                         double keepPercent, double tolerance, DecimationReport& report)
{
    const auto decimate = [&] {
        report = {};
        report.deviation = std::numeric_limits<double>::quiet_NaN();
        BatchDecimator source(mesh, tags, featureAngle);
        const int initial = source.TriangleCount();
        const double target = std::floor(initial * std::max(keepPercent, 0.0) / 100.0);
        IndexedMesh result;
        Tags resultTags;
        const auto finish = [&](const BatchDecimator& decimator, double limit) {
            decimator.Export(result, resultTags);
            report.initialTriangles = initial;
            report.triangles = decimator.TriangleCount();
            report.percentLeft = 100.0 / initial * report.triangles;
            report.greatestError = decimator.GreatestError();
            if (initial == 0 || !(target < initial)) {
                return;
            }
            if (report.triangles <= target) {
                report.stop = DecimationStop::Target;
                return;
            }
            decimator.CountEdges(limit, report);
            report.stop = report.deviatingEdges >= std::max(report.lockedEdges, report.foldingEdges)
                              ? DecimationStop::Tolerance
                          : report.lockedEdges >= report.foldingEdges ? DecimationStop::Locked
                                                                      : DecimationStop::Folds;
        };
        if (initial == 0 || !(target < initial) || !(tolerance > 0.0)) {
            finish(source, 0.0);
        } else if (!(tolerance <= std::numeric_limits<double>::max())) {
            source.Run(target, tolerance);
            finish(source, tolerance);
        } else {
            double limit = tolerance;
            for (int i = 0;; ++i) {
                if (i == kTries) { // what can't be held is left alone
                    finish(source, 0.0);
                    report.deviation = 0.0;
                    report.stop = DecimationStop::Tolerance;
                    break;
                }
                BatchDecimator decimator = source;
                decimator.Run(target, limit);
                decimator.Export(result, resultTags);
                report.deviation = DeviationOf(mesh, result);
                if (report.deviation <= tolerance) {
                    finish(decimator, limit);
                    break;
                }
                limit *= std::clamp(0.9 * tolerance / report.deviation, 0.1, 0.8);
            }
        }
        out.points.swap(result.points);
        out.indices.swap(result.indices);
        outTags.swap(resultTags);
        return report.percentLeft;
    };
    return Progress::Impl::Stoppable(decimate, [&] {
        out = {};
        outTags.clear();
        report = {};
        return 0.0;
    });
}

double DecimateInBatches(const IndexedPointsBase<3, double>& mesh,
                         IndexedPointsBase<3, double>& out, double featureAngle, double keepPercent,
                         double tolerance, DecimationReport& report)
{
    Tags outTags;
    return DecimateInBatches(mesh, {}, out, outTags, featureAngle, keepPercent, tolerance, report);
}

} // namespace Velk::Math::Sorvane::Mesh
