// The part that the repository carries, examples/data/bracket.stl and bracket_ascii.stl, is what
// its generator examples/make_bracket.cpp describes: a closed, outward-oriented solid of known
// volume.

#include <Sorvane/MeshFiles_E.h>

#include "tests/support/TestSupport.h"

#include <cmath>
#include <map>
#include <set>
#include <tuple>
#include <utility>

namespace {

using namespace Velk::Math;
namespace Files = Sorvane::MeshUtils;

// The drawing, in mm: see the generator.
constexpr double kWidth = 80;
constexpr double kLegLength = 60;
constexpr double kLegHeight = 50;
constexpr double kThickness = 8;
constexpr double kFilletRadius = 6;
constexpr int kFilletFacets = 8;
constexpr double kHoleRadius = 6;
constexpr double kBossRadius = 8;
constexpr double kBossHeight = 12;
constexpr int kCircleFacets = 48;
constexpr double kPi = Velk::Math::kPi<double>;

/// Area and circumference of the regular polygon inscribed in a circle.
double CircleArea(double radius)
{
    return 0.5 * kCircleFacets * radius * radius * std::sin(2 * kPi / kCircleFacets);
}
double CircleLength(double radius)
{
    return 2 * kCircleFacets * radius * std::sin(kPi / kCircleFacets);
}

/// Between the inner corner and the chords of its fillet: a square less the fan of isosceles
/// triangles around the fillet's center.
double FilletArea()
{
    constexpr double kSquared = kFilletRadius * kFilletRadius;
    return kSquared - 0.5 * kFilletFacets * kSquared * std::sin(0.5 * kPi / kFilletFacets);
}
double FilletLength()
{
    return 2 * kFilletFacets * kFilletRadius * std::sin(0.25 * kPi / kFilletFacets);
}

double ProfileArea()
{
    return kLegLength * kThickness + (kLegHeight - kThickness) * kThickness + FilletArea();
}
double ProfileLength()
{
    return 2 * kLegLength + 2 * kLegHeight - 2 * kFilletRadius + FilletLength();
}

double ExpectedVolume()
{
    return ProfileArea() * kWidth - 2 * CircleArea(kHoleRadius) * kThickness +
           CircleArea(kBossRadius) * kBossHeight;
}

/// The boss's end replaces the wall that it covers; each hole takes two discs and gives its wall.
double ExpectedArea()
{
    return 2 * ProfileArea() + ProfileLength() * kWidth +
           2 * (CircleLength(kHoleRadius) * kThickness - 2 * CircleArea(kHoleRadius)) +
           CircleLength(kBossRadius) * kBossHeight;
}

/// Ends: two fans of 6 + 8 points. Strips along the width: 14 sides of 3 fields, of which 5 fields
/// hold a circle (one for each end of a hole, one for the boss). Then the walls, and the boss's
/// end.
constexpr int kProfilePoints = 6 + kFilletFacets;
constexpr int kTriangleCount = 2 * (kProfilePoints - 2) + 2 * (3 * kProfilePoints - 5) +
                               5 * (kCircleFacets + 4) + 3 * 2 * kCircleFacets +
                               (kCircleFacets - 2);

std::vector<Vec3d> ReadBracket()
{
    std::vector<Vec3d> points;
    std::vector<int> indices;
    EXPECT_TRUE(Files::ReadFromBinarySTL(points, indices, Support::ExampleData("bracket.stl")));
    return points;
}

TEST(Bracket, HasTheTrianglesOfItsDescription)
{
    EXPECT_EQ(ReadBracket().size(), 3U * kTriangleCount);
}

TEST(Bracket, EveryDirectedEdgeHasItsReverseOnce)
{
    // Corners meet exactly, to the last bit.
    using Key = std::tuple<double, double, double>;
    const std::vector<Vec3d> points = ReadBracket();
    const auto key = [&](std::size_t i) {
        return Key(points[i].x(), points[i].y(), points[i].z());
    };
    std::map<std::pair<Key, Key>, int> uses;
    std::set<Key> vertices;
    for (std::size_t triangle = 0; triangle < points.size(); triangle += 3) {
        for (std::size_t corner = 0; corner < 3; ++corner) {
            ++uses[{key(triangle + corner), key(triangle + (corner + 1) % 3)}];
            vertices.insert(key(triangle + corner));
        }
    }
    for (const auto& [edge, count] : uses) {
        EXPECT_EQ(count, 1);
        EXPECT_TRUE(uses.contains({edge.second, edge.first}));
    }
    // Euler: V - E + F = 2 - 2 handles, and each through hole is a handle.
    const auto edges = static_cast<int>(uses.size()) / 2;
    EXPECT_EQ(static_cast<int>(vertices.size()) - edges + kTriangleCount, 2 - 2 * 2);
}

TEST(Bracket, HasTheVolumeAndAreaOfItsDrawing)
{
    const std::vector<Vec3d> points = ReadBracket();
    double volume = 0;
    double area = 0;
    for (std::size_t i = 0; i + 2 < points.size(); i += 3) {
        volume += points[i] * (points[i + 1] ^ points[i + 2]) / 6;
        area += Length((points[i + 1] - points[i]) ^ (points[i + 2] - points[i])) / 2;
    }
    // Coordinates are floats: each is off by at most 2^-24 of 80 mm, 5e-6 mm; volume by at most
    // that times the area, area by at most that times the length of all edges.
    EXPECT_NEAR(volume, ExpectedVolume(), 5e-6 * ExpectedArea());
    EXPECT_NEAR(area, ExpectedArea(), 5e-6 * 20'000);
}

TEST(Bracket, LiesWhereTheDrawingPutsIt)
{
    Vec3d low(1e9, 1e9, 1e9);
    Vec3d high = -low;
    for (const Vec3d& point : ReadBracket()) {
        for (int axis = 0; axis < 3; ++axis) {
            low[axis] = std::min(low[axis], point[axis]);
            high[axis] = std::max(high[axis], point[axis]);
        }
    }
    EXPECT_EQ(low, Vec3d(0, 0, 0));
    EXPECT_EQ(high, Vec3d(kLegLength, kWidth, kLegHeight));
}

TEST(Bracket, TheTextFileIsTheSamePart)
{
    const std::vector<Vec3d> binary = ReadBracket();
    std::vector<Vec3d> text;
    std::vector<int> indices;
    ASSERT_TRUE(Files::ReadFromASCIISTL(text, indices, Support::ExampleData("bracket_ascii.stl")));
    ASSERT_EQ(text.size(), binary.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        // As many digits as tell the floats of the binary file from each other.
        EXPECT_EQ(Vec3f(text[i]), Vec3f(binary[i])) << i;
    }
}

} // namespace
