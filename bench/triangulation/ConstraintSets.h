// Moved to bench/support/ConstraintSets.h.
#pragma once

#include "bench/support/ConstraintSets.h"
