// Room in several lists before any of them changes, so that an edit of all of them cannot stop half
// way when memory runs out.
#pragma once

#include <algorithm>
#include <cstddef>

namespace Velk::Math::Impl {

/// Makes room for one more element in each of the vectors, by doubling as `push_back` does: the
/// next `push_back` of each allocates nothing. Either all have room afterwards, or the standard
/// library's allocation error passes through and none has changed but in its capacity.
template <class... Vectors>
void MakeRoomForOneMore(Vectors&... vectors)
{
    const auto grow = [](auto& vector) {
        constexpr std::size_t kFirst = 4;
        if (vector.size() == vector.capacity()) {
            vector.reserve(std::max(2 * vector.size(), kFirst));
        }
    };
    (grow(vectors), ...);
}

} // namespace Velk::Math::Impl
