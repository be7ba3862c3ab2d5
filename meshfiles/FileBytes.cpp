// Files by the calls of POSIX, see FileBytes_Impl.h.

#include "meshfiles/FileBytes_Impl.h"

#include <cerrno>
#include <csignal>
#include <ctime>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#if defined(__linux__)
#include <sys/mman.h>
#endif

namespace Velk::Math::Sorvane::MeshUtils::Impl {
namespace {

std::error_code LastError() { return {errno, std::generic_category()}; }

/// Runs a system call again for as long as a signal interrupts it.
template <class Call>
auto Uninterrupted(Call&& call)
{
    auto result = call();
    while (result < 0 && errno == EINTR) {
        result = call();
    }
    return result;
}

int Open(const std::filesystem::path& path, int flags, unsigned int mode)
{
    return Uninterrupted([&] { return ::open(path.c_str(), flags | O_CLOEXEC, mode); });
}

/// Keeps the signals that a failing write raises from the host, which may not know that its files
/// are pipes and would be ended by them.
///
/// They are raised for the thread that writes. So they are blocked there while it does, and one
/// that has come is taken away before the block ends, unless it had been waiting before.
class WithoutWriteSignals {
public:
    WithoutWriteSignals()
    {
        sigemptyset(&signals_);
        sigaddset(&signals_, SIGPIPE);
        sigaddset(&signals_, SIGXFSZ);
        pthread_sigmask(SIG_BLOCK, &signals_, &blockedBefore_);
        sigpending(&pendingBefore_);
    }

    ~WithoutWriteSignals()
    {
        const int keptError = errno;
        for (const int signal : {SIGPIPE, SIGXFSZ}) {
            sigset_t pending;
            sigpending(&pending);
            if (sigismember(&pending, signal) == 1 && sigismember(&pendingBefore_, signal) == 0) {
                sigset_t one;
                sigemptyset(&one);
                sigaddset(&one, signal);
                const timespec noTime{};
                Uninterrupted([&] { return sigtimedwait(&one, nullptr, &noTime); });
            }
        }
        pthread_sigmask(SIG_SETMASK, &blockedBefore_, nullptr);
        errno = keptError;
    }

    WithoutWriteSignals(const WithoutWriteSignals&) = delete;
    WithoutWriteSignals& operator=(const WithoutWriteSignals&) = delete;

private:
    sigset_t signals_;
    sigset_t blockedBefore_;
    sigset_t pendingBefore_;
};

} // namespace

std::error_code FileHandle::Close()
{
    // Not called again after an interruption: the number is free then, and may be another file's.
    const bool isClosed = number_ < 0 || ::close(std::exchange(number_, -1)) == 0 || errno == EINTR;
    return isClosed ? std::error_code() : LastError();
}

ByteReader::ByteReader(const std::filesystem::path& path)
    : file_(Open(path, O_RDONLY, 0)), isOpen_(file_.IsOpen()),
      error_(isOpen_ ? std::error_code() : LastError())
{
    struct stat status {};
    if (isOpen_ && ::fstat(file_.Number(), &status) == 0) {
        kind_ = S_ISREG(status.st_mode)   ? FileKind::Regular
                : S_ISDIR(status.st_mode) ? FileKind::Folder
                                          : FileKind::Other;
        sizeHint_ = kind_ == FileKind::Regular ? static_cast<std::uint64_t>(status.st_size) : 0;
    }
}

ByteReader::ByteReader(std::span<const std::byte> bytes)
    : memory_(bytes), isOpen_(true), sizeHint_(bytes.size())
{
}

std::size_t ByteReader::Read(void* to, std::size_t count)
{
    if (!file_.IsOpen()) {
        std::error_code none;
        const std::size_t arrived = ReadAt(memoryRead_, to, count, none);
        memoryRead_ += arrived;
        return arrived;
    }
    std::size_t arrived = 0;
    while (arrived < count && !isAtEnd_) {
        const auto bytes = Uninterrupted([&] {
            return ::read(file_.Number(), static_cast<char*>(to) + arrived, count - arrived);
        });
        isAtEnd_ = bytes <= 0;
        if (bytes < 0) {
            error_ = LastError();
        } else {
            arrived += static_cast<std::size_t>(bytes);
        }
    }
    return arrived;
}

std::size_t ByteReader::ReadAt(std::uint64_t offset, void* to, std::size_t count,
                               std::error_code& error) const
{
    if (!file_.IsOpen()) {
        const std::size_t begin =
            static_cast<std::size_t>(std::min<std::uint64_t>(offset, memory_.size()));
        const std::size_t available = std::min(count, memory_.size() - begin);
        if (available > 0) {
            std::memcpy(to, memory_.data() + begin, available);
        }
        return available;
    }
    std::size_t arrived = 0;
    while (arrived < count) {
        const auto bytes = Uninterrupted([&] {
            return ::pread(file_.Number(), static_cast<char*>(to) + arrived, count - arrived,
                           static_cast<off_t>(offset + arrived));
        });
        if (bytes <= 0) {
            if (bytes < 0) {
                error = LastError();
            }
            break;
        }
        arrived += static_cast<std::size_t>(bytes);
    }
    return arrived;
}

ByteWriter::ByteWriter(const std::filesystem::path& path, int flags, unsigned int mode)
    : file_(Open(path, O_WRONLY | O_CREAT | flags, mode)),
      error_(file_.IsOpen() ? std::error_code() : LastError())
{
}

ByteWriter::ByteWriter(const std::filesystem::path& path) : ByteWriter(path, O_TRUNC, 0666) {}

ByteWriter ByteWriter::MakeNew(const std::filesystem::path& path, unsigned int mode)
{
    return ByteWriter(path, O_EXCL, mode);
}

void ByteWriter::Write(const void* bytes, std::size_t count)
{
    if (!IsOpen() || error_ || count == 0) {
        return;
    }
    if (memory_ != nullptr) {
        const auto* const first = static_cast<const std::byte*>(bytes);
        memory_->insert(memory_->end(), first, first + count);
        return;
    }
    const WithoutWriteSignals quiet;
    const char* at = static_cast<const char*>(bytes);
    while (count > 0) {
        const auto written = Uninterrupted([&] { return ::write(file_.Number(), at, count); });
        if (written <= 0) { // 0 does not happen, and must not run in a circle
            error_ = written < 0 ? LastError() : std::make_error_code(std::errc::io_error);
            return;
        }
        at += written;
        count -= static_cast<std::size_t>(written);
    }
}

std::error_code ByteWriter::Finish()
{
    if (file_.IsOpen() && !error_) {
        // What can't be flushed (a pipe, some file systems) says so by these errors.
        const int flushed = Uninterrupted([&] { return ::fsync(file_.Number()); });
        if (flushed < 0 && errno != EINVAL && errno != ENOTSUP && errno != EROFS) {
            error_ = LastError();
        }
    }
    const std::error_code closing = file_.Close();
    error_ = error_ ? error_ : closing;
    return error_;
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
