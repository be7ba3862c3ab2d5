// Half profiles of tools as chains and polylines.
//
// Built in `double` and rounded once for each coordinate. What follows an arc starts at the arc's
// derived end and not at a formula for it: a chain of tolerance 1e-12 refuses an element that
// begins a rounding away, and with it all that stands above.

#include <Sorvane/PolyArcSeg_E.h>
#include <Sorvane/Tools_E.h>

#include "mathbase/Values_Impl.h"

#include <Velk/Math/Tolerances_E.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace Velk::Math::Sorvane::Mill {

namespace {

using Math::Impl::IsFinite;
using Math::Impl::Narrowed;
using Math::Impl::Widened;

/// A profile as it grows.
template <class T>
class Profile {
public:
    void AppendTip(T radius)
    {
        if (radius > T{0}) {
            chain_.AppendSegment({T{0}, T{0}}, {radius, T{0}});
        }
    }

    /// The segment from the chain's end by (dx, dy).
    void AppendStep(double dx, double dy)
    {
        const VecBase<2, T> end = End();
        chain_.AppendSegment(end, Narrowed<T>(Widened(end) + Vec2d{dx, dy}));
    }

    /// The arc from `start` with its center at `start` + `toCenter`.
    void AppendCorner(const VecBase<2, T>& start, const Vec2d& toCenter, double length)
    {
        chain_.AppendArc(Narrowed<T>(Widened(start) + toCenter), start, static_cast<T>(length));
    }

    /// Where the chain ends; the origin as long as it is empty.
    VecBase<2, T> End() const
    {
        return chain_.elements.empty() ? VecBase<2, T>{} : chain_.elements.back().EndPoint();
    }

    /// The chain; empty when products of the tool's fields were too large.
    Planar::PolyArcSegBase<T> Chain() const
    {
        const bool isSound = std::all_of(chain_.elements.begin(), chain_.elements.end(),
                                         [](const Planar::ArcSegBase<T>& element) {
                                             const auto* const arc = element.AsArc();
                                             return IsFinite(element.StartPoint()) &&
                                                    IsFinite(element.EndPoint()) &&
                                                    IsFinite(element.Length()) &&
                                                    (arc == nullptr || IsFinite(arc->center));
                                         });
        return isSound ? chain_ : Planar::PolyArcSegBase<T>{};
    }

private:
    Planar::PolyArcSegBase<T> chain_;
};

/// Of an angle that is a right one but for its rounding the cosine is 0: what would be left would
/// take the last bit off the radius of a ball.
template <class T>
double CosineOf(double angle)
{
    const double cosine = std::cos(angle);
    return std::fabs(cosine) <= std::numeric_limits<T>::epsilon() ? 0.0 : cosine;
}

template <class T>
Planar::PolyArcSegBase<T> ChainOf(const ConvexStandardToolBase<T>& tool)
{
    for (const T field :
         {tool.tipRadius, tool.lowerCornerRadius, tool.lowerCornerAngle, tool.taperHeight,
          tool.taperAngle, tool.upperCornerRadius, tool.shankLength}) {
        if (!IsFinite(field)) {
            return {};
        }
    }
    const double taperAngle = tool.taperAngle;
    Profile<T> profile;
    profile.AppendTip(tool.tipRadius);
    if (tool.lowerCornerRadius > T{0}) {
        const double radius = tool.lowerCornerRadius;
        const double angle = tool.lowerCornerAngle;
        profile.AppendCorner({tool.tipRadius, T{0}},
                             {-radius * CosineOf<T>(angle), radius * std::sin(angle)},
                             radius * (angle - taperAngle));
    }
    if (tool.taperHeight != T{0}) {
        const double height = tool.taperHeight;
        profile.AppendStep(std::tan(taperAngle) * height, height);
    }
    if (tool.upperCornerRadius > T{0}) {
        const double radius = tool.upperCornerRadius;
        profile.AppendCorner(profile.End(),
                             {-radius * CosineOf<T>(taperAngle), radius * std::sin(taperAngle)},
                             radius * taperAngle);
    }
    if (tool.shankLength > T{0}) {
        profile.AppendStep(0, tool.shankLength);
    }
    return profile.Chain();
}

template <class T>
Planar::PolyArcSegBase<T> ChainOf(const CylindricalToolBase<T>& tool)
{
    if (!IsFinite(tool.tipRadius) || !IsFinite(tool.cornerRadius) || !IsFinite(tool.shankLength)) {
        return {};
    }
    Profile<T> profile;
    profile.AppendTip(tool.tipRadius);
    if (tool.cornerRadius > T{0}) {
        const double radius = tool.cornerRadius;
        profile.AppendCorner({tool.tipRadius, T{0}}, {0, radius}, radius * kPi<double> / 2);
    }
    if (tool.shankLength > T{0}) {
        profile.AppendStep(0, tool.shankLength);
    }
    return profile.Chain();
}

} // namespace

template <class Tool, class T>
Planar::PolyArcSegBase<T> PolyArcSegFromTool(const Tool& tool)
{
    return ChainOf(tool);
}

#define SORVANE_INSTANTIATE(T)                                                           \
    template Planar::PolyArcSegBase<T> PolyArcSegFromTool<ConvexStandardToolBase<T>, T>( \
        const ConvexStandardToolBase<T>&);                                               \
    template Planar::PolyArcSegBase<T> PolyArcSegFromTool<CylindricalToolBase<T>, T>(    \
        const CylindricalToolBase<T>&);
SORVANE_INSTANTIATE(float)
SORVANE_INSTANTIATE(double)
#undef SORVANE_INSTANTIATE

} // namespace Velk::Math::Sorvane::Mill

namespace Velk::Math::Sorvane::Planar {

template <class Tool, class T>
typename Mill::Impl::ToolPolyline<Tool, T>::Type ToPolyline(const Tool& tool, T tol)
{
    return ToPolyline(Mill::PolyArcSegFromTool(tool), tol);
}

#define SORVANE_INSTANTIATE(T)                                                   \
    template PolylineDataBase<T> ToPolyline<Mill::ConvexStandardToolBase<T>, T>( \
        const Mill::ConvexStandardToolBase<T>&, T);                              \
    template PolylineDataBase<T> ToPolyline<Mill::CylindricalToolBase<T>, T>(    \
        const Mill::CylindricalToolBase<T>&, T);
SORVANE_INSTANTIATE(float)
SORVANE_INSTANTIATE(double)
#undef SORVANE_INSTANTIATE

} // namespace Velk::Math::Sorvane::Planar
