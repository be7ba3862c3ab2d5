// Curvatures at the nodes of a mesh from the angles and cotangents of the triangles round them.
//
// M. Meyer, M. Desbrun, P. Schroeder and A. H. Barr, "Discrete differential-geometry operators for
// triangulated 2-manifolds", 2003: the Gaussian curvature is the angle that is missing from a full
// turn, the mean curvature the length of the cotangent Laplacian, both over the mixed area.

#include <Sorvane/Curvature_E.h>
#include <Sorvane/HalfEdgeMesh_E.h>
#include <Velk/Math/Intersect_E.h>

#include "features/RingTriangle_Impl.h"
#include "mathbase/Parallel_Impl.h"
#include "mathbase/Progress_Impl.h"

#include <algorithm>

namespace Velk::Math::Sorvane::MeshUtils {
namespace {

using Triangle = Impl::RingTriangle<3, double>;

/// Below it a vector of the sums has no direction. It is the guard of the directions alone: the
/// caller's tolerance guards the measures.
constexpr double kDirectionFloor = kLengthFloor<double>;

/// Area of the part of the triangle that lies nearer to the node than to its other corners: two
/// triangles between the node, the middle of an edge, and the circumcenter.
double NearestArea(const Triangle& triangle)
{
    const Vec3d q = triangle.xq;
    const Vec3d r = -triangle.rx;
    Vec3d center; // as seen from the node
    double radius = 0;
    if (!Intersect::FindCircumsphere(Vec3d{}, q, r, center, radius, false, kDirectionFloor)) {
        center = (q + r) / 3.0;
    }
    return Impl::DoubledArea(triangle.xq, center) / 4 + Impl::DoubledArea(triangle.rx, center) / 4;
}

double NodeArea(const Triangle& triangle, double doubledArea)
{
    switch (triangle.share) {
    case Impl::Share::Nearest:
        return NearestArea(triangle);
    case Impl::Share::Half:
        return doubledArea / 4;
    case Impl::Share::Quarter:
        break;
    }
    return doubledArea / 8;
}

/// What the triangles round a node sum to.
struct RingSums {
    Vec3d laplacian;
    Vec3d normal;
    double area = 0;
    double missingAngle = 0;

    void Add(const Triangle& triangle)
    {
        const Vec3d cross = triangle.rx ^ triangle.xq;
        const double share = NodeArea(triangle, Length(cross));
        laplacian += triangle.cotangentAtR * triangle.xq - triangle.cotangentAtQ * triangle.rx;
        normal += share * Normalized(cross, kDirectionFloor);
        area += share;
        missingAngle -= triangle.angleAtX;
    }
};

DiscreteCurvatures Evaluated(const RingSums& sums, double tolerance)
{
    // No area is no surface, also where a negative tolerance lets it pass.
    if (std::fabs(sums.area) <= tolerance || sums.area == 0) {
        return {};
    }
    const Vec3d curvature = sums.laplacian / (-2 * sums.area);
    const double mean = Length(curvature) / 2;
    const double gaussian = sums.missingAngle / sums.area;
    const double squaredSpread = mean * mean - gaussian;
    const double spread = squaredSpread > 0 ? std::sqrt(squaredSpread) : 0;

    DiscreteCurvatures result;
    result.maxCurvature = mean + spread;
    result.minCurvature = mean - spread;
    result.normal = Normalized(sums.normal, kDirectionFloor);
    result.area = sums.area;
    const Vec3d direction = Normalized(curvature, kDirectionFloor);
    const double agreement = direction * result.normal;
    if (std::fabs(agreement) > 0) {
        result.meanCurvatureNormal = agreement > 0 ? direction : -direction;
    }
    return result;
}

DiscreteCurvatures CurvaturesOfRing(const Vec3d& node, const std::vector<Vec3d>& ring,
                                    bool isClosed, double tolerance)
{
    RingSums sums;
    sums.missingAngle = isClosed ? kTwoPi<double> : kPi<double>;
    const std::size_t triangles = isClosed || ring.empty() ? ring.size() : ring.size() - 1;
    for (std::size_t i = 0; i < triangles; ++i) {
        sums.Add(Triangle(node, ring[i], Impl::NextInRing(ring, i), tolerance));
    }
    return Evaluated(sums, tolerance);
}

/// A half-edge mesh that tells the ring of a node as a run of triangles.
class RingMesh : public HalfEdge::TriangleMesh<HalfEdge::HVertex<3, double>, HalfEdge::HEdge,
                                               HalfEdge::HFace> {
public:
    /// The neighbors in the fan of the node's half-edge, counter-clockwise; of an open fan from one
    /// end of the boundary to the other, whatever half-edge the node holds. True for a closed fan.
    bool RingOfNode(int node, std::vector<Vec3d>& ring) const
    {
        ring.clear();
        const int first = IsValidNode(node) ? NodeAt(node).edge : HalfEdge::kNotSet;
        if (!IsValidEdge(first)) {
            return false;
        }
        // An open fan is walked to its end first, and then from where it began the other way.
        std::size_t forward = 0;
        bool isClosed = true;
        WalkFan(first, Degree(node), [&](int out) {
            ring.push_back(NodeAt(EdgeAt(Twin(out)).node).position);
            if (isClosed) {
                ++forward;
            }
            isClosed = isClosed && EdgeAt(out).face >= 0;
        });
        const auto backward = ring.begin() + static_cast<std::ptrdiff_t>(forward);
        std::reverse(backward, ring.end());
        std::rotate(ring.begin(), backward, ring.end());
        return isClosed;
    }
};

} // namespace

DiscreteCurvatures DiscreteCurvaturesAtNode(const VecBase<3, double>& node,
                                            const std::vector<VecBase<3, double>>& ring,
                                            double tolerance)
{
    return CurvaturesOfRing(node, ring, true, tolerance);
}

DiscreteCurvatures DiscreteCurvaturesAtBoundaryNode(const VecBase<3, double>& node,
                                                    const std::vector<VecBase<3, double>>& ring,
                                                    double tolerance)
{
    return CurvaturesOfRing(node, ring, false, tolerance);
}

std::vector<DiscreteCurvatures>
DiscreteCurvaturesAtNodes(const Mesh::IndexedPointsBase<3, double>& mesh, double tolerance)
{
    return Progress::Impl::Stoppable([&]() -> std::vector<DiscreteCurvatures> {
        if (Mesh::IsEmpty(mesh)) {
            return {};
        }
        RingMesh rings;
        rings.LoadIndexedPoints(mesh);
        std::vector<DiscreteCurvatures> curvatures(mesh.points.size());
        Parallel::Impl::ApplyParallelChunks(0, rings.NodeCount(), [&](int from, int to) {
            std::vector<Vec3d> ring;
            for (int node = from; node < to; ++node) {
                const bool isClosed = rings.RingOfNode(node, ring);
                if (ring.size() >= 3) {
                    curvatures[static_cast<std::size_t>(node)] =
                        CurvaturesOfRing(rings.Nodes()[static_cast<std::size_t>(node)].position,
                                         ring, isClosed, tolerance);
                }
            }
        });
        return curvatures;
    });
}

} // namespace Velk::Math::Sorvane::MeshUtils
