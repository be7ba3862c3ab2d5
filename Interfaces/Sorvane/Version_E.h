// The version of the headers (macros) and of the library that runs (function). While the major number
// is 0 a new minor number may break binaries; the library's file name carries both.
#pragma once

#include <Sorvane/Export_E.h>

/// Version of the headers that a program is compiled with: first number.
#define SORVANE_VERSION_MAJOR 0
/// Second number.
#define SORVANE_VERSION_MINOR 1
/// Third number.
#define SORVANE_VERSION_PATCH 0

namespace Velk::Math::Sorvane {

/// A version in its three numbers.
struct SORVANE_API VersionNumber {
    int major = 0; ///< while it is 0 a new `minor` may break binaries and sources
    int minor = 0; ///< additions
    int patch = 0; ///< corrections
};

/// Version of the library that the program has loaded.
SORVANE_API VersionNumber Version();

} // namespace Velk::Math::Sorvane
