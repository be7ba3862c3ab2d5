// The mesh report by plain loops over maps, for comparison: short and slow, and with nothing in
// common with the library's way but the welded mesh.
#pragma once

#include <Sorvane/IndexedMesh_E.h>
#include <Sorvane/MeshReport_E.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <type_traits>
#include <unordered_map>
#include <utility>
#include <vector>

namespace Support {

template <class T>
using Soup = Velk::Math::Sorvane::Mesh::TriangleSoup<3, T>;

using LongPoint = std::array<long double, 3>;

inline LongPoint Minus(const LongPoint& a, const LongPoint& b)
{
    return {a[0] - b[0], a[1] - b[1], a[2] - b[2]};
}

inline long double Dot(const LongPoint& a, const LongPoint& b)
{
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

inline LongPoint Cross(const LongPoint& a, const LongPoint& b)
{
    return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}

inline long double Norm(const LongPoint& a) { return std::sqrt(Dot(a, a)); }

inline long double DistanceToSegment(const LongPoint& c, const LongPoint& a, const LongPoint& b)
{
    const LongPoint along = Minus(b, a);
    long double t = Dot(along, along) <= 1e-24L ? 0 : Dot(Minus(c, a), along) / Dot(along, along);
    t = t < 0 ? 0 : t > 1 ? 1 : t;
    return Norm(Minus(c, {a[0] + t * along[0], a[1] + t * along[1], a[2] + t * along[2]}));
}

/// Unit normal of a triangle; zero for an area that is at most `least`.
inline LongPoint UnitNormal(const LongPoint& a, const LongPoint& b, const LongPoint& c,
                            long double least)
{
    const LongPoint n = Cross(Minus(b, a), Minus(c, a));
    const long double length = Norm(n);
    return length / 2 > least ? LongPoint{n[0] / length, n[1] / length, n[2] / length}
                              : LongPoint{};
}

/// Lists and measures of the report on a soup. Misoriented triangles by the definition: those that
/// share a directed edge with any slot, their own other ones included, and have no edge of three or
/// more.
template <class T>
Velk::Math::Sorvane::MeshUtils::MeshReport<T> TwinReport(const Soup<T>& soup, T tolerance)
{
    namespace Mesh = Velk::Math::Sorvane::Mesh;
    Velk::Math::Sorvane::MeshUtils::MeshReport<T> report;
    report.tolerance = tolerance;
    const Mesh::IndexedPointsBase<3, T> mesh = Mesh::IndexedPointsFromSoup(soup, true, tolerance);
    const int triangleCount = static_cast<int>(mesh.indices.size() / 3);
    const auto index = [&](int t, int k) {
        return mesh.indices[static_cast<std::size_t>(3 * t + k % 3)];
    };
    const auto corner = [&](int t, int k) {
        const auto& p = mesh.points[static_cast<std::size_t>(index(t, k))];
        return LongPoint{p.x(), p.y(), p.z()};
    };

    const auto hash = [](const std::pair<int, int>& edge) {
        return static_cast<std::size_t>(edge.first) * 1'000'003U +
               static_cast<std::size_t>(edge.second);
    };
    std::unordered_map<std::pair<int, int>, std::size_t, decltype(hash)> edgeNumbers(0, hash);
    std::vector<std::vector<int>> slotsOfEdge;
    std::vector<std::size_t> edgeOfSlot;
    for (int slot = 0; slot < 3 * triangleCount; ++slot) {
        const auto [entry, isNew] = edgeNumbers.try_emplace(
            std::minmax(index(slot / 3, slot % 3), index(slot / 3, slot % 3 + 1)),
            slotsOfEdge.size());
        if (isNew) {
            slotsOfEdge.emplace_back();
        }
        edgeOfSlot.push_back(entry->second);
        slotsOfEdge[entry->second].push_back(slot);
    }

    long double edgeLength = 0;
    long double volume = 0;
    LongPoint moment{};
    long double area = 0;
    const long double leastArea = std::is_same_v<T, float> ? 1e-8L : 1e-12L;
    const auto normal = [&](int t) {
        return UnitNormal(corner(t, 0), corner(t, 1), corner(t, 2), leastArea);
    };
    for (int t = 0; t < triangleCount; ++t) {
        bool isDegenerate = false;
        bool isFolded = false;
        bool isDoubled = false;
        bool isCrowded = false;
        for (int k = 0; k < 3; ++k) {
            const int slot = 3 * t + k;
            const std::vector<int>& slots = slotsOfEdge[edgeOfSlot[static_cast<std::size_t>(slot)]];
            if (slots.size() != 2 && slots.front() == slot) {
                report.openSlots.push_back(slot);
            }
            if (slots.size() >= 3 && slots.front() == slot) {
                report.nonManifoldSlots.insert(report.nonManifoldSlots.end(), slots.begin(),
                                               slots.end());
            }
            isCrowded = isCrowded || slots.size() >= 3;
            const auto isAlike = [&](int other) {
                return index(other / 3, other % 3) == index(t, k);
            };
            isDoubled = isDoubled || std::count_if(slots.begin(), slots.end(), isAlike) >= 2;
            isDegenerate = isDegenerate || index(t, k) == index(t, k + 1) ||
                           DistanceToSegment(corner(t, k), corner(t, k + 1), corner(t, k + 2)) <=
                               2 * static_cast<long double>(tolerance);
            const auto other =
                std::find_if(slots.begin(), slots.end(), [&](int use) { return use / 3 != t; });
            if (other != slots.end()) {
                const long double cosine = Dot(normal(t), normal(*other / 3));
                isFolded = isFolded || cosine <= -std::cos(0.04363323129985824L);
            }
            edgeLength += Norm(Minus(corner(t, k), corner(t, k + 1)));
        }
        if (isDegenerate) {
            report.degenerateTriangles.push_back(t);
        }
        if (isFolded) {
            report.foldedTriangles.push_back(t);
        }
        if (isDoubled && !isCrowded) {
            report.misorientedTriangles.push_back(t);
        }
        area +=
            Norm(Cross(Minus(corner(t, 1), corner(t, 0)), Minus(corner(t, 2), corner(t, 0)))) / 2;
        const long double v = Dot(corner(t, 0), Cross(corner(t, 1), corner(t, 2))) / 6;
        volume += v;
        for (std::size_t axis = 0; axis < 3; ++axis) {
            moment[axis] += (corner(t, 0)[axis] + corner(t, 1)[axis] + corner(t, 2)[axis]) / 4 * v;
        }
    }
    report.meanEdgeLength = static_cast<T>(edgeLength / (3 * triangleCount));
    report.meanTriangleArea = static_cast<T>(area / triangleCount);
    report.volume = static_cast<T>(volume);
    for (int axis = 0; axis < 3; ++axis) {
        report.centroid[axis] = static_cast<T>(moment[static_cast<std::size_t>(axis)] / volume);
    }
    return report;
}

template <class T>
Soup<T> SoupOf(const Velk::Math::Sorvane::Mesh::IndexedPointsBase<3, double>& mesh)
{
    Soup<T> soup;
    for (std::size_t i = 0; i + 2 < mesh.indices.size(); i += 3) {
        std::array<Velk::Math::VecBase<3, T>, 3> triangle;
        for (std::size_t k = 0; k < 3; ++k) {
            triangle[k] = Velk::Math::VecBase<3, T>(
                mesh.points[static_cast<std::size_t>(mesh.indices[i + k])]);
        }
        soup.push_back(triangle);
    }
    return soup;
}

// Compiled once, with optimization in every build (tests/CMakeLists.txt).
extern template Velk::Math::Sorvane::MeshUtils::MeshReport<float> TwinReport(const Soup<float>&,
                                                                             float);
extern template Velk::Math::Sorvane::MeshUtils::MeshReport<double> TwinReport(const Soup<double>&,
                                                                              double);

} // namespace Support
