// Linking loose segments end to end, in the plane and in space.
//
// The ends of all segments lie in a hash table of cells. A chain looks up the end that it has
// reached and takes the unused segment of lowest number that has an end there, either way round.
// Ends are compared with each other, not with a representative, so that a crowd of near points
// loses no segment.

#include "mathbase/PointCells_Impl.h"
#include "mathbase/Values_Impl.h"

#include <Velk/Math/Geometry_E.h>
#include <Velk/Math/Vector_E.h>

#include <algorithm>
#include <cstddef>
#include <utility>

namespace Velk::Math::Vector {
namespace {

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

template <int N, class T, class Segment>
class Linker {
public:
    using Point = VecBase<N, T>;

    Linker(const std::vector<Segment>& segments, T tolerance)
        : segments_(segments), tolerance_(tolerance), used_(segments.size(), 0),
          ends_(2 * segments.size(), tolerance)
    {
        // Backwards, so that the lowest number in one place is found first.
        for (int segment = static_cast<int>(segments.size()) - 1; segment >= 0; --segment) {
            used_[static_cast<std::size_t>(segment)] =
                Matches(End(segment, 0), End(segment, 1), tolerance);
            for (int end = 1; end >= 0; --end) {
                if (!IsUsed(segment) && Math::Impl::IsFinite(End(segment, end))) {
                    ends_.Add(End(segment, end), 2 * segment + end);
                }
            }
        }
    }

    std::vector<std::vector<Point>> Link()
    {
        std::vector<std::vector<Point>> chains;
        for (int segment = 0; segment < static_cast<int>(segments_.size()); ++segment) {
            if (!IsUsed(segment)) {
                chains.push_back(ChainFrom(segment));
            }
        }
        return chains;
    }

private:
    const Point& End(int segment, int end) const
    {
        return EndOf(segments_[static_cast<std::size_t>(segment)], end);
    }

    bool IsUsed(int segment) const { return used_[static_cast<std::size_t>(segment)] != 0; }

    std::vector<Point> ChainFrom(int segment)
    {
        used_[static_cast<std::size_t>(segment)] = 1;
        std::vector<Point> chain{End(segment, 0), End(segment, 1)};
        Extend(chain, End(segment, 1));
        if (!CloseIfReturned(chain)) {
            std::reverse(chain.begin(), chain.end());
            Extend(chain, End(segment, 0));
            CloseIfReturned(chain);
            std::reverse(chain.begin(), chain.end());
        }
        return chain;
    }

    /// Goes on from `reached`, the true end of the chain's last segment, until the chain is closed
    /// or no segment is left there. Each step uses one up.
    void Extend(std::vector<Point>& chain, Point reached)
    {
        while (!HasReturned(chain)) {
            const int next = NextAt(reached);
            if (next < 0) {
                return;
            }
            used_[static_cast<std::size_t>(next / 2)] = 1;
            reached = End(next / 2, 1 - next % 2);
            chain.push_back(reached);
        }
    }

    /// Lowest unused segment with an end at `place`, as 2 * segment + end; -1 when there is none.
    int NextAt(const Point& place)
    {
        int lowest = -1;
        if (!Math::Impl::IsFinite(place)) {
            return lowest;
        }
        ends_.VisitNear(place, [&](int number) {
            if (IsUsed(number / 2)) {
                return Impl::Visiting::Remove;
            }
            if (!Matches(End(number / 2, number % 2), place, tolerance_)) {
                return Impl::Visiting::GoOn;
            }
            lowest = lowest < 0 ? number : std::min(lowest, number);
            return Impl::Visiting::Stop;
        });
        return lowest;
    }

    bool HasReturned(const std::vector<Point>& chain) const
    {
        return chain.size() > 2 && Matches(chain.back(), chain.front(), tolerance_);
    }

    bool CloseIfReturned(std::vector<Point>& chain) const
    {
        const bool closed = HasReturned(chain);
        if (closed) {
            chain.back() = chain.front();
        }
        return closed;
    }

    const std::vector<Segment>& segments_;
    T tolerance_;
    std::vector<char> used_;
    Impl::NearPoints<N, T> ends_;
};

} // namespace

template <class T>
std::vector<std::vector<VecBase<2, T>>>
SegmentsToPolyPointStream(const std::vector<Geometry::SegBase<T>>& segments, T tolerance)
{
    return Linker<2, T, Geometry::SegBase<T>>(segments, tolerance).Link();
}

std::vector<std::vector<VecBase<3, double>>>
LineSegmentsToPolyPointStream(const std::vector<std::array<VecBase<3, double>, 2>>& segments,
                              double tolerance)
{
    return Linker<3, double, std::array<VecBase<3, double>, 2>>(segments, tolerance).Link();
}

// clang-format off
template std::vector<std::vector<VecBase<2, float>>>  SegmentsToPolyPointStream(const std::vector<Geometry::SegBase<float>>&,  float);
template std::vector<std::vector<VecBase<2, double>>> SegmentsToPolyPointStream(const std::vector<Geometry::SegBase<double>>&, double);
// clang-format on

} // namespace Velk::Math::Vector
