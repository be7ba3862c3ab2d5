// Slow twins of the tree addresses: cells as whole coordinates, levels as std::set, every step as
// it is told, with nothing merged, counted or left out on the way.
#pragma once

#include "tests/support/TestSupport.h"

#include <Sorvane/TreeAddress_E.h>

#include <array>
#include <cstddef>
#include <set>
#include <vector>

namespace Support {

template <int D>
using Address = Velk::Math::Sorvane::Tree::QOFAddress<D>;

/// Cell numbers along the axes at the address' own depth.
template <int D>
std::array<long long, D> CellOf(const Address<D>& address)
{
    std::array<long long, D> cell{};
    for (unsigned int level = 0; level < address.depth; ++level) {
        for (int axis = 0; axis < D; ++axis) {
            const auto bit = static_cast<unsigned int>(D) * level + static_cast<unsigned int>(axis);
            cell[static_cast<std::size_t>(axis)] |=
                static_cast<long long>((address.path >> bit) & 1U) << level;
        }
    }
    return cell;
}

template <int D>
Address<D> AddressOf(const std::array<long long, D>& cell, unsigned int depth)
{
    Address<D> address{depth, 0};
    for (unsigned int level = 0; level < depth; ++level) {
        for (int axis = 0; axis < D; ++axis) {
            const auto bit = static_cast<unsigned int>(D) * level + static_cast<unsigned int>(axis);
            address.path |=
                static_cast<unsigned long long>((cell[static_cast<std::size_t>(axis)] >> level) & 1)
                << bit;
        }
    }
    return address;
}

/// All cells of the same depth whose numbers differ by at most 1 on every axis, on one axis only
/// with `facesOnly`.
template <int D>
std::set<Address<D>> NeighborsOf(const Address<D>& address, bool facesOnly)
{
    std::set<Address<D>> neighbors;
    if (address.depth == 0) {
        return neighbors;
    }
    const std::array<long long, D> here = CellOf<D>(address);
    const long long cells = 1LL << address.depth;
    const int combinations = D == 2 ? 9 : 27;
    for (int combination = 0; combination < combinations; ++combination) {
        std::array<long long, D> cell = here;
        int moved = 0;
        bool inside = true;
        for (int axis = 0, rest = combination; axis < D; ++axis, rest /= 3) {
            long long& number = cell[static_cast<std::size_t>(axis)];
            number += rest % 3 - 1;
            moved += rest % 3 != 1 ? 1 : 0;
            inside = inside && number >= 0 && number < cells;
        }
        if (inside && moved > 0 && (moved == 1 || !facesOnly)) {
            neighbors.insert(AddressOf<D>(cell, address.depth));
        }
    }
    return neighbors;
}

/// The sweep over the levels by sets. Mode 0 and 1 balance (faces, all); 2 to 5 complete with
/// (siblings, balance) = (no, no), (yes, no), (no, yes), (yes, yes).
template <int D>
std::vector<Address<D>> SweptLevels(const std::vector<Address<D>>& input, int mode)
{
    const std::size_t levelCount = D == 2 ? 31 : 21;
    const std::size_t fullCount = D == 2 ? (mode == 1 ? 8 : 4) : (mode == 1 ? 26 : 6);
    const bool replaces = mode == 0 || mode == 1 || mode == 5;
    const bool fills = mode == 3 || mode == 5;
    std::vector<std::set<Address<D>>> levels(levelCount);
    for (const Address<D>& address : input) {
        if (address.depth < levelCount) {
            levels[address.depth].insert(address);
        }
    }
    for (std::size_t level = levelCount - 1; level >= 1; --level) {
        if (levels[level].empty()) {
            continue;
        }
        for (const Address<D>& address : levels[level]) {
            levels[level - 1].insert(address.depth == 0
                                         ? Address<D>{}
                                         : Address<D>{address.depth - 1, address.path >> D});
        }
        if (replaces) {
            std::set<Address<D>> replaced;
            for (const Address<D>& address : levels[level - 1]) {
                const std::set<Address<D>> neighbors = NeighborsOf<D>(address, mode != 1);
                replaced.insert(neighbors.begin(), neighbors.end());
                if (neighbors.size() < fullCount) {
                    replaced.insert(Address<D>{});
                }
            }
            levels[level - 1] = replaced;
        }
    }
    for (std::size_t level = levelCount - 1; fills && level >= 1; --level) {
        std::set<Address<D>> added;
        for (const Address<D>& address : levels[level - 1]) {
            std::vector<Address<D>> children;
            int found = 0;
            for (unsigned long long child = 0; child < (1ULL << D); ++child) {
                children.push_back({address.depth + 1, (address.path << D) + child});
                found += levels[level].count(children.back()) > 0 ? 1 : 0;
            }
            if (found != 0 && found != (1 << D)) {
                added.insert(children.begin(), children.end());
            }
        }
        levels[level].insert(added.begin(), added.end());
    }
    std::set<Address<D>> all;
    for (const std::set<Address<D>>& level : levels) {
        all.insert(level.begin(), level.end());
    }
    return {all.begin(), all.end()};
}

/// The library's side of the six modes.
template <int D>
std::vector<Address<D>> Swept(const std::vector<Address<D>>& input, int mode)
{
    namespace Tree = Velk::Math::Sorvane::Tree;
    if (mode < 2) {
        return Tree::BalanceAddresses<D>(input, mode == 0);
    }
    return Tree::CompleteTree<D>(input, mode == 3 || mode == 5, mode >= 4);
}

/// `count` cells of depth `shallowest` to `deepest` inside the cell `within`: the closer the more
/// of them are neighbors, siblings and ancestors of each other.
template <int D>
std::vector<Address<D>> RandomAddresses(Random& random, int count, const Address<D>& within,
                                        int shallowest, int deepest)
{
    std::vector<Address<D>> addresses;
    for (int i = 0; i < count; ++i) {
        Address<D> address = within;
        const int levels = shallowest + random.Below(deepest - shallowest + 1);
        for (int level = 0; level < levels; ++level) {
            address = {address.depth + 1,
                       (address.path << D) + static_cast<unsigned long long>(random.Below(1 << D))};
        }
        addresses.push_back(address);
    }
    return addresses;
}

} // namespace Support
