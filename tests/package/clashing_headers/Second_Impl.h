// The other one; see First_Impl.h.
#pragma once

namespace Velk::Math::Impl {

struct Meeting {
    int end;
};

} // namespace Velk::Math::Impl
