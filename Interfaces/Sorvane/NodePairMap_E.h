// NodePairMap: from an ordered pair of node numbers to the half-edge that runs from the first to
// the second. The table behind every edge lookup of a half-edge mesh.
//
// A flat open-addressing table with linear probing and deletion by backward shift (D. E. Knuth,
// "The Art of Computer Programming", volume 3, 6.4, algorithm R), so that a long edit leaves no
// tombstones. The two half-edges of an edge are neighbours in number (2k, 2k+1) and are always
// entered and erased together, hence one slot of 12 bytes serves both directions.
#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace Velk::Math::Sorvane::HalfEdge {

/// Ordered pairs of node numbers (not negative, two different ones) to half-edge numbers.
///
/// Look-up, insertion and removal are O(1) expected, without allocation except when the table
/// grows. Const operations are safe to call from many threads.
class NodePairMap {
public:
    /// What `Find` gives for a pair that is not there.
    static constexpr int kNone = -2;

    NodePairMap() = default;
    NodePairMap(const NodePairMap&) = default;
    NodePairMap& operator=(const NodePairMap&) = default;
    NodePairMap(NodePairMap&& other) noexcept { Swap(other); }
    NodePairMap& operator=(NodePairMap&& other) noexcept
    {
        NodePairMap taken(std::move(other));
        Swap(taken);
        return *this;
    }
    ~NodePairMap() = default;

    /// Number of edges: each counts once though it can be looked up in both directions.
    std::size_t EdgeCount() const { return edgeCount_; }
    /// Bytes of the table as it stands.
    std::size_t MemoryBytes() const { return slots_.capacity() * sizeof(Slot); }

    /// What a look-up found: the half-edge or `kNone`, and where the pair stands or would stand.
    struct Place {
        int halfEdge = kNone;
        std::size_t slot = 0;
    };

    /// The half-edge from `origin` to `destination`, or `kNone`.
    int Find(int origin, int destination) const { return Locate(origin, destination).halfEdge; }

    /// `Find`, with the place for `InsertAt`.
    Place Locate(int origin, int destination) const
    {
        if (slots_.empty()) {
            return {};
        }
        const Key key(origin, destination);
        std::size_t i = Home(key);
        for (; !IsFree(i); i = After(i)) {
            if (Holds(i, key)) {
                return {slots_[i].halfEdge ^ key.reversed, i};
            }
        }
        return {kNone, i};
    }

    /// Fetches what a look-up of the pair would read first. Changes nothing; any numbers will do.
    void Prefetch(int origin, int destination) const
    {
        if (!slots_.empty()) {
            __builtin_prefetch(&slots_[Home(Key(origin, destination))]);
        }
    }

    /// Enters `halfEdge` for (origin, destination) and its twin for the reverse; what stood there
    /// before is forgotten.
    void Insert(int origin, int destination, int halfEdge)
    {
        InsertAt(Locate(origin, destination), origin, destination, halfEdge);
    }

    /// The same for a pair just located; nothing may have been entered or erased in between.
    void InsertAt(Place place, int origin, int destination, int halfEdge)
    {
        if ((edgeCount_ + 1) * kLoadDenominator > slots_.size() * kLoadNumerator) {
            Rehash(2 * slots_.size());
            place = Locate(origin, destination);
        }
        const Key key(origin, destination);
        edgeCount_ += IsFree(place.slot) ? 1U : 0U;
        slots_[place.slot] = {key.low, key.high, halfEdge ^ key.reversed};
    }

    /// Forgets both directions if they belong to `halfEdge` and its twin. Where two edges join the
    /// same nodes only the one entered last can be looked up, and removing the other must not hide
    /// it.
    void Erase(int origin, int destination, int halfEdge)
    {
        const Place place = Locate(origin, destination);
        if (place.halfEdge == halfEdge && halfEdge >= 0) {
            CloseGap(place.slot);
            --edgeCount_;
        }
    }

    /// Exchanges the half-edges of the two directions of every edge.
    void SwapDirections()
    {
        for (Slot& slot : slots_) {
            slot.halfEdge ^= slot.low >= 0 ? 1 : 0;
        }
    }

    /// Makes room for `edges` edges in all.
    void Reserve(std::size_t edges)
    {
        const std::size_t needed = edges * kLoadDenominator / kLoadNumerator + 1;
        if (needed > slots_.size()) {
            Rehash(needed);
        }
    }

    /// Forgets everything and keeps the room.
    void Clear()
    {
        if (edgeCount_ > 0) {
            slots_.assign(slots_.size(), Slot{});
            edgeCount_ = 0;
        }
    }

    void Swap(NodePairMap& other) noexcept
    {
        slots_.swap(other.slots_);
        std::swap(edgeCount_, other.edgeCount_);
    }

    /// Calls visit(low node, high node, half-edge from low to high) once for each edge, in no
    /// particular order.
    template <class Visit>
    void VisitEdges(Visit visit) const
    {
        for (const Slot& slot : slots_) {
            if (slot.low >= 0) {
                visit(slot.low, slot.high, slot.halfEdge);
            }
        }
    }

private:
    struct Slot {
        int low = -1; // smaller node number; -1: the slot is free
        int high = -1;
        int halfEdge = kNone; // the one from low to high
    };

    struct Key {
        Key(int origin, int destination)
            : low(origin < destination ? origin : destination),
              high(origin < destination ? destination : origin),
              reversed(origin < destination ? 0 : 1)
        {
        }

        int low;
        int high;
        int reversed;
    };

    // At most every second slot is taken: runs stay short, which edits feel most, as they erase.
    static constexpr std::size_t kLoadNumerator = 1;
    static constexpr std::size_t kLoadDenominator = 2;
    static constexpr std::size_t kFewestSlots = 16;
    static constexpr std::size_t kGroup = 2; // the number of slots is a multiple of it

    bool IsFree(std::size_t i) const { return slots_[i].low < 0; }
    bool Holds(std::size_t i, const Key& key) const
    {
        return slots_[i].low == key.low && slots_[i].high == key.high;
    }
    std::size_t After(std::size_t i) const { return i + 1 == slots_.size() ? 0 : i + 1; }

    // Smaller number and difference, mixed by two multiplications and scaled to the table's size;
    // the last bit of the smaller number chooses within a group of two. Edges that run alike from
    // two nodes in a row then stand side by side, which speeds up building a mesh whose numbering
    // is not random (larger groups do more for it, and slow down edits). FNV-1a over the eight
    // bytes, with its eight dependent multiplications, takes twice as long to build a mesh.
    std::size_t Home(const Key& key) const
    {
        const std::uint64_t low = static_cast<std::uint32_t>(key.low);
        const std::uint64_t difference =
            static_cast<std::uint32_t>(key.high) - static_cast<std::uint32_t>(key.low);
        std::uint64_t hash = (((low / kGroup) << 32U) | difference) * 0x9e3779b97f4a7c15U;
        hash = (hash ^ (hash >> 32U)) * 0xbf58476d1ce4e5b9U;
        const std::uint64_t group = ((hash >> 32U) * (slots_.size() / kGroup)) >> 32U;
        return static_cast<std::size_t>(group * kGroup + (low ^ hash) % kGroup);
    }

    void CloseGap(std::size_t gap)
    {
        for (std::size_t i = After(gap); !IsFree(i); i = After(i)) {
            const std::size_t home = Home(Key(slots_[i].low, slots_[i].high));
            // The entry may move back to the gap unless its home lies behind the gap, cyclically.
            const bool homeIsAfterGap = gap < i ? gap < home && home <= i : gap < home || home <= i;
            if (!homeIsAfterGap) {
                slots_[gap] = slots_[i];
                gap = i;
            }
        }
        slots_[gap] = Slot{};
    }

    void Rehash(std::size_t slotCount)
    {
        slotCount = slotCount < kFewestSlots ? kFewestSlots : slotCount;
        std::vector<Slot> before((slotCount + kGroup - 1) / kGroup * kGroup);
        before.swap(slots_);
        for (const Slot& slot : before) {
            if (slot.low >= 0) {
                std::size_t i = Home(Key(slot.low, slot.high));
                while (!IsFree(i)) {
                    i = After(i);
                }
                slots_[i] = slot;
            }
        }
    }

    std::vector<Slot> slots_;
    std::size_t edgeCount_ = 0;
};

} // namespace Velk::Math::Sorvane::HalfEdge
