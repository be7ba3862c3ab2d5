// Moved to tests/support/JsonText.h.
#pragma once

#include "tests/support/JsonText.h"
#include "tests/support/TestSupport.h"
