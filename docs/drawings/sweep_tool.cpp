// Draws what a tool reaches: a plate grown and shrunk by an asymmetric tool, and its gaps closed;
// or the places that a turning tool can take around a profile, and where its holder is in the way.
//
//   sweep_tool [plate|turning] > picture.svg
//
// Exit codes: 0 done, 1 the picture can't be written, 2 wrong use.

#include "PictureOutput.h"

#include <Sorvane/Minkowski_E.h>
#include <Sorvane/SvgWriter_E.h>
#include <Velk/Math/Vector_E.h>

#include <cstdio>
#include <cstring>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;
using Polyline = std::vector<Vec2d>;
using Loops = std::vector<Polyline>;

Polyline Moved(Polyline line, const Vec2d& by)
{
    for (Vec2d& point : line) {
        point += by;
    }
    return line;
}

double AreaOf(const Loops& loops)
{
    double area = 0;
    for (const Polyline& loop : loops) {
        area += Vector::SignedArea(loop);
    }
    return area;
}

double LengthOf(const Loops& lines)
{
    double length = 0;
    for (const Polyline& line : lines) {
        length += Vector::Length(line);
    }
    return length;
}

Drawing::SvgWriter DrawPlate()
{
    // A plate with a slot from above, narrower than the tool, and a window.
    const Polyline plate{{0, 0},     {30, 0},    {30, 18}, {19, 18}, {19, 10},
                         {17.5, 10}, {17.5, 18}, {4, 18},  {0, 14},  {0, 0}};
    const Polyline window{{5, 4}, {5, 12}, {12, 12}, {12, 4}, {5, 4}};
    // An insert: its point is the origin, and it lies to the upper right of it.
    const Polyline tool{{0, 0}, {2, 0.5}, {2.5, 2}, {0.5, 2}};

    double resolution = 0;
    const Loops grown = Planar::DilateArea(tool, plate, {window}, &resolution);
    const Loops shrunk = Planar::ContractArea<double>(tool, plate, {window}, nullptr);
    // What leads back from a dilation is a contraction by the reflected tool.
    Polyline reflected;
    for (const Vec2d& point : tool) {
        reflected.push_back(-point);
    }
    const Loops closed =
        Planar::MinkowskiFilterMultipleAreas<double>(tool, reflected, {plate, window}, nullptr);
    std::fprintf(stderr, "plate %.2f, grown %.2f, shrunk %.2f, closed %.2f, grid %.1e\n",
                 AreaOf({plate, window}), AreaOf(grown), AreaOf(shrunk), AreaOf(closed),
                 resolution);

    const Drawing::SvgStyle grownStyle{"#1f4e79", "#e8eef4", 2, false};
    const Drawing::SvgStyle plateStyle{"#222222", "#b9c7d6", 2, false};
    const Drawing::SvgStyle shrunkStyle{"#2e8b57", "#d7ebdf", 2, false};
    const Drawing::SvgStyle closedStyle{"#8e44ad", "none", 2, true};
    const Drawing::SvgStyle toolStyle{"#d1491b", "#f6dcd2", 1.5, false};
    Drawing::SvgWriter picture(760);
    picture.AddRegion(grown, grownStyle);
    picture.AddRegion({plate, window}, plateStyle);
    picture.AddRegion(shrunk, shrunkStyle);
    for (const Polyline& loop : closed) {
        picture.AddPolyline(loop, closedStyle);
    }
    for (const Vec2d& place : {Vec2d(30, 18), Vec2d(0, 0), Vec2d(12, 4)}) {
        picture.AddRegion({Moved(tool, place)}, toolStyle);
    }
    picture.AddLegend("plate", plateStyle);
    picture.AddLegend("tool, its origin at three corners", toolStyle);
    picture.AddLegend("dilated by the tool", grownStyle);
    picture.AddLegend("contracted by the tool", shrunkStyle);
    picture.AddLegend("dilated, then contracted by the reflected tool: the slot is closed",
                      closedStyle);
    return picture;
}

Drawing::SvgWriter DrawTurning()
{
    // A profile with a groove, the cutting insert, and the holder that carries it.
    const Polyline profile{{0, 0},  {40, 0}, {40, 8},  {30, 8}, {28, 10}, {22, 10},
                           {20, 5}, {15, 5}, {13, 10}, {0, 10}, {0, 0}};
    const Polyline insert{{0, 0}, {1, 0}, {2, 6}, {-2, 6}, {-1, 0}, {0, 0}};
    const Polyline holder{{-5, 4}, {5, 4}, {7, 11}, {-5, 11}, {-5, 4}};
    constexpr double kTolerance = 1e-9;

    const Polyline ofInsert = Planar::OuterOffsetLoop(insert, profile, kTolerance);
    const Polyline ofHolder = Planar::OuterOffsetLoop(holder, profile, kTolerance);
    Loops insertPart;
    Loops holderPart;
    Planar::ClipOverlappedRegions(ofInsert, ofHolder, insertPart, holderPart, kTolerance);
    const Loops both = Planar::KeepCommonRegions(ofInsert, ofHolder, kTolerance);
    std::fprintf(stderr, "free: %.2f, holder in the way: %.2f, of these both touch: %.2f\n",
                 LengthOf(insertPart), LengthOf(holderPart), LengthOf(both));

    const Drawing::SvgStyle profileStyle{"#222222", "#b9c7d6", 2, false};
    const Drawing::SvgStyle loopStyle{"#888888", "none", 1, true};
    const Drawing::SvgStyle freeStyle{"#2e8b57", "none", 3.5, false};
    const Drawing::SvgStyle holderStyle{"#d1491b", "none", 3.5, false};
    const Drawing::SvgStyle toolStyle{"#1f4e79", "#e8eef4", 1.5, false};
    Drawing::SvgWriter picture(760);
    picture.AddRegion({profile}, profileStyle);
    const Vec2d place(38, 8);
    picture.AddRegion({Moved(holder, place)}, toolStyle);
    picture.AddRegion({Moved(insert, place)}, toolStyle);
    picture.AddPolyline(ofInsert, loopStyle);
    picture.AddPolyline(ofHolder, loopStyle);
    for (const Polyline& line : insertPart) {
        picture.AddPolyline(line, freeStyle);
    }
    for (const Polyline& line : holderPart) {
        picture.AddPolyline(line, holderStyle);
    }
    picture.AddLegend("profile", profileStyle);
    picture.AddLegend("insert and holder, the origin at the insert's tip", toolStyle);
    picture.AddLegend("outer loops of insert and holder", loopStyle);
    picture.AddLegend("the insert touches, the holder is free", freeStyle);
    picture.AddLegend("the holder is the limit", holderStyle);
    return picture;
}

} // namespace

int main(int argc, char** argv)
{
    const char* const what = argc > 1 ? argv[1] : "plate";
    const bool isPlate = std::strcmp(what, "plate") == 0;
    if (argc > 2 || (!isPlate && std::strcmp(what, "turning") != 0)) {
        std::fprintf(stderr, "usage: sweep_tool [plate|turning] > picture.svg\n");
        return 2;
    }
    const Drawing::SvgWriter picture = isPlate ? DrawPlate() : DrawTurning();
    return PrintPicture(picture);
}
