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

    /// The one with the greatest dot product, of equal ones the first. `start` is any number: the
    /// nearer, the quicker.
    int Nearest(const Vec3d& normal, int start) const
    {
        if (normal == Vec3d()) {
            return 0; // all dot products are equal
        }
        int nearest = start;
        double greatest = normal * At(start);
        hierarchy_.Visit([&](const Box& box) { return GreatestDot(normal, box) >= greatest; },
                         [&](int number) {
                             const double dot = normal * At(number);
                             if (dot > greatest || (dot == greatest && number < nearest)) {
                                 greatest = dot;
                                 nearest = number;
                             }
                         });
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

/// For each direction the one that it is dropped for, -1 for those that are kept: of pairs within
/// `reach` the later one, nearest pairs first, until more than a quarter of all are dropped.
///
/// Pairs are gathered in shells of growing distance. Where directions are dense the quarter is full
/// after the first of them, long before all pairs within reach have been listed.
std::vector<int> DroppedFor(const std::vector<Vec3d>& directions, double reach)
{
    constexpr double kFirstShell = 0x1p-36;
    constexpr double kGrowth = 64;
    constexpr double kRounding = 1e-14; // more than arc and rounded cosine can differ by
    const Representatives representatives(directions);
    const std::size_t most = directions.size() / 4;
    std::vector<int> droppedFor(directions.size(), -1);
    std::size_t count = 0;
    // What lies within reach has a dot product of at least this.
    const double least = reach < kPi<double> ? std::cos(std::max(reach, 0.0)) - kRounding
                                             : -std::numeric_limits<double>::infinity();
    const double widest = 1 - std::max(least, -2.0);
    double inner = -std::numeric_limits<double>::infinity();
    std::vector<NearPair> pairs;
    for (double share = kFirstShell;; share *= kGrowth) {
        const bool isLast = share >= 1;
        const double outer =
            isLast ? std::numeric_limits<double>::infinity() : std::min(1.0, share) * widest;
        pairs.clear();
        for (int i = 0; i < static_cast<int>(directions.size()); ++i) {
            // The dot product of a gap is found again but for a rounding.
            const double leastOfShell = isLast ? least : 1 - outer - kRounding;
            representatives.VisitBehind(i, leastOfShell, [&](int other, double dot) {
                const double gap = 1 - dot;
                if (gap > inner && gap <= outer) {
                    pairs.push_back({gap, i, other});
                }
            });
        }
        std::sort(pairs.begin(), pairs.end());
        for (const NearPair& pair : pairs) {
            // The arc cosine of a dot product that rounding has made more than 1 is NaN: within
            // reach.
            if (std::acos(1 - pair.gap) > reach || count > most) {
                return droppedFor;
            }
            int& dropped = droppedFor[static_cast<std::size_t>(pair.second)];
            if (dropped < 0) {
                dropped = pair.first;
                ++count;
            }
        }
        if (isLast) {
            return droppedFor;
        }
        inner = outer;
    }
}

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
        const Representatives representatives(directions_);
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
        const std::vector<int> droppedFor = DroppedFor(directions_, reach_);
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
    // From some 8 pi on all angles are rounded to 0, and all pairs are within reach.
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
