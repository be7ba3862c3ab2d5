// Pictures to a file or to the standard output, for the example programs.
#pragma once

#include <Sorvane/SvgWriter_E.h>

#include <cstdio>
#include <string>

/// False, and said so, when the file can't be written.
inline bool SavePicture(const Velk::Math::Sorvane::Drawing::SvgWriter& picture,
                        const std::string& path)
{
    const bool isWritten = picture.Write(path);
    if (!isWritten) {
        std::fprintf(stderr, "%s: can't be written\n", path.c_str());
    }
    return isWritten;
}

/// What a program that draws to its standard output ends with: 0, or 1 and said so when not all of
/// it could be written.
inline int PrintPicture(const Velk::Math::Sorvane::Drawing::SvgWriter& picture)
{
    std::fputs(picture.Text().c_str(), stdout);
    const bool isWritten = std::fflush(stdout) == 0 && std::ferror(stdout) == 0;
    if (!isWritten) {
        std::fprintf(stderr, "the picture can't be written\n");
    }
    return isWritten ? 0 : 1;
}
