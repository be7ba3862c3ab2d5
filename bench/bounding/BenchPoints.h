// Moved to bench/support/Points.h.
#pragma once

#include "bench/support/Points.h"
