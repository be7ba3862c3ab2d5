// The growing hull; see the header.

#include "bounding/QHullMesh_Impl.h"

#include "mathbase/Predicates_Impl.h"
#include "mathbase/Progress_Impl.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <utility>

namespace Velk::Math::Sorvane::Bounding::Impl {
namespace {

using Math::Impl::AccurateNormal;
using Math::Impl::Orientation;

/// A node costs from a microsecond to a millisecond.
constexpr std::size_t kNodesPerCheck = 32;
constexpr double kInside = -std::numeric_limits<double>::infinity();
constexpr int kWorkExponent = 10; // the longest edge of the work box is 512 to 1024
/// Outside sets of so few points are worked off at once.
constexpr int kSmallSet = 16;
/// The plane tolerance in length floors, for an edge of length 1.
constexpr double kTolerancePerFloor = 10;

int Next(int corner) { return corner == 2 ? 0 : corner + 1; }

double Distance(const QHullFace& face, const VecBase<3, double>& p)
{
    return face.normal * p - face.offset;
}

} // namespace

template <class T>
QHullMesh::QHullMesh(const std::vector<VecBase<3, T>>& input)
    : points(input.begin(), input.end()), lengthFloor_(static_cast<double>(kLengthFloor<T>)),
      nextOutside_(input.size(), -1), coneAt_(input.size(), -1)
{
    ScaleToWorkCube();
}

template QHullMesh::QHullMesh(const std::vector<VecBase<3, float>>&);
template QHullMesh::QHullMesh(const std::vector<VecBase<3, double>>&);

void QHullMesh::ScaleToWorkCube()
{
    if (points.empty()) {
        return;
    }
    VecBase<3, double> low = points[0];
    VecBase<3, double> high = points[0];
    for (const VecBase<3, double>& p : points) {
        for (int k = 0; k < 3; ++k) {
            low[k] = std::min(low[k], p[k]);
            high[k] = std::max(high[k], p[k]);
        }
    }
    // Halves, because the extent itself may overflow. An axis is moved only where that is exact:
    // all coordinates lie between half the center's and twice it (P. H. Sterbenz, 1974).
    double largest = 0;
    for (int k = 0; k < 3; ++k) {
        const double middle = low[k] * 0.5 + high[k] * 0.5;
        const double half = high[k] * 0.5 - low[k] * 0.5;
        center_[k] = std::fabs(middle) > 3 * half ? middle : 0;
        largest = std::max(largest, half);
    }
    if (largest > 0) {
        constexpr int kMaxExponent = 1000;
        const int exponent = kWorkExponent - 2 - std::ilogb(largest);
        scale_ = std::ldexp(1.0, std::clamp(exponent, -kMaxExponent, kMaxExponent));
    }
    for (VecBase<3, double>& p : points) {
        p = (p - center_) * scale_;
        radius_ = std::max(radius_, SquaredLength(p));
    }
    radius_ = std::sqrt(radius_);
}

bool QHullMesh::Build(bool isExact)
{
    if (!MakeSimplex(isExact)) {
        return false;
    }
    do {
        Grow();
    } while (AdoptOverlooked());
    return true;
}

// --- the first simplex --------------------------------------------------------------------------

/// Four points that span a solid, chosen far apart; extremes along the axes come first, where ties
/// are exact and the first of equals is a corner of the hull.
bool QHullMesh::MakeSimplex(bool isExact)
{
    const int count = static_cast<int>(points.size());
    if (count < 4) {
        return false;
    }
    int extremes[6] = {};
    for (int i = 1; i < count; ++i) {
        for (int k = 0; k < 3; ++k) {
            const double x = points[i][k];
            extremes[2 * k] = x < points[extremes[2 * k]][k] ? i : extremes[2 * k];
            extremes[2 * k + 1] = x > points[extremes[2 * k + 1]][k] ? i : extremes[2 * k + 1];
        }
    }
    int a = extremes[0];
    int b = extremes[0];
    for (int i = 0; i < 6; ++i) {
        for (int j = i + 1; j < 6; ++j) {
            if (SquaredLength(points[extremes[j]] - points[extremes[i]]) >
                SquaredLength(points[b] - points[a])) {
                a = extremes[i];
                b = extremes[j];
            }
        }
    }
    if (a == b) {
        return false;
    }

    const VecBase<3, double> alongAB = points[b] - points[a];
    int c = -1;
    double largestArea = 0;
    for (int i = 0; i < count; ++i) {
        const double area = SquaredLength(alongAB ^ (points[i] - points[a]));
        if (area > largestArea) {
            largestArea = area;
            c = i;
        }
    }
    if (c < 0) {
        return false;
    }
    const auto edge = [this](int i, int j) { return Length(points[j] - points[i]); };
    const double perLength = kTolerancePerFloor * lengthFloor_;
    double longest = std::max({edge(a, b), edge(b, c), edge(c, a)});
    if (!(std::sqrt(largestArea) > perLength * longest * Length(alongAB))) {
        return false; // all on one line
    }

    const VecBase<3, double> normal = Vector::Normalized(alongAB ^ (points[c] - points[a]), 0.0);
    int d = -1;
    double largestDistance = 0;
    for (int i = 0; i < count; ++i) {
        const double distance = std::fabs(normal * (points[i] - points[a]));
        if (distance > largestDistance && i != a && i != b && i != c) {
            largestDistance = distance;
            d = i;
        }
    }
    if (d < 0) {
        return false;
    }
    longest = std::max({longest, edge(a, d), edge(b, d), edge(c, d)});
    tolerance = perLength * longest;
    const int side = Orientation(points[a], points[b], points[c], points[d]);
    if (!(largestDistance > tolerance) || side == 0) {
        return false; // all in one plane
    }
    if (side > 0) {
        std::swap(b, c);
    }
    if (isExact) { // all faces count as slivers then, for which every point that sees them is far
                   // out
        tolerance = std::numeric_limits<double>::min();
    }

    newFaces_ = {AddFace(a, b, c), AddFace(d, b, a), AddFace(c, b, d), AddFace(a, c, d)};
    for (const int f : newFaces_) {
        for (const int g : newFaces_) {
            for (int i = 0; i < 9; ++i) {
                const int k = i / 3;
                const int l = i % 3;
                if (faces[f].node[k] == faces[g].node[Next(l)] &&
                    faces[f].node[Next(k)] == faces[g].node[l]) {
                    faces[f].neighbor[k] = g;
                }
            }
        }
    }
    orphans_.clear();
    for (int i = 0; i < count; ++i) {
        if (i != a && i != b && i != c && i != d) {
            orphans_.push_back(i);
        }
    }
    PlaceOrphans();
    return true;
}

// --- growing ------------------------------------------------------------------------------------

/// Adds nodes until no point is farther out than the tolerance from the face that owns it. Faces
/// wait in rounds, so that all sides grow alike: refining one part to the end first would leave
/// long fans of faces that later nodes tear down again and again. Only what is small is finished at
/// once, while its faces and points are in the cache.
void QHullMesh::Grow()
{
    const auto finishSmall = [this] {
        while (!small_.empty()) {
            const int face = small_.back();
            small_.pop_back();
            GrowAt(face);
        }
    };
    finishSmall();
    std::vector<int> round;
    while (!pending_.empty()) {
        round.swap(pending_);
        pending_.clear();
        for (const int face : round) {
            GrowAt(face);
            finishSmall();
        }
    }
}

void QHullMesh::GrowAt(int face)
{
    if (++grown_ % kNodesPerCheck == 0) {
        Progress::Impl::Check();
    }
    if (faces[face].isLive && faces[face].reach > tolerance && !AddNode(face)) {
        DropFarthest(face);
        QueueIfPending(face);
    }
}

/// Makes the farthest point of the face's outside set a node: the faces that it sees make way for a
/// cone from the rim of what it sees. False, with nothing changed, when that rim is not one loop,
/// which takes coordinates so small beside the others that their products underflow.
bool QHullMesh::AddNode(int face)
{
    const int node = faces[face].outside;
    CollectVisible(face, node);
    const bool isLoop = LinkHorizon();
    if (isLoop) {
        TakeOrphans(node);
        MakeCone(node);
        PlaceOrphans();
    }
    for (const HorizonEdge& edge : horizon_) {
        coneAt_[edge.from] = -1;
    }
    return isLoop;
}

void QHullMesh::CollectVisible(int face, int node)
{
    walk_ += 2; // a face's visit is walk_ when it is seen, walk_ + 1 when it is not
    visible_.assign(1, face);
    horizon_.clear();
    faces[face].visit = walk_;
    for (std::size_t i = 0; i < visible_.size(); ++i) {
        const int current = visible_[i];
        for (int k = 0; k < 3; ++k) {
            const int other = faces[current].neighbor[k];
            QHullFace& neighbor = faces[other];
            if (neighbor.visit < walk_) {
                const bool isSeen = Sees(neighbor, node);
                neighbor.visit = isSeen ? walk_ : walk_ + 1;
                if (isSeen) {
                    visible_.push_back(other);
                }
            }
            if (neighbor.visit != walk_) {
                const int from = faces[current].node[k];
                const int to = faces[current].node[Next(k)];
                const int slot = neighbor.node[0] == to ? 0 : (neighbor.node[1] == to ? 1 : 2);
                horizon_.push_back({from, to, other, slot});
            }
        }
    }
}

bool QHullMesh::LinkHorizon()
{
    for (std::size_t i = 0; i < horizon_.size(); ++i) {
        if (coneAt_[horizon_[i].from] >= 0) {
            return false; // the rim touches itself
        }
        coneAt_[horizon_[i].from] = static_cast<int>(i);
    }
    // Once round from the first edge: a second loop, about a face left standing inside, stays out.
    std::size_t length = 0;
    int edge = horizon_.empty() ? -1 : 0;
    do {
        edge = edge < 0 ? -1 : coneAt_[horizon_[edge].to];
        ++length;
    } while (edge > 0 && length < horizon_.size());
    return edge == 0 && length == horizon_.size() && length >= 3;
}

/// Gathers the outside sets of the visible faces, `node` aside, and removes those faces.
void QHullMesh::TakeOrphans(int node)
{
    orphans_.clear();
    for (const int face : visible_) {
        for (int q = faces[face].outside; q >= 0; q = nextOutside_[q]) {
            if (q != node) {
                orphans_.push_back(q);
            }
        }
        RemoveFace(face);
    }
}

void QHullMesh::RemoveFace(int face)
{
    faces[face].isLive = false;
    faces[face].outside = -1;
    freeFaces_.push_back(face);
}

/// The plane is taken at the corner with the largest angle, where it is best known: a needle has
/// two long sides at a tiny angle, but also a corner near a right angle. A cap, flat in all its
/// corners, takes twice the precision.
int QHullMesh::AddFace(int a, int b, int c)
{
    int slot = static_cast<int>(faces.size());
    if (freeFaces_.empty()) {
        faces.emplace_back();
    } else {
        slot = freeFaces_.back();
        freeFaces_.pop_back();
    }
    QHullFace& face = faces[slot];
    face.node[0] = a;
    face.node[1] = b;
    face.node[2] = c;
    face.outside = -1;
    face.outsideCount = 0;
    face.reach = kInside;
    face.isLive = true;

    const VecBase<3, double> side[3] = {points[b] - points[a], points[c] - points[b],
                                        points[a] - points[c]};
    const double squared[3] = {SquaredLength(side[0]), SquaredLength(side[1]),
                               SquaredLength(side[2])};
    const int longest = squared[0] >= squared[1] ? (squared[0] >= squared[2] ? 0 : 2)
                                                 : (squared[1] >= squared[2] ? 1 : 2);
    const int first = Next(longest);
    const int second = Next(first);
    // With u half an epsilon and s the sine of the angle: 8 u / s + 4 u for the direction of the
    // normal, over a length of twice the radius, and 8 u radius for the two products and their
    // difference; doubled.
    constexpr double kErrorPerRadius = 16 * std::numeric_limits<double>::epsilon();
    const double sides = std::sqrt(squared[first] * squared[second]);
    const auto setPlane = [&](const VecBase<3, double>& cross, double directionError) {
        const double length = Length(cross);
        if (!(length > 0)) {
            face.normal = {};
            face.offset = 0;
            face.error = std::numeric_limits<double>::infinity();
            return;
        }
        face.normal = cross * (1 / length);
        face.offset = face.normal * points[face.node[second]];
        face.error = kErrorPerRadius * (directionError * sides / length + 1) * radius_;
    };
    setPlane(side[first] ^ side[second], 1);
    if (IsSliver(face)) {
        constexpr double kDoubleWordGain = 0x1p-48; // 2^-53, less what a few operations lose
        setPlane(AccurateNormal(points[face.node[first]], points[face.node[second]],
                                points[face.node[longest]]),
                 kDoubleWordGain);
    }
    return slot;
}

void QHullMesh::MakeCone(int node)
{
    newFaces_.clear();
    for (const HorizonEdge& edge : horizon_) {
        newFaces_.push_back(AddFace(edge.from, edge.to, node));
    }
    for (std::size_t i = 0; i < horizon_.size(); ++i) {
        const HorizonEdge& edge = horizon_[i];
        const int face = newFaces_[i];
        const int following = newFaces_[coneAt_[edge.to]];
        faces[face].neighbor[0] = edge.outer;
        faces[edge.outer].neighbor[edge.slot] = face;
        faces[face].neighbor[1] = following;
        faces[following].neighbor[2] = face;
    }
}

/// Gives each orphan to a new face that it sees from beyond the tolerance, or else to the one of
/// those it sees that it is farthest from. What no new face sees is inside: the part of the surface
/// that a point sees is connected, so where the seen part reached from a removed face over the rim,
/// the cone's face there is seen as well.
void QHullMesh::PlaceOrphans()
{
    for (const int q : orphans_) {
        placed_.Next();
        int owner = -1;
        double farthest = kInside;
        for (const int face : newFaces_) {
            const double reach = Reach(faces[face], q);
            if (reach > farthest) {
                farthest = reach;
                owner = face;
                if (reach > tolerance) {
                    break;
                }
            }
        }
        if (owner >= 0) {
            Place(q, owner, farthest);
        }
    }
    for (const int face : newFaces_) {
        QueueIfPending(face);
    }
}

// --- outside sets -------------------------------------------------------------------------------

bool QHullMesh::Sees(const QHullFace& face, int point) const
{
    const double distance = Distance(face, points[point]);
    if (distance > face.error) {
        return true;
    }
    return !(distance < -face.error) && Orientation(points[face.node[0]], points[face.node[1]],
                                                    points[face.node[2]], points[point]) > 0;
}

/// How far out a point is for a face that it sees; kInside when it doesn't. Where even twice the
/// precision left no plane, a point counts as far out exactly when it is outside at all.
double QHullMesh::Reach(const QHullFace& face, int point) const
{
    const double distance = Distance(face, points[point]);
    if (distance > face.error) {
        return distance;
    }
    if (distance < -face.error || !Sees(face, point)) {
        return kInside;
    }
    return IsSliver(face) ? std::max(std::fabs(distance), 2 * tolerance) : distance;
}

void QHullMesh::Place(int point, int face, double reach)
{
    QHullFace& owner = faces[face];
    const int first = owner.outside;
    ++owner.outsideCount;
    if (first < 0 || reach > owner.reach || (reach == owner.reach && point < first)) {
        nextOutside_[point] = first;
        owner.outside = point;
        owner.reach = reach;
    } else {
        nextOutside_[point] = nextOutside_[first];
        nextOutside_[first] = point;
    }
}

void QHullMesh::DropFarthest(int face)
{
    int q = nextOutside_[faces[face].outside];
    faces[face].outside = -1;
    faces[face].outsideCount = 0;
    faces[face].reach = kInside;
    while (q >= 0) {
        const int next = nextOutside_[q];
        const double reach = Reach(faces[face], q);
        if (reach > kInside) {
            Place(q, face, reach);
        }
        q = next;
    }
}

void QHullMesh::QueueIfPending(int face)
{
    if (faces[face].reach > tolerance) {
        (faces[face].outsideCount <= kSmallSet ? small_ : pending_).push_back(face);
    }
}

/// A point within the tolerance of its own face may be farther from another one that it sees: looks
/// round each such point and moves it there. True when some point has to become a node after all.
bool QHullMesh::AdoptOverlooked()
{
    std::vector<int> seen;
    for (int face = 0; face < static_cast<int>(faces.size()); ++face) {
        Progress::Impl::CheckStep(static_cast<std::size_t>(face));
        int q = faces[face].isLive ? faces[face].outside : -1;
        if (q < 0) {
            continue;
        }
        faces[face].outside = -1;
        faces[face].outsideCount = 0;
        faces[face].reach = kInside;
        while (q >= 0) {
            const int next = nextOutside_[q];
            walk_ += 2;
            int owner = face;
            double farthest = Reach(faces[face], q);
            seen.assign(1, face);
            faces[face].visit = walk_;
            for (std::size_t i = 0; i < seen.size(); ++i) {
                for (const int other : faces[seen[i]].neighbor) {
                    if (faces[other].visit == walk_) {
                        continue;
                    }
                    faces[other].visit = walk_;
                    const double reach = Reach(faces[other], q);
                    if (reach > kInside) {
                        seen.push_back(other);
                    }
                    if (reach > farthest) {
                        farthest = reach;
                        owner = other;
                    }
                }
            }
            Place(q, owner, farthest);
            if (farthest > tolerance) {
                pending_.push_back(owner);
            }
            q = next;
        }
    }
    return !pending_.empty();
}

// --- results ------------------------------------------------------------------------------------

std::vector<int> QHullMesh::Triangles() const
{
    std::vector<int> triangles;
    triangles.reserve(3 * faces.size());
    Progress::Impl::Steps steps;
    for (const QHullFace& face : faces) {
        steps.Next();
        if (face.isLive) {
            triangles.insert(triangles.end(), {face.node[0], face.node[1], face.node[2]});
        }
    }
    return triangles;
}

std::vector<int> QHullMesh::FlatNodes() const
{
    // Edges at each node across which the surface is bent; -1 for points that are no nodes.
    std::vector<int> bent(points.size(), -1);
    Progress::Impl::Steps steps;
    for (const QHullFace& face : faces) {
        steps.Next();
        for (int k = 0; face.isLive && k < 3; ++k) {
            const int from = face.node[k];
            const int to = face.node[Next(k)];
            if (from > to) {
                continue; // the other face's turn
            }
            const QHullFace& other = faces[face.neighbor[k]];
            const int apex = other.node[0] != from && other.node[0] != to
                                 ? other.node[0]
                                 : (other.node[1] != from && other.node[1] != to ? other.node[1]
                                                                                 : other.node[2]);
            const bool isBent = Distance(face, points[apex]) < -face.error ||
                                Orientation(points[face.node[0]], points[face.node[1]],
                                            points[face.node[2]], points[apex]) != 0;
            for (const int node : {from, to}) {
                bent[node] = std::max(bent[node], 0) + (isBent ? 1 : 0);
            }
        }
    }
    std::vector<int> flat;
    for (int node = 0; node < static_cast<int>(bent.size()); ++node) {
        if (bent[node] >= 0 && bent[node] < 3) {
            flat.push_back(node);
        }
    }
    return flat;
}

} // namespace Velk::Math::Sorvane::Bounding::Impl
