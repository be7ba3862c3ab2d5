// The smallest ball of a large input without solving for all of it.
//
// The ball of a few chosen points is solved, the point of the input farthest from its center joins
// them, and so on until nothing lies outside: then it is the smallest ball of all. Two bounds
// shrink what has to be looked at. Let (c, r) be the smallest ball of the chosen points and R the
// radius of any ball around the whole input. The center of the smallest ball of all lies within
// sqrt(R^2 - r^2) of c (on its far side of c some chosen point is at least as far from it as
// Pythagoras has it, and no point is farther than R), so that points within r - sqrt(R^2 - r^2) of
// c lie inside the ball of all and can be forgotten. Whether that went well is checked at the end,
// against every point.

#include "bounding/SmallestBall_Impl.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <limits>
#include <type_traits>

namespace Velk::Math::Sorvane::Bounding::Impl {

namespace {

template <int D, class T>
double SquaredDistance(const VecBase<D, T>& point, const VecBase<D, double>& center)
{
    double sum = 0.0;
    for (int i = 0; i < D; ++i) {
        const double difference = static_cast<double>(point[i]) - center[i];
        sum += difference * difference;
    }
    return sum;
}

struct Farthest {
    std::size_t index = 0;
    double squaredDistance = -1.0;
};

template <int D, class T>
Farthest FarthestPoint(const VecBase<D, T>* points, std::size_t count,
                       const VecBase<D, double>& center)
{
    // Maxima of blocks, in four strands so that one comparison need not wait for the other; the
    // point itself is looked up only in the few blocks that have a new maximum.
    constexpr std::size_t kBlock = 256;
    constexpr std::size_t kStrands = 4;
    Farthest farthest;
    for (std::size_t begin = 0; begin < count; begin += kBlock) {
        const std::size_t end = std::min(begin + kBlock, count);
        std::array<double, kStrands> largest;
        largest.fill(farthest.squaredDistance);
        std::size_t i = begin;
        for (; i + kStrands <= end; i += kStrands) {
            for (std::size_t strand = 0; strand < kStrands; ++strand) {
                const double squared = SquaredDistance(points[i + strand], center);
                largest[strand] = squared > largest[strand] ? squared : largest[strand];
            }
        }
        const bool isNew =
            *std::max_element(largest.begin(), largest.end()) > farthest.squaredDistance;
        for (i = isNew ? begin : i; i < end; ++i) {
            const double squared = SquaredDistance(points[i], center);
            if (squared > farthest.squaredDistance) {
                farthest = {i, squared};
            }
        }
    }
    return farthest;
}

template <int D, class T>
class BallOfMany {
public:
    explicit BallOfMany(const std::vector<VecBase<D, T>>& points) : points_(points) {}

    std::optional<BoundingBall<D, T>> Solve()
    {
        if (!SolveSample() || !SolveAll()) {
            return std::nullopt;
        }
        BoundingBall<D, T> ball{VecBase<D, T>(ball_.center), static_cast<T>(ball_.radius)};
        const T allowed = ball.radius + static_cast<T>(2.0 * Slack<T>());
        GrowToHold(ball, points_);
        return ball.radius <= allowed ? std::optional(ball) : std::nullopt;
    }

private:
    static constexpr std::size_t kSample = 1024;
    static constexpr int kRounds = 100;
    static constexpr double kTolerance = static_cast<double>(kLengthFloor<T>);
    /// In a smaller ball the tolerance is more than 1e-9 (`float` 1e-7) of the radius. Which points
    /// count as inside, and so the ball, would there depend visibly on the order of the solve.
    static constexpr double kLeastRadius = kTolerance * (std::is_same_v<T, double> ? 1e9 : 1e7);

    /// How far beyond the radius rounding alone may put a point, in the arithmetic of `Real`.
    template <class Real>
    double Slack() const
    {
        double size = ball_.radius;
        for (const double component : ball_.center) {
            size = std::max(size, std::abs(component));
        }
        return 8.0 * static_cast<double>(std::numeric_limits<Real>::epsilon()) * size;
    }

    /// A start close to the end, at next to no cost: the ball of a sample.
    bool SolveSample()
    {
        std::vector<VecBase<D, T>> sample(std::min(kSample, points_.size() / 4));
        for (std::size_t i = 0; i < sample.size(); ++i) {
            sample[i] = points_[i * (points_.size() / sample.size())];
        }
        chosen_.emplace_back(sample[0]);
        ball_ = {chosen_[0], 0.0};
        for (int round = 0; round < kRounds; ++round) {
            const Farthest farthest = FarthestPoint(sample.data(), sample.size(), ball_.center);
            if (IsHeld(farthest)) {
                break;
            }
            Choose(sample[farthest.index]);
        }
        return ball_.radius > kLeastRadius && IsWide(sample); // false for NaN, too
    }

    /// Coincident points may have a large ball, about the origin.
    static bool IsWide(const std::vector<VecBase<D, T>>& sample)
    {
        const AxisAlignedBoundingBox<D, T> box = BoxOfPoints(sample);
        const VecBase<D, double> extent = VecBase<D, double>(box.max) - VecBase<D, double>(box.min);
        return *std::max_element(extent.begin(), extent.end()) > kLeastRadius;
    }

    bool SolveAll()
    {
        const VecBase<D, T>* candidates = points_.data();
        std::size_t count = points_.size();
        for (int round = 0; round < kRounds; ++round) {
            const double forgotten = ForgottenRadius();
            Farthest farthest;
            if (forgotten > 0.0) {
                farthest = ForgetInner(candidates, count, forgotten * forgotten);
                candidates = kept_.data();
                count = kept_.size();
            } else {
                farthest = FarthestPoint(candidates, count, ball_.center);
            }
            upperRadius_ = std::min(upperRadius_, std::sqrt(farthest.squaredDistance));
            if (IsHeld(farthest)) {
                return true;
            }
            Choose(candidates[farthest.index]);
        }
        return false;
    }

    /// Radius about the present center within which no point can matter any more; the solver's own
    /// tolerance and rounding are taken off the lower bound. Negative when there is no such radius.
    double ForgottenRadius() const
    {
        const double radius = ball_.radius;
        const double lower = radius - 2.0 * (kTolerance + Slack<double>()) - 1e-12 * radius;
        const double upper = std::max(upperRadius_, radius) * (1.0 + 1e-12);
        return lower * (1.0 - 1e-12) - std::sqrt((upper - lower) * (upper + lower)) -
               std::sqrt((radius - lower) * (radius + lower));
    }

    /// Keeps the points that are not within the inner radius, and finds the farthest of them. The
    /// points may be the kept ones themselves.
    Farthest ForgetInner(const VecBase<D, T>* points, std::size_t count, double squaredInner)
    {
        constexpr std::size_t kBlock = 512;
        std::array<VecBase<D, T>, kBlock> block; // filled without a branch at each point
        Farthest farthest;
        next_.clear();
        for (std::size_t begin = 0; begin < count; begin += kBlock) {
            std::size_t keptCount = 0;
            for (std::size_t i = begin; i < std::min(begin + kBlock, count); ++i) {
                const double squared = SquaredDistance(points[i], ball_.center);
                block[keptCount] = points[i];
                if (squared > farthest.squaredDistance) {
                    farthest = {next_.size() + keptCount, squared};
                }
                keptCount += squared >= squaredInner ? 1 : 0;
            }
            next_.insert(next_.end(), block.begin(), block.begin() + keptCount);
        }
        kept_.swap(next_);
        return farthest;
    }

    bool IsHeld(const Farthest& farthest) const
    {
        return std::sqrt(farthest.squaredDistance) <= ball_.radius + Slack<double>();
    }

    void Choose(const VecBase<D, T>& point)
    {
        // Chosen points well inside their ball have no part in it: the rest has the same ball.
        const double inner = ball_.radius * (1.0 - 1e-5);
        std::erase_if(chosen_, [&](const VecBase<D, double>& chosen) {
            return SquaredDistance(chosen, ball_.center) < inner * inner;
        });
        chosen_.emplace_back(point);
        ball_ = SmallestBall(chosen_, kTolerance);
    }

    const std::vector<VecBase<D, T>>& points_;
    std::vector<VecBase<D, double>> chosen_;
    BoundingBall<D, double> ball_;                                 // of the chosen points
    double upperRadius_ = std::numeric_limits<double>::infinity(); // of some ball around all points
    std::vector<VecBase<D, T>> kept_;
    std::vector<VecBase<D, T>> next_;
};

} // namespace

template <int D, class T>
std::optional<BoundingBall<D, T>> SmallestBallOfMany(const std::vector<VecBase<D, T>>& points)
{
    return BallOfMany<D, T>(points).Solve();
}

#define SORVANE_INSTANTIATE(D, T)                                  \
    template std::optional<BoundingBall<D, T>> SmallestBallOfMany( \
        const std::vector<VecBase<D, T>>&);
SORVANE_INSTANTIATE(2, float)
SORVANE_INSTANTIATE(2, double)
SORVANE_INSTANTIATE(3, float)
SORVANE_INSTANTIATE(3, double)
#undef SORVANE_INSTANTIATE

} // namespace Velk::Math::Sorvane::Bounding::Impl
