// The version of the headers (macros) and of the library that runs (function). While the major number
// is 0 a new minor number may break binaries; the library's file name carries both.
#pragma once

#include <Sorvane/Export_E.h>

#define SORVANE_VERSION_MAJOR 0
#define SORVANE_VERSION_MINOR 1
#define SORVANE_VERSION_PATCH 0

namespace Velk::Math::Sorvane {

struct SORVANE_API VersionNumber {
    int major = 0;
    int minor = 0;
    int patch = 0;
};

/// Version of the library that the program has loaded.
SORVANE_API VersionNumber Version();

} // namespace Velk::Math::Sorvane
