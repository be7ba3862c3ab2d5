#include "machining/SpunHyperbola_Impl.h"

namespace Velk::Math::Sorvane::Mill {

SpunHyperbola SpinSegment(const VecBase<2, double>& axis, const VecBase<3, double>& p,
                          const VecBase<3, double>& q)
{
    const VecBase<3, double> origin{axis.x(), axis.y(), 0.0};
    return Impl::SpunAroundZ(p - origin, q - origin);
}

} // namespace Velk::Math::Sorvane::Mill
