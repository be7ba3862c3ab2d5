// Disjoint sets of the numbers 0 to n - 1, joined pair by pair.
//
// Linking by index and path halving (R. E. Tarjan and J. van Leeuwen, "Worst-case analysis of set
// union algorithms", 1984): a set is named by its lowest member, so that names depend on the sets
// alone and not on the order in which they were joined. O(log n) amortized for each call.
#pragma once

#include <cstddef>
#include <numeric>
#include <utility>
#include <vector>

namespace Velk::Math::Impl {

class DisjointSets {
public:
    /// `count` sets of one member each.
    explicit DisjointSets(std::size_t count) : parents_(count)
    {
        std::iota(parents_.begin(), parents_.end(), 0);
    }

    /// Number of members of all sets.
    std::size_t Size() const { return parents_.size(); }

    /// A new set of one; its member.
    int Add()
    {
        const int member = static_cast<int>(parents_.size());
        parents_.push_back(member);
        return member;
    }

    /// The lowest member of the set that holds `member`. Not const: it shortens the way for later
    /// calls.
    int Find(int member)
    {
        while (ParentOf(member) != member) {
            const int above = ParentOf(ParentOf(member));
            ParentOf(member) = above;
            member = above;
        }
        return member;
    }

    /// Makes one set of two; false when the members were in one set already.
    bool Join(int a, int b)
    {
        int low = Find(a);
        int high = Find(b);
        if (low == high) {
            return false;
        }
        if (high < low) {
            std::swap(low, high);
        }
        ParentOf(high) = low;
        return true;
    }

private:
    int& ParentOf(int member) { return parents_[static_cast<std::size_t>(member)]; }

    std::vector<int> parents_; // never above the member itself
};

} // namespace Velk::Math::Impl
