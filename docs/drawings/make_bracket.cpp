// Makes the part that the repository carries: an angle bracket of 80 x 60 x 50 mm with a fillet,
// two holes through its base and a boss on its upright, as a closed, outward-oriented triangle
// mesh.
//
//     make_bracket FOLDER      writes FOLDER/bracket.stl (binary) and FOLDER/bracket_ascii.stl
//
// The L-shaped profile lies in the xz plane and is extruded along y, in three strips so that each
// round feature has a rectangular field of its own. A field with a circle becomes a ring of
// triangles between the circle and the field's corners. Points that meet are computed by the same
// expressions, so they meet exactly.

#include "PartFiles.h"

#include <Sorvane/IndexedMesh_E.h>
#include <Sorvane/MeshFiles_E.h>

#include <array>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <vector>

namespace {

using Velk::Math::Vec2d;
using Velk::Math::Vec3d;

constexpr double kLegLength = 60;
constexpr double kLegHeight = 50;
constexpr double kThickness = 8;
constexpr double kFilletRadius = 6;
constexpr int kFilletFacets = 8;
constexpr double kHoleRadius = 6;
constexpr double kHoleX = 38;
constexpr double kBossRadius = 8;
constexpr double kBossZ = 32;
constexpr double kBossHeight = 12;
constexpr int kCircleFacets = 48; // a multiple of 8, for the symmetry of `Circle`

/// Strips of the extrusion: a hole, the boss, a hole.
constexpr std::array<double, 4> kStrips = {0, 30, 50, 80};

struct Mesh : Velk::Math::Sorvane::Mesh::IndexedPointsBase<3, double> {
    void Add(const Vec3d& a, const Vec3d& b, const Vec3d& c)
    {
        for (const Vec3d& corner : {a, b, c}) {
            indices.push_back(static_cast<int>(points.size()));
            points.push_back(corner);
        }
    }

    void AddQuad(const Vec3d& a, const Vec3d& b, const Vec3d& c, const Vec3d& d)
    {
        Add(a, b, c);
        Add(a, c, d);
    }

    /// A convex polygon, or one that its first point sees as a whole.
    void AddFan(const std::vector<Vec3d>& polygon)
    {
        for (std::size_t i = 2; i < polygon.size(); ++i) {
            Add(polygon[0], polygon[i - 1], polygon[i]);
        }
    }
};

/// Cosine of `step` parts of a full turn, with exactly the symmetry of a cosine.
double Cosine(int step)
{
    constexpr int kQuarter = kCircleFacets / 4;
    step = (step % kCircleFacets + kCircleFacets) % kCircleFacets;
    if (step > kCircleFacets / 2) {
        step = kCircleFacets - step;
    }
    if (step > kQuarter) {
        return -Cosine(kCircleFacets / 2 - step);
    }
    return step == kQuarter ? 0 : std::cos(2 * Velk::Math::kPi<double> / kCircleFacets * step);
}

double Sine(int step) { return Cosine(step - kCircleFacets / 4); }

/// A plane with axes u and v whose normal u x v points out of the part.
struct Plane {
    Vec3d origin, u, v;

    Vec3d At(const Vec2d& p) const { return origin + p[0] * u + p[1] * v; }
};

std::vector<Vec3d> Circle(const Plane& plane, const Vec2d& center, double radius)
{
    std::vector<Vec3d> circle;
    circle.reserve(kCircleFacets);
    for (int step = 0; step < kCircleFacets; ++step) {
        circle.push_back(plane.At(center + radius * Vec2d(Cosine(step), Sine(step))));
    }
    return circle;
}

/// The rectangle from `low` to `high` without the circle in it: each corner spans a fan over the
/// quarter of the circle that faces it.
void AddRing(Mesh& mesh, const Plane& plane, const Vec2d& low, const Vec2d& high,
             const std::vector<Vec3d>& circle)
{
    const std::array<Vec3d, 4> corners = {plane.At(high), plane.At({low[0], high[1]}),
                                          plane.At(low), plane.At({high[0], low[1]})};
    constexpr std::size_t kQuarter = kCircleFacets / 4;
    for (std::size_t quarter = 0; quarter < 4; ++quarter) {
        for (std::size_t step = quarter * kQuarter; step < (quarter + 1) * kQuarter; ++step) {
            mesh.Add(corners[quarter], circle[(step + 1) % kCircleFacets], circle[step]);
        }
        mesh.Add(corners[quarter], corners[(quarter + 1) % 4],
                 circle[(quarter + 1) * kQuarter % kCircleFacets]);
    }
}

/// The wall between two circles that run alike, counter-clockwise as seen from the end of `last`.
void AddWall(Mesh& mesh, const std::vector<Vec3d>& first, const std::vector<Vec3d>& last)
{
    for (std::size_t i = 0; i < first.size(); ++i) {
        const std::size_t next = (i + 1) % first.size();
        mesh.AddQuad(first[i], first[next], last[next], last[i]);
    }
}

/// The profile (x, z), counter-clockwise as seen against y; its first point sees all of it.
std::vector<Vec2d> Profile()
{
    std::vector<Vec2d> profile = {{0, 0}, {kLegLength, 0}, {kLegLength, kThickness}};
    constexpr double kCenter = kThickness + kFilletRadius;
    for (int i = 0; i <= kFilletFacets; ++i) {
        // From below the center to the left of it; both ends exactly on the flats.
        const double angle = Velk::Math::kPi<double> / 2 / kFilletFacets * i;
        const double x =
            i == kFilletFacets ? kThickness : kCenter - kFilletRadius * std::sin(angle);
        const double z = i == 0 ? kThickness : kCenter - kFilletRadius * std::cos(angle);
        profile.push_back({i == 0 ? kCenter : x, i == kFilletFacets ? kCenter : z});
    }
    profile.push_back({kThickness, kLegHeight});
    profile.push_back({0, kLegHeight});
    return profile;
}

Vec3d InStrip(const Vec2d& profilePoint, double y) { return {profilePoint[0], y, profilePoint[1]}; }

/// Sides of the profile that carry features, by the number of their first point.
constexpr std::size_t kBottomSide = 0;
constexpr std::size_t kTopSide = 2;
constexpr std::size_t kBossSide = 3 + kFilletFacets;

bool CarriesFeature(std::size_t side, std::size_t strip)
{
    return strip == 1 ? side == kBossSide : side == kBottomSide || side == kTopSide;
}

void AddExtrusion(Mesh& mesh, const std::vector<Vec2d>& profile)
{
    std::vector<Vec3d> front;
    std::vector<Vec3d> back;
    for (const Vec2d& point : profile) {
        front.push_back(InStrip(point, kStrips.front()));
        // Reversed, but beginning with the same point.
        back.insert(back.begin() + (back.empty() ? 0 : 1), InStrip(point, kStrips.back()));
    }
    mesh.AddFan(front);
    mesh.AddFan(back);
    for (std::size_t side = 0; side < profile.size(); ++side) {
        const Vec2d& p = profile[side];
        const Vec2d& q = profile[(side + 1) % profile.size()];
        for (std::size_t strip = 0; strip + 1 < kStrips.size(); ++strip) {
            if (!CarriesFeature(side, strip)) {
                const double y0 = kStrips[strip];
                const double y1 = kStrips[strip + 1];
                mesh.AddQuad(InStrip(p, y0), InStrip(p, y1), InStrip(q, y1), InStrip(q, y0));
            }
        }
    }
}

/// Through the base, in the strip from y0 to y1.
void AddHole(Mesh& mesh, double y0, double y1)
{
    const Plane top{{0, 0, kThickness}, {1, 0, 0}, {0, 1, 0}};
    const Plane bottom{{0, 0, 0}, {0, 1, 0}, {1, 0, 0}};
    const double y = (y0 + y1) / 2;
    const std::vector<Vec3d> upper = Circle(top, {kHoleX, y}, kHoleRadius);
    const std::vector<Vec3d> lower = Circle(bottom, {y, kHoleX}, kHoleRadius);
    AddRing(mesh, top, {kThickness + kFilletRadius, y0}, {kLegLength, y1}, upper);
    AddRing(mesh, bottom, {y0, 0}, {y1, kLegLength}, lower);

    // The upper circle's shadow on the bottom consists of the lower circle's points. Seen from
    // within the hole the wall faces the axis, so it runs from the top down.
    std::vector<Vec3d> shadow = upper;
    for (Vec3d& point : shadow) {
        point.z() = 0;
    }
    AddWall(mesh, upper, shadow);
}

void AddBoss(Mesh& mesh, double y0, double y1)
{
    const Plane wall{{kThickness, 0, 0}, {0, 1, 0}, {0, 0, 1}};
    const Plane end{{kThickness + kBossHeight, 0, 0}, {0, 1, 0}, {0, 0, 1}};
    const Vec2d center((y0 + y1) / 2, kBossZ);
    const std::vector<Vec3d> foot = Circle(wall, center, kBossRadius);
    const std::vector<Vec3d> rim = Circle(end, center, kBossRadius);
    AddRing(mesh, wall, {y0, kThickness + kFilletRadius}, {y1, kLegHeight}, foot);
    AddWall(mesh, foot, rim);
    mesh.AddFan(rim);
}

Mesh MakeBracket()
{
    Mesh mesh;
    AddExtrusion(mesh, Profile());
    AddHole(mesh, kStrips[0], kStrips[1]);
    AddBoss(mesh, kStrips[1], kStrips[2]);
    AddHole(mesh, kStrips[2], kStrips[3]);
    return mesh;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::fputs("usage: make_bracket FOLDER\n", stderr);
        return 2;
    }
    const std::filesystem::path folder = argv[1];
    std::error_code isMissing;
    if (!std::filesystem::is_directory(folder, isMissing)) {
        std::fprintf(stderr, "make_bracket: %s is not a folder\n", argv[1]);
        return 1;
    }
    namespace Files = Velk::Math::Sorvane::MeshUtils;
    const Mesh bracket = MakeBracket();
    // In `float` both files hold the same numbers, all digits of them.
    const Velk::Math::Sorvane::Mesh::IndexedPointsBase<3, float> rounded{
        {bracket.points.begin(), bracket.points.end()}, bracket.indices};
    const auto binary = folder / "bracket.stl";
    const auto ascii = folder / "bracket_ascii.stl";
    const bool areWritten =
        Tell(Files::WriteMesh(rounded, binary), binary) &&
        Tell(Files::WriteMesh(rounded, ascii, Files::MeshFileForm::AsciiStl), ascii);
    return areWritten ? 0 : 1;
}
