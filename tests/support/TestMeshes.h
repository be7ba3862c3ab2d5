// Moved to tests/support/MeshGenerators.h and tests/support/StlFile.h.
#pragma once

#include "tests/support/MeshGenerators.h"
#include "tests/support/StlFile.h"
