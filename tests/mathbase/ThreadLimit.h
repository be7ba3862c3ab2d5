// Moved to tests/support/ThreadLimit.h.
#pragma once

#include "tests/support/TestSupport.h"
#include "tests/support/ThreadLimit.h"
