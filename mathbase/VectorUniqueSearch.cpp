// Look-ups in a vector of unique points: one by one in the sorted vector, or many through a hashed
// grid of cells. Both give the same answer.

#include "mathbase/PointRecords_Impl.h"
#include "mathbase/VectorUniqueness_Impl.h"

#include <algorithm>
#include <cstddef>

namespace Velk::Math::Vector {

namespace Impl {

namespace {

/// Members scanned rather than searched.
constexpr std::ptrdiff_t kScanLimit = 8;

/// The members that match a point, found by binary searches that are nested axis by axis: members
/// within the tolerance on x; among those of one x, which are sorted by y, those within it on y;
/// and so on.
template <int N, class T>
class SortedSearch {
public:
    using Iterator = typename std::vector<VecBase<N, T>>::const_iterator;

    SortedSearch(const std::vector<VecBase<N, T>>& members, const VecBase<N, T>& point, T tolerance)
        : begin_(members.begin()), point_(point), tolerance_(tolerance), nearest_(point, tolerance)
    {
    }

    /// Looks through [first, last), whose members are equal on all axes before `axis`.
    void Search(Iterator first, Iterator last, int axis)
    {
        const T x = point_[axis];
        // Differences rounded as in Matches, which keeps their order. NaN members stand at the end.
        first = std::partition_point(first, last, [&](const VecBase<N, T>& member) {
            return x - member[axis] > tolerance_;
        });
        last = std::partition_point(first, last, [&](const VecBase<N, T>& member) {
            return !(member[axis] - x > tolerance_) && member[axis] == member[axis];
        });
        if (axis == N - 1 || last - first <= kScanLimit) {
            Scan(first, last);
            return;
        }
        while (first != last) {
            const Iterator runEnd = EndOfRun(first, last, axis);
            if (runEnd - first <= kScanLimit) {
                Scan(first, runEnd);
            } else {
                Search(first, runEnd, axis + 1);
            }
            first = runEnd;
        }
    }

    int Nearest() const { return nearest_.Index(); }
    std::int64_t Visits() const { return visits_; }

private:
    /// End of the members with the coordinate of the first: steps that double, then a binary
    /// search, so that short runs cost little and long ones are not walked.
    Iterator EndOfRun(Iterator first, Iterator last, int axis)
    {
        const auto sameRun = [axis, x = (*first)[axis]](const VecBase<N, T>& member) {
            return member[axis] == x;
        };
        std::ptrdiff_t step = 1;
        while (step < last - first && sameRun(first[step])) {
            first += step;
            step *= 2;
        }
        ++visits_;
        return std::partition_point(first + 1, first + std::min(step, last - first), sameRun);
    }

    void Scan(Iterator first, Iterator last)
    {
        for (; first != last; ++first) {
            nearest_.Consider(*first, static_cast<int>(first - begin_));
            ++visits_;
        }
    }

    Iterator begin_;
    VecBase<N, T> point_;
    T tolerance_;
    NearestMatch<N, T> nearest_;
    std::int64_t visits_ = 0;
};

/// Bucket size above which cells count as too wide for the members.
constexpr std::int32_t kFullBucket = 16;

template <int N, class T>
CellGrid<N, T> GridOver(const std::vector<VecBase<N, T>>& members, T tolerance, double cellWidth)
{
    CellGrid<N, T> grid(static_cast<double>(tolerance), cellWidth,
                        static_cast<std::int64_t>(members.size()));
    grid.Reserve(members.size());
    // From the back: the newest of a bucket is then the one of lowest index, which is met first.
    for (std::size_t i = members.size(); i-- > 0;) {
        if (Impl::IsFinite(members[i])) {
            grid.Insert(members[i], static_cast<std::uint32_t>(i));
        }
    }
    return grid;
}

/// Largest extent of the finite members along an axis.
template <int N, class T>
double Extent(const std::vector<VecBase<N, T>>& members)
{
    VecBase<N, double> low;
    VecBase<N, double> high;
    bool any = false;
    for (const VecBase<N, T>& member : members) {
        if (IsFinite(member)) {
            for (int i = 0; i < N; ++i) {
                const auto x = static_cast<double>(member[i]);
                low[i] = any ? std::min(low[i], x) : x;
                high[i] = any ? std::max(high[i], x) : x;
            }
            any = true;
        }
    }
    const VecBase<N, double> size = high - low;
    return *std::max_element(size.begin(), size.end());
}

/// True when nothing can match `point` within `tolerance`: NaN matches nothing, and a finite
/// tolerance spans no distance to or between infinities.
template <int N, class T>
bool MatchesNothing(const VecBase<N, T>& point, T tolerance)
{
    if (!(tolerance >= 0)) {
        return true;
    }
    if (tolerance <= std::numeric_limits<T>::max()) {
        return !IsFinite(point);
    }
    return !(point == point);
}

} // namespace

template <int N, class T>
int IndexInUniqueVector(const std::vector<VecBase<N, T>>& uniquePoints, const VecBase<N, T>& point,
                        T tolerance, std::int64_t& visits)
{
    if (MatchesNothing(point, tolerance)) {
        return -1;
    }
    // A member finds itself by one search, however many members crowd within the tolerance on x.
    const auto exact = std::lower_bound(uniquePoints.begin(), uniquePoints.end(), point,
                                        LexicographicallyLess<N, T>);
    if (exact != uniquePoints.end() && Matches(*exact, point, tolerance) && *exact == point) {
        ++visits;
        return static_cast<int>(exact - uniquePoints.begin());
    }
    if (tolerance == 0) {
        return -1;
    }
    SortedSearch<N, T> search(uniquePoints, point, tolerance);
    search.Search(uniquePoints.begin(), uniquePoints.end(), 0);
    visits += search.Visits();
    return search.Nearest();
}

template <int N, class T>
UniqueLookup<N, T>::UniqueLookup(const std::vector<VecBase<N, T>>& uniquePoints, T tolerance)
    : tolerance_(tolerance)
{
    if (!(tolerance >= 0)) {
        return;
    }
    if (tolerance > std::numeric_limits<T>::max()) {
        allMembers_ = uniquePoints;
        return;
    }
    const double width =
        SuggestedCellWidth(Extent(uniquePoints), static_cast<std::int64_t>(uniquePoints.size()),
                           static_cast<double>(tolerance));
    grid_ = GridOver(uniquePoints, tolerance, width);
    if (grid_->LargestBucket() > kFullBucket) {
        grid_ = GridOver(uniquePoints, tolerance, 0.0); // as narrow as the tolerance allows
    }
}

template <int N, class T>
int UniqueLookup<N, T>::Index(const VecBase<N, T>& point, std::int64_t* visits) const
{
    NearestMatch<N, T> nearest(point, tolerance_);
    std::int64_t visited = 0;
    if (grid_ && IsFinite(point)) {
        grid_->VisitNear(point, [&](const VecBase<N, T>& member, std::uint32_t index) {
            ++visited;
            nearest.Consider(member, static_cast<int>(index));
            return nearest.IsExact(); // its bucket holds equal members in ascending order
        });
    }
    for (std::size_t i = 0; i < allMembers_.size(); ++i) {
        ++visited;
        nearest.Consider(allMembers_[i], static_cast<int>(i));
    }
    if (visits != nullptr) {
        *visits += visited;
    }
    return nearest.Index();
}

} // namespace Impl

template <int N, class T>
int IndexInUniqueVector(const std::vector<VecBase<N, T>>& uniquePoints, const VecBase<N, T>& point,
                        T tolerance)
{
    std::int64_t visits = 0;
    return Impl::IndexInUniqueVector(uniquePoints, point, tolerance, visits);
}

template <int N, class T>
CheckedIdx SearchInUniqueVector(const std::vector<VecBase<N, T>>& uniquePoints,
                                const VecBase<N, T>& point, T tolerance)
{
    const int index = IndexInUniqueVector(uniquePoints, point, tolerance);
    return index < 0 ? CheckedIdx{} : CheckedIdx{index, true};
}

// clang-format off
#define SORVANE_INSTANTIATE(N, T)                                                                  \
    template int IndexInUniqueVector(const std::vector<VecBase<N, T>>&, const VecBase<N, T>&, T);  \
    template int Impl::IndexInUniqueVector(const std::vector<VecBase<N, T>>&,                      \
                                           const VecBase<N, T>&, T, std::int64_t&);                \
    template class Impl::UniqueLookup<N, T>;
SORVANE_INSTANTIATE(2, float)
SORVANE_INSTANTIATE(2, double)
SORVANE_INSTANTIATE(3, float)
SORVANE_INSTANTIATE(3, double)
#undef SORVANE_INSTANTIATE

template CheckedIdx SearchInUniqueVector(const std::vector<VecBase<2, float>>&,  const VecBase<2, float>&,  float);
template CheckedIdx SearchInUniqueVector(const std::vector<VecBase<2, double>>&, const VecBase<2, double>&, double);
template CheckedIdx SearchInUniqueVector(const std::vector<VecBase<3, double>>&, const VecBase<3, double>&, double);
// clang-format on

} // namespace Velk::Math::Vector
