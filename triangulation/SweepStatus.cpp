// The ordered status of the sweep that splits a polygon into monotone pieces.

#include "triangulation/SweepStatus_Impl.h"

#include "mathbase/Predicates_Impl.h"

#include <iterator>

namespace Velk::Math::Sorvane::Mesh::Impl {
namespace {

using Math::Impl::Orientation;

} // namespace

bool SweepStatus::Lower::operator()(int edge, const Vec2d& point) const
{
    const Entry& entry = status->Slot(edge);
    return Orientation(entry.start, entry.end, point) > 0;
}

// The edge that was entered later is looked at from the other, whose ends the sweep line lies
// between, by its start and, when that lies on the other's line, by its end.
bool SweepStatus::IsLower(int a, int b) const
{
    if (a == b) {
        return false;
    }
    const Entry& first = Slot(a);
    const Entry& second = Slot(b);
    const bool firstIsOlder = first.turn < second.turn;
    const Entry& older = firstIsOlder ? first : second;
    const Entry& newer = firstIsOlder ? second : first;
    int side = Orientation(older.start, older.end, newer.start);
    if (side == 0) {
        side = Orientation(older.start, older.end, newer.end);
    }
    if (side == 0) {
        return a < b;
    }
    return (side > 0) == firstIsOlder;
}

void SweepStatus::Enter(int edge, const Vec2d& start, const Vec2d& end, const SweepHelper& helper)
{
    if (static_cast<std::size_t>(edge) >= entries_.size()) {
        entries_.resize(static_cast<std::size_t>(edge) + 1 + entries_.size() / 2);
    }
    Remove(edge);
    Entry& entry = Slot(edge);
    entry.start = start;
    entry.end = end;
    entry.helper = helper;
    entry.turn = entered_.size();
    entered_.push_back(edge);

    entry.place = byHeight_.insert(edge);
}

void SweepStatus::Remove(int edge)
{
    if (static_cast<std::size_t>(edge) < entries_.size() && Slot(edge).helper.vertex >= 0) {
        byHeight_.erase(Slot(edge).place);
        Slot(edge).helper = {};
    }
}

SweepHelper SweepStatus::Helper(int edge) const
{
    return static_cast<std::size_t>(edge) < entries_.size() ? Slot(edge).helper : SweepHelper{};
}

int SweepStatus::EdgeBelow(const Vec2d& point) const
{
    const auto above = byHeight_.lower_bound(point);
    return above == byHeight_.begin() ? -1 : *std::prev(above);
}

std::pair<int, int> SweepStatus::Neighbors(int edge) const
{
    if (Helper(edge).vertex < 0) {
        return {-1, -1};
    }
    const auto place = Slot(edge).place;
    const auto above = std::next(place);
    return {place == byHeight_.begin() ? -1 : *std::prev(place),
            above == byHeight_.end() ? -1 : *above};
}

void SweepStatus::Clear()
{
    byHeight_.clear();
    for (const int edge : entered_) {
        Slot(edge).helper = {};
    }
    entered_.clear();
}

} // namespace Velk::Math::Sorvane::Mesh::Impl
