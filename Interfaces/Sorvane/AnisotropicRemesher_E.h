// AnisotropicRemesher: remeshing toward edges as long as the surface's bend allows.
#pragma once

#include <Sorvane/Decorations_E.h>
#include <Sorvane/IterativeRemesher_E.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

namespace Velk::Math::Sorvane::HalfEdge {

/// An `IterativeRemesher` of space whose edges are to be chords with a sagitta of `chordTolerance`:
/// short where the surface bends, long where it is flat. Every node carries the magnitude of the
/// curvature there (`maxk`). Still abstract, as `IsotropicRemesher` is.
///
/// `Node` has the decorations `Deco_bool_feature` and `Deco_double_maxk`. Curvature is set once,
/// before the run; nodes that move take the mean of their neighbors', so that it spreads over the
/// iterations.
template <class Node, class Edge, class Face>
class AnisotropicRemesher : public IterativeRemesher<3, Node, Edge, Face> {
public:
    /// The remesher beneath, and the type of a position.
    using Base = IterativeRemesher<3, Node, Edge, Face>;
    using typename Base::Point;

    /// Greatest distance wanted between a chord and the surface, in the caller's unit of length.
    double chordTolerance = 0.01;
    /// Bounds of an edge's wanted length, as factors of `targetLength`.
    double minFactor = 0.25;
    double maxFactor = 4.0;

    /// The chord on a circle of this curvature whose sagitta is `chordTolerance` e, to second
    /// order: sqrt(6 e / k - 3 e^2).
    ///
    /// From k = 2 / e on it is `minFactor` and below 1e-12 `maxFactor` times the target length; in
    /// between these two do not bound it, and just below 2 / e it tends to 0. NaN for a NaN. With a
    /// tolerance of 0 it is 0 for every k between 1e-12 and infinity; with a negative one
    /// `minFactor` times the target length for every k of at least 0.
    double LengthFromCurvature(double k) const
    {
        const double e = chordTolerance;
        if (k >= 2.0 / e) {
            return minFactor * this->targetLength;
        }
        if (kLengthFloor < double >> k) {
            return maxFactor * this->targetLength;
        }
        return std::sqrt(6.0 * e / k - 3.0 * e * e);
    }

    /// `length` kept between `minFactor` and `maxFactor` times the target length, where these are
    /// in order. NaN stays NaN.
    double LimitedLength(double length) const
    {
        const double low = this->targetLength * minFactor;
        const double high = this->targetLength * maxFactor;
        if (low > high) {
            return length;
        }
        if (low > length) {
            return low;
        }
        return high < length ? high : length;
    }

    /// 0.8 and 4/3 of the smaller of the lengths at the edge's two ends, within the limits.
    void EdgeLengthBounds(VecBase<2, double>& bounds, int halfEdge) const override
    {
        double length = this->targetLength;
        if (this->IsValidEdge(halfEdge) && this->IsValidEdge(this->Twin(halfEdge))) {
            const int a = this->EdgeAt(halfEdge).node;
            const int b = this->EdgeAt(this->Twin(halfEdge)).node;
            if (this->IsValidNode(a) && this->IsValidNode(b)) {
                const double atA = LengthFromCurvature(this->NodeAt(a).maxk);
                const double atB = LengthFromCurvature(this->NodeAt(b).maxk);
                // Of two lengths one of which is NaN neither is the smaller: NaN then.
                length = LimitedLength(atA < atB || std::isnan(atA) ? atA : atB);
            }
        }
        bounds = {0.8 * length, 1.3333333333333333 * length};
    }

    /// The weight of a triangle is the mean of the lengths wanted at its three corners, so that a
    /// node is drawn to where long edges are wanted.
    void NodeStar(int node, std::vector<Point>& ring, std::vector<double>& weights) const override
    {
        this->RingPoints(node, ring);
        weights.clear();
        if (!this->IsValidNode(node)) {
            return;
        }
        this->VisitNodeNodes(
            node, [&](int n) { weights.push_back(LengthFromCurvature(this->NodeAt(n).maxk)); });
        const double atNode = LengthFromCurvature(this->NodeAt(node).maxk);
        const double first = weights.empty() ? 0.0 : weights.front();
        for (std::size_t i = 0; i < weights.size(); ++i) {
            const double atNext = i + 1 < weights.size() ? weights[i + 1] : first;
            weights[i] = (atNode + atNext + weights[i]) / 3.0;
        }
    }

    /// The node's curvature becomes the mean of its neighbors'; `onFeature` that of its neighbors
    /// that are not locked. 0 where there are none, which stands for the longest edges.
    void NodeMoved(int node, bool onFeature) override
    {
        if (!this->IsValidNode(node)) {
            return;
        }
        double sum = 0.0;
        int count = 0;
        this->VisitNodeNodes(node, [&](int n) {
            if (!onFeature || !this->IsNodeLocked(n)) {
                sum += this->NodeAt(n).maxk;
                ++count;
            }
        });
        this->NodeAt(node).maxk = count > 0 ? sum / count : 0.0;
    }

    /// A node that goes to the middle takes the greater of the two curvatures.
    bool CollapseEdgeAt(int halfEdge, bool keepOrigin) override
    {
        if (keepOrigin || !this->IsValidEdge(halfEdge) ||
            !this->IsValidEdge(this->Twin(halfEdge))) {
            return Base::CollapseEdgeAt(halfEdge, keepOrigin);
        }
        const int kept = this->EdgeAt(halfEdge).node;
        const double curvature = std::max(
            this->NodeAt(kept).maxk, this->NodeAt(this->EdgeAt(this->Twin(halfEdge)).node).maxk);
        if (!Base::CollapseEdgeAt(halfEdge, false)) {
            return false;
        }
        this->NodeAt(kept).maxk = curvature;
        return true;
    }
};

// clang-format off
extern template class SORVANE_API IterativeRemesher<3, Records::CurvatureVertex, Records::CurvatureEdge, Records::TaggedFace>;
extern template class SORVANE_API AnisotropicRemesher<Records::CurvatureVertex, Records::CurvatureEdge, Records::TaggedFace>;
// clang-format on

} // namespace Velk::Math::Sorvane::HalfEdge
