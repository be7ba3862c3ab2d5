// Sets of segments and arcs of many kinds for tests and benchmarks: what toolpath software cuts,
// and the arrangements that defeat grids, box trees and comparing all with all.
#pragma once

#include <Velk/Math/Geometry_E.h>
#include <Velk/Math/Tolerances_E.h>

#include "tests/support/Random.h"

#include <array>
#include <cmath>
#include <vector>

namespace Support {

struct PlanarSet {
    std::vector<Velk::Math::Geometry::SegBase<double>> segments;
    std::vector<Velk::Math::Geometry::ArcBase<double>> arcs;

    std::size_t Size() const { return segments.size() + arcs.size(); }
};

inline Velk::Math::Vec2d AtPolar(double radius, double angle)
{
    return {radius * std::cos(angle), radius * std::sin(angle)};
}

/// The closed polygon point(0) ... point(count - 1).
template <class PointOf>
void AppendPolygon(int count, const PointOf& point, PlanarSet& set)
{
    for (int i = 0; i < count; ++i) {
        set.segments.push_back({point(i), point((i + 1) % count)});
    }
}

/// Segments in the unit square with about so many crossings each: lengths follow from it, as two of
/// length l cross with a chance of about 2 l^2 / pi.
inline PlanarSet RandomSegments(int count, double crossings)
{
    Random random(1);
    const double length = std::sqrt(crossings * Velk::Math::kPi<double> / (2.0 * count));
    PlanarSet set;
    for (int i = 0; i < count; ++i) {
        const double angle = random.Between(0, Velk::Math::kTwoPi<double>);
        const auto start = random.Vector<2, double>(0, 1);
        set.segments.push_back({start, start + AtPolar(length, angle)});
    }
    return set;
}

inline PlanarSet SparseSegments(int count) { return RandomSegments(count, 2); }
inline PlanarSet DenseSegments(int count) { return RandomSegments(count, 50); }

inline PlanarSet ArcsAndSegments(int count)
{
    PlanarSet set = RandomSegments(count / 2, 2);
    Random random(3);
    const double radius = 0.5 * Length(set.segments[0].end - set.segments[0].start);
    for (int i = 0; i < count / 2; ++i) {
        const double angle = random.Between(0, Velk::Math::kTwoPi<double>);
        const auto center = random.Vector<2, double>(0, 1);
        const double sweep =
            random.Unit() < 0.2 ? Velk::Math::kTwoPi<double> : random.Between(-3, 3);
        set.arcs.push_back({center, center + AtPolar(radius, angle), radius * sweep});
    }
    return set;
}

/// Ten lines of length 1e6 beside short ones that crowd into a square of side sqrt(n).
inline PlanarSet GiantsAmongTiny(int count)
{
    Random random(4);
    const double side = std::sqrt(static_cast<double>(count));
    PlanarSet set;
    for (int i = 0; i < 10; ++i) {
        const double y = random.Between(0, side);
        set.segments.push_back({{0, y}, {1e6, y + 1e6 * random.Between(-0.5, 0.5)}});
    }
    for (int i = 10; i < count; ++i) {
        const auto start = random.Vector<2, double>(0, side);
        set.segments.push_back({start, start + random.Vector<2, double>(-0.5, 0.5)});
    }
    return set;
}

/// Parallel lines in a slanted direction, right across.
inline PlanarSet SlantedHatch(int count)
{
    const Velk::Math::Vec2d along = AtPolar(1, 0.6);
    const Velk::Math::Vec2d across(-along.y(), along.x());
    PlanarSet set;
    for (int i = 0; i < count; ++i) {
        const Velk::Math::Vec2d middle = across * (static_cast<double>(i) / count);
        set.segments.push_back({middle - along, middle + along});
    }
    return set;
}

/// Long edges that converge on a point beyond their ends.
inline PlanarSet ConvergingEdges(int count)
{
    PlanarSet set;
    for (int i = 0; i < count; ++i) {
        set.segments.push_back({{0, 1e-6 * i}, {1, static_cast<double>(i) / count}});
    }
    return set;
}

/// One polygon with spikes: long edges that converge on a small ring.
inline PlanarSet StarOutline(int count)
{
    PlanarSet set;
    AppendPolygon(
        count,
        [count](int i) {
            return AtPolar(i % 2 == 0 ? 0.01 : 1.0, Velk::Math::kTwoPi<double> * i / count);
        },
        set);
    return set;
}

/// Spokes of various lengths from a common end.
inline PlanarSet Fan(int count)
{
    Random random(5);
    const Velk::Math::Vec2d hub(3, 7);
    PlanarSet set;
    for (int i = 0; i < count; ++i) {
        const double angle = random.Between(0, Velk::Math::kTwoPi<double>);
        set.segments.push_back({hub, hub + AtPolar(random.Between(0.5, 10), angle)});
    }
    return set;
}

/// Spokes whose ends at the hub differ by rounding, as computed ones do.
inline PlanarSet FanWithRounding(int count)
{
    Random random(6);
    PlanarSet set;
    for (int i = 0; i < count; ++i) {
        set.segments.push_back({random.Vector<2, double>(-1e-13, 1e-13),
                                AtPolar(1, Velk::Math::kTwoPi<double> * i / count)});
    }
    return set;
}

/// Arcs of one radius from a common start, in all directions.
inline PlanarSet FanOfArcs(int count)
{
    PlanarSet set;
    for (int i = 0; i < count; ++i) {
        set.arcs.push_back({AtPolar(1, Velk::Math::kTwoPi<double> * i / count), {0, 0}, 1.0});
    }
    return set;
}

/// Nested circles that touch in their common start.
inline PlanarSet TangentCircles(int count)
{
    PlanarSet set;
    for (int i = 1; i <= count; ++i) {
        const auto radius = static_cast<double>(i);
        set.arcs.push_back({{radius, 0}, {0, 0}, Velk::Math::kTwoPi<double> * radius});
    }
    return set;
}

inline PlanarSet ConcentricCircles(int count)
{
    PlanarSet set;
    for (int i = 1; i <= count; ++i) {
        set.arcs.push_back({{0, 0}, AtPolar(i, 0.3), Velk::Math::kTwoPi<double> * i});
    }
    return set;
}

/// Squares about one center, their sides in the directions of the angle.
inline PlanarSet NestedSquares(int count, double angle)
{
    PlanarSet set;
    for (int i = 1; i <= count / 4; ++i) {
        const double reach = i;
        const auto corner = [&](int k) {
            constexpr std::array<double, 4> kX{-1, 1, 1, -1};
            constexpr std::array<double, 4> kY{-1, -1, 1, 1};
            const double x = reach * kX[static_cast<std::size_t>(k)];
            const double y = reach * kY[static_cast<std::size_t>(k)];
            return angle == 0 ? Velk::Math::Vec2d(x, y)
                              : Velk::Math::Vec2d(x * std::cos(angle) - y * std::sin(angle),
                                                  x * std::sin(angle) + y * std::cos(angle));
        };
        AppendPolygon(4, corner, set);
    }
    return set;
}

inline PlanarSet UprightSquares(int count) { return NestedSquares(count, 0); }
inline PlanarSet TurnedSquares(int count) { return NestedSquares(count, 0.7); }

/// Offsets of a square to the outside, with round corners: segments and quarter circles.
inline PlanarSet RoundedSquares(int count)
{
    constexpr std::array<std::array<double, 2>, 4> kCorners{
        {{-50, -50}, {50, -50}, {50, 50}, {-50, 50}}};
    constexpr std::array<std::array<double, 2>, 4> kNormals{{{0, -1}, {1, 0}, {0, 1}, {-1, 0}}};
    const auto point = [](const std::array<double, 2>& p) { return Velk::Math::Vec2d(p[0], p[1]); };
    PlanarSet set;
    for (int i = 1; i <= count / 8; ++i) {
        const double distance = 0.1 * i;
        for (std::size_t k = 0; k < 4; ++k) {
            const Velk::Math::Vec2d moved = point(kNormals[k]) * distance;
            const Velk::Math::Vec2d next = point(kCorners[(k + 1) % 4]);
            set.segments.push_back({point(kCorners[k]) + moved, next + moved});
            set.arcs.push_back({next, next + moved, distance * Velk::Math::kPi<double> / 2});
        }
    }
    return set;
}

/// Twenty nested offsets of a contour with waves, as polygons.
inline PlanarSet WavyOffsets(int count)
{
    PlanarSet set;
    const int corners = count / 20;
    for (int k = 0; k < 20; ++k) {
        AppendPolygon(
            corners,
            [&](int i) {
                const double angle = Velk::Math::kTwoPi<double> * i / corners;
                const double wave = 8 * std::sin(12 * angle) + 0.5 * std::sin(57 * angle);
                return AtPolar(100 + wave + 0.7 * k, angle);
            },
            set);
    }
    return set;
}

/// One zigzag of long upright edges.
inline PlanarSet Comb(int count)
{
    PlanarSet set;
    const auto point = [](int i) {
        return Velk::Math::Vec2d(i / 2, (i + 1) / 2 % 2 == 0 ? 0 : 100);
    };
    for (int i = 1; i <= count; ++i) {
        set.segments.push_back({point(i - 1), point(i)});
    }
    return set;
}

/// Segments on one line, each across the starts of the next three.
inline PlanarSet CollinearRuns(int count)
{
    PlanarSet set;
    const Velk::Math::Vec2d along = AtPolar(1, 0.4);
    for (int i = 0; i < count; ++i) {
        set.segments.push_back({along * i, along * (i + 3.5)});
    }
    return set;
}

/// A hundred long lines within rounding of each other, beside short ones.
inline PlanarSet BundleBesideShort(int count)
{
    PlanarSet set;
    for (int i = 0; i < 100; ++i) {
        set.segments.push_back({{-1 - 1e-3 * i, 1e-13 * i}, {count + 1e-3 * i, 1e-13 * (100 - i)}});
    }
    for (int i = 0; i < count; ++i) {
        set.segments.push_back({{static_cast<double>(i), 0.5}, {i + 0.4, 0.5 + 0.01 * (i % 90)}});
    }
    return set;
}

struct NamedPlanarSet {
    const char* name;
    PlanarSet (*make)(int count);
};

inline constexpr NamedPlanarSet kPlanarSets[] = {{"SparseSegments", SparseSegments},
                                                 {"ArcsAndSegments", ArcsAndSegments},
                                                 {"GiantsAmongTiny", GiantsAmongTiny},
                                                 {"SlantedHatch", SlantedHatch},
                                                 {"ConvergingEdges", ConvergingEdges},
                                                 {"StarOutline", StarOutline},
                                                 {"Fan", Fan},
                                                 {"FanWithRounding", FanWithRounding},
                                                 {"FanOfArcs", FanOfArcs},
                                                 {"TangentCircles", TangentCircles},
                                                 {"ConcentricCircles", ConcentricCircles},
                                                 {"UprightSquares", UprightSquares},
                                                 {"TurnedSquares", TurnedSquares},
                                                 {"RoundedSquares", RoundedSquares},
                                                 {"WavyOffsets", WavyOffsets},
                                                 {"Comb", Comb},
                                                 {"CollinearRuns", CollinearRuns},
                                                 {"BundleBesideShort", BundleBesideShort}};

} // namespace Support
