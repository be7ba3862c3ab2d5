// Loose segments as polylines, in the plane and in space.

#include "arrangement/SegmentChains_Impl.h"

#include <Velk/Math/Vector_E.h>

namespace Velk::Math::Vector {
namespace {

template <int N, class T, class Segment>
std::vector<std::vector<VecBase<N, T>>> Linked(const std::vector<Segment>& segments, T tolerance)
{
    Impl::SegmentLinker<N, T, Segment> linker(segments, tolerance, Impl::Running::EitherWay);
    std::vector<std::vector<VecBase<N, T>>> polylines;
    for (const Impl::SegmentChain& chain : linker.Link()) {
        std::vector<VecBase<N, T>>& polyline = polylines.emplace_back();
        polyline.reserve(chain.points.size());
        for (const int end : chain.points) {
            polyline.push_back(linker.At(end));
        }
    }
    return polylines;
}

} // namespace

template <class T>
std::vector<std::vector<VecBase<2, T>>>
SegmentsToPolyPointStream(const std::vector<Geometry::SegBase<T>>& segments, T tolerance)
{
    return Linked<2, T>(segments, tolerance);
}

std::vector<std::vector<VecBase<3, double>>>
LineSegmentsToPolyPointStream(const std::vector<std::array<VecBase<3, double>, 2>>& segments,
                              double tolerance)
{
    return Linked<3, double>(segments, tolerance);
}

// clang-format off
template std::vector<std::vector<VecBase<2, float>>>  SegmentsToPolyPointStream(const std::vector<Geometry::SegBase<float>>&,  float);
template std::vector<std::vector<VecBase<2, double>>> SegmentsToPolyPointStream(const std::vector<Geometry::SegBase<double>>&, double);
// clang-format on

} // namespace Velk::Math::Vector
