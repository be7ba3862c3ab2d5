// Whether the memory that a file asks for is there, told before any of it is touched.
//
// Systems that overcommit grant an allocation of any size and kill the process when it is filled. A
// count in a file must not bring that about: it has to surface as std::bad_alloc. So a reader asks
// here before it allocates.
#pragma once

#include <cstdint>
#include <string_view>

namespace Velk::Math::Sorvane::MeshUtils::Impl {

/// True when `bytes` are at most `AvailableMemory`. Requests up to 64 MiB pass unseen: asking the
/// system costs more than they are worth.
bool HasMemory(std::uint64_t bytes);

/// Throws std::bad_alloc unless `HasMemory`.
void RequireMemory(std::uint64_t bytes);

/// Bytes that a new allocation may hope to fill: what the machine has available, swap included, or
/// what the control group of the process has left when that is less. The largest number where
/// neither can be told; the allocator alone decides then.
std::uint64_t AvailableMemory();

/// The machine's part of it, from the text of its memory table (/proc/meminfo).
std::uint64_t AvailableInMachine(std::string_view memoryTable);

/// A control group's part of it, from the texts of its limit, its present use, and its statistics
/// (memory.max, memory.current, memory.stat). Cached file pages count as use there but make room at
/// need.
std::uint64_t AvailableInGroup(std::string_view limit, std::string_view use,
                               std::string_view statistics);

} // namespace Velk::Math::Sorvane::MeshUtils::Impl
