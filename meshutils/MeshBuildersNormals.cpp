// Groups of normals: a few directions that stand for all, by rounding to a grid of directions and
// then iterating means of clusters.
//
// Which direction is nearest to a normal, and which directions are near each other, is asked of a
// hierarchy of boxes around the directions. The greatest dot product that a box allows is the sum
// of the greatest products on each axis; calculated in the same order as the dot product itself it
// is never below that of a direction in the box, since rounding is monotonic. The answers are
// therefore those of looking at all directions, to the bit and with the same choice among equal
// ones.

#include <Sorvane/MeshBuilders_E.h>

#include <Sorvane/Triangle_E.h>
#include <Velk/Math/Vector_E.h>

#include "mathbase/Parallel_Impl.h"
#include "mathbase/Values_Impl.h"
#include "trees/BoxHierarchy_Impl.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <limits>

namespace Velk::Math::Sorvane::MeshUtils {
namespace {

constexpr double kTolerance = kLengthFloor<double>;
constexpr int kMostRounds = 2000;

/// Directions that stand for others, to be searched.
class Representatives {
public:
    explicit Representatives(const std::vector<Vec3d>& directions)
        : directions_(directions), hierarchy_(BoxesOf(directions), Tree::Impl::HierarchyCut::Area)
    {
    }

    /// Makes `Nearest` quicker for starts that are the nearest one or beside it.
    void ListNeighbors()
    {
        neighbors_.resize(directions_.size() * kNeighbors);
        reach_.resize(directions_.size());
        Parallel::Impl::ApplyParallelChunks(std::size_t{0}, directions_.size(),
                                            [&](std::size_t from, std::size_t to) {
                                                for (std::size_t i = from; i < to; ++i) {
                                                    ListNeighborsOf(i);
                                                }
                                            });
    }

    /// The one with the greatest dot product, of equal ones the first. `start` is any number: the
    /// nearer, the quicker.
    int Nearest(const Vec3d& normal, int start) const
    {
        if (normal == Vec3d()) {
            return 0; // all dot products are equal
        }
        int nearest = start;
        double greatest = normal * At(start);
        const auto consider = [&](int number) {
            const double dot = normal * At(number);
            if (dot > greatest || (dot == greatest && number < nearest)) {
                greatest = dot;
                nearest = number;
            }
        };
        // A direction without length is nearer than none: its dot product is 0. With the margin
        // the dot product of all that is farther away is less by more than rounding.
        constexpr double kAcute = 0.1;
        constexpr double kMargin = 1e-6;
        const double about = 2 * Vector::Length(normal - At(start)) + kMargin;
        if (!reach_.empty() && greatest > kAcute &&
            about < reach_[static_cast<std::size_t>(start)]) {
            const Neighbor* neighbor = &neighbors_[static_cast<std::size_t>(start) * kNeighbors];
            for (std::size_t k = 0; k < kNeighbors && neighbor[k].distance <= about; ++k) {
                consider(neighbor[k].number);
            }
            return nearest;
        }
        hierarchy_.Visit([&](const Box& box) { return GreatestDot(normal, box) >= greatest; },
                         consider);
        return nearest;
    }

    /// Calls sink(number, dot product) for those behind `number` with a dot product of at least
    /// `least`, in any order.
    template <class Sink>
    void VisitBehind(int number, double least, const Sink& sink) const
    {
        const Vec3d& direction = At(number);
        hierarchy_.Visit([&](const Box& box) { return GreatestDot(direction, box) >= least; },
                         [&](int other) {
                             const double dot = direction * At(other);
                             if (other > number && dot >= least) {
                                 sink(other, dot);
                             }
                         });
    }

private:
    using Box = Tree::Impl::BoxOf<3, double>;

    struct Neighbor {
        double distance;
        int number;

        friend bool operator<(const Neighbor& a, const Neighbor& b)
        {
            return a.distance < b.distance;
        }
    };
    static constexpr std::size_t kNeighbors = 24;

    /// The nearest ones around a direction, itself among them, in ascending distance; what is
    /// nearer than `reach_` is listed.
    void ListNeighborsOf(std::size_t direction)
    {
        constexpr double kInfinity = std::numeric_limits<double>::infinity();
        Neighbor* list = &neighbors_[direction * kNeighbors];
        std::size_t count = 0;
        const auto bound = [&] {
            return count < kNeighbors ? kInfinity : list[0].distance * list[0].distance;
        };
        hierarchy_.VisitNearest(
            directions_[direction], [&](double squared) { return squared <= bound(); },
            [&](int number) {
                const Neighbor found{Vector::Length(At(number) - directions_[direction]), number};
                if (count < kNeighbors) {
                    list[count++] = found;
                    std::push_heap(list, list + count);
                } else if (found < list[0]) {
                    std::pop_heap(list, list + count);
                    list[count - 1] = found;
                    std::push_heap(list, list + count);
                }
            });
        std::sort_heap(list, list + count);
        reach_[direction] = count < kNeighbors ? kInfinity : list[count - 1].distance;
        std::fill(list + count, list + kNeighbors, Neighbor{kInfinity, -1});
    }

    static std::vector<Box> BoxesOf(const std::vector<Vec3d>& directions)
    {
        std::vector<Box> boxes;
        boxes.reserve(directions.size());
        for (const Vec3d& direction : directions) {
            boxes.push_back({direction, direction});
        }
        return boxes;
    }

    static double GreatestDot(const Vec3d& direction, const Box& box)
    {
        double sum = 0;
        for (int axis = 0; axis < 3; ++axis) {
            sum += std::max(direction[axis] * box.min[axis], direction[axis] * box.max[axis]);
        }
        return sum;
    }

    const Vec3d& At(int number) const { return directions_[static_cast<std::size_t>(number)]; }

    const std::vector<Vec3d>& directions_;
    Tree::Impl::BoxHierarchy<3, double> hierarchy_;
    std::vector<Neighbor> neighbors_; // `kNeighbors` of each direction
    std::vector<double> reach_;       // of the list of each; none without lists
};

/// The sum of the dot products of all pairs: half of what the square of the sum has beyond the
/// squares.
double SumOfDots(const std::vector<Vec3d>& directions)
{
    Vec3d sum;
    double squares = 0;
    for (const Vec3d& direction : directions) {
        sum += direction;
        squares += direction * direction;
    }
    return 0.5 * (sum * sum - squares);
}

/// Two directions that are near each other.
struct NearPair {
    double gap; // 1 minus the dot product
    int first;
    int second;

    friend bool operator<(const NearPair& a, const NearPair& b)
    {
        return a.gap != b.gap       ? a.gap < b.gap
               : a.first != b.first ? a.first < b.first
                                    : a.second < b.second;
    }
};

/// Finds out which directions to drop: of pairs within `reach` the later one, nearest pairs first,
/// until more than a quarter of all are dropped.
class Dropping {
public:
    Dropping(const std::vector<Vec3d>& directions, double reach)
        : count_(static_cast<int>(directions.size())), reach_(reach), representatives_(directions),
          droppedFor_(directions.size(), -1)
    {
    }

    /// For each direction the one that it is dropped for, -1 for those that are kept.
    std::vector<int> Run()
    {
        constexpr double kRounding = 1e-14; // more than arc and rounded cosine can differ by
        constexpr double kWidest = 3.0;     // beyond all gaps
        const double widest =
            reach_ < kPi<double> ? 1 - std::cos(std::max(reach_, 0.0)) + kRounding : kWidest;
        DropBetween(-kWidest, widest);
        return std::move(droppedFor_);
    }

private:
    /// Takes the pairs whose gap is in (inner, outer], the nearest first. False when it is over.
    ///
    /// Where directions are dense these may be nearly all pairs, and the quarter is dropped long
    /// before the last of them: more than a few for each direction are taken in parts.
    bool DropBetween(double inner, double outer)
    {
        constexpr double kPart = 1.0 / 64;
        constexpr double kLeastPart = 1e-15;
        std::vector<NearPair> pairs;
        const std::size_t most = 1024 + 16 * droppedFor_.size();
        const bool canPart = outer > kLeastPart;
        for (int i = 0; i < count_; ++i) {
            AddPairsOf(i, inner, outer, pairs);
            if (pairs.size() > most && canPart) {
                const double middle = std::max(inner, 0.0) + (outer - std::max(inner, 0.0)) * kPart;
                if (!(middle > inner && middle < outer)) {
                    continue;
                }
                pairs = {};
                return DropBetween(inner, middle) && DropBetween(middle, outer);
            }
        }
        std::sort(pairs.begin(), pairs.end());
        return std::all_of(pairs.begin(), pairs.end(), [&](const NearPair& p) { return Drop(p); });
    }

    void AddPairsOf(int i, double inner, double outer, std::vector<NearPair>& pairs) const
    {
        // A gap stands for a dot product, but for a rounding.
        constexpr double kRounding = 1e-15;
        representatives_.VisitBehind(i, 1 - outer - kRounding, [&](int other, double dot) {
            const double gap = 1 - dot;
            if (gap > inner && gap <= outer) {
                pairs.push_back({gap, i, other});
            }
        });
    }

    bool Drop(const NearPair& pair)
    {
        // The arc cosine of a dot product that rounding has made more than 1 is NaN: within reach.
        if (std::acos(1 - pair.gap) > reach_ || dropped_ > count_ / 4) {
            return false;
        }
        int& droppedFor = droppedFor_[static_cast<std::size_t>(pair.second)];
        if (droppedFor < 0) {
            droppedFor = pair.first;
            ++dropped_;
        }
        return true;
    }

    int count_;
    double reach_;
    Representatives representatives_;
    std::vector<int> droppedFor_;
    int dropped_ = 0;
};

/// The normals rounded to the grid of directions with a step of half the resolution.
std::vector<Vec3d> OnGrid(const std::vector<Vec3d>& normals, double resolution)
{
    const double inclinationStep = std::max(kInversionFloor, resolution / kTwoPi<double>);
    const double azimuthStep = std::max(kInversionFloor, resolution / kTwoPi<double> * 0.5);
    std::vector<Vec3d> spherical = Vector::CartesianToSpherical(normals);
    for (Vec3d& direction : spherical) {
        const double inclination = std::round(direction[1] / kPi<double> / inclinationStep);
        const double azimuth = std::round(direction[2] / kTwoPi<double> / azimuthStep);
        direction = {1.0, inclination * inclinationStep * kPi<double>,
                     azimuth * azimuthStep * kTwoPi<double>};
    }
    return Vector::SphericalToCartesian(spherical);
}

/// The directions in order and each normal's number of one, of which the grouping is made.
class Grouping {
public:
    Grouping(const std::vector<Vec3d>& normals, double resolution)
        : normals_(Finite(normals)), directions_(OnGrid(normals_, resolution)),
          reach_(resolution * 0.5)
    {
        start_ = Vector::FilterForUniquenessAndIndex(directions_, kTolerance);
        for (Vec3d& normal : normals_) {
            normal = Vector::Normalized(normal, kTolerance);
        }
    }

    std::vector<int> Run()
    {
        double previous = std::numeric_limits<double>::max();
        std::size_t count = directions_.size();
        std::vector<int> groups;
        for (int round = 0; round < kMostRounds; ++round) {
            Assign();
            MoveToMeans();
            groups = start_;
            const double sum = SumOfDots(directions_);
            if (round + 1 < kMostRounds) {
                DropNear();
            }
            if (std::fabs(sum * 1e-6) >= std::fabs(sum - previous) && directions_.size() == count) {
                break;
            }
            previous = sum;
            count = directions_.size();
        }
        return groups;
    }

private:
    /// What is not finite has no direction, like a zero vector.
    static std::vector<Vec3d> Finite(std::vector<Vec3d> normals)
    {
        std::replace_if(
            normals.begin(), normals.end(),
            [](const Vec3d& normal) { return !Math::Impl::IsFinite(normal); }, Vec3d());
        return normals;
    }

    /// Each normal to its nearest direction, from the one on that it has.
    void Assign()
    {
        // A list costs as much as some normals that are looked up without one.
        constexpr std::size_t kNormalsOfList = 8;
        Representatives representatives(directions_);
        if (normals_.size() >= kNormalsOfList * directions_.size()) {
            representatives.ListNeighbors();
        }
        Parallel::Impl::ApplyParallelChunks(
            std::size_t{0}, normals_.size(), [&](std::size_t from, std::size_t to) {
                for (std::size_t i = from; i < to; ++i) {
                    start_[i] = representatives.Nearest(normals_[i], start_[i]);
                }
            });
    }

    /// Each direction becomes the mean of its normals; those without any go, equal ones become one,
    /// and all are sorted.
    void MoveToMeans()
    {
        std::vector<Vec3d> sums(directions_.size());
        std::vector<int> place(directions_.size(), -1); // in the order in which normals name them
        std::vector<int> named;
        for (std::size_t i = 0; i < normals_.size(); ++i) {
            const auto direction = static_cast<std::size_t>(start_[i]);
            sums[direction] += normals_[i];
            if (place[direction] < 0) {
                place[direction] = static_cast<int>(named.size());
                named.push_back(start_[i]);
            }
        }
        directions_.clear();
        for (const int direction : named) {
            directions_.push_back(
                Vector::Normalized(sums[static_cast<std::size_t>(direction)], kTolerance));
        }
        const std::vector<int> survivors =
            Vector::FilterForUniquenessAndIndex(directions_, kTolerance);
        for (int& direction : start_) {
            const int number = place[static_cast<std::size_t>(direction)];
            direction = survivors[static_cast<std::size_t>(number)];
        }
    }

    /// Drops directions, and starts the search of their normals from those that they were dropped
    /// for.
    void DropNear()
    {
        const std::vector<int> droppedFor = Dropping(directions_, reach_).Run();
        std::vector<int> numbers(directions_.size());
        std::size_t kept = 0;
        for (std::size_t i = 0; i < directions_.size(); ++i) {
            // The one dropped for is a lower number, which itself may have been dropped for
            // another.
            numbers[i] = droppedFor[i] < 0 ? static_cast<int>(kept)
                                           : numbers[static_cast<std::size_t>(droppedFor[i])];
            if (droppedFor[i] < 0) {
                directions_[kept++] = directions_[i];
            }
        }
        directions_.resize(kept);
        for (int& direction : start_) {
            direction = numbers[static_cast<std::size_t>(direction)];
        }
    }

    std::vector<Vec3d> normals_;
    std::vector<Vec3d> directions_;
    double reach_;
    std::vector<int> start_; // for each normal a direction: the nearest, or one near it
};

} // namespace

std::vector<int> RepresentativeNormalGrouping(const std::vector<Vec3d>& normals, double resolution)
{
    // From 4 pi on all inclinations are rounded to 0, which leaves one direction.
    constexpr double kCoarsest = 16 * kPi<double>;
    if (normals.empty()) {
        return {};
    }
    return Grouping(normals, std::isnan(resolution) ? 0.0 : std::min(resolution, kCoarsest)).Run();
}

std::vector<int> RepresentativeNormalGrouping(const Mesh::IndexedPointsBase<3, double>& mesh,
                                              double resolution)
{
    return RepresentativeNormalGrouping(Mesh::Normals(mesh), resolution);
}

} // namespace Velk::Math::Sorvane::MeshUtils
