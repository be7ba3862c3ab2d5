// A text file to write to, for the example programs.
#pragma once

#include <cstdio>
#include <string>

class TextOutput {
public:
    /// Says so when the file can't be opened.
    explicit TextOutput(const std::string& path) : path_(path), file_(std::fopen(path.c_str(), "w"))
    {
        Check(file_ != nullptr);
    }
    ~TextOutput()
    {
        if (file_ != nullptr) {
            std::fclose(file_);
        }
    }
    TextOutput(const TextOutput&) = delete;
    TextOutput& operator=(const TextOutput&) = delete;

    bool IsOpen() const { return file_ != nullptr; }
    /// For std::fprintf.
    std::FILE* File() const { return file_; }

    /// Closes the file. False, and said so, when not all of it could be written.
    bool Finish()
    {
        const bool isWritten = std::ferror(file_) == 0;
        const bool isClosed = std::fclose(file_) == 0;
        file_ = nullptr;
        return Check(isWritten && isClosed);
    }

private:
    bool Check(bool isGood) const
    {
        if (!isGood) {
            std::fprintf(stderr, "%s: can't be written\n", path_.c_str());
        }
        return isGood;
    }

    std::string path_;
    std::FILE* file_;
};

/// What a program that draws to its standard output ends with: 0, or 1 and said so when not all of
/// it could be written.
inline int FinishStandardOutput()
{
    const bool isWritten = std::fflush(stdout) == 0 && std::ferror(stdout) == 0;
    if (!isWritten) {
        std::fprintf(stderr, "the picture can't be written\n");
    }
    return isWritten ? 0 : 1;
}
