// Balanced and complete trees from lists of addresses: one sweep over the levels with up to three
// stages.
//
//   1. from the deepest level up: the parents of a level's cells join the level above,
//   2. which is then replaced by the neighbors of its cells, in the modes that ask for it;
//   3. again from the deepest level up: families of children that are there in part are filled.
//
// A level is held as the sorted paths of its cells, so that joining and filling are linear merges.

#include <Sorvane/TreeAddress_E.h>

#include "mathbase/Parallel_Impl.h"
#include "trees/TreeAddress_Impl.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <functional>
#include <iterator>
#include <utility>

namespace Velk::Math::Sorvane::Tree {
namespace {

using Impl::Code;

/// What one call of the sweep does.
struct SweepMode {
    bool replacesByNeighbors;
    bool facesOnly;
    bool fillsSiblings;
};

/// Completing with `balance` but without `fillSiblings` (mode 4) is the same as with neither (mode
/// 2).
constexpr std::array<SweepMode, 6> kSweepModes{{
    {true, true, false},   // 0: balance over faces
    {true, false, false},  // 1: balance over faces, edges and corners
    {false, false, false}, // 2: complete
    {false, false, true},  // 3: complete with siblings
    {false, false, false}, // 4: complete, balance
    {true, true, true},    // 5: complete with siblings, balance
}};

constexpr std::size_t BalanceMode(bool facesOnly) { return facesOnly ? 0 : 1; }

constexpr std::size_t CompleteMode(bool fillSiblings, bool balance)
{
    return 2 + (fillSiblings ? 1U : 0U) + (balance ? 2U : 0U);
}

/// The sorted paths of the cells of one depth, for each depth from 0 up to the one above full
/// depth.
///
/// The null address has no place in a level. It comes up where a cell lacks a neighbor, and every
/// cell of depth 1 and deeper has at least one; so it never stands alone on such a level, its
/// parent adds nothing but the root, which the cells beside it bring too, and it is no child of
/// any. All of it that shows is path 0 of depth 0, which is the root.
template <int D>
using Levels = std::array<std::vector<Code>, static_cast<std::size_t>(Impl::kMaxDepth<D>)>;

void SortUnique(std::vector<Code>& paths)
{
    Parallel::Impl::ParallelSort(paths.begin(), paths.end(), std::less<>{});
    paths.erase(std::unique(paths.begin(), paths.end()), paths.end());
}

/// Sorted and unique on every level. Addresses at full depth and beyond have no level and are
/// dropped.
template <int D>
Levels<D> SortedByDepth(const std::vector<QOFAddress<D>>& addresses)
{
    Levels<D> levels;
    std::array<std::size_t, std::tuple_size_v<Levels<D>>> counts{};
    for (const QOFAddress<D>& address : addresses) {
        if (address.depth < counts.size()) {
            ++counts[address.depth];
        }
    }
    for (std::size_t depth = 0; depth < counts.size(); ++depth) {
        levels[depth].reserve(counts[depth]);
    }
    for (const QOFAddress<D>& address : addresses) {
        if (address.depth < counts.size()) {
            levels[address.depth].push_back(address.path);
        }
    }
    for (std::vector<Code>& paths : levels) {
        SortUnique(paths);
    }
    return levels;
}

/// Adds the parents of `children` to the cells of the level above.
template <int D>
void AddParents(const std::vector<Code>& children, std::vector<Code>& paths)
{
    std::vector<Code> parents;
    parents.reserve(children.size());
    for (const Code path : children) { // ascending, so the parents come in order too
        const Code parent = path >> static_cast<unsigned int>(D);
        if (parents.empty() || parents.back() != parent) {
            parents.push_back(parent);
        }
    }
    std::vector<Code> joined;
    joined.reserve(parents.size() + paths.size());
    std::set_union(parents.begin(), parents.end(), paths.begin(), paths.end(),
                   std::back_inserter(joined));
    paths = std::move(joined);
}

/// What the cells of one chunk have as neighbors: sorted and unique, at the chunk's place among
/// slots.
struct ChunkOfNeighbors {
    std::size_t first = 0;
    std::size_t last = 0;
};

/// The cells of the level go, all of their neighbors come. The root has none but the null address,
/// which is the root again.
///
/// Cells that follow each other lie close together and have most neighbors in common, so that
/// sorting each chunk for itself leaves little for the sort of all.
template <int D>
void ReplaceByNeighbors(std::vector<Code>& paths, std::size_t depth, bool facesOnly)
{
    if (depth == 0) {
        paths = {0};
        return;
    }
    constexpr auto kChunk = static_cast<std::size_t>(Parallel::Impl::kChunkSize);
    const std::size_t most = Impl::NeighborDirections<D>(facesOnly).size();
    std::vector<Code> slots(paths.size() * most);
    std::vector<ChunkOfNeighbors> chunks(paths.size() / kChunk + 1);
    Parallel::Impl::ApplyParallelChunks(
        std::size_t{0}, paths.size(), [&](std::size_t from, std::size_t to) {
            const auto first = slots.begin() + static_cast<std::ptrdiff_t>(from * most);
            auto last = first;
            for (std::size_t i = from; i < to; ++i) {
                Impl::VisitNeighbors<D>(paths[i], static_cast<unsigned int>(depth), facesOnly,
                                         [&](Code path) { *last++ = path; });
            }
            std::sort(first, last);
            chunks[from / kChunk] = {
                from * most, static_cast<std::size_t>(std::unique(first, last) - slots.begin())};
        });

    auto end = slots.begin();
    for (const ChunkOfNeighbors& chunk : chunks) {
        const auto first = slots.begin() + static_cast<std::ptrdiff_t>(chunk.first);
        const auto last = slots.begin() + static_cast<std::ptrdiff_t>(chunk.last);
        end = first == end ? last : std::move(first, last, end);
    }
    slots.erase(end, slots.end());
    SortUnique(slots);
    paths = std::move(slots);
}

/// Completes each family of `children` that is there in part and whose parent is in `parents`.
template <int D>
void FillSiblings(const std::vector<Code>& parents, std::vector<Code>& children)
{
    constexpr std::ptrdiff_t kFamily = 1 << D;
    std::vector<Code> filled;
    filled.reserve(children.size());
    auto parent = parents.begin();
    for (auto first = children.begin(); first != children.end();) {
        const Code parentPath = *first >> static_cast<unsigned int>(D);
        const auto last = std::find_if(first, children.end(), [&](Code path) {
            return path >> static_cast<unsigned int>(D) != parentPath;
        });
        parent = std::lower_bound(parent, parents.end(), parentPath);
        const bool hasParent = parent != parents.end() && *parent == parentPath;
        if (hasParent && last - first < kFamily) {
            for (Code child = 0; child < Code{kFamily}; ++child) {
                filled.push_back((parentPath << static_cast<unsigned int>(D)) + child);
            }
        } else {
            filled.insert(filled.end(), first, last);
        }
        first = last;
    }
    children = std::move(filled);
}

/// All levels in one list, which is sorted because they are.
template <int D>
std::vector<QOFAddress<D>> Collect(const Levels<D>& levels)
{
    std::size_t count = 0;
    for (const std::vector<Code>& paths : levels) {
        count += paths.size();
    }
    std::vector<QOFAddress<D>> addresses;
    addresses.reserve(count);
    for (std::size_t depth = 0; depth < levels.size(); ++depth) {
        for (const Code path : levels[depth]) {
            addresses.push_back({static_cast<unsigned int>(depth), path});
        }
    }
    return addresses;
}

template <int D>
std::vector<QOFAddress<D>> Sweep(const std::vector<QOFAddress<D>>& addresses, const SweepMode& mode)
{
    Levels<D> levels = SortedByDepth(addresses);
    for (std::size_t depth = levels.size() - 1; depth > 0; --depth) {
        if (levels[depth].empty()) {
            continue;
        }
        AddParents<D>(levels[depth], levels[depth - 1]);
        if (mode.replacesByNeighbors) {
            ReplaceByNeighbors<D>(levels[depth - 1], depth - 1, mode.facesOnly);
        }
    }
    if (mode.fillsSiblings) {
        for (std::size_t depth = levels.size() - 1; depth > 0; --depth) {
            FillSiblings<D>(levels[depth - 1], levels[depth]);
        }
    }
    return Collect<D>(levels);
}

} // namespace

template <int D>
std::vector<QOFAddress<D>> BalanceAddresses(const std::vector<QOFAddress<D>>& addresses,
                                            bool facesOnly)
{
    return Sweep(addresses, kSweepModes[BalanceMode(facesOnly)]);
}

template <int D>
std::vector<QOFAddress<D>> CompleteTree(const std::vector<QOFAddress<D>>& addresses,
                                        bool fillSiblings, bool balance)
{
    return Sweep(addresses, kSweepModes[CompleteMode(fillSiblings, balance)]);
}

#define SORVANE_INSTANTIATE(D)                                                                     \
    template std::vector<QOFAddress<D>> BalanceAddresses(const std::vector<QOFAddress<D>>&, bool); \
    template std::vector<QOFAddress<D>> CompleteTree(const std::vector<QOFAddress<D>>&, bool, bool);
SORVANE_INSTANTIATE(2)
SORVANE_INSTANTIATE(3)
#undef SORVANE_INSTANTIATE

} // namespace Velk::Math::Sorvane::Tree
