// Moves a cutter along a path and draws the shell that it sweeps: as it looks from outside, and cut
// at half of the cutter's height, with the sheets that lie inside of it.
//
//   sweep_body picture.svg [shell.stl]
//
// The cutter is a milling tool's outline turned about its axis; the path crosses over itself. The
// dots of the section tell how often the shell winds round their places, which is how often the
// cutter comes over them.
//
// Exit codes: 0 done, 1 a file can't be written, 2 wrong use.

#include "PartFiles.h"
#include "PartMeasures.h"
#include "PictureOutput.h"

#include <Sorvane/MeshQueries_E.h>
#include <Sorvane/SvgWriter_E.h>
#include <Sorvane/SweptVolume_E.h>
#include <Sorvane/Tools_E.h>

#include <array>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <string>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;
using Body = Mesh::IndexedPointsBase<3, double>;

constexpr double kChord = 0.02;

/// The outline turned about the z axis, closed at the top; its corners on the axis are one point.
Body Turned(const Mill::ConvexStandardToolBase<double>& tool)
{
    std::vector<Vec3d> profile;
    for (const Vec2d& p : Planar::ToPolyline(tool, kChord).points) {
        profile.push_back({p.x(), 0, p.y()});
    }
    profile.push_back({0, 0, profile.back().z()});
    const auto turned = RevolvedPolylineAroundAxis<double, void>(
        {0, 0, 0}, {0, 0, 1}, profile, {{0, static_cast<int>(profile.size())}}, kChord);
    Body body{turned.points, {}};
    for (const auto& triangle : turned.triangles) {
        body.indices.insert(body.indices.end(), triangle.indices.begin(), triangle.indices.end());
    }
    Mesh::FilterForUniqueness(body, 1e-9);
    return body;
}

/// An eight that goes down and up again.
std::vector<Vec3d> Path()
{
    constexpr int kSteps = 72;
    std::vector<Vec3d> path;
    for (int i = 0; i <= kSteps; ++i) {
        const double angle = -0.4 + 5.4 * i / kSteps;
        path.push_back({13 * std::sin(angle), 8 * std::sin(2 * angle), -2 * std::sin(angle / 2)});
    }
    return path;
}

/// How often a closed shell winds round a point, by the solid angles of its triangles.
double WindingNumber(const Body& shell, const Vec3d& point)
{
    double angle = 0;
    for (std::size_t i = 0; i < shell.indices.size(); i += 3) {
        const Vec3d a = CornerOf(shell, i) - point;
        const Vec3d b = CornerOf(shell, i + 1) - point;
        const Vec3d c = CornerOf(shell, i + 2) - point;
        const double la = Length(a);
        const double lb = Length(b);
        const double lc = Length(c);
        angle += std::atan2(a * (b ^ c), la * lb * lc + (a * b) * lc + (b * c) * la + (c * a) * lb);
    }
    return angle / kTwoPi<double>;
}

void DrawSection(const Body& shell, double height, Drawing::SvgWriter& picture)
{
    const Drawing::SvgStyle sheet{"#3b4252", "none", 0.8, false};
    const Drawing::SvgStyle once{"none", "#8fbcbb", 1.1, false};
    const Drawing::SvgStyle again{"none", "#d08770", 1.1, false};
    const Vec2d place(46, 0);
    std::vector<Vec2d> visitedOnce;
    std::vector<Vec2d> visitedAgain;
    for (double x = -18.5; x < 18; x += 1) {
        for (double y = -13.5; y < 14; y += 1) {
            const long winding = std::lround(WindingNumber(shell, {x, y, height}));
            if (winding > 0) {
                (winding == 1 ? visitedOnce : visitedAgain).push_back(place + Vec2d(x, y));
            }
        }
    }
    picture.AddPoints(visitedOnce, once);
    picture.AddPoints(visitedAgain, again);
    for (std::size_t i = 0; i < shell.indices.size(); i += 3) {
        std::array<Vec3d, 2> line;
        const Vec3d& a = CornerOf(shell, i);
        const Vec3d& b = CornerOf(shell, i + 1);
        const Vec3d& c = CornerOf(shell, i + 2);
        if (Mesh::IsoSegmentFromTriangle(a, b, c, a.z(), b.z(), c.z(), height, line)) {
            picture.AddPolyline(
                {place + Vec2d(line[0].x(), line[0].y()), place + Vec2d(line[1].x(), line[1].y())},
                sheet);
        }
    }
    picture.AddLegend("the shell's sheets in the section", sheet);
    picture.AddLegend("wound round once", once);
    picture.AddLegend("twice: the cutter comes a second time", again);
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2 && argc != 3) {
        std::fprintf(stderr, "usage: sweep_body picture.svg [shell.stl]\n");
        return 2;
    }
    const Body cutter = Turned({.tipRadius = 1.5,
                                .lowerCornerRadius = 1.5,
                                .lowerCornerAngle = kPi<double> / 2,
                                .shankLength = 4});
    const std::vector<Vec3d> path = Path();
    MeshUtils::DirtySweptVolume sweep(cutter);
    const Body shell = sweep(path);
    std::printf("cutter: %zu triangles, volume %.3f\n", cutter.indices.size() / 3,
                VolumeOf(cutter));
    std::printf("shell: %zu steps, %zu triangles, volume %.3f with what is swept twice\n",
                path.size() - 1, shell.indices.size() / 3, VolumeOf(shell));

    const Drawing::SvgView view{{0.7, -2, 3}, {0, 0, 1}};
    Drawing::SvgWriter picture(1100);
    picture.AddMesh(shell, view, {"#b9c7d6", "#b9c7d6", 0.5});
    DrawSection(shell, 1.7, picture);
    const bool isSaved = SavePicture(picture, argv[1]);
    const bool isWritten = argc < 3 || Tell(MeshUtils::WriteMesh(shell, argv[2]), argv[2]);
    return isSaved && isWritten ? 0 : 1;
}
