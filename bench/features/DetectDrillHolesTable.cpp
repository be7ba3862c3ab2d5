// Which holes of parts `DetectDrillHoles` and `DrillHoleStacks` find, against the exact cylinders
// of the solids behind the meshes: the tables of docs/drill-holes.md.
//
//   detect_drill_holes_table PART.stl ...       reads PART.expected.json beside each
//
// One row for each bore: a full turn of concave cylinder faces of one radius and length on one
// axis. All texts but the names of the parts come from what is found.

#include "tests/support/DrilledSolid.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane::MeshUtils;
using namespace Support;

/// Lengths that differ by less are the same: the tolerance of the circles.
constexpr double kSame = kFitTolerance;

std::string Number(double value)
{
    char text[32];
    std::snprintf(text, sizeof text, "%.7g", std::round(value * 1000) / 1000 + 0.0);
    return text;
}

std::string DiameterOf(double first, double second)
{
    return std::fabs(first - second) < kSame ? Number(2 * first)
                                             : Number(2 * first) + " to " + Number(2 * second);
}

std::string TextOf(const MeshHole& hole)
{
    return DiameterOf(hole.top.radius, hole.bottom.radius) + " x " + Number(hole.depth);
}

bool IsWhole(const ExactBore& bore, const MeshHole& hole)
{
    return HasRadiusOf(bore, hole.top) && HasRadiusOf(bore, hole.bottom) &&
           std::fabs(hole.depth - bore.length) < kSame;
}

/// The step of a stack that is this bore, as text; a bore of several on the axis is not taken
/// twice.
std::string StepOf(const ExactBore& bore, const std::vector<DrillHoleStack>& stacks,
                   std::set<std::pair<std::size_t, std::size_t>>& taken)
{
    for (std::size_t s = 0; s < stacks.size(); ++s) {
        const DrillHoleStack& stack = stacks[s];
        for (std::size_t k = 0; k < stack.steps.size(); ++k) {
            const HoleStep& step = stack.steps[k];
            if (step.isCone || std::fabs(step.diameter / 2 - bore.radius) > kSame ||
                std::fabs(step.to - step.from - bore.length) > kSame ||
                DistanceFromAxis(bore, stack.entry) > kSame || !taken.insert({s, k}).second) {
                continue;
            }
            std::string text = Number(step.diameter) + ", " + Number(step.from) + " to " +
                               Number(step.to) + " deep";
            if (stack.steps.size() > 1) {
                text +=
                    ", step " + std::to_string(k + 1) + " of " + std::to_string(stack.steps.size());
            }
            const bool isLast = k + 1 == stack.steps.size();
            text += !isLast                         ? ""
                    : stack.end == HoleEnd::Through ? ", through"
                    : stack.end == HoleEnd::Flat    ? ", flat floor"
                                                    : ", point at " + Number(stack.tipDepth);
            return text;
        }
    }
    return "-";
}

std::string VerdictOf(const ExactBore& bore, const HoleMesh& mesh,
                      const std::vector<const MeshHole*>& holes)
{
    if (std::any_of(holes.begin(), holes.end(),
                    [&](const MeshHole* hole) { return IsWhole(bore, *hole); })) {
        return "found";
    }
    if (!holes.empty()) {
        return "told together with the next step";
    }
    const auto arcs = ArcsOnBore(bore, mesh);
    const auto own = std::count_if(arcs.begin(), arcs.end(),
                                   [&](const MeshArc& arc) { return HasRadiusOf(bore, arc); });
    if (own < 2) {
        return "missed: " + std::to_string(own) +
               " circle of this diameter on the axis, the other end has no sharp edge";
    }
    return "missed: no wall between its circles";
}

/// Prints the table of one part; false when it can't be read.
bool PrintPart(const std::filesystem::path& file)
{
    std::filesystem::path facts = file;
    facts.replace_extension(".expected.json");
    const HoleMesh mesh = ReadPartMesh(file);
    if (mesh.points.empty() || !std::filesystem::exists(facts)) {
        std::fprintf(stderr, "%s: can't be read, or has no .expected.json beside it\n",
                     file.string().c_str());
        return false;
    }
    const std::vector<ExactBore> bores = ReadExactBores(facts);
    const std::vector<MeshHole> holes = FindHoles(mesh);
    const std::vector<DrillHoleStack> stacks =
        DrillHoleStacks(mesh, kCreaseAngle, kFitTolerance, kFraction, kAxisTolerance);

    std::printf("### %s\n\n", file.stem().string().c_str());
    std::printf("%zu triangles. Exact bores: %zu. `DetectDrillHoles`: %zu. `DrillHoleStacks`: "
                "%zu.\n\n",
                mesh.indices.size() / 3, bores.size(), holes.size(), stacks.size());
    std::printf("| bore: diameter x length | on the axis | `DetectDrillHoles`, diameter x depth | "
                "verdict | step of `DrillHoleStacks` |\n|---|---|---|---|---|\n");
    std::set<std::pair<std::size_t, std::size_t>> taken;
    std::set<const MeshHole*> shown;
    for (const ExactBore& bore : bores) {
        const auto own = HolesOnBore(bore, holes);
        std::string text;
        for (const MeshHole* hole : own) {
            // Where two bores of one diameter share an axis each is shown once.
            if (IsWhole(bore, *hole) && !shown.insert(hole).second) {
                continue;
            }
            if (IsWhole(bore, *hole) && !text.empty() && text.find(" to ") == std::string::npos) {
                shown.erase(hole);
                continue;
            }
            text += (text.empty() ? "" : "; ") + TextOf(*hole);
        }
        std::printf("| %s x %s | (%s, %s, %s) along (%s, %s, %s) | %s | %s | %s |\n",
                    Number(2 * bore.radius).c_str(), Number(bore.length).c_str(),
                    Number(bore.point.x()).c_str(), Number(bore.point.y()).c_str(),
                    Number(bore.point.z()).c_str(), Number(bore.axis.x()).c_str(),
                    Number(bore.axis.y()).c_str(), Number(bore.axis.z()).c_str(),
                    text.empty() ? "-" : text.c_str(), VerdictOf(bore, mesh, own).c_str(),
                    StepOf(bore, stacks, taken).c_str());
    }
    const auto strangers = std::count_if(holes.begin(), holes.end(), [&](const MeshHole& hole) {
        return std::none_of(bores.begin(), bores.end(),
                            [&](const ExactBore& bore) { return IsOnBore(bore, hole); });
    });
    std::printf("\nHoles of `DetectDrillHoles` with neither end on a bore: %td.\n\n",
                static_cast<std::ptrdiff_t>(strangers));
    return true;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc < 2) {
        std::fprintf(stderr, "usage: detect_drill_holes_table PART.stl ...\n");
        return 2;
    }
    bool isDone = true;
    for (int i = 1; i < argc; ++i) {
        isDone = PrintPart(argv[i]) && isDone;
    }
    return isDone ? 0 : 1;
}
