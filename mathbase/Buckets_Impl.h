// Items dealt into numbered buckets by a counting sort, all in one array.
#pragma once

#include "mathbase/Progress_Impl.h"

#include <cstddef>
#include <span>
#include <utility>
#include <vector>

namespace Velk::Math::Impl {

/// Lists of items, one for each of a fixed number of buckets, as two arrays: the items of all
/// buckets one after the other, and for each bucket where its items begin (compressed rows).
///
/// Within a bucket items stay in the order in which they were dealt. `Offset` is an integer type
/// that can hold the number of all items.
template <class Item, class Offset = std::size_t>
class Buckets {
public:
    Buckets() : offsets_(1) {}

    /// `deal(put)` calls put(bucket, item) once for each item, with 0 <= bucket < bucketCount. It
    /// is called twice, to count and to fill, and has to put the same items in the same order. Time
    /// O(items + buckets).
    template <class Deal>
    Buckets(std::size_t bucketCount, const Deal& deal) : offsets_(bucketCount + 2)
    {
        // Counted two places on, so that after the sum the entry behind a bucket's own is where the
        // bucket begins; filling moves that entry on to where the bucket ends, its final value.
        deal(
            [this](auto bucket, const Item&) { ++offsets_[static_cast<std::size_t>(bucket) + 2]; });
        for (std::size_t i = 2; i < offsets_.size(); ++i) {
            offsets_[i] = static_cast<Offset>(offsets_[i] + offsets_[i - 1]);
        }
        items_.resize(static_cast<std::size_t>(offsets_.back()));
        deal([this](auto bucket, Item item) {
            Offset& next = offsets_[static_cast<std::size_t>(bucket) + 1];
            items_[static_cast<std::size_t>(next++)] = std::move(item);
        });
        offsets_.pop_back();
    }

    std::size_t BucketCount() const { return offsets_.size() - 1; }

    template <class Number>
    std::span<const Item> operator[](Number bucket) const
    {
        const auto [first, size] = RangeOf(static_cast<std::size_t>(bucket));
        return std::span(items_).subspan(first, size);
    }

    template <class Number>
    std::span<Item> operator[](Number bucket)
    {
        const auto [first, size] = RangeOf(static_cast<std::size_t>(bucket));
        return std::span(items_).subspan(first, size);
    }

    /// Leaves only items for which keep(bucket, item) is true, asked once for each in order.
    template <class Keep>
    void KeepIf(const Keep& keep)
    {
        std::size_t kept = 0;
        std::size_t from = 0;
        for (std::size_t bucket = 0; bucket < BucketCount(); ++bucket) {
            const auto to = static_cast<std::size_t>(offsets_[bucket + 1]);
            for (; from < to; ++from) {
                if (keep(bucket, std::as_const(items_[from]))) {
                    if (kept != from) {
                        items_[kept] = std::move(items_[from]);
                    }
                    ++kept;
                }
            }
            offsets_[bucket + 1] = static_cast<Offset>(kept);
        }
        items_.resize(kept);
    }

    /// Where each bucket begins among `Items`, and the end.
    const std::vector<Offset>& Offsets() const { return offsets_; }
    const std::vector<Item>& Items() const { return items_; }
    std::vector<Item>& Items() { return items_; }

private:
    std::pair<std::size_t, std::size_t> RangeOf(std::size_t bucket) const
    {
        const auto first = static_cast<std::size_t>(offsets_[bucket]);
        return {first, static_cast<std::size_t>(offsets_[bucket + 1]) - first};
    }

    std::vector<Offset> offsets_;
    std::vector<Item> items_;
};

/// The numbers 0 to itemCount - 1 in buckets; bucketOf(i) is the bucket of number i.
template <class Offset = int, class BucketOf>
Buckets<int, Offset> NumbersInBuckets(std::size_t bucketCount, std::size_t itemCount,
                                      const BucketOf& bucketOf)
{
    return Buckets<int, Offset>(bucketCount, [&](const auto& put) {
        for (std::size_t i = 0; i < itemCount; ++i) {
            Progress::Impl::CheckStep(i);
            put(bucketOf(i), static_cast<int>(i));
        }
    });
}

} // namespace Velk::Math::Impl
