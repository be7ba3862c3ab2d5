// The store of subtrees that wait to be visited, for traversals without recursion.
#pragma once

#include <array>
#include <cstddef>
#include <vector>

namespace Velk::Math::Sorvane::Tree::Impl {

/// Last-in first-out store that takes no memory until it is deeper than any but a hostile tree
/// needs.
template <class Entry>
class TraversalStack {
public:
    bool IsEmpty() const { return count_ == 0; }

    void Push(const Entry& entry)
    {
        if (count_ < kInline) {
            near_[count_] = entry;
        } else {
            far_.push_back(entry);
        }
        ++count_;
    }

    Entry Pop()
    {
        --count_;
        if (count_ < kInline) {
            return near_[count_];
        }
        const Entry entry = far_.back();
        far_.pop_back();
        return entry;
    }

private:
    /// Seven siblings wait on each of 36 levels.
    static constexpr std::size_t kInline = 256;

    std::size_t count_ = 0;
    std::array<Entry, kInline> near_; // not set before it is used
    std::vector<Entry> far_;
};

} // namespace Velk::Math::Sorvane::Tree::Impl
