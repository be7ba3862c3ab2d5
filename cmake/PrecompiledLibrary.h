// What nearly every source of the library includes, compiled once for builds that test it under sanitizers
// (SORVANE_PRECOMPILE_LIBRARY). Every source still includes what it uses: all other builds do without this header.
#pragma once

#include "mathbase/Values_Impl.h"

#include <Sorvane/IndexedMesh_E.h>
#include <Velk/Math/Geometry_E.h>
#include <Velk/Math/Transform_E.h>
#include <Velk/Math/Vector_E.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <iterator>
#include <limits>
#include <map>
#include <memory>
#include <numeric>
#include <optional>
#include <set>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <unordered_map>
#include <utility>
#include <vector>
