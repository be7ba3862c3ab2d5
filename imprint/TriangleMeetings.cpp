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
#include <Velk/Math/Vector_E.h>

#include <bit>
#include <cmath>
#include <cstddef>
#include <functional>
#include <optional>
#include <unordered_map>
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

/// The triangles whose boxes meet that of a triangle, without most of those that meet it in a
/// common corner and nowhere else.
///
/// The boxes of all triangles about a point meet there, n^2 pairs of them. Of many triangles with a
/// corner in common only those are told that leave it in directions close to each other: two wedges
/// that do not share a direction meet in the corner alone.
class Candidates {
public:
    /// `isWithin`: they are asked for triangles of the cutter itself, by their numbers.
    Candidates(const TriangleSoup<3, double>& cutter, bool isWithin) : cutter_(cutter)
    {
        std::vector<int> taking;
        for (std::size_t i = 0; i < cutter.size(); ++i) {
            Progress::Impl::CheckStep(i);
            if (Cuts(cutter[i])) {
                taking.push_back(static_cast<int>(i));
            }
        }
        isEmpty_ = taking.empty();
        if (isWithin) {
            FindFans(taking);
        }
        for (const int i : taking) {
            const int fan = FanOf(i);
            AddTo(fan < 0 ? single_ : fans_[static_cast<std::size_t>(fan)].inSpace, i);
        }
        single_.Build();
        for (std::size_t fan = 0; fan < fans_.size(); ++fan) {
            fans_[fan].inSpace.Build();
            fans_[fan].byDirection.Build();
            const Box& box = fans_[fan].box;
            fanBoxes_.AddTriangle(box.min, box.max, box.max, static_cast<int>(fan));
        }
        fanBoxes_.Build();
    }

    bool IsEmpty() const { return isEmpty_; }

    /// Of triangle `number` of the soup, ascending.
    std::vector<int> Of(const SoupTriangle& triangle, int number) const
    {
        const Box box = BoxOf(triangle);
        std::vector<int> found = single_.GetPossibleBoxCollisions(box);
        if (fans_.empty()) {
            return found;
        }
        const int own = FanOf(number);
        for (const int fan : fanBoxes_.GetPossibleBoxCollisions(box)) {
            const Fan& other = fans_[static_cast<std::size_t>(fan)];
            const std::vector<int> more =
                fan == own ? other.byDirection.GetPossibleBoxCollisions(Grown(BoxOf(
                                 WedgeOf(triangle, corner_[static_cast<std::size_t>(number)]))))
                           : other.inSpace.GetPossibleBoxCollisions(box);
            found.insert(found.end(), more.begin(), more.end());
        }
        std::sort(found.begin(), found.end());
        return found;
    }

private:
    using Box = Bounding::AxisAlignedBoundingBox<3, double>;
    using TriangleTree = Tree::QOFTriangleTree<3, double>;

    /// Triangles with a corner in common, each with its wedge of directions from there.
    struct Fan {
        TriangleTree inSpace;
        TriangleTree byDirection;
        Box box;
    };

    /// Fewer triangles about a corner are compared one by one.
    static constexpr int kFewest = 64;
    /// By how much directions, of length 1, must differ to be apart: far more than their rounding,
    /// and than anything that the tolerances of meetings make of two wedges beside their corner.
    static constexpr double kApart = 1e-3;

    static Box BoxOf(const SoupTriangle& triangle)
    {
        Box box;
        for (const Vec3d& corner : triangle) {
            box.Grow(corner);
        }
        return box;
    }

    static Box Grown(Box box)
    {
        for (int axis = 0; axis < 3; ++axis) {
            box.min[axis] -= kApart;
            box.max[axis] += kApart;
        }
        return box;
    }

    /// A triangle around the arc of the directions, of length 1, from a corner into the triangle:
    /// the ends of the arc and the place where its tangents meet. Around all directions if it is
    /// long.
    static SoupTriangle WedgeOf(const SoupTriangle& t, std::size_t corner)
    {
        const auto toward = [&](std::size_t next) {
            const Vec3d arm = t[(corner + next) % 3] - t[corner];
            const double scale = Math::Impl::ScaleToOne(Math::Impl::LargestMagnitude(arm));
            return Vector::Normalized(arm * scale, 0.0);
        };
        const Vec3d u = toward(1);
        const Vec3d v = toward(2);
        const double cosine = u * v;
        if (!(cosine >= 0.0)) {
            return {Vec3d(-1, -1, -1), Vec3d(1, 1, 1), Vec3d(1, 1, 1)};
        }
        return {u, v, (u + v) * (1.0 / (1.0 + cosine))};
    }

    /// Gives every triangle to the point at one of its corners that has the most triangles about
    /// it, if there are many.
    void FindFans(const std::vector<int>& taking)
    {
        // Counted by hash first: most meshes have no such point, and a table of all would be the
        // dearest part of the search.
        const std::size_t mask = std::bit_ceil(taking.size() + 1) - 1;
        const std::hash<Vec3d> hash;
        std::vector<int> crowd(mask + 1, 0);
        for (const int i : taking) {
            for (const Vec3d& corner : cutter_[static_cast<std::size_t>(i)]) {
                ++crowd[hash(corner) & mask];
            }
        }
        if (*std::max_element(crowd.begin(), crowd.end()) < kFewest) {
            return;
        }
        std::unordered_map<Vec3d, int> count;
        for (const int i : taking) {
            Progress::Impl::CheckStep(static_cast<std::size_t>(i));
            for (const Vec3d& corner : cutter_[static_cast<std::size_t>(i)]) {
                if (crowd[hash(corner) & mask] >= kFewest) {
                    ++count[corner];
                }
            }
        }
        const auto countOf = [&](const Vec3d& corner) {
            const auto found = count.find(corner);
            return found != count.end() ? found->second : 0;
        };
        fan_.assign(cutter_.size(), -1);
        corner_.assign(cutter_.size(), 0);
        std::unordered_map<Vec3d, int> numbers;
        for (const int triangle : taking) {
            const auto i = static_cast<std::size_t>(triangle);
            std::array<int, 3> counts{};
            std::transform(cutter_[i].begin(), cutter_[i].end(), counts.begin(), countOf);
            const auto most = std::max_element(counts.begin(), counts.end());
            if (*most < kFewest) {
                continue;
            }
            corner_[i] = static_cast<unsigned char>(most - counts.begin());
            const auto [place, isNew] =
                numbers.try_emplace(cutter_[i][corner_[i]], static_cast<int>(fans_.size()));
            if (isNew) {
                fans_.emplace_back();
            }
            fan_[i] = place->second;
            Fan& fan = fans_[static_cast<std::size_t>(place->second)];
            const SoupTriangle wedge = WedgeOf(cutter_[i], corner_[i]);
            fan.byDirection.AddTriangle(wedge[0], wedge[1], wedge[2], triangle);
            for (const Vec3d& corner : cutter_[i]) {
                fan.box.Grow(corner);
            }
        }
    }

    int FanOf(int triangle) const
    {
        return fan_.empty() ? -1 : fan_[static_cast<std::size_t>(triangle)];
    }

    void AddTo(TriangleTree& tree, int triangle) const
    {
        const SoupTriangle& t = cutter_[static_cast<std::size_t>(triangle)];
        tree.AddTriangle(t[0], t[1], t[2], triangle);
    }

    const TriangleSoup<3, double>& cutter_;
    TriangleTree single_; // those that are in no fan
    std::vector<Fan> fans_;
    TriangleTree fanBoxes_;
    std::vector<int> fan_;              // of each triangle, -1 for none; empty without fans
    std::vector<unsigned char> corner_; // of the triangle that is the fan's
    bool isEmpty_ = true;
};

/// `isWithin`: the cutter is the soup itself.
std::vector<Meeting> Meetings(const TriangleSoup<3, double>& soup,
                              const TriangleSoup<3, double>& cutter, bool isWithin)
{
    std::vector<Meeting> meetings;
    const Candidates possible(cutter, isWithin);
    if (possible.IsEmpty()) {
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
                std::vector<int>& list = candidates[i - first];
                list = possible.Of(soup[i], static_cast<int>(i));
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
