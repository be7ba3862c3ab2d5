// The chain's text form on any stream; the file functions open the files.
#pragma once

#include <Sorvane/ArcSegChain_E.h>

#include <istream>
#include <ostream>

namespace Velk::Math::Sorvane::Planar::Impl {

/// See `ReadPolySegArcFromFile`, whose reports it makes.
PolyArcSegBase<double> ReadChain(std::istream& stream);

/// See `WritePolySegArcToFile`.
void WriteChain(std::ostream& stream, const PolyArcSegBase<double>& chain);

} // namespace Velk::Math::Sorvane::Planar::Impl
