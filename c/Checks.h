// Checks of arguments that several files of the C interface make, and what stands behind lists of
// numbers.
#pragma once

#include "Guard.h"
#include "Handles.h"

#include "sorvane_c/lists.h"

#include <cmath>
#include <cstddef>
#include <limits>
#include <stdexcept>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

struct sorvane_lists {
    std::vector<int> numbers;
    std::vector<int> starts = {0};
};

namespace SorvaneC {

using Velk::Math::Vec3d;

/// A tolerance, radius, angle: at least 0, infinity included.
inline void CheckNotNegative(double value, const char* name)
{
    if (!(value >= 0)) {
        BadArgument(std::string(name) + " is " + Text(value) +
                    "; it must not be negative");
    }
}

/// The three coordinates of a point or direction, finite.
inline Vec3d FiniteOf(const double* coordinates, const char* name)
{
    Required(coordinates, name);
    const Vec3d point(coordinates[0], coordinates[1], coordinates[2]);
    for (const double coordinate : point) {
        if (!std::isfinite(coordinate)) {
            BadArgument(std::string(name) + " has a coordinate that is not finite");
        }
    }
    return point;
}

/// A direction of any length but 0.
inline Vec3d DirectionOf(const double* coordinates, const char* name)
{
    const Vec3d direction = FiniteOf(coordinates, name);
    if (direction == Vec3d{}) {
        BadArgument(std::string(name) + " is the zero vector");
    }
    return direction;
}

inline void CheckFiniteNumbers(const double* values, std::size_t count, const char* name)
{
    for (std::size_t i = 0; i < count; ++i) {
        if (!std::isfinite(values[i])) {
            BadArgument(std::string(name) + " " + std::to_string(i) + " is not finite",
                        static_cast<long long>(i));
        }
    }
}

/// Lines as the caller gives them: their points one after the other, and where each line starts.
inline std::vector<std::vector<Vec3d>> LinesOf(const double* points, std::size_t pointCount,
                                               const int* starts, std::size_t lineCount)
{
    const std::vector<Vec3d> all = PointsOf<3>(points, pointCount, "points");
    CheckArray(starts, lineCount, "starts");
    std::vector<std::vector<Vec3d>> lines(lineCount);
    if (lineCount == 0) {
        if (pointCount > 0) {
            BadArgument("there are points and no lines");
        }
        return lines;
    }
    for (std::size_t i = 0; i <= lineCount; ++i) {
        const bool isRight =
            i == 0 ? starts[i] == 0
            : i == lineCount
                ? starts[i] >= starts[i - 1] && static_cast<std::size_t>(starts[i]) == pointCount
                : starts[i] >= starts[i - 1];
        if (!isRight) {
            BadIndex("entry " + std::to_string(i) + " of starts is " + std::to_string(starts[i]) +
                         "; they must ascend from 0 to " + std::to_string(pointCount),
                     static_cast<long long>(i));
        }
    }
    for (std::size_t i = 0; i < lineCount; ++i) {
        lines[i].assign(all.begin() + starts[i], all.begin() + starts[i + 1]);
    }
    return lines;
}

/// Has the mesh a triangle that distances can be measured to?
inline bool HasUsableTriangle(const MeshData& mesh)
{
    constexpr double kLargest = 1e150;
    for (std::size_t i = 0; i + 2 < mesh.indices.size(); i += 3) {
        bool isUsable = true;
        for (std::size_t k = i; k < i + 3; ++k) {
            for (const double coordinate : mesh.points[static_cast<std::size_t>(mesh.indices[k])]) {
                isUsable = isUsable && std::fabs(coordinate) <= kLargest;
            }
        }
        if (isUsable) {
            return true;
        }
    }
    return false;
}

inline void RequireTriangles(const MeshData& mesh, const char* name)
{
    if (!HasUsableTriangle(mesh)) {
        Failed(std::string(name) + " has no triangle of usable coordinates");
    }
}

inline void AddList(sorvane_lists& lists, const std::vector<int>& numbers)
{
    if (numbers.size() >
        static_cast<std::size_t>(std::numeric_limits<int>::max() - lists.starts.back())) {
        throw std::length_error("lists");
    }
    lists.numbers.insert(lists.numbers.end(), numbers.begin(), numbers.end());
    lists.starts.push_back(lists.starts.back() + static_cast<int>(numbers.size()));
}

/// Several handles that are handed over together, or none of them.
template <class... Handles>
class MadeTogether {
public:
    explicit MadeTogether(Made<Handles>... handles) : handles_(std::move(handles)...) {}
    void HandOver() noexcept
    {
        std::apply([](auto&... handle) { (handle.HandOver(), ...); }, handles_);
    }

private:
    std::tuple<Made<Handles>...> handles_;
};

} // namespace SorvaneC
