// The edges that wait for their collapse, cheapest first.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <span>
#include <vector>

namespace Velk::Math::Sorvane::HalfEdge::Impl {

/// A queue of (cost, edge) in ascending order of both, so that what comes out depends on what went
/// in alone. An edge may wait several times.
///
/// A decimation takes out a fraction of what goes in. Only the cheapest part is therefore kept as a
/// heap, small enough for a processor's cache; the others wait without order until that part is
/// used up. Of the heap the first few are taken out ahead of their turn, so that what their
/// collapses are going to read can be fetched meanwhile. Amortized O(log n) for each entry that
/// comes out and O(1) for the others.
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

    /// One of the entries that come next, as far as it is known now, and what the owner has noted
    /// of it since it has been one of these; -1 at first.
    struct Upcoming {
        Entry entry{};
        std::array<int, 2> notes{-1, -1};
    };

    void Reserve(std::size_t count) { waiting_.reserve(count); }

    /// The cost must not be NaN.
    void Push(double cost, int edge)
    {
        const Entry entry{cost, edge};
        if (upcomingCount_ > 0 && entry < upcoming_[upcomingCount_ - 1].entry) {
            if (upcomingCount_ == kUpcoming) {
                PushNear(upcoming_[--upcomingCount_].entry);
            }
            std::size_t place = upcomingCount_++;
            for (; place > 0 && entry < upcoming_[place - 1].entry; --place) {
                upcoming_[place] = upcoming_[place - 1];
            }
            upcoming_[place] = {entry, {-1, -1}};
        } else if (entry < bound_) {
            PushNear(entry);
        } else {
            waiting_.push_back(entry);
        }
    }

    bool IsEmpty() const { return upcomingCount_ == 0 && near_.empty() && waiting_.empty(); }

    /// Those next in turn, in their order. Later ones may yet come before them.
    std::span<Upcoming> Next() { return std::span(upcoming_).first(upcomingCount_); }

    /// Takes the cheapest out; there must be one. Of those that have waited, those for which
    /// isDead(edge) holds are forgotten on the way; false when that leaves none.
    template <class IsDead>
    bool Pop(Entry& entry, const IsDead& isDead)
    {
        while (upcomingCount_ == 0 && near_.empty()) {
            if (waiting_.empty()) {
                return false;
            }
            Refill(isDead);
        }
        for (; upcomingCount_ < kUpcoming && !near_.empty(); ++upcomingCount_) {
            std::pop_heap(near_.begin(), near_.end(), Later);
            upcoming_[upcomingCount_] = {near_.back(), {-1, -1}};
            near_.pop_back();
        }
        entry = upcoming_.front().entry;
        std::copy(upcoming_.begin() + 1,
                  upcoming_.begin() + static_cast<std::ptrdiff_t>(upcomingCount_),
                  upcoming_.begin());
        --upcomingCount_;
        return true;
    }

private:
    static constexpr std::size_t kUpcoming = 10;

    void PushNear(const Entry& entry)
    {
        near_.push_back(entry);
        std::push_heap(near_.begin(), near_.end(), Later);
    }
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

    std::array<Upcoming, kUpcoming> upcoming_; // in order, none behind one of the heap
    std::size_t upcomingCount_ = 0;
    std::vector<Entry> near_;    // a heap
    std::vector<Entry> waiting_; // none of them before `bound_`
    Entry bound_{-1.0, 0};
};

} // namespace Velk::Math::Sorvane::HalfEdge::Impl
