// How the command draws meshes: one view and one look for all pictures.
#pragma once

#include "Session.h"

#include <Sorvane/SvgWriter_E.h>

#include <cstddef>

namespace Cli {

inline constexpr double kPictureSize = 640;

/// From the right, the front and above.
inline const Velk::Math::Sorvane::Drawing::SvgView kView{{1, 2, 1.5}, {0, 0, 1}};

/// Triangles without edges: their strokes have the color of their fill and cover the seams.
Velk::Math::Sorvane::Drawing::SvgStyle FacetStyle();
/// Triangles with edges.
Velk::Math::Sorvane::Drawing::SvgStyle WireStyle();

/// The edges that turn by more than `angle` radians as lines of the style with that number; edges
/// without a neighbor too.
void MarkCreases(const Part& part, double angle, int style,
                 Velk::Math::Sorvane::Drawing::SvgMeshMarks& marks);

/// The view in which something lies to the right of where `kView` shows `part`, with a gap.
Velk::Math::Sorvane::Drawing::SvgView ViewBeside(const Part& part);

/// A part in gray with its creases drawn.
void AddPlainPart(const Part& part, Velk::Math::Sorvane::Drawing::SvgWriter& picture);

/// The triangles of a part before and after, side by side.
Velk::Math::Sorvane::Drawing::SvgWriter ComparisonOf(const Part& before, const Part& after);

} // namespace Cli
