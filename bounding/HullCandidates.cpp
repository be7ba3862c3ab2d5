// Throwing away points deep inside; see the header.
//
// 1. Take one point of every 32 and make their hull.
// 2. In a frame in which the hull is about as wide as long and high, measure from a center inside
// it
//    how far it reaches in the directions of a grid on each face of the surrounding cube. Along a
//    grid cell, one over the reach in units of the cube is a convex function (the largest of linear
//    ones), so the least reach over a cell is that of one of its four corners.
// 3. A point nearer than its cell's reach, less a margin, is deep inside.

#include "bounding/HullCandidates_Impl.h"

#include "bounding/QHullMesh_Impl.h"
#include "mathbase/SegmentPoint_Impl.h"
#include "mathbase/Values_Impl.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>

namespace Velk::Math::Sorvane::Bounding::Impl {
namespace {

using Math::Impl::IsFinite;

constexpr int kSampleStride = 32;
/// Share of the reach that is left out besides the caller's margin, far above all rounding here.
constexpr double kSafety = 1e-6;

/// One point of every `kSampleStride`, at a scattered place so that points in rows or layers give
/// no row or layer.
template <class T>
std::vector<VecBase<3, T>> Sample(const std::vector<VecBase<3, T>>& points)
{
    std::vector<VecBase<3, T>> sample;
    sample.reserve(points.size() / kSampleStride);
    for (std::size_t i = 0; i + kSampleStride <= points.size(); i += kSampleStride) {
        const std::uint64_t scattered = (i + 1) * 0x9e3779b97f4a7c15U;
        const VecBase<3, T>& p = points[i + (scattered >> 40U) % kSampleStride];
        if (IsFinite(p)) {
            sample.push_back(p);
        }
    }
    return sample;
}

/// Perpendicular directions: along the longest spoke, along the one that leads farthest from it,
/// and across.
std::array<VecBase<3, double>, 3> FrameAlong(const std::vector<VecBase<3, double>>& spokes)
{
    std::array<VecBase<3, double>, 3> frame;
    for (int axis = 0; axis < 2; ++axis) {
        VecBase<3, double> farthest;
        for (const VecBase<3, double>& spoke : spokes) {
            const VecBase<3, double> across =
                axis == 0 ? spoke : spoke - frame[0] * (frame[0] * spoke);
            farthest = SquaredLength(across) > SquaredLength(farthest) ? across : farthest;
        }
        frame[axis] = Vector::Normalized(farthest, 0.0);
    }
    frame[2] = frame[0] ^ frame[1];
    return frame;
}

/// How far a hull reaches from a center inside it, from below, for every direction.
class ReachTable {
public:
    /// `cells`: grid cells along an edge of the cube of directions. `margin`: what lies inside by
    /// the table is at least as deep as this.
    ReachTable(const QHullMesh& hull, int cells, double margin);

    /// False when there is no inside deep enough; nothing is inside then.
    bool IsUseful() const { return shrink_ > 0; }

    /// Never true for a point that is not finite.
    bool IsInside(const VecBase<3, double>& p) const
    {
        const VecBase<3, double> fromCenter = p - center_;
        if (SquaredLength(fromCenter) < innerRadiusSquared_) {
            return true;
        }
        const VecBase<3, double> q{toCube_[0] * fromCenter, toCube_[1] * fromCenter,
                                   toCube_[2] * fromCenter};
        // The longest axis without branches, which could not be predicted.
        double w = std::fabs(q[0]);
        int axis = 0;
        axis = std::fabs(q[1]) > w ? 1 : axis;
        w = std::max(w, std::fabs(q[1]));
        axis = std::fabs(q[2]) > w ? 2 : axis;
        w = std::max(w, std::fabs(q[2]));
        if (!(w < farthestReach_)) {
            return false;
        }
        const double toCell = 0.5 * cells_ / w;
        const double u = (q[kFirstAxis[axis]] + w) * toCell;
        const double v = (q[kSecondAxis[axis]] + w) * toCell;
        const int column = std::min(static_cast<int>(u), cells_ - 1);
        const int row = std::min(static_cast<int>(v), cells_ - 1);
        const int face = 2 * axis + (q[axis] < 0 ? 1 : 0);
        return w < reach_[static_cast<std::size_t>((face * cells_ + row) * cells_ + column)];
    }

private:
    static constexpr int kFirstAxis[3] = {1, 2, 0};
    static constexpr int kSecondAxis[3] = {2, 0, 1};

    void MakeFrame(const QHullMesh& hull, const std::vector<int>& corners);
    void FillFace(const QHullMesh& hull, int cubeFace, int& hullFace);
    double ReachAlong(const QHullMesh& hull, const VecBase<3, double>& direction, int cubeFace,
                      int& hullFace) const;
    double Height(const QHullFace& face) const { return face.offset - face.normal * workCenter_; }
    double LeastDistance(const QHullMesh& hull, const QHullFace& face) const;
    double LeastReach(const QHullMesh& hull, const QHullFace& face,
                      const VecBase<3, double>& direction, int cubeFace) const;
    /// False for slivers, whose planes are not known well enough.
    bool HasPlane(const QHullFace& face) const { return face.error < 0.1 * kSafety * Height(face); }

    VecBase<3, double> center_;       // in the caller's coordinates
    VecBase<3, double> workCenter_;   // in the hull's
    VecBase<3, double> halfWidth_[3]; // the cube's axes in the hull's coordinates
    VecBase<3, double> toCube_[3];    // their inverse, for the caller's
    int cells_;
    double shrink_ = 0;             // of the whole hull about the center
    double innerRadiusSquared_ = 0; // of the shrunk hull, in the caller's coordinates
    double farthestReach_ = 0;
    std::vector<double> cornerReach_; // of the cube face in hand
    std::vector<float> reach_;
};

ReachTable::ReachTable(const QHullMesh& hull, int cells, double margin) : cells_(cells)
{
    const std::vector<int> corners = hull.Triangles();
    VecBase<3, double> sum;
    for (const int node : corners) {
        sum += hull.points[node];
    }
    // Any center will do; the two must be one point, up to the rounding that the safety covers.
    center_ = sum / static_cast<double>(corners.size()) / hull.Scale() + hull.Center();
    workCenter_ = (center_ - hull.Center()) * hull.Scale();

    double inner = std::numeric_limits<double>::infinity();
    double outer = 0;
    for (const QHullFace& face : hull.faces) {
        if (face.isLive) {
            inner = std::min(inner, LeastDistance(hull, face));
            outer = std::max(outer, Length(hull.points[face.node[0]] - workCenter_));
        }
    }
    // A hull shrunk about the center by the factor s keeps (1 - s) times the inner radius between
    // it and the hull. In a very flat one rounding would count.
    if (inner > kSafety * outer) {
        shrink_ = 1 - kSafety - margin * hull.Scale() / inner;
    }
    if (!IsUseful()) {
        return;
    }
    const double innerRadius = shrink_ * inner / hull.Scale();
    innerRadiusSquared_ = innerRadius * innerRadius;
    MakeFrame(hull, corners);
    reach_.reserve(static_cast<std::size_t>(6 * cells_ * cells_));
    int hullFace = 0;
    while (!hull.faces[hullFace].isLive) {
        ++hullFace;
    }
    for (int cubeFace = 0; cubeFace < 6; ++cubeFace) {
        FillFace(hull, cubeFace, hullFace);
    }
    farthestReach_ = *std::max_element(reach_.begin(), reach_.end());
}

/// Axes for the cube in which the hull fills much of it: those of the coordinates or those of the
/// hull itself, whichever box is smaller.
void ReachTable::MakeFrame(const QHullMesh& hull, const std::vector<int>& corners)
{
    std::vector<VecBase<3, double>> spokes;
    for (const int node : corners) {
        spokes.push_back(hull.points[node] - workCenter_);
    }
    const auto halfWidths = [&](const std::array<VecBase<3, double>, 3>& frame) {
        VecBase<3, double> widths;
        for (const VecBase<3, double>& spoke : spokes) {
            for (int k = 0; k < 3; ++k) {
                widths[k] = std::max(widths[k], std::fabs(frame[k] * spoke));
            }
        }
        return widths;
    };
    const auto volume = [](const VecBase<3, double>& w) { return w[0] * w[1] * w[2]; };

    std::array<VecBase<3, double>, 3> frame = {
        VecBase<3, double>{1, 0, 0}, VecBase<3, double>{0, 1, 0}, VecBase<3, double>{0, 0, 1}};
    VecBase<3, double> widths = halfWidths(frame);
    const std::array<VecBase<3, double>, 3> own = FrameAlong(spokes);
    const VecBase<3, double> ownWidths = halfWidths(own);
    if (volume(ownWidths) < volume(widths)) {
        frame = own;
        widths = ownWidths;
    }
    for (int k = 0; k < 3; ++k) {
        halfWidth_[k] = frame[k] * widths[k];
        toCube_[k] = frame[k] * (hull.Scale() / widths[k]);
    }
}

void ReachTable::FillFace(const QHullMesh& hull, int cubeFace, int& hullFace)
{
    const int axis = cubeFace / 2;
    const int corners = cells_ + 1;
    cornerReach_.resize(static_cast<std::size_t>(corners * corners));
    for (int row = 0; row < corners; ++row) {
        for (int step = 0; step < corners; ++step) {
            // Back and forth, so that each search begins beside the last one's end.
            const int column = row % 2 == 0 ? step : cells_ - step;
            const VecBase<3, double> direction =
                halfWidth_[axis] * (cubeFace % 2 == 0 ? 1.0 : -1.0) +
                halfWidth_[kFirstAxis[axis]] * (2.0 * column / cells_ - 1) +
                halfWidth_[kSecondAxis[axis]] * (2.0 * row / cells_ - 1);
            cornerReach_[static_cast<std::size_t>(row * corners + column)] =
                ReachAlong(hull, direction, cubeFace, hullFace);
        }
    }
    for (int row = 0; row < cells_; ++row) {
        for (int column = 0; column < cells_; ++column) {
            const auto corner = static_cast<std::size_t>(row * corners + column);
            const double least =
                std::min({cornerReach_[corner], cornerReach_[corner + 1],
                          cornerReach_[corner + static_cast<std::size_t>(corners)],
                          cornerReach_[corner + static_cast<std::size_t>(corners) + 1]});
            reach_.push_back(static_cast<float>(shrink_ * least));
        }
    }
}

/// Walks from `hullFace` to the face that the ray from the center leaves through. Such walks end on
/// the faces of a convex solid seen from inside; should rounding turn one in circles, the hull
/// counts as not reaching anywhere in that direction.
double ReachTable::ReachAlong(const QHullMesh& hull, const VecBase<3, double>& direction,
                              int cubeFace, int& hullFace) const
{
    for (std::size_t steps = 0; steps < hull.faces.size(); ++steps) {
        const QHullFace& face = hull.faces[hullFace];
        VecBase<3, double> corners[3];
        for (int k = 0; k < 3; ++k) {
            corners[k] = hull.points[face.node[k]] - workCenter_;
        }
        int leave = -1;
        for (int k = 0; k < 3 && leave < 0; ++k) {
            leave = (corners[k] ^ corners[(k + 1) % 3]) * direction < 0 ? k : -1;
        }
        if (leave < 0) {
            return LeastReach(hull, face, direction, cubeFace);
        }
        hullFace = face.neighbor[leave];
    }
    return 0;
}

/// The factor of `direction`, which ends on the cube, at which it meets the face; for a sliver that
/// of its nearest corner, measured along the cube face's axis.
double ReachTable::LeastReach(const QHullMesh& hull, const QHullFace& face,
                              const VecBase<3, double>& direction, int cubeFace) const
{
    if (HasPlane(face)) {
        const double approach = face.normal * direction;
        return approach > 0 ? Height(face) / approach : 0;
    }
    const VecBase<3, double>& axis = halfWidth_[cubeFace / 2];
    double least = std::numeric_limits<double>::infinity();
    for (const int node : face.node) {
        const double along = axis * (hull.points[node] - workCenter_) / SquaredLength(axis);
        least = std::min(least, cubeFace % 2 == 0 ? along : -along);
    }
    return least;
}

/// From the center to the face, from below: to its plane, or for a sliver to its longest side, less
/// the sliver's width.
double ReachTable::LeastDistance(const QHullMesh& hull, const QHullFace& face) const
{
    if (HasPlane(face)) {
        return Height(face);
    }
    VecBase<3, double> start;
    VecBase<3, double> end;
    VecBase<3, double> side;
    VecBase<3, double> other;
    for (int k = 0; k < 3; ++k) {
        const VecBase<3, double>& a = hull.points[face.node[k]];
        const VecBase<3, double>& b = hull.points[face.node[(k + 1) % 3]];
        if (SquaredLength(b - a) > SquaredLength(side)) {
            start = a;
            end = b;
            side = b - a;
            other = hull.points[face.node[(k + 2) % 3]] - a;
        }
    }
    const double width = Length(side ^ other) / Length(side);
    const double toSide = std::sqrt(
        Math::Impl::SquaredDistanceToSegment(start, end, workCenter_, Math::Impl::kPointsAreShort));
    return toSide - width;
}

} // namespace

template <class T>
std::vector<int> HullCandidates(const std::vector<VecBase<3, T>>& points, double mergeTolerance)
{
    const auto count = static_cast<int>(points.size());
    const auto select = [&](auto&& isDeepInside) {
        std::vector<int> candidates;
        for (int i = 0; i < count; ++i) {
            const VecBase<3, double> p(points[i]);
            if (!isDeepInside(p) && IsFinite(p)) {
                candidates.push_back(i);
            }
        }
        return candidates;
    };
    if (count >= kFewHullPoints) {
        QHullMesh hull(Sample(points));
        if (hull.Build()) {
            const int cells = std::clamp(static_cast<int>(std::sqrt(count)) / 16, 4, 64);
            const double margin = 2 * mergeTolerance * (static_cast<double>(count) + 1);
            const ReachTable table(hull, cells, margin);
            if (table.IsUseful()) {
                return select([&](const VecBase<3, double>& p) { return table.IsInside(p); });
            }
        }
    }
    return select([](const VecBase<3, double>&) { return false; });
}

template std::vector<int> HullCandidates(const std::vector<VecBase<3, float>>&, double);
template std::vector<int> HullCandidates(const std::vector<VecBase<3, double>>&, double);

} // namespace Velk::Math::Sorvane::Bounding::Impl
