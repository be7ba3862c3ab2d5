// The nearest point of an element that is one of two things, or neither.
#pragma once

#include <Velk/Math/Geometry_E.h>

namespace Velk::Math::Sorvane::Tree::Quadtree::Impl {

/// Nearest point of the one that isn't null. When both are, which can't be, that is reported to the
/// assert handler and the answer is the largest finite T twice.
template <class T>
VecBase<2, T> ClosestPointOnContent(const Geometry::SegBase<T>* segment,
                                    const Geometry::ArcBase<T>* arc, const VecBase<2, T>& point);

} // namespace Velk::Math::Sorvane::Tree::Quadtree::Impl
