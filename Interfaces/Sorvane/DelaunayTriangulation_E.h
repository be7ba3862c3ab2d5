// DelaunayMesher: incremental constrained Delaunay triangulation of points in the plane, on the
// library's own half-edge mesh.
//
// Points go one by one into a big outer triangle, by location, splitting and flips (C. L. Lawson,
// "Software for C1 surface interpolation", 1977). A constraint that is no edge yet clears the
// triangles it crosses, and the two cavities beside it are filled again (compare M. V. Anglada, "An
// improved incremental algorithm for constructing restricted Delaunay triangulations", 1997). What
// lies outside the constraints is found by a flood from the outer triangle that changes between
// outside and inside at each constraint.
#pragma once

#include <Sorvane/TriangleMesh_E.h>
#include <Velk/Math/Supported_E.h>
#include <Velk/Math/Tolerances_E.h>

#include <concepts>
#include <vector>

/// @cond
namespace Velk::Math::Sorvane::HalfEdge::Impl {
template <class Mesher>
class MesherSteps;
}
/// @endcond

namespace Velk::Math::Sorvane::HalfEdge {

/// A node of the mesher. A record that is deleted forgets what it was marked with: its slot is used
/// again.
template <class T>
struct SORVANE_API DelaunayNode : HVertex<2, T> {
    bool fromInput = false; ///< made from the point list; false for the outer nodes

    using HVertex<2, T>::HVertex;
    /// Deletes the record and clears the mark.
    void Invalidate() override
    {
        HVertex<2, T>::Invalidate();
        fromInput = false;
    }
};

/// A half-edge of the mesher.
struct SORVANE_API DelaunayEdge : HEdge {
    bool constrained = false; ///< a constraint; both twins carry it

    /// Deletes the record and clears the mark.
    void Invalidate() override
    {
        HEdge::Invalidate();
        constrained = false;
    }
};

/// A triangle of the mesher.
struct SORVANE_API DelaunayFacet : HFace {
    int region = 0; ///< 0 unset, 1 inside, 2 outside

    /// Deletes the record and clears the mark.
    void Invalidate() override
    {
        HFace::Invalidate();
        region = 0;
    }
};

/// What a point was found on: a node, an edge, a face, or nothing.
struct SORVANE_API DelaunayLocation {
    /// What kind of record it is.
    enum class Kind {
        Nowhere, ///< outside, or not finite
        Node,    ///< within the floor of a node
        Edge,    ///< within the floor of an edge
        Face     ///< inside a face
    };
    Kind kind = Kind::Nowhere; ///< of the record
    int index = -1;            ///< its subscript, -1 for `Nowhere`
};

/// Call order: construct, set `points`, `Triangulate`, any number of `InsertEdge`, `ExtractMesh`.
///
/// Nodes 0 to 2 are the outer triangle; node i + 3 is point i. Distances at most the length floor
/// of `T` (1e-12 for `double`, 1e-8 for `float`) count as none; points must be farther apart than
/// that. Products are calculated in `double` for both types. The result is the same in every run.
/// All loops are bounded, whatever the input.
///
/// Where memory runs out, each call tells what is left. The steps for derived meshers leave a sound
/// mesh: `InsertPoint` may have put the point in and `Legalize` may have flipped some of the edges.
///
/// The library has compiled the two forms named below; a host derives from them.
template <class Node, class Edge, class Facet>
class DelaunayMesher : public TriangleMesh<Node, Edge, Facet> {
public:
    /// The mesh beneath, its points and its coordinates.
    using Base = TriangleMesh<Node, Edge, Facet>;
    using Point = decltype(Node{}.position);
    using T = typename Point::value_type;

    static_assert(SupportedReal<T> && std::same_as<Node, DelaunayNode<T>> &&
                      std::same_as<Edge, DelaunayEdge> && std::same_as<Facet, DelaunayFacet>,
                  "the mesher is compiled for its own records, in float and in double");

    DelaunayMesher() = default;
    ~DelaunayMesher() override;

    bool hasOuterTriangle = false;         ///< the three outer nodes are present
    bool noConstraints = true;             ///< the hull bounds the result; for the caller to clear
    T flipTolerance = 0;                   ///< slack of the in-circle test, radians
    T minDoubleArea = kLengthFloor<T>;     ///< half the doubled area of the least face to be split
    T reservedTolerance = kLengthFloor<T>; ///< not used
    std::vector<Point> points;             ///< the input
    int hintFace = -1;                     ///< where the next location begins

    /// Triangulates `points`. False as soon as one can't be placed: it repeats another, lies in a
    /// sliver below the tolerances, or is not finite. What was built until then stays, in the order
    /// of the list. O(n log n) for n points whatever their arrangement.
    ///
    /// A mesher of a derived type inserts point by point through the virtual edits and keeps
    /// `FindEdge` up to date all along. This gives the same triangles between points; those at the
    /// outer nodes, and the numbers of faces and half-edges, may be others. It takes more time,
    /// expected O(n log n) for points that are spread somehow evenly at some scale; points in order
    /// along a bow toward others can take O(n^2) flips: mix their order if it is free.
    ///
    /// Where memory runs out, or `OnPointInserted` throws, the mesh is left empty.
    bool Triangulate();

    /// Makes the segment between two nodes an edge and marks it constrained. False, with nothing
    /// changed, when a node does not exist, or when the segment passes through a third node within
    /// the floor. An edge that it crosses goes, constrained or not. O(edges crossed) in general.
    ///
    /// When memory runs out it has changed nothing and throws `std::bad_alloc`. Should it run out as late
    /// as in the flips that restore the Delaunay property beside the new edge, the edge is there, the
    /// result is true, and those flips are left out.
    bool InsertEdge(int a, int b);

    /// The result: points without the outer nodes, all of them whether used or not, and three
    /// indices for each triangle inside, counter-clockwise.
    ///
    /// With `noConstraints` the inside is the convex hull of the points; otherwise it is what an
    /// odd number of constraints separates from the outer nodes at the least. The mesh loses the
    /// outer triangle and all that lies outside; a second call writes the same.
    ///
    /// Where memory runs out the mesh has its outer triangle as before, or none and nothing that lies
    /// outside; a second call gives the result. With `noConstraints` some of its triangles at the hull may then
    /// be not Delaunay.
    void ExtractMesh(std::vector<Point>& resultPoints, std::vector<int>& resultIndices);

    /// Made from the input, or with a locked edge.
    bool IsNodeLocked(int node) const override;
    /// Constrained.
    bool IsEdgeLocked(int halfEdge) const override;
    /// Called after each insertion of `Triangulate`; does nothing here. The mesh is sound then, and
    /// may be asked and edited.
    virtual void OnPointInserted(int pointIndex, int nodeIndex);

    // --- the steps, for derived meshers ---------------------------------------------------------

    /// The node made for `point`, or -3.
    int InsertPoint(const Point& point);
    DelaunayLocation Locate(const Point& point) const;

    /// Flips edges that face `node` until all are locally Delaunay, locked, or not flippable.
    void Legalize(int node);
    /// Strictly convex, by more than rounding, at both ends of the edge.
    bool IsConvexQuad(int halfEdge) const;
    /// `Mesh::LocallyDelaunayEdge` of the edge; an edge without two triangles is Delaunay.
    bool IsLocallyDelaunay(int halfEdge, T tolerance) const;

    /// Gives each face its region.
    void ClassifyRegions();
    /// Deletes the three outer nodes and all faces at them.
    void RemoveOuterTriangle();
    /// Deletes the faces of other regions than 1; true when there were any.
    bool RemoveNonInterior();

private:
    template <class Mesher>
    friend class Impl::MesherSteps;

    std::vector<int> openEdges_; // half-edges that may have to be flipped
};

// clang-format off
extern template class SORVANE_API DelaunayMesher<DelaunayNode<float>,  DelaunayEdge, DelaunayFacet>;
extern template class SORVANE_API DelaunayMesher<DelaunayNode<double>, DelaunayEdge, DelaunayFacet>;
// clang-format on

} // namespace Velk::Math::Sorvane::HalfEdge
