// A file's new content, which comes to stand under the file's name as a whole or not at all.
#pragma once

#include "meshfiles/FileBytes_Impl.h"

#include <Sorvane/MeshFiles_E.h>

#include <filesystem>
#include <optional>
#include <system_error>

namespace Velk::Math::Sorvane::MeshUtils::Impl {

/// Writes to a new file in the folder of the one to be replaced, and renames it at the end: a
/// rename within a folder is one step for everybody who looks. Until then, and if the object dies
/// before, the old file is as it was, and the new one is removed.
///
/// A symbolic link is followed, so that it stays one. What is no regular file (a pipe, a device)
/// has no content to be kept and is written to directly.
class FileReplacement {
public:
    /// Makes the new file; `Failure` tells whether it could.
    explicit FileReplacement(const std::filesystem::path& path);
    ~FileReplacement();
    FileReplacement(const FileReplacement&) = delete;
    FileReplacement& operator=(const FileReplacement&) = delete;

    struct Outcome {
        MeshFileError error = MeshFileError::None;
        std::error_code system;
    };

    const Outcome& Failure() const { return failure_; }
    /// To be written to, if there is no failure.
    ByteWriter& Writer() { return *writer_; }
    /// Brings what was written to the disk and gives it its name.
    Outcome Commit();

private:
    void Begin(const std::filesystem::path& path);
    void MakeBeside(unsigned int mode);

    std::filesystem::path target_;
    std::filesystem::path beside_; // empty when the target is written to directly, or all is done
    std::optional<ByteWriter> writer_;
    Outcome failure_;
};

} // namespace Velk::Math::Sorvane::MeshUtils::Impl
