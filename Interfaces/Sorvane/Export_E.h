// SORVANE_API: marks what a host may call. The library is compiled with hidden visibility, so a
// declaration without the macro stays private to it.
#pragma once

#if defined(_WIN32)
#if defined(SORVANE_BUILDING)
#define SORVANE_API __declspec(dllexport)
#else
#define SORVANE_API __declspec(dllimport)
#endif
#else
#define SORVANE_API __attribute__((visibility("default")))
#endif
