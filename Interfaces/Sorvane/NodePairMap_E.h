// NodePairMap: from an ordered pair of node numbers to the half-edge that runs from the first to
// the second. The table behind every edge lookup of a half-edge mesh.
//
// Each node has a shelf of one cache line for the edges that lead from it to nodes of smaller
// number. Half of a node's edges do on average, so seven places seldom run out, and node numbers of
// a mesh are dense. A lookup then costs one line of memory, an edit at a node meets the same line
// again and again, a node just made has all its edges on its own shelf, and nothing moves when the
// table grows. What a full shelf can't take (the hub of a fan, say) goes to a hash table.
//
// The two half-edges of an edge are neighbors in number (2k, 2k+1) and are always entered and
// erased together, hence one place of eight bytes serves both directions.
#pragma once

#include <Sorvane/Export_E.h>

#include <bit>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace Velk::Math::Sorvane::HalfEdge {
namespace Impl {

/// Two different node numbers without their order, and whether they came the other way round.
struct NodePair {
    // Exchanges by bits, without a branch: which number is smaller can't be foretold.
    NodePair(int origin, int destination)
        : reversed(static_cast<int>(origin > destination)),
          low(origin ^ ((origin ^ destination) & -reversed)),
          high(destination ^ ((origin ^ destination) & -reversed))
    {
    }

    int reversed;
    int low;
    int high;
};

/// From node pairs to one number each: a flat open-addressing table with linear probing and
/// deletion by backward shift (D. E. Knuth, "The Art of Computer Programming", volume 3, 6.4,
/// algorithm R), so that a long edit leaves no tombstones.
class NodePairHash {
public:
    std::size_t Size() const { return size_; }
    std::size_t MemoryBytes() const { return slots_.capacity() * sizeof(Slot); }

    /// The number of the pair, or null.
    SORVANE_API const int* Find(const NodePair& pair) const;
    /// Makes room for so many pairs more. Where there is no memory for it nothing has changed.
    void Prepare(std::size_t more)
    {
        if ((size_ + more) * 2 > slots_.size()) { // at most every second slot is taken
            MakeRoom(more);
        }
    }
    /// Enters a pair that is not there, into room that is there.
    SORVANE_API void Add(const NodePair& pair, int value) noexcept;
    /// Erases the pair if it is there with this number; whether it was.
    SORVANE_API bool Erase(const NodePair& pair, int value);
    SORVANE_API void Clear();
    /// Can the other be assigned without a need of memory?
    bool HasRoomFor(const NodePairHash& other) const
    {
        return other.slots_.size() <= slots_.capacity();
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
        const_cast<NodePairHash*>(this)->VisitPairs(
            [&](int low, int high, const int& value) { visit(low, high, value); });
    }

private:
    struct Slot {
        int low = -1; // -1: the slot is free
        int high = -1;
        int value = 0;
    };

    bool IsFree(std::size_t i) const { return slots_[i].low < 0; }
    std::size_t After(std::size_t i) const { return i + 1 == slots_.size() ? 0 : i + 1; }
    std::size_t Home(int low, int high) const;
    std::size_t Locate(int low, int high) const;
    void CloseGap(std::size_t gap);
    SORVANE_API void MakeRoom(std::size_t more);

    std::vector<Slot> slots_;
    std::size_t size_ = 0;
};

} // namespace Impl

/// Ordered pairs of node numbers (not negative, two different ones) to half-edge numbers.
///
/// Look-up, insertion and removal are O(1) expected, without allocation except when the table
/// grows. Where there is no memory for that the table is as it was. Const operations are safe to
/// call from many threads.
class NodePairMap {
public:
    /// What `Find` gives for a pair that is not there.
    static constexpr int kNone = -2;

    NodePairMap() = default;
    NodePairMap(const NodePairMap&) = default;
    /// Becomes a copy; where there is no memory for one it is as it was.
    NodePairMap& operator=(const NodePairMap& other)
    {
        if (shelves_.capacity() < other.shelves_.size() || !overflow_.HasRoomFor(other.overflow_)) {
            NodePairMap copy(other);
            Swap(copy);
        } else {
            shelves_ = other.shelves_;
            overflow_ = other.overflow_;
            edgeCount_ = other.edgeCount_;
        }
        return *this;
    }
    /// Takes over the table; the other one is empty afterward.
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
        const int* upward = Upward(pair);
        return upward == nullptr ? kNone : *upward ^ pair.reversed;
    }

    /// Fetches what a look-up of the pair would read first. Changes nothing; any numbers will do.
    void Prefetch(int origin, int destination) const
    {
        const NodePair pair(origin, destination);
        if (HasShelf(pair.high)) {
            __builtin_prefetch(&shelves_[static_cast<std::size_t>(pair.high)]);
        }
    }

    /// Enters `halfEdge` for (origin, destination) and its twin for the reverse; what stood there
    /// before is forgotten.
    void Insert(int origin, int destination, int halfEdge)
    {
        PrepareInsert(origin > destination ? origin : destination, 1);
        Enter(origin, destination, halfEdge);
    }

    /// The same for a pair of which `Find` just said that it is not there.
    void InsertAbsent(int origin, int destination, int halfEdge)
    {
        PrepareInsert(origin > destination ? origin : destination, 1);
        EnterAbsent(origin, destination, halfEdge);
    }

    /// Makes room for so many edges more among nodes of number up to `greatest`, so that `Enter`
    /// and `EnterAbsent` need none.
    void PrepareInsert(int greatest, std::size_t edges)
    {
        if (!HasShelf(greatest)) {
            AddShelfFor(greatest);
        }
        overflow_.Prepare(edges);
    }

    /// As `Insert` and `InsertAbsent`, into room that `PrepareInsert` has made.
    void Enter(int origin, int destination, int halfEdge) noexcept
    {
        const NodePair pair(origin, destination);
        if (int* upward = const_cast<int*>(Upward(pair))) {
            *upward = halfEdge ^ pair.reversed;
        } else {
            EnterAbsent(origin, destination, halfEdge);
        }
    }
    void EnterAbsent(int origin, int destination, int halfEdge) noexcept
    {
        const NodePair pair(origin, destination);
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
        if (overflow_.Erase(pair, upward)) {
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
    SORVANE_API void Reserve(std::size_t nodes);

    /// Forgets everything and keeps the room.
    void Clear()
    {
        if (edgeCount_ > 0) {
            for (Shelf& shelf : shelves_) {
                shelf.count = 0;
                shelf.elsewhere = 0;
            }
            overflow_.Clear();
            edgeCount_ = 0;
        }
    }

    /// Exchanges the tables. O(1).
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

        // At or behind `count`: not there. All places are compared: how many are taken can't be
        // foretold, and a wrong guess costs more than seven comparisons.
        int PlaceOf(int node) const
        {
            unsigned held = 1U << kShelfRoom;
            for (int i = 0; i < kShelfRoom; ++i) {
                held |= static_cast<unsigned>(low[i] == node) << i;
            }
            return std::countr_zero(held);
        }

        void Remove(int place)
        {
            --count;
            low[place] = low[count];
            upward[place] = upward[count];
        }
    };

    bool HasShelf(int node) const { return static_cast<std::size_t>(node) < shelves_.size(); }
    Shelf& ShelfOf(int node) { return shelves_[static_cast<std::size_t>(node)]; }
    const Shelf& ShelfOf(int node) const { return shelves_[static_cast<std::size_t>(node)]; }

    // The half-edge from the smaller number to the greater, or null.
    const int* Upward(const NodePair& pair) const
    {
        if (HasShelf(pair.high)) {
            const Shelf& shelf = ShelfOf(pair.high);
            const int place = shelf.PlaceOf(pair.low);
            if (place < shelf.count) {
                return &shelf.upward[place];
            }
            if (shelf.elsewhere == 0) {
                return nullptr;
            }
        }
        return overflow_.Find(pair);
    }

    SORVANE_API void AddShelfFor(int node);

    void Put(const NodePair& pair, int upward) noexcept
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
