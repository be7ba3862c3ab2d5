// What lathe regions use of the comparison of outlines beside its public operations.
#pragma once

#include <Velk/Math/Geometry_E.h>

#include <vector>

namespace Velk::Math::Sorvane::Planar::Impl {

/// `tol`, or the rounding of cuts at these coordinates where that is more. `CutAtIntersections`
/// widens its own tolerance likewise; what follows it has to match the same points.
double NoLessThanRounding(double tol, const std::vector<Geometry::SegBase<double>>& segments);

/// `ClipOverlappedRegions` of an outline and any number of others, whose stretches all go to
/// `othersPart`. Both results are appended to. What `floor` is there, the length floor of the
/// coordinate type, is an argument.
bool ClipOverlapped(const std::vector<Vec2d>& a, const std::vector<std::vector<Vec2d>>& others,
                    std::vector<std::vector<Vec2d>>& aPart,
                    std::vector<std::vector<Vec2d>>& othersPart, double tol, double floor);

/// `KeepCommonRegions` of an outline and any number of others.
std::vector<std::vector<Vec2d>> CommonRegions(const std::vector<Vec2d>& a,
                                              const std::vector<std::vector<Vec2d>>& others,
                                              double tol, double floor);

} // namespace Velk::Math::Sorvane::Planar::Impl
