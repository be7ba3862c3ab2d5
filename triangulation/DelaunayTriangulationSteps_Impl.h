// The steps that DelaunayMesher takes on its half-edges and that are no business of a host.
//
// How a segment is followed, a cavity filled, a point placed in a triangle, an edge found wanting:
// that stands in files of its own, which know no mesh or any mesh. Here stands how the half-edges
// change.
#pragma once

#include "triangulation/OuterTriangle_Impl.h"

#include <Sorvane/DelaunayTriangulation_E.h>

#include <array>
#include <cstddef>
#include <type_traits>
#include <vector>

namespace Velk::Math::Sorvane::HalfEdge::Impl {

/// Below this many points the walk from the point before is as short as any.
inline constexpr std::size_t kFewPoints = 64;

/// `Mesher` is a `DelaunayMesher`, or a const one for the steps that only look. Edits go through
/// the mesher's virtual operations, so that a derived mesher is asked at every step.
template <class Mesher>
class MesherSteps {
public:
    using Point = typename std::remove_const_t<Mesher>::Point;
    using T = typename std::remove_const_t<Mesher>::T;

    explicit MesherSteps(Mesher& mesher) : mesher_(mesher) {}

    // --- triangulation --------------------------------------------------------------------------

    /// The three outer nodes and the face between them.
    void MakeOuterTriangle();
    /// `points` one by one, each looked for from a node of the earlier point named for it, if any.
    bool InsertInOrder(const std::vector<int>& near);
    /// The mesh from the triangulation of all points at once. False, with nothing changed, where
    /// the points have to go in one by one.
    bool TakeOverDelaunay();

    // --- location -------------------------------------------------------------------------------

    /// By the sides of triangles. Nowhere when the walk leaves the mesh.
    DelaunayLocation WalkStraight(const Vec2d& p) const;
    /// By the nearest point of each triangle, for where the other walk fails.
    DelaunayLocation WalkByClosestPoints(const Point& point) const;
    /// A face other than the given one, the same in every run.
    int PseudoRandomFace(int face) const;

    // --- insertion ------------------------------------------------------------------------------

    /// The node made, or `kNoNode`.
    int InsertInFace(int face, const Point& point);
    int InsertOnEdge(int halfEdge, const Point& point);
    int SplitFaceAtPoint(int face, const Point& point);
    int SplitEdgeAtPoint(int halfEdge, const Point& point);
    bool IsStrictlyInside(int face, const Point& point) const;

    // --- flips ----------------------------------------------------------------------------------

    /// Flips edges facing the node, and those behind them, until none has to be.
    void LegalizeAround(int node);
    bool MustFlip(int halfEdge) const;
    bool IsConvexQuad(int halfEdge) const;
    bool IsLocallyDelaunay(int halfEdge, T tolerance) const;

    // --- constraints ----------------------------------------------------------------------------

    bool InsertSegment(int a, int b);
    /// By its mark alone: a derived mesher may lock more edges than that.
    bool IsConstrained(int halfEdge) const;
    void SetConstrained(int halfEdge, bool constrained);

    // --- regions --------------------------------------------------------------------------------

    void ClassifyRegions();
    /// Both work in room on the lists of free records, which the caller drops after them:
    /// `RemoveOuterTriangle` makes it, for so many faces more than it removes by itself, and
    /// changes nothing where there is no memory for it; `RemoveNonInterior` finds it made.
    void RemoveOuterTriangle(std::size_t furtherFaces);
    bool RemoveNonInterior();
    /// Faces, deleted ones included, that are not inside.
    std::size_t NonInteriorCount() const;
    void CloseHullPockets();

private:
    struct View;

    static bool IsOuter(int node) { return node >= 0 && node < kOuterNodes; }
    static Vec2d ToDouble(const Point& p) { return Vec2d(p.x(), p.y()); }
    Vec2d At(int node) const { return ToDouble(NodeAt(node).position); }

    auto& NodeAt(int node) const { return mesher_.NodeAt(node); }
    auto& EdgeAt(int halfEdge) const { return mesher_.EdgeAt(halfEdge); }
    auto& FaceAt(int face) const { return mesher_.FaceAt(face); }
    static int Twin(int halfEdge) { return Mesher::Twin(halfEdge); }

    template <class Triangles>
    void MakeHalfEdges(const Triangles& triangles);
    void AddSide(int origin, int destination);
    void LinkTriangle(int face, int first, int second, int third);
    void EnterNodePairs();
    void StartFrom(int node);

    DelaunayLocation Classify(int face, const Vec2d& p) const;
    int PivotFace(int node, int face, const Vec2d& p) const;

    /// Which edges of the quad round a flipped edge are open again: those of the triangle across,
    /// or all four.
    enum class Reopened { BeyondTheEdge, AllRound };
    template <class Wants>
    void FlipOpenEdges(Reopened reopened, const Wants& wants);
    std::array<int, 4> QuadOf(int halfEdge) const;
    bool IsStrictlyFlippable(int halfEdge) const;

    std::vector<std::array<int, 3>> CavityFaces(const std::vector<int>& nodes) const;
    void ClearChannel(const std::vector<int>& crossed);
    void Detach(int face);

    void ClassifyHull();
    std::vector<int> OuterRing() const;
    int FirstInnerEdge(int node) const;
    bool ClosePocketAt(int node, std::vector<int>& neighbors);

    Mesher& mesher_;
};

} // namespace Velk::Math::Sorvane::HalfEdge::Impl
