/*
 * What every part of the C interface shares: status codes, the error object, progress, version, lists of lines.
 *
 * Conventions, for all functions:
 *
 * - A function that can fail returns a `sorvane_status`, and its last argument is a `sorvane_error *`, which may be NULL.
 *   It is filled in on failure and left alone on success. No C++ exception leaves a function; a lack of memory is
 *   SORVANE_OUT_OF_MEMORY.
 * - Results come last but the error: numbers through pointers, arrays whose length the caller knows beforehand into
 *   memory of the caller, everything else as an opaque handle. On failure, outputs of handles are set to NULL and
 *   others are left alone or partly written. A handle is released with its own `_free`, which takes NULL.
 * - Accessors of a handle, not NULL, cannot fail and give memory that belongs to the handle: valid until freed, and never
 *   changed, since handles are not changed once they are made. So one handle may be used by several threads at a time.
 * - Points are 3 (or 2) `double` each, one after the other; triangles are 3 `int` each, subscripts of the points. Counts
 *   are numbers of points, triangles and so on, never of single coordinates. An array of no elements may be NULL.
 * - Indices, counts and sizes are checked; coordinates may be anything, and what comes of one that is not finite is
 *   told at each function.
 * - Options stand in a structure whose first field is its size. `X_options_init(&options)` fills in all fields, with the
 *   sensible values that stand behind each of them; NULL in place of options means these values. A program that was
 *   compiled with an older, shorter structure gets those values for the fields it does not know.
 * - Lengths are in the unit of the points; angles are in degrees where the name ends in `_degrees`, otherwise in radians.
 */
#ifndef SORVANE_C_CORE_H
#define SORVANE_C_CORE_H

#include <stddef.h>

/* Marks what the shared library shows. */
#if defined(_WIN32)
#if defined(SORVANE_C_BUILDING)
#define SORVANE_C_API __declspec(dllexport)
#else
#define SORVANE_C_API __declspec(dllimport)
#endif
#else
#define SORVANE_C_API __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* What a function answers. */
typedef enum sorvane_status {
    SORVANE_OK = 0,            /* done */
    SORVANE_BAD_ARGUMENT = 1,  /* an argument that cannot be served; the message names it */
    SORVANE_BAD_INDEX = 2,     /* a subscript out of range; `index` of the error says at which place of its array */
    SORVANE_OUT_OF_MEMORY = 3, /* nothing was changed */
    SORVANE_FILE_ERROR = 4,    /* a file that cannot be read or written; the message says why */
    SORVANE_FAILED = 5,        /* the geometry does not allow it; the message says why */
    SORVANE_STOPPED = 6,       /* the report of a progress scope has asked to stop */
    SORVANE_INTERNAL = 7       /* a fault of this library */
} sorvane_status;

/* Why a function failed. The caller owns it; it needs no initialization and no release. */
typedef struct sorvane_error {
    sorvane_status status;
    /* The triangle, edge, point, line or element that is to blame, counted from 0, or -1 without one; the message says
       of what it is the number. */
    long long index;
    char message[488]; /* an English sentence, UTF-8 but for the bytes of a path, which stand as given; ends with a 0 */
} sorvane_error;

/* Name of a status, such as "SORVANE_OK"; never NULL. */
SORVANE_C_API const char *sorvane_status_name(sorvane_status status);

/* Version of the library that the program has loaded, as three numbers. Each pointer may be NULL. */
SORVANE_C_API void sorvane_version(int *major, int *minor, int *patch);

/* --- progress ------------------------------------------------------------------------------------------------- */

/* Told a fraction in [0, 1], at most some 30 times a second, on the thread of the call; returns 0 to stop the operation. */
typedef int (*sorvane_report)(double fraction, void *user);

/*
 * Between open and close, the long operations that the same thread calls report to `report`, and return SORVANE_STOPPED
 * within some milliseconds once it has returned 0, and so do all later calls until the scope is closed. Scopes nest: the
 * inner one hears. The one opened last is closed first, on its own thread. Results are the same, to the last bit, with
 * and without a scope.
 */
typedef struct sorvane_progress sorvane_progress;

SORVANE_C_API sorvane_status sorvane_progress_open(sorvane_report report, void *user, sorvane_progress **progress,
                                                   sorvane_error *error);
/* 1 once the report has returned 0, else 0; 0 for NULL. */
SORVANE_C_API int sorvane_progress_was_stopped(const sorvane_progress *progress);
SORVANE_C_API void sorvane_progress_close(sorvane_progress *progress);

/* --- threads --------------------------------------------------------------------------------------------------- */

/*
 * Between open and close, operations work on so many threads at most, the calling one included: all calls of the process,
 * on whatever thread. Of several limits the lowest holds, in whatever order they are opened and closed, and on whatever
 * threads. Results are the same, to the last bit, for any number. SORVANE_BAD_ARGUMENT: a number below 1.
 */
typedef struct sorvane_threads sorvane_threads;

SORVANE_C_API sorvane_status sorvane_threads_open(int threads, sorvane_threads **limit, sorvane_error *error);
/* The threads that an operation would work on now. */
SORVANE_C_API int sorvane_threads_current(void);
SORVANE_C_API void sorvane_threads_close(sorvane_threads *limit);

/* --- lists of lines ------------------------------------------------------------------------------------------- */

/*
 * Lines of points in the plane or in space, open or closed. The points of all lines stand one after the other; line i has
 * those from starts[i] to starts[i + 1] - 1. The last point of a closed line is not its first one again.
 */
typedef struct sorvane_lines sorvane_lines;

/* Coordinates of a point, 2 or 3. */
SORVANE_C_API int sorvane_lines_dimension(const sorvane_lines *lines);
/* Number of lines. */
SORVANE_C_API size_t sorvane_lines_count(const sorvane_lines *lines);
/* All points; `count` gets their number and may be NULL. */
SORVANE_C_API const double *sorvane_lines_points(const sorvane_lines *lines, size_t *count);
/* One number more than there are lines; `count` gets that and may be NULL. */
SORVANE_C_API const int *sorvane_lines_starts(const sorvane_lines *lines, size_t *count);
/* 1 or 0 for each line; `count` gets their number and may be NULL. */
SORVANE_C_API const int *sorvane_lines_closed(const sorvane_lines *lines, size_t *count);
SORVANE_C_API void sorvane_lines_free(sorvane_lines *lines);

#ifdef __cplusplus
}
#endif

#endif
