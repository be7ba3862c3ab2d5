// Moved to bench/support/Points.h and bench/support/Meshes.h.
#pragma once

#include "bench/support/Meshes.h"
#include "bench/support/Points.h"
