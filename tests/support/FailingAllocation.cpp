// The global operators behind `FailingAllocation`: memory of `malloc`, counted.

#include "tests/support/FailingAllocation.h"

#include <cstdlib>

namespace Support {
namespace {

// Without dynamic initialization: the first allocation may come before any constructor has run.
constinit thread_local std::size_t allocationCount = 0;
constinit thread_local std::size_t failingNumber = 0; // counted as above; 0: none
constinit thread_local bool hasFailed = false;

/// Counts an allocation; true when it is the one to be refused.
bool IsRefused()
{
    if (++allocationCount != failingNumber) {
        return false;
    }
    hasFailed = true;
    return true;
}

void* Allocated(std::size_t size)
{
    return IsRefused() ? nullptr : std::malloc(size == 0 ? 1 : size);
}

void* Allocated(std::size_t size, std::align_val_t alignment)
{
    const auto step = static_cast<std::size_t>(alignment);
    // A multiple of the alignment, as `aligned_alloc` demands.
    return IsRefused() ? nullptr : std::aligned_alloc(step, (size + step) / step * step);
}

template <class... Alignment>
void* AllocatedOrThrow(std::size_t size, Alignment... alignment)
{
    void* memory = Allocated(size, alignment...);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

} // namespace

std::size_t AllocationCount() { return allocationCount; }

FailingAllocation::FailingAllocation(std::size_t which)
{
    hasFailed = false;
    failingNumber = allocationCount + which;
}

FailingAllocation::~FailingAllocation() { failingNumber = 0; }

bool FailingAllocation::HasFailed() const { return hasFailed; }

} // namespace Support

// clang-format off
void* operator new(std::size_t size) { return Support::AllocatedOrThrow(size); }
void* operator new[](std::size_t size) { return Support::AllocatedOrThrow(size); }
void* operator new(std::size_t size, std::align_val_t alignment) { return Support::AllocatedOrThrow(size, alignment); }
void* operator new[](std::size_t size, std::align_val_t alignment) { return Support::AllocatedOrThrow(size, alignment); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return Support::Allocated(size); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return Support::Allocated(size); }
void* operator new(std::size_t size, std::align_val_t alignment, const std::nothrow_t&) noexcept { return Support::Allocated(size, alignment); }
void* operator new[](std::size_t size, std::align_val_t alignment, const std::nothrow_t&) noexcept { return Support::Allocated(size, alignment); }

void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete(void* memory, std::align_val_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::align_val_t) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t, std::align_val_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t, std::align_val_t) noexcept { std::free(memory); }
void operator delete(void* memory, const std::nothrow_t&) noexcept { std::free(memory); }
void operator delete[](void* memory, const std::nothrow_t&) noexcept { std::free(memory); }
void operator delete(void* memory, std::align_val_t, const std::nothrow_t&) noexcept { std::free(memory); }
void operator delete[](void* memory, std::align_val_t, const std::nothrow_t&) noexcept { std::free(memory); }
// clang-format on
