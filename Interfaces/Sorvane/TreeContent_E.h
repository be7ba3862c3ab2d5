// What a content tree holds: objects of which it knows the bound alone, and the set of them that a
// node keeps.
#pragma once

#include <Sorvane/BoundingVolumes_E.h>

#include <array>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <type_traits>
#include <unordered_map>
#include <utility>
#include <vector>

namespace Velk::Math::Sorvane::Tree {

/// The contents that trees are compiled for: bounded by a box (K = 0) or by a ball (K = 1).
template <int D, class T, int K>
concept SupportedContent = (D == 2 || D == 3) && (K == 0 || K == 1) &&
                           (std::same_as<T, double> || (std::same_as<T, float> && D == 2 && K == 0));

/// Content bounded by an axis-parallel box; whoever makes it adds the margin it needs.
template <int D, class T> struct QOFTreeContentBox {
    /// What a tree knows of the content.
    using Bound = Bounding::AxisAlignedBoundingBox<D, T>;

    VecBase<D, T> min; ///< least coordinate on each axis
    VecBase<D, T> max; ///< greatest coordinate on each axis

    QOFTreeContentBox() = default;
    /// From the lower and the upper corner.
    QOFTreeContentBox(const VecBase<D, T>& lower, const VecBase<D, T>& upper)
        : min(lower), max(upper)
    {
    }
    QOFTreeContentBox(const QOFTreeContentBox&) = default;
    QOFTreeContentBox& operator=(const QOFTreeContentBox&) = default;
    virtual ~QOFTreeContentBox() = default;

    /// The box as it is now.
    Bound GetBound() const { return {min, max}; }
};

/// Content bounded by a circle or ball.
template <int D, class T> struct QOFTreeContentBall {
    /// What a tree knows of the content.
    using Bound = Bounding::BoundingBall<D, T>;

    VecBase<D, T> center; ///< of the circle or ball
    T radius{0};          ///< in the unit of the coordinates

    QOFTreeContentBall() = default;
    /// From center and radius.
    QOFTreeContentBall(const VecBase<D, T>& ballCenter, T ballRadius)
        : center(ballCenter), radius(ballRadius)
    {
    }
    QOFTreeContentBall(const QOFTreeContentBall&) = default;
    QOFTreeContentBall& operator=(const QOFTreeContentBall&) = default;
    virtual ~QOFTreeContentBall() = default;

    /// The ball as it is now.
    Bound GetBound() const { return {center, radius}; }
};

/// Base of everything a tree can hold: K = 0 is bounded by a box, K = 1 by a ball.
template <int D, class T, int K>
struct QOFTreeContent
    : std::conditional_t<K == 0, QOFTreeContentBox<D, T>, QOFTreeContentBall<D, T>> {
    static_assert(D == 2 || D == 3, "trees divide the plane or space");
    static_assert(K == 0 || K == 1, "a content is bounded by a box (0) or by a ball (1)");

    /// The kind of bound.
    using Base = std::conditional_t<K == 0, QOFTreeContentBox<D, T>, QOFTreeContentBall<D, T>>;
    using Base::Base;
};

/// The contents of one node: a set of pointers that it does not own. Named as the standard's sets are.
///
/// Beside the pointer stands the bound that the content had when it came: queries run over bounds that
/// lie next to each other and touch a content only when it is a candidate. Whoever changes the bound of
/// a content removes it before and inserts it after.
///
/// A large set is arranged, so that a query does not look at all of it: contents that lie together stand
/// in groups of eight, groups in groups of eight, and so on, each group with the box around it. What
/// came later stands behind, in the order in which it came, until the set is arranged again; a removal
/// moves the last content into the gap. The order is thus the same in each run, and has no meaning.
///
/// When memory runs out a call that throws `std::bad_alloc` has changed nothing. A removal needs none: it
/// never throws.
template <int D, class T, int K> class QOFContentSet {
    static_assert(SupportedContent<D, T, K>,
                  "content trees are compiled for double, and for float with boxes in the plane");

public:
    /// The types of what the set holds and of its boxes.
    using Content = QOFTreeContent<D, T, K>;
    using Bound = typename Content::Bound;
    using Box = Bounding::AxisAlignedBoundingBox<D, T>;

    /// Contents in a group, and groups in a group of groups.
    static constexpr std::size_t kGroupSize = 8;

    QOFContentSet() = default;
    /// A move leaves an empty set behind.
    QOFContentSet(QOFContentSet&& other) noexcept { swap(other); }
    QOFContentSet& operator=(QOFContentSet&& other) noexcept
    {
        QOFContentSet taken(std::move(other));
        swap(taken);
        return *this;
    }
    ~QOFContentSet() = default;

    /// The contents as a run of pointers, none of them null.
    std::size_t size() const { return items_.size(); }
    bool empty() const { return items_.empty(); }
    auto begin() const { return items_.begin(); }
    auto end() const { return items_.end(); }
    const Content* operator[](std::size_t i) const { return items_[i]; }
    /// The bound of the i-th content as it was when it came.
    const Bound& BoundAt(std::size_t i) const { return bounds_[i]; }

    /// Is the content in the set? A scan of at most 512 pointers, or a look-up.
    bool contains(const Content* content) const { return FindPosition(content) != size(); }
    /// False for null, and when it is there already, where it then has the bound of this moment. Amortized
    /// O(log n); a look-up for large sets, a short scan for small ones.
    bool insert(const Content* content);
    /// False when it isn't there. Amortized O(log n), as `insert`.
    bool erase(const Content* content);
    /// Adds a content that is known not to be there, and leaves the arrangement to the caller. O(1).
    void append(const Content* content, const Bound& bound);
    /// Forgets all contents and gives their room back.
    void clear() { *this = QOFContentSet(); }
    /// Exchanges the sets. O(1).
    void swap(QOFContentSet& other) noexcept
    {
        items_.swap(other.items_);
        bounds_.swap(other.bounds_);
        groupBoxes_.swap(other.groupBoxes_);
        levelBegins_.swap(other.levelBegins_);
        std::swap(levelCount_, other.levelCount_);
        std::swap(groupedCount_, other.groupedCount_);
        std::swap(changes_, other.changes_);
        positions_.swap(other.positions_);
    }

    /// Arranges the set anew if anything came or went since the last time. O(n log n).
    void Arrange();

    // --- the groups of an arranged set ----------------------------------------------------------

    /// Contents in groups: the first ones. Those behind them are in none.
    std::size_t GroupedCount() const { return groupedCount_; }
    /// Levels of groups: group i of level 0 holds the contents from 8 i on, of level n the groups from
    /// 8 i on of level n - 1. The last level has at most eight groups.
    int LevelCount() const { return levelCount_; }
    /// How many groups a level has.
    std::size_t GroupCount(int level) const
    {
        const std::size_t end = level + 1 < levelCount_ ? LevelBegin(level + 1) : groupBoxes_.size();
        return end - LevelBegin(level);
    }
    /// The box around everything in a group.
    const Box& GroupBox(int level, std::size_t group) const
    {
        return groupBoxes_[LevelBegin(level) + group];
    }

private:
    template <int, class, int> friend class QOFNode; // undoes an insertion

    /// Above this size a scan for one pointer takes longer than a look-up in a hash table, which is
    /// made when the first pointer is looked for.
    static constexpr std::size_t kLargestScan = 512;
    /// Up to this size a set is looked at whole.
    static constexpr std::size_t kLargestUngrouped = 2 * kGroupSize;

    /// Enough for 2^36 contents.
    static constexpr std::size_t kMaxLevels = 12;

    std::size_t LevelBegin(int level) const
    {
        return levelBegins_[static_cast<std::size_t>(level)];
    }
    std::size_t FindPosition(const Content* content) const;
    std::size_t Position(const Content* content);
    void RenewBound(std::size_t position, const Bound& bound);
    void ArrangeWhenStale();
    void SortIntoGroups();
    void GrowGroupsOf(std::size_t position);

    std::vector<const Content*> items_;
    std::vector<Bound> bounds_;
    std::vector<Box> groupBoxes_;          // level after level
    std::array<std::uint32_t, kMaxLevels> levelBegins_{}; // of each level in groupBoxes_
    int levelCount_ = 0;
    std::size_t groupedCount_ = 0;
    std::size_t changes_ = 0; // since the set was arranged
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
extern template class SORVANE_API QOFContentSet<2, float, 0>;
extern template class SORVANE_API QOFContentSet<2, double, 0>;
extern template class SORVANE_API QOFContentSet<3, double, 0>;
extern template class SORVANE_API QOFContentSet<2, double, 1>;
extern template class SORVANE_API QOFContentSet<3, double, 1>;
// clang-format on

} // namespace Velk::Math::Sorvane::Tree
