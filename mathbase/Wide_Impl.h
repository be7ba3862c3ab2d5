// The passage between a coordinate type and `double` under the names that the planar chain still
// uses.
#pragma once

#include "mathbase/GeometryArc_Impl.h"
#include "mathbase/Values_Impl.h"

namespace Velk::Math::Geometry::Impl {

using Math::Impl::IsFinite;

template <class T>
constexpr Vec2d Wide(const VecBase<2, T>& v)
{
    return Math::Impl::Widened(v);
}

template <class T>
constexpr VecBase<2, T> Narrow(const Vec2d& v)
{
    return Math::Impl::Narrowed<T>(v);
}

} // namespace Velk::Math::Geometry::Impl
