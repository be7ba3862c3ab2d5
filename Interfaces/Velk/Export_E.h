// How the library shows what a host may call. It is compiled with hidden visibility, so a declaration
// without SORVANE_API stays private to it.
#pragma once

#if defined(_WIN32)
#if defined(SORVANE_BUILDING)
#define SORVANE_API __declspec(dllexport)
#else
#define SORVANE_API __declspec(dllimport)
#endif
#define SORVANE_LOCAL
#else
/// Marks what a host may call: functions, classes and explicit instantiations.
#define SORVANE_API __attribute__((visibility("default")))
/// Takes a member template of a marked class out again, whose instances are the library's own affair.
#define SORVANE_LOCAL __attribute__((visibility("hidden")))
#endif
