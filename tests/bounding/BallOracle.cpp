#include "tests/bounding/BallOracle.h"

namespace Support {

template class TinyBall<2>;
template class TinyBall<3>;
template long double SmallestRadius(const std::vector<Velk::Math::VecBase<2, float>>&);
template long double ReachOf(const std::vector<Velk::Math::VecBase<2, float>>&,
                             const Velk::Math::VecBase<2, float>&);
template long double SmallestRadius(const std::vector<Velk::Math::VecBase<2, double>>&);
template long double ReachOf(const std::vector<Velk::Math::VecBase<2, double>>&,
                             const Velk::Math::VecBase<2, double>&);
template long double SmallestRadius(const std::vector<Velk::Math::VecBase<3, float>>&);
template long double ReachOf(const std::vector<Velk::Math::VecBase<3, float>>&,
                             const Velk::Math::VecBase<3, float>&);
template long double SmallestRadius(const std::vector<Velk::Math::VecBase<3, double>>&);
template long double ReachOf(const std::vector<Velk::Math::VecBase<3, double>>&,
                             const Velk::Math::VecBase<3, double>&);

} // namespace Support
