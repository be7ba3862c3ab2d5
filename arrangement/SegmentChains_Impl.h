// Linking loose segments end to end, by their numbers.
//
// The ends of all segments lie in hash tables of cells. A chain looks up the end that it has
// reached and takes the unused segment of lowest number that has an end there. Ends are compared
// with each other, not with a representative, so that a crowd of near points loses no segment.
#pragma once

#include "mathbase/PointCells_Impl.h"
#include "mathbase/Values_Impl.h"

#include <Velk/Math/Geometry_E.h>
#include <Velk/Math/VecBase_E.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <vector>

namespace Velk::Math::Vector::Impl {

template <class T>
const VecBase<2, T>& EndOf(const Geometry::SegBase<T>& segment, int end)
{
    return end == 0 ? segment.start : segment.end;
}

template <int N, class T>
const VecBase<N, T>& EndOf(const std::array<VecBase<N, T>, 2>& segment, int end)
{
    return segment[static_cast<std::size_t>(end)];
}

/// Which way a chain may run its segments.
enum class Running {
    EitherWay,  ///< whichever has the lowest number
    HeadToTail, ///< in their own direction, and against it only where nothing else goes on
};

/// Segments in a row. Ends of segments are numbered 2 * segment for the start and one more for the
/// end.
struct SegmentChain {
    /// The end that stands for each point of the chain, one more than segments: of two that meet
    /// that of the segment met first. A closed chain ends with the number that it begins with.
    std::vector<int> points;
    /// The end at which each segment is entered.
    std::vector<int> entries;
    bool isClosed = false;
};

/// Links segments into chains.
///
/// A chain is begun at the first unused segment and run in its direction; one that comes back is
/// closed; one that cannot go on is extended backward from its start. Segments whose two ends match
/// belong to no chain.
template <int N, class T, class Segment>
class SegmentLinker {
public:
    using Point = VecBase<N, T>;

    SegmentLinker(const std::vector<Segment>& segments, T tolerance, Running running)
        : segments_(segments), tolerance_(tolerance), running_(running), used_(segments.size(), 0),
          starts_((running == Running::EitherWay ? 2 : 1) * segments.size(), tolerance),
          ends_(running == Running::EitherWay ? 0 : segments.size(), tolerance)
    {
        // Backwards, so that the lowest number in one place is found first.
        for (int segment = static_cast<int>(segments.size()) - 1; segment >= 0; --segment) {
            used_[static_cast<std::size_t>(segment)] =
                Matches(At(2 * segment), At(2 * segment + 1), tolerance);
            for (int end = 1; end >= 0; --end) {
                const int number = 2 * segment + end;
                if (!IsUsed(number) && IsFinite(At(number))) {
                    (end == 1 && running == Running::HeadToTail ? ends_ : starts_)
                        .Add(At(number), number);
                }
            }
        }
    }

    std::vector<SegmentChain> Link()
    {
        std::vector<SegmentChain> chains;
        for (int segment = 0; segment < static_cast<int>(segments_.size()); ++segment) {
            if (!IsUsed(2 * segment)) {
                chains.push_back(ChainFrom(segment));
            }
        }
        return chains;
    }

    /// Where an end lies.
    const Point& At(int number) const
    {
        return EndOf(segments_[static_cast<std::size_t>(number / 2)], number % 2);
    }

private:
    static constexpr int kNone = -1;

    bool IsUsed(int number) const { return used_[static_cast<std::size_t>(number / 2)] != 0; }
    void Use(int number) { used_[static_cast<std::size_t>(number / 2)] = 1; }

    SegmentChain ChainFrom(int segment)
    {
        Use(2 * segment);
        SegmentChain chain{{2 * segment, 2 * segment + 1}, {2 * segment}, false};
        Extend(chain, 2 * segment + 1, false);
        if (!CloseIfReturned(chain)) {
            Reverse(chain);
            Extend(chain, 2 * segment, true);
            CloseIfReturned(chain);
            Reverse(chain);
        }
        return chain;
    }

    static void Reverse(SegmentChain& chain)
    {
        std::reverse(chain.points.begin(), chain.points.end());
        std::reverse(chain.entries.begin(), chain.entries.end());
    }

    /// Goes on from `reached`, the true end of the chain's last segment, until the chain is closed
    /// or no segment is left there. Each step uses one up. `isBackward`: the chain is reversed, and
    /// its segments are run against their direction.
    void Extend(SegmentChain& chain, int reached, bool isBackward)
    {
        while (!HasReturned(chain)) {
            const int next = NextAt(At(reached), isBackward);
            if (next == kNone) {
                return;
            }
            Use(next);
            reached = next ^ 1;
            chain.points.push_back(reached);
            chain.entries.push_back(isBackward ? reached : next);
        }
    }

    int NextAt(const Point& place, bool isBackward)
    {
        if (!IsFinite(place)) {
            return kNone;
        }
        if (running_ == Running::EitherWay) {
            return LowestAt(starts_, place);
        }
        const int next = LowestAt(isBackward ? ends_ : starts_, place);
        return next != kNone ? next : LowestAt(isBackward ? starts_ : ends_, place);
    }

    /// Lowest number of an unused end at `place`.
    int LowestAt(NearPoints<N, T>& points, const Point& place)
    {
        int lowest = kNone;
        points.VisitNear(place, [&](int number) {
            if (IsUsed(number)) {
                return Visiting::Remove;
            }
            if (!Matches(At(number), place, tolerance_)) {
                return Visiting::GoOn;
            }
            lowest = lowest == kNone ? number : std::min(lowest, number);
            return Visiting::Stop;
        });
        return lowest;
    }

    bool HasReturned(const SegmentChain& chain) const
    {
        return chain.points.size() > 2 &&
               Matches(At(chain.points.back()), At(chain.points.front()), tolerance_);
    }

    bool CloseIfReturned(SegmentChain& chain) const
    {
        chain.isClosed = HasReturned(chain);
        if (chain.isClosed) {
            chain.points.back() = chain.points.front();
        }
        return chain.isClosed;
    }

    const std::vector<Segment>& segments_;
    T tolerance_;
    Running running_;
    std::vector<char> used_;
    NearPoints<N, T> starts_; // all ends for `EitherWay`
    NearPoints<N, T> ends_;
};

} // namespace Velk::Math::Vector::Impl
