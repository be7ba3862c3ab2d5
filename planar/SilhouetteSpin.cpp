// The outline of a mesh that spins about the z axis.
//
// The radius of the swept body at a height is the largest that any edge reaches there. That is
// asked at every sample, but not of every edge: going down halves of the range of samples, an edge
// is left behind in each half that it doesn't reach, or in which it stays below one that runs
// through all of that half. What is asked at the end gives the same largest radius as asking all.

#include <Sorvane/Silhouette_E.h>
#include <Sorvane/SpunHyperbola_E.h>
#include <Velk/Math/Intersect_E.h>
#include <Velk/Math/Vector_E.h>

#include "mathbase/Parallel_Impl.h"
#include "mathbase/Progress_Impl.h"
#include "mathbase/SegmentPoint_Impl.h"
#include "mathbase/Values_Impl.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <tuple>
#include <utility>

namespace Velk::Math::Sorvane::Planar {

namespace {

using Math::Impl::IsFinite;
using Math::Impl::Narrowed;
using Math::Impl::Widened;

constexpr double kLeastStep = 1e-8;
/// Directions are one below this, and lines parallel at this sine.
constexpr double kDirectionFloor = 1e-12;
/// A quarter degree: stretches of the outline that turn by no more than this are one straight line.
constexpr double kStraightAngle = 0.004363323129985824;

/// What a spun edge tells of the outline.
struct SpunEdge {
    Vec2d vertex;
    Vec2d low;
    Vec2d high;
    double a2 = 0;
    double b2 = 0;
    bool isFlat = false;
};

/// The largest radius of no edge at all.
constexpr double kNoRadius = -1;

/// Radius of the edge at a height between those of its ends; `kNoRadius` for one that is level.
double RadiusAt(const SpunEdge& edge, double z)
{
    if (edge.isFlat) {
        Vec2d hit;
        return Intersect::LineLine({0, z}, {1, z}, edge.low, edge.high, hit, kDirectionFloor)
                   ? hit.x()
                   : kNoRadius;
    }
    const double rise = z - edge.vertex.y();
    const double square = (rise * rise / edge.b2 + 1) * edge.a2;
    return square < 0 ? kNoRadius : std::sqrt(square);
}

bool IsLevel(const SpunEdge& edge)
{
    Vec2d hit;
    return edge.isFlat &&
           !Intersect::LineLine({0, 0}, {1, 0}, edge.low - Vec2d(0, edge.low.y()),
                                edge.high - Vec2d(0, edge.low.y()), hit, kDirectionFloor);
}

template <class T>
bool IsFiniteTriangle(const std::array<VecBase<3, T>, 3>& triangle)
{
    return IsFinite(triangle[0]) && IsFinite(triangle[1]) && IsFinite(triangle[2]);
}

/// The three edges of each triangle, spun, with repeats within `step` left out.
template <class T>
std::vector<SpunEdge> SpunEdges(const Mesh::IndexedPointsBase<3, T>& mesh, double step)
{
    const std::size_t count = mesh.indices.size() / 3;
    std::vector<SpunEdge> edges;
    edges.reserve(3 * count);
    Progress::Impl::InBlocks(3 * count, [&](std::size_t, std::size_t to) { edges.resize(to); });
    std::vector<char> isSound(count, 0);
    Parallel::Impl::ApplyParallelChunks(
        std::size_t{0}, count, [&](std::size_t from, std::size_t to) {
            for (std::size_t i = from; i < to; ++i) {
                std::array<VecBase<3, T>, 3> triangle;
                for (std::size_t k = 0; k < 3; ++k) {
                    triangle[k] = mesh.points[static_cast<std::size_t>(mesh.indices[3 * i + k])];
                }
                if (!IsFiniteTriangle(triangle)) {
                    continue;
                }
                isSound[i] = 1;
                for (std::size_t k = 0; k < 3; ++k) {
                    const Mill::SpunHyperbola spun = Mill::SpinSegment(
                        {0, 0}, Widened(triangle[k]), Widened(triangle[(k + 1) % 3]));
                    edges[3 * i + k] = {spun.vertex, spun.lowEnd, spun.highEnd,
                                        spun.a2,     spun.b2,     spun.flat};
                }
            }
        });
    std::size_t kept = 0;
    for (std::size_t i = 0; i < count; ++i) {
        Progress::Impl::CheckStep(i);
        for (std::size_t k = 0; k < 3 && isSound[i] != 0; ++k) {
            edges[kept++] = edges[3 * i + k];
        }
    }
    edges.resize(kept);

    const auto key = [](const SpunEdge& edge) {
        return std::tuple(edge.vertex.x(), edge.vertex.y(), edge.low.x(), edge.low.y(),
                          edge.high.x(), edge.high.y());
    };
    Parallel::Impl::ParallelSort(
        edges.begin(), edges.end(),
        [&](const SpunEdge& a, const SpunEdge& b) { return key(a) < key(b); });
    const auto match = [step](const Vec2d& a, const Vec2d& b) {
        return std::fabs(a.x() - b.x()) <= step && std::fabs(a.y() - b.y()) <= step;
    };
    Progress::Impl::Steps steps;
    edges.erase(std::unique(edges.begin(), edges.end(),
                            [&](const SpunEdge& a, const SpunEdge& b) {
                                steps.Next();
                                return match(a.vertex, b.vertex) && match(a.low, b.low) &&
                                       match(a.high, b.high);
                            }),
                edges.end());
    return edges;
}

/// Even samples of a range of heights, and the largest radius at each.
class SpunSamples {
public:
    SpunSamples(const std::vector<SpunEdge>& edges, double low, double high, double step)
        : edges_(edges), low_(low), high_(high)
    {
        // As a number of doubles that no memory holds, where the quotient is none that an integer
        // does.
        constexpr double kMost = 9e18;
        stretches_ = static_cast<std::size_t>(std::min(std::ceil((high - low) / step), kMost));
        radii_.assign(stretches_ + 1, 0.0);
        Fill();
    }

    std::size_t Count() const { return radii_.size(); }

    Vec2d PointAt(std::size_t sample) const { return {radii_[sample], HeightAt(sample)}; }

private:
    using Numbers = std::vector<std::uint32_t>;
    /// Samples [first, last) and the edges that may be the outermost at one of them.
    struct Range {
        std::size_t first;
        std::size_t last;
        Numbers edges;
    };

    /// Ranges of no more samples or edges are not worth dividing.
    static constexpr std::size_t kFewSamples = 8;
    static constexpr std::size_t kFewEdges = 8;
    /// Relative doubt that an edge must be clear of to be left behind.
    static constexpr double kDoubt = 1e-9;

    double HeightAt(std::size_t sample) const
    {
        const double at =
            static_cast<double>(sample) * (high_ - low_) / static_cast<double>(stretches_) + low_;
        return std::min(at, high_);
    }

    void Fill()
    {
        Range all{0, Count(), {}};
        for (std::size_t i = 0; i < edges_.size(); ++i) {
            Progress::Impl::CheckStep(i);
            if (!IsLevel(edges_[i])) {
                all.edges.push_back(static_cast<std::uint32_t>(i));
            }
        }
        // Halves down to a size that is a task, then all tasks side by side.
        const std::size_t task = std::max<std::size_t>(64, Count() / 256);
        std::vector<Range> tasks;
        std::vector<Range> open;
        open.push_back(std::move(all));
        while (!open.empty()) {
            Range range = std::move(open.back());
            open.pop_back();
            LeaveBehind(range);
            if (range.last - range.first <= task) {
                tasks.push_back(std::move(range));
                continue;
            }
            const std::size_t middle = range.first + (range.last - range.first) / 2;
            open.push_back({range.first, middle, range.edges});
            open.push_back({middle, range.last, std::move(range.edges)});
        }
        Parallel::Impl::ApplyParallel(std::size_t{0}, tasks.size(),
                                      [&](std::size_t i) { FillRange(std::move(tasks[i])); });
    }

    void FillRange(Range range)
    {
        if (range.last - range.first <= kFewSamples || range.edges.size() <= kFewEdges) {
            for (std::size_t i = range.first; i < range.last; ++i) {
                const double z = HeightAt(i);
                for (const std::uint32_t number : range.edges) {
                    const SpunEdge& edge = edges_[number];
                    if (edge.low.y() <= z && z <= edge.high.y()) {
                        radii_[i] = std::max(radii_[i], RadiusAt(edge, z));
                    }
                }
            }
            return;
        }
        const std::size_t middle = range.first + (range.last - range.first) / 2;
        Range lower{range.first, middle, range.edges};
        LeaveBehind(lower);
        FillRange(std::move(lower));
        range.first = middle;
        LeaveBehind(range);
        FillRange(std::move(range));
    }

    /// Takes out the edges that are the outermost at no sample of the range.
    void LeaveBehind(Range& range) const
    {
        const double low = HeightAt(range.first);
        const double high = HeightAt(range.last - 1);
        double reached = 0;
        Progress::Impl::Steps steps;
        for (const std::uint32_t number : range.edges) {
            steps.Next();
            const SpunEdge& edge = edges_[number];
            if (edge.low.y() <= low && high <= edge.high.y()) {
                reached = std::max(reached, LeastRadius(edge, low, high));
            }
        }
        std::erase_if(range.edges, [&](std::uint32_t number) {
            steps.Next();
            const SpunEdge& edge = edges_[number];
            if (edge.high.y() < low || high < edge.low.y()) {
                return true;
            }
            // Convex in z: the largest radius is at an end.
            const double most = std::max(RadiusAt(edge, std::max(low, edge.low.y())),
                                         RadiusAt(edge, std::min(high, edge.high.y())));
            return most * (1 + kDoubt) < reached;
        });
    }

    /// Over heights that the edge runs through.
    static double LeastRadius(const SpunEdge& edge, double low, double high)
    {
        if (edge.isFlat) {
            return std::min(RadiusAt(edge, low), RadiusAt(edge, high));
        }
        return RadiusAt(edge, std::clamp(edge.vertex.y(), low, high));
    }

    const std::vector<SpunEdge>& edges_;
    double low_;
    double high_;
    std::size_t stretches_ = 1;
    std::vector<double> radii_;
};

/// Along the axis at both ends, and the samples between at which the outline turns.
std::vector<Vec2d> OutlineOf(const SpunSamples& samples, double low, double high)
{
    std::vector<double> angles(samples.Count() - 1);
    Parallel::Impl::ApplyParallelChunks(
        std::size_t{0}, angles.size(), [&](std::size_t from, std::size_t to) {
            for (std::size_t i = from; i < to; ++i) {
                angles[i] = Vector::AngleSweep(samples.PointAt(i + 1) - samples.PointAt(i),
                                               kDirectionFloor);
            }
        });
    std::vector<Vec2d> outline{{0, low}, samples.PointAt(0)};
    std::size_t turn = 0;
    for (std::size_t i = 1; i < angles.size(); ++i) {
        Progress::Impl::CheckStep(i);
        if (std::fabs(angles[i] - angles[turn]) > kStraightAngle) {
            if (turn != 0) {
                outline.push_back(samples.PointAt(i - 1));
            }
            outline.push_back(samples.PointAt(i));
            turn = i;
        }
    }
    outline.push_back(samples.PointAt(samples.Count() - 1));
    outline.push_back({0, high});
    outline.push_back({0, low});
    return outline;
}

/// Points of an outline, asked whether all are within a distance of a chord.
///
/// The distance from a chord is largest at a corner of the hull of the points, and since z ascends
/// the hull grows at its end. Only where that is the distance itself, up to rounding, all points
/// are asked.
class PointsNearChord {
public:
    explicit PointsNearChord(const std::vector<Vec2d>& outline) : outline_(outline) {}

    void Restart(std::size_t first)
    {
        first_ = last_ = first;
        left_.clear();
        right_.clear();
    }

    void Append()
    {
        const Vec2d& point = outline_[last_++];
        Extend(left_, point, 1);
        Extend(right_, point, -1);
    }

    bool AreWithin(double distance, const Vec2d& a, const Vec2d& b) const
    {
        const double most = distance * distance;
        double square = 0;
        for (const std::vector<Vec2d>* points : {&left_, &right_}) {
            for (const Vec2d& point : *points) {
                square = std::max(square, SquareFrom(point, a, b));
            }
        }
        constexpr double kDoubt = 1e-9;
        if (square > most * (1 + kDoubt)) {
            return false;
        }
        if (square < most * (1 - kDoubt)) {
            return true;
        }
        for (std::size_t i = first_; i < last_; ++i) {
            if (SquareFrom(outline_[i], a, b) > most) {
                return false;
            }
        }
        return true;
    }

private:
    static double SquareFrom(const Vec2d& point, const Vec2d& a, const Vec2d& b)
    {
        const Vec2d gap =
            point - Math::Impl::NearestPlace(a, b, point, Math::Impl::kPointsAreShort).point;
        return gap * gap;
    }

    static void Extend(std::vector<Vec2d>& side, const Vec2d& point, double sense)
    {
        while (side.size() >= 2 &&
               sense * ((side.back() - side[side.size() - 2]) ^ (point - side.back())) >= 0) {
            side.pop_back();
        }
        side.push_back(point);
    }

    const std::vector<Vec2d>& outline_;
    std::size_t first_ = 0;
    std::size_t last_ = 0;
    std::vector<Vec2d> left_; // corners of the hull, of ascending z, on either side
    std::vector<Vec2d> right_;
};

/// Leaves out points within `step` of the chord from the last point kept to the one after them.
std::vector<Vec2d> Thinned(const std::vector<Vec2d>& outline, double step)
{
    std::vector<Vec2d> result{outline.front()};
    std::size_t anchor = 0;
    PointsNearChord between(outline);
    between.Restart(1);
    for (std::size_t i = 1; i + 1 < outline.size(); ++i) {
        Progress::Impl::CheckStep(i);
        between.Append();
        if (!between.AreWithin(step, outline[anchor], outline[i + 1])) {
            anchor = i;
            result.push_back(outline[i]);
            between.Restart(i + 1);
        }
    }
    result.push_back(outline.back());
    return result;
}

template <class T>
std::pair<double, double> RangeOfHeights(const Mesh::IndexedPointsBase<3, T>& mesh)
{
    double low = std::numeric_limits<double>::infinity();
    double high = -low;
    for (const VecBase<3, T>& point : mesh.points) {
        if (IsFinite(point)) {
            low = std::min(low, static_cast<double>(point.z()));
            high = std::max(high, static_cast<double>(point.z()));
        }
    }
    return {low, high};
}

} // namespace

template <class T>
std::vector<VecBase<2, T>> SpinBoundary(const Mesh::IndexedPointsBase<3, T>& mesh, T step)
{
    return Progress::Impl::Stoppable([&]() -> std::vector<VecBase<2, T>> {
        // Also where `step` is NaN the mesh is no higher.
        const double used = step < kLeastStep ? kLeastStep : static_cast<double>(step);
        const auto [low, high] = RangeOfHeights(mesh);
        if (Mesh::IsEmpty(mesh) || !(high - low > used)) {
            return {};
        }
        const std::vector<SpunEdge> edges = SpunEdges(mesh, used);
        const SpunSamples samples(edges, low, high, used);
        const std::vector<Vec2d> outline = Thinned(OutlineOf(samples, low, high), used);
        std::vector<VecBase<2, T>> result;
        result.reserve(outline.size());
        for (const Vec2d& point : outline) {
            result.push_back(Narrowed<T>(point));
        }
        return result;
    });
}

// clang-format off
template std::vector<VecBase<2, float>>  SpinBoundary(const Mesh::IndexedPointsBase<3, float>&,  float);
template std::vector<VecBase<2, double>> SpinBoundary(const Mesh::IndexedPointsBase<3, double>&, double);
// clang-format on

} // namespace Velk::Math::Sorvane::Planar
