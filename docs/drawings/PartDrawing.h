// How the example programs draw a part: one view and one look for all of them.
#pragma once

#include "PartMeasures.h"
#include "PictureOutput.h"

#include <Sorvane/IndexedMesh_E.h>
#include <Sorvane/MeshQueries_E.h>
#include <Sorvane/SvgWriter_E.h>
#include <Velk/Math/VecBase_E.h>

#include <algorithm>
#include <cstddef>
#include <string>
#include <vector>

namespace PartDrawing {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;
using Drawing::SvgMeshMarks;
using Drawing::SvgStyle;
using Drawing::SvgView;
using Drawing::SvgWriter;
using Part = Mesh::IndexedPointsBase<3, double>;

inline constexpr double kPictureSize = 640;

/// From the right, the front and above.
inline const SvgView kView{{1, 2, 1.5}, {0, 0, 1}};

/// Triangles without edges: their strokes have the color of their fill and cover the seams.
inline SvgStyle FacetStyle() { return {"#f0f0f0", "#f0f0f0", 0.5}; }
/// Triangles with edges.
inline SvgStyle WireStyle() { return {"#3b4252", "#fafaff", 0.35}; }

/// The edges that turn by more than `angle` as lines of `style`; edges without a neighbor too.
inline void MarkCreases(const Part& part, double angle, int style, SvgMeshMarks& marks)
{
    const std::vector<double> creases = Mesh::CreaseAngles(part, false);
    for (std::size_t i = 0; i < creases.size(); ++i) {
        if (creases[i] > angle) {
            const std::size_t next = i % 3 == 2 ? i - 2 : i + 1;
            marks.lines.push_back(
                {static_cast<int>(i / 3), CornerOf(part, i), CornerOf(part, next), style});
        }
    }
}

/// The view in which `part` lies to the right of where `kView` shows it, with a gap.
inline SvgView ViewBeside(const Part& part)
{
    double low = 0;
    double high = 0;
    bool isFirst = true;
    for (const Vec3d& point : part.points) {
        const double x = SvgWriter::Projected(point, kView).x();
        low = isFirst ? x : std::min(low, x);
        high = isFirst ? x : std::max(high, x);
        isFirst = false;
    }
    constexpr double kGap = 1.04;
    SvgView view = kView;
    view.shift = {kGap * (high - low), 0};
    return view;
}

/// A part with its triangles before and after, side by side.
inline bool WriteComparison(const Part& before, const Part& after, const std::string& path)
{
    SvgWriter picture(2 * kPictureSize);
    picture.AddMesh(before, kView, WireStyle());
    picture.AddMesh(after, ViewBeside(before), WireStyle());
    return SavePicture(picture, path);
}

} // namespace PartDrawing
