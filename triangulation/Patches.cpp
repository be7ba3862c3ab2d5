#include "triangulation/Patches_Impl.h"

#include <algorithm>
#include <numeric>

namespace Velk::Math::Sorvane::HalfEdge::Impl {

Patches::Patches(int faceCount) : parents_(static_cast<std::size_t>(faceCount))
{
    std::iota(parents_.begin(), parents_.end(), 0);
}

int Patches::PatchOf(int face)
{
    while (ParentOf(face) != face) {
        face = ParentOf(face) = ParentOf(ParentOf(face));
    }
    return face;
}

void Patches::Join(int face, int other)
{
    const auto [low, high] = std::minmax({PatchOf(face), PatchOf(other)});
    ParentOf(high) = low;
}

std::vector<int> Patches::StepsFrom(const std::vector<int>& starts,
                                    const std::vector<std::array<int, 2>>& crossings)
{
    // The patches beyond the crossings of each patch, as a list of lists in one array.
    std::vector<int> firstBeyond(parents_.size() + 1, 0);
    for (const std::array<int, 2>& sides : crossings) {
        for (const int face : sides) {
            ++firstBeyond[static_cast<std::size_t>(PatchOf(face)) + 1];
        }
    }
    std::partial_sum(firstBeyond.begin(), firstBeyond.end(), firstBeyond.begin());
    std::vector<int> beyond(2 * crossings.size());
    std::vector<int> filled(firstBeyond.begin(), firstBeyond.end() - 1);
    for (const auto& [one, other] : crossings) {
        const int patch = PatchOf(one);
        const int otherPatch = PatchOf(other);
        beyond[static_cast<std::size_t>(filled[static_cast<std::size_t>(patch)]++)] = otherPatch;
        beyond[static_cast<std::size_t>(filled[static_cast<std::size_t>(otherPatch)]++)] = patch;
    }

    std::vector<int> steps(parents_.size(), -1);
    const auto stepOf = [&](int patch) -> int& { return steps[static_cast<std::size_t>(patch)]; };
    std::vector<int> queue;
    const auto enter = [&](int patch, int step) {
        if (stepOf(patch) < 0) {
            stepOf(patch) = step;
            queue.push_back(patch);
        }
    };
    for (const int face : starts) {
        enter(PatchOf(face), 0);
    }
    for (std::size_t next = 0; next < queue.size(); ++next) {
        const auto patch = static_cast<std::size_t>(queue[next]);
        for (int k = firstBeyond[patch]; k < firstBeyond[patch + 1]; ++k) {
            enter(beyond[static_cast<std::size_t>(k)], steps[patch] + 1);
        }
    }
    for (int face = 0; face < static_cast<int>(steps.size()); ++face) {
        stepOf(face) = stepOf(PatchOf(face));
    }
    return steps;
}

} // namespace Velk::Math::Sorvane::HalfEdge::Impl
