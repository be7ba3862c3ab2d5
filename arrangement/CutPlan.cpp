// Cuts of a set of elements at their meetings.
//
//   1. Candidate pairs are found (CandidatePairs_Impl.h); each is examined once.
//   2. Every meeting becomes a numbered point: ends of elements come first, crossings follow in
//      the order of the pairs.
//   3. Points that an element meets within its tolerance of each other, or of its own end, are
//      united: three elements through one point have three crossings of pairs, and one point goes
//      to them all. A united group takes the position of its lowest number, and so of an end where
//      it has one.
//   4. Each element takes its points in travel order, without those too near its ends or the cut
//      before.

#include "arrangement/CandidatePairs_Impl.h"
#include "arrangement/CutAtIntersections_Impl.h"
#include "mathbase/Buckets_Impl.h"
#include "mathbase/DisjointSets_Impl.h"
#include "mathbase/Parallel_Impl.h"
#include "mathbase/Progress_Impl.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <utility>
#include <vector>

namespace Velk::Math::Intersect::Impl {
namespace {

/// How far uniting may move a point, in tolerances of its elements. A row of points each near the
/// next must not pull the far ones along.
constexpr double kFarthestMove = 2;

/// A point met by an element.
struct Visit {
    int element;
    int point;
    double place;
};

struct PairMeeting {
    int first;
    int second;
    ElementMeeting meeting;
};

/// Meetings of all pairs, by the first element, then the second.
std::vector<PairMeeting> FindMeetings(const std::vector<Element>& elements)
{
    const int count = static_cast<int>(elements.size());
    const CandidatePairs pairs(elements);

    std::vector<std::vector<PairMeeting>> found(
        static_cast<std::size_t>(count / Parallel::Impl::kChunkSize + 1));
    Parallel::Impl::ApplyParallelChunks(0, count, [&](int from, int to) {
        std::vector<PairMeeting>& own =
            found[static_cast<std::size_t>(from / Parallel::Impl::kChunkSize)];
        std::vector<int> candidates;
        for (int first = from; first < to; ++first) {
            pairs.Of(first, candidates);
            for (const int second : candidates) {
                for (const ElementMeeting& meeting :
                     MeetingsOf(elements[static_cast<std::size_t>(first)],
                                elements[static_cast<std::size_t>(second)])) {
                    own.push_back({first, second, meeting});
                }
            }
        }
    });
    std::vector<PairMeeting> all;
    for (std::vector<PairMeeting>& part : found) {
        all.insert(all.end(), part.begin(), part.end());
        std::vector<PairMeeting>().swap(part);
    }
    return all;
}

/// The points of all meetings: 2e and 2e + 1 are the ends of element e, crossings follow.
class MetPoints {
public:
    explicit MetPoints(const std::vector<Element>& elements) : groups_(2 * elements.size())
    {
        positions_.reserve(2 * elements.size());
        farthest_.reserve(2 * elements.size());
        for (const Element& element : elements) {
            positions_.push_back(element.start);
            positions_.push_back(element.end);
            farthest_.insert(farthest_.end(), 2, kFarthestMove * element.tolerance);
        }
    }

    int AddCrossing(const Vec2d& point, double tolerance)
    {
        positions_.push_back(point);
        farthest_.push_back(kFarthestMove * tolerance);
        return groups_.Add();
    }

    void Unite(int a, int b) { groups_.Join(a, b); }

    /// Moves each point to where it is to lie for all its elements: to the lowest of its group
    /// unless that is too far. A group is named by its lowest point, which itself stays.
    void MoveToGroups()
    {
        for (std::size_t point = 0; point < positions_.size(); ++point) {
            Vec2d& own = positions_[point];
            const int lowest = groups_.Find(static_cast<int>(point));
            const Vec2d& common = positions_[static_cast<std::size_t>(lowest)];
            own = Vector::Length(common - own) <= farthest_[point] ? common : own;
        }
    }

    const Vec2d& Position(int point) const { return positions_[static_cast<std::size_t>(point)]; }

private:
    std::vector<Vec2d> positions_;
    std::vector<double> farthest_;
    Math::Impl::DisjointSets groups_;
};

/// The visits of each element, in travel order.
using Visits = Math::Impl::Buckets<Visit, int>;

/// Numbers the crossings among the meetings, and lists what each element visits.
Visits SortedVisits(const std::vector<PairMeeting>& meetings, const std::vector<Element>& elements,
                    MetPoints& points, void (*narrow)(Vec2d& point))
{
    const std::size_t elementCount = elements.size();
    std::vector<Visit> unsorted;
    unsorted.reserve(2 * meetings.size());
    Progress::Impl::Steps steps;
    for (const PairMeeting& pair : meetings) {
        steps.Next();
        const ElementMeeting& meeting = pair.meeting;
        int point = 2 * (meeting.end < 2 ? pair.first : pair.second) + meeting.end % 2;
        if (meeting.end == ElementMeeting::kCrossing) {
            Vec2d position = meeting.point;
            narrow(position);
            point = points.AddCrossing(
                position, std::max(elements[static_cast<std::size_t>(pair.first)].tolerance,
                                   elements[static_cast<std::size_t>(pair.second)].tolerance));
        }
        if (meeting.onFirst != ElementMeeting::kNoCut) {
            unsorted.push_back({pair.first, point, meeting.onFirst});
        }
        if (meeting.onSecond != ElementMeeting::kNoCut) {
            unsorted.push_back({pair.second, point, meeting.onSecond});
        }
    }

    Visits sorted(elementCount, [&](const auto& put) {
        for (const Visit& visit : unsorted) {
            put(visit.element, visit);
        }
    });
    Parallel::Impl::ApplyParallelChunks(
        std::size_t{0}, elementCount, [&](std::size_t from, std::size_t to) {
            for (std::size_t e = from; e < to; ++e) {
                const std::span<Visit> own = sorted[e];
                std::sort(own.begin(), own.end(), [](const Visit& a, const Visit& b) {
                    return a.place != b.place ? a.place < b.place : a.point < b.point;
                });
            }
        });
    return sorted;
}

/// Unites the points that each element meets within its tolerance of each other or of its ends.
void UniteNeighbors(const std::vector<Element>& elements, const Visits& visits, MetPoints& points)
{
    for (std::size_t e = 0; e < elements.size(); ++e) {
        Progress::Impl::CheckStep(e);
        const Element& element = elements[e];
        const int startPoint = 2 * static_cast<int>(e);
        int leader = startPoint;
        double leaderPlace = 0;
        for (const Visit& visit : visits[e]) {
            if (element.length - visit.place <= element.tolerance) {
                points.Unite(visit.point, startPoint + 1);
            } else if (visit.place - leaderPlace <= element.tolerance) {
                points.Unite(visit.point, leader);
            } else {
                leader = visit.point;
                leaderPlace = visit.place;
            }
        }
    }
}

/// The cuts of one element, from its own visits; they take the front of `cuts`, which has room for
/// one a visit. Returns their number.
int CutsOf(const Element& element, std::span<const Visit> visits, const MetPoints& points,
           CutPlan::Cut* cuts)
{
    CutPlan::Cut* last = cuts;
    for (const Visit& visit : visits) {
        const Vec2d& point = points.Position(visit.point);
        *last++ = {point, PlaceAlong(element, point)};
    }
    const auto earlier = [](const CutPlan::Cut& a, const CutPlan::Cut& b) {
        return a.place < b.place;
    };
    if (!std::is_sorted(cuts, last, earlier)) {
        std::stable_sort(cuts, last, earlier);
    }
    CutPlan::Cut* kept = cuts;
    for (const CutPlan::Cut* cut = cuts; cut != last; ++cut) {
        const bool inside = cut->place > 0 && cut->place < element.length;
        const bool clearOfEnds = Vector::Length(cut->point - element.start) > element.tolerance &&
                                 Vector::Length(cut->point - element.end) > element.tolerance;
        const bool clearOfLast =
            kept == cuts || Vector::Length(cut->point - (kept - 1)->point) > element.tolerance;
        if (inside && clearOfEnds && clearOfLast) {
            *kept++ = *cut;
        }
    }
    return static_cast<int>(kept - cuts);
}

} // namespace

CutPlan PlanCuts(const std::vector<Element>& elements, void (*narrow)(Vec2d& point))
{
    CutPlan plan;
    plan.first.assign(elements.size() + 1, 0);
    MetPoints points(elements);
    Visits visits;
    {
        const std::vector<PairMeeting> meetings = FindMeetings(elements);
        if (meetings.empty()) {
            return plan;
        }
        visits = SortedVisits(meetings, elements, points, narrow);
    }
    UniteNeighbors(elements, visits, points);
    points.MoveToGroups();

    std::vector<CutPlan::Cut> cuts(visits.Items().size());
    const std::vector<int>& firstVisit = visits.Offsets();
    std::vector<int> counts(elements.size(), 0);
    Parallel::Impl::ApplyParallelChunks(
        std::size_t{0}, elements.size(), [&](std::size_t from, std::size_t to) {
            for (std::size_t e = from; e < to; ++e) {
                counts[e] = CutsOf(elements[e], std::as_const(visits)[e], points,
                                   cuts.data() + firstVisit[e]);
            }
        });
    for (std::size_t e = 0; e < elements.size(); ++e) {
        const auto from = cuts.begin() + firstVisit[e];
        plan.first[e + 1] = plan.first[e] + counts[e];
        std::move(from, from + counts[e], cuts.begin() + plan.first[e]);
    }
    cuts.resize(static_cast<std::size_t>(plan.first.back()));
    plan.cuts = std::move(cuts);
    return plan;
}

} // namespace Velk::Math::Intersect::Impl
