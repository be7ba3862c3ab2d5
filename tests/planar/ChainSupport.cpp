// Measures of chains that look at all elements or points: compiled once, with optimization in every
// build (tests/CMakeLists.txt).

#include "tests/planar/ChainSupport.h"
#include "tests/planar/OffsetMeasures.h"

namespace Support {

double DistanceToPoints(const Vec2d& p, const std::vector<Vec2d>& points)
{
    double least = std::numeric_limits<double>::infinity();
    for (const Vec2d& q : points) {
        least = std::min(least, std::hypot(q[0] - p[0], q[1] - p[1]));
    }
    return least;
}

template Vec2d PointOf(const ArcSegBase<float>&, double);
template std::vector<Vec2d> Samples(const PolyArcSegBase<float>&, double);
template double DistanceToPolyline(const Vec2d&, const std::vector<VecBase<2, float>>&);
template bool IsInside(const Vec2d&, const std::vector<VecBase<2, float>>&);

template Vec2d PointOf(const ArcSegBase<double>&, double);
template std::vector<Vec2d> Samples(const PolyArcSegBase<double>&, double);
template double DistanceToPolyline(const Vec2d&, const std::vector<VecBase<2, double>>&);
template bool IsInside(const Vec2d&, const std::vector<VecBase<2, double>>&);

template double DistanceToElement(const Vec2d&, const ArcSegBase<float>&);
template double DistanceToChain(const Vec2d&, const PolyArcSegBase<float>&);

template double DistanceToElement(const Vec2d&, const ArcSegBase<double>&);
template double DistanceToChain(const Vec2d&, const PolyArcSegBase<double>&);

} // namespace Support
