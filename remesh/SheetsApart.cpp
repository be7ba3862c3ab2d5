#include "remesh/SheetsApart_Impl.h"

#include "foundation/EdgeUses_Impl.h"
#include "mathbase/DisjointSets_Impl.h"

#include <Velk/Math/Tolerances_E.h>
#include <Velk/Math/Vector_E.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <tuple>
#include <utility>

namespace Velk::Math::Sorvane::HalfEdge::Impl {

namespace {

using Math::Impl::DisjointSets;
using Sorvane::Impl::EdgeUse;
using Sorvane::Impl::EdgeUses;

/// A triangle at an edge: where it lies round it, and which way it runs it.
struct Leaf {
    double angle;
    int apex;      // the point off the edge
    int place;     // of its half-edge, 3t + k
    bool isUpward; // from the smaller point number to the larger
};

int Next(int place) { return place % 3 == 2 ? place - 2 : place + 1; }

/// The leaves of an edge in pairs with material between them.
class Edge {
public:
    Edge(const std::vector<Vec3d>& points, const std::vector<int>& indices)
        : points_(points), indices_(indices)
    {
    }

    /// False for an edge that stays as it is.
    bool Pair(int smaller, const EdgeUse* first, const EdgeUse* last)
    {
        pairs.clear();
        leaves_.clear();
        if (last - first < 4 || smaller == first->larger) {
            return false;
        }
        const Vec3d& from = PointAt(smaller);
        const Vec3d axis = Vector::Normalized(PointAt(first->larger) - from, 0.0);
        Vec3d zero;
        for (const EdgeUse* use = first; use != last; ++use) {
            const int next = Next(use->place);
            const Vec3d apex = PointAt(IndexAt(Next(next))) - from;
            const Vec3d beside = apex - axis * (apex * axis);
            if (use == first) {
                zero = Vector::Normalized(beside, 0.0);
            }
            const double angle = std::atan2(axis * (zero ^ beside), zero * beside);
            if (!std::isfinite(angle)) {
                return false;
            }
            leaves_.push_back(
                {angle, IndexAt(Next(next)), use->place, IndexAt(use->place) == smaller});
        }
        std::sort(leaves_.begin(), leaves_.end(), [](const Leaf& a, const Leaf& b) {
            return std::tie(a.angle, a.apex, a.isUpward, a.place) <
                   std::tie(b.angle, b.apex, b.isUpward, b.place);
        });
        // A triangle given twice counts once, and its twin stays with it.
        std::size_t kept = 0;
        for (std::size_t i = 0; i < leaves_.size(); ++i) {
            if (i > 0 && leaves_[i].apex == leaves_[kept - 1].apex &&
                leaves_[i].isUpward == leaves_[kept - 1].isUpward) {
                pairs.emplace_back(leaves_[kept - 1].place, leaves_[i].place);
            } else {
                leaves_[kept++] = leaves_[i];
            }
        }
        leaves_.erase(leaves_.begin() + static_cast<std::ptrdiff_t>(kept), leaves_.end());
        if (leaves_.size() < 4) {
            return false;
        }
        // On the way round, counterclockwise about the edge, material lies before an upward leaf
        // and behind a downward one: the two take turns.
        const std::size_t count = leaves_.size();
        for (std::size_t i = 0; i < count; ++i) {
            const Leaf& leaf = leaves_[i];
            const Leaf& next = leaves_[(i + 1) % count];
            const double turn = next.angle - leaf.angle + (i + 1 == count ? kTwoPi<double> : 0.0);
            if (!(turn > kLeastTurn) || leaf.isUpward == next.isUpward) {
                return false;
            }
            if (!leaf.isUpward) {
                pairs.emplace_back(leaf.place, next.place);
            }
        }
        return true;
    }

    std::vector<std::pair<int, int>> pairs; // places of half-edges, of twins too

private:
    /// Leaves closer together lie on each other.
    static constexpr double kLeastTurn = 1e-9;

    int IndexAt(int place) const { return indices_[static_cast<std::size_t>(place)]; }
    const Vec3d& PointAt(int point) const { return points_[static_cast<std::size_t>(point)]; }

    const std::vector<Vec3d>& points_;
    const std::vector<int>& indices_;
    std::vector<Leaf> leaves_;
};

} // namespace

bool TakeSheetsApart(const std::vector<Vec3d>& points, const std::vector<int>& indices,
                     Mesh::IndexedPointsBase<3, double>& apart)
{
    // What half-edge meshes leave out has no edges here either.
    constexpr int kNoPoint = 0;
    std::vector<int> usable(indices.begin(),
                            indices.end() - static_cast<std::ptrdiff_t>(indices.size() % 3));
    for (auto corner = usable.begin(); corner != usable.end(); corner += 3) {
        const bool isTriangle =
            corner[0] != corner[1] && corner[1] != corner[2] && corner[2] != corner[0] &&
            std::all_of(corner, corner + 3, [&](int index) {
                return index >= 0 && static_cast<std::size_t>(index) < points.size();
            });
        if (!isTriangle) {
            std::fill_n(corner, 3, kNoPoint);
        }
    }
    const EdgeUses edges(usable);
    Edge edge(points, usable);
    std::vector<unsigned char> isShared(points.size(), 0); // ends of edges to be taken apart
    bool isAny = false;
    for (std::size_t b = 0; b < edges.BucketCount(); ++b) {
        edges.ForEachEdge(b, [&](const EdgeUse* first, const EdgeUse* last) {
            if (edge.Pair(static_cast<int>(b), first, last)) {
                isShared[b] = isShared[static_cast<std::size_t>(first->larger)] = 1;
                isAny = true;
            }
        });
    }
    if (!isAny) {
        return false;
    }

    // Corners at shared points are one where their triangles have an edge in common.
    DisjointSets corners(usable.size());
    const auto join = [&](int place, int other) {
        const auto at = [&](int i) { return usable[static_cast<std::size_t>(i)]; };
        const bool isAlike = at(place) == at(other);
        corners.Join(place, isAlike ? other : Next(other));
        corners.Join(Next(place), isAlike ? Next(other) : other);
    };
    for (std::size_t b = 0; b < edges.BucketCount(); ++b) {
        edges.ForEachEdge(b, [&](const EdgeUse* first, const EdgeUse* last) {
            if (static_cast<int>(b) == first->larger) {
                return;
            }
            if (edge.Pair(static_cast<int>(b), first, last)) {
                for (const auto& [place, other] : edge.pairs) {
                    join(place, other);
                }
                return;
            }
            for (const EdgeUse* use = first + 1; use != last; ++use) {
                join(first->place, use->place);
            }
        });
    }

    Mesh::IndexedPointsBase<3, double> made{points, indices};
    std::vector<unsigned char> isTaken(points.size(), 0);
    std::vector<int> pointOf(usable.size(), -1); // of a set of corners, by its name
    for (std::size_t i = 0; i < usable.size(); ++i) {
        const auto point = static_cast<std::size_t>(usable[i]);
        if (isShared[point] == 0 || indices[i] != usable[i]) {
            continue;
        }
        int& own = pointOf[static_cast<std::size_t>(corners.Find(static_cast<int>(i)))];
        if (own < 0 && isTaken[point] == 0) {
            isTaken[point] = 1;
            own = static_cast<int>(point);
        } else if (own < 0) {
            own = static_cast<int>(made.points.size());
            made.points.push_back(points[point]);
        }
        made.indices[i] = own;
    }
    apart = std::move(made);
    return true;
}

} // namespace Velk::Math::Sorvane::HalfEdge::Impl
