// Slices a part into layers and tells the area of each.
//
//   slices PART COUNT
//
// Exit codes: 0 done, 1 not read, 2 wrong use, 3 some outline is open, and areas can't be trusted.

#include "Arguments.h"
#include "PartFiles.h"

#include <Sorvane/MeshSections_E.h>

#include <vector>

using namespace Velk::Math::Sorvane;

int main(int argc, char** argv)
{
    const auto count = argc == 3 ? NumberOf(argv[2]) : std::nullopt;
    if (!count || !(*count >= 1 && *count <= 100'000)) {
        std::fprintf(stderr, "usage: slices PART COUNT\n");
        return 2;
    }
    constexpr double kWeld = 1e-6;
    Part part;
    if (!ReadWeldedPart(part, argv[1], kWeld)) {
        return 1;
    }
    // Prepared once; every stack of planes after that costs what its outlines cost.
    const Mesh::PlaneSlicer slicer(part, {0, 0, 1});
    const auto [low, high] = slicer.HeightRange();
    const int layers = static_cast<int>(*count);
    const double thickness = (high - low) / layers;
    std::vector<double> heights;
    for (int i = 0; i < layers; ++i) {
        heights.push_back(low + (i + 0.5) * thickness);
    }
    double volume = 0;
    std::size_t open = 0;
    for (const auto& layer : slicer.Sections(heights, {Mesh::SectionSide::Above, kWeld})) {
        std::printf("height %.9g: %zu outlines, area %.9g\n", layer.height, layer.loops.size(),
                    layer.area);
        volume += layer.area * thickness;
        open += layer.chains.size();
    }
    std::printf("%d layers, volume %.9g, %zu outlines open\n", layers, volume, open);
    return open == 0 ? 0 : 3;
}
