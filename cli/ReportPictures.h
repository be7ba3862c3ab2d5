// The findings of a mesh report to look at: as a picture (SVG) and as a mesh (STL).
#pragma once

#include <Sorvane/IndexedMesh_E.h>
#include <Sorvane/SvgWriter_E.h>

#include <array>
#include <string>
#include <utility>
#include <vector>

/// What is wrong with a part, by triangles and by edges of `mesh`.
struct Findings {
    using Edge = std::pair<int, int>; // numbers of points

    Velk::Math::Sorvane::Mesh::IndexedPointsBase<3, double> mesh;
    std::vector<int> turned;
    std::vector<int> folded;
    std::vector<int> slivers;
    std::vector<Edge> boundaryEdges;
    std::vector<Edge> crowdedEdges;

    const Velk::Math::Vec3d& Point(int number) const
    {
        return mesh.points[static_cast<std::size_t>(number)];
    }
    const int* Corners(int triangle) const
    {
        return &mesh.indices[3 * static_cast<std::size_t>(triangle)];
    }

    /// Low and high corner of the box round all finite points.
    std::array<Velk::Math::Vec3d, 2> Box() const;
};

/// The part seen from the front right and above, with its faults in colors on top.
Velk::Math::Sorvane::Drawing::SvgWriter PictureOf(const Findings& findings,
                                                  const std::string& title);

/// The triangles with faults, and the edges with faults, and slivers, as thin rods. Empty without
/// faults.
Velk::Math::Sorvane::Mesh::IndexedPointsBase<3, double> FaultMesh(const Findings& findings);
