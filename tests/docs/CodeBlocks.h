// The C++ blocks of the guide pages, as code_blocks.awk makes them into functions.
#pragma once

namespace CodeBlocks {

/// Enters a block by its page and line; `run` is null for a program, which is compiled only.
bool Register(const char* page, int line, void (*run)());

} // namespace CodeBlocks
