// Pairs of triangles that cut each other: candidates by their boxes, decided one by one.
//
// Candidates are gathered for some triangles at a time, so that they fit into memory, and then
// compared in even portions: a single triangle that all others cross keeps every thread busy.

#include "imprint/TriangleMeetings_Impl.h"

#include "imprint/TriangleSlicer_Impl.h"
#include "mathbase/Parallel_Impl.h"
#include "mathbase/Progress_Impl.h"
#include "mathbase/SegmentPoint_Impl.h"

#include <Sorvane/TriangleTree_E.h>
#include <Velk/Math/Intersect_E.h>
#include <Velk/Math/Tolerances_E.h>

#include <cmath>
#include <cstddef>
#include <optional>
#include <utility>

namespace Velk::Math::Sorvane::Mesh::Impl {
namespace {

constexpr double kTolerance = kLengthFloor<double>;

/// May it cut others? A triangle without normal does not, nor do those that take no part.
bool Cuts(const SoupTriangle& t)
{
    const Vec3d areaNormal = ((t[1] - t[0]) ^ (t[2] - t[0])) * 0.5;
    return TakesPart(t) && Length(areaNormal) > kTolerance;
}

double LargestCoordinate(const SoupTriangle& t)
{
    return std::max({Math::Impl::LargestMagnitude(t[0]), Math::Impl::LargestMagnitude(t[1]),
                     Math::Impl::LargestMagnitude(t[2])});
}

/// Do all corners of `other` lie within `reach` of the plane of `t`?
bool IsInPlaneOf(const SoupTriangle& t, const SoupTriangle& other, double reach)
{
    const Vec3d normal = (t[1] - t[0]) ^ (t[2] - t[0]);
    const double bound = reach * Length(normal);
    return std::fabs(normal * (other[0] - t[0])) <= bound &&
           std::fabs(normal * (other[1] - t[0])) <= bound &&
           std::fabs(normal * (other[2] - t[0])) <= bound;
}

/// Does the segment lie along an edge of the triangle?
bool IsAlongEdge(const std::array<Vec3d, 2>& segment, const SoupTriangle& t, double tolerance)
{
    const auto isOn = [&](const Vec3d& point, std::size_t edge) {
        return Math::Impl::SquaredDistanceToSegment(t[edge], t[(edge + 1) % 3], point,
                                                    Math::Impl::kPointsAreShort) <=
               tolerance * tolerance;
    };
    for (std::size_t edge = 0; edge < 3; ++edge) {
        if (isOn(segment[0], edge) && isOn(segment[1], edge)) {
            return true;
        }
    }
    return false;
}

/// Do two triangles with exactly one corner in common clearly meet nowhere else, or lie in one
/// plane?
///
/// `plane` cuts `other` along a line from the corner at most. No, if that line doesn't leave the
/// corner, or leaves it clearly beside the wedge of `plane`.
bool PartAtCorner(const SoupTriangle& plane, std::size_t corner, const SoupTriangle& other,
                  std::size_t otherCorner, double reach)
{
    const Vec3d u = plane[(corner + 1) % 3] - plane[corner];
    const Vec3d v = plane[(corner + 2) % 3] - plane[corner];
    const Vec3d normal = u ^ v;
    const Vec3d p = other[(otherCorner + 1) % 3] - other[otherCorner];
    const Vec3d q = other[(otherCorner + 2) % 3] - other[otherCorner];
    // Differences from the common corner are exact to a rounding, so that the error of a height
    // times the doubled area is a few roundings of these products.
    constexpr double kRoundings = 32.0 * 0x1p-53;
    const double bound = reach * Length(normal) + kRoundings * std::sqrt((u * u) * (v * v)) *
                                                      std::sqrt(std::max(p * p, q * q));
    const double heightOfP = normal * p;
    const double heightOfQ = normal * q;
    const bool isPIn = std::fabs(heightOfP) <= bound;
    const bool isQIn = std::fabs(heightOfQ) <= bound;
    if (isPIn && isQIn) {
        const double narrow = reach * Length(normal);
        return std::fabs(heightOfP) <= narrow && std::fabs(heightOfQ) <= narrow;
    }
    if (!isPIn && !isQIn && (heightOfP > 0.0) == (heightOfQ > 0.0)) {
        return true;
    }
    const Vec3d line = isPIn ? p : isQIn ? q : p + (q - p) * (heightOfP / (heightOfP - heightOfQ));
    constexpr double kClearSine = 1e-4;
    const double size = kClearSine * Length(normal) * Length(line);
    return normal * (u ^ line) < -size * Length(u) || normal * (line ^ v) < -size * Length(v);
}

/// Neighbors in a mesh have equal corners. With two in common, and the two triangles in different
/// planes, they meet in that edge and nowhere else; in one plane they don't cut each other anyway.
/// With one in common nearly all of them can be told apart from there.
bool AreApartNeighbors(const SoupTriangle& a, const SoupTriangle& b, double reach)
{
    int common = 0;
    std::size_t cornerOfA = 0;
    std::size_t cornerOfB = 0;
    for (std::size_t i = 0; i < 3; ++i) {
        for (std::size_t j = 0; j < 3; ++j) {
            if (a[i] == b[j]) {
                ++common;
                cornerOfA = i;
                cornerOfB = j;
            }
        }
    }
    if (common != 1) {
        return common > 1;
    }
    return PartAtCorner(a, cornerOfA, b, cornerOfB, reach) ||
           PartAtCorner(b, cornerOfB, a, cornerOfA, reach);
}

/// The segment in which two triangles cut each other.
std::optional<std::array<Vec3d, 2>> SegmentOf(const SoupTriangle& a, const SoupTriangle& b)
{
    const double tolerance =
        AtLeastRounding(kTolerance, std::max(LargestCoordinate(a), LargestCoordinate(b)));
    // Quick answers to most of the pairs of a mesh, which lie in one plane or have a common corner.
    if (IsInPlaneOf(a, b, kTolerance) || AreApartNeighbors(a, b, tolerance)) {
        return std::nullopt;
    }
    std::array<Vec3d, 2> segment;
    bool isCoplanar = false;
    if (!Intersect::TriangleTriangle(a[0], a[1], a[2], b[0], b[1], b[2], segment[0], segment[1],
                                     isCoplanar, kTolerance) ||
        isCoplanar || Length(segment[1] - segment[0]) <= tolerance) {
        return std::nullopt;
    }
    if (IsAlongEdge(segment, a, tolerance) && IsAlongEdge(segment, b, tolerance)) {
        return std::nullopt;
    }
    return segment;
}

/// `isWithin`: the cutter is the soup itself.
std::vector<Meeting> Meetings(const TriangleSoup<3, double>& soup,
                              const TriangleSoup<3, double>& cutter, bool isWithin)
{
    std::vector<Meeting> meetings;
    Tree::QOFTriangleTree<3, double> tree;
    for (std::size_t i = 0; i < cutter.size(); ++i) {
        Progress::Impl::CheckStep(i);
        if (Cuts(cutter[i])) {
            tree.AddTriangle(cutter[i][0], cutter[i][1], cutter[i][2], static_cast<int>(i));
        }
    }
    tree.Build();
    if (tree.TriangleCount() == 0) {
        return meetings;
    }

    constexpr std::size_t kPairsAtOnce = std::size_t{1} << 18U;
    constexpr std::size_t kFewest = 64;
    constexpr std::size_t kMost = std::size_t{1} << 16U;
    std::vector<std::vector<int>> candidates;
    std::vector<std::pair<int, int>> pairs;
    std::vector<std::vector<Meeting>> found;
    std::size_t portion = kMost / kFewest;
    for (std::size_t first = 0; first < soup.size();) {
        const std::size_t last = std::min(first + portion, soup.size());
        Progress::Impl::Check(static_cast<double>(first) / static_cast<double>(soup.size()));
        candidates.assign(last - first, {});
        Parallel::Impl::ApplyParallelChunks(first, last, [&](std::size_t from, std::size_t to) {
            for (std::size_t i = from; i < to; ++i) {
                if (!Cuts(soup[i])) {
                    continue;
                }
                Bounding::AxisAlignedBoundingBox<3, double> box;
                for (const Vec3d& corner : soup[i]) {
                    box.Grow(corner);
                }
                std::vector<int>& list = candidates[i - first];
                list = tree.GetPossibleBoxCollisions(box);
                if (isWithin) {
                    std::erase_if(list, [&](int other) { return other <= static_cast<int>(i); });
                }
            }
        });
        pairs.clear();
        for (std::size_t i = first; i < last; ++i) {
            for (const int other : candidates[i - first]) {
                pairs.emplace_back(static_cast<int>(i), other);
            }
        }
        const auto chunk = static_cast<std::size_t>(Parallel::Impl::kChunkSize);
        found.assign(pairs.size() / chunk + 1, {});
        Parallel::Impl::ApplyParallelChunks(
            std::size_t{0}, pairs.size(), [&](std::size_t from, std::size_t to) {
                for (std::size_t k = from; k < to; ++k) {
                    const auto [i, j] = pairs[k];
                    if (const auto segment = SegmentOf(soup[static_cast<std::size_t>(i)],
                                                       cutter[static_cast<std::size_t>(j)])) {
                        found[k / chunk].push_back({i, j, *segment});
                    }
                }
            });
        for (const std::vector<Meeting>& part : found) {
            meetings.insert(meetings.end(), part.begin(), part.end());
        }
        portion = std::clamp(portion * kPairsAtOnce / std::max(pairs.size(), kPairsAtOnce / 2),
                             kFewest, kMost);
        first = last;
    }
    return meetings;
}

} // namespace

std::vector<Meeting> MeetingsOf(const TriangleSoup<3, double>& soup,
                                const TriangleSoup<3, double>& cutter)
{
    return Meetings(soup, cutter, false);
}

std::vector<Meeting> MeetingsWithin(const TriangleSoup<3, double>& soup)
{
    return Meetings(soup, soup, true);
}

} // namespace Velk::Math::Sorvane::Mesh::Impl
