// Draws the Z-order curve through the cells of a quadtree as SVG, with the cells of a disc's
// outline: a complete tree whose leaves get small along the circle.
//
//   z_curve > z-curve.svg

#include "PictureOutput.h"

#include <Sorvane/MortonCurve_E.h>
#include <Sorvane/SvgWriter_E.h>
#include <Sorvane/TreeAddress_E.h>

#include <algorithm>
#include <cmath>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Sorvane::Tree;

/// The curve visits cells in the order of their codes.
std::vector<Vec2d> Curve(unsigned int depth)
{
    const double half = std::ldexp(0.5, -static_cast<int>(depth));
    std::vector<Vec2d> middles;
    for (const Vec2d& corner : MortonCurve::Decode2D(MortonCurve::CodeGridAtDepth2D(depth), -1)) {
        middles.push_back(corner + Vec2d(half, half));
    }
    return middles;
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

/// The leaves of the tree as squares, moved by `shift`.
std::vector<std::vector<Vec2d>> Leaves(const std::vector<QOFAddress<2>>& tree, const Vec2d& shift)
{
    std::vector<std::vector<Vec2d>> squares;
    for (const QOFAddress<2>& cell : tree) {
        if (std::binary_search(tree.begin(), tree.end(),
                               QOFAddress<2>{cell.depth + 1, cell.path << 2})) {
            continue; // divided
        }
        const Vec2d low = cell.UnitSpacePoint(cell.depth) + shift;
        const double edge = std::ldexp(1.0, -static_cast<int>(cell.depth));
        squares.push_back(
            {low, low + Vec2d(edge, 0), low + Vec2d(edge, edge), low + Vec2d(0, edge)});
    }
    return squares;
}

} // namespace

int main()
{
    Sorvane::Drawing::SvgWriter picture(528);
    picture.AddPolyline(Curve(4), {"#2060a0", "none", 1.5});
    picture.AddRegion(Leaves(CompleteTree<2>(CellsOnCircle(5), true, false), {1.0625, 0}),
                      {"#a04020", "none", 1});
    return PrintPicture(picture);
}
