#include "tests/support/Instantiations.h"

SORVANE_TEST_INSTANTIATIONS()
