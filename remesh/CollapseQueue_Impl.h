// The edges that wait for their collapse, cheapest first.
#pragma once

#include <algorithm>
#include <cstddef>
#include <vector>

namespace Velk::Math::Sorvane::HalfEdge::Impl {

/// A queue of (cost, edge) in ascending order of both, so that what comes out depends on what went
/// in alone. An edge may wait several times.
///
/// A decimation takes out a fraction of what goes in. Only the cheapest part is therefore kept as a
/// heap, small enough for a processor's cache; the others wait without order until that part is
/// used up. Amortized O(log n) for each entry that comes out and O(1) for the others.
class CollapseQueue {
public:
    struct Entry {
        double cost;
        int edge;

        friend bool operator<(const Entry& x, const Entry& y)
        {
            return x.cost != y.cost ? x.cost < y.cost : x.edge < y.edge;
        }
    };

    void Reserve(std::size_t count) { waiting_.reserve(count); }

    /// The cost must not be NaN.
    void Push(double cost, int edge)
    {
        const Entry entry{cost, edge};
        if (entry < bound_) {
            near_.push_back(entry);
            std::push_heap(near_.begin(), near_.end(), Later);
        } else {
            waiting_.push_back(entry);
        }
    }

    bool IsEmpty() const { return near_.empty() && waiting_.empty(); }

    /// Takes the cheapest out; there must be one. Of those that have waited, those for which
    /// isDead(edge) holds are forgotten on the way; false when that leaves none.
    template <class IsDead>
    bool Pop(Entry& entry, const IsDead& isDead)
    {
        while (near_.empty()) {
            if (waiting_.empty()) {
                return false;
            }
            Refill(isDead);
        }
        std::pop_heap(near_.begin(), near_.end(), Later);
        entry = near_.back();
        near_.pop_back();
        return true;
    }

private:
    static bool Later(const Entry& x, const Entry& y) { return y < x; }

    template <class IsDead>
    void Refill(const IsDead& isDead)
    {
        constexpr std::size_t kLeast = 4096;
        constexpr std::size_t kShare = 6;
        std::erase_if(waiting_, [&](const Entry& entry) { return isDead(entry.edge); });
        const std::size_t count =
            std::min(waiting_.size(), std::max(kLeast, waiting_.size() / kShare));
        if (count == 0) {
            return;
        }
        const auto last = waiting_.begin() + static_cast<std::ptrdiff_t>(count - 1);
        std::nth_element(waiting_.begin(), last, waiting_.end());
        bound_ = *last; // what is cheaper than this joins the heap
        near_.assign(waiting_.begin(), last + 1);
        // The last ones take the places of those that have left.
        const std::size_t rest = waiting_.size() - count;
        std::copy(waiting_.end() - static_cast<std::ptrdiff_t>(std::min(rest, count)),
                  waiting_.end(), waiting_.begin());
        waiting_.resize(rest);
        std::make_heap(near_.begin(), near_.end(), Later);
    }

    std::vector<Entry> near_;    // a heap
    std::vector<Entry> waiting_; // none of them before `bound_`
    Entry bound_{-1.0, 0};
};

} // namespace Velk::Math::Sorvane::HalfEdge::Impl
