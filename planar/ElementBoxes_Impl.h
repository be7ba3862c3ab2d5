// Boxes over the elements of a chain, for many questions of the kind "the first element that holds
// this point".
//
// Neighbors along a chain are neighbors in the plane, so that boxes of consecutive elements make a
// good hierarchy without any sorting, and a walk from left to right through it meets the candidates
// in the chain's own order.
#pragma once

#include <Sorvane/ArcSegChain_E.h>

#include "mathbase/Values_Impl.h"
#include "trees/BoxHierarchy_Impl.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

namespace Velk::Math::Sorvane::Planar::Impl {

template <class T>
class ElementBoxes {
public:
    /// Boxes of everything that matches a point of an element within `reach`, which is not
    /// negative.
    ElementBoxes(const std::vector<ArcSegBase<T>>& elements, T reach)
        : boxes_(BoxesOf(elements, static_cast<double>(reach)), Tree::Impl::HierarchyCut::Order)
    {
    }

    /// Calls visit(number) for elements whose boxes hold `point`, by ascending numbers, until it
    /// returns true.
    template <class Visitor>
    void VisitInOrder(const VecBase<2, T>& point, const Visitor& visit) const
    {
        const Vec2d p = Math::Impl::Widened(point);
        boxes_.VisitMeeting({p, p}, [&](std::int32_t number) -> bool {
            return visit(static_cast<std::size_t>(number));
        });
    }

private:
    using Box = Bounding::AxisAlignedBoundingBox<2, double>;

    static std::array<VecBase<2, T>, 2> Corners(const Geometry::SegBase<T>& segment)
    {
        const VecBase<2, T>& a = segment.start;
        const VecBase<2, T>& b = segment.end;
        return {VecBase<2, T>(std::min(a.x(), b.x()), std::min(a.y(), b.y())),
                VecBase<2, T>(std::max(a.x(), b.x()), std::max(a.y(), b.y()))};
    }

    static std::array<VecBase<2, T>, 2> Corners(const Geometry::ArcBase<T>& arc)
    {
        return arc.Bounds();
    }

    static double Size(const Vec2d& v) { return std::fabs(v.x()) + std::fabs(v.y()); }
    static double Size(const Geometry::SegBase<T>& segment)
    {
        return Size(Math::Impl::Widened(segment.start)) + Size(Math::Impl::Widened(segment.end));
    }
    static double Size(const Geometry::ArcBase<T>& arc)
    {
        return Size(Math::Impl::Widened(arc.center)) + Size(Math::Impl::Widened(arc.start)) +
               std::fabs(static_cast<double>(arc.length));
    }

    static Box BoxOf(const ArcSegBase<T>& element, double reach)
    {
        // What rounding may move nearest points and corners of boxes by, and more.
        constexpr double kRounding = 64.0 * static_cast<double>(std::numeric_limits<T>::epsilon());
        return element.Visit([reach](const auto& e) {
            const auto corners = Corners(e);
            const double margin = reach + kRounding * Size(e);
            const Vec2d widen(margin, margin);
            const Box box{Math::Impl::Widened(corners[0]) - widen,
                          Math::Impl::Widened(corners[1]) + widen};
            // An element that is not finite is asked itself.
            constexpr double kFar = std::numeric_limits<double>::infinity();
            const bool isFinite = std::isfinite(Size(e)) && std::isfinite(Size(box.min)) &&
                                  std::isfinite(Size(box.max));
            return isFinite ? box : Box{{-kFar, -kFar}, {kFar, kFar}};
        });
    }

    static std::vector<Box> BoxesOf(const std::vector<ArcSegBase<T>>& elements, double reach)
    {
        std::vector<Box> boxes;
        boxes.reserve(elements.size());
        for (const ArcSegBase<T>& element : elements) {
            boxes.push_back(BoxOf(element, reach));
        }
        return boxes;
    }

    Tree::Impl::BoxHierarchy<2, double> boxes_;
};

} // namespace Velk::Math::Sorvane::Planar::Impl
