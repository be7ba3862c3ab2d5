// Remeshing toward one edge length: the passes of IsotropicRemesher_E.h on an indexed mesh, with
// its features marked, its stars removed first, and its nodes taken back to the source at the end.

#include <Sorvane/IsotropicRemesher_E.h>
#include <Sorvane/Remesh_E.h>

#include "mathbase/Progress_Impl.h"
#include "remesh/FeatureMarks_Impl.h"
#include "remesh/SourceSurface_Impl.h"
#include "remesh/TaggedMesh_Impl.h"
#include "remesh/TriangleStar_Impl.h"

#include <array>
#include <cmath>
#include <type_traits>
#include <utility>

namespace Velk::Math::Sorvane::Mesh {
namespace {

using Tags = std::vector<unsigned char>;

/// Passes over all nodes that look for stars: a star inside a star shows when the inner one is
/// gone.
constexpr int kStarPasses = 5;
/// A star reaches no farther than an edge that is not split.
constexpr double kStarReach = 4.0 / 3.0;

template <int D>
using PlainRemesher =
    HalfEdge::IsotropicRemesher<D, HalfEdge::Records::FeatureVertex<D>,
                                HalfEdge::Records::FeatureEdge, HalfEdge::Records::TaggedFace>;

/// What returns nodes to the source: in the plane nothing has to.
struct NoSurface {
    NoSurface(const std::vector<Vec2d>&, const std::vector<int>&) {}
};
template <int D>
using Source = std::conditional_t<D == 3, HalfEdge::Impl::SourceSurface, NoSurface>;

template <int D>
class Remesher final : public HalfEdge::Impl::FeatureMarked<PlainRemesher<D>> {
public:
    Remesher(const IndexedPointsBase<D, double>& mesh, const Tags& tags, double angle,
             double length, bool keepsBoundary)
        : source_(mesh.points, mesh.indices)
    {
        this->maxNormalAngle = angle;
        this->keepBoundary = keepsBoundary;
        HalfEdge::Impl::LoadTagged(*this, mesh, tags);
        this->template DetectFeatures<D>(angle * kRadiansPerDegree);
        // The stars go by the length that is asked for, a factor of a mean by the mean before they
        // go.
        this->targetLength = this->TargetLengthFor(length);
        RemoveTriangleStars();
        this->targetLength = this->TargetLengthFor(length);
    }

    bool ProjectNodes(bool enable) override
    {
        if constexpr (D == 3) {
            if (enable) {
                HalfEdge::Impl::ProjectNodesOnto(source_, *this, this->targetLength);
                return true;
            }
        }
        return false;
    }

private:
    using Star = HalfEdge::Impl::TriangleStar;

    // From half a turn on no crease is asked for, and stars go whatever they lie on. Never so in
    // the plane.
    bool KeepsFeatures() const { return !(this->maxNormalAngle >= 180.0); }

    void RemoveTriangleStars()
    {
        Star star;
        std::vector<int> corners;
        bool hasRemoved = true;
        for (int pass = 0; pass < kStarPasses && hasRemoved; ++pass) {
            hasRemoved = false;
            for (int n = 0; n < this->NodeCount(); ++n) {
                if (HalfEdge::Impl::FindStar(*this, n, star) && MayRemove(n, star)) {
                    const unsigned char tag = WinningTag(n, star);
                    for (const int spoke : star.spokes) {
                        this->SetEdgeFeature(spoke, false); // the nodes beyond forget it
                    }
                    const int face = HalfEdge::Impl::ReplaceStar(*this, n, star, corners,
                                                                 AssertSites::kStarIsNotRemoved,
                                                                 AssertSites::kStarIsNotClosed);
                    if (face >= 0) {
                        this->FaceAt(face).tag = tag;
                    }
                    hasRemoved = true;
                }
            }
        }
    }

    bool MayRemove(int node, const Star& star) const
    {
        const double reach = kStarReach * this->targetLength;
        const auto& center = this->NodeAt(node).position;
        for (std::size_t i = 0; i < 3; ++i) {
            if (!(Length(this->NodeAt(star.ring[i]).position - center) <= reach) ||
                (KeepsFeatures() && this->IsEdgeLocked(star.spokes[i]))) {
                return false;
            }
        }
        return true;
    }

    // Of the three faces' tags the one of the greatest area, the first in ring order among equals.
    unsigned char WinningTag(int node, const Star& star) const
    {
        std::array<double, 3> areaOfTag{};
        std::size_t winner = 0;
        const auto tag = [&](std::size_t i) { return this->FaceAt(star.faces[i]).tag; };
        const auto at = [&](int n) { return this->NodeAt(n).position; };
        for (std::size_t i = 0; i < 3; ++i) {
            for (std::size_t j = 0; j < 3; ++j) {
                if (tag(j) == tag(i)) {
                    areaOfTag[i] += Length(HalfEdge::Impl::AreaVector(at(node), at(star.ring[j]),
                                                                      at(star.ring[(j + 1) % 3])));
                }
            }
            if (areaOfTag[i] > areaOfTag[winner]) {
                winner = i;
            }
        }
        return tag(winner);
    }

    Source<D> source_;
};

template <int D>
unsigned Remesh(const IndexedPointsBase<D, double>& mesh, const Tags& tags,
                IndexedPointsBase<D, double>& out, Tags& outTags, double angle, double length,
                unsigned iterations, bool keepBoundary)
{
    // An output that is an input as well is read before it is replaced.
    if (&out != &mesh) {
        out = {};
    }
    if (&outTags != &tags) {
        outTags.clear();
    }
    if (IsEmpty(mesh) || std::isnan(length)) {
        out = {};
        outTags.clear();
        return 0;
    }
    return Progress::Impl::Stoppable(
        [&] {
            Remesher<D> remesher(mesh, tags, angle, length, keepBoundary);
            Progress::Impl::Check(0.1);
            const auto run = [&] {
                const Progress::Impl::Phase phase(0.1, 0.95);
                return remesher.RunPasses(iterations);
            };
            const unsigned count = run();
            remesher.ProjectNodes(true);
            HalfEdge::Impl::ExportTagged(remesher, out, outTags);
            return count;
        },
        [&] {
            out = {};
            outTags.clear();
            return 0U;
        });
}

} // namespace

unsigned IsotropicRemesh(const IndexedPointsBase<3, double>& mesh, const Tags& tags,
                         IndexedPointsBase<3, double>& out, Tags& outTags, double maxNormalAngle,
                         double length, unsigned iterations, bool keepBoundary)
{
    return Remesh(mesh, tags, out, outTags, maxNormalAngle, length, iterations, keepBoundary);
}

unsigned IsotropicRemesh(const IndexedPointsBase<3, double>& mesh,
                         IndexedPointsBase<3, double>& out, double maxNormalAngle, double length,
                         unsigned iterations, bool keepBoundary)
{
    Tags outTags;
    return Remesh(mesh, Tags{}, out, outTags, maxNormalAngle, length, iterations, keepBoundary);
}

unsigned IsotropicRemesh(const IndexedPointsBase<2, double>& mesh, const Tags& tags,
                         IndexedPointsBase<2, double>& out, Tags& outTags, double length,
                         unsigned iterations, bool keepBoundary)
{
    constexpr double kPlaneAngle = 10.0; // any below half a turn: normals turn over or not at all
    return Remesh(mesh, tags, out, outTags, kPlaneAngle, length, iterations, keepBoundary);
}

unsigned IsotropicRemesh(const IndexedPointsBase<2, double>& mesh,
                         IndexedPointsBase<2, double>& out, double length, unsigned iterations,
                         bool keepBoundary)
{
    Tags outTags;
    return IsotropicRemesh(mesh, Tags{}, out, outTags, length, iterations, keepBoundary);
}

} // namespace Velk::Math::Sorvane::Mesh
