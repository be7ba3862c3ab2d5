// Arbitrary tools over arbitrary triangles: heights that are numbers, drops on a prepared mesh with
// the bits of single drops, and gouges that agree with them.
//
// Layout of an input: a byte of flags (1 raw tool, 2 raw triangles), the seven fields of the tool,
// then x and y of two positions, then corners of triangles.

#include "fuzz/FuzzInput.h"

#include <Sorvane/ContactSurface_E.h>

#include <cmath>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;

constexpr std::size_t kMostTriangles = 40;

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Fuzz::Input input(data, size);
    const int flags = input.Byte();
    const auto field = [&] { return input.Coordinate((flags & 1) != 0); };
    const Mill::ConvexStandardToolBase<double> record{field(), field(), field(), field(),
                                                      field(), field(), field()};
    const auto coordinate = [&] { return input.Coordinate((flags & 2) != 0); };
    std::vector<Vec2d> positions;
    for (int i = 0; i < 2; ++i) {
        const double x = coordinate();
        positions.push_back({x, coordinate()});
    }
    std::vector<Vec3d> soup;
    while (input.Left() > 0 && soup.size() < 3 * kMostTriangles) {
        for (int i = 0; i < 3; ++i) {
            const double x = coordinate();
            const double y = coordinate();
            soup.push_back({x, y, coordinate()});
        }
    }

    const Mill::ConvexToolContact tool(record);
    const Mill::ContactSurface surface(soup);
    const Mill::SurfaceDrops drops = surface.DropAtPoints(tool, positions, {});
    std::vector<Vec3d> tips;
    for (std::size_t i = 0; i < positions.size(); ++i) {
        const auto report = tool.DropAt(positions[i], soup);
        Fuzz::Require(!std::isnan(report.height) && !std::isnan(drops.heights[i]));
        Fuzz::Require((report.triangle < 0) == (drops.triangles[i] < 0));
        Fuzz::Require((report.triangle < 0) == (report.element < 0));
        (void)tool.DropTo({positions[i].x(), positions[i].y(), report.height}, soup);
        tips.push_back({positions[i].x(), positions[i].y(), drops.heights[i]});
        // To the bit, as long as coordinates have digits beside each other.
        if ((flags & 3) == 0) {
            Fuzz::Require(report.height == drops.heights[i]);
        }
    }
    const auto gouges = surface.FindGouges({{record, 0.0}, {record, 1.0}}, tips, 0.0, {});
    Fuzz::Require(gouges.size() == tips.size());
    for (const Mill::GougeReport& gouge : gouges) {
        Fuzz::Require(!std::isnan(gouge.depth) && gouge.isClear == (gouge.part < 0));
    }
    return 0;
}
