// Bounds of the Hausdorff distance of two triangulated surfaces, by branch and bound.
//
// From one surface A to the other surface B, with d(x) the distance of x from B:
//
// 1. The nearest triangle of B for every point that A's triangles use, in one batch. The greatest d
//    is the first lower bound. Far places of B, met in the same way, are tried on A as well: what
//    bulges between the points of a coarse surface is known to the fine one.
// 2. Every triangle of A is certified against the lower bound plus the accuracy, if that can be
//    done: cut into convex parts, each with a triangle of B that is near enough to all corners of
//    the part. The distance from one triangle is a convex function, so it is nowhere in the part
//    greater than at the corners. Cuts follow the prism over a triangle of B, which is where its
//    inside is nearest; none is made that does not settle the part within the prism.
// 3. Those that are left are halved across their longest edge, the ones with the greatest upper
//    bound first, in rounds of a fixed size. The new points of a round are one batch; they raise
//    the lower bound, and the halves are certified in turn.
//
// Step 3 ends: a triangle smaller than the accuracy is certified by the nearest triangle of any of
// its corners, because d changes by no more than the way between two points. A cap on the halvings
// guards against surfaces that are equally far away along lines without end.
//
// Each round works with the lower bound of the round before, and every triangle has its own slot.
// So the result does not depend on the number of threads.

#include <Sorvane/MeshDistances_E.h>
#include <Sorvane/MeshQueries_E.h>
#include <Sorvane/TriangleTree_E.h>

#include "mathbase/Intersect_Impl.h"
#include "mathbase/NearestOnTriangle_Impl.h"
#include "mathbase/Parallel_Impl.h"
#include "mathbase/Progress_Impl.h"
#include "mathbase/Values_Impl.h"
#include "meshutils/MeshDistances_Impl.h"

#include <boost/unordered/unordered_flat_map.hpp>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <vector>

namespace Velk::Math::Sorvane::MeshUtils {
namespace {

using TriangleTree = Tree::QOFTriangleTree<3, double>;
using Corners = std::array<Vec3d, 3>;
using Surface = Mesh::IndexedPointsBase<3, double>;
using Box = Bounding::AxisAlignedBoundingBox<3, double>;

constexpr double kInfinity = std::numeric_limits<double>::infinity();
/// Rounding of a bound, in units of the largest coordinate: nearest points, and some ten cuts. On
/// needles places were seen to lie 81 of them off their triangle.
constexpr double kRounding = 256 * std::numeric_limits<double>::epsilon();
/// Least accuracy, as a fraction of the extent, and in units of the rounding of the bounds.
constexpr double kLeastAccuracy = 1e-9;
constexpr double kLeastRoundings = 4;
/// Halvings: so many, and so many for each triangle.
constexpr std::size_t kMostHalvings = std::size_t{1} << 18;
constexpr std::size_t kHalvingsPerTriangle = 4;
/// Triangles that are halved in one round. Few enough that those which a raised lower bound settles
/// are not halved first, enough for a batch.
constexpr std::size_t kRoundSize = 4096;
/// Farthest places of the other surface that are tried.
constexpr std::size_t kSeeds = 1024;
/// Candidates that a part is tried with before another one is looked for.
constexpr std::size_t kRecent = 6;
/// Candidates that are looked for on behalf of one triangle of A. With more of them it is halved.
constexpr std::size_t kMostProbes = 256;
/// Triangles that are certified by one task.
constexpr std::size_t kItemsPerTask = 512;
/// Parts of one triangle of A that are looked at. A triangle faces no more than that as a rule, and
/// rounding can't keep the cuts going for ever.
constexpr std::size_t kMostTaken = std::size_t{1} << 14;
/// Parts of one triangle that wait to be certified.
constexpr std::size_t kMostParts = 96;
/// Ridges along which a part of a triangle is divided before it is halved in the middle.
constexpr int kMostRidges = 4;
/// Corners of a part.
constexpr std::size_t kMostCorners = 12;
/// Sine within which a corner lies on a cutting plane.
constexpr double kOnPlane = 1e-12;

/// A point of A with the nearest point of B.
struct Sample {
    Vec3d point;
    Vec3d nearest;
    double squaredDistance = 0.0;
    int id = -1; // triangle of B
};

/// A triangle of A or a part of one, and what its distance from B is at most.
struct Item {
    std::array<Sample, 3> corner;
    int triangle = -1; // of A
    double squaredUpper = kInfinity;
    bool isOpen = true;
};

/// A place of A, and how far it is.
struct Place {
    Sample sample;
    int triangle = -1; // of A; none has number -1

    /// Takes a place that is farther away; the first of equals stays.
    void Offer(const Sample& other, int itsTriangle)
    {
        if (triangle < 0 || other.squaredDistance > sample.squaredDistance) {
            sample = other;
            triangle = itsTriangle;
        }
    }
};

// --- certifying one triangle --------------------------------------------------------------------

/// A convex part of a plane triangle. Only corners that are there are copied, as parts are many.
struct Part {
    std::array<Vec3d, kMostCorners> corner;
    std::size_t count = 0;

    Part() = default;
    Part(const Part& other) : count(other.count)
    {
        std::copy_n(other.corner.begin(), count, corner.begin());
    }
    Part& operator=(const Part& other)
    {
        count = other.count;
        std::copy_n(other.corner.begin(), count, corner.begin());
        return *this;
    }

    /// False when there is no room.
    bool Add(const Vec3d& point)
    {
        if (count == kMostCorners) {
            return false;
        }
        corner[count++] = point;
        return true;
    }
};

/// The greatest squared distance of a corner from the triangle, or infinity as soon as one exceeds
/// `limit`.
double GreatestSquaredDistance(const Corners& triangle, const Part& part, double limit)
{
    double greatest = 0;
    for (std::size_t i = 0; i < part.count; ++i) {
        const Vec3d nearest = Intersect::Impl::NearestOnTriangle(triangle, part.corner[i]);
        const double squared = SquaredLength(nearest - part.corner[i]);
        if (!(squared <= limit)) {
            return kInfinity;
        }
        greatest = std::max(greatest, squared);
    }
    return greatest;
}

/// A triangle of B, and the three planes of the prism over it, which only those know that have been
/// asked for it: most candidates hold a part as it is.
struct Candidate {
    enum class Prism { unknown, none, known };

    Corners corner;
    Box box;
    std::array<Vec3d, 3> inward; // of unit length
    Prism prism = Prism::unknown;

    explicit Candidate(const Corners& triangle) : corner(triangle)
    {
        for (const Vec3d& point : corner) {
            box.Grow(point);
        }
    }

    /// False for a triangle without area. Otherwise `inward` is set.
    bool HasPrism()
    {
        if (prism == Prism::unknown) {
            const Vec3d normal =
                Intersect::Impl::NormalOf(corner[1] - corner[0], corner[2] - corner[0]);
            prism = Prism::known;
            for (std::size_t k = 0; k < 3; ++k) {
                inward[k] = Vector::Normalized(normal ^ (corner[(k + 1) % 3] - corner[k]), 0.0);
                if (!(SquaredLength(inward[k]) > 0)) {
                    prism = Prism::none;
                }
            }
        }
        return prism == Prism::known;
    }
};

/// Squared distance of two boxes.
double SquaredGap(const Box& a, const Box& b)
{
    double sum = 0;
    for (int axis = 0; axis < 3; ++axis) {
        const double gap =
            std::max(0.0, std::max(a.min[axis] - b.max[axis], b.min[axis] - a.max[axis]));
        sum += gap * gap;
    }
    return sum;
}

/// Can the candidate be near enough to all corners of the part? Asks its box about three of them.
bool MayHold(const Candidate& candidate, const Part& part, double squaredLimit)
{
    for (std::size_t i = 0; i < std::min<std::size_t>(3, part.count); ++i) {
        if (!(SquaredGap(candidate.box, {part.corner[i], part.corner[i]}) <= squaredLimit)) {
            return false;
        }
    }
    return true;
}

/// Of each corner of a part the height over a line across it, or something like it.
using Heights = std::array<double, kMostCorners>;

Heights HeightsOver(const Part& part, const Vec3d& origin, const Vec3d& inward)
{
    Heights heights;
    for (std::size_t i = 0; i < part.count; ++i) {
        heights[i] = inward * (part.corner[i] - origin);
    }
    return heights;
}

/// Divides `part` where its heights pass zero. A corner within `tolerance` of it belongs to both
/// divisions, which together are the part in any case. False when a division has too many corners.
bool Divide(const Part& part, const Heights& height, double tolerance, Part& inside, Part& outside)
{
    inside.count = 0;
    outside.count = 0;
    bool hasRoom = true;
    bool isWithin = false;
    bool isBeyond = false;
    for (std::size_t i = 0; i < part.count; ++i) {
        const std::size_t next = i + 1 < part.count ? i + 1 : 0;
        const double here = height[i];
        const double there = height[next];
        isWithin = isWithin || here > tolerance;
        isBeyond = isBeyond || here < -tolerance;
        if (here >= -tolerance) {
            hasRoom = inside.Add(part.corner[i]) && hasRoom;
        }
        if (here <= tolerance) {
            hasRoom = outside.Add(part.corner[i]) && hasRoom;
        }
        if ((here > tolerance && there < -tolerance) || (here < -tolerance && there > tolerance)) {
            const Vec3d cut =
                part.corner[i] + (part.corner[next] - part.corner[i]) * (here / (here - there));
            hasRoom = inside.Add(cut) && outside.Add(cut) && hasRoom;
        }
    }
    if (!isBeyond) {
        outside.count = 0; // a mere edge of the part, which is inside too
    }
    if (!isWithin && isBeyond) {
        inside.count = 0;
    }
    return hasRoom;
}

/// Certifies triangles of A, one after the other; keeps its memory from one to the next.
class Certifier {
public:
    Certifier(const Surface& surface, const TriangleTree& tree,
              const std::vector<std::array<int, 3>>& neighbors)
        : surface_(surface), tree_(tree), neighbors_(neighbors)
    {
    }

    /// Sets the upper bound of `item`, and whether it is above `squaredLimit`, so that the item
    /// stays open. `limit` is the root of that. A place beyond the limit that is met on the way is
    /// offered to `far`.
    void Certify(Item& item, double squaredLimit, double limit, Place& far)
    {
        const double squaredAtCorners =
            std::max({item.corner[0].squaredDistance, item.corner[1].squaredDistance,
                      item.corner[2].squaredDistance});
        if (item.corner[0].id == item.corner[1].id && item.corner[0].id == item.corner[2].id) {
            Close(item, squaredAtCorners, squaredLimit);
            return;
        }
        Part whole;
        for (const Sample& corner : item.corner) {
            whole.Add(corner.point);
        }
        candidates_.clear();
        numbers_.clear();
        for (const Sample& corner : item.corner) {
            PlaceOf(corner.id);
        }
        Sample beyond;
        const double certified = squaredAtCorners > squaredLimit
                                     ? kInfinity
                                     : CertifyParts(whole, squaredLimit, limit, beyond);
        if (beyond.id >= 0) {
            far.Offer(beyond, item.triangle);
        }
        if (certified <= squaredLimit) {
            Close(item, std::max(certified, squaredAtCorners), squaredLimit);
            return;
        }
        // Without cuts and whatever the limit: by this bound the open ones are ranked.
        double best = kInfinity;
        for (std::size_t k = 0; k < std::min<std::size_t>(3, candidates_.size()); ++k) {
            best = std::min(best, GreatestSquaredDistance(candidates_[k].corner, whole, best));
        }
        Close(item, best, squaredLimit);
    }

private:
    struct WaitingPart {
        Part part;
        std::size_t next = 0; // candidate to be cut with
        int hint = -1;        // triangle of B that may lie behind it, or -1
        int ridges = 0;       // along which it has been divided
    };

    static void Close(Item& item, double squaredUpper, double squaredLimit)
    {
        item.squaredUpper = std::min(item.squaredUpper, squaredUpper);
        item.isOpen = !(item.squaredUpper <= squaredLimit);
    }

    /// Where triangle `number` stands among the candidates, which it joins if it is new.
    std::size_t PlaceOf(int number)
    {
        const auto found = std::find(numbers_.begin(), numbers_.end(), number);
        const auto place = static_cast<std::size_t>(found - numbers_.begin());
        if (found == numbers_.end()) {
            numbers_.push_back(number);
            candidates_.emplace_back(Impl::TriangleAt(surface_.points, surface_.indices, number));
        }
        return place;
    }

    /// The first of the candidates that are tried again on a new part: the last few, which are
    /// those around it.
    std::size_t FirstRecent() const
    {
        return candidates_.size() > kRecent ? candidates_.size() - kRecent : 0;
    }

    /// The greatest squared distance that the parts are certified for, infinity when one of them
    /// can't be certified below the limit.
    double CertifyParts(const Part& whole, double squaredLimit, double limit, Sample& far)
    {
        parts_.clear();
        parts_.push_back({whole, 0});
        double certified = 0;
        std::size_t probes = 0;
        std::size_t taken = 0;
        while (!parts_.empty()) {
            if (++taken > kMostTaken) {
                return kInfinity;
            }
            WaitingPart waiting = parts_.back();
            parts_.pop_back();
            double squared = kInfinity;
            if (waiting.hint >= 0) {
                Settle(waiting.hint, waiting.part, squaredLimit, squared);
            }
            if (squared == kInfinity) {
                TryRecent(waiting, squaredLimit, squared);
            }
            if (squared == kInfinity) {
                if (probes == kMostProbes || parts_.size() > kMostParts) {
                    return kInfinity;
                }
                ++probes;
                if (!Probe(waiting, squaredLimit, limit, squared, far)) {
                    return kInfinity;
                }
            }
            certified = std::max(certified, squared);
        }
        return certified;
    }

    /// Tries the last few candidates: for the part as it is, then for what lies in their prisms.
    void TryRecent(const WaitingPart& waiting, double squaredLimit, double& squared)
    {
        const std::size_t recent = FirstRecent();
        Box box;
        for (std::size_t i = 0; i < waiting.part.count; ++i) {
            box.Grow(waiting.part.corner[i]);
        }
        for (std::size_t k = candidates_.size(); k > recent && squared == kInfinity;) {
            --k;
            if (MayHold(candidates_[k], waiting.part, squaredLimit)) {
                squared =
                    GreatestSquaredDistance(candidates_[k].corner, waiting.part, squaredLimit);
            }
        }
        for (std::size_t k = std::max(waiting.next, recent);
             squared == kInfinity && k < candidates_.size(); ++k) {
            if (SquaredGap(candidates_[k].box, box) <= squaredLimit) {
                CutOut(k, waiting.part, k + 1, squaredLimit, squared);
            }
        }
    }

    /// Tries triangle `number` of B in the same two ways; `squared` stays infinite in vain.
    void Settle(int number, const Part& part, double squaredLimit, double& squared)
    {
        const std::size_t place = PlaceOf(number);
        if (MayHold(candidates_[place], part, squaredLimit)) {
            squared = GreatestSquaredDistance(candidates_[place].corner, part, squaredLimit);
        }
        if (squared == kInfinity) {
            CutOut(place, part, candidates_.size(), squaredLimit, squared);
        }
    }

    /// The triangle nearest to `point`, -1 when the point is beyond the limit and `far` now.
    int NearestTo(const Vec3d& point, double limit, Sample& far) const
    {
        auto nearest = tree_.ClosestPoint(point, limit);
        if (nearest.id >= 0) {
            return nearest.id;
        }
        nearest = tree_.ClosestPoint(point, kInfinity);
        far = {point, nearest.point, SquaredLength(nearest.point - point), nearest.id};
        return -1;
    }

    /// Asks for the triangle nearest to the middle of a part, and settles with it at least the
    /// surroundings of the middle, or halves the part. False when a place of the part is beyond the
    /// limit.
    bool Probe(const WaitingPart& waiting, double squaredLimit, double limit, double& squared,
               Sample& far)
    {
        const Part& part = waiting.part;
        Vec3d sum;
        for (std::size_t i = 0; i < part.count; ++i) {
            sum += part.corner[i] - part.corner[0];
        }
        const Vec3d middle = part.corner[0] + sum / static_cast<double>(part.count);
        const int atMiddle = NearestTo(middle, limit, far);
        if (atMiddle < 0) {
            return false;
        }
        Settle(atMiddle, part, squaredLimit, squared);
        if (squared != kInfinity) {
            return true;
        }
        squared = 0; // nothing is certified; the halves wait
        return Halve(waiting, limit, far);
    }

    /// Divides a part in two, which wait.
    ///
    /// Where its ends across its greatest width have different nearest triangles, the division is
    /// along the ridge on which both are equally near, as far as it is straight: the greatest
    /// distances lie on ridges, and halves of a part that a ridge passes can't be certified before
    /// they are as small as the accuracy. Otherwise it is in the middle of the width.
    bool Halve(const WaitingPart& waiting, double limit, Sample& far)
    {
        const Part& part = waiting.part;
        double squaredWidth = -1;
        std::array<std::size_t, 2> end{};
        for (std::size_t i = 0; i < part.count; ++i) {
            for (std::size_t k = i + 1; k < part.count; ++k) {
                const double squared = SquaredLength(part.corner[k] - part.corner[i]);
                if (squared > squaredWidth) {
                    squaredWidth = squared;
                    end = {i, k};
                }
            }
        }
        // A part that is cut no more reaches beyond the limit, if it does, at its ends.
        std::array<std::size_t, 2> place{};
        for (std::size_t k = 0; k < 2; ++k) {
            const int atEnd = NearestTo(part.corner[end[k]], limit, far);
            if (atEnd < 0) {
                return false;
            }
            place[k] = PlaceOf(atEnd);
        }
        Part& inside = within_[0];
        Part& outside = beyond_;
        const auto push = [&](int ridges) {
            parts_.push_back({inside, FirstRecent(), numbers_[place[1]], ridges});
            parts_.push_back({outside, FirstRecent(), numbers_[place[0]], ridges});
        };
        if (place[0] != place[1] && waiting.ridges < kMostRidges) {
            Heights height;
            std::size_t changes = 0;
            for (std::size_t i = 0; i < part.count; ++i) {
                height[i] =
                    DistanceTo(place[0], part.corner[i]) - DistanceTo(place[1], part.corner[i]);
                changes += i > 0 && (height[i] < 0) != (height[i - 1] < 0) ? 1 : 0;
            }
            if (changes == 1 || changes == 2) {
                if (Divide(part, height, 0.0, inside, outside) && inside.count > 0 &&
                    outside.count > 0) {
                    push(waiting.ridges + 1);
                    return true;
                }
            }
        }
        const Vec3d across = part.corner[end[1]] - part.corner[end[0]];
        const Vec3d middle = part.corner[end[0]] + across * 0.5;
        if (!Divide(part, HeightsOver(part, middle, across), 0.0, inside, outside) ||
            inside.count == 0 || outside.count == 0) {
            return false;
        }
        push(waiting.ridges);
        return true;
    }

    double DistanceTo(std::size_t place, const Vec3d& point) const
    {
        return Length(Intersect::Impl::NearestOnTriangle(candidates_[place].corner, point) - point);
    }

    /// Cuts what lies in a candidate's prism out of the part, if there is any and the candidate
    /// certifies it. The remains then wait, for the candidates from `next` on and each for the
    /// triangle behind the edge across which it lies.
    void CutOut(std::size_t place, const Part& part, std::size_t next, double squaredLimit,
                double& squared)
    {
        Candidate& candidate = candidates_[place];
        if (!candidate.HasPrism()) {
            return;
        }
        const std::size_t waiting = parts_.size();
        const Part* inside = &part;
        for (std::size_t k = 0; k < 3; ++k) {
            Part& within = within_[k];
            const double tolerance =
                kOnPlane *
                Math::Impl::LargestMagnitude(candidate.corner[(k + 1) % 3] - candidate.corner[k]);
            if (!Divide(*inside, HeightsOver(*inside, candidate.corner[k], candidate.inward[k]),
                        tolerance, within, beyond_) ||
                within.count == 0) {
                parts_.resize(waiting);
                return;
            }
            if (beyond_.count != 0) {
                parts_.push_back(
                    {beyond_, next, neighbors_[static_cast<std::size_t>(numbers_[place])][k]});
            }
            inside = &within;
        }
        squared = GreatestSquaredDistance(candidate.corner, *inside, squaredLimit);
        if (squared == kInfinity) {
            parts_.resize(waiting);
        }
    }

    const Surface& surface_; // B
    const TriangleTree& tree_;
    const std::vector<std::array<int, 3>>& neighbors_; // of the triangles of B
    std::vector<Candidate> candidates_;
    std::vector<int> numbers_; // of the candidates
    std::vector<WaitingPart> parts_;
    std::array<Part, 3> within_; // of the cut that is being made
    Part beyond_;
};

// --- one way ------------------------------------------------------------------------------------

/// Triangles that count: those that the search tree takes.
std::vector<int> UsableTriangles(const Surface& surface)
{
    std::vector<int> numbers;
    const int count = static_cast<int>(surface.indices.size() / 3);
    for (int number = 0; number < count; ++number) {
        if (!Impl::AreSubscripts(surface.points, surface.indices, number)) {
            continue;
        }
        const Corners corner = Impl::TriangleAt(surface.points, surface.indices, number);
        if (Math::Impl::IsUsable(corner[0]) && Math::Impl::IsUsable(corner[1]) &&
            Math::Impl::IsUsable(corner[2])) {
            numbers.push_back(number);
        }
    }
    return numbers;
}

/// Two surfaces, as one looks at the other, with the triangles that count.
struct Side {
    const Surface& from;
    const std::vector<int>& fromTriangles;
    const Surface& to;
    const std::vector<int>& toTriangles;
    const TriangleTree& toTree;
};

/// The triangle behind each edge, -1 where none is known. They only spare searches, so that a mesh
/// with triangles that don't count goes without.
std::vector<std::array<int, 3>> NeighborsIn(const Surface& surface, std::size_t usable)
{
    if (usable * 3 != surface.indices.size()) {
        return std::vector<std::array<int, 3>>(surface.indices.size() / 3, {-1, -1, -1});
    }
    return Mesh::NeighborFacets(surface);
}

std::vector<Sample> SamplesOfDistinct(const std::vector<Vec3d>& points, const TriangleTree& tree)
{
    const auto nearest = tree.ClosestPoints(points, kInfinity, {});
    std::vector<Sample> samples(points.size());
    for (std::size_t i = 0; i < points.size(); ++i) {
        samples[i] = {points[i], nearest[i].point, SquaredLength(nearest[i].point - points[i]),
                      nearest[i].id};
    }
    return samples;
}

/// The bits of a point, which tell 0 from -0.
using PointBits = std::array<std::uint64_t, 3>;

PointBits BitsOf(const Vec3d& point)
{
    return {std::bit_cast<std::uint64_t>(point.x()), std::bit_cast<std::uint64_t>(point.y()),
            std::bit_cast<std::uint64_t>(point.z())};
}

struct HashOfBits {
    std::size_t operator()(const PointBits& bits) const
    {
        std::uint64_t state = 0;
        for (const std::uint64_t part : bits) {
            state = (state ^ (part >> 32U) ^ part) * 0x9e3779b97f4a7c15U;
        }
        return static_cast<std::size_t>(state ^ (state >> 32U));
    }
    using is_avalanching = void;
};

/// Whether about half of the points or more repeat others. A table of marks by hash tells, which
/// costs the usual mesh, whose points are all different, next to nothing.
bool AreMostlyRepeats(const std::vector<Vec3d>& points)
{
    const std::size_t slots = std::bit_ceil(4 * points.size() + 1);
    std::vector<char> isTaken(slots, 0);
    std::size_t taken = 0;
    for (const Vec3d& point : points) {
        char& mark = isTaken[HashOfBits()(BitsOf(point)) & (slots - 1)];
        taken += mark == 0 ? 1 : 0;
        mark = 1;
    }
    return 2 * taken < points.size();
}

/// The nearest triangle of each point. Equal points of a soup are looked up once: where its
/// triangles are copies of few, a single look-up passes all the copies.
std::vector<Sample> SamplesOf(const std::vector<Vec3d>& points, const TriangleTree& tree)
{
    if (!AreMostlyRepeats(points)) {
        return SamplesOfDistinct(points, tree);
    }
    std::vector<Vec3d> distinct;
    std::vector<std::size_t> placeOf;
    placeOf.reserve(points.size());
    boost::unordered_flat_map<PointBits, std::size_t, HashOfBits> places;
    for (const Vec3d& point : points) {
        const auto [found, isNew] = places.try_emplace(BitsOf(point), distinct.size());
        if (isNew) {
            distinct.push_back(point);
        }
        placeOf.push_back(found->second);
    }
    const std::vector<Sample> ofDistinct = SamplesOfDistinct(distinct, tree);
    std::vector<Sample> samples;
    samples.reserve(points.size());
    for (const std::size_t place : placeOf) {
        samples.push_back(ofDistinct[place]);
    }
    return samples;
}

/// The search from one surface to the other: the farthest place known, and what is still open.
class Search {
public:
    explicit Search(const Side& side) : side_(side) {}

    /// Step 1 without the seeds.
    void MeasurePoints()
    {
        placeOf_.assign(side_.from.points.size(), -1);
        std::vector<Vec3d> points;
        for (const int triangle : side_.fromTriangles) {
            for (std::size_t k = 0; k < 3; ++k) {
                int& place = placeOf_[PointNumber(triangle, k)];
                if (place < 0) {
                    place = static_cast<int>(points.size());
                    points.push_back(side_.from.points[PointNumber(triangle, k)]);
                }
            }
        }
        samples_ = SamplesOf(points, side_.toTree);
        for (const int triangle : side_.fromTriangles) {
            for (std::size_t k = 0; k < 3; ++k) {
                farthest_.Offer(SampleAt(triangle, k), triangle);
            }
        }
        halvingsLeft_ = kMostHalvings + kHalvingsPerTriangle * side_.fromTriangles.size();
    }

    /// The places of the other surface where the farthest points of this one have their nearest,
    /// each with its triangle there.
    std::vector<std::pair<Vec3d, int>> Seeds() const
    {
        std::vector<std::pair<double, std::size_t>> far;
        far.reserve(samples_.size());
        for (std::size_t i = 0; i < samples_.size(); ++i) {
            far.emplace_back(-samples_[i].squaredDistance, i);
        }
        const std::size_t count = std::min(kSeeds, far.size());
        std::partial_sort(far.begin(), far.begin() + static_cast<std::ptrdiff_t>(count), far.end());
        std::vector<std::pair<Vec3d, int>> seeds;
        for (std::size_t i = 0; i < count; ++i) {
            const Sample& sample = samples_[far[i].second];
            seeds.emplace_back(sample.nearest, sample.id);
        }
        return seeds;
    }

    /// Tries seeds of the search the other way.
    void TrySeeds(const std::vector<std::pair<Vec3d, int>>& seeds)
    {
        std::vector<Vec3d> points;
        for (const auto& seed : seeds) {
            points.push_back(seed.first);
        }
        const std::vector<Sample> samples = SamplesOf(points, side_.toTree);
        for (std::size_t i = 0; i < samples.size(); ++i) {
            farthest_.Offer(samples[i], seeds[i].second);
        }
    }

    /// Steps 2 and 3.
    void Run(double accuracy)
    {
        neighbors_ = NeighborsIn(side_.to, side_.toTriangles.size());
        std::vector<Item> open = Certified(
            side_.fromTriangles.size(),
            [&](std::size_t i) {
                Item item;
                item.triangle = side_.fromTriangles[i];
                for (std::size_t k = 0; k < 3; ++k) {
                    item.corner[k] = SampleAt(side_.fromTriangles[i], k);
                }
                return item;
            },
            accuracy);
        // Far places that were met have raised the bound: many of those left are settled as they
        // are.
        open = Certified(
            open.size(), [&](std::size_t i) { return open[i]; }, accuracy);
        while (!open.empty() && halvingsLeft_ > 0) {
            Progress::Impl::Check(0.5); // it is not known how many are left to come
            const std::size_t count = std::min({open.size(), kRoundSize, halvingsLeft_});
            // Those to be halved come first. Equal bounds rank by the place that the item has had.
            std::vector<std::size_t> order(open.size());
            for (std::size_t i = 0; i < order.size(); ++i) {
                order[i] = i;
            }
            const auto rest = order.begin() + static_cast<std::ptrdiff_t>(count);
            const auto isBefore = [&](std::size_t a, std::size_t b) {
                return open[a].squaredUpper > open[b].squaredUpper ||
                       (open[a].squaredUpper == open[b].squaredUpper && a < b);
            };
            if (rest != order.end()) {
                std::nth_element(order.begin(), rest, order.end(), isBefore);
            }
            const std::vector<Item> halves = Halved(open, {order.begin(), rest});
            halvingsLeft_ -= count;
            std::vector<Item> left = Certified(
                halves.size(), [&](std::size_t i) { return halves[i]; }, accuracy);
            for (auto place = rest; place != order.end(); ++place) {
                const Item& item = open[*place];
                if (item.squaredUpper > squaredLimit_) {
                    left.push_back(item);
                } else {
                    squaredUpper_ = std::max(squaredUpper_, item.squaredUpper);
                }
            }
            open.swap(left);
        }
        for (const Item& item : open) {
            squaredUpper_ = std::max(squaredUpper_, item.squaredUpper);
        }
    }

    /// `rounding` moves the bounds apart.
    HausdorffBound Result(double rounding) const
    {
        HausdorffBound bound;
        const double distance = std::sqrt(farthest_.sample.squaredDistance);
        bound.lower = std::max(0.0, distance - rounding);
        bound.upper = std::max(distance, std::sqrt(squaredUpper_)) + rounding;
        bound.triangle = farthest_.triangle;
        bound.point = farthest_.sample.point;
        bound.nearestTriangle = farthest_.sample.id;
        bound.nearest = farthest_.sample.nearest;
        return bound;
    }

private:
    std::size_t PointNumber(int triangle, std::size_t corner) const
    {
        return static_cast<std::size_t>(
            side_.from.indices[3 * static_cast<std::size_t>(triangle) + corner]);
    }

    const Sample& SampleAt(int triangle, std::size_t corner) const
    {
        return samples_[static_cast<std::size_t>(placeOf_[PointNumber(triangle, corner)])];
    }

    /// Certifies `itemAt(0)` to `itemAt(count - 1)` and gives those that stay open, in their order.
    template <class ItemAt>
    std::vector<Item> Certified(std::size_t count, const ItemAt& itemAt, double accuracy)
    {
        const double limit = std::sqrt(farthest_.sample.squaredDistance) + accuracy;
        squaredLimit_ = limit * limit;
        struct Outcome {
            std::vector<Item> open;
            double squaredUpper = 0;
            Place far;
        };
        std::vector<Outcome> outcomes((count + kItemsPerTask - 1) / kItemsPerTask);
        Parallel::Impl::ApplyParallel(std::size_t{0}, outcomes.size(), [&](std::size_t task) {
            Certifier certifier(side_.to, side_.toTree, neighbors_);
            Outcome& outcome = outcomes[task];
            const std::size_t last = std::min((task + 1) * kItemsPerTask, count);
            for (std::size_t i = task * kItemsPerTask; i < last; ++i) {
                Item item = itemAt(i);
                certifier.Certify(item, squaredLimit_, limit, outcome.far);
                if (item.isOpen) {
                    outcome.open.push_back(item);
                } else {
                    outcome.squaredUpper = std::max(outcome.squaredUpper, item.squaredUpper);
                }
            }
        });
        std::vector<Item> open;
        for (const Outcome& outcome : outcomes) {
            open.insert(open.end(), outcome.open.begin(), outcome.open.end());
            squaredUpper_ = std::max(squaredUpper_, outcome.squaredUpper);
            if (outcome.far.triangle >= 0) {
                farthest_.Offer(outcome.far.sample, outcome.far.triangle);
            }
        }
        return open;
    }

    /// The listed items, each as two halves of its longest edge, whose middles are measured.
    std::vector<Item> Halved(const std::vector<Item>& open, const std::vector<std::size_t>& which)
    {
        std::vector<std::size_t> edges;
        std::vector<Vec3d> middles;
        for (const std::size_t i : which) {
            const auto& corner = open[i].corner;
            std::size_t longest = 0;
            double squaredLongest = -1;
            for (std::size_t k = 0; k < 3; ++k) {
                const double squared = SquaredLength(corner[(k + 1) % 3].point - corner[k].point);
                if (squared > squaredLongest) {
                    longest = k;
                    squaredLongest = squared;
                }
            }
            edges.push_back(longest);
            middles.push_back((corner[longest].point + corner[(longest + 1) % 3].point) * 0.5);
        }
        const std::vector<Sample> samples = SamplesOf(middles, side_.toTree);
        std::vector<Item> halves;
        halves.reserve(2 * which.size());
        for (std::size_t i = 0; i < which.size(); ++i) {
            const Item& item = open[which[i]];
            farthest_.Offer(samples[i], item.triangle);
            for (const std::size_t replaced : {edges[i], (edges[i] + 1) % 3}) {
                Item half = item; // a half is no farther away than the whole
                half.corner[replaced] = samples[i];
                halves.push_back(half);
            }
        }
        return halves;
    }

    Side side_;
    std::vector<int> placeOf_; // of a point of A in `samples_`, or -1
    std::vector<Sample> samples_;
    std::vector<std::array<int, 3>> neighbors_; // of the triangles of B
    Place farthest_;
    double squaredLimit_ = 0;
    double squaredUpper_ = 0; // of all that is certified
    std::size_t halvingsLeft_ = 0;
};

/// Largest coordinate of the triangles that count, and the box around them.
struct Extent {
    double largest = 0;
    Bounding::AxisAlignedBoundingBox<3, double> box;

    void Add(const Surface& surface, const std::vector<int>& triangles)
    {
        for (const int triangle : triangles) {
            for (const Vec3d& corner :
                 Impl::TriangleAt(surface.points, surface.indices, triangle)) {
                largest = std::max(largest, Math::Impl::LargestMagnitude(corner));
                box.Grow(corner);
            }
        }
    }
};

} // namespace

HausdorffBoundsReport HausdorffBounds(const Mesh::IndexedPointsBase<3, double>& meshA,
                                      const Mesh::IndexedPointsBase<3, double>& meshB,
                                      double accuracy)
{
    return Progress::Impl::Stoppable([&]() -> HausdorffBoundsReport {
        HausdorffBoundsReport report;
        if (IsEmpty(meshA) || IsEmpty(meshB)) {
            return report;
        }
        TriangleTree treeA;
        TriangleTree treeB;
        Parallel::Impl::ApplyInvoke([&] { treeA = TriangleTree(meshA.points, meshA.indices); },
                                    [&] { treeB = TriangleTree(meshB.points, meshB.indices); });
        if (treeA.TriangleCount() == 0 || treeB.TriangleCount() == 0) {
            return report;
        }
        Extent extent;
        const std::vector<int> trianglesA = UsableTriangles(meshA);
        const std::vector<int> trianglesB = UsableTriangles(meshB);
        extent.Add(meshA, trianglesA);
        extent.Add(meshB, trianglesB);
        const double rounding = kRounding * extent.largest;
        const double least = std::max(kLeastAccuracy * Length(extent.box.max - extent.box.min),
                                      kLeastRoundings * rounding);
        // In this form also for NaN. What the bounds are moved apart is part of the accuracy.
        const double share = (accuracy > least ? accuracy : least) - 2 * rounding;

        Search first({meshA, trianglesA, meshB, trianglesB, treeB});
        Search second({meshB, trianglesB, meshA, trianglesA, treeA});
        const auto inPhase = [](double from, double to, const auto& step) {
            const Progress::Impl::PhaseOfCall phase(from, to);
            step();
        };
        inPhase(0.1, 0.3, [&] { first.MeasurePoints(); });
        inPhase(0.3, 0.5, [&] { second.MeasurePoints(); });
        const auto seedsOfFirst = first.Seeds();
        first.TrySeeds(second.Seeds());
        second.TrySeeds(seedsOfFirst);
        inPhase(0.5, 0.75, [&] { first.Run(share); });
        inPhase(0.75, 1, [&] { second.Run(share); });
        report.first = first.Result(rounding);
        report.second = second.Result(rounding);
        report.lower = std::max(report.first.lower, report.second.lower);
        report.upper = std::max(report.first.upper, report.second.upper);
        return report;
    });
}

} // namespace Velk::Math::Sorvane::MeshUtils
