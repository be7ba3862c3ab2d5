// Angles, polar forms, measures and barycentric weights of vectors.

#include <Velk/Math/Vector_E.h>

namespace Velk::Math::Vector {

template float operator^(const VecBase<2, float>&, const VecBase<2, float>&);
template double operator^(const VecBase<2, double>&, const VecBase<2, double>&);
template VecBase<3, float> operator^(const VecBase<3, float>&, const VecBase<3, float>&);
template VecBase<3, double> operator^(const VecBase<3, double>&, const VecBase<3, double>&);

} // namespace Velk::Math::Vector
