// A pool of items at stable addresses, filled block by block; what a spatial tree keeps its contents
// in while its nodes hold plain pointers to them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <iterator>
#include <memory>
#include <type_traits>
#include <utility>
#include <vector>

namespace Velk::Math::Sorvane::Bins {

/// Items numbered from 0 that never move: a number and an address are good until the item is removed,
/// whatever is added meanwhile.
///
/// Item must be movable and move-assignable. Numbers of removed items are dealt again, the one removed
/// first comes first. Const operations are safe to call from many threads as long as nobody adds or
/// removes. Up to 2^31 - 1 items.
template <class Item> class DataPool {
public:
    /// Slots of a block unless `SetBlockSize` says otherwise.
    static constexpr std::uint32_t kDefaultBlockSize = 1024;

    /// Goes over the occupied slots, ascending; `Index` is the item's number.
    template <bool IsConst> class BasicIterator {
    public:
        /// The pool, and the five types that the standard library asks of an iterator.
        using Pool = std::conditional_t<IsConst, const DataPool, DataPool>;
        using iterator_category = std::forward_iterator_tag;
        using value_type = Item;
        using difference_type = std::ptrdiff_t;
        using pointer = std::conditional_t<IsConst, const Item*, Item*>;
        using reference = std::conditional_t<IsConst, const Item&, Item&>;

        BasicIterator() = default;
        /// At the first occupied slot from `index` on, or at the end.
        BasicIterator(Pool* pool, std::int32_t index) : pool_(pool), index_(index) { SkipFree(); }

        /// The item.
        reference operator*() const { return pool_->SlotAt(index_).item; }
        pointer operator->() const { return &**this; }
        /// The number of the item, as `Add` told it.
        std::int32_t Index() const { return index_; }

        /// Goes on to the next occupied slot.
        BasicIterator& operator++()
        {
            ++index_;
            SkipFree();
            return *this;
        }
        /// The same, and gives the iterator as it was.
        BasicIterator operator++(int)
        {
            const BasicIterator before = *this;
            ++*this;
            return before;
        }
        /// At the same slot; only iterators of one pool are compared.
        friend bool operator==(const BasicIterator& a, const BasicIterator& b)
        {
            return a.index_ == b.index_;
        }

    private:
        void SkipFree()
        {
            if (pool_->freeIndices_.empty()) {
                return;
            }
            while (index_ <= pool_->lastIndex_ && !pool_->SlotAt(index_).occupied) {
                ++index_;
            }
        }

        Pool* pool_ = nullptr;
        std::int32_t index_ = 0;
    };
    /// Iterators that let an item be changed, and that do not.
    using Iterator = BasicIterator<false>;
    using ConstIterator = BasicIterator<true>;

    DataPool() = default;
    // A copy would have other addresses than those that were handed out; a move keeps them.
    DataPool(const DataPool&) = delete;
    DataPool& operator=(const DataPool&) = delete;
    /// Takes over the blocks, so that items keep their addresses; the other pool is empty afterward.
    DataPool(DataPool&& other) noexcept { Swap(other); }
    DataPool& operator=(DataPool&& other) noexcept
    {
        DataPool taken(std::move(other));
        Swap(taken);
        return *this;
    }
    ~DataPool() = default;

    /// Stores the item and tells its number: the number that has been free longest, whose slot is
    /// overwritten in place, otherwise one more than the highest so far. O(1).
    std::int32_t Add(Item item)
    {
        if (!freeIndices_.empty()) {
            const std::uint32_t index = freeIndices_.front();
            Slot& slot = SlotAt(static_cast<std::int32_t>(index));
            slot.item = std::move(item);
            slot.occupied = true;
            freeIndices_.pop_front();
            return static_cast<std::int32_t>(index);
        }
        const std::uint32_t next = static_cast<std::uint32_t>(lastIndex_ + 1);
        if (next / blockSize_ == blocks_.size()) {
            auto block = std::make_unique<Block>();
            block->reserve(blockSize_); // all at once: its slots must not move later
            blocks_.push_back(std::move(block));
        }
        blocks_.back()->push_back({std::move(item), true});
        return ++lastIndex_;
    }

    /// Frees the item's number; false for a number that names no item. The item itself stays as it is
    /// until its slot is used again, and pointers to it must not be used from then on. O(1).
    bool Remove(std::int32_t index)
    {
        if (!Holds(index)) {
            return false;
        }
        freeIndices_.push_back(static_cast<std::uint32_t>(index));
        SlotAt(index).occupied = false;
        return true;
    }

    /// True when the number names an item.
    bool Holds(std::int32_t index) const
    {
        return index >= 0 && index <= lastIndex_ && SlotAt(index).occupied;
    }

    /// The item of that number; null for a number that names none.
    Item* Find(std::int32_t index) { return Holds(index) ? &SlotAt(index).item : nullptr; }
    const Item* Find(std::int32_t index) const
    {
        return Holds(index) ? &SlotAt(index).item : nullptr;
    }

    /// The occupied slots, ascending by number.
    Iterator begin() { return {this, 0}; }
    Iterator end() { return {this, lastIndex_ + 1}; }
    ConstIterator begin() const { return {this, 0}; }
    ConstIterator end() const { return {this, lastIndex_ + 1}; }

    /// How many slots the blocks made from now on have. To be told before the first item: false, and
    /// nothing changes, when there is a block already or `slots` is 0.
    bool SetBlockSize(std::uint32_t slots)
    {
        if (slots == 0 || !blocks_.empty()) {
            return false;
        }
        blockSize_ = slots;
        return true;
    }

    /// Slots of the blocks made from now on.
    std::uint32_t BlockSize() const { return blockSize_; }
    /// Blocks made so far; a block is never given back while the pool lives.
    std::size_t BlockCount() const { return blocks_.size(); }
    /// The highest number dealt so far, of an item that may have been removed; -1 for none.
    std::int32_t LastIndex() const { return lastIndex_; }
    /// Items held.
    std::size_t ItemCount() const
    {
        return static_cast<std::size_t>(lastIndex_ + 1) - freeIndices_.size();
    }
    /// Numbers to be dealt next, in this order.
    const std::deque<std::uint32_t>& FreeIndices() const { return freeIndices_; }

private:
    struct Slot {
        Item item;
        bool occupied;
    };
    using Block = std::vector<Slot>;

    Slot& SlotAt(std::int32_t index)
    {
        const std::uint32_t i = static_cast<std::uint32_t>(index);
        return (*blocks_[i / blockSize_])[i % blockSize_];
    }
    const Slot& SlotAt(std::int32_t index) const
    {
        const std::uint32_t i = static_cast<std::uint32_t>(index);
        return (*blocks_[i / blockSize_])[i % blockSize_];
    }

    void Swap(DataPool& other) noexcept
    {
        blocks_.swap(other.blocks_);
        freeIndices_.swap(other.freeIndices_);
        std::swap(blockSize_, other.blockSize_);
        std::swap(lastIndex_, other.lastIndex_);
    }

    std::vector<std::unique_ptr<Block>> blocks_;
    std::deque<std::uint32_t> freeIndices_;
    std::uint32_t blockSize_ = kDefaultBlockSize;
    std::int32_t lastIndex_ = -1;
};

} // namespace Velk::Math::Sorvane::Bins

namespace Velk::Math::Sorvane::Tree {

/// The pool that a concrete tree keeps its contents in. Destroy the tree's nodes, or at least stop
/// asking them, before the storage goes.
template <class Item> class QOFStorage : public Bins::DataPool<Item> {};

} // namespace Velk::Math::Sorvane::Tree
