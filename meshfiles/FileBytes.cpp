// Byte-wise files over the standard streams, see FileBytes_Impl.h.

#include "meshfiles/FileBytes_Impl.h"

#include <locale>
#include <system_error>

#if defined(__linux__)
#include <sys/mman.h>
#endif

namespace Velk::Math::Sorvane::MeshUtils::Impl {

ByteReader::ByteReader(const std::filesystem::path& path)
{
    file_.imbue(std::locale::classic());
    file_.open(path, std::ios::in | std::ios::binary);
    isOpen_ = file_.is_open();
    std::error_code isNoRegularFile;
    const std::uintmax_t size = std::filesystem::file_size(path, isNoRegularFile);
    sizeHint_ = isNoRegularFile ? 0 : size;
}

ByteReader::ByteReader(std::span<const std::byte> bytes)
    : memory_(bytes), isOpen_(true), sizeHint_(bytes.size())
{
}

std::size_t ByteReader::Read(void* to, std::size_t count)
{
    if (!file_.is_open()) {
        const std::size_t available = std::min(count, memory_.size());
        if (available > 0) {
            std::memcpy(to, memory_.data(), available);
        }
        memory_ = memory_.subspan(available);
        return available;
    }
    // A failed stream reads nothing more and counts 0.
    file_.read(static_cast<char*>(to), static_cast<std::streamsize>(count));
    return static_cast<std::size_t>(file_.gcount());
}

ByteWriter::ByteWriter(const std::filesystem::path& path, std::ios::openmode mode)
{
    file_.imbue(std::locale::classic());
    file_.open(path, std::ios::out | std::ios::trunc | mode);
}

void ByteWriter::Write(const void* bytes, std::size_t count)
{
    file_.write(static_cast<const char*>(bytes), static_cast<std::streamsize>(count));
}

void PreferLargePages([[maybe_unused]] void* begin, [[maybe_unused]] std::size_t bytes)
{
#if defined(__linux__) && defined(MADV_HUGEPAGE)
    constexpr std::size_t kSmallPage = 4096;
    constexpr std::size_t kWorthwhile = std::size_t{4} << 20U; // two large pages
    if (bytes >= kWorthwhile) {
        // Advice covers whole pages: the parts of pages at both ends stay as they are. It may be
        // refused.
        const std::size_t offset =
            (kSmallPage - reinterpret_cast<std::uintptr_t>(begin) % kSmallPage) % kSmallPage;
        (void)madvise(static_cast<char*>(begin) + offset,
                      (bytes - offset) / kSmallPage * kSmallPage, MADV_HUGEPAGE);
    }
#endif
}

} // namespace Velk::Math::Sorvane::MeshUtils::Impl
