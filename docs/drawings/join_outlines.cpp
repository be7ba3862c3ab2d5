// Joins two outlines of segments and arcs into the outline of both: split where they meet, keep
// what of each lies outside the other, and combine what is left. Arcs stay arcs.
//
//   join_outlines [first.txt second.txt [tolerance]] > picture.svg
//
// The files hold one closed chain each; either direction will do. Without arguments a plate and a
// bar across it. Drawn are the pieces that were kept, those that were dropped, and the places at
// which the outlines meet. Exit codes: 0 done, 1 a file can't be read or holds no closed chain, or
// the picture can't be written, 2 wrong use.

#include "Arguments.h"
#include "PictureOutput.h"

#include <Sorvane/ChainBreaking_E.h>
#include <Sorvane/PolyArcSeg_E.h>
#include <Sorvane/SvgWriter_E.h>
#include <Velk/Math/Vector_E.h>

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <optional>
#include <string>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;
using Chain = Planar::PolyArcSegBase<double>;

constexpr double kQuarterTurn = 0.5 * kPi<double>;

/// A plate with rounded corners.
Chain Plate()
{
    Chain chain;
    chain.tolerance = 1e-9;
    chain.AppendSegment({1, 0}, {11, 0});
    chain.AppendArc({11, 1}, {11, 0}, kQuarterTurn);
    chain.AppendSegment({12, 1}, {12, 5});
    chain.AppendArc({11, 5}, {12, 5}, kQuarterTurn);
    chain.AppendSegment({11, 6}, {1, 6});
    chain.AppendArc({1, 5}, {1, 6}, kQuarterTurn);
    chain.AppendSegment({0, 5}, {0, 1});
    chain.AppendArc({1, 1}, {0, 1}, kQuarterTurn);
    return chain;
}

/// A bar with round ends, which stand out of the plate above and below.
Chain Bar()
{
    const Vec2d along = Vec2d(3, 4) * 0.2;
    const Vec2d across(along.y(), -along.x());
    const Vec2d low = Vec2d(4, 0) - along * 0.5;
    const Vec2d high = low + along * 9;
    Chain chain;
    chain.tolerance = 1e-9;
    chain.AppendSegment(low + across * 1.5, high + across * 1.5);
    chain.AppendArc(high, high + across * 1.5, 1.5 * 2 * kQuarterTurn);
    chain.AppendSegment(high - across * 1.5, low - across * 1.5);
    chain.AppendArc(low, low - across * 1.5, 1.5 * 2 * kQuarterTurn);
    return chain;
}

/// Counter-clockwise, so that what an outline encloses is to its left.
Chain CounterClockwise(Chain outline)
{
    constexpr double kCoarse = 1e-2; // of the length; enough for the sign of an area
    const double length = Planar::PolyArcSegParameters(outline, false).back();
    const std::vector<Vec2d> points = Planar::Tessellate(outline, kCoarse * length);
    if (Vector::SignedArea(points) < 0) {
        std::reverse(outline.elements.begin(), outline.elements.end());
        for (auto& element : outline.elements) {
            element.Reverse();
        }
    }
    return outline;
}

/// Is a piece part of the joint outline? What both outlines share is taken from the first, and only
/// where the outlines have their insides on one side of it.
bool IsKept(const Chain& piece, bool isOfFirst, const Chain& other, double tolerance)
{
    Vec2d middle;
    Planar::PointAtParameterOnPolyArcSeg(piece, 0.5, true, middle);
    const auto [nearest, normal] = Planar::ClosestPointAndNormalOnPolyArcSeg(other, middle, true);
    if (Vector::Length(nearest - middle) <= tolerance) {
        const auto own = Planar::ClosestPointAndNormalOnPolyArcSeg(piece, middle, true);
        return isOfFirst && own.second * normal > 0;
    }
    return !Planar::PointInPolyArcSegSpace<double>(other, middle, true, nullptr);
}

} // namespace

int main(int argc, char** argv)
{
    const auto tolerance = argc > 3 ? LengthOf(argv[3]) : std::optional(1e-6);
    if (argc == 2 || argc > 4 || !tolerance) {
        std::fprintf(stderr,
                     "usage: join_outlines [first.txt second.txt [tolerance]] > picture.svg\n");
        return 2;
    }
    Chain outlines[2] = {argc > 1 ? Planar::ReadPolySegArcFromFile(argv[1]) : Plate(),
                         argc > 1 ? Planar::ReadPolySegArcFromFile(argv[2]) : Bar()};
    for (int i = 0; i < 2; ++i) {
        outlines[i].tolerance = std::max(outlines[i].tolerance, *tolerance);
        if (!outlines[i].IsClosed()) {
            std::fprintf(stderr, "%s: holds no closed chain, or can't be read\n", argv[i + 1]);
            return 1;
        }
        outlines[i] = CounterClockwise(outlines[i]);
    }

    std::vector<Chain> pieces[2];
    if (!Planar::SplitAtIntersections(outlines[0], outlines[1], pieces[0], pieces[1], *tolerance)) {
        pieces[0] = {outlines[0]};
        pieces[1] = {outlines[1]};
    }
    const Drawing::SvgStyle keptStyles[2] = {{"#1f4e79", "none", 3, false},
                                             {"#d1491b", "none", 3, false}};
    const Drawing::SvgStyle droppedStyle{"#999999", "none", 1.5, true};
    const Drawing::SvgStyle meetingStyle{"#222222", "#222222", 2.5, false};
    Drawing::SvgWriter picture(800);
    std::vector<Planar::ArcSegBase<double>> kept;
    for (int i = 0; i < 2; ++i) {
        for (const Chain& piece : pieces[i]) {
            const bool isKept = IsKept(piece, i == 0, outlines[1 - i], *tolerance);
            picture.AddChain(piece, isKept ? keptStyles[i] : droppedStyle);
            if (isKept) {
                kept.insert(kept.end(), piece.elements.begin(), piece.elements.end());
            }
        }
    }
    const auto meetings = Planar::IntersectionPoints(outlines[0], outlines[1], *tolerance);
    picture.AddPoints(meetings, meetingStyle);
    const std::vector<Chain> joined = Planar::CombineArcsSegs(kept, *tolerance);
    picture.AddLegend("kept of the first outline", keptStyles[0]);
    picture.AddLegend("kept of the second outline", keptStyles[1]);
    picture.AddLegend("dropped", droppedStyle);
    picture.AddLegend(std::to_string(meetings.size()) + " places at which they meet", meetingStyle);
    for (const Chain& chain : joined) {
        std::fprintf(stderr, "%zu elements, length %.6g, %s\n", chain.elements.size(),
                     Planar::PolyArcSegParameters(chain, false).back(),
                     chain.IsClosed() ? "closed" : "open");
    }
    return PrintPicture(picture);
}
