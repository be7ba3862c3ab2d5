#include <Sorvane/Version_E.h>

namespace Velk::Math::Sorvane {

VersionNumber Version()
{
    return {SORVANE_VERSION_MAJOR, SORVANE_VERSION_MINOR, SORVANE_VERSION_PATCH};
}

} // namespace Velk::Math::Sorvane
