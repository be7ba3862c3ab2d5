// How the command draws meshes.

#include "Drawing.h"

#include <Sorvane/MeshQueries_E.h>
#include <Velk/Math/Vector_E.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <vector>

namespace Cli {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;
using Drawing::SvgMeshMarks;
using Drawing::SvgStyle;
using Drawing::SvgView;
using Drawing::SvgWriter;

SvgStyle FacetStyle() { return {"#f0f0f0", "#f0f0f0", 0.5}; }
SvgStyle WireStyle() { return {"#3b4252", "#fafaff", 0.35}; }

void MarkCreases(const Part& part, double angle, int style, SvgMeshMarks& marks)
{
    const std::vector<double> creases = Mesh::CreaseAngles(part, false);
    const auto corner = [&](std::size_t place) {
        return part.points[static_cast<std::size_t>(part.indices[place])];
    };
    for (std::size_t i = 0; i < creases.size(); ++i) {
        if (creases[i] > angle) {
            const std::size_t next = i % 3 == 2 ? i - 2 : i + 1;
            marks.lines.push_back({static_cast<int>(i / 3), corner(i), corner(next), style});
        }
    }
}

SvgView ViewBeside(const Part& part)
{
    double low = 0;
    double high = 0;
    bool isFirst = true;
    for (const Vec3d& point : part.points) {
        const double x = SvgWriter::Projected(point, kView).x();
        if (!std::isfinite(x)) {
            continue;
        }
        low = isFirst ? x : std::min(low, x);
        high = isFirst ? x : std::max(high, x);
        isFirst = false;
    }
    constexpr double kGap = 1.04;
    SvgView view = kView;
    view.shift = {kGap * (high - low), 0};
    return view;
}

void AddPlainPart(const Part& part, SvgWriter& picture)
{
    SvgMeshMarks marks;
    marks.styles = {{"#3b4252", "none", 1}};
    MarkCreases(part, std::numbers::pi / 6, 0, marks);
    picture.AddMesh(part, kView, FacetStyle(), marks);
}

SvgWriter ComparisonOf(const Part& before, const Part& after)
{
    SvgWriter picture(2 * kPictureSize);
    picture.AddMesh(before, kView, WireStyle());
    picture.AddMesh(after, ViewBeside(before), WireStyle());
    return picture;
}

} // namespace Cli
