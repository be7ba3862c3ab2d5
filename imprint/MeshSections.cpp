// Which triangles each plane cuts: for a stack all at once, by dealing every triangle to the planes
// between its lowest corner and its highest, and for a prepared mesh by a search. What a plane does
// with its triangles is in SectionLines.cpp.

#include "imprint/SectionLines_Impl.h"

#include "mathbase/Buckets_Impl.h"
#include "mathbase/Direction_Impl.h"
#include "mathbase/Parallel_Impl.h"
#include "mathbase/Progress_Impl.h"
#include "mathbase/Values_Impl.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <numeric>
#include <tuple>

namespace Velk::Math::Sorvane::Mesh {
namespace {

using Impl::SectionPlane;

/// Does the vector have a direction?
bool IsNormal(const Vec3d& normal) { return !(Math::Impl::UnitDirection(normal) == Vec3d{}); }

/// In the frame of planes with that normal, which has one.
Vec3d IntoFrame(const TransformBase<3>& frame, const Vec3d& point)
{
    const auto along = [&](int axis) {
        return frame(0, axis) * point.x() + frame(1, axis) * point.y() + frame(2, axis) * point.z();
    };
    return {along(0), along(1), along(2)};
}

TransformBase<3> FrameOf(const Vec3d& normal)
{
    return Transform::BuildTransformAxisOrigin(normal, {0, 0, 0});
}

/// The points in the frame, their height as third coordinate. A frame that is that of space leaves
/// them as they are, to the sign of a zero.
template <class T>
std::vector<Vec3d> PointsInFrame(const std::vector<VecBase<3, T>>& points, const Vec3d& normal)
{
    const TransformBase<3> frame = FrameOf(normal);
    const bool isFrameOfSpace = frame == TransformBase<3>();
    std::vector<Vec3d> inFrame(points.size());
    Parallel::Impl::ApplyParallelChunks(
        std::size_t{0}, points.size(), [&](std::size_t from, std::size_t to) {
            for (std::size_t i = from; i < to; ++i) {
                const Vec3d point = Math::Impl::Widened(points[i]);
                inFrame[i] = isFrameOfSpace ? point : IntoFrame(frame, point);
            }
        });
    return inFrame;
}

/// Sections without lines, one for each height.
std::vector<MeshSection> EmptySections(const Vec3d& normal, const std::vector<double>& heights)
{
    std::vector<MeshSection> sections(heights.size());
    const bool isNormal = IsNormal(normal);
    const Vec3d unit = Math::Impl::UnitDirection(normal);
    for (std::size_t i = 0; i < heights.size(); ++i) {
        sections[i].height = heights[i];
        if (isNormal && Math::Impl::IsFinite(heights[i])) {
            sections[i].toSpace = Transform::BuildTransformAxisOrigin(normal, unit * heights[i]);
        }
    }
    return sections;
}

/// Three different points that there are.
bool IsTriple(const int* corners, std::size_t pointCount)
{
    const auto exists = [&](int corner) {
        return static_cast<std::size_t>(corner) < pointCount; // nor negative, then
    };
    return exists(corners[0]) && exists(corners[1]) && exists(corners[2]) &&
           corners[0] != corners[1] && corners[1] != corners[2] && corners[2] != corners[0];
}

/// Planes of one stack, from the lowest up.
class Stack {
public:
    Stack(const std::vector<double>& heights, const SectionOptions& options)
    {
        for (std::size_t i = 0; i < heights.size(); ++i) {
            if (Math::Impl::IsFinite(heights[i])) {
                places_.push_back(i);
            }
        }
        std::stable_sort(places_.begin(), places_.end(),
                         [&](std::size_t a, std::size_t b) { return heights[a] < heights[b]; });
        planes_.reserve(places_.size());
        for (const std::size_t place : places_) {
            planes_.emplace_back(heights[place], options);
        }
        if (planes_.size() > 1) {
            perHeight_ = static_cast<double>(planes_.size() - 1) /
                         (planes_.back().height - planes_.front().height);
        }
    }

    std::size_t Size() const { return planes_.size(); }
    const SectionPlane& operator[](std::size_t number) const { return planes_[number]; }
    /// Where the caller has asked for this plane.
    std::size_t Place(std::size_t number) const { return places_[number]; }

    /// The number of planes that a point of this height is above. Even stacks are met by
    /// proportion; others take a search.
    int PlanesBelow(double z) const
    {
        const int count = static_cast<int>(planes_.size());
        const double estimate = (z - planes_.front().height) * perHeight_;
        const int guess = estimate < 0             ? 0
                          : estimate < count - 1.0 ? static_cast<int>(estimate) + 1
                                                   : count; // NaN too
        const auto isAbove = [&](int i) { return planes_[static_cast<std::size_t>(i)].IsAbove(z); };
        if ((guess == 0 || isAbove(guess - 1)) && (guess == count || !isAbove(guess))) {
            return guess;
        }
        const auto first =
            std::partition_point(planes_.begin(), planes_.end(),
                                 [&](const SectionPlane& plane) { return plane.IsAbove(z); });
        return static_cast<int>(first - planes_.begin());
    }

private:
    std::vector<std::size_t> places_;
    std::vector<SectionPlane> planes_;
    double perHeight_ = 0;
};

constexpr int kUnusable = -1;

/// For each point of the mesh the number of planes it is above, or that it can't be used.
template <class T>
std::vector<int> LevelsOf(const std::vector<VecBase<3, T>>& points, std::span<const Vec3d> inFrame,
                          const Stack& stack)
{
    std::vector<int> levels(points.size());
    Parallel::Impl::ApplyParallelChunks(
        std::size_t{0}, points.size(), [&](std::size_t from, std::size_t to) {
            for (std::size_t i = from; i < to; ++i) {
                levels[i] =
                    Math::Impl::IsUsable(points[i]) ? stack.PlanesBelow(inFrame[i].z()) : kUnusable;
            }
        });
    return levels;
}

/// For each plane the numbers of the triangles that it cuts, ascending.
Math::Impl::Buckets<int> TrianglesOfPlanes(const std::vector<int>& indices,
                                           const std::vector<int>& levels, std::size_t planeCount)
{
    return Math::Impl::Buckets<int>(planeCount, [&](const auto& put) {
        const int triangleCount = static_cast<int>(indices.size() / 3);
        const int* corners = indices.data();
        for (int t = 0; t < triangleCount; ++t, corners += 3) {
            if (!IsTriple(corners, levels.size())) {
                continue;
            }
            const int a = levels[static_cast<std::size_t>(corners[0])];
            const int b = levels[static_cast<std::size_t>(corners[1])];
            const int c = levels[static_cast<std::size_t>(corners[2])];
            const int low = std::min({a, b, c});
            const int high = std::max({a, b, c});
            for (int plane = low; plane < high && low != kUnusable; ++plane) {
                put(plane, t);
            }
        }
    });
}

template <class T>
std::vector<MeshSection> SectionsOf(const IndexedPointsBase<3, T>& mesh, const Vec3d& normal,
                                    const std::vector<double>& heights,
                                    const SectionOptions& options)
{
    return Progress::Impl::Stoppable(
        [&]() -> std::vector<MeshSection> {
            std::vector<MeshSection> sections = EmptySections(normal, heights);
            const Stack stack(heights, options);
            if (IsEmpty(mesh) || !IsNormal(normal) || stack.Size() == 0) {
                return sections;
            }
            std::vector<Vec3d> turned;
            std::span<const Vec3d> inFrame;
            if constexpr (std::is_same_v<T, double>) {
                if (FrameOf(normal) == TransformBase<3>()) {
                    inFrame = mesh.points;
                }
            }
            if (inFrame.empty()) {
                turned = PointsInFrame(mesh.points, normal);
                inFrame = turned;
            }
            const std::vector<int> levels = LevelsOf(mesh.points, inFrame, stack);
            const auto cuts = TrianglesOfPlanes(mesh.indices, levels, stack.Size());
            const Progress::Impl::Phase phase(0.5, 1);
            Progress::Impl::Share share(stack.Size());
            Parallel::Impl::ApplyParallel(std::size_t{0}, stack.Size(), [&](std::size_t number) {
                share.Done();
                Impl::LinkSection(inFrame, mesh.indices, cuts[number], stack[number],
                                  sections[stack.Place(number)]);
            });
            return sections;
        },
        [&] { return EmptySections(normal, heights); });
}

} // namespace

std::vector<MeshSection> MeshSections(const IndexedPointsBase<3, double>& mesh, const Vec3d& normal,
                                      const std::vector<double>& heights,
                                      const SectionOptions& options)
{
    return SectionsOf(mesh, normal, heights, options);
}

std::vector<MeshSection> MeshSections(const IndexedPointsBase<3, float>& mesh, const Vec3d& normal,
                                      const std::vector<double>& heights,
                                      const SectionOptions& options)
{
    return SectionsOf(mesh, normal, heights, options);
}

MeshSection MeshSectionAt(const IndexedPointsBase<3, double>& mesh, const Vec3d& normal,
                          double height, const SectionOptions& options)
{
    return std::move(SectionsOf(mesh, normal, {height}, options).front());
}

MeshSection MeshSectionAt(const IndexedPointsBase<3, float>& mesh, const Vec3d& normal,
                          double height, const SectionOptions& options)
{
    return std::move(SectionsOf(mesh, normal, {height}, options).front());
}

std::vector<std::vector<Vec3d>> SectionInSpace(const MeshSection& section,
                                               const std::vector<std::vector<Vec2d>>& lines)
{
    std::vector<std::vector<Vec3d>> inSpace(lines.size());
    for (std::size_t i = 0; i < lines.size(); ++i) {
        inSpace[i].reserve(lines[i].size());
        for (const Vec2d& point : lines[i]) {
            inSpace[i].push_back(section.toSpace * Vec3d(point.x(), point.y(), 0));
        }
    }
    return inSpace;
}

// --- a prepared mesh
// -------------------------------------------------------------------------------

namespace {

/// Entries that one entry of the list above stands for.
constexpr std::size_t kFan = 16;

} // namespace

PlaneSlicer::PlaneSlicer(const IndexedPointsBase<3, double>& mesh, const Vec3d& normal)
    : normal_(normal)
{
    Prepare(mesh, normal);
}

PlaneSlicer::PlaneSlicer(const IndexedPointsBase<3, float>& mesh, const Vec3d& normal)
    : normal_(normal)
{
    Prepare(mesh, normal);
}

template <class T>
void PlaneSlicer::Prepare(const IndexedPointsBase<3, T>& mesh, const Vec3d& normal)
{
    if (IsEmpty(mesh) || !IsNormal(normal)) {
        Sort(mesh.points);
        return;
    }
    Progress::Impl::Stoppable(
        [&] {
            points_ = PointsInFrame(mesh.points, normal);
            indices_ = mesh.indices;
            Sort(mesh.points);
        },
        [&] { // the slicer of an empty mesh
            *this = PlaneSlicer(IndexedPointsBase<3, T>(), normal);
        });
}

template <class T>
void PlaneSlicer::Sort(const std::vector<VecBase<3, T>>& points)
{
    const auto heightOf = [&](std::size_t place) {
        return points_[static_cast<std::size_t>(indices_[place])].z();
    };
    struct Span {
        double low;
        double high;
        int triangle;
    };
    std::vector<Span> spans;
    spans.reserve(indices_.size() / 3);
    for (std::size_t first = 0; first < indices_.size(); first += 3) {
        const int* corners = &indices_[first];
        if (!IsTriple(corners, points_.size()) ||
            !std::all_of(corners, corners + 3, [&](int corner) {
                return Math::Impl::IsUsable(points[static_cast<std::size_t>(corner)]);
            })) {
            continue;
        }
        const auto [low, high] =
            std::minmax({heightOf(first), heightOf(first + 1), heightOf(first + 2)});
        spans.push_back({low, high, static_cast<int>(first / 3)});
    }
    Parallel::Impl::ParallelSort(spans.begin(), spans.end(), [](const Span& a, const Span& b) {
        return std::tie(a.low, a.triangle) < std::tie(b.low, b.triangle);
    });

    range_ = {std::numeric_limits<double>::infinity(), -std::numeric_limits<double>::infinity()};
    order_.reserve(spans.size());
    lowest_.reserve(spans.size());
    std::vector<double> peaks;
    peaks.reserve(spans.size());
    for (const Span& span : spans) {
        order_.push_back(span.triangle);
        lowest_.push_back(span.low);
        peaks.push_back(span.high);
        range_ = {std::min(range_[0], span.low), std::max(range_[1], span.high)};
    }
    peaks_.push_back(std::move(peaks));
    while (peaks_.back().size() > kFan) {
        const std::vector<double>& finer = peaks_.back();
        std::vector<double> coarser;
        for (std::size_t i = 0; i < finer.size(); i += kFan) {
            const auto first = finer.begin() + static_cast<std::ptrdiff_t>(i);
            coarser.push_back(*std::max_element(
                first, first + static_cast<std::ptrdiff_t>(std::min(kFan, finer.size() - i))));
        }
        peaks_.push_back(std::move(coarser));
    }
}

/// Those of the triangles that begin at or below the plane that reach above it. A list of greatest
/// heights leads to them: where an entry isn't above the plane, neither is anything it stands for.
std::vector<int> PlaneSlicer::TrianglesAt(double height, const SectionOptions& options) const
{
    const SectionPlane plane(height, options);
    const auto begun = std::partition_point(lowest_.begin(), lowest_.end(),
                                            [&](double z) { return !plane.IsAbove(z); });
    std::vector<int> triangles;
    struct Visit {
        std::size_t level;
        std::size_t entry;
    };
    std::vector<Visit> waiting;
    // Entries of a list that stand for triangles that have begun.
    const auto endOf = [&](std::size_t level) {
        auto count = static_cast<std::size_t>(begun - lowest_.begin());
        for (; level > 0; --level) {
            count = (count + kFan - 1) / kFan;
        }
        return count;
    };
    for (std::size_t entry = 0; entry < endOf(peaks_.size() - 1); ++entry) {
        waiting.push_back({peaks_.size() - 1, entry});
    }
    while (!waiting.empty()) {
        const auto [level, entry] = waiting.back();
        waiting.pop_back();
        if (!plane.IsAbove(peaks_[level][entry])) {
            continue;
        }
        if (level == 0) {
            triangles.push_back(order_[entry]);
            continue;
        }
        const std::size_t last = std::min((entry + 1) * kFan, endOf(level - 1));
        for (std::size_t i = entry * kFan; i < last; ++i) {
            waiting.push_back({level - 1, i});
        }
    }
    std::sort(triangles.begin(), triangles.end());
    return triangles;
}

MeshSection PlaneSlicer::Section(double height, const SectionOptions& options) const
{
    return std::move(Sections({height}, options).front());
}

std::vector<MeshSection> PlaneSlicer::Sections(const std::vector<double>& heights,
                                               const SectionOptions& options) const
{
    return Progress::Impl::Stoppable(
        [&]() -> std::vector<MeshSection> {
            std::vector<MeshSection> sections = EmptySections(normal_, heights);
            Progress::Impl::Share share(heights.size());
            Parallel::Impl::ApplyParallel(std::size_t{0}, heights.size(), [&](std::size_t i) {
                share.Done();
                if (Math::Impl::IsFinite(heights[i])) {
                    Impl::LinkSection(points_, indices_, TrianglesAt(heights[i], options),
                                      SectionPlane(heights[i], options), sections[i]);
                }
            });
            return sections;
        },
        [&] { return EmptySections(normal_, heights); });
}

} // namespace Velk::Math::Sorvane::Mesh
