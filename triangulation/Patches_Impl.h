// Faces in patches, and how many boundaries lie between a patch and the outermost ones.
#pragma once

#include <array>
#include <cstddef>
#include <vector>

namespace Velk::Math::Sorvane::HalfEdge::Impl {

/// Disjoint sets of faces (R. E. Tarjan and J. van Leeuwen, "Worst-case analysis of set union
/// algorithms", 1984: linking by index, path halving).
class Patches {
public:
    explicit Patches(int faceCount);

    void Join(int face, int other);

    /// For each face the least number of crossings on a way from a face of `starts`, -1 where no
    /// way leads. `crossings` are pairs of faces side by side.
    std::vector<int> StepsFrom(const std::vector<int>& starts,
                               const std::vector<std::array<int, 2>>& crossings);

private:
    int PatchOf(int face);
    int& ParentOf(int face) { return parents_[static_cast<std::size_t>(face)]; }

    std::vector<int> parents_;
};

} // namespace Velk::Math::Sorvane::HalfEdge::Impl
