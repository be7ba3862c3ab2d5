// The box of least volume around points, by facets, by pairs of edges, and by turning what these
// have found.

#include <Sorvane/ConvexHull_E.h>
#include <Sorvane/OrientedBox_E.h>

#include "bounding/OrientedBox_Impl.h"
#include "mathbase/Direction_Impl.h"
#include "mathbase/Progress_Impl.h"
#include "mathbase/WatchedSort_Impl.h"

#include <Velk/Math/Matrix_E.h>
#include <Velk/Math/Vector_E.h>

#include <array>
#include <cmath>

namespace Velk::Math::Sorvane::Bounding {

namespace {

using Impl::Frame;
using Impl::Merit;

/// Facets that boxes are stood on, those of greatest area; a smooth hull has good boxes near any of
/// them.
constexpr std::size_t kMostFacets = 4096;
/// Edges that are paired, and pairs that are tried.
constexpr std::size_t kMostEdges = 1024;
constexpr std::size_t kMostPairs = 4096;
/// Sine up to which two edges count as parallel.
constexpr double kParallel = 1e-9;
/// Cosine of the turn below which the axes between two facets need not be tried: small turns of the
/// boxes on the facets come there.
constexpr double kHardlyTurned = 0.98;
/// Candidates that are improved.
constexpr std::size_t kImproved = 30;
/// Candidates that are measured by one task.
constexpr std::size_t kTask = 32;
/// Share by which a change has to make the volume less to count.
constexpr double kGain = 1e-12;
/// Turns, in radians, by which boxes are improved: from the first, halved down to the last.
constexpr double kFirstTurn = 0.06;
constexpr double kLastTurn = 1e-8;
/// Rounds of turning about the own axes and about any, each of which has to gain something.
constexpr int kMostRounds = 20;

struct Edge {
    int from;
    int to;
    int left;  // the triangle that runs it so
    int right; // the other one
};

/// A candidate: its frame and what it is worth.
struct Candidate {
    Merit merit = Impl::kDropped;
    Frame frame;
};

class Hull {
public:
    Hull(const std::vector<Vec3d>& points, const std::vector<int>& triangles)
        : points_(points), graph_(points, triangles)
    {
        for (std::size_t i = 0; i < triangles.size(); i += 3) {
            const auto corner = [&](std::size_t k) -> const Vec3d& {
                return points[static_cast<std::size_t>(triangles[i + k])];
            };
            areas_.push_back((corner(1) - corner(0)) ^ (corner(2) - corner(0)));
        }
        AddEdges(triangles);
    }

    /// Directions along which one of the box's axes may lie, each with its opposite left out.
    std::vector<Vec3d> Axes() const
    {
        std::vector<Vec3d> axes;
        for (const int facet : Largest(areas_.size(), kMostFacets, [&](std::size_t f) {
                 return Vector::SquaredLength(areas_[f]);
             })) {
            AddAxis(axes, areas_[static_cast<std::size_t>(facet)]);
        }
        AddAxesOfEdges(axes);
        Vector::FilterForUniqueness(axes, 1e-9); // nearer ones are improved to the same box
        return axes;
    }

    /// The least box around `axis`. `outline` is working storage.
    Candidate BoxAround(const Vec3d& axis, std::vector<Vec2d>& outline,
                        std::vector<char>& isFront) const
    {
        const Frame plane = Impl::FrameOf(Matrix::RotationFromZ(axis));
        for (std::size_t f = 0; f < areas_.size(); ++f) {
            Progress::Impl::CheckStep(f);
            isFront[f] = areas_[f] * plane.z > 0 ? 1 : 0;
        }
        outline.clear();
        Progress::Impl::Steps steps;
        for (const Edge& edge : edges_) {
            steps.Next();
            if (isFront[static_cast<std::size_t>(edge.left)] !=
                isFront[static_cast<std::size_t>(edge.right)]) {
                for (const int end : {edge.from, edge.to}) {
                    const Vec3d& p = points_[static_cast<std::size_t>(end)];
                    outline.push_back({p * plane.x, p * plane.y});
                }
            }
        }
        const auto rectangle = Impl::SmallestRectangle(Impl::PlainHull(outline));
        if (!rectangle) {
            return {};
        }
        const Vec2d& along = rectangle->along;
        return Measured({plane.x * along.x() + plane.y * along.y(),
                         plane.y * along.x() - plane.x * along.y(), plane.z});
    }

    Candidate BoxAround(const Vec3d& axis) const
    {
        std::vector<Vec2d> outline;
        std::vector<char> isFront(areas_.size());
        return BoxAround(axis, outline, isFront);
    }

    std::size_t FacetCount() const { return areas_.size(); }

    Candidate Measured(const Frame& frame) const
    {
        const auto extent = [&](const Vec3d& axis) {
            return graph_.Reach(axis) + graph_.Reach(-axis);
        };
        return {Impl::MeritOf({extent(frame.x), extent(frame.y), extent(frame.z)}), frame};
    }

private:
    void AddEdges(const std::vector<int>& triangles)
    {
        struct Side {
            std::pair<int, int> ends; // the lower number first
            int from;
            int triangle;
        };
        std::vector<Side> sides;
        for (std::size_t i = 0; i < triangles.size(); ++i) {
            const int from = triangles[i];
            const int to = triangles[i / 3 * 3 + (i + 1) % 3];
            sides.push_back({std::minmax(from, to), from, static_cast<int>(i / 3)});
        }
        Parallel::Impl::WatchedSort(sides.begin(), sides.end(), [](const Side& a, const Side& b) {
            return std::pair(a.ends, a.from) < std::pair(b.ends, b.from);
        });
        for (std::size_t i = 0; i + 1 < sides.size(); i += 2) { // the hull is closed
            edges_.push_back({sides[i].ends.first, sides[i].ends.second, sides[i].triangle,
                              sides[i + 1].triangle});
        }
    }

    template <class Weight>
    static std::vector<int> Largest(std::size_t count, std::size_t most, const Weight& weight)
    {
        std::vector<std::pair<double, int>> order;
        for (std::size_t i = 0; i < count; ++i) {
            order.emplace_back(-weight(i), static_cast<int>(i));
        }
        if (order.size() > most) {
            std::nth_element(order.begin(), order.begin() + static_cast<std::ptrdiff_t>(most),
                             order.end());
            order.resize(most);
        }
        std::sort(order.begin(), order.end());
        std::vector<int> largest;
        for (const auto& entry : order) {
            largest.push_back(entry.second);
        }
        return largest;
    }

    /// Of a direction and its opposite the one whose first component that is not zero is positive.
    static void AddAxis(std::vector<Vec3d>& axes, const Vec3d& direction)
    {
        const Vec3d unit = Math::Impl::UnitDirection(direction);
        const Vec3d zero;
        const bool isNegative =
            std::lexicographical_compare(unit.begin(), unit.end(), zero.begin(), zero.end());
        if (unit != zero) {
            axes.push_back(isNegative ? -unit : unit);
        }
    }

    /// An edge of the hull with what lies beside it.
    struct Ridge {
        Vec3d along;
        Vec3d left; // normals of its two triangles
        Vec3d right;
        Vec3d intoLeft; // away from the edge, in the planes of its two triangles
        Vec3d intoRight;
        bool Holds(const Vec3d& normal) const
        {
            return normal * intoLeft < 0 && normal * intoRight < 0;
        }
    };

    /// Pairs of edges that two parallel planes with the hull between them can run along.
    void AddAxesOfEdges(std::vector<Vec3d>& axes) const
    {
        std::vector<Ridge> ridges;
        const auto normalOf = [&](int facet) {
            return Math::Impl::UnitDirection(areas_[static_cast<std::size_t>(facet)]);
        };
        const auto alongOf = [&](const Edge& edge) {
            return points_[static_cast<std::size_t>(edge.to)] -
                   points_[static_cast<std::size_t>(edge.from)];
        };
        for (const int number : Largest(edges_.size(), kMostEdges, [&](std::size_t e) {
                 const Edge& edge = edges_[e];
                 const Vec3d bend = normalOf(edge.left) ^ normalOf(edge.right);
                 return Vector::Length(bend) * Vector::Length(alongOf(edge));
             })) {
            const Edge& edge = edges_[static_cast<std::size_t>(number)];
            const Vec3d along = alongOf(edge);
            const Vec3d left = normalOf(edge.left);
            const Vec3d right = normalOf(edge.right);
            ridges.push_back({along, left, right, left ^ along, along ^ right});
        }
        const std::size_t before = axes.size();
        for (std::size_t i = 0; i < ridges.size(); ++i) {
            for (std::size_t j = 0; j < i && axes.size() - before < kMostPairs; ++j) {
                const Vec3d normal = ridges[i].along ^ ridges[j].along;
                if ((ridges[i].Holds(normal) && ridges[j].Holds(-normal)) ||
                    (ridges[i].Holds(-normal) && ridges[j].Holds(normal))) {
                    AddAxis(axes, normal);
                } else if (Vector::Length(normal) <= kParallel * Vector::Length(ridges[i].along) *
                                                         Vector::Length(ridges[j].along)) {
                    AddAxesBetween(ridges[i], ridges[j], axes);
                }
            }
        }
    }

    /// Planes along two parallel edges turn together about them, as far as the triangles beside one
    /// of the edges let them: three axes on the way. In bodies with a center of symmetry an edge
    /// and the one across are such a pair.
    static void AddAxesBetween(const Ridge& one, const Ridge& other, std::vector<Vec3d>& axes)
    {
        const std::array<Vec3d, 4> ends = {one.left, one.right, -other.left, -other.right};
        for (std::size_t i = 0; i < ends.size(); ++i) {
            for (std::size_t j = 0; j < i; ++j) {
                if (ends[i] * ends[j] > kHardlyTurned) {
                    continue;
                }
                for (const double share : {0.25, 0.5, 0.75}) {
                    const Vec3d between = ends[i] * share + ends[j] * (1.0 - share);
                    if (one.Holds(between) && other.Holds(-between)) {
                        AddAxis(axes, between);
                    }
                }
            }
        }
    }

    const std::vector<Vec3d>& points_;
    Impl::SupportGraph graph_;
    std::vector<Vec3d> areas_; // twice those of the triangles
    std::vector<Edge> edges_;
};

bool IsBetter(const Candidate& a, const Candidate& b)
{
    return a.merit.first < b.merit.first * (1.0 - kGain);
}

/// Turns about each of the box's own axes, to the least rectangle around it, as long as that helps.
void TurnAboutOwnAxes(const Hull& hull, Candidate& best)
{
    for (int idle = 0, k = 0; idle < 3; k = (k + 1) % 3) {
        const Candidate turned = hull.BoxAround(k == 0   ? best.frame.x
                                                : k == 1 ? best.frame.y
                                                         : best.frame.z);
        ++idle;
        if (IsBetter(turned, best)) {
            best = turned;
            idle = 0;
        }
    }
}

Frame Turned(const Frame& frame, const Vec3d& axis, double angle)
{
    const TransformBase<3> turn = Transform::BuildRotationFromAxisAngle(axis, angle);
    const Vec3d x = Math::Impl::UnitDirection(turn * frame.x);
    const Vec3d z = Math::Impl::UnitDirection(x ^ (turn * frame.y));
    return {x, z ^ x, z};
}

/// Small turns about the axes, the diagonals of the faces and those of the box.
void TurnAboutAnyAxis(const Hull& hull, Candidate& best)
{
    for (double angle = kFirstTurn; angle > kLastTurn;) {
        bool hasGained = false;
        for (int number = 14; number < 27; ++number) { // of the 26 around a cube, one of each pair
            const Vec3d place(number % 3 - 1, number / 3 % 3 - 1, number / 9 - 1);
            const Vec3d axis =
                best.frame.x * place.x() + best.frame.y * place.y() + best.frame.z * place.z();
            for (const double signedAngle : {angle, -angle}) {
                const Candidate turned = hull.Measured(Turned(best.frame, axis, signedAngle));
                if (IsBetter(turned, best)) {
                    best = turned;
                    hasGained = true;
                }
            }
        }
        angle = hasGained ? angle : 0.5 * angle;
    }
}

Candidate Improved(const Hull& hull, Candidate best)
{
    for (int round = 0; round < kMostRounds; ++round) {
        const Candidate before = best;
        TurnAboutOwnAxes(hull, best);
        TurnAboutAnyAxis(hull, best);
        if (!IsBetter(best, before)) {
            break;
        }
    }
    return best;
}

Candidate SmallestBox(const std::vector<Vec3d>& points, const std::vector<int>& triangles)
{
    const Hull hull(points, triangles);
    const std::vector<Vec3d> axes = hull.Axes();
    std::vector<Candidate> candidates(axes.size());
    Parallel::Impl::ApplyParallel(
        std::size_t{0}, (axes.size() + kTask - 1) / kTask, [&](std::size_t task) {
            std::vector<Vec2d> outline;
            std::vector<char> isFront(hull.FacetCount());
            for (std::size_t i = task * kTask; i < std::min((task + 1) * kTask, axes.size()); ++i) {
                candidates[i] = hull.BoxAround(axes[i], outline, isFront);
            }
        });
    const auto isBefore = [](const Candidate& a, const Candidate& b) { return a.merit < b.merit; };
    std::stable_sort(candidates.begin(), candidates.end(), isBefore);
    candidates.resize(std::min(candidates.size(), kImproved));
    Parallel::Impl::ApplyParallel(std::size_t{0}, candidates.size(), [&](std::size_t i) {
        candidates[i] = Improved(hull, candidates[i]);
    });
    return candidates.empty() ? Candidate{}
                              : *std::min_element(candidates.begin(), candidates.end(), isBefore);
}

} // namespace

bool MinimalOrientedBox(const std::vector<VecBase<3, double>>& points, TransformBase<3>& transform,
                        VecBase<3, double>& size)
{
    return Progress::Impl::Stoppable(
        [&]() -> bool {
            std::vector<Vec3d> hullPoints;
            std::vector<int> triangles;
            if (Impl::FlatBoxOrHull(points, transform, size, hullPoints, triangles)) {
                return true;
            }
            if (triangles.empty()) {
                return false;
            }
            const auto local = Impl::Localized(hullPoints);
            const Candidate best = SmallestBox(local.points, triangles);
            const bool isFound = best.merit < Impl::kDropped;
            if (isFound) {
                Impl::WriteBox(Impl::BoxAlong(best.frame, local.points), hullPoints.front(), local,
                               transform, size);
            }
            // Directions that nearly agree were tried once: the quick box may be less by a
            // rounding.
            TransformBase<3> quickTransform;
            Vec3d quickSize;
            const bool isQuick =
                OrientedBoundingBoxOfHull(hullPoints, triangles, quickTransform, quickSize);
            if (isQuick && !(isFound && Impl::MeritOf(size * local.scale) <
                                            Impl::MeritOf(quickSize * local.scale))) {
                transform = quickTransform;
                size = quickSize;
            }
            return isFound || isQuick;
        },
        [&] {
            transform = {};
            size = {};
            return false;
        });
}

} // namespace Velk::Math::Sorvane::Bounding
