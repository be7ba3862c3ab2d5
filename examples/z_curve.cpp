// Draws the Z-order curve through the cells of a quadtree as SVG, with the cells of a disc's
// outline: a complete tree whose leaves get small along the circle.
//
//   z_curve > z-curve.svg

#include "TextOutput.h"

#include <Sorvane/MortonCurve_E.h>
#include <Sorvane/TreeAddress_E.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Sorvane::Tree;

constexpr double kPicture = 256; // units of the drawing for the unit square

/// The curve visits cells in the order of their codes.
void DrawCurve(unsigned int depth)
{
    const double half = std::ldexp(0.5, -static_cast<int>(depth));
    std::printf("<polyline fill='none' stroke='#2060a0' stroke-width='1.5' points='");
    for (const Vec2d& corner : MortonCurve::Decode2D(MortonCurve::CodeGridAtDepth2D(depth), -1)) {
        std::printf("%g,%g ", (corner.x() + half) * kPicture, (1 - corner.y() - half) * kPicture);
    }
    std::printf("'/>\n");
}

/// The cells of a level that the circle passes through, found by sampling it densely.
std::vector<QOFAddress<2>> CellsOnCircle(unsigned int depth)
{
    constexpr int kSamples = 5000;
    std::vector<QOFAddress<2>> cells;
    for (int i = 0; i < kSamples; ++i) {
        const double angle = 6.283185307179586 * i / kSamples;
        const Vec2d point(0.5 + 0.4 * std::cos(angle), 0.5 + 0.4 * std::sin(angle));
        cells.push_back({depth, MortonCurve::Encode2D(point) >> 2 * (31 - depth)});
    }
    return cells;
}

void DrawTree(const std::vector<QOFAddress<2>>& tree)
{
    std::printf("<path fill='none' stroke='#a04020' d='");
    for (const QOFAddress<2>& cell : tree) {
        if (std::binary_search(tree.begin(), tree.end(),
                               QOFAddress<2>{cell.depth + 1, cell.path << 2})) {
            continue; // divided
        }
        const Vec2d corner = cell.UnitSpacePoint(cell.depth);
        const double edge = std::ldexp(1.0, -static_cast<int>(cell.depth));
        std::printf("M%g %gh%gv%gh%gz", corner.x() * kPicture, (1 - corner.y()) * kPicture,
                    edge * kPicture, -edge * kPicture, -edge * kPicture);
    }
    std::printf("'/>\n");
}

} // namespace

int main()
{
    std::printf("<svg xmlns='http://www.w3.org/2000/svg' viewBox='-4 -4 536 264' width='536'>\n"
                "<rect x='-4' y='-4' width='536' height='264' fill='white'/>\n");
    DrawCurve(4);
    std::printf("<g transform='translate(272)'>\n");
    DrawTree(CompleteTree<2>(CellsOnCircle(5), true, false));
    std::printf("</g>\n</svg>\n");
    return FinishStandardOutput();
}
