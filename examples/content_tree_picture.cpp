// Draws a content tree: boxes of many sizes in a loose quadtree, as an SVG.
//
//   content_tree_picture picture.svg
//
// Each box has the color of the level where it sits; the loose cell of one node is dashed.

#include "TextOutput.h"

#include <Sorvane/ContentNode_E.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;
using Node = Tree::QOFNode<2, double, 0>;
using Content = Tree::QOFTreeContent<2, double, 0>;

constexpr double kHalfSize = 320;
constexpr double kSlack = 0.25;
constexpr unsigned int kCapacity = 6;
constexpr int kBoxCount = 240;
constexpr std::array<const char*, 6> kLevelColors = {"#d22", "#e80", "#2a2",
                                                     "#27c", "#82c", "#555"};

/// Small repeatable numbers in [0, 1).
class Dice {
public:
    double Next()
    {
        state_ = state_ * 6364136223846793005U + 1442695040888963407U;
        return static_cast<double>(state_ >> 40) / static_cast<double>(1 << 24);
    }

private:
    std::uint64_t state_ = 1;
};

// Boxes that crowd toward one corner, most of them small.
std::vector<Content> MakeBoxes()
{
    std::vector<Content> boxes(kBoxCount);
    Dice dice;
    for (Content& box : boxes) {
        const Vec2d center(kHalfSize * (1.9 * dice.Next() * dice.Next() - 0.95),
                           kHalfSize * (1.9 * dice.Next() * dice.Next() - 0.95));
        const double shape = dice.Next() * dice.Next() * dice.Next();
        const Vec2d half(2 + 50 * shape * dice.Next(), 2 + 50 * shape * dice.Next());
        box.min = center - half;
        box.max = center + half;
    }
    return boxes;
}

void DrawBox(std::FILE* svg, const Vec2d& low, const Vec2d& high, const char* style)
{
    std::fprintf(svg, "<rect x='%.1f' y='%.1f' width='%.1f' height='%.1f' %s/>\n", low.x(), low.y(),
                 high.x() - low.x(), high.y() - low.y(), style);
}

void DrawNode(std::FILE* svg, const Node& node, std::size_t level)
{
    const Vec2d reach(node.halfSize, node.halfSize);
    DrawBox(svg, node.center - reach, node.center + reach, "stroke='#bbb'");
    char style[64];
    std::snprintf(style, sizeof style, "stroke='%s' stroke-width='1.5'",
                  kLevelColors[level < kLevelColors.size() ? level : kLevelColors.size() - 1]);
    for (const Content* box : node.content) {
        DrawBox(svg, box->min, box->max, style);
    }
    for (const std::shared_ptr<Node>& child : node.children) {
        DrawNode(svg, *child, level + 1);
    }
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: content_tree_picture picture.svg\n");
        return 2;
    }
    const std::vector<Content> boxes = MakeBoxes();
    Node root(nullptr, {Vec2d(0, 0), kHalfSize, kSlack});
    for (const Content& box : boxes) {
        if (!Node::Insert(root, &box, true, kCapacity)) {
            std::fprintf(stderr, "a box lies outside the tree\n");
            return 1;
        }
    }
    TextOutput svg(argv[1]);
    if (!svg.IsOpen()) {
        return 1;
    }
    std::fprintf(svg.File(), "<svg xmlns='http://www.w3.org/2000/svg' viewBox='-330 -330 660 660' "
                             "fill='none'>\n");
    DrawNode(svg.File(), root, 0);
    const Node* leaf = root.GetChild(2);
    const double looseReach = leaf->halfSize * (1 + leaf->slack);
    DrawBox(svg.File(), leaf->center - Vec2d(looseReach, looseReach),
            leaf->center + Vec2d(looseReach, looseReach),
            "stroke='#000' stroke-width='1.5' stroke-dasharray='6 4'");
    std::fprintf(svg.File(), "</svg>\n");
    return svg.Finish() ? 0 : 1;
}
