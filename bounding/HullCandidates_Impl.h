// Throwing away, before a hull is made in space, the points that lie deep inside it.
//
// The idea of S. G. Akl and G. T. Toussaint ("A fast convex hull algorithm", 1978) with a finer
// inner polytope: the hull of a sample, looked up through a table over directions.
#pragma once

#include <Velk/Math/VecBase_E.h>

#include <vector>

namespace Velk::Math::Sorvane::Bounding::Impl {

/// Fewer points than this are all candidates.
inline constexpr int kFewHullPoints = 4096;

/// Ascending subscripts of the points that may matter for the hull: those that are finite and not
/// deep inside.
///
/// What is left out is farther inside the hull than n + 1 steps of `mergeTolerance` along every
/// axis. So filtering the candidates for uniqueness with that tolerance keeps the same points near
/// the hull as filtering them all: whether a point is kept depends on points within the tolerance,
/// whether those are kept on points within the tolerance of them, and so on for at most n steps.
/// O(n).
template <class T>
std::vector<int> HullCandidates(const std::vector<VecBase<3, T>>& points, double mergeTolerance);

extern template std::vector<int> HullCandidates(const std::vector<VecBase<3, float>>&, double);
extern template std::vector<int> HullCandidates(const std::vector<VecBase<3, double>>&, double);

} // namespace Velk::Math::Sorvane::Bounding::Impl
