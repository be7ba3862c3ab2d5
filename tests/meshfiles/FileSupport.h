// Moved to tests/support/FileSupport.h.
#pragma once

#include "tests/support/FileSupport.h"
#include "tests/support/TestSupport.h"
