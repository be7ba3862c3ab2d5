// The seldom parts of the node pair table: the hash table behind the shelves, and growth.

#include <Sorvane/NodePairMap_E.h>

#include "mathbase/Progress_Impl.h"

#include <algorithm>
#include <cstdint>

namespace Velk::Math::Sorvane::HalfEdge {
namespace Impl {

const int* NodePairHash::Find(const NodePair& pair) const
{
    if (size_ == 0) {
        return nullptr;
    }
    const std::size_t i = Locate(pair.low, pair.high);
    return IsFree(i) ? nullptr : &slots_[i].value;
}

void NodePairHash::Add(const NodePair& pair, int value) noexcept
{
    slots_[Locate(pair.low, pair.high)] = {pair.low, pair.high, value};
    ++size_;
}

bool NodePairHash::Erase(const NodePair& pair, int value)
{
    const int* found = Find(pair);
    if (found == nullptr || *found != value) {
        return false;
    }
    CloseGap(Locate(pair.low, pair.high));
    --size_;
    return true;
}

void NodePairHash::Clear()
{
    slots_.assign(slots_.size(), Slot{});
    size_ = 0;
}

// Both numbers mixed by two multiplications and scaled to the table's size.
std::size_t NodePairHash::Home(int low, int high) const
{
    std::uint64_t hash = (static_cast<std::uint64_t>(static_cast<std::uint32_t>(low)) << 32U) |
                         static_cast<std::uint32_t>(high);
    hash *= 0x9e3779b97f4a7c15U;
    hash = (hash ^ (hash >> 32U)) * 0xbf58476d1ce4e5b9U;
    return static_cast<std::size_t>(((hash >> 32U) * slots_.size()) >> 32U);
}

// Where the pair stands, or would.
std::size_t NodePairHash::Locate(int low, int high) const
{
    std::size_t i = Home(low, high);
    while (!IsFree(i) && (slots_[i].low != low || slots_[i].high != high)) {
        i = After(i);
    }
    return i;
}

void NodePairHash::CloseGap(std::size_t gap)
{
    for (std::size_t i = After(gap); !IsFree(i); i = After(i)) {
        const std::size_t home = Home(slots_[i].low, slots_[i].high);
        // The entry may move back to the gap unless its home lies behind the gap, cyclically.
        const bool homeIsAfterGap = gap < i ? gap < home && home <= i : gap < home || home <= i;
        if (!homeIsAfterGap) {
            slots_[gap] = slots_[i];
            gap = i;
        }
    }
    slots_[gap] = Slot{};
}

void NodePairHash::MakeRoom(std::size_t more)
{
    constexpr std::size_t kFewestSlots = 16;
    std::vector<Slot> before(std::max({2 * slots_.size(), 2 * (size_ + more), kFewestSlots}));
    before.swap(slots_);
    for (const Slot& slot : before) {
        if (slot.low >= 0) {
            slots_[Locate(slot.low, slot.high)] = slot;
        }
    }
}

} // namespace Impl

void NodePairMap::Reserve(std::size_t nodes)
{
    overflow_.Prepare(1); // a little room at once, so that few edges ever wait for memory
    const std::size_t before = shelves_.size();
    if (nodes <= before) {
        return;
    }
    Progress::Impl::Check();    // as long as nothing has changed: a long list is about to be copied
    Impl::NodePairHash waiting; // will hold what has no shelf, and has room for it before
    if (overflow_.Size() > 0) {
        waiting.Prepare(overflow_.Size() + 1);
    }
    shelves_.reserve(nodes); // exactly so many
    // From here on nothing can fail.
    shelves_.resize(nodes);
    if (overflow_.Size() == 0) {
        return;
    }
    waiting.Swap(overflow_);
    waiting.VisitPairs([&](int low, int high, int upward) {
        if (static_cast<std::size_t>(high) < before) {
            overflow_.Add(NodePair(low, high), upward); // counted as elsewhere, and stays so
        } else {
            Put(NodePair(low, high), upward);
        }
    });
}

// Unless the numbers are far from dense: shelves would then stand empty, and edges do without.
void NodePairMap::AddShelfFor(int node)
{
    constexpr std::size_t kFewShelves = 16;
    constexpr std::size_t kShelvesPerEdge = 4;
    const std::size_t needed = static_cast<std::size_t>(node) + 1;
    if (needed <= kFewShelves + kShelvesPerEdge * edgeCount_) {
        Reserve(std::max(needed, 2 * shelves_.size()));
    }
}

} // namespace Velk::Math::Sorvane::HalfEdge
