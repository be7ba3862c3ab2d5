// NodePairMap: from an ordered pair of node numbers to the half-edge that runs from the first to
// the second. The table behind every edge lookup of a half-edge mesh.
//
// Each node has a shelf of one cache line for the edges that lead from it to nodes of smaller
// number. Half of a node's edges do on average, so seven places seldom run out, and node numbers of
// a mesh are dense. A lookup then costs one line of memory, an edit at a node meets the same line
// again and again, a node just made has all its edges on its own shelf, and nothing moves when the
// table grows. What a full shelf can't take (the hub of a fan, say) goes to a hash table.
//
// The two half-edges of an edge are neighbours in number (2k, 2k+1) and are always entered and
// erased together, hence one place of eight bytes serves both directions.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace Velk::Math::Sorvane::HalfEdge {
namespace Impl {

/// Two different node numbers without their order, and whether they came the other way round.
struct NodePair {
    NodePair(int origin, int destination)
        : low(origin < destination ? origin : destination),
          high(origin < destination ? destination : origin),
          reversed(origin < destination ? 0 : 1)
    {
    }

    int low;
    int high;
    int reversed;
};

/// From node pairs to one number each: a flat open-addressing table with linear probing and
/// deletion by backward shift (D. E. Knuth, "The Art of Computer Programming", volume 3, 6.4,
/// algorithm R), so that a long edit leaves no tombstones.
class NodePairHash {
public:
    std::size_t Size() const { return size_; }
    std::size_t MemoryBytes() const { return slots_.capacity() * sizeof(Slot); }

    /// The number of the pair, or null.
    const int* Find(const NodePair& pair) const
    {
        const std::size_t i = size_ == 0 ? 0 : Locate(pair);
        return size_ == 0 || IsFree(i) ? nullptr : &slots_[i].value;
    }
    int* Find(const NodePair& pair)
    {
        return const_cast<int*>(static_cast<const NodePairHash*>(this)->Find(pair));
    }

    /// Enters a pair that is not there.
    void Add(const NodePair& pair, int value)
    {
        if ((size_ + 1) * 2 > slots_.size()) { // at most every second slot is taken
            Rehash(std::max(2 * slots_.size(), kFewestSlots));
        }
        slots_[Locate(pair)] = {pair.low, pair.high, value};
        ++size_;
    }

    /// Erases the pair whose number `found` points at.
    void Erase(const NodePair& pair)
    {
        CloseGap(Locate(pair));
        --size_;
    }

    void Clear()
    {
        slots_.assign(slots_.size(), Slot{});
        size_ = 0;
    }

    void Swap(NodePairHash& other) noexcept
    {
        slots_.swap(other.slots_);
        std::swap(size_, other.size_);
    }

    /// Calls visit(low, high, reference to the number) for each pair, in no particular order.
    template <class Visit>
    void VisitPairs(Visit visit)
    {
        for (Slot& slot : slots_) {
            if (slot.low >= 0) {
                visit(slot.low, slot.high, slot.value);
            }
        }
    }
    template <class Visit>
    void VisitPairs(Visit visit) const
    {
        for (const Slot& slot : slots_) {
            if (slot.low >= 0) {
                visit(slot.low, slot.high, slot.value);
            }
        }
    }

private:
    struct Slot {
        int low = -1; // -1: the slot is free
        int high = -1;
        int value = 0;
    };

    static constexpr std::size_t kFewestSlots = 16;

    bool IsFree(std::size_t i) const { return slots_[i].low < 0; }
    std::size_t After(std::size_t i) const { return i + 1 == slots_.size() ? 0 : i + 1; }

    // Both numbers mixed by two multiplications and scaled to the table's size.
    std::size_t Home(int low, int high) const
    {
        std::uint64_t hash = (static_cast<std::uint64_t>(static_cast<std::uint32_t>(low)) << 32U) |
                             static_cast<std::uint32_t>(high);
        hash *= 0x9e3779b97f4a7c15U;
        hash = (hash ^ (hash >> 32U)) * 0xbf58476d1ce4e5b9U;
        return static_cast<std::size_t>(((hash >> 32U) * slots_.size()) >> 32U);
    }

    // Where the pair stands, or would.
    std::size_t Locate(const NodePair& pair) const
    {
        std::size_t i = Home(pair.low, pair.high);
        while (!IsFree(i) && (slots_[i].low != pair.low || slots_[i].high != pair.high)) {
            i = After(i);
        }
        return i;
    }

    void CloseGap(std::size_t gap)
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

    void Rehash(std::size_t slotCount)
    {
        std::vector<Slot> before(slotCount);
        before.swap(slots_);
        for (const Slot& slot : before) {
            if (slot.low >= 0) {
                slots_[Locate(NodePair(slot.low, slot.high))] = slot;
            }
        }
    }

    std::vector<Slot> slots_;
    std::size_t size_ = 0;
};

} // namespace Impl

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
    std::size_t MemoryBytes() const
    {
        return shelves_.capacity() * sizeof(Shelf) + overflow_.MemoryBytes();
    }

    /// The half-edge from `origin` to `destination`, or `kNone`.
    int Find(int origin, int destination) const
    {
        const NodePair pair(origin, destination);
        if (HasShelf(pair.high)) {
            const Shelf& shelf = ShelfOf(pair.high);
            const int place = shelf.PlaceOf(pair.low);
            if (place < shelf.count) {
                return shelf.upward[place] ^ pair.reversed;
            }
            if (shelf.elsewhere == 0) {
                return kNone;
            }
        }
        const int* upward = overflow_.Find(pair);
        return upward == nullptr ? kNone : *upward ^ pair.reversed;
    }

    /// Enters `halfEdge` for (origin, destination) and its twin for the reverse; what stood there
    /// before is forgotten.
    void Insert(int origin, int destination, int halfEdge)
    {
        Erase(origin, destination, Find(origin, destination));
        InsertAbsent(origin, destination, halfEdge);
    }

    /// The same for a pair of which `Find` just said that it is not there.
    void InsertAbsent(int origin, int destination, int halfEdge)
    {
        const NodePair pair(origin, destination);
        if (!HasShelf(pair.high)) {
            AddShelves(static_cast<std::size_t>(pair.high) + 1);
        }
        Put(pair, halfEdge ^ pair.reversed);
        ++edgeCount_;
    }

    /// Forgets both directions if they belong to `halfEdge` and its twin. Where two edges join the
    /// same nodes only the one entered last can be looked up, and removing the other must not hide
    /// it.
    void Erase(int origin, int destination, int halfEdge)
    {
        const NodePair pair(origin, destination);
        const int upward = halfEdge ^ pair.reversed;
        if (HasShelf(pair.high)) {
            Shelf& shelf = ShelfOf(pair.high);
            const int place = shelf.PlaceOf(pair.low);
            if (place < shelf.count) {
                if (shelf.upward[place] == upward) {
                    shelf.Remove(place);
                    --edgeCount_;
                }
                return;
            }
            if (shelf.elsewhere == 0) {
                return;
            }
        }
        const int* found = overflow_.Find(pair);
        if (found != nullptr && *found == upward) {
            overflow_.Erase(pair);
            --edgeCount_;
            if (HasShelf(pair.high)) {
                --ShelfOf(pair.high).elsewhere;
            }
        }
    }

    /// Exchanges the half-edges of the two directions of every edge.
    void SwapDirections()
    {
        for (Shelf& shelf : shelves_) {
            for (int i = 0; i < shelf.count; ++i) {
                shelf.upward[i] ^= 1;
            }
        }
        overflow_.VisitPairs([](int, int, int& upward) { upward ^= 1; });
    }

    /// Makes room for edges among the nodes of number below `nodes`.
    void Reserve(std::size_t nodes)
    {
        if (nodes <= shelves_.size()) {
            return;
        }
        const std::size_t before = shelves_.size();
        shelves_.reserve(nodes); // exactly so many
        shelves_.resize(nodes);
        if (overflow_.Size() == 0) {
            return;
        }
        Impl::NodePairHash waiting;
        waiting.Swap(overflow_);
        waiting.VisitPairs([&](int low, int high, int upward) {
            if (static_cast<std::size_t>(high) < before) {
                overflow_.Add(NodePair(low, high), upward); // its shelf is full and stays so
            } else {
                Put(NodePair(low, high), upward);
            }
        });
    }

    /// Forgets everything and keeps the room.
    void Clear()
    {
        for (Shelf& shelf : shelves_) {
            shelf.count = 0;
            shelf.elsewhere = 0;
        }
        overflow_.Clear();
        edgeCount_ = 0;
    }

    void Swap(NodePairMap& other) noexcept
    {
        shelves_.swap(other.shelves_);
        overflow_.Swap(other.overflow_);
        std::swap(edgeCount_, other.edgeCount_);
    }

    /// Calls visit(low node, high node, half-edge from low to high) once for each edge, in no
    /// particular order.
    template <class Visit>
    void VisitEdges(Visit visit) const
    {
        for (std::size_t high = 0; high < shelves_.size(); ++high) {
            const Shelf& shelf = shelves_[high];
            for (int i = 0; i < shelf.count; ++i) {
                visit(shelf.low[i], static_cast<int>(high), shelf.upward[i]);
            }
        }
        overflow_.VisitPairs(visit);
    }

private:
    using NodePair = Impl::NodePair;

    static constexpr int kShelfRoom = 7;

    // Edges from one node to nodes of smaller number. Only the first `count` places hold one.
    struct alignas(64) Shelf {
        int low[kShelfRoom] = {};
        int count = 0;
        int upward[kShelfRoom] = {}; // the half-edge from the smaller number to the greater
        int elsewhere = 0;           // edges of this node in the hash table

        // At or behind `count`: not there.
        int PlaceOf(int node) const
        {
            int place = 0;
            while (place < count && low[place] != node) {
                ++place;
            }
            return place;
        }

        void Remove(int place)
        {
            --count;
            low[place] = low[count];
            upward[place] = upward[count];
        }
    };

    // With more shelves than this numbers are not dense, and edges wait in the hash table.
    static constexpr std::size_t kFewShelves = 16;
    static constexpr std::size_t kShelvesPerEdge = 4;

    bool HasShelf(int node) const { return static_cast<std::size_t>(node) < shelves_.size(); }
    Shelf& ShelfOf(int node) { return shelves_[static_cast<std::size_t>(node)]; }
    const Shelf& ShelfOf(int node) const { return shelves_[static_cast<std::size_t>(node)]; }

    void AddShelves(std::size_t needed)
    {
        if (needed <= kFewShelves + kShelvesPerEdge * edgeCount_) {
            Reserve(std::max(needed, 2 * shelves_.size()));
        }
    }

    void Put(const NodePair& pair, int upward)
    {
        if (HasShelf(pair.high)) {
            Shelf& shelf = ShelfOf(pair.high);
            if (shelf.count < kShelfRoom) {
                shelf.low[shelf.count] = pair.low;
                shelf.upward[shelf.count] = upward;
                ++shelf.count;
                return;
            }
            ++shelf.elsewhere;
        }
        overflow_.Add(pair, upward);
    }

    std::vector<Shelf> shelves_; // one for each node number, as far as numbers are dense
    Impl::NodePairHash overflow_;
    std::size_t edgeCount_ = 0;
};

} // namespace Velk::Math::Sorvane::HalfEdge
