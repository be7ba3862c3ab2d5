// What a content tree holds: objects of which it knows the bound alone, and the set of them that a
// node keeps.
#pragma once

#include <Sorvane/BoundingVolumes_E.h>

#include <cstddef>
#include <memory>
#include <type_traits>
#include <unordered_map>
#include <utility>
#include <vector>

namespace Velk::Math::Sorvane::Tree {

/// Content bounded by an axis-parallel box; whoever makes it adds the margin it needs.
template <int D, class T> struct QOFTreeContentBox {
    using Bound = Bounding::AxisAlignedBoundingBox<D, T>;

    VecBase<D, T> min;
    VecBase<D, T> max;

    QOFTreeContentBox() = default;
    QOFTreeContentBox(const VecBase<D, T>& lower, const VecBase<D, T>& upper)
        : min(lower), max(upper)
    {
    }
    QOFTreeContentBox(const QOFTreeContentBox&) = default;
    QOFTreeContentBox& operator=(const QOFTreeContentBox&) = default;
    virtual ~QOFTreeContentBox() = default;

    Bound GetBound() const { return {min, max}; }
};

/// Content bounded by a circle or ball.
template <int D, class T> struct QOFTreeContentBall {
    using Bound = Bounding::BoundingBall<D, T>;

    VecBase<D, T> center;
    T radius{0};

    QOFTreeContentBall() = default;
    QOFTreeContentBall(const VecBase<D, T>& ballCenter, T ballRadius)
        : center(ballCenter), radius(ballRadius)
    {
    }
    QOFTreeContentBall(const QOFTreeContentBall&) = default;
    QOFTreeContentBall& operator=(const QOFTreeContentBall&) = default;
    virtual ~QOFTreeContentBall() = default;

    Bound GetBound() const { return {center, radius}; }
};

/// Base of everything a tree can hold: K = 0 is bounded by a box, K = 1 by a ball.
template <int D, class T, int K>
struct QOFTreeContent
    : std::conditional_t<K == 0, QOFTreeContentBox<D, T>, QOFTreeContentBall<D, T>> {
    static_assert(D == 2 || D == 3, "trees divide the plane or space");
    static_assert(K == 0 || K == 1, "a content is bounded by a box (0) or by a ball (1)");

    using Base = std::conditional_t<K == 0, QOFTreeContentBox<D, T>, QOFTreeContentBall<D, T>>;
    using Base::Base;
};

/// The contents of one node: a set of pointers that it does not own, in the order in which they came,
/// so that what a query answers is the same in every run. (A removal moves the last one into the gap.)
///
/// The bound that a content has when it comes is kept beside the pointer: queries run over bounds that
/// lie next to each other and touch the content itself only when it is a candidate. Whoever changes the
/// bound of a content removes it before and inserts it after. Named as the standard's sets are.
template <int D, class T, int K> class QOFContentSet {
public:
    using Content = QOFTreeContent<D, T, K>;
    using Bound = typename Content::Bound;

    std::size_t size() const { return items_.size(); }
    bool empty() const { return items_.empty(); }
    auto begin() const { return items_.begin(); }
    auto end() const { return items_.end(); }
    const Content* operator[](std::size_t i) const { return items_[i]; }
    /// The bound of the i-th content as it was when it came.
    const Bound& BoundAt(std::size_t i) const { return bounds_[i]; }

    /// False when it is there already. O(1) for large sets, a short scan for small ones.
    bool insert(const Content* content)
    {
        if (Position(content) != size()) {
            return false;
        }
        append(content, content->GetBound());
        return true;
    }

    /// Adds a content that is known not to be there. O(1).
    void append(const Content* content, const Bound& bound)
    {
        if (positions_) {
            positions_->emplace(content, size());
        }
        items_.push_back(content);
        bounds_.push_back(bound);
    }

    /// False when it isn't there.
    bool erase(const Content* content)
    {
        const std::size_t position = Position(content);
        if (position == size()) {
            return false;
        }
        if (positions_) {
            positions_->erase(content);
            if (position + 1 != size()) {
                (*positions_)[items_.back()] = position;
            }
        }
        items_[position] = items_.back();
        bounds_[position] = bounds_.back();
        items_.pop_back();
        bounds_.pop_back();
        return true;
    }

    bool contains(const Content* content) const { return FindPosition(content) != size(); }

    void clear() { *this = QOFContentSet(); }

    void swap(QOFContentSet& other) noexcept
    {
        items_.swap(other.items_);
        bounds_.swap(other.bounds_);
        positions_.swap(other.positions_);
    }

private:
    /// Above this size a scan for one pointer takes longer than a look-up in a hash table, which is
    /// made when the first pointer is looked for.
    static constexpr std::size_t kLargestScan = 512;

    std::size_t FindPosition(const Content* content) const
    {
        if (positions_) {
            const auto found = positions_->find(content);
            return found == positions_->end() ? size() : found->second;
        }
        std::size_t i = 0;
        while (i < size() && items_[i] != content) {
            ++i;
        }
        return i;
    }

    std::size_t Position(const Content* content)
    {
        if (!positions_ && size() > kLargestScan) {
            positions_ = std::make_unique<std::unordered_map<const Content*, std::size_t>>();
            positions_->reserve(2 * size());
            for (std::size_t i = 0; i < size(); ++i) {
                positions_->emplace(items_[i], i);
            }
        }
        return FindPosition(content);
    }

    std::vector<const Content*> items_;
    std::vector<Bound> bounds_;
    std::unique_ptr<std::unordered_map<const Content*, std::size_t>> positions_;
};

// clang-format off
extern template struct SORVANE_API QOFTreeContentBox<2, float>;
extern template struct SORVANE_API QOFTreeContentBox<2, double>;
extern template struct SORVANE_API QOFTreeContentBox<3, double>;
extern template struct SORVANE_API QOFTreeContentBall<2, double>;
extern template struct SORVANE_API QOFTreeContentBall<3, double>;
extern template struct SORVANE_API QOFTreeContent<2, float, 0>;
extern template struct SORVANE_API QOFTreeContent<2, double, 0>;
extern template struct SORVANE_API QOFTreeContent<3, double, 0>;
extern template struct SORVANE_API QOFTreeContent<2, double, 1>;
extern template struct SORVANE_API QOFTreeContent<3, double, 1>;
// clang-format on

} // namespace Velk::Math::Sorvane::Tree
