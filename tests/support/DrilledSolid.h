// The exact bores of the solids of the shared data, and the holes that are found on their meshes.
#pragma once

#include "tests/support/JsonText.h"

#include <Sorvane/IndexedMesh_E.h>
#include <Sorvane/MeshFeatures_E.h>
#include <Sorvane/MeshFiles_E.h>
#include <Velk/Math/Tolerances_E.h>
#include <Velk/Math/VecBase_E.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace Support {

/// The settings of all tables: radians, millimeters, part of a circle, radians.
inline constexpr double kCreaseAngle = 0.4;
inline constexpr double kFitTolerance = 0.02;
inline constexpr double kFraction = 0.8;
inline constexpr double kAxisTolerance = 0.02;

/// A full turn of concave cylinder faces of one radius and length on one axis.
struct ExactBore {
    double radius = 0;
    Velk::Math::Vec3d point; ///< of the axis, anywhere along it
    Velk::Math::Vec3d axis;  ///< unit
    double length = 0;
};

inline double DistanceFromAxis(const ExactBore& bore, const Velk::Math::Vec3d& point)
{
    const Velk::Math::Vec3d offset = point - bore.point;
    return Length(offset - (offset * bore.axis) * bore.axis);
}

/// The bores of the solid whose exact faces are in the file.
///
/// The file gives a point of each face's axis and the face's length, not where along the axis the
/// face lies. The faces of one bore have the same point.
inline std::vector<ExactBore> ReadExactBores(const std::filesystem::path& path)
{
    std::ifstream file(path);
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    const JsonValue facts = JsonReader(text).Value();
    const auto vector = [](const JsonValue& value) {
        return Velk::Math::Vec3d(value[0].number, value[1].number, value[2].number);
    };
    struct Group {
        ExactBore bore;
        double sweep;
    };
    std::vector<Group> groups;
    for (const JsonValue& face : facts["curved_faces"].items) {
        if (face["kind"].text != "cylinder" || face["concave"].number == 0) {
            continue;
        }
        const ExactBore bore{face["radius"].number, vector(face["axis_point"]),
                             Normalized(vector(face["axis_dir"]), 0.0), face["length"].number};
        const double sweep = face["sweep_rad"].number;
        constexpr double kPrinted = 1e-5; // digits of the file
        const auto same = std::find_if(groups.begin(), groups.end(), [&](const Group& group) {
            return std::fabs(group.bore.radius - bore.radius) < kPrinted &&
                   std::fabs(group.bore.length - bore.length) < kPrinted &&
                   Length(group.bore.point - bore.point) < kPrinted &&
                   std::fabs(group.bore.axis * bore.axis) > 1 - kPrinted;
        });
        if (same == groups.end()) {
            groups.push_back({bore, sweep});
        } else {
            same->sweep += sweep;
        }
    }
    std::vector<ExactBore> bores;
    for (const Group& group : groups) {
        if (std::fabs(group.sweep - Velk::Math::kTwoPi<double>) < 1e-3) {
            bores.push_back(group.bore);
        }
    }
    return bores;
}

using HoleMesh = Velk::Math::Sorvane::Mesh::IndexedPointsBase<3, double>;
using Velk::Math::Sorvane::MeshUtils::MeshArc;
using Velk::Math::Sorvane::MeshUtils::MeshHole;

/// The mesh of an STL file with its equal points joined.
inline HoleMesh ReadPartMesh(const std::filesystem::path& path)
{
    namespace Sorvane = Velk::Math::Sorvane;
    HoleMesh mesh;
    if (Sorvane::MeshUtils::ReadMesh(mesh, path)) {
        Sorvane::Mesh::FilterForUniqueness(mesh, 0.0);
    }
    return mesh;
}

inline std::vector<MeshHole> FindHoles(const HoleMesh& mesh)
{
    return Velk::Math::Sorvane::MeshUtils::DetectDrillHoles(mesh, kCreaseAngle, kFitTolerance,
                                                            kFraction, kAxisTolerance);
}

/// Is it a circle of the bore's axis?
inline bool IsOnAxis(const ExactBore& bore, const MeshArc& arc)
{
    return std::fabs(arc.normal * bore.axis) > std::cos(kAxisTolerance) &&
           DistanceFromAxis(bore, arc.center) < 0.05 * bore.radius;
}

/// A tessellated circle lies within the deflection of the exact one.
inline bool HasRadiusOf(const ExactBore& bore, const MeshArc& arc)
{
    return std::fabs(arc.radius - bore.radius) < 0.05;
}

/// Is one end of the hole a circle of the bore?
inline bool IsOnBore(const ExactBore& bore, const MeshHole& hole)
{
    return (IsOnAxis(bore, hole.top) && HasRadiusOf(bore, hole.top)) ||
           (IsOnAxis(bore, hole.bottom) && HasRadiusOf(bore, hole.bottom));
}

inline std::vector<const MeshHole*> HolesOnBore(const ExactBore& bore,
                                                const std::vector<MeshHole>& holes)
{
    std::vector<const MeshHole*> found;
    for (const MeshHole& hole : holes) {
        if (IsOnBore(bore, hole)) {
            found.push_back(&hole);
        }
    }
    return found;
}

/// All arcs on the bore's axis, however short.
inline std::vector<MeshArc> ArcsOnBore(const ExactBore& bore, const HoleMesh& mesh)
{
    auto arcs = Velk::Math::Sorvane::MeshUtils::DetectArcs(mesh, kCreaseAngle, kFitTolerance, 0.01);
    std::erase_if(arcs, [&](const MeshArc& arc) { return !IsOnAxis(bore, arc); });
    return arcs;
}

} // namespace Support
