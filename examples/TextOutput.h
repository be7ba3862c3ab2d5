// A text file to write to, for the example programs.
#pragma once

#include <cstdio>
#include <memory>

using TextOutput = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

/// Null, and said so, when the file can't be opened.
inline TextOutput OpenTextOutput(const char* path)
{
    TextOutput file(std::fopen(path, "w"), &std::fclose);
    if (!file) {
        std::fprintf(stderr, "%s: can't be written\n", path);
    }
    return file;
}
