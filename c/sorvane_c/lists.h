/*
 * Lists of numbers of triangles or points, many at once: what searches of several places answer with.
 */
#ifndef SORVANE_C_LISTS_H
#define SORVANE_C_LISTS_H

#include "core.h"

#ifdef __cplusplus
extern "C" {
#endif

/* The numbers of all lists stand one after the other; list i has those from starts[i] to starts[i + 1] - 1. */
typedef struct sorvane_lists sorvane_lists;

/* Number of lists. */
SORVANE_C_API size_t sorvane_lists_count(const sorvane_lists *lists);
/* All numbers; `count` gets how many there are and may be NULL. */
SORVANE_C_API const int *sorvane_lists_numbers(const sorvane_lists *lists, size_t *count);
/* One number more than there are lists; `count` gets that and may be NULL. */
SORVANE_C_API const int *sorvane_lists_starts(const sorvane_lists *lists, size_t *count);
SORVANE_C_API void sorvane_lists_free(sorvane_lists *lists);

#ifdef __cplusplus
}
#endif

#endif
