// The export macro of the library; it stands with the math base, whose headers need it too.
#pragma once

#include <Velk/Export_E.h>
