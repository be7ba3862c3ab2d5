// The tracer: a mesh with words of 64 bits, and straightest lines over it.

#include <Sorvane/MeshImprint_E.h>

#include "imprint/MeshImprint_Impl.h"
#include "imprint/StraightestPath_Impl.h"
#include "mathbase/Progress_Impl.h"

#include "mathbase/Values_Impl.h"

namespace Velk::Math::Sorvane::Mesh {

namespace {

using Traceable = Impl::ImprintableMesh<unsigned long long>;

} // namespace

MeshTracer::MeshTracer(const IndexedPointsBase<3, double>& mesh, double tolerance)
    : MeshTracer(mesh, {}, tolerance)
{
}

MeshTracer::MeshTracer(const IndexedPointsBase<3, double>& mesh,
                       const std::vector<unsigned long long>& tags, double tolerance)
    : mesh_(Impl::TakenIn(mesh, tags, tolerance)), tolerance_(tolerance)
{
}

MeshTracer::~MeshTracer() = default;

std::vector<VecBase<3, double>> MeshTracer::CollectPath(const VecBase<3, double>& start,
                                                        const VecBase<3, double>& direction,
                                                        double length)
{
    return Progress::Impl::Stoppable([&]() -> std::vector<Vec3d> {
        std::vector<Vec3d> line;
        if (!(length >= 0) || !Velk::Math::Impl::IsFinite(length)) {
            return line;
        }
        mesh_->BuildSearchTree();
        Vec3d point = start;
        const Impl::MeshLocation place = mesh_->Locate(point, tolerance_, 0);
        line.push_back(point);

        Impl::StraightestPath<Traceable> path(*mesh_, tolerance_ / 2, tolerance_ / 2);
        const bool leads = place.IsOnNode()   ? path.StartAtNode(place.node, place.facet, direction)
                           : place.IsOnEdge() ? path.StartOnEdge(place.edge, point, direction)
                           : place.IsInFacet() ? path.StartInFace(place.facet, point, direction)
                                               : false;
        if (leads) {
            path.Walk(length, Impl::kMostStraightestPoints, line);
        }
        return line;
    });
}

bool MeshTracer::ImprintPath(std::vector<VecBase<3, double>>& path, bool closed, bool collect)
{
    return Progress::Impl::Stoppable(
        [&]() -> bool { return Impl::ImprintPath(*mesh_, path, closed, collect); },
        [&] { return false; });
}

bool MeshTracer::Export(IndexedPointsBase<3, double>& mesh) const
{
    std::vector<unsigned long long> flags;
    return Export(mesh, flags);
}

bool MeshTracer::Export(IndexedPointsBase<3, double>& mesh,
                        std::vector<unsigned long long>& flags) const
{
    return Progress::Impl::Stoppable(
        [&]() -> bool {
            Impl::ExportFacets(*mesh_, mesh, flags);
            return true;
        },
        [&] {
            mesh = {};
            flags.clear();
            return false;
        });
}

} // namespace Velk::Math::Sorvane::Mesh
