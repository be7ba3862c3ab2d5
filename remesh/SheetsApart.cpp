#include "remesh/SheetsApart_Impl.h"

#include "foundation/EdgeUses_Impl.h"
#include "mathbase/DisjointSets_Impl.h"

#include <Velk/Math/Tolerances_E.h>
#include <Velk/Math/Vector_E.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <numeric>
#include <tuple>
#include <utility>

namespace Velk::Math::Sorvane::HalfEdge::Impl {

namespace {

using Math::Impl::DisjointSets;
using Sorvane::Impl::EdgeUse;
using Sorvane::Impl::EdgeUses;

/// A triangle at an edge: where it lies round it, and which way it runs it.
struct Leaf {
    int apex;      // the point off the edge
    bool isUpward; // from the smaller point number to the larger
    int place;     // of its half-edge, 3t + k
    double angle;

    int Triangle() const { return place / 3; }
};

int Next(int place) { return place % 3 == 2 ? place - 2 : place + 1; }

/// The winding number on the front of each triangle: how often the surface goes round the space
/// there, 0 outside of all bodies. On its back it is one more.
///
/// Round an edge the numbers of its triangles follow from each other, so that sets of triangles
/// joined by edges share one unknown.
class FrontNumbers {
public:
    explicit FrontNumbers(std::size_t triangles) : above_(triangles), rises_(triangles, 0)
    {
        std::iota(above_.begin(), above_.end(), 0);
    }

    /// The number on t is that on s plus `rise`. Surfaces that pass through each other contradict
    /// themselves; what was said first holds.
    void Join(int s, int t, int rise)
    {
        const auto [setOfS, riseOfS] = Find(s);
        const auto [setOfT, riseOfT] = Find(t);
        const int between = riseOfS + rise - riseOfT;
        if (setOfS < setOfT) {
            Hang(setOfT, setOfS, between);
        } else if (setOfT < setOfS) {
            Hang(setOfS, setOfT, -between);
        }
    }

    /// The first triangle of the set, and by how much the number on t is above the one there.
    std::pair<int, int> Find(int t)
    {
        int rise = 0;
        while (Above(t) != t) {
            const int above = Above(t);
            Rise(t) += Rise(above); // that of a first triangle is 0
            Above(t) = Above(above);
            rise += Rise(t);
            t = Above(t);
        }
        return {t, rise};
    }

private:
    void Hang(int t, int under, int rise)
    {
        Above(t) = under;
        Rise(t) = rise;
    }
    int& Above(int t) { return above_[static_cast<std::size_t>(t)]; }
    int& Rise(int t) { return rises_[static_cast<std::size_t>(t)]; }

    std::vector<int> above_;
    std::vector<int> rises_; // above the number on `above_`
};

/// The leaves of an edge, and those of them in pairs that belong to one sheet.
class Edge {
public:
    Edge(const std::vector<Vec3d>& points, const std::vector<int>& indices)
        : points_(points), indices_(indices)
    {
    }

    /// Puts the leaves in their order round the edge. False where they don't go in and out of
    /// bodies by turns, or where there are only two, which need no order.
    bool Arrange(int smaller, const EdgeUse* first, const EdgeUse* last)
    {
        twins.clear();
        leaves.clear();
        if (last - first < 2 || smaller == first->larger) {
            return false;
        }
        for (const EdgeUse* use = first; use != last; ++use) {
            leaves.push_back(
                {IndexAt(Next(Next(use->place))), IndexAt(use->place) == smaller, use->place, 0.0});
        }
        if (last - first == 2) {
            return false;
        }
        // A triangle given twice counts once, and its twin stays with it.
        std::sort(leaves.begin(), leaves.end(), [](const Leaf& a, const Leaf& b) {
            return std::tie(a.apex, a.isUpward, a.place) < std::tie(b.apex, b.isUpward, b.place);
        });
        std::size_t kept = 0;
        std::ptrdiff_t upward = 0;
        for (const Leaf& leaf : leaves) {
            if (kept > 0 && leaf.apex == leaves[kept - 1].apex &&
                leaf.isUpward == leaves[kept - 1].isUpward) {
                twins.emplace_back(leaves[kept - 1].place, leaf.place);
            } else {
                upward += leaf.isUpward ? 1 : 0;
                leaves[kept++] = leaf;
            }
        }
        leaves.resize(kept);
        return kept >= 4 && 2 * upward == static_cast<std::ptrdiff_t>(kept) &&
               SortByAngle(PointAt(smaller), PointAt(first->larger));
    }

    /// Says how the numbers on the fronts of the leaves follow from each other. Twins stay sets of
    /// one.
    void JoinFronts(FrontNumbers& fronts)
    {
        WalkRound(0);
        for (std::size_t i = 1; i < leaves.size(); ++i) {
            fronts.Join(leaves[0].Triangle(), leaves[i].Triangle(), fronts_[i] - fronts_[0]);
        }
    }

    /// The leaves with a body between them, given the number on the front of the first.
    ///
    /// A body wound to the outside is where the number is 1 or more, one wound inside out where it
    /// is -1 or less. Those of more than one turn lie in each other, so that every step of the
    /// number has pairs of its own.
    void Pair(int front)
    {
        pairs = twins;
        WalkRound(front);
        const int lowest = *std::min_element(fronts_.begin(), fronts_.end());
        waiting_.assign(leaves.size(), -1); // leaf where the body of a step begins
        for (const bool isFirstRound : {true, false}) {
            for (std::size_t i = 0; i < leaves.size(); ++i) {
                int& waiting = waiting_[static_cast<std::size_t>(fronts_[i] - lowest)];
                const bool isEnd = leaves[i].isUpward == (fronts_[i] >= 0);
                if (!isEnd && isFirstRound) {
                    waiting = static_cast<int>(i);
                } else if (isEnd && waiting >= 0) {
                    pairs.emplace_back(leaves[static_cast<std::size_t>(waiting)].place,
                                       leaves[i].place);
                    waiting = -1;
                }
            }
        }
    }

    std::vector<Leaf> leaves;
    std::vector<std::pair<int, int>> twins; // places of half-edges
    std::vector<std::pair<int, int>> pairs; // the same, with the twins

private:
    /// Leaves closer together lie on each other.
    static constexpr double kLeastTurn = 1e-9;

    /// False where leaves lie on each other, or nowhere.
    bool SortByAngle(const Vec3d& from, const Vec3d& to)
    {
        const Vec3d axis = Vector::Normalized(to - from, 0.0);
        Vec3d zero;
        for (Leaf& leaf : leaves) {
            const Vec3d apex = PointAt(leaf.apex) - from;
            const Vec3d beside = apex - axis * (apex * axis);
            if (&leaf == &leaves.front()) {
                zero = Vector::Normalized(beside, 0.0);
            }
            leaf.angle = std::atan2(axis * (zero ^ beside), zero * beside);
            if (!std::isfinite(leaf.angle)) {
                return false; // no order to sort by
            }
        }
        std::sort(leaves.begin(), leaves.end(),
                  [](const Leaf& a, const Leaf& b) { return a.angle < b.angle; });
        double last = leaves.back().angle - kTwoPi<double>;
        return std::all_of(leaves.begin(), leaves.end(), [&](const Leaf& leaf) {
            return leaf.angle - std::exchange(last, leaf.angle) > kLeastTurn;
        });
    }

    /// The numbers on the fronts, given that of the first leaf.
    ///
    /// On the way round, counterclockwise about the edge, one comes to the front of a downward leaf
    /// and to the back of an upward one.
    void WalkRound(int front)
    {
        int number = leaves[0].isUpward ? front + 1 : front;
        fronts_.clear();
        for (const Leaf& leaf : leaves) {
            fronts_.push_back(leaf.isUpward ? --number : number++);
        }
    }

    int IndexAt(int place) const { return indices_[static_cast<std::size_t>(place)]; }
    const Vec3d& PointAt(int point) const { return points_[static_cast<std::size_t>(point)]; }

    const std::vector<Vec3d>& points_;
    const std::vector<int>& indices_;
    std::vector<int> fronts_;
    std::vector<int> waiting_;
};

/// The triangles in sets that have edges in common, and the number on the front of the first
/// triangle of each.
///
/// Seen from the middle of a triangle, the rest of its set fills a solid angle of 2 pi more than 4
/// pi times the number on its front. It is asked of the largest triangle, as others may be next to
/// nothing.
class Surfaces {
public:
    Surfaces(const std::vector<Vec3d>& points, const std::vector<int>& indices,
             FrontNumbers& fronts)
        : points_(points), indices_(indices)
    {
        const int count = static_cast<int>(indices.size() / 3);
        std::vector<int> sets(indices.size() / 3);
        for (int t = 0; t < count; ++t) {
            sets[static_cast<std::size_t>(t)] = fronts.Find(t).first;
        }
        std::vector<int> largest(sets.size(), -1);
        std::vector<double> areas(sets.size(), 0.0);
        for (int t = 0; t < count; ++t) {
            const auto set = static_cast<std::size_t>(sets[static_cast<std::size_t>(t)]);
            const auto [a, b, c] = CornersOf(t);
            const double area = Length((b - a) ^ (c - a));
            if (area > areas[set]) {
                areas[set] = area;
                largest[set] = t;
            }
        }
        std::vector<double> turns(sets.size(), 0.0); // in full spheres
        for (int t = 0; t < count; ++t) {
            const auto set = static_cast<std::size_t>(sets[static_cast<std::size_t>(t)]);
            const int seat = largest[set];
            if (seat >= 0) {
                turns[set] += SolidAngle(CornersOf(t), CornersOf(seat)) / (2 * kTwoPi<double>);
            }
        }
        numbers_.assign(sets.size(), 0);
        for (std::size_t set = 0; set < sets.size(); ++set) {
            // What nobody can tell counts as wound to the outside.
            if (largest[set] >= 0 && std::isfinite(turns[set])) {
                numbers_[set] = static_cast<int>(std::lround(turns[set] - 0.5)) -
                                fronts.Find(largest[set]).second;
            }
        }
    }

    int NumberOf(int set) const { return numbers_[static_cast<std::size_t>(set)]; }

private:
    using Corners = std::array<Vec3d, 3>;

    Corners CornersOf(int t) const
    {
        const auto corner = [&](int k) {
            const int index = indices_[static_cast<std::size_t>(3 * t + k)];
            return points_[static_cast<std::size_t>(index)];
        };
        return {corner(0), corner(1), corner(2)};
    }

    /// Of a triangle seen from the middle of another, positive where that sees the back; 0 for the
    /// seat itself. A. van Oosterom, J. Strackee, "The solid angle of a plane triangle", 1983.
    static double SolidAngle(const Corners& triangle, const Corners& seat)
    {
        const Vec3d& origin = seat[0];
        const Vec3d middle = ((seat[1] - origin) + (seat[2] - origin)) / 3.0;
        Corners unit;
        for (std::size_t k = 0; k < 3; ++k) {
            unit[k] = Vector::Normalized(triangle[k] - origin - middle, 0.0);
        }
        const auto& [a, b, c] = unit;
        return triangle == seat ? 0.0 : 2 * std::atan2(a * (b ^ c), 1.0 + a * b + b * c + c * a);
    }

    const std::vector<Vec3d>& points_;
    const std::vector<int>& indices_;
    std::vector<int> numbers_;
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
            if (edge.Arrange(static_cast<int>(b), first, last)) {
                isShared[b] = isShared[static_cast<std::size_t>(first->larger)] = 1;
                isAny = true;
            }
        });
    }
    if (!isAny) {
        return false;
    }

    FrontNumbers fronts(usable.size() / 3);
    for (std::size_t b = 0; b < edges.BucketCount(); ++b) {
        edges.ForEachEdge(b, [&](const EdgeUse* first, const EdgeUse* last) {
            if (edge.Arrange(static_cast<int>(b), first, last)) {
                edge.JoinFronts(fronts);
            } else if (edge.leaves.size() == 2 &&
                       edge.leaves[0].isUpward != edge.leaves[1].isUpward) {
                fronts.Join(edge.leaves[0].Triangle(), edge.leaves[1].Triangle(), 0);
            }
        });
    }
    const Surfaces surfaces(points, usable, fronts);

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
            if (edge.Arrange(static_cast<int>(b), first, last)) {
                const auto [set, rise] = fronts.Find(edge.leaves[0].Triangle());
                edge.Pair(surfaces.NumberOf(set) + rise);
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
        if (isShared[point] == 0 || usable[i - i % 3] == usable[i - i % 3 + 1]) {
            continue; // also what is no triangle, whose corners are not its own
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
