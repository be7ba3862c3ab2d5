// Available memory of a Linux system, see AvailableMemory_Impl.h. Other systems have no such
// tables: the installed memory counts there when POSIX tells it.

#include "meshfiles/AvailableMemory_Impl.h"

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>
#include <new>
#include <optional>
#include <string>

#if __has_include(<unistd.h>)
#include <unistd.h>
#endif

namespace Velk::Math::Sorvane::MeshUtils::Impl {
namespace {

namespace fs = std::filesystem;

constexpr std::uint64_t kUnlimited = std::numeric_limits<std::uint64_t>::max();

std::string TextOf(const fs::path& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

/// The number that `text` begins with, after blanks.
std::optional<std::uint64_t> LeadingNumber(std::string_view text)
{
    text.remove_prefix(std::min(text.find_first_not_of(" \t"), text.size()));
    std::uint64_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() ? std::optional(number) : std::nullopt;
}

/// What follows `key` in the line of `table` that begins with it.
std::optional<std::string_view> Entry(std::string_view table, std::string_view key)
{
    while (!table.empty()) {
        const std::string_view line = table.substr(0, table.find('\n'));
        if (line.starts_with(key)) {
            return line.substr(key.size());
        }
        table.remove_prefix(std::min(line.size() + 1, table.size()));
    }
    return std::nullopt;
}

std::uint64_t NumberAt(std::string_view table, std::string_view key)
{
    return LeadingNumber(Entry(table, key).value_or("")).value_or(0);
}

std::uint64_t InstalledMemory()
{
#if defined(_SC_PHYS_PAGES) && defined(_SC_PAGESIZE)
    const long pages = sysconf(_SC_PHYS_PAGES);
    const long pageSize = sysconf(_SC_PAGESIZE);
    if (pages > 0 && pageSize > 0) {
        return static_cast<std::uint64_t>(pages) * static_cast<std::uint64_t>(pageSize);
    }
#endif
    return kUnlimited;
}

/// What the process's control group and the groups around it leave (version 2 of the hierarchy).
std::uint64_t AvailableInGroups()
{
    const std::string groups = TextOf("/proc/self/cgroup");
    const std::optional<std::string_view> group = Entry(groups, "0::/");
    if (!group) {
        return kUnlimited;
    }
    const fs::path root = "/sys/fs/cgroup";
    std::uint64_t available = kUnlimited;
    // Ends: each turn drops one name of the path.
    for (fs::path name = *group;; name = name.parent_path()) {
        const fs::path folder = name.empty() ? root : root / name;
        available = std::min(available, AvailableInGroup(TextOf(folder / "memory.max"),
                                                         TextOf(folder / "memory.current"),
                                                         TextOf(folder / "memory.stat")));
        if (name.empty()) {
            return available;
        }
    }
}

} // namespace

std::uint64_t AvailableInMachine(std::string_view memoryTable)
{
    constexpr std::uint64_t kUnit = 1024; // the table counts in "kB" of 1024 bytes
    const std::optional<std::string_view> available = Entry(memoryTable, "MemAvailable:");
    if (!available || !LeadingNumber(*available)) {
        return kUnlimited;
    }
    return (*LeadingNumber(*available) + NumberAt(memoryTable, "SwapFree:")) * kUnit;
}

std::uint64_t AvailableInGroup(std::string_view limit, std::string_view use,
                               std::string_view statistics)
{
    const std::optional<std::uint64_t> most = LeadingNumber(limit); // "max" is no number: no limit
    if (!most) {
        return kUnlimited;
    }
    const std::uint64_t used = LeadingNumber(use).value_or(0);
    const std::uint64_t cached =
        NumberAt(statistics, "active_file ") + NumberAt(statistics, "inactive_file ");
    const std::uint64_t held = used - std::min(used, cached);
    return *most - std::min(*most, held);
}

std::uint64_t AvailableMemory()
{
    const std::uint64_t machine = AvailableInMachine(TextOf("/proc/meminfo"));
    return std::min(machine == kUnlimited ? InstalledMemory() : machine, AvailableInGroups());
}

bool HasMemory(std::uint64_t bytes)
{
    constexpr std::uint64_t kUnseen = std::uint64_t{64} << 20U;
    return bytes <= kUnseen || bytes <= AvailableMemory();
}

void RequireMemory(std::uint64_t bytes)
{
    if (!HasMemory(bytes)) {
        throw std::bad_alloc();
    }
}

} // namespace Velk::Math::Sorvane::MeshUtils::Impl
