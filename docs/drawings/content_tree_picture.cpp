// Draws a content tree: boxes of many sizes in a loose quadtree, as an SVG.
//
//   content_tree_picture picture.svg
//
// Each box has the color of the level where it sits; the loose cell of one node is dashed.

#include "PictureOutput.h"

#include <Sorvane/ContentNode_E.h>
#include <Sorvane/SvgWriter_E.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;
using Drawing::SvgStyle;
using Drawing::SvgWriter;
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

void DrawBox(SvgWriter& picture, const Vec2d& low, const Vec2d& high, const SvgStyle& style)
{
    picture.AddRegion({{low, {high.x(), low.y()}, high, {low.x(), high.y()}}}, style);
}

void DrawNode(SvgWriter& picture, const Node& node, std::size_t level)
{
    const Vec2d reach(node.halfSize, node.halfSize);
    DrawBox(picture, node.center - reach, node.center + reach, {"#bbb", "none", 1});
    const char* const color = kLevelColors[std::min(level, kLevelColors.size() - 1)];
    for (const Content* box : node.content) {
        DrawBox(picture, box->min, box->max, {color, "none", 1.5});
    }
    for (const std::shared_ptr<Node>& child : node.children) {
        DrawNode(picture, *child, level + 1);
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
    SvgWriter picture(2 * kHalfSize);
    DrawNode(picture, root, 0);
    const Node* leaf = root.GetChild(2);
    const double looseReach = leaf->halfSize * (1 + leaf->slack);
    const SvgStyle loose{"#000", "none", 1.5, true};
    DrawBox(picture, leaf->center - Vec2d(looseReach, looseReach),
            leaf->center + Vec2d(looseReach, looseReach), loose);
    for (std::size_t level = 0; level < kLevelColors.size(); ++level) {
        picture.AddLegend("boxes of level " + std::to_string(level),
                          {kLevelColors[level], "none", 1.5});
    }
    picture.AddLegend("loose cell of a node", loose);
    return SavePicture(picture, argv[1]) ? 0 : 1;
}
