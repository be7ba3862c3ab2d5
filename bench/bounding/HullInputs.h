// Point sets for the benchmarks of hulls in space.
#pragma once

#include <Velk/Math/VecBase_E.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <iterator>
#include <vector>

namespace Bench {

using Velk::Math::Vec3d;

/// Seeded generator (splitmix64), so that every run has the same points.
class HullDraw {
public:
    double Between(double low, double high)
    {
        std::uint64_t z = (state_ += 0x9e3779b97f4a7c15U);
        z = (z ^ (z >> 30U)) * 0xbf58476d1ce4e5b9U;
        z = (z ^ (z >> 27U)) * 0x94d049bb133111ebU;
        return low + (high - low) * (static_cast<double>((z ^ (z >> 31U)) >> 11U) * 0x1p-53);
    }
    Vec3d InCube() { return {Between(-1, 1), Between(-1, 1), Between(-1, 1)}; }

private:
    std::uint64_t state_ = 1;
};

inline std::vector<Vec3d> InBall(std::int64_t count)
{
    HullDraw draw;
    std::vector<Vec3d> points;
    while (static_cast<std::int64_t>(points.size()) < count) {
        const Vec3d p = draw.InCube();
        if (p * p < 1) {
            points.push_back(p);
        }
    }
    return points;
}

inline std::vector<Vec3d> OnSphere(std::int64_t count)
{
    std::vector<Vec3d> points = InBall(count);
    for (Vec3d& p : points) {
        p = Velk::Math::Vector::Normalized(p, 0.0);
    }
    return points;
}

inline std::vector<Vec3d> InBox(std::int64_t count)
{
    HullDraw draw;
    std::vector<Vec3d> points;
    for (std::int64_t i = 0; i < count; ++i) {
        const Vec3d p = draw.InCube();
        points.push_back({300 * p[0], 100 * p[1], 20 * p[2]});
    }
    return points;
}

/// A cubic lattice of about `count` points, turned so that its sides are flat up to rounding only.
inline std::vector<Vec3d> Lattice(std::int64_t count)
{
    const auto side = static_cast<int>(std::lround(std::cbrt(static_cast<double>(count))));
    const double c = std::cos(0.3);
    const double s = std::sin(0.3);
    std::vector<Vec3d> points;
    for (int i = 0; i < side * side * side; ++i) {
        const Vec3d p(i % side, i / side % side, i / side / side);
        const double y = s * p[0] + c * p[1];
        points.push_back({c * p[0] - s * p[1], c * y + s * p[2], -s * y + c * p[2]});
    }
    return points;
}

/// Corners of a binary STL file, three a triangle; empty when there is none.
inline std::vector<Vec3d> StlCorners(const char* path)
{
    std::ifstream file(path, std::ios::binary);
    const std::vector<char> bytes{std::istreambuf_iterator<char>(file), {}};
    std::vector<Vec3d> corners;
    for (std::size_t triangle = 84; triangle + 50 <= bytes.size(); triangle += 50) {
        for (std::size_t corner = 0; corner < 3; ++corner) {
            float xyz[3];
            std::memcpy(xyz, bytes.data() + triangle + 12 + 12 * corner, sizeof xyz);
            corners.emplace_back(xyz[0], xyz[1], xyz[2]);
        }
    }
    return corners;
}

} // namespace Bench
