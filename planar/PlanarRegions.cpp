// The union of a stream of loops.

#include <Sorvane/PlanarRegions_E.h>

#include <Sorvane/AssertSites_E.h>
#include <Sorvane/OrderedPairs_E.h>

#include "mathbase/ProgressState_Impl.h"
#include "planar/FilterData_Impl.h"
#include "planar/GridBoolean_Impl.h"
#include "planar/RegionLoops_Impl.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <iterator>
#include <utility>

namespace Velk::Math::Sorvane::Planar {

namespace {

using namespace Impl;

/// What the box is larger than the corners given, on each side.
constexpr double kBoxMargin = 1e-12;
/// Within this, per coordinate, the ends of a loop match.
constexpr double kLoopEnds = 1e-12;

Vec2d Shifted(const Vec2d& point, double by) { return {point.x() + by, point.y() + by}; }

/// Segments as loops on the grid. `areAllSound` becomes false when a chain was closed by force or a
/// segment passed over.
std::vector<GridLoop> LinkedLoops(const BufferredUnion::DirectedSegments& segments,
                                  const RegionGrid& grid, bool& areAllSound)
{
    FilterData<2, long long> numbers;
    std::vector<std::array<int, 2>> pairs;
    pairs.reserve(segments.size());
    for (const auto& [start, end] : segments) {
        GridPoint from;
        GridPoint to;
        if (!grid.Snap(start, from) || !grid.Snap(end, to)) {
            areAllSound = false;
            continue;
        }
        const int first = numbers.Index(from);
        pairs.push_back({first, numbers.Index(to)});
    }
    std::vector<GridLoop> loops;
    for (const std::vector<int>& chain : MeshUtils::ConcatenateOderedPairs(pairs)) {
        GridLoop& loop = loops.emplace_back();
        loop.reserve(chain.size() + 1);
        for (const int number : chain) {
            loop.push_back(numbers.Points()[static_cast<std::size_t>(number)]);
        }
        if (chain.front() != chain.back()) {
            loop.push_back(loop.front());
            areAllSound = false;
        }
    }
    return loops;
}

} // namespace

struct BufferredUnion::State {
    RegionGrid grid; // its origin is the lower corner of the box
    Vec2d upper;
    std::vector<GridLoop> buffer;
    int batchLimit = 1;
    int batchCount = 0; // since the buffer was last replaced by its union
    bool isValid = true;

    bool IsInBox(const Vec2d& point) const
    {
        return grid.origin.x() < point.x() && point.x() < upper.x() &&
               grid.origin.y() < point.y() && point.y() < upper.y();
    }

    /// Adds a batch, whole or not at all, and unites the buffer when enough have gathered.
    void Add(std::vector<GridLoop>&& loops)
    {
        buffer.reserve(std::max(buffer.size() + loops.size(), buffer.capacity()));
        buffer.insert(buffer.end(), std::make_move_iterator(loops.begin()),
                      std::make_move_iterator(loops.end()));
        // A count that no limit can reach need not grow.
        batchCount = std::min(batchCount, kMostBatches) + 1;
        ReduceWhenFull();
    }

    /// The union of the buffer; invalid, with nothing changed but that, when it can't be made.
    std::vector<GridLoop> United()
    {
        try {
            std::vector<GridEdge> edges;
            AppendEdges(buffer, 0, edges);
            std::vector<GridLoop> loops;
            if (GridBoolean(std::move(edges), Keep::FirstSet, Cutting::Own, loops)) {
                return loops;
            }
        } catch (const Progress::Impl::Stopped&) {
            throw; // nothing has failed
        } catch (...) {
            if (Progress::Impl::HasReportThrown()) {
                throw; // a host that leaves, either
            }
            // Memory, or the 128-bit arithmetic of the scanline: the caller learns it from
            // `isValid`.
        }
        isValid = false;
        return {};
    }

    void ReduceWhenFull()
    {
        if (buffer.empty() || batchCount <= batchLimit) {
            return;
        }
        std::vector<GridLoop> united = United();
        if (isValid) {
            buffer = std::move(united);
            batchCount = 0;
        }
    }

private:
    static constexpr int kMostBatches = 2147483646;
};

BufferredUnion::BufferredUnion(const VecBase<2, double>& lower, const VecBase<2, double>& upper,
                               int batchLimit)
    : state_(std::make_unique<State>())
{
    const Vec2d extent = upper - lower;
    state_->grid = {Shifted(lower, -kBoxMargin), Shifted(extent, 2 * kBoxMargin)};
    state_->upper = Shifted(upper, kBoxMargin);
    state_->batchLimit = std::max(batchLimit, 1);
}

BufferredUnion::BufferredUnion(const BufferredUnion& other)
    : state_(other.state_ ? std::make_unique<State>(*other.state_) : nullptr)
{
}

BufferredUnion::BufferredUnion(BufferredUnion&& other) noexcept = default;

BufferredUnion& BufferredUnion::operator=(const BufferredUnion& other)
{
    return *this = BufferredUnion(other);
}

BufferredUnion& BufferredUnion::operator=(BufferredUnion&& other) noexcept = default;

BufferredUnion::~BufferredUnion() = default;

bool BufferredUnion::Append(const DirectedSegments& segments)
{
    return Progress::Impl::Stoppable(
        [&]() -> bool {
            if (!state_) {
                AssertSites::Report(AssertSites::kAppendSegmentsToMovedFrom);
                return false;
            }
            if (!state_->isValid) {
                return false;
            }
            bool areAllSound = true;
            for (const auto& [start, end] : segments) {
                areAllSound = areAllSound && state_->IsInBox(start) && state_->IsInBox(end);
            }
            state_->Add(LinkedLoops(segments, state_->grid, areAllSound));
            return areAllSound && state_->isValid;
        },
        [&] { return false; });
}

bool BufferredUnion::Append(const Polylines& polylines)
{
    return Progress::Impl::Stoppable(
        [&]() -> bool {
            if (!state_) {
                AssertSites::Report(AssertSites::kAppendPolylinesToMovedFrom);
                return false;
            }
            if (!state_->isValid) {
                return false;
            }
            bool areAllSound = true;
            std::vector<GridLoop> loops;
            loops.reserve(polylines.size());
            for (const auto& polyline : polylines) {
                if (polyline.empty()) {
                    continue;
                }
                GridLoop loop(polyline.size());
                bool isOnGrid = true;
                for (std::size_t i = 0; i < polyline.size(); ++i) {
                    areAllSound = areAllSound && state_->IsInBox(polyline[i]);
                    isOnGrid = isOnGrid && state_->grid.Snap(polyline[i], loop[i]);
                }
                const Vec2d gap = polyline.back() - polyline.front();
                areAllSound = areAllSound && isOnGrid && std::fabs(gap.x()) <= kLoopEnds &&
                              std::fabs(gap.y()) <= kLoopEnds;
                if (isOnGrid) {
                    loop.front() = loop.back();
                    loops.push_back(std::move(loop));
                }
            }
            state_->Add(std::move(loops));
            return areAllSound && state_->isValid;
        },
        [&] { return false; });
}

BufferredUnion::Polylines
BufferredUnion::GetUnfilteredPolylines(const DirectedSegments& segments) const
{
    if (!state_) {
        AssertSites::Report(AssertSites::kUnfilteredOfMovedFrom);
        return {};
    }
    bool areAllSound = true;
    return FromGrid<double>(LinkedLoops(segments, state_->grid, areAllSound), state_->grid);
}

BufferredUnion::Polylines BufferredUnion::Process()
{
    return Progress::Impl::Stoppable([&]() -> Polylines {
        if (!state_) {
            AssertSites::Report(AssertSites::kProcessOfMovedFrom);
            return {};
        }
        if (!state_->isValid) {
            return {};
        }
        state_->ReduceWhenFull();
        try {
            const std::vector<GridLoop> united = state_->United();
            if (state_->isValid) {
                Polylines result = FromGrid<double>(united, state_->grid);
                state_->buffer.clear();
                return result;
            }
        } catch (const Progress::Impl::Stopped&) {
            throw; // the batches are still there
        } catch (...) {
            if (Progress::Impl::HasReportThrown()) {
                throw;
            }
            state_->isValid = false; // no memory for the result
        }
        return {};
    });
}

bool BufferredUnion::IsValid() const { return state_ && state_->isValid; }

} // namespace Velk::Math::Sorvane::Planar
