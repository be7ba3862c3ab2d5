// Stars of three triangles taken out of an indexed mesh, by the angles between their normals.

#include <Sorvane/MeshQueries_E.h>
#include <Sorvane/Remesh_E.h>
#include <Velk/Math/Vector_E.h>

#include "mathbase/Progress_Impl.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>

namespace Velk::Math::Sorvane::Mesh {
namespace {

using IndexedMesh = IndexedPointsBase<3, double>;

constexpr int kPasses = 10;
/// What stands for the corners of a triangle that is gone, until the end of a pass.
constexpr int kGone = -1;

/// The corners of one triangle in the list of all.
std::array<int*, 3> CornersOf(IndexedMesh& mesh, int triangle)
{
    int* first = &mesh.indices[3 * static_cast<std::size_t>(triangle)];
    return {first, first + 1, first + 2};
}

/// Unit normal, against the side from which the corners run counter-clockwise; zero for no area.
Vec3d NormalOf(const IndexedMesh& mesh, int a, int b, int c)
{
    const auto at = [&](int point) { return mesh.points[static_cast<std::size_t>(point)]; };
    const Vec3d origin = at(a);
    return Normalized(((at(c) - origin) ^ (at(b) - origin)) / 2.0, kLengthFloor<double>);
}

/// Is there a triangle with these three corners, which way round soever?
///
/// It is in the list of each of its corners, or, when it has taken the place of a star in this
/// pass, of at least two of them: the longest list, which may be that of a hub, is not looked at.
bool HasTriangle(IndexedMesh& mesh, const std::vector<std::vector<int>>& facets,
                 std::array<int, 3> corners)
{
    const auto listOf = [&](int point) -> const std::vector<int>& {
        return facets[static_cast<std::size_t>(point)];
    };
    std::array<int, 3> byLength = corners;
    std::sort(byLength.begin(), byLength.end(),
              [&](int a, int b) { return listOf(a).size() < listOf(b).size(); });
    std::sort(corners.begin(), corners.end());
    for (std::size_t i = 0; i < 2; ++i) {
        for (const int facet : listOf(byLength[i])) {
            const auto [a, b, c] = CornersOf(mesh, facet);
            std::array<int, 3> other{*a, *b, *c};
            std::sort(other.begin(), other.end());
            if (other == corners) {
                return true;
            }
        }
    }
    return false;
}

/// Replaces the three triangles of a point by one, if they are flat enough.
bool ReplaceStar(IndexedMesh& mesh, int point, const std::vector<std::vector<int>>& facetsOf,
                 double angle)
{
    const std::vector<int>& facets = facetsOf[static_cast<std::size_t>(point)];
    std::array<int, 9> corners;
    std::array<Vec3d, 3> normals;
    for (std::size_t i = 0; i < 3; ++i) {
        const auto [a, b, c] = CornersOf(mesh, facets[i]);
        if (*a < 0 || *b < 0 || *c < 0) {
            return false; // changed in this pass
        }
        corners[3 * i] = *a;
        corners[3 * i + 1] = *b;
        corners[3 * i + 2] = *c;
    }
    for (std::size_t i = 0; i < 3; ++i) {
        normals[i] = NormalOf(mesh, corners[3 * i], corners[3 * i + 1], corners[3 * i + 2]);
    }
    for (std::size_t i = 0; i < 3; ++i) {
        const double turn =
            Vector::AngleBetween(normals[i], normals[(i + 1) % 3], kLengthFloor<double>);
        if (!(turn <= angle)) {
            return false;
        }
    }
    // The others in ascending order. On a boundary there may be four of them: the lowest three
    // count.
    std::sort(corners.begin(), corners.end());
    auto last = std::unique(corners.begin(), corners.end());
    last = std::remove(corners.begin(), last, point);
    if (last - corners.begin() < 3 ||
        HasTriangle(mesh, facetsOf, {corners[0], corners[1], corners[2]})) {
        return false;
    }
    const auto [a, b, c] = CornersOf(mesh, facets[0]);
    *a = corners[0];
    *b = corners[1];
    *c = corners[2];
    if (NormalOf(mesh, *a, *b, *c) * normals[0] < 0.0) {
        std::swap(*b, *c);
    }
    for (std::size_t i = 1; i < 3; ++i) {
        for (int* corner : CornersOf(mesh, facets[i])) {
            *corner = kGone;
        }
    }
    return true;
}

} // namespace

bool RemoveTriangleStars(const IndexedPointsBase<3, double>& mesh,
                         IndexedPointsBase<3, double>& out, double maxAngle)
{
    return Progress::Impl::Stoppable(
        [&]() -> bool {
            if (&out != &mesh) {
                out = mesh;
            }
            const auto isPoint = [&](int index) {
                return index >= 0 && static_cast<std::size_t>(index) < out.points.size();
            };
            if (IsEmpty(out) || !std::all_of(out.indices.begin(), out.indices.end(), isPoint)) {
                return false;
            }
            const double angle = maxAngle * kRadiansPerDegree;
            bool hasChanged = false;
            for (int pass = 0; pass < kPasses; ++pass) {
                const std::vector<std::vector<int>> facets = NodeFacets(out);
                bool isChanging = false;
                for (std::size_t point = 0; point < facets.size(); ++point) {
                    if (facets[point].size() == 3) {
                        isChanging =
                            ReplaceStar(out, static_cast<int>(point), facets, angle) || isChanging;
                    }
                }
                if (!isChanging) {
                    break;
                }
                hasChanged = true;
                std::erase(out.indices, kGone);
            }
            if (hasChanged) {
                FilterForUniqueness(out, kLengthFloor<double>);
            }
            return hasChanged;
        },
        [&] {
            out = {};
            return false;
        });
}

} // namespace Velk::Math::Sorvane::Mesh
