// How every function of the C interface runs: what is thrown becomes a status, and a stop of the host's is told.
#pragma once

#include "sorvane_c/core.h"

#include <cstddef>
#include <cstring>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace SorvaneC {

/// What a function of the interface throws when it can't serve its arguments.
struct Failure {
    sorvane_status status;
    std::string message;
    long long index = -1;
};

[[noreturn]] void BadArgument(std::string message, long long index = -1);
[[noreturn]] void BadIndex(std::string message, long long index);
[[noreturn]] void Failed(std::string message, long long index = -1);

/// Within a catch block: fills in the error for whatever is being handled.
sorvane_status Report(sorvane_error* error) noexcept;

/// True when the innermost scope of this thread has been stopped.
bool IsStopped() noexcept;
sorvane_status ReportStop(sorvane_error* error) noexcept;

/// Runs `work`. Where it returns a handle (see `Made`), the caller gets that only when `work` has come to its end and
/// nobody has asked to stop.
template <class Work> sorvane_status Guarded(sorvane_error* error, Work&& work) noexcept
{
    try {
        if constexpr (std::is_void_v<decltype(work())>) {
            work();
            return IsStopped() ? ReportStop(error) : SORVANE_OK;
        } else {
            auto made = work();
            if (IsStopped()) {
                return ReportStop(error);
            }
            made.HandOver();
            return SORVANE_OK;
        }
    } catch (...) {
        return Report(error);
    }
}

/// A handle that was made and where the caller wants it.
template <class Handle> class Made {
public:
    Made(Handle** place, std::unique_ptr<Handle> handle) : place_(place), handle_(std::move(handle)) {}
    void HandOver() noexcept { *place_ = handle_.release(); }

private:
    Handle** place_;
    std::unique_ptr<Handle> handle_;
};

/// The place of a result, which is NULL until there is one.
template <class Handle> Handle** Result(Handle** place, const char* name)
{
    if (place == nullptr) {
        BadArgument(std::string(name) + " is NULL");
    }
    *place = nullptr;
    return place;
}

/// `pointer` of an argument that may not be NULL.
template <class T> T& Required(T* pointer, const char* name)
{
    if (pointer == nullptr) {
        BadArgument(std::string(name) + " is NULL");
    }
    return *pointer;
}

/// A number as messages show it: as few digits as tell it from all others, with a point whatever the locale.
std::string Text(double value);

/// The number of an enumerator that comes from C, where it may be any: to load one that there is not has no meaning in
/// C++.
template <class Enum> int NumberOf(const Enum& value) noexcept
{
    int number = 0;
    static_assert(sizeof(value) == sizeof(number));
    std::memcpy(&number, &value, sizeof(number));
    return number;
}

/// Checks that an array is there when it has elements, and that its count makes sense for `int` subscripts.
void CheckArray(const void* array, std::size_t count, const char* name);

/// What accessors give: the array, and the number of its elements of `size` values each.
template <class T> const T* Elements(const std::vector<T>& values, std::size_t* count, std::size_t size = 1) noexcept
{
    if (count != nullptr) {
        *count = values.size() / size;
    }
    return values.data();
}

/// No structure of options is larger; a size beyond it was never set.
constexpr std::size_t kLargestOptions = 1U << 16;

/// The options of the caller: the sensible values, overwritten by as much as the caller's structure has.
///
/// A structure of options that grows must do three things so that programs compiled before go on working:
/// - The new field begins at or behind the former end, not in padding before it, which older programs leave unset: an
///   `int` behind an odd number of them needs an unused one in between.
/// - `_init` of before fills in the former structure alone, since the caller's has no room for more: the new one gets
///   a symbol of its own under the same name, by a version node in sorvane_c.map.
/// - Sizes and last fields stand in a test of the layouts, which then fails and is brought up to date.
template <class Options> Options OptionsOf(const Options* given, void (*init)(Options*))
{
    Options options;
    init(&options);
    if (given != nullptr) {
        const std::size_t size = given->size;
        if (size < sizeof(size) || size > kLargestOptions) {
            BadArgument("size of the options is not set: call their _init function first");
        }
        const std::size_t known = size < sizeof(Options) ? size : sizeof(Options);
        std::memcpy(static_cast<void*>(&options), given, known);
        options.size = sizeof(Options);
    }
    return options;
}

} // namespace SorvaneC
