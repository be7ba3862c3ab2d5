// Moved to bench/support/Meshes.h.
#pragma once

#include "bench/support/Meshes.h"
