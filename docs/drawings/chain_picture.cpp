// Draws a chain of segments and arcs as SVG: the chain itself, a polyline that stays within a
// tolerance of it, and a grid of points, each joined to its nearest point on the chain and colored
// by the side it lies on.
//
//   chain_picture [chain.txt [tolerance [distance ...]]] > picture.svg
//
// With distances the chain and its offsets at these instead, negative ones to the left of travel.
// Without arguments, or with - for the file, a slot with a hook, and a tolerance coarse enough to
// be seen. Exit codes: 0 done, 1 the file can't be read, holds no chain, or the picture can't be
// written, 2 wrong use.

#include "Arguments.h"
#include "PictureOutput.h"

#include <Sorvane/PlanarOffset_E.h>
#include <Sorvane/PolyArcSeg_E.h>
#include <Sorvane/SvgWriter_E.h>
#include <Velk/Math/Vector_E.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <set>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane::Planar;
using Velk::Math::Sorvane::Drawing::SvgStyle;
using Velk::Math::Sorvane::Drawing::SvgWriter;
using Chain = PolyArcSegBase<double>;

constexpr double kHalfTurn = kPi<double>;

const SvgStyle kChain{"#1f4e79", "none", 5};
const SvgStyle kOffset{"#2e8b57", "none", 2.5};
const SvgStyle kPolyline{"#d1491b", "none", 2.5};
const SvgStyle kLeft{"#2e8b57", "none", 1.2};
const SvgStyle kLeftPoint{"#2e8b57", "none", 2.5};
const SvgStyle kRight{"#999999", "none", 1.2};
const SvgStyle kRightPoint{"#999999", "none", 2.5};

/// Closed, counter-clockwise: flat, rounded end, flat, a notch turning the other way, rounded end.
Chain Slot()
{
    Chain chain;
    chain.tolerance = 1e-9;
    chain.AppendSegment({0, 0}, {8, 0});
    chain.AppendArc({8, 2}, {8, 0}, 2 * kHalfTurn);
    chain.AppendSegment({8, 4}, {5.5, 4});
    chain.AppendArc({4, 4}, {5.5, 4}, -1.5 * kHalfTurn);
    chain.AppendSegment({2.5, 4}, {0, 4});
    chain.AppendArc({0, 2}, {0, 4}, 2 * kHalfTurn);
    return chain;
}

/// A grid of points over the picture, each joined to its nearest point of the chain.
void DrawQueries(const Chain& chain, const std::vector<Vec2d>& polyline, SvgWriter& picture)
{
    Vec2d low = polyline.front();
    Vec2d high = low;
    for (const Vec2d& p : polyline) {
        low = {std::min(low.x(), p.x()), std::min(low.y(), p.y())};
        high = {std::max(high.x(), p.x()), std::max(high.y(), p.y())};
    }
    const double margin = 0.1 * std::max(high.x() - low.x(), high.y() - low.y());
    low -= Vec2d(margin, margin);
    high += Vec2d(margin, margin);
    constexpr int kAcross = 13;
    const double spacing = (high.x() - low.x()) / kAcross;
    const int up = static_cast<int>((high.y() - low.y()) / spacing) + 1;
    for (int i = 0; i < kAcross; ++i) {
        for (int j = 0; j < up; ++j) {
            const Vec2d p = low + Vec2d(i + 0.5, j + 0.5) * spacing;
            Vec2d closest;
            const bool isLeft = PointInPolyArcSegSpace(chain, p, true, &closest);
            picture.AddPolyline({p, closest}, isLeft ? kLeft : kRight);
            picture.AddPoints({p}, isLeft ? kLeftPoint : kRightPoint);
        }
    }
}

/// The numbers from the third argument on; nothing when one is none.
std::optional<std::set<double>> DistancesOf(int argc, char** argv)
{
    std::set<double> distances;
    for (int i = 3; i < argc; ++i) {
        const std::optional<double> distance = NumberOf(argv[i]);
        if (!distance) {
            return std::nullopt;
        }
        distances.insert(*distance);
    }
    return distances;
}

} // namespace

int main(int argc, char** argv)
{
    const auto tolerance = argc > 2 ? LengthOf(argv[2]) : std::optional(0.1);
    const auto distances = DistancesOf(argc, argv);
    if (!tolerance || *tolerance == 0 || !distances) {
        std::fprintf(stderr, "usage: chain_picture [chain.txt [tolerance [distance ...]]] > "
                             "picture.svg\n");
        return 2;
    }
    const bool isFile = argc > 1 && std::strcmp(argv[1], "-") != 0;
    const Chain chain = isFile ? ReadPolySegArcFromFile(argv[1]) : Slot();
    if (chain.elements.empty()) {
        std::fprintf(stderr, "%s: is no file with a chain in it, or can't be read\n", argv[1]);
        return 1;
    }
    const std::vector<Vec2d> polyline = Tessellate(chain, *tolerance);

    SvgWriter picture(900);
    if (distances->empty()) {
        DrawQueries(chain, polyline, picture);
    }
    constexpr double kLinkTolerance = 1e-6; // for parts of any usual size
    for (const auto& curves : PlanarOffsets(chain, *distances, kLinkTolerance)) {
        for (const Chain& curve : curves) {
            picture.AddChain(curve, kOffset);
        }
    }
    picture.AddChain(chain, kChain);
    picture.AddLegend("chain", kChain);
    if (distances->empty()) {
        picture.AddPolyline(polyline, kPolyline);
        picture.AddPoints(polyline, kPolyline);
        picture.AddLegend("polyline within the tolerance", kPolyline);
        picture.AddLegend("to the nearest point, from the left of travel", kLeft);
        picture.AddLegend("the same from the right", kRight);
    } else {
        picture.AddLegend("offsets", kOffset);
    }
    std::fprintf(stderr, "%zu elements, length %.6g, %s; %zu points within %g\n",
                 chain.elements.size(), PolyArcSegParameters(chain, false).back(),
                 chain.IsClosed() ? "closed" : "open", polyline.size(), *tolerance);
    return PrintPicture(picture);
}
