// What nearly every test includes, compiled once for all test programs. Each test still includes what it
// uses, since builds with SORVANE_PRECOMPILE_TESTS=OFF do without this header.
#pragma once

#include "tests/support/Instantiations.h"
#include "tests/support/TestSupport.h"

#include <Velk/Math/Vector_E.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <fstream>
#include <functional>
#include <iterator>
#include <limits>
#include <map>
#include <numeric>
#include <set>
#include <sstream>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>
