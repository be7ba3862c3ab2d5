// What the sources of the dilation family share: passage between coordinate types, usable input.
#pragma once

#include "mathbase/Values_Impl.h"

#include <algorithm>
#include <vector>

namespace Velk::Math::Sorvane::Planar::Impl {

template <class T>
using Loops = std::vector<std::vector<VecBase<2, T>>>;

template <class T>
std::vector<Vec2d> WidenedLoop(const std::vector<VecBase<2, T>>& loop)
{
    std::vector<Vec2d> result(loop.size());
    std::transform(loop.begin(), loop.end(), result.begin(),
                   [](const VecBase<2, T>& p) { return Math::Impl::Widened(p); });
    return result;
}

template <class T>
Loops<double> WidenedLoops(const Loops<T>& loops)
{
    Loops<double> result;
    result.reserve(loops.size());
    for (const auto& loop : loops) {
        result.push_back(WidenedLoop(loop));
    }
    return result;
}

template <class T>
std::vector<VecBase<2, T>> NarrowedLoop(const std::vector<Vec2d>& loop)
{
    std::vector<VecBase<2, T>> result(loop.size());
    std::transform(loop.begin(), loop.end(), result.begin(),
                   [](const Vec2d& p) { return Math::Impl::Narrowed<T>(p); });
    return result;
}

template <class T>
Loops<T> NarrowedLoops(const Loops<double>& loops)
{
    Loops<T> result;
    result.reserve(loops.size());
    for (const auto& loop : loops) {
        result.push_back(NarrowedLoop<T>(loop));
    }
    return result;
}

} // namespace Velk::Math::Sorvane::Planar::Impl
