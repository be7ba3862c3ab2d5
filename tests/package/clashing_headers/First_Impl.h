// One of two headers that each declare their own Meeting, for the check that finds such a pair.
#pragma once

namespace Velk::Math::Impl {

struct Meeting {
    double parameter;
};

} // namespace Velk::Math::Impl
