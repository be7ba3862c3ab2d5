// Vertices that two lists of polylines have in common.
//
// Coincidence is closed: a row of points, each within the tolerance of the next, is one group.
// Cells somewhat narrower than the tolerance keep that cheap in a crowd: all points of a cell
// coincide, and what coincides lies no more than two cells apart. Where the tolerance is below the
// rounding of the coordinates, cells hold runs of numbers instead and their few distinct points are
// compared one by one.

#include "mathbase/DisjointSets_Impl.h"
#include "mathbase/PointCells_Impl.h"
#include "mathbase/Values_Impl.h"

#include <Velk/Math/Intersect_E.h>

#include <boost/unordered/unordered_flat_map.hpp>

#include <algorithm>
#include <cstddef>
#include <vector>

namespace Velk::Math::Intersect {
namespace {

using Math::Impl::DisjointSets;
using Vector::Impl::CellRule;
using PlaneCell = Vector::Impl::Cell<2>;

struct HashOfCell {
    std::size_t operator()(const PlaneCell& cell) const
    {
        return Vector::Impl::HashOfCell<2>(cell);
    }
    using is_avalanching = void;
};

template <class T>
class VertexGroups {
public:
    VertexGroups(const std::vector<VecBase<2, T>>& points, T tolerance)
        : points_(points), tolerance_(tolerance),
          rule_(0.0, tolerance > 0 ? kCellWidth * static_cast<double>(tolerance) : 0.0),
          groups_(points.size())
    {
        if (tolerance >= 0) { // not NaN
            GatherCrowds();
            UniteWithinCrowds();
            UniteAcrossCrowds();
        }
    }

    DisjointSets& Result() { return groups_; }

private:
    /// In tolerances: points that match are then some 4/3 cells apart at most, which no rounding,
    /// of their difference or of their cell numbers, turns into more than two.
    static constexpr double kCellWidth = 0.75;

    /// The vertices of one cell. Those of equal coordinates are already united and appear once.
    struct Crowd {
        PlaneCell cell{};
        std::vector<int> vertices;
        VecBase<2, T> low;
        VecBase<2, T> high;
        /// No wider than the tolerance, so that all its vertices coincide.
        bool isNarrow = false;
    };

    const VecBase<2, T>& Point(int vertex) const
    {
        return points_[static_cast<std::size_t>(vertex)];
    }

    void GatherCrowds()
    {
        numbers_.reserve(points_.size());
        for (int vertex = 0; vertex < static_cast<int>(points_.size()); ++vertex) {
            if (!Math::Impl::IsFinite(Point(vertex))) {
                continue;
            }
            const PlaneCell cell = Vector::Impl::CellOf(Point(vertex), rule_);
            const auto [place, isNew] =
                numbers_.try_emplace(cell, static_cast<int>(crowds_.size()));
            if (isNew) {
                crowds_.emplace_back().cell = cell;
            }
            crowds_[static_cast<std::size_t>(place->second)].vertices.push_back(vertex);
        }
    }

    void UniteWithinCrowds()
    {
        for (Crowd& crowd : crowds_) {
            std::vector<int>& vertices = crowd.vertices;
            const auto lexicographic = [this](int a, int b) {
                const VecBase<2, T>& p = Point(a);
                const VecBase<2, T>& q = Point(b);
                return p.x() != q.x() ? p.x() < q.x() : p.y() < q.y();
            };
            std::stable_sort(vertices.begin(), vertices.end(), lexicographic);
            const auto newEnd = std::unique(vertices.begin(), vertices.end(), [this](int a, int b) {
                const bool equal = Point(a) == Point(b);
                if (equal) {
                    groups_.Join(a, b);
                }
                return equal;
            });
            vertices.erase(newEnd, vertices.end());

            crowd.low = crowd.high = Point(vertices.front());
            for (const int vertex : vertices) {
                for (int axis = 0; axis < 2; ++axis) {
                    const T x = Point(vertex)[axis];
                    crowd.low[axis] = std::min(crowd.low[axis], x);
                    crowd.high[axis] = std::max(crowd.high[axis], x);
                }
            }
            crowd.isNarrow = Vector::Matches(crowd.low, crowd.high, tolerance_);
            if (!crowd.isNarrow) {
                UniteMatching(crowd, crowd);
                continue;
            }
            for (const int vertex : vertices) {
                groups_.Join(vertices.front(), vertex);
            }
        }
    }

    void UniteAcrossCrowds()
    {
        constexpr int kFarthestCell = 2;
        for (const Crowd& crowd : crowds_) {
            for (int right = 0; right <= kFarthestCell; ++right) {
                for (int up = -kFarthestCell; up <= kFarthestCell; ++up) {
                    if (right == 0 && up <= 0) {
                        continue; // itself, or a pair that the other crowd examines
                    }
                    const auto place =
                        numbers_.find(PlaneCell{crowd.cell[0] + right, crowd.cell[1] + up});
                    if (place != numbers_.end()) {
                        Compare(crowd, crowds_[static_cast<std::size_t>(place->second)]);
                    }
                }
            }
        }
    }

    void Compare(const Crowd& a, const Crowd& b)
    {
        // In T, as `Matches` has it: a difference may round down to the tolerance.
        for (int axis = 0; axis < 2; ++axis) {
            if (a.low[axis] - b.high[axis] > tolerance_ ||
                b.low[axis] - a.high[axis] > tolerance_) {
                return;
            }
        }
        const bool areOne = a.isNarrow && b.isNarrow &&
                            groups_.Find(a.vertices.front()) == groups_.Find(b.vertices.front());
        if (!areOne) {
            UniteMatching(a, b);
        }
    }

    /// A single match unites two narrow crowds for good.
    void UniteMatching(const Crowd& a, const Crowd& b)
    {
        for (const int p : a.vertices) {
            for (const int q : b.vertices) {
                if (Vector::Matches(Point(p), Point(q), tolerance_)) {
                    groups_.Join(p, q);
                    if (a.isNarrow && b.isNarrow) {
                        return;
                    }
                }
            }
        }
    }

    const std::vector<VecBase<2, T>>& points_;
    T tolerance_;
    CellRule rule_;
    DisjointSets groups_; // named by their lowest members
    std::vector<Crowd> crowds_;
    boost::unordered_flat_map<PlaneCell, int, HashOfCell> numbers_;
};

} // namespace

template <class T>
std::vector<std::vector<PolyNodeDescriptor>>
IntersectPolylines(const std::vector<std::vector<VecBase<2, T>>>& polylines,
                   const std::vector<std::vector<VecBase<2, T>>>& second, T tolerance)
{
    std::vector<VecBase<2, T>> points;
    std::vector<PolyNodeDescriptor> descriptors;
    int polylineCount = 0;
    std::size_t firstOfSecond = 0;
    for (const auto* list : {&polylines, &second}) {
        firstOfSecond = points.size();
        for (const std::vector<VecBase<2, T>>& polyline : *list) {
            for (int node = 0; node < static_cast<int>(polyline.size()); ++node) {
                descriptors.push_back({polylineCount, node});
            }
            points.insert(points.end(), polyline.begin(), polyline.end());
            ++polylineCount;
        }
    }

    VertexGroups<T> vertexGroups(points, tolerance);
    DisjointSets& groups = vertexGroups.Result();
    // The lowest member of a group with members of both lists is one of the first list.
    std::vector<char> isShared(points.size(), 0);
    for (std::size_t vertex = firstOfSecond; vertex < points.size(); ++vertex) {
        isShared[static_cast<std::size_t>(groups.Find(static_cast<int>(vertex)))] = 1;
    }
    std::vector<std::vector<PolyNodeDescriptor>> crossings;
    std::vector<int> crossingOf(firstOfSecond, -1);
    for (std::size_t vertex = 0; vertex < points.size(); ++vertex) {
        const auto lowest = static_cast<std::size_t>(groups.Find(static_cast<int>(vertex)));
        if (lowest >= firstOfSecond || isShared[lowest] == 0) {
            continue;
        }
        if (lowest == vertex) {
            crossingOf[lowest] = static_cast<int>(crossings.size());
            crossings.emplace_back();
        }
        crossings[static_cast<std::size_t>(crossingOf[lowest])].push_back(descriptors[vertex]);
    }
    return crossings;
}

// clang-format off
template std::vector<std::vector<PolyNodeDescriptor>> IntersectPolylines(const std::vector<std::vector<VecBase<2, float>>>&,  const std::vector<std::vector<VecBase<2, float>>>&,  float);
template std::vector<std::vector<PolyNodeDescriptor>> IntersectPolylines(const std::vector<std::vector<VecBase<2, double>>>&, const std::vector<std::vector<VecBase<2, double>>>&, double);
// clang-format on

} // namespace Velk::Math::Intersect
