// The surface of a grid of signed distances.
#pragma once

#include "Handles.h"

#include <Sorvane/VolumetricData_E.h>

namespace SorvaneC {

/// The surface where the values change their sign, by dual contouring: node (x, y, z) lies at
/// origin + (x, y, z) * spacing. Triangles face to where the values are not negative. Open at the
/// outermost nodes.
MeshData SurfaceOfVolume(const Velk::Math::Sorvane::IsoSurface::VolumetricData<
                             Velk::Math::Sorvane::IsoSurface::OrientedSample>& volume,
                         const Velk::Math::Vec3d& origin, const Velk::Math::Vec3d& spacing);

} // namespace SorvaneC
