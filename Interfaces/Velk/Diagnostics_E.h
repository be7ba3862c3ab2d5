// The assert handler: where the library reports a condition that should never arise.
#pragma once

#include <Velk/Export_E.h>

#include <string>

namespace Velk::Diagnostics {

/// Called with source file name, line and qualified function name, possibly from several threads at
/// once. What it returns is handed on and ignored by the library.
using AssertHandler = bool (*)(const std::string& sourceFile, int line, const std::string& function);

/// Installs `handler` for the whole process and returns the one it replaces, which is never null.
/// Null stands for the default handler, which does nothing and returns false. Safe to call from any
/// thread; a report that is on its way at that moment may still reach the handler replaced.
SORVANE_API AssertHandler SetAssertHandler(AssertHandler handler);

namespace Details {

/// Reports a broken internal condition to the handler of the moment and returns its answer.
SORVANE_API bool InvokeCurrentAssertHandler(std::string sourceFile, int line, std::string function);

} // namespace Details
} // namespace Velk::Diagnostics
