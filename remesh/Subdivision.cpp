// Smooth subdivision and the splitting of long edges, from indexed mesh to indexed mesh.

#include <Sorvane/Subdivision_E.h>

#include <Sorvane/SubdivisionMesh_E.h>
#include <Velk/Math/Tolerances_E.h>
#include <Velk/Math/Vector_E.h>

#include "mathbase/Progress_Impl.h"
#include "remesh/SubdivisionCount_Impl.h"
#include "remesh/SubdivisionLoop_Impl.h"
#include "remesh/SubdivisionSqrt3_Impl.h"

#include <cstddef>
#include <utility>
#include <vector>

namespace Velk::Math::Sorvane::Mesh {
namespace {

using Points = IndexedPointsBase<3, double>;
using HalfEdge::Impl::SubdivisionMesh;

void Clear(Points& mesh)
{
    mesh.points.clear();
    mesh.indices.clear();
}

// An output that is the input as well is read before it is replaced. False when there is nothing to
// do.
bool Begin(const Points& mesh, Points& out)
{
    if (&out != &mesh) {
        Clear(out);
    }
    if (IsEmpty(mesh)) {
        Clear(out);
        return false;
    }
    return true;
}

void Weld(Points& mesh)
{
    const std::vector<int> survivors =
        Vector::FilterForUniquenessAndIndex(mesh.points, kLengthFloor<double>);
    for (int& index : mesh.indices) {
        index = survivors[static_cast<std::size_t>(index)];
    }
}

// What can't be numbered is known at once, where every edge is going to be split.
void RequireLoopSubscripts(const SubdivisionMesh& mesh, unsigned iterations)
{
    for (int e = 0; e < mesh.EdgeCount(); e += 2) {
        const auto diamond = mesh.Diamond(e);
        if (diamond[2] == diamond[3]) {
            return;
        }
    }
    HalfEdge::Impl::RequireLoopSubscripts(mesh.Edges().size() / 2, mesh.Faces().size(), iterations);
}

} // namespace

void SubdivideMesh(const Points& mesh, Points& out, double featureAngle, unsigned iterations,
                   SubdivisionMethod method)
{
    Progress::Impl::Stoppable(
        [&] {
            if (!Begin(mesh, out)) {
                return;
            }
            const bool isSqrt3 = method == SubdivisionMethod::Sqrt3;
            const unsigned steps = isSqrt3 || method == SubdivisionMethod::Loop ? iterations : 0;
            const auto onArrays =
                isSqrt3 && steps > 0 ? HalfEdge::Impl::Sqrt3OnArrays : HalfEdge::Impl::LoopOnArrays;
            if (Points fine; onArrays(mesh, featureAngle, steps, fine)) {
                Weld(fine);
                out = std::move(fine);
                return;
            }
            SubdivisionMesh work(mesh);
            work.DetectFeatures(featureAngle);
            if (isSqrt3) {
                HalfEdge::Impl::RequireGrownSubscripts(3 * work.Faces().size(), 3, steps);
            } else {
                RequireLoopSubscripts(work, steps);
            }
            // A step that changed nothing is the last: so would be all that follow.
            bool hasChanged = true;
            for (unsigned i = 0; i < steps && hasChanged; ++i) {
                hasChanged = isSqrt3 ? work.Sqrt3Step(i) : work.LoopStep();
            }
            work.ExportIndexedPoints(out, kLengthFloor<double>);
        },
        [&] { Clear(out); });
}

void SplitLongMeshEdges(const Points& mesh, Points& out, double length, bool atMiddle,
                        unsigned iterations)
{
    Progress::Impl::Stoppable(
        [&] {
            if (!Begin(mesh, out)) {
                return;
            }
            SubdivisionMesh work(mesh);
            for (unsigned i = 0; i < iterations && work.SplitPass(length, atMiddle); ++i) {
            }
            work.ExportIndexedPoints(out, kLengthFloor<double>);
        },
        [&] { Clear(out); });
}

} // namespace Velk::Math::Sorvane::Mesh
