// The orientation of three points under the name that callers still use for it.
#pragma once

#include "mathbase/Predicates_Impl.h"

namespace Velk::Math::Vector::Impl {

/// `Orientation` of origin, a and b.
inline int TurnSign(const VecBase<2, double>& origin, const VecBase<2, double>& a,
                    const VecBase<2, double>& b)
{
    return Math::Impl::Orientation(origin, a, b);
}

} // namespace Velk::Math::Vector::Impl
