// SORVANE_API: marks what a host may call. The library is compiled with hidden visibility, so a
// declaration without the macro stays private to it.
// SORVANE_LOCAL: takes a member template of a marked class out again, whose instances are the library's
// own business.
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
