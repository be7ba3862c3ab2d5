// Writing beside and renaming by the calls of POSIX, see FileReplacement_Impl.h.

#include "meshfiles/FileReplacement_Impl.h"

#include <atomic>
#include <cerrno>
#include <string>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Velk::Math::Sorvane::MeshUtils::Impl {
namespace {

namespace fs = std::filesystem;

/// What a chain of symbolic links leads to, whether that exists or not. A chain that runs in a
/// circle ends somewhere in it, and opening that file fails.
fs::path LinksFollowed(fs::path path)
{
    constexpr int kMostLinks = 40; // as many as the system follows
    std::error_code error;
    for (int i = 0; i < kMostLinks && fs::is_symlink(path, error); ++i) {
        const fs::path next = fs::read_symlink(path, error);
        if (error) {
            break;
        }
        path = next.is_absolute() ? next : path.parent_path() / next;
    }
    return path;
}

/// A name that no other call uses, of this process or another one. It does not begin with the name
/// of the file it is for, which may already be as long as names can be.
fs::path NameBeside(const fs::path& target)
{
    static std::atomic<unsigned int> number{0};
    const std::string name = ".sorvane-" + std::to_string(::getpid()) + '-' +
                             std::to_string(number.fetch_add(1)) + ".tmp";
    return target.parent_path() / name;
}

std::error_code LastError() { return {errno, std::generic_category()}; }

} // namespace

FileReplacement::FileReplacement(const fs::path& path) { Begin(path); }

FileReplacement::~FileReplacement()
{
    if (!beside_.empty()) {
        std::error_code ignored;
        writer_.reset();
        fs::remove(beside_, ignored);
    }
}

void FileReplacement::Begin(const fs::path& path)
{
    struct stat status {};
    const bool exists = ::stat(path.c_str(), &status) == 0;
    if (!exists && errno != ENOENT) {
        const bool isMissing = errno == ENOTDIR;
        failure_ = {isMissing ? MeshFileError::NoSuchFolder : MeshFileError::NotOpened,
                    LastError()};
        return;
    }
    if (exists && S_ISDIR(status.st_mode)) {
        failure_ = {MeshFileError::IsFolder, {}};
        return;
    }
    if (exists && !S_ISREG(status.st_mode)) {
        writer_.emplace(path);
        if (!writer_->IsOpen()) {
            failure_ = {MeshFileError::NotOpened, writer_->Error()};
        }
        return;
    }
    target_ = LinksFollowed(path);
    // Renaming needs leave for the folder only. A file that is protected against writing is meant
    // to stay.
    if (exists && ::faccessat(AT_FDCWD, target_.c_str(), W_OK, AT_EACCESS) != 0) {
        failure_ = {MeshFileError::NotOpened, LastError()};
        return;
    }
    const unsigned int permissions = status.st_mode & 0777U;
    MakeBeside(exists ? permissions : 0666U);
    if (exists && failure_.error == MeshFileError::None) {
        // Making it has taken away the bits that the process masks. That they can't be set is no
        // reason not to write: some file systems have none.
        (void)::chmod(beside_.c_str(), permissions);
    }
}

void FileReplacement::MakeBeside(unsigned int mode)
{
    // A name may be taken by what a process of the same number left behind when it was ended.
    constexpr int kMostTries = 1000;
    for (int i = 0; i < kMostTries; ++i) {
        beside_ = NameBeside(target_);
        writer_.emplace(ByteWriter::MakeNew(beside_, mode));
        if (writer_->IsOpen()) {
            return;
        }
        if (writer_->Error() != std::errc::file_exists) {
            break;
        }
    }
    beside_.clear();
    std::error_code ignored;
    const fs::path folder = target_.has_parent_path() ? target_.parent_path() : fs::path(".");
    failure_ = {fs::is_directory(folder, ignored) ? MeshFileError::NotOpened
                                                  : MeshFileError::NoSuchFolder,
                writer_->Error()};
}

FileReplacement::Outcome FileReplacement::Commit()
{
    if (const std::error_code error = writer_->Finish()) {
        return {MeshFileError::WriteFailed, error};
    }
    if (!beside_.empty()) {
        std::error_code error;
        fs::rename(beside_, target_, error);
        if (error) {
            return {MeshFileError::NotReplaced, error};
        }
        beside_.clear();
    }
    return {};
}

} // namespace Velk::Math::Sorvane::MeshUtils::Impl
