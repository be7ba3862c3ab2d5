// Bundles are told by two looks. Edges of like length, slope and place fall under one key: where
// eight do, there is a bundle, and its longest edge is the line of reference. All edges, short ones
// too, that have both ends near this line join it.

#include "mathbase/Progress_Impl.h"
#include "planar/GridBundles_Impl.h"

#include "mathbase/RadixSort_Impl.h"
#include "planar/GridPointTree_Impl.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <tuple>
#include <utility>

namespace Velk::Math::Sorvane::Planar::Impl {

namespace {

constexpr std::size_t kBundleSize = 8;
/// Edges shorter than this, in cells, make no bundle, but may join one: not many lie side by side.
constexpr double kShortest = 64;

double Extent(const Vec2d& along) { return std::max(std::fabs(along.x()), std::fabs(along.y())); }

std::uint64_t Mixed(std::uint64_t key, double number)
{
    key ^= static_cast<std::uint64_t>(static_cast<long long>(number)) + 0x9e3779b97f4a7c15U +
           (key << 12U) + (key >> 4U);
    key *= 0xff51afd7ed558ccdU;
    return key ^ (key >> 33U);
}

/// Alike for many edges of a bundle that are alike in length, and hardly ever for others. Edges
/// that fall under one key by chance are no bundle when their ends are not near the line of
/// reference.
std::uint64_t BundleKey(const GridEdge& edge)
{
    const Vec2d low(edge.low);
    const Vec2d along = Vec2d(edge.high) - low;
    const int major = std::fabs(along.x()) >= std::fabs(along.y()) ? 0 : 1;
    const int level = std::ilogb(Extent(along));
    const double size = std::ldexp(1, level);
    const double slope = along[1 - major] / along[major];
    const double block = std::floor((low[major] + along[major] / 2) / (2 * size));
    const double height = low[1 - major] + slope * ((2 * block + 1) * size - low[major]);
    std::uint64_t key = Mixed(static_cast<std::uint64_t>(2 * level + major), block);
    key = Mixed(key, std::floor(slope * size));
    return Mixed(key, std::floor(height));
}

/// Numbers of edges that stand for bundles, longest first.
std::vector<int> References(const std::vector<GridEdge>& edges)
{
    struct Keyed {
        std::uint64_t key;
        int number;
    };
    std::vector<Keyed> keyed;
    for (std::size_t i = 0; i < edges.size(); ++i) {
        Progress::Impl::CheckStep(i);
        if (Extent(Vec2d(edges[i].high - edges[i].low)) >= kShortest) {
            keyed.push_back({BundleKey(edges[i]), static_cast<int>(i)});
        }
    }
    Math::Impl::StableSortByKey(keyed, [](const Keyed& item) { return item.key; });
    const auto length = [&](int number) {
        const GridEdge& edge = edges[static_cast<std::size_t>(number)];
        return Extent(Vec2d(edge.high - edge.low));
    };
    std::vector<int> references;
    Progress::Impl::Steps steps;
    for (auto from = keyed.begin(); from != keyed.end();) {
        steps.Next();
        const auto to = std::find_if(from, keyed.end(),
                                     [&](const Keyed& item) { return item.key != from->key; });
        if (static_cast<std::size_t>(to - from) >= kBundleSize) {
            references.push_back(std::max_element(from, to, [&](const Keyed& a, const Keyed& b) {
                                     return length(a.number) < length(b.number);
                                 })->number);
        }
        from = to;
    }
    std::stable_sort(references.begin(), references.end(),
                     [&](int a, int b) { return length(a) > length(b); });
    return references;
}

/// A place in a bundle where what is run there changes.
struct Change {
    double along; // the line of reference
    GridPoint at;
    std::array<int, 2> runs;
};

/// The bundle's edges as a path through all their ends.
void AppendPath(std::vector<Change>& changes, std::vector<GridEdge>& edges)
{
    const auto place = [](const Change& c) { return std::tuple(c.along, c.at.x(), c.at.y()); };
    std::sort(changes.begin(), changes.end(),
              [&](const Change& a, const Change& b) { return place(a) < place(b); });
    std::array<int, 2> runs{};
    for (std::size_t i = 0; i + 1 < changes.size(); ++i) {
        runs = {runs[0] + changes[i].runs[0], runs[1] + changes[i].runs[1]};
        const GridPoint& from = changes[i].at;
        const GridPoint& to = changes[i + 1].at;
        if (from == to || (runs[0] == 0 && runs[1] == 0)) {
            continue;
        }
        const bool isUp = from.x() != to.x() ? from.x() < to.x() : from.y() < to.y();
        edges.push_back(isUp ? GridEdge{from, to, runs} : GridEdge{to, from, {-runs[0], -runs[1]}});
    }
}

} // namespace

bool MergeBundles(std::vector<GridEdge>& edges)
{
    const std::vector<int> references = References(edges);
    if (references.empty()) {
        return false;
    }
    std::vector<Vec2d> middles;
    middles.reserve(edges.size());
    for (const GridEdge& edge : edges) {
        middles.push_back(0.5 * (Vec2d(edge.low) + Vec2d(edge.high)));
    }
    const GridPointTree tree(middles);
    std::vector<char> isInBundle(edges.size(), 0);
    std::vector<GridEdge> paths;
    std::vector<int> members;
    std::vector<Change> changes;
    Progress::Impl::Steps steps;
    for (const int number : references) {
        steps.Next();
        if (isInBundle[static_cast<std::size_t>(number)] != 0) {
            continue;
        }
        const GridEdge& reference = edges[static_cast<std::size_t>(number)];
        const Vec2d origin(reference.low);
        const Vec2d whole = Vec2d(reference.high) - origin;
        const double length = std::hypot(whole.x(), whole.y());
        const Vec2d direction = whole * (1 / length);
        const auto along = [&](const GridPoint& p) { return direction * (Vec2d(p) - origin); };
        // Edges may begin or end beyond the line of reference, by as much as it is long.
        const auto isNear = [&](const GridPoint& p) {
            const Vec2d from = Vec2d(p) - origin;
            const double place = direction * from;
            return std::fabs(direction.x() * from.y() - direction.y() * from.x()) <= kBundleReach &&
                   place >= -length && place <= 2 * length;
        };
        members.clear();
        tree.Near(origin - whole, origin + 2.0 * whole, kBundleReach, [&](int candidate) {
            const GridEdge& edge = edges[static_cast<std::size_t>(candidate)];
            if (isInBundle[static_cast<std::size_t>(candidate)] == 0 && isNear(edge.low) &&
                isNear(edge.high)) {
                members.push_back(candidate);
            }
        });
        if (members.size() < kBundleSize) {
            continue;
        }
        changes.clear();
        for (const int member : members) {
            const GridEdge& edge = edges[static_cast<std::size_t>(member)];
            isInBundle[static_cast<std::size_t>(member)] = 1;
            // The path runs along the line of reference, edges from their lower to their higher
            // end.
            changes.push_back({along(edge.low), edge.low, edge.runs});
            changes.push_back({along(edge.high), edge.high, {-edge.runs[0], -edge.runs[1]}});
        }
        AppendPath(changes, paths);
    }
    std::size_t kept = 0;
    for (std::size_t i = 0; i < edges.size(); ++i) {
        if (isInBundle[i] == 0) {
            edges[kept++] = edges[i];
        }
    }
    edges.resize(kept);
    edges.insert(edges.end(), paths.begin(), paths.end());
    return kept < isInBundle.size();
}

} // namespace Velk::Math::Sorvane::Planar::Impl
