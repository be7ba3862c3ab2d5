// Moved to tests/support/PointSets.h.
#pragma once

#include "tests/support/PointSets.h"
#include "tests/support/TestSupport.h"
