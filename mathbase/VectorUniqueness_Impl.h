// The inside of the uniqueness filters: the filter with its work counted, the search with its
// visits counted, and a look-up for callers that look up many points in one unique vector.
#pragma once

#include "mathbase/CellGrid_Impl.h"

#include <Velk/Math/Vector_E.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>
#include <vector>

namespace Velk::Math::Vector::Impl {

/// What a filter did, for tests that hostile inputs stay cheap: looks into hash tables for exact
/// repeats, and pairs of distinct points compared.
struct UniquenessWork {
    std::atomic<std::int64_t> tableProbes{0};
    std::atomic<std::int64_t> pairsCompared{0};
};

/// `Vector::FilterForUniqueness`; `survivorOf` receives the index vector and `work` adds up the
/// work when they are not null.
template <int N, class T>
void FilterForUniqueness(std::vector<VecBase<N, T>>& points, T tolerance,
                         std::vector<int>* survivorOf, UniquenessWork* work);

/// `Vector::IndexInUniqueVector`; `visits` counts the members looked at, binary searches aside.
template <int N, class T>
int IndexInUniqueVector(const std::vector<VecBase<N, T>>& uniquePoints, const VecBase<N, T>& point,
                        T tolerance, std::int64_t& visits);

/// Picks, among the members that match a point, the one that stands for it: the nearest
/// (Euclidean), the lower index when two are equally near; a member with the very same coordinates
/// before all.
///
/// Distances are compared by their squares in double, summed in component order, as if its exponent
/// had no bounds: very small and very large distances do not all come out as 0 or infinity.
template <int N, class T>
class NearestMatch {
public:
    NearestMatch(const VecBase<N, T>& point, T tolerance) : point_(point), tolerance_(tolerance) {}

    void Consider(const VecBase<N, T>& member, int index)
    {
        if (!Matches(point_, member, tolerance_)) {
            return;
        }
        if (index_ < 0 || IsBetter(member, index)) {
            member_ = member;
            index_ = index;
        }
    }

    /// -1 when nothing matched so far.
    int Index() const { return index_; }
    bool IsExact() const { return index_ >= 0 && member_ == point_; }

private:
    bool IsBetter(const VecBase<N, T>& member, int index) const
    {
        if (IsExact() || member == point_) {
            return member == point_ && (!IsExact() || index < index_);
        }
        double squared = SquaredDistance(member);
        double bestSquared = SquaredDistance(member_);
        if (!(IsInRange(squared) && IsInRange(bestSquared))) {
            const int exponent = std::max(LargestExponent(member), LargestExponent(member_));
            squared = ScaledSquaredDistance(member, exponent);
            bestSquared = ScaledSquaredDistance(member_, exponent);
        }
        return squared < bestSquared || (squared == bestSquared && index < index_);
    }

    double SquaredDistance(const VecBase<N, T>& member) const
    {
        double sum = 0;
        for (int i = 0; i < N; ++i) {
            const double d = static_cast<double>(point_[i]) - static_cast<double>(member[i]);
            sum += d * d;
        }
        return sum;
    }

    /// What underflows beside such a sum would not have changed it.
    static bool IsInRange(double squared) { return squared >= 0x1p-900 && squared <= 0x1p900; }

    /// The difference along an axis as value times 2^exponent, so that it does not overflow.
    struct Difference {
        double value;
        int exponent;
    };
    Difference DifferenceAlong(const VecBase<N, T>& member, int axis) const
    {
        const auto a = static_cast<double>(point_[axis]);
        const auto b = static_cast<double>(member[axis]);
        const bool isSmall = std::fabs(a) < 1 && std::fabs(b) < 1; // a quarter could lose digits
        const double d = isSmall ? a - b : 0.25 * a - 0.25 * b;
        if (d == 0 || !(std::fabs(d) <= std::numeric_limits<double>::max())) {
            return {d, 0};
        }
        int exponent = 0;
        const double value = std::frexp(d, &exponent);
        return {value, isSmall ? exponent : exponent + 2};
    }

    int LargestExponent(const VecBase<N, T>& member) const
    {
        int largest = std::numeric_limits<int>::min();
        for (int i = 0; i < N; ++i) {
            const Difference d = DifferenceAlong(member, i);
            largest = d.value == 0 ? largest : std::max(largest, d.exponent);
        }
        return largest;
    }

    /// In units of 2^exponent, squared.
    double ScaledSquaredDistance(const VecBase<N, T>& member, int exponent) const
    {
        double sum = 0;
        for (int i = 0; i < N; ++i) {
            const Difference d = DifferenceAlong(member, i);
            const double scaled = d.value == 0 ? 0 : std::ldexp(d.value, d.exponent - exponent);
            sum += scaled * scaled;
        }
        return sum;
    }

    VecBase<N, T> point_;
    T tolerance_;
    VecBase<N, T> member_;
    int index_ = -1;
};

/// Looks points up in one unique vector, for callers with a point for every corner of a mesh.
///
/// `Index` gives exactly what `IndexInUniqueVector(uniquePoints, point, tolerance)` gives, expected
/// O(1) on every arrangement of members that are unique for the tolerance (for a much larger one it
/// visits the members that lie within). Built in O(n); holds copies, so the vector may go. Finished
/// objects serve many threads.
template <int N, class T>
class UniqueLookup {
public:
    UniqueLookup(const std::vector<VecBase<N, T>>& uniquePoints, T tolerance);

    /// -1 when no member matches. `visits`, when not null, adds up the members looked at.
    int Index(const VecBase<N, T>& point, std::int64_t* visits) const;
    int Index(const VecBase<N, T>& point) const { return Index(point, nullptr); }

private:
    T tolerance_;
    std::optional<CellGrid<N, T>> grid_;    // finite members; empty when nothing can match
    std::vector<VecBase<N, T>> allMembers_; // for an infinite tolerance alone, which has no cells
};

// clang-format off
extern template void FilterForUniqueness(std::vector<VecBase<2, float>>&,  float,  std::vector<int>*, UniquenessWork*);
extern template void FilterForUniqueness(std::vector<VecBase<2, double>>&, double, std::vector<int>*, UniquenessWork*);
extern template void FilterForUniqueness(std::vector<VecBase<3, float>>&,  float,  std::vector<int>*, UniquenessWork*);
extern template void FilterForUniqueness(std::vector<VecBase<3, double>>&, double, std::vector<int>*, UniquenessWork*);
extern template int IndexInUniqueVector(const std::vector<VecBase<2, float>>&,  const VecBase<2, float>&,  float,  std::int64_t&);
extern template int IndexInUniqueVector(const std::vector<VecBase<2, double>>&, const VecBase<2, double>&, double, std::int64_t&);
extern template int IndexInUniqueVector(const std::vector<VecBase<3, float>>&,  const VecBase<3, float>&,  float,  std::int64_t&);
extern template int IndexInUniqueVector(const std::vector<VecBase<3, double>>&, const VecBase<3, double>&, double, std::int64_t&);
extern template class UniqueLookup<2, float>;
extern template class UniqueLookup<2, double>;
extern template class UniqueLookup<3, float>;
extern template class UniqueLookup<3, double>;
// clang-format on

} // namespace Velk::Math::Vector::Impl
