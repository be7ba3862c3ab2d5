// The straightest line over a half-edge mesh of triangles: straight within a triangle, straight
// across an edge as if both triangles lay in one plane, and past a node so that the angle round it
// is the same on both sides.
//
// After K. Polthier and M. Schmies, "Straightest geodesics on polyhedral surfaces", 1998. The walk
// keeps its position and direction in the plane of the current triangle, in a frame whose x axis is
// the half-edge by which the triangle was entered. Such a frame comes from the corners' positions
// and not from edge lengths: of a needle's lengths the position of its apex can't be told to more
// than a few digits, and the line would bend at every needle.
#pragma once

#include <Sorvane/AssertSites_E.h>
#include <Sorvane/HMesh_E.h>
#include <Sorvane/MeshQueries_E.h>
#include <Velk/Math/Intersect_E.h>
#include <Velk/Math/Tolerances_E.h>
#include <Velk/Math/Vector_E.h>

#include "mathbase/Values_Impl.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <limits>
#include <vector>

namespace Velk::Math::Sorvane::Mesh::Impl {

/// A line of more points than this is given up, so that no length, however absurd, fills the
/// memory.
inline constexpr std::size_t kMostStraightestPoints = std::size_t{1} << 22U;

/// One walk over `SurfaceMesh`, a `HalfEdge::TriangleMesh` whose nodes have positions in space. The
/// mesh must outlive the walk and not change meanwhile.
///
/// First one of the three `Start` operations, then `Walk`. A start that finds no triangle in the
/// direction returns false.
template <class SurfaceMesh>
class StraightestPath {
public:
    /// `cornerRange`: a point at which the line leaves a triangle, and which is that near a corner
    /// along both axes of the triangle's frame, moves there; `reach`: the line's end may lie that
    /// far outside its triangle.
    StraightestPath(const SurfaceMesh& mesh, double cornerRange, double reach)
        : mesh_(mesh), cornerRange_(cornerRange), reach_(reach)
    {
    }

    /// From a point inside a face.
    bool StartInFace(int face, const Vec3d& point, const Vec3d& direction);
    /// From a point on an edge, given by either of its half-edges.
    bool StartOnEdge(int halfEdge, const Vec3d& point, const Vec3d& direction);
    /// From a node. `face` is one of the faces there; it counts where the node's own ring does not
    /// show it.
    bool StartAtNode(int node, int face, const Vec3d& direction);

    /// Appends the points that follow the start, until the line is `length` long or ends, or
    /// `points` holds `most` points.
    void Walk(double length, std::size_t most, std::vector<Vec3d>& points);

private:
    // What the current position is known to lie on: the line can't leave the triangle there.
    enum class On { Nothing, BaseEdge, Corner };

    // A triangle in its plane: the origin of the base half-edge at (0, 0), its destination at
    // (length, 0), the apex above.
    struct Frame {
        Vec3d origin;
        Vec3d along;  // unit vector of the base half-edge
        Vec3d across; // unit vector in the plane toward the apex; zero for a degenerate triangle
        std::array<Vec2d, 3> corner;

        Vec2d Laid(const Vec3d& direction) const { return {direction * along, direction * across}; }
        Vec3d Raised(const Vec2d& position) const
        {
            return origin + along * position.x() + across * position.y();
        }
    };

    // Where the line leaves the triangle: on side k, from corner k to the next, at `share` of it.
    struct Exit {
        int side = -1; // none
        double share = 0;
        Vec2d position;
    };

    const Vec3d& PositionOf(int node) const
    {
        return mesh_.Nodes()[static_cast<std::size_t>(node)].position;
    }
    const auto& EdgeAt(int halfEdge) const
    {
        return mesh_.Edges()[static_cast<std::size_t>(halfEdge)];
    }
    int OriginOf(int halfEdge) const { return EdgeAt(halfEdge).node; }
    int DestinationOf(int halfEdge) const { return EdgeAt(halfEdge ^ 1).node; }
    bool IsInFace(int halfEdge) const
    {
        return mesh_.IsValidEdge(halfEdge) && EdgeAt(halfEdge).face >= 0;
    }

    // A triangle's corner at a node, as a start there sees it: by how much it misses a direction,
    // past which of its two edges there, and the direction in its frame, turned into the corner.
    struct CornerView {
        int out = HalfEdge::kNotSet; // its base, which leaves the node
        double miss = std::numeric_limits<double>::infinity();
        double inPlane = 0; // share of the direction's length that lies in its plane
        bool isPastBase = false;
        int edge = HalfEdge::kNotSet;
        Vec2d direction;
    };

    bool Enter(int halfEdge);
    CornerView CornerToward(int out, const Vec3d& direction);
    Vec2d LaidDirection(const Vec3d& direction) const;
    std::array<int, 3> Sides() const;
    Exit FindExit() const;
    int CornerNear(const Exit& exit) const;
    bool EndsHere(double remaining, double hop) const;
    bool CrossEdge(const Exit& exit);
    bool PassNode(int corner);

    const SurfaceMesh& mesh_;
    const double cornerRange_;
    const double reach_;

    int base_ = HalfEdge::kNotSet; // half-edge of the current triangle that lies on the x axis
    Frame frame_;
    Vec2d position_;
    Vec2d direction_; // of length 1
    On on_ = On::Nothing;
    std::vector<int> fan_;    // half-edges that leave the node that is being passed
    std::vector<Vec3d> ring_; // and their far ends
    std::vector<CornerView> corners_;
};

// --- frames -------------------------------------------------------------------------------------

// Makes the triangle on the left of a half-edge the current one.
template <class SurfaceMesh>
bool StraightestPath<SurfaceMesh>::Enter(int halfEdge)
{
    if (!IsInFace(halfEdge) || !mesh_.IsValidEdge(EdgeAt(halfEdge).next) ||
        !mesh_.IsValidEdge(EdgeAt(halfEdge).prev)) {
        AssertSites::Report(AssertSites::kTracedTriangleHasNoCorners);
        return false;
    }
    base_ = halfEdge;
    frame_.origin = PositionOf(OriginOf(halfEdge));
    const Vec3d base = PositionOf(DestinationOf(halfEdge)) - frame_.origin;
    const Vec3d apex = PositionOf(OriginOf(EdgeAt(halfEdge).prev)) - frame_.origin;
    const double length = Vector::Length(base);
    // A base without length leaves the direction of the x axis open: the one toward the apex does.
    frame_.along = Vector::Normalized(length > 0 ? base : apex, 0.0);
    const Vec3d rise = apex - frame_.along * (apex * frame_.along);
    // Twice: for a thin triangle the first difference is mostly rounding along the base.
    frame_.across = Vector::Normalized(rise - frame_.along * (rise * frame_.along), 0.0);
    frame_.corner = {Vec2d(), Vec2d(length, 0.0), frame_.Laid(apex)};
    frame_.corner[2].y() = std::max(frame_.corner[2].y(), 0.0);
    return true;
}

// The direction in the plane of the current triangle, of length 1, or zero where there is none.
template <class SurfaceMesh>
Vec2d StraightestPath<SurfaceMesh>::LaidDirection(const Vec3d& direction) const
{
    // The squares of longer ones may overflow.
    constexpr double kLong = 1e100;
    const double size = Math::Impl::LargestMagnitude(direction);
    return Vector::Normalized(frame_.Laid(size > kLong ? direction / size : direction),
                              kLengthFloor<double>);
}

// The half-edges of the current triangle; side k runs from corner k of the frame to the next.
template <class SurfaceMesh>
std::array<int, 3> StraightestPath<SurfaceMesh>::Sides() const
{
    return {base_, EdgeAt(base_).next, EdgeAt(base_).prev};
}

// --- starts -------------------------------------------------------------------------------------

template <class SurfaceMesh>
bool StraightestPath<SurfaceMesh>::StartInFace(int face, const Vec3d& point, const Vec3d& direction)
{
    const auto* record = mesh_.FaceRecord(face);
    if (record == nullptr || !Enter(record->edge)) {
        return false;
    }
    position_ = frame_.Laid(point - frame_.origin);
    direction_ = LaidDirection(direction);
    on_ = On::Nothing;
    return direction_ != Vec2d();
}

template <class SurfaceMesh>
bool StraightestPath<SurfaceMesh>::StartOnEdge(int halfEdge, const Vec3d& point,
                                               const Vec3d& direction)
{
    // First the triangle whose apex lies farther ahead. The line may lead out of that one all the
    // same, past the edge that it starts on, where the apexes lie far to the sides: then the other
    // is asked.
    std::array<int, 2> sides = {halfEdge, halfEdge ^ 1};
    std::array<double, 2> ahead{};
    for (std::size_t i = 0; i < 2; ++i) {
        if (IsInFace(sides[i])) {
            const Vec3d apex = PositionOf(OriginOf(EdgeAt(sides[i]).prev));
            ahead[i] = Vector::Normalized(apex - point, 0.0) * direction;
        }
    }
    if (IsInFace(sides[1]) && (!IsInFace(sides[0]) || ahead[1] > ahead[0])) {
        std::swap(sides[0], sides[1]);
    }
    for (const int side : sides) {
        if (!IsInFace(side) || !Enter(side)) {
            continue;
        }
        direction_ = LaidDirection(direction);
        if (std::fabs(direction_.y()) <= kLengthFloor<double>) {
            direction_ = Vector::Normalized(Vec2d(direction_.x(), 0.0), 0.0); // along the edge
        }
        if (direction_ != Vec2d() && direction_.y() >= 0) {
            const double at = (point - frame_.origin) * frame_.along;
            position_ = {std::clamp(at, 0.0, frame_.corner[1].x()), 0.0};
            on_ = On::BaseEdge;
            return true;
        }
    }
    return false;
}

template <class SurfaceMesh>
bool StraightestPath<SurfaceMesh>::StartAtNode(int node, int face, const Vec3d& direction)
{
    fan_.clear();
    const auto end = mesh_.VisitNodeEdges(node, [&](int out) { fan_.push_back(out); });
    if (end == HalfEdge::WalkEnd::Runaway) {
        return false;
    }
    // A node that joins several fans shows one of them only.
    if (const auto* record = mesh_.FaceRecord(face); record != nullptr) {
        for (int side = record->edge, k = 0; k < 3 && IsInFace(side);
             side = EdgeAt(side).next, ++k) {
            if (OriginOf(side) == node && std::find(fan_.begin(), fan_.end(), side) == fan_.end()) {
                fan_.push_back(side);
            }
        }
    }
    corners_.clear();
    for (const int out : fan_) {
        corners_.push_back(CornerToward(out, direction));
    }
    // Of the corners that hold the direction the one in whose plane it lies best. Otherwise the one
    // that misses it least: the planes of the triangles round a peak leave gaps between them, one
    // at each common edge, and what is in a gap both of its triangles miss past that edge.
    const CornerView* best = nullptr;
    for (std::size_t i = 0; i < fan_.size(); ++i) {
        const CornerView& view = corners_[i];
        if (view.miss == 0 && (best == nullptr || view.inPlane > best->inPlane)) {
            best = &view;
        }
    }
    for (std::size_t i = 0; i < fan_.size() && (best == nullptr || best->miss > 0); ++i) {
        const CornerView& view = corners_[i];
        const auto isAcross = [&](const CornerView& other) {
            return other.miss > 0 && other.isPastBase != view.isPastBase &&
                   other.edge == (view.edge ^ 1);
        };
        if (view.miss < kPi<double> / 2 && (best == nullptr || view.miss < best->miss) &&
            std::any_of(corners_.begin(), corners_.end(), isAcross)) {
            best = &view;
        }
    }
    if (best == nullptr || !Enter(best->out)) {
        return false;
    }
    position_ = Vec2d();
    direction_ = best->direction;
    on_ = On::Corner;
    return true;
}

// How the corner of a triangle at the origin of its half-edge stands to a direction.
template <class SurfaceMesh>
auto StraightestPath<SurfaceMesh>::CornerToward(int out, const Vec3d& direction) -> CornerView
{
    CornerView view;
    view.out = out;
    if (!IsInFace(out) || !Enter(out)) {
        return view;
    }
    view.direction = LaidDirection(direction);
    if (view.direction == Vec2d()) {
        return view;
    }
    view.inPlane = Vector::Length(frame_.Laid(Vector::Normalized(direction, 0.0)));
    const Vec2d base(1.0, 0.0);
    const Vec2d toApex = Vector::Normalized(frame_.corner[2], 0.0);
    const double opening = Vector::AngleBetween(base, toApex, 0.0);
    const double angle = Vector::AngleBetween(base, view.direction, 0.0);
    if (angle >= 0 && angle <= opening) {
        view.miss = 0;
        return view;
    }
    const double right = angle < 0 ? -angle : kTwoPi<double> - angle;
    const double left = angle > opening ? angle - opening : kTwoPi<double> + angle - opening;
    view.isPastBase = right < left;
    view.miss = std::min(right, left);
    view.edge = view.isPastBase ? out : EdgeAt(out).prev;
    view.direction = view.isPastBase ? base : toApex;
    if (view.miss <= kLengthFloor<double>) {
        view.miss = 0; // along the edge, but for rounding
    }
    return view;
}

// --- the walk -----------------------------------------------------------------------------------

template <class SurfaceMesh>
void StraightestPath<SurfaceMesh>::Walk(double length, std::size_t most, std::vector<Vec3d>& points)
{
    double remaining = length;
    // Passes that leave the rest as long as it was: through triangles without area, of which a ring
    // has no end, and while the rest is too long for a step to count.
    int passesInPlace = 0;
    while (remaining > 0 && points.size() < most && passesInPlace <= mesh_.FaceCount()) {
        const Exit exit = FindExit();
        if (exit.side < 0) {
            AssertSites::Report(AssertSites::kTracedLineLeavesNoSide);
            return;
        }
        const double hop = std::max((exit.position - position_) * direction_, 0.0);
        if (EndsHere(remaining, hop)) {
            points.push_back(frame_.Raised(position_ + direction_ * remaining));
            return;
        }
        const std::array<int, 3> sides = Sides();
        const int corner = CornerNear(exit);
        double walked = hop;
        Vec3d reached;
        if (corner >= 0) {
            walked = Vector::Length(frame_.corner[static_cast<std::size_t>(corner)] - position_);
            reached = PositionOf(OriginOf(sides[static_cast<std::size_t>(corner)]));
        } else {
            const int side = sides[static_cast<std::size_t>(exit.side)];
            const Vec3d& from = PositionOf(OriginOf(side));
            reached = from + (PositionOf(DestinationOf(side)) - from) * exit.share;
        }
        if (walked > 0) {
            points.push_back(reached);
        }
        const double left = remaining - walked;
        passesInPlace = left < remaining ? 0 : passesInPlace + 1;
        remaining = left;
        if (!(corner >= 0 ? PassNode(corner) : CrossEdge(exit))) {
            return;
        }
    }
}

// The side that the line crosses from the inside: its first corner lies to the right of the line,
// and its second to the left. Of the sides on which the position lies none is crossed.
template <class SurfaceMesh>
auto StraightestPath<SurfaceMesh>::FindExit() const -> Exit
{
    Exit exit;
    std::array<double, 3> left{}; // how far to the left of the line each corner lies
    for (std::size_t k = 0; k < 3; ++k) {
        left[k] = direction_ ^ (frame_.corner[k] - position_);
    }
    double widest = 0;
    switch (on_) {
    case On::Nothing:
        // The widest: a line through a corner meets both of the sides there.
        for (std::size_t k = 0; k < 3; ++k) {
            const double width = left[(k + 1) % 3] - left[k];
            if (left[k] <= 0 && left[(k + 1) % 3] >= 0 && !(width < widest)) {
                widest = width;
                exit.side = static_cast<int>(k);
            }
        }
        break;
    case On::BaseEdge:
        exit.side = left[2] >= 0 ? 1 : left[2] < 0 ? 2 : -1;
        break;
    case On::Corner:
        exit.side = left[1] <= left[2] ? 1 : -1;
        break;
    }
    if (exit.side < 0) {
        return exit;
    }
    auto from = static_cast<std::size_t>(exit.side);
    if (const double width = left[(from + 1) % 3] - left[from]; width > 0) {
        exit.share = std::clamp(-left[from] / width, 0.0, 1.0);
    } else {
        // The line runs along a triangle without area: to its farthest corner.
        for (std::size_t k = 0; k < 3; ++k) {
            from = (frame_.corner[k] - frame_.corner[from]) * direction_ > 0 ? k : from;
        }
        exit.side = static_cast<int>(from);
    }
    const Vec2d& start = frame_.corner[from];
    exit.position = start + (frame_.corner[(from + 1) % 3] - start) * exit.share;
    if (!Math::Impl::IsFinite(exit.position)) {
        exit.side = -1;
    }
    return exit;
}

// The corner at an end of the exit's side to which the exit snaps, the nearer one if both, or -1.
template <class SurfaceMesh>
int StraightestPath<SurfaceMesh>::CornerNear(const Exit& exit) const
{
    const int from = exit.side;
    const int to = (from + 1) % 3;
    const auto isNear = [&](int corner) {
        const Vec2d& at = frame_.corner[static_cast<std::size_t>(corner)];
        return at == exit.position || Vector::Matches(at, exit.position, cornerRange_);
    };
    const int first = exit.share <= 0.5 ? from : to;
    const int second = first == from ? to : from;
    return isNear(first) ? first : isNear(second) ? second : -1;
}

template <class SurfaceMesh>
bool StraightestPath<SurfaceMesh>::EndsHere(double remaining, double hop) const
{
    if (remaining <= hop) {
        return true;
    }
    // Farther than the triangle is wide the end can't be in reach of it.
    const double width = frame_.corner[1].x() + Vector::Length(frame_.corner[2]);
    const auto& [a, b, c] = frame_.corner;
    return remaining <= width + reach_ &&
           Intersect::PointInOrOnTriangle(a, b, c, position_ + direction_ * remaining, reach_);
}

// Goes on in the triangle beyond the side; false at the boundary.
template <class SurfaceMesh>
bool StraightestPath<SurfaceMesh>::CrossEdge(const Exit& exit)
{
    const auto from = static_cast<std::size_t>(exit.side);
    const int beyond = Sides()[from] ^ 1;
    if (!IsInFace(beyond)) {
        return false;
    }
    const Vec2d side = Vector::Normalized(frame_.corner[(from + 1) % 3] - frame_.corner[from], 0.0);
    // The frames face each other across the edge: its unit vector is reversed, and what led out of
    // the one leads into the other.
    const Vec2d onward(-(direction_ * side), std::max(direction_ ^ side, 0.0));
    if (!Enter(beyond)) {
        return false;
    }
    position_ = {(1 - exit.share) * frame_.corner[1].x(), 0.0};
    direction_ = Vector::Normalized(onward, 0.0);
    on_ = On::BaseEdge;
    return direction_ != Vec2d();
}

// Goes on beyond a corner of the current triangle, where the line has just arrived; false where the
// node has no full turn of triangles.
template <class SurfaceMesh>
bool StraightestPath<SurfaceMesh>::PassNode(int corner)
{
    const auto at = static_cast<std::size_t>(corner);
    const int first = Sides()[at];
    const Vec3d& node = PositionOf(OriginOf(first));
    // The triangles round the node, from the current one on counter-clockwise: by links and not by
    // the node's ring, which shows one fan of several.
    fan_.clear();
    ring_.clear();
    int out = first;
    do {
        if (!IsInFace(out) || fan_.size() > mesh_.Edges().size()) {
            return false;
        }
        fan_.push_back(out);
        ring_.push_back(PositionOf(DestinationOf(out)));
        out = EdgeAt(out).prev ^ 1;
    } while (out != first);
    ring_.push_back(ring_.front());

    // Angles in which all of the turn is 2 pi: straight on is half a turn from where the line came.
    double scale = 0;
    const std::vector<double> angles = NormalizedRingAngles(node, ring_, scale, false);
    if (!(scale > 0)) {
        return false;
    }
    const Vec2d base = frame_.corner[(at + 1) % 3] - frame_.corner[at];
    const double cameFrom =
        std::clamp(Vector::AngleBetween(base, -direction_, 0.0) * scale, 0.0, angles.front());
    const double halfTurn = cameFrom + kPi<double>;
    const double onward = halfTurn < kTwoPi<double> ? halfTurn : halfTurn - kTwoPi<double>;
    double before = 0; // angle at which the sector begins
    std::size_t sector = 0;
    while (sector + 1 < angles.size() && !(onward < before + angles[sector])) {
        before += angles[sector++];
    }
    // Past the last sector: the line came along its end, which is also the beginning of the first.
    const double inSector = std::clamp(onward - before, 0.0, angles[sector]) / scale;
    if (!Enter(fan_[sector])) {
        return false;
    }
    position_ = Vec2d();
    direction_ = Vector::PolarToCartesian(Vec2d(1.0, inSector));
    on_ = On::Corner;
    return true;
}

} // namespace Velk::Math::Sorvane::Mesh::Impl
