// The longest straight stretch of the boundary of a soup.
//
// Each boundary line is cut into straight stretches from its beginning on, greedily. Whether a
// stretch may grow is a question to all its points; a tree of bounds over the line answers it for
// whole runs of them, so that a straight line of many points does not cost the square of their
// number.

#include <Sorvane/BoundingVolumes_E.h>
#include <Sorvane/MeshFeatures_E.h>
#include <Sorvane/MeshQueries_E.h>
#include <Velk/Math/Tolerances_E.h>
#include <Velk/Math/Vector_E.h>

#include "features/SoundTriples_Impl.h"
#include "mathbase/Progress_Impl.h"
#include "mathbase/SegmentPoint_Impl.h"
#include "mathbase/Values_Impl.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace Velk::Math::Sorvane::MeshUtils {
namespace {

using Line = std::vector<Vec3d>;
using Segment = std::array<Vec3d, 2>;

/// Points may be as far from straight as this many tolerances.
constexpr double kToleranceFactor = 100;
constexpr double kJoined = kLengthFloor<double>;
/// By so much a bound is enlarged, that the rounding of its two distances may not matter.
constexpr double kBoundSlack = 1 + 1e-12;

/// Distance of a point from the segment a b; infinite for what is no number.
double DistanceTo(const Vec3d& a, const Vec3d& b, const Vec3d& point)
{
    const Vec3d nearest = Math::Impl::NearestPlace(a, b, point, Math::Impl::kPointsAreShort).point;
    const double distance = Length(point - nearest);
    return std::isnan(distance) ? std::numeric_limits<double>::infinity() : distance;
}

/// Answers whether all points of a run of a line lie near a segment.
///
/// A binary tree over the points: node n has the children 2n and 2n + 1, and keeps a tube round its
/// points: a segment and how far they lie from it at most. The distance to another segment is a
/// convex function, so on the tube's segment it is greatest at an end, and a point's distance is at
/// most that of an end plus the tube's radius. The segment is the chord from the first to the last
/// point, moved into the middle of the points: the tube of a rough line is then hardly thicker than
/// it must be, and the answer for it is known without its points.
class RunsOfLine {
public:
    explicit RunsOfLine(const Line& line) : line_(&line)
    {
        while (leaves_ < (line.size() + kLeaf - 1) / kLeaf) {
            leaves_ *= 2;
        }
        tubes_.resize(2 * leaves_);
        for (std::size_t node = 2 * leaves_; node-- > 1;) {
            const auto [first, last] = RangeOf(node);
            if (first < last) {
                tubes_[node] = TubeOf(first, last); // in all O(n log n)
            }
        }
    }

    /// Do the points first to last - 1 all lie within `tolerance` of the segment a b?
    bool AreNear(std::size_t first, std::size_t last, const Vec3d& a, const Vec3d& b,
                 double tolerance) const
    {
        return AreNear(1, first, last, a, b, tolerance);
    }

private:
    /// Points that are tested one by one.
    static constexpr std::size_t kLeaf = 4;

    struct Tube {
        Vec3d from;
        Vec3d to;
        double radius = 0;
    };

    Tube TubeOf(std::size_t first, std::size_t last) const
    {
        const Line& line = *line_;
        const Vec3d& from = line[first];
        const Vec3d along = Normalized(line[last - 1] - from, 0.0);
        Bounding::AxisAlignedBoundingBox<3, double> offsets; // square to the chord
        for (std::size_t i = first; i < last; ++i) {
            const Vec3d offset = line[i] - from;
            offsets.Grow(offset - (offset * along) * along);
        }
        const Vec3d middle = (offsets.min + offsets.max) / 2.0;
        Tube tube{from + middle, line[last - 1] + middle};
        for (std::size_t i = first; i < last; ++i) {
            tube.radius = std::max(tube.radius, DistanceTo(tube.from, tube.to, line[i]));
        }
        return tube;
    }

    /// The points below a node, the last one excluded.
    std::pair<std::size_t, std::size_t> RangeOf(std::size_t node) const
    {
        std::size_t level = 1; // number of nodes beside it
        while (2 * level <= node) {
            level *= 2;
        }
        const std::size_t width = leaves_ / level * kLeaf;
        const std::size_t first = (node - level) * width;
        return {std::min(first, line_->size()), std::min(first + width, line_->size())};
    }

    bool AreNear(std::size_t node, std::size_t first, std::size_t last, const Vec3d& a,
                 const Vec3d& b, double tolerance) const
    {
        const auto [begin, end] = RangeOf(node);
        const std::size_t from = std::max(first, begin);
        const std::size_t to = std::min(last, end);
        if (from >= to) {
            return true;
        }
        const Line& line = *line_;
        if (from == begin && to == end) {
            if (DistanceTo(a, b, line[begin]) > tolerance ||
                DistanceTo(a, b, line[end - 1]) > tolerance) {
                return false;
            }
            const Tube& tube = tubes_[node];
            const double ends = std::max(DistanceTo(a, b, tube.from), DistanceTo(a, b, tube.to));
            if ((ends + tube.radius) * kBoundSlack <= tolerance) {
                return true;
            }
        }
        if (node >= leaves_) {
            for (std::size_t i = to; i-- > from;) {
                if (DistanceTo(a, b, line[i]) > tolerance) {
                    return false;
                }
            }
            return true;
        }
        // What is near the end of the segment strays first.
        return AreNear(2 * node + 1, first, last, a, b, tolerance) &&
               AreNear(2 * node, first, last, a, b, tolerance);
    }

    const Line* line_;
    std::size_t leaves_ = 1;
    std::vector<Tube> tubes_;
};

/// Adds the places behind the last one in `bends` at which the line bends, and its end.
void AppendBends(const Line& line, const RunsOfLine& runs, double tolerance,
                 std::vector<std::size_t>& bends)
{
    for (std::size_t m = bends.back() + 1; m + 1 < line.size(); ++m) {
        const std::size_t anchor = bends.back();
        if (!runs.AreNear(anchor + 1, m + 1, line[anchor], line[m + 1], tolerance)) {
            bends.push_back(m);
        }
    }
    bends.push_back(line.size() - 1);
}

/// The places of the points at which the line bends, its ends included.
std::vector<std::size_t> BendsOf(const Line& line, const RunsOfLine& runs, double tolerance)
{
    std::vector<std::size_t> bends{0};
    AppendBends(line, runs, tolerance, bends);
    if (bends.size() == 2 && line.front() == line.back()) {
        // To this tolerance the closed line is one stretch, back to where it began. It was straight
        // to each of its points on the way, so also to the one that is farthest from there.
        const auto isNearer = [&](const Vec3d& a, const Vec3d& b) {
            return Length(a - line.front()) < Length(b - line.front());
        };
        const auto farthest = std::max_element(line.begin(), line.end(), isNearer);
        bends = {0, static_cast<std::size_t>(farthest - line.begin())};
        AppendBends(line, runs, tolerance, bends);
    }
    return bends;
}

void KeepLonger(Segment& longest, double& length, const Vec3d& a, const Vec3d& b)
{
    const double candidate = Length(b - a);
    if (candidate > length) { // false for NaN
        length = candidate;
        longest = {a, b};
    }
}

void KeepLongestOf(const Line& line, double tolerance, Segment& longest, double& length)
{
    const RunsOfLine runs(line);
    const std::vector<std::size_t> bends = BendsOf(line, runs, tolerance);
    for (std::size_t i = 0; i + 1 < bends.size(); ++i) {
        KeepLonger(longest, length, line[bends[i]], line[bends[i + 1]]);
    }
    // A closed line begins anywhere, perhaps in the middle of its longest stretch.
    if (line.front() == line.back() && bends.size() > 3) {
        const std::size_t before = bends[bends.size() - 2];
        const std::size_t after = bends[1];
        if (runs.AreNear(before, line.size(), line[before], line[after], tolerance) &&
            runs.AreNear(0, after, line[before], line[after], tolerance)) {
            KeepLonger(longest, length, line[before], line[after]);
        }
    }
}

} // namespace

std::array<VecBase<3, double>, 2>
LongestStraightBoundary(const std::vector<std::array<VecBase<3, double>, 3>>& soup,
                        double tolerance)
{
    return Progress::Impl::Stoppable([&]() -> std::array<VecBase<3, double>, 2> {
        if (std::isnan(tolerance)) {
            return {};
        }
        const auto mesh = Mesh::IndexedPointsFromSoup(soup, tolerance != 0, kJoined);
        const Impl::SoundTriples sound(mesh);
        const std::vector<int>& indices = sound.Mesh().indices;
        std::vector<Segment> segments;
        for (const int place : Mesh::BoundaryEdgeIndices(sound.Mesh())) {
            const int next = place % 3 == 2 ? place - 2 : place + 1;
            const auto pointAt = [&](int i) {
                return mesh.points[static_cast<std::size_t>(indices[static_cast<std::size_t>(i)])];
            };
            const Segment edge{pointAt(place), pointAt(next)};
            if (Math::Impl::IsFinite(edge[0]) && Math::Impl::IsFinite(edge[1])) {
                segments.push_back(edge);
            }
        }

        Segment longest{};
        double length = -1;
        for (const Line& line : Vector::LineSegmentsToPolyPointStream(segments, kJoined)) {
            KeepLongestOf(line, kToleranceFactor * tolerance, longest, length);
        }
        return longest;
    });
}

} // namespace Velk::Math::Sorvane::MeshUtils
