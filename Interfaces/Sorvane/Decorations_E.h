// Decorations: small pieces of data that an algorithm hangs on the records of a half-edge mesh.
// Record types are composed from a base record and a list of decorations, and deleting a record
// resets them, so that a slot that is used again starts clean.
#pragma once

#include <Sorvane/HalfEdgeMesh_E.h>
#include <Sorvane/QuadricErrorFunction_E.h>

namespace Velk::Math::Sorvane::HalfEdge {

/// A piece of data with a state to go back to. A new one is in that state.
struct SORVANE_API ITopologyDecoration {
    ITopologyDecoration() = default;
    ITopologyDecoration(const ITopologyDecoration&) = default;
    ITopologyDecoration& operator=(const ITopologyDecoration&) = default;

    /// Back to the state of a new one.
    virtual void Reset() = 0;
    /// The same for everything that the decoration is made of.
    virtual void ResetAll() { Reset(); }
    virtual ~ITopologyDecoration() = default;
};

namespace Decorations {

/// The node or edge lies on a feature and is to be kept.
struct SORVANE_API Deco_bool_feature : ITopologyDecoration {
    bool feature = false; ///< true on a feature
    /// Not a feature.
    void Reset() override { feature = false; }
};

/// The input tag of a face.
struct SORVANE_API Deco_uchar_tag : ITopologyDecoration {
    unsigned char tag = 0; ///< whatever the host means by it
    /// Tag 0.
    void Reset() override { tag = 0; }
};

/// Greatest principal curvature in magnitude at a node, or the value on an edge; one over length.
struct SORVANE_API Deco_double_maxk : ITopologyDecoration {
    double maxk = 0.0; ///< curvature, one over the unit of length
    /// Curvature 0.
    void Reset() override { maxk = 0.0; }
};

/// Accumulated error quadric of a node.
struct SORVANE_API Deco_qef_qef : ITopologyDecoration {
    QuadricErrorFunction qef; ///< empty in a new record
    /// The empty quadric.
    void Reset() override { qef = {}; }
};

} // namespace Decorations

namespace Impl {

/// The node or edge was there before the current step of a subdivision. A record counts as old
/// until that step says otherwise.
struct SORVANE_API Deco_bool_old : ITopologyDecoration {
    bool old = true; ///< false for what the current step has made
    /// Old.
    void Reset() override { old = true; }
};

} // namespace Impl

/// A list of decorations as one base class; each may occur once. The list may be empty.
template <class... Decos>
struct SORVANE_API DecorationPacket : Decos... {
    DecorationPacket() = default;
    DecorationPacket(const DecorationPacket&) = default;
    DecorationPacket& operator=(const DecorationPacket&) = default;

    /// Resets each decoration of the list, in its order.
    void Reset() override { (Decos::Reset(), ...); }
    /// `Reset`, and the second and later decorations once more.
    void ResetAll() override
    {
        Reset();
        bool isFirst = true;
        ((isFirst ? void(isFirst = false) : Decos::Reset()), ...);
    }
    ~DecorationPacket() override = default;
};

/// No decorations: nothing to reset.
template <>
struct SORVANE_API DecorationPacket<> {
    DecorationPacket() = default;
    DecorationPacket(const DecorationPacket&) = default;
    DecorationPacket& operator=(const DecorationPacket&) = default;

    /// Nothing to do.
    virtual void Reset() {}
    virtual void ResetAll() {}
    virtual ~DecorationPacket() = default;
};

/// A record with decorations: `DecoratedTopology<HEdge, Decorations::Deco_bool_feature>`. The
/// fields of the decorations are fields of the record.
template <class Base, class... Decos>
struct SORVANE_API DecoratedTopology : Base, DecorationPacket<Decos...> {
    using Base::Base;
    DecoratedTopology() = default;

    /// Deletes the record, then resets its decorations for the next use of its slot.
    void Invalidate() override
    {
        Base::Invalidate();
        DecorationPacket<Decos...>::Reset();
    }
};

/// A decorated node with a position of dimension D in `double`.
template <int D, class... Decos>
struct SORVANE_API DHVertex : DecoratedTopology<HVertex<D, double>, Decos...> {
    using DecoratedTopology<HVertex<D, double>, Decos...>::DecoratedTopology;
};

/// The records of the library's own algorithms.
namespace Records {
/// An edge that may be a feature.
using FeatureEdge = DecoratedTopology<HEdge, Decorations::Deco_bool_feature>;
/// A face with its input tag.
using TaggedFace = DecoratedTopology<HFace, Decorations::Deco_uchar_tag>;
/// A node at a position that may be on a feature.
template <int D>
using FeatureVertex = DHVertex<D, Decorations::Deco_bool_feature>;
/// A node that may be on a feature, with the curvature there; and an edge likewise.
using CurvatureVertex = DHVertex<3, Decorations::Deco_bool_feature, Decorations::Deco_double_maxk>;
using CurvatureEdge =
    DecoratedTopology<HEdge, Decorations::Deco_bool_feature, Decorations::Deco_double_maxk>;
/// A node with the quadric that decimation and dual contouring gather there.
using QuadricVertex = DHVertex<3, Decorations::Deco_bool_feature, Decorations::Deco_qef_qef>;
/// A node and an edge that know whether the current step of a subdivision made them.
using SubdivisionVertex = DHVertex<3, Impl::Deco_bool_old, Decorations::Deco_bool_feature>;
using SubdivisionEdge =
    DecoratedTopology<HEdge, Impl::Deco_bool_old, Decorations::Deco_bool_feature>;
} // namespace Records

// clang-format off
#define SORVANE_EXTERN(Node, Edge, Face) \
    extern template class SORVANE_API HMesh<Node, Edge, Face>; \
    extern template class SORVANE_API TriangleMesh<Node, Edge, Face>;
SORVANE_EXTERN(Records::FeatureVertex<2>, Records::FeatureEdge, Records::TaggedFace)
SORVANE_EXTERN(Records::FeatureVertex<3>, Records::FeatureEdge, Records::TaggedFace)
SORVANE_EXTERN(Records::CurvatureVertex, Records::CurvatureEdge, Records::TaggedFace)
SORVANE_EXTERN(Records::QuadricVertex, Records::FeatureEdge, Records::TaggedFace)
SORVANE_EXTERN(Records::SubdivisionVertex, Records::SubdivisionEdge, HFace)
#undef SORVANE_EXTERN
// clang-format on

} // namespace Velk::Math::Sorvane::HalfEdge
