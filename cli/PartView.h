// How the commands draw a part: one view and one look for all of them.
#pragma once

#include <Sorvane/IndexedMesh_E.h>
#include <Sorvane/MeshQueries_E.h>
#include <Sorvane/SvgWriter_E.h>
#include <Velk/Math/VecBase_E.h>

#include <cstddef>
#include <vector>

namespace Cli {

inline constexpr double kPictureSize = 640;

/// From the right, the front and above.
inline const Velk::Math::Sorvane::Drawing::SvgView kPartView{{1, 2, 1.5}, {0, 0, 1}};

/// Triangles without edges: their strokes have the color of their fill and cover the seams.
inline Velk::Math::Sorvane::Drawing::SvgStyle FacetStyle() { return {"#f0f0f0", "#f0f0f0", 0.5}; }

/// The point at a place of the index list.
inline const Velk::Math::Vec3d&
CornerOf(const Velk::Math::Sorvane::Mesh::IndexedPointsBase<3, double>& part, std::size_t place)
{
    return part.points[static_cast<std::size_t>(part.indices[place])];
}

/// The edges that turn by more than `angle` as lines of `style`; edges without a neighbor too.
inline void MarkCreases(const Velk::Math::Sorvane::Mesh::IndexedPointsBase<3, double>& part,
                        double angle, int style,
                        Velk::Math::Sorvane::Drawing::SvgMeshMarks& marks)
{
    const std::vector<double> creases = Velk::Math::Sorvane::Mesh::CreaseAngles(part, false);
    for (std::size_t i = 0; i < creases.size(); ++i) {
        if (creases[i] > angle) {
            const std::size_t next = i % 3 == 2 ? i - 2 : i + 1;
            marks.lines.push_back(
                {static_cast<int>(i / 3), CornerOf(part, i), CornerOf(part, next), style});
        }
    }
}

} // namespace Cli
