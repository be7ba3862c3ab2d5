// Remeshing by curvature: a uniform stage first, then the passes of AnisotropicRemesher_E.h on its
// result.

#include <Sorvane/AnisotropicRemesher_E.h>
#include <Sorvane/Curvature_E.h>
#include <Sorvane/Remesh_E.h>

#include "mathbase/Parallel_Impl.h"
#include "mathbase/Progress_Impl.h"
#include "remesh/FeatureMarks_Impl.h"
#include "remesh/SourceSurface_Impl.h"
#include "remesh/TaggedMesh_Impl.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace Velk::Math::Sorvane::Mesh {
namespace {

using Tags = std::vector<unsigned char>;

/// Bounds of an edge's length as factors of the length asked for.
constexpr double kMinFactor = 0.25;
constexpr double kMaxFactor = 5.0;
/// A curvature above this is that of noise, and no measure for the others.
constexpr double kLargestCurvature = 10000.0;

using PlainRemesher =
    HalfEdge::AnisotropicRemesher<HalfEdge::Records::CurvatureVertex,
                                  HalfEdge::Records::CurvatureEdge, HalfEdge::Records::TaggedFace>;

class Remesher final : public HalfEdge::Impl::FeatureMarked<PlainRemesher> {
public:
    Remesher(const IndexedPointsBase<3, double>& mesh, const Tags& tags, double angle,
             double tolerance, double exponent, bool keepsBoundary)
        : source_(mesh.points, mesh.indices), curvatureExponent_(exponent)
    {
        maxNormalAngle = angle;
        chordTolerance = tolerance;
        keepBoundary = keepsBoundary;
        HalfEdge::Impl::LoadTagged(*this, mesh, tags);
        DetectFeatures<3>(angle * kRadiansPerDegree);
        MarkCorners();
        ComputeNodeCurvatures();
    }

    bool ProjectNodes(bool enable) override
    {
        if (enable) {
            HalfEdge::Impl::ProjectNodesOnto(source_, *this, targetLength);
        }
        return enable;
    }

private:
    // Where more than two feature edges meet there is a corner. Each task writes the mark of its
    // own node and reads those of edges, never those of nodes.
    void MarkCorners()
    {
        Parallel::Impl::ApplyParallelChunks(0, NodeCount(), [&](int from, int to) {
            for (int n = from; n < to; ++n) {
                int featureEdges = 0;
                VisitNodeEdges(n, [&](int e) { featureEdges += IsEdgeLocked(e) ? 1 : 0; });
                if (featureEdges > 2) {
                    SetNodeFeature(n, true);
                }
            }
        });
    }

    void ComputeNodeCurvatures()
    {
        Parallel::Impl::ApplyParallelChunks(0, NodeCount(), [&](int from, int to) {
            std::vector<Vec3d> ring;
            for (int n = from; n < to; ++n) {
                if (IsValidNode(n)) {
                    // At a boundary as well: the ring is taken for closed, and what comes of it is
                    // replaced below.
                    RingPoints(n, ring);
                    NodeAt(n).maxk = std::fabs(MeshUtils::DiscreteCurvaturesAtNode(
                                                   NodeAt(n).position, ring, kLengthFloor<double>)
                                                   .maxCurvature);
                }
            }
        });
        TakeCurvatureAtFeatures();
        if (curvatureExponent_ != 1.0) {
            ScaleCurvatures();
        }
    }

    // Across a feature curvature means nothing: a locked node takes the mean of its neighbors that
    // are not, of those before it as they are by then. Without such neighbors it keeps its own.
    void TakeCurvatureAtFeatures()
    {
        for (int n = 0; n < NodeCount(); ++n) {
            if (!IsValidNode(n) || !IsNodeLocked(n)) {
                continue;
            }
            double sum = 0.0;
            int count = 0;
            VisitNodeNodes(n, [&](int neighbor) {
                if (!IsNodeLocked(neighbor)) {
                    sum += NodeAt(neighbor).maxk;
                    ++count;
                }
            });
            if (count > 0) {
                NodeAt(n).maxk = sum / count;
            }
        }
    }

    void ScaleCurvatures()
    {
        double greatest = 0.0;
        for (int n = 0; n < NodeCount(); ++n) {
            if (IsValidNode(n) && NodeAt(n).maxk > greatest) {
                greatest = NodeAt(n).maxk;
            }
        }
        greatest = std::min(greatest, kLargestCurvature);
        for (int n = 0; n < NodeCount(); ++n) {
            if (IsValidNode(n)) {
                // On a plane 0 / 0: NaN, which leaves every length as it is.
                NodeAt(n).maxk = std::pow(NodeAt(n).maxk / greatest, curvatureExponent_) * greatest;
            }
        }
    }

    HalfEdge::Impl::SourceSurface source_;
    double curvatureExponent_;
};

} // namespace

unsigned AnisotropicRemesh(const IndexedPointsBase<3, double>& mesh, const Tags& tags,
                           IndexedPointsBase<3, double>& out, Tags& outTags, double maxNormalAngle,
                           double length, double curvatureExponent, double chordTolerance,
                           unsigned iterations, bool keepBoundary)
{
    if (IsEmpty(mesh) || std::isnan(length)) {
        out = {};
        outTags.clear();
        return 0;
    }
    const auto remesh = [&] {
        IndexedPointsBase<3, double> stage;
        Tags stageTags;
        const auto evenOut = [&] {
            const Progress::Impl::PhaseOfCall phase(0.0, 0.5);
            return IsotropicRemesh(mesh, tags, stage, stageTags, maxNormalAngle, 2.0 * length / 3.0,
                                   iterations, keepBoundary);
        };
        if (evenOut() == 0) {
            stage = mesh;
            stageTags = tags;
        }
        out = {};
        outTags.clear();
        const Progress::Impl::Phase phase(0.5, 1.0);
        Remesher remesher(stage, stageTags, maxNormalAngle, chordTolerance, curvatureExponent,
                          keepBoundary);
        remesher.targetLength = remesher.TargetLengthFor(length);
        remesher.minFactor = kMinFactor;
        remesher.maxFactor = kMaxFactor;
        const auto run = [&] {
            const Progress::Impl::Phase passes(0.1, 0.95);
            return remesher.RunPasses(iterations);
        };
        const unsigned count = run();
        remesher.ProjectNodes(true);
        HalfEdge::Impl::ExportTagged(remesher, out, outTags);
        return count;
    };
    return Progress::Impl::Stoppable(remesh, [&] {
        out = {};
        outTags.clear();
        return 0U;
    });
}

unsigned AnisotropicRemesh(const IndexedPointsBase<3, double>& mesh,
                           IndexedPointsBase<3, double>& out, double maxNormalAngle, double length,
                           double curvatureExponent, double chordTolerance, unsigned iterations,
                           bool keepBoundary)
{
    Tags outTags;
    return AnisotropicRemesh(mesh, Tags{}, out, outTags, maxNormalAngle, length, curvatureExponent,
                             chordTolerance, iterations, keepBoundary);
}

} // namespace Velk::Math::Sorvane::Mesh
